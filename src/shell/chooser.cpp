#include "shell/chooser.h"

#include "logrun/runstart.h"

#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/dialog.h"
#include "services/help.h"
#include "services/messages.h"
#include "services/paths.h"
#include "shell/app.h"
#include "shell/menu.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

TblHandle CatalogHandle = 0;
std::vector<uint16_t> RepertoryOrder;
std::vector<uint16_t> KeynotesOrder;
int ChooserBatch = 0;
int TransferSide = 0;
char RepLinkOpener[64] = "xdg-open";

namespace {

// ---------------------------------------------------------------- resources

const XVT_CTL_RES kChooserCtls[] = {
    {kChooserHeading, WC_TEXT, 7, 6, 206, 10, "Choose a repertory", 0},
    {kChooserList, WC_LBOX, 7, 18, 206, 100, "", 0},
    {kChooserOk, WC_PUSHBUTTON, 51, 126, 50, 14, "OK", CTL_FLAG_DEFAULT},
    {kChooserCancel, WC_PUSHBUTTON, 107, 126, 50, 14, "Cancel", 0},
    {kChooserHelp, WC_PUSHBUTTON, 163, 126, 50, 14, "&Help", 0},
};
const XVT_WIN_RES kChooserDlg = {kChooserRes,  0,   0,
                                 220,          148, "Select a repertory",
                                 kChooserCtls, 5,   WIN_FLAG_INVISIBLE};

const XVT_CTL_RES kNoticeCtls[] = {
    {kNoticeFirstLine, WC_TEXT, 8, 8, 224, 10, "", 0},
    {kNoticeFirstLine + 1, WC_TEXT, 8, 19, 224, 10, "", 0},
    {kNoticeFirstLine + 2, WC_TEXT, 8, 30, 224, 10, "", 0},
    {kNoticeFirstLine + 3, WC_TEXT, 8, 41, 224, 10, "", 0},
    {kNoticeFirstLine + 4, WC_TEXT, 8, 52, 224, 10, "", 0},
    {kNoticeFirstLine + 5, WC_TEXT, 8, 63, 224, 10, "", 0},
    {kNoticeOrder, WC_PUSHBUTTON, 8, 80, 108, 16, "Order the new edition", 0},
    {kNoticeSite, WC_PUSHBUTTON, 124, 80, 108, 16, "Visit our web site", 0},
    {kNoticeClose, WC_PUSHBUTTON, 182, 102, 50, 14, "Close", CTL_FLAG_DEFAULT},
};
const XVT_WIN_RES kNoticeDlg = {
    kNoticeRes, 0, 0, 240, 124, "A newer edition is needed", kNoticeCtls, 9, 0};

const XVT_CTL_RES kTransferCtls[] = {
    {kTransferNewLabel, WC_TEXT, 8, 10, 60, 10, "New repertory:", 0},
    {kTransferNew, WC_EDIT, 70, 8, 130, 12, "", 0},
    {kTransferBrowseNew, WC_PUSHBUTTON, 206, 7, 46, 14, "Browse", 0},
    {kTransferOldLabel, WC_TEXT, 8, 28, 60, 10, "Old repertory:", 0},
    {kTransferOld, WC_EDIT, 70, 26, 130, 12, "", 0},
    {kTransferBrowseOld, WC_PUSHBUTTON, 206, 25, 46, 14, "Browse", 0},
    {kTransferLogLabel, WC_TEXT, 8, 46, 60, 10, "Log file:", 0},
    {kTransferLog, WC_EDIT, 70, 44, 130, 12, "", 0},
    {kTransferBrowseLog, WC_PUSHBUTTON, 206, 43, 46, 14, "Browse", 0},
    {kTransferStart, WC_PUSHBUTTON, 150, 68, 46, 14, "Start", CTL_FLAG_DEFAULT},
    {kTransferCancel, WC_PUSHBUTTON, 206, 68, 46, 14, "Cancel", 0},
};
const XVT_WIN_RES kTransferDlg = {
    kTransferRes, 0, 0, 260, 90, "Transfert additions", kTransferCtls, 11, 0};

// Dialog 114 has no table of its own among the shared ones: its caption and
// buttons are here, its lines come by the parameter.
TextTable TextTableNotice[] = {{kNoticeRes, 7072, 0},
                               {kNoticeOrder, 7070, 0},
                               {kNoticeSite, 7071, 0},
                               {kNoticeClose, 501, 0},
                               {0, 0, 0}};
const int kNoticeLineMessages[2][kNoticeLines] = {
    {7064, 7065, 7066, 7067, 7068, 7069}, // the edition is too old
    {7073, 7074, 7075, 7076, 7077, 7078}, // no edition fits at all
};

bool Registered = false;

void EnsureRegistered() {
  if (!Registered)
    RepRegisterResources();
}

// ---------------------------------------------------------------- helpers

std::vector<uint16_t> &OrderOf(int type) {
  return type == 2 ? KeynotesOrder : RepertoryOrder;
}

void ClearCatalog(Catalog &rec) {
  memset(&rec, 0, sizeof rec);
  rec.CursorState = 0xFF;
}

// The name of an entry: the title of its block.
const char *CatalogTitle(const Catalog &rec) {
  return rec.Kind == 2 ? rec.KeynoteBlock.Title : rec.RepertoryBlock.Title;
}

void CloseCatalog() {
  if (CatalogHandle != 0) {
    DbCloseFile(CatalogHandle);
    CatalogHandle = 0;
  }
}

// The catalogue for a chooser. A handle left open by an earlier chooser or
// by the /RUN driver is closed first rather than lost.
bool OpenCatalog() {
  CloseCatalog();
  TblHandle h = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || h == 0)
    return false;
  CatalogHandle = h;
  return true;
}

