// The store beside a general-purpose one: the access patterns of
// store_bench (a Symptom table of 250,000 symptoms of bench_repertory.h;
// inserts while building, finds by key 0 and key 8, an ordered walk by
// key 1, saves that renumber, inserts into the full table, closes, opens)
// run on the store and on SQLite in the same run, and the ratios printed.
//
// SQLite is given its best ordinary use: WAL journal, synchronous=NORMAL,
// prepared statements, the file mapped like the store's (mmap_size), and one
// index for each order the store keeps of a Symptom table (keys 0 to 4, 8,
// and the two orders of texts regardless of case, whose folded texts are
// columns of their own). Each statement is its own transaction, as each
// save of the store is: durable once it returns, against a kill of the
// process, not synced. A second row for inserts and saves batches them in
// one transaction, which the store has no need of.
//
// Each side runs in a process of its own (the benchmark runs itself again
// with --side), so that its peak resident memory is its own; --rounds N
// takes N pairs in turn and prints the median of each ratio.
//
//   sqlite_bench [--count N] [--finds N] [--saves N] [--inserts N]
//                [--rounds N] [--keep]
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "bench_measure.h"
#include "bench_repertory.h"
#include "platform/cp1252.h"
#include "platform/strutil.h"
#include "store/store.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace bench;

struct Params {
  int count = 250000;
  long finds = 500000, saves = 100000, inserts = 20000;
};

// The rows both sides time, in this order; a side prints each as
// "row <n> <wall> <cpu>" for the parent to read.
const char *const kRows[] = {
    "insert while building (mode 1)",
    "close after building",
    "open (best of 5)",
    "find equal, key 0 (Num, Sub)",
    "find equal, key 8 (UniqueId)",
    "step by key 1 (ordered walk)",
    "save changing Sub (renumbering)",
    "insert into the full table",
    "close after changes",
    "insert while building, one transaction",
    "save changing Sub, one transaction",
};
constexpr int kRowCount = static_cast<int>(sizeof kRows / sizeof *kRows);
// How many operations a row counts, for its rate.
long RowOps(int row, const Params &p) {
  switch (row) {
  case 0:
  case 9:
    return p.count;
  case 3:
  case 4:
    return p.finds;
  case 5:
    return p.count;
  case 6:
  case 10:
    return p.saves;
  case 7:
    return p.inserts;
  default:
    return 1;
  }
}

void Emit(int row, const Timer &t) {
  printf("row %d %.6f %.6f\n", row, t.wall, t.cpu);
}

// The common plan: the symptoms, the picks of the finds, the order of the
// renumbering and the symptoms inserted later, the same on both sides.
struct Work {
  std::vector<Planned> plan, more;
  std::vector<uint32_t> picks, order;
};

Work MakeWork(const Params &p) {
  Work w;
  w.plan = Plan(p.count);
  w.picks.resize(static_cast<size_t>(p.finds));
  for (auto &x : w.picks)
    x = static_cast<uint32_t>(Pick(0, p.count - 1));
  w.order.resize(static_cast<size_t>(p.count));
  for (uint32_t i = 0; i < w.order.size(); ++i)
    w.order[i] = i;
  std::shuffle(w.order.begin(), w.order.end(), gRandom);
  w.more = Plan(static_cast<int>(p.inserts));
  uint32_t num = static_cast<uint32_t>(p.count / 1000 + 2);
  for (size_t i = 0; i < w.more.size(); ++i) {
    w.more[i].at.num = num + static_cast<uint32_t>(i / 1000);
    w.more[i].at.sub = static_cast<uint16_t>(i % 1000);
    w.more[i].parent = Numbered{1, 0};
    w.more[i].level = 2;
    w.more[i].uniqueId = p.count + 1 + static_cast<int32_t>(i);
  }
  return w;
}

Symptom gSym;

void Fill(const Planned &p) {
  SymptomRemedy *arr = gSym.Remedies;
  memset(static_cast<void *>(&gSym), 0, sizeof gSym);
  gSym.Remedies = arr;
  gSym.CursorState = 0xff;
  gSym.Num = p.at.num;
  gSym.Sub = p.at.sub;
  gSym.ParentNum = p.parent.num;
  gSym.ParentSub = p.parent.sub;
  gSym.Level = p.level;
  gSym.Chapter = p.chapter;
  gSym.UniqueId = p.uniqueId;
  StrCopy(gSym.Text1, p.text1);
  StrCopy(gSym.Text2, p.text2);
  StrCopy(gSym.CrossRef1, p.crossRef1.c_str());
  StrCopy(gSym.Synonym1, p.synonym1.c_str());
  gSym.RemedyCount = static_cast<uint16_t>(p.remedies.size() - 1);
  std::copy(p.remedies.begin(), p.remedies.end(), gSym.Remedies);
}

