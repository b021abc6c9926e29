// Windows and controls on the screen: each toolkit window of the model gets a
// top-level widget with one widget per control, placed in the model's pixels
// (dialog units at the classic dialog font), and the task window a menu bar
// from its menu tree. Widgets are brought in line with the model when the
// program next waits or lets events through; what a person does with them
// only becomes actions, which the toolkit applies.
#include "gui/qt_internal.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenuBar>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QWindow>
#include <algorithm>

std::map<WINDOW, QtWinView *> QtViews;
std::vector<WINDOW> QtDirty;
int QtSyncing = 0;

namespace {

const char *const kHandleProperty = "mantrelWindow";
WINDOW gFrontShown = NULL_WIN;

struct SyncGuard {
  SyncGuard() { ++QtSyncing; }
  ~SyncGuard() { --QtSyncing; }
};

// The classic three-dimensional colours stand for the roles of the palette,
// so that a frame drawn with them sits right on any face colour.
QColor ScreenColor(COLOR c, const QPalette &pal) {
  switch (c) {
  case COLOR_LTGRAY:
    return pal.color(QPalette::Window);
  case COLOR_GRAY:
    return pal.color(QPalette::Dark);
  case COLOR_DKGRAY:
    return pal.color(QPalette::Shadow);
  case COLOR_WHITE:
    return pal.color(QPalette::Light);
  default:
    return QColor(static_cast<int>((c >> 16) & 0xFF),
                  static_cast<int>((c >> 8) & 0xFF),
                  static_cast<int>(c & 0xFF));
  }
}

// The client area of a window: its background and drawing, under its
// controls. A dialog's surface is its top-level widget; the task window's
// stands in its main window.
class Surface : public QWidget {
public:
  Surface(WINDOW handle, QWidget *parent, Qt::WindowFlags flags)
      : QWidget(parent, flags), handle_(handle) {}

protected:
  void paintEvent(QPaintEvent *) override {
    QPainter p(this);
    const XvtWin *w = XvtFindWin(handle_);
    if (w == nullptr || w->canvas.empty())
      return; // the face colour of the style stands
    p.fillRect(rect(), ScreenColor(w->background, palette()));
    for (const XvtDrawOp &op : w->canvas)
      p.fillRect(QRect(op.rect.left, op.rect.top, op.rect.right - op.rect.left,
                       op.rect.bottom - op.rect.top),
                 ScreenColor(op.color, palette()));
  }
  void closeEvent(QCloseEvent *ev) override {
    // The close box is the handler's to answer; the window stays until the
    // toolkit destroys it.
    ev->ignore();
    if (QtSyncing == 0 && isWindow()) {
      XvtAction a;
      a.kind = XVT_ACT_CLOSE;
      QtQueue(handle_, a, kQtFromWindow);
    }
  }

private:
  WINDOW handle_;
};

class TaskWindow : public QMainWindow {
public:
  explicit TaskWindow(WINDOW handle) : handle_(handle) {}

protected:
  void closeEvent(QCloseEvent *ev) override {
    ev->ignore();
    if (QtSyncing == 0) {
      XvtAction a;
      a.kind = XVT_ACT_CLOSE;
      QtQueue(handle_, a, kQtFromWindow);
    }
  }

private:
  WINDOW handle_;
};

// Esc and Enter in one of the program's windows are the window's, as the
// toolkit's windows have always taken them: Esc is a character to the
// window, Enter presses the default button.
class KeyFilter : public QObject {
protected:
  bool eventFilter(QObject *obj, QEvent *ev) override {
    if (ev->type() != QEvent::KeyPress || QtSyncing != 0 ||
        !obj->isWidgetType())
      return false;
    auto *key = static_cast<QKeyEvent *>(ev);
    int k = key->key();
    if (k != Qt::Key_Escape && k != Qt::Key_Return && k != Qt::Key_Enter)
      return false;
    if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier))
      return false;
    WINDOW win = QtWindowOfWidget(static_cast<QWidget *>(obj)->window());
    if (win == NULL_WIN)
      return false;
    XvtAction a;
    if (k == Qt::Key_Escape) {
      a.kind = XVT_ACT_KEY;
      a.num = K_ESC;
    } else {
      const XvtWin *w = XvtFindWin(win);
      bool hasDefault = false;
      if (w != nullptr)
        for (const XvtCtl &c : w->ctls)
          hasDefault |=
              c.isDefault && c.kind == WC_PUSHBUTTON && c.enabled && c.visible;
      a.kind = hasDefault ? XVT_ACT_ENTER : XVT_ACT_KEY;
      a.num = hasDefault ? 0 : K_ENTER;
    }
    QtQueue(win, a, kQtFromWindow);
    return true;
  }
};

