// The remedy operations on the small repertory: what each changes in the
// Symptom, Extract and Note tables, what it refuses, and that the tables
// agree afterwards.
#include "logentry/report.h"
#include "logrun_support.h"
#include "ops/chainlist.h"
#include "ops/remedy.h"
#include "ops/views.h"
#include "platform/strutil.h"

namespace {

using Rem = std::tuple<uint16_t, uint16_t, int>;

class RemedyTest : public RepertoryTest {
protected:
  void SetUp() override {
    RepertoryTest::SetUp();
    OpenTables();
    OpenErrors();
  }
  int Degree(uint16_t remedy, uint16_t author, uint32_t num, uint16_t sub) {
    Extract x = ExtractKey(remedy);
    for (int err = TblFindFullExtract(ext_, &x, 0, kFindEqual, nullptr);
         err == 0 && x.RemedyId == remedy;
         err = TblFindFullExtract(ext_, &x, 0, kFindNext, nullptr))
      for (int i = 0; TblIsLastExtractSymptom(&x.Entries[i]) != 2; ++i)
        if (x.Entries[i].Num == num && x.Entries[i].Sub == sub &&
            x.Entries[i].AuthorId == author)
          return x.Entries[i].Degree;
    return -1;
  }
  // The context a run gives the handlers: the comment as the run formats
  // it ("<<...>>"), the view table, the note flag.
  OpContext Ctx(const char *comment = "", TblHandle views = 0, int silent = 1) {
    OpContext c = RepertoryTest::Ctx(errors_);
    c.views = views;
    c.silent = silent;
    StrCopy(c.comment, comment);
    return c;
  }
  // The handlers on an entry of their operation.
  int Add(std::vector<std::string> fields, const OpContext &c) {
    return OpAddRemedyRun(Entry(OpAddRemedy, std::move(fields)), c);
  }
  int Add(std::vector<std::string> fields) {
    return Add(std::move(fields), Ctx());
  }
  int Delete(std::vector<std::string> fields) {
    return OpDeleteRemedyRun(Entry(OpDeleteRemedy, std::move(fields)), Ctx());
  }
};

const uint16_t U = kAuthorUserBit;

TEST_F(RemedyTest, ChangeDegreeMarksTheEntryAndFollowsInExtract) {
  LogEntry *e = Entry(OpChangeDegree,
                      {"1", "Psychisme \x02 peur", "Bell.", "Boer", "1", "4"});
  std::string whole = e->text;
  ASSERT_EQ(OpChangeDegreeRun(e, Ctx()), 0);
  EXPECT_EQ(std::string(e->text), whole);
  EXPECT_EQ(e->symptomId, 101) << "the symptom's id goes into the entry";
  EXPECT_EQ(Remedies(1, 1),
            (std::vector<Rem>{
                {kAcon, kKent, 3}, {kBell, kBoer | U, 4}, {kBell, kKent, 2}}));
  EXPECT_EQ(Degree(kBell, kBoer, 1, 1), 4);
  EXPECT_EQ(Degree(kBell, kKent, 1, 1), 2);
  ExpectConsistent();
}

TEST_F(RemedyTest, ChangeDegreeRefusals) {
  // A pair the symptom lacks, an unknown remedy or author: a warning. A
  // path that is not there, and an id that names nothing: not found.
  const struct {
    const char *path, *remedy, *author, *from;
    int32_t id;
    int message, severity;
  } refused[] = {
      {"Mind \x02 fear", "Nux-v.", "Kent", "1", 0, 2738, 2},
      {"Mind \x02 fear", "Xanth.", "Kent", "1", 0, 2736, 2},
      {"Mind \x02 fear", "Acon.", "Nobody", "1", 0, 2737, 2},
      {"Mind \x02 fright", "Acon.", "Kent", "3", 0, 2628, 1},
      {"Mind \x02 fear", "Acon.", "Kent", "3", 1000000, 2628, 1},
  };
  for (const auto &c : refused) {
    LogEntry *e = Entry(OpChangeDegree,
                        {"0", c.path, c.remedy, c.author, c.from, "2"}, c.id);
    EXPECT_EQ(OpChangeDegreeRun(e, Ctx()), 1) << c.remedy << c.id;
    EXPECT_EQ(LogLastMessage, c.message) << c.remedy << c.id;
    EXPECT_EQ(LogLastSeverity, c.severity) << c.remedy << c.id;
  }
  // A wrong id that names no symptom falls back to the path.
  LogEntry *j = Entry(OpChangeDegree,
                      {"0", "Mind \x02 fear", "Acon.", "Kent", "3", "1"}, 555);
  EXPECT_EQ(OpChangeDegreeRun(j, Ctx()), 0);
  EXPECT_EQ(j->symptomId, 101);
  EXPECT_EQ(Degree(kAcon, kKent, 1, 1), 1);
  ExpectConsistent();
}

TEST_F(RemedyTest, DeleteRemedyRecountsAndTakesItsNotesAlong) {
  auto note = [&](uint16_t author, uint8_t kind) {
    return NoteKey(1, 1, kBell, 0, author, kind);
  };
  StrCopy(note1_, "a note");
  for (auto [a, k] :
       {std::pair<uint16_t, uint8_t>{kBoer, 1}, {kKent, 1}, {kBoer, 3}}) {
    Note n = note(a, k);
    ASSERT_EQ(TblSaveNote(notes_, &n, kSaveAdd), 0);
  }
  // The second author of a remedy goes: the count of remedies stays.
  ASSERT_EQ(Delete({"0", "Mind \x02 fear", "Bell.", "Boer", "1"}), 0);
  Symptom s;
  EXPECT_EQ(Remedies(1, 1, &s),
            (std::vector<Rem>{{kAcon, kKent, 3}, {kBell, kKent, 2}}));
  EXPECT_EQ(s.RemedyCount, 2);
  EXPECT_EQ(Degree(kBell, kBoer, 1, 1), -1);
  Note k = note(kKent, 1);
  EXPECT_EQ(TblFindFullNote(notes_, &k, 0, kFindEqual), 0) << "Kent's stays";
  for (uint8_t kind : {1, 3}) {
    Note b = note(kBoer, kind);
    EXPECT_NE(TblFindFullNote(notes_, &b, 0, kFindEqual), 0) << int(kind);
  }
  // The last entry of a remedy goes: one remedy fewer.
  ASSERT_EQ(Delete({"0", "Mind \x02 fear", "Acon.", "Kent", "3"}), 0);
  EXPECT_EQ(Remedies(1, 1, &s), (std::vector<Rem>{{kBell, kKent, 2}}));
  EXPECT_EQ(s.RemedyCount, 1);
  // Deleting it again is a warning.
  EXPECT_EQ(Delete({"0", "Mind \x02 fear", "Acon.", "Kent", "3"}), 2);
  EXPECT_EQ(LogLastMessage, 2738);
  ExpectConsistent();
}

TEST_F(RemedyTest, AddRemedyPlacesByNameWithDashAsSlash) {
  // "Nux.a" sorts before "Nux-v." once "-" reads as "/".
  ASSERT_EQ(Add({"0", "Head \x02 pain", "Nux.a", "Kent", "1"}), 0);
  ASSERT_EQ(Add({"0", "Head \x02 pain", "Acon.", "Hering", "2"}), 0);
  ASSERT_EQ(Add({"0", "Head \x02 pain", "Sulph.", "Boer", "3"}), 0);
  Symptom s;
  EXPECT_EQ(Remedies(5, 1, &s), (std::vector<Rem>{{kAcon, kHering | U, 2},
                                                  {kNuxA, kKent | U, 1},
                                                  {kNuxV, kKent, 2},
                                                  {kSulph, kBoer | U, 3}}));
  EXPECT_EQ(s.RemedyCount, 4);
  EXPECT_EQ(Degree(kNuxA, kKent, 5, 1), 1) << "a new Extract record";
  EXPECT_EQ(Degree(kAcon, kHering, 5, 1), 2) << "inserted after 1.1";
  EXPECT_LT(OpCompareRemedyPlace("Nux.a", "Kent", "Nux-v.", "Kent"), 0);
  EXPECT_GT(OpCompareRemedyPlace("Bell.", "Kent", "Bell.", "Boer"), 0);
  ExpectConsistent();
}

TEST_F(RemedyTest, AddRemedyAgainstExistingEntries) {
  // The same pair: a warning, nothing changes.
  EXPECT_EQ(Add({"0", "Mind \x02 fear", "Acon.", "Kent", "3"}), 2);
  EXPECT_EQ(LogLastMessage, 2745);
  // A second author at another degree: refused with 5364...
  EXPECT_EQ(Add({"0", "Mind \x02 fear", "Acon.", "Hering", "1"}), 2);
  EXPECT_EQ(LogLastMessage, 5364);
  EXPECT_EQ(LogLastSeverity, 2);
  // ...unless the entry's tag is 99: it takes the degree standing.
  LogEntry *g =
      Entry(OpAddRemedy, {"0", "Mind \x02 fear", "Acon.", "Hering", "1"}, 0,
            kTagTakeDegree);
  ASSERT_EQ(OpAddRemedyRun(g, Ctx()), 0);
  Symptom s;
  EXPECT_EQ(Remedies(1, 1, &s), (std::vector<Rem>{{kAcon, kHering | U, 3},
                                                  {kAcon, kKent, 3},
                                                  {kBell, kBoer, 1},
                                                  {kBell, kKent, 2}}));
  EXPECT_EQ(s.RemedyCount, 2) << "a second author is no new remedy";
  EXPECT_EQ(Degree(kAcon, kHering, 1, 1), 3);
  ExpectConsistent();
}

TEST_F(RemedyTest, InnerAdditionMergesAndLeavesTheMarkWhenAsked) {
  LogEntry *e =
      Entry(OpAddRemedy, {"0", "Mind \x02 fear", "Bell.", "Hering", "1"});
  ASSERT_EQ(OpAddRemedyEntry(e, Ctx("", 0, 2), 2, kMergeLower), 0);
  // merge 1 lowers the other authors' entries of the remedy to the degree.
  EXPECT_EQ(Remedies(1, 1), (std::vector<Rem>{{kAcon, kKent, 3},
                                              {kBell, kBoer, 1},
                                              {kBell, kHering, 1},
                                              {kBell, kKent, 1}}));
  LogEntry *f =
      Entry(OpAddRemedy, {"0", "Mind \x02 fear", "Acon.", "Boer", "4"});
  ASSERT_EQ(OpAddRemedyEntry(f, Ctx("", 0, 2), 2, kMergeRaise), 0);
  EXPECT_EQ(std::get<2>(Remedies(1, 1)[1]), 4) << "Acon./Kent raised";
  // The raised and lowered entries are written to the symptom only: the
  // check names them.
  CloseTables();
  EXPECT_FALSE(Verify().empty());
}

TEST_F(RemedyTest, DegreeZeroTakesTheFirstEntrysDegreeOrStaysZero) {
  LogEntry *e = Entry(
      OpAddRemedy, {"0", "Mind \x02 fear \x02 night", "Sulph.", "Kent", "0"});
  ASSERT_EQ(OpAddRemedyRun(e, Ctx()), 0);
  EXPECT_EQ(Remedies(1, 2), (std::vector<Rem>{{kSulph, kKent | U, 0}}));
  ASSERT_EQ(Add({"0", "Mind \x02 fear", "Sulph.", "Kent", "0"}), 0);
  EXPECT_EQ(std::get<2>(Remedies(1, 1).back()), 3) << "Acon.'s degree";
  ExpectConsistent();
}

TEST_F(RemedyTest, ViewBitsOfTheAuthorGoIntoEntryAndMask) {
  ASSERT_EQ(
      Add({"0", "Head \x02 pain", "Acon.", "Hering", "2"}, Ctx("", views_)), 0);
  Symptom s;
  Remedies(5, 1, &s);
  EXPECT_EQ(s.ViewMask, 2);
  EXPECT_EQ(OpViewBits(views_, kKent), 3);
  EXPECT_EQ(OpViewBits(views_, kKent | U), 3) << "the user bit is no author";
  EXPECT_EQ(OpViewBits(views_, kBoer), 0) << "an author in no view";
  EXPECT_EQ(OpViewBits(0, kKent), 0);
  ExpectConsistent();
}

TEST_F(RemedyTest, CommentIsAppendedToAnExistingNote) {
  ASSERT_EQ(
      Add({"0", "Head \x02 pain", "Acon.", "Kent", "2"}, Ctx("<<one>>", 0)), 0);
  LogEntry *d =
      Entry(OpDeleteRemedy, {"0", "Head \x02 pain", "Acon.", "Kent", "2"});
  // The note is kept by hand this time: put it back after the deletion.
  Note n = NoteKey(5, 1, kAcon, 2, kKent, 3);
  ASSERT_EQ(OpDeleteRemedyRun(d, Ctx()), 0);
  EXPECT_NE(TblFindFullNote(notes_, &n, 0, kFindEqual), 0);
  StrCopy(note1_, "<<one>>");
  note2_[0] = '\0';
  ASSERT_EQ(TblSaveNote(notes_, &n, kSaveAdd), 0);
  ASSERT_EQ(
      Add({"0", "Head \x02 pain", "Acon.", "Kent", "2"}, Ctx("<<two>>", 0)), 0);
  ASSERT_EQ(TblFindFullNote(notes_, &n, 0, kFindEqual), 0);
  EXPECT_STREQ(note1_, "<<one>>\n<<two>>");
  ExpectConsistent();
}

TEST_F(RemedyTest, ExtractSplitsAtTwoHundredFortyNine) {
  // Remedy Sulph. gets a chain of one record of 248 entries for symptoms
  // 1.100 ..., then two additions: the first fills it to 249, the second
  // splits it.
  Extract x = ExtractKey(kSulph);
  for (int i = 0; i < 248; ++i)
    x.Entries[i] = ExtractEntry{9, static_cast<uint16_t>(i), 1, kKent, 0};
  x.Entries[248] = ChainExtractTerminator();
  ASSERT_EQ(TblSaveExtract(ext_, &x, kSaveAdd), 0);
  ASSERT_EQ(Add({"0", "Mind \x02 fear", "Sulph.", "Kent", "2"}), 0);
  auto records = [&]() {
    int n = 0;
    Extract r = ExtractKey(kSulph);
    for (int err = TblFindFullExtract(ext_, &r, 0, kFindEqual, nullptr);
         err == 0 && r.RemedyId == kSulph;
         err = TblFindFullExtract(ext_, &r, 0, kFindNext, nullptr))
      ++n;
    return n;
  };
  EXPECT_EQ(records(), 1) << "248 entries take one more";
  ASSERT_EQ(Add({"0", "Head \x02 pain", "Sulph.", "Kent", "2"}), 0);
  EXPECT_EQ(records(), 2) << "249 entries split";
  EXPECT_EQ(Degree(kSulph, kKent, 5, 1), 2);
  EXPECT_EQ(Degree(kSulph, kKent, 1, 1), 2);
  // The made-up entries name no symptom: the check says so, and nothing
  // else.
  CloseTables();
  for (const std::string &fault : Verify())
    EXPECT_THAT(fault, HasSubstr("which the symptom does not hold"));
}

TEST_F(RemedyTest, ChangeAndDeleteFindTheirEntryDeepInALongChain) {
  // Nux-v.'s chain gets four records; the entry of Head > pain (5.1) sits
  // in the third, behind records of made-up symptoms that sort before it.
  Extract x = ExtractKey(kNuxV);
  ASSERT_EQ(TblFindFullExtract(ext_, &x, 0, kFindEqual, nullptr), 0);
  ASSERT_EQ(TblDeleteExtract(ext_), 0);
  auto save = [&](uint8_t seq, std::vector<ExtractEntry> list) {
    Extract r;
    TblClearExtract(&r);
    r.CursorState = 0xff;
    r.RemedyId = kNuxV;
    r.Seq = seq;
    for (size_t i = 0; i < list.size(); ++i)
      r.Entries[i] = list[i];
    ASSERT_EQ(TblSaveExtract(ext_, &r, kSaveAdd), 0);
  };
  std::vector<ExtractEntry> many;
  for (uint16_t i = 0; i < 200; ++i)
    many.push_back({3, i, 1, kBoer, 0});
  save(0, {{1, 7, 1, kBoer, 0}, {2, 0, 1, kBoer, 0}});
  save(1, many);
  save(2, {{5, 1, 1, kBoer, 0}, {5, 1, 2, kKent, 0}, {9, 0, 1, kBoer, 0}});
  save(3, {{9, 5, 1, kBoer, 0}});

  LogEntry *e = Entry(OpChangeDegree,
                      {"0", "Head \x02 pain", "Nux-v.", "Kent", "2", "4"});
  ASSERT_EQ(OpChangeDegreeRun(e, Ctx()), 0);
  EXPECT_EQ(Degree(kNuxV, kKent, 5, 1), 4);
  EXPECT_EQ(Degree(kNuxV, kBoer, 5, 1), 1) << "the other author's entry";

  ASSERT_EQ(Delete({"0", "Head \x02 pain", "Nux-v.", "Kent", "4"}), 0);
  EXPECT_EQ(Degree(kNuxV, kKent, 5, 1), -1);
  EXPECT_EQ(Degree(kNuxV, kBoer, 5, 1), 1);
  EXPECT_EQ(Degree(kNuxV, kBoer, 9, 5), 1) << "the last record stays";
  EXPECT_EQ(Degree(kNuxV, kBoer, 3, 199), 1) << "the long record stays";
}

} // namespace
