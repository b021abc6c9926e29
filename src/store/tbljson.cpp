// JSON Lines form of the table families. Each family is described once, by
// a table of named fields over its record structure; dump, load, check and
// stat walk those tables, so a family is a description and four small
// wrappers around its typed store operations.
#include "store/tbljson.h"

#include "platform/cp1252.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "store/codec.h"
#include "store/engine.h"
#include "store/families.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// ---------------------------------------------------------------- fields

enum TjKind : uint8_t {
  kTjU8,
  kTjU16,
  kTjU32,
  kTjI32,
  kTjStr,        // char[size]
  kTjHex,        // uint8_t[size] as hex digits, trailing zero bytes left out
  kTjBits,       // uint8_t[size] bitmap as the list of the numbers set
  kTjPtrStr,     // char * to a buffer of size bytes
  kTjEntries,    // inline array of `size` entries ended by a terminator
  kTjPtrEntries, // pointer to an array from the store's allocator
  kTjU16Array,   // uint16_t[count]
  kTjStrArray,   // char[count][size]
  kTjObject,     // a block of sub-fields (absolute offsets)
};

struct TjField;

struct TjEntryDesc {
  uint32_t size;
  const TjField *fields;
  int count;
  int (*isLast)(const void *entry); // 2 for the terminator
  void (*setLast)(void *entry);
  void *(*alloc)(int count); // pointer arrays: a new array, all terminators
  void (*freeArray)(void *rec);
};

struct TjField {
  const char *name;
  TjKind kind;
  uint32_t off;
  uint32_t size;
  uint32_t count = 0;
  const TjEntryDesc *entries = nullptr;
  const TjField *sub = nullptr;
};

template <typename M> constexpr TjKind NumKind() {
  static_assert(std::is_integral_v<M> && sizeof(M) != 8);
  return sizeof(M) == 1        ? kTjU8
         : sizeof(M) == 2      ? kTjU16
         : std::is_signed_v<M> ? kTjI32
                               : kTjU32;
}

#define TJ_COUNT(a) static_cast<int>(sizeof(a) / sizeof((a)[0]))
#define TJ_NUM(T, f)                                                           \
  TjField {                                                                    \
#f, NumKind < decltype(T::f)>(), offsetof(T, f), sizeof(T::f)              \
  }
#define TJ_STR(T, f)                                                           \
  TjField {                                                                    \
#f, kTjStr, offsetof(T, f), sizeof(T::f)                                   \
  }
#define TJ_HEX(T, f)                                                           \
  TjField {                                                                    \
#f, kTjHex, offsetof(T, f), sizeof(T::f)                                   \
  }
#define TJ_PTRSTR(T, f, size)                                                  \
  TjField {                                                                    \
#f, kTjPtrStr, offsetof(T, f), size                                        \
  }
#define TJ_ENTRIES(T, f, desc)                                                 \
  TjField {                                                                    \
#f, kTjEntries, offsetof(T, f), kListEntries, 0, &desc                     \
  }
#define TJ_PTRENTRIES(T, f, desc)                                              \
  TjField {                                                                    \
#f, kTjPtrEntries, offsetof(T, f), 0, 0, &desc                             \
  }

template <typename V> V Load(const uint8_t *p) {
  V v;
  memcpy(&v, p, sizeof v);
  return v;
}
template <typename V> void Put(uint8_t *p, V v) {
  memcpy(p, &v, sizeof v);
}

// ---------------------------------------------------------------- entries

void RemedySetLast(void *e) {
  SymptomRemedy t{0, 0, 0, 0xffff};
  memcpy(e, &t, sizeof t);
}
void *RemedyAlloc(int n) {
  return TblAllocSymptomRemed(n);
}
void RemedyFree(void *rec) {
  TblFreeSymptomRemed(static_cast<Symptom *>(rec));
}
const TjField kRemedyFields[] = {
    TJ_NUM(SymptomRemedy, RemedyId), TJ_NUM(SymptomRemedy, Degree),
    TJ_NUM(SymptomRemedy, AuthorId), TJ_NUM(SymptomRemedy, ViewBits)};
const TjEntryDesc kRemedyEntry{sizeof(SymptomRemedy),
                               kRemedyFields,
                               TJ_COUNT(kRemedyFields),
                               [](const void *e) {
                                 return TblIsLastSymptomRemed(
                                     static_cast<const SymptomRemedy *>(e));
                               },
                               RemedySetLast,
                               RemedyAlloc,
                               RemedyFree};

const TjField kExtractEntryFields[] = {
    TJ_NUM(ExtractEntry, Num), TJ_NUM(ExtractEntry, Sub),
    TJ_NUM(ExtractEntry, Degree), TJ_NUM(ExtractEntry, AuthorId),
    TJ_NUM(ExtractEntry, ViewBits)};
const TjEntryDesc kExtractEntry{sizeof(ExtractEntry),
                                kExtractEntryFields,
                                TJ_COUNT(kExtractEntryFields),
                                [](const void *e) {
                                  return TblIsLastExtractSymptom(
                                      static_cast<const ExtractEntry *>(e));
                                },
                                [](void *e) {
                                  ExtractEntry t{0, 0, 0, 0, 0xffff};
                                  memcpy(e, &t, sizeof t);
                                },
                                nullptr,
                                nullptr};

const TjField kExSpEntryFields[] = {
    TJ_NUM(ExSpEntry, Num), TJ_NUM(ExSpEntry, Sub), TJ_NUM(ExSpEntry, Zero1),
    TJ_NUM(ExSpEntry, Zero2)};
const TjEntryDesc kExSpEntry{sizeof(ExSpEntry),
                             kExSpEntryFields,
                             TJ_COUNT(kExSpEntryFields),
                             [](const void *e) {
                               return TblIsLastExSpSymptom(
                                   static_cast<const ExSpEntry *>(e));
                             },
                             [](void *e) {
                               ExSpEntry t{0xffffffffu, 0xffff, 0, 0};
                               memcpy(e, &t, sizeof t);
                             },
                             nullptr,
                             nullptr};

const TjField kWordEntryFields[] = {
    TJ_NUM(WordEntry, Num), TJ_NUM(WordEntry, Sub), TJ_NUM(WordEntry, EndNum),
    TJ_NUM(WordEntry, EndSub)};
const TjEntryDesc kWordEntry{sizeof(WordEntry),
                             kWordEntryFields,
                             TJ_COUNT(kWordEntryFields),
                             [](const void *e) {
                               return TblIsLastWordSymptom(
                                   static_cast<const WordEntry *>(e));
                             },
                             [](void *e) {
                               WordEntry t{0, 0, 0, 0xffff};
                               memcpy(e, &t, sizeof t);
                             },
                             nullptr,
                             nullptr};

const TjField kCas2EntryFields[] = {TJ_NUM(Cas2Symptom, Value),
                                    TJ_NUM(Cas2Symptom, Author),
                                    TJ_NUM(Cas2Symptom, Byte)};
const TjEntryDesc kCas2Entry{
    sizeof(Cas2Symptom),
    kCas2EntryFields,
    TJ_COUNT(kCas2EntryFields),
    [](const void *e) {
      return TblIsLastCas2SymptomRemed(static_cast<const Cas2Symptom *>(e));
    },
    [](void *e) { memset(e, 0, sizeof(Cas2Symptom)); },
    [](int n) -> void * { return TblAllocCas2Symptoms(n); },
    [](void *rec) { TblFreeCas2Symptoms(static_cast<Cas2 *>(rec)); }};

// ---------------------------------------------------------------- records

const TjField kSymptomFields[] = {
    TJ_NUM(Symptom, Status),
    TJ_NUM(Symptom, Num),
    TJ_NUM(Symptom, Sub),
    TJ_NUM(Symptom, Num2),
    TJ_NUM(Symptom, Sub2),
    TJ_NUM(Symptom, ParentNum),
    TJ_NUM(Symptom, ParentSub),
    TJ_NUM(Symptom, Chapter),
    TJ_NUM(Symptom, Level),
    TJ_NUM(Symptom, RemedyCount),
    TJ_NUM(Symptom, ChildCount),
    TJ_NUM(Symptom, ViewMask),
    TJ_NUM(Symptom, UniqueId),
    TJ_STR(Symptom, Text1),
    TJ_STR(Symptom, Text2),
    TJ_STR(Symptom, Synonym1),
    TJ_STR(Symptom, Synonym2),
    TJ_STR(Symptom, CrossRef1),
    TJ_STR(Symptom, CrossRef2),
    TJ_PTRENTRIES(Symptom, Remedies, kRemedyEntry),
    TJ_NUM(Symptom, SymptomType),
    TJ_NUM(Symptom, SymptomSubType)};

