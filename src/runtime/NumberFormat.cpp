// NumberFormat.cpp - numbers to text: format patterns, the general form and round-trip text.
//
// Every number becomes a decimal first (its significant digits and where the point goes),
// taken from the shortest round-trip text of a double or the exact digits of an integer.
// Rounding, "%" scaling and the layout then work on those digits alone, so no binary
// arithmetic, and no difference between the x87 and SSE builds, reaches the text. A
// pattern is split into sections and each section into tokens once per call; the tokens
// are then walked left to right, with the integer digits placed from the right.
#include "runtime/NumberFormat.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "encodings/Encodings.h"

namespace {

// A decimal number: value = 0.digits x 10^point. digits has no leading or trailing
// zeros and is empty for zero (point is then 0).
struct Decimal {
    std::string digits;
    long point = 0;
};

char DigitAt(const Decimal& d, long index) {
    if (index < 0 || index >= static_cast<long>(d.digits.size())) return '0';
    return d.digits[static_cast<size_t>(index)];
}

void Normalise(Decimal& d) {
    size_t first = d.digits.find_first_not_of('0');
    if (first == std::string::npos) {
        d.digits.clear();
        d.point = 0;
        return;
    }
    d.digits.erase(0, first);
    d.point -= static_cast<long>(first);
    d.digits.erase(d.digits.find_last_not_of('0') + 1);
}

// The magnitude of a finite double as its shortest round-trip decimal.
Decimal DecimalFromDouble(double value) {
    Decimal d;
    char text[64];  // "2.2250738585072014e-308" and kin fit with room to spare
    const std::to_chars_result result =
        std::to_chars(text, text + sizeof text, std::fabs(value), std::chars_format::scientific);
    const std::string_view view(text, static_cast<size_t>(result.ptr - text));
    const size_t e = view.find('e');
    for (char c : view.substr(0, e))
        if (c != '.') d.digits += c;
    long exponent = 0;
    if (e != std::string_view::npos) {
        const char* p = text + e + 1;
        if (*p == '+') ++p;
        std::from_chars(p, result.ptr, exponent);
    }
    d.point = exponent + 1;
    Normalise(d);
    return d;
}

Decimal DecimalFromInteger(int64_t value) {
    // The magnitude in unsigned arithmetic, so that the most negative value has one too.
    uint64_t magnitude = static_cast<uint64_t>(value);
    if (value < 0) magnitude = 0 - magnitude;
    Decimal d;
    d.digits = std::to_string(magnitude);
    d.point = static_cast<long>(d.digits.size());
    Normalise(d);
    return d;
}

// Keeps the first keep digits, rounding half away from zero on the digit after them (the
// magnitude is rounded, so away from zero for either sign).
void RoundToDigits(Decimal& d, long keep) {
    if (keep >= static_cast<long>(d.digits.size())) return;
    if (keep < 0) {
        d.digits.clear();
        d.point = 0;
        return;
    }
    const bool up = d.digits[static_cast<size_t>(keep)] >= '5';
    d.digits.resize(static_cast<size_t>(keep));
    if (up) {
        long i = keep - 1;
        while (i >= 0 && d.digits[static_cast<size_t>(i)] == '9') {
            d.digits[static_cast<size_t>(i)] = '0';
            --i;
        }
        if (i < 0) {
            d.digits.insert(d.digits.begin(), '1');
            d.point += 1;
        } else {
            ++d.digits[static_cast<size_t>(i)];
        }
    }
    Normalise(d);
}

// --- Patterns -----------------------------------------------------------------------------

enum class Kind { Literal, Digit, Point, Group, Percent, Exponent, Minus, Plus, Open, Close };
enum class Region { Integer, Fraction, Exponent };

struct Token {
    Kind kind;
    char ch;        // the byte: '0' or '#' for digits, the letter for an exponent
    Region region;  // where a digit stands
    bool expSign;   // exponent: true for "+" (sign always shown)
};

struct Section {
    std::vector<Token> tokens;
    long intCount = 0;
    long fracCount = 0;
    long expCount = 0;
    long expZeros = 0;
    long percents = 0;
    bool hasPoint = false;
    bool hasExponent = false;
    bool grouping = false;
    bool hasParens = false;
    bool hasSignPlaces = false;
    std::string fracKinds;  // '0' or '#' for each fraction placeholder, left to right
};

// The sections of a pattern, split at ";" that no "\" escapes.
std::vector<std::string_view> SplitSections(std::string_view pattern) {
    std::vector<std::string_view> sections;
    size_t start = 0;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '\\') {
            ++i;
        } else if (pattern[i] == ';') {
            sections.push_back(pattern.substr(start, i - start));
            start = i + 1;
        }
    }
    sections.push_back(pattern.substr(start));
    return sections;
}

