// The log entry: the record of an Rlog table (LogEntry in store/records.h),
// the eighteen operation codes, and the routines that take the entry's text
// area apart into fields and put it together again.
//
// The text area is one string of fields divided by the byte 0x01. Field 0
// is the language digit ("0" first language of the repertory, "1" second),
// field 1 the symptom path; the fields from 2 on depend on the operation:
// their positions are named below, one group for each kind of entry, and
// the handlers, the report writer and the text form take them from here
// (docs/logs.md has the table).
#pragma once

#include "store/records.h"
#include "store/store.h"

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------- codes

inline constexpr int OpChangeDegree = 1;
inline constexpr int OpDeleteRemedy = 2;
inline constexpr int OpAddRemedy = 3;
inline constexpr int OpChangeNote = 4;
inline constexpr int OpChangeCrossReference = 5;
inline constexpr int OpChangeSynonym = 6;
inline constexpr int OpRenameSymptom = 7;
inline constexpr int OpAddSymptomAfter = 8;
inline constexpr int OpAddSymptomBelow = 9;
inline constexpr int OpDeleteSymptom = 10;
inline constexpr int OpMoveSymptoms = 11;
inline constexpr int OpSplitSymptom = 12;
inline constexpr int OpMergeSymptom = 13;
inline constexpr int OpAddLink = 14;
inline constexpr int OpDeleteLink = 15;
inline constexpr int OpAddConcept = 16;
inline constexpr int OpDeleteConcept = 17;
inline constexpr int OpChangeSymptomKind = 18;

inline constexpr int kOpCount = 18;
// Counter arrays have one row per code and the total behind them: row
// code - 1 for a code, row kOpTotalRow for the total.
inline constexpr int kOpRows = 19;
inline constexpr int kOpTotalRow = 18;

// Message numbers of the operation names: kMsgOpName + code names the code,
// kMsgOpName + 19 (2647) is the row of totals. OpChangeSynonym has a second
// name when its new text is a list of references.
inline constexpr int kMsgOpName = 2628;
inline constexpr int kMsgOpTotal = 2647;
inline constexpr int kMsgSynonymRefs = 3102;

// A unique id is usable for lookup when it lies in (0, kLogIdLimit).
inline constexpr int32_t kLogIdLimit = 1000000;

// ---------------------------------------------------------------- fields

inline constexpr char kLogFieldSep = 0x01;
// LogSplitFields makes at most ten fields; the listing variant twelve.
inline constexpr int kLogFields = 10;
inline constexpr int kLogAllFields = 12;

// ------------------------------------------------------ field positions

// Every entry: the language digit ("0" first language of the repertory, "1"
// second) and the symptom path.
inline constexpr int kFieldLanguage = 0;
inline constexpr int kFieldPath = 1;

// Each operation's fields after those two, counted on from field 2, as
// names in a namespace of their own: NoteFields::kOldText is field 7.

// OpChangeDegree, OpDeleteRemedy, OpAddRemedy: abbreviations of the remedy
// and the author, then the degree (the old and the new one for a change).
namespace RemedyFields {
enum : int { kRemedy = 2, kAuthor, kDegree, kNewDegree, kOldDegree = kDegree };
} // namespace RemedyFields

// OpChangeNote: the note type (kNoteTypeFirst to kNoteTypeLast), remedy
// and author ("0" for a note of the symptom), degree, the note's language,
// old and new text.
inline constexpr int kNoteTypeFirst = 1;
inline constexpr int kNoteTypeLast = 5;
namespace NoteFields {
enum : int {
  kType = 2,
  kRemedy,
  kAuthor,
  kDegree,
  kLanguage,
  kOldText,
  kNewText
};
} // namespace NoteFields

// OpChangeCrossReference, OpChangeSynonym: the language of the text, old
// and new text.
namespace TextFields {
enum : int { kLanguage = 2, kOldText, kNewText };
} // namespace TextFields