const TjField kRemedFields[] = {
    TJ_NUM(Remed, Status), TJ_NUM(Remed, Id),     TJ_NUM(Remed, Attr1),
    TJ_NUM(Remed, Listed), TJ_NUM(Remed, Value1), TJ_NUM(Remed, Value2),
    TJ_STR(Remed, Abbrev), TJ_STR(Remed, Name),   TJ_STR(Remed, Name3),
    TJ_STR(Remed, Name4),  TJ_STR(Remed, Name5),  TJ_STR(Remed, Name6),
    TJ_STR(Remed, Name7),  TJ_STR(Remed, Name8),  TJ_STR(Remed, Name9)};

const TjField kAuthorFields[] = {
    TJ_NUM(Author, Status),  TJ_NUM(Author, Id),      TJ_NUM(Author, Value1),
    TJ_NUM(Author, Listed),  TJ_STR(Author, Abbrev),  TJ_STR(Author, Name),
    TJ_STR(Author, Detail1), TJ_STR(Author, Detail2), TJ_STR(Author, Detail3)};

constexpr uint32_t kKeyBlk = offsetof(Catalog, KeynoteBlock);
constexpr uint32_t kRepBlk = offsetof(Catalog, RepertoryBlock);
const TjField kCatalogKeynoteFields[] = {
    {"Title", kTjStr, kKeyBlk + offsetof(CatalogKeynoteBlock, Title),
     sizeof(CatalogKeynoteBlock::Title)},
    {"Folder", kTjStr, kKeyBlk + offsetof(CatalogKeynoteBlock, Folder),
     sizeof(CatalogKeynoteBlock::Folder)}};
const TjField kCatalogRepertoryFields[] = {
    {"Title", kTjStr, kRepBlk + offsetof(CatalogRepertoryBlock, Title),
     sizeof(CatalogRepertoryBlock::Title)},
    {"RefStyle", kTjU8, kRepBlk + offsetof(CatalogRepertoryBlock, RefStyle), 1},
    {"Paths", kTjStrArray, kRepBlk + offsetof(CatalogRepertoryBlock, Paths),
     sizeof(CatalogRepertoryBlock::Paths[0]), kCatPathCount}};
const TjField kCatalogFields[] = {
    TJ_NUM(Catalog, Status),
    TJ_NUM(Catalog, Id),
    TJ_NUM(Catalog, Kind),
    TJ_STR(Catalog, Abbrev),
    {"KeynoteBlock", kTjObject, 0, 0, TJ_COUNT(kCatalogKeynoteFields), nullptr,
     kCatalogKeynoteFields},
    {"RepertoryBlock", kTjObject, 0, 0, TJ_COUNT(kCatalogRepertoryFields),
     nullptr, kCatalogRepertoryFields}};

const TjField kRlogFields[] = {TJ_NUM(LogEntry, head),
                               TJ_NUM(LogEntry, number),
                               TJ_NUM(LogEntry, operation),
                               TJ_NUM(LogEntry, date),
                               TJ_NUM(LogEntry, time),
                               TJ_NUM(LogEntry, symptomId),
                               TJ_HEX(LogEntry, reserved),
                               TJ_NUM(LogEntry, tag),
                               TJ_PTRSTR(LogEntry, text, kLogTextSize),
                               TJ_STR(LogEntry, comment),
                               TJ_NUM(LogEntry, endMark)};

const TjField kExtractFields[] = {
    TJ_NUM(Extract, Status), TJ_NUM(Extract, RemedyId), TJ_NUM(Extract, Seq),
    TJ_ENTRIES(Extract, Entries, kExtractEntry)};

const TjField kExSpFields[] = {
    TJ_NUM(ExSp, Status), TJ_NUM(ExSp, Num),
    TJ_NUM(ExSp, Sub),    TJ_NUM(ExSp, Direction),
    TJ_NUM(ExSp, Seq),    TJ_ENTRIES(ExSp, Entries, kExSpEntry)};

const TjField kWordFields[] = {TJ_NUM(Word, Status), TJ_NUM(Word, Seq),
                               TJ_STR(Word, Text),
                               TJ_ENTRIES(Word, Entries, kWordEntry)};

const TjField kNoteFields[] = {TJ_NUM(Note, Status),
                               TJ_NUM(Note, Num),
                               TJ_NUM(Note, Sub),
                               TJ_NUM(Note, RemedyId),
                               TJ_NUM(Note, Degree),
                               TJ_NUM(Note, AuthorId),
                               TJ_NUM(Note, NoteKind),
                               TJ_PTRSTR(Note, Text1, kNoteTextSize),
                               TJ_PTRSTR(Note, Text2, kNoteTextSize)};

const TjField kLinkFields[] = {
    TJ_NUM(Link, Status),   TJ_NUM(Link, Num),    TJ_NUM(Link, Sub),
    TJ_NUM(Link, RemedyId), TJ_NUM(Link, Degree), TJ_NUM(Link, AuthorId),
    TJ_NUM(Link, LinkKind), TJ_STR(Link, Title),  TJ_STR(Link, File)};

const TjField kViewFields[] = {TJ_NUM(View, Status),
                               TJ_NUM(View, ViewNumber),
                               {"AuthorBits", kTjBits,
                                offsetof(View, AuthorBits),
                                sizeof(View::AuthorBits)}};

const TjField kAtFields[] = {TJ_NUM(At, Status),    TJ_NUM(At, Num),
                             TJ_NUM(At, Sub),       TJ_NUM(At, ParentNum),
                             TJ_NUM(At, ParentSub), TJ_STR(At, Text),
                             TJ_STR(At, NewPath)};

const TjField kHistoIdFields[] = {
    TJ_NUM(HistoId, Status), TJ_NUM(HistoId, Id), TJ_NUM(HistoId, ReplacedBy),
    TJ_NUM(HistoId, Date), TJ_STR(HistoId, Comment)};

const TjField kCas1Fields[] = {
    TJ_NUM(Cas1, Status),
    TJ_NUM(Cas1, CaseId),
    TJ_NUM(Cas1, Created),
    TJ_NUM(Cas1, Changed),
    {"Values", kTjU16Array, offsetof(Cas1, Values), 2, 10},
    TJ_STR(Cas1, Name),
    TJ_STR(Cas1, Comment),
    {"Texts", kTjStrArray, offsetof(Cas1, Texts), sizeof(Cas1::Texts[0]), 10}};

const TjField kCas2Fields[] = {
    TJ_NUM(Cas2, Status),   TJ_NUM(Cas2, CaseId),
    TJ_NUM(Cas2, Entry),    TJ_NUM(Cas2, Value6),
    TJ_NUM(Cas2, Value8),   TJ_NUM(Cas2, ValueC),
    TJ_NUM(Cas2, Sequence), TJ_NUM(Cas2, ByteF),
    TJ_NUM(Cas2, Byte10),   TJ_NUM(Cas2, Byte11),
    TJ_NUM(Cas2, Byte12),   TJ_NUM(Cas2, Byte13),
    TJ_NUM(Cas2, Byte14),   TJ_NUM(Cas2, Byte15),
    TJ_NUM(Cas2, Byte16),   TJ_STR(Cas2, Text1),
    TJ_STR(Cas2, Text2),    TJ_PTRENTRIES(Cas2, Symptoms, kCas2Entry)};

// The message table is read by number and language only; its Status is
// always 0 and is left out of the lines.
const TjField kMsgFields[] = {TJ_NUM(MsgRecord, Number),
                              TJ_NUM(MsgRecord, Language),
                              TJ_STR(MsgRecord, Text)};

const TjField kGenericFields[] = {
    TJ_NUM(GenericRecord, Status), TJ_NUM(GenericRecord, Id),
    TJ_NUM(GenericRecord, Length), TJ_HEX(GenericRecord, Data)};

// ---------------------------------------------------------------- keys

struct TjKey {
  int number;
  bool unique;
  int count;
  const char *fields[6];
};

const TjKey kSymptomKeys[] = {
    {0, true, 2, {"Num", "Sub"}},
    {1, false, 3, {"ParentNum", "ParentSub", "Text1"}},
    {2, false, 2, {"Num2", "Sub2"}},
    {3, false, 3, {"ParentNum", "ParentSub", "Text2"}},
    {4, false, 4, {"ParentNum", "ParentSub", "Num", "Sub"}},
    {8, false, 1, {"UniqueId"}}};
const TjKey kRemedKeys[] = {
    {0, true, 1, {"Id"}}, {1, false, 1, {"Abbrev"}}, {3, false, 1, {"Listed"}}};
