// The table engine. A table is a data file of checksummed frames, appended
// to and never rewritten in place, and an index file that is a snapshot of
// the in-memory indexes, written at close. docs/storage.md tells the format
// and the reasons; in short:
//
// - a save or delete is one frame written with one pwrite, so a process that
//   dies leaves at worst a torn last frame, which the checksum rejects;
// - the index snapshot names the data file (its id and length), so a data
//   file that has grown since, or another data file, makes it stale (14);
// - a rebuild reads every intact frame, keeps the last version of each
//   record, and writes a compacted data file beside the old one, then
//   renames it into place;
// - records are read through a read-only mapping of the data file, by offset.
#include "store/engine.h"

#include "platform/paths.h"
#include "platform/strutil.h"
#include "store/bigalloc.h"
#include "store/bytes.h"
#include "store/crc.h"
#include "store/index.h"
#include "store/journal.h"
#include "store/progress.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <malloc.h>
#include <map>
#include <new>
#include <random>
#include <string>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>
#include <vector>

int OrvixError = 0;
uint64_t DbReproducibleStamp = 0;

namespace {

// ---------------------------------------------------------------- format

constexpr char kDataMagic[8] = {'M', 'N', 'T', 'R', 'L', 'D', 'A', 'T'};
constexpr char kIndexMagic[8] = {'M', 'N', 'T', 'R', 'L', 'I', 'D', 'X'};
constexpr uint32_t kFormatVersion = 1;
constexpr uint32_t kDataHeaderSize = 64;
constexpr uint32_t kIndexVersion = 2;
constexpr uint32_t kIndexHeaderSize = 512;
// Where the directory of sections starts in the index header, and the size
// of one entry of it (offset, count, checksum).
constexpr uint32_t kIndexDirectory = 96;
constexpr uint32_t kIndexSectionSize = 16;

// A composite key (a key's bytes, the primary key's, the record id) fits a
// buffer of this size; KeysFit holds every family to it.
constexpr size_t kCompositeRoom = 512;
static_assert(2 * kStoreMaxKey + 4 <= kCompositeRoom);
static_assert(kStoreMaxKey <= 255); // one length byte a key in a key block

constexpr uint32_t kFrameSync = 0x314d5246; // "FRM1"
constexpr uint32_t kFrameHead = 16;
constexpr uint32_t kFrameTail = 4;
constexpr uint32_t kFrameMaxBody = 16u << 20;

enum FrameKind : uint8_t {
  kFramePut = 1,      // a record's whole current version
  kFrameDelete = 2,   // the record is gone
  kFrameResource = 3, // a resource of the table, (Type, Id) is its key
  kFrameMeta = 4,     // the table's own numbers (the last id given out)
  kFramePatch = 5,    // a record's current version as changes to a put frame
};

// A patch frame's payload: the offset of the put frame it changes (u64),
// the length of the record it makes (u32), the count of pieces (u16), then
// each piece: the bytes between it and the piece before (a varint), its
// length (a varint), its bytes.
constexpr size_t kPatchHead = 14;
// Equal bytes between two differing runs that a piece takes in rather than
// start another piece.
constexpr size_t kPieceJoin = 3;
// A save writes a patch only for a record at least this long, and only
// while the patch stays within a quarter of the record: beyond that the
// whole record costs little more to write and nothing to read.
constexpr size_t kPatchMinRecord = 256;
constexpr size_t kPatchShare = 4;

struct FrameView {
  uint64_t off;
  uint32_t body; // key block and payload
  uint32_t rid;
  uint8_t kind;
  uint16_t keyLen;
  const uint8_t *keys;
  const uint8_t *payload; // the record's bytes (made anew for a patch)
  uint32_t payloadLen;
  // The put frame the record's bytes rest on: the frame itself, or the one
  // a patch changes. A patch keeps its base alive.
  uint64_t baseOff;
  uint64_t baseSize;
  const uint8_t *basePayload;
  uint32_t basePayloadLen;
  uint64_t size() const { return kFrameHead + body + kFrameTail; }
  uint64_t liveSize() const {
    return kind == kFramePatch ? size() + baseSize : size();
  }
};

// ---------------------------------------------------------------- state

struct Handle;

struct IndexSection {
  uint64_t off = 0;
  uint32_t count = 0;
  uint32_t crc = 0;
};

// The first and last entries of a record's entry array, and its count.
constexpr size_t kSummaryEntry = 16; // the largest entry summarised
struct EntrySummary {
  uint64_t off = 0; // the frame it was taken from
  int32_t count = 0;
  uint8_t first[kSummaryEntry], last[kSummaryEntry];
};

struct Table {
  const StoreFamily *fam = nullptr;
  std::string datPath, idxPath; // absolute real paths
  dev_t dev = 0;
  ino_t ino = 0;
  int lockFd = -1; // holds the lock and the mapping for the table's life
  int ioFd = -1;   // for writing; DbVirtualClose may close it
  const uint8_t *map = nullptr;
  size_t mapLen = 0;
  uint64_t dataEnd = 0;  // end of the last good frame: appends go here
  uint64_t fileSize = 0; // bytes on disk
  uint64_t fileId = 0;
  std::vector<uint64_t> slots; // record id -> its put frame, 0 when none
  // Record id -> the offset of the frame whose checksum was last found
  // good. Frames are never rewritten in place and the file does not change
  // under the table's lock, so a frame needs its checksum computed once in
  // the table's life; chain walks read the same frames again and again.
  mutable std::vector<uint64_t, BigAllocator<uint64_t>> checked;
  // Record id -> the first and last entries and the count of its entry
  // array (Extract, ExSp, Word), taken when the frame at `off` was written
  // or first peeked at: a chain walk peeks at every record it passes, and
  // with this it reads no frame of them. Good while off is slots[rid];
  // dropped with `checked` whenever the frames are scanned again.
  std::vector<EntrySummary, BigAllocator<EntrySummary>> summaries;
  uint32_t liveCount = 0;
  uint64_t liveBytes = 0; // bytes of frames still in use
  SortedIndex idx[kStoreMaxSlots];
  SortedIndex fileOrder; // by frame offset, built for opens without index
  bool haveFileOrder = false;
  bool scanSkipped = false; // the last ScanFrames stepped over bad bytes
  std::map<uint64_t, uint64_t> resources; // (Type << 32 | Id) -> frame
  int64_t highWater = 0;                  // last id given out
  uint64_t metaOff = 0;
  bool dirty = false;
  int refs = 0;
  uint64_t lastUse = 0;
  std::vector<Handle *> handles;
  std::vector<uint8_t> frame, payload, scratch, patch; // reused buffers
  // The bytes of the last record read through a patch frame: a FrameView
  // of a patch points here until the next read.
  mutable std::vector<uint8_t> patched;
  std::vector<uint8_t> batch; // the frames of a chain shift (EngineShiftUp)
  // The index snapshot, mapped at open; each key's entries are taken from it
  // at the key's first use, so an open costs little more than its checks.
  const uint8_t *idxMap = nullptr;
  size_t idxMapLen = 0;
  uint64_t keyOff[kStoreMaxSlots] = {};
  bool keyLoaded[kStoreMaxSlots] = {};
  // The parts of the index file as its header names them, so that a close
  // appends only what changed: the record table and resources each time,
  // an order only when a save or delete changed it.
  IndexSection idxSlots, idxKeys[kStoreMaxSlots], idxRes;
  uint64_t idxFileLen = 0; // 0: no index file of ours to append to
  bool keyDirty[kStoreMaxSlots] = {};
  // An order that a save or delete could not bring up to date (memory ran
  // out half way): it is sorted again from the record table before its next
  // use, and before the snapshot is written (EnsureKey, CloseTable).
  bool keyStale[kStoreMaxSlots] = {};
  JournalMark jm; // its place in the entry journal, when it has one
};

struct Handle {
  Table *t = nullptr;
  uint32_t cur = 0;    // current record, 0 none
  uint64_t curOff = 0; // its last frame, kept for stepping after a delete
  bool seq = false;    // opened without index: modes 0 to 3 in file order
  // Where the current record stood in the order last used; good while that
  // index has not changed (its gen), and then a step needs no search.
  int posOrder = -2;
  IdxPos pos{0, 0};
  uint64_t posGen = 0;
};

// Process-wide state of the store.
std::vector<Table *> gTables;
std::unordered_map<long, Handle *> gHandles;
long gNextHandle = 1;
StoreCloseTimes gCloseTimes{}; // for DbCloseTimes
int gDbFiles = 90;             // the descriptors the store may hold at once
int gOpenFds = 0;              // descriptors the store holds now
uint64_t gUseClock = 0;

int Fail(int err) {
  OrvixError = err;
  return err;
}
TblHandle FailHandle(int err) {
  OrvixError = err;
  return 0;
}

int ErrnoToError(int e) {
  switch (e) {
  case ENOENT:
  case ENOTDIR:
    return kErrNoFile;
  case EACCES:
  case EPERM:
  case EROFS:
    return kErrAccess;
  case ENOSPC:
  case EDQUOT:
  case EFBIG:
    return kErrOutOfSpace;
  case ENOMEM:
    return kErrNoMemory;
  case ENAMETOOLONG:
    return kErrBadPath;
  default:
    return kErrIo;
  }
}

// ---------------------------------------------------------------- files

void CloseFd(int &fd) {
  if (fd >= 0) {
    close(fd);
    fd = -1;
    --gOpenFds;
  }
}

void VirtualCloseOne() {
  Table *oldest = nullptr;
  for (Table *t : gTables)
    if (t->ioFd >= 0 && (oldest == nullptr || t->lastUse < oldest->lastUse))
      oldest = t;
  if (oldest != nullptr)
    CloseFd(oldest->ioFd);
}

// Opens a descriptor within the DbFiles budget: the write descriptor of the
// table used least recently gives way when the budget is spent.
int OpenCounted(const char *path, int flags, mode_t mode = 0644) {
  if (gOpenFds >= gDbFiles)
    VirtualCloseOne();
  int fd = open(path, flags | O_CLOEXEC, mode);
  if (fd >= 0)
    ++gOpenFds;
  return fd;
}

bool WriteAll(int fd, const void *data, size_t len, uint64_t off) {
  const uint8_t *p = static_cast<const uint8_t *>(data);
  while (len > 0) {
    ssize_t n = pwrite(fd, p, len, static_cast<off_t>(off));
    if (n < 0) {
      if (errno == EINTR)
        continue;
      return false;
    }
    if (n == 0) {
      errno = EIO;
      return false;
    }
    p += n;
    len -= static_cast<size_t>(n);
    off += static_cast<uint64_t>(n);
  }
  return true;
}

bool ReadAll(int fd, void *data, size_t len, uint64_t off) {
  uint8_t *p = static_cast<uint8_t *>(data);
  while (len > 0) {
    ssize_t n = pread(fd, p, len, static_cast<off_t>(off));
    if (n < 0) {
      if (errno == EINTR)
        continue;
      return false;
    }
    if (n == 0) {
      errno = EIO;
      return false;
    }
    p += n;
    len -= static_cast<size_t>(n);
    off += static_cast<uint64_t>(n);
  }
  return true;
}

std::string DirOf(const std::string &path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos)
    return ".";
  if (slash == 0)
    return "/";
  return path.substr(0, slash);
}

void SyncDir(const std::string &path) {
  int fd = open(DirOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0) {
    fsync(fd);
    close(fd);
  }
}

// The real path of `base` plus an extension, made absolute so that a change
// of the current folder does not move an open table.
int ResolvePath(const char *base, const char *ext, std::string &real) {
  if (base == nullptr || *base == '\0')
    return kErrBadPath;
  char stored[kPathMax + 8];
  size_t n = StrFormat(stored, "%s%s", base, ext);
  if (n != strlen(base) + strlen(ext) || n > kPathMax)
    return kErrBadPath;
  if (!PlatRealPath(stored, real))
    return kErrBadPath;
  if (real[0] != '/') {
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) == nullptr)
      return kErrBadPath;
    real = std::string(cwd) + "/" + real;
  }
  return 0;
}

// A new data file's id ties its index snapshot to it. It is random, unless a
// reproducible build asked for ids derived from the stamp and the file's name.
uint64_t NewFileId(const std::string &datPath) {
  if (DbReproducibleStamp != 0) {
    uint64_t h = 1469598103934665603ull ^ DbReproducibleStamp;
    size_t slash = datPath.find_last_of('/');
    for (size_t i = slash == std::string::npos ? 0 : slash + 1;
         i < datPath.size(); ++i)
      h = (h ^ static_cast<unsigned char>(datPath[i])) * 1099511628211ull;
    return h == 0 ? 1 : h;
  }
  static std::mt19937_64 gen(std::random_device{}() ^
                             static_cast<uint64_t>(time(nullptr)) ^
                             static_cast<uint64_t>(getpid()));
  uint64_t id;
  do
    id = gen();
  while (id == 0);
  return id;
}

void MakeDataHeader(uint8_t *h, const StoreFamily &fam, uint64_t fileId) {
  memset(h, 0, kDataHeaderSize);
  memcpy(h, kDataMagic, 8);
  StoreLE32(h + 8, kFormatVersion);
  StoreLE32(h + 12, fam.code);
  StoreLE64(h + 16, fileId);
  StoreLE64(h + 24, DbReproducibleStamp != 0
                        ? DbReproducibleStamp
                        : static_cast<uint64_t>(time(nullptr)));
  StoreLE32(h + 60, StoreCrc32c(h, 60));
}

// 0 when the header is this family's; kErrDamaged otherwise.
int CheckDataHeader(const uint8_t *h, size_t len, const StoreFamily &fam,
                    uint64_t &fileId) {
  if (len < kDataHeaderSize || memcmp(h, kDataMagic, 8) != 0 ||
      LoadLE32(h + 60) != StoreCrc32c(h, 60) ||
      LoadLE32(h + 8) != kFormatVersion || LoadLE32(h + 12) != fam.code)
    return kErrDamaged;
  fileId = LoadLE64(h + 16);
  return 0;
}

// ---------------------------------------------------------------- mapping

// Maps at least `need` bytes of the data file. The mapping reaches beyond
// the end of the file, so that appends seldom need a new one; nothing past
// dataEnd is ever read.
int EnsureMapped(Table &t, uint64_t need) {
  if (need <= t.mapLen && t.map != nullptr)
    return 0;
  size_t len = static_cast<size_t>(std::max<uint64_t>(need * 2, 1u << 20));
  long page = sysconf(_SC_PAGESIZE);
  len =
      (len + static_cast<size_t>(page) - 1) & ~(static_cast<size_t>(page) - 1);
  // A mapping that grows keeps its pages where it can (mremap), so that a
  // growing file is not faulted in again from its start.
  void *m = MAP_FAILED;
  if (t.map != nullptr)
    m = mremap(const_cast<uint8_t *>(t.map), t.mapLen, len, MREMAP_MAYMOVE);
  if (m != MAP_FAILED) {
    t.map = static_cast<const uint8_t *>(m);
    t.mapLen = len;
    return 0;
  }
  m = mmap(nullptr, len, PROT_READ, MAP_SHARED, t.lockFd, 0);
  if (m == MAP_FAILED)
    return kErrNoMemory;
  if (t.map != nullptr)
    munmap(const_cast<uint8_t *>(t.map), t.mapLen);
  t.map = static_cast<const uint8_t *>(m);
  t.mapLen = len;
  return 0;
}

