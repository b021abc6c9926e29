// The backup dialog (112) in both modes and the file localisation window
// (109) on the demo installation, on the Qt backend: tidy at the dialog
// font, showing what their modes show. With MANTREL_SHOT_DIR set
// (scripts/screenshots.sh) each is also pictured for docs/screenshots.
#include "backup/backup.h"
#include "gui_demo.h"
#include "gui_support.h"
#include "session/runoptions.h"
#include "transfers/localise.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <filesystem>

namespace {

using ::testing::HasSubstr;

class BackupWindows : public DemoTest {
protected:
  void SetUp() override {
    DemoTest::SetUp();
    QtIdleLimitMs = 20000;
  }
};

void Shot(const char *name) {
  const char *d = getenv("MANTREL_SHOT_DIR");
  if (d == nullptr || *d == '\0')
    return;
  std::string path = std::string(d) + "/" + name;
  EXPECT_EQ(0, QtSaveScreen(path.c_str())) << path;
}

struct Seen {
  std::string problems, tickTitle, folder;
  bool editVisible = false, listVisible = false;
  int listRows = -1, itemsFirst = -1, itemsSystem = -1;
  std::string playerRow;
  bool closed = false;
} gSeen;

// The dialog as the menu opens it after the demo's repertory was chosen.
void OpenBackup(long mode, const char *shot) {
  RunDemoProgram([mode, shot] {
    When([] { return OpenWindowOf(kBackupRes) != NULL_WIN; },
         [shot] {
           WINDOW dlg = OpenWindowOf(kBackupRes);
           gSeen.problems = QtLayoutProblems(dlg);
           gSeen.tickTitle = Ctl<QAbstractButton>(dlg, kBackupTickRepertory)
                                 ->text()
                                 .toStdString();
           QLineEdit *edit = Ctl<QLineEdit>(dlg, kBackupFolderEdit);
           QComboBox *list = Ctl<QComboBox>(dlg, kBackupFolderList);
           gSeen.editVisible = edit != nullptr && edit->isVisible();
           gSeen.listVisible = list != nullptr && list->isVisible();
           gSeen.listRows = list != nullptr ? list->count() : -1;
           gSeen.folder = edit != nullptr ? edit->text().toStdString() : "";
           Shot(shot);
           QTest::mouseClick(Ctl<QPushButton>(dlg, kBackupCancel),
                             Qt::LeftButton);
         });
    StrCopy(CurrentCatalog.Abbrev, "SALM2009");
    StrCopy(CurrentCatalog.RepertoryBlock.Title, "Almanacum 2009");
    AppLogDefaults(kRunOwnLog);
    BackupOpenDialog(mode);
    xvtv_app_destroy();
  });
  AppFinish();
}

TEST_F(BackupWindows, TheBackupDialogOffersEverythingAndANewFolder) {
  gSeen = Seen();
  OpenBackup(kBackupModeBackup, "backup-dialog.png");
  EXPECT_EQ("", gSeen.problems);
  EXPECT_EQ("Almanacum (Almanacum 2009)", gSeen.tickTitle);
  EXPECT_TRUE(gSeen.editVisible);
  EXPECT_FALSE(gSeen.listVisible);
  // The new dated folder under the installation's BACKUP.
  EXPECT_THAT(gSeen.folder, HasSubstr("\\BACKUP\\"));
}

TEST_F(BackupWindows, TheRestoreDialogListsTheBackupsMade) {
  for (const char *d : {"20261101_090000", "20261116_120000", ".hidden"})
    std::filesystem::create_directories(demo + "/backup/" + d);
  gSeen = Seen();
  OpenBackup(kBackupModeRestore, "restore-dialog.png");
  EXPECT_EQ("", gSeen.problems);
  EXPECT_FALSE(gSeen.editVisible);
  EXPECT_TRUE(gSeen.listVisible);
  EXPECT_EQ(2, gSeen.listRows);
}

TEST_F(BackupWindows, TheLocalisationWindowListsEveryPlace) {
  gSeen = Seen();
  RunDemoProgram([] {
    When([] { return MenuAction(1024) != nullptr; },
         [] { MenuAction(1024)->trigger(); });
    When([] { return OpenWindowOf(kLocaliseRes) != NULL_WIN; },
         [] {
           WINDOW win = OpenWindowOf(kLocaliseRes);
           gSeen.problems = QtLayoutProblems(win);
           QListWidget *items = Ctl<QListWidget>(win, kLocaliseItems);
           gSeen.itemsFirst = items->count();
           // The system files, as a click on the category shows them.
           ClickRow(Ctl<QListWidget>(win, kLocaliseCategories),
                    kLocaliseSystem);
         });
    When(
        [] {
          WINDOW win = OpenWindowOf(kLocaliseRes);
          return win != NULL_WIN &&
                 Ctl<QListWidget>(win, kLocaliseItems)->count() > 3;
        },
        [] {
          WINDOW win = OpenWindowOf(kLocaliseRes);
          QListWidget *items = Ctl<QListWidget>(win, kLocaliseItems);
          gSeen.itemsSystem = items->count();
          gSeen.playerRow =
              items->item(items->count() - 1)->text().toLatin1().toStdString();
          Shot("file-localisation.png");
          QTest::mouseClick(Ctl<QPushButton>(win, kLocaliseClose),
                            Qt::LeftButton);
        });
    When(
        [] {
          return gSeen.itemsSystem >= 0 &&
                 OpenWindowOf(kLocaliseRes) == NULL_WIN;
        },
        [] {
          gSeen.closed = true;
          MenuAction(M_FILE_EXIT)->trigger();
        });
  });
  AppFinish();
  EXPECT_EQ("", gSeen.problems);
  EXPECT_EQ(3, gSeen.itemsFirst); // the demo's three repertories
  EXPECT_EQ(16, gSeen.itemsSystem);
  EXPECT_THAT(gSeen.playerRow, HasSubstr("(not in the configuration)"));
  EXPECT_TRUE(gSeen.closed);
}

} // namespace
