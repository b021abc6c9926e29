// How fast the silent backup before a run copies a repertory of the size
// people use, against `cp -r` of the same files on the same disk in the same
// run. Builds in a scratch installation (bin, data, log) the bench
// repertory of bench_repertory.h (250,000 symptoms: Symptom table, Extract
// table built to match, empty word, note and link tables, a view), puts the
// copy program (orvcopy, beside this benchmark) where BackupApp names it,
// and then, in turns, times
//
//   cp -r data/brep <scratch>/cp-N          (a child, as the shell runs it)
//   BackupBeforeRun()                        (list, orvcopy, the wait)
//
// each followed by a sync that is timed too, so that both pay for their
// bytes reaching the disk. Reports wall and CPU time (the children's and
// this process's own, which is the cost of the wait), and peak memory.
//
//   backup_bench [--count N] [--rounds N] [--keep]
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "backup/backup.h"
#include "bench_repertory.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "services/config.h"
#include "services/ini.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "store/store.h"
#include "transfers/extractbuild.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace bench {
const char *const BenchName = "backup_bench";
} // namespace bench

namespace {

using namespace bench;

void Abbrev(char *out, size_t cap, int id) {
  StrFormat(out, cap, "R%d.", id);
}

bool BuildRemed() {
  TblHandle r = TblCreateRemed("..\\system\\remed", 1, 1);
  if (!Check(r != 0, "Remed table"))
    return false;
  for (int id = 1; id <= kRemedyIds; ++id) {
    Remed x;
    memset(&x, 0, sizeof x);
    x.CursorState = 0xff;
    x.Id = static_cast<uint16_t>(id);
    Abbrev(x.Abbrev, sizeof x.Abbrev, id);
    if (!Check(TblSaveRemed(r, &x, kSaveAdd) == 0, "remedy"))
      return false;
  }
  return Check(DbCloseFile(r) == 0, "Remed close");
}

bool BuildRepertory(const std::vector<Planned> &plan) {
  fs::create_directories("../data/brep");
  TblHandle h = TblCreateSymptom("..\\data\\brep\\symptom", 1, 1);
  if (!Check(h != 0, "Symptom table"))
    return false;
  Symptom s;
  SymptomRemedy *arr = TblAllocSymptomRemed(64);
  for (const Planned &p : plan) {
    FillSymptom(s, p, arr);
    if (!Check(TblSaveSymptom(h, &s, kSaveAdd) == 0, "symptom"))
      return false;
  }
  TblFreeSymptomRemed(&s);
  if (!Check(DbCloseFile(h) == 0, "Symptom close"))
    return false;
  ExtractBuildHooks hooks{nullptr, nullptr, nullptr, nullptr};
  if (!Check(ExtractBuild("..\\data\\brep\\symptom", "..\\data\\brep\\extract",
                          "..\\system\\remed", "..\\data\\brep\\",
                          hooks) == kExtractOk,
             "Extract build"))
    return false;
  for (const char *w : {"..\\data\\brep\\word1", "..\\data\\brep\\word2"})
    DbCloseFile(TblCreateWord(w, 1, 1));
  DbCloseFile(TblCreateNote("..\\data\\brep\\Note", 1, 1));
  DbCloseFile(TblCreateLink("..\\data\\brep\\Link", 1, 1));
  DbCloseFile(TblCreateView("..\\data\\brep\\view", 1, 1));
  return true;
}

long long FolderBytes(const fs::path &p, int *files) {
  long long total = 0;
  *files = 0;
  std::error_code ec;
  for (const auto &e : fs::directory_iterator(p, ec))
    if (e.is_regular_file()) {
      total += static_cast<long long>(e.file_size());
      ++*files;
    }
  return total;
}

} // namespace

