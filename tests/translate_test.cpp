// The translation of log entries to a new edition: the walk of an
// association table, the cut of a path that the table knows only in part,
// remedy and author abbreviations of the old edition, pointer symptoms,
// references, an addition beside a symptom that changed its level, and the
// index and rename lists of ..\data\at\.
#include "logrun/translate.h"

#include "logrun/logcheck.h"

#include "logentry/logentry.h"
#include "logentry/report.h"
#include "ops/subject.h"
#include "store/sptpath.h"
#include "store_fixture.h"

#include <fstream>
#include <string>

namespace {

// 59 characters that two old level texts share, and a level text longer
// than the table's field.
const std::string kShared(59, 'x');
const std::string kLongA = kShared + " alpha";
const std::string kLongB = kShared + " beta";
const std::string kOverlong(120, 'y');

class TranslateTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    at_ = TblCreateAt("at", 1, 1);
    ASSERT_NE(at_, 0);
    // The old edition, with what became of each symptom.
    AddAt(1, 0, "Mind", "Mind");
    AddAt(2, 1, "anxiety", "Mind - anxiety");
    AddAt(3, 1, "forgetful", "Mind - forgetfulness");
    AddAt(4, 1, "jealousy", "Mind - delusions - jealousy");
    AddAt(5, 1, "glass", "<deleted>");
    AddAt(6, 1, kLongA.c_str(), "Mind - alpha");
    AddAt(7, 1, kLongB.c_str(), "Mind - beta");
    AddAt(8, 1, kOverlong.c_str(), "Mind - cut");
    AddAt(9, 1, "sleepiness", "Sleep - sleepiness");
    AddAt(20, 0, "Vertigo", "Vertigo");
    AddAt(21, 20, "closing the eyes", "Vertigo - vertigo - closing the eyes");
    AddAt(22, 20, "heights, on", "Vertigo - vertigo - heights, on");
    AddAt(23, 20, "fear 3 - 5 h", "Vertigo - fear 3 - 5 h");
    AddAt(24, 20, "turning", "Vertigo - turning");
    AddAt(25, 20, "orphan", "");

    // The new edition.
    sym_ = TblCreateSymptom("symptom", 1, 1);
    ASSERT_NE(sym_, 0);
    SaveSymptom(sym_, 1, 0, 0, 0, 1, "Mind");
    SaveSymptom(sym_, 1, 1, 1, 0, 2, "anxiety");
    SaveSymptom(sym_, 1, 2, 1, 0, 2, "delusions");
    SaveSymptom(sym_, 1, 3, 1, 2, 3, "jealousy");
    SaveSymptom(sym_, 1, 4, 1, 0, 2, "forgetfulness", "", "1Mind - memory");
    SaveSymptom(sym_, 1, 5, 1, 0, 2, "memory");
    SaveSymptom(sym_, 1, 6, 1, 0, 2, "fear");
    SaveSymptom(sym_, 1, 7, 1, 0, 2, "gone", "", "2vanished");
    SaveSymptom(sym_, 2, 0, 0, 0, 1, "Sleep");
    SaveSymptom(sym_, 2, 1, 2, 0, 2, "sleepiness", "", "2dreams / 2yawning");
    SaveSymptom(sym_, 3, 0, 0, 0, 1, "Vertigo");
    SaveSymptom(sym_, 3, 1, 3, 0, 2, "vertigo");
    SaveSymptom(sym_, 3, 2, 3, 1, 3, "closing the eyes");
    SaveSymptom(sym_, 3, 3, 3, 1, 3, "heights, on");
    SaveSymptom(sym_, 3, 4, 3, 0, 2, "turning");

