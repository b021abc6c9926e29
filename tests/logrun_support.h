// A small repertory for the tests of the run, the dispatch and the remedy
// operations: remedy and author tables, a symptom tree with remedies in
// two languages, its extraction table built to match, empty word, note and
// link tables, and a view table. Built in the scratch folder of
// LogTextTest, with the message table of the team's message files.
#pragma once

#include "logtext_support.h"
#include "ops/context.h"
#include "ops/subject.h"
#include "ops/verify.h"
#include "platform/process.h"
#include "services/config.h"
#include "session/runoptions.h"
#include "session/session.h"

#include <deque>
#include <map>
#include <set>
#include <tuple>

// Remedies and authors of the small repertory.
enum : uint16_t { kAcon = 1, kBell = 2, kNuxV = 3, kNuxA = 4, kSulph = 5 };
enum : uint16_t { kKent = 1, kBoer = 2, kHering = 3 };

class RepertoryTest : public LogTextTest {
protected:
  void SetUp() override {
    LogTextTest::SetUp();
    BuildRepertory();
  }
  void TearDown() override {
    if (errors_ != nullptr)
      fclose(errors_);
    CloseTables();
    OpReleaseRecords();
    LogTextTest::TearDown();
  }

  // A symptom as the tests write it, with its remedies.
  struct Row {
    uint32_t num;
    uint16_t sub;
    uint32_t pnum;
    uint16_t psub;
    uint8_t level, chapter;
    const char *t1, *t2;
    int32_t id;
    std::vector<SymptomRemedy> rems = {};
  };

  // Saves the rows to the symptom table `h`; their remedies are noted in
  // extract_ for the extraction table built to match.
  void SaveRows(TblHandle h, std::initializer_list<Row> rows) {
    for (const Row &row : rows) {
      Symptom x =
          MakeSymptom(row.num, row.sub, row.pnum, row.psub, row.t1, row.id);
      StrCopy(x.Text2, row.t2);
      x.Level = row.level;
      x.Chapter = row.chapter;
      x.Remedies = TblAllocSymptomRemed(static_cast<int>(row.rems.size()) + 1);
      std::set<uint16_t> distinct;
      for (size_t i = 0; i < row.rems.size(); ++i) {
        x.Remedies[i] = row.rems[i];
        distinct.insert(row.rems[i].RemedyId);
        extract_[{row.rems[i].RemedyId, row.num, row.sub,
                  row.rems[i].AuthorId}] = row.rems[i];
      }
      x.RemedyCount = static_cast<uint16_t>(distinct.size());
      ASSERT_EQ(TblSaveSymptom(h, &x, kSaveAdd), 0) << row.t1;
      TblFreeSymptomRemed(&x);
    }
  }

  void BuildRepertory() {
    std::filesystem::create_directory("rep");
    TblHandle r = TblCreateRemed("rem", 1, 1);
    ASSERT_NE(r, 0);
    AddRemedies(r, {{kAcon, "Acon."},
                    {kBell, "Bell."},
                    {kNuxV, "Nux-v."},
                    {kNuxA, "Nux.a"},
                    {kSulph, "Sulph."}});
    DbCloseFile(r);
    TblHandle a = TblCreateAuthor("aut", 1, 1);
    ASSERT_NE(a, 0);
    AddAuthors(a, {{kKent, "Kent"}, {kBoer, "Boer"}, {kHering, "Hering"}});
    DbCloseFile(a);

    // Mind 1.0 > fear 1.1 > night 1.2; Head 5.0 > pain 5.1.
    TblHandle s = TblCreateSymptom("rep\\symptom", 1, 1);
    ASSERT_NE(s, 0);
    SaveRows(
        s,
        {{1, 0, 0, 0, 1, 1, "Mind", "Psychisme", 100},
         {1,
          1,
          1,
          0,
          2,
          1,
          "fear",
          "peur",
          101,
          {{kAcon, 3, kKent, 0}, {kBell, 1, kBoer, 0}, {kBell, 2, kKent, 0}}},
         {1, 2, 1, 1, 3, 1, "night", "nuit", 102},
         {5, 0, 0, 0, 1, 2, "Head", "T\xeate", 200},
         {5, 1, 5, 0, 2, 2, "pain", "douleur", 201, {{kNuxV, 2, kKent, 0}}}});
    DbCloseFile(s);

    TblHandle e = TblCreateExtract("rep\\extract", 1, 1);
    ASSERT_NE(e, 0);
    std::map<uint16_t, std::vector<ExtractEntry>> lists;
    for (const auto &[k, r] : extract_)
      lists[std::get<0>(k)].push_back(
          {std::get<1>(k), std::get<2>(k), r.Degree, r.AuthorId, 0});
    for (auto &[remedy, list] : lists) {
      Extract x;
      memset(&x, 0, sizeof x);
      x.CursorState = 0xff;
      x.RemedyId = remedy;
      for (size_t i = 0; i < list.size(); ++i)
        x.Entries[i] = list[i];
      x.Entries[list.size()] = ExtractEntry{0, 0, 0, 0, 0xffff};
      ASSERT_EQ(TblSaveExtract(e, &x, kSaveAdd), 0);
    }
    DbCloseFile(e);
    for (const char *w : {"rep\\word1", "rep\\word2"})
      DbCloseFile(TblCreateWord(w, 1, 1));
    DbCloseFile(TblCreateNote("rep\\Note", 1, 1));
    DbCloseFile(TblCreateLink("rep\\Link", 1, 1));
    // View 1 holds Kent, view 2 Kent and Hering.
    TblHandle v = TblCreateView("rep\\View", 1, 1);
    ASSERT_NE(v, 0);
    for (uint8_t n : {1, 2}) {
      View x;
      memset(&x, 0, sizeof x);
      x.CursorState = 0xff;
      x.ViewNumber = n;
      x.AuthorBits[kKent / 8] |= static_cast<uint8_t>(0x80 >> (kKent % 8));
      if (n == 2)
        x.AuthorBits[kHering / 8] |=
            static_cast<uint8_t>(0x80 >> (kHering % 8));
      ASSERT_EQ(TblSaveView(v, &x, kSaveAdd), 0);
    }
    DbCloseFile(v);
  }

