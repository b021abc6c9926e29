#include "ops/subject.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/reftext.h"
#include "platform/strutil.h"
#include "store/sptpath.h"

#include <cstring>
#include <string>
#include <vector>

Symptom SymptomRecord;
TblHandle OpRemedTable = 0;
TblHandle OpAuthorTable = 0;

namespace {

// Abbreviations by id; a slot holds "\x01" until it has been looked up.
std::vector<std::string> RemedyNames;
std::vector<std::string> AuthorNames;
const std::string kUnknown = "\x01";

template <typename Rec, typename Find>
const char *CachedName(std::vector<std::string> &cache, uint16_t id,
                       TblHandle table, Find find) {
  if (cache.size() <= id)
    cache.resize(static_cast<size_t>(id) + 1, kUnknown);
  if (cache[id] == kUnknown) {
    int saved = OrvixError;
    Rec rec;
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.Id = id;
    if (table != 0 && find(table, &rec, 0, kFindEqual) == 0)
      cache[id] = rec.Abbrev;
    else
      cache[id].clear();
    OrvixError = saved;
  }
  return cache[id].c_str();
}

} // namespace

void OpReleaseRecords() {
  TblFreeSymptomRemed(&SymptomRecord);
  RefForgetReported();
  RemedyNames.clear();
  AuthorNames.clear();
}

int OpEntryLanguage(const char *text, const int *offsets) {
  const char *digit = LogField(text, offsets, kFieldLanguage);
  return digit[0] == '1' ? 2 : 1;
}

int OpResolveSubject(LogEntry *entry, FILE *errors, TblHandle symptoms,
                     int *offsets, Symptom *found) {
  Symptom &s = *found;
  SymptomRemedy *keep = s.Remedies;
  memset(&s, 0, sizeof s);
  s.Remedies = keep;
  s.CursorState = 0xff;
  int32_t id = entry->symptomId;
  bool haveNumber = false;
  if (id > 0 && id < kLogIdLimit) {
    s.UniqueId = id;
    if (TblFindFullSymptom(symptoms, &s, 8, kFindEqual) == 0)
      haveNumber = true;
    else
      entry->symptomId = id = 0;
  }
  if (id < 1 || id > kLogIdLimit) {
    uint32_t num = 0;
    uint16_t sub = 0;
    if (GetSptNumFromExactText(symptoms, OpEntryLanguage(entry->text, offsets),
                               LogField(entry->text, offsets, kFieldPath), &num,
                               &sub) == 0) {
      s.Num = num;
      s.Sub = sub;
      haveNumber = true;
    }
  }
  // An id of exactly 1000000 names nothing; it is told as not found.
  if (!haveNumber) {
    LogReportEntry(errors, kMsgSymptomNotFound, entry, offsets, 1);
    return 1;
  }
  if (TblFindFullSymptom(symptoms, &s, 0, kFindEqual) != 0) {
    LogReportEntry(errors, kMsgSymptomNotFound, entry, offsets, 1);
    return 1;
  }
  if (entry->symptomId == 0)
    entry->symptomId = s.UniqueId;
  return 0;
}

int OpFindRemedy(const char *abbrev, Remed *found) {
  memset(found, 0, sizeof *found);
  found->CursorState = 0xff;
  StrCopy(found->Abbrev, abbrev);
  if (OpRemedTable == 0)
    return kErrNotOpen;
  return TblFindFullRemed(OpRemedTable, found, 1, kFindEqual);
}

int OpFindAuthor(const char *abbrev, Author *found) {
  memset(found, 0, sizeof *found);
  found->CursorState = 0xff;
  StrCopy(found->Abbrev, abbrev);
  if (OpAuthorTable == 0)
    return kErrNotOpen;
  return TblFindFullAuthor(OpAuthorTable, found, 1, kFindEqual);
}

const char *OpRemedyAbbrev(uint16_t id) {
  return CachedName<Remed>(RemedyNames, id, OpRemedTable, TblFindFullRemed);
}

const char *OpAuthorAbbrev(uint16_t id) {
  return CachedName<Author>(AuthorNames, id, OpAuthorTable, TblFindFullAuthor);
}

const char *OpEntryField(const OpTarget &t, int n) {
  return LogField(t.entry->text, t.off, n);
}

int OpEntryReport(OpTarget &t, int message, int severity, int result) {
  LogReportEntry(t.errors, message, t.entry, t.off, severity);
  return result;
}

int OpEntryDone(const OpTarget &t) {
  LogJoinFields(t.entry->text, t.length);
  return 0;
}

void OpNoteKey(Note *n, uint32_t num, uint16_t sub, char *text1, char *text2) {
  memset(n, 0, sizeof *n);
  TblClearNote(n);
  n->CursorState = 0xff;
  n->Num = num;
  n->Sub = sub;
  n->Text1 = text1;
  n->Text2 = text2;
}
