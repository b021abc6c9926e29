#include "logrun/logcheck.h"

#include "logrun/levels.h"
#include "logrun/logrun.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/subject.h"
#include "ops/symptoms.h"
#include "platform/cp1252.h"
#include "platform/strutil.h"
#include "services/messages.h"
#include "store/sptpath.h"

#include <cstring>
#include <string>

namespace {

// The message of the catch-all heading below which missing paths go.
constexpr int kMsgAdditionsHeading = 5455;

bool Exists(TblHandle symptoms, int language, const std::string &path) {
  uint32_t num;
  uint16_t sub;
  return GetSptNumFromExactText(symptoms, language, path.c_str(), &num, &sub) ==
         0;
}

std::string TrimEnd(std::string s) {
  while (!s.empty() && s.back() == ' ')
    s.pop_back();
  return s;
}

// An entry that adds a level, with the source's head word, number, dates
// and tag.
int AddLevel(const LogEntry &from, const OpContext &ctx, int op,
             const std::string &language, const std::string &path,
             const std::string &text) {
  static char buffer[kLogTextSize];
  LogEntry e;
  LogClearEntry(&e, buffer);
  e.head = from.head;
  e.number = from.number;
  e.date = from.date;
  e.time = from.time;
  e.tag = from.tag;
  e.operation = static_cast<uint16_t>(op);
  std::string fields = language + "\x01" + path + "\x01" + language + "\x01" +
                       text + "\x01" + "1\x01";
  StrCopy(buffer, kLogTextSize, fields.c_str());
  OpContext inner = ctx;
  inner.silent = 2;
  inner.comment[0] = '\0';
  return op == OpAddSymptomAfter ? OpAddSymptomAfterRun(&e, inner)
                                 : OpAddSymptomBelowRun(&e, inner);
}

// The text of a symptom in the language (1 or 2).
const char *TextIn(const Symptom &s, int language) {
  return language == 1 ? s.Text1 : s.Text2;
}

// Adds `level` below the symptom of `parent` in its alphabetical place:
// behind the last child whose text does not sort after it, or first when
// every child sorts after it. The walk goes no further than the parent's
// last child.
int AddInPlace(const LogEntry &from, const OpContext &ctx,
               const std::string &language, int lang, const std::string &parent,
               const std::string &level) {
  uint32_t pNum;
  uint16_t pSub;
  if (GetSptNumFromExactText(ctx.symptoms, lang, parent.c_str(), &pNum,
                             &pSub) != 0)
    return 1;
  static Symptom child;
  TblFreeSymptomRemed(&child);
  memset(&child, 0, sizeof child);
  child.CursorState = 0xff;
  child.ParentNum = pNum;
  child.ParentSub = pSub;
  bool found = false;
  uint32_t refNum = 0;
  uint16_t refSub = 0;
  for (int err = TblFindFullSymptom(ctx.symptoms, &child, 4, kFindAtOrAfter);
       err == 0 && child.ParentNum == pNum && child.ParentSub == pSub;
       err = TblFindFullSymptom(ctx.symptoms, &child, 4, kFindNext)) {
    if (strcmp(level.c_str(), TextIn(child, lang)) < 0)
      break;
    found = true;
    refNum = child.Num;
    refSub = child.Sub;
  }
  TblFreeSymptomRemed(&child);
  if (!found)
    return AddLevel(from, ctx, OpAddSymptomBelow, language, parent, level);
  char path[kSptPathSize];
  if (GetLevelsFromSptNum(ctx.symptoms, lang, path, refNum, refSub) != 0)
    return 1;
  return AddLevel(from, ctx, OpAddSymptomAfter, language, path, level);
}

// The remedy and author that an entry adding to a symptom names, and
// whether "0" stands for none (a note or link of the symptom itself).
struct NamedPair {
  int remedy = -1, author = -1;
  bool zeroIsNone = false;
};

NamedPair NamesOf(int op) {
  switch (op) {
  case OpAddRemedy:
    return {RemedyFields::kRemedy, RemedyFields::kAuthor, false};
  case OpChangeNote:
    return {NoteFields::kRemedy, NoteFields::kAuthor, true};
  case OpAddLink:
    return {LinkFields::kRemedy, LinkFields::kAuthor, true};
  default:
    return {};
  }
}

bool NamesNone(const char *field, const NamedPair &names) {
  return names.zeroIsNone && strcmp(field, "0") == 0;
}

// A remedy or author that the tables do not know, in an entry that would
// add to re-created levels: its handler would refuse it once the levels
// were written, and the run would undo them. Answers the handler's
// message (2736, 2737), or 0 when both are known or none is named.
int UnknownName(const LogEntry &entry, const FieldOffsets &off) {
  NamedPair names = NamesOf(entry.operation);
  if (names.remedy < 0)
    return 0;
  const char *remedy = LogField(entry.text, off, names.remedy);
  Remed r;
  if (!NamesNone(remedy, names) && OpFindRemedy(remedy, &r) != 0)
    return kMsgRemedyNotFound;
  const char *author = LogField(entry.text, off, names.author);
  Author a;
  if (!NamesNone(author, names) && OpFindAuthor(author, &a) != 0)
    return kMsgAuthorNotFound;
  return 0;
}

} // namespace

