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
__attribute__((target("sse4.2"))) uint32_t
CrcHardware(const uint8_t *p, size_t len, uint32_t crc) {
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
