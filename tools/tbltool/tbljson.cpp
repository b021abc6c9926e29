// JSON Lines form of the table families. The fields, keys and files of each
// family are the store's own description (store/families.cpp); dump, load,
// check and stat walk those tables by the fields' names, so a family here
// is its KIND word and nothing more.
#include "tbljson.h"

#include "platform/cp1252.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "store/bytes.h"
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
#include <unistd.h>
#include <vector>

using nlohmann::json;
using nlohmann::ordered_json;

struct TjFamily {
  const char *kind; // the word on tbltool's command line
  const StoreFamily *store;
};

namespace {

#define TJ_COUNT(a) static_cast<int>(sizeof(a) / sizeof((a)[0]))

const TjFamily kFamilies[] = {
    {"symptom", &kFamSymptom}, {"remed", &kFamRemed},
    {"author", &kFamAuthor},   {"catalog", &kFamCatalog},
    {"rlog", &kFamRlog},       {"extract", &kFamExtract},
    {"exsp", &kFamExSp},       {"word", &kFamWord},
    {"note", &kFamNote},       {"link", &kFamLink},
    {"view", &kFamView},       {"at", &kFamAt},
    {"histoid", &kFamHistoId}, {"cas1", &kFamCas1},
    {"cas2", &kFamCas2},       {"message", &kFamMessage},
    {"keynote", &kFamKeynote}, {"defdiag", &kFamDefDiag},
    {"patient", &kFamPatient}, {"consultation", &kFamConsultation},
    {"diag", &kFamDiag},       {"prem", &kFamPrem},
};

// The store's operations on a table of the family. Every typed operation of
// store.h is the engine's with its family; the engine's are called here so
// that one table of the patient family can be created alone (the store
// creates them only all four together) and the message table rebuilt.
TblHandle Open(const TjFamily *fam, const char *path, int b) {
  return EngineOpen(*fam->store, path, b);
}
TblHandle Create(const TjFamily *fam, const char *path) {
  return EngineCreate(*fam->store, path);
}
int Find(const TjFamily *fam, TblHandle h, void *rec, int key, int mode) {
  return EngineFind(h, *fam->store, rec, key, mode, kReadFull);
}
int Save(const TjFamily *fam, TblHandle h, void *rec, int mode) {
  return EngineSave(h, *fam->store, rec, mode);
}

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
  const StoreFamily &sf = *r.fam->store;
  for (int i = 0; i < sf.fieldCount; ++i) {
    const StoreFieldDesc &f = sf.fields[i];
    if (f.kind == kFPtrEntries) {
      StoreFreeEntries(LoadHost<void *>(r.bytes.data(), f.off));
      StoreHost<void *>(r.bytes.data(), f.off, nullptr);
    }
  }
}

// A new array of `room` entries, all terminators; null when memory fails.
void *NewEntries(const StoreEntryDesc &e, int room) {
  void *arr = StoreAllocEntries(room, e.entrySize);
  StoreFillEntries(arr, 0, room, e);
  return arr;
}

