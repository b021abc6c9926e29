// Dialog 112 "Backup / Restore": the items to copy, the folder, and OK that
// runs the backup or the restore.
#include "backup/backup.h"

#include "platform/files.h"
#include "platform/strutil.h"
#include "services/dialog.h"
#include "services/help.h"
#include "services/messages.h"
#include "session/runoptions.h"
#include "session/session.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

// Dialog units: the group of ticks, the folder line under it, the buttons
// at the foot on the right.
const XVT_CTL_RES kBackupCtls[] = {
    {kBackupGroup, WC_GROUPBOX, 7, 5, 266, 128,
     "Select what you want to back up", 0},
    {kBackupTickLog, WC_CHECKBOX, 14, 17, 252, 10,
     "The log file containing personal addition", 0},
    {kBackupTickRepertory, WC_CHECKBOX, 14, 29, 252, 10, "Almanacum", 0},
    {kBackupTickKeynotes, WC_CHECKBOX, 14, 41, 252, 10, "The personal keynotes",
     0},
    {kBackupTickCases, WC_CHECKBOX, 14, 53, 252, 10, "Your cases", 0},
    {kBackupTickPatient, WC_CHECKBOX, 14, 65, 252, 10, "The Orvix patient file",
     0},
    {kBackupTickZentrix, WC_CHECKBOX, 14, 77, 252, 10, "The Zentrix files", 0},
    {kBackupTickSystem, WC_CHECKBOX, 14, 89, 252, 10, "The system files", 0},
    {kBackupTickBin, WC_CHECKBOX, 14, 101, 252, 10,
     "The current version of the program (bin folder)", 0},
    {kBackupTickFreenotes, WC_CHECKBOX, 14, 113, 252, 10, "Freenotes", 0},
    {kBackupFolderButton, WC_PUSHBUTTON, 7, 139, 100, 14,
     "&Directory for the backup", 0},
    {kBackupFolderEdit, WC_EDIT, 113, 140, 160, 12, "", 0},
    {kBackupFolderList, WC_LISTBUTTON, 113, 140, 160, 12, "",
     CTL_FLAG_INVISIBLE},
    {kBackupOk, WC_PUSHBUTTON, 111, 162, 50, 14, "OK", CTL_FLAG_DEFAULT},
    {kBackupCancel, WC_PUSHBUTTON, 167, 162, 50, 14, "Cancel", 0},
    {kBackupHelp, WC_PUSHBUTTON, 223, 162, 50, 14, "&Help", 0},
};
const XVT_WIN_RES kBackupDlg = {
    kBackupRes,
    0,
    0,
    280,
    184,
    "Backup / Restore",
    kBackupCtls,
    static_cast<int>(sizeof kBackupCtls / sizeof kBackupCtls[0]),
    0};

// The ticks in the order of the flags they fill.
const int kTicks[] = {
    kBackupTickLog,    kBackupTickRepertory, kBackupTickKeynotes,
    kBackupTickCases,  kBackupTickPatient,   kBackupTickZentrix,
    kBackupTickSystem, kBackupTickBin,       kBackupTickFreenotes};

WINDOW Ctl(WINDOW win, int id) {
  return xvt_win_get_ctl(win, id);
}

void BackupCreate(WINDOW win) {
  long mode = xvt_vobj_get_data(win);
  bool restore = mode == kBackupModeRestore;
  DlgLoadTexts(win, TextTableBackup);
  xvt_vobj_set_title(win, MsgText(restore ? 5637 : 5636));
  DlgSetTitle(win, kBackupGroup, MsgText(restore ? 5639 : 5638));
  char title[160];
  StrFormat(title, "%s (%s)", MsgText(5641),
            CurrentCatalog.RepertoryBlock.Title);
  DlgSetTitle(win, kBackupTickRepertory, title);
  // A backup offers everything, a restore nothing until it is ticked.
  for (int id : kTicks)
    DlgSetTick(win, id, !restore);
  if (restore) {
    xvt_vobj_set_visible(Ctl(win, kBackupFolderEdit), false);
    xvt_vobj_set_visible(Ctl(win, kBackupFolderList), true);
    ListRestoreFolders(Ctl(win, kBackupFolderList));
  } else {
    MakeBackupFolder(RunOptions.BackupBase, RunOptions.BackupDirectory,
                     sizeof RunOptions.BackupDirectory);
  }
  DlgSetTitle(win, kBackupFolderEdit, RunOptions.BackupDirectory);
}

