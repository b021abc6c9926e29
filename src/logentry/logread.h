// The reader of the text form of log entries: the blocks that LogWriteEntry
// prints, as a listing or a run's text log holds them, edited by hand or
// sent by somebody else, are parsed back into LogEntry records. Labels are
// recognised in every language that the message table holds, each entry on
// its own by its first line. Whatever the text holds, the reader never
// crashes and never cuts a value silently: an entry it cannot read is told
// in the errors file and copied, letter for letter, to the rejects file.
#pragma once

#include "logentry/logentry.h"
#include "logentry/reportcodes.h"
#include "store/store.h"

#include <cstdio>

// Loads the labels of the text form (operation names, block labels, kinds,
// the footer) of every language 1 to kLogTextLanguages that the message
// table holds. The reader loads them on first use and whenever MsgTable
// changes; a caller that changes texts of the table in place loads again.
void LogTextLabelsLoad();

// The languages whose labels were found: how many, and which.
int LogTextLanguageCount();
int LogTextLanguageAt(int index);

inline constexpr int kLogTextLanguages = 12;

// Reads the next entry of `source` into `entry` (whose text buffer holds
// kLogTextSize bytes). Answers 1 when an entry was read, OrvixError 0; 1
// with OrvixError kErrEnd when the file has ended; 0 when the entry was
// refused: one report block in `errors`, the entry copied to `rejects`
// (either file may be null), OrvixError 0, and the file stands behind the
// entry. The time of an entry read is the present time.
int LogReadTextEntry(FILE *source, FILE *errors, FILE *rejects,
                     LogEntry *entry);

// Where the last entry that LogReadTextEntry looked at begins and ends in
// the source (the end lies behind its closing dash line, or at the end of
// the file).
extern long LogTextEntryStart;
extern long LogTextEntryEnd;

// Copies the lines from the file's position up to and including the first
// one that begins with ten dashes, or to the end of the file, and flushes
// the target (null: the lines are only passed over). Answers 0, or 1 when
// nothing was left to copy.
int LogCopyTextEntry(FILE *source, FILE *target);

// Copies the bytes from `from` to `to` of the source to the target and
// flushes it; the source then stands at `to`. Answers 0, or 1 when the
// source could not be read there.
int LogCopyTextRange(FILE *source, long from, long to, FILE *target);

// The number of lines that begin with ten dashes; the file is rewound.
long LogCountTextEntries(FILE *source);

// Report codes of the reader, beside kMsgUnknownOperation (an unknown
// heading, or the row of totals).
inline constexpr int kMsgNoSymptomPath = 5355;
inline constexpr int kMsgEntryTooLong = 5356;
inline constexpr int kMsgNoFooter = 5357;
inline constexpr int kMsgControlByte = 5358;
