// What the tests of the log's text form and of the listings share: a scratch
// folder as the current folder with the store started, a message table
// built from the team's message files, a small symptom tree, entries of all
// eighteen operations, and file helpers.
#pragma once

#include "logentry/logentry.h"
#include "logentry/logtext.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/msgdata.h"
#include "store/store.h"
#include "store/strdate.h"
#include "store_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

// What the tests check texts with.
using ::testing::HasSubstr;
using ::testing::Not;

// One log entry as the tests write it: text fields joined by 0x01 at use.
struct SampleEntry {
  int op;
  std::vector<std::string> fields;
  int32_t symptomId = 0;
  uint8_t tag = 0;
};

// Entries of every operation, in an order that groups variants of one
// operation together. Texts are code page 1252.
inline std::vector<SampleEntry> SampleEntries() {
  const std::string fear = "Mind \x02 fear";
  const std::string night = "Mind \x02 fear \x02 night";
  return {
      {OpChangeDegree, {"0", fear, "Acon.", "Kent", "2", "3"}, 101},
      {OpDeleteRemedy, {"0", night, "Bell.", "Boer", "1"}, 0, 7},
      {OpAddRemedy,
       {"1", "Mind - fear 3 - 5 h - night", "Sulph.", "Hering", "4"}},
      {OpAddRemedy, {"0", fear, "Phos.", "Kent", "2"}, 102, 99},
      {OpAddRemedy, {"0", fear, "Nux-v.", "Kent", "1"}, 1000000},
      {OpChangeNote,
       {"0", fear, "2", "0", "0", "0", "0", "", "A remark\nover two lines"},
       101,
       3},
      {OpChangeNote,
       {"0", "Head \x02 pain", "1", "Acon.", "Kent", "3", "1", "old note",
        "new note"},
       0,
       3},
      {OpChangeCrossReference,
       {"0", "Head \x02 pain", "0", "1Mind - fear\n2Head",
        "1Mind - fear\n2Head\n3Mind - fear - night"}},
      {OpChangeSynonym, {"0", fear, "1", "(= x)", "(= fright)"}},
      {OpChangeSynonym, {"0", fear, "0", "", "1Mind"}},
      {OpRenameSymptom,
       {"0", night, "0", "night", "nights", "1", "nuit", "nuits"},
       102},
      {OpRenameSymptom,
       {"0", night, "0", "night", "at night", "1", "", ""},
       102},
      {OpAddSymptomAfter, {"0", fear, "0", "anger", "1", "col\xe8re"}},
      {OpAddSymptomBelow, {"0", fear, "0", "dreams", "1", ""}},
      {OpDeleteSymptom, {"0", "Head \x02 pain"}},
      {OpMoveSymptoms, {"0", "Head", night, "Mind \x02 fear 3 - 5 h", "2"}},
      {OpSplitSymptom, {"0", "Head \x02 pain", "pain, head", "morning", "1"}},
      {OpMergeSymptom, {"0", "Head \x02 pain", "Head", "3"}},
      {OpAddLink,
       {"0", fear, "Acon.", "Kent", "2", "3", "Portrait", "media\\acon.jpg"}},
      {OpAddLink,
       {"0", fear, "0", "0", "0", "1", "Interview", "fear.avi"},
       101},
      {OpDeleteLink, {"0", fear, "0", "0", "0", "2", "Voice", "fear.wav"}},
      {OpAddConcept, {"0", fear, "Fear \x02 of death"}, 101},
      {OpDeleteConcept, {"1", fear, "Fear - of the dark"}},
      {OpChangeSymptomKind, {"0", fear, "01", "03"}},
  };
}

// 15 March 2024, 14:05:09.
inline long SampleDate() {
  long d = 0;
  DateYMDToLong(2024, 3, 15, &d);
  return d;
}
inline constexpr long kSampleTime = 14 * 3600 + 5 * 60 + 9;

// Fills a LogEntry (with its own buffer) from a sample.
inline void FillEntry(LogEntry *e, char *buffer, const SampleEntry &s,
                      int32_t number) {
  LogClearEntry(e, buffer);
  std::string text;
  for (size_t i = 0; i < s.fields.size(); ++i) {
    if (i > 0)
      text += kLogFieldSep;
    text += s.fields[i];
  }
  StrCopy(buffer, kLogTextSize, text.c_str());
  e->number = number;
  e->operation = static_cast<uint16_t>(s.op);
  e->date = static_cast<uint32_t>(SampleDate());
  e->time = static_cast<uint32_t>(kSampleTime);
  e->symptomId = s.symptomId;
  e->tag = s.tag;
}

// Writes the entries, numbered from 1, to the file `path` and their
// addition rows to `path2` when it is given.
inline void WriteSamples(const std::vector<SampleEntry> &entries,
                         const char *path, const char *path2 = nullptr) {
  FILE *out = fopen(path, "wb");
  FILE *out2 = path2 != nullptr ? fopen(path2, "wb") : nullptr;
  ASSERT_NE(out, nullptr);
  static char buffer[kLogTextSize];
  int32_t number = 1;
  for (const SampleEntry &s : entries) {
    LogEntry e;
    FillEntry(&e, buffer, s, number++);
    EXPECT_EQ(LogWriteEntry(out, out2, &e, nullptr), 0);
  }
  fclose(out);
  if (out2 != nullptr)
    fclose(out2);
}

