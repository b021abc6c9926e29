#include "platform/profile.h"
#include "platform/strutil.h"
#include "services/ini.h"
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

int RowOf(const char *name) {
  for (int i = 0; Keywords[i].name != nullptr; ++i) {
    if (strcmp(Keywords[i].name, name) == 0)
      return i;
  }
  return -1;
}

// An empty bin folder as the current folder, orvix.ini its configuration.
class IniFileTest : public FolderTest {
protected:
  IniFileTest() : FolderTest("ini") {}
  void SetUp() override {
    Enter();
    IniSetPath("orvix.ini");
    IniCursor = 0;
    IniVirtualCloseHook = nullptr;
  }
  static void Put(const std::string &text, const char *name = "orvix.ini") {
    WriteFile(name, text);
  }
  static std::string Get(const char *name = "orvix.ini") {
    return SlurpFile(name);
  }
};

TEST_F(IniFileTest, SetPathPutsABareNameInTheCurrentFolder) {
  EXPECT_EQ(std::string(IniFileName),
            fs::current_path().string() + "\\orvix.ini");
  IniSetPath("..\\other\\my.ini");
  EXPECT_STREQ(IniFileName, "..\\other\\my.ini");
}

TEST_F(IniFileTest, NoFileGivesAFullFileOfDefaultsAndAnEmptyErrorFile) {
  int hookCalls = 0;
  static int *calls = nullptr;
  calls = &hookCalls;
  IniVirtualCloseHook = [](int n) { *calls += n == 3 ? 1 : 100; };
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(hookCalls, 1);
  ASSERT_TRUE(fs::exists("orvixerror.txt"));
  EXPECT_EQ(fs::file_size("orvixerror.txt"), 0u);
  EXPECT_FALSE(fs::exists("temp.ini"));

  std::string text = Get();
  EXPECT_EQ(text.rfind("\n[System section]\nDbBuffers=50\nDbFiles=90\n", 0),
            0u);
  // Every row that writes stands under its own section header.
  std::string current;
  std::set<std::string> seen;
  for (const std::string &line : TextLines(text)) {
    if (!line.empty() && line[0] == '[')
      current = line.substr(1, line.size() - 2);
    else if (line.find('=') != std::string::npos)
      seen.insert(current + "|" + line.substr(0, line.find('=')));
  }
  int expected = 0;
  for (int i = 0; i < kKeywordCount; ++i) {
    const Keyword &k = Keywords[i];
    if (k.type == kIniInertName || k.type == kIniInertStyle) {
      EXPECT_THAT(text, Not(HasSubstr(k.name))) << k.name;
      continue;
    }
    ++expected;
    EXPECT_TRUE(seen.count(std::string(IniSections[k.section]) + "|" + k.name))
        << k.name;
  }
  EXPECT_EQ(seen.size(), expected + 2u); // and ShowNote, ShowMark
  EXPECT_TRUE(seen.count("Repertory window section|ShowNote"));

  // Defaults as the file shows them.
  for (const char *line :
       {"RemedyCatalogName=..\\system\\remed", "DateFormat=dd.mm.yyyy",
        "ZentrixDir=C:\\orvix\\zentrix", "RepertoryColor=white",
        "SymptomPrefixLevel3=\"- \"", "SymptomPrefixLevel1=\"\"",
        "ClipboardName10=Clipboard 10", "LeftMargin=1.00",
        "PatientBackgroundColor=lightgray", "Path=..\\data\\dorval",
        "RemedyDegree4Object=33488896,201326591,helvetica,"
        "normal+bold+underline,10",
        "AuthorXXXObject=159416448,201326591,helvetica,normal+strikeout,10",
        "AnalyseTextObject=50331903,201326591,,normal,9",
        "NumberOfSymptomsObject=117440512,180404416,helvetica,normal,7",
        "IconChapter1Object=117440512,201326591,helvetica,normal,6",
        "KeynotesFontSize=10", "ShowNote=1", "ShowMark=0"})
    EXPECT_THAT(text, HasSubstr(std::string("\n") + line + "\n")) << line;
  EXPECT_EQ(Language, 1);
  EXPECT_EQ(ShowMessageNumbers, 0);
  EXPECT_STREQ(Repertories, "1,2,3,4,5,6,7,8,9");
  EXPECT_EQ(FontObject[kFontSymptomLevel1Lg1 + 1].style, kFontBold);
  EXPECT_STREQ(FontObject[62].appliedFamily, "helvetica");
  EXPECT_EQ(DegreeColor[3], 0xFF0000u);
  // The file of defaults is written before the fixed sizes are applied.
  EXPECT_EQ(FontObject[kFontIconChapter1].size, 8);
}

