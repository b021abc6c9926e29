#include "backup/backup.h"

#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/ini.h"
#include "services/messages.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "store/store.h"
#include "store/strdate.h"

#include <cstring>
#include <ctime>

BackupItemSet BackupItems;

namespace {

// The current folder in text form ("\\work\\demo\\bin"), and its parent.
void CurrentFolder(char *out, size_t cap) {
  out[0] = '\0';
  DIRECTORY dir;
  if (xvt_fsys_get_dir(&dir))
    xvt_fsys_convert_dir_to_str(&dir, out, static_cast<int>(cap));
}
void ParentFolder(char *out, size_t cap) {
  CurrentFolder(out, cap);
  if (char *last = strrchr(out, '\\'))
    *last = '\0';
}

// The folder part of a configured table path ("..\\cases\\repert" gives the
// resolved "..\\cases"), and its stem ("repert").
void FolderOf(const char *configured, char *out, size_t cap) {
  BackupResolve(configured, out, cap);
  if (char *last = strrchr(out, '\\'))
    *last = '\0';
}
const char *StemOf(const char *configured) {
  const char *last = strrchr(configured, '\\');
  return last != nullptr ? last + 1 : configured;
}

// The current repertory's folder, resolved, with its backslash at the end,
// and its last component with that backslash ("salm2009\\").
bool RepertoryFolder(char *folder, size_t cap, const char **name) {
  const char *configured = CurrentCatalog.RepertoryBlock.Paths[kCatFolder];
  if (CurrentCatalog.Kind != 1 || configured[0] == '\0')
    return false;
  BackupResolve(configured, folder, cap);
  size_t n = strlen(folder);
  if (n > 0 && folder[n - 1] != '\\')
    StrAppend(folder, cap, "\\");
  n = strlen(folder);
  const char *p = folder + n - 1; // its last backslash
  while (p > folder && p[-1] != '\\')
    --p;
  *name = p;
  return true;
}

bool Put(FILE *f, const char *line) {
  return fputs(line, f) >= 0;
}

// The repertory's line, and for a folder named like "alma..." the line of
// its concept folder "cpts..." beside it, in small letters.
int PutRepertory(FILE *f, const char *line, bool companion) {
  int n = Put(f, line) ? 1 : 0;
  if (!companion)
    return n;
  char lower[4 * kBackupPathSize];
  StrCopy(lower, line);
  DbToLower(lower);
  char *hit = strstr(lower, "alma");
  if (hit == nullptr)
    return n;
  memcpy(hit, "cpts", 4);
  if (char *second = strstr(hit + 4, "alma"))
    memcpy(second, "cpts", 4);
  return n + (Put(f, lower) ? 1 : 0);
}

int ListLines(FILE *f, long mode) {
  const char *to = RunOptions.BackupDirectory;
  char parent[kBackupPathSize], src[kBackupPathSize], line[4 * kBackupPathSize];
  ParentFolder(parent, sizeof parent);
  bool restore = mode == kBackupModeRestore;
  int n = 0;

  const char *repName = nullptr;
  if (RunOptions.BackupRepertory != 0 &&
      RepertoryFolder(src, sizeof src, &repName)) {
    if (restore)
      StrFormat(line, "%s\\%s*.*|%s*.*\n", to, repName, src);
    else
      StrFormat(line, "%s*.*|%s\\%s*.*\n", src, to, repName);
    n += PutRepertory(f, line, true);
  }
  // Each folder item: the source folder, and its name in the backup.
  auto folderItem = [&](int flag, const char *folder, const char *inBackup) {
    if (flag == 0)
      return;
    if (restore)
      StrFormat(line, "%s\\%s\\*.*|%s\\*.*\n", to, inBackup, folder);
    else
      StrFormat(line, "%s\\*.*|%s\\%s\\*.*\n", folder, to, inBackup);
    n += Put(f, line) ? 1 : 0;
  };
  BackupResolve(LogFileDir, src, sizeof src);
  folderItem(RunOptions.BackupLog, src, "Log");

  if (BackupItems.Keynotes != 0) {
    // Backed up from data\keynotes, restored to keynotes: the two forms
    // have always differed so.
    if (restore)
      StrFormat(line, "%s\\Keynotes\\*.*|%s\\keynotes\\*.*\n", to, parent);
    else
      StrFormat(line, "%s\\data\\keynotes\\*.*|%s\\Keynotes\\*.*\n", parent,
                to);
    n += Put(f, line) ? 1 : 0;
  }
  // Cases and patient: the whole folder backed up, only the file set of the
  // configured table restored.
  auto tableItem = [&](int flag, const char *configured, const char *inBackup) {
    if (flag == 0)
      return;
    if (restore) {
      BackupResolve(configured, src, sizeof src);
      StrFormat(line, "%s\\%s\\%s.*|%s.*\n", to, inBackup, StemOf(configured),
                src);
      n += Put(f, line) ? 1 : 0;
    } else {
      FolderOf(configured, src, sizeof src);
      folderItem(flag, src, inBackup);
    }
  };
  tableItem(BackupItems.Cases, CasesCatalogName, "Cases");
  tableItem(BackupItems.Patient, PatientCatalogName, "Patient");

  char zentrix[kBackupPathSize];
  BackupResolve(ZentrixDir, src, sizeof src);
  StrFormat(zentrix, "%s\\FilePati", src);
  folderItem(BackupItems.Zentrix, zentrix, "Zentrix");

  char other[kBackupPathSize];
  StrFormat(other, "%s\\%s", parent, "System");
  folderItem(BackupItems.System, other, "System");
  StrFormat(other, "%s\\%s", parent, "Bin");
  folderItem(BackupItems.Bin, other, "Bin");
  StrFormat(other, "%s\\%s", parent, "Freenotes");
  folderItem(BackupItems.Freenotes, other, "Freenotes");
  return n;
}

bool AnyItem() {
  return RunOptions.BackupRepertory != 0 || RunOptions.BackupLog != 0 ||
         BackupItems.Keynotes != 0 || BackupItems.Cases != 0 ||
         BackupItems.Patient != 0 || BackupItems.Zentrix != 0 ||
         BackupItems.System != 0 || BackupItems.Bin != 0 ||
         BackupItems.Freenotes != 0;
}

// The name of the copy program: "backup\\" and BackupApp.
void CopyProgramPath(char *out, size_t cap) {
  char app[kBackupPathSize];
  GetPrivateProfileStringA("System section", "BackupApp", kBackupAppDefault,
                           app, sizeof app, IniFileName);
  StrFormat(out, cap, "backup\\%s", app);
}

// Says why a copy failed. The texts name the program so that whoever reads
// them knows where to look.
void FailureText(int result, int status, char *out, size_t cap) {
  char program[kBackupPathSize];
  CopyProgramPath(program, sizeof program);
  switch (result) {
  case kBackupNoList:
    StrCopy(out, cap, MsgText(5613));
    break;
  case kBackupNoProgram:
    StrFormat(out, cap, MsgText(7520), program);
    break;
  case kBackupNoStart:
    StrFormat(out, cap, MsgText(7521), program);
    break;
  case kBackupDied:
    StrFormat(out, cap, MsgText(7522), program, status);
    break;
  default:
    StrFormat(out, cap, MsgText(7523), program, BackupWaitLimit());
    break;
  }
}

// Writes a fresh list through `write`, starts the copy program and waits.
int CopyThroughList(int (*write)(FILE *, long), long mode, int *status) {
  DbVirtualClose(2);
  PlatCreateDirs("backup");
  PlatDeleteFile(kBackupListFile);
  FILE *list = PlatOpenFile(kBackupListFile, "wb");
  if (list == nullptr)
    return kBackupNoList;
  write(list, mode);
  if (fclose(list) != 0)
    return kBackupNoList;
  long child = 0;
  int rc = RunCopyProgram(&child);
  if (rc != kBackupDone) {
    // No one will delete the list: it goes, so that it can't be taken for a
    // copy still under way.
    PlatDeleteFile(kBackupListFile);
    return rc;
  }
  return BackupWait(child, status);
}

int WriteRun(FILE *f, long) {
  return BackupWriteRunItems(f);
}

} // namespace

