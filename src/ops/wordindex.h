// The word index of a repertory: two Word tables, word1 for the first
// language and word2 for the second. Each word holds a chained list, sorted
// by (Num, Sub), of the symptoms whose own text or synonym in words has it;
// each entry also carries the end of the symptom's subtree (EndNum, EndSub).
//
// The three routines take the two texts of a symptom and the two tables:
// text 1 goes to word1, text 2 to word2. A null or empty text, or a table
// handle of 0, leaves that language alone. They answer 0, or 1 when a save
// failed (OrvixError tells why); callers report 2771 for add and remove
// (2809 when deleting a symptom) and 2770 for renumber.
//
// Tokens: a character of " .,;:(){}[]'\"" or the end of the text ends a
// word, every other character is folded with ToLowerWin. The table keeps a
// word in its first kWordKeyMax characters.
#pragma once

#include "store/store.h"

#include <cstdint>

// Longest word kept in a Word record's Text.
inline constexpr int kWordKeyMax = 31;
// The removal cuts a word at this many characters; the character that
// would make it longer is lost and the rest of the word is a word of its
// own.
inline constexpr int kWordRemoveMax = 48;
// The end of a range that covers a symptom's whole subtree.
inline constexpr uint16_t kWordSubtreeEnd = 32000;

// The shared Word record of the handlers: after a call it holds the last
// record the routine read or wrote.
extern Word WordRecord;

// Adds the symptom (num, sub) under every word of the texts. The end of its
// range is worked out first from the Symptom table, which is left with the
// symptom as its current record.
int WordIndexAdd(TblHandle symptoms, TblHandle word1, TblHandle word2,
                 const char *text1, const char *text2, uint32_t num,
                 uint16_t sub);

// Removes, for every word of the texts, the entry at the place where
// (num, sub) stands or would stand. The entry found there is not compared:
// the index is trusted to hold the symptom. A word that is not in the table
// ends the whole removal quietly, the other language included. An emptied
// first record of a word is deleted.
int WordIndexRemove(TblHandle word1, TblHandle word2, const char *text1,
                    const char *text2, uint32_t num, uint16_t sub);

// Writes (newNum, newSub) over (num, sub) in the lists of every word of the
// texts, and over an end of range that lies in the symptom's own block at
// or before it. Ranges of ancestors end in kWordSubtreeEnd and stay valid.
int WordIndexRenumber(TblHandle word1, TblHandle word2, const char *text1,
                      const char *text2, uint32_t num, uint16_t sub,
                      uint32_t newNum, uint16_t newSub);

// The words of a text as the index takes them, for callers that check an
// index: calls `each` for every token, folded, in order. `limit` is 0 for
// no limit or kWordRemoveMax for the removal's cut.
void WordIndexTokens(const char *text, int limit,
                     void (*each)(const char *token, void *ctx), void *ctx);
