// Repair of a cases file through text: backup, rebuild, download, upload,
// recount, change of places.
#include "repair/cases.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "platform/strutil.h"
#include "repair/rebuild.h"
#include "services/ini.h"
#include "services/messages.h"
#include "services/work.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <unistd.h>

int CasesScriptWaitSeconds = 600;
CasesRepairCounts CasesCounts{};

namespace {

constexpr const char *kDashes =
    "-------------------------------------------------------------------------"
    "\n";
constexpr int kCasesLineSize = 4096;
// A line of this length or more is a head line, never a remedy line.
constexpr size_t kRemedyLineMax = 30;

const char *const kTableExts[4] = {".da1", ".id1", ".da2", ".id2"};

// ---------------------------------------------------------------- helpers

FILE *OpenReport() {
  DbVirtualClose(2);
  return PlatOpenFile(kCasesReport, "ab");
}

void Report(FILE *f, const char *fmt, ...)
    __attribute__((format(printf, 2, 3)));
void Report(FILE *f, const char *fmt, ...) {
  if (f == nullptr)
    return;
  char text[4096];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(text, sizeof text, fmt, ap);
  va_end(ap);
  ReportText(f, text);
}

void CloseReport(FILE *&f) {
  if (f != nullptr)
    fclose(f);
  f = nullptr;
}

// The full name: the base as given when it holds a backslash, else in
// "..\cases".
void FullName(const char *base, char *out, size_t cap) {
  if (strchr(base, '\\') != nullptr)
    StrCopy(out, cap, base);
  else
    StrFormat(out, cap, "..\\cases\\%s", base);
}

// What follows the last backslash, or the whole name.
const char *StemOf(const char *full) {
  const char *last = strrchr(full, '\\');
  return last != nullptr && last[1] != '\0' ? last + 1 : full;
}

// The folder of a path, its last backslash included; empty when it has none.
void FolderOf(const char *path, char *out, size_t cap) {
  StrCopy(out, cap, path);
  char *last = strrchr(out, '\\');
  if (last != nullptr)
    last[1] = '\0';
  else
    out[0] = '\0';
}

void HideStopButton() {
  if (ProgressWindow != NULL_WIN)
    xvt_vobj_set_visible(xvt_win_get_ctl(ProgressWindow, kWorkCancelCtl),
                         false);
}

// The date and time of the report, the same in every locale.
void NowText(char *out, size_t cap) {
  time_t now = time(nullptr);
  struct tm local;
  if (localtime_r(&now, &local) == nullptr ||
      strftime(out, cap, "%Y-%m-%d %H:%M:%S", &local) == 0)
    StrCopy(out, cap, "(unknown time)");
}

// Number of records of a table opened by its index, -1 when it won't open.
template <typename Open> long CountByIndex(Open open, const char *table) {
  TblHandle h = open(table, 1, 1);
  if (h == 0 || OrvixError != 0) {
    if (h != 0)
      DbCloseFile(h);
    return -1;
  }
  long n = DbCountEntries(h);
  DbCloseFile(h);
  return n;
}

void ReportCounts(FILE *rep, const char *table) {
  long cases = CountByIndex(TblOpenCas1, table);
  if (cases >= 0)
    Report(rep, "      Number of cases: %ld\n", cases);
  else
    ReportText(rep, "     Cannot count cases, index in corrupted\n");
  long symptoms = CountByIndex(TblOpenCas2, table);
  if (symptoms >= 0)
    Report(rep, "      Number of symptoms: %ld\n", symptoms);
  else
    ReportText(rep, "     Cannot count symptoms, index in corrupted\n");
  ReportText(rep, "\n");
}

// Opens a table by its index with key 0; when the index can't be used,
// without it, in the order of the file (key -1).
template <typename Open>
TblHandle OpenForReading(Open open, const char *table, int *key) {
  *key = 0;
  TblHandle h = open(table, 1, 1);
  if (h != 0 && OrvixError == 0)
    return h;
  if (h != 0)
    DbCloseFile(h);
  *key = -1;
  h = open(table, 1, 0);
  if (h != 0 && OrvixError == 0)
    return h;
  if (h != 0)
    DbCloseFile(h);
  return 0;
}

void NoteWithName(int message, const char *name) {
  char text[512];
  StrFormat(text, "%s %s", MsgText(message), name);
  xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
  xvt_dm_post_note("%s", text);
}

// ---------------------------------------------------------------- fields

// The next field: up to the next bar or the end of the line.
const char *NextField(const char *p, char *out, size_t cap) {
  const char *bar = strchr(p, '|');
  size_t n = bar != nullptr ? static_cast<size_t>(bar - p) : strlen(p);
  if (cap > 0) {
    size_t m = n < cap - 1 ? n : cap - 1;
    memcpy(out, p, m);
    out[m] = '\0';
  }
  return bar != nullptr ? bar + 1 : p + n;
}

// A number as atol reads it, kept within the range of a long without the
// undefined overflow of atol.
long FieldLong(const char *&p) {
  char text[32];
  p = NextField(p, text, sizeof text);
  return strtol(text, nullptr, 10);
}

int FieldInt(const char *&p) {
  long v = FieldLong(p);
  if (v > INT_MAX)
    return INT_MAX;
  if (v < INT_MIN)
    return INT_MIN;
  return static_cast<int>(v);
}

void FieldText(const char *&p, char *out, size_t cap) {
  p = NextField(p, out, cap);
}

// ---------------------------------------------------------------- journal

// Makes what was written to the folder of `stored` durable.
void SyncFolderOf(const char *stored) {
  std::string real;
  if (!PlatRealPath(stored, real))
    return;
  // The folder: the real path up to its last separator.
  char dir[4096];
  StrCopy(dir, real.c_str());
  char *slash = strrchr(dir, '/');
  if (slash == nullptr)
    StrCopy(dir, ".");
  else if (slash == dir)
    slash[1] = '\0';
  else
    *slash = '\0';
  int fd = open(dir, O_RDONLY | O_DIRECTORY);
  if (fd >= 0) {
    fsync(fd);
    close(fd);
  }
}

// Moves `count` files from[i] to to[i] under a journal: the journal is
// written and synced first (the commit), then the files move, then the
// journal goes. A kill before the commit leaves the old files; after it,
// CasesFinishSwap moves what is left.
int SwapUnderJournal(const char *base, const char *const *from,
                     const char *const *to, int count) {
  char journal[kPathMax + 8];
  StrFormat(journal, "%s%s", base, kCasesJournalExt);
  char tmp[kPathMax + 12];
  StrFormat(tmp, "%s~new", journal);
  DbVirtualClose(2);
  FILE *j = PlatOpenFile(tmp, "wb");
  if (j == nullptr)
    return 1;
  bool ok = true;
  for (int i = 0; i < count; ++i)
    ok = fprintf(j, "%s|%s\n", from[i], to[i]) > 0 && ok;
  ok = fflush(j) == 0 && ok;
  ok = fsync(fileno(j)) == 0 && ok;
  fclose(j);
  if (!ok || FileMove(tmp, journal) != kPlatOk) {
    PlatDeleteFile(tmp);
    return 1;
  }
  SyncFolderOf(journal);
  CasesFinishSwap(base);
  return 0;
}

// ---------------------------------------------------------------- dump

struct DumpCtx {
  FILE *report;
};

void TellClamp(const char *field, int was, int now, const Cas2 &rec,
               void *ctx) {
  auto *d = static_cast<DumpCtx *>(ctx);
  Report(d->report,
         "Case %5u : Clipboard %2d : Place %3u : %s was %d, written as %d\n",
         static_cast<unsigned>(rec.CaseId), rec.Sequence + 1,
         static_cast<unsigned>(rec.Entry), field, was, now);
}

} // namespace

