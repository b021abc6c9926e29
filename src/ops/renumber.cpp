// Renumbering: room for a new symptom in a block, and everything that
// follows the symptoms that move.
#include "ops/renumber.h"

#include "logentry/reportcodes.h"
#include "ops/chainlist.h"
#include "ops/chaintraits.h"
#include "ops/subject.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

bool Before(uint32_t n1, uint16_t s1, uint32_t n2, uint16_t s2) {
  return n1 < n2 || (n1 == n2 && s1 < s2);
}

// The new Subs of a run of symptoms: the run is (num, from) to (num, to)
// without a gap, and newSub[sub - from] is where each goes.
struct Moves {
  uint32_t num;
  uint16_t from, to;
  std::vector<uint16_t> newSub;
  bool Has(uint32_t n, uint16_t sub) const {
    return n == num && sub >= from && sub <= to;
  }
  uint16_t To(uint16_t sub) const { return newSub[sub - from]; }
};

// What the walk over the moving symptoms gathers for the lists.
struct Gathered {
  std::vector<bool> remedies = std::vector<bool>(65536, false);
  std::set<std::string> tokens[2];
};

void TakeToken(const char *token, void *ctx) {
  std::string word(token);
  if (word.size() > static_cast<size_t>(kWordKeyMax))
    word.resize(kWordKeyMax);
  static_cast<std::set<std::string> *>(ctx)->insert(word);
}

void Gather(const Symptom &s, Gathered *g) {
  for (int i = 0;
       s.Remedies != nullptr && TblIsLastSymptomRemed(&s.Remedies[i]) != 2; ++i)
    g->remedies[s.Remedies[i].RemedyId] = true;
  const char *texts[2][3] = {{s.Text1, s.Synonym1, s.CrossRef1},
                             {s.Text2, s.Synonym2, s.CrossRef2}};
  for (int lang = 0; lang < 2; ++lang)
    for (int k = 0; k < 3; ++k)
      if (k == 0 || OpTextInWords(texts[lang][k]))
        WordIndexTokens(texts[lang][k], 0, TakeToken, &g->tokens[lang]);
}

// The children of (num, oldSub) that stand behind the run's gap, from
// (num, limit) on (limit kWordSubtreeEnd: in later blocks), take the parent
// (num, newSub). Children in the run move with the walk; those already
// moved stand below `limit`, so they are not met here with a number that
// another symptom of the run had before.
int CarryOutsideChildren(TblHandle symptoms, uint32_t num, uint16_t oldSub,
                         uint16_t newSub, uint32_t limit) {
  OwnSymptom child;
  for (;;) {
    Symptom &k = child.Key();
    k.ParentNum = num;
    k.ParentSub = oldSub;
    k.Num = limit >= kWordSubtreeEnd ? num + 1 : num;
    k.Sub = limit >= kWordSubtreeEnd ? 0 : static_cast<uint16_t>(limit);
    k.Text1[0] = 'x'; // the whole key, not the parent alone
    if (TblFindFullSymptom(symptoms, child.s, 4, kFindAtOrAfter) != 0 ||
        child.s->ParentNum != num || child.s->ParentSub != oldSub)
      return 0;
    child.s->ParentSub = newSub;
    if (TblSaveSymptom(symptoms, child.s, kSaveReplace) != 0)
      return 1;
  }
}

// Notes and links of (num, oldSub) take the new Sub.
int CarryNotes(TblHandle notes, uint32_t num, uint16_t oldSub,
               uint16_t newSub) {
  if (notes == 0)
    return 0;
  static char text1[kNoteTextSize], text2[kNoteTextSize];
  for (;;) {
    Note n;
    OpNoteKey(&n, num, oldSub, text1, text2);
    if (TblFindFullNote(notes, &n, 0, kFindAtOrAfter) != 0 || n.Num != num ||
        n.Sub != oldSub)
      return 0;
    n.Sub = newSub;
    if (TblSaveNote(notes, &n, kSaveReplace) != 0)
      return 1;
  }
}

int CarryLinks(TblHandle links, uint32_t num, uint16_t oldSub,
               uint16_t newSub) {
  if (links == 0)
    return 0;
  for (;;) {
    Link l;
    TblClearLink(&l);
    l.CursorState = 0xff;
    l.Num = num;
    l.Sub = oldSub;
    l.LinkKind = 0;
    if (TblFindFullLink(links, &l, 0, kFindAtOrAfter) != 0 || l.Num != num ||
        l.Sub != oldSub)
      return 0;
    l.Sub = newSub;
    if (TblSaveLink(links, &l, kSaveReplace) != 0)
      return 1;
  }
}

