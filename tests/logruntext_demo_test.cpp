// The update from a text file on the demonstration installation, as a
// person runs it from the Update menu: the sample log's text form changes
// the repertory exactly as /RUN of the log table does, table for table;
// its rejects run again give the same rejects and change nothing; a text
// log in other languages with damaged entries; and a run that would write
// its rejects over its own source is refused.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string Slurp(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

int System(const std::string &cmd) {
  int rc = std::system(cmd.c_str());
  return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

int Count(const std::string &text, const std::string &what) {
  int n = 0;
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at)
    ++n;
  return n;
}

// Every table of the repertory's folder, dumped by tbltool.
const char *const kTables[][2] = {
    {"symptom", "symptom"}, {"extract", "extract"}, {"word", "word1"},
    {"word", "word2"},      {"note", "Note"},       {"link", "Link"},
    {"view", "view"}};

class TextRunDemo : public ::testing::Test {
protected:
  void SetUp() override {
    char tmpl[] = "/tmp/mantrel-textrun-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    base_ = tmpl;
  }
  void TearDown() override { fs::remove_all(base_); }

  fs::path Demo(const std::string &name) {
    fs::path d = base_ / name;
    EXPECT_EQ(System(std::string("\"") + MANTREL_BIN_DIR +
                     "/mkdemo\" --sources \"" + MANTREL_SOURCE_DIR +
                     "/data/demo\" \"" + d.string() + "\" >/dev/null 2>&1"),
              0);
    return d;
  }

  // mantrel in the installation's bin folder with the person's actions;
  // answers what it wrote on standard error.
  std::string Mantrel(const fs::path &demo, const std::string &args,
                      const std::string &script) {
    std::ofstream(base_ / "script.txt") << script;
    System("cd \"" + (demo / "bin").string() +
           "\" && MANTREL_UI=scripted MANTREL_VIEWER=true MANTREL_SCRIPT=\"" +
           (base_ / "script.txt").string() + "\" \"" + MANTREL_BIN_DIR +
           "/mantrel\" " + args + " </dev/null >/dev/null 2>\"" +
           (base_ / "err.txt").string() + "\"");
    return Slurp(base_ / "err.txt");
  }

  // The Update menu's text-file run on a file of the log folder: the
  // repertory SALM2009 chosen, the file, both backups off, notes appended
  // and checked for doubles as /RUN does, OK, no comment, OK to the start
  // note, Cancel to the reports.
  std::string TextRun(const fs::path &demo, const std::string &file) {
    return Mantrel(demo, "",
                   "select 5 0\nclick 1\nmenu 1037\nfile " +
                       (demo / "log" / file).string() +
                       "\nclick 4\nclick 5\nclick 11\nclick 21\nclick 1\ntext\n"
                       "answer 1\n"
                       "answer 2\nquit\n");
  }

  std::string Dump(const fs::path &demo, const char *kind, const char *table) {
    fs::path out = base_ / "dump.txt";
    System("cd \"" + (demo / "bin").string() + "\" && \"" + MANTREL_BIN_DIR +
           "/tbltool\" dump " + kind + " '..\\data\\salm2009\\" + table +
           "' >\"" + out.string() + "\" 2>&1");
    return Slurp(out);
  }

  void ExpectSameTables(const fs::path &a, const fs::path &b) {
    for (const auto &t : kTables) {
      std::string da = Dump(a, t[0], t[1]);
      EXPECT_GT(da.size(), 100u) << t[1];
      EXPECT_TRUE(da == Dump(b, t[0], t[1])) << "table " << t[1] << " differs";
    }
  }

  fs::path base_;
};

