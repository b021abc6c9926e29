// The "Repair databases" dialog on the screen, on the demo installation:
// tidy, with the texts of the message table and the paths it works on.
#include "gui_demo.h"
#include "repair/rebuild.h"
#include "shell/repairdlg.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>

namespace {

TEST_F(DemoTest, RepairDialogStandsTidyWithItsTexts) {
  std::string problems = "not shown", repName, casesTick, patientTick, caption,
              group, repair;
  bool defaultRepair = false;
  RunDemoProgram([&] {
    StrCopy(CurrentCatalog.RepertoryBlock.Title, "Almanacum 2009");
    WINDOW dlg = RepairDialogOpen();
    ASSERT_NE(dlg, NULL_WIN);
    QtFlush();
    problems = QtLayoutProblems(dlg);
    caption = QtWindowWidget(dlg)->windowTitle().toStdString();
    repName = Ctl<QLabel>(dlg, kRepairDlgRepName)->text().toStdString();
    casesTick = Ctl<QCheckBox>(dlg, kRepairDlgOneCases)->text().toStdString();
    patientTick = Ctl<QCheckBox>(dlg, kRepairDlgPatient)->text().toStdString();
    group = Ctl<QGroupBox>(dlg, kRepairDlgGroupPersonal)->title().toStdString();
    repair = Ctl<QPushButton>(dlg, kRepairDlgRepair)->text().toStdString();
    defaultRepair = Ctl<QPushButton>(dlg, kRepairDlgRepair)->isDefault();
    xvt_vobj_destroy(dlg);
    xvtv_app_destroy();
  });
  EXPECT_EQ("", problems);
  EXPECT_EQ("Advanced repair selection...", caption);
  EXPECT_EQ("Repertory to repair: Almanacum 2009", repName);
  EXPECT_EQ("One cases file: ..\\cases\\repert", casesTick);
  EXPECT_EQ("Patient file: ..\\patient\\patient", patientTick);
  EXPECT_EQ("Personal files", group);
  EXPECT_EQ("Repair", repair);
  EXPECT_TRUE(defaultRepair);
  AppFinish();
}

} // namespace
