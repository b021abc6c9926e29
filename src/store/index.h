// The in-memory order of one key: a sorted run of entries cut into chunks of
// 64, so an insert moves at most a small chunk and a search is two binary
// searches. An entry holds the first 16 bytes of its record's
// composite key (the key's bytes, then the primary key's for a secondary
// key, then the record id) as two big-endian words, and the record id. Most
// comparisons end in those words; a tie on a text key asks the table for the
// whole composite key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

struct __attribute__((packed)) IdxEntry {
  uint64_t hi;
  uint64_t lo;
  uint32_t rid;
};
static_assert(sizeof(IdxEntry) == 20);

// Small chunks keep the shift of an insert or erase (a Symptom save that
// renumbers changes eight orders) and the search inside a chunk within a
// few cache lines; the chunks' last entries make one array of their own.
inline constexpr uint32_t kIdxChunkCap = 64;
inline constexpr uint32_t kIdxGroup = 16;

struct IdxChunk {
  uint32_t n;
  uint32_t inSlab; // one of the chunks a load made in one piece
  IdxEntry e[kIdxChunkCap];
};

// The chunks a load makes, in one block (BigAlloc): one allocation instead
// of one a chunk, and large pages for a large table, so that taking an
// order into memory costs few page faults.
struct IdxSlab {
  void *base = nullptr;
  size_t len = 0;
};

// A key to look for: its bytes and their first 16 as words.
struct IdxProbe {
  const uint8_t *bytes;
  uint32_t len;
  uint64_t hi;
  uint64_t lo;
};

// Where the whole composite key of a record comes from.
struct IdxSource {
  size_t (*composite)(const void *ctx, uint32_t rid, uint8_t *out);
  const void *ctx;
};

struct SortedIndex {
  std::vector<IdxChunk *> chunks;
  IdxSlab slab; // the loaded chunks; later ones are allocated one by one
  // The last entry of each chunk, side by side: the search among chunks
  // stays within a few cache lines.
  std::vector<IdxEntry> lasts;
  // The last entry of each group of kIdxGroup chunks: small enough to stay
  // in the cache, so that a search in a large index misses it only in the
  // one group of `lasts` it then looks at.
  std::vector<IdxEntry> tops;
  size_t count = 0;
  // Every composite key of this index is `fixedLen` bytes long, at most 16:
  // the words decide every comparison.
  bool complete = false;
  uint32_t fixedLen = 0;
  // Raised by every change, so that a cursor can tell that its position in
  // the chunks still holds.
  uint64_t gen = 0;
};

struct IdxPos {
  size_t chunk; // chunks.size(): past the end
  uint32_t at;
};

void IdxMakeProbe(const uint8_t *bytes, uint32_t len, IdxProbe &p);
IdxEntry IdxMakeEntry(const IdxProbe &p, uint32_t rid);

void IdxClear(SortedIndex &ix);
// Builds the index from entries already in order.
bool IdxLoad(SortedIndex &ix, const IdxEntry *sorted, size_t n);

IdxPos IdxLowerBound(const SortedIndex &ix, const IdxProbe &p,
                     const IdxSource &src); // first entry >= p
IdxPos IdxUpperBound(const SortedIndex &ix, const IdxProbe &p,
                     const IdxSource &src); // first entry > p
// Inserts the entry for composite key p; answers false when memory fails,
// and then the index is as it was.
bool IdxInsert(SortedIndex &ix, const IdxProbe &p, uint32_t rid,
               const IdxSource &src);
// For tests of what a failed allocation leaves: while above 0, each insert
// counts it down, and the insert that brings it to 0 fails as though memory
// had run out. 0 (the default) leaves inserts alone.
extern int IdxInsertsBeforeFailure;
// Removes the entry of record rid whose composite key is p.
bool IdxErase(SortedIndex &ix, const IdxProbe &p, uint32_t rid,
              const IdxSource &src);

inline bool IdxValid(const SortedIndex &ix, IdxPos pos) {
  return pos.chunk < ix.chunks.size() && pos.at < ix.chunks[pos.chunk]->n;
}
inline const IdxEntry &IdxAt(const SortedIndex &ix, IdxPos pos) {
  return ix.chunks[pos.chunk]->e[pos.at];
}
IdxPos IdxFirst(const SortedIndex &ix);
IdxPos IdxLast(const SortedIndex &ix); // invalid when empty
IdxPos IdxNext(const SortedIndex &ix, IdxPos pos);
IdxPos IdxPrev(const SortedIndex &ix, IdxPos pos); // invalid before first
// Compares probe p with an entry: <0, 0, >0.
int IdxCompare(const SortedIndex &ix, const IdxProbe &p, const IdxEntry &e,
               const IdxSource &src);

// Makes room for one more element of a vector without throwing: false when
// memory cannot be had. Growth stays geometric, as push_back's would.
template <typename V> bool IdxRoomForOne(V &v) {
  if (v.size() < v.capacity())
    return true;
  try {
    v.reserve(v.size() + v.size() / 2 + 8);
  } catch (const std::bad_alloc &) {
    return false;
  }
  return true;
}
