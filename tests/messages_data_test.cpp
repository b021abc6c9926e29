// The shipped message texts and the checks that guard them.
#include "services/msgdata.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const char *const kFiles[] = {"en.txt", "fr.txt", "de.txt"};

fs::path DataDir() {
  return fs::path(MANTREL_SOURCE_DIR) / "data" / "messages";
}

std::string Joined(const std::vector<std::string> &lines) {
  std::string all;
  for (const std::string &l : lines)
    all += l + "\n";
  return all;
}

// The shipped files, with some lines replaced: `changes` maps a file name
// to "NUMBER | ..." lines that replace the line of that number, or are
// added when the file has none.
MsgDataSet
Load(const std::map<std::string, std::vector<std::string>> &changes = {}) {
  MsgDataSet set;
  for (const char *name : kFiles) {
    std::string content = SlurpFile(DataDir() / name);
    auto it = changes.find(name);
    if (it != changes.end())
      for (const std::string &line : it->second) {
        // Built by appending: "\n" + text trips GCC 12's -Werror=restrict
        // at -O3.
        std::string head(1, '\n');
        head += line.substr(0, line.find(' '));
        head += " |";
        size_t at = content.find(head);
        if (at == std::string::npos) {
          content += line + "\n";
          continue;
        }
        size_t end = content.find('\n', at + 1);
        content.replace(at + 1, end - at - 1, line);
      }
    MsgDataReadText(&set, name, content.c_str());
  }
  MsgDataCheck(&set);
  return set;
}

// True when some problem holds every one of the pieces.
bool Told(const MsgDataSet &set, const std::vector<const char *> &pieces) {
  for (const std::string &p : set.Problems) {
    bool all = true;
    for (const char *piece : pieces)
      all = all && p.find(piece) != std::string::npos;
    if (all)
      return true;
  }
  return false;
}

TEST(MessagesData, ShippedFilesParseAndPassEveryCheck) {
  MsgDataSet set = Load();
  EXPECT_TRUE(set.Problems.empty()) << Joined(set.Problems);
  std::set<int> languages;
  for (const MsgDataEntry &e : set.Entries)
    languages.insert(e.Language);
  EXPECT_EQ(languages, (std::set<int>{1, 2, 3}));
  // Every text of another language stands on an English one and passes
  // the same arguments.
  for (const MsgDataEntry &e : set.Entries) {
    if (e.Language == 1)
      continue;
    const MsgDataEntry *english = MsgDataFind(set, e.Number, 1);
    ASSERT_NE(english, nullptr) << e.Number;
    EXPECT_STREQ(english->Signature, e.Signature) << e.Number;
  }
  // Stored in code page 1252, one byte a letter.
  const MsgDataEntry *fr = MsgDataFind(set, 2629, 2);
  ASSERT_NE(fr, nullptr);
  EXPECT_STREQ(fr->Text, "Modifier le degr\xE9");
  const MsgDataEntry *target = MsgDataFind(set, 3254, 1);
  ASSERT_NE(target, nullptr);
  EXPECT_EQ(target->Text[strlen(target->Text) - 1], '\n');
  const MsgDataEntry *label = MsgDataFind(set, 2730, 1);
  ASSERT_NE(label, nullptr);
  EXPECT_STREQ(label->Text, "Operation: ");
}

