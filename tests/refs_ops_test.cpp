// The operations on notes, reference texts, links, concept links and
// symptom types, on the small repertory: what each changes, what it
// refuses with which report, and that the tables agree afterwards.
#include "logentry/report.h"
#include "logrun/logrun.h"
#include "ops/concepts.h"
#include "ops/links.h"
#include "ops/notes.h"
#include "ops/references.h"
#include "ops/reftext.h"
#include "ops/wordindex.h"
#include "refs_support.h"
#include "services/config.h"

#include <gtest/gtest.h>

namespace {

const char *const kFear = "Mind \x02 fear";

class OpsTest : public RefsTest {
protected:
  void SetUp() override {
    RefsTest::SetUp();
    OpenErrors();
  }

  // Runs the handler on an entry and checks the text is whole again after
  // a success.
  int Run(int (*handler)(LogEntry *, const OpContext &), int op,
          std::vector<std::string> fields, const OpContext &ctx) {
    LogEntry *e = Entry(op, std::move(fields));
    std::string whole = e->text;
    LogLastMessage = LogLastSeverity = 0;
    int r = handler(e, ctx);
    if (r == 0) {
      EXPECT_EQ(std::string(e->text), whole);
    }
    return r;
  }

  // The note texts of (symptom, remedy, author, kind), "-" when absent.
  std::pair<std::string, std::string> NoteOf(uint32_t num, uint16_t sub,
                                             uint16_t remedy, uint16_t author,
                                             uint8_t degree, uint8_t kind) {
    ::Note n = NoteKey(num, sub, remedy, degree, author, kind);
    if (TblFindFullNote(notes_, &n, 0, kFindEqual) != 0)
      return {"-", "-"};
    return {note1_, note2_};
  }

  // The concept record of (symptom, direction), as a search key.
  static ExSp ConceptRecord(uint32_t num, uint16_t sub, uint8_t dir) {
    ExSp x;
    memset(&x, 0, sizeof x);
    x.CursorState = 0xff;
    x.Num = num;
    x.Sub = sub;
    x.Direction = dir;
    return x;
  }

  // The symptoms that a word of the first or second word table lists.
  std::vector<std::string> WordLists(TblHandle h, const char *word) {
    std::vector<std::string> out;
    Word w;
    memset(&w, 0, sizeof w);
    w.CursorState = 0xff;
    StrCopy(w.Text, word);
    for (int err = TblFindFullWord(h, &w, 0, kFindEqual, nullptr);
         err == 0 && strcmp(w.Text, word) == 0;
         err = TblFindFullWord(h, &w, 0, kFindNext, nullptr))
      for (int i = 0; TblIsLastWordSymptom(&w.Entries[i]) != 2; ++i)
        out.push_back(std::to_string(w.Entries[i].Num) + "." +
                      std::to_string(w.Entries[i].Sub));
    return out;
  }

  int ChangeNote(std::vector<std::string> fields, int replace = 0) {
    OpContext c = Ctx(errors_);
    c.replaceNotes = replace;
    return Run(OpChangeNoteRun, OpChangeNote, std::move(fields), c);
  }
  // A note of the type on fear itself, in the language.
  int FearNote(const char *type, const char *language, std::string old,
               std::string now, int replace = 0) {
    return ChangeNote({"0", kFear, type, "0", "0", "0", language,
                       std::move(old), std::move(now)},
                      replace);
  }
  int XRef(std::vector<std::string> fields, int style = 1) {
    return Run(OpChangeCrossReferenceRun, OpChangeCrossReference,
               std::move(fields), Ctx(errors_, style));
  }
  int Syn(std::vector<std::string> fields) {
    return Run(OpChangeSynonymRun, OpChangeSynonym, std::move(fields),
               Ctx(errors_));
  }
};

TEST_F(OpsTest, NotesAreAddedAppendedReplacedAndDeleted) {
  ASSERT_EQ(FearNote("1", "0", "", "first"), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1),
            std::make_pair(std::string("first"), std::string("")));
  // Appended behind the rule when the old text is not the note's.
  ASSERT_EQ(FearNote("1", "0", "", "second"), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1).first, "first\n-----------------\nsecond");
  // The old text equal to the note replaces it, even when appending.
  ASSERT_EQ(FearNote("1", "0", "first\n-----------------\nsecond", "third"), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1).first, "third");
  // The second language beside it; the run's option replaces.
  ASSERT_EQ(FearNote("1", "1", "", "troisi\xe8me"), 0);
  ASSERT_EQ(FearNote("1", "0", "x", "fourth", 1), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1),
            std::make_pair(std::string("fourth"), std::string("troisi\xe8me")));
  // An empty text empties one language; the other keeps the note.
  ASSERT_EQ(FearNote("1", "0", "fourth", ""), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1).second, "troisi\xe8me");
  // Both empty: the note goes. An empty text for no note makes none.
  ASSERT_EQ(FearNote("1", "1", "troisi\xe8me", ""), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1).first, "-");
  ASSERT_EQ(FearNote("2", "0", "", ""), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 2).first, "-");
  ExpectAllConsistent();
}

