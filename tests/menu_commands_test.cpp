// Run defaults for each kind of run, the dispatch of the menu table, and
// help from the program's own manual.
#include "chooser_support.h"

#include "platform/process.h"
#include "services/help.h"
#include "session/runoptions.h"

#include <algorithm>
#include <chrono>
#include <sys/stat.h>
#include <thread>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class DefaultsTest : public InstallTest {
protected:
  void SetUp() override {
    InstallTest::SetUp();
    memset(&RunOptions, 0x5A, sizeof RunOptions); // nothing left by chance
    RunOptions.BackupBase[kRunPathSize - 1] = '\0';
    RunOptions.BackupDirectory[kRunPathSize - 1] = '\0';
    StrCopy(CurrentCatalog.Abbrev, "SALM");
  }
  // What every kind sets the same way.
  void ExpectCommon() {
    std::string backup = TextForm(root_) + "\\BACKUP";
    EXPECT_EQ(std::string(RunOptions.BackupBase), backup);
    EXPECT_EQ(std::string(RunOptions.BackupDirectory), backup);
    EXPECT_EQ(RunOptions.BackupRepertory, 1);
    EXPECT_EQ(RunOptions.BackupLog, 1);
    EXPECT_EQ(RunOptions.SameLanguage, 1);
    EXPECT_EQ(RunOptions.AddMissing, 0);
    EXPECT_EQ(RunOptions.From, 0);
    EXPECT_EQ(RunOptions.To, 99999999);
  }
  void ExpectReports(const std::string &base, const char *textLog = ".txt") {
    EXPECT_EQ(std::string(RunOptions.StatisticsFile), base + ".rpt");
    EXPECT_EQ(std::string(RunOptions.ErrorsFile), base + ".err");
    EXPECT_EQ(std::string(RunOptions.TextLogFile), base + textLog);
  }
  void ExpectFlags(int checkDouble, int replace, int keep) {
    EXPECT_EQ(RunOptions.CheckDoubleNotes, checkDouble);
    EXPECT_EQ(RunOptions.ReplaceNotes, replace);
    EXPECT_EQ(RunOptions.KeepInOwnLog, keep);
  }
};

TEST_F(DefaultsTest, VerbAndUpgradeKeepTheLogAsItStands) {
  StrCopy(LogPath, "..\\log\\run1");
  EXPECT_EQ(AppLogDefaults(kRunVerb), 0);
  ExpectCommon();
  EXPECT_STREQ(LogPath, "..\\log\\run1");
  ExpectReports("..\\log\\run1");
  ExpectFlags(1, 0, 1);

  EXPECT_EQ(AppLogDefaults(kRunUpgrade), 0);
  EXPECT_STREQ(LogPath, "..\\log\\run1");
  ExpectReports("..\\log\\run1");
  ExpectFlags(0, 1, 1);
}

TEST_F(DefaultsTest, OwnLogAndAssociationRunOnTheRepertorysLog) {
  EXPECT_EQ(AppLogDefaults(kRunOwnLog), 0);
  ExpectCommon();
  EXPECT_STREQ(LogPath, "..\\log\\SALM");
  ExpectReports("..\\log\\SALM");
  ExpectFlags(0, 1, 0); // the own log is not written into itself

  StrCopy(LogFileDir, "..\\logs");
  EXPECT_EQ(AppLogDefaults(kRunAssociation), 0);
  EXPECT_STREQ(LogPath, "..\\logs\\SALM");
  ExpectFlags(0, 1, 1);
}

TEST_F(DefaultsTest, AnotherLogIsChosenAndLosesItsExtension) {
  std::ofstream(root_ / "log" / "other.dat") << "x";
  Script("file OTHER.DAT\n");
  EXPECT_EQ(AppLogDefaults(kRunOtherLog), 0);
  ExpectCommon();
  std::string log = TextForm(root_ / "log") + "\\other";
  EXPECT_EQ(std::string(LogPath), log);
  ExpectReports(log);
  ExpectFlags(0, 1, 1);
}

TEST_F(DefaultsTest, CancelledChooserLeavesWhatTheFileSpecHeld) {
  Script("cancel\n");
  EXPECT_EQ(AppLogDefaults(kRunOtherLog), 0);
  // The folder the chooser started in, its backslash and four characters
  // less: the answer is not looked at.
  std::string folder = TextForm(root_ / "log") + "\\";
  EXPECT_EQ(std::string(LogPath), folder.substr(0, folder.size() - 4));
}

