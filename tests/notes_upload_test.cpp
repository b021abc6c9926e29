// The notes upload from a text file and the clean-up of doubled notes, on
// the small repertory: what is placed, what the two error files tell, a
// second upload that replaces instead of adding, and paragraphs removed
// once they repeat.
#include "logrun_support.h"
#include "platform/xvt_model.h"
#include "services/work.h"
#include "session/session.h"
#include "transfers/notes.h"

#include <fstream>

namespace {

class NotesTest : public RepertoryTest {
protected:
  void SetUp() override {
    RepertoryTest::SetUp();
    XvtReset();
    setenv("MANTREL_UI", "scripted", 1);
    unsetenv("MANTREL_SCRIPT");
    StrCopy(RemedyCatalogName, "rem");
    StrCopy(AuthorCatalogName, "aut");
    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
    StrCopy(CurrentCatalog.RepertoryBlock.Paths[kCatFolder], "rep\\");
  }
  void TearDown() override {
    XvtReset();
    unsetenv("MANTREL_UI");
    RepertoryTest::TearDown();
  }
  void WriteFile(const std::string &content) {
    std::ofstream("notes.txt", std::ios::binary) << content;
  }
  // The notes as "num.sub remedy/degree/author kind: text1 | text2".
  std::vector<std::string> Notes() {
    std::vector<std::string> out;
    TblHandle h = TblOpenNote("rep\\Note", 1, 1);
    Note n = NoteKey();
    for (int r = TblFindFullNote(h, &n, 0, kFindFirst); r == 0;
         r = TblFindFullNote(h, &n, 0, kFindNext))
      out.push_back(
          std::to_string(n.Num) + "." + std::to_string(n.Sub) + " " +
          std::to_string(n.RemedyId) + "/" + std::to_string(n.Degree) + "/" +
          std::to_string(n.AuthorId) + " " + std::to_string(n.NoteKind) + ": " +
          note1_ + " | " + note2_);
    DbCloseFile(h);
    return out;
  }
};

TEST_F(NotesTest, PlacesNotesAndTellsWhatItCannotPlace) {
  std::string longText(4097, 'x');
  WriteFile(
      // A note on the symptom; backslashes are line breaks, those at the
      // end go.
      "1|Psychisme - peur|0|0|0|Fear\\of the dark\\\\| Peur \\de la nuit\n"
      // A note on a remedy of the symptom, and one with another degree.
      "2|Psychisme - peur|1|3|1|Acon. fears|Acon. a peur\n"
      "3|Psychisme - peur|2|4|2|Bell. (Boer) fears|\r\n"
      // The en dash of code page 1252 stands for "-".
      "1|T\xeate \x96 douleur|0|0|0|Headache note|\n"
      // Unknown symptom, for the symptom and for a remedy.
      "1|Psychisme - courage|0|0|0|none\\at all|\n"
      "2|Psychisme - courage|1|1|1|none|\n"
      // The remedy isn't on the symptom.
      "2|T\xeate - douleur|1|2|1|Acon. headache|\n"
      // Too short to be a line; a bar too many; a text too long.
      "1|x|0|0\n"
      "1|T\xeate - douleur|0|0|0|a|b|c\n"
      "1|T\xeate|0|0|0|" +
      longText + "|\n" + "1|T\xeate|0|0|0|" + std::string(10000, 'y') + "|\n");
  ASSERT_EQ(NotesUpload("rep", "notes.txt"), 0);
  EXPECT_EQ(Notes(), (std::vector<std::string>{
                         "1.1 0/0/0 1: Fear\nof the dark | Peur \nde la nuit",
                         "1.1 1/3/1 2: Acon. fears | Acon. a peur",
                         "1.1 2/1/2 3: Bell. (Boer) fears | ",
                         "5.1 0/0/0 1: Headache note | ",
                     }));
  EXPECT_EQ(NotesLastUpload.added, 4);
  EXPECT_EQ(NotesLastUpload.refused, 6);
  std::string err = Slurp("noteerr.txt");
  // The text is quoted as the file has it, on one line.
  EXPECT_THAT(
      err,
      HasSubstr("Symptom not found: Psychisme - courage | none\\at all\n"));
  EXPECT_THAT(
      err, HasSubstr("Symptom not found for author notePsychisme - courage | "
                     "none\n"));
  EXPECT_THAT(err,
              HasSubstr("Remedy not found 1 Degree 2 Author Id 1 for symptom "
                        "T\xeate - douleur\n"));
  EXPECT_THAT(err, HasSubstr("Line 9 has more than 7 fields"));
  EXPECT_THAT(err, HasSubstr("Note text of 4097 characters, more than 4096"));
  EXPECT_THAT(err, HasSubstr("Line 11 is longer than 9999 characters"));
  EXPECT_EQ(Slurp("noteerr2.txt"), "Psychisme - peur|2|2|Different degree in "
                                   "note (4), replaced by (1)\n");

  // The same file again: every note is replaced, none added.
  ASSERT_EQ(NotesUpload("rep", "notes.txt"), 0);
  EXPECT_EQ(Notes().size(), 4u);
  EXPECT_EQ(NotesLastUpload.added, 0);
  EXPECT_EQ(NotesLastUpload.replaced, 4);
}

TEST_F(NotesTest, StartFailuresUploadNothing) {
  WriteFile("1|Psychisme - peur|0|0|0|Fear|Peur\n");
  EXPECT_EQ(NotesUpload("nowhere", "notes.txt"), 1);
  EXPECT_EQ(NotesUpload("rep", "missing.txt"), 1);
  EXPECT_TRUE(Notes().empty());
}

TEST(NoteParagraphs, RepeatedParagraphsAreKeptOnce) {
  auto clean = [](std::string s, bool *changed = nullptr) {
    char buf[kNoteTextSize];
    StrCopy(buf, s.c_str());
    bool c = NoteRemoveDoubledParagraphs(buf);
    if (changed != nullptr)
      *changed = c;
    return std::string(buf);
  };
  const std::string d = "\n-----------------\n";
  EXPECT_EQ(clean("Sighs" + d + "Sighs"), "Sighs");
  EXPECT_EQ(clean("Sighs" + d + "Sighs" + d + "Sighs"), "Sighs");
  // Blanks and line ends at the ends of a paragraph do not count.
  EXPECT_EQ(clean("Sighs \n" + d + "  Sighs\n"), "Sighs");
  // Only a paragraph right behind its twin goes.
  EXPECT_EQ(clean("A" + d + "B" + d + "B" + d + "A"), "A" + d + "B" + d + "A");
  bool changed = true;
  EXPECT_EQ(clean("A" + d + "B", &changed), "A" + d + "B");
  EXPECT_FALSE(changed);
  // A note that begins with a dash line is never touched.
  EXPECT_EQ(clean("----------" + d + "x" + d + "x", &changed),
            "----------" + d + "x" + d + "x");
  EXPECT_FALSE(changed);
  EXPECT_EQ(clean("", &changed), "");
  EXPECT_FALSE(changed);
}

TEST_F(NotesTest, CleanupAfterARunKeepsEachParagraphOnce) {
  const std::string d = "\\-----------------\\";
  WriteFile("1|Psychisme - peur|0|0|0|Twice" + d + "Twice|Deux" + d + "Deux\n" +
            "2|Psychisme - peur|1|3|1|Thrice" + d + "Thrice" + d + "Thrice|\n" +
            "1|T\xeate - douleur|0|0|0|One" + d + "Two|\n");
  ASSERT_EQ(NotesUpload("rep", "notes.txt"), 0);
  DoubleNoteCleanup();
  EXPECT_EQ(NotesLastCleanupChanged, 2);
  // The first language only: the second keeps its text.
  EXPECT_EQ(Notes(), (std::vector<std::string>{
                         "1.1 0/0/0 1: Twice | Deux\n-----------------\nDeux",
                         "1.1 1/3/1 2: Thrice | ",
                         "5.1 0/0/0 1: One\n-----------------\nTwo | ",
                     }));
}

} // namespace
