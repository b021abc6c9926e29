#include "logentry/logtext.h"

#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "store/sptpath.h"
#include "store/strdate.h"

#include <cstdlib>
#include <cstring>

TblHandle LogTextSymptomTable = 0;
int LogWriteSavedError = 0;

namespace {

// Message numbers of the labels.
constexpr int kMsgNoteKind = 2609;   // + type, + 3 on a remedy
constexpr int kMsgFooter = 2729;     // format: number, date, time, tag
constexpr int kMsgInsteadOf = 3114;  // change of degree
constexpr int kMsgAfter = 3115;      // symptom added after
constexpr int kMsgOldText = 3116;    // label of an old text
constexpr int kMsgNewText = 3118;    // label of a new text
constexpr int kMsgOtherOld = 3119;   // other language, old text
constexpr int kMsgOtherNew = 3120;   // other language, new text
constexpr int kMsgSplitKind = 3208;  // + kind 1..3; 3208 itself: unknown
constexpr int kMsgMergeKind = 3211;  // + kind 1..3
constexpr int kMsgMoveKind = 3223;   // + kind 1..4; 3223 itself: unknown
constexpr int kMsgStructure = 3253;  // structure changed
constexpr int kMsgMoveTarget = 3254; // target of the move (ends a line)
constexpr int kMsgMovedRange = 3255; // symptoms moved, first to last
constexpr int kMsgLinkLine = 3423;   // format: type, title, file
constexpr int kMsgOldKind = 5511;    // old symptom type
constexpr int kMsgNewKind = 5512;    // new symptom type

constexpr size_t kLabelSize = sizeof(MsgRecord{}.Text);

void Label(int number, char *out, size_t cap) {
  LogMessageText(number, out, cap);
}

// The printf conversions of a format, as "%ld %s ...", or false for one
// that no label may hold. Used to refuse a message text that would not take
// the arguments given to it.
bool Conversions(const char *fmt, char *sig, size_t cap) {
  sig[0] = '\0';
  for (const char *p = fmt; *p != '\0'; ++p) {
    if (*p != '%')
      continue;
    ++p;
    if (*p == '%')
      continue;
    while (*p != '\0' && strchr("-+ #0", *p) != nullptr)
      ++p;
    while (*p >= '0' && *p <= '9')
      ++p;
    if (*p == '.') {
      ++p;
      while (*p >= '0' && *p <= '9')
        ++p;
    }
    char conv[8] = "%";
    size_t n = 1;
    while ((*p == 'l' || *p == 'h') && n < 4)
      conv[n++] = *p++;
    if (*p == '\0' || strchr("diouxXcs", *p) == nullptr)
      return false;
    conv[n++] = *p;
    conv[n] = '\0';
    if (sig[0] != '\0')
      StrAppend(sig, cap, " ");
    StrAppend(sig, cap, conv);
  }
  return true;
}

void FormatLabel(int number, const char *signature, const char *fallback,
                 char *out, size_t cap) {
  LogMessageFormat(number, signature, fallback, out, cap);
}

// Calls emit(begin, length) for each level of a path, as the separator
// rule cuts it; the blanks beside a separator belong to no level.
template <typename F> void ForEachLevel(const char *path, F emit) {
  size_t len = strlen(path);
  const char *begin = path;
  if (len > 0) {
    const char *last = path + len - 1;
    for (const char *p = path; p <= last; ++p) {
      if (LogIsLevelSeparator(p, path, last)) {
        emit(begin, p - 1 > begin ? static_cast<size_t>(p - 1 - begin) : 0);
        begin = p + 2;
        ++p;
      }
    }
  }
  emit(begin, static_cast<size_t>(path + len - begin));
}

int CountLevels(const char *path) {
  int count = 0;
  ForEachLevel(path, [&](const char *, size_t) { ++count; });
  return count;
}

// Prints the levels of a path, one to a line, leaving out the last `skip`.
void PrintLevels(FILE *out, const char *path, int skip) {
  int keep = CountLevels(path) - skip;
  int i = 0;
  ForEachLevel(path, [&](const char *begin, size_t n) {
    if (i++ < keep) {
      fwrite(begin, 1, n, out);
      fputc('\n', out);
    }
  });
}

// Appends n bytes of src behind dst.
void AppendN(char *dst, size_t cap, const char *src, size_t n) {
  size_t have = strlen(dst);
  if (have + 1 >= cap)
    return;
  if (n > cap - have - 1)
    n = cap - have - 1;
  memcpy(dst + have, src, n);
  dst[have + n] = '\0';
}

// The number of the entry's symptom in the open symptom table, from its
// path (and the new text of an added symptom); 0/0 when not found.
void LookUpNumber(int op, const char *path, const char *newText, uint32_t *num,
                  uint16_t *sub) {
  *num = 0;
  *sub = 0;
  if (LogTextSymptomTable == 0)
    return;
  static char lookup[2 * kLogTextSize];
  lookup[0] = '\0';
  int keep = CountLevels(path) - (op == OpAddSymptomAfter ? 1 : 0);
  int i = 0;
  ForEachLevel(path, [&](const char *begin, size_t n) {
    if (i++ < keep) {
      AppendN(lookup, sizeof lookup, begin, n);
      StrAppend(lookup, sizeof lookup, "\x02 ");
    }
  });
  if (op == OpAddSymptomAfter || op == OpAddSymptomBelow) {
    StrAppend(lookup, sizeof lookup, newText);
    StrAppend(lookup, sizeof lookup, "\x02 ");
  }
  size_t len = strlen(lookup);
  lookup[len >= 2 ? len - 2 : 0] = '\0';
  uint32_t n = 0;
  uint16_t s = 0;
  if (GetSptNumFromText(LogTextSymptomTable, 1, lookup, &n, &s) == 0) {
    *num = n;
    *sub = s;
  }
}

// The row of the complete listing's second file for an added remedy.
void WriteAdditionRow(FILE *out2, const LogEntry *entry, const char *text,
                      const int *off, uint32_t num, uint16_t sub) {
  static char path[kSptPathSize];
  path[0] = '\0';
  if (LogTextSymptomTable != 0) {
    if (entry->symptomId != 0) {
      static Symptom s;
      TblFreeSymptomRemed(&s);
      memset(&s, 0, sizeof s);
      s.CursorState = 0xff;
      s.UniqueId = entry->symptomId;
      if (TblFindFullSymptom(LogTextSymptomTable, &s, 8, kFindEqual) == 0) {
        num = s.Num;
        sub = s.Sub;
      }
      TblFreeSymptomRemed(&s);
    }
    GetTextFromSptNum(LogTextSymptomTable, 1, path, num, sub, sizeof path);
  }
  fprintf(out2, "%ld|%ld|%d|%s|%s|%s|%s\n", static_cast<long>(entry->symptomId),
          static_cast<long>(num), static_cast<int>(sub), path,
          LogField(text, off, RemedyFields::kRemedy),
          LogField(text, off, RemedyFields::kAuthor),
          LogField(text, off, RemedyFields::kDegree));
}

bool StartsWithDigit1To9(const char *s) {
  return s[0] >= '1' && s[0] <= '9';
}

// A kind field as a number, or 0 when it lies outside 1..max.
int KindOf(const char *field, int max) {
  int k = atoi(field);
  return k >= 1 && k <= max ? k : 0;
}

// Writes a field with every 0x02 shown as '-'; the text is changed too.
void PrintDashed(FILE *out, char *field) {
  for (char *p = field; *p != '\0'; ++p)
    if (*p == kSptSeparator)
      *p = '-';
  fprintf(out, "%s\n", field);
}

// The same for field n, or an empty line when the entry lacks it.
void PrintDashedField(FILE *out, char *text, const int *off, int n) {
  if (LogHasField(off, n))
    PrintDashed(out, text + off[n]);
  else
    fputc('\n', out);
}

// The heading behind the operation's name.
void WriteHeading(FILE *out, int op, const char *text, const int *off,
                  uint32_t num, uint16_t sub) {
  auto f = [&](int n) { return LogField(text, off, n); };
  const char *lg = f(kFieldLanguage);
  long n = static_cast<long>(num);
  int s = static_cast<int>(sub);
  char label[kLabelSize];
  char label2[kLabelSize];
  switch (op) {
  case OpChangeDegree: {
    using namespace RemedyFields;
    Label(kMsgInsteadOf, label, sizeof label);
    fprintf(out, ": %s  %s [%s] %s %s  %s [%s] (%ld/%d) Lg. %s\n", f(kRemedy),
            f(kNewDegree), f(kAuthor), label, f(kRemedy), f(kOldDegree),
            f(kAuthor), n, s, lg);
    break;
  }
  case OpDeleteRemedy:
  case OpAddRemedy: {
    using namespace RemedyFields;
    fprintf(out, ": %s  %s [%s] (%ld/%d)  Lg. %s\n", f(kRemedy), f(kDegree),
            f(kAuthor), n, s, lg);
    break;
  }
  case OpChangeNote: {
    using namespace NoteFields;
    // The kinds of a symptom's notes are named by 2610 to 2614, those of a
    // remedy's by 2613 to 2617; a type outside 1 to 5 has no kind of
    // either, and is named by 2609 ("Note") alone.
    int type = atoi(f(kType));
    int t = type >= kNoteTypeFirst && type <= kNoteTypeLast ? type : 0;
    if (strcmp(f(kRemedy), "0") != 0) {
      if (t != 0)
        t += 3;
      fprintf(out, ": %s  %s [%s] (%ld/%d)", f(kRemedy), f(kDegree), f(kAuthor),
              n, s);
    }
    Label(kMsgNoteKind + t, label, sizeof label);
    fprintf(out, " - %s   Lg. %s", label, lg);
    break;
  }
  case OpChangeCrossReference:
  case OpChangeSynonym:
  case OpAddSymptomBelow:
  case OpChangeSymptomKind:
    fprintf(out, " (%ld/%d)   Lg. %s\n", n, s, lg);
    break;
  case OpRenameSymptom:
    fprintf(out, " (%ld/%d)  Lg. %s\n\n", n, s, lg);
    break;
  case OpAddSymptomAfter: {
    Label(kMsgAfter, label, sizeof label);
    const char *lastBegin = "";
    size_t lastLen = 0;
    ForEachLevel(f(kFieldPath), [&](const char *b, size_t len) {
      lastBegin = b;
      lastLen = len;
    });
    fprintf(out, " %s '%.*s' (%ld/%d)   Lg. %s\n", label,
            static_cast<int>(lastLen), lastBegin, n, s, lg);
    break;
  }
  case OpDeleteSymptom:
    Label(kMsgStructure, label, sizeof label);
    fprintf(out, " - %s  Lg. %s\n", label, lg);
    break;
  case OpMoveSymptoms:
    Label(kMsgMoveKind + KindOf(f(MoveFields::kKind), 4), label, sizeof label);
    fprintf(out, " (%ld/%d) - %s", n, s, label);
    Label(kMsgStructure, label, sizeof label);
    fprintf(out, " - %s  Lg. %s\n", label, lg);
    Label(kMsgMoveTarget, label, sizeof label);
    fprintf(out, "\n%s", label);
    break;
  case OpSplitSymptom:
  case OpMergeSymptom:
    if (op == OpSplitSymptom)
      Label(kMsgSplitKind + KindOf(f(SplitFields::kKind), 3), label,
            sizeof label);
    else if (KindOf(f(MergeFields::kKind), 3) != 0)
      Label(kMsgMergeKind + KindOf(f(MergeFields::kKind), 3), label,
            sizeof label);
    else
      label[0] = '\0'; // no text stands for an unknown kind of merge
    Label(kMsgStructure, label2, sizeof label2);
    fprintf(out, " (%ld/%d) - %s", n, s, label);
    fprintf(out, " - %s   Lg. %s\n", label2, lg);
    break;
  case OpAddLink:
  case OpDeleteLink: {
    using namespace LinkFields;
    fprintf(out, ": %s  %s [%s] (%ld/%d)  Lg. %s", f(kRemedy), f(kDegree),
            f(kAuthor), n, s, lg);
    break;
  }
  case OpAddConcept:
  case OpDeleteConcept:
    fprintf(out, "  Lg. %s\n", lg);
    break;
  default:
    fprintf(out, " (%ld/%d)  Lg. %s\n", n, s, lg);
    break;
  }
}

// An old and a new text under their labels; the old one only when it is
// not empty.
void WriteOldNew(FILE *out, const char *language, const char *oldText,
                 const char *newText) {
  char label[kLabelSize];
  if (oldText[0] != '\0') {
    Label(kMsgOldText, label, sizeof label);
    fprintf(out, "\n  %s: %s\n", label, language);
    fprintf(out, "%s\n", oldText);
  }
  Label(kMsgNewText, label, sizeof label);
  fprintf(out, "\n  %s: %s\n", label, language);
  fprintf(out, "%s", newText);
  fputc('\n', out);
}

// The block that tells what the operation adds or changes.
void WriteBlock(FILE *out, int op, char *text, const int *off) {
  auto f = [&](int n) { return LogField(text, off, n); };
  char label[kLabelSize];
  char format[kLabelSize];
  switch (op) {
  case OpChangeNote:
    WriteOldNew(out, f(NoteFields::kLanguage), f(NoteFields::kOldText),
                f(NoteFields::kNewText));
    break;
  case OpChangeCrossReference:
  case OpChangeSynonym:
    WriteOldNew(out, f(TextFields::kLanguage), f(TextFields::kOldText),
                f(TextFields::kNewText));
    break;
  case OpRenameSymptom: {
    using namespace RenameFields;
    Label(kMsgNewText, label, sizeof label);
    fprintf(out, "\n  %s:\n", label);
    PrintLevels(out, f(kFieldPath), 0);
    fprintf(out, "%s\n", f(kNewText));
    // The other language's pair, when its two texts differ.
    if (LogHasField(off, kOldText2) && LogHasField(off, kNewText2) &&
        strcmp(f(kOldText2), f(kNewText2)) != 0) {
      Label(kMsgOtherOld, label, sizeof label);
      fprintf(out, "\n%s : %s\n", label, f(kOldText2));
      Label(kMsgOtherNew, label, sizeof label);
      fprintf(out, "%s : %s\n", label, f(kNewText2));
    }
    break;
  }
  case OpAddSymptomAfter:
  case OpAddSymptomBelow:
    fprintf(out, "\n%s\n", f(AddSymptomFields::kText));
    if (f(AddSymptomFields::kText2)[0] != '\0')
      fprintf(out, "%s\n", f(AddSymptomFields::kText2));
    break;
  case OpMoveSymptoms:
    Label(kMsgMovedRange, label, sizeof label);
    fprintf(out, "\n%s\n", label);
    PrintDashedField(out, text, off, MoveFields::kFirst);
    fputs("...\n", out);
    PrintDashedField(out, text, off, MoveFields::kLast);
    break;
  case OpSplitSymptom:
    fprintf(out, "\n%s\n", f(SplitFields::kText));
    fprintf(out, "%s\n", f(SplitFields::kSubLevel));
    break;
  case OpMergeSymptom:
    fprintf(out, "\n%s\n", f(MergeFields::kText));
    break;
  case OpAddLink:
  case OpDeleteLink: {
    using namespace LinkFields;
    FormatLabel(kMsgLinkLine, "%s %s %s",
                "Link type: %s   Title: '%s'   File: '%s'", format,
                sizeof format);
    fputc('\n', out);
    if (op == OpAddLink)
      fprintf(out, format, f(kType), f(kTitle), f(kFile));
    else
      fprintf(out, format, f(kType), "", "");
    fputc('\n', out);
    break;
  }
  case OpAddConcept:
  case OpDeleteConcept:
    fputc('\n', out);
    PrintLevels(out, f(ConceptFields::kSymptomPath), 0);
    break;
  case OpChangeSymptomKind:
    Label(kMsgOldKind, label, sizeof label);
    fprintf(out, "\n%s: %s\n", label, f(KindFields::kOld));
    Label(kMsgNewKind, label, sizeof label);
    fprintf(out, "%s: %s\n", label, f(KindFields::kNew));
    break;
  default:
    break;
  }
}

} // namespace

