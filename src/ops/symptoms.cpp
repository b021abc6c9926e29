#include "ops/symptoms.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/chainlist.h"
#include "ops/dispatch.h"
#include "ops/remedy.h"
#include "ops/renumber.h"
#include "ops/subject.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"
#include "store/sptpath.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// An entry taken apart: its split text and the symptom it names, copied
// out of SymptomRecord.
struct Target : OpTarget {
  OwnSymptom sym;
};

// Copies a symptom with its remedy array into `to`.
void CopySymptom(const Symptom &from, OwnSymptom *to) {
  SymptomRemedy *keep = to->s->Remedies;
  *to->s = from;
  to->s->Remedies = keep;
  int n = 0;
  while (from.Remedies != nullptr &&
         TblIsLastSymptomRemed(&from.Remedies[n]) != 2)
    ++n;
  if (to->s->Remedies == nullptr ||
      TblSymptomRemedRoom(to->s->Remedies) < n + 1) {
    TblFreeSymptomRemed(to->s);
    to->s->Remedies = TblAllocSymptomRemed(n + 1);
  }
  if (to->s->Remedies == nullptr)
    return;
  if (n > 0)
    memcpy(to->s->Remedies, from.Remedies,
           sizeof(SymptomRemedy) * static_cast<size_t>(n));
  to->s->Remedies[n] = SymptomRemedy{0, 0, 0, 0xffff};
}

// Splits the entry and finds its symptom. 0, or 1 after the report.
int TakeApart(LogEntry *entry, const OpContext &ctx, Target *t) {
  t->entry = entry;
  t->errors = ctx.errors;
  t->length = strlen(entry->text);
  LogSplitFields(entry->text, t->off);
  if (OpResolveSubject(entry, ctx.errors, ctx.symptoms, t->off,
                       &SymptomRecord) != 0)
    return 1;
  CopySymptom(SymptomRecord, &t->sym);
  return 0;
}

int Language(const Target &t) {
  return OpEntryLanguage(t.entry->text, t.off);
}

// ---------------------------------------------------------------- nested

// An entry of a nested operation: the caller's number, dates and tag, its
// own text and operation, the symptom's id when it has a usable one.
struct Nested {
  LogEntry e;
  std::unique_ptr<char[]> text;
  Nested(const LogEntry &from, int op, const std::vector<std::string> &fields,
         int32_t id)
      : text(new char[kLogTextSize]) {
    LogClearEntry(&e, text.get());
    e.head = from.head;
    e.number = from.number;
    e.date = from.date;
    e.time = from.time;
    e.tag = from.tag;
    e.operation = static_cast<uint16_t>(op);
    e.symptomId = id > 0 && id < kLogIdLimit ? id : 0;
    for (size_t i = 0; i < fields.size(); ++i) {
      if (i > 0)
        StrAppend(text.get(), kLogTextSize, "\x01");
      StrAppend(text.get(), kLogTextSize, fields[i].c_str());
    }
  }
};

OpContext NestedContext(const OpContext &ctx) {
  OpContext inner = ctx;
  inner.silent = 2;
  inner.comment[0] = '\0';
  return inner;
}

// The stored path of a symptom in the first language ("0" in an entry).
std::string PathOf(TblHandle symptoms, uint32_t num, uint16_t sub) {
  char path[kSptPathSize];
  if (GetLevelsFromSptNum(symptoms, 1, path, num, sub) != 0)
    return std::string();
  return path;
}

bool PathExists(TblHandle symptoms, int language, const std::string &path) {
  uint32_t num;
  uint16_t sub;
  return GetSptNumFromExactText(symptoms, language, path.c_str(), &num, &sub) ==
         0;
}

// Moves every note of (num, sub) to (toNum, toSub); a note whose key the
// target holds already stays where it is.
void MoveNotes(TblHandle notes, uint32_t num, uint16_t sub, uint32_t toNum,
               uint16_t toSub) {
  if (notes == 0)
    return;
  static char text1[kNoteTextSize], text2[kNoteTextSize];
  Note n;
  OpNoteKey(&n, num, sub, text1, text2);
  int err = TblFindFullNote(notes, &n, 0, kFindAtOrAfter);
  while (err == 0 && n.Num == num && n.Sub == sub) {
    Note next = n;
    n.Num = toNum;
    n.Sub = toSub;
    if (TblSaveNote(notes, &n, kSaveReplace) == 0) {
      OpNoteKey(&n, num, sub, text1, text2);
      err = TblFindFullNote(notes, &n, 0, kFindAtOrAfter);
    } else {
      n = next;
      err = TblFindFullNote(notes, &n, 0, kFindNext);
    }
  }
}

