// Boxes, the string prompt and the file and folder choosers. Each is put up
// when the toolkit waits for its answer and taken down when the answer is
// given; a click on one of its buttons becomes that answer.
#include "gui/qt_internal.h"
#include "platform/strutil.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <strings.h>

namespace {

struct Box {
  QWidget *widget = nullptr;
  XvtWaitKind kind = XVT_WAIT_BOX;
  std::vector<QAbstractButton *> buttons; // a box's buttons, 1 to 3
  QLineEdit *edit = nullptr;              // the prompt's text
  QAbstractButton *ok = nullptr, *cancel = nullptr;
  bool quiet = false; // taken down by the program: no answer
};

Box gBox;

void Answer(XvtActKind kind, const std::string &text) {
  if (gBox.quiet)
    return;
  XvtAction a;
  a.kind = kind;
  StrCopy(a.text, text.c_str());
  QtQueue(NULL_WIN, a, kQtFromBox);
}

// Boxes stand over the window in front, so that they are seen where the
// person looks.
QWidget *Owner() {
  if (QWidget *w = QtWindowWidget(XvtFrontWindow());
      w != nullptr && w->isVisible())
    return w;
  return QtWindowWidget(TASK_WIN);
}

QWidget *MakeMessageBox(const XvtWait *w) {
  QMessageBox::Icon icon = QMessageBox::Information;
  switch (w->box) {
  case XVT_BOX_NOTE:
    icon = QMessageBox::Information;
    break;
  case XVT_BOX_ERROR:
    icon = QMessageBox::Warning;
    break;
  case XVT_BOX_FATAL:
    icon = QMessageBox::Critical;
    break;
  case XVT_BOX_ASK:
    icon = QMessageBox::Question;
    break;
  case XVT_BOX_MESSAGE:
    icon = QMessageBox::NoIcon;
    break;
  }
  auto *box = new QMessageBox(icon, QStringLiteral("Mantrel"), QtText(w->text),
                              QMessageBox::NoButton, Owner());
  box->setTextFormat(Qt::PlainText);
  int n = std::clamp(w->nbuttons, 1, 3);
  for (int i = 0; i < n; ++i) {
    const char *t = w->button[i] != nullptr ? w->button[i] : "OK";
    gBox.buttons.push_back(
        box->addButton(QtMnemonic(t), QMessageBox::ActionRole));
  }
  // A click, Esc or the close box: the box ends with the button it took.
  // The close box has not named its button yet when the box finishes.
  QObject::connect(box, &QMessageBox::finished, box, [box] {
    QAbstractButton *b = box->clickedButton();
    if (b == nullptr)
      b = gBox.buttons.back();
    for (size_t i = 0; i < gBox.buttons.size(); ++i)
      if (gBox.buttons[i] == b)
        Answer(XVT_ACT_ANSWER, std::to_string(i + 1));
  });
  box->setDefaultButton(static_cast<QPushButton *>(gBox.buttons.front()));
  // Esc and the close box give the last button, as Cancel does.
  box->setEscapeButton(gBox.buttons.back());
  return box;
}

QWidget *MakePrompt(const XvtWait *w) {
  auto *dlg = new QDialog(Owner());
  dlg->setWindowTitle(QStringLiteral("Mantrel"));
  auto *layout = new QVBoxLayout(dlg);
  auto *label = new QLabel(QtText(w->text), dlg);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  auto *edit = new QLineEdit(QtText(w->value), dlg);
  edit->setMaxLength(kXvtActText - 1);
  edit->selectAll();
  auto *buttons = new QDialogButtonBox(
      QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dlg);
  layout->addWidget(label);
  layout->addWidget(edit);
  layout->addWidget(buttons);
  dlg->setMinimumWidth(360);
  gBox.edit = edit;
  gBox.ok = buttons->button(QDialogButtonBox::Ok);
  gBox.cancel = buttons->button(QDialogButtonBox::Cancel);
  QObject::connect(buttons, &QDialogButtonBox::accepted, dlg, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, dlg, &QDialog::reject);
  QObject::connect(dlg, &QDialog::accepted, dlg,
                   [edit] { Answer(XVT_ACT_TEXT, QtBytes(edit->text())); });
  QObject::connect(dlg, &QDialog::rejected, dlg,
                   [] { Answer(XVT_ACT_CANCEL, ""); });
  return dlg;
}

QWidget *MakeChooser(const XvtWait *w) {
  bool folder = w->kind == XVT_WAIT_FOLDER;
  auto *dlg = new QFileDialog(Owner(), QtText(w->text), QtPath(w->folder));
  dlg->setOption(QFileDialog::DontUseNativeDialog, true);
  if (folder) {
    dlg->setFileMode(QFileDialog::Directory);
    dlg->setOption(QFileDialog::ShowDirsOnly, true);
  } else if (w->kind == XVT_WAIT_SAVE) {
    dlg->setFileMode(QFileDialog::AnyFile);
    dlg->setAcceptMode(QFileDialog::AcceptSave);
  } else {
    dlg->setFileMode(QFileDialog::ExistingFile);
  }
  std::string type = w->type != nullptr ? w->type : "";
  if (!folder && !type.empty() && type != "*")
    dlg->setNameFilters(
        {QStringLiteral("*.%1 (*.%1)").arg(QtPath(type.c_str())),
         QStringLiteral("All files (*)")});
  // A chooser of a dialog's size, its columns wide enough for their texts.
  dlg->resize(600, 380);
  if (auto *tree = dlg->findChild<QTreeView *>(QStringLiteral("treeView")))
    tree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  gBox.edit = dlg->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
  if (auto *bb = dlg->findChild<QDialogButtonBox *>())
    gBox.cancel = bb->button(QDialogButtonBox::Cancel);
  XvtActKind kind = folder ? XVT_ACT_FOLDER : XVT_ACT_FILE;
  QObject::connect(dlg, &QFileDialog::fileSelected, dlg,
                   [kind](const QString &file) {
                     std::string path = QtPathBytes(file);
                     if (path.size() >= static_cast<size_t>(kXvtActText)) {
                       fprintf(stderr,
                               "qt: the path chosen is longer than %d "
                               "characters\n",
                               kXvtActText - 1);
                       Answer(XVT_ACT_CANCEL, "");
                       return;
                     }
                     Answer(kind, path);
                   });
  QObject::connect(dlg, &QDialog::rejected, dlg,
                   [] { Answer(XVT_ACT_CANCEL, ""); });
  return dlg;
}

bool Is(const char *a, const char *b) {
  return strcasecmp(a, b) == 0;
}

// A button's text compared with a word, leaving out the mnemonic marks.
bool ButtonIs(QAbstractButton *b, const char *word) {
  QString t = b->text();
  t.remove(QLatin1Char('&'));
  return t.compare(QtText(word), Qt::CaseInsensitive) == 0;
}

// The button of a box that a script's answer presses; 0 for none.
int BoxButton(const XvtWait *w, const XvtAction &s) {
  int n = static_cast<int>(gBox.buttons.size());
  int last = n >= 3 ? 3 : n;
  if (w->box != XVT_BOX_ASK) {
    if (s.kind == XVT_ACT_ENTER || s.kind == XVT_ACT_CANCEL)
      return 1;
    if (s.kind == XVT_ACT_ANSWER &&
        (Is(s.text, "ok") || Is(s.text, "yes") || Is(s.text, "no") ||
         Is(s.text, "cancel") || Is(s.text, "1")))
      return 1;
    return 0;
  }
  if (s.kind == XVT_ACT_ENTER)
    return 1;
  if (s.kind == XVT_ACT_CANCEL)
    return last;
  if (s.kind != XVT_ACT_ANSWER)
    return 0;
  char *end = nullptr;
  long num = strtol(s.text, &end, 10);
  if (end != s.text && *end == '\0')
    return num >= 1 && num <= n ? static_cast<int>(num) : 0;
  for (int i = 0; i < n; ++i)
    if (ButtonIs(gBox.buttons[static_cast<size_t>(i)], s.text))
      return i + 1;
  if (Is(s.text, "ok") || Is(s.text, "yes"))
    return 1;
  if (Is(s.text, "no"))
    return n >= 2 ? 2 : 0;
  if (Is(s.text, "cancel"))
    return last;
  return 0;
}

} // namespace

