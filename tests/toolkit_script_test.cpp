// The scripted backend driving dialogs, boxes, choosers and the menu, and
// what happens when the script does not fit or runs out.
#include "toolkit_support.h"

#include <sys/stat.h>

namespace {

TEST_F(ToolkitTest, ScriptWorksADialogByItsNumberedControls) {
  Script("# a comment, then a blank line\n\n"
         "set 4 hello  world \nselect 5 2\nselect 6 0 2\nclick 3\n"
         "click 1\n");
  WINDOW dlg = RunTestDialog();
  EXPECT_NE(NULL_WIN, dlg);
  EXPECT_FALSE(xvt_vobj_is_valid(dlg)) << "a modal dialog returns when gone";
  EXPECT_TRUE(gDlg.ok);
  EXPECT_EQ("hello  world ", gDlg.edit);
  EXPECT_EQ(2, gDlg.sel);
  EXPECT_EQ((std::vector<int>{0, 2}), gDlg.multi);
  EXPECT_TRUE(gDlg.ticked);
  EXPECT_EQ(7, XvtScriptLine);
  EXPECT_EQ("destroy", gDlg.events.back());
}

TEST_F(ToolkitTest, DoubleClickAndEscReachTheHandler) {
  Script("key esc\ndclick 5\n");
  RunTestDialog();
  EXPECT_EQ((std::vector<std::string>{"create", "char 27", "control 5 double",
                                      "destroy"}),
            gDlg.events);
  EXPECT_EQ(1, gDlg.sel) << "the preselected row";
}

// Each of these lines does not fit the dialog in front: it is reported with
// its line number, the script stops, and the dialog is answered as Enter
// would (the default button), not by the line that follows.
TEST_F(ToolkitTest, ALineThatDoesNotFitStopsTheScript) {
  const char *bad[] = {"click 7",     "click 8",   "select 5 0 1", "select 5 9",
                       "set 5 text",  "answer ok", "dclick 4",     "frobnicate",
                       "click x",     "menu 1009", "text words",   "click 7",
                       "key nothing", "wait -1",   "file"};
  for (const char *line : bad) {
    Script(std::string("\n") + line + "\nclick 2\n");
    std::string err = StderrOf([&] { RunTestDialog(); });
    EXPECT_THAT(err, HasSubstr("script line 2")) << line;
    EXPECT_TRUE(gDlg.ok) << line << ": ended by the default button";
    EXPECT_FALSE(gDlg.cancelled) << line << ": the next line was not run";
    EXPECT_EQ(1, XvtScriptDone);
  }
}

TEST_F(ToolkitTest, RunningOutAnswersAsEnterWould) {
  Script("set 4 typed\n");
  EXPECT_THAT(StderrOf([&] { RunTestDialog(); }), HasSubstr("no more lines"));
  EXPECT_TRUE(gDlg.ok);
  EXPECT_EQ("typed", gDlg.edit);
  EXPECT_EQ(1, gDlg.sel) << "the preselected row stays";
  EXPECT_TRUE(gDlg.multi.empty());
}

TEST_F(ToolkitTest, WithNoScriptAndNoTerminalTheDefaultIsTaken) {
  for (const char *ui : {"scripted", "console"}) {
    setenv("MANTREL_UI", ui, 1);
    XvtReset();
    XvtConsoleInteractive = 0;
    RunTestDialog();
    EXPECT_TRUE(gDlg.ok) << ui;
  }
}

// A dialog with no default button ends with Cancel (control 2); one that
// has neither gets its close box; one that ignores everything is taken
// away by the toolkit instead of hanging.
long IgnoreAll(WINDOW, EVENT *ev) {
  gDlg.events.push_back(std::to_string(ev->type));
  return 0;
}

TEST_F(ToolkitTest, NoDefaultButtonMeansCancelAndNothingHangs) {
  const XVT_CTL_RES ctls[] = {
      {2, WC_PUSHBUTTON, 0, 0, 40, 12, "Cancel", 0},
      {9, WC_PUSHBUTTON, 50, 0, 40, 12, "Other", 0},
  };
  XVT_WIN_RES res = {501, 0, 0, 100, 20, "No default", ctls, 2, 0};
  ASSERT_EQ(0, xvt_res_register_dialog(&res));
  gDlg = TestDlgResult();
  xvt_dlg_create_res(WD_MODAL, 501, -1, TestDlgEvent, 0);
  EXPECT_TRUE(gDlg.cancelled);

  XVT_WIN_RES bare = {502, 0, 0, 100, 20, "Bare", ctls + 1, 1, 0};
  ASSERT_EQ(0, xvt_res_register_dialog(&bare));
  gDlg = TestDlgResult();
  xvt_dlg_create_res(WD_MODAL, 502, -1, TestDlgEvent, 0);
  EXPECT_EQ("close", gDlg.events[1]);

  gDlg = TestDlgResult();
  CaptureStderr();
  WINDOW w = xvt_dlg_create_res(WD_MODAL, 501, -1, IgnoreAll, 0);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("taken away"));
  EXPECT_FALSE(xvt_vobj_is_valid(w));
  EXPECT_EQ(std::to_string(E_DESTROY), gDlg.events.back());
}

