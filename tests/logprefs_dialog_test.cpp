// The Log file preferences dialog: its controls show the run options, OK
// stores them back, Cancel keeps them, the choosers fill the fields, and
// what OK starts for each number, down to the range prompt.
#include "chooser_support.h"

#include "session/runoptions.h"
#include "shell/logprefs.h"

#include <map>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// What the dialog showed when it was created, and again just before OK.
struct Shown {
  std::map<int, bool> ticks;
  std::map<int, std::string> fields;
  bool uniqueIdVisible = true;
  std::string caption, leadIn;
};
Shown gAtCreate, gAtOk;
int gCreated = 0;

const int kTicks[] = {kLogPrefsBackupLog,    kLogPrefsBackupRep,
                      kLogPrefsSameLanguage, kLogPrefsAddMissing,
                      kLogPrefsAppendNotes,  kLogPrefsKeepOwnLog,
                      kLogPrefsDoubleNotes,  kLogPrefsIgnoreUniqueId};
const int kFields[] = {kLogPrefsBackupDir, kLogPrefsStatistics, kLogPrefsErrors,
                       kLogPrefsTextLog};

Shown Snapshot(WINDOW win) {
  Shown s;
  for (int id : kTicks)
    s.ticks[id] = xvt_ctl_is_checked(xvt_win_get_ctl(win, id));
  char buf[300];
  for (int id : kFields)
    s.fields[id] =
        xvt_vobj_get_title(xvt_win_get_ctl(win, id), buf, sizeof buf);
  s.uniqueIdVisible =
      xvt_vobj_is_visible(xvt_win_get_ctl(win, kLogPrefsIgnoreUniqueId));
  s.caption = xvt_vobj_get_title(win, buf, sizeof buf);
  s.leadIn = xvt_vobj_get_title(xvt_win_get_ctl(win, kLogPrefsLeadIn), buf,
                                sizeof buf);
  return s;
}

// The dialog's own handler, watched.
long WatchedPrefs(WINDOW win, EVENT *ev) {
  if (ev->type == E_CONTROL && ev->v.ctl.id == kLogPrefsOk)
    gAtOk = Snapshot(win);
  long r = LogPreferencesEvent(win, ev);
  if (ev->type == E_CREATE) {
    ++gCreated;
    gAtCreate = Snapshot(win);
  }
  return r;
}

class LogPrefsTest : public InstallTest {
protected:
  void SetUp() override {
    InstallTest::SetUp();
    gAtCreate = gAtOk = Shown{};
    gCreated = 0;
    LogPrefsRegister();
    RunOptionsClear();
    RunOptions.BackupLog = 0;
    RunOptions.BackupRepertory = 1;
    StrCopy(RunOptions.BackupDirectory, "\\work\\BACKUP");
    RunOptions.SameLanguage = 1;
    RunOptions.AddMissing = 0;
    RunOptions.ReplaceNotes = 1;
    RunOptions.KeepInOwnLog = 0;
    RunOptions.CheckDoubleNotes = 1;
    RunOptions.IgnoreUniqueId = 0;
    StrCopy(RunOptions.StatisticsFile, "..\\log\\a.rpt");
    StrCopy(RunOptions.ErrorsFile, "..\\log\\a.err");
    StrCopy(RunOptions.TextLogFile, "..\\log\\a.txt");
    RunOptions.From = 0;
    RunOptions.To = kRunToLast;
    StrCopy(LogPath, "..\\log\\a");
  }
  // Opens the dialog with a number that starts nothing.
  void Open(long number = 0) {
    xvt_dlg_create_res(WD_MODAL, kLogPrefsRes, -1, WatchedPrefs, number);
  }
  // Opens it so, and answers what it wrote on standard error.
  std::string OpenTold(long number = 0) {
    return StderrOf([&] { Open(number); });
  }
};

