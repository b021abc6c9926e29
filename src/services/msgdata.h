// The message texts as the team keeps them: one UTF-8 text file per
// language under data/messages/, read and checked here, and turned into the
// store's message table by the tool mkmsg. The checks make sure that a
// translation can't break what reads the texts back: printf conversions,
// record width, and the labels that the text form of a log entry is parsed
// by (see docs/messages.md for the file format and the rules).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

inline constexpr int kMsgTextMax = 100;     // bytes of code page 1252
inline constexpr int kMsgSignatureMax = 64; // "%s %d ..." normalised
inline constexpr int kMsgLineMax = 1024;    // a longer source line is bad
inline constexpr int kMsgNumberMax = 59999; // 60000 up means "no message"
inline constexpr int kMsgLanguageMax = 255;

// One text of one language, as stored in the message table.
struct MsgDataEntry {
  uint16_t Number;
  uint8_t Language;
  char Text[kMsgTextMax + 1];       // code page 1252, terminated
  char Signature[kMsgSignatureMax]; // conversions of Text, normalised
  char File[64];                    // file name (no folder), for reports
  int Line;                         // line in that file
};

// Everything read so far, and every problem found, each as one line
// "file:line: what is wrong".
struct MsgDataSet {
  std::vector<MsgDataEntry> Entries;
  std::vector<std::string> Problems;
};

// Reads one text file (see docs/messages.md). Answers the number of
// problems that this file added to set->Problems; its good lines are kept
// even when others are bad, so that all problems are told in one go.
int MsgDataReadFile(MsgDataSet *set, const char *path);
// The same on text in memory; `name` stands in the problem lines.
int MsgDataReadText(MsgDataSet *set, const char *name, const char *content);

// Checks across files and languages: every text of a language above 1 has
// an English counterpart with the same conversions, and each language's
// labels still work in the text form of a log entry and in the reports.
// Answers the number of problems added.
int MsgDataCheck(MsgDataSet *set);

// The entry of (number, language), or null.
const MsgDataEntry *MsgDataFind(const MsgDataSet &set, int number,
                                int language);

// The printf conversions of `text`, normalised to length modifier and
// conversion character and separated by blanks ("%-20.20s %6ld" gives
// "%s %ld"; "%%" gives nothing). Answers 0, or 1 for a conversion that no
// message may hold ("%n", "%*d", "%1$s", an unknown or cut-off one).
int MsgDataConversions(const char *text, char *signature, size_t cap);

// Strict UTF-8 to code page 1252: answers 0, 1 for bytes that are no
// UTF-8, 2 for a character that code page 1252 lacks, 3 when the result
// doesn't fit in cap bytes with its terminator.
int MsgDataUtf8ToCp1252(const char *in, char *out, size_t cap);

// Creates the store's message table at `base` (a base path without
// extension) and adds every entry of the set. The store must have been
// initialised. Answers 0, or the store's error code; *failed (when given)
// then points at the entry whose save failed, or is null when the table
// could not be created.
int MsgDataWriteTable(const MsgDataSet &set, const char *base,
                      const MsgDataEntry **failed);
