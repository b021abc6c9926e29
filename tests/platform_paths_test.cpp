#include "platform/paths.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// A scratch installation with a bin folder as the current folder.
class PathsTest : public FolderTest {
protected:
  PathsTest() : FolderTest("paths") {}
  void SetUp() override {
    fs::create_directories(root_ / "data" / "Almanac");
    std::ofstream(root_ / "data" / "Almanac" / "ExtrSpt.dat") << "x";
    std::ofstream(root_ / "data" / "Almanac" / "Note.dat") << "x";
    Enter("bin");
  }
  void TearDown() override { unsetenv("MANTREL_DRIVE_C"); }
};

TEST_F(PathsTest, ComponentsAreFoundWithoutRegardToCase) {
  std::string real;
  ASSERT_TRUE(PlatRealPath("..\\DATA\\almanac\\extrspt.dat", real));
  EXPECT_EQ(real, "../data/Almanac/ExtrSpt.dat");
  ASSERT_TRUE(PlatRealPath("..\\data\\ALMANAC\\note.DAT", real));
  EXPECT_EQ(real, "../data/Almanac/Note.dat");
}

TEST_F(PathsTest, NewNamesKeepTheirCaseUnderResolvedFolders) {
  std::string real;
  ASSERT_TRUE(PlatRealPath("..\\DATA\\NewDir\\Symptom.idx", real));
  EXPECT_EQ(real, "../data/NewDir/Symptom.idx");
}

TEST_F(PathsTest, BadPathsAreRefused) {
  std::string real = "left over";
  EXPECT_FALSE(PlatRealPath("", real));
  EXPECT_TRUE(real.empty());
  EXPECT_FALSE(PlatRealPath(nullptr, real));
  EXPECT_FALSE(PlatRealPath(std::string(256, 'a').c_str(), real));
  EXPECT_TRUE(PlatRealPath(std::string(255, 'a').c_str(), real));
}

TEST_F(PathsTest, DrivesNeedAMapping) {
  std::string real;
  EXPECT_FALSE(PlatRealPath("C:\\orvix\\zentrix", real));
  setenv("MANTREL_DRIVE_C", (root_ / "data").c_str(), 1);
  ASSERT_TRUE(PlatRealPath("c:\\ALMANAC\\note.dat", real));
  EXPECT_EQ(real, (root_ / "data" / "Almanac" / "Note.dat").string());
}

TEST_F(PathsTest, AbsolutePathsStayAbsolute) {
  std::string real;
  std::string stored = root_.string() + "/DATA/almanac";
  ASSERT_TRUE(PlatRealPath(stored.c_str(), real));
  EXPECT_EQ(real, (root_ / "data" / "Almanac").string());
}

} // namespace
