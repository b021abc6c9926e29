// Every table family through the same paces (add, find, walk, duplicate,
// replace, delete, persist, rebuild), then what each family has of its own.
#include "store_fixture.h"

#include <vector>

namespace {

// ---------------------------------------------------------------- traits

// Each family's operations and a record numbered i: key 0 grows with i (set
// by Keys), and a payload field (set by Retag, read by Tag) tells which i it
// came from. The defaults are those most families share: a zeroed record,
// no delete, a unique key 0.
template <typename Self, typename Rec> struct Family {
  using R = Rec;
  static constexpr const char *kDat = ".dat", *kIdx = ".idx";
  static constexpr bool kDelete = false, kUnique = true;
  static int Delete(TblHandle) { return -1; }
  static int Key(int k) { return k; }
  static void Blank(R &r) {
    memset(static_cast<void *>(&r), 0, sizeof r);
    r.CursorState = 0xff;
  }
  static void Make(R &r, int i) {
    Self::Blank(r);
    Self::Keys(r, i);
    Self::Retag(r, i);
  }
};
// The calls by the family's name; the extra arguments go to its find.
#define TABLE_OPS(Name, ...)                                                   \
  static TblHandle Open(const char *p, int b) {                                \
    return TblOpen##Name(p, 1, b);                                             \
  }                                                                            \
  static int Rebuild(const char *p) {                                          \
    return TblRebuild##Name(p, 0, 1);                                          \
  }                                                                            \
  static int Save(TblHandle h, R *r, int mode) {                               \
    return TblSave##Name(h, r, mode);                                          \
  }                                                                            \
  static int Find(TblHandle h, R *r, int k, int m) {                           \
    return TblFindFull##Name(h, r, Key(k), m __VA_OPT__(, ) __VA_ARGS__);      \
  }
#define FAMILY_OPS(Name, ...)                                                  \
  TABLE_OPS(Name __VA_OPT__(, ) __VA_ARGS__)                                   \
  static TblHandle Create(const char *p) {                                     \
    return TblCreate##Name(p, 1, 1);                                           \
  }
#define DELETE_OPS(Name)                                                       \
  static constexpr bool kDelete = true;                                        \
  static int Delete(TblHandle h) {                                             \
    return TblDelete##Name(h);                                                 \
  }
#define CLEAR_OPS(Name)                                                        \
  static void Blank(R &r) {                                                    \
    r.CursorState = 0xff;                                                      \
    TblClear##Name(&r);                                                        \
  }

struct SymptomOps : Family<SymptomOps, Symptom> {
  FAMILY_OPS(Symptom)
  DELETE_OPS(Symptom)
  static void Blank(R &r) {
    SymptomRemedy *arr = r.Remedies;
    r = MakeSymptom(0, 0, 0, 0, "");
    r.Remedies = arr;
    TblClearSymptom(&r);
  }
  static void Keys(R &r, int i) {
    r.Num = static_cast<uint32_t>(i / 3 + 1);
    r.Sub = static_cast<uint16_t>(i % 3);
    StrCopy(r.Text1, "s");
  }
  static std::string Tag(const R &r) { return r.CrossRef2; }
  static void Retag(R &r, int v) { StrFormat(r.CrossRef2, "ref %d", v); }
};

struct RemedOps : Family<RemedOps, Remed> {
  FAMILY_OPS(Remed)
  static void Keys(R &r, int i) {
    r.Id = static_cast<uint16_t>(i + 1);
    StrFormat(r.Abbrev, "rem%d", i);
  }
  static std::string Tag(const R &r) { return r.Name9; }
  static void Retag(R &r, int v) { StrFormat(r.Name9, "name %d", v); }
};

struct AuthorOps : Family<AuthorOps, Author> {
  FAMILY_OPS(Author)
  static void Keys(R &r, int i) {
    r.Id = static_cast<uint16_t>(i + 1);
    StrFormat(r.Abbrev, "aut%d", i);
  }
  static std::string Tag(const R &r) { return r.Detail3; }
  static void Retag(R &r, int v) { StrFormat(r.Detail3, "detail %d", v); }
};

struct CatalogOps : Family<CatalogOps, Catalog> {
  FAMILY_OPS(Catalog)
  static void Keys(R &r, int i) {
    r.Kind = 1;
    r.Id = static_cast<uint16_t>(i + 1);
  }
  static std::string Tag(const R &r) {
    return r.RepertoryBlock.Paths[kCatFolder];
  }
  static void Retag(R &r, int v) {
    StrFormat(r.RepertoryBlock.Paths[kCatFolder], "..\\data\\rep%d\\", v);
  }
};

struct RlogOps : Family<RlogOps, LogEntry> {
  TABLE_OPS(Rlog)
  DELETE_OPS(Rlog)
  static TblHandle Create(const char *p) { return TblCreateRlog(p, 0, 1, 3); }
  static void Blank(R &r) {
    char *text = r.text;
    memset(&r, 0, sizeof r);
    r.text = text;
    r.endMark = 0xff;
  }
  static void Keys(R &r, int i) {
    r.number = i + 1;
    r.operation = 3;
  }
  static std::string Tag(const R &r) { return r.text; }
  static void Retag(R &r, int v) {
    StrFormat(r.text, kLogTextSize, "0\x01path %d\x01rem", v);
  }
};

struct ExtractOps : Family<ExtractOps, Extract> {
  FAMILY_OPS(Extract, nullptr)
  DELETE_OPS(Extract)
  CLEAR_OPS(Extract)
  static void Make(R &r, int i) { // a list as long as i % 5 + 1
    Blank(r);
    r.RemedyId = static_cast<uint16_t>(i / 2 + 1);
    r.Seq = static_cast<uint8_t>(i % 2);
    for (int e = 0; e <= i % 5; ++e)
      r.Entries[e] =
          ExtractEntry{static_cast<uint32_t>(i * 10 + e + 1), 0, 2, 5, 1};
  }
  static std::string Tag(const R &r) {
    std::string s;
    for (int e = 0; TblIsLastExtractSymptom(&r.Entries[e]) == 1; ++e)
      s += std::to_string(r.Entries[e].Num) + ",";
    return s;
  }
  static void Retag(R &r, int v) {
    r.Entries[0].Num = static_cast<uint32_t>(v * 7 + 1);
  }
};

struct ExSpOps : Family<ExSpOps, ExSp> {
  FAMILY_OPS(ExSp, nullptr)
  DELETE_OPS(ExSp)
  CLEAR_OPS(ExSp)
  static void Keys(R &r, int i) {
    r.Num = static_cast<uint32_t>(i / 4 + 1);
    r.Direction = static_cast<uint8_t>(i % 4 / 2 + 1);
    r.Seq = static_cast<uint8_t>(i % 2);
    r.Entries[0] = ExSpEntry{0, 1, 0, 0};
  }
  static std::string Tag(const R &r) {
    return TblIsLastExSpSymptom(&r.Entries[0]) == 1
               ? std::to_string(r.Entries[0].Num)
               : "";
  }
  static void Retag(R &r, int v) {
    r.Entries[0].Num = static_cast<uint32_t>(v + 100);
  }
};

struct WordOps : Family<WordOps, Word> {
  FAMILY_OPS(Word, nullptr)
  DELETE_OPS(Word)
  CLEAR_OPS(Word)
  static void Keys(R &r, int i) {
    StrFormat(r.Text, "w%03d", i / 2);
    r.Seq = static_cast<uint8_t>(i % 2);
    r.Entries[0] = WordEntry{0, 0, 9, 32000};
  }
  static std::string Tag(const R &r) {
    return TblIsLastWordSymptom(&r.Entries[0]) == 1
               ? std::to_string(r.Entries[0].Num)
               : "";
  }
  static void Retag(R &r, int v) {
    r.Entries[0].Num = static_cast<uint32_t>(v + 1);
  }
};

struct NoteOps : Family<NoteOps, Note> {
  FAMILY_OPS(Note)
  DELETE_OPS(Note)
  CLEAR_OPS(Note)
  static void Keys(R &r, int i) {
    r.Num = static_cast<uint32_t>(i / 2 + 1);
    r.RemedyId = static_cast<uint16_t>(i % 2);
  }
  static std::string Tag(const R &r) {
    return std::string(r.Text1) + "|" + r.Text2;
  }
  static void Retag(R &r, int v) {
    StrFormat(r.Text1, kNoteTextSize, "note %d\nline two", v);
    StrFormat(r.Text2, kNoteTextSize, "Notiz %d", v);
  }
};

struct LinkOps : Family<LinkOps, Link> {
  FAMILY_OPS(Link)
  DELETE_OPS(Link)
  CLEAR_OPS(Link)
  static constexpr bool kUnique = false;
  static void Keys(R &r, int i) {
    r.Num = static_cast<uint32_t>(i + 1);
    r.LinkKind = 3;
  }
  static std::string Tag(const R &r) { return r.File; }
  static void Retag(R &r, int v) {
    StrFormat(r.File, "..\\media\\img%d.jpg", v);
  }
};

struct ViewOps : Family<ViewOps, View> {
  FAMILY_OPS(View)
  static int Key(int k) { return k == 0 ? 1 : k; }
  static void Keys(R &r, int i) { r.ViewNumber = static_cast<uint8_t>(i + 1); }
  static std::string Tag(const R &r) {
    std::string s;
    for (int b = 0; b < 2049; ++b)
      if (r.AuthorBits[b] != 0)
        s += std::to_string(b) + ":" + std::to_string(r.AuthorBits[b]) + " ";
    return s;
  }
  static void Retag(R &r, int v) {
    memset(r.AuthorBits, 0, sizeof r.AuthorBits);
    r.AuthorBits[v % 2049] = 0x80;
    r.AuthorBits[2048] = static_cast<uint8_t>(v);
  }
};

struct AtOps : Family<AtOps, At> {
  FAMILY_OPS(At)
  CLEAR_OPS(At)
  static void Keys(R &r, int i) {
    r.Num = static_cast<uint32_t>(i + 1);
    StrFormat(r.Text, "level %d", i);
  }
  static std::string Tag(const R &r) { return r.NewPath; }
  static void Retag(R &r, int v) {
    StrFormat(r.NewPath, "NEW \x02 path %d", v);
  }
};

struct HistoIdOps : Family<HistoIdOps, HistoId> {
  FAMILY_OPS(HistoId)
  static void Keys(R &r, int i) {
    r.Id = i - 5; // negative ids sort before positive ones
    r.ReplacedBy = i + 1000;
  }
  static std::string Tag(const R &r) { return r.Comment; }
  static void Retag(R &r, int v) { StrFormat(r.Comment, "retired %d", v); }
};

struct Cas1Ops : Family<Cas1Ops, Cas1> {
  FAMILY_OPS(Cas1)
  DELETE_OPS(Cas1)
  CLEAR_OPS(Cas1)
  static constexpr const char *kDat = ".da1", *kIdx = ".id1";
  static void Keys(R &r, int i) { r.CaseId = static_cast<uint16_t>(i + 1); }
  static std::string Tag(const R &r) {
    return std::string(r.Texts[9]) + "/" + std::to_string(r.Values[9]);
  }
  static void Retag(R &r, int v) {
    r.Values[9] = static_cast<uint16_t>(v);
    StrFormat(r.Texts[9], "t%d", v);
  }
};

struct Cas2Ops : Family<Cas2Ops, Cas2> {
  FAMILY_OPS(Cas2)
  DELETE_OPS(Cas2)
  CLEAR_OPS(Cas2)
  static constexpr const char *kDat = ".da2", *kIdx = ".id2";
  static void Make(R &r, int i) { // a list as long as i % 4
    Blank(r);
    r.CaseId = static_cast<uint16_t>(i / 3 + 1);
    r.Sequence = static_cast<uint8_t>(i % 3);
    TblFreeCas2Symptoms(&r);
    r.Symptoms = TblAllocCas2Symptoms(i % 4 + 1);
    for (int e = 0; e < i % 4; ++e)
      r.Symptoms[e] = Cas2Symptom{static_cast<uint16_t>(i + e + 1), 2, 1};
  }
  static std::string Tag(const R &r) {
    std::string s;
    for (int e = 0; TblIsLastCas2SymptomRemed(&r.Symptoms[e]) == 1; ++e)
      s += std::to_string(r.Symptoms[e].Value) + ",";
    return s;
  }
  static void Retag(R &r, int v) {
    TblFreeCas2Symptoms(&r);
    r.Symptoms = TblAllocCas2Symptoms(2);
    r.Symptoms[0] = Cas2Symptom{static_cast<uint16_t>(v + 1), 2, 1};
  }
};

// ---------------------------------------------------------------- records

// A record of the family with its variable parts set up as callers do.
template <typename Ops> struct Holder {
  typename Ops::R r;
  std::vector<char> a = std::vector<char>(kLogTextSize),
                    b = std::vector<char>(kLogTextSize);
  Holder() {
    memset(static_cast<void *>(&r), 0, sizeof r);
    if constexpr (std::is_same_v<typename Ops::R, Note>) {
      r.Text1 = a.data();
      r.Text2 = b.data();
    } else if constexpr (std::is_same_v<typename Ops::R, LogEntry>) {
      r.text = a.data();
    } else if constexpr (std::is_same_v<typename Ops::R, Symptom>) {
      r.Remedies = TblAllocSymptomRemed(1);
    } else if constexpr (std::is_same_v<typename Ops::R, Cas2>) {
      r.Symptoms = TblAllocCas2Symptoms(1);
    }
    Ops::Blank(r);
  }
  ~Holder() {
    if constexpr (std::is_same_v<typename Ops::R, Symptom>)
      TblFreeSymptomRemed(&r);
    if constexpr (std::is_same_v<typename Ops::R, Cas2>)
      TblFreeCas2Symptoms(&r);
  }
  Holder(const Holder &) = delete;
  Holder &operator=(const Holder &) = delete;
};

template <typename Ops> class FamilyTest : public StoreTest {
protected:
  static TblHandle CreateTable(const char *p) { return Ops::Create(p); }
  // Adds records 0..n-1 in a scrambled order.
  void Fill(TblHandle h, int n) {
    for (int k = 0; k < n; ++k) {
      int i = (k * 7) % n;
      Holder<Ops> x;
      Ops::Make(x.r, i);
      ASSERT_EQ(Ops::Save(h, &x.r, kSaveAdd), 0) << i;
    }
  }
  // The tags met by a walk of key 0.
  std::vector<std::string> Walk(TblHandle h) {
    std::vector<std::string> out;
    Holder<Ops> x;
    for (int rc = Ops::Find(h, &x.r, 0, kFindFirst); rc == 0;
         rc = Ops::Find(h, &x.r, 0, kFindNext))
      out.push_back(Ops::Tag(x.r));
    return out;
  }
  std::vector<std::string> Expected(int n) {
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i) {
      Holder<Ops> x;
      Ops::Make(x.r, i);
      out.push_back(Ops::Tag(x.r));
    }
    return out;
  }
  static constexpr int kN = 12;
};

