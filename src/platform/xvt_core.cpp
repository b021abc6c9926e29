// The toolkit's common layer: the model of windows and controls, resources,
// the event queue and loops, backend choice, and answers for no one.
#include "platform/strutil.h"
#include "platform/xvt_internal.h"
#include "platform/xvt_model.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <strings.h>

WINDOW TASK_WIN = NULL_WIN;

namespace {

struct ResCtl {
  int id;
  XVT_CTL_KIND kind;
  short x, y, w, h;
  std::string text;
  unsigned flags;
};
struct ResWin {
  int id;
  short x, y, w, h;
  std::string title;
  std::vector<ResCtl> ctls;
  unsigned flags;
};

void FreeMenu(MENU_ITEM *tree);

// Menu trees by resource id, freed when the program ends.
struct MenuResources {
  std::map<int, MENU_ITEM *> trees;
  ~MenuResources() {
    for (auto &[id, tree] : trees)
      FreeMenu(tree);
  }
};

std::map<int, ResWin> gRes;
MenuResources gMenuRes;
std::map<WINDOW, std::unique_ptr<XvtWin>> gWins;
std::map<WINDOW, WINDOW> gCtlOwner;
std::vector<WINDOW> gStack; // bottom .. front

// Tells the program that a window took the focus: the front window changed.
void FrontChanged() {
  if (XvtFocusHook != nullptr && !gStack.empty())
    XvtFocusHook(gStack.back());
}
std::deque<std::pair<WINDOW, EVENT>> gQueue;
WINDOW gNextHandle = 1000;
WINDOW gFocus = NULL_WIN;
bool gRunning = false;
bool gDestroyingApp = false;
std::vector<std::pair<long, long>> gAttrs;

std::vector<const XvtBackend *> gBackends;
const XvtBackend *gBackend = nullptr;
bool gBuiltinsRegistered = false;

// The interrupt that stands for Esc.
volatile sig_atomic_t gInterrupts = 0;
int gInterruptsSeen = 0;
WINDOW gInterruptWin = NULL_WIN;
struct sigaction gOldInt;
bool gIntInstalled = false;

short DuX(int v) {
  return static_cast<short>(v * 3 / 2);
}
short DuY(int v) {
  return static_cast<short>(v * 13 / 8);
}

void OnInterrupt(int) {
  if (gInterrupts > 0) {
    // The second one: the person means it.
    signal(SIGINT, SIG_DFL);
    raise(SIGINT);
    return;
  }
  gInterrupts = 1;
}

void ReleaseInterrupt() {
  if (gIntInstalled)
    sigaction(SIGINT, &gOldInt, nullptr);
  gIntInstalled = false;
  gInterruptWin = NULL_WIN;
  gInterrupts = 0;
  gInterruptsSeen = 0;
}

void FreeMenu(MENU_ITEM *tree) {
  if (tree == nullptr)
    return;
  for (MENU_ITEM *it = tree; it->tag != 0 || it->separator; ++it) {
    free(it->text);
    FreeMenu(it->child);
  }
  free(tree);
}

char *DupText(const char *s) {
  size_t n = s ? strlen(s) : 0;
  char *d = static_cast<char *>(malloc(n + 1));
  if (d != nullptr)
    StrCopy(d, n + 1, s);
  return d;
}

size_t CountItems(const MENU_ITEM *t) {
  size_t n = 0;
  while (t[n].tag != 0 || t[n].separator)
    ++n;
  return n;
}

MENU_ITEM *CopyMenu(const MENU_ITEM *tree) {
  if (tree == nullptr)
    return nullptr;
  size_t n = CountItems(tree);
  auto *out = static_cast<MENU_ITEM *>(calloc(n + 1, sizeof(MENU_ITEM)));
  if (out == nullptr)
    return nullptr;
  for (size_t i = 0; i < n; ++i) {
    out[i] = tree[i];
    out[i].text = DupText(tree[i].text);
    out[i].child = CopyMenu(tree[i].child);
  }
  return out;
}

MENU_ITEM *CopyMenuRes(const MENU_RES *res, int depth) {
  if (res == nullptr || depth > 16)
    return nullptr;
  size_t n = 0;
  while (res[n].tag != 0 || (res[n].flags & MENU_FLAG_SEPARATOR))
    ++n;
  auto *out = static_cast<MENU_ITEM *>(calloc(n + 1, sizeof(MENU_ITEM)));
  if (out == nullptr)
    return nullptr;
  for (size_t i = 0; i < n; ++i) {
    out[i].tag = res[i].tag;
    out[i].text = DupText(res[i].text);
    out[i].enabled = !(res[i].flags & MENU_FLAG_DISABLED);
    out[i].checked = (res[i].flags & MENU_FLAG_CHECKED) != 0;
    out[i].separator = (res[i].flags & MENU_FLAG_SEPARATOR) != 0;
    out[i].child = CopyMenuRes(res[i].child, depth + 1);
  }
  return out;
}

MENU_ITEM *FindMenuItem(MENU_ITEM *tree, int tag) {
  if (tree == nullptr)
    return nullptr;
  for (MENU_ITEM *it = tree; it->tag != 0 || it->separator; ++it) {
    if (!it->separator && it->tag == tag)
      return it;
    if (MENU_ITEM *c = FindMenuItem(it->child, tag))
      return c;
  }
  return nullptr;
}

bool Reachable(const MENU_ITEM *tree, int tag) {
  if (tree == nullptr)
    return false;
  for (const MENU_ITEM *it = tree; it->tag != 0 || it->separator; ++it) {
    if (it->separator)
      continue;
    if (it->tag == tag)
      return it->enabled;
    if (it->child != nullptr && XvtMenuFind(it->child, tag) != nullptr)
      return it->enabled && Reachable(it->child, tag);
  }
  return false;
}

void RegisterBuiltins() {
  if (gBuiltinsRegistered)
    return;
  gBuiltinsRegistered = true;
  XvtRegisterBackend(&XvtConsoleBackend);
  XvtRegisterBackend(&XvtScriptedBackend);
}

const XvtBackend *ChooseBackend() {
  RegisterBuiltins();
  const char *ui = getenv("MANTREL_UI");
  if (ui != nullptr && *ui != '\0') {
    if (const XvtBackend *b = XvtFindBackend(ui))
      return b;
    fprintf(stderr,
            "toolkit: no user interface named '%s'; using the "
            "console\n",
            ui);
    return &XvtConsoleBackend;
  }
  const char *script = getenv("MANTREL_SCRIPT");
  if (script != nullptr && *script != '\0')
    return &XvtScriptedBackend;
  const char *disp = getenv("DISPLAY");
  const char *way = getenv("WAYLAND_DISPLAY");
  bool display = (disp != nullptr && *disp) || (way != nullptr && *way);
  const XvtBackend *qt = XvtFindBackend("qt");
  if (qt != nullptr && display && qt->usable())
    return qt;
  return &XvtConsoleBackend;
}

void Notify(WINDOW top) {
  if (gBackend != nullptr && XvtFindWin(top) != nullptr)
    gBackend->changed(top);
}

// The top-level window of a window or control handle.
WINDOW TopOf(WINDOW h) {
  if (gWins.count(h))
    return h;
  auto it = gCtlOwner.find(h);
  return it == gCtlOwner.end() ? NULL_WIN : it->second;
}

void Dispatch(WINDOW win, EVENT *ev) {
  XvtWin *w = XvtFindWin(win);
  if (w == nullptr || w->handler == nullptr)
    return;
  if (w->destroying && ev->type != E_DESTROY)
    return;
  EVENT_HANDLER h = w->handler;
  h(win, ev);
}

void DestroyWin(WINDOW win) {
  XvtWin *w = XvtFindWin(win);
  if (w == nullptr || w->destroying)
    return;
  w->destroying = true;
  // Windows made with this one as parent go first.
  std::vector<WINDOW> children;
  for (WINDOW h : gStack) {
    XvtWin *c = XvtFindWin(h);
    if (c != nullptr && h != win && c->parent == win)
      children.push_back(h);
  }
  for (auto it = children.rbegin(); it != children.rend(); ++it)
    DestroyWin(*it);
  EVENT ev{};
  ev.type = E_DESTROY;
  Dispatch(win, &ev);
  if (gBackend != nullptr)
    gBackend->gone(win);
  w = XvtFindWin(win);
  if (w == nullptr)
    return;
  for (const XvtCtl &c : w->ctls) {
    gCtlOwner.erase(c.handle);
    if (gFocus == c.handle)
      gFocus = NULL_WIN;
  }
  FreeMenu(w->menu);
  w->menu = nullptr;
  if (gFocus == win)
    gFocus = NULL_WIN;
  if (gInterruptWin == win)
    ReleaseInterrupt();
  std::erase(gStack, win);
  gWins.erase(win);
  FrontChanged();
}

void SendControl(WINDOW win, const XvtCtl *c, int dbl) {
  EVENT ev{};
  ev.type = E_CONTROL;
  ev.v.ctl.id = c->id;
  ev.v.ctl.win = c->handle;
  ev.v.ctl.dbl_click = dbl;
  Dispatch(win, &ev);
}

void SendSimple(WINDOW win, EVENT_TYPE type) {
  EVENT ev{};
  ev.type = type;
  Dispatch(win, &ev);
}

void SendCommand(int tag) {
  EVENT ev{};
  ev.type = E_COMMAND;
  ev.v.cmd.tag = tag;
  Dispatch(TASK_WIN, &ev);
}

XvtCtl *DefaultButton(XvtWin *w) {
  for (XvtCtl &c : w->ctls)
    if (c.isDefault && c.kind == WC_PUSHBUTTON && c.enabled && c.visible)
      return &c;
  return nullptr;
}

WINDOW CreateFromRes(XvtWinKind kind, int rid, WINDOW parent,
                     EVENT_HANDLER handler, long data) {
  auto it = gRes.find(rid);
  if (it == gRes.end())
    return NULL_WIN;
  XvtEnsureBackend();
  const ResWin &r = it->second;
  auto w = std::make_unique<XvtWin>();
  WINDOW h = gNextHandle++;
  w->handle = h;
  w->resId = rid;
  w->kind = kind;
  w->parent = parent;
  w->handler = handler;
  w->data = data;
  w->title = r.title;
  w->visible = !(r.flags & WIN_FLAG_INVISIBLE);
  w->rect = RCT{0, 0, DuY(r.h), DuX(r.w)};
  for (const ResCtl &rc : r.ctls) {
    XvtCtl c;
    c.handle = gNextHandle++;
    c.id = rc.id;
    c.kind = rc.kind;
    c.rect = RCT{DuY(rc.y), DuX(rc.x), DuY(rc.y + rc.h), DuX(rc.x + rc.w)};
    c.title = rc.text;
    c.enabled = !(rc.flags & CTL_FLAG_DISABLED);
    c.visible = !(rc.flags & CTL_FLAG_INVISIBLE);
    c.checked = (rc.flags & CTL_FLAG_CHECKED) != 0;
    c.isDefault = (rc.flags & CTL_FLAG_DEFAULT) != 0;
    c.multiple = (rc.flags & CTL_FLAG_MULTIPLE) != 0;
    gCtlOwner[c.handle] = h;
    w->ctls.push_back(std::move(c));
  }
  gWins[h] = std::move(w);
  gStack.push_back(h);
  FrontChanged();
  SendSimple(h, E_CREATE);
  Notify(h);
  return h;
}

int RegisterRes(const XVT_WIN_RES *res) {
  if (res == nullptr || res->id <= 0 || res->nctls < 0 ||
      (res->nctls > 0 && res->ctls == nullptr))
    return 1;
  ResWin r;
  r.id = res->id;
  r.x = res->x;
  r.y = res->y;
  r.w = res->w;
  r.h = res->h;
  r.title = res->title ? res->title : "";
  r.flags = res->flags;
  for (int i = 0; i < res->nctls; ++i) {
    const XVT_CTL_RES &c = res->ctls[i];
    for (const ResCtl &o : r.ctls)
      if (o.id == c.id)
        return 1;
    r.ctls.push_back(ResCtl{c.id, c.kind, c.x, c.y, c.w, c.h,
                            c.text ? c.text : "", c.flags});
  }
  gRes[r.id] = std::move(r);
  return 0;
}

void RunQueue() {
  for (int n = 0; n < 100000 && !gQueue.empty(); ++n) {
    auto [win, ev] = gQueue.front();
    gQueue.pop_front();
    Dispatch(win, &ev);
  }
}

void CheckInterrupt() {
  if (gInterrupts > gInterruptsSeen) {
    gInterruptsSeen = gInterrupts;
    if (XvtFindWin(gInterruptWin) != nullptr) {
      EVENT ev{};
      ev.type = E_CHAR;
      ev.v.chr.ch = K_ESC;
      Dispatch(gInterruptWin, &ev);
    }
  }
}

void ApplyAction(const XvtWait *wait, const XvtAction *a) {
  WINDOW front = wait->win;
  switch (a->kind) {
  case XVT_ACT_MENU:
    SendCommand(a->num);
    break;
  case XVT_ACT_EXIT:
    SendCommand(M_FILE_EXIT);
    break;
  case XVT_ACT_CLICK:
  case XVT_ACT_DCLICK:
    if (XvtCtl *c = XvtFindCtlById(front, a->num))
      SendControl(front, c, a->kind == XVT_ACT_DCLICK);
    break;
  case XVT_ACT_SELECT:
    if (XvtCtl *c = XvtFindCtlById(front, a->num)) {
      std::fill(c->sel.begin(), c->sel.end(), 0);
      for (int i = 0; i < a->nrows; ++i)
        c->sel[static_cast<size_t>(a->rows[i])] = 1;
      Notify(front);
      if ((c = XvtFindCtlById(front, a->num)) != nullptr)
        SendControl(front, c, 0);
    }
    break;
  case XVT_ACT_SET:
    if (XvtCtl *c = XvtFindCtlById(front, a->num)) {
      c->title = a->text;
      Notify(front);
    }
    break;
  case XVT_ACT_KEY: {
    EVENT ev{};
    ev.type = E_CHAR;
    ev.v.chr.ch = a->num;
    Dispatch(front, &ev);
    break;
  }
  case XVT_ACT_CLOSE:
    SendSimple(front, E_CLOSE);
    break;
  case XVT_ACT_ENTER:
    if (XvtWin *w = XvtFindWin(front))
      if (XvtCtl *c = DefaultButton(w))
        SendControl(front, c, 0);
    break;
  case XVT_ACT_QUIT: {
    EVENT ev{};
    ev.type = E_QUIT;
    ev.v.query = 0;
    Dispatch(TASK_WIN, &ev);
    break;
  }
  default:
    break;
  }
}

// One thing the person does in front of the front window. Answers 0 when
// the backend has nothing.
int WaitStep(int block) {
  WINDOW front = XvtFrontWindow();
  XvtWait w;
  w.kind = !block ? XVT_WAIT_POLL
                  : (front == TASK_WIN ? XVT_WAIT_MENU : XVT_WAIT_WINDOW);
  w.win = front;
  XvtAction a;
  if (XvtEnsureBackend()->next_action(&w, block, &a) == 0)
    return 0;
  char why[200];
  if (!XvtActionFits(&w, &a, why, sizeof why)) {
    gBackend->reject(&a, why);
    return 1;
  }
  if (XvtWin *fw = XvtFindWin(front))
    fw->defaultTries = 0;
  ApplyAction(&w, &a);
  return 1;
}

// What a person pressing Enter would do, with a way out for a window whose
// handler ignores it: then its close box, then the toolkit takes it away.
void AnswerByDefault(WINDOW front) {
  XvtWin *w = XvtFindWin(front);
  if (w == nullptr)
    return;
  int n = w->defaultTries++;
  if (w->kind == XVT_WIN_TASK) {
    if (n == 0)
      SendCommand(M_FILE_EXIT);
    else if (n == 1)
      SendSimple(front, E_CLOSE);
    else
      xvtv_app_destroy();
    return;
  }
  if (n == 0) {
    XvtCtl *c = DefaultButton(w);
    if (c == nullptr) {
      c = XvtFindCtlById(front, 2);
      if (c != nullptr && (!c->enabled || c->kind != WC_PUSHBUTTON))
        c = nullptr;
    }
    if (c != nullptr)
      SendControl(front, c, 0);
    else
      SendSimple(front, E_CLOSE);
  } else if (n == 1) {
    SendSimple(front, E_CLOSE);
  } else {
    fprintf(stderr,
            "toolkit: window %d stayed up with no one to answer it; "
            "taken away\n",
            w->resId);
    DestroyWin(front);
  }
}

} // namespace

