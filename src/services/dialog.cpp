#include "services/dialog.h"

bool DlgTick(WINDOW win, int control) {
  return xvt_ctl_is_checked(xvt_win_get_ctl(win, control));
}

void DlgSetTick(WINDOW win, int control, bool on) {
  xvt_ctl_set_checked(xvt_win_get_ctl(win, control), on);
}

void DlgToggleTick(WINDOW win, int control) {
  DlgSetTick(win, control, !DlgTick(win, control));
}

void DlgSetTitle(WINDOW win, int control, const char *text) {
  xvt_vobj_set_title(xvt_win_get_ctl(win, control), text);
}

bool DlgCancelEvent(WINDOW win, const EVENT *ev, void (*cancel)(WINDOW)) {
  bool isCancel =
      ev->type == E_CLOSE || (ev->type == E_CHAR && ev->v.chr.ch == K_ESC);
  if (!isCancel)
    return false;
  if (cancel != nullptr)
    cancel(win);
  else
    xvt_vobj_destroy(win);
  return true;
}
