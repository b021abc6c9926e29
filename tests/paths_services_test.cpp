// Path services: chooser answers as paths, relative paths, media lookup,
// abbreviations, and the network localization of a whole installation.
#include "chooser_support.h"
#include "store_fixture.h"

#include "services/paths.h"

#include <algorithm>

namespace {

using ::testing::HasSubstr;

void Touch(const fs::path &p) {
  fs::create_directories(p.parent_path());
  std::ofstream(p) << "data";
}

using PathServicesTest = InstallTest;

TEST_F(PathServicesTest, PathOfFileSpecJoinsFolderAndName) {
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  StrCopy(spec.name, "x.dat");
  char out[300];
  PathOfFileSpec(&spec, out, sizeof out);
  EXPECT_STREQ(out, "x.dat"); // no folder: the name alone

  StrCopy(spec.dir.path, "/srv/orvix/log");
  PathOfFileSpec(&spec, out, sizeof out);
  EXPECT_STREQ(out, "\\srv\\orvix\\log\\x.dat");

  StrCopy(spec.dir.path, "/srv/orvix/log/"); // a backslash is not doubled
  PathOfFileSpec(&spec, out, sizeof out);
  EXPECT_STREQ(out, "\\srv\\orvix\\log\\x.dat");

  char small[8];
  PathOfFileSpec(&spec, small, sizeof small);
  EXPECT_STREQ(small, "\\srv\\or"); // cut, never overrun
}

TEST_F(PathServicesTest, PathRelativeLowerCasesAndShortensUnderTheParent) {
  std::string inside = TextForm(root_) + "\\Log\\SALM.DAT";
  char path[300];
  StrCopy(path, inside.c_str());
  EXPECT_STREQ(PathRelative(path, sizeof path), "..\\log\\salm.dat");

  StrCopy(path, "\\Elsewhere\\Log\\X");
  EXPECT_STREQ(PathRelative(path, sizeof path), "\\elsewhere\\log\\x");
  StrCopy(path, "..\\SYSTEM\\Remed");
  EXPECT_STREQ(PathRelative(path, sizeof path), "..\\system\\remed");
}

TEST_F(PathServicesTest, PathJoinAnswersOneStaticBuffer) {
  const char *a = PathJoin("..\\log", "salm");
  EXPECT_STREQ(a, "..\\log\\salm");
  const char *b = PathJoin("", "x");
  EXPECT_EQ(a, b);
  EXPECT_STREQ(b, "\\x");
}

TEST_F(PathServicesTest, MediaLocateLooksWhereItsKindLives) {
  Touch(root_ / "bin" / "here.bmp");
  Touch(root_ / "images" / "HERE.BMP");
  Touch(root_ / "images" / "pic.bmp");
  Touch(root_ / "photo" / "only.bmp");
  Touch(root_ / "video" / "clip.avi");
  Touch(root_ / "images" / "clip2.avi");
  Touch(root_ / "sound" / "tone.wav");
  Touch(root_ / "images" / "zorvel.bmp");
  fs::create_directories(root_ / "images" / "folder.bmp");
  char out[300];

  // Found as given: the configured folders are never looked at.
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "here.bmp"),
               "here.bmp");
  // By name in ImageDir, then in DefaultImage.
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "C:\\old\\pic.bmp"),
               "..\\images\\pic.bmp");
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "x\\only.bmp"),
               "..\\photo\\only.bmp");
  // Videos and sounds have only their own folder.
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaVideo, "clip.avi"),
               "..\\video\\clip.avi");
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaVideo, "clip2.avi"), "");
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaSound, "a\\b\\tone.wav"),
               "..\\sound\\tone.wav");
  // The reserved word, a folder of the name, and nothing at all.
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "Zorvel.bmp"), "");
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "folder.bmp"), "");
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "none.bmp"), "");
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, ""), "");
}

TEST_F(PathServicesTest, MediaOnADriveIsUnavailableWithoutMultimedia) {
  Touch(root_ / "photo" / "only.bmp");
  char out[300];
  StrCopy(ImageDir, "Q:\\images");
  WithMultiMedia = 0;
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "only.bmp"), "");
  WithMultiMedia = 1;
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaImage, "only.bmp"),
               "..\\photo\\only.bmp");
  StrCopy(DefaultVideo, "Q:\\video");
  WithMultiMedia = 0;
  Touch(root_ / "bin" / "clip.avi");
  EXPECT_STREQ(MediaLocate(out, sizeof out, kMediaVideo, "x\\clip.avi"), "");
}

