#include "ops/verify.h"

#include "ops/chainlist.h"
#include "ops/reftext.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"
#include "store/progress.h"
#include "store/records.h"
#include "store/store.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

VerifyReport VerifyKeptReport = nullptr;
void *VerifyKeptContext = nullptr;
int VerifyKeptCount = 0;

namespace {

using SymptomKey = uint64_t; // Num << 16 | Sub
SymptomKey KeyOf(uint32_t num, uint16_t sub) {
  return (static_cast<uint64_t>(num) << 16) | sub;
}

struct Checker {
  VerifyReport report = nullptr;
  void *context = nullptr;
  int faults = 0;
  // The symptoms and both word tables are walked once each; the progress
  // hook sees the records so far and may stop the check.
  long walked = 0, toWalk = 0;
  bool stopped = false;

  // Counts one record of a walk; true when the walk is to stop.
  bool Stop() {
    if (!stopped && (++walked & 1023) == 0 &&
        DbProgressTell("verify", walked, toWalk))
      stopped = true;
    return stopped;
  }

  // While a walk finds faults out of the order in which they are told
  // (the Extract walk finds a doubled entry only once its entries are
  // sorted), they wait here with their place in the walk, and Flush tells
  // them in that order. Only the first ones can be named, so no more than
  // those are kept.
  bool deferring = false;
  uint64_t place = 0;
  int deferredFaults = 0;
  std::vector<std::pair<uint64_t, std::string>> deferred;

  // A leftover that the rules keep: named apart, never a fault.
  void Kept(const char *fmt, ...) __attribute__((format(printf, 2, 3))) {
    ++VerifyKeptCount;
    if (VerifyKeptReport == nullptr)
      return;
    char text[600];
    va_list ap;
    va_start(ap, fmt);
    StrFormatV(text, sizeof text, fmt, ap);
    va_end(ap);
    VerifyKeptReport(text, VerifyKeptContext);
  }

  void Fault(const char *fmt, ...) __attribute__((format(printf, 2, 3))) {
    if (deferring)
      ++deferredFaults;
    else
      ++faults;
    if ((!deferring && faults > kVerifyMaxReported) || report == nullptr)
      return;
    char text[600];
    va_list ap;
    va_start(ap, fmt);
    StrFormatV(text, sizeof text, fmt, ap);
    va_end(ap);
    if (!deferring) {
      report(text, context);
      return;
    }
    deferred.emplace_back(place, text);
    if (deferred.size() >= 2 * static_cast<size_t>(kVerifyMaxReported)) {
      // Only the first places can be told: the others go.
      std::sort(deferred.begin(), deferred.end(),
                [](const auto &a, const auto &b) { return a.first < b.first; });
      deferred.resize(static_cast<size_t>(kVerifyMaxReported));
    }
  }

  void Defer() {
    deferring = true;
    deferredFaults = 0;
    deferred.clear();
  }

