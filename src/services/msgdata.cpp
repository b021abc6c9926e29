#include "services/msgdata.h"

#include "platform/strutil.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <set>

namespace {

// ------------------------------------------------------------ problems

void AddProblem(MsgDataSet *set, const char *file, int line, const char *fmt,
                ...) __attribute__((format(printf, 4, 5)));

void AddProblem(MsgDataSet *set, const char *file, int line, const char *fmt,
                ...) {
  char what[400];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(what, sizeof what, fmt, ap);
  va_end(ap);
  char full[512];
  if (line > 0)
    StrFormat(full, "%s:%d: %s", file, line, what);
  else
    StrFormat(full, "%s: %s", file, what);
  set->Problems.push_back(full);
}

// ------------------------------------------------------------ code page

// Code page 1252 bytes 0x80 to 0x9F; 0 marks a byte the code page leaves
// undefined.
const uint16_t kCp1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

// Decodes one UTF-8 character at *p; answers the code point or -1.
long DecodeUtf8(const unsigned char *&p) {
  unsigned c = *p++;
  if (c < 0x80)
    return c;
  int more;
  long cp;
  if (c >= 0xC2 && c <= 0xDF) {
    more = 1;
    cp = c & 0x1F;
  } else if (c >= 0xE0 && c <= 0xEF) {
    more = 2;
    cp = c & 0x0F;
  } else if (c >= 0xF0 && c <= 0xF4) {
    more = 3;
    cp = c & 0x07;
  } else {
    return -1;
  }
  for (int i = 0; i < more; i++) {
    if ((*p & 0xC0) != 0x80)
      return -1;
    cp = (cp << 6) | (*p++ & 0x3F);
  }
  static const long kLeast[4] = {0, 0x80, 0x800, 0x10000};
  if (cp < kLeast[more] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
    return -1;
  return cp;
}

int Cp1252Of(long cp) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF))
    return static_cast<int>(cp);
  for (int i = 0; i < 32; i++)
    if (kCp1252High[i] != 0 && kCp1252High[i] == cp)
      return 0x80 + i;
  return -1;
}

// ------------------------------------------------------------ small text

bool StartsWith(const char *s, const char *prefix) {
  return strncmp(s, prefix, strlen(prefix)) == 0;
}

const char *SkipBlanks(const char *p) {
  while (*p == ' ' || *p == '\t')
    p++;
  return p;
}

void TrimRight(char *s) {
  size_t n = strlen(s);
  while (n > 0 && (s[n - 1] == ' ' || s[n - 1] == '\t' || s[n - 1] == '\r'))
    s[--n] = 0;
}

// Turns the escapes of the file format into bytes. Answers 0, or the
// offending character of an unknown escape.
int Unescape(const char *in, char *out, size_t cap) {
  size_t n = 0;
  for (const char *p = in; *p; p++) {
    char c = *p;
    if (c == '\\') {
      switch (p[1]) {
      case '\\':
        c = '\\';
        break;
      case 's':
        c = ' ';
        break;
      case 'n':
        c = '\n';
        break;
      default:
        return p[1] ? p[1] : '\\';
      }
      p++;
    }
    if (n + 1 < cap)
      out[n++] = c;
  }
  out[n] = 0;
  return 0;
}

// ------------------------------------------------------------ the index

using MsgIndex = std::map<uint32_t, const MsgDataEntry *>;

uint32_t KeyOf(int number, int language) {
  return (static_cast<uint32_t>(language) << 16) |
         static_cast<uint32_t>(number);
}

const MsgDataEntry *Lookup(const MsgIndex &ix, int number, int language) {
  auto it = ix.find(KeyOf(number, language));
  return it == ix.end() ? nullptr : it->second;
}

const char *TextOf(const MsgIndex &ix, int number, int language) {
  const MsgDataEntry *e = Lookup(ix, number, language);
  return e ? e->Text : nullptr;
}

// ------------------------------------------------------------ text form
//
// The text form of a log entry prints labels from the table and reads them
// back by searching for them. The routines below write a heading line the
// way the writer does and find the operation and kinds the way the parser
// does, so that a set of texts that would confuse the parser is refused
// before it is shipped.

