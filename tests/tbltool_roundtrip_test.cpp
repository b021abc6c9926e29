// Every family through load and dump: the dump must give back the lines that
// went in, with every field set, texts at their full width with accented
// letters, and lists both empty and full. A few records are then read through
// the typed store operations, so that a field the JSON form puts in the wrong
// place cannot hide behind a dump that makes the same mistake back.
#include "store_fixture.h"
#include "tbljson.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

using nlohmann::json;

namespace {

// n characters that are one byte each in code page 1252, accented letters
// and the euro sign among them; `seed` shifts the pattern.
std::string Txt(size_t n, int seed = 0) {
  static const char *const kChars[] = {
      "a",        "\xc3\xa9", "\xc3\xbc", "\xe2\x82\xac", "\xc3\x9f", "Z", " ",
      "\xc3\x84", "\xc3\xa7", "-",        "\\",           "q"};
  std::string s;
  for (size_t i = 0; i < n; ++i)
    s += kChars[(i + static_cast<size_t>(seed)) % 12];
  return s;
}

// n list entries, each built from its index.
json Entries(int n, const std::function<json(int)> &make) {
  json a = json::array();
  for (int i = 0; i < n; ++i)
    a.push_back(make(i));
  return a;
}

// `line` with some fields set otherwise.
json With(json line, const json &changes) {
  line.update(changes);
  return line;
}

std::string Hex(size_t bytes, int seed) {
  static const char kDigits[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < bytes; ++i) {
    unsigned v =
        static_cast<unsigned>((i * 37 + static_cast<size_t>(seed)) % 255) +
        1; // never a zero byte
    s += kDigits[v >> 4];
    s += kDigits[v & 15];
  }
  return s;
}

json Generic(uint32_t id, size_t bytes) {
  return {{"Status", 1},
          {"Id", id},
          {"Length", bytes},
          {"Data", Hex(bytes, static_cast<int>(id))}};
}

struct FamilyCase {
  const char *kind;
  std::function<std::vector<json>()> lines;
};

std::vector<FamilyCase> Cases() {
  std::vector<FamilyCase> c;
  c.push_back({"symptom", [] {
                 auto remedy = [](int i) {
                   return json{{"RemedyId", 3000 + i},
                               {"Degree", i % 4 + 1},
                               {"AuthorId", i % 2 ? 0x8000 | i : 32000},
                               {"ViewBits", i}};
                 };
                 auto sym = [&](uint32_t num, int sub, int pnum, int remedies,
                                int seed) {
                   return json{{"Status", 0},
                               {"Num", num},
                               {"Sub", sub},
                               {"Num2", num + 7},
                               {"Sub2", 65535 - sub},
                               {"ParentNum", pnum},
                               {"ParentSub", 0},
                               {"Chapter", 12},
                               {"Level", pnum == 0 ? 1 : 2},
                               {"RemedyCount", remedies},
                               {"ChildCount", 65535},
                               {"ViewMask", 0xffff},
                               {"UniqueId", seed % 2 ? -seed : 999999 - seed},
                               {"Text1", Txt(100, seed)},
                               {"Text2", Txt(100, seed + 1)},
                               {"Synonym1", "(= " + Txt(1020, seed) + ")"},
                               {"Synonym2", Txt(1024, seed)},
                               {"CrossRef1", Txt(2048, seed)},
                               {"CrossRef2", "2Mind - fear / 3" + Txt(9)},
                               {"Remedies", Entries(remedies, remedy)},
                               {"SymptomType", 2},
                               {"SymptomSubType", 8}};
                 };
                 return std::vector<json>{sym(1, 0, 0, 300, 1),
                                          sym(1, 1, 1, 0, 2),
                                          sym(4000000000u, 65535, 1, 1, 3)};
               }});
  c.push_back({"remed", [] {
                 json r = {{"Status", 2},      {"Id", 3161},      {"Attr1", 7},
                           {"Listed", 1},      {"Value1", 65535}, {"Value2", 9},
                           {"Abbrev", Txt(15)}};
                 for (const char *n : {"Name", "Name3", "Name4", "Name5",
                                       "Name6", "Name7", "Name8", "Name9"})
                   r[n] = Txt(50, n[4]);
                 return std::vector<json>{
                     With(r, {{"Id", 1}, {"Abbrev", "acon."}, {"Listed", 0}}),
                     r};
               }});
  c.push_back({"author", [] {
                 json a = {{"Status", 0},           {"Id", 886},
                           {"Value1", 4},           {"Listed", 1},
                           {"Abbrev", Txt(20)},     {"Name", Txt(70, 1)},
                           {"Detail1", Txt(200)},   {"Detail2", Txt(149)},
                           {"Detail3", Txt(254, 2)}};
                 return std::vector<json>{a};
               }});
  c.push_back(
      {"catalog", [] {
         json paths = json::array();
         for (int i = 0; i < 7; ++i)
           paths.push_back("..\\data\\" + Txt(92, i));
         json cat = {{"Status", 0},
                     {"Id", 3},
                     {"Kind", 1},
                     {"Abbrev", "S" + Txt(9)},
                     {"KeynoteBlock",
                      {{"Title", Txt(71)}, {"Folder", "..\\kn\\" + Txt(94)}}},
                     {"RepertoryBlock",
                      {{"Title", Txt(64)}, {"RefStyle", 5}, {"Paths", paths}}}};
         return std::vector<json>{cat,
                                  With(cat, {{"Kind", 2}, {"Abbrev", "C"}})};
       }});
  c.push_back(
      {"rlog", [] {
         std::string text = "0\x01" + Txt(60) + " \x02 " + Txt(20) +
                            "\x01"
                            "acon.\x01"
                            "kent\x01"
                            "3";
         json e = {
             {"head", 0xbeef},       {"number", 1},   {"operation", 3},
             {"date", 40000},        {"time", 86399}, {"symptomId", 1000000},
             {"reserved", "0a0b0c"}, {"tag", 99},     {"text", text},
             {"comment", Txt(255)},  {"endMark", 255}};
         // The second text has 10000 bytes, the most that fit.
         return std::vector<json>{e, With(e, {{"number", 2},
                                              {"operation", 4},
                                              {"text", "1\x01" + Txt(9998, 3)},
                                              {"reserved", ""}})};
       }});
  c.push_back({"extract", [] {
                 auto entry = [](int i) {
                   return json{{"Num", i + 1},
                               {"Sub", i},
                               {"Degree", i % 4 + 1},
                               {"AuthorId", 0x8000 | i},
                               {"ViewBits", i % 3}};
                 };
                 json a = {{"Status", 0},
                           {"RemedyId", 5},
                           {"Seq", 0},
                           {"Entries", Entries(300, entry)}};
                 return std::vector<json>{
                     a, With(a, {{"Seq", 1}, {"Entries", json::array()}})};
               }});
  c.push_back({"exsp", [] {
                 auto entry = [](int i) {
                   return json{{"Num", i},
                               {"Sub", 3},
                               {"Zero1", i % 2 ? 0 : 4000000000u},
                               {"Zero2", 1}};
                 };
                 json a = {{"Status", 0}, {"Num", 9},
                           {"Sub", 2},    {"Direction", 2},
                           {"Seq", 0},    {"Entries", Entries(300, entry)}};
                 return std::vector<json>{
                     // direction 1 sorts first
                     With(a, {{"Direction", 1}, {"Entries", json::array()}}),
                     a};
               }});
  c.push_back({"word", [] {
                 auto entry = [](int i) {
                   return json{{"Num", i + 1},
                               {"Sub", 0},
                               {"EndNum", i + 2},
                               {"EndSub", 65534}};
                 };
                 json a = {{"Status", 0},
                           {"Seq", 0},
                           {"Text", Txt(31)},
                           {"Entries", Entries(300, entry)}};
                 return std::vector<json>{
                     a, With(a, {{"Seq", 255}, {"Entries", json::array()}})};
               }});
  c.push_back({"note", [] {
                 json n = {{"Status", 0},
                           {"Num", 1},
                           {"Sub", 2},
                           {"RemedyId", 0},
                           {"Degree", 0},
                           {"AuthorId", 0},
                           {"NoteKind", 3},
                           {"Text1", Txt(4096)},
                           {"Text2", "line\nnext\r\n" + Txt(20)}};
                 return std::vector<json>{n,
                                          With(n, {{"RemedyId", 44},
                                                   {"Text1", ""},
                                                   {"Text2", Txt(4096, 5)}})};
               }});
  c.push_back({"link", [] {
                 json l = {{"Status", 0},
                           {"Num", 1},
                           {"Sub", 2},
                           {"RemedyId", 3},
                           {"Degree", 4},
                           {"AuthorId", 5},
                           {"LinkKind", 3},
                           {"Title", Txt(255)},
                           {"File", "..\\media\\" + Txt(503)}};
                 // The same key twice: links may repeat.
                 return std::vector<json>{l, With(l, {{"Title", ""}})};
               }});
  c.push_back(
      {"view", [] {
         return std::vector<json>{
             {{"Status", 0}, {"ViewNumber", 1}, {"AuthorBits", json::array()}},
             {{"Status", 0},
              {"ViewNumber", 16},
              {"AuthorBits", {0, 7, 8, 900, 16391}}}};
       }});
  c.push_back(
      {"at", [] {
         json a = {{"Status", 0},         {"Num", 1},       {"Sub", 1},
                   {"ParentNum", 1},      {"ParentSub", 0}, {"Text", Txt(100)},
                   {"NewPath", Txt(1023)}};
         return std::vector<json>{
             a, With(a, {{"Sub", 2}, {"NewPath", "<deleted>"}})};
       }});
  c.push_back({"histoid", [] {
                 return std::vector<json>{{{"Status", 0},
                                           {"Id", -5},
                                           {"ReplacedBy", 2147483647},
                                           {"Date", -2147483647 - 1},
                                           {"Comment", Txt(511)}}};
               }});
  c.push_back({"cas1", [] {
                 json texts = json::array();
                 for (int i = 0; i < 10; ++i)
                   texts.push_back(Txt(25, i));
                 return std::vector<json>{
                     {{"Status", 0},
                      {"CaseId", 65535},
                      {"Created", 40000},
                      {"Changed", -1},
                      {"Values", {1, 2, 3, 4, 5, 6, 7, 8, 9, 65535}},
                      {"Name", Txt(30)},
                      {"Comment", Txt(512)},
                      {"Texts", texts}}};
               }});
  c.push_back({"cas2", [] {
                 auto entry = [](int i) {
                   return json{{"Value", i}, {"Author", 7}, {"Byte", i % 256}};
                 };
                 json a = {
                     {"Status", 0},        {"CaseId", 1},
                     {"Entry", 2},         {"Value6", 3},
                     {"Value8", -4},       {"ValueC", 5},
                     {"Sequence", 6},      {"ByteF", 7},
                     {"Byte10", 8},        {"Byte11", 9},
                     {"Byte12", 10},       {"Byte13", 11},
                     {"Byte14", 12},       {"Byte15", 13},
                     {"Byte16", 14},       {"Text1", Txt(1024)},
                     {"Text2", Txt(1026)}, {"Symptoms", Entries(300, entry)}};
                 return std::vector<json>{
                     a, With(a, {{"Entry", 3}, {"Symptoms", json::array()}})};
               }});
  c.push_back({"message", [] {
                 return std::vector<json>{
                     {{"Number", 2626}, {"Language", 1}, {"Text", Txt(100)}},
                     {{"Number", 2626},
                      {"Language", 2},
                      {"Text", "Kann '%s' nicht \xc3\xb6"
                               "ffnen (%d)"}}};
               }});
  for (const char *kind :
       {"keynote", "defdiag", "patient", "consultation", "diag", "prem"})
    c.push_back({kind, [] {
                   return std::vector<json>{Generic(1, 0), Generic(2, 4096),
                                            Generic(4000000000u, 3)};
                 }});
  return c;
}

// The lines of one family's case.
std::vector<json> LinesOf(const std::string &kind) {
  for (const FamilyCase &fc : Cases())
    if (fc.kind == kind)
      return fc.lines();
  return {};
}

// The resource lines a repertory's symptom table carries.
std::vector<json> ResourceLines() {
  return {{{"Resource", {{"Type", 0x10001}, {"Id", 2}, {"Text", "3"}}}},
          {{"Resource", {{"Type", 0x10f4c}, {"Id", 1}, {"Text", "17"}}}},
          {{"Resource", {{"Type", 0x10762}, {"Id", 44}, {"Text", Txt(200)}}}}};
}

// The first field in which two lines differ, or "" when they are equal;
// lines of long lists are too long to show whole.
std::string FirstDifference(const json &a, const json &b) {
  if (a == b)
    return "";
  if (!a.is_object() || !b.is_object())
    return a.dump().substr(0, 200) + " / " + b.dump().substr(0, 200);
  for (auto it = b.begin(); it != b.end(); ++it)
    if (!a.contains(it.key()))
      return it.key() + " missing";
    else if (a[it.key()] != it.value())
      return it.key() + ": " + FirstDifference(a[it.key()], it.value());
  return "a field the input lacks";
}

class TbltoolRoundTrip : public StoreTest {
protected:
  int Load(const char *kind, const char *path, const std::string &text,
           std::string *why = nullptr) {
    FILE *in = fmemopen(const_cast<char *>(text.data()), text.size(), "rb");
    EXPECT_NE(in, nullptr);
    char msg[1024];
    int err = TjLoad(TjFindFamily(kind), path, in, msg, sizeof msg);
    fclose(in);
    if (why != nullptr)
      *why = msg;
    return err;
  }
  std::string Dump(const char *kind, const char *path, int *err) {
    return Captured([&](FILE *out) {
      *err = TjDump(TjFindFamily(kind), path, out, nullptr);
    });
  }
  static std::string Join(const std::vector<json> &lines) {
    std::string s;
    for (const json &j : lines)
      s += j.dump() + "\n";
    return s;
  }
  static std::vector<json> Parse(const std::string &text) {
    std::vector<json> v;
    size_t at = 0;
    while (at < text.size()) {
      size_t nl = text.find('\n', at);
      v.push_back(json::parse(text.substr(at, nl - at)));
      at = nl == std::string::npos ? text.size() : nl + 1;
    }
    return v;
  }
};

TEST_F(TbltoolRoundTrip, EveryFamilyComesBackAsItWent) {
  for (const FamilyCase &fc : Cases()) {
    SCOPED_TRACE(fc.kind);
    ASSERT_NE(TjFindFamily(fc.kind), nullptr);
    std::vector<json> in = fc.lines();
    if (std::string(fc.kind) == "symptom")
      for (const json &r : ResourceLines())
        in.push_back(r);
    std::string why;
    ASSERT_EQ(Load(fc.kind, fc.kind, Join(in), &why), 0) << why;
    int err;
    std::vector<json> out = Parse(Dump(fc.kind, fc.kind, &err));
    ASSERT_EQ(err, 0);
    ASSERT_EQ(out.size(), in.size());
    // The dump is in key order; the inputs above are given in that order.
    for (size_t i = 0; i < in.size(); ++i)
      EXPECT_EQ(FirstDifference(out[i], in[i]), "") << "line " << i + 1;
    long faults = -1;
    ASSERT_EQ(TjCheck(TjFindFamily(fc.kind), fc.kind, nullptr, &faults), 0);
    EXPECT_EQ(faults, 0);
  }
}

TEST_F(TbltoolRoundTrip, StoredRecordsHoldWhatTheLinesSay) {
  std::vector<json> syms = LinesOf("symptom");
  for (const json &r : ResourceLines())
    syms.push_back(r);
  ASSERT_EQ(Load("symptom", "rep\\symptom", Join(syms)), kErrBadPath)
      << "no folder rep yet";
  std::filesystem::create_directory(root_ / "Rep");
  ASSERT_EQ(Load("symptom", "rep\\symptom", Join(syms)), 0);
  EXPECT_TRUE(std::filesystem::exists(root_ / "Rep" / "symptom.dat"));
  EXPECT_TRUE(std::filesystem::exists(root_ / "Rep" / "symptom.idx"));

  TblHandle h = TblOpenSymptom("REP\\Symptom", 1, 1);
  ASSERT_NE(h, 0);
  Symptom s = MakeSymptom(1, 0, 0, 0, "");
  s.Remedies = TblAllocSymptomRemed(4);
  ASSERT_EQ(TblFindFullSymptom(h, &s, 0, kFindEqual), 0);
  EXPECT_EQ(s.Num2, 8u);
  EXPECT_EQ(s.Chapter, 12);
  EXPECT_EQ(s.UniqueId, -1);
  EXPECT_EQ(strlen(s.Text1), 100u);
  EXPECT_EQ(static_cast<uint8_t>(s.Text1[0]), 0xe9); // é
  EXPECT_EQ(static_cast<uint8_t>(s.Text1[2]), 0x80); // €
  EXPECT_EQ(strlen(s.CrossRef1), 2048u);
  int n = 0;
  while (TblIsLastSymptomRemed(&s.Remedies[n]) == 1)
    ++n;
  EXPECT_EQ(n, 300);
  EXPECT_EQ(s.Remedies[1].AuthorId, 0x8001);
  EXPECT_EQ(s.Remedies[299].RemedyId, 3299);
  Resource r = MakeResource(kResRepKindType, kResRepKindId, "");
  ASSERT_EQ(DbGetResource(h, &r, &r, 2), 0);
  EXPECT_EQ(std::string(r.Text, r.Length), "3");
  TblFreeSymptomRemed(&s);
  DbCloseFile(h);

  // The log text keeps its field separators; the view its author bits.
  ASSERT_EQ(Load("rlog", "log", Join(LinesOf("rlog"))), 0);
  ASSERT_EQ(Load("view", "view", Join(LinesOf("view"))), 0);
  h = TblOpenRlog("log", 1, 1);
  ASSERT_NE(h, 0);
  std::vector<char> text(kLogTextSize);
  LogEntry e{};
  e.text = text.data();
  e.number = 1;
  ASSERT_EQ(TblFindFullRlog(h, &e, 0, kFindEqual), 0);
  EXPECT_EQ(e.text[1], '\x01');
  EXPECT_EQ(e.reserved[2], 0x0c);
  EXPECT_EQ(e.symptomId, 1000000);
  e.number = 2;
  e.operation = 0;
  ASSERT_EQ(TblFindFullRlog(h, &e, 0, kFindEqual), 0);
  EXPECT_EQ(strlen(e.text), 10000u);
  DbCloseFile(h);
  h = TblOpenView("view", 1, 1);
  ASSERT_NE(h, 0);
  View v{};
  v.CursorState = 0xff;
  v.ViewNumber = 16;
  ASSERT_EQ(TblFindFullView(h, &v, 1, kFindEqual), 0);
  EXPECT_EQ(v.AuthorBits[0], 0x81);       // authors 0 and 7
  EXPECT_EQ(v.AuthorBits[1], 0x80);       // author 8
  EXPECT_EQ(v.AuthorBits[900 / 8], 0x08); // 900 % 8 == 4
  EXPECT_EQ(v.AuthorBits[2048], 0x01);    // the last author, 16391
  DbCloseFile(h);
}

// A line that is wrong in any way stops the load before anything exists.
TEST_F(TbltoolRoundTrip, FaultyLinesAreRefusedWithTheirNumber) {
  const std::string good = R"({"Num":1,"Sub":0,"Text1":"Geist"}
{"Num":1,"Sub":1,"ParentNum":1,"Text1":"Angst"}
)";
  struct Bad {
    std::string line;
    const char *says;
  } bads[] = {
      {R"({"Num":1,"Sub":2)", "not a JSON text"},
      {R"([1,2])", "not a JSON object"},
      {R"({"Num":1,"Sub":2,"Txt1":"x"})", "\"Txt1\": is no field"},
      {R"({"Num":1,"Sub":2,"Level":256})", "\"Level\": is not a whole number"},
      {R"({"Num":-1,"Sub":2})", "\"Num\": is not a whole number"},
      {R"({"Num":1.5,"Sub":2})", "\"Num\": is not a whole number"},
      {R"({"Num":1,"Sub":2,"Text1":5})", "\"Text1\": is not a text"},
      {"{\"Num\":1,\"Sub\":2,\"Text1\":\"" + std::string(101, 'x') + "\"}",
       "is 101 bytes long, at most 100 fit"},
      {R"({"Num":1,"Sub":2,"Text1":"snow \u2603"})", "code page 1252"},
      {R"({"Num":1,"Sub":2,"Text1":"a\u0000b"})", "zero character"},
      {R"({"Num":1,"Sub":2,"Remedies":[{"RemedyId":5},{"RemedyId":0,"Degree":1}]})",
       "\"Remedies[1]\": reads as the end of the list"},
      {R"({"Num":1,"Sub":2,"Remedies":[{"RemedyId":5,"Grade":1}]})",
       "\"Remedies[0].Grade\": is no field"},
      {R"({"Resource":{"Type":1,"Id":2,"Name":"x"}})", "\"Resource.Name\""},
  };
  for (const Bad &b : bads) {
    SCOPED_TRACE(b.line);
    std::string why;
    EXPECT_NE(Load("symptom", "sym", good + b.line + "\n", &why), 0);
    EXPECT_NE(why.find("line 3:"), std::string::npos) << why;
    EXPECT_NE(why.find(b.says), std::string::npos) << why;
    EXPECT_TRUE(std::filesystem::is_empty(root_)) << why;
  }