  // The faults that waited, in the order of their places.
  void Flush() {
    deferring = false;
    std::stable_sort(
        deferred.begin(), deferred.end(),
        [](const auto &a, const auto &b) { return a.first < b.first; });
    size_t told = 0;
    for (int i = 0; i < deferredFaults; ++i) {
      ++faults;
      if (faults <= kVerifyMaxReported && report != nullptr &&
          told < deferred.size())
        report(deferred[told++].second.c_str(), context);
    }
    deferred.clear();
    deferredFaults = 0;
  }
};

// Directions of the concept table.
constexpr int kConceptSide = 1;   // key a concept symptom
constexpr int kRepertorySide = 2; // key a symptom of the repertory

struct SymptomInfo {
  uint32_t parentNum;
  uint16_t parentSub;
  uint8_t level;
  uint8_t chapter;
};

// The texts of a symptom in one language that the word index takes.
struct WordTexts {
  std::string text, synonym, crossRef;
};

bool InWords(const char *t) {
  return t[0] != '\0' && !(t[0] >= '1' && t[0] <= '9');
}

void CollectToken(const char *token, void *ctx) {
  std::string word(token);
  if (word.size() > static_cast<size_t>(kWordKeyMax))
    word.resize(kWordKeyMax);
  static_cast<std::set<std::string> *>(ctx)->insert(word);
}

void TablePath(char *out, size_t cap, const char *folder, const char *name) {
  StrCopy(out, cap, folder);
  size_t n = strlen(out);
  if (n > 0 && out[n - 1] != '\\' && out[n - 1] != '/')
    StrAppend(out, cap, "\\");
  StrAppend(out, cap, name);
}

// One entry of the Extract table as the check keeps it: 16 bytes, so that
// the millions of entries of a repertory fit a plain sorted array.
struct ExtractSeen {
  uint16_t remedy;
  uint16_t sub;
  uint32_t num;
  uint16_t author;
  uint8_t degree;
  uint8_t held : 1;    // a symptom holds the entry
  uint8_t userBit : 1; // the list's entry holds the user bit
  uint32_t at;         // its place in the walk of the table
};
static_assert(sizeof(ExtractSeen) == 16);

bool KeyBefore(const ExtractSeen &a, const ExtractSeen &b) {
  if (a.remedy != b.remedy)
    return a.remedy < b.remedy;
  if (a.num != b.num)
    return a.num < b.num;
  if (a.sub != b.sub)
    return a.sub < b.sub;
  return a.author < b.author;
}
bool SameKey(const ExtractSeen &a, const ExtractSeen &b) {
  return a.remedy == b.remedy && a.num == b.num && a.sub == b.sub &&
         a.author == b.author;
}

// Every entry of the Extract table once, in (remedy, symptom, author) order,
// and where each remedy's entries begin.
struct ExtractEntries {
  std::vector<ExtractSeen> all;
  std::vector<uint32_t> from; // 65537 places: remedy r is [from[r], from[r+1])

