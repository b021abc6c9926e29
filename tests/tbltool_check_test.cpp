// check, rebuild and stat on sound and broken tables, through the library
// and through the tbltool executable as an installer would run it.
#include "store_fixture.h"
#include "tbljson.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace {

class TbltoolCheck : public StoreTest {
protected:
  // A small symptom tree: two chapters, three children, one grandchild.
  void MakeTree(const char *path) {
    TblHandle h = TblCreateSymptom(path, 1, 1);
    ASSERT_NE(h, 0);
    Symptom rows[] = {
        MakeSymptom(1, 0, 0, 0, "Geist", 11),
        MakeSymptom(1, 1, 1, 0, "Angst", 12),
        MakeSymptom(1, 2, 1, 1, "Angst nachts", 13),
        MakeSymptom(1, 3, 1, 0, "Zorn", 14),
        MakeSymptom(2, 0, 0, 0, "Kopf", 15),
        MakeSymptom(2, 1, 2, 0, "Angst", 16),
    };
    for (Symptom &s : rows) {
      s.Remedies = TblAllocSymptomRemed(2);
      s.Remedies[0] = SymptomRemedy{7, 2, 3, 0};
      ASSERT_EQ(TblSaveSymptom(h, &s, kSaveAdd), 0);
      TblFreeSymptomRemed(&s);
    }
    ASSERT_EQ(DbCloseFile(h), 0);
  }
  long Check(const char *path, std::string *report = nullptr) {
    long faults = -1;
    std::string text = Captured([&](FILE *out) {
      EXPECT_EQ(TjCheck(TjFindFamily("symptom"), path, out, &faults), 0);
    });
    if (report != nullptr)
      *report = text;
    return faults;
  }
  // Flips one byte of a file inside the first occurrence of `near`.
  void Spoil(const std::string &file, const std::string &near) {
    std::string bytes = Slurp(file);
    size_t at = bytes.find(near);
    ASSERT_NE(at, std::string::npos);
    bytes[at] = static_cast<char>(bytes[at] ^ 0x20);
    Spit(file, bytes);
  }
};

TEST_F(TbltoolCheck, SoundTablePassesBrokenIndexFailsUntilRebuilt) {
  MakeTree("sym");
  std::string report;
  EXPECT_EQ(Check("sym", &report), 0) << report;

  std::filesystem::remove(root_ / "sym.idx");
  EXPECT_GT(Check("sym", &report), 0);
  EXPECT_NE(report.find("(14)"), std::string::npos) << report;
  EXPECT_NE(report.find("holds 6 records"), std::string::npos) << report;

  ASSERT_EQ(TjRebuild(TjFindFamily("symptom"), "sym"), 0);
  EXPECT_EQ(Check("sym", &report), 0) << report;

  // An index whose bytes were changed is refused as well.
  std::string idx = Slurp("sym.idx");
  ASSERT_GT(idx.size(), 200u);
  idx[idx.size() / 2] = static_cast<char>(idx[idx.size() / 2] ^ 0x01);
  Spit("sym.idx", idx);
  EXPECT_GT(Check("sym", &report), 0);
  ASSERT_EQ(TjRebuild(TjFindFamily("symptom"), "sym"), 0);
  EXPECT_EQ(Check("sym", &report), 0) << report;

  EXPECT_EQ(Check("nothing", &report), 1);
  EXPECT_NE(report.find("(12)"), std::string::npos) << report;
}

// A record whose bytes changed under a valid index: the walks cannot read
// it and the data file alone holds one record fewer than the index.
TEST_F(TbltoolCheck, DamagedRecordIsFoundByTheWalks) {
  MakeTree("sym");
  Spoil("sym.dat", "Zorn");
  std::string report;
  EXPECT_GT(Check("sym", &report), 0);
  EXPECT_NE(report.find("stopped"), std::string::npos) << report;
  EXPECT_NE(report.find("sequential walk: 5 records, but the index counts 6"),
            std::string::npos)
      << report;
  // The rebuild drops what it cannot read; the rest checks out.
  ASSERT_EQ(TjRebuild(TjFindFamily("symptom"), "sym"), 0);
  EXPECT_EQ(Check("sym", &report), 0) << report;
}