// ---------------------------------------------------------------- text

void ReportText(FILE *stream, const char *text) {
  if (stream == nullptr || text == nullptr)
    return;
  fputs(text, stream);
  fflush(stream);
}

void CasesReadCas1Line(const char *line, Cas1 *rec) {
  TblClearCas1(rec);
  const char *p = line != nullptr ? line : "";
  FieldText(p, rec->Name, sizeof rec->Name);
  rec->CaseId = static_cast<uint16_t>(FieldInt(p));
  rec->Created = static_cast<int32_t>(FieldLong(p));
  rec->Changed = static_cast<int32_t>(FieldLong(p));
  for (uint16_t &v : rec->Values)
    v = static_cast<uint16_t>(FieldInt(p));
  for (auto &t : rec->Texts)
    FieldText(p, t, sizeof t);
  FieldText(p, rec->Comment, sizeof rec->Comment);
}

void CasesReadCas2Head(const char *line, Cas2 *rec, long *remedies) {
  TblClearCas2(rec);
  const char *p = line != nullptr ? line : "";
  rec->CaseId = static_cast<uint16_t>(FieldInt(p));
  rec->Sequence = static_cast<uint8_t>(FieldInt(p));
  rec->Entry = static_cast<uint16_t>(FieldInt(p));
  rec->Byte14 = static_cast<uint8_t>(FieldInt(p));
  rec->ByteF = static_cast<uint8_t>(FieldInt(p));
  rec->Byte10 = static_cast<uint8_t>(FieldInt(p));
  rec->Byte11 = static_cast<uint8_t>(FieldInt(p));
  rec->Byte12 = static_cast<uint8_t>(FieldInt(p));
  rec->ValueC = static_cast<uint16_t>(FieldInt(p));
  rec->Value6 = static_cast<uint16_t>(FieldInt(p));
  rec->Byte13 = static_cast<uint8_t>(FieldInt(p));
  FieldText(p, rec->Text1, sizeof rec->Text1);
  FieldText(p, rec->Text2, sizeof rec->Text2);
  long n = FieldLong(p);
  rec->Value8 = static_cast<int32_t>(FieldLong(p));
  rec->Byte15 = static_cast<uint8_t>(FieldInt(p));
  rec->Byte16 = static_cast<uint8_t>(FieldInt(p));
  if (n < 0)
    n = 0;
  if (n > kCasesMaxRemedies)
    n = kCasesMaxRemedies;
  if (remedies != nullptr)
    *remedies = n;
}

