// Merging a catalogue of cases: the demo's colleague's cases into the
// demo's own, into an empty file, and twice; and from the menu.
#include "repair_support.h"
#include "transfers/mergecases.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using namespace repair_test;

struct Merged {
  std::map<uint16_t, std::string> Names;             // case number -> name
  std::map<uint16_t, std::vector<std::string>> Rows; // -> "clip.place text"
  std::map<uint16_t, uint16_t> FirstCount;
};

Merged Read(const char *path) {
  Merged m;
  static Cas1 head;
  static Cas2 line;
  head.CursorState = line.CursorState = 0xFF;
  TblHandle h1 = TblOpenCas1(path, 1, 1);
  TblHandle h2 = TblOpenCas2(path, 1, 1);
  EXPECT_NE(h1, 0);
  EXPECT_NE(h2, 0);
  TblClearCas1(&head);
  for (int rc = TblFindFullCas1(h1, &head, 0, kFindFirst); rc == 0;
       rc = TblFindFullCas1(h1, &head, 0, kFindNext)) {
    m.Names[head.CaseId] = head.Name;
    m.FirstCount[head.CaseId] = head.Values[0];
  }
  TblClearCas2(&line);
  for (int rc = TblFindFullCas2(h2, &line, 0, kFindFirst); rc == 0;
       rc = TblFindFullCas2(h2, &line, 0, kFindNext))
    m.Rows[line.CaseId].push_back(std::to_string(line.Sequence) + "." +
                                  std::to_string(line.Entry) + " " +
                                  line.Text1);
  TblFreeCas2Symptoms(&line);
  DbCloseFile(h2);
  DbCloseFile(h1);
  return m;
}

class MergeTest : public RepairDemoTest {};

TEST_F(MergeTest, ColleagueCasesComeInAfterTheLastNumber) {
  Start();
  Merged before = Read("..\\cases\\repert");
  ASSERT_EQ(before.Names.rbegin()->first, 4);
  ASSERT_EQ(MergeCasesFrom("..\\cases\\colleague", "..\\cases\\repert"), 0);
  EXPECT_EQ(MergeLast.CasesAdded, 3);
  EXPECT_EQ(MergeLast.CasesFailed, 0);
  EXPECT_EQ(MergeLast.SymptomsAdded, 5);
  EXPECT_EQ(MergeLast.Renamed, 1);

  Merged after = Read("..\\cases\\repert");
  // Numbered on without gaps; the deleted case used no number.
  EXPECT_EQ(after.Names.size(), 7u);
  EXPECT_EQ(after.Names[5], "Marc D., chronic cough");
  EXPECT_EQ(after.Names[6], "Anne M., migraine+");
  EXPECT_EQ(after.Names[7], "Claire V., sleep");
  EXPECT_EQ(after.Names[1], "Anne M., migraine");
  // Clipboard and place come along; the counts are not recounted.
  EXPECT_EQ(after.Rows[5],
            (std::vector<std::string>{"0.1 Cough - dry - night",
                                      "0.2 Cough - dry - lying, while"}));
  EXPECT_EQ(after.Rows[7].size(), 2u);
  EXPECT_EQ(after.FirstCount[7], 2);
  // The old cases are as they were.
  for (uint16_t id = 1; id <= 4; ++id) {
    EXPECT_EQ(after.Names[id], before.Names[id]);
    EXPECT_EQ(after.Rows[id], before.Rows[id]);
  }
  // The source is only read.
  Merged source = Read("..\\cases\\colleague");
  EXPECT_EQ(source.Names.size(), 4u);

  // Again: every name is taken now; "Anne M., migraine+" too, so that case
  // fails and its rows stay under the number it was given.
  ASSERT_EQ(MergeCasesFrom("..\\cases\\colleague", "..\\cases\\repert"), 0);
  EXPECT_EQ(MergeLast.CasesAdded, 2);
  EXPECT_EQ(MergeLast.CasesFailed, 1);
  EXPECT_EQ(MergeLast.FirstNumber, 8);
  Merged twice = Read("..\\cases\\repert");
  EXPECT_EQ(twice.Names[8], "Marc D., chronic cough+");
  EXPECT_EQ(twice.Names.count(9), 0u);
  EXPECT_EQ(twice.Rows[9].size(), 1u);
  EXPECT_EQ(twice.Names[10], "Claire V., sleep+");
}

TEST_F(MergeTest, IntoAnEmptyCatalogueNumbersFromOne) {
  Start();
  for (auto create : {TblCreateCas1, TblCreateCas2}) {
    TblHandle h = create("..\\cases\\empty", 1, 1);
    ASSERT_NE(h, 0);
    DbCloseFile(h);
  }
  ASSERT_EQ(MergeCasesFrom("..\\cases\\colleague", "..\\cases\\empty"), 0);
  EXPECT_EQ(MergeLast.FirstNumber, 1);
  Merged m = Read("..\\cases\\empty");
  EXPECT_EQ(m.Names,
            (std::map<uint16_t, std::string>{{1, "Marc D., chronic cough"},
                                             {2, "Anne M., migraine"},
                                             {3, "Claire V., sleep"}}));
  EXPECT_EQ(MergeLast.Renamed, 0);
}

TEST_F(MergeTest, AMissingTableEndsTheMergeWithItsMessage) {
  Start();
  Script("answer ok\n");
  EXPECT_NE(MergeCasesFrom("..\\cases\\nowhere", "..\\cases\\repert"), 0);
  EXPECT_EQ(Read("..\\cases\\repert").Names.size(), 4u);
}

TEST_F(MergeTest, MenuRowAsksForTheFileAndTellsTheCounts) {
  EXPECT_EQ(Run("", "select 5 0\nclick 1\nmenu 1045\nfile colleague.da1\n"
                    "answer ok\nmenu 1045\ncancel\nexit\n"),
            0);
  EXPECT_THAT(err_, Not(HasSubstr("script line")));
  EXPECT_THAT(err_,
              HasSubstr("note: The merge is finished: 3 cases and 5 symptoms "
                        "added."));
  EXPECT_EQ(Occurrences(err_, "note: "), 1u) << err_;
  EXPECT_EQ(Tbltool("check", "cas1", "..\\cases\\repert"), 0);
  EXPECT_EQ(Tbltool("check", "cas2", "..\\cases\\repert"), 0);
}

} // namespace
