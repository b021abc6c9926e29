#include "transfers/userremedies.h"

#include "platform/files.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/messages.h"
#include "session/runoptions.h"
#include "session/session.h"
#include "store/store.h"
#include "store/strdate.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Column(const char *line, size_t from, size_t width) {
  size_t n = strlen(line);
  if (from >= n)
    return std::string();
  std::string s(line + from, std::min(width, n - from));
  while (!s.empty() && s.back() == ' ')
    s.pop_back();
  return s;
}

std::string Cut(std::string s, size_t width) {
  if (s.size() > width)
    s.resize(width);
  while (!s.empty() && s.back() == ' ')
    s.pop_back();
  return s;
}

// The things an update or a load could not do, told in one note at the
// end: no box for each line, and nothing passed over without a word.
struct Told {
  std::vector<std::string> lines;
  void Add(const char *fmt, const char *a, const char *b = "",
           const char *c = "") {
    char text[400];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    StrFormat(text, fmt, a, b, c);
#pragma GCC diagnostic pop
    lines.push_back(text);
  }
  void Post(const char *file) {
    if (lines.empty())
      return;
    std::string text = std::string(file) + ":";
    size_t shown = 0;
    for (const std::string &l : lines) {
      if (++shown > 20) {
        text += "\n(" + std::to_string(lines.size() - 20) + " more)";
        break;
      }
      text += "\n" + l;
    }
    xvt_dm_post_note("%s", text.c_str());
  }
};

// What differs between the remedy and the author table.
struct RemedyKind {
  using Rec = Remed;
  static constexpr int first = kUserRemedyFirst, last = kUserRemedyLast;
  static constexpr size_t abbrevWidth = kUdefRemedyAbbrev;
  static constexpr size_t nameWidth = kUdefRemedyName;
  static constexpr const char *listName = "rem_udef.lst";
  static const char *Table() { return RemedyCatalogName; }
  static const char *LoadFile() { return RunRemedyLog; }
  static TblHandle Open(const char *p) { return TblOpenRemed(p, 1, 1); }
  static int Find(TblHandle h, Rec *r, int key) {
    return TblFindFullRemed(h, r, key, kFindEqual);
  }
  static int Save(TblHandle h, Rec *r, int mode) {
    return TblSaveRemed(h, r, mode);
  }
  static void Clear(Rec *r) {
    r->CursorState = 0xff;
    TblClearRemed(r);
  }
  static bool Parse(const char *line, Rec *r) {
    return LoadParseRemedyLine(line, r);
  }
};

struct AuthorKind {
  using Rec = Author;
  static constexpr int first = kUserAuthorFirst, last = kUserAuthorLast;
  static constexpr size_t abbrevWidth = kUdefAuthorAbbrev;
  static constexpr size_t nameWidth = kUdefAuthorName;
  static constexpr const char *listName = "aut_udef.lst";
  static const char *Table() { return AuthorCatalogName; }
  static const char *LoadFile() { return RunAuthorLog; }
  static TblHandle Open(const char *p) { return TblOpenAuthor(p, 1, 1); }
  static int Find(TblHandle h, Rec *r, int key) {
    return TblFindFullAuthor(h, r, key, kFindEqual);
  }
  static int Save(TblHandle h, Rec *r, int mode) {
    return TblSaveAuthor(h, r, mode);
  }
  static void Clear(Rec *r) {
    r->CursorState = 0xff;
    TblClearAuthor(r);
  }
  static bool Parse(const char *line, Rec *r) {
    return LoadParseAuthorLine(line, r);
  }
};

bool InRange(int id, int first, int last) {
  return id >= first && id <= last;
}

