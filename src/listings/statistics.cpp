#include "listings/statistics.h"

#include "listings/listings.h"
#include "logentry/logtext.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "services/work.h"
#include "store/store.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr int kMsgNoMemory = 31;
constexpr int kMsgLogNotOpened = 3004; // path, error
constexpr int kMsgNotCreated = 3006;   // file name
constexpr int kMsgCounting = 3197;
constexpr int kMsgRead = 3198;
constexpr int kMsgDone = 3199;
constexpr int kMsgErrors = 3200;
constexpr int kMsgWarnings = 5549;
constexpr int kMsgWarningList = 5550;
constexpr int kMsgErrorList = 5551;

constexpr size_t kTextSize = 256;

void PostNote(int number, const char *signature, const char *fallback,
              const char *path, int error) {
  char fmt[kTextSize];
  char text[2 * kTextSize + 32];
  LogMessageFormat(number, signature, fallback, fmt, sizeof fmt);
  if (strcmp(signature, "%s") == 0)
    StrFormat(text, sizeof text, fmt, path);
  else
    StrFormat(text, sizeof text, fmt, path, error);
  xvt_dm_post_note("%s", text);
}

// The messages of one severity, with how often each came.
void WriteTally(FILE *f, int heading, int severity) {
  char text[kTextSize];
  LogMessageText(heading, text, sizeof text);
  fprintf(f, "\n\n%s\n\n", text);
  for (const MessageTally &m : MessageCount) {
    if (m.severity != severity || m.count <= 0)
      continue;
    LogMessageText(m.message, text, sizeof text);
    fprintf(f, "%-80.80s: %6ld\n", text, static_cast<long>(m.count));
  }
}

} // namespace

int WriteStatistics(const char *path, int forRun) {
  DbVirtualClose(2);
  FILE *f = PlatOpenFile(path, "wb");
  if (f == nullptr) {
    PostNote(kMsgNotCreated, "%s", "The file %s cannot be created.", path, 0);
    return 1;
  }
  char text[kTextSize];
  LogMessageText(kMsgRead, text, sizeof text);
  fprintf(f, "%-40.40s\t%8.8s", " ", text);
  if (forRun) {
    for (int m : {kMsgDone, kMsgErrors, kMsgWarnings}) {
      LogMessageText(m, text, sizeof text);
      fprintf(f, "\t%8.8s", text);
    }
  } else {
    fprintf(f, "\t%8.8s\t%8.8s", "Lg.1", "Lg.2");
  }
  fputc('\n', f);
  for (int row = 0; row < kOpRows; ++row) {
    // Row 19 is the total, message 2647, next in the run of names.
    LogMessageText(kMsgOpName + row + 1, text, sizeof text);
    fprintf(f, "%-40.40s\t%8ld", text, static_cast<long>(OpRead[row]));
    if (forRun)
      fprintf(f, "\t%8ld\t%8ld\t%8ld", static_cast<long>(OpDone[row]),
              static_cast<long>(OpErrors[row]),
              static_cast<long>(OpWarnings[row]));
    else
      fprintf(f, "\t%8ld\t%8ld", static_cast<long>(OpLanguage1[row]),
              static_cast<long>(OpLanguage2[row]));
    fputc('\n', f);
  }
  WriteTally(f, kMsgWarningList, 2);
  WriteTally(f, kMsgErrorList, 1);
  fclose(f);
  return 0;
}

void LogStatistics(WINDOW) {
  StatisticsClear();
  TblHandle log = TblOpenRlog(LogPath, 0, 1);
  if (log == 0 || OrvixError != 0) {
    PostNote(kMsgLogNotOpened, "%s %d",
             "The log file %s cannot be opened (H-%d).", LogPath, OrvixError);
    WorkClose();
    return;
  }
  long count = DbCountEntries(log);
  char line[kTextSize];
  LogMessageText(kMsgCounting, line, sizeof line);
  WorkProgress(0, 100, line, nullptr);
  char report[kListPathSize + 8];
  StrFormat(report, sizeof report, "%s.rpt", LogPath);

  char *text = static_cast<char *>(malloc(kLogTextSize));
  if (text == nullptr) {
    LogMessageText(kMsgNoMemory, line, sizeof line);
    xvt_dm_post_note("%s", line);
    xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
    DbCloseFile(log);
    WorkClose();
    return;
  }
  LogEntry entry;
  LogClearEntry(&entry, text);
  long position = 0;
  for (int rc = TblFindFullRlog(log, &entry, 0, kFindFirst);
       WorkKeepGoing && rc == 0 && OrvixError == 0;
       rc = TblFindFullRlog(log, &entry, 0, kFindNext)) {
    int op = entry.operation;
    // Codes outside 1..18 have no row, and are left out of the total too.
    if (op >= 1 && op <= kOpCount) {
      ++OpRead[op - 1];
      ++OpRead[kOpTotalRow];
      int32_t *lang = text[0] == '0' ? OpLanguage1 : OpLanguage2;
      ++lang[op - 1];
      ++lang[kOpTotalRow];
    }
    WorkProgress(++position, count, nullptr, nullptr);
  }
  DbCloseFile(log);
  free(text);
  WriteStatistics(report, 0);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
  PlatStartViewer(report);
}
