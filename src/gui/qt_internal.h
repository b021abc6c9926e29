// Between the sources of the Qt backend; nothing outside src/gui uses it.
#pragma once

#include "gui/qt_backend.h"
#include "platform/xvt_model.h"

#include <QByteArray>
#include <QFont>
#include <QString>
#include <map>
#include <string>
#include <vector>

class QMenuBar;
class QMenu;
class QAction;

// ------------------------------------------------------------------- texts
// The one place where code page 1252 meets Qt's Unicode (qt_text.cpp).

QString QtText(const std::string &cp1252);
QString QtText(const char *cp1252);
std::string QtBytes(const QString &text);
// A title with the toolkit's mnemonic mark ("~" or the first "&") in Qt's
// form: that mark becomes "&", every other "&" shows as it stands.
QString QtMnemonic(const std::string &title);
// The same text as a person reads it: the mark left out.
QString QtPlain(const std::string &title);
// A path of the file system to and from Qt.
QString QtPath(const char *path);
std::string QtPathBytes(const QString &path);

// ------------------------------------------------------------------- views

enum QtOrigin { kQtFromWindow = 0, kQtFromBox = 1 };

struct QtCtlView {
  int id = 0;
  XVT_CTL_KIND kind = WC_TEXT;
  QWidget *widget = nullptr;
  std::vector<std::string> rows; // as last shown
  std::vector<char> sel;
};

struct QtWinView {
  WINDOW handle = NULL_WIN;
  QWidget *top = nullptr;
  QWidget *canvas = nullptr; // where the drawing and the controls stand
  QMenuBar *menuBar = nullptr;
  std::string menuShown; // the menu tree as last built, flattened
  std::vector<QtCtlView> ctls;
  bool shown = false;
  bool placed = false;
};

// Views by window handle (qt_windows.cpp).
extern std::map<WINDOW, QtWinView *> QtViews;
// Windows changed since they were last brought up to date.
extern std::vector<WINDOW> QtDirty;
// Set while the backend writes the model's state into widgets: the signals
// that this sets off are none of the person's doing.
extern int QtSyncing;

QtWinView *QtViewOf(WINDOW win);
QtCtlView *QtCtlOf(QtWinView *v, int id);
// The window whose view holds this widget, NULL_WIN for none of ours.
WINDOW QtWindowOfWidget(const QWidget *w);
// Makes, updates and shows the views of every changed window.
void QtSyncAll();
// Lets the windows paint without taking what the person does.
void QtSettle();
void QtDropView(WINDOW win);
void QtDropAllViews();
// The dialog font: classic 8 points, small when the light look is on.
QFont QtDialogFont();

// --------------------------------------------------------- what was done

// Queues what the person did (or a script line did through a widget).
void QtQueue(WINDOW win, const XvtAction &act, QtOrigin origin);
// Coalesces typing: a later text for the same edit replaces the earlier.
void QtQueueTyping(WINDOW win, int id, const std::string &text);
bool QtTypingPending(WINDOW win, int id);
void QtClearQueue(QtOrigin origin);

// ------------------------------------------------------ boxes (qt_boxes.cpp)

// Puts up the box, prompt or chooser that `w` describes.
void QtBoxOpen(const XvtWait *w);
void QtBoxClose();
// Performs a script's answer on the box on the screen. Answers true when a
// widget of the box was worked; false leaves the line to the toolkit.
bool QtBoxPerform(const XvtWait *w, const XvtAction &act);

// ------------------------------------------------ extras (qt_extras.cpp)

int QtPictureShow(const char *path, const char *const *lines, int nlines);
void QtPictureHide();
void QtViewerSetup();
