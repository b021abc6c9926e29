// The compiled message table: what mkmsg writes is what OrvixMessage reads.
#include "services/msgdata.h"
#include "store/store.h"
#include "test_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;

fs::path DataDir() {
  return fs::path(MANTREL_SOURCE_DIR) / "data" / "messages";
}

class MessagesTable : public FolderTest {
protected:
  MessagesTable() : FolderTest("msgtable") {}
  void SetUp() override {
    fs::create_directories(root_ / "system");
    Enter();
  }
  static MsgDataSet Shipped() {
    MsgDataSet set;
    for (const char *f : {"en.txt", "fr.txt", "de.txt"})
      MsgDataReadFile(&set, (DataDir() / f).c_str());
    MsgDataCheck(&set);
    return set;
  }
  // Runs mkmsg; answers its exit status and leaves its output in *out.
  static int RunMkmsg(const std::string &args, std::string *out) {
    int status =
        RunCommand(BuiltProgram("mkmsg") + " " + args + " > mkmsg.out 2>&1");
    *out = SlurpFile("mkmsg.out");
    return status;
  }
};

TEST_F(MessagesTable, WrittenTextsAreReadBackInEachLanguage) {
  MsgDataSet set = Shipped();
  ASSERT_TRUE(set.Problems.empty());
  ASSERT_EQ(DbInitialize(50, 90, 4, "msgtest", "orvlock", 0), 0);
  const MsgDataEntry *failed = nullptr;
  ASSERT_EQ(MsgDataWriteTable(set, "system\\orvixmsg", &failed), 0)
      << (failed ? failed->Number : 0);
  // Stored paths find their files without regard to case.
  TblHandle table = MsgOpen("SYSTEM\\OrvixMsg", 1, 1);
  ASSERT_EQ(OrvixError, 0);
  ASSERT_NE(table, 0);
  MsgRecord rec{};
  for (int language : {1, 2, 3})
    for (int number : {2629, 2729, 3102, 3254, 5574, 3149})
      EXPECT_STREQ(OrvixMessage(table, number, language, &rec),
                   MsgDataFind(set, number, language)->Text)
          << number << " in language " << language;
  // The text lives in the shared record.
  const char *t = OrvixMessage(table, 2628, 2, &rec);
  EXPECT_EQ(t, rec.Text);
  DbCloseFile(table);
  DbTerminate("msgtest");
}

TEST_F(MessagesTable, MkmsgWritesTheShippedTextsAndRefusesBadOnes) {
  std::string out;
  std::string files = (DataDir() / "en.txt").string() + " " +
                      (DataDir() / "fr.txt").string() + " " +
                      (DataDir() / "de.txt").string();
  ASSERT_EQ(RunMkmsg("out/system/orvixmsg " + files, &out), 0) << out;
  EXPECT_THAT(out, HasSubstr("texts of language 3"));

  std::ofstream("bad.txt") << "language 2\n"
                              "2629 | Modifier %s le degr\xC3\xA9\n"
                              "2629 | Encore\n";
  EXPECT_EQ(RunMkmsg("out/system/bad " + files + " bad.txt", &out), 1);
  EXPECT_THAT(out, HasSubstr("bad.txt:2: 2629"));
  EXPECT_THAT(out, HasSubstr("bad.txt:3: 2629"));
  EXPECT_THAT(out, HasSubstr("no table written"));
  for (const auto &f : fs::directory_iterator("out/system"))
    EXPECT_NE(f.path().filename().string().rfind("bad", 0), 0u)
        << f.path() << " was written";

  EXPECT_EQ(RunMkmsg("", &out), 2);
  EXPECT_THAT(out, HasSubstr("usage"));
}

} // namespace
