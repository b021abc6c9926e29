// The list file of /BUILD: lines of any bytes, of any length, with or
// without bars and line ends, read and parsed as the verb does it.
#include "repair/rebuild.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FILE *f = fmemopen(const_cast<uint8_t *>(data), size, "rb");
  if (size == 0 || f == nullptr)
    return 0;
  char line[kListLineSize];
  while (ReadListLine(f, line, sizeof line)) {
    if (strlen(line) >= sizeof line)
      abort();
    RebuildListLine asked;
    int why = RebuildParseLine(line, &asked);
    if (why != kListLineOk)
      continue;
    size_t n = strnlen(asked.Table, sizeof asked.Table);
    if (n == 0 || n >= sizeof asked.Table || asked.Table[n - 1] == ' ' ||
        asked.Table[n - 1] == '\t')
      abort();
    if (asked.Count < 1 || asked.Count > kListKeywordCount)
      abort();
    for (int i = 0; i < asked.Count; ++i)
      if (*RebuildKeyword(asked.Keywords[i]) == '\0')
        abort();
    // The name as the files on disk spell it. A name that climbs out of
    // the fuzzer's folder would make each run read the folders above it.
    if (strstr(asked.Table, "..") != nullptr)
      continue;
    char table[256];
    RepairMatchCase(asked.Table, ".dat", table, sizeof table);
    if (strnlen(table, sizeof table) >= sizeof table)
      abort();
  }
  fclose(f);
  return 0;
}
