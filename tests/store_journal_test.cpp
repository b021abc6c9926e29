// The entry journal: writes to several tables between DbEntryBegin and
// DbEntryCommit stand or fall together, whether the entry is undone in the
// program, the program is killed in the middle of it, or a write fails for
// want of room. The two tables of these tests get the same key in every
// entry, so that "all or nothing" reads: both tables hold the same ids.
#include "store_fixture.h"

#include <csignal>
#include <random>
#include <set>
#include <sys/resource.h>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

// A remedy or author record with this id and abbreviation, all else zero.
template <typename Rec> Rec Make(int id, const char *abbrev) {
  Rec r;
  memset(&r, 0, sizeof r);
  r.CursorState = 0xff;
  r.Id = static_cast<uint16_t>(id);
  StrCopy(r.Abbrev, abbrev);
  return r;
}

// The ids of a table by key 0, in order, and the abbreviation of each.
std::map<int, std::string> Remedies(TblHandle h) {
  std::map<int, std::string> out;
  Remed r = Make<Remed>(0, "");
  for (int err = TblFindFullRemed(h, &r, 0, kFindFirst); err == 0;
       err = TblFindFullRemed(h, &r, 0, kFindNext))
    out[r.Id] = r.Abbrev;
  return out;
}

std::set<int> Authors(TblHandle h) {
  std::set<int> out;
  Author a = Make<Author>(0, "");
  for (int err = TblFindFullAuthor(h, &a, 0, kFindFirst); err == 0;
       err = TblFindFullAuthor(h, &a, 0, kFindNext))
    out.insert(a.Id);
  return out;
}

// One entry: remedy id and author id written together; a long name makes
// each entry's frames large enough for a file size limit to bite soon.
int WriteEntry(TblHandle r, TblHandle a, int id) {
  Remed x = Make<Remed>(id, "r");
  for (size_t i = 0; i + 1 < sizeof x.Name; ++i)
    x.Name[i] = static_cast<char>('a' + (id + static_cast<int>(i)) % 26);
  Author y = Make<Author>(id, "a");
  DbEntryBegin();
  TblSaveRemed(r, &x, kSaveAdd);
  TblSaveAuthor(a, &y, kSaveAdd);
  return DbEntryCommit();
}

class JournalTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    for (auto make : {TblCreateRemed, TblCreateAuthor}) {
      TblHandle h = make(make == TblCreateRemed ? "rem" : "aut", 1, 1);
      ASSERT_NE(h, 0);
      ASSERT_EQ(DbCloseFile(h), 0);
    }
  }
  // Both tables open normally (their indexes good, no rebuild by hand) and
  // hold the same ids.
  std::set<int> CheckAgree() {
    TblHandle r = TblOpenRemed("rem", 1, 1);
    EXPECT_NE(r, 0) << OrvixError;
    TblHandle a = TblOpenAuthor("aut", 1, 1);
    EXPECT_NE(a, 0) << OrvixError;
    std::set<int> ids;
    for (auto &[id, abbrev] : Remedies(r))
      ids.insert(id);
    EXPECT_EQ(ids, Authors(a));
    DbCloseFile(r);
    DbCloseFile(a);
    return ids;
  }
  // Links left beside the tables, or with `journal` a journal as well.
  std::string Leftovers(bool journal = true) const {
    std::string left;
    for (auto &e : fs::directory_iterator(root_)) {
      std::string n = e.path().filename().string();
      if (n.find("~jnl") != std::string::npos ||
          (journal && n.ends_with(".jnl")))
        left += n + " ";
    }
    return left;
  }
};

