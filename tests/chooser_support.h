// A scratch installation for the chooser, path and menu tests: bin as the
// current folder, the configuration's defaults, the store started, the real
// message table, a catalogue built through the store, and the scripted
// toolkit.
#pragma once

#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "services/config.h"
#include "services/ini.h"
#include "services/messages.h"
#include "shell/app.h"
#include "shell/chooser.h"
#include "shell/menu.h"
#include "store/store.h"
#include "test_toolkit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

// The message table, compiled once for all tests of the process.
inline const std::string &SharedMessageTable() {
  static ScratchFolder folder("msgs");
  static std::string table;
  if (table.empty() && BuildMessageTable(folder.path() / "orvixmsg") == 0)
    table = (folder.path() / "orvixmsg").string();
  return table;
}

// A blank catalogue entry of a kind, id and abbreviation.
inline Catalog BlankCatalogEntry(int kind, uint16_t id, const char *abbrev) {
  Catalog c;
  memset(&c, 0, sizeof c);
  c.CursorState = 0xFF;
  c.Kind = static_cast<uint8_t>(kind);
  c.Id = id;
  StrCopy(c.Abbrev, abbrev);
  return c;
}

// One catalogue entry of a repertory: its seven paths lie in
// ..\data\<folder>.
inline Catalog MakeRepertory(uint16_t id, const char *abbrev, const char *title,
                             const char *folder = nullptr) {
  Catalog c = BlankCatalogEntry(1, id, abbrev);
  StrCopy(c.RepertoryBlock.Title, title);
  const char *names[kCatPathCount] = {"symptom", "chapter", "extract", "word1",
                                      "word2",   "view",    ""};
  for (int i = 0; i < kCatPathCount; ++i)
    StrFormat(c.RepertoryBlock.Paths[i], "..\\data\\%s\\%s",
              folder ? folder : abbrev, names[i]);
  return c;
}

inline Catalog MakeKeynotes(uint16_t id, const char *abbrev,
                            const char *title) {
  Catalog c = BlankCatalogEntry(2, id, abbrev);
  StrCopy(c.KeynoteBlock.Title, title);
  StrFormat(c.KeynoteBlock.Folder, "..\\data\\keynotes\\%s", abbrev);
  return c;
}

// Adds entries to the catalogue at `path`, creating it on first use.
inline void AddCatalogEntries(const char *path,
                              std::initializer_list<Catalog> entries) {
  TblHandle h = TblOpenCatalog(path, 1, 1);
  if (OrvixError == kErrNoFile)
    h = TblCreateCatalog(path, 1, 1);
  ASSERT_EQ(OrvixError, 0);
  for (Catalog c : entries)
    ASSERT_EQ(TblSaveCatalog(h, &c, kSaveAdd), 0) << c.Id;
  DbCloseFile(h);
}

// The entry of the catalogue at `path` as stored now.
inline Catalog StoredCatalogEntry(const char *path, int kind, uint16_t id) {
  Catalog c = BlankCatalogEntry(kind, id, "");
  TblHandle h = TblOpenCatalog(path, 1, 1);
  EXPECT_EQ(OrvixError, 0);
  EXPECT_EQ(TblFindFullCatalog(h, &c, 0, kFindEqual), 0) << id;
  DbCloseFile(h);
  return c;
}

// The text form of a real folder: backslashes, as the toolkit gives it.
inline std::string TextForm(const fs::path &p) {
  return Backslashed(fs::canonical(p).string());
}

class InstallTest : public FolderTest {
protected:
  InstallTest() : FolderTest("install") {}
  void SetUp() override {
    for (const char *d : {"system", "log", "data"})
      fs::create_directories(root_ / d);
    Enter("bin");
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    IniSetPath("orvix.ini");
    for (int s = 1; s <= kIniSectionCount; ++s)
      IniSetDefaults(s);
    const std::string &msgs = SharedMessageTable();
    ASSERT_FALSE(msgs.empty()) << "the message table could not be built";
    MsgTable = MsgOpen(msgs.c_str(), 1, 1);
    ASSERT_EQ(OrvixError, 0);
    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
    CatalogHandle = 0;
    TransferDialog = NULL_WIN;
    LogPath[0] = '\0';
    StartToolkit();
    RepRegisterResources();
  }
  void TearDown() override {
    StopToolkit();
    if (CatalogHandle != 0)
      DbCloseFile(CatalogHandle);
    CatalogHandle = 0;
    DbCloseFile(MsgTable);
    MsgTable = 0;
    DbTerminate("A-Mantrel");
  }

  // The lines become the script of the next backend start.
  void Script(const std::string &text) {
    ScriptToolkit(root_ / "script.txt", text);
  }

  void AddEntries(std::initializer_list<Catalog> entries) {
    AddCatalogEntries(CatalogCatalogName, entries);
  }
  Catalog Stored(int kind, uint16_t id) {
    return StoredCatalogEntry(CatalogCatalogName, kind, id);
  }
};

// Sends a menu command as the task window's command event would.
inline void MenuCommand(int tag) {
  EVENT ev;
  memset(&ev, 0, sizeof ev);
  ev.type = E_COMMAND;
  ev.v.cmd.tag = tag;
  AppMenuCommand(TASK_WIN, &ev);
}

// The rows of a list control.
inline std::vector<std::string> RowsOf(WINDOW win, int id) {
  XvtCtl *c = XvtFindCtlById(win, id);
  return c != nullptr ? c->rows : std::vector<std::string>();
}
