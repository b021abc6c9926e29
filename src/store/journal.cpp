// The entry journal (journal.h; docs/storage.md, "The entry journal").
//
// One journal file per run, beside the repertory. It starts with a header
// and then holds records, each checksummed, appended in this order:
//
// - a table record when a table is first written: its number, family, the
//   id and path of its data file, and its length then;
// - a commit record after each entry that wrote something: the length of
//   every registered table;
// - a durable record after the data files and the journal were synced;
// - a rewritten record when a table's file is compacted at its close;
// - a done record when a later program mended a table and left the rest.
//
// Beside each registered table's data file lies a link file ("~jnl") naming
// the journal, so that an open of that table, by any program, finds the
// journal. Undoing an entry is cutting each table back to its last committed
// length; a program that finds a journal left behind does that, rebuilds the
// indexes that no longer describe their data files, and removes the journal
// and its links.
#include "store/journal.h"

#include "platform/strutil.h"
#include "store/crc.h"
#include "store/engine.h"
#include "store/families.h"
#include "store/store.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char kMagic[8] = {'M', 'N', 'T', 'R', 'L', 'J', 'N', 'L'};
constexpr uint32_t kVersion = 1;
constexpr uint32_t kHeaderSize = 128;
constexpr uint32_t kBootAt = 32, kBootSize = 40;
constexpr uint32_t kRecordHead = 8; // body length, kind, three zero bytes
constexpr uint32_t kRecordTail = 4; // CRC-32C of head and body
constexpr uint32_t kMaxBody = 1u << 20;
constexpr const char *kLinkSuffix = "~jnl";

enum RecordKind : uint8_t {
  kRecTable = 1,
  kRecCommit = 2,
  kRecDurable = 3,
  kRecRewritten = 4,
  kRecDone = 5,
};

struct Registered {
  std::string dat, idx;
  const StoreFamily *fam = nullptr;
  uint64_t fileId = 0;
  uint64_t committed = 0; // after the last commit
  uint64_t current = 0;   // now
  uint64_t durable = 0;   // at the last durable record
  void *table = nullptr;  // open in this process
  bool rewritten = false; // compacted since: never cut
  bool done = false;      // mended by a later program
  bool unclean = false;   // its close or an undo failed: leave the journal
};

struct Journal {
  std::string path;
  int fd = -1;
  uint64_t id = 0;
  uint64_t end = 0;
  std::vector<Registered> regs;
  bool entryOpen = false;
  int entryError = 0;
  bool changed = false; // some table's length differs from its committed one
  std::vector<uint8_t> record;
};

Journal *gJournal = nullptr;

struct Mended {
  std::string path;
  int what;
};
std::deque<Mended> gMended;

void Put32(std::vector<uint8_t> &b, uint32_t v) {
  for (int i = 0; i < 4; ++i)
    b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void Put64(std::vector<uint8_t> &b, uint64_t v) {
  for (int i = 0; i < 8; ++i)
    b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
uint32_t Get32(const uint8_t *p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) |
         (static_cast<uint32_t>(p[3]) << 24);
}
uint64_t Get64(const uint8_t *p) {
  return static_cast<uint64_t>(Get32(p)) |
         (static_cast<uint64_t>(Get32(p + 4)) << 32);
}
void Set32(uint8_t *p, uint32_t v) {
  for (int i = 0; i < 4; ++i)
    p[i] = static_cast<uint8_t>(v >> (8 * i));
}

int Fail(int err) {
  OrvixError = err;
  return err;
}

// The boot of the machine: a journal written before the last boot met a
// power loss or a crash of the system, not only of the program.
void BootId(uint8_t *out) {
  memset(out, 0, kBootSize);
  int fd = open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return;
  ssize_t n = read(fd, out, kBootSize);
  (void)n;
  close(fd);
}

const StoreFamily *FamilyOfCode(uint8_t code) {
  static const StoreFamily *const all[] = {
      &kFamSymptom, &kFamRemed,   &kFamAuthor,  &kFamCatalog,      &kFamRlog,
      &kFamExtract, &kFamExSp,    &kFamWord,    &kFamNote,         &kFamLink,
      &kFamView,    &kFamAt,      &kFamHistoId, &kFamCas1,         &kFamCas2,
      &kFamMessage, &kFamKeynote, &kFamPatient, &kFamConsultation, &kFamDiag,
      &kFamPrem,    &kFamDefDiag};
  for (const StoreFamily *f : all)
    if (f->code == code)
      return f;
  return nullptr;
}

bool WriteAllAt(int fd, const uint8_t *p, size_t len, uint64_t off) {
  while (len > 0) {
    ssize_t n = pwrite(fd, p, len, static_cast<off_t>(off));
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0) {
      if (n == 0)
        errno = EIO;
      return false;
    }
    p += n;
    len -= static_cast<size_t>(n);
    off += static_cast<uint64_t>(n);
  }
  return true;
}