  ExtractSeen *Find(uint16_t remedy, uint32_t num, uint16_t sub,
                    uint16_t author) {
    if (from.empty())
      return nullptr;
    ExtractSeen probe{remedy, sub, num, author, 0, 0, 0, 0};
    auto lo = all.begin() + from[remedy], hi = all.begin() + from[remedy + 1];
    auto it = std::lower_bound(lo, hi, probe, KeyBefore);
    return it != hi && SameKey(*it, probe) ? &*it : nullptr;
  }
};

// Places in the walk of the Extract table: a record's faults come before
// those of its entries, an entry's order before its doubling.
constexpr uint64_t kPlaceSeq = 0, kPlaceEnd = 1, kPlaceOrder = 2,
                   kPlaceTwice = 3;
uint64_t PlaceOf(size_t entry, uint64_t what) {
  return static_cast<uint64_t>(entry) * 4 + what;
}

void CheckExtract(Checker &c, TblHandle h, ExtractEntries &entries) {
  Extract rec;
  memset(&rec, 0, sizeof rec);
  rec.CursorState = 0xff;
  int lastRemedy = -1;
  int expectSeq = 0;
  uint64_t lastKey = 0;
  bool any = false;
  std::vector<ExtractSeen> &all = entries.all;
  c.Defer();
  long records = 0;
  for (int err = TblFindFullExtract(h, &rec, 0, kFindFirst, nullptr); err == 0;
       err = TblFindFullExtract(h, &rec, 0, kFindNext, nullptr)) {
    if ((++records & 4095) == 0)
      DbReleasePages(h);
    if (rec.RemedyId != lastRemedy) {
      lastRemedy = rec.RemedyId;
      expectSeq = 0;
      any = false;
    }
    c.place = PlaceOf(all.size(), kPlaceSeq);
    if (rec.Seq != expectSeq)
      c.Fault("extract: remedy %u has record Seq %u where %d was due",
              rec.RemedyId, rec.Seq, expectSeq);
    expectSeq = rec.Seq + 1;
    int n = 0;
    while (n < kListEntries && TblIsLastExtractSymptom(&rec.Entries[n]) != 2)
      ++n;
    if (n >= kListEntries - 1) {
      c.place = PlaceOf(all.size(), kPlaceEnd);
      c.Fault("extract: remedy %u record Seq %u is not terminated",
              rec.RemedyId, rec.Seq);
      n = kListEntries - 1;
    }
    for (int i = 0; i < n; ++i) {
      const ExtractEntry &e = rec.Entries[i];
      uint64_t k = KeyOf(e.Num, e.Sub);
      c.place = PlaceOf(all.size(), kPlaceOrder);
      if (any && k < lastKey)
        c.Fault("extract: remedy %u: symptom %u.%u stands after %u.%u",
                rec.RemedyId, e.Num, e.Sub,
                static_cast<unsigned>(lastKey >> 16),
                static_cast<unsigned>(lastKey & 0xffff));
      lastKey = k;
      any = true;
      all.push_back(ExtractSeen{
          rec.RemedyId, e.Sub, e.Num,
          static_cast<uint16_t>(e.AuthorId & kAuthorMask), e.Degree, 0,
          static_cast<uint8_t>((e.AuthorId & kAuthorUserBit) != 0),
          static_cast<uint32_t>(all.size())});
    }
  }
  DbReleasePages(h);
  // In key order; of entries with one key the first in the walk stays and
  // every later one is named as doubled.
  std::stable_sort(all.begin(), all.end(), KeyBefore);
  size_t kept = 0;
  for (size_t i = 0; i < all.size(); ++i) {
    if (kept > 0 && SameKey(all[kept - 1], all[i])) {
      const ExtractSeen &e = all[i];
      c.place = PlaceOf(e.at, kPlaceTwice);
      c.Fault("extract: remedy %u lists symptom %u.%u author %u twice",
              e.remedy, e.num, e.sub, e.author);
      continue;
    }
    all[kept++] = all[i];
  }
  all.resize(kept);
  all.shrink_to_fit();
  c.Flush();
  entries.from.assign(65537, 0);
  for (const ExtractSeen &e : all)
    ++entries.from[static_cast<size_t>(e.remedy) + 1];
  for (size_t r = 1; r < entries.from.size(); ++r)
    entries.from[r] += entries.from[r - 1];
}

// What the symptom walk gathers for the later checks: the tree, and the
// texts that the word index takes, by language.
struct SymptomTables {
  std::unordered_map<SymptomKey, SymptomInfo> tree;
  std::unordered_map<SymptomKey, WordTexts> texts[2];
};

// The remedy array of one symptom: each entry against its Extract entry
// (marked as held), each pair once, RemedyCount the distinct remedies.
void CheckRemedies(Checker &c, const Symptom &s, bool haveExtract,
                   ExtractEntries &extractEntries,
                   std::vector<std::pair<uint16_t, uint16_t>> &pairs) {
  pairs.clear(); // (remedy, author)
  for (int i = 0;
       s.Remedies != nullptr && TblIsLastSymptomRemed(&s.Remedies[i]) != 2;
       ++i) {
    const SymptomRemedy &r = s.Remedies[i];
    uint16_t author = r.AuthorId & kAuthorMask;
    pairs.emplace_back(r.RemedyId, author);
    if (!haveExtract)
      continue;
    ExtractSeen *it = extractEntries.Find(r.RemedyId, s.Num, s.Sub, author);
    if (it == nullptr) {
      c.Fault("symptom %u.%u '%s': remedy %u author %u has no extract "
              "entry",
              s.Num, s.Sub, s.Text1, r.RemedyId, author);
      continue;
    }
    it->held = 1;
    if (it->degree != r.Degree)
      c.Fault("symptom %u.%u '%s': remedy %u author %u has degree %u, "
              "its extract entry %u",
              s.Num, s.Sub, s.Text1, r.RemedyId, author, r.Degree, it->degree);
  }
  std::sort(pairs.begin(), pairs.end());
  size_t distinct = 0;
  for (size_t i = 0; i < pairs.size(); ++i) {
    if (i > 0 && pairs[i] == pairs[i - 1])
      c.Fault("symptom %u.%u '%s': remedy %u author %u stands twice", s.Num,
              s.Sub, s.Text1, pairs[i].first, pairs[i].second);
    if (i == 0 || pairs[i].first != pairs[i - 1].first)
      ++distinct;
  }
  if (s.RemedyCount != distinct)
    c.Fault("symptom %u.%u '%s': RemedyCount %u, distinct remedies %zu", s.Num,
            s.Sub, s.Text1, s.RemedyCount, distinct);
}

// Walks the symptoms: their remedies, and what the later checks need.
void CheckSymptoms(Checker &c, TblHandle symptoms, bool haveExtract,
                   ExtractEntries &extractEntries, SymptomTables *out) {
  Symptom s;
  memset(&s, 0, sizeof s);
  s.CursorState = 0xff;
  std::vector<std::pair<uint16_t, uint16_t>> pairs;
  long records = 0;
  for (int err = TblFindFullSymptom(symptoms, &s, 0, kFindFirst);
       err == 0 && !c.Stop();
       err = TblFindFullSymptom(symptoms, &s, 0, kFindNext)) {
    if ((++records & 4095) == 0)
      DbReleasePages(symptoms);
    SymptomKey k = KeyOf(s.Num, s.Sub);
    out->tree[k] = {s.ParentNum, s.ParentSub, s.Level, s.Chapter};
    out->texts[0][k] = {s.Text1, InWords(s.Synonym1) ? s.Synonym1 : "",
                        InWords(s.CrossRef1) ? s.CrossRef1 : ""};
    out->texts[1][k] = {s.Text2, InWords(s.Synonym2) ? s.Synonym2 : "",
                        InWords(s.CrossRef2) ? s.CrossRef2 : ""};
    CheckRemedies(c, s, haveExtract, extractEntries, pairs);
  }
  DbReleasePages(symptoms);
  TblFreeSymptomRemed(&s);
}

// The Extract entries that no symptom holds, in key order, so that the
// same faults read the same each time.
// An entry with the user bit whose symptom is gone is what a deletion
// leaves on purpose.
bool KeptByDeletion(const ExtractSeen &seen,
                    const std::unordered_map<SymptomKey, SymptomInfo> &tree) {
  return seen.userBit && tree.count(KeyOf(seen.num, seen.sub)) == 0;
}

void ReportUnheld(Checker &c, const ExtractEntries &extractEntries,
                  const std::unordered_map<SymptomKey, SymptomInfo> &tree) {
  // The entries stand in key order already.
  for (const ExtractSeen &e : extractEntries.all)
    if (!e.held && KeptByDeletion(e, tree))
      c.Kept("extract: remedy %u lists symptom %u.%u author %u (user bit), "
             "which was deleted",
             e.remedy, e.num, e.sub, e.author);
  for (const ExtractSeen &e : extractEntries.all)
    if (!e.held && !KeptByDeletion(e, tree))
      c.Fault("extract: remedy %u lists symptom %u.%u author %u, which the "
              "symptom does not hold",
              e.remedy, e.num, e.sub, e.author);
}

// Each symptom below its parent: the parent exists, the level is one
// more, the chapter the same; a chapter stands at level 1.
void CheckTree(Checker &c,
               const std::unordered_map<SymptomKey, SymptomInfo> &tree) {
  for (const auto &[k, info] : tree) {
    unsigned num = static_cast<unsigned>(k >> 16),
             sub = static_cast<unsigned>(k & 0xffff);
    if (info.parentNum == 0 && info.parentSub == 0) {
      if (info.level != 1)
        c.Fault("symptom %u.%u: a chapter at level %u", num, sub, info.level);
      continue;
    }
    auto p = tree.find(KeyOf(info.parentNum, info.parentSub));
    if (p == tree.end()) {
      c.Fault("symptom %u.%u: parent %u.%u does not exist", num, sub,
              info.parentNum, info.parentSub);
      continue;
    }
    if (info.level != p->second.level + 1)
      c.Fault("symptom %u.%u: level %u below a parent of level %u", num, sub,
              info.level, p->second.level);
    if (info.chapter != p->second.chapter)
      c.Fault("symptom %u.%u: chapter %u, its parent's %u", num, sub,
              info.chapter, p->second.chapter);
  }
}

// Notes and links name existing symptoms.
void CheckNotesAndLinks(
    Checker &c, TblHandle notes, TblHandle links,
    const std::unordered_map<SymptomKey, SymptomInfo> &tree) {
  if (notes != 0) {
    Note n;
    memset(&n, 0, sizeof n);
    n.CursorState = 0xff;
    for (int err = TblFindFullNote(notes, &n, 0, kFindFirst); err == 0;
         err = TblFindFullNote(notes, &n, 0, kFindNext))
      if (!tree.count(KeyOf(n.Num, n.Sub)))
        c.Fault("note of symptom %u.%u remedy %u: no such symptom", n.Num,
                n.Sub, n.RemedyId);
  }
  if (links != 0) {
    Link l;
    memset(&l, 0, sizeof l);
    l.CursorState = 0xff;
    for (int err = TblFindFullLink(links, &l, 0, kFindFirst); err == 0;
         err = TblFindFullLink(links, &l, 0, kFindNext))
      if (!tree.count(KeyOf(l.Num, l.Sub)))
        c.Kept("link '%s' of symptom %u.%u, which was deleted", l.Title, l.Num,
               l.Sub);
  }
}

// Every entry of a word index names an existing symptom whose texts in
// that language hold the word; lang 0 is word1, 1 word2.
void CheckWords(Checker &c, TblHandle words, int lang,
                const std::unordered_map<SymptomKey, WordTexts> &texts) {
  std::unordered_map<SymptomKey, std::set<std::string>> tokens;
  Word w;
  memset(&w, 0, sizeof w);
  w.CursorState = 0xff;
  for (int err = TblFindFullWord(words, &w, 0, kFindFirst, nullptr);
       err == 0 && !c.Stop();
       err = TblFindFullWord(words, &w, 0, kFindNext, nullptr)) {
    for (int i = 0;
         i < kListEntries - 1 && TblIsLastWordSymptom(&w.Entries[i]) != 2;
         ++i) {
      const WordEntry &e = w.Entries[i];
      SymptomKey k = KeyOf(e.Num, e.Sub);
      auto t = texts.find(k);
      if (t == texts.end()) {
        c.Fault("word%d '%s': symptom %u.%u does not exist", lang + 1, w.Text,
                e.Num, e.Sub);
        continue;
      }
      auto have = tokens.find(k);
      if (have == tokens.end()) {
        std::set<std::string> set;
        for (const std::string *src :
             {&t->second.text, &t->second.synonym, &t->second.crossRef})
          WordIndexTokens(src->c_str(), 0, CollectToken, &set);
        have = tokens.emplace(k, std::move(set)).first;
      }
      if (!have->second.count(w.Text))
        c.Fault("word%d '%s': symptom %u.%u '%s' does not hold the word",
                lang + 1, w.Text, e.Num, e.Sub, t->second.text.c_str());
    }
  }
}

// The words of the synonyms and references in words, by language: each
// stands in the word table of its language under its symptom. Only these
// pairs are gathered, so the walk of the word table keeps little.
void CheckWordsOfReferences(
    Checker &c, TblHandle words, int lang,
    const std::unordered_map<SymptomKey, WordTexts> &texts) {
  std::map<std::string, std::set<SymptomKey>> wanted;
  for (const auto &[k, t] : texts)
    for (const std::string *field : {&t.synonym, &t.crossRef}) {
      std::set<std::string> tokens;
      WordIndexTokens(RefWordsOf(field->c_str()).c_str(), 0, CollectToken,
                      &tokens);
      for (const std::string &w : tokens)
        wanted[w].insert(k);
    }
  if (wanted.empty())
    return;
  Word w;
  memset(&w, 0, sizeof w);
  w.CursorState = 0xff;
  for (auto &[word, keys] : wanted) {
    StrCopy(w.Text, word.c_str());
    w.Seq = 0;
    for (int err = TblFindFullWord(words, &w, 0, kFindEqual, nullptr);
         err == 0 && OrvixError == 0 && word == w.Text && !keys.empty();
         err = TblFindFullWord(words, &w, 0, kFindNext, nullptr))
      for (int i = 0;
           i < kListEntries - 1 && TblIsLastWordSymptom(&w.Entries[i]) != 2;
           ++i)
        keys.erase(KeyOf(w.Entries[i].Num, w.Entries[i].Sub));
    for (SymptomKey k : keys)
      c.Fault("word%d '%s': symptom %u.%u '%s' has the word in a synonym or "
              "reference, the index does not list it",
              lang + 1, word.c_str(), static_cast<unsigned>(k >> 16),
              static_cast<unsigned>(k & 0xffff), texts.at(k).text.c_str());
  }
}

// Whether a symptom exists, remembered by table.
struct SymptomCache {
  TblHandle table;
  std::unordered_map<SymptomKey, bool> known;
  bool Exists(uint32_t num, uint16_t sub) {
    auto [it, fresh] = known.emplace(KeyOf(num, sub), false);
    if (fresh) {
      static Symptom s;
      s.CursorState = 0xff;
      TblClearSymptom(&s);
      s.Num = num;
      s.Sub = sub;
      it->second =
          TblFindFullSymptom(table, &s, 0, kFindEqual) == 0 && OrvixError == 0;
    }
    return it->second;
  }
};

// The concept table: its chains, the symptoms it names on either side,
// and each link in both directions.
void CheckConceptTable(Checker &c, TblHandle exsp, SymptomCache &own,
                       SymptomCache &partner) {
  // (direction, key, entry) of every link.
  std::set<std::tuple<int, SymptomKey, SymptomKey>> links;
  ExSp rec;
  memset(&rec, 0, sizeof rec);
  rec.CursorState = 0xff;
  int lastDir = -1, expectSeq = 0;
  SymptomKey lastKey = 0, lastEntry = 0;
  bool any = false;
  for (int err = TblFindFullExSp(exsp, &rec, 0, kFindFirst, nullptr);
       err == 0 && OrvixError == 0 && !c.Stop();
       err = TblFindFullExSp(exsp, &rec, 0, kFindNext, nullptr)) {
    SymptomKey key = KeyOf(rec.Num, rec.Sub);
    if (key != lastKey || rec.Direction != lastDir) {
      lastKey = key;
      lastDir = rec.Direction;
      expectSeq = 0;
      any = false;
    }
    if (rec.Seq != expectSeq)
      c.Fault("extrspt: symptom %u.%u direction %u has record Seq %u where "
              "%d was due",
              rec.Num, rec.Sub, rec.Direction, rec.Seq, expectSeq);
    expectSeq = rec.Seq + 1;
    if (rec.Direction != kConceptSide && rec.Direction != kRepertorySide) {
      c.Fault("extrspt: symptom %u.%u has direction %u", rec.Num, rec.Sub,
              rec.Direction);
      continue;
    }
    bool fromConcept = rec.Direction == kConceptSide;
    SymptomCache &keySide = fromConcept ? partner : own;
    SymptomCache &entrySide = fromConcept ? own : partner;
    if (rec.Seq == 0 && !keySide.Exists(rec.Num, rec.Sub))
      c.Fault("extrspt: direction %u names symptom %u.%u, which the %s "
              "does not hold",
              rec.Direction, rec.Num, rec.Sub,
              fromConcept ? "concept repertory" : "repertory");
    int n = ChainCountExSp(rec);
    if (n >= kListEntries - 1)
      c.Fault("extrspt: symptom %u.%u direction %u record Seq %u is not "
              "terminated",
              rec.Num, rec.Sub, rec.Direction, rec.Seq);
    for (int i = 0; i < n; ++i) {
      const ExSpEntry &e = rec.Entries[i];
      SymptomKey ek = KeyOf(e.Num, e.Sub);
      if (any && ek <= lastEntry)
        c.Fault("extrspt: symptom %u.%u direction %u: %u.%u stands after "
                "%u.%u",
                rec.Num, rec.Sub, rec.Direction, e.Num, e.Sub,
                static_cast<unsigned>(lastEntry >> 16),
                static_cast<unsigned>(lastEntry & 0xffff));
      lastEntry = ek;
      any = true;
      if (!entrySide.Exists(e.Num, e.Sub))
        c.Fault("extrspt: symptom %u.%u direction %u lists %u.%u, which the "
                "%s does not hold",
                rec.Num, rec.Sub, rec.Direction, e.Num, e.Sub,
                fromConcept ? "repertory" : "concept repertory");
      links.emplace(rec.Direction, key, ek);
    }
  }
  for (const auto &[dir, key, entry] : links) {
    int other = dir == kConceptSide ? kRepertorySide : kConceptSide;
    if (!links.count({other, entry, key}))
      c.Fault("extrspt: %u.%u lists %u.%u in direction %d, the reverse "
              "link is missing",
              static_cast<unsigned>(key >> 16),
              static_cast<unsigned>(key & 0xffff),
              static_cast<unsigned>(entry >> 16),
              static_cast<unsigned>(entry & 0xffff), dir);
  }
}

} // namespace

