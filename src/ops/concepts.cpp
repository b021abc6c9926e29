#include "ops/concepts.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/chainlist.h"
#include "ops/subject.h"
#include "store/sptpath.h"

#include <cstring>
#include <initializer_list>

namespace {

struct ConceptTarget : OpTarget {
  // The repertory's symptom and the concept symptom.
  uint32_t ownNum, partnerNum;
  uint16_t ownSub, partnerSub;
};

// The shared ExSp record of the two operations.
ExSp ConceptRecord;

// Finds a path in the entry's language, and in the other one when
// `otherToo`.
bool FindPath(TblHandle symptoms, int language, const char *path, bool otherToo,
              uint32_t *num, uint16_t *sub) {
  if (GetSptNumFromExactText(symptoms, language, path, num, sub) == 0)
    return true;
  return otherToo &&
         GetSptNumFromExactText(symptoms, 3 - language, path, num, sub) == 0;
}

// Splits the entry and finds its two symptoms. Answers 0, or the result
// after the report.
int TakeApart(LogEntry *entry, const OpContext &ctx, bool otherToo,
              ConceptTarget *t) {
  t->entry = entry;
  t->errors = ctx.errors;
  t->length = strlen(entry->text);
  LogSplitFields(entry->text, t->off);
  int language = OpEntryLanguage(entry->text, t->off);
  if (!FindPath(ctx.symptoms, language,
                LogField(entry->text, t->off, ConceptFields::kSymptomPath),
                otherToo, &t->ownNum, &t->ownSub))
    return OpEntryReport(*t, kMsgSymptomNotFound, 1, 1);
  if (!FindPath(ctx.partnerSymptoms, language,
                LogField(entry->text, t->off, kFieldPath), otherToo,
                &t->partnerNum, &t->partnerSub))
    return OpEntryReport(*t, kMsgConceptSymptomNotFound, 1, 1);
  return 0;
}

// The key and the entry of a direction.
void KeyOf(const ConceptTarget &t, uint8_t direction, ExSp *rec,
           ExSpEntry *item) {
  TblClearExSp(rec);
  rec->CursorState = 0xff;
  bool fromConcept = direction == kConceptToSymptoms;
  rec->Num = fromConcept ? t.partnerNum : t.ownNum;
  rec->Sub = fromConcept ? t.partnerSub : t.ownSub;
  rec->Direction = direction;
  rec->Seq = 0;
  *item = ExSpEntry{fromConcept ? t.ownNum : t.partnerNum,
                    fromConcept ? t.ownSub : t.partnerSub, 0, 0};
}

// Finds the entry in the chain of the key in `rec`; the record that holds
// it becomes the current one, in `rec`. Answers its index, or -1.
int FindInChain(TblHandle h, ExSp *rec, const ExSpEntry &item) {
  for (int seq = 0; seq <= 255; ++seq) {
    rec->Seq = static_cast<uint8_t>(seq);
    if (TblFindFullExSp(h, rec, 0, kFindEqual, nullptr) != 0 || OrvixError != 0)
      return -1;
    int n = ChainCountExSp(*rec);
    for (int i = 0; i < n; ++i)
      if (rec->Entries[i].Num == item.Num && rec->Entries[i].Sub == item.Sub)
        return i;
  }
  return -1;
}

int AddDirection(ConceptTarget &t, TblHandle h, uint8_t direction) {
  ExSp &rec = ConceptRecord;
  ExSpEntry item;
  KeyOf(t, direction, &rec, &item);
  if (FindInChain(h, &rec, item) >= 0)
    return 0; // the link stands
  KeyOf(t, direction, &rec, &item);
  int err;
  if (TblFindFullExSp(h, &rec, 0, kFindEqual, nullptr) != 0 ||
      OrvixError != 0) {
    KeyOf(t, direction, &rec, &item);
    rec.Entries[0] = item;
    rec.Entries[1] = ChainExSpTerminator();
    err = TblSaveExSp(h, &rec, kSaveAdd) != 0 || OrvixError != 0;
  } else {
    err = ChainInsertExSp(h, &rec, item);
  }
  return err != 0 ? OpEntryReport(t, kMsgConceptNotSaved, 1, 1) : 0;
}

int DeleteDirection(ConceptTarget &t, TblHandle h, uint8_t direction) {
  ExSp &rec = ConceptRecord;
  ExSpEntry item;
  KeyOf(t, direction, &rec, &item);
  int at = FindInChain(h, &rec, item);
  if (at < 0)
    return OpEntryReport(t, kMsgConceptLinkNotFound, 1, 1);
  int n = ChainCountExSp(rec);
  memmove(&rec.Entries[at], &rec.Entries[at + 1],
          sizeof(ExSpEntry) * static_cast<size_t>(n - at));
  if (TblSaveExSp(h, &rec, kSaveReplace) != 0 || OrvixError != 0)
    return OpEntryReport(t, kMsgConceptNotSaved, 1, 1);
  return 0;
}

} // namespace

int OpAddConceptRun(LogEntry *entry, const OpContext &ctx) {
  if (ctx.partnerSymptoms == 0 || ctx.concepts == 0)
    return 0;
  ConceptTarget t{};
  if (int r = TakeApart(entry, ctx, true, &t); r != 0)
    return r;
  for (uint8_t d : {kConceptToSymptoms, kSymptomToConcepts})
    if (int r = AddDirection(t, ctx.concepts, d); r != 0)
      return r;
  return OpEntryDone(t);
}

int OpDeleteConceptRun(LogEntry *entry, const OpContext &ctx) {
  if (ctx.partnerSymptoms == 0 || ctx.concepts == 0)
    return 0;
  ConceptTarget t{};
  if (int r = TakeApart(entry, ctx, false, &t); r != 0)
    return r;
  for (uint8_t d : {kConceptToSymptoms, kSymptomToConcepts})
    if (int r = DeleteDirection(t, ctx.concepts, d); r != 0)
      return r;
  return OpEntryDone(t);
}
