// The sorted insert into chained lists of many records, against a model of
// the list it should hold, and the peek at a record's first and last entry
// that lets a walk pass records without reading them.
#include "ops/chainlist.h"
#include "store_fixture.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace {

using Pair = std::pair<uint32_t, uint16_t>;

class ChainTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    h_ = TblCreateExtract("extract", 1, 1);
    ASSERT_NE(h_, 0);
  }
  void TearDown() override {
    if (h_ != 0)
      DbCloseFile(h_);
    StoreTest::TearDown();
  }

  // Saves the chain of `remedy` as records holding these runs of entries.
  void SaveChain(uint16_t remedy, const std::vector<std::vector<Pair>> &runs) {
    for (size_t seq = 0; seq < runs.size(); ++seq) {
      Extract x = BlankExtract(remedy, static_cast<uint8_t>(seq));
      for (size_t i = 0; i < runs[seq].size(); ++i)
        x.Entries[i] =
            ExtractEntry{runs[seq][i].first, runs[seq][i].second, 1, 7, 0};
      ASSERT_EQ(TblSaveExtract(h_, &x, kSaveAdd), 0);
    }
  }

  // Adds one entry as an addition does: Seq 0 found, then the insert.
  int Add(uint16_t remedy, Pair p) {
    Extract x = BlankExtract(remedy);
    ExtractEntry e{p.first, p.second, 2, 7, 0};
    if (TblFindFullExtract(h_, &x, 0, kFindEqual, nullptr) != 0) {
      x.RemedyId = remedy;
      x.Seq = 0;
      x.Entries[0] = e;
      x.Entries[1] = ChainExtractTerminator();
      return TblSaveExtract(h_, &x, kSaveAdd);
    }
    return ChainInsertExtract(h_, &x, e);
  }

  // The chain of `remedy`, record by record, in Seq order.
  std::vector<std::vector<Pair>> Chain(uint16_t remedy) {
    std::vector<std::vector<Pair>> out;
    Extract x = BlankExtract(remedy);
    for (int err = TblFindFullExtract(h_, &x, 0, kFindAtOrAfter, nullptr);
         err == 0 && x.RemedyId == remedy;
         err = TblFindFullExtract(h_, &x, 0, kFindNext, nullptr)) {
      EXPECT_EQ(x.Seq, out.size()) << "the Seq numbers run without a gap";
      out.emplace_back();
      for (int i = 0; i < ChainCountExtract(x); ++i)
        out.back().emplace_back(x.Entries[i].Num, x.Entries[i].Sub);
    }
    return out;
  }

  TblHandle h_ = 0;
};

TEST_F(ChainTest, RandomAdditionsKeepALongChainInOrder) {
  // Enough entries for a chain of many records; each insert lands in the
  // right record whether it goes inside a record, at its end, or into the
  // gap between two records.
  std::mt19937 rng(112233);
  std::vector<Pair> model;
  for (int i = 0; i < 3000; ++i) {
    Pair p{
        std::uniform_int_distribution<uint32_t>(1, 900)(rng),
        static_cast<uint16_t>(std::uniform_int_distribution<int>(0, 3)(rng))};
    ASSERT_EQ(Add(5, p), 0) << "addition " << i;
    model.push_back(p);
    // Another remedy's chain beside it must stay apart.
    if (i % 10 == 0) {
      ASSERT_EQ(Add(6, p), 0);
    }
  }
  std::stable_sort(model.begin(), model.end());
  auto chain = Chain(5);
  ASSERT_GT(chain.size(), 12u);
  std::vector<Pair> all;
  for (const auto &rec : chain) {
    EXPECT_GT(rec.size(), 0u);
    EXPECT_LE(rec.size(), static_cast<size_t>(kChainSplitAt));
    all.insert(all.end(), rec.begin(), rec.end());
  }
  EXPECT_EQ(all, model);
  size_t other = 0;
  for (const auto &rec : Chain(6))
    other += rec.size();
  EXPECT_EQ(other, 300u);
}

TEST_F(ChainTest, AnEmptyRecordIsPassedOrFilledLikeAnyOther) {
  // An Extract terminator has Num 0: an empty record's first entry is not
  // "after" anything, so a walk steps into it and on.
  SaveChain(5, {{{10, 0}, {20, 0}}, {}, {{50, 0}, {60, 0}}});
  ASSERT_EQ(Add(5, {30, 0}), 0);
  ASSERT_EQ(Add(5, {55, 0}), 0);
  ASSERT_EQ(Add(5, {70, 0}), 0);
  ASSERT_EQ(Add(5, {5, 0}), 0);
  std::vector<std::vector<Pair>> want = {{{5, 0}, {10, 0}, {20, 0}},
                                         {{30, 0}},
                                         {{50, 0}, {55, 0}, {60, 0}, {70, 0}}};
  EXPECT_EQ(Chain(5), want);
}