TEST_F(DefaultsTest, TextFileReportsDropTheExtension) {
  std::ofstream(root_ / "log" / "x.txt") << "x";
  std::ofstream(root_ / "log" / "plain") << "x";
  Script("file x.txt\n");
  EXPECT_EQ(AppLogDefaults(kRunTextFile), 0);
  std::string folder = TextForm(root_ / "log") + "\\";
  EXPECT_EQ(std::string(LogPath), folder + "x.txt"); // the file itself
  // The rejects take ".edt": a text run writes no edit log, and ".txt"
  // would name the file itself.
  ExpectReports(folder + "x", ".edt");
  ExpectFlags(0, 1, 1);

  Script("file plain\n");
  AppLogDefaults(kRunTextFile);
  ExpectReports(folder + "plain", ".edt");
}

TEST_F(DefaultsTest, UnknownKindsChangeNothing) {
  RunOptionSet before = RunOptions;
  StrCopy(LogPath, "keep");
  for (int kind : {0, 7, -1}) {
    EXPECT_EQ(AppLogDefaults(kind), 1) << kind;
    EXPECT_EQ(memcmp(&before, &RunOptions, sizeof before), 0) << kind;
    EXPECT_STREQ(LogPath, "keep");
  }
}

using MenuTest = DefaultsTest;

TEST_F(MenuTest, UpdateRowsSetTheirDefaultsThenOpenThePreferences) {
  // 1031: the own log's defaults stand in the dialog; a click on "keep in
  // own log" and OK store it and start the run, which finds no log.
  Script("click 12\nclick 1\nanswer 2\n"); // on without the backup
  std::string err = StderrOf([&] { MenuCommand(1031); });
  EXPECT_STREQ(LogPath, "..\\log\\SALM");
  EXPECT_EQ(RunOptions.KeepInOwnLog, 1); // 0 by default, ticked
  EXPECT_THAT(err, HasSubstr("cannot be opened"));
  EXPECT_THAT(err, Not(HasSubstr("Enter the comment")));

  // 1033: chooser, dialog, comment and range prompts; the range cancelled.
  Script("cancel\nclick 1\ntext c\ncancel\n");
  err = StderrOf([&] { MenuCommand(1033); });
  EXPECT_STREQ(RunOptions.Comment, "c");
  EXPECT_THAT(err, HasSubstr(MsgText(5326)));
  EXPECT_THAT(err, Not(HasSubstr("cannot be opened")));

  // 1037: chooser, dialog, comment, and the text-file run starts (the
  // chooser was cancelled: there is no file to read); Cancel in the dialog
  // says nothing.
  Script("cancel\nclick 1\ntext\nanswer 2\n"); // on without the backup
  err = StderrOf([&] { MenuCommand(1037); });
  EXPECT_THAT(err, HasSubstr("Enter the comment"));
  EXPECT_THAT(err, HasSubstr("cannot be opened"));
  Script("cancel\nclick 2\n");
  err = StderrOf([&] { MenuCommand(1037); });
  EXPECT_THAT(err, Not(HasSubstr("not available")));
}

