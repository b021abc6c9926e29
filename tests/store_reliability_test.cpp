// What users trust the store with: a writer killed at any instant, damaged
// and foreign files, a second process, descriptors given back, compaction.
#include "store/crc.h"
#include "store_fixture.h"

#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <random>
#include <sys/wait.h>
#include <vector>

namespace {

// The content of record `key` at `version`, so that any record read back
// can be checked whole.
void Fill(Symptom &s, uint32_t key, int version) {
  SymptomRemedy *arr = s.Remedies;
  TblClearSymptom(&s);
  s.Remedies = arr;
  s.Num = key;
  s.UniqueId = static_cast<int32_t>(key);
  StrFormat(s.Text1, "k%u v%d", key, version);
  size_t len = 100 + (key * 37 + static_cast<uint32_t>(version)) % 900;
  memset(s.CrossRef1, 'a' + static_cast<int>(key % 26), len);
  s.CrossRef1[len] = '\0';
  int n = version % 7 + 1;
  for (int i = 0; i < n && i + 1 < TblSymptomRemedRoom(arr); ++i)
    arr[i] = SymptomRemedy{static_cast<uint16_t>(key % 3000 + 1 + i),
                           static_cast<uint8_t>(i % 4 + 1), 5, 1};
}

// Answers true when the record read is exactly Fill(key, version).
bool Matches(const Symptom &s, int version) {
  Symptom want = MakeSymptom(0, 0, 0, 0, "");
  want.Remedies = TblAllocSymptomRemed(16);
  Fill(want, s.Num, version);
  bool same = strcmp(want.Text1, s.Text1) == 0 &&
              strcmp(want.CrossRef1, s.CrossRef1) == 0 &&
              want.UniqueId == s.UniqueId;
  for (int i = 0; same; ++i) {
    const SymptomRemedy &a = want.Remedies[i], &b = s.Remedies[i];
    same = a.RemedyId == b.RemedyId && a.Degree == b.Degree &&
           a.AuthorId == b.AuthorId;
    if (TblIsLastSymptomRemed(&a) == 2)
      break;
  }
  TblFreeSymptomRemed(&want);
  return same;
}

// The table's records as key -> version; -1 for a record that is damaged.
std::map<uint32_t, int> Contents(TblHandle h, int *errors = nullptr) {
  std::map<uint32_t, int> out;
  Symptom s = MakeSymptom(0, 0, 0, 0, "");
  s.Remedies = TblAllocSymptomRemed(1);
  int rc = TblFindFullSymptom(h, &s, 0, kFindFirst);
  while (rc == 0 || rc == kErrDamaged) {
    if (rc == 0) {
      unsigned key;
      int version = -1;
      if (sscanf(s.Text1, "k%u v%d", &key, &version) != 2 || key != s.Num ||
          !Matches(s, version))
        version = -1;
      out[s.Num] = version;
    } else if (errors != nullptr) {
      ++*errors;
    }
    rc = TblFindFullSymptom(h, &s, 0, kFindNext);
  }
  TblFreeSymptomRemed(&s);
  return out;
}

// ---------------------------------------------------------------- kill

// The writer's program: op j of round r. Keys of ops 0 and 1 (mod 4) are
// added; op 2 replaces the key of op j-2, op 3 deletes it again.
struct Op {
  int kind; // 1 add, 2 replace, 3 delete
  uint32_t key;
  int version;
};
Op OpOf(int round, int j) {
  uint32_t base = static_cast<uint32_t>(round) * 1000000u + 1;
  switch (j % 4) {
  case 0:
  case 1:
    return Op{1, base + static_cast<uint32_t>(j), 0};
  case 2:
    return Op{2, base + static_cast<uint32_t>(j - 2), j};
  default:
    return Op{3, base + static_cast<uint32_t>(j - 3), 0};
  }
}
void Apply(std::map<uint32_t, int> &model, const Op &op) {
  if (op.kind == 3)
    model.erase(op.key);
  else
    model[op.key] = op.version;
}

[[noreturn]] void Writer(int round, int fd) {
  TblHandle h = TblOpenSymptom("crash", 1, 1);
  if (h == 0)
    _exit(2);
  Symptom s = MakeSymptom(0, 0, 0, 0, "");
  s.Remedies = TblAllocSymptomRemed(16);
  for (int j = 0;; ++j) {
    Op op = OpOf(round, j);
    int rc;
    if (op.kind == 1) {
      Fill(s, op.key, op.version);
      rc = TblSaveSymptom(h, &s, kSaveAdd);
    } else {
      s.Num = op.key;
      s.Sub = 0;
      rc = TblFindFullSymptom(h, &s, 0, kFindEqual);
      if (rc == 0 && op.kind == 2) {
        Fill(s, op.key, op.version);
        rc = TblSaveSymptom(h, &s, kSaveReplace);
      } else if (rc == 0) {
        rc = TblDeleteSymptom(h);
      }
    }
    if (rc != 0)
      _exit(3);
    if (write(fd, &j, sizeof j) != sizeof j) // the save has returned
      _exit(4);
  }
}

TEST_F(StoreTest, KilledWriterLosesNothingThatWasSaved) {
  TblHandle h = TblCreateSymptom("crash", 1, 1);
  ASSERT_NE(h, 0);
  ASSERT_EQ(DbCloseFile(h), 0);
  std::map<uint32_t, int> model;
  std::mt19937 rng(20261121);
  int rebuilt = 0;
  const int rounds = 40;
  for (int round = 0; round < rounds; ++round) {
    std::vector<int> told;
    ASSERT_NO_FATAL_FAILURE(
        KillWriter([round](int fd) { Writer(round, fd); },
                   std::uniform_int_distribution<int>(0, 15000)(rng), &told));
    int done = 0;
    for (int j : told) {
      ASSERT_EQ(j, done);
      Apply(model, OpOf(round, done++));
    }
    // The op in flight may or may not have landed; nothing else may differ.
    std::map<uint32_t, int> after = model;
    Apply(after, OpOf(round, done));

    h = TblOpenSymptom("crash", 1, 1);
    if (h == 0) {
      ASSERT_EQ(OrvixError, kErrBadIndex) << "round " << round;
      ASSERT_EQ(TblRebuildSymptom("crash", 0, 1), 0) << "round " << round;
      ++rebuilt;
      h = TblOpenSymptom("crash", 1, 1);
      ASSERT_NE(h, 0) << OrvixError;
    }
    std::map<uint32_t, int> got = Contents(h);
    ASSERT_TRUE(got == model || got == after)
        << "round " << round << ": " << got.size() << " records, expected "
        << model.size() << " after " << done << " ops";
    model = got;
    ASSERT_EQ(DbCloseFile(h), 0);
  }
  EXPECT_GT(rebuilt, rounds / 2); // most kills left a stale index
  EXPECT_GT(model.size(), 100u);
}

// ---------------------------------------------------------------- damage

class DamageTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    TblHandle h = TblCreateSymptom("dmg", 1, 1);
    ASSERT_NE(h, 0);
    Symptom s = MakeSymptom(0, 0, 0, 0, "");
    s.Remedies = TblAllocSymptomRemed(16);
    for (uint32_t k = 1; k <= kN; ++k) {
      Fill(s, k, static_cast<int>(k % 5));
      ASSERT_EQ(TblSaveSymptom(h, &s, kSaveAdd), 0);
    }
    TblFreeSymptomRemed(&s);
    ASSERT_EQ(DbCloseFile(h), 0);
    dat_ = Slurp("dmg.dat");
    idx_ = Slurp("dmg.idx");
  }
  // Every record found is whole and right.
  static void ExpectIntact(const std::map<uint32_t, int> &got) {
    for (auto &[key, version] : got)
      EXPECT_EQ(version, static_cast<int>(key % 5)) << "record " << key;
  }
  // What a rebuild and an open find; every record found is whole and right.
  static std::map<uint32_t, int> Rebuilt() {
    EXPECT_EQ(TblRebuildSymptom("dmg", 0, 1), 0);
    TblHandle h = TblOpenSymptom("dmg", 1, 1);
    EXPECT_NE(h, 0) << OrvixError;
    std::map<uint32_t, int> got = Contents(h);
    ExpectIntact(got);
    DbCloseFile(h);
    return got;
  }
  static constexpr uint32_t kN = 300;
  std::string dat_, idx_;
};

