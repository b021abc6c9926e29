// How fast the operations on the tree go on a repertory of the size people
// use: builds in a scratch folder the 250,000-symptom repertory of
// bench_repertory.h with its Extract table and a word index of both
// languages, then applies structural entries one by one through
// LogDispatch, each in an entry of the journal as a run does: adds behind
// symptoms in the middle of blocks, moves of a symptom to another chapter,
// splits and merges. Times each entry (wall), the whole (CPU), measures
// the bytes the tables grew by for each entry, checks the repertory with
// VerifyRepertory at the end and removes its files.
//
//   structure_bench [--count N] [--entries N] [--keep]
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "bench_repertory.h"
#include "logentry/logentry.h"
#include "ops/dispatch.h"
#include "ops/subject.h"
#include "ops/verify.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"
#include "store/sptpath.h"
#include "store/store.h"
#include "transfers/extractbuild.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace bench {
const char *const BenchName = "structure_bench";
} // namespace bench

namespace {

using namespace bench;

void TakeToken(const char *token, void *ctx) {
  std::string w(token);
  if (w.size() > static_cast<size_t>(kWordKeyMax))
    w.resize(kWordKeyMax);
  static_cast<std::vector<std::string> *>(ctx)->push_back(w);
}

// The word index as the operations keep it: each word's symptoms in book
// order, a leaf's range ending at itself, a range with children at the
// subtree's mark; 200 entries a record.
bool BuildWords(const std::vector<Planned> &plan) {
  for (int lang = 0; lang < 2; ++lang) {
    std::map<std::string, std::vector<WordEntry>> lists;
    for (size_t i = 0; i < plan.size(); ++i) {
      const Planned &p = plan[i];
      bool children = i + 1 < plan.size() && plan[i + 1].level > p.level;
      WordEntry e{p.at.num, p.at.sub, p.at.num,
                  children ? kWordSubtreeEnd : p.at.sub};
      std::vector<std::string> tokens;
      WordIndexTokens(lang == 0 ? p.text1 : p.text2, 0, TakeToken, &tokens);
      std::sort(tokens.begin(), tokens.end());
      tokens.erase(std::unique(tokens.begin(), tokens.end()), tokens.end());
      for (const std::string &t : tokens)
        lists[t].push_back(e);
    }
    const char *path = lang == 0 ? "rep\\word1" : "rep\\word2";
    TblHandle h = TblCreateWord(path, 1, 1);
    if (!Check(h != 0, "Word table"))
      return false;
    static Word w;
    for (const auto &[text, list] : lists) {
      for (size_t at = 0, seq = 0; at < list.size(); at += 200, ++seq) {
        if (!Check(seq < 256, "word chain"))
          return false;
        memset(&w, 0, sizeof w);
        w.CursorState = 0xff;
        StrCopy(w.Text, text.c_str());
        w.Seq = static_cast<uint8_t>(seq);
        size_t n = std::min<size_t>(200, list.size() - at);
        for (size_t k = 0; k < n; ++k)
          w.Entries[k] = list[at + k];
        w.Entries[n] = WordEntry{0, 0, 0, 0xffff};
        if (!Check(TblSaveWord(h, &w, kSaveAdd) == 0, "word"))
          return false;
      }
    }
    DbCloseFile(h);
  }
  return true;
}

bool BuildRepertory(const std::vector<Planned> &plan) {
  std::filesystem::create_directory("rep");
  TblHandle h = TblCreateSymptom("rep\\symptom", 1, 1);
  if (!Check(h != 0, "Symptom table"))
    return false;
  Symptom s;
  SymptomRemedy *arr = TblAllocSymptomRemed(64);
  for (const Planned &p : plan) {
    FillSymptom(s, p, arr);
    // Its word index holds the symptom texts only: no synonyms or
    // references in words to index beside them.
    s.CrossRef1[0] = s.Synonym1[0] = '\0';
    if (!Check(TblSaveSymptom(h, &s, kSaveAdd) == 0, "symptom"))
      return false;
  }
  TblFreeSymptomRemed(&s);
  if (!Check(DbCloseFile(h) == 0, "Symptom close"))
    return false;
  ExtractBuildHooks hooks{nullptr, nullptr, nullptr, nullptr};
  if (!Check(ExtractBuild("rep\\symptom", "rep\\extract", "rem", "rep\\",
                          hooks) == kExtractOk,
             "Extract build"))
    return false;
  DbCloseFile(TblCreateNote("rep\\Note", 1, 1));
  DbCloseFile(TblCreateLink("rep\\Link", 1, 1));
  return BuildWords(plan);
}

// The bytes of the repertory's data files, in all and (when `byFile` is
// given) file by file.
long long Written(std::map<std::string, long long> *byFile = nullptr) {
  long long n = 0;
  std::error_code ec;
  for (const auto &e : std::filesystem::directory_iterator("rep", ec))
    if (e.path().extension() == ".dat") {
      long long size = static_cast<long long>(e.file_size(ec));
      n += size;
      if (byFile != nullptr)
        (*byFile)[e.path().filename().string()] = size;
    }
  return n;
}

struct Table {
  TblHandle sym = 0, ext = 0, w1 = 0, w2 = 0, notes = 0, links = 0;
};

double Percentile(std::vector<double> v, double q) {
  if (v.empty())
    return 0;
  std::sort(v.begin(), v.end());
  size_t at = static_cast<size_t>(q * static_cast<double>(v.size() - 1));
  return v[at];
}

} // namespace