  // The catalog of a run on this repertory, "SREP" with the title, its
  // logs in "logs", and the run's options cleared to a whole run that keeps
  // its entries in the own log.
  void CatalogForRuns(const char *title = "") {
    StrCopy(PlatViewerProgram, "true");
    StrCopy(RemedyCatalogName, "rem");
    StrCopy(AuthorCatalogName, "aut");
    StrCopy(CatalogCatalogName, "cat");
    StrCopy(NetLogFileDir, "logs");
    std::filesystem::create_directory("logs");
    TblHandle cat = TblCreateCatalog("cat", 1, 1);
    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
    CurrentCatalog.CursorState = 0xff;
    CurrentCatalog.Kind = 1;
    CurrentCatalog.Id = 1;
    StrCopy(CurrentCatalog.Abbrev, "SREP");
    StrCopy(CurrentCatalog.RepertoryBlock.Title, title);
    const char *tables[] = {"symptom", "chapter", "extract", "word1",
                            "word2",   "view",    ""};
    for (int i = 0; i < kCatPathCount; ++i)
      StrFormat(CurrentCatalog.RepertoryBlock.Paths[i], "rep\\%s", tables[i]);
    ASSERT_EQ(TblSaveCatalog(cat, &CurrentCatalog, kSaveAdd), 0);
    DbCloseFile(cat);
    RunOptionsClear();
    RunOptions.KeepInOwnLog = 1;
    RunOptions.From = 0;
    RunOptions.To = kRunToLast;
  }

  // The errors report of the handlers, "errors.txt".
  void OpenErrors() { errors_ = fopen("errors.txt", "wb"); }

  // Opens what the handlers need, as a run does.
  void OpenTables() {
    OpRemedTable = TblOpenRemed("rem", 1, 1);
    OpAuthorTable = TblOpenAuthor("aut", 1, 1);
    sym_ = TblOpenSymptom("rep\\symptom", 0, 1);
    ext_ = TblOpenExtract("rep\\extract", 0, 1);
    notes_ = TblOpenNote("rep\\Note", 0, 1);
    views_ = TblOpenView("rep\\View", 0, 1);
    ASSERT_NE(sym_, 0);
    ASSERT_NE(ext_, 0);
  }
  // The word and link tables, for a test whose handlers keep them.
  void OpenWordTables() {
    word1_ = TblOpenWord("rep\\word1", 0, 1);
    word2_ = TblOpenWord("rep\\word2", 0, 1);
    links_ = TblOpenLink("rep\\Link", 0, 1);
    ASSERT_NE(word1_, 0);
    ASSERT_NE(links_, 0);
  }

