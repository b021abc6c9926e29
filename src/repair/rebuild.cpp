// Rebuilding tables from the menu, the dialog and the list of /BUILD.
#include "repair/rebuild.h"

#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "repair/cases.h"
#include "services/config.h"
#include "services/dialog.h"
#include "services/messages.h"
#include "services/work.h"
#include "session/session.h"
#include "store/store.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

int RepairFailureCount = 0;

namespace {

using RebuildCall = int (*)(const char *, int, int);

constexpr const char *kKeynotePath = "..\\data\\keynotes\\personal";

// ---------------------------------------------------------------- one step

// One table's rebuild: its call, its base path, the text that names it in
// the titles and notes, the index files deleted first, the data file's
// extension, and whether a missing table (error 12) is passed over quietly.
struct RebuildStep {
  RebuildCall Call;
  const char *Table;
  const char *Title;
  const char *Index1; // null: nothing deleted first
  const char *Index2;
  const char *DataExt;
  bool Silent12;
};

void Arrow() {
  xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
}

// Message 3003 with the text, and a suffix such as " 1" behind it.
void TitleOf(const char *name, const char *suffix, char *out, size_t cap) {
  StrFormat(out, cap, MsgText(3003), name);
  if (suffix != nullptr)
    StrAppend(out, cap, suffix);
}

void NoteFailed(const char *name, int error) {
  Arrow();
  char text[512];
  StrFormat(text, MsgText(3001), name, error);
  xvt_dm_post_note("%s", text);
}

void NoteDone(const char *name) {
  Arrow();
  char text[512];
  StrFormat(text, MsgText(3002), name);
  xvt_dm_post_note("%s", text);
}

// Retitles the second line of the Working dialog.
void Retitle(const char *text) {
  if (WorkingDialog != NULL_WIN)
    xvt_vobj_set_title(xvt_win_get_ctl(WorkingDialog, 2), text);
}

void DeleteIndex(const char *table, const char *ext) {
  if (ext == nullptr)
    return;
  char path[kPathMax + 16];
  StrFormat(path, "%s%s", table, ext);
  PlatDeleteFile(path); // a file that isn't there is no failure
}

// Deletes the index files of the step and runs its rebuild. Answers 0, or
// the store's error; *told says whether the failure was told.
int RunStep(const RebuildStep &s, bool *told) {
  char table[kPathMax + 1];
  RepairMatchCase(s.Table, s.DataExt, table, sizeof table);
  DeleteIndex(table, s.Index1);
  DeleteIndex(table, s.Index2);
  int rc = s.Call(table, 0, 1);
  int error = OrvixError;
  *told = false;
  if (rc == 0 && error == 0)
    return 0;
  if (error == 0)
    error = rc;
  if (!(s.Silent12 && error == kErrNoFile)) {
    NoteFailed(s.Title, error);
    *told = true;
  }
  return error;
}

// ---------------------------------------------------------------- names

// The paths of the current repertory and of the shared tables, as the
// selector table names them.
struct RepairNames {
  char Folder[kPathMax + 1];
  char Note[kPathMax + 1], NoteTitle[kPathMax + 1];
  char Link[kPathMax + 1], LinkTitle[kPathMax + 1];
  char ExSp[kPathMax + 1], ExSpTitle[kPathMax + 1];
  char Log[kPathMax + 1], LogTitle[kPathMax + 1];
  char Symptom[kPathMax + 1], Word1[kPathMax + 1], Word2[kPathMax + 1];
  char Extract[kPathMax + 1], View[kPathMax + 1];
};

void FieldCopy(char *out, size_t cap, const char *field, size_t width) {
  std::string s(field, strnlen(field, width));
  StrCopy(out, cap, s.c_str());
}

void MakeNames(RepairNames &n, const char *logFolder) {
  const CatalogRepertoryBlock &b = CurrentCatalog.RepertoryBlock;
  FieldCopy(n.Folder, sizeof n.Folder, b.Paths[kCatFolder], sizeof b.Paths[0]);
  FieldCopy(n.Symptom, sizeof n.Symptom, b.Paths[kCatSymptom],
            sizeof b.Paths[0]);
  FieldCopy(n.Word1, sizeof n.Word1, b.Paths[kCatWord1], sizeof b.Paths[0]);
  FieldCopy(n.Word2, sizeof n.Word2, b.Paths[kCatWord2], sizeof b.Paths[0]);
  FieldCopy(n.Extract, sizeof n.Extract, b.Paths[kCatExtract],
            sizeof b.Paths[0]);
  FieldCopy(n.View, sizeof n.View, b.Paths[kCatView], sizeof b.Paths[0]);
  StrFormat(n.Note, "%s%s", n.Folder, "Note");
  StrFormat(n.NoteTitle, "%s%s", n.Folder, "note");
  StrFormat(n.Link, "%s%s", n.Folder, "Link");
  StrFormat(n.LinkTitle, "%s%s", n.Folder, "link");
  StrFormat(n.ExSp, "%s%s", n.Folder, "ExtrSpt");
  StrFormat(n.ExSpTitle, "%s%s", n.Folder, "extrspt");
  char abbrev[sizeof CurrentCatalog.Abbrev + 1];
  FieldCopy(abbrev, sizeof abbrev, CurrentCatalog.Abbrev,
            sizeof CurrentCatalog.Abbrev);
  StrFormat(n.Log, "%s\\%s", logFolder, abbrev);
  StrFormat(n.LogTitle, "%s\\%s", LogFileDir, abbrev);
}

// One table of the menu road: the Working dialog, the step, the notes.
void MenuStep(const RebuildStep &s, int selector) {
  char title[512];
  TitleOf(s.Title, nullptr, title, sizeof title);
  ShowRepairProgress(title);
  bool told;
  if (RunStep(s, &told) == 0 && selector != kRepairAll)
    NoteDone(s.Title);
  HideRepairProgress();
}

// The two tables of a cases file. Answers the result of Cas2.
int CasesSteps(const char *cases, bool indexes, int *failures) {
  CasesFinishSwap(cases);
  char title[512];
  TitleOf(cases, " 1", title, sizeof title);
  ShowRepairProgress(title);
  RebuildStep one{TblRebuildCas1,
                  cases,
                  cases,
                  indexes ? ".id1" : nullptr,
                  indexes ? ".id2" : nullptr,
                  ".da1",
                  false};
  bool told;
  RunStep(one, &told);
  if (told && failures != nullptr)
    ++*failures;
  TitleOf(cases, " 2", title, sizeof title);
  Retitle(title);
  RebuildStep two{TblRebuildCas2, cases,  cases, nullptr,
                  nullptr,        ".da2", false};
  int rc = RunStep(two, &told);
  if (told && failures != nullptr)
    ++*failures;
  return rc;
}

void MenuCases(int selector) {
  int rc = CasesSteps(CasesCatalogName, true, nullptr);
  if (rc == 0 && selector == kRepairCases)
    NoteDone(CasesCatalogName);
  HideRepairProgress();
}

// The patient file: four tables on one base path, then the seven diagnosis
// tables. The menu road stops the four at the first failure; the dialog
// road deletes each index just before its table and runs them all.
void PatientSteps(bool dialogRoad, int *failures) {
  static const RebuildCall kCalls[] = {TblRebuildPatient,
                                       TblRebuildConsultation, TblRebuildDiag,
                                       TblRebuildPrem};
  static const char *kIndexes[] = {".id3", ".id4", ".id5", ".id6"};
  static const char *kData[] = {".da3", ".da4", ".da5", ".da6"};
  char title[512];
  TitleOf(PatientCatalogName, " 1", title, sizeof title);
  ShowRepairProgress(title);
  for (int i = 0; i < 4; ++i) {
    char suffix[8];
    StrFormat(suffix, " %d", i + 1);
    TitleOf(PatientCatalogName, suffix, title, sizeof title);
    Retitle(title);
    RebuildStep s{kCalls[i],
                  PatientCatalogName,
                  PatientCatalogName,
                  dialogRoad ? kIndexes[i] : nullptr,
                  nullptr,
                  kData[i],
                  false};
    bool told;
    if (RunStep(s, &told) != 0) {
      if (told && failures != nullptr)
        ++*failures;
      if (!dialogRoad) {
        HideRepairProgress();
        Arrow();
        return;
      }
    }
  }
  TitleOf(PatientCatalogName, " 5", title, sizeof title);
  Retitle(title);
  for (int i = 1; i <= 7; ++i) {
    char table[kPathMax + 1];
    StrFormat(table, "%s%d", DiagnoseCatalogName, i);
    RebuildStep s{TblRebuildDefDiag,
                  table,
                  DiagnoseCatalogName,
                  dialogRoad ? ".idx" : nullptr,
                  nullptr,
                  ".dat",
                  false};
    bool told;
    if (RunStep(s, &told) != 0 && told && failures != nullptr)
      ++*failures;
  }
  if (!dialogRoad)
    NoteDone(PatientCatalogName);
  HideRepairProgress();
}

// ---------------------------------------------------------------- list file

struct ListKeyword {
  const char *Word;
  size_t Length;
  RebuildCall Call;
};
const ListKeyword kKeywords[kListKeywordCount] = {
    {"SYMPTOM", 7, TblRebuildSymptom}, {"WORD", 4, TblRebuildWord},
    {"EXTRACT", 7, TblRebuildExtract}, {"EXTRSPT", 7, TblRebuildExSp},
    {"NOTE", 4, TblRebuildNote},       {"AT", 2, TblRebuildAt},
    {"VIEW", 4, TblRebuildView},       {"LOGFILE", 7, TblRebuildRlog},
    {"LINK", 4, TblRebuildLink},       {"AUTHOR", 6, TblRebuildAuthor},
    {"REMED", 5, TblRebuildRemed},
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

} // namespace

// ---------------------------------------------------------------- names

void RepairMatchCase(const char *stored, const char *dataExt, char *out,
                     size_t cap) {
  char given[kPathMax + 1];
  StrCopy(given, stored != nullptr ? stored : "");
  size_t n = strlen(given);
  while (n > 0 && IsBlank(given[n - 1]))
    given[--n] = '\0';
  StrCopy(out, cap, given);

  // The components of the given path and where each begins.
  std::vector<std::pair<size_t, size_t>> parts; // offset, length
  for (size_t i = 0; i < n;) {
    size_t j = i;
    while (j < n && given[j] != '\\' && given[j] != '/')
      ++j;
    if (j > i && !(j - i == 1 && given[i] == '.'))
      parts.push_back({i, j - i});
    i = j + 1;
  }
  if (parts.empty())
    return;
  // A drive prefix stays as it is.
  if (parts[0].second == 2 && given[1] == ':' && parts[0].first == 0)
    parts.erase(parts.begin());
  if (parts.empty())
    return;

  char probe[kPathMax + 16];
  StrFormat(probe, "%s%s", given, dataExt != nullptr ? dataExt : "");
  std::string real;
  if (!PlatRealPath(probe, real))
    return;
  // The real path has one component for each given one, at its end.
  std::vector<std::string> realParts;
  for (size_t i = 0; i <= real.size();) {
    size_t j = real.find('/', i);
    if (j == std::string::npos)
      j = real.size();
    if (j > i && real.compare(i, j - i, ".") != 0)
      realParts.push_back(real.substr(i, j - i));
    i = j + 1;
  }
  if (realParts.size() < parts.size())
    return;
  std::string result(given);
  size_t ext = dataExt != nullptr ? strlen(dataExt) : 0;
  size_t first = realParts.size() - parts.size();
  // From the end, so that earlier offsets stay good.
  for (size_t k = parts.size(); k-- > 0;) {
    std::string spelt = realParts[first + k];
    if (k + 1 == parts.size()) {
      if (spelt.size() < ext)
        return;
      spelt.resize(spelt.size() - ext);
    }
    if (spelt.size() != parts[k].second ||
        strncasecmp(spelt.c_str(), given + parts[k].first, spelt.size()) != 0)
      continue; // not a spelling of the same name: keep what was given
    result.replace(parts[k].first, parts[k].second, spelt);
  }
  StrCopy(out, cap, result.c_str());
}

// ---------------------------------------------------------------- list file

bool ReadListLine(FILE *stream, char *buffer, int size) {
  if (stream == nullptr || buffer == nullptr || size < 2)
    return false;
  if (fgets(buffer, size, stream) == nullptr)
    return false;
  size_t n = strlen(buffer);
  if (n > 0 && buffer[n - 1] == '\n') {
    buffer[--n] = '\0';
    if (n > 0 && buffer[n - 1] == '\r')
      buffer[--n] = '\0';
  }
  return true;
}

const char *RebuildKeyword(int index) {
  return index >= 0 && index < kListKeywordCount ? kKeywords[index].Word : "";
}

int RebuildParseLine(const char *line, RebuildListLine *out) {
  if (line == nullptr || out == nullptr)
    return kListLineEmpty;
  char upper[kListLineSize];
  StrCopy(upper, line);
  DbToUpper(upper);
  const char *p = upper;
  while (IsBlank(*p))
    ++p;
  if (*p == '\0')
    return kListLineEmpty;
  const char *bar = strchr(upper, '|');
  if (bar == nullptr)
    return kListLineNoBar;
  out->Count = 0;
  for (int i = 0; i < kListKeywordCount; ++i)
    if (strncmp(upper, kKeywords[i].Word, kKeywords[i].Length) == 0)
      out->Keywords[out->Count++] = i;
  if (out->Count == 0)
    return kListLineUnknown;
  StrCopy(out->Table, bar + 1);
  size_t n = strlen(out->Table);
  while (n > 0 && IsBlank(out->Table[n - 1]))
    out->Table[--n] = '\0';
  if (n == 0)
    return kListLineNoTable;
  return kListLineOk;
}

int RebuildFromList(const char *listFile) {
  DbVirtualClose(2);
  FILE *f = PlatOpenFile(listFile, "rb");
  if (f == nullptr) {
    int err = errno;
    char text[512];
    StrFormat(text, MsgText(7200), listFile, strerror(err));
    xvt_dm_post_note("%s", text);
    Arrow();
    return 1;
  }
  char line[kListLineSize];
  int number = 0, failures = 0;
  while (ReadListLine(f, line, sizeof line)) {
    ++number;
    RebuildListLine asked;
    int why = RebuildParseLine(line, &asked);
    if (why == kListLineEmpty)
      continue;
    if (why != kListLineOk) {
      // A line that asks for nothing that can be done is told, so that a
      // list with a typing error doesn't pass for a list that was done.
      int message = why == kListLineNoBar     ? 7201
                    : why == kListLineUnknown ? 7202
                                              : 7203;
      char text[1024];
      StrFormat(text, MsgText(message), number, line);
      Arrow();
      xvt_dm_post_note("%s", text);
      ++failures;
      continue;
    }
    for (int k = 0; k < asked.Count; ++k) {
      const ListKeyword &kw = kKeywords[asked.Keywords[k]];
      char title[1024];
      TitleOf(asked.Table, nullptr, title, sizeof title);
      ShowRepairProgress(title);
      RebuildStep s{kw.Call, asked.Table, asked.Table, ".idx",
                    nullptr, ".dat",      false};
      bool told;
      if (RunStep(s, &told) != 0)
        ++failures;
      HideRepairProgress();
    }
  }
  fclose(f);
  Arrow();
  return failures;
}

// ---------------------------------------------------------------- menu road

void RepairTables(int selector) {
  if (selector < kRepairAll || selector > kRepairRemed)
    return;
  RepairNames n;
  MakeNames(n, NetLogFileDir);
  auto one = [&](int sel) {
    switch (sel) {
    case kRepairSymptom:
      MenuStep({TblRebuildSymptom, n.Symptom, n.Symptom, ".idx", nullptr,
                ".dat", false},
               selector);
      break;
    case kRepairWord1:
      MenuStep(
          {TblRebuildWord, n.Word1, n.Word1, ".idx", nullptr, ".dat", false},
          selector);
      break;
    case kRepairWord2:
      MenuStep(
          {TblRebuildWord, n.Word2, n.Word2, ".idx", nullptr, ".dat", false},
          selector);
      break;
    case kRepairExtract:
      MenuStep({TblRebuildExtract, n.Extract, n.Extract, ".idx", nullptr,
                ".dat", false},
               selector);
      break;
    case kRepairView:
      MenuStep({TblRebuildView, n.View, n.View, ".idx", nullptr, ".dat", false},
               selector);
      break;
    case kRepairLog:
      MenuStep(
          {TblRebuildRlog, n.Log, n.LogTitle, nullptr, nullptr, ".dat", true},
          selector);
      break;
    case kRepairNote:
      MenuStep(
          {TblRebuildNote, n.Note, n.NoteTitle, nullptr, nullptr, ".dat", true},
          selector);
      break;
    case kRepairCases:
      MenuCases(selector);
      break;
    case kRepairPatient:
      PatientSteps(false, nullptr);
      break;
    case kRepairLink:
      MenuStep(
          {TblRebuildLink, n.Link, n.LinkTitle, nullptr, nullptr, ".dat", true},
          selector);
      break;
    case kRepairExSp:
      MenuStep(
          {TblRebuildExSp, n.ExSp, n.ExSpTitle, nullptr, nullptr, ".dat", true},
          selector);
      break;
    case kRepairAuthor:
      MenuStep({TblRebuildAuthor, AuthorCatalogName, AuthorCatalogName, nullptr,
                nullptr, ".dat", true},
               selector);
      break;
    case kRepairRemed:
      MenuStep({TblRebuildRemed, RemedyCatalogName, RemedyCatalogName, nullptr,
                nullptr, ".dat", true},
               selector);
      break;
    default:
      break;
    }
  };
  if (selector == kRepairAll) {
    static const int kOrder[] = {8, 1, 2, 3, 4, 5, 6, 7, 10, 11, 12, 13};
    for (int sel : kOrder)
      one(sel);
  } else {
    one(selector);
  }
  Arrow();
}

// ---------------------------------------------------------------- dialog

namespace {

// One table of the dialog road: its index always goes first, no success
// note, a told failure counts.
void DialogStep(const RebuildStep &s) {
  char title[512];
  TitleOf(s.Title, nullptr, title, sizeof title);
  ShowRepairProgress(title);
  bool told;
  RunStep(s, &told);
  if (told)
    ++RepairFailureCount;
  HideRepairProgress();
}

// The folder of a path: what stands up to and with its last backslash.
void FolderOf(const char *path, char *out, size_t cap) {
  StrCopy(out, cap, path);
  char *last = strrchr(out, '\\');
  if (last != nullptr)
    last[1] = '\0';
  else
    out[0] = '\0';
}

void AllCasesFiles() {
  char folder[kPathMax + 1];
  FolderOf(CasesCatalogName, folder, sizeof folder);
  char spec[kPathMax + 16];
  StrFormat(spec, "%s*.da1", folder);
  std::vector<PlatDirEntry> found;
  PlatFindFiles(spec, true, found);
  DIRECTORY start{};
  bool haveStart = xvt_fsys_get_dir(&start);
  for (const PlatDirEntry &e : found) {
    std::string stem = e.Name.substr(0, e.Name.size() - 4);
    std::string lower = stem;
    for (char &c : lower)
      c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    if (stem.empty() || stem.back() == '_' ||
        lower.find("casetmp") != std::string::npos)
      continue;
    if (haveStart)
      xvt_fsys_set_dir(&start);
    char base[kPathMax + 1];
    StrFormat(base, "%s%s", folder, stem.c_str());
    DownloadCases(base, "casetmp");
    UploadCases(base, "casetmp", 0);
  }
  if (haveStart)
    xvt_fsys_set_dir(&start);
  for (const char *ext :
       {"casetmp.da1", "casetmp.da2", "casetmp.id1", "casetmp.id2"}) {
    char path[kPathMax + 16];
    StrFormat(path, "%s%s", folder, ext);
    PlatDeleteFile(path);
  }
}

} // namespace

void RepairSelected(WINDOW dlg) {
  RepairFailureCount = 0;
  RepairNames n;
  MakeNames(n, LogFileDir);
  static const int kOrder[] = {
      kRepairDlgSymptoms, kRepairDlgWord1,    kRepairDlgWord2,
      kRepairDlgExtract,  kRepairDlgView,     kRepairDlgLog,
      kRepairDlgNote,     kRepairDlgLink,     kRepairDlgExSp,
      kRepairDlgRemed,    kRepairDlgAuthor,   kRepairDlgPatient,
      kRepairDlgKeynotes, kRepairDlgOneCases, kRepairDlgAllCases};
  for (int id : kOrder) {
    if (!DlgTick(dlg, id))
      continue;
    switch (id) {
    case kRepairDlgSymptoms:
      DialogStep({TblRebuildSymptom, n.Symptom, n.Symptom, ".idx", nullptr,
                  ".dat", false});
      break;
    case kRepairDlgWord1:
      DialogStep(
          {TblRebuildWord, n.Word1, n.Word1, ".idx", nullptr, ".dat", false});
      break;
    case kRepairDlgWord2:
      DialogStep(
          {TblRebuildWord, n.Word2, n.Word2, ".idx", nullptr, ".dat", false});
      break;
    case kRepairDlgExtract:
      DialogStep({TblRebuildExtract, n.Extract, n.Extract, ".idx", nullptr,
                  ".dat", false});
      break;
    case kRepairDlgView:
      DialogStep(
          {TblRebuildView, n.View, n.View, ".idx", nullptr, ".dat", true});
      break;
    case kRepairDlgLog:
      DialogStep(
          {TblRebuildRlog, n.Log, n.LogTitle, ".idx", nullptr, ".dat", true});
      break;
    case kRepairDlgNote:
      DialogStep(
          {TblRebuildNote, n.Note, n.NoteTitle, ".idx", nullptr, ".dat", true});
      break;
    case kRepairDlgLink:
      DialogStep(
          {TblRebuildLink, n.Link, n.LinkTitle, ".idx", nullptr, ".dat", true});
      break;
    case kRepairDlgExSp:
      DialogStep(
          {TblRebuildExSp, n.ExSp, n.ExSpTitle, ".idx", nullptr, ".dat", true});
      break;
    case kRepairDlgRemed:
      DialogStep({TblRebuildRemed, RemedyCatalogName, RemedyCatalogName, ".idx",
                  nullptr, ".dat", true});
      break;
    case kRepairDlgAuthor:
      DialogStep({TblRebuildAuthor, AuthorCatalogName, AuthorCatalogName,
                  ".idx", nullptr, ".dat", true});
      break;
    case kRepairDlgPatient:
      PatientSteps(true, &RepairFailureCount);
      break;
    case kRepairDlgKeynotes:
      DialogStep({TblRebuildKeynote, kKeynotePath, kKeynotePath, ".idx",
                  nullptr, ".dat", true});
      break;
    case kRepairDlgOneCases: {
      xvt_vobj_set_visible(dlg, false);
      long total = DownloadCases(CasesCatalogName, "..\\cases\\casetmp");
      UploadCases(CasesCatalogName, "..\\cases\\casetmp", total);
      xvt_vobj_set_visible(dlg, true);
      break;
    }
    case kRepairDlgAllCases:
      AllCasesFiles();
      break;
    default:
      break;
    }
  }
  Arrow();
  xvt_dm_post_note("%s", MsgText(RepairFailureCount == 0 ? 6763 : 6764));
  xvt_vobj_destroy(dlg);
}
