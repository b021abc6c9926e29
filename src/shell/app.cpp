#include "shell/app.h"

#include "backup/backup.h"
#include "listings/listings.h"
#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "repair/rebuild.h"
#include "services/config.h"
#include "services/ini.h"
#include "services/messages.h"
#include "services/paths.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "shell/chooser.h"
#include "shell/menu.h"
#include "transfers/notes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

const char *AppName = kAppName;
RCT TaskClientRect{};
long AppStartStyle = kStyleFullSize;

WINDOW TransferDialog = NULL_WIN;

namespace {

bool AppTerminated = false;

// The upper-cased copy of a sole argument; ArgValues[1] points at it.
char AppSoleArg[kArgPathSize];

const char *const kHelpLines[] = {
    "Mantrel arguments\n\n",
    "localization \t\t\t\t\t\t: Make the automatic localization (only one "
    "argument)\n",
    "/RUN logfile lang logremed logauthor abbrevfile doextract\t\t\t\t: Run a "
    "log file automatically\n",
    "/BACKUP \t\t\t\t\t\t\t: Display directly the backup window\n",
    "/BUILD listfile\t\t\t\t\t\t: Rebuild a list of table; listfile contains "
    "the list to rebuild\n",
    "/AUTREM logremed logauthor\t\t\t\t\t: Inject user defined authors and "
    "remedies\n",
    "/UPGRADEASSOC logfile oldreptabbrev newrepabbrev assoctable\t: Upgrade an "
    "old repertory with the association table\n",
    "/UPGRADE logfile oldrepabbrev newrepabbrev\t\t\t: Upgrade an old "
    "repertory without the association table\n",
    "/UPGRADERESET logfile repabbrev\t\t\t\t: Run a log file in a repertory\n",
    "/NOTES almafolder notetextfile\t\t\t\t: Upload notes in a repertory\n",
    "\t\t\t\t\t\t\t: (type of file|table name)\n",
    "/ifilename \t\t\t\t\t\t: Use another ini file\n",
    "/? \t\t\t\t\t\t\t: See this help",
};

// Verbs whose drivers this version does not have: they say so when called.
// A verb that gets its driver leaves this list, and `mantrel --help` follows.
const char *const kVerbsNotBuilt[] = {
    "/AUTREM",
    "/UPGRADERESET",
    "/UPGRADE",
    "/UPGRADEASSOC",
};

// What `mantrel --help` adds to the "/?" text for a person at a Linux
// terminal.
const char *const kLinuxHelp = R"(

On Linux also:
  --help, -h         this text
  --version          the program's version

Mantrel runs from the bin folder of an installation (the folder that holds
orvix.ini); `mkdemo FOLDER` makes a demonstration installation to try it.
Stored paths keep their backslashes: quote them in the shell.

Environment variables:
  MANTREL_UI=console|scripted|qt
                     the user interface; by default the desktop window when
                     a display is there, else the terminal
  MANTREL_SCRIPT=FILE
                     answers every window from the action lines in FILE;
                     no one is asked
  MANTREL_VIEWER=PROGRAM
                     shows reports and help (default xdg-open; without it
                     $PAGER or the terminal)
  MANTREL_DRIVE_x=FOLDER
                     the folder that stands for drive x: in stored paths,
                     e.g. MANTREL_DRIVE_C=/mnt/c

Action words, for a MANTREL_SCRIPT file and at the terminal (type help there):
  menu N, exit, quit, click N, dclick N, select N ROW..., set N TEXT,
  key esc|enter|N, enter, close, answer WORD, text TEXT, file PATH,
  folder PATH, cancel, wait N

Other programs:
  tbltool            dumps, loads, checks and rebuilds a table; checks a
                     repertory (tbltool --help)
  mkdemo [FOLDER]    builds the demonstration installation
  the copy program named by BackupApp in orvix.ini copies the files of a
                     backup or a restore
)";

// A word of the command line, or the empty text past the end.
const char *Arg(int i) {
  return i < ArgCount ? ArgValues[i] : "";
}

void TakeArg(char (&dst)[kArgPathSize], int i) {
  StrCopy(dst, Arg(i));
}

// The Progress window and the Working dialog take their captions from the
// message table, as every dialog does.
void AppLoadWindowTexts(WINDOW win, int resourceId) {
  if (resourceId == kWorkProgressRes)
    DlgLoadTexts(win, TextTableProgress);
  else if (resourceId == kWorkWorkingRes)
    DlgLoadTexts(win, TextTableWorking);
}

// Whenever a window of the program takes the focus the current folder goes
// back to where the program started: choosers move it, and every default
// path is relative to it.
void AppFocusHook(WINDOW) {
  xvt_fsys_set_dir_startup();
  DbSwitch(AppName);
}