// ------------------------------------------------------------------ model

XvtWin *XvtFindWin(WINDOW win) {
  auto it = gWins.find(win);
  return it == gWins.end() ? nullptr : it->second.get();
}

XvtCtl *XvtFindCtl(WINDOW ctl) {
  auto it = gCtlOwner.find(ctl);
  if (it == gCtlOwner.end())
    return nullptr;
  XvtWin *w = XvtFindWin(it->second);
  if (w == nullptr)
    return nullptr;
  for (XvtCtl &c : w->ctls)
    if (c.handle == ctl)
      return &c;
  return nullptr;
}

XvtCtl *XvtFindCtlById(WINDOW win, int id) {
  XvtWin *w = XvtFindWin(win);
  if (w == nullptr)
    return nullptr;
  for (XvtCtl &c : w->ctls)
    if (c.id == id)
      return &c;
  return nullptr;
}

std::vector<WINDOW> XvtWindowStack() {
  return gStack;
}

WINDOW XvtFrontWindow() {
  for (auto it = gStack.rbegin(); it != gStack.rend(); ++it) {
    XvtWin *w = XvtFindWin(*it);
    if (w != nullptr && !w->destroying &&
        (w->visible || w->kind == XVT_WIN_MODAL))
      return *it;
  }
  return TASK_WIN;
}

