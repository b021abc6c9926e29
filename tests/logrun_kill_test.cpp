// The main job killed at random moments: "mantrel /RUN" on a copy of the
// demonstration installation with a log of remedy entries that all apply,
// stopped with SIGKILL. After each kill, with no rebuild by hand, every
// table passes "tbltool check", the repertory passes "tbltool verify", and
// running the rest of the log (the entries after those that the own log
// holds) leaves every table, counters included, as an uninterrupted run
// leaves it ("tbltool dump"). And the run on a disk that fills: a file size
// limit stops it at the first failed write, it ends non-zero, and the
// repertory verifies.
//
// MANTREL_KILL_ROUNDS sets the number of kills (scripts/killtest.sh asks
// for hundreds).
#include "logentry/logentry.h"
#include "platform/strutil.h"
#include "store/sptpath.h"
#include "store/store.h"
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using ::testing::HasSubstr;

// An entry of the generated log.
struct Planned {
  uint16_t operation;
  int32_t symptomId;
  std::string text;
};

// Remedy entries on the demo's symptoms, one symptom each, that all apply:
// add a remedy the symptom lacks, change the degree of one it has, delete
// one it has. Read from the demo through the store.
std::vector<Planned> PlanEntries(int count) {
  std::vector<Planned> out;
  TblHandle sym = TblOpenSymptom("..\\data\\salm2009\\symptom", 0, 1);
  // Paths are read through a handle of their own: the walk keeps its place.
  TblHandle paths = TblOpenSymptom("..\\data\\salm2009\\symptom", 0, 1);
  TblHandle rem = TblOpenRemed("..\\system\\remed", 1, 1);
  TblHandle aut = TblOpenAuthor("..\\system\\author", 1, 1);
  if (sym == 0 || paths == 0 || rem == 0 || aut == 0)
    return out;
  std::map<int, std::string> remedies, authors;
  Remed r;
  memset(&r, 0, sizeof r);
  r.CursorState = 0xff;
  for (int e = TblFindFullRemed(rem, &r, 0, kFindFirst); e == 0;
       e = TblFindFullRemed(rem, &r, 0, kFindNext))
    if (r.Id < 3161) // not the user-defined range
      remedies[r.Id] = r.Abbrev;
  Author a;
  memset(&a, 0, sizeof a);
  a.CursorState = 0xff;
  for (int e = TblFindFullAuthor(aut, &a, 0, kFindFirst); e == 0;
       e = TblFindFullAuthor(aut, &a, 0, kFindNext))
    if (a.Id < 886)
      authors[a.Id] = a.Abbrev;
  Symptom s;
  memset(static_cast<void *>(&s), 0, sizeof s);
  s.CursorState = 0xff;
  s.Remedies = TblAllocSymptomRemed(64);
  for (int e = TblFindFullSymptom(sym, &s, 0, kFindFirst);
       e == 0 && static_cast<int>(out.size()) < count;
       e = TblFindFullSymptom(sym, &s, 0, kFindNext)) {
    if (s.Level < 2 || s.Remedies[0].RemedyId == 0 || s.UniqueId <= 0)
      continue;
    const SymptomRemedy &first = s.Remedies[0];
    auto au = authors.find(first.AuthorId & kAuthorMask);
    auto re = remedies.find(first.RemedyId);
    if (au == authors.end() || re == remedies.end())
      continue;
    char path[kSptPathSize];
    if (GetLevelsFromSptNum(paths, 1, path, s.Num, s.Sub) != 0)
      continue;
    std::string sep(1, kLogFieldSep);
    Planned p;
    p.symptomId = s.UniqueId;
    int kind = static_cast<int>(out.size()) % 3;
    if (kind == 0) {
      // The first remedy of the catalogue that the symptom does not hold.
      p.operation = OpAddRemedy;
      std::string abbrev;
      for (auto &[id, ab] : remedies) {
        bool held = false;
        for (int i = 0; s.Remedies[i].RemedyId != 0; ++i)
          held = held || s.Remedies[i].RemedyId == id;
        if (!held) {
          abbrev = ab;
          break;
        }
      }
      p.text = "0" + sep + path + sep + abbrev + sep + authors.begin()->second +
               sep + std::to_string(1 + out.size() % 4);
    } else {
      p.operation = kind == 1 ? OpChangeDegree : OpDeleteRemedy;
      p.text = "0" + sep + path + sep + re->second + sep + au->second + sep +
               std::to_string(first.Degree);
      if (kind == 1)
        p.text += sep + std::to_string(first.Degree % 4 + 1);
    }
    out.push_back(p);
  }
  TblFreeSymptomRemed(&s);
  DbCloseFile(paths);
  DbCloseFile(sym);
  DbCloseFile(rem);
  DbCloseFile(aut);
  return out;
}

