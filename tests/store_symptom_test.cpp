// The Symptom table: keys, find modes, cursor rules, remedy arrays, ids and
// resources, as the log run and the handlers use them.
#include "store_fixture.h"

#include <vector>

namespace {

class SymptomTest : public StoreTest {
protected:
  // A small tree in book order:
  //   1.0 HEAD (chapter)      uid 10
  //     1.1 beta              uid 11
  //     1.2 Alpha             uid 12
  //       1.3 gamma           uid 13
  //     2.0 delta             uid 20
  //   3.0 MIND (chapter)      uid 30
  void SetUp() override {
    StoreTest::SetUp();
    h_ = TblCreateSymptom("sym", 1, 1);
    ASSERT_NE(h_, 0) << OrvixError;
    const Symptom rows[] = {
        MakeSymptom(1, 0, 0, 0, "HEAD", 10),
        MakeSymptom(1, 1, 1, 0, "beta", 11),
        MakeSymptom(1, 2, 1, 0, "Alpha", 12),
        MakeSymptom(1, 3, 1, 2, "gamma", 13),
        MakeSymptom(2, 0, 1, 0, "delta", 20),
        MakeSymptom(3, 0, 0, 0, "MIND", 30),
    };
    for (Symptom s : rows)
      ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveAdd), 0) << s.Text1;
  }
  // Walks a key with mode 0 then 2 and answers the texts met.
  std::vector<std::string> Walk(int key) {
    std::vector<std::string> out;
    SymRec s = MakeSymptom(0, 0, 0, 0, "");
    for (int rc = TblFindFullSymptom(h_, &s, key, kFindFirst); rc == 0;
         rc = TblFindFullSymptom(h_, &s, key, kFindNext))
      out.push_back(s.Text1);
    EXPECT_EQ(OrvixError, kErrEnd);
    return out;
  }
  // The record of key 0 `num`.`sub`, found and so made current.
  SymRec Found(uint32_t num, uint16_t sub) {
    SymRec s = MakeSymptom(num, sub, 0, 0, "");
    EXPECT_EQ(TblFindFullSymptom(h_, &s, 0, kFindEqual), 0)
        << num << "." << sub;
    return s;
  }
  // Finds by `key` and `mode` (by text, ignoring case) from `s` and answers
  // the text of the record found, or the error.
  std::string Step(Symptom &s, int key, int mode, bool byText = false) {
    int rc = (byText ? TblFindFullSymptomByText
                     : TblFindFullSymptom)(h_, &s, key, mode);
    return rc == 0 ? s.Text1 : "error " + std::to_string(rc);
  }
  void Reopen() {
    ASSERT_EQ(DbCloseFile(h_), 0);
    h_ = TblOpenSymptom("sym", 1, 1);
    ASSERT_NE(h_, 0) << OrvixError;
  }
  TblHandle h_ = 0;
};

// The tree's orders by key 0 (book order), 1 (siblings by text, bytewise:
// capitals before small letters) and 4 (children after their parent's
// siblings).
using Texts = std::vector<std::string>;
const Texts kBook = {"HEAD", "beta", "Alpha", "gamma", "delta", "MIND"};
const Texts kByText = {"HEAD", "MIND", "Alpha", "beta", "delta", "gamma"};
const Texts kByParent = {"HEAD", "MIND", "beta", "Alpha", "delta", "gamma"};

TEST_F(SymptomTest, KeysGiveTheirOrders) {
  EXPECT_EQ(Walk(0), kBook);
  EXPECT_EQ(Walk(1), kByText);
  EXPECT_EQ(Walk(4), kByParent);
  EXPECT_EQ(Walk(8), kBook);
  // Key 2 with every Num2 at 0: equal keys in book order.
  EXPECT_EQ(Walk(2), Walk(0));
  EXPECT_EQ(DbCountEntries(h_), 6);
  SymRec s = MakeSymptom(0, 0, 0, 0, "");
  EXPECT_EQ(Step(s, 0, kFindLast), "MIND");
  EXPECT_EQ(Step(s, 0, kFindPrev), "delta");
}

