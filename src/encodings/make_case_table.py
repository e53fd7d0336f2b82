#!/usr/bin/env python3
# make_case_table.py - writes CaseTable.cpp, the case-pair table and its two indexes.
#
# Usage: python3 src/encodings/make_case_table.py [UnicodeData.txt] [--output FILE]
#                                                  [--unicode-version X.Y.Z]
# The data file defaults to /usr/share/unicode/UnicodeData.txt (Debian's unicode-data
# package); the output to CaseTable.cpp beside this script. UnicodeData.txt carries no
# version, so it is read from a sibling file of the Unicode Character Database
# (DerivedAge.txt or CaseFolding.txt) unless given. Only Python's standard library is used.
#
# Which pairs. Only the simple (one-to-one) mappings are read: field 12 (simple upper
# case) and field 13 (simple lower case) of UnicodeData.txt, for code points of the Basic
# Multilingual Plane.
#   1. A row (l, u) for every code point u whose simple lower case l differs from u. Each
#      such u gets exactly one row, so the upper-case column never repeats. It holds the
#      capitals, the title-case digraphs (U+01C5 ...) and the compatibility capitals that
#      map down to an ordinary letter (Kelvin sign, Angstrom sign, Ohm sign, U+0130, U+03F4).
#   2. A row (l, u) for every code point l whose simple upper case u differs from l, when u
#      has no row yet. In the data of Unicode 15.0 this adds none: every capital that some
#      letter maps up to also maps down itself, and that row is taken by step 1.
# So a lower-case letter whose capital maps down to a different letter has no row at all:
# long s (S belongs to s), final sigma, micro sign, dotless i, the Greek symbol forms, the
# Cyrillic historic variants (U+1C80..U+1C88), U+1E9B, U+0345 and U+1FBE. A row for one of
# them would repeat its capital in the upper-case column, and a row folding it onto the
# ordinary letter would map it "down" where Unicode maps it nowhere; both are left out.
# Field 14 (simple title case) is not read: the table has no title column, so capitalising
# maps to the upper partner (Georgian Mkhedruli thus capitalises to Mtavruli, which
# Unicode's own title-case mapping does not do).
#
# Row order: by upper-case code point, except that a row whose lower-case letter has a
# row with its own capital (its simple upper case) never comes before that row; it moves
# to just after it. The look-up indexes are filled from the last row to the first, so a
# lower-case letter with two partners (k: K and the Kelvin sign) maps up to its own
# capital. Sorting by the upper case puts a-z/A-Z first and the full-width letters last.
#
# The checks in check() fail loudly (exit status 1, nothing written) if a new release of
# the data breaks any property the C++ side relies on.
import argparse
import collections
import hashlib
import os
import re
import sys

DEFAULT_DATA = "/usr/share/unicode/UnicodeData.txt"
MAX_ROWS = 0xFFFF  # rows are stored as unsigned short in the indexes


class DataError(Exception):
    pass