const MENU_ITEM *XvtMenuFind(const MENU_ITEM *tree, int tag) {
  return FindMenuItem(const_cast<MENU_ITEM *>(tree), tag);
}

bool XvtMenuReachable(const MENU_ITEM *tree, int tag) {
  return Reachable(tree, tag);
}

// --------------------------------------------------------------- backends

int XvtRegisterBackend(const XvtBackend *b) {
  if (b == nullptr || b->name == nullptr || b->usable == nullptr ||
      b->start == nullptr || b->stop == nullptr || b->changed == nullptr ||
      b->gone == nullptr || b->next_action == nullptr || b->reject == nullptr)
    return 1;
  for (const XvtBackend *&o : gBackends)
    if (strcmp(o->name, b->name) == 0) {
      o = b;
      return 0;
    }
  gBackends.push_back(b);
  return 0;
}

const XvtBackend *XvtFindBackend(const char *name) {
  RegisterBuiltins();
  if (name == nullptr)
    return nullptr;
  for (const XvtBackend *b : gBackends)
    if (strcasecmp(b->name, name) == 0)
      return b;
  return nullptr;
}

const XvtBackend *XvtEnsureBackend() {
  if (gBackend == nullptr) {
    XvtStartupDir();
    gBackend = ChooseBackend();
    gBackend->start();
  }
  return gBackend;
}

