// Rebuilding tables: the list of /BUILD read and matched, and the three
// roads (verb, menu, dialog) on a copy of the demonstration installation.
#include "repair/rebuild.h"
#include "repair_support.h"
#include "services/work.h"
#include "shell/repairdlg.h"

#include <cstdio>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using namespace repair_test;

// ---------------------------------------------------------------- lines

TEST(RebuildList, LinesAreTakenInCapitalsByKeywordPrefix) {
  RebuildListLine l;
  ASSERT_EQ(RebuildParseLine("symptom|..\\data\\x\\symptom", &l), kListLineOk);
  ASSERT_EQ(l.Count, 1);
  EXPECT_STREQ(RebuildKeyword(l.Keywords[0]), "SYMPTOM");
  EXPECT_STREQ(l.Table, "..\\DATA\\X\\SYMPTOM");

  // Prefixes: SYMPTOMS is SYMPTOM, ATLAS is AT, NOTES is NOTE, and the
  // letters behind the keyword don't matter.
  ASSERT_EQ(RebuildParseLine("ATLAS|a", &l), kListLineOk);
  EXPECT_STREQ(RebuildKeyword(l.Keywords[0]), "AT");
  ASSERT_EQ(RebuildParseLine("Notes|n", &l), kListLineOk);
  EXPECT_STREQ(RebuildKeyword(l.Keywords[0]), "NOTE");
  ASSERT_EQ(RebuildParseLine("remedies|..\\system\\remed", &l), kListLineOk);
  EXPECT_STREQ(RebuildKeyword(l.Keywords[0]), "REMED");
  ASSERT_EQ(RebuildParseLine("LogFile|..\\log\\a", &l), kListLineOk);
  EXPECT_STREQ(RebuildKeyword(l.Keywords[0]), "LOGFILE");
  // EXTRACT and EXTRSPT share four letters only.
  ASSERT_EQ(RebuildParseLine("extrspt|e", &l), kListLineOk);
  EXPECT_STREQ(RebuildKeyword(l.Keywords[0]), "EXTRSPT");

  // Accented small letters of code page 1252 are folded too.
  ASSERT_EQ(RebuildParseLine("word|..\\data\\caf\xe9\\word1", &l), kListLineOk);
  EXPECT_STREQ(l.Table, "..\\DATA\\CAF\xc9\\WORD1");
}

TEST(RebuildList, LinesThatCannotBeUsedSayWhy) {
  RebuildListLine l;
  EXPECT_EQ(RebuildParseLine("", &l), kListLineEmpty);
  EXPECT_EQ(RebuildParseLine("   \t", &l), kListLineEmpty);
  EXPECT_EQ(RebuildParseLine("symptom ..\\data\\x\\symptom", &l),
            kListLineNoBar);
  EXPECT_EQ(RebuildParseLine("thesaurus|..\\system\\thes", &l),
            kListLineUnknown);
  // A keyword must stand at the very start of the line.
  EXPECT_EQ(RebuildParseLine(" symptom|x", &l), kListLineUnknown);
  EXPECT_EQ(RebuildParseLine("word|   ", &l), kListLineNoTable);
  // Trailing blanks are no part of a name.
  ASSERT_EQ(RebuildParseLine("logfile|..\\log\\sample  \t ", &l), kListLineOk);
  EXPECT_STREQ(l.Table, "..\\LOG\\SAMPLE");
}