enum {
  kOpNameBase = 2628,    // name of operation c is 2628 + c
  kOpSynonymList = 3102, // second name of operation 6
  kNoteKindBase = 2609,  // 2609 + kind (+ 3 on a remedy)
  kSplitBase = 3208,
  kMergeBase = 3211,
  kMoveBase = 3223,
  kTreeMark = 3253,
  kMoveTarget = 3254,
  kDegreeWord = 3114,
  kAfterWord = 3115,
  kFooter = 2729,
  kLinkLine = 3423,
};

// The heading line of an entry with operation `code` in `language`,
// as the writer prints it (sample values for the fields). `name` is the
// message of the name (2628 + code, or 3102). Answers false when a text it
// needs is missing in that language.
bool HeadingLine(const MsgIndex &ix, int language, int code, int name, int kind,
                 bool onRemedy, char *out, size_t cap) {
  const char *n = TextOf(ix, name, language);
  if (!n)
    return false;
  StrCopy(out, cap, n);
  auto text = [&](int number) { return TextOf(ix, number, language); };
  switch (code) {
  case 1:
    if (!text(kDegreeWord))
      return false;
    StrAppendFormat(out, cap, ": %s  %s [%s] %s %s  %s [%s] (%ld/%d) Lg. %s",
                    "Acon.", "3", "hahn", text(kDegreeWord), "Acon.", "2",
                    "hahn", 12L, 3, "0");
    break;
  case 2:
  case 3:
  case 14:
  case 15:
    StrAppendFormat(out, cap, ": %s  %s [%s] (%ld/%d)  Lg. %s", "Acon.", "2",
                    "hahn", 12L, 3, "0");
    break;
  case 4: {
    int t = kind + (onRemedy ? 3 : 0);
    if (!text(kNoteKindBase + t))
      return false;
    if (onRemedy)
      StrAppendFormat(out, cap, ": %s  %s [%s] (%ld/%d)", "Acon.", "2", "hahn",
                      12L, 3);
    StrAppendFormat(out, cap, " - %s   Lg. %s", text(kNoteKindBase + t), "0");
    break;
  }
  case 7:
    StrAppendFormat(out, cap, " (%ld/%d)  Lg. %s", 12L, 3, "0");
    break;
  case 8:
    if (!text(kAfterWord))
      return false;
    StrAppendFormat(out, cap, " %s '%s' (%ld/%d)   Lg. %s", text(kAfterWord),
                    "fear", 12L, 3, "0");
    break;
  case 10:
    if (!text(kTreeMark))
      return false;
    StrAppendFormat(out, cap, " - %s  Lg. %s", text(kTreeMark), "0");
    break;
  case 11:
  case 12:
  case 13: {
    int base = code == 11 ? kMoveBase : code == 12 ? kSplitBase : kMergeBase;
    if (!text(base + kind) || !text(kTreeMark))
      return false;
    StrAppendFormat(out, cap, " (%ld/%d) - %s", 12L, 3, text(base + kind));
    StrAppendFormat(out, cap, code == 11 ? " - %s  Lg. %s" : " - %s   Lg. %s",
                    text(kTreeMark), "0");
    break;
  }
  case 16:
  case 17:
    StrAppendFormat(out, cap, "  Lg. %s", "0");
    break;
  case 5:
  case 6:
  case 9:
  case 18:
    StrAppendFormat(out, cap, " (%ld/%d)   Lg. %s", 12L, 3, "0");
    break;
  default:
    StrAppendFormat(out, cap, " (%ld/%d)  Lg. %s", 12L, 3, "0");
    break;
  }
  return true;
}

// The parser's recognition of a heading: language by language, each name
// of the run 2629 to 2647 that begins the line, the later number winning;
// then the second name of operation 6.
int RecogniseOperation(const MsgIndex &ix, const std::set<int> &languages,
                       const char *line, int *language) {
  for (int l : languages) {
    int op = 0;
    for (int m = kOpNameBase + 1; m <= kOpNameBase + 19; m++) {
      const char *t = TextOf(ix, m, l);
      if (t && *t && StartsWith(line, t))
        op = m - kOpNameBase;
    }
    if (op == 0) {
      const char *t = TextOf(ix, kOpSynonymList, l);
      if (t && *t && StartsWith(line, t))
        op = 6;
    }
    if (op != 0) {
      *language = l;
      return op;
    }
  }
  *language = 0;
  return 0;
}

