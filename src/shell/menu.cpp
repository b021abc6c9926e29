#include "shell/menu.h"

#include "backup/backup.h"
#include "listings/listings.h"
#include "platform/strutil.h"
#include "repair/rebuild.h"
#include "services/config.h"
#include "services/help.h"
#include "services/messages.h"
#include "services/paths.h"
#include "session/runoptions.h"
#include "shell/app.h"
#include "shell/chooser.h"
#include "shell/logprefs.h"
#include "shell/repairdlg.h"
#include "transfers/localise.h"
#include "transfers/mergecases.h"
#include "transfers/userremedies.h"

#include <cstring>

namespace {

constexpr unsigned kSep = MENU_FLAG_SEPARATOR;

// Separators carry tag 0; a closing row has tag 0 and no flag.
const MENU_RES kFileItems[] = {
    {1009, "Open ~repertory...", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1038, "Automatic network localization...", 0, nullptr},
    {1024, "Manua~l network localization...", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1012, "E~xit", 0, nullptr},
    {0, nullptr, 0, nullptr},
};
const MENU_RES kUpdateItems[] = {
    {1031, "Update repertor~y from your log file", 0, nullptr},
    {1033, "Update ~repertory from another log file", 0, nullptr},
    {1037, "Upda~te from a text file...", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1040, "Transfer your additions to the new repertory", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1030, "Up~date user defined remedies", 0, nullptr},
    {1032, "Upd~ate user defined authors", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1045, "Merge a catalogue of cases", 0, nullptr},
    {0, nullptr, 0, nullptr},
};
const MENU_RES kRepairItems[] = {
    {1046, "Advanced repair selection...", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1006, "Symptom~s", 0, nullptr},
    {1005, "Word in language ~1", 0, nullptr},
    {1007, "Word in language ~2", 0, nullptr},
    {1008, "E~xtractions", 0, nullptr},
    {1010, "~Views", 0, nullptr},
    {1013, "Log Fi~le", 0, nullptr},
    {1014, "~Notes", 0, nullptr},
    {1027, "Multi ~media links", 0, nullptr},
    {1028, "C~oncepts-symptoms", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1019, "~Patient File", 0, nullptr},
    {1021, "~Cases", 0, nullptr},
    {1034, "Aut~hors", 0, nullptr},
    {1035, "~Remedies", 0, nullptr},
    {0, nullptr, kSep, nullptr},
    {1016, "All t~ables", 0, nullptr},
    {0, nullptr, 0, nullptr},
};
const MENU_RES kListItems[] = {
    {1017, "~Complete list of the log file", 0, nullptr},
    {1025, "List of the log file for a specific ~date", 0, nullptr},
    {1018, "Custom ~list of the log file", 0, nullptr},
    {1023, "Stati~stics on the log file", 0, nullptr},
    {0, nullptr, 0, nullptr},
};
const MENU_RES kBackupItems[] = {
    {1042, "Backup files ...", 0, nullptr},
    {1043, "Restore files ...", 0, nullptr},
    {0, nullptr, 0, nullptr},
};
const MENU_RES kMenuBar[] = {
    {kMenuFile, "~File", 0, kFileItems},
    {kMenuUpdate, "~Update", MENU_FLAG_DISABLED, kUpdateItems},
    {kMenuRepair, "~Repair", 0, kRepairItems},
    {kMenuList, "~List", 0, kListItems},
    {kMenuBackup, "Backup", 0, kBackupItems},
    {0, nullptr, 0, nullptr},
};

} // namespace

void RegisterMenuResource() {
  xvt_res_register_menu(kMenuBarResource, kMenuBar);
}

void AppLoadMenuTexts() {
  MenuLoadTexts(TASK_WIN, MenuTopMessages, &MenuItemMessages[0][0], kMenuCount,
                kMenuItemsPerMenu);
}

// ---------------------------------------------------------------- defaults

