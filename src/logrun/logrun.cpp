#include "logrun/logrun.h"

#include "listings/statistics.h"
#include "logentry/logentry.h"
#include "logentry/logtext.h"
#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "logentry/tally.h"
#include "logrun/logcheck.h"
#include "logrun/translate.h"
#include "ops/dispatch.h"
#include "ops/subject.h"
#include "ops/views.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "store/sptpath.h"
#include "transfers/extractbuild.h"
#include "transfers/notes.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

int32_t LogRunErrorCount = 0;
int32_t LogRunWarningCount = 0;
int LogRunNoteChanged = 0;
FILE *LogRunTextLog = nullptr;
FILE *LogRunEditLog = nullptr;
FILE *LogRunErrors = nullptr;
int32_t LogRunNextOwnNumber = 1;
TblHandle LogPartnerSymptoms = 0;
TblHandle LogPartnerExSp = 0;
int LogRunOnConceptSide = 0;

namespace {

constexpr size_t kNoteBufferSize = 4097;
// The journal of a run, beside the repertory's tables.
constexpr const char *kRunJournalName = "mantrel";

// The tables of a run, in the order they are opened.
struct RunTables {
  TblHandle log, own, remed, author, symptoms, extract, word1, word2, notes,
      links, views;
};
RunTables T;

// Lines for the errors report about tables mended while the run opened
// them (a stop had left them unfinished); the reports open after the
// tables, so the lines wait here.
std::vector<std::string> MendedLines;

// A failed write stopped the run: the log has entries still to run.
bool RunStopped = false;

// A translated run: the association tables and the rename lists.
AtTables Assoc;
AssociationLists Lists;

void NoteMended(int message, const char *path) {
  char line[600];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  StrFormat(line, MsgText(message), path);
#pragma GCC diagnostic pop
  MendedLines.push_back(line);
}

// Takes what the store mended at the opens just made.
void TakeMended() {
  char path[4096];
  int what = 0;
  while (DbTakeMended(path, sizeof path, &what) != 0) {
    if ((what & 1) != 0)
      NoteMended(5392, path);
    if ((what & 2) != 0)
      NoteMended(5393, path);
  }
}

void CloseHandle(TblHandle &h) {
  if (h != 0)
    DbCloseFile(h);
  h = 0;
}

void CloseFile(FILE *&f) {
  if (f != nullptr)
    fclose(f);
  f = nullptr;
}

// The repertory's table, or folder plus name for the three that a
// catalogue entry does not name.
void FolderTable(char *out, size_t cap, const char *name) {
  StrCopy(out, cap, CurrentCatalog.RepertoryBlock.Paths[kCatFolder]);
  StrAppend(out, cap, name);
}

// Opens a table, creating it on error 12 when a creator is given, and
// rebuilding its index once on error 14 (a line in the errors report says
// so); a failure posts 2626 with the path.
TblHandle OpenTable(const char *path,
                    TblHandle (*opener)(const char *, int, int),
                    TblHandle (*creator)(const char *, int, int),
                    int (*rebuilder)(const char *, int, int), int a) {
  TblHandle h = opener(path, a, 1);
  if (OrvixError == kErrNoFile && creator != nullptr)
    h = creator(path, a, 1);
  if (OrvixError == kErrBadIndex && rebuilder != nullptr &&
      rebuilder(path, 0, 1) == 0) {
    h = opener(path, a, 1);
    if (OrvixError == 0)
      NoteMended(5393, path);
  }
  TakeMended();
  if (OrvixError != 0 || h == 0) {
    int err = OrvixError != 0 ? OrvixError : kErrNoFile;
    xvt_dm_post_error(MsgText(2626), path, err);
    OrvixError = err;
    return 0;
  }
  return h;
}

// The partner concept repertory: abbreviations differ in the first letter,
// "S" for the one, "C" for the other.
void OpenPartner() {
  CloseHandle(LogPartnerSymptoms);
  CloseHandle(LogPartnerExSp);
  LogRunOnConceptSide = 0;
  TblHandle cat = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || cat == 0)
    return;
  Catalog rec = CurrentCatalog;
  uint8_t kind = rec.Kind;
  uint16_t id = rec.Id;
  if (rec.Abbrev[0] == 'S') {
    rec.Abbrev[0] = 'C';
  } else {
    rec.Abbrev[0] = 'S';
    LogRunOnConceptSide = 1;
  }
  if (TblFindFullCatalog(cat, &rec, 1, kFindEqual) == 0) {
    LogPartnerSymptoms =
        TblOpenSymptom(rec.RepertoryBlock.Paths[kCatSymptom], 0, 1);
    if (OrvixError != 0) {
      LogPartnerSymptoms = 0;
    } else {
      // The concept table lies with the concept repertory.
      rec.Abbrev[0] = 'C';
      if (TblFindFullCatalog(cat, &rec, 1, kFindEqual) == 0) {
        char path[256];
        StrCopy(path, rec.RepertoryBlock.Paths[kCatFolder]);
        StrAppend(path, "extrspt");
        LogPartnerExSp = TblOpenExSp(path, 0, 1);
        if (OrvixError != 0) {
          int err = OrvixError; // before the message lookup changes it
          xvt_dm_post_error(MsgText(2626), path, err);
          LogPartnerExSp = 0;
        }
      }
    }
  }
  rec.Kind = kind;
  rec.Id = id;
  TblFindFullCatalog(cat, &rec, 0, kFindEqual);
  DbCloseFile(cat);
}

