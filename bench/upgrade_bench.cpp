// How fast a user's log moves to a new edition: builds in a scratch folder
// a new edition of 250,000 symptoms (bench_repertory.h, no two siblings of
// one text), the association table of the old edition beside it (one row a
// symptom of the old edition: one in ten had another text, one in a hundred
// stood a level higher, about 3.5 in a thousand are gone from the new
// edition, and the new one has as many that the old lacked), an index, and
// rename lists of 500 remedies and 100 authors; writes an old-edition log
// of 10,000 remedy operations without unique ids, with old paths and, for
// one entry in five, old abbreviations. Then times the translation alone
// (LogTranslateEntry over every entry, in memory) and the run that
// /UPGRADEASSOC starts after its backup: the user-defined lists, and
// LogRunTable in association mode keeping the own log of the new edition,
// with no Progress window. The backup itself is the copy program's and is
// timed by backup_bench. Last it counts the levels the run re-created and
// the entries that needed them.
//
//   upgrade_bench [--count N] [--entries N] [--dropped N] [--keep]
//
// --dropped: leaves in ten thousand that the new edition dropped (50).
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "bench_repertory.h"
#include "logentry/logentry.h"
#include "logentry/tally.h"
#include "logrun/logrun.h"
#include "logrun/translate.h"
#include "ops/subject.h"
#include "ops/verify.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "shell/menu.h"
#include "store/records.h"
#include "store/store.h"
#include "store/strdate.h"
#include "transfers/extractbuild.h"
#include "transfers/userremedies.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace bench {
const char *const BenchName = "upgrade_bench";
} // namespace bench