// Gives every key of a file of defaults a value of its own, reads it, and
// checks that every variable took it; then writes every section and expects
// the same file back.
TEST_F(IniFileTest, EveryKeyIsReadAndWrittenBack) {
  ASSERT_EQ(IniRead(), 0);
  std::string changed;
  std::map<int, std::string> texts;
  for (const std::string &line : TextLines(Get())) {
    size_t eq = line.find('=');
    int row = eq == std::string::npos ? -1 : RowOf(line.substr(0, eq).c_str());
    if (row < 0) {
      changed += line + "\n";
      continue;
    }
    const Keyword &k = Keywords[row];
    std::string v;
    switch (k.type) {
    case kIniInt32:
      v = std::to_string(100000 + row);
      break;
    case kIniByte:
      v = std::to_string(row % 150 + 3);
      break;
    case kIniInt16:
      v = std::to_string(1000 + row);
      break;
    case kIniFloat:
      v = std::to_string(row) + ".25";
      break;
    case kIniColor:
      v = IniColorTable[row % kIniColorCount].word;
      break;
    case kIniQuoted8:
      v = "\"p" + std::to_string(row) + "\"";
      break;
    case kIniFont:
      v = std::to_string(row) + "," + std::to_string(row * 7) + ",fam" +
          std::to_string(row) + ",normal+italic," +
          std::to_string(row % 40 + 8);
      break;
    default: { // a text that fills its width
      std::string t = "t" + std::to_string(row) + "-";
      while (t.size() < static_cast<size_t>(-k.type))
        t += static_cast<char>('a' + t.size() % 26);
      v = t;
      texts[row] = t;
      break;
    }
    }
    changed += std::string(k.name) + "=" + v + "\n";
  }
  Put(changed);
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(fs::file_size("orvixerror.txt"), 0u);

  for (int row = 0; row < kKeywordCount; ++row) {
    const Keyword &k = Keywords[row];
    SCOPED_TRACE(k.name);
    std::string name = k.name;
    switch (k.type) {
    case kIniInt32:
      EXPECT_EQ(*static_cast<int32_t *>(k.target), 100000 + row);
      break;
    case kIniByte:
      if (name == "AnalysePolychrest" || name == "AnalyseSmallRemed") {
        EXPECT_EQ(*static_cast<uint8_t *>(k.target), 0); // always cleared
      } else if (name == "AnalyseSquaredDegrees") {
        EXPECT_EQ(*static_cast<uint8_t *>(k.target), 1); // Graph decides
      } else {
        EXPECT_EQ(*static_cast<uint8_t *>(k.target), row % 150 + 3);
      }
      break;
    case kIniInt16:
      EXPECT_EQ(*static_cast<int16_t *>(k.target), 1000 + row);
      break;
    case kIniFloat:
      EXPECT_FLOAT_EQ(*static_cast<float *>(k.target), row + 0.25f);
      break;
    case kIniColor:
      EXPECT_EQ(*static_cast<int32_t *>(k.target),
                IniColorTable[row % kIniColorCount].value);
      break;
    case kIniQuoted8:
      EXPECT_EQ(std::string(static_cast<char *>(k.target)),
                "p" + std::to_string(row));
      break;
    case kIniFont: {
      const IniFont *f = static_cast<IniFont *>(k.target);
      EXPECT_EQ(f->foreground, row);
      EXPECT_EQ(f->background, row * 7);
      EXPECT_EQ(std::string(f->family), "fam" + std::to_string(row));
      EXPECT_EQ(f->style, kFontItalic);
      int size = row % 40 + 8;
      if (k.fontIndex == kFontIndexSentense)
        size = 7;
      EXPECT_EQ(f->size, size);
      EXPECT_EQ(std::string(f->appliedFamily), f->family);
      break;
    }
    case kIniInertName:
    case kIniInertStyle:
      break;
    default:
      EXPECT_EQ(std::string(static_cast<char *>(k.target)), texts[row]);
      break;
    }
  }
  EXPECT_EQ(ModeWord, static_cast<int16_t>(Mode));

  // Written back section by section, the file comes out as it went in, but
  // for the keys the reader overrides.
  for (int s = 1; s <= 16; ++s)
    ASSERT_EQ(IniWrite(s), 0);
  std::string back = Get();
  auto without = [](std::string text, const std::vector<std::string> &keys) {
    std::string out;
    for (const std::string &line : TextLines(text)) {
      bool drop = false;
      for (const std::string &key : keys)
        drop = drop || line.rfind(key + "=", 0) == 0;
      if (!drop)
        out += line + "\n";
    }
    return out;
  };
  const std::vector<std::string> overridden = {
      "AnalysePolychrest", "AnalyseSmallRemed", "AnalyseSquaredDegrees",
      "IndexSentenseObject"};
  EXPECT_EQ(without(back, overridden), without(changed, overridden));
  EXPECT_THAT(back, HasSubstr("\nAnalysePolychrest=0\n"));
}

