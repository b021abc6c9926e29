#include "shell/repairdlg.h"

#include "platform/paths.h"
#include "platform/strutil.h"
#include "repair/rebuild.h"
#include "services/config.h"
#include "services/dialog.h"
#include "services/messages.h"
#include "services/paths.h"
#include "session/session.h"
#include "shell/chooser.h"

#include <cstring>

namespace {

// Dialog units: the three groups one below the other, two columns of ticks
// in each, the Browse buttons on the right, the buttons at the foot.
const XVT_CTL_RES kRepairCtls[] = {
    {kRepairDlgGroupRep, WC_GROUPBOX, 7, 5, 316, 100, "Repertory files", 0},
    {kRepairDlgRepName, WC_TEXT, 14, 18, 240, 10, "Repertory to repair: ", 0},
    {kRepairDlgBrowseRep, WC_PUSHBUTTON, 262, 15, 54, 14, "Browse", 0},
    {kRepairDlgSymptoms, WC_CHECKBOX, 14, 35, 150, 10, "Symptoms", 0},
    {kRepairDlgWord1, WC_CHECKBOX, 14, 48, 150, 10, "Words in first language",
     0},
    {kRepairDlgWord2, WC_CHECKBOX, 14, 61, 150, 10, "Words in second language",
     0},
    {kRepairDlgExtract, WC_CHECKBOX, 14, 74, 150, 10, "Extractions", 0},
    {kRepairDlgView, WC_CHECKBOX, 14, 87, 150, 10, "Views", 0},
    {kRepairDlgLog, WC_CHECKBOX, 170, 35, 146, 10, "Log file", 0},
    {kRepairDlgNote, WC_CHECKBOX, 170, 48, 146, 10, "Notes", 0},
    {kRepairDlgLink, WC_CHECKBOX, 170, 61, 146, 10, "Multimedia links", 0},
    {kRepairDlgExSp, WC_CHECKBOX, 170, 74, 146, 10, "Concepts links", 0},
    {kRepairDlgGroupSystem, WC_GROUPBOX, 7, 109, 316, 28, "System files", 0},
    {kRepairDlgRemed, WC_CHECKBOX, 14, 121, 150, 10, "Remedies", 0},
    {kRepairDlgAuthor, WC_CHECKBOX, 170, 121, 146, 10, "Authors", 0},
    {kRepairDlgGroupPersonal, WC_GROUPBOX, 7, 141, 316, 66, "Personal files",
     0},
    {kRepairDlgPatient, WC_CHECKBOX, 14, 155, 240, 10, "Patient file:", 0},
    {kRepairDlgBrowsePatient, WC_PUSHBUTTON, 262, 153, 54, 14, "Browse", 0},
    {kRepairDlgOneCases, WC_CHECKBOX, 14, 172, 240, 10, "One cases file:", 0},
    {kRepairDlgBrowseCases, WC_PUSHBUTTON, 262, 170, 54, 14, "Browse", 0},
    {kRepairDlgAllCases, WC_CHECKBOX, 14, 189, 150, 10, "All cases files", 0},
    {kRepairDlgKeynotes, WC_CHECKBOX, 170, 189, 146, 10, "Personal keynotes",
     0},
    {kRepairDlgSelectAll, WC_PUSHBUTTON, 7, 214, 60, 14, "Select all", 0},
    {kRepairDlgDeselectAll, WC_PUSHBUTTON, 73, 214, 60, 14, "Deselect all", 0},
    {kRepairDlgRepair, WC_PUSHBUTTON, 203, 214, 57, 14, "Repair",
     CTL_FLAG_DEFAULT},
    {kRepairDlgCancel, WC_PUSHBUTTON, 266, 214, 57, 14, "Cancel", 0},
};
const XVT_WIN_RES kRepairDlg = {
    kRepairDlgRes,
    0,
    0,
    330,
    236,
    "Repair databases",
    kRepairCtls,
    static_cast<int>(sizeof kRepairCtls / sizeof kRepairCtls[0]),
    0};

// "Repertory to repair: " and the repertory's display name.
void ShowRepertory(WINDOW win) {
  char name[sizeof CurrentCatalog.RepertoryBlock.Title + 1] = "";
  memcpy(name, CurrentCatalog.RepertoryBlock.Title, sizeof name - 1);
  char text[256];
  StrFormat(text, "Repertory to repair: %s", name);
  DlgSetTitle(win, kRepairDlgRepName, text);
}

// A tick's title: its message and the path it works on.
void ShowPath(WINDOW win, int id, int message, const char *path) {
  char text[512];
  StrFormat(text, "%s %s", MsgText(message), path);
  DlgSetTitle(win, id, text);
}

void ShowPaths(WINDOW win) {
  ShowPath(win, kRepairDlgPatient, 6750, PatientCatalogName);
  ShowPath(win, kRepairDlgOneCases, 6751, CasesCatalogName);
}

// Picks a file of the patient or cases family; the path without its
// extension holds for the rest of the program's run.
void Browse(WINDOW win, const char *type, int message, char *setting,
            size_t cap) {
  char folder[kPathMax + 1];
  StrCopy(folder, sizeof folder, setting);
  if (char *last = strrchr(folder, '\\'))
    last[1] = '\0';
  else
    folder[0] = '\0';
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  if (FileChooseOpen(type, &spec, message,
                     folder[0] != '\0' ? folder : nullptr) == 0)
    return;
  char path[kPathMax + 1];
  PathOfFileSpec(&spec, path, sizeof path);
  if (char *dot = strrchr(path, '.'))
    *dot = '\0';
  StrCopy(setting, cap, path);
  ShowPaths(win);
}

const int kTicks[] = {
    kRepairDlgSymptoms, kRepairDlgWord1,    kRepairDlgWord2,
    kRepairDlgExtract,  kRepairDlgView,     kRepairDlgNote,
    kRepairDlgLink,     kRepairDlgExSp,     kRepairDlgLog,
    kRepairDlgRemed,    kRepairDlgAuthor,   kRepairDlgPatient,
    kRepairDlgOneCases, kRepairDlgAllCases, kRepairDlgKeynotes};

void SelectAll(WINDOW win, bool on) {
  for (int id : kTicks)
    DlgSetTick(win, id, on);
  // "Select all" means every cases file, never the one.
  DlgSetTick(win, kRepairDlgOneCases, false);
}

} // namespace

