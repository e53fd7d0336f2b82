// StringMapTest.cpp - StringMap<T>: case-insensitive keys, hashing, growth, iterators.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "core/StringMap.h"
#include "core/string.h"
#include "support/TextHelpers.h"
#include "encodings/Encodings.h"

namespace {

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
        {"", 0},
        {"a", 65},
        {"A", 65},
        {"ab", (65 * 31 + 66) % 1000},
        {"[", '['},
        {"{", '{'},
        // Bytes of 0x80 and above enter as negative numbers: 0xE9 as -23, so
        // (2^32 - 23) mod 1000, not 233; and they are not folded (é and É differ).
        {"\xE9", 273},
        {"\xC3\xA9", 318},  // 2^32 + (-61 * 31 - 87)
        {"\xC3\x89", 286},  // 2^32 + (-61 * 31 - 119)
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

TEST(StringMap, HighByteKeysAreFoundAndKeepTheirCase) {
    StringMap<int> map;
    map.AddEntry(Tagged("Caf\x8E", kEncodingMacRoman), 1);  // held in UTF-8
    map.AddEntry(Tagged("CAF\xC3\xA9", kEncodingUTF8), 2);  // ASCII case folds
    map.AddEntry(Tagged("caf\xC3\x89", kEncodingUTF8), 3);  // É is not é
    EXPECT_EQ(Keys(map), (std::vector<std::string>{"Caf\xC3\xA9", "caf\xC3\x89"}));
    int value = 0;
    EXPECT_TRUE(map.GetEntry(Tagged("caf\xC3\xA9", kEncodingUTF8), value));
    EXPECT_EQ(value, 2);
    EXPECT_TRUE(map.GetEntry(Tagged("CAF\x83", kEncodingMacRoman), value));  // CAFÉ
    EXPECT_EQ(value, 3);
}

// Every key in one chain, so that only StringsMatch tells keys apart.
class OneChainMap : public StringMap<int> {
public:
    unsigned hashString(const string&) const override { return 0; }
};

TEST(StringMap, MatchingFoldsOnlyAsciiLetters) {
    OneChainMap map;
    struct Case {
        const char* first;
        const char* second;
        bool same;
    } cases[] = {
        {"\xC3\xA9t\xC3\xA9", "\xC3\xA9T\xC3\xA9", true},
        {"\xC3\xA9", "\xC3\x89", false},  // é, É
        {"\xC3\x8A", "\xC3\x80", false},  // Ê, À: 0x8A and 0x80 are a case pair in MacRoman
        {"a[", "A{", false},
    };
    for (const Case& c : cases) {
        map.Initialize(256);
        map.AddEntry(Tagged(c.first, kEncodingUTF8), 1);
        map.AddEntry(Tagged(c.second, kEncodingUTF8), 2);
        EXPECT_EQ(map.Count(), c.same ? 1u : 2u) << c.first << " " << c.second;
    }
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