TEST(RebuildList, ReadListLineCutsTheLineEndAndKeepsBlanks) {
  char tmpl[] = "/tmp/mantrel-list-XXXXXX";
  int fd = mkstemp(tmpl);
  ASSERT_GE(fd, 0);
  std::string longLine(600, 'x');
  std::string text = "a|b  \r\nsecond\n" + longLine + "\nlast";
  ASSERT_EQ(write(fd, text.data(), text.size()),
            static_cast<ssize_t>(text.size()));
  close(fd);
  FILE *f = fopen(tmpl, "rb");
  ASSERT_NE(f, nullptr);
  char buf[kListLineSize];
  std::vector<std::string> lines;
  while (ReadListLine(f, buf, sizeof buf))
    lines.push_back(buf);
  fclose(f);
  unlink(tmpl);
  // A line longer than the buffer comes in two pieces: 511 characters,
  // then the rest.
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], "a|b  ");
  EXPECT_EQ(lines[1], "second");
  EXPECT_EQ(lines[2].size(), 511u);
  EXPECT_EQ(lines[3].size(), 89u);
  EXPECT_EQ(lines[4], "last");
}

// ---------------------------------------------------------------- names

class MatchCaseTest : public RepairDemoTest {};

TEST_F(MatchCaseTest, NamesTakeTheSpellingOfTheFilesOnDisk) {
  char out[256];
  RepairMatchCase("..\\DATA\\SALM2009\\NOTE", ".dat", out, sizeof out);
  EXPECT_STREQ(out, "..\\data\\salm2009\\Note");
  RepairMatchCase("..\\LOG\\SALM2009   ", ".dat", out, sizeof out);
  EXPECT_STREQ(out, "..\\log\\SALM2009");
  // A cases file is found by its ".da1".
  RepairMatchCase("..\\CASES\\REPERT", ".da1", out, sizeof out);
  EXPECT_STREQ(out, "..\\cases\\repert");
  // What isn't there keeps its spelling from where the folders end.
  RepairMatchCase("..\\DATA\\NOWHERE\\SYMPTOM", ".dat", out, sizeof out);
  EXPECT_STREQ(out, "..\\data\\NOWHERE\\SYMPTOM");
  RepairMatchCase("", ".dat", out, sizeof out);
  EXPECT_STREQ(out, "");
}

// ---------------------------------------------------------------- the verb

// The tables that a list names, with tbltool's kind for each keyword.
std::vector<std::pair<std::string, std::string>>
ListedTables(const std::string &list) {
  static const std::map<std::string, std::string> kinds = {
      {"SYMPTOM", "symptom"}, {"WORD", "word"},    {"EXTRACT", "extract"},
      {"EXTRSPT", "exsp"},    {"NOTE", "note"},    {"AT", "at"},
      {"VIEW", "view"},       {"LOGFILE", "rlog"}, {"LINK", "link"},
      {"AUTHOR", "author"},   {"REMED", "remed"}};
  std::vector<std::pair<std::string, std::string>> out;
  std::istringstream in(list);
  std::string line;
  while (std::getline(in, line)) {
    RebuildListLine l;
    if (RebuildParseLine(line.c_str(), &l) == kListLineOk)
      out.push_back({kinds.at(RebuildKeyword(l.Keywords[0])), l.Table});
  }
  return out;
}

TEST_F(RepairDemoTest, BuildVerbRebuildsWhatTheDemoListNames) {
  // Every index file goes but the message table's, without which the
  // program cannot start; the last frame of a symptom table is torn.
  for (auto &e : fs::recursive_directory_iterator(root_)) {
    std::string ext = e.path().extension().string();
    if (ext.size() == 4 && ext.compare(0, 3, ".id") == 0 &&
        e.path().stem() != "orvixmsg")
      fs::remove(e.path());
  }
  fs::path symptoms = root_ / "data" / "salm2009" / "symptom.dat";
  fs::resize_file(symptoms, fs::file_size(symptoms) - 7);

  std::string list = SlurpFile(root_ / "log" / "rebuild.txt");
  auto tables = ListedTables(list);
  ASSERT_GE(tables.size(), 25u);
  // Two lines of the list could not be used: the exit status says so.
  EXPECT_EQ(Run("/BUILD '..\\log\\rebuild.txt'", ""), 1);

  for (auto &[kind, table] : tables)
    EXPECT_EQ(Tbltool("check", kind, table), 0) << kind << " " << table;
  EXPECT_TRUE(CaseTwins(root_).empty()) << CaseTwins(root_)[0];
  // The lines that couldn't be used are told, each once; nothing failed.
  EXPECT_EQ(Occurrences(err_, "note: "), 2u) << err_;
  EXPECT_THAT(err_,
              HasSubstr("Line 29 of the list names no kind of table and is "
                        "skipped: thesaurus|..\\system\\thesaurus"));
  EXPECT_THAT(err_, HasSubstr("Line 30 of the list has no bar and is skipped: "
                              "history ..\\data\\salm2012\\histoid"));
  // The index in capitals of the list got the name of its data file.
  EXPECT_TRUE(fs::exists(root_ / "data" / "salm2009" / "word2.idx"));
  EXPECT_TRUE(fs::exists(root_ / "log" / "sample.idx"));
}

