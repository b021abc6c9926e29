// The demonstration installation, built by the mkdemo program and read back
// through the store: the folder rules, the rebuild, and the consistency of
// what the builder wrote with what the system's own routines expect.
#include "ops/wordindex.h"
#include "platform/strutil.h"
#include "store/sptpath.h"
#include "store/store.h"
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;

const char *kRepFolders[] = {"salm2009", "salm2012", "calm2009"};

// One demonstration installation for the whole suite; tests that build
// more put them beside it.
class DemoTest : public ::testing::Test {
protected:
  static void SetUpTestSuite() {
    base_ = new ScratchFolder("demo");
    built_ = BuildDemo(Base() / "demo");
  }
  static void TearDownTestSuite() {
    delete base_;
    base_ = nullptr;
  }
  static const fs::path &Base() { return base_->path(); }

  void SetUp() override {
    ASSERT_EQ(built_, 0) << "mkdemo failed";
    base_->Enter("demo/bin");
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
  }
  void TearDown() override {
    DbTerminate("A-Mantrel");
    base_->Leave();
  }

  static ScratchFolder *base_;
  static int built_;
};
ScratchFolder *DemoTest::base_ = nullptr;
int DemoTest::built_ = -1;

// ---------------------------------------------------------------- walks

// A record made ready for a walk from the first entry of its table.
template <class T, class Clear> void Fresh(T &record, Clear clear) {
  record.CursorState = 0xff;
  clear(&record);
}

struct SymptomRow {
  uint32_t Num;
  uint16_t Sub;
  int Level;
  int32_t UniqueId;
  std::string Text1, Text2, Syn1, Syn2, Ref1, Ref2;
  std::vector<SymptomRemedy> Remedies;
};

std::vector<SymptomRow> ReadSymptoms(const std::string &path) {
  std::vector<SymptomRow> out;
  TblHandle h = TblOpenSymptom(path.c_str(), 1, 1);
  EXPECT_NE(h, 0) << path;
  static Symptom s;
  Fresh(s, TblClearSymptom);
  for (int r = TblFindFullSymptom(h, &s, 0, kFindFirst);
       r == 0 && OrvixError == 0; r = TblFindFullSymptom(h, &s, 0, kFindNext)) {
    SymptomRow row{s.Num,       s.Sub,       s.Level,    s.UniqueId,
                   s.Text1,     s.Text2,     s.Synonym1, s.Synonym2,
                   s.CrossRef1, s.CrossRef2, {}};
    for (int i = 0; TblIsLastSymptomRemed(&s.Remedies[i]) != 2; ++i)
      row.Remedies.push_back(s.Remedies[i]);
    out.push_back(row);
  }
  TblFreeSymptomRemed(&s);
  DbCloseFile(h);
  return out;
}

// The words the index must hold: (word, Num, Sub), each as often as the
// symptom's texts give it.
using WordRow = std::tuple<std::string, uint32_t, uint16_t>;

void CollectWords(const std::string &text, uint32_t num, uint16_t sub,
                  std::vector<WordRow> &out) {
  struct Ctx {
    std::vector<WordRow> *out;
    uint32_t num;
    uint16_t sub;
  } ctx{&out, num, sub};
  WordIndexTokens(
      text.c_str(), 0,
      [](const char *t, void *p) {
        Ctx *c = static_cast<Ctx *>(p);
        c->out->emplace_back(std::string(t).substr(0, kWordKeyMax), c->num,
                             c->sub);
      },
      &ctx);
}

std::string InWords(const std::string &field) {
  if (field.size() < 4 || field.compare(0, 3, "(= ") != 0 ||
      field.back() != ')')
    return "";
  return field.substr(3, field.size() - 4);
}

// ---------------------------------------------------------------- the folder

