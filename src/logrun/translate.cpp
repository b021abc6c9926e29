#include "logrun/translate.h"

#include "logentry/logentry.h"
#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/subject.h"
#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/strutil.h"
#include "store/sptpath.h"
#include "store/strdate.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace {

// Level texts are compared over at most this many characters when two of
// them only begin alike; the walk then goes on to the next sibling.
constexpr size_t kAtCompareLength = 59;
// A stored text this long filled its field: the old text may have been
// longer and was cut when the table was made.
constexpr size_t kAtTextFull = sizeof(At::Text) - 1;
constexpr const char *kDeleted = "<deleted>";

// Where the levels of a path lie: separator positions, in order.
std::vector<size_t> Separators(const char *path) {
  std::vector<size_t> at;
  size_t n = strlen(path);
  if (n == 0)
    return at;
  if (strchr(path, kSptSeparator) != nullptr) {
    for (size_t i = 0; i < n; ++i)
      if (path[i] == kSptSeparator)
        at.push_back(i);
    return at;
  }
  const char *last = path + n - 1;
  for (size_t i = 2; i + 1 < n; ++i)
    if (path[i] == '-' && LogIsLevelSeparator(path + i, path, last))
      at.push_back(i);
  return at;
}

// The text of level `i` (from 0) with the blanks around it taken off.
std::string LevelText(const char *path, const std::vector<size_t> &seps,
                      size_t i) {
  size_t from = i == 0 ? 0 : seps[i - 1] + 1;
  size_t to = i < seps.size() ? seps[i] : strlen(path);
  while (from < to && path[from] == ' ')
    ++from;
  while (to > from && path[to - 1] == ' ')
    --to;
  return std::string(path + from, to - from);
}

std::string Upper(std::string s) {
  DbToUpper(s.data());
  return s;
}

void TrimEnd(char *s) {
  StrRemoveTrailer(s, ' ');
}

// How a found text answers a wanted one: kMatch, kSibling (they begin alike,
// the next record may be the one), kMiss.
enum Answer { kMatch, kSibling, kMiss };

Answer Compare(const std::string &wanted, const char *found, bool prefixOnly) {
  std::string w = Upper(wanted), f = Upper(found);
  if (prefixOnly ? f.compare(0, w.size(), w) == 0 : w == f)
    return kMatch;
  // A stored text that fills its field was cut when the table was made: it
  // stands for any old text that begins with it.
  if (f.size() >= kAtTextFull && w.size() > f.size() &&
      w.compare(0, f.size(), f) == 0)
    return kMatch;
  size_t over = std::min(w.size(), kAtCompareLength);
  if (w.compare(0, over, f, 0, std::min(f.size(), over)) == 0 &&
      f.size() >= over)
    return kSibling;
  return kMiss;
}

// The walk shared by AtTranslatePath and AtFindPath: answers 0 and the last
// record found, or the level at which it stopped.
int Walk(TblHandle table, const char *path, bool prefixOnly, At *rec) {
  std::vector<size_t> seps = Separators(path);
  if (path[0] == '\0' || table == 0)
    return 1;
  uint32_t parentNum = 0;
  uint16_t parentSub = 0;
  for (size_t i = 0; i <= seps.size(); ++i) {
    int level = static_cast<int>(i) + 1;
    std::string wanted = LevelText(path, seps, i);
    rec->CursorState = 0xff;
    TblClearAt(rec);
    rec->ParentNum = parentNum;
    rec->ParentSub = parentSub;
    StrCopy(rec->Text, wanted.c_str());
    TrimEnd(rec->Text);
    auto find = TblFindFullAtByText;
    if (find(table, rec, 1, kFindAtOrAfter) != 0) {
      find = TblFindFullAt;
      rec->ParentNum = parentNum;
      rec->ParentSub = parentSub;
      StrCopy(rec->Text, wanted.c_str());
      TrimEnd(rec->Text);
      if (find(table, rec, 1, kFindAtOrAfter) != 0)
        return level;
    }
    // Siblings that begin alike over the compared length stand one after
    // the other in the key's order: walk on until one matches or they no
    // longer begin alike.
    for (;;) {
      TrimEnd(rec->Text);
      if (rec->ParentNum != parentNum || rec->ParentSub != parentSub)
        return level;
      Answer a = Compare(wanted, rec->Text, prefixOnly);
      if (a == kMatch)
        break;
      if (a == kMiss)
        return level;
      if (find(table, rec, 1, kFindNext) != 0)
        return level;
    }
    parentNum = rec->Num;
    parentSub = rec->Sub;
  }
  return 0;
}

