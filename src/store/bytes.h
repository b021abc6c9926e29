// Numbers in bytes, the one set the store's sources share. The files are
// little-endian throughout (storage.md); keys are big-endian so that their
// bytes compare with memcmp in the order of their values. The Host pair
// moves a field of a record structure, which is in the machine's order, at
// any alignment.
#pragma once

#include <cstdint>
#include <cstring>

inline uint16_t LoadLE16(const uint8_t *b) {
  return static_cast<uint16_t>(b[0] | (b[1] << 8));
}
inline uint32_t LoadLE32(const uint8_t *b) {
  return static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) |
         (static_cast<uint32_t>(b[2]) << 16) |
         (static_cast<uint32_t>(b[3]) << 24);
}
inline uint64_t LoadLE64(const uint8_t *b) {
  return static_cast<uint64_t>(LoadLE32(b)) |
         (static_cast<uint64_t>(LoadLE32(b + 4)) << 32);
}
inline void StoreLE16(uint8_t *b, uint16_t v) {
  b[0] = static_cast<uint8_t>(v);
  b[1] = static_cast<uint8_t>(v >> 8);
}
inline void StoreLE32(uint8_t *b, uint32_t v) {
  for (int i = 0; i < 4; ++i)
    b[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void StoreLE64(uint8_t *b, uint64_t v) {
  for (int i = 0; i < 8; ++i)
    b[i] = static_cast<uint8_t>(v >> (8 * i));
}

inline uint32_t LoadBE32(const uint8_t *b) {
  return (static_cast<uint32_t>(b[0]) << 24) |
         (static_cast<uint32_t>(b[1]) << 16) |
         (static_cast<uint32_t>(b[2]) << 8) | static_cast<uint32_t>(b[3]);
}
inline uint64_t LoadBE64(const uint8_t *b) {
  uint64_t v = 0;
  for (int i = 0; i < 8; ++i)
    v = (v << 8) | b[i];
  return v;
}
inline void StoreBE16(uint8_t *b, uint16_t v) {
  b[0] = static_cast<uint8_t>(v >> 8);
  b[1] = static_cast<uint8_t>(v);
}
inline void StoreBE32(uint8_t *b, uint32_t v) {
  for (int i = 0; i < 4; ++i)
    b[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}
inline void StoreBE64(uint8_t *b, uint64_t v) {
  for (int i = 0; i < 8; ++i)
    b[i] = static_cast<uint8_t>(v >> (56 - 8 * i));
}

// A field of a record structure at byte offset `off` of `base`.
template <typename T> inline T LoadHost(const void *base, uint32_t off) {
  T v;
  memcpy(&v, static_cast<const uint8_t *>(base) + off, sizeof v);
  return v;
}
template <typename T> inline void StoreHost(void *base, uint32_t off, T v) {
  memcpy(static_cast<uint8_t *>(base) + off, &v, sizeof v);
}