KeyFilter *gKeys = nullptr;

void Place(QWidget *widget, const RCT &r) {
  widget->setGeometry(r.left, r.top, std::max(r.right - r.left, 1),
                      std::max(r.bottom - r.top, 1));
}

void Click(WINDOW win, int id) {
  if (QtSyncing != 0)
    return;
  XvtAction a;
  a.kind = XVT_ACT_CLICK;
  a.num = id;
  QtQueue(win, a, kQtFromWindow);
}

// A check box or radio button shows the model's tick, whatever Qt did on
// the click: the handler decides.
void RestoreTick(WINDOW win, int id, QAbstractButton *b) {
  const XvtCtl *c = XvtFindCtlById(win, id);
  SyncGuard g;
  b->setChecked(c != nullptr && c->checked);
}

void SelectRows(WINDOW win, int id, const std::vector<int> &rows) {
  if (QtSyncing != 0)
    return;
  XvtAction a;
  a.kind = XVT_ACT_SELECT;
  a.num = id;
  for (int r : rows)
    if (a.nrows < kXvtMaxRows)
      a.rows[a.nrows++] = r;
  QtQueue(win, a, kQtFromWindow);
}

std::vector<int> ListSelection(QListWidget *list) {
  std::vector<int> rows;
  for (int i = 0; i < list->count(); ++i)
    if (list->item(i)->isSelected())
      rows.push_back(i);
  return rows;
}

QWidget *MakeControl(WINDOW win, const XvtCtl &c, QWidget *parent) {
  int id = c.id;
  switch (c.kind) {
  case WC_PUSHBUTTON: {
    auto *b = new QPushButton(parent);
    b->setAutoDefault(false);
    QObject::connect(b, &QPushButton::clicked, b,
                     [win, id] { Click(win, id); });
    return b;
  }
  case WC_CHECKBOX:
  case WC_RADIOBUTTON: {
    QAbstractButton *b;
    if (c.kind == WC_CHECKBOX) {
      b = new QCheckBox(parent);
    } else {
      b = new QRadioButton(parent);
      b->setAutoExclusive(false);
    }
    QObject::connect(b, &QAbstractButton::clicked, b, [win, id, b] {
      RestoreTick(win, id, b);
      Click(win, id);
    });
    return b;
  }
  case WC_TEXT: {
    auto *l = new QLabel(parent);
    l->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    l->setTextFormat(Qt::PlainText);
    return l;
  }
  case WC_EDIT: {
    auto *e = new QLineEdit(parent);
    e->setMaxLength(kXvtActText - 1);
    QObject::connect(e, &QLineEdit::textEdited, e, [win, id](const QString &t) {
      if (QtSyncing == 0)
        QtQueueTyping(win, id, QtBytes(t));
    });
    return e;
  }
  case WC_LBOX: {
    auto *l = new QListWidget(parent);
    l->setSelectionMode(c.multiple ? QAbstractItemView::MultiSelection
                                   : QAbstractItemView::SingleSelection);
    l->setUniformItemSizes(true);
    QObject::connect(l, &QListWidget::itemSelectionChanged, l,
                     [win, id, l] { SelectRows(win, id, ListSelection(l)); });
    QObject::connect(l, &QListWidget::itemDoubleClicked, l,
                     [win, id](QListWidgetItem *) {
                       if (QtSyncing != 0)
                         return;
                       XvtAction a;
                       a.kind = XVT_ACT_DCLICK;
                       a.num = id;
                       QtQueue(win, a, kQtFromWindow);
                     });
    return l;
  }
  case WC_LISTBUTTON:
  case WC_LISTEDIT: {
    auto *b = new QComboBox(parent);
    b->setEditable(c.kind == WC_LISTEDIT);
    b->setInsertPolicy(QComboBox::NoInsert);
    QObject::connect(b, &QComboBox::activated, b, [win, id, b](int row) {
      if (QtSyncing != 0)
        return;
      if (b->isEditable())
        QtQueueTyping(win, id, QtBytes(b->itemText(row)));
      SelectRows(win, id, {row});
    });
    if (QLineEdit *e = b->lineEdit()) {
      e->setMaxLength(kXvtActText - 1);
      QObject::connect(e, &QLineEdit::textEdited, e,
                       [win, id](const QString &t) {
                         if (QtSyncing == 0)
                           QtQueueTyping(win, id, QtBytes(t));
                       });
    }
    return b;
  }
  case WC_GROUPBOX:
    return new QGroupBox(parent);
  }
  return new QLabel(parent);
}