    remed_ = TblCreateRemed("remed", 1, 1);
    author_ = TblCreateAuthor("author", 1, 1);
    ASSERT_TRUE(remed_ && author_);
    AddRemedies(remed_, {{1, "Nat-m."}, {2, "Sulph."}, {3172, "Orvix-u."}});
    AddAuthors(author_, {{1, "Kent"}, {2, "Hering"}, {888, "Almanac"}});
    OpRemedTable = remed_;
    OpAuthorTable = author_;
    errors_ = fopen("errors.txt", "wb");
  }
  void TearDown() override {
    if (errors_ != nullptr)
      fclose(errors_);
    OpRemedTable = OpAuthorTable = 0;
    OpReleaseRecords();
    AtFreeRenameList(lists_.Remedies);
    AtFreeRenameList(lists_.Authors);
    for (TblHandle h : {at_, sym_, remed_, author_})
      if (h != 0)
        DbCloseFile(h);
    StoreTest::TearDown();
  }
  void AddAt(uint32_t num, uint32_t parent, const char *text,
             const char *newPath) {
    At rec;
    rec.CursorState = 0xff;
    TblClearAt(&rec);
    rec.Num = num;
    rec.ParentNum = parent;
    StrCopy(rec.Text, text);
    StrCopy(rec.NewPath, newPath);
    ASSERT_EQ(TblSaveAt(at_, &rec, kSaveAdd), 0) << text;
  }
  // The entry's text after translation, its fields divided by "|", and the
  // answer.
  struct Result {
    int answer;
    int operation;
    std::string text;
  };
  // An entry of `op` whose text is `fields` with "|" for the separators.
  LogEntry Entry(int op, const std::string &fields) {
    std::string t = fields;
    for (char &c : t)
      if (c == '|')
        c = kLogFieldSep;
    LogEntry e;
    LogClearEntry(&e, text_);
    StrCopy(text_, t.c_str());
    e.operation = static_cast<uint16_t>(op);
    return e;
  }
  Result Translate(int op, const std::string &fields,
                   bool withSymptoms = true) {
    LogEntry e = Entry(op, fields);
    int r =
        LogTranslateEntry(withSymptoms ? sym_ : 0, at_, &e, errors_, 1, lists_);
    std::string out = text_;
    for (char &c : out)
      if (c == kLogFieldSep)
        c = '|';
      else if (c == kSptSeparator)
        c = '^';
    return {r, e.operation, out};
  }
  std::string Errors() {
    fflush(errors_);
    return SlurpFile("errors.txt");
  }
  TblHandle at_ = 0, sym_ = 0, remed_ = 0, author_ = 0;
  FILE *errors_ = nullptr;
  AssociationLists lists_;
  char text_[kLogTextSize];
};

TEST_F(TranslateTest, WalkFindsEachLevelAmongTheChildrenOfTheOneBefore) {
  struct Case {
    std::string path;
    int answer;
    const char *result;
  } cases[] = {
      {"Mind - anxiety", 0, "Mind - anxiety"},
      {"Mind \x02 forgetful", 0, "Mind - forgetfulness"},
      {"MIND - JEALOUSY", 0, "Mind - delusions - jealousy"},
      {"Mind  -  anxiety  ", 0, "Mind - anxiety"},
      {"Mind - glass", 0, "<deleted>"},
      // Two texts alike over the 59 characters compared are told apart.
      {"Mind - " + kLongA, 0, "Mind - alpha"},
      {"Mind - " + kLongB, 0, "Mind - beta"},
      {"Mind - " + kShared, 2, ""},
      // A text longer than the field was cut when the table was made.
      {"Mind - " + kOverlong + "zz", 0, "Mind - cut"},
      // A range between digits stays inside its level.
      {"Vertigo - fear 3 - 5 h", 0, "Vertigo - fear 3 - 5 h"},
      {"Vertigo - fear 3", 2, ""},
      // The children of Vertigo are not those of Mind.
      {"Vertigo - anxiety", 2, ""},
      {"Mind - anxiety - night", 3, ""},
      {"Head - pain", 1, ""},
      {"", 1, ""},
  };
  for (const Case &c : cases) {
    char result[kAtNewPathSize] = "?";
    EXPECT_EQ(AtTranslatePath(at_, 1, c.path.c_str(), result, sizeof result, 0),
              c.answer)
        << c.path;
    EXPECT_STREQ(result, c.result) << c.path;
  }
  // The other walk compares over the wanted text only, and gives numbers.
  uint32_t pn = 9, n = 9;
  uint16_t ps = 9, s = 9;
  char text[101];
  ASSERT_EQ(
      AtFindPath(at_, "Vertigo - clos", &pn, &ps, text, sizeof text, &n, &s),
      0);
  EXPECT_EQ(pn, 20u);
  EXPECT_EQ(n, 21u);
  EXPECT_STREQ(text, "closing the eyes");
  EXPECT_EQ(
      AtFindPath(at_, "Vertigo - open", &pn, &ps, text, sizeof text, &n, &s),
      2);
}