namespace {

using namespace bench;

size_t IndexOf(const Numbered &n) {
  return (n.num - 1) * 1000 + n.sub;
}

constexpr size_t kNone = SIZE_MAX;

// What became of a symptom of the old edition in the new one.
enum class Fate : uint8_t {
  kKept,    // the same text below the same parent (it may be renamed)
  kMoved,   // the old edition had it one level higher, below its grandparent
  kDropped, // the new edition no longer has it: "<deleted>" in the table
  kAdded,   // new in the new edition (say the other half of a split): no row
};

// The old edition beside the planned new one, by planned index.
struct Edition {
  std::vector<Fate> fate;
  std::vector<std::string> oldText;
  std::vector<size_t> oldParent; // kNone for a chapter
  int renamed = 0, moved = 0, dropped = 0, added = 0;
};
Edition Old;

size_t ParentOf(const std::vector<Planned> &plan, size_t i) {
  return plan[i].parent.num == 0 ? kNone : IndexOf(plan[i].parent);
}

std::string Upper(std::string t) {
  for (char &c : t)
    c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return t;
}

// A repertory has no two siblings of one text: the generator's random
// texts do (one symptom in 65 at 50,000), and a path through the second
// of two equal siblings can then be found neither in the association
// table nor in the new edition, which the run answers with re-created
// levels or a refusal for a doubled symptom. A doubled text takes another
// word, in both languages, until it is alone among its siblings.
void DistinctSiblings(std::vector<Planned> &plan) {
  std::set<std::pair<size_t, std::string>> seen1, seen2;
  for (size_t i = 0; i < plan.size(); ++i) {
    Planned &p = plan[i];
    size_t parent = ParentOf(plan, i);
    while (seen1.count({parent, Upper(p.text1)}) != 0 ||
           seen2.count({parent, Upper(p.text2)}) != 0) {
      int w = Pick(0, kWordCount - 1);
      StrAppend(p.text1, sizeof p.text1, " ");
      StrAppend(p.text1, sizeof p.text1, kWords1[w]);
      StrAppend(p.text2, sizeof p.text2, " ");
      StrAppend(p.text2, sizeof p.text2, kWords2[w]);
    }
    seen1.insert({parent, Upper(p.text1)});
    seen2.insert({parent, Upper(p.text2)});
  }
}

// The old edition: one symptom in ten had another text; one in a hundred
// (of level 3 or deeper) stood one level higher, its descendants with it;
// five leaves in a thousand (about 3.5 symptoms in a thousand) were dropped
// from the new edition, and five leaves in a thousand are new in it. Old texts
// stay distinct among their old siblings: a move that would double one does not
// happen.
void PlanOldEdition(const std::vector<Planned> &plan, int dropped) {
  size_t n = plan.size();
  Old = Edition{};
  Old.fate.assign(n, Fate::kKept);
  Old.oldText.resize(n);
  Old.oldParent.resize(n);
  std::mt19937 random(20121215);
  auto chance = [&](int per) {
    return std::uniform_int_distribution<int>(0, 9999)(random) < per;
  };
  std::set<std::pair<size_t, std::string>> seen;
  for (size_t i = 0; i < n; ++i) {
    const Planned &p = plan[i];
    bool leaf = i + 1 == n || plan[i + 1].level <= p.level;
    Old.oldParent[i] = ParentOf(plan, i);
    Old.oldText[i] = p.text1;
    if (i % 10 == 3) {
      Old.oldText[i] = "einst " + Old.oldText[i];
      ++Old.renamed;
    }
    if (leaf && p.level >= 2 && chance(dropped)) {
      Old.fate[i] = Fate::kDropped;
      ++Old.dropped;
    } else if (leaf && p.level >= 2 && chance(50)) {
      Old.fate[i] = Fate::kAdded;
      ++Old.added;
      continue;
    } else if (p.level >= 3 && chance(100)) {
      size_t up = ParentOf(plan, Old.oldParent[i]);
      if (seen.count({up, Upper(Old.oldText[i])}) == 0) {
        Old.fate[i] = Fate::kMoved;
        Old.oldParent[i] = up;
        ++Old.moved;
      }
    }
    seen.insert({Old.oldParent[i], Upper(Old.oldText[i])});
  }
  // A move below the grandparent may meet a sibling planned after it, and
  // a move given up may meet a nephew moved up: moves that double a text
  // are given up until none does.
  for (bool changed = true; changed;) {
    changed = false;
    std::map<std::pair<size_t, std::string>, std::vector<size_t>> holders;
    for (size_t i = 0; i < n; ++i)
      if (Old.fate[i] != Fate::kAdded)
        holders[{Old.oldParent[i], Upper(Old.oldText[i])}].push_back(i);
    for (auto &[key, list] : holders) {
      if (list.size() < 2)
        continue;
      for (size_t i : list)
        if (Old.fate[i] == Fate::kMoved) {
          Old.fate[i] = Fate::kKept;
          Old.oldParent[i] = ParentOf(plan, i);
          --Old.moved;
          changed = true;
        }
    }
  }
}

// A path of planned symptom i, old or new, joined by `sep`.
std::string PathOf(const std::vector<Planned> &plan, size_t i, bool old,
                   const char *sep) {
  std::vector<std::string> levels;
  for (; i != kNone; i = old ? Old.oldParent[i] : ParentOf(plan, i))
    levels.push_back(old ? Old.oldText[i] : std::string(plan[i].text1));
  std::string path;
  for (size_t k = levels.size(); k-- > 0;) {
    if (!path.empty())
      path += sep;
    path += levels[k];
  }
  return path;
}

bool BuildCatalogues() {
  if (!BuildRemedyAuthorTables("..\\system\\rem", "..\\system\\aut"))
    return false;

  TblHandle cat = TblCreateCatalog("..\\system\\cat", 1, 1);
  if (!Check(cat != 0, "catalogue"))
    return false;
  Catalog old;
  memset(&old, 0, sizeof old);
  old.CursorState = 0xff;
  old.Kind = 1;
  old.Id = 1;
  StrCopy(old.Abbrev, "BREP2009");
  StrCopy(old.RepertoryBlock.Title, "Repertorium 2009");
  memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
  CurrentCatalog.CursorState = 0xff;
  CurrentCatalog.Kind = 1;
  CurrentCatalog.Id = 2;
  StrCopy(CurrentCatalog.Abbrev, "BREP2012");
  StrCopy(CurrentCatalog.RepertoryBlock.Title, "Repertorium 2012");
  const char *tables[] = {"symptom", "chapter", "extract", "word1",
                          "word2",   "view",    ""};
  for (int i = 0; i < kCatPathCount; ++i)
    StrFormat(CurrentCatalog.RepertoryBlock.Paths[i], "..\\data\\rep\\%s",
              tables[i]);
  bool ok = TblSaveCatalog(cat, &old, kSaveAdd) == 0 &&
            TblSaveCatalog(cat, &CurrentCatalog, kSaveAdd) == 0;
  DbCloseFile(cat);
  return Check(ok, "catalogue entries");
}

bool BuildRepertory(const std::vector<Planned> &plan) {
  TblHandle h = TblCreateSymptom("..\\data\\rep\\symptom", 1, 1);
  if (!Check(h != 0, "Symptom table"))
    return false;
  Symptom s;
  SymptomRemedy *arr = TblAllocSymptomRemed(64);
  for (size_t i = 0; i < plan.size(); ++i) {
    if (Old.fate[i] == Fate::kDropped)
      continue;
    FillSymptom(s, plan[i], arr);
    // The new edition of this bench holds no references or synonyms: the
    // transfer is timed on paths, remedies and authors.
    s.CrossRef1[0] = s.Synonym1[0] = '\0';
    if (!Check(TblSaveSymptom(h, &s, kSaveAdd) == 0, "symptom"))
      return false;
  }
  TblFreeSymptomRemed(&s);
  DbCloseFile(h);
  ExtractBuildHooks hooks{nullptr, nullptr, nullptr, nullptr};
  if (!Check(ExtractBuild("..\\data\\rep\\symptom", "..\\data\\rep\\extract",
                          "..\\system\\rem", "..\\data\\rep\\",
                          hooks) == kExtractOk,
             "Extract build"))
    return false;
  for (const char *w : {"..\\data\\rep\\word1", "..\\data\\rep\\word2"})
    DbCloseFile(TblCreateWord(w, 1, 1));
  DbCloseFile(TblCreateNote("..\\data\\rep\\Note", 1, 1));
  DbCloseFile(TblCreateLink("..\\data\\rep\\Link", 1, 1));
  DbCloseFile(TblCreateView("..\\data\\rep\\View", 1, 1));
  return true;
}

bool BuildAssociation(const std::vector<Planned> &plan) {
  TblHandle h = TblCreateAt("..\\data\\at\\atbench", 1, 1);
  if (!Check(h != 0, "association table"))
    return false;
  static At rec;
  for (size_t i = 0; i < plan.size(); ++i) {
    if (Old.fate[i] == Fate::kAdded)
      continue;
    const Planned &p = plan[i];
    rec.CursorState = 0xff;
    TblClearAt(&rec);
    // The old edition's records keep the new one's numbers.
    rec.Num = p.at.num;
    rec.Sub = p.at.sub;
    if (size_t up = Old.oldParent[i]; up != kNone) {
      rec.ParentNum = plan[up].at.num;
      rec.ParentSub = plan[up].at.sub;
    }
    StrCopy(rec.Text, Old.oldText[i].c_str());
    StrCopy(rec.NewPath, Old.fate[i] == Fate::kDropped
                             ? "<deleted>"
                             : PathOf(plan, i, false, " - ").c_str());
    if (!Check(TblSaveAt(h, &rec, kSaveAdd) == 0, "association row"))
      return false;
  }
  DbCloseFile(h);
  FILE *f = PlatOpenFile("..\\data\\at\\index.txt", "wb");
  FILE *rem = PlatOpenFile("..\\data\\at\\remed.txt", "wb");
  FILE *aut = PlatOpenFile("..\\data\\at\\author.txt", "wb");
  if (!Check(f && rem && aut, "association lists"))
    return false;
  fputs("BREP2012|BREP2009|BREP2009|atbench|\n", f);
  for (int id = 1; id <= 500; ++id)
    fprintf(rem, "Old%d.|R%d.\n", id, id);
  for (int id = 1; id <= 100; ++id)
    fprintf(aut, "old%d|A%d\n", id, id);
  fclose(f);
  fclose(rem);
  fclose(aut);
  return true;
}

// The old edition's log: remedy operations on distinct symptoms, by their
// old paths, without unique ids; one in five names its remedy and author
// as the old edition did.
bool WriteLog(const std::vector<Planned> &plan, int entries,
              std::vector<size_t> *named) {
  TblHandle log = TblCreateRlog("..\\log\\BREP2009", 0, 1, 3);
  if (!Check(log != 0, "log"))
    return false;
  std::vector<size_t> order;
  for (size_t i = 0; i < plan.size(); ++i)
    if (Old.fate[i] != Fate::kAdded)
      order.push_back(i);
  std::shuffle(order.begin(), order.end(), gRandom);
  long date = 0;
  DateYMDToLong(2010, 3, 15, &date);
  static char buffer[kLogTextSize];
  for (int n = 0; n < entries; ++n) {
    size_t i = order[static_cast<size_t>(n) % order.size()];
    named->push_back(i);
    const Planned &p = plan[i];
    int present = static_cast<int>(p.remedies.size()) - 1;
    const SymptomRemedy &old =
        p.remedies[static_cast<size_t>(Pick(0, present - 1))];
    char rem[32], aut[32];
    int op, r = Pick(0, 99);
    std::string tail;
    if (r < 50) {
      op = OpAddRemedy;
      int id;
      do
        id = Pick(1, 500);
      while (std::any_of(
          p.remedies.begin(), p.remedies.end(),
          [&](const SymptomRemedy &x) { return x.RemedyId == id; }));
      if (n % 5 == 0) {
        StrFormat(rem, sizeof rem, "Old%d.", id);
        StrFormat(aut, sizeof aut, "old%d", Pick(1, 100));
      } else {
        RemedyAbbrev(rem, sizeof rem, id);
        AuthorAbbrev(aut, sizeof aut, Pick(1, kAuthorIds));
      }
      tail = std::to_string(Pick(1, 4));
    } else {
      op = OpChangeDegree;
      RemedyAbbrev(rem, sizeof rem, old.RemedyId);
      AuthorAbbrev(aut, sizeof aut, old.AuthorId);
      tail = std::to_string(old.Degree) + kLogFieldSep +
             std::to_string(old.Degree % 4 + 1);
    }
    std::string text = std::string("0") + kLogFieldSep +
                       PathOf(plan, i, true, " \x02 ") + kLogFieldSep + rem +
                       kLogFieldSep + aut + kLogFieldSep + tail;
    LogEntry e;
    LogClearEntry(&e, buffer);
    StrCopy(buffer, kLogTextSize, text.c_str());
    e.number = n + 1;
    e.operation = static_cast<uint16_t>(op);
    e.date = static_cast<uint32_t>(date);
    e.time = static_cast<uint32_t>(36000 + n);
    if (!Check(TblSaveRlog(log, &e, kSaveAdd) == 0, "log entry"))
      return false;
  }
  return Check(DbCloseFile(log) == 0, "log close");
}

// The translation alone: every entry of the log, read into memory first.
bool TimeTranslation(int entries) {
  TblHandle log = TblOpenRlog("..\\log\\BREP2009", 1, 1);
  TblHandle sym = TblOpenSymptom("..\\data\\rep\\symptom", 1, 1);
  OpRemedTable = TblOpenRemed("..\\system\\rem", 1, 1);
  OpAuthorTable = TblOpenAuthor("..\\system\\aut", 1, 1);
  AtTables at;
  char failed[300];
  if (!Check(log && sym && OpRemedTable && OpAuthorTable, "tables") ||
      !Check(AtOpenTables("..\\data\\at\\", "BREP2012", "BREP2009", &at, failed,
                          sizeof failed) == 0,
             "association tables"))
    return false;
  AssociationLists lists;
  AtLoadAssociationLists(&lists);
  std::vector<std::string> texts;
  std::vector<uint16_t> ops;
  static char buffer[kLogTextSize];
  LogEntry e;
  LogClearEntry(&e, buffer);
  for (int r = TblFindFullRlog(log, &e, 0, kFindFirst); r == 0;
       r = TblFindFullRlog(log, &e, 0, kFindNext)) {
    texts.push_back(buffer);
    ops.push_back(e.operation);
  }
  FILE *errors = PlatOpenFile("translate.err", "wb");
  long before = PeakKb();
  int refused = 0;
  auto w0 = Clock::now();
  double c0 = CpuNow();
  for (size_t i = 0; i < texts.size(); ++i) {
    StrCopy(buffer, kLogTextSize, texts[i].c_str());
    e.operation = ops[i];
    e.symptomId = 0;
    refused += LogTranslateEntry(sym, at.First, &e, errors, 1, lists);
  }
  double cpu = CpuNow() - c0, wall = Seconds(w0);
  double n = static_cast<double>(texts.size());
  printf("translation: %zu entries in %.3f s wall (CPU %.3f s): %.0f "
         "entries/s wall, %.0f entries/s CPU; %d refused\n",
         texts.size(), wall, cpu, n / std::max(wall, 1e-9),
         n / std::max(cpu, 1e-9), refused);
  printf("  peak memory: %ld kB before, %ld kB after\n", before, PeakKb());
  if (errors != nullptr)
    fclose(errors);
  AtFreeAssociationLists(&lists);
  AtCloseTables(&at);
  DbCloseFile(OpAuthorTable);
  DbCloseFile(OpRemedTable);
  OpRemedTable = OpAuthorTable = 0;
  OpReleaseRecords();
  DbCloseFile(sym);
  DbCloseFile(log);
  return static_cast<int>(texts.size()) == entries;
}

// The levels the run re-created: the own log's OpAddSymptomBelow entries,
// each with the time of the source entry that needed it (36000 + its
// index). Tells how many entries needed levels and, of those, how many name
// a symptom that the new edition really lacks.
void CountRecreated(const std::vector<Planned> &plan,
                    const std::vector<size_t> &named,
                    const std::vector<bool> &gone) {
  TblHandle own = TblOpenRlog("..\\log\\BREP2012", 0, 1);
  if (own == 0) {
    fprintf(stderr, "upgrade_bench: no own log to count\n");
    return;
  }
  static char buffer[kLogTextSize];
  LogEntry e;
  LogClearEntry(&e, buffer);
  int levels = 0, shown = 0;
  std::vector<bool> needed(named.size());
  for (int r = TblFindFullRlog(own, &e, 0, kFindFirst); r == 0;
       r = TblFindFullRlog(own, &e, 0, kFindNext)) {
    if (e.operation != OpAddSymptomBelow)
      continue;
    ++levels;
    size_t n = e.time - 36000;
    if (n < named.size() && !needed[n]) {
      needed[n] = true;
      if (!gone[named[n]] && shown++ < 5)
        fprintf(stderr, "  re-created for entry %zu (%s): %s\n", n + 1,
                PathOf(plan, named[n], false, " - ").c_str(), buffer);
    }
  }
  DbCloseFile(own);
  int entries = 0, real = 0;
  for (size_t n = 0; n < named.size(); ++n)
    if (needed[n]) {
      ++entries;
      real += gone[named[n]] ? 1 : 0;
    }
  int naming = 0;
  for (size_t i : named)
    naming += gone[i] ? 1 : 0;
  printf("  re-created levels: %d, for %d entries (%d of them name a "
         "symptom the new edition lacks); %d entries name one\n",
         levels, entries, real, naming);
}

void CountFault(const char *fault, void *ctx) {
  int &n = *static_cast<int *>(ctx);
  if (n++ < 10)
    fprintf(stderr, "  fault: %s\n", fault);
}

} // namespace

