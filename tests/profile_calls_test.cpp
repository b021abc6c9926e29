#include "platform/profile.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class ProfileTest : public FolderTest {
protected:
  ProfileTest() : FolderTest("profile") {}
  void SetUp() override { Enter(); }
  static void Put(const char *name, const std::string &text) {
    WriteFile(name, text);
  }
  static std::string Get(const char *name) { return SlurpFile(name); }
  static std::string Value(const char *section, const char *key,
                           const char *file = "my.ini") {
    char buf[256];
    GetPrivateProfileStringA(section, key, "<none>", buf, sizeof buf, file);
    return buf;
  }
};

TEST_F(ProfileTest, FirstMatchOfSectionAndKeyWithoutRegardToCase) {
  Put("my.ini", "top=outside\n"
                "[Alpha]\n"
                "Color = red  \n"
                "color=green\n"
                "; Size=1\n"
                "[beta]\n"
                "Size=  7 \n"
                "[ALPHA]\n"
                "Weight=3\n");
  EXPECT_EQ(Value("alpha", "COLOR"), "red");
  EXPECT_EQ(Value("BETA", "size"), "7");
  // Only the first [Alpha] counts; comments and keys before any section are
  // no keys.
  EXPECT_EQ(Value("Alpha", "Weight"), "<none>");
  EXPECT_EQ(Value("Alpha", "Size"), "<none>");
  EXPECT_EQ(Value("Alpha", "top"), "<none>");
  EXPECT_EQ(Value("Gamma", "Size"), "<none>");
  EXPECT_EQ(GetPrivateProfileIntA("beta", "size", 99, "my.ini"), 7u);
  EXPECT_EQ(GetPrivateProfileIntA("beta", "none", 99, "my.ini"), 99u);
  EXPECT_EQ(GetPrivateProfileIntA("alpha", "color", 99, "my.ini"), 0u);
}

TEST_F(ProfileTest, DefaultsLengthsQuotesAndNumbers) {
  Put("my.ini", "[S]\nq=\"  in quotes \"\nodd=\"half\nn=-42abc\nbig=12345\n");
  char buf[8];
  // The default loses its trailing blanks; a null default is empty.
  EXPECT_EQ(GetPrivateProfileStringA("S", "x", "dflt  ", buf, 8, "my.ini"), 4u);
  EXPECT_STREQ(buf, "dflt");
  EXPECT_EQ(GetPrivateProfileStringA("S", "x", nullptr, buf, 8, "my.ini"), 0u);
  EXPECT_STREQ(buf, "");
  // Values are cut to the buffer.
  EXPECT_EQ(GetPrivateProfileStringA("S", "big", "", buf, 3, "my.ini"), 2u);
  EXPECT_STREQ(buf, "12");
  EXPECT_EQ(Value("S", "q"), "  in quotes ");
  EXPECT_EQ(Value("S", "odd"), "\"half");
  EXPECT_EQ(static_cast<int>(GetPrivateProfileIntA("S", "n", 0, "my.ini")),
            -42);
  // A missing file gives the defaults.
  EXPECT_EQ(Value("S", "q", "absent.ini"), "<none>");
  EXPECT_EQ(GetPrivateProfileIntA("S", "q", 5, "absent.ini"), 5u);
}

TEST_F(ProfileTest, ListsOfSectionsAndKeys) {
  Put("my.ini", "[One]\na=1\nb=2\n[Two]\nc=3\n");
  char buf[64];
  unsigned n =
      GetPrivateProfileStringA(nullptr, nullptr, "", buf, sizeof buf, "my.ini");
  EXPECT_EQ(std::string(buf, n), std::string("One\0Two\0", 8));
  EXPECT_EQ(buf[n], '\0');
  n = GetPrivateProfileStringA("one", nullptr, "", buf, sizeof buf, "my.ini");
  EXPECT_EQ(std::string(buf, n), std::string("a\0b\0", 4));
  // A list that does not fit is cut and ends in two zeros.
  n = GetPrivateProfileStringA(nullptr, nullptr, "", buf, 7, "my.ini");
  EXPECT_EQ(n, 5u);
  EXPECT_EQ(std::string(buf, 7), std::string("One\0T\0\0", 7));
}

TEST_F(ProfileTest, WritingReplacesInPlaceAndKeepsEverythingElse) {
  Put("my.ini", "# head\r\n[Alpha]\r\nColor=red\r\n; note\r\n\r\n[Beta]\r\n"
                "x=1\r\n");
  ASSERT_TRUE(WritePrivateProfileStringA("ALPHA", "color", "blue", "my.ini"));
  ASSERT_TRUE(WritePrivateProfileStringA("alpha", "Size", "9", "my.ini"));
  ASSERT_TRUE(WritePrivateProfileStringA("Gamma", "k", "v", "my.ini"));
  // New lines follow the file's own line ends; a new key goes behind the
  // section's last line that isn't blank.
  EXPECT_EQ(Get("my.ini"), "# head\r\n[Alpha]\r\ncolor=blue\r\n; note\r\n"
                           "Size=9\r\n\r\n[Beta]\r\nx=1\r\n\r\n[Gamma]\r\n"
                           "k=v\r\n");
}

