// The extraction table build: symptoms -> scratch blocks -> Extract records.
#include "transfers/extractbuild.h"

#include "platform/files.h"
#include "platform/strutil.h"
#include "platform/xvt.h"
#include "services/config.h"
#include "services/work.h"
#include "session/session.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

// The current block of one remedy's chain in the scratch file. The block
// is kept in memory while it fills and written whole at its offset when the
// remedy needs a new one, and at the end: the file comes out as if each
// entry had been written in its place, with one write a block instead of
// two seeks and two writes an entry.
struct RemedySlot {
  uint32_t Offset;
  uint16_t Block; // 0xFFFF: no block yet
  uint16_t Entries;
  uint8_t *Data; // the block's bytes, kExtractBlockSize; null before its first
};

// The remedy numbers in the key order of the Remed table, and a slot for
// each. One element more than there are remedies is reserved in both.
int16_t *RemedyNumbers = nullptr;
RemedySlot *RemedySlots = nullptr;
long RemedyCount = 0;
// The length of the scratch file once every block begun is written.
uint64_t ScratchEnd = 0;
// The place of each remedy number (as int16_t, offset by 32768), as
// RemedyPlace answers it, looked up once for all numbers: the scatter then
// costs no search an entry.
int32_t *PlaceOf = nullptr;

void TellNote(const ExtractBuildHooks &hooks, const char *text) {
  if (hooks.note != nullptr)
    hooks.note(text, hooks.ctx);
}

bool KeepGoing(const ExtractBuildHooks &hooks) {
  return hooks.keepGoing == nullptr || hooks.keepGoing(hooks.ctx) != 0;
}

void Progress(const ExtractBuildHooks &hooks, long position, long total) {
  if (hooks.progress != nullptr)
    hooks.progress(position, total, hooks.ctx);
}

void FreeArrays() {
  if (RemedySlots != nullptr)
    for (long i = 0; i <= RemedyCount; ++i)
      free(RemedySlots[i].Data);
  free(RemedyNumbers);
  free(RemedySlots);
  free(PlaceOf);
  PlaceOf = nullptr;
  RemedyNumbers = nullptr;
  RemedySlots = nullptr;
  RemedyCount = 0;
}

// The place of a remedy in RemedyNumbers; a number that isn't there goes
// to place 0, silently.
long RemedyPlace(int16_t number) {
  long lo = 0, hi = RemedyCount - 1;
  while (lo <= hi) {
    long mid = (lo + hi) / 2;
    if (RemedyNumbers[mid] == number)
      return mid;
    if (RemedyNumbers[mid] < number)
      lo = mid + 1;
    else
      hi = mid - 1;
  }
  return 0;
}

