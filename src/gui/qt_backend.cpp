// The backend table: starting Qt, waiting for what the person does, and
// working a script's lines on the real widgets. The toolkit's core applies
// every action; this file only finds out what the next one is.
#include "gui/qt_internal.h"
#include "platform/strutil.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QStyleFactory>
#include <QTimer>
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

int QtIdleLimitMs = 0;
char QtSelfPath[1024] = "";

namespace {

struct Pending {
  WINDOW win;
  XvtAction act;
  QtOrigin origin;
};

std::deque<Pending> gPending;
bool gScripted = false;                // MANTREL_SCRIPT drives us
const XvtBackend *gFallback = nullptr; // no screen: the console instead
QElapsedTimer gSincePoll;              // time since events were last run
bool gTaskWaiting = false;             // the task window's cursor

bool SocketAnswers(const std::string &path) {
  if (path.size() >= sizeof(sockaddr_un::sun_path))
    return false;
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (fd < 0)
    return false;
  sockaddr_un sa{};
  sa.sun_family = AF_UNIX;
  StrCopy(sa.sun_path, sizeof sa.sun_path, path.c_str());
  bool ok = connect(fd, reinterpret_cast<sockaddr *>(&sa), sizeof sa) == 0;
  close(fd);
  return ok;
}

bool Set(const char *name) {
  const char *v = getenv(name);
  return v != nullptr && *v != '\0';
}

// Actions that belong to the window in front, as opposed to the menu and
// the application as a whole.
bool WindowBound(XvtActKind k) {
  return k != XVT_ACT_MENU && k != XVT_ACT_EXIT && k != XVT_ACT_QUIT &&
         k != XVT_ACT_WAIT;
}

// Takes the first action of that origin. An action done in a window that is
// not in front brings that window to the front first (a person clicked it):
// the toolkit is asked to look again, and the action follows.
int TakePending(const XvtWait *w, QtOrigin origin, XvtAction *act) {
  for (auto it = gPending.begin(); it != gPending.end(); ++it) {
    if (it->origin != origin)
      continue;
    if (origin == kQtFromWindow && WindowBound(it->act.kind) &&
        it->win != w->win) {
      if (XvtFindWin(it->win) == nullptr) {
        gPending.erase(it);
        return TakePending(w, origin, act);
      }
      xvt_scr_set_focus_vobj(it->win);
      if (XvtFrontWindow() != it->win) {
        gPending.erase(it); // it cannot come to the front: a modal is up
        return TakePending(w, origin, act);
      }
      *act = XvtAction();
      act->kind = XVT_ACT_WAIT;
      return 1;
    }
    *act = it->act;
    gPending.erase(it);
    return 1;
  }
  return 0;
}

bool IsBoxWait(const XvtWait *w) {
  return w->kind == XVT_WAIT_BOX || w->kind == XVT_WAIT_STRING ||
         w->kind == XVT_WAIT_OPEN || w->kind == XVT_WAIT_SAVE ||
         w->kind == XVT_WAIT_FOLDER;
}

// ------------------------------------------------ a script on the widgets

QAction *FindMenuAction(const QList<QAction *> &actions, int tag) {
  for (QAction *a : actions) {
    if (a->isSeparator())
      continue;
    if (a->menu() != nullptr) {
      if (QAction *found = FindMenuAction(a->menu()->actions(), tag))
        return found;
    } else if (a->data().toInt() == tag) {
      return a;
    }
  }
  return nullptr;
}

void SendKey(QWidget *top, int key) {
  QWidget *target = top->focusWidget() != nullptr ? top->focusWidget() : top;
  QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
  QCoreApplication::sendEvent(target, &press);
}

// Works one line of a script on the widgets of the window in front, as a
// person would. Answers false when no widget took it: the line then goes to
// the toolkit as it stands, which applies it or says why it does not fit.
bool PerformOnWindow(const XvtWait *w, const XvtAction &s) {
  char why[300];
  if (!XvtActionFits(w, &s, why, sizeof why))
    return false;
  if (s.kind == XVT_ACT_MENU || s.kind == XVT_ACT_EXIT) {
    QtWinView *task = QtViewOf(TASK_WIN);
    if (task == nullptr || task->menuBar == nullptr)
      return false;
    QAction *a = FindMenuAction(task->menuBar->actions(),
                                s.kind == XVT_ACT_EXIT ? M_FILE_EXIT : s.num);
    if (a == nullptr || !a->isEnabled())
      return false;
    a->trigger();
    return true;
  }
  QtWinView *v = QtViewOf(w->win);
  if (v == nullptr)
    return false;
  QtCtlView *cv = QtCtlOf(v, s.num);
  switch (s.kind) {
  case XVT_ACT_CLICK:
    if (auto *b = qobject_cast<QAbstractButton *>(cv ? cv->widget : nullptr)) {
      b->click();
      return true;
    }
    return false;
  case XVT_ACT_DCLICK:
    if (auto *l = qobject_cast<QListWidget *>(cv ? cv->widget : nullptr)) {
      QListWidgetItem *item = l->currentItem();
      if (item == nullptr && l->count() > 0)
        item = l->item(0);
      emit l->itemDoubleClicked(item);
      return true;
    }
    return false;
  case XVT_ACT_SELECT:
    if (auto *l = qobject_cast<QListWidget *>(cv ? cv->widget : nullptr)) {
      // A list filled while its display was suspended may not show all its
      // rows yet: the toolkit then judges the line itself.
      for (int i = 0; i < s.nrows; ++i)
        if (l->item(s.rows[i]) == nullptr)
          return false;
      {
        const QSignalBlocker block(l);
        l->clearSelection();
        for (int i = 0; i < s.nrows; ++i)
          l->item(s.rows[i])->setSelected(true);
        if (s.nrows > 0)
          l->setCurrentRow(s.rows[0], QItemSelectionModel::NoUpdate);
      }
      emit l->itemSelectionChanged();
      return true;
    }
    if (auto *b = qobject_cast<QComboBox *>(cv ? cv->widget : nullptr)) {
      if (s.nrows != 1 || s.rows[0] >= b->count())
        return false;
      b->setCurrentIndex(s.rows[0]);
      emit b->activated(s.rows[0]);
      return true;
    }
    return false;
  case XVT_ACT_SET: {
    QLineEdit *e = qobject_cast<QLineEdit *>(cv ? cv->widget : nullptr);
    if (e == nullptr)
      if (auto *b = qobject_cast<QComboBox *>(cv ? cv->widget : nullptr))
        e = b->lineEdit();
    if (e == nullptr)
      return false;
    e->selectAll();
    e->insert(QtText(s.text));
    return true;
  }
  case XVT_ACT_KEY:
    if (s.num != K_ESC && s.num != K_ENTER)
      return false;
    SendKey(v->top, s.num == K_ESC ? Qt::Key_Escape : Qt::Key_Return);
    return true;
  case XVT_ACT_ENTER:
    SendKey(v->top, Qt::Key_Return);
    return true;
  case XVT_ACT_CLOSE:
    v->top->close();
    return true;
  default:
    return false;
  }
}

int ScriptStep(const XvtWait *w, int block, XvtAction *act) {
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  gPending.clear(); // in a scripted session only the script acts
  XvtAction s;
  if (XvtScriptedBackend.next_action(w, block, &s) == 0)
    return 0;
  QtOrigin origin = IsBoxWait(w) ? kQtFromBox : kQtFromWindow;
  bool done = origin == kQtFromBox ? QtBoxPerform(w, s) : PerformOnWindow(w, s);
  if (done) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    if (TakePending(w, origin, act))
      return 1;
  }
  *act = s;
  return 1;
}