TEST_F(OpsTest, NotesOfARemedyNeedItsPairAndDegree) {
  // The author's entry of the remedy, its degree; the note keeps it.
  ASSERT_EQ(
      ChangeNote({"0", kFear, "2", "Bell.", "Boer", "1", "0", "", "Boer's"}),
      0);
  EXPECT_EQ(NoteOf(1, 1, kBell, kBoer, 1, 2).first, "Boer's");
  // Found again whatever degree the entry names (it is compared to the
  // symptom's first): a degree that differs is a warning.
  EXPECT_EQ(ChangeNote({"0", kFear, "2", "Bell.", "Boer", "3", "0", "", "x"}),
            2);
  EXPECT_EQ(LogLastMessage, kMsgDegreeDiffers);
  EXPECT_EQ(LogLastSeverity, 2);
  // A pair that the symptom lacks: 2738, a warning with result 1.
  EXPECT_EQ(ChangeNote({"0", kFear, "2", "Nux-v.", "Kent", "2", "0", "", "x"}),
            1);
  EXPECT_EQ(LogLastMessage, kMsgPairNotInSymptom);
  EXPECT_EQ(LogLastSeverity, 2);
  EXPECT_EQ(ChangeNote({"0", kFear, "2", "Xanth.", "Kent", "2", "0", "", "x"}),
            1);
  EXPECT_EQ(LogLastMessage, kMsgRemedyNotFound);
  EXPECT_EQ(ChangeNote({"0", kFear, "2", "Bell.", "Nobody", "2", "0", "", "x"}),
            1);
  EXPECT_EQ(LogLastMessage, kMsgAuthorNotFound);
  EXPECT_EQ(
      ChangeNote({"0", "Mind \x02 fright", "2", "0", "0", "0", "0", "", "x"}),
      1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotFound);
  EXPECT_EQ(NoteOf(1, 1, kBell, kBoer, 1, 2).first, "Boer's");
  ExpectAllConsistent();
}

TEST_F(OpsTest, AnAppendAtTheLimitStartsTheNoteAnew) {
  const std::string nw(80, 'n');
  struct Case {
    size_t stored;
    std::string expected;
  } cases[] = {
      // stored + 21 + new = 4096: the rule and the text follow.
      {4096 - 21 - 80,
       std::string(4096 - 21 - 80, 's') + "\n-----------------\n" + nw},
      // One more: the note starts from the new text, which then follows
      // behind the rule once more.
      {4096 - 20 - 80, nw + "\n-----------------\n" + nw},
  };
  for (const Case &c : cases) {
    char text[kNoteTextSize];
    StrCopy(text, std::string(c.stored, 's').c_str());
    OpAppendNoteText(text, sizeof text, nw.c_str());
    EXPECT_EQ(std::string(text), c.expected) << c.stored;
  }
  // A text of 4096 characters fits once, not twice: it stands alone.
  char text[kNoteTextSize] = "short";
  const std::string full(4096, 'f');
  OpAppendNoteText(text, sizeof text, full.c_str());
  EXPECT_EQ(std::string(text), full);
  // Through the handler: 4096 characters go in, 4097 are refused.
  ASSERT_EQ(FearNote("1", "0", "", full), 0);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1).first, full);
  EXPECT_EQ(FearNote("1", "0", "", full + "g"), 1);
  EXPECT_EQ(LogLastMessage, kMsgTextTooLong);
  EXPECT_EQ(NoteOf(1, 1, 0, 0, 0, 1).first, full);
  ExpectAllConsistent();
}