int VerifyConcepts(const char *folder, const char *conceptFolder,
                   VerifyReport report, void *context) {
  Checker c;
  c.report = report;
  c.context = context;
  char path[300];
  TablePath(path, sizeof path, folder, "symptom");
  TblHandle own = TblOpenSymptom(path, 1, 1);
  if (OrvixError != 0 || own == 0) {
    c.Fault("%s: the table cannot be opened (H-%d)", path, OrvixError);
    own = 0;
  }
  TablePath(path, sizeof path, conceptFolder, "symptom");
  TblHandle partner = TblOpenSymptom(path, 1, 1);
  if (OrvixError != 0 || partner == 0) {
    c.Fault("%s: the table cannot be opened (H-%d)", path, OrvixError);
    partner = 0;
  }
  // A pair without links has no concept table yet.
  TablePath(path, sizeof path, conceptFolder, "extrspt");
  TblHandle exsp = TblOpenExSp(path, 1, 1);
  if (OrvixError != 0 || exsp == 0) {
    if (OrvixError != kErrNoFile)
      c.Fault("%s: the table cannot be opened (H-%d)", path, OrvixError);
    exsp = 0;
  }
  if (own != 0 && partner != 0 && exsp != 0) {
    c.toWalk = DbCountEntries(exsp);
    SymptomCache ownCache{own, {}}, partnerCache{partner, {}};
    CheckConceptTable(c, exsp, ownCache, partnerCache);
  }
  for (TblHandle h : {own, partner, exsp})
    if (h != 0)
      DbCloseFile(h);
  return c.stopped ? -1 : c.faults;
}

