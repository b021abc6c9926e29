// User-defined remedies and authors. The remedy and author tables keep a
// range of ids for the user's own entries (kUserRemedyFirst ..., 99 each);
// the user names them in two fixed-width list files beside the tables,
// "rem_udef.lst" and "aut_udef.lst", and UpdateRemedies / UpdateAuthors
// write those names into the reserved records. Apart from these, a run can
// bring whole records in bar-divided load files (LoadRemedies,
// LoadAuthors), where an abbreviation that exists already is resolved:
// a record of the published range gives its id to the loaded one, a
// user-defined one keeps its record under its abbreviation with "_" behind.
//
// Both files are outside text: every line is taken apart by the parsers
// below, which never read past the line, whatever it holds. What could not
// be done (a line whose key names no record, a new abbreviation that
// another record has, a collision) is told in one note at the end.
#pragma once

#include "store/records.h"

#include <cstddef>
#include <cstdio>
#include <string>

inline constexpr int kUserRemedyFirst = 3161;
inline constexpr int kUserRemedyLast = 3259;
inline constexpr int kUserAuthorFirst = 886;
inline constexpr int kUserAuthorLast = 984;

// The columns of a list file line: the key (the abbreviation the record has
// now), the new abbreviation and the new name.
inline constexpr size_t kUdefKeyColumns = 20;
inline constexpr size_t kUdefNameColumns = 60;
// Widths taken from the columns when reading: remedies keep 15 characters
// of the new abbreviation and 50 of the name, authors 20 and 70, as their
// records hold them.
inline constexpr size_t kUdefRemedyAbbrev = 15, kUdefRemedyName = 50;
inline constexpr size_t kUdefAuthorAbbrev = 20, kUdefAuthorName = 70;

// Lines of a list file are read up to this many characters less one; a
// load file's likewise up to kUdefLoadLineSize.
inline constexpr int kUdefLineSize = 255;
inline constexpr int kUdefLoadLineSize = 1024;

struct UdefLine {
  std::string Key, Abbrev, Name;
};

// Takes a list line apart by its columns, blanks at the end of each column
// removed; the abbreviation and the name are cut to the given widths. A
// line shorter than a column gives the empty text for it. Answers false
// for a line whose key is empty.
bool UdefParseLine(const char *line, size_t abbrevWidth, size_t nameWidth,
                   UdefLine *out);

// The line for a record: "%-20.20s%-20.20s%-60.60s\n".
std::string UdefFormatLine(const char *abbrev, const char *name);

// A load file line of the remedy table: id, abbreviation, name, two flag
// digits, two numbers and seven further texts. Answers false for a line of
// two characters or fewer, or one without id and abbreviation.
bool LoadParseRemedyLine(const char *line, Remed *rec);
// A load file line of the author table: id, abbreviation, name, three
// texts, a number and a digit.
bool LoadParseAuthorLine(const char *line, Author *rec);

// The list-file updates; `showDone` 1 posts message 5100 at the end
// (from the menu, and /AUTREM outside association mode).
void UpdateRemedies(int showDone);
void UpdateAuthors(int showDone);

// The load files named by RunRemedyLog and RunAuthorLog.
void LoadRemedies();
void LoadAuthors();

// The verb /AUTREM logremed logauthor: each non-empty argument switches on
// the update of its list file; the program then ends.
void DriverAutRem();

// The path of a list file: the table's folder (its configured path cut
// after the last backslash) and the file's name.
void UdefListPath(char *out, size_t cap, const char *tablePath,
                  const char *fileName);
