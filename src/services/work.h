// Long jobs and their progress. A job runs inside the create event of the
// Progress window (resource 213) on the one thread; it reports its position
// through WorkProgress, which is also where a Cancel or an Esc is heard, and
// it ends with WorkClose on every path. The store's rebuild calls, which
// cannot be cancelled, show the Working dialog (resource 102) instead.
#pragma once

#include "platform/xvt.h"

inline constexpr int kWorkProgressRes = 213;
inline constexpr int kWorkWorkingRes = 102;
inline constexpr int kWorkCancelCtl = 4;
inline constexpr COLOR kWorkBlockColor = 0x004080;

// A job: one argument, the Progress window.
typedef void (*WorkJob)(WINDOW win);

// The open Progress window, 0 when there is none.
extern WINDOW ProgressWindow;
// 1 while the job may go on; set on opening, cleared by Cancel and Esc.
extern int WorkKeepGoing;
// The bar's frame in window coordinates.
extern RCT ProgressBarRect;
// The Working dialog while it stands, else 0.
extern WINDOW WorkingDialog;

// What the bar holds, for anyone who wants to look without a screen.
struct WorkBarState {
  int lastDrawn;     // percent drawn last, -1 at a fresh start
  int percent;       // current percent, 0 to 100
  long lastPosition; // for calls that repeat a value
  long lastTotal;    // starts at 100
  int blocks;        // blocks drawn by the last redraw
  int redraws;       // redraws since the window opened
};
extern WorkBarState WorkBar;

// Puts the message table's captions on the Progress window and the Working
// dialog (the frame sets it); null leaves the resources' English texts.
extern void (*WorkLoadTexts)(WINDOW win, int resourceId);
// A message by number (the frame sets it); null gives an English text.
extern const char *(*WorkMessage)(int number);

// Registers resources 213 and 102 (done on first need as well).
void WorkRegisterResources();

// Opens the Progress window and runs the job in its create event; returns
// when the job has returned. A null job opens the window only.
void WorkRun(WorkJob job);
// Reports a position of a total; -1 repeats the last value. Lines that are
// null stay as they are.
void WorkProgress(long position, long total, const char *line1,
                  const char *line2);
// Destroys the Progress window and clears ProgressWindow.
void WorkClose();
// Opens the Working dialog: line 1 the current repertory, line 2 the text;
// the waiting cursor on the task window.
void ShowRepairProgress(const char *text);
void HideRepairProgress();

// The handler of the Progress window.
long WorkProgressEvent(WINDOW win, EVENT *ev);
