// The window "File localisation" (menu 1024) on a fresh demonstration
// installation, driven by a script as a person would: a repertory moved to
// another folder, the cases file and the log folder pointed elsewhere, and
// the row that has no configuration key. Each choice rewrites its one
// catalogue record or key and nothing else.
#include "platform/strutil.h"
#include "store/store.h"
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), ::tolower);
  return s;
}

// Every catalogue record, by kind and id.
std::map<std::pair<int, int>, Catalog> ReadCatalog(const fs::path &bin) {
  std::map<std::pair<int, int>, Catalog> out;
  fs::path old = fs::current_path();
  fs::current_path(bin);
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) == 0) {
    TblHandle h = TblOpenCatalog("..\\system\\catalog", 1, 1);
    Catalog c;
    memset(&c, 0, sizeof c);
    c.CursorState = 0xFF;
    for (int r = TblFindFullCatalog(h, &c, 0, kFindFirst);
         r == 0 && OrvixError == 0;
         r = TblFindFullCatalog(h, &c, 0, kFindNext)) {
      out[{c.Kind, c.Id}] = c;
      memset(&c.KeynoteBlock, 0, sizeof c.KeynoteBlock);
      memset(&c.RepertoryBlock, 0, sizeof c.RepertoryBlock);
    }
    DbCloseFile(h);
    DbTerminate("A-Mantrel");
  }
  fs::current_path(old);
  return out;
}

class LocaliseTest : public FolderTest {
protected:
  LocaliseTest() : FolderTest("localise") {}
  void SetUp() override { ASSERT_EQ(BuildDemo(demo_), 0); }

  void Mantrel(const std::string &script) {
    std::ofstream(root_ / "script.txt") << script;
    RunCommand("cd \"" + (demo_ / "bin").string() +
               "\" && MANTREL_UI=scripted MANTREL_SCRIPT=\"" +
               (root_ / "script.txt").string() + "\" \"" + MANTREL_BIN_DIR +
               "/mantrel\" >/dev/null 2>\"" + (root_ / "err.txt").string() +
               "\" </dev/null");
    err_ = SlurpFile(root_ / "err.txt");
  }

  const fs::path demo_ = root_ / "demo";
  std::string err_;
};

TEST_F(LocaliseTest, EachChoiceRewritesItsRecordOrKeyAndNothingElse) {
  // The repertory's tables, copied to a folder outside the installation
  // under names in capitals; the cases file inside it; a new log folder.
  fs::path moved = root_ / "Elsewhere" / "SALM2009";
  fs::create_directories(moved);
  for (const auto &e : fs::directory_iterator(demo_ / "data" / "salm2009")) {
    std::string upper = e.path().filename().string();
    std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
    fs::copy_file(e.path(), moved / upper);
  }
  fs::create_directories(demo_ / "moved" / "cases");
  fs::copy_file(demo_ / "cases" / "repert.da1",
                demo_ / "moved" / "cases" / "REPERT.DA1");
  fs::create_directories(demo_ / "newlog");
  // A file that is no Symptom table is refused.
  std::ofstream(root_ / "Elsewhere" / "junk.dat") << "not a table";

  auto before = ReadCatalog(demo_ / "bin");
  std::string iniBefore = SlurpFile(demo_ / "bin" / "orvix.ini");
  ASSERT_FALSE(before.empty());

  Mantrel("enter\n"
          "menu 1024\n"
          // Repertories, first row (SALM2009): a table that isn't one, then
          // the Symptom table in capitals.
          "click 4\nfile " +
          (root_ / "Elsewhere" / "junk.dat").string() +
          "\nanswer ok\n"
          "click 4\nfile " +
          (moved / "SYMPTOM.DAT").string() +
          "\n"
          // Personal files, the cases row.
          "select 3 2\nselect 2 1\nclick 4\nfile " +
          (demo_ / "moved" / "cases" / "REPERT.DA1").string() +
          "\n"
          // System files: the log folder, and the player's folder, which
          // has no key.
          "select 3 3\nselect 2 7\nclick 4\nfolder " +
          (demo_ / "newlog").string() +
          "\n"
          "select 2 15\nclick 4\nanswer ok\n"
          "click 1\nexit\n");
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
  EXPECT_THAT(err_, HasSubstr("note: This file is not the symptom table of a "
                              "repertory."));
  EXPECT_THAT(err_,
              HasSubstr("note: This place is not kept in the configuration"));

  // The repertory's seven paths, in small letters, in the chosen folder;
  // every other record as it was.
  auto after = ReadCatalog(demo_ / "bin");
  ASSERT_EQ(after.size(), before.size());
  std::string folder = Lower(Backslashed(moved.string())) + "\\";
  const char *names[] = {"symptom", "chapter", "extract", "word1",
                         "word2",   "view",    ""};
  for (auto &[key, rec] : after) {
    const Catalog &old = before[key];
    if (key == std::make_pair(1, 1)) {
      for (int i = 0; i < kCatPathCount; ++i)
        EXPECT_EQ(std::string(rec.RepertoryBlock.Paths[i]), folder + names[i])
            << i;
      EXPECT_STREQ(rec.RepertoryBlock.Title, old.RepertoryBlock.Title);
    } else {
      for (int i = 0; i < kCatPathCount; ++i)
        EXPECT_STREQ(rec.RepertoryBlock.Paths[i], old.RepertoryBlock.Paths[i])
            << key.first << "/" << key.second;
      EXPECT_STREQ(rec.KeynoteBlock.Folder, old.KeynoteBlock.Folder);
    }
  }

  // The configuration: the two keys changed in place, every other line of
  // the file still there, and what was added lies in its own section.
  std::string ini = SlurpFile(demo_ / "bin" / "orvix.ini");
  EXPECT_THAT(ini, HasSubstr("\nCasesCatalogName=..\\moved\\cases\\repert\n"));
  EXPECT_THAT(ini, HasSubstr("\nLogFileDir=..\\newlog\n"));
  std::vector<std::string> now = TextLines(ini);
  for (const std::string &line : TextLines(iniBefore)) {
    if (line.rfind("CasesCatalogName=", 0) == 0 ||
        line.rfind("LogFileDir=", 0) == 0)
      continue;
    EXPECT_NE(std::find(now.begin(), now.end(), line), now.end()) << line;
  }
  // The next start finds every key in its section.
  Mantrel("enter\nexit\n");
  EXPECT_EQ(SlurpFile(demo_ / "bin" / "orvixerror.txt"), "");
}

} // namespace
