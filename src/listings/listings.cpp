#include "listings/listings.h"

#include "listings/statistics.h"
#include "logentry/logentry.h"
#include "logentry/logtext.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/work.h"
#include "session/session.h"
#include "store/store.h"
#include "store/strdate.h"

#include <cstdlib>
#include <cstring>
#include <string>

WINDOW CustomListDialog = NULL_WIN;

namespace {

constexpr int kMsgNoMemory = 31;
constexpr int kMsgNoSymptoms = 9;
constexpr int kMsgLogNotOpened = 3004; // path, error
constexpr int kMsgListing = 3005;
constexpr int kMsgNotCreated = 3006; // file name
constexpr int kMsgDateFormIs = 3106;
constexpr int kMsgAllOperations = 3113;
constexpr int kMsgDatePrompt = 3121;
constexpr int kMsgBadDate = 3122;
constexpr int kMsgEndBeforeStart = 3123;
constexpr int kMsgChooseLog = 3154;
constexpr int kMsgAllUsers = 3191;
constexpr int kMsgNoWindow = 23;

// The store's code for a path it cannot take, told for a chosen log whose
// path does not fit.
constexpr int kPathTooLong = 11;

// Flags of operation codes in the custom list; codes above have none.
constexpr int kListOpFlags = 30;
// A typed date is read up to this many characters.
constexpr int kListDateText = 50;
constexpr int kListDatePrompt = 15;

constexpr size_t kTextSize = 256;

void Message(int number, char *out, size_t cap) {
  LogMessageText(number, out, cap);
}

void NoteLogNotOpened(const char *path, int error) {
  char fmt[kTextSize];
  char text[2 * kTextSize + 32];
  LogMessageFormat(kMsgLogNotOpened, "%s %d",
                   "The log file %s cannot be opened (H-%d).", fmt, sizeof fmt);
  StrFormat(text, sizeof text, fmt, path, error);
  xvt_dm_post_note("%s", text);
}

void NoteNotCreated(const char *path) {
  char fmt[kTextSize];
  char text[2 * kTextSize + 32];
  LogMessageFormat(kMsgNotCreated, "%s", "The file %s cannot be created.", fmt,
                   sizeof fmt);
  StrFormat(text, sizeof text, fmt, path);
  xvt_dm_post_note("%s", text);
}

void NoteMessage(int number) {
  char text[kTextSize];
  Message(number, text, sizeof text);
  xvt_dm_post_note("%s", text);
}

void ErrorMessage(int number) {
  char text[kTextSize];
  Message(number, text, sizeof text);
  xvt_dm_post_error("%s", text);
}

// A typed date in the configured form; a day before 29000 is no date.
bool ReadDate(const char *text, long *date) {
  long d = 0;
  if (DateCharToLong(Language, text, DateFormat, &d) != kDateOk ||
      d < kDateNoneBelow)
    return false;
  *date = d;
  return true;
}

void ProgressLine(int number) {
  char line[kTextSize];
  Message(number, line, sizeof line);
  WorkProgress(0, 100, line, nullptr);
}

// What a listing holds open; Close gives it all back.
struct Listing {
  TblHandle log = 0;
  TblHandle symptoms = 0;
  FILE *out = nullptr;
  FILE *out2 = nullptr;
  char *text = nullptr;
  LogEntry entry{};
  FieldOffsets offsets{};