FILE *OpenReport(const char *named, const char *extension) {
  char path[300];
  LogReportPath(path, sizeof path, named, extension);
  DbVirtualClose(2);
  FILE *f = PlatOpenFile(path, "wb");
  if (f == nullptr)
    xvt_dm_post_note(MsgText(2627), path);
  return f;
}

// Reads the entry in hand again from the log: handlers and reports leave
// its text split.
void ReadAgain(LogEntry *e, bool swapped) {
  TblFindFullRlog(T.log, e, 0, kFindEqual);
  if (swapped)
    LogSwapLanguage(e->text);
}

// The table run's source: the entry read again from the log (with its
// language swapped back when the run swaps), and an entry not applied
// written in its text form to the text log.
struct TableSource {
  bool swapped;
  // A translated run: the entry as translated and its operation, which the
  // own log keeps.
  char *translated;
  int operation;
};

void TableReadAgain(LogEntry *e, bool forOwnLog, void *data) {
  // The own log keeps the source's language digit.
  auto *source = static_cast<TableSource *>(data);
  ReadAgain(e, !forOwnLog && source->swapped);
  if (forOwnLog && source->translated != nullptr) {
    StrCopy(e->text, kLogTextSize, source->translated);
    e->operation = static_cast<uint16_t>(source->operation);
  }
}

// The translation of an entry to the new edition. The first call is quiet;
// when it fails the entry is tried again with reports on, through the older
// step first when there is one. An entry whose translation failed is
// refused, unless it has a unique id: its handler finds it by the id.
int TableTranslate(LogEntry *e, const OpContext &, void *data) {
  auto *source = static_cast<TableSource *>(data);
  source->translated = nullptr;
  LogLastMessage = LogLastSeverity = 0;
  if (LogHasNoPath(e->text))
    return 0;
  bool second = e->text[0] == '1' && Assoc.Second != 0;
  TblHandle first = second ? Assoc.Second : Assoc.First;
  TblHandle older = second ? Assoc.OlderSecond : Assoc.OlderFirst;
  int r = LogTranslateEntry(T.symptoms, first, e, LogRunErrors, 0, Lists);
  if (r != 0) {
    if (older != 0)
      LogTranslateEntry(0, older, e, LogRunErrors, 1, Lists);
    r = LogTranslateEntry(T.symptoms, first, e, LogRunErrors, 1, Lists);
  }
  static char translated[kLogTextSize];
  StrCopy(translated, e->text);
  source->translated = translated;
  source->operation = e->operation;
  // The search for its symptom follows in LogRunEntry.
  return e->symptomId == 0 && r != 0 ? 1 : 0;
}