TEST_F(PathServicesTest, AbbreviationsOfRemediesAndAuthors) {
  TblHandle rem = TblCreateRemed("..\\system\\remed", 1, 1);
  ASSERT_EQ(OrvixError, 0);
  AddRemedies(rem, {{1, "Acon."}, {3161, "Myrem."}});
  TblHandle aut = TblCreateAuthor("..\\system\\author", 1, 1);
  ASSERT_EQ(OrvixError, 0);
  AddAuthors(aut, {{12, "kent"}, {886, "myaut"}});

  char out[32];
  EXPECT_EQ(RemedyAbbrev(rem, 1, out, sizeof out), 0);
  EXPECT_STREQ(out, "Acon.");
  EXPECT_EQ(RemedyAbbrev(rem, 3161, out, sizeof out), 0); // user-defined
  EXPECT_STREQ(out, "Myrem.");
  EXPECT_EQ(RemedyAbbrev(rem, 2, out, sizeof out), 1);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(RemedyAbbrev(rem, -1, out, sizeof out), 1);
  EXPECT_EQ(RemedyAbbrev(0, 1, out, sizeof out), 1);

  EXPECT_EQ(AuthorAbbrev(aut, 12, out, sizeof out), 0);
  EXPECT_STREQ(out, "kent");
  // The top bit marks a changed entry and is not part of the number.
  EXPECT_EQ(AuthorAbbrev(aut, 0x8000 | 886, out, sizeof out), 0);
  EXPECT_STREQ(out, "myaut");
  EXPECT_EQ(AuthorAbbrev(aut, 13, out, sizeof out), 1);
  // The pseudo-author needs no table, with or without the mark.
  EXPECT_EQ(AuthorAbbrev(0, 32000, out, sizeof out), 0);
  EXPECT_STREQ(out, "*qs");
  EXPECT_EQ(AuthorAbbrev(0, 0x8000 | 32000, out, sizeof out), 0);
  EXPECT_STREQ(out, "*qs");
  char tiny[3];
  EXPECT_EQ(AuthorAbbrev(aut, 886, tiny, sizeof tiny), 0);
  EXPECT_STREQ(tiny, "my");
  DbCloseFile(rem);
  DbCloseFile(aut);
}

TEST(NetRebaseRule, KeepsTheLastTwoComponentsUnderTheNewBase) {
  char base[64] = "X:\\APP";
  char path[101] = "..\\data\\rep1\\symptom";
  EXPECT_EQ(NetRebase(base, path, sizeof path, 1), 0);
  EXPECT_STREQ(path, "X:\\APP\\data\\rep1\\symptom");

  StrCopy(path, "..\\system\\remed");
  EXPECT_EQ(NetRebase(base, path, sizeof path, 0), 0);
  EXPECT_STREQ(path, "X:\\APP\\system\\remed");

  StrCopy(path, "symptom"); // one component is kept whole
  NetRebase(base, path, sizeof path, 1);
  EXPECT_STREQ(path, "X:\\APP\\data\\symptom");

  StrCopy(path, "..\\data\\rep1\\"); // a folder keeps its backslash
  NetRebase(base, path, sizeof path, 1);
  EXPECT_STREQ(path, "X:\\APP\\data\\rep1\\");
}

TEST(NetRebaseRule, TrailingBlanksThenBackslashesLeaveTheBase) {
  char base[64] = "X:\\MY APP\\\\  ";
  char path[101] = "..\\system\\remed";
  NetRebase(base, path, sizeof path, 0);
  EXPECT_STREQ(base, "X:\\MY APP");
  EXPECT_STREQ(path, "X:\\MY APP\\system\\remed");
  // Blanks in front of the backslash are no longer at the end then.
  char other[64] = "X:\\APP \\";
  NetRebase(other, path, sizeof path, 0);
  EXPECT_STREQ(other, "X:\\APP ");
}

TEST(NetRebaseRule, APathThatWouldNotFitIsKept) {
  char base[64] = "\\\\server-with-a-long-name\\share\\installation";
  char path[40] = "..\\data\\rep1\\symptom";
  EXPECT_EQ(NetRebase(base, path, sizeof path, 1), 1);
  EXPECT_STREQ(path, "..\\data\\rep1\\symptom");
}

