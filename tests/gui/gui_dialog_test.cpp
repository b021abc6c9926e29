// Dialogs from templates on the screen: one widget per control in its place,
// what a person does with them reaching the handler, and a tidy layout.
#include "gui_support.h"
#include "services/work.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

namespace {

WINDOW Every() {
  return OpenWindowOf(kEveryDlg);
}

TEST_F(GuiTest, EveryKindOfControlStandsInItsPlaceWithItsState) {
  bool looked = false;
  When([] { return QtControlWidget(Every(), 1) != nullptr; },
       [&looked] {
         WINDOW dlg = Every();
         looked = true;
         QWidget *top = QtWindowWidget(dlg);
         ASSERT_NE(nullptr, top);
         EXPECT_EQ("Every control", top->windowTitle().toStdString());
         EXPECT_TRUE(top->isModal());
         // Places are the model's pixels: 6/4 across, 13/8 down.
         EXPECT_EQ(QSize(336, 224), top->size());
         EXPECT_EQ(QRect(90, 191, 75, 23), QtControlWidget(dlg, 1)->geometry());
         EXPECT_EQ(QRect(183, 26, 144, 19),
                   QtControlWidget(dlg, 6)->geometry());

         auto *ok = Ctl<QPushButton>(dlg, 1);
         ASSERT_NE(nullptr, ok);
         EXPECT_TRUE(ok->isDefault());
         EXPECT_FALSE(Ctl<QPushButton>(dlg, 2)->isDefault());
         EXPECT_FALSE(Ctl<QPushButton>(dlg, 9)->isEnabled());
         EXPECT_EQ("&Help", Ctl<QPushButton>(dlg, 9)->text().toStdString());
         EXPECT_EQ("&Keep in own log",
                   Ctl<QCheckBox>(dlg, 3)->text().toStdString());
         ASSERT_NE(nullptr, Ctl<QRadioButton>(dlg, 4));
         EXPECT_EQ("Options", Ctl<QGroupBox>(dlg, 10)->title().toStdString());
         EXPECT_EQ("From:", Ctl<QLabel>(dlg, 5)->text().toStdString())
             << "a label shows no mnemonic mark";
         EXPECT_EQ("10.01.2024", Ctl<QLineEdit>(dlg, 6)->text().toStdString());

         auto *single = Ctl<QListWidget>(dlg, 12);
         auto *several = Ctl<QListWidget>(dlg, 14);
         ASSERT_EQ(4, single->count());
         EXPECT_EQ(QAbstractItemView::SingleSelection, single->selectionMode());
         EXPECT_EQ(QAbstractItemView::MultiSelection, several->selectionMode());
         EXPECT_TRUE(single->item(1)->isSelected()) << "preselected row";
         auto *drop = Ctl<QComboBox>(dlg, 7);
         EXPECT_FALSE(drop->isEditable());
         EXPECT_EQ(QString::fromUtf8("Fran\u00e7ais"), drop->itemText(2));
         EXPECT_EQ(0, drop->currentIndex());
         // A drop-down stands closed: its place also holds the list.
         EXPECT_LT(drop->height(), 40);
         auto *combo = Ctl<QComboBox>(dlg, 8);
         EXPECT_TRUE(combo->isEditable());
         EXPECT_EQ("dd.mm.yyyy", combo->currentText().toStdString());
         ok->click();
       });
  RunEveryDialog();
  EXPECT_TRUE(looked);
  EXPECT_TRUE(gEvery.ok);
  EXPECT_EQ(1, gEvery.single);
  EXPECT_EQ(nullptr, QtWindowWidget(Every())) << "the window left the screen";
}

// A person ticks, types, picks rows and presses OK: the handler reads it all
// from the model, and ticks change only when the handler says so.
TEST_F(GuiTest, WhatAPersonDoesReachesTheHandler) {
  When([] { return QtControlWidget(Every(), 1) != nullptr; },
       [] {
         WINDOW dlg = Every();
         auto *tick = Ctl<QCheckBox>(dlg, 3);
         QTest::mouseClick(tick, Qt::LeftButton);
         auto *edit = Ctl<QLineEdit>(dlg, 6);
         edit->selectAll();
         TypeText(edit, QString::fromUtf8("31.12.1999 \u00e9t\u00e9"));
         auto *several = Ctl<QListWidget>(dlg, 14);
         for (int row : {0, 2}) {
           QRect r = several->visualItemRect(several->item(row));
           QTest::mouseClick(several->viewport(), Qt::LeftButton, {},
                             r.center());
         }
         auto *drop = Ctl<QComboBox>(dlg, 7);
         drop->setCurrentIndex(2);
         emit drop->activated(2);
         QLineEdit *comboEdit = Ctl<QComboBox>(dlg, 8)->lineEdit();
         comboEdit->selectAll();
         QTest::keyClicks(comboEdit, "yyyy-mm-dd");
         When([dlg] { return xvt_ctl_is_checked(xvt_win_get_ctl(dlg, 3)); },
              [dlg] {
                EXPECT_TRUE(Ctl<QCheckBox>(dlg, 3)->isChecked());
                QTest::mouseClick(Ctl<QPushButton>(dlg, 1), Qt::LeftButton);
              });
       });
  RunEveryDialog();
  ASSERT_TRUE(gEvery.ok);
  EXPECT_TRUE(gEvery.ticked);
  EXPECT_EQ("31.12.1999 \xE9t\xE9", gEvery.edit)
      << "typed text in code page 1252";
  EXPECT_THAT(gEvery.several, ElementsAre(0, 2));
  EXPECT_EQ(2, gEvery.drop);
  EXPECT_EQ("yyyy-mm-dd", gEvery.combo);
  EXPECT_EQ(1, gEvery.single);
}

long Untouched(WINDOW win, EVENT *ev) {
  if (ev->type == E_CONTROL && ev->v.ctl.id == 2)
    xvt_vobj_destroy(win);
  if (ev->type == E_CONTROL)
    gEvery.events.push_back("control " + std::to_string(ev->v.ctl.id));
  return 0;
}

TEST_F(GuiTest, ATickStaysAsTheHandlerLeavesIt) {
  ASSERT_EQ(0, xvt_res_register_dialog(&kEveryRes));
  gEvery = EveryResult();
  When([] { return QtControlWidget(Every(), 3) != nullptr; },
       [] {
         WINDOW dlg = Every();
         QTest::mouseClick(Ctl<QCheckBox>(dlg, 3), Qt::LeftButton);
         QTest::mouseClick(Ctl<QRadioButton>(dlg, 4), Qt::LeftButton);
         When([dlg] { return gEvery.events.size() >= 2; },
              [dlg] {
                EXPECT_FALSE(Ctl<QCheckBox>(dlg, 3)->isChecked());
                EXPECT_FALSE(Ctl<QRadioButton>(dlg, 4)->isChecked());
                Ctl<QPushButton>(dlg, 2)->click();
              });
       });
  xvt_dlg_create_res(WD_MODAL, kEveryDlg, -1, Untouched, 0);
  EXPECT_THAT(gEvery.events,
              ElementsAre("control 3", "control 4", "control 2"));
}

TEST_F(GuiTest, EscEnterAndTheCloseBoxGoToTheWindow) {
  When([] { return QtControlWidget(Every(), 6) != nullptr; },
       [] { QTest::keyClick(Ctl<QLineEdit>(Every(), 6), Qt::Key_Escape); });
  RunEveryDialog();
  EXPECT_THAT(gEvery.events, ElementsAre("create", "char 27", "destroy"));

  When([] { return QtControlWidget(Every(), 6) != nullptr; },
       [] { QTest::keyClick(Ctl<QLineEdit>(Every(), 6), Qt::Key_Return); });
  RunEveryDialog();
  EXPECT_TRUE(gEvery.ok) << "Enter pressed the default button";

  When([] { return QtWindowWidget(Every()) != nullptr; },
       [] { QtWindowWidget(Every())->close(); });
  RunEveryDialog();
  EXPECT_THAT(gEvery.events, ElementsAre("create", "close", "destroy"));
}

TEST_F(GuiTest, ADoubleClickInAListReachesTheHandler) {
  When([] { return QtControlWidget(Every(), 12) != nullptr; },
       [] {
         auto *l = Ctl<QListWidget>(Every(), 12);
         QRect r = l->visualItemRect(l->item(3));
         QTest::mouseClick(l->viewport(), Qt::LeftButton, {}, r.center());
         QTest::mouseDClick(l->viewport(), Qt::LeftButton, {}, r.center());
       });
  RunEveryDialog();
  ASSERT_TRUE(gEvery.ok);
  EXPECT_EQ(3, gEvery.single);
  EXPECT_EQ("control 12 double", gEvery.events.back() == "destroy"
                                     ? gEvery.events[gEvery.events.size() - 2]
                                     : gEvery.events.back());
}

// What the program changes while a modeless dialog stands shows on it.
TEST_F(GuiTest, ChangesOfTheModelShowOnTheWidgets) {
  WINDOW dlg = RunEveryDialog(WD_MODELESS);
  ASSERT_NE(NULL_WIN, dlg);
  WINDOW l = xvt_win_get_ctl(dlg, 12);
  xvt_list_rem(l, 0);
  xvt_list_add(l, 0, "Hering");
  xvt_list_set_sel(l, 3, true);
  xvt_vobj_set_title(xvt_win_get_ctl(dlg, 5), "Until:");
  xvt_vobj_set_enabled(xvt_win_get_ctl(dlg, 9), true);
  xvt_vobj_set_visible(xvt_win_get_ctl(dlg, 4), false);
  xvt_ctl_set_checked(xvt_win_get_ctl(dlg, 3), true);
  xvt_vobj_set_title(dlg, "Changed \x80 title");
  QtFlush();
  auto *list = Ctl<QListWidget>(dlg, 12);
  ASSERT_EQ(4, list->count());
  EXPECT_EQ("Hering", list->item(0)->text().toStdString());
  EXPECT_TRUE(list->item(3)->isSelected());
  EXPECT_FALSE(list->item(1)->isSelected());
  EXPECT_EQ("Until:", Ctl<QLabel>(dlg, 5)->text().toStdString());
  EXPECT_TRUE(Ctl<QPushButton>(dlg, 9)->isEnabled());
  EXPECT_FALSE(Ctl<QRadioButton>(dlg, 4)->isVisible());
  EXPECT_TRUE(Ctl<QCheckBox>(dlg, 3)->isChecked());
  EXPECT_EQ(QString::fromUtf8("Changed \u20ac title"),
            QtWindowWidget(dlg)->windowTitle());
  xvt_vobj_set_visible(dlg, false);
  QtFlush();
  EXPECT_FALSE(QtWindowWidget(dlg)->isVisible());
  xvt_vobj_destroy(dlg);
  EXPECT_EQ(nullptr, QtWindowWidget(dlg));
}

// Dialogs come up centred on the task window, and the program's own
// dialogs are tidy at the dialog font: every text fits, nothing overlaps.
TEST_F(GuiTest, DialogsAreCentredOnTheTaskWindowAndTidy) {
  RunTaskWindow([] {
    WINDOW dlg = RunEveryDialog(WD_MODELESS);
    QtFlush();
    QWidget *task = QtWindowWidget(TASK_WIN);
    QWidget *top = QtWindowWidget(dlg);
    ASSERT_TRUE(task && top);
    QPoint d = top->geometry().center() - task->geometry().center();
    EXPECT_LE(d.manhattanLength(), 2) << "centred on the task window";
    EXPECT_EQ("", QtLayoutProblems(dlg));
    xvt_vobj_destroy(dlg);
    WorkRegisterResources();
    WINDOW work = xvt_dlg_create_res(
        WD_MODELESS, kWorkWorkingRes, -1,
        [](WINDOW, EVENT *) -> long { return 0; }, 0);
    QtFlush();
    EXPECT_EQ("", QtLayoutProblems(work));
    xvt_vobj_destroy(work);
    xvtv_app_destroy();
  });
}

// The tidiness check itself finds what it is there for.
TEST_F(GuiTest, TheTidinessCheckFindsClippedAndOverlappingControls) {
  const XVT_CTL_RES ctls[] = {
      {1, WC_PUSHBUTTON, 4, 4, 12, 12, "A long button text", 0},
      {2, WC_TEXT, 4, 20, 60, 9, "Overlapped", 0},
      {3, WC_EDIT, 30, 22, 60, 12, "", 0},
      {4, WC_GROUPBOX, 2, 40, 90, 30, "Group", 0},
      {5, WC_CHECKBOX, 6, 50, 60, 10, "Inside", 0},
      {6, WC_TEXT, 80, 70, 60, 9, "Outside", 0},
  };
  XVT_WIN_RES res = {601, 0, 0, 100, 76, "Untidy", ctls, 6, 0};
  ASSERT_EQ(0, xvt_res_register_dialog(&res));
  WINDOW dlg = xvt_dlg_create_res(
      WD_MODELESS, 601, -1, [](WINDOW, EVENT *) -> long { return 0; }, 0);
  QtFlush();
  std::string p = QtLayoutProblems(dlg);
  EXPECT_THAT(p, ::testing::HasSubstr("control 1: its text needs"));
  EXPECT_THAT(p, ::testing::HasSubstr("control 2: overlaps control 3"));
  EXPECT_THAT(p, ::testing::HasSubstr("control 6: lies outside the window"));
  EXPECT_EQ(std::string::npos, p.find("control 4: overlaps"))
      << "a group box holds its controls";
  xvt_vobj_destroy(dlg);
}

} // namespace