int LogAddMissingPath(LogEntry *entry, const OpContext &ctx) {
  size_t length = strlen(entry->text);
  FieldOffsets off;
  LogSplitFields(entry->text, off);
  std::string language = LogField(entry->text, off, kFieldLanguage);
  int lang = OpEntryLanguage(entry->text, off);
  std::string path = LogField(entry->text, off, kFieldPath);
  LogJoinFields(entry->text, length);

  size_t cut = path.find(kSptSeparator);
  if (cut == std::string::npos)
    return 0; // one chapter: nothing can be added
  char levels[kSptMaxLevels][kSptLevelSize];
  int count = 0;
  if (SptSplitPath(path.c_str(), levels, &count) != 0 || count < 2)
    return 0;

  std::string heading = MsgText(kMsgAdditionsHeading);
  std::string chapter = TrimEnd(path.substr(0, cut));
  std::string parent = chapter + " \x02 " + heading;
  if (!Exists(ctx.symptoms, lang, parent) &&
      AddLevel(*entry, ctx, OpAddSymptomBelow, language, chapter, heading) != 0)
    return 1;
  for (int i = 1; i < count; ++i) {
    std::string level = TrimEnd(levels[i]);
    std::string candidate = parent + " \x02 " + level;
    if (!Exists(ctx.symptoms, lang, candidate) &&
        AddInPlace(*entry, ctx, language, lang, parent, level) != 0)
      return 1;
    parent = candidate;
  }

  // The path now stands below the heading: "Mind \x02 fear" becomes
  // "Mind \x02 heading \x02 fear".
  std::string text = entry->text;
  size_t at = text.find(kSptSeparator);
  if (at == std::string::npos)
    return 0;
  at += 2;
  text.insert(at, heading + " \x02 ");
  if (text.size() >= static_cast<size_t>(kLogTextSize))
    return 1;
  StrCopy(entry->text, kLogTextSize, text.c_str());
  return 0;
}

