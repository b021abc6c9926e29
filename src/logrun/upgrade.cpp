#include "logrun/upgrade.h"

#include "logrun/runstart.h"
#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "store/store.h"
#include "transfers/userremedies.h"

#include <cstdio>
#include <cstring>

namespace {

const char *Title(const Catalog &rec) {
  return rec.Kind == 2 ? rec.KeynoteBlock.Title : rec.RepertoryBlock.Title;
}

// Finds a repertory by abbreviation (key 1, exact); answers whether found.
bool FindByAbbrev(TblHandle cat, const char *abbrev, Catalog *rec) {
  memset(rec, 0, sizeof *rec);
  rec->CursorState = 0xff;
  StrCopy(rec->Abbrev, abbrev);
  return TblFindFullCatalog(cat, rec, 1, kFindEqual) == 0;
}

void Upgrade(UpgradeKind kind) {
  char marker[300];
  UpgradeMarkerPath(marker, sizeof marker);
  if (FILE *f = PlatOpenFile(marker, "wb"))
    fclose(f);

  DbToUpper(UpgradeOldAbbrev);
  DbToUpper(UpgradeNewAbbrev);
  const char *logAbbrev =
      kind == kUpgradeReset ? UpgradeNewAbbrev : UpgradeOldAbbrev;
  // The log is always the one of the log folder named by the abbreviation;
  // the reports are named after the target.
  StrFormat(LogPath, "%s\\%s", LogFileDir, logAbbrev);
  StrFormat(RunOptions.TextLogFile, "%s\\%s.txt", LogFileDir, UpgradeNewAbbrev);
  StrFormat(RunOptions.ErrorsFile, "%s\\%s.err", LogFileDir, UpgradeNewAbbrev);
  StrFormat(RunOptions.StatisticsFile, "%s\\%s.rpt", LogFileDir,
            UpgradeNewAbbrev);
  RunOptions.BatchMode = 0;

  TblHandle cat = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || cat == 0) {
    int err = OrvixError != 0 ? OrvixError : kErrNoFile;
    xvt_dm_post_note(MsgText(74), err);
    SessionFail(1);
  } else {
    Catalog oldRec, newRec;
    char oldName[80] = "";
    if (kind != kUpgradeReset && FindByAbbrev(cat, UpgradeOldAbbrev, &oldRec))
      StrCopy(oldName, Title(oldRec));
    else
      StrCopy(oldName, UpgradeOldAbbrev);
    bool found = FindByAbbrev(cat, UpgradeNewAbbrev, &newRec);
    DbCloseFile(cat);
    if (!found) {
      xvt_dm_post_note(MsgText(7461), UpgradeNewAbbrev);
      SessionFail(1);
    } else {
      char question[600];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
      if (kind == kUpgradeReset)
        StrFormat(question, MsgText(7462), Title(newRec));
      else
        StrFormat(question, MsgText(kind == kUpgradePlain ? 7463 : 7464),
                  oldName, Title(newRec));
#pragma GCC diagnostic pop
      if (xvt_dm_post_ask("OK", "Cancel", nullptr, "%s", question) == 1) {
        UpdateRemedies(0);
        UpdateAuthors(0);
        UpdateRepertoryRun(newRec.Id, 0);
      }
    }
  }
  PlatDeleteFile(marker);
  SessionEnd();
}

} // namespace

void UpgradeMarkerPath(char *out, size_t cap) {
  StrFormat(out, cap, "%s\\running.log", LogFileDir);
}

void DriverUpgradeReset() {
  Upgrade(kUpgradeReset);
}

void DriverUpgrade() {
  Upgrade(kUpgradePlain);
}

void DriverUpgradeAssoc() {
  Upgrade(kUpgradeAssoc);
}