void ExSpKey(ExSp *r, uint32_t num, uint16_t sub, uint8_t direction,
             uint8_t seq) {
  TblClearExSp(r);
  r->CursorState = 0xff;
  r->Num = num;
  r->Sub = sub;
  r->Direction = direction;
  r->Seq = seq;
}

// The concept links of (num, oldSub): the symptom's place in the partner's
// lists, then the key of its own first record. Records of a higher Seq
// keep the old number.
int CarryConcepts(const OpContext &ctx, uint32_t num, uint16_t oldSub,
                  uint16_t newSub) {
  if (ctx.concepts == 0)
    return 0;
  uint8_t own, other;
  OpConceptDirections(ctx.symptoms, &own, &other);
  static ExSp rec, rev;
  ExSpKey(&rec, num, oldSub, own, 0);
  if (TblFindFullExSp(ctx.concepts, &rec, 0, kFindEqual, nullptr) != 0)
    return 0;
  for (int i = 0;
       i < kChainScanMax && TblIsLastExSpSymptom(&rec.Entries[i]) != 2; ++i) {
    ExSpKey(&rev, rec.Entries[i].Num, rec.Entries[i].Sub, other, 0);
    for (int err = TblFindFullExSp(ctx.concepts, &rev, 0, kFindEqual, nullptr);
         err == 0 && rev.Num == rec.Entries[i].Num &&
         rev.Sub == rec.Entries[i].Sub && rev.Direction == other;
         err = TblFindFullExSp(ctx.concepts, &rev, 0, kFindNext, nullptr)) {
      bool changed = false;
      for (int j = 0;
           j < kChainScanMax && TblIsLastExSpSymptom(&rev.Entries[j]) != 2; ++j)
        if (rev.Entries[j].Num == num && rev.Entries[j].Sub == oldSub) {
          rev.Entries[j].Sub = newSub;
          changed = true;
        }
      if (changed && TblSaveExSp(ctx.concepts, &rev, kSaveReplace) != 0)
        return 1;
    }
  }
  ExSpKey(&rec, num, oldSub, own, 0);
  if (TblFindFullExSp(ctx.concepts, &rec, 0, kFindEqual, nullptr) != 0)
    return 1;
  rec.Sub = newSub;
  if (TblSaveExSp(ctx.concepts, &rec, kSaveReplace) == 0)
    return 0;
  if (OrvixError != kErrDuplicate)
    return 1;
  // A record stands at the new key already (left by an earlier delete):
  // it gives way.
  ExSp gone;
  ExSpKey(&gone, num, newSub, own, 0);
  if (TblFindFullExSp(ctx.concepts, &gone, 0, kFindEqual, nullptr) != 0 ||
      TblDeleteExSp(ctx.concepts) != 0)
    return 1;
  ExSp again;
  ExSpKey(&again, num, oldSub, own, 0);
  if (TblFindFullExSp(ctx.concepts, &again, 0, kFindEqual, nullptr) != 0)
    return 1;
  rec.Sub = newSub;
  return TblSaveExSp(ctx.concepts, &rec, kSaveReplace) != 0;
}

// Hands every entry of the run in the chain whose key `rec` holds to
// `edit`, and saves each record it changes once. The chain is in (Num, Sub)
// order and the moves keep that order, so only the records whose first and
// last entries enclose part of the run are read. The peek reads only the
// key and the find fills the rest: the record is not cleared for every Seq.
template <class T, class Edit>
int ShiftChain(TblHandle h, typename T::Rec &rec, const Moves &m, Edit edit) {
  for (int seq = 0; seq <= 255; ++seq) {
    rec.CursorState = 0xff;
    rec.Seq = static_cast<uint8_t>(seq);
    typename T::Entry first, last;
    int count = 0;
    if (T::Peek(h, &rec, &first, &last, &count) != 0)
      return 0;
    if (count == 0 || Before(last.Num, last.Sub, m.num, m.from))
      continue;
    if (Before(m.num, m.to, first.Num, first.Sub))
      return 0;
    if (T::Find(h, &rec, kFindEqual) != 0)
      return 1;
    bool changed = false;
    for (int i = 0; i < kListEntries - 1 && !T::IsEnd(rec.Entries[i]); ++i)
      if (m.Has(rec.Entries[i].Num, rec.Entries[i].Sub)) {
        edit(rec.Entries[i]);
        changed = true;
      }
    if (changed && T::Save(h, &rec, kSaveReplace) != 0)
      return 1;
  }
  return 0;
}

