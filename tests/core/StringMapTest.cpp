// StringMapTest.cpp - StringMap<T>: case-insensitive keys, hashing, growth, iterators.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "core/StringMap.h"
#include "core/string.h"
#include "encodings/Encodings.h"

namespace {

string Tagged(const char* bytes, uint32_t encoding) {
    string s(bytes);
    s.SetEncoding(encoding);
    return s;
}

// The keys of a map in iteration order.
std::vector<std::string> Keys(const StringMap<int>& map) {
    std::vector<std::string> keys;
    for (auto* entry = map.FirstEntry(); entry; entry = entry->nextInOrder) {
        keys.emplace_back(entry->key.CString(), entry->key.Length());
    }
    return keys;
}

TEST(StringMap, SameKeyInAnotherCaseReplacesTheValue) {
    StringMap<int> map;
    int value = -1;
    EXPECT_FALSE(map.GetEntry("Foo", value));  // before any chain exists
    map.AddEntry("Foo", 1);
    map.AddEntry("FOO", 2);
    EXPECT_EQ(Keys(map), std::vector<std::string>{"Foo"});
    EXPECT_TRUE(map.GetEntry("fOo", value));
    EXPECT_EQ(value, 2);
    EXPECT_FALSE(map.GetEntry("Fo", value));
    EXPECT_EQ(value, 2);  // untouched
}

TEST(StringMap, HashFoldsLettersAndSignsHighBytes) {
    StringMap<int> map(1000);
    struct Case {
        const char* key;
        unsigned chain;
    } cases[] = {
        {"", 0},    {"a", 65},  {"A", 65},     {"ab", (65 * 31 + 66) % 1000},
        {"[", '['}, {"{", '{'}, {"\xE9", 273},  // 0xE9 enters as -23: (2^32 - 23) mod 1000, not 233
    };
    for (const Case& c : cases) {
        EXPECT_EQ(map.hashString(Tagged(c.key, kEncodingUTF8)), c.chain) << c.key;
    }
}

TEST(StringMap, GrowsPastThreeQuartersKeepingOrder) {
    StringMap<int> map(256);
    std::vector<std::string> added;
    for (int i = 0; i < 193; ++i) {
        EXPECT_EQ(map.BinCount(), 256u);
        added.push_back("key" + std::to_string(i));
        map.AddEntry(added.back().c_str(), i);
    }
    EXPECT_EQ(map.BinCount(), 512u);  // the 193rd key grew it
    EXPECT_EQ(Keys(map), added);
    for (int i = 0; i < 193; ++i) {
        int value = -1;
        EXPECT_TRUE(map.GetEntry(added[i].c_str(), value) && value == i) << added[i];
    }
    map.ResizeBinArray(1);
    int value = -1;
    EXPECT_TRUE(map.GetEntry("KEY7", value) && value == 7);
    map.Initialize(8);
    EXPECT_EQ(map.Count(), 0u);
    EXPECT_FALSE(map.GetEntry("key7", value));
}

TEST(StringMap, KeysAreHeldAndMatchedInUtf8) {
    StringMap<int> map;
    map.AddEntry(Tagged("\x8E", kEncodingMacRoman), 1);  // é
    int value = 0;
    EXPECT_TRUE(map.GetEntry(Tagged("\xC3\xA9", kEncodingUTF8), value));
    EXPECT_EQ(Keys(map), std::vector<std::string>{"\xC3\xA9"});
}

// Keys that hash alike (the hash folds case) but match only with equal case.
class CaseSensitiveMap : public StringMap<int> {
public:
    bool StringsMatch(const string& a, const string& b) const override {
        return a.CompareWithCase(b) == 0;
    }
};

TEST(StringMap, MatchingGoesThroughTheVirtualOperation) {
    CaseSensitiveMap map;
    map.AddEntry("Foo", 1);
    map.AddEntry("FOO", 2);
    EXPECT_EQ(map.Count(), 2u);
}

TEST(StringMapIterator, WalksInsertionOrderIncludingLaterKeys) {
    StringMap<int> map;
    StringMapIterator<int>* it = map.NewIterator();
    string key;
    int value = 0;
    EXPECT_FALSE(it->Next(key, value));  // empty so far
    map.AddEntry("b", 1);
    map.AddEntry("a", 2);
    ASSERT_TRUE(it->Next(key, value));
    EXPECT_EQ(key.CompareWithCase("b"), 0);
    map.AddEntry("c", 3);
    map.AddEntry("A", 4);  // replaces; the order does not change
    ASSERT_TRUE(it->Next(key, value));
    EXPECT_EQ(key.CompareWithCase("a"), 0);
    EXPECT_EQ(value, 4);
    ASSERT_TRUE(it->Next(key, value));
    EXPECT_FALSE(it->Next(key, value));
    EXPECT_EQ(key.CompareWithCase("c"), 0);  // untouched at the end
    it->Reset();
    ASSERT_TRUE(it->Next(key, value));
    EXPECT_EQ(key.CompareWithCase("b"), 0);
    delete it;
}

TEST(StringMapIterator, DetachesInAnyOrder) {
    auto* map = new StringMap<int>;
    map->AddEntry("x", 1);
    StringMapIterator<int>* first = map->NewIterator();
    StringMapIterator<int>* second = map->NewIterator();
    StringMapIterator<int>* third = map->NewIterator();
    delete second;  // from the middle of the map's list
    string key;
    int value = 0;
    EXPECT_TRUE(first->Next(key, value));
    EXPECT_TRUE(third->Next(key, value));
    delete first;
    delete map;  // deletes `third`, still attached
}

}  // namespace