// Which of the messages first..last (each cut by `cut` bytes at its end)
// stand in the line: answers the last one found, and their count.
int FindKinds(const MsgIndex &ix, int language, int first, int last, int cut,
              const char *line, int *count) {
  int found = 0;
  *count = 0;
  for (int m = first; m <= last; m++) {
    const char *t = TextOf(ix, m, language);
    if (!t)
      continue;
    char probe[kMsgTextMax + 1];
    StrCopy(probe, t);
    size_t n = strlen(probe);
    probe[n > static_cast<size_t>(cut) ? n - cut : 0] = 0;
    if (*probe && strstr(line, probe)) {
      found = m;
      (*count)++;
    }
  }
  return found;
}

void CheckHeadings(MsgDataSet *set, const MsgIndex &ix,
                   const std::set<int> &languages) {
  char line[600];
  for (int l : languages) {
    // Every operation name, and the second name of operation 6.
    for (int code = 1; code <= 20; code++) {
      int name = code == 20 ? kOpSynonymList : kOpNameBase + code;
      int op = code == 20 ? 6 : code;
      const MsgDataEntry *e = Lookup(ix, name, l);
      if (!e)
        continue;
      if (!HeadingLine(ix, l, op, name, 1, true, line, sizeof line))
        StrFormat(line, sizeof line, "%s (%ld/%d)  Lg. %s", e->Text, 12L, 3,
                  "0");
      int found = 0;
      int got = RecogniseOperation(ix, languages, line, &found);
      if (got != op || found != l)
        AddProblem(set, e->File, e->Line,
                   "%d: a heading \"%s\" reads back as operation %d of "
                   "language %d, not %d of language %d",
                   e->Number, e->Text, got, found, op, l);
      // A heading of the second name also must not start with a name of
      // another operation in any language, whichever way round the parser
      // tries them.
      if (code == 20)
        for (int l2 : languages)
          for (int c = 1; c <= 19; c++) {
            const char *t = TextOf(ix, kOpNameBase + c, l2);
            if (c != 6 && t && *t && StartsWith(line, t))
              AddProblem(set, e->File, e->Line,
                         "%d: begins with the name of operation %d "
                         "(language %d)",
                         e->Number, c, l2);
          }
    }
    // Note kinds: symptom notes search 2610 to 2614, remedy notes 2613 to
    // 2617; the last one found gives the kind.
    for (int onRemedy = 0; onRemedy <= 1; onRemedy++)
      for (int kind = 1; kind <= 5; kind++) {
        int number = kNoteKindBase + kind + (onRemedy ? 3 : 0);
        const MsgDataEntry *e = Lookup(ix, number, l);
        if (!e || !HeadingLine(ix, l, 4, kOpNameBase + 4, kind, onRemedy, line,
                               sizeof line))
          continue;
        int first = strchr(line, ':') ? 2613 : 2610;
        int count = 0;
        int got = FindKinds(ix, l, first, first + 4, 0, line, &count);
        if (got != number)
          AddProblem(set, e->File, e->Line,
                     "%d: the note heading \"%s\" reads back as kind %d, "
                     "not %d",
                     e->Number, line, got ? got - first + 1 : 0, kind);
      }
    // Kinds of move, split and merge: exactly their own text is found.
    struct {
      int code, base, kinds, cut;
    } const runs[] = {
        {11, kMoveBase, 4, 0}, {12, kSplitBase, 3, 5}, {13, kMergeBase, 3, 0}};
    for (const auto &r : runs)
      for (int kind = 1; kind <= r.kinds; kind++) {
        const MsgDataEntry *e = Lookup(ix, r.base + kind, l);
        if (!e)
          continue;
        if (strlen(e->Text) <= static_cast<size_t>(r.cut)) {
          AddProblem(set, e->File, e->Line,
                     "%d: is searched without its last %d characters, so it "
                     "needs more than %d",
                     e->Number, r.cut, r.cut);
          continue;
        }
        if (!HeadingLine(ix, l, r.code, kOpNameBase + r.code, kind, false, line,
                         sizeof line))
          continue;
        int count = 0;
        int got =
            FindKinds(ix, l, r.base + 1, r.base + r.kinds, r.cut, line, &count);
        if (count != 1 || got != r.base + kind)
          AddProblem(set, e->File, e->Line,
                     "%d: in the heading \"%s\" the parser finds %d kind "
                     "texts, not just this one",
                     e->Number, line, count);
      }
  }
}