// Finds an entry exactly by type and id into rec. Answers true when found.
bool FindEntry(TblHandle h, Catalog &rec, int type, uint16_t id) {
  ClearCatalog(rec);
  rec.Kind = static_cast<uint8_t>(type);
  rec.Id = id;
  return h != 0 && id != 0 && TblFindFullCatalog(h, &rec, 0, kFindEqual) == 0 &&
         OrvixError == 0;
}

void AddRow(WINDOW list, const Catalog &rec) {
  char row[200];
  StrFormat(row, "%s (%s-%d)", CatalogTitle(rec), rec.Abbrev,
            static_cast<int>(rec.Id));
  xvt_list_add(list, -1, row);
}

// The parameter's type of entry: its low byte for a person, the rest above
// kChooserAllEntries, the absolute value modulo 100 in batch mode.
int TypeOf(long parameter) {
  if (parameter < 0)
    return static_cast<int>(-(parameter % 100));
  if (parameter > kChooserAllEntries)
    return static_cast<int>((parameter - kChooserAllEntries) & 0xFF);
  return static_cast<int>(parameter & 0xFF);
}

// Rows for a person: the display order, each row read through
// CurrentCatalog.
void ListInOrder(WINDOW list, int type) {
  const std::vector<uint16_t> &order = OrderOf(type);
  for (size_t row = 0; row < order.size() && order[row] != 0; ++row)
    if (FindEntry(CatalogHandle, CurrentCatalog, type, order[row]))
      AddRow(list, CurrentCatalog);
}

// Every entry of the type in key order.
void ListAll(WINDOW list, int type) {
  ClearCatalog(CurrentCatalog);
  CurrentCatalog.Kind = static_cast<uint8_t>(type);
  TblFindFullCatalog(CatalogHandle, &CurrentCatalog, 0, kFindAtOrAfter);
  while (OrvixError == 0 && CurrentCatalog.Kind == type) {
    AddRow(list, CurrentCatalog);
    TblFindFullCatalog(CatalogHandle, &CurrentCatalog, 0, kFindNext);
  }
}

// Rows for a batch run: the display order, only the eligible editions.
// Answers the number of rows; *tooOld tells whether an old edition was met.
int ListForRun(WINDOW list, int type, bool *tooOld) {
  int rows = 0;
  const std::vector<uint16_t> &order = OrderOf(type);
  for (size_t row = 0; row < order.size() && order[row] != 0; ++row) {
    if (!FindEntry(CatalogHandle, CurrentCatalog, type, order[row]))
      continue;
    if (RepEligibleForRun(CurrentCatalog, tooOld)) {
      AddRow(list, CurrentCatalog);
      ++rows;
    }
  }
  return rows;
}

