// The table of operation handlers. Each operation code has one row: its
// handler, and what a run does around the handler for that operation. The
// table serves the dispatch of an entry (LogDispatch), the question whether
// this version applies an operation (OpHasHandler) and the run's counters
// (OpCountOutcome). An operation whose handler is not part of this version
// has a row without one: its entries are refused with a report (message
// 5390, severity 1) and count as errors; nothing is changed and nothing is
// pretended.
//
// A new operation is one handler in the ops/ source of its family and its
// handler put into its row in dispatch.cpp.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"

// A handler: the entry and the run's context; answers 0 done, 1 error,
// 2 warning. It splits the entry's text in place, reports a failure through
// LogReportEntry into ctx.errors and leaves the text split then; on success
// it joins the text again.
typedef int (*OpHandler)(LogEntry *entry, const OpContext &ctx);

// What a run does around a handler, by operation.
// On the concept side of a pair the two symptom tables change places.
inline constexpr unsigned kOpConceptSided = 1u;
// A result of 1 counts as done, without a report in the tally; the entry
// still goes to the text log.
inline constexpr unsigned kOpFailureCountsDone = 2u;
// A success means that a note changed (the clean-up of doubled notes after
// the run looks at it).
inline constexpr unsigned kOpChangesNote = 4u;

struct OpHandlerRow {
  int operation;     // the code of the row
  OpHandler handler; // null: not in this version
  unsigned flags;    // kOp... above
};

// The row of an operation code; null for a code outside 1 to kOpCount.
const OpHandlerRow *OpHandlerOf(int operation);

// Whether this version has a handler for the operation.
bool OpHasHandler(int operation);

// Calls the handler of the entry's operation with the context. A code
// outside 1 to kOpCount is refused with 5347, a code without a handler with
// 5390, both severity 1, result 1; the text is whole again then.
int LogDispatch(LogEntry *entry, const OpContext &ctx);

// How a dispatched entry counted.
inline constexpr int kOutcomeDone = 0;
inline constexpr int kOutcomeError = 1;
inline constexpr int kOutcomeWarning = 2;

// Counts the handler's result for the operation in the run's counters:
// done (OpDone), or the last report in the tally (LogTallyReport) and an
// error (OpErrors, result 1) or a warning (OpWarnings, any other result).
// The row's kOpFailureCountsDone turns a result of 1 into done. The total
// row counts every outcome, an unknown code only there. Answers the
// kOutcome... it counted.
int OpCountOutcome(int operation, int result);