void CasesReadRemedyLine(const char *line, Cas2Symptom *entry) {
  const char *p = line != nullptr ? line : "";
  entry->Value = static_cast<uint16_t>(FieldInt(p));
  entry->Byte = static_cast<uint8_t>(FieldInt(p));
  int author = FieldInt(p);
  if (author > 20000)
    author = 444;
  entry->Author = static_cast<uint16_t>(author);
}

void CasesWriteCas1(FILE *out, const Cas1 &r) {
  fprintf(out, "%s|%d|%ld|%ld|", r.Name, r.CaseId, static_cast<long>(r.Created),
          static_cast<long>(r.Changed));
  for (uint16_t v : r.Values)
    fprintf(out, "%d|", v);
  for (const auto &t : r.Texts)
    fprintf(out, "%s|", t);
  fprintf(out, "%s\n", r.Comment);
}

void CasesWriteCas2(FILE *out, const Cas2 &r) {
  int n = 0;
  if (r.Symptoms != nullptr)
    while (TblIsLastCas2SymptomRemed(&r.Symptoms[n]) != 2)
      ++n;
  fprintf(out, "%d|%d|%d|%d|%d|%d|%d|%d|%d|%d|%d|%s|%s|%d|%ld|%d|%d\n",
          r.CaseId, r.Sequence, r.Entry, static_cast<int8_t>(r.Byte14), r.ByteF,
          r.Byte10, r.Byte11, r.Byte12, r.ValueC, r.Value6, r.Byte13, r.Text1,
          r.Text2, n, static_cast<long>(r.Value8), r.Byte15, r.Byte16);
  for (int i = 0; i < n; ++i)
    fprintf(out, "%d|%d|%d\n", r.Symptoms[i].Value, r.Symptoms[i].Byte,
            r.Symptoms[i].Author);
}

