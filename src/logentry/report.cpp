#include "logentry/report.h"

#include "logentry/logentry.h"
#include "logentry/logtext.h"
#include "logentry/tally.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "store/strdate.h"

#include <cstdlib>
#include <cstring>

int LogLastMessage = 0;
int LogLastSeverity = 0;

namespace {

constexpr size_t kLineSize = 512;

// One line of the block: the message as a format of `count` texts; a
// damaged text in the table falls back to a plain label and the values.
void FormatLine(FILE *file, int number, const char *fallback, int count,
                const char *a, const char *b = "", const char *c = "",
                const char *d = "", const char *e = "") {
  static const char *const kSignatures[] = {
      "", "%s", "%s %s", "%s %s %s", "%s %s %s %s", "%s %s %s %s %s"};
  char fmt[kLineSize];
  LogMessageFormat(number, kSignatures[count], fallback, fmt, sizeof fmt);
  // The format has exactly `count` conversions of texts; extra arguments
  // are never read.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  fprintf(file, fmt, a, b, c, d, e);
#pragma GCC diagnostic pop
  fputc('\n', file);
}

} // namespace

void LogReportEntry(FILE *file, int message, LogEntry *entry, int *offsets,
                    int severity) {
  if (file == nullptr || entry == nullptr)
    return;
  int saved = OrvixError;
  char date[kDateTextMax] = "";
  char time[kDateTextMax] = "";
  if (DateLongToChar(Language, static_cast<long>(entry->date), DateFormat,
                     date) != 0)
    date[0] = '\0';
  if (TimeLongToChar(Language, static_cast<long>(entry->time), "hh:mm:ss",
                     time) != 0)
    time[0] = '\0';
  LogLastMessage = message;
  LogLastSeverity = severity;

  char text[kLineSize];
  if (message == kMsgOperationDone) {
    LogMessageText(message, text, sizeof text);
    fprintf(file, "%s\n", text);
  } else {
    fprintf(file, "%s", severity == 1 ? MsgText(2732) : MsgText(5548));
    LogMessageText(message, text, sizeof text);
    fprintf(file, "%s (H-%d)\n", text, saved);
  }

  char fmt[kLineSize];
  LogMessageFormat(2729, "%ld %s %s %d",
                   "Log entry number: %ld   Date: %s   Time: %s   User: %d",
                   fmt, sizeof fmt);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  fprintf(file, fmt, static_cast<long>(entry->number), date, time,
          static_cast<int>(entry->tag));
#pragma GCC diagnostic pop
  fputc('\n', file);

  FieldOffsets local;
  int *off = offsets;
  static char empty[1] = "";
  char *area = entry->text != nullptr ? entry->text : empty;
  if (off == nullptr) {
    LogSplitFields(area, local);
    off = local;
  }
  auto f = [&](int n) { return LogField(area, off, n); };
  int op = entry->operation;

  if (op != OpAddConcept && op != OpDeleteConcept)
    FormatLine(file, 2733, "Language: %s   Symptom: %s", 2, f(0), f(1));

  fprintf(file, "%s", MsgText(2730));
  LogMessageText(kMsgOpName + op, text, sizeof text);
  fprintf(file, "%s\n", text);

  switch (op) {
  case OpChangeDegree:
    FormatLine(file, 2734, "Remedy: %s   Author: %s   Old: %s   New: %s", 4,
               f(2), f(3), f(4), f(5));
    break;
  case OpDeleteRemedy:
  case OpAddRemedy:
    FormatLine(file, 2742, "Remedy: %s   Author: %s   Degree: %s", 3, f(2),
               f(3), f(4));
    break;
  case OpChangeNote:
    FormatLine(file, 2747, "Remedy: %s %s %s %s %s", 5, f(3), f(4), f(5), f(2),
               f(6));
    FormatLine(file, 2748, "Old: %s", 1, f(7));
    FormatLine(file, 2749, "New: %s", 1, f(8));
    break;
  case OpChangeCrossReference:
  case OpChangeSynonym:
    FormatLine(file, 2757, "Text language: %s", 1, f(2));
    FormatLine(file, 2758, "Old text: %s", 1, f(3));
    FormatLine(file, 2759, "New text: %s", 1, f(4));
    break;
  case OpRenameSymptom:
    FormatLine(file, 2757, "Text language: %s", 1, f(2));
    FormatLine(file, 2763, "Old text: %s", 1, f(3));
    FormatLine(file, 2764, "New text: %s", 1, f(4));
    FormatLine(file, 2757, "Text language: %s", 1, f(5));
    FormatLine(file, 2763, "Old text: %s", 1, f(6));
    FormatLine(file, 2764, "New text: %s", 1, f(7));
    break;
  case OpAddSymptomAfter:
  case OpAddSymptomBelow:
    FormatLine(file, 2757, "Text language: %s", 1, f(2));
    FormatLine(file, 2764, "New text: %s", 1, f(3));
    FormatLine(file, 2757, "Text language: %s", 1, f(4));
    FormatLine(file, 2764, "New text: %s", 1, f(5));
    break;
  case OpAddLink:
  case OpDeleteLink:
    FormatLine(file, 2742, "Remedy: %s   Author: %s   Degree: %s", 3, f(2),
               f(3), f(4));
    FormatLine(file, 3423, "Link type: %s   Title: '%s'   File: '%s'", 3, f(5),
               f(6), f(7));
    break;
  case OpAddConcept:
  case OpDeleteConcept:
    FormatLine(file, 2733, "Language: %s   Symptom: %s", 2, f(0), f(2));
    FormatLine(file, 5072, "Language: %s   Concept symptom: %s", 2, f(0), f(1));
    break;
  case OpChangeSymptomKind:
    FormatLine(file, 5510, "Old type: %s   New type: %s", 2, f(2), f(3));
    break;
  default:
    break;
  }

  for (int i = 0; i < kReportDashes; ++i)
    fputc('-', file);
  fputc('\n', file);
  fflush(file);
  OrvixError = saved;
}

void LogTallyReport() {
  for (MessageTally &row : MessageCount) {
    if (row.count > 0 && row.message == LogLastMessage &&
        row.severity == LogLastSeverity) {
      ++row.count;
      return;
    }
  }
  for (MessageTally &row : MessageCount) {
    if (row.count == 0) {
      row.count = 1;
      row.message = LogLastMessage;
      row.severity = LogLastSeverity;
      return;
    }
  }
}

int LogCountAddition(TblHandle symptoms) {
  Resource rec;
  memset(&rec, 0, sizeof rec);
  rec.Type = kResAddedType;
  rec.Id = kResAddedId;
  if (DbGetResource(symptoms, &rec, &rec, 2) == 0 && OrvixError == 0) {
    long count = strtol(rec.Text, nullptr, 10) + 1;
    memset(rec.Text, 0, 255);
    StrFormat(rec.Text, "%ld", count);
    rec.Length = static_cast<uint32_t>(strlen(rec.Text));
    return DbUpdateResource(symptoms, &rec);
  }
  rec.Type = kResAddedType;
  rec.Id = kResAddedId;
  memset(rec.Text, 0, 255);
  StrFormat(rec.Text, "%ld", 1L);
  rec.Length = static_cast<uint32_t>(strlen(rec.Text));
  return DbAddResource(symptoms, &rec);
}