TEST_F(TranslateTest, LevelsAndCutsCountTheSeparatorsOfTheWalk) {
  struct Case {
    const char *path;
    int levels, cutAfter, cut;
  } cases[] = {
      {"Mind - jealousy - night", 3, 2, 15},
      {"Mind - jealousy - night", 3, 1, 4},
      {"Mind \x02 a \x02 b", 3, 1, 4},
      {"Mind - fear 3 - 5 h - night", 3, 2, 19},
      {"Mind - fear 3 - 5 h", 2, 2, -1},
      {"Mind", 1, 1, -1},
      {"", 0, 1, -1},
      {"- Mind -", 1, 1, -1},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(AtCountLevels(c.path), c.levels) << c.path;
    EXPECT_EQ(AtLevelCut(c.path, c.cutAfter), c.cut) << c.path;
  }
  char path[] = "Mind - fear 3 - 5 h - night";
  AtStorePath(path);
  EXPECT_STREQ(path, "Mind \x02 fear 3 - 5 h \x02 night");
}

TEST_F(TranslateTest, EntriesTakeTheWordsOfTheNewEdition) {
  lists_.Remedies = new RenamePair[3]{
      {"Nat-mur.", "Nat-m."}, {"Sulphur", "Sulph."}, {"", ""}};
  // The author list ends at the first pair without a new name.
  lists_.Authors = new RenamePair[3]{{"K.", "Kent"}, {"Hg.", ""}, {"", ""}};
  // Each entry is translated without complaint; `out` null: unchanged; `op2`
  // the operation it becomes, when it changes.
  struct Case {
    int op;
    const char *in, *out;
    int op2 = -1;
  } cases[] = {
      // Paths: renamed, moved, a user's level below a moved one.
      {OpAddRemedy, "0|Mind - forgetful|Sulph.|Kent|2",
       "0|Mind ^ memory|Sulph.|Kent|2"},
      {OpAddRemedy, "0|Mind - jealousy - night|Sulph.|Kent|2",
       "0|Mind ^ delusions ^ jealousy ^ night|Sulph.|Kent|2"},
      {OpAddRemedy,
       "0|Vertigo \x02 closing the eyes \x02 morning|Sulph.|Kent|1",
       "0|Vertigo ^ vertigo ^ closing the eyes ^ morning|Sulph.|Kent|1"},
      // Gone from the new edition, or no new path: the entry as it was.
      {OpAddRemedy, "0|Mind - glass|Sulph.|Kent|2", nullptr},
      {OpAddRemedy, "0|Vertigo - orphan|Sulph.|Kent|2", nullptr},
      // Remedies and authors: kept, renamed by the list, by reserved id.
      {OpChangeDegree, "0|Mind - anxiety|Nat-mur.|K.|1|2",
       "0|Mind ^ anxiety|Nat-m.|Kent|1|2"},
      {OpAddRemedy, "0|Mind - anxiety|rmd12|aut3|2",
       "0|Mind ^ anxiety|Orvix-u.|Almanac|2"},
      {OpAddRemedy, "0|Mind - anxiety|Nobody.|Hg.|2",
       "0|Mind ^ anxiety|Nobody.|Hg.|2"},
      {OpChangeNote, "0|Mind - anxiety|1|Sulphur|K.|2|0||new",
       "0|Mind ^ anxiety|1|Sulph.|Kent|2|0||new"},
      // Beside a symptom that moved a level deeper: below its new parent.
      {OpAddSymptomAfter, "0|Vertigo - heights, on|0|looking down|1|",
       "0|Vertigo ^ vertigo|0|looking down|1|", OpAddSymptomBelow},
      {OpAddSymptomAfter, "0|Vertigo - turning|0|rising|1|",
       "0|Vertigo ^ turning|0|rising|1|"},
      // References: kept as written, moved, unknown kept too.
      {OpChangeCrossReference,
       "0|Mind - anxiety|0||2fear\n2jealousy\n1Vertigo - closing the eyes\n"
       "2nowhere",
       "0|Mind ^ anxiety|0||2fear\n1Mind - delusions - jealousy\n1Vertigo - "
       "vertigo - closing the eyes\n2nowhere"},
      // With an old text the references stay untranslated, as always.
      {OpChangeCrossReference, "0|Mind - anxiety|0|old|2jealousy",
       "0|Mind ^ anxiety|0|old|2jealousy"},
      // Concept links: their own path stays, the second one is translated.
      {OpAddConcept, "0|Anxiety and fear|Mind - forgetful",
       "0|Anxiety and fear|Mind ^ forgetfulness"},
      {OpAddConcept, "0|Anxiety and fear|Head - pain", nullptr},
  };
  for (const Case &c : cases) {
    Result r = Translate(c.op, c.in);
    EXPECT_EQ(r.answer, 0) << c.in;
    EXPECT_EQ(r.operation, c.op2 < 0 ? c.op : c.op2) << c.in;
    EXPECT_EQ(r.text, c.out != nullptr ? c.out : c.in) << c.in;
  }
  EXPECT_EQ(Errors(), "");
}