int AppLogDefaults(int kind) {
  if (kind < kRunVerb || kind > kRunUpgrade)
    return 1;

  // Backups go beside the program's folder, into its parent's BACKUP.
  DIRECTORY dir;
  char parent[sizeof dir.path] = "";
  if (xvt_fsys_get_dir(&dir))
    xvt_fsys_convert_dir_to_str(&dir, parent, sizeof parent);
  if (char *last = strrchr(parent, '\\'))
    *last = '\0';
  StrFormat(RunOptions.BackupBase, "%s\\BACKUP", parent);
  StrCopy(RunOptions.BackupDirectory, RunOptions.BackupBase);
  RunOptions.BackupRepertory = 1;
  RunOptions.BackupLog = 1;

  RunOptions.SameLanguage = 1;
  RunOptions.AddMissing = 0;
  RunOptions.ReplaceNotes = 0;
  RunOptions.KeepInOwnLog = 1;
  RunOptions.CheckDoubleNotes = 0;
  RunOptions.From = 0;
  RunOptions.To = kRunToLast;

  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  switch (kind) {
  case kRunVerb:
    RunOptions.CheckDoubleNotes = 1;
    break;
  case kRunOwnLog:
  case kRunAssociation:
    StrFormat(LogPath, "%s\\%s", LogFileDir, CurrentCatalog.Abbrev);
    break;
  case kRunOtherLog: {
    // The chooser's answer is not looked at: on Cancel the path is made of
    // what the file spec holds.
    FileChooseOpen("dat", &spec, 3154, LogFileDir);
    PathOfFileSpec(&spec, LogPath, sizeof LogPath);
    size_t n = strlen(LogPath);
    LogPath[n >= 4 ? n - 4 : 0] = '\0';
    break;
  }
  case kRunTextFile:
    FileChooseOpen("*", &spec, 5342, LogFileDir);
    PathOfFileSpec(&spec, LogPath, sizeof LogPath);
    break;
  default: // kRunUpgrade: the log as the verb gave it
    break;
  }
  if (kind != kRunVerb) {
    RunOptions.ReplaceNotes = 1;
    RunOptions.KeepInOwnLog = kind == kRunOwnLog ? 0 : 1;
  }

  // The reports are named after the log, and a text file's after the file
  // without its extension.
  char base[kRunPathSize];
  StrCopy(base, LogPath);
  if (kind == kRunTextFile && strchr(base, '.') != nullptr) {
    size_t n = strlen(base);
    base[n >= 3 ? n - 3 : 0] = '\0';
    n = strlen(base);
    if (n > 0 && base[n - 1] == '.')
      base[n - 1] = '\0';
  }
  StrFormat(RunOptions.StatisticsFile, "%s.rpt", base);
  StrFormat(RunOptions.ErrorsFile, "%s.err", base);
  // The text log holds the entries that were not applied, in their text
  // form; ".edt" is the edit log of a table run, so its text log is ".txt".
  // A text run writes no edit log, and its source may well be a ".txt":
  // its rejects take ".edt".
  StrFormat(RunOptions.TextLogFile, kind == kRunTextFile ? "%s.edt" : "%s.txt",
            base);
  return 0;
}

// ---------------------------------------------------------------- commands

void CommandNotAvailable(const char *what) {
  xvt_dm_post_error("%s is not available in this version of Mantrel.", what);
}