TEST_F(DamageTest, FlippedBytesNeverCrashAndRebuildKeepsTheRest) {
  std::mt19937 rng(7);
  for (int trial = 0; trial < 12; ++trial) {
    std::string d = dat_;
    const int flips = 1 + trial % 4;
    for (int f = 0; f < flips; ++f) {
      size_t at = std::uniform_int_distribution<size_t>(64, d.size() - 1)(rng);
      d[at] = static_cast<char>(d[at] ^ (1 + trial % 255));
    }
    Spit("dmg.dat", d);
    Spit("dmg.idx", idx_);
    // The snapshot still fits the file's length: reads meet the damage.
    TblHandle h = TblOpenSymptom("dmg", 1, 1);
    ASSERT_NE(h, 0) << OrvixError;
    int errors = 0;
    std::map<uint32_t, int> got = Contents(h, &errors);
    ExpectIntact(got);
    EXPECT_LE(errors, flips);
    ASSERT_EQ(DbCloseFile(h), 0);
    EXPECT_GE(Rebuilt().size(), kN - static_cast<size_t>(flips)) << trial;
  }
}

TEST_F(DamageTest, TruncatedDataKeepsEveryWholeRecord) {
  std::mt19937 rng(11);
  for (int trial = 0; trial < 10; ++trial) {
    size_t cut = std::uniform_int_distribution<size_t>(0, dat_.size() - 1)(rng);
    SCOPED_TRACE(cut);
    Spit("dmg.dat", dat_.substr(0, cut));
    Spit("dmg.idx", idx_);
    EXPECT_EQ(TblOpenSymptom("dmg", 1, 1), 0);
    EXPECT_TRUE(OrvixError == kErrBadIndex || OrvixError == kErrDamaged)
        << OrvixError;
    // Records were written in key order: what survives is a prefix.
    uint32_t expect = 1;
    for (auto &kv : Rebuilt())
      EXPECT_EQ(kv.first, expect++);
  }
}

