// A new edition on the demonstration installation, as an installer and a
// person bring it about: the own log of the 2009 edition transferred to
// the 2012 edition by the verbs (translated, plain, and the replay of a
// repertory's own log), the marker file while a verb runs, dialog 110's
// Start with a range, and the user-defined remedies and authors: the list
// files written, edited and read again, the load files of a run with their
// collisions, and /AUTREM.
#include "test_folder.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <set>
#include <sstream>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

int Count(const std::string &text, const std::string &what) {
  int n = 0;
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at)
    ++n;
  return n;
}

// The log numbers of the report blocks and text-form entries of a file.
std::set<int> EntryNumbers(const std::string &text) {
  std::set<int> out;
  const std::string label = "Log entry number: ";
  for (size_t at = 0; (at = text.find(label, at)) != std::string::npos;) {
    at += label.size();
    out.insert(atoi(text.c_str() + at));
  }
  return out;
}

class UpgradeDemo : public FolderTest {
protected:
  UpgradeDemo() : FolderTest("upgrade") {}
  void SetUp() override { ASSERT_EQ(BuildDemo(root_ / "demo"), 0); }

  fs::path Bin() const { return root_ / "demo" / "bin"; }
  fs::path Log(const char *name) const { return root_ / "demo" / "log" / name; }

  // mantrel in the installation's bin with the actions of `script`;
  // answers what it wrote on standard error.
  std::string Mantrel(const std::string &args, const std::string &script) {
    Spit("script.txt", script);
    RunCommand("cd '" + Bin().string() +
               "' && MANTREL_UI=scripted MANTREL_VIEWER=true "
               "MANTREL_SCRIPT='" +
               (root_ / "script.txt").string() + "' " +
               BuiltProgram("mantrel") + " " + args +
               " </dev/null >/dev/null 2>'" + (root_ / "err.txt").string() +
               "'");
    return Slurp("err.txt");
  }

  // A table dumped by tbltool as JSON lines.
  std::string Dump(const char *kind, const char *path) {
    RunCommand("cd '" + Bin().string() + "' && " + BuiltProgram("tbltool") +
               " dump " + kind + " '" + path + "' >'" +
               (root_ / "dump.txt").string() + "' 2>&1");
    return Slurp("dump.txt");
  }

  std::string Verify(const char *folder) {
    RunCommand("cd '" + Bin().string() + "' && " + BuiltProgram("tbltool") +
               " verify '" + folder + "' >'" + (root_ / "verify.txt").string() +
               "' 2>&1");
    return Slurp("verify.txt");
  }

  // The copy program of backups is replaced by one that first notes what
  // the log folder holds: it runs while the verb runs.
  void NoteLogFolderAtBackup() {
    fs::path copy = Bin() / "backup" / "orvcopy";
    fs::rename(copy, Bin() / "backup" / "orvcopy.real");
    Spit("demo/bin/backup/orvcopy",
         "#!/bin/sh\nls '" + (root_ / "demo" / "log").string() + "' > '" +
             (root_ / "atbackup.txt").string() +
             "'\nexec \"$(dirname \"$0\")"
             "/orvcopy.real\" \"$@\"\n");
    fs::permissions(copy, fs::perms::owner_all);
  }
};

