// The operations on the tree itself on the small repertory: random adds,
// moves and deletions against a plain model of the tree with the tables
// checked after every step; each operation's refusals; the block's limit;
// the check of an entry before its handler, with and without the addition
// of missing paths.
#include "logentry/report.h"
#include "logrun/logcheck.h"
#include "logrun_support.h"
#include "ops/chainlist.h"
#include "ops/dispatch.h"
#include "ops/remedy.h"
#include "ops/renumber.h"
#include "ops/symptoms.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"
#include "store/sptpath.h"

#include <random>

namespace {

using Rem = std::tuple<uint16_t, uint16_t, int>;

class SymptomOpsTest : public RepertoryTest {
protected:
  void SetUp() override {
    RepertoryTest::SetUp();
    Open();
    OpenErrors();
  }
  void Open() {
    OpenTables();
    OpenWordTables();
  }
  // These operations keep no views.
  OpContext Ctx() {
    OpContext c = RepertoryTest::Ctx(errors_);
    c.views = 0;
    return c;
  }
  // The faults of the repertory, the tables opened again after.
  std::string Faults() {
    CloseTables();
    std::string all = Lines(Verify());
    Open();
    return all;
  }
  // The tree in book order, each symptom as "level|path".
  std::vector<std::string> Book() {
    std::vector<std::string> out;
    Symptom s = MakeSymptom(0, 0, 0, 0, "");
    std::vector<std::pair<uint32_t, uint16_t>> numbers;
    for (int err = TblFindFullSymptom(sym_, &s, 0, kFindFirst); err == 0;
         err = TblFindFullSymptom(sym_, &s, 0, kFindNext))
      numbers.emplace_back(s.Num, s.Sub);
    TblFreeSymptomRemed(&s);
    for (auto [num, sub] : numbers) {
      Symptom x = MakeSymptom(num, sub, 0, 0, "");
      EXPECT_EQ(TblFindFullSymptom(sym_, &x, 0, kFindEqual), 0);
      char path[kSptPathSize];
      GetLevelsFromSptNum(sym_, 1, path, num, sub);
      out.push_back(std::to_string(x.Level) + "|" + path);
      TblFreeSymptomRemed(&x);
    }
    return out;
  }
  Symptom Find(const std::string &path) {
    uint32_t num = 0;
    uint16_t sub = 0;
    EXPECT_EQ(GetSptNumFromExactText(sym_, 1, path.c_str(), &num, &sub), 0)
        << path;
    Symptom x = MakeSymptom(num, sub, 0, 0, "");
    EXPECT_EQ(TblFindFullSymptom(sym_, &x, 0, kFindEqual), 0);
    TblFreeSymptomRemed(&x);
    return x;
  }
  bool Exists(const std::string &path) {
    uint32_t num;
    uint16_t sub;
    return GetSptNumFromExactText(sym_, 1, path.c_str(), &num, &sub) == 0;
  }
  int Add(int op, const std::string &ref, const std::string &text) {
    return LogDispatch(Entry(op, {"0", ref, "0", text, "1", text + "-fr"}),
                       Ctx());
  }
  // The entry of the operation through the run's dispatch.
  int Do(int op, std::vector<std::string> fields) {
    return LogDispatch(Entry(op, std::move(fields)), Ctx());
  }
  int AddRemedy(const std::string &path, const char *remedy, const char *author,
                const char *degree) {
    return OpAddRemedyEntry(
        Entry(OpAddRemedy, {"0", path, remedy, author, degree}), Ctx(), 1,
        kMergeCheck);
  }
};

// The model: the tree in book order, a node as its level and first text.
struct Node {
  int level;
  std::string text;
};
std::vector<std::string> ModelBook(const std::vector<Node> &tree) {
  std::vector<std::string> out, stack;
  for (const Node &n : tree) {
    stack.resize(static_cast<size_t>(n.level - 1));
    stack.push_back(n.text);
    std::string path;
    for (size_t i = 0; i < stack.size(); ++i)
      path += (i ? " \x02 " : "") + stack[i];
    out.push_back(std::to_string(n.level) + "|" + path);
  }
  return out;
}
size_t SubtreeEnd(const std::vector<Node> &tree, size_t at) {
  size_t end = at + 1;
  while (end < tree.size() && tree[end].level > tree[at].level)
    ++end;
  return end;
}
std::string PathAt(const std::vector<Node> &tree, size_t at) {
  return ModelBook(tree)[at].substr(2 + (tree[at].level >= 10));
}

TEST_F(SymptomOpsTest, RandomAddsMovesAndDeletionsAgreeWithAModel) {
  std::vector<Node> tree = {
      {1, "Mind"}, {2, "fear"}, {3, "night"}, {1, "Head"}, {2, "pain"}};
  ASSERT_EQ(Book(), ModelBook(tree));
  std::mt19937 rnd(7);
  auto pick = [&](size_t n) {
    return std::uniform_int_distribution<size_t>(0, n - 1)(rnd);
  };
  const char *remedies[] = {"Acon.", "Bell.", "Nux-v.", "Sulph."};
  int made = 0;
  for (int step = 0; step < 70; ++step) {
    size_t at = pick(tree.size());
    std::string path = PathAt(tree, at);
    int kind = static_cast<int>(pick(10));
    std::string text = "s" + std::to_string(++made);
    if (kind < 4 && tree[at].level > 1) { // add after
      ASSERT_EQ(Add(OpAddSymptomAfter, path, text), 0) << path;
      tree.insert(tree.begin() + static_cast<long>(SubtreeEnd(tree, at)),
                  Node{tree[at].level, text});
    } else if (kind < 7 && tree[at].level < 6) { // add below
      ASSERT_EQ(Add(OpAddSymptomBelow, path, text), 0) << path;
      tree.insert(tree.begin() + static_cast<long>(at) + 1,
                  Node{tree[at].level + 1, text});
      ASSERT_EQ(AddRemedy(PathAt(tree, at + 1), remedies[pick(4)], "Kent", "2"),
                0);
    } else if (kind < 8 && tree[at].level > 1 && tree.size() > 8) {
      ASSERT_EQ(Do(OpDeleteSymptom, {"0", path}), 0);
      tree.erase(tree.begin() + static_cast<long>(at),
                 tree.begin() + static_cast<long>(SubtreeEnd(tree, at)));
    } else if (tree[at].level > 1 && SubtreeEnd(tree, at) == at + 1) {
      // Move a leaf beside a target in the other chapter.
      size_t target = pick(tree.size());
      std::string targetPath = PathAt(tree, target);
      bool otherChapter = targetPath.substr(0, 4) != path.substr(0, 4);
      if (!otherChapter || tree[target].level < 2)
        continue;
      ASSERT_EQ(Do(OpMoveSymptoms, {"0", targetPath, path, path, "2"}), 0)
          << path << " to " << targetPath;
      Node moved = tree[at];
      moved.level = tree[target].level;
      size_t place = SubtreeEnd(tree, target);
      tree.insert(tree.begin() + static_cast<long>(place), moved);
      tree.erase(tree.begin() + static_cast<long>(place <= at ? at + 1 : at));
    } else {
      continue;
    }
    ASSERT_EQ(Book(), ModelBook(tree)) << "step " << step;
    std::string faults = Faults();
    ASSERT_TRUE(faults.empty()) << "step " << step << "\n" << faults;
  }
}

TEST_F(SymptomOpsTest, AddsFindTheirPlaceAndCarryWhatStandsBehind) {
  // A note and a link on "night" move with it when a sibling comes in
  // before it.
  Note n = NoteKey(1, 2);
  StrCopy(note1_, "a note");
  ASSERT_EQ(TblSaveNote(notes_, &n, kSaveAdd), 0);
  Link l = LinkKey(1, 2, 3, "night sky");
  ASSERT_EQ(TblSaveLink(links_, &l, kSaveAdd), 0);

  ASSERT_EQ(Add(OpAddSymptomBelow, "Mind \x02 fear", "dark"), 0);
  EXPECT_EQ(SymptomRecord.Num, 1u) << "the new symptom is the shared record";
  EXPECT_EQ(SymptomRecord.Sub, 2);
  // "night" stood right behind: it moved, spread into the free Subs behind
  // it, and took its note and its link along.
  Symptom night = Find("Mind \x02 fear \x02 night");
  EXPECT_GT(night.Sub, 2);
  EXPECT_LE(night.Sub, 2 + 2 * kRenumberSpread);
  n = NoteKey(1, night.Sub);
  note1_[0] = '\0';
  EXPECT_EQ(TblFindFullNote(notes_, &n, 0, kFindEqual), 0);
  EXPECT_STREQ(note1_, "a note");
  l = LinkKey(1, night.Sub);
  ASSERT_EQ(TblFindFullLink(links_, &l, 0, kFindAtOrAfter), 0);
  EXPECT_STREQ(l.Title, "night sky");
  EXPECT_EQ(Find("Mind \x02 fear").ChildCount, 1) << "raised by one";

  // After a symptom with descendants: behind the last of them, whose next
  // Sub is free now, so nothing moves.
  ASSERT_EQ(Add(OpAddSymptomAfter, "Mind \x02 fear", "grief"), 0);
  EXPECT_EQ(Find("Mind \x02 grief").Sub, night.Sub + 1);
  EXPECT_EQ(Find("Mind \x02 fear \x02 night").Sub, night.Sub);
  // A second add in the same stretch finds its Sub free too.
  ASSERT_EQ(Add(OpAddSymptomBelow, "Mind \x02 fear", "cold"), 0);
  EXPECT_EQ(Find("Mind \x02 fear \x02 cold").Sub, 2);
  Symptom dark = Find("Mind \x02 fear \x02 dark");
  EXPECT_GT(dark.Sub, 2) << "moved into the gap before night";
  EXPECT_LT(dark.Sub, night.Sub);
  EXPECT_EQ(Find("Mind \x02 fear \x02 night").Sub, night.Sub);
  // At the end of a block nothing moves.
  ASSERT_EQ(Add(OpAddSymptomAfter, "Head \x02 pain", "vertigo"), 0);
  EXPECT_EQ(Find("Head \x02 vertigo").Sub, 2);
  EXPECT_EQ(Find("Head \x02 pain").Sub, 1);
  // Fear's remedies followed their symptom in Extract: the tables agree.
  EXPECT_EQ(Faults(), "");
}

TEST_F(SymptomOpsTest, ABlockHoldsSubsUpToTheSubtreeMark) {
  // Chapter 9: "acne" at 1, and a full run from 31990 to the last Sub.
  auto put = [&](uint16_t sub, const std::string &text, uint8_t level) {
    Symptom x = MakeSymptom(9, sub, level == 1 ? 0 : 9, 0, text.c_str(),
                            900 + sub % 1000);
    x.Level = level;
    x.Chapter = 9;
    ASSERT_EQ(TblSaveSymptom(sym_, &x, kSaveAdd), 0);
  };
  put(0, "Skin", 1);
  put(1, "acne", 2);
  for (uint16_t sub = 31990; sub <= kRenumberMaxSub; ++sub)
    put(sub, "z" + std::to_string(sub), 2);
  // Behind "acne" Sub 2 is free: nothing moves.
  ASSERT_EQ(Add(OpAddSymptomAfter, "Skin \x02 acne", "boils"), 0);
  EXPECT_EQ(Find("Skin \x02 boils").Sub, 2);
  // Behind a symptom of the full run there is no Sub left: refused, and
  // nothing changed.
  std::vector<std::string> before = Book();
  EXPECT_EQ(Add(OpAddSymptomAfter, "Skin \x02 z31995", "crusts"), 1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotAdded);
  EXPECT_EQ(Add(OpAddSymptomAfter, "Skin \x02 z31999", "crusts"), 1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotAdded);
  EXPECT_EQ(Book(), before);
  // Behind the one before the run, the whole run would have to move past
  // the mark: refused as well. Two Subs lower, it moves into the gap.
  EXPECT_EQ(Add(OpAddSymptomBelow, "Skin \x02 z31990", "dry"), 1);
  EXPECT_EQ(Book(), before);
  put(31987, "y31987", 2);
  ASSERT_EQ(Add(OpAddSymptomAfter, "Skin \x02 y31987", "crusts"), 0);
  EXPECT_EQ(Find("Skin \x02 crusts").Sub, 31988);
  EXPECT_EQ(Find("Skin \x02 z31990").Sub, 31990) << "31989 was free";
  EXPECT_EQ(Faults(), "");
}

TEST_F(SymptomOpsTest, RenameAndDeleteAndTheirRefusals) {
  ASSERT_EQ(Do(OpRenameSymptom, {"0", "Mind \x02 fear", "0", "fear", "fright",
                                 "1", "", "frayeur"}),
            0);
  EXPECT_TRUE(Exists("Mind \x02 fright \x02 night"));
  Symptom f = Find("Mind \x02 fright");
  EXPECT_STREQ(f.Text2, "frayeur");
  EXPECT_EQ(Do(OpRenameSymptom, {"0", "Mind \x02 fear", "0", "a", "b"}), 1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotFound);

  // A chapter is not deleted.
  EXPECT_EQ(Do(OpDeleteSymptom, {"0", "Mind"}), 1);
  EXPECT_EQ(LogLastMessage, kMsgChapterNotDeleted);
  // A subtree goes whole; the chapter behind it stays, and so does an
  // Extract entry that holds the user bit on the list's side.
  Extract x = ExtractKey(kBell);
  ASSERT_EQ(TblFindFullExtract(ext_, &x, 0, kFindEqual, nullptr), 0);
  for (int i = 0; TblIsLastExtractSymptom(&x.Entries[i]) != 2; ++i)
    if (x.Entries[i].AuthorId == kBoer)
      x.Entries[i].AuthorId |= kAuthorUserBit;
  ASSERT_EQ(TblSaveExtract(ext_, &x, kSaveReplace), 0);
  ASSERT_EQ(Do(OpDeleteSymptom, {"0", "Mind \x02 fright"}), 0);
  EXPECT_EQ(Book(),
            (std::vector<std::string>{"1|Mind", "1|Head", "2|Head \x02 pain"}));
  x = ExtractKey(kBell);
  ASSERT_EQ(TblFindFullExtract(ext_, &x, 0, kFindEqual, nullptr), 0);
  ASSERT_EQ(ChainCountExtract(x), 1) << "Kent's entry went, Boer's stays";
  EXPECT_EQ(x.Entries[0].AuthorId, kBoer | kAuthorUserBit);
  x.RemedyId = kAcon;
  EXPECT_NE(TblFindFullExtract(ext_, &x, 0, kFindEqual, nullptr) == 0 &&
                ChainCountExtract(x) > 0,
            true);
  EXPECT_EQ(Find("Mind").ChildCount, 0) << "not lowered, as it was never "
                                           "raised by the built tree";
}

TEST_F(SymptomOpsTest, SplitAndMerge) {
  // Split "fear", mode 2: the remedies go to the new child.
  ASSERT_EQ(
      Do(OpSplitSymptom, {"0", "Mind \x02 fear", "fears", "in general", "2"}),
      0);
  Symptom child;
  EXPECT_TRUE(Remedies(Find("Mind \x02 fears").Num, Find("Mind \x02 fears").Sub)
                  .empty());
  Symptom g = Find("Mind \x02 fears \x02 in general");
  // The copy meets each entry as a run's addition does (merge 4): Bell.
  // by Kent has another degree than Bell. by Boer, copied before it, and
  // is refused with a warning of its own.
  EXPECT_EQ(Remedies(g.Num, g.Sub, &child),
            (std::vector<Rem>{{kAcon, kKent, 3}, {kBell, kBoer, 1}}));
  fflush(errors_);
  EXPECT_THAT(SlurpFile("errors.txt"),
              HasSubstr("Remedy: Bell.   Author: Kent"));
  EXPECT_EQ(g.Sub, 2) << "first among the children";
  EXPECT_EQ(Faults(), "");

  // The successor has a synonym in words, indexed as the synonym operation
  // indexes it.
  {
    Symptom gen = Find("Mind \x02 fears \x02 in general");
    Symptom x = MakeSymptom(gen.Num, gen.Sub, 0, 0, "");
    ASSERT_EQ(TblFindFullSymptom(sym_, &x, 0, kFindEqual), 0);
    StrCopy(x.Synonym1, "dread");
    ASSERT_EQ(TblSaveSymptom(sym_, &x, kSaveReplace), 0);
    TblFreeSymptomRemed(&x);
    ASSERT_EQ(WordIndexAdd(sym_, word1_, 0, "dread", nullptr, gen.Num, gen.Sub),
              0);
    ASSERT_EQ(Faults(), "");
  }
  // Merge "fears" with its successor "in general", degrees left alone: the
  // remedies come back, the successor goes, "night" comes up below fears,
  // and the synonym comes over with its word.
  ASSERT_EQ(Do(OpMergeSymptom, {"0", "Mind \x02 fears", "fear", "3"}), 0);
  EXPECT_EQ(Book(), (std::vector<std::string>{"1|Mind", "2|Mind \x02 fear",
                                              "3|Mind \x02 fear \x02 night",
                                              "1|Head", "2|Head \x02 pain"}));
  Symptom fear = Find("Mind \x02 fear");
  EXPECT_STREQ(fear.Synonym1, "dread");
  EXPECT_EQ(Remedies(fear.Num, fear.Sub),
            (std::vector<Rem>{{kAcon, kKent, 3}, {kBell, kBoer, 1}}));
  EXPECT_EQ(Faults(), "");
  // A move whose target lies in the range's block is refused.
  EXPECT_EQ(Do(OpMoveSymptoms, {"0", "Mind", "Mind \x02 fear",
                                "Mind \x02 fear \x02 night", "1"}),
            1);
  EXPECT_EQ(LogLastMessage, kMsgMoveTargetInRange);
}

TEST_F(SymptomOpsTest, ARangeMovesOrCopiesWithItsSubtreeAndRemedies) {
  // Copy "fear" with "night" below "Head > pain": the source stays.
  ASSERT_EQ(Do(OpMoveSymptoms, {"0", "Head \x02 pain", "Mind \x02 fear",
                                "Mind \x02 fear \x02 night", "3"}),
            0);
  const std::string copy = "Head \x02 pain \x02 fear";
  EXPECT_TRUE(Exists(copy + " \x02 night"));
  EXPECT_TRUE(Exists("Mind \x02 fear \x02 night"));
  Symptom c = Find(copy);
  EXPECT_EQ(Remedies(c.Num, c.Sub).size(), 2u)
      << "Bell. by Kent differs in degree from Bell. by Boer: refused";
  EXPECT_NE(c.UniqueId, 101) << "a copy has an id of its own";
  // Copied again, the name stands there already: the suffix stays on the
  // symptom; below it the name is free again, and the suffix goes.
  ASSERT_EQ(Do(OpMoveSymptoms, {"0", "Head \x02 pain", "Mind \x02 fear",
                                "Mind \x02 fear \x02 night", "3"}),
            0);
  EXPECT_TRUE(Exists("Head \x02 pain \x02 fear # \x02 night"));
  // Moved beside "Head > pain": the source goes, the subtree with it.
  ASSERT_EQ(Do(OpMoveSymptoms, {"0", "Head \x02 pain", "Mind \x02 fear",
                                "Mind \x02 fear", "2"}),
            0);
  EXPECT_FALSE(Exists("Mind \x02 fear"));
  EXPECT_FALSE(Exists("Mind \x02 fear \x02 night"))
      << "the range ended at fear: night was not copied, and went with it";
  EXPECT_TRUE(Exists("Head \x02 fear"));
  EXPECT_EQ(Faults(), "");
}

TEST_F(SymptomOpsTest, TheCheckRefusesClashesAndAddsMissingPaths) {
  OpContext ctx = Ctx();
  // The text to be created stands there already: refused, a warning.
  LogEntry *twin = Entry(OpAddSymptomAfter,
                         {"0", "Mind \x02 fear", "0", "fear", "1", "peur"});
  std::string whole = twin->text;
  EXPECT_FALSE(LogCheckSymptom(twin, ctx, false));
  EXPECT_EQ(LogLastMessage, kMsgSymptomExists);
  EXPECT_EQ(LogLastSeverity, 2);
  EXPECT_EQ(std::string(twin->text), whole) << "whole again";
  // A rename to the same text is no clash.
  EXPECT_TRUE(LogCheckSymptom(
      Entry(OpRenameSymptom, {"0", "Mind \x02 fear", "0", "fear", "fear"}), ctx,
      false));

  // A path that does not exist: refused without the option.
  LogEntry *lost = Entry(
      OpAddRemedy, {"0", "Mind \x02 jealousy \x02 love", "Acon.", "Kent", "2"});
  EXPECT_FALSE(LogCheckSymptom(lost, ctx, false));
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotFound);
  EXPECT_FALSE(Exists("Mind \x02 personal additions"));