int VerifyRepertory(const char *folder, VerifyReport report, void *context) {
  Checker c;
  c.report = report;
  c.context = context;
  VerifyKeptCount = 0;
  char path[300];
  auto open = [&](const char *name, TblHandle (*opener)(const char *, int, int),
                  bool required) -> TblHandle {
    TablePath(path, sizeof path, folder, name);
    TblHandle h = opener(path, 1, 1);
    if (OrvixError != 0 || h == 0) {
      if (required || OrvixError != kErrNoFile)
        c.Fault("%s: the table cannot be opened (H-%d)", path, OrvixError);
      return 0;
    }
    return h;
  };
  TblHandle symptoms = open("symptom", TblOpenSymptom, true);
  TblHandle extract = open("extract", TblOpenExtract, true);
  TblHandle word1 = open("word1", TblOpenWord, true);
  TblHandle word2 = open("word2", TblOpenWord, true);
  TblHandle notes = open("Note", TblOpenNote, false);
  TblHandle links = open("Link", TblOpenLink, false);

  for (TblHandle h : {symptoms, word1, word2})
    if (h != 0)
      c.toWalk += DbCountEntries(h);
  ExtractEntries extractEntries;
  if (extract != 0) {
    extractEntries.all.reserve(static_cast<size_t>(DbCountEntries(extract)) *
                               (kChainSplitAt + 6));
    CheckExtract(c, extract, extractEntries);
  }
  // Everything else is told against the symptoms.
  if (symptoms != 0) {
    SymptomTables found;
    CheckSymptoms(c, symptoms, extract != 0, extractEntries, &found);
    if (!c.stopped) {
      ReportUnheld(c, extractEntries, found.tree);
      CheckTree(c, found.tree);
      CheckNotesAndLinks(c, notes, links, found.tree);
    }
    TblHandle words[2] = {word1, word2};
    for (int lang = 0; lang < 2 && !c.stopped; ++lang)
      if (words[lang] != 0) {
        CheckWords(c, words[lang], lang, found.texts[lang]);
        CheckWordsOfReferences(c, words[lang], lang, found.texts[lang]);
      }
  }

  for (TblHandle h : {symptoms, extract, word1, word2, notes, links})
    if (h != 0)
      DbCloseFile(h);
  return c.stopped ? -1 : c.faults;
}