TEST_F(RepairDemoTest, BuildVerbTellsEveryFailureAndGoesOn) {
  std::ofstream(root_ / "log" / "mine.txt")
      << "symptom|..\\data\\nowhere\\symptom\n"
      << "view|..\\data\\salm2009\\view\n"
      << "note|\n";
  fs::remove(root_ / "data" / "salm2009" / "view.idx");
  EXPECT_EQ(Run("/BUILD '..\\log\\mine.txt'", ""), 1);
  // Error 12 is told on this road too, and the next line still runs.
  EXPECT_THAT(err_,
              HasSubstr("The table ..\\DATA\\NOWHERE\\SYMPTOM could not be "
                        "rebuilt (H-12)"));
  EXPECT_TRUE(fs::exists(root_ / "data" / "salm2009" / "view.idx"));
  EXPECT_THAT(err_, HasSubstr("Line 3 of the list names no table"));
  EXPECT_FALSE(fs::exists(root_ / "data" / "nowhere"));

  // A list that isn't there is told as well.
  EXPECT_EQ(Run("/BUILD '..\\log\\none.txt'", ""), 1);
  EXPECT_THAT(err_,
              HasSubstr("The list file ..\\log\\none.txt cannot be read"));
}

// ---------------------------------------------------------------- menu

TEST_F(RepairDemoTest, MenuRowsRebuildTheirTablesWithTheirNotes) {
  fs::path rep = root_ / "data" / "salm2009";
  fs::remove(rep / "symptom.idx");
  fs::remove(rep / "Note.idx");
  // The chooser first (row 0 is Almanacum 2009), then the rows.
  EXPECT_EQ(Run("", "select 5 0\nclick 1\n"
                    "menu 1006\nanswer ok\nmenu 1014\nanswer ok\n"
                    "menu 1013\nanswer ok\nmenu 1021\nanswer ok\nexit\n"),
            0);
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
  EXPECT_TRUE(fs::exists(rep / "symptom.idx"));
  EXPECT_TRUE(fs::exists(rep / "Note.idx"));
  EXPECT_THAT(err_,
              HasSubstr("note: The table ..\\data\\salm2009\\symptom has been "
                        "rebuilt."));
  // The titles name the notes and the log in small letters.
  EXPECT_THAT(err_,
              HasSubstr("note: The table ..\\data\\salm2009\\note has been "
                        "rebuilt."));
  EXPECT_THAT(err_,
              HasSubstr("note: The table ..\\log\\SALM2009 has been rebuilt."));
  EXPECT_THAT(err_,
              HasSubstr("note: The table ..\\cases\\repert has been rebuilt."));
  EXPECT_EQ(Tbltool("check", "cas1", "..\\cases\\repert"), 0);
  EXPECT_EQ(Tbltool("check", "cas2", "..\\cases\\repert"), 0);
}