void TableNotApplied(LogEntry *e, void *) {
  LogWriteEntry(LogRunTextLog, nullptr, e, nullptr);
}

} // namespace

bool LogRunAskToSeeReports() {
  char question[300];
  LogMessageFormat(5605, "%d",
                   "The run ended with %d errors. Do you want to see the "
                   "reports?",
                   question, sizeof question);
  char cancel[120];
  StrCopy(cancel, MsgText(45));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  char text[400];
  StrFormat(text, question, static_cast<int>(LogRunErrorCount));
#pragma GCC diagnostic pop
  return xvt_dm_post_ask("OK", cancel, nullptr, "%s", text) == 1;
}

namespace {

void ShowResult() {
  char path[300];
  if (LogRunErrorCount == 0 && LogRunWarningCount == 0) {
    xvt_dm_post_note("%s", MsgText(7063));
    LogReportPath(path, sizeof path, RunOptions.StatisticsFile, ".rpt");
    WriteStatistics(path, 1);
    PlatStartViewer(path);
    return;
  }
  if (!LogRunAskToSeeReports())
    return;
  LogReportPath(path, sizeof path, RunOptions.ErrorsFile, ".err");
  PlatStartViewer(path);
  LogReportPath(path, sizeof path, RunOptions.StatisticsFile, ".rpt");
  WriteStatistics(path, 1);
  PlatStartViewer(path);
}

// Opens the log, rebuilding it once when its index is damaged or its
// table missing; posts 3004 when it still fails.
bool OpenLog() {
  T.log = TblOpenRlog(LogPath, 0, 1);
  if (OrvixError == kErrBadIndex || OrvixError == kErrNoFile) {
    bool stale = OrvixError == kErrBadIndex;
    TblRebuildRlog(LogPath, 0, 1);
    T.log = TblOpenRlog(LogPath, 0, 1);
    if (stale && OrvixError == 0)
      NoteMended(5393, LogPath);
  }
  TakeMended();
  if (OrvixError != 0 || T.log == 0) {
    int err = T.log == 0 && OrvixError == 0 ? kErrNoFile : OrvixError;
    xvt_dm_post_error(MsgText(3004), LogPath, err);
    return false;
  }
  return true;
}

// Opens the repertory's own log, creating it when missing, and takes the
// next number from it; posts 3004 on failure.
bool OpenOwnLog() {
  char own[300];
  StrFormat(own, "%s\\%s", NetLogFileDir, CurrentCatalog.Abbrev);
  T.own = TblOpenRlog(own, 0, 1);
  if (OrvixError == kErrNoFile)
    T.own = TblCreateRlog(own, 0, 1, 3);
  if (OrvixError == kErrBadIndex && TblRebuildRlog(own, 0, 1) == 0) {
    T.own = TblOpenRlog(own, 0, 1);
    if (OrvixError == 0)
      NoteMended(5393, own);
  }
  TakeMended();
  if (OrvixError != 0 || T.own == 0) {
    int err = OrvixError;
    xvt_dm_post_error(MsgText(3004), own, err);
    return false;
  }
  LogRunNextOwnNumber = LogNextNumber(T.own);
  return true;
}

// Opens the tables of the run in their order; each opens only when all
// before it did. Answers false after the first failure, posted with 2626.
bool OpenRepertoryTables() {
  char path[300];
  bool opened = true;
  auto open = [&](TblHandle &h, const char *p,
                  TblHandle (*opener)(const char *, int, int),
                  TblHandle (*creator)(const char *, int, int),
                  int (*rebuilder)(const char *, int, int), int a) {
    if (!opened)
      return;
    h = OpenTable(p, opener, creator, rebuilder, a);
    opened = h != 0;
  };
  open(T.remed, RemedyCatalogName, TblOpenRemed, nullptr, TblRebuildRemed, 1);
  open(T.author, AuthorCatalogName, TblOpenAuthor, nullptr, TblRebuildAuthor,
       1);
  const auto &paths = CurrentCatalog.RepertoryBlock.Paths;
  open(T.symptoms, paths[kCatSymptom], TblOpenSymptom, nullptr,
       TblRebuildSymptom, 0);
  open(T.extract, paths[kCatExtract], TblOpenExtract, nullptr,
       TblRebuildExtract, 0);
  open(T.word1, paths[kCatWord1], TblOpenWord, nullptr, TblRebuildWord, 0);
  open(T.word2, paths[kCatWord2], TblOpenWord, nullptr, TblRebuildWord, 0);
  FolderTable(path, sizeof path, "Note");
  open(T.notes, path, TblOpenNote, TblCreateNote, TblRebuildNote, 0);
  FolderTable(path, sizeof path, "Link");
  open(T.links, path, TblOpenLink, TblCreateLink, TblRebuildLink, 0);
  FolderTable(path, sizeof path, "View");
  open(T.views, path, TblOpenView, TblCreateView, TblRebuildView, 0);
  return opened;
}

// Closes every table of the run that stands open.
void CloseRunTables() {
  for (TblHandle *h :
       {&T.log, &T.own, &T.remed, &T.author, &T.symptoms, &T.extract, &T.word1,
        &T.word2, &T.notes, &T.links, &T.views})
    CloseHandle(*h);
}

} // namespace

