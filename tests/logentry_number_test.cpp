// Numbering a new entry of a log table.
#include "logentry/logentry.h"
#include "store_fixture.h"

#include <string>

namespace {

class LogNumbering : public StoreTest {
protected:
  // Stores an entry of the number and operation, with a small text.
  void Add(int32_t number, int op) {
    static char buffer[kLogTextSize];
    LogEntry e;
    LogClearEntry(&e, buffer);
    StrCopy(buffer, kLogTextSize,
            "0\x01Mind\x01"
            "Acon.\x01Kent\x01"
            "2");
    e.number = number;
    e.operation = static_cast<uint16_t>(op);
    ASSERT_EQ(TblSaveRlog(log_, &e, kSaveAdd), 0) << number;
  }
  void SetUp() override {
    StoreTest::SetUp();
    log_ = TblCreateRlog("rlog", 0, 1, 3);
    ASSERT_NE(log_, 0) << OrvixError;
  }
  void TearDown() override {
    DbCloseFile(log_);
    StoreTest::TearDown();
  }
  TblHandle log_ = 0;
};

TEST_F(LogNumbering, EmptyLogStartsAtOneThenNextAfterTheLastEntry) {
  EXPECT_EQ(LogNextNumber(log_), 1);
  Add(1, OpAddRemedy);
  Add(2, OpDeleteRemedy);
  EXPECT_EQ(LogNextNumber(log_), 3);
  Add(40, OpChangeDegree);
  Add(7, OpAddRemedy); // stored later, but not last by number
  EXPECT_EQ(LogNextNumber(log_), 41);
}

TEST_F(LogNumbering, UnreadableLogStartsAtOne) {
  Add(5, OpAddRemedy);
  EXPECT_EQ(LogNextNumber(0), 1);
  DbCloseFile(log_);
  EXPECT_EQ(LogNextNumber(log_), 1); // a handle that is no longer open
  log_ = TblOpenRlog("rlog", 0, 1);
  ASSERT_NE(log_, 0);
  EXPECT_EQ(LogNextNumber(log_), 6);
}

TEST_F(LogNumbering, EntryRoundTripKeepsTextAndUnusableId) {
  static char buffer[kLogTextSize];
  LogEntry e;
  LogClearEntry(&e, buffer);
  const std::string text("1\x01Mind \x02 fear\x01"
                         "1\x01"
                         "0\x01"
                         "0\x01"
                         "0\x01"
                         "1\x01\x01"
                         "a\nb");
  StrCopy(buffer, kLogTextSize, text.c_str());
  e.number = LogNextNumber(log_);
  e.operation = OpChangeNote;
  e.symptomId = 1000000;
  e.tag = 99;
  ASSERT_EQ(TblSaveRlog(log_, &e, kSaveAdd), 0);
  static char back[kLogTextSize];
  LogEntry r;
  LogClearEntry(&r, back);
  r.number = 1;
  ASSERT_EQ(TblFindFullRlog(log_, &r, 0, kFindEqual), 0) << OrvixError;
  EXPECT_EQ(std::string(back), text);
  EXPECT_EQ(r.symptomId, 1000000);
  EXPECT_EQ(r.tag, 99);
  EXPECT_EQ(r.operation, OpChangeNote);
  // Split, the empty old text still has its offset; joined, all is back.
  FieldOffsets off;
  LogSplitFields(back, off);
  EXPECT_NE(off[7], 0);
  LogJoinFields(back, text.size());
  EXPECT_EQ(std::string(back), text);
  EXPECT_EQ(LogNextNumber(log_), 2);
}

} // namespace