void ChooserCreate(WINDOW win) {
  DlgLoadTexts(win, TextTableChooser);
  long parameter = xvt_vobj_get_data(win);
  int type = TypeOf(parameter);
  ChooserBatch = parameter < 0 ? 1 : 0;
  WINDOW list = xvt_win_get_ctl(win, kChooserList);
  xvt_vobj_set_title(win, MsgText(75));
  xvt_vobj_set_title(xvt_win_get_ctl(win, kChooserHeading), MsgText(77));
  xvt_list_suspend(list);
  xvt_list_clear(list);

  if (!OpenCatalog()) {
    int error = OrvixError;
    xvt_list_resume(list);
    xvt_vobj_set_visible(win, true);
    xvt_dm_post_error(MsgText(74), error);
    return;
  }

  if (ChooserBatch) {
    bool tooOld = false;
    int rows = ListForRun(list, type, &tooOld);
    if (rows > 0) {
      xvt_list_set_sel(list, 0, true);
      xvt_list_resume(list);
      xvt_scr_set_focus_vobj(list);
      xvt_vobj_set_visible(win, true);
      return;
    }
    // Nothing can take the log: the chooser stays hidden, the user learns
    // why, and the program stands in its task window.
    xvt_list_resume(list);
    EnsureRegistered();
    if (xvt_dlg_create_res(WD_MODAL, kNoticeRes, -1, RepNoticeEvent,
                           tooOld ? 1 : 2) == NULL_WIN)
      xvt_dm_post_error("%s", MsgText(23));
    return;
  }

  if (parameter > kChooserAllEntries)
    ListAll(list, type);
  else
    ListInOrder(list, type);
  xvt_list_set_sel(list, 0, true);
  xvt_list_resume(list);
  xvt_scr_set_focus_vobj(list);
  xvt_vobj_set_visible(win, true);
}

// The id of the selected row: by its index in the display order, or, where
// the rows do not follow the order, out of its text. 0 when none.
int SelectedId(WINDOW win, bool fromText) {
  WINDOW list = xvt_win_get_ctl(win, kChooserList);
  int row = xvt_list_get_sel_index(list);
  if (row < 0)
    return 0;
  if (!fromText)
    return RepIdAtRow(TypeOf(xvt_vobj_get_data(win)), row);
  char text[201];
  if (xvt_list_get_elt(list, row, text, sizeof text) == nullptr)
    return 0;
  return RepIdFromRowText(text);
}

// Cancel closes the catalogue and the chooser; in batch mode it ends the
// program, as no run will follow.
void ChooserCancel(WINDOW win) {
  bool batch = xvt_vobj_get_data(win) < 0;
  CloseCatalog();
  xvt_vobj_destroy(win);
  if (batch)
    AppTerminate();
}

// Puts the chosen repertory into the field of dialog 110 that asked for it.
void FillTransferField(int side) {
  if (TransferDialog == NULL_WIN || !xvt_vobj_is_valid(TransferDialog))
    return;
  WINDOW field =
      xvt_win_get_ctl(TransferDialog, side == 0 ? kTransferNew : kTransferOld);
  char text[200];
  StrFormat(text, "%s (%s)", CatalogTitle(CurrentCatalog),
            CurrentCatalog.Abbrev);
  xvt_vobj_set_title(field, text);
  xvt_vobj_set_data(field, CurrentCatalog.Id);
}

// ---------------------------------------------------------------- dialog 110

void TransferCreate(WINDOW win) {
  TransferDialog = win;
  LogPath[0] = '\0';
  DlgLoadTexts(win, TextTableTransfer);
  if (CurrentCatalog.Id != 0)
    FillTransferField(0);
}

void TransferBrowse(WINDOW win, int side) {
  TransferSide = side;
  // On this toolkit a window above a modal dialog takes no input, so the
  // chooser comes up modally here; what it fills is the same.
  RepOpenChooser(WD_MODAL, kChooserPerson);
  (void)win;
}