TEST_F(TbltoolCheck, DumpReadsInFileOrderWhenTheIndexIsGone) {
  MakeTree("sym");
  std::filesystem::remove(root_ / "sym.idx");
  std::string note,
      text = Captured([&](FILE *out) {
        note = Captured([&](FILE *notes) {
          EXPECT_EQ(TjDump(TjFindFamily("symptom"), "sym", out, notes), 0);
        });
      });
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);
  EXPECT_NE(text.find("\"Text1\":\"Angst nachts\""), std::string::npos);
  EXPECT_NE(note.find("rebuild"), std::string::npos) << note;
  EXPECT_FALSE(std::filesystem::exists(root_ / "sym.idx"));
}

TEST_F(TbltoolCheck, StatCountsEntriesAndDistinctKeys) {
  MakeTree("sym");
  std::string text = Captured([](FILE *out) {
    EXPECT_EQ(TjStat(TjFindFamily("symptom"), "sym", out), 0);
  });
  EXPECT_NE(text.find("entries  6\n"), std::string::npos) << text;
  EXPECT_NE(text.find("bytes"), std::string::npos) << text;
  // Key 1 is (parent, text): "Angst" under two parents stays two values;
  // key 2 is (Num2, Sub2), all zero here.
  EXPECT_NE(text.find("key 1    6 distinct"), std::string::npos) << text;
  EXPECT_NE(text.find("key 2    1 distinct"), std::string::npos) << text;
  EXPECT_NE(text.find("key 8    6 distinct"), std::string::npos) << text;
}

// ---------------------------------------------------------------- the tool

std::string Tool() {
  return std::string(MANTREL_BIN_DIR) + "/tbltool";
}

// Runs a shell command in the current folder; answers the exit status and
// the standard output.
int Shell(const std::string &cmd, std::string *out = nullptr) {
  FILE *p = popen(cmd.c_str(), "r");
  if (p == nullptr)
    return -1;
  std::string s;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0)
    s.append(buf, n);
  int status = pclose(p);
  if (out != nullptr)
    *out = s;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(TbltoolCheck, ToolRoundTripsAndReportsThroughItsExitCode) {
  if (!std::filesystem::exists(Tool()))
    GTEST_SKIP() << Tool() << " is not built; build the target tbltool";
  // Lines in the dump's own form: the output must equal them byte for byte.
  const std::string lines =
      "{\"Status\":0,\"Id\":1,\"ReplacedBy\":2,\"Date\":40000,"
      "\"Comment\":\"Gel\xc3\xb6scht \\u0001 \\\"alt\\\"\"}\n"
      "{\"Status\":0,\"Id\":7,\"ReplacedBy\":0,\"Date\":0,\"Comment\":\"\"}\n";
  Spit("in.jsonl", lines);
  ASSERT_EQ(Shell(Tool() + " load histoid Hist in.jsonl"), 0);
  std::string out;
  ASSERT_EQ(Shell(Tool() + " dump HISTOID hist", &out), 0);
  EXPECT_EQ(out, lines);
  EXPECT_EQ(Shell(Tool() + " check histoid hist", &out), 0) << out;

  std::filesystem::remove(root_ / "Hist.idx");
  EXPECT_EQ(Shell(Tool() + " check histoid Hist", &out), 1);
  EXPECT_NE(out.find("fault:"), std::string::npos) << out;
  EXPECT_EQ(Shell(Tool() + " rebuild histoid Hist"), 0);
  EXPECT_EQ(Shell(Tool() + " check histoid Hist", &out), 0) << out;
  EXPECT_EQ(Shell(Tool() + " stat histoid Hist", &out), 0);
  EXPECT_NE(out.find("entries  2"), std::string::npos) << out;

  // A faulty line on standard input: exit 1, the reason, and no table.
  EXPECT_EQ(Shell("printf '{\"Id\":1}\\n{\"Id\":2,\"Note\":1}\\n' | " + Tool() +
                      " load histoid other 2>&1",
                  &out),
            1);
  EXPECT_NE(out.find("line 2:"), std::string::npos) << out;
  EXPECT_FALSE(std::filesystem::exists(root_ / "other.dat"));

  EXPECT_EQ(Shell(Tool() + " dump nosuchkind hist 2>/dev/null"), 2);
  EXPECT_EQ(Shell(Tool() + " frobnicate histoid hist 2>/dev/null"), 2);
  EXPECT_EQ(Shell(Tool() + " dump histoid missing 2>/dev/null"), 1);
}

} // namespace
