// ZQToolbox.h - namespace ZQ: the classic memory, handle, rectangle and tick routines.
//
// Code written against the classic toolbox calls keeps working: pointers are malloc
// blocks, a handle is a pointer to a two-field block (the data pointer, then the size as
// a signed 32-bit count), rectangles are ZQ::Rect (hostapi/ZYNERecords.h). Handles never
// move, so HLock and HUnlock do nothing. The double-click time and the beep come from the
// GTK glue.
//
// Not here: memory errors (no MemError; results say what failed), purgeable or
// relocatable memory, regions.
#ifndef ZYNE_CORE_ZQ_TOOLBOX_H
#define ZYNE_CORE_ZQ_TOOLBOX_H

#include <cstdint>

#include "hostapi/ZYNERecords.h"

namespace ZQ {

typedef char* Ptr;
/// Points at the block { Ptr data; int32_t size; }: *handle is the data.
typedef Ptr* Handle;

/// A point in classic order: vertical, then horizontal.
struct Point {
    short v;
    short h;
};

/// A new block of `size` bytes (malloc), owned by the caller until DisposePtr. Null for a
/// negative size or when memory ran out.
Ptr NewPtr(long size);

/// NewPtr, with the bytes cleared.
Ptr NewPtrClear(long size);

/// Frees a block from NewPtr; null is ignored.
void DisposePtr(Ptr p);

/// Copies `count` bytes from `source` to `dest`; the ranges may overlap. Nothing for a
/// count of 0 or less.
void BlockMoveData(const void* source, void* dest, long count);

/// A new handle of `size` data bytes (not cleared), owned by the caller until
/// DisposeHandle. A size of 0 gives a handle whose data is null. Null for a size below 0
/// or above the 32-bit limit, or when memory ran out.
Handle NewHandle(long size);

/// NewHandle, with the data cleared.
Handle NewHandleClear(long size);

/// NewHandle; there is no separate temporary memory.
Handle TempNewHandle(long size);

/// The data size in bytes; 0 for a null handle.
long GetHandleSize(Handle h);

/// Gives the handle a new data block of `newSize` bytes holding the first min(old, new)
/// bytes of the old one, and frees the old one; added bytes are cleared. Nothing happens
/// for a null handle or an unchanged size. False, with the handle unchanged, for a size
/// out of range or when memory ran out; true otherwise.
bool SetHandleSize(Handle h, long newSize);

/// Replaces *h by a new handle holding a copy of its data; the original stays with
/// whoever else holds it, the copy belongs to the caller. False, with *h unchanged, for a
/// null or empty handle or when memory ran out.
bool HandToHand(Handle* h);

/// Frees the data and the handle block; null is ignored.
void DisposeHandle(Handle h);

/// Does nothing: handles never move.
void HLock(Handle h);

/// Does nothing: handles never move.
void HUnlock(Handle h);

/// Sets the four sides; null is ignored.
void SetRect(Rect* r, short left, short top, short right, short bottom);

/// Moves the rectangle right by dh and down by dv; null is ignored.
void OffsetRect(Rect* r, short dh, short dv);

/// True when all four sides are equal; false when either is null.
bool EqualRect(const Rect* a, const Rect* b);

/// True when the point is inside: left <= h < right and top <= v < bottom. False for null.
bool PtInRect(Point pt, const Rect* r);

/// Moves the left and right sides in by dh and the top and bottom by dv (negative values
/// move them out). A rectangle left with left > right or top > bottom becomes (0,0,0,0).
void InsetRect(Rect* r, short dh, short dv);

/// When a and b overlap (a.left < b.right, b.left < a.right, a.top < b.bottom and
/// b.top < a.bottom), sets *out to the overlap and returns true; otherwise sets *out to
/// all zeros and returns false. `out` may be a or b.
bool SectRect(const Rect* a, const Rect* b, Rect* out);

/// Sixtieths of a second since the first call (the first call itself returns the
/// sixtieths of the current second). Wall-clock based: jumps if the clock is set.
unsigned long TickCount();

/// The double-click interval in ticks: GTK's setting in milliseconds times 0.06,
/// truncated. Read on the first call and cached for the life of the process.
unsigned long GetDblTime();

/// Rings the display's bell (the duration is ignored, as GTK has none).
void SysBeep(short duration);

}  // namespace ZQ

#endif  // ZYNE_CORE_ZQ_TOOLBOX_H
