#include "transfers/localise.h"

#include "platform/cp1252.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/dialog.h"
#include "services/ini.h"
#include "services/messages.h"
#include "services/paths.h"
#include "store/strdate.h"

#include <cstring>
#include <vector>

namespace {

// Dialog units: the categories on the left, the items on the right, the
// buttons under the items.
const XVT_CTL_RES kLocaliseCtls[] = {
    {kLocaliseHeading, WC_TEXT, 7, 5, 396, 10, "Files and folders", 0},
    {kLocaliseCategories, WC_LBOX, 7, 18, 100, 60, "", 0},
    {kLocaliseItems, WC_LBOX, 113, 18, 290, 150, "", 0},
    {kLocaliseChange, WC_PUSHBUTTON, 113, 174, 90, 14, "Change the place...",
     CTL_FLAG_DEFAULT},
    {kLocaliseClose, WC_PUSHBUTTON, 353, 174, 50, 14, "Close", 0},
};
const XVT_WIN_RES kLocaliseWin = {
    kLocaliseRes,
    0,
    0,
    410,
    196,
    "File localisation",
    kLocaliseCtls,
    static_cast<int>(sizeof kLocaliseCtls / sizeof kLocaliseCtls[0]),
    0};

// A row of categories 2 and 3: where its path is kept (null: nowhere in
// the configuration), its label and chooser title, and what is chosen.
enum RowKind { kTable, kFolder, kTableWithDigit };
struct ConfigRow {
  char *value;
  size_t size;
  int label;
  int title;
  const char *type;
  RowKind kind;
};

#define CFG(var) var, sizeof var
const ConfigRow kPersonalRows[] = {
    {CFG(PatientCatalogName), 3316, 3329, "da1", kTable},
    {CFG(CasesCatalogName), 3317, 3330, "da1", kTable},
};
const ConfigRow kSystemRows[] = {
    {CFG(RemedyCatalogName), 3318, 3331, "dat", kTable},
    {CFG(AuthorCatalogName), 3319, 3332, "dat", kTable},
    {CFG(MessageCatalogName), 3320, 3333, "dat", kTable},
    {CFG(CatalogCatalogName), 3321, 3334, "dat", kTable},
    {CFG(RootsCatalogName), 3322, 3335, "dat", kTableWithDigit},
    {CFG(ThesaurusCatalogName), 3323, 3336, "dat", kTableWithDigit},
    {CFG(DiagnoseCatalogName), 3324, 3337, "dat", kTableWithDigit},
    {CFG(LogFileDir), 3325, 3338, "", kFolder},
    {CFG(NetLogFileDir), 4171, 3338, "", kFolder},
    {CFG(LockingFile), 3326, 3339, "dat", kTable},
    {CFG(QueryDir), 3327, 3340, "", kFolder},
    {CFG(ImageDir), 3328, 3341, "", kFolder},
    {CFG(DefaultImage), 3441, 3445, "", kFolder},
    {CFG(DefaultVideo), 3442, 3445, "", kFolder},
    {CFG(DefaultSound), 3443, 3445, "", kFolder},
    // The multimedia player's folder has no key of its own.
    {nullptr, 0, 3444, 3445, "", kFolder},
};
#undef CFG

// The window's state while it lives.
struct LocaliseState {
  TblHandle catalog = 0;
  std::vector<uint16_t> repertories, keynotes;
};
LocaliseState State;

constexpr int kLabelWidth = 36; // half the items list, in characters

const ConfigRow *RowsOf(int category, int *count) {
  if (category == kLocalisePersonal) {
    *count = static_cast<int>(sizeof kPersonalRows / sizeof kPersonalRows[0]);
    return kPersonalRows;
  }
  *count = static_cast<int>(sizeof kSystemRows / sizeof kSystemRows[0]);
  return kSystemRows;
}

bool FindEntry(uint8_t kind, uint16_t id, Catalog *rec) {
  memset(rec, 0, sizeof *rec);
  rec->CursorState = 0xFF;
  rec->Kind = kind;
  rec->Id = id;
  return TblFindFullCatalog(State.catalog, rec, 0, kFindEqual) == 0 &&
         OrvixError == 0;
}

void AddRow(WINDOW list, int index, const char *label, const char *path) {
  char row[2 * kPathMax + 8];
  StrFormat(row, "%-*s %s", kLabelWidth, label, path);
  xvt_list_add(list, index, row);
}

int Category(WINDOW win) {
  return xvt_list_get_sel_index(xvt_win_get_ctl(win, kLocaliseCategories));
}

// The chooser's answer as a stored path: folder, backslash and name, made
// relative to the installation where it lies under it, in small letters.
void AnswerPath(const FILE_SPEC *spec, char *out, size_t cap) {
  PathOfFileSpec(spec, out, cap);
  PathRelative(out, cap);
  DbToLower(out);
}

void CutExtension(char *path) {
  size_t n = strlen(path);
  path[n >= 4 ? n - 4 : 0] = '\0';
}

void CutAfterLastBackslash(char *path) {
  if (char *last = strrchr(path, '\\'))
    last[1] = '\0';
}

bool ChooseFile(const char *title, const char *type, char *out, size_t cap) {
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  StrCopy(spec.type, type);
  FL_STATUS st = xvt_dm_post_file_open(&spec, title);
  if (st == FL_BAD) {
    xvt_dm_post_error("%s", MsgText(3344));
    return false;
  }
  if (st != FL_OK)
    return false;
  AnswerPath(&spec, out, cap);
  return true;
}

bool ChooseFolder(const char *title, char *out, size_t cap) {
  char folder[kPathMax + 1] = "";
  FL_STATUS st = xvt_dm_post_folder(title, folder, sizeof folder);
  if (st == FL_BAD) {
    xvt_dm_post_error("%s", MsgText(3344));
    return false;
  }
  if (st != FL_OK || folder[0] == '\0')
    return false;
  StrCopy(out, cap, folder);
  PathRelative(out, cap);
  DbToLower(out);
  StrRemoveTrailer(out, '\\');
  return true;
}

// Category 0: the chosen Symptom table's folder becomes the folder of all
// the repertory's tables.
bool StoreRepertory(uint16_t id, const char *title) {
  char titled[256], path[2 * kPathMax + 2];
  StrFormat(titled, "%s (%s)", MsgText(3342), title);
  if (!ChooseFile(titled, "dat", path, sizeof path))
    return false;
  CutExtension(path);
  TblHandle h = TblOpenSymptom(path, 1, 1);
  if (OrvixError != 0 || h == 0) {
    xvt_dm_post_note("%s", MsgText(3345));
    return false;
  }
  DbCloseFile(h);
  Catalog rec;
  if (!FindEntry(1, id, &rec))
    return false;
  CutAfterLastBackslash(path);
  static const char *const kTables[] = {"symptom", "chapter", "extract",
                                        "word1",   "word2",   "view"};
  for (int i = 0; i < kCatFolder; ++i)
    StrFormat(rec.RepertoryBlock.Paths[i], "%s%s", path, kTables[i]);
  StrCopy(rec.RepertoryBlock.Paths[kCatFolder], path);
  if (TblSaveCatalog(State.catalog, &rec, kSaveReplace) != 0 ||
      OrvixError != 0) {
    int error = OrvixError;
    xvt_dm_post_error(MsgText(3346), error);
    return false;
  }
  return true;
}

// Category 1: a keynotes book's table; the record keeps its folder.
bool StoreKeynotes(uint16_t id, const char *title) {
  char titled[256], path[2 * kPathMax + 2];
  StrFormat(titled, "%s (%s)", MsgText(3343), title);
  if (!ChooseFile(titled, "dat", path, sizeof path))
    return false;
  CutExtension(path);
  TblHandle h = TblOpenKeynote(path, 1, 1);
  if (OrvixError != 0 || h == 0) {
    xvt_dm_post_note("%s", MsgText(3347));
    return false;
  }
  DbCloseFile(h);
  Catalog rec;
  if (!FindEntry(2, id, &rec))
    return false;
  CutAfterLastBackslash(path);
  StrCopy(rec.KeynoteBlock.Folder, path);
  if (TblSaveCatalog(State.catalog, &rec, kSaveReplace) != 0 ||
      OrvixError != 0) {
    int error = OrvixError;
    xvt_dm_post_error(MsgText(3346), error);
    return false;
  }
  return true;
}

// Categories 2 and 3: a configuration key, written back with its section.
bool StoreConfigured(int category, const ConfigRow &row) {
  if (row.value == nullptr) {
    xvt_dm_post_note("%s", MsgText(7528));
    return false;
  }
  char path[2 * kPathMax + 2];
  char title[256];
  StrCopy(title, MsgText(row.title));
  if (row.kind == kFolder) {
    if (!ChooseFolder(title, path, sizeof path))
      return false;
  } else {
    if (!ChooseFile(title, row.type, path, sizeof path))
      return false;
    CutExtension(path);
    // The tables of a numbered family are chosen by one of their files
    // ("diag1"); the key names the family ("diag").
    if (row.kind == kTableWithDigit) {
      size_t n = strlen(path);
      if (n > 0)
        path[n - 1] = '\0';
    }
  }
  if (strlen(path) >= row.size) {
    xvt_dm_post_error("The path %s is too long for this setting (at most %d "
                      "characters); nothing has been changed.",
                      path, static_cast<int>(row.size) - 1);
    return false;
  }
  StrCopy(row.value, row.size, path);
  IniWrite(1);
  if (category == kLocaliseSystem)
    IniWrite(15);
  return true;
}

void Close(WINDOW win) {
  xvt_vobj_destroy(win);
}

} // namespace

