// Renumbering: the primitive that the symptom operations share. The tree's
// shape is held by numbers (Num, Sub) and every satellite table repeats
// them, so a symptom that gets a new number carries along, in this order:
// its children's parent pointers (Symptom), its entries under each of its
// remedies (Extract), its notes (Note), its links (Link), its words in both
// languages (word1, word2), its concept links in both directions (ExSp),
// and last its own record (Symptom).
//
// Room for a new symptom behind (Num, Sub) is made by moving the run of
// symptoms right behind it, up to the first free Sub of the block, from
// the last down. A run that must move is spread over the free Subs behind
// it, a few Subs apart (kRenumberSpread), so that the next inserts in that
// stretch move nothing: in a dense block the first insert pays for the
// move of what stands behind it, the later ones near it do not. The walk
// saves each moved symptom once (its new Sub and, when its parent moved
// too, its new parent together), and the records of the chained lists
// (Extract and the two Word tables) once each when the walk has passed
// them, not once for every symptom they hold. The entry journal around
// the run's entry keeps the whole move all or nothing.
#pragma once

#include "ops/context.h"
#include "store/records.h"

#include <cstdint>

// The largest Sub a symptom may get: kWordSubtreeEnd (32000) marks the end
// of a subtree in the word index, so a block holds Subs 0 to 31999, at most
// 32000 symptoms. An insert behind a symptom is refused (nothing written)
// when every Sub from it up to 31999 is taken, and when the symptom itself
// stands at 31999.
inline constexpr uint16_t kRenumberMaxSub = 31999;
// How many Subs apart a run that must move is spread, at most.
inline constexpr uint32_t kRenumberSpread = 4;

// Makes room behind (num, sub): the run of symptoms from sub + 1 up to the
// first free Sub moves behind, spread over the gap. With `withSub2` (the
// twin that a rename may leave behind) Sub2 moves by as much as Sub. Answers
// 0, or the report code of the step that failed (what was written before
// it stays for the entry's journal to undo): kMsgSymptomNotAdded when the
// block is full behind the symptom (nothing written),
// kMsgSubSymptomsNotFollowed, kMsgExtractOrConceptNotFollowed,
// kMsgNotesLinksWordsNotFollowed or kMsgSymptomNotSaved.
int OpRenumberMakeRoom(const OpContext &ctx, uint32_t num, uint16_t sub,
                       bool withSub2);

// The second numbering: every symptom with Num2 `num2` and a Sub2 above
// `sub2` gets Sub2 + 1. Nothing else follows this. 0 or
// kMsgSymptomNotSaved.
int OpRenumberMakeRoom2(const OpContext &ctx, uint32_t num2, uint16_t sub2);

// Removes the symptom (num, sub) from the lists of the words of `text` in
// one word table, comparing each entry: only the symptom's own entry goes.
// 0, or 1 when a save failed.
int OpRemoveWordsExactly(TblHandle words, const char *text, uint32_t num,
                         uint16_t sub);

// Whether a synonym or reference text is indexed in words (it is a list
// of references when it begins with a level digit).
bool OpTextInWords(const char *text);

// The directions of the concept table for this repertory (resource
// 0x10001/2 of its symptom table, 1 when missing): a repertory of kind 3
// keeps its own links under direction 1 and finds the partner's under 2,
// any other the other way round.
void OpConceptDirections(TblHandle symptoms, uint8_t *own, uint8_t *other);
