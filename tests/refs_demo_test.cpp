// The notes, references, synonyms, links, concept links and symptom types
// of the demo's sample logs, end to end: the batch run of the sample on
// Almanacum 2009, the run of the 2012 sample from the Update menu by a
// scripted session, what each leaves in the tables, that the errors report
// holds just the failures the sample means to show, and that tbltool
// verify finds both repertories and the concept pair consistent.
#include "ops/concepts.h"
#include "ops/dispatch.h"
#include "platform/strutil.h"
#include "store/sptpath.h"
#include "store/store.h"
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;

// The entry numbers of the sample that are meant to fail, and the
// operations of all of them.
void ReadSample(std::set<int> *failing, std::map<int, int> *operations) {
  std::ifstream in(std::string(MANTREL_SOURCE_DIR) +
                   "/data/demo/log-sample.txt");
  std::string line;
  bool expect = false;
  while (std::getline(in, line)) {
    if (line.rfind("# expect: ", 0) == 0) {
      expect = true;
    } else if (!line.empty() && line[0] != '#') {
      int number = atoi(line.c_str());
      (*operations)[number] = atoi(line.c_str() + line.find('|') + 1);
      if (expect)
        failing->insert(number);
      expect = false;
    }
  }
}

// The entry numbers of the blocks of a report.
std::set<int> BlockNumbers(const std::string &text) {
  std::set<int> out;
  for (size_t at = text.find("Log entry number: "); at != std::string::npos;
       at = text.find("Log entry number: ", at + 1))
    out.insert(atoi(text.c_str() + at + 18));
  return out;
}

class RefsDemoTest : public FolderTest {
protected:
  RefsDemoTest() : FolderTest("refsdemo") {}

  void SetUp() override {
    demo_ = root_ / "demo";
    ASSERT_EQ(BuildDemo(demo_), 0);
  }
  void TearDown() override {
    if (started_)
      DbTerminate("A-Mantrel");
  }
  int InBin(const std::string &command) {
    return RunCommand("cd \"" + (demo_ / "bin").string() + "\" && " + command);
  }
  void StartStore() {
    Enter("demo/bin");
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    started_ = true;
  }

  // A symptom by path in language 1 or 2.
  Symptom Find(TblHandle h, int language, const char *path) {
    static Symptom s;
    s.CursorState = 0xff;
    TblClearSymptom(&s);
    uint32_t num = 0;
    uint16_t sub = 0;
    EXPECT_EQ(GetSptNumFromText(h, language, path, &num, &sub), 0) << path;
    s.Num = num;
    s.Sub = sub;
    EXPECT_EQ(TblFindFullSymptom(h, &s, 0, kFindEqual), 0) << path;
    Symptom out = s;
    out.Remedies = nullptr;
    return out;
  }

  // Whether a word of a word table lists the symptom.
  static bool Lists(TblHandle words, const char *word, const Symptom &s) {
    static Word w;
    memset(&w, 0, sizeof w);
    w.CursorState = 0xff;
    StrCopy(w.Text, word);
    for (int err = TblFindFullWord(words, &w, 0, kFindEqual, nullptr);
         err == 0 && strcmp(w.Text, word) == 0;
         err = TblFindFullWord(words, &w, 0, kFindNext, nullptr))
      for (int i = 0; TblIsLastWordSymptom(&w.Entries[i]) != 2; ++i)
        if (w.Entries[i].Num == s.Num && w.Entries[i].Sub == s.Sub)
          return true;
    return false;
  }

  // Whether the concept table lists `entry` under `key` in the direction.
  static bool Linked(TblHandle exsp, const Symptom &key, uint8_t direction,
                     const Symptom &entry) {
    static ExSp x;
    memset(&x, 0, sizeof x);
    x.CursorState = 0xff;
    x.Num = key.Num;
    x.Sub = key.Sub;
    x.Direction = direction;
    if (TblFindFullExSp(exsp, &x, 0, kFindEqual, nullptr) != 0)
      return false;
    for (int i = 0; TblIsLastExSpSymptom(&x.Entries[i]) != 2; ++i)
      if (x.Entries[i].Num == entry.Num && x.Entries[i].Sub == entry.Sub)
        return true;
    return false;
  }

  fs::path demo_;
  bool started_ = false;
};

