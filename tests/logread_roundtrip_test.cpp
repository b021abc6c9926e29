// The reader of the text form against its writer: every entry that
// LogWriteEntry prints, in every language of the message table, comes back
// to the same fields. Where the form cannot carry a field, the expected
// entry below says which, and docs/logs.md why.
#include "logentry/logread.h"
#include "logtext_support.h"
#include "store/sptpath.h"

namespace {

// The levels of a path in either form, joined as the reader joins them.
std::string Levels(const std::string &path) {
  std::string out;
  size_t begin = 0;
  if (!path.empty()) {
    const char *s = path.c_str();
    const char *last = s + path.size() - 1;
    for (size_t i = 0; i < path.size(); ++i)
      if (LogIsLevelSeparator(s + i, s, last)) {
        out += path.substr(begin, i - 1 - begin) + " \x02 ";
        begin = i + 2;
        ++i;
      }
  }
  return out + path.substr(begin);
}

std::string LastLevel(const std::string &path) {
  std::string l = Levels(path);
  size_t at = l.rfind(" \x02 ");
  return at == std::string::npos ? l : l.substr(at + 3);
}

// The entry as the text form carries it.
std::vector<std::string> Carried(const SampleEntry &s) {
  std::vector<std::string> f = s.fields;
  f[1] = Levels(f[1]);
  std::string other = f[0] != "1" ? "1" : "0";
  switch (s.op) {
  case OpRenameSymptom:
    // Of the text pairs only the new texts are printed; the language is
    // the entry's, the old text the path's last level. The other
    // language's pair is printed only when its texts differ.
    f[2] = f[0];
    f[3] = LastLevel(s.fields[1]);
    f[5] = other;
    if (f[6] == f[7])
      f[6] = f[7] = "";
    break;
  case OpAddSymptomAfter:
  case OpAddSymptomBelow:
    // The languages of the new texts are not printed: the entry's and the
    // other one.
    f[2] = f[0];
    f[4] = other;
    break;
  case OpMoveSymptoms:
    // The range is printed with "-" for every separator and read back
    // with a separator for every " - ".
    for (int i : {2, 3})
      for (size_t p = 1; p + 1 < f[i].size(); ++p)
        if (f[i][p] == '-' && f[i][p - 1] == ' ' && f[i][p + 1] == ' ')
          f[i][p] = kSptSeparator;
    break;
  case OpDeleteLink:
    // Title and file of a deletion are not printed; the handler finds the
    // link without them.
    f.resize(6);
    break;
  case OpAddConcept:
  case OpDeleteConcept:
    f[2] = Levels(f[2]);
    break;
  default:
    break;
  }
  return f;
}

std::vector<std::string> Fields(const char *text) {
  std::vector<std::string> out;
  std::string t = text;
  size_t b = 0;
  for (size_t e; (e = t.find(kLogFieldSep, b)) != std::string::npos; b = e + 1)
    out.push_back(t.substr(b, e - b));
  out.push_back(t.substr(b));
  return out;
}

std::string Show(const std::vector<std::string> &f) {
  std::string s;
  for (const std::string &x : f) {
    std::string y = x;
    for (char &c : y)
      if (c == kSptSeparator)
        c = '>';
    s += "[" + y + "]";
  }
  return s;
}

// More entries than the writer's samples: texts that stress the blocks.
std::vector<SampleEntry> MoreEntries() {
  const std::string fear = "Mind \x02 fear";
  std::string appended =
      "First paragraph.\n-----------------\nSecond paragraph.";
  return {
      // A note appended to: its divider line is text, not the entry's end.
      {OpChangeNote,
       {"0", fear, "1", "0", "0", "0", "0", appended, appended + "\nmore"},
       5},
      // Blank lines inside a note, and a line end at its end.
      {OpChangeNote,
       {"1", fear, "3", "0", "0", "0", "1", "", "one\n\n\nthree\n"}},
      // A note text that starts with what looks like a label.
      {OpChangeNote,
       {"0", fear, "4", "Bry.", "Kent", "3", "0", "New text: not a label",
        "  Old text: neither"}},
      // Synonyms in words, on both sides.
      {OpChangeSynonym, {"0", fear, "0", "(= fright)", "(= terror)"}},
      {OpChangeCrossReference, {"1", fear, "1", "", "2nuit\n1Peur"}},
      // Remedies and authors with blanks and brackets inside.
      {OpAddRemedy, {"0", fear, "Nat-m.", "B\x9cn.", "3"}},
      {OpChangeDegree, {"0", fear, "Cocc.", "Hering Jr.", "1", "4"}},
      // A sibling with an apostrophe.
      {OpAddSymptomAfter,
       {"1", "Psychisme \x02 peur \x02 obscurit\xe9, de l'", "1", "mort, de la",
        "0", "death, of"}},
      // A rename to an empty text.
      {OpRenameSymptom,
       {"0", "Mind \x02 fear \x02 night", "0", "night", "", "1", "nuit",
        "la nuit"}},
      // Every kind of move, split and merge.
      {OpMoveSymptoms, {"0", "Head", fear, fear, "1"}},
      {OpMoveSymptoms, {"0", "Head", fear, fear, "3"}},
      {OpMoveSymptoms, {"0", "Head", fear, fear, "4"}},
      {OpSplitSymptom, {"0", fear, "fear", "dark, of", "2"}},
      {OpSplitSymptom, {"0", fear, "fear", "dark, of", "3"}},
      {OpMergeSymptom, {"0", fear, "Mind", "1"}},
      {OpMergeSymptom, {"0", fear, "Mind", "2"}},
      // Every kind of note on a symptom and on a remedy.
      {OpChangeNote, {"0", fear, "5", "0", "0", "0", "0", "", "x"}},
      {OpChangeNote, {"0", fear, "2", "Acon.", "Kent", "1", "0", "", "y"}},
      {OpAddLink,
       {"0", fear, "Thuj.", "Kent", "3", "3", "Thuja's twig", "thuj-twig.svg"}},
      // Negative and large ids, the user's number.
      {OpDeleteSymptom, {"0", fear}, -2000005, 255},
      {OpChangeSymptomKind, {"1", fear, "00", "20"}},
  };
}

// The writer's samples and the entries above.
std::vector<SampleEntry> AllEntries() {
  std::vector<SampleEntry> all = SampleEntries();
  for (const SampleEntry &s : MoreEntries())
    all.push_back(s);
  return all;
}

class LogReadTrip : public LogTextTest {
protected:
  // Writes the entries in the program's language, reads them back and
  // compares each with its carried form.
  void Trip(const std::vector<SampleEntry> &entries) {
    ASSERT_NO_FATAL_FAILURE(WriteSamples(entries, "trip.txt"));
    FILE *in = fopen("trip.txt", "rb");
    FILE *errors = fopen("errors.txt", "wb");
    ASSERT_NE(in, nullptr);
    static char text[kLogTextSize];
    LogEntry e;
    LogClearEntry(&e, text);
    int32_t number = 1;
    for (const SampleEntry &s : entries) {
      SCOPED_TRACE("language " + std::to_string(Language) + ", entry " +
                   std::to_string(number));
      ASSERT_EQ(LogReadTextEntry(in, errors, nullptr, &e), 1);
      ASSERT_EQ(OrvixError, 0);
      EXPECT_EQ(e.operation, s.op);
      EXPECT_EQ(e.number, number);
      EXPECT_EQ(e.date, static_cast<uint32_t>(SampleDate()));
      EXPECT_EQ(e.tag, s.tag);
      EXPECT_EQ(e.symptomId, s.symptomId);
      EXPECT_EQ(Show(Fields(e.text)), Show(Carried(s)));
      ++number;
    }
    EXPECT_EQ(LogReadTextEntry(in, errors, nullptr, &e), 1);
    EXPECT_EQ(OrvixError, kErrEnd);
    fclose(in);
    fclose(errors);
    EXPECT_EQ(Slurp("errors.txt"), "");
  }
};

TEST_F(LogReadTrip, EveryOperationInEveryLanguageOfTheTable) {
  LogTextLabelsLoad();
  ASSERT_EQ(LogTextLanguageCount(), 3);
  std::vector<SampleEntry> all = AllEntries();
  // Each entry in the other language of the repertory as well.
  size_t n = all.size();
  for (size_t i = 0; i < n; ++i) {
    SampleEntry s = all[i];
    s.fields[0] = s.fields[0] == "1" ? "0" : "1";
    all.push_back(s);
  }
  for (int i = 0; i < LogTextLanguageCount(); ++i) {
    Language = static_cast<uint8_t>(LogTextLanguageAt(i));
    Trip(all);
  }
}

TEST_F(LogReadTrip, WithTheNumbersOfASymptomTable) {
  BuildSymptoms();
  Trip(SampleEntries());
}

TEST_F(LogReadTrip, TheTextRunsToItselfAfterOneTrip) {
  // Written, read, written again: the second text is the first, letter for
  // letter, but for the time of day (the reader takes the present time).
  Language = 2;
  ASSERT_NO_FATAL_FAILURE(WriteSamples(AllEntries(), "a.txt"));
  static char buffer[kLogTextSize];
  FILE *in = fopen("a.txt", "rb");
  FILE *out = fopen("b.txt", "wb");
  LogEntry e;
  LogClearEntry(&e, buffer);
  while (LogReadTextEntry(in, nullptr, nullptr, &e) == 1 && OrvixError == 0) {
    e.time = static_cast<uint32_t>(kSampleTime);
    LogWriteEntry(out, nullptr, &e, nullptr);
  }
  fclose(in);
  fclose(out);
  std::string a = Slurp("a.txt"), b = Slurp("b.txt");
  // What the form cannot carry it does not print either: the second text
  // is the first.
  std::vector<std::string> la = TextLines(a), lb = TextLines(b);
  ASSERT_EQ(la.size(), lb.size());
  for (size_t i = 0; i < la.size(); ++i)
    EXPECT_EQ(la[i], lb[i]) << "line " << i + 1;
}

} // namespace
