#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

int gHookCalls = 0;
void CountHook() {
  ++gHookCalls;
}

// bin is the current folder; data holds "Args.sh", which writes each of its
// arguments on a line of its own into the file named by the first.
class ProcessTest : public FolderTest {
protected:
  ProcessTest() : FolderTest("proc") {}
  void SetUp() override {
    fs::create_directories(root_ / "data");
    std::ofstream(root_ / "data" / "Args.sh")
        << "#!/bin/sh\nout=\"$1\"\nshift\nfor a in \"$@\"; do printf '%s\\n' "
           "\"$a\"; done > \"$out\"\n";
    fs::permissions(root_ / "data" / "Args.sh", fs::perms::owner_all);
    Enter("bin");
    PlatWaitHook = nullptr;
    PlatViewerProgram[0] = '\0';
  }
  void TearDown() override {
    PlatWaitHook = nullptr;
    PlatViewerProgram[0] = '\0';
  }
  // Waits up to five seconds for a child started without wait to end.
  bool AwaitDetachedChild() {
    for (int i = 0; i < 500; ++i) {
      if (PlatReapChildren() > 0)
        return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
};

TEST_F(ProcessTest, WaitingGivesTheExitStatus) {
  int status = -1;
  ASSERT_EQ(PlatStartProgram("/bin/true", nullptr, true, &status), kPlatOk);
  EXPECT_EQ(status, 0);
  ASSERT_EQ(PlatStartProgram("/bin/false", nullptr, true, &status), kPlatOk);
  EXPECT_EQ(status, 1);
  // A bare name is looked for along PATH.
  const char *seven[] = {"-c", "exit 7", nullptr};
  ASSERT_EQ(PlatStartProgram("sh", seven, true, &status), kPlatOk);
  EXPECT_EQ(status, 7);
  const char *killed[] = {"-c", "kill -TERM $$", nullptr};
  ASSERT_EQ(PlatStartProgram("sh", killed, true, &status), kPlatOk);
  EXPECT_EQ(status, 128 + 15);
}

TEST_F(ProcessTest, MissingProgramsAreReported) {
  int status = -1;
  EXPECT_EQ(PlatStartProgram("no-such-program-mantrel", nullptr, true, &status),
            kPlatErrNotFound);
  EXPECT_EQ(PlatStartProgram("..\\data\\none.exe", nullptr, true, &status),
            kPlatErrNotFound);
  EXPECT_EQ(PlatStartProgram("", nullptr, true, &status), kPlatErrPath);
  EXPECT_EQ(PlatStartProgram(nullptr, nullptr, true, &status), kPlatErrPath);
  EXPECT_EQ(PlatStartCommand("   ", true, &status), kPlatErrPath);
  EXPECT_EQ(status, -1);
}

TEST_F(ProcessTest, ArgumentsArriveVerbatimWithoutAShell) {
  std::string out = (root_ / "data" / "out.txt").string();
  const char *args[] = {out.c_str(), "a b",   "$HOME", "x;rm -rf y",
                        "\"q\"",     "*.dat", "",      nullptr};
  int status = -1;
  // Stored path, spelt in another case than on disk.
  ASSERT_EQ(PlatStartProgram("..\\DATA\\ARGS.SH", args, true, &status),
            kPlatOk);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(SlurpFile(out), "a b\n$HOME\nx;rm -rf y\n\"q\"\n*.dat\n\n");
}

TEST_F(ProcessTest, CommandTextsSplitAtBlanksOutsideQuotes) {
  std::string out = (root_ / "data" / "cmd.txt").string();
  char cmd[512];
  StrFormat(cmd, "..\\data\\args.sh \"%s\"  plain \"two words\"\tlast$PATH",
            out.c_str());
  int status = -1;
  ASSERT_EQ(PlatStartCommand(cmd, true, &status), kPlatOk);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(SlurpFile(out), "plain\ntwo words\nlast$PATH\n");
}

TEST_F(ProcessTest, ScriptsRunWithoutTheirExecutableBit) {
  std::ofstream(root_ / "data" / "Fix.bat")
      << "printf '%s' \"$1\" > \"$2\"\nexit 3\n";
  std::string out = (root_ / "data" / "fix.txt").string();
  const char *args[] = {"..\\cases\\casedbr", out.c_str(), nullptr};
  int status = -1;
  ASSERT_EQ(PlatStartScript("..\\data\\FIX.BAT", args, true, &status), kPlatOk);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(SlurpFile(out), "..\\cases\\casedbr");
  EXPECT_EQ(PlatStartScript("..\\data\\none.bat", args, true, &status),
            kPlatErrNotFound);
}

TEST_F(ProcessTest, TheHookRunsWhileWaiting) {
  gHookCalls = 0;
  PlatWaitHook = CountHook;
  const char *args[] = {"-c", "sleep 0.3", nullptr};
  int status = -1;
  ASSERT_EQ(PlatStartProgram("/bin/sh", args, true, &status), kPlatOk);
  EXPECT_EQ(status, 0);
  EXPECT_GE(gHookCalls, 3);
}

TEST_F(ProcessTest, DetachedChildrenAreCollected) {
  int untouched = 42;
  ASSERT_EQ(PlatStartProgram("/bin/true", nullptr, false, &untouched), kPlatOk);
  EXPECT_EQ(untouched, 42);
  EXPECT_TRUE(AwaitDetachedChild());
  EXPECT_EQ(PlatReapChildren(), 0) << "each child is collected once";
}

TEST_F(ProcessTest, TheViewerGetsTheAbsolutePathOfTheReport) {
  std::ofstream(root_ / "data" / "Report.txt") << "report";
  std::string out = (root_ / "data" / "viewed.txt").string();
  // The viewer setting may carry words of its own before the file.
  StrFormat(PlatViewerProgram, "..\\data\\args.sh \"%s\" --flag", out.c_str());
  ASSERT_EQ(PlatStartViewer("..\\DATA\\report.TXT"), kPlatOk);
  ASSERT_TRUE(AwaitDetachedChild());
  std::string expect = (root_ / "data" / "Report.txt").string();
  std::string got = SlurpFile(out);
  ASSERT_EQ(got.substr(0, 7), "--flag\n");
  EXPECT_EQ(fs::path(got.substr(7, got.size() - 8)).lexically_normal(),
            fs::path(expect));
  EXPECT_EQ(PlatStartViewer("..\\data\\none.txt"), kPlatErrNotFound);
}

} // namespace
