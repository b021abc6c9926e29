#include "shell/logprefs.h"

#include "backup/backup.h"
#include "logrun/logrun.h"
#include "logrun/logruntext.h"
#include "logrun/runstart.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "services/dialog.h"
#include "services/help.h"
#include "services/messages.h"
#include "services/paths.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "shell/app.h"
#include "shell/chooser.h"
#include "shell/menu.h"

#include <cstdlib>
#include <cstring>

namespace {

// ---------------------------------------------------------------- resource

// Dialog units; the three groups stand one below the other, each with its
// controls indented inside, and the buttons at the foot on the right.
const XVT_CTL_RES kLogPrefsCtls[] = {
    {kLogPrefsLeadIn, WC_TEXT, 7, 5, 342, 10,
     "Choose how the log file is to be run", 0},
    {kLogPrefsGroupBackup, WC_GROUPBOX, 7, 18, 342, 56, "Backup", 0},
    {kLogPrefsBackupLog, WC_CHECKBOX, 14, 29, 328, 10,
     "&Make a backup of your log file before", 0},
    {kLogPrefsBackupRep, WC_CHECKBOX, 14, 41, 328, 10,
     "Make a &backup of your Almanacum before", 0},
    {kLogPrefsBackupDirButton, WC_PUSHBUTTON, 14, 54, 100, 14,
     "&Directory for the backup", 0},
    {kLogPrefsBackupDir, WC_EDIT, 120, 55, 222, 12, "", 0},
    {kLogPrefsGroupAdditions, WC_GROUPBOX, 7, 78, 342, 82, "Additions", 0},
    {kLogPrefsSameLanguage, WC_CHECKBOX, 14, 89, 328, 10,
     "Yes, the &language in the log file is the same as the first language "
     "of the repertory",
     0},
    {kLogPrefsAddMissing, WC_CHECKBOX, 14, 100, 328, 10,
     "Yes, I want to automatically add the symptoms not &found", 0},
    {kLogPrefsAppendNotes, WC_CHECKBOX, 14, 111, 328, 10,
     "Yes, I want to append &notes to existing notes", 0},
    {kLogPrefsKeepOwnLog, WC_CHECKBOX, 14, 122, 328, 10,
     "Yes, I want to &keep the operations in my own log file", 0},
    {kLogPrefsDoubleNotes, WC_CHECKBOX, 14, 133, 328, 10,
     "Yes, I want to &check if my Almanacum contains some double notes", 0},
    {kLogPrefsIgnoreUniqueId, WC_CHECKBOX, 14, 144, 328, 10,
     "Do not use the Symptom Unique Id", CTL_FLAG_INVISIBLE},
    {kLogPrefsGroupFiles, WC_GROUPBOX, 7, 164, 342, 68, "Files", 0},
    {kLogPrefsStatisticsButton, WC_PUSHBUTTON, 14, 176, 100, 14,
     "File name for &statistics", 0},
    {kLogPrefsStatistics, WC_EDIT, 120, 177, 222, 12, "", 0},
    {kLogPrefsErrorsButton, WC_PUSHBUTTON, 14, 194, 100, 14,
     "File name for &errors", 0},
    {kLogPrefsErrors, WC_EDIT, 120, 195, 222, 12, "", 0},
    {kLogPrefsTextLogButton, WC_PUSHBUTTON, 14, 212, 100, 14,
     "File name for &text log file", 0},
    {kLogPrefsTextLog, WC_EDIT, 120, 213, 222, 12, "", 0},
    {kLogPrefsOk, WC_PUSHBUTTON, 187, 240, 50, 14, "OK", CTL_FLAG_DEFAULT},
    {kLogPrefsCancel, WC_PUSHBUTTON, 243, 240, 50, 14, "Cancel", 0},
    {kLogPrefsHelp, WC_PUSHBUTTON, 299, 240, 50, 14, "&Help", 0},
};
const XVT_WIN_RES kLogPrefsDlg = {
    kLogPrefsRes,
    0,
    0,
    356,
    262,
    "Log file preferences",
    kLogPrefsCtls,
    static_cast<int>(sizeof kLogPrefsCtls / sizeof kLogPrefsCtls[0]),
    0};

// The text fields are read with a limit of 255 characters.
constexpr int kFieldLimit = 256;

// ---------------------------------------------------------------- controls

void ReadField(WINDOW win, int id, char *out, size_t cap) {
  char text[kFieldLimit];
  if (xvt_vobj_get_title(xvt_win_get_ctl(win, id), text, sizeof text) ==
      nullptr)
    text[0] = '\0';
  StrCopy(out, cap, text);
}
// Path fields show a folder of this system as Linux writes it; what comes
// back is stored with backslashes.
void SetPathField(WINDOW win, int id, const char *stored) {
  DlgSetTitle(win, id, PlatPathShown(stored).c_str());
}
void ReadPathField(WINDOW win, int id, char *out, size_t cap) {
  char text[kFieldLimit];
  ReadField(win, id, text, sizeof text);
  if (!PlatPathTyped(text, out, cap))
    StrCopy(out, cap, text);
}

void LogPrefsCreate(WINDOW win) {
  DlgLoadTexts(win, TextTableLogPrefs);
  DlgSetTitle(win, kLogPrefsLeadIn, MsgText(5632));
  DlgSetTick(win, kLogPrefsBackupLog, RunOptions.BackupLog != 0);
  DlgSetTick(win, kLogPrefsBackupRep, RunOptions.BackupRepertory != 0);
  SetPathField(win, kLogPrefsBackupDir, RunOptions.BackupDirectory);
  DlgSetTick(win, kLogPrefsSameLanguage, RunOptions.SameLanguage != 0);
  DlgSetTick(win, kLogPrefsAddMissing, RunOptions.AddMissing != 0);
  DlgSetTick(win, kLogPrefsAppendNotes, RunOptions.ReplaceNotes == 0);
  DlgSetTick(win, kLogPrefsKeepOwnLog, RunOptions.KeepInOwnLog != 0);
  DlgSetTick(win, kLogPrefsDoubleNotes, RunOptions.CheckDoubleNotes != 0);
  DlgSetTick(win, kLogPrefsIgnoreUniqueId, RunOptions.IgnoreUniqueId != 0);
  SetPathField(win, kLogPrefsStatistics, RunOptions.StatisticsFile);
  SetPathField(win, kLogPrefsErrors, RunOptions.ErrorsFile);
  SetPathField(win, kLogPrefsTextLog, RunOptions.TextLogFile);
}

void LogPrefsStore(WINDOW win) {
  RunOptions.BackupLog = DlgTick(win, kLogPrefsBackupLog);
  RunOptions.BackupRepertory = DlgTick(win, kLogPrefsBackupRep);
  ReadPathField(win, kLogPrefsBackupDir, RunOptions.BackupDirectory,
                sizeof RunOptions.BackupDirectory);
  RunOptions.SameLanguage =
      static_cast<uint8_t>(DlgTick(win, kLogPrefsSameLanguage));
  RunOptions.AddMissing =
      static_cast<uint8_t>(DlgTick(win, kLogPrefsAddMissing));
  RunOptions.ReplaceNotes =
      static_cast<uint8_t>(DlgTick(win, kLogPrefsAppendNotes) != 0 ? 0 : 1);
  RunOptions.KeepInOwnLog = DlgTick(win, kLogPrefsKeepOwnLog);
  RunOptions.CheckDoubleNotes = DlgTick(win, kLogPrefsDoubleNotes);
  RunOptions.IgnoreUniqueId = DlgTick(win, kLogPrefsIgnoreUniqueId);
  ReadPathField(win, kLogPrefsStatistics, RunOptions.StatisticsFile,
                sizeof RunOptions.StatisticsFile);
  ReadPathField(win, kLogPrefsErrors, RunOptions.ErrorsFile,
                sizeof RunOptions.ErrorsFile);
  ReadPathField(win, kLogPrefsTextLog, RunOptions.TextLogFile,
                sizeof RunOptions.TextLogFile);
}

void ChooseBackupFolder(WINDOW win) {
  char chosen[kRunPathSize] = "";
  if (xvt_dm_post_folder(MsgText(5601), chosen, sizeof chosen) == FL_OK &&
      chosen[0] != '\0')
    SetPathField(win, kLogPrefsBackupDir, chosen);
}

// A report's name: a file chooser in the log's folder.
void ChooseReport(WINDOW win, int field, int message) {
  char folder[kRunPathSize];
  StrCopy(folder, LogPath);
  if (char *last = strrchr(folder, '\\'))
    *last = '\0';
  else
    folder[0] = '\0';
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  if (FileChooseSave("*", &spec, message,
                     folder[0] != '\0' ? folder : nullptr) == 0)
    return;
  char path[kRunPathSize];
  PathOfFileSpec(&spec, path, sizeof path);
  SetPathField(win, field, path);
}

void LogPrefsOk(WINDOW win) {
  long number = xvt_vobj_get_data(win);
  LogPrefsStore(win);
  xvt_vobj_destroy(win);
  switch (number) {
  case kLogPrefsBatch:
    UpdateRepertoryRun(CurrentCatalog.Id, 1);
    break;
  case kLogPrefsOwnLog:
    LogStartFromOwnLog();
    break;
  case kLogPrefsOtherLog:
    LogStartFromOtherLog();
    break;
  case kLogPrefsTextFile:
    LogStartFromText();
    break;
  default:
    break;
  }
}

void LogPrefsCancel(WINDOW win) {
  long number = xvt_vobj_get_data(win);
  xvt_vobj_destroy(win);
  if (number == kLogPrefsBatch)
    AppTerminate();
}

} // namespace

