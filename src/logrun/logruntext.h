// The update from a text file: a log that travels as text (a listing or a
// run's text log, edited by hand or sent by somebody else) replayed on the
// current repertory. Each entry is read by LogReadTextEntry and goes the way
// of an entry of a table, through the same one-entry step (LogRunEntry), so
// that a text run changes the repertory exactly as a run of the same log
// table does. What fails is copied, letter for letter, to the rejects file,
// which can be run again.
#pragma once

#include "platform/xvt.h"

// The job of WorkRun. Reads RunOptions, whose log path is here the text
// file's path; the language stands in each entry, so the run never swaps.
// Reports: the rejects (the text log file, or "logtext.txt" in LogFileDir),
// the accepted entries ("logtext.ok" in LogFileDir) and the errors (the
// errors file, or "logtext.err" in LogFileDir). A run whose report would be
// written over the text file or over another report does not start.
void LogRunText(WINDOW win);

// The reports of a text run, as the options name them.
struct LogTextReports {
  char rejects[300], accepted[300], errors[300], statistics[300];
};
void LogTextReportPaths(LogTextReports *reports);

// Whether two stored paths name the same file (letter case not counted).
bool LogSameFile(const char *a, const char *b);
