// The checksum of every frame: the fast path (three streams joined) must give
// the values of the plain loop for every length, alignment and split of a
// buffer, or every table written by one and read by the other would look
// damaged.
#include "store/crc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

TEST(CrcTest, KnownValuesOfCrc32c) {
  const char *check = "123456789";
  EXPECT_EQ(StoreCrc32c(check, 9), 0xE3069283u);
  EXPECT_EQ(StoreCrc32cPortable(check, 9), 0xE3069283u);
  std::vector<uint8_t> zeros(32, 0), ones(32, 0xff);
  EXPECT_EQ(StoreCrc32c(zeros.data(), zeros.size()), 0x8A9136AAu);
  EXPECT_EQ(StoreCrc32c(ones.data(), ones.size()), 0x62A8AB43u);
  EXPECT_EQ(StoreCrc32c(nullptr, 0), 0u);
}

TEST(CrcTest, FastPathAgreesWithThePlainLoopAtEveryLengthAndOffset) {
  std::mt19937 rng(21);
  std::vector<uint8_t> buf(6000 + 16);
  for (uint8_t &b : buf)
    b = static_cast<uint8_t>(rng());
  // Lengths around each multiple of the three-stream block and its tail,
  // at every offset within a word.
  for (size_t len = 0; len <= 3 * 768 + 40; ++len)
    for (size_t at = 0; at < 8; at += 3)
      ASSERT_EQ(StoreCrc32c(buf.data() + at, len),
                StoreCrc32cPortable(buf.data() + at, len))
          << "length " << len << " at " << at;
  EXPECT_EQ(StoreCrc32c(buf.data(), 6000),
            StoreCrc32cPortable(buf.data(), 6000));
}

TEST(CrcTest, AChecksumCarriedOverPiecesEqualsTheWholeOne) {
  std::mt19937 rng(7);
  std::vector<uint8_t> buf(5000);
  for (uint8_t &b : buf)
    b = static_cast<uint8_t>(rng());
  uint32_t whole = StoreCrc32cPortable(buf.data(), buf.size());
  for (size_t cut : {1u, 7u, 767u, 768u, 769u, 2304u, 4999u}) {
    uint32_t c = StoreCrc32c(buf.data(), cut);
    c = StoreCrc32c(buf.data() + cut, buf.size() - cut, c);
    EXPECT_EQ(c, whole) << "cut at " << cut;
    uint32_t p = StoreCrc32cPortable(buf.data(), cut);
    EXPECT_EQ(StoreCrc32cPortable(buf.data() + cut, buf.size() - cut, p),
              whole);
  }
  // One changed bit anywhere changes the checksum.
  for (size_t at : {0u, 255u, 256u, 511u, 767u, 4999u}) {
    buf[at] ^= 0x10;
    EXPECT_NE(StoreCrc32c(buf.data(), buf.size()), whole) << "bit at " << at;
    buf[at] ^= 0x10;
  }
}

} // namespace
