// The state of one session of the program, shared by the shell that fills it
// and the jobs that read it: the command line, what the verbs hand to their
// drivers, the repertory the user chose, and the one ordered exit. It holds
// data only; nothing here opens a window or a table.
#pragma once

#include "store/records.h"

#include <cstdint>

inline constexpr int kArgPathSize = 256;

// The command line as the process got it (a sole argument upper-cased).
extern int ArgCount;
extern char **ArgValues;

// What the verbs hand to their drivers.
extern char LogPath[kArgPathSize];
extern char RunRemedyLog[kArgPathSize];
extern char RunAuthorLog[kArgPathSize];
extern char RunAbbrevFile[kArgPathSize];
extern int32_t RunLanguage;
extern int32_t RunExtract;
extern char NotesFolder[kArgPathSize];
extern char NotesFile[kArgPathSize];
extern char UpgradeLog[kArgPathSize];
extern char UpgradeOldAbbrev[kArgPathSize];
extern char UpgradeNewAbbrev[kArgPathSize];
extern char UpgradeAssocTable[kArgPathSize];

// The repertory that the user chose: one Catalog record, the only state that
// lives from one command to the next. No table stays open with it.
extern Catalog CurrentCatalog;

// Clears what the verbs hand over, as the start sequence does.
void SessionClearArguments();

// The ordered exit. The shell registers how the program ends (close the
// message table, terminate the store, end the event loop); a job that must
// end the program, such as a batch run, calls SessionEnd and returns.
void SessionSetEnd(void (*end)());
void SessionEnd();

// The exit status the process reports: 0 unless a job could not be done.
// A job sets it at the place of failure; the first failure is kept.
void SessionFail(int status);
int SessionExitStatus();
