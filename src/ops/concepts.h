// The links between a repertory and its partner concept repertory: each
// link stands twice in the partner's concept table (ExSp, "extrspt"), once
// under the concept symptom (Direction 1, listing the repertory's
// symptoms) and once under the repertory's symptom (Direction 2, listing
// the concept symptoms). Handlers of the table in ops/dispatch.cpp; field
// 1 is the concept symptom's path, ConceptFields::kSymptomPath the
// repertory's. The run hands them the repertory's symptom table as
// ctx.symptoms and the concept repertory's as ctx.partnerSymptoms on
// either side of the pair (the row's kOpConceptSided); without a partner
// they change nothing and count as done.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"

#include <cstdint>

// Directions of an ExSp record.
inline constexpr uint8_t kConceptToSymptoms = 1; // key: a concept symptom
inline constexpr uint8_t kSymptomToConcepts = 2; // key: a repertory symptom

// Adds the link in both directions; a link that stands already is left as
// it is. Each path is looked for in the entry's language, then in the
// other.
int OpAddConceptRun(LogEntry *entry, const OpContext &ctx);

// Deletes the link in both directions; each path in the entry's language
// only. A link that is missing in either direction is refused (5074).
int OpDeleteConceptRun(LogEntry *entry, const OpContext &ctx);
