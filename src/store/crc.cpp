#include "store/crc.h"

#include <cstring>

namespace {

uint32_t gCrcTable[8][256];
bool gCrcReady = false;
int gCrcHardware = -1; // -1 not yet asked, 0 no, 1 yes

void CrcInitTable() {
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k)
      c = (c & 1) ? (c >> 1) ^ 0x82f63b78u : c >> 1;
    gCrcTable[0][i] = c;
  }
  for (uint32_t i = 0; i < 256; ++i)
    for (int t = 1; t < 8; ++t)
      gCrcTable[t][i] =
          (gCrcTable[t - 1][i] >> 8) ^ gCrcTable[0][gCrcTable[t - 1][i] & 0xff];
  gCrcReady = true;
}

uint32_t CrcSoftware(const uint8_t *p, size_t len, uint32_t crc) {
  if (!gCrcReady)
    CrcInitTable();
  while (len >= 8) {
    uint64_t w;
    memcpy(&w, p, 8);
    w ^= crc;
    crc = gCrcTable[7][w & 0xff] ^ gCrcTable[6][(w >> 8) & 0xff] ^
          gCrcTable[5][(w >> 16) & 0xff] ^ gCrcTable[4][(w >> 24) & 0xff] ^
          gCrcTable[3][(w >> 32) & 0xff] ^ gCrcTable[2][(w >> 40) & 0xff] ^
          gCrcTable[1][(w >> 48) & 0xff] ^ gCrcTable[0][w >> 56];
    p += 8;
    len -= 8;
  }
  while (len-- > 0)
    crc = (crc >> 8) ^ gCrcTable[0][(crc ^ *p++) & 0xff];
  return crc;
}

#if defined(__x86_64__)
// One crc32 instruction waits three cycles for the one before it, so a
// single stream runs at a third of what the processor can do. Three streams
// of kStride bytes each run side by side instead, and are joined by the
// rule that makes this possible: the register is linear, so the checksum of
// A then B is that of A followed by |B| zero bytes, exclusive-or that of B
// alone. Moving a checksum over kStride zero bytes is four table lookups.
constexpr size_t kStride = 256;
uint32_t gShift[4][256]; // the checksum of byte b at place k, moved
bool gShiftReady = false;

__attribute__((target("sse4.2"))) uint32_t
CrcOneStream(const uint8_t *p, size_t len, uint32_t crc) {
  uint64_t c = crc;
  while (len >= 8) {
    uint64_t w;
    memcpy(&w, p, 8);
    c = __builtin_ia32_crc32di(c, w);
    p += 8;
    len -= 8;
  }
  uint32_t c32 = static_cast<uint32_t>(c);
  while (len-- > 0)
    c32 = __builtin_ia32_crc32qi(c32, *p++);
  return c32;
}

__attribute__((target("sse4.2"))) void CrcInitShift() {
  // The move of each single bit, then of each byte value by linearity.
  static const uint8_t zeros[kStride] = {0};
  uint32_t bit[32];
  for (int i = 0; i < 32; ++i)
    bit[i] = CrcOneStream(zeros, kStride, 1u << i);
  for (int k = 0; k < 4; ++k)
    for (uint32_t b = 0; b < 256; ++b) {
      uint32_t v = 0;
      for (int i = 0; i < 8; ++i)
        if (b & (1u << i))
          v ^= bit[8 * k + i];
      gShift[k][b] = v;
    }
  gShiftReady = true;
}

uint32_t CrcShift(uint32_t crc) {
  return gShift[0][crc & 0xff] ^ gShift[1][(crc >> 8) & 0xff] ^
         gShift[2][(crc >> 16) & 0xff] ^ gShift[3][crc >> 24];
}

__attribute__((target("sse4.2"))) uint32_t
CrcHardware(const uint8_t *p, size_t len, uint32_t crc) {
  if (len >= 3 * kStride && !gShiftReady)
    CrcInitShift();
  while (len >= 3 * kStride) {
    uint64_t a = crc, b = 0, c = 0;
    for (size_t i = 0; i < kStride; i += 8) {
      uint64_t wa, wb, wc;
      memcpy(&wa, p + i, 8);
      memcpy(&wb, p + kStride + i, 8);
      memcpy(&wc, p + 2 * kStride + i, 8);
      a = __builtin_ia32_crc32di(a, wa);
      b = __builtin_ia32_crc32di(b, wb);
      c = __builtin_ia32_crc32di(c, wc);
    }
    crc = CrcShift(CrcShift(static_cast<uint32_t>(a)) ^
                   static_cast<uint32_t>(b)) ^
          static_cast<uint32_t>(c);
    p += 3 * kStride;
    len -= 3 * kStride;
  }
  return CrcOneStream(p, len, crc);
}
#endif

} // namespace

uint32_t StoreCrc32c(const void *data, size_t len, uint32_t crc) {
  const uint8_t *p = static_cast<const uint8_t *>(data);
  crc = ~crc;
#if defined(__x86_64__)
  if (gCrcHardware < 0) {
    __builtin_cpu_init();
    gCrcHardware = __builtin_cpu_supports("sse4.2") ? 1 : 0;
  }
  if (gCrcHardware == 1)
    return ~CrcHardware(p, len, crc);
#endif
  return ~CrcSoftware(p, len, crc);
}

uint32_t StoreCrc32cPortable(const void *data, size_t len, uint32_t crc) {
  return ~CrcSoftware(static_cast<const uint8_t *>(data), len, ~crc);
}
