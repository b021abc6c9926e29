// How a record crosses between its structure and its bytes on disk, and how
// its keys are formed. Each table family is described once, by tables of
// named fields (families.cpp); the codec walks those tables, and so does the
// JSON Lines form of tbltool, so adding a field is one line in a family's
// description and no new coding.
//
// Record bytes: the fields in the order of the description, numbers
// little-endian at their width, texts as a length (LEB128) and their bytes
// without terminator, byte arrays without their trailing zeros, entry arrays
// as a count and the entries in use. Nothing is padded: a record takes the
// room its content needs.
//
// Key bytes compare with memcmp in the key's order: numbers big-endian
// (signed ones with the sign bit flipped), texts as their bytes followed by
// one zero byte, so "ab" sorts before "abc" and bytes compare unsigned as
// strcmp does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

enum StoreFieldKind : uint8_t {
  kFU8,
  kFU16,
  kFU32,
  kFI32,
  kFStr,        // char[size], zero-terminated
  kFFoldStr,    // in keys only: a char[size] text folded to capitals
  kFBytes,      // uint8_t[size]
  kFEntries,    // an inline array of `size` entries ended by a terminator
  kFPtrStr,     // char * to a caller's buffer of `size` bytes; null: skipped
  kFPtrEntries, // pointer to an array from StoreAllocEntries
};

// How a field shows in the text form of a record (tbltool's JSON Lines);
// the bytes on disk do not depend on it.
enum StoreFieldForm : uint8_t {
  kFormPlain,   // a value as its kind says; byte arrays as hex digits
  kFormElement, // one element of a list: the fields of one name in a row
  kFormBits,    // a byte array as the list of the numbers of its bits set
  kFormHidden,  // not in the text form (a field that is always 0)
};

struct StoreFieldDesc;

// An entry of an array: its fields and its terminator.
struct StoreEntryDesc {
  uint32_t entrySize;
  const StoreFieldDesc *fields;
  int fieldCount;
  bool (*isLast)(const void *entry);
  void (*setLast)(void *entry);
};

struct StoreFieldDesc {
  StoreFieldKind kind;
  uint32_t off;
  uint32_t size;
  const StoreEntryDesc *entries = nullptr;
  const char *name = nullptr;  // as in records.h
  const char *group = nullptr; // the block the field stands in, or null
  StoreFieldForm form = kFormPlain;
};

inline constexpr int kStoreMaxKeyFields = 6;
inline constexpr int kStoreMaxEntryFields = 8; // fields of one array entry
inline constexpr int kStoreMaxKey = 240; // longest key in bytes, all fields

struct StoreKeyDesc {
  int number;        // the callers' key number; hidden keys are 256 and up
  bool unique;       // a second record with equal fields is refused (2)
  bool holdsPrimary; // the fields end in the primary key already
  int fieldCount;
  StoreFieldDesc fields[kStoreMaxKeyFields];
  // How many leading fields a search uses (null: all), for keys whose search
  // record may leave its last fields open.
  int (*searchFields)(const void *rec) = nullptr;
};

inline constexpr int kStoreMaxSlots = 8;
inline constexpr int kHiddenKeyBase = 256;

struct StoreFamily {
  const char *name;
  uint8_t code; // written into every frame and file header
  const char *datExt;
  const char *idxExt;
  size_t recSize;
  int guardOff; // offset of the CursorState byte, -1 for a record without
  const StoreFieldDesc *fields;
  int fieldCount;
  const StoreKeyDesc *keys; // keys[0] is the primary key
  int keyCount;
  // Key numbers that name the same order as another key: {number, slot}.
  const int (*aliases)[2];
  int aliasCount;
  // A record that this family refuses to store whatever the table holds:
  // its error, else 0. Null: every record is fine.
  int (*check)(const void *rec) = nullptr;
};

// The slot of a key number in the family, or -1.
int StoreKeySlot(const StoreFamily &fam, int number);

// Appends the record's bytes to `out`. A null text pointer (kFPtrStr) keeps
// the text of `old` (the bytes of the record being replaced) or stores an
// empty text when there is no old record. Answers 0 or an error code.
int StoreEncodeRecord(const StoreFamily &fam, const void *rec,
                      const uint8_t *old, size_t oldLen,
                      std::vector<uint8_t> &out);

// Fills the record from its bytes. Answers 0, kErrDamaged when the bytes do
// not parse, or kErrNoMemory when a grown array cannot be had. Without
// `arrays` the entry arrays behind pointers are stepped over, not read.
int StoreDecodeRecord(const StoreFamily &fam, const uint8_t *p, size_t len,
                      void *rec, bool arrays = true);

// The first and the last entry of the record's inline entry array and how
// many it holds, from the record's bytes, without decoding the rest. With
// no entries both are terminators. Answers 0, kErrDamaged, or kErrBadArg
// for a family without such an array.
int StorePeekEntries(const StoreFamily &fam, const uint8_t *p, size_t len,
                     void *first, void *last, int *count);

// The key bytes of `rec` under one key, with the first `fields` fields
// (-1: all). Answers the length.
size_t StoreEncodeKey(const StoreKeyDesc &key, const void *rec, int fields,
                      uint8_t *out);

// Copies the fields of one key from `src` to `dst` (records of one family).
void StoreCopyKeyFields(const StoreKeyDesc &key, const void *src, void *dst);

// Entry arrays with a hidden header that remembers how many entries they
// hold. `count` includes the terminator's room. A new array is all zero
// bytes; StoreFillEntries makes entries terminators.
void *StoreAllocEntries(int count, uint32_t entrySize);
void StoreFillEntries(void *array, int from, int room, const StoreEntryDesc &e);
void StoreFreeEntries(void *array);
int StoreEntriesRoom(const void *array);

// Folds one byte of code page 1252 to its capital, as DbToUpper does.
uint8_t StoreFoldUpper(uint8_t c);
