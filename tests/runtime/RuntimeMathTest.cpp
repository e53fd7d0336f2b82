// RuntimeMathTest.cpp - special inputs of the math wrappers and the 32-bit bit operations.
#include "runtime/RuntimeMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Same value and, for zeros, the same sign; NaN equals NaN.
void ExpectSame(double actual, double expected) {
    if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(actual)) << actual;
        return;
    }
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(std::signbit(actual), std::signbit(expected)) << actual;
}

TEST(RuntimeMath, RoundingFunctions) {
    ExpectSame(Round(2.5), 3);
    ExpectSame(Round(-2.5), -3);
    ExpectSame(Round(0.49999999999999994), 0);
    ExpectSame(Round(-0.4), -0.0);
    ExpectSame(Round(4503599627370497.0), 4503599627370497.0);
    ExpectSame(Round(kNaN), kNaN);
    ExpectSame(Ceil(-0.5), -0.0);
    ExpectSame(Ceil(1.0000000000000002), 2);
    ExpectSame(Floor(-0.5), -1);
    ExpectSame(Floor(-kInf), -kInf);
    ExpectSame(Abs(-0.0), 0.0);
    ExpectSame(Abs(-kInf), kInf);
}

TEST(RuntimeMath, DomainErrorsGiveNaNAndPolesInfinity) {
    ExpectSame(Sqrt(-1), kNaN);
    ExpectSame(Sqrt(-0.0), -0.0);
    ExpectSame(Sqrt(6.25), 2.5);
    ExpectSame(Sqrt(kInf), kInf);
    ExpectSame(Log(-1), kNaN);
    ExpectSame(Log(0), -kInf);
    ExpectSame(Log(-0.0), -kInf);
    ExpectSame(Log(kInf), kInf);
    ExpectSame(Log10(1000), 3);
    ExpectSame(Log10(-5), kNaN);
    ExpectSame(Exp(-kInf), 0);
    ExpectSame(Exp(1000), kInf);
    ExpectSame(Exp(0), 1);
    ExpectSame(Sin(kInf), kNaN);
    ExpectSame(Cos(-kInf), kNaN);
    ExpectSame(Tan(kInf), kNaN);
    ExpectSame(Sin(-0.0), -0.0);
    ExpectSame(Asin(1.5), kNaN);
    ExpectSame(Acos(-1.0000000000000002), kNaN);
    ExpectSame(Acos(1), 0);
    ExpectSame(Atan(kInf), M_PI / 2);
    ExpectSame(Atan2(0.0, -1), M_PI);
    ExpectSame(Atan2(-0.0, -1), -M_PI);
    ExpectSame(Atan2(0, 0), 0);
    ExpectSame(Atan2(1, kNaN), kNaN);
}

TEST(RuntimeMath, PowFollowsTheC99Rules) {
    ExpectSame(Pow(kNaN, 0), 1);
    ExpectSame(Pow(1, kNaN), 1);
    ExpectSame(Pow(2, kNaN), kNaN);
    ExpectSame(Pow(-8, 1.0 / 3), kNaN);
    ExpectSame(Pow(-2, 3), -8);
    ExpectSame(Pow(-2, kInf), kInf);
    ExpectSame(Pow(-kInf, 0.5), kInf);  // an infinite base is no domain error
    ExpectSame(Pow(-kInf, -0.5), 0);
    ExpectSame(Pow(-kInf, 3), -kInf);
    ExpectSame(Pow(0, -1), kInf);
    ExpectSame(Pow(-0.0, -1), -kInf);
    ExpectSame(Pow(-0.0, -2), kInf);
    ExpectSame(Pow(2, 10), 1024);
    ExpectSame(Pow(2, -1074), 5e-324);
    ExpectSame(Pow(10, 400), kInf);
}

TEST(RuntimeMath, MinMaxPropagateNaNAndOrderZeros) {
    ExpectSame(Min(kNaN, 1), kNaN);
    ExpectSame(Min(1, kNaN), kNaN);
    ExpectSame(Max(kNaN, 1), kNaN);
    ExpectSame(Max(1, kNaN), kNaN);
    ExpectSame(Min(0.0, -0.0), -0.0);
    ExpectSame(Min(-0.0, 0.0), -0.0);
    ExpectSame(Max(-0.0, 0.0), 0.0);
    ExpectSame(Max(0.0, -0.0), 0.0);
    ExpectSame(Min(-kInf, 3), -kInf);
    ExpectSame(Max(2, 3), 3);
    ExpectSame(Min(2, 3), 2);
}

struct ShiftCase {
    int32_t value;
    int32_t count;
    int32_t left;
    int32_t right;
    int32_t arithmetic;
};

void PrintTo(const ShiftCase& c, std::ostream* os) { *os << c.value << " by " << c.count; }

class ShiftTest : public ::testing::TestWithParam<ShiftCase> {};

TEST_P(ShiftTest, AllThreeShifts) {
    const ShiftCase& c = GetParam();
    EXPECT_EQ(ShiftLeft(c.value, c.count), c.left);
    EXPECT_EQ(ShiftRight(c.value, c.count), c.right);
    EXPECT_EQ(ShiftRightArithmetic(c.value, c.count), c.arithmetic);
}

INSTANTIATE_TEST_SUITE_P(Widths, ShiftTest, ::testing::Values(
    ShiftCase{1, 0, 1, 1, 1},
    ShiftCase{1, 1, 2, 0, 0},
    ShiftCase{1, 31, INT32_MIN, 0, 0},
    ShiftCase{3, 31, INT32_MIN, 0, 0},
    ShiftCase{1, 32, 0, 0, 0},
    ShiftCase{-1, 32, 0, 0, -1},
    ShiftCase{-1, 33, 0, 0, -1},
    ShiftCase{-1, INT32_MAX, 0, 0, -1},
    ShiftCase{-1, 28, -268435456, 15, -1},
    ShiftCase{-16, 2, -64, 1073741820, -4},
    ShiftCase{INT32_MIN, 31, 0, 1, -1},
    ShiftCase{INT32_MAX, 1, -2, 0x3FFFFFFF, 0x3FFFFFFF},
    ShiftCase{0x40000000, 1, INT32_MIN, 0x20000000, 0x20000000},
    // Negative counts shift the other way.
    ShiftCase{8, -2, 2, 32, 32},
    ShiftCase{-8, -1, 0x7FFFFFFC, -16, -16},
    ShiftCase{1, -32, 0, 0, 0},
    ShiftCase{1, INT32_MIN, 0, 0, 0}));

TEST(RuntimeMath, BitOperationsOnTheTwosComplementPattern) {
    EXPECT_EQ(BitAnd(-1, 0x0F0F0F0F), 0x0F0F0F0F);
    EXPECT_EQ(BitAnd(INT32_MIN, -1), INT32_MIN);
    EXPECT_EQ(BitOr(INT32_MIN, 1), INT32_MIN + 1);
    EXPECT_EQ(BitOr(0x00FF0000, 0x000000FF), 0x00FF00FF);
    EXPECT_EQ(BitXor(-1, 0x55555555), static_cast<int32_t>(0xAAAAAAAAu));
    EXPECT_EQ(BitXor(12345, 12345), 0);
    EXPECT_EQ(BitwiseNot(0), -1);
    EXPECT_EQ(BitwiseNot(INT32_MAX), INT32_MIN);
    EXPECT_EQ(AbsInteger(-5), 5);
    EXPECT_EQ(AbsInteger(INT32_MIN), INT32_MIN);
    EXPECT_EQ(AbsInteger(INT32_MIN + 1), INT32_MAX);
}

}  // namespace
