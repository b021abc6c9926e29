// The text form of log entries: every operation in English and French, with
// and without a symptom table, against reviewed files; and the details that
// the reader of the form depends on.
#include "logtext_support.h"

namespace {

// Every sample in English and French, without a symptom table and with
// one; the addition rows in English.
TEST_F(LogTextTest, EveryOperationAgainstTheReviewedFiles) {
  const struct {
    int language;
    bool withTable;
    const char *golden, *golden2;
  } cases[] = {
      {1, false, "logtext_en_notable.txt", "logtext_en_notable_2.txt"},
      {2, false, "logtext_fr_notable.txt", nullptr},
      {1, true, "logtext_en_table.txt", "logtext_en_table_2.txt"},
      {2, true, "logtext_fr_table.txt", nullptr},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.golden);
    Language = static_cast<uint8_t>(c.language);
    if (c.withTable && LogTextSymptomTable == 0)
      BuildSymptoms();
    WriteSamples(SampleEntries(), "out.txt", "out_2.txt");
    ExpectGolden(Slurp("out.txt"), c.golden);
    if (c.golden2 != nullptr)
      ExpectGolden(Slurp("out_2.txt"), c.golden2);
  }
}

// One entry written alone; answers the text.
std::string WriteOne(const SampleEntry &s, int32_t number = 1) {
  static char buffer[kLogTextSize];
  LogEntry e;
  FillEntry(&e, buffer, s, number);
  FILE *out = fopen("one.txt", "wb");
  EXPECT_NE(out, nullptr);
  LogWriteEntry(out, nullptr, &e, nullptr);
  fclose(out);
  return SlurpFile("one.txt");
}

// A note of the type on fear: on the symptom, or on Acon. 2 by Kent.
std::string NoteOnFear(const char *type, bool onRemedy, const char *old = "",
                       const char *now = "x") {
  return WriteOne({OpChangeNote,
                   {"0", "Mind \x02 fear", type, onRemedy ? "Acon." : "0",
                    onRemedy ? "Kent" : "0", onRemedy ? "2" : "0",
                    *old ? "1" : "0", old, now}});
}

std::string FirstLine(const std::string &s) {
  return s.substr(0, s.find('\n'));
}

TEST_F(LogTextTest, SynonymHeadingDependsOnTheNewText) {
  const std::string fear = "Mind \x02 fear";
  std::string refs = WriteOne({OpChangeSynonym, {"0", fear, "0", "", "1Mind"}});
  EXPECT_EQ(FirstLine(refs), "Change synonym references (0/0)   Lg. 0");
  std::string plain =
      WriteOne({OpChangeSynonym, {"0", fear, "0", "", "(= x)"}});
  EXPECT_EQ(FirstLine(plain), "Change synonym (0/0)   Lg. 0");
  // A zero is no reference level.
  std::string zero = WriteOne({OpChangeSynonym, {"0", fear, "0", "", "0Mind"}});
  EXPECT_EQ(FirstLine(zero), "Change synonym (0/0)   Lg. 0");
}

TEST_F(LogTextTest, NoteHeadingHasAColonOnlyForARemedy) {
  std::string onSymptom = NoteOnFear("1", false);
  EXPECT_EQ(FirstLine(onSymptom), "Change note - Symptom note   Lg. 0");
  std::string onRemedy = NoteOnFear("5", true);
  EXPECT_EQ(FirstLine(onRemedy),
            "Change note: Acon.  2 [Kent] (0/0) - Remedy modality   Lg. 0");
  // The heading has no line end of its own: the path follows at once.
  EXPECT_EQ(TextLines(onRemedy)[1], "Mind");
  // No old text: no label line for it; the new one always has its label.
  EXPECT_THAT(onSymptom, Not(HasSubstr("Old text")));
  EXPECT_THAT(onSymptom, HasSubstr("\n  New text: 0\nx\n"));
  EXPECT_THAT(NoteOnFear("1", false, "was", "is"),
              HasSubstr("\n  Old text: 1\nwas\n\n  New text: 1\nis\n"));
}

TEST_F(LogTextTest, ANoteTypeOutsideItsRangeIsAPlainNote) {
  // Type 6 of a symptom's note would otherwise take a remedy's kind (2615),
  // type 6 of a remedy's note the name of an operation.
  for (const char *type : {"0", "6", "9", "x"}) {
    EXPECT_EQ(FirstLine(NoteOnFear(type, false)), "Change note - Note   Lg. 0")
        << type;
    EXPECT_EQ(FirstLine(NoteOnFear(type, true)),
              "Change note: Acon.  2 [Kent] (0/0) - Note   Lg. 0")
        << type;
  }
  // The ends of the range keep their kinds.
  EXPECT_EQ(FirstLine(NoteOnFear("1", true)),
            "Change note: Acon.  2 [Kent] (0/0) - Remedy note   Lg. 0");
  EXPECT_EQ(FirstLine(NoteOnFear("5", false)),
            "Change note - Remedy remark   Lg. 0");
}