def read_mappings(path):
    """Returns {code point: simple upper}, {code point: simple lower} for the BMP."""
    upper, lower = {}, {}
    with open(path, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            line = line.rstrip("\n")
            if not line:
                continue
            fields = line.split(";")
            if len(fields) != 15:
                raise DataError("%s:%d: %d fields, expected 15" % (path, number, len(fields)))
            cp = int(fields[0], 16)
            if cp > 0xFFFF:
                continue
            for column, table in ((12, upper), (13, lower)):
                if fields[column]:
                    table[cp] = int(fields[column], 16)
    if not lower:
        raise DataError("%s: no lower-case mappings" % path)
    return upper, lower


def unicode_version(path):
    """The version named in the first line of a sibling file ("# DerivedAge-15.0.0.txt")."""
    folder = os.path.dirname(os.path.abspath(path))
    for name in ("DerivedAge.txt", "CaseFolding.txt"):
        try:
            with open(os.path.join(folder, name), encoding="utf-8") as f:
                match = re.match(r"# \w+-(\d+\.\d+\.\d+)\.txt", f.readline())
        except OSError:
            continue
        if match:
            return match.group(1)
    raise DataError("cannot tell the Unicode version of %s; pass --unicode-version" % path)


def build_rows(upper, lower):
    rows = [(low, cp) for cp, low in sorted(lower.items()) if low != cp]
    taken = {u for _, u in rows}
    rows += [(cp, up) for cp, up in sorted(upper.items())
             if up != cp and up not in taken]

    uppers_of = collections.defaultdict(set)
    for low, up in rows:
        uppers_of[low].add(up)

    def key(row):
        low, up = row
        own = upper.get(low)
        if own is None or own == up or own not in uppers_of[low]:
            return (up, 0, up)
        return (max(up, own), 1, up)

    rows.sort(key=key)
    return rows


def check(rows, upper):
    def fail(message):
        raise DataError("case table check failed: " + message)

    if len(rows) > MAX_ROWS:
        fail("%d rows do not fit a 16-bit row number" % len(rows))
    if rows[:26] != [(0x61 + i, 0x41 + i) for i in range(26)]:
        fail("rows 0-25 are not a-z/A-Z")
    if rows[-26:] != [(0xFF41 + i, 0xFF21 + i) for i in range(26)]:
        fail("the last 26 rows are not the full-width Latin letters")
    for i, (low, up) in enumerate(rows):
        if low == up:
            fail("row %d pairs U+%04X with itself" % (i, low))
        for cp in (low, up):
            if cp == 0 or cp > 0xFFFF or 0xD800 <= cp <= 0xDFFF:
                fail("row %d holds U+%04X, not a BMP character" % (i, cp))
    uppers = [u for _, u in rows]
    repeated = sorted(u for u, n in collections.Counter(uppers).items() if n > 1)
    if repeated:
        fail("upper-case code points repeat: " + ", ".join("U+%04X" % u for u in repeated))
    # A letter with several partners maps to the first; that must be its own capital.
    first = {}
    for low, up in rows:
        first.setdefault(low, up)
    for low, n in collections.Counter(l for l, _ in rows).items():
        if n > 1 and first[low] != upper.get(low):
            fail("U+%04X has %d partners and the first, U+%04X, is not its capital"
                 % (low, n, first[low]))


def format_array(name, values):
    out = ["const unsigned short %s[] = {" % name]
    for start in range(0, len(values), 10):
        chunk = ", ".join("0x%04X" % v for v in values[start:start + 10])
        out.append("    %s,  // %d" % (chunk, start))
    out.append("};")
    return "\n".join(out)


HEADER = """\
// CaseTable.cpp - the case-pair table (generated data) and its two look-up indexes.
//
// GENERATED by `python3 src/encodings/make_case_table.py {data}`
// from UnicodeData.txt of Unicode {version}, sha256
// {digest}.
// Do not edit by hand: change the script and run it again.
//
// {rows} rows; {shared} lower-case letters have two partners. Row i pairs
// kCaseTableLower[i] with kCaseTableUpper[i], from the simple case mappings of the BMP:
// a row (l, u) for each u whose simple lower case l differs from u, then (l, u) for each l
// whose simple upper case u differs and has no row yet. Rows run by upper-case code point,
// a letter's own capital before its other partners (the script says more). The indexes
// are IntMaps built on first use, from the last row to the first, so that a lower-case
// code point with two rows finds its first (its own capital).
#include "encodings/CaseTable.h"

#include <cassert>
#include <iterator>

#include "core/IntMap.h"

// clang-format off
"""

FOOTER = """\
// clang-format on

const int kCaseTableRows = static_cast<int>(std::size(kCaseTableLower));
static_assert(std::size(kCaseTableLower) == std::size(kCaseTableUpper),
              "the two columns of the case table differ in length");
static_assert(std::size(kCaseTableLower) <= 0xFFFF, "rows are indexed by unsigned short");

namespace {

// Plain globals, constant-initialised: no guard and no lock, as the library has one thread.
constinit IntMap<unsigned short> gLowerIndex;  // lower-case code point -> row
constinit IntMap<unsigned short> gUpperIndex;  // upper-case code point -> row
bool gIndexesBuilt = false;

// Fills both indexes; false when memory ran out (the next look-up tries again, and as
// AddEntry replaces, a second pass over the same rows gives the same result).
bool BuildIndexes() {
    for (int row = kCaseTableRows - 1; row >= 0; --row) {
        if (!gLowerIndex.AddEntry(kCaseTableLower[row], static_cast<unsigned short>(row)) ||
            !gUpperIndex.AddEntry(kCaseTableUpper[row], static_cast<unsigned short>(row))) {
            return false;
        }
    }
    return true;
}

bool Find(const IntMap<unsigned short>& index, unsigned short codePoint, int* row) {
    if (!gIndexesBuilt) gIndexesBuilt = BuildIndexes();
    unsigned short found = 0;
    if (!gIndexesBuilt || !index.GetEntry(codePoint, found)) return false;
    assert(found < kCaseTableRows && "case index holds a row beyond the table");
    if (row) *row = found;
    return true;
}

}  // namespace

bool CaseTableFindLower(unsigned short codePoint, int* row) {
    return Find(gLowerIndex, codePoint, row);
}

bool CaseTableFindUpper(unsigned short codePoint, int* row) {
    return Find(gUpperIndex, codePoint, row);
}
"""


def main():
    parser = argparse.ArgumentParser(description="Writes CaseTable.cpp from UnicodeData.txt.")
    parser.add_argument("data", nargs="?", default=DEFAULT_DATA, help="UnicodeData.txt")
    parser.add_argument("--output", default=os.path.join(
        os.path.dirname(os.path.abspath(__file__)), "CaseTable.cpp"))
    parser.add_argument("--unicode-version", help="version of the data file")
    args = parser.parse_args()

    try:
        version = args.unicode_version or unicode_version(args.data)
        upper, lower = read_mappings(args.data)
        rows = build_rows(upper, lower)
        check(rows, upper)
    except (DataError, OSError, ValueError) as error:
        print("make_case_table.py: %s" % error, file=sys.stderr)
        return 1

    with open(args.data, "rb") as f:
        digest = hashlib.sha256(f.read()).hexdigest()
    lowers = collections.Counter(l for l, _ in rows)
    shared = sum(1 for n in lowers.values() if n > 1)
    text = HEADER.format(data=args.data, version=version, digest=digest, rows=len(rows),
                         shared=shared)
    text += format_array("kCaseTableLower", [l for l, _ in rows]) + "\n\n"
    text += format_array("kCaseTableUpper", [u for _, u in rows]) + "\n"
    text += FOOTER
    with open(args.output, "w", encoding="ascii") as f:
        f.write(text)
    print("wrote %s: %d rows, %d lower-case letters with two partners"
          % (args.output, len(rows), shared), file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