int Fail(const char *what) {
  fprintf(stderr, "sqlite_bench: %s failed (store error %d)\n", what,
          OrvixError);
  return 1;
}

// ---------------------------------------------------------------- the store

int StoreSide(const Params &p, Work &w) {
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;
  const char *path = "symptom";
  TblHandle h = TblCreateSymptom(path, 1, 1);
  if (h == 0)
    return Fail("create");
  Timer t;
  t.Start();
  for (const Planned &x : w.plan) {
    Fill(x);
    if (TblSaveSymptom(h, &gSym, kSaveAdd) != 0)
      return Fail("insert");
  }
  t.Stop();
  Emit(0, t);
  t = Timer();
  t.Start();
  if (DbCloseFile(h) != 0)
    return Fail("close");
  t.Stop();
  Emit(1, t);

  Timer best;
  best.wall = best.cpu = 1e9;
  for (int i = 0; i < 5; ++i) {
    Timer o;
    o.Start();
    h = TblOpenSymptom(path, 1, 1);
    o.Stop();
    if (h == 0 || DbCloseFile(h) != 0)
      return Fail("open");
    best.wall = std::min(best.wall, o.wall);
    best.cpu = std::min(best.cpu, o.cpu);
  }
  Emit(2, best);

  h = TblOpenSymptom(path, 1, 1);
  if (h == 0)
    return Fail("open");
  t = Timer();
  t.Start();
  for (uint32_t x : w.picks) {
    gSym.Num = w.plan[x].at.num;
    gSym.Sub = w.plan[x].at.sub;
    if (TblFindFullSymptom(h, &gSym, 0, kFindEqual) != 0)
      return Fail("find key 0");
  }
  t.Stop();
  Emit(3, t);
  t = Timer();
  t.Start();
  for (uint32_t x : w.picks) {
    gSym.UniqueId = static_cast<int32_t>(x + 1);
    if (TblFindFullSymptom(h, &gSym, 8, kFindEqual) != 0)
      return Fail("find key 8");
  }
  t.Stop();
  Emit(4, t);

  long steps = 0;
  t = Timer();
  t.Start();
  for (int mode = kFindFirst; TblFindFullSymptom(h, &gSym, 1, mode) == 0;
       mode = kFindNext)
    ++steps;
  t.Stop();
  if (steps != p.count)
    return Fail("walk by key 1");
  Emit(5, t);

  // Renumbering: the finds that make each record current are timed alone
  // first and taken off.
  Timer finds;
  finds.Start();
  for (long i = 0; i < p.saves; ++i) {
    const Planned &x = w.plan[w.order[static_cast<size_t>(i)]];
    gSym.Num = x.at.num;
    gSym.Sub = x.at.sub;
    if (TblFindFullSymptom(h, &gSym, 0, kFindEqual) != 0)
      return Fail("find");
  }
  finds.Stop();
  t = Timer();
  t.Start();
  for (long i = 0; i < p.saves; ++i) {
    const Planned &x = w.plan[w.order[static_cast<size_t>(i)]];
    gSym.Num = x.at.num;
    gSym.Sub = x.at.sub;
    if (TblFindFullSymptom(h, &gSym, 0, kFindEqual) != 0)
      return Fail("find before save");
    gSym.Sub = static_cast<uint16_t>(gSym.Sub + 1000);
    if (TblSaveSymptom(h, &gSym, kSaveReplace) != 0)
      return Fail("save mode 2");
  }
  t.Stop();
  t.wall = std::max(t.wall - finds.wall, 1e-9);
  t.cpu = std::max(t.cpu - finds.cpu, 1e-9);
  Emit(6, t);

  t = Timer();
  t.Start();
  for (const Planned &x : w.more) {
    Fill(x);
    if (TblSaveSymptom(h, &gSym, kSaveAdd) != 0)
      return Fail("insert into the full table");
  }
  t.Stop();
  Emit(7, t);
  t = Timer();
  t.Start();
  if (DbCloseFile(h) != 0)
    return Fail("close after changes");
  t.Stop();
  Emit(8, t);
  DbTerminate("A-Mantrel");
  return 0;
}