TEST_F(LogTextTest, AddAfterQuotesTheSiblingAndLeavesItOutOfThePath) {
  std::string t =
      WriteOne({OpAddSymptomAfter,
                {"0", "Mind \x02 fear 3 - 5 h", "0", "anger", "1", ""}});
  std::vector<std::string> l = TextLines(t);
  EXPECT_EQ(l[0], "Add symptom after 'fear 3 - 5 h' (0/0)   Lg. 0");
  EXPECT_EQ(l[1], "");
  EXPECT_EQ(l[2], "Mind");
  EXPECT_EQ(l[3], "");
  EXPECT_EQ(l[4], "anger");
  EXPECT_EQ(l[5], ""); // field 5 empty: no second text line
}

TEST_F(LogTextTest, FooterAndDashLine) {
  std::string t =
      WriteOne({OpDeleteSymptom, {"0", "Head \x02 pain"}, 1000000, 42}, 123456);
  std::vector<std::string> l = TextLines(t);
  ASSERT_GE(l.size(), 3u);
  EXPECT_EQ(l[l.size() - 2], "Log entry number: 123456   Date: 15.03.2024   "
                             "Time: 14:05:09   User: 42   Id: 1000000");
  EXPECT_EQ(l.back(), std::string(105, '-'));
  EXPECT_EQ(t.back(), '\n');
  // Another date format reaches the footer.
  StrCopy(DateFormat, "yyyy-mm-dd");
  t = WriteOne({OpDeleteSymptom, {"0", "Head"}, -5, 0});
  EXPECT_THAT(
      t, HasSubstr("Date: 2024-03-15   Time: 14:05:09   User: 0   Id: -5\n"));
}

TEST_F(LogTextTest, NoDateGivesAnEmptyDateField) {
  static char buffer[kLogTextSize];
  LogEntry e;
  FillEntry(&e, buffer, {OpDeleteSymptom, {"0", "Head"}}, 9);
  e.date = 0;
  e.time = 999999; // no time of day
  FILE *out = fopen("one.txt", "wb");
  LogWriteEntry(out, nullptr, &e, nullptr);
  fclose(out);
  EXPECT_THAT(Slurp("one.txt"),
              HasSubstr("Log entry number: 9   Date:    Time:    "
                        "User: 0   Id: 0\n"));
}

TEST_F(LogTextTest, TextStaysSplitUnlessOffsetsAreGiven) {
  static char buffer[kLogTextSize];
  LogEntry e;
  FillEntry(&e, buffer, {OpAddRemedy, {"0", "Mind", "Acon.", "Kent", "2"}}, 1);
  size_t len = strlen(buffer);
  FILE *out = fopen("one.txt", "wb");
  LogWriteEntry(out, nullptr, &e, nullptr);
  // Split in place: the first separator is now a terminator.
  EXPECT_EQ(strlen(buffer), 1u);
  LogJoinFields(buffer, len);
  EXPECT_EQ(std::string(buffer), std::string("0\x01Mind\x01"
                                             "Acon.\x01Kent\x01"
                                             "2"));
  // With the caller's offsets (the listing's splitter) the same form comes
  // out.
  FieldOffsets off;
  LogSplitAllFields(buffer, off);
  LogWriteEntry(out, nullptr, &e, off);
  fclose(out);
  std::string both = Slurp("one.txt");
  ASSERT_EQ(both.size() % 2, 0u);
  EXPECT_EQ(both.substr(0, both.size() / 2), both.substr(both.size() / 2));
}

TEST_F(LogTextTest, MissingFieldsPrintAsEmptyNotAsTheLanguage) {
  // An OpAddSymptomBelow entry cut short after its new text.
  std::string t = WriteOne({OpAddSymptomBelow, {"1", "Mind", "1", "dreams"}});
  std::vector<std::string> l = TextLines(t);
  EXPECT_EQ(l[0], "Add sub-symptom (0/0)   Lg. 1");
  EXPECT_EQ(l[2], "Mind");
  EXPECT_EQ(l[4], "dreams");
  EXPECT_EQ(l[5], "");
  EXPECT_EQ(l[6].substr(0, 17), "Log entry number:");
  // A remedy entry with no fields behind the path.
  t = WriteOne({OpChangeDegree, {"0", "Mind"}});
  EXPECT_EQ(FirstLine(t), "Change degree:    [] instead of    [] (0/0) Lg. 0");
}

