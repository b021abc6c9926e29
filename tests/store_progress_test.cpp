// The progress hook of long store work: it sees the work advance, and a
// stop leaves the table exactly as it was, with no scratch file behind.
#include "ops/verify.h"
#include "store/progress.h"
#include "store_fixture.h"
#include "tbljson.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

struct Seen {
  std::vector<long> done;
  long total = 0;
  size_t stopAt = 0; // stop at this call (from 1); 0 never
};
Seen *gSeen = nullptr;

int Hook(const char *, long done, long total) {
  gSeen->done.push_back(done);
  gSeen->total = total;
  return gSeen->stopAt != 0 && gSeen->done.size() >= gSeen->stopAt;
}

class StoreProgress : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    gSeen = &seen_;
    DbProgressHook = Hook;
  }
  void TearDown() override {
    DbProgressHook = nullptr;
    gSeen = nullptr;
    StoreTest::TearDown();
  }
  // A remedy table of n records, written as JSON Lines and loaded.
  std::string Lines(int n) {
    std::string s;
    for (int i = 1; i <= n; ++i)
      s += "{\"Id\":" + std::to_string(i) + ",\"Abbrev\":\"r" +
           std::to_string(i) + "\"}\n";
    return s;
  }
  int Load(const char *path, const std::string &text, std::string *msg) {
    FILE *in = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    char buf[512];
    int err = TjLoad(TjFindFamily("remed"), path, in, buf, sizeof buf);
    fclose(in);
    if (msg != nullptr)
      *msg = buf;
    return err;
  }
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (auto &e : std::filesystem::directory_iterator(root_))
      names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  Seen seen_;
};

TEST_F(StoreProgress, LoadReportsAndAStopWritesNothing) {
  seen_.stopAt = 4;
  std::string msg;
  EXPECT_EQ(Load("remed", Lines(20000), &msg), kErrStopped);
  EXPECT_NE(msg.find("nothing was written"), std::string::npos) << msg;
  EXPECT_TRUE(Files().empty()); // neither the table nor its scratch files

  seen_ = Seen();
  ASSERT_EQ(Load("remed", Lines(20000), &msg), 0) << msg;
  ASSERT_GE(seen_.done.size(), 8u);
  EXPECT_EQ(seen_.total, 20000);
  for (size_t i = 1; i < seen_.done.size(); ++i) {
    // the reading pass, then the loading pass, each from 0
    EXPECT_TRUE(seen_.done[i] == 0 || seen_.done[i] > seen_.done[i - 1]);
  }
  EXPECT_EQ((std::vector<std::string>{"remed.dat", "remed.idx"}), Files());
}

TEST_F(StoreProgress, RebuildStoppedLeavesBothFilesAsTheyWere) {
  ASSERT_EQ(Load("remed", Lines(20000), nullptr), 0);
  // A stale index: the rebuild has real work to do.
  std::filesystem::remove(root_ / "remed.idx");
  Spit("remed.idx", "not an index");
  std::string dat = Slurp("remed.dat");

  seen_ = Seen();
  seen_.stopAt = 2;
  EXPECT_EQ(TjRebuild(TjFindFamily("remed"), "remed"), kErrStopped);
  EXPECT_EQ(Slurp("remed.dat"), dat);
  EXPECT_EQ(Slurp("remed.idx"), "not an index");
  EXPECT_EQ((std::vector<std::string>{"remed.dat", "remed.idx"}), Files());

  seen_ = Seen();
  ASSERT_EQ(TjRebuild(TjFindFamily("remed"), "remed"), 0);
  EXPECT_EQ(seen_.total, 20000);
  EXPECT_GE(seen_.done.size(), 4u);
  long faults = -1;
  EXPECT_EQ(TjCheck(TjFindFamily("remed"), "remed", nullptr, &faults), 0);
  EXPECT_EQ(faults, 0);
}

TEST_F(StoreProgress, CheckCountsEveryWalkAndStops) {
  ASSERT_EQ(Load("remed", Lines(20000), nullptr), 0);
  seen_ = Seen();
  long faults = -1;
  ASSERT_EQ(TjCheck(TjFindFamily("remed"), "remed", nullptr, &faults), 0);
  EXPECT_EQ(faults, 0);
  ASSERT_FALSE(seen_.done.empty());
  // The last report comes near the end of all walks, never beyond it.
  EXPECT_LE(seen_.done.back(), seen_.total);
  EXPECT_GT(seen_.done.back(), seen_.total - 4096);

  seen_ = Seen();
  seen_.stopAt = 3;
  EXPECT_EQ(TjCheck(TjFindFamily("remed"), "remed", nullptr, &faults),
            kErrStopped);
  EXPECT_EQ(seen_.done.size(), 3u);
  // The table stays usable: a check without a stop is clean.
  seen_ = Seen();
  EXPECT_EQ(TjCheck(TjFindFamily("remed"), "remed", nullptr, &faults), 0);
  EXPECT_EQ(faults, 0);
}

TEST_F(StoreProgress, VerifyStoppedAnswersMinusOne) {
  std::filesystem::create_directory(root_ / "rep");
  TblHandle h = TblCreateSymptom("rep\\symptom", 1, 1);
  ASSERT_NE(h, 0);
  for (uint32_t i = 1; i <= 3000; ++i) {
    Symptom s = MakeSymptom(i, 0, 0, 0, "Chapter");
    s.Level = 1;
    s.Chapter = static_cast<uint8_t>(i);
    ASSERT_EQ(TblSaveSymptom(h, &s, kSaveAdd), 0);
  }
  // The other tables empty; a handle that failed (0) would not close.
  for (TblHandle t :
       {h, TblCreateExtract("rep\\extract", 1, 1),
        TblCreateWord("rep\\word1", 1, 1), TblCreateWord("rep\\word2", 1, 1)})
    ASSERT_EQ(DbCloseFile(t), 0);
  auto none = [](const char *, void *) {};
  seen_ = Seen();
  EXPECT_EQ(VerifyRepertory("rep", none, nullptr), 0);
  EXPECT_EQ(seen_.total, 3000);
  EXPECT_EQ(seen_.done.size(), 2u); // at 1024 and 2048
  seen_ = Seen();
  seen_.stopAt = 1;
  EXPECT_EQ(VerifyRepertory("rep", none, nullptr), -1);
}

} // namespace
