// The complete list, the list of one date and the custom list of a log
// with entries of all eighteen operations.
#include "listings_support.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST_F(ListingsTest, CompleteListIsTheTextFormOfEveryEntryInLogOrder) {
  MakeLog("log\\SALM", false);
  std::string err = StderrOf([&] { WorkRun(ListComplete); });
  // The same bytes as the reviewed text form of these entries.
  ExpectGolden(Slurp("log/SALM.txt"), "logtext_en_table.txt");
  ExpectGolden(Slurp("log/SALM_2.txt"), "logtext_en_table_2.txt");
  EXPECT_THAT(err, Not(HasSubstr("note:")));
  EXPECT_EQ(Viewed(1), Abs("log/SALM.txt") + "\n");
  EXPECT_EQ(ProgressWindow, NULL_WIN);
  EXPECT_EQ(LogTextSymptomTable, 0);
}

TEST_F(ListingsTest, CompleteListWithoutSymptomTableRunsAndTellsSoAtTheEnd) {
  MakeLog("log\\SALM", false);
  StrCopy(CurrentCatalog.RepertoryBlock.Paths[kCatSymptom], "nosuch");
  std::string err = StderrOf([&] { WorkRun(ListComplete); });
  ExpectGolden(Slurp("log/SALM.txt"), "logtext_en_notable.txt");
  EXPECT_THAT(err, HasSubstr("note: The symptom table could not be opened"));
}

TEST_F(ListingsTest, DamagedIndexStopsOnlyTheDateListings) {
  MakeLog("log\\SALM", false);
  {
    std::ofstream idx("log/SALM.idx", std::ios::binary | std::ios::trunc);
    idx << "no index at all";
  }
  WorkRun(ListComplete);
  EXPECT_EQ(Numbers(Slurp("log/SALM.txt")).size(), SampleEntries().size());
  std::filesystem::remove("log/SALM.txt");

  Script("text 15.03.2024\n");
  std::string err = StderrOf([&] { WorkRun(ListForDate); });
  EXPECT_THAT(err,
              HasSubstr("note: The log file log\\SALM cannot be opened (H-"));
  EXPECT_FALSE(std::filesystem::exists("log/SALM.txt"));
}

TEST_F(ListingsTest, MissingLogIsToldWithItsPathAndError) {
  std::string err = StderrOf([&] { WorkRun(ListComplete); });
  EXPECT_THAT(
      err, HasSubstr("note: The log file log\\SALM cannot be opened (H-12)."));
  EXPECT_FALSE(std::filesystem::exists("log/SALM.txt"));
  EXPECT_FALSE(std::filesystem::exists("log/SALM_2.txt"));
  EXPECT_EQ(ProgressWindow, NULL_WIN);
}

TEST_F(ListingsTest, ListForADateTakesThatDayOnly) {
  MakeLog("log\\SALM", true);
  Script("text 15.03.2024\n");
  WorkRun(ListForDate);
  std::vector<int> expected;
  for (int n = 1; n <= static_cast<int>(SampleEntries().size()); ++n)
    if (DayOffset(n) == 0)
      expected.push_back(n);
  std::string listing = Slurp("log/SALM.txt");
  EXPECT_EQ(Numbers(listing), expected);
  EXPECT_THAT(listing, Not(HasSubstr("Date: 14.03.2024")));
  EXPECT_FALSE(std::filesystem::exists("log/SALM_2.txt"));
  EXPECT_EQ(Viewed(1), Abs("log/SALM.txt") + "\n");
  // A day with no entries gives an empty listing.
  Script("text 20.03.2024\n");
  WorkRun(ListForDate);
  EXPECT_TRUE(std::filesystem::exists("log/SALM.txt"));
  EXPECT_EQ(Slurp("log/SALM.txt"), "");
}

TEST_F(ListingsTest, ListForADateRefusesDatesThatAreNone) {
  MakeLog("log\\SALM", true);
  // Well formed, but before day 29000; then no date at all; then Cancel.
  for (const char *answer : {"text 01.01.1970\n", "text 31.02.2024\n"}) {
    Script(answer);
    std::string err = StderrOf([&] { WorkRun(ListForDate); });
    EXPECT_THAT(err, HasSubstr("error: This date is not valid."))
        << answer << err;
    EXPECT_FALSE(std::filesystem::exists("log/SALM.txt")) << answer;
    EXPECT_EQ(ProgressWindow, NULL_WIN);
  }
  Script("cancel\n");
  WorkRun(ListForDate);
  EXPECT_FALSE(std::filesystem::exists("log/SALM.txt"));
  EXPECT_EQ(ProgressWindow, NULL_WIN);
}

TEST_F(ListingsTest, CustomListFiltersByDatesOperationsAndUser) {
  MakeLog("log\\DATES", true);
  // Rows 3 and 4 are the operations 3 and 4; user row 2 is user 1.
  Script("file " + Abs("log/DATES.dat") +
         "\n"
         "select 11 3 4\n"
         "select 10 2\n"
         "set 5 14.03.2024\n"
         "set 6 15.03.2024\n"
         "click 1\n");
  ListMenuCustom();
  // The chooser's answer without ".dat", in the stored form.
  std::string real;
  ASSERT_TRUE(PlatRealPath(LogPath, real)) << LogPath;
  EXPECT_EQ(real, Abs("log/DATES"));
  EXPECT_THAT(std::string(LogPath), Not(HasSubstr("/")));
  std::vector<int> expected;
  std::vector<SampleEntry> all = SampleEntries();
  for (int n = 1; n <= static_cast<int>(all.size()); ++n) {
    const SampleEntry &s = all[n - 1];
    if ((s.op == 3 || s.op == 4) && n % 4 == 1 && DayOffset(n) <= 0)
      expected.push_back(n);
  }
  ASSERT_FALSE(expected.empty()); // the filter must leave something
  EXPECT_EQ(Numbers(Slurp("log/DATES.txt")), expected);
  EXPECT_EQ(CustomListDialog, NULL_WIN);
  EXPECT_EQ(Viewed(1), Abs("log/DATES.txt") + "\n");
}