// What a log written in one language needs to be read back in another,
// and the texts of the menu and of every dialog.
TEST(MessagesData, LanguagesTwoAndThreeHoldTheTextFormMenusAndDialogs) {
  std::vector<int> required;
  auto range = [&](int a, int b) {
    for (int n = a; n <= b; n++)
      required.push_back(n);
  };
  range(2609, 2617);
  range(2628, 2647);
  required.insert(required.end(), {2729, 3102, 3114, 3115, 3116, 3118, 3119,
                                   3120, 3423, 5511, 5512});
  range(3208, 3214);
  range(3223, 3227);
  range(3253, 3255);
  // Menu bar and items.
  required.insert(required.end(),
                  {3124, 3127, 5526, 5525, 3128, 3148, 3149, 3153, 5341, 5536,
                   5098, 5099, 7003, 3125, 6734, 3138, 3139, 3140, 3141, 3142,
                   3143, 3144, 3426, 4173, 3145, 3146, 5168, 5169, 3147, 3126,
                   3131, 3132, 3133, 3196, 5633, 5634, 5635});
  // Dialogs 101, 102, 106, 109, 110, 111, 112, 113 and 213.
  required.insert(required.end(),
                  {837,  838,  841,  3103, 3112, 3107, 3108, 3109, 3190, 3110,
                   3111, 3300, 3315, 3301, 3304, 5574, 5575, 5576, 5577, 5578,
                   7002, 5579, 5580, 3308, 7144, 7460, 7057, 7182, 3104, 3105});
  range(5614, 5631);
  range(5636, 5648);
  range(6734, 6754);
  range(6756, 6760);
  MsgDataSet set = Load();
  for (int language : {1, 2, 3})
    for (int n : required)
      EXPECT_NE(MsgDataFind(set, n, language), nullptr)
          << "message " << n << ", language " << language;
}

// Within one menu no two items may share a mnemonic, in any language.
TEST(MessagesData, MenuMnemonicsAreUniqueWithinEachMenu) {
  const std::vector<std::vector<int>> menus = {
      {3124, 3148, 3125, 3126, 5633},
      {3127, 5526, 5525, 3128},
      {3149, 3153, 5341, 5536, 5098, 5099, 7003},
      {6734, 3138, 3139, 3140, 3141, 3142, 3143, 3144, 3426, 4173, 3145, 3146,
       5168, 5169, 3147},
      {3131, 3132, 3133, 3196},
      {5634, 5635}};
  MsgDataSet set = Load();
  for (int language : {1, 2, 3})
    for (const auto &menu : menus) {
      std::map<char, int> taken;
      for (int n : menu) {
        const MsgDataEntry *e = MsgDataFind(set, n, language);
        ASSERT_NE(e, nullptr) << n;
        const char *amp = strchr(e->Text, '&');
        if (!amp || !amp[1])
          continue;
        char c = static_cast<char>(tolower(static_cast<unsigned char>(amp[1])));
        EXPECT_EQ(taken.count(c), 0u)
            << "language " << language << ": " << n << " and " << taken[c]
            << " share '" << c << "'";
        taken[c] = n;
      }
    }
}

TEST(MessagesData, ConversionsAreNormalisedAndOddOnesRefused) {
  char sig[kMsgSignatureMax];
  EXPECT_EQ(
      MsgDataConversions("%-20.20s|%6ld: 100%% %c%lu %5.2f", sig, sizeof sig),
      0);
  EXPECT_STREQ(sig, "%s %ld %c %lu %f");
  EXPECT_EQ(MsgDataConversions("no conversion", sig, sizeof sig), 0);
  EXPECT_STREQ(sig, "");
  for (const char *bad : {"%n", "%*d", "%.*s", "%1$s", "50%", "%q", "%l"})
    EXPECT_EQ(MsgDataConversions(bad, sig, sizeof sig), 1) << bad;
  char tiny[5];
  EXPECT_EQ(MsgDataConversions("%s %s", tiny, sizeof tiny), 1);
}

TEST(MessagesData, Utf8BecomesCodePage1252OrIsRefused) {
  char out[16];
  EXPECT_EQ(MsgDataUtf8ToCp1252("\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xC5\x93", out,
                                sizeof out),
            0);
  EXPECT_STREQ(out, "\xE9t\xE9 \x80 \x9C");
  // Overlong, lone continuation, surrogate, cut-off sequence.
  for (const char *bad :
       {"\xC0\xAF", "a\x80", "\xED\xA0\x80", "\xE2\x82", "\xF5\x80\x80\x80"})
    EXPECT_EQ(MsgDataUtf8ToCp1252(bad, out, sizeof out), 1) << bad;
  // A letter the code page lacks (Polish l with stroke), a C1 control.
  EXPECT_EQ(MsgDataUtf8ToCp1252("\xC5\x82", out, sizeof out), 2);
  EXPECT_EQ(MsgDataUtf8ToCp1252("\xC2\x81", out, sizeof out), 2);
  EXPECT_EQ(MsgDataUtf8ToCp1252("abcdefghijklmnopq", out, sizeof out), 3);
}