// The footer: "label: number   label: date   label: hh:mm:ss   label: tag"
// and "   Id: n" behind it. The parser finds the line by the first 15
// characters of the message and the values by their ":".
void CheckFooter(MsgDataSet *set, const MsgIndex &ix, int l) {
  const MsgDataEntry *e = Lookup(ix, kFooter, l);
  if (!e)
    return;
  if (strcmp(e->Signature, "%ld %s %s %d") != 0)
    return; // told by the signature check
  if (strlen(e->Text) < 15 || memchr(e->Text, '%', 15)) {
    AddProblem(set, e->File, e->Line,
               "%d: the first 15 characters find the footer line, so they "
               "must be plain text",
               e->Number);
    return;
  }
  char line[300];
  StrFormat(line, sizeof line, e->Text, 12345L, "01.02.2024", "10:20:30", 7);
  StrAppendFormat(line, "   Id: %ld", 4711L);
  const char *p = strchr(line, ':');
  long number = p ? atol(p + 1) : -1;
  char date[40] = "";
  if (p && (p = strchr(p + 1, ':')) != nullptr && p[1]) {
    StrCopy(date, p + 2);
    char *blank = strchr(date, ' ');
    if (blank)
      *blank = 0;
  }
  int tag = -1;
  long id = -1;
  if (p && (p = strchr(p + 1, ':')) != nullptr &&
      strlen(p) > 8) { // the time: two characters, then six, skipped
    p += 8;
    if ((p = strchr(p, ':')) != nullptr) {
      tag = atoi(p + 1);
      if ((p = strchr(p + 1, ':')) != nullptr)
        id = atol(p + 1);
    }
  }
  if (number != 12345 || strcmp(date, "01.02.2024") != 0 || tag != 7 ||
      id != 4711)
    AddProblem(set, e->File, e->Line,
               "%d: the footer \"%s\" reads back as number %ld, date \"%s\", "
               "user %d, id %ld; each label needs one \":\" and one blank "
               "before its value",
               e->Number, line, number, date, tag, id);
  for (const auto &[key, other] : ix)
    if (other->Language == l && other != e &&
        strncmp(other->Text, e->Text, 15) == 0)
      AddProblem(set, other->File, other->Line,
                 "%d: begins like the footer %d and would end a symptom path",
                 other->Number, kFooter);
}

// "Link type: %s  Title: '%s'  File: '%s'": the type behind the first ": ",
// title and file in the first two quoted texts.
void CheckLinkLine(MsgDataSet *set, const MsgIndex &ix, int l) {
  const MsgDataEntry *e = Lookup(ix, kLinkLine, l);
  if (!e || strcmp(e->Signature, "%s %s %s") != 0)
    return;
  char line[300];
  StrFormat(line, sizeof line, e->Text, "3", "Arnica", "arnica.jpg");
  const char *p = strstr(line, ": ");
  int type = p ? atoi(p + 2) : -1;
  char quoted[2][100] = {"", ""};
  const char *q = line;
  for (int i = 0; i < 2 && q; i++) {
    const char *open = strchr(q, '\'');
    const char *close = open ? strchr(open + 1, '\'') : nullptr;
    if (!close)
      break;
    size_t n = static_cast<size_t>(close - open - 1);
    if (n >= sizeof quoted[i])
      n = sizeof quoted[i] - 1;
    memcpy(quoted[i], open + 1, n);
    quoted[i][n] = 0;
    q = close + 1;
  }
  if (type != 3 || strcmp(quoted[0], "Arnica") != 0 ||
      strcmp(quoted[1], "arnica.jpg") != 0)
    AddProblem(set, e->File, e->Line,
               "%d: the link line \"%s\" reads back as type %d, title \"%s\", "
               "file \"%s\"",
               e->Number, line, type, quoted[0], quoted[1]);
}