  // An inline list has 300 places and the terminator's room.
  std::string entries;
  for (int i = 0; i < 301; ++i)
    entries +=
        std::string(i ? "," : "") + R"({"Num":)" + std::to_string(i + 1) + "}";
  std::string why;
  EXPECT_NE(Load("extract", "ext",
                 R"({"RemedyId":1,"Entries":[)" + entries + "]}\n", &why),
            0);
  EXPECT_NE(why.find("has 301 entries, at most 300 fit"), std::string::npos)
      << why;
  EXPECT_TRUE(std::filesystem::is_empty(root_));
}

// Lines that each parse but clash in the table leave nothing behind either,
// and a table that exists is never overwritten.
TEST_F(TbltoolRoundTrip, StoreRefusalsAndExistingTablesLeaveNothingChanged) {
  std::string why;
  const char *clash = R"({"Id":1,"Abbrev":"acon."}
{"Id":2}
{"Id":1,"Abbrev":"bell."}
)";
  EXPECT_EQ(Load("remed", "remed", clash, &why), kErrDuplicate);
  EXPECT_NE(why.find("line 3:"), std::string::npos) << why;
  EXPECT_TRUE(std::filesystem::is_empty(root_)) << why;

  // Blank lines are passed over but still counted.
  ASSERT_EQ(Load("remed", "remed", "\n{\"Id\":1,\"Abbrev\":\"acon.\"}\n\n"), 0);
  std::string before = Slurp("remed.dat");
  EXPECT_EQ(Load("remed", "REMED", "{\"Id\":2}\n", &why), kErrExists);
  EXPECT_EQ(Slurp("remed.dat"), before);
  EXPECT_EQ(Load("remed", "remed2", "\n\n{\"Id\":", &why), kErrBadArg);
  EXPECT_NE(why.find("line 3:"), std::string::npos) << why;
  int err;
  std::vector<json> out = Parse(Dump("remed", "remed", &err));
  ASSERT_EQ(err, 0);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0]["Abbrev"], "acon.");
  EXPECT_EQ(out[0]["Name9"], "");
}

} // namespace