void ChooseFolder(WINDOW win) {
  char chosen[kBackupPathSize] = "";
  if (xvt_dm_post_folder(MsgText(5601), chosen, sizeof chosen) != FL_OK ||
      chosen[0] == '\0')
    return;
  DlgSetTitle(win, kBackupFolderEdit, chosen);
  DlgSetTitle(win, kBackupFolderList, chosen);
}

void BackupOk(WINDOW win) {
  long mode = xvt_vobj_get_data(win);
  RunOptions.BackupLog = DlgTick(win, kBackupTickLog);
  RunOptions.BackupRepertory = DlgTick(win, kBackupTickRepertory);
  BackupItems.Keynotes = DlgTick(win, kBackupTickKeynotes);
  BackupItems.Cases = DlgTick(win, kBackupTickCases);
  BackupItems.Patient = DlgTick(win, kBackupTickPatient);
  BackupItems.Zentrix = DlgTick(win, kBackupTickZentrix);
  BackupItems.System = DlgTick(win, kBackupTickSystem);
  BackupItems.Bin = DlgTick(win, kBackupTickBin);
  BackupItems.Freenotes = DlgTick(win, kBackupTickFreenotes);
  // The folder is the edit control's, also in restore mode where it is
  // hidden: the drop-down's choice is not read, only the button's.
  char folder[kBackupPathSize];
  if (xvt_vobj_get_title(Ctl(win, kBackupFolderEdit), folder, sizeof folder) ==
      nullptr)
    folder[0] = '\0';
  StrCopy(RunOptions.BackupDirectory, folder);
  xvt_vobj_destroy(win);
  if (mode == kBackupModeRestore)
    RestoreFiles();
  else
    BackupFiles();
}

} // namespace

void ListRestoreFolders(WINDOW control) {
  xvt_list_clear(control);
  std::vector<PlatDirEntry> entries;
  if (PlatListDir(RunOptions.BackupBase, "*.*", false, entries) != kPlatOk)
    return;
  char shown[2 * kBackupPathSize] = "";
  int row = 0;
  for (const PlatDirEntry &e : entries) {
    if (!e.IsDir || e.Name.empty() || e.Name[0] == '.')
      continue;
    StrFormat(shown, "%s\\%s", RunOptions.BackupBase, e.Name.c_str());
    xvt_list_add(control, row++, shown);
  }
  if (row > 0)
    xvt_vobj_set_title(control, shown);
}

void BackupRegister() {
  xvt_res_register_dialog(&kBackupDlg);
}

long BackupDialogEvent(WINDOW win, EVENT *ev) {
  if (DlgCancelEvent(win, ev))
    return 0;
  switch (ev->type) {
  case E_CREATE:
    BackupCreate(win);
    break;
  case E_CONTROL:
    switch (ev->v.ctl.id) {
    case kBackupOk:
      BackupOk(win);
      break;
    case kBackupCancel:
      xvt_vobj_destroy(win);
      break;
    case kBackupHelp:
      HelpTopic(1042);
      break;
    case kBackupFolderButton:
      ChooseFolder(win);
      break;
    default:
      for (int id : kTicks)
        if (id == ev->v.ctl.id)
          DlgToggleTick(win, id);
      break;
    }
    break;
  default:
    break;
  }
  return 0;
}

void BackupOpenDialog(long mode) {
  BackupRegister();
  if (xvt_dlg_create_res(WD_MODAL, kBackupRes, -1, BackupDialogEvent, mode) ==
      NULL_WIN)
    xvt_dm_post_error("%s", MSG_CANT_OPEN_DIALOG);
}
