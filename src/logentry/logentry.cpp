#include "logentry/logentry.h"

#include "store/sptpath.h"

#include <cstdlib>
#include <cstring>

namespace {

// Splits at most `fields` fields; offsets[0..fields-1] are written.
void SplitUpTo(char *text, int *offsets, int fields) {
  for (int i = 0; i < fields; ++i)
    offsets[i] = 0;
  if (text == nullptr)
    return;
  int next = 1;
  for (char *p = text; *p != '\0' && next < fields; ++p) {
    if (*p == kLogFieldSep) {
      *p = '\0';
      offsets[next++] = static_cast<int>(p + 1 - text);
    }
  }
}

} // namespace

void LogSplitFields(char *text, int *offsets) {
  SplitUpTo(text, offsets, kLogFields);
}

void LogSplitAllFields(char *text, int *offsets) {
  SplitUpTo(text, offsets, kLogAllFields);
}

void LogJoinFields(char *text, size_t length) {
  if (text == nullptr)
    return;
  for (size_t i = 0; i < length; ++i)
    if (text[i] == '\0')
      text[i] = kLogFieldSep;
}

bool LogHasField(const int *offsets, int n) {
  if (offsets == nullptr || n < 0 || n >= kLogAllFields)
    return false;
  return n == 0 || offsets[n] != 0;
}

const char *LogField(const char *text, const int *offsets, int n) {
  if (text == nullptr || !LogHasField(offsets, n))
    return "";
  return text + offsets[n];
}

int LogIsLevelSeparator(const char *pos, const char *start, const char *last) {
  return SptIsLevelSeparator(pos, start, last);
}

void LogSwapLanguage(char *text) {
  if (text == nullptr || text[0] == '\0')
    return;
  text[0] = text[0] == '0' ? '1' : '0';
}

bool LogHasNoPath(const char *text) {
  return text != nullptr && text[0] != '\0' && text[1] != '\0' &&
         text[2] == kLogFieldSep;
}

void LogClearEntry(LogEntry *entry, char *textBuffer) {
  memset(entry, 0, sizeof *entry);
  entry->text = textBuffer;
  if (textBuffer != nullptr)
    textBuffer[0] = '\0';
  entry->endMark = 0xff;
}

int32_t LogNextNumber(TblHandle log) {
  // The read fills the text area too, so it needs a buffer of full size.
  static char text[kLogTextSize];
  LogEntry last;
  LogClearEntry(&last, text);
  if (TblFindFullRlog(log, &last, 0, kFindLast) != 0 || OrvixError != 0)
    return 1;
  return last.number + 1;
}
