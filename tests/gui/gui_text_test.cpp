// Texts between code page 1252 and Qt's Unicode, and the mnemonic marks of
// titles as Qt shows them.
#include "gui/qt_internal.h"

#include <gtest/gtest.h>

namespace {

TEST(GuiText, EveryByteOfTheCodePageComesBackAsItWent) {
  std::string all;
  for (int b = 1; b < 256; ++b)
    all += static_cast<char>(b);
  QString shown = QtText(all);
  EXPECT_EQ(255, shown.size()) << "one character per byte";
  EXPECT_EQ(all, QtBytes(shown));
  EXPECT_EQ(QChar(0x20AC), QtText("\x80").at(0)) << "the euro sign";
  EXPECT_EQ(QChar(0x0153), QtText("\x9C").at(0));
  EXPECT_EQ(QChar(0x00E9), QtText("\xE9").at(0));
  EXPECT_EQ(QString(), QtText(static_cast<const char *>(nullptr)));
}

TEST(GuiText, WhatTheCodePageCannotHoldBecomesAQuestionMark) {
  EXPECT_EQ("caf\xE9 ?", QtBytes(QString::fromUtf8("caf\u00e9 \u0101")));
  EXPECT_EQ("\x93quoted\x94", QtBytes(QString::fromUtf8("\u201cquoted\u201d")));
  EXPECT_EQ("", QtBytes(QString()));
}

TEST(GuiText, TheMnemonicMarkTakesQtsForm) {
  struct {
    const char *title, *mnemonic, *plain;
  } cases[] = {
      {"E&xit", "E&xit", "Exit"},
      {"~Now", "&Now", "Now"},
      {"~Keep & go", "&Keep && go", "Keep & go"},
      {"Save && quit", "Save && quit", "Save & quit"},
      {"&& then &Later", "&& then &Later", "& then Later"},
      {"Go~", "Go", "Go"},
      {"Plain", "Plain", "Plain"},
      {"Fran\xE7&ais", "Fran\u00e7&ais", "Fran\u00e7ais"},
      {"", "", ""},
  };
  for (auto &c : cases) {
    EXPECT_EQ(QString::fromUtf8(c.mnemonic), QtMnemonic(c.title)) << c.title;
    EXPECT_EQ(QString::fromUtf8(c.plain), QtPlain(c.title)) << c.title;
  }
}

TEST(GuiText, PathsKeepTheirBytes) {
  const char *p = "/tmp/r\xC3\xA9pertoire/syn.dat"; // a UTF-8 file name
  EXPECT_EQ(p, QtPathBytes(QtPath(p)));
  EXPECT_EQ(QString::fromUtf8("/tmp/r\u00e9pertoire/syn.dat"), QtPath(p));
}

} // namespace
