// Readers of the text sources of the demonstration installation.
#include "mkdemo.h"

#include "platform/cp1252.h"
#include "store/strdate.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

constexpr size_t kSourceLineMax = 4096;

// One source file, line by line, in code page 1252, comments and blank
// lines left out. Reports "file:line: what" for the callers.
struct SourceFile {
  std::ifstream in;
  std::string path;
  int line = 0;
  bool ok = true;

  explicit SourceFile(const std::string &p) : in(p), path(p) {
    if (!in) {
      fprintf(stderr, "%s: cannot be read\n", p.c_str());
      ok = false;
    }
  }
  // The next line that counts, without its line end; false at the end or
  // after a line that is too long.
  bool Next(std::string &text) {
    std::string raw;
    while (ok && std::getline(in, raw)) {
      ++line;
      if (raw.size() > kSourceLineMax) {
        Fail("line longer than 4096 characters");
        return false;
      }
      if (!raw.empty() && raw.back() == '\r')
        raw.pop_back();
      size_t first = raw.find_first_not_of(' ');
      if (first == std::string::npos || raw[first] == '#')
        continue;
      text = Utf8ToCp1252(raw);
      return true;
    }
    return false;
  }
  int Fail(const std::string &what) {
    fprintf(stderr, "%s:%d: %s\n", path.c_str(), line, what.c_str());
    ok = false;
    return 1;
  }
};

bool ToInt(const std::string &s, int &v) {
  if (s.empty() || s.size() > 9)
    return false;
  size_t i = s[0] == '-' ? 1 : 0;
  if (i == s.size())
    return false;
  for (size_t j = i; j < s.size(); ++j)
    if (s[j] < '0' || s[j] > '9')
      return false;
  v = atoi(s.c_str());
  return true;
}

std::string Trimmed(const std::string &s) {
  size_t a = s.find_first_not_of(' ');
  if (a == std::string::npos)
    return "";
  size_t b = s.find_last_not_of(' ');
  return s.substr(a, b - a + 1);
}

// "Abbrev<degree>[/author][*]"; the abbreviation never ends in a digit.
bool ParseRem(const std::string &token, DemoRem &rem) {
  std::string t = token;
  rem.User = !t.empty() && t.back() == '*';
  if (rem.User)
    t.pop_back();
  size_t slash = t.find('/');
  rem.Author = slash == std::string::npos ? "Kent" : t.substr(slash + 1);
  std::string head = t.substr(0, slash);
  if (head.size() < 2 || head.back() < '1' || head.back() > '4')
    return false;
  rem.Degree = head.back() - '0';
  rem.Remedy = head.substr(0, head.size() - 1);
  char last = rem.Remedy.back();
  return !rem.Author.empty() && !(last >= '0' && last <= '9');
}

} // namespace

std::vector<std::string> DemoSplit(const std::string &line) {
  std::vector<std::string> out;
  size_t start = 0;
  for (;;) {
    size_t bar = line.find('|', start);
    out.push_back(line.substr(start, bar - start));
    if (bar == std::string::npos)
      return out;
    start = bar + 1;
  }
}

long DemoDate(const std::string &text) {
  long date = 0;
  if (DateCharToLong(1, text.c_str(), "dd.mm.yyyy", &date) != kDateOk)
    return -1;
  return date;
}

long DemoTime(const std::string &text) {
  int h, m, s;
  char extra;
  if (sscanf(text.c_str(), "%d:%d:%d%c", &h, &m, &s, &extra) != 3 || h < 0 ||
      h > 23 || m < 0 || m > 59 || s < 0 || s > 59)
    return -1;
  return h * 3600L + m * 60L + s;
}

int DemoReadRemedies(const std::string &path, std::vector<DemoRemedy> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    DemoRemedy r;
    if (v.size() != 3 || !ToInt(v[0], r.Id) || r.Id <= 0 || v[1].empty())
      return f.Fail("expected id|abbreviation|name");
    if (r.Id >= 3161 && r.Id <= 3259)
      return f.Fail("id in the user-defined range 3161 to 3259");
    r.Abbrev = v[1];
    r.Name = v[2];
    char last = r.Abbrev.back();
    if (last >= '0' && last <= '9')
      return f.Fail("an abbreviation may not end in a digit");
    out.push_back(r);
  }
  return f.ok ? 0 : 1;
}