TEST_F(IniFileTest, WritingOneSectionKeepsEverythingElseInItsPlace) {
  const std::string head = "# written by hand\n"
                           "[System section]\n"
                           "; a comment\n"
                           "DbBuffers = 77\n"
                           "SomethingElse=5\n"
                           "\n"
                           "Language=2\n"
                           "\n"
                           "[Dorval section]\n"
                           "Mode=3\n"
                           "[Other]\n"
                           "DateFormat=in the wrong place\n"
                           "foo=bar\n";
  Put(head);
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(DbBuffers, 77);
  EXPECT_EQ(Mode, 3);
  EXPECT_STREQ(DateFormat, "dd.mm.yyyy");
  DbBuffers = 12;
  Mode = 9; // not of section 1: stays as the file says
  ASSERT_EQ(IniWrite(1), 0);

  std::vector<std::string> lines = TextLines(Get());
  const std::vector<std::string> expectHead = {
      "# written by hand", "[System section]", "; a comment",
      "DbBuffers=12",      "SomethingElse=5",  "",
      "Language=2",        "DbFiles=90"};
  ASSERT_GE(lines.size(), expectHead.size());
  EXPECT_EQ(std::vector<std::string>(lines.begin(),
                                     lines.begin() + expectHead.size()),
            expectHead);
  auto at = [&](const std::string &line) {
    return std::find(lines.begin(), lines.end(), line) - lines.begin();
  };
  // The keys the section lacked close it, before the blank line that leads
  // to the next header; the rest of the file follows as it was.
  const long fixedFont =
      at("IndexSentenseObject=33488896,201326591,helvetica,normal,7");
  EXPECT_LT(at("DateFormat=dd.mm.yyyy"), fixedFont);
  EXPECT_EQ(lines[fixedFont + 1], "");
  EXPECT_EQ(lines[fixedFont + 2], "[Dorval section]");
  EXPECT_EQ(lines[fixedFont + 3], "Mode=3");
  EXPECT_EQ(lines[fixedFont + 4], "[Other]");
  // A key of the section under another header is not its to rewrite.
  EXPECT_EQ(lines[fixedFont + 5], "DateFormat=in the wrong place");
  EXPECT_EQ(lines[fixedFont + 6], "foo=bar");
  int dbBuffers = 0;
  for (const std::string &line : lines)
    dbBuffers += line.rfind("DbBuffers=", 0) == 0;
  EXPECT_EQ(dbBuffers, 1);

  // On the next read every key the writer added is in its place; only the
  // line that stood in the wrong place before is reported.
  ASSERT_EQ(IniRead(), 0);
  std::string errors = Get("orvixerror.txt");
  EXPECT_EQ(errors, "Keyword found in bad section: dateformat in OTHER\n");
  EXPECT_EQ(DbBuffers, 12);
}