int CasesClampCas2(Cas2 *r,
                   void (*tell)(const char *, int, int, const Cas2 &, void *),
                   void *ctx) {
  int changed = 0;
  auto put = [&](const char *name, uint8_t &field, int was, int now) {
    field = static_cast<uint8_t>(now);
    ++changed;
    if (tell != nullptr)
      tell(name, was, now, *r, ctx);
  };
  int b14 = static_cast<int8_t>(r->Byte14);
  if (b14 < 0 || b14 > 10)
    put("Byte14", r->Byte14, b14, 1);
  if (r->Byte10 > 3)
    put("Byte10", r->Byte10, r->Byte10, 0);
  if (r->Byte11 > 15)
    put("Byte11", r->Byte11, r->Byte11, 1);
  if (r->Byte12 > 15)
    put("Byte12", r->Byte12, r->Byte12, 1);
  bool letter = (r->Byte13 >= 65 && r->Byte13 <= 90) ||
                (r->Byte13 >= 97 && r->Byte13 <= 122);
  if (!letter && r->Byte13 != 0)
    put("Byte13", r->Byte13, r->Byte13, 0);
  if (r->Byte15 > 20)
    put("Byte15", r->Byte15, r->Byte15, 0);
  if (r->Byte16 > 20)
    put("Byte16", r->Byte16, r->Byte16, 0);
  return changed;
}

long CasesReloadCas1(FILE *in, int (*save)(Cas1 *, void *), void *ctx,
                     void (*step)(void *)) {
  static Cas1 rec;
  rec.CursorState = 0xFF;
  char line[kCasesLineSize];
  long read = 0;
  while (ReadListLine(in, line, sizeof line)) {
    if (step != nullptr)
      step(ctx);
    ++read;
    CasesReadCas1Line(line, &rec);
    if (save(&rec, ctx) != 0)
      break;
  }
  return read;
}

long CasesReloadCas2(FILE *in, int (*save)(Cas2 *, void *), void *ctx,
                     void (*step)(void *)) {
  static Cas2 rec;
  rec.CursorState = 0xFF;
  char line[kCasesLineSize];
  char remedy[kCasesLineSize];
  long read = 0;
  while (ReadListLine(in, line, sizeof line)) {
    if (step != nullptr)
      step(ctx);
    ++read;
    long n = 0;
    CasesReadCas2Head(line, &rec, &n);
    TblFreeCas2Symptoms(&rec);
    rec.Symptoms = TblAllocCas2Symptoms(static_cast<int>(n) + 3);
    if (rec.Symptoms == nullptr)
      break;
    long i = 0;
    for (; i < n; ++i) {
      long at = ftell(in);
      if (!ReadListLine(in, remedy, sizeof remedy))
        break;
      if (strlen(remedy) >= kRemedyLineMax) {
        // The head of the next record: read it again as such.
        if (at >= 0)
          fseek(in, at, SEEK_SET);
        break;
      }
      CasesReadRemedyLine(remedy, &rec.Symptoms[i]);
    }
    rec.Symptoms[i] = Cas2Symptom{0, 0, 0};
    save(&rec, ctx); // a failed save doesn't stop the reading of Cas2
  }
  TblFreeCas2Symptoms(&rec);
  return read;
}

// ---------------------------------------------------------------- journal

int CasesFinishSwap(const char *baseName) {
  if (baseName == nullptr || *baseName == '\0')
    return 0;
  char full[kPathMax + 1];
  FullName(baseName, full, sizeof full);
  char journal[kPathMax + 8];
  StrFormat(journal, "%s%s", full, kCasesJournalExt);
  DbVirtualClose(2);
  FILE *j = PlatOpenFile(journal, "rb");
  if (j == nullptr)
    return 0;
  char line[2 * kPathMax + 4];
  while (ReadListLine(j, line, sizeof line)) {
    char *bar = strchr(line, '|');
    if (bar == nullptr)
      continue;
    *bar = '\0';
    if (PlatFileExists(line))
      FileMove(line, bar + 1);
  }
  fclose(j);
  SyncFolderOf(journal);
  PlatDeleteFile(journal);
  SyncFolderOf(journal);
  return 1;
}

// ---------------------------------------------------------------- download

