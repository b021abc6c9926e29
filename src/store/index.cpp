#include "store/index.h"

#include "store/bigalloc.h"
#include "store/bytes.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

IdxPos EndPos(const SortedIndex &ix) {
  return IdxPos{ix.chunks.size(), 0};
}

// First position whose entry is not "before" the probe; `strict` makes it
// the first entry after it.
IdxPos Bound(const SortedIndex &ix, const IdxProbe &p, const IdxSource &src,
             bool strict) {
  auto before = [&](const IdxEntry &e) {
    int c = IdxCompare(ix, p, e, src);
    return strict ? c >= 0 : c > 0;
  };
  size_t lo = 0, hi = ix.tops.size();
  while (lo < hi) { // the first group whose last entry is not before p
    size_t mid = (lo + hi) / 2;
    if (before(ix.tops[mid]))
      lo = mid + 1;
    else
      hi = mid;
  }
  if (lo == ix.tops.size())
    return EndPos(ix);
  // In that group, the first chunk whose last entry is not before p; the
  // group's lines are asked for at once.
  lo *= kIdxGroup;
  hi = std::min(lo + kIdxGroup, ix.lasts.size());
  const char *group = reinterpret_cast<const char *>(ix.lasts.data() + lo);
  for (size_t off = 0; off < (hi - lo) * sizeof(IdxEntry); off += 64)
    __builtin_prefetch(group + off);
  while (lo < hi) {
    size_t mid = (lo + hi) / 2;
    if (before(ix.lasts[mid]))
      lo = mid + 1;
    else
      hi = mid;
  }
  const IdxChunk *c = ix.chunks[lo];
  // A chunk is 21 cache lines, and a search in it would miss on four or
  // five of them one after the other: ask for all of them at once, so the
  // misses overlap.
  const char *bytes = reinterpret_cast<const char *>(c);
  for (size_t off = 0; off < sizeof(IdxChunk); off += 64)
    __builtin_prefetch(bytes + off);
  uint32_t a = 0, b = c->n;
  while (a < b) {
    uint32_t mid = (a + b) / 2;
    if (before(c->e[mid]))
      a = mid + 1;
    else
      b = mid;
  }
  return IdxPos{lo, a};
}

} // namespace

void IdxMakeProbe(const uint8_t *bytes, uint32_t len, IdxProbe &p) {
  uint8_t pad[16] = {0};
  memcpy(pad, bytes, len < 16 ? len : 16);
  p.bytes = bytes;
  p.len = len;
  p.hi = LoadBE64(pad);
  p.lo = LoadBE64(pad + 8);
}

IdxEntry IdxMakeEntry(const IdxProbe &p, uint32_t rid) {
  IdxEntry e;
  e.hi = p.hi;
  e.lo = p.lo;
  e.rid = rid;
  return e;
}

int IdxCompare(const SortedIndex &ix, const IdxProbe &p, const IdxEntry &e,
               const IdxSource &src) {
  uint64_t ehi = e.hi, elo = e.lo;
  if (p.hi != ehi)
    return p.hi < ehi ? -1 : 1;
  if (p.lo != elo)
    return p.lo < elo ? -1 : 1;
  if (ix.complete) {
    // Equal words: the entry starts with the probe. A shorter probe (a
    // search key) sorts before every entry it starts.
    return p.len < ix.fixedLen ? -1 : 0;
  }
  uint8_t full[512];
  size_t n = src.composite(src.ctx, e.rid, full);
  size_t m = p.len < n ? p.len : n;
  int c = memcmp(p.bytes, full, m);
  if (c != 0)
    return c;
  if (p.len == n)
    return 0;
  return p.len < n ? -1 : 1;
}

namespace {

// A chunk that is no longer used goes back where it came from.
void DropChunk(IdxChunk *c) {
  if (!c->inSlab)
    delete c;
}

IdxChunk *NewChunk() {
  IdxChunk *c = new (std::nothrow) IdxChunk;
  if (c != nullptr)
    c->inSlab = 0;
  return c;
}

void FreeSlab(IdxSlab &slab) {
  BigFree(slab.base, slab.len);
  slab = IdxSlab{};
}

bool AllocSlab(IdxSlab &slab, size_t len) {
  slab.base = BigAlloc(len);
  slab.len = slab.base != nullptr ? len : 0;
  return slab.base != nullptr;
}

// The groups' last entries again, from the group of chunk `from` on, after
// chunks came or went there. The caller made room for one more group.
void RefreshTops(SortedIndex &ix, size_t from) {
  size_t n = ix.lasts.size();
  ix.tops.resize((n + kIdxGroup - 1) / kIdxGroup);
  for (size_t g = from / kIdxGroup; g < ix.tops.size(); ++g)
    ix.tops[g] = ix.lasts[std::min(g * kIdxGroup + kIdxGroup - 1, n - 1)];
}

// After the last entry of chunk i changed in place.
void SetLast(SortedIndex &ix, size_t i, const IdxEntry &e) {
  ix.lasts[i] = e;
  if (i % kIdxGroup == kIdxGroup - 1 || i + 1 == ix.lasts.size())
    ix.tops[i / kIdxGroup] = e;
}

} // namespace

void IdxClear(SortedIndex &ix) {
  for (IdxChunk *c : ix.chunks)
    DropChunk(c);
  FreeSlab(ix.slab);
  ix.chunks.clear();
  ix.lasts.clear();
  ix.tops.clear();
  ix.count = 0;
  ++ix.gen;
}

