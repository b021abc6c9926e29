// The table store: every persistent table of Mantrel lives behind these
// operations. A table is a family of files named by a base path without
// extension (backslashes, relative to the current folder, any letter case);
// the store adds the extensions. Every operation sets OrvixError: 0 success,
// 2 duplicate key, 12 table file missing, 14 index unusable, 101 no such
// record or end of table; other values are documented in docs/storage.md.
#pragma once

#include "store/records.h"

#include <cstddef>
#include <cstdint>

using TblHandle = long; // 0 never names an open table

extern int OrvixError;

// 0 in normal work. A builder that must write byte-identical tables on every
// run (the demo installation) sets a fixed value: file ids and creation times
// then come from it and from the file names instead of chance and the clock.
extern uint64_t DbReproducibleStamp;

// Error values the callers tell apart.
inline constexpr int kErrNone = 0;
inline constexpr int kErrDuplicate = 2;
inline constexpr int kErrNoFile = 12;
inline constexpr int kErrBadIndex = 14;
inline constexpr int kErrEnd = 101;

// Further failures; every one is told in docs/storage.md.
inline constexpr int kErrBadArg = 1;      // bad mode, null record, wrong table
inline constexpr int kErrNotOpen = 3;     // the handle names no open table
inline constexpr int kErrBadKey = 6;      // no such key number in this table
inline constexpr int kErrNoCurrent = 8;   // step, replace or delete with no
                                          // current record
inline constexpr int kErrBadPath = 11;    // the path cannot be had
inline constexpr int kErrOutOfSpace = 18; // the disk is full
inline constexpr int kErrDamaged = 20;    // data file damaged or foreign
inline constexpr int kErrIo = 21;         // the system refused a read or write
inline constexpr int kErrTooLarge = 22;   // record or resource beyond limits
inline constexpr int kErrAccess = 46;     // no permission for the file
inline constexpr int kErrExists = 59;     // create over an existing table
inline constexpr int kErrLocked = 85;     // another process holds the table
inline constexpr int kErrInUse = 88;      // rebuild of a table open here
inline constexpr int kErrNoMemory = 103;  // memory exhausted

// Find modes and save modes.
inline constexpr int kFindFirst = 0, kFindPrev = 1, kFindNext = 2,
                     kFindLast = 3, kFindEqual = 4, kFindAtOrAfter = 5;
inline constexpr int kSaveAdd = 1, kSaveReplace = 2;

// ---------------------------------------------------------------- engine

int DbInitialize(int buffers, int files, int sectors, const char *module,
                 const char *lockingFile, long extendSize);
void DbTerminate(const char *module);
void DbSwitch(const char *module);
void DbVirtualClose(int n);
int DbCloseFile(TblHandle h);
// How long the closes of tables took since the store was initialised: how
// many closed a table (the last handle of it), their time in all, and the
// slowest with its data file's name; `reset` starts the count again. For
// the benchmarks, which time the closes a run makes inside itself.
struct StoreCloseTimes {
  long closes;
  double totalMs, slowestMs;
  char slowest[64];
};
void DbCloseTimes(StoreCloseTimes *out, bool reset);
long DbCountEntries(TblHandle h);
// Lets the pages of the table's files that this process has read leave its
// resident memory (they stay in the system's page cache, and the next read
// finds them there). A walk over a whole large table calls it now and then,
// so that its memory does not grow with the table. Answers 0, or 3 for a
// bad handle.
int DbReleasePages(TblHandle h);

int DbGetResource(TblHandle h, Resource *key, Resource *result, int mode);
int DbUpdateResource(TblHandle h, Resource *rec);
int DbAddResource(TblHandle h, Resource *rec);

long TblGetNewSptId(TblHandle symptoms, int range);

// ---------------------------------------------------------------- entries
//
// All or nothing across tables (docs/storage.md, "The entry journal"). While
// a journal is open, every write to any table is covered: the writes between
// DbEntryBegin and DbEntryCommit stand or fall together, a write outside an
// entry stands alone. A program that stops in the middle of an entry (a
// kill, a crash) leaves the journal behind, and the next open of any table
// it names, by any program, undoes the entry and rebuilds their indexes.