int main(int argc, char **argv) {
  int count = 250000, rounds = 3;
  bool keep = false;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--keep") == 0) {
      keep = true;
      continue;
    }
    long v = i + 1 < argc ? strtol(argv[i + 1], nullptr, 10) : 0;
    if (strcmp(argv[i], "--count") == 0 && i + 1 < argc)
      count = static_cast<int>(std::clamp(v, 1000L, 5000000L));
    else if (strcmp(argv[i], "--rounds") == 0 && i + 1 < argc)
      rounds = static_cast<int>(std::clamp(v, 1L, 50L));
    else {
      fprintf(stderr,
              "usage: backup_bench [--count N] [--rounds N] [--keep]\n");
      return 2;
    }
    ++i;
  }
  // The copy program beside this benchmark.
  fs::path self = fs::canonical("/proc/self/exe");
  fs::path copier = self.parent_path() / "orvcopy";
  if (!fs::exists(copier)) {
    fprintf(stderr, "backup_bench: %s is not built\n", copier.c_str());
    return 1;
  }

  char dir[] = "/var/tmp/mantrel-backup-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    perror("backup_bench: mkdtemp");
    return 1;
  }
  fs::path root = dir;
  fs::create_directories(root / "bin" / "backup");
  fs::create_directories(root / "system");
  fs::create_directories(root / "log");
  fs::copy_file(copier, root / "bin" / "backup" / "orvcopy");
  fs::current_path(root / "bin");
  std::ofstream("orvix.ini") << "[System section]\nBackupApp=orvcopy\n";
  IniSetPath("orvix.ini");
  setenv("MANTREL_UI", "scripted", 1);
  unsetenv("MANTREL_SCRIPT");
  XvtReset();
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;

  int rc = 1;
  do {
    auto t0 = Clock::now();
    fprintf(stderr, "planning %d symptoms, building them in %s\n", count, dir);
    std::vector<Planned> plan = Plan(count);
    if (!BuildRemed() || !BuildRepertory(plan))
      break;
    int files = 0;
    long long bytes = FolderBytes(root / "data" / "brep", &files);
    fprintf(stderr, "built in %.1f s: %d files, %.1f MB\n", Seconds(t0), files,
            bytes / 1e6);
    sync();

    // What the run defaults give: the repertory only, into a dated folder
    // under the installation's BACKUP.
    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
    CurrentCatalog.Kind = 1;
    StrCopy(CurrentCatalog.Abbrev, "BREP");
    StrCopy(CurrentCatalog.RepertoryBlock.Paths[kCatFolder],
            "..\\data\\brep\\");
    RunOptionsClear();
    std::string base = root.string();
    std::replace(base.begin(), base.end(), '/', '\\');
    StrFormat(RunOptions.BackupBase, "%s\\BACKUP", base.c_str());
    RunOptions.BackupRepertory = 1;
    RunOptions.BackupLog = 0;
    RunOptions.BatchMode = 1;

    std::vector<double> cpWall, cpSync, cpCpu, bkWall, bkSync, bkCpu, bkOwn;
    bool failed = false;
    for (int r = 0; r < rounds && !failed; ++r) {
      // cp -r of the same folder, as a shell would run it.
      std::string target = (root / ("cp-" + std::to_string(r))).string();
      double c0 = ChildCpu();
      auto w0 = Clock::now();
      std::string cmd =
          "cp -r '" + (root / "data" / "brep").string() + "' '" + target + "'";
      if (std::system(cmd.c_str()) != 0) {
        failed = true;
        break;
      }
      cpWall.push_back(Seconds(w0));
      cpCpu.push_back(ChildCpu() - c0);
      auto s0 = Clock::now();
      sync();
      cpSync.push_back(Seconds(s0));

      // The silent backup: list, copy program, wait. A second's pause
      // keeps each round's dated folder apart.
      sleep(1);
      c0 = ChildCpu();
      double own0 = CpuNow();
      w0 = Clock::now();
      if (BackupBeforeRun() != 0) {
        failed = true;
        break;
      }
      bkWall.push_back(Seconds(w0));
      bkOwn.push_back(CpuNow() - own0);
      bkCpu.push_back(ChildCpu() - c0);
      s0 = Clock::now();
      sync();
      bkSync.push_back(Seconds(s0));
      int copied = 0;
      std::string saved;
      PlatRealPath(RunOptions.BackupDirectory, saved);
      long long got = FolderBytes(fs::path(saved) / "brep", &copied);
      if (got != bytes || copied != files) {
        fprintf(stderr, "backup_bench: the backup holds %d files, %lld bytes\n",
                copied, got);
        failed = true;
      }
      printf("round %d: cp -r %.3f s + sync %.3f s (CPU %.3f s); backup %.3f "
             "s + sync %.3f s (copy program CPU %.3f s, waiting CPU %.4f s), "
             "load %.2f\n",
             r + 1, cpWall.back(), cpSync.back(), cpCpu.back(), bkWall.back(),
             bkSync.back(), bkCpu.back(), bkOwn.back(), LoadAverage());
    }
    if (failed)
      break;
    double cp = Median(cpWall) + Median(cpSync);
    double bk = Median(bkWall) + Median(bkSync);
    printf("repertory: %d files, %.1f MB\n", files, bytes / 1e6);
    printf("median of %d rounds: cp -r %.3f s (%.0f MB/s), backup %.3f s "
           "(%.0f MB/s): the backup takes %.0f %% of the time of cp -r\n",
           rounds, cp, bytes / 1e6 / cp, bk, bytes / 1e6 / bk, 100.0 * bk / cp);
    printf("peak memory: this process %ld MB (the build), the largest child "
           "%ld MB\n",
           PeakKb() / 1024, ChildPeakKb() / 1024);
    rc = 0;
  } while (false);

  DbTerminate("A-Mantrel");
  fs::current_path("/");
  if (!keep)
    fs::remove_all(root);
  else
    fprintf(stderr, "kept %s\n", dir);
  return rc;
}