// Writes entries [from, to) of the plan as the log "..\log\kill", numbered
// from 1 as in the whole log.
bool WriteLog(const std::vector<Planned> &plan, size_t from) {
  fs::remove("../log/kill.dat");
  fs::remove("../log/kill.idx");
  TblHandle log = TblCreateRlog("..\\log\\kill", 0, 1, 3);
  if (log == 0)
    return false;
  static char text[kLogTextSize];
  bool ok = true;
  for (size_t i = from; i < plan.size() && ok; ++i) {
    LogEntry e;
    LogClearEntry(&e, text);
    StrCopy(text, kLogTextSize, plan[i].text.c_str());
    e.number = static_cast<int32_t>(i + 1);
    e.operation = plan[i].operation;
    e.date = 45000;
    e.time = static_cast<uint32_t>(36000 + i);
    e.symptomId = plan[i].symptomId;
    ok = TblSaveRlog(log, &e, kSaveAdd) == 0;
  }
  return DbCloseFile(log) == 0 && ok;
}

// The tables a remedy run writes or reads, as tbltool names them.
const std::vector<std::pair<const char *, const char *>> kTables = {
    {"symptom", "..\\data\\salm2009\\symptom"},
    {"extract", "..\\data\\salm2009\\extract"},
    {"word", "..\\data\\salm2009\\word1"},
    {"word", "..\\data\\salm2009\\word2"},
    {"note", "..\\data\\salm2009\\Note"},
    {"link", "..\\data\\salm2009\\Link"},
    {"view", "..\\data\\salm2009\\View"},
    {"rlog", "..\\log\\SALM2009"},
    {"rlog", "..\\log\\kill"},
    {"remed", "..\\system\\remed"},
    {"author", "..\\system\\author"},
    {"symptom", "..\\data\\calm2009\\symptom"},
    {"exsp", "..\\data\\calm2009\\extrspt"},
};

class KillTest : public ::testing::Test {
protected:
  void SetUp() override {
    base_ = scratch_.path();
    pristine_ = base_ / "pristine";
    ASSERT_EQ(BuildDemo(pristine_), 0);
    scratch_.Enter("pristine/bin");
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    plan_ = PlanEntries(450);
    ownBefore_ = OwnCount();
    bool written = WriteLog(plan_, 0);
    DbTerminate("A-Mantrel");
    scratch_.Leave();
    ASSERT_TRUE(written);
    ASSERT_GE(plan_.size(), 300u);
  }

  // A fresh copy of the installation with the whole log.
  fs::path Copy(const char *name) {
    fs::path to = base_ / name;
    fs::remove_all(to);
    fs::copy(pristine_, to, fs::copy_options::recursive);
    return to;
  }

  // The run as an installer starts it, in the installation's bin folder.
  static std::string RunLine(const fs::path &demo) {
    return "cd '" + (demo / "bin").string() +
           "' && exec env -u MANTREL_SCRIPT MANTREL_UI=scripted "
           "MANTREL_VIEWER=true " +
           BuiltProgram("mantrel") +
           " /RUN '..\\log\\kill' 1 >/dev/null 2>&1 </dev/null";
  }
  // The run started in a child of its own, with a file size limit when
  // `limit` is not 0.
  static pid_t StartRun(const fs::path &demo, rlim_t limit = 0) {
    pid_t pid = fork();
    if (pid == 0) {
      struct rlimit lim {
        limit, limit
      };
      if (limit != 0)
        setrlimit(RLIMIT_FSIZE, &lim);
      execl("/bin/sh", "sh", "-c", RunLine(demo).c_str(),
            static_cast<char *>(nullptr));
      _exit(127);
    }
    return pid;
  }
  // tbltool with `args` in the installation's bin folder, its output in
  // `out`; answers its exit code.
  static int Tbltool(const fs::path &demo, const std::string &args,
                     const fs::path &out) {
    return RunCommand("cd '" + (demo / "bin").string() + "' && " +
                      BuiltProgram("tbltool") + " " + args + " >'" +
                      out.string() + "' 2>&1");
  }

  // Every table of the installation, as tbltool dumps it.
  static std::string Dumps(const fs::path &demo) {
    std::string all;
    for (auto &[kind, path] : kTables) {
      if (strcmp(path, "..\\log\\kill") == 0)
        continue; // the log run, not a result
      fs::path out = demo / "dump.txt";
      int rc =
          Tbltool(demo, std::string("dump ") + kind + " '" + path + "'", out);
      all += std::string("== ") + path + " " + std::to_string(rc) + "\n" +
             SlurpFile(out);
    }
    return all;
  }