TEST_F(UpgradeDemo, TranslatedTransferTakesEveryEntryOrTellsWhyNot) {
  // The user had renamed the reserved remedy 12 before the new edition.
  std::string udef;
  for (int i = 1; i <= 99; ++i) {
    char line[128];
    snprintf(line, sizeof line, "%-20.20s%-20.20s%-60.60s\n",
             ("rmd" + std::to_string(i)).c_str(),
             i == 12 ? "Orvix-u." : ("rmd" + std::to_string(i)).c_str(),
             i == 12 ? "Orvixia urbana" : "User-defined remedy");
    udef += line;
  }
  Spit("demo/system/rem_udef.lst", udef);
  NoteLogFolderAtBackup();
  std::string err =
      Mantrel("/UPGRADEASSOC '..\\log\\whatever' salm2009 SALM2012 at0912e",
              "answer OK\nanswer OK\n");
  EXPECT_THAT(err, HasSubstr("translated and transferred to Almanacum 2012"));

  // The marker stood while the verb ran, and is gone.
  EXPECT_THAT(Slurp("atbackup.txt"), HasSubstr("running.log"));
  EXPECT_FALSE(fs::exists(Log("running.log")));
  for (const char *report : {"SALM2012.txt", "SALM2012.err", "SALM2012.rpt"})
    EXPECT_TRUE(fs::exists(Log(report))) << report;

  // Every entry of the old log was applied or is told with its reason.
  std::string source = Dump("rlog", "..\\log\\SALM2009");
  int entries = Count(source, "\"number\":");
  ASSERT_GT(entries, 70);
  std::set<int> applied = EntryNumbers(Slurp("demo/log/SALM2009.edt"));
  std::set<int> refused = EntryNumbers(Slurp("demo/log/SALM2012.txt"));
  std::set<int> reasons = EntryNumbers(Slurp("demo/log/SALM2012.err"));
  for (int n = 1; n <= entries; ++n) {
    EXPECT_NE(applied.count(n) + refused.count(n), 0u) << "entry " << n;
    EXPECT_FALSE(applied.count(n) && refused.count(n)) << "entry " << n;
    if (refused.count(n)) {
      EXPECT_TRUE(reasons.count(n)) << "entry " << n;
    }
  }

  // The own log of the new edition holds the entries in its words.
  std::string own = Dump("rlog", "..\\log\\SALM2012");
  // (and the levels re-created for them, ahead of each).
  EXPECT_GE(Count(own, "\"number\":"), static_cast<int>(applied.size()));
  for (const char *words :
       {"Mind \\u0002 memory, weakness of\\u0001Sulph.", // renamed, pointer
        "questioned, when answering \\u0002 afternoon\\u0001Lyc.\\u0001Kent",
        "Vertigo \\u0002 vertigo \\u0002 closing the eyes \\u0002 morning"
        "\\u0001Nat-m.", // moved deeper
        "Chest \\u0002 oppression \\u0002 constriction\\u0001Kali-c.\\u0001"
        "Hering",                              // moved, by id
        "Head \\u0002 hair, falling out",      // renamed
        "Mind \\u0002 anxiety\\u0001Orvix-u.", // reserved id
        // old texts alike over 59 characters, one longer than the field
        "anxiety \\u0002 waiting, when\\u0001Lyc.",
        "fear \\u0002 examination, before an\\u0001Sil."})
    EXPECT_THAT(own, HasSubstr(words)) << words;
  // The entry on a pointer to two symptoms, and the one on a deleted
  // symptom with an id, are told.
  std::string errors = Slurp("demo/log/SALM2012.err");
  EXPECT_THAT(errors, HasSubstr("points to several symptoms"));
  EXPECT_THAT(errors, HasSubstr("Symptom: Ear \x02 noises \x02 roaring"));
  EXPECT_THAT(Verify("..\\data\\salm2012\\"), HasSubstr("consistent"))
      << Slurp("verify.txt");
}

TEST_F(UpgradeDemo, PlainTransferAndResetNameTheirLogsAndReports) {
  // /UPGRADE reads the log of the old abbreviation, whatever the command
  // line's log is; its reports bear the new one.
  std::string err = Mantrel("/UPGRADE '..\\log\\elsewhere' SALM2009 SALM2012",
                            "answer OK\nanswer Cancel\n");
  EXPECT_THAT(err, HasSubstr("will be transferred to Almanacum 2012"));
  EXPECT_TRUE(fs::exists(Log("SALM2012.err")));
  EXPECT_TRUE(fs::exists(Log("SALM2009.edt")));
  EXPECT_FALSE(fs::exists(Log("running.log")));
  // Without translation the renamed symptom without an id is not found.
  std::string errors = Slurp("demo/log/SALM2012.err");
  EXPECT_THAT(errors, HasSubstr("Symptom: Mind \x02 forgetful"));
  EXPECT_THAT(Dump("rlog", "..\\log\\SALM2012"),
              Not(HasSubstr("memory, weakness of")));

  // /UPGRADERESET replays a repertory's own log on it and keeps no copy.
  std::string before = Dump("rlog", "..\\log\\SALM2009");
  err = Mantrel("/UPGRADERESET '..\\log\\x' salm2009",
                "answer OK\nanswer Cancel\n");
  EXPECT_THAT(err, HasSubstr("Your log file will be run on Almanacum 2009"));
  EXPECT_TRUE(fs::exists(Log("SALM2009.rpt")) ||
              fs::exists(Log("SALM2009.err")));
  EXPECT_EQ(Dump("rlog", "..\\log\\SALM2009"), before);
}

TEST_F(UpgradeDemo, CancelAndAnUnknownRepertoryRunNothing) {
  std::string err =
      Mantrel("/UPGRADEASSOC x SALM2009 SALM2012 y", "answer Cancel\n");
  EXPECT_THAT(err, HasSubstr("Go on?"));
  EXPECT_FALSE(fs::exists(Log("SALM2012.err")));
  EXPECT_FALSE(fs::exists(Log("running.log")));
  err = Mantrel("/UPGRADE x SALM2009 SALM1999", "");
  EXPECT_THAT(err, HasSubstr("SALM1999 is not in the catalogue"));
  EXPECT_FALSE(fs::exists(Log("running.log")));
  // An edition the index has no line for: the run says so and stops.
  err = Mantrel("/UPGRADEASSOC x sample SALM2012 y",
                "answer OK\nanswer Cancel\n");
  EXPECT_THAT(err, HasSubstr("no line for these two repertories"));
  EXPECT_FALSE(fs::exists(Log("SALM2012.dat")));
}