TEST_F(SymptomTest, EqualAndAtOrAfter) {
  SymRec s = Found(1, 2);
  EXPECT_STREQ(s.Text1, "Alpha");
  EXPECT_EQ(s.UniqueId, 12);
  s = MakeSymptom(1, 4, 0, 0, "");
  EXPECT_EQ(TblFindFullSymptom(h_, &s, 0, kFindEqual), kErrEnd);
  EXPECT_EQ(Step(s, 0, kFindAtOrAfter), "delta");
  s = MakeSymptom(9, 0, 0, 0, "");
  EXPECT_EQ(TblFindFullSymptom(h_, &s, 0, kFindAtOrAfter), kErrEnd);
  s.UniqueId = 13;
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 8, kFindEqual), 0);
  EXPECT_EQ(s.Num, 1u);
  EXPECT_EQ(s.Sub, 3);
  EXPECT_EQ(TblFindFullSymptom(h_, &s, 5, kFindFirst), kErrBadKey);
  EXPECT_EQ(TblFindFullSymptom(h_, &s, 0, 7), kErrBadArg);
  EXPECT_EQ(TblFindFullSymptom(h_ + 1000, &s, 0, 0), kErrNotOpen);
}

TEST_F(SymptomTest, FailedFindLeavesTheRecordAlone) {
  SymRec s = MakeSymptom(1, 7, 1, 0, "zzz", 99);
  Symptom before = s;
  EXPECT_NE(TblFindFullSymptom(h_, &s, 0, kFindEqual), 0);
  EXPECT_EQ(memcmp(&s, &before, sizeof s), 0);
  // Mode 1 on the first record fails and keeps the key fields.
  s = MakeSymptom(0, 0, 0, 0, "");
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 0, kFindFirst), 0);
  before = s;
  EXPECT_EQ(TblFindFullSymptom(h_, &s, 0, kFindPrev), kErrEnd);
  EXPECT_EQ(OrvixError, kErrEnd);
  EXPECT_EQ(memcmp(&s, &before, sizeof s), 0);
  // The position stays: the next record follows the first.
  EXPECT_EQ(Step(s, 0, kFindNext), "beta");
}

TEST_F(SymptomTest, FindByOneKeyStepByAnother) {
  SymRec s = MakeSymptom(1, 0, 1, 0, "Alpha");
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 1, kFindEqual), 0);
  EXPECT_EQ(s.Sub, 2);
  EXPECT_EQ(Step(s, 0, kFindNext), "gamma");
  // In key 4, gamma (child of 1.2) follows delta (last child of 1.0).
  EXPECT_EQ(Step(s, 4, kFindPrev), "delta");
  EXPECT_EQ(Step(s, 1, kFindPrev), "beta");
  EXPECT_EQ(Step(s, 2, kFindNext), "Alpha");
}

TEST_F(SymptomTest, FirstChildByKey4WithEmptyText) {
  SymRec s = MakeSymptom(77, 7, 1, 0, "");
  EXPECT_EQ(Step(s, 4, kFindAtOrAfter), "beta");
  EXPECT_EQ(Step(s, 4, kFindNext), "Alpha");
  // The parent's own numbers in the child fields find the same child.
  s = MakeSymptom(1, 0, 1, 0, "x");
  EXPECT_EQ(Step(s, 4, kFindAtOrAfter), "beta");
  // A childless symptom: the search runs into the next parent's children.
  s = MakeSymptom(0, 0, 1, 1, "");
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 4, kFindAtOrAfter), 0);
  EXPECT_EQ(s.ParentSub, 2);
}