// Opens the journal `path` (stored path without extension; ".jnl" is
// added). A journal left there by a stopped program is mended first. 0 or
// an error; the journal is then not open and nothing is covered.
int DbJournalOpen(const char *path);
// Undoes an entry still open, makes every table written durable (data
// synced, open tables' indexes written) and removes the journal. 0 or the
// first error; the journal then stays for the next open to mend.
int DbJournalClose();
// Syncs the data files written and the journal, and marks the point in the
// journal: what a power loss after it keeps.
int DbJournalSync();
void DbEntryBegin();
// Commits the entry: 0. When a write of the entry failed, or the commit
// itself does not reach the journal, the entry is undone and the answer is
// that write's error (18 no space, 21 I/O ...).
int DbEntryCommit();
// Undoes what the entry wrote, in every table, and ends it. 0 or an error.
int DbEntryRollback();
// The error of the first write of the open entry that failed, or 0.
int DbEntryError();
// Tables that an open mended after a stop: one at a time, the oldest
// first. Fills the table's data file path and `what` (1 an unfinished entry
// was cut off, 2 the index was rebuilt, 3 both) and answers 1, or answers 0
// when there is none left.
int DbTakeMended(char *path, size_t cap, int *what);

// ---------------------------------------------------------------- messages

TblHandle MsgOpen(const char *path, int a, int b);
// The text of message `number` in `language`, copied into buf->Text; the
// returned pointer is buf->Text. A number that is not in the table gives a
// visible fallback text naming the number. No formatting is done here: the
// callers use the text as a printf format.
const char *OrvixMessage(TblHandle msgTable, int number, int language,
                         MsgRecord *buf);
// Used by the message compiler: creates a message table and adds records.
TblHandle MsgCreate(const char *path);
int MsgSave(TblHandle h, MsgRecord *rec, int mode);
int MsgFind(TblHandle h, MsgRecord *rec, int key, int mode);

// ---------------------------------------------------------------- Symptom

TblHandle TblOpenSymptom(const char *path, int a, int b);
TblHandle TblCreateSymptom(const char *path, int a, int b);
int TblRebuildSymptom(const char *path, int a, int b);
int TblFindFullSymptom(TblHandle h, Symptom *rec, int key, int mode);
int TblFindFullSymptomByText(TblHandle h, Symptom *rec, int key, int mode);
int TblSaveSymptom(TblHandle h, Symptom *rec, int mode);
int TblDeleteSymptom(TblHandle h);
void TblClearSymptom(Symptom *rec);
int TblIsLastSymptomRemed(const SymptomRemedy *entry);
SymptomRemedy *TblAllocSymptomRemed(int count);
void TblFreeSymptomRemed(Symptom *rec);
int TblSymptomRemedRoom(const SymptomRemedy *array); // entries allocated

// ---------------------------------------------------------------- Remed,
// Author

TblHandle TblOpenRemed(const char *path, int a, int b);
TblHandle TblCreateRemed(const char *path, int a, int b);
int TblRebuildRemed(const char *path, int a, int b);
int TblFindFullRemed(TblHandle h, Remed *rec, int key, int mode);
int TblFindRemed(TblHandle h, Remed *rec, int key, int mode);
int TblReadRemed(TblHandle h, Remed *rec);
int TblSaveRemed(TblHandle h, Remed *rec, int mode);
void TblClearRemed(Remed *rec);

TblHandle TblOpenAuthor(const char *path, int a, int b);
TblHandle TblCreateAuthor(const char *path, int a, int b);
int TblRebuildAuthor(const char *path, int a, int b);
int TblFindFullAuthor(TblHandle h, Author *rec, int key, int mode);
int TblFindAuthor(TblHandle h, Author *rec, int key, int mode);
int TblReadAuthor(TblHandle h, Author *rec);
int TblSaveAuthor(TblHandle h, Author *rec, int mode);
void TblClearAuthor(Author *rec);

// ---------------------------------------------------------------- Catalog

TblHandle TblOpenCatalog(const char *path, int a, int b);
TblHandle TblCreateCatalog(const char *path, int a, int b);
int TblRebuildCatalog(const char *path, int a, int b);
int TblFindFullCatalog(TblHandle h, Catalog *rec, int key, int mode);
int TblFindCatalog(TblHandle h, Catalog *rec, int key, int mode);
int TblSaveCatalog(TblHandle h, Catalog *rec, int mode);