TEST_F(IniFileTest, ASectionTheFileLacksIsAddedWithItsHeader) {
  Put("[System section]\r\nDbBuffers=7\r\n[Tobin section]\r\nTobinRepertory=5");
  ASSERT_EQ(IniRead(), 0);
  StrCopy(Path, "X:\\data\\dorval");
  ASSERT_EQ(IniWrite(15), 0);
  std::string text = Get();
  EXPECT_EQ(text.rfind("[System section]\r\nDbBuffers=7\r\n[Tobin "
                       "section]\r\nTobinRepertory=5\r\n\r\n[Dorval "
                       "section]\r\nAutomaticStart=0\r\n",
                       0),
            0u)
      << text;
  EXPECT_THAT(text, HasSubstr("Path=X:\\data\\dorval\r\n"));
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(Get("orvixerror.txt"), "");
  EXPECT_STREQ(Path, "X:\\data\\dorval");
  EXPECT_EQ(TobinRepertory, 5);
}

TEST_F(IniFileTest, KeysOutsideTheirSectionAreReportedAndNotTaken) {
  Put("DbBuffers=77\n"
      "Language=3\n"
      "[System section]   \n"
      "DbFiles=11\n"
      "[Dorval section] # damaged\n"
      "Mode=4\n"
      "KeynotesFontName=arial\n"
      "UnknownKey=1\n"
      "[Keynotes section]\n"
      "KeynotesFontName=arial\n");
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(DbBuffers, 50);
  EXPECT_EQ(Language, 1);
  EXPECT_EQ(DbFiles, 11);
  EXPECT_EQ(Mode, 1);
  EXPECT_EQ(Get("orvixerror.txt"),
            "Keyword found in bad section: dbbuffers in \n"
            "Keyword found in bad section: language in \n"
            "Keyword found in bad section: mode in DORVAL SECTION] # DAMAGE\n"
            "Keyword found in bad section: keynotesfontname in DORVAL "
            "SECTION] # DAMAGE\n");
}

TEST_F(IniFileTest, LanguageAbove190ShowsMessageNumbers) {
  // The value in the file, the language taken, numbers shown.
  for (auto [file, language, numbers] :
       {std::tuple{-1, 1, 1}, {191, 65, 1}, {190, 190, 0}}) {
    Put("[System section]\nLanguage=" + std::to_string(file) + "\n");
    IniRead();
    EXPECT_EQ(Language, language) << file;
    EXPECT_EQ(ShowMessageNumbers, numbers) << file;
  }
  // Language 12 brings its own family for every font.
  Put("[System section]\nLanguage=12\n");
  IniRead();
  EXPECT_STREQ(FontObject[kFontRemedy].appliedFamily, "MS UI Gothic");
  EXPECT_STREQ(FontObject[kFontRemedy].family, "helvetica");
  EXPECT_STREQ(KeynotesFontObject.appliedFamily, "MS UI Gothic");
  Put("[System section]\nLanguage=3\nExoticFont3=Arial Unicode\n");
  IniRead();
  EXPECT_STREQ(FontObject[kFontAnalyseText].appliedFamily, "Arial Unicode");
}

