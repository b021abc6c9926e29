// Backup and restore on a fresh demonstration installation, with the
// program run as people and installers run it: /BACKUP with scripted
// answers, a restore from the menu, /RUN with its silent backup, and /RUN
// when the copy program is missing, dies or hangs.
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The dated folders under the installation's backup folder.
std::vector<fs::path> DatedFolders(const fs::path &demo) {
  std::vector<fs::path> out;
  std::error_code ec;
  for (const auto &e : fs::directory_iterator(demo / "backup", ec))
    if (e.is_directory() && isdigit(e.path().filename().string()[0]))
      out.push_back(e.path());
  std::sort(out.begin(), out.end());
  return out;
}

// Each test works on its own copy of the fresh installation.
class BackupScenarioTest : public FolderTest {
protected:
  BackupScenarioTest() : FolderTest("backup") {}
  void SetUp() override {
    ASSERT_FALSE(PristineDemo().empty()) << "mkdemo failed";
    fs::copy(PristineDemo(), demo_, fs::copy_options::recursive);
  }

  // Runs mantrel in bin with the words and the script; answers the
  // seconds it took. Its standard error is in err_.
  double Mantrel(const std::string &words, const std::string &script = "") {
    fs::path scriptFile = demo_ / "script.txt";
    std::ofstream(scriptFile) << script;
    fs::path errFile = demo_ / "stderr.txt";
    auto t0 = std::chrono::steady_clock::now();
    RunCommand(
        "cd \"" + (demo_ / "bin").string() +
        "\" && MANTREL_UI=scripted MANTREL_VIEWER=true MANTREL_SCRIPT=\"" +
        scriptFile.string() + "\" \"" + MANTREL_BIN_DIR + "/mantrel\" " +
        words + " >/dev/null 2>\"" + errFile.string() + "\" </dev/null");
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - t0)
            .count();
    err_ = SlurpFile(errFile);
    return seconds;
  }

  std::string CopyReport() {
    return SlurpFile(demo_ / "bin" / "backup" / "backup.rpt");
  }

  // Replaces the copy program by a shell script.
  void FakeCopyProgram(const std::string &body) {
    fs::path p = demo_ / "bin" / "backup" / "orvcopy";
    fs::remove(p);
    std::ofstream(p) << "#!/bin/sh\n" << body << "\n";
    fs::permissions(p, fs::perms::owner_all);
  }

  // The run changed nothing: tables as mkdemo built them, the log in its
  // place, no reports.
  void ExpectUntouched() {
    for (const char *f : {"symptom.dat", "extract.dat", "word1.dat"})
      EXPECT_EQ(SlurpFile(demo_ / "data" / "salm2009" / f),
                SlurpFile(PristineDemo() / "data" / "salm2009" / f))
          << f;
    EXPECT_EQ(SlurpFile(demo_ / "log" / "SALM2009.dat"),
              SlurpFile(PristineDemo() / "log" / "SALM2009.dat"));
    EXPECT_TRUE(fs::exists(demo_ / "log" / "sample.dat"));
    EXPECT_FALSE(fs::exists(demo_ / "log" / "done" / "sample.dat"));
    EXPECT_FALSE(fs::exists(demo_ / "log" / "sample.edt"));
  }

  const fs::path demo_ = root_ / "demo";
  std::string err_;
};

