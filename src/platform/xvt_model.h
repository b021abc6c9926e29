// The backend side of the toolkit: the model of every window and control,
// the actions a person can take, and the table of functions a backend
// provides. The core keeps the model and runs all handlers; a backend shows
// the model and turns what the person does into XvtAction values.
#pragma once

#include "platform/xvt.h"

#include <cstdio>
#include <string>
#include <vector>

// ------------------------------------------------------------------- model

struct XvtCtl {
  WINDOW handle = NULL_WIN;
  int id = 0;
  XVT_CTL_KIND kind = WC_TEXT;
  RCT rect{};
  std::string title;
  bool enabled = true;
  bool visible = true;
  bool checked = false;
  bool isDefault = false;
  bool multiple = false;
  std::vector<std::string> rows;
  std::vector<char> sel; // one flag per row
  int suspended = 0;
  long data = 0;
};

struct XvtDrawOp {
  RCT rect;
  COLOR color;
};

enum XvtWinKind {
  XVT_WIN_TASK = 1,
  XVT_WIN_MODAL,    // dialog of kind WD_MODAL
  XVT_WIN_MODELESS, // dialog of kind WD_MODELESS
  XVT_WIN_WINDOW,   // window from a resource
};

struct XvtWin {
  WINDOW handle = NULL_WIN;
  int resId = 0;
  XvtWinKind kind = XVT_WIN_WINDOW;
  WINDOW parent = NULL_WIN;
  EVENT_HANDLER handler = nullptr;
  long data = 0;
  std::string title;
  bool visible = true;
  bool enabled = true;
  bool destroying = false;
  int cursor = CURSOR_ARROW;
  RCT rect{}; // client size: top and left are 0
  std::vector<XvtCtl> ctls;
  COLOR background = COLOR_LTGRAY;
  COLOR fill = COLOR_BLACK;
  std::vector<XvtDrawOp> canvas; // since the last xvt_dwin_clear
  MENU_ITEM *menu = nullptr;     // task window only
  int defaultTries = 0;          // answers given for no one (see core)
};

XvtWin *XvtFindWin(WINDOW win);
XvtCtl *XvtFindCtl(WINDOW ctl);
XvtCtl *XvtFindCtlById(WINDOW win, int id);
// Top-level windows from the bottom of the stack to the front.
std::vector<WINDOW> XvtWindowStack();
// The window that takes input now: the topmost modal dialog, else the
// topmost visible window, else the task window.
WINDOW XvtFrontWindow();
// Finds a menu item in a tree; null when absent.
const MENU_ITEM *XvtMenuFind(const MENU_ITEM *tree, int tag);
// True when the item and every menu above it are enabled.
bool XvtMenuReachable(const MENU_ITEM *tree, int tag);

// ------------------------------------------------------------------ actions

enum XvtActKind {
  XVT_ACT_NONE = 0,
  XVT_ACT_MENU,   // menu N
  XVT_ACT_EXIT,   // exit: File Exit
  XVT_ACT_CLICK,  // click N
  XVT_ACT_DCLICK, // dclick N: double click in a list
  XVT_ACT_SELECT, // select N ROW...
  XVT_ACT_SET,    // set N TEXT
  XVT_ACT_KEY,    // key esc | key N
  XVT_ACT_CLOSE,  // close: the front window's close box
  XVT_ACT_ENTER,  // Enter: the default button
  XVT_ACT_ANSWER, // answer WORD
  XVT_ACT_TEXT,   // text TEXT
  XVT_ACT_FILE,   // file PATH
  XVT_ACT_FOLDER, // folder PATH
  XVT_ACT_CANCEL, // cancel
  XVT_ACT_WAIT,   // wait N: let N pending-event rounds pass
  XVT_ACT_QUIT,   // the toolkit's quit (window manager)
};

inline constexpr int kXvtMaxRows = 64;
inline constexpr int kXvtActText = 1024;

struct XvtAction {
  XvtActKind kind = XVT_ACT_NONE;
  int num = 0; // control, command, key or count
  int nrows = 0;
  int rows[kXvtMaxRows] = {};
  char text[kXvtActText] = {};
};

// Parses one line of the action language. Answers 0, or 1 with a reason in
// why (at most whySize bytes).
int XvtParseAction(const char *line, XvtAction *act, char *why, int whySize);
const char *XvtActionName(XvtActKind kind);

