// Backup and restore. The program copies no user file itself: it writes a
// list of copy jobs into "backup\\backup.txt" (relative to the bin folder),
// starts the copy program that the configuration's BackupApp names (in the
// folder "backup"), and waits until the copy program has deleted the list.
// The list and the copy program's end are the whole conversation.
//
// Three roads lead here: the dialog "Backup / Restore" (resource 112, menu
// 1042 and 1043, the verb /BACKUP), and the silent backup of repertory and
// log before every log run (BackupBeforeRun).
//
// The wait never lasts for ever: it polls the list and the copy program
// every 10 ms at most, ends when the list is gone, tells at once when the
// program is missing, can't start or ends with the list still there, and gives
// up (stopping the program) after BackupWaitLimit seconds ("System section",
// 3600 by default).
#pragma once

#include "platform/xvt.h"

#include <cstddef>
#include <cstdio>

inline constexpr int kBackupRes = 112;
inline constexpr int kBackupPathSize = 256;

// Modes of the dialog, and the direction of the lines.
inline constexpr long kBackupModeBackup = 1;
inline constexpr long kBackupModeRestore = 2;

// The controls of dialog 112.
enum : int {
  kBackupOk = 1,
  kBackupCancel = 2,
  kBackupTickLog = 3,
  kBackupFolderButton = 4,
  kBackupFolderEdit = 5,
  kBackupGroup = 6,
  kBackupTickKeynotes = 7,
  kBackupTickCases = 8,
  kBackupTickPatient = 9,
  kBackupTickRepertory = 10,
  kBackupHelp = 11,
  kBackupTickZentrix = 12,
  kBackupFolderList = 13,
  kBackupTickSystem = 14,
  kBackupTickBin = 15,
  kBackupTickFreenotes = 16,
};

// The items of the dialog besides repertory and log, whose flags live in
// RunOptions (BackupRepertory, BackupLog) as the run defaults set them.
struct BackupItemSet {
  int Keynotes;
  int Cases;
  int Patient;
  int Zentrix;
  int System;
  int Bin;
  int Freenotes;
};
extern BackupItemSet BackupItems;

// The list file and the copy program's folder, relative to the bin folder.
inline constexpr const char *kBackupListFile = "backup\\backup.txt";
inline constexpr const char *kBackupAppDefault = "setup.exe";
// The default upper bound of a wait for the copy program, in seconds.
inline constexpr int kBackupWaitDefault = 3600;

// How a copy ended.
enum BackupResult : int {
  kBackupDone = 0,
  kBackupNoList = 1,    // the list could not be created (message 5613)
  kBackupNoProgram = 2, // the copy program is not there
  kBackupNoStart = 3,   // it is there but could not be started
  kBackupDied = 4,      // it ended and the list is still there
  kBackupTimeout = 5,   // it did not end within the limit and was stopped
};

// "%s\\%s_%s" of base, the date (yyyymmdd) and the time (hhmmss) of now.
// Only the date and time lose their separators; the base stays as it is.
void MakeBackupFolder(const char *base, char *result, size_t cap);

// A configured path as the copy program is to see it: one that starts with
// ".." is put under the current folder's parent, any other stays.
void BackupResolve(const char *configured, char *out, size_t cap);

// Writes the lines of the items whose flags are set, for the dialog's
// backup or restore (mode), with BackupFolder (RunOptions.BackupDirectory)
// as target or source. Answers the number of lines written.
int BackupWriteItems(FILE *list, long mode);
// The lines of the silent backup: repertory and log, by their flags.
int BackupWriteRunItems(FILE *list);

// Starts the copy program on the list. Answers kBackupDone with *child set,
// kBackupNoProgram or kBackupNoStart.
int RunCopyProgram(long *child);
// Waits until the list is gone; answers a BackupResult. *status gets the
// copy program's exit status when it died.
int BackupWait(long child, int *status);

// The dialog's two directions. Nothing happens when no item is ticked.
// Answer a BackupResult.
int BackupFiles();
int RestoreFiles();
// The silent backup before a run. Answers 0 when the run may start (the
// backup is made, none was asked for, or the person chose to go on without
// one), 1 when the run must not start; the person has been told why.
int BackupBeforeRun();

// The seconds a wait may last, from the configuration.
int BackupWaitLimit();

// Fills a drop-down list with the folders under BackupBase, shown as
// "base\\name"; the last becomes the control's title.
void ListRestoreFolders(WINDOW control);

// Dialog 112: its template, its handler, and the opening in a mode (posts
// "Can't open dialog" when it can't be made).
void BackupRegister();
long BackupDialogEvent(WINDOW win, EVENT *ev);
void BackupOpenDialog(long mode);
