// The levels of a path that a translated run re-creates: when the new
// edition lacks the path of an entry (without a unique id, in the first
// language), the missing levels are added where they were, each by an
// OpAddSymptomBelow entry handed to its handler and kept in the own log
// ahead of the entry that needed it. LogCheckSymptom (logcheck.h) calls it.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"
#include "store/store.h"

#include <cstdint>

// Re-creates the levels of the entry's path that the repertory lacks, from
// the second level down; each level added is stored in `ownLog` (when
// given) under *nextOwn, which moves on. Answers 0, or 1 when a level could
// not be added (its handler's report is in ctx.errors).
int LogRebuildLevels(LogEntry *entry, const OpContext &ctx, TblHandle ownLog,
                     int32_t *nextOwn);
