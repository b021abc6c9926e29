#include "platform/files.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> Names(const std::vector<PlatDirEntry> &entries) {
  std::vector<std::string> names;
  for (const PlatDirEntry &e : entries)
    names.push_back(e.Name);
  return names;
}

// A scratch installation: bin is the current folder, data holds files whose
// names differ in case from the way the tests spell them.
class FilesTest : public FolderTest {
protected:
  FilesTest() : FolderTest("files") {}
  void SetUp() override {
    fs::create_directories(root_ / "data" / "Sub.dat");
    Write("Symptom.DAT", "symptoms");
    Write("note.dat", "notes");
    Write("Remed.idx", "index");
    Write("abc", "1");
    Write("aXcY", "22");
    Write("\xC9t\xE9.txt", "summer"); // accented name, code page bytes
    Enter("bin");
    savedStartup_ = PlatStartupDir;
  }
  void TearDown() override { PlatStartupDir = savedStartup_; }
  void Write(const std::string &name, const std::string &text) {
    Spit(fs::path("data") / name, text);
  }
  fs::path Data(const std::string &name) { return root_ / "data" / name; }
  int CountInData() {
    int n = 0;
    for (auto &e : fs::directory_iterator(root_ / "data")) {
      (void)e;
      ++n;
    }
    return n;
  }

  std::string savedStartup_;
};

TEST_F(FilesTest, ListingMatchesWithoutRegardToCase) {
  std::vector<PlatDirEntry> found;
  ASSERT_EQ(PlatListDir("..\\DATA", "*.dat", true, found), kPlatOk);
  EXPECT_EQ(Names(found),
            (std::vector<std::string>{"Symptom.DAT", "note.dat"}));
  EXPECT_EQ(found[0].Size, 8);
  EXPECT_FALSE(found[0].IsDir);

  ASSERT_EQ(PlatListDir("..\\data", "*.DAT", false, found), kPlatOk);
  EXPECT_EQ(Names(found),
            (std::vector<std::string>{"Sub.dat", "Symptom.DAT", "note.dat"}));
  EXPECT_TRUE(found[0].IsDir);

  ASSERT_EQ(PlatListDir("..\\data", "A?C*", true, found), kPlatOk);
  EXPECT_EQ(Names(found), (std::vector<std::string>{"aXcY", "abc"}));

  ASSERT_EQ(PlatListDir("..\\data", "\xE9T\xC9.*", true, found), kPlatOk);
  EXPECT_EQ(Names(found), (std::vector<std::string>{"\xC9t\xE9.txt"}));

  // "*.*" is everything, names without a dot included; "*" likewise.
  ASSERT_EQ(PlatListDir("..\\data", "*.*", false, found), kPlatOk);
  EXPECT_EQ(found.size(), 7u);
  ASSERT_EQ(PlatListDir("..\\data", "*", true, found), kPlatOk);
  EXPECT_EQ(found.size(), 6u);

  ASSERT_EQ(PlatListDir("..\\data", "*.none", true, found), kPlatOk);
  EXPECT_TRUE(found.empty());
}

TEST_F(FilesTest, FindFilesTakesFolderAndPatternInOneText) {
  std::vector<PlatDirEntry> found;
  ASSERT_EQ(PlatFindFiles("..\\Data\\*.IDX", true, found), kPlatOk);
  EXPECT_EQ(Names(found), (std::vector<std::string>{"Remed.idx"}));
  ASSERT_EQ(PlatFindFiles("..\\nowhere\\*.dat", true, found), kPlatErrNotFound);
  EXPECT_TRUE(found.empty());
  ASSERT_EQ(PlatFindFiles("..\\data\\note.dat\\*", true, found),
            kPlatErrNotDir);
  Enter("data");
  ASSERT_EQ(PlatFindFiles("s*", false, found), kPlatOk);
  EXPECT_EQ(Names(found), (std::vector<std::string>{"Sub.dat", "Symptom.DAT"}));
}