// ---------------------------------------------------------------- SQLite

sqlite3 *gDb = nullptr;

int SqlFail(const char *what) {
  fprintf(stderr, "sqlite_bench: %s: %s\n", what,
          gDb != nullptr ? sqlite3_errmsg(gDb) : "no database");
  return 1;
}

bool Exec(const char *sql) {
  char *msg = nullptr;
  if (sqlite3_exec(gDb, sql, nullptr, nullptr, &msg) == SQLITE_OK)
    return true;
  fprintf(stderr, "sqlite_bench: %s: %s\n", sql, msg != nullptr ? msg : "");
  sqlite3_free(msg);
  return false;
}

sqlite3_stmt *Prepare(const char *sql) {
  sqlite3_stmt *st = nullptr;
  if (sqlite3_prepare_v3(gDb, sql, -1, SQLITE_PREPARE_PERSISTENT, &st,
                         nullptr) != SQLITE_OK) {
    SqlFail(sql);
    return nullptr;
  }
  return st;
}

bool OpenDb(const char *path) {
  if (sqlite3_open_v2(path, &gDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                      nullptr) != SQLITE_OK)
    return false;
  return Exec("PRAGMA journal_mode=WAL") && Exec("PRAGMA synchronous=NORMAL") &&
         Exec("PRAGMA mmap_size=1073741824");
}

const char *kColumns =
    "status, num, sub, num2, sub2, parentnum, parentsub, chapter, level, "
    "remedycount, childcount, viewmask, uniqueid, text1, text2, text1up, "
    "text2up, synonym1, synonym2, crossref1, crossref2, remedies, "
    "symptomtype, symptomsubtype";

void BindSym(sqlite3_stmt *st) {
  static char up1[101], up2[101];
  StrCopy(up1, gSym.Text1);
  StrCopy(up2, gSym.Text2);
  DbToUpper(up1);
  DbToUpper(up2);
  int i = 1;
  sqlite3_bind_int(st, i++, gSym.Status);
  sqlite3_bind_int64(st, i++, gSym.Num);
  sqlite3_bind_int(st, i++, gSym.Sub);
  sqlite3_bind_int64(st, i++, gSym.Num2);
  sqlite3_bind_int(st, i++, gSym.Sub2);
  sqlite3_bind_int64(st, i++, gSym.ParentNum);
  sqlite3_bind_int(st, i++, gSym.ParentSub);
  sqlite3_bind_int(st, i++, gSym.Chapter);
  sqlite3_bind_int(st, i++, gSym.Level);
  sqlite3_bind_int(st, i++, gSym.RemedyCount);
  sqlite3_bind_int(st, i++, gSym.ChildCount);
  sqlite3_bind_int(st, i++, gSym.ViewMask);
  sqlite3_bind_int(st, i++, gSym.UniqueId);
  for (const char *s :
       {static_cast<const char *>(gSym.Text1),
        static_cast<const char *>(gSym.Text2), static_cast<const char *>(up1),
        static_cast<const char *>(up2),
        static_cast<const char *>(gSym.Synonym1),
        static_cast<const char *>(gSym.Synonym2),
        static_cast<const char *>(gSym.CrossRef1),
        static_cast<const char *>(gSym.CrossRef2)})
    sqlite3_bind_text(st, i++, s, -1, SQLITE_STATIC);
  int n = 0;
  while (TblIsLastSymptomRemed(&gSym.Remedies[n]) != 2)
    ++n;
  sqlite3_bind_blob(st, i++, gSym.Remedies,
                    static_cast<int>(n * sizeof(SymptomRemedy)), SQLITE_STATIC);
  sqlite3_bind_int(st, i++, gSym.SymptomType);
  sqlite3_bind_int(st, i++, gSym.SymptomSubType);
}