  // "tbltool check" of every table and "tbltool verify" of the repertory;
  // answers what failed.
  static std::string Checks(const fs::path &demo) {
    std::string failed;
    for (auto &[kind, path] : kTables) {
      if (strcmp(path, "..\\log\\kill") == 0 &&
          !fs::exists(demo / "log" / "kill.dat"))
        continue; // a finished run moved the log away
      fs::path out = demo / "check.txt";
      if (Tbltool(demo, std::string("check ") + kind + " '" + path + "'", out))
        failed += std::string("check ") + path + ": " + SlurpFile(out) + "\n";
    }
    fs::path out = demo / "verify.txt";
    if (Tbltool(demo, "verify '..\\data\\salm2009'", out) != 0)
      failed += "verify: " + SlurpFile(out) + "\n";
    return failed;
  }

  // The rest of the log, from the first entry the own log does not hold,
  // written as the log of the next run unless `write` is false; answers the
  // entries done, -1 when the log could not be written.
  int Resume(const fs::path &demo, bool write = true) {
    scratch_.Enter(fs::relative(demo / "bin", base_));
    EXPECT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    int done = OwnCount() - ownBefore_;
    bool written =
        done >= 0 && (!write || WriteLog(plan_, static_cast<size_t>(done)));
    DbTerminate("A-Mantrel");
    scratch_.Leave();
    return written ? done : -1;
  }

  int OwnCount() {
    TblHandle h = TblOpenRlog("..\\log\\SALM2009", 0, 1);
    if (h == 0)
      return -1;
    int n = static_cast<int>(DbCountEntries(h));
    DbCloseFile(h);
    return n;
  }

  ScratchFolder scratch_{"kill"};
  fs::path base_, pristine_;
  std::vector<Planned> plan_;
  int ownBefore_ = 0;
};

TEST_F(KillTest, EveryKillLeavesTablesThatCheckAndResumeToTheSameEnd) {
  // The uninterrupted run gives the tables to reach; watching its own log
  // grow tells when it applies its entries, where most kills should fall.
  fs::path ref = Copy("ref");
  fs::path own = ref / "log" / "SALM2009.dat";
  const uintmax_t size0 = fs::file_size(own);
  auto t0 = std::chrono::steady_clock::now();
  auto since = [&] {
    return static_cast<int>(
        std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - t0)
            .count());
  };
  pid_t refPid = StartRun(ref);
  ASSERT_GE(refPid, 0);
  int firstUs = -1, refStatus = 0;
  uintmax_t seen = size0;
  while (waitpid(refPid, &refStatus, WNOHANG) == 0) {
    std::error_code ec;
    uintmax_t now = fs::file_size(own, ec);
    if (!ec && now != seen) {
      seen = now;
      if (firstUs < 0)
        firstUs = since();
    }
    usleep(100);
  }
  ASSERT_TRUE(WIFEXITED(refStatus) && WEXITSTATUS(refStatus) == 0);
  ASSERT_GE(firstUs, 0);
  ASSERT_EQ(Checks(ref), "");
  const std::string want = Dumps(ref);
  ASSERT_THAT(want, HasSubstr("\"Type\"")); // the counters too

  const char *env = getenv("MANTREL_KILL_ROUNDS");
  const int rounds = env != nullptr && atoi(env) > 0 ? atoi(env) : 30;
  std::mt19937 rng(static_cast<unsigned>(time(nullptr)));
  int midRun = 0;
  std::string doneAt; // entries done at each kill, -1 for a finished run
  for (int round = 0; round < rounds; ++round) {
    fs::path demo = Copy("k");
    // A fifth of the kills at a moment before the entries (the start, the
    // log's rebuild, the opens); the rest when the own log has grown to a
    // chosen size, a little later: at any point of an entry or of the close.
    pid_t pid = StartRun(demo);
    ASSERT_GE(pid, 0);
    int waitUs = 0;
    bool reaped = false;
    if (round % 5 == 0) {
      waitUs = std::uniform_int_distribution<int>(0, firstUs)(rng);
      usleep(static_cast<useconds_t>(waitUs));
    } else {
      uintmax_t target =
          std::uniform_int_distribution<uintmax_t>(size0, seen + 1000)(rng);
      fs::path grows = demo / "log" / "SALM2009.dat";
      int polled = 0;
      for (;;) {
        std::error_code ec;
        uintmax_t now = fs::file_size(grows, ec);
        if ((!ec && now >= target) || ++polled > 200000)
          break;
        if (waitpid(pid, nullptr, WNOHANG) == pid) {
          reaped = true; // it ended by itself
          break;
        }
        usleep(50);
      }
      waitUs = std::uniform_int_distribution<int>(0, 800)(rng);
      usleep(static_cast<useconds_t>(waitUs));
    }
    if (!reaped) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    std::string where = "round " + std::to_string(round) + ", killed after " +
                        std::to_string(waitUs) + " us";

    // No rebuild by hand: the first program that opens a table mends it.
    ASSERT_EQ(Checks(demo), "") << where;

    bool finished = !fs::exists(demo / "log" / "kill.dat");
    int done = Resume(demo, !finished);
    ASSERT_GE(done, 0) << where;
    ASSERT_LE(done, static_cast<int>(plan_.size())) << where;
    doneAt += " " + std::to_string(finished ? -1 : done);
    if (!finished) {
      if (done > 0 && done < static_cast<int>(plan_.size()))
        ++midRun;
      ASSERT_EQ(RunCommand(RunLine(demo)), 0) << where;
    }
    std::string got = Dumps(demo);
    ASSERT_TRUE(got == want) << where << ", " << done << " entries done";
  }
  // Most kills fall in the middle of the run's entries.
  EXPECT_GT(midRun, rounds / 3) << "entries done:" << doneAt;
  printf("entries done at the kills (of %zu):%s\n", plan_.size(),
         doneAt.c_str());
}

