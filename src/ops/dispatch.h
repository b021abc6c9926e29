// The call of an operation's handler. Every entry of a run goes through
// LogDispatch to the handler of its code, with the tables that handler
// needs. An operation whose handler is not part of this version is refused
// with a report (message 5390, severity 1) and counts as an error: nothing
// is changed and nothing is pretended.
#pragma once

#include "logentry/logentry.h"
#include "store/store.h"

#include <cstdio>

// The report code of an operation that this version cannot apply.
inline constexpr int kMsgOperationNotAvailable = 5390;

// Answers the handler's result: 0 success, 1 error, 2 warning. `noteFlag`
// is 1, or the run's replace-notes option for OpChangeNote; the comment
// reaches the additions as "<<comment>>" when noteFlag is non-zero and the
// comment is not empty. `assoc` is the run's first association table, 0
// outside a transfer.
int LogDispatch(LogEntry *entry, FILE *errors, TblHandle symptoms,
                TblHandle extract, TblHandle word1, TblHandle word2,
                TblHandle notes, TblHandle links, TblHandle concepts,
                TblHandle symptoms2, TblHandle assoc, int noteFlag,
                const char *comment, TblHandle views);

// Whether this version has a handler for the operation.
bool LogHasHandler(int operation);