// A row of a SELECT of kColumns into gSym, as a find fills the record.
void ReadSym(sqlite3_stmt *st) {
  gSym.Status = static_cast<uint16_t>(sqlite3_column_int(st, 0));
  gSym.Num = static_cast<uint32_t>(sqlite3_column_int64(st, 1));
  gSym.Sub = static_cast<uint16_t>(sqlite3_column_int(st, 2));
  gSym.Num2 = static_cast<uint32_t>(sqlite3_column_int64(st, 3));
  gSym.Sub2 = static_cast<uint16_t>(sqlite3_column_int(st, 4));
  gSym.ParentNum = static_cast<uint32_t>(sqlite3_column_int64(st, 5));
  gSym.ParentSub = static_cast<uint16_t>(sqlite3_column_int(st, 6));
  gSym.Chapter = static_cast<uint8_t>(sqlite3_column_int(st, 7));
  gSym.Level = static_cast<uint8_t>(sqlite3_column_int(st, 8));
  gSym.RemedyCount = static_cast<uint16_t>(sqlite3_column_int(st, 9));
  gSym.ChildCount = static_cast<uint16_t>(sqlite3_column_int(st, 10));
  gSym.ViewMask = static_cast<uint16_t>(sqlite3_column_int(st, 11));
  gSym.UniqueId = sqlite3_column_int(st, 12);
  auto text = [&](int col, char *out, size_t cap) {
    const unsigned char *s = sqlite3_column_text(st, col);
    StrCopy(out, cap, s != nullptr ? reinterpret_cast<const char *>(s) : "");
  };
  text(13, gSym.Text1, sizeof gSym.Text1);
  text(14, gSym.Text2, sizeof gSym.Text2);
  text(17, gSym.Synonym1, sizeof gSym.Synonym1);
  text(18, gSym.Synonym2, sizeof gSym.Synonym2);
  text(19, gSym.CrossRef1, sizeof gSym.CrossRef1);
  text(20, gSym.CrossRef2, sizeof gSym.CrossRef2);
  const void *blob = sqlite3_column_blob(st, 21);
  size_t bytes = static_cast<size_t>(sqlite3_column_bytes(st, 21));
  size_t n = std::min<size_t>(bytes / sizeof(SymptomRemedy), 63);
  if (blob != nullptr)
    memcpy(gSym.Remedies, blob, n * sizeof(SymptomRemedy));
  gSym.Remedies[n] = SymptomRemedy{0, 0, 0, 0xffff};
  gSym.SymptomType = static_cast<uint8_t>(sqlite3_column_int(st, 22));
  gSym.SymptomSubType = static_cast<uint8_t>(sqlite3_column_int(st, 23));
}

bool Step(sqlite3_stmt *st, int want) {
  int r = sqlite3_step(st);
  if (r != want) {
    SqlFail("step");
    return false;
  }
  return true;
}

bool CreateSchema() {
  std::string create =
      "CREATE TABLE symptom (status INTEGER, num INTEGER, "
      "sub INTEGER, num2 INTEGER, sub2 INTEGER, parentnum "
      "INTEGER, parentsub INTEGER, chapter INTEGER, level "
      "INTEGER, remedycount INTEGER, childcount INTEGER, "
      "viewmask INTEGER, uniqueid INTEGER, text1 TEXT, text2 "
      "TEXT, text1up TEXT, text2up TEXT, synonym1 TEXT, "
      "synonym2 TEXT, crossref1 TEXT, crossref2 TEXT, remedies "
      "BLOB, symptomtype INTEGER, symptomsubtype INTEGER)";
  return Exec(create.c_str()) &&
         Exec("CREATE UNIQUE INDEX k0 ON symptom (num, sub)") &&
         Exec("CREATE INDEX k1 ON symptom (parentnum, parentsub, text1)") &&
         Exec("CREATE INDEX k2 ON symptom (num2, sub2)") &&
         Exec("CREATE INDEX k3 ON symptom (parentnum, parentsub, text2)") &&
         Exec("CREATE INDEX k4 ON symptom (parentnum, parentsub, num, sub)") &&
         Exec("CREATE INDEX k8 ON symptom (uniqueid)") &&
         Exec("CREATE INDEX k1f ON symptom (parentnum, parentsub, text1up)") &&
         Exec("CREATE INDEX k3f ON symptom (parentnum, parentsub, text2up)");
}

std::string InsertSql() {
  return std::string("INSERT INTO symptom (") + kColumns +
         ") VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
}

// Inserts the plan; in one transaction when `batch`.
bool SqlInsertAll(const std::vector<Planned> &plan, bool batch, Timer &t) {
  sqlite3_stmt *ins = Prepare(InsertSql().c_str());
  if (ins == nullptr)
    return false;
  t.Start();
  if (batch && !Exec("BEGIN"))
    return false;
  for (const Planned &x : plan) {
    Fill(x);
    BindSym(ins);
    if (!Step(ins, SQLITE_DONE))
      return false;
    sqlite3_reset(ins);
  }
  if (batch && !Exec("COMMIT"))
    return false;
  t.Stop();
  sqlite3_finalize(ins);
  return true;
}

