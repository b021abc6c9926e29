// The message table: every text the program shows, by number and language.
#include "platform/strutil.h"
#include "store/engine.h"
#include "store/families.h"

TblHandle MsgOpen(const char *path, int, int b) {
  return EngineOpen(kFamMessage, path, b);
}

const char *OrvixMessage(TblHandle msgTable, int number, int language,
                         MsgRecord *buf) {
  if (buf == nullptr) {
    OrvixError = kErrBadArg;
    return "";
  }
  int err = kErrEnd;
  if (number >= 0 && number <= 0xffff && language >= 0 && language <= 0xff) {
    MsgRecord probe = *buf;
    probe.Number = static_cast<uint16_t>(number);
    probe.Language = static_cast<uint8_t>(language);
    err = EngineFind(msgTable, kFamMessage, &probe, 0, kFindEqual, kReadFull);
    if (err == 0)
      *buf = probe;
  }
  if (err != 0) {
    // Callers hand the text to printf as a format: the fallback holds no '%'.
    buf->Number = static_cast<uint16_t>(number);
    buf->Language = static_cast<uint8_t>(language);
    StrFormat(buf->Text, "Message %d is missing", number);
    OrvixError = err;
  }
  return buf->Text;
}

TblHandle MsgCreate(const char *path) {
  return EngineCreate(kFamMessage, path);
}

int MsgSave(TblHandle h, MsgRecord *rec, int mode) {
  return EngineSave(h, kFamMessage, rec, mode);
}

int MsgFind(TblHandle h, MsgRecord *rec, int key, int mode) {
  return EngineFind(h, kFamMessage, rec, key, mode, kReadFull);
}