TEST(MessagesData, BadLinesAreToldWithFileAndLine) {
  MsgDataSet set;
  const char *text = "# a comment\n"
                     "language 2\n"
                     "23 | Impossible\n"
                     "23 | Encore\n"
                     "no number\n"
                     "24 missing bar\n"
                     "70000 | trop grand\n"
                     "25 | esc\\q\n"
                     "26 | | colonne\n"
                     "27 | \xE9t\xE9\n";
  EXPECT_EQ(MsgDataReadText(&set, "x.txt", text), 7) << Joined(set.Problems);
  EXPECT_TRUE(Told(set, {"x.txt:4:", "second text", "x.txt:3"}));
  EXPECT_TRUE(Told(set, {"x.txt:5:", "message number"}));
  EXPECT_TRUE(Told(set, {"x.txt:6:", "\"|\""}));
  EXPECT_TRUE(Told(set, {"x.txt:7:", "70000"}));
  EXPECT_TRUE(Told(set, {"x.txt:8:", "escape"}));
  EXPECT_TRUE(Told(set, {"x.txt:9:", "only English"}));
  // Line 10 is Latin-1, not UTF-8.
  EXPECT_TRUE(Told(set, {"x.txt:10:", "not UTF-8"}));
  ASSERT_EQ(set.Entries.size(), 1u);
  EXPECT_STREQ(set.Entries[0].Text, "Impossible");

  MsgDataSet none;
  EXPECT_EQ(MsgDataReadText(&none, "y.txt", "23 | Impossible\n"), 1);
  EXPECT_TRUE(Told(none, {"y.txt:1:", "language"}));
  MsgDataSet empty;
  EXPECT_EQ(MsgDataReadText(&empty, "z.txt", "# nothing\n"), 1);
  EXPECT_EQ(MsgDataReadFile(&empty, "/nonexistent/dir/en.txt"), 1);
  EXPECT_TRUE(Told(empty, {"en.txt", "can't be read"}));
}

TEST(MessagesData, LengthIsCountedInCodePage1252Bytes) {
  std::string hundred, hundredOne;
  for (int i = 0; i < 100; i++)
    hundred += "\xC3\xA9"; // two UTF-8 bytes, one byte stored
  hundredOne = hundred + "\xC3\xA9";
  MsgDataSet set;
  std::string text = "language 2\n10 | " + hundred + "\n11 | " + hundredOne +
                     "\n12 | " + std::string(101, 'x') + "\n";
  EXPECT_EQ(MsgDataReadText(&set, "f.txt", text.c_str()), 2);
  EXPECT_TRUE(Told(set, {"f.txt:3:", "101 bytes"}));
  EXPECT_TRUE(Told(set, {"f.txt:4:", "101 bytes"}));
  EXPECT_NE(MsgDataFind(set, 10, 2), nullptr);
}

TEST(MessagesData, EnglishColumnMustMatchTheText) {
  MsgDataSet set;
  const char *text = "language 1\n"
                     "1 | %s %d | Table %s, error %d\n"
                     "2 | %s | Table %s, error %d\n"
                     "3 | %-20s | Table %-20s\n"
                     "4 | Just text\n"
                     "5 | | 100% sure\n"
                     "6 | %s | Padded\\s\n";
  EXPECT_EQ(MsgDataReadText(&set, "en.txt", text), 5) << Joined(set.Problems);
  EXPECT_TRUE(Told(set, {"en.txt:3:", "takes \"%s %d\"", "says \"%s\""}));
  EXPECT_TRUE(Told(set, {"en.txt:4:", "column"}));
  EXPECT_TRUE(Told(set, {"en.txt:5:", "three columns"}));
  // "% s" is a conversion too: a lone percent sign is never plain text.
  EXPECT_TRUE(Told(set, {"en.txt:6:", "takes \"%s\""}));
  EXPECT_TRUE(Told(set, {"en.txt:7:", "takes \"\""}));
}

