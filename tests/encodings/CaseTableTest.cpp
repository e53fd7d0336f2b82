// CaseTableTest.cpp - the shape of the generated case table and what its two indexes find.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "encodings/CaseTable.h"
#include "encodings/UTF8.h"

namespace {

TEST(CaseTable, BeginsWithAsciiAndEndsWithFullWidth) {
    ASSERT_GE(kCaseTableRows, 52);
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
    EXPECT_EQ(lowerCounts['k'], 2);  // K and the Kelvin sign
    EXPECT_EQ(lowerCounts['a'], 1);
}

TEST(CaseTable, IndexesFindTheFirstRow) {
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
    // The lower-case letters with two partners (Unicode 15.0): the own capital comes first.
    // clang-format off
    const struct {
        unsigned long lower;
        unsigned long capital;
        unsigned long other;
    } twoPartners[] = {
        {'i', 'I', 0x130},          // capital I with dot above
        {'k', 'K', 0x212A},         // Kelvin sign
        {0xE5, 0xC5, 0x212B},       // Angstrom sign
        {0x1C6, 0x1C4, 0x1C5},      // dz with caron: DZ, then title-case Dz
        {0x1C9, 0x1C7, 0x1C8},      // lj
        {0x1CC, 0x1CA, 0x1CB},      // nj
        {0x1F3, 0x1F1, 0x1F2},      // dz
        {0x3B8, 0x398, 0x3F4},      // theta: capital theta symbol
        {0x3C9, 0x3A9, 0x2126},     // omega: Ohm sign
    };
    // clang-format on
    for (const auto& r : twoPartners) {
        EXPECT_EQ(UnicodeCharToUpper(r.lower), r.capital) << std::hex << r.lower;
        EXPECT_EQ(UnicodeCharToLower(r.other), r.lower) << std::hex << r.other;
    }
}

}  // namespace