bool InList(int number, const int *list, size_t n) {
  for (size_t i = 0; i < n; i++)
    if (list[i] == number)
      return true;
  return false;
}

// Rules for single texts: characters the parsers split on, widths of the
// report columns, and the few texts of a fixed shape.
void CheckSingle(MsgDataSet *set, const MsgDataEntry &e) {
  const char *t = e.Text;
  size_t len = strlen(t);
  int n = e.Number;
  for (size_t i = 0; i < len; i++) {
    unsigned char c = static_cast<unsigned char>(t[i]);
    bool lastOfTarget = c == '\n' && n == kMoveTarget && i + 1 == len;
    if (c < 0x20 && !lastOfTarget) {
      AddProblem(set, e.File, e.Line, "%d: holds the control byte 0x%02X", n,
                 c);
      break;
    }
  }
  if (strstr(t, "----------"))
    AddProblem(set, e.File, e.Line,
               "%d: ten dashes in a row end an entry of the text form", n);
  bool heading = (n >= 2609 && n <= 2617) || (n >= 2629 && n <= 2647) ||
                 n == kOpSynonymList || n == kDegreeWord || n == kAfterWord ||
                 (n >= 3208 && n <= 3214) || (n >= 3223 && n <= 3227) ||
                 n == kTreeMark;
  bool label = n == 3116 || n == 3118 || n == 3119 || n == 3120 || n == 5511 ||
               n == 5512;
  if ((heading || label) && len == 0)
    AddProblem(set, e.File, e.Line,
               "%d: is searched for by the log text parser and can't be empty",
               n);
  if ((heading || label) && strchr(t, ':'))
    AddProblem(set, e.File, e.Line,
               "%d: the log text parser reads values behind \":\", so this "
               "label can't hold one",
               n);
  if (n == kAfterWord && strchr(t, '\''))
    AddProblem(set, e.File, e.Line,
               "%d: the symptom behind it stands between apostrophes, so it "
               "can't hold one",
               n);
  if (n == kDegreeWord && (strchr(t, '[') || strchr(t, ']')))
    AddProblem(set, e.File, e.Line,
               "%d: authors stand between brackets, so it can't hold one", n);
  if (n == 3119 && len < 10)
    AddProblem(set, e.File, e.Line,
               "%d: the parser compares its first ten characters, so it needs "
               "ten",
               n);
  if (n == kMoveTarget && (len < 2 || t[len - 1] != '\n'))
    AddProblem(set, e.File, e.Line,
               "%d: ends with a line end (\\n), so that an empty line follows "
               "it in the text form",
               n);
  if (n == 3150 && (len < 6 || t[4] != ' '))
    AddProblem(set, e.File, e.Line,
               "%d: is shown from its sixth character on; its first five are "
               "a tag that ends in a blank",
               n);
  // The arguments that the log run, its reports and the text form pass
  // are fixed by their callers; a text can't ask for others.
  static const struct {
    int number;
    const char *signature;
  } kFixed[] = {{2729, "%ld %s %s %d"},
                {2733, "%s %s"},
                {2734, "%s %s %s %s"},
                {2742, "%s %s %s"},
                {2747, "%s %s %s %s %s"},
                {2748, "%s"},
                {2749, "%s"},
                {2757, "%s"},
                {2758, "%s"},
                {2759, "%s"},
                {2763, "%s"},
                {2764, "%s"},
                {3423, "%s %s %s"},
                {5072, "%s %s"},
                {5510, "%s %s"}};
  for (const auto &f : kFixed)
    if (f.number == n && strcmp(e.Signature, f.signature) != 0)
      AddProblem(set, e.File, e.Line,
                 "%d: the text form passes \"%s\" to this message", n,
                 f.signature);
  static const int kColumns[] = {3198, 3199, 3200, 5549};
  if (InList(n, kColumns, std::size(kColumns)) && len > 8)
    AddProblem(set, e.File, e.Line,
               "%d: a column head of the statistics shows 8 characters", n);
  if (n >= 2629 && n <= 2647 && len > 40)
    AddProblem(set, e.File, e.Line,
               "%d: a row label of the statistics shows 40 characters", n);
  static const int kReportCodes[] = {
      2628, 2736, 2737, 2738, 2739, 2740, 2741, 2743, 2745, 2749,
      2750, 2751, 2762, 2767, 2769, 2770, 2771, 2805, 2809, 2810,
      2811, 3218, 3228, 3422, 3425, 3430, 3431, 5071, 5073, 5074,
      5364, 5402, 5513, 5544, 5546, 5547, 5552, 5612, 5907, 5908};
  if (InList(n, kReportCodes, std::size(kReportCodes)) && len > 80)
    AddProblem(set, e.File, e.Line,
               "%d: a report code of the statistics shows 80 characters", n);
}