TEST_F(BackupScenarioTest, BackupVerbCopiesWhatTheDialogChose) {
  // The chooser, then dialog 112 with every item ticked: keynotes and the
  // program folder are unticked, OK, the closing box, and the menu's Exit.
  Mantrel("/backup", "enter\nclick 7\nclick 15\nenter\nanswer ok\nexit\n");
  std::vector<fs::path> dated = DatedFolders(demo_);
  ASSERT_EQ(dated.size(), 1u) << err_;
  fs::path to = dated[0];
  // The folder's name is the date and the time only.
  std::string name = to.filename().string();
  ASSERT_EQ(name.size(), 15u) << name;
  EXPECT_EQ(name[8], '_');

  EXPECT_EQ(SlurpFile(to / "salm2009" / "symptom.dat"),
            SlurpFile(demo_ / "data" / "salm2009" / "symptom.dat"));
  EXPECT_EQ(SlurpFile(to / "Log" / "SALM2009.dat"),
            SlurpFile(demo_ / "log" / "SALM2009.dat"));
  EXPECT_TRUE(fs::exists(to / "Cases" / "repert.da1"));
  EXPECT_TRUE(fs::exists(to / "Cases" / "colleague.da1"));
  EXPECT_TRUE(fs::exists(to / "Patient"));
  EXPECT_TRUE(fs::exists(to / "System" / "remed.dat"));
  EXPECT_EQ(SlurpFile(to / "backup.txt"), "Orvix backup...");
  // Unticked items stay out, and so does what the list never named.
  EXPECT_FALSE(fs::exists(to / "Keynotes"));
  EXPECT_FALSE(fs::exists(to / "Bin"));

  // The copy program worked from the list the dialog made: one line for
  // each ticked item, the missing ones (Zentrix on drive C:, Freenotes)
  // told and passed over.
  std::string report = CopyReport();
  for (const char *item : {"\\salm2009\\*.*", "\\Log\\*.*", "\\Cases\\*.*",
                           "\\Patient\\*.*", "\\System\\*.*"})
    EXPECT_THAT(report, HasSubstr(item)) << item << "\n" << report;
  EXPECT_THAT(report, HasSubstr("missing: C:\\orvix\\zentrix\\FilePati\\*.*"));
  EXPECT_THAT(report, HasSubstr("Freenotes\\*.*"));
  EXPECT_THAT(report, Not(HasSubstr("Keynotes")));
  EXPECT_THAT(report, Not(HasSubstr("\\Bin\\")));
  EXPECT_FALSE(fs::exists(demo_ / "bin" / "backup" / "backup.txt"));

  // The date of the backup is kept in the configuration.
  std::string ini = SlurpFile(demo_ / "bin" / "orvix.ini");
  EXPECT_THAT(ini, HasSubstr("BackupDate="));
  EXPECT_THAT(err_, Not(HasSubstr("error:")));
}

TEST_F(BackupScenarioTest, RestoreBringsBackOnlyWhatWasPicked) {
  Mantrel("/backup", "enter\nenter\nanswer ok\nexit\n");
  std::vector<fs::path> dated = DatedFolders(demo_);
  ASSERT_EQ(dated.size(), 1u) << err_;
  std::string ini = SlurpFile(demo_ / "bin" / "orvix.ini");

  // Since then: the cases file and a colleague's file are lost, the log
  // has changed.
  std::string cases = SlurpFile(demo_ / "cases" / "repert.da1");
  fs::remove(demo_ / "cases" / "repert.da1");
  fs::remove(demo_ / "cases" / "colleague.da1");
  std::ofstream(demo_ / "log" / "SALM2009.dat", std::ios::app) << "changed";
  std::string changedLog = SlurpFile(demo_ / "log" / "SALM2009.dat");

  // Restore, cases only, from the folder of that backup.
  std::string folder = dated[0].string();
  for (char &c : folder)
    if (c == '/')
      c = '\\';
  Mantrel("", "enter\nmenu 1043\nclick 8\nclick 4\nfolder " + folder +
                  "\nenter\nexit\n");
  EXPECT_EQ(SlurpFile(demo_ / "cases" / "repert.da1"), cases) << err_;
  // Only the configured cases file comes back, and nothing else moves.
  EXPECT_FALSE(fs::exists(demo_ / "cases" / "colleague.da1"));
  EXPECT_EQ(SlurpFile(demo_ / "log" / "SALM2009.dat"), changedLog);
  // A restore writes no date.
  EXPECT_EQ(SlurpFile(demo_ / "bin" / "orvix.ini"), ini);
  EXPECT_EQ(DatedFolders(demo_).size(), 1u);
}