TEST(MessagesData, OtherLanguagesFollowTheEnglishTexts) {
  MsgDataSet set = Load({{"fr.txt",
                          {"3001 | La table %s (H-%d) n'existe plus",
                           "3002 | La table %d a été reconstruite.",
                           "59000 | Aucun texte anglais"}}});
  EXPECT_FALSE(Told(set, {"fr.txt", "3001:"}));
  EXPECT_TRUE(Told(set, {"fr.txt", "3002:", "takes \"%d\"", "\"%s\""}));
  EXPECT_TRUE(Told(set, {"fr.txt", "59000:", "no English"}));
}

// Shipped files with one line changed, and a piece of each problem the
// change must raise: the footer is found by its first 15 characters and
// read by its colons; operation names, kind texts and labels must read
// back as themselves past the parser's delimiters.
TEST(MessagesData, ChangedLinesThatCannotReadBackAreTold) {
  struct Case {
    const char *file, *line;
    std::vector<const char *> told;
  } const cases[] = {
      {"en.txt",
       "2729 | %ld %s %s %d | Log number: %ld   Date: %s   Time: %s   User: %d",
       {"2729:", "15 characters"}},
      {"fr.txt",
       "2729 | Num\xC3\xA9ro d'entr\xC3\xA9"
       "e : %ld   Date :  %s   Heure : %s   Util : %d",
       {"fr.txt", "2729:", "reads back"}},
      {"de.txt",
       "2729 | Protokolleintrag: %ld   Datum: %s   Uhrzeit:  %s   Benutzer: %d",
       {"de.txt", "2729:", "user"}},
      {"en.txt",
       "2729 | %ld %s | Log entry number: %ld   Date: %s",
       {"2729:", "passes \"%ld %s %s %d\""}},
      {"de.txt",
       "5455 | Protokolleintrag: neu",
       {"de.txt", "5455:", "begins like the footer"}},
      // A later name that begins an earlier one takes its headings over.
      {"fr.txt", "2646 | Modifier le", {"fr.txt", "2629:", "operation 18"}},
      // An English name that begins a German heading makes it English.
      {"de.txt",
       "2630 | Delete remedy fully",
       {"de.txt", "2630:", "language 1"}},
      // The second name of operation 6 can't start with another name.
      {"en.txt", "3102 | | Add remedy references", {"en.txt", "3102:"}},
      {"en.txt", "2631 | | Add: remedy", {"2631:", "\":\""}},
      {"en.txt",
       "2631 | | Add remedy, a very long name for a statistics row",
       {"2631:", "40 characters"}},
      // A later kind of the remedy run inside an earlier one: the later wins.
      {"en.txt",
       "2614 | | Remedy modality, remark",
       {"2614:", "reads back as kind 5, not 2"}},
      // A kind of move inside another kind of move.
      {"en.txt", "3224 | | moved", {"3225:", "finds 2 kind texts"}},
      // Split kinds are searched without their last five characters.
      {"de.txt", "3209 | klein", {"de.txt", "3209:", "last 5"}},
      {"fr.txt", "3212 | degr\xC3\xA9s", {"fr.txt", "3213:", "kind texts"}},
      {"en.txt", "3115 | | after the symptom's", {"3115:", "apostrophes"}},
      {"en.txt", "3114 | | [instead]", {"3114:", "brackets"}},
      {"en.txt", "3119 | | Other", {"3119:", "ten"}},
      {"en.txt", "3254 | | Target of the move", {"3254:", "line end"}},
      {"en.txt", "3116 | | Old text: ", {"3116:", "\":\""}},
      {"en.txt", "3255 | | Symptoms ---------- moved", {"3255:", "ten dashes"}},
      {"en.txt", "5549 | | Warnings!", {"5549:", "8 characters"}},
      {"en.txt", "3150 | | Running the log", {"3150:", "sixth"}},
      {"en.txt", "3118 | | Old text of it", {"3118:", "contain each other"}},
      {"en.txt",
       "3423 | %s %s %s | Type %s, '%s' '%s'",
       {"3423:", "reads back as type"}},
      {"en.txt", "5383 | | Done\\n", {"5383:", "control byte 0x0A"}},
  };
  for (const Case &c : cases)
    EXPECT_TRUE(Told(Load({{c.file, {c.line}}}), c.told))
        << c.file << ": " << c.line;
  // An earlier kind inside a later one is harmless.
  EXPECT_TRUE(
      Load({{"en.txt", {"2616 | | Remedy note, key"}}}).Problems.empty());
}

