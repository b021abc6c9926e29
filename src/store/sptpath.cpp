#include "store/sptpath.h"

#include "platform/strutil.h"

#include <cstring>

namespace {

// The lookups read into a record of their own, so that a caller's shared
// Symptom record is left as it was. Its remedy array is kept between calls.
Symptom SptScratch;
bool SptScratchReady = false;

Symptom &Scratch() {
  if (!SptScratchReady) {
    memset(&SptScratch, 0, sizeof SptScratch);
    SptScratch.CursorState = 0xff;
    SptScratchReady = true;
  }
  return SptScratch;
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsBlank(char c) {
  return c == ' ';
}

// Copies the text between [from, to) into a level, with or without the
// blanks around it. Answers false when it does not fit a symptom text.
bool TakeLevel(const char *from, const char *to, bool trim,
               char level[kSptLevelSize]) {
  if (trim) {
    while (from < to && IsBlank(*from))
      ++from;
    while (to > from && IsBlank(to[-1]))
      --to;
  }
  size_t n = static_cast<size_t>(to - from);
  if (n >= static_cast<size_t>(kSptLevelSize))
    return false;
  memcpy(level, from, n);
  level[n] = '\0';
  return true;
}

// Splits at the separators of either full form; `loose` also takes a bare
// 0x02 as a separator and trims the blanks around every level.
int SplitPath(const char *path, char levels[kSptMaxLevels][kSptLevelSize],
              int *count, bool loose) {
  *count = 0;
  if (path == nullptr)
    return 1;
  size_t len = strlen(path);
  if (len == 0)
    return 1;
  const char *last = path + len - 1;
  const char *begin = path;
  for (const char *p = path; p <= last; ++p) {
    bool cut = false;
    const char *levelEnd = p;
    const char *next = p + 1;
    if (SptIsLevelSeparator(p, path, last)) {
      cut = true;
      levelEnd = p - 1; // the blank before the separator
      next = p + 2;     // behind the blank after it
    } else if (loose && *p == kSptSeparator) {
      cut = true;
    }
    if (!cut)
      continue;
    if (*count >= kSptMaxLevels ||
        !TakeLevel(begin, levelEnd, loose, levels[*count]))
      return 1;
    ++*count;
    begin = next;
    p = next - 1;
  }
  if (*count >= kSptMaxLevels ||
      !TakeLevel(begin, path + len, loose, levels[*count]))
    return 1;
  ++*count;
  return 0;
}

void SetText(Symptom &s, int language, const char *text) {
  StrCopy(language == 2 ? s.Text2 : s.Text1, text);
}

int Resolve(TblHandle symptoms, int language, const char *path, uint32_t *num,
            uint16_t *sub, bool loose) {
  char levels[kSptMaxLevels][kSptLevelSize];
  int count = 0;
  if (symptoms == 0 || SplitPath(path, levels, &count, loose) != 0) {
    OrvixError = kErrEnd;
    return kErrEnd;
  }
  int key = language == 2 ? 3 : 1;
  Symptom &s = Scratch();
  uint32_t parentNum = 0;
  uint16_t parentSub = 0;
  for (int i = 0; i < count; ++i) {
    s.ParentNum = parentNum;
    s.ParentSub = parentSub;
    SetText(s, language, levels[i]);
    int rc = TblFindFullSymptom(symptoms, &s, key, kFindEqual);
    if (rc != 0 && loose) {
      s.ParentNum = parentNum;
      s.ParentSub = parentSub;
      SetText(s, language, levels[i]);
      rc = TblFindFullSymptomByText(symptoms, &s, key, kFindEqual);
    }
    if (rc != 0) {
      if (OrvixError == 0)
        OrvixError = kErrEnd;
      return OrvixError;
    }
    parentNum = s.Num;
    parentSub = s.Sub;
  }
  *num = parentNum;
  *sub = parentSub;
  OrvixError = 0;
  return 0;
}

int BuildPath(TblHandle symptoms, int language, char *buffer, uint32_t num,
              uint16_t sub, size_t size, const char *joiner) {
  if (buffer == nullptr || size == 0)
    return kErrEnd;
  buffer[0] = '\0';
  if (symptoms == 0) {
    OrvixError = kErrEnd;
    return kErrEnd;
  }
  char levels[kSptMaxLevels][kSptLevelSize];
  int count = 0;
  Symptom &s = Scratch();
  s.Num = num;
  s.Sub = sub;
  for (;;) {
    if (TblFindFullSymptom(symptoms, &s, 0, kFindEqual) != 0 ||
        count >= kSptMaxLevels) {
      // A parent chain longer than the deepest tree is a damaged table.
      if (OrvixError == 0)
        OrvixError = kErrEnd;
      return OrvixError;
    }
    StrCopy(levels[count++], language == 2 ? s.Text2 : s.Text1);
    if (s.ParentNum == 0)
      break;
    s.Num = s.ParentNum;
    s.Sub = s.ParentSub;
  }
  for (int i = count - 1; i >= 0; --i) {
    StrAppend(buffer, size, levels[i]);
    if (i > 0)
      StrAppend(buffer, size, joiner);
  }
  OrvixError = 0;
  return 0;
}

} // namespace

int SptIsLevelSeparator(const char *pos, const char *start, const char *last) {
  if (pos == nullptr || start == nullptr || last == nullptr || pos <= start ||
      pos >= last)
    return 0;
  if (*pos != '-' && *pos != kSptSeparator)
    return 0;
  if (!IsBlank(pos[-1]) || !IsBlank(pos[1]))
    return 0;
  if (pos - 2 < start || pos + 2 > last)
    return 1;
  return IsDigit(pos[-2]) && IsDigit(pos[2]) ? 0 : 1;
}

int SptSplitPath(const char *path, char levels[kSptMaxLevels][kSptLevelSize],
                 int *count) {
  return SplitPath(path, levels, count, false);
}

int GetSptNumFromExactText(TblHandle symptoms, int language, const char *path,
                           uint32_t *num, uint16_t *sub) {
  return Resolve(symptoms, language, path, num, sub, false);
}

int GetSptNumFromText(TblHandle symptoms, int language, const char *path,
                      uint32_t *num, uint16_t *sub) {
  return Resolve(symptoms, language, path, num, sub, true);
}

int GetLevelsFromSptNum(TblHandle symptoms, int language, char *buffer,
                        uint32_t num, uint16_t sub, size_t size) {
  static const char kJoin[] = {' ', kSptSeparator, ' ', '\0'};
  return BuildPath(symptoms, language, buffer, num, sub, size, kJoin);
}

int GetTextFromSptNum(TblHandle symptoms, int language, char *buffer,
                      uint32_t num, uint16_t sub, size_t size) {
  return BuildPath(symptoms, language, buffer, num, sub, size, " - ");
}
