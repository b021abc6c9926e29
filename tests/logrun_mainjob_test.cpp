// The main job end to end: a fresh demonstration installation, the program
// run as an installer's batch would run it ("/RUN ..\log\sample 1", no one
// watching), and what it leaves: the four reports agreeing with the
// statistics, the own log grown by the applied entries, the log moved to
// the done folder, a repertory that still verifies, and the same reports
// from a second run on a second fresh installation.
#include "platform/strutil.h"
#include "store/store.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

int CountPrefix(const std::string &text, const std::string &prefix) {
  int n = 0;
  for (const std::string &l : TextLines(text))
    if (l.rfind(prefix, 0) == 0)
      ++n;
  return n;
}

// The main job, from the installation's bin folder.
int RunMainJob(const fs::path &demo) {
  return RunCommand("cd \"" + (demo / "bin").string() +
                    "\" && env -u MANTREL_SCRIPT MANTREL_UI=scripted "
                    "MANTREL_VIEWER=true \"" +
                    MANTREL_BIN_DIR + "/mantrel\" /RUN '..\\log\\sample' 1 " +
                    ">/dev/null 2>&1 </dev/null");
}

// One row of the statistics: read, done, errors, warnings.
struct Counts {
  long read = -1, done = -1, errors = -1, warnings = -1;
};

// The statistics rows by name, in their order.
std::vector<std::pair<std::string, Counts>> Statistics(const std::string &rpt) {
  std::vector<std::pair<std::string, Counts>> rows;
  for (const std::string &l : TextLines(rpt)) {
    size_t tab = l.find('\t');
    if (tab == std::string::npos)
      continue;
    std::string name = l.substr(0, tab);
    while (!name.empty() && name.back() == ' ')
      name.pop_back();
    if (name.empty())
      continue; // the heading
    Counts c;
    if (sscanf(l.c_str() + tab, "%ld %ld %ld %ld", &c.read, &c.done, &c.errors,
               &c.warnings) == 4)
      rows.emplace_back(name, c);
  }
  return rows;
}

// The entries of a log table, through the store.
struct Entry {
  int32_t number;
  uint16_t operation;
  uint32_t date, time;
};
std::vector<Entry> ReadLog(const char *path) {
  std::vector<Entry> out;
  TblHandle h = TblOpenRlog(path, 0, 1);
  if (OrvixError != 0 || h == 0)
    return out;
  std::vector<char> text(kLogTextSize + 1, '\0');
  LogEntry e;
  memset(&e, 0, sizeof e);
  e.text = text.data();
  int rc = TblFindFullRlog(h, &e, 0, kFindFirst);
  while (rc == 0 && OrvixError == 0) {
    out.push_back({e.number, e.operation, e.date, e.time});
    rc = TblFindFullRlog(h, &e, 0, kFindNext);
  }
  DbCloseFile(h);
  return out;
}

// Blocks of a report whose operation line names `operation`.
int BlocksOf(const std::string &text, const std::string &operation) {
  int n = 0;
  for (const std::string &l : TextLines(text))
    if (l == "Operation: " + operation)
      ++n;
  return n;
}

class MainJobTest : public FolderTest {
protected:
  MainJobTest() : FolderTest("mainjob") {}
};

