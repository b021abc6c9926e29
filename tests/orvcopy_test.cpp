// The copy program of backups (orvcopy), run as Mantrel runs it: a list of
// "source|target" lines, the program started on it in a scratch bin
// folder, and what it leaves behind: the files, its report, and the list
// deleted only when everything could be copied.
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

extern char **environ;

namespace {

using ::testing::HasSubstr;

void Write(const fs::path &p, const std::string &text) {
  fs::create_directories(p.parent_path());
  std::ofstream(p, std::ios::binary) << text;
}

std::set<std::string> Names(const fs::path &folder) {
  std::set<std::string> out;
  std::error_code ec;
  for (const auto &e : fs::directory_iterator(folder, ec))
    out.insert(e.path().filename().string());
  return out;
}

class OrvcopyTest : public FolderTest {
protected:
  OrvcopyTest() : FolderTest("orvcopy") {}
  void SetUp() override {
    fs::create_directories(root_ / "bin" / "backup");
    list_ = root_ / "bin" / "backup" / "backup.txt";
  }

  // Writes the list and runs the program from bin, the list named as
  // Mantrel names it: an absolute path with backslashes.
  int Run(const std::string &lines) {
    Write(list_, lines);
    return RunOn(BackslashPath(list_));
  }
  int RunOn(const std::string &listArg) {
    std::string cmd = "cd \"" + (root_ / "bin").string() + "\" && \"" +
                      MANTREL_BIN_DIR + "/orvcopy\" '" + listArg +
                      "' 2>/dev/null";
    return RunCommand(cmd);
  }
  static std::string BackslashPath(const fs::path &p) {
    std::string s = p.string();
    for (char &c : s)
      if (c == '/')
        c = '\\';
    return s;
  }
  std::string Report() {
    return SlurpFile(root_ / "bin" / "backup" / "backup.rpt");
  }

