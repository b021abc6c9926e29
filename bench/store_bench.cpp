// How fast the store serves a repertory of the size people use: builds a
// Symptom table of 250,000 symptoms in a scratch folder (a tree of up to six
// levels in book order, texts from a repertory-like vocabulary, 10 to 40
// remedies each), times the operations a log run and the main screens lean
// on, prints a table, and removes its files.
//
//   store_bench [--count N] [--finds N] [--saves N] [--inserts N]
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "bench_repertory.h"
#include "platform/strutil.h"
#include "store/store.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace bench {
const char *const BenchName = "store_bench";
} // namespace bench

namespace {

using namespace bench;

Symptom gSym;

void ClearSym() {
  SymptomRemedy *arr = gSym.Remedies;
  memset(static_cast<void *>(&gSym), 0, sizeof gSym);
  gSym.Remedies = arr;
  gSym.CursorState = 0xff;
}

// A store call's answer: 0 is success (bench_repertory.h's Check takes a
// condition that holds on success instead).
bool CheckErr(int err, const char *what) {
  if (err == 0)
    return true;
  fprintf(stderr, "store_bench: %s failed (%d)\n", what, OrvixError);
  return false;
}

struct Row {
  const char *what;
  long count;
  Timer time;
  const char *target;
};
std::vector<Row> gRows;

void Report(const char *what, long count, const Timer &t, const char *target) {
  gRows.push_back(Row{what, count, t, target});
  fprintf(stderr, "  %s: %ld in %.3f s (CPU %.3f s)\n", what, count, t.wall,
          t.cpu);
}

// The best of `tries` opens of a table with a valid index.
bool TimeOpen(const char *path, int tries, Timer &best) {
  best.wall = best.cpu = 1e9;
  for (int i = 0; i < tries; ++i) {
    Timer t;
    t.Start();
    TblHandle h = TblOpenSymptom(path, 1, 1);
    t.Stop();
    if (h == 0 || DbCloseFile(h) != 0)
      return CheckErr(1, "open");
    best.wall = std::min(best.wall, t.wall);
    best.cpu = std::min(best.cpu, t.cpu);
  }
  return true;
}

void Fill(const Planned &p) {
  ClearSym();
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

// Builds the table; answers false on a store failure.
bool Build(const char *path, const std::vector<Planned> &plan) {
  TblHandle h = TblCreateSymptom(path, 1, 1);
  if (h == 0)
    return CheckErr(1, "create");
  Timer t;
  t.Start();
  for (const Planned &p : plan) {
    Fill(p);
    if (!CheckErr(TblSaveSymptom(h, &gSym, kSaveAdd), "insert while building"))
      return false;
  }
  t.Stop();
  Report("insert while building (mode 1)", static_cast<long>(plan.size()), t,
         "");
  t = Timer();
  t.Start();
  int err = DbCloseFile(h);
  t.Stop();
  if (!CheckErr(err, "close after building"))
    return false;
  Report("close after building (index written)", 1, t, "");
  return true;
}

} // namespace

int main(int argc, char **argv) {
  int count = 250000;
  long finds = 500000, saves = 100000, inserts = 20000;
  for (int i = 1; i + 1 < argc; i += 2) {
    long v = strtol(argv[i + 1], nullptr, 10);
    if (strcmp(argv[i], "--count") == 0)
      count = static_cast<int>(std::clamp(v, 100L, 5000000L));
    else if (strcmp(argv[i], "--finds") == 0)
      finds = std::max(v, 1L);
    else if (strcmp(argv[i], "--saves") == 0)
      saves = std::max(v, 1L);
    else if (strcmp(argv[i], "--inserts") == 0)
      inserts = std::max(v, 1L);
    else {
      fprintf(stderr, "usage: store_bench [--count N] [--finds N] "
                      "[--saves N] [--inserts N]\n");
      return 2;
    }
  }
  saves = std::min<long>(saves, count);

  char dir[] = "/tmp/mantrel-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    perror("store_bench: mkdtemp");
    return 1;
  }
  char path[256];
  StrFormat(path, "%s/symptom", dir);
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;
  gSym.Remedies = TblAllocSymptomRemed(64);
  gSym.CursorState = 0xff;
  int rc = 1;
  fprintf(stderr, "planning %d symptoms\n", count);
  std::vector<Planned> plan = Plan(count);
  fprintf(stderr, "building them in %s\n", dir);
  do {
    if (!Build(path, plan))
      break;

    Timer t;
    if (!TimeOpen(path, 5, t))
      break;
    Report("open with a valid index (best of 5)", 1, t, "< 100 ms");
    TblHandle h = TblOpenSymptom(path, 1, 1);
    if (!CheckErr(h == 0, "open"))
      break;

    // Find equal by key 0 and by key 8, at random.
    std::vector<uint32_t> picks(static_cast<size_t>(finds));
    for (auto &p : picks)
      p = static_cast<uint32_t>(Pick(0, count - 1));
    bool ok = true;
    t = Timer();
    t.Start();
    for (uint32_t p : picks) {
      gSym.Num = plan[p].at.num;
      gSym.Sub = plan[p].at.sub;
      if (TblFindFullSymptom(h, &gSym, 0, kFindEqual) != 0) {
        ok = CheckErr(1, "find by key 0");
        break;
      }
    }
    t.Stop();
    if (!ok)
      break;
    Report("find equal, key 0 (Num, Sub)", finds, t, ">= 500,000 /s");
    t = Timer();
    t.Start();
    for (uint32_t p : picks) {
      gSym.UniqueId = static_cast<int32_t>(p + 1);
      if (TblFindFullSymptom(h, &gSym, 8, kFindEqual) != 0) {
        ok = CheckErr(1, "find by key 8");
        break;
      }
    }
    t.Stop();
    if (!ok)
      break;
    Report("find equal, key 8 (UniqueId)", finds, t, ">= 500,000 /s");

    // Step through the whole table by key 1 (siblings by text).
    long steps = 0;
    t = Timer();
    t.Start();
    int mode = kFindFirst;
    while (TblFindFullSymptom(h, &gSym, 1, mode) == 0) {
      mode = kFindNext;
      ++steps;
    }
    t.Stop();
    if (OrvixError != kErrEnd || steps != count) {
      fprintf(stderr, "store_bench: the key 1 walk saw %ld of %d\n", steps,
              count);
      break;
    }
    Report("step by key 1 (mode 2)", steps, t, ">= 500,000 /s");

    // Save mode 2 that changes Sub: renumbering. Each record moves once, to
    // a Sub above every Sub of the build, so no key is taken twice.
    std::vector<uint32_t> order(static_cast<size_t>(count));
    for (uint32_t i = 0; i < order.size(); ++i)
      order[i] = i;
    std::shuffle(order.begin(), order.end(), gRandom);
    // The finds that make each record current are timed alone first, over
    // the same records, and taken off the loop's time.
    Timer findsOnly;
    findsOnly.Start();
    for (long i = 0; i < saves && ok; ++i) {
      uint32_t p = order[static_cast<size_t>(i)];
      gSym.Num = plan[p].at.num;
      gSym.Sub = plan[p].at.sub;
      ok = CheckErr(TblFindFullSymptom(h, &gSym, 0, kFindEqual), "find");
    }
    findsOnly.Stop();
    t = Timer();
    t.Start();
    for (long i = 0; i < saves && ok; ++i) {
      uint32_t p = order[static_cast<size_t>(i)];
      gSym.Num = plan[p].at.num;
      gSym.Sub = plan[p].at.sub;
      if (TblFindFullSymptom(h, &gSym, 0, kFindEqual) != 0) {
        ok = CheckErr(1, "find before save");
        break;
      }
      gSym.Sub = static_cast<uint16_t>(gSym.Sub + 1000);
      ok = CheckErr(TblSaveSymptom(h, &gSym, kSaveReplace), "save mode 2");
      plan[p].at.sub = gSym.Sub;
    }
    t.Stop();
    t.wall = std::max(t.wall - findsOnly.wall, 1e-9);
    t.cpu = std::max(t.cpu - findsOnly.cpu, 1e-9);
    if (!ok)
      break;
    Report("save mode 2 changing Sub", saves, t, ">= 100,000 /s");

    // Insert new symptoms behind the last block, as children of the first
    // chapter.
    std::vector<Planned> more = Plan(static_cast<int>(inserts));
    uint32_t num = static_cast<uint32_t>(count / 1000 + 2);
    for (size_t i = 0; i < more.size(); ++i) {
      more[i].at.num = num + static_cast<uint32_t>(i / 1000);
      more[i].parent = Numbered{1, 0};
      more[i].level = 2;
      more[i].uniqueId = count + 1 + static_cast<int32_t>(i);
    }
    t = Timer();
    t.Start();
    for (const Planned &p : more) {
      Fill(p);
      if (!(ok = CheckErr(TblSaveSymptom(h, &gSym, kSaveAdd), "insert")))
        break;
    }
    t.Stop();
    if (!ok)
      break;
    Report("insert (mode 1) into the full table", inserts, t, ">= 100,000 /s");

    t = Timer();
    t.Start();
    int err = DbCloseFile(h);
    t.Stop();
    if (!CheckErr(err, "close after changes"))
      break;
    Report("close after changes (index written)", 1, t, "");

    t = Timer();
    t.Start();
    err = TblRebuildSymptom(path, 0, 1);
    t.Stop();
    if (!CheckErr(err, "rebuild"))
      break;
    Report("index rebuild", 1, t, "< 1 s");

    if (!TimeOpen(path, 3, t))
      break;
    Report("open after rebuild (best of 3)", 1, t, "< 100 ms");
    rc = 0;
  } while (false);

