// What every dialog does alike: ticks, titles of controls, and the keys
// that mean Cancel. Each dialog keeps its own event function for what is
// its own; these few lines were written again in each of them.
#pragma once

#include "platform/xvt.h"

bool DlgTick(WINDOW win, int control);
void DlgSetTick(WINDOW win, int control, bool on);
void DlgToggleTick(WINDOW win, int control);
void DlgSetTitle(WINDOW win, int control, const char *text);

// Esc and the close box both mean the dialog's Cancel. Answers true when
// `ev` was one of them, after `cancel` ran (destroying the window when it
// is null); false for any other event, which the caller then handles.
bool DlgCancelEvent(WINDOW win, const EVENT *ev,
                    void (*cancel)(WINDOW) = nullptr);
