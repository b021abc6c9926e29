#include "logrun/runstart.h"

#include "frame/app.h"
#include "frame/chooser.h"
#include "frame/config.h"
#include "frame/messages.h"
#include "frame/work.h"
#include "logrun/logrun.h"
#include "logrun/runoptions.h"
#include "platform/files.h"
#include "platform/strutil.h"
#include "store/store.h"

#include <cstring>

namespace {

void NotInThisVersion(const char *what) {
  xvt_dm_post_note("%s is not available in this version of Mantrel; the run "
                   "goes on without it.",
                   what);
}

} // namespace

bool RunEligibleForBatch(const char *title, const char *abbrev) {
  return strstr(title, "Almanacum") != nullptr &&
         (strstr(abbrev, "92") != nullptr ||
          strstr(abbrev, "2009") != nullptr) &&
         strchr(abbrev, 'C') == nullptr;
}

void UpdateRepertoryRun(int id, int batch) {
  if (RunRemedyLog[0] != '\0')
    NotInThisVersion("Loading the remedies given to the run");
  if (RunAuthorLog[0] != '\0')
    NotInThisVersion("Loading the authors given to the run");
  TblHandle cat = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || cat == 0) {
    xvt_dm_post_error(MsgText(74), OrvixError);
    if (batch != 0)
      AppTerminate();
    return;
  }
  CurrentCatalog.Kind = 1;
  CurrentCatalog.Id = static_cast<uint16_t>(id);
  TblFindFullCatalog(cat, &CurrentCatalog, 0, kFindEqual);
  DbCloseFile(cat);
  RunOptions.From = 0;
  RunOptions.To = kRunToLast;
  RunOptions.Comment[0] = '\0';
  RunOptions.BatchMode = batch;
  if (RunOptions.BackupRepertory != 0 || RunOptions.BackupLog != 0)
    NotInThisVersion("The backup before a run");
  WorkRun(LogRunTable);
}

void DriverRunLog(const char *log, int) {
  char idx[300];
  StrFormat(idx, "%s.idx", log);
  PlatDeleteFile(idx);
  if (int r = TblRebuildRlog(log, 0, 1); r != 0)
    xvt_dm_post_note(MsgText(3001), log, r);
  StrCopy(LogPath, log);
  TblHandle cat = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || cat == 0) {
    xvt_dm_post_error(MsgText(74), OrvixError);
    AppTerminate();
    return;
  }
  // The batch chooser lists the editions a scripted log may run on; until
  // it stands in this version the first of them is taken, as a person
  // pressing Enter at the chooser would.
  Catalog rec;
  memset(&rec, 0, sizeof rec);
  rec.CursorState = 0xff;
  int id = 0;
  for (int err = TblFindFullCatalog(cat, &rec, 0, kFindFirst); err == 0;
       err = TblFindFullCatalog(cat, &rec, 0, kFindNext)) {
    if (rec.Kind == 1 &&
        RunEligibleForBatch(rec.RepertoryBlock.Title, rec.Abbrev)) {
      id = rec.Id;
      break;
    }
  }
  DbCloseFile(cat);
  if (id == 0) {
    xvt_dm_post_error("No repertory of the catalogue can take this log.");
    AppTerminate();
    return;
  }
  UpdateRepertoryRun(id, 1);
}
