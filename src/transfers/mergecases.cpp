// Merging a catalogue of cases into the user's cases file.
#include "transfers/mergecases.h"

#include "platform/paths.h"
#include "platform/strutil.h"
#include "platform/xvt.h"
#include "repair/cases.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/paths.h"
#include "services/work.h"
#include "store/store.h"

#include <cstring>
#include <string>
#include <unordered_set>

MergeCounts MergeLast{};

namespace {

// The tables of a merge, closed on every way out.
struct MergeTables {
  TblHandle Target1 = 0, Target2 = 0, Source1 = 0, Source2 = 0;
  ~MergeTables() {
    for (TblHandle h : {Source2, Source1, Target2, Target1})
      if (h != 0)
        DbCloseFile(h);
  }
};

void Fail(int message, const char *path, int error) {
  char text[512];
  StrFormat(text, "%s %s (H-%d)", MsgText(message), path, error);
  xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
  xvt_dm_post_error("%s", text);
}

// The names the target holds. The Cas1 table has no key on the name, so
// they are read once at the start and kept up to date as cases come in.
void TargetNames(TblHandle h, std::unordered_set<std::string> &names) {
  static Cas1 rec;
  rec.CursorState = 0xFF;
  TblClearCas1(&rec);
  for (int rc = TblFindFullCas1(h, &rec, 0, kFindFirst);
       rc == 0 || rc == kErrDamaged;
       rc = TblFindFullCas1(h, &rec, 0, kFindNext))
    if (rc == 0)
      names.insert(rec.Name);
}

// "+" behind the name; a name that fills its field gives up its last letter.
void AppendPlus(char (&name)[31]) {
  size_t n = strlen(name);
  if (n + 1 < sizeof name) {
    name[n] = '+';
    name[n + 1] = '\0';
  } else {
    name[sizeof name - 2] = '+';
  }
}

void ShowCounts(long position, long total) {
  char text[256];
  StrFormat(text, MsgText(5910), MergeLast.CasesAdded, MergeLast.SymptomsAdded);
  WorkProgress(position, total, text, nullptr);
}

} // namespace

int MergeCasesFrom(const char *source, const char *target) {
  MergeLast = MergeCounts{};
  CasesFinishSwap(target);
  MergeTables t;
  struct Want {
    TblHandle *handle;
    TblHandle (*open)(const char *, int, int);
    const char *path;
    int message;
  };
  const Want wants[] = {{&t.Target1, TblOpenCas1, target, 3163},
                        {&t.Target2, TblOpenCas2, target, 3182},
                        {&t.Source1, TblOpenCas1, source, 3163},
                        {&t.Source2, TblOpenCas2, source, 3182}};
  for (const Want &w : wants) {
    *w.handle = w.open(w.path, 0, 1);
    int error = OrvixError;
    if (*w.handle == 0 || error != 0) {
      Fail(w.message, w.path, error);
      return error != 0 ? error : kErrNotOpen;
    }
  }

  WorkRun(nullptr);
  WorkKeepGoing = 1;
  static Cas1 head;
  static Cas2 line;
  head.CursorState = line.CursorState = 0xFF;
  // An empty target leaves the cleared record as it is: numbers from 1.
  TblClearCas1(&head);
  TblFindFullCas1(t.Target1, &head, 0, kFindLast);
  long next = static_cast<long>(head.CaseId) + 1;
  MergeLast.FirstNumber = next;
  std::unordered_set<std::string> names;
  TargetNames(t.Target1, names);

  long total = DbCountEntries(t.Source1);
  long position = 0;
  ShowCounts(0, total);
  TblClearCas1(&head);
  for (int rc = TblFindFullCas1(t.Source1, &head, 0, kFindFirst);
       rc == 0 || rc == kErrDamaged;
       rc = TblFindFullCas1(t.Source1, &head, 0, kFindNext)) {
    ++position;
    if (rc != 0 || head.Name[0] == '\0' || head.Status != 0) {
      ShowCounts(position, total);
      continue;
    }
    if (next > 0xFFFF) {
      // The case numbers are used up: nothing more can come in.
      ++MergeLast.CasesFailed;
      ShowCounts(position, total);
      continue;
    }
    uint16_t old = head.CaseId;
    uint16_t number = static_cast<uint16_t>(next);
    TblClearCas2(&line);
    line.CaseId = old;
    line.Sequence = 0;
    line.Entry = 0;
    for (int r2 = TblFindFullCas2(t.Source2, &line, 0, kFindAtOrAfter);
         (r2 == 0 || r2 == kErrDamaged) && line.CaseId == old;
         r2 = TblFindFullCas2(t.Source2, &line, 0, kFindNext)) {
      if (r2 != 0) {
        ++MergeLast.SymptomsFailed;
        continue;
      }
      line.CaseId = number;
      if (TblSaveCas2(t.Target2, &line, kSaveAdd) == 0 && OrvixError == 0)
        ++MergeLast.SymptomsAdded;
      else
        ++MergeLast.SymptomsFailed;
      line.CaseId = old; // the walk goes on among the old case's rows
    }
    head.CaseId = number;
    bool added = false;
    if (names.count(head.Name) == 0 &&
        TblSaveCas1(t.Target1, &head, kSaveAdd) == 0)
      added = true;
    else {
      AppendPlus(head.Name);
      ++MergeLast.Renamed;
      added = names.count(head.Name) == 0 &&
              TblSaveCas1(t.Target1, &head, kSaveAdd) == 0;
    }
    if (added) {
      names.insert(head.Name);
      ++MergeLast.CasesAdded;
    } else {
      ++MergeLast.CasesFailed;
    }
    ++next;
    ShowCounts(position, total);
    head.CaseId = old;
  }
  TblFreeCas2Symptoms(&line);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
  return 0;
}

void MergeCases() {
  FILE_SPEC spec;
  memset(&spec, 0, sizeof spec);
  if (FileChooseOpen("da1", &spec, 5909, "..\\cases") == 0)
    return;
  char path[kPathMax + 1];
  PathOfFileSpec(&spec, path, sizeof path);
  size_t n = strlen(path);
  path[n >= 4 ? n - 4 : 0] = '\0';
  if (MergeCasesFrom(path, CasesCatalogName) != 0)
    return;
  // The tables are closed by now; the note tells what came in.
  xvt_win_set_cursor(TASK_WIN, CURSOR_ARROW);
  char text[256];
  StrFormat(text, MsgText(5912), MergeLast.CasesAdded, MergeLast.SymptomsAdded);
  xvt_dm_post_note("%s", text);
}