void LogPrefsRegister() {
  xvt_res_register_dialog(&kLogPrefsDlg);
}

long LogPreferencesEvent(WINDOW win, EVENT *ev) {
  if (DlgCancelEvent(win, ev, LogPrefsCancel))
    return 0;
  switch (ev->type) {
  case E_CREATE:
    LogPrefsCreate(win);
    break;
  case E_CONTROL:
    switch (ev->v.ctl.id) {
    case kLogPrefsOk:
      LogPrefsOk(win);
      break;
    case kLogPrefsCancel:
      LogPrefsCancel(win);
      break;
    case kLogPrefsHelp:
      HelpTopic(kLogPrefsRes);
      break;
    case kLogPrefsBackupDirButton:
      ChooseBackupFolder(win);
      break;
    case kLogPrefsStatisticsButton:
      ChooseReport(win, kLogPrefsStatistics, 5602);
      break;
    case kLogPrefsErrorsButton:
      ChooseReport(win, kLogPrefsErrors, 5603);
      break;
    case kLogPrefsTextLogButton:
      ChooseReport(win, kLogPrefsTextLog, 5604);
      break;
    case kLogPrefsBackupLog:
    case kLogPrefsBackupRep:
    case kLogPrefsSameLanguage:
    case kLogPrefsAddMissing:
    case kLogPrefsAppendNotes:
    case kLogPrefsKeepOwnLog:
    case kLogPrefsDoubleNotes:
    case kLogPrefsIgnoreUniqueId:
      DlgToggleTick(win, ev->v.ctl.id);
      break;
    default:
      break;
    }
    break;
  default:
    break;
  }
  return 0;
}

