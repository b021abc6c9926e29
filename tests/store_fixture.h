// A scratch folder as the current folder for each store test; every table
// the test leaves open is closed and the folder removed afterwards.
#pragma once

#include "platform/strutil.h"
#include "store/store.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

class StoreTest : public FolderTest {
protected:
  explicit StoreTest(const char *tag = "store") : FolderTest(tag) {}
  void SetUp() override {
    Enter();
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
  }
  void TearDown() override { DbTerminate("A-Mantrel"); }
};

// A symptom record with the given numbers and texts and no remedies.
inline Symptom MakeSymptom(uint32_t num, uint16_t sub, uint32_t pnum,
                           uint16_t psub, const char *text1,
                           int32_t uniqueId = 0) {
  Symptom s;
  memset(&s, 0, sizeof s);
  s.CursorState = 0xff;
  s.Num = num;
  s.Sub = sub;
  s.ParentNum = pnum;
  s.ParentSub = psub;
  s.UniqueId = uniqueId;
  StrCopy(s.Text1, text1);
  return s;
}

// Adds a symptom of this place and level, with its texts in both languages
// and its first synonym, and no remedies.
inline void SaveSymptom(TblHandle h, uint32_t num, uint16_t sub, uint32_t pnum,
                        uint16_t psub, uint8_t level, const char *text1,
                        const char *text2 = "", const char *synonym1 = "") {
  Symptom s = MakeSymptom(num, sub, pnum, psub, text1);
  s.Level = level;
  StrCopy(s.Text2, text2);
  StrCopy(s.Synonym1, synonym1);
  ASSERT_EQ(TblSaveSymptom(h, &s, kSaveAdd), 0) << text1;
  TblFreeSymptomRemed(&s);
}

// A resource of this type and id holding `text`.
inline Resource MakeResource(uint32_t type, uint32_t id, const char *text) {
  Resource r{};
  r.Type = type;
  r.Id = id;
  r.Length = static_cast<uint32_t>(StrCopy(r.Text, text));
  return r;
}

// Remedies, or authors, by number and abbreviation, added to a table.
using IdAbbrevs = std::initializer_list<std::pair<int, const char *>>;
template <typename Rec>
inline void AddIdAbbrevs(TblHandle h, IdAbbrevs rows, void (*clear)(Rec *),
                         int (*save)(TblHandle, Rec *, int)) {
  for (auto [id, abbrev] : rows) {
    Rec r;
    r.CursorState = 0xff;
    clear(&r);
    r.Id = static_cast<uint16_t>(id);
    StrCopy(r.Abbrev, abbrev);
    ASSERT_EQ(save(h, &r, kSaveAdd), 0) << abbrev;
  }
}
inline void AddRemedies(TblHandle h, IdAbbrevs rows) {
  AddIdAbbrevs<Remed>(h, rows, TblClearRemed, TblSaveRemed);
}
inline void AddAuthors(TblHandle h, IdAbbrevs rows) {
  AddIdAbbrevs<Author>(h, rows, TblClearAuthor, TblSaveAuthor);
}

// Empty records of the chained-list families, as keys or to be filled.
inline Extract BlankExtract(uint16_t remedy, uint8_t seq = 0) {
  Extract x;
  x.CursorState = 0xff;
  TblClearExtract(&x);
  x.RemedyId = remedy;
  x.Seq = seq;
  return x;
}
inline Word BlankWord(const char *text, uint8_t seq = 0) {
  Word x;
  x.CursorState = 0xff;
  TblClearWord(&x);
  StrCopy(x.Text, text);
  x.Seq = seq;
  return x;
}

// What `write` writes to the stream it is given.
inline std::string Captured(const std::function<void(FILE *)> &write) {
  char *buf = nullptr;
  size_t len = 0;
  FILE *out = open_memstream(&buf, &len);
  write(out);
  fclose(out);
  std::string s(buf, len);
  free(buf);
  return s;
}

// Runs `writer` in a child that tells what it has done as ints through the
// pipe it is given, kills the child after `waitUs` (counted from the moment
// it has told `first` things, so that a loaded machine still lets it make
// progress), and fills *told with what it told. The writer never ends by
// itself.
inline void KillWriter(const std::function<void(int fd)> &writer, int waitUs,
                       std::vector<int> *told, int first = 0) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(fds[0]);
    writer(fds[1]);
    _exit(0);
  }
  close(fds[1]);
  int v;
  for (int n = 0; n < first && read(fds[0], &v, sizeof v) == sizeof v; ++n)
    told->push_back(v);
  usleep(static_cast<useconds_t>(waitUs));
  kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  while (read(fds[0], &v, sizeof v) == sizeof v)
    told->push_back(v);
  close(fds[0]);
  ASSERT_TRUE(WIFSIGNALED(status)) << "writer ended by itself: " << status;
}

// A Symptom record that owns its remedy array: the store grows the array on
// a read, and the record frees it when it goes. Copies get no array.
struct SymRec : Symptom {
  SymRec(const Symptom &o) : Symptom(o) { Remedies = nullptr; }
  SymRec(const SymRec &o) : Symptom(o) { Remedies = nullptr; }
  SymRec &operator=(const Symptom &o) {
    SymptomRemedy *mine = Remedies;
    static_cast<Symptom &>(*this) = o;
    Remedies = mine;
    return *this;
  }
  SymRec &operator=(const SymRec &o) {
    return *this = static_cast<const Symptom &>(o);
  }
  ~SymRec() { TblFreeSymptomRemed(this); }
};
