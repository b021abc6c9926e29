// The "Repair databases" dialog (resource 113, modeless, menu command
// 1046): ticks for the tables of the current repertory, the system tables
// and the personal files; Repair rebuilds what is ticked.
#pragma once

#include "platform/xvt.h"

// Registers the dialog's template with the toolkit (again is harmless).
void RepairDialogRegister();
// The dialog's handler.
long RepairDialogEvent(WINDOW win, EVENT *ev);
// Opens the dialog modelessly; "Can't open dialog" when it can't be made.
// Answers the dialog, or 0.
WINDOW RepairDialogOpen();
