#include "store/sptpath.h"

#include "store_fixture.h"

namespace {

// A small tree in book order:
//   1/0 Mind (Psychisme)
//   1/1   anxiety (anxiété)
//   1/2     night (nuit)
//   1/3     3 - 5 h (3 - 5 h)
//   1/4   Fear (peur)
//   2/0 Head (Tête)
//   2/1   pain - forehead (douleur)
class SptPathTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    h_ = TblCreateSymptom("symptom", 1, 1);
    ASSERT_NE(h_, 0);
    SaveSymptom(h_, 1, 0, 0, 0, 1, "Mind", "Psychisme");
    SaveSymptom(h_, 1, 1, 1, 0, 2, "anxiety", "anxi\xe9t\xe9");
    SaveSymptom(h_, 1, 2, 1, 1, 3, "night", "nuit");
    SaveSymptom(h_, 1, 3, 1, 1, 3, "3 - 5 h", "3 - 5 h");
    SaveSymptom(h_, 1, 4, 1, 0, 2, "Fear", "peur");
    SaveSymptom(h_, 2, 0, 0, 0, 1, "Head", "T\xeate");
    SaveSymptom(h_, 2, 1, 2, 0, 2, "pain - forehead", "douleur");
  }
  void TearDown() override {
    DbCloseFile(h_);
    StoreTest::TearDown();
  }
  // Resolves exactly (or tolerantly) and answers "num/sub", or "missing".
  std::string Exact(int lang, const char *path, bool exact = true) {
    uint32_t n = 0;
    uint16_t s = 0;
    if ((exact ? GetSptNumFromExactText : GetSptNumFromText)(h_, lang, path, &n,
                                                             &s) != 0)
      return "missing";
    return std::to_string(n) + "/" + std::to_string(s);
  }
  std::string Loose(int lang, const char *path) {
    return Exact(lang, path, false);
  }
  TblHandle h_ = 0;
};

TEST_F(SptPathTest, SeparatorRuleKeepsRangesBetweenDigits) {
  const char text[] = "Mind - fear 3 - 5 h - night";
  const char *last = text + sizeof text - 2;
  int cuts = 0;
  for (const char *p = text; p <= last; ++p)
    cuts += SptIsLevelSeparator(p, text, last);
  EXPECT_EQ(cuts, 2);

  char levels[kSptMaxLevels][kSptLevelSize];
  int count = 0;
  ASSERT_EQ(SptSplitPath(text, levels, &count), 0);
  ASSERT_EQ(count, 3);
  EXPECT_STREQ(levels[1], "fear 3 - 5 h");
  // Between two digits a dash is text; with nothing two places beyond it,
  // it separates whatever stands on the other side.
  const char range[] = "1 - 2";
  EXPECT_FALSE(SptIsLevelSeparator(range + 2, range, range + 4));
  const char edge[] = "1 - ";
  EXPECT_TRUE(SptIsLevelSeparator(edge + 2, edge, edge + 3));
  const char stored[] = "Mind \x02 anxiety \x02 night";
  ASSERT_EQ(SptSplitPath(stored, levels, &count), 0);
  EXPECT_EQ(count, 3);
  EXPECT_STREQ(levels[2], "night");
}

TEST_F(SptPathTest, SplitRefusesWhatDoesNotFit) {
  char levels[kSptMaxLevels][kSptLevelSize];
  int count = 0;
  std::string deep = "a";
  for (int i = 0; i < kSptMaxLevels; ++i)
    deep += " - a";
  EXPECT_NE(SptSplitPath(deep.c_str(), levels, &count), 0);
  std::string wide(kSptLevelSize, 'x');
  EXPECT_NE(SptSplitPath(wide.c_str(), levels, &count), 0);
  EXPECT_NE(SptSplitPath("", levels, &count), 0);
  // A path whose last level is empty ends in the separator.
  ASSERT_EQ(SptSplitPath("Mind \x02 ", levels, &count), 0);
  EXPECT_EQ(count, 2);
  EXPECT_STREQ(levels[1], "");
}