using Families =
    ::testing::Types<SymptomOps, RemedOps, AuthorOps, CatalogOps, RlogOps,
                     ExtractOps, ExSpOps, WordOps, NoteOps, LinkOps, ViewOps,
                     AtOps, HistoIdOps, Cas1Ops, Cas2Ops>;
TYPED_TEST_SUITE(FamilyTest, Families);

TYPED_TEST(FamilyTest, AddFindWalkAndDuplicates) {
  using Ops = TypeParam;
  TblHandle h = this->CreateTable("tbl");
  ASSERT_NE(h, 0) << OrvixError;
  this->Fill(h, this->kN);
  EXPECT_EQ(DbCountEntries(h), this->kN);
  EXPECT_EQ(this->Walk(h), this->Expected(this->kN));
  for (int i = 0; i < this->kN; ++i) {
    Holder<Ops> want, got;
    Ops::Make(want.r, i);
    Ops::Make(got.r, i);
    Ops::Retag(got.r, 999); // the find must overwrite it
    ASSERT_EQ(Ops::Find(h, &got.r, 0, kFindEqual), 0) << i;
    EXPECT_EQ(Ops::Tag(got.r), Ops::Tag(want.r));
  }
  Holder<Ops> dup;
  Ops::Make(dup.r, 3);
  EXPECT_EQ(Ops::Save(h, &dup.r, kSaveAdd), Ops::kUnique ? kErrDuplicate : 0);
  // Mode 1 on the first record: an error, and the key fields stay.
  Holder<Ops> first;
  ASSERT_EQ(Ops::Find(h, &first.r, 0, kFindFirst), 0);
  std::string tag = Ops::Tag(first.r);
  EXPECT_EQ(Ops::Find(h, &first.r, 0, kFindPrev), kErrEnd);
  EXPECT_EQ(Ops::Tag(first.r), tag);
  Holder<Ops> last;
  ASSERT_EQ(Ops::Find(h, &last.r, 0, kFindLast), 0);
  EXPECT_EQ(Ops::Find(h, &last.r, 0, kFindNext), kErrEnd);
}