int EnsureIo(Table &t) {
  if (t.ioFd >= 0)
    return 0;
  int fd = OpenCounted(t.datPath.c_str(), O_RDWR);
  if (fd < 0)
    return ErrnoToError(errno);
  struct stat st;
  if (fstat(fd, &st) != 0 || st.st_ino != t.ino || st.st_dev != t.dev) {
    close(fd);
    --gOpenFds;
    return kErrDamaged; // someone replaced the file under the lock
  }
  t.ioFd = fd;
  return 0;
}

// ---------------------------------------------------------------- frames

// Checks the frame at `off` against `end`: sync word, length, family, kind
// and checksum. Fills `fv` when it is good.
bool ParseFrame(const uint8_t *base, uint64_t end, uint64_t off, uint8_t family,
                FrameView &fv, bool checksum = true) {
  if (off + kFrameHead + kFrameTail > end)
    return false;
  const uint8_t *h = base + off;
  if (LoadLE32(h) != kFrameSync)
    return false;
  uint32_t body = LoadLE32(h + 4);
  if (body > kFrameMaxBody || body > end - off - kFrameHead - kFrameTail)
    return false;
  uint8_t kind = h[12];
  uint16_t keyLen = LoadLE16(h + 14);
  if (h[13] != family || kind < kFramePut || kind > kFramePatch ||
      keyLen > body)
    return false;
  if (checksum &&
      LoadLE32(h + kFrameHead + body) != StoreCrc32c(h, kFrameHead + body))
    return false;
  fv.off = off;
  fv.body = body;
  fv.rid = LoadLE32(h + 8);
  fv.kind = kind;
  fv.keyLen = keyLen;
  fv.keys = h + kFrameHead;
  fv.payload = h + kFrameHead + keyLen;
  fv.payloadLen = body - keyLen;
  fv.baseOff = off;
  fv.baseSize = fv.size();
  fv.basePayload = fv.payload;
  fv.basePayloadLen = fv.payloadLen;
  return true;
}

// The put frame a patch frame rests on, checked: it stands before the
// patch, belongs to the same record, and (with `checksum`) is intact.
bool PatchBase(const uint8_t *map, const FrameView &patch, uint8_t family,
               FrameView &base, bool checksum) {
  if (patch.payloadLen < kPatchHead)
    return false;
  uint64_t at = LoadLE64(patch.payload);
  return at < patch.off &&
         ParseFrame(map, patch.off, at, family, base, checksum) &&
         base.kind == kFramePut && base.rid == patch.rid;
}

// A piece's place and length are small numbers written in 7-bit groups,
// low first; its place counts from the end of the piece before it.
uint8_t *PutVarint(uint8_t *p, uint32_t v) {
  while (v >= 0x80) {
    *p++ = static_cast<uint8_t>(v | 0x80);
    v >>= 7;
  }
  *p++ = static_cast<uint8_t>(v);
  return p;
}

bool GetVarint(const uint8_t *p, size_t len, size_t &at, uint32_t &v) {
  v = 0;
  for (int shift = 0; shift < 35; shift += 7) {
    if (at >= len)
      return false;
    uint8_t b = p[at++];
    v |= static_cast<uint32_t>(b & 0x7f) << shift;
    if ((b & 0x80) == 0)
      return shift < 28 || b < 0x10;
  }
  return false;
}

// Makes in `out` the record that the patch `p` (a patch frame's payload)
// makes of `base`. Every piece lies inside the record; bytes past the
// base's end that no piece covers are zero (the writer covers them all).
bool ApplyPatch(const uint8_t *base, size_t baseLen, const uint8_t *p,
                size_t len, std::vector<uint8_t> &out) {
  if (len < kPatchHead)
    return false;
  uint32_t total = LoadLE32(p + 8);
  uint32_t pieces = LoadLE16(p + 12);
  if (total > kFrameMaxBody)
    return false;
  try {
    out.resize(total);
  } catch (const std::bad_alloc &) {
    return false;
  }
  size_t keep = std::min<size_t>(baseLen, total);
  if (keep > 0)
    memcpy(out.data(), base, keep);
  if (total > keep)
    memset(out.data() + keep, 0, total - keep);
  size_t at = kPatchHead;
  uint64_t to = 0;
  for (uint32_t i = 0; i < pieces; ++i) {
    uint32_t gap, n;
    if (!GetVarint(p, len, at, gap) || !GetVarint(p, len, at, n) ||
        n > len - at || gap > total - to || n > total - to - gap)
      return false;
    to += gap;
    memcpy(out.data() + to, p + at, n);
    at += n;
    to += n;
  }
  return at == len;
}

// The first byte at or after `i` where `now` differs from the base (a byte
// past the base's end differs), or `nowLen`. Equal stretches are passed
// eight bytes at a time.
size_t NextDifference(const uint8_t *base, size_t baseLen, const uint8_t *now,
                      size_t nowLen, size_t i) {
  size_t common = std::min(baseLen, nowLen);
  while (i + 8 <= common) {
    uint64_t a, b;
    memcpy(&a, base + i, 8);
    memcpy(&b, now + i, 8);
    if (a != b)
      break;
    i += 8;
  }
  while (i < common && base[i] == now[i])
    ++i;
  return i;
}

// Writes into `out` the patch that makes `now` of the base record, unless it
// would pass `limit` bytes: then false, and a whole frame is written.
// Differing bytes a few apart go into one piece (a piece's head is two
// bytes or more).
bool MakePatch(uint64_t baseOff, const uint8_t *base, size_t baseLen,
               const uint8_t *now, size_t nowLen, size_t limit,
               std::vector<uint8_t> &out) {
  constexpr size_t kPieceMostHead = 10; // two varints of 32 bits
  out.resize(std::max(limit, kPatchHead));
  StoreLE64(out.data(), baseOff);
  StoreLE32(out.data() + 8, static_cast<uint32_t>(nowLen));
  uint8_t *p = out.data() + kPatchHead;
  const uint8_t *stop = out.data() + out.size();
  size_t pieces = 0;
  size_t done = 0; // the end of the last piece
  for (size_t i = NextDifference(base, baseLen, now, nowLen, 0); i < nowLen;
       i = NextDifference(base, baseLen, now, nowLen, done)) {
    size_t end = i + 1; // [i, end) differs, but for runs of a few bytes
    for (size_t j = end; j < nowLen && j - end < kPieceJoin; ++j)
      if (j >= baseLen || now[j] != base[j])
        end = j + 1;
    if (static_cast<size_t>(stop - p) < kPieceMostHead + (end - i) ||
        pieces == 0xffff)
      return false;
    p = PutVarint(p, static_cast<uint32_t>(i - done));
    p = PutVarint(p, static_cast<uint32_t>(end - i));
    memcpy(p, now + i, end - i);
    p += end - i;
    ++pieces;
    done = end;
  }
  out.resize(static_cast<size_t>(p - out.data()));
  StoreLE16(out.data() + 12, static_cast<uint16_t>(pieces));
  return true;
}

bool FrameChecked(const Table &t, uint64_t off) {
  if (off + kFrameHead > t.dataEnd)
    return false;
  uint32_t rid = LoadLE32(t.map + off + 8);
  return rid < t.checked.size() && t.checked[rid] == off;
}

// A read of record `rid` waits for its slot, then its frame's head, then
// the memory of its check (and a peek for its summary): arrays apart, each a
// likely cache miss in a large table. Asking for the last two as soon as
// the record is known lets the misses overlap.
void AskForRecordState(const Table &t, uint32_t rid) {
  if (rid < t.checked.size())
    __builtin_prefetch(&t.checked[rid]);
  if (rid < t.summaries.size())
    __builtin_prefetch(&t.summaries[rid]);
}

void MarkChecked(const Table &t, uint32_t rid, uint64_t off) {
  if (rid == 0 || rid >= t.slots.size())
    return;
  if (t.checked.size() < t.slots.size()) {
    // Only a memory of work done: without room, the frame is checked again.
    try {
      t.checked.resize(t.slots.size() + t.slots.size() / 4, 0);
    } catch (const std::bad_alloc &) {
      return;
    }
  }
  t.checked[rid] = off;
}

// The size of an entry of the family's inline entry array when a summary
// can hold it, else 0.
size_t SummaryEntrySize(const StoreFamily &fam) {
  for (int i = 0; i < fam.fieldCount; ++i)
    if (fam.fields[i].kind == kFEntries)
      return fam.fields[i].entries->entrySize <= kSummaryEntry
                 ? fam.fields[i].entries->entrySize
                 : 0;
  return 0;
}

// Remembers the summary of the record `rid` whose frame is at `off`; only
// a memory of work done, so nothing fails without room for it.
void RememberSummary(Table &t, uint32_t rid, uint64_t off, const void *first,
                     const void *last, int count, size_t entrySize) {
  if (entrySize == 0 || rid == 0 || rid >= t.slots.size())
    return;
  if (t.summaries.size() < t.slots.size()) {
    try {
      t.summaries.resize(t.slots.size() + t.slots.size() / 4);
    } catch (const std::bad_alloc &) {
      return;
    }
  }
  EntrySummary &s = t.summaries[rid];
  s.off = off;
  s.count = count;
  memcpy(s.first, first, entrySize);
  memcpy(s.last, last, entrySize);
}

// Whether the record in `t.payload`, a new version of the record read into
// `old`, goes as a patch of the put frame the old version rests on: then
// `t.patch` holds it. A short record, or a patch that would pass a share
// of the record, goes whole.
bool PatchOfBase(Table &t, const FrameView &old) {
  return t.payload.size() >= kPatchMinRecord &&
         MakePatch(old.baseOff, old.basePayload, old.basePayloadLen,
                   t.payload.data(), t.payload.size(),
                   t.payload.size() / kPatchShare, t.patch);
}

// Reads the frame at `off`; a patch frame's record is made from its base
// into `t.patched`, where fv.payload then points.
int ReadFrame(const Table &t, uint64_t off, FrameView &fv) {
  bool known = FrameChecked(t, off);
  if (!ParseFrame(t.map, t.dataEnd, off, t.fam->code, fv, !known))
    return kErrDamaged;
  if (fv.kind == kFramePatch) {
    FrameView base;
    if (!PatchBase(t.map, fv, t.fam->code, base, !known) ||
        !ApplyPatch(base.payload, base.payloadLen, fv.payload, fv.payloadLen,
                    t.patched))
      return kErrDamaged;
    fv.baseOff = base.off;
    fv.baseSize = base.size();
    fv.basePayload = base.payload;
    fv.basePayloadLen = base.payloadLen;
    fv.payload = t.patched.data();
    fv.payloadLen = static_cast<uint32_t>(t.patched.size());
  }
  if (!known && (fv.kind == kFramePut || fv.kind == kFramePatch))
    MarkChecked(t, fv.rid, off);
  return 0;
}

// The key block of a frame, checked for its bounds only (comparisons run on
// it and must stay cheap; reads check the whole frame).
bool FrameKeys(const Table &t, uint64_t off, const uint8_t *&kb,
               size_t &kbLen) {
  if (off + kFrameHead > t.dataEnd)
    return false;
  const uint8_t *h = t.map + off;
  size_t len = LoadLE16(h + 14);
  if (off + kFrameHead + len > t.dataEnd)
    return false;
  kb = h + kFrameHead;
  kbLen = len;
  return true;
}

// One key's bytes inside a key block: a length byte, then the bytes, for
// each key of the family in slot order.
bool KeyInBlock(const uint8_t *kb, size_t kbLen, int slot, const uint8_t *&k,
                size_t &len) {
  size_t p = 0;
  for (int i = 0;; ++i) {
    if (p >= kbLen)
      return false;
    size_t n = kb[p];
    if (p + 1 + n > kbLen)
      return false;
    if (i == slot) {
      k = kb + p + 1;
      len = n;
      return true;
    }
    p += 1 + n;
  }
}

// The composite key of a record under a slot: the key's bytes, the primary
// key's bytes for a secondary key that does not hold them, the record id.
// Slot -1 is the file order: the frame offset and the record id.
size_t CompositeFromBlock(const StoreFamily &fam, int slot, const uint8_t *kb,
                          size_t kbLen, uint32_t rid, uint8_t *out) {
  size_t n = 0;
  const uint8_t *k;
  size_t len;
  if (KeyInBlock(kb, kbLen, slot, k, len)) {
    memcpy(out, k, len);
    n = len;
  }
  if (slot != 0 && !fam.keys[slot].holdsPrimary &&
      KeyInBlock(kb, kbLen, 0, k, len)) {
    memcpy(out + n, k, len);
    n += len;
  }
  StoreBE32(out + n, rid);
  return n + 4;
}

size_t Composite(const Table &t, int slot, uint64_t off, uint32_t rid,
                 uint8_t *out) {
  if (slot < 0) {
    StoreBE64(out, off);
    StoreBE32(out + 8, rid);
    return 12;
  }
  const uint8_t *kb;
  size_t kbLen;
  if (!FrameKeys(t, off, kb, kbLen)) {
    StoreBE32(out, rid);
    return 4;
  }
  return CompositeFromBlock(*t.fam, slot, kb, kbLen, rid, out);
}

struct SlotSource {
  const Table *t;
  int slot;
};

size_t CompositeOfRid(const void *ctx, uint32_t rid, uint8_t *out) {
  const SlotSource *s = static_cast<const SlotSource *>(ctx);
  uint64_t off = rid < s->t->slots.size() ? s->t->slots[rid] : 0;
  return Composite(*s->t, s->slot, off, rid, out);
}

SortedIndex &IndexOf(Table &t, int slot) {
  return slot < 0 ? t.fileOrder : t.idx[slot];
}

// Set-up of each index: keys whose composite is a short run of numbers are
// decided by the entry words alone.
void InitIndexes(Table &t) {
  const StoreFamily &fam = *t.fam;
  for (int s = 0; s < fam.keyCount; ++s) {
    uint32_t len = 4;
    bool numeric = true;
    auto add = [&](const StoreKeyDesc &k) {
      for (int i = 0; i < k.fieldCount; ++i) {
        switch (k.fields[i].kind) {
        case kFU8:
          len += 1;
          break;
        case kFU16:
          len += 2;
          break;
        case kFU32:
        case kFI32:
          len += 4;
          break;
        default:
          numeric = false;
        }
      }
    };
    add(fam.keys[s]);
    if (s != 0 && !fam.keys[s].holdsPrimary)
      add(fam.keys[0]);
    t.idx[s].complete = numeric && len <= 16;
    t.idx[s].fixedLen = len;
  }
  t.fileOrder.complete = true;
  t.fileOrder.fixedLen = 12;
}

// ---------------------------------------------------------------- tables

constexpr size_t kTrimAfterRecords = 50000;

