// ZQToolboxTest.cpp - the ZQ memory, handle, rectangle and tick routines.
#include <gtest/gtest.h>

#include <time.h>

#include <cstdint>
#include <cstring>

#include "core/ZQToolbox.h"

namespace {

using ZQ::Handle;
using ZQ::Rect;

bool AllZero(const char* p, long n) {
    for (long i = 0; i < n; ++i) {
        if (p[i] != 0) return false;
    }
    return true;
}

Handle HandleOf(const char* text) {
    const long size = static_cast<long>(strlen(text));
    Handle h = ZQ::NewHandle(size);
    if (h) memcpy(*h, text, static_cast<size_t>(size));
    return h;
}

TEST(ZQToolbox, AllocationSizesAndLayout) {
    ZQ::Ptr p = ZQ::NewPtrClear(100);
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(AllZero(p, 100));
    ZQ::DisposePtr(p);
    EXPECT_EQ(ZQ::NewPtr(-1), nullptr);

    Handle h = HandleOf("hello");  // *h is the data, then the size as 32 bits
    ASSERT_NE(h, nullptr);
    int32_t storedSize = 0;
    memcpy(&storedSize, reinterpret_cast<char*>(h) + sizeof(ZQ::Ptr), sizeof storedSize);
    EXPECT_EQ(storedSize, 5);
    EXPECT_EQ(memcmp(*h, "hello", 5), 0);
    ZQ::DisposeHandle(h);

    Handle clear = ZQ::NewHandleClear(64);
    ASSERT_NE(clear, nullptr);
    EXPECT_TRUE(AllZero(*clear, 64));
    ZQ::DisposeHandle(clear);
    Handle empty = ZQ::TempNewHandle(0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(*empty, nullptr);
    EXPECT_EQ(ZQ::GetHandleSize(empty), 0);
    ZQ::DisposeHandle(empty);
    EXPECT_EQ(ZQ::NewHandle(-1), nullptr);
    if constexpr (sizeof(long) > 4) {
        const long beyond = static_cast<long>(static_cast<long long>(INT32_MAX) + 1);
        EXPECT_EQ(ZQ::NewHandle(beyond), nullptr) << "the size field has 32 bits";
    }
    EXPECT_EQ(ZQ::GetHandleSize(nullptr), 0);
}

TEST(ZQToolbox, SetHandleSizeKeepsThePrefix) {
    Handle h = HandleOf("abcdef");
    ASSERT_NE(h, nullptr);

    const ZQ::Ptr before = *h;
    EXPECT_TRUE(ZQ::SetHandleSize(h, 6));
    EXPECT_EQ(*h, before) << "an unchanged size keeps the block";

    ASSERT_TRUE(ZQ::SetHandleSize(h, 10));
    EXPECT_EQ(ZQ::GetHandleSize(h), 10);
    EXPECT_EQ(memcmp(*h, "abcdef", 6), 0);
    EXPECT_TRUE(AllZero(*h + 6, 4)) << "added bytes are cleared";

    ASSERT_TRUE(ZQ::SetHandleSize(h, 2));
    EXPECT_EQ(ZQ::GetHandleSize(h), 2);
    EXPECT_EQ(memcmp(*h, "ab", 2), 0);

    EXPECT_FALSE(ZQ::SetHandleSize(h, -1));
    EXPECT_EQ(ZQ::GetHandleSize(h), 2);

    ASSERT_TRUE(ZQ::SetHandleSize(h, 0));
    EXPECT_EQ(ZQ::GetHandleSize(h), 0);
    ASSERT_TRUE(ZQ::SetHandleSize(h, 1));
    EXPECT_EQ((*h)[0], 0);
    ZQ::DisposeHandle(h);

    EXPECT_TRUE(ZQ::SetHandleSize(nullptr, 5));
}

TEST(ZQToolbox, HandToHandReplacesTheCallersHandleByACopy) {
    Handle original = HandleOf("xyz");
    ASSERT_NE(original, nullptr);
    Handle h = original;
    ASSERT_TRUE(ZQ::HandToHand(&h));
    ASSERT_NE(h, original);
    EXPECT_NE(*h, *original);
    EXPECT_EQ(ZQ::GetHandleSize(h), 3);
    EXPECT_EQ(memcmp(*h, "xyz", 3), 0);
    (*h)[0] = 'Q';
    EXPECT_EQ((*original)[0], 'x');
    ZQ::DisposeHandle(h);
    ZQ::DisposeHandle(original);

    Handle empty = ZQ::NewHandle(0);
    Handle same = empty;
    EXPECT_FALSE(ZQ::HandToHand(&same));
    EXPECT_EQ(same, empty);
    ZQ::DisposeHandle(empty);
    Handle none = nullptr;
    EXPECT_FALSE(ZQ::HandToHand(&none));
    EXPECT_FALSE(ZQ::HandToHand(nullptr));
}

TEST(ZQToolbox, SetOffsetAndPointInRect) {
    Rect r;
    ZQ::SetRect(&r, 20, 10, 40, 30);  // left, top, right, bottom
    ZQ::OffsetRect(&r, 1, -1);
    const Rect expected = {9, 21, 29, 41};  // top, left, bottom, right
    EXPECT_TRUE(ZQ::EqualRect(&r, &expected));
    EXPECT_FALSE(ZQ::EqualRect(&r, nullptr));
    // clang-format off
    const struct {
        short v;
        short h;
        bool inside;
    } cases[] = {
        {9, 21, true},    // top-left corner
        {28, 40, true},   // last row and column
        {29, 21, false},  // the bottom edge
        {9, 41, false},   // the right edge
        {8, 25, false},   {15, 20, false},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(ZQ::PtInRect(ZQ::Point{c.v, c.h}, &r), c.inside) << c.v << "," << c.h;
    }
}

TEST(ZQToolbox, InsetAndSectRect) {
    // clang-format off
    const struct {
        Rect r;
        short dh;
        short dv;
        Rect expected;
    } insets[] = {
        {{0, 0, 10, 10}, 6, 6, {0, 0, 0, 0}},       // crossed over: all zero
        {{0, 0, 10, 10}, 5, 5, {5, 5, 5, 5}},       // meeting is not crossing
        {{0, 0, 10, 10}, 2, 3, {3, 2, 7, 8}},
        {{0, 0, 10, 10}, -2, -1, {-1, -2, 11, 12}},  // negative insets grow
        {{0, 0, 10, 10}, 0, 6, {0, 0, 0, 0}},       // one direction is enough
    };
    // clang-format on
    for (const auto& c : insets) {
        Rect r = c.r;
        ZQ::InsetRect(&r, c.dh, c.dv);
        EXPECT_TRUE(ZQ::EqualRect(&r, &c.expected)) << c.dh << "," << c.dv;
    }

    const Rect a = {0, 0, 10, 10};
    // clang-format off
    const struct {
        Rect b;
        bool overlaps;
        Rect expected;
    } sects[] = {
        {{5, 5, 15, 15}, true, {5, 5, 10, 10}},
        {{2, 3, 4, 5}, true, {2, 3, 4, 5}},          // inside
        {{10, 0, 20, 10}, false, {0, 0, 0, 0}},      // touching below
        {{0, 10, 10, 20}, false, {0, 0, 0, 0}},      // touching right
        {{-5, -5, 1, 1}, true, {0, 0, 1, 1}},
        {{20, 20, 30, 30}, false, {0, 0, 0, 0}},
    };
    // clang-format on
    for (const auto& c : sects) {
        Rect out = {7, 7, 7, 7};
        EXPECT_EQ(ZQ::SectRect(&a, &c.b, &out), c.overlaps);
        EXPECT_TRUE(ZQ::EqualRect(&out, &c.expected)) << c.b.top << "," << c.b.left;
    }
    Rect alias = {5, 5, 15, 15};
    const Rect overlap = {5, 5, 10, 10};
    EXPECT_TRUE(ZQ::SectRect(&a, &alias, &alias));
    EXPECT_TRUE(ZQ::EqualRect(&alias, &overlap)) << "the result may overwrite an input";
}

TEST(ZQToolbox, TickCountCountsSixtiethsFromTheFirstCall) {
    // The first call in this process: whatever part of a second has passed, in ticks.
    const unsigned long first = ZQ::TickCount();
    EXPECT_LT(first, 60u);
    const timespec pause = {0, 120 * 1000 * 1000};
    nanosleep(&pause, nullptr);
    const unsigned long later = ZQ::TickCount();
    EXPECT_GE(later, first + 7) << "120 ms are at least 7 ticks";
    EXPECT_LT(later, first + 600) << "and far fewer than ten seconds";
}

TEST(ZQToolbox, DoubleClickTimeIsTheGtkSettingInTicks) {
    // No display is open here, so the glue reports GTK's default of 250 ms: 15 ticks.
    EXPECT_EQ(ZQ::GetDblTime(), 15u);
    EXPECT_EQ(ZQ::GetDblTime(), 15u);
    ZQ::SysBeep(30);  // no display: nothing to ring, and nothing may break
}

}  // namespace