TEST(FilesWildcard, PatternsBacktrackAndFoldCase) {
  EXPECT_TRUE(PlatWildcardMatch("*a*b", "xaaab"));
  EXPECT_TRUE(PlatWildcardMatch("*a*b", "ab"));
  EXPECT_FALSE(PlatWildcardMatch("*a*b", "xaaabc"));
  EXPECT_TRUE(PlatWildcardMatch("a**c", "abbbc"));
  EXPECT_FALSE(PlatWildcardMatch("?", ""));
  EXPECT_TRUE(PlatWildcardMatch("*", ""));
  EXPECT_FALSE(PlatWildcardMatch("a?c", "ac"));
  EXPECT_TRUE(PlatWildcardMatch("CASE*.DA1", "casetmp.da1"));
  EXPECT_FALSE(PlatWildcardMatch("*.dat", "x.data"));
  EXPECT_TRUE(PlatWildcardMatch("*.*", "noext"));
  EXPECT_FALSE(PlatWildcardMatch(nullptr, "x"));
  // A long name against many stars finishes (no exponential search).
  std::string name(200, 'a');
  EXPECT_FALSE(PlatWildcardMatch("*a*a*a*a*a*a*a*a*b", name.c_str()));
}

TEST_F(FilesTest, CopyResolvesCaseAndRespectsFailIfExists) {
  ASSERT_EQ(PlatCopyFile("..\\DATA\\NOTE.DAT", "..\\data\\Copy.dat", true),
            kPlatOk);
  EXPECT_EQ(SlurpFile(Data("Copy.dat")), "notes");

  // The target exists under another spelling: refused, left as it was.
  EXPECT_EQ(PlatCopyFile("..\\data\\abc", "..\\DATA\\COPY.DAT", true),
            kPlatErrExists);
  EXPECT_EQ(SlurpFile(Data("Copy.dat")), "notes");

  // With overwrite the existing file is replaced, not a twin created.
  int before = CountInData();
  ASSERT_EQ(PlatCopyFile("..\\data\\ABC", "..\\DATA\\COPY.DAT", false),
            kPlatOk);
  EXPECT_EQ(SlurpFile(Data("Copy.dat")), "1");
  EXPECT_EQ(CountInData(), before) << "no stray or temporary file is left";

  // A file copied onto itself keeps its content.
  ASSERT_EQ(PlatCopyFile("..\\data\\abc", "..\\data\\ABC", false), kPlatOk);
  EXPECT_EQ(SlurpFile(Data("abc")), "1");
}

TEST_F(FilesTest, CopyFailuresLeaveNothingBehind) {
  int before = CountInData();
  EXPECT_EQ(PlatCopyFile("..\\data\\missing", "..\\data\\x", false),
            kPlatErrNotFound);
  EXPECT_EQ(PlatCopyFile("..\\data\\abc", "..\\nofolder\\x", false),
            kPlatErrNotFound);
  EXPECT_EQ(PlatCopyFile("..\\data\\Sub.dat", "..\\data\\x", false),
            kPlatErrIo);
  EXPECT_EQ(PlatCopyFile("..\\data\\abc", "..\\data\\sub.DAT", false),
            kPlatErrExists);
  EXPECT_EQ(PlatCopyFile("", "..\\data\\x", false), kPlatErrPath);
  EXPECT_EQ(PlatCopyFile("..\\data\\abc", nullptr, false), kPlatErrPath);
  std::string tooLong = "..\\data\\" + std::string(250, 'x');
  EXPECT_EQ(PlatCopyFile("..\\data\\abc", tooLong.c_str(), false),
            kPlatErrPath);
  EXPECT_EQ(CountInData(), before);
}

TEST_F(FilesTest, CopyKeepsBinaryContentWhole) {
  std::string big;
  for (int i = 0; i < 200000; ++i)
    big += static_cast<char>(i * 7 % 256);
  Write("big.bin", big);
  ASSERT_EQ(PlatCopyFile("..\\data\\BIG.BIN", "..\\data\\big2.bin", false),
            kPlatOk);
  EXPECT_EQ(SlurpFile(Data("big2.bin")), big);
}