TYPED_TEST(FamilyTest, ReplaceDeletePersistRebuild) {
  using Ops = TypeParam;
  TblHandle h = this->CreateTable("Tbl");
  ASSERT_NE(h, 0) << OrvixError;
  this->Fill(h, this->kN);
  std::vector<std::string> want = this->Expected(this->kN);
  Holder<Ops> x;
  Ops::Make(x.r, 4);
  ASSERT_EQ(Ops::Find(h, &x.r, 0, kFindEqual), 0);
  Ops::Retag(x.r, 77);
  ASSERT_EQ(Ops::Save(h, &x.r, kSaveReplace), 0);
  want[4] = Ops::Tag(x.r);
  if (Ops::kDelete) {
    Ops::Make(x.r, 5);
    ASSERT_EQ(Ops::Find(h, &x.r, 0, kFindEqual), 0);
    ASSERT_EQ(Ops::Delete(h), 0);
    want.erase(want.begin() + 5);
    Ops::Make(x.r, 5);
    ASSERT_EQ(Ops::Find(h, &x.r, 0, kFindAtOrAfter), 0);
    EXPECT_EQ(Ops::Tag(x.r), want[5]); // the record after the deleted one
  }
  EXPECT_EQ(this->Walk(h), want);
  ASSERT_EQ(DbCloseFile(h), 0);
  std::string dat = std::string("Tbl") + Ops::kDat;
  std::string idx = std::string("Tbl") + Ops::kIdx;
  EXPECT_TRUE(std::filesystem::exists(this->root_ / dat));
  ASSERT_TRUE(std::filesystem::exists(this->root_ / idx)) << idx;

  h = Ops::Open("tbl", 1);
  ASSERT_NE(h, 0) << OrvixError;
  EXPECT_EQ(this->Walk(h), want);
  ASSERT_EQ(DbCloseFile(h), 0);
  std::filesystem::remove(this->root_ / idx);
  EXPECT_EQ(Ops::Open("tbl", 1), 0);
  EXPECT_EQ(OrvixError, kErrBadIndex);
  ASSERT_EQ(Ops::Rebuild("TBL"), 0);
  h = Ops::Open("tbl", 1);
  ASSERT_NE(h, 0) << OrvixError;
  EXPECT_EQ(this->Walk(h), want);
  EXPECT_EQ(DbCountEntries(h), static_cast<long>(want.size()));
}

