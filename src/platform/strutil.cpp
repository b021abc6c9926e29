#include "platform/strutil.h"

#include <cstdio>

size_t StrCopy(char *dst, size_t cap, const char *src) {
  if (dst == nullptr || cap == 0)
    return 0;
  size_t n = 0;
  if (src != nullptr) {
    while (n + 1 < cap && src[n] != '\0') {
      dst[n] = src[n];
      ++n;
    }
  }
  dst[n] = '\0';
  return n;
}

size_t StrAppend(char *dst, size_t cap, const char *src) {
  if (dst == nullptr || cap == 0)
    return 0;
  size_t len = strnlen(dst, cap);
  if (len >= cap) { // unterminated: terminate at the end rather than overrun
    dst[cap - 1] = '\0';
    return cap - 1;
  }
  return len + StrCopy(dst + len, cap - len, src);
}

size_t StrFormatV(char *dst, size_t cap, const char *fmt, va_list ap) {
  if (dst == nullptr || cap == 0)
    return 0;
  int n = vsnprintf(dst, cap, fmt, ap);
  if (n < 0) {
    dst[0] = '\0';
    return 0;
  }
  return static_cast<size_t>(n) < cap ? static_cast<size_t>(n) : cap - 1;
}

size_t StrFormat(char *dst, size_t cap, const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  size_t n = StrFormatV(dst, cap, fmt, ap);
  va_end(ap);
  return n;
}

size_t StrAppendFormat(char *dst, size_t cap, const char *fmt, ...) {
  if (dst == nullptr || cap == 0)
    return 0;
  size_t len = strnlen(dst, cap);
  if (len >= cap) {
    dst[cap - 1] = '\0';
    return cap - 1;
  }
  va_list ap;
  va_start(ap, fmt);
  size_t n = StrFormatV(dst + len, cap - len, fmt, ap);
  va_end(ap);
  return len + n;
}
