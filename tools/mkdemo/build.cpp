// The builder proper: every table of the installation through the store,
// in a fixed order, from sources that are read whole first. Nothing here
// reads the clock, so a rebuild writes the same bytes.
#include "mkdemo.h"

#include "logentry/logtext.h"
#include "ops/chainlist.h"
#include "ops/wordindex.h"
#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/msgdata.h"
#include "store/sptpath.h"
#include "transfers/extractbuild.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

namespace {

// The shared dictionaries, read once.
std::vector<DemoRemedy> Remedies;
std::vector<DemoAuthor> Authors;
std::vector<DemoView> Views;
std::map<std::string, int> RemedyIds, AuthorIds;

constexpr int kUserRemedyFirst = 3161, kUserRemedyLast = 3259;
constexpr int kUserAuthorFirst = 886, kUserAuthorLast = 984;
constexpr int kBlockStep = 10; // gaps between block numbers

int Fail(const std::string &what, const std::string &about) {
  fprintf(stderr, "mkdemo: %s %s (store error %d)\n", what.c_str(),
          about.c_str(), OrvixError);
  return 1;
}

// A table of the installation opened for writing, closed when it goes.
struct Table {
  TblHandle h = 0;
  ~Table() {
    if (h != 0)
      DbCloseFile(h);
  }
};

// ---------------------------------------------------------------- Remed,
// Author, View

int BuildRemed(const char *path) {
  Table t;
  t.h = TblCreateRemed(path, 1, 1);
  if (t.h == 0)
    return Fail("cannot create", path);
  static Remed rec;
  for (const DemoRemedy &r : Remedies) {
    rec.CursorState = 0xff;
    TblClearRemed(&rec);
    rec.Id = static_cast<uint16_t>(r.Id);
    rec.Listed = 1;
    StrCopy(rec.Abbrev, r.Abbrev.c_str());
    StrCopy(rec.Name, r.Name.c_str());
    if (TblSaveRemed(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add remedy", r.Abbrev);
  }
  // The user-defined range: placeholders the user renames through
  // "rem_udef.lst"; a log may name them "rmd1" to "rmd99".
  for (int id = kUserRemedyFirst; id <= kUserRemedyLast; ++id) {
    rec.CursorState = 0xff;
    TblClearRemed(&rec);
    rec.Id = static_cast<uint16_t>(id);
    rec.Listed = 1;
    StrFormat(rec.Abbrev, "rmd%d", id - (kUserRemedyFirst - 1));
    StrFormat(rec.Name, "User-defined remedy %d", id - (kUserRemedyFirst - 1));
    if (TblSaveRemed(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add remedy", rec.Abbrev);
  }
  return 0;
}

int BuildAuthor(const char *path) {
  Table t;
  t.h = TblCreateAuthor(path, 1, 1);
  if (t.h == 0)
    return Fail("cannot create", path);
  static Author rec;
  for (const DemoAuthor &a : Authors) {
    rec.CursorState = 0xff;
    TblClearAuthor(&rec);
    rec.Id = static_cast<uint16_t>(a.Id);
    rec.Listed = 1;
    StrCopy(rec.Abbrev, a.Abbrev.c_str());
    StrCopy(rec.Name, a.Name.c_str());
    StrCopy(rec.Detail1, a.Detail.c_str());
    if (TblSaveAuthor(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add author", a.Abbrev);
  }
  for (int id = kUserAuthorFirst; id <= kUserAuthorLast; ++id) {
    rec.CursorState = 0xff;
    TblClearAuthor(&rec);
    rec.Id = static_cast<uint16_t>(id);
    rec.Listed = 1;
    StrFormat(rec.Abbrev, "aut%d", id - (kUserAuthorFirst - 1));
    StrFormat(rec.Name, "User-defined author %d", id - (kUserAuthorFirst - 1));
    if (TblSaveAuthor(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add author", rec.Abbrev);
  }
  return 0;
}

// The views an author stands in, as the view bits of a remedy entry.
uint16_t ViewBitsOf(int authorId) {
  uint16_t bits = 0;
  for (const DemoView &v : Views)
    for (const std::string &a : v.Authors)
      if (AuthorIds.count(a) && AuthorIds[a] == authorId)
        bits |= static_cast<uint16_t>(1u << (v.Number - 1));
  return bits;
}

int BuildView(const char *path) {
  Table t;
  t.h = TblCreateView(path, 1, 1);
  if (t.h == 0)
    return Fail("cannot create", path);
  for (const DemoView &v : Views) {
    static View rec;
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.ViewNumber = static_cast<uint8_t>(v.Number);
    for (const std::string &a : v.Authors) {
      if (!AuthorIds.count(a))
        return Fail("unknown author in a view:", a);
      int id = AuthorIds[a] & kAuthorMask;
      rec.AuthorBits[id / 8] |= static_cast<uint8_t>(0x80 >> (id % 8));
    }
    if (TblSaveView(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add view", std::to_string(v.Number));
  }
  return 0;
}

// ---------------------------------------------------------------- symptoms

// "-" in remedy names sorts as "/", as the remedy operations sort them.
std::string RemedySortKey(const std::string &abbrev) {
  std::string k = abbrev;
  std::replace(k.begin(), k.end(), '-', '/');
  return k;
}

// Tree links, numbers in both book orders, paths.
void Number(DemoRepertory &rep) {
  std::vector<int> stack(13, -1);
  uint32_t block = 0;
  uint16_t sub = 0;
  int chapter = 0;
  for (size_t i = 0; i < rep.Symptoms.size(); ++i) {
    DemoSymptom &s = rep.Symptoms[i];
    stack[s.Level] = static_cast<int>(i);
    s.Parent = s.Level > 1 ? stack[s.Level - 1] : -1;
    if (s.Level == 1)
      ++chapter;
    s.Chapter = chapter;
    // A block for each chapter head and each rubric of the second level.
    if (s.Level <= 2) {
      block += kBlockStep;
      sub = 0;
    } else {
      ++sub;
    }
    s.Num = block;
    s.Sub = sub;
    if (s.Parent >= 0) {
      DemoSymptom &p = rep.Symptoms[s.Parent];
      ++p.Children;
      s.Path1 = p.Path1 + " - " + s.Text1;
      s.Path2 = p.Path2 + " - " + s.Text2;
    } else {
      s.Path1 = s.Text1;
      s.Path2 = s.Text2;
    }
  }
  // The second order: the same tree with siblings in the order of their
  // second-language texts.
  std::vector<std::vector<int>> kids(rep.Symptoms.size() + 1);
  for (size_t i = 0; i < rep.Symptoms.size(); ++i) {
    int p = rep.Symptoms[i].Parent;
    kids[p < 0 ? rep.Symptoms.size() : static_cast<size_t>(p)].push_back(
        static_cast<int>(i));
  }
  for (auto &k : kids)
    std::stable_sort(k.begin(), k.end(), [&](int a, int b) {
      return strcmp(rep.Symptoms[a].Text2.c_str(),
                    rep.Symptoms[b].Text2.c_str()) < 0;
    });
  block = 0;
  sub = 0;
  std::vector<int> todo(kids[rep.Symptoms.size()].rbegin(),
                        kids[rep.Symptoms.size()].rend());
  while (!todo.empty()) {
    int i = todo.back();
    todo.pop_back();
    DemoSymptom &s = rep.Symptoms[i];
    if (s.Level <= 2) {
      block += kBlockStep;
      sub = 0;
    } else {
      ++sub;
    }
    s.Num2 = block;
    s.Sub2 = sub;
    todo.insert(todo.end(), kids[i].rbegin(), kids[i].rend());
  }
}

int RemedyIdOf(const std::string &abbrev) {
  auto it = RemedyIds.find(abbrev);
  return it == RemedyIds.end() ? 0 : it->second;
}
int AuthorIdOf(const std::string &abbrev) {
  auto it = AuthorIds.find(abbrev);
  return it == AuthorIds.end() ? 0 : it->second;
}

int SaveSymptoms(const char *path, DemoRepertory &rep,
                 const DemoCatalogEntry &e) {
  Table t;
  t.h = TblCreateSymptom(path, 1, 1);
  if (t.h == 0)
    return Fail("cannot create", path);
  static Symptom rec;
  for (DemoSymptom &s : rep.Symptoms) {
    rec.CursorState = 0xff;
    TblClearSymptom(&rec);
    rec.Num = s.Num;
    rec.Sub = s.Sub;
    rec.Num2 = s.Num2;
    rec.Sub2 = s.Sub2;
    if (s.Parent >= 0) {
      rec.ParentNum = rep.Symptoms[s.Parent].Num;
      rec.ParentSub = rep.Symptoms[s.Parent].Sub;
    }
    rec.Chapter = static_cast<uint8_t>(s.Chapter);
    rec.Level = static_cast<uint8_t>(s.Level);
    rec.ChildCount = static_cast<uint16_t>(s.Children);
    rec.UniqueId = s.UniqueId;
    StrCopy(rec.Text1, s.Text1.c_str());
    StrCopy(rec.Text2, s.Text2.c_str());
    for (const DemoExtra &x : s.Extras) {
      if (x.Tag == "syn1")
        StrCopy(rec.Synonym1, x.Text.c_str());
      else if (x.Tag == "syn2")
        StrCopy(rec.Synonym2, x.Text.c_str());
      else if (x.Tag == "xref1")
        StrCopy(rec.CrossRef1, x.Text.c_str());
      else if (x.Tag == "xref2")
        StrCopy(rec.CrossRef2, x.Text.c_str());
      else if (x.Tag == "type") {
        if (x.Text.size() != 2 || x.Text[0] < '0' || x.Text[0] > '9' ||
            x.Text[1] < '0' || x.Text[1] > '9')
          return Fail("bad symptom type at", s.Path1);
        rec.SymptomType = static_cast<uint8_t>(x.Text[0] - '0');
        rec.SymptomSubType = static_cast<uint8_t>(x.Text[1] - '0');
      }
    }
    // The remedies, in the order of the remedy operations.
    std::vector<DemoRem> rems = s.Rems;
    std::stable_sort(rems.begin(), rems.end(),
                     [](const DemoRem &a, const DemoRem &b) {
                       int c = strcmp(RemedySortKey(a.Remedy).c_str(),
                                      RemedySortKey(b.Remedy).c_str());
                       if (c != 0)
                         return c < 0;
                       return strcmp(a.Author.c_str(), b.Author.c_str()) < 0;
                     });
    TblFreeSymptomRemed(&rec);
    rec.Remedies = TblAllocSymptomRemed(static_cast<int>(rems.size()) + 1);
    if (rec.Remedies == nullptr)
      return Fail("no memory for the remedies of", s.Path1);
    int distinct = 0;
    uint16_t mask = 0;
    for (size_t i = 0; i < rems.size(); ++i) {
      int rid = RemedyIdOf(rems[i].Remedy), aid = AuthorIdOf(rems[i].Author);
      if (rid == 0)
        return Fail("unknown remedy " + rems[i].Remedy + " at", s.Path1);
      if (aid == 0)
        return Fail("unknown author " + rems[i].Author + " at", s.Path1);
      if (i == 0 || rems[i].Remedy != rems[i - 1].Remedy)
        ++distinct;
      SymptomRemedy &r = rec.Remedies[i];
      r.RemedyId = static_cast<uint16_t>(rid);
      r.Degree = static_cast<uint8_t>(rems[i].Degree);
      r.AuthorId =
          static_cast<uint16_t>(aid | (rems[i].User ? kAuthorUserBit : 0));
      r.ViewBits = ViewBitsOf(aid);
      mask |= r.ViewBits;
    }
    rec.Remedies[rems.size()] = SymptomRemedy{0, 0, 0, 0xffff};
    rec.RemedyCount = static_cast<uint16_t>(distinct);
    rec.ViewMask = mask;
    if (TblSaveSymptom(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add symptom", s.Path1);
  }
  TblFreeSymptomRemed(&rec);
  // The resources: the kind of repertory, and the family flag.
  static Resource res;
  if (!e.RepKind.empty()) {
    memset(&res, 0, sizeof res);
    res.Type = kResRepKindType;
    res.Id = kResRepKindId;
    StrCopy(res.Text, 255, e.RepKind.c_str());
    res.Length = static_cast<uint32_t>(strlen(res.Text));
    if (DbAddResource(t.h, &res) != 0)
      return Fail("cannot add the kind resource to", path);
  }
  if (!e.AlmanacumFlag.empty()) {
    memset(&res, 0, sizeof res);
    res.Type = kResAlmanacumType;
    res.Id = kResAlmanacumId;
    StrCopy(res.Text, 255, e.AlmanacumFlag.c_str());
    res.Length = static_cast<uint32_t>(strlen(res.Text));
    if (DbAddResource(t.h, &res) != 0)
      return Fail("cannot add the family resource to", path);
  }
  return 0;
}

// The words of "(= ...)", or the empty text for a reference list.
std::string WordsOf(const std::string &field) {
  if (field.size() < 4 || field.compare(0, 3, "(= ") != 0 ||
      field.back() != ')')
    return "";
  return field.substr(3, field.size() - 4);
}

// The word index, as the symptom operations would leave it had every
// symptom been added in book order and its words given afterwards.
int BuildWords(const char *symptomPath, const char *w1, const char *w2,
               const DemoRepertory &rep) {
  Table s, a, b;
  s.h = TblOpenSymptom(symptomPath, 1, 1);
  a.h = TblCreateWord(w1, 1, 1);
  b.h = TblCreateWord(w2, 1, 1);
  if (s.h == 0 || a.h == 0 || b.h == 0)
    return Fail("cannot open the word tables of", symptomPath);
  for (const DemoSymptom &sym : rep.Symptoms) {
    if (WordIndexAdd(s.h, a.h, b.h, sym.Text1.c_str(), sym.Text2.c_str(),
                     sym.Num, sym.Sub) != 0)
      return Fail("cannot index the words of", sym.Path1);
    for (const DemoExtra &x : sym.Extras) {
      std::string words = x.Tag == "syn1" || x.Tag == "syn2" ||
                                  x.Tag == "xref1" || x.Tag == "xref2"
                              ? WordsOf(x.Text)
                              : "";
      if (words.empty())
        continue;
      bool first = x.Tag.back() == '1';
      if (WordIndexAdd(s.h, a.h, b.h, first ? words.c_str() : nullptr,
                       first ? nullptr : words.c_str(), sym.Num, sym.Sub) != 0)
        return Fail("cannot index the synonym of", sym.Path1);
    }
  }
  return 0;
}

void BuildNote(const char *text, void *) {
  fprintf(stderr, "mkdemo: %s\n", text);
}

int BuildExtract(const DemoCatalogEntry &e) {
  std::string folder = e.Folder;
  ExtractBuildHooks hooks{nullptr, nullptr, BuildNote, nullptr};
  int r =
      ExtractBuild((folder + "symptom").c_str(), (folder + "extract").c_str(),
                   "..\\system\\remed", folder.c_str(), hooks);
  if (r != kExtractOk)
    return Fail("cannot build the extraction table of", e.Abbrev);
  // The scratch file is the build's own; an installation does without it.
  PlatDeleteFile((folder + "extract.bin").c_str());
  return 0;
}

int BuildNotesAndLinks(const DemoCatalogEntry &e, const DemoRepertory &rep) {
  Table n, l;
  n.h = TblCreateNote((e.Folder + "Note").c_str(), 1, 1);
  l.h = TblCreateLink((e.Folder + "Link").c_str(), 1, 1);
  if (n.h == 0 || l.h == 0)
    return Fail("cannot create the notes and links of", e.Abbrev);
  static Note note;
  static char t1[kNoteTextSize], t2[kNoteTextSize];
  static Link link;
  for (const DemoSymptom &s : rep.Symptoms) {
    for (const DemoExtra &x : s.Extras) {
      std::vector<std::string> v = DemoSplit(x.Text);
      if (x.Tag == "note") {
        if (v.size() != 6)
          return Fail("bad note at", s.Path1);
        note.CursorState = 0xff;
        TblClearNote(&note);
        note.Num = s.Num;
        note.Sub = s.Sub;
        note.RemedyId =
            static_cast<uint16_t>(v[0] == "0" ? 0 : RemedyIdOf(v[0]));
        note.AuthorId =
            static_cast<uint16_t>(v[1] == "0" ? 0 : AuthorIdOf(v[1]));
        note.Degree = static_cast<uint8_t>(atoi(v[2].c_str()));
        note.NoteKind = static_cast<uint8_t>(atoi(v[3].c_str()));
        StrCopy(t1, v[4].c_str());
        StrCopy(t2, v[5].c_str());
        note.Text1 = t1;
        note.Text2 = t2;
        if ((v[0] != "0" && note.RemedyId == 0) ||
            (v[1] != "0" && note.AuthorId == 0))
          return Fail("note names an unknown remedy or author at", s.Path1);
        if (TblSaveNote(n.h, &note, kSaveAdd) != 0 || OrvixError != 0)
          return Fail("cannot add the note of", s.Path1);
      } else if (x.Tag == "link") {
        if (v.size() != 6)
          return Fail("bad link at", s.Path1);
        link.CursorState = 0xff;
        TblClearLink(&link);
        link.Num = s.Num;
        link.Sub = s.Sub;
        link.LinkKind = static_cast<uint8_t>(atoi(v[0].c_str()));
        link.RemedyId =
            static_cast<uint16_t>(v[1] == "0" ? 0 : RemedyIdOf(v[1]));
        link.AuthorId =
            static_cast<uint16_t>(v[2] == "0" ? 0 : AuthorIdOf(v[2]));
        link.Degree = static_cast<uint8_t>(atoi(v[3].c_str()));
        StrCopy(link.Title, v[4].c_str());
        StrCopy(link.File, v[5].c_str());
        if (TblSaveLink(l.h, &link, kSaveAdd) != 0 || OrvixError != 0)
          return Fail("cannot add the link of", s.Path1);
      }
    }
  }
  return 0;
}

// One pair of concept links, added as the concept operation adds them.
int AddConceptEntry(TblHandle h, uint32_t keyNum, uint16_t keySub, int dir,
                    uint32_t num, uint16_t sub) {
  static ExSp rec;
  rec.CursorState = 0xff;
  TblClearExSp(&rec);
  rec.Num = keyNum;
  rec.Sub = keySub;
  rec.Direction = static_cast<uint8_t>(dir);
  rec.Seq = 0;
  ExSpEntry entry{num, sub, 0, 0};
  if (TblFindFullExSp(h, &rec, 0, kFindEqual, nullptr) == 0 && OrvixError == 0)
    return ChainInsertExSp(h, &rec, entry);
  TblClearExSp(&rec);
  rec.Num = keyNum;
  rec.Sub = keySub;
  rec.Direction = static_cast<uint8_t>(dir);
  rec.Seq = 0;
  rec.Entries[0] = entry;
  rec.Entries[1] = ChainExSpTerminator();
  return TblSaveExSp(h, &rec, kSaveAdd) != 0 || OrvixError != 0;
}

// The concept links live in the concept half's folder: direction 1 keyed by
// a concept, listing symptoms of the repertory; direction 2 the reverse.
int BuildConcepts(const DemoCatalogEntry &e, const DemoRepertory &concepts,
                  const DemoRepertory &partner) {
  Table t;
  t.h = TblCreateExSp((e.Folder + "extrspt").c_str(), 1, 1);
  if (t.h == 0)
    return Fail("cannot create the concept links of", e.Abbrev);
  std::map<int, const DemoSymptom *> byUid;
  for (const DemoSymptom &s : partner.Symptoms)
    byUid[s.UniqueId] = &s;
  for (const DemoSymptom &c : concepts.Symptoms) {
    for (const DemoExtra &x : c.Extras) {
      if (x.Tag != "concept")
        continue;
      size_t start = 0;
      while (start < x.Text.size()) {
        size_t sp = x.Text.find(' ', start);
        int uid = atoi(x.Text.substr(start, sp - start).c_str());
        start = sp == std::string::npos ? x.Text.size() : sp + 1;
        auto it = byUid.find(uid);
        if (it == byUid.end())
          return Fail("concept links an unknown id at", c.Path1);
        const DemoSymptom &s = *it->second;
        if (AddConceptEntry(t.h, c.Num, c.Sub, 1, s.Num, s.Sub) != 0 ||
            AddConceptEntry(t.h, s.Num, s.Sub, 2, c.Num, c.Sub) != 0)
          return Fail("cannot add a concept link at", c.Path1);
      }
    }
  }
  return 0;
}

int BuildCatalog(const std::vector<DemoCatalogEntry> &entries) {
  Table t;
  t.h = TblCreateCatalog("..\\system\\catalog", 1, 1);
  if (t.h == 0)
    return Fail("cannot create", "..\\system\\catalog");
  static Catalog rec;
  static const char *kTables[kCatPathCount] = {
      "symptom", "chapter", "extract", "word1", "word2", "view", ""};
  for (const DemoCatalogEntry &e : entries) {
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.Kind = static_cast<uint8_t>(e.Kind);
    rec.Id = static_cast<uint16_t>(e.Id);
    StrCopy(rec.Abbrev, e.Abbrev.c_str());
    if (e.Kind == 2) {
      StrCopy(rec.KeynoteBlock.Title, e.Title.c_str());
      StrCopy(rec.KeynoteBlock.Folder, e.Folder.c_str());
    } else {
      StrCopy(rec.RepertoryBlock.Title, e.Title.c_str());
      rec.RepertoryBlock.RefStyle = static_cast<uint8_t>(e.RefStyle);
      for (int i = 0; i < kCatPathCount; ++i)
        StrFormat(rec.RepertoryBlock.Paths[i], "%s%s", e.Folder.c_str(),
                  kTables[i]);
    }
    if (TblSaveCatalog(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add to the catalogue", e.Abbrev);
  }
  return 0;
}

// ---------------------------------------------------------------- editions

// The association tables from one edition to the next, one per language:
// each old symptom with its new path, "<deleted>" when it has gone.
int BuildAssociation(const DemoRepertory &oldRep, const DemoRepertory &newRep,
                     const char *path, int language) {
  Table t;
  t.h = TblCreateAt(path, 1, 1);
  if (t.h == 0)
    return Fail("cannot create", path);
  std::map<int, const DemoSymptom *> byUid;
  for (const DemoSymptom &s : newRep.Symptoms)
    byUid[s.UniqueId] = &s;
  static At rec;
  for (const DemoSymptom &s : oldRep.Symptoms) {
    rec.CursorState = 0xff;
    TblClearAt(&rec);
    rec.Num = s.Num;
    rec.Sub = s.Sub;
    if (s.Parent >= 0) {
      rec.ParentNum = oldRep.Symptoms[s.Parent].Num;
      rec.ParentSub = oldRep.Symptoms[s.Parent].Sub;
    }
    StrCopy(rec.Text, (language == 1 ? s.Text1 : s.Text2).c_str());
    auto it = byUid.find(s.UniqueId);
    if (it == byUid.end())
      StrCopy(rec.NewPath, "<deleted>");
    else
      StrCopy(rec.NewPath,
              (language == 1 ? it->second->Path1 : it->second->Path2).c_str());
    if (TblSaveAt(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add to", path);
  }
  return 0;
}

// The ids the new edition retired, in the history beside its tables.
int BuildHistory(const DemoRepertory &oldRep, const DemoRepertory &newRep,
                 const char *path, long date) {
  Table t;
  t.h = TblCreateHistoId(path, 1, 1);
  if (t.h == 0)
    return Fail("cannot create", path);
  std::map<int, bool> kept;
  for (const DemoSymptom &s : newRep.Symptoms)
    kept[s.UniqueId] = true;
  static HistoId rec;
  for (const DemoSymptom &s : oldRep.Symptoms) {
    if (kept.count(s.UniqueId))
      continue;
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.Id = s.UniqueId;
    rec.ReplacedBy = 0;
    rec.Date = static_cast<int32_t>(date);
    StrFormat(rec.Comment, "Deleted in the new edition: %s", s.Path1.c_str());
    if (TblSaveHistoId(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add to", path);
  }
  return 0;
}

// ---------------------------------------------------------------- logs

// A display path in the stored form: each separating " - " becomes
// " \x02 ", a dash between digits stays.
std::string StoredPath(const std::string &display) {
  std::string out = display;
  if (out.empty())
    return out;
  const char *start = out.c_str();
  const char *last = start + out.size() - 1;
  for (size_t i = 1; i + 1 < out.size(); ++i)
    if (out[i] == '-' && SptIsLevelSeparator(start + i, start, last))
      out[i] = kSptSeparator;
  return out;
}

int BuildLog(const char *path, const std::vector<DemoLogEntry> &entries,
             const char *symptomPath) {
  Table t, s;
  t.h = TblCreateRlog(path, 1, 1, 3);
  s.h = TblOpenSymptom(symptomPath, 1, 1);
  if (t.h == 0 || s.h == 0)
    return Fail("cannot create the log", path);
  static char text[kLogTextSize];
  static LogEntry rec;
  static Symptom sym;
  for (const DemoLogEntry &e : entries) {
    memset(&rec, 0, sizeof rec);
    rec.endMark = 0xff;
    rec.number = e.Number;
    rec.operation = static_cast<uint16_t>(e.Operation);
    rec.date = static_cast<uint32_t>(e.Date);
    rec.time = static_cast<uint32_t>(e.Time);
    rec.tag = static_cast<uint8_t>(e.Tag);
    text[0] = '\0';
    for (size_t i = 0; i < e.Fields.size(); ++i) {
      bool isPath = i == 1 || (e.Operation == 11 && (i == 2 || i == 3)) ||
                    ((e.Operation == 16 || e.Operation == 17) && i == 2);
      std::string f = isPath ? StoredPath(e.Fields[i]) : e.Fields[i];
      if (i > 0)
        StrAppend(text, "\x01");
      StrAppend(text, f.c_str());
    }
    rec.text = text;
    if (e.UniqueId == "=") {
      if (e.Fields.size() < 2 || (e.Fields[0] != "0" && e.Fields[0] != "1"))
        return Fail("a log entry without language and path in", path);
      uint32_t num;
      uint16_t sub;
      std::string p = StoredPath(e.Fields[1]);
      if (GetSptNumFromExactText(s.h, e.Fields[0] == "0" ? 1 : 2, p.c_str(),
                                 &num, &sub) != 0)
        return Fail("log entry " + std::to_string(e.Number) +
                        " names no symptom:",
                    e.Fields[1]);
      sym.CursorState = 0xff;
      TblClearSymptom(&sym);
      sym.Num = num;
      sym.Sub = sub;
      if (TblFindFullSymptom(s.h, &sym, 0, kFindEqual) != 0 || OrvixError != 0)
        return Fail("cannot read the symptom of", e.Fields[1]);
      rec.symptomId = sym.UniqueId;
    } else {
      rec.symptomId = atoi(e.UniqueId.c_str());
    }
    if (TblSaveRlog(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add to the log", path);
  }
  TblFreeSymptomRemed(&sym);
  return 0;
}

// ---------------------------------------------------------------- cases

int BuildCases(const char *path, const std::vector<DemoCase> &cases,
               const DemoRepertory &rep) {
  Table c1, c2;
  c1.h = TblCreateCas1(path, 1, 1);
  c2.h = TblCreateCas2(path, 1, 1);
  if (c1.h == 0 || c2.h == 0)
    return Fail("cannot create the cases", path);
  std::map<std::string, const DemoSymptom *> byPath;
  for (const DemoSymptom &s : rep.Symptoms)
    byPath[s.Path1] = &s;
  static Cas1 head;
  static Cas2 line;
  for (const DemoCase &c : cases) {
    head.CursorState = 0xff;
    TblClearCas1(&head);
    head.Status = c.Deleted ? 1 : 0;
    head.CaseId = static_cast<uint16_t>(c.Id);
    head.Created = static_cast<int32_t>(c.Created);
    head.Changed = static_cast<int32_t>(c.Changed);
    StrCopy(head.Name, c.Name.c_str());
    StrCopy(head.Comment, c.Comment.c_str());
    for (int i = 0; i < 10; ++i)
      StrCopy(head.Texts[i], c.Clipboards[i].c_str());
    int place[10] = {};
    for (const DemoCaseSymptom &cs : c.Symptoms) {
      auto it = byPath.find(cs.Path);
      if (it == byPath.end())
        return Fail("a case names no symptom:", cs.Path);
      const DemoSymptom &s = *it->second;
      int clip = cs.Clipboard - 1;
      ++head.Values[clip];
      line.CursorState = 0xff;
      TblClearCas2(&line);
      line.CaseId = head.CaseId;
      line.Sequence = static_cast<uint8_t>(clip);
      line.Entry = static_cast<uint16_t>(++place[clip]);
      line.Byte14 = static_cast<uint8_t>(cs.Weight);
      line.Byte11 = 1;
      line.Byte12 = 1;
      line.Byte13 = 'A';
      line.ValueC = 1; // the repertory the rubric was taken from
      line.Value8 = s.UniqueId;
      StrCopy(line.Text1, s.Path1.c_str());
      StrCopy(line.Text2, s.Path2.c_str());
      TblFreeCas2Symptoms(&line);
      line.Symptoms = TblAllocCas2Symptoms(static_cast<int>(s.Rems.size()) + 1);
      if (line.Symptoms == nullptr)
        return Fail("no memory for a case line of", c.Name);
      for (size_t i = 0; i < s.Rems.size(); ++i)
        line.Symptoms[i] =
            Cas2Symptom{static_cast<uint16_t>(RemedyIdOf(s.Rems[i].Remedy)),
                        static_cast<uint16_t>(AuthorIdOf(s.Rems[i].Author)),
                        static_cast<uint8_t>(s.Rems[i].Degree)};
      line.Symptoms[s.Rems.size()] = Cas2Symptom{0, 0, 0};
      if (TblSaveCas2(c2.h, &line, kSaveAdd) != 0 || OrvixError != 0)
        return Fail("cannot add a case line of", c.Name);
    }
    if (TblSaveCas1(c1.h, &head, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add the case", c.Name);
  }
  TblFreeCas2Symptoms(&line);
  return 0;
}

// ---------------------------------------------------------------- keynotes

int BuildKeynotes(const char *path, const std::vector<DemoKeynote> &book) {
  Table t;
  t.h = TblCreateKeynote(path, 1, 1);
  if (t.h == 0)
    return Fail("cannot create", path);
  static GenericRecord rec;
  for (const DemoKeynote &k : book) {
    int id = RemedyIdOf(k.Remedy);
    if (id == 0)
      return Fail("a keynote names an unknown remedy:", k.Remedy);
    rec.CursorState = 0xff;
    TblClearGeneric(&rec);
    rec.Id = static_cast<uint32_t>(id);
    char text[sizeof rec.Data];
    StrFormat(text, "%s\x01%s", k.Text1.c_str(), k.Text2.c_str());
    rec.Length = static_cast<uint16_t>(strlen(text));
    memcpy(rec.Data, text, rec.Length);
    if (TblSaveGeneric(t.h, &rec, kSaveAdd) != 0 || OrvixError != 0)
      return Fail("cannot add the keynote of", k.Remedy);
  }
  return 0;
}

// ---------------------------------------------------------------- messages

// The message table, compiled from the team's text files beside the demo
// sources (data/messages/*.txt) with the message tool's own code.
int BuildMessages(const std::string &sources) {
  std::vector<std::string> files;
  std::error_code ec;
  std::filesystem::path dir =
      std::filesystem::path(sources).parent_path() / "messages";
  for (const auto &e : std::filesystem::directory_iterator(dir, ec))
    if (e.path().extension() == ".txt")
      files.push_back(e.path().string());
  if (files.empty())
    return Fail("no message files in", dir.string());
  std::sort(files.begin(), files.end());
  static MsgDataSet set;
  set = MsgDataSet{};
  for (const std::string &f : files)
    MsgDataReadFile(&set, f.c_str());
  MsgDataCheck(&set);
  for (const std::string &problem : set.Problems)
    fprintf(stderr, "%s\n", problem.c_str());
  if (!set.Problems.empty())
    return Fail("the message files have problems:", dir.string());
  const MsgDataEntry *failed = nullptr;
  if (MsgDataWriteTable(set, "..\\system\\orvixmsg", &failed) != 0)
    return Fail("cannot write the message table", "..\\system\\orvixmsg");
  return 0;
}

// The sample log in its text form, as a run writes the entries it could
// not apply: English labels, the numbers from the repertory.
int BuildLogText(const char *logPath, const char *symptomPath,
                 const char *textPath) {
  Table log, sym;
  log.h = TblOpenRlog(logPath, 1, 1);
  sym.h = TblOpenSymptom(symptomPath, 1, 1);
  MsgTable = MsgOpen("..\\system\\orvixmsg", 1, 1);
  if (log.h == 0 || sym.h == 0 || MsgTable == 0)
    return Fail("cannot open the tables for", textPath);
  Language = 1;
  LogTextSymptomTable = sym.h;
  FILE *out = PlatOpenFile(textPath, "wb");
  if (out == nullptr) {
    LogTextSymptomTable = 0;
    DbCloseFile(MsgTable);
    MsgTable = 0;
    return Fail("cannot write", textPath);
  }
  static LogEntry e;
  static char text[kLogTextSize];
  memset(&e, 0, sizeof e);
  e.text = text;
  for (int r = TblFindFullRlog(log.h, &e, 0, kFindFirst);
       r == 0 && OrvixError == 0; r = TblFindFullRlog(log.h, &e, 0, kFindNext))
    LogWriteEntry(out, nullptr, &e, nullptr);
  bool ok = fclose(out) == 0;
  LogTextSymptomTable = 0;
  DbCloseFile(MsgTable);
  MsgTable = 0;
  return ok ? 0 : Fail("cannot write", textPath);
}

// ---------------------------------------------------------------- files

// Copies a source file into the installation as it stands.
int CopySource(const std::string &from, const char *to) {
  FILE *in = fopen(from.c_str(), "rb");
  if (in == nullptr)
    return Fail("cannot read", from);
  FILE *out = PlatOpenFile(to, "wb");
  if (out == nullptr) {
    fclose(in);
    return Fail("cannot write", to);
  }
  char buf[4096];
  size_t n;
  bool ok = true;
  while ((n = fread(buf, 1, sizeof buf, in)) > 0)
    ok = ok && fwrite(buf, 1, n, out) == n;
  fclose(in);
  ok = fclose(out) == 0 && ok;
  return ok ? 0 : Fail("cannot write", to);
}

// The same, turning the UTF-8 of the source into code page 1252.
int CopySourceCp1252(const std::string &from, const char *to) {
  FILE *in = fopen(from.c_str(), "rb");
  if (in == nullptr)
    return Fail("cannot read", from);
  std::string all;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, in)) > 0)
    all.append(buf, n);
  fclose(in);
  std::string text = Utf8ToCp1252(all);
  FILE *out = PlatOpenFile(to, "wb");
  if (out == nullptr)
    return Fail("cannot write", to);
  bool ok = fwrite(text.data(), 1, text.size(), out) == text.size();
  ok = fclose(out) == 0 && ok;
  return ok ? 0 : Fail("cannot write", to);
}

} // namespace

int DemoBuild(const std::string &sources) {
  auto src = [&](const char *name) { return sources + "/" + name; };
  std::vector<DemoCatalogEntry> catalog;
  if (DemoReadRemedies(src("remedies.txt"), Remedies) ||
      DemoReadAuthors(src("authors.txt"), Authors) ||
      DemoReadViews(src("views.txt"), Views) ||
      DemoReadCatalog(src("catalog.txt"), catalog))
    return 1;
  for (const DemoRemedy &r : Remedies)
    RemedyIds[r.Abbrev] = r.Id;
  for (int id = kUserRemedyFirst; id <= kUserRemedyLast; ++id)
    RemedyIds["rmd" + std::to_string(id - (kUserRemedyFirst - 1))] = id;
  for (const DemoAuthor &a : Authors)
    AuthorIds[a.Abbrev] = a.Id;

  // Folders, as the main application lays them out.
  static const char *kFolders[] = {
      "..\\system", "..\\data",  "..\\data\\at", "..\\data\\keynotes",
      "..\\log",    "..\\cases", "..\\patient",  "..\\photo",
      "..\\video",  "..\\sound", "..\\backup"};
  for (const char *f : kFolders)
    if (PlatCreateDirs(f) != kPlatOk)
      return Fail("cannot create the folder", f);

  if (CopySource(src("orvix.ini"), "orvix.ini") || BuildMessages(sources) ||
      BuildRemed("..\\system\\remed") || BuildAuthor("..\\system\\author") ||
      BuildCatalog(catalog))
    return 1;

  // The repertories, each with its own tables.
  std::map<std::string, DemoRepertory> reps;
  for (const DemoCatalogEntry &e : catalog) {
    if (e.Kind != 1)
      continue;
    DemoRepertory &rep = reps[e.Abbrev];
    if (DemoReadRepertory(src(e.Source.c_str()), rep))
      return 1;
    Number(rep);
    std::string f = e.Folder;
    if (PlatCreateDirs(f.c_str()) != kPlatOk)
      return Fail("cannot create the folder", f);
    if (SaveSymptoms((f + "symptom").c_str(), rep, e) ||
        BuildWords((f + "symptom").c_str(), (f + "word1").c_str(),
                   (f + "word2").c_str(), rep) ||
        BuildExtract(e) || BuildNotesAndLinks(e, rep) ||
        BuildView((f + "view").c_str()))
      return 1;
  }
  // The concept links, in the folder of the concept half ("C...").
  for (const DemoCatalogEntry &e : catalog)
    if (e.Kind == 1 && e.Abbrev[0] == 'C') {
      // "S" and the rest of the name; not "S" + ..., which GCC 12 at -O3
      // takes for an overlapping copy (-Werror=restrict).
      std::string partner = e.Abbrev;
      partner[0] = 'S';
      if (!reps.count(partner))
        return Fail("no partner repertory for", e.Abbrev);
      if (BuildConcepts(e, reps[e.Abbrev], reps[partner]))
        return 1;
    }

  // The newer edition: association data and the history of retired ids.
  const DemoRepertory &oldRep = reps["SALM2009"], &newRep = reps["SALM2012"];
  if (BuildAssociation(oldRep, newRep, "..\\data\\at\\at0912e", 1) ||
      BuildAssociation(oldRep, newRep, "..\\data\\at\\at0912f", 2) ||
      BuildHistory(oldRep, newRep, "..\\data\\salm2012\\histoid",
                   DemoDate("01.09.2012")) ||
      CopySource(src("at/index.txt"), "..\\data\\at\\index.txt") ||
      CopySourceCp1252(src("at/remed.txt"), "..\\data\\at\\remed.txt") ||
      CopySourceCp1252(src("at/author.txt"), "..\\data\\at\\author.txt"))
    return 1;

  // Logs: the repertory's own, and a sample to replay.
  std::vector<DemoLogEntry> own, sample;
  if (DemoReadLog(src("log-own.txt"), own) ||
      DemoReadLog(src("log-sample.txt"), sample) ||
      BuildLog("..\\log\\SALM2009", own, "..\\data\\salm2009\\symptom") ||
      BuildLog("..\\log\\sample", sample, "..\\data\\salm2009\\symptom") ||
      BuildLogText("..\\log\\sample", "..\\data\\salm2009\\symptom",
                   "..\\log\\sample-text.txt"))
    return 1;
  // A sample for the 2012 edition, whose references take the second style.
  std::vector<DemoLogEntry> sample2012;
  if (DemoReadLog(src("log-sample2012.txt"), sample2012) ||
      BuildLog("..\\log\\sample2012", sample2012,
               "..\\data\\salm2012\\symptom"))
    return 1;
  // The list of tables for /BUILD, as an installer would write it.
  if (CopySource(src("rebuild.txt"), "..\\log\\rebuild.txt"))
    return 1;
  // A text log written elsewhere, with French labels and entries that the
  // reader refuses; a note text file for /NOTES.
  if (CopySourceCp1252(src("log-text-fr.txt"), "..\\log\\sample-french.txt") ||
      CopySourceCp1252(src("notes.txt"), "notes.txt"))
    return 1;

  // Cases, a colleague's cases to merge, the patient file, diagnoses.
  std::vector<DemoCase> cases, merge;
  if (DemoReadCases(src("cases.txt"), cases) ||
      DemoReadCases(src("cases-merge.txt"), merge) ||
      BuildCases("..\\cases\\repert", cases, oldRep) ||
      BuildCases("..\\cases\\colleague", merge, oldRep))
    return 1;
  if (TblCreatePatientFamily("..\\patient\\patient") != 0)
    return Fail("cannot create", "..\\patient\\patient");
  for (int i = 1; i <= 7; ++i) {
    char path[64];
    StrFormat(path, "..\\system\\diag%d", i);
    TblHandle h = TblCreateDefDiag(path, 1, 1);
    if (h == 0)
      return Fail("cannot create", path);
    DbCloseFile(h);
  }
  // The keynotes book: one record for each remedy, its id as the key, the
  // English and the French text divided by the byte 0x01.
  std::vector<DemoKeynote> book;
  if (DemoReadKeynotes(src("keynotes.txt"), book))
    return 1;
  for (const DemoCatalogEntry &e : catalog)
    if (e.Kind == 2 && BuildKeynotes((e.Folder + "keynotes").c_str(), book))
      return 1;
  TblHandle keynotes = TblCreateKeynote("..\\data\\keynotes\\personal", 1, 1);
  if (keynotes == 0)
    return Fail("cannot create", "..\\data\\keynotes\\personal");
  DbCloseFile(keynotes);

  // The pictures that the image links name.
  static const char *kPictures[] = {"acon-flower", "head-regions", "bell-plant",
                                    "night-scene", "thuj-tree",    "thuj-twig"};
  for (const char *p : kPictures) {
    char to[64];
    StrFormat(to, "..\\photo\\%s.svg", p);
    if (CopySource(src(("media/" + std::string(p) + ".svg").c_str()), to))
      return 1;
  }
  return 0;
}