void LocaliseRegister() {
  xvt_res_register_window(&kLocaliseWin);
}

void LocaliseFill(WINDOW win) {
  WINDOW list = xvt_win_get_ctl(win, kLocaliseItems);
  xvt_list_suspend(list);
  xvt_list_clear(list);
  int category = Category(win);
  int index = 0;
  if (category == kLocaliseRepertories || category == kLocaliseKeynotes) {
    bool reps = category == kLocaliseRepertories;
    const std::vector<uint16_t> &ids =
        reps ? State.repertories : State.keynotes;
    for (uint16_t id : ids) {
      Catalog rec;
      if (!FindEntry(reps ? 1 : 2, id, &rec))
        continue;
      if (reps)
        AddRow(list, index++, rec.RepertoryBlock.Title,
               rec.RepertoryBlock.Paths[kCatSymptom]);
      else
        AddRow(list, index++, rec.KeynoteBlock.Title, rec.KeynoteBlock.Folder);
    }
  } else if (category == kLocalisePersonal || category == kLocaliseSystem) {
    int count = 0;
    const ConfigRow *rows = RowsOf(category, &count);
    for (int i = 0; i < count; ++i) {
      char label[128];
      StrCopy(label, MsgText(rows[i].label));
      AddRow(list, index++, label,
             rows[i].value != nullptr ? rows[i].value : MsgText(7529));
    }
  }
  xvt_list_resume(list);
  if (index > 0)
    xvt_list_set_sel(list, 0, true);
}

