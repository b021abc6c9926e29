// Repair of cases files through text: what the clamp and the recount put
// right, what is kept when records are damaged, the branch of the older
// tools' script, and a repair killed at random points.
#include "platform/files.h"
#include "platform/profile.h"
#include "repair/cases.h"
#include "repair_support.h"

#include <chrono>
#include <csignal>
#include <random>
#include <sstream>

namespace {

using ::testing::HasSubstr;

using namespace repair_test;

struct Row {
  uint16_t CaseId;
  uint8_t Clip;
  uint16_t Entry;
  uint8_t Byte11 = 1, Byte13 = 'A', Byte14 = 2;
  std::vector<Cas2Symptom> Remedies = {};
};
struct Case {
  uint16_t Id;
  std::string Name;
  uint16_t Status = 0;
  std::vector<uint16_t> Counts; // as stored, right or wrong
};

void MakeCases(const char *path, const std::vector<Case> &cases,
               const std::vector<Row> &rows) {
  TblHandle h1 = TblCreateCas1(path, 1, 1);
  TblHandle h2 = TblCreateCas2(path, 1, 1);
  ASSERT_NE(h1, 0);
  ASSERT_NE(h2, 0);
  static Cas1 head;
  static Cas2 line;
  head.CursorState = line.CursorState = 0xFF;
  for (const Case &c : cases) {
    TblClearCas1(&head);
    head.CaseId = c.Id;
    head.Status = c.Status;
    head.Created = 734000 + c.Id;
    head.Changed = 735000 + c.Id;
    StrCopy(head.Name, c.Name.c_str());
    StrFormat(head.Comment, "Comment of %s", c.Name.c_str());
    StrCopy(head.Texts[0], "First");
    for (size_t i = 0; i < c.Counts.size() && i < 10; ++i)
      head.Values[i] = c.Counts[i];
    ASSERT_EQ(TblSaveCas1(h1, &head, kSaveAdd), 0) << c.Name;
  }
  for (const Row &r : rows) {
    TblClearCas2(&line);
    line.CaseId = r.CaseId;
    line.Sequence = r.Clip;
    line.Entry = r.Entry;
    line.Byte11 = r.Byte11;
    line.Byte12 = 1;
    line.Byte13 = r.Byte13;
    line.Byte14 = r.Byte14;
    line.Value8 = 1000 + r.Entry;
    StrFormat(line.Text1, "Mind - row %u of case %u", r.Entry, r.CaseId);
    StrCopy(line.Text2, "Psychisme - ligne");
    TblFreeCas2Symptoms(&line);
    line.Symptoms =
        TblAllocCas2Symptoms(static_cast<int>(r.Remedies.size()) + 1);
    for (size_t i = 0; i < r.Remedies.size(); ++i)
      line.Symptoms[i] = r.Remedies[i];
    ASSERT_EQ(TblSaveCas2(h2, &line, kSaveAdd), 0);
  }
  TblFreeCas2Symptoms(&line);
  DbCloseFile(h2);
  DbCloseFile(h1);
}

// Every record of a cases file as one sorted list of lines, read from the
// data files alone.
std::vector<std::string> Contents(const char *path) {
  std::vector<std::string> out;
  static Cas1 head;
  static Cas2 line;
  head.CursorState = line.CursorState = 0xFF;
  TblHandle h1 = TblOpenCas1(path, 1, 0);
  if (h1 != 0) {
    TblClearCas1(&head);
    for (int rc = TblFindFullCas1(h1, &head, -1, kFindFirst); rc == 0;
         rc = TblFindFullCas1(h1, &head, -1, kFindNext)) {
      // A stream, not "literal + string": GCC 12 at -O3 flags those
      // inlined copies with a false -Wrestrict.
      std::ostringstream s;
      s << "case " << head.CaseId << ' ' << head.Name;
      for (uint16_t v : head.Values)
        s << ' ' << v;
      out.push_back(s.str());
    }
    DbCloseFile(h1);
  }
  TblHandle h2 = TblOpenCas2(path, 1, 0);
  if (h2 != 0) {
    TblClearCas2(&line);
    for (int rc = TblFindFullCas2(h2, &line, -1, kFindFirst); rc == 0;
         rc = TblFindFullCas2(h2, &line, -1, kFindNext)) {
      std::ostringstream s;
      s << "row " << line.CaseId << ' ' << +line.Sequence << ' ' << line.Entry
        << ' ' << +line.Byte11 << ' ' << +line.Byte13 << ' ' << +line.Byte14
        << ' ' << line.Text1;
      for (int i = 0; line.Symptoms != nullptr &&
                      TblIsLastCas2SymptomRemed(&line.Symptoms[i]) != 2;
           ++i)
        s << ' ' << line.Symptoms[i].Value << '/' << line.Symptoms[i].Author;
      out.push_back(s.str());
    }
    TblFreeCas2Symptoms(&line);
    DbCloseFile(h2);
  }
  std::sort(out.begin(), out.end());
  return out;
}

const char *kTest = "..\\cases\\test";

// The wall time a call takes, in seconds.
template <class F> double SecondsOf(F call) {
  auto t0 = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0)
      .count();
}