// Reads the language line "language N"; answers N, or 0 when the line
// isn't one.
int LanguageLine(const char *s) {
  if (!StartsWith(s, "language"))
    return 0;
  const char *p = SkipBlanks(s + 8);
  if (p == s + 8 || *p < '0' || *p > '9')
    return -1;
  char *end = nullptr;
  long n = strtol(p, &end, 10);
  if (*SkipBlanks(end) != 0 || n < 1 || n > kMsgLanguageMax)
    return -1;
  return static_cast<int>(n);
}

// One data line "NUMBER | SIGNATURE | TEXT" (language 1) or
// "NUMBER | TEXT".
void ReadDataLine(MsgDataSet *set, const char *name, int lineNo, int language,
                  const char *s, std::map<uint32_t, size_t> *seen) {
  char *end = nullptr;
  long number = strtol(s, &end, 10);
  if (end == s) {
    AddProblem(set, name, lineNo, "a line begins with its message number");
    return;
  }
  const char *p = SkipBlanks(end);
  if (*p != '|') {
    AddProblem(set, name, lineNo, "\"|\" must follow the message number");
    return;
  }
  if (number < 1 || number > kMsgNumberMax) {
    AddProblem(set, name, lineNo, "message number %ld is not in 1 to %d",
               number, kMsgNumberMax);
    return;
  }
  p++;
  char signature[kMsgLineMax] = "";
  if (language == 1) {
    const char *bar = strchr(p, '|');
    if (!bar) {
      AddProblem(set, name, lineNo,
                 "%ld: English lines have three columns: number | "
                 "conversions | text",
                 number);
      return;
    }
    size_t n = static_cast<size_t>(bar - p);
    if (n >= sizeof signature)
      n = sizeof signature - 1;
    memcpy(signature, p, n);
    signature[n] = 0;
    p = bar + 1;
  }
  p = SkipBlanks(p);
  if (language != 1 && *p == '|') {
    AddProblem(set, name, lineNo,
               "%ld: only English lines have a column of conversions", number);
    return;
  }
  char raw[kMsgLineMax];
  int bad = Unescape(p, raw, sizeof raw);
  if (bad) {
    AddProblem(set, name, lineNo, "%ld: unknown escape \"\\%c\"", number, bad);
    return;
  }
  MsgDataEntry e{};
  e.Number = static_cast<uint16_t>(number);
  e.Language = static_cast<uint8_t>(language);
  e.Line = lineNo;
  StrCopy(e.File, name);
  char text[kMsgLineMax];
  int conv = MsgDataUtf8ToCp1252(raw, text, sizeof text);
  if (conv == 1) {
    AddProblem(set, name, lineNo, "%ld: the text is not UTF-8", number);
    return;
  }
  if (conv == 2) {
    AddProblem(set, name, lineNo,
               "%ld: the text holds a character that code page 1252 lacks",
               number);
    return;
  }
  if (strlen(text) > static_cast<size_t>(kMsgTextMax)) {
    AddProblem(set, name, lineNo,
               "%ld: the text is %zu bytes long; %d fit in a message", number,
               strlen(text), kMsgTextMax);
    return;
  }
  StrCopy(e.Text, text);
  if (MsgDataConversions(e.Text, e.Signature, sizeof e.Signature)) {
    AddProblem(set, name, lineNo,
               "%ld: the text holds a conversion that no message may have "
               "(write %%%% for a percent sign)",
               number);
    return;
  }
  if (language == 1) {
    char declared[kMsgSignatureMax];
    if (MsgDataConversions(signature, declared, sizeof declared)) {
      AddProblem(set, name, lineNo, "%ld: bad conversion column \"%s\"", number,
                 signature);
      return;
    }
    // The column holds conversions in their short form and nothing else.
    char column[kMsgLineMax];
    StrCopy(column, signature);
    for (char *tok = strtok(column, " \t"); tok; tok = strtok(nullptr, " \t")) {
      char one[kMsgSignatureMax];
      if (MsgDataConversions(tok, one, sizeof one) || strcmp(one, tok) != 0) {
        AddProblem(set, name, lineNo, "%ld: bad conversion column \"%s\"",
                   number, signature);
        return;
      }
    }
    if (strcmp(declared, e.Signature) != 0) {
      AddProblem(set, name, lineNo,
                 "%ld: the text takes \"%s\" but its column says \"%s\"",
                 number, e.Signature, declared);
      return;
    }
  }
  uint32_t key = KeyOf(e.Number, language);
  auto it = seen->find(key);
  if (it != seen->end()) {
    const MsgDataEntry &first = set->Entries[it->second];
    AddProblem(set, name, lineNo,
               "%ld: a second text for language %d (the first is %s:%d)",
               number, language, first.File, first.Line);
    return;
  }
  (*seen)[key] = set->Entries.size();
  set->Entries.push_back(e);
}

} // namespace