  // The context of a run on this repertory, with the tables that are open.
  OpContext Ctx(FILE *errors) {
    OpContext c;
    c.errors = errors;
    c.symptoms = sym_;
    c.extract = ext_;
    c.word1 = word1_;
    c.word2 = word2_;
    c.notes = notes_;
    c.links = links_;
    c.views = views_;
    c.partnerSymptoms = partner_;
    c.concepts = exsp_;
    return c;
  }
  void CloseTables() {
    for (TblHandle *h :
         {&OpRemedTable, &OpAuthorTable, &sym_, &ext_, &notes_, &views_,
          &word1_, &word2_, &links_, &partner_, &exsp_}) {
      if (*h != 0)
        DbCloseFile(*h);
      *h = 0;
    }
  }

  // The check's callback: each fault into the vector `ctx`.
  static void CollectFault(const char *fault, void *ctx) {
    static_cast<std::vector<std::string> *>(ctx)->push_back(fault);
  }
  static std::string Lines(const std::vector<std::string> &faults) {
    std::string all;
    for (const std::string &f : faults)
      all += f + "\n";
    return all;
  }
  // The repertory's faults, as the check names them.
  std::vector<std::string> Verify(const char *folder = "rep") {
    std::vector<std::string> faults;
    VerifyRepertory(folder, CollectFault, &faults);
    return faults;
  }
  void ExpectConsistent() {
    CloseTables();
    EXPECT_EQ(Lines(Verify()), "");
  }

  // A note of (symptom, remedy, degree, author, kind), as a key or to
  // save; its texts are note1_ and note2_.
  Note NoteKey(uint32_t num = 0, uint16_t sub = 0, uint16_t remedy = 0,
               uint8_t degree = 0, uint16_t author = 0, uint8_t kind = 0) {
    Note n;
    memset(static_cast<void *>(&n), 0, sizeof n);
    n.CursorState = 0xff;
    n.Num = num;
    n.Sub = sub;
    n.RemedyId = remedy;
    n.Degree = degree;
    n.AuthorId = author;
    n.NoteKind = kind;
    n.Text1 = note1_;
    n.Text2 = note2_;
    return n;
  }
  // The first Extract record of the remedy, as a search key.
  static Extract ExtractKey(uint16_t remedy) {
    Extract x;
    memset(static_cast<void *>(&x), 0, sizeof x);
    x.CursorState = 0xff;
    x.RemedyId = remedy;
    return x;
  }
  // A link of (symptom, kind, title), as a key or to save.
  static Link LinkKey(uint32_t num, uint16_t sub, uint8_t kind = 0,
                      const char *title = "") {
    Link l;
    memset(static_cast<void *>(&l), 0, sizeof l);
    l.CursorState = 0xff;
    l.Num = num;
    l.Sub = sub;
    l.LinkKind = kind;
    StrCopy(l.Title, title);
    return l;
  }

  // An entry of the operation with its fields, in its own buffer.
  LogEntry *Entry(int op, std::vector<std::string> fields, int32_t id = 0,
                  uint8_t tag = 1) {
    entries_.emplace_back();
    buffers_.emplace_back(kLogTextSize, '\0');
    FillEntry(&entries_.back(), buffers_.back().data(),
              {op, std::move(fields), id, tag},
              static_cast<int32_t>(entries_.size()));
    return &entries_.back();
  }

  // The symptom by number, with its remedies as (remedy, author, degree).
  std::vector<std::tuple<uint16_t, uint16_t, int>>
  Remedies(uint32_t num, uint16_t sub, Symptom *out = nullptr) {
    TblHandle s = sym_ != 0 ? sym_ : TblOpenSymptom("rep\\symptom", 1, 1);
    Symptom x = MakeSymptom(num, sub, 0, 0, "");
    std::vector<std::tuple<uint16_t, uint16_t, int>> list;
    EXPECT_EQ(TblFindFullSymptom(s, &x, 0, kFindEqual), 0);
    for (int i = 0; x.Remedies && TblIsLastSymptomRemed(&x.Remedies[i]) != 2;
         ++i)
      list.emplace_back(x.Remedies[i].RemedyId, x.Remedies[i].AuthorId,
                        x.Remedies[i].Degree);
    if (out != nullptr) {
      *out = x;
      out->Remedies = nullptr;
    }
    TblFreeSymptomRemed(&x);
    if (s != sym_)
      DbCloseFile(s);
    return list;
  }

  TblHandle sym_ = 0, ext_ = 0, notes_ = 0, views_ = 0;
  TblHandle word1_ = 0, word2_ = 0, links_ = 0, partner_ = 0, exsp_ = 0;
  std::map<std::tuple<uint16_t, uint32_t, uint16_t, uint16_t>, SymptomRemedy>
      extract_;
  FILE *errors_ = nullptr;
  char note1_[kNoteTextSize] = "", note2_[kNoteTextSize] = "";
  std::deque<LogEntry> entries_;
  std::deque<std::string> buffers_;
};