TEST_F(TranslateTest, AnEntryThatCannotBeTranslatedIsRefusedWithItsReason) {
  struct Case {
    const char *in;
    int reason;
    const char *path;
  } cases[] = {
      {"0|Head - pain|Sulph.|Kent|2", 5544, "Head - pain"},
      {"0|Mind - sleepiness|Sulph.|Kent|2", 5546, "Mind - sleepiness"},
  };
  for (const Case &c : cases) {
    Result r = Translate(OpAddRemedy, c.in);
    EXPECT_EQ(r.answer, 1) << c.in;
    // The text is one string again, as it was.
    std::string in = c.in;
    EXPECT_EQ(r.text, in) << c.in;
    EXPECT_EQ(LogLastMessage, c.reason) << c.in;
    EXPECT_EQ(LogLastSeverity, 1) << c.in;
    // The report names the entry as the log has it.
    EXPECT_NE(Errors().find(std::string("Symptom: ") + c.path),
              std::string::npos);
  }
  // A pointer whose target the new edition lacks.
  AddAt(10, 1, "vanishing", "Mind - gone");
  Result r = Translate(OpAddRemedy, "0|Mind - vanishing|Sulph.|Kent|2");
  EXPECT_EQ(r.answer, 1);
  EXPECT_EQ(LogLastMessage, 5547);
  // Without the new edition's table no pointer is followed.
  r = Translate(OpAddRemedy, "0|Mind - vanishing|Sulph.|Kent|2", false);
  EXPECT_EQ(r.answer, 0);
  EXPECT_EQ(r.text, "0|Mind ^ gone|Sulph.|Kent|2");
}

TEST_F(TranslateTest, RenameListsAndTheIndexAreReadLineByLine) {
  RenamePair p;
  EXPECT_TRUE(AtParseRenameLine("Nat-mur.|Nat-m.  \r", &p));
  EXPECT_STREQ(p.Old, "Nat-mur.");
  EXPECT_STREQ(p.New, "Nat-m.");
  EXPECT_FALSE(AtParseRenameLine("no bar here", &p));
  EXPECT_TRUE(AtParseRenameLine(std::string(60, 'a').append("|b").c_str(), &p));
  EXPECT_EQ(strlen(p.Old), sizeof p.Old - 1);

  std::ofstream("remed.txt") << "A.|B.\r\nnone\n|\nC.|D.";
  RenamePair *list = AtLoadRenameList("remed.txt");
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list[0].New, "B.");
  // The line "|" has an empty old name and ends the walk of a remedy list,
  // as it always has; the list holds it all the same.
  EXPECT_STREQ(list[1].Old, "");
  EXPECT_STREQ(list[2].Old, "C.");
  EXPECT_STREQ(list[3].Old, "");
  EXPECT_STREQ(list[3].New, "");
  AtFreeRenameList(list);
  EXPECT_EQ(AtLoadRenameList("missing.txt"), nullptr);

  AtIndexLine line;
  ASSERT_TRUE(
      AtParseIndexLine("SALM2012|SALM2006|SALM2009|at0912e|at0912f  ", &line));
  EXPECT_STREQ(line.Key, "SALM2012");
  EXPECT_STREQ(line.Older, "SALM2006");
  EXPECT_STREQ(line.First, "at0912e");
  EXPECT_STREQ(line.Second, "at0912f");
  ASSERT_TRUE(AtParseIndexLine("N|O|t1|", &line));
  EXPECT_STREQ(line.Second, "");
  EXPECT_FALSE(AtParseIndexLine("N|t1", &line));
  EXPECT_TRUE(
      AtIndexLineMatches("salm2012|x|SALM2009|a|b", "SALM2012", "SALM2009"));
  EXPECT_FALSE(AtIndexLineMatches("SALM2012|x|a|b", "SALM2012", "SALM2009"));
  EXPECT_FALSE(
      AtIndexLineMatches("CALM2012|SALM2009|a|b", "SALM2012", "SALM2009"));
}