// The closed height of a drop-down: its place in a resource also holds the
// list that drops down.
RCT ControlPlace(const XvtCtl &c, QWidget *widget) {
  RCT r = c.rect;
  if (c.kind == WC_LISTBUTTON || c.kind == WC_LISTEDIT) {
    int h = std::min(widget->sizeHint().height(), r.bottom - r.top);
    r.bottom = static_cast<short>(r.top + std::max(h, 1));
  }
  return r;
}

void SyncRows(QtCtlView &cv, const XvtCtl &c) {
  if (auto *l = qobject_cast<QListWidget *>(cv.widget)) {
    if (cv.rows != c.rows) {
      l->clear();
      for (const std::string &r : c.rows)
        l->addItem(QtText(r));
      cv.rows = c.rows;
      cv.sel.clear();
    }
    if (cv.sel != c.sel) {
      for (size_t i = 0; i < c.sel.size() && i < size_t(l->count()); ++i)
        l->item(static_cast<int>(i))->setSelected(c.sel[i] != 0);
      int first = -1;
      for (size_t i = 0; i < c.sel.size(); ++i)
        if (c.sel[i]) {
          first = static_cast<int>(i);
          break;
        }
      if (first >= 0)
        l->scrollToItem(l->item(first));
      cv.sel = c.sel;
    }
  } else if (auto *b = qobject_cast<QComboBox *>(cv.widget)) {
    if (cv.rows != c.rows) {
      b->clear();
      for (const std::string &r : c.rows)
        b->addItem(QtText(r));
      cv.rows = c.rows;
      cv.sel.clear();
    }
    int first = -1;
    for (size_t i = 0; i < c.sel.size(); ++i)
      if (c.sel[i]) {
        first = static_cast<int>(i);
        break;
      }
    if (!b->isEditable())
      b->setCurrentIndex(first);
    cv.sel = c.sel;
  }
}

void SyncControl(WINDOW win, QtCtlView &cv, const XvtCtl &c) {
  QWidget *wd = cv.widget;
  switch (c.kind) {
  case WC_PUSHBUTTON: {
    auto *b = static_cast<QPushButton *>(wd);
    QString t = QtMnemonic(c.title);
    if (b->text() != t)
      b->setText(t);
    b->setDefault(c.isDefault);
    break;
  }
  case WC_CHECKBOX:
  case WC_RADIOBUTTON: {
    auto *b = static_cast<QAbstractButton *>(wd);
    QString t = QtMnemonic(c.title);
    if (b->text() != t)
      b->setText(t);
    b->setChecked(c.checked);
    break;
  }
  case WC_TEXT: {
    auto *l = static_cast<QLabel *>(wd);
    QString t = QtPlain(c.title);
    if (l->text() != t)
      l->setText(t);
    l->setWordWrap(c.rect.bottom - c.rect.top >= 2 * l->fontMetrics().height());
    break;
  }
  case WC_EDIT: {
    auto *e = static_cast<QLineEdit *>(wd);
    QString t = QtText(c.title);
    if (e->text() != t && !QtTypingPending(win, c.id))
      e->setText(t);
    break;
  }
  case WC_LBOX:
    SyncRows(cv, c);
    break;
  case WC_LISTBUTTON:
  case WC_LISTEDIT: {
    auto *b = static_cast<QComboBox *>(wd);
    SyncRows(cv, c);
    if (b->isEditable()) {
      QString t = QtText(c.title);
      if (b->currentText() != t && !QtTypingPending(win, c.id))
        b->setEditText(t);
    }
    break;
  }
  case WC_GROUPBOX: {
    auto *g = static_cast<QGroupBox *>(wd);
    QString t = QtMnemonic(c.title);
    if (g->title() != t)
      g->setTitle(t);
    break;
  }
  }
  if (wd->isEnabled() != c.enabled)
    wd->setEnabled(c.enabled);
  if (wd->isVisibleTo(wd->parentWidget()) != c.visible)
    wd->setVisible(c.visible);
}