TEST_F(OpsTest, CrossReferencesMergeNormalisedWithoutDoublesSorted) {
  ASSERT_EQ(XRef({"0", kFear, "0", "", "2ANXIETY - night\n1head - pain"}), 0);
  EXPECT_STREQ(Read(1, 1).CrossRef1, "2anxiety - night / 1Head - pain");
  // A destination that stands already stays once, at its sorted place.
  ASSERT_EQ(XRef({"0", kFear, "0", "", "1Head - pain\n3dark"}), 0);
  EXPECT_STREQ(Read(1, 1).CrossRef1,
               "3dark, of / 2anxiety - night / 1Head - pain");
  // A list never enters the word index.
  EXPECT_TRUE(WordLists(word1_, "anxiety").empty());
  EXPECT_TRUE(WordLists(word1_, "head").empty());
  // The second language goes to the second field.
  ASSERT_EQ(XRef({"0", kFear, "1", "", "1t\xeate - douleur"}), 0);
  EXPECT_STREQ(Read(1, 1).CrossRef2, "1T\xeate - douleur");
  // An empty text empties the field.
  ASSERT_EQ(XRef({"0", kFear, "1", "x", ""}), 0);
  EXPECT_STREQ(Read(1, 1).CrossRef2, "");
  ExpectAllConsistent();
}

TEST_F(OpsTest, TheSecondStyleShortensToTheChapter) {
  // From Mind - anxiety - night.
  ASSERT_EQ(XRef({"0", "Mind \x02 anxiety \x02 night", "0", "",
                  "1Mind - fear\n1Head - pain\n2fear - night"},
                 2),
            0);
  EXPECT_STREQ(Read(2, 1).CrossRef1, "2fear / 2fear - night / 1Head - pain");
  ExpectAllConsistent();
}

TEST_F(OpsTest, AReferenceThatLeadsNowhereIsRefusedAndChangesNothing) {
  ASSERT_EQ(XRef({"0", kFear, "0", "", "2anxiety"}), 0);
  EXPECT_EQ(XRef({"0", kFear, "0", "", "1Head - pain\n2fright"}), 1);
  EXPECT_EQ(LogLastMessage, kMsgReferenceNotFound);
  EXPECT_EQ(LogLastSeverity, 1);
  EXPECT_STREQ(Read(1, 1).CrossRef1, "2anxiety");
  fclose(errors_);
  errors_ = nullptr;
  std::string err = Slurp("errors.txt");
  EXPECT_THAT(err, HasSubstr("Bad destination cross-references : Mind - fear "
                             "(2fright)\n"));
  ExpectAllConsistent();
}