TEST_F(MenuTest, UserDefinedRowsTellAMissingTableAndOtherCommandsDoNothing) {
  // Without the tables there is nothing to write the list from.
  for (int tag : {1030, 1032}) {
    std::string err = StderrOf([&] { MenuCommand(tag); });
    EXPECT_THAT(err, HasSubstr("cannot be opened (H-12)"))
        << tag << ": " << err;
    EXPECT_THAT(err, HasSubstr("cannot be opened or created"))
        << tag << ": " << err;
  }
  RunOptionSet before = RunOptions;
  testing::internal::CaptureStderr();
  MenuCommand(1099);
  MenuCommand(0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(memcmp(&before, &RunOptions, sizeof before), 0);
}

TEST_F(MenuTest, ListRowsAskForTheLogFirst) {
  for (int tag : {1017, 1025, 1018, 1023}) {
    Script("cancel\n");
    StrCopy(LogPath, "unchanged");
    std::string err = StderrOf([&] { MenuCommand(tag); });
    EXPECT_EQ(err.rfind("open: ", 0), 0u) << tag << ": " << err;
    EXPECT_THAT(err, Not(HasSubstr("not available")));
    EXPECT_STREQ(LogPath, "unchanged"); // a cancelled chooser runs nothing
  }
}

TEST(HelpManual, SectionRunsToTheNextHeadingOfItsLevel) {
  const std::string manual = "# Manual\n"
                             "intro\n"
                             "## Choosing <!-- topic 49 1009 -->\n"
                             "pick one\n"
                             "### Details\n"
                             "more\n"
                             "## Exit <!-- topic 1012 -->\n"
                             "bye\n";
  std::string section;
  EXPECT_EQ(HelpSectionOf(manual, 49, section), 0);
  EXPECT_EQ(section, "## Choosing <!-- topic 49 1009 -->\npick one\n"
                     "### Details\nmore\n");
  EXPECT_EQ(HelpSectionOf(manual, 1009, section), 0);
  EXPECT_EQ(section.rfind("## Choosing", 0), 0u);
  EXPECT_EQ(HelpSectionOf(manual, 1012, section), 0);
  EXPECT_EQ(section, "## Exit <!-- topic 1012 -->\nbye\n");
  EXPECT_EQ(HelpSectionOf(manual, 4, section), 1);
  EXPECT_EQ(section, "");
  EXPECT_EQ(HelpSectionOf("no headings\n#not one\n", 49, section), 1);
}

TEST(HelpManual, ShippedManualHasASectionForEveryCommandAndTheChooser) {
  std::string manual =
      SlurpFile(fs::path(MANTREL_SOURCE_DIR) / "docs" / "manual.md");
  ASSERT_FALSE(manual.empty());
  std::string section;
  for (int topic :
       {kHelpChooser, 1009, 1038, 1024, 1012, 1031, 1033, 1037, 1040,
        1030,         1032, 1045, 1046, 1006, 1005, 1007, 1008, 1010,
        1013,         1014, 1027, 1028, 1019, 1021, 1034, 1035, 1016,
        1017,         1025, 1018, 1023, 1042, 1043})
    EXPECT_EQ(HelpSectionOf(manual, topic, section), 0) << topic;
}

class HelpTest : public InstallTest {
protected:
  void SetUp() override {
    InstallTest::SetUp();
    record_ = root_ / "viewed.txt";
    fs::path viewer = root_ / "viewer.sh";
    std::ofstream(viewer) << "#!/bin/sh\ncat \"$1\" > '" << record_.string()
                          << ".part' && mv '" << record_.string() << ".part' '"
                          << record_.string() << "'\n";
    chmod(viewer.c_str(), 0755);
    StrCopy(PlatViewerProgram, viewer.c_str());
    std::ofstream(root_ / "manual.md")
        << "# Manual\n## Chooser <!-- topic 49 -->\nChoose.\n## Other\nNo.\n";
    StrCopy(HelpManualPath, "..\\manual.md");
  }
  void TearDown() override {
    PlatViewerProgram[0] = '\0';
    HelpManualPath[0] = '\0';
    InstallTest::TearDown();
  }
  std::string Viewed() {
    for (int i = 0; i < 250 && !fs::exists(record_); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::string text = SlurpFile(record_);
    fs::remove(record_);
    return text;
  }
  fs::path record_;
};

TEST_F(HelpTest, HelpButtonShowsItsSectionAndTheHelpCommandTheManual) {
  EXPECT_EQ(HelpTopic(kHelpChooser), 0);
  EXPECT_EQ(Viewed(), "## Chooser <!-- topic 49 -->\nChoose.\n");
  MenuCommand(kHelpCommandFirst);
  EXPECT_EQ(Viewed().rfind("# Manual\n", 0), 0u);
  // A topic without a section still helps: the whole manual.
  EXPECT_EQ(HelpTopic(777), 0);
  EXPECT_EQ(Viewed().rfind("# Manual\n", 0), 0u);
}

TEST_F(HelpTest, MissingManualIsTold) {
  StrCopy(HelpManualPath, "..\\nothing.md");
  std::string err = StderrOf([&] { EXPECT_EQ(HelpTopic(kHelpChooser), 1); });
  EXPECT_THAT(err, HasSubstr("The user manual (manual.md) cannot be found"));
}

} // namespace
