#include "logrun/levels.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "logrun/translate.h"
#include "ops/dispatch.h"
#include "platform/strutil.h"
#include "store/sptpath.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

// The level texts of a stored path (levels joined by " \x02 ").
std::vector<std::string> Levels(const char *path) {
  std::vector<std::string> out;
  const char *p = path;
  for (;;) {
    const char *sep = strchr(p, kSptSeparator);
    std::string level = sep != nullptr ? std::string(p, sep) : std::string(p);
    size_t from = level.find_first_not_of(' ');
    size_t to = level.find_last_not_of(' ');
    out.push_back(from == std::string::npos
                      ? std::string()
                      : level.substr(from, to - from + 1));
    if (sep == nullptr)
      break;
    p = sep + 1;
  }
  return out;
}

bool Exists(TblHandle symptoms, int language, const char *path) {
  uint32_t num;
  uint16_t sub;
  return GetSptNumFromExactText(symptoms, language, path, &num, &sub) == 0;
}

} // namespace

int LogRebuildLevels(LogEntry *entry, const OpContext &ctx, TblHandle ownLog,
                     int32_t *nextOwn) {
  size_t length = strlen(entry->text);
  FieldOffsets offsets;
  LogSplitFields(entry->text, offsets);
  const char digit = entry->text[0];
  int language = digit == '1' ? 2 : 1;
  std::vector<char> path(kSptPathSize * 2);
  StrCopy(path.data(), path.size(), LogField(entry->text, offsets, kFieldPath));
  LogJoinFields(entry->text, length);
  AtStorePath(path.data());
  std::vector<std::string> levels = Levels(path.data());

  OpContext nested = ctx;
  nested.silent = 2; // a derived operation
  nested.comment[0] = '\0';
  std::string prefix = levels.empty() ? std::string() : levels[0];
  std::vector<char> text(kLogTextSize);
  for (size_t i = 1; i < levels.size(); ++i) {
    std::string candidate = prefix + " \x02 " + levels[i];
    if (!Exists(ctx.symptoms, language, candidate.c_str())) {
      LogEntry add = *entry;
      add.operation = OpAddSymptomBelow;
      add.symptomId = 0;
      add.endMark = 0xff;
      add.comment[0] = '\0';
      std::string fields;
      fields += digit;
      fields += kLogFieldSep;
      fields += prefix;
      fields += kLogFieldSep;
      fields += digit;
      fields += kLogFieldSep;
      fields += levels[i];
      fields += kLogFieldSep;
      fields += "1";
      fields += kLogFieldSep;
      if (fields.size() >= text.size())
        return 1;
      memcpy(text.data(), fields.c_str(), fields.size() + 1);
      add.text = text.data();
      if (LogDispatch(&add, nested) != 0)
        return 1;
      // Only a level that now exists goes into the own log, ahead of the
      // entry that needed it, under the own log's next number: an own log
      // that is not empty keeps every entry it had.
      if (ownLog != 0) {
        memcpy(text.data(), fields.c_str(), fields.size() + 1);
        add.number = (*nextOwn)++;
        add.symptomId = add.symptomId < -2000000 ? 0 : add.symptomId;
        TblSaveRlog(ownLog, &add, kSaveAdd);
      }
    }
    prefix = candidate;
  }
  return 0;
}

bool LogCheckSymptom(LogEntry *entry, const OpContext &ctx, TblHandle ownLog,
                     int32_t *nextOwn) {
  int op = entry->operation;
  if (op == OpAddConcept || op == OpDeleteConcept)
    return true;
  size_t length = strlen(entry->text);
  FieldOffsets offsets;
  LogSplitFields(entry->text, offsets);
  int language = entry->text[0] == '1' ? 2 : 1;
  uint32_t num;
  uint16_t sub;
  if (GetSptNumFromExactText(ctx.symptoms, language,
                             LogField(entry->text, offsets, kFieldPath), &num,
                             &sub) == 0) {
    // An entry that creates a text must not create one that exists.
    if (op == OpRenameSymptom || op == OpAddSymptomAfter ||
        op == OpAddSymptomBelow) {
      char path[kSptPathSize];
      GetLevelsFromSptNum(ctx.symptoms, language, path, num, sub);
      std::string wanted = path;
      if (op == OpAddSymptomBelow) {
        wanted += " \x02 ";
      } else {
        size_t cut = wanted.rfind(kSptSeparator);
        wanted = cut == std::string::npos ? std::string()
                                          : wanted.substr(0, cut + 1) + " ";
      }
      int field = op == OpRenameSymptom
                      ? static_cast<int>(RenameFields::kNewText)
                      : static_cast<int>(AddSymptomFields::kText);
      const char *added = LogField(entry->text, offsets, field);
      bool same = op == OpRenameSymptom &&
                  strcmp(added, LogField(entry->text, offsets,
                                         RenameFields::kOldText)) == 0;
      wanted += added;
      if (!same && !wanted.empty() && added[0] != '\0' &&
          Exists(ctx.symptoms, language, wanted.c_str())) {
        LogReportEntry(ctx.errors, kMsgSymptomExists, entry, offsets, 2);
        LogJoinFields(entry->text, length);
        return false;
      }
    }
    LogJoinFields(entry->text, length);
    return true;
  }
  LogJoinFields(entry->text, length);
  // A symptom that is gone needs no levels to be deleted again: its
  // handler tells that it is not there.
  if (op == OpDeleteSymptom)
    return true;
  if (language == 1) {
    if (LogRebuildLevels(entry, ctx, ownLog, nextOwn) != 0) {
      LogReportEntry(ctx.errors, kMsgPathNotRecreated, entry, nullptr, 2);
      LogJoinFields(entry->text, length);
      return false;
    }
    return true;
  }
  // A second-language path goes on: its handler tells the same failure.
  LogReportEntry(ctx.errors, kMsgSymptomNotFound, entry, nullptr, 1);
  LogJoinFields(entry->text, length);
  return true;
}
