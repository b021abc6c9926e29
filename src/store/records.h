// The records that cross the store's boundary. Field widths are the system's
// own: texts are zero-terminated code page 1252 within the stated array size,
// numbers are fixed-width integers. Every record starts with a Status word and
// ends in a one-byte CursorState guard that is set to 0xFF before first use.
//
// Variable parts (the remedy array of a Symptom, the Cas2 symptom list, note
// texts, log texts) are pointers: the store fills the caller's buffers and
// keeps only as many bytes on disk as the content needs.
#pragma once

#include <cstdint>

// ---------------------------------------------------------------- Symptom

// One remedy of a symptom, 8 bytes. AuthorId's top bit marks an entry the user
// changed; the author is the low 15 bits.
struct SymptomRemedy {
  uint16_t RemedyId;
  uint8_t Degree;
  uint16_t AuthorId;
  uint16_t ViewBits;
};
inline constexpr uint16_t kAuthorUserBit = 0x8000;
inline constexpr uint16_t kAuthorMask = 0x7fff;
inline constexpr uint16_t kAuthorQs = 32000; // the pseudo-author "*qs"

struct Symptom {
  uint16_t Status;
  uint32_t Num;
  uint16_t Sub;
  uint32_t Num2;
  uint16_t Sub2;
  uint32_t ParentNum;
  uint16_t ParentSub;
  uint8_t Chapter;
  uint8_t Level;
  uint16_t RemedyCount;
  uint16_t ChildCount;
  uint16_t ViewMask;
  int32_t UniqueId;
  char Text1[101];
  char Text2[101];
  char Synonym1[1025];
  char Synonym2[1025];
  char CrossRef1[2049];
  char CrossRef2[2049];
  // Array from TblAllocSymptomRemed, ended by the terminator entry
  // (0, 0, 0, 0xffff). Owned by the record; the store grows it on a read
  // when the stored list does not fit.
  SymptomRemedy *Remedies;
  uint8_t SymptomType;
  uint8_t SymptomSubType;
  uint8_t CursorState;
};

// ---------------------------------------------------------------- Remed,
// Author

struct Remed {
  uint16_t Status;
  uint16_t Id;
  uint8_t Attr1;
  uint8_t Listed;
  uint16_t Value1;
  uint16_t Value2;
  char Abbrev[16];
  char Name[51];
  char Name3[51];
  char Name4[51];
  char Name5[51];
  char Name6[51];
  char Name7[51];
  char Name8[51];
  char Name9[51];
  uint8_t CursorState;
};

struct Author {
  uint16_t Status;
  uint16_t Id;
  uint16_t Value1;
  uint8_t Listed;
  char Abbrev[21];
  char Name[71];
  char Detail1[201];
  char Detail2[150];
  char Detail3[255];
  uint8_t CursorState;
};

// ---------------------------------------------------------------- Catalog

// The repertory block: a title, at byte 65 the reference style (5 selects
// the second way of normalising references), then seven paths of 101 bytes.
enum CatalogPath {
  kCatSymptom = 0,
  kCatChapter,
  kCatExtract,
  kCatWord1,
  kCatWord2,
  kCatView,
  kCatFolder,
  kCatPathCount
};
struct CatalogRepertoryBlock {
  char Title[65];
  uint8_t RefStyle;
  char Paths[kCatPathCount][101];
};
// The keynotes block: a title, the folder 72 bytes in.
struct CatalogKeynoteBlock {
  char Title[72];
  char Folder[101];
};

struct Catalog {
  uint16_t Status;
  uint16_t Id;
  uint8_t Kind; // 1 repertory, 2 keynotes
  char Abbrev[11];
  CatalogKeynoteBlock KeynoteBlock;
  CatalogRepertoryBlock RepertoryBlock;
  uint8_t CursorState;
};

// ---------------------------------------------------------------- Note, Link

inline constexpr int kNoteTextSize = 4097;

struct Note {
  uint16_t Status;
  uint32_t Num;
  uint16_t Sub;
  uint16_t RemedyId; // 0: a note on the symptom itself
  uint8_t Degree;
  uint16_t AuthorId;
  uint8_t NoteKind; // 3: a comment from an addition
  char *Text1;      // caller's buffers of kNoteTextSize bytes; null: not read
  char *Text2;
  uint8_t CursorState;
};

struct Link {
  uint16_t Status;
  uint32_t Num;
  uint16_t Sub;
  uint16_t RemedyId;
  uint8_t Degree;
  uint16_t AuthorId;
  uint8_t LinkKind; // 1 video, 2 sound, 3 image
  char Title[256];
  char File[513];
  uint8_t CursorState;
};