TEST_F(TranslateTest, TablesOpenThroughTheIndexWithTheirOlderStep) {
  AtTables t;
  char failed[300] = "";
  EXPECT_EQ(AtOpenTables("", "NEW", "OLD", &t, failed, sizeof failed),
            kMsgNoAssociationIndex);
  std::ofstream("index.txt") << "NEW|MID|OLD|at|\nMID|x|OLD|at|at\n"
                                "BAD|x|OLD|nothere|\n";
  EXPECT_EQ(AtOpenTables("", "NEW", "ELSE", &t, failed, sizeof failed),
            kMsgNoAssociationLine);
  EXPECT_EQ(AtOpenTables("", "bad", "old", &t, failed, sizeof failed),
            kMsgAssociationTable);
  EXPECT_STREQ(failed, "nothere");
  EXPECT_NE(OrvixError, 0);
  ASSERT_EQ(AtOpenTables("", "new", "old", &t, failed, sizeof failed), 0);
  EXPECT_NE(t.First, 0);
  EXPECT_EQ(t.Second, 0);
  EXPECT_NE(t.OlderFirst, 0);
  EXPECT_NE(t.OlderSecond, 0);
  AtCloseTables(&t);
  EXPECT_EQ(t.First, 0);
  EXPECT_EQ(t.OlderFirst, 0);
}

} // namespace

namespace {

// The search for the symptom of an entry without a unique id in a
// translated run, where it does not depend on the handlers of symptoms.
TEST_F(TranslateTest, TheSymptomOfAnEntryIsLookedForInTheNewEdition) {
  OpContext ctx;
  ctx.symptoms = sym_;
  ctx.errors = errors_;
  ctx.assoc = at_; // a transfer
  struct Case {
    int op;
    const char *in;
    bool goesOn;
    int message, severity;
  } cases[] = {
      // Found, and creating nothing.
      {OpAddRemedy, "0|Mind \x02 anxiety|Sulph.|Kent|2", true, 0, 0},
      // A text that exists already is not created twice.
      {OpAddSymptomBelow, "0|Mind|0|anxiety|1|", false, 2762, 2},
      {OpAddSymptomAfter, "0|Mind \x02 fear|0|anxiety|1|", false, 2762, 2},
      {OpRenameSymptom, "0|Mind \x02 fear|0|fear|anxiety|1||", false, 2762, 2},
      // Renamed to itself: nothing to tell.
      {OpRenameSymptom, "0|Mind \x02 fear|0|fear|fear|1||", true, 0, 0},
      {OpAddSymptomBelow, "0|Mind|0|hope|1|", true, 0, 0},
      // A second-language path that is missing goes on to its handler.
      {OpAddRemedy, "1|Psychisme \x02 rien|Sulph.|Kent|2", true, 2628, 1},
      // A symptom that is gone is not re-created to be deleted; its handler
      // tells the same.
      {OpDeleteSymptom, "0|Mind \x02 gone away", true, 2628, 1},
  };
  for (const Case &c : cases) {
    LogEntry e = Entry(c.op, c.in);
    const std::string t = text_;
    LogLastMessage = LogLastSeverity = 0;
    EXPECT_EQ(LogCheckSymptom(&e, ctx, false), c.goesOn) << c.in;
    EXPECT_EQ(LogLastMessage, c.message) << c.in;
    EXPECT_EQ(LogLastSeverity, c.severity) << c.in;
    // The text is one string again, as it came.
    EXPECT_EQ(std::string(text_), t) << c.in;
  }
}

} // namespace
