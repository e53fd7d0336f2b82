// Date.cpp - the date object: calendar fields, zone offsets, parsing and formatting.
//
// Moments are kept on the date scale; calendar fields come from the framework's own
// Gregorian arithmetic (DateScaleValue one way, CivilFromDays the other), so no time_t
// ever has to hold a year outside 1902 .. 2037. The C library answers two questions only:
// the local zone's offset at a moment (localtime_r, on a moment inside that window, see
// ZoneAt), and the locale's texts (strftime, strptime, nl_langinfo).
#include "runtime/Date.h"

#include <langinfo.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "core/DateScale.h"
#include "encodings/Encodings.h"

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// 1902-01-01 and 2038-01-01 00:00:00 UTC in POSIX seconds: the window inside which every
// time_t, 32 bits included, can hold a moment and its local time.
constexpr int64_t kWindowStart = -2145916800;
constexpr int64_t kWindowEnd = 2145916800;
// Moments further out than this (about 3 million years) are clamped before converting
// to integers, so that no conversion overflows.
constexpr double kSecondsLimit = 1e14;
// The largest strftime output, in bytes.
constexpr size_t kFormatLimit = 4096;

int64_t FloorDiv(int64_t a, int64_t b) {
    int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

int64_t FloorMod(int64_t a, int64_t b) {
    return a - FloorDiv(a, b) * b;
}

// Clamps a field sum to what DateScaleValue's long parameters hold on every build.
long ClampField(int64_t value) {
    constexpr int64_t kLimit = 2000000000;
    if (value > kLimit) return static_cast<long>(kLimit);
    if (value < -kLimit) return static_cast<long>(-kLimit);
    return static_cast<long>(value);
}

// field + count for the calendar adders. A sum beyond int64_t stops at its end instead of
// wrapping to the other side; ClampField brings it into range later either way.
int64_t AddCount(int64_t field, long count) {
    int64_t sum = 0;
    if (__builtin_add_overflow(field, static_cast<int64_t>(count), &sum))
        return count < 0 ? INT64_MIN : INT64_MAX;
    return sum;
}

// Days since 1970-01-01 of a date whose fields are in range, through the date scale.
int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day) {
    const double value =
        DateScaleValue(ClampField(year), ClampField(month), ClampField(day), 0, 0, 0);
    return static_cast<int64_t>(std::llround(value - kDateScalePOSIXEpoch)) / kSecondsPerDay;
}

struct Civil {
    int64_t year;
    int64_t month;
    int64_t day;
};

