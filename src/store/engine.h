// The engine under every table family: files, frames, indexes, cursors and
// the registry of open tables. The typed operations of store.h describe
// their records with a StoreFamily and call these.
#pragma once

#include "store/codec.h"
#include "store/store.h"

#include <cstdint>
#include <string>

enum EngineReadKind {
  kReadFull,   // the whole record into the caller's structure
  kReadKeys,   // only the fields of the key used and of the primary key
  kReadByText, // like kReadFull, on the folded twin of keys 1 and 3
};

TblHandle EngineOpen(const StoreFamily &fam, const char *base, int b);
TblHandle EngineCreate(const StoreFamily &fam, const char *base);
int EngineRebuild(const StoreFamily &fam, const char *base);

int EngineFind(TblHandle h, const StoreFamily &fam, void *rec, int key,
               int mode, EngineReadKind how);
// The first and last entries of the record whose primary key equals that
// of `probe`, and their count (StorePeekEntries), leaving the handle's
// current record as it was. Answers 0, kErrEnd when there is no such
// record, or an error.
int EnginePeekEntries(TblHandle h, const StoreFamily &fam, const void *probe,
                      void *first, void *last, int *count);
int EngineReadCurrent(TblHandle h, const StoreFamily &fam, void *rec);
int EngineSave(TblHandle h, const StoreFamily &fam, const void *rec, int mode);
int EngineDelete(TblHandle h, const StoreFamily &fam);

// Moves the records of one chain up by one Seq (the last field of the
// primary key, one byte): the records whose primary key equals that of
// `key` but for its Seq, from `from` to `last`, become Seq + 1, the last
// first, in one write. Their frames are copied with the new Seq, not
// decoded and encoded again. No record may hold Seq `last` + 1 (2); a
// record missing in between answers 101 and moves nothing. The handle's
// current record stays. kErrBadArg for a family whose Seq cannot be
// changed in a record's bytes (numbers only before it).
int EngineShiftUp(TblHandle h, const StoreFamily &fam, const void *key,
                  int from, int last);

// The next number above both the highest value of a signed 32-bit key field
// (the first field of key `keyNumber`) and every number given out before;
// the number is remembered in the data file. 0 and OrvixError on failure.
long EngineNextId(TblHandle h, const StoreFamily &fam, int keyNumber);

// Answers true when the handle names an open table of this family.
bool EngineIsFamily(TblHandle h, const StoreFamily &fam);

// The real, absolute path of a stored base path with an extension. 0 or an
// error.
int EngineRealPath(const char *base, const char *ext, std::string &real);
// The store's error for a system error number.
int EngineErrno(int e);