// Empties the record: zero numbers, empty texts, lists of terminators.
// Answers false when memory for an array cannot be had.
bool RecordReset(TjRecord &r, const TjFamily *fam) {
  RecordRelease(r);
  r.fam = fam;
  const StoreFamily &sf = *fam->store;
  r.bytes.assign(sf.recSize, 0);
  r.texts.clear();
  uint8_t *b = r.bytes.data();
  if (sf.guardOff >= 0)
    b[sf.guardOff] = 0xff;
  for (int i = 0; i < sf.fieldCount; ++i) {
    const StoreFieldDesc &f = sf.fields[i];
    if (f.kind == kFPtrStr) {
      r.texts.emplace_back(f.size, '\0');
      StoreHost<char *>(b, f.off, r.texts.back().data());
    } else if (f.kind == kFEntries) {
      StoreFillEntries(b + f.off, 0, static_cast<int>(f.size), *f.entries);
    } else if (f.kind == kFPtrEntries) {
      void *arr = NewEntries(*f.entries, 1);
      if (arr == nullptr)
        return false;
      StoreHost<void *>(b, f.off, arr);
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

void FieldsToJson(const StoreFieldDesc *fields, int count, const uint8_t *b,
                  ordered_json &obj);

ordered_json EntriesToJson(const StoreEntryDesc &d, const uint8_t *arr,
                           int room) {
  ordered_json a = ordered_json::array();
  for (int k = 0; k < room; ++k) {
    const uint8_t *e = arr + static_cast<size_t>(k) * d.entrySize;
    if (d.isLast(e))
      break;
    ordered_json o = ordered_json::object();
    FieldsToJson(d.fields, d.fieldCount, e, o);
    a.push_back(o);
  }
  return a;
}

// The value of one field of the record at `b`.
ordered_json ValueToJson(const StoreFieldDesc &f, const uint8_t *b) {
  const uint8_t *p = b + f.off;
  switch (f.kind) {
  case kFU8:
    return *p;
  case kFU16:
    return LoadHost<uint16_t>(p, 0);
  case kFU32:
    return LoadHost<uint32_t>(p, 0);
  case kFI32:
    return LoadHost<int32_t>(p, 0);
  case kFStr:
  case kFFoldStr:
    return TextOf(reinterpret_cast<const char *>(p), f.size);
  case kFPtrStr: {
    const char *t = LoadHost<const char *>(p, 0);
    return t != nullptr ? TextOf(t, f.size) : std::string();
  }
  case kFBytes: {
    if (f.form == kFormBits) {
      ordered_json a = ordered_json::array();
      for (uint32_t n = 0; n < f.size * 8; ++n)
        if (p[n / 8] & (0x80 >> (n % 8)))
          a.push_back(n);
      return a;
    }
    // Hex digits, the trailing zero bytes left out.
    uint32_t n = f.size;
    while (n > 0 && p[n - 1] == 0)
      --n;
    std::string h;
    for (uint32_t k = 0; k < n; ++k) {
      h += kHexDigits[p[k] >> 4];
      h += kHexDigits[p[k] & 15];
    }
    return h;
  }
  case kFEntries:
    return EntriesToJson(*f.entries, p, static_cast<int>(f.size));
  case kFPtrEntries: {
    const uint8_t *arr = LoadHost<const uint8_t *>(p, 0);
    return EntriesToJson(*f.entries, arr, StoreEntriesRoom(arr));
  }
  }
  return nullptr;
}

// The fields of one name in a row, from `first`: the elements of a list.
int ElementRun(const StoreFieldDesc *fields, int count, int first) {
  int n = 1;
  while (first + n < count && fields[first + n].form == kFormElement &&
         fields[first + n].group == fields[first].group &&
         strcmp(fields[first + n].name, fields[first].name) == 0)
    ++n;
  return n;
}

void FieldsToJson(const StoreFieldDesc *fields, int count, const uint8_t *b,
                  ordered_json &obj) {
  for (int i = 0; i < count; ++i) {
    const StoreFieldDesc &f = fields[i];
    if (f.form == kFormHidden)
      continue;
    ordered_json &into = f.group != nullptr ? obj[f.group] : obj;
    if (f.form != kFormElement) {
      into[f.name] = ValueToJson(f, b);
      continue;
    }
    int n = ElementRun(fields, count, i);
    ordered_json a = ordered_json::array();
    for (int k = 0; k < n; ++k)
      a.push_back(ValueToJson(fields[i + k], b));
    into[f.name] = a;
    i += n - 1;
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

bool FieldsFromJson(const StoreFieldDesc *fields, int count, const char *group,
                    const json &obj, uint8_t *b, const char *prefix, char *msg,
                    size_t cap);

bool NumberFromJson(const StoreFieldDesc &f, const json &v, uint8_t *p,
                    const char *where, char *msg, size_t cap) {
  int64_t n = 0;
  bool ok = false;
  switch (f.kind) {
  case kFU8:
    ok = TakeInt(v, 0, 0xff, n);
    if (ok)
      *p = static_cast<uint8_t>(n);
    break;
  case kFU16:
    ok = TakeInt(v, 0, 0xffff, n);
    if (ok)
      StoreHost<uint16_t>(p, 0, static_cast<uint16_t>(n));
    break;
  case kFU32:
    ok = TakeInt(v, 0, 0xffffffffll, n);
    if (ok)
      StoreHost<uint32_t>(p, 0, static_cast<uint32_t>(n));
    break;
  default:
    ok = TakeInt(v, INT32_MIN, INT32_MAX, n);
    if (ok)
      StoreHost<int32_t>(p, 0, static_cast<int32_t>(n));
    break;
  }
  if (ok)
    return true;
  const char *range = f.kind == kFU8    ? "0 to 255"
                      : f.kind == kFU16 ? "0 to 65535"
                      : f.kind == kFU32 ? "0 to 4294967295"
                                        : "-2147483648 to 2147483647";
  char what[80];
  StrFormat(what, "is not a whole number from %s", range);
  return Refuse(msg, cap, where, what);
}

bool EntriesFromJson(const StoreEntryDesc &d, const json &v, uint8_t *arr,
                     int room, const char *where, char *msg, size_t cap) {
  int n = static_cast<int>(v.size());
  for (int k = 0; k < n; ++k) {
    uint8_t *e = arr + static_cast<size_t>(k) * d.entrySize;
    Where w;
    StrFormat(w.text, "%s[%d]", where, k);
    const json &item = v[static_cast<size_t>(k)];
    if (!item.is_object())
      return Refuse(msg, cap, w.text, "is not an object");
    // Fields the line leaves out are those of an empty entry.
    memset(e, 0, d.entrySize);
    if (!FieldsFromJson(d.fields, d.fieldCount, nullptr, item, e, w.text, msg,
                        cap))
      return false;
    if (d.isLast(e))
      return Refuse(msg, cap, w.text,
                    "reads as the end of the list; it would cut the list");
  }
  StoreFillEntries(arr, n, room, d);
  return true;
}

bool TextFromJson(const StoreFieldDesc &f, const json &v, char *t,
                  const char *where, char *msg, size_t cap) {
  std::string s;
  if (!TakeText(v, f.size, s, where, msg, cap))
    return false;
  memset(t, 0, f.size);
  StrCopy(t, f.size, s.c_str());
  return true;
}

bool BytesFromJson(const StoreFieldDesc &f, const json &v, uint8_t *p,
                   const char *where, char *msg, size_t cap) {
  if (f.form == kFormBits) {
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
      return Refuse(msg, cap, where, "holds a character that is no hex digit");
    p[k / 2] = static_cast<uint8_t>(hi * 16 + lo);
  }
  return true;
}

bool FieldFromJson(const StoreFieldDesc &f, const json &v, uint8_t *b,
                   const char *where, char *msg, size_t cap) {
  uint8_t *p = b + f.off;
  switch (f.kind) {
  case kFU8:
  case kFU16:
  case kFU32:
  case kFI32:
    return NumberFromJson(f, v, p, where, msg, cap);
  case kFStr:
  case kFFoldStr:
    return TextFromJson(f, v, reinterpret_cast<char *>(p), where, msg, cap);
  case kFPtrStr: {
    char *t = LoadHost<char *>(p, 0);
    std::string s;
    if (!TakeText(v, f.size, s, where, msg, cap))
      return false;
    if (t != nullptr)
      StrCopy(t, f.size, s.c_str());
    return true;
  }
  case kFBytes:
    return BytesFromJson(f, v, p, where, msg, cap);
  case kFEntries: {
    if (!v.is_array())
      return Refuse(msg, cap, where, "is not a list");
    // The last place of the list is the terminator's room.
    if (v.size() + 1 > f.size) {
      char what[80];
      StrFormat(what, "has %zu entries, at most %u fit", v.size(), f.size - 1);
      return Refuse(msg, cap, where, what);
    }
    return EntriesFromJson(*f.entries, v, p, static_cast<int>(f.size), where,
                           msg, cap);
  }
  case kFPtrEntries: {
    if (!v.is_array())
      return Refuse(msg, cap, where, "is not a list");
    if (v.size() > 1000000)
      return Refuse(msg, cap, where, "has more entries than a record can hold");
    StoreFreeEntries(LoadHost<void *>(p, 0));
    int room = static_cast<int>(v.size()) + 1;
    void *arr = NewEntries(*f.entries, room);
    StoreHost<void *>(p, 0, arr);
    if (arr == nullptr)
      return Refuse(msg, cap, where, "needs more memory than there is");
    return EntriesFromJson(*f.entries, v, static_cast<uint8_t *>(arr), room,
                           where, msg, cap);
  }
  }
  return Refuse(msg, cap, where, "has a form this program does not know");
}

// A list of `n` element fields from `first`.
bool ElementsFromJson(const StoreFieldDesc *first, int n, const json &v,
                      uint8_t *b, const char *where, char *msg, size_t cap) {
  if (!v.is_array() || v.size() > static_cast<size_t>(n)) {
    char what[64];
    StrFormat(what, "is not a list of at most %d values", n);
    return Refuse(msg, cap, where, what);
  }
  for (size_t k = 0; k < v.size(); ++k) {
    Where w;
    StrFormat(w.text, "%s[%zu]", where, k);
    if (!FieldFromJson(first[k], v[k], b, w.text, msg, cap))
      return false;
  }
  return true;
}

bool SameGroup(const char *a, const char *b) {
  return a == b || (a != nullptr && b != nullptr && strcmp(a, b) == 0);
}

// Takes the members of `obj` into the fields of `group` (null: the record's
// own level); a member named as a group is a block of its own.
bool FieldsFromJson(const StoreFieldDesc *fields, int count, const char *group,
                    const json &obj, uint8_t *b, const char *prefix, char *msg,
                    size_t cap) {
  for (auto it = obj.begin(); it != obj.end(); ++it) {
    const std::string &name = it.key();
    Where w;
    if (prefix[0] != '\0')
      StrFormat(w.text, "%s.%s", prefix, name.c_str());
    else
      StrCopy(w.text, name.c_str());
    int at = -1;
    const char *block = nullptr;
    for (int i = 0; i < count && at < 0 && block == nullptr; ++i) {
      const StoreFieldDesc &f = fields[i];
      if (f.form == kFormHidden)
        continue;
      if (SameGroup(f.group, group) && name == f.name)
        at = i;
      else if (group == nullptr && f.group != nullptr && name == f.group)
        block = f.group;
    }
    if (block != nullptr) {
      if (!it.value().is_object())
        return Refuse(msg, cap, w.text, "is not an object");
      if (!FieldsFromJson(fields, count, block, it.value(), b, w.text, msg,
                          cap))
        return false;
      continue;
    }
    if (at < 0)
      return Refuse(msg, cap, w.text, "is no field of this record");
    bool ok = fields[at].form == kFormElement
                  ? ElementsFromJson(fields + at, ElementRun(fields, count, at),
                                     it.value(), b, w.text, msg, cap)
                  : FieldFromJson(fields[at], it.value(), b, w.text, msg, cap);
    if (!ok)
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

// Compares one key field of two records as the store orders them: numbers
// by value, texts byte by byte as unsigned characters.
int CompareField(const StoreFieldDesc &f, const uint8_t *a, const uint8_t *b) {
  const uint8_t *x = a + f.off, *y = b + f.off;
  switch (f.kind) {
  case kFU8:
    return (*x > *y) - (*x < *y);
  case kFU16: {
    uint16_t u = LoadHost<uint16_t>(x, 0), v = LoadHost<uint16_t>(y, 0);
    return (u > v) - (u < v);
  }
  case kFU32: {
    uint32_t u = LoadHost<uint32_t>(x, 0), v = LoadHost<uint32_t>(y, 0);
    return (u > v) - (u < v);
  }
  case kFI32: {
    int32_t u = LoadHost<int32_t>(x, 0), v = LoadHost<int32_t>(y, 0);
    return (u > v) - (u < v);
  }
  case kFStr: {
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

// The keys a caller can name; the folded twins of text keys are the
// store's own.
bool NamedKey(const StoreKeyDesc &key) {
  return key.number < kHiddenKeyBase;
}

int CompareKey(const StoreKeyDesc &key, const uint8_t *a, const uint8_t *b) {
  for (int i = 0; i < key.fieldCount; ++i)
    if (int c = CompareField(key.fields[i], a, b))
      return c;
  return 0;
}

// The key's fields as bytes that are equal exactly when the fields are.
std::string KeyBlob(const StoreKeyDesc &key, const uint8_t *rec) {
  std::string s;
  for (int i = 0; i < key.fieldCount; ++i) {
    const StoreFieldDesc &f = key.fields[i];
    const char *p = reinterpret_cast<const char *>(rec + f.off);
    if (f.kind == kFStr)
      s.append(p, strnlen(p, f.size)).push_back('\0');
    else
      s.append(p, f.size);
  }
  return s;
}

// The key's fields as a person reads them: "Num=3 Sub=1".
std::string KeyText(const StoreKeyDesc &key, const uint8_t *rec) {
  ordered_json o = ordered_json::object();
  FieldsToJson(key.fields, key.fieldCount, rec, o);
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
  TblHandle h = Open(fam, path, 1);
  if (h == 0 && OrvixError == kErrBadIndex) {
    if (notes != nullptr)
      fprintf(notes,
              "%s: the index is stale or damaged (14); reading the data file "
              "in file order. tbltool rebuild mends the index.\n",
              path);
    h = Open(fam, path, 0);
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
    if (Find(fam, h, rec.bytes.data(), fam->store->keys[0].number, mode) != 0) {
      if (OrvixError != kErrEnd)
        err = OrvixError;
      break;
    }
    mode = kFindNext;
    ordered_json o = ordered_json::object();
    FieldsToJson(fam->store->fields, fam->store->fieldCount, rec.bytes.data(),
                 o);
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
      ok = FieldsFromJson(fam->store->fields, fam->store->fieldCount, nullptr,
                          j, rec.bytes.data(), "", why, sizeof why);
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
  if (!RealFile(path, fam->store->datExt, target) ||
      !RealFile(path, fam->store->idxExt, targetIdx)) {
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
  if (sn != strlen(path) + 5 ||
      !RealFile(scratch, fam->store->datExt, scratchDat) ||
      !RealFile(scratch, fam->store->idxExt, scratchIdx)) {
    StrFormat(msg, cap, "%s: the path is too long for the scratch table", path);
    return OrvixError = kErrBadPath;
  }
  RemoveTable(scratch); // left over from a load that was cut short
  TblHandle h = Create(fam, scratch);
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
    FieldsFromJson(fam->store->fields, fam->store->fieldCount, nullptr, j,
                   rec.bytes.data(), "", why, sizeof why);
    if (Save(fam, h, rec.bytes.data(), kSaveAdd) != 0) {
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
  return OrvixError = EngineRebuild(*fam->store, path);
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
int WalkKey(const TjFamily *fam, TblHandle h, const StoreKeyDesc &key,
            const StoreKeyDesc &primary, bool forward, TjRecord &rec,
            std::vector<std::string> &blobs, FaultLog &log) {
  blobs.clear();
  std::vector<uint8_t> prev(fam->store->recSize, 0);
  bool havePrev = false;
  int mode = forward ? kFindFirst : kFindLast;
  long orderFaults = 0;
  for (;;) {
    if (Find(fam, h, rec.bytes.data(), key.number, mode) != 0)
      return OrvixError == kErrEnd ? 0 : OrvixError;
    mode = forward ? kFindNext : kFindPrev;
    const uint8_t *cur = rec.bytes.data();
    if (havePrev) {
      // Equal key fields are ordered by the primary key.
      int c = CompareKey(key, prev.data(), cur);
      if (c == 0 && !key.unique)
        c = CompareKey(primary, prev.data(), cur);
      if (!forward)
        c = -c;
      bool bad = c > 0 || (c == 0 && key.unique);
      if (bad && orderFaults++ < kFaultsShownPerWalk)
        log.Add("key %d, walking %s: record %s comes after %s, out of order",
                key.number, forward ? "forward" : "backward",
                KeyText(key, cur).c_str(), KeyText(key, prev.data()).c_str());
      else if (bad)
        ++log.total;
    }
    StoreCopyKeyFields(key, cur, prev.data());
    StoreCopyKeyFields(primary, cur, prev.data());
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

  TblHandle h = Open(fam, path, 1);
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
  const StoreKeyDesc &primary = fam->store->keys[0];
  if (h != 0) {
    TblHandle h2 = Open(fam, path, 1);
    std::vector<std::string> first, blobs;
    for (int k = 0; k < fam->store->keyCount; ++k) {
      const StoreKeyDesc &key = fam->store->keys[k];
      if (!NamedKey(key))
        continue;
      for (int dir = 0; dir < 2; ++dir) {
        bool forward = dir == 0;
        int err = WalkKey(fam, h, key, primary, forward, rec, blobs, log);
        if (err != 0)
          log.Add("key %d, walking %s: the walk stopped after %zu records "
                  "(%d, %s)",
                  key.number, forward ? "forward" : "backward", blobs.size(),
                  err, ErrorName(err));
        if (static_cast<long>(blobs.size()) != count)
          log.Add("key %d, walking %s: %zu records, but the table counts %ld",
                  key.number, forward ? "forward" : "backward", blobs.size(),
                  count);
        std::sort(blobs.begin(), blobs.end());
        if (k == 0 && forward)
          first = blobs;
        else if (blobs != first)
          log.Add("key %d, walking %s: the walk does not visit the same "
                  "records as key %d",
                  key.number, forward ? "forward" : "backward", primary.number);
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
      while (Find(fam, h, rec.bytes.data(), primary.number, mode) == 0) {
        mode = kFindNext;
        StoreCopyKeyFields(primary, rec.bytes.data(), probe.bytes.data());
        bool found =
            Find(fam, h2, probe.bytes.data(), primary.number, kFindEqual) ==
                0 &&
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
  TblHandle hs = Open(fam, path, 0);
  int hsErr = OrvixError;
  if (hs == 0) {
    if (h != 0 || hsErr != kErrNoFile)
      log.Add("%s: the sequential open fails (%d, %s)", path, hsErr,
              ErrorName(hsErr));
  } else {
    long seen = 0;
    int mode = kFindFirst;
    while (Find(fam, hs, rec.bytes.data(), primary.number, mode) == 0) {
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
  if (!RealFile(path, fam->store->datExt, dat) ||
      !RealFile(path, fam->store->idxExt, idx))
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
  for (int k = 0; k < fam->store->keyCount && !seq; ++k) {
    const StoreKeyDesc &key = fam->store->keys[k];
    if (!NamedKey(key))
      continue;
    std::vector<uint8_t> prev(fam->store->recSize, 0);
    long distinct = 0;
    int mode = kFindFirst;
    while (Find(fam, h, rec.bytes.data(), key.number, mode) == 0) {
      if (mode == kFindFirst ||
          CompareKey(key, prev.data(), rec.bytes.data()) != 0)
        ++distinct;
      mode = kFindNext;
      StoreCopyKeyFields(key, rec.bytes.data(), prev.data());
    }
    fprintf(out, "key %-4d %ld distinct (", key.number, distinct);
    for (int i = 0; i < key.fieldCount; ++i)
      fprintf(out, "%s%s", i > 0 ? ", " : "", key.fields[i].name);
    fprintf(out, ")\n");
  }
  int err = 0;
  if (DbCloseFile(h) != 0)
    err = OrvixError;
  return OrvixError = err;
}