TEST_F(SymptomTest, ByTextIgnoresCase) {
  SymRec s = MakeSymptom(0, 0, 1, 0, "ALPHA");
  EXPECT_EQ(Step(s, 1, kFindEqual, true), "Alpha");
  s = MakeSymptom(0, 0, 1, 0, "BET");
  EXPECT_EQ(Step(s, 1, kFindAtOrAfter, true), "beta");
  SymRec e = MakeSymptom(4, 0, 1, 0, "\xe9t\xe9"); // été
  ASSERT_EQ(TblSaveSymptom(h_, &e, kSaveAdd), 0);
  s = MakeSymptom(0, 0, 1, 0, "\xc9T\xc9"); // ÉTÉ
  ASSERT_EQ(TblFindFullSymptomByText(h_, &s, 1, kFindEqual), 0);
  EXPECT_EQ(s.Num, 4u);
  s = MakeSymptom(0, 0, 3, 0, "alpha"); // another parent
  EXPECT_EQ(TblFindFullSymptomByText(h_, &s, 1, kFindEqual), kErrEnd);
  EXPECT_EQ(TblFindFullSymptomByText(h_, &s, 0, kFindEqual), kErrBadKey);
}

TEST_F(SymptomTest, TextsCompareAsUnsignedBytes) {
  SymRec e = MakeSymptom(1, 5, 1, 0, "\xe9p"); // é sorts after every ASCII
  ASSERT_EQ(TblSaveSymptom(h_, &e, kSaveAdd), 0);
  SymRec s = MakeSymptom(0, 0, 1, 0, "zzz");
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 1, kFindAtOrAfter), 0);
  EXPECT_EQ(s.Sub, 5);
}

TEST_F(SymptomTest, DuplicatePrimaryKeyIsRefused) {
  SymRec s = MakeSymptom(1, 2, 1, 0, "other");
  EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveAdd), kErrDuplicate);
  EXPECT_EQ(DbCountEntries(h_), 6);
  // Secondary keys allow equal values.
  s = MakeSymptom(1, 9, 1, 0, "beta", 11);
  EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveAdd), 0);
  // A replace may not take another record's key either.
  s = Found(2, 0);
  s.Sub = 0;
  s.Num = 3;
  EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), kErrDuplicate);
}

TEST_F(SymptomTest, StepAfterReplaceGoesOnFromTheNewPlace) {
  SymRec s = Found(1, 1);
  s.Num = 2;
  s.Sub = 5; // beta moves behind delta
  ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), 0);
  EXPECT_EQ(Step(s, 0, kFindNext), "MIND");
  EXPECT_EQ(Step(s, 0, kFindPrev), "beta");
  EXPECT_EQ(Walk(0),
            (Texts{"HEAD", "Alpha", "gamma", "delta", "beta", "MIND"}));
  // Renumbering from the last down, as the inserts do it.
  for (uint16_t sub = 3; sub >= 2; --sub) {
    s = Found(1, sub);
    s.Sub = static_cast<uint16_t>(sub + 1);
    ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), 0);
  }
  s = Found(1, 4);
  EXPECT_STREQ(s.Text1, "gamma");
}

TEST_F(SymptomTest, DeleteThenFindOldKeyGivesTheFollowingRecord) {
  SymRec s = Found(1, 2);
  ASSERT_EQ(TblDeleteSymptom(h_), 0);
  EXPECT_EQ(TblDeleteSymptom(h_), kErrNoCurrent);
  EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), kErrNoCurrent);
  EXPECT_EQ(Step(s, 0, kFindAtOrAfter), "gamma");
  // Stepping from a deleted record goes on from where it stood.
  s = Found(1, 3);
  ASSERT_EQ(TblDeleteSymptom(h_), 0);
  EXPECT_EQ(Step(s, 0, kFindNext), "delta");
  s = Found(2, 0);
  ASSERT_EQ(TblDeleteSymptom(h_), 0);
  EXPECT_EQ(Step(s, 0, kFindPrev), "beta");
  EXPECT_EQ(DbCountEntries(h_), 3);
}