TEST_F(ChainTest, AnEntryInTheGapStaysWithTheEarlierRecord) {
  // Between two records, the next record's first Num decides: an entry
  // of a smaller Num goes to the end of the earlier record; one of the same
  // Num and a larger Sub to the next record's front.
  SaveChain(5, {{{10, 0}, {20, 0}}, {{40, 1}, {60, 0}}});
  ASSERT_EQ(Add(5, {30, 0}), 0);
  ASSERT_EQ(Add(5, {40, 0}), 0);
  std::vector<std::vector<Pair>> want = {{{10, 0}, {20, 0}, {30, 0}},
                                         {{40, 0}, {40, 1}, {60, 0}}};
  EXPECT_EQ(Chain(5), want);
}

TEST_F(ChainTest, ASplitInTheMiddleMovesTheLaterRecordsUp) {
  std::vector<Pair> full, tail = {{5000, 0}, {5001, 0}};
  for (uint32_t i = 0; i < static_cast<uint32_t>(kChainSplitAt); ++i)
    full.emplace_back(2 * i + 100, 0);
  SaveChain(5, {{{1, 0}}, full, tail, {{6000, 0}}});
  ASSERT_EQ(Add(5, {101, 0}), 0); // the second entry of the full record
  auto chain = Chain(5);
  ASSERT_EQ(chain.size(), 5u);
  EXPECT_EQ(chain[1].size(), 2u);
  EXPECT_EQ(chain[1][1], Pair(101, 0));
  EXPECT_EQ(chain[2].size(), static_cast<size_t>(kChainSplitAt - 1));
  EXPECT_EQ(chain[2][0], Pair(102, 0));
  EXPECT_EQ(chain[3], tail);
  EXPECT_EQ(chain[4], std::vector<Pair>({{6000, 0}}));
}

TEST_F(ChainTest, AChainUpToTheLastSeqCannotSplitAndKeepsItsRecords) {
  // Seq is one byte: with a record at 255 there is no room to move the
  // records behind a full one up, so the insert is refused, unsaved.
  std::vector<std::vector<Pair>> runs(256);
  for (uint32_t i = 0; i < static_cast<uint32_t>(kChainSplitAt); ++i)
    runs[0].emplace_back(2 * i + 1, 0);
  for (uint32_t seq = 1; seq < 256; ++seq)
    runs[seq].emplace_back(1000 + seq, 0);
  SaveChain(5, runs);
  EXPECT_EQ(Add(5, {2, 0}), 1);
  EXPECT_EQ(OrvixError, kErrTooLarge);
  EXPECT_EQ(Chain(5), runs);
  // Behind the full record there is room: the last record takes it.
  ASSERT_EQ(Add(5, {5000, 0}), 0);
  runs[255].emplace_back(5000, 0);
  EXPECT_EQ(Chain(5), runs);
}

