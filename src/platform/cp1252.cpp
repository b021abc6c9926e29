#include "platform/cp1252.h"

#include <cstdint>

namespace {

// Bytes 0x80..0x9F of code page 1252 as Unicode code points. The five bytes
// that the code page leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) map to
// the C1 control of the same value, so that every byte survives a round trip
// through UTF-8.
constexpr uint16_t kHigh[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

// The upper-case partner of a lower-case letter, or 0.
unsigned char UpperOf(unsigned char c) {
  if (c >= 'a' && c <= 'z')
    return static_cast<unsigned char>(c - 'a' + 'A');
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) // à..þ but not ÷
    return static_cast<unsigned char>(c - 0x20);
  switch (c) {
  case 0x9A: // š
    return 0x8A;
  case 0x9C: // œ
    return 0x8C;
  case 0x9E: // ž
    return 0x8E;
  case 0xFF: // ÿ
    return 0x9F;
  default:
    return 0;
  }
}

// The lower-case partner of an upper-case letter, or 0.
unsigned char LowerOf(unsigned char c) {
  if (c >= 'A' && c <= 'Z')
    return static_cast<unsigned char>(c - 'A' + 'a');
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) // À..Þ but not ×
    return static_cast<unsigned char>(c + 0x20);
  switch (c) {
  case 0x8A:
    return 0x9A;
  case 0x8C:
    return 0x9C;
  case 0x8E:
    return 0x9E;
  case 0x9F:
    return 0xFF;
  default:
    return 0;
  }
}

// Plain-ASCII likeness of the letters of 0xC0..0xFF, in order.
constexpr char kAscOfC0[65] = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTs"
                              "aaaaaaaceeeeiiiidnooooo/ouuuuyty";

void AppendUtf8(std::string &out, uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// The code page byte of a code point, or -1 when the code page has none.
int ByteOfCodePoint(uint32_t cp) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF))
    return static_cast<int>(cp);
  for (int i = 0; i < 32; ++i)
    if (kHigh[i] == cp)
      return 0x80 + i;
  return -1;
}

// Decodes one well-formed UTF-8 sequence at s[i]. Answers its length (2 to 4)
// and the code point, or 0 when the bytes there are no well-formed sequence:
// stray continuation bytes, truncated or overlong forms, surrogates and
// values beyond U+10FFFF.
size_t DecodeUtf8(const std::string &s, size_t i, uint32_t &cp) {
  unsigned char b = static_cast<unsigned char>(s[i]);
  size_t len;
  uint32_t min;
  if (b >= 0xC2 && b <= 0xDF) {
    len = 2;
    cp = b & 0x1F;
    min = 0x80;
  } else if (b >= 0xE0 && b <= 0xEF) {
    len = 3;
    cp = b & 0x0F;
    min = 0x800;
  } else if (b >= 0xF0 && b <= 0xF4) {
    len = 4;
    cp = b & 0x07;
    min = 0x10000;
  } else {
    return 0;
  }
  if (i + len > s.size())
    return 0;
  for (size_t k = 1; k < len; ++k) {
    unsigned char c = static_cast<unsigned char>(s[i + k]);
    if ((c & 0xC0) != 0x80)
      return 0;
    cp = (cp << 6) | (c & 0x3F);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
    return 0;
  return len;
}

} // namespace

void DbToUpper(char *s) {
  if (s == nullptr)
    return;
  for (; *s != '\0'; ++s) {
    unsigned char u = UpperOf(static_cast<unsigned char>(*s));
    if (u != 0)
      *s = static_cast<char>(u);
  }
}

void DbToLower(char *s) {
  if (s == nullptr)
    return;
  for (; *s != '\0'; ++s)
    *s = ToLowerWin(*s);
}

char ToLowerWin(char c) {
  unsigned char l = LowerOf(static_cast<unsigned char>(c));
  return l != 0 ? static_cast<char>(l) : c;
}

void Win2Asc(char *c) {
  if (c == nullptr)
    return;
  unsigned char b = static_cast<unsigned char>(*c);
  char r = *c;
  if (b >= 0xC0) {
    // × and ÷ are no letters; they keep their byte.
    if (b != 0xD7 && b != 0xF7)
      r = kAscOfC0[b - 0xC0];
  } else {
    switch (b) {
    case 0x83: // ƒ
      r = 'f';
      break;
    case 0x8A: // Š
      r = 'S';
      break;
    case 0x8C: // Œ
      r = 'O';
      break;
    case 0x8E: // Ž
      r = 'Z';
      break;
    case 0x9A: // š
      r = 's';
      break;
    case 0x9C: // œ
      r = 'o';
      break;
    case 0x9E: // ž
      r = 'z';
      break;
    case 0x9F: // Ÿ
      r = 'Y';
      break;
    default:
      break;
    }
  }
  *c = r;
}

std::string Cp1252ToUtf8(const std::string &s) {
  std::string out;
  out.reserve(s.size() + s.size() / 4);
  for (char ch : s) {
    unsigned char b = static_cast<unsigned char>(ch);
    uint32_t cp = (b >= 0x80 && b <= 0x9F) ? kHigh[b - 0x80] : b;
    AppendUtf8(out, cp);
  }
  return out;
}

std::string Utf8ToCp1252(const std::string &s) {
  std::string out;
  out.reserve(s.size());
  size_t i = 0;
  while (i < s.size()) {
    unsigned char b = static_cast<unsigned char>(s[i]);
    if (b < 0x80) {
      out += s[i++];
      continue;
    }
    uint32_t cp = 0;
    size_t len = DecodeUtf8(s, i, cp);
    if (len == 0) {
      // Not UTF-8 here: the byte is most likely code page 1252 already
      // (an old text file, a hand-edited line); it is kept as it stands.
      out += s[i++];
      continue;
    }
    int byte = ByteOfCodePoint(cp);
    out += byte < 0 ? '?' : static_cast<char>(byte);
    i += len;
  }
  return out;
}