class NetTest : public InstallTest {
protected:
  void SetUp() override {
    InstallTest::SetUp();
    AddEntries({MakeRepertory(1, "SALM", "Almanacum"),
                MakeRepertory(9, "CALM", "Almanacum concepts"),
                MakeKeynotes(3, "K3", "Keynotes")});
    ASSERT_EQ(IniWrite(-1), 0); // a full file of defaults
  }
  std::string Ini() { return SlurpFile(root_ / "bin" / "orvix.ini"); }
};

TEST_F(NetTest, LocalizeRewritesCatalogueAndConfiguration) {
  char base[] = "X:\\ORVIX\\ ";
  EXPECT_EQ(NetLocalize(base), 0);

  const char *names[kCatPathCount] = {"symptom", "chapter", "extract", "word1",
                                      "word2",   "view",    ""};
  for (auto [id, abbrev] : {std::pair{1, "SALM"}, std::pair{9, "CALM"}}) {
    Catalog c = Stored(1, static_cast<uint16_t>(id));
    for (int i = 0; i < kCatPathCount; ++i)
      EXPECT_EQ(std::string(c.RepertoryBlock.Paths[i]),
                std::string("X:\\ORVIX\\data\\") + abbrev + "\\" + names[i])
          << id << " " << i;
    EXPECT_STREQ(c.RepertoryBlock.Title,
                 id == 1 ? "Almanacum" : "Almanacum concepts");
  }
  EXPECT_STREQ(Stored(2, 3).KeynoteBlock.Folder,
               "X:\\ORVIX\\data\\keynotes\\K3");

  EXPECT_STREQ(RemedyCatalogName, "X:\\ORVIX\\system\\remed");
  EXPECT_STREQ(AuthorCatalogName, "X:\\ORVIX\\system\\author");
  EXPECT_STREQ(PatientCatalogName, "X:\\ORVIX\\patient\\patient");
  EXPECT_STREQ(CasesCatalogName, "X:\\ORVIX\\cases\\repert");
  EXPECT_STREQ(Path, "..\\data\\dorval"); // not of the System section
  EXPECT_STREQ(CatalogCatalogName, "..\\system\\catalog"); // not moved
  std::string ini = Ini();
  for (const char *line : {"RemedyCatalogName=X:\\ORVIX\\system\\remed\n",
                           "AuthorCatalogName=X:\\ORVIX\\system\\author\n",
                           "PatientCatalogName=X:\\ORVIX\\patient\\patient\n",
                           "CasesCatalogName=X:\\ORVIX\\cases\\repert\n",
                           "CatalogCatalogName=..\\system\\catalog\n"})
    EXPECT_THAT(ini, HasSubstr(line)) << line << ini;
}

TEST_F(NetTest, PathsThatNoLongerFitAreKeptAndTold) {
  char base[] = "\\\\a-server-with-a-rather-long-name\\a-share-of-some-"
                "length\\an-installation-folder";
  testing::internal::CaptureStderr();
  int kept = NetLocalize(base);
  std::string err = testing::internal::GetCapturedStderr();
  // The four shared tables (60 characters) and none of the catalogue's
  // (100) overflow here.
  EXPECT_EQ(kept, 4);
  EXPECT_THAT(err, HasSubstr("4 paths are too long"));
  EXPECT_STREQ(RemedyCatalogName, "..\\system\\remed");
  EXPECT_EQ(std::string(Stored(1, 1).RepertoryBlock.Paths[kCatSymptom]),
            std::string(base) + "\\data\\SALM\\symptom");
}

TEST_F(NetTest, CommandLineRefusesABaseThatIsNoFolder) {
  std::string before = Ini();
  char base[] = "/NO/SUCH/FOLDER";
  std::string err =
      StderrOf([&] { EXPECT_EQ(NetLocalizeCommandLine(base), 1); });
  EXPECT_THAT(
      err, HasSubstr("The network base /NO/SUCH/FOLDER is no existing folder"));
  EXPECT_EQ(Ini(), before);
  EXPECT_STREQ(Stored(1, 1).RepertoryBlock.Paths[kCatSymptom],
               "..\\data\\SALM\\symptom");
  EXPECT_STREQ(RemedyCatalogName, "..\\system\\remed");

  // An existing folder, upper-cased as the command line gives it, is taken.
  fs::create_directories(root_ / "net");
  std::string upper = root_.string() + "/NET";
  std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
  char existing[300];
  StrCopy(existing, upper.c_str());
  EXPECT_EQ(NetLocalizeCommandLine(existing), 0);
  EXPECT_EQ(std::string(RemedyCatalogName), upper + "\\system\\remed");

  // Trailing blanks and backslashes are no part of the folder's name.
  fs::create_directories(root_ / "netb");
  char trailing[] = "..\\NETB\\\\  ";
  EXPECT_EQ(NetLocalizeCommandLine(trailing), 0);
  EXPECT_STREQ(RemedyCatalogName, "..\\NETB\\system\\remed");
}