int main(int argc, char **argv) {
  int count = 250000, entries = 10000, dropped = 50;
  bool keep = false;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--keep") == 0) {
      keep = true;
      continue;
    }
    long v = i + 1 < argc ? strtol(argv[i + 1], nullptr, 10) : 0;
    if (strcmp(argv[i], "--count") == 0 && i + 1 < argc)
      count = static_cast<int>(std::clamp(v, 1000L, 5000000L));
    else if (strcmp(argv[i], "--entries") == 0 && i + 1 < argc)
      entries = static_cast<int>(std::clamp(v, 1L, 10000000L));
    else if (strcmp(argv[i], "--dropped") == 0 && i + 1 < argc)
      dropped = static_cast<int>(std::clamp(v, 0L, 10000L));
    else {
      fprintf(stderr,
              "usage: upgrade_bench [--count N] [--entries N] [--dropped N] "
              "[--keep]\n");
      return 2;
    }
    ++i;
  }

  char dir[] = "/tmp/mantrel-upgrade-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    perror("upgrade_bench: mkdtemp");
    return 1;
  }
  std::filesystem::path old = std::filesystem::current_path();
  std::filesystem::path root = dir;
  for (const char *sub : {"bin", "system", "data/rep", "data/at", "log"})
    std::filesystem::create_directories(root / sub);
  std::filesystem::current_path(root / "bin");
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;
  XvtReset();
  setenv("MANTREL_UI", "scripted", 1);
  unsetenv("MANTREL_SCRIPT");
  StrCopy(PlatViewerProgram, "true");
  StrCopy(RemedyCatalogName, "..\\system\\rem");
  StrCopy(AuthorCatalogName, "..\\system\\aut");
  StrCopy(CatalogCatalogName, "..\\system\\cat");
  StrCopy(LogFileDir, "..\\log");
  StrCopy(NetLogFileDir, "..\\log");
  StrCopy(DateFormat, "dd.mm.yyyy");
  Language = 1;

  int rc = 1;
  do {
    auto t0 = Clock::now();
    fprintf(stderr, "planning %d symptoms, building them in %s\n", count, dir);
    std::vector<Planned> plan = Plan(count);
    DistinctSiblings(plan);
    PlanOldEdition(plan, dropped);
    std::vector<size_t> named;
    std::vector<bool> gone(plan.size());
    for (size_t i = 0; i < plan.size(); ++i)
      gone[i] = Old.fate[i] == Fate::kDropped;
    if (!BuildCatalogues() || !BuildRepertory(plan) ||
        !BuildAssociation(plan) || !WriteLog(plan, entries, &named))
      break;
    fprintf(stderr, "built in %.1f s\n", Seconds(t0));
    printf("old edition: %d of %zu symptoms renamed, %d moved, %d dropped "
           "from the new edition, %d new in it\n",
           Old.renamed, plan.size(), Old.moved, Old.dropped, Old.added);
    sync();
    printf("machine load (1 min) at the start: %.2f\n", LoadAverage());

    if (!TimeTranslation(entries))
      break;

    // What /UPGRADEASSOC does once the backup is made: the user-defined
    // lists, then the translated run keeping the new edition's own log.
    RunOptionsClear();
    AppLogDefaults(kRunAssociation);
    RunOptions.AssociationMode = 1;
    RunOptions.BatchMode = 0;
    StrCopy(UpgradeOldAbbrev, "BREP2009");
    StrCopy(LogPath, "..\\log\\BREP2009");
    StrCopy(RunOptions.TextLogFile, "..\\log\\BREP2012.txt");
    StrCopy(RunOptions.ErrorsFile, "..\\log\\BREP2012.err");
    StrCopy(RunOptions.StatisticsFile, "..\\log\\BREP2012.rpt");
    WorkKeepGoing = 1;
    long before = PeakKb();
    auto w0 = Clock::now();
    double c0 = CpuNow();
    UpdateRemedies(0);
    UpdateAuthors(0);
    LogRunTable(NULL_WIN);
    double cpu = CpuNow() - c0, wall = Seconds(w0);
    int read = OpRead[kOpTotalRow];
    printf("translated run: %d entries in %.3f s wall (CPU %.3f s): %.0f "
           "entries/s wall\n",
           read, wall, cpu, read / std::max(wall, 1e-9));
    printf("  done %d, errors %d, warnings %d; peak memory %ld kB before, "
           "%ld kB after\n",
           OpDone[kOpTotalRow], OpErrors[kOpTotalRow], OpWarnings[kOpTotalRow],
           before, PeakKb());
    printf("machine load (1 min) at the end: %.2f\n", LoadAverage());
    if (read != entries) {
      fprintf(stderr, "upgrade_bench: the run read %d of %d entries\n", read,
              entries);
      break;
    }
    CountRecreated(plan, named, gone);
    w0 = Clock::now();
    int faults = 0;
    VerifyRepertory("..\\data\\rep", CountFault, &faults);
    printf("  verify: %d faults (%.1f s)\n", faults, Seconds(w0));
    rc = faults == 0 ? 0 : 1;
  } while (false);

  DbTerminate("A-Mantrel");
  std::filesystem::current_path(old);
  std::error_code ec;
  if (keep)
    fprintf(stderr, "files kept in %s\n", dir);
  else
    std::filesystem::remove_all(dir, ec);
  return rc;
}
