// tbltool: a table of an installation as JSON Lines, and its health.
//
//   tbltool dump KIND PATH          the records and resources, one a line
//   tbltool load KIND PATH [FILE]   a new table from such lines (or stdin)
//   tbltool check KIND PATH         data and index; exit 1 on any fault
//   tbltool rebuild KIND PATH       the index from the data file
//   tbltool stat KIND PATH          counts and sizes
//   tbltool verify FOLDER [CONCEPTS]  a repertory's tables against each
//                                   other, and against its concept partner
//
// PATH is a table's path without extension, as the installation stores it
// (backslashes allowed, letter case free). Exit 0 on success, 1 on a fault
// or failure, 2 on a wrong command line, 130 when Ctrl-C stopped the work.
//
// load, rebuild, check and verify show a progress line while they run when
// standard output is a terminal. Ctrl-C stops them at their next report of
// progress; load and rebuild write their new files beside the table and
// rename them only at the end, so a stopped command leaves the table as it
// was. A second Ctrl-C ends the program at once.
#include "ops/verify.h"
#include "platform/cp1252.h"
#include "platform/profile.h"
#include "platform/strutil.h"
#include "store/progress.h"
#include "store/store.h"
#include "tbljson.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>

#include <cctype>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char *kModule = "A-Mantrel";
constexpr int kExitStopped = 130;

volatile sig_atomic_t Interrupted = 0;
bool ShowProgress = false;   // standard output is a terminal
bool ProgressOnLine = false; // a progress line stands without its line end
const char *ProgressSubject = "";
double ProgressLastShown = -1;

void OnInterrupt(int) {
  Interrupted = 1;
}

// Ctrl-C asks the work to stop; SA_RESETHAND gives the second one its
// usual meaning.
void CatchInterrupt() {
  struct sigaction sa;
  memset(&sa, 0, sizeof sa);
  sa.sa_handler = OnInterrupt;
  sa.sa_flags = SA_RESETHAND;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
}

double Seconds() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void ClearProgress() {
  if (ProgressOnLine) {
    fputs("\r\033[K", stdout);
    fflush(stdout);
    ProgressOnLine = false;
  }
}

// The store's progress hook: one line, redrawn in place at most ten times a
// second, and the answer whether Ctrl-C asked to stop.
int Progress(const char *what, long done, long total) {
  if (ShowProgress) {
    double now = Seconds();
    if (now - ProgressLastShown >= 0.1) {
      ProgressLastShown = now;
      if (total > 0)
        printf("\r\033[K%s %s: %ld of %ld records (%ld%%)", what,
               ProgressSubject, done, total,
               done >= total ? 100L : done * 100 / total);
      else
        printf("\r\033[K%s %s: %ld records", what, ProgressSubject, done);
      fflush(stdout);
      ProgressOnLine = true;
    }
  }
  return Interrupted ? 1 : 0;
}

void StartProgress(const char *subject) {
  ProgressSubject = subject;
  ShowProgress = isatty(STDOUT_FILENO) != 0;
  DbProgressHook = Progress;
  CatchInterrupt();
}

int Stopped(const char *path) {
  ClearProgress();
  fprintf(stderr, "tbltool: interrupted; %s is as it was\n", path);
  return kExitStopped;
}

void Usage(FILE *out) {
  fprintf(out, "usage: tbltool dump|load|check|rebuild|stat KIND PATH [FILE]\n"
               "       tbltool verify REPERTORY-FOLDER [CONCEPT-FOLDER]\n"
               "KIND is one of:");
  for (int i = 0; TjFamilyKind(i) != nullptr; ++i)
    fprintf(out, " %s", TjFamilyKind(i));
  fprintf(out, "\n");
}

