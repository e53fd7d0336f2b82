// DeclarationParserTest.cpp - the declaration scans, table-driven against the library's
// static objects: names, parameter texts, return types, parameter types, scope words
// and whitespace; then the host-string results, built through a reference host that
// answers the library's services directly (no bridge is loaded).
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ReferenceHost.h"
#include "items/DeclarationParser.h"

namespace {

using zyne::host::ReferenceHost;

std::optional<std::string> Part(const char* declaration, DeclarationSpan span) {
    if (!span.present) return std::nullopt;
    return std::string(declaration + span.start, static_cast<size_t>(span.length));
}

std::string Show(const std::optional<std::string>& part) {
    return part ? "\"" + *part + "\"" : "<absent>";
}

struct SplitRow {
    const char* declaration;
    const char* name;
    std::optional<std::string> parameters;
    std::optional<std::string> returnType;
};

const SplitRow kSplitRows[] = {
    {"GetEvent( index as integer ) as PluginMethod", "GetEvent", " index as integer ",
     "PluginMethod"},
    // The only " as " lies inside the parentheses.
    {"Draw( g as Graphics )", "Draw", " g as Graphics ", std::nullopt},
    {"~Destructor()", "~Destructor", std::nullopt, std::nullopt},
    {"2x", "", std::nullopt, std::nullopt},
    {" Leading", "", std::nullopt, std::nullopt},
    {"x2_y(a)", "x2_y", "a", std::nullopt},
    {"Gr\xC3\xB6\xC3\x9F"
     "e( v as Integer ) as String",
     "Gr\xC3\xB6\xC3\x9F"
     "e",
     " v as Integer ", "String"},
    {"Create()", "Create", std::nullopt, std::nullopt},
    {"Move( x as integer, y as integer, width as integer, height as integer )", "Move",
     " x as integer, y as integer, width as integer, height as integer ", std::nullopt},
    // No closing parenthesis: the parameters run to the end.
    {"F(a as Integer", "F", "a as Integer", "Integer"},
    {"Create( parent as window ) as PluginControlInstance", "Create", " parent as window ",
     "PluginControlInstance"},
    {"Create( parent as window )\tas PluginControlInstance", "Create", " parent as window ",
     std::nullopt},
    {"GetEnum( index As Integer ) As String", "GetEnum", " index As Integer ", "String"},
    {"Count aS Integer", "Count", std::nullopt, "Integer"},
    // Nested parentheses: the parameter text keeps the inner group, and a return type
    // with its own parentheses is skipped whole when looking for the separator.
    {"Grid( a(2, 3) as Integer ) as Double(,)", "Grid", " a(2, 3) as Integer ", "Double(,)"},
    {"Make() as Dictionary(k as String)", "Make", std::nullopt, "Dictionary(k as String)"},
    // The last separator outside parentheses wins; the type is not trimmed.
    {"Cast as Foo as  Bar ", "Cast", std::nullopt, " Bar "},
    // Too short to hold a return type, or the separator at the very start.
    {" as ", "", std::nullopt, std::nullopt},
    {" as X", "", std::nullopt, std::nullopt},
    {"x as ", "x", std::nullopt, ""},
    {"y as Z", "y", std::nullopt, "Z"},
    {"", "", std::nullopt, std::nullopt},
    {"Odd(a)) as X", "Odd", "a", "X"},
};

TEST(DeclarationParserTest, SplitsNameParametersAndReturnType) {
    for (const SplitRow& row : kSplitRows) {
        SCOPED_TRACE(row.declaration);
        EXPECT_EQ(Show(Part(row.declaration, DeclarationParser::FindName(row.declaration))),
                  Show(std::string(row.name)));
        EXPECT_EQ(Show(Part(row.declaration, DeclarationParser::FindParameters(row.declaration))),
                  Show(row.parameters));
        EXPECT_EQ(Show(Part(row.declaration, DeclarationParser::FindReturnType(row.declaration))),
                  Show(row.returnType));
        // The framework strings carry the same bytes (absent reads as empty).
        EXPECT_EQ(std::string(DeclarationParser::Name(row.declaration).CString()), row.name);
        EXPECT_EQ(std::string(DeclarationParser::Parameters(row.declaration).CString()),
                  row.parameters.value_or(""));
        EXPECT_EQ(std::string(DeclarationParser::ReturnType(row.declaration).CString()),
                  row.returnType.value_or(""));
    }
}

TEST(DeclarationParserTest, NullDeclarationHasAnEmptyNameAndNothingElse) {
    EXPECT_TRUE(DeclarationParser::FindName(nullptr).present);
    EXPECT_EQ(DeclarationParser::FindName(nullptr).length, 0);
    EXPECT_FALSE(DeclarationParser::FindParameters(nullptr).present);
    EXPECT_FALSE(DeclarationParser::FindReturnType(nullptr).present);
    ParameterTypeList types;
    DeclarationParser::GetParameterTypes(nullptr, types);
    EXPECT_EQ(types.Count(), 0);
}

std::vector<std::string> TypesOf(const char* declaration, ParameterTypeList& types) {
    DeclarationParser::GetParameterTypes(declaration, types);
    std::vector<std::string> result;
    for (long i = 0; i < types.Count(); ++i) result.emplace_back(types[i].CString());
    return result;
}

TEST(DeclarationParserTest, ParameterTypesAreLastWordsWithArraySuffixes) {
    using Types = std::vector<std::string>;
    const struct {
        const char* declaration;
        Types types;
    } rows[] = {
        {"Prop( propertyName as string ) as Variant", {"string"}},
        {"Resize( x as Double, y as Double )", {"Double", "Double"}},
        {"Sort(values() as String)", {"String(0)"}},
        {"Fill(grid(,) as Integer)", {"Integer(1)"}},
        // The array state ends with its parameter.
        {"Cube(c(,,) as Integer, n as Integer)", {"Integer(2)", "Integer"}},
        {"Nine(a(,,,,,,,,,) as Integer)", {"Integer(9)"}},
        {"Ten(a(,,,,,,,,,,) as Integer)", {"Integer"}},  // no suffix from ten commas on
        {"F( x )", {"x"}},
        {"F(a,b)", {"a", "b"}},
        {"Go( ByRef x as Integer, ParamArray z as String )", {"Integer", "String"}},
        // The last word, whatever it is.
        {"Opt( Optional y as Double = 1.5 )", {"1.5"}},
        {"Tabs(\tk\tas\tString\t)", {"String"}},
        // Blanks before the bounds stay: the suffix is appended before trimming.
        {"Odd( v() as String )", {"String (0)"}},
        // Only space and tab separate words.
        {"R( v as\rString )", {"as\rString"}},
        {"F(a as Integer,)", {"Integer"}},  // an empty last parameter adds nothing
        {"F(, b as Long)", {"", "Long"}},   // an empty first one adds an empty type
        {"F()", {}},
        {"NoParameters", {}},
        {"", {}},
        // A missing ")" runs to the end.
        {"F(a as Integer, b as String", {"Integer", "String"}},
    };
    ParameterTypeList types;  // reused: each call starts from an empty list
    for (const auto& row : rows) {
        SCOPED_TRACE(row.declaration);
        EXPECT_EQ(TypesOf(row.declaration, types), row.types);
    }
}

TEST(DeclarationParserTest, ParameterTypeListBoundsAndGrowth) {
    ParameterTypeList types;
    std::string declaration = "Many(";
    for (int i = 0; i < 40; ++i) declaration += (i ? ", p as T" : "p as T") + std::to_string(i);
    declaration += ")";
    DeclarationParser::GetParameterTypes(declaration.c_str(), types);
    ASSERT_EQ(types.Count(), 40);
    EXPECT_STREQ(types[39].CString(), "T39");
    EXPECT_TRUE(types[40].IsEmpty());
    EXPECT_TRUE(types[-1].IsEmpty());
    const string kept = types[0];  // a shared text outlives the list's clearing
    types.Clear();
    EXPECT_EQ(types.Count(), 0);
    EXPECT_STREQ(kept.CString(), "T0");
}

TEST(DeclarationParserTest, ScopeWordsFirstMatchWins) {
    const struct {
        long flags;
        const char* scope;
    } rows[] = {
        {16, "Global"},
        {32, "Public"},
        {64, "Protected"},
        {128, "Private"},
        {16 | 128, "Global"},
        {32 | 64, "Public"},
        {64 | 128 | 256, "Protected"},
        {0, nullptr},
        {1 | 2 | 4 | 8 | 256, nullptr},
        {-1, "Global"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.flags);
        const char* scope = ItemFlagsToScopeString(row.flags);
        if (row.scope == nullptr) {
            EXPECT_EQ(scope, nullptr);
        } else {
            EXPECT_STREQ(scope, row.scope);
        }
    }
}

TEST(DeclarationParserTest, WhitespaceIsExactlySixBytes) {
    for (int c = -128; c < 128; ++c) {
        const bool expected =
            c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
        EXPECT_EQ(is_space(static_cast<char>(c)), expected) << c;
    }
}

// The host-string forms: built with "ZYNEBuildString" and tagged UTF-8; absent is nil.
TEST(DeclarationParserTest, HostStringsAreTaggedUtf8AndAbsentIsNil) {
    ReferenceHost host;  // answers the library's services; no bridge is loaded
    gResolver = ReferenceHost::Resolver();
    constexpr unsigned long kUTF8 = 0x08000100;
    const size_t before = host.LiveStrings();

    const char* declaration = "GetEvent( index as integer ) as PluginMethod";
    const struct {
        ZYNEstring string;
        const char* text;
    } made[] = {
        {DeclarationParser::GetName(declaration), "GetEvent"},
        {DeclarationParser::GetParameters(declaration), " index as integer "},
        {DeclarationParser::GetReturnType(declaration), "PluginMethod"},
        {DeclarationParser::GetName("2x"), ""},  // empty, but a string
    };
    for (const auto& m : made) {
        SCOPED_TRACE(m.text);
        ASSERT_NE(m.string, nullptr);
        EXPECT_EQ(ReferenceHost::Text(m.string), m.text);
        EXPECT_EQ(m.string->hostWord1, kUTF8);
        EXPECT_EQ(host.RefCount(m.string), 1);
        host.Unlock(m.string);
    }
    EXPECT_EQ(DeclarationParser::GetParameters("Create()"), nullptr);
    EXPECT_EQ(DeclarationParser::GetReturnType("Draw( g as Graphics )"), nullptr);
    EXPECT_EQ(host.LiveStrings(), before);
    EXPECT_EQ(host.Count("ZYNESetStringEncoding(\"PluginMethod\", 134217984)"), 1U);
    EXPECT_TRUE(host.Faults().empty());
    gResolver = nullptr;
}

}  // namespace
