// The message table: texts by number and language, and the fallback that
// keeps a missing text visible.
#include "store_fixture.h"

namespace {

TEST_F(StoreTest, MessagesByNumberAndLanguage) {
  TblHandle h = MsgCreate("orvixmsg");
  ASSERT_NE(h, 0) << OrvixError;
  struct {
    int number, language;
    const char *text;
  } rows[] = {{74, 1, "Can't open the catalogue ( H-%d )"},
              {74, 2, "Katalog nicht lesbar ( H-%d )"},
              {3003, 1, "Rebuilding %s"}};
  for (auto &row : rows) {
    MsgRecord m{};
    m.Number = static_cast<uint16_t>(row.number);
    m.Language = static_cast<uint8_t>(row.language);
    StrCopy(m.Text, row.text);
    ASSERT_EQ(MsgSave(h, &m, kSaveAdd), 0);
  }
  MsgRecord dup{};
  dup.Number = 74;
  dup.Language = 1;
  EXPECT_EQ(MsgSave(h, &dup, kSaveAdd), kErrDuplicate);
  ASSERT_EQ(DbCloseFile(h), 0);

  h = MsgOpen("orvixmsg", 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  MsgRecord buf{};
  buf.CursorState = 0xff;
  const char *t = OrvixMessage(h, 74, 2, &buf);
  EXPECT_EQ(t, buf.Text);
  EXPECT_STREQ(t, "Katalog nicht lesbar ( H-%d )");
  // The text starts five bytes into the record.
  EXPECT_EQ(reinterpret_cast<const char *>(&buf) + 5, buf.Text);
  EXPECT_STREQ(OrvixMessage(h, 3003, 1, &buf), "Rebuilding %s");
  t = OrvixMessage(h, 3003, 2, &buf);
  EXPECT_STREQ(t, "Message 3003 is missing");
  EXPECT_EQ(strchr(t, '%'), nullptr);
  EXPECT_STREQ(OrvixMessage(h, 123456, 1, &buf), "Message 123456 is missing");
  EXPECT_STREQ(OrvixMessage(0, 74, 1, &buf), "Message 74 is missing");
  EXPECT_EQ(buf.CursorState, 0xff);

  MsgRecord first{};
  ASSERT_EQ(MsgFind(h, &first, 0, kFindFirst), 0);
  EXPECT_EQ(first.Number, 74);
  EXPECT_EQ(first.Language, 1);
  ASSERT_EQ(MsgFind(h, &first, 0, kFindLast), 0);
  EXPECT_EQ(first.Number, 3003);
  ASSERT_EQ(DbCloseFile(h), 0);
  EXPECT_EQ(MsgOpen("..\\system\\orvixmsg", 1, 1), 0);
  EXPECT_NE(OrvixError, 0);
}

} // namespace