TEST_F(OpsTest, ListsAtTheirLimits) {
  // Entries that resolve: the deep chain's eleven symptoms, in every
  // form a user may type, collapse to their stored forms.
  std::string typed, chain = "1Deep";
  for (int k = 2; k <= 11; ++k) {
    chain += " - a" + std::to_string(k);
    typed += chain + "\n";
  }
  ASSERT_EQ(XRef({"0", "Deep \x02 a2", "0", "", typed}), 0);
  EXPECT_EQ(std::string(Read(7, 1).CrossRef1).substr(0, 3), "3a3");
  // Texts beyond the field: 2049 characters for a list, 1025 for a
  // synonym, are refused (2739); a synonym in words that its brackets
  // carry past 1024 is refused (3228).
  EXPECT_EQ(XRef({"0", kFear, "0", "", "2" + std::string(2048, 'x')}), 1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotSaved);
  EXPECT_EQ(Syn({"0", kFear, "0", "", std::string(1025, 'w')}), 1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotSaved);
  EXPECT_EQ(Syn({"0", kFear, "0", "", std::string(1024, 'w')}), 1);
  EXPECT_EQ(LogLastMessage, kMsgTextTooLong);
  // 1020 characters in words are 1024 with the brackets: they fit.
  std::string words = "wide " + std::string(1015, 'w');
  ASSERT_EQ(Syn({"0", kFear, "0", "", words}), 0);
  EXPECT_EQ(std::string(Read(1, 1).Synonym1), "(= " + words + ")");
  // An entry over 1023 characters is refused.
  EXPECT_EQ(XRef({"0", kFear, "0", "", "2" + std::string(1100, 'x')}), 1);
  EXPECT_EQ(LogLastMessage, kMsgTextTooLong);
  ExpectAllConsistent();
}

TEST_F(OpsTest, ManyEntriesUpToTheCount) {
  // 254 entries that lead nowhere stand (they are kept as they are), one
  // new one makes 255, the next is refused.
  std::string stored;
  for (int i = 1; i <= 254; ++i)
    stored +=
        (stored.empty() ? "" : " / ") + std::string("2x") + std::to_string(i);
  Symptom s = Read(1, 1);
  s.Remedies = nullptr;
  TblFindFullSymptom(sym_, &s, 0, kFindEqual);
  StrCopy(s.CrossRef1, stored.c_str());
  ASSERT_EQ(TblSaveSymptom(sym_, &s, kSaveReplace), 0);
  TblFreeSymptomRemed(&s);
  ASSERT_EQ(RefSplitList(stored.c_str(), nullptr), 254);
  ASSERT_EQ(XRef({"0", kFear, "0", "", "1Deep"}), 0);
  EXPECT_EQ(RefSplitList(Read(1, 1).CrossRef1, nullptr), 255);
  EXPECT_EQ(XRef({"0", kFear, "0", "", "1Head"}), 1) << "the 256th";
  EXPECT_EQ(LogLastMessage, kMsgTextTooLong);
  EXPECT_EQ(RefSplitList(Read(1, 1).CrossRef1, nullptr), 255);
}

TEST_F(OpsTest, SynonymsInWordsFollowInTheWordIndex) {
  ASSERT_EQ(Syn({"0", kFear, "0", "", "fright, Terror"}), 0);
  EXPECT_STREQ(Read(1, 1).Synonym1, "(= fright, Terror)");
  EXPECT_EQ(WordLists(word1_, "fright"), (std::vector<std::string>{"1.1"}));
  EXPECT_EQ(WordLists(word1_, "terror"), (std::vector<std::string>{"1.1"}));
  ExpectAllConsistent();
  // A new text in words takes the place of the old, in the index too.
  ASSERT_EQ(Syn({"0", kFear, "0", "fright, Terror", "dread"}), 0);
  EXPECT_TRUE(WordLists(word1_, "fright").empty());
  EXPECT_TRUE(WordLists(word1_, "terror").empty());
  EXPECT_EQ(WordLists(word1_, "dread"), (std::vector<std::string>{"1.1"}));
  // The second language, in the second table, accented.
  ASSERT_EQ(Syn({"0", kFear, "1", "", "Fray\xe9ur"}), 0);
  EXPECT_EQ(WordLists(word2_, "fray\xe9ur"), (std::vector<std::string>{"1.1"}));
  EXPECT_TRUE(WordLists(word1_, "fray\xe9ur").empty());
  ExpectAllConsistent();
  // A list takes the place of the words: they leave the index.
  ASSERT_EQ(Syn({"0", kFear, "0", "dread", "2anxiety"}), 0);
  EXPECT_STREQ(Read(1, 1).Synonym1, "2anxiety");
  EXPECT_TRUE(WordLists(word1_, "dread").empty());
  // Words again, on another symptom with the same word.
  ASSERT_EQ(Syn({"0", "Head \x02 pain", "0", "", "anxiety"}), 0);
  ASSERT_EQ(Syn({"0", kFear, "0", "", "anxiety"}), 0);
  EXPECT_EQ(WordLists(word1_, "anxiety"),
            (std::vector<std::string>{"1.1", "5.1"}));
  ExpectAllConsistent();
}