void FreeTable(Table *t) {
  size_t records = t->slots.size();
  for (int s = 0; s < kStoreMaxSlots; ++s)
    IdxClear(t->idx[s]);
  IdxClear(t->fileOrder);
  if (t->map != nullptr)
    munmap(const_cast<uint8_t *>(t->map), t->mapLen);
  t->map = nullptr;
  if (t->idxMap != nullptr)
    munmap(const_cast<uint8_t *>(t->idxMap), t->idxMapLen);
  t->idxMap = nullptr;
  CloseFd(t->ioFd);
  CloseFd(t->lockFd); // releases the lock
  delete t;
  // A large table leaves megabytes of chunks free in the heap, where the
  // orders of the next table (taken in blocks of their own) do not look:
  // they go back to the system.
  if (records > kTrimAfterRecords)
    malloc_trim(0);
}

void Unregister(Table *t) {
  gTables.erase(std::remove(gTables.begin(), gTables.end(), t), gTables.end());
}

Handle *GetHandle(TblHandle h, const StoreFamily *fam, int &err) {
  auto it = gHandles.find(h);
  if (it == gHandles.end()) {
    err = kErrNotOpen;
    return nullptr;
  }
  if (fam != nullptr && it->second->t->fam != fam) {
    err = kErrBadArg; // a handle of another kind of table
    return nullptr;
  }
  it->second->t->lastUse = ++gUseClock;
  err = 0;
  return it->second;
}

TblHandle NewHandle(Table *t, bool seq) {
  Handle *hd = new (std::nothrow) Handle;
  if (hd == nullptr)
    return FailHandle(kErrNoMemory);
  hd->t = t;
  hd->seq = seq;
  t->handles.push_back(hd);
  ++t->refs;
  long id = gNextHandle++;
  gHandles[id] = hd;
  OrvixError = 0;
  return id;
}

// Takes the file's lock and checks that the path still names the file that
// was locked (a rebuild renames a new file into place).
int LockData(Table &t) {
  for (int attempt = 0; attempt < 8; ++attempt) {
    int fd = OpenCounted(t.datPath.c_str(), O_RDONLY);
    if (fd < 0)
      return ErrnoToError(errno);
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
      close(fd);
      --gOpenFds;
      return kErrDamaged;
    }
    for (Table *o : gTables)
      if (o->dev == st.st_dev && o->ino == st.st_ino) {
        close(fd);
        --gOpenFds;
        t.dev = st.st_dev;
        t.ino = st.st_ino;
        return kErrInUse; // open in this process
      }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
      int e = errno;
      close(fd);
      --gOpenFds;
      return e == EWOULDBLOCK ? kErrLocked : ErrnoToError(e);
    }
    struct stat now;
    if (stat(t.datPath.c_str(), &now) == 0 && now.st_ino == st.st_ino &&
        now.st_dev == st.st_dev) {
      t.lockFd = fd;
      t.dev = st.st_dev;
      t.ino = st.st_ino;
      t.fileSize = static_cast<uint64_t>(st.st_size);
      return 0;
    }
    close(fd);
    --gOpenFds;
  }
  return kErrLocked;
}

Table *FindOpen(const std::string &datPath) {
  struct stat st;
  if (stat(datPath.c_str(), &st) != 0)
    return nullptr;
  for (Table *t : gTables)
    if (t->dev == st.st_dev && t->ino == st.st_ino)
      return t;
  return nullptr;
}

// ---------------------------------------------------------------- building

// Reads every good frame of the data file from `start` on and takes the
// last version of each record, resource and table number. Bad bytes are
// stepped over: the scan looks for the next frame's sync word.
void ScanFrames(Table &t, uint64_t start) {
  t.slots.assign(1, 0);
  t.checked.clear();
  t.summaries.clear();
  t.resources.clear();
  t.highWater = 0;
  t.metaOff = 0;
  uint64_t end = t.fileSize;
  uint64_t pos = start;
  uint64_t goodEnd = start;
  t.scanSkipped = false;
  // A record id is at most the number of frames ever written, and a frame
  // takes at least 20 bytes: ids beyond that are damage.
  uint64_t ridLimit = end / (kFrameHead + kFrameTail) + 1;
  const uint8_t sync[4] = {0x46, 0x52, 0x4d, 0x31};
  while (pos + kFrameHead + kFrameTail <= end) {
    FrameView fv;
    if (ParseFrame(t.map, end, pos, t.fam->code, fv)) {
      if (fv.kind == kFramePut || fv.kind == kFrameDelete ||
          fv.kind == kFramePatch) {
        // A patch whose base is damaged cannot make its record: the
        // record's last version that can be read stays, as when its last
        // frame itself is damaged.
        FrameView base;
        bool usable = fv.kind != kFramePatch ||
                      PatchBase(t.map, fv, t.fam->code, base, true);
        if (fv.rid != 0 && fv.rid < ridLimit && usable) {
          if (fv.rid >= t.slots.size())
            t.slots.resize(fv.rid + 1, 0);
          t.slots[fv.rid] = fv.kind == kFrameDelete ? 0 : pos;
        }
      } else if (fv.kind == kFrameResource && fv.payloadLen >= 12) {
        uint64_t key = (static_cast<uint64_t>(LoadLE32(fv.payload)) << 32) |
                       LoadLE32(fv.payload + 4);
        t.resources[key] = pos;
      } else if (fv.kind == kFrameMeta && fv.payloadLen >= 8) {
        int64_t v = static_cast<int64_t>(LoadLE64(fv.payload));
        if (v > t.highWater)
          t.highWater = v;
        t.metaOff = pos;
      }
      pos += fv.size();
      goodEnd = pos;
      continue;
    }
    t.scanSkipped = true;
    const void *next = memmem(t.map + pos + 1, end - pos - 1, sync, 4);
    pos =
        next == nullptr
            ? end
            : static_cast<uint64_t>(static_cast<const uint8_t *>(next) - t.map);
  }
  t.dataEnd = goodEnd;
}

uint64_t FrameSizeAt(const Table &t, uint64_t off) {
  return kFrameHead + LoadLE32(t.map + off + 4) + kFrameTail;
}

// The bytes a record's current frame keeps in use: its own, and its base's
// when it is a patch. The frame was checked when it was indexed.
uint64_t RecordBytesAt(const Table &t, uint64_t off) {
  uint64_t n = FrameSizeAt(t, off);
  if (t.map[off + 12] != kFramePatch)
    return n;
  uint64_t at = LoadLE64(t.map + off + kFrameHead + LoadLE16(t.map + off + 14));
  return at < off ? n + FrameSizeAt(t, at) : n;
}

// The entries of one order taken from the live records, before their sort.
// Keys that the entry words do not decide keep their composite key in an
// arena, taken once, for the comparisons of the sort.
struct SlotEntries {
  int slot = 0;
  bool complete = false;
  std::vector<IdxEntry> v;
  std::vector<uint8_t> arena;
  std::vector<uint64_t> place; // arena offset << 16 | length, by position
};

// Takes the entries of several orders in one walk over the records, so that
// each record's key block is read once for all of them.
void CollectSlots(Table &t, SlotEntries *orders, int count) {
  for (int i = 0; i < count; ++i) {
    SlotEntries &o = orders[i];
    o.complete = IndexOf(t, o.slot).complete;
    o.v.clear();
    o.arena.clear();
    o.place.clear();
    o.v.reserve(t.liveCount);
  }
  uint8_t buf[kCompositeRoom];
  const uint32_t ahead = 8;
  for (uint32_t rid = 1; rid < t.slots.size(); ++rid) {
    // Frames lie hundreds of bytes apart: ask for the key block of a
    // record a few ahead, so that its miss overlaps the work on this one.
    if (rid + ahead < t.slots.size() && t.slots[rid + ahead] != 0 &&
        t.slots[rid + ahead] + 128 <= t.dataEnd) {
      __builtin_prefetch(t.map + t.slots[rid + ahead]);
      __builtin_prefetch(t.map + t.slots[rid + ahead] + 64);
    }
    uint64_t off = t.slots[rid];
    if (off == 0)
      continue;
    for (int i = 0; i < count; ++i) {
      SlotEntries &o = orders[i];
      size_t n = Composite(t, o.slot, off, rid, buf);
      IdxProbe p;
      IdxMakeProbe(buf, static_cast<uint32_t>(n), p);
      IdxEntry e = IdxMakeEntry(p, rid);
      if (!o.complete) {
        e.rid = static_cast<uint32_t>(o.place.size()); // sorted by place
        o.place.push_back((static_cast<uint64_t>(o.arena.size()) << 16) | n);
        o.arena.insert(o.arena.end(), buf, buf + n);
      }
      o.v.push_back(e);
    }
  }
}

// Puts collected entries in their order; the arena is let go after.
void SortCollected(SlotEntries &o) {
  std::vector<IdxEntry> &v = o.v;
  if (o.complete) {
    std::sort(v.begin(), v.end(), [](const IdxEntry &a, const IdxEntry &b) {
      uint64_t ah = a.hi, bh = b.hi, al = a.lo, bl = b.lo;
      if (ah != bh)
        return ah < bh;
      if (al != bl)
        return al < bl;
      return a.rid < b.rid;
    });
    return;
  }
  const std::vector<uint8_t> &arena = o.arena;
  const std::vector<uint64_t> &place = o.place;
  std::sort(v.begin(), v.end(), [&](const IdxEntry &a, const IdxEntry &b) {
    uint64_t ah = a.hi, bh = b.hi, al = a.lo, bl = b.lo;
    if (ah != bh)
      return ah < bh;
    if (al != bl)
      return al < bl;
    uint64_t pa = place[a.rid], pb = place[b.rid];
    size_t na = pa & 0xffff, nb = pb & 0xffff;
    int c = memcmp(arena.data() + (pa >> 16), arena.data() + (pb >> 16),
                   std::min(na, nb));
    return c != 0 ? c < 0 : na < nb;
  });
  // Each composite key ends in its record id: give the entries theirs back.
  for (IdxEntry &e : v) {
    uint64_t pe = place[e.rid];
    const uint8_t *k = arena.data() + (pe >> 16) + (pe & 0xffff) - 4;
    e.rid = LoadBE32(k);
  }
  std::vector<uint8_t>().swap(o.arena);
  std::vector<uint64_t>().swap(o.place);
}

// Sorts one index from the live records.
void SortSlot(Table &t, int slot, std::vector<IdxEntry> &v) {
  SlotEntries o;
  o.slot = slot;
  CollectSlots(t, &o, 1);
  SortCollected(o);
  v.swap(o.v);
}

// The key bytes of a live record under a slot (without primary key or id).
bool FieldKey(const Table &t, uint32_t rid, int slot, const uint8_t *&k,
              size_t &len) {
  const uint8_t *kb;
  size_t kbLen;
  return FrameKeys(t, t.slots[rid], kb, kbLen) &&
         KeyInBlock(kb, kbLen, slot, k, len);
}

// Two records with equal unique keys can only come from damage (a delete
// frame lost). The newer version wins: records are taken newest first and
// one whose unique key is taken already is dropped.
void ResolveDuplicates(Table &t) {
  const StoreFamily &fam = *t.fam;
  std::vector<uint32_t> order;
  for (uint32_t rid = 1; rid < t.slots.size(); ++rid)
    if (t.slots[rid] != 0)
      order.push_back(rid);
  std::sort(order.begin(), order.end(),
            [&](uint32_t a, uint32_t b) { return t.slots[a] > t.slots[b]; });
  std::vector<std::unordered_set<std::string>> seen(fam.keyCount);
  for (uint32_t rid : order) {
    bool clash = false;
    for (int s = 0; s < fam.keyCount && !clash; ++s) {
      const uint8_t *k;
      size_t len;
      if (fam.keys[s].unique && FieldKey(t, rid, s, k, len))
        clash = seen[s].count(
                    std::string(reinterpret_cast<const char *>(k), len)) > 0;
    }
    if (clash) {
      t.slots[rid] = 0;
      continue;
    }
    for (int s = 0; s < fam.keyCount; ++s) {
      const uint8_t *k;
      size_t len;
      if (fam.keys[s].unique && FieldKey(t, rid, s, k, len))
        seen[s].insert(std::string(reinterpret_cast<const char *>(k), len));
    }
  }
}

void CountLive(Table &t) {
  t.liveCount = 0;
  t.liveBytes = 0;
  for (uint32_t rid = 1; rid < t.slots.size(); ++rid)
    if (t.slots[rid] != 0) {
      ++t.liveCount;
      t.liveBytes += RecordBytesAt(t, t.slots[rid]);
    }
  for (auto &r : t.resources)
    t.liveBytes += FrameSizeAt(t, r.second);
  if (t.metaOff != 0)
    t.liveBytes += FrameSizeAt(t, t.metaOff);
}

// Builds every index from the records found by a scan.
int BuildIndexes(Table &t) {
  SlotEntries orders[kStoreMaxSlots];
  const int keys = t.fam->keyCount;
  bool dupes = false;
  for (int pass = 0; pass < 2; ++pass) {
    CountLive(t);
    for (int s = 0; s < keys; ++s)
      orders[s].slot = s;
    CollectSlots(t, orders, keys);
    for (int s = 0; s < keys; ++s) {
      SortCollected(orders[s]);
      std::vector<IdxEntry> &v = orders[s].v;
      if (pass == 0 && t.fam->keys[s].unique)
        for (size_t i = 1; i < v.size() && !dupes; ++i) {
          const uint8_t *a, *b;
          size_t la, lb;
          if (FieldKey(t, v[i - 1].rid, s, a, la) &&
              FieldKey(t, v[i].rid, s, b, lb) && la == lb &&
              memcmp(a, b, la) == 0)
            dupes = true;
        }
      if (!IdxLoad(t.idx[s], v.data(), v.size()))
        return kErrNoMemory;
      std::vector<IdxEntry>().swap(v); // the chunks hold them now
    }
    if (!dupes)
      break;
    if (pass == 0)
      ResolveDuplicates(t);
  }
  return 0;
}

int BuildFileOrder(Table &t) {
  std::vector<IdxEntry> v;
  SortSlot(t, -1, v);
  if (!IdxLoad(t.fileOrder, v.data(), v.size()))
    return kErrNoMemory;
  t.haveFileOrder = true;
  return 0;
}

// ---------------------------------------------------------------- index file

// A buffered writer that keeps the checksum of what it wrote.
struct Writer {
  Writer(int f, uint64_t o) : fd(f), off(o) {}
  int fd;
  uint64_t off;
  uint32_t crc = 0;
  bool ok = true;
  std::vector<uint8_t> buf;
  void put(const void *p, size_t n) {
    const uint8_t *b = static_cast<const uint8_t *>(p);
    crc = StoreCrc32c(b, n, crc);
    buf.insert(buf.end(), b, b + n);
    if (buf.size() >= (1u << 20))
      flush();
  }
  void flush() {
    if (ok && !buf.empty() && !WriteAll(fd, buf.data(), buf.size(), off))
      ok = false;
    off += buf.size();
    buf.clear();
  }
};

// The sections of one snapshot and where the file ends.
struct IndexParts {
  IndexSection slots, keys[kStoreMaxSlots], res;
  uint64_t fileLen = 0;
};

