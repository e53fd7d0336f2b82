// ZQToolbox.cpp - the ZQ memory, handle, rectangle and tick routines over malloc,
// gettimeofday and the GTK glue.
//
// The tick base and the double-click cache are plain globals set on first use: the
// library runs on the host's one thread.
#include "core/ZQToolbox.h"

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

#include "core/GtkGlue.h"

namespace ZQ {
namespace {

// What a Handle points at. The data pointer comes first, so *handle is the data.
struct HandleBlock {
    Ptr data;      // size bytes, or null when size is 0
    int32_t size;  // invariant: 0 <= size, and data is null exactly when size is 0
};
static_assert(offsetof(HandleBlock, data) == 0, "*handle must be the data pointer");

HandleBlock* BlockOf(Handle h) {
    return reinterpret_cast<HandleBlock*>(h);
}

bool SizeFits(long size) {
    return size >= 0 && size <= INT32_MAX;
}

Handle MakeHandle(long size, bool clear) {
    if (!SizeFits(size)) return nullptr;
    auto* block = static_cast<HandleBlock*>(malloc(sizeof(HandleBlock)));
    if (!block) return nullptr;
    block->data = nullptr;
    block->size = static_cast<int32_t>(size);
    if (size > 0) {
        block->data = static_cast<Ptr>(clear ? calloc(1, static_cast<size_t>(size))
                                             : malloc(static_cast<size_t>(size)));
        if (!block->data) {
            free(block);
            return nullptr;
        }
    }
    return reinterpret_cast<Handle>(block);
}

bool gTickBaseSet = false;
time_t gTickBaseSeconds = 0;  // the seconds of gettimeofday at the first TickCount
unsigned long gDoubleClickTicks = 0;
bool gDoubleClickTicksRead = false;

}  // namespace

Ptr NewPtr(long size) {
    if (size < 0) return nullptr;
    return static_cast<Ptr>(malloc(static_cast<size_t>(size)));
}

Ptr NewPtrClear(long size) {
    if (size < 0) return nullptr;
    return static_cast<Ptr>(calloc(1, static_cast<size_t>(size)));
}

void DisposePtr(Ptr p) {
    free(p);
}

void BlockMoveData(const void* source, void* dest, long count) {
    if (count <= 0 || !source || !dest) return;
    memmove(dest, source, static_cast<size_t>(count));
}

Handle NewHandle(long size) {
    return MakeHandle(size, false);
}

Handle NewHandleClear(long size) {
    return MakeHandle(size, true);
}

Handle TempNewHandle(long size) {
    return NewHandle(size);
}

long GetHandleSize(Handle h) {
    return h ? BlockOf(h)->size : 0;
}

bool SetHandleSize(Handle h, long newSize) {
    if (!h) return true;
    HandleBlock* block = BlockOf(h);
    if (newSize == block->size) return true;
    if (!SizeFits(newSize)) return false;
    Ptr data = nullptr;
    if (newSize > 0) {
        data = static_cast<Ptr>(malloc(static_cast<size_t>(newSize)));
        if (!data) return false;
        const long kept = newSize < block->size ? newSize : block->size;
        if (kept > 0) memcpy(data, block->data, static_cast<size_t>(kept));
        memset(data + kept, 0, static_cast<size_t>(newSize - kept));
    }
    free(block->data);
    block->data = data;
    block->size = static_cast<int32_t>(newSize);
    return true;
}

bool HandToHand(Handle* h) {
    if (!h || !*h || BlockOf(*h)->size <= 0) return false;
    const HandleBlock* original = BlockOf(*h);
    Handle copy = NewHandle(original->size);
    if (!copy) return false;
    memcpy(*copy, original->data, static_cast<size_t>(original->size));
    *h = copy;
    return true;
}

void DisposeHandle(Handle h) {
    if (!h) return;
    free(BlockOf(h)->data);
    free(BlockOf(h));
}

void HLock(Handle) {}

void HUnlock(Handle) {}

void SetRect(Rect* r, short left, short top, short right, short bottom) {
    if (!r) return;
    r->left = left;
    r->top = top;
    r->right = right;
    r->bottom = bottom;
}

void OffsetRect(Rect* r, short dh, short dv) {
    if (!r) return;
    r->left = static_cast<short>(r->left + dh);
    r->right = static_cast<short>(r->right + dh);
    r->top = static_cast<short>(r->top + dv);
    r->bottom = static_cast<short>(r->bottom + dv);
}

bool EqualRect(const Rect* a, const Rect* b) {
    if (!a || !b) return false;
    return a->top == b->top && a->left == b->left && a->bottom == b->bottom && a->right == b->right;
}

bool PtInRect(Point pt, const Rect* r) {
    if (!r) return false;
    return pt.h >= r->left && pt.h < r->right && pt.v >= r->top && pt.v < r->bottom;
}

void InsetRect(Rect* r, short dh, short dv) {
    if (!r) return;
    r->left = static_cast<short>(r->left + dh);
    r->right = static_cast<short>(r->right - dh);
    r->top = static_cast<short>(r->top + dv);
    r->bottom = static_cast<short>(r->bottom - dv);
    if (r->left > r->right || r->top > r->bottom) *r = Rect{0, 0, 0, 0};
}

bool SectRect(const Rect* a, const Rect* b, Rect* out) {
    if (!out) return false;
    if (!a || !b ||
        !(a->left < b->right && b->left < a->right && a->top < b->bottom && b->top < a->bottom)) {
        *out = Rect{0, 0, 0, 0};
        return false;
    }
    Rect overlap;
    overlap.top = a->top > b->top ? a->top : b->top;
    overlap.left = a->left > b->left ? a->left : b->left;
    overlap.bottom = a->bottom < b->bottom ? a->bottom : b->bottom;
    overlap.right = a->right < b->right ? a->right : b->right;
    *out = overlap;
    return true;
}

unsigned long TickCount() {
    timeval now;
    gettimeofday(&now, nullptr);
    if (!gTickBaseSet) {
        gTickBaseSeconds = now.tv_sec;
        gTickBaseSet = true;
    }
    // ((seconds - base) + microseconds / 1,000,000) x 60, truncated, in integers: the
    // whole seconds give whole ticks, so only the microseconds need truncating.
    const long long ticks = static_cast<long long>(now.tv_sec - gTickBaseSeconds) * 60 +
                            static_cast<long long>(now.tv_usec) * 60 / 1000000;
    // A clock set back before the first call reads as tick 0 rather than wrapping.
    return ticks > 0 ? static_cast<unsigned long>(ticks) : 0;
}

// Deliberate: read once. The glue would give a changed setting, but classic callers
// expect the double-click time to be a constant of the session.
unsigned long GetDblTime() {
    if (!gDoubleClickTicksRead) {
        const long ms = zyne::gtk::DoubleClickTimeMs();
        // ms x 0.06 truncated, in integers: on i386 the x87 unit would compute 250 x 0.06
        // in extended precision as 14.99999... and truncate it to 14.
        gDoubleClickTicks =
            ms > 0 ? static_cast<unsigned long>(static_cast<long long>(ms) * 6 / 100) : 0;
        gDoubleClickTicksRead = true;
    }
    return gDoubleClickTicks;
}

void SysBeep(short) {
    zyne::gtk::Beep();
}

}  // namespace ZQ
