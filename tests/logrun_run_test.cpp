// The run of a log table on the small repertory: counters, the four
// reports, the own log, the range bound, the language swap and Cancel.
#include "listings/statistics.h"
#include "logrun/logrun.h"
#include "logrun_support.h"
#include "platform/process.h"
#include "platform/xvt_model.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "shell/app.h"
#include "shell/chooser.h"
#include "test_toolkit.h"

#include <fstream>

namespace {

class RunTest : public RepertoryTest {
protected:
  void SetUp() override {
    RepertoryTest::SetUp();
    StartToolkit();
    ASSERT_NO_FATAL_FAILURE(CatalogForRuns("Almanacum test"));
    RunOptions.SameLanguage = 1;
    RunOptions.BatchMode = 0;
    StrCopy(LogPath, "logs\\sample");
    // The own log holds an entry numbered 7 already.
    own_ = TblCreateRlog("logs\\SREP", 0, 1, 3);
    LogEntry *e = Entry(OpAddRemedy, {"0", "Mind", "Acon.", "Kent", "1"});
    e->number = 7;
    ASSERT_EQ(TblSaveRlog(own_, e, kSaveAdd), 0);
    DbCloseFile(own_);
    log_ = TblCreateRlog("logs\\sample", 0, 1, 3);
    ASSERT_NE(log_, 0);
  }
  void TearDown() override {
    if (log_ != 0)
      DbCloseFile(log_);
    StopToolkit();
    RepertoryTest::TearDown();
  }
  void Add(int number, int op, std::vector<std::string> fields,
           int32_t id = 0) {
    LogEntry *e = Entry(op, std::move(fields), id);
    e->number = number;
    ASSERT_EQ(TblSaveRlog(log_, e, kSaveAdd), 0);
  }
  void Run() {
    DbCloseFile(log_);
    log_ = 0;
    WorkRun(LogRunTable);
  }
  static int Blocks(const std::string &report, const std::string &first) {
    int n = 0;
    for (size_t at = 0; (at = report.find(first, at)) != std::string::npos;
         ++at)
      if (at == 0 || report[at - 1] == '\n')
        ++n;
    return n;
  }
  // The own log's entries as (number, symptomId, text).
  std::vector<std::tuple<int, int, std::string>> OwnLog() {
    std::vector<std::tuple<int, int, std::string>> list;
    TblHandle h = TblOpenRlog("logs\\SREP", 0, 1);
    static char buf[kLogTextSize];
    LogEntry e;
    LogClearEntry(&e, buf);
    for (int err = TblFindFullRlog(h, &e, 0, kFindFirst); err == 0;
         err = TblFindFullRlog(h, &e, 0, kFindNext))
      list.emplace_back(e.number, e.symptomId, e.text);
    DbCloseFile(h);
    return list;
  }
  TblHandle log_ = 0, own_ = 0;
};

std::string Join(std::vector<std::string> f) {
  std::string s;
  for (size_t i = 0; i < f.size(); ++i)
    s += (i ? std::string(1, kLogFieldSep) : "") + f[i];
  return s;
}

TEST_F(RunTest, OutcomesCountersReportsAndOwnLog) {
  Add(1, OpAddRemedy, {"0", "Head \x02 pain", "Sulph.", "Kent", "2"});
  Add(2, OpChangeDegree,
      {"1", "Psychisme \x02 peur", "Acon.", "Kent", "3", "4"});
  Add(3, OpAddRemedy, {"0", "Head \x02 pain", "Xanth.", "Kent", "2"});
  Add(4, OpAddRemedy, {"0", "Mind \x02 fear", "Acon.", "Kent", "3"});
  Add(5, OpAddLink, {"0", "Mind", "0", "0", "0", "1", "t", "f"});
  Add(6, OpDeleteSymptom, {"0", "Head"}); // a chapter: refused
  Add(7, OpDeleteRemedy, {"0", "", "Acon.", "Kent", "3"});
  Run();
  EXPECT_EQ(OpRead[kOpTotalRow], 7);
  EXPECT_EQ(OpDone[kOpTotalRow], 3) << "two applied, one failed deletion";
  EXPECT_EQ(OpDone[OpDeleteSymptom - 1], 1);
  EXPECT_EQ(OpErrors[kOpTotalRow], 2);
  EXPECT_EQ(OpErrors[OpAddLink - 1], 1);
  EXPECT_EQ(OpWarnings[kOpTotalRow], 1);
  EXPECT_EQ(OpWarnings[OpAddRemedy - 1], 1);
  // The entry with no path is read, and neither done nor refused.
  EXPECT_EQ(OpRead[OpDeleteRemedy - 1], 1);
  EXPECT_EQ(OpDone[OpDeleteRemedy - 1] + OpErrors[OpDeleteRemedy - 1] +
                OpWarnings[OpDeleteRemedy - 1],
            0);
  // The histogram holds the three codes that were tallied, not the
  // deletion's.
  int tallied = 0;
  for (const MessageTally &row : MessageCount)
    tallied += row.count;
  EXPECT_EQ(tallied, 3);

  std::string edit = Slurp("logs/sample.edt");
  EXPECT_EQ(Blocks(edit, "Operation done\n"), 2);
  std::string errors = Slurp("logs/sample.err");
  EXPECT_EQ(Blocks(errors, "Error: "), 3);
  EXPECT_EQ(Blocks(errors, "Warning: "), 1);
  std::string text = Slurp("logs/sample.txt");
  EXPECT_EQ(Blocks(text, std::string(105, '-')), 4)
      << "refused, failed and the failed deletion";
  EXPECT_THAT(Slurp("logs/sample.rpt"), HasSubstr("Total"));

  auto own = OwnLog();
  ASSERT_EQ(own.size(), 3u);
  EXPECT_EQ(std::get<0>(own[1]), 8) << "numbered on from the last";
  EXPECT_EQ(std::get<1>(own[1]), 201) << "the id the handler found";
  EXPECT_EQ(std::get<2>(own[1]),
            Join({"0", "Head \x02 pain", "Sulph.", "Kent", "2"}));
  EXPECT_EQ(std::get<0>(own[2]), 9);
  EXPECT_EQ(Remedies(5, 1).size(), 2u);
  ExpectConsistent();
}

TEST_F(RunTest, ToBoundsACountOfEntriesNotLogNumbers) {
  for (int n : {10, 20, 30, 40})
    Add(n, OpAddRemedy,
        {"0", "Head \x02 pain", n == 40 ? "Bell." : "Acon.", "Kent", "2"});
  RunOptions.From = 10;
  RunOptions.To = 11;
  Run();
  EXPECT_EQ(OpRead[kOpTotalRow], 2) << "entries 10 and 20";
  EXPECT_EQ(OpDone[kOpTotalRow], 1);
  EXPECT_EQ(OpWarnings[kOpTotalRow], 1) << "20 adds Acon. again";
  // From past every entry: the loop does not run.
  RunOptions.From = 41;
  RunOptions.To = kRunToLast;
  WorkRun(LogRunTable);
  EXPECT_EQ(OpRead[kOpTotalRow], 0);
  EXPECT_EQ(Slurp("logs/sample.edt"), "");
  ExpectConsistent();
}

TEST_F(RunTest, SwappedLanguageAppliesButTheOwnLogKeepsTheSource) {
  Add(1, OpAddRemedy, {"1", "Head \x02 pain", "Bell.", "Kent", "2"});
  Add(2, OpAddRemedy, {"0", "T\xeate \x02 douleur", "Acon.", "Kent", "2"});
  RunOptions.SameLanguage = 0;
  Run();
  EXPECT_EQ(OpDone[kOpTotalRow], 2);
  auto own = OwnLog();
  ASSERT_EQ(own.size(), 3u);
  EXPECT_EQ(std::get<2>(own[1])[0], '1');
  EXPECT_EQ(std::get<2>(own[2])[0], '0');
  // The reports show the entry in the repertory's languages, as a text run
  // (which never swaps) would take it again.
  EXPECT_THAT(Slurp("logs/sample.edt"),
              HasSubstr("Language: 0   Symptom: Head"));
  ExpectConsistent();
}

TEST_F(RunTest, CancelKeepsWhatWasAppliedAndClosesTheReports) {
  for (int n = 1; n <= 8; ++n)
    Add(n, OpAddRemedy,
        {"0", n % 2 ? "Head \x02 pain" : "Mind \x02 fear \x02 night",
         n <= 2   ? "Sulph."
         : n <= 4 ? "Bell."
         : n <= 6 ? "Acon."
                  : "Nux.a",
         "Kent", "1"});
  ScriptToolkit(root_ / "script.txt", "wait 3\nclick 4\n");
  Run();
  EXPECT_GT(OpRead[kOpTotalRow], 0);
  EXPECT_LT(OpRead[kOpTotalRow], 8);
  EXPECT_EQ(OpDone[kOpTotalRow], OpRead[kOpTotalRow]);
  EXPECT_EQ(LogRunEditLog, nullptr);
  EXPECT_EQ(Blocks(Slurp("logs/sample.edt"), "Operation done\n"),
            OpDone[kOpTotalRow]);
  EXPECT_THAT(Slurp("logs/sample.rpt"), HasSubstr("Total"));
  EXPECT_EQ(OwnLog().size(), 1u + OpDone[kOpTotalRow]);
  ExpectConsistent();
}

TEST_F(RunTest, BatchLogMovesToDone) {
  Add(1, OpAddRemedy, {"0", "Head \x02 pain", "Bell.", "Kent", "2"});
  DbCloseFile(log_);
  log_ = 0;
  ASSERT_EQ(LogMoveToDone("logs\\sample"), 0);
  EXPECT_TRUE(std::filesystem::exists("logs/done/sample.dat"));
  EXPECT_TRUE(std::filesystem::exists("logs/done/sample.idx"));
  EXPECT_FALSE(std::filesystem::exists("logs/sample.dat"));
}

} // namespace