TEST_F(LogPrefsTest, ControlsShowTheOptionsAndAppendIsTheInverseOfReplace) {
  Script("click 2\n");
  Open();
  ASSERT_EQ(gCreated, 1);
  EXPECT_FALSE(gAtCreate.ticks[kLogPrefsBackupLog]);
  EXPECT_TRUE(gAtCreate.ticks[kLogPrefsBackupRep]);
  EXPECT_TRUE(gAtCreate.ticks[kLogPrefsSameLanguage]);
  EXPECT_FALSE(gAtCreate.ticks[kLogPrefsAddMissing]);
  EXPECT_FALSE(gAtCreate.ticks[kLogPrefsAppendNotes]); // replace notes is 1
  EXPECT_FALSE(gAtCreate.ticks[kLogPrefsKeepOwnLog]);
  EXPECT_TRUE(gAtCreate.ticks[kLogPrefsDoubleNotes]);
  EXPECT_FALSE(gAtCreate.ticks[kLogPrefsIgnoreUniqueId]);
  EXPECT_FALSE(gAtCreate.uniqueIdVisible); // created hidden
  // A folder of this system shows as Linux writes it; a relative stored
  // path stays as stored.
  EXPECT_EQ(gAtCreate.fields[kLogPrefsBackupDir], "/work/BACKUP");
  EXPECT_EQ(gAtCreate.fields[kLogPrefsStatistics], "..\\log\\a.rpt");
  EXPECT_EQ(gAtCreate.fields[kLogPrefsErrors], "..\\log\\a.err");
  EXPECT_EQ(gAtCreate.fields[kLogPrefsTextLog], "..\\log\\a.txt");
  EXPECT_EQ(gAtCreate.caption, MsgText(5614));
  EXPECT_EQ(gAtCreate.leadIn, MsgText(5632));

  // The other way round.
  RunOptions.ReplaceNotes = 0;
  RunOptions.BackupLog = 1;
  RunOptions.AddMissing = 1;
  RunOptions.IgnoreUniqueId = 1;
  Script("click 2\n");
  Open();
  EXPECT_TRUE(gAtCreate.ticks[kLogPrefsAppendNotes]);
  EXPECT_TRUE(gAtCreate.ticks[kLogPrefsBackupLog]);
  EXPECT_TRUE(gAtCreate.ticks[kLogPrefsAddMissing]);
  EXPECT_TRUE(gAtCreate.ticks[kLogPrefsIgnoreUniqueId]);
}

TEST_F(LogPrefsTest, OkStoresEveryControl) {
  Script("click 4\nclick 5\nclick 9\nclick 10\nclick 11\nclick 12\n"
         "click 21\n"
         "set 7 /tmp/bk\n"
         "set 17 s.rpt\nset 18 e.err\nset 19 t.txt\n"
         "click 1\n");
  Open();
  ASSERT_EQ(gCreated, 1);
  // Every tick toggled on its click.
  for (int id : kTicks) {
    if (id != kLogPrefsIgnoreUniqueId) {
      EXPECT_NE(gAtOk.ticks[id], gAtCreate.ticks[id]) << id;
    }
  }
  EXPECT_EQ(RunOptions.BackupLog, 1);
  EXPECT_EQ(RunOptions.BackupRepertory, 0);
  EXPECT_EQ(RunOptions.SameLanguage, 0);
  EXPECT_EQ(RunOptions.AddMissing, 1);
  EXPECT_EQ(RunOptions.ReplaceNotes, 0); // append ticked
  EXPECT_EQ(RunOptions.KeepInOwnLog, 1);
  EXPECT_EQ(RunOptions.CheckDoubleNotes, 0);
  EXPECT_EQ(RunOptions.IgnoreUniqueId, 0);
  // What is typed with slashes is stored with backslashes.
  EXPECT_STREQ(RunOptions.BackupDirectory, "\\tmp\\bk");
  EXPECT_STREQ(RunOptions.StatisticsFile, "s.rpt");
  EXPECT_STREQ(RunOptions.ErrorsFile, "e.err");
  EXPECT_STREQ(RunOptions.TextLogFile, "t.txt");
}

TEST_F(LogPrefsTest, OkWithNothingChangedKeepsTheOptions) {
  RunOptionSet before = RunOptions;
  Script("click 1\n");
  Open();
  EXPECT_EQ(memcmp(&before, &RunOptions, sizeof before), 0);
}

TEST_F(LogPrefsTest, FieldsAreReadWithTheirLimit) {
  std::string longName(300, 'x');
  Script("set 17 " + longName + "\nclick 1\n");
  Open();
  EXPECT_EQ(strlen(RunOptions.StatisticsFile), 255u);
}

TEST_F(LogPrefsTest, CancelEscAndCloseChangeNothing) {
  RunOptionSet before = RunOptions;
  for (const char *end : {"click 2\n", "key esc\n", "close\n"}) {
    Script(std::string("click 4\nclick 11\nset 17 other.rpt\n") + end);
    std::string err = OpenTold(kLogPrefsOwnLog);
    EXPECT_EQ(memcmp(&before, &RunOptions, sizeof before), 0) << end;
    EXPECT_THAT(err, Not(HasSubstr("3004")));
    EXPECT_THAT(err, Not(HasSubstr("cannot be opened")));
  }
}

