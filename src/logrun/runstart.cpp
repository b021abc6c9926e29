#include "logrun/runstart.h"

#include "backup/backup.h"

#include "logrun/logrun.h"
#include "platform/files.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "store/store.h"
#include "transfers/userremedies.h"

#include <cstring>

void UpdateRepertoryRun(int id, int batch) {
  if (RunRemedyLog[0] != '\0')
    LoadRemedies();
  if (RunAuthorLog[0] != '\0')
    LoadAuthors();
  TblHandle cat = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || cat == 0) {
    int err = OrvixError; // before the message lookup changes it
    xvt_dm_post_error(MsgText(74), err);
    SessionFail(1);
    if (batch != 0)
      SessionEnd();
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
  // A backup that fails stops the run before it changes anything.
  if (BackupBeforeRun() != 0) {
    SessionFail(1);
    if (batch != 0)
      SessionEnd();
    return;
  }
  WorkRun(LogRunTable);
}