void SyncFolderOf(const std::string &path) {
  size_t slash = path.rfind('/');
  std::string dir = slash == std::string::npos ? "." : path.substr(0, slash);
  if (dir.empty())
    dir = "/";
  int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0) {
    fsync(fd);
    close(fd);
  }
}

// Appends the record in j.record (its body behind room for the head).
int AppendRecord(Journal &j, uint8_t kind, bool sync) {
  std::vector<uint8_t> &r = j.record;
  size_t body = r.size() - kRecordHead;
  Set32(r.data(), static_cast<uint32_t>(body));
  r[4] = kind;
  r[5] = r[6] = r[7] = 0;
  uint32_t crc = StoreCrc32c(r.data(), r.size());
  Put32(r, crc);
  if (!WriteAllAt(j.fd, r.data(), r.size(), j.end)) {
    int e = errno;
    if (ftruncate(j.fd, static_cast<off_t>(j.end)) != 0) {
      // The torn record fails its checksum; the next record overwrites it.
    }
    return EngineErrno(e);
  }
  if (sync && fdatasync(j.fd) != 0) {
    int e = errno;
    return EngineErrno(e);
  }
  j.end += r.size();
  return 0;
}

void StartRecord(Journal &j) {
  j.record.assign(kRecordHead, 0);
}

// Writes every table's length: the current ones for a commit, the committed
// ones for a durable mark.
int WriteLengths(Journal &j, uint8_t kind) {
  StartRecord(j);
  Put32(j.record, static_cast<uint32_t>(j.regs.size()));
  for (const Registered &r : j.regs)
    Put64(j.record, kind == kRecCommit ? r.current : r.committed);
  int err = AppendRecord(j, kind, kind == kRecDurable);
  if (err != 0)
    return err;
  for (Registered &r : j.regs) {
    if (kind == kRecCommit)
      r.committed = r.current;
    else
      r.durable = r.committed;
  }
  if (kind == kRecCommit)
    j.changed = false;
  return 0;
}

int WriteNumber(Journal &j, uint8_t kind, uint32_t number) {
  StartRecord(j);
  Put32(j.record, number);
  return AppendRecord(j, kind, false);
}

std::string LinkOf(const std::string &dat) {
  return dat + kLinkSuffix;
}

int WriteLink(const Journal &j, const std::string &dat) {
  char id[24];
  StrFormat(id, "%016llx", static_cast<unsigned long long>(j.id));
  std::string text = j.path + "\n" + id + "\n";
  std::string link = LinkOf(dat);
  int fd = open(link.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0)
    return EngineErrno(errno);
  bool ok = WriteAllAt(fd, reinterpret_cast<const uint8_t *>(text.data()),
                       text.size(), 0);
  int e = errno;
  close(fd);
  if (!ok) {
    unlink(link.c_str());
    return EngineErrno(e);
  }
  return 0;
}

