// The text area of a log entry: splitting into fields and joining back, the
// level separator of paths, the language digit.
#include "logentry/logentry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// Builds a text area from fields joined by 0x01 into buf.
void MakeText(char *buf, size_t cap, std::initializer_list<const char *> f) {
  std::string s;
  bool first = true;
  for (const char *x : f) {
    if (!first)
      s += kLogFieldSep;
    s += x;
    first = false;
  }
  ASSERT_LT(s.size(), cap);
  memcpy(buf, s.c_str(), s.size() + 1);
}

TEST(LogSplitFields, FieldsOfAnEntryAndTheirOffsets) {
  char text[100];
  MakeText(text, sizeof text, {"0", "Mind \x02 fear", "Acon.", "Kent", "3"});
  size_t len = strlen(text);
  FieldOffsets off;
  memset(off, 0x7f, sizeof off); // garbage that must be cleared
  LogSplitFields(text, off);
  EXPECT_EQ(off[0], 0);
  EXPECT_EQ(off[1], 2);
  EXPECT_STREQ(LogField(text, off, 0), "0");
  EXPECT_STREQ(LogField(text, off, 1), "Mind \x02 fear");
  EXPECT_STREQ(LogField(text, off, 2), "Acon.");
  EXPECT_STREQ(LogField(text, off, 3), "Kent");
  EXPECT_STREQ(LogField(text, off, 4), "3");
  for (int n = 5; n < kLogFields; ++n) {
    EXPECT_EQ(off[n], 0) << n;
    EXPECT_FALSE(LogHasField(off, n));
    EXPECT_STREQ(LogField(text, off, n), "") << n;
  }
  LogJoinFields(text, len);
  std::string back(text);
  EXPECT_EQ(back, std::string("0\x01Mind \x02 fear\x01"
                              "Acon.\x01Kent\x01"
                              "3"));
}

TEST(LogSplitFields, ElevenFieldsGiveTenTheLastKeepingItsSeparator) {
  char text[100];
  MakeText(text, sizeof text,
           {"0", "p", "a", "b", "c", "d", "e", "f", "g", "h", "i"});
  size_t len = strlen(text);
  FieldOffsets off;
  LogSplitFields(text, off);
  EXPECT_STREQ(LogField(text, off, 8), "g");
  EXPECT_EQ(std::string(LogField(text, off, 9)), std::string("h\x01i"));
  LogJoinFields(text, len);
  EXPECT_EQ(strlen(text), len);
  EXPECT_EQ(std::string(text).find('\0'), std::string::npos);
}

TEST(LogSplitFields, EmptyFieldsHaveNonZeroOffsetsAndJoinRestoresThem) {
  // An OpChangeNote entry whose old text (field 7) is empty, and whose last
  // field is empty too.
  char text[100];
  MakeText(text, sizeof text,
           {"0", "Mind", "1", "0", "0", "0", "0", "", "new text"});
  size_t len = strlen(text);
  FieldOffsets off;
  LogSplitFields(text, off);
  EXPECT_NE(off[7], 0);
  EXPECT_TRUE(LogHasField(off, 7));
  EXPECT_STREQ(LogField(text, off, 7), "");
  EXPECT_STREQ(LogField(text, off, 8), "new text");
  LogJoinFields(text, len);
  EXPECT_EQ(std::string(text), std::string("0\x01Mind\x01"
                                           "1\x01"
                                           "0\x01"
                                           "0\x01"
                                           "0\x01"
                                           "0\x01\x01new text"));

  char tail[20];
  MakeText(tail, sizeof tail, {"1", ""});
  LogSplitFields(tail, off);
  EXPECT_EQ(off[1], 2);
  EXPECT_STREQ(LogField(tail, off, 1), "");
  EXPECT_FALSE(LogHasField(off, 2));
}

TEST(LogSplitFields, ResplittingAfterAShorterEntryForgetsOldFields) {
  char text[100];
  MakeText(text, sizeof text, {"0", "a", "b", "c", "d", "e"});
  FieldOffsets off;
  LogSplitFields(text, off);
  EXPECT_TRUE(LogHasField(off, 5));
  MakeText(text, sizeof text, {"1", "x"});
  LogSplitFields(text, off);
  EXPECT_FALSE(LogHasField(off, 2));
  EXPECT_FALSE(LogHasField(off, 5));
  EXPECT_STREQ(LogField(text, off, 5), "");
}

TEST(LogSplitAllFields, TakesTwelveFieldsAndNeverMore) {
  char text[200];
  MakeText(text, sizeof text,
           {"0", "p", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12",
            "13"});
  FieldOffsets off;
  memset(off, 0x7f, sizeof off);
  LogSplitAllFields(text, off);
  EXPECT_STREQ(LogField(text, off, 9), "9");
  EXPECT_STREQ(LogField(text, off, 10), "10");
  EXPECT_EQ(std::string(LogField(text, off, 11)), std::string("11\x01"
                                                              "12\x01"
                                                              "13"));
  // A short entry after a long one: nothing of the long one stays.
  MakeText(text, sizeof text, {"0", "p", "x"});
  LogSplitAllFields(text, off);
  for (int n = 3; n < kLogAllFields; ++n)
    EXPECT_EQ(off[n], 0) << n;
  EXPECT_FALSE(LogHasField(off, kLogAllFields)); // beyond the array
  EXPECT_STREQ(LogField(text, off, -1), "");
}