int MsgDataConversions(const char *text, char *signature, size_t cap) {
  if (cap == 0)
    return 1;
  signature[0] = 0;
  size_t used = 0;
  for (const char *p = text; *p; p++) {
    if (*p != '%')
      continue;
    p++;
    if (*p == '%')
      continue;
    while (*p && strchr("-+ #0'", *p))
      p++;
    while (*p >= '0' && *p <= '9')
      p++;
    if (*p == '$' || *p == '*' || (*p == '.' && p[1] == '*'))
      return 1; // positional or run-time width: callers don't pass those
    if (*p == '.') {
      p++;
      while (*p >= '0' && *p <= '9')
        p++;
    }
    char token[8] = "%";
    size_t n = 1;
    while (*p && strchr("hlLqjzt", *p) && n < 4)
      token[n++] = *p++;
    if (!*p || !strchr("diouxXeEfFgGaAcsp", *p))
      return 1;
    token[n++] = *p;
    token[n] = 0;
    size_t need = n + (used ? 1 : 0);
    if (used + need + 1 > cap)
      return 1;
    if (used)
      signature[used++] = ' ';
    memcpy(signature + used, token, n + 1);
    used += n;
  }
  return 0;
}

int MsgDataUtf8ToCp1252(const char *in, char *out, size_t cap) {
  if (cap == 0)
    return 3;
  size_t n = 0;
  const unsigned char *p = reinterpret_cast<const unsigned char *>(in);
  while (*p) {
    long cp = DecodeUtf8(p);
    if (cp < 0) {
      out[n] = 0;
      return 1;
    }
    int b = Cp1252Of(cp);
    if (b < 0) {
      out[n] = 0;
      return 2;
    }
    if (n + 1 >= cap) {
      out[n] = 0;
      return 3;
    }
    out[n++] = static_cast<char>(b);
  }
  out[n] = 0;
  return 0;
}