TEST_F(FilesTest, MoveRenamesAndReplaces) {
  ASSERT_EQ(FileMove("..\\DATA\\note.DAT", "..\\data\\Moved.dat"), kPlatOk);
  EXPECT_FALSE(fs::exists(Data("note.dat")));
  EXPECT_EQ(SlurpFile(Data("Moved.dat")), "notes");

  // Onto an existing file spelt otherwise: that file is replaced.
  ASSERT_EQ(FileMove("..\\data\\abc", "..\\data\\MOVED.DAT"), kPlatOk);
  EXPECT_FALSE(fs::exists(Data("abc")));
  EXPECT_EQ(SlurpFile(Data("Moved.dat")), "1");
  EXPECT_FALSE(fs::exists(Data("MOVED.DAT")));

  EXPECT_EQ(FileMove("..\\data\\abc", "..\\data\\x"), kPlatErrNotFound);
  EXPECT_EQ(FileMove("..\\data\\Sub.dat", "..\\data\\x"), kPlatErrIo);
  EXPECT_TRUE(fs::is_directory(Data("Sub.dat")));
}

TEST_F(FilesTest, MoveOntoItselfUnderAnotherSpellingKeepsTheFile) {
  ASSERT_EQ(FileMove("..\\data\\symptom.dat", "..\\DATA\\SYMPTOM.DAT"),
            kPlatOk);
  EXPECT_EQ(SlurpFile(Data("Symptom.DAT")), "symptoms");
}

TEST_F(FilesTest, DeleteFindsTheFileInAnyCase) {
  ASSERT_EQ(PlatDeleteFile("..\\DATA\\REMED.IDX"), kPlatOk);
  EXPECT_FALSE(fs::exists(Data("Remed.idx")));
  EXPECT_EQ(PlatDeleteFile("..\\data\\remed.idx"), kPlatErrNotFound);
  EXPECT_EQ(PlatDeleteFile("..\\data\\SUB.DAT"), kPlatErrIo);
  EXPECT_TRUE(fs::exists(Data("Sub.dat")));
  EXPECT_EQ(PlatDeleteFile(nullptr), kPlatErrPath);
}

TEST_F(FilesTest, FoldersAreMadeAlongThePathInsideExistingOnes) {
  ASSERT_EQ(PlatCreateDirs("..\\DATA\\New\\deeper\\last"), kPlatOk);
  EXPECT_TRUE(fs::is_directory(Data("New/deeper/last")));
  EXPECT_FALSE(fs::exists(root_ / "DATA")) << "no twin of an existing folder";
  // Again, spelt otherwise: nothing new, no failure.
  ASSERT_EQ(PlatCreateDirs("..\\data\\NEW\\Deeper\\LAST\\"), kPlatOk);
  int n = 0;
  for (auto &e : fs::directory_iterator(Data("New"))) {
    (void)e;
    ++n;
  }
  EXPECT_EQ(n, 1);

  EXPECT_EQ(PlatCreateDir("..\\data\\one"), kPlatOk);
  EXPECT_EQ(PlatCreateDir("..\\data\\ONE"), kPlatOk);
  EXPECT_EQ(PlatCreateDir("..\\data\\a\\b"), kPlatErrNotFound);
  EXPECT_EQ(PlatCreateDir("..\\data\\abc"), kPlatErrExists);
  EXPECT_EQ(PlatCreateDirs("..\\data\\abc\\under"), kPlatErrExists);

  std::string absolute = (root_ / "data" / "abs" / "x").string();
  ASSERT_EQ(PlatCreateDirs(absolute.c_str()), kPlatOk);
  EXPECT_TRUE(fs::is_directory(absolute));
}