class CasesRepairTest : public RepairDemoTest {
protected:
  void Repair(const char *base = kTest) {
    long total = DownloadCases(base, kCasesWorkName);
    UploadCases(base, kCasesWorkName, total);
  }
  std::string Report() { return SlurpFile(root_ / "cases" / "caserep.txt"); }
};

TEST_F(CasesRepairTest, ClampRecountAndReportCaseByCase) {
  Start();
  MakeCases(kTest,
            {{1, "Alpha", 0, {5, 0, 0}},
             {2, "", 0, {1}},
             {3, "Gamma", 1, {1}},
             {4, "Delta", 0, {}}},
            {{1, 0, 1, 16, '1', 0xFF, {{12, 1, 3}}},
             {1, 0, 2, 1, 'b', 10, {{13, 20000, 2}, {14, 20001, 1}}},
             {1, 2, 1},
             {2, 0, 1},
             {3, 0, 1},
             {4, 9, 1}});
  Repair();
  EXPECT_TRUE(CasesCounts.Replaced);
  EXPECT_EQ(CasesCounts.CasesDumped, 2);
  EXPECT_EQ(CasesCounts.SymptomsDumped, 6);
  EXPECT_EQ(CasesCounts.Clamped, 3);

  auto got = Contents(kTest);
  // The nameless and the deleted case are gone, their rows stay; the
  // counts follow the rows, clipboard by clipboard.
  std::vector<std::string> want = {
      "case 1 Alpha 2 0 1 0 0 0 0 0 0 0",
      "case 4 Delta 0 0 0 0 0 0 0 0 0 1",
      "row 1 0 1 1 0 1 Mind - row 1 of case 1 12/1",
      "row 1 0 2 1 98 10 Mind - row 2 of case 1 13/20000 14/444",
      "row 1 2 1 1 65 2 Mind - row 1 of case 1",
      "row 2 0 1 1 65 2 Mind - row 1 of case 2",
      "row 3 0 1 1 65 2 Mind - row 1 of case 3",
      "row 4 9 1 1 65 2 Mind - row 1 of case 4"};
  EXPECT_EQ(got, want);

  std::string report = Report();
  EXPECT_THAT(report,
              HasSubstr("Case Alpha                : Clipboard  1 : Number of "
                        "symptoms changed: 2 (instead of 5)"));
  EXPECT_THAT(report,
              HasSubstr("Case Alpha                : Clipboard  3 : Number of "
                        "symptoms changed: 1 (instead of 0)"));
  EXPECT_THAT(report, HasSubstr("Case Delta                : Clipboard 10 :"));
  EXPECT_THAT(report,
              HasSubstr("Case     1 : Clipboard  1 : Place   1 : Byte11 was "
                        "16, written as 1"));
  EXPECT_THAT(report, HasSubstr("Byte13 was 49, written as 0"));
  EXPECT_THAT(report, HasSubstr("Byte14 was -1, written as 1"));
  // The date in its fixed form: "2026-11-23 19:40:02".
  const std::string on = "..\\cases\\test has been repaired on ";
  size_t at = report.find(on);
  ASSERT_NE(at, std::string::npos) << report;
  std::string date = report.substr(at + on.size(), 19);
  ASSERT_EQ(date.size(), 19u);
  for (size_t i = 0; i < date.size(); ++i)
    EXPECT_TRUE(i == 4 || i == 7 ? date[i] == '-'
                : i == 10        ? date[i] == ' '
                : i == 13 || i == 16
                    ? date[i] == ':'
                    : isdigit(static_cast<unsigned char>(date[i])))
        << date;
  EXPECT_THAT(report,
              HasSubstr("Number of cases:                2 (2 key entries)"));
  // The old files were backed up first, under the file's stem.
  int backups = 0;
  for (auto &e : fs::directory_iterator(root_ / "backup"))
    if (e.path().filename().string().rfind("test_", 0) == 0)
      ++backups;
  EXPECT_EQ(backups, 4);
  // The new tables are whole, indexes included.
  EXPECT_EQ(Tbltool("check", "cas1", kTest), 0);
  EXPECT_EQ(Tbltool("check", "cas2", kTest), 0);
  EXPECT_FALSE(fs::exists(root_ / "cases" / "test.swp"));
}