TEST_F(RepairDemoTest, AllTablesPostsNoSuccessAndStopsAtNothing) {
  // The concept repertory has no log and no partner links of its own: its
  // missing log is silent, and its symptom table fails loudly.
  fs::path rep = root_ / "data" / "salm2009";
  for (auto &e : fs::directory_iterator(rep))
    if (e.path().extension() == ".idx")
      fs::remove(e.path());
  fs::remove(root_ / "log" / "SALM2009.dat");
  fs::remove(root_ / "log" / "SALM2009.idx");
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1016\nexit\n"), 0);
  EXPECT_THAT(err_, Not(HasSubstr("has been rebuilt")));
  EXPECT_THAT(err_, Not(HasSubstr("note: ")));
  for (const char *t :
       {"symptom", "word1", "word2", "extract", "view", "Note", "Link"})
    EXPECT_TRUE(fs::exists(rep / (std::string(t) + ".idx"))) << t;
  EXPECT_EQ(Tbltool("check", "symptom", "..\\data\\salm2009\\symptom"), 0);

  // Symptoms on their own: error 12 is told there.
  fs::remove(rep / "symptom.dat");
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1006\nmenu 1013\nexit\n"), 0);
  EXPECT_THAT(err_,
              HasSubstr("note: The table ..\\data\\salm2009\\symptom could not "
                        "be rebuilt (H-12)."));
  EXPECT_EQ(Occurrences(err_, "note: "), 1u) << err_;
}

TEST_F(RepairDemoTest, PatientFileRebuildsItsChainAndTheDiagnoses) {
  fs::remove(root_ / "patient" / "patient.id4");
  fs::remove(root_ / "system" / "diag3.idx");
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1019\nexit\n"), 0);
  EXPECT_THAT(err_, HasSubstr("note: The table ..\\patient\\patient has been "
                              "rebuilt."));
  EXPECT_TRUE(fs::exists(root_ / "patient" / "patient.id4"));
  EXPECT_TRUE(fs::exists(root_ / "system" / "diag3.idx"));
  // A missing table of the chain ends it, with no success note.
  fs::remove(root_ / "patient" / "patient.da5");
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1019\nexit\n"), 0);
  EXPECT_THAT(err_, HasSubstr("could not be rebuilt (H-12)"));
  EXPECT_THAT(err_, Not(HasSubstr("has been rebuilt")));
}

// ---------------------------------------------------------------- dialog

TEST_F(RepairDemoTest, DialogRebuildsWhatIsTickedAndEndsWithOneNote) {
  fs::path rep = root_ / "data" / "salm2009";
  // Tick Symptoms, Notes, Log file and the one cases file; Select all
  // would pick all cases files instead.
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1046\n"
                    "click 5\nclick 10\nclick 13\nclick 20\nclick 1\n"
                    "answer ok\nexit\n"),
            0);
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
  EXPECT_THAT(err_, Not(HasSubstr("has been rebuilt")));
  EXPECT_THAT(err_, HasSubstr("note: The repair is finished."));
  EXPECT_EQ(Occurrences(err_, "note: "), 1u) << err_;
  // The cases went through text and the report tells it.
  std::string report = SlurpFile(root_ / "cases" / "caserep.txt");
  EXPECT_THAT(report, HasSubstr("END OF UPLOAD PHASE"));
  EXPECT_TRUE(fs::exists(root_ / "cases" / "casetmp1.txt"));
  EXPECT_EQ(Tbltool("check", "cas1", "..\\cases\\repert"), 0);
  EXPECT_EQ(Tbltool("check", "note", "..\\data\\salm2009\\Note"), 0);

  // A told failure changes the closing note; a missing log is silent here.
  fs::remove(rep / "symptom.dat");
  fs::remove(root_ / "log" / "SALM2009.dat");
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1046\nclick 5\nclick 13\n"
                    "click 1\nexit\n"),
            0);
  EXPECT_THAT(err_, HasSubstr("could not be rebuilt (H-12)"));
  EXPECT_THAT(err_,
              HasSubstr("note: The repair is finished, but some tables could "
                        "not be rebuilt."));
  EXPECT_EQ(Occurrences(err_, "note: "), 2u) << err_;
}

