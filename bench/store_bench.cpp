// How fast the store serves a repertory of the size people use: builds a
// Symptom table of 250,000 symptoms in a scratch folder (a tree of up to six
// levels in book order, texts from a repertory-like vocabulary, 10 to 40
// remedies each), times the operations a log run and the main screens lean
// on, prints a table, and removes its files.
//
//   store_bench [--count N] [--finds N] [--saves N] [--inserts N]
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "platform/strutil.h"
#include "store/store.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}

// Words of a repertory, in both languages, accents included (code page 1252).
const char *const kWords1[] = {"Angst",
                               "Furcht",
                               "Schmerz",
                               "Kopf",
                               "Stirn",
                               "nachts",
                               "morgens",
                               "abends",
                               "nach",
                               "vor",
                               "beim",
                               "Essen",
                               "Gehen",
                               "Liegen",
                               "Sitzen",
                               "K\xe4lte",
                               "W\xe4rme",
                               "Wind",
                               "Zorn",
                               "Trauer",
                               "Weinen",
                               "Lachen",
                               "Husten",
                               "Brust",
                               "Magen",
                               "\xdc"
                               "belkeit",
                               "Erbrechen",
                               "Durst",
                               "Schwei\xdf",
                               "Fieber",
                               "Frost",
                               "Hitze",
                               "links",
                               "rechts",
                               "stechend",
                               "dr\xfc"
                               "ckend",
                               "brennend",
                               "ziehend",
                               "Ohnmacht",
                               "Schwindel",
                               "Gem\xfct",
                               "Tod",
                               "Dunkelheit",
                               "Gewitter",
                               "allein",
                               "Menschen",
                               "Gesellschaft",
                               "Ger\xe4usch"};
const char *const kWords2[] = {
    "anxiety",  "fear",         "pain",     "head",     "forehead",  "night",
    "morning",  "evening",      "after",    "before",   "during",    "eating",
    "walking",  "lying",        "sitting",  "cold",     "heat",      "wind",
    "anger",    "grief",        "weeping",  "laughing", "cough",     "chest",
    "stomach",  "nausea",       "vomiting", "thirst",   "sweat",     "fever",
    "chill",    "warmth",       "left",     "right",    "stitching", "pressing",
    "burning",  "drawing",      "fainting", "vertigo",  "mind",      "death",
    "darkness", "thunderstorm", "alone",    "people",   "company",   "noise"};
constexpr int kWordCount = static_cast<int>(sizeof kWords1 / sizeof *kWords1);
static_assert(sizeof kWords2 / sizeof *kWords2 ==
              sizeof kWords1 / sizeof *kWords1);

std::mt19937 gRandom(20240611);

int Pick(int lo, int hi) {
  return std::uniform_int_distribution<int>(lo, hi)(gRandom);
}

void MakeText(char *t1, size_t cap1, char *t2, size_t cap2) {
  int n = Pick(1, 5);
  t1[0] = t2[0] = '\0';
  for (int i = 0; i < n; ++i) {
    int w = Pick(0, kWordCount - 1);
    if (i > 0) {
      StrAppend(t1, cap1, " ");
      StrAppend(t2, cap2, " ");
    }
    StrAppend(t1, cap1, kWords1[w]);
    StrAppend(t2, cap2, kWords2[w]);
  }
}

void MakeRemedies(SymptomRemedy *arr) {
  int n = Pick(10, 40);
  std::vector<int> ids;
  while (static_cast<int>(ids.size()) < n) {
    int id = Pick(1, 3000);
    if (std::find(ids.begin(), ids.end(), id) == ids.end())
      ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end());
  for (int i = 0; i < n; ++i)
    arr[i] = SymptomRemedy{static_cast<uint16_t>(ids[i]),
                           static_cast<uint8_t>(Pick(1, 4)),
                           static_cast<uint16_t>(Pick(1, 900)), 1};
  arr[n] = SymptomRemedy{0, 0, 0, 0xffff};
}

struct Numbered {
  uint32_t num;
  uint16_t sub;
};

// The tree, in book order: a symptom's descendants follow it, and a block
// (one Num) holds up to 1000 symptoms.
struct Tree {
  std::vector<Numbered> nums; // index i: the symptom with UniqueId i + 1
};

Symptom gSym;

void ClearSym() {
  SymptomRemedy *arr = gSym.Remedies;
  memset(static_cast<void *>(&gSym), 0, sizeof gSym);
  gSym.Remedies = arr;
  gSym.CursorState = 0xff;
}

bool Check(int err, const char *what) {
  if (err == 0)
    return true;
  fprintf(stderr, "store_bench: %s failed (%d)\n", what, OrvixError);
  return false;
}

