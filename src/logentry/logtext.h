// The text form of a log entry: the readable block that the listings print,
// that a run writes for the entries it could not apply, and that the update
// from a text file reads back. The labels come from the message table in the
// program's language; where the reader finds values by ":" and "[", the
// layout here is what it relies on, byte for byte (see docs/logs.md).
#pragma once

#include "logentry/logentry.h"
#include "store/store.h"

#include <cstddef>
#include <cstdio>

// The symptom table in which LogWriteEntry looks up the number of an
// entry's symptom; 0 when none is open (the numbers then print as 0). The
// caller that opens the table sets it, and clears it on closing.
extern TblHandle LogTextSymptomTable;

// OrvixError as LogWriteEntry found it on its last call. The writer's own
// lookups overwrite OrvixError; a caller that needs the error from before
// the call reads it here.
extern int LogWriteSavedError;

// Writes one entry in its text form to `out`, ended by its footer and a
// line of dashes, and flushes. `out2`, given only by the complete listing,
// receives one bar-divided row for each OpAddRemedy entry. With `offsets`
// null the text area is split here and stays split; otherwise the caller
// has split it already. A null `out` writes nothing. Answers 0: the writer
// has no failure of its own.
int LogWriteEntry(FILE *out, FILE *out2, LogEntry *entry, int *offsets);

// The dashes that end an entry: 105 of them. A reader needs only the first
// ten.
inline constexpr int kLogTextDashes = 105;

// The text of message `number` in the program's language, copied into out.
// Every label of the log's texts and listings is read through here.
void LogMessageText(int number, char *out, size_t cap);

// The same for a message that serves as a printf format: when its
// conversions are not `signature` (as "%ld %s", blanks between them) the
// built-in English `fallback` is given instead, so that a damaged message
// table never makes the program read arguments it was not given.
void LogMessageFormat(int number, const char *signature, const char *fallback,
                      char *out, size_t cap);