TEST_F(JournalTest, RollbackUndoesEveryTableAndTheProgramGoesOn) {
  ASSERT_EQ(DbJournalOpen("run"), 0);
  TblHandle r = TblOpenRemed("rem", 1, 1), a = TblOpenAuthor("aut", 1, 1);
  ASSERT_EQ(WriteEntry(r, a, 1), 0);
  ASSERT_EQ(WriteEntry(r, a, 2), 0);

  // An entry that adds, replaces and renumbers, then is undone.
  DbEntryBegin();
  Remed x = Make<Remed>(3, "new");
  ASSERT_EQ(TblSaveRemed(r, &x, kSaveAdd), 0);
  x = Make<Remed>(1, "");
  ASSERT_EQ(TblFindFullRemed(r, &x, 0, kFindEqual), 0);
  StrCopy(x.Abbrev, "changed");
  ASSERT_EQ(TblSaveRemed(r, &x, kSaveReplace), 0);
  Author y = Make<Author>(2, "");
  ASSERT_EQ(TblFindFullAuthor(a, &y, 0, kFindEqual), 0);
  y.Id = 9; // a new primary key
  ASSERT_EQ(TblSaveAuthor(a, &y, kSaveReplace), 0);
  EXPECT_EQ(DbEntryRollback(), 0);

  EXPECT_EQ(Remedies(r), (std::map<int, std::string>{{1, "r"}, {2, "r"}}));
  EXPECT_EQ(Authors(a), (std::set<int>{1, 2}));
  // The key orders were rebuilt too: a find by abbreviation sees no "new".
  x = Make<Remed>(0, "new");
  EXPECT_NE(TblFindFullRemed(r, &x, 1, kFindEqual), 0);
  // The next entry goes on from the undone state.
  ASSERT_EQ(WriteEntry(r, a, 4), 0);
  DbCloseFile(r);
  DbCloseFile(a);
  EXPECT_NE(Leftovers(), ""); // the journal lives until it is closed
  ASSERT_EQ(DbJournalClose(), 0);
  EXPECT_EQ(Leftovers(), "");
  EXPECT_EQ(CheckAgree(), (std::set<int>{1, 2, 4}));
}

TEST_F(JournalTest, CloseUndoesAnOpenEntryAndWritesOutsideEntriesStand) {
  ASSERT_EQ(DbJournalOpen("run"), 0);
  TblHandle r = TblOpenRemed("rem", 1, 1), a = TblOpenAuthor("aut", 1, 1);
  Remed x = Make<Remed>(7, "alone");
  ASSERT_EQ(TblSaveRemed(r, &x, kSaveAdd), 0); // commits by itself
  Author y = Make<Author>(7, "alone");
  ASSERT_EQ(TblSaveAuthor(a, &y, kSaveAdd), 0);
  DbEntryBegin();
  x = Make<Remed>(8, "open");
  ASSERT_EQ(TblSaveRemed(r, &x, kSaveAdd), 0);
  // The tables stay open past the journal's close, as the partner's do.
  ASSERT_EQ(DbJournalClose(), 0);
  EXPECT_EQ(Remedies(r).count(8), 0u);
  DbCloseFile(r);
  DbCloseFile(a);
  EXPECT_EQ(Leftovers(), "");
  EXPECT_EQ(CheckAgree(), (std::set<int>{7}));
}

// A writer of numbered entries that tells its parent each commit.
[[noreturn]] void Writer(int first, int pipeFd) {
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0 ||
      DbJournalOpen("run") != 0)
    _exit(3);
  TblHandle r = TblOpenRemed("rem", 1, 1), a = TblOpenAuthor("aut", 1, 1);
  if (r == 0 || a == 0)
    _exit(4);
  for (int id = first;; ++id) {
    if (WriteEntry(r, a, id) != 0)
      _exit(5);
    if (write(pipeFd, &id, sizeof id) != sizeof id)
      _exit(6);
  }
}

