// The two operations on a symptom's reference texts: its cross-references
// (OpChangeCrossReference) and its synonyms (OpChangeSynonym), each in
// either language. A text in words is stored as "(= words)" and its words
// enter the word index of its language; a list of references is merged
// into the list that stands, rewritten in the repertory's reference style
// (ops/reftext.h), without doubles and sorted. Handlers of the table in
// ops/dispatch.cpp; their fields are TextFields of logentry/logentry.h.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"

// Use ctx.symptoms, ctx.word1, ctx.word2 and ctx.referenceStyle.
int OpChangeCrossReferenceRun(LogEntry *entry, const OpContext &ctx);
int OpChangeSynonymRun(LogEntry *entry, const OpContext &ctx);