  void Close() {
    if (log != 0)
      DbCloseFile(log);
    log = 0;
    if (symptoms != 0)
      DbCloseFile(symptoms);
    symptoms = 0;
    LogTextSymptomTable = 0;
    if (out != nullptr)
      fclose(out);
    out = nullptr;
    if (out2 != nullptr)
      fclose(out2);
    out2 = nullptr;
    free(text);
    text = nullptr;
  }
};

// A file beside the log: the log path and a suffix.
void BesideLog(char *out, size_t cap, const char *suffix) {
  StrFormat(out, cap, "%s%s", LogPath, suffix);
}

FILE *CreateBesideLog(const char *suffix) {
  char path[kListPathSize + 8];
  BesideLog(path, sizeof path, suffix);
  FILE *f = PlatOpenFile(path, "wb");
  if (f == nullptr)
    NoteNotCreated(path);
  return f;
}

bool AllocateText(Listing &l) {
  l.text = static_cast<char *>(malloc(kLogTextSize));
  if (l.text == nullptr) {
    NoteMessage(kMsgNoMemory);
    xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
    return false;
  }
  l.text[0] = '\0';
  LogClearEntry(&l.entry, l.text);
  return true;
}

void OpenSymptoms(Listing &l) {
  l.symptoms =
      TblOpenSymptom(CurrentCatalog.RepertoryBlock.Paths[kCatSymptom], 0, 1);
  if (OrvixError != 0 && l.symptoms != 0) {
    DbCloseFile(l.symptoms);
    l.symptoms = 0;
  }
  LogTextSymptomTable = l.symptoms;
}

void Finish(Listing &l) {
  l.Close();
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
  ViewListing();
}

void Abandon(Listing &l) {
  l.Close();
  WorkClose();
}

// Opens the log by its index for a date listing, its file and its buffer.
bool OpenForDates(Listing &l) {
  l.log = TblOpenRlog(LogPath, 0, 1);
  if (l.log == 0 || OrvixError != 0) {
    NoteLogNotOpened(LogPath, OrvixError);
    l.log = 0;
    return false;
  }
  ProgressLine(kMsgListing);
  DbVirtualClose(2);
  l.out = CreateBesideLog(".txt");
  if (l.out == nullptr)
    return false;
  return AllocateText(l);
}

// Puts the search record at the first entry of the date by key 2.
int FindFromDate(Listing &l, long date) {
  LogClearEntry(&l.entry, l.text);
  l.entry.date = static_cast<uint32_t>(date);
  return TblFindFullRlog(l.log, &l.entry, 2, kFindAtOrAfter);
}

// Counts the entries from `from` on, by key 2, while the date is not after
// `until`.
long CountDates(Listing &l, long from, long until) {
  long count = 0;
  for (int rc = FindFromDate(l, from);
       rc == 0 && OrvixError == 0 && l.entry.date <= until;
       rc = TblFindFullRlog(l.log, &l.entry, 2, kFindNext))
    ++count;
  return count;
}

// The filter of the custom list.
struct Choice {
  long from = 0;
  long until = 0;
  int userRow = 0; // 0 all users, else user row - 1
  bool operations[kListOpFlags] = {};
};

// Lists the entries from `from` to `until` (by key 2) that pass the choice;
// a null choice takes them all.
void ListDates(Listing &l, long from, long until, const Choice *choice) {
  long count = CountDates(l, from, until);
  OpenSymptoms(l);
  long position = 0;
  for (int rc = FindFromDate(l, from);
       WorkKeepGoing && rc == 0 && OrvixError == 0 && l.entry.date <= until;
       rc = TblFindFullRlog(l.log, &l.entry, 2, kFindNext)) {
    LogSplitAllFields(l.text, l.offsets);
    bool take = true;
    if (choice != nullptr) {
      int op = l.entry.operation;
      take = l.entry.date >= from && l.entry.date <= until &&
             (choice->userRow == 0 || l.entry.tag == choice->userRow - 1) &&
             op < kListOpFlags && choice->operations[op];
    }
    if (take)
      LogWriteEntry(l.out, nullptr, &l.entry, l.offsets);
    WorkProgress(++position, count, nullptr, nullptr);
  }
}

// The text of a control of the dialog.
void ControlText(WINDOW dlg, int id, char *out, int size) {
  out[0] = '\0';
  if (xvt_vobj_get_title(xvt_win_get_ctl(dlg, id), out, size) == nullptr)
    out[0] = '\0';
}

// Reads and checks the dialog's choice; false after telling what is wrong.
bool ReadChoice(WINDOW dlg, Choice *c) {
  WINDOW ops = xvt_win_get_ctl(dlg, kListCtlOperations);
  bool all = xvt_list_is_sel(ops, 0);
  for (int i = 0; i < kListOpFlags; ++i)
    c->operations[i] = all || xvt_list_is_sel(ops, i);
  c->userRow = xvt_list_get_sel_index(xvt_win_get_ctl(dlg, kListCtlUser));
  if (c->userRow < 0)
    c->userRow = 0;
  char text[kListDateText + 1];
  ControlText(dlg, kListCtlFrom, text, sizeof text);
  if (!ReadDate(text, &c->from)) {
    ErrorMessage(kMsgBadDate);
    return false;
  }
  ControlText(dlg, kListCtlUntil, text, sizeof text);
  if (!ReadDate(text, &c->until)) {
    ErrorMessage(kMsgBadDate);
    return false;
  }
  if (c->until < c->from) {
    ErrorMessage(kMsgEndBeforeStart);
    return false;
  }
  return true;
}

const XVT_CTL_RES kCustomCtls[] = {
    {3, WC_TEXT, 8, 8, 50, 10, "List from:", 0},
    {kListCtlFrom, WC_EDIT, 60, 6, 70, 12, "", 0},
    {4, WC_TEXT, 140, 8, 40, 10, "Until:", 0},
    {kListCtlUntil, WC_EDIT, 182, 6, 70, 12, "", 0},
    {kListCtlFormat, WC_TEXT, 8, 22, 244, 10, "", 0},
    {8, WC_TEXT, 8, 38, 100, 10, "Operations:", 0},
    {kListCtlOperations, WC_LBOX, 8, 50, 160, 110, "", CTL_FLAG_MULTIPLE},
    {9, WC_TEXT, 180, 38, 60, 10, "User:", 0},
    {kListCtlUser, WC_LISTBUTTON, 180, 50, 72, 90, "", 0},
    {kListCtlOk, WC_PUSHBUTTON, 180, 148, 34, 14, "OK", CTL_FLAG_DEFAULT},
    {kListCtlCancel, WC_PUSHBUTTON, 218, 148, 34, 14, "Cancel", 0},
};
const XVT_WIN_RES kCustomRes = {
    kListCustomRes,
    0,
    0,
    260,
    168,
    "Create a custom log file",
    kCustomCtls,
    static_cast<int>(sizeof kCustomCtls / sizeof kCustomCtls[0]),
    0};

bool gRegistered = false;

void FillCustomDialog(WINDOW win) {
  DlgLoadTexts(win, TextTableCustomList);
  char text[kTextSize];
  Message(kMsgDateFormIs, text, sizeof text);
  StrAppend(text, sizeof text, " ");
  StrAppend(text, sizeof text, DateFormat);
  xvt_vobj_set_title(xvt_win_get_ctl(win, kListCtlFormat), text);

  long today = 0;
  DateToday(&today);
  char date[kDateTextMax];
  if (DateLongToChar(Language, today, DateFormat, date) != kDateOk)
    date[0] = '\0';
  xvt_vobj_set_title(xvt_win_get_ctl(win, kListCtlFrom), date);
  xvt_vobj_set_title(xvt_win_get_ctl(win, kListCtlUntil), date);

  WINDOW ops = xvt_win_get_ctl(win, kListCtlOperations);
  xvt_list_suspend(ops);
  Message(kMsgAllOperations, text, sizeof text);
  xvt_list_add(ops, -1, text);
  for (int code = 1; code <= kOpCount; ++code) {
    Message(kMsgOpName + code, text, sizeof text);
    xvt_list_add(ops, -1, text);
  }
  xvt_list_resume(ops);
  xvt_list_set_sel(ops, 0, true);

  WINDOW users = xvt_win_get_ctl(win, kListCtlUser);
  xvt_list_suspend(users);
  Message(kMsgAllUsers, text, sizeof text);
  xvt_list_add(users, -1, text);
  for (int user = 0; user <= 99; ++user) {
    StrFormat(text, sizeof text, "%d", user);
    xvt_list_add(users, -1, text);
  }
  xvt_list_resume(users);
  xvt_list_set_sel(users, 0, true);
}

} // namespace

