// What stands beside the toolkit's windows: the start-up picture, the viewer
// of text reports, the menu opened by hand, and the picture of the screen
// that the documentation's screenshots are made from.
#include "gui/qt_internal.h"
#include "platform/process.h"
#include "platform/strutil.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScreen>
#include <QVBoxLayout>
#include <cstdlib>

namespace {

// -------------------------------------------------------- start-up picture

class Picture : public QWidget {
public:
  Picture() : QWidget(nullptr, Qt::SplashScreen | Qt::FramelessWindowHint) {}

protected:
  void mousePressEvent(QMouseEvent *) override { hide(); }
  void keyPressEvent(QKeyEvent *ev) override {
    if (ev->key() == Qt::Key_Escape)
      hide();
  }
};

Picture *gPicture = nullptr;
bool gViewerSet = false; // the viewer program was set here

// Big reports are shown in full up to this size; beyond it the viewer says
// it shows the beginning only.
constexpr qint64 kViewerLimit = 64LL * 1024 * 1024;

} // namespace

int QtPictureShow(const char *path, const char *const *lines, int nlines) {
  QtPictureHide();
  QImage img(QtPath(path));
  if (img.isNull())
    return 0;
  gPicture = new Picture;
  gPicture->setFont(QtDialogFont());
  auto *layout = new QVBoxLayout(gPicture);
  layout->setContentsMargins(0, 0, 0, 8);
  auto *image = new QLabel(gPicture);
  image->setPixmap(QPixmap::fromImage(img));
  layout->addWidget(image);
  for (int i = 0; i < nlines; ++i) {
    if (lines[i] == nullptr || *lines[i] == '\0')
      continue;
    auto *l = new QLabel(QtText(lines[i]), gPicture);
    l->setTextFormat(Qt::PlainText);
    l->setAlignment(Qt::AlignHCenter);
    layout->addWidget(l);
  }
  gPicture->adjustSize();
  QScreen *screen = QGuiApplication::primaryScreen();
  QRect g(QPoint(0, 0), gPicture->size());
  if (screen != nullptr)
    g.moveCenter(screen->availableGeometry().center());
  gPicture->move(g.topLeft());
  gPicture->show();
  QtSettle();
  return 1;
}

void QtPictureHide() {
  delete gPicture;
  gPicture = nullptr;
}

QWidget *QtPictureWidget() {
  return gPicture;
}

// ------------------------------------------------------------ text viewer

void QtViewerSetup() {
  if (gViewerSet) {
    PlatViewerProgram[0] = '\0';
    gViewerSet = false;
  }
  const char *env = getenv("MANTREL_VIEWER");
  if (QtSelfPath[0] == '\0' || PlatViewerProgram[0] != '\0' ||
      (env != nullptr && *env != '\0'))
    return;
  char cmd[sizeof PlatViewerProgram];
  if (StrFormat(cmd, "\"%s\" --view", QtSelfPath) + 1 >= sizeof cmd)
    return; // too long a path to hand over; the default viewer stays
  StrCopy(PlatViewerProgram, cmd);
  gViewerSet = true;
}