const XvtBackend *XvtCurrentBackend() {
  return XvtEnsureBackend();
}

void XvtReset() {
  for (auto &[h, w] : gWins)
    FreeMenu(w->menu);
  gWins.clear();
  gCtlOwner.clear();
  gStack.clear();
  gQueue.clear();
  gAttrs.clear();
  gFocus = NULL_WIN;
  TASK_WIN = NULL_WIN;
  gRunning = false;
  gDestroyingApp = false;
  ReleaseInterrupt();
  if (gBackend != nullptr)
    gBackend->stop();
  gBackend = nullptr;
  XvtResetDirs();
}

// ------------------------------------------------------------ application

int xvt_app_create(int argc, char **argv, unsigned long flags,
                   EVENT_HANDLER handler, const XVT_CONFIG *config) {
  (void)argc;
  (void)argv;
  (void)flags;
  XvtEnsureBackend();
  auto w = std::make_unique<XvtWin>();
  WINDOW h = gNextHandle++;
  w->handle = h;
  w->kind = XVT_WIN_TASK;
  w->handler = handler;
  w->rect = RCT{0, 0, 480, 640};
  if (config != nullptr) {
    w->title = config->taskwin_title ? config->taskwin_title : "";
    auto m = gMenuRes.trees.find(config->menu_bar_ID);
    if (m != gMenuRes.trees.end())
      w->menu = CopyMenu(m->second);
  }
  gWins[h] = std::move(w);
  gStack.insert(gStack.begin(), h);
  TASK_WIN = h;
  gRunning = true;
  gDestroyingApp = false;
  SendSimple(h, E_CREATE);
  Notify(h);
  while (gRunning) {
    RunQueue();
    CheckInterrupt();
    if (!gRunning)
      break;
    if (WaitStep(1) == 0)
      AnswerByDefault(XvtFrontWindow());
  }
  // The backend stays chosen: a box after the end (from a cleanup) must
  // not start a script over. XvtReset chooses anew.
  gBackend->stop();
  TASK_WIN = NULL_WIN;
  gDestroyingApp = false;
  return 0;
}