void ViewListing() {
  char path[kListPathSize + 8];
  BesideLog(path, sizeof path, ".txt");
  PlatStartViewer(path);
}

void ListComplete(WINDOW) {
  Listing l;
  l.log = TblOpenRlog(LogPath, 0, 1);
  if (l.log == 0 || OrvixError != 0) {
    // A damaged index need not stop a list in log order.
    l.log = TblOpenRlog(LogPath, 0, 0);
    if (l.log == 0 || OrvixError != 0) {
      NoteLogNotOpened(LogPath, OrvixError);
      l.log = 0;
      Abandon(l);
      return;
    }
  }
  long count = DbCountEntries(l.log);
  ProgressLine(kMsgListing);
  DbVirtualClose(3);
  l.out2 = CreateBesideLog("_2.txt");
  if (l.out2 != nullptr)
    l.out = CreateBesideLog(".txt");
  if (l.out == nullptr || !AllocateText(l)) {
    Abandon(l);
    return;
  }
  OpenSymptoms(l);
  bool symptomsOpen = l.symptoms != 0;
  long position = 0;
  for (int rc = TblFindFullRlog(l.log, &l.entry, 0, kFindFirst);
       WorkKeepGoing && rc == 0 && OrvixError == 0;
       rc = TblFindFullRlog(l.log, &l.entry, 0, kFindNext)) {
    LogSplitAllFields(l.text, l.offsets);
    LogWriteEntry(l.out, l.out2, &l.entry, l.offsets);
    WorkProgress(++position, count, nullptr, nullptr);
  }
  DbCloseFile(l.log);
  l.log = 0;
  if (!symptomsOpen)
    NoteMessage(kMsgNoSymptoms);
  Finish(l);
}

