// The user-defined list files ("rem_udef.lst", "aut_udef.lst") and the
// load files of a run: lines of any bytes and any length, read and taken
// apart as the updates and loads do it.
#include "platform/files.h"
#include "transfers/userremedies.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FILE *f = fmemopen(const_cast<uint8_t *>(data), size, "rb");
  if (size == 0 || f == nullptr)
    return 0;
  char line[kUdefLoadLineSize];
  while (PlatReadLine(f, line, kUdefLineSize)) {
    if (strlen(line) >= kUdefLineSize || strchr(line, '\n') != nullptr)
      abort();
    UdefLine u;
    if (UdefParseLine(line, kUdefRemedyAbbrev, kUdefRemedyName, &u)) {
      if (u.Key.empty() || u.Key.size() > kUdefKeyColumns ||
          u.Abbrev.size() > kUdefRemedyAbbrev ||
          u.Name.size() > kUdefRemedyName ||
          (!u.Abbrev.empty() && u.Abbrev.back() == ' '))
        abort();
      std::string again = UdefFormatLine(u.Key.c_str(), u.Name.c_str());
      if (again.size() != 2 * kUdefKeyColumns + kUdefNameColumns + 1)
        abort();
    }
    static Remed rem;
    static Author aut;
    memset(&rem, 0, sizeof rem);
    memset(&aut, 0, sizeof aut);
    if (LoadParseRemedyLine(line, &rem) &&
        (rem.Id == 0 || strnlen(rem.Abbrev, sizeof rem.Abbrev) == 0 ||
         strnlen(rem.Name9, sizeof rem.Name9) >= sizeof rem.Name9))
      abort();
    if (LoadParseAuthorLine(line, &aut) &&
        strnlen(aut.Detail3, sizeof aut.Detail3) >= sizeof aut.Detail3)
      abort();
  }
  fclose(f);
  return 0;
}