void LogPrefsOpen(long number) {
  LogPrefsRegister();
  if (xvt_dlg_create_res(WD_MODAL, kLogPrefsRes, -1, LogPreferencesEvent,
                         number) == NULL_WIN)
    xvt_dm_post_error("%s", MsgText(23));
}

void LogParseRange(const char *text, int32_t *from, int32_t *to) {
  if (text == nullptr)
    text = "";
  *from = static_cast<int32_t>(atol(text));
  *to = kRunToLast;
  if (const char *dash = strchr(text, '-'))
    *to = static_cast<int32_t>(atol(dash + 1));
}

bool LogAskRange() {
  char prompt[512];
  StrCopy(prompt, MsgText(5326));
  StrAppend(prompt, " ");
  StrAppend(prompt, MsgText(5327));
  char answer[31] = "";
  if (xvt_dm_post_string_prompt(prompt, answer, sizeof answer) == nullptr)
    return false;
  LogParseRange(answer, &RunOptions.From, &RunOptions.To);
  return true;
}

void LogAskComment() {
  char answer[kRunCommentSize] = "";
  if (xvt_dm_post_string_prompt("Enter the comment for additions", answer,
                                sizeof answer) != nullptr)
    StrCopy(RunOptions.Comment, answer);
  else
    RunOptions.Comment[0] = '\0';
}

void LogStartFromOwnLog() {
  RunOptions.Comment[0] = '\0';
  RunOptions.BatchMode = 0; // a person's run: a failed backup asks

  if (BackupBeforeRun() != 0)
    return;
  WorkRun(LogRunTable);
}

void LogStartFromOtherLog() {
  RunOptions.Comment[0] = '\0';
  RunOptions.BatchMode = 0;
  LogAskComment();
  if (!LogAskRange())
    return;
  if (BackupBeforeRun() != 0)
    return;
  WorkRun(LogRunTable);
}

void LogStartFromText() {
  RunOptions.Comment[0] = '\0';
  RunOptions.BatchMode = 0;
  LogAskComment();
  if (BackupBeforeRun() != 0)
    return;
  WorkRun(LogRunText);
}