TEST_F(LogPrefsTest, ChoosersFillTheirFields) {
  fs::create_directories(root_ / "log");
  fs::create_directories(root_ / "bk");
  Script("click 6\nfolder " + (root_ / "bk").string() +
         "\n"
         "click 14\nfile stats.rpt\n"
         "click 15\ncancel\n"
         "click 1\n");
  std::string err = OpenTold();
  EXPECT_THAT(err, HasSubstr(MsgText(5601)));
  EXPECT_THAT(err, HasSubstr(MsgText(5602)));
  EXPECT_THAT(err, HasSubstr(MsgText(5603)));
  // The folder in text form, and the report beside the log.
  EXPECT_THAT(std::string(RunOptions.BackupDirectory), HasSubstr("bk"))
      << RunOptions.BackupDirectory;
  EXPECT_STRNE(RunOptions.BackupDirectory, "\\work\\BACKUP");
  std::string stats = RunOptions.StatisticsFile;
  EXPECT_THAT(stats, HasSubstr("stats.rpt"));
  EXPECT_THAT(stats, HasSubstr("log"));
  EXPECT_STREQ(RunOptions.ErrorsFile, "..\\log\\a.err"); // cancelled
}

TEST(LogRange, FromAndToOfTheAnswer) {
  int32_t from = -1, to = -1;
  LogParseRange("12-20", &from, &to);
  EXPECT_EQ(from, 12);
  EXPECT_EQ(to, 20);
  LogParseRange("7", &from, &to);
  EXPECT_EQ(from, 7);
  EXPECT_EQ(to, kRunToLast);
  LogParseRange("120-", &from, &to);
  EXPECT_EQ(from, 120);
  EXPECT_EQ(to, 0);
  LogParseRange("", &from, &to);
  EXPECT_EQ(from, 0);
  EXPECT_EQ(to, kRunToLast);
}

TEST_F(LogPrefsTest, RangePromptSetsFromAndTo) {
  Script("text 12-20\n");
  EXPECT_TRUE(LogAskRange());
  EXPECT_EQ(RunOptions.From, 12);
  EXPECT_EQ(RunOptions.To, 20);

  Script("text 7\n");
  EXPECT_TRUE(LogAskRange());
  EXPECT_EQ(RunOptions.From, 7);
  EXPECT_EQ(RunOptions.To, kRunToLast);

  Script("cancel\n");
  EXPECT_FALSE(LogAskRange());
  EXPECT_EQ(RunOptions.From, 7);
  EXPECT_EQ(RunOptions.To, kRunToLast);
}

TEST_F(LogPrefsTest, OtherLogAsksCommentThenRangeAndCancelEndsTheCommand) {
  StrCopy(RunOptions.Comment, "old");
  Script("click 1\ntext from the test\ncancel\n");
  std::string err = OpenTold(kLogPrefsOtherLog);
  EXPECT_STREQ(RunOptions.Comment, "from the test");
  EXPECT_THAT(err, HasSubstr("Enter the comment for additions"));
  // One message at a time: the message text is one buffer.
  std::string prompt = MsgText(5326);
  prompt += " ";
  prompt += MsgText(5327);
  EXPECT_THAT(err, HasSubstr(prompt));
  // No run: the log that isn't there is never opened.
  EXPECT_THAT(err, Not(HasSubstr("cannot be opened")));
}

TEST_F(LogPrefsTest, OtherLogWithARangeStartsTheRun) {
  RunOptions.BackupLog = RunOptions.BackupRepertory = 0;
  Script("click 1\ntext\ntext 3-9\n");
  std::string err = OpenTold(kLogPrefsOtherLog);
  EXPECT_EQ(RunOptions.From, 3);
  EXPECT_EQ(RunOptions.To, 9);
  EXPECT_STREQ(RunOptions.Comment, "");
  // The run itself has started: it could not open the log.
  EXPECT_THAT(err, HasSubstr("cannot be opened"));
}

TEST_F(LogPrefsTest, OwnLogAsksWhetherToRunWithoutTheBackup) {
  StrCopy(RunOptions.Comment, "left over");
  // No copy program here: the person is asked, and Stop runs nothing.
  std::string err =
      OpenTold(kLogPrefsOwnLog); // no script: OK, then the safe first button
  EXPECT_STREQ(RunOptions.Comment, "");
  EXPECT_THAT(err,
              HasSubstr("ask: The copy program backup\\setup.exe is missing"));
  EXPECT_THAT(err, Not(HasSubstr("cannot be opened")));
  // Going on without it starts the run.
  Script("enter\nanswer 2\n");
  err = OpenTold(kLogPrefsOwnLog);
  EXPECT_THAT(err, HasSubstr("cannot be opened"));
}

TEST_F(LogPrefsTest, TextFileRunAsksTheCommentAndStarts) {
  RunOptions.BackupLog = RunOptions.BackupRepertory = 0;
  StrCopy(LogPath, "no-such-text.txt");
  Script("click 1\ntext for additions\n");
  std::string err = OpenTold(kLogPrefsTextFile);
  EXPECT_STREQ(RunOptions.Comment, "for additions");
  EXPECT_THAT(err, HasSubstr("Enter the comment for additions"));
  // The run itself has started: the text file is not there.
  EXPECT_THAT(err, HasSubstr("no-such-text.txt cannot be opened"));
}

} // namespace