// Renumbers `saves` symptoms by the order, one statement each; in one
// transaction when `batch`. `delta` is added to Sub.
bool SqlRenumber(const Params &p, Work &w, bool batch, int delta, Timer &t) {
  sqlite3_stmt *up =
      Prepare("UPDATE symptom SET sub = ?1 WHERE num = ?2 AND sub = ?3");
  if (up == nullptr)
    return false;
  t.Start();
  if (batch && !Exec("BEGIN"))
    return false;
  for (long i = 0; i < p.saves; ++i) {
    Planned &x = w.plan[w.order[static_cast<size_t>(i)]];
    sqlite3_bind_int(up, 1, x.at.sub + delta);
    sqlite3_bind_int64(up, 2, x.at.num);
    sqlite3_bind_int(up, 3, x.at.sub);
    if (!Step(up, SQLITE_DONE) || sqlite3_changes(gDb) != 1)
      return false;
    sqlite3_reset(up);
  }
  if (batch && !Exec("COMMIT"))
    return false;
  t.Stop();
  sqlite3_finalize(up);
  return true;
}

int SqliteSide(const Params &p, Work &w) {
  const char *path = "symptom.db";
  if (!OpenDb(path) || !CreateSchema())
    return SqlFail("create");
  Timer t;
  if (!SqlInsertAll(w.plan, false, t))
    return SqlFail("insert");
  Emit(0, t);
  t = Timer();
  t.Start();
  if (sqlite3_close(gDb) != SQLITE_OK)
    return SqlFail("close");
  t.Stop();
  gDb = nullptr;
  Emit(1, t);

  // An open that is ready to answer: the file opened, the journal mode
  // set, a statement of the find prepared and run once.
  Timer best;
  best.wall = best.cpu = 1e9;
  for (int i = 0; i < 5; ++i) {
    Timer o;
    o.Start();
    if (!OpenDb(path))
      return SqlFail("open");
    sqlite3_stmt *st = Prepare((std::string("SELECT ") + kColumns +
                                " FROM symptom WHERE num = 1 AND "
                                "sub = 0")
                                   .c_str());
    if (st == nullptr || !Step(st, SQLITE_ROW))
      return SqlFail("first find");
    sqlite3_finalize(st);
    o.Stop();
    sqlite3_close(gDb);
    gDb = nullptr;
    best.wall = std::min(best.wall, o.wall);
    best.cpu = std::min(best.cpu, o.cpu);
  }
  Emit(2, best);

  if (!OpenDb(path))
    return SqlFail("open");
  sqlite3_stmt *f0 = Prepare((std::string("SELECT ") + kColumns +
                              " FROM symptom WHERE num = ?1 AND sub = ?2")
                                 .c_str());
  sqlite3_stmt *f8 = Prepare((std::string("SELECT ") + kColumns +
                              " FROM symptom WHERE uniqueid = ?1 LIMIT 1")
                                 .c_str());
  sqlite3_stmt *walk = Prepare((std::string("SELECT ") + kColumns +
                                " FROM symptom ORDER BY parentnum, parentsub, "
                                "text1")
                                   .c_str());
  if (f0 == nullptr || f8 == nullptr || walk == nullptr)
    return 1;
  t = Timer();
  t.Start();
  for (uint32_t x : w.picks) {
    sqlite3_bind_int64(f0, 1, w.plan[x].at.num);
    sqlite3_bind_int(f0, 2, w.plan[x].at.sub);
    if (!Step(f0, SQLITE_ROW))
      return SqlFail("find key 0");
    ReadSym(f0);
    sqlite3_reset(f0);
  }
  t.Stop();
  Emit(3, t);
  t = Timer();
  t.Start();
  for (uint32_t x : w.picks) {
    sqlite3_bind_int(f8, 1, static_cast<int>(x + 1));
    if (!Step(f8, SQLITE_ROW))
      return SqlFail("find key 8");
    ReadSym(f8);
    sqlite3_reset(f8);
  }
  t.Stop();
  Emit(4, t);

  long steps = 0;
  t = Timer();
  t.Start();
  while (sqlite3_step(walk) == SQLITE_ROW) {
    ReadSym(walk);
    ++steps;
  }
  t.Stop();
  sqlite3_reset(walk);
  if (steps != p.count)
    return SqlFail("walk by key 1");
  Emit(5, t);

  t = Timer();
  if (!SqlRenumber(p, w, false, 1000, t))
    return SqlFail("renumbering");
  Emit(6, t);

  t = Timer();
  sqlite3_stmt *ins = Prepare(InsertSql().c_str());
  if (ins == nullptr)
    return 1;
  t.Start();
  for (const Planned &x : w.more) {
    Fill(x);
    BindSym(ins);
    if (!Step(ins, SQLITE_DONE))
      return SqlFail("insert into the full table");
    sqlite3_reset(ins);
  }
  t.Stop();
  sqlite3_finalize(ins);
  Emit(7, t);

  // The batched forms, for comparison: the renumbering back in one
  // transaction, then a second table built in one.
  Timer batch;
  for (long i = 0; i < p.saves; ++i)
    w.plan[w.order[static_cast<size_t>(i)]].at.sub += 1000;
  if (!SqlRenumber(p, w, true, -1000, batch))
    return SqlFail("renumbering in one transaction");

  sqlite3_finalize(f0);
  sqlite3_finalize(f8);
  sqlite3_finalize(walk);
  t = Timer();
  t.Start();
  if (sqlite3_close(gDb) != SQLITE_OK)
    return SqlFail("close after changes");
  t.Stop();
  gDb = nullptr;
  Emit(8, t);

  std::filesystem::remove("symptom.db");
  Timer build;
  if (!OpenDb(path) || !CreateSchema() || !SqlInsertAll(w.plan, true, build))
    return SqlFail("insert in one transaction");
  sqlite3_close(gDb);
  gDb = nullptr;
  Emit(9, build);
  Emit(10, batch);
  return 0;
}