bool StartsWithNoCase(const char *s, const char *prefix) {
  for (; *prefix != '\0'; ++s, ++prefix)
    if (*s == '\0' || toupper(static_cast<unsigned char>(*s)) !=
                          toupper(static_cast<unsigned char>(*prefix)))
      return false;
  return true;
}

} // namespace

// ---------------------------------------------------------------- lists

bool AtParseRenameLine(const char *line, RenamePair *pair) {
  const char *bar = strchr(line, '|');
  if (bar == nullptr)
    return false;
  size_t n = static_cast<size_t>(bar - line);
  if (n >= sizeof pair->Old)
    n = sizeof pair->Old - 1;
  memcpy(pair->Old, line, n);
  pair->Old[n] = '\0';
  StrCopy(pair->New, bar + 1);
  // A line end of the other system, or blanks behind the name, are no part
  // of it.
  StrRemoveTrailer(pair->New, '\r');
  TrimEnd(pair->New);
  TrimEnd(pair->Old);
  return true;
}

RenamePair *AtLoadRenameList(const char *path) {
  FILE *f = PlatOpenFile(path, "rb");
  if (f == nullptr)
    return nullptr;
  RenamePair *list = AtReadRenameList(f);
  fclose(f);
  return list;
}

RenamePair *AtReadRenameList(FILE *f) {
  std::vector<RenamePair> rows;
  char line[256];
  while (PlatReadLine(f, line, sizeof line)) {
    RenamePair p;
    if (AtParseRenameLine(line, &p))
      rows.push_back(p);
  }
  RenamePair *list = new (std::nothrow) RenamePair[rows.size() + 1];
  if (list == nullptr)
    return nullptr;
  for (size_t i = 0; i < rows.size(); ++i)
    list[i] = rows[i];
  list[rows.size()] = RenamePair{};
  return list;
}

void AtFreeRenameList(RenamePair *list) {
  delete[] list;
}

void AtLoadAssociationLists(AssociationLists *lists) {
  lists->Remedies = AtLoadRenameList("..\\data\\at\\remed.txt");
  lists->Authors = AtLoadRenameList("..\\data\\at\\author.txt");
}

void AtFreeAssociationLists(AssociationLists *lists) {
  AtFreeRenameList(lists->Remedies);
  AtFreeRenameList(lists->Authors);
  lists->Remedies = lists->Authors = nullptr;
}

// ---------------------------------------------------------------- index

bool AtParseIndexLine(const char *line, AtIndexLine *out) {
  *out = AtIndexLine{};
  char text[kAtIndexLineSize];
  StrCopy(text, line);
  text[strcspn(text, "\r\n")] = '\0';
  TrimEnd(text);
  std::vector<std::string> fields;
  for (const char *p = text;;) {
    const char *bar = strchr(p, '|');
    if (bar == nullptr) {
      fields.emplace_back(p);
      break;
    }
    fields.emplace_back(p, static_cast<size_t>(bar - p));
    p = bar + 1;
  }
  if (fields.size() < 3)
    return false;
  StrCopy(out->Key, fields[0].c_str());
  StrCopy(out->Older, fields[1].c_str());
  StrCopy(out->First, fields[fields.size() - 2].c_str());
  StrCopy(out->Second, fields.back().c_str());
  TrimEnd(out->First);
  return out->First[0] != '\0';
}

