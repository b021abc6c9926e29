// The reference text of a log entry, any bytes: a list taken apart, put
// together, sorted and rid of doubles, and each entry resolved, normalised
// and shortened against a small tree of symptoms. The entries of a list
// read back the same once joined; nothing reads or writes past a field.
#include "fuzz_support.h"
#include "ops/reftext.h"
#include "platform/strutil.h"
#include "store/store.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

TblHandle Symptoms = 0;

// The table and the store are closed before the process ends, so that the
// leak check at exit sees nothing of them.
void CloseStore() {
  if (Symptoms != 0)
    DbCloseFile(Symptoms);
  Symptoms = 0;
  DbTerminate("A-Mantrel");
}

// Mind 1.0 > fear 1.1 > night 1.2, Mind > anxiety 2.0 > 3 - 5 h 2.1,
// Head 5.0 > pain (dull - pressing) 5.1.
void BuildTree() {
  Symptoms = TblCreateSymptom("symptom", 1, 1);
  if (Symptoms == 0)
    abort();
  struct Row {
    uint32_t num;
    uint16_t sub;
    uint32_t pn;
    uint16_t ps;
    uint8_t level, chapter;
    const char *t1, *t2;
  } rows[] = {
      {1, 0, 0, 0, 1, 1, "Mind", "Psychisme"},
      {1, 1, 1, 0, 2, 1, "fear", "peur"},
      {1, 2, 1, 1, 3, 1, "night", "nuit"},
      {2, 0, 1, 0, 2, 1, "anxiety", "anxi\xe9t\xe9"},
      {2, 1, 2, 0, 3, 1, "3 - 5 h", "3 - 5 h"},
      {5, 0, 0, 0, 1, 2, "Head", "T\xeate"},
      {5, 1, 5, 0, 2, 2, "pain (dull - pressing)", "douleur"},
  };
  for (const Row &r : rows) {
    static Symptom s;
    memset(&s, 0, sizeof s);
    s.CursorState = 0xff;
    s.Num = r.num;
    s.Sub = r.sub;
    s.ParentNum = r.pn;
    s.ParentSub = r.ps;
    s.Level = r.level;
    s.Chapter = r.chapter;
    StrCopy(s.Text1, r.t1);
    StrCopy(s.Text2, r.t2);
    s.Remedies = TblAllocSymptomRemed(1);
    if (TblSaveSymptom(Symptoms, &s, kSaveAdd) != 0)
      abort();
    TblFreeSymptomRemed(&s);
  }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  AbsoluteArguments(argc, argv);
  EnterScratchFolder("reftext");
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    abort();
  atexit(CloseStore);
  BuildTree();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string text(reinterpret_cast<const char *>(data), size);
  text = text.substr(0, strnlen(text.c_str(), text.size()));
  if (text.size() > kRefWorkLimit)
    return 0;

  std::vector<std::string> entries;
  int count = RefSplitList(text.c_str(), &entries);
  if (count != static_cast<int>(entries.size()) ||
      RefSplitList(text.c_str(), nullptr) != count)
    abort();
  for (const std::string &e : entries)
    if (e.empty() || e.front() == ' ' || e.back() == ' ' || e.back() == '-')
      abort();
  std::vector<std::string> again;
  RefSplitList(RefJoinList(entries).c_str(), &again);
  if (again != entries)
    abort();
  RefDropDuplicates(&entries);
  RefSortList(&entries);
  if (RefSortList(&entries))
    abort(); // a sorted list stays as it is

  // Against the tree, from each symptom, in both languages.
  for (uint32_t num : {1u, 2u, 5u})
    for (uint16_t sub : {0, 1}) {
      for (int language : {0, 1}) {
        std::string list = text;
        RefNormalizeList(Symptoms, num, sub, &list, language, language + 1);
        if (list.size() > kRefWorkLimit + kRefWorkLimit)
          abort();
        std::vector<std::string> shortened = entries;
        RefShortenList(Symptoms, num, sub, &shortened, language);
        for (const std::string &e : entries) {
          uint32_t n;
          uint16_t s;
          RefResolve(Symptoms, num, sub, e.c_str(), language, nullptr, "x", &n,
                     &s);
        }
      }
    }
  RefForgetReported();
  std::string words = RefWordsOf(text.c_str());
  if (words.size() > text.size())
    abort();
  return 0;
}
