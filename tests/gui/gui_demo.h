// The program on the demo installation, in this process: mkdemo builds the
// installation into the test's folder, bin is the current folder, and the
// task window runs the real start sequence and the real menu commands on the
// Qt backend while timers play the person.
#pragma once

#include "gui_support.h"
#include "platform/process.h"
#include "services/config.h"
#include "services/ini.h"
#include "services/messages.h"
#include "shell/app.h"
#include "shell/chooser.h"
#include "shell/menu.h"

#include <QListWidget>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QtTest/QTest>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>

class DemoTest : public GuiTest {
protected:
  std::string demo;
  void SetUp() override {
    GuiTest::SetUp();
    demo = dir + "/demo";
    ASSERT_EQ(0, BuildDemo(demo)) << "mkdemo failed";
    folder_.Enter("demo/bin");
    // The viewer the listings start notes what it was asked to show.
    StrCopy(PlatViewerProgram, WriteNotingViewer(dir).c_str());
  }
  void TearDown() override {
    PlatViewerProgram[0] = '\0';
    PlatReapChildren();
    folder_.Leave();
    GuiTest::TearDown();
  }
  std::string Viewed() { return NotedByViewer(dir); }
};

// The program's task window: the start sequence in its create event, then
// `body`; menu commands go to the program, and File Exit ends the loop
// without the program's ordered exit, so that the test can still read the
// store. AppFinish then closes what the start opened.
inline std::function<void()> gDemoBody;

inline long DemoTaskEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    AppInitialize();
    if (gDemoBody)
      gDemoBody();
    break;
  case E_COMMAND:
    if (ev->v.cmd.tag == M_FILE_EXIT)
      xvtv_app_destroy();
    else
      AppMenuCommand(win, ev);
    break;
  case E_CLOSE:
    xvtv_app_destroy();
    break;
  default:
    break;
  }
  return 0;
}

inline void RunDemoProgram(std::function<void()> body) {
  gDemoBody = std::move(body);
  AppName = kAppName;
  IniSetPath("orvix.ini");
  RegisterMenuResource();
  XVT_CONFIG cfg{kMenuBarResource, "x_mantre", "Document Title", "Task Window"};
  static char name[] = "mantrel";
  char *argv[] = {name, nullptr};
  xvt_app_create(1, argv, 0, DemoTaskEvent, &cfg);
}

inline void AppFinish() {
  if (MsgTable != 0)
    DbCloseFile(MsgTable);
  MsgTable = 0;
  DbTerminate(kAppName);
}

// The action of a menu command anywhere in the task window's menu bar.
inline QAction *MenuAction(int tag) {
  auto *main = qobject_cast<QMainWindow *>(QtWindowWidget(TASK_WIN));
  if (main == nullptr)
    return nullptr;
  std::function<QAction *(const QList<QAction *> &)> find =
      [&find, tag](const QList<QAction *> &actions) -> QAction * {
    for (QAction *a : actions) {
      if (a->isSeparator())
        continue;
      if (a->menu() != nullptr) {
        if (QAction *in = find(a->menu()->actions()))
          return in;
      } else if (a->data().toInt() == tag) {
        return a;
      }
    }
    return nullptr;
  };
  return find(main->menuBar()->actions());
}

// The repertory chooser's list while it stands.
inline QListWidget *ChooserList() {
  WINDOW w = OpenWindowOf(kChooserRes);
  return w != NULL_WIN ? Ctl<QListWidget>(w, kChooserList) : nullptr;
}

// The row of the chooser whose text holds `part`; -1 when none.
inline int ChooserRow(const char *part) {
  QListWidget *l = ChooserList();
  for (int i = 0; l != nullptr && i < l->count(); ++i)
    if (l->item(i)->text().contains(QString::fromUtf8(part)))
      return i;
  return -1;
}

// What a person does: a click on the row.
inline void ClickRow(QListWidget *l, int row) {
  QRect r = l->visualItemRect(l->item(row));
  QTest::mouseClick(l->viewport(), Qt::LeftButton, Qt::NoModifier, r.center());
}