TEST_F(SptPathTest, ExactLookupInBothLanguagesAndForms) {
  EXPECT_EQ(Exact(1, "Mind \x02 anxiety \x02 night"), "1/2");
  EXPECT_EQ(Exact(1, "Mind - anxiety - 3 - 5 h"), "1/3");
  EXPECT_EQ(Exact(2, "Psychisme \x02 anxi\xe9t\xe9 \x02 nuit"), "1/2");
  EXPECT_EQ(Exact(1, "Head"), "2/0");
  // Exact means exact: case, a missing level, the wrong language.
  EXPECT_EQ(Exact(1, "mind \x02 anxiety"), "missing");
  EXPECT_EQ(Exact(1, "Mind \x02 courage"), "missing");
  EXPECT_EQ(Exact(2, "Mind \x02 anxiety"), "missing");
  EXPECT_EQ(Exact(1, "Mind \x02 anxiety \x02 night \x02 waking"), "missing");
  // A dash between blanks separates levels in either form, so a level
  // text that holds one cannot be named by a path at all.
  EXPECT_EQ(Exact(1, "Head - pain - forehead"), "missing");
  EXPECT_EQ(Exact(1, "Head \x02 pain - forehead"), "missing");
}

TEST_F(SptPathTest, TolerantLookupIgnoresCaseAndBlanks) {
  EXPECT_EQ(Loose(1, "MIND - Anxiety - NIGHT"), "1/2");
  EXPECT_EQ(Loose(1, "Mind\x02"
                     "anxiety\x02 night"),
            "1/2");
  EXPECT_EQ(Loose(1, "  Mind \x02  fear "), "1/4");
  EXPECT_EQ(Loose(2, "PSYCHISME - ANXI\xc9T\xc9"), "1/1");
  EXPECT_EQ(Loose(1, "Mind - courage"), "missing");
}

TEST_F(SptPathTest, PathsFromNumbers) {
  char buf[kSptPathSize];
  ASSERT_EQ(GetLevelsFromSptNum(h_, 1, buf, 1, 3), 0);
  EXPECT_STREQ(buf, "Mind \x02 anxiety \x02 3 - 5 h");
  ASSERT_EQ(GetTextFromSptNum(h_, 2, buf, 1, 2), 0);
  EXPECT_STREQ(buf, "Psychisme - anxi\xe9t\xe9 - nuit");
  ASSERT_EQ(GetTextFromSptNum(h_, 1, buf, 2, 0), 0);
  EXPECT_STREQ(buf, "Head");
  // Round trip: every symptom is found again by its stored path.
  const std::pair<uint32_t, uint16_t> all[] = {{1, 0}, {1, 1}, {1, 2},
                                               {1, 3}, {1, 4}, {2, 0}};
  for (auto [n, s] : all)
    for (int lang : {1, 2}) {
      ASSERT_EQ(GetLevelsFromSptNum(h_, lang, buf, n, s), 0);
      EXPECT_EQ(Exact(lang, buf), std::to_string(n) + "/" + std::to_string(s))
          << buf;
    }
  // A number that is not there, and a buffer too small to hold the path.
  EXPECT_NE(GetLevelsFromSptNum(h_, 1, buf, 7, 7), 0);
  EXPECT_STREQ(buf, "");
  char small[8];
  ASSERT_EQ(GetTextFromSptNum(h_, 1, small, 1, 2, sizeof small), 0);
  EXPECT_STREQ(small, "Mind - ");
}

TEST_F(SptPathTest, ALoopOfParentsIsNoHang) {
  // A damaged table whose symptom names itself as its parent.
  SaveSymptom(h_, 3, 0, 3, 0, 1, "Loop", "Boucle");
  char buf[kSptPathSize];
  EXPECT_NE(GetLevelsFromSptNum(h_, 1, buf, 3, 0), 0);
  EXPECT_STREQ(buf, "");
}

} // namespace
