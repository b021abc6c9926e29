#include "ops/references.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/reftext.h"
#include "ops/subject.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

// The new entries of a list as the log holds them: one a line.
std::string EntriesOfLines(const char *text) {
  std::string out;
  for (const char *p = text; *p != '\0'; ++p) {
    if (*p == '\r')
      continue;
    if (*p == '\n')
      out += kRefSeparator;
    else
      out += *p;
  }
  return out;
}

// The entries of a list text in the repertory's style: normalised against
// the tree (style 1) or shortened to the chapter (style 2).
void StyledEntries(const Symptom &s, const std::string &list, int language,
                   const OpContext &ctx, std::vector<std::string> *entries) {
  if (ctx.referenceStyle == 2) {
    RefSplitList(list.c_str(), entries);
    RefShortenList(ctx.symptoms, s.Num, s.Sub, entries, language);
  } else {
    std::string work = list;
    RefNormalizeList(ctx.symptoms, s.Num, s.Sub, &work, language,
                     kRefCaseStored);
    RefSplitList(work.c_str(), entries);
  }
}

// The field's new content for a list: the list that stands (a text in
// words gives way to a list) and the new entries, each rewritten in the
// repertory's style, without doubles, sorted. Every new entry must lead to
// a symptom; one that leads nowhere is named in the errors report (as
// "Bad destination ...") and refuses the entry. Answers 0, or the report
// code.
int MergeList(const Symptom &s, const char *stored, const char *added,
              int language, const char *label, const OpContext &ctx,
              std::string *out) {
  std::string fresh = EntriesOfLines(added);
  std::string old = RefIsList(stored) ? stored : "";
  if (old.size() + strlen(kRefSeparator) + fresh.size() > kRefWorkLimit)
    return kMsgTextTooLong;
  std::vector<std::string> entries, more;
  StyledEntries(s, old, language, ctx, &entries);
  StyledEntries(s, fresh, language, ctx, &more);
  for (const std::string &e : more) {
    uint32_t num;
    uint16_t sub;
    if (e.size() > kRefEntryLimit)
      return kMsgTextTooLong;
    if (RefResolve(ctx.symptoms, s.Num, s.Sub, e.c_str(), language, ctx.errors,
                   label, &num, &sub) != 0)
      return kMsgReferenceNotFound;
  }
  entries.insert(entries.end(), more.begin(), more.end());
  RefDropDuplicates(&entries);
  if (entries.size() > static_cast<size_t>(kRefListMax))
    return kMsgTextTooLong;
  RefSortList(&entries);
  *out = RefJoinList(entries);
  return 0;
}

// The field of the symptom that an operation changes.
char *TargetField(Symptom &s, bool synonym, bool second) {
  if (synonym)
    return second ? s.Synonym2 : s.Synonym1;
  return second ? s.CrossRef2 : s.CrossRef1;
}

int ChangeReference(LogEntry *entry, const OpContext &ctx, bool synonym) {
  OpTarget t{entry, ctx.errors, strlen(entry->text), {}};
  LogSplitFields(entry->text, t.off);
  Symptom &s = SymptomRecord;
  if (OpResolveSubject(entry, ctx.errors, ctx.symptoms, t.off, &s) != 0)
    return 1;
  bool second =
      strcmp(LogField(entry->text, t.off, TextFields::kLanguage), "0") != 0;
  const char *oldText = LogField(entry->text, t.off, TextFields::kOldText);
  const char *newText = LogField(entry->text, t.off, TextFields::kNewText);
  // The field's own size is the limit: a synonym holds 1024 characters, a
  // list of cross-references 2048.
  size_t limit = synonym ? kRefSynonymLimit : kRefCrossRefLimit;
  if (strlen(oldText) > limit || strlen(newText) > limit)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);

  std::string stored = TargetField(s, synonym, second);
  std::string result;
  if (newText[0] == '\0') {
    result.clear();
  } else if (!RefIsList(newText)) {
    result = std::string("(= ") + newText + ")";
  } else if (int code = MergeList(s, stored.c_str(), newText, second ? 1 : 0,
                                  synonym ? "synonyms" : "cross-references",
                                  ctx, &result);
             code != 0) {
    return OpEntryReport(t, code, 1, 1);
  }
  if (result.size() > limit)
    return OpEntryReport(t, kMsgTextTooLong, 1, 1);

  // The normalising has moved the table; the symptom is had again.
  uint32_t num = s.Num;
  uint16_t sub = s.Sub;
  if (TblFindFullSymptom(ctx.symptoms, &s, 0, kFindEqual) != 0 ||
      OrvixError != 0 || s.Num != num || s.Sub != sub)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  StrCopy(TargetField(s, synonym, second), limit + 1, result.c_str());
  if (TblSaveSymptom(ctx.symptoms, &s, kSaveReplace) != 0 || OrvixError != 0)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);

  // The word index follows the field: the words that stood go, the new
  // ones come.
  std::string oldWords = RefWordsOf(stored.c_str());
  std::string newWords = RefWordsOf(result.c_str());
  if (oldWords != newWords) {
    const char *none = nullptr;
    if (!oldWords.empty() &&
        WordIndexRemove(ctx.word1, ctx.word2, second ? none : oldWords.c_str(),
                        second ? oldWords.c_str() : none, num, sub) != 0)
      return OpEntryReport(t, kMsgWordIndexNotUpdated, 1, 1);
    if (!newWords.empty() &&
        WordIndexAdd(ctx.symptoms, ctx.word1, ctx.word2,
                     second ? none : newWords.c_str(),
                     second ? newWords.c_str() : none, num, sub) != 0)
      return OpEntryReport(t, kMsgWordIndexNotUpdated, 1, 1);
  }
  LogJoinFields(entry->text, t.length);
  return 0;
}

} // namespace

int OpChangeCrossReferenceRun(LogEntry *entry, const OpContext &ctx) {
  return ChangeReference(entry, ctx, false);
}

int OpChangeSynonymRun(LogEntry *entry, const OpContext &ctx) {
  return ChangeReference(entry, ctx, true);
}
