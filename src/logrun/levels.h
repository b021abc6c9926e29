// Finding the symptom of an entry that has no unique id, before its handler
// runs, in a run that translates a log to a new edition: the path is looked
// up, an entry that would create a text that exists already is refused,
// and a path the new edition lacks is re-created level by level where it
// was (LogRebuildLevels), each created level kept in the own log before the
// entry that needed it.
//
// The adding of missing paths under a catch-all heading (the option "add
// the symptoms not found") is not part of this version.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"
#include "store/store.h"

#include <cstdint>
#include <cstdio>

// Answers true when the entry may go to its handler, false when it is
// refused (the reason in ctx.errors, severity 1 or 2). `ownLog` is the
// repertory's own log or 0; `nextOwn` its next number, moved on by each
// level created.
bool LogCheckSymptom(LogEntry *entry, const OpContext &ctx, TblHandle ownLog,
                     int32_t *nextOwn);

// Re-creates the levels of the entry's path that the repertory lacks, from
// the second level down, each by an OpAddSymptomBelow entry handed to its
// handler; each level added is stored in `ownLog` (when given) under
// *nextOwn. Answers 0, or 1 when a level could not be added.
int LogRebuildLevels(LogEntry *entry, const OpContext &ctx, TblHandle ownLog,
                     int32_t *nextOwn);