bool ReadLink(const std::string &link, std::string &journal, uint64_t &id) {
  int fd = open(link.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return false;
  char buf[4200];
  ssize_t n = read(fd, buf, sizeof buf - 1);
  close(fd);
  if (n <= 0)
    return false;
  buf[n] = '\0';
  char *nl = strchr(buf, '\n');
  if (nl == nullptr || nl == buf)
    return false;
  *nl = '\0';
  journal = buf;
  char *end = nullptr;
  id = strtoull(nl + 1, &end, 16);
  return end != nl + 1 && id != 0;
}

// Undoes what the open entry wrote: each table that grew goes back to its
// committed length. Ends the entry.
int Undo(Journal &j) {
  int first = 0;
  for (Registered &r : j.regs) {
    if (r.current == r.committed || r.rewritten)
      continue;
    int what = 0;
    int err = r.table != nullptr
                  ? EngineCutBackOpen(r.table, r.committed)
                  : EngineMendTable(*r.fam, r.dat, r.idx, r.fileId, r.committed,
                                    &what);
    if (err != 0) {
      r.unclean = true;
      if (first == 0)
        first = err;
    }
    r.current = r.committed;
  }
  j.changed = false;
  j.entryOpen = false;
  j.entryError = 0;
  return first;
}

struct Found {
  std::string dat, idx;
  const StoreFamily *fam = nullptr;
  uint64_t fileId = 0, committed = 0, durable = 0;
  bool rewritten = false, done = false;
};

// Reads the records of a journal; stops at the first that is not whole, and
// answers where that is.
size_t ReadRecords(const std::vector<uint8_t> &b, std::vector<Found> &regs) {
  size_t pos = kHeaderSize;
  while (pos + kRecordHead + kRecordTail <= b.size()) {
    uint32_t body = Get32(&b[pos]);
    if (body > kMaxBody || pos + kRecordHead + body + kRecordTail > b.size())
      break;
    const uint8_t *p = &b[pos];
    if (Get32(p + kRecordHead + body) != StoreCrc32c(p, kRecordHead + body))
      break;
    const uint8_t *q = p + kRecordHead;
    uint8_t kind = p[4];
    if (kind == kRecTable && body >= 28) {
      uint32_t number = Get32(q);
      uint32_t datLen = static_cast<uint32_t>(q[24] | (q[25] << 8));
      if (number != regs.size() || 26 + datLen + 2 > body)
        break;
      uint32_t idxLen =
          static_cast<uint32_t>(q[26 + datLen] | (q[27 + datLen] << 8));
      if (28 + datLen + idxLen != body)
        break;
      Found f;
      f.fam = FamilyOfCode(q[4]);
      f.fileId = Get64(q + 8);
      f.committed = f.durable = Get64(q + 16);
      f.dat.assign(reinterpret_cast<const char *>(q + 26), datLen);
      f.idx.assign(reinterpret_cast<const char *>(q + 28 + datLen), idxLen);
      regs.push_back(f);
    } else if ((kind == kRecCommit || kind == kRecDurable) && body >= 4) {
      uint32_t n = Get32(q);
      if (n > regs.size() || body != 4 + 8ull * n)
        break;
      for (uint32_t i = 0; i < n; ++i) {
        regs[i].committed = Get64(q + 4 + 8 * i);
        if (kind == kRecDurable)
          regs[i].durable = regs[i].committed;
      }
    } else if ((kind == kRecRewritten || kind == kRecDone) && body == 4) {
      uint32_t n = Get32(q);
      if (n >= regs.size())
        break;
      if (kind == kRecRewritten)
        regs[n].rewritten = true;
      else
        regs[n].done = true;
    } else {
      break;
    }
    pos += kRecordHead + body + kRecordTail;
  }
  return pos;
}

// Mends what the journal at `path` left: answers true when it is gone
// afterwards. With `expect` not 0 the journal must have that id (else the
// link that led here is stale and goes).
bool Recover(const std::string &path, uint64_t expect,
             const std::string *link) {
  int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) {
    int e = errno;
    if (link != nullptr && e == ENOENT)
      unlink(link->c_str());
    return e == ENOENT;
  }
  // Another program may be mending it now: wait for it a little.
  bool locked = false;
  for (int i = 0; i < 500; ++i) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
      locked = true;
      break;
    }
    if (errno != EWOULDBLOCK && errno != EINTR)
      break;
    usleep(10000);
  }
  struct stat held, now;
  if (!locked || fstat(fd, &held) != 0) {
    close(fd);
    return false;
  }
  if (stat(path.c_str(), &now) != 0 || now.st_ino != held.st_ino ||
      now.st_dev != held.st_dev) {
    close(fd); // mended and removed while we waited
    if (link != nullptr)
      unlink(link->c_str());
    return true;
  }
  std::vector<uint8_t> b(static_cast<size_t>(
      std::min<off_t>(held.st_size, static_cast<off_t>(256u << 20))));
  bool read = b.size() >= kHeaderSize && pread(fd, b.data(), b.size(), 0) ==
                                             static_cast<ssize_t>(b.size());
  bool whole =
      read && memcmp(b.data(), kMagic, 8) == 0 && Get32(&b[8]) == kVersion &&
      Get32(&b[kHeaderSize - 4]) == StoreCrc32c(b.data(), kHeaderSize - 4);
  if (whole && expect != 0 && Get64(&b[16]) != expect) {
    // The journal there now is another run's: the link is left over.
    close(fd);
    if (link != nullptr)
      unlink(link->c_str());
    return true;
  }
  std::vector<Found> regs;
  size_t good = whole ? ReadRecords(b, regs) : 0;
  // A header that is not whole was being written when its run stopped,
  // before any table joined it.
  uint8_t boot[kBootSize];
  BootId(boot);
  bool rebooted =
      whole && memcmp(&b[kBootAt], boot, kBootSize) != 0 && boot[0] != 0;
  bool all = true;
  std::vector<std::string> failed;
  std::vector<uint32_t> mended;
  for (size_t i = 0; i < regs.size(); ++i) {
    Found &f = regs[i];
    if (f.done)
      continue;
    if (f.fam == nullptr) {
      all = false;
      failed.push_back(f.dat);
      continue;
    }
    uint64_t target = f.rewritten ? 0 : rebooted ? f.durable : f.committed;
    int what = 0;
    int err = EngineMendTable(*f.fam, f.dat, f.idx, f.fileId, target, &what);
    if (err != 0 && err != kErrNoFile) {
      all = false;
      failed.push_back(f.dat);
      continue;
    }
    if (what != 0)
      gMended.push_back({f.dat, what});
    mended.push_back(static_cast<uint32_t>(i));
  }
  if (!all) {
    // What was mended is recorded, so that a later try leaves it alone.
    Journal j;
    j.fd = fd;
    j.end = good;
    for (uint32_t i : mended)
      WriteNumber(j, kRecDone, i);
  }
  auto isFailed = [&](const std::string &dat) {
    for (const std::string &x : failed)
      if (x == dat)
        return true;
    return false;
  };
  for (const Found &f : regs)
    if (!isFailed(f.dat))
      unlink(LinkOf(f.dat).c_str());
  if (all) {
    if (link != nullptr)
      unlink(link->c_str());
    unlink(path.c_str());
    SyncFolderOf(path);
  }
  close(fd);
  return all;
}