void MakeBackupFolder(const char *base, char *result, size_t cap) {
  long today = 0, now = 0;
  DateToday(&today);
  TimeNow(&now);
  int year = 0, month = 0, day = 0;
  DateLongToYMD(today, &year, &month, &day, nullptr);
  char date[16], time[kDateTextMax];
  StrFormat(date, "%02d%02d%02d%02d", year / 100, year % 100, month, day);
  if (TimeLongToChar(1, now, "hh:mm:ss", time) != 0)
    StrCopy(time, "00:00:00");
  // The separators of the time go; the base keeps its own characters, so
  // "\\srv\\orvix-data" stays as it is.
  char clock[16];
  size_t k = 0;
  for (const char *p = time; *p != '\0' && k + 1 < sizeof clock; ++p)
    if (*p != ':' && *p != '/' && *p != '-')
      clock[k++] = *p;
  clock[k] = '\0';
  StrFormat(result, cap, "%s\\%s_%s", base, date, clock);
}

void BackupResolve(const char *configured, char *out, size_t cap) {
  if (strncmp(configured, "..", 2) == 0) {
    char parent[kBackupPathSize];
    ParentFolder(parent, sizeof parent);
    StrFormat(out, cap, "%s%s", parent, configured + 2);
  } else {
    StrCopy(out, cap, configured);
  }
}