int Side(const char *which, const Params &p) {
  gSym.Remedies = TblAllocSymptomRemed(64);
  gSym.CursorState = 0xff;
  Work w = MakeWork(p);
  int rc = strcmp(which, "store") == 0 ? StoreSide(p, w) : SqliteSide(p, w);
  printf("peak %ld\n", PeakKb());
  TblFreeSymptomRemed(&gSym);
  return rc;
}

struct SideResult {
  double wall[kRowCount] = {}, cpu[kRowCount] = {};
  bool have[kRowCount] = {};
  long peakKb = 0;
};

// Runs one side in a process of its own, its output into a file, and reads
// its rows back.
bool RunSide(const std::string &self, const char *which, const Params &p,
             SideResult &r) {
  std::string out = std::string(which) + ".out";
  std::vector<std::string> args = {"--side",
                                   which,
                                   out,
                                   std::to_string(p.count),
                                   std::to_string(p.finds),
                                   std::to_string(p.saves),
                                   std::to_string(p.inserts)};
  if (RunSelf(self.c_str(), args) != 0)
    return false;
  FILE *in = fopen(out.c_str(), "r");
  if (in == nullptr)
    return false;
  char line[256];
  while (fgets(line, sizeof line, in) != nullptr) {
    int row;
    double wall, cpu;
    long kb;
    if (sscanf(line, "row %d %lf %lf", &row, &wall, &cpu) == 3 && row >= 0 &&
        row < kRowCount) {
      r.wall[row] = wall;
      r.cpu[row] = cpu;
      r.have[row] = true;
    } else if (sscanf(line, "peak %ld", &kb) == 1) {
      r.peakKb = kb;
    }
  }
  fclose(in);
  return true;
}

} // namespace

