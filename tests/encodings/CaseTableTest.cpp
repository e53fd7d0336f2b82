// CaseTableTest.cpp - the shape of the generated case table and what its two indexes find.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "encodings/CaseTable.h"
#include "encodings/UTF8.h"

namespace {

TEST(CaseTable, BeginsWithAsciiAndEndsWithFullWidth) {
    for (int i = 0; i < 26; ++i) {
        EXPECT_EQ(kCaseTableLower[i], 'a' + i) << i;
        EXPECT_EQ(kCaseTableUpper[i], 'A' + i) << i;
        const int row = kCaseTableRows - 26 + i;
        EXPECT_EQ(kCaseTableLower[row], 0xFF41 + i) << row;
        EXPECT_EQ(kCaseTableUpper[row], 0xFF21 + i) << row;
    }
}

TEST(CaseTable, RowsPairDistinctCodePointsAndUpperNeverRepeats) {
    std::set<unsigned short> uppers;
    std::map<unsigned short, int> lowerCounts;
    for (int i = 0; i < kCaseTableRows; ++i) {
        EXPECT_NE(kCaseTableLower[i], kCaseTableUpper[i]) << i;
        EXPECT_TRUE(uppers.insert(kCaseTableUpper[i]).second) << "upper repeats in row " << i;
        ++lowerCounts[kCaseTableLower[i]];
        for (unsigned short c : {kCaseTableLower[i], kCaseTableUpper[i]}) {
            EXPECT_FALSE(c >= 0xD800 && c <= 0xDFFF) << "surrogate in row " << i;
            EXPECT_NE(c, 0) << i;
        }
    }
    EXPECT_EQ(kCaseTableRows - static_cast<int>(lowerCounts.size()), 22)
        << "repeated lower-case occurrences";
    EXPECT_EQ(lowerCounts['k'], 2);  // K and the Kelvin sign
    EXPECT_EQ(lowerCounts['a'], 1);
}

TEST(CaseTable, IndexesFindTheLowestRow) {
    std::map<unsigned short, int> firstLowerRow;
    for (int i = 0; i < kCaseTableRows; ++i) firstLowerRow.emplace(kCaseTableLower[i], i);
    for (int i = 0; i < kCaseTableRows; ++i) {
        int row = -1;
        ASSERT_TRUE(CaseTableFindUpper(kCaseTableUpper[i], &row)) << i;
        EXPECT_EQ(row, i);
        ASSERT_TRUE(CaseTableFindLower(kCaseTableLower[i], &row)) << i;
        EXPECT_EQ(row, firstLowerRow[kCaseTableLower[i]]) << "the lower row wins, row " << i;
    }
}

TEST(CaseTable, MissesAndNullRow) {
    int row = 77;
    EXPECT_FALSE(CaseTableFindLower('A', &row));
    EXPECT_FALSE(CaseTableFindUpper('a', &row));
    EXPECT_FALSE(CaseTableFindLower(0, &row));
    EXPECT_FALSE(CaseTableFindUpper(0xFFFF, &row));
    EXPECT_EQ(row, 77) << "a miss leaves the row alone";
    EXPECT_TRUE(CaseTableFindLower('z', nullptr));
}

TEST(CaseTable, EveryLetterMapsUpToItsOwnCapitalAndBack) {
    // Where a lower-case letter has several rows, its first is its own capital, so mapping
    // up and down again returns the letter; and every upper-case entry maps down to its row.
    for (int i = 0; i < kCaseTableRows; ++i) {
        const unsigned long lower = kCaseTableLower[i];
        const unsigned long upper = UnicodeCharToUpper(lower);
        EXPECT_NE(upper, lower) << std::hex << lower;
        EXPECT_EQ(UnicodeCharToLower(upper), lower) << std::hex << lower;
        EXPECT_EQ(UnicodeCharToLower(kCaseTableUpper[i]), lower) << i;
    }
    const struct {
        unsigned long lower;
        unsigned long capital;
    } repeated[] = {
        {'i', 'I'},     {'k', 'K'},     {'s', 'S'},     {0xE5, 0xC5},   {0x3BC, 0x39C},
        {0x3B9, 0x399}, {0x3B8, 0x398}, {0x3C3, 0x3A3}, {0x3C9, 0x3A9}, {0x1C6, 0x1C4},
    };
    for (const auto& r : repeated) EXPECT_EQ(UnicodeCharToUpper(r.lower), r.capital);
}

}  // namespace
