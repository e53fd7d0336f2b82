// Date.h - the date object: a moment on the date scale, seen through a calendar and a zone.
//
// A Date holds one moment as double seconds on the framework's date scale (core/DateScale.h:
// seconds since 1904-01-01 00:00:00 UTC, proleptic Gregorian, fractions kept) and shows it
// as broken-down calendar fields in the process's local zone (TZ), or in a fixed offset
// once one is set. It adds calendar units by normalising the fields as mktime does, parses
// the SQL and the locale's short and long texts, and formats through strftime.
//
// Calendar and range. Fields are converted with the framework's own Gregorian arithmetic,
// so years 1 through 9999 (and beyond) behave the same on 32- and 64-bit builds. The C
// library (localtime_r, mktime, strftime, strptime) is only asked about moments in
// 1902 .. 2037, which every time_t covers, and only for what the zone database knows:
//   - in 1902 .. 2037 the zone's rules apply as the C library reports them;
//   - after 2037 the rules of the calendar-identical year in 2010 .. 2037 (same leap year,
//     same weekday for January 1) apply: the zone's last rules carry on;
//   - before 1902 the zone's offset on 1902-01-01 applies all year, with no daylight
//     saving time (there was none), and not the local mean time of the zone database.
// Not here: leap seconds, calendars other than the Gregorian, time zones other than the
// process's own (TZ) and fixed offsets, locale switching (the process locale is used).
#ifndef ZYNE_RUNTIME_DATE_H
#define ZYNE_RUNTIME_DATE_H

#include <cstdint>

#include "core/string.h"

class Date {
public:
    /// The current moment (DateScaleNow), shown in the local zone.
    Date();
    /// The given moment on the date scale, shown in the local zone.
    explicit Date(double totalSeconds);
    /// The given local wall time; out-of-range fields carry over as SetFields says.
    Date(long year, long month, long day, long hour = 0, long minute = 0, long second = 0);

    // --- The moment ----------------------------------------------------------------------

    /// Seconds since 1904-01-01 00:00:00 UTC; the same whatever zone the date shows.
    double TotalSeconds() const { return mSeconds; }
    /// Moves to another moment; the zone setting (local or fixed offset) stays. Only
    /// finite values are useful: the fields of NaN or infinity read as 1904-01-01 UTC.
    void SetTotalSeconds(double totalSeconds) { mSeconds = totalSeconds; }

    // --- Calendar fields, in the date's zone -----------------------------------------------

    long Year() const;
    /// 1 = January .. 12 = December.
    long Month() const;
    /// 1 .. 28, 29, 30 or 31.
    long Day() const;
    /// 0 .. 23.
    long Hour() const;
    /// 0 .. 59.
    long Minute() const;
    /// 0 .. 59; the fraction of a second is in TotalSeconds only.
    long Second() const;
    /// 1 = Sunday, 2 = Monday .. 7 = Saturday.
    long DayOfWeek() const;
    /// 1 = January 1 .. 365, or 366 in a leap year.
    long DayOfYear() const;

    /// Sets every field at once and drops the fraction of a second. Fields outside their
    /// range carry over through the calendar as mktime does: month 13 is January of the
    /// next year, month 0 December before, day 0 the last day of the previous month,
    /// February 31 is March 3 (March 2 in a leap year), hour 24 midnight of the next day,
    /// negative values borrow. In the local zone a wall time that does not exist (in the
    /// hour skipped when daylight saving time starts) moves forward by the skipped length
    /// (02:30 becomes 03:30); one that exists twice (when it ends) is the earlier moment,
    /// still in daylight saving time. Never fails.
    void SetFields(long year, long month, long day, long hour, long minute, long second);
    /// Each sets one field, keeps the others and the fraction of a second, and carries
    /// over as SetFields does (SetDay(0) gives the last day of the previous month).
    void SetYear(long year);
    void SetMonth(long month);
    void SetDay(long day);
    void SetHour(long hour);
    void SetMinute(long minute);
    void SetSecond(long second);

    // --- Arithmetic ---------------------------------------------------------------------

    /// Calendar units go through the fields, so the wall clock time stays across a change
    /// of daylight saving time (a day may then be 23 or 25 hours), and a day of month that
    /// the target month lacks carries over: January 31 + 1 month is March 3 (March 2 in a
    /// leap year), February 29 + 1 year is March 1. Negative counts go back.
    void AddYears(long years);
    void AddMonths(long months);
    void AddDays(long days);
    /// Like AddMonths, except that a day of month the target month lacks becomes its last
    /// day: January 31 + 1 month is February 28 (29); months may be negative.
    void AddMonthsClamped(long months);
    /// Clock units are elapsed time: they move the moment itself, so across the start of
    /// daylight saving time 01:30 + 1 hour is 03:30.
    void AddHours(double hours) { mSeconds += hours * 3600.0; }
    void AddMinutes(double minutes) { mSeconds += minutes * 60.0; }
    void AddSeconds(double seconds) { mSeconds += seconds; }

    // --- Zone -----------------------------------------------------------------------------