  fs::path list_;
};

TEST_F(OrvcopyTest, WildcardsCopyFilesOfAFolderOrOfOneStem) {
  Write(root_ / "data" / "rep" / "symptom.dat", "S-DATA");
  Write(root_ / "data" / "rep" / "symptom.idx", "S-IDX");
  Write(root_ / "data" / "rep" / "word1.dat", "W1");
  Write(root_ / "data" / "rep" / "sub" / "deep.dat", "not copied");
  ASSERT_EQ(Run("..\\data\\rep\\*.*|..\\out\\all\\*.*\n"
                "..\\data\\rep\\symptom.*|..\\out\\renamed\\other.*\r\n"
                "..\\data\\rep\\word1.dat|..\\out\\one\\\n"),
            0)
      << Report();
  EXPECT_EQ(Names(root_ / "out" / "all"),
            (std::set<std::string>{"symptom.dat", "symptom.idx", "word1.dat"}));
  EXPECT_EQ(SlurpFile(root_ / "out" / "all" / "symptom.idx"), "S-IDX");
  // "stem.*" to "other.*" keeps each extension under the new stem.
  EXPECT_EQ(Names(root_ / "out" / "renamed"),
            (std::set<std::string>{"other.dat", "other.idx"}));
  EXPECT_EQ(SlurpFile(root_ / "out" / "renamed" / "other.dat"), "S-DATA");
  EXPECT_EQ(SlurpFile(root_ / "out" / "one" / "word1.dat"), "W1");
  EXPECT_FALSE(fs::exists(list_)) << "the list is the end signal";
  EXPECT_THAT(Report(),
              HasSubstr("6 files, 26 bytes copied; 0 sources missing; 0 "
                        "failures"));
}

TEST_F(OrvcopyTest, MissingSourcesAreToldAndPassedOver) {
  Write(root_ / "data" / "a.txt", "A");
  ASSERT_EQ(Run("..\\nowhere\\*.*|..\\out\\x\\*.*\n"
                "..\\data\\nostem.*|..\\out\\y\\*.*\n"
                "..\\data\\gone.txt|..\\out\\z\\gone.txt\n"
                "C:\\orvix\\zentrix\\FilePati\\*.*|..\\out\\Zentrix\\*.*\n"
                "..\\data\\*.*|..\\out\\w\\*.*\n"),
            0)
      << Report();
  std::string report = Report();
  EXPECT_THAT(report, HasSubstr("missing: ..\\nowhere\\*.*"));
  EXPECT_THAT(report, HasSubstr("missing: ..\\data\\nostem.*"));
  EXPECT_THAT(report, HasSubstr("missing: ..\\data\\gone.txt"));
  EXPECT_THAT(report, HasSubstr("missing: C:\\orvix\\zentrix"))
      << "an unmapped drive is a missing source";
  EXPECT_THAT(report, HasSubstr("1 files, 1 bytes copied; 4 sources missing"));
  EXPECT_EQ(SlurpFile(root_ / "out" / "w" / "a.txt"), "A");
  EXPECT_FALSE(fs::exists(root_ / "out" / "x"));
  EXPECT_FALSE(fs::exists(list_));
}

TEST_F(OrvcopyTest, PathsAreFoundWithoutRegardToLetterCase) {
  Write(root_ / "Data" / "SALM" / "Symptom.DAT", "old");
  Write(root_ / "Data" / "SALM" / "symptom.IDX", "old-idx");
  fs::create_directories(root_ / "backup");
  ASSERT_EQ(Run("..\\DATA\\salm\\*.*|..\\BACKUP\\Day\\salm\\*.*\n"), 0)
      << Report();
  // The existing "backup" is used; the new folders keep the case given.
  EXPECT_EQ(Names(root_ / "backup" / "Day" / "salm"),
            (std::set<std::string>{"Symptom.DAT", "symptom.IDX"}));
  EXPECT_FALSE(fs::exists(root_ / "BACKUP"));

  // A restore in other letters replaces the files it names, and makes no
  // second file beside them.
  Write(root_ / "backup" / "Day" / "salm" / "Symptom.DAT", "saved");
  ASSERT_EQ(Run("..\\backup\\DAY\\SALM\\SYMPTOM.*|..\\data\\salm\\symptom.*\n"),
            0)
      << Report();
  EXPECT_EQ(Names(root_ / "Data" / "SALM"),
            (std::set<std::string>{"Symptom.DAT", "symptom.IDX"}));
  EXPECT_EQ(SlurpFile(root_ / "Data" / "SALM" / "Symptom.DAT"), "saved");
}

TEST_F(OrvcopyTest, DriveLettersGoThroughTheEnvironment) {
  fs::path q = root_ / "drive-q", r = root_ / "drive-r";
  Write(q / "orvix" / "zentrix" / "FilePati" / "p1.zx", "P1");
  fs::create_directories(r);
  setenv("MANTREL_DRIVE_Q", q.c_str(), 1);
  setenv("MANTREL_DRIVE_R", r.c_str(), 1);
  int rc = Run("q:\\ORVIX\\Zentrix\\FilePati\\*.*|R:\\save\\Zentrix\\*.*\n");
  unsetenv("MANTREL_DRIVE_Q");
  unsetenv("MANTREL_DRIVE_R");
  ASSERT_EQ(rc, 0) << Report();
  EXPECT_EQ(SlurpFile(r / "save" / "Zentrix" / "p1.zx"), "P1");
}

TEST_F(OrvcopyTest, AFailedCopyKeepsTheListAndEndsWithStatusOne) {
  Write(root_ / "data" / "a.txt", "A");
  Write(root_ / "blocker", "a file where a folder should be");
  EXPECT_EQ(Run("..\\data\\*.*|..\\blocker\\sub\\*.*\n"
                "no bar on this line\n"),
            1);
  EXPECT_TRUE(fs::exists(list_)) << "Mantrel must see that the copy failed";
  std::string report = Report();
  EXPECT_THAT(report,
              HasSubstr("failed: cannot make the folder ..\\blocker\\sub"));
  EXPECT_THAT(report, HasSubstr("failed: line 2 is no \"source|target\""));
  // No argument, or a list that isn't there: a usage error.
  EXPECT_EQ(RunOn(""), 2);
  EXPECT_EQ(RunOn("\\no\\such\\list.txt"), 2);
}

// A copy stopped half-way leaves at most a hidden work file: no file under
// its final name holds part of its source. The source is a pipe, so the
// test decides when the copy is in the middle.
TEST_F(OrvcopyTest, AKillInTheMiddleLeavesNoPartialFileUnderAFinalName) {
  Write(root_ / "data" / "first.dat", "complete before the kill");
  fs::path fifo = root_ / "data" / "second.dat";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  Write(list_, "..\\data\\*.*|..\\out\\*.*\n");

  std::string prog = std::string(MANTREL_BIN_DIR) + "/orvcopy";
  std::string arg = BackslashPath(list_);
  char *argv[] = {prog.data(), arg.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, (root_ / "bin").c_str());
  pid_t pid = 0;
  ASSERT_EQ(posix_spawn(&pid, prog.c_str(), &actions, nullptr, argv, environ),
            0);
  posix_spawn_file_actions_destroy(&actions);

  // The copy program opens the pipe for reading; half of the data goes in.
  int w = open(fifo.c_str(), O_WRONLY);
  ASSERT_GE(w, 0);
  std::string half(64 * 1024, 'x');
  ASSERT_EQ(write(w, half.data(), half.size()),
            static_cast<ssize_t>(half.size()));
  // Wait until the bytes have reached the work file in the target folder.
  bool inTheMiddle = false;
  for (int i = 0; i < 500 && !inTheMiddle; ++i) {
    std::error_code ec;
    for (const auto &e : fs::directory_iterator(root_ / "out", ec))
      if (e.path().filename().string()[0] == '.' &&
          fs::file_size(e.path(), ec) >= half.size())
        inTheMiddle = true;
    if (!inTheMiddle)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_TRUE(inTheMiddle);
  kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  close(w);

  EXPECT_EQ(SlurpFile(root_ / "out" / "first.dat"), "complete before the kill");
  EXPECT_FALSE(fs::exists(root_ / "out" / "second.dat"));
  for (const std::string &name : Names(root_ / "out"))
    EXPECT_TRUE(name == "first.dat" || name[0] == '.') << name;
  EXPECT_TRUE(fs::exists(list_)) << "a killed copy has not ended";
}

} // namespace