namespace {

// The branch of the older tools: an outside script rebuilds a copy of the
// tables and leaves a marker file when it is done.
void RebuildWithScript(const char *baseName, const char *full, FILE *&rep) {
  ReportText(rep, "---> REBUILD WITH VERSION 8 TOOLS <-----\n\n");
  char title[512];
  StrFormat(title, MsgText(3003), baseName);
  WorkProgress(0, 100, title, nullptr);
  ReportText(rep, "\n");
  for (const char *ext : {".da1", ".da2"}) {
    char from[kPathMax + 8], to[kPathMax + 8];
    StrFormat(from, "%s%s", full, ext);
    StrFormat(to, "%s%s", kCasesScriptBase, ext);
    PlatCopyFile(from, to, true);
    Report(rep, "Copy %s on %s\n", from, to);
  }
  CloseReport(rep);
  PlatDeleteFile(kCasesScriptMarker);
  const char *args[] = {kCasesScriptBase, nullptr};
  int rc = PlatStartScript(kCasesScript, args, false, nullptr);
  int why = PlatLastErrno;
  bool came = false;
  if (rc != kPlatOk) {
    char text[512];
    StrFormat(text, MsgText(7205), kCasesScript,
              why != 0 ? strerror(why) : "not found");
    xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
    xvt_dm_post_note("%s", text);
  } else {
    time_t until = time(nullptr) + CasesScriptWaitSeconds;
    for (;;) {
      if (PlatFileExists(kCasesScriptMarker)) {
        came = true;
        break;
      }
      if (time(nullptr) >= until)
        break;
      xvt_app_process_pending_events();
      PlatReapChildren();
      usleep(50000);
    }
    if (!came) {
      char text[512];
      StrFormat(text, MsgText(7206), kCasesScript, kCasesScriptMarker,
                CasesScriptWaitSeconds);
      xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
      xvt_dm_post_note("%s", text);
    }
  }
  rep = OpenReport();
  if (came) {
    char from[4][kPathMax + 8], to[4][kPathMax + 8];
    const char *f[4], *t[4];
    int n = 0;
    for (const char *ext : kTableExts) {
      StrFormat(from[n], "%s%s", kCasesScriptBase, ext);
      StrFormat(to[n], "%s%s", full, ext);
      if (!PlatFileExists(from[n]))
        continue;
      f[n] = from[n];
      t[n] = to[n];
      ++n;
    }
    SwapUnderJournal(full, f, t, n);
    for (int i = 0; i < n; ++i)
      Report(rep, "Re-Copy %s on %s\n", f[i], t[i]);
  } else {
    ReportText(rep, "The script of the older tools did not finish: the "
                    "cases file is repaired without it\n");
  }
  ReportText(rep, "\n");
  for (const char *ext : kTableExts) {
    char path[kPathMax + 8];
    StrFormat(path, "%s%s", kCasesScriptBase, ext);
    PlatDeleteFile(path);
  }
}

} // namespace

