// The chooser and the network base as an installer meets them: the mantrel
// executable started in a bin folder with a script for the toolkit.
#include "chooser_support.h"

#include <algorithm>
#include <sys/wait.h>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class VerbTest : public FolderTest {
protected:
  VerbTest() : FolderTest("verbs") {}
  void SetUp() override {
    for (const char *d : {"bin", "system", "log", "data"})
      fs::create_directories(root_ / d);
    ASSERT_EQ(BuildMessageTable(root_ / "system" / "orvixmsg"), 0);
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    AddCatalogEntries(Catalogue().c_str(),
                      {MakeRepertory(3, "CALM2009", "Almanacum 2009 concepts"),
                       MakeRepertory(4, "ALM90", "Almanacum 9.0"),
                       MakeRepertory(7, "SALM2009", "Almanacum 2009"),
                       MakeRepertory(12, "SALM92", "Almanacum 92")});
    DbTerminate("A-Mantrel");
  }

  std::string Catalogue() { return (root_ / "system" / "catalog").string(); }

  // Runs mantrel in bin with the words and the script; answers its exit
  // status and fills err_ with what it wrote on standard error.
  int Run(const std::string &args, const std::string &script) {
    std::ofstream(root_ / "script.txt") << script;
    std::string cmd = "cd '" + (root_ / "bin").string() +
                      "' && MANTREL_UI=scripted MANTREL_SCRIPT='" +
                      (root_ / "script.txt").string() + "' '" +
                      MANTREL_BIN_DIR + "/mantrel' " + args +
                      " </dev/null >/dev/null 2>'" + (root_ / "err").string() +
                      "'";
    int status = RunCommand(cmd);
    err_ = Slurp("err");
    return status;
  }

  std::string SymptomPath(uint16_t id) {
    EXPECT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    Catalog c = StoredCatalogEntry(Catalogue().c_str(), 1, id);
    DbTerminate("A-Mantrel");
    return c.RepertoryBlock.Paths[kCatSymptom];
  }

  std::string err_;
};

TEST_F(VerbTest, RunVerbChoosesAnEligibleEditionByItsRowText) {
  // Rows: SALM2009 (id 7, configured), then SALM92 (id 12); the old and
  // the concept editions are not offered. An empty log to run:
  ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
  TblHandle log = TblCreateRlog((root_ / "log" / "mylog").c_str(), 0, 1, 3);
  ASSERT_NE(log, 0);
  DbCloseFile(log);
  DbTerminate("A-Mantrel");
  // The silent backup before the run needs the copy program.
  fs::create_directories(root_ / "bin" / "backup");
  fs::copy_file(std::string(MANTREL_BIN_DIR) + "/orvcopy",
                root_ / "bin" / "backup" / "setup.exe");
  // The editions have no tables here: the run cannot start, and the exit
  // status says so.
  EXPECT_EQ(Run("'/RUN' '..\\log\\mylog' 2", "select 5 1\nclick 1\n"), 1);
  // The run went to the second row's edition: it keeps that repertory's
  // own log, named by its abbreviation, which it opens first.
  EXPECT_TRUE(fs::exists(root_ / "log" / "SALM92.dat")) << err_;
  EXPECT_FALSE(fs::exists(root_ / "log" / "SALM2009.dat")) << err_;
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
}

TEST_F(VerbTest, RunVerbCancelEndsTheProcessWithoutARun) {
  EXPECT_EQ(Run("'/RUN' '..\\log\\mylog' 1", "answer ok\nclick 2\n"), 0);
  EXPECT_THAT(err_, Not(HasSubstr("not available")));
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
}

TEST_F(VerbTest, AQuitEndsTheSessionAsTheMenusExitDoes) {
  // Even with the chooser up at the start. The message table open since
  // then is closed on the way out: the leak check of the sanitizer build
  // fails the process otherwise.
  EXPECT_EQ(Run("", "quit\n"), 0) << err_;
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
}

TEST_F(VerbTest, NetworkBaseMustBeAnExistingFolder) {
  ASSERT_EQ(Run("", ""), 0); // a first start writes the configuration
  std::string ini = SlurpFile(root_ / "bin" / "orvix.ini");
  ASSERT_THAT(ini, HasSubstr("RemedyCatalogName=..\\system\\remed"));

  EXPECT_EQ(Run("nosuchbase", ""), 0);
  EXPECT_THAT(err_,
              HasSubstr("The network base NOSUCHBASE is no existing folder"));
  EXPECT_EQ(SlurpFile(root_ / "bin" / "orvix.ini"), ini);
  EXPECT_EQ(SymptomPath(7), "..\\data\\SALM2009\\symptom");

  // A folder of that name, found without regard to case, is taken.
  fs::create_directories(root_ / "bin" / "netbase");
  EXPECT_EQ(Run("netbase", ""), 0);
  EXPECT_THAT(err_, Not(HasSubstr("error")));
  EXPECT_THAT(SlurpFile(root_ / "bin" / "orvix.ini"),
              HasSubstr("RemedyCatalogName=NETBASE\\system\\remed"));
  EXPECT_EQ(SymptomPath(7), "NETBASE\\data\\SALM2009\\symptom");
}

TEST_F(VerbTest, AbsoluteFolderIsANetworkBaseToo) {
  fs::create_directories(root_ / "shared");
  std::string base = (root_ / "shared").string();
  EXPECT_EQ(Run("'" + base + "'", ""), 0);
  std::string upper = base;
  std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
  EXPECT_EQ(SymptomPath(12), upper + "\\data\\SALM92\\symptom");
}

} // namespace
