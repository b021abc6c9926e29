// The three operations on a symptom's remedies: change a degree, delete a
// remedy, add a remedy. Each is a handler of the table in ops/dispatch.cpp:
// it takes the log entry and the run's context, splits the entry's text in
// place, reports a failure through LogReportEntry into ctx.errors and
// leaves the text split then, and on success joins the text again. Results:
// 0 done, 1 error, 2 warning. The entry's fields are RemedyFields of
// logentry/logentry.h.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"
#include "store/store.h"

#include <cstdint>

// Uses ctx.symptoms and ctx.extract.
int OpChangeDegreeRun(LogEntry *entry, const OpContext &ctx);

// Uses ctx.symptoms, ctx.extract and ctx.notes: the notes of the remedy and
// author on the symptom go with the entry.
int OpDeleteRemedyRun(LogEntry *entry, const OpContext &ctx);

// The run's addition: OpAddRemedyEntry with mark 1 and merge 4, and after
// a success one more in the repertory's counter of additions.
int OpAddRemedyRun(LogEntry *entry, const OpContext &ctx);

// How an addition meets an entry of the same remedy by another author.
inline constexpr int kMergeLower = 1; // the entry is lowered to the degree
inline constexpr int kMergeRaise = 2; // the entry is raised to the degree
inline constexpr int kMergeCheck = 4; // differing degrees are refused (5364),
                                      // unless the tag is kTagTakeDegree
// A log entry with this tag ('c') takes the degree that stands already.
inline constexpr uint8_t kTagTakeDegree = 99;

// The inner addition, for the run and for the handlers that copy remedies.
// mark 1 sets the user bit on the new entry, 2 leaves it. A non-empty
// ctx.comment goes into the note of kind 3 of the new entry (ctx.notes);
// with ctx.views the entry gets its view bits.
int OpAddRemedyEntry(LogEntry *entry, const OpContext &ctx, int mark,
                     int merge);

// The comparison of the places of remedies in a symptom: by abbreviation
// with every "-" read as "/", then by author abbreviation. Negative when
// (ra, aa) goes before (rb, ab).
int OpCompareRemedyPlace(const char *ra, const char *aa, const char *rb,
                         const char *ab);

// The number of distinct remedies of an array grouped by remedy: the count
// of changes of RemedyId along it.
int OpCountRemedies(const SymptomRemedy *remedies);
