// DateScaleTest.cpp - the date scale: its epoch, calendar values against the C library's
// timegm, carrying of out-of-range fields, and the current moment.
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "core/DateScale.h"

namespace {

// timegm as the oracle: an independent implementation of the same calendar.
double Oracle(int year, int month, int day, int hour, int minute, int second) {
    tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    return static_cast<double>(timegm(&fields)) + kDateScalePOSIXEpoch;
}

TEST(DateScale, FixedPoints) {
    struct Case {
        long y, mo, d, h, mi, s;
        double value;
    } const cases[] = {
        {1904, 1, 1, 0, 0, 0, 0.0},
        {1904, 1, 1, 0, 0, 1, 1.0},
        {1903, 12, 31, 23, 59, 59, -1.0},
        {1970, 1, 1, 0, 0, 0, kDateScalePOSIXEpoch},
        {1969, 12, 31, 18, 0, 0, kDateScalePOSIXEpoch - 6 * 3600},
        {1904, 3, 1, 0, 0, 0, (31 + 29) * 86400.0},  // 1904 is a leap year
        {1900, 3, 1, 0, 0, 0, -1401 * 86400.0},
        {2001, 1, 1, 0, 0, 0, 3061152000.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.y) + "-" + std::to_string(c.mo) + "-" + std::to_string(c.d));
        EXPECT_EQ(DateScaleValue(c.y, c.mo, c.d, c.h, c.mi, c.s), c.value);
    }
}

TEST(DateScale, AgreesWithTimegmAcrossYears) {
    // Years within a 32-bit time_t, so that the oracle works on i386 too; leap days,
    // century years and month ends included.
    for (int year = 1902; year <= 2037; year += 7) {
        for (int month = 1; month <= 12; ++month) {
            for (int day : {1, 15, 28}) {
                SCOPED_TRACE(std::to_string(year) + "-" + std::to_string(month) + "-" +
                             std::to_string(day));
                ASSERT_EQ(DateScaleValue(year, month, day, 13, 7, 42),
                          Oracle(year, month, day, 13, 7, 42));
            }
        }
    }
    EXPECT_EQ(DateScaleValue(2000, 2, 29, 0, 0, 0), Oracle(2000, 2, 29, 0, 0, 0));
    EXPECT_EQ(DateScaleValue(2000, 3, 1, 0, 0, 0) - DateScaleValue(2000, 2, 28, 0, 0, 0),
              2 * 86400.0);
    EXPECT_EQ(DateScaleValue(1900, 3, 1, 0, 0, 0) - DateScaleValue(1900, 2, 28, 0, 0, 0),
              86400.0);  // 1900 is not a leap year
}

TEST(DateScale, OutOfRangeFieldsCarry) {
    struct Case {
        long y, mo, d, h, mi, s;
        long ey, emo, ed, eh, emi, es;
    } const cases[] = {
        {2019, 13, 1, 0, 0, 0, 2020, 1, 1, 0, 0, 0},
        {2020, 0, 1, 0, 0, 0, 2019, 12, 1, 0, 0, 0},
        {2020, -11, 1, 0, 0, 0, 2019, 1, 1, 0, 0, 0},
        {2020, 25, 1, 0, 0, 0, 2022, 1, 1, 0, 0, 0},
        {2020, 3, 0, 0, 0, 0, 2020, 2, 29, 0, 0, 0},
        {2020, 1, 1, -1, 0, 0, 2019, 12, 31, 23, 0, 0},
        {2020, 1, 1, 0, 0, 86400, 2020, 1, 2, 0, 0, 0},
        {2020, 1, 1, 0, -61, 0, 2019, 12, 31, 22, 59, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.y) + "/" + std::to_string(c.mo) + "/" + std::to_string(c.d));
        EXPECT_EQ(DateScaleValue(c.y, c.mo, c.d, c.h, c.mi, c.s),
                  DateScaleValue(c.ey, c.emo, c.ed, c.eh, c.emi, c.es));
    }
}

TEST(DateScale, FarYearsDoNotOverflow) {
    EXPECT_EQ(DateScaleValue(2400, 1, 1, 0, 0, 0) - DateScaleValue(2000, 1, 1, 0, 0, 0),
              146097.0 * 86400);  // one 400-year cycle
    EXPECT_EQ(DateScaleValue(1500, 1, 1, 0, 0, 0) - DateScaleValue(1100, 1, 1, 0, 0, 0),
              146097.0 * 86400);
}

TEST(DateScale, NowIsUniversalTimeWhateverTheZone) {
    const double before = static_cast<double>(time(nullptr)) + kDateScalePOSIXEpoch;
    double inZone;
    {
        filestest::EnvGuard zone("TZ", "America/Chicago");
        tzset();
        inZone = DateScaleNow();
    }
    tzset();
    const double after = static_cast<double>(time(nullptr)) + kDateScalePOSIXEpoch + 1;
    EXPECT_GE(inZone, before);
    EXPECT_LT(inZone, after);
}

}  // namespace