TEST_F(IniFileTest, FontsColoursAndWidthsThroughTheFile) {
  Put("[System section]\n"
      "DateFormat=abcdefghijklmnopqrstuvwxyz\n"
      "IndexSentenseObject=1,2,arial,normal,12\n"
      "[Fonts and colors section]\n"
      "RemedyNumberObject=red,white,times,bold+italic,12\n"
      "SynonymLg1Object=1,2,courier\n"
      "IconChapter2Object=1,2,x,normal,5\n"
      "[General repertory section]\n"
      "RepertoryColor=12345\n"
      "[Patient section]\n"
      "PatientTextColor=  GREEN\n");
  ASSERT_EQ(IniRead(), 0);
  EXPECT_STREQ(DateFormat, "abcdefghijklmnopqrstuvwxy");
  const IniFont &r = FontObject[kFontRemedyNumber];
  EXPECT_EQ(r.style, kFontBold | kFontItalic);
  EXPECT_EQ(r.foreground, kColorRed);
  EXPECT_EQ(r.size, 12);
  const IniFont &s = FontObject[kFontSynonymLg1];
  EXPECT_EQ(s.foreground, 1);
  EXPECT_STREQ(s.family, "helvetica");
  EXPECT_EQ(s.size, 10);
  EXPECT_EQ(FontObject[kFontIndexSentense].size, 7);
  EXPECT_EQ(FontObject[kFontIconChapter2].size, 8);
  EXPECT_EQ(RepertoryColor, 12345);
  EXPECT_EQ(PatientTextColor, kColorGreen);

  // A colour without a word loses its line; the section's other key, which
  // the file lacked, closes the section.
  ASSERT_EQ(IniWrite(3), 0);
  std::string text = Get();
  EXPECT_THAT(text,
              HasSubstr("\n[General repertory section]\n"
                        "Repertories=1,2,3,4,5,6,7,8,9\n[Patient section]\n"
                        "PatientTextColor=  GREEN\n"));
  ASSERT_EQ(IniWrite(2), 0);
  text = Get();
  EXPECT_THAT(text, HasSubstr("\nRemedyNumberObject=33488896,201326591,times,"
                              "normal+bold+italic,12\n"));
  EXPECT_THAT(text, HasSubstr("\nIconChapter2Object=1,2,x,normal,8\n"));
}

TEST_F(IniFileTest, WritingNoSectionChangesOnlyTheProfileKeys) {
  const std::string before =
      "; head\r\n[System section]\r\nDbBuffers=1\r\nShowNote=7\r\n"
      "[Repertory window section]\r\nShowNote=0\r\nAuthorMax=5\r\n"
      "[Fonts and colors section]\r\nAuthorXXXObject=1,2,a,normal,3\r\n"
      "[Else]\r\nx=y";
  Put(before);
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(ShowNote, 0);
  EXPECT_EQ(FontObject[kFontAuthorXXX].size, 3);
  ShowNote = 1;
  ShowMark = 4;
  DbBuffers = 99;
  FontObject[kFontAuthorXXX].size = 11;
  FontObject[kFontAuthorWithNote].style = kFontItalic;
  ASSERT_EQ(IniWrite(-1), 0);
  std::string after = Get();
  std::string expect = before;
  expect.replace(expect.find("ShowNote=0"), 10, "ShowNote=1");
  expect.replace(expect.find("AuthorMax=5"), 11, "AuthorMax=5\r\nShowMark=4");
  expect.replace(expect.find("AuthorXXXObject=1,2,a,normal,3"), 30,
                 "AuthorXXXObject=1,2,a,normal,11\r\n"
                 "AuthorWithNoteObject=100598015,201326591,helvetica,"
                 "normal+italic,8");
  EXPECT_EQ(after, expect);
}

TEST_F(IniFileTest, ProfileKeysBesideTheTable) {
  Put("[General repertory section]\n"
      "Repertories=" +
      std::string(150, '7') +
      "\n"
      "[New Analysis Window]\nGraph=0\nDegree1Color=0x10\nDegree2Color=255\n"
      "[Analyses section]\nAnalyseSquaredDegrees=1\n"
      "[system section]\nExtendSize=4096\nLookLight=0\nCopyUsid=1\n");
  LookLightKnown = 0;
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(std::string(Repertories), std::string(150, '7'));
  EXPECT_EQ(AnalyseSquaredDegrees, 0);
  EXPECT_EQ(DegreeColor[1], 0xFF0000u);
  EXPECT_EQ(DegreeColor[0], 0u);
  EXPECT_EQ(ExtendSize, 4096);
  EXPECT_EQ(CopyUsid, 1);
  EXPECT_EQ(IniLookLight(), 0);
  // Read once: a change of the file is not seen any more.
  ASSERT_TRUE(WritePrivateProfileStringA("System section", "LookLight", "1",
                                         IniFileName));
  EXPECT_EQ(IniLookLight(), 0);
}

