// The reference text of symptoms: lists taken apart, sorted and put
// together, entries resolved against the tree, lists normalised (style 1)
// and shortened (style 2), on the examples of the reference rules and on
// what a user types.
#include "ops/reftext.h"
#include "refs_support.h"

#include <gtest/gtest.h>

namespace {

using List = std::vector<std::string>;

TEST(RefListTest, SplittingTakesEntriesAsAUserTypesThem) {
  struct Case {
    const char *list;
    List entries;
  } cases[] = {
      {"2fear / 2restlessness / 1Generalities - weakness",
       {"2fear", "2restlessness", "1Generalities - weakness"}},
      // Blanks and dashes at the ends go; empty entries are left out.
      {"  2fear -  /  / 3night - / ", {"2fear", "3night"}},
      {"", {}},
      {" / / ", {}},
      // A " / " inside a level text stays in it: no digit follows.
      {"2heat / cold, alternating / 1Head",
       {"2heat / cold, alternating", "1Head"}},
      // Doubled slashes between entries count as one separator.
      {"2fear // 2night", {"2fear", "2night"}},
      // Every level digit begins an entry.
      {"1a / 2b / 3c / 4d / 5e / 6f / 7g / 8h / 9i",
       {"1a", "2b", "3c", "4d", "5e", "6f", "7g", "8h", "9i"}},
      // "0" is no level digit: the text stays with the entry before.
      {"2fear / 0night", {"2fear / 0night"}},
  };
  for (const Case &c : cases) {
    List got;
    EXPECT_EQ(RefSplitList(c.list, &got), static_cast<int>(c.entries.size()))
        << c.list;
    EXPECT_EQ(got, c.entries) << c.list;
    EXPECT_EQ(RefSplitList(c.list, nullptr), static_cast<int>(got.size()));
  }
}

TEST(RefListTest, SortingPutsDeeperLevelsFirstThenTheTextInCapitals) {
  List l = {"1Head - pain", "2fear", "3night", "2Anxiety", "2\xe9tat", "2zeal"};
  EXPECT_TRUE(RefSortList(&l));
  // 0xC9 (capital E acute) sorts after the plain capitals.
  EXPECT_EQ(l, (List{"3night", "2Anxiety", "2fear", "2zeal", "2\xe9tat",
                     "1Head - pain"}));
  EXPECT_FALSE(RefSortList(&l)) << "a sorted list does not move";
}

TEST(RefListTest, DoublesKeepOneAndJoiningLeavesOutEmptyEntries) {
  List l = {"2fear", "1Head", "2fear", "2Fear", "2fear"};
  RefDropDuplicates(&l);
  EXPECT_EQ(l, (List{"1Head", "2Fear", "2fear"}));
  EXPECT_EQ(RefJoinList({"2fear", "", "1Head"}), "2fear / 1Head");
  EXPECT_EQ(RefJoinList({}), "");
}

TEST(RefListTest, WordsOfAFieldAreThoseTheIndexTakes) {
  EXPECT_EQ(RefWordsOf("(= anguish, apprehension)"), "anguish, apprehension");
  EXPECT_EQ(RefWordsOf("2fear / 1Head"), "");
  EXPECT_EQ(RefWordsOf(""), "");
  EXPECT_EQ(RefWordsOf("plain words"), "plain words");
  EXPECT_EQ(RefWordsOf("(= )"), "");
  EXPECT_EQ(RefWordsOf("(=)"), "(=)") << "too short to be wrapped";
  EXPECT_TRUE(RefIsList("9x"));
  EXPECT_FALSE(RefIsList("0x"));
  EXPECT_FALSE(RefIsList("(= x)"));
}

class RefTreeTest : public RefsTest {
protected:
  // Resolves from (num, sub) in language 0; the target as "num.sub", or
  // "-" when it names nothing.
  std::string Resolve(uint32_t num, uint16_t sub, const char *ref,
                      int language = 0) {
    uint32_t n = 0;
    uint16_t s = 0;
    if (RefResolve(sym_, num, sub, ref, language, nullptr, "x", &n, &s) != 0)
      return "-";
    return std::to_string(n) + "." + std::to_string(s);
  }
  std::string Normalize(uint32_t num, uint16_t sub, std::string list,
                        int caseMode = kRefCaseStored, int language = 0) {
    EXPECT_EQ(RefNormalizeList(sym_, num, sub, &list, language, caseMode), 0);
    return list;
  }
  List Shorten(uint32_t num, uint16_t sub, List l) {
    RefShortenList(sym_, num, sub, &l, 0);
    return l;
  }
};

TEST_F(RefTreeTest, ResolvingFollowsTheDigitAndTheTree) {
  // From Mind - fear (1.1, level 2).
  EXPECT_EQ(Resolve(1, 1, "2fear - night"), "1.2");
  EXPECT_EQ(Resolve(1, 1, "1Head - pain"), "5.1");
  EXPECT_EQ(Resolve(1, 1, "2anxiety - night - 3 - 5 h"), "2.2")
      << "a time range stays one level text";
  // '3x' on a symptom of level 2: the source itself is the parent.
  EXPECT_EQ(Resolve(1, 1, "3night"), "1.2");
  EXPECT_EQ(Resolve(1, 1, "3dark"), "1.3") << "a text that begins a symptom's";
  EXPECT_EQ(Resolve(1, 1, "2FEAR - NIGHT"), "1.2") << "capitals do not count";
  EXPECT_EQ(Resolve(6, 1,
                    "2\xc9"
                    "BLOUI"),
            "6.2")
      << "nor accented capitals";
  EXPECT_EQ(Resolve(5, 1, "3pressing (as from - a weight)"), "5.2");
  EXPECT_EQ(Resolve(1, 1, "2peur - nuit", 1), "1.2") << "second language";
  // Failures: an empty reference and '0Mind' are syntax; a path that
  // leads nowhere is a bad destination.
  for (const char *bad : {"", "0Mind", "Mind", "2", "2fear - ", "2fright",
                          "1Head - pain - dull", "2peur"})
    EXPECT_EQ(Resolve(1, 1, bad), "-") << bad;
}

TEST_F(RefTreeTest, EveryLevelDigitOnADeepSymptom) {
  // From a11 (7.10, level 11): digit d starts below the ancestor of level
  // d - 1, so "da{d}" names the symptom of level d.
  for (int d = 1; d <= 9; ++d) {
    std::string ref =
        std::to_string(d) + (d == 1 ? "Deep" : "a" + std::to_string(d));
    EXPECT_EQ(Resolve(7, 10, ref.c_str()), "7." + std::to_string(d - 1)) << ref;
  }
  // Normalising drops the shared levels, but a digit stays one digit.
  EXPECT_EQ(Normalize(7, 10,
                      "1Deep - a2 - a3 - a4 - a5 - a6 - a7 - a8 - a9 - a10 - "
                      "a11"),
            "9a9 - a10 - a11");
  EXPECT_EQ(Resolve(7, 10, "9a9 - a10 - a11"), "7.10");
}

TEST_F(RefTreeTest, BadDestinationsAreReportedOnceForARunOfTheSameText) {
  FILE *f = fopen("refs.txt", "wb");
  uint32_t n;
  uint16_t s;
  EXPECT_NE(RefResolve(sym_, 1, 1, "2fright", 0, f, "xref", &n, &s), 0);
  EXPECT_NE(RefResolve(sym_, 1, 1, "2fright", 0, f, "xref", &n, &s), 0);
  EXPECT_NE(RefResolve(sym_, 1, 1, "Mind", 0, f, "xref", &n, &s), 0);
  fclose(f);
  EXPECT_EQ(Slurp("refs.txt"), "Bad destination xref : Mind - fear (2fright)\n"
                               "Syntax of xref   : Mind - fear (Mind)\n");
}

TEST_F(RefTreeTest, NormalisingWritesTheTreesTextsAndDropsSharedLevels) {
  struct Case {
    uint32_t num;
    uint16_t sub;
    const char *in, *out;
  } cases[] = {
      // The level texts as the repertory stores them.
      {1, 1, "2ANXIETY - Night", "2anxiety - night"},
      {1, 1, "1Head - pain - pressing",
       "1Head - pain - pressing (as from - a "
       "weight)"},
      // The source's own level is shared too: "2fear - ..." from fear.
      {1, 1, "2FEAR - Night", "3night"},
      {1, 1, "2fear - dark", "3dark, of"},
      // What the entry shares with the source is not repeated.
      {2, 1, "1Mind - fear", "2fear"},
      {2, 1, "1Mind - anxiety - night - 3 - 5 h",
       "4"
       "3 - 5 h"},
      {2, 1, "1mind", "1Mind"},
      // Another chapter keeps its whole path.
      {1, 1, "1head - PAIN", "1Head - pain"},
      // A parenthesis keeps its " - " inside the level text.
      {5, 1, "3Pressing (as from - a weight)",
       "3pressing (as from - a weight)"},
      // A level that names nothing is kept as given, with all behind it.
      {1, 1, "2fright - NIGHT", "2fright - NIGHT"},
      {1, 1, "2fear - owls - Night", "3owls - Night"},
      {2, 1, "2fear - owls - Night", "2fear - owls - Night"},
      // Entries without a digit are kept; empty entries and blanks go.
      {1, 1, "2fear /  / 1head", "2fear / 1Head"},
  };
  for (const Case &c : cases)
    EXPECT_EQ(Normalize(c.num, c.sub, c.in), c.out) << c.in;
  // 'Mind (fear - night) - day' is two levels.
  EXPECT_EQ(Normalize(1, 1, "1Mind (fear - night) - day"),
            "1Mind (fear - night) - day");
  // Not a list: left alone.
  EXPECT_EQ(Normalize(1, 1, "(= words)"), "(= words)");
}

TEST_F(RefTreeTest, CaseModesFoldByLevel) {
  const char *in = "1head - pain - PRESSING (as from - a weight)";
  EXPECT_EQ(Normalize(1, 1, in, kRefCaseStored),
            "1Head - pain - pressing (as from - a weight)");
  EXPECT_EQ(Normalize(1, 1, in, kRefCaseByLevel),
            "1HEAD - Pain - pressing (as from - a weight)");
  EXPECT_EQ(Normalize(1, 1, in, kRefCaseLevel3),
            "1HEAD - Pain - Pressing (as from - a weight)");
}

TEST_F(RefTreeTest, ShorteningWritesFromTheChapter) {
  // '1Mind - fear' in chapter Mind becomes '2fear'.
  EXPECT_EQ(Shorten(2, 1, {"1Mind - fear"}), (List{"2fear"}));
  EXPECT_EQ(Shorten(2, 1, {"1MIND - FEAR - NIGHT"}), (List{"2fear - night"}))
      << "resolved in lower case, written from the tree";
  EXPECT_EQ(Shorten(2, 1, {"1head - pain"}), (List{"1Head - pain"}));
  EXPECT_EQ(Shorten(1, 1, {"2fear - dark"}), (List{"2fear - dark, of"}));
  // One level, or nothing resolved: as it stands.
  EXPECT_EQ(Shorten(2, 1, {"2fear", "2fright - x", "0x"}),
            (List{"2fear", "2fright - x", "0x"}));
}

} // namespace
