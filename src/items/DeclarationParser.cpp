// DeclarationParser.cpp - the declaration scans: name, parameter text, return type and
// parameter types, plus the scope names of item flags.
//
// The scans work on byte offsets and allocate nothing; only the Get... wrappers build
// strings, framework or host, from the spans they find.
#include "items/DeclarationParser.h"

#include <cstring>

#include "encodings/Encodings.h"

namespace {

constexpr unsigned long kUTF8Tag = kEncodingUTF8;

long LengthOf(const char* text) {
    return text != nullptr ? static_cast<long>(strlen(text)) : 0;
}

bool IsNameByte(unsigned char c, bool first) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) return true;
    if (c == '_' || c == '~' || c >= 0x80) return true;
    return !first && c >= '0' && c <= '9';
}

// The separator before a return type: exactly one blank, "As" in any case, one blank.
bool IsAsSeparator(const char* at) {
    return at[0] == ' ' && (at[1] == 'a' || at[1] == 'A') && (at[2] == 's' || at[2] == 'S') &&
           at[3] == ' ';
}

// Only space and tab separate words inside a parameter list.
bool IsParameterBlank(char c) {
    return c == ' ' || c == '\t';
}

string FrameworkString(const char* declaration, DeclarationSpan span) {
    string result;
    if (!span.present || span.length == 0) return result;
    result.ConstructFromBuffer(declaration + span.start, static_cast<unsigned>(span.length));
    result.SetEncoding(kUTF8Tag);
    return result;
}

ZYNEstring HostString(const char* declaration, DeclarationSpan span) {
    if (!span.present) return nullptr;
    const char* bytes = span.length > 0 ? declaration + span.start : "";
    ZYNEstring result = ZYNEBuildString(bytes, static_cast<int>(span.length));
    if (result != nullptr) ZYNESetStringEncoding(result, kUTF8Tag);
    return result;
}

// Adds the type that runs from `start` to `end` of `parameters`, with the array suffix
// when one applies, trimmed of whitespace.
void EmitType(const char* parameters, long start, long end, bool array, long commas,
              ParameterTypeList& types) {
    char suffix[3] = {'(', '0', ')'};
    const bool withSuffix = array && commas <= 9;
    if (withSuffix) suffix[1] = static_cast<char>('0' + commas);
    // The suffix goes on before trimming, so blanks before it stay (kept on purpose:
    // "values() as String " gives "String (0)").
    long first = start;
    long last = withSuffix ? end + 3 : end;  // one past the last byte of type + suffix
    auto byteAt = [&](long i) { return i < end ? parameters[i] : suffix[i - end]; };
    while (first < last && is_space(byteAt(first))) ++first;
    while (last > first && is_space(byteAt(last - 1))) --last;

    string type;
    if (last > first) {
        type.ConstructFromBuffer(nullptr, static_cast<unsigned>(last - first));
        char* out = type.CString();
        for (long i = first; i < last; ++i) *out++ = byteAt(i);
        type.SetEncoding(kUTF8Tag);
    }
    types.Append(type);
}

}  // namespace

// ----- ParameterTypeList ----------------------------------------------------------------

string ParameterTypeList::At(long index) const {
    if (index < 0 || index >= mCount) return string();
    return string::ShareStorage(mTypes[index]);
}

bool ParameterTypeList::Append(const string& type) {
    stringStorage** slot = mTypes.GrowingAt(mCount);
    if (slot == nullptr) return false;
    *slot = type.ExtractStringStorage();
    ++mCount;
    return true;
}

void ParameterTypeList::Clear() {
    for (long i = 0; i < mCount; ++i) {
        if (mTypes[i] != nullptr) mTypes[i]->RemoveReference();
        mTypes[i] = nullptr;
    }
    mCount = 0;
}

// ----- Scans ------------------------------------------------------------------------------

