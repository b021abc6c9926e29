#include "services/work.h"

#include "platform/strutil.h"
#include "services/config.h"
#include "session/session.h"

#include <algorithm>
#include <cstring>

WINDOW ProgressWindow = NULL_WIN;
int WorkKeepGoing = 0;
RCT ProgressBarRect = {0, 0, 0, 0};
WINDOW WorkingDialog = NULL_WIN;
WorkBarState WorkBar = {-1, 0, 0, 100, 0, 0};
void (*WorkLoadTexts)(WINDOW win, int resourceId) = nullptr;
const char *(*WorkMessage)(int number) = nullptr;

namespace {

const XVT_CTL_RES kProgressCtls[] = {
    {1, WC_TEXT, 10, 2, 195, 9, "", 0},
    {2, WC_TEXT, 10, 11, 195, 9, "", 0},
    {3, WC_TEXT, 10, 30, 50, 9, "", 0},
    {kWorkCancelCtl, WC_PUSHBUTTON, 80, 30, 46, 12, "Cancel", 0},
};
const XVT_WIN_RES kProgressRes = {kWorkProgressRes, 54, 54, 204, 44, "Progress",
                                  kProgressCtls,    4,  0};

const XVT_CTL_RES kWorkingCtls[] = {
    {1, WC_TEXT, 10, 6, 180, 9, "", 0},
    {2, WC_TEXT, 10, 18, 180, 9, "", 0},
};
const XVT_WIN_RES kWorkingRes = {kWorkWorkingRes, 0, 0, 200, 34, "Working ...",
                                 kWorkingCtls,    2, 0};

bool gRegistered = false;

void EnsureResources() {
  if (!gRegistered)
    WorkRegisterResources();
}

void FillRect(WINDOW win, COLOR color, short top, short left, short bottom,
              short right) {
  RCT r = {top, left, bottom, right};
  xvt_dwin_set_fill_color(win, color);
  xvt_dwin_draw_rect(win, &r);
}

// The window's background, the bar's frame filled with it and sunk by two
// dark lines above and left and two light ones below and right. Blocks are
// not redrawn here but at the next report.
void Paint(WINDOW win) {
  const RCT &f = ProgressBarRect;
  xvt_dwin_clear(win, COLOR_LTGRAY);
  FillRect(win, COLOR_LTGRAY, f.top, f.left, f.bottom, f.right);
  FillRect(win, COLOR_GRAY, f.top, f.left, f.top + 1, f.right);
  FillRect(win, COLOR_DKGRAY, f.top + 1, f.left + 1, f.top + 2, f.right - 1);
  FillRect(win, COLOR_GRAY, f.top, f.left, f.bottom, f.left + 1);
  FillRect(win, COLOR_DKGRAY, f.top + 1, f.left + 1, f.bottom - 1, f.left + 2);
  FillRect(win, COLOR_WHITE, f.bottom - 1, f.left, f.bottom, f.right);
  FillRect(win, COLOR_LTGRAY, f.bottom - 2, f.left + 1, f.bottom - 1,
           f.right - 1);
  FillRect(win, COLOR_WHITE, f.top, f.right - 1, f.bottom, f.right);
  FillRect(win, COLOR_LTGRAY, f.top + 1, f.right - 2, f.bottom - 1,
           f.right - 1);
}

void DrawBlocks(WINDOW win, int percent) {
  const RCT &f = ProgressBarRect;
  int top = f.top + 3, left = f.left + 3, bottom = f.bottom - 2,
      right = f.right - 3;
  // A frame too low for a block still gets blocks of one unit.
  int w = std::max((bottom - top) * 3 / 4, 1);
  int count = (right - left) * percent / 100 / (w + 2);
  int drawn = 0;
  xvt_dwin_set_fill_color(win, kWorkBlockColor);
  for (int i = 0; i <= count; ++i) {
    int l = left + i * (w + 2);
    int r = std::min(l + w, static_cast<int>(f.right) - 3);
    if (r <= l)
      continue;
    RCT b = {static_cast<short>(top), static_cast<short>(l),
             static_cast<short>(bottom), static_cast<short>(r)};
    xvt_dwin_draw_rect(win, &b);
    ++drawn;
  }
  WorkBar.blocks = drawn;
  ++WorkBar.redraws;
}

void SetLine(WINDOW win, int id, const char *text) {
  xvt_vobj_set_title(xvt_win_get_ctl(win, id), text);
}

long WorkingEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    if (WorkLoadTexts != nullptr)
      WorkLoadTexts(win, kWorkWorkingRes);
    break;
  case E_CLOSE:
    xvt_vobj_destroy(win);
    break;
  case E_DESTROY:
    if (WorkingDialog == win)
      WorkingDialog = NULL_WIN;
    break;
  default:
    break;
  }
  return 0;
}

} // namespace

void WorkRegisterResources() {
  xvt_res_register_window(&kProgressRes);
  xvt_res_register_dialog(&kWorkingRes);
  gRegistered = true;
}

long WorkProgressEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE: {
    ProgressWindow = win;
    RCT c2 = {}, c4 = {}, client = {};
    xvt_vobj_get_outer_rect(xvt_win_get_ctl(win, 2), &c2);
    xvt_vobj_get_outer_rect(xvt_win_get_ctl(win, kWorkCancelCtl), &c4);
    xvt_vobj_get_client_rect(win, &client);
    // The model's units are already 96 to the inch: no conversion.
    ProgressBarRect = RCT{
        static_cast<short>(c2.bottom + 3), static_cast<short>(client.left + 20),
        static_cast<short>(c4.top - 3), static_cast<short>(client.right - 20)};
    if (WorkLoadTexts != nullptr)
      WorkLoadTexts(win, kWorkProgressRes);
    xvt_vobj_set_visible(win, true);
    xvt_scr_set_focus_vobj(win);
    WorkKeepGoing = 1;
    WorkBar = WorkBarState{-1, 0, 0, 100, 0, 0};
    Paint(win);
    xvt_app_escape_on_interrupt(win);
    WorkJob job = reinterpret_cast<WorkJob>(xvt_vobj_get_data(win));
    if (job != nullptr)
      job(win);
    break;
  }
  case E_CLOSE:
    // The job goes on; ProgressWindow stays until WorkClose.
    xvt_vobj_destroy(win);
    break;
  case E_CHAR:
    if (ev->v.chr.ch == K_ESC)
      WorkKeepGoing = 0;
    break;
  case E_CONTROL:
    if (ev->v.ctl.id == kWorkCancelCtl)
      WorkKeepGoing = 0;
    break;
  case E_UPDATE:
    Paint(win);
    break;
  default:
    break;
  }
  return 0;
}

void WorkRun(WorkJob job) {
  EnsureResources();
  WINDOW win =
      xvt_win_create_res(kWorkProgressRes, TASK_WIN, -1, WorkProgressEvent,
                         reinterpret_cast<long>(job));
  if (win == NULL_WIN)
    xvt_dm_post_error("Cannot create progression bar");
}

void WorkProgress(long position, long total, const char *line1,
                  const char *line2) {
  if (ProgressWindow == NULL_WIN)
    return;
  bool repeat = position == -1 && total == -1;
  long long pos = position, tot = total;
  if (repeat) {
    pos = WorkBar.lastPosition;
    tot = WorkBar.lastTotal;
  } else {
    if (pos < 2) {
      WorkBar.lastDrawn = -1;
      WorkBar.percent = 0;
    }
    if (pos == -1) {
      pos = WorkBar.lastPosition;
      WorkBar.lastDrawn = 0;
    }
    if (tot == -1)
      tot = WorkBar.lastTotal;
    if (tot == 0)
      tot = 100;
    if (pos != 0) {
      // Whole numbers, as the bar has always counted: a small position
      // of a large total gives a coarse percent.
      long long q = tot * 100 / pos;
      if (q == 0)
        q = 100;
      long long pc = 10000 / q;
      WorkBar.percent = pc > 100 || pc < 0 ? 100 : static_cast<int>(pc);
    }
  }
  if (WorkBar.percent > WorkBar.lastDrawn || repeat) {
    WINDOW win = ProgressWindow;
    if (line1 != nullptr)
      SetLine(win, 1, line1);
    if (line2 != nullptr)
      SetLine(win, 2, line2);
    char text[24];
    StrFormat(text, "%ld %%", static_cast<long>(WorkBar.percent));
    SetLine(win, 3, text);
    xvt_app_process_pending_events();
    if (ProgressWindow != NULL_WIN)
      DrawBlocks(ProgressWindow, WorkBar.percent);
    WorkBar.lastDrawn = WorkBar.percent;
  }
  WorkBar.lastPosition = static_cast<long>(pos);
  WorkBar.lastTotal = static_cast<long>(tot);
}

void WorkClose() {
  if (ProgressWindow != NULL_WIN)
    xvt_vobj_destroy(ProgressWindow);
  ProgressWindow = NULL_WIN;
}

void ShowRepairProgress(const char *text) {
  EnsureResources();
  WINDOW dlg =
      xvt_dlg_create_res(WD_MODELESS, kWorkWorkingRes, -1, WorkingEvent, 0);
  if (dlg == NULL_WIN) {
    const char *msg = WorkMessage != nullptr ? WorkMessage(23) : nullptr;
    xvt_dm_post_error("%s",
                      msg != nullptr ? msg : "Can't create the Working dialog");
    return;
  }
  WorkingDialog = dlg;
  // The title field need not be terminated within its width.
  char name[sizeof CurrentCatalog.RepertoryBlock.Title + 1] = "";
  memcpy(name, CurrentCatalog.RepertoryBlock.Title, sizeof name - 1);
  SetLine(dlg, 1, name);
  SetLine(dlg, 2, text);
  xvt_win_set_cursor(TASK_WIN, CURSOR_WAIT);
}

void HideRepairProgress() {
  if (WorkingDialog != NULL_WIN)
    xvt_vobj_destroy(WorkingDialog);
  WorkingDialog = NULL_WIN;
}
