// The "Log file preferences" dialog (resource 111): the options of the next
// log run, and the start of that run on OK. The dialog's number (its
// application value, given to xvt_dlg_create_res) says what OK starts:
// 1 the batch run of the current repertory, 2 the run on the repertory's
// own log, 3 the run on a chosen log, 4 the run on a text file.
#pragma once

#include "platform/xvt.h"

#include <cstdint>

inline constexpr int kLogPrefsRes = 111;

// What OK starts.
inline constexpr long kLogPrefsBatch = 1;
inline constexpr long kLogPrefsOwnLog = 2;
inline constexpr long kLogPrefsOtherLog = 3;
inline constexpr long kLogPrefsTextFile = 4;

// The controls.
enum : int {
  kLogPrefsOk = 1,
  kLogPrefsCancel = 2,
  kLogPrefsHelp = 3,
  kLogPrefsBackupLog = 4,
  kLogPrefsBackupRep = 5,
  kLogPrefsBackupDirButton = 6,
  kLogPrefsBackupDir = 7,
  kLogPrefsGroupBackup = 8,
  kLogPrefsSameLanguage = 9,
  kLogPrefsAddMissing = 10,
  kLogPrefsAppendNotes = 11, // ticked when notes are not replaced
  kLogPrefsKeepOwnLog = 12,
  kLogPrefsGroupAdditions = 13,
  kLogPrefsStatisticsButton = 14,
  kLogPrefsErrorsButton = 15,
  kLogPrefsTextLogButton = 16,
  kLogPrefsStatistics = 17,
  kLogPrefsErrors = 18,
  kLogPrefsTextLog = 19,
  kLogPrefsGroupFiles = 20,
  kLogPrefsDoubleNotes = 21,
  kLogPrefsIgnoreUniqueId = 23, // created hidden
  kLogPrefsLeadIn = 24,
};

// Registers the dialog's template with the toolkit (again is harmless).
void LogPrefsRegister();

// The dialog's handler.
long LogPreferencesEvent(WINDOW win, EVENT *ev);

// Opens the dialog modally with `number`; returns when it has gone and what
// OK started has ended.
void LogPrefsOpen(long number);

// A range answer: from is the number at its start, to is kRunToLast, or the
// number behind a "-" when there is one ("120-" gives 0).
void LogParseRange(const char *text, int32_t *from, int32_t *to);

// Asks for the range of a run into RunOptions.From and To. Answers false
// when the person cancelled; the options are then as they were.
bool LogAskRange();

// Asks for the comment for additions into RunOptions.Comment; a Cancel
// leaves it empty.
void LogAskComment();

// What OK starts for numbers 2, 3 and 4.
void LogStartFromOwnLog();
void LogStartFromOtherLog();
void LogStartFromText();