// Every entry of the run in the remedy's Extract chain gets its new Sub.
int ShiftExtract(TblHandle extract, uint16_t remedyId, const Moves &m) {
  static Extract rec;
  rec.RemedyId = remedyId;
  return ShiftChain<ExtractTraits>(
      extract, rec, m, [&m](ExtractEntry &e) { e.Sub = m.To(e.Sub); });
}

// The same for a word's chain in one Word table; an end of range that
// lies in the symptom's own block at or before it moves with it.
int ShiftWord(TblHandle words, const std::string &token, const Moves &m) {
  static Word rec;
  StrCopy(rec.Text, token.c_str());
  return ShiftChain<WordTraits>(words, rec, m, [&m](WordEntry &e) {
    uint16_t old = e.Sub;
    e.Sub = m.To(old);
    if (e.EndNum == m.num && e.EndSub <= old)
      e.EndSub = e.Sub;
  });
}

} // namespace

void OpConceptDirections(TblHandle symptoms, uint8_t *own, uint8_t *other) {
  int kind = 1;
  Resource key, res;
  memset(&key, 0, sizeof key);
  key.Type = kResRepKindType;
  key.Id = kResRepKindId;
  int saved = OrvixError;
  if (DbGetResource(symptoms, &key, &res, 2) == 0 && OrvixError == 0)
    kind = atoi(res.Text);
  OrvixError = saved;
  *own = kind == 3 ? 1 : 2;
  *other = kind == 3 ? 2 : 1;
}

bool OpTextInWords(const char *text) {
  return text != nullptr && text[0] != '\0' &&
         !(text[0] >= '1' && text[0] <= '9');
}

int OpRenumberMakeRoom(const OpContext &ctx, uint32_t num, uint16_t sub,
                       bool withSub2) {
  if (sub >= kRenumberMaxSub)
    return kMsgSymptomNotAdded;
  // The run of symptoms right behind, up to the first free Sub, and what
  // their lists hold; `limit` is the Sub of the next symptom behind the
  // gap, or the subtree mark when none follows in the block.
  Moves m{num, static_cast<uint16_t>(sub + 1), sub, {}};
  uint32_t limit = kWordSubtreeEnd;
  Gathered g;
  {
    OwnSymptom h;
    Symptom &k = h.Key();
    k.Num = num;
    k.Sub = m.from;
    for (int err = TblFindFullSymptom(ctx.symptoms, h.s, 0, kFindAtOrAfter);
         err == 0 && h.s->Num == num;
         err = TblFindFullSymptom(ctx.symptoms, h.s, 0, kFindNext)) {
      if (h.s->Sub != m.to + 1) {
        limit = h.s->Sub;
        break;
      }
      m.to = h.s->Sub;
      Gather(*h.s, &g);
    }
  }
  int count = m.to - sub;
  if (count == 0)
    return 0; // the Sub behind is free: nothing moves
  if (m.to >= kRenumberMaxSub)
    return kMsgSymptomNotAdded; // the block is full behind the symptom

  // The run spreads over the free Subs behind it, a few apart, so that the
  // next inserts in this stretch find their Sub free; it takes no more than
  // kRenumberSpread Subs a symptom, and the rest of the gap stays for adds
  // further on.
  uint32_t span = std::min<uint32_t>(
      limit - m.from, static_cast<uint32_t>(count + 1) * kRenumberSpread);
  m.newSub.resize(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i)
    m.newSub[static_cast<size_t>(i)] =
        static_cast<uint16_t>(m.from + static_cast<uint32_t>(i + 1) * span /
                                           static_cast<uint32_t>(count + 1));

  // From the last down, so that each new number is free when it is taken.
  OwnSymptom h;
  for (int old = m.to; old >= m.from; --old) {
    uint16_t from = static_cast<uint16_t>(old), now = m.To(from);
    if (CarryOutsideChildren(ctx.symptoms, num, from, now, limit) != 0)
      return kMsgSubSymptomsNotFollowed;
    if (CarryNotes(ctx.notes, num, from, now) != 0 ||
        CarryLinks(ctx.links, num, from, now) != 0)
      return kMsgNotesLinksWordsNotFollowed;
    if (CarryConcepts(ctx, num, from, now) != 0)
      return kMsgExtractOrConceptNotFollowed;
    Symptom &k = h.Key();
    k.Num = num;
    k.Sub = from;
    if (TblFindFullSymptom(ctx.symptoms, h.s, 0, kFindEqual) != 0)
      continue; // a find that fails skips that number
    h.s->Sub = now;
    // A child in the run moved before its parent did: it takes the
    // parent's new number in the same save.
    if (m.Has(h.s->ParentNum, h.s->ParentSub))
      h.s->ParentSub = m.To(h.s->ParentSub);
    if (withSub2)
      h.s->Sub2 = static_cast<uint16_t>(h.s->Sub2 + (now - from));
    if (TblSaveSymptom(ctx.symptoms, h.s, kSaveReplace) != 0)
      return kMsgSymptomNotSaved;
  }

  if (ctx.extract != 0)
    for (int r = 1; r < 65536; ++r)
      if (g.remedies[r] &&
          ShiftExtract(ctx.extract, static_cast<uint16_t>(r), m) != 0)
        return kMsgExtractOrConceptNotFollowed;
  TblHandle words[2] = {ctx.word1, ctx.word2};
  for (int lang = 0; lang < 2; ++lang)
    if (words[lang] != 0)
      for (const std::string &token : g.tokens[lang])
        if (ShiftWord(words[lang], token, m) != 0)
          return kMsgNotesLinksWordsNotFollowed;
  return 0;
}