TEST_F(DamageTest, HeaderDamageAndTrailingGarbage) {
  std::string d = dat_;
  d[20] = static_cast<char>(d[20] ^ 0x40);
  Spit("dmg.dat", d);
  EXPECT_EQ(TblOpenSymptom("dmg", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrDamaged);
  EXPECT_EQ(TblOpenSymptom("dmg", 1, 0), 0);
  EXPECT_EQ(Rebuilt().size(), kN);

  Spit("dmg.dat", dat_ + std::string(777, '\x5a') + "FRM1 torn");
  Spit("dmg.idx", idx_);
  EXPECT_EQ(TblOpenSymptom("dmg", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
  TblHandle h =
      TblOpenSymptom("dmg", 1, 0); // readable in file order all the same
  ASSERT_NE(h, 0) << OrvixError;
  EXPECT_EQ(DbCountEntries(h), static_cast<long>(kN));
  ASSERT_EQ(DbCloseFile(h), 0);
  ASSERT_EQ(TblRebuildSymptom("dmg", 0, 1), 0);
  EXPECT_EQ(Slurp("dmg.dat").size(), dat_.size()); // the garbage is gone
}

TEST_F(DamageTest, DamagedOrForeignIndexIsRefused) {
  std::string i = idx_;
  i[i.size() / 2] = static_cast<char>(i[i.size() / 2] ^ 1);
  Spit("dmg.idx", i);
  EXPECT_EQ(TblOpenSymptom("dmg", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
  Spit("dmg.idx", idx_.substr(0, 100));
  EXPECT_EQ(TblOpenSymptom("dmg", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
  // The index of another table of the same family.
  TblHandle o = TblCreateSymptom("other", 1, 1);
  ASSERT_NE(o, 0);
  ASSERT_EQ(DbCloseFile(o), 0);
  Spit("dmg.idx", Slurp("other.idx"));
  EXPECT_EQ(TblOpenSymptom("dmg", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
  EXPECT_EQ(Rebuilt().size(), kN);
}

// A snapshot whose checksums are all right but whose order of key 0 names
// one record twice (and so leaves another out) is refused at the key's first
// use, and a rebuild gives every record back.
TEST_F(DamageTest, AnOrderNamingARecordTwiceIsRefusedAtItsFirstUse) {
  auto le32 = [](const std::string &b, size_t at) {
    uint32_t v;
    memcpy(&v, b.data() + at, 4);
    return v;
  };
  auto put32 = [](std::string &b, size_t at, uint32_t v) {
    memcpy(b.data() + at, &v, 4);
  };
  std::string i = idx_;
  const size_t dir = 96 + 16; // the directory's place of key 0
  uint64_t off;
  memcpy(&off, i.data() + dir, 8);
  uint32_t count = le32(i, dir + 8);
  ASSERT_EQ(count, kN);
  const size_t entry = 20; // two words of key, the record id
  put32(i, off + entry + 16, le32(i, off + 16));
  put32(i, dir + 12, StoreCrc32c(i.data() + off, count * entry));
  put32(i, 508, StoreCrc32c(i.data(), 508));
  Spit("dmg.idx", i);

  TblHandle h = TblOpenSymptom("dmg", 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  Symptom s = MakeSymptom(1, 0, 0, 0, "");
  s.Remedies = TblAllocSymptomRemed(1);
  EXPECT_EQ(TblFindFullSymptom(h, &s, 0, kFindFirst), kErrBadIndex);
  TblFreeSymptomRemed(&s);
  ASSERT_EQ(DbCloseFile(h), 0);
  EXPECT_EQ(Rebuilt().size(), kN);
}

TEST_F(StoreTest, EmptyAndForeignFilesAreNotTables) {
  Spit("empty.dat", "");
  EXPECT_EQ(TblOpenSymptom("empty", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrDamaged);
  ASSERT_EQ(TblRebuildSymptom("empty", 0, 1), 0); // nothing to lose
  TblHandle h = TblOpenSymptom("empty", 1, 1);
  ASSERT_NE(h, 0);
  EXPECT_EQ(DbCountEntries(h), 0);

  std::string letter = "Dear reader,\nthis is not a table at all.\n";
  for (int i = 0; i < 200; ++i)
    letter += "line of a letter that happens to be called foreign.dat\n";
  Spit("foreign.dat", letter);
  EXPECT_EQ(TblOpenSymptom("foreign", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrDamaged);
  EXPECT_EQ(TblRebuildSymptom("foreign", 0, 1), kErrDamaged);
  EXPECT_EQ(Slurp("foreign.dat"), letter); // left alone
  std::filesystem::create_directory(root_ / "dir.dat");
  EXPECT_EQ(TblOpenSymptom("dir", 1, 1), 0);
  EXPECT_NE(OrvixError, 0);
}

// ---------------------------------------------------------------- processes

TEST_F(StoreTest, AnotherProcessCannotHaveAnOpenTable) {
  TblHandle h = TblCreateRemed("remed", 1, 1);
  ASSERT_NE(h, 0);
  Remed r{};
  r.Id = 1;
  StrCopy(r.Abbrev, "Acon.");
  ASSERT_EQ(TblSaveRemed(h, &r, kSaveAdd), 0);
  ASSERT_EQ(DbCloseFile(h), 0);
  int ready[2], go[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(go), 0);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(go[1]);
    TblHandle c = TblOpenRemed("remed", 1, 1);
    char byte = c != 0 ? 'y' : 'n';
    if (write(ready[1], &byte, 1) != 1)
      _exit(1);
    if (read(go[0], &byte, 1) < 0) // wait for the parent's word
      _exit(1);
    _exit(c != 0 && DbCloseFile(c) == 0 ? 0 : 1);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  ASSERT_EQ(byte, 'y');
  EXPECT_EQ(TblOpenRemed("remed", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrLocked);
  EXPECT_EQ(TblRebuildRemed("remed", 0, 1), kErrLocked);
  close(go[1]);
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  h = TblOpenRemed("remed", 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  ASSERT_EQ(TblFindFullRemed(h, &r, 0, kFindEqual), 0);
  EXPECT_STREQ(r.Abbrev, "Acon.");
  close(ready[0]);
  close(ready[1]);
  close(go[0]);
}

// ---------------------------------------------------------------- resources

int OpenDescriptors() {
  int n = 0;
  DIR *d = opendir("/proc/self/fd");
  while (d != nullptr && readdir(d) != nullptr)
    ++n;
  if (d != nullptr)
    closedir(d);
  return n;
}

TEST_F(StoreTest, VirtualCloseGivesDescriptorsBack) {
  // Four tables hold eight descriptors within a budget of ten.
  ASSERT_EQ(DbInitialize(50, 10, 4, "A-Mantrel", "", 0), 0);
  std::vector<TblHandle> hs;
  for (int i = 0; i < 4; ++i) {
    hs.push_back(TblCreateAuthor(("t" + std::to_string(i)).c_str(), 1, 1));
    ASSERT_NE(hs.back(), 0);
    Author a{};
    a.Id = static_cast<uint16_t>(i);
    ASSERT_EQ(TblSaveAuthor(hs.back(), &a, kSaveAdd), 0);
  }
  int before = OpenDescriptors();
  DbVirtualClose(2);
  EXPECT_EQ(OpenDescriptors(), before) << "two are free already";
  DbVirtualClose(3);
  EXPECT_EQ(OpenDescriptors(), before - 1) << "one more makes room for three";
  DbVirtualClose(10);
  EXPECT_EQ(OpenDescriptors(), before - 4) << "every write descriptor goes";
  for (size_t i = 0; i < hs.size(); ++i) { // still usable, and writable
    Author a{};
    a.Id = static_cast<uint16_t>(i);
    ASSERT_EQ(TblFindFullAuthor(hs[i], &a, 0, kFindEqual), 0);
    StrCopy(a.Name, "again");
    ASSERT_EQ(TblSaveAuthor(hs[i], &a, kSaveReplace), 0);
  }
  for (TblHandle h : hs)
    ASSERT_EQ(DbCloseFile(h), 0);
  // With a budget of 4 descriptors the store gives way by itself.
  ASSERT_EQ(DbInitialize(50, 4, 4, "A-Mantrel", "", 0), 0);
  int base = OpenDescriptors();
  hs.clear();
  for (int i = 0; i < 4; ++i) {
    hs.push_back(TblOpenAuthor(("t" + std::to_string(i)).c_str(), 1, 1));
    ASSERT_NE(hs.back(), 0);
    Author a{};
    a.Id = 50;
    ASSERT_EQ(TblSaveAuthor(hs.back(), &a, kSaveAdd), 0);
  }
  EXPECT_LE(OpenDescriptors() - base, 4 + 1); // four locks and one writer
}

TEST_F(StoreTest, GarbageIsCompactedAtClose) {
  TblHandle h = TblCreateNote("notes", 1, 1);
  ASSERT_NE(h, 0);
  char t1[kNoteTextSize], t2[kNoteTextSize];
  Note n{};
  n.Text1 = t1;
  n.Text2 = t2;
  TblClearNote(&n);
  n.Num = 1;
  memset(t1, 'n', 3000);
  t1[3000] = 0;
  ASSERT_EQ(TblSaveNote(h, &n, kSaveAdd), 0);
  // Each version differs whole, so each replace writes the record whole.
  for (int i = 0; i < 100; ++i) {
    memset(t1, 'A' + i % 26, 3000);
    ASSERT_EQ(TblSaveNote(h, &n, kSaveReplace), 0);
  }
  ASSERT_EQ(DbCloseFile(h), 0);
  EXPECT_LT(std::filesystem::file_size(root_ / "notes.dat"), 8000u);
  h = TblOpenNote("notes", 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  n.Num = 1;
  t1[0] = 0;
  ASSERT_EQ(TblFindFullNote(h, &n, 0, kFindEqual), 0);
  EXPECT_EQ(t1[0], 'A' + 99 % 26);
  EXPECT_EQ(strlen(t1), 3000u);
}

TEST_F(StoreTest, ARebuildOfACompactFileWritesOnlyTheIndex) {
  // Additions only, a resource and a number given out: the data file is
  // what a compaction would write, so a rebuild leaves every byte of it.
  TblHandle h = TblCreateSymptom("sym", 1, 1);
  ASSERT_NE(h, 0);
  for (uint16_t i = 0; i < 300; ++i) {
    Symptom s = MakeSymptom(1 + i / 100, i % 100, 0, 0, "Angst", i + 1);
    ASSERT_EQ(TblSaveSymptom(h, &s, kSaveAdd), 0);
  }
  Resource r = MakeResource(7, 1, "abc");
  ASSERT_EQ(DbAddResource(h, &r), 0);
  ASSERT_GT(TblGetNewSptId(h, 0), 300);
  ASSERT_EQ(DbCloseFile(h), 0);
  std::string before = SlurpFile(root_ / "sym.dat");
  std::filesystem::remove(root_ / "sym.idx");
  ASSERT_EQ(TblRebuildSymptom("sym", 0, 1), 0);
  EXPECT_EQ(SlurpFile(root_ / "sym.dat"), before);
  h = TblOpenSymptom("sym", 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  EXPECT_EQ(DbCountEntries(h), 300);
  Symptom s = MakeSymptom(3, 99, 0, 0, "");
  ASSERT_EQ(TblFindFullSymptom(h, &s, 0, kFindEqual), 0);
  EXPECT_EQ(s.UniqueId, 300);
  s.UniqueId = 150;
  ASSERT_EQ(TblFindFullSymptom(h, &s, 8, kFindEqual), 0);
  EXPECT_EQ(s.Num, 2u);
  EXPECT_EQ(s.Sub, 49);
  Resource got{};
  ASSERT_EQ(DbGetResource(h, &r, &got, 2), 0);
  EXPECT_EQ(memcmp(got.Text, "abc", 3), 0);
  EXPECT_GT(TblGetNewSptId(h, 0), 301); // the number given out survives

  // A replace leaves an old frame behind: the next rebuild compacts, and
  // the file comes out smaller, with the record's last version.
  s.Num = 1;
  s.Sub = 5;
  ASSERT_EQ(TblFindFullSymptom(h, &s, 0, kFindEqual), 0);
  StrCopy(s.Text1, "Furcht");
  ASSERT_EQ(TblSaveSymptom(h, &s, kSaveReplace), 0);
  ASSERT_EQ(DbCloseFile(h), 0);
  auto grown = std::filesystem::file_size(root_ / "sym.dat");
  ASSERT_EQ(TblRebuildSymptom("sym", 0, 1), 0);
  EXPECT_LT(std::filesystem::file_size(root_ / "sym.dat"), grown);
  h = TblOpenSymptom("sym", 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  EXPECT_EQ(DbCountEntries(h), 300);
  TblFreeSymptomRemed(&s);
  s = MakeSymptom(1, 5, 0, 0, "");
  ASSERT_EQ(TblFindFullSymptom(h, &s, 0, kFindEqual), 0);
  EXPECT_STREQ(s.Text1, "Furcht");
  TblFreeSymptomRemed(&s);
  ASSERT_EQ(DbCloseFile(h), 0);
}

} // namespace