bool LogCheckSymptom(LogEntry *entry, const OpContext &ctx, bool addMissing) {
  int op = entry->operation;
  if (op == OpAddConcept || op == OpDeleteConcept)
    return true;
  size_t length = strlen(entry->text);
  FieldOffsets off;
  LogSplitFields(entry->text, off);
  int lang = OpEntryLanguage(entry->text, off);
  std::string path = LogField(entry->text, off, kFieldPath);
  uint32_t num;
  uint16_t sub;
  bool found =
      GetSptNumFromExactText(ctx.symptoms, lang, path.c_str(), &num, &sub) == 0;
  if (found) {
    char stored[kSptPathSize];
    if (op == OpRenameSymptom || op == OpAddSymptomAfter ||
        op == OpAddSymptomBelow) {
      GetLevelsFromSptNum(ctx.symptoms, lang, stored, num, sub);
      std::string made = stored;
      if (op == OpAddSymptomBelow) {
        made += " \x02 ";
      } else {
        while (!made.empty() && made.back() != kSptSeparator)
          made.pop_back();
        made += " ";
      }
      const char *text = LogField(
          entry->text, off,
          op == OpRenameSymptom ? static_cast<int>(RenameFields::kNewText)
                                : static_cast<int>(AddSymptomFields::kText));
      made += text;
      bool same =
          op == OpRenameSymptom &&
          strcmp(LogField(entry->text, off, RenameFields::kOldText), text) == 0;
      if (!same && text[0] != '\0' && Exists(ctx.symptoms, lang, made)) {
        LogReportEntry(ctx.errors, kMsgSymptomExists, entry, off, 2);
        LogJoinFields(entry->text, length);
        return false;
      }
    } else {
      // A doubled symptom: its next sibling in the text order of the
      // language has the same path but for letter case.
      static Symptom s;
      TblFreeSymptomRemed(&s);
      memset(&s, 0, sizeof s);
      s.CursorState = 0xff;
      s.Num = num;
      s.Sub = sub;
      if (TblFindFullSymptom(ctx.symptoms, &s, 0, kFindEqual) == 0 &&
          TblFindFullSymptom(ctx.symptoms, &s, lang == 1 ? 1 : 3, kFindNext) ==
              0 &&
          GetLevelsFromSptNum(ctx.symptoms, lang, stored, s.Num, s.Sub) == 0) {
        char mine[kSptPathSize];
        GetLevelsFromSptNum(ctx.symptoms, lang, mine, num, sub);
        DbToLower(stored);
        DbToLower(mine);
        if (strcmp(stored, mine) == 0) {
          TblFreeSymptomRemed(&s);
          LogReportEntry(ctx.errors, kMsgDoubledSymptom, entry, off, 1);
          LogJoinFields(entry->text, length);
          return false;
        }
      }
      TblFreeSymptomRemed(&s);
    }
    LogJoinFields(entry->text, length);
    return true;
  }
  bool rebuild =
      op == OpMoveSymptoms || op == OpSplitSymptom || op == OpMergeSymptom;
  // A transfer re-creates the levels of a first-language path where they
  // were, for an entry that adds to it. An entry that changes or removes
  // what must already stand there (a degree, a remedy, a link, a concept
  // link, the symptom itself) could only fail on a new empty level: it is
  // refused as not found, and nothing is written only to be undone.
  // A note of a remedy needs the remedy on the symptom, which a new level
  // does not have.
  bool needsWhatStands =
      op == OpChangeDegree || op == OpDeleteRemedy || op == OpDeleteSymptom ||
      op == OpDeleteLink || op == OpDeleteConcept ||
      (op == OpChangeNote &&
       !NamesNone(LogField(entry->text, off, NoteFields::kRemedy),
                  NamesOf(op)));
  if (!addMissing && ctx.assoc != 0 && lang == 1 && !needsWhatStands) {
    // Names the handler would not find refuse the entry before anything is
    // written, with the handler's own message.
    if (int message = UnknownName(*entry, off); message != 0) {
      LogReportEntry(ctx.errors, message, entry, off, 1);
      LogJoinFields(entry->text, length);
      return false;
    }
    LogJoinFields(entry->text, length);
    if (LogRebuildLevels(entry, ctx, LogRunOwnLog(), &LogRunNextOwnNumber) !=
        0) {
      LogReportEntry(ctx.errors, kMsgPathNotRecreated, entry, nullptr, 2);
      LogJoinFields(entry->text, length);
      return false;
    }
    return true;
  }
  if (!addMissing || rebuild) {
    LogReportEntry(ctx.errors, kMsgSymptomNotFound, entry, off, 1);
    LogJoinFields(entry->text, length);
    // A transfer hands the entry on; its handler tells the same failure.
    return ctx.assoc != 0 && !rebuild;
  }
  LogJoinFields(entry->text, length);
  return LogAddMissingPath(entry, ctx) == 0;
}
