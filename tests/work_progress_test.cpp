// Long jobs: the percent arithmetic as the bar shows it, the Progress
// window's events, and the ways a job is cancelled while what it did stays.
#include "services/work.h"
#include "toolkit_support.h"

#include <csignal>
#include <cstdio>

namespace {

std::string Line(int id) {
  char buf[300];
  const char *t =
      xvt_vobj_get_title(xvt_win_get_ctl(ProgressWindow, id), buf, sizeof buf);
  return t ? t : "<none>";
}

int BlocksOnCanvas() {
  XvtWin *w = XvtFindWin(ProgressWindow);
  int n = 0;
  if (w != nullptr)
    for (const XvtDrawOp &op : w->canvas)
      n += op.color == kWorkBlockColor;
  return n;
}

// Each job runs its checks inside the Progress window, as real jobs do.
TEST_F(ToolkitTest, ZeroOfAHundredShowsZeroPercentAndOneBlock) {
  WorkRun([](WINDOW win) {
    EXPECT_EQ(win, ProgressWindow);
    EXPECT_EQ(1, WorkKeepGoing);
    WorkProgress(0, 100, "Listing", "the log");
    EXPECT_EQ("0 %", Line(3));
    EXPECT_EQ("Listing", Line(1));
    EXPECT_EQ("the log", Line(2));
    EXPECT_EQ(1, WorkBar.blocks);
    EXPECT_EQ(1, BlocksOnCanvas());
    WorkClose();
  });
  EXPECT_EQ(NULL_WIN, ProgressWindow);
}

TEST_F(ToolkitTest, SmallPositionsOfLargeTotalsGiveACoarsePercent) {
  WorkRun([](WINDOW) {
    struct {
      long pos, total;
      int percent;
    } cases[] = {
        {3, 1000, 0},     // q = 33333
        {10, 1000, 1},    // q = 10000
        {333, 1000, 33},  // q = 300
        {990, 1000, 99},  // q = 101
        {999, 1000, 100}, // q = 100: the last entries already show 100
        {50, 0, 50},      // a total of 0 stands for 100
        {150, 100, 100},  // beyond the total
        {-5, 100, 100},   // below 0
    };
    for (auto &c : cases) {
      WorkProgress(c.pos, c.total, nullptr, nullptr);
      EXPECT_EQ(c.percent, WorkBar.percent) << c.pos << " of " << c.total;
    }
    WorkClose();
  });
}

TEST_F(ToolkitTest, ALowerPercentChangesNothingOnTheScreen) {
  WorkRun([](WINDOW) {
    WorkProgress(50, 100, "first", "second");
    int blocks = BlocksOnCanvas(), redraws = WorkBar.redraws;
    size_t ops = XvtFindWin(ProgressWindow)->canvas.size();
    WorkProgress(40, 100, "not shown", nullptr);
    EXPECT_EQ("50 %", Line(3));
    EXPECT_EQ("first", Line(1));
    EXPECT_EQ(blocks, BlocksOnCanvas());
    EXPECT_EQ(redraws, WorkBar.redraws);
    EXPECT_EQ(ops, XvtFindWin(ProgressWindow)->canvas.size());
    EXPECT_EQ(40, WorkBar.lastPosition) << "the position is kept all the same";
    WorkClose();
  });
}

TEST_F(ToolkitTest, RepeatingCallsRedrawAndChangeOnlyTheLinesGiven) {
  WorkRun([](WINDOW) {
    WorkProgress(50, 100, "one", "two");
    int redraws = WorkBar.redraws, blocks = BlocksOnCanvas();
    WorkProgress(-1, -1, "a", nullptr);
    EXPECT_EQ("a", Line(1));
    EXPECT_EQ("two", Line(2));
    EXPECT_EQ("50 %", Line(3));
    EXPECT_EQ(redraws + 1, WorkBar.redraws);
    EXPECT_EQ(2 * blocks, BlocksOnCanvas()) << "the blocks are drawn again";
    // -1 for the position takes the last one and forces a redraw.
    WorkProgress(-1, 200, nullptr, nullptr);
    EXPECT_EQ("25 %", Line(3));
    EXPECT_EQ(200, WorkBar.lastTotal);
    WorkClose();
  });
}

TEST_F(ToolkitTest, APositionOfOneStartsTheBlocksOver) {
  WorkRun([](WINDOW) {
    WorkProgress(80, 100, nullptr, nullptr);
    int blocks = BlocksOnCanvas();
    WorkProgress(1, 100, "second table", nullptr);
    EXPECT_EQ(1, WorkBar.lastDrawn);
    EXPECT_EQ("1 %", Line(3));
    EXPECT_EQ("second table", Line(1));
    // Drawn over the old ones, which stay until the window repaints.
    EXPECT_EQ(blocks + WorkBar.blocks, BlocksOnCanvas());
    EXPECT_LT(WorkBar.blocks, blocks);
    EXPECT_FALSE(WorkBar.blocks == 0);
    WorkClose();
  });
}

TEST_F(ToolkitTest, TheBarFillsItsFrameAtAHundred) {
  WorkRun([](WINDOW) {
    WorkProgress(100, 100, nullptr, nullptr);
    const RCT &f = ProgressBarRect;
    EXPECT_LT(f.top, f.bottom);
    EXPECT_LT(f.left, f.right);
    int right = 0;
    for (const XvtDrawOp &op : XvtFindWin(ProgressWindow)->canvas)
      if (op.color == kWorkBlockColor) {
        EXPECT_GE(op.rect.left, f.left + 3);
        EXPECT_LE(op.rect.right, f.right - 3);
        EXPECT_EQ(f.top + 3, op.rect.top);
        EXPECT_EQ(f.bottom - 2, op.rect.bottom);
        right = std::max<int>(right, op.rect.right);
      }
    EXPECT_GE(right, f.right - 3 - 5) << "the last block ends at the frame";
    WorkClose();
  });
}

TEST_F(ToolkitTest, WithoutAProgressWindowReportsDoNothing) {
  ProgressWindow = NULL_WIN;
  WorkBar = WorkBarState{7, 8, 9, 10, 11, 12};
  WorkProgress(5, 10, "x", "y");
  WorkProgress(-1, -1, "x", nullptr);
  EXPECT_EQ(8, WorkBar.percent);
  EXPECT_EQ(9, WorkBar.lastPosition);
  EXPECT_EQ(12, WorkBar.redraws);
  WorkClose();
  EXPECT_EQ(NULL_WIN, ProgressWindow);
}

// ----------------------------------------------------------- cancelling

int gDone;
std::string gReport;

// A job of the usual shape: a report file, a loop that stops when asked,
// the closing report, and WorkClose.
void CountingJob(WINDOW) {
  FILE *f = fopen(gReport.c_str(), "w");
  ASSERT_NE(nullptr, f);
  WorkProgress(0, 100, "Counting", nullptr);
  for (int i = 0; WorkKeepGoing && i < 100; ++i) {
    fprintf(f, "entry %d\n", i);
    ++gDone;
    WorkProgress(i + 1, 100, nullptr, nullptr);
  }
  fprintf(f, "done %d\n", gDone);
  fclose(f);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
}

int ReportLines() {
  return static_cast<int>(TextLines(SlurpFile(gReport)).size());
}

TEST_F(ToolkitTest, ScriptedCancelEndsTheJobKeepingWhatWasDone) {
  Script("wait 3\nclick 4\n");
  gDone = 0;
  gReport = dir + "/report.txt";
  WorkRun(CountingJob);
  EXPECT_EQ(0, WorkKeepGoing);
  EXPECT_GT(gDone, 0);
  EXPECT_LT(gDone, 10);
  EXPECT_EQ(gDone + 1, ReportLines()) << "the report is closed normally";
  EXPECT_EQ(NULL_WIN, ProgressWindow);
}

TEST_F(ToolkitTest, EscCancelsOnlyWithTheProgressWindowInFront) {
  Script("key esc\n");
  gDone = 0;
  gReport = dir + "/report.txt";
  WorkRun(CountingJob);
  EXPECT_EQ(0, WorkKeepGoing);
  EXPECT_EQ(0, gDone) << "heard at the job's first report";

  // The same key with the task window in front reaches the task window.
  Script("key esc\n");
  gDone = 0;
  static int taskChars;
  taskChars = 0;
  auto task = [](WINDOW win, EVENT *ev) -> long {
    if (ev->type == E_CHAR)
      ++taskChars;
    if (ev->type == E_CREATE) {
      WorkRun([](WINDOW) {
        xvt_scr_set_focus_vobj(TASK_WIN);
        CountingJob(NULL_WIN);
      });
    }
    if (ev->type == E_COMMAND && ev->v.cmd.tag == M_FILE_EXIT)
      xvt_vobj_destroy(win);
    return 0;
  };
  XVT_CONFIG cfg = {0, "x", "d", "t"};
  xvt_app_create(0, nullptr, 0, task, &cfg);
  EXPECT_EQ(100, gDone);
  EXPECT_EQ(1, taskChars);
}

TEST_F(ToolkitTest, ClosingTheWindowLetsTheJobRunOn) {
  Script("close\n");
  gDone = 0;
  gReport = dir + "/report.txt";
  WorkRun([](WINDOW win) {
    WorkProgress(0, 100, nullptr, nullptr);
    xvt_app_process_pending_events();
    EXPECT_FALSE(xvt_vobj_is_valid(win));
    EXPECT_EQ(win, ProgressWindow) << "set until WorkClose";
    CountingJob(win);
  });
  EXPECT_EQ(100, gDone);
  EXPECT_EQ(1, WorkKeepGoing);
  EXPECT_EQ(NULL_WIN, ProgressWindow);
}

TEST_F(ToolkitTest, InterruptFromTheTerminalCancelsTheJob) {
  setenv("MANTREL_UI", "console", 1);
  XvtReset();
  XvtConsoleInteractive = 0;
  FILE *out = tmpfile();
  XvtConsoleOut = out;
  gDone = 0;
  gReport = dir + "/report.txt";
  WorkRun([](WINDOW win) {
    FILE *f = fopen(gReport.c_str(), "w");
    for (int i = 0; WorkKeepGoing && i < 1000; ++i) {
      if (i == 10)
        raise(SIGINT); // the person presses Ctrl-C
      ++gDone;
      fprintf(f, "entry %d\n", i);
      WorkProgress(i, 1000, "Interrupted job", nullptr);
    }
    fclose(f);
    WorkClose();
    (void)win;
  });
  EXPECT_EQ(0, WorkKeepGoing);
  EXPECT_GE(gDone, 11);
  EXPECT_LT(gDone, 40) << "heard at the next change of percent";
  EXPECT_EQ(gDone, ReportLines());
  // The usual meaning of Ctrl-C is back once the window has gone.
  struct sigaction now;
  sigaction(SIGINT, nullptr, &now);
  EXPECT_EQ(SIG_DFL, now.sa_handler);
  fclose(out);
  XvtConsoleOut = nullptr;
}

TEST(WorkDeath, ASecondInterruptEndsTheProcess) {
  EXPECT_EXIT(
      {
        XvtReset();
        setenv("MANTREL_UI", "scripted", 1);
        WorkRun([](WINDOW) {
          raise(SIGINT);
          WorkProgress(5, 10, nullptr, nullptr);
          fputs(WorkKeepGoing ? "still going\n" : "cancelled\n", stderr);
          raise(SIGINT);
          fputs("survived\n", stderr);
          exit(0);
        });
      },
      ::testing::KilledBySignal(SIGINT), "cancelled");
}

// Without a terminal the console writes at most one line per tenth.
TEST_F(ToolkitTest, ConsoleProgressWithoutATerminalIsShort) {
  setenv("MANTREL_UI", "console", 1);
  XvtReset();
  XvtConsoleInteractive = 0;
  std::string path = dir + "/out.txt";
  FILE *out = fopen(path.c_str(), "w+");
  ASSERT_NE(nullptr, out);
  XvtConsoleOut = out;
  WorkRun([](WINDOW) {
    WorkProgress(0, 5000, "Big table", "rebuilding");
    for (int i = 1; i <= 5000; ++i)
      WorkProgress(i, 5000, nullptr, nullptr);
    WorkClose();
  });
  fclose(out);
  XvtConsoleOut = nullptr;
  std::vector<std::string> lines = TextLines(SlurpFile(path));
  ASSERT_GE(lines.size(), 3u);
  EXPECT_LE(lines.size(), 11u);
  EXPECT_THAT(lines.front(), HasSubstr("Big table  rebuilding  0 %  [...."));
  EXPECT_THAT(lines.back(),
              HasSubstr("100 %  [##############################]"));
}

TEST_F(ToolkitTest, WorkingDialogShowsWhatIsRebuilt) {
  static int loaded;
  loaded = 0;
  WorkLoadTexts = [](WINDOW, int rid) { loaded = rid; };
  ShowRepairProgress("Rebuilding the word index");
  WorkLoadTexts = nullptr;
  ASSERT_NE(NULL_WIN, WorkingDialog);
  EXPECT_EQ(kWorkWorkingRes, loaded);
  char buf[100];
  EXPECT_STREQ(
      "Rebuilding the word index",
      xvt_vobj_get_title(xvt_win_get_ctl(WorkingDialog, 2), buf, sizeof buf));
  EXPECT_STREQ("Working ...",
               xvt_vobj_get_title(WorkingDialog, buf, sizeof buf));
  WINDOW dlg = WorkingDialog;
  HideRepairProgress();
  EXPECT_FALSE(xvt_vobj_is_valid(dlg));
  EXPECT_EQ(NULL_WIN, WorkingDialog);
  HideRepairProgress(); // twice is harmless
}

} // namespace