template <typename K> void Update(int showDone) {
  using Rec = typename K::Rec;
  TblHandle h = K::Open(K::Table());
  if (OrvixError != 0 || h == 0) {
    int err = OrvixError != 0 ? OrvixError : kErrNoFile;
    xvt_dm_post_note(MsgText(2626), K::Table(), err);
    h = 0;
  }
  DbVirtualClose(2);
  char path[300];
  UdefListPath(path, sizeof path, K::Table(), K::listName);
  FILE *f = PlatOpenFile(path, "r+b");
  static Rec rec, other;
  // Without the table there is nothing to write a new list from.
  if (f == nullptr && h != 0) {
    f = PlatOpenFile(path, "w+b");
    if (f != nullptr) {
      // A first update writes one line for each reserved record, its
      // present abbreviation in both columns; an id the table lacks gets a
      // line with empty columns, which names nothing.
      for (int id = K::first; id <= K::last; ++id) {
        K::Clear(&rec);
        rec.Id = static_cast<uint16_t>(id);
        std::string line = h != 0 && K::Find(h, &rec, 0) == 0
                               ? UdefFormatLine(rec.Abbrev, rec.Name)
                               : UdefFormatLine("", "");
        fputs(line.c_str(), f);
      }
      fflush(f);
    }
  }
  if (f == nullptr) {
    xvt_dm_post_note(MsgText(5096), path);
    if (h != 0)
      DbCloseFile(h);
    return;
  }
  rewind(f);
  Told told;
  char line[kUdefLineSize];
  int number = 0;
  while (PlatReadLine(f, line, sizeof line)) {
    ++number;
    UdefLine u;
    if (h == 0 || !UdefParseLine(line, K::abbrevWidth, K::nameWidth, &u))
      continue;
    std::string lineNo = std::to_string(number);
    // A key longer than the record's abbreviation names no record.
    if (u.Key.size() >= sizeof rec.Abbrev) {
      told.Add("line %s: %s is longer than an abbreviation; passed over",
               lineNo.c_str(), u.Key.c_str());
      continue;
    }
    K::Clear(&rec);
    StrCopy(rec.Abbrev, u.Key.c_str());
    if (K::Find(h, &rec, 1) != 0) {
      told.Add("line %s: no record is called %s; passed over", lineNo.c_str(),
               u.Key.c_str());
      continue;
    }
    std::string abbrev = u.Abbrev.empty() ? u.Key : u.Abbrev;
    if (abbrev != rec.Abbrev) {
      K::Clear(&other);
      StrCopy(other.Abbrev, abbrev.c_str());
      if (K::Find(h, &other, 1) == 0 && other.Id != rec.Id) {
        std::string id = std::to_string(other.Id);
        told.Add("line %s: %s is the abbreviation of record %s already; "
                 "the line is passed over",
                 lineNo.c_str(), abbrev.c_str(), id.c_str());
        continue;
      }
    }
    StrCopy(rec.Abbrev, abbrev.c_str());
    if (!u.Name.empty())
      StrCopy(rec.Name, u.Name.c_str());
    if (K::Save(h, &rec, kSaveReplace) != 0) {
      std::string err = std::to_string(OrvixError);
      told.Add("line %s: %s could not be saved (error %s)", lineNo.c_str(),
               abbrev.c_str(), err.c_str());
    }
  }
  fclose(f);
  if (h != 0)
    DbCloseFile(h);
  told.Post(path);
  if (RunOptions.AssociationMode == 0 && showDone == 1)
    xvt_dm_post_note("%s", MsgText(5100));
}

template <typename K> void Load() {
  using Rec = typename K::Rec;
  TblHandle h = K::Open(K::Table());
  if (OrvixError != 0 || h == 0) {
    int err = OrvixError != 0 ? OrvixError : kErrNoFile;
    xvt_dm_post_note(MsgText(2626), K::Table(), err);
    return;
  }
  FILE *f = PlatOpenFile(K::LoadFile(), "rb");
  if (f == nullptr) {
    xvt_dm_post_note(MsgText(5611), K::LoadFile());
    DbCloseFile(h);
    return;
  }
  static Rec rec, found, held;
  Told told;
  char line[kUdefLoadLineSize];
  while (PlatReadLine(f, line, sizeof line)) {
    K::Clear(&rec);
    if (!K::Parse(line, &rec))
      continue;
    K::Clear(&found);
    StrCopy(found.Abbrev, rec.Abbrev);
    std::string id = std::to_string(rec.Id);
    if (K::Find(h, &found, 1) == 0) {
      std::string foundId = std::to_string(found.Id);
      if (found.Id == rec.Id) {
        K::Save(h, &rec, kSaveReplace);
        continue;
      }
      if (!InRange(found.Id, K::first, K::last)) {
        // A published record keeps its id; the loaded one takes its place.
        told.Add("%s: the line's id %s is dropped for the existing id %s",
                 rec.Abbrev, id.c_str(), foundId.c_str());
        rec.Id = found.Id;
        K::Save(h, &rec, kSaveReplace);
        continue;
      }
      // Two user-defined records of one name: the one in the table stays,
      // its abbreviation marked with "_".
      char marked[sizeof found.Abbrev];
      StrCopy(marked, found.Abbrev);
      if (strlen(marked) + 1 >= sizeof marked)
        marked[sizeof marked - 2] = '\0';
      StrAppend(marked, "_");
      told.Add("%s: the record %s is now called %s", rec.Abbrev,
               foundId.c_str(), marked);
      StrCopy(found.Abbrev, marked);
      K::Save(h, &found, kSaveReplace);
    }
    // An id that is taken already is the line's to fill: the record under
    // it is replaced, and the note says which one it was.
    K::Clear(&held);
    held.Id = rec.Id;
    if (K::Find(h, &held, 0) == 0) {
      if (strcmp(held.Abbrev, rec.Abbrev) != 0)
        told.Add("%s: replaces %s under the id %s", rec.Abbrev, held.Abbrev,
                 id.c_str());
      K::Save(h, &rec, kSaveReplace);
    } else {
      K::Save(h, &rec, kSaveAdd);
    }
  }
  fclose(f);
  DbCloseFile(h);
  told.Post(K::LoadFile());
}