// ---------------------------------------------------------------- Rlog

class RlogTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    h_ = TblCreateRlog("log", 0, 1, 3);
    ASSERT_NE(h_, 0);
    // Three entries of number 1 and 2, dated two days.
    Add(1, 3, 40000, 100, "a");
    Add(2, 1, 40001, 50, "b");
    Add(2, 7, 40000, 100, "c");
    Add(3, 2, 40001, 50, "d");
  }
  void Add(int number, int op, uint32_t date, uint32_t time, const char *text) {
    LogEntry e{};
    e.text = buf_;
    e.number = number;
    e.operation = static_cast<uint16_t>(op);
    e.date = date;
    e.time = time;
    e.tag = 99;
    StrCopy(buf_, kLogTextSize, text);
    ASSERT_EQ(TblSaveRlog(h_, &e, kSaveAdd), 0);
  }
  TblHandle h_ = 0;
  char buf_[kLogTextSize];
};

TEST_F(RlogTest, OperationZeroSearchesNameTheNumberOrTheDate) {
  LogEntry e{};
  e.text = buf_;
  e.number = 2;
  ASSERT_EQ(TblFindFullRlog(h_, &e, 0, kFindEqual), 0);
  EXPECT_EQ(e.operation, 1);
  EXPECT_STREQ(buf_, "b");
  EXPECT_EQ(e.tag, 99);
  e.operation = 7;
  ASSERT_EQ(TblFindFullRlog(h_, &e, 0, kFindEqual), 0);
  EXPECT_STREQ(buf_, "c");
  e.operation = 5;
  EXPECT_EQ(TblFindFullRlog(h_, &e, 0, kFindEqual), kErrEnd);
  // Key 2: date, time, operation; equal dates in log order.
  LogEntry k{};
  k.text = buf_;
  k.date = 40000;
  std::string seen;
  for (int rc = TblFindFullRlog(h_, &k, 2, kFindAtOrAfter);
       rc == 0 && k.date == 40000; rc = TblFindFullRlog(h_, &k, 2, kFindNext))
    seen += buf_;
  EXPECT_EQ(seen, "ac");
  // The last entry numbers the next one.
  ASSERT_EQ(TblFindFullRlog(h_, &k, 0, kFindLast), 0);
  EXPECT_EQ(k.number, 3);
}