// ------------------------------------------------------------------ menus

std::string MenuShape(const MENU_ITEM *tree) {
  std::string s;
  for (const MENU_ITEM *it = tree;
       it != nullptr && (it->tag != 0 || it->separator); ++it) {
    s += it->separator ? "-" : std::to_string(it->tag);
    s += it->enabled ? "e" : "d";
    s += it->checked ? "c" : "u";
    s += it->text != nullptr ? it->text : "";
    s += '\x1f';
    if (it->child != nullptr) {
      // Appended piece by piece: GCC 12 at -O3 reads "{" + text as an
      // overlapping copy and stops the Release build (-Werror=restrict).
      s += '{';
      s += MenuShape(it->child);
      s += '}';
    }
  }
  return s;
}

QAction *MenuAction(QObject *owner, const MENU_ITEM &it, WINDOW task) {
  auto *a = new QAction(QtMnemonic(it.text != nullptr ? it.text : ""), owner);
  a->setData(it.tag);
  a->setEnabled(it.enabled);
  a->setCheckable(it.checked);
  a->setChecked(it.checked);
  int tag = it.tag;
  QObject::connect(a, &QAction::triggered, a, [task, tag] {
    if (QtSyncing != 0)
      return;
    XvtAction act;
    act.kind = XVT_ACT_MENU;
    act.num = tag;
    QtQueue(task, act, kQtFromWindow);
  });
  return a;
}

void FillMenu(QMenu *menu, const MENU_ITEM *tree, WINDOW task, int depth) {
  for (const MENU_ITEM *it = tree;
       it != nullptr && (it->tag != 0 || it->separator); ++it) {
    if (it->separator) {
      menu->addSeparator();
    } else if (it->child != nullptr && depth < 16) {
      QMenu *sub = menu->addMenu(QtMnemonic(it->text ? it->text : ""));
      sub->menuAction()->setData(it->tag);
      sub->setEnabled(it->enabled);
      FillMenu(sub, it->child, task, depth + 1);
    } else {
      menu->addAction(MenuAction(menu, *it, task));
    }
  }
}

void SyncMenu(QtWinView *v, const XvtWin *w) {
  std::string shape = MenuShape(w->menu);
  if (shape == v->menuShown)
    return;
  v->menuShown = shape;
  QMenuBar *bar = v->menuBar;
  bar->clear();
  for (const MENU_ITEM *it = w->menu;
       it != nullptr && (it->tag != 0 || it->separator); ++it) {
    if (it->separator) {
      bar->addSeparator();
    } else if (it->child != nullptr) {
      QMenu *m = bar->addMenu(QtMnemonic(it->text ? it->text : ""));
      m->menuAction()->setData(it->tag);
      m->setEnabled(it->enabled);
      FillMenu(m, it->child, w->handle, 1);
    } else {
      bar->addAction(MenuAction(bar, *it, w->handle));
    }
  }
}

// --------------------------------------------------------------- windows

