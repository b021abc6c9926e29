// The two files of a table as a disk may give them back: a data file of
// frames and an index snapshot, either of them overwritten or cut short at
// any place. After damage to the snapshot its checksums are mended, so that
// the fuzzer reaches the checks behind them (offsets, counts, the records an
// order names). Whatever the bytes, the open, the walks along every key and
// the close answer a store code and never crash, and a rebuild gives a table
// that opens and walks without a damaged record.
//
// Input: one byte of mode (bit 0: the data file, else the snapshot; bit 1:
// cut the file at the place instead of overwriting), four bytes of place,
// then the bytes written there.
#include "fuzz_support.h"
#include "platform/strutil.h"
#include "store/codec.h"
#include "store/crc.h"
#include "store/store.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string gData, gIndex; // the pristine files
Symptom gRec;

std::string Slurp(const char *path) {
  std::string s;
  FILE *f = fopen(path, "rb");
  if (f == nullptr)
    abort();
  char buf[65536];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0)
    s.append(buf, n);
  fclose(f);
  return s;
}

void Spit(const char *path, const std::string &s) {
  FILE *f = fopen(path, "wb");
  if (f == nullptr || fwrite(s.data(), 1, s.size(), f) != s.size())
    abort();
  fclose(f);
}

uint32_t Le32(const std::string &b, size_t at) {
  uint32_t v;
  memcpy(&v, b.data() + at, 4);
  return v;
}

void PutLe32(std::string &b, size_t at, uint32_t v) {
  memcpy(b.data() + at, &v, 4);
}

// The snapshot's layout: a 512-byte header whose last four bytes are its
// checksum, a directory at 96 of 16-byte sections (offset, count,
// checksum): the record table (8-byte items), the orders (20-byte items),
// the resources (16-byte items).
void MendChecksums(std::string &idx) {
  if (idx.size() < 512)
    return;
  const int sections = 1 + kStoreMaxSlots + 1;
  for (int i = 0; i < sections; ++i) {
    size_t d = 96 + 16 * static_cast<size_t>(i);
    uint64_t off;
    memcpy(&off, idx.data() + d, 8);
    uint64_t item = i == 0 ? 8 : i == sections - 1 ? 16 : 20;
    uint64_t len = Le32(idx, d + 8) * item;
    if (off >= 512 && off <= idx.size() && len <= idx.size() - off)
      PutLe32(idx, d + 12, StoreCrc32c(idx.data() + off, len));
  }
  PutLe32(idx, 508, StoreCrc32c(idx.data(), 508));
}

void BuildTable() {
  TblHandle h = TblCreateSymptom("t", 1, 1);
  if (h == 0)
    abort();
  gRec.Remedies = TblAllocSymptomRemed(8);
  for (uint32_t k = 1; k <= 60; ++k) {
    SymptomRemedy *arr = gRec.Remedies;
    TblClearSymptom(&gRec);
    gRec.Remedies = arr;
    gRec.Num = k;
    gRec.Sub = static_cast<uint16_t>(k % 3);
    gRec.ParentNum = k / 10;
    gRec.UniqueId = static_cast<int32_t>(k);
    StrFormat(gRec.Text1, "symptom %u", k);
    StrFormat(gRec.Text2, "Symptom %u", 61 - k);
    for (int i = 0; i < static_cast<int>(k % 5); ++i)
      arr[i] = SymptomRemedy{static_cast<uint16_t>(k + i), 2, 1, 0};
    if (TblSaveSymptom(h, &gRec, kSaveAdd) != 0)
      abort();
  }
  if (DbCloseFile(h) != 0)
    abort();
  gData = Slurp("t.dat");
  gIndex = Slurp("t.idx");
}

// Walks every key from its first record; answers the number of damaged
// records met on key 0.
int WalkAll(TblHandle h) {
  int damaged = 0;
  for (int key : {0, 1, 2, 3, 4, 8}) {
    int rc = TblFindFullSymptom(h, &gRec, key, kFindFirst);
    for (int steps = 0; (rc == 0 || rc == kErrDamaged) && steps < 200;
         ++steps) {
      if (rc == kErrDamaged && key == 0)
        ++damaged;
      rc = TblFindFullSymptom(h, &gRec, key, kFindNext);
    }
  }
  return damaged;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  AbsoluteArguments(argc, argv);
  EnterScratchFolder("tablefiles");
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    abort();
  BuildTable();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 5)
    return 0;
  bool onData = (data[0] & 1) != 0, cut = (data[0] & 2) != 0;
  uint32_t place;
  memcpy(&place, data + 1, 4);
  std::string dat = gData, idx = gIndex;
  std::string &file = onData ? dat : idx;
  place %= static_cast<uint32_t>(file.size() + 1);
  if (cut) {
    file.resize(place);
  } else {
    std::string bytes(reinterpret_cast<const char *>(data + 5), size - 5);
    if (place + bytes.size() > file.size())
      file.resize(place + bytes.size());
    file.replace(place, bytes.size(), bytes);
  }
  if (!onData)
    MendChecksums(idx);
  Spit("t.dat", dat);
  Spit("t.idx", idx);

  TblHandle h = TblOpenSymptom("t", 1, 1);
  if (h != 0) {
    WalkAll(h);
    DbCloseFile(h);
  }
  // A rebuild keeps what it can read, and what it keeps reads whole.
  if (TblRebuildSymptom("t", 0, 1) == 0) {
    h = TblOpenSymptom("t", 1, 1);
    if (h == 0 || WalkAll(h) != 0)
      abort();
    DbCloseFile(h);
  }
  return 0;
}
