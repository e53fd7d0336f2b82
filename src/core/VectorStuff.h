// VectorStuff.h - replaceable bulk byte tests used by the string type.
//
// VectorStuff() hands out one process-wide VectorStuffImp, created on first use.
// The indirection lets a processor-specific implementation take the place of the
// plain loops of VectorStuffScalarImp without touching any caller. Only the scalar
// implementation exists; no CPU detection is done here.
#ifndef ZYNE_CORE_VECTOR_STUFF_H
#define ZYNE_CORE_VECTOR_STUFF_H

/// Bulk byte routines; the slot order of the virtual operations is part of the
/// design (ContainsOnlyLowBytes is the first).
class VectorStuffImp {
public:
    /// True when each of the count bytes is below 0x80; true for count <= 0.
    /// bytes may be null only when count <= 0.
    virtual bool ContainsOnlyLowBytes(const unsigned char* bytes, long count) const = 0;

    virtual ~VectorStuffImp() = default;
};

/// The portable implementation: plain loops.
class VectorStuffScalarImp final : public VectorStuffImp {
public:
    bool ContainsOnlyLowBytes(const unsigned char* bytes, long count) const override;
};

/// The process-wide implementation, created on first call and kept until exit.
/// Never null; the object belongs to the library.
const VectorStuffImp* VectorStuff();

#endif  // ZYNE_CORE_VECTOR_STUFF_H