TEST_F(UpgradeDemo, DialogStartWithAPlusAsksForTheRange) {
  // SALM2012 chosen at the start, dialog 110, the old repertory browsed,
  // the log with "+" in front, the range 60-65.
  std::string err =
      Mantrel("", "select 5 1\nclick 1\nmenu 1040\nclick 11\nselect 5 0\n"
                  "click 1\nset 6 +..\\log\\salm2009.dat\nclick 1\n"
                  "text 60-65\nanswer 2\nexit\n");
  EXPECT_THAT(err, HasSubstr("Range of log numbers"));
  std::set<int> seen = EntryNumbers(Slurp("demo/log/SALM2009.edt"));
  std::set<int> refused = EntryNumbers(Slurp("demo/log/SALM2009.txt"));
  seen.insert(refused.begin(), refused.end());
  EXPECT_EQ(seen, (std::set<int>{60, 61, 62, 63, 64, 65}));
  EXPECT_THAT(Dump("rlog", "..\\log\\SALM2012"),
              HasSubstr("questioned, when answering"));

  // Cancel at the range prompt: nothing runs.
  fs::remove(Log("SALM2009.edt"));
  err =
      Mantrel("", "select 5 1\nclick 1\nmenu 1040\nclick 11\nselect 5 0\n"
                  "click 1\nset 6 +..\\log\\SALM2009\nclick 1\ncancel\nexit\n");
  EXPECT_FALSE(fs::exists(Log("SALM2009.edt")));
}

TEST_F(UpgradeDemo, UserDefinedListsAreWrittenEditedAndReadAgain) {
  // A first update writes the list of the 99 reserved remedies.
  std::string err = Mantrel("", "select 5 0\nclick 1\nmenu 1030\nexit\n");
  EXPECT_THAT(err, HasSubstr("have been updated"));
  std::string list = Slurp("demo/system/rem_udef.lst");
  EXPECT_EQ(Count(list, "\n"), 99);
  std::istringstream lines(list);
  std::string line, edited;
  for (int n = 1; std::getline(lines, line); ++n) {
    EXPECT_EQ(line.size(), 100u) << n;
    if (n == 12)
      line = line.substr(0, 20) + "Orvix-urbana-major. Orvixia urbana";
    if (n == 13)
      line = line.substr(0, 20) + "Sulph.              Taken";
    if (n == 14)
      line = "no such remedy      Nothing";
    edited += line + "\n";
  }
  Spit("demo/system/rem_udef.lst", edited);
  err = Mantrel("", "select 5 0\nclick 1\nmenu 1030\nexit\n");
  // The new abbreviation is cut to what a remedy holds; one that another
  // remedy has, and a key that names none, are told and passed over.
  std::string remed = Dump("remed", "..\\system\\remed");
  EXPECT_THAT(remed, HasSubstr("\"Id\":3172,\"Attr1\":0"));
  EXPECT_THAT(remed,
              HasSubstr("\"Abbrev\":\"Orvix-urbana-ma\",\"Name\":\"Orvixia "
                        "urbana\""));
  EXPECT_THAT(err, HasSubstr("Sulph. is the abbreviation of record"));
  EXPECT_THAT(err, HasSubstr("no record is called no such remedy"));
  EXPECT_THAT(remed, HasSubstr("\"Abbrev\":\"rmd13\""));

  // /AUTREM updates both lists and says nothing at the end.
  err = Mantrel("/AUTREM x y", "");
  EXPECT_TRUE(fs::exists(root_ / "demo" / "system" / "aut_udef.lst"));
  EXPECT_THAT(err, Not(HasSubstr("have been updated")));
}

TEST_F(UpgradeDemo, LoadFilesOfARunResolveCollisions) {
  Spit("demo/bin/remedies.txt",
       "3200|Sulph.|Sulphur of the user|1|0|0|0\n"
       "3205|rmd5|Second of the name|0|1|7|8|a|b|c|d|e|f|g\n"
       "x\n"
       "3210|Orvix-n.|Orvixia nova|0|0|0|0\n");
  Spit("demo/bin/authors.txt", "950|Orvix|The Orvix school|a|b|c|3|1\n");
  std::string err =
      Mantrel("/RUN ..\\log\\sample 1 remedies.txt authors.txt", "answer 2\n");
  std::string remed = Dump("remed", "..\\system\\remed");
  // A published remedy keeps its id; the line's id is dropped.
  EXPECT_EQ(Count(remed, "\"Abbrev\":\"Sulph.\""), 1) << remed;
  EXPECT_THAT(remed, HasSubstr("\"Name\":\"Sulphur of the user\""));
  // A user-defined one keeps its record, marked with "_".
  EXPECT_THAT(remed, HasSubstr("\"Abbrev\":\"rmd5_\""));
  EXPECT_THAT(remed, HasSubstr("\"Abbrev\":\"Orvix-n.\""));
  EXPECT_THAT(err, HasSubstr("the record 3165 is now called rmd5_"));
  // Authors keep the capitals they are written with.
  EXPECT_THAT(Dump("author", "..\\system\\author"),
              HasSubstr("\"Abbrev\":\"Orvix\""));
}

} // namespace