void Put16(uint8_t *p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
void Put32(uint8_t *p, uint32_t v) {
  for (int i = 0; i < 4; ++i)
    p[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint16_t Get16(const uint8_t *p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
uint32_t Get32(const uint8_t *p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) |
         (static_cast<uint32_t>(p[3]) << 24);
}

// Reads the remedy numbers; answers false after its note.
bool LoadRemedies(const char *remedPath, const ExtractBuildHooks &hooks) {
  char text[128];
  TblHandle remed = TblOpenRemed(remedPath, 1, 1);
  if (remed == 0 || OrvixError != 0) {
    StrFormat(text, "Error %d while opening remedies table", OrvixError);
    TellNote(hooks, text);
    if (remed != 0)
      DbCloseFile(remed);
    return false;
  }
  long count = DbCountEntries(remed);
  if (count < 0)
    count = 0;
  RemedyNumbers = static_cast<int16_t *>(calloc(count + 1, sizeof(int16_t)));
  if (RemedyNumbers == nullptr) {
    TellNote(hooks, "Error while allocating remedies number array");
    DbCloseFile(remed);
    return false;
  }
  static Remed rec;
  rec.CursorState = 0xff;
  TblClearRemed(&rec);
  long n = 0;
  for (int r = TblFindFullRemed(remed, &rec, 0, kFindFirst);
       r == 0 && OrvixError == 0 && n < count;
       r = TblFindFullRemed(remed, &rec, 0, kFindNext))
    RemedyNumbers[n++] = static_cast<int16_t>(rec.Id);
  RemedyCount = n;
  RemedySlots =
      static_cast<RemedySlot *>(calloc(count + 1, sizeof(RemedySlot)));
  if (RemedySlots == nullptr) {
    TellNote(hooks, "Error while allocating remedies array");
    DbCloseFile(remed);
    FreeArrays();
    return false;
  }
  for (long i = 0; i <= count; ++i)
    RemedySlots[i] = RemedySlot{0, 0xFFFF, 0, nullptr};
  ScratchEnd = 0;
  PlaceOf = static_cast<int32_t *>(calloc(65536, sizeof(int32_t)));
  if (PlaceOf == nullptr) {
    TellNote(hooks, "Error while allocating remedies array");
    DbCloseFile(remed);
    FreeArrays();
    return false;
  }
  if (RemedyCount > 0)
    for (long v = -32768; v <= 32767; ++v)
      PlaceOf[v + 32768] =
          static_cast<int32_t>(RemedyPlace(static_cast<int16_t>(v)));
  DbCloseFile(remed);
  DbVirtualClose(2);
  return true;
}

// Writes a remedy's current block whole at its offset.
bool FlushBlock(FILE *f, const RemedySlot &slot) {
  if (slot.Data == nullptr || slot.Block == 0xFFFF)
    return true;
  // One positioned write; the stream itself is not written through, so its
  // buffer and position stay out of the way.
  size_t done = 0;
  while (done < static_cast<size_t>(kExtractBlockSize)) {
    ssize_t n = pwrite(fileno(f), slot.Data + done, kExtractBlockSize - done,
                       static_cast<off_t>(slot.Offset + done));
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// Pass 1: one remedy entry into its remedy's current block. A new block
// takes the next place at the end of the file; the full one before it is
// written out.
bool ScatterEntry(FILE *f, const Symptom &s, const SymptomRemedy &r) {
  long place = PlaceOf[static_cast<int16_t>(r.RemedyId) + 32768];
  RemedySlot &slot = RemedySlots[place];
  if (slot.Block == 0xFFFF || slot.Entries >= kExtractBlockEntries) {
    if (!FlushBlock(f, slot))
      return false;
    if (slot.Data == nullptr) {
      slot.Data = static_cast<uint8_t *>(malloc(kExtractBlockSize));
      if (slot.Data == nullptr)
        return false;
    }
    if (ScratchEnd + kExtractBlockSize > 0x7fffffffu)
      return false; // a block's offset is a long and a u32
    memset(slot.Data, 0, kExtractBlockSize);
    slot.Block = static_cast<uint16_t>(slot.Block + 1);
    slot.Offset = static_cast<uint32_t>(ScratchEnd);
    slot.Entries = 0;
    ScratchEnd += kExtractBlockSize;
    Put16(slot.Data, static_cast<uint16_t>(
                         RemedyCount > 0 ? RemedyNumbers[place] : r.RemedyId));
    slot.Data[2] = static_cast<uint8_t>(slot.Block);
  }
  uint8_t *e = slot.Data + 3 + slot.Entries * kExtractBinEntrySize;
  Put32(e, s.Num);
  Put16(e + 4, s.Sub);
  e[6] = r.Degree;
  Put16(e + 7, r.AuthorId);
  Put16(e + 9, r.ViewBits);
  ++slot.Entries;
  return true;
}

// The blocks still in memory, each at its place.
bool FlushAll(FILE *f) {
  for (long i = 0; RemedySlots != nullptr && i <= RemedyCount; ++i)
    if (!FlushBlock(f, RemedySlots[i]))
      return false;
  return true;
}

} // namespace

int ExtractBuild(const char *symptomPath, const char *extractPath,
                 const char *remedPath, const char *folder,
                 const ExtractBuildHooks &hooks) {
  char text[300];
  char path[300];

  // 1. A new, empty table.
  StrFormat(path, "%s.dat", extractPath);
  PlatDeleteFile(path);
  StrFormat(path, "%s.idx", extractPath);
  PlatDeleteFile(path);
  TblHandle extract = TblCreateExtract(extractPath, 1, 1);
  if (extract != 0)
    DbCloseFile(extract);

  // 2. The symptoms, and the total of the progress.
  TblHandle symptoms = TblOpenSymptom(symptomPath, 1, 1);
  if (symptoms == 0 || OrvixError != 0) {
    StrFormat(text, "Error %d while opening symptoms table", OrvixError);
    TellNote(hooks, text);
    if (symptoms != 0)
      DbCloseFile(symptoms);
    return kExtractFailed;
  }
  long entries = DbCountEntries(symptoms);
  long total = entries + entries / 10;
  Progress(hooks, 0, total);

  // 3, 4. The remedies.
  if (!LoadRemedies(remedPath, hooks)) {
    DbCloseFile(symptoms);
    return kExtractFailed;
  }

  // 5. The scratch file, beside the repertory's tables.
  char scratch[300];
  StrFormat(scratch, "%s\\%s", folder, kExtractScratchName);
  FILE *f = PlatOpenFile(scratch, "w+b");
  if (f == nullptr) {
    TellNote(hooks, "Error while opening file extract.bin");
    FreeArrays();
    DbCloseFile(symptoms);
    return kExtractFailed;
  }

  // 6. Pass 1: every remedy entry of every symptom into its chain.
  bool stopped = false, ioError = false;
  static Symptom s;
  s.CursorState = 0xff;
  TblClearSymptom(&s);
  long done = 0;
  for (int r = TblFindFullSymptom(symptoms, &s, 0, kFindFirst);
       r == 0 && OrvixError == 0;
       r = TblFindFullSymptom(symptoms, &s, 0, kFindNext)) {
    if (!KeepGoing(hooks)) {
      stopped = true;
      break;
    }
    Progress(hooks, ++done, total);
    for (int i = 0;
         s.Remedies != nullptr && TblIsLastSymptomRemed(&s.Remedies[i]) != 2;
         ++i) {
      if (!ScatterEntry(f, s, s.Remedies[i])) {
        ioError = true;
        break;
      }
    }
    if (ioError)
      break;
  }
  TblFreeSymptomRemed(&s);
  if (!ioError && !stopped && !FlushAll(f))
    ioError = true;

  // 7. The arrays go; a stop leaves the table empty.
  FreeArrays();
  if (fclose(f) != 0)
    ioError = true;
  if (ioError) {
    TellNote(hooks, "Error while writing file extract.bin");
    DbCloseFile(symptoms);
    return kExtractFailed;
  }
  if (stopped) {
    DbCloseFile(symptoms);
    return kExtractStopped;
  }

  // 8. The blocks back, into the table opened without its index.
  DbVirtualClose(2);
  f = PlatOpenFile(scratch, "rb");
  if (f == nullptr) {
    TellNote(hooks, "Error while opening file extract.bin");
    DbCloseFile(symptoms);
    return kExtractFailed;
  }
  extract = TblOpenExtract(extractPath, 1, 0);
  if (extract == 0 || OrvixError != 0) {
    StrFormat(text, "Error %d while opening extract table", OrvixError);
    TellNote(hooks, text);
    if (extract != 0)
      DbCloseFile(extract);
    fclose(f);
    DbCloseFile(symptoms);
    return kExtractFailed;
  }

  // 9. Pass 2: each block, in file order, is one record. The file is read
  // in large pieces.
  static char readBuffer[1 << 20];
  setvbuf(f, readBuffer, _IOFBF, sizeof readBuffer);
  fseek(f, 0, SEEK_END);
  long blocks = ftell(f) / kExtractBlockSize;
  fseek(f, 0, SEEK_SET);
  static Extract rec;
  static uint8_t block[kExtractBlockSize];
  for (long b = 0; b < blocks; ++b) {
    if (!KeepGoing(hooks)) {
      stopped = true;
      break;
    }
    if (fread(block, 1, sizeof block, f) != sizeof block)
      break;
    rec.CursorState = 0xff;
    TblClearExtract(&rec);
    rec.RemedyId = Get16(block);
    rec.Seq = block[2];
    int n = 0;
    for (; n < kExtractBlockEntries; ++n) {
      const uint8_t *e = block + 3 + n * kExtractBinEntrySize;
      uint32_t num = Get32(e);
      if (num == 0)
        break;
      rec.Entries[n] =
          ExtractEntry{num, Get16(e + 4), e[6], Get16(e + 7), Get16(e + 9)};
    }
    rec.Entries[n] = ExtractEntry{0, 0, 0, 0, 0xffff};
    if (TblSaveExtract(extract, &rec, kSaveAdd) != 0 || OrvixError != 0) {
      StrFormat(text, "Error %d adding following record", OrvixError);
      TellNote(hooks, text);
    }
    Progress(hooks,
             entries + (blocks > 0 ? (b + 1) * (total / 20) / blocks : 0),
             total);
  }

  // 10, 11. Close, and let the index set the records in key order.
  DbCloseFile(extract);
  fclose(f);
  DbCloseFile(symptoms);
  if (stopped)
    return kExtractStopped;
  Progress(hooks, total - total / 20, total);
  if (TblRebuildExtract(extractPath, 1, 1) != 0 || OrvixError != 0)
    return kExtractRebuildFailed;
  Progress(hooks, total, total);
  return kExtractOk;
}

// ---------------------------------------------------------------- under the
// Progress window

namespace {

char ProgressTitle[300];

// WorkProgress, called for every symptom, is where Cancel is heard.
int WorkHookKeepGoing(void *) {
  return WorkKeepGoing;
}
void WorkHookProgress(long position, long total, void *) {
  WorkProgress(position, total, ProgressTitle, nullptr);
}
void WorkHookNote(const char *text, void *) {
  xvt_dm_post_note("%s", text);
}

} // namespace

void ExtractRebuild() {
  const CatalogRepertoryBlock &rep = CurrentCatalog.RepertoryBlock;
  WorkRun(nullptr);
  // The title is message 3003 with the path in place of its "%s"; the
  // text is not used as a format, so no other conversion in it can harm.
  const char *msg = WorkMessage != nullptr ? WorkMessage(3003) : nullptr;
  const char *at = msg != nullptr ? strstr(msg, "%s") : nullptr;
  ProgressTitle[0] = '\0';
  if (at != nullptr) {
    size_t head = static_cast<size_t>(at - msg);
    StrCopy(ProgressTitle,
            head + 1 < sizeof ProgressTitle ? head + 1 : sizeof ProgressTitle,
            msg);
    StrAppend(ProgressTitle, rep.Paths[kCatExtract]);
    StrAppend(ProgressTitle, at + 2);
  } else {
    StrCopy(ProgressTitle, rep.Paths[kCatExtract]);
  }
  ExtractBuildHooks hooks{WorkHookKeepGoing, WorkHookProgress, WorkHookNote,
                          nullptr};
  ExtractBuild(rep.Paths[kCatSymptom], rep.Paths[kCatExtract],
               RemedyCatalogName, rep.Paths[kCatFolder], hooks);
  WorkClose();
}