void QtBoxOpen(const XvtWait *w) {
  if (gBox.widget != nullptr && gBox.kind == w->kind)
    return;
  QtBoxClose();
  gBox = Box();
  gBox.kind = w->kind;
  switch (w->kind) {
  case XVT_WAIT_BOX:
    gBox.widget = MakeMessageBox(w);
    break;
  case XVT_WAIT_STRING:
    gBox.widget = MakePrompt(w);
    break;
  case XVT_WAIT_OPEN:
  case XVT_WAIT_SAVE:
  case XVT_WAIT_FOLDER:
    gBox.widget = MakeChooser(w);
    break;
  default:
    return;
  }
  gBox.widget->setFont(QApplication::font());
  gBox.widget->setWindowModality(Qt::ApplicationModal);
  gBox.widget->show();
  // Centred on the window it stands over, at the size it took on showing.
  if (QWidget *owner = gBox.widget->parentWidget()) {
    QRect g = gBox.widget->frameGeometry();
    g.moveCenter(owner->frameGeometry().center());
    gBox.widget->move(g.topLeft());
  }
  if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
    gBox.widget->raise();
    gBox.widget->activateWindow();
  }
}

void QtBoxClose() {
  if (gBox.widget != nullptr) {
    gBox.quiet = true;
    gBox.widget->hide();
    delete gBox.widget;
  }
  gBox = Box();
  QtClearQueue(kQtFromBox);
}