bool IdxLoad(SortedIndex &ix, const IdxEntry *sorted, size_t n) {
  IdxClear(ix);
  // Chunks are filled to three quarters, so the first inserts split none.
  const uint32_t fill = kIdxChunkCap * 3 / 4;
  size_t count = (n + fill - 1) / fill;
  try {
    ix.chunks.reserve(count);
    ix.lasts.reserve(count);
    ix.tops.reserve(count / kIdxGroup + 1);
  } catch (const std::bad_alloc &) {
    return false;
  }
  if (count > 0 && !AllocSlab(ix.slab, count * sizeof(IdxChunk)))
    return false;
  IdxChunk *slab = static_cast<IdxChunk *>(ix.slab.base);
  for (size_t i = 0; i < n; i += fill) {
    IdxChunk *c = slab++;
    c->inSlab = 1;
    c->n = static_cast<uint32_t>(n - i < fill ? n - i : fill);
    memcpy(c->e, sorted + i, sizeof(IdxEntry) * c->n);
    ix.chunks.push_back(c);
    ix.lasts.push_back(c->e[c->n - 1]);
  }
  RefreshTops(ix, 0);
  ix.count = n;
  return true;
}

IdxPos IdxLowerBound(const SortedIndex &ix, const IdxProbe &p,
                     const IdxSource &src) {
  return Bound(ix, p, src, false);
}

IdxPos IdxUpperBound(const SortedIndex &ix, const IdxProbe &p,
                     const IdxSource &src) {
  return Bound(ix, p, src, true);
}

int IdxInsertsBeforeFailure = 0;

bool IdxInsert(SortedIndex &ix, const IdxProbe &p, uint32_t rid,
               const IdxSource &src) {
  if (IdxInsertsBeforeFailure > 0 && --IdxInsertsBeforeFailure == 0)
    return false;
  // Room in the vectors first, so that a failure changes nothing.
  if (!IdxRoomForOne(ix.chunks) || !IdxRoomForOne(ix.lasts) ||
      !IdxRoomForOne(ix.tops))
    return false;
  IdxEntry e = IdxMakeEntry(p, rid);
  ++ix.gen;
  if (ix.chunks.empty()) {
    IdxChunk *c = NewChunk();
    if (c == nullptr)
      return false;
    c->n = 1;
    c->e[0] = e;
    ix.chunks.push_back(c);
    ix.lasts.push_back(e);
    RefreshTops(ix, 0);
    ix.count = 1;
    return true;
  }
  IdxPos pos = Bound(ix, p, src, true);
  if (pos.chunk == ix.chunks.size()) { // behind the last entry
    pos.chunk = ix.chunks.size() - 1;
    pos.at = ix.chunks[pos.chunk]->n;
  }
  IdxChunk *c = ix.chunks[pos.chunk];
  if (c->n == kIdxChunkCap) {
    IdxChunk *right = NewChunk();
    if (right == nullptr)
      return false;
    uint32_t half = kIdxChunkCap / 2;
    right->n = c->n - half;
    memcpy(right->e, c->e + half, sizeof(IdxEntry) * right->n);
    c->n = half;
    ix.chunks.insert(ix.chunks.begin() + static_cast<long>(pos.chunk) + 1,
                     right);
    ix.lasts.insert(ix.lasts.begin() + static_cast<long>(pos.chunk) + 1,
                    right->e[right->n - 1]);
    ix.lasts[pos.chunk] = c->e[c->n - 1];
    RefreshTops(ix, pos.chunk);
    if (pos.at > half) {
      c = right;
      ++pos.chunk;
      pos.at -= half;
    }
  }
  memmove(c->e + pos.at + 1, c->e + pos.at, sizeof(IdxEntry) * (c->n - pos.at));
  c->e[pos.at] = e;
  ++c->n;
  SetLast(ix, pos.chunk, c->e[c->n - 1]);
  ++ix.count;
  return true;
}

bool IdxErase(SortedIndex &ix, const IdxProbe &p, uint32_t rid,
              const IdxSource &src) {
  IdxPos pos = Bound(ix, p, src, false);
  if (!IdxValid(ix, pos) || IdxAt(ix, pos).rid != rid)
    return false;
  ++ix.gen;
  IdxChunk *c = ix.chunks[pos.chunk];
  memmove(c->e + pos.at, c->e + pos.at + 1,
          sizeof(IdxEntry) * (c->n - pos.at - 1));
  --c->n;
  --ix.count;
  if (c->n == 0) {
    DropChunk(c);
    ix.chunks.erase(ix.chunks.begin() + static_cast<long>(pos.chunk));
    ix.lasts.erase(ix.lasts.begin() + static_cast<long>(pos.chunk));
    RefreshTops(ix, pos.chunk);
  } else {
    SetLast(ix, pos.chunk, c->e[c->n - 1]);
  }
  return true;
}

IdxPos IdxFirst(const SortedIndex &) {
  return IdxPos{0, 0};
}

IdxPos IdxLast(const SortedIndex &ix) {
  if (ix.chunks.empty())
    return EndPos(ix);
  return IdxPos{ix.chunks.size() - 1, ix.chunks.back()->n - 1};
}

IdxPos IdxNext(const SortedIndex &ix, IdxPos pos) {
  if (pos.chunk >= ix.chunks.size())
    return EndPos(ix);
  if (pos.at + 1 < ix.chunks[pos.chunk]->n)
    return IdxPos{pos.chunk, pos.at + 1};
  return IdxPos{pos.chunk + 1, 0};
}

IdxPos IdxPrev(const SortedIndex &ix, IdxPos pos) {
  if (pos.chunk > ix.chunks.size())
    return EndPos(ix);
  if (pos.chunk < ix.chunks.size() && pos.at > 0)
    return IdxPos{pos.chunk, pos.at - 1};
  if (pos.chunk == 0)
    return EndPos(ix);
  return IdxPos{pos.chunk - 1, ix.chunks[pos.chunk - 1]->n - 1};
}
