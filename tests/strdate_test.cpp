#include "store/strdate.h"

#include "platform/strutil.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

namespace {

// ---------------------------------------------------------------- strings

TEST(StrRemoveTrailer, CutsOnlyTheTrailingRun) {
  char a[] = "a b   ";
  StrRemoveTrailer(a, ' ');
  EXPECT_STREQ(a, "a b");
  char b[] = "----";
  StrRemoveTrailer(b, '-');
  EXPECT_STREQ(b, "");
  // Trimming in turns, one character after another: each call stops at the
  // first other character, so a line end before the last dash stays.
  char c[] = "text\n-\n-\n";
  StrRemoveTrailer(c, '\n');
  StrRemoveTrailer(c, '-');
  StrRemoveTrailer(c, '\n');
  StrRemoveTrailer(c, '-');
  EXPECT_STREQ(c, "text\n");
  char d[] = "keep";
  StrRemoveTrailer(d, '\0');
  EXPECT_STREQ(d, "keep");
  StrRemoveTrailer(nullptr, ' ');
}

TEST(StrCut, RemovesAnInclusiveRange) {
  char a[] = "abcdef";
  StrCut(a, 1, 3);
  EXPECT_STREQ(a, "aef");
  char b[] = "abcdef";
  StrCut(b, 0, 0);
  EXPECT_STREQ(b, "bcdef");
  char c[] = "abcdef";
  StrCut(c, 4, 100); // runs past the end: cut at the end
  EXPECT_STREQ(c, "abcd");
  char d[] = "abcdef";
  StrCut(d, 6, 8); // starts at the end: nothing
  EXPECT_STREQ(d, "abcdef");
  StrCut(d, 3, 2); // backwards: nothing
  EXPECT_STREQ(d, "abcdef");
  StrCut(d, -2, 1);
  EXPECT_STREQ(d, "cdef");
  StrCut(nullptr, 0, 1);
}

TEST(StrInsert, InsertsWithinTheBuffer) {
  char a[32] = "Mind\x02"
               "fear";
  ASSERT_EQ(StrInsertN(a, sizeof a, "heading\x02", 5), 0);
  EXPECT_STREQ(a, "Mind\x02heading\x02"
                  "fear");
  char b[16] = "tail";
  ASSERT_EQ(StrInsertN(b, sizeof b, ">", 0), 0);
  EXPECT_STREQ(b, ">tail");
  ASSERT_EQ(StrInsertN(b, sizeof b, "<", 99), 0); // beyond the end: behind
  EXPECT_STREQ(b, ">tail<");
  ASSERT_EQ(StrInsertN(b, sizeof b, "", 2), 0);
  EXPECT_STREQ(b, ">tail<");
}

TEST(StrInsert, RefusesWhatWouldNotFitAndLeavesTheText) {
  char a[8] = "abcd";
  EXPECT_EQ(StrInsertN(a, sizeof a, "xyzw", 2), 1);
  EXPECT_STREQ(a, "abcd");
  EXPECT_EQ(StrInsertN(a, sizeof a, "xyz", 2), 0); // exactly full
  EXPECT_STREQ(a, "abxyzcd");
  char unterminated[4] = {'a', 'b', 'c', 'd'};
  EXPECT_EQ(StrInsertN(unterminated, sizeof unterminated, "x", 0), 1);
  EXPECT_EQ(unterminated[0], 'a');
}

TEST(StrInsert, TextFromInsideTheSameBuffer) {
  char a[32] = "abcdef";
  ASSERT_EQ(StrInsertN(a, sizeof a, a + 3, 1), 0);
  EXPECT_STREQ(a, "adefbcdef");
  char b[32] = "xy";
  StrInsert(b, "123", 1); // the unbounded form: room was provided
  EXPECT_STREQ(b, "x123y");
}

// ---------------------------------------------------------------- calendar

// The day number that the C library's own calendar gives, as an oracle, and
// in *back the day it makes of y-m-d (it rolls 31 April over to 1 May).
long OracleDay(int y, int m, int d, struct tm *back) {
  struct tm tm = {};
  tm.tm_year = y - 1900;
  tm.tm_mon = m - 1;
  tm.tm_mday = d;
  tm.tm_hour = 12;
  time_t t = timegm(&tm);
  gmtime_r(&t, back);
  return static_cast<long>((t - 12 * 3600) / 86400) + 25568;
}

TEST(DateNumbers, DayOneIsTheFirstOf1900AndNoDateLiesInThePast) {
  int y, m, d, w;
  ASSERT_EQ(DateLongToYMD(1, &y, &m, &d, &w), kDateOk);
  EXPECT_EQ(y * 10000 + m * 100 + d, 19000101);
  EXPECT_EQ(w, 1) << "1 January 1900 was a Monday";
  ASSERT_EQ(DateLongToYMD(kDateNoneBelow, &y, &m, &d, &w), kDateOk);
  EXPECT_LT(y, 2000);
  ASSERT_EQ(DateLongToYMD(kDateLast, &y, &m, &d, &w), kDateOk);
  EXPECT_EQ(y * 10000 + m * 100 + d, 99991231);
}

TEST(DateNumbers, AgreeWithTheCLibraryCalendarEveryDayOfTwoCenturies) {
  long expect = 0;
  for (int y = 1900; y <= 2100; ++y)
    for (int m = 1; m <= 12; ++m)
      for (int d = 1; d <= 31; ++d) {
        struct tm back;
        long oracle = OracleDay(y, m, d, &back), got = 0;
        int rc = DateYMDToLong(y, m, d, &got);
        if (back.tm_mday != d) { // no such day
          EXPECT_EQ(rc, kDateErrText) << y << "-" << m << "-" << d;
          continue;
        }
        ASSERT_EQ(rc, kDateOk) << y << "-" << m << "-" << d;
        EXPECT_EQ(got, oracle);
        if (expect != 0) {
          EXPECT_EQ(got, expect + 1) << "days follow one another";
        }
        expect = got;
        int yy, mm, dd, wd;
        ASSERT_EQ(DateLongToYMD(got, &yy, &mm, &dd, &wd), kDateOk);
        EXPECT_EQ(yy, y);
        EXPECT_EQ(mm, m);
        EXPECT_EQ(dd, d);
        EXPECT_EQ(wd, back.tm_wday);
      }
}

TEST(DateNumbers, ValuesOutsideTheRangeAreNoDays) {
  for (long bad : {0L, -1L, -100000L, kDateLast + 1}) {
    int y = 5, m = 5, d = 5, w = 5;
    EXPECT_EQ(DateLongToYMD(bad, &y, &m, &d, &w), kDateErrValue) << bad;
    EXPECT_EQ(y + m + d + w, 0);
  }
  EXPECT_EQ(DateLongToYMD(100, nullptr, nullptr, nullptr, nullptr), kDateOk);
}

// ---------------------------------------------------------------- texts

struct FormatCase {
  const char *format;
  const char *text; // 16 November 2026 in that format
};

const FormatCase kFormats[] = {
    {"dd.mm.yyyy", "16.11.2026"},    {"dd.mm.yy", "16.11.26"},
    {"mm/dd/yyyy", "11/16/2026"},    {"yyyy-mm-dd", "2026-11-16"},
    {"dd/mm/yyyy", "16/11/2026"},    {"dd-mm-yyyy", "16-11-2026"},
    {"DD.MM.YYYY", "16.11.2026"},    {"yyyymmdd", "20261116"},
    {"yy/mm/dd", "26/11/16"},        {"d.m.yyyy", "16.11.2026"},
    {"[dd mm yyyy]", "[16 11 2026]"}};

TEST(DateTexts, EveryFormatWritesAndReadsBack) {
  long day = 0;
  ASSERT_EQ(DateYMDToLong(2026, 11, 16, &day), kDateOk);
  for (const FormatCase &f : kFormats) {
    char buf[kDateTextMax];
    ASSERT_EQ(DateLongToChar(1, day, f.format, buf), kDateOk) << f.format;
    EXPECT_STREQ(buf, f.text) << f.format;
    long back = -1;
    ASSERT_EQ(DateCharToLong(1, f.text, f.format, &back), kDateOk) << f.format;
    EXPECT_EQ(back, day) << f.format;
  }
}

TEST(DateTexts, RoundTripAcrossTheYearsInEveryFormat) {
  for (const FormatCase &f : kFormats) {
    bool twoDigit = strstr(f.format, "yyyy") == nullptr &&
                    strstr(f.format, "YYYY") == nullptr;
    long first = 0, last = 0;
    // Two-digit years hold 1950..2049 only.
    DateYMDToLong(twoDigit ? 1950 : 1900, 1, 1, &first);
    DateYMDToLong(twoDigit ? 2049 : 9999, 12, 31, &last);
    for (long day = first; day <= last; day += 13) {
      char buf[kDateTextMax];
      ASSERT_EQ(DateLongToChar(2, day, f.format, buf), kDateOk);
      long back = 0;
      ASSERT_EQ(DateCharToLong(2, buf, f.format, &back), kDateOk)
          << f.format << " " << buf;
      ASSERT_EQ(back, day) << f.format << " " << buf;
    }
  }
}

TEST(DateTexts, SingleLettersWriteNoLeadingZero) {
  long day = 0;
  ASSERT_EQ(DateYMDToLong(2020, 5, 1, &day), kDateOk);
  char buf[kDateTextMax];
  ASSERT_EQ(DateLongToChar(1, day, "d.m.yyyy", buf), kDateOk);
  EXPECT_STREQ(buf, "1.5.2020");
  ASSERT_EQ(DateLongToChar(1, day, "dd.mm.yyyy", buf), kDateOk);
  EXPECT_STREQ(buf, "01.05.2020");
  ASSERT_EQ(DateLongToChar(1, day, nullptr, buf), kDateOk); // the default
  EXPECT_STREQ(buf, "01.05.2020");
}

long Parse(const char *text, const char *format = "dd.mm.yyyy") {
  long day = -1;
  int rc = DateCharToLong(1, text, format, &day);
  EXPECT_TRUE(rc == kDateOk || day == 0) << "a refusal leaves 0: " << text;
  return rc == kDateOk ? day : -1;
}

long Day(int y, int m, int d) {
  long day = 0;
  EXPECT_EQ(DateYMDToLong(y, m, d, &day), kDateOk);
  return day;
}

TEST(DateTexts, TypedDatesAreReadLeniently) {
  EXPECT_EQ(Parse(" 1.5.2020 "), Day(2020, 5, 1));
  EXPECT_EQ(Parse("01/05/2020"), Day(2020, 5, 1));
  EXPECT_EQ(Parse("1-5-20"), Day(2020, 5, 1));
  EXPECT_EQ(Parse("01.05.2020", "dd.mm.yy"), Day(2020, 5, 1));
  EXPECT_EQ(Parse("5/1/2020", "mm/dd/yyyy"), Day(2020, 5, 1));
}

TEST(DateTexts, TwoDigitYearsPivotAtFifty) {
  EXPECT_EQ(Parse("01.01.00"), Day(2000, 1, 1));
  EXPECT_EQ(Parse("31.12.49"), Day(2049, 12, 31));
  EXPECT_EQ(Parse("01.01.50"), Day(1950, 1, 1));
  EXPECT_EQ(Parse("31.12.99", "dd.mm.yy"), Day(1999, 12, 31));
}

TEST(DateTexts, LeapDays) {
  EXPECT_EQ(Parse("29.02.2020"), Day(2020, 2, 29));
  EXPECT_EQ(Parse("29.02.2000"), Day(2000, 2, 29));
  EXPECT_EQ(Parse("29.02.2019"), -1);
  EXPECT_EQ(Parse("29.02.1900"), -1) << "1900 was no leap year";
  EXPECT_EQ(Parse("29.02.2100"), -1);
}

TEST(DateTexts, ImpossibleAndMalformedTextsAreRefused) {
  const char *bad[] = {
      // Nothing, or not a date at all.
      "", "   ", "abc",
      // Days and months out of range, or no such day.
      "00.05.2020", "32.01.2020", "01.00.2020", "01.13.2020", "30.02.2020",
      "31.04.2020",
      // Years out of range.
      "31.12.1899", "01.01.10000",
      // Parts missing, doubled, signed, too long or short, or followed.
      "12.05", "12.05.", "12.05.2020x", "12..05.2020", "-1.05.2020",
      "+1.05.2020", "12.05.202", "123.05.2020", "1 2.05.2020",
      "12.05.2020 13:00", "12:05:2020", "\xB9\xB2.05.2020"};
  for (const char *t : bad)
    EXPECT_EQ(Parse(t), -1) << "'" << t << "'";
  EXPECT_EQ(Parse("2026111", "yyyymmdd"), -1);
  EXPECT_EQ(Parse("2026-11-16", "yyyymmdd"), -1);
  long day = 5;
  EXPECT_EQ(DateCharToLong(1, nullptr, "dd.mm.yyyy", &day), kDateErrText);
  EXPECT_EQ(day, 0);
  std::string huge(100000, '1');
  EXPECT_EQ(DateCharToLong(1, huge.c_str(), "dd.mm.yyyy", &day), kDateErrText);
}

TEST(DateTexts, UnusableFormatsAreRefused) {
  const char *bad[] = {"dd.mm",         "dd.dd.yyyy",
                       "dd.mm.yyy",     "ddd.mm.yyyy",
                       "mm.yyyy",       "dd.mm.y",
                       "dd.mm.yyyy.mm", "12345678901234567890 dd.mm.yy"};
  for (const char *f : bad) {
    long day = 7;
    EXPECT_EQ(DateCharToLong(1, "01.01.2020", f, &day), kDateErrFormat) << f;
    EXPECT_EQ(day, 0);
    char buf[kDateTextMax] = "old";
    EXPECT_EQ(DateLongToChar(1, 40000, f, buf), kDateErrFormat) << f;
    EXPECT_STREQ(buf, "");
  }
}

TEST(DateTexts, WritingRefusesNoDaysAndSmallBuffers) {
  char buf[kDateTextMax] = "old";
  EXPECT_EQ(DateLongToChar(1, 0, "dd.mm.yyyy", buf), kDateErrValue);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(DateLongToChar(1, kDateLast + 1, "dd.mm.yyyy", buf), kDateErrValue);
  char small[10];
  EXPECT_EQ(DateLongToCharN(1, 40000, "dd.mm.yyyy", small, sizeof small),
            kDateErrFormat);
  EXPECT_STREQ(small, "");
  char exact[11];
  EXPECT_EQ(DateLongToCharN(1, 40000, "dd.mm.yyyy", exact, sizeof exact),
            kDateOk);
  EXPECT_EQ(strlen(exact), 10u);
  // The longest usable format with growing fields still fits the buffer.
  EXPECT_EQ(DateLongToChar(1, kDateLast, "d.m.yyyy-----------------", buf),
            kDateOk);
  EXPECT_STREQ(buf, "31.12.9999-----------------");
}

// ---------------------------------------------------------------- times

TEST(TimeTexts, SecondsSinceMidnight) {
  char buf[kDateTextMax];
  ASSERT_EQ(TimeLongToChar(1, 0, "hh:mm:ss", buf), kDateOk);
  EXPECT_STREQ(buf, "00:00:00");
  ASSERT_EQ(TimeLongToChar(1, 12 * 3600 + 34 * 60 + 56, "hh:mm:ss", buf),
            kDateOk);
  EXPECT_STREQ(buf, "12:34:56");
  ASSERT_EQ(TimeLongToChar(1, kTimeLast, "hh:mm:ss", buf), kDateOk);
  EXPECT_STREQ(buf, "23:59:59");
  ASSERT_EQ(TimeLongToChar(1, 9 * 3600 + 5 * 60, "h.mm", buf), kDateOk);
  EXPECT_STREQ(buf, "9.05");
  ASSERT_EQ(TimeLongToChar(1, 3661, "HHMMSS", buf), kDateOk);
  EXPECT_STREQ(buf, "010101");
  for (long bad : {-1L, kTimeLast + 1}) {
    StrCopy(buf, "old");
    EXPECT_EQ(TimeLongToChar(1, bad, "hh:mm:ss", buf), kDateErrValue);
    EXPECT_STREQ(buf, "");
  }
  EXPECT_EQ(TimeLongToChar(1, 10, "hh:hh", buf), kDateErrFormat);
  EXPECT_EQ(TimeLongToChar(1, 10, "hhh:mm", buf), kDateErrFormat);
  EXPECT_EQ(TimeLongToChar(1, 10, "--", buf), kDateErrFormat);
}

TEST(Clock, TodayAndNowAgreeWithTheLocalClock) {
  time_t before = time(nullptr);
  long today = 0, now = -1;
  DateToday(&today);
  TimeNow(&now);
  struct tm tm;
  localtime_r(&before, &tm);
  EXPECT_GE(today, kDateNoneBelow);
  int y, m, d, w;
  ASSERT_EQ(DateLongToYMD(today, &y, &m, &d, &w), kDateOk);
  // The clock may pass midnight between the two readings; allow a day.
  long expect = 0;
  ASSERT_EQ(
      DateYMDToLong(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, &expect),
      kDateOk);
  EXPECT_TRUE(today == expect || today == expect + 1);
  EXPECT_GE(now, 0);
  EXPECT_LE(now, kTimeLast);
  long secs = tm.tm_hour * 3600L + tm.tm_min * 60 + tm.tm_sec;
  EXPECT_TRUE(now - secs >= 0 ? now - secs <= 5 : secs - now > 86000);
  DateToday(nullptr);
  TimeNow(nullptr);
}

} // namespace