QtWinView *MakeView(const XvtWin *w) {
  auto *v = new QtWinView;
  v->handle = w->handle;
  if (w->kind == XVT_WIN_TASK) {
    auto *main = new TaskWindow(w->handle);
    auto *surface = new Surface(w->handle, main, Qt::Widget);
    main->setCentralWidget(surface);
    v->menuBar = main->menuBar();
    v->top = main;
    v->canvas = surface;
  } else {
    QtWinView *task = QtViewOf(TASK_WIN);
    QWidget *owner = task != nullptr ? task->top : nullptr;
    auto *surface = new Surface(w->handle, owner, Qt::Dialog);
    if (w->kind == XVT_WIN_MODAL)
      surface->setWindowModality(Qt::ApplicationModal);
    v->top = surface;
    v->canvas = surface;
  }
  v->top->setProperty(kHandleProperty,
                      QVariant::fromValue<qlonglong>(w->handle));
  v->top->setFont(QtDialogFont());
  v->top->setAttribute(Qt::WA_DeleteOnClose, false);
  for (const XvtCtl &c : w->ctls) {
    QtCtlView cv;
    cv.id = c.id;
    cv.kind = c.kind;
    cv.widget = MakeControl(w->handle, c, v->canvas);
    RCT r = ControlPlace(c, cv.widget);
    r.right = std::min(r.right, w->rect.right);
    r.bottom = std::min(r.bottom, w->rect.bottom);
    Place(cv.widget, r);
    v->ctls.push_back(cv);
  }
  // Group boxes lie under the controls they hold.
  for (QtCtlView &cv : v->ctls)
    if (cv.kind == WC_GROUPBOX)
      cv.widget->lower();
  QtViews[w->handle] = v;
  return v;
}

// Where a window first appears: the task window in the middle of the screen
// at its start style, the others centred on the task window.
void PlaceWindow(QtWinView *v, const XvtWin *w) {
  QScreen *screen = QGuiApplication::primaryScreen();
  QRect avail =
      screen != nullptr ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
  QSize client(w->rect.right - w->rect.left, w->rect.bottom - w->rect.top);
  if (w->kind == XVT_WIN_TASK) {
    v->canvas->setMinimumSize(1, 1);
    v->top->ensurePolished();
    v->menuBar->ensurePolished();
    int menuH = v->menuBar->heightForWidth(client.width());
    if (menuH <= 0)
      menuH = v->menuBar->sizeHint().height();
    v->top->resize(client.width(), client.height() + menuH);
    QRect g(QPoint(0, 0), v->top->size());
    g.moveCenter(avail.center());
    v->top->move(g.topLeft());
    return;
  }
  v->top->setFixedSize(client);
  QRect around = avail;
  if (QtWinView *task = QtViewOf(TASK_WIN); task != nullptr && task->shown)
    around = task->top->geometry();
  QRect g(QPoint(0, 0), client);
  g.moveCenter(around.center());
  // Keep the title bar on the screen.
  g.moveTop(std::max(g.top(), avail.top()));
  g.moveLeft(std::max(g.left(), avail.left()));
  v->top->setGeometry(g); // the client's place: the frame goes round it
}

void ShowWindow(QtWinView *v, const XvtWin *w) {
  if (w->kind == XVT_WIN_TASK) {
    long style = xvt_vobj_get_attr(NULL_WIN, ATTR_TASKWIN_START_STYLE);
    if (style == 0)
      v->top->show();
    else if (style & 0x1000)
      v->top->showMaximized();
    else
      v->top->showMinimized();
  } else {
    v->top->show();
  }
}

void SyncWindow(QtWinView *v, const XvtWin *w) {
  SyncGuard g;
  QString title = QtText(w->title);
  if (v->top->windowTitle() != title)
    v->top->setWindowTitle(title);
  if (v->menuBar != nullptr)
    SyncMenu(v, w);
  for (QtCtlView &cv : v->ctls)
    for (const XvtCtl &c : w->ctls)
      if (c.id == cv.id) {
        SyncControl(w->handle, cv, c);
        break;
      }
  v->top->setEnabled(w->enabled);
  Qt::CursorShape shape =
      w->cursor == CURSOR_WAIT ? Qt::WaitCursor : Qt::ArrowCursor;
  if (v->top->cursor().shape() != shape)
    v->top->setCursor(shape);
  if (!v->placed) {
    PlaceWindow(v, w);
    v->placed = true;
  }
  if (w->visible && !v->shown) {
    ShowWindow(v, w);
    v->shown = true;
  } else if (!w->visible && v->shown) {
    v->top->hide();
    v->shown = false;
  }
  if (!w->canvas.empty())
    v->canvas->update();
}

} // namespace

// ------------------------------------------------------------------ views

QtWinView *QtViewOf(WINDOW win) {
  auto it = QtViews.find(win);
  return it == QtViews.end() ? nullptr : it->second;
}

QtCtlView *QtCtlOf(QtWinView *v, int id) {
  if (v == nullptr)
    return nullptr;
  for (QtCtlView &c : v->ctls)
    if (c.id == id)
      return &c;
  return nullptr;
}

