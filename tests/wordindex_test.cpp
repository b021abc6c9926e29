// The word index routines and the chained-list insert under them, on real
// tables in a scratch folder.
#include "ops/chainlist.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"
#include "store/store.h"
#include "store_fixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

class WordIndexTest : public StoreTest {
protected:
  WordIndexTest() : StoreTest("words") {}
  void SetUp() override {
    StoreTest::SetUp();
    w1_ = TblCreateWord("word1", 1, 1);
    w2_ = TblCreateWord("word2", 1, 1);
    ASSERT_NE(w1_, 0);
    ASSERT_NE(w2_, 0);
  }
  void TearDown() override {
    if (w1_)
      DbCloseFile(w1_);
    if (w2_)
      DbCloseFile(w2_);
    if (sym_)
      DbCloseFile(sym_);
    StoreTest::TearDown();
  }

  // Every (Seq, Num, Sub, EndNum, EndSub) of a word, chain in order.
  using Row = std::tuple<int, uint32_t, uint16_t, uint32_t, uint16_t>;
  using Rows = std::vector<Row>;
  std::vector<Row> Chain(TblHandle h, const char *word) {
    std::vector<Row> rows;
    static Word rec;
    rec = BlankWord(word);
    int r = TblFindFullWord(h, &rec, 0, kFindAtOrAfter, nullptr);
    while (r == 0 && OrvixError == 0 && strcmp(rec.Text, word) == 0) {
      for (int i = 0; i < ChainCountWord(rec); ++i)
        rows.emplace_back(rec.Seq, rec.Entries[i].Num, rec.Entries[i].Sub,
                          rec.Entries[i].EndNum, rec.Entries[i].EndSub);
      r = TblFindFullWord(h, &rec, 0, kFindNext, nullptr);
    }
    return rows;
  }
  std::vector<std::string> Tokens(const char *text, int limit) {
    std::vector<std::string> out;
    WordIndexTokens(
        text, limit,
        [](const char *t, void *ctx) {
          static_cast<std::vector<std::string> *>(ctx)->push_back(t);
        },
        &out);
    return out;
  }
  TblHandle w1_ = 0, w2_ = 0, sym_ = 0;
};

TEST_F(WordIndexTest, TokensSplitAtTheSeparatorsOnlyAndFold) {
  EXPECT_EQ(Tokens("a=b c.d", 0), (Strings{"a=b", "c", "d"}));
  EXPECT_EQ(Tokens("(= Anguish, FEAR)", 0), (Strings{"=", "anguish", "fear"}));
  // Code page 1252: "ANXIÉTÉ" folds with its accents.
  EXPECT_EQ(Tokens("ANXI\xc9T\xc9 nuit", 0),
            (Strings{"anxi\xe9t\xe9", "nuit"}));
  EXPECT_EQ(Tokens("  ;; ", 0), Strings{});
  // The removal cuts a long word: 48 letters, one lost, then the rest.
  std::string word(60, 'x');
  word[48] = 'L';
  std::vector<std::string> cut = Tokens(word.c_str(), kWordRemoveMax);
  ASSERT_EQ(cut.size(), 2u);
  EXPECT_EQ(cut[0], std::string(48, 'x'));
  EXPECT_EQ(cut[1], std::string(11, 'x'));
  EXPECT_EQ(Tokens(word.c_str(), 0).size(), 1u);
}

TEST_F(WordIndexTest, AddKeepsEachListSortedInBothLanguages) {
  ASSERT_EQ(WordIndexAdd(0, w1_, w2_, "night, midnight", "nuit", 30, 2), 0);
  ASSERT_EQ(WordIndexAdd(0, w1_, w2_, "Night", "nuit, minuit", 10, 5), 0);
  ASSERT_EQ(WordIndexAdd(0, w1_, w2_, "night", nullptr, 20, 0), 0);
  EXPECT_EQ(Chain(w1_, "night"),
            (Rows{{0, 10, 5, 10, 5}, {0, 20, 0, 20, 0}, {0, 30, 2, 30, 2}}));
  EXPECT_EQ(Chain(w1_, "midnight"), (Rows{{0, 30, 2, 30, 2}}));
  EXPECT_EQ(Chain(w2_, "nuit"), (Rows{{0, 10, 5, 10, 5}, {0, 30, 2, 30, 2}}));
  EXPECT_TRUE(Chain(w1_, "nuit").empty());
  EXPECT_EQ(Chain(w2_, "minuit"), (Rows{{0, 10, 5, 10, 5}}));
}

