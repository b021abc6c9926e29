// The text of a cases repair read back: any bytes as "%s1.txt" and as
// "%s2.txt", with head lines, remedy lines, long lines, bars in texts and
// numbers out of range, as the upload reads them.
#include "repair/cases.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int SaveCas1(Cas1 *rec, void *) {
  if (strnlen(rec->Name, sizeof rec->Name) >= sizeof rec->Name ||
      strnlen(rec->Comment, sizeof rec->Comment) >= sizeof rec->Comment)
    abort();
  for (const auto &t : rec->Texts)
    if (strnlen(t, sizeof t) >= sizeof t)
      abort();
  return rec->CaseId == 0xFFFF ? 1 : 0; // a refused save ends Cas1
}

int SaveCas2(Cas2 *rec, void *) {
  if (strnlen(rec->Text1, sizeof rec->Text1) >= sizeof rec->Text1 ||
      strnlen(rec->Text2, sizeof rec->Text2) >= sizeof rec->Text2)
    abort();
  if (rec->Symptoms == nullptr)
    abort();
  long n = 0;
  // The list ends within the room reserved for the lines it announced.
  // (An author above 20000 comes back as 444; a negative one is kept as
  // its 16 bits, as it always was, so the author is no invariant.)
  while (TblIsLastCas2SymptomRemed(&rec->Symptoms[n]) != 2) {
    if (++n > kCasesMaxRemedies + 1)
      abort();
  }
  // The dump of what was read must read back the same way.
  CasesClampCas2(rec, nullptr, nullptr);
  char buf[8192];
  FILE *out = fmemopen(buf, sizeof buf, "w");
  if (out != nullptr) {
    CasesWriteCas2(out, *rec);
    fclose(out);
  }
  return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0)
    return 0;
  FILE *f = fmemopen(const_cast<uint8_t *>(data), size, "rb");
  if (f == nullptr)
    return 0;
  CasesReloadCas1(f, SaveCas1, nullptr, nullptr);
  fclose(f);
  f = fmemopen(const_cast<uint8_t *>(data), size, "rb");
  if (f == nullptr)
    return 0;
  CasesReloadCas2(f, SaveCas2, nullptr, nullptr);
  fclose(f);
  return 0;
}
