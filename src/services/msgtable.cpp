// Writing the message table lives apart from the reader and its checks, so
// that whatever only reads and checks texts doesn't need the store.
#include "services/msgdata.h"

#include "platform/strutil.h"
#include "store/store.h"

int MsgDataWriteTable(const MsgDataSet &set, const char *base,
                      const MsgDataEntry **failed) {
  if (failed)
    *failed = nullptr;
  TblHandle table = MsgCreate(base);
  if (table == 0 || OrvixError != 0) {
    int error = OrvixError != 0 ? OrvixError : kErrNoFile;
    if (table != 0)
      DbCloseFile(table);
    return error;
  }
  for (const MsgDataEntry &e : set.Entries) {
    MsgRecord rec{};
    rec.Number = e.Number;
    rec.Language = e.Language;
    StrCopy(rec.Text, e.Text);
    rec.CursorState = 0xFF;
    MsgSave(table, &rec, kSaveAdd);
    if (OrvixError != 0) {
      int error = OrvixError;
      if (failed)
        *failed = &e;
      DbCloseFile(table);
      OrvixError = error;
      return error;
    }
  }
  DbCloseFile(table);
  return OrvixError;
}
