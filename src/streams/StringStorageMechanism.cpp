// StringStorageMechanism.cpp - the string-block stream: FilePtr plus one held reference.
#include "streams/StringStorageMechanism.h"

#include <climits>

StringStorageMechanism::~StringStorageMechanism() {
    StringStorageMechanism::Close();
}

void StringStorageMechanism::Open(stringStorage* block) {
    Close();
    storage = block;
    if (!storage) return;
    ++storage->referenceCount;
    // A block holds at most a 32-bit length; FilePtr reads up to INT_MAX bytes of it.
    const uint32_t n = storage->Length();
    FilePtr::Open(storage->CString(), n > INT_MAX ? INT_MAX : static_cast<int>(n));
}

bool StringStorageMechanism::WriteData(const void*, unsigned int) {
    lastError = kStreamErrorReadOnly;
    return false;
}

bool StringStorageMechanism::Close() {
    FilePtr::Open(nullptr, 0);
    if (storage) storage->RemoveReference();
    storage = nullptr;
    return true;
}

bool StringStorageMechanism::SetLength(unsigned long long) {
    lastError = kStreamErrorReadOnly;
    return false;
}
