#include "logrun/levels.h"

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
