// String and date services of the store library. Texts are zero-terminated
// code page 1252; positions count from 0.
//
// Dates are day numbers: day 1 is 1 January 1900, and each later day counts
// one more, so order by value is order in time and day 29000 falls on
// 26 May 1979. A value under 29000 counts as no date for the callers; the
// conversions here accept every day from 1 (1900-01-01) to 2958464
// (9999-12-31). Times are seconds since midnight, 0 to 86399.
//
// Date formats (configuration key DateFormat, at most 25 characters): one
// day field "dd" (or "d"), one month field "mm" (or "m"), one year field
// "yyyy" or "yy", in any order, with any other characters between them as
// separators: "dd.mm.yyyy", "mm/dd/yyyy", "yyyy-mm-dd", "dd.mm.yy". Letters
// may be of either case. A single "d" or "m" writes no leading zero. A null
// or empty format stands for "dd.mm.yyyy".
// Two-digit years read 00..49 as 2000..2049 and 50..99 as 1950..1999.
//
// The language argument of the date calls is accepted for the callers' sake
// and not used: no format holds month or day names.
#pragma once

#include <cstddef>

inline constexpr long kDateFirst = 1;         // 1900-01-01
inline constexpr long kDateLast = 2958464;    // 9999-12-31
inline constexpr long kDateNoneBelow = 29000; // smaller values mean no date
inline constexpr long kTimeLast = 86399;
inline constexpr size_t kDateFormatMax = 25; // longest usable format
// Buffer size that every date or time text fits in, terminator included.
inline constexpr size_t kDateTextMax = 32;

// Results of the date calls.
inline constexpr int kDateOk = 0;
inline constexpr int kDateErrText = 1;   // the text is no valid date or time
inline constexpr int kDateErrFormat = 2; // unusable format, or no room
inline constexpr int kDateErrValue = 3;  // the number is no day or time

// ---------------------------------------------------------------- strings

// Cuts every trailing occurrence of c.
void StrRemoveTrailer(char *s, char c);

// Removes the characters from first to last, both included. A range that
// starts beyond the end, or runs backwards, changes nothing; one that runs
// past the end is cut at the end.
void StrCut(char *s, int first, int last);

// Inserts text at the position (0 = in front; beyond the end = behind). The
// caller vouches that s has room for both texts and the terminator; callers
// that know their buffer use StrInsertN.
void StrInsert(char *s, const char *text, int position);
// The bounded form: cap is the size of the buffer behind s. When the result
// would not fit, s stays unchanged and the answer is 1; else 0.
int StrInsertN(char *s, size_t cap, const char *text, int position);

// ---------------------------------------------------------------- dates

// Today's date and the present time of day, local time.
void DateToday(long *date);
void TimeNow(long *time);

// Parses a date typed in the format. Blanks around the text are allowed;
// fields may have fewer digits than the format ("1.5.2020" for
// "dd.mm.yyyy"), a four-digit year stands also where "yy" is asked for and a
// two-digit one where "yyyy" is. Any of '.', '/', '-' separates fields as
// well as the format's own separator. Answers 0 and sets *date, or
// kDateErrText (the text is no valid date: empty, garbage, day 0, month 13,
// 30 February, a year before 1900) or kDateErrFormat; *date is then 0.
int DateCharToLong(int language, const char *text, const char *format,
                   long *date);

// Writes the date in the format into buffer, which must hold kDateTextMax
// bytes. Answers 0, or kDateErrValue / kDateErrFormat with buffer empty.
int DateLongToChar(int language, long date, const char *format, char *buffer);
int DateLongToCharN(int language, long date, const char *format, char *buffer,
                    size_t cap);

// Writes the time of day; format fields "hh", "mm", "ss" (or single
// letters for no leading zero) with any separators: "hh:mm:ss", "hh:mm".
// buffer must hold kDateTextMax bytes.
int TimeLongToChar(int language, long time, const char *format, char *buffer);
int TimeLongToCharN(int language, long time, const char *format, char *buffer,
                    size_t cap);

// Splits a day number into the full year (1900..9999), month (1..12), day
// (1..31) and day of week (0 Sunday .. 6 Saturday). Any pointer may be null.
// Answers 0, or kDateErrValue with all four set to 0.
int DateLongToYMD(long date, int *year, int *month, int *day, int *weekday);

// The day number of a calendar date; kDateErrText for an impossible date.
int DateYMDToLong(int year, int month, int day, long *date);