TEST_F(DemoTest, RefusesAForeignFolderAndRebuildsItsOwn) {
  fs::path foreign = Base() / "foreign";
  fs::create_directories(foreign);
  { std::ofstream(foreign / "precious.txt") << "keep me"; }
  EXPECT_NE(BuildDemo(foreign), 0);
  EXPECT_EQ(SlurpFile(foreign / "precious.txt"), "keep me");
  EXPECT_EQ(std::distance(fs::directory_iterator(foreign), {}), 1);

  // Its own folder, with a stray file: rebuilt, the stray file gone.
  fs::path own = Base() / "own";
  ASSERT_EQ(BuildDemo(own), 0);
  { std::ofstream(own / "data" / "stray.txt") << "x"; }
  ASSERT_EQ(BuildDemo(own), 0);
  EXPECT_FALSE(fs::exists(own / "data" / "stray.txt"));
  EXPECT_TRUE(fs::exists(own / ".mantrel-demo"));
  EXPECT_TRUE(fs::exists(own / "bin" / "orvix.ini"));
  // A plain file in place of the folder is refused too.
  { std::ofstream(Base() / "afile") << "x"; }
  EXPECT_NE(BuildDemo(Base() / "afile"), 0);
}

TEST_F(DemoTest, ARebuildWritesTheSameTables) {
  fs::path again = Base() / "again";
  ASSERT_EQ(BuildDemo(again), 0);
  fs::path first = Base() / "demo";
  std::set<std::string> names1, names2;
  for (auto &e : fs::recursive_directory_iterator(first))
    if (e.is_regular_file())
      names1.insert(fs::relative(e.path(), first).string());
  for (auto &e : fs::recursive_directory_iterator(again))
    if (e.is_regular_file())
      names2.insert(fs::relative(e.path(), again).string());
  EXPECT_EQ(names1, names2);
  int tables = 0;
  for (const std::string &n : names1) {
    std::string a = SlurpFile(first / n), b = SlurpFile(again / n);
    ASSERT_EQ(a.size(), b.size()) << n;
    std::string ext = fs::path(n).extension().string();
    tables += ext.size() == 4 &&
              (ext == ".dat" || ext == ".idx" ||
               ext.compare(0, 3, ".da") == 0 || ext.compare(0, 3, ".id") == 0);
    EXPECT_TRUE(a == b) << n;
  }
  EXPECT_GT(tables, 60);
}

// ---------------------------------------------------------------- indexes

TEST_F(DemoTest, WordTablesHoldExactlyTheWordsOfTheSymptoms) {
  for (const char *rep : kRepFolders) {
    std::string folder = std::string("..\\data\\") + rep + "\\";
    std::vector<SymptomRow> syms = ReadSymptoms(folder + "symptom");
    ASSERT_GT(syms.size(), 10u) << rep;
    std::vector<WordRow> want[2], have[2];
    std::map<std::pair<uint32_t, uint16_t>, size_t> place;
    for (size_t i = 0; i < syms.size(); ++i) {
      const SymptomRow &s = syms[i];
      place[{s.Num, s.Sub}] = i;
      CollectWords(s.Text1, s.Num, s.Sub, want[0]);
      CollectWords(s.Text2, s.Num, s.Sub, want[1]);
      CollectWords(InWords(s.Syn1), s.Num, s.Sub, want[0]);
      CollectWords(InWords(s.Ref1), s.Num, s.Sub, want[0]);
      CollectWords(InWords(s.Syn2), s.Num, s.Sub, want[1]);
      CollectWords(InWords(s.Ref2), s.Num, s.Sub, want[1]);
    }
    for (int lang = 0; lang < 2; ++lang) {
      TblHandle h =
          TblOpenWord((folder + (lang ? "word2" : "word1")).c_str(), 1, 1);
      ASSERT_NE(h, 0);
      static Word w;
      Fresh(w, TblClearWord);
      std::string last;
      int expectSeq = 0;
      std::pair<uint32_t, uint16_t> prev{0, 0};
      for (int r = TblFindFullWord(h, &w, 0, kFindFirst, nullptr);
           r == 0 && OrvixError == 0;
           r = TblFindFullWord(h, &w, 0, kFindNext, nullptr)) {
        if (w.Text != last) {
          last = w.Text;
          expectSeq = 0;
          prev = {0, 0};
        }
        EXPECT_EQ(w.Seq, expectSeq++) << rep << " " << w.Text;
        for (int i = 0; TblIsLastWordSymptom(&w.Entries[i]) != 2; ++i) {
          const WordEntry &e = w.Entries[i];
          have[lang].emplace_back(w.Text, e.Num, e.Sub);
          EXPECT_LE(prev, std::make_pair(e.Num, e.Sub)) << w.Text;
          prev = {e.Num, e.Sub};
          // The range of a symptom with a next sibling takes in its whole
          // subtree and ends in the block of its last descendant, at Sub
          // 32000. A last sibling's range is its own block when it has
          // children, and the symptom itself when it has none.
          auto it = place.find({e.Num, e.Sub});
          ASSERT_NE(it, place.end()) << w.Text << " names no symptom";
          size_t k = it->second, j = k + 1;
          while (j < syms.size() && syms[j].Level > syms[k].Level)
            ++j;
          bool nextSibling = j < syms.size() && syms[j].Level == syms[k].Level;
          std::pair<uint32_t, uint16_t> end{e.EndNum, e.EndSub};
          std::pair<uint32_t, uint16_t> want_end{e.Num, e.Sub};
          if (nextSibling)
            want_end = {syms[j - 1].Num, kWordSubtreeEnd};
          else if (j > k + 1)
            want_end = {e.Num, kWordSubtreeEnd};
          EXPECT_EQ(end, want_end) << rep << " " << w.Text;
        }
      }
      DbCloseFile(h);
      std::sort(want[lang].begin(), want[lang].end());
      std::sort(have[lang].begin(), have[lang].end());
      EXPECT_EQ(have[lang], want[lang]) << rep << " language " << lang + 1;
    }
  }
}