int PersonStep(const XvtWait *w, int block, XvtAction *act) {
  QtOrigin origin = IsBoxWait(w) ? kQtFromBox : kQtFromWindow;
  if (!block) {
    // A job lets events through very often; the screen needs them only
    // now and then.
    if (gSincePoll.isValid() && gSincePoll.elapsed() < 15 && gPending.empty())
      return 0;
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    gSincePoll.restart();
    return TakePending(w, origin, act);
  }
  QElapsedTimer idle;
  idle.start();
  QTimer tick; // wakes the wait now and then, for the idle limit
  tick.start(100);
  for (;;) {
    if (TakePending(w, origin, act))
      return 1;
    if (QtIdleLimitMs > 0 && idle.elapsed() > QtIdleLimitMs) {
      fprintf(stderr, "qt: no one acted for %d ms; answering as Enter would\n",
              QtIdleLimitMs);
      fflush(stderr);
      return 0;
    }
    QCoreApplication::processEvents(QEventLoop::AllEvents |
                                    QEventLoop::WaitForMoreEvents);
    gSincePoll.restart();
  }
}

// ------------------------------------------------------------- the table

int QtUsable() {
  return QtScreenReachable();
}

void QtStart() {
  gPending.clear();
  gTaskWaiting = false;
  gFallback = nullptr;
  if (QtEnsureApplication() != 0) {
    fprintf(stderr, "qt: no screen can be reached; using the console\n");
    fflush(stderr);
    gFallback = &XvtConsoleBackend;
    gFallback->start();
    return;
  }
  gScripted = Set("MANTREL_SCRIPT");
  if (gScripted)
    XvtScriptedBackend.start();
  XvtPictureShowHook = QtPictureShow;
  XvtPictureHideHook = QtPictureHide;
  QtViewerSetup();
}

