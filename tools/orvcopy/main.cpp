// orvcopy LISTFILE
//
// The copy program of backups and restores. Mantrel writes a list of copy
// jobs, starts this program on it and waits until the list is gone; the
// list is the whole conversation between the two.
//
// Each line of the list is "source|target". Both are stored paths
// (backslashes, any letter case, relative to the current folder, a drive
// letter through MANTREL_DRIVE_x). A source may end in "*.*" (every file of
// its folder) or "stem.*" (every file of that stem); the target then names
// the folder the files go to, with "*.*" (names kept) or "stem.*" (the stem
// replaced). A source without a wildcard is one file. Only files are
// copied, never folders: "*.*" of a folder leaves its sub-folders alone.
//
// Target folders are made as needed. Each file is written under a hidden
// name beside its target and renamed over it when complete, so a copy that
// is stopped half-way never leaves a partial file under a final name.
// A source that is missing is told in the report and passed over.
//
// The report goes to the list's folder as "backup.rpt": one line a job and
// a last line with the counts. When every job is done (missing sources
// included) the list is deleted: that tells Mantrel the copy has ended.
// A file that could not be copied leaves the list in place and the program
// ends with status 1, which Mantrel sees as a failed copy. Status 2 is a
// usage error or a list that can't be read.
#include "joblist.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/strutil.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace orvcopy;

namespace {

struct Totals {
  long files = 0;
  long long bytes = 0;
  int missing = 0;
  int failed = 0;
};

FILE *Report = nullptr;

void Tell(const char *fmt, const char *a, const char *b = "",
          const char *c = "") {
  if (Report == nullptr)
    return;
  fprintf(Report, fmt, a, b, c);
  fputc('\n', Report);
  fflush(Report);
}

bool CopyOne(const std::string &from, const std::string &to, Totals &t) {
  int rc = PlatCopyFile(from.c_str(), to.c_str(), false);
  if (rc == kPlatOk) {
    long long size = 0;
    PlatFileSize(to.c_str(), &size);
    ++t.files;
    t.bytes += size;
    return true;
  }
  int err = PlatLastErrno;
  ++t.failed;
  Tell("failed: %s -> %s: %s", from.c_str(), to.c_str(),
       err != 0 ? strerror(err) : "bad path");
  return false;
}

void RunJob(const std::string &source, const std::string &target, Totals &t) {
  std::string srcFolder, srcName, dstFolder, dstName;
  SplitLast(source, srcFolder, srcName);
  SplitLast(target, dstFolder, dstName);

  if (!HasWildcard(srcName)) {
    // One file. A target that is a folder (or ends in a backslash, or in a
    // wildcard) takes the source's name.
    if (!PlatFileExists(source.c_str()) || PlatIsDir(source.c_str())) {
      ++t.missing;
      Tell("missing: %s", source.c_str());
      return;
    }
    std::string to = target;
    if (dstName.empty() || HasWildcard(dstName) || PlatIsDir(target.c_str()))
      to = Join(dstName.empty() || HasWildcard(dstName) ? dstFolder : target,
                srcName);
    std::string toFolder, toName;
    SplitLast(to, toFolder, toName);
    if (!toFolder.empty() && PlatCreateDirs(toFolder.c_str()) != kPlatOk) {
      ++t.failed;
      Tell("failed: cannot make the folder %s", toFolder.c_str());
      return;
    }
    if (CopyOne(source, to, t))
      Tell("copied: %s -> %s", source.c_str(), to.c_str());
    return;
  }

  std::vector<PlatDirEntry> found;
  int rc = PlatListDir(srcFolder.empty() ? nullptr : srcFolder.c_str(),
                       srcName.c_str(), true, found);
  if (rc != kPlatOk || found.empty()) {
    ++t.missing;
    Tell("missing: %s", source.c_str());
    return;
  }
  if (PlatCreateDirs(dstFolder.c_str()) != kPlatOk) {
    ++t.failed;
    Tell("failed: cannot make the folder %s", dstFolder.c_str());
    return;
  }
  // "stem.*" to "other.*" renames the stem; "*.*" keeps every name.
  std::string srcStem = StemOf(srcName), dstStem = StemOf(dstName);
  long before = t.files;
  for (const PlatDirEntry &e : found) {
    CopyOne(Join(srcFolder, e.Name),
            Join(dstFolder, TargetName(srcStem, dstStem, e.Name)), t);
  }
  char count[32];
  StrFormat(count, "%ld", t.files - before);
  Tell("copied: %s -> %s (%s files)", source.c_str(), target.c_str(), count);
}

// The report beside the list: "backup.rpt" in the list's folder.
std::string ReportPath(const std::string &list) {
  std::string folder, name;
  SplitLast(list, folder, name);
  return Join(folder, "backup.rpt");
}

} // namespace

int main(int argc, char **argv) {
  if (argc != 2 || argv[1][0] == '\0') {
    fprintf(stderr, "usage: orvcopy LISTFILE\n");
    return 2;
  }
  const std::string list = argv[1];
  FILE *in = PlatOpenFile(list.c_str(), "rb");
  if (in == nullptr) {
    fprintf(stderr, "orvcopy: cannot read the list %s: %s\n", list.c_str(),
            strerror(errno));
    return 2;
  }
  Report = PlatOpenFile(ReportPath(list).c_str(), "wb");

  Totals t;
  char line[4 * (kPathMax + 1)];
  int number = 0;
  while (fgets(line, sizeof line, in) != nullptr) {
    ++number;
    size_t n = strlen(line);
    while (n > 0 && (line[n - 1] == '\n' || line[n - 1] == '\r'))
      line[--n] = '\0';
    if (n == 0)
      continue;
    char *source = nullptr, *target = nullptr;
    if (!SplitJob(line, &source, &target)) {
      char where[16];
      StrFormat(where, "%d", number);
      ++t.failed;
      Tell("failed: line %s is no \"source|target\": %s", where, line);
      continue;
    }
    RunJob(source, target, t);
  }
  bool readError = ferror(in) != 0;
  fclose(in);

  char summary[160];
  StrFormat(summary,
            "%ld files, %lld bytes copied; %d sources missing; %d "
            "failures",
            t.files, t.bytes, t.missing, t.failed);
  Tell("%s", summary);
  if (Report != nullptr)
    fclose(Report);
  if (readError || t.failed > 0) {
    fprintf(stderr, "orvcopy: %s; the list %s stays\n", summary, list.c_str());
    return 1;
  }
  // The list goes last: its end is the signal that the copy has ended.
  if (PlatDeleteFile(list.c_str()) != kPlatOk) {
    fprintf(stderr, "orvcopy: cannot delete the list %s\n", list.c_str());
    return 1;
  }
  return 0;
}
