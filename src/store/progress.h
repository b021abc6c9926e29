// How far a long store operation has come, and a way to stop it.
//
// A rebuild's compaction, a load and a check walk every record of a table;
// on a large repertory that takes seconds. They call DbProgressTell every so
// often. A tool that shows progress or lets a person interrupt sets
// DbProgressHook; the operation stops at its next call when the hook answers
// non-zero, and answers kErrStopped having written nothing in place: a
// rebuild or a load works on files beside the table and renames them only
// at the end, so the table stays as it was.
#pragma once

// The operation was stopped by the progress hook; nothing was changed.
inline constexpr int kErrStopped = 130;

// what: a short word for the step ("rebuild", "load", "check"); done and
// total: records so far and in all (total -1 when unknown). Answer 0 to go
// on, anything else to stop.
extern int (*DbProgressHook)(const char *what, long done, long total);

// Tells the hook, when one is set. Answers 1 when the work is to stop.
int DbProgressTell(const char *what, long done, long total);
