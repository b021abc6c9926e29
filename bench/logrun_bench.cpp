// How fast a log run goes on a repertory of the size people use: builds in a
// scratch folder a repertory of 250,000 symptoms (bench_repertory.h) with
// its Extract table built to match, Remed and Author tables, a catalogue
// entry and the message table of data/messages; writes a log of 10,000
// remedy operations (add, change degree, delete, some of them failing) on
// distinct random symptoms; replays it with LogRunTable as /RUN does (the
// options of /RUN, the own log kept) with no Progress window; times the
// replay, checks the repertory with VerifyRepertory, and removes its files.
// The Extract build, the replay and the check each run in a process of their
// own (the benchmark runs itself again with --phase), so that the peak
// resident memory printed for each is its own and not the builder's.
//
//   logrun_bench [--count N] [--entries N] [--keep] [--text] [--notes N]
//                [--mixed] [--build-only]
//
// With --build-only the repertory and the log are built and kept, for the
// phases to be run by hand on copies of it (--phase run DIR ENTRIES, then
// --phase verify DIR ENTRIES), e.g. two binaries in turn on the same data.
// With --text the log is written in its text form, the reader is timed on
// it alone, and the text is run with LogRunText instead of the table with
// LogRunTable. With --notes N a note text file of N lines is uploaded with
// the notes upload of /NOTES instead of any run. With --mixed the log holds
// the operations on notes, references, synonyms, links, concept links and
// symptom types instead of the remedy operations (WriteMixedLog), on the
// same repertory with a concept partner beside it.
//
// Build in Release for figures worth quoting; docs/performance.md holds them.
#include "bench_measure.h"
#include "bench_repertory.h"
#include "listings/statistics.h"
#include "logentry/logentry.h"
#include "logentry/logread.h"
#include "logentry/logtext.h"
#include "logrun/logrun.h"
#include "logrun/logruntext.h"
#include "ops/reftext.h"
#include "ops/verify.h"
#include "ops/wordindex.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/msgdata.h"
#include "services/work.h"
#include "session/runoptions.h"
#include "shell/app.h"
#include "shell/chooser.h"
#include "shell/menu.h"
#include "store/sptpath.h"
#include "store/store.h"
#include "store/strdate.h"
#include "transfers/extractbuild.h"
#include "transfers/notes.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace bench {
const char *const BenchName = "logrun_bench";
} // namespace bench