void LocaliseChoose(WINDOW win) {
  int category = Category(win);
  WINDOW list = xvt_win_get_ctl(win, kLocaliseItems);
  int row = xvt_list_get_sel_index(list);
  if (row < 0)
    return;
  bool stored = false;
  if (category == kLocaliseRepertories || category == kLocaliseKeynotes) {
    bool reps = category == kLocaliseRepertories;
    const std::vector<uint16_t> &ids =
        reps ? State.repertories : State.keynotes;
    // The rows are the entries found, in order: find the row's entry again.
    int seen = -1;
    for (uint16_t id : ids) {
      Catalog rec;
      if (!FindEntry(reps ? 1 : 2, id, &rec) || ++seen != row)
        continue;
      char title[80];
      StrCopy(title, reps ? rec.RepertoryBlock.Title : rec.KeynoteBlock.Title);
      stored = reps ? StoreRepertory(id, title) : StoreKeynotes(id, title);
      break;
    }
  } else if (category == kLocalisePersonal || category == kLocaliseSystem) {
    int count = 0;
    const ConfigRow *rows = RowsOf(category, &count);
    if (row < count)
      stored = StoreConfigured(category, rows[row]);
  }
  if (stored) {
    LocaliseFill(win);
    xvt_list_set_sel(list, 0, false);
    xvt_list_set_sel(list, row, true);
  }
}

long LocaliseEvent(WINDOW win, EVENT *ev) {
  if (DlgCancelEvent(win, ev, Close))
    return 0;
  switch (ev->type) {
  case E_CREATE: {
    DlgLoadTexts(win, TextTableLocalise);
    WINDOW cats = xvt_win_get_ctl(win, kLocaliseCategories);
    for (int i = 0; i < 4; ++i)
      xvt_list_add(cats, i, MsgText(3305 + i));
    xvt_list_set_sel(cats, 0, true);
    LocaliseFill(win);
    break;
  }
  case E_CONTROL:
    switch (ev->v.ctl.id) {
    case kLocaliseCategories:
      LocaliseFill(win);
      break;
    case kLocaliseItems:
      if (ev->v.ctl.dbl_click)
        LocaliseChoose(win);
      break;
    case kLocaliseChange:
      LocaliseChoose(win);
      break;
    case kLocaliseClose:
      Close(win);
      break;
    default:
      break;
    }
    break;
  case E_DESTROY:
    // The catalogue goes with the window.
    if (State.catalog != 0) {
      DbCloseFile(State.catalog);
      State.catalog = 0;
    }
    break;
  default:
    break;
  }
  return 0;
}

int LocaliseOpen(TblHandle catalog, const uint16_t *repertories, int repCount,
                 const uint16_t *keynotes, int keyCount) {
  if (State.catalog != 0 && State.catalog != catalog)
    DbCloseFile(State.catalog);
  State.catalog = catalog;
  State.repertories.assign(repertories, repertories + repCount);
  // Up to 50 keynotes books.
  State.keynotes.assign(keynotes, keynotes + (keyCount < 50 ? keyCount : 50));
  LocaliseRegister();
  if (xvt_win_create_res(kLocaliseRes, TASK_WIN, -1, LocaliseEvent, 0) ==
      NULL_WIN) {
    DbCloseFile(State.catalog);
    State.catalog = 0;
    xvt_dm_post_error("%s", MsgText(23));
    return 1;
  }
  return 0;
}
