// The consistency check names each kind of fault it knows.
#include "logrun_support.h"
#include "ops/chainlist.h"

namespace {

class VerifyTest : public RepertoryTest {
protected:
  // Changes one symptom through `change` and saves it.
  template <typename F> void Change(uint32_t num, uint16_t sub, F change) {
    TblHandle s = TblOpenSymptom("rep\\symptom", 1, 1);
    Symptom x = MakeSymptom(num, sub, 0, 0, "");
    ASSERT_EQ(TblFindFullSymptom(s, &x, 0, kFindEqual), 0);
    change(x);
    ASSERT_EQ(TblSaveSymptom(s, &x, kSaveReplace), 0);
    TblFreeSymptomRemed(&x);
    DbCloseFile(s);
  }
  bool Names(const std::string &part) {
    for (const std::string &f : Verify())
      if (f.find(part) != std::string::npos)
        return true;
    return false;
  }
};

TEST_F(VerifyTest, TheBuiltRepertoryIsConsistent) {
  EXPECT_TRUE(Verify().empty());
  EXPECT_EQ(VerifyRepertory("rep\\", nullptr, nullptr), 0);
}

TEST_F(VerifyTest, RemedyEntriesAgainstExtract) {
  Change(1, 1, [](Symptom &x) { x.Remedies[0].Degree = 4; });
  EXPECT_TRUE(Names("symptom 1.1 'fear': remedy 1 author 1 has degree 4, its "
                    "extract entry 3"));
  Change(5, 1, [](Symptom &x) { x.Remedies[0].AuthorId = kBoer; });
  EXPECT_TRUE(Names("symptom 5.1 'pain': remedy 3 author 2 has no extract"));
  EXPECT_TRUE(Names("extract: remedy 3 lists symptom 5.1 author 1, which"));
  EXPECT_EQ(VerifyRepertory("rep", nullptr, nullptr), 3);
}

TEST_F(VerifyTest, CountsParentsAndLevels) {
  Change(1, 1, [](Symptom &x) { x.RemedyCount = 3; });
  EXPECT_TRUE(Names("RemedyCount 3, distinct remedies 2"));
  Change(1, 2, [](Symptom &x) { x.Level = 2; });
  EXPECT_TRUE(Names("symptom 1.2: level 2 below a parent of level 2"));
  Change(5, 1, [](Symptom &x) { x.ParentSub = 7; });
  EXPECT_TRUE(Names("symptom 5.1: parent 5.7 does not exist"));
}

TEST_F(VerifyTest, ExtractChainsAreSortedAndNumbered) {
  TblHandle e = TblOpenExtract("rep\\extract", 0, 1);
  Extract x = ExtractKey(kBell);
  ASSERT_EQ(TblFindFullExtract(e, &x, 0, kFindEqual, nullptr), 0);
  // A later symptom first, and the chain's second record numbered 2.
  x.Entries[2] = x.Entries[1];
  x.Entries[1] = x.Entries[0];
  x.Entries[0] = ExtractEntry{5, 1, 2, kKent, 0};
  x.Entries[3] = ChainExtractTerminator();
  ASSERT_EQ(TblSaveExtract(e, &x, kSaveReplace), 0);
  x.Seq = 2;
  ASSERT_EQ(TblSaveExtract(e, &x, kSaveAdd), 0);
  DbCloseFile(e);
  EXPECT_TRUE(Names("extract: remedy 2: symptom 1.1 stands after 5.1"));
  EXPECT_TRUE(Names("extract: remedy 2 has record Seq 2 where 1 was due"));
  EXPECT_TRUE(Names("lists symptom 1.1 author 2 twice"));
  // The faults come in the order of the walk through the chain, though a
  // doubled entry is only found once the entries are sorted: the first
  // record's disorder, then the second record's Seq, then its entries,
  // doubles of the first record's.
  std::vector<std::string> f = Verify();
  auto at = [&](const std::string &part) {
    for (size_t i = 0; i < f.size(); ++i)
      if (f[i].find(part) != std::string::npos)
        return static_cast<long>(i);
    return -1L;
  };
  long disorder = at("symptom 1.1 stands after 5.1"),
       seq = at("has record Seq 2 where 1 was due"),
       twice5 = at("lists symptom 5.1 author 1 twice"),
       twice1 = at("lists symptom 1.1 author 2 twice");
  EXPECT_GE(disorder, 0);
  EXPECT_LT(disorder, seq);
  EXPECT_LT(seq, twice5);
  EXPECT_LT(twice5, twice1);
}

TEST_F(VerifyTest, NotesLinksAndWordsNameRealSymptoms) {
  TblHandle n = TblOpenNote("rep\\Note", 1, 1);
  Note note = NoteKey(3);
  StrCopy(note1_, "x");
  ASSERT_EQ(TblSaveNote(n, &note, kSaveAdd), 0);
  DbCloseFile(n);
  TblHandle l = TblOpenLink("rep\\Link", 1, 1);
  Link link = LinkKey(5, 9, 0, "a twig");
  ASSERT_EQ(TblSaveLink(l, &link, kSaveAdd), 0);
  DbCloseFile(l);
  TblHandle w = TblOpenWord("rep\\word2", 1, 1);
  Word word;
  memset(&word, 0, sizeof word);
  word.CursorState = 0xff;
  StrCopy(word.Text, "peur");
  word.Entries[0] = WordEntry{1, 1, 1, 32000};
  word.Entries[1] = WordEntry{5, 1, 5, 1};
  word.Entries[2] = WordEntry{0, 0, 0, 0xffff};
  ASSERT_EQ(TblSaveWord(w, &word, kSaveAdd), 0);
  DbCloseFile(w);
  EXPECT_TRUE(Names("note of symptom 3.0 remedy 0: no such symptom"));
  EXPECT_TRUE(Names("word2 'peur': symptom 5.1 'douleur' does not hold"));
  // A link of a symptom that is gone is what a deletion leaves: kept, no
  // fault.
  EXPECT_FALSE(Names("a twig"));
  std::vector<std::string> kept;
  VerifyKeptReport = CollectFault;
  VerifyKeptContext = &kept;
  EXPECT_EQ(VerifyRepertory("rep", nullptr, nullptr), 2);
  VerifyKeptReport = nullptr;
  EXPECT_EQ(kept, (std::vector<std::string>{
                      "link 'a twig' of symptom 5.9, which was deleted"}));
  EXPECT_EQ(VerifyKeptCount, 1);
}

TEST_F(VerifyTest, AnExtractEntryWithTheUserBitOfAGoneSymptomIsKept) {
  TblHandle e = TblOpenExtract("rep\\extract", 0, 1);
  Extract x = ExtractKey(kSulph);
  x.Entries[0] =
      ExtractEntry{7, 3, 2, static_cast<uint16_t>(kKent | kAuthorUserBit), 0};
  x.Entries[1] = ExtractEntry{7, 4, 2, kKent, 0};
  x.Entries[2] = ChainExtractTerminator();
  ASSERT_EQ(TblSaveExtract(e, &x, kSaveAdd), 0);
  DbCloseFile(e);
  // Without the bit it is a fault; with it, a leftover of a deletion.
  EXPECT_EQ(VerifyRepertory("rep", nullptr, nullptr), 1);
  EXPECT_EQ(VerifyKeptCount, 1);
  EXPECT_TRUE(Names("extract: remedy 5 lists symptom 7.4 author 1, which"));
  EXPECT_FALSE(Names("7.3"));
}

TEST_F(VerifyTest, AMissingTableIsAFault) {
  EXPECT_TRUE(Names("rep\\extract") == false);
  std::filesystem::remove("rep/extract.dat");
  EXPECT_TRUE(Names("rep\\extract: the table cannot be opened (H-12)"));
  EXPECT_GT(VerifyRepertory("nowhere", nullptr, nullptr), 3);
}

} // namespace