TEST_F(ProfileTest, DeletingKeysAndSections) {
  Put("my.ini", "[A]\nk1=1\nk2=2\n[B]\nk3=3\n[C]\nk4=4\n");
  ASSERT_TRUE(WritePrivateProfileStringA("a", "K1", nullptr, "my.ini"));
  ASSERT_TRUE(WritePrivateProfileStringA("b", nullptr, nullptr, "my.ini"));
  EXPECT_EQ(Get("my.ini"), "[A]\nk2=2\n[C]\nk4=4\n");
  // Deleting what isn't there changes nothing and is no failure.
  ASSERT_TRUE(WritePrivateProfileStringA("A", "none", nullptr, "my.ini"));
  ASSERT_TRUE(WritePrivateProfileStringA("Z", nullptr, nullptr, "my.ini"));
  EXPECT_EQ(Get("my.ini"), "[A]\nk2=2\n[C]\nk4=4\n");
  EXPECT_FALSE(fs::exists("gone.ini") ||
               !WritePrivateProfileStringA("A", "k", nullptr, "gone.ini"));
  EXPECT_FALSE(fs::exists("gone.ini"));
}

TEST_F(ProfileTest, CreationAndStoredPaths) {
  fs::create_directories("Conf");
  // The file name is a stored path: backslashes, any letter case.
  ASSERT_TRUE(WritePrivateProfileStringA("Sec", "Key", "v1", "conf\\New.ini"));
  EXPECT_EQ(Get("Conf/New.ini"), "[Sec]\nKey=v1\n");
  EXPECT_EQ(Value("SEC", "key", "CONF\\new.INI"), "v1");
  // A value is one line: a line break ends it.
  ASSERT_TRUE(WritePrivateProfileStringA("Sec", "Font", "1,2,arial,normal,9\n",
                                         "conf\\new.ini"));
  EXPECT_EQ(Get("Conf/New.ini"), "[Sec]\nKey=v1\nFont=1,2,arial,normal,9\n");
  // No leftovers of the rewrite.
  int files = 0;
  for (auto &e : fs::directory_iterator("Conf")) {
    (void)e;
    ++files;
  }
  EXPECT_EQ(files, 1);
  // A last line without a line end gets one before new text follows.
  Put("tail.ini", "[S]\na=1");
  ASSERT_TRUE(WritePrivateProfileStringA("S", "b", "2", "tail.ini"));
  EXPECT_EQ(Get("tail.ini"), "[S]\na=1\nb=2\n");
}

TEST_F(ProfileTest, BadInputIsRefusedWithoutDamage) {
  const std::string longLine(100000, 'x');
  std::string text = "[S]\n" + longLine + "=" + longLine + "\nk=v\n[T\nm=1\n";
  text += std::string("\0\x01\xff=\n", 5);
  Put("my.ini", text);
  EXPECT_EQ(Value("S", "k"), "v");
  EXPECT_EQ(Value("T", "m"), "1"); // "[T" without "]" names a section
  char buf[16];
  EXPECT_EQ(GetPrivateProfileStringA("S", longLine.c_str(), "", buf, sizeof buf,
                                     "my.ini"),
            15u);
  // Names that cannot stand in the file are refused.
  EXPECT_FALSE(WritePrivateProfileStringA("S", "a=b", "1", "my.ini"));
  EXPECT_FALSE(WritePrivateProfileStringA("S]", "a", "1", "my.ini"));
  EXPECT_FALSE(WritePrivateProfileStringA("S", "a\nb", "1", "my.ini"));
  EXPECT_FALSE(WritePrivateProfileStringA("S", "", "1", "my.ini"));
  EXPECT_EQ(Get("my.ini"), text);
  // A rewrite keeps the long line and the garbage.
  ASSERT_TRUE(WritePrivateProfileStringA("S", "k", "w", "my.ini"));
  std::string expect = text;
  expect.replace(expect.find("\nk=v\n"), 5, "\nk=w\n");
  EXPECT_EQ(Get("my.ini"), expect);
  // A folder that doesn't exist: the write fails and leaves nothing.
  EXPECT_FALSE(WritePrivateProfileStringA("S", "k", "v", "nodir\\x.ini"));
  EXPECT_FALSE(WritePrivateProfileStringA("S", "k", "v", nullptr));
  EXPECT_EQ(GetPrivateProfileStringA("S", "k", "d", buf, sizeof buf, nullptr),
            1u);
}

TEST_F(ProfileTest, AnUnwritableFolderLeavesTheOldFile) {
  if (geteuid() == 0)
    GTEST_SKIP() << "permissions do not bind the superuser";
  fs::create_directories("ro");
  Put("ro/my.ini", "[S]\nk=old\n");
  chmod("ro", 0555);
  EXPECT_FALSE(WritePrivateProfileStringA("S", "k", "new", "ro\\my.ini"));
  chmod("ro", 0755);
  EXPECT_EQ(Get("ro/my.ini"), "[S]\nk=old\n");
}

} // namespace