TEST_F(DemoTest, ExtractHoldsExactlyTheRemediesOfTheSymptoms) {
  for (const char *rep : kRepFolders) {
    std::string folder = std::string("..\\data\\") + rep + "\\";
    using Row = std::tuple<int, uint32_t, uint16_t, int, int, int>;
    std::vector<Row> want, have;
    for (const SymptomRow &s : ReadSymptoms(folder + "symptom"))
      for (const SymptomRemedy &r : s.Remedies)
        want.emplace_back(r.RemedyId, s.Num, s.Sub, r.Degree, r.AuthorId,
                          r.ViewBits);
    TblHandle h = TblOpenExtract((folder + "extract").c_str(), 1, 1);
    ASSERT_NE(h, 0);
    static Extract x;
    Fresh(x, TblClearExtract);
    int lastRemedy = -1, expectSeq = 0;
    std::pair<uint32_t, uint16_t> prev{0, 0};
    for (int r = TblFindFullExtract(h, &x, 0, kFindFirst, nullptr);
         r == 0 && OrvixError == 0;
         r = TblFindFullExtract(h, &x, 0, kFindNext, nullptr)) {
      if (x.RemedyId != lastRemedy) {
        lastRemedy = x.RemedyId;
        expectSeq = 0;
        prev = {0, 0};
      }
      EXPECT_EQ(x.Seq, expectSeq++);
      int n = 0;
      for (; TblIsLastExtractSymptom(&x.Entries[n]) != 2; ++n) {
        const ExtractEntry &e = x.Entries[n];
        have.emplace_back(x.RemedyId, e.Num, e.Sub, e.Degree, e.AuthorId,
                          e.ViewBits);
        EXPECT_LE(prev, std::make_pair(e.Num, e.Sub));
        prev = {e.Num, e.Sub};
      }
      EXPECT_LE(n, 255);
    }
    DbCloseFile(h);
    std::sort(want.begin(), want.end());
    std::sort(have.begin(), have.end());
    EXPECT_EQ(have, want) << rep;
    if (std::string(rep) == "salm2009") {
      EXPECT_GT(want.size(), 3000u);
    }
    // The scratch file of the build is not part of an installation.
    EXPECT_FALSE(fs::exists(Base() / "demo" / "data" / rep / "extract.bin"));
  }
}

// ---------------------------------------------------------------- content

