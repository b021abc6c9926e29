#include "platform/strutil.h"
#include "services/ini.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

int RowOf(const char *name) {
  for (int i = 0; Keywords[i].name != nullptr; ++i) {
    if (strcmp(Keywords[i].name, name) == 0)
      return i;
  }
  return -1;
}

TEST(IniTable, HoldsEveryKeyOnceInSectionOrder) {
  int named = 0;
  while (Keywords[named].name != nullptr)
    ++named;
  EXPECT_EQ(named, 217);
  EXPECT_EQ(named, kKeywordCount);

  // Rows per section, as the file's sections list their keys; sections come
  // in their order, so a writer that appends a section's keys finds them
  // together.
  const int perSection[17] = {0,  45, 57, 2,  30, 2, 5, 10, 4,
                              11, 2,  8,  12, 12, 6, 9, 2};
  int count[18] = {};
  int last = 1;
  std::set<std::string> names;
  std::set<int> fonts;
  for (int i = 0; i < named; ++i) {
    const Keyword &k = Keywords[i];
    ASSERT_GE(k.section, 1) << k.name;
    ASSERT_LE(k.section, 16) << k.name;
    EXPECT_GE(k.section, last) << k.name;
    last = k.section;
    ++count[k.section];
    std::string lower;
    for (const char *p = k.name; *p != '\0'; ++p)
      lower += static_cast<char>(tolower(static_cast<unsigned char>(*p)));
    EXPECT_TRUE(names.insert(lower).second) << k.name;
    if (k.type == kIniFont) {
      ASSERT_LT(k.fontIndex, kFontObjectCount) << k.name;
      EXPECT_TRUE(fonts.insert(k.fontIndex).second) << k.name;
    } else {
      EXPECT_EQ(k.fontIndex, kIniNoFont) << k.name;
    }
  }
  for (int s = 1; s <= 16; ++s)
    EXPECT_EQ(count[s], perSection[s]) << IniSections[s];
  EXPECT_STREQ(IniSections[17], "");
  EXPECT_EQ(fonts.size(), 62u);
  EXPECT_STREQ(Keywords[0].name, "DbBuffers");
  EXPECT_STREQ(Keywords[named - 1].name, "ShowWelcome");

  // The fonts the fixed rules name stand where those rules expect them.
  EXPECT_EQ(Keywords[RowOf("IconChapter1Object")].fontIndex, 16);
  EXPECT_EQ(Keywords[RowOf("IconChapter2Object")].fontIndex, 17);
  EXPECT_EQ(Keywords[RowOf("IndexSentenseObject")].fontIndex, 32);
  EXPECT_EQ(Keywords[RowOf("AuthorWithNoteObject")].fontIndex, 64);
  EXPECT_EQ(Keywords[RowOf("AuthorXXXObject")].fontIndex, 65);
}

TEST(IniTable, BindingGivesEveryRowButTheInertOnesAVariable) {
  std::set<void *> targets;
  for (int i = 0; i < kKeywordCount; ++i) {
    IniBindTargets(i);
    const Keyword &k = Keywords[i];
    if (k.type == kIniInertName || k.type == kIniInertStyle) {
      EXPECT_EQ(k.target, nullptr) << k.name;
      continue;
    }
    ASSERT_NE(k.target, nullptr) << k.name;
    EXPECT_TRUE(targets.insert(k.target).second) << "shared: " << k.name;
    if (k.type == kIniFont) {
      EXPECT_EQ(k.target, &FontObject[k.fontIndex]) << k.name;
    }
  }
  EXPECT_EQ(Keywords[RowOf("SymptomPrefixLevel12")].target,
            SymptomPrefixLevel[11]);
  EXPECT_EQ(Keywords[RowOf("ClipboardName10")].target, ClipboardName[9]);
  EXPECT_EQ(Keywords[RowOf("KeynotesFontSize")].target,
            &KeynotesFontObject.size);
}

TEST(IniTable, KeyOfLineAndTheRotatingMatch) {
  char key[32];
  EXPECT_EQ(IniKeyOfLine(" Db Buf\tfers = 5", key, sizeof key), 9u);
  EXPECT_STREQ(key, "dbbuffers");
  EXPECT_EQ(IniKeyOfLine("NoAssignment", key, 5), 4u);
  EXPECT_STREQ(key, "noas");

  const int level1 = RowOf("SymptomPrefixLevel1");
  IniCursor = level1;
  EXPECT_EQ(IniMatchKeyword("symptomprefixlevel1"), level1);
  EXPECT_EQ(IniCursor, level1 + 1);
  // From behind the row just found, a prefix takes the next longer name.
  EXPECT_EQ(IniMatchKeyword("symptomprefixlevel1"),
            RowOf("SymptomPrefixLevel10"));
  // The search goes round to the top.
  EXPECT_EQ(IniMatchKeyword("dbbuffers"), 0);
  EXPECT_EQ(IniCursor, 1);
  IniCursor = kKeywordCount - 1;
  EXPECT_EQ(IniMatchKeyword("showwelcome"), kKeywordCount - 1);
  EXPECT_EQ(IniCursor, 0);
  EXPECT_EQ(IniMatchKeyword("nosuchkey"), -1);
  EXPECT_EQ(IniMatchKeyword(""), -1);
  EXPECT_EQ(IniCursor, 0);
}