TEST_F(OpsTest, LinksAreAddedWithTheirFolderCutAndDeleted) {
  std::filesystem::create_directories("photo");
  std::filesystem::create_directories("images");
  FILE *f = fopen("photo/acon.svg", "wb");
  fputs("<svg/>", f);
  fclose(f);
  StrCopy(DefaultImage, "photo");
  StrCopy(DefaultVideo, "video");
  StrCopy(ImageDir, "images");
  OpContext c = Ctx(errors_);
  ASSERT_EQ(Run(OpAddLinkRun, OpAddLink,
                {"0", kFear, "Acon.", "Kent", "3", "3", "Portrait",
                 "PHOTO\\acon.svg"},
                c),
            0);
  Link l = LinkKey(0, 0);
  ASSERT_EQ(TblFindFullLink(links_, &l, 0, kFindFirst), 0);
  EXPECT_EQ(l.RemedyId, kAcon);
  EXPECT_EQ(l.AuthorId, kKent);
  EXPECT_EQ(l.LinkKind, 3);
  EXPECT_STREQ(l.Title, "Portrait");
  EXPECT_STREQ(l.File, "acon.svg") << "the folder of its kind is cut";
  // A video that is nowhere: refused, nothing stored.
  EXPECT_EQ(Run(OpAddLinkRun, OpAddLink,
                {"0", kFear, "0", "0", "0", "1", "Interview", "fear.avi"}, c),
            1);
  EXPECT_EQ(LogLastMessage, kMsgLinkFileNotFound);
  EXPECT_EQ(Run(OpAddLinkRun, OpAddLink,
                {"0", kFear, "Xanth.", "0", "0", "3", "x", "acon.svg"}, c),
            1);
  EXPECT_EQ(LogLastMessage, kMsgRemedyNotFound);
  EXPECT_EQ(DbCountEntries(links_), 1);
  // A link of another kind names no file of this installation.
  ASSERT_EQ(Run(OpAddLinkRun, OpAddLink,
                {"0", kFear, "0", "0", "0", "7", "Site", "http://x"}, c),
            0);
  // Deleting: the wrong kind finds nothing and counts as done.
  ASSERT_EQ(Run(OpDeleteLinkRun, OpDeleteLink,
                {"0", kFear, "Acon.", "Kent", "3", "1", "Portrait"}, c),
            0);
  EXPECT_EQ(DbCountEntries(links_), 2);
  ASSERT_EQ(Run(OpDeleteLinkRun, OpDeleteLink,
                {"0", kFear, "Acon.", "Kent", "3", "3", "Portrait"}, c),
            0);
  EXPECT_EQ(DbCountEntries(links_), 1);
  ExpectAllConsistent();
}

