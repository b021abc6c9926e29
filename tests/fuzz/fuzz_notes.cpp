// libFuzzer target of the note text file reader: any bytes as the file of
// /NOTES, uploaded into a small repertory, and the same bytes as a note
// text for the clean-up of doubled paragraphs. The Note table is made anew
// now and then so that it stays small.
#include "fuzz_support.h"
#include "platform/files.h"
#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "services/config.h"
#include "session/session.h"
#include "store/store.h"
#include "transfers/notes.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

void Symptom1(TblHandle h, uint32_t num, uint16_t sub, uint32_t pnum,
              uint16_t psub, uint8_t level, const char *t1, const char *t2,
              const SymptomRemedy *rems, int count) {
  Symptom s;
  memset(&s, 0, sizeof s);
  s.CursorState = 0xff;
  s.Num = num;
  s.Sub = sub;
  s.ParentNum = pnum;
  s.ParentSub = psub;
  s.Level = level;
  s.Chapter = 1;
  StrCopy(s.Text1, t1);
  StrCopy(s.Text2, t2);
  s.Remedies = TblAllocSymptomRemed(count + 1);
  for (int i = 0; i < count; ++i)
    s.Remedies[i] = rems[i];
  s.RemedyCount = static_cast<uint16_t>(count);
  if (TblSaveSymptom(h, &s, kSaveAdd) != 0)
    abort();
  TblFreeSymptomRemed(&s);
}

void NewNoteTable() {
  remove("rep/Note.dat");
  remove("rep/Note.idx");
  TblHandle h = TblCreateNote("rep\\Note", 1, 1);
  if (h == 0)
    abort();
  DbCloseFile(h);
}

// The store is closed before the process ends, so that the leak check at
// exit sees nothing of it.
void CloseStore() {
  DbTerminate("A-Mantrel");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  AbsoluteArguments(argc, argv);
  EnterScratchFolder("notes");
  if (mkdir("rep", 0700) != 0)
    abort();
  setenv("MANTREL_UI", "scripted", 1);
  unsetenv("MANTREL_SCRIPT");
  XvtReset();
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    abort();
  atexit(CloseStore);
  TblHandle s = TblCreateSymptom("rep\\symptom", 1, 1);
  const SymptomRemedy fear[] = {{1, 3, 1, 0}, {2, 1, 2, 0}, {2, 2, 0x8001, 0}};
  const SymptomRemedy pain[] = {{3, 2, 1, 0}};
  Symptom1(s, 1, 0, 0, 0, 1, "Mind", "Psychisme", nullptr, 0);
  Symptom1(s, 1, 1, 1, 0, 2, "fear", "peur", fear, 3);
  Symptom1(s, 1, 2, 1, 1, 3, "night", "nuit", nullptr, 0);
  Symptom1(s, 5, 0, 0, 0, 1, "Head", "T\xeate", nullptr, 0);
  Symptom1(s, 5, 1, 5, 0, 2, "pain", "douleur", pain, 1);
  DbCloseFile(s);
  NewNoteTable();
  StrCopy(RemedyCatalogName, "rem");
  StrCopy(AuthorCatalogName, "aut");
  TblHandle r = TblCreateRemed("rem", 1, 1);
  Remed rm;
  memset(&rm, 0, sizeof rm);
  rm.CursorState = 0xff;
  rm.Id = 1;
  StrCopy(rm.Abbrev, "Acon.");
  TblSaveRemed(r, &rm, kSaveAdd);
  DbCloseFile(r);
  DbCloseFile(TblCreateAuthor("aut", 1, 1));
  memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
  StrCopy(CurrentCatalog.RepertoryBlock.Paths[kCatFolder], "rep\\");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static long runs = 0;
  if (++runs % 2000 == 0)
    NewNoteTable();
  FILE *f = fopen("notes.txt", "wb");
  fwrite(data, 1, size, f);
  fclose(f);
  if (NotesUpload("rep", "notes.txt") != 0)
    __builtin_trap();
  if (runs % 50 == 0)
    DoubleNoteCleanup();
  static char text[kNoteTextSize];
  size_t n = size < kNoteTextSize - 1 ? size : kNoteTextSize - 1;
  memcpy(text, data, n);
  text[n] = '\0';
  size_t before = strlen(text);
  NoteRemoveDoubledParagraphs(text);
  if (strlen(text) > before)
    __builtin_trap();
  return 0;
}
