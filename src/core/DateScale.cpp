// DateScale.cpp - the current moment and calendar values on the framework's date scale.
//
// Calendar arithmetic is done in whole days with 64-bit integers (days from the civil
// calendar, the proleptic Gregorian rules), so it works the same for any year on 32- and
// 64-bit builds and never calls the C library's time-zone aware routines.
#include "core/DateScale.h"

#include <sys/time.h>

#include <cstdint>
#include <ctime>

namespace {

constexpr int64_t kSecondsPerDay = 86400;

// Floor division: the calendar needs -1 / 12 to be -1, not 0.
int64_t FloorDiv(int64_t a, int64_t b) {
    int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

// Days from 1970-01-01 to the given date; month in 1..12, day from 1 (any day count is
// accepted and simply added). The era arithmetic counts in 400-year cycles from 0000-03-01.
int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day) {
    year -= month <= 2 ? 1 : 0;
    const int64_t era = FloorDiv(year, 400);
    const int64_t yearOfEra = year - era * 400;                        // 0..399
    const int64_t shiftedMonth = month > 2 ? month - 3 : month + 9;    // March = 0
    const int64_t dayOfYear = (153 * shiftedMonth + 2) / 5 + day - 1;  // 0..365 + extra
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

}  // namespace

double DateScaleNow() {
    timeval now{};
    // Stored before it is returned: on i386 the sum may otherwise come back in an 80-bit
    // register, and a reading that is not yet rounded to a double can compare later than
    // one taken after it.
    volatile double seconds;
    if (gettimeofday(&now, nullptr) == 0) {
        seconds = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6 +
                  kDateScalePOSIXEpoch;
    } else {
        seconds = static_cast<double>(time(nullptr)) + kDateScalePOSIXEpoch;
    }
    return seconds;
}

double DateScaleValue(long year, long month, long day, long hour, long minute, long second) {
    // Months carry into years first, so that DaysFromCivil sees 1..12.
    const int64_t monthIndex = static_cast<int64_t>(month) - 1;
    const int64_t fullYear = static_cast<int64_t>(year) + FloorDiv(monthIndex, 12);
    const int64_t monthOfYear = monthIndex - FloorDiv(monthIndex, 12) * 12 + 1;
    const int64_t days = DaysFromCivil(fullYear, monthOfYear, day);
    const int64_t seconds = days * kSecondsPerDay + static_cast<int64_t>(hour) * 3600 +
                            static_cast<int64_t>(minute) * 60 + second;
    return static_cast<double>(seconds) + kDateScalePOSIXEpoch;
}