TEST_F(IniFileTest, DamagedFilesAreReadWithoutLoss) {
  std::string garbage("\0\x01\xfe\xff=\x80[", 8);
  const std::string before = "[System section]\n"
                             "UserName=" +
                             std::string(1000, 'u') + "\n" + "# " +
                             std::string(300, 'c') + " DbFiles=1\n" + garbage +
                             "\n" +
                             "[System section\n"
                             "DbSectors=9\n"
                             "[\n"
                             "=novalue\n"
                             "DbFiles\n"
                             "[System section]\n"
                             "DbBuffers=" +
                             std::string(300, '8') + "\n";
  Put(before);
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(std::string(UserName), std::string(40, 'u'));
  EXPECT_EQ(DbFiles, 90);
  EXPECT_EQ(DbSectors, 4); // "[System section" reads as a damaged name
  EXPECT_THAT(Get("orvixerror.txt"), HasSubstr("dbsectors in SYSTEM SECTIO\n"));
  // Rewriting section 1 replaces its keys and copies the rest byte for byte.
  ASSERT_EQ(IniWrite(-1), 0);
  std::string after = Get();
  EXPECT_THAT(after, HasSubstr("#" + std::string(" ") + std::string(300, 'c')));
  EXPECT_THAT(after, HasSubstr(garbage));
  EXPECT_THAT(after, HasSubstr("\n=novalue\nDbFiles\n"));
  ASSERT_EQ(IniWrite(1), 0);
  after = Get();
  EXPECT_THAT(after, HasSubstr("UserName=" + std::string(40, 'u') + "\n#"));
  EXPECT_THAT(after, HasSubstr(garbage));
  EXPECT_THAT(after, HasSubstr("\n=novalue\nDbFiles\n"));
}

TEST_F(IniFileTest, FailuresLeaveTheOldFile) {
  Put("[System section]\nDbBuffers=77\n");
  // No room for the work file: nothing changes.
  fs::create_directory("temp.ini");
  ASSERT_EQ(IniRead(), 0);
  DbBuffers = 5;
  EXPECT_EQ(IniWrite(1), 12);
  EXPECT_EQ(Get(), "[System section]\nDbBuffers=77\n");
  fs::remove("temp.ini");

  // An error file that can't be created: reports go nowhere.
  fs::remove("orvixerror.txt");
  fs::create_directory("orvixerror.txt");
  Put("DbBuffers=3\n");
  EXPECT_EQ(IniRead(), 0);
  EXPECT_EQ(DbBuffers, 50);
  fs::remove("orvixerror.txt");

  // A configuration "file" that can't be read is not replaced.
  fs::rename("orvix.ini", "saved.ini");
  fs::create_directory("orvix.ini");
  EXPECT_EQ(IniRead(), 12);
  EXPECT_EQ(IniWrite(-1), 12);
  EXPECT_TRUE(fs::is_directory("orvix.ini"));
  fs::remove("orvix.ini");
  fs::rename("saved.ini", "orvix.ini");
  EXPECT_EQ(Get(), "DbBuffers=3\n");
}

TEST_F(IniFileTest, AnUnreadableFileIsNeverReplacedByDefaults) {
  if (geteuid() == 0)
    GTEST_SKIP() << "permissions do not bind the superuser";
  Put("[System section]\nDbBuffers=77\n");
  chmod("orvix.ini", 0);
  EXPECT_EQ(IniRead(), 12);
  EXPECT_EQ(DbBuffers, 50);
  EXPECT_EQ(IniWrite(1), 12);
  chmod("orvix.ini", 0644);
  EXPECT_EQ(Get(), "[System section]\nDbBuffers=77\n");
}

} // namespace