// Adds each remedy of `from` to the symptom (toId, toPath) through the
// inner addition, with mark 2 and the merge given.
void CopyRemedies(const OpContext &ctx, const LogEntry &caller,
                  const Symptom &from, int32_t toId, const std::string &toPath,
                  int merge) {
  OpContext inner = NestedContext(ctx);
  inner.views = 0;
  std::vector<SymptomRemedy> list;
  for (int i = 0; from.Remedies != nullptr &&
                  TblIsLastSymptomRemed(&from.Remedies[i]) != 2;
       ++i)
    list.push_back(from.Remedies[i]);
  for (const SymptomRemedy &r : list) {
    char degree[8];
    StrFormat(degree, "%d", r.Degree);
    Nested add(caller, OpAddRemedy,
               {"0", toPath, OpRemedyAbbrev(r.RemedyId),
                OpAuthorAbbrev(r.AuthorId & kAuthorMask), degree},
               toId);
    OpAddRemedyEntry(&add.e, inner, 2, merge);
  }
}

// Runs a nested rename of the symptom's text in `language` (1 or 2) to
// `text`; 0 done.
int RenameNested(const OpContext &ctx, const LogEntry &caller, const Symptom &s,
                 const std::string &path, int language, const char *text) {
  const char *old = language == 1 ? s.Text1 : s.Text2;
  Nested rename(caller, OpRenameSymptom,
                {language == 1 ? "0" : "1", path, language == 1 ? "0" : "1",
                 old, text, "1", "", ""},
                s.UniqueId);
  return OpRenameSymptomRun(&rename.e, NestedContext(ctx));
}

int DeleteNested(const OpContext &ctx, const LogEntry &caller,
                 const std::string &path, int32_t id) {
  Nested del(caller, OpDeleteSymptom, {"0", path}, id);
  return OpDeleteSymptomRun(&del.e, NestedContext(ctx));
}

// ---------------------------------------------------------------- add

// The last descendant of a symptom in book order: the last symptom behind
// it with a deeper level before one of its own level or above.
void LastDescendant(TblHandle symptoms, const Symptom &r, uint32_t *num,
                    uint16_t *sub) {
  *num = r.Num;
  *sub = r.Sub;
  OwnSymptom w;
  if (w.ByNumber(symptoms, r.Num, r.Sub) != 0)
    return;
  while (TblFindFullSymptom(symptoms, w.s, 0, kFindNext) == 0 &&
         w.s->Level > r.Level) {
    *num = w.s->Num;
    *sub = w.s->Sub;
  }
}