WINDOW QtWindowOfWidget(const QWidget *w) {
  if (w == nullptr)
    return NULL_WIN;
  QVariant h = w->property(kHandleProperty);
  if (!h.isValid())
    return NULL_WIN;
  WINDOW win = static_cast<WINDOW>(h.toLongLong());
  return QtViewOf(win) != nullptr ? win : NULL_WIN;
}

QFont QtDialogFont() {
  QFont f;
  // Fonts of the classic dialog metrics first, where the machine has them.
  f.setFamilies({QStringLiteral("Tahoma"), QStringLiteral("Liberation Sans"),
                 QStringLiteral("Arial"),
                 QStringLiteral("DejaVu Sans Condensed"),
                 QStringLiteral("DejaVu Sans"), QStringLiteral("Sans Serif")});
  // 8 points at 96 to the inch; the light look takes the small face.
  f.setPixelSize(XvtLookLight != 0 ? 11 : 12);
  return f;
}

void QtSyncAll() {
  if (gKeys == nullptr && qApp != nullptr) {
    gKeys = new KeyFilter;
    qApp->installEventFilter(gKeys);
  }
  std::vector<WINDOW> dirty;
  dirty.swap(QtDirty);
  for (WINDOW h : dirty)
    if (XvtFindWin(h) == nullptr)
      QtDropView(h);
  // Bottom to front, so that the task window is there before its dialogs.
  for (WINDOW h : XvtWindowStack()) {
    const XvtWin *w = XvtFindWin(h);
    if (w == nullptr || w->destroying)
      continue;
    QtWinView *v = QtViewOf(h);
    if (v != nullptr && std::find(dirty.begin(), dirty.end(), h) == dirty.end())
      continue;
    if (v == nullptr)
      v = MakeView(w);
    SyncWindow(v, w);
  }
  WINDOW front = XvtFrontWindow();
  if (front != gFrontShown) {
    gFrontShown = front;
    QtWinView *v = QtViewOf(front);
    // The offscreen platform has no stacking to change.
    if (v != nullptr && v->shown &&
        QGuiApplication::platformName() != QLatin1String("offscreen")) {
      v->top->raise();
      v->top->activateWindow();
    }
  }
}

void QtSettle() {
  QElapsedTimer t;
  t.start();
  for (;;) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 20);
    bool exposed = true;
    for (auto &[h, v] : QtViews)
      if (v->shown && v->top->windowHandle() != nullptr &&
          !v->top->windowHandle()->isExposed() && !v->top->isMinimized())
        exposed = false;
    if (exposed || t.elapsed() > 300)
      break;
  }
  for (auto &[h, v] : QtViews)
    if (v->shown)
      v->top->repaint();
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void QtDropView(WINDOW win) {
  QtWinView *v = QtViewOf(win);
  if (v == nullptr)
    return;
  QtViews.erase(win);
  // Windows that the task window owns on the screen must not go with it.
  for (auto &[h, other] : QtViews)
    if (other->top->parentWidget() == v->top) {
      bool shown = other->top->isVisible();
      other->top->setParent(nullptr, other->top->windowFlags());
      if (shown)
        other->top->show();
    }
  {
    SyncGuard g;
    v->top->hide();
  }
  delete v->top;
  delete v;
  if (gFrontShown == win)
    gFrontShown = NULL_WIN;
}

void QtDropAllViews() {
  std::vector<WINDOW> all;
  for (auto &[h, v] : QtViews)
    if (h != TASK_WIN)
      all.push_back(h);
  for (WINDOW h : all)
    QtDropView(h);
  while (!QtViews.empty())
    QtDropView(QtViews.begin()->first);
  QtDirty.clear();
  gFrontShown = NULL_WIN;
}

QWidget *QtWindowWidget(WINDOW win) {
  QtWinView *v = QtViewOf(win);
  return v != nullptr ? v->top : nullptr;
}

QWidget *QtControlWidget(WINDOW win, int id) {
  QtCtlView *c = QtCtlOf(QtViewOf(win), id);
  return c != nullptr ? c->widget : nullptr;
}

// ------------------------------------------------------------ tidiness