TEST_F(MainJobTest, RunOnTheDemoAgreesWithItsStatisticsAndRepeats) {
  const fs::path demo = root_ / "one";
  ASSERT_EQ(BuildDemo(demo), 0) << "mkdemo failed";
  const fs::path log = demo / "log";
  ASSERT_TRUE(fs::exists(log / "sample.dat"));

  // The own log before the run, through the store.
  Enter("one/bin");
  ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
  std::vector<Entry> ownBefore = ReadLog("..\\log\\SALM2009");
  std::vector<Entry> sample = ReadLog("..\\log\\sample");
  DbTerminate("A-Mantrel");
  ASSERT_FALSE(sample.empty());
  ASSERT_FALSE(ownBefore.empty()); // the demo's own log has its history

  ASSERT_EQ(RunMainJob(demo), 0);

  // The statistics: every row and the total.
  std::string rpt = SlurpFile(log / "sample.rpt");
  auto stats = Statistics(rpt);
  ASSERT_FALSE(stats.empty()) << rpt;
  ASSERT_EQ(stats.back().first, "Total") << rpt;
  const Counts total = stats.back().second;
  EXPECT_EQ(total.read, static_cast<long>(sample.size()));
  Counts sum{0, 0, 0, 0};
  for (size_t i = 0; i + 1 < stats.size(); ++i) {
    sum.read += stats[i].second.read;
    sum.done += stats[i].second.done;
    sum.errors += stats[i].second.errors;
    sum.warnings += stats[i].second.warnings;
  }
  EXPECT_EQ(sum.read, total.read);
  EXPECT_EQ(sum.done, total.done);
  EXPECT_EQ(sum.errors, total.errors);
  EXPECT_EQ(sum.warnings, total.warnings);

  std::string edt = SlurpFile(log / "sample.edt");
  std::string err = SlurpFile(log / "sample.err");
  std::string txt = SlurpFile(log / "sample.txt");

  // A symptom deletion whose handler fails counts as done but is no
  // success: it has its block in the errors file and stands in the text
  // log. (One that the check before the handler refuses counts as an
  // error.)
  Counts deletions{0, 0, 0, 0};
  for (const auto &[name, c] : stats)
    if (name == "Delete symptom")
      deletions = c;
  const int failedDeletions =
      static_cast<int>(deletions.done) - BlocksOf(edt, "Delete symptom");
  const int applied = CountPrefix(edt, "Operation done");
  // A move, split or merge reports what fails inside it under its own
  // number: blocks of entries that were applied are such reports.
  std::set<int32_t> appliedSet;
  for (const std::string &l : TextLines(edt)) {
    int32_t n;
    if (sscanf(l.c_str(), "Log entry number: %d", &n) == 1)
      appliedSet.insert(n);
  }
  int nestedBlocks = 0;
  for (const std::string &l : TextLines(err)) {
    int32_t n;
    if (sscanf(l.c_str(), "Log entry number: %d", &n) == 1 &&
        appliedSet.count(n) != 0)
      ++nestedBlocks;
  }
  EXPECT_GT(applied, 0); // the sample has entries that apply and some that
  EXPECT_GT(total.errors + total.warnings, 0); // do not
  EXPECT_EQ(applied + failedDeletions, total.done) << edt;
  EXPECT_EQ(CountPrefix(edt, "Log entry number:"), applied);
  const int errBlocks =
      CountPrefix(err, "Error: ") + CountPrefix(err, "Warning: ");
  EXPECT_EQ(errBlocks - nestedBlocks,
            total.errors + total.warnings + failedDeletions)
      << err;
  EXPECT_EQ(CountPrefix(err, "Log entry number:"), errBlocks);
  // The text log: one footer for each entry not applied.
  EXPECT_EQ(CountPrefix(txt, "Log entry number:"),
            total.errors + total.warnings + failedDeletions)
      << txt;
  // Every entry read is either applied or stands in the text log.
  EXPECT_EQ(applied + CountPrefix(txt, "Log entry number:"), total.read);

  // The log has moved to the done folder.
  EXPECT_FALSE(fs::exists(log / "sample.dat"));
  EXPECT_FALSE(fs::exists(log / "sample.idx"));
  EXPECT_TRUE(fs::exists(log / "done" / "sample.dat"));
  EXPECT_TRUE(fs::exists(log / "done" / "sample.idx"));

  // The own log grew by the applied entries, numbered on from its last, and
  // they are the applied entries of the sample, in their order.
  Enter("one/bin");
  ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
  std::vector<Entry> ownAfter = ReadLog("..\\log\\SALM2009");
  DbTerminate("A-Mantrel");
  ASSERT_EQ(ownAfter.size(), ownBefore.size() + applied);
  int32_t last = ownBefore.empty() ? 0 : ownBefore.back().number;
  std::vector<int32_t> appliedNumbers;
  for (const std::string &l : TextLines(edt)) {
    int32_t n;
    if (sscanf(l.c_str(), "Log entry number: %d", &n) == 1)
      appliedNumbers.push_back(n);
  }
  ASSERT_EQ(static_cast<int>(appliedNumbers.size()), applied);
  std::map<int32_t, Entry> byNumber;
  for (const Entry &e : sample)
    byNumber[e.number] = e;
  for (size_t i = 0; i < appliedNumbers.size(); ++i) {
    const Entry &got = ownAfter[ownBefore.size() + i];
    EXPECT_EQ(got.number, last + 1 + static_cast<int32_t>(i));
    ASSERT_TRUE(byNumber.count(appliedNumbers[i]));
    const Entry &src = byNumber[appliedNumbers[i]];
    EXPECT_EQ(got.operation, src.operation) << appliedNumbers[i];
    EXPECT_EQ(got.date, src.date) << appliedNumbers[i];
    EXPECT_EQ(got.time, src.time) << appliedNumbers[i];
  }
  for (size_t i = 0; i < ownBefore.size(); ++i)
    EXPECT_EQ(ownAfter[i].number, ownBefore[i].number);

  // The repertory's tables still agree with each other.
  EXPECT_EQ(
      RunCommand("cd \"" + (demo / "bin").string() + "\" && \"" +
                 MANTREL_BIN_DIR +
                 "/tbltool\" verify '..\\data\\salm2009' >/dev/null 2>&1"),
      0);

  // A second fresh installation, the same run: the same reports, byte for
  // byte (their dates come from the log).
  const fs::path two = root_ / "two";
  ASSERT_EQ(BuildDemo(two), 0);
  ASSERT_EQ(RunMainJob(two), 0);
  for (const char *name :
       {"sample.rpt", "sample.edt", "sample.err", "sample.txt"}) {
    std::string a = SlurpFile(log / name);
    std::string b = SlurpFile(two / "log" / name);
    EXPECT_FALSE(a.empty()) << name;
    EXPECT_EQ(a, b) << name;
  }
}

} // namespace
