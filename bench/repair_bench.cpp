// How fast the repairs go on data of the size people have: builds in a
// scratch folder the 250,000-symptom repertory of bench_repertory.h with its
// word index, Extract table, notes, view and a log of 10,000 entries, the
// Remed and Author tables, and a cases file of 10,000 cases with 100,000
// symptom rows; then times, each in a process of its own so that its peak
// resident memory is its own:
//   - /BUILD of a list naming every table of the repertory (RebuildFromList,
//     every index deleted first);
//   - the repair of the cases file through text (DownloadCases and
//     UploadCases, backups, dump, reload, recount, change of places).
//
//   repair_bench [--count N] [--cases N] [--keep]
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "bench_repertory.h"
#include "ops/wordindex.h"
#include "platform/files.h"
#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "repair/cases.h"
#include "repair/rebuild.h"
#include "services/config.h"
#include "session/session.h"
#include "store/store.h"
#include "transfers/extractbuild.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

using namespace bench;

namespace bench {
const char *const BenchName = "repair_bench";
} // namespace bench

namespace {

bool BuildRepertory(const std::vector<Planned> &plan) {
  std::filesystem::create_directory("rep");
  TblHandle h = TblCreateSymptom("rep\\symptom", 1, 1);
  TblHandle w1 = TblCreateWord("rep\\word1", 1, 1);
  TblHandle w2 = TblCreateWord("rep\\word2", 1, 1);
  TblHandle notes = TblCreateNote("rep\\Note", 1, 1);
  if (!Check(h != 0 && w1 != 0 && w2 != 0 && notes != 0, "repertory tables"))
    return false;
  static Symptom s;
  SymptomRemedy *arr = TblAllocSymptomRemed(64);
  static char text1[kNoteTextSize], text2[kNoteTextSize];
  for (const Planned &p : plan) {
    FillSymptom(s, p, arr);
    if (!Check(TblSaveSymptom(h, &s, kSaveAdd) == 0, "symptom"))
      return false;
    if (p.uniqueId % 20 == 0) {
      Note n;
      memset(static_cast<void *>(&n), 0, sizeof n);
      n.CursorState = 0xff;
      n.Num = p.at.num;
      n.Sub = p.at.sub;
      n.Text1 = text1;
      n.Text2 = text2;
      StrFormat(text1, sizeof text1, "Note on %s", p.text1);
      StrFormat(text2, sizeof text2, "Note sur %s", p.text2);
      if (!Check(TblSaveNote(notes, &n, kSaveAdd) == 0, "note"))
        return false;
    }
  }
  TblFreeSymptomRemed(&s);
  // The word index in book order, as the builder of a repertory makes it.
  for (const Planned &p : plan)
    if (!Check(WordIndexAdd(h, w1, w2, p.text1, p.text2, p.at.num, p.at.sub) ==
                   0,
               "word index"))
      return false;
  for (TblHandle t : {notes, w2, w1, h})
    DbCloseFile(t);
  ExtractBuildHooks hooks{nullptr, nullptr, nullptr, nullptr};
  if (!Check(ExtractBuild("rep\\symptom", "rep\\extract", "rem", "rep\\",
                          hooks) == kExtractOk,
             "Extract build"))
    return false;
  DbCloseFile(TblCreateLink("rep\\Link", 1, 1));
  TblHandle v = TblCreateView("rep\\view", 1, 1);
  View x;
  memset(&x, 0, sizeof x);
  x.CursorState = 0xff;
  x.ViewNumber = 1;
  bool ok = v != 0 && TblSaveView(v, &x, kSaveAdd) == 0;
  DbCloseFile(v);
  if (!Check(ok, "view"))
    return false;
  // The repertory's own log: 10,000 entries.
  std::filesystem::create_directory("logs");
  TblHandle log = TblCreateRlog("logs\\BREP", 0, 1, 3);
  if (!Check(log != 0, "log"))
    return false;
  static char buffer[kLogTextSize];
  for (int n = 1; n <= 10000; ++n) {
    LogEntry e;
    memset(&e, 0, sizeof e);
    e.endMark = 0xff;
    e.text = buffer;
    StrFormat(buffer, sizeof buffer, "%s: R%d. added",
              plan[static_cast<size_t>(n) % plan.size()].text1, n % 3000 + 1);
    e.number = n;
    e.operation = 2;
    e.date = 739000;
    e.time = static_cast<uint32_t>(n);
    if (!Check(TblSaveRlog(log, &e, kSaveAdd) == 0, "log entry"))
      return false;
  }
  return Check(DbCloseFile(log) == 0, "log close");
}

bool BuildCases(int cases) {
  std::filesystem::create_directory("cases");
  TblHandle h1 = TblCreateCas1("cases\\bench", 1, 1);
  TblHandle h2 = TblCreateCas2("cases\\bench", 1, 1);
  if (!Check(h1 != 0 && h2 != 0, "cases tables"))
    return false;
  static Cas1 head;
  static Cas2 line;
  head.CursorState = line.CursorState = 0xff;
  for (int c = 1; c <= cases; ++c) {
    TblClearCas1(&head);
    head.CaseId = static_cast<uint16_t>(c);
    head.Created = 730000 + c;
    head.Changed = 731000 + c;
    StrFormat(head.Name, "Patient %05d", c);
    StrFormat(head.Comment, "Case %d, seen for a chronic complaint", c);
    for (int k = 0; k < 3; ++k)
      StrFormat(head.Texts[k], "Clipboard %d", k + 1);
    // Ten rows in three clipboards; one count in seven is wrong.
    int counts[3] = {4, 3, 3};
    for (int k = 0; k < 3; ++k)
      head.Values[k] = static_cast<uint16_t>(counts[k] + (c % 7 == 0));
    for (int r = 0; r < 10; ++r) {
      TblClearCas2(&line);
      line.CaseId = head.CaseId;
      line.Sequence = static_cast<uint8_t>(r < 4 ? 0 : r < 7 ? 1 : 2);
      line.Entry = static_cast<uint16_t>(r + 1);
      line.Byte11 = static_cast<uint8_t>(r == 5 && c % 11 == 0 ? 16 : 1);
      line.Byte12 = 1;
      line.Byte13 = 'A';
      line.Byte14 = 2;
      line.Value8 = c * 10 + r;
      MakeText(line.Text1, sizeof line.Text1, line.Text2, sizeof line.Text2);
      TblFreeCas2Symptoms(&line);
      int rems = Pick(3, 8);
      line.Symptoms = TblAllocCas2Symptoms(rems + 1);
      for (int k = 0; k < rems; ++k)
        line.Symptoms[k] = Cas2Symptom{static_cast<uint16_t>(Pick(1, 3000)),
                                       static_cast<uint16_t>(Pick(1, 900)),
                                       static_cast<uint8_t>(Pick(1, 4))};
      if (!Check(TblSaveCas2(h2, &line, kSaveAdd) == 0, "case row"))
        return false;
    }
    if (!Check(TblSaveCas1(h1, &head, kSaveAdd) == 0, "case"))
      return false;
  }
  TblFreeCas2Symptoms(&line);
  DbCloseFile(h2);
  DbCloseFile(h1);
  return true;
}

void Setup() {
  XvtReset();
  setenv("MANTREL_UI", "scripted", 1);
  unsetenv("MANTREL_SCRIPT");
  StrCopy(RemedyCatalogName, "rem");
  StrCopy(AuthorCatalogName, "aut");
  StrCopy(LogFileDir, "logs");
  StrCopy(NetLogFileDir, "logs");
  memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
  StrCopy(CurrentCatalog.RepertoryBlock.Title, "Repertorium bench");
}

// The timed phases, each in a process of its own (the program re-runs
// itself), so that the peak memory is the phase's.
int Phase(const char *what) {
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;
  Setup();
  auto w0 = Clock::now();
  double c0 = CpuNow();
  if (strcmp(what, "build") == 0) {
    RebuildFromList("list.txt");
  } else {
    // The cases file sits where the repair expects one: ..\cases.
    std::filesystem::current_path("bin");
    long total = DownloadCases("..\\cases\\bench", "..\\cases\\casetmp");
    UploadCases("..\\cases\\bench", "..\\cases\\casetmp", total);
    if (!CasesCounts.Replaced) {
      fprintf(stderr, "repair_bench: the cases repair did not replace\n");
      return 1;
    }
  }
  double cpu = CpuNow() - c0, wall = Seconds(w0);
  printf("%s: wall %.2f s, CPU %.2f s, peak resident %.1f MB, load %.2f", what,
         wall, cpu, PeakKb() / 1024.0, LoadAverage());
  if (strcmp(what, "cases") == 0)
    printf(" (%ld cases, %ld rows dumped and loaded, %ld counts put right)",
           CasesCounts.CasesDumped, CasesCounts.SymptomsDumped,
           CasesCounts.Recounted);
  printf("\n");
  DbTerminate("A-Mantrel");
  return 0;
}

int RunPhase(const char *self, const char *what) {
  return RunSelf(self, {"--phase", what});
}

} // namespace