int BackupWriteItems(FILE *list, long mode) {
  return ListLines(list, mode);
}

int BackupWriteRunItems(FILE *f) {
  const char *to = RunOptions.BackupDirectory;
  char src[kBackupPathSize], line[4 * kBackupPathSize];
  int n = 0;
  const char *repName = nullptr;
  if (RunOptions.BackupRepertory != 0 &&
      RepertoryFolder(src, sizeof src, &repName)) {
    StrFormat(line, "%s*.*|%s\\%s*.*\n", src, to, repName);
    n += Put(f, line) ? 1 : 0;
  }
  if (RunOptions.BackupLog != 0) {
    // A table log is a stem with its data and index files beside it; a
    // text log is the one file its path names, extension and all.
    const char *slash = strrchr(LogPath, '\\');
    const char *name = slash != nullptr ? slash + 1 : LogPath;
    if (PlatFileExists(LogPath) && !PlatIsDir(LogPath))
      StrFormat(line, "%s|%s\\Log\\%s\n", LogPath, to, name);
    else
      StrFormat(line, "%s.*|%s\\Log\\%s.*\n", LogPath, to, name);
    n += Put(f, line) ? 1 : 0;
    // The repertory's own log beside it.
    BackupResolve(LogFileDir, src, sizeof src);
    StrFormat(line, "%s\\%s.*|%s\\Log\\%s.*\n", src, CurrentCatalog.Abbrev, to,
              CurrentCatalog.Abbrev);
    n += Put(f, line) ? 1 : 0;
  }
  return n;
}

int BackupWaitLimit() {
  int limit = static_cast<int>(GetPrivateProfileIntA(
      "System section", "BackupWaitLimit", kBackupWaitDefault, IniFileName));
  return limit > 0 ? limit : kBackupWaitDefault;
}

int RunCopyProgram(long *child) {
  *child = 0;
  char program[kBackupPathSize];
  CopyProgramPath(program, sizeof program);
  char folder[kBackupPathSize], list[kBackupPathSize];
  CurrentFolder(folder, sizeof folder);
  StrFormat(list, "%s\\backup\\backup.txt", folder);
  const char *args[] = {list, nullptr};
  int rc = PlatStartWatched(program, args, child);
  if (rc == kPlatOk)
    return kBackupDone;
  return rc == kPlatErrNotFound || rc == kPlatErrPath ? kBackupNoProgram
                                                      : kBackupNoStart;
}