TEST_F(BackupScenarioTest, RunMakesItsSilentBackupFirst) {
  std::string symptom = SlurpFile(demo_ / "data" / "salm2009" / "symptom.dat");
  std::string sample = SlurpFile(demo_ / "log" / "sample.dat");
  std::string ini = SlurpFile(demo_ / "bin" / "orvix.ini");
  Mantrel("/RUN '..\\log\\sample' 1");
  std::vector<fs::path> dated = DatedFolders(demo_);
  ASSERT_EQ(dated.size(), 1u) << err_;
  // The copies are of the tables before the run changed them.
  EXPECT_EQ(SlurpFile(dated[0] / "salm2009" / "symptom.dat"), symptom);
  // (The run rebuilt the log's index first, which stamps its header.)
  std::string saved = SlurpFile(dated[0] / "Log" / "sample.dat");
  ASSERT_THAT(saved, HasSubstr("FRM1"));
  EXPECT_EQ(saved.substr(saved.find("FRM1")),
            sample.substr(sample.find("FRM1")));
  EXPECT_TRUE(fs::exists(dated[0] / "Log" / "SALM2009.dat"));
  EXPECT_NE(SlurpFile(demo_ / "data" / "salm2009" / "symptom.dat"), symptom)
      << "the run went on after the backup";
  EXPECT_TRUE(fs::exists(demo_ / "log" / "done" / "sample.dat"));
  EXPECT_EQ(SlurpFile(demo_ / "bin" / "orvix.ini"), ini)
      << "a silent backup writes no BackupDate";
}

TEST_F(BackupScenarioTest, RunWithoutTheCopyProgramStopsAtOnce) {
  fs::remove(demo_ / "bin" / "backup" / "orvcopy");
  double seconds = Mantrel("/RUN '..\\log\\sample' 1");
  EXPECT_THAT(
      err_, HasSubstr("error: The copy program backup\\orvcopy is missing: no "
                      "backup was made. The run has not been started; nothing "
                      "has been changed."));
  ExpectUntouched();
  EXPECT_FALSE(fs::exists(demo_ / "bin" / "backup" / "backup.txt"));
  // Not a measure of speed: a run that waited for a copy that can never
  // come would hang here until the test's own limit.
  EXPECT_LT(seconds, 30.0);

  // A copy program that is there but may not be run.
  FakeCopyProgram("exit 0");
  fs::permissions(demo_ / "bin" / "backup" / "orvcopy",
                  fs::perms::owner_read | fs::perms::owner_write);
  Mantrel("/RUN '..\\log\\sample' 1");
  EXPECT_THAT(err_,
              HasSubstr("error: The copy program backup\\orvcopy cannot be "
                        "started: no backup was made."));
  ExpectUntouched();
}

TEST_F(BackupScenarioTest, RunStopsWhenTheCopyProgramDiesOrHangs) {
  FakeCopyProgram("exit 3");
  Mantrel("/RUN '..\\log\\sample' 1");
  EXPECT_THAT(err_,
              HasSubstr("The copy program backup\\orvcopy stopped (status 3) "
                        "before it had copied everything."));
  ExpectUntouched();

  // One that never ends is stopped at the configured limit.
  FakeCopyProgram("exec sleep 120");
  std::string ini = SlurpFile(demo_ / "bin" / "orvix.ini");
  ini.replace(ini.find("[System section]\n"), 17,
              "[System section]\nBackupWaitLimit=1\n");
  std::ofstream(demo_ / "bin" / "orvix.ini", std::ios::binary) << ini;
  double seconds = Mantrel("/RUN '..\\log\\sample' 1");
  EXPECT_THAT(err_,
              HasSubstr("did not finish within 1 seconds and was stopped"));
  EXPECT_LT(seconds, 30.0);
  ExpectUntouched();
  EXPECT_FALSE(fs::exists(demo_ / "bin" / "backup" / "backup.txt"));
}

TEST_F(BackupScenarioTest, APersonMayGoOnWithoutABackup) {
  fs::remove(demo_ / "bin" / "backup" / "orvcopy");
  // The run on the repertory's own log from the Update menu: the chooser,
  // menu 1031, the preferences' OK, then the question.
  Mantrel("", "enter\nmenu 1031\nenter\nanswer 1\nexit\n");
  EXPECT_THAT(err_,
              HasSubstr("ask: The copy program backup\\orvcopy is missing"));
  EXPECT_FALSE(fs::exists(demo_ / "log" / "SALM2009.edt"))
      << "Stop leaves the run unstarted";

  Mantrel("", "enter\nmenu 1031\nenter\nanswer 2\nexit\n");
  EXPECT_TRUE(fs::exists(demo_ / "log" / "SALM2009.edt"))
      << "going on without a backup runs the log\n"
      << err_;
  EXPECT_TRUE(DatedFolders(demo_).empty());
}

} // namespace