TEST(IniTable, ValuesAreStoredByType) {
  for (int i = 0; i < kKeywordCount; ++i)
    IniBindTargets(i);
  auto store = [](const char *name, const char *value) {
    char text[512];
    StrCopy(text, value);
    IniStoreValue(RowOf(name), text);
  };
  store("Language", "  -1");
  EXPECT_EQ(Language, 255);
  store("Language", "300");
  EXPECT_EQ(Language, 44); // the low byte
  store("DbBuffers", "70000");
  EXPECT_EQ(DbBuffers, static_cast<int16_t>(70000));
  store("AuthorMax", "x12");
  EXPECT_EQ(AuthorMax, 0);
  store("AuthorMax", "99999999999999999999"); // no undefined conversion
  store("LeftMargin", " 2.5cm");
  EXPECT_FLOAT_EQ(LeftMargin, 2.5f);
  store("LeftMargin", "1e300");
  EXPECT_GT(LeftMargin, 1e38f);
  store("PatientTextColor", "  Magenta");
  EXPECT_EQ(PatientTextColor, kColorMagenta);
  store("PatientTextColor", "12345");
  EXPECT_EQ(PatientTextColor, 12345);
  store("PatientTextColor", "violet");
  EXPECT_EQ(PatientTextColor, 0);

  store("SymptomPrefixLevel2", "x\"abcdefghijk\"");
  EXPECT_STREQ(SymptomPrefixLevel[1], "abcdefgh");
  store("SymptomPrefixLevel2", "no quotes");
  EXPECT_STREQ(SymptomPrefixLevel[1], "abcdefgh");
  store("SymptomPrefixLevel2", "\"\"");
  EXPECT_STREQ(SymptomPrefixLevel[1], "");

  // Texts keep leading blanks and are cut to their width, which still
  // leaves room for the terminator.
  store("UserName", "  Dr. Who");
  EXPECT_STREQ(UserName, "  Dr. Who");
  store("DateFormat", "abcdefghijklmnopqrstuvwxyz");
  EXPECT_STREQ(DateFormat, "abcdefghijklmnopqrstuvwxy");
  store("ClipboardName1", std::string(40, 'c').c_str());
  EXPECT_EQ(std::string(ClipboardName[0]), std::string(25, 'c'));

  uint8_t size = KeynotesFontObject.size;
  store("KeynotesFontName", "arial");
  store("KeynotesFontStyle", "bold");
  EXPECT_EQ(KeynotesFontObject.size, size);
  store("KeynotesFontSize", "12");
  EXPECT_EQ(KeynotesFontObject.size, 12);
}

TEST(IniTable, FontsReadAndWriteTheirFiveFields) {
  IniFont f{};
  StrCopy(f.family, "helvetica");
  f.style = kFontBold;
  f.size = 10;
  IniParseFont(&f, "Red,2,times,bold+italic,12");
  EXPECT_EQ(f.foreground, kColorRed);
  EXPECT_EQ(f.background, 2);
  EXPECT_STREQ(f.family, "times");
  EXPECT_EQ(f.style, kFontBold | kFontItalic);
  EXPECT_EQ(f.size, 12);
  char text[128];
  IniFontText(&f, text, sizeof text);
  EXPECT_STREQ(text, "33488896,2,times,normal+bold+italic,12\n");

  IniParseFont(&f, "1,3,,UNDERLINE+strikeout+plain,300");
  EXPECT_STREQ(f.family, "");
  EXPECT_EQ(f.style, kFontStrikeout); // styles are found in small letters
  EXPECT_EQ(f.size, 44);
  IniFontText(&f, text, sizeof text);
  EXPECT_STREQ(text, "1,3,,normal+strikeout,44\n");

  // Fields behind the last comma keep their values; fields of 50 characters
  // or more are passed over.
  IniParseFont(&f, "5,6,arial");
  EXPECT_EQ(f.foreground, 5);
  EXPECT_EQ(f.background, 6);
  EXPECT_STREQ(f.family, "");
  std::string longFamily(50, 'f');
  IniParseFont(
      &f,
      ("7," + std::string(60, '9') + "," + longFamily + ",italic,9").c_str());
  EXPECT_EQ(f.foreground, 7);
  EXPECT_EQ(f.background, 6);
  EXPECT_STREQ(f.family, "");
  EXPECT_EQ(f.style, kFontItalic);
  EXPECT_EQ(f.size, 9);
  IniParseFont(&f, "");
  EXPECT_EQ(f.size, 9);
}

} // namespace
