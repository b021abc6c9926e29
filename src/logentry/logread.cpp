#include "logentry/logread.h"

#include "logentry/report.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "store/sptpath.h"
#include "store/strdate.h"

#include <cstdlib>
#include <cstring>
#include <string>

long LogTextEntryStart = 0;
long LogTextEntryEnd = 0;

namespace {

constexpr size_t kLabel = sizeof(MsgRecord{}.Text);
// A level of a path is at most a symptom's text.
constexpr size_t kPathLineMax = 100;
// A line may be as long as a whole text area; a longer one cannot be taken
// into an entry and is refused, never cut.
constexpr size_t kLineMax = kLogTextSize - 1;
constexpr int kDashesThatEnd = 10;

// Message numbers of the labels the reader looks for.
constexpr int kMsgFooter = 2729;
constexpr int kMsgNoteKind = 2609; // + kind, 3 more on a remedy
constexpr int kMsgOldText = 3116;
constexpr int kMsgNewText = 3118;
constexpr int kMsgOtherOld = 3119;
constexpr int kMsgSplitKind = 3208;
constexpr int kMsgMergeKind = 3211;
constexpr int kMsgMoveKind = 3223;
constexpr int kMsgMoveTarget = 3254;
constexpr int kMsgMovedRange = 3255;
constexpr int kMsgOldKind = 5511;
constexpr int kMsgNewKind = 5512;
constexpr int kMsgErrorLabel = 2732;
constexpr int kMsgOperationLabel = 2730;

// The labels of one language of the message table.
struct Labels {
  int language;
  char op[kOpCount + 2][kLabel]; // 1..19, 19 the row of totals
  size_t opLen[kOpCount + 2];
  char synonymRefs[kLabel];
  char footer[16]; // the footer's literal start, at most 15 characters
  char oldText[kLabel], newText[kLabel], otherOld[kLabel];
  char noteKind[9][kLabel];  // 2609 + i
  char splitKind[4][kLabel]; // 3208 + i, less its last five characters
  char mergeKind[4][kLabel]; // 3211 + i
  char moveKind[5][kLabel];  // 3223 + i
  char moveTarget[kLabel];   // without its line end
  char movedRange[kLabel];
  char oldKind[kLabel], newKind[kLabel];
};

Labels Langs[kLogTextLanguages];
int LangCount = 0;
bool Loaded = false;
TblHandle LoadedTable = 0;

void TrimRight(char *s) {
  size_t n = strlen(s);
  while (n > 0 && (s[n - 1] == ' ' || s[n - 1] == '\t' || s[n - 1] == '\n' ||
                   s[n - 1] == '\r'))
    s[--n] = '\0';
}

void Take(int number, int language, char *out) {
  MsgRecord rec;
  memset(&rec, 0, sizeof rec);
  OrvixMessage(MsgTable, number, language, &rec);
  if (OrvixError != 0) {
    out[0] = '\0'; // a missing label matches nothing
    return;
  }
  StrCopy(out, kLabel, rec.Text);
}

bool Held(int language) {
  if (MsgTable == 0)
    return false;
  MsgRecord rec;
  memset(&rec, 0, sizeof rec);
  OrvixMessage(MsgTable, kMsgOpName + 1, language, &rec);
  return OrvixError == 0;
}

void LoadLanguage(Labels &L, int language) {
  memset(&L, 0, sizeof L);
  L.language = language;
  for (int m = 1; m <= kOpCount + 1; ++m) {
    Take(kMsgOpName + m, language, L.op[m]);
    L.opLen[m] = strlen(L.op[m]);
  }
  Take(kMsgSynonymRefs, language, L.synonymRefs);
  char footer[kLabel];
  Take(kMsgFooter, language, footer);
  size_t n = strcspn(footer, "%");
  if (n > 15)
    n = 15;
  memcpy(L.footer, footer, n);
  L.footer[n] = '\0';
  Take(kMsgOldText, language, L.oldText);
  Take(kMsgNewText, language, L.newText);
  Take(kMsgOtherOld, language, L.otherOld);
  for (int i = 0; i < 9; ++i)
    Take(kMsgNoteKind + i, language, L.noteKind[i]);
  for (int i = 0; i < 4; ++i) {
    Take(kMsgSplitKind + i, language, L.splitKind[i]);
    size_t len = strlen(L.splitKind[i]);
    L.splitKind[i][len > 5 ? len - 5 : 0] = '\0';
    Take(kMsgMergeKind + i, language, L.mergeKind[i]);
  }
  for (int i = 0; i < 5; ++i)
    Take(kMsgMoveKind + i, language, L.moveKind[i]);
  Take(kMsgMoveTarget, language, L.moveTarget);
  TrimRight(L.moveTarget);
  Take(kMsgMovedRange, language, L.movedRange);
  Take(kMsgOldKind, language, L.oldKind);
  Take(kMsgNewKind, language, L.newKind);
}

void EnsureLoaded() {
  if (!Loaded || LoadedTable != MsgTable)
    LogTextLabelsLoad();
}

// ---------------------------------------------------------------- lines

// The lines of the source, one in hand, with one line of look-back: the
// reader counts the bytes itself, so that it knows where every line starts
// without asking the stream.
struct Reader {
  FILE *f = nullptr;
  long start = 0; // where the line in hand starts
  long next = 0;  // where the line behind it starts
  std::string line;
  bool pushed = false;
  bool tooLong = false; // a line of the entry was longer than kLineMax
  bool control = false; // a line of the entry held a byte 0 or 1
};

Reader R;

// Reads the next line, without its line end; false at the end of the file.
bool ReadLine() {
  if (R.pushed) {
    R.pushed = false;
    return true;
  }
  R.start = R.next;
  R.line.clear();
  long count = 0;
  int c;
  bool any = false;
  while ((c = getc_unlocked(R.f)) != EOF) {
    any = true;
    ++count;
    if (c == '\n')
      break;
    if (R.line.size() < kLineMax) {
      if (c == 0 || c == kLogFieldSep)
        R.control = true;
      R.line.push_back(static_cast<char>(c));
    } else {
      R.tooLong = true;
    }
  }
  R.next = R.start + count;
  if (!any)
    return false;
  if (!R.line.empty() && R.line.back() == '\r')
    R.line.pop_back();
  return true;
}

// Gives the line in hand back: the next ReadLine answers it again.
void PushBack() {
  R.pushed = true;
}

// Where the stream stands for the caller: behind the last line taken.
long Position() {
  return R.pushed ? R.start : R.next;
}

std::string Trimmed(const std::string &s) {
  size_t n = s.size();
  while (n > 0 && (s[n - 1] == ' ' || s[n - 1] == '\t'))
    --n;
  return s.substr(0, n);
}

// Lines of fewer than two characters, blanks at the end not counted, are
// blank.
bool IsBlank(const std::string &s) {
  return Trimmed(s).size() < 2;
}

bool IsDashLine(const std::string &s) {
  if (s.size() < static_cast<size_t>(kDashesThatEnd))
    return false;
  for (int i = 0; i < kDashesThatEnd; ++i)
    if (s[i] != '-')
      return false;
  return true;
}

bool StartsWith(const std::string &s, const char *prefix) {
  size_t n = strlen(prefix);
  return n > 0 && s.size() >= n && memcmp(s.data(), prefix, n) == 0;
}

bool IsFooter(const std::string &s, const Labels &L) {
  return StartsWith(s, L.footer);
}

// The language whose operation name begins the line, and the operation;
// the later of two names that both match stands.
const Labels *MatchHeading(const std::string &line, int *op, size_t *nameLen) {
  *op = 0;
  *nameLen = 0;
  for (int i = 0; i < LangCount; ++i) {
    const Labels &L = Langs[i];
    for (int m = 1; m <= kOpCount + 1; ++m)
      if (StartsWith(line, L.op[m])) {
        *op = m;
        *nameLen = L.opLen[m];
      }
    if (*op == 0 && StartsWith(line, L.synonymRefs)) {
      *op = OpChangeSynonym;
      *nameLen = strlen(L.synonymRefs);
    }
    if (*op != 0)
      return &L;
  }
  return nullptr;
}

// Whether a line opens with the label and a ":" behind it (blanks
// between allowed). The labels of old and new texts stand indented by two
// blanks: a line of text that begins with a label's words is no label.
bool IsLabelLine(const std::string &s, const char *label,
                 bool indented = false) {
  size_t i = 0;
  while (i < s.size() && s[i] == ' ')
    ++i;
  if (indented && i != 2)
    return false;
  size_t n = strlen(label);
  if (n == 0 || s.size() - i < n || memcmp(s.data() + i, label, n) != 0)
    return false;
  i += n;
  while (i < s.size() && s[i] == ' ')
    ++i;
  return i < s.size() && s[i] == ':';
}

// The text behind the first ":" of the line and one blank.
std::string AfterColon(const std::string &s) {
  size_t c = s.find(':');
  if (c == std::string::npos)
    return "";
  ++c;
  if (c < s.size() && s[c] == ' ')
    ++c;
  return Trimmed(s.substr(c));
}

// The text behind the label's ":" on a label line.
std::string AfterLabel(const std::string &s, const char *label) {
  size_t at = s.find(label);
  if (at == std::string::npos)
    return AfterColon(s);
  return AfterColon(s.substr(at + strlen(label)));
}

// Reads on to the next line that is not blank. A footer or a dash line, or
// the end of the file, is no such line: it is left for the caller and the
// answer is false.
bool NextNonBlank(const Labels &L) {
  while (ReadLine()) {
    if (IsFooter(R.line, L) || IsDashLine(R.line)) {
      PushBack();
      return false;
    }
    if (!IsBlank(R.line))
      return true;
  }
  return false;
}

// The next line as it stands, or false at a footer, a dash line or the end.
bool NextRaw(const Labels &L) {
  if (!ReadLine())
    return false;
  if (IsFooter(R.line, L) || IsDashLine(R.line)) {
    PushBack();
    return false;
  }
  return true;
}

// ---------------------------------------------------------------- entry

// The text area being built: fields joined by 0x01.
std::string Area;

void AddField(const std::string &value) {
  Area.push_back(kLogFieldSep);
  Area += value;
}

// The remedy, degree and author of a heading ": rem  deg [aut]" from
// `from` on; answers where the "]" stands (npos when the form is not
// there).
size_t ReadRemedy(const std::string &s, size_t from, std::string *remedy,
                  std::string *degree, std::string *author) {
  size_t open = s.find(" [", from);
  if (open == std::string::npos)
    return std::string::npos;
  std::string left = Trimmed(s.substr(from, open - from));
  size_t blank = left.find_last_of(' ');
  if (remedy != nullptr) {
    if (blank == std::string::npos) {
      *remedy = left;
    } else {
      *remedy = Trimmed(left.substr(0, blank));
      size_t b = 0;
      while (b < remedy->size() && (*remedy)[b] == ' ')
        ++b;
      *remedy = remedy->substr(b);
    }
  }
  *degree = blank == std::string::npos ? "" : left.substr(blank + 1);
  size_t close = s.find(']', open + 2);
  if (close == std::string::npos)
    close = s.size();
  *author = s.substr(open + 2, close - open - 2);
  return close;
}

// The start of the remedy behind the ":" that follows the name.
size_t RemedyStart(const std::string &s, size_t nameLen) {
  size_t c = s.find(':', nameLen);
  if (c == std::string::npos)
    return std::string::npos;
  ++c;
  if (c < s.size() && s[c] == ' ')
    ++c;
  return c;
}

// The position, from 1, of the last of `count` labels found in the line;
// 0 when none is.
int LastFound(const std::string &s, const char (*labels)[kLabel], int count) {
  int found = 0;
  for (int i = 0; i < count; ++i)
    if (labels[i][0] != '\0' && s.find(labels[i]) != std::string::npos)
      found = i + 1;
  return found;
}

// The kind of note of a heading: the label between the last " - " and
// "Lg.", among the kinds of a note on a remedy or on a symptom.
int NoteKind(const std::string &s, size_t nameLen, bool onRemedy,
             const Labels &L) {
  const char(*run)[kLabel] = L.noteKind + (onRemedy ? 4 : 1);
  size_t lg = s.rfind("Lg.");
  size_t dash = s.rfind(" - ", lg == std::string::npos ? s.size() : lg);
  if (dash != std::string::npos && dash >= nameLen) {
    std::string label = Trimmed(s.substr(
        dash + 3, (lg == std::string::npos ? s.size() : lg) - dash - 3));
    for (int i = 0; i < 5; ++i)
      if (label == run[i])
        return i + 1;
  }
  int k = LastFound(s.substr(nameLen), run, 5);
  return k != 0 ? k : 1;
}

// Turns every " - " of a move's path into the separator of levels.
std::string Separated(std::string s) {
  for (size_t i = 1; i + 1 < s.size(); ++i)
    if (s[i] == '-' && s[i - 1] == ' ' && s[i + 1] == ' ')
      s[i] = kSptSeparator;
  return s;
}

// Collects lines up to a blank one (not taken), a footer or a dash line
// (left for the caller), joined by line ends.
std::string LinesToBlank(const Labels &L) {
  std::string out;
  bool first = true;
  while (NextRaw(L)) {
    if (IsBlank(R.line))
      break;
    if (!first)
      out.push_back('\n');
    out += Trimmed(R.line);
    first = false;
  }
  return out;
}

// True when the line in hand is a dash line that closes an entry: the
// next line opens another entry, or the file ends. A dash line inside a
// note is the divider of appended texts.
bool DashLineEndsEntry() {
  long keepStart = R.start, keepNext = R.next;
  std::string keep = R.line;
  bool keepLong = R.tooLong, keepControl = R.control;
  bool ends;
  if (!ReadLine()) {
    ends = true;
  } else {
    int op;
    size_t len;
    ends = MatchHeading(R.line, &op, &len) != nullptr;
  }
  // Back to the dash line.
  fseek(R.f, keepNext, SEEK_SET);
  R.start = keepStart;
  R.next = keepNext;
  R.line = keep;
  R.tooLong = keepLong;
  R.control = keepControl;
  R.pushed = false;
  PushBack();
  return ends;
}

// A note's text: whole lines up to `stop` (a label line) or the footer,
// without the blank line that the writer puts before what follows.
std::string NoteLines(const Labels &L, const char *stopLabel) {
  std::string out;
  int lines = 0;
  bool lastBlank = false;
  while (ReadLine()) {
    if (IsFooter(R.line, L) ||
        (stopLabel != nullptr && IsLabelLine(R.line, stopLabel, true))) {
      PushBack();
      break;
    }
    if (IsDashLine(R.line)) {
      // Push back so that DashLineEndsEntry sees it as the line in hand.
      if (DashLineEndsEntry())
        break;
      ReadLine();
    }
    if (lines > 0)
      out.push_back('\n');
    out += R.line;
    lastBlank = Trimmed(R.line).empty();
    ++lines;
  }
  if (lines > 0 && lastBlank) {
    size_t cut = out.rfind('\n');
    out.resize(cut == std::string::npos ? 0 : cut);
  }
  return out;
}

long NumberBehind(const char *p) {
  return p == nullptr ? 0 : atol(p + 1);
}

// The footer: number, date, (time, skipped), user, unique id, each behind
// a ":".
void ReadFooter(const std::string &s, const Labels &L, LogEntry *e) {
  const char *line = s.c_str();
  const char *p = strchr(line, ':');
  e->number = static_cast<int32_t>(NumberBehind(p));
  long date = 0;
  if (p != nullptr)
    p = strchr(p + 1, ':');
  if (p != nullptr) {
    const char *d = p + 1;
    if (*d != '\0')
      ++d;
    char text[kDateTextMax];
    size_t n = strcspn(d, " ");
    if (n >= sizeof text)
      n = sizeof text - 1;
    memcpy(text, d, n);
    text[n] = '\0';
    if (DateCharToLong(L.language, text, DateFormat, &date) != 0)
      date = 0;
    // The time holds ":" of its own: it is passed over as digits and
    // colons behind its label.
    p = strchr(d, ':');
    if (p != nullptr) {
      ++p;
      while (*p == ' ')
        ++p;
      while ((*p >= '0' && *p <= '9') || *p == ':')
        ++p;
      p = strchr(p, ':');
    }
  }
  if (date < kDateNoneBelow)
    DateToday(&date);
  e->date = static_cast<uint32_t>(date);
  long now = 0;
  TimeNow(&now);
  e->time = static_cast<uint32_t>(now);
  e->tag = static_cast<uint8_t>(NumberBehind(p));
  if (p != nullptr)
    p = strchr(p + 1, ':');
  e->symptomId = static_cast<int32_t>(NumberBehind(p));
}

// Parses the entry whose heading is in hand. Answers 0, or the report code
// of a refusal; either way the reader stands where the entry ends when it
// could tell, and *heading is the first line.
int ParseEntry(LogEntry *e, std::string *heading) {
  *heading = R.line;
  const std::string &h = *heading;
  int op;
  size_t nameLen;
  const Labels *found = MatchHeading(h, &op, &nameLen);
  if (found == nullptr || op < 1 || op > kOpCount)
    return kMsgUnknownOperation;
  const Labels &L = *found;
  e->operation = static_cast<uint16_t>(op);

  std::string lg;
  size_t stop = h.rfind('.');
  if (stop != std::string::npos) {
    size_t b = stop + 1;
    while (b < h.size() && h[b] == ' ')
      ++b;
    lg = Trimmed(h.substr(b));
  }
  std::string other = lg != "1" ? "1" : "0";

  // Details of the heading.
  std::string remedy = "0", author = "0", degree = "0", degree2, sibling;
  int kind = 0;
  switch (op) {
  case OpChangeDegree:
  case OpDeleteRemedy:
  case OpAddRemedy: {
    remedy.clear();
    author.clear();
    degree.clear();
    size_t from = RemedyStart(h, nameLen);
    if (from != std::string::npos) {
      size_t close = ReadRemedy(h, from, &remedy, &degree, &author);
      if (op == OpChangeDegree && close != std::string::npos) {
        std::string a2;
        ReadRemedy(h, close, nullptr, &degree2, &a2);
      }
    }
    break;
  }
  case OpChangeNote:
  case OpAddLink:
  case OpDeleteLink: {
    bool onRemedy = h.size() > nameLen && h[nameLen] == ':';
    if (onRemedy) {
      size_t from = RemedyStart(h, nameLen);
      ReadRemedy(h, from, &remedy, &degree, &author);
    }
    if (op == OpChangeNote)
      kind = NoteKind(h, nameLen, onRemedy, L);
    break;
  }
  case OpAddSymptomAfter: {
    size_t open = h.find('\'', nameLen);
    if (open != std::string::npos) {
      size_t close = h.rfind("' (");
      if (close == std::string::npos || close <= open)
        close = h.find('\'', open + 1);
      if (close != std::string::npos && close > open)
        sibling = h.substr(open + 1, close - open - 1);
    }
    break;
  }
  case OpMoveSymptoms:
    kind = LastFound(h.substr(nameLen), L.moveKind + 1, 4);
    // The label of the move's target stands on a line of its own.
    if (NextNonBlank(L)) {
      if (Trimmed(R.line) != L.moveTarget || L.moveTarget[0] == '\0')
        PushBack();
    }
    break;
  case OpSplitSymptom:
    kind = LastFound(h.substr(nameLen), L.splitKind + 1, 3);
    break;
  case OpMergeSymptom:
    kind = LastFound(h.substr(nameLen), L.mergeKind + 1, 3);
    break;
  default:
    break;
  }

  // The path: no path when the footer follows at once.
  if (!NextNonBlank(L))
    return kMsgNoSymptomPath;
  PushBack();
  Area = lg;
  Area.push_back(kLogFieldSep);
  std::string last;
  int levels = 0;
  while (NextRaw(L) && !IsBlank(R.line)) {
    std::string level = Trimmed(R.line);
    if (level.size() > kPathLineMax)
      level.resize(kPathLineMax);
    if (levels > 0)
      Area += " \x02 ";
    Area += level;
    last = level;
    ++levels;
  }

  auto next = [&]() { return NextNonBlank(L) ? Trimmed(R.line) : ""; };
  switch (op) {
  case OpChangeDegree:
    AddField(remedy);
    AddField(author);
    AddField(degree2);
    AddField(degree);
    break;
  case OpDeleteRemedy:
  case OpAddRemedy:
    AddField(remedy);
    AddField(author);
    AddField(degree);
    break;
  case OpChangeNote: {
    AddField(std::to_string(kind));
    AddField(remedy);
    AddField(author);
    AddField(degree);
    std::string language, oldText, newText;
    if (NextNonBlank(L)) {
      language = AfterColon(R.line);
      if (IsLabelLine(R.line, L.oldText, true)) {
        oldText = NoteLines(L, L.newText);
        if (ReadLine() && IsLabelLine(R.line, L.newText, true))
          newText = NoteLines(L, nullptr);
        else
          PushBack();
      } else if (IsLabelLine(R.line, L.newText, true)) {
        newText = NoteLines(L, nullptr);
      }
    }
    AddField(language);
    AddField(oldText);
    AddField(newText);
    break;
  }
  case OpChangeCrossReference:
  case OpChangeSynonym: {
    std::string language, oldText, newText;
    if (NextNonBlank(L)) {
      language = AfterColon(R.line);
      if (IsLabelLine(R.line, L.oldText, true)) {
        oldText = LinesToBlank(L);
        if (NextNonBlank(L)) {
          if (IsLabelLine(R.line, L.newText, true))
            newText = LinesToBlank(L);
          else
            PushBack();
        }
      } else if (IsLabelLine(R.line, L.newText, true)) {
        newText = LinesToBlank(L);
      } else {
        PushBack();
      }
    }
    AddField(language);
    AddField(oldText);
    AddField(newText);
    break;
  }
  case OpRenameSymptom: {
    std::string newText = last;
    if (NextNonBlank(L)) {
      std::string firstBlock;
      if (!IsLabelLine(R.line, L.newText, true))
        firstBlock = Trimmed(R.line);
      int count = firstBlock.empty() ? 0 : 1;
      std::string lastLine = firstBlock;
      while (NextRaw(L) && !IsBlank(R.line)) {
        lastLine = Trimmed(R.line);
        ++count;
      }
      // The block names the path again, then the new text; a block no
      // longer than the path holds an empty new text.
      newText = count > levels ? lastLine : (count == levels ? "" : lastLine);
    }
    std::string otherOld, otherNew;
    if (NextNonBlank(L)) {
      if (IsLabelLine(R.line, L.otherOld)) {
        otherOld = AfterLabel(R.line, L.otherOld);
        if (NextRaw(L))
          otherNew = AfterColon(R.line);
      } else {
        PushBack();
      }
    }
    AddField(lg);
    AddField(last);
    AddField(newText);
    AddField(other);
    AddField(otherOld);
    AddField(otherNew);
    break;
  }
  case OpAddSymptomAfter:
  case OpAddSymptomBelow: {
    if (op == OpAddSymptomAfter) {
      if (levels > 0)
        Area += " \x02 ";
      Area += sibling;
    }
    std::string text = next();
    std::string second;
    if (!text.empty() && NextRaw(L) && !IsBlank(R.line))
      second = Trimmed(R.line);
    AddField(lg);
    AddField(text);
    AddField(other);
    AddField(second);
    break;
  }
  case OpMoveSymptoms: {
    std::string first, lastPath;
    if (NextNonBlank(L)) {
      if (Trimmed(R.line) != L.movedRange)
        PushBack();
      if (NextRaw(L)) {
        first = Separated(Trimmed(R.line));
        if (NextRaw(L) && NextRaw(L))
          lastPath = Separated(Trimmed(R.line));
      }
    }
    AddField(first);
    AddField(lastPath);
    AddField(std::to_string(kind));
    break;
  }
  case OpSplitSymptom: {
    std::string a = next();
    std::string b;
    if (NextRaw(L) && !IsBlank(R.line))
      b = Trimmed(R.line);
    AddField(a);
    AddField(b);
    AddField(std::to_string(kind));
    break;
  }
  case OpMergeSymptom:
    AddField(next());
    AddField(std::to_string(kind));
    break;
  case OpAddLink:
  case OpDeleteLink: {
    std::string type, title, file;
    if (NextNonBlank(L)) {
      const std::string &s = R.line;
      size_t c = s.find(": ");
      if (c != std::string::npos)
        type = s.substr(c + 2, s.find(' ', c + 2) - (c + 2));
      // Title and file: the first quoted text, and the last.
      size_t q1 = s.find('\'');
      size_t q4 = s.rfind('\'');
      if (q1 != std::string::npos && q4 != std::string::npos && q4 > q1) {
        size_t q3 = s.rfind('\'', q4 - 1);
        size_t q2 = q3 != std::string::npos && q3 > q1 ? s.rfind('\'', q3 - 1)
                                                       : std::string::npos;
        if (q2 != std::string::npos && q2 > q1) {
          title = s.substr(q1 + 1, q2 - q1 - 1);
          file = s.substr(q3 + 1, q4 - q3 - 1);
        }
      }
    }
    AddField(remedy);
    AddField(author);
    AddField(degree);
    AddField(type);
    if (op == OpAddLink) {
      AddField(title);
      AddField(file);
    }
    break;
  }
  case OpAddConcept:
  case OpDeleteConcept: {
    std::string second;
    if (NextNonBlank(L)) {
      PushBack();
      int n = 0;
      while (NextRaw(L) && !IsBlank(R.line)) {
        std::string level = Trimmed(R.line);
        if (level.size() > kPathLineMax)
          level.resize(kPathLineMax);
        if (n++ > 0)
          second += " \x02 ";
        second += level;
      }
    }
    AddField(second);
    break;
  }
  case OpChangeSymptomKind: {
    std::string oldKind, newKind;
    if (NextNonBlank(L)) {
      if (IsLabelLine(R.line, L.oldKind)) {
        oldKind = AfterLabel(R.line, L.oldKind);
        if (NextNonBlank(L)) {
          if (IsLabelLine(R.line, L.newKind))
            newKind = AfterLabel(R.line, L.newKind);
          else
            PushBack();
        }
      } else if (IsLabelLine(R.line, L.newKind)) {
        newKind = AfterLabel(R.line, L.newKind);
      } else {
        PushBack();
      }
    }
    AddField(oldKind);
    AddField(newKind);
    break;
  }
  default:
    break;
  }

  // Up to the footer; a dash line or the end of the file before it leaves
  // the entry without one.
  bool footer = false;
  while (ReadLine()) {
    if (IsFooter(R.line, L)) {
      footer = true;
      break;
    }
    if (IsDashLine(R.line))
      return kMsgNoFooter;
  }
  if (!footer)
    return kMsgNoFooter;
  ReadFooter(R.line, L, e);
  // On to the dash line, or to the end of the file.
  while (ReadLine())
    if (IsDashLine(R.line))
      break;
  if (Area.size() >= kLogTextSize)
    return kMsgEntryTooLong;
  return 0;
}

void Report(FILE *errors, int code, const std::string &line) {
  if (errors == nullptr)
    return;
  char label[kLabel];
  StrCopy(label, MsgText(kMsgErrorLabel));
  fprintf(errors, "%s", label);
  StrCopy(label, MsgText(code));
  fprintf(errors, "%s\n", label);
  StrCopy(label, MsgText(kMsgOperationLabel));
  fprintf(errors, "%s", label);
  fprintf(errors, "%s\n", line.c_str());
  char dashes[kReportDashes + 1];
  memset(dashes, '-', kReportDashes);
  dashes[kReportDashes] = '\0';
  fprintf(errors, "%s\n", dashes);
  fflush(errors);
}

} // namespace