int DemoReadAuthors(const std::string &path, std::vector<DemoAuthor> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    DemoAuthor a;
    if (v.size() != 4 || !ToInt(v[0], a.Id) || a.Id <= 0 || v[1].empty())
      return f.Fail("expected id|abbreviation|name|detail");
    if (a.Id >= 886 && a.Id <= 984)
      return f.Fail("id in the user-defined range 886 to 984");
    a.Abbrev = v[1];
    a.Name = v[2];
    a.Detail = v[3];
    out.push_back(a);
  }
  return f.ok ? 0 : 1;
}

int DemoReadViews(const std::string &path, std::vector<DemoView> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    DemoView view;
    if (v.size() != 3 || !ToInt(v[0], view.Number) || view.Number < 1 ||
        view.Number > 16)
      return f.Fail("expected number 1-16|name|authors");
    size_t start = 0;
    for (;;) {
      size_t comma = v[2].find(',', start);
      view.Authors.push_back(Trimmed(v[2].substr(start, comma - start)));
      if (comma == std::string::npos)
        break;
      start = comma + 1;
    }
    out.push_back(view);
  }
  return f.ok ? 0 : 1;
}

int DemoReadRepertory(const std::string &path, DemoRepertory &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::string t = Trimmed(line);
    if (t[0] == '+') {
      if (out.Symptoms.empty())
        return f.Fail("an extra line before the first symptom");
      size_t bar = t.find('|');
      if (bar == std::string::npos)
        return f.Fail("expected +tag|text");
      out.Symptoms.back().Extras.push_back(
          DemoExtra{t.substr(1, bar - 1), t.substr(bar + 1)});
      continue;
    }
    std::vector<std::string> v = DemoSplit(t);
    DemoSymptom s;
    if (v.size() != 5 || !ToInt(v[0], s.Level) || !ToInt(v[1], s.UniqueId))
      return f.Fail("expected level|unique id|English|French|remedies");
    if (s.Level < 1 || s.Level > 12)
      return f.Fail("level out of 1 to 12");
    if (s.UniqueId < 1 || s.UniqueId > 999999)
      return f.Fail("unique id out of 1 to 999999");
    int prev = out.Symptoms.empty() ? 0 : out.Symptoms.back().Level;
    if (s.Level > prev + 1)
      return f.Fail("level jumps by more than one");
    s.Text1 = v[2];
    s.Text2 = v[3];
    if (s.Text1.empty() || s.Text1.size() > 95 || s.Text2.size() > 95)
      return f.Fail("symptom text empty or longer than 95 characters");
    size_t start = 0;
    while (start < v[4].size()) {
      size_t sp = v[4].find(' ', start);
      std::string tok = v[4].substr(start, sp - start);
      start = sp == std::string::npos ? v[4].size() : sp + 1;
      if (tok.empty())
        continue;
      DemoRem rem;
      if (!ParseRem(tok, rem))
        return f.Fail("bad remedy \"" + tok + "\"");
      s.Rems.push_back(rem);
    }
    out.Symptoms.push_back(s);
  }
  return f.ok ? 0 : 1;
}

int DemoReadCatalog(const std::string &path,
                    std::vector<DemoCatalogEntry> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    DemoCatalogEntry e;
    if (v.size() != 9 || !ToInt(v[0], e.Kind) || !ToInt(v[1], e.Id) ||
        (e.Kind != 1 && e.Kind != 2) || v[2].empty() || v[2].size() > 10)
      return f.Fail("expected kind|id|abbreviation|title|folder|style|kind|"
                    "flag|source");
    e.Abbrev = v[2];
    e.Title = v[3];
    e.Folder = v[4];
    e.RefStyle = 0;
    if (!v[5].empty() && !ToInt(v[5], e.RefStyle))
      return f.Fail("bad reference style");
    e.RepKind = v[6];
    e.AlmanacumFlag = v[7];
    e.Source = v[8];
    if (e.Folder.empty() || e.Folder.back() != '\\')
      return f.Fail("the folder must end in a backslash");
    out.push_back(e);
  }
  return f.ok ? 0 : 1;
}