void LogRunFillContext(OpContext *ctx) {
  *ctx = OpContext{};
  ctx->errors = LogRunErrors;
  ctx->symptoms = T.symptoms;
  ctx->extract = T.extract;
  ctx->word1 = T.word1;
  ctx->word2 = T.word2;
  ctx->notes = T.notes;
  ctx->links = T.links;
  ctx->views = T.views;
  ctx->partnerSymptoms = LogPartnerSymptoms;
  ctx->concepts = LogPartnerExSp;
  ctx->onConceptSide = LogRunOnConceptSide;
  // A handler runs on behalf of a transfer when it sees the table.
  ctx->assoc = RunOptions.AssociationMode != 0 ? Assoc.First : 0;
  ctx->silent = 1;
  ctx->replaceNotes = RunOptions.ReplaceNotes;
  OpSetComment(ctx, RunOptions.Comment);
  ctx->referenceStyle = CurrentCatalog.RepertoryBlock.RefStyle == 5 ? 2 : 1;
}

namespace {

// Opens what a run needs after its log, in its order: the own log when
// the run keeps one, the repertory's tables, the partner's, the reports;
// and fills the context. Answers false when the run cannot start; the
// failure has been posted and the run's tables are closed again.
bool OpenRun(OpContext *ctx) {
  if (!LogRunOpenTables())
    return false;
  LogRunTextLog = OpenReport(RunOptions.TextLogFile, ".txt");
  LogRunEditLog = OpenReport(nullptr, ".edt");
  LogRunErrors = OpenReport(RunOptions.ErrorsFile, ".err");
  LogRunWriteMended(LogRunErrors);
  LogRunFillContext(ctx);
  return true;
}

} // namespace

namespace {

// Opens the association tables from the old edition to the current
// repertory and loads the rename lists; posts why not (5537, 5538, 5539).
bool OpenAssociation() {
  AtLoadAssociationLists(&Lists);
  char failed[300] = "";
  int message = AtOpenTables("..\\data\\at\\", CurrentCatalog.Abbrev,
                             UpgradeOldAbbrev, &Assoc, failed, sizeof failed);
  if (message == 0)
    return true;
  int err = OrvixError; // before the message lookup changes it
  if (message == kMsgAssociationTable)
    xvt_dm_post_error(MsgText(message), err, failed);
  else
    xvt_dm_post_error("%s", MsgText(message));
  AtFreeAssociationLists(&Lists);
  return false;
}

void CloseAssociation() {
  AtCloseTables(&Assoc);
  AtFreeAssociationLists(&Lists);
}

} // namespace

