// The extraction table build on small repertories made for each case.
#include "platform/strutil.h"
#include "store/store.h"
#include "store_fixture.h"
#include "transfers/extractbuild.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace {

// (RemedyId, Seq) -> its entries as (Num, Sub, Degree, AuthorId, ViewBits).
using Entry = std::tuple<uint32_t, uint16_t, uint8_t, uint16_t, uint16_t>;
using Chains = std::map<std::pair<int, int>, std::vector<Entry>>;

class ExtractBuildTest : public StoreTest {
protected:
  ExtractBuildTest() : StoreTest("extract") {}
  void SetUp() override {
    std::filesystem::create_directories(root_ / "rep");
    StoreTest::SetUp();
    sym_ = TblCreateSymptom("rep\\symptom", 1, 1);
    ASSERT_NE(sym_, 0);
  }
  void TearDown() override {
    if (sym_)
      DbCloseFile(sym_);
    StoreTest::TearDown();
  }
  void Remedies(std::initializer_list<int> ids) {
    TblHandle h = TblCreateRemed("remed", 1, 1);
    ASSERT_NE(h, 0);
    static Remed r;
    for (int id : ids) {
      r.CursorState = 0xff;
      TblClearRemed(&r);
      r.Id = static_cast<uint16_t>(id);
      StrFormat(r.Abbrev, "R%d.", id);
      ASSERT_EQ(TblSaveRemed(h, &r, kSaveAdd), 0);
    }
    DbCloseFile(h);
  }
  void AddSymptom(uint32_t num, uint16_t sub,
                  std::vector<SymptomRemedy> remedies) {
    static Symptom s;
    s.CursorState = 0xff;
    s.Remedies = TblAllocSymptomRemed(static_cast<int>(remedies.size()) + 1);
    TblClearSymptom(&s);
    s.Num = num;
    s.Sub = sub;
    s.Level = 2;
    StrFormat(s.Text1, "s%u-%u", num, sub);
    for (size_t i = 0; i < remedies.size(); ++i)
      s.Remedies[i] = remedies[i];
    s.Remedies[remedies.size()] = SymptomRemedy{0, 0, 0, 0xffff};
    EXPECT_EQ(TblSaveSymptom(sym_, &s, kSaveAdd), 0) << OrvixError;
    TblFreeSymptomRemed(&s);
  }
  int Build() {
    DbCloseFile(sym_);
    sym_ = 0;
    notes_.clear();
    ExtractBuildHooks hooks{
        [](void *ctx) {
          ExtractBuildTest *t = static_cast<ExtractBuildTest *>(ctx);
          return t->stopAfter_ < 0 || t->polls_++ < t->stopAfter_ ? 1 : 0;
        },
        nullptr,
        [](const char *text, void *ctx) {
          static_cast<ExtractBuildTest *>(ctx)->notes_.push_back(text);
        },
        this};
    return ExtractBuild("rep\\symptom", "rep\\extract", "remed", "rep\\",
                        hooks);
  }
  Chains Read() {
    Chains out;
    TblHandle h = TblOpenExtract("rep\\extract", 1, 1);
    EXPECT_NE(h, 0);
    static Extract rec;
    rec = BlankExtract(0);
    for (int r = TblFindFullExtract(h, &rec, 0, kFindFirst, nullptr);
         r == 0 && OrvixError == 0;
         r = TblFindFullExtract(h, &rec, 0, kFindNext, nullptr)) {
      std::vector<Entry> &v = out[{rec.RemedyId, rec.Seq}];
      for (int i = 0; TblIsLastExtractSymptom(&rec.Entries[i]) != 2; ++i)
        v.emplace_back(rec.Entries[i].Num, rec.Entries[i].Sub,
                       rec.Entries[i].Degree, rec.Entries[i].AuthorId,
                       rec.Entries[i].ViewBits);
    }
    DbCloseFile(h);
    return out;
  }

public:
  std::vector<std::string> notes_;

protected:
  TblHandle sym_ = 0;
  int stopAfter_ = -1, polls_ = 0;
};

TEST_F(ExtractBuildTest, InvertsTheSymptomsEntryForEntry) {
  Remedies({3, 7, 12});
  AddSymptom(10, 0, {{7, 2, 1, 0}, {3, 1, 0x8002, 5}});
  AddSymptom(10, 1, {{7, 4, 1, 1}});
  AddSymptom(20, 0, {{12, 3, 4, 0}, {7, 1, 3, 2}});
  AddSymptom(30, 0, {});
  ASSERT_EQ(Build(), kExtractOk);
  EXPECT_TRUE(notes_.empty());
  Chains c = Read();
  EXPECT_EQ(c, (Chains{
                   {{3, 0}, {Entry{10, 0, 1, 0x8002, 5}}},
                   {{7, 0},
                    {Entry{10, 0, 2, 1, 0}, Entry{10, 1, 4, 1, 1},
                     Entry{20, 0, 1, 3, 2}}},
                   {{12, 0}, {Entry{20, 0, 3, 4, 0}}},
               }));
  // The scratch file stays: three blocks, one per remedy.
  EXPECT_EQ(std::filesystem::file_size(root_ / "rep" / "extract.bin"),
            3u * kExtractBlockSize);
  // A second build starts from nothing and comes to the same.
  ASSERT_EQ(Build(), kExtractOk);
  EXPECT_EQ(Read(), c);
}

