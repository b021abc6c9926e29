// The desktop backend of the toolkit layer, on Qt 6 Widgets. It shows the
// toolkit's model of windows and controls as real windows and turns what a
// person does with them into toolkit actions; when MANTREL_SCRIPT names a
// script it reads its lines and performs each one on the real widgets, so one
// script drives every backend alike.
//
// Only src/gui and the program's entry include this header; the core knows
// the backend by its table alone.
#pragma once

#include "platform/xvt.h"

#include <string>

class QWidget;
class QImage;

// Registers the backend under the name "qt" (MANTREL_UI=qt forces it; it is
// chosen by itself when a display is there). Answers 0.
int XvtRegisterQtBackend();

// Nonzero when a screen can be reached: QT_QPA_PLATFORM names a platform, or
// the X server of DISPLAY or the compositor of WAYLAND_DISPLAY answers.
int QtScreenReachable();

// Creates the one QApplication of the process when there is none, with the
// program's look (style, palette, dialog font). Answers 0, 1 when no screen
// can be reached.
int QtEnsureApplication();

// A blocking wait that sees nothing happen for this long answers "no one"
// (the toolkit then answers as Enter would), with a line on standard error.
// 0, the default, waits for ever; tests set it so that a mistake cannot hang.
extern int QtIdleLimitMs;

// The program's own executable, set by the entry: the text viewer of reports
// is then this program started with "--view FILE", unless a viewer was
// configured or MANTREL_VIEWER names one.
extern char QtSelfPath[1024];

// ------------------------------------------------------ looking at the screen

// The top-level widget that shows a toolkit window, null when none does (yet).
QWidget *QtWindowWidget(WINDOW win);
// The widget of control `id` of a toolkit window, null when there is none.
QWidget *QtControlWidget(WINDOW win, int id);
// The box, prompt or chooser on the screen now, null when none is up.
QWidget *QtBoxWidget();
// The start-up picture's window while it stands, else null.
QWidget *QtPictureWidget();

// Brings every window up to date with the model and lets the screen paint.
void QtFlush();

// Lines that tell where a window does not look tidy: a control whose text
// does not fit its place, controls that overlap (a group box may hold
// others), a control outside the window. Empty when all is well.
std::string QtLayoutProblems(WINDOW win);

// Opens the drop-down of the task window's menu that holds command `tag`,
// as a person pointing at it would; answers false when there is none.
bool QtOpenMenuOf(int tag);
// Closes any open menu.
void QtCloseMenus();

// The screen as a person sees it: every window, box and open menu of the
// program in its place and stacking order, each window under a plain title
// bar with its caption, on a desktop background.
QImage QtGrabScreen();
// Writes QtGrabScreen() as a PNG file. Answers 0, 1 on failure.
int QtSaveScreen(const char *path);

// ------------------------------------------------------------ text viewer

// Opens a window that shows a text report (a real path) as code page 1252,
// read-only, in a fixed-width font. Answers the window, or null with a reason
// in `why` when the file cannot be read (the window is not made then).
QWidget *QtOpenViewer(const char *path, std::string *why);
// The viewer as a program of its own: "mantrel --view FILE" runs this. Shows
// the file and returns when the person closes the window; answers the exit
// status (0, or 1 when the file cannot be read or no screen is there).
int QtViewerMain(const char *path);