Section ParseSection(std::string_view text) {
    Section s;
    bool seenPoint = false;
    std::vector<size_t> commas;
    long firstInt = -1;
    long lastInt = -1;
    long pointIndex = -1;
    bool hasOpen = false;
    bool hasClose = false;
    auto push = [&s](Kind kind, char ch, Region region = Region::Integer, bool sign = false) {
        s.tokens.push_back(Token{kind, ch, region, sign});
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const long index = static_cast<long>(s.tokens.size());
        if (c == '\\') {
            // A lone "\" at the end stands for itself.
            push(Kind::Literal, i + 1 < text.size() ? text[++i] : '\\');
        } else if (c == '0' || c == '#') {
            if (s.hasExponent) {
                push(Kind::Digit, c, Region::Exponent);
                ++s.expCount;
                if (c == '0') ++s.expZeros;
            } else if (seenPoint) {
                push(Kind::Digit, c, Region::Fraction);
                ++s.fracCount;
                s.fracKinds += c;
            } else {
                push(Kind::Digit, c, Region::Integer);
                ++s.intCount;
                if (firstInt < 0) firstInt = index;
                lastInt = index;
            }
        } else if (c == '.' && !seenPoint && !s.hasExponent) {
            seenPoint = true;
            s.hasPoint = true;
            pointIndex = index;
            push(Kind::Point, c);
        } else if (c == ',' && !seenPoint && !s.hasExponent) {
            commas.push_back(s.tokens.size());
            push(Kind::Literal, c);  // becomes a group mark below when it stands inside
        } else if (c == '%') {
            ++s.percents;
            push(Kind::Percent, c);
        } else if ((c == 'E' || c == 'e') && !s.hasExponent && i + 1 < text.size() &&
                   (text[i + 1] == '+' || text[i + 1] == '-')) {
            s.hasExponent = true;
            push(Kind::Exponent, c, Region::Exponent, text[++i] == '+');
        } else if (c == '-') {
            push(Kind::Minus, c);
        } else if (c == '+') {
            push(Kind::Plus, c);
        } else if (c == '(') {
            hasOpen = true;
            push(Kind::Open, c);
        } else if (c == ')') {
            hasClose = true;
            push(Kind::Close, c);
        } else {
            push(Kind::Literal, c);
        }
    }
    // A comma groups when it stands after the first integer placeholder and before the
    // point (or, without a point, before the last integer placeholder).
    const long end = pointIndex >= 0 ? pointIndex : lastInt;
    for (size_t at : commas) {
        const long index = static_cast<long>(at);
        if (firstInt >= 0 && index > firstInt && index < end) {
            s.tokens[at].kind = Kind::Group;
            s.grouping = true;
        }
    }
    s.hasParens = hasOpen && hasClose;
    for (const Token& t : s.tokens)
        if (t.kind == Kind::Minus || t.kind == Kind::Plus) s.hasSignPlaces = true;
    if (s.hasParens) s.hasSignPlaces = true;
    return s;
}

void Append(std::string& out, const string& text) {
    out.append(text.CString(), text.Length());
}