TEST_F(FilesTest, ExistenceSizeAndOpening) {
  EXPECT_TRUE(PlatFileExists("..\\data\\SYMPTOM.dat"));
  EXPECT_TRUE(PlatFileExists("..\\data\\sub.dat"));
  EXPECT_FALSE(PlatFileExists("..\\data\\none"));
  EXPECT_FALSE(PlatFileExists(""));
  EXPECT_TRUE(PlatIsDir("..\\DATA\\SUB.DAT"));
  EXPECT_FALSE(PlatIsDir("..\\data\\abc"));

  long long size = -1;
  ASSERT_EQ(PlatFileSize("..\\data\\AXCY", &size), kPlatOk);
  EXPECT_EQ(size, 2);
  EXPECT_EQ(PlatFileSize("..\\data\\none", &size), kPlatErrNotFound);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(PlatFileSize("..\\data\\sub.dat", &size), kPlatErrIo);

  FILE *f = PlatOpenFile("..\\DATA\\Note.Dat", "rb");
  ASSERT_NE(f, nullptr);
  char buf[16] = {0};
  EXPECT_EQ(fread(buf, 1, sizeof buf - 1, f), 5u);
  fclose(f);
  EXPECT_STREQ(buf, "notes");

  f = PlatOpenFile("..\\DATA\\fresh.txt", "w");
  ASSERT_NE(f, nullptr);
  fputs("x", f);
  fclose(f);
  EXPECT_TRUE(fs::exists(Data("fresh.txt")));
  EXPECT_EQ(PlatOpenFile("..\\data\\none.txt", "r"), nullptr);
  EXPECT_EQ(PlatOpenFile("..\\data\\abc", nullptr), nullptr);
}

TEST_F(FilesTest, CurrentFolderIsSavedAndTheStartupFolderComesBack) {
  PlatStartupDir.clear();
  EXPECT_EQ(PlatGoToStartupDir(), kPlatErrNoStartup);

  ASSERT_EQ(PlatSetStartupDir(), kPlatOk);
  fs::path bin = fs::current_path();
  ASSERT_EQ(PlatSetCurrentDir("..\\DATA\\SUB.DAT"), kPlatOk);
  EXPECT_EQ(fs::current_path(), root_ / "data" / "Sub.dat");
  ASSERT_EQ(PlatGoToStartupDir(), kPlatOk);
  EXPECT_EQ(fs::current_path(), bin);

  ASSERT_EQ(PlatSaveDir(), kPlatOk);
  ASSERT_EQ(PlatSetCurrentDir(".."), kPlatOk);
  EXPECT_EQ(fs::current_path(), root_);
  ASSERT_EQ(PlatRestoreDir(), kPlatOk);
  EXPECT_EQ(fs::current_path(), bin);

  char cur[4096];
  ASSERT_EQ(PlatGetCurrentDir(cur, sizeof cur), kPlatOk);
  EXPECT_EQ(fs::path(cur), bin);
  char tiny[4];
  EXPECT_EQ(PlatGetCurrentDir(tiny, sizeof tiny), kPlatErrPath);
  EXPECT_EQ(strlen(tiny), 3u);

  EXPECT_EQ(PlatSetCurrentDir("..\\data\\abc"), kPlatErrNotDir);
  EXPECT_EQ(PlatSetCurrentDir("..\\nowhere"), kPlatErrNotFound);
  EXPECT_EQ(fs::current_path(), bin) << "a failed change stays put";
}

TEST_F(FilesTest, AbsolutePathsForOtherPrograms) {
  std::string abs;
  ASSERT_EQ(PlatAbsolutePath("..\\DATA\\NOTE.DAT", abs), kPlatOk);
  EXPECT_EQ(fs::path(abs).lexically_normal(), Data("note.dat"));
  EXPECT_EQ(abs[0], '/');
  EXPECT_EQ(PlatAbsolutePath("", abs), kPlatErrPath);
  EXPECT_TRUE(abs.empty());
}

} // namespace