long DownloadCases(const char *baseName, const char *workName) {
  CasesCounts = CasesRepairCounts{};
  char full[kPathMax + 1];
  FullName(baseName, full, sizeof full);
  CasesFinishSwap(full);

  WorkRun(nullptr);
  HideStopButton();
  WorkProgress(0, 100, MsgText(3358), nullptr);
  DbVirtualClose(2);

  FILE *rep = OpenReport();
  char now[256];
  NowText(now, sizeof now);
  ReportText(rep, kDashes);
  Report(rep, "------------- %s has been repaired on %s ---------------- \n",
         baseName, now);
  Report(rep, "%s\n", kDashes);
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< BACKUP PHASE "
                  ">>>>>>>>>>>>>>\n\n");

  // Backups first, refusing to overwrite an earlier one.
  const char *stem = StemOf(full);
  PlatCreateDir("..\\backup");
  char lastLine[1024] = "";
  long stamp = static_cast<long>(time(nullptr));
  for (const char *ext : {".da1", ".da2", ".id1", ".id2"}) {
    char from[kPathMax + 8], to[kPathMax + 40];
    StrFormat(from, "%s%s", full, ext);
    StrFormat(to, "..\\backup\\%s_%ld%s", stem, stamp, ext);
    PlatCopyFile(from, to, true);
    StrFormat(lastLine, "Table %s is backed up in %s\n", from, to);
    ReportText(rep, lastLine);
  }
  ReportText(rep, "\n");
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< END BACKUP PHASE "
                  ">>>>>>>>>>\n\n");
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< REBUILD PHASE "
                  ">>>>>>>>>>>>>\n\n");
  ReportText(rep, "Number of records before rebuild:\n\n");
  ReportCounts(rep, full);

  char version[16];
  GetPrivateProfileStringA("System section", "RebuildVersion8", "0", version,
                           sizeof version, IniFileName);
  if (atoi(version) == 0) {
    // The rebuilds are handed the last backup line, not the table's name,
    // so they touch nothing: the text below is what mends the file, and a
    // table whose index is unusable is read in the order of its file.
    ReportText(rep, "---> REBUILD WITH VERSION 10 TOOLS <-----\n\n");
    ReportText(rep, "---> REBUILD DA1\n");
    TblRebuildCas1(lastLine, 0, 1);
    ReportText(rep, "---> REBUILD DA2\n\n");
    TblRebuildCas2(lastLine, 0, 1);
  } else {
    RebuildWithScript(baseName, full, rep);
  }

  ReportText(rep, "Number of records after rebuild:\n\n");
  ReportCounts(rep, full);
  ReportText(rep, "\n\n");
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< END OF REBUILD "
                  "PHASE >>>>>>>");
  ReportText(rep, "\n\n");
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< DOWNLOAD PHASE "
                  ">>>>>>>>>>>>");
  ReportText(rep, "\n\n");

  // The progress total: the records of both tables, 3000 for an empty Cas2.
  DbVirtualClose(2);
  long total = 0;
  long c1 = CountByIndex(TblOpenCas1, full);
  long c2 = CountByIndex(TblOpenCas2, full);
  total += c1 > 0 ? c1 : 0;
  if (c2 == 0)
    total += 3000;
  else if (c2 > 0)
    total += c2;

  // A dump left by an earlier repair must never be loaded in place of this
  // one: the text files go before anything is written.
  char text1[kPathMax + 8], text2[kPathMax + 8];
  StrFormat(text1, "%s1.txt", workName);
  StrFormat(text2, "%s2.txt", workName);
  PlatDeleteFile(text1);
  PlatDeleteFile(text2);

  long position = 0;
  long cases = 0, symptoms = 0;
  int key;
  // Cas1.
  static Cas1 head;
  head.CursorState = 0xFF;
  TblClearCas1(&head);
  TblHandle h1 = OpenForReading(TblOpenCas1, full, &key);
  if (h1 != 0) {
    DbVirtualClose(2);
    FILE *out = PlatOpenFile(text1, "wb");
    int rc = TblFindFullCas1(h1, &head, key, kFindFirst);
    while (out != nullptr) {
      if (rc == kErrDamaged) {
        ++CasesCounts.Damaged;
        ReportText(rep, "A damaged case record is stepped over\n");
      } else if (rc != 0) {
        break;
      } else {
        WorkProgress(++position, total, nullptr, nullptr);
        if (head.Name[0] != '\0' && head.Status == 0) {
          ++cases;
          CasesWriteCas1(out, head);
        }
      }
      rc = TblFindFullCas1(h1, &head, key, kFindNext);
    }
    if (out != nullptr)
      fclose(out);
    DbCloseFile(h1);
  } else {
    NoteWithName(3163, baseName);
  }

  // Cas2.
  static Cas2 line;
  line.CursorState = 0xFF;
  DbVirtualClose(2);
  TblClearCas2(&line);
  DumpCtx ctx{rep};
  TblHandle h2 = OpenForReading(TblOpenCas2, full, &key);
  if (h2 != 0) {
    DbVirtualClose(2);
    FILE *out = PlatOpenFile(text2, "wb");
    int rc = TblFindFullCas2(h2, &line, key, kFindFirst);
    while (out != nullptr) {
      if (rc == kErrDamaged) {
        ++CasesCounts.Damaged;
        ReportText(rep, "A damaged symptom record of a case is stepped over\n");
      } else if (rc != 0) {
        break;
      } else {
        ++symptoms;
        WorkProgress(++position, total, nullptr, nullptr);
        CasesCounts.Clamped += CasesClampCas2(&line, TellClamp, &ctx);
        CasesWriteCas2(out, line);
      }
      rc = TblFindFullCas2(h2, &line, key, kFindNext);
    }
    if (out != nullptr)
      fclose(out);
    DbCloseFile(h2);
  } else {
    NoteWithName(3182, baseName);
  }
  TblFreeCas2Symptoms(&line);

  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
  CasesCounts.CasesDumped = cases;
  CasesCounts.SymptomsDumped = symptoms;
  ReportText(rep, "\n");
  Report(rep, "Number of cases:           %6ld\n", cases);
  Report(rep, "Number of symptoms:        %6ld\n", symptoms);
  if (CasesCounts.Damaged > 0)
    Report(rep, "Damaged records stepped over: %ld\n", CasesCounts.Damaged);
  ReportText(rep, "\n");
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< END OF DOWNLOAD "
                  "PHASE >>>>>>");
  ReportText(rep, "\n\n");
  CloseReport(rep);
  return position > total ? position : total;
}