int AddSymptom(LogEntry *entry, const OpContext &ctx, bool below) {
  // The new id comes first: a failure after it leaves an id unused.
  int32_t newId = static_cast<int32_t>(TblGetNewSptId(ctx.symptoms, 0));
  Target t;
  if (TakeApart(entry, ctx, &t) != 0)
    return 1;
  const Symptom &r = *t.sym.s;
  uint8_t level;
  uint32_t parentNum, pNum;
  uint16_t parentSub, pSub;
  if (below) {
    if (r.Level >= kSptMaxLevels)
      return OpEntryReport(t, kMsgSymptomNotAdded, 1, 1);
    level = static_cast<uint8_t>(r.Level + 1);
    parentNum = r.Num;
    parentSub = r.Sub;
    pNum = r.Num;
    pSub = r.Sub;
  } else {
    level = r.Level;
    parentNum = r.ParentNum;
    parentSub = r.ParentSub;
    LastDescendant(ctx.symptoms, r, &pNum, &pSub);
  }
  OwnSymptom p;
  if (p.ByNumber(ctx.symptoms, pNum, pSub) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  uint32_t n2 = p.s->Num2;
  uint16_t s2 = p.s->Sub2;
  uint8_t chapter = p.s->Chapter;
  if (pSub >= kRenumberMaxSub)
    return OpEntryReport(t, kMsgSymptomNotAdded, 1, 1);

  if (int code = OpRenumberMakeRoom(ctx, pNum, pSub, false); code != 0)
    return OpEntryReport(t, code, 1, 1);
  if (n2 != 0)
    if (int code = OpRenumberMakeRoom2(ctx, n2, s2); code != 0)
      return OpEntryReport(t, code, 1, 1);

  OwnSymptom made;
  Symptom &s = made.Key();
  TblClearSymptom(&s);
  s.CursorState = 0xff;
  s.UniqueId = newId;
  s.Num = pNum;
  s.Sub = static_cast<uint16_t>(pSub + 1);
  s.Num2 = n2;
  s.Sub2 = static_cast<uint16_t>(s2 + 1);
  s.Chapter = chapter;
  s.Level = level;
  s.ParentNum = parentNum;
  s.ParentSub = parentSub;
  bool set1 = false, set2 = false;
  const int pairs[2][2] = {
      {AddSymptomFields::kLanguage, AddSymptomFields::kText},
      {AddSymptomFields::kLanguage2, AddSymptomFields::kText2}};
  for (const auto &pair : pairs) {
    if (!LogHasField(t.off, pair[1]))
      continue;
    bool first = OpEntryField(t, pair[0])[0] == '0';
    if (first && !set1) {
      StrCopy(s.Text1, OpEntryField(t, pair[1]));
      set1 = true;
    } else if (!first && !set2) {
      StrCopy(s.Text2, OpEntryField(t, pair[1]));
      set2 = true;
    }
  }
  s.Remedies = TblAllocSymptomRemed(1);
  if (s.Remedies == nullptr)
    return OpEntryReport(t, kMsgNoMemory, 1, 1);
  s.Remedies[0] = SymptomRemedy{0, 0, 0, 0xffff};
  if (TblSaveSymptom(ctx.symptoms, &s, kSaveAdd) != 0)
    return OpEntryReport(t, kMsgSymptomNotAdded, 1, 1);

  if (WordIndexAdd(ctx.symptoms, ctx.word1, ctx.word2, s.Text1, s.Text2, s.Num,
                   s.Sub) != 0)
    return OpEntryReport(t, kMsgWordIndexNotUpdated, 1, 1);

  OwnSymptom parent;
  if (parentNum != 0 || parentSub != 0)
    if (parent.ByNumber(ctx.symptoms, parentNum, parentSub) == 0) {
      ++parent.s->ChildCount;
      if (TblSaveSymptom(ctx.symptoms, parent.s, kSaveReplace) != 0)
        return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
    }

  if (ctx.comment[0] != '\0' && ctx.notes != 0) {
    static char text1[kNoteTextSize], text2[kNoteTextSize];
    Note n;
    OpNoteKey(&n, s.Num, s.Sub, text1, text2);
    n.NoteKind = 3;
    text1[0] = text2[0] = '\0';
    if (TblFindFullNote(ctx.notes, &n, 0, kFindEqual) == 0) {
      StrAppend(text1, "\n");
      StrAppend(text1, ctx.comment);
      if (TblSaveNote(ctx.notes, &n, kSaveReplace) != 0)
        return OpEntryReport(t, kMsgNoteNotSaved, 1, 1);
    } else {
      StrCopy(text1, ctx.comment);
      if (TblSaveNote(ctx.notes, &n, kSaveAdd) != 0)
        return OpEntryReport(t, kMsgNoteNotAdded, 1, 1);
    }
  }

  // The new symptom is the shared record for whoever called.
  SymptomRemedy *keep = SymptomRecord.Remedies;
  memset(&SymptomRecord, 0, sizeof SymptomRecord);
  SymptomRecord.Remedies = keep;
  SymptomRecord.CursorState = 0xff;
  SymptomRecord.Num = s.Num;
  SymptomRecord.Sub = s.Sub;
  TblFindFullSymptom(ctx.symptoms, &SymptomRecord, 0, kFindEqual);
  return OpEntryDone(t);
}

// ---------------------------------------------------------------- delete

// Takes the symptom's entries out of the Extract chains of its remedies.
// The author is compared as the list holds it, with the symptom's side
// masked: a list entry that holds the user bit stays.
int RemoveFromExtract(TblHandle extract, const Symptom &s) {
  if (extract == 0)
    return 0;
  static Extract rec;
  for (int i = 0;
       s.Remedies != nullptr && TblIsLastSymptomRemed(&s.Remedies[i]) != 2;
       ++i) {
    uint16_t remedy = s.Remedies[i].RemedyId;
    uint16_t author = s.Remedies[i].AuthorId & kAuthorMask;
    for (int seq = 0; seq <= 255; ++seq) {
      TblClearExtract(&rec);
      rec.CursorState = 0xff;
      rec.RemedyId = remedy;
      rec.Seq = static_cast<uint8_t>(seq);
      ExtractEntry first, last;
      int count = 0;
      if (TblPeekExtract(extract, &rec, &first, &last, &count) != 0)
        break;
      if (count == 0 || last.Num < s.Num ||
          (last.Num == s.Num && last.Sub < s.Sub))
        continue;
      if (first.Num > s.Num || (first.Num == s.Num && first.Sub > s.Sub))
        break;
      if (TblFindFullExtract(extract, &rec, 0, kFindEqual, nullptr) != 0)
        return 1;
      int n = ChainCountExtract(rec);
      int at = -1;
      for (int j = 0; j < n; ++j)
        if (rec.Entries[j].Num == s.Num && rec.Entries[j].Sub == s.Sub &&
            rec.Entries[j].AuthorId == author) {
          at = j;
          break;
        }
      if (at < 0)
        continue; // entries of one symptom may stand across two records
      memmove(&rec.Entries[at], &rec.Entries[at + 1],
              sizeof(ExtractEntry) * static_cast<size_t>(n - at));
      if (TblSaveExtract(extract, &rec, kSaveReplace) != 0)
        return 1;
      break;
    }
  }
  return 0;
}

int DeleteNotesOf(TblHandle notes, uint32_t num, uint16_t sub) {
  if (notes == 0)
    return 0;
  for (;;) {
    Note n;
    OpNoteKey(&n, num, sub);
    if (TblFindFullNote(notes, &n, 0, kFindAtOrAfter) != 0 || n.Num != num ||
        n.Sub != sub)
      return 0;
    if (TblDeleteNote(notes) != 0)
      return 1;
  }
}

// The symptom leaves the partner's lists, and its own records go.
int DeleteConcepts(const OpContext &ctx, uint32_t num, uint16_t sub) {
  if (ctx.symptoms == 0 || ctx.partnerSymptoms == 0 || ctx.concepts == 0)
    return 0;
  uint8_t own, other;
  OpConceptDirections(ctx.symptoms, &own, &other);
  static ExSp rec, rev;
  for (;;) {
    TblClearExSp(&rec);
    rec.CursorState = 0xff;
    rec.Num = num;
    rec.Sub = sub;
    rec.Direction = own;
    rec.Seq = 0;
    if (TblFindFullExSp(ctx.concepts, &rec, 0, kFindAtOrAfter, nullptr) != 0 ||
        rec.Num != num || rec.Sub != sub || rec.Direction != own)
      return 0;
    ExSp mine = rec;
    for (int i = 0;
         i < kChainScanMax && TblIsLastExSpSymptom(&mine.Entries[i]) != 2;
         ++i) {
      TblClearExSp(&rev);
      rev.CursorState = 0xff;
      rev.Num = mine.Entries[i].Num;
      rev.Sub = mine.Entries[i].Sub;
      rev.Direction = other;
      for (int err =
               TblFindFullExSp(ctx.concepts, &rev, 0, kFindAtOrAfter, nullptr);
           err == 0 && rev.Num == mine.Entries[i].Num &&
           rev.Sub == mine.Entries[i].Sub && rev.Direction == other;
           err = TblFindFullExSp(ctx.concepts, &rev, 0, kFindNext, nullptr)) {
        int n = ChainCountExSp(rev);
        for (int j = 0; j < n; ++j)
          if (rev.Entries[j].Num == num && rev.Entries[j].Sub == sub) {
            memmove(&rev.Entries[j], &rev.Entries[j + 1],
                    sizeof(ExSpEntry) * static_cast<size_t>(n - j));
            if (TblSaveExSp(ctx.concepts, &rev, kSaveReplace) != 0)
              return 1;
            break;
          }
      }
    }
    TblClearExSp(&rec);
    rec.CursorState = 0xff;
    rec.Num = num;
    rec.Sub = sub;
    rec.Direction = own;
    rec.Seq = mine.Seq;
    if (TblFindFullExSp(ctx.concepts, &rec, 0, kFindEqual, nullptr) != 0 ||
        TblDeleteExSp(ctx.concepts) != 0)
      return 1;
  }
}

// The words of a symptom, both languages: its texts through the index's
// removal, and the synonyms and references it holds in words entry by
// entry.
int RemoveWords(const OpContext &ctx, const Symptom &s) {
  if (WordIndexRemove(ctx.word1, ctx.word2, s.Text1, s.Text2, s.Num, s.Sub) !=
      0)
    return 1;
  const char *extra[2][2] = {{s.Synonym1, s.CrossRef1},
                             {s.Synonym2, s.CrossRef2}};
  TblHandle words[2] = {ctx.word1, ctx.word2};
  for (int lang = 0; lang < 2; ++lang)
    for (const char *text : extra[lang])
      if (OpTextInWords(text) &&
          OpRemoveWordsExactly(words[lang], text, s.Num, s.Sub) != 0)
        return 1;
  return 0;
}

} // namespace

