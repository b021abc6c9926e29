// Renumbering: the primitive that the symptom operations share. The tree's
// shape is held by numbers (Num, Sub) and every satellite table repeats
// them, so a symptom that gets a new number carries along, in this order:
// its children's parent pointers (Symptom), its entries under each of its
// remedies (Extract), its notes (Note), its links (Link), its words in both
// languages (word1, word2), its concept links in both directions (ExSp),
// and last its own record (Symptom).
//
// Room for a new symptom behind (Num, Sub) is made by moving every symptom
// of the block behind it up by one Sub, from the last down. The walk saves
// each moved symptom once (its new Sub and, when its parent moved too, its
// new parent together), and the records of the chained lists (Extract and
// the two Word tables) once each when the walk has passed them, not once
// for every symptom they hold: a block of a thousand symptoms with twenty
// remedies each touches a few thousand list records, not twenty thousand
// times one. The end state is the one the symptom-by-symptom walk gives;
// the entry journal around the run's entry keeps the whole move all or
// nothing.
#pragma once

#include "ops/context.h"
#include "store/records.h"

#include <cstdint>

// The largest Sub a symptom may get: kWordSubtreeEnd (32000) marks the end
// of a subtree in the word index, so a block holds Subs 0 to 31999. An
// insert that would move a symptom beyond is refused before anything is
// written.
inline constexpr uint16_t kRenumberMaxSub = 31999;

// Makes room behind (num, sub): every symptom of block num with a Sub
// above `sub` moves up by one, a gap being stepped over. With `withSub2`
// (the twin that a rename may leave behind) Sub2 moves by one together with
// Sub. Answers 0, or the report code of the step that failed (what was
// written before it stays for the entry's journal to undo):
// kMsgSymptomNotAdded when the block is full (nothing written),
// kMsgSubSymptomsNotFollowed, kMsgExtractOrConceptNotFollowed,
// kMsgNotesLinksWordsNotFollowed or kMsgSymptomNotSaved.
int OpRenumberMakeRoom(const OpContext &ctx, uint32_t num, uint16_t sub,
                       bool withSub2);

// The second numbering: every symptom with Num2 `num2` and a Sub2 above
// `sub2` gets Sub2 + 1. Nothing else follows this. 0 or
// kMsgSymptomNotSaved.
int OpRenumberMakeRoom2(const OpContext &ctx, uint32_t num2, uint16_t sub2);

// The last Sub of block num into *last; false when the block is empty.
bool OpLastSubOfBlock(TblHandle symptoms, uint32_t num, uint16_t *last);

// Removes the symptom (num, sub) from the lists of the words of `text` in
// one word table, comparing each entry: only the symptom's own entry goes.
// 0, or 1 when a save failed.
int OpRemoveWordsExactly(TblHandle words, const char *text, uint32_t num,
                         uint16_t sub);

// Whether a synonym or reference text is indexed in words (it is a list
// of references when it begins with a level digit).
bool OpTextInWords(const char *text);
