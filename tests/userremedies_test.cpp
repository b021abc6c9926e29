// The lines of the user-defined list files and of the load files, taken
// apart column by column and field by field, and the list file's path.
#include "transfers/userremedies.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

std::string Columns(const char *key, const char *abbrev, const char *name) {
  char line[128];
  snprintf(line, sizeof line, "%-20.20s%-20.20s%s", key, abbrev, name);
  return line;
}

TEST(UdefLineTest, ColumnsAreCutToWhatTheRecordsHold) {
  const std::string longName(80, 'n'), cutName(50, 'n');
  struct Case {
    std::string line;
    size_t abbrevWidth, nameWidth;
    bool named;
    const char *key, *abbrev, *name;
  } cases[] = {
      {Columns("rmd12", "Orvix-u.", "Orvixia urbana   "), 15, 50, true, "rmd12",
       "Orvix-u.", "Orvixia urbana"},
      // A remedy keeps 15 characters of the abbreviation, an author 20.
      {Columns("rmd12", "Orvix-urbana-major.", "x"), 15, 50, true, "rmd12",
       "Orvix-urbana-ma", "x"},
      {Columns("aut3", "Orvix-urbana-major.", "x"), 20, 70, true, "aut3",
       "Orvix-urbana-major.", "x"},
      {Columns("rmd1", "rmd1", longName.c_str()), 15, 50, true, "rmd1", "rmd1",
       cutName.c_str()},
      // Short lines: the missing columns are empty.
      {"rmd7", 15, 50, true, "rmd7", "", ""},
      {"rmd7                rmd8", 15, 50, true, "rmd7", "rmd8", ""},
      // A cut that ends in blanks loses them.
      {Columns("rmd9", "abcdefghijklmn  z", ""), 15, 50, true, "rmd9",
       "abcdefghijklmn", ""},
      // The line of an id the table lacked names nothing.
      {std::string(100, ' '), 15, 50, false, "", "", ""},
      {"", 15, 50, false, "", "", ""},
  };
  for (const Case &c : cases) {
    UdefLine u;
    EXPECT_EQ(UdefParseLine(c.line.c_str(), c.abbrevWidth, c.nameWidth, &u),
              c.named)
        << c.line;
    EXPECT_EQ(u.Key, c.key) << c.line;
    EXPECT_EQ(u.Abbrev, c.abbrev) << c.line;
    EXPECT_EQ(u.Name, c.name) << c.line;
  }
  std::string line = UdefFormatLine("rmd12", "User-defined remedy 12");
  EXPECT_EQ(line.size(), 101u);
  UdefLine u;
  ASSERT_TRUE(UdefParseLine(line.c_str(), 15, 50, &u));
  EXPECT_EQ(u.Key, "rmd12");
  EXPECT_EQ(u.Abbrev, "rmd12");
  EXPECT_EQ(u.Name, "User-defined remedy 12");
}

TEST(UdefLineTest, LoadLinesFillTheRecordsInTheirOrder) {
  Remed r;
  memset(&r, 0, sizeof r);
  ASSERT_TRUE(LoadParseRemedyLine(
      "3205|Orvix-n.|Orvixia nova|1|2|7|8|a|b|c|d|e|f|g|h", &r));
  EXPECT_EQ(r.Id, 3205);
  EXPECT_STREQ(r.Abbrev, "Orvix-n.");
  EXPECT_STREQ(r.Name, "Orvixia nova");
  EXPECT_EQ(r.Attr1, 1);
  EXPECT_EQ(r.Listed, 2);
  EXPECT_EQ(r.Value1, 7);
  EXPECT_EQ(r.Value2, 8);
  EXPECT_STREQ(r.Name3, "a");
  EXPECT_STREQ(r.Name9, "g"); // an eighth text has no place
  memset(&r, 0, sizeof r);
  EXPECT_FALSE(LoadParseRemedyLine("12", &r));
  EXPECT_FALSE(LoadParseRemedyLine("3205||name", &r));
  EXPECT_FALSE(LoadParseRemedyLine("x|Abbrev.|name", &r)); // no id
  // An abbreviation longer than the record's field is cut, not overrun.
  ASSERT_TRUE(LoadParseRemedyLine("3206|Orvixia-nova-major.|n", &r));
  EXPECT_EQ(strlen(r.Abbrev), sizeof r.Abbrev - 1);

  Author a;
  memset(&a, 0, sizeof a);
  ASSERT_TRUE(LoadParseAuthorLine("950|Orvix|The Orvix school|a|b|c|3|1x", &a));
  EXPECT_EQ(a.Id, 950);
  EXPECT_STREQ(a.Abbrev, "Orvix"); // capitals kept
  EXPECT_STREQ(a.Detail3, "c");
  EXPECT_EQ(a.Value1, 3);
  EXPECT_EQ(a.Listed, 1);
}

TEST(UdefLineTest, ListFilesLieBesideTheirTables) {
  char path[300];
  UdefListPath(path, sizeof path, "..\\system\\remed", "rem_udef.lst");
  EXPECT_STREQ(path, "..\\system\\rem_udef.lst");
  UdefListPath(path, sizeof path, "remed", "rem_udef.lst");
  EXPECT_STREQ(path, "rem_udef.lst");
}

} // namespace
