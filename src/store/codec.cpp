#include "store/codec.h"

#include "platform/cp1252.h"
#include "store/bytes.h"
#include "store/store.h"

#include <cstdlib>
#include <cstring>

namespace {

// ---------------------------------------------------------------- bytes

// Appends a number little-endian, byte by byte as StoreLE16 and StoreLE32
// lay it out: a push_back a byte is what the encoder of a record costs least
// with (a resize a field made adds of a tenth took longer).
inline void PutU16(std::vector<uint8_t> &out, uint16_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}
inline void PutU32(std::vector<uint8_t> &out, uint32_t v) {
  for (int i = 0; i < 4; ++i)
    out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
inline void PutVar(std::vector<uint8_t> &out, uint32_t v) {
  while (v >= 0x80) {
    out.push_back(static_cast<uint8_t>(v | 0x80));
    v >>= 7;
  }
  out.push_back(static_cast<uint8_t>(v));
}
inline void PutBytes(std::vector<uint8_t> &out, const void *p, size_t n) {
  const uint8_t *b = static_cast<const uint8_t *>(p);
  out.insert(out.end(), b, b + n);
}

// A bounded reader over record bytes; any overrun clears `ok`.
struct Reader {
  const uint8_t *p;
  const uint8_t *end;
  bool ok;
};

inline bool Take(Reader &r, size_t n, const uint8_t *&at) {
  if (!r.ok || static_cast<size_t>(r.end - r.p) < n) {
    r.ok = false;
    return false;
  }
  at = r.p;
  r.p += n;
  return true;
}
inline uint32_t GetVar(Reader &r) {
  uint32_t v = 0;
  for (int shift = 0; shift < 35; shift += 7) {
    const uint8_t *b;
    if (!Take(r, 1, b))
      return 0;
    v |= static_cast<uint32_t>(*b & 0x7f) << shift;
    if ((*b & 0x80) == 0)
      return v;
  }
  r.ok = false;
  return 0;
}
// ---------------------------------------------------------------- entries

struct EntriesHeader {
  uint32_t magic;
  int32_t room;
  uint32_t entrySize;
  uint32_t spare;
};
inline constexpr uint32_t kEntriesMagic = 0x4d524541; // "AERM"

const EntriesHeader *HeaderOf(const void *array) {
  return reinterpret_cast<const EntriesHeader *>(
      static_cast<const uint8_t *>(array) - sizeof(EntriesHeader));
}

int CountEntries(const uint8_t *arr, int room, const StoreEntryDesc &e) {
  int n = 0;
  while (n < room && !e.isLast(arr + static_cast<size_t>(n) * e.entrySize))
    ++n;
  return n;
}

// ---------------------------------------------------------------- fixed
// entries

// Entry arrays (remedies, Extract, ExSp, Word, a case's symptoms) hold
// numbers only, so every entry takes the same number of bytes. Such arrays are
// the bulk of a repertory's bytes and are read on every step of a chain walk;
// they get a plan that checks the length once and moves the numbers without
// a bounds test per field.
struct FixedPlan {
  int count;
  uint32_t packed; // bytes of one entry on disk
  uint8_t width[kStoreMaxEntryFields];
  uint32_t off[kStoreMaxEntryFields];
};

bool PlanFixed(const StoreEntryDesc &e, FixedPlan &plan) {
  if (e.fieldCount > kStoreMaxEntryFields)
    return false;
  plan.count = e.fieldCount;
  plan.packed = 0;
  for (int k = 0; k < e.fieldCount; ++k) {
    const StoreFieldDesc &f = e.fields[k];
    uint8_t w = f.kind == kFU8                       ? 1
                : f.kind == kFU16                    ? 2
                : f.kind == kFU32 || f.kind == kFI32 ? 4
                                                     : 0;
    if (w == 0)
      return false;
    plan.width[k] = w;
    plan.off[k] = f.off;
    plan.packed += w;
  }
  return true;
}

void DecodeFixed(const FixedPlan &plan, const uint8_t *in, uint32_t n,
                 uint8_t *arr, uint32_t entrySize) {
  for (uint32_t i = 0; i < n; ++i) {
    uint8_t *entry = arr + static_cast<size_t>(i) * entrySize;
    for (int k = 0; k < plan.count; ++k) {
      switch (plan.width[k]) {
      case 1:
        entry[plan.off[k]] = *in;
        break;
      case 2:
        StoreHost<uint16_t>(entry, plan.off[k], LoadLE16(in));
        break;
      default:
        StoreHost<uint32_t>(entry, plan.off[k], LoadLE32(in));
        break;
      }
      in += plan.width[k];
    }
  }
}

void EncodeFixed(const FixedPlan &plan, const uint8_t *arr, int n,
                 uint32_t entrySize, std::vector<uint8_t> &out) {
  size_t at = out.size();
  out.resize(at + static_cast<size_t>(n) * plan.packed);
  uint8_t *o = out.data() + at;
  for (int i = 0; i < n; ++i) {
    const uint8_t *entry = arr + static_cast<size_t>(i) * entrySize;
    for (int k = 0; k < plan.count; ++k) {
      switch (plan.width[k]) {
      case 1:
        *o = entry[plan.off[k]];
        break;
      case 2:
        StoreLE16(o, LoadHost<uint16_t>(entry, plan.off[k]));
        break;
      default:
        StoreLE32(o, LoadHost<uint32_t>(entry, plan.off[k]));
        break;
      }
      o += plan.width[k];
    }
  }
}

// Writes the count and the entries of an array.
void EncodeEntries(const StoreEntryDesc &e, const uint8_t *arr, int n,
                   std::vector<uint8_t> &out, int &err);

// Reads `n` entries into `arr`, the count already read.
void DecodeEntries(const StoreEntryDesc &e, Reader &r, uint32_t n, uint8_t *arr,
                   int &err);

// ---------------------------------------------------------------- encode

void EncodeFields(const StoreFieldDesc *fields, int count, const void *base,
                  Reader *old, std::vector<uint8_t> &out, int &err);

// Steps over one field in old record bytes.
void SkipField(const StoreFieldDesc &f, Reader &r) {
  const uint8_t *b;
  switch (f.kind) {
  case kFU8:
    Take(r, 1, b);
    break;
  case kFU16:
    Take(r, 2, b);
    break;
  case kFU32:
  case kFI32:
    Take(r, 4, b);
    break;
  case kFStr:
  case kFFoldStr:
  case kFBytes:
  case kFPtrStr: {
    uint32_t n = GetVar(r);
    if (n > f.size)
      r.ok = false;
    Take(r, n, b);
    break;
  }
  case kFEntries:
  case kFPtrEntries: {
    uint32_t n = GetVar(r);
    if (f.kind == kFEntries && n > f.size)
      r.ok = false;
    FixedPlan plan;
    if (!PlanFixed(*f.entries, plan))
      r.ok = false;
    Take(r, static_cast<size_t>(n) * plan.packed, b);
    break;
  }
  }
}

void EncodeField(const StoreFieldDesc &f, const void *base, Reader *old,
                 std::vector<uint8_t> &out, int &err) {
  const uint8_t *b = static_cast<const uint8_t *>(base) + f.off;
  switch (f.kind) {
  case kFU8:
    out.push_back(*b);
    break;
  case kFU16:
    PutU16(out, LoadHost<uint16_t>(base, f.off));
    break;
  case kFU32:
  case kFI32:
    PutU32(out, LoadHost<uint32_t>(base, f.off));
    break;
  case kFStr:
  case kFFoldStr: {
    size_t n = strnlen(reinterpret_cast<const char *>(b), f.size - 1);
    PutVar(out, static_cast<uint32_t>(n));
    PutBytes(out, b, n);
    break;
  }
  case kFBytes: {
    size_t n = f.size;
    while (n > 0 && b[n - 1] == 0)
      --n;
    PutVar(out, static_cast<uint32_t>(n));
    PutBytes(out, b, n);
    break;
  }
  case kFEntries: {
    int n = CountEntries(b, static_cast<int>(f.size), *f.entries);
    EncodeEntries(*f.entries, b, n, out, err);
    break;
  }
  case kFPtrStr: {
    const char *text = LoadHost<const char *>(base, f.off);
    if (text != nullptr) {
      size_t n = strnlen(text, f.size - 1);
      PutVar(out, static_cast<uint32_t>(n));
      PutBytes(out, text, n);
    } else if (old != nullptr && old->ok) {
      // No buffer given: the text already stored stays as it is.
      Reader probe = *old;
      uint32_t n = GetVar(probe);
      const uint8_t *at;
      if (n < f.size && Take(probe, n, at)) {
        PutVar(out, n);
        PutBytes(out, at, n);
      } else {
        PutVar(out, 0);
      }
    } else {
      PutVar(out, 0);
    }
    break;
  }
  case kFPtrEntries: {
    const uint8_t *arr = LoadHost<const uint8_t *>(base, f.off);
    if (arr == nullptr) {
      PutVar(out, 0);
      break;
    }
    const EntriesHeader *h = HeaderOf(arr);
    if (h->magic != kEntriesMagic || h->entrySize != f.entries->entrySize) {
      err = kErrBadArg; // not an array of the store's allocator
      PutVar(out, 0);
      break;
    }
    int n = CountEntries(arr, h->room, *f.entries);
    EncodeEntries(*f.entries, arr, n, out, err);
    break;
  }
  }
  if (old != nullptr)
    SkipField(f, *old);
}

void EncodeFields(const StoreFieldDesc *fields, int count, const void *base,
                  Reader *old, std::vector<uint8_t> &out, int &err) {
  for (int i = 0; i < count; ++i)
    EncodeField(fields[i], base, old, out, err);
}

// ---------------------------------------------------------------- decode

void DecodeFields(const StoreFieldDesc *fields, int count, Reader &r,
                  void *base, int &err);

bool gDecodeArrays = true; // false while keys are taken from record bytes

void FillTerminators(uint8_t *arr, int from, int room,
                     const StoreEntryDesc &e) {
  if (from >= room)
    return;
  uint8_t *first = arr + static_cast<size_t>(from) * e.entrySize;
  e.setLast(first);
  // The terminators made so far are copied behind themselves, doubling each
  // time: a few copies fill an array of hundreds of entries.
  size_t done = e.entrySize;
  size_t total = static_cast<size_t>(room - from) * e.entrySize;
  while (done < total) {
    size_t n = std::min(done, total - done);
    memcpy(first + done, first, n);
    done += n;
  }
}

void DecodeField(const StoreFieldDesc &f, Reader &r, void *base, int &err) {
  uint8_t *b = static_cast<uint8_t *>(base) + f.off;
  const uint8_t *at;
  switch (f.kind) {
  case kFU8:
    if (Take(r, 1, at))
      *b = *at;
    break;
  case kFU16:
    if (Take(r, 2, at))
      StoreHost<uint16_t>(base, f.off, LoadLE16(at));
    break;
  case kFU32:
  case kFI32:
    if (Take(r, 4, at))
      StoreHost<uint32_t>(base, f.off, LoadLE32(at));
    break;
  case kFStr:
  case kFFoldStr: {
    uint32_t n = GetVar(r);
    if (n >= f.size || !Take(r, n, at)) {
      r.ok = false;
      break;
    }
    memcpy(b, at, n);
    b[n] = 0;
    break;
  }
  case kFBytes: {
    uint32_t n = GetVar(r);
    if (n > f.size || !Take(r, n, at)) {
      r.ok = false;
      break;
    }
    memcpy(b, at, n);
    memset(b + n, 0, f.size - n);
    break;
  }
  case kFEntries: {
    uint32_t n = GetVar(r);
    if (n > f.size) {
      r.ok = false;
      break;
    }
    DecodeEntries(*f.entries, r, n, b, err);
    FillTerminators(b, static_cast<int>(n), static_cast<int>(f.size),
                    *f.entries);
    break;
  }
  case kFPtrStr: {
    uint32_t n = GetVar(r);
    if (n >= f.size || !Take(r, n, at)) {
      r.ok = false;
      break;
    }
    char *text = LoadHost<char *>(base, f.off);
    if (text != nullptr) {
      memcpy(text, at, n);
      text[n] = 0;
    }
    break;
  }
  case kFPtrEntries: {
    if (!gDecodeArrays) {
      SkipField(f, r);
      break;
    }
    uint32_t n = GetVar(r);
    if (!r.ok || n > 0x7fffff00u) {
      r.ok = false;
      break;
    }
    uint8_t *arr = LoadHost<uint8_t *>(base, f.off);
    int room = arr != nullptr ? StoreEntriesRoom(arr) : 0;
    if (room < static_cast<int>(n) + 1) {
      // The stored list does not fit: the record gets a larger array, with
      // a little room for the entries a handler may add.
      int want = static_cast<int>(n) + 1 + 8;
      uint8_t *grown =
          static_cast<uint8_t *>(StoreAllocEntries(want, f.entries->entrySize));
      if (grown == nullptr) {
        err = kErrNoMemory;
        r.ok = false;
        break;
      }
      StoreFreeEntries(arr);
      arr = grown;
      room = want;
      StoreHost<uint8_t *>(base, f.off, arr);
    }
    DecodeEntries(*f.entries, r, n, arr, err);
    FillTerminators(arr, static_cast<int>(n), room, *f.entries);
    break;
  }
  }
}

void DecodeFields(const StoreFieldDesc *fields, int count, Reader &r,
                  void *base, int &err) {
  for (int i = 0; i < count && r.ok; ++i)
    DecodeField(fields[i], r, base, err);
}

void EncodeEntries(const StoreEntryDesc &e, const uint8_t *arr, int n,
                   std::vector<uint8_t> &out, int &err) {
  PutVar(out, static_cast<uint32_t>(n));
  FixedPlan plan;
  if (!PlanFixed(e, plan)) {
    err = kErrBadArg; // a family table with an entry field not a number
    return;
  }
  EncodeFixed(plan, arr, n, e.entrySize, out);
}

void DecodeEntries(const StoreEntryDesc &e, Reader &r, uint32_t n, uint8_t *arr,
                   int &err) {
  FixedPlan plan;
  if (!PlanFixed(e, plan)) {
    err = kErrBadArg;
    r.ok = false;
    return;
  }
  const uint8_t *at;
  if (Take(r, static_cast<size_t>(n) * plan.packed, at))
    DecodeFixed(plan, at, n, arr, e.entrySize);
}

// ---------------------------------------------------------------- folding

// The capitals of DbToUpper, one byte at a time, for key encoding.
const uint8_t *FoldTable() {
  static uint8_t table[256];
  static bool ready = false;
  if (!ready) {
    table[0] = 0;
    for (int c = 1; c < 256; ++c) {
      char one[2] = {static_cast<char>(c), '\0'};
      DbToUpper(one);
      table[c] = static_cast<uint8_t>(one[0]);
    }
    ready = true;
  }
  return table;
}

} // namespace

// ---------------------------------------------------------------- public

int StoreKeySlot(const StoreFamily &fam, int number) {
  for (int i = 0; i < fam.keyCount; ++i)
    if (fam.keys[i].number == number)
      return i;
  for (int i = 0; i < fam.aliasCount; ++i)
    if (fam.aliases[i][0] == number)
      return fam.aliases[i][1];
  return -1;
}

int StoreEncodeRecord(const StoreFamily &fam, const void *rec,
                      const uint8_t *old, size_t oldLen,
                      std::vector<uint8_t> &out) {
  int err = 0;
  Reader r{old, old + oldLen, old != nullptr};
  EncodeFields(fam.fields, fam.fieldCount, rec, old != nullptr ? &r : nullptr,
               out, err);
  return err;
}

int StoreDecodeRecord(const StoreFamily &fam, const uint8_t *p, size_t len,
                      void *rec, bool arrays) {
  // The bytes come from a frame whose checksum held, written by this
  // encoder from the same field table: they parse. Every read is bounded all
  // the same, so bytes that do not parse end in kErrDamaged, never outside
  // the buffer.
  int err = 0;
  Reader r{p, p + len, true};
  gDecodeArrays = arrays;
  DecodeFields(fam.fields, fam.fieldCount, r, rec, err);
  gDecodeArrays = true;
  if (err != 0)
    return err;
  return r.ok ? 0 : kErrDamaged;
}

int StorePeekEntries(const StoreFamily &fam, const uint8_t *p, size_t len,
                     void *first, void *last, int *count) {
  Reader r{p, p + len, true};
  for (int i = 0; i < fam.fieldCount && r.ok; ++i) {
    const StoreFieldDesc &f = fam.fields[i];
    if (f.kind != kFEntries) {
      SkipField(f, r);
      continue;
    }
    const StoreEntryDesc &e = *f.entries;
    uint32_t n = GetVar(r);
    if (!r.ok || n > f.size)
      return kErrDamaged;
    *count = static_cast<int>(n);
    e.setLast(first);
    e.setLast(last);
    if (n == 0)
      return 0;
    FixedPlan plan;
    const uint8_t *at;
    if (!PlanFixed(e, plan))
      return kErrBadArg;
    if (!Take(r, static_cast<size_t>(n) * plan.packed, at))
      return kErrDamaged;
    DecodeFixed(plan, at, 1, static_cast<uint8_t *>(first), e.entrySize);
    DecodeFixed(plan, at + static_cast<size_t>(n - 1) * plan.packed, 1,
                static_cast<uint8_t *>(last), e.entrySize);
    return 0;
  }
  return r.ok ? kErrBadArg : kErrDamaged; // a family without a list
}

size_t StoreEncodeKey(const StoreKeyDesc &key, const void *rec, int fields,
                      uint8_t *out) {
  if (fields < 0 || fields > key.fieldCount)
    fields = key.fieldCount;
  size_t n = 0;
  const uint8_t *fold = FoldTable();
  for (int i = 0; i < fields; ++i) {
    const StoreFieldDesc &f = key.fields[i];
    const uint8_t *b = static_cast<const uint8_t *>(rec) + f.off;
    switch (f.kind) {
    case kFU8:
      out[n++] = *b;
      break;
    case kFU16:
      StoreBE16(out + n, LoadHost<uint16_t>(rec, f.off));
      n += 2;
      break;
    case kFU32:
    case kFI32: {
      uint32_t v = LoadHost<uint32_t>(rec, f.off);
      if (f.kind == kFI32)
        v ^= 0x80000000u; // so that negative numbers sort first
      StoreBE32(out + n, v);
      n += 4;
      break;
    }
    case kFStr:
    case kFFoldStr: {
      size_t len = strnlen(reinterpret_cast<const char *>(b), f.size - 1);
      for (size_t k = 0; k < len; ++k)
        out[n++] = f.kind == kFFoldStr ? fold[b[k]] : b[k];
      out[n++] = 0;
      break;
    }
    default:
      break; // arrays and pointers are never key fields
    }
  }
  return n;
}

void StoreCopyKeyFields(const StoreKeyDesc &key, const void *src, void *dst) {
  for (int i = 0; i < key.fieldCount; ++i) {
    const StoreFieldDesc &f = key.fields[i];
    size_t width = 0;
    switch (f.kind) {
    case kFU8:
      width = 1;
      break;
    case kFU16:
      width = 2;
      break;
    case kFU32:
    case kFI32:
      width = 4;
      break;
    case kFStr:
    case kFFoldStr:
      width = f.size;
      break;
    default:
      break;
    }
    memcpy(static_cast<uint8_t *>(dst) + f.off,
           static_cast<const uint8_t *>(src) + f.off, width);
  }
}

void *StoreAllocEntries(int count, uint32_t entrySize) {
  if (count < 1)
    count = 1;
  size_t bytes = sizeof(EntriesHeader) + static_cast<size_t>(count) * entrySize;
  uint8_t *mem = static_cast<uint8_t *>(calloc(1, bytes));
  if (mem == nullptr)
    return nullptr;
  EntriesHeader h{kEntriesMagic, count, entrySize, 0};
  memcpy(mem, &h, sizeof h);
  return mem + sizeof(EntriesHeader);
}

void StoreFillEntries(void *array, int from, int room,
                      const StoreEntryDesc &e) {
  if (array != nullptr)
    FillTerminators(static_cast<uint8_t *>(array), from, room, e);
}

void StoreFreeEntries(void *array) {
  if (array == nullptr)
    return;
  uint8_t *mem = static_cast<uint8_t *>(array) - sizeof(EntriesHeader);
  EntriesHeader h;
  memcpy(&h, mem, sizeof h);
  if (h.magic != kEntriesMagic)
    return; // not ours: leaking beats freeing a stranger's memory
  h.magic = 0;
  memcpy(mem, &h, sizeof h);
  free(mem);
}

int StoreEntriesRoom(const void *array) {
  if (array == nullptr)
    return 0;
  EntriesHeader h;
  memcpy(&h, HeaderOf(array), sizeof h);
  return h.magic == kEntriesMagic ? h.room : 0;
}

uint8_t StoreFoldUpper(uint8_t c) {
  return FoldTable()[c];
}