// ---------------------------------------------------------------- rename

int OpRenameSymptomRun(LogEntry *entry, const OpContext &ctx) {
  Target t;
  if (TakeApart(entry, ctx, &t) != 0)
    return 1;
  Symptom &s = *t.sym.s;
  char old1[sizeof s.Text1], old2[sizeof s.Text2];
  StrCopy(old1, s.Text1);
  StrCopy(old2, s.Text2);
  const int triples[2][2] = {
      {RenameFields::kLanguage, RenameFields::kNewText},
      {RenameFields::kLanguage2, RenameFields::kNewText2}};
  for (const auto &triple : triples) {
    const char *text = OpEntryField(t, triple[1]);
    if (text[0] == '\0')
      continue;
    if (OpEntryField(t, triple[0])[0] == '0')
      StrCopy(s.Text1, text);
    else
      StrCopy(s.Text2, text);
  }
  OwnSymptom cur;
  if (cur.ByNumber(ctx.symptoms, s.Num, s.Sub) != 0)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  StrCopy(cur.s->Text1, s.Text1);
  StrCopy(cur.s->Text2, s.Text2);
  if (TblSaveSymptom(ctx.symptoms, cur.s, kSaveReplace) != 0)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  bool changed1 = strcmp(old1, s.Text1) != 0;
  bool changed2 = strcmp(old2, s.Text2) != 0;
  if (changed1 || changed2) {
    if (WordIndexRemove(ctx.word1, ctx.word2, changed1 ? old1 : nullptr,
                        changed2 ? old2 : nullptr, s.Num, s.Sub) != 0 ||
        WordIndexAdd(ctx.symptoms, ctx.word1, ctx.word2,
                     changed1 ? s.Text1 : nullptr, changed2 ? s.Text2 : nullptr,
                     s.Num, s.Sub) != 0)
      return OpEntryReport(t, kMsgWordIndexNotUpdated, 1, 1);
  }
  return OpEntryDone(t);
}