int Run(const char *verb, const TjFamily *fam, const char *path,
        const char *file) {
  if (strcmp(verb, "dump") == 0) {
    if (TjDump(fam, path, stdout, stderr) != 0) {
      fprintf(stderr, "tbltool: dump of %s failed (%d)\n", path, OrvixError);
      return 1;
    }
    return 0;
  }
  if (strcmp(verb, "load") == 0) {
    FILE *in = stdin;
    if (file != nullptr && strcmp(file, "-") != 0) {
      in = fopen(file, "rb");
      if (in == nullptr) {
        fprintf(stderr, "tbltool: %s cannot be read\n", file);
        return 1;
      }
    }
    char msg[1024];
    StartProgress(path);
    int err = TjLoad(fam, path, in, msg, sizeof msg);
    ClearProgress();
    if (in != stdin)
      fclose(in);
    if (err == kErrStopped)
      return Stopped(path);
    if (err != 0) {
      fprintf(stderr, "tbltool: load of %s refused (%d): %s\n", path, err, msg);
      return 1;
    }
    return 0;
  }
  if (strcmp(verb, "check") == 0) {
    long faults = 0;
    StartProgress(path);
    // While the progress line stands, the faults are kept and printed after
    // it, so that the two do not share a line.
    char *kept = nullptr;
    size_t keptSize = 0;
    FILE *report = ShowProgress ? open_memstream(&kept, &keptSize) : nullptr;
    int err = TjCheck(fam, path, report != nullptr ? report : stdout, &faults);
    ClearProgress();
    if (report != nullptr) {
      fclose(report);
      fputs(kept, stdout);
      free(kept);
    }
    if (err == kErrStopped)
      return Stopped(path);
    if (err != 0) {
      fprintf(stderr, "tbltool: check of %s could not run (%d)\n", path,
              OrvixError);
      return 1;
    }
    printf("%s: %ld fault%s\n", path, faults, faults == 1 ? "" : "s");
    return faults == 0 ? 0 : 1;
  }
  if (strcmp(verb, "rebuild") == 0) {
    StartProgress(path);
    int err = TjRebuild(fam, path);
    ClearProgress();
    if (err == kErrStopped)
      return Stopped(path);
    if (err != 0) {
      fprintf(stderr, "tbltool: rebuild of %s failed (%d)\n", path, OrvixError);
      return 1;
    }
    return 0;
  }
  if (strcmp(verb, "stat") == 0) {
    if (TjStat(fam, path, stdout) != 0) {
      fprintf(stderr, "tbltool: stat of %s failed (%d)\n", path, OrvixError);
      return 1;
    }
    return 0;
  }
  Usage(stderr);
  return 2;
}

// Tables that an open mended after a stop (the entry journal): told on
// standard error, so that the output of dump and check stays the table's.
void TellMended() {
  char path[4096];
  int what = 0;
  while (DbTakeMended(path, sizeof path, &what) != 0) {
    if ((what & 1) != 0)
      fprintf(stderr,
              "tbltool: %s: an entry that a stopped run left "
              "unfinished was undone\n",
              path);
    if ((what & 2) != 0)
      fprintf(stderr, "tbltool: %s: the index was rebuilt\n", path);
  }
}

void PrintFault(const char *fault, void *) {
  ClearProgress();
  printf("fault: %s\n", Cp1252ToUtf8(fault).c_str());
}

void PrintKept(const char *leftover, void *) {
  ClearProgress();
  printf("kept: %s\n", Cp1252ToUtf8(leftover).c_str());
}

// A folder as the catalogue and the command line may write it, for
// comparing: capitals, backslashes, no closing backslash.
std::string FolderKey(const char *folder) {
  std::string k = folder;
  for (char &ch : k)
    ch = ch == '/' ? '\\'
                   : static_cast<char>(toupper(static_cast<unsigned char>(ch)));
  while (!k.empty() && k.back() == '\\')
    k.pop_back();
  return k;
}