TEST_F(RepairDemoTest, DialogSelectAllRepairsEveryCasesFile) {
  // Every cases file of the folder but a name ending in "_".
  fs::copy_file(root_ / "cases" / "colleague.da1",
                root_ / "cases" / "old_.da1");
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1046\nclick 24\nclick 1\n"
                    "answer ok\nexit\n"),
            0);
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
  EXPECT_THAT(err_, HasSubstr("note: The repair is finished"));
  std::string report = SlurpFile(root_ / "cases" / "caserep.txt");
  EXPECT_EQ(Occurrences(report, "has been repaired on"), 2u) << report;
  EXPECT_THAT(report, HasSubstr("..\\cases\\repert has been repaired"));
  EXPECT_THAT(report, HasSubstr("..\\cases\\colleague has been repaired"));
  // The work tables are gone, the text stays beside the program.
  EXPECT_FALSE(fs::exists(root_ / "cases" / "casetmp.da1"));
  EXPECT_TRUE(fs::exists(root_ / "bin" / "casetmp1.txt"));
  for (const char *t : {"..\\cases\\repert", "..\\cases\\colleague"}) {
    EXPECT_EQ(Tbltool("check", "cas1", t), 0) << t;
    EXPECT_EQ(Tbltool("check", "cas2", t), 0) << t;
  }
}

TEST_F(RepairDemoTest, DialogTicksBehaveAsTheirRowsSay) {
  Start();
  ShowRepairProgress("x"); // registers the Working dialog
  HideRepairProgress();
  Script("");
  WINDOW dlg = RepairDialogOpen();
  ASSERT_NE(dlg, NULL_WIN);
  auto ticked = [&](int id) {
    return xvt_ctl_is_checked(xvt_win_get_ctl(dlg, id));
  };
  auto click = [&](int id) {
    EVENT ev;
    memset(&ev, 0, sizeof ev);
    ev.type = E_CONTROL;
    ev.v.ctl.id = id;
    xvt_win_dispatch_event(dlg, &ev);
  };
  for (int id = kRepairDlgSymptoms; id <= kRepairDlgKeynotes; ++id) {
    XvtCtl *c = XvtFindCtlById(dlg, id);
    if (c != nullptr && c->kind == WC_CHECKBOX) {
      EXPECT_FALSE(ticked(id)) << id;
    }
  }
  click(kRepairDlgOneCases);
  EXPECT_TRUE(ticked(kRepairDlgOneCases));
  click(kRepairDlgAllCases);
  EXPECT_TRUE(ticked(kRepairDlgAllCases));
  EXPECT_FALSE(ticked(kRepairDlgOneCases));
  click(kRepairDlgAllCases); // both may be clear
  EXPECT_FALSE(ticked(kRepairDlgAllCases));
  EXPECT_FALSE(ticked(kRepairDlgOneCases));
  click(kRepairDlgSelectAll);
  EXPECT_TRUE(ticked(kRepairDlgAllCases));
  EXPECT_FALSE(ticked(kRepairDlgOneCases));
  EXPECT_TRUE(ticked(kRepairDlgKeynotes));
  EXPECT_TRUE(ticked(kRepairDlgLog));
  click(kRepairDlgDeselectAll);
  EXPECT_FALSE(ticked(kRepairDlgAllCases));
  EXPECT_FALSE(ticked(kRepairDlgSymptoms));
  // The personal files' ticks name their paths.
  char title[256];
  xvt_vobj_get_title(xvt_win_get_ctl(dlg, kRepairDlgOneCases), title,
                     sizeof title);
  EXPECT_STREQ(title, "One cases file: ..\\cases\\repert");
  click(kRepairDlgCancel);
  EXPECT_EQ(XvtFindWin(dlg), nullptr);
}

} // namespace
