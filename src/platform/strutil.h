// Bounded string helpers. Every piece of text work in Mantrel goes through
// these: fixed-width record fields and path buffers are the norm, and a
// too-long input must be cut, never written past the end of its buffer.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>

// Copies at most cap-1 bytes of src into dst and terminates it. Answers the
// number of bytes copied. A null src gives the empty text.
size_t StrCopy(char *dst, size_t cap, const char *src);

// Appends src behind the text in dst, within cap bytes in all.
size_t StrAppend(char *dst, size_t cap, const char *src);

// printf into dst within cap bytes; the result is always terminated.
// Answers the length written (not the length that would have been needed).
size_t StrFormat(char *dst, size_t cap, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));
size_t StrFormatV(char *dst, size_t cap, const char *fmt, va_list ap);

// Appends formatted text behind the text in dst.
size_t StrAppendFormat(char *dst, size_t cap, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

// The array forms take the capacity from the array itself.
template <size_t N> inline size_t StrCopy(char (&dst)[N], const char *src) {
  return StrCopy(dst, N, src);
}
template <size_t N> inline size_t StrAppend(char (&dst)[N], const char *src) {
  return StrAppend(dst, N, src);
}
template <size_t N, typename... A>
inline size_t StrFormat(char (&dst)[N], const char *fmt, A... args) {
  return StrFormat(dst, N, fmt, args...);
}
template <size_t N, typename... A>
inline size_t StrAppendFormat(char (&dst)[N], const char *fmt, A... args) {
  return StrAppendFormat(dst, N, fmt, args...);
}