void xvtv_app_destroy() {
  if (gDestroyingApp)
    return;
  gDestroyingApp = true;
  gRunning = false;
  std::vector<WINDOW> stack = gStack;
  for (auto it = stack.rbegin(); it != stack.rend(); ++it)
    if (*it != TASK_WIN)
      DestroyWin(*it);
  if (TASK_WIN != NULL_WIN)
    DestroyWin(TASK_WIN);
  gQueue.clear();
}

void xvt_app_allow_quit() {
  xvtv_app_destroy();
}

int xvt_app_is_running() {
  return gRunning ? 1 : 0;
}

void xvt_app_process_pending_events() {
  CheckInterrupt();
  RunQueue();
  for (int i = 0; i < 64 && WaitStep(0) != 0; ++i) {
    RunQueue();
    CheckInterrupt();
  }
}

void xvt_app_escape_on_interrupt(WINDOW win) {
  if (XvtFindWin(win) == nullptr)
    return;
  ReleaseInterrupt();
  struct sigaction sa;
  memset(&sa, 0, sizeof sa);
  sa.sa_handler = OnInterrupt;
  sigemptyset(&sa.sa_mask);
  if (sigaction(SIGINT, &sa, &gOldInt) == 0)
    gIntInstalled = true;
  gInterruptWin = win;
}

void xvt_vobj_set_attr(WINDOW win, long attr, long value) {
  (void)win;
  for (auto &p : gAttrs)
    if (p.first == attr) {
      p.second = value;
      return;
    }
  gAttrs.emplace_back(attr, value);
}

long xvt_vobj_get_attr(WINDOW win, long attr) {
  (void)win;
  for (auto &p : gAttrs)
    if (p.first == attr)
      return p.second;
  return 0;
}

void xvt_win_set_cursor(WINDOW win, int cursor) {
  if (XvtWin *w = XvtFindWin(win)) {
    w->cursor = cursor;
    Notify(win);
  }
}

void xvt_win_set_doc_title(WINDOW win, const char *title) {
  xvt_vobj_set_title(win, title);
}

// -------------------------------------------------------- windows, controls

void xvt_vobj_set_title(WINDOW win, const char *title) {
  if (XvtWin *w = XvtFindWin(win))
    w->title = title ? title : "";
  else if (XvtCtl *c = XvtFindCtl(win))
    c->title = title ? title : "";
  else
    return;
  Notify(TopOf(win));
}

char *xvt_vobj_get_title(WINDOW win, char *buf, int size) {
  if (buf == nullptr || size <= 0)
    return nullptr;
  if (XvtWin *w = XvtFindWin(win))
    StrCopy(buf, static_cast<size_t>(size), w->title.c_str());
  else if (XvtCtl *c = XvtFindCtl(win))
    StrCopy(buf, static_cast<size_t>(size), c->title.c_str());
  else
    return nullptr;
  return buf;
}

void xvt_vobj_set_visible(WINDOW win, bool visible) {
  if (XvtWin *w = XvtFindWin(win))
    w->visible = visible;
  else if (XvtCtl *c = XvtFindCtl(win))
    c->visible = visible;
  else
    return;
  Notify(TopOf(win));
}

bool xvt_vobj_is_visible(WINDOW win) {
  if (XvtWin *w = XvtFindWin(win))
    return w->visible;
  if (XvtCtl *c = XvtFindCtl(win))
    return c->visible;
  return false;
}

void xvt_vobj_set_enabled(WINDOW win, bool enabled) {
  if (XvtWin *w = XvtFindWin(win))
    w->enabled = enabled;
  else if (XvtCtl *c = XvtFindCtl(win))
    c->enabled = enabled;
  else
    return;
  Notify(TopOf(win));
}