void TransferBrowseLog(WINDOW win) {
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  if (FileChooseOpen("dat", &spec, 5342, LogFileDir) == 0)
    return;
  char path[kArgPathSize];
  PathOfFileSpec(&spec, path, sizeof path);
  xvt_vobj_set_title(xvt_win_get_ctl(win, kTransferLog), path);
}

void TransferStart(WINDOW win) {
  char text[101];
  if (xvt_vobj_get_title(xvt_win_get_ctl(win, kTransferLog), text,
                         sizeof text) == nullptr)
    text[0] = '\0';
  StrCopy(LogPath, text);
  DbToUpper(LogPath);
  if (strstr(LogPath, ".DAT") != nullptr) {
    size_t n = strlen(LogPath);
    LogPath[n >= 4 ? n - 4 : 0] = '\0';
  }
  long oldId = xvt_vobj_get_data(xvt_win_get_ctl(win, kTransferOld));
  long newId = xvt_vobj_get_data(xvt_win_get_ctl(win, kTransferNew));

  TblHandle h = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0)
    h = 0;
  Catalog rec;
  // An old repertory that is not found leaves the abbreviation of an empty
  // record: the transfer itself tells that it has nothing to go on.
  FindEntry(h, rec, 1, static_cast<uint16_t>(oldId));
  StrCopy(UpgradeOldAbbrev, rec.Abbrev);
  if (FindEntry(h, rec, 1, static_cast<uint16_t>(newId)))
    CurrentCatalog = rec;
  if (h != 0)
    DbCloseFile(h);
  xvt_vobj_destroy(win);
  CommandNotAvailable("The transfer of additions to a new repertory");
}

} // namespace

// ---------------------------------------------------------------- orders

void RepRegisterResources() {
  xvt_res_register_dialog(&kChooserDlg);
  xvt_res_register_dialog(&kNoticeDlg);
  xvt_res_register_dialog(&kTransferDlg);
  Registered = true;
}

void RepBuildOrder(int type) {
  std::vector<uint16_t> &order = OrderOf(type);
  order.clear();
  TblHandle h = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError != 0 || h == 0)
    return;

  Catalog rec;
  ClearCatalog(rec);
  rec.Kind = static_cast<uint8_t>(type);
  size_t count = 0;
  TblFindCatalog(h, &rec, 0, kFindAtOrAfter);
  while (OrvixError == 0 && rec.Kind == type) {
    ++count;
    TblFindCatalog(h, &rec, 0, kFindNext);
  }
  order.assign(count + 1, 0);
  size_t used = 0;
  auto listed = [&](uint16_t id) {
    for (size_t i = 0; i < used; ++i)
      if (order[i] == id)
        return true;
    return false;
  };

  // The configured ids first, each once, and only those that have an
  // entry: rows and slots must correspond one to one.
  char list[kIniRepertoriesSize];
  StrCopy(list, type == 2 ? Keynotes : Repertories);
  for (char *piece = list; piece != nullptr && used < count;) {
    char *comma = strchr(piece, ',');
    if (comma != nullptr)
      *comma = '\0';
    long id = atol(piece);
    piece = comma != nullptr ? comma + 1 : nullptr;
    if (id <= 0 || id > 0xFFFF || listed(static_cast<uint16_t>(id)))
      continue;
    ClearCatalog(rec);
    rec.Kind = static_cast<uint8_t>(type);
    rec.Id = static_cast<uint16_t>(id);
    if (TblFindCatalog(h, &rec, 0, kFindEqual) == 0 && OrvixError == 0)
      order[used++] = static_cast<uint16_t>(id);
  }

  // Then all others in catalogue order.
  ClearCatalog(rec);
  rec.Kind = static_cast<uint8_t>(type);
  TblFindCatalog(h, &rec, 0, kFindAtOrAfter);
  while (OrvixError == 0 && rec.Kind == type && used < count) {
    if (!listed(rec.Id))
      order[used++] = rec.Id;
    TblFindCatalog(h, &rec, 0, kFindNext);
  }
  DbCloseFile(h);
}

