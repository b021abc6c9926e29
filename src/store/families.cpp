// The table families: the fields and keys of each record type, and the typed
// operations of store.h over the engine. Each family is described here once:
// the codec stores records by these tables, and tbltool's JSON Lines form
// names and shows their fields by them. Key orders and uniqueness are told
// in docs/storage.md; in short, the primary key (the first in each list) is
// unique except for Link, and a secondary key orders its equal entries by the
// primary key.
#include "store/families.h"
#include "store/engine.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace {

// ---------------------------------------------------------------- helpers

template <typename M>
constexpr StoreFieldDesc NumField(size_t off, const char *name) {
  static_assert(std::is_integral_v<M> && sizeof(M) != 8);
  StoreFieldKind kind = sizeof(M) == 1        ? kFU8
                        : sizeof(M) == 2      ? kFU16
                        : std::is_signed_v<M> ? kFI32
                                              : kFU32;
  return StoreFieldDesc{kind, static_cast<uint32_t>(off),
                        static_cast<uint32_t>(sizeof(M)), nullptr, name};
}
constexpr StoreFieldDesc Field(StoreFieldKind kind, size_t off, size_t size,
                               const char *name,
                               const StoreEntryDesc *entries = nullptr) {
  return StoreFieldDesc{kind, static_cast<uint32_t>(off),
                        static_cast<uint32_t>(size), entries, name};
}
// The field stands in a block of the record (a sub-object of its text form).
constexpr StoreFieldDesc InGroup(const char *group, StoreFieldDesc f) {
  f.group = group;
  return f;
}
// How the field shows in the text form, when not as its kind says.
constexpr StoreFieldDesc Shown(StoreFieldForm form, StoreFieldDesc f) {
  f.form = form;
  return f;
}