// Lays out the magnitude d with one section. signPlaces: the section is the first one,
// whose "-", "+" and parentheses are sign places and which adds a minus of its own;
// negative: the value is below zero.
std::string RenderSection(const Section& s, Decimal d, bool signPlaces, bool negative,
                          const NumberSeparators& separators) {
    if (!d.digits.empty()) d.point += 2 * s.percents;

    long exponent = 0;
    if (s.hasExponent) {
        const long mantissaInt = (s.intCount > 0 || s.fracCount == 0) ? 1 : 0;
        if (!d.digits.empty()) {
            RoundToDigits(d, mantissaInt + s.fracCount);
            exponent = d.point - mantissaInt;
            d.point = mantissaInt;
        }
    } else {
        RoundToDigits(d, d.point + s.fracCount);
    }
    // A value shown as zero carries no sign.
    const bool minus = negative && !d.digits.empty();

    // Integer digits, then what each integer placeholder shows.
    std::string intDigits;
    for (long i = 0; i < d.point; ++i) intDigits += DigitAt(d, i);
    const long length = static_cast<long>(intDigits.size());
    std::vector<std::string> intShown;
    long totalIntDigits = 0;
    {
        long placeholder = 0;
        for (const Token& t : s.tokens) {
            if (t.kind != Kind::Digit || t.region != Region::Integer) continue;
            const long fromRight = s.intCount - 1 - placeholder;
            std::string shown;
            if (placeholder == 0 && length > s.intCount)
                shown = intDigits.substr(0, static_cast<size_t>(length - s.intCount));
            if (fromRight < length)
                shown += intDigits[static_cast<size_t>(length - 1 - fromRight)];
            else if (t.ch == '0')
                shown += '0';
            totalIntDigits += static_cast<long>(shown.size());
            intShown.push_back(std::move(shown));
            ++placeholder;
        }
    }

    // Fraction digits; trailing zeros under "#" are dropped.
    std::string fracDigits;
    for (long j = 0; j < s.fracCount; ++j) fracDigits += DigitAt(d, d.point + j);
    long fracShown = s.fracCount;
    while (fracShown > 0 && s.fracKinds[static_cast<size_t>(fracShown - 1)] == '#' &&
           fracDigits[static_cast<size_t>(fracShown - 1)] == '0')
        --fracShown;
    const bool pointShown = s.hasPoint && (fracShown > 0 || s.fracCount == 0);

    std::string expDigits = std::to_string(exponent < 0 ? -exponent : exponent);
    if (static_cast<long>(expDigits.size()) < s.expZeros)
        expDigits.insert(0, static_cast<size_t>(s.expZeros) - expDigits.size(), '0');

    std::string out;
    bool autoMinusDone = !signPlaces || s.hasSignPlaces || !minus;
    long intIndex = 0;
    long fracIndex = 0;
    bool expDigitsDone = false;
    long intEmitted = 0;
    for (const Token& t : s.tokens) {
        const bool numberStarts =
            t.kind == Kind::Point || (t.kind == Kind::Digit && t.region != Region::Exponent);
        if (numberStarts && !autoMinusDone) {
            out += '-';
            autoMinusDone = true;
        }
        switch (t.kind) {
        case Kind::Literal:
            out += t.ch;
            break;
        case Kind::Digit:
            if (t.region == Region::Integer) {
                for (char c : intShown[static_cast<size_t>(intIndex)]) {
                    out += c;
                    ++intEmitted;
                    const long left = totalIntDigits - intEmitted;
                    if (s.grouping && left > 0 && left % 3 == 0)
                        Append(out, separators.thousandsSeparator);
                }
                ++intIndex;
            } else if (t.region == Region::Fraction) {
                if (fracIndex < fracShown) out += fracDigits[static_cast<size_t>(fracIndex)];
                ++fracIndex;
            } else if (!expDigitsDone) {
                out += expDigits;
                expDigitsDone = true;
            }
            break;
        case Kind::Point:
            // With no integer placeholder to hold them, the integer digits go here.
            if (s.intCount == 0) out += intDigits;
            if (pointShown) Append(out, separators.decimalSeparator);
            break;
        case Kind::Group:
            break;
        case Kind::Percent:
            out += '%';
            break;
        case Kind::Exponent:
            out += t.ch;
            if (exponent < 0)
                out += '-';
            else if (t.expSign)
                out += '+';
            if (s.expCount == 0) out += expDigits;
            break;
        case Kind::Minus:
            if (!signPlaces || minus) out += '-';
            break;
        case Kind::Plus:
            out += (signPlaces && minus) ? '-' : '+';
            break;
        case Kind::Open:
        case Kind::Close:
            if (!signPlaces || !s.hasParens || minus) out += t.ch;
            break;
        }
    }
    return out;
}

// --- Results ------------------------------------------------------------------------------

bool AllAscii(std::string_view bytes) {
    for (char c : bytes)
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    return true;
}

string MakeText(const std::string& bytes, const string& pattern) {
    string text;
    if (bytes.empty()) return text;
    text.ConstructFromBuffer(bytes.data(), static_cast<unsigned>(bytes.size()));
    if (AllAscii(bytes))
        text.SetEncoding(kEncodingASCII);
    else if (!pattern.ContainsOnlyASCII() && pattern.Encoding() != kEncodingUnknown)
        text.SetEncoding(pattern.Encoding());
    else if (pattern.ContainsOnlyASCII())
        text.SetEncoding(kEncodingUTF8);
    return text;
}

NumberSeparators Completed(const NumberSeparators& separators) {
    NumberSeparators result = separators;
    if (result.decimalSeparator.IsEmpty()) result.decimalSeparator = ".";
    if (result.thousandsSeparator.IsEmpty()) result.thousandsSeparator = ",";
    return result;
}

