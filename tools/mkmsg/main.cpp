// mkmsg OUTPUT-BASE-PATH FILE...
//
// Reads the message text files (data/messages/*.txt), checks them, and
// writes the store's message table at the base path. Every problem is told
// with its file and line, and then no table is written.
#include "services/msgdata.h"
#include "store/store.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

namespace {

int Usage() {
  fputs("usage: mkmsg OUTPUT-BASE-PATH FILE...\n"
        "  Checks the message text files and writes the message table\n"
        "  at OUTPUT-BASE-PATH (a path without extension).\n",
        stderr);
  return 2;
}

} // namespace

int main(int argc, char **argv) {
  if (argc < 3 || argv[1][0] == 0 || argv[1][0] == '-')
    return Usage();
  const char *base = argv[1];
  MsgDataSet set;
  for (int i = 2; i < argc; i++)
    MsgDataReadFile(&set, argv[i]);
  MsgDataCheck(&set);
  if (!set.Problems.empty()) {
    for (const std::string &p : set.Problems)
      fprintf(stderr, "%s\n", p.c_str());
    fprintf(stderr, "mkmsg: %zu problem%s; no table written\n",
            set.Problems.size(), set.Problems.size() == 1 ? "" : "s");
    return 1;
  }
  // The store finds folders but doesn't make them.
  std::filesystem::path folder = std::filesystem::path(base).parent_path();
  std::error_code ec;
  if (!folder.empty())
    std::filesystem::create_directories(folder, ec);
  if (DbInitialize(50, 90, 4, "mkmsg", "orvlock", 0) != 0) {
    fprintf(stderr, "mkmsg: the store can't start (H-%d)\n", OrvixError);
    return 1;
  }
  const MsgDataEntry *failed = nullptr;
  int error = MsgDataWriteTable(set, base, &failed);
  DbTerminate("mkmsg");
  if (error != 0) {
    if (failed)
      fprintf(stderr, "%s:%d: %d: the store refused the text (H-%d)\n",
              failed->File, failed->Line, failed->Number, error);
    else
      fprintf(stderr, "mkmsg: the table %s can't be created (H-%d)\n", base,
              error);
    return 1;
  }
  std::map<int, int> perLanguage;
  for (const MsgDataEntry &e : set.Entries)
    perLanguage[e.Language]++;
  printf("mkmsg: %s:", base);
  for (const auto &[language, count] : perLanguage)
    printf(" %d texts of language %d", count, language);
  printf("\n");
  return 0;
}
