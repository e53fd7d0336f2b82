// NumberFormatTest.cpp - format patterns, separators, the general form and round-trip text.
#include "runtime/NumberFormat.h"

#include <gtest/gtest.h>

#include <charconv>
#include <clocale>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>

#include "encodings/Encodings.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string Text(const string& s) { return std::string(s.CString(), s.Length()); }

std::string Fixed(double value, const char* pattern) {
    return Text(FormatNumber(value, string(pattern), FixedNumberSeparators()));
}

struct PatternCase {
    double value;
    const char* pattern;
    const char* expected;
};

void PrintTo(const PatternCase& c, std::ostream* os) {
    char buffer[64];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, c.value).ptr;
    *os << std::string(buffer, end) << " with \"" << c.pattern << "\"";
}

class PatternTest : public ::testing::TestWithParam<PatternCase> {};

TEST_P(PatternTest, FormatsAsExpected) {
    const PatternCase& c = GetParam();
    EXPECT_EQ(Fixed(c.value, c.pattern), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Digits, PatternTest, ::testing::Values(
    PatternCase{1234.5678, "#,##0.00", "1,234.57"},
    PatternCase{-1234.5678, "#,##0.00", "-1,234.57"},
    PatternCase{0, "#,##0.00", "0.00"},
    PatternCase{0.5, "#,##0.00", "0.50"},
    PatternCase{999.995, "#,##0.00", "1,000.00"},
    PatternCase{123, "#,##0", "123"},
    PatternCase{1234567, "#,##0", "1,234,567"},
    PatternCase{5, "000,000", "000,005"},
    PatternCase{12345, "00", "12345"},
    PatternCase{7, "000", "007"},
    PatternCase{0, "#", ""},
    PatternCase{0.5, "#.##", ".5"},
    PatternCase{1, "#.##", "1"},
    PatternCase{1.5, "0.0#", "1.5"},
    PatternCase{1.25, "0.0#", "1.25"},
    PatternCase{1.2, "0.00", "1.20"},
    PatternCase{5, "0.", "5."},
    PatternCase{1234, "0", "1234"},
    PatternCase{1234, "#,#.", "1,234."},
    PatternCase{5551234, "000\\-0000", "555-1234"},
    PatternCase{5551234, "000-0000", "5551234"},
    // Without integer placeholders the integer digits still show, before the point.
    PatternCase{12.5, ".00", "12.50"},
    PatternCase{-1234567.891, ".##", "-1234567.89"},
    PatternCase{12, ".##", "12"},
    PatternCase{0.256, ".0%", "25.6%"}));

INSTANTIATE_TEST_SUITE_P(Rounding, PatternTest, ::testing::Values(
    // Halves of the shortest decimal go away from zero, whatever the binary value below.
    PatternCase{2.675, "0.00", "2.68"},
    PatternCase{1.005, "0.00", "1.01"},
    PatternCase{0.125, "0.00", "0.13"},
    PatternCase{-0.125, "0.00", "-0.13"},
    PatternCase{2.5, "0", "3"},
    PatternCase{-2.5, "0", "-3"},
    PatternCase{0.5, "0", "1"},
    PatternCase{0.49999999999999994, "0", "0"},
    PatternCase{9.995, "0.00", "10.00"},
    PatternCase{99.5, "#", "100"},
    PatternCase{0.1, "0.00000000000000000000", "0.10000000000000000000"},
    PatternCase{-0.001, "0.00", "0.00"},
    PatternCase{-0.4, "#", ""},
    PatternCase{-0.001, "+0.00", "+0.00"}));

INSTANTIATE_TEST_SUITE_P(PercentAndSigns, PatternTest, ::testing::Values(
    PatternCase{0.256, "0.0%", "25.6%"},
    PatternCase{0.07, "0%", "7%"},
    PatternCase{0.0005, "0%", "0%"},
    PatternCase{0.005, "0%", "1%"},
    PatternCase{0.01, "0%%", "100%%"},
    PatternCase{5, "+#", "+5"},
    PatternCase{-5, "+#", "-5"},
    PatternCase{0, "+0", "+0"},
    PatternCase{5, "-#", "5"},
    PatternCase{-5, "-#", "-5"},
    PatternCase{-5, "#-", "5-"},
    PatternCase{-3.7, "(#)", "(4)"},
    PatternCase{3.7, "(#)", "4"},
    PatternCase{-1234, "$#,##0", "$-1,234"},
    PatternCase{-5, "Total: #", "Total: -5"},
    PatternCase{-0.5, ".0", "-.5"},
    PatternCase{5, "(#", "(5"},
    PatternCase{-5, "(#", "(-5"}));

INSTANTIATE_TEST_SUITE_P(Scientific, PatternTest, ::testing::Values(
    PatternCase{1234.5678, "-#.000000E+", "1.234568E+3"},
    PatternCase{-1234.5678, "-#.000000E+", "-1.234568E+3"},
    PatternCase{0.000123, "-#.000000E+", "1.230000E-4"},
    PatternCase{1234.5678, "0.00E+00", "1.23E+03"},
    PatternCase{1234.5678, "0.00E-00", "1.23E03"},
    PatternCase{0.0123, "0.00E-00", "1.23E-02"},
    PatternCase{1234.5678, "0.00e+0", "1.23e+3"},
    PatternCase{9.999, "0.00E+0", "1.00E+1"},
    PatternCase{0, "0.00E+00", "0.00E+00"},
    PatternCase{123, ".00E+0", ".12E+3"},
    PatternCase{1e308, "0.00E+0", "1.00E+308"},
    PatternCase{1e-308, "0.00E+0", "1.00E-308"},
    PatternCase{5e-324, "0.0E+0", "5.0E-324"},
    PatternCase{1.7976931348623157e308, "0.000E+000", "1.798E+308"},
    PatternCase{1234, "0E+", "1E+3"},
    PatternCase{1234, "0.0 \\E+", "1234.0 E+"}));

INSTANTIATE_TEST_SUITE_P(Sections, PatternTest, ::testing::Values(
    PatternCase{5, "#;(#);zero", "5"},
    PatternCase{-5, "#;(#);zero", "(5)"},
    PatternCase{0, "#;(#);zero", "zero"},
    PatternCase{-0.0, "#;(#);zero", "zero"},
    PatternCase{0, "#;(#);-", "-"},
    PatternCase{-5, "#;-#", "-5"},
    PatternCase{-5, "#;#", "5"},
    PatternCase{-5, "+#;#", "5"},
    PatternCase{0, "0.0;(0.0)", "0.0"},
    PatternCase{-0.001, "0.00;(0.00)", "(0.00)"},
    PatternCase{-5, "0;;zero", "-5"},
    PatternCase{0, "0;;zero", "zero"},
    PatternCase{0, "0;(0);", "0"},
    PatternCase{5, "0;(0);z;ignored", "5"},
    PatternCase{-2, "0\\;x;neg", "neg"},
    PatternCase{2, "0\\;x;neg", "2;x"}));

INSTANTIATE_TEST_SUITE_P(Literals, PatternTest, ::testing::Values(
    PatternCase{5, "\\#0\\.", "#5."},
    PatternCase{5, "0 \\-\\+ units", "5 -+ units"},
    PatternCase{5, "0\\", "5\\"},
    PatternCase{5, "0 m², 1", "5 m², 1"},
    PatternCase{5, "abc", "abc"},
    PatternCase{-5, "abc", "abc"}));

INSTANTIATE_TEST_SUITE_P(Extremes, PatternTest, ::testing::Values(
    PatternCase{kNaN, "#,##0.00", "NaN"},
    PatternCase{kInf, "#,##0.00", "INF"},
    PatternCase{-kInf, "0;(0)", "-INF"},
    PatternCase{-0.0, "0.00", "0.00"},
    PatternCase{-0.0, "+0", "+0"},
    PatternCase{1e-308, "0.00", "0.00"},
    PatternCase{-1e-308, "0.00", "0.00"},
    PatternCase{9007199254740991.0, "#,##0", "9,007,199,254,740,991"},
    PatternCase{1e20, "#,##0", "100,000,000,000,000,000,000"},
    PatternCase{1152921504606846976.0, "#,##0", "1,152,921,504,606,847,000"}));

TEST(NumberFormat, HugeValueKeepsEveryDigitAndGroup) {
    const std::string text = Fixed(1e308, "#,##0.00");
    std::string expected = "100";
    for (int i = 0; i < 102; ++i) expected += ",000";
    expected += ".00";
    EXPECT_EQ(text, expected);
    EXPECT_EQ(Fixed(-1e308, "0"), "-1" + std::string(308, '0'));
}

TEST(NumberFormat, ExplicitSeparatorsReplacePointAndComma) {
    const NumberSeparators german{string(","), string(".")};
    EXPECT_EQ(Text(FormatNumber(1234567.891, string("#,##0.00"), german)), "1.234.567,89");
    const NumberSeparators narrow{string(","), string("\xE2\x80\xAF")};  // narrow no-break space
    const string text = FormatNumber(1234.5, string("#,##0.0"), narrow);
    EXPECT_EQ(Text(text), "1\xE2\x80\xAF" "234,5");
    EXPECT_EQ(text.Encoding(), kEncodingUTF8);
    EXPECT_EQ(FormatNumber(1234.5, string("#,##0.0"), FixedNumberSeparators()).Encoding(),
              kEncodingASCII);
    // Empty separators count as the fixed ones.
    EXPECT_EQ(Text(FormatNumber(1234.5, string("#,##0.0"), NumberSeparators{})), "1,234.5");
}

TEST(NumberFormat, CLocaleGetsPointAndComma) {
    const char* saved = std::setlocale(LC_NUMERIC, nullptr);
    const std::string previous = saved ? saved : "C";
    ASSERT_NE(std::setlocale(LC_NUMERIC, "C"), nullptr);
    const NumberSeparators current = CurrentNumberSeparators();
    EXPECT_EQ(Text(current.decimalSeparator), ".");
    EXPECT_EQ(Text(current.thousandsSeparator), ",");
    EXPECT_EQ(Text(FormatNumber(-1234.5, string("#,##0.00"))), "-1,234.50");
    std::setlocale(LC_NUMERIC, previous.c_str());
}

TEST(NumberFormat, EmptyPatternGivesGeneralFormWithLocalePoint) {
    const NumberSeparators comma{string(","), string(".")};
    EXPECT_EQ(Text(FormatNumber(1.5, string(), comma)), "1,5");
    EXPECT_EQ(Text(FormatNumber(1e20, string(), comma)), "1e+20");
    EXPECT_EQ(Text(FormatNumber(-0.25, string(), FixedNumberSeparators())), "-0.25");
}

TEST(NumberFormat, IntegersKeepEveryDigit) {
    const NumberSeparators fixed = FixedNumberSeparators();
    EXPECT_EQ(Text(FormatInteger(INT64_MAX, string("#,##0"), fixed)), "9,223,372,036,854,775,807");
    EXPECT_EQ(Text(FormatInteger(INT64_MIN, string("#,##0"), fixed)), "-9,223,372,036,854,775,808");
    EXPECT_EQ(Text(FormatInteger(INT64_MIN, string("0;(0)"), fixed)), "(9223372036854775808)");
    EXPECT_EQ(Text(FormatInteger(0, string("0;(0);none"), fixed)), "none");
    EXPECT_EQ(Text(FormatInteger(1152921504606846976LL, string("#,##0"), fixed)),
              "1,152,921,504,606,846,976");
    EXPECT_EQ(Text(FormatInteger(-42, string(), fixed)), "-42");
    EXPECT_EQ(Text(FormatInteger(15, string("0%"), fixed)), "1500%");
}

struct GeneralCase {
    double value;
    const char* expected;
};

void PrintTo(const GeneralCase& c, std::ostream* os) {
    char buffer[64];
    *os << std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, c.value).ptr);
}