uint64_t NewJournalId() {
  static std::mt19937_64 gen(std::random_device{}() ^
                             static_cast<uint64_t>(time(nullptr)) ^
                             (static_cast<uint64_t>(getpid()) << 32));
  uint64_t id;
  do
    id = gen();
  while (id == 0);
  return id;
}

} // namespace

// ---------------------------------------------------------------- engine side

int JournalBeforeAppend(JournalMark &m, const JournalTable &t) {
  if (gJournal == nullptr)
    return 0;
  Journal &j = *gJournal;
  if (m.journal == j.id && m.number < j.regs.size() &&
      !j.regs[m.number].rewritten) {
    j.regs[m.number].table = t.table;
    return 0;
  }
  // A table closed and opened again in the journal's life keeps its number.
  for (uint32_t i = 0; i < j.regs.size(); ++i) {
    Registered &r = j.regs[i];
    if (!r.rewritten && r.dat == *t.dat && r.fileId == t.fileId) {
      r.table = t.table;
      m.journal = j.id;
      m.number = i;
      return 0;
    }
  }
  int err = WriteLink(j, *t.dat);
  if (err != 0)
    return err;
  uint32_t number = static_cast<uint32_t>(j.regs.size());
  StartRecord(j);
  Put32(j.record, number);
  j.record.push_back(t.fam->code);
  j.record.insert(j.record.end(), 3, 0);
  Put64(j.record, t.fileId);
  Put64(j.record, t.length);
  for (const std::string *s : {t.dat, t.idx}) {
    uint16_t n = static_cast<uint16_t>(std::min<size_t>(s->size(), 4096));
    j.record.push_back(static_cast<uint8_t>(n));
    j.record.push_back(static_cast<uint8_t>(n >> 8));
    j.record.insert(j.record.end(), s->begin(), s->begin() + n);
  }
  if ((err = AppendRecord(j, kRecTable, false)) != 0) {
    bool shared = false;
    for (const Registered &r : j.regs)
      shared = shared || r.dat == *t.dat;
    if (!shared)
      unlink(LinkOf(*t.dat).c_str());
    return err;
  }
  Registered r;
  r.dat = *t.dat;
  r.idx = *t.idx;
  r.fam = t.fam;
  r.fileId = t.fileId;
  r.committed = r.current = r.durable = t.length;
  r.table = t.table;
  j.regs.push_back(r);
  m.journal = j.id;
  m.number = number;
  return 0;
}