// ------------------------------------------------------------ what waits

enum XvtWaitKind {
  XVT_WAIT_MENU = 1, // the task window and its menu
  XVT_WAIT_WINDOW,   // a dialog or window in front
  XVT_WAIT_POLL,     // pending events during a job: never blocks
  XVT_WAIT_BOX,      // note, error, ask, message
  XVT_WAIT_STRING,   // string prompt
  XVT_WAIT_OPEN,     // file choosers
  XVT_WAIT_SAVE,
  XVT_WAIT_FOLDER,
};

enum XvtBoxKind {
  XVT_BOX_NOTE = 1,
  XVT_BOX_ERROR,
  XVT_BOX_ASK,
  XVT_BOX_FATAL,
  XVT_BOX_MESSAGE,
};

struct XvtWait {
  XvtWaitKind kind = XVT_WAIT_MENU;
  WINDOW win = NULL_WIN; // the front window for MENU, WINDOW and POLL
  XvtBoxKind box = XVT_BOX_NOTE;
  const char *text = "";      // box text, prompt or chooser message
  const char *button[3] = {}; // ask: the button texts, null when absent
  int nbuttons = 0;
  const char *value = "";  // string prompt: the text Enter accepts
  const char *folder = ""; // choosers: the start folder
  const char *type = "";   // choosers: the extension
};

// Answers true when the action can be taken in front of what waits; else
// false with a reason. Box, prompt and chooser answers are checked by their
// calls; this covers MENU, WINDOW and POLL.
bool XvtActionFits(const XvtWait *w, const XvtAction *act, char *why,
                   int whySize);

// ----------------------------------------------------------------- backends

struct XvtBackend {
  const char *name;
  // Nonzero when the backend can run here (a display, a terminal).
  int (*usable)();
  void (*start)();
  void (*stop)();
  // A window was made, shown, hidden, or its controls, canvas or menu
  // changed. The backend may show it now or when it next waits.
  void (*changed)(WINDOW win);
  // A top-level window is going away.
  void (*gone)(WINDOW win);
  // Gives the next thing the person does, in front of `w`. With block 0 it
  // must not wait (XVT_WAIT_POLL). Answers 1 with act filled, or 0 when
  // there is nothing: then the toolkit answers as Enter would.
  int (*next_action)(const XvtWait *w, int block, XvtAction *act);
  // The action did not fit; `why` says so.
  void (*reject)(const XvtAction *act, const char *why);
};

// Registers a backend under its name. Answers 0, 1 when the table is
// incomplete.
int XvtRegisterBackend(const XvtBackend *backend);
const XvtBackend *XvtFindBackend(const char *name);
// The backend in use, chosen on first need: MANTREL_UI when set; else
// "scripted" when MANTREL_SCRIPT is set; else "qt" when it is registered and
// usable; else "console".
const XvtBackend *XvtCurrentBackend();

// The built-in backends, registered by the core on first need.
extern const XvtBackend XvtConsoleBackend;
extern const XvtBackend XvtScriptedBackend;

// Puts the toolkit back to its first state: every window and queued event
// goes without events, the backend is stopped and chosen again on next
// need. Resources stay registered.
void XvtReset();

// Console backend's channels: input descriptor and output stream, and
// whether a person is there (-1: decide by isatty).
extern int XvtConsoleInFd;
extern FILE *XvtConsoleOut;
extern int XvtConsoleInteractive;

// The terminal's encoding, for everything written to or read from it:
// 1 UTF-8, 0 an 8-bit code page that shows code page 1252 as it is. -1 (the
// start) decides on first need from LC_ALL, LC_CTYPE or LANG, the first
// that is set: UTF-8 unless it names ISO-8859, Latin or CP1252.
extern int XvtTerminalUtf8Mode;
bool XvtTerminalUtf8();
// A text of code page 1252 as the terminal is to get it.
std::string XvtTerminalText(const std::string &cp1252);

// Scripted backend: where the script stands. Line 0 before the first.
extern int XvtScriptLine;
// Nonzero once the script has run out or was stopped by a bad line.
extern int XvtScriptDone;

// The start-up picture, for a backend that can show one: it sets these in
// start() and clears them in stop(). Null means no picture.
extern int (*XvtPictureShowHook)(const char *path, const char *const *lines,
                                 int nlines);
extern void (*XvtPictureHideHook)();
