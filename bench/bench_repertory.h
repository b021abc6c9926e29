// The repertory the benchmarks build: a symptom tree of up to six levels in
// book order, texts from a repertory-like vocabulary in two languages, and
// 10 to 40 remedies a symptom (remedy ids 1 to 3000, author ids 1 to 900).
// The generator is seeded, so every run plans the same repertory.
#pragma once

#include "bench_measure.h"
#include "platform/strutil.h"
#include "store/store.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace bench {

// Each benchmark names itself here, for its messages.
extern const char *const BenchName;

inline constexpr int kRemedyIds = 3000;
inline constexpr int kAuthorIds = 900;

// Words of a repertory, in both languages, accents included (code page 1252).
inline const char *const kWords1[] = {"Angst",
                                      "Furcht",
                                      "Schmerz",
                                      "Kopf",
                                      "Stirn",
                                      "nachts",
                                      "morgens",
                                      "abends",
                                      "nach",
                                      "vor",
                                      "beim",
                                      "Essen",
                                      "Gehen",
                                      "Liegen",
                                      "Sitzen",
                                      "K\xe4lte",
                                      "W\xe4rme",
                                      "Wind",
                                      "Zorn",
                                      "Trauer",
                                      "Weinen",
                                      "Lachen",
                                      "Husten",
                                      "Brust",
                                      "Magen",
                                      "\xdc"
                                      "belkeit",
                                      "Erbrechen",
                                      "Durst",
                                      "Schwei\xdf",
                                      "Fieber",
                                      "Frost",
                                      "Hitze",
                                      "links",
                                      "rechts",
                                      "stechend",
                                      "dr\xfc"
                                      "ckend",
                                      "brennend",
                                      "ziehend",
                                      "Ohnmacht",
                                      "Schwindel",
                                      "Gem\xfct",
                                      "Tod",
                                      "Dunkelheit",
                                      "Gewitter",
                                      "allein",
                                      "Menschen",
                                      "Gesellschaft",
                                      "Ger\xe4usch"};
inline const char *const kWords2[] = {
    "anxiety",  "fear",         "pain",     "head",     "forehead",  "night",
    "morning",  "evening",      "after",    "before",   "during",    "eating",
    "walking",  "lying",        "sitting",  "cold",     "heat",      "wind",
    "anger",    "grief",        "weeping",  "laughing", "cough",     "chest",
    "stomach",  "nausea",       "vomiting", "thirst",   "sweat",     "fever",
    "chill",    "warmth",       "left",     "right",    "stitching", "pressing",
    "burning",  "drawing",      "fainting", "vertigo",  "mind",      "death",
    "darkness", "thunderstorm", "alone",    "people",   "company",   "noise"};
constexpr int kWordCount = static_cast<int>(sizeof kWords1 / sizeof *kWords1);
static_assert(sizeof kWords2 / sizeof *kWords2 ==
              sizeof kWords1 / sizeof *kWords1);

inline std::mt19937 gRandom(20240611);

inline int Pick(int lo, int hi) {
  return std::uniform_int_distribution<int>(lo, hi)(gRandom);
}

inline void MakeText(char *t1, size_t cap1, char *t2, size_t cap2) {
  int n = Pick(1, 5);
  t1[0] = t2[0] = '\0';
  for (int i = 0; i < n; ++i) {
    int w = Pick(0, kWordCount - 1);
    if (i > 0) {
      StrAppend(t1, cap1, " ");
      StrAppend(t2, cap2, " ");
    }
    StrAppend(t1, cap1, kWords1[w]);
    StrAppend(t2, cap2, kWords2[w]);
  }
}

inline void MakeRemedies(std::vector<SymptomRemedy> &arr) {
  int n = Pick(10, 40);
  std::vector<int> ids;
  while (static_cast<int>(ids.size()) < n) {
    int id = Pick(1, kRemedyIds);
    if (std::find(ids.begin(), ids.end(), id) == ids.end())
      ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end());
  arr.clear();
  for (int i = 0; i < n; ++i)
    arr.push_back(SymptomRemedy{static_cast<uint16_t>(ids[i]),
                                static_cast<uint8_t>(Pick(1, 4)),
                                static_cast<uint16_t>(Pick(1, kAuthorIds)), 1});
  arr.push_back(SymptomRemedy{0, 0, 0, 0xffff});
}

struct Numbered {
  uint32_t num;
  uint16_t sub;
};

// One symptom as generated, before it goes into a record: the timed loops
// then only copy it, so the figures are the store's.
struct Planned {
  Numbered at, parent;
  uint8_t level, chapter;
  int32_t uniqueId;
  char text1[101], text2[101];
  std::string crossRef1, synonym1;
  std::vector<SymptomRemedy> remedies; // with the terminator
};