QWidget *QtOpenViewer(const char *path, std::string *why) {
  QFile f(QtPath(path));
  if (!f.open(QIODevice::ReadOnly)) {
    if (why != nullptr)
      *why = "cannot read '" + std::string(path ? path : "") +
             "': " + QtBytes(f.errorString());
    return nullptr;
  }
  QByteArray raw = f.read(kViewerLimit);
  bool cut = !f.atEnd();
  std::string bytes(raw.constData(), static_cast<size_t>(raw.size()));
  // Reports end their lines either way; a zero byte shows as a blank.
  std::string text;
  text.reserve(bytes.size());
  for (size_t i = 0; i < bytes.size(); ++i) {
    char c = bytes[i];
    if (c == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n')
      continue;
    text += c == '\0' ? ' ' : c;
  }
  if (cut)
    text += "\n[... only the first 64 MB are shown]\n";

  auto *win = new QWidget(nullptr, Qt::Window);
  win->setAttribute(Qt::WA_DeleteOnClose);
  win->setObjectName(QStringLiteral("mantrelViewer"));
  win->setWindowTitle(QFileInfo(QtPath(path)).fileName() +
                      QStringLiteral(" - Mantrel"));
  auto *layout = new QVBoxLayout(win);
  layout->setContentsMargins(0, 0, 0, 0);
  auto *edit = new QPlainTextEdit(win);
  edit->setReadOnly(true);
  edit->setLineWrapMode(QPlainTextEdit::NoWrap);
  QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  mono.setPixelSize(13);
  edit->setFont(mono);
  edit->setPlainText(QtText(text));
  layout->addWidget(edit);
  win->resize(760, 560);
  win->show();
  return win;
}

int QtViewerMain(const char *path) {
  if (QtEnsureApplication() != 0) {
    fprintf(stderr, "mantrel: no screen to show '%s' on\n", path ? path : "");
    return 1;
  }
  std::string why;
  if (QtOpenViewer(path, &why) == nullptr) {
    fprintf(stderr, "mantrel: %s\n", why.c_str());
    QMessageBox::warning(nullptr, QStringLiteral("Mantrel"), QtText(why));
    return 1;
  }
  return QApplication::exec() == 0 ? 0 : 1;
}

// ------------------------------------------------------------------ menus

bool QtOpenMenuOf(int tag) {
  QtSyncAll();
  QtWinView *task = QtViewOf(TASK_WIN);
  if (task == nullptr || task->menuBar == nullptr || !task->shown)
    return false;
  QMenuBar *bar = task->menuBar;
  for (QAction *top : bar->actions()) {
    QMenu *menu = top->menu();
    if (menu == nullptr)
      continue;
    QAction *hit = top->data().toInt() == tag ? top : nullptr;
    for (QAction *a : menu->actions())
      if (!a->isSeparator() && a->data().toInt() == tag)
        hit = a;
    if (hit == nullptr)
      continue;
    bar->setActiveAction(top);
    if (!menu->isVisible())
      menu->popup(bar->mapToGlobal(bar->actionGeometry(top).bottomLeft()));
    if (hit != top)
      menu->setActiveAction(hit);
    QtSettle();
    return true;
  }
  return false;
}

void QtCloseMenus() {
  for (int i = 0; i < 8 && QApplication::activePopupWidget() != nullptr; ++i)
    QApplication::activePopupWidget()->close();
  if (QtWinView *task = QtViewOf(TASK_WIN); task && task->menuBar)
    task->menuBar->setActiveAction(nullptr);
  if (qApp != nullptr)
    QtSettle();
}

// -------------------------------------------------------- the screen

namespace {

constexpr int kTitleBar = 24;

struct Shown {
  QWidget *widget;
  bool framed;
};

// Every window of the program on the screen, bottom first.
std::vector<Shown> ShownWindows() {
  std::vector<Shown> out;
  auto add = [&out](QWidget *w, bool framed) {
    if (w == nullptr || !w->isVisible() || w->isMinimized())
      return;
    for (const Shown &s : out)
      if (s.widget == w)
        return;
    out.push_back({w, framed});
  };
  for (WINDOW h : XvtWindowStack())
    add(QtWindowWidget(h), true);
  for (QWidget *w : QApplication::topLevelWidgets())
    if (w->objectName() == QStringLiteral("mantrelViewer"))
      add(w, true);
  add(QtBoxWidget(), true);
  add(QtPictureWidget(), false);
  for (QWidget *w : QApplication::topLevelWidgets())
    if (w->isVisible() && (w->windowFlags() & Qt::Popup) == Qt::Popup)
      add(w, false);
  return out;
}

void DrawTitleBar(QPainter &p, const QRect &client, const QString &caption,
                  bool active) {
  QRect bar(client.left() - 1, client.top() - kTitleBar, client.width() + 2,
            kTitleBar);
  QColor top = active ? QColor(0x3b, 0x6e, 0xa8) : QColor(0x8a, 0x95, 0xa3);
  QColor bottom = active ? QColor(0x2a, 0x55, 0x88) : QColor(0x74, 0x7f, 0x8c);
  QLinearGradient g(bar.topLeft(), bar.bottomLeft());
  g.setColorAt(0, top);
  g.setColorAt(1, bottom);
  p.fillRect(bar, g);
  p.setPen(QColor(0x1e, 0x3c, 0x60));
  p.drawRect(QRect(client.left() - 1, client.top() - kTitleBar,
                   client.width() + 1, client.height() + kTitleBar));
  QFont f = QApplication::font();
  f.setBold(true);
  f.setPixelSize(12);
  p.setFont(f);
  p.setPen(Qt::white);
  p.drawText(
      bar.adjusted(8, 0, -8, 0), Qt::AlignVCenter | Qt::AlignLeft,
      QFontMetrics(f).elidedText(caption, Qt::ElideRight, bar.width() - 16));
}

} // namespace

QImage QtGrabScreen() {
  if (qApp == nullptr)
    return QImage();
  QtSettle();
  std::vector<Shown> wins = ShownWindows();
  QRect all;
  for (const Shown &s : wins) {
    QRect g = s.widget->geometry();
    if (s.framed)
      g.adjust(-1, -kTitleBar, 1, 1);
    all = all.united(g);
  }
  if (all.isEmpty())
    return QImage();
  all.adjust(-16, -16, 16, 16);
  QImage img(all.size(), QImage::Format_RGB32);
  img.fill(QColor(0x5b, 0x6c, 0x7d));
  QPainter p(&img);
  p.translate(-all.topLeft());
  QWidget *front = wins.empty() ? nullptr : wins.back().widget;
  for (const Shown &s : wins)
    if (s.framed && (s.widget->windowFlags() & Qt::Popup) != Qt::Popup &&
        s.widget != QtPictureWidget())
      front = s.widget;
  for (const Shown &s : wins) {
    QRect g = s.widget->geometry();
    if (s.framed)
      DrawTitleBar(p, g, s.widget->windowTitle(), s.widget == front);
    p.drawPixmap(g.topLeft(), s.widget->grab());
  }
  return img;
}

int QtSaveScreen(const char *path) {
  QImage img = QtGrabScreen();
  if (img.isNull() || path == nullptr)
    return 1;
  return img.save(QtPath(path), "PNG") ? 0 : 1;
}