TEST_F(CasesRepairTest, TheDemoCasesComeBackAsTheyWere) {
  Start();
  auto before = Contents("..\\cases\\repert");
  Repair("..\\cases\\repert");
  EXPECT_TRUE(CasesCounts.Replaced);
  EXPECT_EQ(CasesCounts.Recounted, 0);
  EXPECT_EQ(Contents("..\\cases\\repert"), before);
  // The dump stays beside the work name.
  std::string dump = SlurpFile(root_ / "cases" / "casetmp1.txt");
  EXPECT_EQ(Occurrences(dump, "\n"), 4u);
  EXPECT_THAT(dump, HasSubstr("Anne M., migraine|1|"));
}

TEST_F(CasesRepairTest, DamagedRecordIsSteppedOverAndTheRestKept) {
  Start();
  std::vector<Case> cases;
  std::vector<Row> rows;
  for (uint16_t i = 1; i <= 40; ++i) {
    char name[32];
    StrFormat(name, "Case number %02u", i);
    cases.push_back({i, name, 0, {2}});
    rows.push_back({i, 0, 1});
    rows.push_back({i, 0, 2});
  }
  MakeCases(kTest, cases, rows);
  // A byte of case 20's frame goes wrong; the index stays good.
  std::string da1 = SlurpFile(root_ / "cases" / "test.da1");
  size_t at = da1.find("Case number 20");
  ASSERT_NE(at, std::string::npos);
  da1[at + 3] ^= 0x20;
  std::ofstream(root_ / "cases" / "test.da1", std::ios::binary) << da1;

  Repair();
  EXPECT_EQ(CasesCounts.Damaged, 1);
  EXPECT_EQ(CasesCounts.CasesDumped, 39);
  EXPECT_TRUE(CasesCounts.Replaced);
  auto got = Contents(kTest);
  EXPECT_EQ(std::count_if(
                got.begin(), got.end(),
                [](const std::string &s) { return s.rfind("case ", 0) == 0; }),
            39);
  EXPECT_EQ(got.size(), 39u + 80u);
  EXPECT_THAT(Report(), HasSubstr("A damaged case record is stepped over"));
  EXPECT_THAT(Report(), HasSubstr("Damaged records stepped over: 1"));
}