QWidget *QtBoxWidget() {
  return gBox.widget;
}

bool QtBoxPerform(const XvtWait *w, const XvtAction &s) {
  if (gBox.widget == nullptr)
    return false;
  switch (w->kind) {
  case XVT_WAIT_BOX: {
    int b = BoxButton(w, s);
    if (b == 0)
      return false;
    gBox.buttons[static_cast<size_t>(b - 1)]->click();
    return true;
  }
  case XVT_WAIT_STRING:
    if (s.kind == XVT_ACT_TEXT) {
      gBox.edit->setText(QtText(s.text));
      gBox.ok->click();
      return true;
    }
    if (s.kind == XVT_ACT_ENTER ||
        (s.kind == XVT_ACT_ANSWER && (Is(s.text, "ok") || Is(s.text, "yes")))) {
      gBox.ok->click();
      return true;
    }
    if (s.kind == XVT_ACT_CANCEL ||
        (s.kind == XVT_ACT_ANSWER &&
         (Is(s.text, "cancel") || Is(s.text, "no")))) {
      gBox.cancel->click();
      return true;
    }
    return false;
  case XVT_WAIT_OPEN:
  case XVT_WAIT_SAVE:
  case XVT_WAIT_FOLDER: {
    if (s.kind == XVT_ACT_CANCEL ||
        (s.kind == XVT_ACT_ANSWER && Is(s.text, "cancel"))) {
      static_cast<QDialog *>(gBox.widget)->reject();
      return true;
    }
    XvtActKind want =
        w->kind == XVT_WAIT_FOLDER ? XVT_ACT_FOLDER : XVT_ACT_FILE;
    if (s.kind != want)
      return false;
    // The name is typed into the chooser's name field; what the field then
    // holds is found by the toolkit from the chooser's folder, without
    // regard to case, as every backend finds it.
    std::string typed = s.text;
    if (gBox.edit != nullptr) {
      gBox.edit->setText(QtPath(s.text));
      typed = QtPathBytes(gBox.edit->text());
    }
    Answer(want, typed);
    return true;
  }
  default:
    return false;
  }
}