// The fields of a bar-divided line, each up to the next bar.
std::vector<std::string> Bars(const char *line) {
  std::vector<std::string> out;
  for (const char *p = line;;) {
    const char *bar = strchr(p, '|');
    if (bar == nullptr) {
      out.emplace_back(p);
      return out;
    }
    out.emplace_back(p, static_cast<size_t>(bar - p));
    p = bar + 1;
  }
}

uint16_t Number16(const std::string &s) {
  return static_cast<uint16_t>(atoi(s.c_str()));
}

uint8_t Digit(const std::string &s) {
  return s.empty() ? 0 : static_cast<uint8_t>(s[0] - '0');
}

} // namespace

bool UdefParseLine(const char *line, size_t abbrevWidth, size_t nameWidth,
                   UdefLine *out) {
  out->Key = Column(line, 0, kUdefKeyColumns);
  out->Abbrev =
      Cut(Column(line, kUdefKeyColumns, kUdefKeyColumns), abbrevWidth);
  out->Name = Cut(Column(line, 2 * kUdefKeyColumns, kUdefLineSize), nameWidth);
  return !out->Key.empty();
}

std::string UdefFormatLine(const char *abbrev, const char *name) {
  char line[128];
  StrFormat(line, "%-20.20s%-20.20s%-60.60s\n", abbrev, abbrev, name);
  return line;
}

bool LoadParseRemedyLine(const char *line, Remed *rec) {
  if (strlen(line) <= 2)
    return false;
  std::vector<std::string> f = Bars(line);
  if (f.size() < 2 || f[1].empty())
    return false;
  rec->Id = Number16(f[0]);
  StrCopy(rec->Abbrev, f[1].c_str());
  char *texts[] = {rec->Name,  rec->Name3, rec->Name4, rec->Name5,
                   rec->Name6, rec->Name7, rec->Name8, rec->Name9};
  if (f.size() > 2)
    StrCopy(texts[0], sizeof rec->Name, f[2].c_str());
  if (f.size() > 3)
    rec->Attr1 = Digit(f[3]);
  if (f.size() > 4)
    rec->Listed = Digit(f[4]);
  if (f.size() > 5)
    rec->Value1 = Number16(f[5]);
  if (f.size() > 6)
    rec->Value2 = Number16(f[6]);
  for (size_t i = 7; i < f.size() && i < 14; ++i)
    StrCopy(texts[i - 6], sizeof rec->Name, f[i].c_str());
  return rec->Id != 0;
}

bool LoadParseAuthorLine(const char *line, Author *rec) {
  if (strlen(line) <= 2)
    return false;
  std::vector<std::string> f = Bars(line);
  if (f.size() < 2 || f[1].empty())
    return false;
  rec->Id = Number16(f[0]);
  // The abbreviation is kept as written: authors are stored with capitals,
  // and a lower-cased copy would not find the record it names.
  StrCopy(rec->Abbrev, f[1].c_str());
  if (f.size() > 2)
    StrCopy(rec->Name, f[2].c_str());
  if (f.size() > 3)
    StrCopy(rec->Detail1, f[3].c_str());
  if (f.size() > 4)
    StrCopy(rec->Detail2, f[4].c_str());
  if (f.size() > 5)
    StrCopy(rec->Detail3, f[5].c_str());
  if (f.size() > 6)
    rec->Value1 = Number16(f[6]);
  if (f.size() > 7)
    rec->Listed = Digit(f[7]);
  return rec->Id != 0;
}

void UdefListPath(char *out, size_t cap, const char *tablePath,
                  const char *fileName) {
  StrCopy(out, cap, tablePath);
  char *cut = strrchr(out, '\\');
  if (cut != nullptr)
    cut[1] = '\0';
  else
    out[0] = '\0';
  StrAppend(out, cap, fileName);
}

void UpdateRemedies(int showDone) {
  Update<RemedyKind>(showDone);
}

void UpdateAuthors(int showDone) {
  Update<AuthorKind>(showDone);
}

void LoadRemedies() {
  Load<RemedyKind>();
}

void LoadAuthors() {
  Load<AuthorKind>();
}

void DriverAutRem() {
  // Association mode holds back the closing note: no one is watching.
  RunOptions.AssociationMode = 1;
  if (RunRemedyLog[0] != '\0')
    UpdateRemedies(1);
  if (RunAuthorLog[0] != '\0')
    UpdateAuthors(1);
  SessionEnd();
}