bool xvt_vobj_is_enabled(WINDOW win) {
  if (XvtWin *w = XvtFindWin(win))
    return w->enabled;
  if (XvtCtl *c = XvtFindCtl(win))
    return c->enabled;
  return false;
}

bool xvt_vobj_is_valid(WINDOW win) {
  return TopOf(win) != NULL_WIN;
}

void xvt_vobj_destroy(WINDOW win) {
  if (XvtFindWin(win) != nullptr) {
    if (win == TASK_WIN)
      xvtv_app_destroy();
    else
      DestroyWin(win);
  }
}

long xvt_vobj_get_data(WINDOW win) {
  if (XvtWin *w = XvtFindWin(win))
    return w->data;
  if (XvtCtl *c = XvtFindCtl(win))
    return c->data;
  return 0;
}

void xvt_vobj_set_data(WINDOW win, long data) {
  if (XvtWin *w = XvtFindWin(win))
    w->data = data;
  else if (XvtCtl *c = XvtFindCtl(win))
    c->data = data;
}

WINDOW xvt_vobj_get_parent(WINDOW win) {
  if (XvtWin *w = XvtFindWin(win))
    return w->parent;
  return TopOf(win);
}

RCT *xvt_vobj_get_client_rect(WINDOW win, RCT *rct) {
  if (rct == nullptr)
    return nullptr;
  if (XvtWin *w = XvtFindWin(win))
    *rct = w->rect;
  else if (XvtCtl *c = XvtFindCtl(win))
    *rct = RCT{0, 0, static_cast<short>(c->rect.bottom - c->rect.top),
               static_cast<short>(c->rect.right - c->rect.left)};
  else
    return nullptr;
  return rct;
}

RCT *xvt_vobj_get_outer_rect(WINDOW win, RCT *rct) {
  if (rct == nullptr)
    return nullptr;
  if (XvtWin *w = XvtFindWin(win))
    *rct = w->rect;
  else if (XvtCtl *c = XvtFindCtl(win))
    *rct = c->rect;
  else
    return nullptr;
  return rct;
}

void xvt_scr_set_focus_vobj(WINDOW win) {
  WINDOW top = TopOf(win);
  if (top == NULL_WIN)
    return;
  gFocus = win;
  std::erase(gStack, top);
  gStack.push_back(top);
  FrontChanged();
  Notify(top);
}

WINDOW xvt_scr_get_focus_vobj() {
  return gFocus;
}

WINDOW xvt_win_get_ctl(WINDOW win, int id) {
  XvtCtl *c = XvtFindCtlById(win, id);
  return c ? c->handle : NULL_WIN;
}

int xvt_ctl_get_id(WINDOW ctl) {
  XvtCtl *c = XvtFindCtl(ctl);
  return c ? c->id : 0;
}

void xvt_ctl_set_checked(WINDOW ctl, bool checked) {
  if (XvtCtl *c = XvtFindCtl(ctl)) {
    c->checked = checked;
    Notify(TopOf(ctl));
  }
}

bool xvt_ctl_is_checked(WINDOW ctl) {
  XvtCtl *c = XvtFindCtl(ctl);
  return c != nullptr && c->checked;
}

void xvt_win_dispatch_event(WINDOW win, EVENT *ev) {
  if (ev != nullptr)
    Dispatch(win, ev);
}

void xvt_win_post_event(WINDOW win, const EVENT *ev) {
  if (ev != nullptr && XvtFindWin(win) != nullptr)
    gQueue.emplace_back(win, *ev);
}

// --------------------------------------------------------------- resources

int xvt_res_register_dialog(const XVT_WIN_RES *res) {
  return RegisterRes(res);
}
int xvt_res_register_window(const XVT_WIN_RES *res) {
  return RegisterRes(res);
}

WINDOW xvt_dlg_create_res(int kind, int rid, long mask, EVENT_HANDLER handler,
                          long app_data) {
  (void)mask;
  if (kind != WD_MODAL && kind != WD_MODELESS)
    return NULL_WIN;
  WINDOW dlg =
      CreateFromRes(kind == WD_MODAL ? XVT_WIN_MODAL : XVT_WIN_MODELESS, rid,
                    TASK_WIN, handler, app_data);
  if (dlg == NULL_WIN || kind == WD_MODELESS)
    return dlg;
  while (XvtFindWin(dlg) != nullptr) {
    RunQueue();
    CheckInterrupt();
    if (XvtFindWin(dlg) == nullptr)
      break;
    if (WaitStep(1) == 0)
      AnswerByDefault(XvtFrontWindow());
  }
  return dlg;
}

WINDOW xvt_win_create_res(int rid, WINDOW parent, long mask,
                          EVENT_HANDLER handler, long app_data) {
  (void)mask;
  return CreateFromRes(XVT_WIN_WINDOW, rid, parent, handler, app_data);
}

// -------------------------------------------------------------- list boxes

namespace {
XvtCtl *ListCtl(WINDOW ctl) {
  XvtCtl *c = XvtFindCtl(ctl);
  if (c == nullptr || (c->kind != WC_LBOX && c->kind != WC_LISTBUTTON &&
                       c->kind != WC_LISTEDIT))
    return nullptr;
  return c;
}
void ListChanged(WINDOW ctl, const XvtCtl *c) {
  if (c->suspended == 0)
    Notify(TopOf(ctl));
}
} // namespace

