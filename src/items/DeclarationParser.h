// DeclarationParser.h - splits the declarations plug-ins register ("Name( params ) as Type")
// into name, parameter text, return type and parameter types, and names scope flags.
//
// Every scan is one pass over the text with no allocation but the result. Nothing here
// trims, changes case or reports an error: missing parts come back absent (nil host
// strings, empty framework strings), unbalanced parentheses are tolerated.
// Not here: what the item classes keep of a declaration (they call these routines).
#ifndef ZYNE_ITEMS_DECLARATION_PARSER_H
#define ZYNE_ITEMS_DECLARATION_PARSER_H

#include "core/SimpleVector.h"
#include "core/string.h"
#include "hostapi/ZYNEPlugin.h"

/// A run of bytes inside a declaration. `present` false: the part is absent (start and
/// length are then 0).
struct DeclarationSpan {
    long start = 0;
    long length = 0;
    bool present = false;
};

/// The parameter types of one declaration, in order. Holds one reference on each text
/// and releases them when cleared or destroyed. Not copyable.
class ParameterTypeList {
public:
    ParameterTypeList() = default;
    ~ParameterTypeList() { Clear(); }
    ParameterTypeList(const ParameterTypeList&) = delete;
    ParameterTypeList& operator=(const ParameterTypeList&) = delete;

    /// Number of types.
    long Count() const { return mCount; }
    /// The type at `index` (shared); the empty string when index is not in 0 .. Count() - 1.
    string At(long index) const;
    string operator[](long index) const { return At(index); }
    /// Appends `type` (shared). False, with the list unchanged, when memory ran out.
    bool Append(const string& type);
    /// Releases every text; the count becomes 0 (the slots are kept for reuse).
    void Clear();

private:
    SimpleVector<stringStorage*> mTypes;  // slots 0 .. mCount - 1 each hold one reference
    long mCount = 0;                      // invariant: 0 <= mCount <= mTypes.Count()
};

/// The declaration scans. All take a NUL-terminated text; a null text counts as empty.
class DeclarationParser {
public:
    // --- Where each part lies (no allocation) ------------------------------------------

    /// The leading identifier: letters, "_", "~", bytes of 128 and above and, past the
    /// first byte, digits. Always present, possibly of length 0 (text starting with a
    /// blank or a digit). No whitespace is skipped.
    static DeclarationSpan FindName(const char* declaration);
    /// The bytes strictly between the first "(" and its matching ")" (or the end of the
    /// text when it is missing), untrimmed. Absent without "(" or when nothing lies
    /// between the parentheses ("Name()").
    static DeclarationSpan FindParameters(const char* declaration);
    /// The text after the last " As " (one blank, "As" in any case, one blank) that lies
    /// outside parentheses, untrimmed; scanned from the right, skipping parenthesised
    /// groups whole. Absent when there is none; a text of 4 bytes or less never has one.
    static DeclarationSpan FindReturnType(const char* declaration);

    // --- Framework strings (tagged UTF-8; absent gives the empty string) ------------------

    static string Name(const char* declaration);
    static string Parameters(const char* declaration);
    static string ReturnType(const char* declaration);

    // --- Host strings ----------------------------------------------------------------------

    /// New host strings (built with "ZYNEBuildString", then tagged UTF-8); the caller owns
    /// the one reference. GetName is never nil for a live host (an empty text gives an
    /// empty string); GetParameters and GetReturnType give nil when the part is absent.
    static ZYNEstring GetName(const char* declaration);
    static ZYNEstring GetParameters(const char* declaration);
    static ZYNEstring GetReturnType(const char* declaration);

    /// Clears `types`, then fills it with the type of each parameter in order: its last
    /// blank-separated word, with "(n)" appended for an array parameter where n is the
    /// number of commas inside its parentheses (no suffix from ten commas on), trimmed of
    /// whitespace. No parameters (or none present) leave the list empty; an empty last
    /// parameter (after a trailing comma) adds nothing.
    static void GetParameterTypes(const char* declaration, ParameterTypeList& types);
};

/// The scope a flags word names: 16 "Global", 32 "Public", 64 "Protected", 128 "Private",
/// tested in that order, first match wins. Null when none of these bits is set. The text
/// is static.
const char* ItemFlagsToScopeString(long flags);

/// True for the six whitespace bytes: space, tab, carriage return, line feed, vertical
/// tab and form feed. Nothing else, not even bytes of 128 and above.
bool is_space(char c);

#endif  // ZYNE_ITEMS_DECLARATION_PARSER_H
