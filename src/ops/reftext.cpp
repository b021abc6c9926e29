#include "ops/reftext.h"

#include "platform/cp1252.h"
#include "platform/strutil.h"
#include "store/sptpath.h"

#include <algorithm>
#include <cstring>

namespace {

// The symptom records of these routines: the handlers' SymptomRecord is
// left alone, so a handler that normalises keeps its symptom in hand.
Symptom &Scratch() {
  static Symptom s;
  s.CursorState = 0xff;
  return s;
}

bool IsLevelDigit(char c) {
  return c >= '1' && c <= '9';
}

std::string Upper(std::string s) {
  DbToUpper(s.data());
  return s;
}

std::string Lower(std::string s) {
  DbToLower(s.data());
  return s;
}

const char *TextOf(const Symptom &s, int language) {
  return language == 1 ? s.Text2 : s.Text1;
}

// The source of a list: its ancestors by level (the symptom itself at its
// own level) and its chapter.
struct Source {
  uint32_t num[kSptMaxLevels + 1] = {};
  uint16_t sub[kSptMaxLevels + 1] = {};
  int level = 0;
  uint8_t chapter = 0;
};

int LoadSource(TblHandle symptoms, uint32_t num, uint16_t sub, Source *src) {
  Symptom &s = Scratch();
  TblClearSymptom(&s);
  s.Num = num;
  s.Sub = sub;
  if (TblFindFullSymptom(symptoms, &s, 0, kFindEqual) != 0 || OrvixError != 0)
    return 1;
  src->level = std::clamp<int>(s.Level, 1, kSptMaxLevels);
  src->chapter = s.Chapter;
  int level = src->level;
  for (;;) {
    src->num[level] = s.Num;
    src->sub[level] = s.Sub;
    if (level <= 1 || (s.ParentNum == 0 && s.ParentSub == 0))
      break;
    uint32_t pn = s.ParentNum;
    uint16_t ps = s.ParentSub;
    TblClearSymptom(&s);
    s.Num = pn;
    s.Sub = ps;
    if (TblFindFullSymptom(symptoms, &s, 0, kFindEqual) != 0 || OrvixError != 0)
      return 1;
    --level;
  }
  return 0;
}

// The parts of a path: cut at " - " between levels (the system's rule for
// level separators, so "3 - 5 h" stays one text), except inside an open
// parenthesis. Blanks are cut from both ends of each part.
std::vector<std::string> SplitParts(const char *path) {
  std::vector<std::string> parts;
  size_t n = strlen(path);
  if (n == 0)
    return parts;
  const char *last = path + n - 1;
  std::string part;
  int depth = 0;
  auto push = [&]() {
    size_t b = part.find_first_not_of(' ');
    size_t e = part.find_last_not_of(' ');
    parts.push_back(b == std::string::npos ? "" : part.substr(b, e - b + 1));
    part.clear();
  };
  for (const char *p = path; *p != '\0'; ++p) {
    if (*p == '(')
      ++depth;
    else if (*p == ')' && depth > 0)
      --depth;
    if (*p == '-' && depth == 0 && p > path && p[-1] == ' ' && p[1] == ' ' &&
        SptIsLevelSeparator(p, path, last) != 0) {
      push();
      ++p; // the blank behind the dash
      continue;
    }
    part += *p;
  }
  push();
  return parts;
}

// The child of (pn, ps) that a part names: the first whose text, in
// capitals, begins with the part in capitals. Found into Scratch().
bool FindChild(TblHandle symptoms, uint32_t pn, uint16_t ps,
               const std::string &part, int language) {
  if (part.empty() || part.size() >= sizeof(Symptom::Text1))
    return false;
  Symptom &s = Scratch();
  TblClearSymptom(&s);
  s.ParentNum = pn;
  s.ParentSub = ps;
  StrCopy(language == 1 ? s.Text2 : s.Text1, part.c_str());
  if (TblFindFullSymptomByText(symptoms, &s, language == 1 ? 3 : 1,
                               kFindAtOrAfter) != 0 ||
      OrvixError != 0)
    return false;
  if (s.ParentNum != pn || s.ParentSub != ps)
    return false;
  return Upper(TextOf(s, language)).compare(0, part.size(), Upper(part)) == 0;
}

// The level at which an entry with digit d starts below the source: its
// parent's level (0 for the root).
int StartLevel(int digit, const Source &src) {
  return digit < 2 ? 0 : std::min(digit - 1, src.level);
}

// The last reference a bad destination was reported for.
std::string LastReported;

void SourcePath(TblHandle symptoms, uint32_t num, uint16_t sub, char *out,
                size_t cap) {
  if (GetTextFromSptNum(symptoms, 1, out, num, sub, cap) != 0)
    StrFormat(out, cap, "%u.%u", num, sub);
}

// RefResolve, with the target's chapter beside.
int Resolve(TblHandle symptoms, uint32_t num, uint16_t sub,
            const char *reference, int language, FILE *report,
            const char *label, uint32_t *outNum, uint16_t *outSub,
            uint8_t *chapter) {
  char path[kSptPathSize];
  std::vector<std::string> parts;
  if (IsLevelDigit(reference[0]))
    parts = SplitParts(reference + 1);
  bool empty = parts.empty() ||
               std::any_of(parts.begin(), parts.end(),
                           [](const std::string &p) { return p.empty(); });
  if (empty) {
    if (report != nullptr) {
      SourcePath(symptoms, num, sub, path, sizeof path);
      fprintf(report, "Syntax of %s   : %s (%s)\n", label, path, reference);
    }
    return 1;
  }
  Source src;
  if (LoadSource(symptoms, num, sub, &src) != 0)
    return 1;
  int start = StartLevel(reference[0] - '0', src);
  uint32_t pn = start == 0 ? 0 : src.num[start];
  uint16_t ps = start == 0 ? 0 : src.sub[start];
  for (const std::string &part : parts) {
    if (!FindChild(symptoms, pn, ps, part, language)) {
      if (report != nullptr && LastReported != reference) {
        LastReported = reference;
        SourcePath(symptoms, num, sub, path, sizeof path);
        fprintf(report, "Bad destination %s : %s (%s)\n", label, path,
                reference);
      }
      return 1;
    }
    pn = Scratch().Num;
    ps = Scratch().Sub;
  }
  *outNum = pn;
  *outSub = ps;
  if (chapter != nullptr)
    *chapter = Scratch().Chapter;
  return 0;
}

// A level text in the case of its place.
std::string CaseOfLevel(const char *stored, int level, int caseMode) {
  if (caseMode == kRefCaseStored)
    return stored;
  std::string t = Lower(stored);
  bool capital = level == 2 || (level == 3 && caseMode == kRefCaseLevel3);
  if (level == 1)
    t = Upper(t);
  else if (capital && !t.empty())
    t = Upper(t.substr(0, 1)) + t.substr(1);
  return t;
}

std::string NormalizeEntry(TblHandle symptoms, const Source &src,
                           const std::string &entry, int language,
                           int caseMode) {
  if (entry.empty() || !IsLevelDigit(entry[0]))
    return entry;
  std::vector<std::string> parts = SplitParts(entry.c_str() + 1);
  if (parts.empty())
    return entry;
  int parent = StartLevel(entry[0] - '0', src);
  uint32_t pn = parent == 0 ? 0 : src.num[parent];
  uint16_t ps = parent == 0 ? 0 : src.sub[parent];
  int digit = parent + 1;
  bool resolving = true;
  std::vector<std::string> out;
  for (size_t i = 0; i < parts.size(); ++i) {
    int level = parent + 1 + static_cast<int>(i);
    if (resolving && FindChild(symptoms, pn, ps, parts[i], language)) {
      const Symptom &s = Scratch();
      pn = s.Num;
      ps = s.Sub;
      // A leading level that is the source's own ancestor is not written;
      // the digit says it. A digit stays one digit.
      if (out.empty() && i + 1 < parts.size() && level <= src.level &&
          s.Num == src.num[level] && s.Sub == src.sub[level] && level < 9) {
        digit = level + 1;
        continue;
      }
      out.push_back(CaseOfLevel(TextOf(s, language), level, caseMode));
    } else {
      resolving = false;
      out.push_back(parts[i]);
    }
  }
  std::string result(1, static_cast<char>('0' + digit));
  for (size_t i = 0; i < out.size(); ++i) {
    if (i > 0)
      result += " - ";
    result += out[i];
  }
  return result;
}

} // namespace