bool LogRunOpenTables() {
  if (RunOptions.AssociationMode != 0 && !OpenAssociation()) {
    CloseRunTables();
    return false;
  }
  if (RunOptions.KeepInOwnLog != 0 && !OpenOwnLog()) {
    CloseRunTables();
    CloseAssociation();
    return false;
  }
  WorkProgress(0, 100, MsgText(3150) + (strlen(MsgText(3150)) > 5 ? 5 : 0),
               nullptr);
  if (!OpenRepertoryTables()) {
    // What stands open would stay open, as a failed start has always left
    // it; the handles are given back here so that nothing leaks.
    CloseRunTables();
    CloseAssociation();
    return false;
  }
  OpRemedTable = T.remed;
  OpAuthorTable = T.author;
  ViewAuthorTable = T.author;
  LogTextSymptomTable = T.symptoms;
  OpenPartner();
  TakeMended();

  // Every entry is all or nothing across the tables it writes: the journal
  // beside the repertory keeps what is needed to undo it.
  char journal[300];
  FolderTable(journal, sizeof journal, kRunJournalName);
  if (DbJournalOpen(journal) != 0) {
    int err = OrvixError;
    xvt_dm_post_error(MsgText(5394), journal, err);
    CloseRunTables();
    CloseAssociation();
    return false;
  }
  TakeMended();
  return true;
}

void LogRunWriteMended(FILE *errors) {
  if (errors != nullptr)
    for (const std::string &line : MendedLines)
      fprintf(errors, "%s\n", line.c_str());
  MendedLines.clear();
}

namespace {

// The counters an entry changes, kept before it so that an entry stopped
// by a failed write counts as that and nothing else.
struct EntryCounts {
  int32_t done[kOpRows], errors[kOpRows], warnings[kOpRows];
  MessageTally tally[kMessageCountRows];
  int32_t errorCount, warningCount;
  int noteChanged;
};

void KeepCounts(EntryCounts &c) {
  memcpy(c.done, OpDone, sizeof c.done);
  memcpy(c.errors, OpErrors, sizeof c.errors);
  memcpy(c.warnings, OpWarnings, sizeof c.warnings);
  memcpy(c.tally, MessageCount, sizeof c.tally);
  c.errorCount = LogRunErrorCount;
  c.warningCount = LogRunWarningCount;
  c.noteChanged = LogRunNoteChanged;
}

void RestoreCounts(const EntryCounts &c) {
  memcpy(OpDone, c.done, sizeof c.done);
  memcpy(OpErrors, c.errors, sizeof c.errors);
  memcpy(OpWarnings, c.warnings, sizeof c.warnings);
  memcpy(MessageCount, c.tally, sizeof c.tally);
  LogRunErrorCount = c.errorCount;
  LogRunWarningCount = c.warningCount;
  LogRunNoteChanged = c.noteChanged;
}

// The entry at which a failed write stopped the run: counted as an error,
// its block (with the store's error) in the errors report and the edit
// log, its text form in the text log.
void StoppedAt(LogEntry *entry, const LogRunSource &source,
               const EntryCounts &before, int err) {
  RestoreCounts(before);
  int op = entry->operation;
  if (op >= 1 && op <= kOpCount)
    ++OpErrors[op - 1];
  ++OpErrors[kOpTotalRow];
  ++LogRunErrorCount;
  source.readAgain(entry, false, source.data);
  OrvixError = err; // the block names it
  LogReportEntry(LogRunErrors, kMsgRunStoppedByWrite, entry, nullptr, 1);
  LogTallyReport();
  OrvixError = err;
  LogReportEntry(LogRunEditLog, kMsgRunStoppedByWrite, entry, nullptr, 1);
  source.readAgain(entry, false, source.data);
  source.notApplied(entry, source.data);
}

} // namespace