// The Gregorian date of a day count from 1970-01-01 (the inverse of days-from-civil):
// 400-year eras counted from 0000-03-01, years starting in March so that the leap day
// falls last.
Civil CivilFromDays(int64_t days) {
    days += 719468;
    const int64_t era = FloorDiv(days, 146097);
    const int64_t dayOfEra = days - era * 146097;  // 0 .. 146096
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;  // 0 .. 399
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;  // March = 0
    const int64_t day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const int64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

bool IsLeap(int64_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// 0 = Sunday; 1970-01-01 was a Thursday.
int64_t WeekdayOfDays(int64_t days) {
    return FloorMod(days + 4, 7);
}

struct ZoneInfo {
    int64_t offset = 0;  // seconds east of UTC
    bool isDST = false;
    const char* name = "UTC";
};

// The local zone at a POSIX moment. Moments after the window are moved into it by whole
// years to the calendar-identical year of 2010 .. 2037 (the zone's current rules carry
// on); moments before it take the offset of 1902-01-01 12:00 UTC, standard time, for all
// the years before (the local mean times of the zone database would differ between
// builds whose time_t is 32 or 64 bits wide). Where the C library puts 1902-01-01 in
// summer time (it does so for every moment before 1970 under a rule string for the
// southern hemisphere), the zone's standard time as tzset reports it stands in.
ZoneInfo ZoneAt(int64_t seconds) {
    if (seconds < kWindowStart) {
        ZoneInfo zone = ZoneAt(kWindowStart + kSecondsPerDay / 2);
        if (zone.isDST) {
            zone.offset = -static_cast<int64_t>(timezone);
            zone.isDST = false;
            if (tzname[0] != nullptr) zone.name = tzname[0];
        }
        return zone;
    }
    int64_t probe = seconds;
    if (seconds >= kWindowEnd) {
        const int64_t year = CivilFromDays(FloorDiv(seconds, kSecondsPerDay)).year;
        const int64_t firstDay = DaysFromCivil(year, 1, 1);
        int64_t twin = 2037;
        for (int64_t candidate = 2010; candidate <= 2037; ++candidate) {
            const int64_t candidateFirst = DaysFromCivil(candidate, 1, 1);
            if (IsLeap(candidate) == IsLeap(year) &&
                WeekdayOfDays(candidateFirst) == WeekdayOfDays(firstDay)) {
                twin = candidate;
                break;
            }
        }
        probe = seconds + (DaysFromCivil(twin, 1, 1) - firstDay) * kSecondsPerDay;
    }
    // localtime_r need not notice a changed TZ by itself; tzset makes it.
    tzset();
    const time_t moment = static_cast<time_t>(probe);
    tm local{};
    ZoneInfo zone;
    if (localtime_r(&moment, &local) == nullptr) return zone;
    zone.offset = local.tm_gmtoff;
    zone.isDST = local.tm_isdst > 0;
    if (local.tm_zone != nullptr) zone.name = local.tm_zone;
    return zone;
}

// Seconds of the date scale as whole POSIX seconds and the fraction left over. The
// fraction is taken on the date scale itself: the epoch is a whole number of seconds, and
// near the scale's origin the value holds finer fractions than a POSIX value would.
void SplitSeconds(double scaleSeconds, int64_t& whole, double& fraction) {
    double value = std::isfinite(scaleSeconds) ? scaleSeconds : 0.0;
    if (value > kDateScalePOSIXEpoch + kSecondsLimit) value = kDateScalePOSIXEpoch + kSecondsLimit;
    if (value < kDateScalePOSIXEpoch - kSecondsLimit) value = kDateScalePOSIXEpoch - kSecondsLimit;
    const double floored = std::floor(value);
    whole = static_cast<int64_t>(floored) - static_cast<int64_t>(kDateScalePOSIXEpoch);
    fraction = value - floored;
}

// Text from the C library, tagged UTF-8 as the operating system's texts are.
string SystemText(std::string_view bytes) {
    string result;
    if (bytes.empty()) return result;
    result.ConstructFromBuffer(bytes.data(), static_cast<unsigned>(bytes.size()));
    result.SetEncoding(kEncodingUTF8);
    return result;
}

// The text of a string, or false when it holds a zero byte (which no date has).
bool TextOf(const string& text, std::string_view& view) {
    const char* bytes = text.CString();
    const size_t length = text.Length();
    if (std::memchr(bytes, 0, length) != nullptr) return false;
    view = std::string_view(bytes, length);
    while (!view.empty() && (view.front() == ' ' || view.front() == '\t')) view.remove_prefix(1);
    while (!view.empty() && (view.back() == ' ' || view.back() == '\t')) view.remove_suffix(1);
    return true;
}

// Exactly count ASCII digits at position, as a number.
bool ReadDigits(std::string_view text, size_t position, size_t count, int64_t& value) {
    if (position + count > text.size()) return false;
    value = 0;
    for (size_t i = position; i < position + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        value = value * 10 + (text[i] - '0');
    }
    return true;
}

struct Clock {
    int64_t hour = 0;
    int64_t minute = 0;
    int64_t second = 0;
};

// "YYYY-MM-DD", every field in its real range.
bool ReadSQLDate(std::string_view text, Civil& date) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
    if (!ReadDigits(text, 0, 4, date.year) || !ReadDigits(text, 5, 2, date.month) ||
        !ReadDigits(text, 8, 2, date.day)) {
        return false;
    }
    return date.year >= 1 && date.day >= 1 &&
           date.day <=
               Date::DaysInMonth(static_cast<long>(date.year), static_cast<long>(date.month));
}

// "HH:MM:SS", 00:00:00 .. 23:59:59.
bool ReadSQLTime(std::string_view text, Clock& clock) {
    if (text.size() != 8 || text[2] != ':' || text[5] != ':') return false;
    if (!ReadDigits(text, 0, 2, clock.hour) || !ReadDigits(text, 3, 2, clock.minute) ||
        !ReadDigits(text, 6, 2, clock.second)) {
        return false;
    }
    return clock.hour <= 23 && clock.minute <= 59 && clock.second <= 59;
}

// "YYYY-MM-DD HH:MM:SS" or "YYYY-MM-DDTHH:MM:SS".
bool ReadSQLDateTime(std::string_view text, Civil& date, Clock& clock) {
    if (text.size() != 19 || (text[10] != ' ' && text[10] != 'T')) return false;
    return ReadSQLDate(text.substr(0, 10), date) && ReadSQLTime(text.substr(11), clock);
}

std::string Replace(std::string text, std::string_view from, std::string_view to) {
    const size_t at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

// The locale's time pattern without its seconds: "%H:%M:%S" gives "%H:%M".
std::string ShortTimePattern() {
    std::string pattern = nl_langinfo(T_FMT);
    if (pattern == "%T" || pattern.empty()) return "%H:%M";
    if (pattern == "%r") return "%I:%M %p";
    const size_t at = pattern.find("%S");
    if (at == std::string::npos) return pattern;
    // The separator before the seconds goes with them: from the end of the conversion
    // before ("%M" in "%H:%M:%S") up to the end of "%S".
    const size_t previous = at == 0 ? std::string::npos : pattern.rfind('%', at - 1);
    const size_t from = previous == std::string::npos ? at : previous + 2;
    pattern.erase(from, at + 2 - from);
    return pattern;
}

// Reads the whole text with one strptime pattern; fields the pattern lacks stay at
// their sentinels (year below any real one, weekday -1).
bool ReadPattern(std::string_view text, const std::string& pattern, tm& fields) {
    fields = tm{};
    fields.tm_year = -1000000;
    fields.tm_mon = 0;
    fields.tm_mday = 1;
    fields.tm_wday = -1;
    fields.tm_isdst = -1;
    const std::string copy(text);
    const char* end = strptime(copy.c_str(), pattern.c_str(), &fields);
    if (end == nullptr) return false;
    while (*end == ' ' || *end == '\t') ++end;
    return *end == '\0';
}

}  // namespace

// --- Construction and fields ---------------------------------------------------------------

Date::Date() : mSeconds(DateScaleNow()) {}

Date::Date(double totalSeconds) : mSeconds(totalSeconds) {}

Date::Date(long year, long month, long day, long hour, long minute, long second) {
    SetFields(year, month, day, hour, minute, second);
}

Date::Fields Date::GetFields() const {
    Fields f;
    int64_t whole = 0;
    SplitSeconds(mSeconds, whole, f.fraction);
    if (mFixedOffset) {
        f.offsetSeconds = mOffsetSeconds;
    } else {
        const ZoneInfo zone = ZoneAt(whole);
        f.offsetSeconds = zone.offset;
        f.isDST = zone.isDST;
        f.zoneName = zone.name;
    }
    const int64_t wall = whole + f.offsetSeconds;
    const int64_t days = FloorDiv(wall, kSecondsPerDay);
    const int64_t secondOfDay = wall - days * kSecondsPerDay;
    const Civil civil = CivilFromDays(days);
    f.year = civil.year;
    f.month = civil.month;
    f.day = civil.day;
    f.hour = secondOfDay / 3600;
    f.minute = secondOfDay / 60 % 60;
    f.second = secondOfDay % 60;
    f.dayOfWeek = WeekdayOfDays(days);
    f.dayOfYear = days - DaysFromCivil(civil.year, 1, 1);
    return f;
}

double Date::MomentOf(int64_t year, int64_t month, int64_t day, int64_t hour, int64_t minute,
                      int64_t second, double fraction) const {
    const double wallValue =
        DateScaleValue(ClampField(year), ClampField(month), ClampField(day), ClampField(hour),
                       ClampField(minute), ClampField(second));
    const int64_t wall = static_cast<int64_t>(std::llround(wallValue - kDateScalePOSIXEpoch));
    int64_t moment = 0;
    if (mFixedOffset) {
        moment = wall - mOffsetSeconds;
    } else {
        // The offsets a day either side; when they differ a change lies between them.
        const int64_t before = ZoneAt(wall - kSecondsPerDay).offset;
        const int64_t after = ZoneAt(wall + kSecondsPerDay).offset;
        const int64_t withBefore = wall - before;
        const int64_t withAfter = wall - after;
        const bool beforeHolds = ZoneAt(withBefore).offset == before;
        const bool afterHolds = ZoneAt(withAfter).offset == after;
        if (beforeHolds && afterHolds) {
            moment = withBefore < withAfter ? withBefore : withAfter;  // twice: the earlier
        } else if (afterHolds) {
            moment = withAfter;
        } else {
            // Also the skipped hour: read in the offset before the change, which puts the
            // wall time forward by the skipped length.
            moment = withBefore;
        }
    }
    return static_cast<double>(moment) + kDateScalePOSIXEpoch + fraction;
}

long Date::Year() const {
    return static_cast<long>(GetFields().year);
}
long Date::Month() const {
    return static_cast<long>(GetFields().month);
}
long Date::Day() const {
    return static_cast<long>(GetFields().day);
}
long Date::Hour() const {
    return static_cast<long>(GetFields().hour);
}
long Date::Minute() const {
    return static_cast<long>(GetFields().minute);
}
long Date::Second() const {
    return static_cast<long>(GetFields().second);
}
long Date::DayOfWeek() const {
    return static_cast<long>(GetFields().dayOfWeek + 1);
}
long Date::DayOfYear() const {
    return static_cast<long>(GetFields().dayOfYear + 1);
}

void Date::SetFields(long year, long month, long day, long hour, long minute, long second) {
    mSeconds = MomentOf(year, month, day, hour, minute, second, 0.0);
}

// The one-field setters and adders: the field changes in the date's zone, and a value out
// of its range carries over as SetFields says.
#define CHANGE_FIELD(Method, field, op) \
    void Date::Method(long value) {     \
        Fields f = GetFields();         \
        f.field op value;               \
        Apply(f);                       \
    }
CHANGE_FIELD(SetYear, year, =)
CHANGE_FIELD(SetMonth, month, =)
CHANGE_FIELD(SetDay, day, =)
CHANGE_FIELD(SetHour, hour, =)
CHANGE_FIELD(SetMinute, minute, =)
CHANGE_FIELD(SetSecond, second, =)
#undef CHANGE_FIELD

// --- Arithmetic ----------------------------------------------------------------------------

// The count is added without overflow.
#define ADD_TO_FIELD(Method, field)         \
    void Date::Method(long count) {         \
        Fields f = GetFields();             \
        f.field = AddCount(f.field, count); \
        Apply(f);                           \
    }
ADD_TO_FIELD(AddYears, year)
ADD_TO_FIELD(AddMonths, month)
ADD_TO_FIELD(AddDays, day)
#undef ADD_TO_FIELD

void Date::AddMonthsClamped(long months) {
    Fields f = GetFields();
    const int64_t monthIndex = AddCount(f.month - 1, months);
    f.year += FloorDiv(monthIndex, 12);
    f.month = FloorMod(monthIndex, 12) + 1;
    const int64_t last = DaysInMonth(ClampField(f.year), static_cast<long>(f.month));
    if (f.day > last) f.day = last;
    Apply(f);
}

// --- Zone ----------------------------------------------------------------------------------

double Date::GMTOffset() const {
    return static_cast<double>(GetFields().offsetSeconds) / 3600.0;
}

bool Date::SetGMTOffset(double hours) {
    if (!(hours >= -24.0 && hours <= 24.0)) return false;  // NaN fails both
    mOffsetSeconds = static_cast<int32_t>(std::lround(hours * 3600.0));
    mFixedOffset = true;
    return true;
}

// --- Parsing -------------------------------------------------------------------------------

bool Date::SetSQLDate(const string& text) {
    std::string_view view;
    Civil date{};
    if (!TextOf(text, view) || !ReadSQLDate(view, date)) return false;
    mSeconds = MomentOf(date.year, date.month, date.day, 0, 0, 0, 0.0);
    return true;
}

bool Date::SetSQLDateTime(const string& text) {
    std::string_view view;
    if (!TextOf(text, view)) return false;
    Civil date{};
    Clock clock;
    if (!ReadSQLDateTime(view, date, clock) && !ReadSQLDate(view, date)) return false;
    mSeconds =
        MomentOf(date.year, date.month, date.day, clock.hour, clock.minute, clock.second, 0.0);
    return true;
}

bool Date::SetSQLTime(const string& text) {
    std::string_view view;
    Clock clock;
    if (!TextOf(text, view) || !ReadSQLTime(view, clock)) return false;
    const Fields f = GetFields();
    mSeconds = MomentOf(f.year, f.month, f.day, clock.hour, clock.minute, clock.second, 0.0);
    return true;
}

bool Date::Parse(const string& text) {
    if (SetSQLDateTime(text) || SetSQLTime(text)) return true;
    std::string_view view;
    if (!TextOf(text, view) || view.empty()) return false;

    // Two-digit years first: "%y" stops after two digits, so a four-digit year fails it
    // and reaches the "%Y" variant; the other order would read "26" as the year 26.
    const std::string shortDate = nl_langinfo(D_FMT);
    const std::string dates[] = {
        shortDate,
        Replace(shortDate, "%y", "%Y"),
        "%A, %B %d, %Y",  // strptime's %A and %B take abbreviated names as well
        "%B %d, %Y",
    };
    const std::string times[] = {
        nl_langinfo(T_FMT),
        nl_langinfo(T_FMT_AMPM),
        "%H:%M",
        "%I:%M %p",
    };
    tm fields{};
    bool haveDate = false;
    bool checkWeekday = false;
    for (const std::string& datePattern : dates) {
        if (datePattern.empty()) continue;
        if (ReadPattern(view, datePattern, fields)) {
            haveDate = true;
        } else {
            for (const std::string& timePattern : times) {
                if (!timePattern.empty() &&
                    ReadPattern(view, datePattern + " " + timePattern, fields)) {
                    haveDate = true;
                    break;
                }
            }
        }
        if (haveDate) {
            checkWeekday = datePattern.find("%A") != std::string::npos;
            break;
        }
    }
    bool haveTime = false;
    if (!haveDate) {
        for (const std::string& timePattern : times) {
            if (!timePattern.empty() && ReadPattern(view, timePattern, fields)) {
                haveTime = true;
                break;
            }
        }
        if (!haveTime) return false;
    }
    // strptime takes seconds up to 61 and any day up to 31; a date has neither.
    if (fields.tm_hour < 0 || fields.tm_hour > 23 || fields.tm_min < 0 || fields.tm_min > 59 ||
        fields.tm_sec < 0 || fields.tm_sec > 59) {
        return false;
    }
    if (haveTime) {
        const Fields f = GetFields();
        mSeconds =
            MomentOf(f.year, f.month, f.day, fields.tm_hour, fields.tm_min, fields.tm_sec, 0.0);
        return true;
    }
    const int64_t year = static_cast<int64_t>(fields.tm_year) + 1900;
    const int64_t month = static_cast<int64_t>(fields.tm_mon) + 1;
    if (year < 1 || year > 9999 || fields.tm_mday < 1 ||
        fields.tm_mday > DaysInMonth(static_cast<long>(year), static_cast<long>(month))) {
        return false;
    }
    if (checkWeekday &&
        fields.tm_wday != WeekdayOfDays(DaysFromCivil(year, month, fields.tm_mday))) {
        return false;
    }
    mSeconds =
        MomentOf(year, month, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec, 0.0);
    return true;
}

// --- Formatting ----------------------------------------------------------------------------

string Date::Strftime(const char* pattern) const {
    const Fields f = GetFields();
    if (f.year < -1000000 || f.year > 1000000) return string();

    // %s is the moment itself; strftime would run the fields through mktime instead.
    std::string expanded;
    for (const char* p = pattern; *p != '\0'; ++p) {
        if (p[0] == '%' && p[1] == 's') {
            int64_t whole = 0;
            double fraction = 0;
            SplitSeconds(mSeconds, whole, fraction);
            expanded += std::to_string(whole);
            ++p;
        } else if (p[0] == '%' && p[1] != '\0') {
            expanded += p[0];
            expanded += p[1];
            ++p;
        } else {
            expanded += p[0];
        }
    }
    // A trailing space tells "no room" (0) from an empty result; it is cut off again.
    expanded += ' ';

    char zoneName[16];
    tm fields{};
    fields.tm_year = static_cast<int>(f.year - 1900);
    fields.tm_mon = static_cast<int>(f.month - 1);
    fields.tm_mday = static_cast<int>(f.day);
    fields.tm_hour = static_cast<int>(f.hour);
    fields.tm_min = static_cast<int>(f.minute);
    fields.tm_sec = static_cast<int>(f.second);
    fields.tm_wday = static_cast<int>(f.dayOfWeek);
    fields.tm_yday = static_cast<int>(f.dayOfYear);
    fields.tm_isdst = f.isDST ? 1 : 0;
    fields.tm_gmtoff = static_cast<long>(f.offsetSeconds);
    if (f.zoneName != nullptr) {
        fields.tm_zone = f.zoneName;
    } else if (f.offsetSeconds == 0) {
        fields.tm_zone = "UTC";
    } else {
        const int64_t magnitude = f.offsetSeconds < 0 ? -f.offsetSeconds : f.offsetSeconds;
        const char sign = f.offsetSeconds < 0 ? '-' : '+';
        if (magnitude % 60 == 0) {
            std::snprintf(zoneName, sizeof zoneName, "%c%02d%02d", sign,
                          static_cast<int>(magnitude / 3600),
                          static_cast<int>(magnitude / 60 % 60));
        } else {
            std::snprintf(zoneName, sizeof zoneName, "%c%02d%02d%02d", sign,
                          static_cast<int>(magnitude / 3600), static_cast<int>(magnitude / 60 % 60),
                          static_cast<int>(magnitude % 60));
        }
        fields.tm_zone = zoneName;
    }

    std::vector<char> buffer;
    for (size_t size : {size_t{256}, kFormatLimit + 2}) {
        buffer.assign(size, '\0');
        const size_t written = strftime(buffer.data(), buffer.size(), expanded.c_str(), &fields);
        if (written > 0) return SystemText(std::string_view(buffer.data(), written - 1));
    }
    return string();
}

string Date::Format(const string& pattern) const {
    std::string_view view(pattern.CString(), pattern.Length());
    if (view.find('\0') != std::string_view::npos) return string();
    return Strftime(pattern.CString());
}

string Date::SQLDate() const {
    const Fields f = GetFields();
    char text[64];
    // The sign apart, so that "%04" pads the digits of a year before 1 as well ("-0001").
    const int length =
        std::snprintf(text, sizeof text, "%s%04lld-%02lld-%02lld", f.year < 0 ? "-" : "",
                      static_cast<long long>(f.year < 0 ? -f.year : f.year),
                      static_cast<long long>(f.month), static_cast<long long>(f.day));
    return string(length > 0 ? text : "");
}

string Date::SQLDateTime() const {
    const Fields f = GetFields();
    char text[96];
    std::snprintf(text, sizeof text, "%s%04lld-%02lld-%02lld %02lld:%02lld:%02lld",
                  f.year < 0 ? "-" : "", static_cast<long long>(f.year < 0 ? -f.year : f.year),
                  static_cast<long long>(f.month), static_cast<long long>(f.day),
                  static_cast<long long>(f.hour), static_cast<long long>(f.minute),
                  static_cast<long long>(f.second));
    return string(text);
}

string Date::ShortDate() const {
    return Strftime("%x");
}

// %-d (no padding) is a glibc conversion; every build of the library uses glibc.
string Date::LongDate() const {
    return Strftime("%A, %B %-d, %Y");
}

string Date::AbbreviatedDate() const {
    return Strftime("%a, %b %-d, %Y");
}

string Date::LongTime() const {
    return Strftime("%X");
}

string Date::ShortTime() const {
    return Strftime(ShortTimePattern().c_str());
}

// --- Calendar helpers ----------------------------------------------------------------------

bool Date::IsLeapYear(long year) {
    return IsLeap(year);
}

long Date::DaysInMonth(long year, long month) {
    static constexpr long kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) return 0;
    return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}
