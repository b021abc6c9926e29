// One script drives every backend: the same lines that the scripted backend
// takes, worked here on the real widgets of the desktop window.
#include "gui_support.h"

#include <QCheckBox>
#include <QLineEdit>

namespace {

TEST_F(GuiTest, AScriptFillsADialogThroughItsWidgets) {
  Script("click 3\nclick 4\nset 6 31.12.1999 \xE9t\xE9\nselect 14 1 3\n"
         "select 7 2\nset 8 yyyy-mm-dd\nselect 12 0\nclick 1\n");
  RunEveryDialog(WD_MODAL, nullptr);
  ASSERT_TRUE(gEvery.ok);
  EXPECT_TRUE(gEvery.ticked);
  EXPECT_TRUE(gEvery.radio);
  EXPECT_EQ("31.12.1999 \xE9t\xE9", gEvery.edit);
  EXPECT_THAT(gEvery.several, ElementsAre(1, 3));
  EXPECT_EQ(2, gEvery.drop);
  EXPECT_EQ("yyyy-mm-dd", gEvery.combo);
  EXPECT_EQ(0, gEvery.single);
  EXPECT_THAT(gEvery.events,
              ElementsAre("create", "control 3", "control 4", "control 14",
                          "control 7", "control 12", "control 1", "destroy"));
}

// What the script did stands on the screen while the dialog is up: the
// handler looks at the widgets when the script's last line, a key, comes.
bool gTicked = false;
std::string gTyped;

long LookAtWidgets(WINDOW win, EVENT *ev) {
  if (ev->type == E_CHAR && ev->v.chr.ch == 'A') {
    QtFlush();
    gTicked = Ctl<QCheckBox>(win, 3)->isChecked();
    gTyped = Ctl<QLineEdit>(win, 6)->text().toStdString();
  }
  return EveryEvent(win, ev);
}

TEST_F(GuiTest, TheWidgetsShowWhatTheScriptDid) {
  Script("click 3\nset 6 typed\nkey 65\n");
  gTicked = false;
  gTyped.clear();
  gEvery = EveryResult();
  ASSERT_EQ(0, xvt_res_register_dialog(&kEveryRes));
  xvt_dlg_create_res(WD_MODAL, kEveryDlg, -1, LookAtWidgets, 0);
  EXPECT_TRUE(gTicked);
  EXPECT_EQ("typed", gTyped);
  EXPECT_TRUE(gEvery.ok) << "then Enter: the default button";
}

TEST_F(GuiTest, KeysCloseAndEnterFromAScript) {
  Script("key esc\n");
  RunEveryDialog();
  EXPECT_THAT(gEvery.events, ElementsAre("create", "char 27", "destroy"));
  Script("close\n");
  RunEveryDialog();
  EXPECT_THAT(gEvery.events, ElementsAre("create", "close", "destroy"));
  Script("enter\n");
  RunEveryDialog();
  EXPECT_TRUE(gEvery.ok);
  Script("dclick 12\n");
  RunEveryDialog();
  EXPECT_TRUE(gEvery.ok);
  EXPECT_EQ(1, gEvery.single) << "the preselected row";
}

// A line that does not fit is told, the script ends there, and the rest is
// answered as Enter would, as in every backend.
TEST_F(GuiTest, ALineThatDoesNotFitStopsTheScript) {
  Script("click 3\nclick 42\nclick 2\n");
  std::string err = StderrOf([&] { RunEveryDialog(); });
  EXPECT_THAT(err, HasSubstr("script line 2: the window in front has no "
                             "control 42: click 42; the script stops here"));
  EXPECT_TRUE(gEvery.ok) << "Enter, not the Cancel of line 3";
  EXPECT_TRUE(gEvery.ticked);

  Script("click 9\n");
  EXPECT_THAT(StderrOf([&] { RunEveryDialog(); }),
              HasSubstr("control 9 is disabled"));
  Script("select 12 0 1\n");
  EXPECT_THAT(StderrOf([&] { RunEveryDialog(); }),
              HasSubstr("list 12 takes one row only"));
  Script("select 14 9\n");
  EXPECT_THAT(StderrOf([&] { RunEveryDialog(); }),
              HasSubstr("list 14 has no row 9"));
}

TEST_F(GuiTest, AScriptChoosesFromTheMenu) {
  Script("menu 1017\nmenu 1016\nmenu 1031\nmenu 1023\n");
  std::string err = StderrOf([&] { RunTaskWindow(nullptr); });
  EXPECT_THAT(gTask.commands, ElementsAre(1017, 1016, M_FILE_EXIT))
      << "the Update menu is off: its command stops the script";
  EXPECT_THAT(err, HasSubstr("script line 3: menu command 1031 is disabled"));

  Script("menu 4242\n");
  EXPECT_THAT(StderrOf([&] { RunTaskWindow(nullptr); }),
              HasSubstr("the menu has no command 4242"));
  Script("exit\n");
  RunTaskWindow(nullptr);
  EXPECT_THAT(gTask.commands, ElementsAre(M_FILE_EXIT));
}

// A modal dialog stands in front of the menu.
TEST_F(GuiTest, NoMenuCommandPastAModalDialog) {
  Script("menu 1017\nclick 2\nmenu 1023\nexit\n");
  CaptureStderr();
  RunTaskWindow([] {
    gEvery = EveryResult();
    xvt_res_register_dialog(&kEveryRes);
    xvt_dlg_create_res(WD_MODAL, kEveryDlg, -1, EveryEvent, 0);
  });
  EXPECT_THAT(GetCapturedStderr(),
              HasSubstr("a modal dialog is in front of the menu"));
  EXPECT_THAT(gTask.commands, ElementsAre(M_FILE_EXIT));
  EXPECT_FALSE(gEvery.cancelled) << "the script stopped at line 1";
  EXPECT_TRUE(gEvery.ok) << "Enter answered the dialog";
}

} // namespace