const TjKey kCatalogKeys[] = {{0, true, 2, {"Kind", "Id"}},
                              {1, false, 1, {"Abbrev"}}};
const TjKey kRlogKeys[] = {{0, true, 2, {"number", "operation"}},
                           {2, false, 3, {"date", "time", "operation"}}};
const TjKey kExtractKeys[] = {{0, true, 2, {"RemedyId", "Seq"}}};
const TjKey kExSpKeys[] = {{0, true, 4, {"Num", "Sub", "Direction", "Seq"}}};
const TjKey kWordKeys[] = {{0, true, 2, {"Text", "Seq"}}};
const TjKey kNoteKeys[] = {
    {0, true, 6, {"Num", "Sub", "RemedyId", "Degree", "AuthorId", "NoteKind"}}};
const TjKey kLinkKeys[] = {
    {0,
     false,
     6,
     {"Num", "Sub", "RemedyId", "Degree", "AuthorId", "LinkKind"}}};
const TjKey kViewKeys[] = {{1, true, 1, {"ViewNumber"}}};
const TjKey kAtKeys[] = {{0, true, 2, {"Num", "Sub"}},
                         {1, false, 3, {"ParentNum", "ParentSub", "Text"}}};
const TjKey kIdKeys[] = {{0, true, 1, {"Id"}}};
const TjKey kCas1Keys[] = {{0, true, 1, {"CaseId"}}};
const TjKey kCas2Keys[] = {{0, true, 3, {"CaseId", "Sequence", "Entry"}}};
const TjKey kMsgKeys[] = {{0, true, 2, {"Number", "Language"}}};

} // namespace

// ---------------------------------------------------------------- families

struct TjFamily {
  const char *kind;
  const char *datExt, *idxExt;
  size_t size;
  int guardOff; // the CursorState byte, -1 when the record has none
  const TjField *fields;
  int fieldCount;
  const TjKey *keys; // keys[0] is the primary key
  int keyCount;
  TblHandle (*open)(const char *path, int b);
  TblHandle (*create)(const char *path); // creates and opens
  int (*rebuild)(const char *path);
  int (*find)(TblHandle h, void *rec, int key, int mode);
  int (*save)(TblHandle h, void *rec, int mode);
};

