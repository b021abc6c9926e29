// A symptom has three names: its number (Num, Sub), its path of level texts
// from the chapter down, and its UniqueId. Logs carry the path and the id;
// tables carry the number. These calls turn one into the other.
//
// Paths come in two forms. The stored form joins the levels by a blank, the
// byte 0x02 and a blank; the display form (and older logs) by " - ". A dash
// between blanks is a separator unless the characters beyond the blanks are
// both digits, so that "3 - 5 h" stays one level text.
#pragma once

#include "store/store.h"

#include <cstddef>
#include <cstdint>

inline constexpr int kSptMaxLevels = 12;
inline constexpr int kSptLevelSize = 101; // a level text, as Text1 holds it
// Room for a whole path in either form: twelve levels and their separators.
inline constexpr size_t kSptPathSize = kSptMaxLevels * (kSptLevelSize + 3);
inline constexpr char kSptSeparator = 0x02;

// Answers nonzero when the character at `pos` separates two levels of the
// text that runs from `start` to `last` (its last character, inclusive).
int SptIsLevelSeparator(const char *pos, const char *start, const char *last);

// Splits a path of either form into its level texts, without the blanks
// beside each separator. Answers 0, or 1 when the path has more than twelve
// levels or a level longer than a symptom text.
int SptSplitPath(const char *path, char levels[kSptMaxLevels][kSptLevelSize],
                 int *count);

// Resolves the path from the chapter down, each level among the children of
// the one before, in language 1 or 2, texts compared exactly. Answers 0 and
// the number when found, nonzero when a level is missing.
int GetSptNumFromExactText(TblHandle symptoms, int language, const char *path,
                           uint32_t *num, uint16_t *sub);

// The tolerant lookup for paths made up from display text: blanks around the
// levels do not count, letter case does not count (an exact match wins), and
// a bare 0x02 separates levels as well as the two full forms.
int GetSptNumFromText(TblHandle symptoms, int language, const char *path,
                      uint32_t *num, uint16_t *sub);

// The stored form of the symptom's path (levels joined by " \x02 "), or the
// display form (joined by " - "), in language 1 or 2. Answers 0, or nonzero
// when the symptom or one of its parents cannot be read; the buffer then
// holds the empty text.
int GetLevelsFromSptNum(TblHandle symptoms, int language, char *buffer,
                        uint32_t num, uint16_t sub, size_t size = kSptPathSize);
int GetTextFromSptNum(TblHandle symptoms, int language, char *buffer,
                      uint32_t num, uint16_t sub, size_t size = kSptPathSize);