  // With it: the heading, then each missing level in its place, and the
  // entry names what now stands.
  ASSERT_TRUE(LogCheckSymptom(lost, ctx, true));
  const std::string heading = "Mind \x02 personal additions";
  EXPECT_TRUE(Exists(heading + " \x02 jealousy \x02 love"));
  EXPECT_THAT(std::string(lost->text), HasSubstr(heading + " \x02 jealousy"));
  ASSERT_EQ(LogDispatch(lost, ctx), 0);
  // Levels in alphabetical order below the heading, the heading not twice.
  for (const char *level : {"anger", "mania", "zeal", "kindness"}) {
    LogEntry *e = Entry(OpAddRemedy, {"0", std::string("Mind \x02 ") + level,
                                      "Bell.", "Kent", "1"});
    ASSERT_TRUE(LogCheckSymptom(e, ctx, true)) << level;
  }
  std::vector<std::string> book = Book();
  std::vector<std::string> below;
  for (const std::string &p : book)
    if (p.rfind("3|" + heading, 0) == 0)
      below.push_back(p.substr(2 + heading.size() + 3));
  EXPECT_EQ(below, (std::vector<std::string>{"anger", "jealousy", "kindness",
                                             "mania", "zeal"}));
  EXPECT_EQ(std::count(book.begin(), book.end(), "2|" + heading), 1);
  // A one-level path adds nothing; move, split and merge are refused.
  EXPECT_TRUE(LogCheckSymptom(
      Entry(OpAddRemedy, {"0", "Nose", "Acon.", "Kent", "2"}), ctx, true));
  EXPECT_FALSE(LogCheckSymptom(
      Entry(OpSplitSymptom, {"0", "Mind \x02 envy", "x", "y", "1"}), ctx,
      true));
  EXPECT_EQ(Faults(), "");
}

