// A renumbering killed in the middle: a child process adds a symptom at
// the head of a block of 1,200, inside an entry of the journal, so that
// the whole block moves with its Extract chains and words; the test kills
// it with SIGKILL at a random moment. Then, with no mending by hand, every
// table passes "tbltool check", the repertory passes "tbltool verify", the
// block holds the symptoms it held or those and the new one, and after
// "tbltool rebuild" of every table the repertory verifies again.
//
// MANTREL_KILL_ROUNDS sets the number of kills.
#include "logrun_support.h"
#include "ops/chainlist.h"
#include "ops/dispatch.h"
#include "ops/wordindex.h"
#include "platform/strutil.h"

#include <chrono>
#include <csignal>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kBlock = 1200;

const std::vector<std::pair<const char *, const char *>> kTables = {
    {"symptom", "rep\\symptom"}, {"extract", "rep\\extract"},
    {"word", "rep\\word1"},      {"word", "rep\\word2"},
    {"note", "rep\\Note"},       {"link", "rep\\Link"}};

class RenumberKillTest : public RepertoryTest {
protected:
  // Chapter 9 with kBlock children, each with two remedies and a word.
  void BuildBlock() {
    TblHandle s = TblOpenSymptom("rep\\symptom", 0, 1);
    TblHandle x = TblOpenExtract("rep\\extract", 0, 1);
    TblHandle w1 = TblOpenWord("rep\\word1", 0, 1);
    ASSERT_TRUE(s && x && w1);
    Symptom c = MakeSymptom(9, 0, 0, 0, "Skin", 900);
    c.Level = 1;
    c.Chapter = 9;
    ASSERT_EQ(TblSaveSymptom(s, &c, kSaveAdd), 0);
    std::vector<ExtractEntry> list;
    static Word word;
    memset(&word, 0, sizeof word);
    word.CursorState = 0xff;
    StrCopy(word.Text, "eruption");
    int inWord = 0;
    for (int i = 1; i <= kBlock; ++i) {
      std::string text = "eruption " + std::to_string(i);
      Symptom y = MakeSymptom(9, static_cast<uint16_t>(i), 9, 0, text.c_str(),
                              1000 + i);
      y.Level = 2;
      y.Chapter = 9;
      y.RemedyCount = 2;
      y.Remedies = TblAllocSymptomRemed(3);
      y.Remedies[0] = {kNuxA, 2, kKent, 0};
      y.Remedies[1] = {kSulph, 3, kHering, 0};
      ASSERT_EQ(TblSaveSymptom(s, &y, kSaveAdd), 0);
      TblFreeSymptomRemed(&y);
      list.push_back({9, static_cast<uint16_t>(i), 0, 0, 0});
      word.Entries[inWord++] = {9, static_cast<uint16_t>(i), 9,
                                static_cast<uint16_t>(i)};
      if (inWord == 200 || i == kBlock) {
        word.Entries[inWord] = ChainWordTerminator();
        ASSERT_EQ(TblSaveWord(w1, &word, kSaveAdd), 0);
        ++word.Seq;
        inWord = 0;
      }
    }
    for (auto [remedy, degree, author] :
         {std::tuple<uint16_t, uint8_t, uint16_t>{kNuxA, 2, kKent},
          {kSulph, 3, kHering}}) {
      Extract e = ExtractKey(remedy);
      for (size_t at = 0; at < list.size(); at += 200, ++e.Seq) {
        size_t n = std::min<size_t>(200, list.size() - at);
        for (size_t k = 0; k < n; ++k)
          e.Entries[k] = {9, list[at + k].Sub, degree, author, 0};
        e.Entries[n] = ChainExtractTerminator();
        ASSERT_EQ(TblSaveExtract(x, &e, kSaveAdd), 0);
      }
    }
    DbCloseFile(s);
    DbCloseFile(x);
    DbCloseFile(w1);
  }

  // The add in a child process; answers its pid.
  pid_t StartAdd() {
    pid_t pid = fork();
    if (pid != 0)
      return pid;
    OpenTables();
    OpenWordTables();
    OpContext ctx = Ctx(nullptr);
    ctx.views = 0;
    if (DbJournalOpen("rep\\run") != 0)
      _exit(3);
    DbEntryBegin();
    LogEntry *e =
        Entry(OpAddSymptomAfter, {"0", "Skin", "0", "acne", "1", "acn\xe9"});
    e->operation = OpAddSymptomBelow;
    int r = LogDispatch(e, ctx);
    if (r != 0 || DbEntryCommit() != 0 || DbJournalClose() != 0)
      _exit(4);
    _exit(0);
  }

  std::string Tool(const std::string &args) {
    std::string out = (root_ / "tool.txt").string();
    int rc =
        RunCommand("cd '" + root_.string() + "' && " + BuiltProgram("tbltool") +
                   " " + args + " >'" + out + "' 2>&1");
    return rc == 0 ? "" : args + ": " + SlurpFile(out) + "\n";
  }

  // The symptoms of block 9.
  int BlockCount() {
    TblHandle s = TblOpenSymptom("rep\\symptom", 1, 1);
    Symptom y = MakeSymptom(9, 0, 0, 0, "");
    int n = 0;
    for (int err = TblFindFullSymptom(s, &y, 0, kFindAtOrAfter);
         err == 0 && y.Num == 9; err = TblFindFullSymptom(s, &y, 0, kFindNext))
      ++n;
    TblFreeSymptomRemed(&y);
    DbCloseFile(s);
    return n;
  }
};

TEST_F(RenumberKillTest, AKillLeavesTheBlockAsItWasOrDone) {
  BuildBlock();
  ASSERT_EQ(Tool("verify rep"), "");
  fs::copy(root_ / "rep", root_ / "base", fs::copy_options::recursive);
  const char *env = getenv("MANTREL_KILL_ROUNDS");
  int rounds = env != nullptr ? std::max(1, atoi(env)) : 6;

  // An add left to finish: how long it takes, and its end state.
  auto t0 = std::chrono::steady_clock::now();
  int status = 0;
  waitpid(StartAdd(), &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  long full = std::chrono::duration_cast<std::chrono::microseconds>(
                  std::chrono::steady_clock::now() - t0)
                  .count();
  ASSERT_EQ(BlockCount(), kBlock + 2);
  ASSERT_EQ(Tool("verify rep"), "");

  std::mt19937 rnd(11);
  int before = 0, after = 0;
  for (int round = 0; round < rounds; ++round) {
    fs::remove_all(root_ / "rep");
    fs::copy(root_ / "base", root_ / "rep", fs::copy_options::recursive);
    pid_t pid = StartAdd();
    usleep(static_cast<useconds_t>(
        std::uniform_int_distribution<long>(0, full / 2)(rnd)));
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    std::string failed;
    for (auto &[kind, path] : kTables)
      failed += Tool(std::string("check ") + kind + " '" + path + "'");
    failed += Tool("verify rep");
    ASSERT_EQ(failed, "") << "round " << round;
    int n = BlockCount();
    ASSERT_TRUE(n == kBlock + 1 || n == kBlock + 2) << n;
    (n == kBlock + 1 ? before : after)++;
    for (auto &[kind, path] : kTables)
      failed += Tool(std::string("rebuild ") + kind + " '" + path + "'");
    failed += Tool("verify rep");
    ASSERT_EQ(failed, "") << "round " << round << " after the rebuild";
    EXPECT_EQ(BlockCount(), n);
  }
  // Kills before the entry began or inside it undo it all; the counts tell
  // a reader how the kills fell.
  RecordProperty("undone", before);
  RecordProperty("finished", after);
}

} // namespace