TEST_F(LogTextTest, AFormatLabelWithWrongConversionsIsNotUsed) {
  // A damaged table whose footer would read a string where a long is given.
  SetMessage(2729, 1, "Entry %s of %s");
  SetMessage(3423, 1, "Link %d");
  std::string t =
      WriteOne({OpAddLink, {"0", "Mind", "0", "0", "0", "3", "T", "f.jpg"}}, 7);
  EXPECT_THAT(t, HasSubstr("\nLink type: 3   Title: 'T'   File: 'f.jpg'\n"));
  EXPECT_THAT(t, HasSubstr("\nLog entry number: 7   Date: 15.03.2024   Time: "
                           "14:05:09   User: 0   Id: 0\n"));
}

TEST_F(LogTextTest, NumbersComeFromTheSymptomTable) {
  BuildSymptoms();
  const std::string night = "Mind \x02 fear \x02 night";
  EXPECT_EQ(FirstLine(WriteOne({OpDeleteRemedy, {"0", night, "A", "K", "1"}})),
            "Delete remedy: A  1 [K] (1/2)  Lg. 0");
  // The older separator, and a range that is no separator.
  EXPECT_EQ(FirstLine(WriteOne(
                {OpDeleteRemedy,
                 {"0", "Mind - fear 3 - 5 h - night", "A", "K", "1"}})),
            "Delete remedy: A  1 [K] (2/1)  Lg. 0");
  // An added symptom is looked up by the path it got.
  EXPECT_EQ(
      FirstLine(WriteOne(
          {OpAddSymptomAfter, {"0", "Mind \x02 fear", "0", "anger", "1", ""}})),
      "Add symptom after 'fear' (3/0)   Lg. 0");
  EXPECT_EQ(
      FirstLine(WriteOne({OpAddSymptomBelow,
                          {"0", "Mind \x02 fear", "0", "dreams", "1", ""}})),
      "Add sub-symptom (1/3)   Lg. 0");
  // Not found: 0/0.
  EXPECT_EQ(FirstLine(WriteOne(
                {OpDeleteRemedy, {"0", "Mind \x02 courage", "A", "K", "1"}})),
            "Delete remedy: A  1 [K] (0/0)  Lg. 0");
}

TEST_F(LogTextTest, AdditionRowsOfTheCompleteListing) {
  BuildSymptoms();
  static char buffer[kLogTextSize];
  FILE *out = fopen("a.txt", "wb");
  FILE *out2 = fopen("a_2.txt", "wb");
  LogEntry e;
  // By unique id: the id wins over the path.
  FillEntry(&e, buffer, {OpAddRemedy, {"0", "Head", "Phos.", "Kent", "2"}, 201},
            1);
  LogWriteEntry(out, out2, &e, nullptr);
  // Id unknown in the table: the numbers of the path stand.
  FillEntry(&e, buffer,
            {OpAddRemedy, {"0", "Mind \x02 fear", "Sep.", "Kent", "1"}, 555},
            2);
  LogWriteEntry(out, out2, &e, nullptr);
  // 1000000 is no id either.
  FillEntry(&e, buffer,
            {OpAddRemedy, {"0", "Mind", "Nux-v.", "Boer", "3"}, 1000000}, 3);
  LogWriteEntry(out, out2, &e, nullptr);
  // Other operations add no row.
  FillEntry(&e, buffer,
            {OpDeleteRemedy, {"0", "Mind", "Nux-v.", "Boer", "3"}, 100}, 4);
  LogWriteEntry(out, out2, &e, nullptr);
  fclose(out);
  fclose(out2);
  EXPECT_EQ(Slurp("a_2.txt"), "201|5|1|Head - pain|Phos.|Kent|2\n"
                              "555|1|1|Mind - fear|Sep.|Kent|1\n"
                              "1000000|1|0|Mind|Nux-v.|Boer|3\n");
}

TEST_F(LogTextTest, NullFileWritesNothingAndKeepsTheText) {
  static char buffer[kLogTextSize];
  LogEntry e;
  FillEntry(&e, buffer, {OpDeleteSymptom, {"0", "Head"}}, 1);
  OrvixError = 14;
  EXPECT_EQ(LogWriteEntry(nullptr, nullptr, &e, nullptr), 0);
  EXPECT_EQ(LogWriteSavedError, 14);
  EXPECT_EQ(std::string(buffer), std::string("0\x01Head"));
  e.text = nullptr;
  FILE *out = fopen("one.txt", "wb");
  EXPECT_EQ(LogWriteEntry(out, nullptr, &e, nullptr), 0);
  fclose(out);
  EXPECT_EQ(Slurp("one.txt"), "");
}

} // namespace