TEST_F(RlogTest, TextBufferIsTheCallers) {
  LogEntry e{};
  e.number = 1;
  e.text = nullptr; // not read
  ASSERT_EQ(TblFindFullRlog(h_, &e, 0, kFindEqual), 0);
  EXPECT_EQ(e.date, 40000u);
  StrCopy(e.comment, "kept text");
  ASSERT_EQ(TblSaveRlog(h_, &e, kSaveReplace), 0); // no buffer: text stays
  e.text = buf_;
  buf_[0] = 0;
  ASSERT_EQ(TblFindFullRlog(h_, &e, 0, kFindEqual), 0);
  EXPECT_STREQ(buf_, "a");
  EXPECT_STREQ(e.comment, "kept text");
  // The longest text fits, a longer one is cut at the buffer.
  memset(buf_, 'x', sizeof buf_);
  buf_[kLogTextSize - 1] = 0;
  ASSERT_EQ(TblSaveRlog(h_, &e, kSaveReplace), 0);
  buf_[0] = 0;
  ASSERT_EQ(TblFindFullRlog(h_, &e, 0, kFindEqual), 0);
  EXPECT_EQ(strlen(buf_), static_cast<size_t>(kLogTextSize - 1));
}

// ---------------------------------------------------------------- Note

TEST_F(StoreTest, NoteDuplicateThenReplaceAsTheUploadDoes) {
  TblHandle h = TblCreateNote("Note", 1, 1);
  ASSERT_NE(h, 0);
  char t1[kNoteTextSize], t2[kNoteTextSize];
  Note n{};
  n.Text1 = t1;
  n.Text2 = t2;
  n.CursorState = 0xff;
  TblClearNote(&n);
  n.Num = 5;
  n.NoteKind = 3;
  StrCopy(t1, kNoteTextSize, "first");
  ASSERT_EQ(TblSaveNote(h, &n, kSaveAdd), 0);
  StrCopy(t1, kNoteTextSize, "second");
  ASSERT_EQ(TblSaveNote(h, &n, kSaveAdd), kErrDuplicate);
  ASSERT_EQ(TblFindFullNote(h, &n, 0, kFindEqual), 0);
  EXPECT_STREQ(t1, "first");
  StrCopy(t1, kNoteTextSize, "second");
  ASSERT_EQ(TblSaveNote(h, &n, kSaveReplace), 0);
  // Key 1 walks the whole table.
  Note w{};
  w.Text1 = t1;
  w.Text2 = nullptr;
  ASSERT_EQ(TblFindFullNote(h, &w, 1, kFindFirst), 0);
  EXPECT_STREQ(t1, "second");
  EXPECT_EQ(TblFindFullNote(h, &w, 1, kFindNext), kErrEnd);
}