TEST_F(OpsTest, ConceptLinksStandInBothDirections) {
  OpContext c = Ctx(errors_);
  ASSERT_EQ(Run(OpAddConceptRun, OpAddConcept,
                {"0", "Sensations \x02 Burning", kFear}, c),
            0);
  // A path valid only in the other language still adds; twice is once.
  ASSERT_EQ(Run(OpAddConceptRun, OpAddConcept,
                {"0", "Sensations \x02 Br\xfblure", "Head \x02 pain"}, c),
            0);
  ASSERT_EQ(Run(OpAddConceptRun, OpAddConcept,
                {"0", "Sensations \x02 Burning", kFear}, c),
            0);
  auto list = [&](uint32_t num, uint16_t sub, uint8_t dir) {
    std::vector<std::string> out;
    ExSp x = ConceptRecord(num, sub, dir);
    if (TblFindFullExSp(exsp_, &x, 0, kFindEqual, nullptr) == 0)
      for (int i = 0; TblIsLastExSpSymptom(&x.Entries[i]) != 2; ++i)
        out.push_back(std::to_string(x.Entries[i].Num) + "." +
                      std::to_string(x.Entries[i].Sub));
    return out;
  };
  using V = std::vector<std::string>;
  EXPECT_EQ(list(1, 1, kConceptToSymptoms), (V{"1.1", "5.1"}));
  EXPECT_EQ(list(1, 1, kSymptomToConcepts), (V{"1.1"}));
  EXPECT_EQ(list(5, 1, kSymptomToConcepts), (V{"1.1"}));
  ExpectAllConsistent();
  c = Ctx(errors_);
  // A concept target that does not exist; an own path that does not.
  EXPECT_EQ(Run(OpAddConceptRun, OpAddConcept,
                {"0", "Sensations \x02 Cold", kFear}, c),
            1);
  EXPECT_EQ(LogLastMessage, kMsgConceptSymptomNotFound);
  EXPECT_EQ(Run(OpAddConceptRun, OpAddConcept,
                {"0", "Sensations \x02 Burning", "Mind \x02 fright"}, c),
            1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotFound);
  // Deleting: in the entry's language only; a link that is not there.
  EXPECT_EQ(Run(OpDeleteConceptRun, OpDeleteConcept,
                {"0", "Sensations \x02 Br\xfblure", "Head \x02 pain"}, c),
            1);
  EXPECT_EQ(LogLastMessage, kMsgConceptSymptomNotFound);
  EXPECT_EQ(Run(OpDeleteConceptRun, OpDeleteConcept,
                {"0", "Sensations \x02 Night", kFear}, c),
            1);
  EXPECT_EQ(LogLastMessage, kMsgConceptLinkNotFound);
  ASSERT_EQ(Run(OpDeleteConceptRun, OpDeleteConcept,
                {"1", "Sensations \x02 Br\xfblure", "T\xeate \x02 douleur"}, c),
            0);
  EXPECT_EQ(list(1, 1, kConceptToSymptoms), (V{"1.1"}));
  EXPECT_EQ(list(5, 1, kSymptomToConcepts), V{}) << "the emptied record stays";
  ExpectAllConsistent();
  // Without a partner nothing happens and the entry counts as done.
  OpContext alone = Ctx(errors_);
  alone.partnerSymptoms = alone.concepts = 0;
  EXPECT_EQ(Run(OpAddConceptRun, OpAddConcept,
                {"0", "Sensations \x02 Night", kFear}, alone),
            0);
  EXPECT_EQ(list(1, 2, kConceptToSymptoms), V{});
}

TEST_F(OpsTest, SymptomTypesAreTwoDigits) {
  OpContext c = Ctx(errors_);
  ASSERT_EQ(Run(OpChangeSymptomKindRun, OpChangeSymptomKind,
                {"0", kFear, "00", "28"}, c),
            0);
  EXPECT_EQ(Read(1, 1).SymptomType, 2);
  EXPECT_EQ(Read(1, 1).SymptomSubType, 8);
  for (const char *bad : {"2", "2x", "123", ""}) {
    EXPECT_EQ(Run(OpChangeSymptomKindRun, OpChangeSymptomKind,
                  {"0", kFear, "28", bad}, c),
              1)
        << bad;
    EXPECT_EQ(LogLastMessage, kMsgSymptomTypeNotDigits);
  }
  EXPECT_EQ(Read(1, 1).SymptomType, 2);
  EXPECT_EQ(Run(OpChangeSymptomKindRun, OpChangeSymptomKind,
                {"0", "Mind \x02 fright", "00", "10"}, c),
            1);
  EXPECT_EQ(LogLastMessage, kMsgSymptomNotFound);
  ExpectAllConsistent();
}

} // namespace

