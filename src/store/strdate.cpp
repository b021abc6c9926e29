#include "store/strdate.h"

#include "platform/strutil.h"

#include <cctype>
#include <cstring>
#include <ctime>
#include <string>

namespace {

// ---------------------------------------------------------------- calendar

bool IsLeap(int y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int DaysInMonth(int y, int m) {
  static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

// Days since 1970-01-01 of a proleptic Gregorian date (after H. Hinnant's
// civil calendar algorithms).
long DaysFromCivil(int y, int m, int d) {
  y -= m <= 2;
  const long era = (y >= 0 ? y : y - 399) / 400;
  const long yoe = y - era * 400;
  const long doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(long z, int &y, int &m, int &d) {
  z += 719468;
  const long era = (z >= 0 ? z : z - 146096) / 146097;
  const long doe = z - era * 146097;
  const long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const long mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = static_cast<int>(yoe + era * 400 + (m <= 2));
}

// Day 1 is 1900-01-01, which lies 25567 days before 1970-01-01.
constexpr long kEpochShift = 25568;

// ---------------------------------------------------------------- formats

enum FieldKind { kNone, kDay, kMonth, kYear, kHour, kMinute, kSecond };

// A format split into items: a field (kind and width) or one literal byte.
struct FormatItem {
  FieldKind Kind;
  int Width;
  char Literal;
};

struct Format {
  FormatItem Items[kDateFormatMax];
  int Count;
};

// Splits a format. In a date format d, m, y name fields; in a time format h,
// m, s. Each field must come once, with a usable width; every other byte is
// a literal.
bool ParseFormat(const char *text, bool isTime, Format &f) {
  f.Count = 0;
  size_t len = strlen(text);
  if (len == 0 || len > kDateFormatMax)
    return false;
  int seen[7] = {0};
  for (size_t i = 0; i < len;) {
    char c = static_cast<char>(tolower(static_cast<unsigned char>(text[i])));
    FieldKind kind = kNone;
    if (!isTime)
      kind = c == 'd' ? kDay : c == 'm' ? kMonth : c == 'y' ? kYear : kNone;
    else
      kind = c == 'h' ? kHour : c == 'm' ? kMinute : c == 's' ? kSecond : kNone;
    FormatItem &it = f.Items[f.Count++];
    if (kind == kNone) {
      it = {kNone, 0, text[i]};
      ++i;
      continue;
    }
    size_t run = 1;
    while (i + run < len &&
           tolower(static_cast<unsigned char>(text[i + run])) == c)
      ++run;
    bool widthOk = kind == kYear ? (run == 2 || run == 4) : run <= 2;
    if (!widthOk || seen[kind]++ != 0)
      return false;
    it = {kind, static_cast<int>(run), 0};
    i += run;
  }
  if (!isTime)
    return seen[kDay] == 1 && seen[kMonth] == 1 && seen[kYear] == 1;
  return seen[kHour] + seen[kMinute] + seen[kSecond] > 0;
}

bool IsDateSeparator(char c) {
  return c == '.' || c == '/' || c == '-';
}

// Writes the fields of a format; values[kind] holds each field's number. A
// buffer too small for the whole text is left empty: a cut date would read
// as another date.
int WriteFormat(const Format &f, const int *values, char *buffer, size_t cap) {
  char text[4 * kDateFormatMax + 1] = "";
  for (int i = 0; i < f.Count; ++i) {
    const FormatItem &it = f.Items[i];
    if (it.Kind == kNone) {
      char lit[2] = {it.Literal, '\0'};
      StrAppend(text, lit);
      continue;
    }
    int v = values[it.Kind];
    if (it.Kind == kYear && it.Width == 2)
      v %= 100;
    if (it.Width == 1)
      StrAppendFormat(text, "%d", v);
    else
      StrAppendFormat(text, "%0*d", it.Width, v);
  }
  if (strlen(text) + 1 > cap) {
    buffer[0] = '\0';
    return kDateErrFormat;
  }
  StrCopy(buffer, cap, text);
  return kDateOk;
}

const char *OrDefault(const char *format) {
  return (format == nullptr || *format == '\0') ? "dd.mm.yyyy" : format;
}

} // namespace

// ---------------------------------------------------------------- strings

void StrRemoveTrailer(char *s, char c) {
  if (s == nullptr || c == '\0')
    return;
  size_t n = strlen(s);
  while (n > 0 && s[n - 1] == c)
    s[--n] = '\0';
}

void StrCut(char *s, int first, int last) {
  if (s == nullptr)
    return;
  size_t len = strlen(s);
  if (first < 0)
    first = 0;
  if (last < first || static_cast<size_t>(first) >= len)
    return;
  size_t from = static_cast<size_t>(last) + 1;
  if (from > len)
    from = len;
  memmove(s + first, s + from, len - from + 1);
}

int StrInsertN(char *s, size_t cap, const char *text, int position) {
  if (s == nullptr || text == nullptr || *text == '\0')
    return 0;
  size_t len = strnlen(s, cap);
  if (len >= cap)
    return 1; // not even terminated within its buffer
  size_t tlen = strlen(text);
  if (len + tlen + 1 > cap)
    return 1;
  size_t pos = position < 0 ? 0 : static_cast<size_t>(position);
  if (pos > len)
    pos = len;
  // The text may lie inside s itself; take a copy before moving anything.
  std::string copy(text, tlen);
  memmove(s + pos + tlen, s + pos, len - pos + 1);
  memcpy(s + pos, copy.data(), tlen);
  return 0;
}

void StrInsert(char *s, const char *text, int position) {
  if (s == nullptr || text == nullptr)
    return;
  StrInsertN(s, strlen(s) + strlen(text) + 1, text, position);
}

// ---------------------------------------------------------------- dates

int DateYMDToLong(int year, int month, int day, long *date) {
  if (date != nullptr)
    *date = 0;
  if (year < 1900 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month))
    return kDateErrText;
  if (date != nullptr)
    *date = DaysFromCivil(year, month, day) + kEpochShift;
  return kDateOk;
}

int DateLongToYMD(long date, int *year, int *month, int *day, int *weekday) {
  int y = 0, m = 0, d = 0, w = 0;
  int rc = kDateErrValue;
  if (date >= kDateFirst && date <= kDateLast) {
    CivilFromDays(date - kEpochShift, y, m, d);
    w = static_cast<int>(date % 7); // day 1 was a Monday
    rc = kDateOk;
  }
  if (year != nullptr)
    *year = y;
  if (month != nullptr)
    *month = m;
  if (day != nullptr)
    *day = d;
  if (weekday != nullptr)
    *weekday = w;
  return rc;
}

void DateToday(long *date) {
  if (date == nullptr)
    return;
  time_t now = time(nullptr);
  struct tm tm;
  localtime_r(&now, &tm);
  if (DateYMDToLong(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, date) != 0)
    *date = 0;
}

void TimeNow(long *t) {
  if (t == nullptr)
    return;
  time_t now = time(nullptr);
  struct tm tm;
  localtime_r(&now, &tm);
  long secs = tm.tm_hour * 3600L + tm.tm_min * 60L + tm.tm_sec;
  *t = secs > kTimeLast ? kTimeLast : secs; // a leap second stays in the day
}

int DateCharToLong(int /*language*/, const char *text, const char *format,
                   long *date) {
  if (date != nullptr)
    *date = 0;
  Format f;
  if (!ParseFormat(OrDefault(format), false, f))
    return kDateErrFormat;
  if (text == nullptr)
    return kDateErrText;
  const char *p = text;
  while (*p == ' ' || *p == '\t')
    ++p;
  int values[7] = {0};
  int yearDigits = 0;
  for (int i = 0; i < f.Count; ++i) {
    const FormatItem &it = f.Items[i];
    if (it.Kind == kNone) {
      bool same = *p == it.Literal ||
                  (IsDateSeparator(*p) && IsDateSeparator(it.Literal));
      if (*p == '\0' || !same)
        return kDateErrText;
      ++p;
      continue;
    }
    // A field that touches another field ("yyyymmdd") has exactly its
    // width; one between separators takes what digits come.
    bool nextIsField = i + 1 < f.Count && f.Items[i + 1].Kind != kNone;
    bool compact = nextIsField || (i > 0 && f.Items[i - 1].Kind != kNone);
    int most = compact ? it.Width : (it.Kind == kYear ? 4 : 2);
    int n = 0, v = 0;
    while (n < most && isdigit(static_cast<unsigned char>(p[n]))) {
      v = v * 10 + (p[n] - '0');
      ++n;
    }
    if (n == 0 || (compact && n != it.Width) ||
        (!nextIsField && isdigit(static_cast<unsigned char>(p[n]))))
      return kDateErrText;
    if (it.Kind == kYear)
      yearDigits = n;
    values[it.Kind] = v;
    p += n;
  }
  while (*p == ' ' || *p == '\t')
    ++p;
  if (*p != '\0')
    return kDateErrText;
  int year = values[kYear];
  if (yearDigits == 2)
    year += year < 50 ? 2000 : 1900;
  else if (yearDigits != 4)
    return kDateErrText;
  long result = 0;
  if (DateYMDToLong(year, values[kMonth], values[kDay], &result) != kDateOk)
    return kDateErrText;
  if (date != nullptr)
    *date = result;
  return kDateOk;
}

int DateLongToCharN(int /*language*/, long date, const char *format,
                    char *buffer, size_t cap) {
  if (buffer == nullptr || cap == 0)
    return kDateErrFormat;
  buffer[0] = '\0';
  Format f;
  if (!ParseFormat(OrDefault(format), false, f))
    return kDateErrFormat;
  int values[7] = {0};
  if (DateLongToYMD(date, &values[kYear], &values[kMonth], &values[kDay],
                    nullptr) != kDateOk)
    return kDateErrValue;
  return WriteFormat(f, values, buffer, cap);
}

int DateLongToChar(int language, long date, const char *format, char *buffer) {
  return DateLongToCharN(language, date, format, buffer, kDateTextMax);
}

int TimeLongToCharN(int /*language*/, long t, const char *format, char *buffer,
                    size_t cap) {
  if (buffer == nullptr || cap == 0)
    return kDateErrFormat;
  buffer[0] = '\0';
  Format f;
  const char *fmt =
      (format == nullptr || *format == '\0') ? "hh:mm:ss" : format;
  if (!ParseFormat(fmt, true, f))
    return kDateErrFormat;
  if (t < 0 || t > kTimeLast)
    return kDateErrValue;
  int values[7] = {0};
  values[kHour] = static_cast<int>(t / 3600);
  values[kMinute] = static_cast<int>(t / 60 % 60);
  values[kSecond] = static_cast<int>(t % 60);
  return WriteFormat(f, values, buffer, cap);
}

int TimeLongToChar(int language, long t, const char *format, char *buffer) {
  return TimeLongToCharN(language, t, format, buffer, kDateTextMax);
}
