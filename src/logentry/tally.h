// The counters of a log's operations and of the messages a run reported.
// A run and a log's statistics fill them; the statistics report
// (listings/statistics.h) writes them out.
#pragma once

#include "logentry/logentry.h"

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

// Clears every counter and the message tally.
void StatisticsClear();