// ---------------------------------------------------------------- Remed

TEST_F(StoreTest, RemedFindFillsKeysAndReadTheRest) {
  TblHandle h = TblCreateRemed("remed", 1, 1);
  ASSERT_NE(h, 0);
  const char *abbrevs[] = {"Sulph.", "Acon.", "Bell.", "Calc.", "Acon."};
  for (int i = 0; i < 5; ++i) {
    Remed r{};
    r.Id = static_cast<uint16_t>(3161 + i);
    r.Listed = i % 2 == 0;
    StrCopy(r.Abbrev, abbrevs[i]);
    StrFormat(r.Name, "Remedy %d", i);
    ASSERT_EQ(TblSaveRemed(h, &r, kSaveAdd), 0);
  }
  Remed r{};
  StrCopy(r.Abbrev, "Acon.");
  ASSERT_EQ(TblFindRemed(h, &r, 1, kFindEqual), 0);
  EXPECT_EQ(r.Id, 3162); // equal abbreviations in id order
  EXPECT_STREQ(r.Name, "");
  ASSERT_EQ(TblReadRemed(h, &r), 0);
  EXPECT_STREQ(r.Name, "Remedy 1");
  ASSERT_EQ(TblFindRemed(h, &r, 1, kFindNext), 0);
  EXPECT_EQ(r.Id, 3165);
  // Key 3 from Listed = 1 walks the listed remedies.
  Remed l{};
  l.Listed = 1;
  std::vector<int> listed;
  for (int rc = TblFindFullRemed(h, &l, 3, kFindAtOrAfter); rc == 0;
       rc = TblFindFullRemed(h, &l, 3, kFindNext))
    listed.push_back(l.Id);
  EXPECT_EQ(listed, (std::vector<int>{3161, 3163, 3165}));
  EXPECT_EQ(TblReadRemed(h + 99, &r), kErrNotOpen);
}

// ---------------------------------------------------------------- Catalog

TEST_F(StoreTest, CatalogKindsAndBlocks) {
  TblHandle h = TblCreateCatalog("catalog", 1, 1);
  ASSERT_NE(h, 0);
  for (int i = 0; i < 6; ++i) {
    Catalog c{};
    c.Kind = static_cast<uint8_t>(i % 2 + 1);
    c.Id = static_cast<uint16_t>(i + 1);
    StrFormat(c.Abbrev, "S%d", i);
    StrCopy(c.KeynoteBlock.Folder, "..\\data\\keynotes\\");
    StrCopy(c.RepertoryBlock.Title, "Repertory");
    c.RepertoryBlock.RefStyle = 5;
    StrCopy(c.RepertoryBlock.Paths[kCatWord2], "..\\data\\rep\\word2");
    ASSERT_EQ(TblSaveCatalog(h, &c, kSaveAdd), 0);
  }
  Catalog c{};
  c.Kind = 2;
  int count = 0;
  for (int rc = TblFindCatalog(h, &c, 0, kFindAtOrAfter);
       rc == 0 && c.Kind == 2; rc = TblFindCatalog(h, &c, 0, kFindNext))
    ++count;
  EXPECT_EQ(count, 3);
  Catalog f{};
  StrCopy(f.Abbrev, "S4");
  ASSERT_EQ(TblFindFullCatalog(h, &f, 1, kFindEqual), 0);
  EXPECT_EQ(f.Id, 5);
  EXPECT_EQ(f.RepertoryBlock.RefStyle, 5);
  EXPECT_STREQ(f.RepertoryBlock.Paths[kCatWord2], "..\\data\\rep\\word2");
  EXPECT_STREQ(f.KeynoteBlock.Folder, "..\\data\\keynotes\\");
}

