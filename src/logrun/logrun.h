// The replay of a log table on the current repertory. LogRunTable reads
// RunOptions, LogPath and CurrentCatalog, applies the entries one by one
// through LogDispatch (the handler table of ops/dispatch.h) and writes four
// reports beside the log: the edit log "%s.edt" (a block for each entry
// applied), the errors file (a block for each refusal or failure), the text
// log (the entries not applied, in their text form) and, at the end, the
// statistics. A failed entry never stops the run; only the end of the log,
// a store error on the next read, Cancel or the range bound do. Nothing is
// rolled back.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"
#include "platform/xvt.h"
#include "store/store.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

// The run in hand: its error and warning counts, whether a note changed,
// and the reports while they are open (null when absent).
extern int32_t LogRunErrorCount;
extern int32_t LogRunWarningCount;
extern int LogRunNoteChanged;
extern FILE *LogRunTextLog;
extern FILE *LogRunEditLog;
extern FILE *LogRunErrors;
// The next number of the repertory's own log.
extern int32_t LogRunNextOwnNumber;

// The partner concept repertory's symptom table and its concept table. They
// stay open after a run, for the program's later commands; the next run
// closes them before it opens them again.
extern TblHandle LogPartnerSymptoms;
extern TblHandle LogPartnerExSp;
// 1 when the current repertory is the concept side of the pair.
extern int LogRunOnConceptSide;

// The job of WorkRun: the whole run, from the options to the result shown.
// In batch mode it ends the program. Three steps: opening the log, the
// run's tables and reports and filling the handlers' context; each entry
// through LogRunEntry; closing everything, whatever ended the loop.
void LogRunTable(WINDOW win);

// LogRunEntry's answer for an entry without a symptom path.
inline constexpr int kRunEntrySkipped = -1;

// One entry of a run, ready for its handler (its language digit swapped
// when the run swaps it): counts it as read; skips it when it has no
// symptom path (kRunEntrySkipped, no report); else dispatches it with the
// run's context and counts the outcome by the handler's table
// (OpCountOutcome) in the run's counters, the error and warning counts and
// the note flag. Answers the handler's result. What follows the outcome
// (the edit log, the own log, the text log) is the caller's: a run of a
// table and a run of a text file write it differently.
int LogRunEntry(LogEntry *entry, const OpContext &ctx);

// The opening and closing that a run of a table and a run of a text file
// share. LogRunOpenTables opens the repertory's own log when the run keeps
// one, the repertory's tables in their order, the partner's and the run's
// journal, after showing the run's first progress line; on a failure
// (posted) everything is closed again and the answer is false. Tables
// mended while they opened are told by LogRunWriteMended, one line each,
// at the top of the errors report. LogRunFillContext fills the handlers'
// context from what stands open, LogRunErrors being the errors report.
// LogRunCloseTables syncs and closes the journal and the tables.
bool LogRunOpenTables();
void LogRunWriteMended(FILE *errors);
void LogRunFillContext(OpContext *ctx);
void LogRunCloseTables();

// What differs around the one-entry step between a run of a table and a
// run of a text file: how the entry is had again as it was read (handlers
// leave its text split and its fields changed; `forOwnLog` asks for the
// source's language digit, unswapped), and how an entry that was not
// applied is kept for a later run (its text form in the text log, or its
// letters copied to the rejects file).
struct LogRunSource {
  void (*readAgain)(LogEntry *entry, bool forOwnLog, void *data);
  void (*notApplied)(LogEntry *entry, void *data);
  void *data;
};

// A run may also look at an entry before its handler (`check`, null when
// it does not): a translated run rewrites the entry for the new edition and
// finds its symptom there. A non-zero answer refuses the entry: it counts
// as read and, by the severity of its last report, as an error or a
// warning, and is kept as not applied.
using LogRunCheck = int (*)(LogEntry *entry, const OpContext &ctx, void *data);

// One entry, all or nothing, through LogRunEntry: what its handler and the
// own log write is committed together after a success (the success block
// in the edit log), and undone after a refusal or a warning (the entry is
// kept as not applied) or when a write failed. Answers 0 to go on, or the
// error of a failed write, which stops the run: the entry then counts as
// one error, its block names the store's error in the errors report and
// the edit log, and it is kept as not applied.
int LogRunApplyEntry(LogEntry *entry, const OpContext &ctx,
                     const LogRunSource &source, LogRunCheck check = nullptr);

// Stores an applied entry in the repertory's own log, when the run keeps
// one: under the own log's next number, with an empty comment, and with
// the unique id that the handler found (`rememberedId`) when the entry had
// none. The entry keeps its own number.
void LogRunKeepInOwnLog(LogEntry *e, int32_t rememberedId);

// The repertory's own log while a run keeps one, else 0.
TblHandle LogRunOwnLog();

// The question at the end of a run with errors (message 5605 with the
// count): true when the person answers that they want to see the reports.
bool LogRunAskToSeeReports();

// The path of a report: the named file, or the log path with `extension`
// when the name is empty.
void LogReportPath(char *out, size_t cap, const char *named,
                   const char *extension);

// Moves the log's "%s.dat" and "%s.idx" into the folder "done" beside it
// (created when missing). Answers 0 or a code of platform/files.h.
int LogMoveToDone(const char *logPath);