// ---------------------------------------------------------------- upload

namespace {

struct UploadCtx {
  TblHandle Table;
  long Position, Total;
};

void UploadStep(void *p) {
  auto *u = static_cast<UploadCtx *>(p);
  WorkProgress(++u->Position, u->Total, nullptr, nullptr);
}
int SaveCas1(Cas1 *rec, void *p) {
  return TblSaveCas1(static_cast<UploadCtx *>(p)->Table, rec, kSaveAdd);
}
int SaveCas2(Cas2 *rec, void *p) {
  return TblSaveCas2(static_cast<UploadCtx *>(p)->Table, rec, kSaveAdd);
}

// Loads one text into a new table under `table`; answers the lines read and
// the entries, or false when the table or the text couldn't be had.
template <typename Create, typename Reload, typename Save>
bool LoadText(Create create, Reload reload, Save save, const char *table,
              const char *text, UploadCtx &u, long *read, long *entries) {
  *read = *entries = 0;
  u.Table = create(table, 1, 1);
  if (u.Table == 0 || OrvixError != 0)
    return false;
  DbVirtualClose(2);
  FILE *in = PlatOpenFile(text, "rb");
  bool ok = in != nullptr;
  if (in != nullptr) {
    *read = reload(in, save, &u, UploadStep);
    fclose(in);
  }
  *entries = DbCountEntries(u.Table);
  DbCloseFile(u.Table);
  u.Table = 0;
  return ok;
}

// Counts the symptoms of each clipboard of every case of the new tables and
// puts the counts right.
void Recount(const char *table, FILE *rep) {
  TblHandle h1 = TblOpenCas1(table, 1, 1);
  if (h1 == 0 || OrvixError != 0)
    return;
  TblHandle h2 = TblOpenCas2(table, 1, 1);
  if (h2 == 0 || OrvixError != 0) {
    DbCloseFile(h1);
    return;
  }
  long total = DbCountEntries(h1);
  WorkRun(nullptr);
  HideStopButton();
  WorkProgress(0, total, MsgText(7107), nullptr);
  static Cas1 head;
  static Cas2 line;
  head.CursorState = line.CursorState = 0xFF;
  TblClearCas1(&head);
  TblClearCas2(&line);
  long position = 0;
  int rc = TblFindFullCas1(h1, &head, 0, kFindFirst);
  while (rc == 0) {
    int counter[10] = {};
    TblClearCas2(&line);
    line.CaseId = head.CaseId;
    line.Sequence = 0;
    line.Entry = 0;
    int r2 = TblFindFullCas2(h2, &line, 0, kFindAtOrAfter);
    while (r2 == 0 && line.CaseId == head.CaseId) {
      if (line.Sequence < 10)
        ++counter[line.Sequence];
      r2 = TblFindFullCas2(h2, &line, 0, kFindNext);
    }
    bool changed = false;
    for (int c = 0; c < 10; ++c)
      if (head.Values[c] != counter[c]) {
        Report(rep,
               "Case %-20.20s : Clipboard %2d : Number of symptoms changed: "
               "%d (instead of %d)\n",
               head.Name, c + 1, counter[c], head.Values[c]);
        head.Values[c] = static_cast<uint16_t>(counter[c]);
        ++CasesCounts.Recounted;
        changed = true;
      }
    if (changed)
      TblSaveCas1(h1, &head, kSaveReplace);
    WorkProgress(++position, total, nullptr, nullptr);
    rc = TblFindFullCas1(h1, &head, 0, kFindNext);
  }
  TblFreeCas2Symptoms(&line);
  DbCloseFile(h2);
  DbCloseFile(h1);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
}

} // namespace

