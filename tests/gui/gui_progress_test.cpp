// Long jobs in the desktop window: the Progress window drawn as the job
// reports, Cancel and Esc heard while the job runs on the one thread, and
// the Working dialog up for work that lets no events through.
#include "gui_support.h"
#include "services/work.h"
#include "shell/chooser.h"

#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QTest>

namespace {

int gReached = 0;

std::string LabelText(int id) {
  auto *l = Ctl<QLabel>(ProgressWindow, id);
  return l != nullptr ? l->text().toStdString() : "<none>";
}

// Reports each of 2000 entries with a little work between, as a log run does.
void SlowJob(WINDOW) {
  gReached = 0;
  WorkProgress(0, 2000, "Complete list", "entry 0");
  for (int i = 1; i <= 2000 && WorkKeepGoing; ++i) {
    usleep(500);
    gReached = i;
    xvt_app_process_pending_events();
    WorkProgress(i, 2000, nullptr, nullptr);
  }
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
}

bool CancelReady() {
  auto *b = Ctl<QPushButton>(ProgressWindow, kWorkCancelCtl);
  return b != nullptr && b->isVisible() && gReached >= 20;
}

TEST_F(GuiTest, ACancelClickOnTheProgressWindowStopsTheJob) {
  std::string during;
  When(CancelReady, [&during] {
    during = LabelText(1) + "|" + LabelText(3);
    QTest::mouseClick(Ctl<QPushButton>(ProgressWindow, kWorkCancelCtl),
                      Qt::LeftButton);
  });
  WorkRun(SlowJob);
  EXPECT_EQ(0, WorkKeepGoing);
  EXPECT_GE(gReached, 20);
  EXPECT_LT(gReached, 2000) << "the job stopped early";
  EXPECT_THAT(during, ::testing::MatchesRegex("Complete list\\|[0-9]+ %"));
  EXPECT_EQ(NULL_WIN, ProgressWindow);
}

TEST_F(GuiTest, EscOnTheProgressWindowStopsTheJob) {
  When(CancelReady,
       [] { QTest::keyClick(QtWindowWidget(ProgressWindow), Qt::Key_Escape); });
  WorkRun(SlowJob);
  EXPECT_EQ(0, WorkKeepGoing);
  EXPECT_LT(gReached, 2000);
}

// The close box takes the window away; the job goes on to its end.
TEST_F(GuiTest, TheCloseBoxLeavesTheJobGoing) {
  When(CancelReady, [] { QtWindowWidget(ProgressWindow)->close(); });
  WorkRun(SlowJob);
  EXPECT_EQ(1, WorkKeepGoing);
  EXPECT_EQ(2000, gReached);
}

// The same script cancels a job in every backend: here it clicks the real
// Cancel button at the job's fourth report.
TEST_F(GuiTest, AScriptCancelsAtTheReportItWaitsFor) {
  Script("wait 3\nclick 4\n");
  static int reports;
  reports = 0;
  WorkRun([](WINDOW) {
    for (int i = 1; i <= 100 && WorkKeepGoing; ++i) {
      WorkProgress(i, 100, "Counting", nullptr);
      ++reports;
    }
    WorkClose();
  });
  EXPECT_EQ(0, WorkKeepGoing);
  EXPECT_EQ(4, reports);
}

QColor BlockColor() {
  return QColor(static_cast<int>((kWorkBlockColor >> 16) & 0xFF),
                static_cast<int>((kWorkBlockColor >> 8) & 0xFF),
                static_cast<int>(kWorkBlockColor & 0xFF));
}

// Runs of the block colour along the middle of the bar.
int BlocksOnScreen(const QImage &img) {
  const RCT &f = ProgressBarRect;
  int y = (f.top + 3 + f.bottom - 2) / 2;
  int runs = 0;
  bool in = false;
  for (int x = f.left; x < f.right; ++x) {
    bool block = img.pixelColor(x, y) == BlockColor();
    runs += block && !in;
    in = block;
  }
  return runs;
}

TEST_F(GuiTest, TheBarIsDrawnAsTheJobReports) {
  static std::vector<int> seen, counted;
  static QImage at50;
  seen.clear();
  counted.clear();
  WorkRun([](WINDOW win) {
    for (int pc : {10, 50, 100}) {
      WorkProgress(pc, 100, "Statistics", "of the log");
      QtFlush();
      at50 = QtWindowWidget(win)->grab().toImage();
      seen.push_back(BlocksOnScreen(at50));
      counted.push_back(WorkBar.blocks);
      if (pc == 50)
        break;
    }
    EXPECT_EQ("50 %", LabelText(3));
    EXPECT_EQ("of the log", LabelText(2));
    WorkClose();
  });
  ASSERT_EQ(2u, seen.size());
  EXPECT_EQ(counted, seen) << "every block of the model is on the screen";
  EXPECT_LT(seen[0], seen[1]);
  // The frame is sunk: dark above and left, light below and right, against
  // the face of the window.
  const RCT &f = ProgressBarRect;
  QColor face = at50.pixelColor(f.left - 5, f.top + 4);
  QColor above = at50.pixelColor(f.left + 40, f.top);
  QColor below = at50.pixelColor(f.left + 40, f.bottom - 1);
  EXPECT_LT(above.lightness(), face.lightness());
  EXPECT_GT(below.lightness(), above.lightness());
  EXPECT_NE(BlockColor(), at50.pixelColor(f.right - 2, (f.top + f.bottom) / 2))
      << "no block beyond the frame's inner edge";
}

// The Working dialog stands over work that lets no events through: it must
// be on the screen, with its lines, before that work begins.
TEST_F(GuiTest, TheWorkingDialogIsUpBeforeTheWorkBegins) {
  static bool up;
  static std::string line1, line2;
  up = false;
  RunTaskWindow([] {
    memset(CurrentCatalog.RepertoryBlock.Title, 0,
           sizeof CurrentCatalog.RepertoryBlock.Title);
    memcpy(CurrentCatalog.RepertoryBlock.Title, "Almanacum", 9);
    ShowRepairProgress("Rebuilding the symptoms");
    // No event is let through from here until HideRepairProgress.
    QWidget *w = QtWindowWidget(WorkingDialog);
    up = w != nullptr && w->isVisible();
    if (auto *l = Ctl<QLabel>(WorkingDialog, 1))
      line1 = l->text().toStdString();
    if (auto *l = Ctl<QLabel>(WorkingDialog, 2))
      line2 = l->text().toStdString();
    EXPECT_EQ(Qt::WaitCursor, QtWindowWidget(TASK_WIN)->cursor().shape());
    EXPECT_EQ("", QtLayoutProblems(WorkingDialog));
    WINDOW dlg = WorkingDialog;
    HideRepairProgress();
    EXPECT_EQ(nullptr, QtWindowWidget(dlg));
    // The next table of a batch, the cursor still waiting.
    ShowRepairProgress("Rebuilding the words");
    QWidget *next = QtWindowWidget(WorkingDialog);
    EXPECT_TRUE(next != nullptr && next->isVisible());
    auto *l2 = Ctl<QLabel>(WorkingDialog, 2);
    EXPECT_EQ("Rebuilding the words", l2 ? l2->text().toStdString() : "");
    HideRepairProgress();
    xvtv_app_destroy();
  });
  EXPECT_TRUE(up);
  EXPECT_EQ("Almanacum", line1);
  EXPECT_EQ("Rebuilding the symptoms", line2);
}

TEST_F(GuiTest, TheProgressWindowIsTidyAndCentred) {
  RunTaskWindow([] {
    WorkRun([](WINDOW win) {
      WorkProgress(40, 100, "Update repertory from your log file",
                   "..\\log\\syn.dat");
      QtFlush();
      EXPECT_EQ("", QtLayoutProblems(win));
      QPoint d = QtWindowWidget(win)->geometry().center() -
                 QtWindowWidget(TASK_WIN)->geometry().center();
      EXPECT_LE(d.manhattanLength(), 2);
      WorkClose();
    });
    xvtv_app_destroy();
  });
}

} // namespace
