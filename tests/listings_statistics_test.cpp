// The statistics of a log, and the same report at the end of a run.
#include "listings_support.h"

namespace {

using ::testing::HasSubstr;

std::vector<std::string> SplitLines(const std::string &s) {
  std::vector<std::string> out;
  size_t b = 0;
  for (size_t e; (e = s.find('\n', b)) != std::string::npos; b = e + 1)
    out.push_back(s.substr(b, e - b));
  out.push_back(s.substr(b));
  return out;
}

// The numbers behind the label of a row.
std::vector<long> RowValues(const std::string &row) {
  std::vector<long> v;
  for (size_t tab = row.find('\t'); tab != std::string::npos;
       tab = row.find('\t', tab + 1))
    v.push_back(atol(row.c_str() + tab + 1));
  return v;
}

TEST_F(ListingsTest, StatisticsCountEveryOperationByLanguage) {
  MakeLog("log\\SALM", true);
  WorkRun(LogStatistics);
  std::string report = Slurp("log/SALM.rpt");
  ExpectGolden(report, "listings_statistics_en.txt");

  // The same counts, found from the entries themselves.
  long lg1[kOpRows] = {}, lg2[kOpRows] = {};
  for (const SampleEntry &s : SampleEntries()) {
    long *lg = s.fields[0] == "0" ? lg1 : lg2;
    ++lg[s.op - 1];
    ++lg[kOpTotalRow];
  }
  std::vector<std::string> lines = SplitLines(report);
  ASSERT_GE(lines.size(), 20u);
  for (int row = 0; row < kOpRows; ++row) {
    std::vector<long> v = RowValues(lines[row + 1]);
    ASSERT_EQ(v.size(), 3u) << lines[row + 1];
    EXPECT_EQ(v[0], lg1[row] + lg2[row]) << row;
    EXPECT_EQ(v[1], lg1[row]) << row;
    EXPECT_EQ(v[2], lg2[row]) << row;
    EXPECT_EQ(OpRead[row], lg1[row] + lg2[row]);
  }
  EXPECT_EQ(Viewed(1), Abs("log/SALM.rpt") + "\n");
}

TEST_F(ListingsTest, StatisticsOfAnEmptyLogAreZerosAndBareHeadings) {
  TblHandle h = TblCreateRlog("log\\SALM", 0, 1, 3);
  ASSERT_NE(h, 0);
  DbCloseFile(h);
  // What an earlier run left is not counted in.
  OpRead[3] = 7;
  MessageCount[0] = {4, 2738, 2};
  WorkRun(LogStatistics);
  std::vector<std::string> lines = SplitLines(Slurp("log/SALM.rpt"));
  ASSERT_EQ(lines.size(), 29u);
  EXPECT_EQ(lines[0], std::string(40, ' ') + "\t    Read\t    Lg.1\t    Lg.2");
  for (int row = 1; row <= kOpRows; ++row)
    EXPECT_EQ(lines[row].substr(40), "\t       0\t       0\t       0") << row;
  EXPECT_EQ(lines[19].substr(0, 5), "Total");
  const std::vector<std::string> tail = {
      "", "", "Warnings of the run", "", "", "", "Errors of the run", "", ""};
  EXPECT_EQ(std::vector<std::string>(lines.begin() + 20, lines.end()), tail);
}

TEST_F(ListingsTest, StatisticsOfAMissingLogAreNotWritten) {
  std::string err = StderrOf([&] { WorkRun(LogStatistics); });
  EXPECT_THAT(
      err, HasSubstr("note: The log file log\\SALM cannot be opened (H-12)."));
  EXPECT_FALSE(std::filesystem::exists("log/SALM.rpt"));
  EXPECT_EQ(ProgressWindow, NULL_WIN);
}

TEST_F(ListingsTest, RunStatisticsHaveTheRunColumnsAndMessageLists) {
  StatisticsClear();
  for (int row = 0; row < kOpRows - 1; ++row) {
    OpRead[row] = row * 3;
    OpDone[row] = row * 2;
    OpErrors[row] = row % 2;
    OpWarnings[row] = row % 3 == 0 ? 1 : 0;
  }
  OpRead[kOpTotalRow] = 123456789; // wider than its column
  OpDone[kOpTotalRow] = 5;
  // Warnings and errors in the order met; a free row and a row of count 0
  // are no message; one number stands with two severities.
  MessageCount[0] = {5, 2738, 2};
  MessageCount[1] = {2, 2628, 1};
  MessageCount[2] = {0, 2745, 2};
  MessageCount[4] = {1, 2736, 1};
  MessageCount[5] = {3, 2736, 2};
  EXPECT_EQ(WriteStatistics("log\\run.rpt", 1), 0);
  ExpectGolden(Slurp("log/run.rpt"), "listings_statistics_run_en.txt");

  // In French the labels change, the layout does not.
  Language = 2;
  EXPECT_EQ(WriteStatistics("log\\run_fr.rpt", 1), 0);
  std::vector<std::string> en = SplitLines(Slurp("log/run.rpt"));
  std::vector<std::string> fr = SplitLines(Slurp("log/run_fr.rpt"));
  ASSERT_EQ(en.size(), fr.size());
  for (int row = 1; row <= kOpRows; ++row)
    EXPECT_EQ(en[row].substr(40), fr[row].substr(40)) << row;
}

TEST_F(ListingsTest, StatisticsFileThatCannotBeMadeIsTold) {
  std::string err = StderrOf(
      [&] { EXPECT_EQ(WriteStatistics("nosuchfolder\\x.rpt", 0), 1); });
  EXPECT_THAT(
      err, HasSubstr("note: The file nosuchfolder\\x.rpt cannot be created."));
}

} // namespace
