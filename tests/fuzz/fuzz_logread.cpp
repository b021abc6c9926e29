// libFuzzer target of the reader of the text form of log entries: any
// bytes as a text log. Each entry read or refused must move the reader on,
// an entry read must fit its text area and name an operation, and a
// refusal copies no more than the file holds. What was read is written
// again and read back, so the writer sees whatever fields the reader can
// produce.
#include "fuzz_support.h"
#include "logentry/logentry.h"
#include "logentry/logread.h"
#include "logentry/logtext.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/msgdata.h"
#include "store/store.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

void BuildMessages() {
  MsgDataSet set;
  for (const char *lang : {"en", "fr", "de"}) {
    std::string path =
        std::string(MANTREL_SOURCE_DIR) + "/data/messages/" + lang + ".txt";
    MsgDataReadFile(&set, path.c_str());
  }
  MsgTable = MsgCreate("msg");
  for (const MsgDataEntry &m : set.Entries) {
    MsgRecord rec;
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.Number = m.Number;
    rec.Language = m.Language;
    StrCopy(rec.Text, m.Text);
    MsgSave(MsgTable, &rec, kSaveAdd);
  }
}

// The store is closed before the process ends, so that the leak check at
// exit sees nothing of it.
void CloseStore() {
  DbCloseFile(MsgTable);
  MsgTable = 0;
  DbTerminate("A-Mantrel");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  AbsoluteArguments(argc, argv);
  EnterScratchFolder("logread");
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    abort();
  atexit(CloseStore);
  BuildMessages();
  Language = 1;
  StrCopy(DateFormat, "dd.mm.yyyy");
  LogTextLabelsLoad();
  if (LogTextLanguageCount() != 3)
    abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0)
    return 0;
  FILE *in = fmemopen(const_cast<uint8_t *>(data), size, "rb");
  char *rejected = nullptr, *written = nullptr;
  size_t rejectedSize = 0, writtenSize = 0;
  FILE *rejects = open_memstream(&rejected, &rejectedSize);
  FILE *out = open_memstream(&written, &writtenSize);
  FILE *errors = fopen("/dev/null", "wb");
  static char text[kLogTextSize];
  LogEntry e;
  LogClearEntry(&e, text);
  long last = ftell(in);
  while (true) {
    int r = LogReadTextEntry(in, errors, rejects, &e);
    if (r == 1 && OrvixError == kErrEnd)
      break;
    long now = ftell(in);
    if (now <= last || OrvixError != 0)
      __builtin_trap(); // the run's loop would never end
    last = now;
    if (r == 1) {
      if (strlen(text) >= kLogTextSize || e.operation < 1 ||
          e.operation > kOpCount)
        __builtin_trap();
      LogWriteEntry(out, nullptr, &e, nullptr);
    }
  }
  fclose(in);
  fclose(rejects);
  if (rejectedSize > size)
    __builtin_trap();
  free(rejected);
  fclose(out);
  // The text written from what was read, read once more.
  if (writtenSize > 0) {
    FILE *again = fmemopen(written, writtenSize, "rb");
    for (int i = 0; i < 100000; ++i)
      if (LogReadTextEntry(again, errors, nullptr, &e) == 1 &&
          OrvixError == kErrEnd)
        break;
    fclose(again);
  }
  free(written);
  fclose(errors);
  return 0;
}