TEST_F(DemoTest, TheRepertoryIsBigEnoughAndBilingual) {
  std::vector<SymptomRow> syms = ReadSymptoms("..\\data\\salm2009\\symptom");
  int chapters = 0, deepest = 0, user = 0;
  std::set<int> degrees, authors, ids;
  for (const SymptomRow &s : syms) {
    chapters += s.Level == 1;
    deepest = std::max(deepest, s.Level);
    EXPECT_FALSE(s.Text1.empty());
    EXPECT_FALSE(s.Text2.empty());
    EXPECT_TRUE(ids.insert(s.UniqueId).second) << "doubled id " << s.UniqueId;
    for (const SymptomRemedy &r : s.Remedies) {
      degrees.insert(r.Degree);
      authors.insert(r.AuthorId & kAuthorMask);
      user += (r.AuthorId & kAuthorUserBit) != 0;
    }
  }
  EXPECT_GE(syms.size(), 800u);
  EXPECT_GE(chapters, 12);
  EXPECT_EQ(deepest, 6);
  EXPECT_EQ(degrees, (std::set<int>{1, 2, 3, 4}));
  EXPECT_GT(authors.size(), 5u);
  EXPECT_GT(user, 10);
  // The time range stays one level text: "3 - 5 h" under "after".
  TblHandle h = TblOpenSymptom("..\\data\\salm2009\\symptom", 1, 1);
  uint32_t num;
  uint16_t sub;
  EXPECT_EQ(GetSptNumFromText(h, 1,
                              "Mind - anxiety - night - midnight - after - "
                              "3 - 5 h",
                              &num, &sub),
            0);
  EXPECT_EQ(
      GetSptNumFromText(h, 2, "Psychisme - anxi\xe9t\xe9 - nuit", &num, &sub),
      0);
  DbCloseFile(h);
}

// The entries of the sample log that the source says must fail, by kind.
std::map<int, std::string> ExpectedFailures() {
  std::map<int, std::string> out;
  std::ifstream in(std::string(MANTREL_SOURCE_DIR) +
                   "/data/demo/log-sample.txt");
  std::string line, pending;
  while (std::getline(in, line)) {
    if (line.rfind("# expect: ", 0) == 0)
      pending = line.substr(10);
    else if (!line.empty() && line[0] != '#') {
      if (!pending.empty())
        out[atoi(line.c_str())] = pending;
      pending.clear();
    }
  }
  return out;
}

std::vector<std::string> Fields(const char *text) {
  std::vector<std::string> out(1);
  for (const char *p = text; *p; ++p)
    if (*p == '\x01')
      out.emplace_back();
    else
      out.back() += *p;
  return out;
}

TEST_F(DemoTest, TheSampleLogHoldsEveryOperationAndRealFailures) {
  std::map<int, std::string> fails = ExpectedFailures();
  ASSERT_GE(fails.size(), 4u);
  TblHandle log = TblOpenRlog("..\\log\\sample", 1, 1);
  TblHandle sym = TblOpenSymptom("..\\data\\salm2009\\symptom", 1, 1);
  TblHandle partner = TblOpenSymptom("..\\data\\calm2009\\symptom", 1, 1);
  TblHandle remed = TblOpenRemed("..\\system\\remed", 1, 1);
  ASSERT_TRUE(log && sym && partner && remed);
  static LogEntry e;
  static char text[kLogTextSize];
  memset(&e, 0, sizeof e);
  e.text = text;
  std::set<int> ops, langs;
  std::set<std::string> kinds;
  for (int r = TblFindFullRlog(log, &e, 0, kFindFirst);
       r == 0 && OrvixError == 0; r = TblFindFullRlog(log, &e, 0, kFindNext)) {
    ops.insert(e.operation);
    std::vector<std::string> f = Fields(e.text);
    ASSERT_GE(f.size(), 2u);
    langs.insert(f[0] == "1");
    int lang = f[0] == "1" ? 2 : 1;
    bool concepts = e.operation == 16 || e.operation == 17;
    uint32_t num;
    uint16_t sub;
    int found = GetSptNumFromExactText(concepts ? partner : sym, lang,
                                       f[1].c_str(), &num, &sub);
    auto it = fails.find(e.number);
    std::string kind = it == fails.end() ? "" : it->second;
    if (kind.find("not found") != std::string::npos) {
      EXPECT_NE(found, 0) << "entry " << e.number;
      EXPECT_EQ(e.symptomId, 0);
      kinds.insert("not found");
      continue;
    }
    ASSERT_EQ(found, 0) << "entry " << e.number << " " << f[1];
    if (concepts) {
      uint32_t ownNum;
      uint16_t ownSub;
      EXPECT_EQ(
          GetSptNumFromExactText(sym, lang, f[2].c_str(), &ownNum, &ownSub), 0)
          << "entry " << e.number;
    }
    static Symptom s;
    Fresh(s, TblClearSymptom);
    s.Num = num;
    s.Sub = sub;
    ASSERT_EQ(TblFindFullSymptom(concepts ? partner : sym, &s, 0, kFindEqual),
              0);
    // An entry refused as doubled carries no id: only then does the run
    // check it.
    if (!concepts) {
      EXPECT_EQ(e.symptomId,
                kind.find("doubled") != std::string::npos ? 0 : s.UniqueId)
          << "entry " << e.number;
    }
    static Remed rm;
    rm.CursorState = 0xff;
    if (kind.find("unknown remedy") != std::string::npos) {
      TblClearRemed(&rm);
      StrCopy(rm.Abbrev, f[2].c_str());
      EXPECT_FALSE(TblFindFullRemed(remed, &rm, 1, kFindEqual) == 0 &&
                   OrvixError == 0);
      kinds.insert("unknown remedy");
    } else if (kind.find("already there") != std::string::npos) {
      TblClearRemed(&rm);
      StrCopy(rm.Abbrev, f[2].c_str());
      ASSERT_EQ(TblFindFullRemed(remed, &rm, 1, kFindEqual), 0);
      bool there = false;
      for (int i = 0; TblIsLastSymptomRemed(&s.Remedies[i]) != 2; ++i)
        there |= s.Remedies[i].RemedyId == rm.Id;
      EXPECT_TRUE(there) << "entry " << e.number;
      kinds.insert("already there");
    } else if (kind.find("doubled") != std::string::npos) {
      // The new sibling's text stands already under the same parent.
      std::string parent = f[1].substr(0, f[1].rfind(" \x02 "));
      std::string twin = parent + " \x02 " + f[3];
      EXPECT_EQ(GetSptNumFromExactText(sym, lang, twin.c_str(), &num, &sub), 0);
      kinds.insert("doubled");
    }
    TblFreeSymptomRemed(&s);
  }
  DbCloseFile(log);
  DbCloseFile(sym);
  DbCloseFile(partner);
  DbCloseFile(remed);
  std::set<int> all;
  for (int i = 1; i <= 18; ++i)
    all.insert(i);
  EXPECT_EQ(ops, all);
  EXPECT_EQ(langs, (std::set<int>{0, 1}));
  EXPECT_EQ(kinds, (std::set<std::string>{"not found", "unknown remedy",
                                          "already there", "doubled"}));
}