void PutSection(uint8_t *h, int at, const IndexSection &sec) {
  uint8_t *d = h + kIndexDirectory + at * kIndexSectionSize;
  StoreLE64(d, sec.off);
  StoreLE32(d + 8, sec.count);
  StoreLE32(d + 12, sec.crc);
}

IndexSection GetSection(const uint8_t *h, int at) {
  const uint8_t *d = h + kIndexDirectory + at * kIndexSectionSize;
  IndexSection sec;
  sec.off = LoadLE64(d);
  sec.count = LoadLE32(d + 8);
  sec.crc = LoadLE32(d + 12);
  return sec;
}

// Directory places: the record table, the keys, the resources.
int KeySectionAt(int slot) {
  return 1 + slot;
}
constexpr int kResSectionAt = 1 + kStoreMaxSlots;
static_assert(kIndexDirectory + (kResSectionAt + 1) * kIndexSectionSize <=
              kIndexHeaderSize - 4);

void MakeIndexHeader(const Table &t, const IndexParts &parts, uint8_t *h) {
  memset(h, 0, kIndexHeaderSize);
  memcpy(h, kIndexMagic, 8);
  StoreLE32(h + 8, kIndexVersion);
  StoreLE32(h + 12, t.fam->code);
  StoreLE64(h + 16, t.fileId);
  StoreLE64(h + 24, t.dataEnd);
  StoreLE32(h + 32, static_cast<uint32_t>(t.slots.size()));
  StoreLE32(h + 36, static_cast<uint32_t>(t.fam->keyCount));
  StoreLE32(h + 40, static_cast<uint32_t>(t.resources.size()));
  StoreLE32(h + 44, t.liveCount);
  StoreLE64(h + 48, static_cast<uint64_t>(t.highWater));
  StoreLE64(h + 56, t.metaOff);
  StoreLE64(h + 64, t.liveBytes);
  StoreLE64(h + 72, parts.fileLen);
  PutSection(h, 0, parts.slots);
  for (int s = 0; s < t.fam->keyCount; ++s)
    PutSection(h, KeySectionAt(s), parts.keys[s]);
  PutSection(h, kResSectionAt, parts.res);
  StoreLE32(h + kIndexHeaderSize - 4, StoreCrc32c(h, kIndexHeaderSize - 4));
}

// Starts a section at the writer's place; EndSection takes its checksum.
void BeginSection(Writer &w, IndexSection &sec, uint32_t count) {
  w.crc = 0;
  sec.off = w.off + w.buf.size();
  sec.count = count;
}
void EndSection(const Writer &w, IndexSection &sec) {
  sec.crc = w.crc;
}

// Appends the parts of the snapshot that must be written: all of them, or
// with `keep` the orders that no save or delete changed since the snapshot
// was mapped stay where the old file has them.
void WriteSections(const Table &t, Writer &w, bool keep, IndexParts &parts) {
  BeginSection(w, parts.slots, static_cast<uint32_t>(t.slots.size()));
  uint8_t piece[8 * 1024];
  for (size_t i = 0; i < t.slots.size();) {
    size_t n = std::min(t.slots.size() - i, sizeof piece / 8);
    for (size_t k = 0; k < n; ++k)
      StoreLE64(piece + k * 8, t.slots[i + k]);
    w.put(piece, n * 8);
    i += n;
  }
  EndSection(w, parts.slots);
  for (int s = 0; s < t.fam->keyCount; ++s) {
    bool inFile = t.idxMap != nullptr && !t.keyLoaded[s];
    if (keep && (inFile || !t.keyDirty[s])) {
      parts.keys[s] = t.idxKeys[s];
      continue;
    }
    IndexSection &sec = parts.keys[s];
    if (inFile) { // a full rewrite copies an order never taken into memory
      BeginSection(w, sec, t.liveCount);
      w.put(t.idxMap + t.keyOff[s], sizeof(IdxEntry) * t.liveCount);
    } else {
      BeginSection(w, sec, static_cast<uint32_t>(t.idx[s].count));
      for (const IdxChunk *c : t.idx[s].chunks)
        w.put(c->e, sizeof(IdxEntry) * c->n);
    }
    EndSection(w, sec);
  }
  BeginSection(w, parts.res, static_cast<uint32_t>(t.resources.size()));
  for (auto &r : t.resources) {
    uint8_t rec[16];
    StoreLE64(rec, r.first);
    StoreLE64(rec + 8, r.second);
    w.put(rec, 16);
  }
  EndSection(w, parts.res);
  w.flush();
  parts.fileLen = w.off;
}

// Writes a whole index snapshot to `path` and syncs it. The caller renames
// it into place.
int WriteIndexFile(const Table &t, const std::string &path) {
  int fd = OpenCounted(path.c_str(), O_RDWR | O_CREAT | O_TRUNC);
  if (fd < 0)
    return ErrnoToError(errno);
  Writer w(fd, kIndexHeaderSize);
  IndexParts parts;
  WriteSections(t, w, false, parts);
  uint8_t h[kIndexHeaderSize];
  MakeIndexHeader(t, parts, h);
  bool ok = w.ok && WriteAll(fd, h, sizeof h, 0) && fsync(fd) == 0;
  int e = errno;
  close(fd);
  --gOpenFds;
  if (!ok) {
    unlink(path.c_str());
    return ErrnoToError(e);
  }
  return 0;
}

// Appends the changed parts to the index file the table was opened with,
// then rewrites its header in place: the header is the one write that makes
// the new snapshot current, and the parts the old header names stay intact
// until then. A process killed before it leaves the old header, which no
// longer matches the data file: the index is then stale, as it would be
// without the append.
int AppendIndexFile(Table &t) {
  int fd = OpenCounted(t.idxPath.c_str(), O_RDWR);
  if (fd < 0)
    return ErrnoToError(errno);
  struct stat st;
  int err = 0;
  if (fstat(fd, &st) != 0 || static_cast<uint64_t>(st.st_size) < t.idxFileLen)
    err = kErrBadIndex; // not the file we mapped
  IndexParts parts;
  if (err == 0) {
    Writer w(fd, t.idxFileLen);
    WriteSections(t, w, true, parts);
    uint8_t h[kIndexHeaderSize];
    MakeIndexHeader(t, parts, h);
    if (!w.ok || ftruncate(fd, static_cast<off_t>(parts.fileLen)) != 0 ||
        fsync(fd) != 0 || !WriteAll(fd, h, sizeof h, 0) || fsync(fd) != 0)
      err = ErrnoToError(errno);
  }
  close(fd);
  --gOpenFds;
  if (err != 0)
    return err;
  t.idxSlots = parts.slots;
  for (int s = 0; s < t.fam->keyCount; ++s) {
    t.idxKeys[s] = parts.keys[s];
    t.keyDirty[s] = false;
  }
  t.idxRes = parts.res;
  t.idxFileLen = parts.fileLen;
  return 0;
}

// Saves the snapshot: by appending to the index file when the table was
// opened with one and the file would stay mostly in use, otherwise by a
// whole new file written beside it and renamed into place.
int SaveIndex(Table &t) {
  if (t.idxMap != nullptr && t.idxFileLen != 0) {
    uint64_t keys = 0, dirty = 0;
    for (int s = 0; s < t.fam->keyCount; ++s) {
      keys += static_cast<uint64_t>(t.liveCount) * sizeof(IdxEntry);
      if (t.keyLoaded[s] && t.keyDirty[s])
        dirty += static_cast<uint64_t>(t.liveCount) * sizeof(IdxEntry);
    }
    uint64_t rest = t.slots.size() * 8 + t.resources.size() * 16;
    uint64_t live = kIndexHeaderSize + keys + rest;
    // An append that fails (a file cut short by someone else, a full disk)
    // leaves the old header; the whole snapshot is then tried beside it.
    if (t.idxFileLen + dirty + rest <= 2 * live && AppendIndexFile(t) == 0)
      return 0;
  }
  std::string tmp = t.idxPath + "~new";
  int err = WriteIndexFile(t, tmp);
  if (err != 0)
    return err;
  if (rename(tmp.c_str(), t.idxPath.c_str()) != 0) {
    int e = errno;
    unlink(tmp.c_str());
    return ErrnoToError(e);
  }
  SyncDir(t.idxPath);
  t.idxFileLen = 0; // the mapping is of the file replaced
  return 0;
}

// Maps and checks the snapshot; any doubt about it answers 14. The record
// table and the resources are taken at once, the keys at their first use.
int LoadIndex(Table &t) {
  int fd = OpenCounted(t.idxPath.c_str(), O_RDONLY);
  if (fd < 0)
    return errno == ENOENT ? kErrBadIndex : ErrnoToError(errno);
  struct stat st;
  void *m = MAP_FAILED;
  if (fstat(fd, &st) == 0 && st.st_size >= kIndexHeaderSize)
    m = mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_SHARED,
             fd, 0);
  close(fd);
  --gOpenFds;
  if (m == MAP_FAILED)
    return kErrBadIndex;
  t.idxMap = static_cast<const uint8_t *>(m);
  t.idxMapLen = static_cast<size_t>(st.st_size);
  const uint8_t *h = t.idxMap;
  if (memcmp(h, kIndexMagic, 8) != 0 ||
      LoadLE32(h + kIndexHeaderSize - 4) !=
          StoreCrc32c(h, kIndexHeaderSize - 4) ||
      LoadLE32(h + 8) != kIndexVersion || LoadLE32(h + 12) != t.fam->code ||
      LoadLE64(h + 16) != t.fileId || LoadLE64(h + 24) != t.fileSize ||
      LoadLE32(h + 36) != static_cast<uint32_t>(t.fam->keyCount) ||
      LoadLE64(h + 72) > t.idxMapLen)
    return kErrBadIndex;
  t.idxFileLen = LoadLE64(h + 72);
  // Each section lies within the file behind the header, holds as many
  // items as the header says, and keeps its checksum.
  auto section = [&](int at, uint64_t itemSize, IndexSection &sec) {
    sec = GetSection(h, at);
    uint64_t len = sec.count * itemSize;
    return sec.off >= kIndexHeaderSize && sec.off <= t.idxFileLen &&
           len <= t.idxFileLen - sec.off &&
           StoreCrc32c(h + sec.off, len) == sec.crc;
  };
  t.dataEnd = t.fileSize;
  uint32_t slotCount = LoadLE32(h + 32);
  uint32_t resCount = LoadLE32(h + 40);
  t.liveCount = LoadLE32(h + 44);
  t.highWater = static_cast<int64_t>(LoadLE64(h + 48));
  t.metaOff = LoadLE64(h + 56);
  t.liveBytes = LoadLE64(h + 64);
  if (!section(0, 8, t.idxSlots) || t.idxSlots.count != slotCount ||
      slotCount == 0 || !section(kResSectionAt, 16, t.idxRes) ||
      t.idxRes.count != resCount)
    return kErrBadIndex;
  const uint8_t *p = h + t.idxSlots.off;
  t.slots.resize(slotCount);
  uint32_t live = 0;
  for (uint32_t i = 0; i < slotCount; ++i, p += 8) {
    uint64_t off = LoadLE64(p);
    if (off != 0 && (off < kDataHeaderSize ||
                     off + kFrameHead + kFrameTail > t.dataEnd || i == 0))
      return kErrBadIndex;
    t.slots[i] = off;
    live += off != 0;
  }
  if (live != t.liveCount)
    return kErrBadIndex;
  for (int s = 0; s < t.fam->keyCount; ++s) {
    if (!section(KeySectionAt(s), sizeof(IdxEntry), t.idxKeys[s]) ||
        t.idxKeys[s].count != live)
      return kErrBadIndex;
    t.keyOff[s] = t.idxKeys[s].off;
    t.keyLoaded[s] = false;
    t.keyDirty[s] = false;
  }
  p = h + t.idxRes.off;
  for (uint32_t i = 0; i < resCount; ++i, p += 16) {
    uint64_t off = LoadLE64(p + 8);
    if (off < kDataHeaderSize || off + kFrameHead + kFrameTail > t.dataEnd)
      return kErrBadIndex;
    t.resources[LoadLE64(p)] = off;
  }
  if (t.metaOff != 0 && t.metaOff + kFrameHead + kFrameTail > t.dataEnd)
    return kErrBadIndex;
  // The check read the whole snapshot; its pages leave this process's
  // resident memory again (they stay in the page cache, and an order taken
  // later finds them there), so that a table opened for a few finds does
  // not hold its whole index resident.
  madvise(const_cast<uint8_t *>(t.idxMap), t.idxMapLen, MADV_DONTNEED);
  return 0;
}

// Sorts a stale order again from the record table, which a failed save or
// delete left right: its frame was written and slots[] names it.
int RebuildKey(Table &t, int slot) {
  std::vector<IdxEntry> v;
  SortSlot(t, slot, v);
  assert(v.size() == t.liveCount); // slots[] holds liveCount records
  if (!IdxLoad(t.idx[slot], v.data(), v.size()))
    return kErrNoMemory;
  t.keyStale[slot] = false;
  t.keyLoaded[slot] = true; // the snapshot's entries are out of date
  t.keyDirty[slot] = true;
  return 0;
}

int RebuildStaleKeys(Table &t) {
  for (int s = 0; s < t.fam->keyCount; ++s)
    if (t.keyStale[s])
      if (int err = RebuildKey(t, s))
        return err;
  return 0;
}

// Takes one key's entries from the mapped snapshot at its first use. The
// snapshot's entries of a key stay right while no record has changed its
// fields of that key: an addition or a deletion takes every key first, a
// replace the keys it changes.
int EnsureKey(Table &t, int slot) {
  if (slot >= 0 && t.keyStale[slot])
    return RebuildKey(t, slot);
  if (slot < 0 || t.idxMap == nullptr || t.keyLoaded[slot])
    return 0;
  const IdxEntry *e =
      reinterpret_cast<const IdxEntry *>(t.idxMap + t.keyOff[slot]);
  // Every entry names a live record, each one once. The entries name
  // records in no order, and a look into the record table for each would
  // miss the cache: the live records are taken as bits first.
  std::vector<uint64_t> live;
  try {
    live.assign(t.slots.size() / 64 + 1, 0);
  } catch (const std::bad_alloc &) {
    return kErrNoMemory;
  }
  for (size_t rid = 1; rid < t.slots.size(); ++rid)
    if (t.slots[rid] != 0)
      live[rid / 64] |= uint64_t{1} << (rid % 64);
  for (uint32_t i = 0; i < t.liveCount; ++i) {
    uint32_t rid = e[i].rid;
    uint64_t bit = uint64_t{1} << (rid % 64);
    if (rid >= t.slots.size() || (live[rid / 64] & bit) == 0)
      return kErrBadIndex;
    live[rid / 64] &= ~bit;
  }
  if (!IdxLoad(t.idx[slot], e, t.liveCount))
    return kErrNoMemory;
  t.keyLoaded[slot] = true;
  return 0;
}

int EnsureAllKeys(Table &t) {
  for (int s = 0; s < t.fam->keyCount; ++s)
    if (int err = EnsureKey(t, s))
      return err;
  return 0;
}

// ---------------------------------------------------------------- compaction