int JournalAfterAppend(const JournalMark &m, uint64_t before, uint64_t length) {
  if (gJournal == nullptr || m.journal != gJournal->id)
    return 0;
  Journal &j = *gJournal;
  Registered &r = j.regs[m.number];
  r.current = length;
  j.changed = true;
  if (j.entryOpen)
    return 0;
  int err = WriteLengths(j, kRecCommit);
  if (err != 0) {
    r.current = before;
    j.changed = false;
  }
  return err;
}

void JournalWriteFailed(int err) {
  if (gJournal != nullptr && gJournal->entryOpen && gJournal->entryError == 0)
    gJournal->entryError = err;
}

bool JournalMayCompact(const JournalMark &m) {
  return gJournal == nullptr || m.journal != gJournal->id ||
         !gJournal->entryOpen;
}

int JournalBeforeRewrite(const JournalMark &m) {
  if (gJournal == nullptr || m.journal != gJournal->id)
    return 0;
  int err = WriteNumber(*gJournal, kRecRewritten, m.number);
  if (err == 0)
    gJournal->regs[m.number].rewritten = true;
  return err;
}

void JournalTableClosed(const JournalMark &m, bool clean) {
  if (gJournal == nullptr || m.journal != gJournal->id)
    return;
  Registered &r = gJournal->regs[m.number];
  r.table = nullptr;
  if (!clean)
    r.unclean = true;
}

void JournalRecoverFor(const std::string &dat) {
  std::string link = LinkOf(dat);
  struct stat st;
  if (stat(link.c_str(), &st) != 0)
    return;
  std::string journal;
  uint64_t id = 0;
  if (!ReadLink(link, journal, id)) {
    unlink(link.c_str());
    return;
  }
  if (gJournal != nullptr && gJournal->id == id)
    return; // the journal of this very program
  Recover(journal, id, &link);
}

void JournalShutdown() {
  if (gJournal != nullptr)
    DbJournalClose();
}

// ---------------------------------------------------------------- program side