// ---------------------------------------------------------------- lists

TEST_F(StoreTest, FullListsKeepEveryEntry) {
  TblHandle h = TblCreateExtract("extract", 1, 1);
  ASSERT_NE(h, 0);
  Extract x;
  x.CursorState = 0xff;
  TblClearExtract(&x);
  EXPECT_EQ(TblIsLastExtractSymptom(&x.Entries[0]), 2);
  EXPECT_EQ(x.Entries[kListEntries - 1].ViewBits, 0xffff);
  x.RemedyId = 7;
  for (int i = 0; i < kListEntries; ++i) // no room left for a terminator
    x.Entries[i] = ExtractEntry{static_cast<uint32_t>(i + 1), 1, 2,
                                static_cast<uint16_t>(kAuthorUserBit | 3), 4};
  ASSERT_EQ(TblSaveExtract(h, &x, kSaveAdd), 0);
  Extract y;
  y.CursorState = 0xff;
  TblClearExtract(&y);
  y.RemedyId = 7;
  ASSERT_EQ(TblFindFullExtract(h, &y, 0, kFindEqual, nullptr), 0);
  EXPECT_EQ(y.Entries[kListEntries - 1].Num,
            static_cast<uint32_t>(kListEntries));
  EXPECT_EQ(y.Entries[0].AuthorId, kAuthorUserBit | 3);
  // An empty list reads back as terminators only.
  TblClearExtract(&x);
  x.RemedyId = 8;
  ASSERT_EQ(TblSaveExtract(h, &x, kSaveAdd), 0);
  // An add makes the new record current; step to it from the full one.
  long spare = -1;
  y.RemedyId = 7;
  ASSERT_EQ(TblFindFullExtract(h, &y, 0, kFindEqual, &spare), 0);
  ASSERT_EQ(TblFindFullExtract(h, &y, 0, kFindNext, &spare), 0);
  EXPECT_EQ(y.RemedyId, 8);
  EXPECT_EQ(TblIsLastExtractSymptom(&y.Entries[0]), 2);
  EXPECT_EQ(TblIsLastExtractSymptom(&y.Entries[kListEntries - 1]), 2);
}

// ---------------------------------------------------------------- At, View

TEST_F(StoreTest, AtByTextAndTheLanguageKeys) {
  TblHandle h = TblCreateAt("assoc", 1, 1);
  ASSERT_NE(h, 0);
  const char *texts[] = {"Mind", "HEAD", "eye"};
  for (int i = 0; i < 3; ++i) {
    At a{};
    a.Num = static_cast<uint32_t>(i + 1);
    StrCopy(a.Text, texts[i]);
    StrFormat(a.NewPath, "%s new", texts[i]);
    ASSERT_EQ(TblSaveAt(h, &a, kSaveAdd), 0);
  }
  At a{};
  StrCopy(a.Text, "MIND");
  EXPECT_EQ(TblFindFullAt(h, &a, 1, kFindEqual), kErrEnd);
  ASSERT_EQ(TblFindFullAtByText(h, &a, 1, kFindEqual), 0);
  EXPECT_STREQ(a.NewPath, "Mind new");
  StrCopy(a.Text, "head");
  ASSERT_EQ(TblFindFullAtByText(h, &a, 3, kFindAtOrAfter), 0);
  EXPECT_STREQ(a.Text, "HEAD");
  ASSERT_EQ(TblFindFullAt(h, &a, 3, kFindNext), 0); // bytewise: HEAD, Mind, eye
  EXPECT_STREQ(a.Text, "Mind");
  ASSERT_EQ(TblFindFullAt(h, &a, 1, kFindNext), 0);
  EXPECT_STREQ(a.Text, "eye");
}