TEST_F(WordIndexTest, TheEndOfRangeCoversTheSubtree) {
  sym_ = TblCreateSymptom("symptom", 1, 1);
  ASSERT_NE(sym_, 0);
  // Mind (10/0) with anxiety (20/0, a child at 20/1) and fear (30/0),
  // which has no child and no next sibling.
  SaveSymptom(sym_, 10, 0, 0, 0, 1, "Mind");
  SaveSymptom(sym_, 20, 0, 10, 0, 2, "anxiety");
  SaveSymptom(sym_, 20, 1, 20, 0, 3, "night");
  SaveSymptom(sym_, 30, 0, 10, 0, 2, "fear");
  ASSERT_EQ(WordIndexAdd(sym_, w1_, w2_, "anxiety", nullptr, 20, 0), 0);
  ASSERT_EQ(WordIndexAdd(sym_, w1_, w2_, "fear", nullptr, 30, 0), 0);
  ASSERT_EQ(WordIndexAdd(sym_, w1_, w2_, "mind", nullptr, 10, 0), 0);
  ASSERT_EQ(WordIndexAdd(sym_, w1_, w2_, "night", nullptr, 20, 1), 0);
  // A next sibling: the block of the record before it, to 32000.
  EXPECT_EQ(Chain(w1_, "anxiety"), (Rows{{0, 20, 0, 20, kWordSubtreeEnd}}));
  // The last sibling without children ends at itself.
  EXPECT_EQ(Chain(w1_, "fear"), (Rows{{0, 30, 0, 30, 0}}));
  // No sibling but children: its own block, to 32000.
  EXPECT_EQ(Chain(w1_, "mind"), (Rows{{0, 10, 0, 10, kWordSubtreeEnd}}));
  EXPECT_EQ(Chain(w1_, "night"), (Rows{{0, 20, 1, 20, 1}}));
  // The symptom is the current record again: a replace lands on it.
  static Symptom s;
  s = MakeSymptom(20, 1, 0, 0, "");
  ASSERT_EQ(TblFindFullSymptom(sym_, &s, 0, kFindEqual), 0);
  WordIndexAdd(sym_, w1_, w2_, "x", nullptr, 10, 0);
  TblClearSymptom(&s);
  ASSERT_EQ(TblFindFullSymptom(sym_, &s, 0, kFindNext), 0);
  EXPECT_EQ(s.Num, 20u);
  EXPECT_EQ(s.Sub, 0u) << "the handle was left on 10/0, so next is 20/0";
  TblFreeSymptomRemed(&s);
}

TEST_F(WordIndexTest, AFullRecordSplitsOnlyFromTheTwoHundredFiftiethEntry) {
  for (uint16_t i = 1; i <= 248; ++i)
    ASSERT_EQ(WordIndexAdd(0, w1_, 0, "pain", nullptr, 100, i * 2), 0);
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, "pain", nullptr, 100, 1000), 0);
  std::vector<Row> rows = Chain(w1_, "pain");
  ASSERT_EQ(rows.size(), 249u);
  EXPECT_EQ(std::get<0>(rows.back()), 0) << "249 entries still fit";
  // The next insert, in the middle, splits: the tail moves to Seq 1.
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, "pain", nullptr, 100, 101), 0);
  rows = Chain(w1_, "pain");
  ASSERT_EQ(rows.size(), 250u);
  for (size_t i = 1; i < rows.size(); ++i)
    EXPECT_LT(std::get<2>(rows[i - 1]), std::get<2>(rows[i])) << i;
  EXPECT_EQ(std::get<0>(rows[50]), 0); // 100/101 went to the head
  EXPECT_EQ(std::get<2>(rows[50]), 101);
  EXPECT_EQ(std::get<0>(rows[51]), 1); // 100/102 on: the tail
  // A later entry lands in the tail record, an earlier one in the head.
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, "pain", nullptr, 100, 999), 0);
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, "pain", nullptr, 100, 3), 0);
  rows = Chain(w1_, "pain");
  ASSERT_EQ(rows.size(), 252u);
  EXPECT_EQ(rows[rows.size() - 2], (Row{1, 100, 999, 100, 999}));
  EXPECT_EQ(rows[1], (Row{0, 100, 3, 100, 3}));
}

