// Shared by the toolkit and long-job tests: a clean toolkit per test, a
// script written to a file, and a dialog with one control of each kind.
#pragma once

#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "test_toolkit.h"

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

// Starts each test with no windows, the scripted backend and no script.
class ToolkitTest : public FolderTest {
protected:
  ToolkitTest() : FolderTest("tk") {}
  std::string dir = root_.string();
  void SetUp() override { StartToolkit(); }
  void TearDown() override {
    StopToolkit();
    XvtConsoleOut = nullptr;
    XvtConsoleInFd = 0;
    XvtConsoleInteractive = -1;
  }
  // The lines become the script of the next backend start.
  void Script(const std::string &text) {
    ScriptToolkit(root_ / "script.txt", text);
  }
};

// Resource 500: what a later dialog looks like.
inline constexpr int kTestDlg = 500;
inline const XVT_CTL_RES kTestCtls[] = {
    {1, WC_PUSHBUTTON, 10, 80, 40, 12, "OK", CTL_FLAG_DEFAULT},
    {2, WC_PUSHBUTTON, 60, 80, 40, 12, "Cancel", 0},
    {3, WC_CHECKBOX, 10, 5, 100, 10, "&Tick", 0},
    {4, WC_EDIT, 10, 18, 100, 12, "start", 0},
    {5, WC_LBOX, 10, 32, 100, 40, "", 0},
    {6, WC_LBOX, 120, 32, 100, 40, "", CTL_FLAG_MULTIPLE},
    {7, WC_TEXT, 120, 5, 100, 10, "Label", 0},
    {8, WC_PUSHBUTTON, 110, 80, 40, 12, "Off", CTL_FLAG_DISABLED},
};
inline const XVT_WIN_RES kTestRes = {kTestDlg,      0,         0, 240, 100,
                                     "Test dialog", kTestCtls, 8, 0};

// What the test dialog's handler saw.
struct TestDlgResult {
  std::vector<std::string> events;
  bool ok = false;
  bool cancelled = false;
  std::string edit;
  int sel = -2;
  std::vector<int> multi;
  bool ticked = false;
};
inline TestDlgResult gDlg;

inline long TestDlgEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE: {
    gDlg.events.push_back("create");
    WINDOW l5 = xvt_win_get_ctl(win, 5), l6 = xvt_win_get_ctl(win, 6);
    xvt_list_suspend(l5);
    for (const char *r : {"alpha", "beta", "gamma"})
      xvt_list_add(l5, -1, r);
    xvt_list_set_sel(l5, 1, true);
    xvt_list_resume(l5);
    for (const char *r : {"x", "y", "z"})
      xvt_list_add(l6, -1, r);
    break;
  }
  case E_CONTROL:
    gDlg.events.push_back("control " + std::to_string(ev->v.ctl.id) +
                          (ev->v.ctl.dbl_click ? " double" : ""));
    if (ev->v.ctl.id == 3) {
      WINDOW c = xvt_win_get_ctl(win, 3);
      xvt_ctl_set_checked(c, !xvt_ctl_is_checked(c));
    } else if (ev->v.ctl.id == 1 ||
               (ev->v.ctl.id == 5 && ev->v.ctl.dbl_click)) {
      char buf[200];
      gDlg.ok = true;
      gDlg.edit = xvt_vobj_get_title(xvt_win_get_ctl(win, 4), buf, sizeof buf);
      gDlg.sel = xvt_list_get_sel_index(xvt_win_get_ctl(win, 5));
      WINDOW l6 = xvt_win_get_ctl(win, 6);
      for (int i = 0; i < xvt_list_count(l6); ++i)
        if (xvt_list_is_sel(l6, i))
          gDlg.multi.push_back(i);
      gDlg.ticked = xvt_ctl_is_checked(xvt_win_get_ctl(win, 3));
      xvt_vobj_destroy(win);
    } else if (ev->v.ctl.id == 2) {
      gDlg.cancelled = true;
      xvt_vobj_destroy(win);
    }
    break;
  case E_CHAR:
    gDlg.events.push_back("char " + std::to_string(ev->v.chr.ch));
    break;
  case E_CLOSE:
    gDlg.events.push_back("close");
    xvt_vobj_destroy(win);
    break;
  case E_DESTROY:
    gDlg.events.push_back("destroy");
    break;
  default:
    break;
  }
  return 0;
}

inline WINDOW RunTestDialog(int kind = WD_MODAL) {
  gDlg = TestDlgResult();
  EXPECT_EQ(0, xvt_res_register_dialog(&kTestRes));
  return xvt_dlg_create_res(kind, kTestDlg, -1, TestDlgEvent, 0);
}