// The tree, in book order: a symptom's descendants follow it, and a block
// (one Num) holds up to 1000 symptoms. Index i holds UniqueId i + 1.
inline std::vector<Planned> Plan(int count) {
  std::vector<Planned> plan(static_cast<size_t>(count));
  Numbered stack[8] = {};
  int level = 0;
  int chapters = 40, perChapter = std::max(1, count / chapters);
  for (int i = 0; i < count; ++i) {
    // A chapter head every perChapter symptoms; else deeper, a sibling, or
    // back up, within six levels.
    int next;
    if (i % perChapter == 0)
      next = 1;
    else {
      int r = Pick(0, 99);
      next = r < 45 ? level + 1 : r < 80 ? level : Pick(2, std::max(2, level));
      next = std::clamp(next, 2, 6);
    }
    Planned &p = plan[static_cast<size_t>(i)];
    p.at = Numbered{static_cast<uint32_t>(i / 1000 + 1),
                    static_cast<uint16_t>(i % 1000)};
    p.parent = next > 1 ? stack[next - 1] : Numbered{0, 0};
    p.level = static_cast<uint8_t>(next);
    p.chapter = static_cast<uint8_t>(i / perChapter + 1);
    p.uniqueId = i + 1;
    MakeText(p.text1, sizeof p.text1, p.text2, sizeof p.text2);
    char buf[256];
    if (Pick(0, 19) == 0) {
      StrFormat(buf, "2%s - %s / 3%s", kWords1[Pick(0, 9)],
                kWords1[Pick(10, 19)], kWords1[Pick(20, 29)]);
      p.crossRef1 = buf;
    }
    if (Pick(0, 29) == 0) {
      StrFormat(buf, "(= %s)", kWords1[Pick(0, kWordCount - 1)]);
      p.synonym1 = buf;
    }
    MakeRemedies(p.remedies);
    stack[next] = p.at;
    level = next;
  }
  return plan;
}

// The abbreviations the benchmarks give remedy and author ids.
inline void RemedyAbbrev(char *out, size_t cap, int id) {
  StrFormat(out, cap, "R%d.", id);
}
inline void AuthorAbbrev(char *out, size_t cap, int id) {
  StrFormat(out, cap, "A%d", id);
}

// A store call that failed, told on standard error with the benchmark's
// name; answers `ok`.
inline bool Check(bool ok, const char *what) {
  if (!ok)
    fprintf(stderr, "%s: %s failed (store error %d)\n", BenchName, what,
            OrvixError);
  return ok;
}

// The Remed table (ids 1 to kRemedyIds, "Remedium N" as the name) and the
// Author table (ids 1 to kAuthorIds), "rem" and "aut" in the current folder
// unless named.
inline bool BuildRemedyAuthorTables(const char *remPath = "rem",
                                    const char *autPath = "aut") {
  TblHandle r = TblCreateRemed(remPath, 1, 1);
  if (!Check(r != 0, "Remed table"))
    return false;
  for (int id = 1; id <= kRemedyIds; ++id) {
    Remed x;
    memset(&x, 0, sizeof x);
    x.CursorState = 0xff;
    x.Id = static_cast<uint16_t>(id);
    RemedyAbbrev(x.Abbrev, sizeof x.Abbrev, id);
    StrFormat(x.Name, "Remedium %d", id);
    if (!Check(TblSaveRemed(r, &x, kSaveAdd) == 0, "remedy"))
      return false;
  }
  DbCloseFile(r);
  TblHandle a = TblCreateAuthor(autPath, 1, 1);
  if (!Check(a != 0, "Author table"))
    return false;
  for (int id = 1; id <= kAuthorIds; ++id) {
    Author x;
    memset(&x, 0, sizeof x);
    x.CursorState = 0xff;
    x.Id = static_cast<uint16_t>(id);
    AuthorAbbrev(x.Abbrev, sizeof x.Abbrev, id);
    if (!Check(TblSaveAuthor(a, &x, kSaveAdd) == 0, "author"))
      return false;
  }
  DbCloseFile(a);
  return true;
}

// The Symptom record of a planned symptom, its remedies copied into `arr`
// (room for 64), which the record then points to.
inline void FillSymptom(Symptom &s, const Planned &p, SymptomRemedy *arr) {
  memset(static_cast<void *>(&s), 0, sizeof s);
  s.CursorState = 0xff;
  s.Remedies = arr;
  s.Num = p.at.num;
  s.Sub = p.at.sub;
  s.ParentNum = p.parent.num;
  s.ParentSub = p.parent.sub;
  s.Level = p.level;
  s.Chapter = p.chapter;
  s.UniqueId = p.uniqueId;
  StrCopy(s.Text1, p.text1);
  StrCopy(s.Text2, p.text2);
  StrCopy(s.CrossRef1, p.crossRef1.c_str());
  StrCopy(s.Synonym1, p.synonym1.c_str());
  s.RemedyCount = static_cast<uint16_t>(p.remedies.size() - 1);
  std::copy(p.remedies.begin(), p.remedies.end(), arr);
}

} // namespace bench