TEST_F(DemoTest, TheSampleLogTravelsAsTextToo) {
  // One text block for each entry of the table, each ended by its dashes,
  // the French entries with their French levels.
  TblHandle log = TblOpenRlog("..\\log\\sample", 1, 1);
  ASSERT_NE(log, 0);
  long entries = DbCountEntries(log);
  DbCloseFile(log);
  std::ifstream in(Base() / "demo" / "log" / "sample-text.txt");
  std::string line;
  long blocks = 0;
  bool french = false;
  while (std::getline(in, line)) {
    blocks += line.rfind("----------", 0) == 0;
    french |= line == "Psychisme";
  }
  EXPECT_EQ(blocks, entries);
  EXPECT_GE(entries, 30);
  EXPECT_TRUE(french);
  // The labels came from the message table the builder compiled.
  TblHandle msg = MsgOpen("..\\system\\orvixmsg", 1, 1);
  ASSERT_NE(msg, 0);
  static MsgRecord rec;
  std::string name = OrvixMessage(msg, 2631, 1, &rec); // operation 3
  DbCloseFile(msg);
  EXPECT_FALSE(name.empty());
  EXPECT_THAT(SlurpFile(Base() / "demo" / "log" / "sample-text.txt"),
              HasSubstr(name));
}

TEST_F(DemoTest, TheOwnLogTellsTheUserMarksOfTheRepertory) {
  TblHandle log = TblOpenRlog("..\\log\\SALM2009", 1, 1);
  TblHandle sym = TblOpenSymptom("..\\data\\salm2009\\symptom", 1, 1);
  TblHandle remed = TblOpenRemed("..\\system\\remed", 1, 1);
  ASSERT_TRUE(log && sym && remed);
  static LogEntry e;
  static char text[kLogTextSize];
  memset(&e, 0, sizeof e);
  e.text = text;
  // The marked remedies come first in the log, one entry each; the entries
  // behind them show a transfer to the next edition.
  int marks = 0;
  static Symptom all;
  Fresh(all, TblClearSymptom);
  for (int r = TblFindFullSymptom(sym, &all, 0, kFindFirst);
       r == 0 && OrvixError == 0;
       r = TblFindFullSymptom(sym, &all, 0, kFindNext))
    for (int i = 0; TblIsLastSymptomRemed(&all.Remedies[i]) != 2; ++i)
      marks += (all.Remedies[i].AuthorId & kAuthorUserBit) != 0;
  TblFreeSymptomRemed(&all);
  int entries = 0;
  for (int r = TblFindFullRlog(log, &e, 0, kFindFirst);
       r == 0 && OrvixError == 0 && e.number <= marks;
       r = TblFindFullRlog(log, &e, 0, kFindNext)) {
    ++entries;
    ASSERT_TRUE(e.operation == 1 || e.operation == 3);
    std::vector<std::string> f = Fields(e.text);
    static Symptom s;
    Fresh(s, TblClearSymptom);
    s.UniqueId = e.symptomId;
    ASSERT_EQ(TblFindFullSymptom(sym, &s, 8, kFindEqual), 0);
    static Remed rm;
    Fresh(rm, TblClearRemed);
    StrCopy(rm.Abbrev, f[2].c_str());
    ASSERT_EQ(TblFindFullRemed(remed, &rm, 1, kFindEqual), 0);
    int degree = atoi(f[e.operation == 1 ? 5 : 4].c_str());
    bool marked = false;
    for (int i = 0; TblIsLastSymptomRemed(&s.Remedies[i]) != 2; ++i)
      marked |= s.Remedies[i].RemedyId == rm.Id &&
                (s.Remedies[i].AuthorId & kAuthorUserBit) &&
                s.Remedies[i].Degree == degree;
    EXPECT_TRUE(marked) << "entry " << e.number;
    TblFreeSymptomRemed(&s);
  }
  EXPECT_GT(entries, 10);
  EXPECT_EQ(entries, marks);
  DbCloseFile(log);
  DbCloseFile(sym);
  DbCloseFile(remed);
}