int main(int argc, char **argv) {
  if (argc == 3 && strcmp(argv[1], "--phase") == 0)
    return Phase(argv[2]);
  int count = 250000, cases = 10000;
  bool keep = false;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--keep") == 0) {
      keep = true;
      continue;
    }
    long v = i + 1 < argc ? strtol(argv[i + 1], nullptr, 10) : 0;
    if (strcmp(argv[i], "--count") == 0 && i + 1 < argc)
      count = static_cast<int>(std::clamp(v, 1000L, 5000000L));
    else if (strcmp(argv[i], "--cases") == 0 && i + 1 < argc)
      cases = static_cast<int>(std::clamp(v, 10L, 65000L));
    else {
      fprintf(stderr, "usage: repair_bench [--count N] [--cases N] [--keep]\n");
      return 2;
    }
    ++i;
  }
  std::string self = std::filesystem::canonical("/proc/self/exe").string();
  char dir[] = "/tmp/mantrel-repair-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    perror("repair_bench: mkdtemp");
    return 1;
  }
  std::filesystem::path old = std::filesystem::current_path();
  std::filesystem::current_path(dir);
  std::filesystem::create_directory("bin");
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;
  Setup();
  int rc = 1;
  do {
    auto t0 = Clock::now();
    fprintf(stderr, "building %d symptoms and %d cases in %s\n", count, cases,
            dir);
    std::vector<Planned> plan = Plan(count);
    if (!BuildRemedyAuthorTables() || !BuildRepertory(plan) ||
        !BuildCases(cases))
      break;
    plan.clear();
    plan.shrink_to_fit();
    fprintf(stderr, "built in %.1f s\n", Seconds(t0));
    // Every table of the repertory, as an installer's list names them.
    std::ofstream("list.txt")
        << "SYMPTOM|rep\\symptom\nWORD|rep\\word1\nWORD|rep\\word2\n"
        << "EXTRACT|rep\\extract\nVIEW|rep\\view\nNOTE|rep\\Note\n"
        << "LINK|rep\\Link\nLOGFILE|logs\\BREP\nREMED|rem\nAUTHOR|aut\n";
    DbTerminate("A-Mantrel");
    sync();
    for (auto &e : std::filesystem::recursive_directory_iterator("."))
      if (e.path().extension() == ".idx")
        std::filesystem::remove(e.path());
    for (auto &e : std::filesystem::directory_iterator("rep"))
      printf("  %-16s %8.1f MB\n", e.path().filename().c_str(),
             static_cast<double>(std::filesystem::file_size(e.path())) / 1e6);
    fflush(stdout);
    rc = RunPhase(self.c_str(), "build");
    if (rc == 0)
      rc = RunPhase(self.c_str(), "cases");
  } while (false);
  std::filesystem::current_path(old);
  if (!keep)
    std::filesystem::remove_all(dir);
  return rc;
}