// Writes the live records, resources and numbers of `t` into a new data file
// beside the old one, builds and writes its index, and renames both into
// place: data first, then index. A crash before the data rename leaves the
// old files; between the renames the old index names the old file id and is
// refused as stale.
size_t BuildKeyBlock(const StoreFamily &fam, const void *rec, uint8_t *kb);

int CompactAndIndex(Table &t) {
  std::string tmpDat = t.datPath + "~new";
  std::string tmpIdx = t.idxPath + "~new";
  struct stat st;
  mode_t mode = fstat(t.lockFd, &st) == 0 ? (st.st_mode & 0777) : 0644;
  int fd = OpenCounted(tmpDat.c_str(), O_RDWR | O_CREAT | O_TRUNC, mode);
  if (fd < 0)
    return ErrnoToError(errno);
  Table *n = new (std::nothrow) Table;
  if (n == nullptr) {
    close(fd);
    --gOpenFds;
    unlink(tmpDat.c_str());
    return kErrNoMemory;
  }
  n->fam = t.fam;
  n->datPath = tmpDat;
  n->idxPath = tmpIdx;
  n->lockFd = fd;
  n->fileId = NewFileId(t.datPath);
  InitIndexes(*n);
  uint8_t head[kDataHeaderSize];
  MakeDataHeader(head, *t.fam, n->fileId);
  Writer w(fd, 0);
  w.put(head, sizeof head);
  uint32_t newRid = 0;
  std::vector<uint8_t> fr;
  uint8_t kb[kStoreMaxSlots * (kStoreMaxKey + 1)];
  bool stopped = false;
  for (uint32_t rid = 1; rid < t.slots.size(); ++rid) {
    if (t.slots[rid] == 0)
      continue;
    // Every 4096 records the progress hook may stop the rebuild; the new
    // files are then removed and the table stays as it was.
    if ((newRid & 4095) == 0 &&
        DbProgressTell("rebuild", newRid, static_cast<long>(t.liveCount))) {
      stopped = true;
      break;
    }
    FrameView fv;
    if (ReadFrame(t, t.slots[rid], fv) != 0)
      continue; // damaged since it was indexed: it cannot be kept
    // The keys are derived again from the record, so that the index always
    // follows the key rules of this program (folding included).
    const uint8_t *keys = fv.keys;
    size_t keyLen = fv.keyLen;
    std::fill(t.scratch.begin(), t.scratch.end(), 0);
    if (StoreDecodeRecord(*t.fam, fv.payload, fv.payloadLen, t.scratch.data(),
                          false) == 0) {
      keyLen = BuildKeyBlock(*t.fam, t.scratch.data(), kb);
      keys = kb;
    }
    size_t body = keyLen + fv.payloadLen;
    fr.resize(kFrameHead + body + kFrameTail);
    memcpy(fr.data(), t.map + fv.off, kFrameHead);
    fr[12] = kFramePut; // a patch is written out whole
    StoreLE32(fr.data() + 4, static_cast<uint32_t>(body));
    StoreLE32(fr.data() + 8, ++newRid);
    StoreLE16(fr.data() + 14, static_cast<uint16_t>(keyLen));
    memcpy(fr.data() + kFrameHead, keys, keyLen);
    memcpy(fr.data() + kFrameHead + keyLen, fv.payload, fv.payloadLen);
    StoreLE32(fr.data() + kFrameHead + body,
              StoreCrc32c(fr.data(), kFrameHead + body));
    w.put(fr.data(), fr.size());
  }
  for (auto &r : t.resources) {
    FrameView fv;
    if (ReadFrame(t, r.second, fv) == 0)
      w.put(t.map + fv.off, fv.size());
  }
  if (t.highWater > 0) {
    uint8_t meta[kFrameHead + 8 + kFrameTail] = {0};
    StoreLE32(meta, kFrameSync);
    StoreLE32(meta + 4, 8);
    meta[12] = kFrameMeta;
    meta[13] = t.fam->code;
    StoreLE64(meta + kFrameHead, static_cast<uint64_t>(t.highWater));
    StoreLE32(meta + kFrameHead + 8, StoreCrc32c(meta, kFrameHead + 8));
    w.put(meta, sizeof meta);
  }
  w.flush();
  int err = stopped ? kErrStopped : 0;
  if (err == 0 && (!w.ok || fsync(fd) != 0))
    err = ErrnoToError(errno);
  if (err == 0) {
    n->fileSize = w.off;
    err = EnsureMapped(*n, n->fileSize);
  }
  if (err == 0) {
    ScanFrames(*n, kDataHeaderSize);
    err = BuildIndexes(*n);
  }
  if (err == 0)
    err = WriteIndexFile(*n, tmpIdx);
  if (err == 0 && rename(tmpDat.c_str(), t.datPath.c_str()) != 0)
    err = ErrnoToError(errno);
  if (err == 0) {
    if (rename(tmpIdx.c_str(), t.idxPath.c_str()) != 0)
      err = ErrnoToError(errno);
    SyncDir(t.datPath);
  }
  if (err != 0) {
    unlink(tmpDat.c_str());
    unlink(tmpIdx.c_str());
  }
  FreeTable(n);
  return err;
}

// ---------------------------------------------------------------- open/close

// Every key of the family is at most kStoreMaxKey bytes long, whatever the
// record holds: numbers at their width, texts at most their field's size
// with the zero byte that ends them.
[[maybe_unused]] bool KeysFit(const StoreFamily &fam) {
  for (int s = 0; s < fam.keyCount; ++s) {
    size_t n = 0;
    for (int i = 0; i < fam.keys[s].fieldCount; ++i) {
      const StoreFieldDesc &f = fam.keys[s].fields[i];
      n += f.kind == kFU8                       ? 1
           : f.kind == kFU16                    ? 2
           : f.kind == kFU32 || f.kind == kFI32 ? 4
                                                : f.size;
    }
    if (n > kStoreMaxKey)
      return false;
  }
  return fam.keyCount <= kStoreMaxSlots;
}

Table *NewTable(const StoreFamily &fam) {
  assert(KeysFit(fam));
  Table *t = new (std::nothrow) Table;
  if (t == nullptr)
    return nullptr;
  t->fam = &fam;
  InitIndexes(*t);
  t->scratch.resize(fam.recSize);
  return t;
}

// Reads the data file's header. 0, or kErrDamaged for a file that is not a
// table of this family.
int ReadHeader(Table &t) {
  uint8_t h[kDataHeaderSize];
  if (t.fileSize < kDataHeaderSize || !ReadAll(t.lockFd, h, sizeof h, 0))
    return kErrDamaged;
  return CheckDataHeader(h, sizeof h, *t.fam, t.fileId);
}

// A header that is intact as such (magic and checksum), whatever its version
// and family.
bool HeaderIsWhole(Table &t) {
  uint8_t h[kDataHeaderSize];
  return t.fileSize >= kDataHeaderSize && ReadAll(t.lockFd, h, sizeof h, 0) &&
         memcmp(h, kDataMagic, 8) == 0 &&
         LoadLE32(h + 60) == StoreCrc32c(h, 60);
}

int CloseTable(Table *t) {
  int err = 0;
  if (t->dirty) {
    uint64_t dead = t->dataEnd - kDataHeaderSize - t->liveBytes;
    // A compaction that fails (a full disk) leaves the files as they were;
    // the close then keeps them as they are.
    // Not in the middle of an entry: the journal cuts a table back by its
    // length, which a compaction would change.
    bool compacted = dead > t->liveBytes && dead >= (64u << 10) &&
                     JournalMayCompact(t->jm) &&
                     JournalBeforeRewrite(t->jm) == 0 &&
                     CompactAndIndex(*t) == 0;
    if (!compacted) {
      err = EnsureIo(*t);
      if (err == 0 && t->fileSize > t->dataEnd &&
          ftruncate(t->ioFd, static_cast<off_t>(t->dataEnd)) != 0)
        err = ErrnoToError(errno);
      if (err == 0 && fsync(t->ioFd) != 0)
        err = ErrnoToError(errno);
      if (err == 0) {
        t->fileSize = t->dataEnd;
        // Without memory for a stale order no snapshot is written: the old
        // one no longer matches the data file, so the next open answers 14
        // and a rebuild makes the index from the records.
        err = RebuildStaleKeys(*t);
      }
      if (err == 0)
        err = SaveIndex(*t);
    }
  }
  JournalTableClosed(t->jm, err == 0);
  Unregister(t);
  FreeTable(t);
  return err;
}

// Forgets the index snapshot the table was opened with: its indexes are
// about to be built from the data file, and the next save of the snapshot
// writes it whole.
void DropSnapshot(Table &t) {
  if (t.idxMap != nullptr)
    munmap(const_cast<uint8_t *>(t.idxMap), t.idxMapLen);
  t.idxMap = nullptr;
  t.idxMapLen = 0;
  t.idxFileLen = 0;
  for (int s = 0; s < kStoreMaxSlots; ++s) {
    t.keyLoaded[s] = false;
    t.keyDirty[s] = true;
    t.keyStale[s] = false; // every order is built or loaded again
    t.keyOff[s] = 0;
  }
  t.resources.clear();
}

// A compaction stopped between its two renames leaves the new data file in
// place and its index beside the old one ("~new"): when that index is whole
// and names the data file, it is the one, and goes into place.
int RollForwardIndex(Table &t) {
  std::string tmp = t.idxPath + "~new";
  struct stat st;
  if (stat(tmp.c_str(), &st) != 0)
    return kErrBadIndex;
  DropSnapshot(t);
  std::string idx = t.idxPath;
  t.idxPath = tmp;
  int err = LoadIndex(t);
  t.idxPath = idx;
  if (err == 0 && rename(tmp.c_str(), idx.c_str()) != 0)
    err = kErrBadIndex;
  if (err == 0)
    SyncDir(idx);
  else
    DropSnapshot(t);
  return err;
}

TblHandle OpenTable(const StoreFamily &fam, const char *base, int b) {
  std::string dat, idx;
  int err = ResolvePath(base, fam.datExt, dat);
  if (err == 0)
    err = ResolvePath(base, fam.idxExt, idx);
  if (err != 0)
    return FailHandle(err);
  if (Table *open = FindOpen(dat)) {
    if (open->fam != &fam)
      return FailHandle(kErrInUse);
    if (b == 0 && !open->haveFileOrder && (err = BuildFileOrder(*open)) != 0)
      return FailHandle(err);
    return NewHandle(open, b == 0);
  }
  // An entry that a stopped program left unfinished is undone first, in
  // every table it wrote, and their indexes are made whole again.
  JournalRecoverFor(dat);
  Table *t = NewTable(fam);
  if (t == nullptr)
    return FailHandle(kErrNoMemory);
  t->datPath = dat;
  t->idxPath = idx;
  err = LockData(*t);
  if (err == kErrInUse)
    err = kErrLocked; // a race with our own registry cannot happen; be safe
  if (err == 0)
    err = ReadHeader(*t);
  if (err == 0)
    err = EnsureMapped(*t, t->fileSize);
  if (err == 0) {
    if (b != 0) {
      err = LoadIndex(*t);
      if (err == kErrBadIndex)
        err = RollForwardIndex(*t);
    } else {
      ScanFrames(*t, kDataHeaderSize);
      err = BuildIndexes(*t);
      if (err == 0)
        err = BuildFileOrder(*t);
    }
  }
  if (err != 0) {
    FreeTable(t);
    return FailHandle(err);
  }
  gTables.push_back(t);
  TblHandle h = NewHandle(t, b == 0);
  if (h == 0)
    CloseTable(t);
  return h;
}

// ---------------------------------------------------------------- writing

// Appends whole frames, made ready in `f`, with one write at the end of the
// data file; `off` is where the first one lands. On failure nothing of them
// stays.
int AppendBytes(Table &t, const std::vector<uint8_t> &f, uint64_t &off) {
  // The mapping reaches past the frame before it is written: once it is in
  // the file nothing may fail, or the file would hold a record the orders
  // lack. The journal learns of the table before its first frame goes out,
  // so that what this frame appends can be cut off again.
  int err = EnsureMapped(t, t.dataEnd + f.size());
  if (err == 0)
    err = EnsureIo(t);
  if (err == 0)
    err = JournalBeforeAppend(t.jm, JournalTable{t.fam, &t.datPath, &t.idxPath,
                                                 t.fileId, t.dataEnd, &t});
  if (err != 0) {
    JournalWriteFailed(err);
    return err;
  }
  if (!WriteAll(t.ioFd, f.data(), f.size(), t.dataEnd)) {
    err = ErrnoToError(errno);
    if (ftruncate(t.ioFd, static_cast<off_t>(t.dataEnd)) == 0)
      t.fileSize = t.dataEnd;
    JournalWriteFailed(err);
    return err;
  }
  uint64_t before = t.dataEnd;
  if ((err = JournalAfterAppend(t.jm, before, before + f.size())) != 0) {
    // Not committed, so not kept.
    if (ftruncate(t.ioFd, static_cast<off_t>(before)) == 0)
      t.fileSize = before;
    return err;
  }
  off = t.dataEnd;
  t.dataEnd += f.size();
  if (t.dataEnd > t.fileSize)
    t.fileSize = t.dataEnd;
  assert(off >= kDataHeaderSize && t.dataEnd <= t.fileSize);
  assert(t.map != nullptr && t.dataEnd <= t.mapLen);
  t.dirty = true;
  return 0;
}

// Appends one frame with one write. On failure nothing of it stays.
int AppendFrame(Table &t, uint8_t kind, uint32_t rid, const uint8_t *kb,
                size_t kbLen, const uint8_t *payload, size_t payloadLen,
                uint64_t &off) {
  size_t body = kbLen + payloadLen;
  if (body > kFrameMaxBody)
    return kErrTooLarge;
  std::vector<uint8_t> &f = t.frame;
  f.resize(kFrameHead + body + kFrameTail);
  StoreLE32(f.data(), kFrameSync);
  StoreLE32(f.data() + 4, static_cast<uint32_t>(body));
  StoreLE32(f.data() + 8, rid);
  f[12] = kind;
  f[13] = t.fam->code;
  StoreLE16(f.data() + 14, static_cast<uint16_t>(kbLen));
  if (kbLen > 0)
    memcpy(f.data() + kFrameHead, kb, kbLen);
  if (payloadLen > 0)
    memcpy(f.data() + kFrameHead + kbLen, payload, payloadLen);
  StoreLE32(f.data() + kFrameHead + body,
            StoreCrc32c(f.data(), kFrameHead + body));
  return AppendBytes(t, f, off);
}

// The key block of a record: every key of the family, in slot order.
size_t BuildKeyBlock(const StoreFamily &fam, const void *rec, uint8_t *kb) {
  size_t n = 0;
  for (int s = 0; s < fam.keyCount; ++s) {
    size_t len = StoreEncodeKey(fam.keys[s], rec, -1, kb + n + 1);
    kb[n] = static_cast<uint8_t>(len);
    n += 1 + len;
  }
  return n;
}

// Does the entry's composite key begin with these bytes?
bool EntryStartsWith(const Table &t, int slot, const IdxEntry &e,
                     const uint8_t *s, size_t len) {
  uint8_t buf[kCompositeRoom];
  if (len <= 16) {
    StoreBE64(buf, e.hi);
    StoreBE64(buf + 8, e.lo);
    return memcmp(buf, s, len) == 0;
  }
  size_t n = Composite(t, slot, t.slots[e.rid], e.rid, buf);
  return n >= len && memcmp(buf, s, len) == 0;
}