TEST_F(DemoTest, ConceptLinksStandInBothDirections) {
  TblHandle h = TblOpenExSp("..\\data\\calm2009\\extrspt", 1, 1);
  ASSERT_NE(h, 0);
  std::set<std::tuple<uint32_t, uint16_t, uint32_t, uint16_t>> d1, d2;
  static ExSp x;
  Fresh(x, TblClearExSp);
  for (int r = TblFindFullExSp(h, &x, 0, kFindFirst, nullptr);
       r == 0 && OrvixError == 0;
       r = TblFindFullExSp(h, &x, 0, kFindNext, nullptr))
    for (int i = 0; TblIsLastExSpSymptom(&x.Entries[i]) != 2; ++i) {
      if (x.Direction == 1)
        d1.emplace(x.Num, x.Sub, x.Entries[i].Num, x.Entries[i].Sub);
      else
        d2.emplace(x.Entries[i].Num, x.Entries[i].Sub, x.Num, x.Sub);
    }
  DbCloseFile(h);
  EXPECT_GT(d1.size(), 20u);
  EXPECT_EQ(d1, d2);
}

TEST_F(DemoTest, TheCatalogAndTheSharedTablesAreComplete) {
  TblHandle cat = TblOpenCatalog("..\\system\\catalog", 1, 1);
  ASSERT_NE(cat, 0);
  static Catalog c;
  c.CursorState = 0xff;
  std::set<std::string> abbrevs;
  bool batch = false, keynotes = false;
  memset(&c, 0, sizeof c);
  for (int r = TblFindFullCatalog(cat, &c, 0, kFindFirst);
       r == 0 && OrvixError == 0;
       r = TblFindFullCatalog(cat, &c, 0, kFindNext)) {
    abbrevs.insert(c.Abbrev);
    keynotes |= c.Kind == 2;
    if (c.Kind == 1 && strstr(c.RepertoryBlock.Title, "Almanacum") &&
        strstr(c.Abbrev, "2009") && !strchr(c.Abbrev, 'C'))
      batch = true;
  }
  DbCloseFile(cat);
  EXPECT_TRUE(batch) << "no repertory for the batch chooser";

  // The keynotes book: a record per remedy, both texts.
  TblHandle kn = TblOpenKeynote("..\\data\\keynotes\\keynotes", 1, 1);
  ASSERT_NE(kn, 0);
  EXPECT_GE(DbCountEntries(kn), 20);
  static GenericRecord g;
  Fresh(g, TblClearGeneric);
  g.Id = 17; // Ars.
  ASSERT_EQ(TblFindFullGeneric(kn, &g, 0, kFindEqual), 0);
  std::string text(reinterpret_cast<const char *>(g.Data), g.Length);
  EXPECT_THAT(text, HasSubstr("midnight"));
  EXPECT_THAT(text, HasSubstr("\x01"));
  DbCloseFile(kn);
  EXPECT_TRUE(keynotes);
  EXPECT_TRUE(abbrevs.count("SALM2009") && abbrevs.count("CALM2009") &&
              abbrevs.count("SALM2012"));

  TblHandle sym = TblOpenSymptom("..\\data\\salm2009\\symptom", 1, 1);
  static Resource res;
  memset(&res, 0, sizeof res);
  res.Type = kResAlmanacumType;
  res.Id = kResAlmanacumId;
  EXPECT_EQ(DbGetResource(sym, &res, &res, 2), 0);
  EXPECT_NE(res.Text[0], '\0');
  DbCloseFile(sym);

  // The reserved ranges, under the names a log may use.
  TblHandle remed = TblOpenRemed("..\\system\\remed", 1, 1);
  TblHandle author = TblOpenAuthor("..\\system\\author", 1, 1);
  static Remed rm;
  static Author au;
  for (int id = 3161; id <= 3259; ++id) {
    Fresh(rm, TblClearRemed);
    rm.Id = static_cast<uint16_t>(id);
    ASSERT_EQ(TblFindFullRemed(remed, &rm, 0, kFindEqual), 0) << id;
    EXPECT_EQ(std::string(rm.Abbrev), "rmd" + std::to_string(id - 3160));
  }
  for (int id = 886; id <= 984; ++id) {
    Fresh(au, TblClearAuthor);
    au.Id = static_cast<uint16_t>(id);
    ASSERT_EQ(TblFindFullAuthor(author, &au, 0, kFindEqual), 0) << id;
    EXPECT_EQ(std::string(au.Abbrev), "aut" + std::to_string(id - 885));
  }
  EXPECT_GE(DbCountEntries(remed), 150 + 99);
  DbCloseFile(remed);
  DbCloseFile(author);
}