// The two halves of a repertory pair, from the catalogue that orvix.ini in
// the current folder names: the repertory's folder (abbreviation "S...")
// and the concept repertory's ("C..."), when `folder` is either one and the
// other is listed. Answers true when both were found.
bool FindConceptPair(const char *folder, std::string *repertory,
                     std::string *concepts) {
  char catalog[300];
  GetPrivateProfileStringA("System section", "CatalogCatalogName", "", catalog,
                           sizeof catalog, "orvix.ini");
  if (catalog[0] == '\0')
    return false;
  TblHandle h = TblOpenCatalog(catalog, 1, 1);
  if (OrvixError != 0 || h == 0)
    return false;
  static Catalog rec;
  memset(&rec, 0, sizeof rec);
  rec.CursorState = 0xff;
  std::string want = FolderKey(folder), self;
  std::vector<std::pair<std::string, std::string>> all; // abbrev, folder
  for (int err = TblFindFullCatalog(h, &rec, 0, kFindFirst);
       err == 0 && OrvixError == 0;
       err = TblFindFullCatalog(h, &rec, 0, kFindNext)) {
    if (rec.Kind != 1)
      continue;
    all.emplace_back(rec.Abbrev, rec.RepertoryBlock.Paths[kCatFolder]);
    if (FolderKey(rec.RepertoryBlock.Paths[kCatFolder]) == want)
      self = rec.Abbrev;
  }
  DbCloseFile(h);
  if (self.empty() || (self[0] != 'S' && self[0] != 'C'))
    return false;
  std::string other = self;
  other[0] = self[0] == 'S' ? 'C' : 'S';
  for (const auto &[abbrev, dir] : all)
    if (abbrev == other) {
      *repertory = self[0] == 'S' ? folder : dir;
      *concepts = self[0] == 'S' ? dir : folder;
      return true;
    }
  return false;
}

// The repertory's tables against each other, and the concept links of the
// pair when its partner is given or the catalogue names it; exit 1 on any
// fault. What the operations' rules leave on purpose is listed as "kept",
// and is no fault.
int Verify(const char *folder, const char *conceptFolder) {
  if (DbInitialize(50, 90, 4, kModule, "", 0) != 0) {
    fprintf(stderr, "tbltool: the store does not start (%d)\n", OrvixError);
    return 1;
  }
  StartProgress(folder);
  VerifyKeptReport = PrintKept;
  int faults = VerifyRepertory(folder, PrintFault, nullptr);
  std::string repertory, concepts;
  if (conceptFolder != nullptr) {
    repertory = folder;
    concepts = conceptFolder;
  }
  if (faults >= 0 && (conceptFolder != nullptr ||
                      FindConceptPair(folder, &repertory, &concepts))) {
    int more = VerifyConcepts(repertory.c_str(), concepts.c_str(), PrintFault,
                              nullptr);
    faults = more < 0 ? more : faults + more;
  }
  ClearProgress();
  TellMended();
  DbTerminate(kModule);
  if (faults < 0)
    return Stopped(folder);
  if (faults > kVerifyMaxReported)
    printf("... %d faults in all\n", faults);
  printf("%s: %s\n", folder, faults == 0 ? "consistent" : "faults found");
  if (!concepts.empty())
    printf("  the concept links of %s and %s checked too\n", repertory.c_str(),
           concepts.c_str());
  return faults == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
  if ((argc == 3 || argc == 4) && strcmp(argv[1], "verify") == 0)
    return Verify(argv[2], argc == 4 ? argv[3] : nullptr);
  if (argc == 2 &&
      (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0)) {
    Usage(stdout);
    return 0;
  }
  bool isLoad = argc >= 2 && strcmp(argv[1], "load") == 0;
  if (argc < 4 || argc > (isLoad ? 5 : 4)) {
    Usage(stderr);
    return 2;
  }
  const TjFamily *fam = TjFindFamily(argv[2]);
  if (fam == nullptr) {
    fprintf(stderr, "tbltool: no table family \"%s\"\n", argv[2]);
    Usage(stderr);
    return 2;
  }
  if (DbInitialize(50, 90, 4, kModule, "", 0) != 0) {
    fprintf(stderr, "tbltool: the store does not start (%d)\n", OrvixError);
    return 1;
  }
  int rc = Run(argv[1], fam, argv[3], argc == 5 ? argv[4] : nullptr);
  TellMended();
  DbTerminate(kModule);
  return rc;
}