void RepairDialogRegister() {
  xvt_res_register_dialog(&kRepairDlg);
}

long RepairDialogEvent(WINDOW win, EVENT *ev) {
  if (DlgCancelEvent(win, ev))
    return 0;
  switch (ev->type) {
  case E_CREATE:
    DlgLoadTexts(win, TextTableRepair);
    ShowRepertory(win);
    ShowPaths(win);
    break;
  case E_CONTROL:
    switch (int id = ev->v.ctl.id) {
    case kRepairDlgRepair:
      RepairSelected(win);
      break;
    case kRepairDlgCancel:
      xvt_vobj_destroy(win);
      break;
    case kRepairDlgBrowseRep:
      RepOpenChooser(WD_MODAL, kChooserPerson);
      ShowRepertory(win);
      break;
    case kRepairDlgBrowsePatient:
      Browse(win, "da3", 6761, PatientCatalogName, sizeof PatientCatalogName);
      break;
    case kRepairDlgBrowseCases:
      Browse(win, "da1", 6762, CasesCatalogName, sizeof CasesCatalogName);
      break;
    case kRepairDlgOneCases:
      DlgToggleTick(win, id);
      DlgSetTick(win, kRepairDlgAllCases, false);
      break;
    case kRepairDlgAllCases:
      DlgToggleTick(win, id);
      DlgSetTick(win, kRepairDlgOneCases, false);
      break;
    case kRepairDlgSelectAll:
      SelectAll(win, true);
      break;
    case kRepairDlgDeselectAll:
      SelectAll(win, false);
      break;
    default:
      for (int t : kTicks)
        if (t == id)
          DlgToggleTick(win, id);
      break;
    }
    break;
  default:
    break;
  }
  return 0;
}

WINDOW RepairDialogOpen() {
  RepairDialogRegister();
  WINDOW dlg =
      xvt_dlg_create_res(WD_MODELESS, kRepairDlgRes, -1, RepairDialogEvent, 0);
  if (dlg == NULL_WIN)
    xvt_dm_post_error("%s", MSG_CANT_OPEN_DIALOG);
  return dlg;
}
