#include "frame/menu.h"

#include "frame/app.h"
#include "frame/messages.h"

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

// What each command does while its work is not part of this version.
struct CommandName {
  int tag;
  const char *what;
};
const CommandName kCommandNames[] = {
    {1009, "The repertory chooser"},
    {1038, "The automatic network localization"},
    {1024, "The manual network localization"},
    {1031, "The log run"},
    {1033, "The log run"},
    {1037, "The update from a text file"},
    {1040, "The transfer to a new repertory"},
    {1030, "The update of user-defined remedies"},
    {1032, "The update of user-defined authors"},
    {1045, "Merging a catalogue of cases"},
    {1046, "The advanced repair"},
    {1006, "The repair of tables"},
    {1005, "The repair of tables"},
    {1007, "The repair of tables"},
    {1008, "The repair of tables"},
    {1010, "The repair of tables"},
    {1013, "The repair of tables"},
    {1014, "The repair of tables"},
    {1027, "The repair of tables"},
    {1028, "The repair of tables"},
    {1019, "The repair of tables"},
    {1021, "The repair of tables"},
    {1034, "The repair of tables"},
    {1035, "The repair of tables"},
    {1016, "The repair of tables"},
    {1017, "The log listings"},
    {1025, "The log listings"},
    {1018, "The log listings"},
    {1023, "The log statistics"},
    {1042, "Backup and restore"},
    {1043, "Backup and restore"},
};

} // namespace

void RegisterMenuResource() {
  xvt_res_register_menu(kMenuBarResource, kMenuBar);
}

void AppLoadMenuTexts() {
  MenuLoadTexts(TASK_WIN, MenuTopMessages, &MenuItemMessages[0][0], kMenuCount,
                kMenuItemsPerMenu);
}

void AppMenuCommand(WINDOW, EVENT *ev) {
  int tag = ev->v.cmd.tag;
  if (tag == M_FILE_EXIT) {
    AppTerminate();
    return;
  }
  for (const CommandName &c : kCommandNames)
    if (c.tag == tag) {
      xvt_dm_post_error("%s is not available in this version of Mantrel.",
                        c.what);
      return;
    }
  // Commands with no row do nothing.
}