TEST_F(ListingsTest, CustomListWithAllOperationsRowAndEqualDates) {
  MakeLog("log\\DATES", true);
  // Row 0 beside row 5 means all operations; from equal to until is allowed.
  Script("file " + Abs("log/DATES.dat") +
         "\n"
         "select 11 0 5\n"
         "set 5 16.03.2024\n"
         "set 6 16.03.2024\n"
         "click 1\n");
  ListMenuCustom();
  std::vector<int> expected;
  for (int n = 1; n <= static_cast<int>(SampleEntries().size()); ++n)
    if (DayOffset(n) == 1)
      expected.push_back(n);
  EXPECT_EQ(Numbers(Slurp("log/DATES.txt")), expected);
}

TEST_F(ListingsTest, CustomListKeepsTheDialogUntilTheDatesAreRight) {
  MakeLog("log\\DATES", true);
  Script("file " + Abs("log/DATES.dat") +
         "\n"
         "set 5 16.03.2024\n"
         "set 6 14.03.2024\n"
         "click 1\n"
         "answer ok\n"
         "set 6 no date\n"
         "click 1\n"
         "answer ok\n"
         "set 5 14.03.2024\n"
         "set 6 14.03.2024\n"
         "click 1\n");
  std::string err = StderrOf([&] { ListMenuCustom(); });
  size_t before = err.find("error: The end date lies before the start date.");
  size_t bad = err.find("error: This date is not valid.");
  EXPECT_NE(before, std::string::npos) << err;
  EXPECT_NE(bad, std::string::npos) << err;
  EXPECT_LT(before, bad);
  std::vector<int> expected;
  for (int n = 1; n <= static_cast<int>(SampleEntries().size()); ++n)
    if (DayOffset(n) == -1)
      expected.push_back(n);
  EXPECT_EQ(Numbers(Slurp("log/DATES.txt")), expected);
  EXPECT_EQ(CustomListDialog, NULL_WIN);
}

TEST_F(ListingsTest, CustomDialogOffersOperationsUsersAndToday) {
  MakeLog("log\\DATES", true);
  // Looks at the dialog as it opens, then cancels it.
  Script("file " + Abs("log/DATES.dat") + "\ncancel\n");
  static std::vector<std::string> rows, users;
  static std::string from, format;
  rows.clear();
  users.clear();
  ListRegisterResources();
  WINDOW dlg = xvt_dlg_create_res(
      WD_MODELESS, kListCustomRes, -1,
      [](WINDOW win, EVENT *ev) -> long {
        long r = ListCustomEvent(win, ev);
        if (ev->type == E_CREATE) {
          char buf[128];
          WINDOW ops = xvt_win_get_ctl(win, kListCtlOperations);
          for (int i = 0; i < xvt_list_count(ops); ++i)
            rows.push_back(xvt_list_get_elt(ops, i, buf, sizeof buf));
          EXPECT_TRUE(xvt_list_is_sel(ops, 0));
          WINDOW u = xvt_win_get_ctl(win, kListCtlUser);
          for (int i = 0; i < xvt_list_count(u); ++i)
            users.push_back(xvt_list_get_elt(u, i, buf, sizeof buf));
          EXPECT_EQ(xvt_list_get_sel_index(u), 0);
          from = xvt_vobj_get_title(xvt_win_get_ctl(win, kListCtlFrom), buf,
                                    sizeof buf);
          format = xvt_vobj_get_title(xvt_win_get_ctl(win, kListCtlFormat), buf,
                                      sizeof buf);
        }
        return r;
      },
      0);
  ASSERT_NE(dlg, NULL_WIN);
  EXPECT_EQ(CustomListDialog, dlg);
  ASSERT_EQ(rows.size(), 19u);
  EXPECT_EQ(rows[0], "All operations");
  EXPECT_EQ(rows[1], "Change degree");
  EXPECT_EQ(rows[18], "Change symptom type");
  ASSERT_EQ(users.size(), 101u);
  EXPECT_EQ(users[0], "All users");
  EXPECT_EQ(users[1], "0");
  EXPECT_EQ(users[100], "99");
  long today = 0;
  DateToday(&today);
  char date[kDateTextMax];
  DateLongToChar(1, today, "dd.mm.yyyy", date);
  EXPECT_EQ(from, date);
  EXPECT_EQ(format, "Dates in the form dd.mm.yyyy");
  xvt_vobj_destroy(dlg);
  EXPECT_EQ(CustomListDialog, NULL_WIN);
}

TEST_F(ListingsTest, CancelledChooserChangesNothing) {
  Script("cancel\n");
  ListMenuComplete();
  EXPECT_STREQ(LogPath, "log\\SALM");
  EXPECT_FALSE(std::filesystem::exists("log/SALM.txt"));
}

} // namespace