namespace {

// What the check finds when the tables these operations keep in step do
// not agree: a word of a synonym that the index lacks, a concept link in
// one direction only, a concept record naming a symptom that is not there.
TEST_F(OpsTest, VerifyTellsWhatTheseOperationsKeepInStep) {
  Symptom s = Read(1, 1);
  TblFindFullSymptom(sym_, &s, 0, kFindEqual);
  StrCopy(s.Synonym1, "(= lonely)");
  ASSERT_EQ(TblSaveSymptom(sym_, &s, kSaveReplace), 0);
  TblFreeSymptomRemed(&s);
  ExSp x = ConceptRecord(1, 1, kConceptToSymptoms);
  x.Entries[0] = ExSpEntry{5, 1, 0, 0};
  x.Entries[1] = ExSpEntry{9, 9, 0, 0};
  x.Entries[2] = ExSpEntry{0xffffffffu, 0xffff, 0, 0};
  ASSERT_EQ(TblSaveExSp(exsp_, &x, kSaveAdd), 0);
  CloseTables();
  std::vector<std::string> faults = Verify();
  EXPECT_EQ(VerifyConcepts("rep", "cpt", CollectFault, &faults), 3);
  std::string all = Lines(faults);
  EXPECT_THAT(all,
              HasSubstr("word1 'lonely': symptom 1.1 'fear' has the word in a "
                        "synonym or reference, the index does not list it"));
  EXPECT_THAT(all,
              HasSubstr("extrspt: symptom 1.1 direction 1 lists 9.9, which the "
                        "repertory does not hold"));
  EXPECT_THAT(all,
              HasSubstr("extrspt: 1.1 lists 5.1 in direction 1, the reverse "
                        "link is missing"));
  EXPECT_EQ(faults.size(), 4u) << all;
  OpenTables();
}

} // namespace

namespace {

void ReadNothing(LogEntry *, bool, void *) {}
void KeepNothing(LogEntry *, void *) {}

// In a run each entry is all or nothing: a deletion of a concept link that
// stands in one direction only is refused by the second direction, and the
// journal puts the first back. A reference that leads nowhere leaves the
// symptom and the word index as they were.
TEST_F(OpsTest, ARefusedEntryOfARunLeavesEveryTableAsItWas) {
  ExSp x = ConceptRecord(1, 1, kConceptToSymptoms);
  x.Entries[0] = ExSpEntry{1, 1, 0, 0};
  x.Entries[1] = ExSpEntry{0xffffffffu, 0xffff, 0, 0};
  ASSERT_EQ(TblSaveExSp(exsp_, &x, kSaveAdd), 0);
  ASSERT_EQ(Syn({"0", kFear, "0", "", "fright"}), 0);
  ASSERT_EQ(DbJournalOpen("rep\\run"), 0);
  OpContext c = Ctx(errors_);
  LogRunSource source{ReadNothing, KeepNothing, nullptr};
  LogEntry *del =
      Entry(OpDeleteConcept, {"0", "Sensations \x02 Burning", kFear});
  EXPECT_EQ(LogRunApplyEntry(del, c, source), 0);
  EXPECT_EQ(LogLastMessage, kMsgConceptLinkNotFound);
  LogEntry *syn = Entry(OpChangeSynonym, {"0", kFear, "0", "", "2fright"});
  EXPECT_EQ(LogRunApplyEntry(syn, c, source), 0);
  EXPECT_EQ(LogLastMessage, kMsgReferenceNotFound);
  ASSERT_EQ(DbJournalClose(), 0);
  x = ConceptRecord(1, 1, kConceptToSymptoms);
  ASSERT_EQ(TblFindFullExSp(exsp_, &x, 0, kFindEqual, nullptr), 0);
  EXPECT_EQ(x.Entries[0].Num, 1u) << "the first direction is back";
  EXPECT_EQ(x.Entries[0].Sub, 1u);
  EXPECT_STREQ(Read(1, 1).Synonym1, "(= fright)");
  EXPECT_EQ(WordLists(word1_, "fright"), (std::vector<std::string>{"1.1"}));
}

} // namespace