namespace {

using namespace bench;
bool BuildMessages() {
  MsgDataSet set;
  for (const char *lang : {"en", "fr", "de"}) {
    std::string path =
        std::string(MANTREL_SOURCE_DIR) + "/data/messages/" + lang + ".txt";
    if (!Check(MsgDataReadFile(&set, path.c_str()) == 0, path.c_str()))
      return false;
  }
  MsgTable = MsgCreate("msg");
  if (!Check(MsgTable != 0, "message table"))
    return false;
  for (const MsgDataEntry &m : set.Entries) {
    MsgRecord rec;
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.Number = m.Number;
    rec.Language = m.Language;
    StrCopy(rec.Text, m.Text);
    if (!Check(MsgSave(MsgTable, &rec, kSaveAdd) == 0, "message"))
      return false;
  }
  return true;
}

void FillCatalog();

bool BuildCatalogues() {
  if (!BuildRemedyAuthorTables())
    return false;

  TblHandle cat = TblCreateCatalog("cat", 1, 1);
  if (!Check(cat != 0, "catalogue"))
    return false;
  FillCatalog();
  bool ok = TblSaveCatalog(cat, &CurrentCatalog, kSaveAdd) == 0;
  DbCloseFile(cat);
  return Check(ok, "catalogue entry");
}

// The catalogue entry of the bench repertory, in CurrentCatalog.
void FillCatalog() {
  memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
  CurrentCatalog.CursorState = 0xff;
  CurrentCatalog.Kind = 1;
  CurrentCatalog.Id = 1;
  StrCopy(CurrentCatalog.Abbrev, "BREP");
  StrCopy(CurrentCatalog.RepertoryBlock.Title, "Repertorium bench");
  const char *tables[] = {"symptom", "chapter", "extract", "word1",
                          "word2",   "view",    ""};
  for (int i = 0; i < kCatPathCount; ++i)
    StrFormat(CurrentCatalog.RepertoryBlock.Paths[i], "rep\\%s", tables[i]);
}

bool BuildRepertory(const std::vector<Planned> &plan) {
  std::filesystem::create_directory("rep");
  TblHandle h = TblCreateSymptom("rep\\symptom", 1, 1);
  if (!Check(h != 0, "Symptom table"))
    return false;
  Symptom s;
  SymptomRemedy *arr = TblAllocSymptomRemed(64);
  for (const Planned &p : plan) {
    FillSymptom(s, p, arr);
    if (!Check(TblSaveSymptom(h, &s, kSaveAdd) == 0, "symptom"))
      return false;
  }
  TblFreeSymptomRemed(&s);
  if (!Check(DbCloseFile(h) == 0, "Symptom close"))
    return false;

  for (const char *w : {"rep\\word1", "rep\\word2"})
    DbCloseFile(TblCreateWord(w, 1, 1));
  DbCloseFile(TblCreateNote("rep\\Note", 1, 1));
  DbCloseFile(TblCreateLink("rep\\Link", 1, 1));
  // One view of the first hundred authors.
  TblHandle v = TblCreateView("rep\\View", 1, 1);
  if (!Check(v != 0, "View table"))
    return false;
  View x;
  memset(&x, 0, sizeof x);
  x.CursorState = 0xff;
  x.ViewNumber = 1;
  for (int id = 1; id <= 100; ++id)
    x.AuthorBits[id / 8] |= static_cast<uint8_t>(0x80 >> (id % 8));
  bool ok = TblSaveView(v, &x, kSaveAdd) == 0;
  DbCloseFile(v);
  return Check(ok, "view");
}

// The stored path of planned symptom i: its ancestors' Text1 from the
// chapter down. Index i sits at Num i / 1000 + 1, Sub i % 1000.
std::string PathOf(const std::vector<Planned> &plan, size_t i) {
  std::vector<const char *> levels;
  for (;;) {
    levels.push_back(plan[i].text1);
    const Numbered &up = plan[i].parent;
    if (up.num == 0)
      break;
    i = (up.num - 1) * 1000 + up.sub;
  }
  std::string path;
  for (size_t k = levels.size(); k-- > 0;) {
    if (!path.empty())
      path += " \x02 ";
    path += levels[k];
  }
  return path;
}

struct Mix {
  int add = 0, change = 0, remove = 0, failing = 0;
};

// The log: entries 1 to n, each on its own symptom so that every entry
// finds the symptom as planned.
bool WriteLog(const std::vector<Planned> &plan, int entries, Mix &mix) {
  TblHandle log = TblCreateRlog("logs\\bench", 0, 1, 3);
  if (!Check(log != 0, "log"))
    return false;
  std::vector<size_t> order(plan.size());
  for (size_t i = 0; i < order.size(); ++i)
    order[i] = i;
  std::shuffle(order.begin(), order.end(), gRandom);
  long date = 0;
  DateYMDToLong(2024, 3, 15, &date);
  static char buffer[kLogTextSize];
  for (int n = 0; n < entries; ++n) {
    size_t i = order[static_cast<size_t>(n) % order.size()];
    const Planned &p = plan[i];
    int present = static_cast<int>(p.remedies.size()) - 1;
    const SymptomRemedy &old =
        p.remedies[static_cast<size_t>(Pick(0, present - 1))];
    char rem[32], aut[32];
    RemedyAbbrev(rem, sizeof rem, old.RemedyId);
    AuthorAbbrev(aut, sizeof aut, old.AuthorId);
    std::string fields[6];
    int count = 5, op;
    int r = Pick(0, 99);
    int degree = old.Degree;
    if (r < 40) {
      // A remedy the symptom lacks.
      op = OpAddRemedy;
      int id;
      do
        id = Pick(1, kRemedyIds);
      while (std::any_of(
          p.remedies.begin(), p.remedies.end(),
          [&](const SymptomRemedy &x) { return x.RemedyId == id; }));
      RemedyAbbrev(rem, sizeof rem, id);
      AuthorAbbrev(aut, sizeof aut, Pick(1, kAuthorIds));
      degree = Pick(1, 4);
      ++mix.add;
    } else if (r < 70) {
      op = OpChangeDegree;
      count = 6;
      fields[5] = std::to_string(old.Degree % 4 + 1);
      ++mix.change;
    } else if (r < 92) {
      op = OpDeleteRemedy;
      ++mix.remove;
    } else {
      // A remedy no catalogue knows, to add or to delete.
      op = r < 96 ? OpAddRemedy : OpDeleteRemedy;
      StrFormat(rem, sizeof rem, "Xq%d.", n);
      ++mix.failing;
    }
    fields[0].assign(1, '0'); // = "0" trips GCC 12's -Werror=restrict at -O3
    fields[1] = PathOf(plan, i);
    fields[2] = rem;
    fields[3] = aut;
    fields[4] = std::to_string(degree);
    std::string text;
    for (int f = 0; f < count; ++f) {
      if (f > 0)
        text += kLogFieldSep;
      text += fields[f];
    }
    LogEntry e;
    LogClearEntry(&e, buffer);
    StrCopy(buffer, kLogTextSize, text.c_str());
    e.number = n + 1;
    e.operation = static_cast<uint16_t>(op);
    e.date = static_cast<uint32_t>(date);
    e.time = static_cast<uint32_t>(36000 + n);
    e.symptomId = p.uniqueId;
    e.tag = 1;
    if (!Check(TblSaveRlog(log, &e, kSaveAdd) == 0, "log entry"))
      return false;
  }
  return Check(DbCloseFile(log) == 0, "log close");
}

void CountFault(const char *fault, void *ctx) {
  int &n = *static_cast<int *>(ctx);
  if (n++ < 10)
    fprintf(stderr, "  fault: %s\n", fault);
}

// The log in its text form, as a listing writes it.
bool WriteLogText(const char *path) {
  TblHandle log = TblOpenRlog("logs\\bench", 1, 1);
  FILE *out = PlatOpenFile(path, "wb");
  if (!Check(log != 0 && out != nullptr, "text log"))
    return false;
  static char buffer[kLogTextSize];
  LogEntry e;
  LogClearEntry(&e, buffer);
  for (int r = TblFindFullRlog(log, &e, 0, kFindFirst); r == 0;
       r = TblFindFullRlog(log, &e, 0, kFindNext))
    LogWriteEntry(out, nullptr, &e, nullptr);
  DbCloseFile(log);
  return Check(fclose(out) == 0, "text log close");
}

// The reader alone over the whole text: answers the entries read.
long ReadAllText(const char *path, double *wall, double *cpu) {
  FILE *in = PlatOpenFile(path, "rb");
  if (in == nullptr)
    return -1;
  static char buffer[kLogTextSize];
  LogEntry e;
  LogClearEntry(&e, buffer);
  long n = 0;
  auto w0 = Clock::now();
  double c0 = CpuNow();
  while (LogReadTextEntry(in, nullptr, nullptr, &e) == 1 && OrvixError == 0)
    ++n;
  *cpu = CpuNow() - c0;
  *wall = Seconds(w0);
  fclose(in);
  return n;
}

// A note text file of `lines` lines on planned symptoms: symptom notes,
// notes on a remedy of the symptom (some with another degree), and one
// line in twenty on a symptom that is not there.
bool WriteNotes(const std::vector<Planned> &plan, long lines) {
  TblHandle sym = TblOpenSymptom("rep\\symptom", 1, 1);
  FILE *out = PlatOpenFile("notes.txt", "wb");
  if (!Check(sym != 0 && out != nullptr, "notes file"))
    return false;
  static char path[kSptPathSize];
  for (long n = 0; n < lines; ++n) {
    size_t i = static_cast<size_t>(Pick(0, static_cast<int>(plan.size()) - 1));
    const Planned &p = plan[i];
    GetTextFromSptNum(sym, 2, path, p.at.num, p.at.sub, sizeof path);
    int r = Pick(0, 19);
    if (r == 0) {
      fprintf(out, "1|%s - nirgends|0|0|0|Note %ld on no symptom|Note %ld\n",
              path, n, n);
    } else if (r < 8) {
      fprintf(out, "%d|%s|0|0|0|Symptom note %ld\\second line|Note %ld\n",
              Pick(1, 3), path, n, n);
    } else {
      const SymptomRemedy &x = p.remedies[static_cast<size_t>(
          Pick(0, static_cast<int>(p.remedies.size()) - 2))];
      int degree = r < 10 ? x.Degree % 4 + 1 : x.Degree;
      fprintf(out, "%d|%s|%d|%d|%d|Remedy note %ld|Arzneinotiz %ld\n",
              Pick(2, 5), path, x.RemedyId, degree, x.AuthorId & kAuthorMask, n,
              n);
    }
  }
  DbCloseFile(sym);
  return Check(fclose(out) == 0, "notes file close");
}

// The words of the synonyms in words go into the word index, as the
// operations keep it: the check of a repertory looks for them there.
bool IndexSynonymWords(const std::vector<Planned> &plan) {
  TblHandle s = TblOpenSymptom("rep\\symptom", 0, 1);
  TblHandle w1 = TblOpenWord("rep\\word1", 0, 1);
  if (!Check(s != 0 && w1 != 0, "word index"))
    return false;
  bool ok = true;
  for (const Planned &p : plan) {
    std::string words = RefWordsOf(p.synonym1.c_str());
    if (!words.empty() &&
        WordIndexAdd(s, w1, 0, words.c_str(), nullptr, p.at.num, p.at.sub) != 0)
      ok = false;
  }
  DbCloseFile(s);
  DbCloseFile(w1);
  return Check(ok, "synonym words");
}

// --mixed: a concept partner "CREP" (20 chapters of 100 concepts, an empty
// concept table) beside the repertory, which becomes "SREP"; a picture for
// the links in the folder of images.
constexpr int kConceptChapters = 20, kConceptsPerChapter = 100;

std::string ConceptPath(int chapter, int topic) {
  char path[96];
  if (topic == 0)
    StrFormat(path, "Konzept %d", chapter);
  else
    StrFormat(path, "Konzept %d \x02 Thema %d-%d", chapter, chapter, topic);
  return path;
}

bool BuildConceptPartner() {
  std::filesystem::create_directory("cpt");
  TblHandle h = TblCreateSymptom("cpt\\symptom", 1, 1);
  if (!Check(h != 0, "concept symptoms"))
    return false;
  Symptom s;
  bool ok = true;
  for (int c = 1; c <= kConceptChapters && ok; ++c)
    for (int j = 0; j <= kConceptsPerChapter && ok; ++j) {
      memset(static_cast<void *>(&s), 0, sizeof s);
      s.CursorState = 0xff;
      s.Remedies = TblAllocSymptomRemed(1);
      s.Num = static_cast<uint32_t>(c);
      s.Sub = static_cast<uint16_t>(j);
      s.ParentNum = j == 0 ? 0 : static_cast<uint32_t>(c);
      s.Level = static_cast<uint8_t>(j == 0 ? 1 : 2);
      s.Chapter = static_cast<uint8_t>(c);
      s.UniqueId = c * 1000 + j;
      std::string path = ConceptPath(c, j);
      const char *last = strrchr(path.c_str(), '\x02');
      StrCopy(s.Text1, last != nullptr ? last + 2 : path.c_str());
      StrCopy(s.Text2, s.Text1);
      ok = TblSaveSymptom(h, &s, kSaveAdd) == 0;
      TblFreeSymptomRemed(&s);
    }
  DbCloseFile(h);
  if (!Check(ok, "concept symptom"))
    return false;
  DbCloseFile(TblCreateExSp("cpt\\extrspt", 1, 1));

  TblHandle cat = TblOpenCatalog("cat", 0, 1);
  if (!Check(cat != 0, "catalogue"))
    return false;
  Catalog own = CurrentCatalog;
  ok = TblFindFullCatalog(cat, &own, 0, kFindEqual) == 0;
  StrCopy(own.Abbrev, "SREP");
  ok = ok && TblSaveCatalog(cat, &own, kSaveReplace) == 0;
  CurrentCatalog = own;
  Catalog partner = own;
  partner.Id = 2;
  StrCopy(partner.Abbrev, "CREP");
  StrCopy(partner.RepertoryBlock.Paths[kCatSymptom], "cpt\\symptom");
  StrCopy(partner.RepertoryBlock.Paths[kCatFolder], "cpt\\");
  ok = ok && TblSaveCatalog(cat, &partner, kSaveAdd) == 0;
  DbCloseFile(cat);

  std::filesystem::create_directory("photo");
  FILE *f = PlatOpenFile("photo\\bench.svg", "wb");
  ok = ok && f != nullptr && fputs("<svg/>\n", f) >= 0;
  if (f != nullptr)
    fclose(f);
  StrCopy(DefaultImage, "photo");
  StrCopy(ImageDir, "photo");
  return Check(ok, "concept partner");
}

struct MixedMix {
  int notes = 0, refs = 0, synonyms = 0, links = 0, concepts = 0, kinds = 0,
      failing = 0;
};

std::string Display(std::string path) {
  for (size_t at; (at = path.find(" \x02 ")) != std::string::npos;)
    path.replace(at, 3, " - ");
  return path;
}

// The mixed log: notes (on the symptom and on one of its remedies), cross-
// references to other symptoms, synonyms in words and as lists, links
// added and deleted, concept links added and deleted, symptom types; one
// entry in twenty-five refers to what is not there and is refused.
bool WriteMixedLog(const std::vector<Planned> &plan, int entries,
                   MixedMix &mix) {
  TblHandle log = TblCreateRlog("logs\\bench", 0, 1, 3);
  if (!Check(log != 0, "log"))
    return false;
  std::vector<size_t> order(plan.size());
  for (size_t i = 0; i < order.size(); ++i)
    order[i] = i;
  std::shuffle(order.begin(), order.end(), gRandom);
  long date = 0;
  DateYMDToLong(2024, 3, 15, &date);
  static char buffer[kLogTextSize];
  // What was added, for the deletions that follow: the symptom of a link,
  // the pair of a concept link.
  std::vector<size_t> linked;
  std::vector<std::pair<std::string, size_t>> paired;
  // The generated texts repeat among siblings; a path names the first
  // sibling of its text, so only symptoms that their path names are
  // referred to by path.
  TblHandle sym = TblOpenSymptom("rep\\symptom", 1, 1);
  if (!Check(sym != 0, "symptoms"))
    return false;
  auto named = [&](size_t k) {
    uint32_t num;
    uint16_t sub;
    return GetSptNumFromExactText(sym, 1, PathOf(plan, k).c_str(), &num,
                                  &sub) == 0 &&
           num == plan[k].at.num && sub == plan[k].at.sub;
  };
  auto pickNamed = [&]() {
    size_t k;
    do
      k = static_cast<size_t>(Pick(0, static_cast<int>(plan.size()) - 1));
    while (!named(k));
    return k;
  };
  auto other = [&]() { return Display(PathOf(plan, pickNamed())); };
  for (int n = 0; n < entries; ++n) {
    size_t i = order[static_cast<size_t>(n) % order.size()];
    const Planned *p = &plan[i];
    std::vector<std::string> f;
    int op;
    int r = Pick(0, 99);
    bool fail = Pick(0, 24) == 0;
    if (r < 20) {
      op = OpChangeNote;
      const SymptomRemedy &x = p->remedies[static_cast<size_t>(
          Pick(0, static_cast<int>(p->remedies.size()) - 2))];
      char rem[32] = "0", aut[32] = "0";
      int degree = 0;
      if (r < 10) {
        RemedyAbbrev(rem, sizeof rem, x.RemedyId);
        AuthorAbbrev(aut, sizeof aut, x.AuthorId & kAuthorMask);
        degree = x.Degree;
      }
      if (fail)
        StrCopy(rem, "Xq.");
      f = {std::to_string(Pick(1, 5)),
           rem,
           aut,
           std::to_string(degree),
           std::to_string(Pick(0, 1)),
           "",
           "Notiz " + std::to_string(n)};
      ++mix.notes;
    } else if (r < 35) {
      op = OpChangeCrossReference;
      std::string text = "1" + other();
      if (Pick(0, 1) == 0)
        text += "\n1" + other();
      if (fail)
        text += "\n1Nirgends - nichts";
      f = {"0", "", text};
      ++mix.refs;
    } else if (r < 50) {
      op = OpChangeSynonym;
      std::string text = r < 43
                             ? std::string(kWords1[Pick(0, kWordCount - 1)]) +
                                   ", " + kWords1[Pick(0, kWordCount - 1)]
                             : "1" + other();
      if (fail)
        text = "1Nirgends";
      f = {"0", "", text};
      ++mix.synonyms;
    } else if (r < 65) {
      bool remove = r >= 60 && !linked.empty();
      fail = fail && !remove; // a deletion finds its link, or counts as done
      op = remove ? OpDeleteLink : OpAddLink;
      if (remove) {
        i = linked[static_cast<size_t>(
            Pick(0, static_cast<int>(linked.size()) - 1))];
        p = &plan[i];
        f = {"0", "0", "0", "3"};
      } else {
        f = {"0",
             "0",
             "0",
             "3",
             "Bild " + std::to_string(n),
             fail ? "photo\\fehlt.svg" : "photo\\bench.svg"};
        if (!fail)
          linked.push_back(i);
      }
      ++mix.links;
    } else if (r < 85) {
      bool remove = r >= 80 && !paired.empty();
      op = remove ? OpDeleteConcept : OpAddConcept;
      std::string topic;
      if (remove) {
        // Each link is deleted once.
        size_t k =
            static_cast<size_t>(Pick(0, static_cast<int>(paired.size()) - 1));
        topic = paired[k].first;
        i = paired[k].second;
        p = &plan[i];
        paired[k] = paired.back();
        paired.pop_back();
      } else {
        i = pickNamed();
        p = &plan[i];
        topic = fail ? "Konzept 99 \x02 nichts"
                     : ConceptPath(Pick(1, kConceptChapters),
                                   Pick(1, kConceptsPerChapter));
        if (!fail)
          paired.emplace_back(topic, i);
      }
      std::string text = std::string("0") + kLogFieldSep + topic +
                         kLogFieldSep + PathOf(plan, i);
      LogEntry e;
      LogClearEntry(&e, buffer);
      StrCopy(buffer, kLogTextSize, text.c_str());
      e.number = n + 1;
      e.operation = static_cast<uint16_t>(op);
      e.date = static_cast<uint32_t>(date);
      e.time = static_cast<uint32_t>(36000 + n);
      e.tag = 1;
      if (!Check(TblSaveRlog(log, &e, kSaveAdd) == 0, "log entry"))
        return false;
      mix.failing += fail && !remove;
      ++mix.concepts;
      continue;
    } else {
      op = OpChangeSymptomKind;
      f = {"00", fail ? "x" : std::to_string(Pick(10, 99))};
      ++mix.kinds;
    }
    mix.failing += fail;
    std::string text = std::string("0") + kLogFieldSep + PathOf(plan, i);
    for (const std::string &field : f)
      text += kLogFieldSep + field;
    LogEntry e;
    LogClearEntry(&e, buffer);
    StrCopy(buffer, kLogTextSize, text.c_str());
    e.number = n + 1;
    e.operation = static_cast<uint16_t>(op);
    e.date = static_cast<uint32_t>(date);
    e.time = static_cast<uint32_t>(36000 + n);
    e.symptomId = p->uniqueId;
    e.tag = 1;
    if (!Check(TblSaveRlog(log, &e, kSaveAdd) == 0, "log entry"))
      return false;
  }
  DbCloseFile(sym);
  return Check(DbCloseFile(log) == 0, "log close");
}

// The resident memory now, in kB.
long ResidentKb() {
  FILE *f = fopen("/proc/self/statm", "r");
  long pages = 0, resident = 0;
  if (f != nullptr) {
    if (fscanf(f, "%ld %ld", &pages, &resident) != 2)
      resident = 0;
    fclose(f);
  }
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// The settings every process of the benchmark starts from, in the scratch
// folder as current folder.
int Setup() {
  if (DbInitialize(50, 90, 4, "A-Mantrel", "", 0) != 0)
    return 1;
  XvtReset();
  setenv("MANTREL_UI", "scripted", 1);
  unsetenv("MANTREL_SCRIPT");
  StrCopy(PlatViewerProgram, "true");
  StrCopy(RemedyCatalogName, "rem");
  StrCopy(AuthorCatalogName, "aut");
  StrCopy(CatalogCatalogName, "cat");
  StrCopy(NetLogFileDir, "logs");
  StrCopy(DateFormat, "dd.mm.yyyy");
  Language = 1;
  if (std::filesystem::exists("photo")) { // --mixed: the links' pictures
    StrCopy(DefaultImage, "photo");
    StrCopy(ImageDir, "photo");
  }
  return 0;
}

// The timed phases, each in a process of its own.
//   extract: the Extract table built from the Symptom table;
//   run: the replay of the log as /RUN does it;
//   verify: the check of the whole repertory.
int Phase(const char *what, int entries) {
  if (Setup() != 0)
    return 1;
  int rc = 1;
  Timer t;
  if (strcmp(what, "extract") == 0) {
    ExtractBuildHooks hooks{nullptr, nullptr, nullptr, nullptr};
    t.Start();
    int r = ExtractBuild("rep\\symptom", "rep\\extract", "rem", "rep\\", hooks);
    t.Stop();
    TblHandle x = TblOpenExtract("rep\\extract", 1, 1);
    long records = x != 0 ? DbCountEntries(x) : -1;
    if (x != 0)
      DbCloseFile(x);
    char line[160];
    StrFormat(line, "extract build (%ld records)", records);
    PrintFigures(line, t, PeakKb());
    rc = r == kExtractOk ? 0 : 1;
  } else if (strcmp(what, "run") == 0) {
    MsgTable = MsgOpen("msg", 1, 1);
    FillCatalog();
    // The entry as built (--mixed renames it and puts a partner beside it).
    if (TblHandle cat = TblOpenCatalog("cat", 0, 1); cat != 0) {
      Catalog own = CurrentCatalog;
      if (TblFindFullCatalog(cat, &own, 0, kFindEqual) == 0)
        CurrentCatalog = own;
      DbCloseFile(cat);
    }
    StrCopy(LogPath, "logs\\bench");
    RunOptionsClear();
    AppLogDefaults(kRunVerb);
    RunOptions.KeepInOwnLog = 1;
    RunOptions.BatchMode = 0;
    StrCopy(LogPath, "logs\\bench");
    WorkKeepGoing = 1;
    long residentBefore = ResidentKb();
    DbCloseTimes(nullptr, true);
    t.Start();
    LogRunTable(NULL_WIN);
    t.Stop();
    StoreCloseTimes closes;
    DbCloseTimes(&closes, false);
    printf("  closes of tables in the run: %ld, %.1f ms in all, the slowest "
           "%.1f ms (%s)\n",
           closes.closes, closes.totalMs, closes.slowestMs, closes.slowest);
    printf("  resident memory: %ld kB before the run, %ld kB after\n",
           residentBefore, ResidentKb());
    int read = OpRead[kOpTotalRow];
    printf("log run: %d entries: %.0f entries/s wall, %.0f entries/s CPU, "
           "%.1f us CPU an entry\n",
           read, read / std::max(t.wall, 1e-9), read / std::max(t.cpu, 1e-9),
           t.cpu * 1e6 / std::max(read, 1));
    printf("  done %d, errors %d, warnings %d\n", OpDone[kOpTotalRow],
           OpErrors[kOpTotalRow], OpWarnings[kOpTotalRow]);
    PrintFigures("log run", t, PeakKb());
    if (read != entries)
      fprintf(stderr, "logrun_bench: the run read %d of %d entries\n", read,
              entries);
    else
      rc = 0;
    if (MsgTable != 0)
      DbCloseFile(MsgTable);
    MsgTable = 0;
  } else if (strcmp(what, "verify") == 0) {
    int faults = 0;
    t.Start();
    VerifyRepertory("rep", CountFault, &faults);
    if (std::filesystem::exists("cpt")) // --mixed
      VerifyConcepts("rep", "cpt", CountFault, &faults);
    t.Stop();
    printf("  verify: %d faults\n", faults);
    PrintFigures("verify", t, PeakKb());
    rc = faults == 0 ? 0 : 1;
  } else {
    fprintf(stderr, "logrun_bench: no phase %s\n", what);
  }
  DbTerminate("A-Mantrel");
  return rc;
}

} // namespace

int main(int argc, char **argv) {
  // logrun_bench --phase WHAT DIR ENTRIES: one timed phase, in DIR.
  if (argc == 5 && strcmp(argv[1], "--phase") == 0) {
    if (chdir(argv[3]) != 0)
      return 1;
    return Phase(argv[2], atoi(argv[4]));
  }
  int count = 250000, entries = 10000;
  long notes = 0;
  bool keep = false, text = false, buildOnly = false, mixed = false;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--keep") == 0) {
      keep = true;
      continue;
    }
    if (strcmp(argv[i], "--mixed") == 0) {
      mixed = true;
      continue;
    }
    if (strcmp(argv[i], "--build-only") == 0) {
      keep = buildOnly = true;
      continue;
    }
    if (strcmp(argv[i], "--text") == 0) {
      text = true;
      continue;
    }
    if (strcmp(argv[i], "--notes") == 0 && i + 1 < argc) {
      notes = std::clamp(strtol(argv[++i], nullptr, 10), 1L, 10000000L);
      continue;
    }
    long v = i + 1 < argc ? strtol(argv[i + 1], nullptr, 10) : 0;
    if (strcmp(argv[i], "--count") == 0 && i + 1 < argc)
      count = static_cast<int>(std::clamp(v, 1000L, 5000000L));
    else if (strcmp(argv[i], "--entries") == 0 && i + 1 < argc)
      entries = static_cast<int>(std::clamp(v, 1L, 10000000L));
    else {
      fprintf(stderr, "usage: logrun_bench [--count N] [--entries N] [--keep] "
                      "[--text] [--notes N] [--mixed] [--build-only]\n");
      return 2;
    }
    ++i;
  }

  char dir[] = "/tmp/mantrel-logrun-bench-XXXXXX";
  if (mkdtemp(dir) == nullptr) {
    perror("logrun_bench: mkdtemp");
    return 1;
  }
  std::string self = SelfPath();
  std::filesystem::path old = std::filesystem::current_path();
  std::filesystem::current_path(dir);
  if (Setup() != 0)
    return 1;
  std::filesystem::create_directory("logs");
  std::string count_s = std::to_string(entries);

  int rc = 1;
  do {
    auto t0 = Clock::now();
    fprintf(stderr, "planning %d symptoms, building them in %s\n", count, dir);
    std::vector<Planned> plan = Plan(count);
    Mix mix;
    if (!BuildMessages() || !BuildCatalogues() || !BuildRepertory(plan))
      break;
    // The build's tables are closed: the Extract build runs in a process
    // of its own, after the Symptom table is on disk.
    if (MsgTable != 0)
      DbCloseFile(MsgTable);
    MsgTable = 0;
    sync();
    if (!Check(RunSelf(self.c_str(), {"--phase", "extract", dir, count_s}) == 0,
               "Extract build"))
      break;
    MsgTable = MsgOpen("msg", 1, 1);
    MixedMix mixedMix;
    if (!IndexSynonymWords(plan) || (mixed && !BuildConceptPartner()) ||
        !(mixed ? WriteMixedLog(plan, entries, mixedMix)
                : WriteLog(plan, entries, mix)))
      break;
    if (mixed)
      fprintf(stderr,
              "built in %.1f s; log: %d notes, %d cross-references, %d "
              "synonyms, %d links, %d concept links, %d types, %d refused\n",
              Seconds(t0), mixedMix.notes, mixedMix.refs, mixedMix.synonyms,
              mixedMix.links, mixedMix.concepts, mixedMix.kinds,
              mixedMix.failing);
    else
      fprintf(stderr,
              "built in %.1f s; log: %d add, %d change degree, %d "
              "delete, %d with an unknown remedy\n",
              Seconds(t0), mix.add, mix.change, mix.remove, mix.failing);

    // A repertory is on disk before anyone runs a log on it: the build's
    // writes go out first, so that their writeback does not run in the
    // timed stretch.
    sync();

    if (notes > 0) {
      if (!WriteNotes(plan, notes))
        break;
      sync();
      long before = PeakKb();
      Timer t;
      t.Start();
      int r = NotesUpload("rep", "notes.txt");
      t.Stop();
      printf("notes upload: %ld lines: %.0f lines/s; added %ld, replaced %ld, "
             "refused %ld, degree replaced %ld\n",
             NotesLastUpload.lines,
             NotesLastUpload.lines / std::max(t.wall, 1e-9),
             NotesLastUpload.added, NotesLastUpload.replaced,
             NotesLastUpload.refused, NotesLastUpload.degreeChanged);
      printf("  peak memory: %ld kB before\n", before);
      PrintFigures("notes upload", t, PeakKb());
      rc = r;
      break;
    }
    if (text) {
      if (!WriteLogText("logs\\bench.txt"))
        break;
      LogTextLabelsLoad();
      long before = PeakKb();
      double wall = 0, cpu = 0;
      long n = ReadAllText("logs\\bench.txt", &wall, &cpu);
      printf("text reader: %ld entries in %.3f s wall (CPU %.3f s): %.0f "
             "entries/s wall, load %.2f\n",
             n, wall, cpu, n / std::max(wall, 1e-9), LoadAverage());
      printf("  peak memory: %ld kB before, %ld kB after\n", before, PeakKb());
      RunOptionsClear();
      RunOptions.SameLanguage = 1;
      RunOptions.KeepInOwnLog = 1;
      RunOptions.ReplaceNotes = 1;
      RunOptions.From = 0;
      RunOptions.To = kRunToLast;
      RunOptions.BatchMode = 0;
      StrCopy(RunOptions.TextLogFile, "logs\\bench.edt");
      StrCopy(RunOptions.ErrorsFile, "logs\\bench.err");
      StrCopy(RunOptions.StatisticsFile, "logs\\bench.rpt");
      StrCopy(LogFileDir, "logs");
      StrCopy(LogPath, "logs\\bench.txt");
      WorkKeepGoing = 1;
      before = PeakKb();
      Timer t;
      t.Start();
      LogRunText(NULL_WIN);
      t.Stop();
      int read = OpRead[kOpTotalRow];
      printf("text run: %d entries: %.0f entries/s wall, %.0f entries/s CPU\n",
             read, read / std::max(t.wall, 1e-9), read / std::max(t.cpu, 1e-9));
      printf("  done %d, errors %d, warnings %d; peak memory %ld kB before\n",
             OpDone[kOpTotalRow], OpErrors[kOpTotalRow],
             OpWarnings[kOpTotalRow], before);
      PrintFigures("text run", t, PeakKb());
      int faults = 0;
      t = Timer();
      t.Start();
      VerifyRepertory("rep", CountFault, &faults);
      t.Stop();
      printf("  verify: %d faults\n", faults);
      PrintFigures("verify", t, PeakKb());
      rc = faults == 0 && read == entries ? 0 : 1;
      break;
    }

    // What /RUN does before the run: a fresh index of the log; then the
    // run and the check, each in a process of its own.
    StrCopy(LogPath, "logs\\bench");
    PlatDeleteFile("logs\\bench.idx");
    if (!Check(TblRebuildRlog(LogPath, 0, 1) == 0, "log index"))
      break;
    if (MsgTable != 0)
      DbCloseFile(MsgTable);
    MsgTable = 0;
    plan.clear();
    plan.shrink_to_fit();
    if (buildOnly) {
      // Phases by hand: logrun_bench --phase run|verify DIR ENTRIES.
      rc = 0;
      break;
    }
    // The repertory a person runs a log on was written long before: the
    // build's pages go to the disk first, so that the syncs of the run's
    // closes wait for what the run wrote, not for the build.
    sync();
    if (RunSelf(self.c_str(), {"--phase", "run", dir, count_s}) != 0)
      break;
    rc = RunSelf(self.c_str(), {"--phase", "verify", dir, count_s});
  } while (false);

  if (MsgTable != 0)
    DbCloseFile(MsgTable);
  MsgTable = 0;
  DbTerminate("A-Mantrel");
  std::filesystem::current_path(old);
  std::error_code ec;
  if (keep)
    fprintf(stderr, "files kept in %s\n", dir);
  else
    std::filesystem::remove_all(dir, ec);
  return rc;
}
