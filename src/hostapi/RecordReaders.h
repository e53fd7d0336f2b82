// RecordReaders.h - reading the method lists of records that guests built.
//
// A guest's records may be of an older version than the bridge's: method lists of
// records below version 7 hold three-word methods. These helpers find method number
// `index` in either form and refuse any index outside the list, so that a reader
// never walks past what the guest gave it. Counts and indexes compare as signed
// numbers, as the records store them.
#ifndef ZYNE_HOSTAPI_RECORD_READERS_H
#define ZYNE_HOSTAPI_RECORD_READERS_H

#include "hostapi/ZYNERecords.h"

// The address of method record `index` of a list, in the earlier three-word form
// when `earlierForm` is set. Unchecked: see GetMethodInList.
inline const void* GetMethodDefinition(const void* methods, long index, bool earlierForm) {
    const long words = earlierForm ? 3 : 4;
    return static_cast<const void* const*>(methods) + index * words;
}

// Method record `index` of a list of `count`, or null for an index below 0 or at or
// past the count, and for a null list. The first three words of both forms agree,
// so the result reads as a ZYNEmethodDefinition for them; its flags word exists
// only when `earlierForm` is false.
inline const ZYNEmethodDefinition* GetMethodInList(const void* methods, long count, long index,
                                                   bool earlierForm) {
    if (methods == nullptr || index < 0 || index >= count) return nullptr;
    return static_cast<const ZYNEmethodDefinition*>(
        GetMethodDefinition(methods, index, earlierForm));
}

// Whether a record of this version keeps its main method list in the earlier form.
inline bool UsesEarlierMethodForm(long recordVersion) { return recordVersion < 7; }

#endif  // ZYNE_HOSTAPI_RECORD_READERS_H