void xvt_list_clear(WINDOW ctl) {
  if (XvtCtl *c = ListCtl(ctl)) {
    c->rows.clear();
    c->sel.clear();
    ListChanged(ctl, c);
  }
}

void xvt_list_suspend(WINDOW ctl) {
  if (XvtCtl *c = ListCtl(ctl))
    ++c->suspended;
}

void xvt_list_resume(WINDOW ctl) {
  if (XvtCtl *c = ListCtl(ctl)) {
    if (c->suspended > 0)
      --c->suspended;
    ListChanged(ctl, c);
  }
}

bool xvt_list_add(WINDOW ctl, int index, const char *text) {
  XvtCtl *c = ListCtl(ctl);
  if (c == nullptr)
    return false;
  int n = static_cast<int>(c->rows.size());
  if (index < -1 || index > n)
    return false;
  size_t at = index == -1 ? c->rows.size() : static_cast<size_t>(index);
  c->rows.insert(c->rows.begin() + static_cast<long>(at), text ? text : "");
  c->sel.insert(c->sel.begin() + static_cast<long>(at), 0);
  ListChanged(ctl, c);
  return true;
}

bool xvt_list_rem(WINDOW ctl, int index) {
  XvtCtl *c = ListCtl(ctl);
  if (c == nullptr || index < 0 || index >= static_cast<int>(c->rows.size()))
    return false;
  c->rows.erase(c->rows.begin() + index);
  c->sel.erase(c->sel.begin() + index);
  ListChanged(ctl, c);
  return true;
}

void xvt_list_set_sel(WINDOW ctl, int index, bool select) {
  XvtCtl *c = ListCtl(ctl);
  if (c == nullptr || index < 0 || index >= static_cast<int>(c->rows.size()))
    return;
  if (select && !c->multiple)
    std::fill(c->sel.begin(), c->sel.end(), 0);
  c->sel[static_cast<size_t>(index)] = select ? 1 : 0;
  ListChanged(ctl, c);
}

void xvt_list_set_all_sel(WINDOW ctl, bool select) {
  XvtCtl *c = ListCtl(ctl);
  if (c == nullptr)
    return;
  if (select && !c->multiple)
    return; // a list of one selection has no "all"
  std::fill(c->sel.begin(), c->sel.end(), select ? 1 : 0);
  ListChanged(ctl, c);
}

bool xvt_list_is_sel(WINDOW ctl, int index) {
  XvtCtl *c = ListCtl(ctl);
  return c != nullptr && index >= 0 &&
         index < static_cast<int>(c->sel.size()) &&
         c->sel[static_cast<size_t>(index)] != 0;
}

int xvt_list_get_sel_index(WINDOW ctl) {
  XvtCtl *c = ListCtl(ctl);
  if (c == nullptr)
    return -1;
  for (size_t i = 0; i < c->sel.size(); ++i)
    if (c->sel[i])
      return static_cast<int>(i);
  return -1;
}

int xvt_list_count_sel(WINDOW ctl) {
  XvtCtl *c = ListCtl(ctl);
  if (c == nullptr)
    return 0;
  int n = 0;
  for (char s : c->sel)
    n += s ? 1 : 0;
  return n;
}

char *xvt_list_get_elt(WINDOW ctl, int index, char *buf, int size) {
  XvtCtl *c = ListCtl(ctl);
  if (c == nullptr || buf == nullptr || size <= 0 || index < 0 ||
      index >= static_cast<int>(c->rows.size()))
    return nullptr;
  StrCopy(buf, static_cast<size_t>(size),
          c->rows[static_cast<size_t>(index)].c_str());
  return buf;
}

int xvt_list_count(WINDOW ctl) {
  XvtCtl *c = ListCtl(ctl);
  return c ? static_cast<int>(c->rows.size()) : 0;
}

// ------------------------------------------------------------------- menus

int xvt_res_register_menu(int rid, const MENU_RES *tree) {
  if (rid <= 0 || tree == nullptr)
    return 1;
  MENU_ITEM *copy = CopyMenuRes(tree, 0);
  if (copy == nullptr)
    return 1;
  auto it = gMenuRes.trees.find(rid);
  if (it != gMenuRes.trees.end())
    FreeMenu(it->second);
  gMenuRes.trees[rid] = copy;
  return 0;
}

MENU_ITEM *xvt_menu_get_tree(WINDOW win) {
  XvtWin *w = XvtFindWin(win);
  return w ? CopyMenu(w->menu) : nullptr;
}

void xvt_menu_set_tree(WINDOW win, const MENU_ITEM *tree) {
  XvtWin *w = XvtFindWin(win);
  if (w == nullptr)
    return;
  MENU_ITEM *copy = CopyMenu(tree);
  FreeMenu(w->menu);
  w->menu = copy;
  Notify(win);
}

void xvt_res_free_menu_tree(MENU_ITEM *tree) {
  FreeMenu(tree);
}