bool IsFolder(const char *stored) {
  std::string real;
  struct stat st;
  return PlatRealPath(stored, real) && stat(real.c_str(), &st) == 0 &&
         S_ISDIR(st.st_mode);
}

void VerbRun() {
  TakeArg(LogPath, 2);
  RunLanguage = atoi(Arg(3));
  RunRemedyLog[0] = RunAuthorLog[0] = '\0';
  if (ArgCount > 4 && strcmp(Arg(4), "null") != 0)
    TakeArg(RunRemedyLog, 4);
  if (ArgCount > 5 && strcmp(Arg(5), "null") != 0)
    TakeArg(RunAuthorLog, 5);
  if (ArgCount > 6 && strcmp(Arg(6), "null") != 0)
    TakeArg(RunAbbrevFile, 6);
  RunExtract = 0;
  if (ArgCount > 7 &&
      (strcmp(Arg(7), "yes") == 0 || strcmp(Arg(7), "YES") == 0))
    RunExtract = 1;
  AppLogDefaults(kRunVerb);
  DriverRunLog(LogPath, RunLanguage);
}

} // namespace

const char *AppHelpText() {
  static char text[2048];
  if (text[0] == '\0')
    for (const char *line : kHelpLines)
      StrAppend(text, line);
  return text;
}

std::string AppLongHelpText() {
  std::string text = AppHelpText();
  text += kLinuxHelp;
  std::string missing;
  for (const char *verb : kVerbsNotBuilt)
    missing += std::string(missing.empty() ? "" : ", ") + verb;
  if (!missing.empty())
    text += "\nNot built in this version (they say so when called):\n  " +
            missing + "\n";
  return text;
}

void AppTerminate() {
  if (AppTerminated)
    return;
  AppTerminated = true;
  if (MsgTable != 0) {
    DbCloseFile(MsgTable);
    MsgTable = 0;
  }
  DbTerminate(AppName);
  xvtv_app_destroy();
}

void AppInitialize() {
  SessionClearArguments();
  CustomListDialog = TransferDialog = NULL_WIN;
  xvt_win_set_cursor(TASK_WIN, CURSOR_WAIT);
  xvt_win_set_doc_title(TASK_WIN, "");
  RunOptionsClear();
  xvt_vobj_get_client_rect(TASK_WIN, &TaskClientRect);

  IniVirtualCloseHook = DbVirtualClose;
  IniRead();
  XvtLookLight = LookLight;
  long extendSize = IniReadExtendSize();

  if (DbInitialize(DbBuffers, DbFiles, DbSectors, AppName, LockingFile,
                   extendSize) != 0)
    xvt_dm_post_fatal_exit("Can't initialize Databases manager ( H-%d ) ",
                           OrvixError);

  MsgTable = MsgOpen(MessageCatalogName, 1, 1);
  if (OrvixError != 0) {
    // The box keeps its text; a person at a terminal also learns where the
    // program looked and how it is meant to start.
    int error = OrvixError;
    char cwd[kArgPathSize] = "";
    DIRECTORY here;
    if (xvt_fsys_get_dir(&here))
      StrCopy(cwd, here.path);
    fprintf(stderr,
            "mantrel: no message table '%s' (H-%d) from the folder %s. "
            "Mantrel runs from the bin folder of an installation; "
            "`mkdemo FOLDER` makes one to try it.\n",
            MessageCatalogName, error, cwd);
    fflush(stderr);
    OrvixError = error;
    xvt_dm_post_fatal_exit(
        "Can't open Messages table '%s' ( see orvix.ini ) ( H-%d ) ",
        MessageCatalogName, OrvixError);
  }

  // The start-up picture stays up while the menu and the orders are made.
  char picture[kArgPathSize];
  StrFormat(picture, "%s\\orvix9.bmp", ImageDir);
  std::string realPicture;
  if (PlatRealPath(picture, realPicture)) {
    char version[64];
    StrFormat(version, "Mantrel %s", MANTREL_VERSION);
    const char *lines[] = {UserName, version};
    xvt_picture_show(realPicture.c_str(), lines, 2);
  }

  // From here on every text comes from the message table.
  WorkMessage = MsgText;
  WorkLoadTexts = AppLoadWindowTexts;
  AppLoadMenuTexts();
  // The display orders of repertories and keynotes; a catalogue that does
  // not open leaves them empty, which is no failure here.
  RepBuildOrder(1);
  RepBuildOrder(2);

  char caption[150];
  StrFormat(caption, MsgText(3000), kAppVersion, kAppPlatform);
  xvt_win_set_doc_title(TASK_WIN, caption);

  xvt_picture_hide();
  xvt_menu_set_item_enabled(TASK_WIN, kMenuUpdate, true);
  xvt_menu_update(TASK_WIN);
  xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
}

