// The pictures of docs/screenshots: made when MANTREL_SHOT_DIR names the
// folder to write them to (scripts/screenshots.sh does that, under Xvfb when
// it is there). Each picture is checked for tidiness before it is written.
#include "gui_demo.h"
#include "gui_support.h"
#include "platform/strutil.h"
#include "services/work.h"
#include "shell/logprefs.h"

#include <QAbstractButton>
#include <QDir>
#include <QFileDialog>
#include <QImage>
#include <QMessageBox>
#include <sys/stat.h>

namespace {

class GuiShots : public GuiTest {
protected:
  std::string shots;
  void SetUp() override {
    const char *d = getenv("MANTREL_SHOT_DIR");
    if (d == nullptr || *d == '\0')
      GTEST_SKIP() << "MANTREL_SHOT_DIR names no folder for the screenshots";
    shots = d;
    GuiTest::SetUp();
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(shots))) << shots;
    QtIdleLimitMs = 20000;
  }
  void Shot(const char *name) {
    std::string path = shots + "/" + name;
    EXPECT_EQ(0, QtSaveScreen(path.c_str())) << path;
    QImage img(QString::fromStdString(path));
    EXPECT_FALSE(img.isNull()) << path;
    EXPECT_GT(img.width(), 200) << path;
  }
};

std::string gShotsDir;

// The task window as the start sequence leaves it.
void Dress() {
  xvt_win_set_doc_title(TASK_WIN, "Mantrel 10.5 - Almanacum 2009");
  xvt_menu_set_item_enabled(TASK_WIN, 1004, true);
  xvt_menu_update(TASK_WIN);
}

TEST_F(GuiShots, TaskWindowWithItsMenu) {
  gShotsDir = shots;
  RunTaskWindow([] {
    Dress();
    ASSERT_TRUE(QtOpenMenuOf(1017));
    EXPECT_EQ(0, QtSaveScreen((gShotsDir + "/task-window-menu.png").c_str()));
    QtCloseMenus();
    xvtv_app_destroy();
  });
}

TEST_F(GuiShots, ProgressWindowOfARunningJob) {
  gShotsDir = shots;
  RunTaskWindow([] {
    Dress();
    WorkRun([](WINDOW win) {
      WorkProgress(0, 10012, "Complete list of the log file",
                   "..\\log\\syn.dat");
      for (long i = 1; i <= 3705; i += 37)
        WorkProgress(i, 10012, nullptr, nullptr);
      QtFlush();
      EXPECT_EQ("", QtLayoutProblems(win));
      EXPECT_EQ(0, QtSaveScreen((gShotsDir + "/progress-window.png").c_str()));
      WorkClose();
    });
    xvtv_app_destroy();
  });
}

TEST_F(GuiShots, ADialogWithEveryKindOfControl) {
  gShotsDir = shots;
  RunTaskWindow([] {
    Dress();
    WINDOW dlg = RunEveryDialog(WD_MODELESS, [](WINDOW win) {
      xvt_ctl_set_checked(xvt_win_get_ctl(win, 3), true);
      xvt_list_set_sel(xvt_win_get_ctl(win, 14), 0, true);
      xvt_list_set_sel(xvt_win_get_ctl(win, 14), 2, true);
    });
    QtFlush();
    EXPECT_EQ("", QtLayoutProblems(dlg));
    EXPECT_EQ(0, QtSaveScreen((gShotsDir + "/dialog-controls.png").c_str()));
    xvt_vobj_destroy(dlg);
    xvtv_app_destroy();
  });
}

std::string gLogDir;

