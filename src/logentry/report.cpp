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

// Message numbers of the block's lines; those that take values are formats
// of that many texts.
constexpr int kMsgErrorLead = 2732;     // "Error: "
constexpr int kMsgWarningLead = 5548;   // "Warning: "
constexpr int kMsgEntryLine = 2729;     // number, date, time, tag
constexpr int kMsgOperationLead = 2730; // "Operation: "
constexpr int kMsgSymptomLine = 2733;   // language, symptom path
constexpr int kMsgDegreeLine = 2734;    // remedy, author, old, new degree
constexpr int kMsgRemedyLine = 2742;    // remedy, author, degree
constexpr int kMsgNoteLine = 2747;      // remedy, author, degree, kind, lang.
constexpr int kMsgOldNoteLine = 2748;
constexpr int kMsgNewNoteLine = 2749;
constexpr int kMsgTextLanguageLine = 2757;
constexpr int kMsgOldTextLine = 2758;
constexpr int kMsgNewTextLine = 2759;
constexpr int kMsgOldNameLine = 2763;
constexpr int kMsgNewNameLine = 2764;
constexpr int kMsgLinkLine = 3423;    // link type, title, file
constexpr int kMsgConceptLine = 5072; // language, concept symptom path
constexpr int kMsgKindLine = 5510;    // old and new symptom type

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
    fprintf(file, "%s",
            MsgText(severity == 1 ? kMsgErrorLead : kMsgWarningLead));
    LogMessageText(message, text, sizeof text);
    fprintf(file, "%s (H-%d)\n", text, saved);
  }

  char fmt[kLineSize];
  LogMessageFormat(kMsgEntryLine, "%ld %s %s %d",
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
    FormatLine(file, kMsgSymptomLine, "Language: %s   Symptom: %s", 2,
               f(kFieldLanguage), f(kFieldPath));

  fprintf(file, "%s", MsgText(kMsgOperationLead));
  LogMessageText(kMsgOpName + op, text, sizeof text);
  fprintf(file, "%s\n", text);

  switch (op) {
  case OpChangeDegree: {
    using namespace RemedyFields;
    FormatLine(file, kMsgDegreeLine,
               "Remedy: %s   Author: %s   Old: %s   New: %s", 4, f(kRemedy),
               f(kAuthor), f(kOldDegree), f(kNewDegree));
    break;
  }
  case OpDeleteRemedy:
  case OpAddRemedy: {
    using namespace RemedyFields;
    FormatLine(file, kMsgRemedyLine, "Remedy: %s   Author: %s   Degree: %s", 3,
               f(kRemedy), f(kAuthor), f(kDegree));
    break;
  }
  case OpChangeNote: {
    using namespace NoteFields;
    FormatLine(file, kMsgNoteLine, "Remedy: %s %s %s %s %s", 5, f(kRemedy),
               f(kAuthor), f(kDegree), f(kType), f(kLanguage));
    FormatLine(file, kMsgOldNoteLine, "Old: %s", 1, f(kOldText));
    FormatLine(file, kMsgNewNoteLine, "New: %s", 1, f(kNewText));
    break;
  }
  case OpChangeCrossReference:
  case OpChangeSynonym: {
    using namespace TextFields;
    FormatLine(file, kMsgTextLanguageLine, "Text language: %s", 1,
               f(kLanguage));
    FormatLine(file, kMsgOldTextLine, "Old text: %s", 1, f(kOldText));
    FormatLine(file, kMsgNewTextLine, "New text: %s", 1, f(kNewText));
    break;
  }
  case OpRenameSymptom: {
    using namespace RenameFields;
    FormatLine(file, kMsgTextLanguageLine, "Text language: %s", 1,
               f(kLanguage));
    FormatLine(file, kMsgOldNameLine, "Old text: %s", 1, f(kOldText));
    FormatLine(file, kMsgNewNameLine, "New text: %s", 1, f(kNewText));
    FormatLine(file, kMsgTextLanguageLine, "Text language: %s", 1,
               f(kLanguage2));
    FormatLine(file, kMsgOldNameLine, "Old text: %s", 1, f(kOldText2));
    FormatLine(file, kMsgNewNameLine, "New text: %s", 1, f(kNewText2));
    break;
  }
  case OpAddSymptomAfter:
  case OpAddSymptomBelow: {
    using namespace AddSymptomFields;
    FormatLine(file, kMsgTextLanguageLine, "Text language: %s", 1,
               f(kLanguage));
    FormatLine(file, kMsgNewNameLine, "New text: %s", 1, f(kText));
    FormatLine(file, kMsgTextLanguageLine, "Text language: %s", 1,
               f(kLanguage2));
    FormatLine(file, kMsgNewNameLine, "New text: %s", 1, f(kText2));
    break;
  }
  case OpAddLink:
  case OpDeleteLink: {
    using namespace LinkFields;
    FormatLine(file, kMsgRemedyLine, "Remedy: %s   Author: %s   Degree: %s", 3,
               f(kRemedy), f(kAuthor), f(kDegree));
    FormatLine(file, kMsgLinkLine, "Link type: %s   Title: '%s'   File: '%s'",
               3, f(kType), f(kTitle), f(kFile));
    break;
  }
  case OpAddConcept:
  case OpDeleteConcept:
    FormatLine(file, kMsgSymptomLine, "Language: %s   Symptom: %s", 2,
               f(kFieldLanguage), f(ConceptFields::kSymptomPath));
    FormatLine(file, kMsgConceptLine, "Language: %s   Concept symptom: %s", 2,
               f(kFieldLanguage), f(kFieldPath));
    break;
  case OpChangeSymptomKind:
    FormatLine(file, kMsgKindLine, "Old type: %s   New type: %s", 2,
               f(KindFields::kOld), f(KindFields::kNew));
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