bool AtIndexLineMatches(const char *line, const char *newAbbrev,
                        const char *oldAbbrev) {
  char upper[kAtIndexLineSize];
  StrCopy(upper, line);
  DbToUpper(upper);
  if (newAbbrev[0] == '\0' || strncmp(upper, newAbbrev, strlen(newAbbrev)) != 0)
    return false;
  return strstr(upper, oldAbbrev) != nullptr;
}

namespace {

// Reads the index until `match` takes a line; answers true with the line.
template <typename Match>
bool FindIndexLine(FILE *f, Match match, AtIndexLine *out) {
  rewind(f);
  char line[kAtIndexLineSize + 2];
  while (PlatReadLine(f, line, sizeof line)) {
    if (match(line) && AtParseIndexLine(line, out))
      return true;
  }
  return false;
}

TblHandle OpenAt(const char *folder, const char *name, char *path, size_t cap) {
  StrFormat(path, cap, "%s%s", folder, name);
  TblHandle h = TblOpenAt(path, 0, 1);
  if (OrvixError != 0 || h == 0) {
    if (OrvixError == 0)
      OrvixError = kErrNoFile;
    return 0;
  }
  return h;
}

} // namespace

int AtOpenTables(const char *folder, const char *newAbbrev,
                 const char *oldAbbrev, AtTables *tables, char *failedPath,
                 size_t failedCap) {
  *tables = AtTables{};
  char newUpper[kAtIndexLineSize], oldUpper[kAtIndexLineSize];
  StrCopy(newUpper, newAbbrev);
  StrCopy(oldUpper, oldAbbrev);
  DbToUpper(newUpper);
  DbToUpper(oldUpper);
  char indexPath[300];
  StrFormat(indexPath, "%sindex.txt", folder);
  FILE *f = PlatOpenFile(indexPath, "rb");
  if (f == nullptr)
    return kMsgNoAssociationIndex;
  AtIndexLine line;
  if (!FindIndexLine(
          f,
          [&](const char *l) {
            return AtIndexLineMatches(l, newUpper, oldUpper);
          },
          &line)) {
    fclose(f);
    return kMsgNoAssociationLine;
  }
  tables->First = OpenAt(folder, line.First, failedPath, failedCap);
  if (tables->First == 0) {
    fclose(f);
    return kMsgAssociationTable;
  }
  if (line.Second[0] != '\0') {
    tables->Second = OpenAt(folder, line.Second, failedPath, failedCap);
    if (tables->Second == 0) {
      fclose(f);
      int err = OrvixError;
      AtCloseTables(tables);
      OrvixError = err;
      return kMsgAssociationTable;
    }
  }
  // An older step: the line whose key is this line's second field. Its
  // tables open quietly; without them there is no older step.
  AtIndexLine older;
  char key[kAtIndexLineSize];
  StrCopy(key, line.Older);
  DbToUpper(key);
  if (key[0] != '\0' && strcmp(key, newUpper) != 0 &&
      FindIndexLine(
          f,
          [&](const char *l) {
            char u[kAtIndexLineSize];
            StrCopy(u, l);
            DbToUpper(u);
            return strncmp(u, key, strlen(key)) == 0;
          },
          &older)) {
    char ignored[300];
    tables->OlderFirst = OpenAt(folder, older.First, ignored, sizeof ignored);
    if (tables->OlderFirst != 0 && older.Second[0] != '\0')
      tables->OlderSecond =
          OpenAt(folder, older.Second, ignored, sizeof ignored);
  }
  fclose(f);
  OrvixError = 0;
  return 0;
}

void AtCloseTables(AtTables *tables) {
  for (TblHandle *h : {&tables->First, &tables->Second, &tables->OlderFirst,
                       &tables->OlderSecond}) {
    if (*h != 0)
      DbCloseFile(*h);
    *h = 0;
  }
}