void ListForDate(WINDOW) {
  char prompt[2 * kTextSize];
  char label[kTextSize];
  Message(kMsgDatePrompt, label, sizeof label);
  StrFormat(prompt, sizeof prompt, "%s (%s)", label, DateFormat);
  char answer[kListDatePrompt + 1] = "";
  Listing l;
  if (xvt_dm_post_string_prompt(prompt, answer, sizeof answer) == nullptr) {
    Abandon(l);
    return;
  }
  long date = 0;
  if (!ReadDate(answer, &date)) {
    ErrorMessage(kMsgBadDate);
    Abandon(l);
    return;
  }
  if (!OpenForDates(l)) {
    Abandon(l);
    return;
  }
  ListDates(l, date, date, nullptr);
  Finish(l);
}

void ListCustom(WINDOW) {
  Listing l;
  Choice c;
  if (CustomListDialog == NULL_WIN || !ReadChoice(CustomListDialog, &c)) {
    Abandon(l); // the dialog stays for another try
    return;
  }
  xvt_vobj_destroy(CustomListDialog);
  CustomListDialog = NULL_WIN;
  if (!OpenForDates(l)) {
    Abandon(l);
    return;
  }
  ListDates(l, c.from, c.until, &c);
  Finish(l);
}

void ListRegisterResources() {
  if (xvt_res_register_dialog(&kCustomRes) == 0)
    gRegistered = true;
}

long ListCustomEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    CustomListDialog = win;
    FillCustomDialog(win);
    break;
  case E_CONTROL:
    if (ev->v.ctl.id == kListCtlOk)
      WorkRun(ListCustom);
    else if (ev->v.ctl.id == kListCtlCancel)
      xvt_vobj_destroy(win);
    break;
  case E_CLOSE:
    xvt_vobj_destroy(win);
    break;
  case E_DESTROY:
    if (CustomListDialog == win)
      CustomListDialog = NULL_WIN;
    break;
  default:
    break;
  }
  return 0;
}

bool ListChooseLog() {
  FILE_SPEC fs;
  memset(&fs, 0, sizeof fs);
  std::string folder;
  if (PlatAbsolutePath(LogFileDir, folder) == 0)
    StrCopy(fs.dir.path, folder.c_str());
  StrCopy(fs.type, "dat");
  char title[kTextSize];
  Message(kMsgChooseLog, title, sizeof title);
  if (xvt_dm_post_file_open(&fs, title) != FL_OK)
    return false;
  char path[kListPathSize * 2];
  if (!xvt_fsys_convert_dir_to_str(&fs.dir, path, sizeof path))
    return false;
  StrAppend(path, sizeof path, "\\");
  StrAppend(path, sizeof path, fs.name);
  size_t len = strlen(path);
  // The table base: the name without ".dat", cut without a look.
  path[len >= 4 ? len - 4 : 0] = '\0';
  if (strlen(path) >= sizeof LogPath) {
    char fmt[kTextSize];
    char text[sizeof path + kTextSize];
    LogMessageFormat(kMsgLogNotOpened, "%s %d",
                     "The log file %s cannot be opened (H-%d).", fmt,
                     sizeof fmt);
    StrFormat(text, sizeof text, fmt, path, kPathTooLong);
    xvt_dm_post_note("%s", text);
    return false;
  }
  StrCopy(LogPath, path);
  return true;
}

void ListMenuComplete() {
  if (ListChooseLog())
    WorkRun(ListComplete);
}

void ListMenuForDate() {
  if (ListChooseLog())
    WorkRun(ListForDate);
}

void ListMenuCustom() {
  if (!ListChooseLog())
    return;
  if (!gRegistered)
    ListRegisterResources();
  if (xvt_dlg_create_res(WD_MODAL, kListCustomRes, -1, ListCustomEvent, 0) ==
      NULL_WIN) {
    // The dialog cannot be made: as every dialog of the menu.
    ErrorMessage(kMsgNoWindow);
  }
}

void ListMenuStatistics() {
  if (ListChooseLog())
    WorkRun(LogStatistics);
}