TEST_F(SymptomTest, RemedyArraysGrowOnRead) {
  Symptom s = MakeSymptom(5, 0, 0, 0, "many");
  const int n = 40;
  s.Remedies = TblAllocSymptomRemed(n + 1);
  ASSERT_NE(s.Remedies, nullptr);
  EXPECT_EQ(TblSymptomRemedRoom(s.Remedies), n + 1);
  EXPECT_EQ(TblIsLastSymptomRemed(&s.Remedies[0]), 2);
  for (int i = 0; i < n; ++i)
    s.Remedies[i] =
        SymptomRemedy{static_cast<uint16_t>(100 + i), 3,
                      static_cast<uint16_t>(kAuthorUserBit | 7), 0x0003};
  s.RemedyCount = n;
  ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveAdd), 0);
  TblFreeSymptomRemed(&s);

  Symptom r = MakeSymptom(5, 0, 0, 0, "");
  r.Remedies = TblAllocSymptomRemed(1);
  ASSERT_EQ(TblFindFullSymptom(h_, &r, 0, kFindEqual), 0);
  ASSERT_GE(TblSymptomRemedRoom(r.Remedies), n + 1);
  int count = 0;
  while (TblIsLastSymptomRemed(&r.Remedies[count]) == 1)
    ++count;
  EXPECT_EQ(count, n);
  EXPECT_EQ(r.Remedies[n - 1].RemedyId, 100 + n - 1);
  EXPECT_EQ(r.Remedies[0].AuthorId, kAuthorUserBit | 7);
  EXPECT_EQ(r.Remedies[n].ViewBits, 0xffff);
  // A record with fewer remedies leaves only its own in the array.
  SymptomRemedy *same = r.Remedies;
  r.Num = 1;
  r.Sub = 0;
  ASSERT_EQ(TblFindFullSymptom(h_, &r, 0, kFindEqual), 0);
  EXPECT_EQ(r.Remedies, same);
  EXPECT_EQ(TblIsLastSymptomRemed(&r.Remedies[0]), 2);
  TblClearSymptom(&r);
  EXPECT_EQ(r.Remedies, same);
  EXPECT_EQ(r.Num, 0u);
  EXPECT_EQ(r.CursorState, 0xff);
  TblFreeSymptomRemed(&r);
  EXPECT_EQ(r.Remedies, nullptr);
}

TEST_F(SymptomTest, LongTextsAreCutAtTheirField) {
  SymRec s = MakeSymptom(6, 0, 0, 0, "");
  memset(s.Text1, 'x', sizeof s.Text1); // no terminator at all
  memset(s.CrossRef1, 'r', sizeof s.CrossRef1 - 1);
  ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveAdd), 0);
  SymRec r = MakeSymptom(6, 0, 0, 0, "");
  ASSERT_EQ(TblFindFullSymptom(h_, &r, 0, kFindEqual), 0);
  EXPECT_EQ(strlen(r.Text1), sizeof r.Text1 - 1);
  EXPECT_EQ(strlen(r.CrossRef1), sizeof r.CrossRef1 - 1);
}