  std::error_code ec;
  long long bytes = 0;
  for (const auto &e : std::filesystem::directory_iterator(dir, ec))
    bytes += static_cast<long long>(std::filesystem::file_size(e.path(), ec));
  TblFreeSymptomRemed(&gSym);
  DbTerminate("A-Mantrel");
  std::filesystem::remove_all(dir, ec);

  printf("| Operation | Count | Wall s | CPU s | Rate (CPU) | Rate (wall) "
         "| Target |\n");
  printf("|---|---:|---:|---:|---:|---:|---|\n");
  for (const Row &r : gRows) {
    char cpu[64], wall[64];
    if (r.count > 1) {
      StrFormat(cpu, "%.0f /s", r.count / std::max(r.time.cpu, 1e-9));
      StrFormat(wall, "%.0f /s", r.count / std::max(r.time.wall, 1e-9));
    } else {
      StrFormat(cpu, "%.1f ms", r.time.cpu * 1000);
      StrFormat(wall, "%.1f ms", r.time.wall * 1000);
    }
    printf("| %s | %ld | %.3f | %.3f | %s | %s | %s |\n", r.what, r.count,
           r.time.wall, r.time.cpu, cpu, wall, r.target);
  }
  printf("\nsymptoms %d, files at the end %lld bytes\n", count, bytes);
  return rc;
}