namespace {

int TextWidth(const QFontMetrics &fm, const QString &text) {
  int w = 0;
  for (const QString &line : text.split(QLatin1Char('\n')))
    w = std::max(w, fm.horizontalAdvance(line));
  return w;
}

QString PlainOf(const QString &mnemonic) {
  QString s = mnemonic;
  s.replace(QStringLiteral("&&"), QStringLiteral("\x01"));
  s.remove(QLatin1Char('&'));
  s.replace(QStringLiteral("\x01"), QStringLiteral("&"));
  return s;
}

} // namespace

std::string QtLayoutProblems(WINDOW win) {
  QtWinView *v = QtViewOf(win);
  const XvtWin *w = XvtFindWin(win);
  if (v == nullptr || w == nullptr)
    return "window " + std::to_string(win) + " is not on the screen\n";
  std::string out;
  auto say = [&out](const XvtCtl &c, const std::string &what) {
    out += "control " + std::to_string(c.id) + ": " + what + "\n";
  };
  QRect client(0, 0, w->rect.right - w->rect.left,
               w->rect.bottom - w->rect.top);
  std::vector<std::pair<const XvtCtl *, QRect>> placed;
  for (const XvtCtl &c : w->ctls) {
    QtCtlView *cv = QtCtlOf(v, c.id);
    if (cv == nullptr || !c.visible)
      continue;
    QWidget *wd = cv->widget;
    QRect g = wd->geometry();
    QFontMetrics fm(wd->font());
    // A dialog unit's rounding may put an edge a pixel beyond the window.
    QRect m(c.rect.left, c.rect.top, c.rect.right - c.rect.left,
            c.rect.bottom - c.rect.top);
    if (!client.adjusted(-2, -2, 2, 2).contains(m))
      say(c, "lies outside the window");
    int need = 0, needH = fm.height();
    QStyle *st = wd->style();
    switch (c.kind) {
    case WC_PUSHBUTTON:
      need = TextWidth(fm, PlainOf(static_cast<QPushButton *>(wd)->text())) +
             2 * st->pixelMetric(QStyle::PM_ButtonMargin) / 2 + 4;
      needH = fm.height() + 4;
      break;
    case WC_CHECKBOX:
    case WC_RADIOBUTTON:
      need =
          TextWidth(fm, PlainOf(static_cast<QAbstractButton *>(wd)->text())) +
          st->pixelMetric(c.kind == WC_CHECKBOX
                              ? QStyle::PM_IndicatorWidth
                              : QStyle::PM_ExclusiveIndicatorWidth) +
          st->pixelMetric(c.kind == WC_CHECKBOX
                              ? QStyle::PM_CheckBoxLabelSpacing
                              : QStyle::PM_RadioButtonLabelSpacing);
      break;
    case WC_TEXT: {
      auto *l = static_cast<QLabel *>(wd);
      if (l->wordWrap()) {
        QRect br = fm.boundingRect(QRect(0, 0, g.width(), 10000),
                                   Qt::TextWordWrap, l->text());
        need = 0;
        needH = br.height();
      } else {
        need = TextWidth(fm, l->text());
      }
      break;
    }
    case WC_GROUPBOX:
      need = TextWidth(fm, PlainOf(static_cast<QGroupBox *>(wd)->title())) + 16;
      break;
    case WC_EDIT:
    case WC_LISTBUTTON:
    case WC_LISTEDIT:
      needH = fm.height() + 4;
      break;
    case WC_LBOX:
      needH = fm.height() + 4;
      break;
    }
    if (need > g.width())
      say(c, "its text needs " + std::to_string(need) +
                 " pixels across, it has " + std::to_string(g.width()));
    if (needH > g.height())
      say(c, "its text needs " + std::to_string(needH) +
                 " pixels down, it has " + std::to_string(g.height()));
    placed.emplace_back(&c, g);
  }
  for (size_t i = 0; i < placed.size(); ++i)
    for (size_t j = i + 1; j < placed.size(); ++j) {
      const auto &[a, ra] = placed[i];
      const auto &[b, rb] = placed[j];
      if (!ra.intersects(rb))
        continue;
      if ((a->kind == WC_GROUPBOX && ra.contains(rb)) ||
          (b->kind == WC_GROUPBOX && rb.contains(ra)))
        continue;
      say(*a, "overlaps control " + std::to_string(b->id));
    }
  return out;
}
