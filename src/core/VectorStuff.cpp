// VectorStuff.cpp - the scalar bulk byte routines and the process-wide instance.
//
// The scalar loops are the reference behaviour any faster implementation must
// match byte for byte.
#include "core/VectorStuff.h"

bool VectorStuffScalarImp::ContainsOnlyLowBytes(const unsigned char* bytes, long count) const {
    for (long i = 0; i < count; ++i) {
        if (bytes[i] >= 0x80) return false;
    }
    return true;
}

const VectorStuffImp* VectorStuff() {
    // A function-local static: built on first use, destroyed at exit.
    static const VectorStuffScalarImp gScalar;
    return &gScalar;
}