void xvt_menu_set_item_enabled(WINDOW win, int tag, bool enabled) {
  XvtWin *w = XvtFindWin(win);
  if (w == nullptr)
    return;
  if (MENU_ITEM *it = FindMenuItem(w->menu, tag))
    it->enabled = enabled;
}

void xvt_menu_update(WINDOW win) {
  Notify(win);
}

// ----------------------------------------------------------------- drawing

void xvt_dwin_clear(WINDOW win, COLOR color) {
  if (XvtWin *w = XvtFindWin(win)) {
    w->canvas.clear();
    w->background = color;
    Notify(win);
  }
}

void xvt_dwin_set_fill_color(WINDOW win, COLOR color) {
  if (XvtWin *w = XvtFindWin(win))
    w->fill = color;
}

void xvt_dwin_draw_rect(WINDOW win, const RCT *rct) {
  XvtWin *w = XvtFindWin(win);
  if (w == nullptr || rct == nullptr)
    return;
  // A window that is never cleared must not grow without end.
  if (w->canvas.size() >= 100000)
    w->canvas.erase(w->canvas.begin(), w->canvas.begin() + 50000);
  w->canvas.push_back(XvtDrawOp{*rct, w->fill});
  Notify(win);
}

void xvt_dwin_invalidate_rect(WINDOW win, const RCT *rct) {
  (void)rct;
  EVENT ev{};
  ev.type = E_UPDATE;
  xvt_win_post_event(win, &ev);
}

// ------------------------------------------------------------ fitting

bool XvtActionFits(const XvtWait *w, const XvtAction *a, char *why,
                   int whySize) {
  size_t ws = whySize > 0 ? static_cast<size_t>(whySize) : 0;
  WINDOW front = w->win;
  XvtWin *fw = XvtFindWin(front);
  bool modal = fw != nullptr && fw->kind == XVT_WIN_MODAL;
  switch (a->kind) {
  case XVT_ACT_MENU:
  case XVT_ACT_EXIT: {
    if (modal) {
      StrCopy(why, ws, "a modal dialog is in front of the menu");
      return false;
    }
    XvtWin *task = XvtFindWin(TASK_WIN);
    if (task == nullptr) {
      StrCopy(why, ws, "there is no menu window");
      return false;
    }
    if (a->kind == XVT_ACT_EXIT)
      return true;
    if (XvtMenuFind(task->menu, a->num) == nullptr) {
      StrFormat(why, ws, "the menu has no command %d", a->num);
      return false;
    }
    if (!XvtMenuReachable(task->menu, a->num)) {
      StrFormat(why, ws, "menu command %d is disabled", a->num);
      return false;
    }
    return true;
  }
  case XVT_ACT_CLICK:
  case XVT_ACT_DCLICK:
  case XVT_ACT_SELECT:
  case XVT_ACT_SET: {
    XvtCtl *c = XvtFindCtlById(front, a->num);
    if (c == nullptr) {
      StrFormat(why, ws, "the window in front has no control %d", a->num);
      return false;
    }
    if (!c->enabled || !c->visible) {
      StrFormat(why, ws, "control %d is %s", a->num,
                c->enabled ? "hidden" : "disabled");
      return false;
    }
    bool list = c->kind == WC_LBOX || c->kind == WC_LISTBUTTON ||
                c->kind == WC_LISTEDIT;
    if (a->kind == XVT_ACT_CLICK &&
        (c->kind == WC_TEXT || c->kind == WC_GROUPBOX)) {
      StrFormat(why, ws, "control %d is a text and cannot be pressed", a->num);
      return false;
    }
    if ((a->kind == XVT_ACT_DCLICK || a->kind == XVT_ACT_SELECT) && !list) {
      StrFormat(why, ws, "control %d is no list", a->num);
      return false;
    }
    if (a->kind == XVT_ACT_SET && c->kind != WC_EDIT &&
        c->kind != WC_LISTEDIT) {
      StrFormat(why, ws, "control %d takes no typing", a->num);
      return false;
    }
    if (a->kind == XVT_ACT_SELECT) {
      if (a->nrows > 1 && !c->multiple) {
        StrFormat(why, ws, "list %d takes one row only", a->num);
        return false;
      }
      for (int i = 0; i < a->nrows; ++i)
        if (a->rows[i] < 0 || a->rows[i] >= static_cast<int>(c->rows.size())) {
          StrFormat(why, ws, "list %d has no row %d", a->num, a->rows[i]);
          return false;
        }
    }
    return true;
  }
  case XVT_ACT_KEY:
  case XVT_ACT_CLOSE:
    if (fw == nullptr) {
      StrCopy(why, ws, "no window is up");
      return false;
    }
    return true;
  case XVT_ACT_ENTER:
    if (fw == nullptr || DefaultButton(fw) == nullptr) {
      StrCopy(why, ws, "the window in front has no default button");
      return false;
    }
    return true;
  case XVT_ACT_WAIT:
  case XVT_ACT_QUIT:
    return true;
  default:
    StrFormat(why, ws, "'%s' answers a box or chooser, and none is up",
              XvtActionName(a->kind));
    return false;
  }
}