void LogTextLabelsLoad() {
  int saved = OrvixError;
  LangCount = 0;
  for (int l = 1; l <= kLogTextLanguages; ++l)
    if (Held(l))
      LoadLanguage(Langs[LangCount++], l);
  Loaded = true;
  LoadedTable = MsgTable;
  OrvixError = saved;
}

int LogTextLanguageCount() {
  EnsureLoaded();
  return LangCount;
}

int LogTextLanguageAt(int index) {
  EnsureLoaded();
  return index >= 0 && index < LangCount ? Langs[index].language : 0;
}

int LogReadTextEntry(FILE *source, FILE *errors, FILE *rejects,
                     LogEntry *entry) {
  DbVirtualClose(3);
  EnsureLoaded();
  if (source == nullptr || entry == nullptr || entry->text == nullptr) {
    OrvixError = kErrEnd;
    return 1;
  }
  R.f = source;
  R.next = ftell(source);
  R.pushed = false;
  // Blank lines between entries are passed over; what they hold does not
  // count against the entry.
  bool any;
  do {
    R.tooLong = R.control = false;
    any = ReadLine();
  } while (any && IsBlank(R.line));
  if (!any) {
    LogTextEntryStart = LogTextEntryEnd = R.next;
    OrvixError = kErrEnd;
    return 1;
  }
  LogTextEntryStart = R.start;
  LogClearEntry(entry, entry->text);
  std::string heading;
  int code = ParseEntry(entry, &heading);
  if (code == 0 && R.tooLong)
    code = kMsgEntryTooLong;
  if (code == 0 && R.control)
    code = kMsgControlByte;
  if (code == 0) {
    LogTextEntryEnd = Position();
    if (R.pushed)
      fseek(source, LogTextEntryEnd, SEEK_SET);
    memcpy(entry->text, Area.data(), Area.size());
    entry->text[Area.size()] = '\0';
    OrvixError = 0;
    return 1;
  }
  Report(errors, code, heading);
  entry->operation = 0;
  entry->text[0] = '\0';
  if (code == kMsgUnknownOperation || code == kMsgNoSymptomPath) {
    // Nothing of the entry is understood: it runs to the first dash line.
    fseek(source, LogTextEntryStart, SEEK_SET);
    LogCopyTextEntry(source, rejects);
    LogTextEntryEnd = ftell(source);
  } else {
    // The parse found where the entry ends.
    LogTextEntryEnd = Position();
    if (R.pushed && R.line.size() > 0 && IsDashLine(R.line))
      LogTextEntryEnd = R.next; // the dash line belongs to this entry
    LogCopyTextRange(source, LogTextEntryStart, LogTextEntryEnd, rejects);
  }
  OrvixError = 0;
  return 0;
}

