// Readable lists of a log: the whole log, the entries of one date, or a
// choice by dates, operations and user. Each is written in the text form of
// its entries to a file beside the log ("%s.txt", and for the complete list
// "%s_2.txt" with a row for each added remedy) and shown in the viewer.
// The jobs run in the Progress window under WorkRun.
#pragma once

#include "platform/xvt.h"
#include "session/session.h"

#include <cstddef>

// The log the listings and the statistics work on is LogPath (session.h): a
// table base path without extension, set by the log chooser of the menu
// commands.
inline constexpr int kListPathSize = kArgPathSize;

inline constexpr int kListCustomRes = 106;
// Controls of dialog 106.
inline constexpr int kListCtlOk = 1, kListCtlCancel = 2, kListCtlFrom = 5,
                     kListCtlUntil = 6, kListCtlFormat = 7, kListCtlUser = 10,
                     kListCtlOperations = 11;

// The jobs (WorkJob): each ends by closing the Progress window.
void ListComplete(WINDOW win);
void ListForDate(WINDOW win);
void ListCustom(WINDOW win);

// Shows "%s.txt" of the log path in the viewer; the result is not looked at.
void ViewListing();

// The dialog 106 while it stands, NULL_WIN otherwise.
extern WINDOW CustomListDialog;

// Registers dialog 106 (also done on first need) and its handler.
void ListRegisterResources();
long ListCustomEvent(WINDOW win, EVENT *ev);

// The log chooser of the List menu: a table of LogFileDir (type "dat").
// On OK LogPath is the chosen file without its last four characters and
// the answer is true; on Cancel nothing changes.
bool ListChooseLog();

// The List menu commands: the chooser, then the job (1017, 1025, 1023) or
// the custom list dialog, modally (1018).
void ListMenuComplete();
void ListMenuForDate();
void ListMenuCustom();
void ListMenuStatistics();