int DemoReadLog(const std::string &path, std::vector<DemoLogEntry> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    DemoLogEntry e;
    if (v.size() < 8 || !ToInt(v[0], e.Number) || !ToInt(v[1], e.Operation) ||
        !ToInt(v[5], e.Tag))
      return f.Fail("expected number|operation|date|time|id|tag|fields");
    if (e.Operation < 1 || e.Operation > 18)
      return f.Fail("operation out of 1 to 18");
    e.Date = DemoDate(v[2]);
    e.Time = DemoTime(v[3]);
    if (e.Date < 0 || e.Time < 0)
      return f.Fail("bad date or time");
    e.UniqueId = v[4];
    int id;
    if (e.UniqueId != "=" && !ToInt(e.UniqueId, id))
      return f.Fail("the unique id is \"=\" or a number");
    for (size_t i = 6; i < v.size(); ++i) {
      std::string field;
      for (size_t j = 0; j < v[i].size(); ++j) {
        if (v[i][j] == '\\' && j + 1 < v[i].size() && v[i][j + 1] == 'n') {
          field += '\n';
          ++j;
        } else {
          field += v[i][j];
        }
      }
      e.Fields.push_back(field);
    }
    out.push_back(e);
  }
  return f.ok ? 0 : 1;
}

int DemoReadCases(const std::string &path, std::vector<DemoCase> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    if (v[0] == "case" || v[0] == "deleted") {
      DemoCase c;
      c.Deleted = v[0] == "deleted";
      if (v.size() != 6 || !ToInt(v[1], c.Id) || c.Id < 1 || v[2].empty() ||
          v[2].size() > 30)
        return f.Fail("expected case|number|name|created|changed|comment");
      c.Name = v[2];
      c.Created = DemoDate(v[3]);
      c.Changed = DemoDate(v[4]);
      c.Comment = v[5];
      if (c.Created < 0 || c.Changed < 0)
        return f.Fail("bad date");
      for (int i = 0; i < 10; ++i)
        c.Clipboards[i] = "Clipboard " + std::to_string(i + 1);
      out.push_back(c);
    } else if (v[0] == "clip") {
      int n;
      if (out.empty() || v.size() != 3 || !ToInt(v[1], n) || n < 1 || n > 10 ||
          v[2].size() > 25)
        return f.Fail("expected clip|1-10|name, after a case");
      out.back().Clipboards[n - 1] = v[2];
    } else if (v[0] == "sym") {
      DemoCaseSymptom s;
      if (out.empty() || v.size() != 4 || !ToInt(v[1], s.Clipboard) ||
          s.Clipboard < 1 || s.Clipboard > 10 || !ToInt(v[2], s.Weight) ||
          s.Weight < 0 || s.Weight > 10)
        return f.Fail("expected sym|clipboard 1-10|weight 0-10|path");
      s.Path = v[3];
      out.back().Symptoms.push_back(s);
    } else {
      return f.Fail("a line begins with case, deleted, clip or sym");
    }
  }
  return f.ok ? 0 : 1;
}

int DemoReadAssocExtras(const std::string &path,
                        std::vector<DemoAssocExtra> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    if (v.size() != 3 || v[0].empty() || v[1].empty())
      return f.Fail("expected parent path|old text|new path");
    out.push_back(DemoAssocExtra{v[0], v[1], v[2]});
  }
  return f.ok ? 0 : 1;
}

int DemoReadKeynotes(const std::string &path, std::vector<DemoKeynote> &out) {
  SourceFile f(path);
  std::string line;
  while (f.Next(line)) {
    std::vector<std::string> v = DemoSplit(line);
    if (v.size() != 3 || v[0].empty())
      return f.Fail("expected remedy|English|French");
    out.push_back(DemoKeynote{v[0], v[1], v[2]});
  }
  return f.ok ? 0 : 1;
}