TEST_F(ChainTest, ShiftUpMovesRecordsByTheirBytesAndARebuildAgrees) {
  // Three chains side by side; the middle records of remedy 5 move up.
  SaveChain(4, {{{9, 1}}});
  SaveChain(5, {{{1, 0}}, {{2, 0}, {3, 0}}, {{4, 0}}, {{5, 0}}});
  SaveChain(6, {{{7, 0}}});
  Extract key = BlankExtract(5);
  // Onto a Seq that is held: refused, nothing moves.
  EXPECT_EQ(TblShiftUpExtract(h_, &key, 1, 2), kErrDuplicate);
  // A Seq missing in between: refused before anything is written.
  key.RemedyId = 6;
  EXPECT_EQ(TblShiftUpExtract(h_, &key, 0, 1), kErrEnd);
  key.RemedyId = 5;
  ASSERT_EQ(TblShiftUpExtract(h_, &key, 2, 3), 0);
  ASSERT_EQ(TblShiftUpExtract(h_, &key, 1, 1), 0);
  // Seq 1 is free now; a record there closes the gap, as a split does.
  Extract x = BlankExtract(5, 1);
  x.Entries[0] = ExtractEntry{1, 5, 1, 7, 0};
  ASSERT_EQ(TblSaveExtract(h_, &x, kSaveAdd), 0);
  const std::vector<std::vector<Pair>> want = {
      {{1, 0}}, {{1, 5}}, {{2, 0}, {3, 0}}, {{4, 0}}, {{5, 0}}};
  EXPECT_EQ(Chain(5), want);
  EXPECT_EQ(Chain(4), std::vector<std::vector<Pair>>({{{9, 1}}}));
  EXPECT_EQ(Chain(6), std::vector<std::vector<Pair>>({{{7, 0}}}));
  // The moved records keep every other byte: degree and author as saved.
  x.Seq = 2;
  ASSERT_EQ(TblFindFullExtract(h_, &x, 0, kFindEqual, nullptr), 0);
  EXPECT_EQ(x.Entries[1].Degree, 1);
  EXPECT_EQ(x.Entries[1].AuthorId, 7);
  EXPECT_EQ(DbCountEntries(h_), 7);

  // The snapshot written at the close, and a rebuild that takes the keys
  // from the records' bytes alone, both see the new Seqs.
  for (bool rebuild : {false, true}) {
    SCOPED_TRACE(rebuild ? "rebuilt" : "reopened");
    ASSERT_EQ(DbCloseFile(h_), 0);
    if (rebuild) {
      ASSERT_EQ(TblRebuildExtract("extract", 1, 1), 0);
    }
    h_ = TblOpenExtract("extract", 1, 1);
    ASSERT_NE(h_, 0);
    EXPECT_EQ(Chain(5), want);
    EXPECT_EQ(DbCountEntries(h_), 7);
  }
}

TEST_F(ChainTest, PeekTellsFirstLastAndCountAndLeavesTheCurrentRecord) {
  SaveChain(5, {{{10, 1}, {20, 2}, {30, 3}}, {}});
  Extract cur = BlankExtract(5);
  ASSERT_EQ(TblFindFullExtract(h_, &cur, 0, kFindEqual, nullptr), 0);

  Extract key = BlankExtract(5);
  ExtractEntry first, last;
  int count = -1;
  ASSERT_EQ(TblPeekExtract(h_, &key, &first, &last, &count), 0);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(first.Num, 10u);
  EXPECT_EQ(first.Sub, 1);
  EXPECT_EQ(last.Num, 30u);
  EXPECT_EQ(last.Sub, 3);

  key.Seq = 1;
  ASSERT_EQ(TblPeekExtract(h_, &key, &first, &last, &count), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(TblIsLastExtractSymptom(&first), 2);
  EXPECT_EQ(TblIsLastExtractSymptom(&last), 2);

  key.Seq = 2;
  EXPECT_EQ(TblPeekExtract(h_, &key, &first, &last, &count), kErrEnd);

  // The record found before the peeks is still the current one: stepping
  // on reaches Seq 1, and a replace writes Seq 0.
  Extract next = cur;
  ASSERT_EQ(TblFindFullExtract(h_, &next, 0, kFindNext, nullptr), 0);
  EXPECT_EQ(next.Seq, 1);
}

TEST_F(ChainTest, WordChainsTakeTheSameWalk) {
  TblHandle w = TblCreateWord("word1", 1, 1);
  ASSERT_NE(w, 0);
  std::mt19937 rng(4455);
  std::vector<Pair> model;
  for (int i = 0; i < 800; ++i) {
    Pair p{std::uniform_int_distribution<uint32_t>(1, 5000)(rng), 0};
    Word x = BlankWord("FEAR");
    WordEntry e{p.first, p.second, 0, 0};
    if (TblFindFullWord(w, &x, 0, kFindEqual, nullptr) != 0) {
      StrCopy(x.Text, "FEAR");
      x.Seq = 0;
      x.Entries[0] = e;
      x.Entries[1] = ChainWordTerminator();
      ASSERT_EQ(TblSaveWord(w, &x, kSaveAdd), 0);
    } else {
      ASSERT_EQ(ChainInsertWord(w, &x, e), 0);
    }
    model.push_back(p);
  }
  std::stable_sort(model.begin(), model.end());
  std::vector<Pair> all;
  int records = 0;
  Word x = BlankWord("FEAR");
  for (int err = TblFindFullWord(w, &x, 0, kFindAtOrAfter, nullptr);
       err == 0 && strcmp(x.Text, "FEAR") == 0;
       err = TblFindFullWord(w, &x, 0, kFindNext, nullptr)) {
    ++records;
    for (int i = 0; i < ChainCountWord(x); ++i)
      all.emplace_back(x.Entries[i].Num, x.Entries[i].Sub);
  }
  EXPECT_GE(records, 4);
  EXPECT_EQ(all, model);
  DbCloseFile(w);
}

} // namespace