void RefForgetReported() {
  LastReported.clear();
}

bool RefIsList(const char *text) {
  return text != nullptr && IsLevelDigit(text[0]);
}

std::string RefWordsOf(const char *field) {
  if (field == nullptr || field[0] == '\0' || RefIsList(field))
    return "";
  size_t n = strlen(field);
  if (n >= 4 && strncmp(field, "(= ", 3) == 0 && field[n - 1] == ')')
    return std::string(field + 3, n - 4);
  return field;
}

int RefResolve(TblHandle symptoms, uint32_t num, uint16_t sub,
               const char *reference, int language, FILE *report,
               const char *label, uint32_t *outNum, uint16_t *outSub) {
  if (reference == nullptr)
    return 1;
  return Resolve(symptoms, num, sub, reference, language, report,
                 label != nullptr ? label : "", outNum, outSub, nullptr);
}

int RefSplitList(const char *list, std::vector<std::string> *entries) {
  if (entries != nullptr)
    entries->clear();
  if (list == nullptr)
    return 0;
  // Where an entry may begin: past "/" and blanks, a level digit or the end.
  auto startsEntry = [](const char *q) {
    while (*q == '/' || *q == ' ')
      ++q;
    return *q == '\0' || IsLevelDigit(*q);
  };
  int count = 0;
  const char *p = list;
  while (*p == '/' || *p == ' ')
    ++p;
  while (*p != '\0') {
    const char *end = p;
    while (*end != '\0' &&
           !(end[0] == '/' && end[1] == ' ' && startsEntry(end + 1)))
      ++end;
    std::string e(p, static_cast<size_t>(end - p));
    size_t b = e.find_first_not_of(' ');
    e = b == std::string::npos ? "" : e.substr(b);
    while (!e.empty() &&
           (e.back() == ' ' || e.back() == '-' || e.back() == '/'))
      e.pop_back();
    if (!e.empty()) {
      ++count;
      if (entries != nullptr)
        entries->push_back(e);
    }
    p = end;
    while (*p == '/' || *p == ' ')
      ++p;
  }
  return count;
}