// ---------------------------------------------------------------- paths

int AtCountLevels(const char *path) {
  if (path == nullptr || path[0] == '\0')
    return 0;
  return static_cast<int>(Separators(path).size()) + 1;
}

int AtTranslatePath(TblHandle table, int, const char *path, char *result,
                    size_t cap, int) {
  if (cap > 0)
    result[0] = '\0';
  static At rec;
  int r = Walk(table, path, false, &rec);
  if (r == 0)
    StrCopy(result, cap, rec.NewPath);
  return r;
}

int AtFindPath(TblHandle table, const char *path, uint32_t *parentNum,
               uint16_t *parentSub, char *text, size_t textCap, uint32_t *num,
               uint16_t *sub) {
  static At rec;
  int r = Walk(table, path, true, &rec);
  if (r != 0)
    return r;
  *parentNum = rec.ParentNum;
  *parentSub = rec.ParentSub;
  StrCopy(text, textCap, rec.Text);
  *num = rec.Num;
  *sub = rec.Sub;
  return 0;
}

int AtLevelCut(const char *path, int levels) {
  std::vector<size_t> seps = Separators(path);
  if (levels < 1 || static_cast<size_t>(levels) > seps.size())
    return -1;
  size_t at = seps[static_cast<size_t>(levels) - 1];
  if (at > 0 && path[at - 1] == ' ')
    --at;
  return static_cast<int>(at);
}

void AtStorePath(char *path) {
  size_t n = strlen(path);
  if (n == 0)
    return;
  const char *last = path + n - 1;
  for (size_t i = 1; i + 1 < n; ++i)
    if (path[i] == '-' && LogIsLevelSeparator(path + i, path, last))
      path[i] = kSptSeparator;
}

// ---------------------------------------------------------------- entries