TEST_F(TextRunDemo, TheTextFormChangesTheRepertoryAsTheLogTableDoes) {
  fs::path byTable = Demo("table"), byText = Demo("text");
  Mantrel(byTable, "/RUN '..\\log\\sample' 1", "");
  std::string err = TextRun(byText, "sample-text.txt");
  EXPECT_NE(err.find("The entries of the text file will now be counted"),
            std::string::npos)
      << err;
  ExpectSameTables(byTable, byText);
  // The same entries applied and refused, told the same way.
  fs::path log = byText / "log";
  std::string ok = Slurp(log / "logtext.ok");
  EXPECT_EQ(Count(ok, "Operation done\n"),
            Count(Slurp(byTable / "log" / "sample.edt"), "Operation done\n"));
  EXPECT_EQ(Count(ok, "Operation done\n"), 28);
  std::string rejects = Slurp(log / "sample-text.edt");
  EXPECT_EQ(Count(rejects, "\n" + std::string(105, '-') + "\n"), 9);
  EXPECT_EQ(Count(Slurp(log / "sample-text.err"), "Error: "), 6);

  // The rejects, run again under another name, reject themselves and
  // change nothing.
  fs::copy_file(log / "sample-text.edt", log / "again.txt");
  TextRun(byText, "again.txt");
  EXPECT_EQ(Slurp(log / "again.edt"), rejects);
  EXPECT_EQ(Count(Slurp(log / "logtext.ok"), "Operation done"), 0);
  ExpectSameTables(byTable, byText);
}

TEST_F(TextRunDemo, ALogInOtherLanguagesWithDamagedEntries) {
  fs::path demo = Demo("french");
  TextRun(demo, "sample-french.txt");
  fs::path log = demo / "log";
  // Six entries: French, an unknown heading, one without a path, German
  // with an old date, the last one without its closing line.
  std::string ok = Slurp(log / "logtext.ok");
  EXPECT_EQ(Count(ok, "Operation done\n"), 4) << ok;
  std::string err = Slurp(log / "sample-french.err");
  EXPECT_EQ(Count(err, "Error: Unknown operation in this entry\n"), 1) << err;
  EXPECT_EQ(Count(err, "Error: This entry has no symptom path\n"), 1) << err;
  std::string rejects = Slurp(log / "sample-french.edt");
  EXPECT_NE(rejects.find("Ajouter une rubrique (0/0)  Lg. 0\n"),
            std::string::npos);
  EXPECT_NE(rejects.find("Supprimer un rem\xe8"
                         "de: Sep."),
            std::string::npos);
  // The entry dated 1970 took today's date.
  char today[16];
  time_t now = time(nullptr);
  strftime(today, sizeof today, "%d.%m.%Y", localtime(&now));
  EXPECT_NE(ok.find("Log entry number: 5   Date: " + std::string(today)),
            std::string::npos)
      << ok;
  // The additions stand in the repertory, marked as the user's: Ign.
  // (83) by Kent on anxiety in the evening (unique id 1013).
  std::string symptoms = Dump(demo, "symptom", "symptom");
  size_t row = symptoms.find("\"UniqueId\":1013,");
  ASSERT_NE(row, std::string::npos);
  std::string line = symptoms.substr(row, symptoms.find('\n', row) - row);
  EXPECT_NE(line.find("{\"RemedyId\":83,\"Degree\":2,\"AuthorId\":32769"),
            std::string::npos)
      << line;
}

TEST_F(TextRunDemo, ARunThatWouldWriteOverItsSourceIsRefused) {
  fs::path demo = Demo("collide");
  // The rejects of "x.edt" would be "x.edt" itself.
  fs::copy_file(demo / "log" / "sample-text.txt", demo / "log" / "x.edt");
  std::string before = Dump(demo, "symptom", "symptom");
  std::string err = TextRun(demo, "x.edt");
  EXPECT_NE(err.find("would be written over"), std::string::npos) << err;
  EXPECT_EQ(Slurp(demo / "log" / "x.edt"),
            Slurp(demo / "log" / "sample-text.txt"));
  EXPECT_EQ(Dump(demo, "symptom", "symptom"), before);
}

} // namespace