TEST_F(ToolkitTest, UnknownOrBadResourcesAreRefused) {
  EXPECT_EQ(NULL_WIN, xvt_dlg_create_res(WD_MODAL, 4242, -1, IgnoreAll, 0));
  EXPECT_EQ(NULL_WIN, xvt_win_create_res(4242, NULL_WIN, -1, IgnoreAll, 0));
  EXPECT_EQ(NULL_WIN, xvt_dlg_create_res(3, kTestDlg, -1, IgnoreAll, 0));
  const XVT_CTL_RES twice[] = {{1, WC_TEXT, 0, 0, 1, 1, "", 0},
                               {1, WC_EDIT, 0, 0, 1, 1, "", 0}};
  XVT_WIN_RES res = {503, 0, 0, 10, 10, "", twice, 2, 0};
  EXPECT_EQ(1, xvt_res_register_dialog(&res));
  res.nctls = -1;
  EXPECT_EQ(1, xvt_res_register_dialog(&res));
  EXPECT_EQ(1, xvt_res_register_dialog(nullptr));
}

TEST_F(ToolkitTest, BoxesTakeTheirAnswersAndLeaveOneLineEach) {
  Script("answer no\nanswer ok\ntext my words\ncancel\nanswer 3\n"
         "answer Later\n");
  CaptureStderr();
  EXPECT_EQ(2, xvt_dm_post_ask("Yes", "No", nullptr, "Go on with %d?", 7));
  xvt_dm_post_note("two\nlines %s", "here");
  char buf[40] = "old";
  EXPECT_EQ(buf, xvt_dm_post_string_prompt("Comment", buf, sizeof buf));
  EXPECT_STREQ("my words", buf);
  EXPECT_EQ(nullptr, xvt_dm_post_string_prompt("Range", buf, sizeof buf));
  EXPECT_STREQ("my words", buf) << "Cancel leaves the text";
  EXPECT_EQ(3, xvt_dm_post_ask("A", "B", "C", "Which?"));
  EXPECT_EQ(2, xvt_dm_post_ask("~Now", "&Later", "Never", "When?"));
  std::string err = GetCapturedStderr();
  EXPECT_THAT(err, HasSubstr("ask: Go on with 7? [Yes/No]\n"));
  EXPECT_THAT(err, HasSubstr("note: two lines here\n"));
  EXPECT_THAT(err, HasSubstr("prompt: Comment\n"));
  EXPECT_THAT(err, HasSubstr("ask: Which? [A/B/C]\n"));
  EXPECT_EQ(std::string::npos, err.find("script line"));
}

TEST_F(ToolkitTest, BoxAnswersThatFitNoButtonFallBackToTheDefault) {
  Script("answer 3\nanswer 2\n");
  EXPECT_THAT(StderrOf([&] {
                EXPECT_EQ(1, xvt_dm_post_ask("Yes", "No", nullptr, "Sure?"));
              }),
              HasSubstr("script line 1"));
  // With the script stopped, a prompt keeps its text (Enter).
  char buf[10] = "kept";
  EXPECT_EQ(buf, xvt_dm_post_string_prompt("Name", buf, sizeof buf));
  EXPECT_STREQ("kept", buf);
  EXPECT_EQ(nullptr, xvt_dm_post_string_prompt("Name", nullptr, 10));
}