TEST_F(StoreTest, ViewWalkByKey1) {
  TblHandle h = TblCreateView("View", 1, 1);
  ASSERT_NE(h, 0);
  for (int v : {3, 1, 2}) {
    View w{};
    w.ViewNumber = static_cast<uint8_t>(v);
    w.AuthorBits[v] = 0x80 >> v;
    ASSERT_EQ(TblSaveView(h, &w, kSaveAdd), 0);
  }
  View w{};
  std::vector<int> order;
  for (int rc = TblFindFullView(h, &w, 1, kFindFirst); rc == 0;
       rc = TblFindFullView(h, &w, 1, kFindNext)) {
    order.push_back(w.ViewNumber);
    EXPECT_EQ(w.AuthorBits[w.ViewNumber], 0x80 >> w.ViewNumber);
  }
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

// ---------------------------------------------------------------- keynotes,
// patient family

TEST_F(StoreTest, PatientFamilyDefDiagAndKeynotes) {
  ASSERT_EQ(TblCreatePatientFamily("patient"), 0);
  for (const char *ext :
       {".da3", ".da4", ".da5", ".da6", ".id3", ".id4", ".id5", ".id6"})
    EXPECT_TRUE(std::filesystem::exists(root_ / (std::string("patient") + ext)))
        << ext;
  EXPECT_EQ(TblCreatePatientFamily("patient"), kErrExists);
  TblHandle h = TblOpenGeneric("patient", kGenDiag, 1, 1);
  ASSERT_NE(h, 0) << OrvixError;
  GenericRecord g;
  g.CursorState = 0xff;
  TblClearGeneric(&g);
  g.Id = 4;
  g.Length = 3;
  memcpy(g.Data, "a\0b", 3);
  ASSERT_EQ(TblSaveGeneric(h, &g, kSaveAdd), 0);
  EXPECT_EQ(TblSaveGeneric(h, &g, kSaveAdd), kErrDuplicate);
  ASSERT_EQ(DbCloseFile(h), 0);
  std::filesystem::remove(root_ / "patient.id5");
  EXPECT_EQ(TblRebuildPatient("patient", 0, 1), 0);
  EXPECT_EQ(TblRebuildConsultation("patient", 0, 1), 0);
  EXPECT_EQ(TblRebuildDiag("patient", 0, 1), 0);
  EXPECT_EQ(TblRebuildPrem("patient", 0, 1), 0);
  h = TblOpenGeneric("patient", kGenDiag, 1, 1);
  ASSERT_NE(h, 0);
  GenericRecord r;
  TblClearGeneric(&r);
  r.Id = 4;
  ASSERT_EQ(TblFindFullGeneric(h, &r, 0, kFindEqual), 0);
  EXPECT_EQ(r.Length, 3);
  EXPECT_EQ(memcmp(r.Data, "a\0b", 3), 0);
  EXPECT_EQ(TblOpenGeneric("patient", 99, 1, 1), 0);

  for (int i = 1; i <= 7; ++i) {
    char path[32];
    StrFormat(path, "%s%d", "diag", i);
    TblHandle d = TblCreateDefDiag(path, 1, 1);
    ASSERT_NE(d, 0) << i;
    ASSERT_EQ(DbCloseFile(d), 0);
    EXPECT_EQ(TblRebuildDefDiag(path, 0, 1), 0);
  }
  EXPECT_TRUE(std::filesystem::exists(root_ / "diag7.idx"));

  EXPECT_EQ(TblOpenKeynote("personal", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrNoFile);
  TblHandle k = TblCreateKeynote("personal", 1, 1);
  ASSERT_NE(k, 0);
  ASSERT_EQ(DbCloseFile(k), 0);
  EXPECT_EQ(TblRebuildKeynote("personal", 0, 1), 0);
  EXPECT_NE(TblOpenKeynote("personal", 1, 1), 0);
}

TEST_F(StoreTest, HandlesOfOneFamilyRefuseAnother) {
  TblHandle s = TblCreateSymptom("sym", 1, 1);
  ASSERT_NE(s, 0);
  Remed r{};
  EXPECT_EQ(TblFindFullRemed(s, &r, 0, kFindFirst), kErrBadArg);
  EXPECT_EQ(TblSaveRemed(s, &r, kSaveAdd), kErrBadArg);
  EXPECT_EQ(TblSaveSymptom(s, nullptr, kSaveAdd), kErrBadArg);
  EXPECT_EQ(TblSaveSymptom(s, nullptr, 3), kErrBadArg);
  EXPECT_EQ(DbCountEntries(0), 0);
  EXPECT_EQ(OrvixError, kErrNotOpen);
  // The same files cannot be opened as another family.
  ASSERT_EQ(DbCloseFile(s), 0);
  EXPECT_EQ(TblOpenRemed("sym", 1, 1), 0);
  EXPECT_EQ(OrvixError, kErrDamaged);
  EXPECT_EQ(TblRebuildRemed("sym", 0, 1), kErrDamaged); // not rewritten
  EXPECT_NE(TblOpenSymptom("sym", 1, 1), 0);
}

} // namespace