namespace {

#define TJ_FAMILY(kind, dat, idx, T, guard, fields, keys)                      \
  kind, dat, idx, sizeof(T), guard, fields, TJ_COUNT(fields), keys,            \
      TJ_COUNT(keys)
#define TJ_GUARD(T) static_cast<int>(offsetof(T, CursorState))

// The typed operations, seen through void records.
#define TJ_OPS(Name, T)                                                        \
  [](const char *p, int b) { return TblOpen##Name(p, 1, b); },                 \
      [](const char *p) { return TblCreate##Name(p, 1, 1); },                  \
      [](const char *p) { return TblRebuild##Name(p, 0, 1); },                 \
      [](TblHandle h, void *r, int k, int m) {                                 \
        return TblFindFull##Name(h, static_cast<T *>(r), k, m);                \
      },                                                                       \
      [](TblHandle h, void *r, int m) {                                        \
        return TblSave##Name(h, static_cast<T *>(r), m);                       \
      }
#define TJ_OPS5(Name, T)                                                       \
  [](const char *p, int b) { return TblOpen##Name(p, 1, b); },                 \
      [](const char *p) { return TblCreate##Name(p, 1, 1); },                  \
      [](const char *p) { return TblRebuild##Name(p, 0, 1); },                 \
      [](TblHandle h, void *r, int k, int m) {                                 \
        return TblFindFull##Name(h, static_cast<T *>(r), k, m, nullptr);       \
      },                                                                       \
      [](TblHandle h, void *r, int m) {                                        \
        return TblSave##Name(h, static_cast<T *>(r), m);                       \
      }
#define TJ_GENERIC_FIND_SAVE                                                   \
  [](TblHandle h, void *r, int k, int m) {                                     \
    return TblFindFullGeneric(h, static_cast<GenericRecord *>(r), k, m);       \
  },                                                                           \
      [](TblHandle h, void *r, int m) {                                        \
        return TblSaveGeneric(h, static_cast<GenericRecord *>(r), m);          \
      }

// The store creates the tables of the patient family only all four together;
// tbltool loads one of them, so it asks the engine for that one alone.
template <const StoreFamily &Fam> TblHandle CreatePatientTable(const char *p) {
  return EngineCreate(Fam, p);
}

const TjFamily kFamilies[] = {
    {TJ_FAMILY("symptom", ".dat", ".idx", Symptom, TJ_GUARD(Symptom),
               kSymptomFields, kSymptomKeys),
     TJ_OPS(Symptom, Symptom)},
    {TJ_FAMILY("remed", ".dat", ".idx", Remed, TJ_GUARD(Remed), kRemedFields,
               kRemedKeys),
     TJ_OPS(Remed, Remed)},
    {TJ_FAMILY("author", ".dat", ".idx", Author, TJ_GUARD(Author),
               kAuthorFields, kRemedKeys),
     TJ_OPS(Author, Author)},
    {TJ_FAMILY("catalog", ".dat", ".idx", Catalog, TJ_GUARD(Catalog),
               kCatalogFields, kCatalogKeys),
     TJ_OPS(Catalog, Catalog)},
    {TJ_FAMILY("rlog", ".dat", ".idx", LogEntry, -1, kRlogFields, kRlogKeys),
     [](const char *p, int b) { return TblOpenRlog(p, 1, b); },
     [](const char *p) { return TblCreateRlog(p, 1, 1, 3); },
     [](const char *p) { return TblRebuildRlog(p, 0, 1); },
     [](TblHandle h, void *r, int k, int m) {
       return TblFindFullRlog(h, static_cast<LogEntry *>(r), k, m);
     },
     [](TblHandle h, void *r, int m) {
       return TblSaveRlog(h, static_cast<LogEntry *>(r), m);
     }},
    {TJ_FAMILY("extract", ".dat", ".idx", Extract, TJ_GUARD(Extract),
               kExtractFields, kExtractKeys),
     TJ_OPS5(Extract, Extract)},
    {TJ_FAMILY("exsp", ".dat", ".idx", ExSp, TJ_GUARD(ExSp), kExSpFields,
               kExSpKeys),
     TJ_OPS5(ExSp, ExSp)},
    {TJ_FAMILY("word", ".dat", ".idx", Word, TJ_GUARD(Word), kWordFields,
               kWordKeys),
     TJ_OPS5(Word, Word)},
    {TJ_FAMILY("note", ".dat", ".idx", Note, TJ_GUARD(Note), kNoteFields,
               kNoteKeys),
     TJ_OPS(Note, Note)},
    {TJ_FAMILY("link", ".dat", ".idx", Link, TJ_GUARD(Link), kLinkFields,
               kLinkKeys),
     TJ_OPS(Link, Link)},
    {TJ_FAMILY("view", ".dat", ".idx", View, TJ_GUARD(View), kViewFields,
               kViewKeys),
     TJ_OPS(View, View)},
    {TJ_FAMILY("at", ".dat", ".idx", At, TJ_GUARD(At), kAtFields, kAtKeys),
     TJ_OPS(At, At)},
    {TJ_FAMILY("histoid", ".dat", ".idx", HistoId, TJ_GUARD(HistoId),
               kHistoIdFields, kIdKeys),
     TJ_OPS(HistoId, HistoId)},
    {TJ_FAMILY("cas1", ".da1", ".id1", Cas1, TJ_GUARD(Cas1), kCas1Fields,
               kCas1Keys),
     TJ_OPS(Cas1, Cas1)},
    {TJ_FAMILY("cas2", ".da2", ".id2", Cas2, TJ_GUARD(Cas2), kCas2Fields,
               kCas2Keys),
     TJ_OPS(Cas2, Cas2)},
    {TJ_FAMILY("message", ".dat", ".idx", MsgRecord, TJ_GUARD(MsgRecord),
               kMsgFields, kMsgKeys),
     [](const char *p, int b) { return MsgOpen(p, 1, b); },
     [](const char *p) { return MsgCreate(p); },
     // The store offers no typed rebuild of the message table; the engine's
     // own does the same as every other family's.
     [](const char *p) { return EngineRebuild(kFamMessage, p); },
     [](TblHandle h, void *r, int k, int m) {
       return MsgFind(h, static_cast<MsgRecord *>(r), k, m);
     },
     [](TblHandle h, void *r, int m) {
       return MsgSave(h, static_cast<MsgRecord *>(r), m);
     }},
    {TJ_FAMILY("keynote", ".dat", ".idx", GenericRecord,
               TJ_GUARD(GenericRecord), kGenericFields, kIdKeys),
     [](const char *p, int b) { return TblOpenKeynote(p, 1, b); },
     [](const char *p) { return TblCreateKeynote(p, 1, 1); },
     [](const char *p) { return TblRebuildKeynote(p, 0, 1); },
     TJ_GENERIC_FIND_SAVE},
    {TJ_FAMILY("defdiag", ".dat", ".idx", GenericRecord,
               TJ_GUARD(GenericRecord), kGenericFields, kIdKeys),
     [](const char *p, int b) { return TblOpenGeneric(p, kGenDefDiag, 1, b); },
     [](const char *p) { return TblCreateDefDiag(p, 1, 1); },
     [](const char *p) { return TblRebuildDefDiag(p, 0, 1); },
     TJ_GENERIC_FIND_SAVE},
    {TJ_FAMILY("patient", ".da3", ".id3", GenericRecord,
               TJ_GUARD(GenericRecord), kGenericFields, kIdKeys),
     [](const char *p, int b) { return TblOpenGeneric(p, kGenPatient, 1, b); },
     CreatePatientTable<kFamPatient>,
     [](const char *p) { return TblRebuildPatient(p, 0, 1); },
     TJ_GENERIC_FIND_SAVE},
    {TJ_FAMILY("consultation", ".da4", ".id4", GenericRecord,
               TJ_GUARD(GenericRecord), kGenericFields, kIdKeys),
     [](const char *p, int b) {
       return TblOpenGeneric(p, kGenConsultation, 1, b);
     },
     CreatePatientTable<kFamConsultation>,
     [](const char *p) { return TblRebuildConsultation(p, 0, 1); },
     TJ_GENERIC_FIND_SAVE},
    {TJ_FAMILY("diag", ".da5", ".id5", GenericRecord, TJ_GUARD(GenericRecord),
               kGenericFields, kIdKeys),
     [](const char *p, int b) { return TblOpenGeneric(p, kGenDiag, 1, b); },
     CreatePatientTable<kFamDiag>,
     [](const char *p) { return TblRebuildDiag(p, 0, 1); },
     TJ_GENERIC_FIND_SAVE},
    {TJ_FAMILY("prem", ".da6", ".id6", GenericRecord, TJ_GUARD(GenericRecord),
               kGenericFields, kIdKeys),
     [](const char *p, int b) { return TblOpenGeneric(p, kGenPrem, 1, b); },
     CreatePatientTable<kFamPrem>,
     [](const char *p) { return TblRebuildPrem(p, 0, 1); },
     TJ_GENERIC_FIND_SAVE},
};

// Every extension a table file may have, for removing a scratch table.
const char *const kAllExtensions[] = {".dat", ".idx", ".da1", ".id1", ".da2",
                                      ".id2", ".da3", ".id3", ".da4", ".id4",
                                      ".da5", ".id5", ".da6", ".id6"};

// The resources tbltool knows of. The store offers no walk of a table's
// resources, so these (Type, Id) pairs are asked for by name.
const uint32_t kKnownResources[][2] = {{kResRepKindType, kResRepKindId},
                                       {kResAddedType, kResAddedId},
                                       {kResAlmanacumType, kResAlmanacumId}};

// ---------------------------------------------------------------- records

// A record of a family with the buffers its pointers need.
struct TjRecord {
  const TjFamily *fam = nullptr;
  std::vector<uint8_t> bytes;
  std::vector<std::vector<char>> texts;
};

void RecordRelease(TjRecord &r) {
  if (r.fam == nullptr || r.bytes.empty())
    return;
  for (int i = 0; i < r.fam->fieldCount; ++i) {
    const TjField &f = r.fam->fields[i];
    if (f.kind == kTjPtrEntries)
      f.entries->freeArray(r.bytes.data());
  }
}

// Empties the record: zero numbers, empty texts, lists of terminators.
// Answers false when memory for an array cannot be had.
bool RecordReset(TjRecord &r, const TjFamily *fam) {
  RecordRelease(r);
  r.fam = fam;
  r.bytes.assign(fam->size, 0);
  r.texts.clear();
  uint8_t *b = r.bytes.data();
  if (fam->guardOff >= 0)
    b[fam->guardOff] = 0xff;
  for (int i = 0; i < fam->fieldCount; ++i) {
    const TjField &f = fam->fields[i];
    if (f.kind == kTjPtrStr) {
      r.texts.emplace_back(f.size, '\0');
      Put<char *>(b + f.off, r.texts.back().data());
    } else if (f.kind == kTjEntries) {
      for (uint32_t k = 0; k < f.size; ++k)
        f.entries->setLast(b + f.off + k * f.entries->size);
    } else if (f.kind == kTjPtrEntries) {
      void *arr = f.entries->alloc(1);
      if (arr == nullptr)
        return false;
      Put<void *>(b + f.off, arr);
    }
  }
  return true;
}

struct RecordGuard {
  TjRecord &r;
  ~RecordGuard() { RecordRelease(r); }
};

// ---------------------------------------------------------------- to JSON

const char kHexDigits[] = "0123456789abcdef";

std::string TextOf(const char *p, size_t cap) {
  return Cp1252ToUtf8(std::string(p, strnlen(p, cap)));
}

void FieldsToJson(const TjField *fields, int count, const uint8_t *b,
                  ordered_json &obj);

ordered_json EntryToJson(const TjEntryDesc &d, const uint8_t *e) {
  ordered_json o = ordered_json::object();
  FieldsToJson(d.fields, d.count, e, o);
  return o;
}

void FieldsToJson(const TjField *fields, int count, const uint8_t *b,
                  ordered_json &obj) {
  for (int i = 0; i < count; ++i) {
    const TjField &f = fields[i];
    const uint8_t *p = b + f.off;
    switch (f.kind) {
    case kTjU8:
      obj[f.name] = *p;
      break;
    case kTjU16:
      obj[f.name] = Load<uint16_t>(p);
      break;
    case kTjU32:
      obj[f.name] = Load<uint32_t>(p);
      break;
    case kTjI32:
      obj[f.name] = Load<int32_t>(p);
      break;
    case kTjStr:
      obj[f.name] = TextOf(reinterpret_cast<const char *>(p), f.size);
      break;
    case kTjPtrStr: {
      const char *t = Load<const char *>(p);
      obj[f.name] = t != nullptr ? TextOf(t, f.size) : std::string();
      break;
    }
    case kTjHex: {
      uint32_t n = f.size;
      while (n > 0 && p[n - 1] == 0)
        --n;
      std::string h;
      for (uint32_t k = 0; k < n; ++k) {
        h += kHexDigits[p[k] >> 4];
        h += kHexDigits[p[k] & 15];
      }
      obj[f.name] = h;
      break;
    }
    case kTjBits: {
      ordered_json a = ordered_json::array();
      for (uint32_t n = 0; n < f.size * 8; ++n)
        if (p[n / 8] & (0x80 >> (n % 8)))
          a.push_back(n);
      obj[f.name] = a;
      break;
    }
    case kTjEntries: {
      ordered_json a = ordered_json::array();
      for (uint32_t k = 0; k < f.size; ++k) {
        const uint8_t *e = p + k * f.entries->size;
        if (f.entries->isLast(e) == 2)
          break;
        a.push_back(EntryToJson(*f.entries, e));
      }
      obj[f.name] = a;
      break;
    }
    case kTjPtrEntries: {
      ordered_json a = ordered_json::array();
      const uint8_t *arr = Load<const uint8_t *>(p);
      int room = StoreEntriesRoom(arr);
      for (int k = 0; k < room; ++k) {
        const uint8_t *e = arr + static_cast<size_t>(k) * f.entries->size;
        if (f.entries->isLast(e) == 2)
          break;
        a.push_back(EntryToJson(*f.entries, e));
      }
      obj[f.name] = a;
      break;
    }
    case kTjU16Array: {
      ordered_json a = ordered_json::array();
      for (uint32_t k = 0; k < f.count; ++k)
        a.push_back(Load<uint16_t>(p + 2 * k));
      obj[f.name] = a;
      break;
    }
    case kTjStrArray: {
      ordered_json a = ordered_json::array();
      for (uint32_t k = 0; k < f.count; ++k)
        a.push_back(
            TextOf(reinterpret_cast<const char *>(p + k * f.size), f.size));
      obj[f.name] = a;
      break;
    }
    case kTjObject: {
      ordered_json o = ordered_json::object();
      FieldsToJson(f.sub, static_cast<int>(f.count), b, o);
      obj[f.name] = o;
      break;
    }
    }
  }
}

std::string LineOf(const ordered_json &o) {
  return o.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

// ---------------------------------------------------------------- from JSON

// Where a value sits, for messages: "Remedies[3].Degree".
struct Where {
  char text[160];
};

bool Refuse(char *msg, size_t cap, const char *where, const char *what) {
  StrFormat(msg, cap, "field \"%s\": %s", where, what);
  return false;
}

bool TakeInt(const json &v, int64_t lo, int64_t hi, int64_t &out) {
  if (v.is_number_unsigned()) {
    uint64_t u = v.get<uint64_t>();
    if (u > static_cast<uint64_t>(hi))
      return false;
    out = static_cast<int64_t>(u);
    return true;
  }
  if (!v.is_number_integer())
    return false;
  out = v.get<int64_t>();
  return out >= lo && out <= hi;
}

// A JSON text as code page 1252 that fits `cap` bytes with its terminator.
bool TakeText(const json &v, size_t cap, std::string &out, const char *where,
              char *msg, size_t mcap) {
  if (!v.is_string())
    return Refuse(msg, mcap, where, "is not a text");
  const std::string &u = v.get_ref<const std::string &>();
  if (u.find('\0') != std::string::npos)
    return Refuse(msg, mcap, where, "holds a zero character");
  out = Utf8ToCp1252(u);
  if (Cp1252ToUtf8(out) != u)
    return Refuse(msg, mcap, where,
                  "holds characters that code page 1252 cannot hold");
  if (out.size() + 1 > cap) {
    char what[96];
    StrFormat(what, "is %zu bytes long, at most %zu fit", out.size(), cap - 1);
    return Refuse(msg, mcap, where, what);
  }
  return true;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

bool FieldsFromJson(const TjField *fields, int count, const json &obj,
                    uint8_t *b, const char *prefix, char *msg, size_t cap);

bool NumberFromJson(const TjField &f, const json &v, uint8_t *p,
                    const char *where, char *msg, size_t cap) {
  int64_t n = 0;
  bool ok = false;
  switch (f.kind) {
  case kTjU8:
    ok = TakeInt(v, 0, 0xff, n);
    if (ok)
      *p = static_cast<uint8_t>(n);
    break;
  case kTjU16:
    ok = TakeInt(v, 0, 0xffff, n);
    if (ok)
      Put<uint16_t>(p, static_cast<uint16_t>(n));
    break;
  case kTjU32:
    ok = TakeInt(v, 0, 0xffffffffll, n);
    if (ok)
      Put<uint32_t>(p, static_cast<uint32_t>(n));
    break;
  default:
    ok = TakeInt(v, INT32_MIN, INT32_MAX, n);
    if (ok)
      Put<int32_t>(p, static_cast<int32_t>(n));
    break;
  }
  if (ok)
    return true;
  const char *range = f.kind == kTjU8    ? "0 to 255"
                      : f.kind == kTjU16 ? "0 to 65535"
                      : f.kind == kTjU32 ? "0 to 4294967295"
                                         : "-2147483648 to 2147483647";
  char what[80];
  StrFormat(what, "is not a whole number from %s", range);
  return Refuse(msg, cap, where, what);
}

bool EntriesFromJson(const TjField &f, const json &v, uint8_t *arr, int room,
                     const char *where, char *msg, size_t cap) {
  const TjEntryDesc &d = *f.entries;
  int n = static_cast<int>(v.size());
  for (int k = 0; k < n; ++k) {
    uint8_t *e = arr + static_cast<size_t>(k) * d.size;
    Where w;
    StrFormat(w.text, "%s[%d]", where, k);
    const json &item = v[static_cast<size_t>(k)];
    if (!item.is_object())
      return Refuse(msg, cap, w.text, "is not an object");
    // Fields the line leaves out are those of an empty entry.
    memset(e, 0, d.size);
    if (!FieldsFromJson(d.fields, d.count, item, e, w.text, msg, cap))
      return false;
    if (d.isLast(e) == 2)
      return Refuse(msg, cap, w.text,
                    "reads as the end of the list; it would cut the list");
  }
  for (int k = n; k < room; ++k)
    d.setLast(arr + static_cast<size_t>(k) * d.size);
  return true;
}

bool FieldFromJson(const TjField &f, const json &v, uint8_t *b,
                   const char *where, char *msg, size_t cap) {
  uint8_t *p = b + f.off;
  std::string s;
  switch (f.kind) {
  case kTjU8:
  case kTjU16:
  case kTjU32:
  case kTjI32:
    return NumberFromJson(f, v, p, where, msg, cap);
  case kTjStr:
    if (!TakeText(v, f.size, s, where, msg, cap))
      return false;
    memset(p, 0, f.size);
    StrCopy(reinterpret_cast<char *>(p), f.size, s.c_str());
    return true;
  case kTjPtrStr: {
    if (!TakeText(v, f.size, s, where, msg, cap))
      return false;
    char *t = Load<char *>(p);
    if (t != nullptr)
      StrCopy(t, f.size, s.c_str());
    return true;
  }
  case kTjHex: {
    if (!v.is_string())
      return Refuse(msg, cap, where, "is not a text of hex digits");
    const std::string &h = v.get_ref<const std::string &>();
    if (h.size() % 2 != 0 || h.size() / 2 > f.size)
      return Refuse(msg, cap, where,
                    "has an odd number of hex digits or too many bytes");
    memset(p, 0, f.size);
    for (size_t k = 0; k < h.size(); k += 2) {
      int hi = HexValue(h[k]), lo = HexValue(h[k + 1]);
      if (hi < 0 || lo < 0)
        return Refuse(msg, cap, where,
                      "holds a character that is no hex digit");
      p[k / 2] = static_cast<uint8_t>(hi * 16 + lo);
    }
    return true;
  }
  case kTjBits: {
    if (!v.is_array())
      return Refuse(msg, cap, where, "is not a list of numbers");
    memset(p, 0, f.size);
    for (const json &bit : v) {
      int64_t n;
      if (!TakeInt(bit, 0, static_cast<int64_t>(f.size) * 8 - 1, n)) {
        char what[80];
        StrFormat(what, "holds something that is no number from 0 to %u",
                  f.size * 8 - 1);
        return Refuse(msg, cap, where, what);
      }
      p[n / 8] = static_cast<uint8_t>(p[n / 8] | (0x80 >> (n % 8)));
    }
    return true;
  }
  case kTjEntries: {
    if (!v.is_array())
      return Refuse(msg, cap, where, "is not a list");
    // The last place of the list is the terminator's room.
    if (v.size() + 1 > f.size) {
      char what[80];
      StrFormat(what, "has %zu entries, at most %u fit", v.size(), f.size - 1);
      return Refuse(msg, cap, where, what);
    }
    return EntriesFromJson(f, v, p, static_cast<int>(f.size), where, msg, cap);
  }
  case kTjPtrEntries: {
    if (!v.is_array())
      return Refuse(msg, cap, where, "is not a list");
    if (v.size() > 1000000)
      return Refuse(msg, cap, where, "has more entries than a record can hold");
    f.entries->freeArray(b);
    int room = static_cast<int>(v.size()) + 1;
    void *arr = f.entries->alloc(room);
    Put<void *>(p, arr);
    if (arr == nullptr)
      return Refuse(msg, cap, where, "needs more memory than there is");
    return EntriesFromJson(f, v, static_cast<uint8_t *>(arr), room, where, msg,
                           cap);
  }
  case kTjU16Array:
  case kTjStrArray: {
    if (!v.is_array() || v.size() > f.count) {
      char what[64];
      StrFormat(what, "is not a list of at most %u values", f.count);
      return Refuse(msg, cap, where, what);
    }
    for (size_t k = 0; k < v.size(); ++k) {
      Where w;
      StrFormat(w.text, "%s[%zu]", where, k);
      if (f.kind == kTjU16Array) {
        TjField one{f.name, kTjU16, 0, 2};
        if (!NumberFromJson(one, v[k], p + 2 * k, w.text, msg, cap))
          return false;
      } else {
        if (!TakeText(v[k], f.size, s, w.text, msg, cap))
          return false;
        char *t = reinterpret_cast<char *>(p + k * f.size);
        memset(t, 0, f.size);
        StrCopy(t, f.size, s.c_str());
      }
    }
    return true;
  }
  case kTjObject:
    if (!v.is_object())
      return Refuse(msg, cap, where, "is not an object");
    return FieldsFromJson(f.sub, static_cast<int>(f.count), v, b, where, msg,
                          cap);
  }
  return Refuse(msg, cap, where, "has a form this program does not know");
}

bool FieldsFromJson(const TjField *fields, int count, const json &obj,
                    uint8_t *b, const char *prefix, char *msg, size_t cap) {
  for (auto it = obj.begin(); it != obj.end(); ++it) {
    const TjField *f = nullptr;
    for (int i = 0; i < count && f == nullptr; ++i)
      if (it.key() == fields[i].name)
        f = &fields[i];
    Where w;
    if (prefix[0] != '\0')
      StrFormat(w.text, "%s.%s", prefix, it.key().c_str());
    else
      StrCopy(w.text, it.key().c_str());
    if (f == nullptr)
      return Refuse(msg, cap, w.text, "is no field of this record");
    if (!FieldFromJson(*f, it.value(), b, w.text, msg, cap))
      return false;
  }
  return true;
}

// A resource line is {"Resource": {"Type": n, "Id": n, "Text": "..."}}.
bool IsResourceLine(const json &j) {
  return j.is_object() && j.size() == 1 && j.contains("Resource");
}

bool ResourceFromJson(const json &j, Resource &r, char *msg, size_t cap) {
  memset(&r, 0, sizeof r);
  const json &o = j["Resource"];
  if (!o.is_object())
    return Refuse(msg, cap, "Resource", "is not an object");
  int64_t n;
  for (auto it = o.begin(); it != o.end(); ++it) {
    Where w;
    StrFormat(w.text, "Resource.%s", it.key().c_str());
    if (it.key() == "Type" || it.key() == "Id") {
      if (!TakeInt(it.value(), 0, 0xffffffffll, n))
        return Refuse(msg, cap, w.text,
                      "is not a whole number from 0 to 4294967295");
      (it.key() == "Type" ? r.Type : r.Id) = static_cast<uint32_t>(n);
    } else if (it.key() == "Text") {
      if (!it.value().is_string())
        return Refuse(msg, cap, w.text, "is not a text");
      // A resource keeps its length: zero bytes inside are kept too.
      const std::string &u = it.value().get_ref<const std::string &>();
      std::string t = Utf8ToCp1252(u);
      if (Cp1252ToUtf8(t) != u)
        return Refuse(msg, cap, w.text,
                      "holds characters that code page 1252 cannot hold");
      if (t.size() > sizeof r.Text)
        return Refuse(msg, cap, w.text, "is longer than 1024 bytes");
      memcpy(r.Text, t.data(), t.size());
      r.Length = static_cast<uint32_t>(t.size());
    } else {
      return Refuse(msg, cap, w.text, "is no field of a resource");
    }
  }
  return true;
}

ordered_json ResourceToJson(const Resource &r) {
  ordered_json o = ordered_json::object();
  o["Type"] = r.Type;
  o["Id"] = r.Id;
  size_t len = std::min<size_t>(r.Length, sizeof r.Text);
  o["Text"] = Cp1252ToUtf8(std::string(r.Text, len));
  ordered_json line = ordered_json::object();
  line["Resource"] = o;
  return line;
}

// ---------------------------------------------------------------- files

bool RealFile(const char *base, const char *ext, std::string &real) {
  char stored[kPathMax + 16];
  size_t n = StrFormat(stored, "%s%s", base, ext);
  if (n != strlen(base) + strlen(ext) || n > kPathMax)
    return false;
  return PlatRealPath(stored, real);
}

bool FileExists(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0;
}

long long FileSize(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}

void RemoveTable(const char *base) {
  for (const char *ext : kAllExtensions) {
    std::string real;
    if (RealFile(base, ext, real) && FileExists(real))
      unlink(real.c_str());
  }
}

const char *ErrorName(int err) {
  switch (err) {
  case kErrNone:
    return "no error";
  case kErrBadArg:
    return "bad argument";
  case kErrDuplicate:
    return "duplicate key";
  case kErrNotOpen:
    return "table not open";
  case kErrBadKey:
    return "no such key";
  case kErrNoCurrent:
    return "no current record";
  case kErrBadPath:
    return "path cannot be had";
  case kErrNoFile:
    return "table file missing";
  case kErrBadIndex:
    return "index stale or damaged";
  case kErrOutOfSpace:
    return "disk full";
  case kErrDamaged:
    return "data file damaged or foreign";
  case kErrIo:
    return "read or write refused";
  case kErrTooLarge:
    return "record beyond limits";
  case kErrAccess:
    return "no permission";
  case kErrExists:
    return "table exists already";
  case kErrLocked:
    return "table held by another process";
  case kErrInUse:
    return "table in use";
  case kErrEnd:
    return "end of data";
  case kErrNoMemory:
    return "memory exhausted";
  default:
    return "store error";
  }
}

// ---------------------------------------------------------------- keys

const TjField *FieldNamed(const TjFamily *fam, const char *name) {
  for (int i = 0; i < fam->fieldCount; ++i)
    if (strcmp(fam->fields[i].name, name) == 0)
      return &fam->fields[i];
  return nullptr;
}

// Compares one key field of two records as the store orders them: numbers
// by value, texts byte by byte as unsigned characters.
int CompareField(const TjField &f, const uint8_t *a, const uint8_t *b) {
  const uint8_t *x = a + f.off, *y = b + f.off;
  switch (f.kind) {
  case kTjU8:
    return (*x > *y) - (*x < *y);
  case kTjU16: {
    uint16_t u = Load<uint16_t>(x), v = Load<uint16_t>(y);
    return (u > v) - (u < v);
  }
  case kTjU32: {
    uint32_t u = Load<uint32_t>(x), v = Load<uint32_t>(y);
    return (u > v) - (u < v);
  }
  case kTjI32: {
    int32_t u = Load<int32_t>(x), v = Load<int32_t>(y);
    return (u > v) - (u < v);
  }
  case kTjStr: {
    size_t n = std::min(strnlen(reinterpret_cast<const char *>(x), f.size),
                        strnlen(reinterpret_cast<const char *>(y), f.size));
    int c = memcmp(x, y, n);
    if (c != 0)
      return c < 0 ? -1 : 1;
    uint8_t cx = n < f.size ? x[n] : 0, cy = n < f.size ? y[n] : 0;
    return (cx > cy) - (cx < cy);
  }
  default:
    return 0;
  }
}

struct KeyFields {
  const TjKey *key = nullptr;
  const TjField *fields[6] = {};
};

bool ResolveKey(const TjFamily *fam, const TjKey &key, KeyFields &kf) {
  kf.key = &key;
  for (int i = 0; i < key.count; ++i)
    if ((kf.fields[i] = FieldNamed(fam, key.fields[i])) == nullptr)
      return false;
  return true;
}

int CompareKey(const KeyFields &kf, const uint8_t *a, const uint8_t *b) {
  for (int i = 0; i < kf.key->count; ++i)
    if (int c = CompareField(*kf.fields[i], a, b))
      return c;
  return 0;
}

// Copies the key's fields from one record to another of the family; a walk
// keeps only these of the record before.
void CopyKeyFields(const KeyFields &kf, const uint8_t *from, uint8_t *to) {
  for (int i = 0; i < kf.key->count; ++i) {
    const TjField &f = *kf.fields[i];
    memcpy(to + f.off, from + f.off, f.size);
  }
}

// The key's fields as bytes that are equal exactly when the fields are.
std::string KeyBlob(const KeyFields &kf, const uint8_t *rec) {
  std::string s;
  for (int i = 0; i < kf.key->count; ++i) {
    const TjField &f = *kf.fields[i];
    const char *p = reinterpret_cast<const char *>(rec + f.off);
    if (f.kind == kTjStr)
      s.append(p, strnlen(p, f.size)).push_back('\0');
    else
      s.append(p, f.size);
  }
  return s;
}

// The key's fields as a person reads them: "Num=3 Sub=1".
std::string KeyText(const KeyFields &kf, const uint8_t *rec) {
  ordered_json o = ordered_json::object();
  for (int i = 0; i < kf.key->count; ++i)
    FieldsToJson(kf.fields[i], 1, rec, o);
  std::string s;
  for (auto it = o.begin(); it != o.end(); ++it) {
    if (!s.empty())
      s += ' ';
    s += it.key() + "=" + LineOf(it.value());
  }
  return s;
}

// Opens for reading: the normal open, else the sequential one when the index
// is the trouble. `seq` tells which one it was.
TblHandle OpenForReading(const TjFamily *fam, const char *path, FILE *notes,
                         bool &seq) {
  seq = false;
  TblHandle h = fam->open(path, 1);
  if (h == 0 && OrvixError == kErrBadIndex) {
    if (notes != nullptr)
      fprintf(notes,
              "%s: the index is stale or damaged (14); reading the data file "
              "in file order. tbltool rebuild mends the index.\n",
              path);
    h = fam->open(path, 0);
    seq = h != 0;
  }
  return h;
}

} // namespace

// ---------------------------------------------------------------- API

const TjFamily *TjFindFamily(const char *kind) {
  if (kind == nullptr)
    return nullptr;
  for (const TjFamily &f : kFamilies)
    if (strcasecmp(f.kind, kind) == 0)
      return &f;
  return nullptr;
}

const char *TjFamilyKind(int index) {
  if (index < 0 || index >= TJ_COUNT(kFamilies))
    return nullptr;
  return kFamilies[index].kind;
}

int TjDump(const TjFamily *fam, const char *path, FILE *out, FILE *notes) {
  if (fam == nullptr || path == nullptr || out == nullptr)
    return OrvixError = kErrBadArg;
  bool seq;
  TblHandle h = OpenForReading(fam, path, notes, seq);
  if (h == 0)
    return OrvixError;
  TjRecord rec;
  RecordGuard guard{rec};
  int err = RecordReset(rec, fam) ? 0 : kErrNoMemory;
  int mode = kFindFirst;
  while (err == 0) {
    if (fam->find(h, rec.bytes.data(), fam->keys[0].number, mode) != 0) {
      if (OrvixError != kErrEnd)
        err = OrvixError;
      break;
    }
    mode = kFindNext;
    ordered_json o = ordered_json::object();
    FieldsToJson(fam->fields, fam->fieldCount, rec.bytes.data(), o);
    std::string line = LineOf(o);
    line += '\n';
    if (fwrite(line.data(), 1, line.size(), out) != line.size())
      err = kErrIo;
  }
  for (const auto &id : kKnownResources) {
    if (err != 0)
      break;
    Resource r;
    memset(&r, 0, sizeof r);
    r.Type = id[0];
    r.Id = id[1];
    if (DbGetResource(h, &r, &r, 2) != 0) {
      if (OrvixError != kErrEnd)
        err = OrvixError;
      continue;
    }
    std::string line = LineOf(ResourceToJson(r)) + "\n";
    if (fwrite(line.data(), 1, line.size(), out) != line.size())
      err = kErrIo;
  }
  DbCloseFile(h);
  if (err == 0 && fflush(out) != 0)
    err = kErrIo;
  return OrvixError = err;
}

int TjLoad(const TjFamily *fam, const char *path, FILE *in, char *msg,
           size_t cap) {
  if (msg != nullptr && cap > 0)
    msg[0] = '\0';
  char dummy[2];
  if (msg == nullptr || cap == 0) {
    msg = dummy;
    cap = sizeof dummy;
  }
  if (fam == nullptr || path == nullptr || in == nullptr) {
    StrCopy(msg, cap, "no family, path or input");
    return OrvixError = kErrBadArg;
  }

  // Every line is read and checked before anything is created.
  std::vector<std::string> lines;
  std::vector<long> lineNumbers;
  {
    char *buf = nullptr;
    size_t bufCap = 0;
    ssize_t n;
    long number = 0;
    while ((n = getline(&buf, &bufCap, in)) >= 0) {
      ++number;
      std::string line(buf, static_cast<size_t>(n));
      while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
      if (line.find_first_not_of(" \t") == std::string::npos)
        continue; // blank lines carry nothing
      lines.push_back(std::move(line));
      lineNumbers.push_back(number);
    }
    free(buf);
    if (ferror(in)) {
      StrCopy(msg, cap, "the input cannot be read");
      return OrvixError = kErrIo;
    }
  }
  TjRecord rec;
  RecordGuard guard{rec};
  char why[512];
  for (size_t i = 0; i < lines.size(); ++i) {
    json j = json::parse(lines[i], nullptr, false);
    bool ok;
    if (j.is_discarded()) {
      StrCopy(why, "not a JSON text");
      ok = false;
    } else if (!j.is_object()) {
      StrCopy(why, "not a JSON object");
      ok = false;
    } else if (IsResourceLine(j)) {
      Resource r;
      ok = ResourceFromJson(j, r, why, sizeof why);
    } else {
      if (!RecordReset(rec, fam)) {
        StrCopy(msg, cap, "memory exhausted");
        return OrvixError = kErrNoMemory;
      }
      ok = FieldsFromJson(fam->fields, fam->fieldCount, j, rec.bytes.data(), "",
                          why, sizeof why);
    }
    if (!ok) {
      StrFormat(msg, cap, "line %ld: %s; nothing was written", lineNumbers[i],
                why);
      return OrvixError = kErrBadArg;
    }
  }

  // The table goes in beside the target under a scratch name and takes the
  // target's name only when every record is in.
  std::string target, targetIdx;
  if (!RealFile(path, fam->datExt, target) ||
      !RealFile(path, fam->idxExt, targetIdx)) {
    StrFormat(msg, cap, "%s: the path cannot be had", path);
    return OrvixError = kErrBadPath;
  }
  if (FileExists(target)) {
    StrFormat(msg, cap, "%s: the table exists already; nothing was written",
              path);
    return OrvixError = kErrExists;
  }
  char scratch[kPathMax + 1];
  size_t sn = StrFormat(scratch, "%s~load", path);
  std::string scratchDat, scratchIdx;
  if (sn != strlen(path) + 5 || !RealFile(scratch, fam->datExt, scratchDat) ||
      !RealFile(scratch, fam->idxExt, scratchIdx)) {
    StrFormat(msg, cap, "%s: the path is too long for the scratch table", path);
    return OrvixError = kErrBadPath;
  }
  RemoveTable(scratch); // left over from a load that was cut short
  TblHandle h = fam->create(scratch);
  if (h == 0) {
    int err = OrvixError;
    StrFormat(msg, cap, "%s: the table cannot be created (%d, %s)", path, err,
              ErrorName(err));
    RemoveTable(scratch);
    return OrvixError = err;
  }
  int err = 0;
  for (size_t i = 0; i < lines.size() && err == 0; ++i) {
    json j = json::parse(lines[i], nullptr, false);
    if (IsResourceLine(j)) {
      Resource r;
      ResourceFromJson(j, r, why, sizeof why);
      if (DbAddResource(h, &r) != 0) {
        err = OrvixError;
        StrFormat(msg, cap, "line %ld: the store refused the resource (%d, %s)",
                  lineNumbers[i], err, ErrorName(err));
      }
      continue;
    }
    if (!RecordReset(rec, fam)) {
      err = kErrNoMemory;
      StrCopy(msg, cap, "memory exhausted");
      break;
    }
    FieldsFromJson(fam->fields, fam->fieldCount, j, rec.bytes.data(), "", why,
                   sizeof why);
    if (fam->save(h, rec.bytes.data(), kSaveAdd) != 0) {
      err = OrvixError;
      StrFormat(msg, cap, "line %ld: the store refused the record (%d, %s)",
                lineNumbers[i], err, ErrorName(err));
    }
  }
  if (DbCloseFile(h) != 0 && err == 0) {
    err = OrvixError;
    StrFormat(msg, cap, "%s: the table cannot be closed (%d, %s)", path, err,
              ErrorName(err));
  }
  if (err == 0 && FileExists(target)) {
    err = kErrExists;
    StrFormat(msg, cap,
              "%s: the table appeared while loading; nothing was "
              "written",
              path);
  }
  if (err == 0) {
    if (rename(scratchDat.c_str(), target.c_str()) != 0 ||
        rename(scratchIdx.c_str(), targetIdx.c_str()) != 0) {
      err = kErrIo;
      StrFormat(msg, cap, "%s: the loaded table cannot take its name", path);
      unlink(target.c_str());
    }
  }
  if (err != 0 && strstr(msg, "nothing was written") == nullptr)
    StrAppend(msg, cap, "; nothing was written");
  RemoveTable(scratch);
  return OrvixError = err;
}

int TjRebuild(const TjFamily *fam, const char *path) {
  if (fam == nullptr || path == nullptr)
    return OrvixError = kErrBadArg;
  return OrvixError = fam->rebuild(path);
}

namespace {

// Prints at most a few faults of one kind, then counts the rest.
struct FaultLog {
  FILE *out;
  long total = 0;
  void Add(const char *fmt, ...) __attribute__((format(printf, 2, 3))) {
    ++total;
    if (out == nullptr)
      return;
    va_list ap;
    va_start(ap, fmt);
    char line[1024];
    StrFormatV(line, sizeof line, fmt, ap);
    va_end(ap);
    fprintf(out, "fault: %s\n", line);
  }
};

constexpr long kFaultsShownPerWalk = 10;

// Walks one key in one direction; checks order, counts, collects the
// primary key of each record. Answers 0 or the store error that ended the
// walk early.
int WalkKey(const TjFamily *fam, TblHandle h, const KeyFields &kf,
            const KeyFields &primary, bool forward, TjRecord &rec,
            std::vector<std::string> &blobs, FaultLog &log) {
  blobs.clear();
  std::vector<uint8_t> prev(fam->size, 0);
  bool havePrev = false;
  int mode = forward ? kFindFirst : kFindLast;
  long orderFaults = 0;
  for (;;) {
    if (fam->find(h, rec.bytes.data(), kf.key->number, mode) != 0)
      return OrvixError == kErrEnd ? 0 : OrvixError;
    mode = forward ? kFindNext : kFindPrev;
    const uint8_t *cur = rec.bytes.data();
    if (havePrev) {
      // Equal key fields are ordered by the primary key.
      int c = CompareKey(kf, prev.data(), cur);
      if (c == 0 && !kf.key->unique)
        c = CompareKey(primary, prev.data(), cur);
      if (!forward)
        c = -c;
      bool bad = c > 0 || (c == 0 && kf.key->unique);
      if (bad && orderFaults++ < kFaultsShownPerWalk)
        log.Add("key %d, walking %s: record %s comes after %s, out of order",
                kf.key->number, forward ? "forward" : "backward",
                KeyText(kf, cur).c_str(), KeyText(kf, prev.data()).c_str());
      else if (bad)
        ++log.total;
    }
    CopyKeyFields(kf, cur, prev.data());
    CopyKeyFields(primary, cur, prev.data());
    havePrev = true;
    blobs.push_back(KeyBlob(primary, cur));
    if (blobs.size() > 100000000)
      return kErrTooLarge; // a walk that does not end
  }
}

} // namespace

int TjCheck(const TjFamily *fam, const char *path, FILE *report, long *faults) {
  if (faults != nullptr)
    *faults = 0;
  if (fam == nullptr || path == nullptr)
    return OrvixError = kErrBadArg;
  FaultLog log{report};
  TjRecord rec, probe;
  RecordGuard g1{rec}, g2{probe};
  if (!RecordReset(rec, fam) || !RecordReset(probe, fam))
    return OrvixError = kErrNoMemory;

  TblHandle h = fam->open(path, 1);
  if (h == 0) {
    int err = OrvixError;
    if (err == kErrBadIndex)
      log.Add("%s: the index is stale or damaged (14); rebuild it", path);
    else if (err == kErrNoFile)
      log.Add("%s: the table does not exist (12)", path);
    else
      log.Add("%s: the table does not open (%d, %s)", path, err,
              ErrorName(err));
  }
  long count = h != 0 ? DbCountEntries(h) : -1;
  KeyFields primary;
  if (!ResolveKey(fam, fam->keys[0], primary))
    return OrvixError = kErrBadArg;
  if (h != 0) {
    TblHandle h2 = fam->open(path, 1);
    std::vector<std::string> first, blobs;
    for (int k = 0; k < fam->keyCount; ++k) {
      KeyFields kf;
      if (!ResolveKey(fam, fam->keys[k], kf))
        return OrvixError = kErrBadArg;
      for (int dir = 0; dir < 2; ++dir) {
        bool forward = dir == 0;
        int err = WalkKey(fam, h, kf, primary, forward, rec, blobs, log);
        if (err != 0)
          log.Add("key %d, walking %s: the walk stopped after %zu records "
                  "(%d, %s)",
                  kf.key->number, forward ? "forward" : "backward",
                  blobs.size(), err, ErrorName(err));
        if (static_cast<long>(blobs.size()) != count)
          log.Add("key %d, walking %s: %zu records, but the table counts %ld",
                  kf.key->number, forward ? "forward" : "backward",
                  blobs.size(), count);
        std::sort(blobs.begin(), blobs.end());
        if (k == 0 && forward)
          first = blobs;
        else if (blobs != first)
          log.Add("key %d, walking %s: the walk does not visit the same "
                  "records as key %d",
                  kf.key->number, forward ? "forward" : "backward",
                  fam->keys[0].number);
      }
    }
    // Each record is found again by its primary key, through a second
    // handle so that the walk keeps its place.
    if (h2 == 0) {
      int err = OrvixError;
      log.Add("%s: a second handle does not open (%d, %s)", path, err,
              ErrorName(err));
    } else {
      long missing = 0;
      int mode = kFindFirst;
      while (fam->find(h, rec.bytes.data(), primary.key->number, mode) == 0) {
        mode = kFindNext;
        for (int i = 0; i < primary.key->count; ++i) {
          const TjField &f = *primary.fields[i];
          memcpy(probe.bytes.data() + f.off, rec.bytes.data() + f.off, f.size);
        }
        bool found =
            fam->find(h2, probe.bytes.data(), primary.key->number,
                      kFindEqual) == 0 &&
            CompareKey(primary, probe.bytes.data(), rec.bytes.data()) == 0;
        int err = OrvixError; // before the key's text is made
        if (!found && missing++ < kFaultsShownPerWalk)
          log.Add("record %s is not found by its primary key (%d, %s)",
                  KeyText(primary, rec.bytes.data()).c_str(), err,
                  ErrorName(err));
        else if (!found)
          ++log.total;
      }
      DbCloseFile(h2);
    }
    DbCloseFile(h);
  }

  // The sequential open reads the data file alone.
  TblHandle hs = fam->open(path, 0);
  int hsErr = OrvixError;
  if (hs == 0) {
    if (h != 0 || hsErr != kErrNoFile)
      log.Add("%s: the sequential open fails (%d, %s)", path, hsErr,
              ErrorName(hsErr));
  } else {
    long seen = 0;
    int mode = kFindFirst;
    while (fam->find(hs, rec.bytes.data(), primary.key->number, mode) == 0) {
      mode = kFindNext;
      ++seen;
    }
    int walkErr = OrvixError;
    if (walkErr != kErrEnd)
      log.Add("sequential walk: stopped after %ld records (%d, %s)", seen,
              walkErr, ErrorName(walkErr));
    if (h != 0 && seen != count)
      log.Add("sequential walk: %ld records, but the index counts %ld", seen,
              count);
    else if (h == 0 && report != nullptr)
      fprintf(report, "the data file holds %ld records\n", seen);
    DbCloseFile(hs);
  }
  if (faults != nullptr)
    *faults = log.total;
  return OrvixError = 0;
}

int TjStat(const TjFamily *fam, const char *path, FILE *out) {
  if (fam == nullptr || path == nullptr || out == nullptr)
    return OrvixError = kErrBadArg;
  std::string dat, idx;
  if (!RealFile(path, fam->datExt, dat) || !RealFile(path, fam->idxExt, idx))
    return OrvixError = kErrBadPath;
  bool seq;
  TblHandle h = OpenForReading(fam, path, out, seq);
  if (h == 0)
    return OrvixError;
  TjRecord rec;
  RecordGuard guard{rec};
  if (!RecordReset(rec, fam)) {
    DbCloseFile(h);
    return OrvixError = kErrNoMemory;
  }
  fprintf(out, "family   %s\n", fam->kind);
  fprintf(out, "entries  %ld\n", DbCountEntries(h));
  fprintf(out, "data     %lld bytes  %s\n", FileSize(dat), dat.c_str());
  long long idxSize = FileSize(idx);
  if (idxSize >= 0)
    fprintf(out, "index    %lld bytes  %s\n", idxSize, idx.c_str());
  else
    fprintf(out, "index    missing  %s\n", idx.c_str());
  // Distinct values need the key's order; a sequential open has none.
  for (int k = 0; k < fam->keyCount && !seq; ++k) {
    KeyFields kf;
    if (!ResolveKey(fam, fam->keys[k], kf))
      break;
    std::vector<uint8_t> prev(fam->size, 0);
    long distinct = 0;
    int mode = kFindFirst;
    while (fam->find(h, rec.bytes.data(), kf.key->number, mode) == 0) {
      if (mode == kFindFirst ||
          CompareKey(kf, prev.data(), rec.bytes.data()) != 0)
        ++distinct;
      mode = kFindNext;
      CopyKeyFields(kf, rec.bytes.data(), prev.data());
    }
    fprintf(out, "key %-4d %ld distinct (", kf.key->number, distinct);
    for (int i = 0; i < kf.key->count; ++i)
      fprintf(out, "%s%s", i > 0 ? ", " : "", kf.key->fields[i]);
    fprintf(out, ")\n");
  }
  int err = 0;
  if (DbCloseFile(h) != 0)
    err = OrvixError;
  return OrvixError = err;
}
