// The association data of ..\data\at\: the index ("index.txt") and the
// rename lists ("remed.txt", "author.txt"), bytes of any kind, read and
// taken apart as a translated run does it.
#include "logrun/translate.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FILE *f = fmemopen(const_cast<uint8_t *>(data), size, "rb");
  if (size == 0 || f == nullptr)
    return 0;
  RenamePair *list = AtReadRenameList(f);
  if (list != nullptr) {
    size_t rows = 0;
    for (; list[rows].Old[0] != '\0' || list[rows].New[0] != '\0'; ++rows)
      if (strnlen(list[rows].Old, kRenameTextSize) >= kRenameTextSize ||
          strnlen(list[rows].New, kRenameTextSize) >= kRenameTextSize ||
          rows > size)
        abort();
    AtFreeRenameList(list);
  }
  rewind(f);
  char line[kAtIndexLineSize + 2];
  while (fgets(line, sizeof line, f) != nullptr) {
    line[strcspn(line, "\r\n")] = '\0';
    AtIndexLine parsed;
    if (AtParseIndexLine(line, &parsed) &&
        (parsed.First[0] == '\0' ||
         strnlen(parsed.Second, sizeof parsed.Second) >= sizeof parsed.Second))
      abort();
    AtIndexLineMatches(line, "SALM2012", "SALM2009");
    AtCountLevels(line);
    AtLevelCut(line, 2);
    AtStorePath(line);
  }
  fclose(f);
  return 0;
}
