// The program on the demo installation as a person uses it on the screen:
// the repertory chooser at the start, then the complete list of a log from
// the List menu, its log picked in the file chooser.
#include "gui_demo.h"

#include "logentry/logentry.h"
#include "logentry/logtext.h"
#include "services/work.h"

#include <QFileDialog>
#include <QLineEdit>
#include <algorithm>

namespace {

// The text form of every entry of a log as LogWriteEntry writes it, in log
// order, with the symptom table of the current repertory: the listing and
// its second file, the rows of added remedies.
std::pair<std::string, std::string>
TextForm(const char *log, const std::string &scratch, long *entries) {
  TblHandle h = TblOpenRlog(log, 0, 1);
  EXPECT_NE(0, h);
  EXPECT_EQ(0, OrvixError);
  TblHandle symptoms =
      TblOpenSymptom(CurrentCatalog.RepertoryBlock.Paths[kCatSymptom], 0, 1);
  EXPECT_EQ(0, OrvixError) << "the symptom table of the chosen repertory";
  LogTextSymptomTable = symptoms;
  std::string p1 = scratch + "/expected.txt", p2 = scratch + "/expected_2.txt";
  FILE *out = fopen(p1.c_str(), "wb"), *out2 = fopen(p2.c_str(), "wb");
  std::vector<char> text(kLogTextSize);
  LogEntry e{};
  LogClearEntry(&e, text.data());
  FieldOffsets offsets{};
  *entries = 0;
  for (int rc = TblFindFullRlog(h, &e, 0, kFindFirst);
       rc == 0 && OrvixError == 0; rc = TblFindFullRlog(h, &e, 0, kFindNext)) {
    LogSplitAllFields(text.data(), offsets);
    LogWriteEntry(out, out2, &e, offsets);
    ++*entries;
  }
  fclose(out);
  fclose(out2);
  LogTextSymptomTable = 0;
  if (symptoms != 0)
    DbCloseFile(symptoms);
  if (h != 0)
    DbCloseFile(h);
  return {SlurpFile(p1), SlurpFile(p2)};
}

struct Seen {
  std::vector<std::string> rows;
  std::string abbrev, title, caption, chooserFolder, problems;
  int id = 0;
  bool listed = false;
} gSeen;

QFileDialog *FileChooser() {
  return qobject_cast<QFileDialog *>(QtBoxWidget());
}

TEST_F(DemoTest, APersonChoosesARepertoryAndListsTheSampleLog) {
  gSeen = Seen();
  RunDemoProgram([] {
    // The person: clicks the row of the 2012 edition, then OK.
    When([] { return ChooserRow("2012") >= 0; },
         [] {
           QListWidget *l = ChooserList();
           for (int i = 0; i < l->count(); ++i)
             gSeen.rows.push_back(l->item(i)->text().toStdString());
           gSeen.problems = QtLayoutProblems(OpenWindowOf(kChooserRes));
           ClickRow(l, ChooserRow("2012"));
           QTest::mouseClick(
               Ctl<QPushButton>(OpenWindowOf(kChooserRes), kChooserOk),
               Qt::LeftButton);
         });
    // The start sequence's chooser, as with no word on the command line.
    RepOpenChooser(WD_MODAL, kChooserPerson);
    QtFlush();
    gSeen.abbrev = CurrentCatalog.Abbrev;
    gSeen.title = CurrentCatalog.RepertoryBlock.Title;
    gSeen.id = CurrentCatalog.Id;
    gSeen.caption =
        QtWindowWidget(TASK_WIN)->windowTitle().toLatin1().toStdString();

    // List > Complete list of the log file, then the log in the chooser.
    When([] { return MenuAction(1017) != nullptr; },
         [] {
           ASSERT_TRUE(MenuAction(1017)->isEnabled());
           MenuAction(1017)->trigger();
         });
    When([] { return FileChooser() != nullptr; },
         [] {
           QFileDialog *c = FileChooser();
           gSeen.chooserFolder = c->directory().absolutePath().toStdString();
           auto *name =
               c->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
           ASSERT_NE(nullptr, name);
           TypeText(name, QStringLiteral("sample.dat"));
           static_cast<QDialog *>(c)->accept();
         });
    // When the listing has ended and gone to the viewer, File Exit.
    When(
        [] {
          return FileChooser() == nullptr && ProgressWindow == NULL_WIN &&
                 LogPath[0] != '\0';
        },
        [] {
          gSeen.listed = true;
          MenuAction(M_FILE_EXIT)->trigger();
        },
        2000);
  });

  // The chooser offered the demo's repertories, tidily.
  EXPECT_EQ("", gSeen.problems);
  ASSERT_GE(gSeen.rows.size(), 2u);
  EXPECT_EQ(1u, std::count_if(gSeen.rows.begin(), gSeen.rows.end(),
                              [](const std::string &r) {
                                return r.find("2012") != std::string::npos;
                              }));
  // The row clicked is the repertory chosen.
  EXPECT_EQ("SALM2012", gSeen.abbrev);
  EXPECT_EQ(3, gSeen.id);
  EXPECT_EQ("Almanacum 2012", gSeen.title);
  char caption[250];
  StrFormat(caption, MsgText(3000), kAppVersion, kAppPlatform);
  EXPECT_EQ(std::string(caption) + " - Almanacum 2012", gSeen.caption);

  // The listing: the log chosen in the log folder, its text beside it.
  ASSERT_TRUE(gSeen.listed);
  EXPECT_EQ(std::filesystem::canonical(demo + "/log").string(),
            gSeen.chooserFolder);
  std::string listing = demo + "/log/sample.txt";
  EXPECT_EQ(std::filesystem::canonical(listing).string() + "\n", Viewed());
  long entries = 0;
  auto [text, added] = TextForm(LogPath, dir, &entries);
  EXPECT_GT(entries, 20);
  EXPECT_EQ(static_cast<size_t>(entries),
            Occurrences(text, std::string(kLogTextDashes, '-')))
      << "one block for each entry";
  EXPECT_THAT(std::string(LogPath), testing::EndsWith("\\log\\sample"));
  EXPECT_EQ(text, SlurpFile(listing));
  EXPECT_EQ(added, SlurpFile(demo + "/log/sample_2.txt"));
  AppFinish();
}

} // namespace
