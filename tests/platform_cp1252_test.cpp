#include "platform/cp1252.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <string>

namespace {

char Upper(unsigned char b) {
  char s[2] = {static_cast<char>(b), '\0'};
  DbToUpper(s);
  return s[0];
}

char Lower(unsigned char b) {
  char s[2] = {static_cast<char>(b), '\0'};
  DbToLower(s);
  return s[0];
}

unsigned char U(char c) {
  return static_cast<unsigned char>(c);
}

// Decodes well-formed UTF-8 of one character; the test's own reader, kept
// apart from the converter under test.
uint32_t DecodeOne(const std::string &s) {
  unsigned char b = U(s[0]);
  if (b < 0x80)
    return b;
  int n = b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : 2;
  uint32_t cp = b & (0x7F >> n);
  for (int i = 1; i < n; ++i)
    cp = (cp << 6) | (U(s[i]) & 0x3F);
  return cp;
}

// The case pairs of the code page, as Unicode tells them: a lower-case
// letter's code point and its upper partner.
bool UnicodeCasePair(uint32_t lower, uint32_t upper) {
  if (lower >= 'a' && lower <= 'z')
    return upper == lower - 0x20;
  if (lower >= 0xE0 && lower <= 0xFE && lower != 0xF7)
    return upper == lower - 0x20;
  return (lower == 0x161 && upper == 0x160) ||
         (lower == 0x153 && upper == 0x152) ||
         (lower == 0x17E && upper == 0x17D) ||
         (lower == 0xFF && upper == 0x178);
}

TEST(Cp1252Folding, PairsAgreeWithUnicodeAndRoundTrip) {
  int pairs = 0;
  for (int b = 1; b < 256; ++b) {
    unsigned char up = U(Upper(static_cast<unsigned char>(b)));
    unsigned char lo = U(Lower(static_cast<unsigned char>(b)));
    // Folding is idempotent and the two directions undo each other.
    EXPECT_EQ(U(Upper(up)), up) << b;
    EXPECT_EQ(U(Lower(lo)), lo) << b;
    EXPECT_EQ(U(ToLowerWin(static_cast<char>(b))), lo) << b;
    if (up != b) {
      ++pairs;
      EXPECT_EQ(lo, b) << "a byte with an upper form is lower-case " << b;
      EXPECT_EQ(U(Lower(up)), b) << b;
      uint32_t cpLo = DecodeOne(Cp1252ToUtf8(std::string(1, char(b))));
      uint32_t cpUp = DecodeOne(Cp1252ToUtf8(std::string(1, char(up))));
      EXPECT_TRUE(UnicodeCasePair(cpLo, cpUp)) << std::hex << b;
    }
    if (lo != b) {
      EXPECT_EQ(U(Upper(lo)), b) << b;
    }
  }
  // 26 ASCII letters, 30 of 0xE0..0xFE, and š, œ, ž, ÿ.
  EXPECT_EQ(pairs, 60);
}

TEST(Cp1252Folding, NonLettersAndUnpairedLettersStay) {
  // ß and µ have no upper partner in the code page; × and ÷ are signs.
  for (unsigned char b :
       {0xDF, 0xB5, 0xD7, 0xF7, 0x31, 0x40, 0x5B, 0x80, 0xA0}) {
    EXPECT_EQ(U(Upper(b)), b) << int(b);
    EXPECT_EQ(U(Lower(b)), b) << int(b);
  }
}

TEST(Cp1252Folding, WholeTextsFoldInPlace) {
  char text[] = "\xC9t\xE9 \xE0 Z\xFCrich, \x8A\x9C\xFF 12";
  DbToUpper(text);
  EXPECT_STREQ(text, "\xC9T\xC9 \xC0 Z\xDCRICH, \x8A\x8C\x9F 12");
  DbToLower(text);
  EXPECT_STREQ(text, "\xE9t\xE9 \xE0 z\xFCrich, \x9A\x9C\xFF 12");
  DbToUpper(nullptr); // tolerated
  DbToLower(nullptr);
}

TEST(Cp1252Win2Asc, LettersLoseTheirAccentsAndKeepTheirCase) {
  for (int b = 1; b < 256; ++b) {
    char c = static_cast<char>(b);
    Win2Asc(&c);
    if (b < 0x80) {
      EXPECT_EQ(U(c), b) << "ASCII stays";
      continue;
    }
    char lo = ToLowerWin(static_cast<char>(b));
    Win2Asc(&lo);
    bool letter = U(Upper(static_cast<unsigned char>(b))) != b ||
                  U(Lower(static_cast<unsigned char>(b))) != b || b == 0xDF;
    if (letter) {
      ASSERT_LT(U(c), 0x80) << "letter " << b << " becomes ASCII";
      EXPECT_TRUE(isalpha(U(c))) << b;
      EXPECT_EQ(lo, tolower(U(c))) << "case kept for " << b;
    }
  }
  struct {
    unsigned char from;
    char to;
  } samples[] = {{0xE9, 'e'}, {0xC9, 'E'}, {0xD1, 'N'},    {0xE7, 'c'},
                 {0xD8, 'O'}, {0xDF, 's'}, {0x8A, 'S'},    {0x9F, 'Y'},
                 {0xFC, 'u'}, {0xC5, 'A'}, {0xD7, '\xD7'}, {0xB0, '\xB0'}};
  for (auto s : samples) {
    char c = static_cast<char>(s.from);
    Win2Asc(&c);
    EXPECT_EQ(c, s.to) << int(s.from);
  }
}

TEST(Cp1252Utf8, EveryByteRoundTrips) {
  std::string all;
  for (int b = 1; b < 256; ++b) {
    std::string one(1, static_cast<char>(b));
    std::string utf8 = Cp1252ToUtf8(one);
    EXPECT_EQ(Utf8ToCp1252(utf8), one) << b;
    if (b < 0x80) {
      EXPECT_EQ(utf8, one);
    } else {
      EXPECT_GE(utf8.size(), 2u) << b;
    }
    all += one;
  }
  all += std::string(1, '\0') + "tail"; // an inner zero byte is carried too
  EXPECT_EQ(Utf8ToCp1252(Cp1252ToUtf8(all)), all);
}

TEST(Cp1252Utf8, KnownCharacters) {
  EXPECT_EQ(Cp1252ToUtf8("\x80"), "\xE2\x82\xAC");   // €
  EXPECT_EQ(Cp1252ToUtf8("caf\xE9"), "caf\xC3\xA9"); // café
  EXPECT_EQ(Cp1252ToUtf8("\x9F"), "\xC5\xB8");       // Ÿ
  EXPECT_EQ(Cp1252ToUtf8("\x93x\x94"), "\xE2\x80\x9Cx\xE2\x80\x9D");
  EXPECT_EQ(Utf8ToCp1252("\xE2\x80\x93"), "\x96"); // en dash
  EXPECT_EQ(Cp1252ToUtf8(""), "");
}

TEST(Cp1252Utf8, UnmappableAndMalformedInputLosesNothingElse) {
  // Characters beyond the code page become '?', one per character.
  EXPECT_EQ(Utf8ToCp1252("a\xE2\x9C\x93z"), "a?z");   // ✓
  EXPECT_EQ(Utf8ToCp1252("\xF0\x9F\x98\x80!"), "?!"); // emoji
  EXPECT_EQ(Utf8ToCp1252("\xD0\x96"), "?");           // Cyrillic
  // Bytes that are no UTF-8 are taken as code page 1252 as they stand.
  EXPECT_EQ(Utf8ToCp1252("caf\xE9"), "caf\xE9");           // lone lead byte
  EXPECT_EQ(Utf8ToCp1252("\xE2\x82"), "\xE2\x82");         // cut short
  EXPECT_EQ(Utf8ToCp1252("\xC0\xAF"), "\xC0\xAF");         // overlong '/'
  EXPECT_EQ(Utf8ToCp1252("\xED\xA0\x80"), "\xED\xA0\x80"); // surrogate
  EXPECT_EQ(Utf8ToCp1252("\xF4\x90\x80\x80"), "\xF4\x90\x80\x80");
  EXPECT_EQ(Utf8ToCp1252("\x80\x80x"), "\x80\x80x");   // stray continuations
  EXPECT_EQ(Utf8ToCp1252("\xC3\xA9\xE9"), "\xE9\xE9"); // mixed
}

} // namespace