void UploadCases(const char *baseName, const char *workName,
                 long progressTotal) {
  char full[kPathMax + 1];
  FullName(baseName, full, sizeof full);
  WorkRun(nullptr);
  HideStopButton();
  WorkProgress(0, progressTotal, MsgText(7093), nullptr);
  DbVirtualClose(2);
  FILE *rep = OpenReport();
  ReportText(rep, "\n\n");
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< UPLOAD PHASE "
                  ">>>>>>>>>>>>>>");
  ReportText(rep, "\n\n");

  char folder[kPathMax + 1], table[kPathMax + 1];
  FolderOf(full, folder, sizeof folder);
  StrFormat(table, "%s%s", folder, workName);
  for (const char *ext : kTableExts) {
    char path[kPathMax + 8];
    StrFormat(path, "%s%s", table, ext);
    PlatDeleteFile(path);
  }
  char text1[kPathMax + 8], text2[kPathMax + 8];
  StrFormat(text1, "%s1.txt", workName);
  StrFormat(text2, "%s2.txt", workName);

  UploadCtx u{0, 0, progressTotal};
  bool ok1 = LoadText(TblCreateCas1, CasesReloadCas1, SaveCas1, table, text1, u,
                      &CasesCounts.CasesRead, &CasesCounts.Cas1Entries);
  bool ok2 = LoadText(TblCreateCas2, CasesReloadCas2, SaveCas2, table, text2, u,
                      &CasesCounts.SymptomsRead, &CasesCounts.Cas2Entries);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();

  // The new tables take the old ones' place only when they hold all that
  // was read: a record that couldn't be saved keeps the old files.
  bool whole = ok1 && ok2 && CasesCounts.Cas1Entries == CasesCounts.CasesRead &&
               CasesCounts.Cas2Entries == CasesCounts.SymptomsRead &&
               CasesCounts.Cas1Entries >= CasesCounts.CasesDumped &&
               CasesCounts.Cas2Entries >= CasesCounts.SymptomsDumped;
  if (whole) {
    Recount(table, rep);
    char from[4][kPathMax + 8], to[4][kPathMax + 8];
    const char *f[4], *t[4];
    for (int i = 0; i < 4; ++i) {
      StrFormat(from[i], "%s%s", table, kTableExts[i]);
      StrFormat(to[i], "%s%s", full, kTableExts[i]);
      f[i] = from[i];
      t[i] = to[i];
    }
    CasesCounts.Replaced = SwapUnderJournal(full, f, t, 4) == 0;
  }
  if (!CasesCounts.Replaced) {
    ReportText(rep, "The new tables do not hold every record that was read: "
                    "the old files are kept\n");
    char text[512];
    StrFormat(text, MsgText(7207), baseName);
    xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
    xvt_dm_post_note("%s", text);
    for (const char *ext : kTableExts) {
      char path[kPathMax + 8];
      StrFormat(path, "%s%s", table, ext);
      PlatDeleteFile(path);
    }
  }

  ReportText(rep, "\n");
  Report(rep, "Number of cases:           %6ld (%ld key entries)\n",
         CasesCounts.CasesRead, CasesCounts.Cas1Entries);
  Report(rep, "Number of symptoms:        %6ld (%ld key entries)\n",
         CasesCounts.SymptomsRead, CasesCounts.Cas2Entries);
  ReportText(rep, "\n");
  ReportText(rep, "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<< END OF UPLOAD PHASE "
                  ">>>>>>>>");
  ReportText(rep, "\n\n");
  CloseReport(rep);
}

void RepairCasesFile(const char *baseName) {
  char question[1024];
  StrCopy(question, MsgText(5395));
  StrAppend(question, "\n");
  StrAppend(question, MsgText(7091));
  StrAppend(question, "\n");
  StrAppend(question, MsgText(5501));
  if (MsgYesNo("%s", question) != kMsgIdYes)
    return;
  char text1[kPathMax + 8], text2[kPathMax + 8];
  StrFormat(text1, "%s1.txt", kCasesWorkName);
  StrFormat(text2, "%s2.txt", kCasesWorkName);
  PlatDeleteFile(text1);
  PlatDeleteFile(text2);
  long total = DownloadCases(baseName, kCasesWorkName);
  UploadCases(baseName, kCasesWorkName, total);
  char info[512];
  StrCopy(info, MsgText(7094));
  StrAppend(info, "\n");
  StrAppend(info, MsgText(7095));
  MsgInfo("%s", info);
}
