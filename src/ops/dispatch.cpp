#include "ops/dispatch.h"

#include "logentry/report.h"
#include "ops/remedy.h"
#include "platform/strutil.h"

#include <cstring>

bool LogHasHandler(int operation) {
  return operation == OpChangeDegree || operation == OpDeleteRemedy ||
         operation == OpAddRemedy;
}

int LogDispatch(LogEntry *entry, FILE *errors, TblHandle symptoms,
                TblHandle extract, TblHandle, TblHandle, TblHandle notes,
                TblHandle, TblHandle, TblHandle, TblHandle assoc, int noteFlag,
                const char *comment, TblHandle views) {
  if (entry == nullptr || entry->text == nullptr)
    return 1;
  // The additions write the comment into a note of kind 3.
  char note[64] = "";
  if (noteFlag != 0 && comment != nullptr && comment[0] != '\0')
    StrFormat(note, "<<%s>>", comment);

  switch (entry->operation) {
  case OpChangeDegree:
    return OpChangeDegreeRun(entry, errors, symptoms, extract, assoc, noteFlag);
  case OpDeleteRemedy:
    return OpDeleteRemedyRun(entry, errors, symptoms, extract, notes, assoc,
                             noteFlag);
  case OpAddRemedy:
    return OpAddRemedyRun(entry, errors, symptoms, extract, notes, assoc,
                          noteFlag, note, views);
  default:
    // Notes, references, symptoms, links and concepts have no handler in
    // this version: the entry is refused and lands in the text log.
    {
      size_t length = strlen(entry->text);
      LogReportEntry(errors, kMsgOperationNotAvailable, entry, nullptr, 1);
      LogJoinFields(entry->text, length);
    }
    return 1;
  }
}
