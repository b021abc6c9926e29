// The repertory chooser: display orders, the person's chooser at start and
// from the menu, batch mode's eligible editions and its notice dialog, and
// the transfer dialog's two repertory fields.
#include "chooser_support.h"

#include "services/paths.h"
#include "session/runoptions.h"

#include <chrono>
#include <sys/stat.h>
#include <thread>

namespace {

using ::testing::HasSubstr;

// A small program in the task window: its create event runs the test's
// step, its commands go to the menu, File Exit records the caption and ends.
void (*gOnCreate)() = nullptr;
std::string gCaption;

long TestTaskEvent(WINDOW win, EVENT *ev) {
  switch (ev->type) {
  case E_CREATE:
    if (gOnCreate != nullptr)
      gOnCreate();
    break;
  case E_COMMAND:
    if (ev->v.cmd.tag == M_FILE_EXIT) {
      char buf[300];
      gCaption = xvt_vobj_get_title(TASK_WIN, buf, sizeof buf);
      xvtv_app_destroy();
    } else {
      AppMenuCommand(win, ev);
    }
    break;
  case E_CLOSE:
    xvtv_app_destroy();
    break;
  default:
    break;
  }
  return 0;
}

void RunApp(void (*onCreate)()) {
  RegisterMenuResource();
  XVT_CONFIG config{kMenuBarResource, "x_mantre", "Document Title",
                    "Task Window"};
  gOnCreate = onCreate;
  gCaption.clear();
  static char name[] = "mantrel";
  static char *argv[] = {name, nullptr};
  xvt_app_create(1, argv, 0, TestTaskEvent, &config);
}

void OpenPersonChooser() {
  xvt_win_set_doc_title(TASK_WIN, "before");
  RepOpenChooser(WD_MODAL, kChooserPerson);
}

class ChooserTest : public InstallTest {
protected:
  // Six repertories in catalogue order 1..6 and two keynotes books; then
  // the repertories' order, with `configured` as the configured ids when
  // given.
  void SixRepertories(const char *configured = nullptr) {
    AddEntries({MakeRepertory(1, "R1", "Repertory one"),
                MakeRepertory(2, "R2", "Repertory two"),
                MakeRepertory(3, "R3", "Repertory three"),
                MakeRepertory(4, "R4", "Repertory four"),
                MakeRepertory(5, "R5", "Repertory five"),
                MakeRepertory(6, "R6", "Repertory six"),
                MakeKeynotes(4, "K4", "Keynotes four"),
                MakeKeynotes(2, "K2", "Keynotes two")});
    if (configured != nullptr)
      StrCopy(Repertories, configured);
    RepBuildOrder(1);
  }
};

TEST_F(ChooserTest, OrderIsTheConfiguredIdsThenTheOthersInCatalogueOrder) {
  SixRepertories("5,3");
  RepBuildOrder(2);
  EXPECT_EQ(RepertoryOrder, (std::vector<uint16_t>{5, 3, 1, 2, 4, 6, 0}));
  // Keynotes have their own key; its ids that are no keynotes are passed
  // over, so rows and slots still match.
  EXPECT_EQ(KeynotesOrder, (std::vector<uint16_t>{2, 4, 0}));
  EXPECT_EQ(RepIdAtRow(1, 0), 5);
  EXPECT_EQ(RepIdAtRow(1, 5), 6);
  EXPECT_EQ(RepIdAtRow(1, 6), 0);
  EXPECT_EQ(RepIdAtRow(1, 7), 0);
  EXPECT_EQ(RepIdAtRow(1, -1), 0);
  EXPECT_EQ(RepIdAtRow(2, 1), 4);
}

TEST_F(ChooserTest, DoubledUnknownAndMalformedIdsDoNotShiftTheRows) {
  SixRepertories("5, 99,5,x,,3,70000,-2,4");
  EXPECT_EQ(RepertoryOrder, (std::vector<uint16_t>{5, 3, 4, 1, 2, 6, 0}));
}

TEST_F(ChooserTest, CatalogueThatDoesNotOpenLeavesTheOrderEmpty) {
  SixRepertories();
  ASSERT_FALSE(RepertoryOrder.empty());
  StrCopy(CatalogCatalogName, "..\\system\\nocatalog");
  RepBuildOrder(1);
  EXPECT_TRUE(RepertoryOrder.empty());
  EXPECT_EQ(RepIdAtRow(1, 0), 0);
}

TEST_F(ChooserTest, PersonOkOpensTheSelectedRowAndNamesItInTheCaption) {
  SixRepertories("5,3");
  Script("select 5 1\nclick 1\n");
  RunApp(OpenPersonChooser);
  EXPECT_EQ(CurrentCatalog.Id, 3);
  EXPECT_STREQ(CurrentCatalog.Abbrev, "R3");
  EXPECT_STREQ(CurrentCatalog.RepertoryBlock.Paths[kCatSymptom],
               "..\\data\\R3\\symptom");
  EXPECT_EQ(gCaption, "Mantrel 10.5 (Windows) - Repertory three");
  EXPECT_EQ(CatalogHandle, 0); // nothing stays open
}

TEST_F(ChooserTest, CancelLeavesTheLastRowListedAndTheCaptionAlone) {
  SixRepertories("5,3");
  for (const char *cancel : {"click 2\n", "key esc\n"}) {
    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
    Script(cancel);
    RunApp(OpenPersonChooser);
    // Later commands run on the last repertory listed, though the caption
    // names none.
    EXPECT_EQ(CurrentCatalog.Id, 6) << cancel;
    EXPECT_STREQ(CurrentCatalog.Abbrev, "R6");
    EXPECT_EQ(gCaption, "before");
    EXPECT_EQ(CatalogHandle, 0);
  }
}

TEST_F(ChooserTest, MenuOpensTheChooserModelesslyAndADoubleClickChooses) {
  SixRepertories("2");
  Script("menu 1009\nselect 5 3\ndclick 5\n");
  RunApp(nullptr);
  EXPECT_EQ(CurrentCatalog.Id, RepertoryOrder[3]);
  EXPECT_EQ(CurrentCatalog.Id, 4);
  EXPECT_EQ(gCaption, "Mantrel 10.5 (Windows) - Repertory four");
}

TEST_F(ChooserTest, MissingCatalogueIsToldAndOkChoosesNothing) {
  Script("click 1\n");
  CurrentCatalog.Id = 77;
  std::string err = StderrOf([&] { RepOpenChooser(WD_MODAL, kChooserPerson); });
  EXPECT_THAT(
      err, HasSubstr("The catalogue of repertories cannot be opened (H-12)."));
  EXPECT_EQ(CurrentCatalog.Id, 77);
}

TEST_F(ChooserTest, BatchModeListsOnlyTheEditionsALogMayRunOn) {
  AddEntries({MakeRepertory(1, "ABC2009", "Almanacum 2009"),
              MakeRepertory(2, "ABC2009C", "Almanacum 2009 concepts"),
              MakeRepertory(3, "SALM92", "Almanacum 92 Plus"),
              MakeRepertory(4, "CALM92", "Almanacum 92 concepts"),
              MakeRepertory(5, "OTH2009", "Other 2009"),
              MakeRepertory(6, "ALM10", "Almanacum 2010"),
              MakeRepertory(7, "SALM92X", "almanacum 92 lower case")});
  StrCopy(Repertories, "3");
  RepBuildOrder(1);
  // Language 2 reaches the parameter and vanishes in its remainder.
  WINDOW win = RepOpenChooser(WD_MODELESS, -(2 * 100 + 1));
  ASSERT_NE(win, NULL_WIN);
  EXPECT_EQ(ChooserBatch, 1);
  EXPECT_TRUE(xvt_vobj_is_visible(win));
  std::vector<std::string> rows = RowsOf(win, kChooserList);
  ASSERT_EQ(rows, (std::vector<std::string>{"Almanacum 92 Plus (SALM92-3)",
                                            "Almanacum 2009 (ABC2009-1)"}));
  EXPECT_EQ(RepIdFromRowText(rows[0].c_str()), 3);
  EXPECT_EQ(RepIdFromRowText(rows[1].c_str()), 1);
  EXPECT_EQ(CurrentCatalog.Id, 7); // the last row gone through
  EXPECT_NE(CatalogHandle, 0);     // open while the chooser stands
  xvt_vobj_destroy(win);
}

TEST(ChooserRules, EligibleEditionsAndTheTooOldFlag) {
  struct Case {
    const char *title, *abbrev;
    bool eligible, tooOld;
  } const cases[] = {
      {"Almanacum 2009", "ABC2009", true, false},
      {"Almanacum 2009", "ABC2009C", false, false},
      {"Almanacum 92", "SALM92", true, false},
      {"Almanacum 92", "CALM92", false, false},
      {"Almanacum 9.0", "ALM90", false, true},
      {"Almanacum 9.0", "CALM90", false, false}, // a concept: not too old
      {"Almanacum 9.0", "ABC90", false, true},
      {"Almanacum 9.0 and 92", "ALM92", true, true},
      {"Other 2009", "OTH2009", false, false},
      {"Almanacum 2010", "ALM10", false, false},
  };
  for (const Case &c : cases) {
    Catalog entry = MakeRepertory(1, c.abbrev, c.title);
    bool tooOld = false;
    EXPECT_EQ(RepEligibleForRun(entry, &tooOld), c.eligible) << c.abbrev;
    EXPECT_EQ(tooOld, c.tooOld) << c.abbrev;
  }
  // Once set the flag stays for the rest of the listing.
  bool tooOld = true;
  RepEligibleForRun(MakeRepertory(1, "ABC2009", "Almanacum 2009"), &tooOld);
  EXPECT_TRUE(tooOld);
}

TEST(ChooserRules, IdIsReadFromTheEndOfTheRowText) {
  EXPECT_EQ(RepIdFromRowText("Name (ABC-12)"), 12);
  // A name that ends in digits is no trouble: the walk stops at the dash.
  EXPECT_EQ(RepIdFromRowText("Almanacum 2009 (ABC2009-7)"), 7);
  EXPECT_EQ(RepIdFromRowText("Kent 42 (K42-305)"), 305);
  EXPECT_EQ(RepIdFromRowText(""), 0);
  EXPECT_EQ(RepIdFromRowText("no id here"), 0);
  EXPECT_EQ(RepIdFromRowText("x (A-99999)"), 0); // no 16-bit id
  EXPECT_EQ(RepIdFromRowText(nullptr), 0);
}

// The address dialog 114 hands to the opener, read back from a recorder.
class NoticeTest : public ChooserTest {
protected:
  void SetUp() override {
    ChooserTest::SetUp();
    record_ = root_ / "opened.txt";
    fs::path opener = root_ / "opener.sh";
    std::ofstream(opener) << "#!/bin/sh\nprintf '%s' \"$1\" > '"
                          << record_.string() << "'\n";
    chmod(opener.c_str(), 0755);
    StrCopy(RepLinkOpener, opener.c_str());
  }
  void TearDown() override {
    StrCopy(RepLinkOpener, "xdg-open");
    ChooserTest::TearDown();
  }
  std::string Opened() {
    for (int i = 0; i < 250 && !fs::exists(record_); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return SlurpFile(record_);
  }
  fs::path record_;
};

TEST_F(NoticeTest, TooOldEditionOffersTheOrderPage) {
  AddEntries({MakeRepertory(1, "ALM90", "Almanacum 9.0"),
              MakeRepertory(2, "ABC2009C", "Almanacum 2009 concepts")});
  RepBuildOrder(1);
  Script("click 1\nclick 3\n");
  WINDOW win = RepOpenChooser(WD_MODELESS, -101);
  // The chooser stays hidden behind the notice; no run starts.
  ASSERT_TRUE(xvt_vobj_is_valid(win));
  EXPECT_FALSE(xvt_vobj_is_visible(win));
  EXPECT_TRUE(RowsOf(win, kChooserList).empty());
  EXPECT_EQ(Opened(), "https://www.example.org/almanacum/order");
  xvt_vobj_destroy(win);
}

TEST_F(NoticeTest, NoEditionAtAllHidesTheOrderButton) {
  AddEntries({MakeRepertory(1, "CALM92", "Almanacum 92 concepts")});
  RepBuildOrder(1);
  Script("click 2\nclick 1\n");
  testing::internal::CaptureStderr();
  WINDOW win = RepOpenChooser(WD_MODELESS, -101);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(Opened(), "https://www.example.org/almanacum");
  // Button 1 is not there to be pressed.
  EXPECT_THAT(err, HasSubstr("control 1 is hidden"));
  xvt_vobj_destroy(win);
}

TEST_F(ChooserTest, TransferDialogTakesBothRepertoriesAndTheLog) {
  SixRepertories();
  CurrentCatalog = Stored(1, 1);
  std::ofstream(root_ / "log" / "salm.dat") << "x";
  Script("click 11\n"            // Browse for the old repertory
         "select 5 3\nclick 1\n" // row 3 of the order: id 4
         "click 8\nfile SALM.DAT\n"
         "click 1\n");
  std::string err = StderrOf([&] { MenuCommand(1040); });
  EXPECT_STREQ(UpgradeOldAbbrev, "R4");
  // The new repertory is the one current at opening, although the chooser
  // made the old one current on the way.
  EXPECT_EQ(CurrentCatalog.Id, 1);
  std::string log = LogPath;
  EXPECT_EQ(log.substr(log.size() - 9), "\\LOG\\SALM") << log;
  EXPECT_EQ(TransferDialog, NULL_WIN);
  // Start ran the transfer: a translated run of the whole log, which
  // finds no log table here.
  // It leaves the runs that follow untranslated.
  EXPECT_EQ(RunOptions.AssociationMode, 0);
  EXPECT_EQ(RunOptions.From, 0);
  EXPECT_EQ(RunOptions.To, 999999999);
  EXPECT_THAT(err, HasSubstr("SALM cannot be opened"));
}

TEST_F(ChooserTest, TransferDialogShowsTheCurrentRepertoryAtOpening) {
  SixRepertories();
  RepertoryOrder.clear(); // the dialog must not lean on an order made before
  CurrentCatalog = Stored(1, 5);
  static std::string shown;
  static long shownId;
  shown.clear();
  shownId = 0;
  Script("click 2\n");
  // A handler of our own around the dialog's: it looks at field 5 once the
  // dialog stands, then closes it.
  xvt_dlg_create_res(
      WD_MODAL, kTransferRes, -1,
      [](WINDOW win, EVENT *ev) -> long {
        TransferEvent(win, ev);
        if (ev->type == E_CREATE) {
          char buf[200];
          WINDOW field = xvt_win_get_ctl(win, kTransferNew);
          shown = xvt_vobj_get_title(field, buf, sizeof buf);
          shownId = xvt_vobj_get_data(field);
          EXPECT_EQ(TransferDialog, win);
        }
        return 0;
      },
      0);
  EXPECT_EQ(shown, "Repertory five (R5)");
  EXPECT_EQ(shownId, 5);
  EXPECT_EQ(TransferDialog, NULL_WIN);
}

} // namespace