TEST_F(NetTest, TheConfigurationIsRewrittenSectionBySectionInPlace) {
  // A file that lacks keys of the System section and ends in another
  // section: the keys go to their own section, and the next start reports
  // nothing.
  std::ofstream(root_ / "bin" / "orvix.ini")
      << "[System section]\nRemedyCatalogName=..\\system\\remed\n\n"
         "[Dorval section]\nMode=1\n\n[Fonts and colors section]\n";
  ASSERT_EQ(IniRead(), 0);
  char base[] = "X:\\APP";
  NetLocalize(base);
  std::string ini = Ini();
  size_t system = ini.find("[System section]"),
         dorval = ini.find("[Dorval section]");
  size_t cases = ini.find("CasesCatalogName=X:\\APP\\cases\\repert\n");
  ASSERT_NE(cases, std::string::npos) << ini;
  EXPECT_LT(system, cases);
  EXPECT_LT(cases, dorval) << ini;
  EXPECT_THAT(ini, HasSubstr("Mode=1\n\n[Fonts and colors section]\n"));
  ASSERT_EQ(IniRead(), 0);
  EXPECT_EQ(SlurpFile(root_ / "bin" / "orvixerror.txt"), "");
  EXPECT_STREQ(CasesCatalogName, "X:\\APP\\cases\\repert");
}

TEST_F(NetTest, MenuAsksForTheBaseAndCancelChangesNothing) {
  Script("cancel\n");
  NetLocalizeAsk();
  EXPECT_STREQ(RemedyCatalogName, "..\\system\\remed");
  Script("text \\\\server\\orvix\n");
  NetLocalizeAsk();
  // From the menu the base stands as typed.
  EXPECT_STREQ(RemedyCatalogName, "\\\\server\\orvix\\system\\remed");
  EXPECT_STREQ(Stored(1, 9).RepertoryBlock.Paths[kCatWord2],
               "\\\\server\\orvix\\data\\CALM\\word2");
}

TEST_F(PathServicesTest, OpenChooserStartsInItsFolderAndLeavesTheCurrentOne) {
  Touch(root_ / "log" / "SALM.dat");
  fs::path before = fs::current_path();
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  StrCopy(spec.name, "old");
  Script("file salm.dat\ncancel\n");
  EXPECT_EQ(FileChooseOpen("dat", &spec, 3154, "..\\log"), 1);
  EXPECT_EQ(fs::current_path(), before);
  EXPECT_STREQ(spec.type, "dat");
  char path[300];
  PathOfFileSpec(&spec, path, sizeof path);
  EXPECT_EQ(std::string(path), TextForm(root_ / "log") + "\\SALM.dat");

  // Cancel answers 0; the name is emptied all the same.
  EXPECT_EQ(FileChooseOpen("dat", &spec, 3154, "..\\log"), 0);
  EXPECT_STREQ(spec.name, "");
  EXPECT_EQ(fs::current_path(), before);
}

TEST_F(PathServicesTest, SaveChooserKeepsItsTypeWhenNoneIsGiven) {
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  StrCopy(spec.type, "txt");
  Script("file new.txt\n");
  EXPECT_EQ(FileChooseSave(nullptr, &spec, 3154, "..\\log"), 1);
  EXPECT_STREQ(spec.type, "txt");
  EXPECT_STREQ(spec.name, "new.txt");
}

TEST_F(PathServicesTest, FolderChooserKeepsItsLastAnswerOnCancel) {
  fs::create_directories(root_ / "backup");
  Script("folder ..\\backup\ncancel\n");
  std::string first = FolderChoose(NULL_WIN, "Where?");
  EXPECT_EQ(first, TextForm(root_ / "backup"));
  EXPECT_EQ(std::string(FolderChoose(NULL_WIN, "Where?")), first);
}

} // namespace