TEST_F(ExtractBuildTest, AChainTakesAnotherBlockAfter255Entries) {
  Remedies({1, 2});
  for (uint16_t i = 0; i < 256; ++i)
    AddSymptom(100 + i / 100, i % 100, {{1, 1, 1, 0}, {2, 2, 1, 0}});
  // Remedy 2 loses its last entry: 255, which still fit one block.
  static Symptom s;
  s = MakeSymptom(102, 55, 0, 0, "");
  ASSERT_EQ(TblFindFullSymptom(sym_, &s, 0, kFindEqual), 0);
  s.Remedies[1] = SymptomRemedy{0, 0, 0, 0xffff};
  ASSERT_EQ(TblSaveSymptom(sym_, &s, kSaveReplace), 0);
  TblFreeSymptomRemed(&s);
  ASSERT_EQ(Build(), kExtractOk);
  Chains c = Read();
  ASSERT_EQ(c.size(), 3u);
  EXPECT_EQ(c[std::make_pair(1, 0)].size(), 255u);
  EXPECT_EQ(c[std::make_pair(1, 1)].size(), 1u);
  EXPECT_EQ(c[std::make_pair(2, 0)].size(), 255u);
  EXPECT_EQ(std::get<0>(c[std::make_pair(1, 1)][0]), 102u);
  EXPECT_EQ(std::get<1>(c[std::make_pair(1, 1)][0]), 55u);

  // The scratch file holds the blocks in the order they were begun, each
  // at the place it took then, whatever order they were written in:
  // remedy 1's first, remedy 2's, then remedy 1's second, begun by the
  // 256th symptom and holding its one entry, zeros behind it.
  std::string bin = SlurpFile(root_ / "rep" / "extract.bin");
  ASSERT_EQ(bin.size(), 3u * kExtractBlockSize);
  auto at = [&](size_t i) { return static_cast<uint8_t>(bin[i]); };
  const size_t b0 = 0, b1 = kExtractBlockSize, b2 = 2 * kExtractBlockSize;
  EXPECT_EQ(at(b0), 1);
  EXPECT_EQ(at(b0 + 2), 0);
  EXPECT_EQ(at(b1), 2);
  EXPECT_EQ(at(b1 + 2), 0);
  EXPECT_EQ(at(b2), 1);
  EXPECT_EQ(at(b2 + 2), 1);
  // Remedy 1's first block ends with symptom (102, 54), its 255th.
  size_t last = b0 + 3 + 254 * kExtractBinEntrySize;
  EXPECT_EQ(at(last), 102);
  EXPECT_EQ(at(last + 4), 54);
  // Remedy 2's block is full too, and its last entry is (102, 54) as well:
  // (102, 55) lost it.
  last = b1 + 3 + 254 * kExtractBinEntrySize;
  EXPECT_EQ(at(last), 102);
  EXPECT_EQ(at(last + 4), 54);
  EXPECT_EQ(at(b2 + 3), 102);
  EXPECT_EQ(at(b2 + 3 + 4), 55);
  EXPECT_EQ(at(b2 + 3 + 6), 1); // its degree
  for (size_t i = b2 + 3 + kExtractBinEntrySize; i < bin.size(); ++i)
    ASSERT_EQ(at(i), 0) << "at " << i;
}

TEST_F(ExtractBuildTest, AnUnknownRemedyJoinsTheFirstRemedysChain) {
  Remedies({5, 9});
  AddSymptom(10, 0, {{9, 1, 1, 0}});
  AddSymptom(10, 1, {{77, 3, 2, 0}, {5, 2, 1, 0}});
  ASSERT_EQ(Build(), kExtractOk);
  Chains c = Read();
  EXPECT_EQ(c[std::make_pair(5, 0)],
            (std::vector<Entry>{Entry{10, 1, 3, 2, 0}, Entry{10, 1, 2, 1, 0}}));
  EXPECT_EQ(c.count(std::make_pair(77, 0)), 0u);
}

TEST_F(ExtractBuildTest, AStopLeavesTheTableEmpty) {
  Remedies({1});
  for (uint16_t i = 0; i < 10; ++i)
    AddSymptom(10, i, {{1, 1, 1, 0}});
  stopAfter_ = 4;
  EXPECT_EQ(Build(), kExtractStopped);
  EXPECT_TRUE(Read().empty());
  stopAfter_ = -1;
  ASSERT_EQ(Build(), kExtractOk);
  EXPECT_EQ(Read()[std::make_pair(1, 0)].size(), 10u);
}

TEST_F(ExtractBuildTest, MissingTablesAreToldByTheirNotes) {
  AddSymptom(10, 0, {{1, 1, 1, 0}});
  EXPECT_EQ(Build(), kExtractFailed) << "no Remed table";
  ASSERT_EQ(notes_.size(), 1u);
  EXPECT_EQ(notes_[0].rfind("Error ", 0), 0u);
  EXPECT_NE(notes_[0].find("while opening remedies table"), std::string::npos);

  Remedies({1});
  ExtractBuildHooks quiet{nullptr, nullptr, nullptr, nullptr};
  EXPECT_EQ(
      ExtractBuild("rep\\nothing", "rep\\extract", "remed", "rep\\", quiet),
      kExtractFailed);
  // A folder that isn't there: the scratch file can't be made.
  notes_.clear();
  ExtractBuildHooks told{
      nullptr, nullptr,
      [](const char *text, void *ctx) {
        static_cast<ExtractBuildTest *>(ctx)->notes_.push_back(text);
      },
      this};
  EXPECT_EQ(
      ExtractBuild("rep\\symptom", "rep\\extract", "remed", "gone\\", told),
      kExtractFailed);
  ASSERT_EQ(notes_.size(), 1u);
  EXPECT_EQ(notes_[0], "Error while opening file extract.bin");
}

} // namespace
