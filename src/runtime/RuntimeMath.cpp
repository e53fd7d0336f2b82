// RuntimeMath.cpp - the arithmetic that user code calls: math on doubles and bit operations.
//
// The double functions check their special inputs before the C library sees them, so that
// the results stated in the header hold whatever the library's error handling
// (math_errhandling) is; the bit operations work on uint32_t and convert back, which C++20
// defines as two's complement.
#include "runtime/RuntimeMath.h"

#include <cmath>
#include <limits>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

uint32_t Bits(int32_t value) { return static_cast<uint32_t>(value); }
int32_t Signed(uint32_t bits) { return static_cast<int32_t>(bits); }

// The magnitude of a negative shift count, in 64 bits so that INT32_MIN has one.
int64_t Magnitude(int32_t count) { return -static_cast<int64_t>(count); }

uint32_t LeftBits(uint32_t bits, int64_t count) { return count >= 32 ? 0 : bits << count; }
uint32_t RightBits(uint32_t bits, int64_t count) { return count >= 32 ? 0 : bits >> count; }

int32_t ArithmeticRight(int32_t value, int64_t count) {
    if (count >= 32) return value < 0 ? -1 : 0;
    // Fill with the sign explicitly rather than rely on how >> treats a negative value.
    const uint32_t shifted = Bits(value) >> count;
    const uint32_t fill = value < 0 && count > 0 ? ~(0xFFFFFFFFu >> count) : 0;
    return Signed(shifted | fill);
}

}  // namespace

double Abs(double x) { return std::fabs(x); }
double Ceil(double x) { return std::ceil(x); }
double Floor(double x) { return std::floor(x); }
double Round(double x) { return std::round(x); }  // halves away from zero, exactly

double Sqrt(double x) {
    if (x < 0) return kNaN;
    return std::sqrt(x);
}

double Pow(double x, double y) {
    // Kept on purpose: the C99 answers (1 for a zero power even of NaN, 1 for a base of 1
    // even with a NaN power), which users of power functions rely on.
    if (y == 0 || x == 1) return 1;
    if (std::isnan(x) || std::isnan(y)) return kNaN;
    // The domain error is a finite negative base; pow(-INF, 0.5) is INF.
    if (x < 0 && std::isfinite(x) && std::isfinite(y) && std::trunc(y) != y) return kNaN;
    return std::pow(x, y);
}

double Log(double x) {
    if (std::isnan(x) || x < 0) return kNaN;
    if (x == 0) return -std::numeric_limits<double>::infinity();
    return std::log(x);
}

double Log10(double x) {
    if (std::isnan(x) || x < 0) return kNaN;
    if (x == 0) return -std::numeric_limits<double>::infinity();
    return std::log10(x);
}

double Exp(double x) { return std::exp(x); }

double Sin(double x) { return std::isinf(x) ? kNaN : std::sin(x); }
double Cos(double x) { return std::isinf(x) ? kNaN : std::cos(x); }
double Tan(double x) { return std::isinf(x) ? kNaN : std::tan(x); }

double Asin(double x) { return (x < -1 || x > 1) ? kNaN : std::asin(x); }
double Acos(double x) { return (x < -1 || x > 1) ? kNaN : std::acos(x); }
double Atan(double x) { return std::atan(x); }
double Atan2(double y, double x) { return std::atan2(y, x); }

double Min(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) return kNaN;
    if (a == b) return std::signbit(a) ? a : b;  // -0 is the smaller zero
    return a < b ? a : b;
}

double Max(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) return kNaN;
    if (a == b) return std::signbit(a) ? b : a;
    return a > b ? a : b;
}

int32_t AbsInteger(int32_t x) { return x < 0 ? Signed(0u - Bits(x)) : x; }

int32_t BitAnd(int32_t a, int32_t b) { return Signed(Bits(a) & Bits(b)); }
int32_t BitOr(int32_t a, int32_t b) { return Signed(Bits(a) | Bits(b)); }
int32_t BitXor(int32_t a, int32_t b) { return Signed(Bits(a) ^ Bits(b)); }
int32_t BitwiseNot(int32_t a) { return Signed(~Bits(a)); }

int32_t ShiftLeft(int32_t value, int32_t count) {
    if (count < 0) return Signed(RightBits(Bits(value), Magnitude(count)));
    return Signed(LeftBits(Bits(value), count));
}

int32_t ShiftRight(int32_t value, int32_t count) {
    if (count < 0) return Signed(LeftBits(Bits(value), Magnitude(count)));
    return Signed(RightBits(Bits(value), count));
}

int32_t ShiftRightArithmetic(int32_t value, int32_t count) {
    if (count < 0) return Signed(LeftBits(Bits(value), Magnitude(count)));
    return ArithmeticRight(value, count);
}
