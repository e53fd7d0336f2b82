// NumberFormat.h - numbers to text: format patterns, the general form and round-trip text.
//
// Three ways to turn a number into text:
//   - FormatNumber: a pattern such as "#,##0.00", "0.0%", "-#.000000E+" or "#;(#);zero",
//     with the locale's decimal and thousands separators (or fixed ones the caller gives);
//   - NumberStr: the general form used for plain numbers, always with "." ("0.1", "1e+16");
//   - NumberRoundTrip: the shortest text that reads back as the same double ("-0", "inf").
//
// Starting point. Every double is first turned into its shortest round-trip decimal
// expansion (std::to_chars), and all rounding, scaling by "%" and digit placement work on
// those decimal digits, never on the binary value. So 2.675 shows as "2.68" and 1.005 as
// "1.01" with "0.00", as a user reading the number expects, even though the binary values
// lie just below those halves; and 0.07 with "0%" is exactly "7%". Digits past the 17th
// significant one are zeros: 2^60 shows as 1,152,921,504,606,847,000 with "#,##0" (use
// FormatInteger for exact 64-bit integers). Rounding is half away from zero on the decimal
// value shown (0.125 -> "0.13", -2.5 with "0" -> "-3"). The results do not depend on the
// floating-point unit: the x87 (i386) and SSE (x86_64) builds give the same texts.
//
// Pattern characters (one section):
//   0        a required digit: shows a digit or a padding zero
//   #        an optional digit: shows a digit, nothing where a zero would only pad; an
//            integer part of 0 shows no digit at all when only "#" stands before the point
//            ("#" formats 0 as "", "#.##" formats 0.5 as ".5")
//   .        the decimal separator (the first one before any exponent; later ones are
//            literal). It is shown when a fraction digit is shown, or when the section has
//            no fraction placeholders ("0." gives "5."); "#.##" formats 1 as "1". In a
//            section without integer placeholders the integer digits stand just before
//            it (".00" formats 12.5 as "12.50").
//   ,        thousands grouping when it stands between integer digit placeholders or
//            between them and the point ("#,##0", "#,#."); grouping is by threes from the
//            point. Anywhere else "," is a literal comma.
//   %        shows "%" and multiplies the value by 100 (each "%" once more)
//   E+ E- e+ e-
//            scientific notation with that letter; "+" always shows the exponent's sign,
//            "-" only a minus. Placeholders after it give the exponent's digits ("0" padded,
//            "#" optional); with none ("-#.000000E+") the exponent has as many digits as it
//            needs, at least one ("1.234568E+3"). The mantissa has one integer digit when
//            the pattern has integer placeholders, none otherwise (".00E+0" -> ".12E+3");
//            further "0" placeholders pad ("00.0E+0" -> "01.2E+3"), there is no
//            engineering notation.
//   - +      sign places: "-" shows a minus for a negative value and nothing otherwise,
//            "+" shows "+" for a positive value or zero and "-" for a negative one
//   ( )      when a section holds both, they show around a negative value and are left out
//            for others ("(#)" formats -3 as "(3)" and 3 as "3")
//   \x       the character x as it stands ("\-", "\#", "\;", "\\")
//   other    any other byte is copied as it stands (UTF-8 text passes through whole)
// A negative value in a section without sign places gets its minus just before the first
// digit placeholder or point ("$#,##0" -> "$-1,234"). A value that rounds to zero shows no
// minus ("0.00" formats -0.001 as "0.00").
//
// Sections: up to three, separated by ";": positive;negative;zero. With two, zero uses the
// first. A negative value formatted by the second section shows no minus of its own, and in
// the second and third sections "-", "+", "(" and ")" are literal: "#;-#" and "#;(#)" show
// the minus or parentheses they spell, "#;(#);-" shows zero as "-". The section is chosen
// by the value before rounding ("0.00;(0.00)" formats -0.001 as "(0.00)"). An empty second
// or third section counts as absent; sections after the third are ignored.
//
// Special values, whatever the pattern: NaN shows as "NaN", infinities as "INF" and "-INF".
// Negative zero is zero ("0", the zero section). The empty pattern gives the general form
// (NumberStr) with the locale's decimal separator.
//
// Not here: parsing text into numbers (core/ByteRoutines.h), currency symbols, locale
// grouping other than threes, digits other than ASCII.
#ifndef ZYNE_RUNTIME_NUMBER_FORMAT_H
#define ZYNE_RUNTIME_NUMBER_FORMAT_H

#include <cstdint>

#include "core/string.h"

/// The two texts a pattern's "." and "," stand for.
struct NumberSeparators {
    string decimalSeparator;    // for "."; never empty
    string thousandsSeparator;  // for "," in the integer part; never empty
};

/// The separators of the current C locale (localeconv, LC_NUMERIC). A locale that gives no
/// thousands separator (the C and POSIX locales do) gets ","; one that gives no decimal
/// point gets ".". Locale texts are taken to be UTF-8.
NumberSeparators CurrentNumberSeparators();
/// "." and ",", whatever the locale.
NumberSeparators FixedNumberSeparators();

/// value laid out by pattern with the current locale's separators. The result is tagged
/// ASCII when every byte is below 0x80, else with the pattern's tag when the pattern holds
/// such bytes, else UTF-8. Never fails: a pattern without placeholders shows its literals.
string FormatNumber(double value, const string& pattern);
/// The same with the given separators (empty ones count as "." and ",").
string FormatNumber(double value, const string& pattern, const NumberSeparators& separators);
/// An integer laid out by pattern with every digit exact (a double holds 53 bits only).
string FormatInteger(int64_t value, const string& pattern);
string FormatInteger(int64_t value, const string& pattern, const NumberSeparators& separators);

/// The general form of a number, tagged ASCII, always with "." and no grouping: the
/// shortest round-trip digits, in plain notation for 1e-4 <= |value| < 1e16 ("123",
/// "0.1", "0.0001", "9999999999999998") and in scientific notation outside it, with at
/// least two exponent digits ("1e+16", "9.9e-05", "-1.5e+300", "5e-324"). The upper bound
/// keeps every integer that a double holds exactly below 2^53 in plain digits. Zero and
/// negative zero give "0"; NaN "NaN"; infinities "INF" and "-INF".
string NumberStr(double value);

/// The shortest text that reads back (std::from_chars, strtod) as the same double, with
/// "." whatever the locale, tagged ASCII: "0.1", "1e+16", "-0", "nan", "inf", "-inf".
/// Chooses plain or scientific notation, whichever is shorter.
string NumberRoundTrip(double value);

#endif  // ZYNE_RUNTIME_NUMBER_FORMAT_H