class GeneralFormTest : public ::testing::TestWithParam<GeneralCase> {};

TEST_P(GeneralFormTest, ShowsShortestDigitsAroundThresholds) {
    EXPECT_EQ(Text(NumberStr(GetParam().value)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Thresholds, GeneralFormTest, ::testing::Values(
    GeneralCase{0, "0"},
    GeneralCase{-0.0, "0"},
    GeneralCase{123, "123"},
    GeneralCase{-123.25, "-123.25"},
    GeneralCase{0.1, "0.1"},
    GeneralCase{1.0 / 3, "0.3333333333333333"},
    GeneralCase{0.0001, "0.0001"},
    GeneralCase{0.000099, "9.9e-05"},
    GeneralCase{9999999999999998.0, "9999999999999998"},
    GeneralCase{1e16, "1e+16"},
    GeneralCase{-1.5e300, "-1.5e+300"},
    GeneralCase{1e308, "1e+308"},
    GeneralCase{1e-308, "1e-308"},
    GeneralCase{5e-324, "5e-324"},
    GeneralCase{1.7976931348623157e308, "1.7976931348623157e+308"},
    GeneralCase{kNaN, "NaN"},
    GeneralCase{kInf, "INF"},
    GeneralCase{-kInf, "-INF"}));

TEST(NumberFormat, RoundTripTextReadsBackTheSameDouble) {
    const double values[] = {0.1, 1.0 / 3, 2.675, 1e16, 1e308, 1e-308, 5e-324,
                             -1.7976931348623157e308, 9007199254740993.0, 123456789.125};
    for (double value : values) {
        const std::string text = Text(NumberRoundTrip(value));
        double back = 0;
        const auto result = std::from_chars(text.data(), text.data() + text.size(), back);
        ASSERT_EQ(result.ec, std::errc()) << text;
        EXPECT_EQ(back, value) << text;
    }
    EXPECT_EQ(Text(NumberRoundTrip(0.1)), "0.1");
    EXPECT_EQ(Text(NumberRoundTrip(-0.0)), "-0");
    EXPECT_EQ(Text(NumberRoundTrip(kNaN)), "nan");
    EXPECT_EQ(Text(NumberRoundTrip(-kInf)), "-inf");
}

}  // namespace