struct Row {
  const char *what;
  long count;
  double seconds;
  const char *target;
};
std::vector<Row> gRows;

void Report(const char *what, long count, double seconds, const char *target) {
  gRows.push_back(Row{what, count, seconds, target});
  fprintf(stderr, "  %s: %ld in %.3f s\n", what, count, seconds);
}

// Builds the table; answers false on a store failure.
bool Build(const char *path, int count, Tree &tree) {
  TblHandle h = TblCreateSymptom(path, 1, 1);
  if (h == 0)
    return Check(1, "create");
  Numbered stack[8] = {};
  int level = 0;
  int chapters = 40, perChapter = std::max(1, count / chapters);
  double spent = 0;
  for (int i = 0; i < count; ++i) {
    // A chapter head every perChapter symptoms; else deeper, a sibling, or
    // back up, within six levels.
    int next;
    if (i % perChapter == 0)
      next = 1;
    else {
      int r = Pick(0, 99);
      next = r < 45 ? level + 1 : r < 80 ? level : Pick(2, std::max(2, level));
      next = std::clamp(next, 2, 6);
    }
    ClearSym();
    gSym.Num = static_cast<uint32_t>(i / 1000 + 1);
    gSym.Sub = static_cast<uint16_t>(i % 1000);
    gSym.Level = static_cast<uint8_t>(next);
    gSym.Chapter = static_cast<uint8_t>(i / perChapter + 1);
    if (next > 1) {
      gSym.ParentNum = stack[next - 1].num;
      gSym.ParentSub = stack[next - 1].sub;
    }
    gSym.UniqueId = i + 1;
    MakeText(gSym.Text1, sizeof gSym.Text1, gSym.Text2, sizeof gSym.Text2);
    if (Pick(0, 19) == 0)
      StrFormat(gSym.CrossRef1, "2%s - %s / 3%s", kWords1[Pick(0, 9)],
                kWords1[Pick(10, 19)], kWords1[Pick(20, 29)]);
    if (Pick(0, 29) == 0)
      StrFormat(gSym.Synonym1, "(= %s)", kWords1[Pick(0, kWordCount - 1)]);
    MakeRemedies(gSym.Remedies);
    gSym.RemedyCount = static_cast<uint16_t>(std::count_if(
        gSym.Remedies, gSym.Remedies + 41,
        [](const SymptomRemedy &r) { return TblIsLastSymptomRemed(&r) == 1; }));
    auto t0 = Clock::now();
    if (!Check(TblSaveSymptom(h, &gSym, kSaveAdd), "insert while building"))
      return false;
    spent += Seconds(t0);
    stack[next] = Numbered{gSym.Num, gSym.Sub};
    level = next;
    tree.nums.push_back(stack[next]);
  }
  Report("insert while building (mode 1)", count, spent, "");
  auto t0 = Clock::now();
  if (!Check(DbCloseFile(h), "close after building"))
    return false;
  Report("close after building (index written)", 1, Seconds(t0), "");
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
  Tree tree;
  fprintf(stderr, "building %d symptoms in %s\n", count, dir);
  do {
    if (!Build(path, count, tree))
      break;

    // Open with a valid index: the best of five.
    double best = 1e9;
    TblHandle h = 0;
    for (int i = 0; i < 5; ++i) {
      auto t0 = Clock::now();
      h = TblOpenSymptom(path, 1, 1);
      best = std::min(best, Seconds(t0));
      if (h == 0 || (i < 4 && DbCloseFile(h) != 0))
        break;
    }
    if (!Check(h == 0, "open"))
      break;
    Report("open with a valid index (best of 5)", 1, best, "< 100 ms");

    // Find equal by key 0 and by key 8, at random.
    std::vector<uint32_t> picks(static_cast<size_t>(finds));
    for (auto &p : picks)
      p = static_cast<uint32_t>(Pick(0, count - 1));
    bool ok = true;
    auto t0 = Clock::now();
    for (uint32_t p : picks) {
      gSym.Num = tree.nums[p].num;
      gSym.Sub = tree.nums[p].sub;
      if (TblFindFullSymptom(h, &gSym, 0, kFindEqual) != 0) {
        ok = Check(1, "find by key 0");
        break;
      }
    }
    if (!ok)
      break;
    Report("find equal, key 0 (Num, Sub)", finds, Seconds(t0), ">= 500,000 /s");
    t0 = Clock::now();
    for (uint32_t p : picks) {
      gSym.UniqueId = static_cast<int32_t>(p + 1);
      if (TblFindFullSymptom(h, &gSym, 8, kFindEqual) != 0) {
        ok = Check(1, "find by key 8");
        break;
      }
    }
    if (!ok)
      break;
    Report("find equal, key 8 (UniqueId)", finds, Seconds(t0), ">= 500,000 /s");

    // Step through the whole table by key 1 (siblings by text).
    long steps = 0;
    t0 = Clock::now();
    int mode = kFindFirst;
    while (TblFindFullSymptom(h, &gSym, 1, mode) == 0) {
      mode = kFindNext;
      ++steps;
    }
    if (OrvixError != kErrEnd || steps != count) {
      fprintf(stderr, "store_bench: the key 1 walk saw %ld of %d\n", steps,
              count);
      break;
    }
    Report("step by key 1 (mode 2)", steps, Seconds(t0), ">= 500,000 /s");

    // Save mode 2 that changes Sub: renumbering. Each record moves once, to
    // a Sub above every Sub of the build, so no key is taken twice.
    std::vector<uint32_t> order(static_cast<size_t>(count));
    for (uint32_t i = 0; i < order.size(); ++i)
      order[i] = i;
    std::shuffle(order.begin(), order.end(), gRandom);
    double spent = 0;
    for (long i = 0; i < saves && ok; ++i) {
      uint32_t p = order[static_cast<size_t>(i)];
      gSym.Num = tree.nums[p].num;
      gSym.Sub = tree.nums[p].sub;
      if (TblFindFullSymptom(h, &gSym, 0, kFindEqual) != 0) {
        ok = Check(1, "find before save");
        break;
      }
      gSym.Sub = static_cast<uint16_t>(gSym.Sub + 1000);
      auto s0 = Clock::now();
      if (TblSaveSymptom(h, &gSym, kSaveReplace) != 0)
        ok = Check(1, "save mode 2");
      spent += Seconds(s0);
      tree.nums[p].sub = gSym.Sub;
    }
    if (!ok)
      break;
    Report("save mode 2 changing Sub", saves, spent, ">= 100,000 /s");

    // Insert new symptoms behind the last block.
    spent = 0;
    uint32_t num = static_cast<uint32_t>(count / 1000 + 2);
    for (long i = 0; i < inserts && ok; ++i) {
      ClearSym();
      gSym.Num = num + static_cast<uint32_t>(i / 1000);
      gSym.Sub = static_cast<uint16_t>(i % 1000);
      gSym.Level = 2;
      gSym.ParentNum = 1;
      gSym.UniqueId = count + 1 + static_cast<int32_t>(i);
      MakeText(gSym.Text1, sizeof gSym.Text1, gSym.Text2, sizeof gSym.Text2);
      MakeRemedies(gSym.Remedies);
      auto s0 = Clock::now();
      if (TblSaveSymptom(h, &gSym, kSaveAdd) != 0)
        ok = Check(1, "insert");
      spent += Seconds(s0);
    }
    if (!ok)
      break;
    Report("insert (mode 1) into the full table", inserts, spent,
           ">= 100,000 /s");

    t0 = Clock::now();
    if (!Check(DbCloseFile(h), "close after changes"))
      break;
    Report("close after changes (index written)", 1, Seconds(t0), "");

    t0 = Clock::now();
    if (!Check(TblRebuildSymptom(path, 0, 1), "rebuild"))
      break;
    Report("index rebuild", 1, Seconds(t0), "< 1 s");

    best = 1e9;
    for (int i = 0; i < 3; ++i) {
      t0 = Clock::now();
      h = TblOpenSymptom(path, 1, 1);
      best = std::min(best, Seconds(t0));
      if (h == 0 || DbCloseFile(h) != 0) {
        ok = Check(1, "open after rebuild");
        break;
      }
    }
    if (!ok)
      break;
    Report("open after rebuild (best of 3)", 1, best, "< 100 ms");
    rc = 0;
  } while (false);

  std::error_code ec;
  long long bytes = 0;
  for (const auto &e : std::filesystem::directory_iterator(dir, ec))
    bytes += static_cast<long long>(std::filesystem::file_size(e.path(), ec));
  TblFreeSymptomRemed(&gSym);
  DbTerminate("A-Mantrel");
  std::filesystem::remove_all(dir, ec);

  printf("| Operation | Count | Seconds | Rate /s or time | Target |\n");
  printf("|---|---:|---:|---:|---|\n");
  for (const Row &r : gRows) {
    char rate[64];
    if (r.count > 1)
      StrFormat(rate, "%.0f /s", r.count / std::max(r.seconds, 1e-9));
    else
      StrFormat(rate, "%.1f ms", r.seconds * 1000);
    printf("| %s | %ld | %.3f | %s | %s |\n", r.what, r.count, r.seconds, rate,
           r.target);
  }
  printf("\nsymptoms %d, files at the end %lld bytes\n", count, bytes);
  return rc;
}
