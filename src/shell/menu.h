// The menu of the task window: its tree (resource 1000, the English texts),
// the message numbers that translate it, and the dispatch of its commands.
#pragma once

#include "platform/xvt.h"

inline constexpr int kMenuBarResource = 1000;

// Menus by id.
inline constexpr int kMenuFile = 1001;
inline constexpr int kMenuRepair = 1002;
inline constexpr int kMenuList = 1003;
inline constexpr int kMenuUpdate = 1004;
inline constexpr int kMenuBackup = 1041;

// Registers resource 1000 with the toolkit. Its items stand in the order of
// MenuItemMessages (messages.h), separators included.
void RegisterMenuResource();
// Translates the task window's menu into the configured language.
void AppLoadMenuTexts();
// Dispatch of a menu command of the task window. Each command that has a
// row in the menu table does its work, or says plainly that its work is not
// part of this version; a command with no row does nothing.
void AppMenuCommand(WINDOW win, EVENT *ev);

// Kinds of run for AppLogDefaults.
inline constexpr int kRunVerb = 1;        // /RUN
inline constexpr int kRunOwnLog = 2;      // start, menu 1031, /UPGRADERESET
inline constexpr int kRunOtherLog = 3;    // menu 1033
inline constexpr int kRunTextFile = 4;    // menu 1037
inline constexpr int kRunAssociation = 5; // /UPGRADEASSOC
inline constexpr int kRunUpgrade = 6;     // /UPGRADE

// Gives RunOptions and LogPath their defaults for a kind of run (1 to 6):
// the backup folders from the current folder's parent, the common options,
// then the log path, the report base and three options by kind; the report
// names are the report base with ".rpt", ".err" and ".txt". Kinds 3 and 4
// ask for the log with the file chooser and take what the chooser's
// file spec holds even on Cancel. Answers 0, or 1 for an unknown kind
// (nothing is changed).
int AppLogDefaults(int kind);

// The error box of a command whose work is not part of this version.
void CommandNotAvailable(const char *what);