TEST_F(DemoTest, TheAssociationTablesFollowEveryOldSymptom) {
  std::vector<SymptomRow> old = ReadSymptoms("..\\data\\salm2009\\symptom");
  for (const char *name : {"..\\data\\at\\at0912e", "..\\data\\at\\at0912f"}) {
    TblHandle h = TblOpenAt(name, 1, 1);
    ASSERT_NE(h, 0);
    bool english = strstr(name, "at0912e") != nullptr;
    // The first language's table has two rows more, numbered from 90000 on
    // (at/extra.txt): old symptoms the 2009 source does not hold.
    EXPECT_EQ(DbCountEntries(h),
              static_cast<long>(old.size()) + (english ? 2 : 0));
    static At a;
    Fresh(a, TblClearAt);
    int deleted = 0, changed = 0, extras = 0;
    size_t i = 0;
    for (int r = TblFindFullAt(h, &a, 0, kFindFirst); r == 0 && OrvixError == 0;
         r = TblFindFullAt(h, &a, 0, kFindNext), ++i) {
      if (a.Num >= 90000) {
        ++extras;
        EXPECT_TRUE(
            std::any_of(old.begin(), old.end(), [&](const SymptomRow &o) {
              return o.Num == a.ParentNum && o.Sub == a.ParentSub;
            }));
        EXPECT_NE(std::string(a.NewPath), "");
        continue;
      }
      ASSERT_LT(i, old.size());
      EXPECT_EQ(a.Num, old[i].Num);
      EXPECT_EQ(a.Sub, old[i].Sub);
      EXPECT_EQ(std::string(a.Text), english ? old[i].Text1 : old[i].Text2);
      std::string path = a.NewPath;
      if (path == "<deleted>") {
        ++deleted;
        continue;
      }
      std::string tail = path.substr(
          path.rfind(" - ") == std::string::npos ? 0 : path.rfind(" - ") + 3);
      if (old[i].Level > 1 &&
          (tail != a.Text || path.find(" - ") == std::string::npos))
        ++changed;
    }
    DbCloseFile(h);
    EXPECT_EQ(extras, english ? 2 : 0) << name;
    EXPECT_GE(deleted, 5) << name;
    EXPECT_GE(changed, 5) << name;
  }
}