TEST_F(SymptomTest, SurvivesCloseAndIndexLoss) {
  ASSERT_NO_FATAL_FAILURE(Reopen());
  EXPECT_EQ(Walk(1), kByText);
  SaveSymptom(h_, 7, 0, 0, 0, 0, "late");
  ASSERT_EQ(DbCloseFile(h_), 0);

  std::filesystem::remove(root_ / "sym.idx");
  EXPECT_EQ(TblOpenSymptom("sym", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
  ASSERT_EQ(TblRebuildSymptom("sym", 0, 1), 0);
  h_ = TblOpenSymptom("sym", 1, 1);
  ASSERT_NE(h_, 0) << OrvixError;
  EXPECT_EQ(DbCountEntries(h_), 7);
  EXPECT_EQ(Walk(0).back(), "late");
}

TEST_F(SymptomTest, SnapshotKeysNotYetUsedAreWrittenBack) {
  // Keys come from the snapshot at their first use; a close after writes
  // that touched none of them (a resource, an id) must still keep them all.
  ASSERT_NO_FATAL_FAILURE(Reopen());
  Resource r = MakeResource(kResAlmanacumType, kResAlmanacumId, "y");
  ASSERT_EQ(DbAddResource(h_, &r), 0);
  EXPECT_GT(TblGetNewSptId(h_, 0), 30);
  ASSERT_NO_FATAL_FAILURE(Reopen());
  EXPECT_EQ(Walk(1), kByText);
  EXPECT_EQ(Walk(4), kByParent);
  SymRec s = MakeSymptom(0, 0, 1, 0, "GAMMA");
  EXPECT_EQ(TblFindFullSymptomByText(h_, &s, 1, kFindEqual), kErrEnd);
  s.ParentSub = 2;
  EXPECT_EQ(TblFindFullSymptomByText(h_, &s, 1, kFindEqual), 0);
}

TEST_F(SymptomTest, StaleIndexIsRefused) {
  ASSERT_EQ(DbCloseFile(h_), 0);
  std::string oldIdx = Slurp("sym.idx");
  h_ = TblOpenSymptom("sym", 1, 1);
  SaveSymptom(h_, 7, 0, 0, 0, 0, "late");
  ASSERT_EQ(DbCloseFile(h_), 0);
  Spit("sym.idx", oldIdx); // the snapshot from before the save
  h_ = TblOpenSymptom("sym", 1, 1);
  EXPECT_EQ(h_, 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
}

TEST_F(SymptomTest, ClosesAppendToTheIndexAndKeepEveryOrderRight) {
  // Each round changes a record without touching a key, then renames one;
  // the index file takes what changed at each close, stays within bounds,
  // and every order is right after each reopen.
  ASSERT_EQ(DbCloseFile(h_), 0);
  auto size = [&] { return std::filesystem::file_size(root_ / "sym.idx"); };
  const auto first = size();
  std::string name = "delta";
  for (int round = 0; round < 40; ++round) {
    h_ = TblOpenSymptom("sym", 1, 1);
    ASSERT_NE(h_, 0) << "round " << round << ": " << OrvixError;
    SymRec s = Found(2, 0);
    s.Level = static_cast<uint8_t>(round % 7);
    ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), 0);
    if (round % 4 == 3) {
      name = name == "delta" ? "epsilon" : "delta";
      StrCopy(s.Text1, name.c_str());
      ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), 0);
    }
    ASSERT_EQ(DbCloseFile(h_), 0);
    h_ = TblOpenSymptom("sym", 1, 1);
    ASSERT_NE(h_, 0) << "round " << round << ": " << OrvixError;
    EXPECT_EQ(Walk(1), (Texts{"HEAD", "MIND", "Alpha", "beta", name, "gamma"}))
        << "round " << round;
    EXPECT_EQ(Walk(0), (Texts{"HEAD", "beta", "Alpha", "gamma", name, "MIND"}));
    SymRec d = MakeSymptom(0, 0, 1, 0, name.c_str());
    EXPECT_EQ(TblFindFullSymptomByText(h_, &d, 1, kFindEqual), 0) << round;
    EXPECT_EQ(d.Level, round % 7);
    ASSERT_EQ(DbCloseFile(h_), 0);
    EXPECT_LE(size(), 3 * first) << "round " << round;
  }
  EXPECT_GT(size(), first) << "the file was appended to, not rewritten";
  h_ = TblOpenSymptom("sym", 1, 1);
  ASSERT_NE(h_, 0);
}