uint16_t RepIdAtRow(int type, int row) {
  const std::vector<uint16_t> &order = OrderOf(type);
  if (row < 0 || static_cast<size_t>(row) >= order.size())
    return 0;
  return order[static_cast<size_t>(row)];
}

// ---------------------------------------------------------------- chooser

WINDOW RepOpenChooser(int kind, long parameter) {
  EnsureRegistered();
  WINDOW win =
      xvt_dlg_create_res(kind, kChooserRes, -1, RepSelectEvent, parameter);
  if (win == NULL_WIN)
    xvt_dm_post_error("%s", MsgText(23));
  return win;
}

bool RepEligibleForRun(const Catalog &entry, bool *tooOld) {
  const char *name = CatalogTitle(entry);
  // A concept repertory is marked by a "C" in front of its abbreviation or
  // behind it ("CALM92", "ABC2009C"); a C inside ("ABC2009") is none.
  size_t n = strlen(entry.Abbrev);
  bool conceptSide =
      n > 0 && (entry.Abbrev[0] == 'C' || entry.Abbrev[n - 1] == 'C');
  if (strstr(name, "Almanacum 9.0") != nullptr && !conceptSide && tooOld)
    *tooOld = true;
  return strstr(name, "Almanacum") != nullptr && !conceptSide &&
         (strstr(entry.Abbrev, "92") != nullptr ||
          strstr(entry.Abbrev, "2009") != nullptr);
}

int RepIdFromRowText(const char *text) {
  if (text == nullptr)
    return 0;
  size_t i = strlen(text);
  while (i > 0 && (text[i - 1] == ')' ||
                   isdigit(static_cast<unsigned char>(text[i - 1]))))
    --i;
  long id = atol(text + i);
  return id > 0 && id <= 0xFFFF ? static_cast<int>(id) : 0;
}

void RepOpenSelected(WINDOW win) {
  long parameter = xvt_vobj_get_data(win);
  int type = TypeOf(parameter);
  int id = SelectedId(win, parameter > kChooserAllEntries);
  Catalog chosen;
  bool found =
      FindEntry(CatalogHandle, chosen, type, static_cast<uint16_t>(id));
  CloseCatalog();
  xvt_vobj_destroy(win);
  if (!found)
    return; // an empty list: nothing was chosen
  CurrentCatalog = chosen;

  // The tables are opened only to see that they are there; a repertory
  // whose tables are damaged can still be chosen, so that it can be
  // repaired, and neither failure is told.
  TblHandle symptoms = 0;
  if (CurrentCatalog.Kind == 1) {
    symptoms =
        TblOpenSymptom(CurrentCatalog.RepertoryBlock.Paths[kCatSymptom], 0, 1);
    if (OrvixError != 0)
      symptoms = 0;
  }
  char caption[250];
  StrFormat(caption, MsgText(3000), kAppVersion, kAppPlatform);
  StrAppend(caption, " - ");
  StrAppend(caption, CatalogTitle(CurrentCatalog));
  xvt_win_set_doc_title(TASK_WIN, caption);
  if (symptoms != 0)
    DbCloseFile(symptoms);
  if (CurrentCatalog.Kind == 1) {
    TblHandle views =
        TblOpenView(CurrentCatalog.RepertoryBlock.Paths[kCatView], 0, 1);
    if (OrvixError == 0 && views != 0)
      DbCloseFile(views);
  }
  FillTransferField(TransferSide);
}

void RepSelectForRun(WINDOW win) {
  int id = SelectedId(win, true);
  if (id == 0 && xvt_list_get_sel_index(xvt_win_get_ctl(win, kChooserList)) < 0)
    return; // no row selected: the chooser stays
  xvt_vobj_destroy(win);
  UpdateRepertoryRun(id, 1);
}

namespace {

// OK and a double click: the window's own parameter says which mode it is
// in, whatever chooser came up since.
void ChooserOk(WINDOW win) {
  if (xvt_vobj_get_data(win) < 0)
    RepSelectForRun(win);
  else
    RepOpenSelected(win);
}

} // namespace

long RepSelectEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    ChooserCreate(win);
    break;
  case E_CONTROL:
    switch (ev->v.ctl.id) {
    case kChooserOk:
      ChooserOk(win);
      break;
    case kChooserList:
      if (ev->v.ctl.dbl_click)
        ChooserOk(win);
      break;
    case kChooserCancel:
      ChooserCancel(win);
      break;
    case kChooserHelp:
      HelpTopic(kHelpChooser);
      break;
    default:
      break;
    }
    break;
  case E_CHAR:
    // Esc is the Cancel of a dialog.
    if (ev->v.chr.ch == K_ESC)
      ChooserCancel(win);
    break;
  case E_CLOSE:
    // The close box is no Cancel: in batch mode the program stays.
    CloseCatalog();
    xvt_vobj_destroy(win);
    break;
  default:
    break;
  }
  return 0;
}

// ---------------------------------------------------------------- dialog 114

long RepNoticeEvent(WINDOW win, EVENT *ev) {
  if (DlgCancelEvent(win, ev))
    return 0;
  switch (ev->type) {
  case E_CREATE: {
    DlgLoadTexts(win, TextTableNotice);
    long parameter = xvt_vobj_get_data(win);
    int set = parameter == 1 ? 0 : 1;
    for (int i = 0; i < kNoticeLines; ++i)
      xvt_vobj_set_title(xvt_win_get_ctl(win, kNoticeFirstLine + i),
                         MsgText(kNoticeLineMessages[set][i]));
    // Ordering only helps where an old edition is installed.
    xvt_vobj_set_visible(xvt_win_get_ctl(win, kNoticeOrder), parameter == 1);
    break;
  }
  case E_CONTROL: {
    int id = ev->v.ctl.id;
    if (id == kNoticeOrder || id == kNoticeSite) {
      char address[sizeof MsgRec.Text];
      StrCopy(address, MsgText(id == kNoticeOrder ? 7080 : 7079));
      const char *args[] = {address, nullptr};
      if (PlatStartProgram(RepLinkOpener, args, false, nullptr) != kPlatOk)
        xvt_dm_post_note("Open this address in your web browser: %s", address);
    } else if (id == kNoticeClose) {
      xvt_vobj_destroy(win);
    }
    break;
  }
  default:
    break;
  }
  return 0;
}

// ---------------------------------------------------------------- dialog 110

long TransferEvent(WINDOW win, EVENT *ev) {
  if (DlgCancelEvent(win, ev))
    return 0;
  switch (ev->type) {
  case E_CREATE:
    TransferCreate(win);
    break;
  case E_DESTROY:
    TransferDialog = NULL_WIN;
    break;
  case E_CONTROL:
    switch (ev->v.ctl.id) {
    case kTransferBrowseNew:
      TransferBrowse(win, 0);
      break;
    case kTransferBrowseOld:
      TransferBrowse(win, 1);
      break;
    case kTransferBrowseLog:
      TransferBrowseLog(win);
      break;
    case kTransferStart:
      TransferStart(win);
      break;
    case kTransferCancel:
      xvt_vobj_destroy(win);
      break;
    default:
      break;
    }
    break;
  default:
    break;
  }
  return 0;
}

// ---------------------------------------------------------------- /RUN

void DriverRunLog(const char *log, int language) {
  char path[kArgPathSize];
  StrCopy(path, log);
  // The index is rebuilt beside the old one and renamed into place: a
  // rebuild that fails leaves the old index, never none.
  int result = TblRebuildRlog(path, 0, 1);
  if (result != 0)
    xvt_dm_post_note(MsgText(3001), path, result);
  StrCopy(LogPath, path);

  if (!OpenCatalog()) {
    int error = OrvixError; // taken before a message lookup can change it
    xvt_dm_post_error(MsgText(74), error);
    SessionFail(1);
    AppTerminate();
    return;
  }
  // The language reaches the chooser only to vanish in its remainder; a
  // negative one counts as 0, so that the parameter stays negative.
  long lang = language > 0 ? language : 0;
  if (RepOpenChooser(WD_MODELESS, -(lang * 100 + 1)) == NULL_WIN) {
    SessionFail(1);
    AppTerminate(); // with no chooser no one could end a batch run
  }
}