// ---------------------------------------------------------------- Rlog

TblHandle TblOpenRlog(const char *path, int a, int b);
TblHandle TblCreateRlog(const char *path, int a, int b, int c);
int TblRebuildRlog(const char *path, int a, int b);
int TblFindFullRlog(TblHandle h, LogEntry *rec, int key, int mode);
int TblSaveRlog(TblHandle h, LogEntry *rec, int mode);
int TblDeleteRlog(TblHandle h);

// ---------------------------------------------------------------- Extract,
// ExSp, Word The fifth argument of the finds may be written by the store and is
// read by no caller; it may be null.

TblHandle TblOpenExtract(const char *path, int a, int b);
TblHandle TblCreateExtract(const char *path, int a, int b);
int TblRebuildExtract(const char *path, int a, int b);
int TblFindFullExtract(TblHandle h, Extract *rec, int key, int mode,
                       long *spare);
int TblSaveExtract(TblHandle h, Extract *rec, int mode);
int TblDeleteExtract(TblHandle h);
void TblClearExtract(Extract *rec);
int TblIsLastExtractSymptom(const ExtractEntry *entry);
// The first and last entries of the record with the key of `key` (RemedyId,
// Seq) and how many it holds, read without decoding the rest of the record
// and without moving the current record: a chain walk looks at each record
// this way and reads in full only the one it changes. Answers 0, or 101
// when there is no such record. The ExSp and Word forms are alike.
int TblPeekExtract(TblHandle h, const Extract *key, ExtractEntry *first,
                   ExtractEntry *last, int *count);
// Moves the records of one chain up by one Seq: those with the key of `key`
// but for Seq, from Seq `from` to `last`, become Seq + 1, the last first,
// with one write. Their bytes are copied with the new Seq, nothing else
// changes in them: this is how a split makes room behind a full record.
// No record may hold Seq `last` + 1 (2); a Seq missing in between answers
// 101 and moves nothing. The current record stays. The ExSp and Word forms
// are alike.
int TblShiftUpExtract(TblHandle h, const Extract *key, int from, int last);

TblHandle TblOpenExSp(const char *path, int a, int b);
TblHandle TblCreateExSp(const char *path, int a, int b);
int TblRebuildExSp(const char *path, int a, int b);
int TblFindFullExSp(TblHandle h, ExSp *rec, int key, int mode, long *spare);
int TblSaveExSp(TblHandle h, ExSp *rec, int mode);
int TblDeleteExSp(TblHandle h);
void TblClearExSp(ExSp *rec);
int TblIsLastExSpSymptom(const ExSpEntry *entry);
int TblPeekExSp(TblHandle h, const ExSp *key, ExSpEntry *first, ExSpEntry *last,
                int *count);
int TblShiftUpExSp(TblHandle h, const ExSp *key, int from, int last);

TblHandle TblOpenWord(const char *path, int a, int b);
TblHandle TblCreateWord(const char *path, int a, int b);
int TblRebuildWord(const char *path, int a, int b);
int TblFindFullWord(TblHandle h, Word *rec, int key, int mode, long *spare);
int TblSaveWord(TblHandle h, Word *rec, int mode);
int TblDeleteWord(TblHandle h);
void TblClearWord(Word *rec);
int TblIsLastWordSymptom(const WordEntry *entry);
int TblPeekWord(TblHandle h, const Word *key, WordEntry *first, WordEntry *last,
                int *count);
int TblShiftUpWord(TblHandle h, const Word *key, int from, int last);

// ---------------------------------------------------------------- Note, Link

TblHandle TblOpenNote(const char *path, int a, int b);
TblHandle TblCreateNote(const char *path, int a, int b);
int TblRebuildNote(const char *path, int a, int b);
int TblFindFullNote(TblHandle h, Note *rec, int key, int mode);
int TblSaveNote(TblHandle h, Note *rec, int mode);
int TblDeleteNote(TblHandle h);
void TblClearNote(Note *rec);

