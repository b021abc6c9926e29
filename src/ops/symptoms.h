// The operations that change the tree itself: rename a symptom, add one
// behind or below another, delete a subtree, move or copy a range, split a
// symptom and merge one with its successor. Each is a handler of the table
// in ops/dispatch.cpp with the contract of ops/dispatch.h; the entry's
// fields are RenameFields, AddSymptomFields, MoveFields, SplitFields and
// MergeFields of logentry/logentry.h. The adds make room through the
// renumbering of ops/renumber.h; move, split and merge are made of the
// other operations, called with a private copy of the entry (its number,
// dates and tag) and a context with `silent` 2 and no comment.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"

int OpRenameSymptomRun(LogEntry *entry, const OpContext &ctx);

// Both leave the new symptom in SymptomRecord.
int OpAddSymptomAfterRun(LogEntry *entry, const OpContext &ctx);
int OpAddSymptomBelowRun(LogEntry *entry, const OpContext &ctx);

// A symptom of level 1 (a chapter) is refused with 5612. Links of the
// deleted symptoms stay, their Subs are not closed up, and Extract entries
// that hold the user bit on the list's side stay.
int OpDeleteSymptomRun(LogEntry *entry, const OpContext &ctx);

// Modes of a move: 1 below the target, 2 beside it, 3 a copy below it,
// any other a copy beside it.
int OpMoveSymptomsRun(LogEntry *entry, const OpContext &ctx);

// Modes of a split: 1 remedies and notes stay on the symptom, 2 remedies,
// notes and references go to the new child, any other remedies are copied
// and notes go to the child.
int OpSplitSymptomRun(LogEntry *entry, const OpContext &ctx);

// The merge mode meets the successor's remedies as an addition does
// (kMergeLower, kMergeRaise of ops/remedy.h); 3 leaves every degree as it
// stands and refuses no differing degree.
int OpMergeSymptomRun(LogEntry *entry, const OpContext &ctx);
