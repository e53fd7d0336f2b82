// RuntimeMath.h - the arithmetic that user code calls: math on doubles and bit operations.
//
// Math wrappers over the C library with every special input given a defined result: NaN
// in gives NaN out (except where noted), a domain error (square root or logarithm of a
// negative number, arcsine of 2) gives NaN, a pole gives an infinity. Nothing sets or reads
// errno, nothing traps. The transcendental functions are the C library's and may differ in
// the last bit between builds; Abs, Ceil, Floor, Round, Min and Max are exact, and Sqrt
// is correctly rounded on x86_64 (on i386 the x87 unit rounds twice, in rare cases one
// unit in the last place away).
//
// Bit operations on 32-bit integers, computed on the unsigned bit pattern so that no shift
// width or sign is undefined behaviour and x86_64 and i386 agree bit for bit: shift counts
// of 32 and more shift every bit out, negative counts shift the other way.
//
// Not here: integer division and remainder, random numbers (runtime/Random.h), text.
#ifndef ZYNE_RUNTIME_RUNTIME_MATH_H
#define ZYNE_RUNTIME_RUNTIME_MATH_H

#include <cstdint>

// --- Doubles ---------------------------------------------------------------------------------

/// |x|; Abs(-0) is +0, Abs(-INF) is INF, NaN stays NaN.
double Abs(double x);
/// The smallest integer not below x; -0.5 gives -0. Infinities and NaN pass through.
double Ceil(double x);
/// The largest integer not above x. Infinities and NaN pass through.
double Floor(double x);
/// The nearest integer, halves away from zero: 2.5 -> 3, -2.5 -> -3, 0.49999999999999994
/// -> 0 (no adding of 0.5). Infinities and NaN pass through.
double Round(double x);
/// Square root: Sqrt(-0) is -0, negative x gives NaN, Sqrt(INF) is INF.
double Sqrt(double x);
/// x to the power y, by the C99 rules: Pow(x, 0) is 1 for every x (NaN too), Pow(1, y) is
/// 1 for every y, a finite negative x with a finite non-integer y gives NaN (Pow(-INF, 0.5)
/// is INF), Pow(0, negative) is INF (-INF for -0 and an odd integer y).
double Pow(double x, double y);
/// Natural logarithm: Log(0) is -INF, negative x gives NaN, Log(INF) is INF.
double Log(double x);
/// Logarithm to base 10, with the same rules as Log; exact for powers of ten.
double Log10(double x);
/// e to the power x: Exp(-INF) is 0, overflow gives INF.
double Exp(double x);
/// Sine, cosine and tangent of x in radians; an infinite x gives NaN.
double Sin(double x);
double Cos(double x);
double Tan(double x);
/// Arcsine and arccosine; x outside -1 .. 1 gives NaN.
double Asin(double x);
double Acos(double x);
/// Arctangent in -pi/2 .. pi/2; Atan(INF) is pi/2.
double Atan(double x);
/// The angle of the point (x, y) in -pi .. pi, y first as in C: Atan2(0, -1) is pi,
/// Atan2(-0, -1) is -pi, Atan2(0, 0) is 0.
double Atan2(double y, double x);
/// The smaller of a and b; NaN when either is NaN (unlike fmin); Min(-0, +0) is -0.
double Min(double a, double b);
/// The larger of a and b; NaN when either is NaN (unlike fmax); Max(-0, +0) is +0.
double Max(double a, double b);

// --- 32-bit integers --------------------------------------------------------------------------

/// |x|, wrapping for the one value without a positive twin: AbsInteger(INT32_MIN) is
/// INT32_MIN, as the two's-complement machine gives it.
int32_t AbsInteger(int32_t x);
/// Bitwise and, or and exclusive or of the 32-bit patterns.
int32_t BitAnd(int32_t a, int32_t b);
int32_t BitOr(int32_t a, int32_t b);
int32_t BitXor(int32_t a, int32_t b);
/// Every bit inverted: BitwiseNot(0) is -1.
int32_t BitwiseNot(int32_t a);
/// value shifted left by count bits, zeros in from the right; bits shifted past bit 31 are
/// lost and bit 31 becomes the sign (ShiftLeft(1, 31) is INT32_MIN). count >= 32 gives 0;
/// a negative count shifts right by -count (as ShiftRight).
int32_t ShiftLeft(int32_t value, int32_t count);
/// value shifted right by count bits, zeros in from the left (the pattern is read as
/// unsigned: ShiftRight(-1, 28) is 15). count >= 32 gives 0; a negative count shifts left.
int32_t ShiftRight(int32_t value, int32_t count);
/// value shifted right by count bits, copies of the sign bit in from the left
/// (ShiftRightArithmetic(-16, 2) is -4). count >= 32 gives 0 or -1 by the sign; a negative
/// count shifts left.
int32_t ShiftRightArithmetic(int32_t value, int32_t count);

#endif  // ZYNE_RUNTIME_RUNTIME_MATH_H