TEST_F(DemoTest, CasesCountTheSymptomsOfTheirClipboards) {
  for (const char *name : {"..\\cases\\repert", "..\\cases\\colleague"}) {
    TblHandle c1 = TblOpenCas1(name, 1, 1), c2 = TblOpenCas2(name, 1, 1);
    ASSERT_TRUE(c1 && c2);
    std::map<std::pair<int, int>, int> counted, told;
    static Cas1 head;
    static Cas2 line;
    head.CursorState = 0xff;
    line.CursorState = 0xff;
    TblClearCas1(&head);
    TblClearCas2(&line);
    int cases = 0;
    for (int r = TblFindFullCas1(c1, &head, 0, kFindFirst);
         r == 0 && OrvixError == 0;
         r = TblFindFullCas1(c1, &head, 0, kFindNext), ++cases)
      for (int k = 0; k < 10; ++k)
        if (head.Values[k])
          told[{head.CaseId, k}] = head.Values[k];
    for (int r = TblFindFullCas2(c2, &line, 0, kFindFirst);
         r == 0 && OrvixError == 0;
         r = TblFindFullCas2(c2, &line, 0, kFindNext)) {
      ++counted[{line.CaseId, line.Sequence}];
      EXPECT_NE(TblIsLastCas2SymptomRemed(&line.Symptoms[0]), 2)
          << "a case line without remedies";
    }
    TblFreeCas2Symptoms(&line);
    DbCloseFile(c1);
    DbCloseFile(c2);
    EXPECT_GE(cases, 4) << name;
    EXPECT_EQ(counted, told) << name;
  }
}

} // namespace

namespace {

// The family of a table of the installation, by its file name.
const char *KindOf(const std::string &name, const std::string &folder) {
  static const std::pair<const char *, const char *> kKinds[] = {
      {"symptom", "symptom"}, {"extract", "extract"},  {"word1", "word"},
      {"word2", "word"},      {"view", "view"},        {"note", "note"},
      {"link", "link"},       {"extrspt", "exsp"},     {"remed", "remed"},
      {"author", "author"},   {"catalog", "catalog"},  {"orvixmsg", "message"},
      {"histoid", "histoid"}, {"keynotes", "keynote"}, {"personal", "keynote"}};
  std::string lower = name;
  for (char &c : lower)
    c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  for (auto [n, k] : kKinds)
    if (lower == n)
      return k;
  if (lower.rfind("diag", 0) == 0)
    return "defdiag";
  if (folder == "at")
    return "at";
  if (folder == "log")
    return "rlog";
  return nullptr;
}

// tbltool's check of one table as the kind; answers its exit status.
int TbltoolCheck(const char *kind, const fs::path &table) {
  return RunCommand(BuiltProgram("tbltool") + " check " + kind + " '" +
                    table.string() + "' >/dev/null 2>&1");
}

TEST_F(DemoTest, TbltoolCheckPassesOnEveryTable) {
  fs::path root = Base() / "demo";
  int checked = 0;
  for (auto &e : fs::recursive_directory_iterator(root)) {
    std::string ext = e.path().extension().string();
    if (!e.is_regular_file() || (ext != ".dat" && ext != ".da1"))
      continue;
    std::string stem = e.path().stem().string();
    std::string folder = e.path().parent_path().filename().string();
    std::vector<const char *> kinds;
    if (ext == ".da1")
      kinds = {"cas1", "cas2"};
    else if (const char *k = KindOf(stem, folder))
      kinds = {k};
    ASSERT_FALSE(kinds.empty()) << e.path();
    for (const char *kind : kinds) {
      EXPECT_EQ(TbltoolCheck(kind, e.path().parent_path() / stem), 0)
          << kind << " " << e.path();
      ++checked;
    }
  }
  for (const char *kind : {"patient", "consultation", "diag", "prem"}) {
    EXPECT_EQ(TbltoolCheck(kind, root / "patient" / "patient"), 0) << kind;
    ++checked;
  }
  EXPECT_GT(checked, 40);
}

} // namespace