TEST_F(JournalTest, AKilledEntryIsUndoneByTheNextOpenOfAnyTable) {
  std::mt19937 rng(20261123);
  std::set<int> model;
  int next = 1, mended = 0;
  const int rounds = 24;
  for (int round = 0; round < rounds; ++round) {
    // Killed after some commits, however slow the machine, and a little
    // later: in an entry or between two.
    std::vector<int> told;
    ASSERT_NO_FATAL_FAILURE(
        KillWriter([next](int fd) { Writer(next, fd); },
                   std::uniform_int_distribution<int>(0, 3000)(rng), &told,
                   std::uniform_int_distribution<int>(1, 12)(rng)));
    model.insert(told.begin(), told.end());
    // Open the tables in turn, the second first every other round: either
    // one mends both.
    std::set<int> got;
    if (round % 2 == 0) {
      got = CheckAgree();
    } else {
      TblHandle a = TblOpenAuthor("aut", 1, 1);
      ASSERT_NE(a, 0) << "round " << round << ": " << OrvixError;
      got = Authors(a);
      DbCloseFile(a);
      EXPECT_EQ(CheckAgree(), got);
    }
    // Every commit told stands; one more may have committed unseen.
    std::set<int> extra;
    std::set_difference(got.begin(), got.end(), model.begin(), model.end(),
                        std::inserter(extra, extra.begin()));
    ASSERT_TRUE(
        std::includes(got.begin(), got.end(), model.begin(), model.end()))
        << "round " << round;
    ASSERT_LE(extra.size(), 1u) << "round " << round;
    model = got;
    next = model.empty() ? 1 : *model.rbegin() + 1;
    while (DbTakeMended(nullptr, 0, nullptr) != 0)
      ++mended;
    // A writer killed before its first write leaves a journal that no
    // table names; the next journal at that place takes it over.
    EXPECT_EQ(Leftovers(false), "") << "round " << round;
  }
  EXPECT_GE(model.size(), static_cast<size_t>(rounds));
  EXPECT_GE(mended, rounds); // both tables, most rounds
}

TEST_F(JournalTest, AFileSizeLimitStopsAtTheFirstFailedWrite) {
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0 ||
        DbJournalOpen("run") != 0)
      _exit(3);
    TblHandle r = TblOpenRemed("rem", 1, 1), a = TblOpenAuthor("aut", 1, 1);
    if (r == 0 || a == 0)
      _exit(4);
    // Room for some entries, then no more.
    struct rlimit lim {
      40000, 40000
    };
    setrlimit(RLIMIT_FSIZE, &lim);
    int id = 1, err = 0;
    while (id < 100000 && (err = WriteEntry(r, a, id)) == 0)
      ++id;
    if (err != kErrOutOfSpace)
      _exit(5);
    // The program goes on after the failed entry: its tables are whole.
    std::map<int, std::string> rem = Remedies(r);
    std::set<int> aut = Authors(a);
    if (rem.size() != static_cast<size_t>(id - 1) || aut.size() != rem.size())
      _exit(6);
    DbCloseFile(r);
    DbCloseFile(a);
    DbJournalClose();
    DbTerminate("A-Mantrel");
    _exit(id > 10 ? 0 : 7);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  ASSERT_EQ(WEXITSTATUS(status), 0);
  std::set<int> ids = CheckAgree();
  EXPECT_GT(ids.size(), 10u);
  EXPECT_EQ(*ids.rbegin(), static_cast<int>(ids.size()));
}

TEST_F(JournalTest, ALinkWithoutItsJournalIsDropped) {
  ASSERT_EQ(DbJournalOpen("run"), 0);
  TblHandle r = TblOpenRemed("rem", 1, 1), a = TblOpenAuthor("aut", 1, 1);
  ASSERT_EQ(WriteEntry(r, a, 1), 0);
  DbCloseFile(r);
  DbCloseFile(a);
  // A journal that someone removed by hand: the links lead nowhere.
  std::string link = Slurp("rem.dat~jnl");
  ASSERT_FALSE(link.empty());
  ASSERT_EQ(DbJournalClose(), 0);
  Spit("rem.dat~jnl", link);
  EXPECT_EQ(CheckAgree(), (std::set<int>{1}));
  EXPECT_EQ(Leftovers(), "");
}

} // namespace
