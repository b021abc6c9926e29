// The reader of the text form on texts that people and other programs
// wrote: other languages, damaged entries, long lines, stray bytes. Every
// refusal is told in the errors file and copies the entry, letter for
// letter, to the rejects file; the entries around it are read as usual.
#include "logentry/logread.h"
#include "logtext_support.h"

namespace {

const std::string kDashes(105, '-');

class LogReadParse : public LogTextTest {
protected:
  void SetUp() override {
    LogTextTest::SetUp();
    LogTextLabelsLoad();
    LogClearEntry(&e_, text_);
  }
  void TearDown() override {
    Close();
    LogTextTest::TearDown();
  }

  void Open(const std::string &content) {
    FILE *f = fopen("in.txt", "wb");
    fwrite(content.data(), 1, content.size(), f);
    fclose(f);
    in_ = fopen("in.txt", "rb");
    errors_ = fopen("errors.txt", "wb");
    rejects_ = fopen("rejects.txt", "wb");
  }
  void Close() {
    for (FILE **f : {&in_, &errors_, &rejects_})
      if (*f != nullptr) {
        fclose(*f);
        *f = nullptr;
      }
  }
  int Read() { return LogReadTextEntry(in_, errors_, rejects_, &e_); }
  // The reader is at the end of its file.
  void ExpectEnd() {
    EXPECT_EQ(Read(), 1);
    EXPECT_EQ(OrvixError, kErrEnd);
  }
  std::string Field(int n) {
    std::string t = e_.text;
    size_t b = 0;
    for (int i = 0; i < n; ++i) {
      b = t.find(kLogFieldSep, b);
      if (b == std::string::npos)
        return "<absent>";
      ++b;
    }
    return t.substr(b, t.find(kLogFieldSep, b) - b);
  }
  // The report lines of the errors file that name a refusal.
  int Reports(const std::string &text) {
    std::string all = Slurp("errors.txt");
    int n = 0;
    for (size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at)
      ++n;
    return n;
  }

