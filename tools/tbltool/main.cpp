// tbltool: a table of an installation as JSON Lines, and its health.
//
//   tbltool dump KIND PATH          the records and resources, one a line
//   tbltool load KIND PATH [FILE]   a new table from such lines (or stdin)
//   tbltool check KIND PATH         data and index; exit 1 on any fault
//   tbltool rebuild KIND PATH       the index from the data file
//   tbltool stat KIND PATH          counts and sizes
//   tbltool verify FOLDER           a repertory's tables against each other
//
// PATH is a table's path without extension, as the installation stores it
// (backslashes allowed, letter case free). Exit 0 on success, 1 on a fault
// or failure, 2 on a wrong command line.
#include "ops/verify.h"
#include "platform/cp1252.h"
#include "store/store.h"
#include "tbljson.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr const char *kModule = "A-Mantrel";

void Usage(FILE *out) {
  fprintf(out, "usage: tbltool dump|load|check|rebuild|stat KIND PATH [FILE]\n"
               "       tbltool verify REPERTORY-FOLDER\n"
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
    int err = TjLoad(fam, path, in, msg, sizeof msg);
    if (in != stdin)
      fclose(in);
    if (err != 0) {
      fprintf(stderr, "tbltool: load of %s refused (%d): %s\n", path, err, msg);
      return 1;
    }
    return 0;
  }
  if (strcmp(verb, "check") == 0) {
    long faults = 0;
    if (TjCheck(fam, path, stdout, &faults) != 0) {
      fprintf(stderr, "tbltool: check of %s could not run (%d)\n", path,
              OrvixError);
      return 1;
    }
    printf("%s: %ld fault%s\n", path, faults, faults == 1 ? "" : "s");
    return faults == 0 ? 0 : 1;
  }
  if (strcmp(verb, "rebuild") == 0) {
    if (TjRebuild(fam, path) != 0) {
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
  printf("fault: %s\n", Cp1252ToUtf8(fault).c_str());
}

// The repertory's tables against each other; exit 1 on any fault.
int Verify(const char *folder) {
  if (DbInitialize(50, 90, 4, kModule, "", 0) != 0) {
    fprintf(stderr, "tbltool: the store does not start (%d)\n", OrvixError);
    return 1;
  }
  int faults = VerifyRepertory(folder, PrintFault, nullptr);
  TellMended();
  DbTerminate(kModule);
  if (faults > kVerifyMaxReported)
    printf("... %d faults in all\n", faults);
  printf("%s: %s\n", folder, faults == 0 ? "consistent" : "faults found");
  return faults == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
  if (argc == 3 && strcmp(argv[1], "verify") == 0)
    return Verify(argv[2]);
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
