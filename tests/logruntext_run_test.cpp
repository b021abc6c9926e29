// The run of a text file on the small repertory: the range of log numbers,
// what is counted where, the rejects and the accepted entries, the own
// log, and an empty file that the person does not want to run.
#include "listings/statistics.h"
#include "logentry/logread.h"
#include "logrun/logrun.h"
#include "logrun/logruntext.h"
#include "logrun_support.h"
#include "platform/process.h"
#include "platform/xvt_model.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "test_toolkit.h"

#include <fstream>

namespace {

class TextRunTest : public RepertoryTest {
protected:
  void SetUp() override {
    RepertoryTest::SetUp();
    StartToolkit();
    StrCopy(LogFileDir, "logs");
    ASSERT_NO_FATAL_FAILURE(CatalogForRuns());
    RunOptions.SameLanguage = 0; // the text run takes each entry's own
    StrCopy(RunOptions.TextLogFile, "logs\\x.edt");
    StrCopy(RunOptions.ErrorsFile, "logs\\x.err");
    StrCopy(RunOptions.StatisticsFile, "logs\\x.rpt");
    StrCopy(LogPath, "logs\\x.txt");
  }
  void TearDown() override {
    StopToolkit();
    RepertoryTest::TearDown();
  }
  // The text form of entries as a listing writes them.
  std::string Text(const std::vector<LogEntry *> &entries) {
    FILE *f = fopen("listing.txt", "wb");
    for (LogEntry *e : entries)
      LogWriteEntry(f, nullptr, e, nullptr);
    fclose(f);
    return Slurp("listing.txt");
  }
  void Source(const std::string &text) {
    std::ofstream("logs/x.txt", std::ios::binary) << text;
  }
  void Run() { WorkRun(LogRunText); }
  // The own log's entries as (number, unique id, text).
  std::vector<std::tuple<int, int, std::string>> OwnLog() {
    std::vector<std::tuple<int, int, std::string>> list;
    TblHandle h = TblOpenRlog("logs\\SREP", 0, 1);
    if (h == 0)
      return list;
    static char buf[kLogTextSize];
    LogEntry e;
    LogClearEntry(&e, buf);
    for (int err = TblFindFullRlog(h, &e, 0, kFindFirst); err == 0;
         err = TblFindFullRlog(h, &e, 0, kFindNext))
      list.emplace_back(e.number, e.symptomId, e.text);
    DbCloseFile(h);
    return list;
  }
};

TEST_F(TextRunTest, RangeCountsRejectsAndOwnLog) {
  LogEntry *add =
      Entry(OpAddRemedy, {"0", "Head \x02 pain", "Sulph.", "Kent", "2"});
  LogEntry *unknown =
      Entry(OpAddRemedy, {"0", "Head \x02 pain", "Xanth.", "Kent", "2"});
  LogEntry *french =
      Entry(OpAddRemedy, {"1", "Psychisme \x02 peur", "Nux-v.", "Kent", "1"});
  LogEntry *link =
      Entry(OpAddLink, {"0", "Mind", "0", "0", "0", "1", "t", "f"});
  LogEntry *late = Entry(OpAddRemedy, {"0", "Mind", "Acon.", "Kent", "1"});
  std::string before = Text({add});
  std::string failing = Text({unknown});
  std::string linkText = Text({link}); // the writer leaves texts split
  std::string middle = Text({french}) + linkText;
  std::string after = Text({late});
  std::string garbage = "Frobnicate\n\nMind\n\nLog entry number: 9   Date: "
                        "01.01.2020   Time: 10:00:00   User: 0   Id: 0\n" +
                        std::string(105, '-') + "\n";
  // Numbers 1 to 5 in the file; the run takes 2 to 4.
  Source(before + failing + garbage + middle + after);
  RunOptions.From = 2;
  RunOptions.To = 4;
  Run();
  EXPECT_EQ(OpRead[kOpTotalRow], 3);
  EXPECT_EQ(OpDone[kOpTotalRow], 1);
  // The unknown remedy, the link without a handler, and the unknown
  // heading, which counts for the run only.
  EXPECT_EQ(OpErrors[kOpTotalRow], 2);
  EXPECT_EQ(LogRunErrorCount, 3);
  EXPECT_EQ(Slurp("logs/x.edt"), failing + garbage + linkText);
  std::string ok = Slurp("logs/logtext.ok");
  EXPECT_EQ(ok.find("Operation done\n"), 0u);
  EXPECT_THAT(ok, HasSubstr("Remedy: Nux-v."));
  EXPECT_EQ(Remedies(1, 1).size(), 4u); // Nux-v. added to fear
  // The own log: the entry under its next number, the id that the
  // handler found (101, fear) kept, the text as read.
  auto own = OwnLog();
  ASSERT_EQ(own.size(), 1u);
  EXPECT_EQ(std::get<1>(own[0]), 101);
  EXPECT_EQ(std::get<2>(own[0]),
            std::string("1\x01Psychisme \x02 peur\x01Nux-v.\x01Kent\x01"
                        "1"));
  // The statistics of the run are written when the reports are asked for.
  EXPECT_THAT(Slurp("logs/x.rpt"), HasSubstr("Add remedy"));
}

TEST_F(TextRunTest, ANoteAppendedTwiceHoldsItsTextOnceWhenTheRunAsks) {
  // The same note appended twice to fear, as a log replayed twice does.
  LogEntry *first = Entry(OpChangeNote, {"0", "Mind \x02 fear", "1", "0", "0",
                                         "0", "0", "", "Worse at night."});
  LogEntry *again = Entry(OpChangeNote, {"0", "Mind \x02 fear", "1", "0", "0",
                                         "0", "0", "", "Worse at night."});
  std::string twice = Text({first}) + Text({again});
  auto noteOfFear = [&] {
    TblHandle h = TblOpenNote("rep\\Note", 0, 1);
    Note n = NoteKey();
    std::string text = "-";
    if (h != 0 && TblFindFullNote(h, &n, 0, kFindFirst) == 0)
      text = note1_;
    if (h != 0)
      DbCloseFile(h);
    return text;
  };
  Source(twice);
  RunOptions.CheckDoubleNotes = 0;
  Run();
  ASSERT_EQ(OpDone[kOpTotalRow], 2);
  EXPECT_EQ(noteOfFear(),
            "Worse at night.\n-----------------\nWorse at night.");

  // Twice more with the clean-up asked for: one paragraph stays.
  Source(twice);
  RunOptions.CheckDoubleNotes = 1;
  Run();
  ASSERT_EQ(OpDone[kOpTotalRow], 2);
  EXPECT_EQ(noteOfFear(), "Worse at night.");
}

TEST_F(TextRunTest, AnEmptyFileRunsOnlyWhenThePersonWantsTo) {
  Source("nothing here\n");
  std::ofstream("script.txt") << "answer 1\nanswer 2\n";
  setenv("MANTREL_SCRIPT", "script.txt", 1);
  XvtReset();
  Run();
  EXPECT_FALSE(std::filesystem::exists("logs/x.edt"));
  EXPECT_TRUE(OwnLog().empty());
  // Yes: the one entry is refused and the rejects hold it.
  std::ofstream("script.txt") << "answer 1\nanswer 1\nanswer 2\n";
  XvtReset();
  Run();
  EXPECT_EQ(Slurp("logs/x.edt"), "nothing here\n");
  EXPECT_EQ(LogRunErrorCount, 1);
}

TEST_F(TextRunTest, ReportsThatWouldOverwriteAreRefusedBeforeAnythingOpens) {
  Source(Text(
      {Entry(OpAddRemedy, {"0", "Head \x02 pain", "Sulph.", "Kent", "2"})}));
  StrCopy(RunOptions.ErrorsFile, "LOGS\\X.EDT"); // the rejects, other case
  Run();
  EXPECT_FALSE(std::filesystem::exists("logs/x.err"));
  EXPECT_FALSE(std::filesystem::exists("logs/logtext.ok"));
  EXPECT_EQ(Remedies(5, 1).size(), 1u);
  StrCopy(RunOptions.ErrorsFile, "logs\\x.err");
  StrCopy(RunOptions.TextLogFile, "logs/../logs\\x.txt"); // the source
  Run();
  EXPECT_EQ(Remedies(5, 1).size(), 1u);
  EXPECT_TRUE(LogSameFile("logs\\x.txt", "LOGS\\X.TXT"));
  EXPECT_FALSE(LogSameFile("logs\\x.txt", "logs\\x.edt"));
}

} // namespace