int LogCopyTextEntry(FILE *source, FILE *target) {
  if (source == nullptr)
    return 1;
  bool any = false;
  bool atLineStart = true;
  int dashes = 0;
  int c;
  while ((c = getc_unlocked(source)) != EOF) {
    any = true;
    if (target != nullptr)
      putc_unlocked(c, target);
    if (c == '\n') {
      if (dashes >= kDashesThatEnd)
        break;
      atLineStart = true;
      dashes = 0;
      continue;
    }
    if (atLineStart && c == '-')
      ++dashes;
    else
      atLineStart = false;
  }
  if (target != nullptr)
    fflush(target);
  return any ? 0 : 1;
}

int LogCopyTextRange(FILE *source, long from, long to, FILE *target) {
  if (source == nullptr || fseek(source, from, SEEK_SET) != 0)
    return 1;
  char buf[8192];
  long left = to - from;
  int result = 0;
  while (left > 0) {
    size_t want = left > static_cast<long>(sizeof buf)
                      ? sizeof buf
                      : static_cast<size_t>(left);
    size_t got = fread(buf, 1, want, source);
    if (got == 0) {
      result = 1;
      break;
    }
    if (target != nullptr)
      fwrite(buf, 1, got, target);
    left -= static_cast<long>(got);
  }
  if (target != nullptr)
    fflush(target);
  fseek(source, to, SEEK_SET);
  return result;
}

long LogCountTextEntries(FILE *source) {
  if (source == nullptr)
    return 0;
  rewind(source);
  long count = 0;
  bool atLineStart = true;
  int dashes = 0;
  int c;
  while ((c = getc_unlocked(source)) != EOF) {
    if (c == '\n') {
      atLineStart = true;
      dashes = 0;
      continue;
    }
    if (atLineStart && c == '-') {
      if (++dashes == kDashesThatEnd)
        ++count;
    } else {
      atLineStart = false;
    }
  }
  rewind(source);
  return count;
}