int OpRenumberMakeRoom2(const OpContext &ctx, uint32_t num2, uint16_t sub2) {
  // The symptoms to move, by their primary number, before any is changed:
  // a save moves a record in the order of key 2.
  std::vector<std::pair<uint32_t, uint16_t>> moving;
  OwnSymptom h;
  Symptom &k = h.Key();
  k.Num2 = num2;
  k.Sub2 = static_cast<uint16_t>(sub2 + 1);
  for (int err = TblFindFullSymptom(ctx.symptoms, h.s, 2, kFindAtOrAfter);
       err == 0 && h.s->Num2 == num2;
       err = TblFindFullSymptom(ctx.symptoms, h.s, 2, kFindNext))
    moving.emplace_back(h.s->Num, h.s->Sub);
  for (size_t i = moving.size(); i-- > 0;) {
    Symptom &key = h.Key();
    key.Num = moving[i].first;
    key.Sub = moving[i].second;
    if (TblFindFullSymptom(ctx.symptoms, h.s, 0, kFindEqual) != 0)
      continue;
    ++h.s->Sub2;
    if (TblSaveSymptom(ctx.symptoms, h.s, kSaveReplace) != 0)
      return kMsgSymptomNotSaved;
  }
  return 0;
}

int OpRemoveWordsExactly(TblHandle words, const char *text, uint32_t num,
                         uint16_t sub) {
  if (words == 0 || text == nullptr || text[0] == '\0')
    return 0;
  std::set<std::string> tokens;
  WordIndexTokens(text, 0, TakeToken, &tokens);
  static Word rec;
  for (const std::string &token : tokens) {
    for (int seq = 0; seq <= 255; ++seq) {
      TblClearWord(&rec);
      rec.CursorState = 0xff;
      StrCopy(rec.Text, token.c_str());
      rec.Seq = static_cast<uint8_t>(seq);
      WordEntry first, last;
      int count = 0;
      if (TblPeekWord(words, &rec, &first, &last, &count) != 0)
        break;
      if (count == 0 || Before(last.Num, last.Sub, num, sub))
        continue;
      if (Before(num, sub, first.Num, first.Sub))
        break;
      if (TblFindFullWord(words, &rec, 0, kFindEqual, nullptr) != 0)
        return 1;
      int n = ChainCountWord(rec);
      int at = -1;
      for (int i = 0; i < n; ++i)
        if (rec.Entries[i].Num == num && rec.Entries[i].Sub == sub) {
          at = i;
          break;
        }
      if (at < 0)
        break;
      memmove(&rec.Entries[at], &rec.Entries[at + 1],
              sizeof(WordEntry) * static_cast<size_t>(n - at));
      if (TblSaveWord(words, &rec, kSaveReplace) != 0)
        return 1;
      if (seq == 0 && n == 1 && TblDeleteWord(words) != 0)
        return 1;
      break;
    }
  }
  return 0;
}
