// The console backend with a person typing: input comes through a pipe, the
// screen goes to a file.
#include "toolkit_support.h"

#include <fcntl.h>

namespace {

class ConsoleTest : public ToolkitTest {
protected:
  FILE *screen = nullptr;
  int fds[2] = {-1, -1};
  void SetUp() override {
    ToolkitTest::SetUp();
    setenv("MANTREL_UI", "console", 1);
    screen = tmpfile();
    ASSERT_NE(nullptr, screen);
    XvtConsoleOut = screen;
    XvtConsoleInteractive = 1;
  }
  void TearDown() override {
    if (fds[0] >= 0)
      close(fds[0]);
    if (screen != nullptr)
      fclose(screen);
    ToolkitTest::TearDown();
  }
  // What the person will type; the input ends after it.
  void Type(const std::string &keys) {
    ASSERT_EQ(0, pipe(fds));
    ASSERT_EQ(static_cast<ssize_t>(keys.size()),
              write(fds[1], keys.data(), keys.size()));
    close(fds[1]);
    XvtConsoleInFd = fds[0];
    XvtReset();
  }
  std::string Screen() {
    fflush(screen);
    rewind(screen);
    std::string s;
    for (int c; (c = fgetc(screen)) != EOF;)
      s += static_cast<char>(c);
    return s;
  }
};

TEST_F(ConsoleTest, ADialogShowsItsControlsAndEnterPressesTheDefault) {
  Type("set 4 typed here\nselect 6 1 2\nclick 3\n\n");
  RunTestDialog();
  EXPECT_TRUE(gDlg.ok);
  EXPECT_EQ("typed here", gDlg.edit);
  EXPECT_EQ((std::vector<int>{1, 2}), gDlg.multi);
  EXPECT_TRUE(gDlg.ticked);
  std::string s = Screen();
  EXPECT_THAT(s, HasSubstr("[Test dialog]"));
  EXPECT_THAT(s, HasSubstr("   1 button   OK  (default)"));
  EXPECT_THAT(s, HasSubstr("   3 check    [ ] Tick"));
  EXPECT_THAT(s, HasSubstr("   3 check    [x] Tick"));
  EXPECT_THAT(s, HasSubstr("   4 edit     start"));
  EXPECT_THAT(s, HasSubstr("*  1  beta"));
  EXPECT_THAT(s, HasSubstr("   8 button   Off  (off)"));
}

TEST_F(ConsoleTest, AWrongCommandIsToldAndThePersonTriesAgain) {
  Type("click 99\nnonsense\nclick 2\n");
  RunTestDialog();
  EXPECT_TRUE(gDlg.cancelled);
  std::string s = Screen();
  EXPECT_THAT(s, HasSubstr("? the window in front has no control 99"));
  EXPECT_THAT(s, HasSubstr("? 'nonsense' is no action"));
}

TEST_F(ConsoleTest, BoxesTakePlainWordsAndTheEndOfInputMeansEnter) {
  Type("no\nsome words\n\nanswer 2\n");
  CaptureStderr();
  EXPECT_EQ(2, xvt_dm_post_ask("Yes", "No", nullptr, "Sure?"));
  char buf[50] = "";
  EXPECT_EQ(buf, xvt_dm_post_string_prompt("Comment", buf, sizeof buf));
  EXPECT_STREQ("some words", buf);
  xvt_dm_post_error("Table %s damaged", "symptom");
  EXPECT_EQ(2, xvt_dm_post_ask("A", "B", "C", "Which?"));
  // The input has ended: from here on no one answers.
  EXPECT_EQ(1, xvt_dm_post_ask("A", "B", nullptr, "Again?"));
  std::string err = GetCapturedStderr();
  EXPECT_THAT(err, HasSubstr("error: Table symptom damaged\n"));
  EXPECT_THAT(Screen(), HasSubstr("[1 Yes] [2 No] > "));
}

const MENU_RES kFile[] = {{1009, "Open &repertory...", 0, nullptr},
                          {1012, "E&xit", 0, nullptr},
                          {0, nullptr, 0, nullptr}};
const MENU_RES kRepair[] = {{1006, "Symptom&s", 0, nullptr},
                            {0, nullptr, 0, nullptr}};
const MENU_RES kBar[] = {{1001, "&File", 0, kFile},
                         {1002, "&Repair", MENU_FLAG_DISABLED, kRepair},
                         {0, nullptr, 0, nullptr}};

std::vector<int> gCommands;

long ConsoleTask(WINDOW win, EVENT *ev) {
  if (ev->type == E_COMMAND) {
    gCommands.push_back(ev->v.cmd.tag);
    if (ev->v.cmd.tag == 1009)
      RunTestDialog(WD_MODELESS);
    if (ev->v.cmd.tag == M_FILE_EXIT)
      xvt_vobj_destroy(win);
  }
  return 0;
}

// The task window with the menu bar above, until its exit.
void RunConsoleTask() {
  ASSERT_EQ(0, xvt_res_register_menu(1000, kBar));
  XVT_CONFIG cfg = {1000, "x_mantre", "Document Title", "Task Window"};
  gCommands.clear();
  xvt_app_create(0, nullptr, 0, ConsoleTask, &cfg);
}

TEST_F(ConsoleTest, TheMenuIsAListOfCommandNumbers) {
  Type("\n1006\n1009\nclick 2\nexit\n");
  RunConsoleTask();
  EXPECT_EQ((std::vector<int>{1009, 1012}), gCommands);
  EXPECT_TRUE(gDlg.cancelled);
  std::string s = Screen();
  EXPECT_THAT(s, HasSubstr("[Task Window]"));
  EXPECT_THAT(s, HasSubstr(" 1009  Open repertory..."));
  EXPECT_THAT(s, HasSubstr(" 1002  Repair  (off)"));
  EXPECT_THAT(s, HasSubstr("? menu command 1006 is disabled"));
}

TEST_F(ConsoleTest, ChoosersTakeAPathOrNothing) {
  std::ofstream(dir + "/a.txt") << "x";
  Type("a.txt\n\n");
  FILE_SPEC fs = {};
  StrCopy(fs.dir.path, dir.c_str());
  EXPECT_EQ(FL_OK, xvt_dm_post_file_open(&fs, "Pick"));
  EXPECT_STREQ("a.txt", fs.name);
  EXPECT_EQ(FL_CANCEL, xvt_dm_post_file_open(&fs, "Pick again"));
}

} // namespace