int LogRunApplyEntry(LogEntry *entry, const OpContext &ctx,
                     const LogRunSource &source, LogRunCheck check) {
  int32_t ownNumber = LogRunNextOwnNumber;
  EntryCounts before;
  KeepCounts(before);
  DbEntryBegin();
  int result;
  if (check != nullptr && check(entry, ctx, source.data) != 0) {
    int op = entry->operation;
    if (op >= 1 && op <= kOpCount)
      ++OpRead[op - 1];
    ++OpRead[kOpTotalRow];
    LogTallyReport();
    // A refusal told as a warning counts as one; any other as an error.
    bool warning = LogLastSeverity == 2;
    int32_t *counts = warning ? OpWarnings : OpErrors;
    if (op >= 1 && op <= kOpCount)
      ++counts[op - 1];
    ++counts[kOpTotalRow];
    ++(warning ? LogRunWarningCount : LogRunErrorCount);
    result = warning ? 2 : 1;
  } else {
    result = LogRunEntry(entry, ctx);
  }
  if (result == 0 && T.own != 0 && DbEntryError() == 0) {
    int32_t rememberedId = entry->symptomId;
    source.readAgain(entry, true, source.data);
    LogRunKeepInOwnLog(entry, rememberedId);
  }
  int err;
  if (result == 0) {
    err = DbEntryCommit();
  } else {
    err = DbEntryError();
    DbEntryRollback();
  }
  if (err != 0) {
    LogRunNextOwnNumber = ownNumber;
    StoppedAt(entry, source, before, err);
    return err;
  }
  if (result == 0) {
    source.readAgain(entry, false, source.data);
    LogReportEntry(LogRunEditLog, kMsgOperationDone, entry, nullptr, 0);
  } else if (result != kRunEntrySkipped) {
    source.readAgain(entry, false, source.data);
    DbVirtualClose(1);
    source.notApplied(entry, source.data);
  }
  return 0;
}

namespace {

// The end of the run, whatever ended the loop: everything closes, the
// work that follows a run, the result shown.
void CloseRun() {
  LogRunCloseTables();
  CloseFile(LogRunErrors);
  CloseFile(LogRunEditLog);
  CloseFile(LogRunTextLog);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();

  if (RunOptions.CheckDoubleNotes != 0 && LogRunNoteChanged != 0)
    DoubleNoteCleanup();
  if (RunOptions.BatchMode != 0 && RunExtract != 0)
    ExtractRebuild();
  ShowResult();
  if (RunOptions.BatchMode != 0) {
    // A log that a failed write stopped stays in place for the rest.
    if (!RunStopped)
      LogMoveToDone(LogPath);
    SessionEnd();
  }
}

} // namespace

void LogRunCloseTables() {
  // What the run wrote reaches the disk before the reports call it done:
  // each close syncs its data file and index, then the journal marks the
  // point and is synced (the partner's tables, still open, are synced by
  // the mark and written by the journal's close).
  CloseRunTables();
  if (DbJournalSync() != 0 || DbJournalClose() != 0)
    SessionFail(1);
  OpRemedTable = OpAuthorTable = ViewAuthorTable = 0;
  LogTextSymptomTable = 0;
  OpReleaseRecords();
  CloseAssociation();
}

TblHandle LogRunOwnLog() {
  return T.own;
}

void LogRunKeepInOwnLog(LogEntry *e, int32_t rememberedId) {
  if (T.own == 0)
    return;
  int32_t number = e->number;
  e->number = LogRunNextOwnNumber++;
  if (e->symptomId < -2000000)
    e->symptomId = 0;
  if (e->symptomId == 0 && rememberedId > 0)
    e->symptomId = rememberedId;
  e->comment[0] = '\0';
  TblSaveRlog(T.own, e, kSaveAdd);
  e->number = number;
  DbVirtualClose(1);
}

void LogReportPath(char *out, size_t cap, const char *named,
                   const char *extension) {
  if (named != nullptr && named[0] != '\0') {
    StrCopy(out, cap, named);
    return;
  }
  StrCopy(out, cap, LogPath);
  StrAppend(out, cap, extension);
}

int LogMoveToDone(const char *logPath) {
  char dir[300], name[300];
  StrCopy(dir, logPath);
  const char *base = logPath;
  char *cut = strrchr(dir, '\\');
  if (cut != nullptr) {
    base = logPath + (cut - dir) + 1;
    *cut = '\0';
  } else {
    StrCopy(dir, ".");
  }
  StrCopy(name, base);
  char target[300];
  StrFormat(target, "%s\\done", dir);
  if (int err = PlatCreateDir(target); err != 0)
    return err;
  int result = 0;
  for (const char *ext : {".dat", ".idx"}) {
    char from[300], to[300];
    StrFormat(from, "%s%s", logPath, ext);
    StrFormat(to, "%s\\done\\%s%s", dir, name, ext);
    if (int err = FileMove(from, to); err != 0 && result == 0)
      result = err;
  }
  return result;
}

