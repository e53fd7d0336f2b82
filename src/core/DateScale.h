// DateScale.h - the framework's date scale: a moment as double seconds from a fixed epoch.
//
// Every date the framework stores or exchanges (file dates, the host's date values) is a
// double count of seconds on one scale: seconds elapsed since 1904-01-01 00:00:00 in
// Coordinated Universal Time, on the proleptic Gregorian calendar, without leap seconds.
// Earlier moments are negative; fractions of a second are kept. The scale knows no time
// zones: calendar values are read as universal time, and the current moment is the
// universal one, so results do not depend on the process's TZ setting.
// Not here: broken-down dates, local time, formatting and parsing; the full date object
// builds those on these two routines.
#ifndef ZYNE_CORE_DATE_SCALE_H
#define ZYNE_CORE_DATE_SCALE_H

/// The value of 1970-01-01 00:00:00, the POSIX epoch, on the date scale: 24107 days.
/// POSIX seconds + kDateScalePOSIXEpoch = date value.
inline constexpr double kDateScalePOSIXEpoch = 2082844800.0;

/// The current moment on the date scale, to the microsecond (gettimeofday). Falls back to
/// whole seconds (time) if the clock cannot be read in finer steps; never fails.
double DateScaleNow();

/// The value of a calendar date and time of day on the date scale. Fields outside their
/// usual range carry over as a calendar would: month 13 is January of the next year,
/// month 0 December of the previous one, day 0 the last day of the previous month, and
/// hour, minute and second may be negative or large. Never fails.
double DateScaleValue(long year, long month, long day, long hour, long minute, long second);

#endif  // ZYNE_CORE_DATE_SCALE_H
