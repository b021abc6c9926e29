// The lists of copy jobs that backup, restore and the silent backup write,
// and the dated folder names, in a scratch bin folder.
#include "backup/backup.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "store/strdate.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

// "yyyymmdd_hhmmss".
bool IsStamp(const std::string &s) {
  if (s.size() != 15 || s[8] != '_')
    return false;
  for (size_t i = 0; i < s.size(); ++i)
    if (i != 8 && !isdigit(static_cast<unsigned char>(s[i])))
      return false;
  return true;
}

class BackupListsTest : public FolderTest {
protected:
  BackupListsTest() : FolderTest("lists") {}
  void SetUp() override {
    Enter("bin");
    parent_ = Backslashed(root_.string());

    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
    CurrentCatalog.Kind = 1;
    StrCopy(CurrentCatalog.Abbrev, "SALM");
    StrCopy(CurrentCatalog.RepertoryBlock.Title, "Almanacum");
    StrCopy(CurrentCatalog.RepertoryBlock.Paths[kCatFolder],
            "..\\data\\Almanacum\\");
    StrCopy(LogFileDir, "..\\log");
    StrCopy(CasesCatalogName, "..\\cases\\repert");
    StrCopy(PatientCatalogName, "..\\patient\\patient");
    StrCopy(ZentrixDir, "C:\\orvix\\zentrix");
    StrCopy(RunOptions.BackupDirectory, "D:\\SAVE\\20261116_120000");
    RunOptions.BackupRepertory = RunOptions.BackupLog = 1;
    BackupItems = {1, 1, 1, 1, 1, 1, 1};
  }
  std::vector<std::string> Lines(int (*write)(FILE *, long), long mode) {
    FILE *f = tmpfile();
    int n = write(f, mode);
    rewind(f);
    std::vector<std::string> out;
    char buf[1024];
    while (fgets(buf, sizeof buf, f) != nullptr)
      out.push_back(buf);
    fclose(f);
    EXPECT_EQ(n, static_cast<int>(out.size()));
    return out;
  }

  std::string parent_;
};

TEST_F(BackupListsTest, ABackupListsEveryItemInItsOrder) {
  const std::string p = parent_, to = "D:\\SAVE\\20261116_120000";
  std::string lower = p + "\\data\\almanacum\\*.*|" + to + "\\almanacum\\*.*\n";
  std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
  // The companion line: "alma" becomes "cpts", twice, in small letters.
  std::string cpts = lower;
  for (size_t at = 0; (at = cpts.find("alma", at)) != std::string::npos;)
    cpts.replace(at, 4, "cpts");
  std::vector<std::string> expect = {
      p + "\\data\\Almanacum\\*.*|" + to + "\\Almanacum\\*.*\n",
      cpts,
      p + "\\log\\*.*|" + to + "\\Log\\*.*\n",
      p + "\\data\\keynotes\\*.*|" + to + "\\Keynotes\\*.*\n",
      p + "\\cases\\*.*|" + to + "\\Cases\\*.*\n",
      p + "\\patient\\*.*|" + to + "\\Patient\\*.*\n",
      "C:\\orvix\\zentrix\\FilePati\\*.*|" + to + "\\Zentrix\\*.*\n",
      p + "\\System\\*.*|" + to + "\\System\\*.*\n",
      p + "\\Bin\\*.*|" + to + "\\Bin\\*.*\n",
      p + "\\Freenotes\\*.*|" + to + "\\Freenotes\\*.*\n"};
  EXPECT_EQ(Lines(BackupWriteItems, kBackupModeBackup), expect);
}

TEST_F(BackupListsTest, ARestoreMirrorsItWithItsOwnForms) {
  const std::string p = parent_, to = "D:\\SAVE\\20261116_120000";
  BackupItems = {1, 1, 0, 0, 0, 0, 0};
  RunOptions.BackupLog = 0;
  StrCopy(CurrentCatalog.RepertoryBlock.Paths[kCatFolder], "..\\data\\rep9\\");
  std::vector<std::string> expect = {
      // No "alma" in the folder: no second line.
      to + "\\rep9\\*.*|" + p + "\\data\\rep9\\*.*\n",
      // Keynotes go back to "keynotes" under the parent, without "data".
      to + "\\Keynotes\\*.*|" + p + "\\keynotes\\*.*\n",
      // Only the configured cases file's set comes back.
      to + "\\Cases\\repert.*|" + p + "\\cases\\repert.*\n"};
  EXPECT_EQ(Lines(BackupWriteItems, kBackupModeRestore), expect);

  // No repertory chosen: its item is left out.
  CurrentCatalog.Kind = 0;
  EXPECT_EQ(Lines(BackupWriteItems, kBackupModeRestore).size(), 2u);
}

TEST_F(BackupListsTest, TheSilentBackupTakesTheRepertoryAndTheLogs) {
  const std::string p = parent_, to = "D:\\SAVE\\20261116_120000";
  StrCopy(LogPath, "..\\log\\sample");
  auto run = [](FILE *f, long) { return BackupWriteRunItems(f); };
  std::vector<std::string> expect = {
      p + "\\data\\Almanacum\\*.*|" + to + "\\Almanacum\\*.*\n",
      "..\\log\\sample.*|" + to + "\\Log\\sample.*\n",
      p + "\\log\\SALM.*|" + to + "\\Log\\SALM.*\n"};
  EXPECT_EQ(Lines(run, 0), expect);
  RunOptions.BackupRepertory = 0;
  EXPECT_EQ(Lines(run, 0).size(), 2u);

  // A text log is copied as the one file it is, found whatever the case of
  // its name; a stem.* pattern would match nothing beside it.
  fs::create_directories(root_ / "log");
  WriteFile(root_ / "log" / "extra.txt", "0|x\n");
  StrCopy(LogPath, "..\\log\\Extra.TXT");
  EXPECT_EQ(Lines(run, 0).front(),
            "..\\log\\Extra.TXT|" + to + "\\Log\\Extra.TXT\n");
  RunOptions.BackupLog = 0;
  EXPECT_TRUE(Lines(run, 0).empty());
  // Nothing asked for: nothing is copied and the run may start.
  EXPECT_EQ(BackupBeforeRun(), 0);
  EXPECT_FALSE(fs::exists("backup"));
}

TEST_F(BackupListsTest, DatedFolderNamesHoldOnlyDateAndTime) {
  char name[kBackupPathSize];
  time_t before = time(nullptr);
  MakeBackupFolder("\\srv\\orvix-data\\BACKUP", name, sizeof name);
  std::string s = name;
  const std::string base = "\\srv\\orvix-data\\BACKUP\\";
  ASSERT_EQ(s.rfind(base, 0), 0u) << s;
  std::string stamp = s.substr(base.size());
  ASSERT_TRUE(IsStamp(stamp)) << stamp;
  // The local date and time of now (a second's tick may fall between).
  char expect[32];
  strftime(expect, sizeof expect, "%Y%m%d_%H%M", localtime(&before));
  EXPECT_EQ(stamp.substr(0, 13), expect);

  MakeBackupFolder("C:\\BACKUP", name, sizeof name);
  std::string drive = name;
  EXPECT_EQ(drive.rfind("C:\\BACKUP\\", 0), 0u) << drive;
  EXPECT_TRUE(IsStamp(drive.substr(10))) << drive;
}

} // namespace