#define NUM(T, f) NumField<decltype(T::f)>(offsetof(T, f), #f)
#define STR(T, f) Field(kFStr, offsetof(T, f), sizeof(T::f), #f)
#define FOLD(T, f) Field(kFFoldStr, offsetof(T, f), sizeof(T::f), #f)
#define BYTES(T, f) Field(kFBytes, offsetof(T, f), sizeof(T::f), #f)
#define PTRSTR(T, f, size) Field(kFPtrStr, offsetof(T, f), size, #f)
#define ENTRIES(T, f, desc)                                                    \
  Field(kFEntries, offsetof(T, f), kListEntries, #f, &desc)
#define PTRENTRIES(T, f, desc) Field(kFPtrEntries, offsetof(T, f), 0, #f, &desc)

#define COUNT(a) static_cast<int>(sizeof(a) / sizeof((a)[0]))

template <typename T> void ClearKeepingGuard(T *rec) {
  uint8_t guard = rec->CursorState;
  memset(static_cast<void *>(rec), 0, sizeof *rec);
  rec->CursorState = guard;
}

// ---------------------------------------------------------------- entries

bool RemedyIsLast(const void *e) {
  return static_cast<const SymptomRemedy *>(e)->RemedyId == 0;
}
void RemedySetLast(void *e) {
  *static_cast<SymptomRemedy *>(e) = SymptomRemedy{0, 0, 0, 0xffff};
}
const StoreFieldDesc kRemedyFields[] = {
    NUM(SymptomRemedy, RemedyId), NUM(SymptomRemedy, Degree),
    NUM(SymptomRemedy, AuthorId), NUM(SymptomRemedy, ViewBits)};
const StoreEntryDesc kRemedyEntry{sizeof(SymptomRemedy), kRemedyFields,
                                  COUNT(kRemedyFields), RemedyIsLast,
                                  RemedySetLast};

bool ExtractIsLast(const void *e) {
  return static_cast<const ExtractEntry *>(e)->Num == 0;
}
void ExtractSetLast(void *e) {
  *static_cast<ExtractEntry *>(e) = ExtractEntry{0, 0, 0, 0, 0xffff};
}
const StoreFieldDesc kExtractEntryFields[] = {
    NUM(ExtractEntry, Num), NUM(ExtractEntry, Sub), NUM(ExtractEntry, Degree),
    NUM(ExtractEntry, AuthorId), NUM(ExtractEntry, ViewBits)};
const StoreEntryDesc kExtractEntry{sizeof(ExtractEntry), kExtractEntryFields,
                                   COUNT(kExtractEntryFields), ExtractIsLast,
                                   ExtractSetLast};

bool ExSpIsLast(const void *e) {
  const ExSpEntry *x = static_cast<const ExSpEntry *>(e);
  return x->Num == 0xffffffffu && x->Sub == 0xffff;
}
void ExSpSetLast(void *e) {
  *static_cast<ExSpEntry *>(e) = ExSpEntry{0xffffffffu, 0xffff, 0, 0};
}
const StoreFieldDesc kExSpEntryFields[] = {
    NUM(ExSpEntry, Num), NUM(ExSpEntry, Sub), NUM(ExSpEntry, Zero1),
    NUM(ExSpEntry, Zero2)};
const StoreEntryDesc kExSpEntry{sizeof(ExSpEntry), kExSpEntryFields,
                                COUNT(kExSpEntryFields), ExSpIsLast,
                                ExSpSetLast};

bool WordIsLast(const void *e) {
  return static_cast<const WordEntry *>(e)->Num == 0;
}
void WordSetLast(void *e) {
  *static_cast<WordEntry *>(e) = WordEntry{0, 0, 0, 0xffff};
}
const StoreFieldDesc kWordEntryFields[] = {
    NUM(WordEntry, Num), NUM(WordEntry, Sub), NUM(WordEntry, EndNum),
    NUM(WordEntry, EndSub)};
const StoreEntryDesc kWordEntry{sizeof(WordEntry), kWordEntryFields,
                                COUNT(kWordEntryFields), WordIsLast,
                                WordSetLast};

bool Cas2IsLast(const void *e) {
  const Cas2Symptom *x = static_cast<const Cas2Symptom *>(e);
  return x->Value == 0 && x->Author == 0 && x->Byte == 0;
}
void Cas2SetLast(void *e) {
  *static_cast<Cas2Symptom *>(e) = Cas2Symptom{0, 0, 0};
}
const StoreFieldDesc kCas2EntryFields[] = {
    NUM(Cas2Symptom, Value), NUM(Cas2Symptom, Author), NUM(Cas2Symptom, Byte)};
const StoreEntryDesc kCas2Entry{sizeof(Cas2Symptom), kCas2EntryFields,
                                COUNT(kCas2EntryFields), Cas2IsLast,
                                Cas2SetLast};

// ---------------------------------------------------------------- Symptom

const StoreFieldDesc kSymptomFields[] = {
    NUM(Symptom, Status),      NUM(Symptom, Num),
    NUM(Symptom, Sub),         NUM(Symptom, Num2),
    NUM(Symptom, Sub2),        NUM(Symptom, ParentNum),
    NUM(Symptom, ParentSub),   NUM(Symptom, Chapter),
    NUM(Symptom, Level),       NUM(Symptom, RemedyCount),
    NUM(Symptom, ChildCount),  NUM(Symptom, ViewMask),
    NUM(Symptom, UniqueId),    STR(Symptom, Text1),
    STR(Symptom, Text2),       STR(Symptom, Synonym1),
    STR(Symptom, Synonym2),    STR(Symptom, CrossRef1),
    STR(Symptom, CrossRef2),   PTRENTRIES(Symptom, Remedies, kRemedyEntry),
    NUM(Symptom, SymptomType), NUM(Symptom, SymptomSubType)};

// Key 4 with an empty Text1 in the search record finds the first child.
int SymptomKey4Search(const void *rec) {
  return static_cast<const Symptom *>(rec)->Text1[0] == '\0' ? 2 : 4;
}

const StoreKeyDesc kSymptomKeys[] = {
    {0, true, false, 2, {NUM(Symptom, Num), NUM(Symptom, Sub)}},
    {1,
     false,
     false,
     3,
     {NUM(Symptom, ParentNum), NUM(Symptom, ParentSub), STR(Symptom, Text1)}},
    {2, false, false, 2, {NUM(Symptom, Num2), NUM(Symptom, Sub2)}},
    {3,
     false,
     false,
     3,
     {NUM(Symptom, ParentNum), NUM(Symptom, ParentSub), STR(Symptom, Text2)}},
    {4,
     false,
     true,
     4,
     {NUM(Symptom, ParentNum), NUM(Symptom, ParentSub), NUM(Symptom, Num),
      NUM(Symptom, Sub)},
     SymptomKey4Search},
    {8, false, false, 1, {NUM(Symptom, UniqueId)}},
    {kHiddenKeyBase + 1,
     false,
     false,
     3,
     {NUM(Symptom, ParentNum), NUM(Symptom, ParentSub), FOLD(Symptom, Text1)}},
    {kHiddenKeyBase + 3,
     false,
     false,
     3,
     {NUM(Symptom, ParentNum), NUM(Symptom, ParentSub), FOLD(Symptom, Text2)}},
};

// ---------------------------------------------------------------- Remed,
// Author

const StoreFieldDesc kRemedFields[] = {
    NUM(Remed, Status), NUM(Remed, Id),     NUM(Remed, Attr1),
    NUM(Remed, Listed), NUM(Remed, Value1), NUM(Remed, Value2),
    STR(Remed, Abbrev), STR(Remed, Name),   STR(Remed, Name3),
    STR(Remed, Name4),  STR(Remed, Name5),  STR(Remed, Name6),
    STR(Remed, Name7),  STR(Remed, Name8),  STR(Remed, Name9)};
const StoreKeyDesc kRemedKeys[] = {
    {0, true, false, 1, {NUM(Remed, Id)}},
    {1, false, false, 1, {STR(Remed, Abbrev)}},
    {3, false, false, 1, {NUM(Remed, Listed)}},
};

const StoreFieldDesc kAuthorFields[] = {
    NUM(Author, Status),  NUM(Author, Id),      NUM(Author, Value1),
    NUM(Author, Listed),  STR(Author, Abbrev),  STR(Author, Name),
    STR(Author, Detail1), STR(Author, Detail2), STR(Author, Detail3)};
const StoreKeyDesc kAuthorKeys[] = {
    {0, true, false, 1, {NUM(Author, Id)}},
    {1, false, false, 1, {STR(Author, Abbrev)}},
    {3, false, false, 1, {NUM(Author, Listed)}},
};

// ---------------------------------------------------------------- Catalog

// The two blocks of a catalogue entry, a sub-object each in the text form;
// the paths are a list there.
constexpr size_t kKeyBlk = offsetof(Catalog, KeynoteBlock);
constexpr size_t kRepBlk = offsetof(Catalog, RepertoryBlock);
#define KEYNOTE(f)                                                             \
  InGroup("KeynoteBlock",                                                      \
          Field(kFStr, kKeyBlk + offsetof(CatalogKeynoteBlock, f),             \
                sizeof(CatalogKeynoteBlock::f), #f))
#define REPPATH(i)                                                             \
  InGroup("RepertoryBlock",                                                    \
          Shown(kFormElement,                                                  \
                Field(kFStr,                                                   \
                      kRepBlk + offsetof(CatalogRepertoryBlock, Paths) +       \
                          (i) * sizeof(CatalogRepertoryBlock::Paths[0]),       \
                      sizeof(CatalogRepertoryBlock::Paths[0]), "Paths")))
const StoreFieldDesc kCatalogFields[] = {
    NUM(Catalog, Status),
    NUM(Catalog, Id),
    NUM(Catalog, Kind),
    STR(Catalog, Abbrev),
    KEYNOTE(Title),
    KEYNOTE(Folder),
    InGroup("RepertoryBlock",
            Field(kFStr, kRepBlk + offsetof(CatalogRepertoryBlock, Title),
                  sizeof(CatalogRepertoryBlock::Title), "Title")),
    InGroup(
        "RepertoryBlock",
        NumField<decltype(CatalogRepertoryBlock::RefStyle)>(
            kRepBlk + offsetof(CatalogRepertoryBlock, RefStyle), "RefStyle")),
    REPPATH(0),
    REPPATH(1),
    REPPATH(2),
    REPPATH(3),
    REPPATH(4),
    REPPATH(5),
    REPPATH(6)};
static_assert(kCatPathCount == 7);
const StoreKeyDesc kCatalogKeys[] = {
    {0, true, false, 2, {NUM(Catalog, Kind), NUM(Catalog, Id)}},
    {1, false, false, 1, {STR(Catalog, Abbrev)}},
};

// ---------------------------------------------------------------- Rlog

const StoreFieldDesc kRlogFields[] = {NUM(LogEntry, head),
                                      NUM(LogEntry, number),
                                      NUM(LogEntry, operation),
                                      NUM(LogEntry, date),
                                      NUM(LogEntry, time),
                                      NUM(LogEntry, symptomId),
                                      BYTES(LogEntry, reserved),
                                      NUM(LogEntry, tag),
                                      PTRSTR(LogEntry, text, kLogTextSize),
                                      STR(LogEntry, comment),
                                      NUM(LogEntry, endMark)};
// A search record with operation 0 names every entry of its number (key 0)
// or of its date and time (key 2).
int RlogKey0Search(const void *rec) {
  return static_cast<const LogEntry *>(rec)->operation == 0 ? 1 : 2;
}
int RlogKey2Search(const void *rec) {
  return static_cast<const LogEntry *>(rec)->operation == 0 ? 2 : 3;
}
const StoreKeyDesc kRlogKeys[] = {
    {0,
     true,
     false,
     2,
     {NUM(LogEntry, number), NUM(LogEntry, operation)},
     RlogKey0Search},
    {2,
     false,
     false,
     3,
     {NUM(LogEntry, date), NUM(LogEntry, time), NUM(LogEntry, operation)},
     RlogKey2Search},
};

// ---------------------------------------------------------------- lists

const StoreFieldDesc kExtractFields[] = {
    NUM(Extract, Status), NUM(Extract, RemedyId), NUM(Extract, Seq),
    ENTRIES(Extract, Entries, kExtractEntry)};
const StoreKeyDesc kExtractKeys[] = {
    {0, true, false, 2, {NUM(Extract, RemedyId), NUM(Extract, Seq)}},
};

const StoreFieldDesc kExSpFields[] = {
    NUM(ExSp, Status),    NUM(ExSp, Num), NUM(ExSp, Sub),
    NUM(ExSp, Direction), NUM(ExSp, Seq), ENTRIES(ExSp, Entries, kExSpEntry)};
const StoreKeyDesc kExSpKeys[] = {
    {0,
     true,
     false,
     4,
     {NUM(ExSp, Num), NUM(ExSp, Sub), NUM(ExSp, Direction), NUM(ExSp, Seq)}},
};

const StoreFieldDesc kWordFields[] = {NUM(Word, Status), NUM(Word, Seq),
                                      STR(Word, Text),
                                      ENTRIES(Word, Entries, kWordEntry)};
const StoreKeyDesc kWordKeys[] = {
    {0, true, false, 2, {STR(Word, Text), NUM(Word, Seq)}},
};

// ---------------------------------------------------------------- Note, Link

const StoreFieldDesc kNoteFields[] = {NUM(Note, Status),
                                      NUM(Note, Num),
                                      NUM(Note, Sub),
                                      NUM(Note, RemedyId),
                                      NUM(Note, Degree),
                                      NUM(Note, AuthorId),
                                      NUM(Note, NoteKind),
                                      PTRSTR(Note, Text1, kNoteTextSize),
                                      PTRSTR(Note, Text2, kNoteTextSize)};
const StoreKeyDesc kNoteKeys[] = {
    {0,
     true,
     false,
     6,
     {NUM(Note, Num), NUM(Note, Sub), NUM(Note, RemedyId), NUM(Note, Degree),
      NUM(Note, AuthorId), NUM(Note, NoteKind)}},
};
const int kNoteAliases[][2] = {{1, 0}}; // whole-table walks

const StoreFieldDesc kLinkFields[] = {
    NUM(Link, Status),   NUM(Link, Num),    NUM(Link, Sub),
    NUM(Link, RemedyId), NUM(Link, Degree), NUM(Link, AuthorId),
    NUM(Link, LinkKind), STR(Link, Title),  STR(Link, File)};
const StoreKeyDesc kLinkKeys[] = {
    {0,
     false,
     false,
     6,
     {NUM(Link, Num), NUM(Link, Sub), NUM(Link, RemedyId), NUM(Link, Degree),
      NUM(Link, AuthorId), NUM(Link, LinkKind)}},
};

// ---------------------------------------------------------------- View, At,
// HistoId

const StoreFieldDesc kViewFields[] = {
    NUM(View, Status), NUM(View, ViewNumber),
    Shown(kFormBits, BYTES(View, AuthorBits))};
const StoreKeyDesc kViewKeys[] = {
    {1, true, false, 1, {NUM(View, ViewNumber)}},
};
const int kViewAliases[][2] = {{0, 0}};

const StoreFieldDesc kAtFields[] = {
    NUM(At, Status),    NUM(At, Num),  NUM(At, Sub),    NUM(At, ParentNum),
    NUM(At, ParentSub), STR(At, Text), STR(At, NewPath)};
const StoreKeyDesc kAtKeys[] = {
    {0, true, false, 2, {NUM(At, Num), NUM(At, Sub)}},
    {1,
     false,
     false,
     3,
     {NUM(At, ParentNum), NUM(At, ParentSub), STR(At, Text)}},
    {kHiddenKeyBase + 1,
     false,
     false,
     3,
     {NUM(At, ParentNum), NUM(At, ParentSub), FOLD(At, Text)}},
};
// An association table holds one language: keys 1 and 3 are one order.
const int kAtAliases[][2] = {{3, 1}, {kHiddenKeyBase + 3, 2}};

const StoreFieldDesc kHistoIdFields[] = {
    NUM(HistoId, Status), NUM(HistoId, Id), NUM(HistoId, ReplacedBy),
    NUM(HistoId, Date), STR(HistoId, Comment)};
const StoreKeyDesc kHistoIdKeys[] = {
    {0, true, false, 1, {NUM(HistoId, Id)}},
};

// ---------------------------------------------------------------- cases

#define CAS1VALUE(i)                                                           \
  Shown(kFormElement, Field(kFU16, offsetof(Cas1, Values) + (i)*2, 2, "Values"))
#define CAS1TEXT(i)                                                            \
  Shown(kFormElement, Field(kFStr, offsetof(Cas1, Texts) + (i)*26, 26, "Texts"))
const StoreFieldDesc kCas1Fields[] = {
    NUM(Cas1, Status),  NUM(Cas1, CaseId), NUM(Cas1, Created),
    NUM(Cas1, Changed), CAS1VALUE(0),      CAS1VALUE(1),
    CAS1VALUE(2),       CAS1VALUE(3),      CAS1VALUE(4),
    CAS1VALUE(5),       CAS1VALUE(6),      CAS1VALUE(7),
    CAS1VALUE(8),       CAS1VALUE(9),      STR(Cas1, Name),
    STR(Cas1, Comment), CAS1TEXT(0),       CAS1TEXT(1),
    CAS1TEXT(2),        CAS1TEXT(3),       CAS1TEXT(4),
    CAS1TEXT(5),        CAS1TEXT(6),       CAS1TEXT(7),
    CAS1TEXT(8),        CAS1TEXT(9)};
static_assert(sizeof(Cas1::Values) == 20 && sizeof(Cas1::Texts) == 260);
const StoreKeyDesc kCas1Keys[] = {
    {0, true, false, 1, {NUM(Cas1, CaseId)}},
};

const StoreFieldDesc kCas2Fields[] = {
    NUM(Cas2, Status),   NUM(Cas2, CaseId),
    NUM(Cas2, Entry),    NUM(Cas2, Value6),
    NUM(Cas2, Value8),   NUM(Cas2, ValueC),
    NUM(Cas2, Sequence), NUM(Cas2, ByteF),
    NUM(Cas2, Byte10),   NUM(Cas2, Byte11),
    NUM(Cas2, Byte12),   NUM(Cas2, Byte13),
    NUM(Cas2, Byte14),   NUM(Cas2, Byte15),
    NUM(Cas2, Byte16),   STR(Cas2, Text1),
    STR(Cas2, Text2),    PTRENTRIES(Cas2, Symptoms, kCas2Entry)};
const StoreKeyDesc kCas2Keys[] = {
    {0,
     true,
     false,
     3,
     {NUM(Cas2, CaseId), NUM(Cas2, Sequence), NUM(Cas2, Entry)}},
};

// ---------------------------------------------------------------- messages,
// generic records

// The message table is read by number and language only; its Status is
// always 0 and is left out of the text form.
const StoreFieldDesc kMsgFields[] = {
    Shown(kFormHidden, NUM(MsgRecord, Status)), NUM(MsgRecord, Number),
    NUM(MsgRecord, Language), STR(MsgRecord, Text)};
const StoreKeyDesc kMsgKeys[] = {
    {0, true, false, 2, {NUM(MsgRecord, Number), NUM(MsgRecord, Language)}},
};

const StoreFieldDesc kGenericFields[] = {
    NUM(GenericRecord, Status), NUM(GenericRecord, Id),
    NUM(GenericRecord, Length), BYTES(GenericRecord, Data)};
const StoreKeyDesc kGenericKeys[] = {
    {0, true, false, 1, {NUM(GenericRecord, Id)}},
};
// Readers trust Length as the bytes of Data in use.
int GenericCheck(const void *rec) {
  return static_cast<const GenericRecord *>(rec)->Length >
                 sizeof(GenericRecord::Data)
             ? kErrTooLarge
             : 0;
}

// The offset of a record's CursorState, -1 for a record without one.
template <typename T> constexpr int GuardOf() {
  if constexpr (requires { T::CursorState; })
    return static_cast<int>(offsetof(T, CursorState));
  else
    return -1;
}

#define FAMILY(name, code, dat, idx, T, fields, keys)                          \
  StoreFamily {                                                                \
    name, code, dat, idx, sizeof(T), GuardOf<T>(), fields, COUNT(fields),      \
        keys, COUNT(keys), nullptr, 0                                          \
  }
#define FAMILY_ALIASED(name, code, dat, idx, T, fields, keys, aliases)         \
  StoreFamily {                                                                \
    name, code, dat, idx, sizeof(T), GuardOf<T>(), fields, COUNT(fields),      \
        keys, COUNT(keys), aliases, COUNT(aliases)                             \
  }
#define FAMILY_GENERIC(name, code, dat, idx)                                   \
  StoreFamily {                                                                \
    name, code, dat, idx, sizeof(GenericRecord), GuardOf<GenericRecord>(),     \
        kGenericFields, COUNT(kGenericFields), kGenericKeys,                   \
        COUNT(kGenericKeys), nullptr, 0, GenericCheck                          \
  }

} // namespace

// ---------------------------------------------------------------- families

const StoreFamily kFamSymptom =
    FAMILY("Symptom", 1, ".dat", ".idx", Symptom, kSymptomFields, kSymptomKeys);
const StoreFamily kFamRemed =
    FAMILY("Remed", 2, ".dat", ".idx", Remed, kRemedFields, kRemedKeys);
const StoreFamily kFamAuthor =
    FAMILY("Author", 3, ".dat", ".idx", Author, kAuthorFields, kAuthorKeys);
const StoreFamily kFamCatalog =
    FAMILY("Catalog", 4, ".dat", ".idx", Catalog, kCatalogFields, kCatalogKeys);
const StoreFamily kFamRlog =
    FAMILY("Rlog", 5, ".dat", ".idx", LogEntry, kRlogFields, kRlogKeys);
const StoreFamily kFamExtract =
    FAMILY("Extract", 6, ".dat", ".idx", Extract, kExtractFields, kExtractKeys);
const StoreFamily kFamExSp =
    FAMILY("ExSp", 7, ".dat", ".idx", ExSp, kExSpFields, kExSpKeys);
const StoreFamily kFamWord =
    FAMILY("Word", 8, ".dat", ".idx", Word, kWordFields, kWordKeys);
const StoreFamily kFamNote = FAMILY_ALIASED(
    "Note", 9, ".dat", ".idx", Note, kNoteFields, kNoteKeys, kNoteAliases);
const StoreFamily kFamLink =
    FAMILY("Link", 10, ".dat", ".idx", Link, kLinkFields, kLinkKeys);
const StoreFamily kFamView = FAMILY_ALIASED(
    "View", 11, ".dat", ".idx", View, kViewFields, kViewKeys, kViewAliases);
const StoreFamily kFamAt = FAMILY_ALIASED("At", 12, ".dat", ".idx", At,
                                          kAtFields, kAtKeys, kAtAliases);
const StoreFamily kFamHistoId = FAMILY("HistoId", 13, ".dat", ".idx", HistoId,
                                       kHistoIdFields, kHistoIdKeys);
const StoreFamily kFamCas1 =
    FAMILY("Cas1", 14, ".da1", ".id1", Cas1, kCas1Fields, kCas1Keys);
const StoreFamily kFamCas2 =
    FAMILY("Cas2", 15, ".da2", ".id2", Cas2, kCas2Fields, kCas2Keys);
const StoreFamily kFamMessage =
    FAMILY("Message", 16, ".dat", ".idx", MsgRecord, kMsgFields, kMsgKeys);
const StoreFamily kFamKeynote = FAMILY_GENERIC("Keynote", 17, ".dat", ".idx");
const StoreFamily kFamPatient = FAMILY_GENERIC("Patient", 18, ".da3", ".id3");
const StoreFamily kFamConsultation =
    FAMILY_GENERIC("Consultation", 19, ".da4", ".id4");
const StoreFamily kFamDiag = FAMILY_GENERIC("Diag", 20, ".da5", ".id5");
const StoreFamily kFamPrem = FAMILY_GENERIC("Prem", 21, ".da6", ".id6");
const StoreFamily kFamDefDiag = FAMILY_GENERIC("DefDiag", 22, ".dat", ".idx");

// ---------------------------------------------------------------- Symptom

TblHandle TblOpenSymptom(const char *path, int, int b) {
  return EngineOpen(kFamSymptom, path, b);
}
TblHandle TblCreateSymptom(const char *path, int, int) {
  return EngineCreate(kFamSymptom, path);
}
int TblRebuildSymptom(const char *path, int, int) {
  return EngineRebuild(kFamSymptom, path);
}
int TblFindFullSymptom(TblHandle h, Symptom *rec, int key, int mode) {
  return EngineFind(h, kFamSymptom, rec, key, mode, kReadFull);
}
int TblFindFullSymptomByText(TblHandle h, Symptom *rec, int key, int mode) {
  if (key != 1 && key != 3) {
    OrvixError = kErrBadKey;
    return kErrBadKey;
  }
  return EngineFind(h, kFamSymptom, rec, key, mode, kReadByText);
}
int TblSaveSymptom(TblHandle h, Symptom *rec, int mode) {
  return EngineSave(h, kFamSymptom, rec, mode);
}
int TblDeleteSymptom(TblHandle h) {
  return EngineDelete(h, kFamSymptom);
}

void TblClearSymptom(Symptom *rec) {
  if (rec == nullptr)
    return;
  SymptomRemedy *arr = rec->Remedies;
  ClearKeepingGuard(rec);
  rec->Remedies = arr;
  if (arr != nullptr)
    StoreFillEntries(arr, 0, TblSymptomRemedRoom(arr), kRemedyEntry);
}
int TblIsLastSymptomRemed(const SymptomRemedy *entry) {
  return entry == nullptr || RemedyIsLast(entry) ? 2 : 1;
}
SymptomRemedy *TblAllocSymptomRemed(int count) {
  void *arr = StoreAllocEntries(count, sizeof(SymptomRemedy));
  if (arr != nullptr)
    StoreFillEntries(arr, 0, StoreEntriesRoom(arr), kRemedyEntry);
  return static_cast<SymptomRemedy *>(arr);
}
void TblFreeSymptomRemed(Symptom *rec) {
  if (rec == nullptr)
    return;
  StoreFreeEntries(rec->Remedies);
  rec->Remedies = nullptr;
}
int TblSymptomRemedRoom(const SymptomRemedy *array) {
  return StoreEntriesRoom(array);
}
long TblGetNewSptId(TblHandle symptoms, int range) {
  if (range != 0) {
    OrvixError = kErrBadArg;
    return 0;
  }
  return EngineNextId(symptoms, kFamSymptom, 8);
}

// ---------------------------------------------------------------- Remed,
// Author

TblHandle TblOpenRemed(const char *path, int, int b) {
  return EngineOpen(kFamRemed, path, b);
}
TblHandle TblCreateRemed(const char *path, int, int) {
  return EngineCreate(kFamRemed, path);
}
int TblRebuildRemed(const char *path, int, int) {
  return EngineRebuild(kFamRemed, path);
}
int TblFindFullRemed(TblHandle h, Remed *rec, int key, int mode) {
  return EngineFind(h, kFamRemed, rec, key, mode, kReadFull);
}
int TblFindRemed(TblHandle h, Remed *rec, int key, int mode) {
  return EngineFind(h, kFamRemed, rec, key, mode, kReadKeys);
}
int TblReadRemed(TblHandle h, Remed *rec) {
  return EngineReadCurrent(h, kFamRemed, rec);
}
int TblSaveRemed(TblHandle h, Remed *rec, int mode) {
  return EngineSave(h, kFamRemed, rec, mode);
}
void TblClearRemed(Remed *rec) {
  if (rec != nullptr)
    ClearKeepingGuard(rec);
}

TblHandle TblOpenAuthor(const char *path, int, int b) {
  return EngineOpen(kFamAuthor, path, b);
}
TblHandle TblCreateAuthor(const char *path, int, int) {
  return EngineCreate(kFamAuthor, path);
}
int TblRebuildAuthor(const char *path, int, int) {
  return EngineRebuild(kFamAuthor, path);
}
int TblFindFullAuthor(TblHandle h, Author *rec, int key, int mode) {
  return EngineFind(h, kFamAuthor, rec, key, mode, kReadFull);
}
int TblFindAuthor(TblHandle h, Author *rec, int key, int mode) {
  return EngineFind(h, kFamAuthor, rec, key, mode, kReadKeys);
}
int TblReadAuthor(TblHandle h, Author *rec) {
  return EngineReadCurrent(h, kFamAuthor, rec);
}
int TblSaveAuthor(TblHandle h, Author *rec, int mode) {
  return EngineSave(h, kFamAuthor, rec, mode);
}
void TblClearAuthor(Author *rec) {
  if (rec != nullptr)
    ClearKeepingGuard(rec);
}

// ---------------------------------------------------------------- Catalog

TblHandle TblOpenCatalog(const char *path, int, int b) {
  return EngineOpen(kFamCatalog, path, b);
}
TblHandle TblCreateCatalog(const char *path, int, int) {
  return EngineCreate(kFamCatalog, path);
}
int TblRebuildCatalog(const char *path, int, int) {
  return EngineRebuild(kFamCatalog, path);
}
int TblFindFullCatalog(TblHandle h, Catalog *rec, int key, int mode) {
  return EngineFind(h, kFamCatalog, rec, key, mode, kReadFull);
}
int TblFindCatalog(TblHandle h, Catalog *rec, int key, int mode) {
  return EngineFind(h, kFamCatalog, rec, key, mode, kReadKeys);
}
int TblSaveCatalog(TblHandle h, Catalog *rec, int mode) {
  return EngineSave(h, kFamCatalog, rec, mode);
}

// ---------------------------------------------------------------- Rlog

TblHandle TblOpenRlog(const char *path, int, int b) {
  return EngineOpen(kFamRlog, path, b);
}
TblHandle TblCreateRlog(const char *path, int, int, int) {
  return EngineCreate(kFamRlog, path);
}
int TblRebuildRlog(const char *path, int, int) {
  return EngineRebuild(kFamRlog, path);
}
int TblFindFullRlog(TblHandle h, LogEntry *rec, int key, int mode) {
  return EngineFind(h, kFamRlog, rec, key, mode, kReadFull);
}
int TblSaveRlog(TblHandle h, LogEntry *rec, int mode) {
  return EngineSave(h, kFamRlog, rec, mode);
}
int TblDeleteRlog(TblHandle h) {
  return EngineDelete(h, kFamRlog);
}

// ---------------------------------------------------------------- Extract,
// ExSp, Word

TblHandle TblOpenExtract(const char *path, int, int b) {
  return EngineOpen(kFamExtract, path, b);
}
TblHandle TblCreateExtract(const char *path, int, int) {
  return EngineCreate(kFamExtract, path);
}
int TblRebuildExtract(const char *path, int, int) {
  return EngineRebuild(kFamExtract, path);
}
int TblFindFullExtract(TblHandle h, Extract *rec, int key, int mode,
                       long *spare) {
  int err = EngineFind(h, kFamExtract, rec, key, mode, kReadFull);
  if (spare != nullptr)
    *spare = err;
  return err;
}
int TblSaveExtract(TblHandle h, Extract *rec, int mode) {
  return EngineSave(h, kFamExtract, rec, mode);
}
int TblDeleteExtract(TblHandle h) {
  return EngineDelete(h, kFamExtract);
}
void TblClearExtract(Extract *rec) {
  if (rec == nullptr)
    return;
  ClearKeepingGuard(rec);
  StoreFillEntries(rec->Entries, 0, kListEntries, kExtractEntry);
}
int TblIsLastExtractSymptom(const ExtractEntry *entry) {
  return entry == nullptr || ExtractIsLast(entry) ? 2 : 1;
}
int TblPeekExtract(TblHandle h, const Extract *key, ExtractEntry *first,
                   ExtractEntry *last, int *count) {
  return EnginePeekEntries(h, kFamExtract, key, first, last, count);
}
int TblShiftUpExtract(TblHandle h, const Extract *key, int from, int last) {
  return EngineShiftUp(h, kFamExtract, key, from, last);
}

TblHandle TblOpenExSp(const char *path, int, int b) {
  return EngineOpen(kFamExSp, path, b);
}
TblHandle TblCreateExSp(const char *path, int, int) {
  return EngineCreate(kFamExSp, path);
}
int TblRebuildExSp(const char *path, int, int) {
  return EngineRebuild(kFamExSp, path);
}
int TblFindFullExSp(TblHandle h, ExSp *rec, int key, int mode, long *spare) {
  int err = EngineFind(h, kFamExSp, rec, key, mode, kReadFull);
  if (spare != nullptr)
    *spare = err;
  return err;
}
int TblSaveExSp(TblHandle h, ExSp *rec, int mode) {
  return EngineSave(h, kFamExSp, rec, mode);
}
int TblDeleteExSp(TblHandle h) {
  return EngineDelete(h, kFamExSp);
}
void TblClearExSp(ExSp *rec) {
  if (rec == nullptr)
    return;
  ClearKeepingGuard(rec);
  StoreFillEntries(rec->Entries, 0, kListEntries, kExSpEntry);
}
int TblIsLastExSpSymptom(const ExSpEntry *entry) {
  return entry == nullptr || ExSpIsLast(entry) ? 2 : 1;
}
int TblPeekExSp(TblHandle h, const ExSp *key, ExSpEntry *first, ExSpEntry *last,
                int *count) {
  return EnginePeekEntries(h, kFamExSp, key, first, last, count);
}
int TblShiftUpExSp(TblHandle h, const ExSp *key, int from, int last) {
  return EngineShiftUp(h, kFamExSp, key, from, last);
}

TblHandle TblOpenWord(const char *path, int, int b) {
  return EngineOpen(kFamWord, path, b);
}
TblHandle TblCreateWord(const char *path, int, int) {
  return EngineCreate(kFamWord, path);
}
int TblRebuildWord(const char *path, int, int) {
  return EngineRebuild(kFamWord, path);
}
int TblFindFullWord(TblHandle h, Word *rec, int key, int mode, long *spare) {
  int err = EngineFind(h, kFamWord, rec, key, mode, kReadFull);
  if (spare != nullptr)
    *spare = err;
  return err;
}
int TblSaveWord(TblHandle h, Word *rec, int mode) {
  return EngineSave(h, kFamWord, rec, mode);
}
int TblDeleteWord(TblHandle h) {
  return EngineDelete(h, kFamWord);
}
void TblClearWord(Word *rec) {
  if (rec == nullptr)
    return;
  ClearKeepingGuard(rec);
  StoreFillEntries(rec->Entries, 0, kListEntries, kWordEntry);
}
int TblIsLastWordSymptom(const WordEntry *entry) {
  return entry == nullptr || WordIsLast(entry) ? 2 : 1;
}
int TblPeekWord(TblHandle h, const Word *key, WordEntry *first, WordEntry *last,
                int *count) {
  return EnginePeekEntries(h, kFamWord, key, first, last, count);
}
int TblShiftUpWord(TblHandle h, const Word *key, int from, int last) {
  return EngineShiftUp(h, kFamWord, key, from, last);
}

// ---------------------------------------------------------------- Note, Link

TblHandle TblOpenNote(const char *path, int, int b) {
  return EngineOpen(kFamNote, path, b);
}
TblHandle TblCreateNote(const char *path, int, int) {
  return EngineCreate(kFamNote, path);
}
int TblRebuildNote(const char *path, int, int) {
  return EngineRebuild(kFamNote, path);
}
int TblFindFullNote(TblHandle h, Note *rec, int key, int mode) {
  return EngineFind(h, kFamNote, rec, key, mode, kReadFull);
}
int TblSaveNote(TblHandle h, Note *rec, int mode) {
  return EngineSave(h, kFamNote, rec, mode);
}
int TblDeleteNote(TblHandle h) {
  return EngineDelete(h, kFamNote);
}
void TblClearNote(Note *rec) {
  if (rec == nullptr)
    return;
  char *t1 = rec->Text1, *t2 = rec->Text2;
  ClearKeepingGuard(rec);
  rec->Text1 = t1;
  rec->Text2 = t2;
  if (t1 != nullptr)
    t1[0] = '\0';
  if (t2 != nullptr)
    t2[0] = '\0';
}

TblHandle TblOpenLink(const char *path, int, int b) {
  return EngineOpen(kFamLink, path, b);
}
TblHandle TblCreateLink(const char *path, int, int) {
  return EngineCreate(kFamLink, path);
}
int TblRebuildLink(const char *path, int, int) {
  return EngineRebuild(kFamLink, path);
}
int TblFindFullLink(TblHandle h, Link *rec, int key, int mode) {
  return EngineFind(h, kFamLink, rec, key, mode, kReadFull);
}
int TblSaveLink(TblHandle h, Link *rec, int mode) {
  return EngineSave(h, kFamLink, rec, mode);
}
int TblDeleteLink(TblHandle h) {
  return EngineDelete(h, kFamLink);
}
void TblClearLink(Link *rec) {
  if (rec != nullptr)
    ClearKeepingGuard(rec);
}

// ---------------------------------------------------------------- View, At,
// HistoId

TblHandle TblOpenView(const char *path, int, int b) {
  return EngineOpen(kFamView, path, b);
}
TblHandle TblCreateView(const char *path, int, int) {
  return EngineCreate(kFamView, path);
}
int TblRebuildView(const char *path, int, int) {
  return EngineRebuild(kFamView, path);
}
int TblFindFullView(TblHandle h, View *rec, int key, int mode) {
  return EngineFind(h, kFamView, rec, key, mode, kReadFull);
}
int TblSaveView(TblHandle h, View *rec, int mode) {
  return EngineSave(h, kFamView, rec, mode);
}

TblHandle TblOpenAt(const char *path, int, int b) {
  return EngineOpen(kFamAt, path, b);
}
TblHandle TblCreateAt(const char *path, int, int) {
  return EngineCreate(kFamAt, path);
}
int TblRebuildAt(const char *path, int, int) {
  return EngineRebuild(kFamAt, path);
}
int TblFindFullAt(TblHandle h, At *rec, int key, int mode) {
  return EngineFind(h, kFamAt, rec, key, mode, kReadFull);
}
int TblFindFullAtByText(TblHandle h, At *rec, int key, int mode) {
  if (key != 1 && key != 3) {
    OrvixError = kErrBadKey;
    return kErrBadKey;
  }
  return EngineFind(h, kFamAt, rec, key, mode, kReadByText);
}
int TblSaveAt(TblHandle h, At *rec, int mode) {
  return EngineSave(h, kFamAt, rec, mode);
}
void TblClearAt(At *rec) {
  if (rec != nullptr)
    ClearKeepingGuard(rec);
}

TblHandle TblOpenHistoId(const char *path, int, int b) {
  return EngineOpen(kFamHistoId, path, b);
}
TblHandle TblCreateHistoId(const char *path, int, int) {
  return EngineCreate(kFamHistoId, path);
}
int TblRebuildHistoId(const char *path, int, int) {
  return EngineRebuild(kFamHistoId, path);
}
int TblFindFullHistoId(TblHandle h, HistoId *rec, int key, int mode) {
  return EngineFind(h, kFamHistoId, rec, key, mode, kReadFull);
}
int TblSaveHistoId(TblHandle h, HistoId *rec, int mode) {
  return EngineSave(h, kFamHistoId, rec, mode);
}

// ---------------------------------------------------------------- cases

TblHandle TblOpenCas1(const char *path, int, int b) {
  return EngineOpen(kFamCas1, path, b);
}
TblHandle TblCreateCas1(const char *path, int, int) {
  return EngineCreate(kFamCas1, path);
}
int TblRebuildCas1(const char *path, int, int) {
  return EngineRebuild(kFamCas1, path);
}
int TblFindFullCas1(TblHandle h, Cas1 *rec, int key, int mode) {
  return EngineFind(h, kFamCas1, rec, key, mode, kReadFull);
}
int TblSaveCas1(TblHandle h, Cas1 *rec, int mode) {
  return EngineSave(h, kFamCas1, rec, mode);
}
int TblDeleteCas1(TblHandle h) {
  return EngineDelete(h, kFamCas1);
}
void TblClearCas1(Cas1 *rec) {
  if (rec != nullptr)
    ClearKeepingGuard(rec);
}

TblHandle TblOpenCas2(const char *path, int, int b) {
  return EngineOpen(kFamCas2, path, b);
}
TblHandle TblCreateCas2(const char *path, int, int) {
  return EngineCreate(kFamCas2, path);
}
int TblRebuildCas2(const char *path, int, int) {
  return EngineRebuild(kFamCas2, path);
}
int TblFindFullCas2(TblHandle h, Cas2 *rec, int key, int mode) {
  return EngineFind(h, kFamCas2, rec, key, mode, kReadFull);
}
int TblSaveCas2(TblHandle h, Cas2 *rec, int mode) {
  return EngineSave(h, kFamCas2, rec, mode);
}
int TblDeleteCas2(TblHandle h) {
  return EngineDelete(h, kFamCas2);
}
void TblClearCas2(Cas2 *rec) {
  if (rec == nullptr)
    return;
  Cas2Symptom *arr = rec->Symptoms;
  ClearKeepingGuard(rec);
  rec->Symptoms = arr;
  if (arr != nullptr)
    StoreFillEntries(arr, 0, StoreEntriesRoom(arr), kCas2Entry);
}
int TblIsLastCas2SymptomRemed(const Cas2Symptom *entry) {
  return entry == nullptr || Cas2IsLast(entry) ? 2 : 1;
}
Cas2Symptom *TblAllocCas2Symptoms(int count) {
  return static_cast<Cas2Symptom *>(
      StoreAllocEntries(count, sizeof(Cas2Symptom))); // zero: terminators
}
void TblFreeCas2Symptoms(Cas2 *rec) {
  if (rec == nullptr)
    return;
  StoreFreeEntries(rec->Symptoms);
  rec->Symptoms = nullptr;
}

// ---------------------------------------------------------------- keynotes,
// patient family, generic records

namespace {

const StoreFamily *GenericFamily(int table) {
  switch (table) {
  case kGenPatient:
    return &kFamPatient;
  case kGenConsultation:
    return &kFamConsultation;
  case kGenDiag:
    return &kFamDiag;
  case kGenPrem:
    return &kFamPrem;
  case kGenDefDiag:
    return &kFamDefDiag;
  case kGenKeynote:
    return &kFamKeynote;
  default:
    return nullptr;
  }
}

const StoreFamily *FamilyOfHandle(TblHandle h) {
  for (int k = kGenPatient; k <= kGenKeynote; ++k)
    if (EngineIsFamily(h, *GenericFamily(k)))
      return GenericFamily(k);
  return nullptr;
}

} // namespace

TblHandle TblOpenGeneric(const char *path, int table, int, int b) {
  const StoreFamily *fam = GenericFamily(table);
  if (fam == nullptr) {
    OrvixError = kErrBadArg;
    return 0;
  }
  return EngineOpen(*fam, path, b);
}
int TblFindFullGeneric(TblHandle h, GenericRecord *rec, int key, int mode) {
  const StoreFamily *fam = FamilyOfHandle(h);
  if (fam == nullptr)
    return OrvixError = kErrNotOpen;
  return EngineFind(h, *fam, rec, key, mode, kReadFull);
}
int TblSaveGeneric(TblHandle h, GenericRecord *rec, int mode) {
  const StoreFamily *fam = FamilyOfHandle(h);
  if (fam == nullptr)
    return OrvixError = kErrNotOpen;
  return EngineSave(h, *fam, rec, mode);
}
int TblDeleteGeneric(TblHandle h) {
  const StoreFamily *fam = FamilyOfHandle(h);
  if (fam == nullptr)
    return OrvixError = kErrNotOpen;
  return EngineDelete(h, *fam);
}
void TblClearGeneric(GenericRecord *rec) {
  if (rec != nullptr)
    ClearKeepingGuard(rec);
}

TblHandle TblOpenKeynote(const char *path, int, int b) {
  return EngineOpen(kFamKeynote, path, b);
}
TblHandle TblCreateKeynote(const char *path, int, int) {
  return EngineCreate(kFamKeynote, path);
}
int TblRebuildKeynote(const char *path, int, int) {
  return EngineRebuild(kFamKeynote, path);
}

int TblCreatePatientFamily(const char *path) {
  const StoreFamily *fams[] = {&kFamPatient, &kFamConsultation, &kFamDiag,
                               &kFamPrem};
  for (const StoreFamily *fam : fams) {
    TblHandle h = EngineCreate(*fam, path);
    if (h == 0)
      return OrvixError;
    if (DbCloseFile(h) != 0)
      return OrvixError;
  }
  return OrvixError = 0;
}
int TblRebuildPatient(const char *path, int, int) {
  return EngineRebuild(kFamPatient, path);
}
int TblRebuildConsultation(const char *path, int, int) {
  return EngineRebuild(kFamConsultation, path);
}
int TblRebuildDiag(const char *path, int, int) {
  return EngineRebuild(kFamDiag, path);
}
int TblRebuildPrem(const char *path, int, int) {
  return EngineRebuild(kFamPrem, path);
}
TblHandle TblCreateDefDiag(const char *path, int, int) {
  return EngineCreate(kFamDefDiag, path);
}
int TblRebuildDefDiag(const char *path, int, int) {
  return EngineRebuild(kFamDefDiag, path);
}
