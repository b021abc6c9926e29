#include "logrun/logruntext.h"

#include "listings/statistics.h"
#include "logentry/logentry.h"
#include "logentry/logread.h"
#include "logentry/logtext.h"
#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "logrun/logrun.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "transfers/notes.h"

#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <strings.h>

namespace {

// Note buffers of a text run: twice the note of a table run.
constexpr size_t kTextNoteBufferSize = 8193;
constexpr int kMsgReportOverwrites = 5359;

FILE *OpenTextReport(const char *path) {
  DbVirtualClose(2);
  FILE *f = PlatOpenFile(path, "wb");
  if (f == nullptr)
    xvt_dm_post_note(MsgText(2627), path);
  return f;
}

void CloseReport(FILE *&f) {
  if (f != nullptr)
    fclose(f);
  f = nullptr;
}

// A run never writes over what it reads, nor one report over another.
bool ReportsCollide(const LogTextReports &r) {
  const char *reports[] = {r.rejects, r.accepted, r.errors, r.statistics};
  for (size_t i = 0; i < 4; ++i) {
    if (LogSameFile(reports[i], LogPath)) {
      xvt_dm_post_error(MsgText(kMsgReportOverwrites), reports[i], LogPath);
      return true;
    }
    for (size_t j = 0; j < i; ++j)
      if (LogSameFile(reports[i], reports[j])) {
        xvt_dm_post_error(MsgText(kMsgReportOverwrites), reports[i],
                          reports[j]);
        return true;
      }
  }
  return false;
}

// The end of a text run: the question is always asked.
void ShowTextResult(const LogTextReports &r) {
  if (!LogRunAskToSeeReports())
    return;
  PlatStartViewer(r.errors);
  WriteStatistics(r.statistics, 1);
  PlatStartViewer(r.statistics);
}

// The text run's source: an entry is had again from a copy of what was
// read, and one not applied is copied letter for letter to the rejects.
struct TextSource {
  LogEntry asRead;
  const char *kept;
  size_t length;
  FILE *file;
  long start, end;
};

void TextReadAgain(LogEntry *e, bool, void *data) {
  const TextSource &t = *static_cast<const TextSource *>(data);
  char *text = e->text;
  *e = t.asRead;
  e->text = text;
  memcpy(text, t.kept, t.length + 1);
}

void TextNotApplied(LogEntry *, void *data) {
  const TextSource &t = *static_cast<const TextSource *>(data);
  LogCopyTextRange(t.file, t.start, t.end, LogRunTextLog);
}

} // namespace

bool LogSameFile(const char *a, const char *b) {
  std::string ra, rb;
  if (PlatAbsolutePath(a, ra) != 0 || PlatAbsolutePath(b, rb) != 0)
    return strcasecmp(a, b) == 0;
  std::error_code ec;
  std::string ca = std::filesystem::weakly_canonical(ra, ec).string();
  if (ec)
    ca = ra;
  std::string cb = std::filesystem::weakly_canonical(rb, ec).string();
  if (ec)
    cb = rb;
  return strcasecmp(ca.c_str(), cb.c_str()) == 0;
}

void LogTextReportPaths(LogTextReports *r) {
  if (RunOptions.TextLogFile[0] != '\0')
    StrCopy(r->rejects, RunOptions.TextLogFile);
  else
    StrFormat(r->rejects, "%s\\logtext.txt", LogFileDir);
  StrFormat(r->accepted, "%s\\logtext.ok", LogFileDir);
  if (RunOptions.ErrorsFile[0] != '\0')
    StrCopy(r->errors, RunOptions.ErrorsFile);
  else
    StrFormat(r->errors, "%s\\logtext.err", LogFileDir);
  LogReportPath(r->statistics, sizeof r->statistics, RunOptions.StatisticsFile,
                ".rpt");
}

