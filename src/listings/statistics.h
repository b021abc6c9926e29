// Counts of a log's operations, written as a small table to "%s.rpt". The
// same writer serves the end of a log run, with the run's columns and the
// lists of the messages it reported.
#pragma once

#include "logrun/logentry.h"
#include "platform/xvt.h"

#include <cstdint>

// Counters by operation: row code - 1, row kOpTotalRow the total. A log's
// statistics fill OpRead and the two language counters; a run fills
// OpRead, OpDone, OpErrors and OpWarnings.
extern int32_t OpRead[kOpRows];
extern int32_t OpLanguage1[kOpRows]; // entries whose text begins with "0"
extern int32_t OpLanguage2[kOpRows]; // the others
extern int32_t OpDone[kOpRows];
extern int32_t OpErrors[kOpRows];
extern int32_t OpWarnings[kOpRows];

// How often each report message came in a run; a row with count 0 is free.
// Severity 1 is an error, 2 a warning.
struct MessageTally {
  int32_t count;
  int32_t message;
  int32_t severity;
};
inline constexpr int kMessageCountRows = 25;
extern MessageTally MessageCount[kMessageCountRows];

// Writes the report to the stored path: forRun 0 for a log's statistics
// (columns Lg.1, Lg.2), 1 at the end of a run (done, errors, warnings).
// Answers 0, or 1 when the file cannot be created (a note tells it).
int WriteStatistics(const char *path, int forRun);

// The job of the menu command: counts the entries of LogPath by
// operation and language, writes "%s.rpt" and shows it.
void LogStatistics(WINDOW win);

// Clears every counter and the message tally.
void StatisticsClear();