// In a transfer a missing path is re-created where it was, but only for an
// entry that can then be applied: one that names a remedy or author the
// tables do not know, or a note of a remedy that a new level cannot have,
// is refused before anything is written.
TEST_F(SymptomOpsTest, ATransferReCreatesLevelsOnlyForAnEntryThatCanAddToThem) {
  TblHandle at = TblCreateAt("at", 1, 1);
  ASSERT_NE(at, 0);
  OpContext ctx = Ctx();
  ctx.assoc = at;
  const std::string path = "Mind \x02 jealousy \x02 love";
  const std::vector<std::string> before = Book();
  struct Case {
    std::vector<std::string> fields;
    int op;
    bool goesOn;
    int message;
  } refused[] = {
      {{"0", path, "Old-acon.", "Kent", "2"},
       OpAddRemedy,
       false,
       kMsgRemedyNotFound},
      {{"0", path, "Acon.", "Old-kent", "2"},
       OpAddRemedy,
       false,
       kMsgAuthorNotFound},
      {{"0", path, "Old-acon.", "0", "1", "1", "title", "file"},
       OpAddLink,
       false,
       kMsgRemedyNotFound},
      // Handed on as not found, for the handler to tell the same.
      {{"0", path, "1", "Acon.", "Kent", "2", "0", "", "note"},
       OpChangeNote,
       true,
       kMsgSymptomNotFound},
  };
  for (const Case &c : refused) {
    LogEntry *e = Entry(c.op, c.fields);
    std::string whole = e->text;
    LogLastMessage = 0;
    EXPECT_EQ(LogCheckSymptom(e, ctx, false), c.goesOn) << c.fields[2];
    EXPECT_EQ(LogLastMessage, c.message) << c.fields[2];
    EXPECT_EQ(std::string(e->text), whole) << "whole again";
    EXPECT_EQ(Book(), before) << "nothing written for " << c.fields[2];
  }

  // Names the tables know: the levels come back where they were, and the
  // addition lands on them.
  LogEntry *add = Entry(OpAddRemedy, {"0", path, "Acon.", "Kent", "2"});
  ASSERT_TRUE(LogCheckSymptom(add, ctx, false));
  EXPECT_TRUE(Exists(path));
  ASSERT_EQ(LogDispatch(add, ctx), 0);
  Symptom love = Find(path);
  EXPECT_EQ(Remedies(love.Num, love.Sub).size(), 1u);
  // A note of the symptom itself names no remedy: it may go on a new level.
  EXPECT_TRUE(
      LogCheckSymptom(Entry(OpChangeNote, {"0", "Mind \x02 envy", "1", "0", "0",
                                           "0", "0", "", "note"}),
                      ctx, false));
  EXPECT_TRUE(Exists("Mind \x02 envy"));
  DbCloseFile(at);
  EXPECT_EQ(Faults(), "");
}

} // namespace