TEST_F(CasesRepairTest, NewTablesThatLackRecordsNeverReplaceTheOld) {
  Start();
  // Nothing escapes a bar: both names end their field early, both cases
  // come back as number 0, and the second can't be added.
  MakeCases(kTest, {{1, "Anne|x", 0, {1}}, {2, "Paul|y", 0, {1}}},
            {{1, 0, 1}, {2, 0, 1}});
  std::string da1 = SlurpFile(root_ / "cases" / "test.da1");
  std::string da2 = SlurpFile(root_ / "cases" / "test.da2");
  Script("answer ok\n");
  Repair();
  EXPECT_FALSE(CasesCounts.Replaced);
  EXPECT_EQ(CasesCounts.CasesRead, 2);
  EXPECT_EQ(CasesCounts.Cas1Entries, 1);
  EXPECT_EQ(SlurpFile(root_ / "cases" / "test.da1"), da1);
  EXPECT_EQ(SlurpFile(root_ / "cases" / "test.da2"), da2);
  EXPECT_THAT(Report(), HasSubstr("the old files are kept"));
  EXPECT_FALSE(fs::exists(root_ / "cases" / "casetmp.da1"));

  // A dump of an earlier repair is never loaded for a file that can't be
  // read at all.
  Repair("..\\cases\\repert");
  ASSERT_TRUE(fs::exists(root_ / "cases" / "casetmp1.txt"));
  Repair("..\\cases\\nothing");
  EXPECT_FALSE(CasesCounts.Replaced);
  EXPECT_FALSE(fs::exists(root_ / "cases" / "nothing.da1"));
}

TEST_F(CasesRepairTest, OlderToolsScriptIsStartedAndWaitedForWithABound) {
  Start();
  MakeCases(kTest, {{1, "Alpha", 0, {3}}}, {{1, 0, 1}});
  ASSERT_NE(WritePrivateProfileStringA("System section", "RebuildVersion8", "1",
                                       IniFileName),
            0);
  // The script of the test: notes its argument, leaves the marker.
  std::ofstream("caserep8.bat")
      << "printf '%s\\n' \"$1\" > arg.txt\ntouch caserep.ok\n";
  Repair();
  EXPECT_EQ(SlurpFile("arg.txt"), "..\\cases\\casedbr\n");
  std::string report = Report();
  EXPECT_THAT(report, HasSubstr("REBUILD WITH VERSION 8 TOOLS"));
  EXPECT_THAT(report,
              HasSubstr("Copy ..\\cases\\test.da1 on ..\\cases\\casedbr.da1"));
  EXPECT_THAT(
      report,
      HasSubstr("Re-Copy ..\\cases\\casedbr.da1 on ..\\cases\\test.da1"));
  EXPECT_FALSE(fs::exists(root_ / "cases" / "casedbr.da1"));
  EXPECT_TRUE(CasesCounts.Replaced);
  EXPECT_EQ(Contents(kTest)[0], "case 1 Alpha 1 0 0 0 0 0 0 0 0 0");

  // A script that never leaves its marker is waited for a bounded time.
  std::ofstream("caserep8.bat") << "exit 0\n";
  CasesScriptWaitSeconds = 1;
  Script("answer ok\n");
  double waited = SecondsOf([&] { Repair(); });
  CasesScriptWaitSeconds = 600;
  EXPECT_LT(waited, 10.0);
  EXPECT_THAT(Report(), HasSubstr("did not finish"));
  EXPECT_TRUE(CasesCounts.Replaced);
  EXPECT_FALSE(fs::exists(root_ / "cases" / "casedbr.da1"));

  // No script at all: told at once, and the repair goes on.
  fs::remove("caserep8.bat");
  Script("answer ok\n");
  EXPECT_LT(SecondsOf([&] { Repair(); }), 5.0);
  EXPECT_TRUE(CasesCounts.Replaced);
}

TEST_F(CasesRepairTest, FrontAsksFirstAndTellsTheEnd) {
  Start();
  Script("answer no\n");
  RepairCasesFile("repert");
  EXPECT_FALSE(fs::exists(root_ / "cases" / "caserep.txt"));
  Script("answer yes\nanswer ok\n");
  RepairCasesFile("repert");
  EXPECT_THAT(Report(), HasSubstr("------------- repert has been repaired on"));
  EXPECT_TRUE(CasesCounts.Replaced);
}

