// Tables as JSON Lines: one record a line, fields named as in records.h,
// texts in UTF-8, arrays as arrays. This is what tbltool offers the people
// who look after installations (dump, load, check, rebuild, stat), and what
// tests use to build and compare whole tables. docs/tbltool.md tells the
// line format of each family.
//
// Every procedure answers 0 or a store error code (store.h); a refused load
// answers kErrBadArg and names the line. Messages and reports go to the FILE
// the caller gives; nothing here throws.
#pragma once

#include "store/store.h"

#include <cstddef>
#include <cstdio>

// One table family as tbltool knows it: "symptom", "remed", "note", ...
struct TjFamily;

// The family of a KIND word (any letter case), or null.
const TjFamily *TjFindFamily(const char *kind);
// The KIND words in order, for a usage text; null past the last.
const char *TjFamilyKind(int index);

// Writes every record of the table in its primary key's order, then its
// resources, one JSON object a line. A table whose index cannot be used is
// read in file order, with a note on `notes` (may be null).
int TjDump(const TjFamily *fam, const char *path, FILE *out, FILE *notes);

// Creates the table at `path` from JSON Lines. Every line is checked before
// anything is created; the records go into a scratch table beside the target
// that takes the table's name only when all are in. A table that exists
// already is left alone (kErrExists). On any refusal `msg` holds the reason,
// with the line number where a line is at fault.
int TjLoad(const TjFamily *fam, const char *path, FILE *in, char *msg,
           size_t cap);

// Verifies a table through the store's operations: the normal open, a walk of
// every key in both directions' order, every record found again by its
// primary key, the sequential open. Every fault is a line on `report`;
// `faults` receives their number. Answers 0 when the check could run (faults
// or not).
int TjCheck(const TjFamily *fam, const char *path, FILE *report, long *faults);

// Rebuilds the index of a closed table from its data file.
int TjRebuild(const TjFamily *fam, const char *path);

// Prints the number of records, the sizes of the data and index files and,
// per key, the number of distinct values.
int TjStat(const TjFamily *fam, const char *path, FILE *out);
