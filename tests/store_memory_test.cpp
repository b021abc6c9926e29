// A save whose frame is written and whose index update then runs out of
// memory: the record stays stored, and every order is right by its next use.
// The index's test hook makes the Nth insert fail as a failed allocation
// would.
#include "store/index.h"
#include "store_fixture.h"
#include "tbljson.h"

#include <cstdio>
#include <map>
#include <string>

namespace {

// Texts with a long common start, so that the orders of keys 1 and 3 (and
// their folded twins) cannot tell entries apart by their first 16 bytes and
// read the records' frames to compare. The book order of language 2 (key 2)
// follows `Num`.
void Texts(Symptom &s, int n, const char *tag) {
  s.Num2 = s.Num;
  StrFormat(s.Text1, "Angst und Unruhe am Abend %03d%s", n, tag);
  StrFormat(s.Text2, "Anxiety and restlessness %03d%s", n, tag);
}

class StoreMemoryTest : public StoreTest {
protected:
  static constexpr int kCount = 300; // several chunks of 64 in every order

  void SetUp() override {
    StoreTest::SetUp();
    TblHandle h = TblCreateSymptom("sym", 1, 1);
    ASSERT_NE(h, 0);
    for (int i = 1; i <= kCount; ++i) {
      SymRec s = MakeSymptom(static_cast<uint32_t>(i), 0, 0, 0, "", i);
      Texts(s, i, "");
      ASSERT_EQ(TblSaveSymptom(h, &s, kSaveAdd), 0);
      want_[i] = s.Text1;
    }
    ASSERT_EQ(DbCloseFile(h), 0);
    h_ = TblOpenSymptom("sym", 0, 1);
    ASSERT_NE(h_, 0);
  }
  void TearDown() override {
    IdxInsertsBeforeFailure = 0;
    StoreTest::TearDown();
  }

  // No fault that tbltool's check finds: every key walked both ways, every
  // record found by its primary key, the sequential open. It opens the
  // table a second time, which in this process is a new handle on the same
  // orders in memory.
  void ExpectNoFaults() {
    long faults = -1;
    std::string report = Captured([&](FILE *out) {
      EXPECT_EQ(TjCheck(TjFindFamily("symptom"), "sym", out, &faults), 0);
    });
    EXPECT_EQ(faults, 0) << report;
  }

  // The records by key 0 are exactly those expected, with their texts.
  void ExpectContents() {
    std::map<int, std::string> seen;
    SymRec s = MakeSymptom(0, 0, 0, 0, "");
    for (int mode = kFindFirst; TblFindFullSymptom(h_, &s, 0, mode) == 0;
         mode = kFindNext)
      seen[static_cast<int>(s.Num)] = s.Text1;
    EXPECT_EQ(OrvixError, kErrEnd);
    EXPECT_EQ(seen, want_);
    EXPECT_EQ(DbCountEntries(h_), static_cast<long>(want_.size()));
  }

  // Finds the record by each key under its values in `s`.
  void ExpectFoundByEveryKey(const Symptom &s) {
    for (int key : {0, 1, 2, 3, 4, 8}) {
      SymRec probe = s;
      EXPECT_EQ(TblFindFullSymptom(h_, &probe, key, kFindEqual), 0)
          << "key " << key << ", " << s.Text1;
      EXPECT_EQ(probe.Num, s.Num) << "key " << key;
    }
    for (int key : {1, 3}) {
      SymRec probe = s;
      EXPECT_EQ(TblFindFullSymptomByText(h_, &probe, key, kFindEqual), 0)
          << "folded key " << key;
      EXPECT_EQ(probe.Num, s.Num) << "folded key " << key;
    }
  }

  TblHandle h_ = 0;
  std::map<int, std::string> want_;
};

// A rename changes all eight orders of a symptom (both texts, the number,
// the unique id). The insert into each of them in turn is made to fail.
TEST_F(StoreMemoryTest, RenameThatRunsOutOfMemoryKeepsEveryOrderRight) {
  for (int n = 1; n <= 8; ++n) {
    SCOPED_TRACE("failing insert " + std::to_string(n));
    SymRec s = MakeSymptom(static_cast<uint32_t>(n), 0, 0, 0, "");
    ASSERT_EQ(TblFindFullSymptom(h_, &s, 0, kFindEqual), 0);
    SymRec old = s;
    s.Num = static_cast<uint32_t>(1000 + n);
    s.UniqueId = 5000 + n;
    Texts(s, n, " neu");
    IdxInsertsBeforeFailure = n;
    EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), kErrNoMemory);
    EXPECT_EQ(IdxInsertsBeforeFailure, 0);
    want_.erase(n);
    want_[1000 + n] = s.Text1;

    // The record is stored and current; the old version is found nowhere.
    ExpectFoundByEveryKey(s);
    for (int key : {0, 8}) {
      SymRec probe = old;
      EXPECT_EQ(TblFindFullSymptom(h_, &probe, key, kFindEqual), kErrEnd)
          << "old version by key " << key;
    }
    ExpectContents();
    ExpectNoFaults();
  }
  // The snapshot written at the close holds the mended orders.
  ASSERT_EQ(DbCloseFile(h_), 0);
  h_ = TblOpenSymptom("sym", 0, 1);
  ASSERT_NE(h_, 0);
  ExpectContents();
  ExpectNoFaults();
}

TEST_F(StoreMemoryTest, AddThatRunsOutOfMemoryIsStoredAndUniqueKeysHold) {
  SymRec s = MakeSymptom(777, 0, 0, 0, "", 777);
  Texts(s, 777, "");
  IdxInsertsBeforeFailure = 3;
  EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveAdd), kErrNoMemory);
  want_[777] = s.Text1;
  ExpectFoundByEveryKey(s);
  ExpectContents();
  // The unique key 0 is held: the order that missed the record was sorted
  // again before the test of a second add.
  SymRec again = s;
  EXPECT_EQ(TblSaveSymptom(h_, &again, kSaveAdd), kErrDuplicate);
  // The record can be changed and deleted like any other.
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 8, kFindEqual), 0);
  Texts(s, 777, " neu");
  EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), 0);
  EXPECT_EQ(TblDeleteSymptom(h_), 0);
  want_.erase(777);
  ExpectContents();
  ExpectNoFaults();
}

// A handle opened without the index walks the file order, which a save
// keeps too; when its insert fails, the order is built again for the walk.
TEST_F(StoreMemoryTest, FileOrderThatMissesAnInsertIsBuiltAgain) {
  TblHandle seq = TblOpenSymptom("sym", 0, 0);
  ASSERT_NE(seq, 0);
  SymRec s = MakeSymptom(5, 0, 0, 0, "");
  ASSERT_EQ(TblFindFullSymptom(h_, &s, 0, kFindEqual), 0);
  Texts(s, 5, " neu"); // keys 1 and 3 and their twins change: four orders
  IdxInsertsBeforeFailure = 5; // the four orders go in, the file order not
  EXPECT_EQ(TblSaveSymptom(h_, &s, kSaveReplace), kErrNoMemory);
  want_[5] = s.Text1;

  std::map<int, std::string> walked;
  SymRec r = MakeSymptom(0, 0, 0, 0, "");
  int rows = 0;
  for (int mode = kFindFirst; TblFindFullSymptom(seq, &r, 0, mode) == 0;
       mode = kFindNext, ++rows)
    walked[static_cast<int>(r.Num)] = r.Text1;
  EXPECT_EQ(rows, kCount); // each record once, in its last version
  EXPECT_EQ(walked, want_);
  EXPECT_EQ(DbCloseFile(seq), 0);
  ExpectContents();
}

} // namespace