    /// Hours east of UTC in which the fields are shown: the fixed offset when one is set,
    /// else the local zone's offset at this moment (daylight saving time included), e.g.
    /// 1.0 or 2.0 in Berlin, -5.5 is possible.
    double GMTOffset() const;
    /// Shows the date in a fixed offset from now on: the moment is kept and the fields
    /// move (a 12:00 UTC date set to 2.0 shows 14:00). The offset is rounded to whole
    /// seconds. Refuses (false, date unchanged) anything outside -24 .. +24 hours and
    /// NaN. A fixed offset knows no daylight saving time.
    bool SetGMTOffset(double hours);
    /// True while the fields follow the local zone (no fixed offset set).
    bool UsesLocalZone() const { return !mFixedOffset; }
    /// Back to the local zone; the moment is kept.
    void UseLocalZone() { mFixedOffset = false; }

    // --- Parsing: true on success; false leaves the date exactly as it was ----------------

    /// "2026-11-22": that day at 00:00:00. Four-digit year 0001 .. 9999, two-digit month
    /// and day, each in its real range (no carrying: "2026-04-31" is refused).
    bool SetSQLDate(const string& text);
    /// "2026-11-22 04:03:16" (a "T" may stand for the space), or a bare SQL date as
    /// SetSQLDate; hour 00 .. 23, minute and second 00 .. 59, two digits each.
    bool SetSQLDateTime(const string& text);
    /// "04:03:16": that time of day on the date's current day.
    bool SetSQLTime(const string& text);
    /// Any text the date writes back: the SQL forms above, the locale's short date
    /// (strftime "%x": "11/22/26" in the C locale; a four-digit year is accepted too;
    /// two-digit years 69 .. 99 are 1969 .. 1999, 00 .. 68 2000 .. 2068) and the long and
    /// abbreviated forms ("Sunday, November 22, 2026", "Sun, Nov 22, 2026", and both
    /// without the weekday). A short, long or abbreviated date may be followed by a time
    /// (the locale's "%X", or hours and minutes only); without one the time is 00:00:00.
    /// A weekday that does not match the date is refused. Leading and trailing spaces are
    /// ignored; anything else left over is refused, as is any field out of its range.
    bool Parse(const string& text);

    // --- Formatting ------------------------------------------------------------------------

    /// The fields run through strftime with a bounded buffer (at most 4096 bytes of
    /// output; longer output gives the empty string), tagged UTF-8. Guaranteed, the same
    /// on every build: %a %A %b %B %c %C %d %D %e %F %g %G %h %H %I %j %m %M %n %p %r %R %S
    /// %t %T %u %U %V %w %W %x %X %y %Y %z %Z %%, and %s (seconds since 1970, computed
    /// here: strftime's own would read the fields as local time). %Y writes years below
    /// 1000 without leading zeros ("1"). %Z is the zone's abbreviation, or "UTC" / "+0130"
    /// in a fixed offset. Other conversions are strftime's business.
    string Format(const string& pattern) const;
    /// "2026-11-22", the year always in four digits.
    string SQLDate() const;
    /// "2026-11-22 04:03:16".
    string SQLDateTime() const;
    /// The locale's short date, strftime "%x" ("11/22/26" in the C locale).
    string ShortDate() const;
    /// "Sunday, November 22, 2026": full weekday and month names of the locale, the day
    /// without a leading zero.
    string LongDate() const;
    /// "Sun, Nov 22, 2026": as LongDate with abbreviated names.
    string AbbreviatedDate() const;
    /// The locale's time, strftime "%X" ("04:03:16" in the C locale).
    string LongTime() const;
    /// LongTime without its seconds ("04:03").
    string ShortTime() const;

    // --- Calendar helpers ----------------------------------------------------------------

    /// Gregorian: every 4th year, but not every 100th, yet every 400th (1900 no, 2000 yes).
    static bool IsLeapYear(long year);
    /// 28 .. 31 for months 1 .. 12; 0 for any other month.
    static long DaysInMonth(long year, long month);

    bool operator==(const Date& other) const { return mSeconds == other.mSeconds; }
    bool operator<(const Date& other) const { return mSeconds < other.mSeconds; }

    /// The date's calendar view, in its zone. Public so that helpers can pass it around.
    struct Fields {
        int64_t year = 1904;
        int64_t month = 1;  // 1..12
        int64_t day = 1;    // 1..31
        int64_t hour = 0;
        int64_t minute = 0;
        int64_t second = 0;
        double fraction = 0;        // 0 <= fraction < 1
        int64_t dayOfWeek = 0;      // 0 = Sunday
        int64_t dayOfYear = 0;      // 0-based
        int64_t offsetSeconds = 0;  // east of UTC
        bool isDST = false;
        const char* zoneName = nullptr;  // the C library's abbreviation; null: fixed offset
    };

private:
    Fields GetFields() const;
    // The moment of the given wall fields (any range) in the date's zone.
    double MomentOf(int64_t year, int64_t month, int64_t day, int64_t hour, int64_t minute,
                    int64_t second, double fraction) const;
    void Apply(const Fields& f) {
        mSeconds = MomentOf(f.year, f.month, f.day, f.hour, f.minute, f.second, f.fraction);
    }
    // strftime on this date's fields; empty on overflow.
    string Strftime(const char* pattern) const;

    double mSeconds = 0;         // the moment on the date scale
    bool mFixedOffset = false;   // false: the local zone (TZ) decides the offset
    int32_t mOffsetSeconds = 0;  // east of UTC, used while mFixedOffset
};

#endif  // ZYNE_RUNTIME_DATE_H
