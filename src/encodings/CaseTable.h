// CaseTable.h - the framework's table of Unicode case pairs and its two look-up indexes.
//
// Two parallel arrays of BMP code points taken from Unicode's simple case mappings: row i
// pairs kCaseTableLower[i] with its partner kCaseTableUpper[i]. Rows 0-25 are a-z/A-Z,
// the last 26 the full-width Latin letters; every row pairs two different code points.
// Upper-case code points never repeat; a lower-case letter may have two partners (k: K
// and the Kelvin sign), and then maps up to the first, its own capital. The data is
// generated from the Unicode Character Database by make_case_table.py, which documents
// how rows are chosen; the row count follows the data.
//
// Not here: the mapping of whole texts, and anything beyond the BMP (UTF8.h).
#ifndef ZYNE_ENCODINGS_CASE_TABLE_H
#define ZYNE_ENCODINGS_CASE_TABLE_H

/// Number of rows of the case table; set by the generated data, at most 0xFFFF.
extern const int kCaseTableRows;

/// The lower-case column: kCaseTableLower[i], i < kCaseTableRows, is the lower-case
/// partner of row i.
extern const unsigned short kCaseTableLower[];
/// The upper-case column: kCaseTableUpper[i], i < kCaseTableRows, is the upper-case
/// partner of row i.
extern const unsigned short kCaseTableUpper[];

/// Looks a code point up in the lower-case column. True and, when row is not null, the
/// lowest row holding it; false when absent, or when the index could not be built for lack
/// of memory (the text then reads as caseless, and the next call tries again).
/// The indexes are built on the first call of either function.
bool CaseTableFindLower(unsigned short codePoint, int* row);

/// Looks a code point up in the upper-case column: true and its row (see CaseTableFindLower).
bool CaseTableFindUpper(unsigned short codePoint, int* row);

#endif  // ZYNE_ENCODINGS_CASE_TABLE_H