// 2 when another record than `self` holds the unique key `k` of a slot.
bool KeyTaken(Table &t, int slot, const uint8_t *k, size_t len, uint32_t self) {
  SlotSource ss{&t, slot};
  IdxSource src{CompositeOfRid, &ss};
  IdxProbe p;
  IdxMakeProbe(k, static_cast<uint32_t>(len), p);
  const SortedIndex &ix = t.idx[slot];
  for (IdxPos pos = IdxLowerBound(ix, p, src); IdxValid(ix, pos);
       pos = IdxNext(ix, pos)) {
    const IdxEntry &e = IdxAt(ix, pos);
    if (!EntryStartsWith(t, slot, e, k, len))
      return false;
    if (e.rid != self)
      return true;
  }
  return false;
}

bool InsertKey(Table &t, int slot, const uint8_t *comp, size_t n,
               uint32_t rid) {
  SlotSource ss{&t, slot};
  IdxSource src{CompositeOfRid, &ss};
  IdxProbe p;
  IdxMakeProbe(comp, static_cast<uint32_t>(n), p);
  if (slot >= 0)
    t.keyDirty[slot] = true;
  return IdxInsert(IndexOf(t, slot), p, rid, src);
}

// Answers false when the order holds no such entry: an order that is not
// in step with the records (a snapshot that lies), to be sorted again.
bool EraseKey(Table &t, int slot, const uint8_t *comp, size_t n, uint32_t rid) {
  SlotSource ss{&t, slot};
  IdxSource src{CompositeOfRid, &ss};
  IdxProbe p;
  IdxMakeProbe(comp, static_cast<uint32_t>(n), p);
  if (slot >= 0)
    t.keyDirty[slot] = true;
  return IdxErase(IndexOf(t, slot), p, rid, src);
}

// Every order in memory holds one entry for each live record. Cheap enough
// to check after each change; stale orders and orders still in the mapped
// snapshot are not in memory.
[[maybe_unused]] bool OrdersInStep(const Table &t) {
  for (int s = 0; s < t.fam->keyCount; ++s)
    if (!t.keyStale[s] && (t.idxMap == nullptr || t.keyLoaded[s]) &&
        t.idx[s].count != t.liveCount)
      return false;
  return !t.haveFileOrder || t.fileOrder.count == t.liveCount;
}

// Drops the file order (a sequential handle's) when it cannot be kept in
// step; EngineFind builds it again when a sequential handle needs it.
void DropFileOrder(Table &t) {
  IdxClear(t.fileOrder);
  t.haveFileOrder = false;
}

// Brings the orders up to date with a record saved at `off`: for each key
// whose composite key changed, takes out the entry of the old version (a
// replace: old key block `oldKb`, frame `oldOff`) and puts in the new one.
// The frame is written, so nothing here undoes the save. Should memory run
// out on the way, the orders not yet brought up to date are marked stale
// and sorted again from the record table at their next use, and the file
// order is dropped; the answer is then kErrNoMemory, else 0.
int ReindexSaved(Table &t, uint32_t rid, const uint8_t *kb, size_t kbLen,
                 const uint8_t *oldKb, size_t oldKbLen, uint64_t oldOff,
                 uint64_t off) {
  const StoreFamily &fam = *t.fam;
  bool replace = oldKb != nullptr;
  assert(rid > 0 && rid < t.slots.size());
  assert(!replace || (oldOff != 0 && oldOff < off)); // frames only append
  int err = 0;
  uint8_t oldComp[kCompositeRoom], newComp[kCompositeRoom];
  for (int s = 0; s < fam.keyCount; ++s) {
    size_t nn = CompositeFromBlock(fam, s, kb, kbLen, rid, newComp);
    size_t on = 0;
    if (replace) {
      on = CompositeFromBlock(fam, s, oldKb, oldKbLen, rid, oldComp);
      if (on == nn && memcmp(oldComp, newComp, nn) == 0)
        continue; // an order that does not see the change
    }
    if (err != 0) {
      t.keyStale[s] = true;
      continue;
    }
    if (replace) {
      // Where the entry words do not decide a comparison (texts), the index
      // asks CompositeOfRid for the whole composite key, which it reads from
      // the frame slots[rid] names. The old entry sorts by the old version's
      // keys, so slots[rid] names the old frame while it is taken out, and
      // the new frame while the new entry goes in.
      t.slots[rid] = oldOff;
      bool erased = EraseKey(t, s, oldComp, on, rid);
      t.slots[rid] = off;
      if (!erased) {
        t.keyStale[s] = true;
        continue;
      }
    }
    t.slots[rid] = off;
    if (!InsertKey(t, s, newComp, nn, rid)) {
      t.keyStale[s] = true;
      err = kErrNoMemory;
    }
  }
  t.slots[rid] = off;
  if (t.haveFileOrder) {
    // File-order keys are 12 bytes, decided by the entry words alone: no
    // frame is read, and slots[rid] may name the new frame throughout.
    if (replace) {
      Composite(t, -1, oldOff, rid, oldComp);
      if (!EraseKey(t, -1, oldComp, 12, rid))
        DropFileOrder(t);
    }
    Composite(t, -1, off, rid, newComp);
    if (t.haveFileOrder && !InsertKey(t, -1, newComp, 12, rid)) {
      DropFileOrder(t);
      err = kErrNoMemory;
    }
  }
  return err;
}

// ---------------------------------------------------------------- reading

int DecodeInto(Table &t, const FrameView &fv, void *rec, EngineReadKind how,
               int slot) {
  const StoreFamily &fam = *t.fam;
  if (how != kReadKeys)
    return StoreDecodeRecord(fam, fv.payload, fv.payloadLen, rec);
  std::fill(t.scratch.begin(), t.scratch.end(), 0);
  int err = StoreDecodeRecord(fam, fv.payload, fv.payloadLen, t.scratch.data());
  if (err != 0)
    return err;
  if (slot >= 0)
    StoreCopyKeyFields(fam.keys[slot], t.scratch.data(), rec);
  StoreCopyKeyFields(fam.keys[0], t.scratch.data(), rec);
  return 0;
}

} // namespace

// ---------------------------------------------------------------- engine API

TblHandle EngineOpen(const StoreFamily &fam, const char *base, int b) {
  return OpenTable(fam, base, b);
}