DeclarationSpan DeclarationParser::FindName(const char* declaration) {
    DeclarationSpan span{.start = 0, .length = 0, .present = true};
    if (declaration == nullptr) return span;
    long i = 0;
    while (declaration[i] != 0 && IsNameByte(static_cast<unsigned char>(declaration[i]), i == 0))
        ++i;
    span.length = i;
    return span;
}

DeclarationSpan DeclarationParser::FindParameters(const char* declaration) {
    const long length = LengthOf(declaration);
    if (length == 0) return {};
    const char* open = strchr(declaration, '(');
    if (open == nullptr) return {};
    const long p = open - declaration;
    long end = p + 1;
    for (long depth = 0; end < length; ++end) {
        const char c = declaration[end];
        if (c == '(') {
            ++depth;
        } else if (c == ')') {
            if (depth == 0) break;
            --depth;
        }
    }
    // A missing ")" lets the parameters run to the end of the text.
    if (end - p - 1 <= 0) return {};  // "Name()" has no parameters, not empty ones
    return {.start = p + 1, .length = end - p - 1, .present = true};
}

DeclarationSpan DeclarationParser::FindReturnType(const char* declaration) {
    const long length = LengthOf(declaration);
    long i = length - 1;
    long depth = 0;
    // From the right: the separator is only looked for outside parentheses, and a
    // parenthesised group (parameters or array bounds) is stepped over whole.
    for (;;) {
        if (i <= 3) return {};
        if (depth == 0 && IsAsSeparator(declaration + i - 3))
            return {.start = i + 1, .length = length - (i + 1), .present = true};
        do {
            if (i <= 3) return {};
            if (declaration[i] == '(') ++depth;
            if (declaration[i] == ')') --depth;
            --i;
        } while (depth != 0);
    }
}

// ----- Strings ----------------------------------------------------------------------------

string DeclarationParser::Name(const char* declaration) {
    return FrameworkString(declaration, FindName(declaration));
}

string DeclarationParser::Parameters(const char* declaration) {
    return FrameworkString(declaration, FindParameters(declaration));
}

string DeclarationParser::ReturnType(const char* declaration) {
    return FrameworkString(declaration, FindReturnType(declaration));
}

ZYNEstring DeclarationParser::GetName(const char* declaration) {
    return HostString(declaration, FindName(declaration));
}

ZYNEstring DeclarationParser::GetParameters(const char* declaration) {
    return HostString(declaration, FindParameters(declaration));
}

ZYNEstring DeclarationParser::GetReturnType(const char* declaration) {
    return HostString(declaration, FindReturnType(declaration));
}

void DeclarationParser::GetParameterTypes(const char* declaration, ParameterTypeList& types) {
    types.Clear();
    const DeclarationSpan span = FindParameters(declaration);
    if (!span.present) return;
    const char* parameters = declaration + span.start;
    const long length = span.length;

    long start = 0;
    bool afterBlank = true;
    bool inParentheses = false;
    bool array = false;
    long commas = 0;
    for (long j = 0; j < length; ++j) {
        const char c = parameters[j];
        if (IsParameterBlank(c)) {
            afterBlank = true;
        } else if (c == '(') {
            inParentheses = true;
            array = true;
        } else if (c == ')') {
            // Nesting is not tracked: any ")" ends the bounds.
            inParentheses = false;
        } else if (c == ',') {
            if (inParentheses) {
                ++commas;  // one more dimension
            } else {
                EmitType(parameters, start, j, array, commas, types);
                start = j + 1;
                inParentheses = false;
                array = false;
                commas = 0;
            }
        } else if (afterBlank) {
            start = j;
            afterBlank = false;
        }
    }
    if (start < length) EmitType(parameters, start, length, array, commas, types);
}

// ----- Scope and whitespace -----------------------------------------------------------------

const char* ItemFlagsToScopeString(long flags) {
    if ((flags & 16) != 0) return "Global";
    if ((flags & 32) != 0) return "Public";
    if ((flags & 64) != 0) return "Protected";
    if ((flags & 128) != 0) return "Private";
    return nullptr;
}

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}