namespace {

// The values that take the place of fields in the new text.
struct Rewrite {
  bool has[kLogFields] = {};
  std::string value[kLogFields];
  void Set(int field, std::string v) {
    has[field] = true;
    value[field] = std::move(v);
  }
};

// A remedy or author abbreviation for the new edition: the abbreviation
// when the table knows it; else, for "rmdN" ("autN"), the reserved record
// N; else the rename list's new name when the table knows that. Answers
// false when nothing was found (the field stays).
template <typename Rec, typename Find, typename FindById>
bool RenameAbbrev(const char *abbrev, const char *prefix, int offset,
                  const RenamePair *list, bool stopAtEmptyNew, Find find,
                  FindById findById, std::string *out) {
  Rec rec;
  if (abbrev[0] == '\0' || find(abbrev, &rec) == 0)
    return false;
  if (StartsWithNoCase(abbrev, prefix) &&
      isdigit(static_cast<unsigned char>(abbrev[strlen(prefix)]))) {
    int id = atoi(abbrev + strlen(prefix)) + offset;
    if (id > 0 && id <= 0xFFFF && findById(static_cast<uint16_t>(id), &rec)) {
      *out = rec.Abbrev;
      return true;
    }
  }
  if (list == nullptr)
    return false;
  for (const RenamePair *p = list;
       stopAtEmptyNew ? p->New[0] != '\0' : p->Old[0] != '\0'; ++p) {
    if (strcmp(p->Old, abbrev) == 0 && find(p->New, &rec) == 0) {
      *out = rec.Abbrev;
      return true;
    }
  }
  return false;
}

bool RemedyById(uint16_t id, Remed *rec) {
  memset(rec, 0, sizeof *rec);
  rec->CursorState = 0xff;
  rec->Id = id;
  return OpRemedTable != 0 &&
         TblFindFullRemed(OpRemedTable, rec, 0, kFindEqual) == 0;
}

bool AuthorById(uint16_t id, Author *rec) {
  memset(rec, 0, sizeof *rec);
  rec->CursorState = 0xff;
  rec->Id = id;
  return OpAuthorTable != 0 &&
         TblFindFullAuthor(OpAuthorTable, rec, 0, kFindEqual) == 0;
}

// The path that a pointer symptom's synonym names: the texts of its
// ancestors of levels 1 to l - 1 and the synonym's text behind the digit.
bool PointerTarget(TblHandle symptoms, const Symptom &pointer, std::string *out,
                   int *answer) {
  const char *syn = pointer.Synonym1;
  int l = syn[0] - '0';
  // Ancestors from the chapter down.
  std::vector<std::string> texts;
  static Symptom up;
  up.CursorState = 0xff;
  TblClearSymptom(&up);
  up.Num = pointer.ParentNum;
  up.Sub = pointer.ParentSub;
  std::vector<std::string> reversed;
  for (int guard = 0; guard < kSptMaxLevels && (up.Num != 0 || up.Sub != 0);
       ++guard) {
    if (TblFindFullSymptom(symptoms, &up, 0, kFindEqual) != 0)
      break;
    reversed.push_back(up.Text1);
    uint32_t n = up.ParentNum;
    uint16_t s = up.ParentSub;
    up.Num = n;
    up.Sub = s;
  }
  TblFreeSymptomRemed(&up);
  for (auto it = reversed.rbegin(); it != reversed.rend(); ++it)
    texts.push_back(*it);
  std::string path;
  for (int i = 0; i + 1 < l && static_cast<size_t>(i) < texts.size(); ++i) {
    if (i > 0)
      path += " - ";
    path += texts[static_cast<size_t>(i)];
  }
  if (l > 1)
    path += " - ";
  path += syn + 1;
  uint32_t num;
  uint16_t sub;
  if (GetSptNumFromText(symptoms, 1, path.c_str(), &num, &sub) != 0) {
    *answer = kMsgTargetNotFound;
    return false;
  }
  char found[kSptPathSize];
  if (GetLevelsFromSptNum(symptoms, 1, found, num, sub) != 0) {
    *answer = kMsgTargetNotFound;
    return false;
  }
  *out = found;
  return true;
}

// The references of a cross-reference or synonym entry, line by line: a
// line that the new edition knows stays as it is; one that the old edition
// knew becomes a level-1 reference to its new path; any other stays as the
// user wrote it (it is never dropped).
std::string TranslateReferences(TblHandle symptoms, TblHandle assoc,
                                int language, const char *oldPath,
                                const char *refs) {
  std::string out;
  std::vector<size_t> seps = Separators(oldPath);
  for (const char *p = refs; *p != '\0';) {
    const char *end = strchr(p, '\n');
    std::string line = end != nullptr ? std::string(p, end) : std::string(p);
    p = end != nullptr ? end + 1 : p + line.size();
    if (line.empty())
      continue;
    int l = isdigit(static_cast<unsigned char>(line[0])) ? line[0] - '0' : 0;
    // The old path down to the level above the reference, its separators
    // written "-".
    std::string wanted;
    if (l > 1 && static_cast<size_t>(l - 1) <= seps.size()) {
      wanted.assign(oldPath, seps[static_cast<size_t>(l) - 2] + 1);
      for (char &c : wanted)
        if (c == kSptSeparator)
          c = '-';
    }
    if (l != 0)
      wanted += ' ';
    wanted += line.substr(1);
    uint32_t num, pnum;
    uint16_t sub, psub;
    if (symptoms != 0 && GetSptNumFromText(symptoms, language, wanted.c_str(),
                                           &num, &sub) == 0) {
      out += line + "\n";
      continue;
    }
    size_t skip = wanted.find_first_not_of(' ');
    std::string trimmed = skip == std::string::npos ? "" : wanted.substr(skip);
    char text[sizeof(At::Text)];
    static At rec;
    if (AtFindPath(assoc, trimmed.c_str(), &pnum, &psub, text, sizeof text,
                   &num, &sub) == 0) {
      rec.CursorState = 0xff;
      TblClearAt(&rec);
      rec.Num = num;
      rec.Sub = sub;
      if (TblFindFullAt(assoc, &rec, 0, kFindEqual) == 0 &&
          rec.NewPath[0] != '\0' && strcmp(rec.NewPath, kDeleted) != 0) {
        out += "1";
        out += rec.NewPath;
        out += "\n";
        continue;
      }
    }
    out += line + "\n";
  }
  while (!out.empty() && out.back() == '\n')
    out.pop_back();
  return out;
}

// Refuses the entry: the report (when asked for), the text one string.
int Refuse(LogEntry *entry, FILE *errors, int reportOn, int message,
           size_t length) {
  LogJoinFields(entry->text, length);
  if (reportOn != 0 && errors != nullptr)
    LogReportEntry(errors, message, entry, nullptr, 1);
  LogJoinFields(entry->text, length);
  return 1;
}

} // namespace

