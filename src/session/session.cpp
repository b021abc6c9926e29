#include "session/session.h"

int ArgCount = 0;
char **ArgValues = nullptr;

char LogPath[kArgPathSize];
char RunRemedyLog[kArgPathSize];
char RunAuthorLog[kArgPathSize];
char RunAbbrevFile[kArgPathSize];
int32_t RunLanguage = 0;
int32_t RunExtract = 0;
char NotesFolder[kArgPathSize];
char NotesFile[kArgPathSize];
char UpgradeLog[kArgPathSize];
char UpgradeOldAbbrev[kArgPathSize];
char UpgradeNewAbbrev[kArgPathSize];
char UpgradeAssocTable[kArgPathSize];

Catalog CurrentCatalog;

namespace {
void (*SessionEndHook)() = nullptr;
int SessionStatus = 0;
} // namespace

void SessionClearArguments() {
  LogPath[0] = RunRemedyLog[0] = RunAuthorLog[0] = RunAbbrevFile[0] = '\0';
  RunExtract = 0;
}

void SessionSetEnd(void (*end)()) {
  SessionEndHook = end;
}

void SessionEnd() {
  if (SessionEndHook != nullptr)
    SessionEndHook();
}

void SessionFail(int status) {
  if (SessionStatus == 0 && status != 0)
    SessionStatus = status;
}

int SessionExitStatus() {
  return SessionStatus;
}
