// The check of an entry before its handler: can its symptom be found,
// would the change clash with what stands, and what to do about a path
// that does not exist. A run calls it for the entries that carry no unique
// id; an entry with an id goes straight to its handler, which looks the id
// up itself.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"

// Answers true to run the handler, false to refuse the entry (reported
// into ctx.errors: 2762 the text to be created exists already, 5402 two
// symptoms differ only in letter case, 2628 the path is not found, 3218 no
// memory; in a transfer 2736 or 2737 for an entry that would add to
// re-created levels a remedy or author the tables do not know, told before
// any level is written). With `addMissing` a path that is not found is added
// under the catch-all heading of its chapter (message 5455), the missing levels
// each in its alphabetical place among its siblings, and the entry's path is
// changed to name what now exists. The text area is whole again on return.
bool LogCheckSymptom(LogEntry *entry, const OpContext &ctx, bool addMissing);

// Adds the levels of the entry's path that are missing, below the heading
// of its chapter, and rewrites the entry's path to stand below the
// heading. 0 when the entry may go on (also when the path is one chapter:
// nothing can be added then), 1 after a failure.
int LogAddMissingPath(LogEntry *entry, const OpContext &ctx);