int LogTranslateEntry(TblHandle symptoms, TblHandle assoc, LogEntry *entry,
                      FILE *errors, int reportOn,
                      const AssociationLists &lists) {
  char *text = entry->text;
  size_t length = strlen(text);
  FieldOffsets offsets;
  LogSplitFields(text, offsets);
  int language = text[0] == '1' ? 2 : 1;
  int op = entry->operation;
  bool conceptEntry = op == OpAddConcept || op == OpDeleteConcept;
  Rewrite w;
  const std::string oldPath = LogField(text, offsets, kFieldPath);

  // The symptom path.
  std::string newPath, tail;
  int r = 0;
  if (conceptEntry) {
    newPath = oldPath;
  } else {
    char result[kAtNewPathSize];
    r = AtTranslatePath(assoc, language, oldPath.c_str(), result, sizeof result,
                        0);
    if (r > 1 && reportOn != 0) {
      // The head that the table knows is translated; the levels below it,
      // added by the user after the edition, keep their words.
      int cut = AtLevelCut(oldPath.c_str(), r - 1);
      if (cut > 0) {
        std::string head = oldPath.substr(0, static_cast<size_t>(cut));
        if (AtTranslatePath(assoc, language, head.c_str(), result,
                            sizeof result, 0) == 0) {
          r = 0;
          tail = oldPath.substr(static_cast<size_t>(cut));
        }
      }
    }
    if (r == 0)
      newPath = result;
  }
  if (r != 0 || newPath.empty() || newPath == kDeleted) {
    if (conceptEntry) {
      LogJoinFields(text, length);
      return 0;
    }
    if (r != 0)
      return Refuse(entry, errors, reportOn, kMsgPathNotAssociated, length);
    // Gone from the new edition, or with no new path: the entry runs as it
    // stands and meets what it meets.
    LogJoinFields(text, length);
    return 0;
  }

  // A pointer symptom of the new edition stands for its target.
  if (!conceptEntry && op != OpAddSymptomAfter && symptoms != 0) {
    uint32_t num;
    uint16_t sub;
    if (GetSptNumFromExactText(symptoms, 1, newPath.c_str(), &num, &sub) == 0) {
      static Symptom s;
      s.CursorState = 0xff;
      TblClearSymptom(&s);
      s.Num = num;
      s.Sub = sub;
      if (TblFindFullSymptom(symptoms, &s, 0, kFindEqual) == 0 &&
          s.Synonym1[0] != '\0' && s.Synonym1[1] != '=' &&
          isdigit(static_cast<unsigned char>(s.Synonym1[0]))) {
        if (strstr(s.Synonym1, " / ") != nullptr) {
          TblFreeSymptomRemed(&s);
          return Refuse(entry, errors, reportOn, kMsgSeveralTargets, length);
        }
        int answer = 0;
        std::string target;
        bool ok = PointerTarget(symptoms, s, &target, &answer);
        TblFreeSymptomRemed(&s);
        if (!ok)
          return Refuse(entry, errors, reportOn, answer, length);
        newPath = target;
      } else {
        TblFreeSymptomRemed(&s);
      }
    }
  }

  if (!conceptEntry) {
    newPath += tail;
    std::vector<char> stored(newPath.begin(), newPath.end());
    stored.push_back('\0');
    AtStorePath(stored.data());
    newPath = stored.data();
    w.Set(kFieldPath, newPath);
  }

  // Remedy and author abbreviations.
  if (op == OpChangeDegree || op == OpDeleteRemedy || op == OpAddRemedy ||
      op == OpChangeNote || op == OpAddLink || op == OpDeleteLink) {
    int rf = op == OpChangeNote ? static_cast<int>(NoteFields::kRemedy)
                                : static_cast<int>(RemedyFields::kRemedy);
    int af = op == OpChangeNote ? static_cast<int>(NoteFields::kAuthor)
                                : static_cast<int>(RemedyFields::kAuthor);
    std::string v;
    if (LogHasField(offsets, rf) &&
        RenameAbbrev<Remed>(LogField(text, offsets, rf), "rmd", 3160,
                            lists.Remedies, false, OpFindRemedy, RemedyById,
                            &v))
      w.Set(rf, v);
    if (LogHasField(offsets, af) &&
        RenameAbbrev<Author>(LogField(text, offsets, af), "aut", 885,
                             lists.Authors, true, OpFindAuthor, AuthorById, &v))
      w.Set(af, v);
  }

  // References of a cross-reference or a synonym list.
  if ((op == OpChangeCrossReference || op == OpChangeSynonym) &&
      LogHasField(offsets, TextFields::kNewText) &&
      isdigit(static_cast<unsigned char>(
          LogField(text, offsets, TextFields::kNewText)[0]))) {
    // Kept as it always was: the translated list takes the place of the new
    // text only when the entry has no old text.
    if (LogField(text, offsets, TextFields::kOldText)[0] == '\0')
      w.Set(TextFields::kNewText,
            TranslateReferences(symptoms, assoc, language, oldPath.c_str(),
                                LogField(text, offsets, TextFields::kNewText)));
  }

  // The second path of a concept entry.
  if (conceptEntry && LogHasField(offsets, ConceptFields::kSymptomPath)) {
    std::string second = LogField(text, offsets, ConceptFields::kSymptomPath);
    std::vector<char> buf(second.begin(), second.end());
    buf.push_back('\0');
    AtStorePath(buf.data());
    char result[kAtNewPathSize];
    if (AtTranslatePath(assoc, language, buf.data(), result, sizeof result,
                        0) == 0 &&
        result[0] != '\0' && strcmp(result, kDeleted) != 0) {
      AtStorePath(result);
      w.Set(ConceptFields::kSymptomPath, result);
    }
  }

  // An addition beside a symptom that changed its level goes below that
  // symptom's new parent, where the symptom now stands.
  if (op == OpAddSymptomAfter) {
    int oldCount = AtCountLevels(oldPath.c_str());
    int newCount = AtCountLevels(newPath.c_str());
    if (oldCount != newCount && newCount > 1) {
      int cut = AtLevelCut(newPath.c_str(), newCount - 1);
      if (cut > 0) {
        entry->operation = OpAddSymptomBelow;
        w.Set(kFieldPath, newPath.substr(0, static_cast<size_t>(cut)));
      }
    }
  }

  // The new text, field by field.
  std::string out;
  for (int n = 0; n < kLogFields; ++n) {
    if (n > 0 && !LogHasField(offsets, n))
      break;
    if (n > 0)
      out += kLogFieldSep;
    out += w.has[n] ? w.value[n] : std::string(LogField(text, offsets, n));
  }
  if (out.size() >= kLogTextSize) {
    entry->operation = static_cast<uint16_t>(op);
    return Refuse(entry, errors, reportOn, kMsgTextTooLong, length);
  }
  memcpy(text, out.c_str(), out.size() + 1);
  return 0;
}