TEST_F(SymptomTest, AnAppendCutShortLeavesAStaleIndex) {
  // A close that appended its parts but died before the header: the old
  // header still names the old data length and the index is refused.
  ASSERT_EQ(DbCloseFile(h_), 0);
  std::string before = Slurp("sym.idx");
  h_ = TblOpenSymptom("sym", 1, 1);
  SymRec s = Found(3, 0);
  s.Level = 9;
  ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), 0);
  ASSERT_EQ(DbCloseFile(h_), 0);
  std::string after = Slurp("sym.idx");
  ASSERT_GT(after.size(), before.size());
  Spit("sym.idx", before.substr(0, 512) + after.substr(512));
  h_ = TblOpenSymptom("sym", 1, 1);
  EXPECT_EQ(h_, 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
  ASSERT_EQ(TblRebuildSymptom("sym", 0, 1), 0);
  h_ = TblOpenSymptom("sym", 1, 1);
  ASSERT_NE(h_, 0);
  s = Found(3, 0);
  EXPECT_EQ(s.Level, 9) << "the save itself was in the data file";
}

TEST_F(SymptomTest, NewIdsRiseAndPersist) {
  long a = TblGetNewSptId(h_, 0);
  EXPECT_EQ(a, 31); // above the highest id in use
  long b = TblGetNewSptId(h_, 0);
  EXPECT_EQ(b, 32); // an id given out is not given again
  EXPECT_EQ(TblGetNewSptId(h_, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadArg);
  SymRec s = MakeSymptom(9, 0, 0, 0, "big", 500);
  ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveAdd), 0);
  EXPECT_EQ(TblGetNewSptId(h_, 0), 501);
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 0, kFindEqual), 0);
  ASSERT_EQ(TblDeleteSymptom(h_), 0);
  ASSERT_EQ(DbCloseFile(h_), 0);
  h_ = TblOpenSymptom("sym", 1, 1);
  EXPECT_EQ(TblGetNewSptId(h_, 0), 502);
  ASSERT_EQ(DbCloseFile(h_), 0);
  ASSERT_EQ(TblRebuildSymptom("sym", 0, 1), 0);
  h_ = TblOpenSymptom("sym", 1, 1);
  EXPECT_EQ(TblGetNewSptId(h_, 0), 503);

  ASSERT_NE(TblCreateSymptom("empty", 1, 1), 0);
  EXPECT_EQ(TblGetNewSptId(h_ + 1, 0), 1);
}

TEST_F(SymptomTest, Resources) {
  Resource r = MakeResource(kResAddedType, kResAddedId, "");
  EXPECT_EQ(DbGetResource(h_, &r, &r, 2), kErrEnd);
  EXPECT_EQ(DbUpdateResource(h_, &r), kErrEnd);
  r.Length = static_cast<uint32_t>(StrCopy(r.Text, "1"));
  ASSERT_EQ(DbAddResource(h_, &r), 0);
  EXPECT_EQ(DbAddResource(h_, &r), kErrDuplicate);
  r.Length = static_cast<uint32_t>(StrCopy(r.Text, "42"));
  ASSERT_EQ(DbUpdateResource(h_, &r), 0);
  Resource kind = MakeResource(kResRepKindType, kResRepKindId, "3");
  ASSERT_EQ(DbAddResource(h_, &kind), 0);
  ASSERT_EQ(DbCloseFile(h_), 0);
  ASSERT_EQ(TblRebuildSymptom("sym", 0, 1), 0);
  h_ = TblOpenSymptom("sym", 1, 1);
  Resource got = MakeResource(kResAddedType, kResAddedId, "");
  memset(got.Text, 'z', sizeof got.Text); // a read must end the text
  ASSERT_EQ(DbGetResource(h_, &got, &got, 2), 0);
  EXPECT_EQ(got.Length, 2u);
  EXPECT_STREQ(got.Text, "42");
  got.Type = kResRepKindType;
  got.Id = kResRepKindId;
  ASSERT_EQ(DbGetResource(h_, &got, &got, 2), 0);
  EXPECT_STREQ(got.Text, "3");
  got.Length = 5000;
  EXPECT_EQ(DbUpdateResource(h_, &got), kErrTooLarge);
}