namespace {

void OpenRepertory() {
  RepOpenChooser(WD_MODELESS, kChooserPerson);
}

// The Update menu's runs: their defaults, then the Log file preferences,
// whose OK starts the run.
void RunFromOwnLog() {
  AppLogDefaults(kRunOwnLog);
  LogPrefsOpen(kLogPrefsOwnLog);
}
void RunFromOtherLog() {
  AppLogDefaults(kRunOtherLog);
  LogPrefsOpen(kLogPrefsOtherLog);
}
void RunFromText() {
  AppLogDefaults(kRunTextFile);
  LogPrefsOpen(kLogPrefsTextFile);
}

void TransferOpenDialog() {
  RepRegisterResources();
  if (xvt_dlg_create_res(WD_MODAL, kTransferRes, -1, TransferEvent, 0) ==
      NULL_WIN)
    xvt_dm_post_error("%s", MsgText(23));
}

void UpdateRemediesFromMenu() {
  UpdateRemedies(1);
}
void UpdateAuthorsFromMenu() {
  UpdateAuthors(1);
}

// The catalogue is opened here and stays open while window 109 lives.
void LocaliseFiles() {
  TblHandle cat = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || cat == 0) {
    xvt_dm_post_error(MsgText(74), OrvixError);
    return;
  }
  LocaliseOpen(cat, RepertoryOrder.data(),
               static_cast<int>(RepertoryOrder.size()), KeynotesOrder.data(),
               static_cast<int>(KeynotesOrder.size()));
}

void BackupFromMenu() {
  BackupOpenDialog(kBackupModeBackup);
}
void RestoreFromMenu() {
  BackupOpenDialog(kBackupModeRestore);
}

void Exit() {
  AppTerminate();
}

// The Repair menu: one entry for each table, the dialog for any set.
void RepairDialog() {
  RepairDialogOpen();
}
template <int Selector> void Repair() {
  RepairTables(Selector);
}

// One row for each command of the menu: what it does, or, while its work is
// not part of this version, what to call it when saying so.
struct MenuRow {
  int tag;
  void (*action)();
  const char *what;
};
const MenuRow kMenuRows[] = {
    {1009, OpenRepertory, nullptr},
    {1038, NetLocalizeAsk, nullptr},
    {1024, LocaliseFiles, nullptr},
    {M_FILE_EXIT, Exit, nullptr},
    {1031, RunFromOwnLog, nullptr},
    {1033, RunFromOtherLog, nullptr},
    {1037, RunFromText, nullptr},
    {1040, TransferOpenDialog, nullptr},
    {1030, UpdateRemediesFromMenu, nullptr},
    {1032, UpdateAuthorsFromMenu, nullptr},
    {1045, MergeCases, nullptr},
    {1046, RepairDialog, nullptr},
    {1006, Repair<kRepairSymptom>, nullptr},
    {1005, Repair<kRepairWord1>, nullptr},
    {1007, Repair<kRepairWord2>, nullptr},
    {1008, Repair<kRepairExtract>, nullptr},
    {1010, Repair<kRepairView>, nullptr},
    {1013, Repair<kRepairLog>, nullptr},
    {1014, Repair<kRepairNote>, nullptr},
    {1027, Repair<kRepairLink>, nullptr},
    {1028, Repair<kRepairExSp>, nullptr},
    {1019, Repair<kRepairPatient>, nullptr},
    {1021, Repair<kRepairCases>, nullptr},
    {1034, Repair<kRepairAuthor>, nullptr},
    {1035, Repair<kRepairRemed>, nullptr},
    {1016, Repair<kRepairAll>, nullptr},
    {1017, ListMenuComplete, nullptr},
    {1025, ListMenuForDate, nullptr},
    {1018, ListMenuCustom, nullptr},
    {1023, ListMenuStatistics, nullptr},
    {1042, BackupFromMenu, nullptr},
    {1043, RestoreFromMenu, nullptr},
};

} // namespace

void AppMenuCommand(WINDOW, EVENT *ev) {
  int tag = ev->v.cmd.tag;
  if (tag >= kHelpCommandFirst && tag <= kHelpCommandLast) {
    HelpTopic(kHelpContents);
    return;
  }
  for (const MenuRow &row : kMenuRows)
    if (row.tag == tag) {
      if (row.action != nullptr)
        row.action();
      else
        CommandNotAvailable(row.what);
      return;
    }
  // Commands with no row do nothing.
}