class LogTextTest : public StoreTest {
protected:
  LogTextTest() : StoreTest("logtext") {}
  void SetUp() override {
    StoreTest::SetUp();
    BuildMessages();
    Language = 1;
    StrCopy(DateFormat, "dd.mm.yyyy");
    LogTextSymptomTable = 0;
  }
  void TearDown() override {
    if (LogTextSymptomTable != 0)
      DbCloseFile(LogTextSymptomTable);
    LogTextSymptomTable = 0;
    if (MsgTable != 0)
      DbCloseFile(MsgTable);
    MsgTable = 0;
    StoreTest::TearDown();
  }

  // The message table "msg" from the English, French and German files.
  void BuildMessages() {
    MsgDataSet set;
    for (const char *lang : {"en", "fr", "de"}) {
      std::string path =
          std::string(MANTREL_SOURCE_DIR) + "/data/messages/" + lang + ".txt";
      ASSERT_EQ(MsgDataReadFile(&set, path.c_str()), 0) << path;
    }
    MsgTable = MsgCreate("msg");
    ASSERT_NE(MsgTable, 0) << OrvixError;
    for (const MsgDataEntry &m : set.Entries) {
      MsgRecord rec;
      memset(&rec, 0, sizeof rec);
      rec.CursorState = 0xff;
      rec.Number = m.Number;
      rec.Language = m.Language;
      StrCopy(rec.Text, m.Text);
      ASSERT_EQ(MsgSave(MsgTable, &rec, kSaveAdd), 0) << m.Number;
    }
  }

  // Replaces one text of the table, to see how the writer copes with it.
  void SetMessage(int number, int language, const char *text) {
    MsgRecord rec;
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.Number = static_cast<uint16_t>(number);
    rec.Language = static_cast<uint8_t>(language);
    ASSERT_EQ(MsgFind(MsgTable, &rec, 0, kFindEqual), 0);
    StrCopy(rec.Text, text);
    ASSERT_EQ(MsgSave(MsgTable, &rec, kSaveReplace), 0);
  }

  // The symptom table "sym", in book order:
  //   1.0 Mind (100)   1.1 fear (101)   1.2 night (102)   1.3 dreams (103)
  //   2.0 fear 3 - 5 h (110)   2.1 night (111)   3.0 anger (120)
  //   5.0 Head (200)   5.1 pain (201)
  // and it becomes the writer's table.
  void BuildSymptoms() {
    TblHandle h = TblCreateSymptom("sym", 1, 1);
    ASSERT_NE(h, 0) << OrvixError;
    struct Row {
      uint32_t num;
      uint16_t sub;
      uint32_t pnum;
      uint16_t psub;
      const char *text;
      int32_t id;
    };
    const Row rows[] = {
        {1, 0, 0, 0, "Mind", 100},         {1, 1, 1, 0, "fear", 101},
        {1, 2, 1, 1, "night", 102},        {1, 3, 1, 1, "dreams", 103},
        {2, 0, 1, 0, "fear 3 - 5 h", 110}, {2, 1, 2, 0, "night", 111},
        {3, 0, 1, 0, "anger", 120},        {5, 0, 0, 0, "Head", 200},
        {5, 1, 5, 0, "pain", 201},
    };
    for (const Row &r : rows) {
      Symptom s = MakeSymptom(r.num, r.sub, r.pnum, r.psub, r.text, r.id);
      ASSERT_EQ(TblSaveSymptom(h, &s, kSaveAdd), 0) << r.text;
      TblFreeSymptomRemed(&s);
    }
    LogTextSymptomTable = h;
  }
};

// Compares bytes with a reviewed file of tests/golden/. With the
// environment variable MANTREL_UPDATE_GOLDEN set, writes the file instead
// (for a deliberate change, to be read and reviewed before it is kept).
inline void ExpectGolden(const std::string &actual, const std::string &name) {
  std::string path = std::string(MANTREL_SOURCE_DIR) + "/tests/golden/" + name;
  if (getenv("MANTREL_UPDATE_GOLDEN") != nullptr) {
    WriteFile(path, actual);
    return;
  }
  ASSERT_TRUE(fs::exists(path)) << "missing golden file " << path;
  std::string expected = SlurpFile(path);
  if (expected == actual)
    return;
  // Point at the first line that differs.
  size_t line = 1, i = 0;
  while (i < expected.size() && i < actual.size() && expected[i] == actual[i]) {
    if (expected[i] == '\n')
      ++line;
    ++i;
  }
  auto lineAt = [](const std::string &s, size_t at) {
    size_t b = s.rfind('\n', at == 0 ? 0 : at - 1);
    b = b == std::string::npos ? 0 : b + 1;
    size_t e = s.find('\n', at);
    return s.substr(b, e == std::string::npos ? std::string::npos : e - b);
  };
  ADD_FAILURE() << name << " differs at line " << line
                << "\n  expected: " << lineAt(expected, i)
                << "\n  actual:   " << lineAt(actual, i);
}
