// The translation of a log entry written on an old edition of a repertory
// into the words of the new edition, just before the entry is checked and
// applied. What became of each old symptom stands in the association
// tables (`At`, one for each language) in ..\data\at\, prepared outside
// this program; "index.txt" there says which tables lead from which old
// edition to which new one, and "remed.txt" and "author.txt" rename remedy
// and author abbreviations.
//
// An entry that cannot be translated is never dropped without a word: it is
// refused with its reason in the errors report (5544, 5546, 5547) and its
// text form goes to the text log of the run. docs/decisions.md ("A new
// edition") tells the choices made where the old behaviour was unclear.
#pragma once

#include "store/records.h"
#include "store/store.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Why the tables of a run cannot be opened.
inline constexpr int kMsgNoAssociationIndex = 5537;
inline constexpr int kMsgNoAssociationLine = 5538;
inline constexpr int kMsgAssociationTable = 5539;

// ---------------------------------------------------------------- lists

inline constexpr size_t kRenameTextSize = 25;

// One line of a rename list: an old abbreviation and its new one. A list
// in memory ends with a row of two empty texts.
struct RenamePair {
  char Old[kRenameTextSize];
  char New[kRenameTextSize];
};

// The two rename lists of a run, null where the file is absent.
struct AssociationLists {
  RenamePair *Remedies = nullptr;
  RenamePair *Authors = nullptr;
};

// Reads one line of a rename list ("old|new", its line end already gone):
// answers true and fills `pair` when the line has a "|"; texts longer than
// the fields are cut. Lines without "|" are left out of a list.
bool AtParseRenameLine(const char *line, RenamePair *pair);

// Loads a rename list from a file: null when the file cannot be read,
// else an array ended by an empty row, to be given to AtFreeRenameList.
RenamePair *AtLoadRenameList(const char *path);
void AtFreeRenameList(RenamePair *list);
// The same from an open file, read to its end.
RenamePair *AtReadRenameList(FILE *f);

// Loads both lists from ..\data\at\ (remed.txt, author.txt) and frees them.
void AtLoadAssociationLists(AssociationLists *lists);
void AtFreeAssociationLists(AssociationLists *lists);

// ---------------------------------------------------------------- index

inline constexpr size_t kAtIndexLineSize = 100;

// What a line of "index.txt" says, its fields divided by "|": the line's
// key (its first field, the new repertory's abbreviation), the key of the
// line of an older step (its second field), and the names of the tables of
// the first and the second language (its last two fields; the second may
// be empty).
struct AtIndexLine {
  char Key[kAtIndexLineSize];
  char Older[kAtIndexLineSize];
  char First[kAtIndexLineSize];
  char Second[kAtIndexLineSize];
};

// Takes a line apart. Answers false for a line with fewer than three
// fields, which names no table.
bool AtParseIndexLine(const char *line, AtIndexLine *out);

// Whether the line, in capitals, begins with `newAbbrev` and holds
// `oldAbbrev` somewhere (both given in capitals).
bool AtIndexLineMatches(const char *line, const char *newAbbrev,
                        const char *oldAbbrev);

// The association tables of a run: the first and second language's, and
// those of an older step; 0 where there is none.
struct AtTables {
  TblHandle First = 0, Second = 0;
  TblHandle OlderFirst = 0, OlderSecond = 0;
};

// Opens the tables that lead from `oldAbbrev` to `newAbbrev` through the
// index in `folder` (..\data\at\ in a run; a folder with a backslash at its
// end). Answers 0, or the message that tells why not: 5537 no index, 5538
// no line for the two repertories, 5539 a table that does not open (its
// path in `failedPath`, the error in OrvixError).
int AtOpenTables(const char *folder, const char *newAbbrev,
                 const char *oldAbbrev, AtTables *tables, char *failedPath,
                 size_t failedCap);
void AtCloseTables(AtTables *tables);

// ---------------------------------------------------------------- paths

// The number of levels of a path. With a 0x02 in the path only 0x02
// separates levels; otherwise a " - " that LogIsLevelSeparator takes for
// one. An empty path has none.
int AtCountLevels(const char *path);

// Walks the table along the path from its chapter down. Answers 0 and the
// new path of the last level found (the symptom's full path in the new
// edition, "<deleted>", or empty); otherwise the level, from 1, at which
// the walk stopped. An empty path answers 1. `language` and `flag` do not
// change the walk.
int AtTranslatePath(TblHandle table, int language, const char *path,
                    char *result, size_t cap, int flag);

// The same walk, comparing each level over the wanted text's length only;
// answers 0 and the numbers of the last record found (its parent's, its
// text, its own) or the level at which it stopped.
int AtFindPath(TblHandle table, const char *path, uint32_t *parentNum,
               uint16_t *parentSub, char *text, size_t textCap, uint32_t *num,
               uint16_t *sub);

// Where the path is cut when only its first `levels` levels are wanted:
// the offset of the blank in front of separator number `levels` (the
// separators counted as LogIsLevelSeparator tells them), or -1 when the
// path has no more than `levels` levels.
int AtLevelCut(const char *path, int levels);

// Turns each " - " that separates levels (LogIsLevelSeparator) into
// " \x02 ", in place.
void AtStorePath(char *path);

// ---------------------------------------------------------------- entries

// Rewrites the entry for the new edition, in its own text buffer (of
// kLogTextSize bytes): the symptom path through `assoc`, a pointer symptom
// followed to its target (when `symptoms`, the new edition's table, is
// given), remedy and author abbreviations through the tables opened for the
// run (OpRemedTable, OpAuthorTable) and the rename lists, references of
// cross-references and synonyms, the second path of a concept entry, and
// an OpAddSymptomAfter whose symptom changed its level. May change the
// entry's operation. Answers 0 when the entry may go on, 1 when it is
// refused; with `reportOn` the reason goes to `errors`. The text is one
// string again on return.
int LogTranslateEntry(TblHandle symptoms, TblHandle assoc, LogEntry *entry,
                      FILE *errors, int reportOn,
                      const AssociationLists &lists);
