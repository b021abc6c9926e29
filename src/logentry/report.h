// The reports of a run. Every outcome of a handler, a check or a
// translation is told by LogReportEntry as one block of a report file: the
// success block (message 5383, severity 0) in the edit log, an error
// (severity 1) or a warning (severity 2) in the errors file. The run counts
// the report codes in the histogram MessageCount (logentry/tally.h)
// through LogTallyReport, and OpAddRemedy keeps a counter of the remedies
// that runs have added to a repertory through LogCountAddition.
#pragma once

#include "logentry/reportcodes.h"
#include "store/records.h"
#include "store/store.h"

#include <cstdio>

// The last message and severity given to LogReportEntry with a file. The
// driver reads the severity to tell an error from a warning when an entry
// is refused before its handler.
extern int LogLastMessage;
extern int LogLastSeverity;

// Writes one block for the entry to `file` and flushes it. With a null
// file nothing is written and the last message and severity stay as they
// were. With null `offsets` the text is split here (and stays split);
// otherwise the caller has split it already. OrvixError is left as found.
void LogReportEntry(FILE *file, int message, LogEntry *entry, int *offsets,
                    int severity);

// Counts the last message and severity in MessageCount: the row with the
// same pair gains one, else the first free row takes the pair with count 1;
// with all 25 rows taken the code is not counted.
void LogTallyReport();

// Adds one to the counter of additions (resource 0x10f4c/1 of the symptom
// table), creating it with "1". Answers 0 or the store's error.
int LogCountAddition(TblHandle symptoms);

// The dashes that end a report block.
inline constexpr int kReportDashes = 76;