TEST_F(GuiShots, AskBoxAndFileChooser) {
  gShotsDir = shots;
  gLogDir = dir + "/log";
  mkdir(gLogDir.c_str(), 0755);
  for (const char *f : {"syn.dat", "syn.idx", "kent.dat", "own.dat", "own.txt"})
    std::ofstream(gLogDir + "/" + f) << "x";
  RunTaskWindow([] {
    Dress();
    When([] { return qobject_cast<QMessageBox *>(QtBoxWidget()) != nullptr; },
         [] {
           EXPECT_EQ(0, QtSaveScreen((gShotsDir + "/ask-box.png").c_str()));
           qobject_cast<QMessageBox *>(QtBoxWidget())->buttons()[1]->click();
         });
    EXPECT_EQ(2, xvt_dm_post_ask("Yes", "No", nullptr,
                                 "Rebuild the word index of language 1?"));
    When([] { return qobject_cast<QFileDialog *>(QtBoxWidget()) != nullptr; },
         [] {
           EXPECT_EQ(0,
                     QtSaveScreen((gShotsDir + "/file-chooser.png").c_str()));
           qobject_cast<QFileDialog *>(QtBoxWidget())->reject();
         });
    FILE_SPEC fs = {};
    StrCopy(fs.dir.path, gLogDir.c_str());
    StrCopy(fs.type, "dat");
    EXPECT_EQ(FL_CANCEL, xvt_dm_post_file_open(&fs, "Choose a log file"));
    xvtv_app_destroy();
  });
}

TEST_F(GuiShots, ViewerOfATextReport) {
  std::string report = dir + "/syn.rpt";
  std::ofstream(report)
      << "Statistics of the log ..\\log\\syn.dat\r\n\r\n"
         "Operation                         Done  Errors\r\n"
         "Add a remedy                      1204       3\r\n"
         "Change a degree                    311       0\r\n"
         "Rename a symptom (caf\xE9, \x80 5)         12       1\r\n";
  std::string why;
  QWidget *v = QtOpenViewer(report.c_str(), &why);
  ASSERT_NE(nullptr, v) << why;
  v->resize(560, 220);
  Shot("viewer.png");
  v->close();
}

// The repertory chooser of the start, on the demo installation.
class DemoShots : public DemoTest {
protected:
  void SetUp() override {
    const char *d = getenv("MANTREL_SHOT_DIR");
    if (d == nullptr || *d == '\0')
      GTEST_SKIP() << "MANTREL_SHOT_DIR names no folder for the screenshots";
    gShotsDir = d;
    DemoTest::SetUp();
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(gShotsDir)));
    QtIdleLimitMs = 20000;
  }
};

TEST_F(DemoShots, RepertoryChooserOfTheDemo) {
  int rows = 0;
  RunDemoProgram([&rows] {
    When([] { return ChooserRow("2012") >= 0; },
         [&rows] {
           WINDOW dlg = OpenWindowOf(kChooserRes);
           rows = ChooserList()->count();
           EXPECT_EQ("", QtLayoutProblems(dlg));
           EXPECT_EQ(
               0, QtSaveScreen((gShotsDir + "/repertory-chooser.png").c_str()));
           QTest::mouseClick(Ctl<QPushButton>(dlg, kChooserCancel),
                             Qt::LeftButton);
         });
    RepOpenChooser(WD_MODAL, kChooserPerson);
    xvtv_app_destroy();
  });
  EXPECT_GE(rows, 2);
  AppFinish();
}

TEST_F(DemoShots, LogPreferencesOfTheDemo) {
  bool shown = false;
  RunDemoProgram([&shown] {
    When([] { return OpenWindowOf(kLogPrefsRes) != NULL_WIN; },
         [&shown] {
           WINDOW dlg = OpenWindowOf(kLogPrefsRes);
           shown = true;
           EXPECT_EQ("", QtLayoutProblems(dlg));
           EXPECT_EQ(
               0, QtSaveScreen((gShotsDir + "/log-preferences.png").c_str()));
           QTest::mouseClick(Ctl<QPushButton>(dlg, 2), Qt::LeftButton);
         });
    // As after choosing the demo's repertory: the run defaults name its log.
    StrCopy(CurrentCatalog.Abbrev, "SALM2009");
    AppLogDefaults(kRunOwnLog);
    LogPrefsOpen(kLogPrefsOwnLog);
    xvtv_app_destroy();
  });
  EXPECT_TRUE(shown);
  AppFinish();
}

} // namespace
