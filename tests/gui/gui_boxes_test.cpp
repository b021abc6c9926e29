// Boxes, the string prompt, the choosers and the report viewer in the
// desktop window, answered by a person or by a script.
#include "gui_support.h"
#include "platform/process.h"

#include <QAbstractButton>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <sys/stat.h>

namespace {

QMessageBox *Box() {
  return qobject_cast<QMessageBox *>(QtBoxWidget());
}
QFileDialog *Chooser() {
  return qobject_cast<QFileDialog *>(QtBoxWidget());
}

struct Seen {
  std::string text;
  QMessageBox::Icon icon = QMessageBox::NoIcon;
  std::vector<std::string> buttons;
  std::string def;
};

// Notes what the box shows, then presses button `press` (from 1).
void PressWhenUp(Seen *seen, int press) {
  When([] { return Box() != nullptr && Box()->isVisible(); },
       [seen, press] {
         QMessageBox *b = Box();
         seen->text = b->text().toStdString();
         seen->icon = b->icon();
         seen->buttons.clear();
         for (QAbstractButton *x : b->buttons())
           seen->buttons.push_back(x->text().toStdString());
         seen->def = b->defaultButton()->text().toStdString();
         QTest::mouseClick(b->buttons()[press - 1], Qt::LeftButton);
       });
}

TEST_F(GuiTest, APersonAnswersTheBoxes) {
  Seen seen;
  PressWhenUp(&seen, 2);
  EXPECT_EQ(2, xvt_dm_post_ask("~Now", "&Later", "Never", "When, %s?",
                               "caf\xE9 \x80"));
  EXPECT_EQ("When, caf\u00e9 \u20ac?", seen.text);
  EXPECT_EQ(QMessageBox::Question, seen.icon);
  EXPECT_THAT(seen.buttons, ElementsAre("&Now", "&Later", "Never"));
  EXPECT_EQ("&Now", seen.def);
  EXPECT_EQ(nullptr, QtBoxWidget()) << "the box went with its answer";

  PressWhenUp(&seen, 1);
  xvt_dm_post_error("Table %s is damaged (%d)", "symptom", 14);
  EXPECT_EQ("Table symptom is damaged (14)", seen.text);
  EXPECT_EQ(QMessageBox::Warning, seen.icon);
  EXPECT_THAT(seen.buttons, ElementsAre("OK"));

  PressWhenUp(&seen, 1);
  xvt_dm_post_note("<b>not markup</b>");
  EXPECT_EQ("<b>not markup</b>", seen.text);
  EXPECT_EQ(QMessageBox::Information, seen.icon);
}

TEST_F(GuiTest, EscAndTheCloseBoxAnswerWithTheLastButton) {
  When([] { return Box() != nullptr; },
       [] { QTest::keyClick(Box(), Qt::Key_Escape); });
  EXPECT_EQ(3, xvt_dm_post_ask("A", "B", "C", "Which?"));
  When([] { return Box() != nullptr; }, [] { Box()->close(); });
  EXPECT_EQ(2, xvt_dm_post_ask("Yes", "No", nullptr, "Sure?"));
}

QLineEdit *PromptEdit() {
  QWidget *w = QtBoxWidget();
  return w != nullptr ? w->findChild<QLineEdit *>() : nullptr;
}

TEST_F(GuiTest, TheStringPromptGivesWhatWasTyped) {
  When([] { return PromptEdit() != nullptr; },
       [] {
         QLineEdit *e = PromptEdit();
         EXPECT_EQ("X:\\APP", e->text().toStdString())
             << "the text as it stood";
         EXPECT_TRUE(e->hasSelectedText());
         TypeText(e, QString::fromUtf8("\\\\serveur\\donn\u00e9es"));
         QTest::keyClick(e, Qt::Key_Return);
       });
  char buf[100] = "X:\\APP";
  EXPECT_EQ(buf,
            xvt_dm_post_string_prompt("Network base path", buf, sizeof buf));
  EXPECT_STREQ("\\\\serveur\\donn\xE9"
               "es",
               buf);

  When([] { return PromptEdit() != nullptr; },
       [] {
         TypeText(PromptEdit(), "gone");
         QTest::keyClick(PromptEdit(), Qt::Key_Escape);
       });
  EXPECT_EQ(nullptr, xvt_dm_post_string_prompt("Again", buf, sizeof buf));
  EXPECT_STREQ("\\\\serveur\\donn\xE9"
               "es",
               buf)
      << "Cancel leaves the text";

  // A small buffer takes what fits.
  When([] { return PromptEdit() != nullptr; },
       [] {
         TypeText(PromptEdit(), "0123456789abcdef");
         QTest::keyClick(PromptEdit(), Qt::Key_Return);
       });
  char small[8] = "";
  EXPECT_EQ(small, xvt_dm_post_string_prompt("Short", small, sizeof small));
  EXPECT_STREQ("0123456", small);
}

TEST_F(GuiTest, APersonChoosesFilesAndFolders) {
  std::ofstream(dir + "/syn.dat") << "x";
  std::ofstream(dir + "/own.txt") << "x";
  mkdir((dir + "/sub").c_str(), 0755);
  std::string chosen = dir + "/syn.dat";
  When([] { return Chooser() != nullptr; },
       [chosen, this] {
         QFileDialog *c = Chooser();
         EXPECT_EQ("Choose a log", c->windowTitle().toStdString());
         EXPECT_EQ(dir, c->directory().absolutePath().toStdString());
         EXPECT_EQ(QFileDialog::ExistingFile, c->fileMode());
         EXPECT_EQ("*.dat (*.dat)", c->nameFilters().first().toStdString());
         c->selectFile(QString::fromStdString(chosen));
         static_cast<QDialog *>(c)->accept();
       });
  FILE_SPEC fs = {};
  StrCopy(fs.dir.path, dir.c_str());
  StrCopy(fs.type, "dat");
  ASSERT_EQ(FL_OK, xvt_dm_post_file_open(&fs, "Choose a log"));
  EXPECT_STREQ(dir.c_str(), fs.dir.path);
  EXPECT_STREQ("syn.dat", fs.name);

  When([] { return Chooser() != nullptr; },
       [] {
         EXPECT_EQ(QFileDialog::AcceptSave, Chooser()->acceptMode());
         auto *name =
             Chooser()->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
         ASSERT_NE(nullptr, name);
         TypeText(name, QStringLiteral("listing.txt"));
         static_cast<QDialog *>(Chooser())->accept();
       });
  FILE_SPEC save = {};
  StrCopy(save.dir.path, (dir + "/sub").c_str());
  ASSERT_EQ(FL_OK, xvt_dm_post_file_save(&save, "Save the listing"));
  EXPECT_EQ(dir + "/sub", save.dir.path);
  EXPECT_STREQ("listing.txt", save.name);

  When([] { return Chooser() != nullptr; }, [] { Chooser()->reject(); });
  EXPECT_EQ(FL_CANCEL, xvt_dm_post_file_open(&fs, "again"));

  Enter();
  When([] { return Chooser() != nullptr; },
       [this] {
         EXPECT_EQ(QFileDialog::Directory, Chooser()->fileMode());
         // Into the folder, then Choose.
         Chooser()->setDirectory(QString::fromStdString(dir + "/sub"));
         static_cast<QDialog *>(Chooser())->accept();
       });
  char folder[300] = "";
  ASSERT_EQ(FL_OK, xvt_dm_post_folder("Where?", folder, sizeof folder));
  EXPECT_EQ(Backslashed(dir + "/sub"), folder);
  xvt_fsys_set_dir_startup();
}

// The scripted answers of every backend, given through the real boxes.
TEST_F(GuiTest, AScriptAnswersThroughTheBoxes) {
  std::ofstream(dir + "/Log.DAT") << "x";
  mkdir((dir + "/sub").c_str(), 0755);
  Script("answer no\nanswer ok\ntext my words \xE9\ncancel\nanswer 3\n"
         "answer Later\nfile log.dat\ncancel\nfolder sub\nfile missing.dat\n");
  CaptureStderr();
  EXPECT_EQ(2, xvt_dm_post_ask("Yes", "No", nullptr, "Go on with %d?", 7));
  xvt_dm_post_note("two\nlines");
  char buf[40] = "old";
  EXPECT_EQ(buf, xvt_dm_post_string_prompt("Comment", buf, sizeof buf));
  EXPECT_STREQ("my words \xE9", buf);
  EXPECT_EQ(nullptr, xvt_dm_post_string_prompt("Range", buf, sizeof buf));
  EXPECT_EQ(3, xvt_dm_post_ask("A", "B", "C", "Which?"));
  EXPECT_EQ(2, xvt_dm_post_ask("~Now", "&Later", "Never", "When?"));
  FILE_SPEC fs = {};
  StrCopy(fs.dir.path, dir.c_str());
  ASSERT_EQ(FL_OK, xvt_dm_post_file_open(&fs, "Choose a log"));
  EXPECT_STREQ("Log.DAT", fs.name) << "found without regard to case";
  EXPECT_EQ(FL_CANCEL, xvt_dm_post_file_save(&fs, "Save"));
  Enter();
  char folder[300] = "";
  EXPECT_EQ(FL_OK, xvt_dm_post_folder("Where?", folder, sizeof folder));
  EXPECT_EQ(FL_CANCEL, xvt_dm_post_file_open(&fs, "missing"));
  xvt_fsys_set_dir_startup();
  std::string err = GetCapturedStderr();
  EXPECT_THAT(err, HasSubstr("script line 10: there is no file 'missing.dat'"));
  EXPECT_EQ(err.find("script line"), err.rfind("script line"))
      << "only the last line was refused";
  EXPECT_EQ(nullptr, QtBoxWidget());
}

TEST_F(GuiTest, AScriptAnswerThatFitsNoButtonStopsTheScript) {
  Script("answer Maybe\nanswer no\n");
  CaptureStderr();
  EXPECT_EQ(1, xvt_dm_post_ask("Yes", "No", nullptr, "Sure?"));
  EXPECT_THAT(GetCapturedStderr(),
              HasSubstr("script line 1: 'answer Maybe' presses no button of "
                        "this box: answer Maybe; the script stops here"));
  EXPECT_EQ(1, xvt_dm_post_ask("Yes", "No", nullptr, "Again?"))
      << "from then on, Enter";
}

// ----------------------------------------------------------------- viewer

QPlainTextEdit *ViewerText(QWidget *v) {
  return v != nullptr ? v->findChild<QPlainTextEdit *>() : nullptr;
}

TEST_F(GuiTest, TheViewerShowsAReportInItsCodePage) {
  std::string path = dir + "/syn.rpt";
  std::ofstream(path, std::ios::binary)
      << "Rem\xE8"
         "des \x80 5\r\nline two\r\nzero\0byte"
      << std::string("\0", 1) << "\n";
  std::string why;
  QWidget *v = QtOpenViewer(path.c_str(), &why);
  ASSERT_NE(nullptr, v) << why;
  QPlainTextEdit *t = ViewerText(v);
  ASSERT_NE(nullptr, t);
  EXPECT_TRUE(t->isReadOnly());
  EXPECT_EQ(QString::fromUtf8("Rem\u00e8des \u20ac 5\nline two\nzero \n"),
            t->toPlainText());
  EXPECT_TRUE(t->font().fixedPitch() || QFontInfo(t->font()).fixedPitch());
  EXPECT_EQ("syn.rpt - Mantrel", v->windowTitle().toStdString());
  v->close();

  EXPECT_EQ(nullptr, QtOpenViewer((dir + "/none.rpt").c_str(), &why));
  EXPECT_THAT(why, HasSubstr("cannot read '" + dir + "/none.rpt'"));
}

TEST_F(GuiTest, TheProgramIsItsOwnReportViewer) {
  StrCopy(QtSelfPath, "/opt/mantrel/bin/mantrel");
  unsetenv("MANTREL_VIEWER");
  PlatViewerProgram[0] = '\0';
  XvtReset();
  XvtCurrentBackend();
  EXPECT_STREQ("\"/opt/mantrel/bin/mantrel\" --view", PlatViewerProgram);
  // A viewer the person named stays.
  setenv("MANTREL_VIEWER", "gedit", 1);
  XvtReset();
  XvtCurrentBackend();
  EXPECT_STREQ("", PlatViewerProgram);
  unsetenv("MANTREL_VIEWER");
  StrCopy(PlatViewerProgram, "mousepad");
  XvtReset();
  XvtCurrentBackend();
  EXPECT_STREQ("mousepad", PlatViewerProgram);
  PlatViewerProgram[0] = '\0';
  QtSelfPath[0] = '\0';
}

TEST_F(GuiTest, TheViewerWithoutAScreenSaysSo) {
  std::string out = dir + "/err.txt";
  std::string cmd = "env -u QT_QPA_PLATFORM -u DISPLAY -u WAYLAND_DISPLAY '" +
                    std::string(MANTREL_BIN_DIR) + "/mantrel' --view '" + dir +
                    "/r.txt' 2>'" + out + "'";
  EXPECT_EQ(RunCommand(cmd), 1);
  EXPECT_THAT(SlurpFile(out), HasSubstr("no screen to show"));
}

} // namespace