TEST_F(ToolkitTest, TheHelpBoxWritesItsTextToStandardOutput) {
  CaptureStdout();
  xvt_dm_post_message("Mantrel", "Mantrel arguments\n\n/? \t: See this help");
  EXPECT_EQ("Mantrel arguments\n\n/? \t: See this help\n", GetCapturedStdout());
}

TEST_F(ToolkitTest, FileChoosersAnswerWithAFolderAndAName) {
  std::ofstream(dir + "/Log.DAT") << "x";
  mkdir((dir + "/sub").c_str(), 0755);
  Script("file log.dat\nfile " + dir +
         "/sub/new.txt\ncancel\nfolder sub\n"
         "file missing.dat\n");
  FILE_SPEC fs = {};
  StrCopy(fs.dir.path, dir.c_str());
  StrCopy(fs.type, "dat");
  ASSERT_EQ(FL_OK, xvt_dm_post_file_open(&fs, "Choose a log"));
  EXPECT_STREQ(dir.c_str(), fs.dir.path);
  EXPECT_STREQ("Log.DAT", fs.name) << "found without regard to case";

  FILE_SPEC save = {};
  ASSERT_EQ(FL_OK, xvt_dm_post_file_save(&save, "Save as"));
  EXPECT_EQ(dir + "/sub", save.dir.path);
  EXPECT_STREQ("new.txt", save.name);

  EXPECT_EQ(FL_CANCEL, xvt_dm_post_file_open(&fs, "again"));

  Enter();
  char folder[300] = "before";
  ASSERT_EQ(FL_OK, xvt_dm_post_folder("Where?", folder, sizeof folder));
  EXPECT_EQ(Backslashed(dir + "/sub"), folder);
  xvt_fsys_set_dir_startup();

  EXPECT_THAT(StderrOf([&] {
                EXPECT_EQ(FL_CANCEL, xvt_dm_post_file_open(&fs, "missing"));
              }),
              HasSubstr("no file 'missing.dat'"));
  EXPECT_EQ(FL_BAD, xvt_dm_post_file_open(nullptr, "no spec"));
}

// ------------------------------------------------------------- menu state

const MENU_RES kFileMenu[] = {{1009, "Open &repertory...", 0, nullptr},
                              {0, nullptr, MENU_FLAG_SEPARATOR, nullptr},
                              {1012, "E&xit", 0, nullptr},
                              {0, nullptr, 0, nullptr}};
const MENU_RES kUpdateMenu[] = {{1031, "Update", 0, nullptr},
                                {0, nullptr, 0, nullptr}};
const MENU_RES kMenuBar[] = {{1001, "~File", 0, kFileMenu},
                             {1004, "~Update", MENU_FLAG_DISABLED, kUpdateMenu},
                             {0, nullptr, 0, nullptr}};

std::vector<std::string> gTask;
bool gTaskIgnoresExit = false;

long TaskEvent(WINDOW, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    gTask.push_back("create");
    break;
  case E_COMMAND:
    gTask.push_back("command " + std::to_string(ev->v.cmd.tag));
    if (ev->v.cmd.tag == 1012 && !gTaskIgnoresExit)
      xvtv_app_destroy();
    if (ev->v.cmd.tag == 1009)
      RunTestDialog(WD_MODELESS);
    break;
  case E_CLOSE:
    gTask.push_back("close");
    break;
  case E_DESTROY:
    gTask.push_back("destroy");
    break;
  default:
    break;
  }
  return 0;
}

int RunApp() {
  gTask.clear();
  EXPECT_EQ(0, xvt_res_register_menu(9000, kMenuBar));
  XVT_CONFIG cfg = {9000, "x_mantre", "Document Title", "Task Window"};
  char arg0[] = "mantrel";
  char *argv[] = {arg0, nullptr};
  return xvt_app_create(1, argv, 0, TaskEvent, &cfg);
}