int OpAddSymptomAfterRun(LogEntry *entry, const OpContext &ctx) {
  return AddSymptom(entry, ctx, false);
}

int OpAddSymptomBelowRun(LogEntry *entry, const OpContext &ctx) {
  return AddSymptom(entry, ctx, true);
}

int OpDeleteSymptomRun(LogEntry *entry, const OpContext &ctx) {
  Target t;
  if (TakeApart(entry, ctx, &t) != 0)
    return 1;
  uint8_t top = t.sym.s->Level;
  if (top <= 1)
    return OpEntryReport(t, kMsgChapterNotDeleted, 1, 1);
  OwnSymptom cur;
  CopySymptom(*t.sym.s, &cur);
  for (;;) {
    const Symptom &s = *cur.s;
    uint32_t num = s.Num;
    uint16_t sub = s.Sub;
    if (RemoveWords(ctx, s) != 0)
      return OpEntryReport(t, kMsgWordsNotRemoved, 1, 1);
    if (RemoveFromExtract(ctx.extract, s) != 0)
      return OpEntryReport(t, kMsgExtractNotSaved, 1, 1);
    if (DeleteNotesOf(ctx.notes, num, sub) != 0)
      return OpEntryReport(t, kMsgSymptomNotesNotDeleted, 1, 1);
    if (DeleteConcepts(ctx, num, sub) != 0)
      return OpEntryReport(t, kMsgConceptNotSaved, 1, 1);
    OwnSymptom gone;
    if (gone.ByNumber(ctx.symptoms, num, sub) != 0 ||
        TblDeleteSymptom(ctx.symptoms) != 0)
      return OpEntryReport(t, kMsgSymptomNotDeleted, 1, 1);
    Symptom &k = cur.Key();
    k.Num = num;
    k.Sub = sub;
    if (TblFindFullSymptom(ctx.symptoms, cur.s, 0, kFindAtOrAfter) != 0 ||
        cur.s->Level <= top)
      break;
  }
  return OpEntryDone(t);
}

// ---------------------------------------------------------------- move

