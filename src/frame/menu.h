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
// Dispatch of a menu command of the task window.
void AppMenuCommand(WINDOW win, EVENT *ev);
