// Views and the history of unique ids. A view is a named subset of authors,
// up to 16; a remedy entry's ViewBits says in which views its author
// stands, and a symptom's ViewMask is the OR of its entries' bits. The
// history table "histoid" beside the symptom table keeps a trail of the
// unique ids that have left the repertory.
#pragma once

#include "store/store.h"

#include <cstdint>
#include <vector>

// The ids of all authors in key 0 order, loaded on the first call of
// OpViewBits with an author table open, and kept for the program's life.
extern std::vector<uint16_t> ViewAuthorIds;
extern bool ViewAuthorIdsLoaded;
// The author table from which ViewAuthorIds is loaded (the run sets it).
extern TblHandle ViewAuthorTable;

// The views in which the author stands: bit (ViewNumber - 1) for each view
// of the table that holds the author. Views are walked in ViewNumber order;
// the bit is kept to 15 bits, so a 16th view never sets one. An author
// whose byte lies beyond the view's bit array stands in no view.
uint16_t OpViewBits(TblHandle views, uint16_t authorId);

// Writes one row of the history: the retired id, the id that replaces it
// (0 for none), today's date and a comment that the user is asked for.
// `symptomPath` is the symptom table's base path; the history lies in the
// same folder. Old id 0 does nothing. Only an interactive caller reaches
// this; a run never does. Answers 0 or the store's error.
int OpHistoryEntry(const char *symptomPath, int32_t oldId, int32_t newId);
