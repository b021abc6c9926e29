// Shared by the Qt backend's tests: a clean toolkit on the Qt backend per
// test, a person played by timers that click and type on the real widgets,
// a task window with the program's menu, and a dialog with every kind of
// control.
#pragma once

#include "../test_toolkit.h"
#include "gui/qt_backend.h"
#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "shell/menu.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

class GuiTest : public FolderTest {
protected:
  GuiTest() : FolderTest("gui") {}
  std::string dir = root_.string();
  void SetUp() override {
    StartToolkit("qt");
    XvtRegisterQtBackend();
    // A person who never comes must not hang the test run.
    QtIdleLimitMs = 8000;
    ASSERT_EQ(0, QtEnsureApplication()) << "no screen; set QT_QPA_PLATFORM";
  }
  void TearDown() override { StopToolkit(); }
  // The lines become the script of the next backend start.
  void Script(const std::string &text) {
    ScriptToolkit(root_ / "script.txt", text);
  }
};

// The person: runs `act` as soon as `ready` says so, looking every 10 ms
// while the program waits (for at most five seconds).
inline void When(std::function<bool()> ready, std::function<void()> act,
                 int tries = 500) {
  QTimer::singleShot(10, qApp, [ready, act, tries] {
    if (ready())
      act();
    else if (tries > 0)
      When(ready, act, tries - 1);
    else
      ADD_FAILURE() << "what the person waited for never came";
  });
}

// Types a text as key presses, any character of the code page included.
inline void TypeText(QWidget *w, const QString &text) {
  for (QChar c : text) {
    QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(c));
    QCoreApplication::sendEvent(w, &press);
    QKeyEvent release(QEvent::KeyRelease, 0, Qt::NoModifier, QString(c));
    QCoreApplication::sendEvent(w, &release);
  }
}

template <typename T> T *Ctl(WINDOW win, int id) {
  return qobject_cast<T *>(QtControlWidget(win, id));
}

// The task window: `body` runs in its create event, then the loop waits for
// the person; commands are noted, and File Exit or the close box end it.
struct TaskRun {
  std::function<void()> body;
  std::vector<int> commands;
  int closes = 0;
};
inline TaskRun gTask;

inline long TaskEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    if (gTask.body)
      gTask.body();
    break;
  case E_COMMAND:
    gTask.commands.push_back(ev->v.cmd.tag);
    if (ev->v.cmd.tag == M_FILE_EXIT)
      xvtv_app_destroy();
    break;
  case E_CLOSE:
    ++gTask.closes;
    xvtv_app_destroy();
    break;
  default:
    break;
  }
  (void)win;
  return 0;
}

inline void RunTaskWindow(std::function<void()> body) {
  gTask = TaskRun();
  gTask.body = std::move(body);
  RegisterMenuResource();
  XVT_CONFIG cfg = {1000, "x_mantre", "Document Title", "Task Window"};
  static char name[] = "mantrel";
  char *argv[] = {name, nullptr};
  xvt_app_create(1, argv, 0, TaskEvent, &cfg);
}

// ---------------------------------------- a dialog with every kind of control

inline constexpr int kEveryDlg = 600;
inline const XVT_CTL_RES kEveryCtls[] = {
    {10, WC_GROUPBOX, 6, 4, 108, 42, "Options", 0},
    {3, WC_CHECKBOX, 12, 15, 96, 10, "&Keep in own log", 0},
    {4, WC_RADIOBUTTON, 12, 29, 96, 10, "Same &language", 0},
    {5, WC_TEXT, 122, 6, 50, 9, "&From:", 0},
    {6, WC_EDIT, 122, 16, 96, 12, "10.01.2024", 0},
    {7, WC_LISTBUTTON, 122, 32, 96, 60, "", 0},
    {8, WC_LISTEDIT, 122, 50, 96, 60, "", 0},
    {11, WC_TEXT, 6, 52, 108, 9, "Single:", 0},
    {12, WC_LBOX, 6, 62, 108, 48, "", 0},
    {13, WC_TEXT, 122, 68, 96, 9, "Several:", 0},
    {14, WC_LBOX, 122, 78, 96, 32, "", CTL_FLAG_MULTIPLE},
    {1, WC_PUSHBUTTON, 60, 118, 50, 14, "OK", CTL_FLAG_DEFAULT},
    {2, WC_PUSHBUTTON, 116, 118, 50, 14, "Cancel", 0},
    {9, WC_PUSHBUTTON, 172, 118, 46, 14, "&Help", CTL_FLAG_DISABLED},
};
inline const XVT_WIN_RES kEveryRes = {
    kEveryDlg,  0,
    0,          224,
    138,        "Every control",
    kEveryCtls, static_cast<int>(sizeof kEveryCtls / sizeof kEveryCtls[0]),
    0};