int MsgDataReadText(MsgDataSet *set, const char *name, const char *content) {
  size_t before = set->Problems.size();
  int language = 0;
  std::map<uint32_t, size_t> seen;
  for (size_t i = 0; i < set->Entries.size(); i++)
    seen[KeyOf(set->Entries[i].Number, set->Entries[i].Language)] = i;
  int lineNo = 0;
  const char *p = content;
  while (*p) {
    lineNo++;
    const char *eol = strchr(p, '\n');
    size_t n = eol ? static_cast<size_t>(eol - p) : strlen(p);
    const char *next = eol ? eol + 1 : p + n;
    if (n >= static_cast<size_t>(kMsgLineMax)) {
      AddProblem(set, name, lineNo, "the line is longer than %d bytes",
                 kMsgLineMax - 1);
      p = next;
      continue;
    }
    char line[kMsgLineMax];
    memcpy(line, p, n);
    line[n] = 0;
    p = next;
    TrimRight(line);
    const char *s = SkipBlanks(line);
    if (*s == 0 || *s == '#')
      continue;
    int lang = LanguageLine(s);
    if (lang != 0) {
      if (lang < 0)
        AddProblem(set, name, lineNo,
                   "the language line is \"language N\", N from 1 to %d",
                   kMsgLanguageMax);
      else if (language != 0)
        AddProblem(set, name, lineNo, "a second language line");
      else
        language = lang;
      continue;
    }
    if (language == 0) {
      AddProblem(set, name, lineNo,
                 "the file must name its language (\"language N\") before "
                 "its first text");
      break;
    }
    ReadDataLine(set, name, lineNo, language, s, &seen);
  }
  if (language == 0 && set->Problems.size() == before)
    AddProblem(set, name, 0, "the file names no language");
  return static_cast<int>(set->Problems.size() - before);
}

int MsgDataReadFile(MsgDataSet *set, const char *path) {
  const char *slash = strrchr(path, '/');
  const char *name = slash ? slash + 1 : path;
  FILE *f = fopen(path, "rb");
  if (!f) {
    AddProblem(set, name, 0, "can't be read: %s", strerror(errno));
    return 1;
  }
  std::string content;
  char chunk[4096];
  size_t got;
  while ((got = fread(chunk, 1, sizeof chunk, f)) > 0)
    content.append(chunk, got);
  bool failed = ferror(f) != 0;
  fclose(f);
  if (failed) {
    AddProblem(set, name, 0, "can't be read");
    return 1;
  }
  if (content.find('\0') != std::string::npos) {
    AddProblem(set, name, 0, "holds a zero byte; it is no text file");
    return 1;
  }
  return MsgDataReadText(set, name, content.c_str());
}

const MsgDataEntry *MsgDataFind(const MsgDataSet &set, int number,
                                int language) {
  for (const MsgDataEntry &e : set.Entries)
    if (e.Number == number && e.Language == language)
      return &e;
  return nullptr;
}

int MsgDataCheck(MsgDataSet *set) {
  size_t before = set->Problems.size();
  MsgIndex ix;
  std::set<int> languages;
  for (const MsgDataEntry &e : set->Entries) {
    ix[KeyOf(e.Number, e.Language)] = &e;
    languages.insert(e.Language);
  }
  if (!languages.count(1))
    AddProblem(set, "messages", 0, "no English texts (language 1)");
  for (const MsgDataEntry &e : set->Entries) {
    CheckSingle(set, e);
    if (e.Language == 1)
      continue;
    const MsgDataEntry *english = Lookup(ix, e.Number, 1);
    if (!english)
      AddProblem(set, e.File, e.Line, "%d: has no English text", e.Number);
    else if (strcmp(english->Signature, e.Signature) != 0)
      AddProblem(set, e.File, e.Line,
                 "%d: takes \"%s\" but the English text takes \"%s\"", e.Number,
                 e.Signature, english->Signature);
  }
  for (int l : languages) {
    CheckFooter(set, ix, l);
    CheckLinkLine(set, ix, l);
    const MsgDataEntry *oldText = Lookup(ix, 3116, l);
    const MsgDataEntry *newText = Lookup(ix, 3118, l);
    if (oldText && newText && *oldText->Text && *newText->Text &&
        (strstr(oldText->Text, newText->Text) ||
         strstr(newText->Text, oldText->Text)))
      AddProblem(set, newText->File, newText->Line,
                 "3118: the labels of old and new text must not contain each "
                 "other");
  }
  CheckHeadings(set, ix, languages);
  return static_cast<int>(set->Problems.size() - before);
}