// OpRenameSymptom: (language, old text, new text) twice; the second triple
// may be empty.
namespace RenameFields {
enum : int {
  kLanguage = 2,
  kOldText,
  kNewText,
  kLanguage2,
  kOldText2,
  kNewText2
};
} // namespace RenameFields

// OpAddSymptomAfter, OpAddSymptomBelow: (language, new text) twice.
namespace AddSymptomFields {
enum : int { kLanguage = 2, kText, kLanguage2, kText2 };
} // namespace AddSymptomFields

// OpMoveSymptoms: paths of the first and the last symptom, kind 1-4.
namespace MoveFields {
enum : int { kFirst = 2, kLast, kKind };
} // namespace MoveFields

// OpSplitSymptom: the symptom's new text, the new sub-level, kind 1-3.
namespace SplitFields {
enum : int { kText = 2, kSubLevel, kKind };
} // namespace SplitFields

// OpMergeSymptom: the parent's new text, kind 1-3.
namespace MergeFields {
enum : int { kText = 2, kKind };
} // namespace MergeFields

// OpAddLink, OpDeleteLink: remedy, author ("0" for the symptom's own link),
// degree, link type 1-3, title, file.
namespace LinkFields {
enum : int { kRemedy = 2, kAuthor, kDegree, kType, kTitle, kFile };
} // namespace LinkFields

// OpAddConcept, OpDeleteConcept: the second symptom path (field 1 is the
// concept symptom's).
namespace ConceptFields {
enum : int { kSymptomPath = 2 };
} // namespace ConceptFields

// OpChangeSymptomKind: the old and the new two-digit code.
namespace KindFields {
enum : int { kOld = 2, kNew };
} // namespace KindFields

// Element 0 is 0, element n the offset of field n in the text area, 0 when
// there is no such field. An empty field still has a non-zero offset.
// Arrays of this type are big enough for both splitters.
typedef int FieldOffsets[kLogAllFields];

// Zeroes elements 0 to 9, then replaces each 0x01 by a terminator and notes
// where the next field starts. Stops after nine separators: at most ten
// fields, and further 0x01 bytes stay inside the last one. `offsets` needs
// at least kLogFields elements. A null text leaves all fields absent.
void LogSplitFields(char *text, int *offsets);

// Puts 0x01 back at every terminator inside the first `length` bytes. The
// caller takes the length (strlen) before it splits.
void LogJoinFields(char *text, size_t length);

// The listing's splitter: up to kLogAllFields fields, all elements cleared
// first; 0x01 bytes beyond the eleventh stay inside the last field, so an
// overlong entry never writes past the caller's array.
void LogSplitAllFields(char *text, int *offsets);

// The text of field n of a split text area, or the empty text when the
// field is absent (offset 0 for n above 0, or n out of range).
const char *LogField(const char *text, const int *offsets, int n);

// Whether field n exists (n = 0 always does).
bool LogHasField(const int *offsets, int n);

// Nonzero when the character at `pos` separates two levels of the path that
// runs from `start` to `last` (its last character): a '-' or 0x02 with a
// blank on each side, unless the characters two places away are both
// digits ("3 - 5 h"). Near either end it is a separator, digits or not.
int LogIsLevelSeparator(const char *pos, const char *start, const char *last);

// Swaps the entry's language digit: "0" becomes "1", anything else "0". An
// empty or null text is left alone.
void LogSwapLanguage(char *text);

// A text area with no symptom path: the byte 0x01 at position 2.
bool LogHasNoPath(const char *text);

// Clears an entry for use with the caller's text buffer (of kLogTextSize
// bytes): everything 0, the text empty, the guard byte 0xff.
void LogClearEntry(LogEntry *entry, char *textBuffer);

// The number for a new entry of the open log: the last entry's number plus
// one, or 1 when the log is empty or cannot be read.
int32_t LogNextNumber(TblHandle log);