void LogMessageText(int number, char *out, size_t cap) {
  // MsgText's record is shared: the text is copied out at once.
  StrCopy(out, cap, MsgText(number));
}

void LogMessageFormat(int number, const char *signature, const char *fallback,
                      char *out, size_t cap) {
  LogMessageText(number, out, cap);
  char sig[64];
  if (!Conversions(out, sig, sizeof sig) || strcmp(sig, signature) != 0)
    StrCopy(out, cap, fallback);
}

int LogWriteEntry(FILE *out, FILE *out2, LogEntry *entry, int *offsets) {
  LogWriteSavedError = OrvixError;
  if (out == nullptr || entry == nullptr || entry->text == nullptr)
    return 0;
  char *text = entry->text;
  FieldOffsets local;
  int *off = offsets;
  if (off == nullptr) {
    LogSplitFields(text, local);
    off = local;
  }
  auto f = [&](int n) { return LogField(text, off, n); };
  int op = entry->operation;

  char date[kDateTextMax];
  char time[kDateTextMax];
  if (DateLongToChar(Language, static_cast<long>(entry->date), DateFormat,
                     date) != 0)
    date[0] = '\0';
  if (TimeLongToChar(Language, static_cast<long>(entry->time), "hh:mm:ss",
                     time) != 0)
    time[0] = '\0';

  uint32_t num = 0;
  uint16_t sub = 0;
  // The new text of an added symptom takes part in the lookup.
  LookUpNumber(op, f(kFieldPath), f(AddSymptomFields::kText), &num, &sub);

  char label[kLabelSize];
  if (op == OpChangeSynonym && StartsWithDigit1To9(f(TextFields::kNewText)))
    Label(kMsgSynonymRefs, label, sizeof label);
  else
    Label(kMsgOpName + op, label, sizeof label);
  fprintf(out, "%s", label);
  WriteHeading(out, op, text, off, num, sub);

  if (op == OpAddRemedy && out2 != nullptr)
    WriteAdditionRow(out2, entry, text, off, num, sub);

  fputc('\n', out);
  PrintLevels(out, f(kFieldPath), op == OpAddSymptomAfter ? 1 : 0);
  WriteBlock(out, op, text, off);

  char footer[kLabelSize];
  FormatLabel(kMsgFooter, "%ld %s %s %d",
              "Log entry number: %ld   Date: %s   Time: %s   User: %d", footer,
              sizeof footer);
  fputc('\n', out);
  fprintf(out, footer, static_cast<long>(entry->number), date, time,
          static_cast<int>(entry->tag));
  fprintf(out, "   Id: %ld", static_cast<long>(entry->symptomId));
  fputc('\n', out);
  char dashes[kLogTextDashes + 1];
  memset(dashes, '-', kLogTextDashes);
  dashes[kLogTextDashes] = '\0';
  fprintf(out, "%s\n", dashes);
  fflush(out);
  if (out2 != nullptr)
    fflush(out2);
  return 0;
}