TEST(LogSplitFields, NullAndEmptyTexts) {
  FieldOffsets off;
  memset(off, 0x7f, sizeof off);
  LogSplitFields(nullptr, off);
  for (int n = 0; n < kLogFields; ++n)
    EXPECT_EQ(off[n], 0);
  EXPECT_STREQ(LogField(nullptr, off, 0), "");
  char empty[1] = {'\0'};
  LogSplitFields(empty, off);
  EXPECT_STREQ(LogField(empty, off, 0), "");
  EXPECT_FALSE(LogHasField(off, 1));
  LogJoinFields(nullptr, 5); // nothing to do, and no crash
}

// Finds the separators of a path: the positions LogIsLevelSeparator accepts.
std::string Separators(const char *path) {
  std::string marks;
  const char *last = path + strlen(path) - 1;
  for (const char *p = path; *p; ++p)
    marks += LogIsLevelSeparator(p, path, last) ? '^' : '.';
  return marks;
}

TEST(LogIsLevelSeparator, DashBetweenDigitsStaysInTheText) {
  const char *path = "Mind - fear 3 - 5 h - night";
  std::string m = Separators(path);
  EXPECT_EQ(m, std::string(5, '.') + "^" + std::string(14, '.') + "^" +
                   std::string(6, '.'));
  // The same with the newer separator byte.
  const char *path2 = "Mind \x02 fear 3 \x02 5 h \x02 night";
  EXPECT_EQ(Separators(path2), m);
}

TEST(LogIsLevelSeparator, NeedsABlankOnEachSide) {
  EXPECT_EQ(Separators("a -b"), "....");
  EXPECT_EQ(Separators("a- b"), "....");
  EXPECT_EQ(Separators("a-b"), "...");
  EXPECT_EQ(Separators("a + b"), ".....");
  EXPECT_EQ(Separators("ab - cd"), "...^...");
  EXPECT_EQ(Separators("a1 - b2"), "...^...");
  EXPECT_EQ(Separators("1 - b"), "..^.."); // only one side a digit
}

TEST(LogIsLevelSeparator, NearTheEndsDigitsDoNotCount) {
  // "1 - " at the end: nothing two places after the dash, so a separator.
  const char *p1 = "x 1 - 5";
  const char *last1 = p1 + strlen(p1) - 1;
  EXPECT_EQ(LogIsLevelSeparator(p1 + 4, p1, last1), 0); // 1 and 5 both there
  const char *p2 = "1 - 5 ";
  // The dash at 2: two before is '1' at 0, two after is '5' at 4: a range.
  EXPECT_EQ(LogIsLevelSeparator(p2 + 2, p2, p2 + strlen(p2) - 1), 0);
  const char *p3 = "12 - 5";
  // Two after the dash is index 5, the last character: inside, a range.
  EXPECT_EQ(LogIsLevelSeparator(p3 + 3, p3, p3 + 5), 0);
  // Cut the text short so that index 5 lies outside: now a separator.
  EXPECT_NE(LogIsLevelSeparator(p3 + 3, p3, p3 + 4), 0);
  const char *p4 = " - 5";
  // Nothing two places before the dash: a separator though 5 is a digit.
  EXPECT_NE(LogIsLevelSeparator(p4 + 1, p4, p4 + 3), 0);
  const char *p5 = "1 \x02 ";
  EXPECT_NE(LogIsLevelSeparator(p5 + 2, p5, p5 + 3), 0);
}

TEST(LogSwapLanguage, ZeroAndOneTradeAnythingElseBecomesZero) {
  char t[8] = "0\x01x";
  LogSwapLanguage(t);
  EXPECT_EQ(t[0], '1');
  LogSwapLanguage(t);
  EXPECT_EQ(t[0], '0');
  t[0] = '2';
  LogSwapLanguage(t);
  EXPECT_EQ(t[0], '0');
  EXPECT_EQ(std::string(t), std::string("0\x01x"));
  char empty[4] = {'\0', 'z', 'z', '\0'};
  LogSwapLanguage(empty);
  EXPECT_EQ(empty[0], '\0');
  LogSwapLanguage(nullptr);
}

TEST(LogHasNoPath, SeparatorAtPositionTwo) {
  EXPECT_TRUE(LogHasNoPath("0\x01\x01"
                           "Acon."));
  EXPECT_FALSE(LogHasNoPath("0\x01M\x01"
                            "Acon."));
  EXPECT_FALSE(LogHasNoPath("0"));
  EXPECT_FALSE(LogHasNoPath(""));
  EXPECT_FALSE(LogHasNoPath(nullptr));
}

} // namespace