struct EveryResult {
  std::vector<std::string> events;
  bool ok = false, cancelled = false;
  std::string edit, combo;
  int single = -2, drop = -2;
  std::vector<int> several;
  bool ticked = false, radio = false;
  std::function<void(WINDOW)> onCreate; // runs after the lists are filled
};
inline EveryResult gEvery;

inline long EveryEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE: {
    gEvery.events.push_back("create");
    WINDOW single = xvt_win_get_ctl(win, 12),
           several = xvt_win_get_ctl(win, 14);
    for (const char *r : {"Kent", "Boericke", "Clarke", "Murphy"})
      xvt_list_add(single, -1, r);
    xvt_list_set_sel(single, 1, true);
    for (const char *r : {"Arsenicum", "Belladonna", "Calcarea", "Drosera"})
      xvt_list_add(several, -1, r);
    for (const char *r : {"English", "Deutsch",
                          "Fran\xE7"
                          "ais"})
      xvt_list_add(xvt_win_get_ctl(win, 7), -1, r);
    xvt_list_set_sel(xvt_win_get_ctl(win, 7), 0, true);
    for (const char *r : {"dd.mm.yyyy", "mm/dd/yyyy"})
      xvt_list_add(xvt_win_get_ctl(win, 8), -1, r);
    xvt_vobj_set_title(xvt_win_get_ctl(win, 8), "dd.mm.yyyy");
    if (gEvery.onCreate)
      gEvery.onCreate(win);
    break;
  }
  case E_CONTROL: {
    int id = ev->v.ctl.id;
    gEvery.events.push_back("control " + std::to_string(id) +
                            (ev->v.ctl.dbl_click ? " double" : ""));
    if (id == 3 || id == 4) {
      WINDOW c = xvt_win_get_ctl(win, id);
      xvt_ctl_set_checked(c, !xvt_ctl_is_checked(c));
    } else if (id == 1 || (id == 12 && ev->v.ctl.dbl_click)) {
      char buf[300];
      gEvery.ok = true;
      gEvery.edit =
          xvt_vobj_get_title(xvt_win_get_ctl(win, 6), buf, sizeof buf);
      gEvery.combo =
          xvt_vobj_get_title(xvt_win_get_ctl(win, 8), buf, sizeof buf);
      gEvery.single = xvt_list_get_sel_index(xvt_win_get_ctl(win, 12));
      gEvery.drop = xvt_list_get_sel_index(xvt_win_get_ctl(win, 7));
      WINDOW l = xvt_win_get_ctl(win, 14);
      for (int i = 0; i < xvt_list_count(l); ++i)
        if (xvt_list_is_sel(l, i))
          gEvery.several.push_back(i);
      gEvery.ticked = xvt_ctl_is_checked(xvt_win_get_ctl(win, 3));
      gEvery.radio = xvt_ctl_is_checked(xvt_win_get_ctl(win, 4));
      xvt_vobj_destroy(win);
    } else if (id == 2) {
      gEvery.cancelled = true;
      xvt_vobj_destroy(win);
    }
    break;
  }
  case E_CHAR:
    gEvery.events.push_back("char " + std::to_string(ev->v.chr.ch));
    if (ev->v.chr.ch == K_ESC)
      xvt_vobj_destroy(win);
    break;
  case E_CLOSE:
    gEvery.events.push_back("close");
    xvt_vobj_destroy(win);
    break;
  case E_DESTROY:
    gEvery.events.push_back("destroy");
    break;
  default:
    break;
  }
  return 0;
}

inline WINDOW RunEveryDialog(int kind = WD_MODAL,
                             std::function<void(WINDOW)> onCreate = nullptr) {
  gEvery = EveryResult();
  gEvery.onCreate = std::move(onCreate);
  EXPECT_EQ(0, xvt_res_register_dialog(&kEveryRes));
  return xvt_dlg_create_res(kind, kEveryDlg, -1, EveryEvent, 0);
}

// The handle of the open dialog of a resource, NULL_WIN when none is up.
inline WINDOW OpenWindowOf(int resId) {
  for (WINDOW h : XvtWindowStack())
    if (XvtWin *w = XvtFindWin(h); w != nullptr && w->resId == resId)
      return h;
  return NULL_WIN;
}