  FILE *in_ = nullptr, *errors_ = nullptr, *rejects_ = nullptr;
  char text_[kLogTextSize];
  LogEntry e_;
};

std::string Entry(const std::string &heading, const std::string &body,
                  const std::string &footer, bool dashes = true) {
  return heading + "\n\n" + body + "\n" + footer + "\n" +
         (dashes ? kDashes + "\n" : "");
}

const std::string kFooterEn =
    "Log entry number: 4   Date: 07.03.2011   Time: 09:02:11   User: 1   "
    "Id: 101";
const std::string kFooterFr = "Num\xe9ro d'entr\xe9"
                              "e : 5   Date : "
                              "08.03.2011   Heure : 10:00:00   "
                              "Utilisateur : 2   Id: 0";
const std::string kFooterDe = "Protokolleintrag: 6   Datum: 09.03.2011   "
                              "Uhrzeit: 11:00:00   Benutzer: 3   Id: 7";

// A note entry on "Mind" with its old text (none when empty) and new text.
std::string NoteEntry(const std::string &old, const std::string &now) {
  return "Change note - Symptom note   Lg. 0\nMind\n\n" +
         (old.empty() ? "" : "  Old text: 0\n" + old + "\n\n") +
         "  New text: 0\n" + now + "\n\n" + kFooterEn + "\n" + kDashes + "\n";
}

TEST_F(LogReadParse, EachEntryIsRecognisedInItsOwnLanguage) {
  Open(Entry("Add remedy: Cocc.  2 [Kent] (12/3)  Lg. 0",
             "Mind\nanxiety\nnight\n", kFooterEn) +
       Entry("Ajouter un rem\xe8"
             "de: Lyc.  2 [B\x9cn.] (0/0)  Lg. 1",
             "Psychisme\npeur\n", kFooterFr) +
       Entry("Arznei l\xf6schen: Sars.  1 [Kent] (0/0)  Lg. 0",
             "Skin\ncracks\n", kFooterDe));
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(e_.operation, OpAddRemedy);
  EXPECT_EQ(std::string(e_.text),
            std::string("0\x01Mind \x02 anxiety \x02 night\x01"
                        "Cocc.\x01Kent\x01"
                        "2"));
  EXPECT_EQ(e_.number, 4);
  EXPECT_EQ(e_.tag, 1);
  EXPECT_EQ(e_.symptomId, 101);
  long d;
  DateCharToLong(1, "07.03.2011", "dd.mm.yyyy", &d);
  EXPECT_EQ(e_.date, static_cast<uint32_t>(d));
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(e_.operation, OpAddRemedy);
  EXPECT_EQ(Field(0), "1");
  EXPECT_EQ(Field(3), "B\x9cn.");
  EXPECT_EQ(e_.number, 5);
  EXPECT_EQ(e_.tag, 2);
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(e_.operation, OpDeleteRemedy);
  EXPECT_EQ(e_.number, 6);
  EXPECT_EQ(e_.symptomId, 7);
  ExpectEnd();
  EXPECT_EQ(Slurp("errors.txt"), "");
}

TEST_F(LogReadParse, RefusedEntriesAreReportedAndCopiedWhole) {
  std::string unknown =
      Entry("Frobnicate: Acon.  2 [Kent]", "Mind\nfear\n", kFooterEn);
  std::string noPath = "Delete symptom - structure changed  Lg. 0\n\n" +
                       kFooterEn + "\n" + kDashes + "\n";
  std::string total = Entry("Total  Lg. 0", "Mind\n", kFooterEn);
  std::string noFooter =
      "Add remedy: Acon.  1 [Kent] (0/0)  Lg. 0\n\nMind\n\n" + kDashes + "\n";
  std::string good = Entry("Delete symptom - structure changed  Lg. 0",
                           "Head\npain\n", kFooterEn);
  Open(unknown + noPath + good + total + noFooter + good);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(OrvixError, 0);
  EXPECT_EQ(Read(), 0);
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(e_.operation, OpDeleteSymptom);
  EXPECT_EQ(std::string(e_.text), std::string("0\x01Head \x02 pain"));
  EXPECT_EQ(Read(), 0); // the row of totals names no operation
  EXPECT_EQ(Read(), 0);
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(e_.operation, OpDeleteSymptom);
  ExpectEnd();
  Close();
  EXPECT_EQ(Slurp("rejects.txt"), unknown + noPath + total + noFooter);
  EXPECT_EQ(Reports("Error: Unknown operation in this entry\n"), 2);
  EXPECT_EQ(Reports("Error: This entry has no symptom path\n"), 1);
  EXPECT_EQ(Reports("Error: This entry has no footer line\n"), 1);
  EXPECT_EQ(Reports("Operation: Frobnicate: Acon.  2 [Kent]\n" +
                    std::string(76, '-') + "\n"),
            1);
}

TEST_F(LogReadParse, AnOldDateIsTodayAndTheLastEntryNeedsNoDashLine) {
  std::string footer = "Log entry number: 9   Date: 01.01.1970   Time: "
                       "09:02:11   User: 0   Id: 0";
  Open(Entry("Delete symptom - structure changed  Lg. 0", "Head\n", footer,
             false));
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(OrvixError, 0);
  long today;
  DateToday(&today);
  EXPECT_EQ(e_.date, static_cast<uint32_t>(today));
  EXPECT_EQ(e_.number, 9);
  ExpectEnd();
}

TEST_F(LogReadParse, LongLinesAreReadWholeOrRefusedNeverCut) {
  // A note line of 4096 characters is far beyond a line of 511.
  std::string note(4096, 'n');
  std::string big(kLogTextSize + 10, 'x');
  std::string longNote = NoteEntry("", note), tooLong = NoteEntry("", big);
  std::string level(130, 'l');
  std::string longLevel = Entry("Delete symptom - structure changed  Lg. 0",
                                level + "\n", kFooterEn);
  Open(longNote + tooLong + longLevel);
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(Field(8), note);
  EXPECT_EQ(Read(), 0);
  ASSERT_EQ(Read(), 1);
  // A level is a symptom's text: at most 100 characters.
  EXPECT_EQ(Field(1), level.substr(0, 100));
  Close();
  EXPECT_EQ(Slurp("rejects.txt"), tooLong);
  EXPECT_EQ(Reports("This entry is longer than a log entry can hold"), 1);
}

TEST_F(LogReadParse, AnEntryTooLongForTheTextAreaIsRefused) {
  // Two note texts of 6000 characters each: every line fits, the entry
  // does not.
  std::string t(6000, 't');
  std::string entry = NoteEntry(t, t);
  Open(entry);
  EXPECT_EQ(Read(), 0);
  Close();
  EXPECT_EQ(Slurp("rejects.txt"), entry);
}

TEST_F(LogReadParse, BytesThatWouldSplitTheTextAreaAreRefused) {
  std::string bad = Entry("Add remedy: Ac\x01on.  1 [Kent] (0/0)  Lg. 0",
                          "Mind\n", kFooterEn);
  std::string nul = Entry("Add remedy: Acon.  1 [Kent] (0/0)  Lg. 0",
                          std::string("Mi\0nd\n", 6), kFooterEn);
  Open(bad + nul);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(Read(), 0);
  ExpectEnd();
  Close();
  EXPECT_EQ(Slurp("rejects.txt"), bad + nul);
  EXPECT_EQ(Reports("a byte 0 or 1"), 2);
}

TEST_F(LogReadParse, WindowsLineEndsAndBlankLinesBetweenEntries) {
  std::string e1 = "\r\n\r\nAdd remedy: Acon.  3 [Kent] (0/0)  Lg. 0\r\n\r\n"
                   "Mind\r\nfear\r\n\r\n" +
                   kFooterEn + "\r\n" + kDashes + "\r\n\r\n";
  Open(e1);
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(std::string(e_.text), std::string("0\x01Mind \x02 fear\x01"
                                              "Acon.\x01Kent\x01"
                                              "3"));
  ExpectEnd();
}

TEST_F(LogReadParse, OfTwoNamesThatBothMatchTheLaterStands) {
  // A table whose name of operation 18 is the beginning of operation 1's.
  SetMessage(2646, 1, "Change");
  LogTextLabelsLoad();
  Open(Entry("Change degree: Bry.  4 [Kent] instead of Bry.  3 [Kent] (0/0) "
             "Lg. 0",
             "Head\n", kFooterEn));
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(e_.operation, OpChangeSymptomKind);
}

TEST_F(LogReadParse, DegreeChangeReadsBothDegrees) {
  Open(Entry("Change degree: Bry.  4 [Kent] instead of Bry.  3 [Kent] (0/0) "
             "Lg. 1",
             "Head\npain\n", kFooterEn));
  ASSERT_EQ(Read(), 1);
  EXPECT_EQ(std::string(e_.text), std::string("1\x01Head \x02 pain\x01"
                                              "Bry.\x01Kent\x01"
                                              "3\x01"
                                              "4"));
}

TEST_F(LogReadParse, AnEmptyFileEndsAtOnceAndCountsNoEntry) {
  Open("");
  EXPECT_EQ(LogCountTextEntries(in_), 0);
  ExpectEnd();
  Close();
  Open(Entry("Delete symptom  Lg. 0", "Head\n", kFooterEn) + "\n\n" +
       Entry("Delete symptom  Lg. 0", "Head\n", kFooterEn));
  EXPECT_EQ(LogCountTextEntries(in_), 2);
  EXPECT_EQ(Read(), 1);
  EXPECT_EQ(Read(), 1);
  EXPECT_EQ(OrvixError, 0);
}

TEST_F(LogReadParse, CopyStopsAtTheEndOfAFileWithoutDashLine) {
  Open("a\nb\nc");
  FILE *out = fopen("copy.txt", "wb");
  EXPECT_EQ(LogCopyTextEntry(in_, out), 0);
  EXPECT_EQ(LogCopyTextEntry(in_, out), 1); // nothing left: no loop
  fclose(out);
  EXPECT_EQ(Slurp("copy.txt"), "a\nb\nc");
}

} // namespace