int main(int argc, char **argv) {
  int count = 250000, entries = 1000;
  bool keep = false;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--keep") == 0) {
      keep = true;
      continue;
    }
    long v = i + 1 < argc ? strtol(argv[i + 1], nullptr, 10) : 0;
    if (strcmp(argv[i], "--count") == 0 && i + 1 < argc)
      count = static_cast<int>(std::clamp(v, 5000L, 5000000L));
    else if (strcmp(argv[i], "--entries") == 0 && i + 1 < argc)
      entries = static_cast<int>(std::clamp(v, 1L, 1000000L));
    else {
      fprintf(stderr,
              "usage: structure_bench [--count N] [--entries N] [--keep]\n");
      return 2;
    }
    ++i;
  }
  char dir[] = "/tmp/mantrel-structure-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    perror("structure_bench: mkdtemp");
    return 1;
  }
  std::filesystem::path old = std::filesystem::current_path();
  std::filesystem::current_path(dir);
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;

  Clock::time_point t0 = Clock::now();
  std::vector<Planned> plan = Plan(count);
  if (!BuildRemedyAuthorTables() || !BuildRepertory(plan))
    return 1;
  printf("built %d symptoms with Extract and word index in %.1f s\n", count,
         Seconds(t0));

  Table t;
  OpRemedTable = TblOpenRemed("rem", 1, 1);
  OpAuthorTable = TblOpenAuthor("aut", 1, 1);
  t.sym = TblOpenSymptom("rep\\symptom", 0, 1);
  t.ext = TblOpenExtract("rep\\extract", 0, 1);
  t.w1 = TblOpenWord("rep\\word1", 0, 1);
  t.w2 = TblOpenWord("rep\\word2", 0, 1);
  t.notes = TblOpenNote("rep\\Note", 0, 1);
  t.links = TblOpenLink("rep\\Link", 0, 1);
  if (!Check(t.sym && t.ext && t.w1 && t.w2 && t.notes && t.links, "open") ||
      !Check(DbJournalOpen("rep\\bench") == 0, "journal"))
    return 1;
  OpContext ctx;
  FILE *errors = fopen("errors.txt", "wb");
  ctx.errors = errors;
  ctx.symptoms = t.sym;
  ctx.extract = t.ext;
  ctx.word1 = t.w1;
  ctx.word2 = t.w2;
  ctx.notes = t.notes;
  ctx.links = t.links;

  // The entries: by unique id of a planned symptom (ids do not move), the
  // path looked up just before, outside the timing.
  static char text[kLogTextSize];
  LogEntry e;
  std::map<int, std::vector<double>> wall;
  std::map<int, std::vector<long long>> bytes;
  std::map<int, int> failed;
  std::map<std::string, long long> startSizes, after;
  Written(&startSizes);
  double cpu0 = CpuNow();
  Clock::time_point start = Clock::now();
  int made = 0;
  for (int n = 0; n < entries; ++n) {
    int r = Pick(0, 99);
    int op = r < 60   ? OpAddSymptomAfter
             : r < 75 ? OpMoveSymptoms
             : r < 88 ? OpSplitSymptom
                      : OpMergeSymptom;
    // A symptom in the middle of a block, below its chapter.
    Symptom s;
    memset(&s, 0, sizeof s);
    s.CursorState = 0xff;
    bool found = false;
    for (int tries = 0; tries < 100 && !found; ++tries) {
      s.UniqueId = Pick(1, count);
      if (TblFindFullSymptom(t.sym, &s, 8, kFindEqual) != 0)
        continue;
      found =
          s.Level >= 2 && s.Sub >= 300 && s.Sub <= 700 && strlen(s.Text1) < 90;
    }
    if (!found)
      continue;
    char path[kSptPathSize];
    GetLevelsFromSptNum(t.sym, 1, path, s.Num, s.Sub);
    int32_t id = s.UniqueId;
    uint32_t pn;
    uint16_t ps;
    if (op == OpMoveSymptoms &&
        (GetSptNumFromExactText(t.sym, 1, path, &pn, &ps) != 0 || pn != s.Num ||
         ps != s.Sub)) {
      TblFreeSymptomRemed(&s);
      continue; // a path that names another symptom
    }
    std::string fields = std::string("0\x01") + path;
    if (op == OpAddSymptomAfter) {
      std::string number = std::to_string(++made);
      fields += "\x01"
                "0\x01"
                "added " +
                number +
                "\x01"
                "1\x01"
                "ajout " +
                number;
    } else if (op == OpMoveSymptoms) {
      // Below a symptom of another chapter, from ten blocks on.
      Symptom target;
      memset(&target, 0, sizeof target);
      target.CursorState = 0xff;
      target.Num = (s.Num + 10) % (static_cast<uint32_t>(count) / 1000) + 1;
      target.Sub = static_cast<uint16_t>(Pick(300, 700));
      if (TblFindFullSymptom(t.sym, &target, 0, kFindAtOrAfter) != 0 ||
          target.Level < 2 || target.Num == s.Num) {
        TblFreeSymptomRemed(&target);
        TblFreeSymptomRemed(&s);
        continue;
      }
      char tpath[kSptPathSize];
      GetLevelsFromSptNum(t.sym, 1, tpath, target.Num, target.Sub);
      bool named = GetSptNumFromExactText(t.sym, 1, tpath, &pn, &ps) == 0 &&
                   pn == target.Num && ps == target.Sub;
      TblFreeSymptomRemed(&target);
      if (!named) {
        TblFreeSymptomRemed(&s);
        continue;
      }
      fields = std::string("0\x01") + tpath + "\x01" + path + "\x01" + path +
               "\x01"
               "1";
    } else if (op == OpSplitSymptom) {
      fields += "\x01" + std::string(s.Text1) +
                " (split)\x01"
                "part " +
                std::to_string(++made) +
                "\x01"
                "3";
    } else {
      fields += "\x01" + std::string(s.Text1) +
                "\x01"
                "3";
    }
    TblFreeSymptomRemed(&s);
    LogClearEntry(&e, text);
    e.number = n + 1;
    // By unique id, as the entries of a repertory's own log are: the
    // generated texts repeat among siblings, so a path may name another.
    e.symptomId = op == OpMoveSymptoms ? 0 : id;
    e.operation = static_cast<uint16_t>(op);
    StrCopy(text, kLogTextSize, fields.c_str());

    long long before = Written();
    Clock::time_point at = Clock::now();
    DbEntryBegin();
    int result = LogDispatch(&e, ctx);
    if (result == 0)
      DbEntryCommit();
    else
      DbEntryRollback();
    wall[op].push_back(Seconds(at) * 1000.0);
    wall[0].push_back(wall[op].back());
    if (result != 0)
      ++failed[op];
    else {
      bytes[op].push_back(Written() - before);
      bytes[0].push_back(bytes[op].back());
    }
  }
  double elapsed = Seconds(start), cpu = CpuNow() - cpu0;
  Written(&after);
  DbJournalClose();
  for (TblHandle h : {t.sym, t.ext, t.w1, t.w2, t.notes, t.links})
    DbCloseFile(h);
  DbCloseFile(OpRemedTable);
  DbCloseFile(OpAuthorTable);
  OpRemedTable = OpAuthorTable = 0;
  OpReleaseRecords();
  if (errors != nullptr)
    fclose(errors);

  const char *names[] = {"all", "",          "", "", "",     "",      "",
                         "",    "add after", "", "", "move", "split", "merge"};
  printf("%-10s %7s %7s %9s %9s %9s %12s %12s %12s %12s\n", "entries", "count",
         "failed", "median ms", "p99 ms", "max ms", "median bytes",
         "mean bytes", "p99 bytes", "max bytes");
  for (int op :
       {OpAddSymptomAfter, OpMoveSymptoms, OpSplitSymptom, OpMergeSymptom, 0}) {
    std::vector<double> b(bytes[op].begin(), bytes[op].end());
    double mean = 0;
    for (double x : b)
      mean += x / static_cast<double>(b.size());
    printf("%-10s %7zu %7d %9.2f %9.2f %9.2f %12.0f %12.0f %12.0f %12.0f\n",
           names[op], wall[op].size(), failed[op], Percentile(wall[op], 0.5),
           Percentile(wall[op], 0.99), Percentile(wall[op], 1.0),
           Percentile(b, 0.5), mean, Percentile(b, 0.99), Percentile(b, 1.0));
  }
  printf("written by the entries, file by file:");
  for (const auto &[name, size] : after)
    printf(" %s %.1f MB", name.c_str(),
           static_cast<double>(size - startSizes[name]) / 1e6);
  printf("\n");
  rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  double load = 0;
  if (FILE *f = fopen("/proc/loadavg", "r")) {
    if (fscanf(f, "%lf", &load) != 1)
      load = 0;
    fclose(f);
  }
  printf("entries: %.2f s wall, %.2f s CPU; peak memory %ld MB; load %.1f\n",
         elapsed, cpu, ru.ru_maxrss / 1024, load);

  Clock::time_point v0 = Clock::now();
  int faults = VerifyRepertory(
      "rep", [](const char *f, void *) { fprintf(stderr, "  %s\n", f); },
      nullptr);
  printf("verify: %d faults (%.1f s)\n", faults, Seconds(v0));
  DbTerminate("A-Mantrel");
  std::filesystem::current_path(old);
  if (!keep)
    std::filesystem::remove_all(dir);
  else
    printf("kept in %s\n", dir);
  return faults == 0 ? 0 : 1;
}