void QtStop() {
  if (gFallback != nullptr) {
    gFallback->stop();
    return;
  }
  if (gScripted)
    XvtScriptedBackend.stop();
  QtBoxClose();
  QtPictureHide();
  QtDropAllViews();
  gPending.clear();
  XvtPictureShowHook = nullptr;
  XvtPictureHideHook = nullptr;
  if (qApp != nullptr)
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void QtChanged(WINDOW win) {
  if (gFallback != nullptr) {
    gFallback->changed(win);
    return;
  }
  if (std::find(QtDirty.begin(), QtDirty.end(), win) == QtDirty.end())
    QtDirty.push_back(win);
  // The waiting cursor goes on before work that lets no events through
  // (a table rebuild under the Working dialog): the screen is brought up
  // to date first, or it would show nothing until the work is done. The
  // same holds for a window that comes up while the cursor already waits.
  if (win == TASK_WIN) {
    const XvtWin *w = XvtFindWin(win);
    bool waiting = w != nullptr && w->cursor == CURSOR_WAIT;
    bool fresh = false;
    for (WINDOW h : QtDirty)
      fresh |= h != TASK_WIN && QtViewOf(h) == nullptr;
    if (waiting && (!gTaskWaiting || fresh)) {
      QtSyncAll();
      QtSettle();
    }
    gTaskWaiting = waiting;
  }
}

void QtGone(WINDOW win) {
  if (gFallback != nullptr) {
    gFallback->gone(win);
    return;
  }
  QtDropView(win);
  std::erase_if(gPending, [win](const Pending &p) { return p.win == win; });
}

int QtNext(const XvtWait *w, int block, XvtAction *act) {
  if (gFallback != nullptr)
    return gFallback->next_action(w, block, act);
  if (block || gScripted || !gSincePoll.isValid() || gSincePoll.elapsed() >= 15)
    QtSyncAll();
  bool box = IsBoxWait(w);
  if (box)
    QtBoxOpen(w);
  int r = gScripted ? ScriptStep(w, block, act) : PersonStep(w, block, act);
  if (box)
    QtBoxClose();
  return r;
}

void QtReject(const XvtAction *act, const char *why) {
  if (gFallback != nullptr) {
    gFallback->reject(act, why);
    return;
  }
  if (gScripted) {
    XvtScriptedBackend.reject(act, why);
    return;
  }
  fprintf(stderr, "qt: %s\n", why);
  fflush(stderr);
  QApplication::beep();
}

const XvtBackend kQtBackend = {"qt",      QtUsable, QtStart, QtStop,
                               QtChanged, QtGone,   QtNext,  QtReject};

} // namespace

// ------------------------------------------------------------ the queue

void QtQueue(WINDOW win, const XvtAction &act, QtOrigin origin) {
  gPending.push_back(Pending{win, act, origin});
}

void QtQueueTyping(WINDOW win, int id, const std::string &text) {
  XvtAction a;
  a.kind = XVT_ACT_SET;
  a.num = id;
  StrCopy(a.text, text.c_str());
  if (!gPending.empty()) {
    Pending &last = gPending.back();
    if (last.win == win && last.act.kind == XVT_ACT_SET && last.act.num == id) {
      last.act = a;
      return;
    }
  }
  QtQueue(win, a, kQtFromWindow);
}

bool QtTypingPending(WINDOW win, int id) {
  for (const Pending &p : gPending)
    if (p.win == win && p.act.kind == XVT_ACT_SET && p.act.num == id)
      return true;
  return false;
}

void QtClearQueue(QtOrigin origin) {
  std::erase_if(gPending,
                [origin](const Pending &p) { return p.origin == origin; });
}

// ----------------------------------------------------------- public calls

int XvtRegisterQtBackend() {
  return XvtRegisterBackend(&kQtBackend);
}

int QtScreenReachable() {
  if (Set("QT_QPA_PLATFORM"))
    return 1;
  if (Set("WAYLAND_DISPLAY")) {
    std::string name = getenv("WAYLAND_DISPLAY");
    std::string path = name;
    if (name[0] != '/') {
      const char *run = getenv("XDG_RUNTIME_DIR");
      path = std::string(run != nullptr ? run : "") + "/" + name;
    }
    if (SocketAnswers(path))
      return 1;
  }
  if (Set("DISPLAY")) {
    std::string d = getenv("DISPLAY");
    size_t colon = d.rfind(':');
    if (colon == std::string::npos)
      return 0;
    if (colon > 0 && d.compare(0, colon, "unix") != 0)
      return 1; // a display over the network: Qt finds out
    std::string num = d.substr(colon + 1);
    num = num.substr(0, num.find('.'));
    if (num.empty() || num.find_first_not_of("0123456789") != std::string::npos)
      return 0;
    return SocketAnswers("/tmp/.X11-unix/X" + num) ? 1 : 0;
  }
  return 0;
}

int QtEnsureApplication() {
  if (qApp != nullptr)
    return 0;
  if (!QtScreenReachable())
    return 1;
  static int argc = 1;
  static char name[] = "mantrel";
  static char *argv[] = {name, nullptr};
  // One application for the life of the process: tests start and stop the
  // backend many times.
  new QApplication(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Mantrel"));
  if (QStyle *fusion = QStyleFactory::create(QStringLiteral("Fusion")))
    QApplication::setStyle(fusion);
  QApplication::setPalette(QApplication::style()->standardPalette());
  QApplication::setFont(QtDialogFont());
  return 0;
}

void QtFlush() {
  if (qApp == nullptr)
    return;
  QtSyncAll();
  QtSettle();
}