TblHandle EngineCreate(const StoreFamily &fam, const char *base) {
  std::string dat, idx;
  int err = ResolvePath(base, fam.datExt, dat);
  if (err == 0)
    err = ResolvePath(base, fam.idxExt, idx);
  if (err != 0)
    return FailHandle(err);
  struct stat st;
  if (stat(dat.c_str(), &st) == 0)
    return FailHandle(kErrExists);
  if (stat(DirOf(dat).c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    return FailHandle(kErrBadPath);
  // The new file is made complete and locked under a scratch name, then
  // linked to its name: no one sees a table without its header.
  std::string tmp = dat + "~new";
  int fd = OpenCounted(tmp.c_str(), O_RDWR | O_CREAT | O_TRUNC);
  if (fd < 0)
    return FailHandle(ErrnoToError(errno));
  Table *t = NewTable(fam);
  if (t == nullptr) {
    close(fd);
    --gOpenFds;
    unlink(tmp.c_str());
    return FailHandle(kErrNoMemory);
  }
  t->lockFd = fd;
  t->datPath = dat;
  t->idxPath = idx;
  t->fileId = NewFileId(dat);
  uint8_t head[kDataHeaderSize];
  MakeDataHeader(head, fam, t->fileId);
  if (flock(fd, LOCK_EX | LOCK_NB) != 0 ||
      !WriteAll(fd, head, sizeof head, 0) || fsync(fd) != 0)
    err = ErrnoToError(errno);
  if (err == 0 && link(tmp.c_str(), dat.c_str()) != 0)
    err = errno == EEXIST ? kErrExists : ErrnoToError(errno);
  unlink(tmp.c_str());
  if (err == 0) {
    SyncDir(dat);
    fstat(fd, &st);
    t->dev = st.st_dev;
    t->ino = st.st_ino;
    t->fileSize = t->dataEnd = kDataHeaderSize;
    t->slots.assign(1, 0);
    err = EnsureMapped(*t, t->fileSize);
  }
  if (err == 0)
    err = SaveIndex(*t);
  if (err != 0) {
    FreeTable(t);
    return FailHandle(err);
  }
  gTables.push_back(t);
  return NewHandle(t, false);
}

// Is the data file, scanned, already what a compaction would write but for
// its header: every frame good, the records 1, 2, 3... in that order with
// one frame each, then the resources in key order, then the one frame of
// the table's numbers, and each key block as the record's fields give it
// now? Then a rebuild need not write the data file again. Sets `stopped`
// when the progress hook stops the check.
bool AlreadyCompact(Table &t, bool &stopped) {
  stopped = false;
  if (t.scanSkipped || t.dataEnd != t.fileSize ||
      t.liveCount + 1 != t.slots.size())
    return false;
  uint64_t pos = kDataHeaderSize;
  uint8_t kb[kStoreMaxSlots * (kStoreMaxKey + 1)];
  for (uint32_t rid = 1; rid < t.slots.size(); ++rid) {
    if ((rid & 4095) == 0 &&
        DbProgressTell("rebuild", rid, static_cast<long>(t.liveCount))) {
      stopped = true;
      return false;
    }
    FrameView fv;
    if (t.slots[rid] != pos || ReadFrame(t, pos, fv) != 0 ||
        fv.kind != kFramePut || fv.rid != rid)
      return false;
    std::fill(t.scratch.begin(), t.scratch.end(), 0);
    if (StoreDecodeRecord(*t.fam, fv.payload, fv.payloadLen, t.scratch.data(),
                          false) != 0)
      return false;
    size_t kbLen = BuildKeyBlock(*t.fam, t.scratch.data(), kb);
    if (kbLen != fv.keyLen || memcmp(kb, fv.keys, kbLen) != 0)
      return false;
    pos += fv.size();
  }
  for (const auto &r : t.resources) {
    if (r.second != pos)
      return false;
    pos += FrameSizeAt(t, pos);
  }
  if (t.highWater > 0) {
    if (t.metaOff != pos || FrameSizeAt(t, pos) != kFrameHead + 8 + kFrameTail)
      return false;
    pos += kFrameHead + 8 + kFrameTail;
  }
  return pos == t.fileSize;
}

// The rebuild of a data file that is compact already: the file is synced
// as it stands and only the index is written anew, beside the old one and
// renamed into place.
int IndexInPlace(Table &t) {
  if (fsync(t.lockFd) != 0)
    return ErrnoToError(errno);
  std::string tmpIdx = t.idxPath + "~new";
  int err = WriteIndexFile(t, tmpIdx);
  if (err == 0 && rename(tmpIdx.c_str(), t.idxPath.c_str()) != 0) {
    err = ErrnoToError(errno);
    unlink(tmpIdx.c_str());
  }
  if (err == 0)
    SyncDir(t.idxPath);
  return err;
}

int EngineRebuild(const StoreFamily &fam, const char *base) {
  std::string dat, idx;
  int err = ResolvePath(base, fam.datExt, dat);
  if (err == 0)
    err = ResolvePath(base, fam.idxExt, idx);
  if (err != 0)
    return Fail(err);
  JournalRecoverFor(dat);
  Table *t = NewTable(fam);
  if (t == nullptr)
    return Fail(kErrNoMemory);
  t->datPath = dat;
  t->idxPath = idx;
  err = LockData(*t);
  if (err != 0) {
    FreeTable(t);
    return Fail(err);
  }
  bool headerGood = ReadHeader(*t) == 0;
  if (!headerGood && HeaderIsWhole(*t)) {
    // A whole header of another version or family: not ours to rewrite.
    FreeTable(t);
    return Fail(kErrDamaged);
  }
  err = EnsureMapped(*t, std::max<uint64_t>(t->fileSize, 1));
  if (err == 0) {
    ScanFrames(*t, headerGood ? kDataHeaderSize : 0);
    bool anyFrame = t->dataEnd > (headerGood ? kDataHeaderSize : 0);
    // A file that is neither a table of this family nor empty nor holding
    // a single frame of it is someone else's: it is left alone.
    if (!headerGood && t->fileSize > 0 && !anyFrame)
      err = kErrDamaged;
  }
  if (err == 0) {
    CountLive(*t);
    // A data file that a compaction would write again byte for byte (but
    // for its header) keeps its bytes: only the index is written. The
    // orders are sorted first; should that find two records with one
    // unique key (and drop one), the file is compacted after all.
    bool stopped = false;
    if (headerGood && AlreadyCompact(*t, stopped)) {
      uint32_t live = t->liveCount;
      err = BuildIndexes(*t);
      if (err == 0 && t->liveCount == live)
        err = IndexInPlace(*t);
      else if (err == 0)
        err = CompactAndIndex(*t);
    } else if (stopped) {
      err = kErrStopped;
    } else {
      err = CompactAndIndex(*t);
    }
  }
  FreeTable(t);
  return Fail(err);
}

int EngineFind(TblHandle h, const StoreFamily &fam, void *rec, int key,
               int mode, EngineReadKind how) {
  int err;
  Handle *hd = GetHandle(h, &fam, err);
  if (hd == nullptr)
    return Fail(err);
  if (rec == nullptr || mode < kFindFirst || mode > kFindAtOrAfter)
    return Fail(kErrBadArg);
  Table &t = *hd->t;
  int slot;
  if (how == kReadByText) {
    slot = StoreKeySlot(fam, key + kHiddenKeyBase);
    if (key < 0 || slot < 0)
      return Fail(kErrBadKey);
  } else if (key == -1) {
    if (mode >= kFindEqual)
      return Fail(kErrBadKey);
    slot = -1;
  } else {
    slot = key >= 0 && key < kHiddenKeyBase ? StoreKeySlot(fam, key) : -1;
    if (slot < 0)
      return Fail(kErrBadKey);
  }
  int order = slot;
  if (hd->seq && mode <= kFindLast)
    order = -1;
  if ((err = EnsureKey(t, slot)) != 0 || (err = EnsureKey(t, order)) != 0)
    return Fail(err);
  if (order < 0 && !t.haveFileOrder && (err = BuildFileOrder(t)) != 0)
    return Fail(err);
  SortedIndex &ix = IndexOf(t, order);
  SlotSource ss{&t, order};
  IdxSource src{CompositeOfRid, &ss};
  IdxPos pos{0, 0};
  uint8_t buf[kCompositeRoom];
  switch (mode) {
  case kFindFirst:
    pos = IdxFirst(ix);
    break;
  case kFindLast:
    pos = IdxLast(ix);
    break;
  case kFindPrev:
  case kFindNext: {
    if (hd->cur == 0)
      return Fail(kErrNoCurrent);
    if (hd->posOrder == order && hd->posGen == ix.gen &&
        IdxValid(ix, hd->pos) && IdxAt(ix, hd->pos).rid == hd->cur) {
      pos = mode == kFindNext ? IdxNext(ix, hd->pos) : IdxPrev(ix, hd->pos);
      break;
    }
    uint64_t off = t.slots[hd->cur] != 0 ? t.slots[hd->cur] : hd->curOff;
    size_t n = Composite(t, order, off, hd->cur, buf);
    IdxProbe p;
    IdxMakeProbe(buf, static_cast<uint32_t>(n), p);
    pos = mode == kFindNext ? IdxUpperBound(ix, p, src)
                            : IdxPrev(ix, IdxLowerBound(ix, p, src));
    break;
  }
  default: { // equal, equal or after
    const StoreKeyDesc &k = fam.keys[slot];
    int fields = k.searchFields != nullptr ? k.searchFields(rec) : -1;
    size_t n = StoreEncodeKey(k, rec, fields, buf);
    IdxProbe p;
    IdxMakeProbe(buf, static_cast<uint32_t>(n), p);
    pos = IdxLowerBound(ix, p, src);
    if (mode == kFindEqual && IdxValid(ix, pos) &&
        !EntryStartsWith(t, slot, IdxAt(ix, pos), buf, n))
      return Fail(kErrEnd);
    break;
  }
  }
  if (!IdxValid(ix, pos))
    return Fail(kErrEnd);
  // The record becomes current even when it cannot be read, so that a scan
  // can step past a damaged record; the caller's record is left alone then.
  uint32_t rid = IdxAt(ix, pos).rid;
  AskForRecordState(t, rid);
  hd->cur = rid;
  hd->curOff = t.slots[rid];
  hd->posOrder = order;
  hd->pos = pos;
  hd->posGen = ix.gen;
  FrameView fv;
  if ((err = ReadFrame(t, t.slots[rid], fv)) != 0)
    return Fail(err);
  return Fail(DecodeInto(t, fv, rec, how, slot));
}

int EnginePeekEntries(TblHandle h, const StoreFamily &fam, const void *probe,
                      void *first, void *last, int *count) {
  int err;
  Handle *hd = GetHandle(h, &fam, err);
  if (hd == nullptr)
    return Fail(err);
  if (probe == nullptr || first == nullptr || last == nullptr ||
      count == nullptr)
    return Fail(kErrBadArg);
  Table &t = *hd->t;
  if ((err = EnsureKey(t, 0)) != 0)
    return Fail(err);
  SortedIndex &ix = IndexOf(t, 0);
  SlotSource ss{&t, 0};
  IdxSource src{CompositeOfRid, &ss};
  uint8_t buf[kCompositeRoom];
  size_t n = StoreEncodeKey(fam.keys[0], probe, -1, buf);
  IdxProbe p;
  IdxMakeProbe(buf, static_cast<uint32_t>(n), p);
  IdxPos pos = IdxLowerBound(ix, p, src);
  if (!IdxValid(ix, pos) || !EntryStartsWith(t, 0, IdxAt(ix, pos), buf, n))
    return Fail(kErrEnd);
  uint32_t rid = IdxAt(ix, pos).rid;
  AskForRecordState(t, rid);
  uint64_t off = t.slots[rid];
  size_t es = SummaryEntrySize(fam);
  if (es > 0 && rid < t.summaries.size() && t.summaries[rid].off == off) {
    const EntrySummary &s = t.summaries[rid];
    memcpy(first, s.first, es);
    memcpy(last, s.last, es);
    *count = s.count;
    return Fail(0);
  }
  FrameView fv;
  if ((err = ReadFrame(t, off, fv)) != 0)
    return Fail(err);
  err = StorePeekEntries(fam, fv.payload, fv.payloadLen, first, last, count);
  if (err == 0)
    RememberSummary(t, rid, off, first, last, *count, es);
  return Fail(err);
}

int EngineReadCurrent(TblHandle h, const StoreFamily &fam, void *rec) {
  int err;
  Handle *hd = GetHandle(h, &fam, err);
  if (hd == nullptr)
    return Fail(err);
  if (rec == nullptr)
    return Fail(kErrBadArg);
  Table &t = *hd->t;
  if (hd->cur == 0 || t.slots[hd->cur] == 0)
    return Fail(kErrNoCurrent);
  FrameView fv;
  if ((err = ReadFrame(t, t.slots[hd->cur], fv)) != 0)
    return Fail(err);
  return Fail(DecodeInto(t, fv, rec, kReadFull, -1));
}

int EngineSave(TblHandle h, const StoreFamily &fam, const void *rec, int mode) {
  int err;
  Handle *hd = GetHandle(h, &fam, err);
  if (hd == nullptr)
    return Fail(err);
  if (rec == nullptr || (mode != kSaveAdd && mode != kSaveReplace))
    return Fail(kErrBadArg);
  if (fam.check != nullptr && (err = fam.check(rec)) != 0)
    return Fail(err);
  Table &t = *hd->t;
  if (mode == kSaveAdd && (err = EnsureAllKeys(t)) != 0)
    return Fail(err);
  uint8_t kb[kStoreMaxSlots * (kStoreMaxKey + 1)];
  size_t kbLen = BuildKeyBlock(fam, rec, kb);
  uint32_t rid = 0;
  FrameView old{};
  uint8_t oldKb[kStoreMaxSlots * (kStoreMaxKey + 1)];
  size_t oldKbLen = 0;
  if (mode == kSaveReplace) {
    if (hd->cur == 0 || t.slots[hd->cur] == 0)
      return Fail(kErrNoCurrent);
    rid = hd->cur;
    if ((err = ReadFrame(t, t.slots[rid], old)) != 0)
      return Fail(err);
    oldKbLen = std::min<size_t>(old.keyLen, sizeof oldKb);
    memcpy(oldKb, old.keys, oldKbLen);
    // A replace touches only the orders whose key it changes; the others
    // may stay in the snapshot (a run that changes remedies changes no key
    // of a symptom, and need not take its eight orders into memory).
    uint8_t oc[kCompositeRoom], nc[kCompositeRoom];
    for (int s = 0; s < fam.keyCount; ++s) {
      size_t nn = CompositeFromBlock(fam, s, kb, kbLen, rid, nc);
      size_t on = CompositeFromBlock(fam, s, oldKb, oldKbLen, rid, oc);
      if ((on != nn || memcmp(oc, nc, nn) != 0) && (err = EnsureKey(t, s)) != 0)
        return Fail(err);
    }
  }
  for (int s = 0; s < fam.keyCount; ++s) {
    if (!fam.keys[s].unique)
      continue;
    const uint8_t *k, *ok;
    size_t len, olen;
    if (!KeyInBlock(kb, kbLen, s, k, len))
      return Fail(kErrBadArg);
    if (mode == kSaveReplace && KeyInBlock(oldKb, oldKbLen, s, ok, olen) &&
        olen == len && memcmp(ok, k, len) == 0)
      continue; // unchanged
    if (KeyTaken(t, s, k, len, rid))
      return Fail(kErrDuplicate);
  }
  t.payload.clear();
  err =
      StoreEncodeRecord(fam, rec, mode == kSaveReplace ? old.payload : nullptr,
                        mode == kSaveReplace ? old.payloadLen : 0, t.payload);
  if (err != 0)
    return Fail(err);
  if (mode == kSaveAdd) {
    if (t.slots.size() >= 0xffffffffu)
      return Fail(kErrTooLarge);
    rid = static_cast<uint32_t>(t.slots.size());
    // The record table has room for the new id before the frame is written:
    // after the write only the orders may still want memory.
    if (!IdxRoomForOne(t.slots))
      return Fail(kErrNoMemory);
  }
  uint64_t oldOff = mode == kSaveReplace ? old.off : 0;
  uint64_t oldSize = mode == kSaveReplace ? old.liveSize() : 0;
  // A replace that changes a few bytes of a long record (a renumbering
  // changes a number in each list record that holds it) writes only those
  // bytes, against the put frame the old version rests on.
  bool patch = mode == kSaveReplace && PatchOfBase(t, old);
  uint64_t off;
  const std::vector<uint8_t> &body = patch ? t.patch : t.payload;
  if ((err = AppendFrame(t, patch ? kFramePatch : kFramePut, rid, kb, kbLen,
                         body.data(), body.size(), off)) != 0)
    return Fail(err);
  // The record is stored; from here on only memory changes, and a failure
  // leaves the record stored, current, and every order right by its next
  // use (ReindexSaved).
  if (mode == kSaveAdd) {
    assert(rid == t.slots.size());
    t.slots.push_back(off); // room was made above
    ++t.liveCount;
  }
  MarkChecked(t, rid, off); // written just now from our own bytes
  if (size_t es = SummaryEntrySize(fam); es > 0) {
    uint8_t first[kSummaryEntry], last[kSummaryEntry];
    int count = 0;
    if (StorePeekEntries(fam, t.payload.data(), t.payload.size(), first, last,
                         &count) == 0)
      RememberSummary(t, rid, off, first, last, count, es);
  }
  err = ReindexSaved(t, rid, kb, kbLen, mode == kSaveReplace ? oldKb : nullptr,
                     oldKbLen, oldOff, off);
  assert(t.slots[rid] == off && OrdersInStep(t));
  // t.frame still holds the frame just written: its size is what it adds.
  assert(t.frame.size() == FrameSizeAt(t, off));
  t.liveBytes += patch ? t.frame.size() + old.baseSize : t.frame.size();
  t.liveBytes -= oldSize;
  hd->cur = rid;
  hd->curOff = off;
  return Fail(err);
}

// The byte of the payload that holds the last field of the primary key, a
// one-byte number, when only numbers stand before it: then a record's Seq
// can be changed in its bytes. -1 for a family where it cannot.
long ShiftFieldAt(const StoreFamily &fam) {
  if (fam.keyCount != 1 || fam.keys[0].fieldCount < 1)
    return -1;
  const StoreFieldDesc &seq = fam.keys[0].fields[fam.keys[0].fieldCount - 1];
  if (seq.kind != kFU8)
    return -1;
  long at = 0;
  for (int i = 0; i < fam.fieldCount; ++i) {
    const StoreFieldDesc &f = fam.fields[i];
    if (f.off == seq.off)
      return f.kind == kFU8 ? at : -1;
    switch (f.kind) {
    case kFU8:
      at += 1;
      break;
    case kFU16:
      at += 2;
      break;
    case kFU32:
    case kFI32:
      at += 4;
      break;
    default:
      return -1;
    }
  }
  return -1;
}

int EngineShiftUp(TblHandle h, const StoreFamily &fam, const void *key,
                  int from, int last) {
  int err;
  Handle *hd = GetHandle(h, &fam, err);
  if (hd == nullptr)
    return Fail(err);
  long seqAt = ShiftFieldAt(fam);
  if (key == nullptr || seqAt < 0 || from < 0 || last < from || last >= 255)
    return Fail(kErrBadArg);
  Table &t = *hd->t;
  if ((err = EnsureKey(t, 0)) != 0)
    return Fail(err);
  const StoreKeyDesc &k0 = fam.keys[0];
  const uint32_t seqOff = k0.fields[k0.fieldCount - 1].off;
  // The record of the key at a Seq: its id, or 0.
  std::vector<uint8_t> probe(static_cast<const uint8_t *>(key),
                             static_cast<const uint8_t *>(key) + fam.recSize);
  SlotSource ss{&t, 0};
  IdxSource src{CompositeOfRid, &ss};
  auto ridAt = [&](int seq) -> uint32_t {
    probe[seqOff] = static_cast<uint8_t>(seq);
    uint8_t buf[kCompositeRoom];
    size_t n = StoreEncodeKey(k0, probe.data(), -1, buf);
    IdxProbe p;
    IdxMakeProbe(buf, static_cast<uint32_t>(n), p);
    IdxPos pos = IdxLowerBound(t.idx[0], p, src);
    if (!IdxValid(t.idx[0], pos) ||
        !EntryStartsWith(t, 0, IdxAt(t.idx[0], pos), buf, n))
      return 0;
    return IdxAt(t.idx[0], pos).rid;
  };
  if (ridAt(last + 1) != 0)
    return Fail(kErrDuplicate);
  struct Moved {
    uint32_t rid;
    uint64_t oldOff, oldLive, newLive;
    size_t at; // where its frame starts in the batch
  };
  std::vector<Moved> moved;
  std::vector<uint8_t> &b = t.batch;
  b.clear();
  // Each record gets its new Seq in its key block and in its bytes, nothing
  // decoded or encoded: a long record as a patch of its base, which changes
  // that one byte (with whatever it had patched before), a short one whole.
  // The last record first, as a chain grows from its end.
  for (int seq = last; seq >= from; --seq) {
    uint32_t rid = ridAt(seq);
    if (rid == 0)
      return Fail(kErrEnd);
    FrameView fv;
    if ((err = ReadFrame(t, t.slots[rid], fv)) != 0)
      return Fail(err);
    size_t len0 = fv.keyLen > 0 ? fv.keys[0] : 0;
    if (len0 < 1 || 1 + len0 > fv.keyLen ||
        static_cast<size_t>(seqAt) >= fv.payloadLen || fv.keys[len0] != seq ||
        fv.payload[seqAt] != seq)
      return Fail(kErrDamaged);
    // The record with its new Seq; a long one goes as a patch of its base
    // (the Seq byte and what was patched before), else whole.
    t.payload.assign(fv.payload, fv.payload + fv.payloadLen);
    t.payload[seqAt] = static_cast<uint8_t>(seq + 1);
    bool patch = PatchOfBase(t, fv);
    const std::vector<uint8_t> &rest = patch ? t.patch : t.payload;
    size_t at = b.size();
    uint32_t body = static_cast<uint32_t>(fv.keyLen + rest.size());
    b.resize(at + kFrameHead + body + kFrameTail);
    uint8_t *f = b.data() + at;
    memcpy(f, t.map + fv.off, kFrameHead);
    f[12] = patch ? kFramePatch : kFramePut;
    StoreLE32(f + 4, body);
    memcpy(f + kFrameHead, fv.keys, fv.keyLen);
    f[kFrameHead + len0] = static_cast<uint8_t>(seq + 1);
    memcpy(f + kFrameHead + fv.keyLen, rest.data(), rest.size());
    StoreLE32(f + kFrameHead + body, StoreCrc32c(f, kFrameHead + body));
    uint64_t size = kFrameHead + body + kFrameTail;
    moved.push_back(Moved{rid, fv.off, fv.liveSize(),
                          patch ? size + fv.baseSize : size, at});
  }
  uint64_t off;
  if ((err = AppendBytes(t, b, off)) != 0)
    return Fail(err);
  // The frames are in the file; now the order, as a replace brings it up to
  // date (each key moves to the place its successor left).
  for (const Moved &m : moved) {
    uint64_t newOff = off + m.at;
    const uint8_t *oldKb, *newKb;
    size_t oldLen, newLen;
    uint8_t oldCopy[kStoreMaxSlots * (kStoreMaxKey + 1)];
    if (!FrameKeys(t, m.oldOff, oldKb, oldLen) ||
        !FrameKeys(t, newOff, newKb, newLen) || oldLen > sizeof oldCopy)
      return Fail(kErrDamaged);
    memcpy(oldCopy, oldKb, oldLen);
    MarkChecked(t, m.rid, newOff); // made just now from our own bytes
    if (m.rid < t.summaries.size() && t.summaries[m.rid].off == m.oldOff)
      t.summaries[m.rid].off = newOff; // the entries did not change
    t.liveBytes += m.newLive;
    t.liveBytes -= m.oldLive;
    int e = ReindexSaved(t, m.rid, newKb, newLen, oldCopy, oldLen, m.oldOff,
                         newOff);
    if (e != 0)
      err = e;
  }
  assert(OrdersInStep(t));
  return Fail(err);
}

int EngineDelete(TblHandle h, const StoreFamily &fam) {
  int err;
  Handle *hd = GetHandle(h, &fam, err);
  if (hd == nullptr)
    return Fail(err);
  Table &t = *hd->t;
  if ((err = EnsureAllKeys(t)) != 0)
    return Fail(err);
  uint32_t rid = hd->cur;
  if (rid == 0 || t.slots[rid] == 0)
    return Fail(kErrNoCurrent);
  uint64_t oldOff = t.slots[rid];
  FrameView fv;
  if ((err = ReadFrame(t, oldOff, fv)) != 0)
    return Fail(err);
  uint64_t oldSize = fv.liveSize();
  uint8_t oldKb[kStoreMaxSlots * (kStoreMaxKey + 1)];
  size_t oldKbLen = std::min<size_t>(fv.keyLen, sizeof oldKb);
  memcpy(oldKb, fv.keys, oldKbLen);
  uint64_t off;
  if ((err = AppendFrame(t, kFrameDelete, rid, nullptr, 0, nullptr, 0, off)) !=
      0)
    return Fail(err);
  uint8_t comp[kCompositeRoom];
  for (int s = 0; s < fam.keyCount; ++s) {
    size_t n = CompositeFromBlock(fam, s, oldKb, oldKbLen, rid, comp);
    if (!EraseKey(t, s, comp, n, rid))
      t.keyStale[s] = true;
  }
  if (t.haveFileOrder) {
    Composite(t, -1, oldOff, rid, comp);
    if (!EraseKey(t, -1, comp, 12, rid))
      DropFileOrder(t);
  }
  for (Handle *o : t.handles)
    if (o->cur == rid)
      o->curOff = oldOff; // stepping goes on from where the record stood
  t.slots[rid] = 0;
  --t.liveCount;
  t.liveBytes -= oldSize;
  assert(OrdersInStep(t));
  return Fail(0);
}

long EngineNextId(TblHandle h, const StoreFamily &fam, int keyNumber) {
  int err;
  Handle *hd = GetHandle(h, &fam, err);
  if (hd == nullptr) {
    Fail(err);
    return 0;
  }
  Table &t = *hd->t;
  int slot = StoreKeySlot(fam, keyNumber);
  if (slot < 0 || fam.keys[slot].fields[0].kind != kFI32) {
    Fail(kErrBadKey);
    return 0;
  }
  if ((err = EnsureKey(t, slot)) != 0) {
    Fail(err);
    return 0;
  }
  int64_t top = 0;
  IdxPos last = IdxLast(t.idx[slot]);
  if (IdxValid(t.idx[slot], last)) {
    uint64_t hi = IdxAt(t.idx[slot], last).hi;
    top = static_cast<int32_t>(static_cast<uint32_t>(hi >> 32) ^ 0x80000000u);
  }
  int64_t next = std::max<int64_t>(top, t.highWater) + 1;
  if (next < 1)
    next = 1;
  if (next > 0x7fffffff) {
    Fail(kErrTooLarge);
    return 0;
  }
  uint8_t v[8];
  StoreLE64(v, static_cast<uint64_t>(next));
  uint64_t off;
  if ((err = AppendFrame(t, kFrameMeta, 0, nullptr, 0, v, 8, off)) != 0) {
    Fail(err);
    return 0;
  }
  if (t.metaOff != 0)
    t.liveBytes -= FrameSizeAt(t, t.metaOff);
  t.liveBytes += kFrameHead + 8 + kFrameTail;
  t.metaOff = off;
  t.highWater = next;
  Fail(0);
  return static_cast<long>(next);
}

bool EngineIsFamily(TblHandle h, const StoreFamily &fam) {
  auto it = gHandles.find(h);
  return it != gHandles.end() && it->second->t->fam == &fam;
}

// ---------------------------------------------------------------- journal

namespace {

// Reads the data file up to fileSize again and builds every index from it.
int Reindex(Table &t) {
  DropSnapshot(t);
  ScanFrames(t, kDataHeaderSize);
  int err = BuildIndexes(t);
  if (err == 0 && t.haveFileOrder)
    err = BuildFileOrder(t);
  return err;
}

} // namespace

int EngineRealPath(const char *base, const char *ext, std::string &real) {
  return ResolvePath(base, ext, real);
}

int EngineErrno(int e) {
  return ErrnoToError(e);
}

int EngineCutBackOpen(void *table, uint64_t length) {
  Table &t = *static_cast<Table *>(table);
  if (length < kDataHeaderSize)
    return kErrBadArg;
  if (length >= t.dataEnd && t.fileSize <= t.dataEnd)
    return 0;
  int err = EnsureIo(t);
  if (err == 0 && ftruncate(t.ioFd, static_cast<off_t>(length)) != 0)
    err = ErrnoToError(errno);
  if (err != 0)
    return err;
  t.fileSize = length;
  err = Reindex(t);
  t.dirty = true;
  for (Handle *h : t.handles) {
    if (h->cur >= t.slots.size() || t.slots[h->cur] == 0)
      h->cur = 0;
    else
      h->curOff = t.slots[h->cur];
    h->posOrder = -2;
  }
  return err;
}

int EngineMendTable(const StoreFamily &fam, const std::string &dat,
                    const std::string &idx, uint64_t fileId, uint64_t length,
                    int *what) {
  *what = 0;
  if (Table *open = FindOpen(dat)) {
    if (length == 0 || open->fileId != fileId || open->dataEnd <= length)
      return 0;
    *what = 1;
    return EngineCutBackOpen(open, length);
  }
  Table *t = NewTable(fam);
  if (t == nullptr)
    return kErrNoMemory;
  t->datPath = dat;
  t->idxPath = idx;
  int err = LockData(*t);
  if (err != 0 || ReadHeader(*t) != 0 || t->fileId != fileId) {
    // Another file by now (rebuilt, replaced): nothing of the journal's.
    FreeTable(t);
    return err;
  }
  if (length >= kDataHeaderSize && t->fileSize > length) {
    err = EnsureIo(*t);
    if (err == 0 && (ftruncate(t->ioFd, static_cast<off_t>(length)) != 0 ||
                     fsync(t->ioFd) != 0))
      err = ErrnoToError(errno);
    if (err != 0) {
      FreeTable(t);
      return err;
    }
    t->fileSize = length;
    *what |= 1;
  }
  err = EnsureMapped(*t, std::max<uint64_t>(t->fileSize, 1));
  if (err == 0 && LoadIndex(*t) == 0) {
    FreeTable(t); // the snapshot describes the data file as it is
    return 0;
  }
  if (err == 0)
    err = Reindex(*t);
  // A torn frame at the end (a write that a stop cut short) goes, so that
  // the snapshot's length is the file's.
  if (err == 0 && t->fileSize > t->dataEnd) {
    err = EnsureIo(*t);
    if (err == 0 && ftruncate(t->ioFd, static_cast<off_t>(t->dataEnd)) != 0)
      err = ErrnoToError(errno);
    if (err == 0)
      t->fileSize = t->dataEnd;
  }
  if (err == 0)
    err = SaveIndex(*t); // beside the old one, renamed into place
  if (err == 0)
    *what |= 2;
  FreeTable(t);
  return err;
}

int EngineSyncData(void *table) {
  Table &t = *static_cast<Table *>(table);
  int err = EnsureIo(t);
  if (err == 0 && fdatasync(t.ioFd) != 0)
    err = ErrnoToError(errno);
  return err;
}

int EngineCheckpoint(void *table) {
  Table &t = *static_cast<Table *>(table);
  if (!t.dirty)
    return 0;
  int err = EnsureIo(t);
  if (err == 0 && t.fileSize > t.dataEnd &&
      ftruncate(t.ioFd, static_cast<off_t>(t.dataEnd)) != 0)
    err = ErrnoToError(errno);
  if (err == 0 && fsync(t.ioFd) != 0)
    err = ErrnoToError(errno);
  if (err == 0) {
    t.fileSize = t.dataEnd;
    err = RebuildStaleKeys(t); // the snapshot never holds a stale order
  }
  if (err == 0)
    err = SaveIndex(t);
  if (err == 0)
    t.dirty = false;
  return err;
}

// ---------------------------------------------------------------- Db calls

int DbInitialize(int buffers, int files, int sectors, const char *module,
                 const char *lockingFile, long extendSize) {
  (void)buffers;
  (void)sectors;
  (void)module;
  (void)lockingFile; // each table is locked by itself (docs/storage.md)
  (void)extendSize;
  gDbFiles = files >= 4 ? files : 90;
  // A file size limit answers a write with an error (18) instead of ending
  // the process, so that a run stops at that write with its tables whole.
  signal(SIGXFSZ, SIG_IGN);
  OrvixError = 0;
  return 0;
}

void DbTerminate(const char *module) {
  (void)module;
  // An entry left open is undone before the tables close.
  JournalShutdown();
  std::vector<long> open;
  for (auto &e : gHandles)
    open.push_back(e.first);
  int err = 0;
  for (long h : open)
    if (DbCloseFile(h) != 0 && err == 0)
      err = OrvixError;
  OrvixError = err;
}

void DbSwitch(const char *module) {
  (void)module; // no state depends on which program is active
  OrvixError = 0;
}

// Makes room for n descriptors beside the store's within its budget. A
// store well within the budget closes nothing: a log run calls this after
// every entry, and a closed write descriptor costs an open at the next save.
void DbVirtualClose(int n) {
  for (int i = 0; i < n && gOpenFds + n > gDbFiles; ++i) {
    bool any = false;
    for (Table *t : gTables)
      any = any || t->ioFd >= 0;
    if (!any)
      break;
    VirtualCloseOne();
  }
  OrvixError = 0;
}

int DbCloseFile(TblHandle h) {
  int err;
  Handle *hd = GetHandle(h, nullptr, err);
  if (hd == nullptr)
    return Fail(err);
  gHandles.erase(h);
  Table *t = hd->t;
  t->handles.erase(std::remove(t->handles.begin(), t->handles.end(), hd),
                   t->handles.end());
  delete hd;
  if (--t->refs > 0)
    return Fail(0);
  timespec a, b;
  clock_gettime(CLOCK_MONOTONIC, &a);
  std::string name = t->datPath.substr(t->datPath.find_last_of('/') + 1);
  int result = CloseTable(t);
  clock_gettime(CLOCK_MONOTONIC, &b);
  double ms = static_cast<double>(b.tv_sec - a.tv_sec) * 1e3 +
              static_cast<double>(b.tv_nsec - a.tv_nsec) / 1e6;
  ++gCloseTimes.closes;
  gCloseTimes.totalMs += ms;
  if (ms > gCloseTimes.slowestMs) {
    gCloseTimes.slowestMs = ms;
    StrCopy(gCloseTimes.slowest, name.c_str());
  }
  return Fail(result);
}

void DbCloseTimes(StoreCloseTimes *out, bool reset) {
  if (out != nullptr)
    *out = gCloseTimes;
  if (reset)
    gCloseTimes = StoreCloseTimes{};
}

int DbReleasePages(TblHandle h) {
  int err;
  Handle *hd = GetHandle(h, nullptr, err);
  if (hd == nullptr)
    return Fail(err);
  Table &t = *hd->t;
  // Read-only shared mappings of files: dropping their pages from this
  // process loses nothing, a later read faults them in from the cache.
  if (t.map != nullptr)
    madvise(const_cast<uint8_t *>(t.map), t.mapLen, MADV_DONTNEED);
  if (t.idxMap != nullptr)
    madvise(const_cast<uint8_t *>(t.idxMap), t.idxMapLen, MADV_DONTNEED);
  return Fail(0);
}

long DbCountEntries(TblHandle h) {
  int err;
  Handle *hd = GetHandle(h, nullptr, err);
  if (hd == nullptr) {
    Fail(err);
    return 0;
  }
  Fail(0);
  return static_cast<long>(hd->t->liveCount);
}

// ---------------------------------------------------------------- resources

namespace {

uint64_t ResourceKey(const Resource *r) {
  return (static_cast<uint64_t>(r->Type) << 32) | r->Id;
}

int PutResource(TblHandle h, Resource *rec, bool mustExist) {
  int err;
  Handle *hd = GetHandle(h, nullptr, err);
  if (hd == nullptr)
    return Fail(err);
  if (rec == nullptr)
    return Fail(kErrBadArg);
  if (rec->Length > sizeof rec->Text)
    return Fail(kErrTooLarge);
  Table &t = *hd->t;
  auto it = t.resources.find(ResourceKey(rec));
  if (mustExist && it == t.resources.end())
    return Fail(kErrEnd);
  if (!mustExist && it != t.resources.end())
    return Fail(kErrDuplicate);
  uint8_t body[12 + sizeof rec->Text];
  StoreLE32(body, rec->Type);
  StoreLE32(body + 4, rec->Id);
  StoreLE32(body + 8, rec->Length);
  memcpy(body + 12, rec->Text, rec->Length);
  uint64_t off;
  if ((err = AppendFrame(t, kFrameResource, 0, nullptr, 0, body,
                         12 + rec->Length, off)) != 0)
    return Fail(err);
  if (it != t.resources.end())
    t.liveBytes -= FrameSizeAt(t, it->second);
  t.liveBytes += t.frame.size();
  t.resources[ResourceKey(rec)] = off;
  return Fail(0);
}

} // namespace

int DbGetResource(TblHandle h, Resource *key, Resource *result, int mode) {
  int err;
  Handle *hd = GetHandle(h, nullptr, err);
  if (hd == nullptr)
    return Fail(err);
  if (key == nullptr || result == nullptr || (mode != 2 && mode != kFindEqual))
    return Fail(kErrBadArg);
  Table &t = *hd->t;
  auto it = t.resources.find(ResourceKey(key));
  if (it == t.resources.end())
    return Fail(kErrEnd);
  FrameView fv;
  if ((err = ReadFrame(t, it->second, fv)) != 0)
    return Fail(err);
  uint32_t len = LoadLE32(fv.payload + 8);
  if (fv.payloadLen < 12 || len != fv.payloadLen - 12 ||
      len > sizeof result->Text)
    return Fail(kErrDamaged);
  result->Type = LoadLE32(fv.payload);
  result->Id = LoadLE32(fv.payload + 4);
  result->Length = len;
  memcpy(result->Text, fv.payload + 12, len);
  if (len < sizeof result->Text)
    result->Text[len] = '\0';
  return Fail(0);
}

int DbUpdateResource(TblHandle h, Resource *rec) {
  return PutResource(h, rec, true);
}

int DbAddResource(TblHandle h, Resource *rec) {
  return PutResource(h, rec, false);
}