// ---------------------------------------------------------------- chained
// lists

inline constexpr int kListEntries =
    301; // the last one is the terminator's room

struct ExtractEntry {
  uint32_t Num;
  uint16_t Sub;
  uint8_t Degree;
  uint16_t AuthorId;
  uint16_t ViewBits; // 0xffff in the terminator
};
struct Extract {
  uint16_t Status;
  uint16_t RemedyId;
  uint8_t Seq;
  ExtractEntry Entries[kListEntries];
  uint8_t CursorState;
};

struct ExSpEntry {
  uint32_t Num; // 0xffffffff in the terminator
  uint16_t Sub; // 0xffff in the terminator
  uint32_t Zero1;
  uint8_t Zero2;
};
struct ExSp {
  uint16_t Status;
  uint32_t Num;
  uint16_t Sub;
  uint8_t Direction; // 2: symptoms of the partner for ours; 1: the reverse
  uint8_t Seq;
  ExSpEntry Entries[kListEntries];
  uint8_t CursorState;
};

struct WordEntry {
  uint32_t Num;
  uint16_t Sub;
  uint32_t EndNum;
  uint16_t EndSub; // 0xffff in the terminator
};
struct Word {
  uint16_t Status;
  uint8_t Seq;
  char Text[32];
  WordEntry Entries[kListEntries];
  uint8_t CursorState;
};

// ---------------------------------------------------------------- View, At,
// HistoId

struct View {
  uint16_t Status;
  uint8_t ViewNumber;       // 1 to 16, the bit of ViewBits
  uint8_t AuthorBits[2049]; // author n: byte n / 8, mask 0x80 >> (n % 8)
  uint8_t CursorState;
};

inline constexpr int kAtNewPathSize = 1024;
struct At {
  uint16_t Status;
  uint32_t Num;
  uint16_t Sub;
  uint32_t ParentNum;
  uint16_t ParentSub;
  char Text[101];
  char NewPath[kAtNewPathSize]; // "<deleted>" when gone from the new edition
  uint8_t CursorState;
};

struct HistoId {
  uint16_t Status;
  int32_t Id;         // the retired unique id
  int32_t ReplacedBy; // key 0 is (Id)
  int32_t Date;
  char Comment[512];
  uint8_t CursorState;
};

// ---------------------------------------------------------------- cases

struct Cas1 {
  uint16_t Status; // 0 for a live case
  uint16_t CaseId;
  int32_t Created;
  int32_t Changed;
  uint16_t Values[10];
  char Name[31];
  char Comment[513];
  char Texts[10][26];
  uint8_t CursorState;
};

struct Cas2Symptom {
  uint16_t Value;
  uint16_t Author;
  uint8_t Byte; // all three 0 in the terminator
};
struct Cas2 {
  uint16_t Status;
  uint16_t CaseId;
  uint16_t Entry;
  uint16_t Value6;
  int32_t Value8;
  uint16_t ValueC;
  uint8_t Sequence;
  uint8_t ByteF;
  uint8_t Byte10;
  uint8_t Byte11;
  uint8_t Byte12;
  uint8_t Byte13;
  uint8_t Byte14;
  uint8_t Byte15;
  uint8_t Byte16;
  char Text1[1025];
  char Text2[1027];
  Cas2Symptom *Symptoms; // from TblAllocCas2Symptoms, owned by the record
  uint8_t CursorState;
};

// ---------------------------------------------------------------- log entry

inline constexpr int kLogTextSize = 10001;

// The record of an Rlog table. Key 0 is (number, operation); key 2 is
// (date, time, operation).
struct LogEntry {
  uint16_t head;
  int32_t number;
  uint16_t operation;
  uint32_t date;
  uint32_t time;
  int32_t symptomId;
  uint8_t reserved[3];
  uint8_t tag;
  char *text; // caller's buffer of kLogTextSize bytes
  char comment[256];
  uint8_t endMark;
};

// ---------------------------------------------------------------- resources,
// messages

struct Resource {
  uint32_t Type;
  uint32_t Id;
  uint32_t Length;
  char Text[1024];
};
inline constexpr uint32_t kResRepKindType = 0x10001, kResRepKindId = 2;
inline constexpr uint32_t kResAddedType = 0x10f4c, kResAddedId = 1;
inline constexpr uint32_t kResAlmanacumType = 0x10762, kResAlmanacumId = 44;

// A message: 5 bytes of header, then the text (at most 100 characters).
// Key 0 is (Number, Language).
struct MsgRecord {
  uint16_t Status;
  uint16_t Number;
  uint8_t Language;
  char Text[101];
  uint8_t CursorState;
};