int main(int argc, char **argv) {
  Params p;
  // sqlite_bench --side store|sqlite OUT COUNT FINDS SAVES INSERTS
  if (argc == 8 && strcmp(argv[1], "--side") == 0) {
    if (freopen(argv[3], "w", stdout) == nullptr)
      return 1;
    p.count = atoi(argv[4]);
    p.finds = atol(argv[5]);
    p.saves = atol(argv[6]);
    p.inserts = atol(argv[7]);
    return Side(argv[2], p);
  }
  int rounds = 1;
  bool keep = false;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--keep") == 0) {
      keep = true;
      continue;
    }
    long v = i + 1 < argc ? strtol(argv[i + 1], nullptr, 10) : 0;
    if (strcmp(argv[i], "--count") == 0 && i + 1 < argc)
      p.count = static_cast<int>(std::clamp(v, 1000L, 1000000L));
    else if (strcmp(argv[i], "--finds") == 0 && i + 1 < argc)
      p.finds = std::max(v, 1L);
    else if (strcmp(argv[i], "--saves") == 0 && i + 1 < argc)
      p.saves = std::max(v, 1L);
    else if (strcmp(argv[i], "--inserts") == 0 && i + 1 < argc)
      p.inserts = std::clamp(v, 1L, 900000L);
    else if (strcmp(argv[i], "--rounds") == 0 && i + 1 < argc)
      rounds = static_cast<int>(std::clamp(v, 1L, 50L));
    else {
      fprintf(stderr, "usage: sqlite_bench [--count N] [--finds N] [--saves N] "
                      "[--inserts N] [--rounds N] [--keep]\n");
      return 2;
    }
    ++i;
  }
  p.saves = std::min<long>(p.saves, p.count);

  char dir[] = "/tmp/mantrel-sqlite-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    perror("sqlite_bench: mkdtemp");
    return 1;
  }
  std::string self = SelfPath();
  std::filesystem::path old = std::filesystem::current_path();
  std::filesystem::current_path(dir);
  printf("sqlite_bench: %d symptoms, SQLite %s, %d round(s), load %.2f at "
         "the start\n",
         p.count, sqlite3_libversion(), rounds, LoadAverage());
  std::vector<SideResult> store, lite;
  int rc = 0;
  for (int r = 0; r < rounds && rc == 0; ++r) {
    // The two sides in turn, each on fresh files; the order alternates so
    // that neither always runs second.
    SideResult a, b;
    std::error_code ec;
    for (int k = 0; k < 2 && rc == 0; ++k) {
      bool storeNow = (k == 0) == (r % 2 == 0);
      for (const char *f : {"symptom.dat", "symptom.idx", "symptom.db",
                            "symptom.db-wal", "symptom.db-shm"})
        std::filesystem::remove(f, ec);
      if (!RunSide(self, storeNow ? "store" : "sqlite", p, storeNow ? a : b))
        rc = 1;
    }
    fprintf(stderr, "round %d done, load %.2f\n", r + 1, LoadAverage());
    store.push_back(a);
    lite.push_back(b);
  }
  if (rc == 0) {
    printf("\n| Operation | Count | store wall | store CPU | SQLite wall | "
           "SQLite CPU | ratio (CPU) | ratio (wall) |\n");
    printf("|---|---:|---:|---:|---:|---:|---:|---:|\n");
    for (int row = 0; row < kRowCount; ++row) {
      std::vector<double> sw, sc, lw, lc, rc_, rw;
      for (size_t i = 0; i < store.size(); ++i) {
        if (!lite[i].have[row])
          continue;
        // Rows the store has no counterpart of compare with its own form.
        int srow = row == 9 ? 0 : row == 10 ? 6 : row;
        if (!store[i].have[srow])
          continue;
        sw.push_back(store[i].wall[srow]);
        sc.push_back(store[i].cpu[srow]);
        lw.push_back(lite[i].wall[row]);
        lc.push_back(lite[i].cpu[row]);
        rc_.push_back(lite[i].cpu[row] / std::max(store[i].cpu[srow], 1e-9));
        rw.push_back(lite[i].wall[row] / std::max(store[i].wall[srow], 1e-9));
      }
      if (sw.empty())
        continue;
      long ops = RowOps(row, p);
      printf("| %s | %ld | %.3f s | %.3f s | %.3f s | %.3f s | %.1fx | "
             "%.1fx |\n",
             kRows[row], ops, Median(sw), Median(sc), Median(lw), Median(lc),
             Median(rc_), Median(rw));
    }
    std::vector<double> sp, lp;
    for (size_t i = 0; i < store.size(); ++i) {
      sp.push_back(store[i].peakKb / 1024.0);
      lp.push_back(lite[i].peakKb / 1024.0);
    }
    printf("\npeak resident memory (median): store %.1f MB, SQLite %.1f MB "
           "(each side in a process of its own, the plan of the work "
           "included); load %.2f at the end\n",
           Median(sp), Median(lp), LoadAverage());
    printf("ratio = SQLite's time / the store's time: above 1, the store is "
           "faster.\n");
  }
  std::filesystem::current_path(old);
  std::error_code ec;
  if (keep)
    fprintf(stderr, "files kept in %s\n", dir);
  else
    std::filesystem::remove_all(dir, ec);
  return rc;
}