TEST_F(SymptomTest, HandlesShareTheTableAndKeepTheirCursors) {
  TblHandle g = TblOpenSymptom("SYM", 1, 1); // the same table, any case
  ASSERT_NE(g, 0) << OrvixError;
  SymRec a = MakeSymptom(0, 0, 0, 0, ""), b = a;
  ASSERT_EQ(TblFindFullSymptom(h_, &a, 0, kFindFirst), 0);
  ASSERT_EQ(TblFindFullSymptom(g, &b, 0, kFindLast), 0);
  ASSERT_EQ(TblFindFullSymptom(h_, &a, 0, kFindNext), 0);
  ASSERT_EQ(TblFindFullSymptom(g, &b, 0, kFindPrev), 0);
  EXPECT_STREQ(a.Text1, "beta");
  EXPECT_STREQ(b.Text1, "delta");
  SymRec n = MakeSymptom(1, 1, 1, 0, "");
  ASSERT_EQ(TblFindFullSymptom(g, &n, 0, kFindEqual), 0);
  StrCopy(n.Text1, "BETA changed");
  ASSERT_EQ(TblSaveSymptom(g, &n, kSaveReplace), 0);
  EXPECT_EQ(Step(a, 0, kFindEqual), "BETA changed");
  ASSERT_EQ(DbCloseFile(g), 0);
  EXPECT_EQ(DbCloseFile(g), kErrNotOpen);
  ASSERT_EQ(TblFindFullSymptom(h_, &a, 0, kFindNext), 0); // still open
  EXPECT_STREQ(a.Text1, "Alpha");
}

TEST_F(SymptomTest, OpenWithoutIndexReadsInFileOrder) {
  SymRec s = Found(1, 1);
  StrCopy(s.Text2, "rewritten"); // a replace moves beta to the file's end
  ASSERT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), 0);
  ASSERT_EQ(DbCloseFile(h_), 0);
  std::filesystem::remove(root_ / "sym.idx");
  h_ = TblOpenSymptom("sym", 0, 0);
  ASSERT_NE(h_, 0) << OrvixError;
  EXPECT_EQ(Walk(0),
            (Texts{"HEAD", "Alpha", "gamma", "delta", "MIND", "beta"}));
  SaveSymptom(h_, 0, 5, 0, 0, 0, "first in book order");
  EXPECT_EQ(Walk(0).back(), "first in book order");
  ASSERT_EQ(DbCloseFile(h_), 0);
  ASSERT_EQ(TblRebuildSymptom("sym", 0, 1), 0);
  h_ = TblOpenSymptom("sym", 1, 1);
  ASSERT_NE(h_, 0);
  EXPECT_EQ(Walk(0).front(), "first in book order");
}

TEST_F(SymptomTest, PathsTakeBackslashesAndAnyCase) {
  std::filesystem::create_directories(root_ / "Data" / "Rep");
  TblHandle t = TblCreateSymptom("Data\\Rep\\Symptom", 1, 1);
  ASSERT_NE(t, 0) << OrvixError;
  EXPECT_TRUE(std::filesystem::exists(root_ / "Data" / "Rep" / "Symptom.dat"));
  EXPECT_EQ(TblCreateSymptom("data\\rep\\symptom", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrExists);
  ASSERT_EQ(DbCloseFile(t), 0);
  t = TblOpenSymptom("DATA\\REP\\SYMPTOM", 1, 1);
  EXPECT_NE(t, 0) << OrvixError;
  EXPECT_EQ(TblOpenSymptom("Data\\Rep\\none", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrNoFile);
  EXPECT_EQ(TblRebuildSymptom("Data\\Rep\\none", 0, 1), kErrNoFile);
  std::string tooLong(300, 'a');
  EXPECT_EQ(TblOpenSymptom(tooLong.c_str(), 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadPath);
  EXPECT_EQ(TblCreateSymptom("no\\such\\folder\\sym", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadPath);
  // A table open here is not rebuilt under its user's feet.
  EXPECT_EQ(TblRebuildSymptom("data\\rep\\symptom", 0, 1), kErrInUse);
}

} // namespace
