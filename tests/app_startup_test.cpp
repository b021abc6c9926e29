// The program as an installer meets it: the mantrel executable started in a
// bin folder, with no one watching.
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct RunResult {
  int status = -1;
  std::string out, err;
};

class StartupTest : public FolderTest {
protected:
  StartupTest() : FolderTest("start") {}
  void SetUp() override { fs::create_directories(bin_); }

  // Runs mantrel in the bin folder with the given words (quoted by the
  // caller where needed) and no terminal.
  RunResult Run(const std::string &args, const std::string &env = "") {
    std::string cmd = "cd '" + bin_.string() + "' && MANTREL_UI=console " +
                      env + " '" + MANTREL_BIN_DIR + "/mantrel' " + args +
                      " </dev/null >'" + (root_ / "out").string() + "' 2>'" +
                      (root_ / "err").string() + "'";
    RunResult r;
    r.status = RunCommand(cmd);
    r.out = Slurp("out");
    r.err = Slurp("err");
    return r;
  }

  // A message table where the default configuration looks for it.
  void InstallMessages() {
    fs::create_directories(root_ / "system");
    ASSERT_EQ(BuildMessageTable(root_ / "system" / "orvixmsg"), 0);
  }

  const fs::path bin_ = root_ / "bin";
};

const char kHelp[] =
    "Mantrel arguments\n\n"
    "localization \t\t\t\t\t\t: Make the automatic localization (only one "
    "argument)\n"
    "/RUN logfile lang logremed logauthor abbrevfile doextract\t\t\t\t: Run a "
    "log file automatically\n"
    "/BACKUP \t\t\t\t\t\t\t: Display directly the backup window\n"
    "/BUILD listfile\t\t\t\t\t\t: Rebuild a list of table; listfile contains "
    "the list to rebuild\n"
    "/AUTREM logremed logauthor\t\t\t\t\t: Inject user defined authors and "
    "remedies\n"
    "/UPGRADEASSOC logfile oldreptabbrev newrepabbrev assoctable\t: Upgrade an "
    "old repertory with the association table\n"
    "/UPGRADE logfile oldrepabbrev newrepabbrev\t\t\t: Upgrade an old "
    "repertory without the association table\n"
    "/UPGRADERESET logfile repabbrev\t\t\t\t: Run a log file in a repertory\n"
    "/NOTES almafolder notetextfile\t\t\t\t: Upload notes in a repertory\n"
    "\t\t\t\t\t\t\t: (type of file|table name)\n"
    "/ifilename \t\t\t\t\t\t: Use another ini file\n"
    "/? \t\t\t\t\t\t\t: See this help\n";

TEST_F(StartupTest, HelpWordsPrintTheVerbsAnywhere) {
  for (const char *word : {"--help", "-h"}) {
    RunResult r = Run(word);
    EXPECT_EQ(r.status, 0) << word;
    // The "/?" text first, then what a person at a Linux terminal needs.
    EXPECT_EQ(r.out.rfind(kHelp, 0), 0u) << word;
    for (const char *part :
         {"MANTREL_SCRIPT", "MANTREL_DRIVE_x", "tbltool", "BackupApp"})
      EXPECT_THAT(r.out, HasSubstr(part)) << part;
  }
  RunResult v = Run("--version");
  EXPECT_EQ(v.status, 0);
  EXPECT_EQ(v.out.rfind("mantrel ", 0), 0u) << v.out;
  // None of these touched the folder: they are no start of the program.
  EXPECT_FALSE(fs::exists(bin_ / "orvix.ini"));
}

TEST_F(StartupTest, HelpVerbAfterTheStartSequence) {
  InstallMessages();
  for (const char *args : {"'/?'", "'/?' more words"}) {
    RunResult r = Run(args);
    EXPECT_EQ(r.status, 0) << args << r.err;
    EXPECT_EQ(r.out, kHelp) << args;
  }
}

TEST_F(StartupTest, FreshBinFolderGetsConfigurationAndEmptyErrorFile) {
  RunResult r = Run("");
  // No message table in a bare folder: the start ends, but only after the
  // configuration was read and written.
  ASSERT_TRUE(fs::exists(bin_ / "orvix.ini"));
  ASSERT_TRUE(fs::exists(bin_ / "orvixerror.txt"));
  EXPECT_EQ(fs::file_size(bin_ / "orvixerror.txt"), 0u);
  std::string ini = Slurp(bin_ / "orvix.ini");
  EXPECT_THAT(ini, HasSubstr("[System section]"));
  EXPECT_THAT(ini, HasSubstr("MessageCatalogName=..\\system\\orvixmsg"));
  EXPECT_THAT(ini, HasSubstr("[Tobin section]"));

  // A second start reads it back without a complaint.
  Run("");
  EXPECT_EQ(fs::file_size(bin_ / "orvixerror.txt"), 0u);
  EXPECT_EQ(Slurp(bin_ / "orvix.ini"), ini);
}

TEST_F(StartupTest, MissingMessageTableIsFatal) {
  RunResult r = Run("");
  EXPECT_NE(r.status, 0);
  EXPECT_THAT(r.err,
              HasSubstr("Can't open Messages table '..\\system\\orvixmsg' ( "
                        "see orvix.ini ) ( H-12 ) "));
}

TEST_F(StartupTest, AnotherConfigurationFileByTheIWord) {
  RunResult r = Run("/Imine.ini");
  // The name is upper-cased with the word, and found without regard to case.
  EXPECT_TRUE(fs::exists(bin_ / "MINE.INI"));
  EXPECT_FALSE(fs::exists(bin_ / "orvix.ini"));
  EXPECT_NE(r.status, 0); // still no message table here
}

TEST_F(StartupTest, UnknownVerbLeavesTheTaskWindowUntilExit) {
  InstallMessages();
  // "/run" with more words is no verb: the menu stands, and with no one at
  // it the program ends as File Exit does.
  RunResult r = Run("/run x 1");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.err, Not(HasSubstr("not available")));
  // A sole word is upper-cased: "/backup" reaches the backup dialog, whose
  // OK finds no copy program in this installation.
  RunResult b = Run("/backup");
  EXPECT_THAT(b.err,
              HasSubstr("The copy program backup\\setup.exe is missing"));
}

} // namespace
