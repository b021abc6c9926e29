// A replace that changes a few bytes of a long record writes only those
// bytes (a patch against the record's last whole frame). These tests hold
// the patched records to a model through every path that reads frames:
// finds, peeks, chain shifts, reopen from the index, the scan of a rebuild,
// compaction, damage and a torn end.
#include "store_fixture.h"

#include <filesystem>
#include <map>
#include <random>

namespace {

constexpr uint16_t kRemedy = 7;

using Entries = std::vector<ExtractEntry>;
using Model = std::map<int, Entries>; // Seq -> entries

Extract MakeExtract(int seq, const Entries &e) {
  Extract x;
  memset(&x, 0, sizeof x);
  x.CursorState = 0xff;
  TblClearExtract(&x);
  x.RemedyId = kRemedy;
  x.Seq = static_cast<uint8_t>(seq);
  ExtractEntry terminator = x.Entries[0];
  for (size_t i = 0; i < e.size(); ++i)
    x.Entries[i] = e[i];
  x.Entries[e.size()] = terminator;
  return x;
}

Entries EntriesOf(const Extract &x) {
  Entries e;
  for (int i = 0;
       i < kListEntries && TblIsLastExtractSymptom(&x.Entries[i]) == 1; ++i)
    e.push_back(x.Entries[i]);
  return e;
}

bool Same(const ExtractEntry &a, const ExtractEntry &b) {
  return a.Num == b.Num && a.Sub == b.Sub && a.Degree == b.Degree &&
         a.AuthorId == b.AuthorId && a.ViewBits == b.ViewBits;
}

// Every record of the table against the model, by find and by peek.
void ExpectModel(TblHandle h, const Model &m, const char *when) {
  SCOPED_TRACE(when);
  for (const auto &[seq, want] : m) {
    Extract x = MakeExtract(seq, {});
    ASSERT_EQ(TblFindFullExtract(h, &x, 0, kFindEqual, nullptr), 0) << seq;
    Entries got = EntriesOf(x);
    ASSERT_EQ(got.size(), want.size()) << seq;
    for (size_t i = 0; i < got.size(); ++i)
      ASSERT_TRUE(Same(got[i], want[i])) << "seq " << seq << " entry " << i;
    ExtractEntry first, last;
    int count = 0;
    ASSERT_EQ(TblPeekExtract(h, &x, &first, &last, &count), 0);
    ASSERT_EQ(count, static_cast<int>(want.size()));
    if (!want.empty()) {
      EXPECT_TRUE(Same(first, want.front()));
      EXPECT_TRUE(Same(last, want.back()));
    }
  }
  Extract none = MakeExtract(static_cast<int>(m.size()) + 3, {});
  EXPECT_NE(TblFindFullExtract(h, &none, 0, kFindEqual, nullptr), 0);
}

Entries Ascending(uint32_t from, int n) {
  Entries e;
  for (int i = 0; i < n; ++i)
    e.push_back(ExtractEntry{1 + from + static_cast<uint32_t>(i),
                             static_cast<uint16_t>(i % 900), 2, 1, 0});
  return e;
}

int Replace(TblHandle h, int seq, const Entries &e) {
  Extract x = MakeExtract(seq, {});
  if (int err = TblFindFullExtract(h, &x, 0, kFindEqual, nullptr))
    return err;
  x = MakeExtract(seq, e);
  return TblSaveExtract(h, &x, kSaveReplace);
}

class PatchTest : public StoreTest {
protected:
  PatchTest() : StoreTest("patch") {}
  uintmax_t DataSize() { return std::filesystem::file_size(root_ / "ex.dat"); }
  // A chain of `n` full records of 249 entries each.
  void MakeChain(TblHandle h, Model &m, int n) {
    for (int seq = 0; seq < n; ++seq) {
      m[seq] = Ascending(1000u * seq, 249);
      Extract x = MakeExtract(seq, m[seq]);
      ASSERT_EQ(TblSaveExtract(h, &x, kSaveAdd), 0);
    }
  }
  // Rebuilds the table from its data file, opens it and holds it to `m`.
  static TblHandle Rebuilt(const Model &m, const char *when) {
    EXPECT_EQ(TblRebuildExtract("ex", 1, 1), 0);
    TblHandle h = TblOpenExtract("ex", 1, 1);
    EXPECT_NE(h, 0) << OrvixError;
    ExpectModel(h, m, when);
    return h;
  }
};

TEST_F(PatchTest, SmallChangesWriteFewBytesAndReadBackEverywhere) {
  TblHandle h = TblCreateExtract("ex", 1, 1);
  ASSERT_NE(h, 0);
  Model m;
  MakeChain(h, m, 6);
  uintmax_t whole = DataSize() / 6; // about one record's frame
  std::mt19937 rnd(1234);
  uintmax_t small = 0, smallBytes = 0;
  for (int step = 0; step < 400; ++step) {
    int seq = static_cast<int>(rnd() % m.size());
    Entries &e = m[seq];
    int what = static_cast<int>(rnd() % 10);
    uintmax_t before = DataSize();
    if (what < 7) { // a renumbering's change: a few numbers move
      size_t at = rnd() % e.size();
      for (size_t i = at; i < std::min(e.size(), at + 1 + rnd() % 4); ++i)
        e[i].Sub = static_cast<uint16_t>(e[i].Sub + 1);
    } else if (what < 9) { // an entry in the middle: the rest moves along
      if (e.size() < 280)
        e.insert(e.begin() + static_cast<long>(rnd() % e.size()),
                 ExtractEntry{e.front().Num, 999, 3, 2, 0});
    } else if (e.size() > 2) { // an entry taken out
      e.erase(e.begin() + static_cast<long>(rnd() % e.size()));
    }
    ASSERT_EQ(Replace(h, seq, e), 0) << step;
    if (what < 7) {
      ++small;
      smallBytes += DataSize() - before;
    }
    if (step % 50 == 0) {
      ExpectModel(h, m, "open");
    }
    if (step % 97 == 0) {
      ASSERT_EQ(DbCloseFile(h), 0);
      h = TblOpenExtract("ex", 1, 1);
      ASSERT_NE(h, 0) << OrvixError;
      ExpectModel(h, m, "reopened from the index");
    }
  }
  ExpectModel(h, m, "end");
  // A small change writes a patch against the record's last whole frame,
  // and the whole record again only once the patch would pass a quarter of
  // it: together far less than whole records.
  ASSERT_GT(small, 200u);
  EXPECT_LT(smallBytes, small * whole / 4);
  ASSERT_EQ(DbCloseFile(h), 0);
  // The scan of a rebuild finds the same records, and its compaction
  // writes each one whole: a second rebuild finds nothing to change.
  ASSERT_EQ(TblRebuildExtract("ex", 1, 1), 0);
  uintmax_t compact = DataSize();
  ASSERT_EQ(TblRebuildExtract("ex", 1, 1), 0);
  EXPECT_EQ(DataSize(), compact);
  h = TblOpenExtract("ex", 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  ExpectModel(h, m, "rebuilt");
}

TEST_F(PatchTest, AChainShiftCarriesPatchedRecords) {
  TblHandle h = TblCreateExtract("ex", 1, 1);
  ASSERT_NE(h, 0);
  Model m;
  MakeChain(h, m, 4);
  for (int seq = 0; seq < 4; ++seq) {
    m[seq][100].Degree = 4;
    ASSERT_EQ(Replace(h, seq, m[seq]), 0);
  }
  Extract key = MakeExtract(0, {});
  ASSERT_EQ(TblShiftUpExtract(h, &key, 1, 3), 0);
  Model shifted{{0, m[0]}, {2, m[1]}, {3, m[2]}, {4, m[3]}};
  // Seq 1 is free now: give it a record, then patch the moved ones again.
  Extract x = MakeExtract(1, Ascending(500, 10));
  ASSERT_EQ(TblSaveExtract(h, &x, kSaveAdd), 0);
  shifted[1] = Ascending(500, 10);
  shifted[3][7].Sub = 42;
  ASSERT_EQ(Replace(h, 3, shifted[3]), 0);
  ExpectModel(h, shifted, "after the shift");
  ASSERT_EQ(DbCloseFile(h), 0);
  DbCloseFile(Rebuilt(shifted, "rebuilt after the shift"));
}

// Where a damaged or cut frame leaves a patched record: a patch is only as
// good as its base, and the scan keeps the record's last version it can
// still make, as it does for a damaged whole frame.
TEST_F(PatchTest, DamageAndATornEndGiveBackTheLastVersionThatCanBeMade) {
  TblHandle h = TblCreateExtract("ex", 1, 1);
  ASSERT_NE(h, 0);
  Entries v1 = Ascending(1, 249), v2 = Ascending(2, 249), v3 = v2;
  v3[10].Sub = 77;
  Extract x = MakeExtract(0, v1);
  ASSERT_EQ(TblSaveExtract(h, &x, kSaveAdd), 0);
  uintmax_t afterV1 = DataSize();
  ASSERT_EQ(Replace(h, 0, v2), 0); // whole: every number differs
  uintmax_t afterV2 = DataSize();
  ASSERT_EQ(Replace(h, 0, v3), 0); // a patch of v2
  uintmax_t afterV3 = DataSize();
  ASSERT_LT(afterV3 - afterV2, (afterV2 - afterV1) / 8);
  ASSERT_EQ(DbCloseFile(h), 0);
  std::string data = Slurp("ex.dat");

  // The patch torn off: v2 comes back.
  Spit("ex.dat", data.substr(0, afterV3 - 3));
  ASSERT_EQ(DbCloseFile(Rebuilt(Model{{0, v2}}, "torn patch")), 0);

  // The base damaged: neither it nor the patch can make the record, v1
  // comes back.
  std::string bad = data;
  bad[afterV1 + 100] ^= 0x5a;
  Spit("ex.dat", bad);
  ASSERT_EQ(DbCloseFile(Rebuilt(Model{{0, v1}}, "damaged base")), 0);

  // The patch damaged, its index still naming it: the read answers
  // damaged, never a wrong record.
  Spit("ex.dat", data);
  h = Rebuilt(Model{{0, v3}}, "intact"); // compacted: v3 whole
  v3[20].Sub = 78;
  ASSERT_EQ(Replace(h, 0, v3), 0);
  uintmax_t patchAt = DataSize() - 30;
  ASSERT_EQ(DbCloseFile(h), 0);
  bad = Slurp("ex.dat");
  bad[patchAt] ^= 0x01;
  Spit("ex.dat", bad);
  h = TblOpenExtract("ex", 1, 1);
  ASSERT_NE(h, 0);
  Extract probe = MakeExtract(0, {});
  EXPECT_EQ(TblFindFullExtract(h, &probe, 0, kFindEqual, nullptr), 20);
}

} // namespace