TblHandle TblOpenLink(const char *path, int a, int b);
TblHandle TblCreateLink(const char *path, int a, int b);
int TblRebuildLink(const char *path, int a, int b);
int TblFindFullLink(TblHandle h, Link *rec, int key, int mode);
int TblSaveLink(TblHandle h, Link *rec, int mode);
int TblDeleteLink(TblHandle h);
void TblClearLink(Link *rec);

// ---------------------------------------------------------------- View, At,
// HistoId

TblHandle TblOpenView(const char *path, int a, int b);
TblHandle TblCreateView(const char *path, int a, int b);
int TblRebuildView(const char *path, int a, int b);
int TblFindFullView(TblHandle h, View *rec, int key, int mode);
int TblSaveView(TblHandle h, View *rec, int mode);

TblHandle TblOpenAt(const char *path, int a, int b);
TblHandle TblCreateAt(const char *path, int a, int b);
int TblRebuildAt(const char *path, int a, int b);
int TblFindFullAt(TblHandle h, At *rec, int key, int mode);
int TblFindFullAtByText(TblHandle h, At *rec, int key, int mode);
int TblSaveAt(TblHandle h, At *rec, int mode);
void TblClearAt(At *rec);

TblHandle TblOpenHistoId(const char *path, int a, int b);
TblHandle TblCreateHistoId(const char *path, int a, int b);
int TblRebuildHistoId(const char *path, int a, int b);
int TblFindFullHistoId(TblHandle h, HistoId *rec, int key, int mode);
int TblSaveHistoId(TblHandle h, HistoId *rec, int mode);

// ---------------------------------------------------------------- cases

TblHandle TblOpenCas1(const char *path, int a, int b);
TblHandle TblCreateCas1(const char *path, int a, int b);
int TblRebuildCas1(const char *path, int a, int b);
int TblFindFullCas1(TblHandle h, Cas1 *rec, int key, int mode);
int TblSaveCas1(TblHandle h, Cas1 *rec, int mode);
int TblDeleteCas1(TblHandle h);
void TblClearCas1(Cas1 *rec);

TblHandle TblOpenCas2(const char *path, int a, int b);
TblHandle TblCreateCas2(const char *path, int a, int b);
int TblRebuildCas2(const char *path, int a, int b);
int TblFindFullCas2(TblHandle h, Cas2 *rec, int key, int mode);
int TblSaveCas2(TblHandle h, Cas2 *rec, int mode);
int TblDeleteCas2(TblHandle h);
void TblClearCas2(Cas2 *rec);
int TblIsLastCas2SymptomRemed(const Cas2Symptom *entry);
Cas2Symptom *TblAllocCas2Symptoms(int count);
void TblFreeCas2Symptoms(Cas2 *rec);

// ---------------------------------------------------------------- keynotes,
// patient family

// The keynote table and the patient family hold records whose layout is the
// business of their programs: a GenericRecord, an id (key 0, unique) and
// bytes. The patient family's tables keep their data in "%s.da3" to
// "%s.da6" beside their indexes "%s.id3" to "%s.id6".
struct GenericRecord {
  uint16_t Status;
  uint32_t Id;
  uint16_t Length; // bytes of Data in use
  uint8_t Data[4096];
  uint8_t CursorState;
};
enum GenericTable {
  kGenPatient = 1,
  kGenConsultation,
  kGenDiag,
  kGenPrem,
  kGenDefDiag,
  kGenKeynote
};
TblHandle TblOpenGeneric(const char *path, int table, int a, int b);
int TblFindFullGeneric(TblHandle h, GenericRecord *rec, int key, int mode);
int TblSaveGeneric(TblHandle h, GenericRecord *rec, int mode);
int TblDeleteGeneric(TblHandle h);
void TblClearGeneric(GenericRecord *rec);

TblHandle TblOpenKeynote(const char *path, int a, int b);
TblHandle TblCreateKeynote(const char *path, int a, int b);
int TblRebuildKeynote(const char *path, int a, int b);

int TblCreatePatientFamily(const char *path);
int TblRebuildPatient(const char *path, int a, int b);
int TblRebuildConsultation(const char *path, int a, int b);
int TblRebuildDiag(const char *path, int a, int b);
int TblRebuildPrem(const char *path, int a, int b);
TblHandle TblCreateDefDiag(const char *path, int a, int b);
int TblRebuildDefDiag(const char *path, int a, int b);