// ---------------------------------------------------------------- killed

TEST_F(CasesRepairTest, KilledAtRandomPointsLeavesTheOldFilesOrTheNew) {
  Start();
  std::vector<Case> cases;
  std::vector<Row> rows;
  for (uint16_t i = 1; i <= 1500; ++i) {
    char name[32];
    StrFormat(name, "Patient %04u", i);
    // Every tenth case is deleted; every count is one too many.
    cases.push_back({i, name, static_cast<uint16_t>(i % 10 == 0), {7}});
    for (uint16_t e = 1; e <= 6; ++e)
      rows.push_back({i, 0, e, static_cast<uint8_t>(e == 3 ? 16 : 1)});
  }
  MakeCases(kTest, cases, rows);
  const auto old = Contents(kTest);
  Stop();
  fs::path dir = root_ / "cases";
  fs::path keep = root_.parent_path() / "keep";
  fs::create_directories(keep);
  for (const char *ext : {".da1", ".da2", ".id1", ".id2"})
    fs::copy_file(dir / (std::string("test") + ext),
                  keep / (std::string("test") + ext));
  auto restore = [&] {
    for (auto &e : fs::directory_iterator(dir)) {
      std::string n = e.path().filename().string();
      if (n.rfind("test", 0) == 0 || n.rfind("casetmp", 0) == 0)
        fs::remove(e.path());
    }
    for (const char *ext : {".da1", ".da2", ".id1", ".id2"})
      fs::copy_file(keep / (std::string("test") + ext),
                    dir / (std::string("test") + ext));
  };
  // The repair in a child; the parent kills it after `delay` (-1: never).
  auto repairInChild = [&](long delayUs) {
    pid_t pid = fork();
    if (pid == 0) {
      if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
        _exit(2);
      MsgTable = MsgOpen(MessageCatalogName, 1, 1);
      long total = DownloadCases(kTest, kCasesWorkName);
      UploadCases(kTest, kCasesWorkName, total);
      _exit(CasesCounts.Replaced ? 0 : 3);
    }
    if (delayUs >= 0) {
      usleep(static_cast<useconds_t>(delayUs));
      kill(pid, SIGKILL);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
  };

  int status = 0;
  long whole =
      static_cast<long>(1e6 * SecondsOf([&] { status = repairInChild(-1); }));
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
  const auto fresh = Contents(kTest);
  DbTerminate("A-Mantrel");
  ASSERT_NE(fresh, old);

  std::mt19937 rng(20261123);
  // A machine under load runs the child slower than the timing above: while
  // one outcome is still unseen, more rounds follow, their kills spread later.
  int sawOld = 0, sawNew = 0;
  for (int round = 0;
       round < 30 || ((sawOld == 0 || sawNew == 0) && round < 90); ++round) {
    restore();
    long spread = whole + whole / 4 + whole * (round / 10) / 2;
    long delay = std::uniform_int_distribution<long>(0, spread)(rng);
    repairInChild(delay);
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    CasesFinishSwap(kTest);
    auto now = Contents(kTest);
    // The index files belong to the data files they stand beside.
    for (TblHandle h : {TblOpenCas1(kTest, 1, 1), TblOpenCas2(kTest, 1, 1)}) {
      EXPECT_NE(h, 0) << "round " << round << " delay " << delay;
      if (h != 0)
        DbCloseFile(h);
    }
    DbTerminate("A-Mantrel");
    if (now == old)
      ++sawOld;
    else if (now == fresh)
      ++sawNew;
    else
      ADD_FAILURE() << "a mixture after a kill at " << delay << " us of "
                    << whole;
  }
  EXPECT_GT(sawOld, 0);
  EXPECT_GT(sawNew, 0);
}

} // namespace