void LogRunText(WINDOW) {
  StatisticsClear();
  LogRunErrorCount = LogRunWarningCount = 0;
  LogRunNoteChanged = 0;
  LogLastMessage = LogLastSeverity = 0;
  std::unique_ptr<char[]> notes1(new (std::nothrow) char[kTextNoteBufferSize]);
  std::unique_ptr<char[]> notes2(new (std::nothrow) char[kTextNoteBufferSize]);
  if (!notes1 || !notes2) {
    xvt_dm_post_error("Can't allocate space for symptom notes");
    WorkClose();
    return;
  }
  notes1[0] = notes2[0] = '\0';
  // Each entry says its language: nothing is swapped; and a text is never
  // translated to another edition.
  RunOptions.SameLanguage = 1;
  RunOptions.AssociationMode = 0;

  LogTextReports reports;
  LogTextReportPaths(&reports);
  if (ReportsCollide(reports)) {
    WorkClose();
    return;
  }
  FILE *source = PlatIsDir(LogPath) ? nullptr : PlatOpenFile(LogPath, "rb");
  if (source == nullptr) {
    xvt_dm_post_error(MsgText(3004), LogPath, kErrNoFile);
    WorkClose();
    return;
  }
  xvt_dm_post_note("%s", MsgText(5344));
  long count = LogCountTextEntries(source);
  if (count == 0) {
    char question[300];
    StrCopy(question, MsgText(5345));
    StrAppend(question, " ");
    StrAppend(question, MsgText(5346));
    char yes[120], no[120];
    StrCopy(yes, MsgText(65));
    StrCopy(no, MsgText(66));
    if (xvt_dm_post_ask(yes, no, nullptr, "%s", question) != 1) {
      fclose(source);
      WorkClose();
      return;
    }
  }
  std::unique_ptr<char[]> text(new (std::nothrow) char[kLogTextSize]);
  std::unique_ptr<char[]> kept(new (std::nothrow) char[kLogTextSize]);
  if (!text || !kept) {
    xvt_dm_post_error("%s", MsgText(31));
    fclose(source);
    WorkClose();
    return;
  }
  LogTextLabelsLoad();
  if (!LogRunOpenTables()) {
    fclose(source);
    SessionFail(1);
    WorkClose();
    return;
  }
  WorkProgress(0, count, MsgText(3150) + (strlen(MsgText(3150)) > 5 ? 5 : 0),
               nullptr);
  LogRunTextLog = OpenTextReport(reports.rejects);
  LogRunEditLog = OpenTextReport(reports.accepted);
  LogRunErrors = OpenTextReport(reports.errors);
  LogRunWriteMended(LogRunErrors);
  OpContext ctx;
  LogRunFillContext(&ctx);

  LogEntry entry;
  LogClearEntry(&entry, text.get());
  int read = LogReadTextEntry(source, LogRunErrors, LogRunTextLog, &entry);
  if (read == 0)
    ++LogRunErrorCount;
  long c = 0;
  while (WorkKeepGoing && OrvixError == 0 && entry.number <= RunOptions.To) {
    xvt_app_process_pending_events();
    if (read == 1 && entry.number >= RunOptions.From && entry.operation != 0) {
      // The entry as read: handlers work on its fields in place.
      TextSource text{entry,  kept.get(),        strlen(entry.text),
                      source, LogTextEntryStart, LogTextEntryEnd};
      memcpy(kept.get(), entry.text, text.length + 1);
      if (LogRunApplyEntry(
              &entry, ctx,
              LogRunSource{TextReadAgain, TextNotApplied, &text}) != 0) {
        // A table could not be written: the run stops, the entry undone.
        SessionFail(1);
        break;
      }
    }
    WorkProgress(++c, count > 0 ? count : 1, nullptr, nullptr);
    read = LogReadTextEntry(source, LogRunErrors, LogRunTextLog, &entry);
    if (read == 0)
      ++LogRunErrorCount;
  }

  LogRunCloseTables();
  CloseReport(LogRunErrors);
  CloseReport(LogRunEditLog);
  CloseReport(LogRunTextLog);
  fclose(source);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
  if (RunOptions.CheckDoubleNotes != 0 && LogRunNoteChanged != 0)
    DoubleNoteCleanup();
  ShowTextResult(reports);
}
