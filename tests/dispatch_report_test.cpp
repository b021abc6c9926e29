// The report blocks, the histogram of report codes, the counter of
// additions and the dispatch of operations without a handler.
#include "listings/statistics.h"
#include "logentry/report.h"
#include "logentry/tally.h"
#include "logrun_support.h"
#include "ops/dispatch.h"

namespace {

class ReportTest : public RepertoryTest {
protected:
  std::string Report(LogEntry *e, int message, int severity) {
    FILE *f = fopen("block.txt", "wb");
    EXPECT_NE(f, nullptr);
    LogReportEntry(f, message, e, nullptr, severity);
    fclose(f);
    return Slurp("block.txt");
  }
};

const std::string kDashes(76, '-');

TEST_F(ReportTest, SuccessAndErrorBlocksHaveTheirLinesInOrder) {
  LogEntry *e =
      Entry(OpAddRemedy, {"0", "Mind \x02 fear", "Acon.", "Kent", "3"}, 101, 7);
  e->number = 42;
  std::string ok = Report(e, kMsgOperationDone, 0);
  EXPECT_EQ(ok, "Operation done\n"
                "Log entry number: 42   Date: 15.03.2024   Time: 14:05:09   "
                "User: 7\n"
                "Language: 0   Symptom: Mind \x02 fear\n"
                "Operation: Add remedy\n"
                "Remedy: Acon.   Author: Kent   Degree: 3\n" +
                    kDashes + "\n");

  OrvixError = 12;
  std::string err = Report(e, 2736, 1);
  EXPECT_EQ(OrvixError, 12) << "the report leaves the store's error alone";
  EXPECT_EQ(err.substr(0, err.find('\n')),
            "Error: Remedy not found in the remedy table (H-12)");
  OrvixError = 0;
  std::string warn = Report(e, 2745, 2);
  EXPECT_EQ(warn.rfind("Warning: ", 0), 0u) << warn;
  EXPECT_EQ(LogLastMessage, 2745);
  EXPECT_EQ(LogLastSeverity, 2);
}

TEST_F(ReportTest, LinesByOperation) {
  LogEntry *degree = Entry(
      OpChangeDegree, {"1", "Psychisme \x02 peur", "Acon.", "Kent", "2", "4"});
  EXPECT_THAT(Report(degree, kMsgOperationDone, 0),
              HasSubstr("Remedy: Acon.   Author: Kent   Old degree: 2   New "
                        "degree: 4\n"));
  // The concept operations name the partner's symptom first and have no
  // line of their own path.
  LogEntry *conceptEntry =
      Entry(OpAddConcept, {"0", "Sensations \x02 Burning", "Mind \x02 fear"});
  std::string c = Report(conceptEntry, kMsgOperationDone, 0);
  EXPECT_THAT(c, Not(HasSubstr("Language: 0   Symptom: Sensations")));
  EXPECT_THAT(c, HasSubstr("Language: 0   Symptom: Mind \x02 fear\n"));
  EXPECT_THAT(
      c, HasSubstr("Language: 0   Concept symptom: Sensations \x02 Burning\n"));
  LogEntry *kind = Entry(OpChangeSymptomKind, {"0", "Mind", "00", "20"});
  EXPECT_THAT(Report(kind, 2628, 1),
              HasSubstr("Old symptom type: 00   New symptom type: 20\n"));
  // An empty path still makes a whole block.
  LogEntry *empty = Entry(OpDeleteSymptom, {"0", ""});
  std::string d = Report(empty, 2628, 1);
  EXPECT_EQ(std::count(d.begin(), d.end(), '\n'), 5);
}

TEST_F(ReportTest, NoFileWritesNothingAndKeepsTheLastSeverity) {
  LogEntry *e = Entry(OpAddRemedy, {"0", "Mind", "Acon.", "Kent", "3"});
  Report(e, 2736, 1);
  LogReportEntry(nullptr, 5402, e, nullptr, 2);
  EXPECT_EQ(LogLastMessage, 2736);
  EXPECT_EQ(LogLastSeverity, 1);
  StatisticsClear();
  LogTallyReport();
  EXPECT_EQ(MessageCount[0].message, 2736);
  EXPECT_EQ(MessageCount[0].severity, 1);
}

TEST_F(ReportTest, TallyCountsPairsAndDropsTheTwentySixthCode) {
  StatisticsClear();
  LogEntry *e = Entry(OpAddRemedy, {"0", "Mind", "Acon.", "Kent", "3"});
  LogReportEntry(nullptr, 0, e, nullptr, 0);
  for (int i = 0; i < 26; ++i) {
    LogLastMessage = 3000 + i;
    LogLastSeverity = 1;
    LogTallyReport();
  }
  LogLastMessage = 3000;
  LogLastSeverity = 1;
  LogTallyReport();
  LogLastSeverity = 2; // the same code as a warning has a row of its own
  LogTallyReport();
  EXPECT_EQ(MessageCount[0].count, 2);
  for (int i = 1; i < kMessageCountRows; ++i) {
    EXPECT_EQ(MessageCount[i].count, 1) << i;
    EXPECT_EQ(MessageCount[i].message, 3000 + i);
  }
  for (const MessageTally &row : MessageCount)
    EXPECT_FALSE(row.message == 3025 || row.severity == 2);
}

TEST_F(ReportTest, CounterOfAdditionsStartsAtOneAndSurvives) {
  TblHandle s = TblOpenSymptom("rep\\symptom", 0, 1);
  ASSERT_EQ(LogCountAddition(s), 0);
  ASSERT_EQ(LogCountAddition(s), 0);
  DbCloseFile(s);
  s = TblOpenSymptom("rep\\symptom", 0, 1);
  ASSERT_EQ(LogCountAddition(s), 0);
  Resource r;
  memset(&r, 0, sizeof r);
  r.Type = kResAddedType;
  r.Id = kResAddedId;
  ASSERT_EQ(DbGetResource(s, &r, &r, 2), 0);
  EXPECT_STREQ(r.Text, "3");
  DbCloseFile(s);
}

TEST_F(ReportTest, OperationsWithoutHandlerAreRefusedAndChangeNothing) {
  OpenTables();
  FILE *err = fopen("errors.txt", "wb");
  OpContext ctx = Ctx(err);
  int refused = 0;
  for (int op = OpChangeDegree; op <= OpChangeSymptomKind; ++op) {
    if (OpHasHandler(op))
      continue;
    LogEntry *e = Entry(op, {"0", "Mind \x02 fear", "x", "y"}, 101);
    std::string before = e->text;
    EXPECT_EQ(LogDispatch(e, ctx), 1) << op;
    EXPECT_EQ(std::string(e->text), before) << "the text is whole again";
    EXPECT_EQ(LogLastSeverity, 1);
    EXPECT_EQ(LogLastMessage, kMsgOperationNotAvailable);
    ++refused;
  }
  fclose(err);
  if (refused == 0)
    GTEST_SKIP() << "every operation has its handler";
  std::string text = Slurp("errors.txt");
  EXPECT_THAT(text, HasSubstr("Error: This operation is not available in this "
                              "version of Mantrel (H-0)\n"));
  size_t blocks = 0;
  for (size_t at = text.find("\nOperation: "); at != std::string::npos;
       at = text.find("\nOperation: ", at + 1))
    ++blocks;
  EXPECT_EQ(blocks, static_cast<size_t>(refused));
  ExpectConsistent();
}

TEST_F(ReportTest, CommentReachesTheAdditionAsANote) {
  OpenTables();
  LogEntry *e =
      Entry(OpAddRemedy, {"0", "Head \x02 pain", "Sulph.", "Kent", "2"});
  OpContext ctx = Ctx(nullptr);
  OpSetComment(&ctx, "from the Orvix notes");
  ASSERT_EQ(LogDispatch(e, ctx), 0);
  // The text is whole again for the run that stores it.
  EXPECT_NE(strchr(e->text, kLogFieldSep), nullptr);
  Note n = NoteKey(5, 1, kSulph, 2, kKent, 3);
  ASSERT_EQ(TblFindFullNote(notes_, &n, 0, kFindEqual), 0);
  EXPECT_STREQ(note1_, "<<from the Orvix notes>>");
  // With the note flag 0 no comment is written.
  LogEntry *f =
      Entry(OpAddRemedy, {"0", "Head \x02 pain", "Acon.", "Kent", "2"});
  ctx.silent = 0;
  OpSetComment(&ctx, "ignored");
  ASSERT_EQ(LogDispatch(f, ctx), 0);
  n.RemedyId = kAcon;
  EXPECT_NE(TblFindFullNote(notes_, &n, 0, kFindEqual), 0);
  ExpectConsistent();
}

TEST_F(ReportTest, UnknownCodesAreRefusedBeforeAnyHandler) {
  OpenTables();
  OpContext ctx = Ctx(nullptr);
  for (int op : {0, kOpCount + 1, 999}) {
    LogEntry *e = Entry(op, {"0", "Head \x02 pain", "Sulph.", "Kent", "2"});
    std::string before = e->text;
    LogLastMessage = LogLastSeverity = 0;
    FILE *err = fopen("errors.txt", "wb");
    ctx.errors = err;
    EXPECT_EQ(LogDispatch(e, ctx), 1) << op;
    fclose(err);
    EXPECT_EQ(LogLastMessage, kMsgUnknownOperation) << op;
    EXPECT_EQ(LogLastSeverity, 1);
    EXPECT_EQ(std::string(e->text), before);
    EXPECT_FALSE(OpHasHandler(op));
    EXPECT_EQ(OpHandlerOf(op), nullptr);
  }
  for (int op :
       {OpChangeDegree, OpDeleteRemedy, OpAddRemedy, OpChangeNote,
        OpChangeCrossReference, OpChangeSynonym, OpAddLink, OpDeleteLink,
        OpAddConcept, OpDeleteConcept, OpChangeSymptomKind}) {
    EXPECT_TRUE(OpHasHandler(op)) << op;
    EXPECT_EQ(OpHandlerOf(op)->operation, op);
  }
  ExpectConsistent();
}

TEST_F(ReportTest, OutcomesCountByTheHandlersResultAndTheRow) {
  StatisticsClear();
  LogLastMessage = 2738;
  LogLastSeverity = 2;
  EXPECT_EQ(OpCountOutcome(OpAddRemedy, 0), kOutcomeDone);
  // The severity of the last report does not decide: the result does.
  EXPECT_EQ(OpCountOutcome(OpChangeDegree, 1), kOutcomeError);
  EXPECT_EQ(OpCountOutcome(OpDeleteRemedy, 2), kOutcomeWarning);
  // A failed deletion of a symptom counts as done, and is not tallied.
  EXPECT_EQ(OpCountOutcome(OpDeleteSymptom, 1), kOutcomeDone);
  // Its warning is a warning like any other.
  EXPECT_EQ(OpCountOutcome(OpDeleteSymptom, 2), kOutcomeWarning);
  // An unknown code counts in the total only.
  EXPECT_EQ(OpCountOutcome(0, 1), kOutcomeError);
  EXPECT_EQ(OpDone[OpAddRemedy - 1], 1);
  EXPECT_EQ(OpDone[OpDeleteSymptom - 1], 1);
  EXPECT_EQ(OpDone[kOpTotalRow], 2);
  EXPECT_EQ(OpErrors[OpChangeDegree - 1], 1);
  EXPECT_EQ(OpErrors[OpDeleteSymptom - 1], 0);
  EXPECT_EQ(OpErrors[kOpTotalRow], 2);
  EXPECT_EQ(OpWarnings[OpDeleteRemedy - 1], 1);
  EXPECT_EQ(OpWarnings[OpDeleteSymptom - 1], 1);
  EXPECT_EQ(OpWarnings[kOpTotalRow], 2);
  // Four outcomes were tallied under the one last report.
  EXPECT_EQ(MessageCount[0].message, 2738);
  EXPECT_EQ(MessageCount[0].count, 4);
  EXPECT_EQ(MessageCount[1].count, 0);
}

TEST_F(ReportTest, TheCommentIsFramedOnlyWithANoteFlag) {
  OpContext ctx;
  OpSetComment(&ctx, "x");
  EXPECT_STREQ(ctx.comment, "<<x>>");
  OpSetComment(&ctx, "");
  EXPECT_STREQ(ctx.comment, "");
  OpSetComment(&ctx, std::string(50, 'c').c_str());
  EXPECT_EQ(std::string(ctx.comment), "<<" + std::string(50, 'c') + ">>");
  ctx.silent = 0;
  OpSetComment(&ctx, "x");
  EXPECT_STREQ(ctx.comment, "");
}

} // namespace