void AppDispatchCommandLine() {
  if (ArgCount == 1 || IniOnCommandLine) {
    RepOpenChooser(WD_MODAL, kChooserPerson);
    return;
  }
  const char *verb = ArgValues[1];
  if (strcmp(verb, "/?") == 0) {
    xvt_dm_post_message("Mantrel", AppHelpText());
    AppTerminate();
    return;
  }
  if (strcmp(verb, "/BACKUP") == 0) {
    RepOpenChooser(WD_MODAL, kChooserPerson);
    BackupOpenDialog(kBackupModeBackup);
    return;
  }
  if (strcmp(verb, "/AUTREM") == 0) {
    TakeArg(RunRemedyLog, 2);
    TakeArg(RunAuthorLog, 3);
    CommandNotAvailable("Loading user-defined remedies and authors (/AUTREM)");
    SessionFail(1); // the verb's job is not done
    AppTerminate();
    return;
  }
  if (strcmp(verb, "/BUILD") == 0) {
    TakeArg(LogPath, 2);
    if (RebuildFromList(LogPath) != 0)
      SessionFail(1); // a table or a line of the list was not done
    AppTerminate();
    return;
  }
  if (strcmp(verb, "/RUN") == 0) {
    VerbRun();
    return;
  }
  if (strcmp(verb, "/NOTES") == 0) {
    TakeArg(NotesFolder, 2);
    TakeArg(NotesFile, 3);
    DriverNotes();
    return;
  }
  if (strcmp(verb, "/UPGRADERESET") == 0 || strcmp(verb, "/UPGRADE") == 0 ||
      strcmp(verb, "/UPGRADEASSOC") == 0) {
    TakeArg(UpgradeLog, 2);
    CommandNotAvailable("The transfer to a new repertory (/UPGRADE...)");
    SessionFail(1); // the verb's job is not done
    AppTerminate();
    return;
  }
  // A sole word that is no verb names the new network base: any word without
  // a slash in front, or an existing absolute folder of this system.
  if (ArgCount == 2 && (verb[0] != '/' || IsFolder(verb))) {
    NetLocalizeCommandLine(AppSoleArg);
    AppTerminate();
    return;
  }
  // Any other word leaves the task window standing, as a person would see it.
}

long AppTaskEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    AppInitialize();
    AppLogDefaults(kRunOwnLog);
    AppDispatchCommandLine();
    break;
  case E_CLOSE:
    AppTerminate();
    break;
  case E_COMMAND:
    AppMenuCommand(win, ev);
    break;
  case E_QUIT:
    // A quit that is no question ends the program as the menu's Exit does:
    // the message table and every table still open are closed first.
    if (ev->v.query)
      xvt_app_allow_quit();
    else
      AppTerminate();
    break;
  default:
    break;
  }
  return 0;
}

int AppMain(int argc, char **argv) {
  // Words a person types on Linux are tested before the verb table, so that
  // they can never be taken for a network base.
  if (argc >= 2 &&
      (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
    fputs(AppLongHelpText().c_str(), stdout);
    return 0;
  }
  if (argc >= 2 && strcmp(argv[1], "--version") == 0) {
    printf("mantrel %s\n", MANTREL_VERSION);
    return 0;
  }

  ArgCount = argc;
  ArgValues = argv;
  IniOnCommandLine = 0;
  IniSetPath("orvix.ini");
  if (ArgCount == 2) {
    StrCopy(AppSoleArg, argv[1]);
    DbToUpper(AppSoleArg);
    ArgValues[1] = AppSoleArg;
    if (strncmp(AppSoleArg, "/I", 2) == 0) {
      IniOnCommandLine = 1;
      IniSetPath(AppSoleArg + 2);
      AppStartStyle = kStyleFullSize;
    } else if (strcmp(AppSoleArg, "/BACKUP") == 0) {
      AppStartStyle = kStyleFullSize;
    } else {
      AppStartStyle = kStyleIcon;
    }
  } else {
    AppStartStyle = kStyleFullSize;
  }
  AppName = kAppName;
  XvtFocusHook = AppFocusHook;
  xvt_vobj_set_attr(NULL_WIN, ATTR_TASKWIN_START_STYLE, AppStartStyle);
  XvtFatalHook = [] {
    // A fatal box ends the process: close what is open first.
    if (!AppTerminated) {
      AppTerminated = true;
      if (MsgTable != 0)
        DbCloseFile(MsgTable);
      DbTerminate(AppName);
    }
  };

  XVT_CONFIG config{kMenuBarResource, "x_mantre", "Document Title",
                    "Task Window"};
  RegisterMenuResource();
  SessionSetEnd(AppTerminate);
  xvt_app_create(argc, ArgValues, 0, AppTaskEvent, &config);
  return SessionExitStatus();
}
