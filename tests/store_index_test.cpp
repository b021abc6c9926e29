// The in-memory order of a key against a plain sorted set: loads, inserts
// that split chunks, erases that empty them, and searches that go through
// the groups of chunks, on enough entries for many groups.
#include "store/bigalloc.h"
#include "store/bytes.h"
#include "store/index.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

using Model = std::set<std::pair<uint64_t, uint32_t>>; // key, record id

// Composite keys of eight bytes of key and the record id: the entry words
// decide every comparison, and no record is ever asked for.
size_t NoComposite(const void *, uint32_t, uint8_t *) {
  ADD_FAILURE() << "a complete index asked for a composite key";
  return 0;
}
const IdxSource kSource{NoComposite, nullptr};

IdxProbe Probe(uint8_t *buf, uint64_t key, const uint32_t *rid) {
  StoreBE64(buf, key);
  uint32_t len = 8;
  if (rid != nullptr) {
    StoreBE32(buf + 8, *rid);
    len = 12;
  }
  IdxProbe p;
  IdxMakeProbe(buf, len, p);
  return p;
}

uint64_t KeyOf(const IdxEntry &e) {
  return e.hi;
}

void ExpectSameOrder(const SortedIndex &ix, const Model &m) {
  ASSERT_EQ(ix.count, m.size());
  auto it = m.begin();
  for (IdxPos pos = IdxFirst(ix); IdxValid(ix, pos); pos = IdxNext(ix, pos)) {
    ASSERT_NE(it, m.end());
    ASSERT_EQ(KeyOf(IdxAt(ix, pos)), it->first);
    ASSERT_EQ(IdxAt(ix, pos).rid, it->second);
    ++it;
  }
  EXPECT_EQ(it, m.end());
}

// The first entry whose key is not below `key`, as the index finds it and as
// the model has it.
void ExpectLowerBound(const SortedIndex &ix, const Model &m, uint64_t key) {
  uint8_t buf[16];
  IdxPos pos = IdxLowerBound(ix, Probe(buf, key, nullptr), kSource);
  auto it = m.lower_bound({key, 0});
  if (it == m.end()) {
    EXPECT_FALSE(IdxValid(ix, pos)) << "key " << key;
    return;
  }
  ASSERT_TRUE(IdxValid(ix, pos)) << "key " << key;
  EXPECT_EQ(KeyOf(IdxAt(ix, pos)), it->first) << "key " << key;
  EXPECT_EQ(IdxAt(ix, pos).rid, it->second) << "key " << key;
}

class IndexTest : public ::testing::Test {
protected:
  void SetUp() override {
    ix_.complete = true;
    ix_.fixedLen = 12;
  }
  void TearDown() override { IdxClear(ix_); }
  bool Insert(uint64_t key, uint32_t rid) {
    uint8_t buf[16];
    if (!IdxInsert(ix_, Probe(buf, key, &rid), rid, kSource))
      return false;
    model_.insert({key, rid});
    return true;
  }
  bool Erase(uint64_t key, uint32_t rid) {
    uint8_t buf[16];
    if (!IdxErase(ix_, Probe(buf, key, &rid), rid, kSource))
      return false;
    model_.erase({key, rid});
    return true;
  }
  SortedIndex ix_;
  Model model_;
};

TEST_F(IndexTest, InsertsAndErasesKeepTheOrderAndEverySearchRight) {
  std::mt19937 rng(3);
  std::uniform_int_distribution<uint64_t> keys(0, 200000);
  uint32_t rid = 0;
  // Enough entries for hundreds of chunks and dozens of groups; equal keys
  // come often, and sort by their record ids.
  for (int i = 0; i < 40000; ++i)
    ASSERT_TRUE(Insert(keys(rng) / 3, ++rid));
  ExpectSameOrder(ix_, model_);
  EXPECT_GT(ix_.chunks.size(), 4 * kIdxGroup);
  for (int i = 0; i < 3000; ++i)
    ExpectLowerBound(ix_, model_, keys(rng) / 3);
  ExpectLowerBound(ix_, model_, 0);
  ExpectLowerBound(ix_, model_, model_.rbegin()->first);
  ExpectLowerBound(ix_, model_, model_.rbegin()->first + 1);

  // Erase most of them in random order, searching as the chunks and the
  // groups thin out and vanish.
  std::vector<std::pair<uint64_t, uint32_t>> all(model_.begin(), model_.end());
  std::shuffle(all.begin(), all.end(), rng);
  for (size_t i = 0; i < all.size() - 50; ++i) {
    ASSERT_TRUE(Erase(all[i].first, all[i].second));
    if (i % 97 == 0)
      ExpectLowerBound(ix_, model_, keys(rng) / 3);
  }
  ExpectSameOrder(ix_, model_);
  for (int i = 0; i < 500; ++i)
    ExpectLowerBound(ix_, model_, keys(rng) / 3);
  // An entry that is not there is not erased.
  EXPECT_FALSE(Erase(all.back().first, rid + 1));
}

TEST_F(IndexTest, ALoadedIndexTakesInsertsAtBothEndsAndInTheMiddle) {
  std::vector<IdxEntry> sorted;
  uint8_t buf[16];
  // Enough entries that the loaded chunks take a block of large pages.
  for (uint32_t r = 1; r <= 120000; ++r) {
    uint64_t key = 10 * r;
    sorted.push_back(IdxMakeEntry(Probe(buf, key, &r), r));
    model_.insert({key, r});
  }
  ASSERT_TRUE(IdxLoad(ix_, sorted.data(), sorted.size()));
  ExpectSameOrder(ix_, model_);
  EXPECT_GE(ix_.slab.len, size_t{2} << 20);
  uint32_t rid = 120000;
  // Dense inserts into one place split the same chunk again and again.
  for (int i = 0; i < 2000; ++i)
    ASSERT_TRUE(Insert(150005, ++rid));
  for (int i = 0; i < 500; ++i) {
    ASSERT_TRUE(Insert(0, ++rid));
    ASSERT_TRUE(Insert(1200000 + i, ++rid));
  }
  ExpectSameOrder(ix_, model_);
  for (uint64_t key :
       {0ul, 5ul, 150000ul, 150005ul, 150006ul, 299990ul, 1200000ul, 1200001ul})
    ExpectLowerBound(ix_, model_, key);
  std::mt19937 rng(5);
  for (int i = 0; i < 2000; ++i)
    ExpectLowerBound(ix_, model_, rng() % 1210000);
}

// The arrays of a large table grow through the same blocks: what was
// written survives each move to a larger block, small and large.
TEST(BigAllocTest, AVectorKeepsItsContentsAcrossBlocksOfEverySize) {
  std::vector<uint64_t, BigAllocator<uint64_t>> v;
  for (uint64_t i = 0; i < 1000000; ++i) // 8 MB, through both kinds
    v.push_back(i * 2654435761u);
  for (uint64_t i = 0; i < v.size(); i += 997)
    ASSERT_EQ(v[i], i * 2654435761u) << i;
  v.resize(100);
  v.shrink_to_fit();
  EXPECT_EQ(v[99], uint64_t{99} * 2654435761u);
  v.assign(300000, 7); // 2.4 MB of zeros and sevens, mapped
  EXPECT_EQ(v[299999], 7u);
}

} // namespace