int DbJournalOpen(const char *path) {
  if (gJournal != nullptr)
    DbJournalClose();
  std::string real;
  int err = EngineRealPath(path, ".jnl", real);
  if (err != 0)
    return Fail(err);
  struct stat st;
  if (stat(real.c_str(), &st) == 0 && !Recover(real, 0, nullptr))
    return Fail(kErrLocked);
  int fd = open(real.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0)
    return Fail(EngineErrno(errno));
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    close(fd);
    return Fail(kErrLocked);
  }
  Journal *j = new Journal;
  j->path = real;
  j->fd = fd;
  j->id = NewJournalId();
  uint8_t h[kHeaderSize];
  memset(h, 0, sizeof h);
  memcpy(h, kMagic, 8);
  Set32(h + 8, kVersion);
  for (int i = 0; i < 8; ++i) {
    h[16 + i] = static_cast<uint8_t>(j->id >> (8 * i));
    h[24 + i] =
        static_cast<uint8_t>(static_cast<uint64_t>(time(nullptr)) >> (8 * i));
  }
  BootId(h + kBootAt);
  Set32(h + kHeaderSize - 4, StoreCrc32c(h, kHeaderSize - 4));
  if (!WriteAllAt(fd, h, sizeof h, 0)) {
    err = EngineErrno(errno);
    close(fd);
    unlink(real.c_str());
    delete j;
    return Fail(err);
  }
  j->end = kHeaderSize;
  gJournal = j;
  return Fail(0);
}

int DbJournalSync() {
  if (gJournal == nullptr)
    return Fail(0);
  Journal &j = *gJournal;
  int first = 0;
  for (Registered &r : j.regs)
    if (r.table != nullptr) {
      int err = EngineSyncData(r.table);
      if (err != 0 && first == 0)
        first = err;
    }
  if (first == 0)
    first = WriteLengths(j, kRecDurable);
  return Fail(first);
}

int DbJournalClose() {
  if (gJournal == nullptr)
    return Fail(0);
  Journal &j = *gJournal;
  int first = 0;
  if (j.entryOpen)
    first = Undo(j);
  for (Registered &r : j.regs)
    if (r.table != nullptr) {
      int err = EngineCheckpoint(r.table);
      if (err != 0) {
        r.unclean = true;
        if (first == 0)
          first = err;
      }
      r.table = nullptr;
    }
  bool keep = false;
  for (const Registered &r : j.regs)
    keep = keep || r.unclean;
  for (const Registered &r : j.regs) {
    bool uncleanHere = false;
    for (const Registered &o : j.regs)
      uncleanHere = uncleanHere || (o.unclean && o.dat == r.dat);
    if (!uncleanHere)
      unlink(LinkOf(r.dat).c_str());
  }
  if (!keep)
    unlink(j.path.c_str());
  close(j.fd);
  delete gJournal;
  gJournal = nullptr;
  return Fail(first);
}

void DbEntryBegin() {
  if (gJournal != nullptr && !gJournal->entryOpen) {
    gJournal->entryOpen = true;
    gJournal->entryError = 0;
  }
  OrvixError = 0;
}

int DbEntryCommit() {
  if (gJournal == nullptr || !gJournal->entryOpen)
    return Fail(0);
  Journal &j = *gJournal;
  int err = j.entryError;
  if (err == 0 && j.changed)
    err = WriteLengths(j, kRecCommit);
  if (err != 0) {
    Undo(j);
    return Fail(err);
  }
  j.entryOpen = false;
  return Fail(0);
}

int DbEntryRollback() {
  if (gJournal == nullptr || !gJournal->entryOpen)
    return Fail(0);
  return Fail(Undo(*gJournal));
}

int DbEntryError() {
  return gJournal != nullptr && gJournal->entryOpen ? gJournal->entryError : 0;
}

int DbTakeMended(char *path, size_t cap, int *what) {
  if (gMended.empty())
    return 0;
  const Mended &m = gMended.front();
  if (path != nullptr && cap > 0) {
    size_t n = std::min(cap - 1, m.path.size());
    memcpy(path, m.path.data(), n);
    path[n] = '\0';
  }
  if (what != nullptr)
    *what = m.what;
  gMended.pop_front();
  return 1;
}