TEST_F(WordIndexTest, ASplitMovesTheRecordsBehindUpByOne) {
  // Three records of one word: fill Seq 0 with 249, overflow to Seq 1,
  // then split Seq 0 again in its middle.
  for (uint16_t i = 1; i <= 249; ++i)
    ASSERT_EQ(WordIndexAdd(0, w1_, 0, "cough", nullptr, 50, i * 4), 0);
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, "cough", nullptr, 60, 0), 0);
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, "cough", nullptr, 50, 2), 0);
  // 60/0 went behind the full head, which kept 250 entries and left an
  // empty Seq 1; the split at 50/2 then moved that one to Seq 2 and gave
  // the whole old head to Seq 1.
  std::vector<Row> rows = Chain(w1_, "cough");
  ASSERT_EQ(rows.size(), 251u);
  EXPECT_EQ(rows.front(), (Row{0, 50, 2, 50, 2}));
  EXPECT_EQ(std::get<0>(rows[1]), 1);
  EXPECT_EQ(rows.back(), (Row{1, 60, 0, 60, 0}));
  Word rec = BlankWord("cough", 2);
  ASSERT_EQ(TblFindFullWord(w1_, &rec, 0, kFindEqual, nullptr), 0);
  EXPECT_EQ(ChainCountWord(rec), 0);
  for (size_t i = 1; i < rows.size(); ++i)
    EXPECT_TRUE(std::get<1>(rows[i - 1]) < std::get<1>(rows[i]) ||
                std::get<2>(rows[i - 1]) < std::get<2>(rows[i]))
        << i;
}

TEST_F(WordIndexTest, RemoveTakesOutTheEntryAtThePlaceAndDropsEmptyWords) {
  ASSERT_EQ(WordIndexAdd(0, w1_, w2_, "fear dark", "peur", 10, 1), 0);
  ASSERT_EQ(WordIndexAdd(0, w1_, w2_, "fear", "peur", 10, 3), 0);
  ASSERT_EQ(WordIndexRemove(w1_, w2_, "Fear", "peur", 10, 1), 0);
  EXPECT_EQ(Chain(w1_, "fear"), (Rows{{0, 10, 3, 10, 3}}));
  EXPECT_EQ(Chain(w2_, "peur"), (Rows{{0, 10, 3, 10, 3}}));
  EXPECT_EQ(Chain(w1_, "dark").size(), 1u);
  // The entry at the place is taken out unseen: 10/2 is not in the list,
  // and 10/3, at its place, goes.
  ASSERT_EQ(WordIndexRemove(w1_, 0, "fear", nullptr, 10, 2), 0);
  EXPECT_TRUE(Chain(w1_, "fear").empty());
  Word rec = BlankWord("fear");
  bool found = TblFindFullWord(w1_, &rec, 0, kFindEqual, nullptr) == 0 &&
               OrvixError == 0;
  EXPECT_FALSE(found) << "an emptied first record is deleted";
}

TEST_F(WordIndexTest, AMissingWordEndsTheRemovalQuietly) {
  ASSERT_EQ(WordIndexAdd(0, w1_, w2_, "thirst", "soif", 40, 1), 0);
  // "unknown" stops the walk before "thirst" and before the second
  // language: both stay.
  EXPECT_EQ(WordIndexRemove(w1_, w2_, "unknown thirst", "soif", 40, 1), 0);
  EXPECT_EQ(Chain(w1_, "thirst").size(), 1u);
  EXPECT_EQ(Chain(w2_, "soif").size(), 1u);
  // A word of 60 letters is added whole (under its first letters) but
  // looked for in two pieces by the removal, so it stays.
  std::string word(60, 'q');
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, word.c_str(), nullptr, 40, 2), 0);
  EXPECT_EQ(WordIndexRemove(w1_, 0, word.c_str(), nullptr, 40, 2), 0);
  EXPECT_EQ(Chain(w1_, std::string(kWordKeyMax, 'q').c_str()).size(), 1u);
}

TEST_F(WordIndexTest, RenumberMovesTheEntryAndItsOwnEndOnly) {
  ASSERT_EQ(WordIndexAdd(0, w1_, 0, "vertigo", nullptr, 20, 4), 0);
  // Hand-made ends: one at the symptom itself, one of an ancestor's range.
  Word rec = BlankWord("vertigo");
  ASSERT_EQ(TblFindFullWord(w1_, &rec, 0, kFindEqual, nullptr), 0);
  rec.Entries[1] = rec.Entries[0];
  rec.Entries[0] = WordEntry{20, 0, 20, kWordSubtreeEnd};
  rec.Entries[2] = WordEntry{20, 9, 20, 9};
  rec.Entries[3] = ChainWordTerminator();
  ASSERT_EQ(TblSaveWord(w1_, &rec, kSaveReplace), 0);
  ASSERT_EQ(WordIndexRenumber(w1_, 0, "vertigo", nullptr, 20, 4, 20, 5), 0);
  EXPECT_EQ(Chain(w1_, "vertigo"), (Rows{{0, 20, 0, 20, kWordSubtreeEnd},
                                         {0, 20, 5, 20, 5},
                                         {0, 20, 9, 20, 9}}));
}

} // namespace