int OpMoveSymptomsRun(LogEntry *entry, const OpContext &ctx) {
  Target t;
  if (TakeApart(entry, ctx, &t) != 0)
    return 1;
  const Symptom &target = *t.sym.s;
  int language = Language(t);
  std::string firstPath = OpEntryField(t, MoveFields::kFirst);
  std::string lastPath = OpEntryField(t, MoveFields::kLast);
  int mode = atoi(OpEntryField(t, MoveFields::kKind));
  bool below = mode == 1 || mode == 3;
  bool moving = mode == 1 || mode == 2;

  uint32_t fNum, lNum;
  uint16_t fSub, lSub;
  if (GetSptNumFromExactText(ctx.symptoms, language, firstPath.c_str(), &fNum,
                             &fSub) != 0 ||
      GetSptNumFromExactText(ctx.symptoms, language, lastPath.c_str(), &lNum,
                             &lSub) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  if (target.Num >= fNum && target.Num <= lNum)
    return OpEntryReport(t, kMsgMoveTargetInRange, 1, 1);

  // The range, in book order, by unique id and path: numbers move while
  // the copies are made, paths and ids do not.
  struct Source {
    int32_t id;
    std::string path;
    uint8_t level;
  };
  std::vector<Source> range;
  {
    OwnSymptom w;
    if (w.ByNumber(ctx.symptoms, fNum, fSub) != 0)
      return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
    for (;;) {
      if (strlen(w.s->Text1) >= 96)
        return OpEntryReport(t, kMsgMoveTextTooLong, 1, 1);
      char path[kSptPathSize];
      GetLevelsFromSptNum(ctx.symptoms, language, path, w.s->Num, w.s->Sub);
      range.push_back({w.s->UniqueId, path, w.s->Level});
      uint32_t num = w.s->Num;
      uint16_t sub = w.s->Sub;
      if (num > lNum || (num == lNum && sub >= lSub))
        break;
      if (w.ByNumber(ctx.symptoms, num, sub) != 0 ||
          TblFindFullSymptom(ctx.symptoms, w.s, 0, kFindNext) != 0)
        break;
    }
  }

  // The place of the copy at each level: a copy goes behind the symptom
  // noted at its level, or below the one noted a level up.
  int32_t table[kSptMaxLevels + 2] = {};
  int targetLevel = target.Level;
  table[targetLevel] = target.UniqueId;
  OpContext inner = NestedContext(ctx);
  std::vector<int32_t> made;
  uint8_t firstLevel = range.front().level;
  for (const Source &src : range) {
    OwnSymptom c;
    if (c.ById(ctx.symptoms, src.id) != 0 || src.id <= 0) {
      uint32_t n;
      uint16_t sb;
      if (GetSptNumFromText(ctx.symptoms, language, src.path.c_str(), &n,
                            &sb) != 0 ||
          c.ByNumber(ctx.symptoms, n, sb) != 0)
        continue;
    }
    int level = targetLevel + (c.s->Level - firstLevel) + (below ? 1 : 0);
    if (level < 2 || level > kSptMaxLevels)
      continue;
    int32_t ref;
    int op;
    if (table[level] != 0) {
      ref = table[level];
      op = OpAddSymptomAfter;
    } else {
      ref = table[level - 1];
      op = OpAddSymptomBelow;
    }
    OwnSymptom r;
    if (ref == 0 || r.ById(ctx.symptoms, ref) != 0)
      continue;
    std::string text1 = std::string(c.s->Text1) + " #";
    std::string text2 =
        c.s->Text2[0] != '\0' ? std::string(c.s->Text2) + " #" : "";
    Nested add(
        *entry, op,
        {"0", PathOf(ctx.symptoms, r.s->Num, r.s->Sub), "0", text1, "1", text2},
        ref);
    if ((op == OpAddSymptomAfter ? OpAddSymptomAfterRun(&add.e, inner)
                                 : OpAddSymptomBelowRun(&add.e, inner)) != 0)
      continue; // a failing add has reported; the move goes on
    int32_t newId = SymptomRecord.UniqueId;
    uint32_t newNum = SymptomRecord.Num;
    uint16_t newSub = SymptomRecord.Sub;
    made.push_back(newId);
    table[level] = newId;
    for (int below2 = level + 1; below2 <= kSptMaxLevels; ++below2)
      table[below2] = 0;

    // The source again: the add may have moved it.
    if (c.ById(ctx.symptoms, src.id) != 0)
      continue;
    std::string newPath = PathOf(ctx.symptoms, newNum, newSub);
    CopyRemedies(ctx, *entry, *c.s, newId, newPath, kMergeCheck);
    if (ctx.concepts != 0 && ctx.partnerSymptoms != 0 &&
        OpHasHandler(OpAddConcept)) {
      uint8_t own, other;
      OpConceptDirections(ctx.symptoms, &own, &other);
      static ExSp rec;
      TblClearExSp(&rec);
      rec.CursorState = 0xff;
      rec.Num = c.s->Num;
      rec.Sub = c.s->Sub;
      rec.Direction = own;
      std::vector<std::pair<uint32_t, uint16_t>> partners;
      for (int err =
               TblFindFullExSp(ctx.concepts, &rec, 0, kFindAtOrAfter, nullptr);
           err == 0 && rec.Num == c.s->Num && rec.Sub == c.s->Sub &&
           rec.Direction == own;
           err = TblFindFullExSp(ctx.concepts, &rec, 0, kFindNext, nullptr))
        for (int i = 0; i < ChainCountExSp(rec); ++i)
          partners.emplace_back(rec.Entries[i].Num, rec.Entries[i].Sub);
      for (const auto &[pn, ps] : partners) {
        std::string partnerPath = PathOf(ctx.partnerSymptoms, pn, ps);
        Nested link(*entry, OpAddConcept, {"0", partnerPath, newPath}, 0);
        LogDispatch(&link.e, inner);
      }
    }
    OwnSymptom n;
    if (n.ById(ctx.symptoms, newId) == 0) {
      StrCopy(n.s->Synonym1, c.s->Synonym1);
      StrCopy(n.s->Synonym2, c.s->Synonym2);
      StrCopy(n.s->CrossRef1, c.s->CrossRef1);
      StrCopy(n.s->CrossRef2, c.s->CrossRef2);
      if (c.s->SymptomType != 0 || c.s->SymptomSubType != 0) {
        n.s->SymptomType = c.s->SymptomType;
        n.s->SymptomSubType = c.s->SymptomSubType;
      }
      if (TblSaveSymptom(ctx.symptoms, n.s, kSaveReplace) != 0)
        return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
      // The words of references and synonyms held in words follow them.
      const char *extra[2][2] = {{n.s->Synonym1, n.s->CrossRef1},
                                 {n.s->Synonym2, n.s->CrossRef2}};
      for (int lang = 0; lang < 2; ++lang)
        for (const char *text : extra[lang])
          if (OpTextInWords(text) &&
              WordIndexAdd(ctx.symptoms, lang == 0 ? ctx.word1 : 0,
                           lang == 1 ? ctx.word2 : 0,
                           lang == 0 ? text : nullptr,
                           lang == 1 ? text : nullptr, newNum, newSub) != 0)
            return OpEntryReport(t, kMsgWordIndexNotUpdated, 1, 1);
    }
    // The notes go to the new symptom, in a copy as well.
    MoveNotes(ctx.notes, c.s->Num, c.s->Sub, newNum, newSub);
  }

  if (moving) {
    // The sources go, each subtree at once, first to last.
    for (const Source &src : range) {
      OwnSymptom c;
      if (c.ById(ctx.symptoms, src.id) != 0 || src.id <= 0)
        continue; // gone with a subtree deleted before it
      std::string path = PathOf(ctx.symptoms, c.s->Num, c.s->Sub);
      if (!path.empty() && path.back() == ' ')
        path += "#";
      if (DeleteNested(ctx, *entry, path, src.id) != 0)
        break;
    }
  }

  // The suffix goes where the name is free at the target.
  for (int32_t id : made) {
    OwnSymptom n;
    if (n.ById(ctx.symptoms, id) != 0)
      continue;
    size_t len = strlen(n.s->Text1);
    if (len < 2 || strcmp(n.s->Text1 + len - 2, " #") != 0)
      continue;
    std::string path = PathOf(ctx.symptoms, n.s->Num, n.s->Sub);
    std::string plain = path.substr(0, path.size() - 2);
    if (PathExists(ctx.symptoms, 1, plain))
      continue;
    std::string text1(n.s->Text1, len - 2);
    size_t len2 = strlen(n.s->Text2);
    std::string text2 = n.s->Text2;
    if (len2 >= 2 && strcmp(n.s->Text2 + len2 - 2, " #") == 0)
      text2.resize(len2 - 2);
    if (RenameNested(ctx, *entry, *n.s, path, 1, text1.c_str()) != 0)
      continue;
    if (text2 != n.s->Text2 && n.ById(ctx.symptoms, id) == 0) {
      char path2[kSptPathSize];
      GetLevelsFromSptNum(ctx.symptoms, 2, path2, n.s->Num, n.s->Sub);
      RenameNested(ctx, *entry, *n.s, path2, 2, text2.c_str());
    }
  }
  return OpEntryDone(t);
}

// ---------------------------------------------------------------- split

int OpSplitSymptomRun(LogEntry *entry, const OpContext &ctx) {
  Target t;
  if (TakeApart(entry, ctx, &t) != 0)
    return 1;
  const Symptom &s = *t.sym.s;
  int language = Language(t);
  std::string path = OpEntryField(t, kFieldPath);
  std::string lang = OpEntryField(t, kFieldLanguage);
  std::string childText = OpEntryField(t, SplitFields::kSubLevel);
  int mode = atoi(OpEntryField(t, SplitFields::kKind));
  OpContext inner = NestedContext(ctx);

  std::string childPath = path + " \x02 " + childText;
  if (!PathExists(ctx.symptoms, language, childPath)) {
    Nested add(*entry, OpAddSymptomBelow,
               {lang, path, lang, childText, "1", ""}, s.UniqueId);
    if (OpAddSymptomBelowRun(&add.e, inner) != 0)
      return 1;
  }
  // The child stands right behind its parent.
  OwnSymptom me, child;
  if (me.ById(ctx.symptoms, s.UniqueId) != 0 &&
      me.ByNumber(ctx.symptoms, s.Num, s.Sub) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  CopySymptom(*me.s, &child);
  if (TblFindFullSymptom(ctx.symptoms, child.s, 0, kFindNext) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  std::string childStored = PathOf(ctx.symptoms, child.s->Num, child.s->Sub);

  if (mode != 1) {
    CopyRemedies(ctx, *entry, *me.s, child.s->UniqueId, childStored,
                 kMergeCheck);
    MoveNotes(ctx.notes, me.s->Num, me.s->Sub, child.s->Num, child.s->Sub);
  }
  if (mode == 2) {
    for (;;) {
      OwnSymptom cur;
      if (cur.ByNumber(ctx.symptoms, me.s->Num, me.s->Sub) != 0 ||
          cur.s->Remedies == nullptr ||
          TblIsLastSymptomRemed(&cur.s->Remedies[0]) == 2)
        break;
      const SymptomRemedy &r = cur.s->Remedies[0];
      char degree[8];
      StrFormat(degree, "%d", r.Degree);
      Nested del(*entry, OpDeleteRemedy,
                 {"0", PathOf(ctx.symptoms, cur.s->Num, cur.s->Sub),
                  OpRemedyAbbrev(r.RemedyId),
                  OpAuthorAbbrev(r.AuthorId & kAuthorMask), degree},
                 cur.s->UniqueId);
      if (OpDeleteRemedyRun(&del.e, inner) != 0)
        break;
    }
  }
  OwnSymptom now;
  if (now.ByNumber(ctx.symptoms, me.s->Num, me.s->Sub) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  const char *newText = OpEntryField(t, SplitFields::kText);
  if (newText[0] != '\0' &&
      RenameNested(ctx, *entry, *now.s,
                   PathOf(ctx.symptoms, now.s->Num, now.s->Sub), language,
                   newText) != 0)
    return 1;
  if (mode == 2) {
    if (now.ByNumber(ctx.symptoms, me.s->Num, me.s->Sub) != 0 ||
        child.ByNumber(ctx.symptoms, child.s->Num, child.s->Sub) != 0)
      return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
    StrCopy(child.s->Synonym1, now.s->Synonym1);
    StrCopy(child.s->Synonym2, now.s->Synonym2);
    StrCopy(child.s->CrossRef1, now.s->CrossRef1);
    StrCopy(child.s->CrossRef2, now.s->CrossRef2);
    if (TblSaveSymptom(ctx.symptoms, child.s, kSaveReplace) != 0)
      return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
    // What the symptom held in words goes from its entries to the child's.
    const char *extra[2][2] = {{now.s->Synonym1, now.s->CrossRef1},
                               {now.s->Synonym2, now.s->CrossRef2}};
    TblHandle words[2] = {ctx.word1, ctx.word2};
    for (int l = 0; l < 2; ++l)
      for (const char *text : extra[l])
        if (OpTextInWords(text) &&
            (OpRemoveWordsExactly(words[l], text, now.s->Num, now.s->Sub) !=
                 0 ||
             WordIndexAdd(ctx.symptoms, l == 0 ? ctx.word1 : 0,
                          l == 1 ? ctx.word2 : 0, l == 0 ? text : nullptr,
                          l == 1 ? text : nullptr, child.s->Num,
                          child.s->Sub) != 0))
          return OpEntryReport(t, kMsgWordIndexNotUpdated, 1, 1);
    if (now.ByNumber(ctx.symptoms, me.s->Num, me.s->Sub) != 0)
      return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
    now.s->Synonym1[0] = now.s->Synonym2[0] = '\0';
    now.s->CrossRef1[0] = now.s->CrossRef2[0] = '\0';
    if (TblSaveSymptom(ctx.symptoms, now.s, kSaveReplace) != 0)
      return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  }
  return OpEntryDone(t);
}

// ---------------------------------------------------------------- merge

namespace {

void AppendWithSlash(char *to, size_t cap, const char *text) {
  if (text[0] == '\0')
    return;
  if (to[0] != '\0')
    StrAppend(to, cap, " / ");
  StrAppend(to, cap, text);
}

} // namespace

int OpMergeSymptomRun(LogEntry *entry, const OpContext &ctx) {
  Target t;
  if (TakeApart(entry, ctx, &t) != 0)
    return 1;
  int language = Language(t);
  int32_t id = t.sym.s->UniqueId;
  uint32_t num = t.sym.s->Num;
  uint16_t sub = t.sym.s->Sub;
  int merge = atoi(OpEntryField(t, MergeFields::kKind));
  const char *newText = OpEntryField(t, MergeFields::kText);
  if (newText[0] != '\0' &&
      RenameNested(ctx, *entry, *t.sym.s, OpEntryField(t, kFieldPath), language,
                   newText) != 0)
    return 1;

  OwnSymptom me, next;
  if (me.ByNumber(ctx.symptoms, num, sub) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  CopySymptom(*me.s, &next);
  if (TblFindFullSymptom(ctx.symptoms, next.s, 0, kFindNext) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  // Mode 2 replaces the current record: the symptom is found again.
  if (me.ByNumber(ctx.symptoms, num, sub) != 0)
    return OpEntryReport(t, kMsgSymptomNotFound, 1, 1);
  AppendWithSlash(me.s->CrossRef1, sizeof me.s->CrossRef1, next.s->CrossRef1);
  AppendWithSlash(me.s->Synonym1, sizeof me.s->Synonym1, next.s->Synonym1);
  if (TblSaveSymptom(ctx.symptoms, me.s, kSaveReplace) != 0)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  // What came over is indexed when the text it joined is held in words.
  const char *joined[2][2] = {{me.s->CrossRef1, next.s->CrossRef1},
                              {me.s->Synonym1, next.s->Synonym1}};
  for (const auto &pair : joined)
    if (OpTextInWords(pair[0]) && pair[1][0] != '\0' &&
        WordIndexAdd(ctx.symptoms, ctx.word1, 0, pair[1], nullptr, num, sub) !=
            0)
      return OpEntryReport(t, kMsgWordIndexNotUpdated, 1, 1);

  // The successor's descendants come up a level; its children become the
  // symptom's.
  uint8_t nextLevel = next.s->Level;
  uint32_t nNum = next.s->Num;
  uint16_t nSub = next.s->Sub;
  int32_t nextId = next.s->UniqueId;
  {
    OwnSymptom d;
    CopySymptom(*next.s, &d);
    for (;;) {
      Symptom &k = d.Key();
      uint32_t at = d.s->Num;
      uint16_t atSub = d.s->Sub;
      k.Num = at;
      k.Sub = atSub;
      if (TblFindFullSymptom(ctx.symptoms, d.s, 0, kFindEqual) != 0 ||
          TblFindFullSymptom(ctx.symptoms, d.s, 0, kFindNext) != 0 ||
          d.s->Level <= nextLevel)
        break;
      if (d.s->Level == nextLevel + 1) {
        d.s->ParentNum = num;
        d.s->ParentSub = sub;
      }
      --d.s->Level;
      if (TblSaveSymptom(ctx.symptoms, d.s, kSaveReplace) != 0)
        return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
    }
  }

  CopyRemedies(ctx, *entry, *next.s, id, PathOf(ctx.symptoms, num, sub), merge);
  MoveNotes(ctx.notes, nNum, nSub, num, sub);
  std::string nextPath = PathOf(ctx.symptoms, nNum, nSub);
  DeleteNested(ctx, *entry, nextPath, nextId);
  return OpEntryDone(t);
}
