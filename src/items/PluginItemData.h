// PluginItemData.h - what the item objects keep of a guest's method, property, constant,
// enumeration and structure records.
//
// Each class is the instance data of one host-visible item class (PluginMethod,
// PluginProperty, PluginConstant, PluginEnum, PluginStructure): plain words, in the order
// the host reads them as fields. Texts are host strings holding one lock each, released
// when replaced or by Clear(); nil means absent. Nothing here points into the guest: a
// data object stays valid after its guest library is unloaded.
//
// The objects live in host-allocated instance data, so they are set up with placement
// new by the class's constructor and torn down by Clear() in its destructor.
#ifndef ZYNE_ITEMS_PLUGIN_ITEM_DATA_H
#define ZYNE_ITEMS_PLUGIN_ITEM_DATA_H

#include "hostapi/ZYNEPlugin.h"

/// A list of locked host strings, released by Clear(). Plain words (a malloc'd array and
/// its count), so that it can sit in host instance data.
class HostStringList {
public:
    long Count() const { return mCount; }
    /// The string at `index` (not locked for the caller); nil out of range.
    ZYNEstring At(long index) const;
    /// Replaces the list with a copy of `count` texts (nil texts become empty strings).
    /// A null list or a count below 1 leaves it empty.
    void Assign(const char* const* texts, long count);
    void Clear();

private:
    ZYNEstring* mStrings = nullptr;  // mCount locked strings (entries may be nil)
    long mCount = 0;
};

/// A method or event: the parts of its declaration, its routines and flags.
struct PluginMethodData {
    /// Releases the four strings; a null declaration leaves them all absent. Otherwise
    /// name, parameters and return type are split out of it and the whole text kept.
    void ParseDeclaration(const char* text);
    void SetGetterSetter(void* getterRoutine, void* setterRoutine);
    void Clear();

    ZYNEstring name = nullptr;
    ZYNEstring parameters = nullptr;
    ZYNEstring returnType = nullptr;
    ZYNEstring declaration = nullptr;
    long getter = 0;  // routine addresses as integers, shown as such to the host
    long setter = 0;
    long flags = 0;
    bool isShared = false;
};

/// A property: copied from its record without parsing.
struct PluginPropertyData {
    /// Name and type copied as they stand (a null type stays absent); param kept.
    void SetDeclaration(const char* nameText, const char* typeText, long param);
    void SetGetterSetter(void* getterRoutine, void* setterRoutine);
    void SetGroup(const char* groupText);
    /// Replaces the enumeration texts; a null list or a count of 0 leaves none.
    void SetEnums(const char* const* entries, long count);
    void SetFlags(unsigned long flagsWord) { flags = static_cast<long>(flagsWord); }
    /// Fills everything from one property record.
    void SetFromRecord(const ZYNEproperty& record, bool shared);
    void Clear();

    HostStringList enums;
    long enumCount = 0;
    ZYNEstring group = nullptr;
    ZYNEstring name = nullptr;
    long parameterValue = 0;
    ZYNEstring type = nullptr;
    long getter = 0;
    long setter = 0;
    long flags = 0;
    bool isShared = false;
};

/// A constant: "name [as type] = value".
struct PluginConstantData {
    /// Keeps the record's flags, releases the three strings and, for a non-null
    /// declaration, takes the name, the whole text and the value: the text after the
    /// first "=" with leading whitespace skipped (empty when there is no "="). No type is
    /// split out: "Pi as Double = 3.14" gives the value "3.14".
    void ParseDeclaration(const ZYNEconstant* record);
    void Clear();

    ZYNEstring name = nullptr;
    ZYNEstring declaration = nullptr;
    ZYNEstring value = nullptr;
    long flags = 0;
};

/// An enumeration: name and type copied whole, one text per field.
struct PluginEnumData {
    void ParseDeclaration(const ZYNEenum* record);
    void Clear();

    ZYNEstring name = nullptr;
    ZYNEstring type = nullptr;
    long flags = 0;
    HostStringList fields;
    long fieldCount = 0;
};

/// A structure: name copied whole, one text per field.
struct PluginStructureData {
    void ParseDeclaration(const ZYNEstructure* record);
    void Clear();

    ZYNEstring name = nullptr;
    long flags = 0;
    HostStringList fields;
    long fieldCount = 0;
};

/// A new host string of `text` (nil for a null text), tagged UTF-8; the caller owns it.
ZYNEstring NewUTF8HostString(const char* text);

#endif  // ZYNE_ITEMS_PLUGIN_ITEM_DATA_H
