// The task window: its caption, the menu bar built from the menu tree, what a
// person chooses there, the start-up picture, and which backend a run gets.
#include "gui_support.h"

#include <QImage>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTest>
#include <sys/wait.h>

namespace {

QMenuBar *Bar() {
  auto *main = qobject_cast<QMainWindow *>(QtWindowWidget(TASK_WIN));
  return main != nullptr ? main->menuBar() : nullptr;
}

QMenu *TopMenu(const char *title) {
  for (QAction *a : Bar()->actions())
    if (a->text() == QString::fromUtf8(title))
      return a->menu();
  return nullptr;
}

QAction *Item(QMenu *m, int tag) {
  for (QAction *a : m->actions())
    if (!a->isSeparator() && a->data().toInt() == tag)
      return a;
  return nullptr;
}

TEST_F(GuiTest, TheMenuBarFollowsTheMenuTree) {
  RunTaskWindow([] {
    xvt_win_set_doc_title(TASK_WIN, "Mantrel 10.5 \x96 Synth\xE8se");
    QtFlush();
    QWidget *task = QtWindowWidget(TASK_WIN);
    ASSERT_NE(nullptr, task);
    EXPECT_TRUE(task->isVisible());
    EXPECT_EQ(QString::fromUtf8("Mantrel 10.5 \u2013 Synth\u00e8se"),
              task->windowTitle());
    std::vector<std::string> tops;
    for (QAction *a : Bar()->actions())
      tops.push_back(a->text().toStdString());
    EXPECT_THAT(tops,
                ElementsAre("&File", "&Update", "&Repair", "&List", "Backup"));
    QMenu *file = TopMenu("&File");
    ASSERT_NE(nullptr, file);
    ASSERT_EQ(6, file->actions().size());
    EXPECT_TRUE(file->actions()[1]->isSeparator());
    EXPECT_TRUE(file->actions()[4]->isSeparator());
    EXPECT_EQ("E&xit", Item(file, 1012)->text().toStdString());
    EXPECT_FALSE(TopMenu("&Update")->isEnabled()) << "off until the start ends";
    // The program enables the Update menu: the bar follows.
    xvt_menu_set_item_enabled(TASK_WIN, 1004, true);
    xvt_menu_update(TASK_WIN);
    QtFlush();
    EXPECT_TRUE(TopMenu("&Update")->isEnabled());
    // Two of the Repair menu's entries switched off.
    xvt_menu_set_item_enabled(TASK_WIN, 1006, false);
    xvt_menu_update(TASK_WIN);
    QtFlush();
    EXPECT_FALSE(Item(TopMenu("&Repair"), 1006)->isEnabled());
    EXPECT_TRUE(Item(TopMenu("&Repair"), 1005)->isEnabled());
    xvtv_app_destroy();
  });
}

// The person picks two commands from the menu, then File Exit.
TEST_F(GuiTest, MenuCommandsReachTheTaskWindow) {
  When([] { return Bar() != nullptr && QtWindowWidget(TASK_WIN)->isVisible(); },
       [] {
         Item(TopMenu("&List"), 1017)->trigger();
         Item(TopMenu("&Repair"), 1016)->trigger();
         When([] { return gTask.commands.size() == 2; },
              [] { Item(TopMenu("&File"), 1012)->trigger(); });
       });
  RunTaskWindow(nullptr);
  EXPECT_THAT(gTask.commands, ElementsAre(1017, 1016, M_FILE_EXIT));
  EXPECT_EQ(nullptr, QtWindowWidget(TASK_WIN));
}

// A command whose menu is off cannot be chosen; the person who tries with
// the keyboard gets nothing, and the close box still ends the program.
TEST_F(GuiTest, ADisabledMenuGivesNoCommand) {
  When([] { return Bar() != nullptr && QtWindowWidget(TASK_WIN)->isVisible(); },
       [] {
         QMenu *update = TopMenu("&Update");
         update->menuAction()->trigger();
         Item(update, 1031)->setEnabled(false);
         Item(update, 1031)->trigger();
         QtWindowWidget(TASK_WIN)->close();
       });
  RunTaskWindow(nullptr);
  EXPECT_TRUE(gTask.commands.empty());
  EXPECT_EQ(1, gTask.closes);
}

// A modeless dialog in front, a person presses Esc in the task window: the
// key goes where the person pressed it.
TEST_F(GuiTest, AKeyInAWindowBehindGoesToThatWindow) {
  static std::vector<std::string> seen;
  seen.clear();
  static WINDOW dlg;
  auto handler = [](WINDOW win, EVENT *ev) -> long {
    if (ev->type == E_CHAR)
      seen.push_back((win == TASK_WIN ? "task " : "dialog ") +
                     std::to_string(ev->v.chr.ch));
    if (ev->type == E_CLOSE)
      xvtv_app_destroy();
    return 0;
  };
  gTask = TaskRun();
  RegisterMenuResource();
  XVT_CONFIG cfg = {1000, "x_mantre", "Document Title", "Task Window"};
  When([] { return QtWindowWidget(dlg) != nullptr; },
       [] {
         QTest::keyClick(QtWindowWidget(TASK_WIN), Qt::Key_Escape);
         QTest::keyClick(QtWindowWidget(dlg), Qt::Key_Escape);
         When([] { return seen.size() == 2; },
              [] { QtWindowWidget(TASK_WIN)->close(); });
       });
  static EVENT_HANDLER h = handler;
  xvt_app_create(
      0, nullptr, 0,
      [](WINDOW win, EVENT *ev) -> long {
        if (ev->type == E_CREATE) {
          xvt_res_register_dialog(&kEveryRes);
          dlg = xvt_dlg_create_res(WD_MODELESS, kEveryDlg, -1, h, 0);
        }
        return h(win, ev);
      },
      &cfg);
  EXPECT_THAT(seen, ElementsAre("task 27", "dialog 27"));
}

TEST_F(GuiTest, TheStartUpPictureStandsUntilItIsTakenAway) {
  std::string bmp = dir + "/orvix9.bmp";
  QImage img(120, 80, QImage::Format_RGB32);
  img.fill(QColor(20, 90, 160));
  ASSERT_TRUE(img.save(QString::fromStdString(bmp), "BMP"));
  const char *lines[] = {"Dr. Zo\xE9 M\xFCller", "Version 10.5"};
  ASSERT_EQ(1, xvt_picture_show(bmp.c_str(), lines, 2));
  QWidget *pic = QtPictureWidget();
  ASSERT_NE(nullptr, pic);
  EXPECT_TRUE(pic->isVisible());
  std::vector<std::string> texts;
  for (QLabel *l : pic->findChildren<QLabel *>())
    if (!l->text().isEmpty())
      texts.push_back(l->text().toStdString());
  EXPECT_THAT(texts, ElementsAre("Dr. Zo\u00e9 M\u00fcller", "Version 10.5"));
  QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
  EXPECT_LE((pic->geometry().center() - screen.center()).manhattanLength(), 2);
  // Esc takes it away early; the frame's own call is then harmless.
  QTest::keyClick(pic, Qt::Key_Escape);
  EXPECT_FALSE(pic->isVisible());
  xvt_picture_hide();
  EXPECT_EQ(nullptr, QtPictureWidget());

  EXPECT_EQ(0, xvt_picture_show((dir + "/none.bmp").c_str(), lines, 2))
      << "a missing picture is no failure and shows nothing";
  EXPECT_EQ(nullptr, QtPictureWidget());
  std::ofstream(dir + "/bad.bmp") << "not a picture";
  EXPECT_EQ(0, xvt_picture_show((dir + "/bad.bmp").c_str(), nullptr, 0));
}

TEST_F(GuiTest, ThePictureIsNoneOfTheTextBackends) {
  setenv("MANTREL_UI", "scripted", 1);
  XvtReset();
  std::string png = dir + "/p.png";
  QImage(10, 10, QImage::Format_RGB32).save(QString::fromStdString(png));
  EXPECT_EQ(0, xvt_picture_show(png.c_str(), nullptr, 0));
  EXPECT_EQ(nullptr, QtPictureWidget());
}

TEST_F(GuiTest, MantrelUiChoosesTheBackend) {
  EXPECT_STREQ("qt", XvtCurrentBackend()->name);
  setenv("MANTREL_UI", "console", 1);
  XvtReset();
  EXPECT_STREQ("console", XvtCurrentBackend()->name);
  unsetenv("MANTREL_UI");
  std::string script = dir + "/s.txt";
  std::ofstream(script) << "exit\n";
  setenv("MANTREL_SCRIPT", script.c_str(), 1);
  XvtReset();
  EXPECT_STREQ("scripted", XvtCurrentBackend()->name)
      << "a script alone is the scripted backend's";
}

// Which screens count as reachable. The process keeps its own platform
// setting; each case runs in a child with its own environment.
int ReachableWith(const char *platform, const char *display,
                  const char *wayland) {
  pid_t pid = fork();
  if (pid == 0) {
    auto put = [](const char *name, const char *v) {
      if (v != nullptr)
        setenv(name, v, 1);
      else
        unsetenv(name);
    };
    put("QT_QPA_PLATFORM", platform);
    put("DISPLAY", display);
    put("WAYLAND_DISPLAY", wayland);
    _exit(QtScreenReachable());
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(GuiTest, AScreenIsThereOnlyWhenItAnswers) {
  EXPECT_EQ(1, ReachableWith("offscreen", nullptr, nullptr));
  EXPECT_EQ(0, ReachableWith(nullptr, nullptr, nullptr));
  EXPECT_EQ(0, ReachableWith(nullptr, ":4711", nullptr))
      << "no X server listens there";
  EXPECT_EQ(0, ReachableWith(nullptr, "nonsense", nullptr));
  EXPECT_EQ(0, ReachableWith(nullptr, nullptr, "wayland-4711"));
  EXPECT_EQ(1, ReachableWith(nullptr, "far.example:0", nullptr))
      << "a display over the network is Qt's to try";
}

// Without a screen the desktop window falls back to the console, even when
// MANTREL_UI asks for it. The check runs in a fresh process of this program,
// where no application was made yet.
TEST(GuiChild, ForcedWithoutAScreen) {
  if (getenv("MANTREL_GUI_CHILD") == nullptr)
    GTEST_SKIP() << "run by WithoutAScreenTheConsoleAnswers";
  XvtRegisterQtBackend();
  XvtConsoleInteractive = 1; // the parent types the answers
  EXPECT_STREQ("qt", XvtCurrentBackend()->name);
  xvt_dm_post_note("answered on the %s", "console");
  EXPECT_EQ(2, xvt_dm_post_ask("Yes", "No", nullptr, "Go on?"));
  EXPECT_EQ(nullptr, qApp) << "no application without a screen";
  XvtReset();
}

TEST_F(GuiTest, WithoutAScreenTheConsoleAnswers) {
  std::string out = dir + "/err.txt";
  std::string cmd = "printf '\\nno\\n' | env -u QT_QPA_PLATFORM -u DISPLAY "
                    "-u WAYLAND_DISPLAY MANTREL_UI=qt MANTREL_GUI_CHILD=1 "
                    "/proc/" +
                    std::to_string(getpid()) +
                    "/exe --gtest_filter=GuiChild.ForcedWithoutAScreen "
                    ">/dev/null 2>'" +
                    out + "'";
  EXPECT_EQ(0, RunCommand(cmd)) << cmd;
  std::string text = SlurpFile(out);
  EXPECT_THAT(text,
              HasSubstr("qt: no screen can be reached; using the console"));
  EXPECT_THAT(text, HasSubstr("note: answered on the console"));
}

} // namespace
