// DateTest.cpp - the date object: calendar fields, arithmetic, zones, parsing, formatting.
//
// Every test sets TZ itself through ZoneGuard and puts the old value back, so tests do not
// depend on the machine's zone or on their order. The zone with daylight saving time is
// run twice: from the zone database and as a POSIX rule string.
#include "runtime/Date.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "core/DateScale.h"
#include "support/TextHelpers.h"

namespace {

// Sets TZ for one test and restores the previous value (or its absence) afterwards.
class ZoneGuard {
public:
    explicit ZoneGuard(const char* zone) {
        if (const char* old = std::getenv("TZ")) mOld = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneGuard() {
        if (mOld) {
            setenv("TZ", mOld->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    ZoneGuard(const ZoneGuard&) = delete;
    ZoneGuard& operator=(const ZoneGuard&) = delete;

private:
    std::optional<std::string> mOld;
};

std::string Text(const string& s) {
    return std::string(Bytes(s));
}

class DateUTCTest : public ::testing::Test {
protected:
    ZoneGuard mZone{"UTC"};
};

// --- Calendar helpers --------------------------------------------------------------------

TEST(DateCalendarTest, LeapYearsAndMonthLengths) {
    const struct {
        long year;
        bool leap;
    } cases[] = {{1900, false}, {2000, true}, {2024, true}, {2023, false}, {1, false},
                 {4, true},     {100, false}, {400, true},  {9999, false}, {2400, true}};
    for (const auto& c : cases) EXPECT_EQ(Date::IsLeapYear(c.year), c.leap) << c.year;
    const struct {
        long year, month, days;
    } months[] = {{2024, 2, 29}, {2023, 2, 28}, {1900, 2, 28},  {2000, 2, 29}, {2026, 1, 31},
                  {2026, 4, 30}, {2026, 6, 30}, {2026, 12, 31}, {2026, 0, 0},  {2026, 13, 0}};
    for (const auto& c : months)
        EXPECT_EQ(Date::DaysInMonth(c.year, c.month), c.days) << c.year << "-" << c.month;
}

// --- Fields and the date scale -------------------------------------------------------------

TEST_F(DateUTCTest, FieldsRoundTripThroughTheDateScale) {
    const struct {
        long year, month, day, hour, minute, second;
        long dayOfWeek, dayOfYear;
        const char* sql;
    } cases[] = {
        {1, 1, 1, 0, 0, 0, 2, 1, "0001-01-01 00:00:00"},
        {1900, 1, 1, 12, 0, 0, 2, 1, "1900-01-01 12:00:00"},
        {1900, 12, 31, 0, 0, 0, 2, 365, "1900-12-31 00:00:00"},
        {1904, 1, 1, 0, 0, 0, 6, 1, "1904-01-01 00:00:00"},
        {1970, 1, 1, 0, 0, 0, 5, 1, "1970-01-01 00:00:00"},
        {2024, 12, 31, 23, 59, 59, 3, 366, "2024-12-31 23:59:59"},
        {2038, 1, 19, 3, 14, 7, 3, 19, "2038-01-19 03:14:07"},
        {2038, 1, 19, 3, 14, 8, 3, 19, "2038-01-19 03:14:08"},
        {2100, 7, 1, 6, 30, 0, 5, 182, "2100-07-01 06:30:00"},
        {9999, 12, 31, 23, 59, 59, 6, 365, "9999-12-31 23:59:59"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sql);
        const Date date(c.year, c.month, c.day, c.hour, c.minute, c.second);
        EXPECT_EQ(date.TotalSeconds(),
                  DateScaleValue(c.year, c.month, c.day, c.hour, c.minute, c.second));
        const Date back(date.TotalSeconds());
        EXPECT_EQ(back.Year(), c.year);
        EXPECT_EQ(back.Month(), c.month);
        EXPECT_EQ(back.Day(), c.day);
        EXPECT_EQ(back.Hour(), c.hour);
        EXPECT_EQ(back.Minute(), c.minute);
        EXPECT_EQ(back.Second(), c.second);
        EXPECT_EQ(back.DayOfWeek(), c.dayOfWeek);
        EXPECT_EQ(back.DayOfYear(), c.dayOfYear);
        EXPECT_EQ(Text(back.SQLDateTime()), c.sql);
        EXPECT_EQ(back.GMTOffset(), 0.0);
    }
}

TEST_F(DateUTCTest, ScaleOriginPOSIXEpochAndNow) {
    EXPECT_EQ(Date(1904, 1, 1).TotalSeconds(), 0.0);
    EXPECT_EQ(Date(1970, 1, 1).TotalSeconds(), kDateScalePOSIXEpoch);
    EXPECT_EQ(Text(Date(-1.0).SQLDateTime()), "1903-12-31 23:59:59");
    const double before = DateScaleNow();
    const Date now;
    EXPECT_GE(now.TotalSeconds(), before);
    EXPECT_LE(now.TotalSeconds(), DateScaleNow());
}

TEST_F(DateUTCTest, FractionsOfASecondStayWithFieldSetters) {
    Date date(0.75);
    EXPECT_EQ(date.Second(), 0);
    date.SetHour(5);
    EXPECT_DOUBLE_EQ(date.TotalSeconds(), 5 * 3600 + 0.75);
    date.SetFields(1904, 1, 1, 5, 0, 0);  // all fields: the fraction goes
    EXPECT_EQ(date.TotalSeconds(), 5 * 3600.0);
    // Near the scale's origin a double holds far finer fractions than near 1970; setting
    // a field to the value it has keeps every bit of them.
    for (double value : {0.1, -0.7, 12345.678, 1e-9, -3e9 + 0.25}) {
        Date same(value);
        same.SetSecond(same.Second());
        EXPECT_EQ(same.TotalSeconds(), value) << value;
        same.AddDays(0);
        EXPECT_EQ(same.TotalSeconds(), value) << value;
    }
}

// --- Normalising arithmetic ----------------------------------------------------------------

// Each calendar operation takes one count.
using Op = void (Date::*)(long);

TEST_F(DateUTCTest, CalendarArithmeticCarriesLikeBrokenDownTime) {
    const struct {
        const char* start;
        Op op;
        long n;
        const char* expected;
    } cases[] = {
        {"2026-01-31 10:00:00", &Date::AddMonths, 1, "2026-03-03 10:00:00"},
        {"2024-01-31 10:00:00", &Date::AddMonths, 1, "2024-03-02 10:00:00"},
        {"2026-01-31 10:00:00", &Date::AddMonthsClamped, 1, "2026-02-28 10:00:00"},
        {"2024-01-31 10:00:00", &Date::AddMonthsClamped, 1, "2024-02-29 10:00:00"},
        {"2026-03-31 00:00:00", &Date::AddMonths, -1, "2026-03-03 00:00:00"},
        {"2026-03-31 00:00:00", &Date::AddMonthsClamped, -13, "2025-02-28 00:00:00"},
        {"2026-11-15 00:00:00", &Date::AddMonths, 2, "2027-01-15 00:00:00"},
        {"2026-01-15 00:00:00", &Date::AddMonths, -1, "2025-12-15 00:00:00"},
        {"2026-05-31 00:00:00", &Date::AddMonthsClamped, 12, "2027-05-31 00:00:00"},
        {"2024-02-29 08:00:00", &Date::AddYears, 1, "2025-03-01 08:00:00"},
        {"2024-02-29 08:00:00", &Date::AddYears, 4, "2028-02-29 08:00:00"},
        {"2100-02-28 08:00:00", &Date::AddDays, 1, "2100-03-01 08:00:00"},
        {"2026-12-31 23:59:59", &Date::AddDays, 1, "2027-01-01 23:59:59"},
        {"2027-01-01 00:00:00", &Date::AddDays, -1, "2026-12-31 00:00:00"},
        {"0001-01-01 00:00:00", &Date::AddDays, 3652058, "9999-12-31 00:00:00"},
        {"2026-03-15 12:00:00", &Date::SetDay, 0, "2026-02-28 12:00:00"},
        {"2026-03-15 12:00:00", &Date::SetDay, 32, "2026-04-01 12:00:00"},
        {"2026-03-15 12:00:00", &Date::SetMonth, 13, "2027-01-15 12:00:00"},
        {"2026-03-15 12:00:00", &Date::SetMonth, 0, "2025-12-15 12:00:00"},
        {"2024-02-29 12:00:00", &Date::SetYear, 2023, "2023-03-01 12:00:00"},
        {"2026-12-31 12:00:00", &Date::SetHour, 24, "2027-01-01 00:00:00"},
        {"2026-01-01 00:00:00", &Date::SetMinute, -1, "2025-12-31 23:59:00"},
        {"2026-12-31 23:59:00", &Date::SetSecond, 60, "2027-01-01 00:00:00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.start) + " n=" + std::to_string(c.n));
        Date date(0.0);
        ASSERT_TRUE(date.SetSQLDateTime(c.start));
        (date.*c.op)(c.n);
        EXPECT_EQ(Text(date.SQLDateTime()), c.expected);
    }
}

TEST_F(DateUTCTest, HugeCountsGoAsFarAsTheyCanInTheirDirection) {
    // Counts near the ends of long must not wrap round to the other side.
    const struct {
        long year;
        Op op;
        long n;
    } cases[] = {
        {2026, &Date::AddYears, LONG_MAX},        {2026, &Date::AddMonths, LONG_MAX},
        {2026, &Date::AddDays, LONG_MAX},         {2026, &Date::AddMonthsClamped, LONG_MAX},
        {-2026, &Date::AddYears, LONG_MIN},       {2026, &Date::AddMonths, LONG_MIN},
        {2026, &Date::AddDays, LONG_MIN},         {2026, &Date::AddMonthsClamped, LONG_MIN},
        {2026, &Date::AddYears, LONG_MAX - 2025}, {-2026, &Date::AddYears, LONG_MIN + 2025},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.year) + " n=" + std::to_string(c.n));
        Date date(c.year, 12, 31, 12, 0, 0);
        const double start = date.TotalSeconds();
        (date.*c.op)(c.n);
        if (c.n > 0) {
            EXPECT_GT(date.TotalSeconds(), start);
            EXPECT_GT(date.Year(), 1000000);
        } else {
            EXPECT_LT(date.TotalSeconds(), start);
            EXPECT_LT(date.Year(), -1000000);
        }
    }
}

TEST_F(DateUTCTest, ClockUnitsMoveTheMoment) {
    Date date(2026, 12, 31, 23, 30, 0);
    const double start = date.TotalSeconds();
    date.AddHours(1);
    EXPECT_EQ(Text(date.SQLDateTime()), "2027-01-01 00:30:00");
    date.AddMinutes(-90);
    date.AddSeconds(30.5);
    EXPECT_DOUBLE_EQ(date.TotalSeconds() - start, -1769.5);
    EXPECT_EQ(Text(date.SQLDateTime()), "2026-12-31 23:00:30");
}

// --- Zones with daylight saving time -------------------------------------------------------

std::string BerlinFromDatabase() {
    return access("/usr/share/zoneinfo/Europe/Berlin", R_OK) == 0 ? "Europe/Berlin"
                                                                  : "CET-1CEST,M3.5.0,M10.5.0/3";
}

class DateDSTTest : public ::testing::TestWithParam<std::string> {
protected:
    DateDSTTest() : mZone(GetParam().c_str()) {}
    ZoneGuard mZone;
};

INSTANTIATE_TEST_SUITE_P(Zones, DateDSTTest,
                         ::testing::Values(BerlinFromDatabase(),
                                           std::string("CET-1CEST,M3.5.0,M10.5.0/3")));

TEST_P(DateDSTTest, OffsetFollowsTheSeasonAndTheDateScaleStaysUniversal) {
    const struct {
        long year, month, day, hour;
        double offset;
        const char* zone;
    } cases[] = {
        {2026, 1, 15, 12, 1.0, "CET"},
        {2026, 7, 15, 12, 2.0, "CEST"},
        {2026, 3, 29, 1, 1.0, "CET"},
        {2026, 3, 29, 3, 2.0, "CEST"},
        {2026, 10, 25, 4, 1.0, "CET"},
        {2037, 7, 1, 12, 2.0, "CEST"},
        // After 2037 the last rules carry on, on both builds.
        {2038, 7, 1, 12, 2.0, "CEST"},
        {2100, 7, 1, 12, 2.0, "CEST"},
        {9999, 7, 1, 12, 2.0, "CEST"},
        {9999, 12, 31, 23, 1.0, "CET"},
        // Before 1902: the standard offset all year.
        {1, 7, 1, 12, 1.0, "CET"},
        {1900, 7, 1, 12, 1.0, "CET"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.year) + "-" + std::to_string(c.month) + "-" +
                     std::to_string(c.day));
        const Date date(c.year, c.month, c.day, c.hour, 0, 0);
        EXPECT_EQ(date.GMTOffset(), c.offset);
        EXPECT_EQ(date.TotalSeconds(),
                  DateScaleValue(c.year, c.month, c.day, c.hour, 0, 0) - c.offset * 3600);
        EXPECT_EQ(date.Hour(), c.hour);
        EXPECT_EQ(date.Day(), c.day);
        EXPECT_EQ(Text(date.Format("%Z")), c.zone);
    }
}

TEST_P(DateDSTTest, DaysKeepTheWallClockAndHoursKeepElapsedTime) {
    Date spring(2026, 3, 28, 12, 0, 0);
    double start = spring.TotalSeconds();
    spring.AddDays(1);
    EXPECT_EQ(Text(spring.SQLDateTime()), "2026-03-29 12:00:00");
    EXPECT_EQ(spring.TotalSeconds() - start, 23 * 3600.0);

    Date autumn(2026, 10, 24, 12, 0, 0);
    start = autumn.TotalSeconds();
    autumn.AddDays(1);
    EXPECT_EQ(Text(autumn.SQLDateTime()), "2026-10-25 12:00:00");
    EXPECT_EQ(autumn.TotalSeconds() - start, 25 * 3600.0);

    Date month(2026, 3, 15, 12, 0, 0);
    month.AddMonths(1);
    EXPECT_EQ(Text(month.SQLDateTime()), "2026-04-15 12:00:00");
    EXPECT_EQ(month.GMTOffset(), 2.0);

    Date hour(2026, 3, 29, 1, 30, 0);
    hour.AddHours(1);
    EXPECT_EQ(Text(hour.SQLDateTime()), "2026-03-29 03:30:00");

    Date back(2026, 10, 25, 1, 30, 0);
    back.AddHours(1);
    EXPECT_EQ(Text(back.SQLDateTime()), "2026-10-25 02:30:00");
    EXPECT_EQ(back.GMTOffset(), 2.0);
    back.AddHours(1);
    EXPECT_EQ(Text(back.SQLDateTime()), "2026-10-25 02:30:00");
    EXPECT_EQ(back.GMTOffset(), 1.0);
}

TEST_P(DateDSTTest, SkippedAndRepeatedWallTimes) {
    const Date skipped(2026, 3, 29, 2, 30, 0);
    EXPECT_EQ(Text(skipped.SQLDateTime()), "2026-03-29 03:30:00");
    EXPECT_EQ(skipped.TotalSeconds(), DateScaleValue(2026, 3, 29, 1, 30, 0));

    const Date twice(2026, 10, 25, 2, 30, 0);
    EXPECT_EQ(twice.GMTOffset(), 2.0);  // the earlier of the two
    EXPECT_EQ(twice.TotalSeconds(), DateScaleValue(2026, 10, 25, 0, 30, 0));
}

TEST(DateZoneTest, BeforeTheWindowIsStandardTimeInSouthernZonesToo) {
    // The C library reports this rule string as summer time all through the years before
    // 1970, 1902-01-01 included; the years before 1902 still get the standard offset.
    const ZoneGuard zone("AEST-10AEDT,M10.1.0,M4.1.0/3");
    const struct {
        long year, month;
        double offset;
        const char* name;
    } cases[] = {{1, 1, 10.0, "AEST"},     {1800, 1, 10.0, "AEST"}, {1901, 7, 10.0, "AEST"},
                 {1901, 12, 10.0, "AEST"}, {2026, 1, 11.0, "AEDT"}, {2026, 7, 10.0, "AEST"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.year) + "-" + std::to_string(c.month));
        const Date date(c.year, c.month, 15, 12, 0, 0);
        EXPECT_EQ(date.GMTOffset(), c.offset);
        EXPECT_EQ(date.Hour(), 12);
        EXPECT_EQ(Text(date.Format("%Z")), c.name);
    }
}

// --- Fixed offsets -------------------------------------------------------------------------

TEST_F(DateUTCTest, FixedOffsetKeepsTheMomentAndMovesTheFields) {
    Date date(2026, 11, 22, 12, 0, 0);
    const double moment = date.TotalSeconds();
    ASSERT_TRUE(date.SetGMTOffset(2.0));
    EXPECT_FALSE(date.UsesLocalZone());
    EXPECT_EQ(date.TotalSeconds(), moment);
    EXPECT_EQ(date.Hour(), 14);
    EXPECT_EQ(date.GMTOffset(), 2.0);
    EXPECT_EQ(Text(date.Format("%z %Z")), "+0200 +0200");

    ASSERT_TRUE(date.SetGMTOffset(-5.5));
    EXPECT_EQ(Text(date.SQLDateTime()), "2026-11-22 06:30:00");
    EXPECT_EQ(Text(date.Format("%z")), "-0530");
    date.SetHour(23);  // fields are read in the fixed offset
    EXPECT_EQ(date.TotalSeconds(), DateScaleValue(2026, 11, 23, 5, 0, 0));

    for (double bad : {24.5, -25.0, std::nan("")}) {
        EXPECT_FALSE(date.SetGMTOffset(bad)) << bad;
        EXPECT_EQ(date.GMTOffset(), -5.5);
    }
    ASSERT_TRUE(date.SetGMTOffset(0));
    EXPECT_EQ(Text(date.Format("%Z")), "UTC");
    date.UseLocalZone();
    EXPECT_TRUE(date.UsesLocalZone());
    EXPECT_EQ(date.Hour(), 5);
}

TEST(DateZoneTest, FixedOffsetIgnoresTheLocalZone) {
    const ZoneGuard zone(BerlinFromDatabase().c_str());
    Date date(2026, 7, 1, 12, 0, 0);  // 10:00 UTC
    ASSERT_TRUE(date.SetGMTOffset(0));
    EXPECT_EQ(Text(date.SQLDateTime()), "2026-07-01 10:00:00");
    date.AddMonths(6);  // no daylight saving time in a fixed offset
    EXPECT_EQ(Text(date.SQLDateTime()), "2027-01-01 10:00:00");
}

// --- Parsing -------------------------------------------------------------------------------

TEST_F(DateUTCTest, ParsesSQLAndLocaleTexts) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {{"2026-11-22", "2026-11-22 00:00:00"},
                 {"2026-11-22 04:03:16", "2026-11-22 04:03:16"},
                 {"2026-11-22T04:03:16", "2026-11-22 04:03:16"},
                 {"  2024-02-29  ", "2024-02-29 00:00:00"},
                 {"0001-01-01", "0001-01-01 00:00:00"},
                 {"9999-12-31 23:59:59", "9999-12-31 23:59:59"},
                 {"04:03:16", "2000-01-02 04:03:16"},  // keeps the day
                 {"4:03:16", "2000-01-02 04:03:16"},
                 {"4:03 PM", "2000-01-02 16:03:00"},
                 {"11/22/26", "2026-11-22 00:00:00"},
                 {"11/22/2026", "2026-11-22 00:00:00"},
                 {"01/01/69", "1969-01-01 00:00:00"},
                 {"12/31/68", "2068-12-31 00:00:00"},
                 {"02/29/2000", "2000-02-29 00:00:00"},
                 {"11/22/26 04:03:16", "2026-11-22 04:03:16"},
                 {"11/22/26 04:03", "2026-11-22 04:03:00"},
                 {"11/22/26 04:03 PM", "2026-11-22 16:03:00"},
                 {"Sunday, November 22, 2026", "2026-11-22 00:00:00"},
                 {"Sun, Nov 22, 2026", "2026-11-22 00:00:00"},
                 {"November 22, 2026", "2026-11-22 00:00:00"},
                 {"Monday, January 1, 1", "0001-01-01 00:00:00"},
                 {"Sunday, November 22, 2026 04:03:16", "2026-11-22 04:03:16"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Date date(2000, 1, 2, 3, 4, 5);
        EXPECT_TRUE(date.Parse(c.text));
        EXPECT_EQ(Text(date.SQLDateTime()), c.expected);
    }
}

TEST_F(DateUTCTest, RefusesMalformedTextsAndLeavesTheDateAlone) {
    const std::string cases[] = {"",
                                 "   ",
                                 "hello",
                                 "2026-13-01",
                                 "2026-00-10",
                                 "2026-04-31",
                                 "2026-02-29",
                                 "1900-02-29",
                                 "0000-01-01",
                                 "2026-1-5",
                                 "2026-11-22x",
                                 "2026-11-22 24:00:00",
                                 "2026-11-22 12:60:00",
                                 "2026-11-22 12:00:60",
                                 "2026-11-22 04:03:16 junk",
                                 "2026-11-22 04:03",
                                 "24:00:00",
                                 "12:00:60",
                                 "12:00:00 13",
                                 "13/01/26",
                                 "04/31/26",
                                 "02/29/2026",
                                 "11/22/26 25:00",
                                 "11/22/26 12:00:60",
                                 "Monday, November 22, 2026",
                                 "Sunday, November 31, 2026",
                                 "Smarch 22, 2026",
                                 "November 22, 2026 and more",
                                 "11/22/26/27",
                                 std::string("2026-11-22\0 junk", 16)};
    for (const std::string& text : cases) {
        SCOPED_TRACE(text);
        Date date(2000, 1, 2, 3, 4, 5);
        const double before = date.TotalSeconds();
        const string input = Tagged(text.data(), 0x600, static_cast<long>(text.size()));
        EXPECT_FALSE(date.Parse(input));
        EXPECT_FALSE(date.SetSQLDateTime(input));
        EXPECT_EQ(date.TotalSeconds(), before);
    }
}

TEST_F(DateUTCTest, SQLSettersTakeOnlyTheirOwnForm) {
    Date date(2000, 1, 2, 3, 4, 5);
    EXPECT_FALSE(date.SetSQLDate("2026-11-22 04:03:16"));
    EXPECT_FALSE(date.SetSQLTime("2026-11-22"));
    EXPECT_FALSE(date.SetSQLDateTime("04:03:16"));
    EXPECT_EQ(Text(date.SQLDateTime()), "2000-01-02 03:04:05");
    EXPECT_TRUE(date.SetSQLTime("23:59:59"));
    EXPECT_EQ(Text(date.SQLDateTime()), "2000-01-02 23:59:59");
    EXPECT_TRUE(date.SetSQLDate("2026-11-22"));
    EXPECT_EQ(Text(date.SQLDateTime()), "2026-11-22 00:00:00");
}

TEST_P(DateDSTTest, ParsedTextsAreLocalTime) {
    Date date(0.0);
    ASSERT_TRUE(date.Parse("2026-07-01 12:00:00"));
    EXPECT_EQ(date.TotalSeconds(), DateScaleValue(2026, 7, 1, 10, 0, 0));
    ASSERT_TRUE(date.Parse("January 15, 2026"));
    EXPECT_EQ(date.TotalSeconds(), DateScaleValue(2026, 1, 14, 23, 0, 0));
}

// --- Formatting ----------------------------------------------------------------------------

TEST_F(DateUTCTest, FormatsStrftimePatterns) {
    const Date date(2026, 11, 22, 4, 3, 16);
    const struct {
        const char* pattern;
        const char* expected;
    } cases[] = {{"%Y-%m-%d %H:%M:%S", "2026-11-22 04:03:16"},
                 {"%A %a %B %b %h", "Sunday Sun November Nov Nov"},
                 {"%d %e %j %C %y", "22 22 326 20 26"},
                 {"%I %p", "04 AM"},
                 {"%u %w %U %W %V %G %g", "7 0 47 46 47 2026 26"},
                 {"%x|%X|%D|%F|%T|%R", "11/22/26|04:03:16|11/22/26|2026-11-22|04:03:16|04:03"},
                 {"%s", "1795320196"},
                 {"%z %Z", "+0000 UTC"},
                 {"100%% %n%t", "100% \n\t"},
                 {"", ""},
                 {"no conversions", "no conversions"}};
    for (const auto& c : cases) EXPECT_EQ(Text(date.Format(c.pattern)), c.expected) << c.pattern;

    EXPECT_EQ(date.Format("%Y").Encoding(), 0x08000100U);  // text of the C library: UTF-8
}

TEST_F(DateUTCTest, FormatOutputIsBounded) {
    const Date date(2026, 11, 22, 4, 3, 16);
    EXPECT_EQ(date.Format(std::string(4096, 'x').c_str()).Length(), 4096U);
    EXPECT_TRUE(date.Format(std::string(4097, 'x').c_str()).IsEmpty());
    EXPECT_TRUE(date.Format(std::string(2000, 'A').insert(0, "%").c_str()).Length() > 0);
}

TEST_F(DateUTCTest, SQLTextsKeepFourYearDigitsOutsideOneToNineThousand) {
    const struct {
        long year;
        const char* sql;
    } cases[] = {{0, "0000-03-01 06:07:08"},
                 {-1, "-0001-03-01 06:07:08"},
                 {-999, "-0999-03-01 06:07:08"},
                 {-10000, "-10000-03-01 06:07:08"},
                 {12345, "12345-03-01 06:07:08"}};
    for (const auto& c : cases) {
        const Date date(c.year, 3, 1, 6, 7, 8);
        EXPECT_EQ(Text(date.SQLDateTime()), c.sql);
        EXPECT_EQ(Text(date.SQLDate()), std::string(c.sql, std::strlen(c.sql) - 9));
    }
}

TEST_F(DateUTCTest, NamedTexts) {
    const struct {
        long year, month, day, hour, minute, second;
        const char *sqlDate, *shortDate, *longDate, *abbreviated, *longTime, *shortTime;
    } cases[] = {
        {2026, 11, 22, 4, 3, 16, "2026-11-22", "11/22/26", "Sunday, November 22, 2026",
         "Sun, Nov 22, 2026", "04:03:16", "04:03"},
        {1, 1, 1, 23, 0, 9, "0001-01-01", "01/01/01", "Monday, January 1, 1", "Mon, Jan 1, 1",
         "23:00:09", "23:00"},
        {9999, 12, 31, 12, 59, 0, "9999-12-31", "12/31/99", "Friday, December 31, 9999",
         "Fri, Dec 31, 9999", "12:59:00", "12:59"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sqlDate);
        const Date date(c.year, c.month, c.day, c.hour, c.minute, c.second);
        EXPECT_EQ(Text(date.SQLDate()), c.sqlDate);
        EXPECT_EQ(Text(date.ShortDate()), c.shortDate);
        EXPECT_EQ(Text(date.LongDate()), c.longDate);
        EXPECT_EQ(Text(date.AbbreviatedDate()), c.abbreviated);
        EXPECT_EQ(Text(date.LongTime()), c.longTime);
        EXPECT_EQ(Text(date.ShortTime()), c.shortTime);
    }
}

TEST_P(DateDSTTest, FormatsLocalFieldsAndZone) {
    const Date date(2026, 7, 1, 12, 0, 0);
    EXPECT_EQ(Text(date.Format("%H %z %Z")), "12 +0200 CEST");
    EXPECT_EQ(Text(date.Format("%s")),
              std::to_string(static_cast<long long>(DateScaleValue(2026, 7, 1, 10, 0, 0) -
                                                    kDateScalePOSIXEpoch)));
}

TEST_P(DateDSTTest, EveryTextReadsBack) {
    const struct {
        long year, month, day, hour, minute, second;
    } cases[] = {{1, 1, 1, 0, 0, 0},        {1900, 2, 28, 13, 1, 2},   {1901, 12, 31, 23, 59, 58},
                 {1902, 7, 1, 0, 59, 58},   {1904, 1, 1, 0, 0, 0},     {1970, 1, 1, 0, 0, 0},
                 {2026, 3, 29, 3, 0, 0},    {2037, 7, 1, 0, 59, 58},   {2038, 1, 19, 3, 14, 8},
                 {2040, 2, 29, 18, 30, 45}, {9999, 12, 31, 23, 59, 59}};
    for (const auto& c : cases) {
        const Date date(c.year, c.month, c.day, c.hour, c.minute, c.second);
        SCOPED_TRACE(Text(date.SQLDateTime()));
        // Local fields come back from the moment alone, far from 1970 too.
        EXPECT_EQ(Text(Date(date.TotalSeconds()).SQLDateTime()), Text(date.SQLDateTime()));
        for (const string& text : {date.SQLDateTime(), date.LongDate() + " " + date.LongTime(),
                                   date.AbbreviatedDate() + " " + date.LongTime()}) {
            Date back(0.0);
            EXPECT_TRUE(back.Parse(text)) << Text(text);
            EXPECT_EQ(back.TotalSeconds(), date.TotalSeconds()) << Text(text);
        }
        if (c.year >= 1969 && c.year <= 2068) {  // the two-digit year's window
            Date back(0.0);
            EXPECT_TRUE(back.Parse(date.ShortDate() + " " + date.LongTime()));
            EXPECT_EQ(back.TotalSeconds(), date.TotalSeconds());
        }
    }
}

}  // namespace