bool RefSortList(std::vector<std::string> *entries) {
  std::vector<std::string> before = *entries;
  std::stable_sort(entries->begin(), entries->end(),
                   [](const std::string &a, const std::string &b) {
                     unsigned char ca = a.empty() ? 0 : a[0];
                     unsigned char cb = b.empty() ? 0 : b[0];
                     if (ca != cb)
                       return ca > cb;
                     std::string ra = a.empty() ? a : Upper(a.substr(1));
                     std::string rb = b.empty() ? b : Upper(b.substr(1));
                     return ra < rb;
                   });
  return before != *entries;
}

void RefDropDuplicates(std::vector<std::string> *entries) {
  std::vector<std::string> kept;
  for (size_t i = 0; i < entries->size(); ++i) {
    bool later = false;
    for (size_t j = i + 1; j < entries->size() && !later; ++j)
      later = (*entries)[j] == (*entries)[i];
    if (!later)
      kept.push_back((*entries)[i]);
  }
  *entries = std::move(kept);
}

std::string RefJoinList(const std::vector<std::string> &entries) {
  std::string out;
  for (const std::string &e : entries) {
    if (e.empty())
      continue;
    if (!out.empty())
      out += kRefSeparator;
    out += e;
  }
  return out;
}

int RefNormalizeList(TblHandle symptoms, uint32_t num, uint16_t sub,
                     std::string *list, int language, int caseMode) {
  if (!RefIsList(list->c_str()))
    return 0;
  Source src;
  if (LoadSource(symptoms, num, sub, &src) != 0)
    return 1;
  std::vector<std::string> entries;
  RefSplitList(list->c_str(), &entries);
  for (std::string &e : entries)
    e = NormalizeEntry(symptoms, src, e, language, caseMode);
  *list = RefJoinList(entries);
  return 0;
}

void RefShortenList(TblHandle symptoms, uint32_t num, uint16_t sub,
                    std::vector<std::string> *entries, int language) {
  Source src;
  if (LoadSource(symptoms, num, sub, &src) != 0)
    return;
  char path[kSptPathSize];
  for (std::string &e : *entries) {
    uint32_t tn;
    uint16_t ts;
    uint8_t chapter = 0;
    if (Resolve(symptoms, num, sub, e.c_str(), language, nullptr, "", &tn, &ts,
                &chapter) != 0 &&
        Resolve(symptoms, num, sub, Lower(e).c_str(), language, nullptr, "",
                &tn, &ts, &chapter) != 0)
      continue;
    if (e.find(" - ") == std::string::npos)
      continue;
    if (GetTextFromSptNum(symptoms, language + 1, path, tn, ts, sizeof path) !=
        0)
      continue;
    const char *below = strstr(path, " - ");
    if (chapter == src.chapter && below != nullptr)
      e = std::string("2") + (below + 3);
    else
      e = std::string("1") + path;
  }
}