// ------------------------------------------------------------ code scan
//
// Code names a message by a literal number: the second argument of
// OrvixMessage(, the first of MsgText(, the four of MsgAsk( (docs/messages.md).

// The arguments of the call that begins at `open` (the "("), split at the
// commas of its own level.
std::vector<std::string> Arguments(const std::string &code, size_t open) {
  std::vector<std::string> args(1);
  int depth = 0;
  for (size_t i = open + 1; i < code.size(); i++) {
    char c = code[i];
    if (c == '(')
      depth++;
    if (c == ')' && depth-- == 0)
      return args;
    if (c == ',' && depth == 0)
      args.emplace_back();
    else
      args.back() += c;
  }
  return {};
}

// A literal number, blanks around it allowed; 0 when the text is no number.
int Literal(const std::string &arg) {
  size_t a = arg.find_first_not_of(" \t\n");
  size_t b = arg.find_last_not_of(" \t\n");
  if (a == std::string::npos)
    return 0;
  std::string s = arg.substr(a, b - a + 1);
  if (s.find_first_not_of("0123456789") != std::string::npos)
    return 0;
  return std::stoi(s);
}

std::vector<int> MessageNumbersInCode(const std::string &code) {
  struct Call {
    const char *name;
    int first, last; // which arguments are message numbers
  } const calls[] = {
      {"OrvixMessage", 1, 1}, {"MsgText", 0, 0}, {"MsgAsk", 0, 3}};
  std::vector<std::pair<size_t, int>> found; // in the order of the code
  for (const Call &call : calls) {
    std::string name = call.name;
    for (size_t at = code.find(name); at != std::string::npos;
         at = code.find(name, at + 1)) {
      bool joined =
          at > 0 && (isalnum(static_cast<unsigned char>(code[at - 1])) ||
                     code[at - 1] == '_');
      size_t open = code.find_first_not_of(" \t", at + name.size());
      if (joined || open == std::string::npos || code[open] != '(')
        continue;
      std::vector<std::string> args = Arguments(code, open);
      for (int i = call.first;
           i <= call.last && i < static_cast<int>(args.size()); i++)
        if (int n = Literal(args[i]))
          found.emplace_back(at, n);
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](auto &a, auto &b) { return a.first < b.first; });
  std::vector<int> numbers;
  for (const auto &f : found)
    numbers.push_back(f.second);
  return numbers;
}

TEST(MessagesData, CodeScanFindsLiteralMessageNumbers) {
  std::string code =
      "p = OrvixMessage(MsgTable, 2628, Language, &MsgRec);\n"
      "xvt_dm_post_note(MsgText(3004), path, OrvixError);\n"
      "MsgAsk(65, 66, 0, 5346);\n"
      "q = OrvixMessage(MsgTable, 2628 + code, Language, &MsgRec);\n"
      "r = MsgText(number);\n"
      "MyMsgText(77); OrvixMessage(t, MsgText(9), 1, &r);\n";
  EXPECT_EQ(MessageNumbersInCode(code),
            (std::vector<int>{2628, 3004, 65, 66, 5346, 9}));
}

TEST(MessagesData, EveryMessageNumberInTheCodeHasAnEnglishText) {
  MsgDataSet set = Load();
  fs::path src = fs::path(MANTREL_SOURCE_DIR) / "src";
  for (const auto &entry : fs::recursive_directory_iterator(src)) {
    std::string ext = entry.path().extension().string();
    if (ext != ".cpp" && ext != ".h")
      continue;
    for (int n : MessageNumbersInCode(SlurpFile(entry.path())))
      EXPECT_NE(MsgDataFind(set, n, 1), nullptr)
          << entry.path().string() << " uses message " << n;
  }
}

} // namespace