TEST_F(RefsDemoTest, TheSampleLogsChangeWhatTheyNameAndNothingElse) {
  ASSERT_EQ(InBin("env -u MANTREL_SCRIPT MANTREL_UI=scripted "
                  "MANTREL_VIEWER=true \"" +
                  std::string(MANTREL_BIN_DIR) +
                  "/mantrel\" /RUN '..\\log\\sample' 1 >/dev/null 2>&1 "
                  "</dev/null"),
            0);
  // The 2012 edition from the Update menu: its row, another log file,
  // backups off, no comment, every entry, Cancel to the reports, exit.
  WriteFile(root_ / "s2012.txt",
            "select 5 1\nclick 1\nmenu 1033\nfile " +
                (demo_ / "log" / "sample2012.dat").string() +
                "\nclick 4\nclick 5\nclick 1\ntext\ntext\nanswer 2\nexit\n");
  ASSERT_EQ(InBin("MANTREL_UI=scripted MANTREL_VIEWER=true MANTREL_SCRIPT=\"" +
                  (root_ / "s2012.txt").string() + "\" \"" + MANTREL_BIN_DIR +
                  "/mantrel\" >/dev/null 2>&1 </dev/null"),
            0);

  // The errors report holds the failures the sample means to show, and
  // the entries of operations this version does not apply; the edit log
  // all the rest.
  std::set<int> failing;
  std::map<int, int> operations;
  ReadSample(&failing, &operations);
  std::set<int> refused = failing;
  for (const auto &[number, op] : operations)
    if (!OpHasHandler(op))
      refused.insert(number);
  std::string err = SlurpFile(demo_ / "log" / "sample.err");
  std::set<int> applied = BlockNumbers(SlurpFile(demo_ / "log" / "sample.edt"));
  // A move, split or merge tells what fails inside it (a copied remedy
  // refused for its degree) under its own number: such blocks belong to
  // entries that were applied.
  std::set<int> failed = BlockNumbers(err);
  for (int number : applied)
    failed.erase(number);
  EXPECT_EQ(failed, refused) << err;
  for (const auto &[number, op] : operations)
    EXPECT_EQ(applied.count(number), refused.count(number) ? 0u : 1u)
        << "entry " << number;
  // The reference that leads nowhere is named above its block.
  EXPECT_THAT(err,
              HasSubstr("Bad destination cross-references : Mind - anxiety "
                        "(2fear - spiders)\n"));
  std::string err2012 = SlurpFile(demo_ / "log" / "sample2012.err");
  EXPECT_EQ(BlockNumbers(err2012), (std::set<int>{3})) << err2012;

  // Both repertories, and the concept pair, agree.
  for (const char *rep : {"salm2009", "salm2012"}) {
    EXPECT_EQ(InBin("\"" + std::string(MANTREL_BIN_DIR) +
                    "/tbltool\" verify '..\\data\\" + rep + "' >\"" +
                    (root_ / "verify.txt").string() + "\" 2>&1"),
              0)
        << rep << "\n"
        << Slurp("verify.txt");
    // The 2009 edition has its concept partner in the catalogue.
    EXPECT_EQ(Slurp("verify.txt").find("concept links") != std::string::npos,
              std::string(rep) == "salm2009")
        << Slurp("verify.txt");
  }

  StartStore();
  TblHandle sym = TblOpenSymptom("..\\data\\salm2009\\symptom", 1, 1);
  TblHandle w1 = TblOpenWord("..\\data\\salm2009\\word1", 1, 1);
  TblHandle w2 = TblOpenWord("..\\data\\salm2009\\word2", 1, 1);
  ASSERT_TRUE(sym && w1 && w2);
  // References: typed loosely, written as the tree has them, merged into
  // the list that stood, sorted.
  EXPECT_STREQ(Find(sym, 1, "Mind - anxiety").CrossRef1,
               "2delusions / 2fear / 2fear - dark, of / 2restlessness / "
               "1Generalities - weakness");
  EXPECT_STREQ(Find(sym, 1, "Stomach - vomiting").CrossRef1,
               "2nausea / 1Vertigo - vertigo");
  EXPECT_STREQ(Find(sym, 1, "Throat - dryness").Synonym1, "1Mouth - dryness");
  // Synonyms in words, in the word table of their language.
  Symptom nausea = Find(sym, 1, "Stomach - nausea");
  EXPECT_STREQ(nausea.Synonym1, "(= queasiness, sickness)");
  EXPECT_TRUE(Lists(w1, "queasiness", nausea));
  EXPECT_TRUE(Lists(w1, "sickness", nausea));
  Symptom whooping = Find(sym, 2, "Toux - coqueluche");
  EXPECT_STREQ(whooping.Synonym2, "(= quintes de toux)");
  EXPECT_TRUE(Lists(w2, "quintes", whooping));
  EXPECT_FALSE(Lists(w1, "quintes", whooping));
  // Symptom types.
  Symptom dry = Find(sym, 1, "Fever - heat - dry");
  EXPECT_EQ(dry.SymptomType * 10 + dry.SymptomSubType, 20);
  Symptom nausee = Find(sym, 2,
                        "Estomac - naus\xe9"
                        "e");
  EXPECT_EQ(nausee.SymptomType * 10 + nausee.SymptomSubType, 10);

  // The note appended behind its rule.
  TblHandle notes = TblOpenNote("..\\data\\salm2009\\Note", 1, 1);
  static char t1[kNoteTextSize], t2[kNoteTextSize];
  Note n;
  memset(&n, 0, sizeof n);
  n.CursorState = 0xff;
  Symptom vertigo = Find(sym, 1, "Vertigo - vertigo");
  n.Num = vertigo.Num;
  n.Sub = vertigo.Sub;
  n.NoteKind = 1;
  n.Text1 = t1;
  n.Text2 = t2;
  ASSERT_EQ(TblFindFullNote(notes, &n, 0, kFindEqual), 0);
  EXPECT_STREQ(t1, "Vertigo with nausea: see also Stomach.\n-----------------\n"
                   "Compare Stomach - nausea - motion, from.");
  DbCloseFile(notes);

  // A link added, one deleted, none for the missing file.
  TblHandle links = TblOpenLink("..\\data\\salm2009\\Link", 1, 1);
  std::vector<std::string> warts, coryza;
  Symptom wartsSym = Find(sym, 1, "Skin - warts");
  Symptom coryzaSym = Find(sym, 1, "Nose - coryza");
  static Link l;
  memset(&l, 0, sizeof l);
  l.CursorState = 0xff;
  for (int err2 = TblFindFullLink(links, &l, 0, kFindFirst); err2 == 0;
       err2 = TblFindFullLink(links, &l, 0, kFindNext)) {
    if (l.Num == wartsSym.Num && l.Sub == wartsSym.Sub)
      warts.push_back(l.File);
    if (l.Num == coryzaSym.Num && l.Sub == coryzaSym.Sub)
      coryza.push_back(l.File);
  }
  DbCloseFile(links);
  EXPECT_EQ(std::set<std::string>(warts.begin(), warts.end()),
            (std::set<std::string>{"thuj-tree.svg", "thuj-twig.svg"}));
  EXPECT_TRUE(coryza.empty());

  // Concept links: added on both sides, deleted on both sides.
  TblHandle partner = TblOpenSymptom("..\\data\\calm2009\\symptom", 1, 1);
  TblHandle exsp = TblOpenExSp("..\\data\\calm2009\\extrspt", 1, 1);
  ASSERT_TRUE(partner && exsp);
  Symptom burning = Find(partner, 1, "Sensations - Burning");
  Symptom stomachBurning = Find(sym, 1, "Stomach - pain - burning");
  EXPECT_TRUE(Linked(exsp, burning, kConceptToSymptoms, stomachBurning));
  EXPECT_TRUE(Linked(exsp, stomachBurning, kSymptomToConcepts, burning));
  Symptom night = Find(partner, 2, "Modalit\xe9s - Nuit");
  Symptom anxietyNight = Find(sym, 2, "Psychisme - anxi\xe9t\xe9 - nuit");
  EXPECT_FALSE(Linked(exsp, night, kConceptToSymptoms, anxietyNight));
  EXPECT_FALSE(Linked(exsp, anxietyNight, kSymptomToConcepts, night));
  for (TblHandle h : {sym, w1, w2, partner, exsp})
    DbCloseFile(h);

  // The 2012 edition: shortened to the chapter, a list in place of words.
  TblHandle s12 = TblOpenSymptom("..\\data\\salm2012\\symptom", 1, 1);
  TblHandle w12 = TblOpenWord("..\\data\\salm2012\\word1", 1, 1);
  ASSERT_TRUE(s12 && w12);
  EXPECT_STREQ(Find(s12, 1, "Mind - anxiety").CrossRef1,
               "2fear / 2fear - dark, of / 2restlessness / 1Generalities - "
               "weakness / 1Stomach - nausea");
  Symptom grief = Find(s12, 1, "Mind - grief");
  EXPECT_STREQ(grief.Synonym1, "2weeping");
  EXPECT_FALSE(Lists(w12, "sorrow", grief));
  EXPECT_FALSE(Lists(w12, "bereavement", grief));
  DbCloseFile(s12);
  DbCloseFile(w12);
}

} // namespace