// The general form's bytes, with the given decimal separator.
std::string GeneralForm(double value, std::string_view decimalSeparator) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value < 0 ? "-INF" : "INF";
    if (value == 0) return "0";  // negative zero too
    const Decimal d = DecimalFromDouble(value);
    std::string out = value < 0 ? "-" : "";
    // Plain for 1e-4 <= |value| < 1e16: 0.digits x 10^point with point in -3 .. 16.
    if (d.point >= -3 && d.point <= 16) {
        if (d.point <= 0) {
            out += '0';
        } else {
            for (long i = 0; i < d.point; ++i) out += DigitAt(d, i);
        }
        if (static_cast<long>(d.digits.size()) > d.point) {
            out += decimalSeparator;
            for (long i = d.point < 0 ? d.point : 0; i < 0; ++i) out += '0';
            for (long i = d.point > 0 ? d.point : 0; i < static_cast<long>(d.digits.size()); ++i)
                out += DigitAt(d, i);
        }
        return out;
    }
    out += d.digits[0];
    if (d.digits.size() > 1) {
        out += decimalSeparator;
        out.append(d.digits, 1, std::string::npos);
    }
    const long exponent = d.point - 1;
    out += exponent < 0 ? "e-" : "e+";
    const std::string digits = std::to_string(exponent < 0 ? -exponent : exponent);
    if (digits.size() < 2) out += '0';
    out += digits;
    return out;
}

// Chooses the section and lays out d (the magnitude) with it.
string FormatDecimal(const Decimal& d, bool negative, const string& pattern,
                     const NumberSeparators& given) {
    const NumberSeparators separators = Completed(given);
    const std::string_view view(pattern.CString(), pattern.Length());
    const std::vector<std::string_view> sections = SplitSections(view);
    const bool isZero = d.digits.empty();
    const bool hasNegative = sections.size() >= 2 && !sections[1].empty();
    const bool hasZero = sections.size() >= 3 && !sections[2].empty();
    std::string out;
    if (isZero && hasZero)
        out = RenderSection(ParseSection(sections[2]), d, false, false, separators);
    else if (negative && !isZero && hasNegative)
        out = RenderSection(ParseSection(sections[1]), d, false, false, separators);
    else
        out = RenderSection(ParseSection(sections[0]), d, true, negative && !isZero, separators);
    return MakeText(out, pattern);
}

}  // namespace

NumberSeparators CurrentNumberSeparators() {
    NumberSeparators separators;
    if (const lconv* conventions = std::localeconv()) {
        if (conventions->decimal_point) {
            separators.decimalSeparator = string(conventions->decimal_point);
            if (!separators.decimalSeparator.ContainsOnlyASCII())
                separators.decimalSeparator.SetEncoding(kEncodingUTF8);
        }
        if (conventions->thousands_sep) {
            separators.thousandsSeparator = string(conventions->thousands_sep);
            if (!separators.thousandsSeparator.ContainsOnlyASCII())
                separators.thousandsSeparator.SetEncoding(kEncodingUTF8);
        }
    }
    return Completed(separators);
}

NumberSeparators FixedNumberSeparators() {
    return NumberSeparators{string("."), string(",")};
}

string FormatNumber(double value, const string& pattern) {
    return FormatNumber(value, pattern, CurrentNumberSeparators());
}

string FormatNumber(double value, const string& pattern, const NumberSeparators& separators) {
    if (std::isnan(value)) return string("NaN");
    if (std::isinf(value)) return string(value < 0 ? "-INF" : "INF");
    if (pattern.IsEmpty()) {
        const NumberSeparators completed = Completed(separators);
        const std::string out = GeneralForm(
            value, std::string_view(completed.decimalSeparator.CString(),
                                    completed.decimalSeparator.Length()));
        return MakeText(out, pattern);
    }
    return FormatDecimal(DecimalFromDouble(value), value < 0, pattern, separators);
}

string FormatInteger(int64_t value, const string& pattern) {
    return FormatInteger(value, pattern, CurrentNumberSeparators());
}

string FormatInteger(int64_t value, const string& pattern, const NumberSeparators& separators) {
    if (pattern.IsEmpty()) {
        const std::string out = std::to_string(value);
        return MakeText(out, pattern);
    }
    return FormatDecimal(DecimalFromInteger(value), value < 0, pattern, separators);
}

string NumberStr(double value) {
    return MakeText(GeneralForm(value, "."), string());
}

string NumberRoundTrip(double value) {
    char text[64];
    const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
    return MakeText(std::string(text, result.ptr), string());
}