TEST_F(ToolkitTest, MenuCommandsReachTheTaskWindowAndNoOneMeansFileExit) {
  Script("menu 1009\nset 4 from the menu\nclick 1\nmenu 1031\nmenu 1009\n");
  std::string err = StderrOf([&] { EXPECT_EQ(0, RunApp()); });
  EXPECT_THAT(err, HasSubstr("script line 4: menu command 1031 is disabled"));
  EXPECT_EQ((std::vector<std::string>{"create", "command 1009", "command 1012",
                                      "destroy"}),
            gTask);
  EXPECT_EQ("from the menu", gDlg.edit);
  EXPECT_EQ(NULL_WIN, TASK_WIN);
  EXPECT_EQ(0, xvt_app_is_running());
}

TEST_F(ToolkitTest, AModelessDialogLeftUpIsAnsweredThenTheMenuExits) {
  Script("menu 1009\n");
  RunApp();
  EXPECT_TRUE(gDlg.ok) << "the chooser-like dialog got Enter";
  EXPECT_EQ("command 1012", gTask[2]);
}

TEST_F(ToolkitTest, ExitLineAndATaskWindowThatIgnoresIt) {
  Script("exit\n");
  gTaskIgnoresExit = true;
  RunApp();
  gTaskIgnoresExit = false;
  // File Exit from the script, then one from no one, then the close box;
  // then the toolkit ends the application itself.
  EXPECT_EQ((std::vector<std::string>{"create", "command 1012", "command 1012",
                                      "close", "destroy"}),
            gTask);
}

TEST_F(ToolkitTest, ABoxAfterTheEndDoesNotStartTheScriptOver) {
  Script("exit\n");
  RunApp();
  std::string err = StderrOf([&] {
    EXPECT_EQ(1, xvt_dm_post_ask("Yes", "No", nullptr, "After the end?"));
  });
  EXPECT_THAT(err, HasSubstr("ask: After the end?"));
  EXPECT_EQ(std::string::npos, err.find("script line")) << err;
}

TEST_F(ToolkitTest, MenuTreeCanBeReadChangedAndGivenBack) {
  ASSERT_EQ(0, xvt_res_register_menu(9000, kMenuBar));
  gTask.clear();
  XVT_CONFIG cfg = {9000, "x", "Doc", "Task"};
  static MENU_ITEM *copy;
  static bool reachableBefore, reachableAfter;
  auto handler = [](WINDOW win, EVENT *ev) -> long {
    if (ev->type == E_CREATE) {
      copy = xvt_menu_get_tree(win);
      reachableBefore = XvtMenuReachable(XvtFindWin(win)->menu, 1031);
      xvt_menu_set_item_enabled(win, 1004, true);
      xvt_menu_update(win);
      reachableAfter = XvtMenuReachable(XvtFindWin(win)->menu, 1031);
      free(copy[0].text);
      copy[0].text = static_cast<char *>(malloc(8));
      StrCopy(copy[0].text, 8, "Fichier");
      xvt_menu_set_tree(win, copy);
      xvtv_app_destroy();
    }
    return 0;
  };
  xvt_app_create(0, nullptr, 0, handler, &cfg);
  EXPECT_FALSE(reachableBefore);
  EXPECT_TRUE(reachableAfter);
  ASSERT_NE(nullptr, copy);
  EXPECT_STREQ("Fichier", copy[0].text) << "the caller's copy is its own";
  EXPECT_TRUE(copy[0].child[1].separator);
  EXPECT_EQ(1012, copy[0].child[2].tag);
  EXPECT_EQ(0, copy[2].tag);
  xvt_res_free_menu_tree(copy);
}

TEST(ToolkitDeath, FatalBoxRunsTheCleanupAndExitsNonZero) {
  XvtReset();
  setenv("MANTREL_UI", "scripted", 1);
  XvtFatalHook = [] { fputs("cleanup ran\n", stderr); };
  EXPECT_EXIT(xvt_dm_post_fatal_exit("Can't open Messages table '%s' ( H-%d )",
                                     "orvixmsg", 12),
              ::testing::ExitedWithCode(1),
              "fatal: Can't open Messages table 'orvixmsg' \\( H-12 "
              "\\)\n(.|\n)*cleanup ran");
  XvtFatalHook = nullptr;
  unsetenv("MANTREL_UI");
}

} // namespace