TEST_F(KillTest, TheNextRunMendsWhatAKillLeftAndSaysSo) {
  fs::path demo = Copy("next");
  fs::path own = demo / "log" / "SALM2009.dat";
  const uintmax_t size0 = fs::file_size(own);
  pid_t pid = StartRun(demo);
  ASSERT_GE(pid, 0);
  // Killed once a few entries are in.
  bool ended = false;
  for (int i = 0; i < 400000 && !ended; ++i) {
    std::error_code ec;
    if (fs::file_size(own, ec) > size0 + 3000 && !ec)
      break;
    ended = waitpid(pid, nullptr, WNOHANG) == pid;
    usleep(50);
  }
  ASSERT_FALSE(ended) << "the run ended before it could be killed";
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  ASSERT_TRUE(fs::exists(demo / "data" / "salm2009" / "mantrel.jnl"));

  // The same log again, at once: the run starts without a rebuild by hand,
  // and its errors report names the tables it mended.
  ASSERT_EQ(RunCommand(RunLine(demo)), 0);
  std::string err = SlurpFile(demo / "log" / "kill.err");
  EXPECT_THAT(
      err, HasSubstr("symptom.dat: the index no longer matched the data file "
                     "and was rebuilt"))
      << err.substr(0, 2000);
  EXPECT_THAT(err, HasSubstr("SALM2009.dat: the index no longer matched"))
      << err.substr(0, 2000);
  EXPECT_FALSE(fs::exists(demo / "data" / "salm2009" / "mantrel.jnl"));
  EXPECT_EQ(Checks(demo), "");

  // An index that is simply missing (no journal names the table) is
  // rebuilt by the run too, with its line.
  fs::path again = Copy("again");
  fs::remove(again / "data" / "salm2009" / "Note.idx");
  ASSERT_EQ(RunCommand(RunLine(again)), 0);
  err = SlurpFile(again / "log" / "kill.err");
  EXPECT_THAT(err, HasSubstr("Note: the index no longer matched"))
      << err.substr(0, 2000);
}

TEST_F(KillTest, AFullDiskStopsTheRunAtTheFirstFailedWrite) {
  fs::path demo = Copy("full");
  // Room for the log's index, the journal and a few dozen entries, then
  // none: the first append past the limit fails.
  uintmax_t largest = 0;
  // Tables only: the programs installed in bin (the copy program) are
  // larger than any of them and are never written by the run.
  for (auto &e : fs::recursive_directory_iterator(demo))
    if (e.is_regular_file() &&
        e.path().lexically_relative(demo).begin()->string() != "bin")
      largest = std::max<uintmax_t>(largest, e.file_size());
  pid_t pid = StartRun(demo, largest + 20000);
  ASSERT_GE(pid, 0);
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by a signal: " << status;
  EXPECT_NE(WEXITSTATUS(status), 0);

  // The reports name the entry it stopped at, and why.
  std::string err = SlurpFile(demo / "log" / "kill.err");
  size_t at = err.find("The run stopped here");
  ASSERT_NE(at, std::string::npos) << err;
  EXPECT_NE(err.find("(H-18)", at), std::string::npos) << err;
  EXPECT_NE(err.find("Log entry number:", at), std::string::npos) << err;
  EXPECT_EQ(Checks(demo), "");

  // What was done is whole: the rest of the log ends as a run without a
  // limit.
  int done = Resume(demo);
  ASSERT_GT(done, 0);
  EXPECT_LT(done, static_cast<int>(plan_.size()));
  ASSERT_EQ(RunCommand(RunLine(demo)), 0);
  fs::path ref = Copy("ref");
  ASSERT_EQ(RunCommand(RunLine(ref)), 0);
  EXPECT_TRUE(Dumps(demo) == Dumps(ref));
}

} // namespace