int LogRunEntry(LogEntry *entry, const OpContext &ctx) {
  int op = entry->operation;
  if (op >= 1 && op <= kOpCount)
    ++OpRead[op - 1];
  ++OpRead[kOpTotalRow];
  if (LogHasNoPath(entry->text))
    return kRunEntrySkipped;
  // An entry with a unique id goes straight to its handler, which finds
  // the symptom by the id; the others are checked first.
  if (entry->symptomId == 0 &&
      !LogCheckSymptom(entry, ctx, RunOptions.AddMissing != 0)) {
    LogTallyReport();
    bool error = LogLastSeverity == 1;
    int32_t *counts = error ? OpErrors : OpWarnings;
    if (op >= 1 && op <= kOpCount)
      ++counts[op - 1];
    ++counts[kOpTotalRow];
    ++(error ? LogRunErrorCount : LogRunWarningCount);
    return error ? 1 : 2;
  }
  int result = LogDispatch(entry, ctx);
  switch (OpCountOutcome(op, result)) {
  case kOutcomeError:
    ++LogRunErrorCount;
    break;
  case kOutcomeWarning:
    ++LogRunWarningCount;
    break;
  default:
    if (result == 0) {
      const OpHandlerRow *row = OpHandlerOf(op);
      if (row != nullptr && (row->flags & kOpChangesNote) != 0)
        LogRunNoteChanged = 1;
    }
    break;
  }
  return result;
}

void LogRunTable(WINDOW) {
  StatisticsClear();
  LogRunErrorCount = LogRunWarningCount = 0;
  LogRunNoteChanged = 0;
  LogLastMessage = LogLastSeverity = 0;
  T = RunTables{};

  std::unique_ptr<char[]> notes1(new (std::nothrow) char[kNoteBufferSize]);
  std::unique_ptr<char[]> notes2(new (std::nothrow) char[kNoteBufferSize]);
  MendedLines.clear();
  RunStopped = false;
  if (!notes1 || !notes2) {
    xvt_dm_post_error("Can't allocate space for symptom notes");
    SessionFail(1);
    WorkClose();
    return;
  }
  notes1[0] = notes2[0] = '\0';
  if (!OpenLog()) {
    SessionFail(1);
    WorkClose();
    return;
  }
  long count = DbCountEntries(T.log);
  std::unique_ptr<char[]> text(new (std::nothrow) char[kLogTextSize]);
  if (!text) {
    xvt_dm_post_error("%s", MsgText(31));
    CloseRunTables();
    SessionFail(1);
    WorkClose();
    return;
  }
  text[0] = '\0';

  OpContext ctx;
  if (!OpenRun(&ctx)) {
    SessionFail(1);
    WorkClose();
    return;
  }

  LogEntry entry;
  LogClearEntry(&entry, text.get());
  entry.number = RunOptions.From;
  entry.operation = 0;
  TblFindFullRlog(T.log, &entry, 0, kFindAtOrAfter);
  int32_t c = RunOptions.From;
  while (WorkKeepGoing && OrvixError == 0 && c <= RunOptions.To) {
    xvt_app_process_pending_events();
    if (LogRunTextLog != nullptr)
      fflush(LogRunTextLog);
    if (LogRunEditLog != nullptr)
      fflush(LogRunEditLog);
    bool swapped = RunOptions.SameLanguage == 0;
    if (swapped)
      LogSwapLanguage(entry.text);
    TableSource table{swapped, nullptr, 0};
    if (LogRunApplyEntry(
            &entry, ctx, LogRunSource{TableReadAgain, TableNotApplied, &table},
            RunOptions.AssociationMode != 0 ? TableTranslate : nullptr) != 0) {
      // A table could not be written: the run stops, the entry undone.
      RunStopped = true;
      SessionFail(1);
      break;
    }
    WorkProgress(c - RunOptions.From, count, nullptr, nullptr);
    ++c;
    TblFindFullRlog(T.log, &entry, 0, kFindNext);
  }
  CloseRun();
}