int BackupWait(long child, int *status) {
  // The pause between two looks grows from 1 ms to 10 ms: a short copy is
  // seen to end at once, a long one costs next to nothing, and the windows
  // stay alive meanwhile.
  long pauseNs = 1000 * 1000;
  auto pause = [&pauseNs]() {
    struct timespec ts = {0, pauseNs};
    nanosleep(&ts, nullptr);
    pauseNs = pauseNs * 2 > 10 * 1000 * 1000 ? 10 * 1000 * 1000 : pauseNs * 2;
  };
  time_t deadline = time(nullptr) + BackupWaitLimit();
  for (;;) {
    if (!PlatFileExists(kBackupListFile)) {
      // The copy program is ending; it is collected when it has.
      pauseNs = 1000 * 1000;
      for (int i = 0; i < 50 && PlatChildEnded(child, nullptr) == 0; ++i)
        pause();
      return kBackupDone;
    }
    int exitStatus = 0;
    if (PlatChildEnded(child, &exitStatus) != 0) {
      // It may have deleted the list just before it ended.
      if (!PlatFileExists(kBackupListFile))
        return kBackupDone;
      if (status != nullptr)
        *status = exitStatus;
      PlatDeleteFile(kBackupListFile);
      return kBackupDied;
    }
    if (time(nullptr) >= deadline) {
      PlatStopChild(child);
      PlatDeleteFile(kBackupListFile);
      return kBackupTimeout;
    }
    xvt_app_process_pending_events();
    pause();
  }
}

int BackupFiles() {
  if (!AnyItem())
    return kBackupDone;
  DbVirtualClose(2);
  // The marker in the backup folder says what the folder is. It is no
  // failure when it can't be written.
  PlatCreateDirs(RunOptions.BackupDirectory);
  char marker[kBackupPathSize];
  StrFormat(marker, "%s\\backup.txt", RunOptions.BackupDirectory);
  if (FILE *m = PlatOpenFile(marker, "wb")) {
    fputs("Orvix backup...", m);
    fclose(m);
  }
  int status = 0;
  int rc = CopyThroughList(BackupWriteItems, kBackupModeBackup, &status);
  if (rc != kBackupDone) {
    char text[512];
    FailureText(rc, status, text, sizeof text);
    if (rc == kBackupNoList)
      xvt_dm_post_note("%s", text);
    else
      xvt_dm_post_error("%s", text);
    SessionFail(1);
    return rc;
  }
  char value[32];
  StrFormat(value, "%ld", static_cast<long>(time(nullptr)));
  WritePrivateProfileStringA("System section", "BackupDate", value,
                             IniFileName);
  char box[1024];
  StrFormat(box, MsgText(7058), RunOptions.BackupDirectory);
  StrAppend(box, "\n\n");
  StrAppend(box, MsgText(7059));
  StrAppend(box, "\n\n");
  StrAppend(box, MsgText(7060));
  StrAppend(box, "\n");
  StrAppend(box, MsgText(7061));
  StrAppend(box, MsgText(7062));
  xvt_dm_post_message("Mantrel", box);
  return kBackupDone;
}

int RestoreFiles() {
  if (!AnyItem())
    return kBackupDone;
  int status = 0;
  int rc = CopyThroughList(BackupWriteItems, kBackupModeRestore, &status);
  if (rc != kBackupDone) {
    char text[512];
    FailureText(rc, status, text, sizeof text);
    if (rc == kBackupNoList)
      xvt_dm_post_note("%s", text);
    else
      xvt_dm_post_error("%s", text);
    SessionFail(1);
  }
  return rc;
}

int BackupBeforeRun() {
  if (RunOptions.BackupRepertory == 0 && RunOptions.BackupLog == 0)
    return 0;
  MakeBackupFolder(RunOptions.BackupBase, RunOptions.BackupDirectory,
                   sizeof RunOptions.BackupDirectory);
  int status = 0;
  int rc = CopyThroughList(WriteRun, kBackupModeBackup, &status);
  if (rc == kBackupDone)
    return 0;
  char text[768];
  FailureText(rc, status, text, sizeof text);
  StrAppend(text, " ");
  if (RunOptions.BatchMode != 0) {
    // No one to ask: the run does not start, and nothing has been changed.
    StrAppend(text, MsgText(7524));
    xvt_dm_post_error("%s", text);
    return 1;
  }
  char stop[104], goOn[104];
  StrCopy(stop, MsgText(7525));
  StrCopy(goOn, MsgText(7526));
  StrAppend(text, MsgText(7527));
  // The first button, which a box answered for no one takes, is the safe one.
  return xvt_dm_post_ask(stop, goOn, nullptr, "%s", text) == 2 ? 0 : 1;
}