TEST_F(ConsoleTest, HelpListsTheActionWordsOfWhatWaits) {
  Type("help\n?\nclick 2\n");
  RunTestDialog();
  EXPECT_TRUE(gDlg.cancelled);
  std::string s = Screen();
  EXPECT_THAT(s, HasSubstr("click N            presses button N"));
  EXPECT_THAT(s, HasSubstr("set N TEXT"));
  // Both words list, and the window is shown again after each.
  size_t first = s.find("In a window, type:");
  ASSERT_NE(std::string::npos, first);
  EXPECT_NE(std::string::npos, s.find("In a window, type:", first + 1));
  EXPECT_NE(std::string::npos, s.find("[Test dialog]", first));

  Type("help\n2\n");
  StderrOf(
      [&] { EXPECT_EQ(2, xvt_dm_post_ask("Yes", "No", nullptr, "Sure?")); });
  EXPECT_THAT(Screen(), HasSubstr("This box waits for one of its buttons: "
                                  "[1 Yes] [2 No]"));
}

TEST_F(ConsoleTest, TheMenuHelpNamesCommandNumbers) {
  Type("help\nexit\n");
  RunConsoleTask();
  EXPECT_EQ((std::vector<int>{M_FILE_EXIT}), gCommands);
  EXPECT_THAT(Screen(), HasSubstr("the menu command numbered N"));
}

TEST_F(ConsoleTest, ABoxTypedAheadSaysOnceWhatItWaitsFor) {
  // The person typed three lines for a dialog; a box came first.
  Type("click 3\nset 4 x\nclick 2\nok\n");
  StderrOf([&] { xvt_dm_post_note("The log is empty"); });
  std::string s = Screen();
  EXPECT_EQ(1u, Occurrences(s, "The box \"The log is empty\" waits for an "
                               "answer: [1 OK]"))
      << s;
  EXPECT_THAT(s, HasSubstr("? this box has only OK"));
}

TEST_F(ConsoleTest, TextsMeetTheTerminalInItsEncoding) {
  XvtTerminalUtf8Mode = 1;
  Type("set 4 caf\xC3\xA9 \xE9t\xE9\nclick 1\n2\n");
  RunTestDialog();
  // UTF-8 typed comes in as code page 1252; a stray 1252 byte stays.
  EXPECT_EQ("caf\xE9 \xE9t\xE9", gDlg.edit);
  std::string err = StderrOf([&] {
    EXPECT_EQ(2, xvt_dm_post_ask("Oui", "Ann\xE9", nullptr, "S\xFBr ?"));
  });
  EXPECT_THAT(Screen(), HasSubstr("[2 Ann\xC3\xA9]"));
  EXPECT_THAT(err, HasSubstr("ask: S\xC3\xBBr ?"));

  XvtTerminalUtf8Mode = 0; // a Latin-1 terminal shows the bytes as they are
  Type("1\n");
  StderrOf([&] {
    EXPECT_EQ(1, xvt_dm_post_ask("Oui", "Ann\xE9", nullptr, "S\xFBr ?"));
  });
  XvtTerminalUtf8Mode = -1;
  EXPECT_THAT(Screen(), HasSubstr("[2 Ann\xE9]"));
}

TEST_F(ConsoleTest, NoOneAtTheInputIsSaidOnceOnStandardError) {
  Type("");
  XvtConsoleInteractive = 0;
  XvtReset();
  std::string err = StderrOf([] {
    xvt_dm_post_note("first");
    EXPECT_EQ(1, xvt_dm_post_ask("A", "B", nullptr, "second"));
  });
  EXPECT_EQ(1u, Occurrences(err, "standard input is not a terminal")) << err;
  EXPECT_THAT(err, HasSubstr("MANTREL_SCRIPT=FILE"));
}
