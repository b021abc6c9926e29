// The private-profile calls on a plain text file.
//
// The file is read whole into memory and taken apart into lines; a line keeps
// its own line end, so a rewrite gives back every byte it did not change.
// Lines have no length limit here; values are cut to the caller's buffer. A
// file larger than kProfileFileMax is treated as unreadable: reads give the
// defaults and writes refuse, so such a file is never cut short.
//
// Section lines are "[name]" (blanks around allowed; a missing "]" takes the
// rest of the line as the name). Key lines are "key=value"; lines starting
// with ";" or "#" and lines without "=" are no keys. Names are compared
// without regard to ASCII letter case.
#include "platform/profile.h"

#include "platform/paths.h"
#include "platform/strutil.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kProfileFileMax = 16u << 20;

struct ProfLine {
  std::string text; // without its line end
  std::string end;  // "\n", "\r\n" or "" for a last line without one
};

struct ProfFile {
  std::string real;
  bool exists = false;
  std::vector<ProfLine> lines;
  std::string eol = "\n"; // line end of new lines: the file's own style
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

char Fold(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameName(const char *a, size_t alen, const char *b) {
  size_t i = 0;
  for (; i < alen; ++i) {
    if (b[i] == '\0' || Fold(a[i]) != Fold(b[i]))
      return false;
  }
  return b[i] == '\0';
}

// Trims blanks on both sides of [b, e).
void Trim(const char *&b, const char *&e) {
  while (b < e && IsBlank(*b))
    ++b;
  while (e > b && IsBlank(e[-1]))
    --e;
}

// A section line: answers true and the name's bounds.
bool SectionName(const std::string &line, const char *&b, const char *&e) {
  const char *p = line.c_str();
  const char *end = p + line.size();
  while (p < end && IsBlank(*p))
    ++p;
  if (p == end || *p != '[')
    return false;
  b = p + 1;
  e = b;
  while (e < end && *e != ']')
    ++e;
  Trim(b, e);
  return true;
}

// A key line: answers true with the bounds of key and value, both trimmed.
bool KeyValue(const std::string &line, const char *&kb, const char *&ke,
              const char *&vb, const char *&ve) {
  const char *p = line.c_str();
  const char *end = p + line.size();
  while (p < end && IsBlank(*p))
    ++p;
  if (p == end || *p == ';' || *p == '#' || *p == '[')
    return false;
  const char *eq = p;
  while (eq < end && *eq != '=')
    ++eq;
  if (eq == end)
    return false;
  kb = p;
  ke = eq;
  Trim(kb, ke);
  vb = eq + 1;
  ve = end;
  Trim(vb, ve);
  return true;
}

bool LoadProfile(const char *file, ProfFile &pf) {
  if (file == nullptr || !PlatRealPath(file, pf.real))
    return false;
  FILE *f = fopen(pf.real.c_str(), "rb");
  if (f == nullptr)
    return errno == ENOENT; // a missing file reads as empty
  std::string data;
  char chunk[4096];
  size_t n;
  bool ok = true;
  while ((n = fread(chunk, 1, sizeof chunk, f)) > 0) {
    if (data.size() + n > kProfileFileMax) {
      ok = false;
      break;
    }
    data.append(chunk, n);
  }
  if (ferror(f))
    ok = false;
  fclose(f);
  if (!ok)
    return false;
  pf.exists = true;
  size_t pos = 0;
  bool styleSeen = false;
  while (pos < data.size()) {
    size_t nl = data.find('\n', pos);
    ProfLine line;
    if (nl == std::string::npos) {
      line.text = data.substr(pos);
      pos = data.size();
    } else {
      size_t textEnd = nl;
      if (textEnd > pos && data[textEnd - 1] == '\r')
        --textEnd;
      line.text = data.substr(pos, textEnd - pos);
      line.end = data.substr(textEnd, nl + 1 - textEnd);
      pos = nl + 1;
      if (!styleSeen) {
        pf.eol = line.end;
        styleSeen = true;
      }
    }
    pf.lines.push_back(std::move(line));
  }
  return true;
}

// Index of the first section line of that name, or -1.
long FindSection(const ProfFile &pf, const char *section) {
  for (size_t i = 0; i < pf.lines.size(); ++i) {
    const char *b, *e;
    if (SectionName(pf.lines[i].text, b, e) &&
        SameName(b, static_cast<size_t>(e - b), section))
      return static_cast<long>(i);
  }
  return -1;
}

// One past the last line of the section whose header stands at `head`.
size_t SectionEnd(const ProfFile &pf, long head) {
  size_t i = static_cast<size_t>(head) + 1;
  const char *b, *e;
  while (i < pf.lines.size() && !SectionName(pf.lines[i].text, b, e))
    ++i;
  return i;
}

long FindKey(const ProfFile &pf, long head, const char *key) {
  size_t end = SectionEnd(pf, head);
  for (size_t i = static_cast<size_t>(head) + 1; i < end; ++i) {
    const char *kb, *ke, *vb, *ve;
    if (KeyValue(pf.lines[i].text, kb, ke, vb, ve) &&
        SameName(kb, static_cast<size_t>(ke - kb), key))
      return static_cast<long>(i);
  }
  return -1;
}

// Copies [b, e) into buf within size bytes; answers the length copied.
unsigned CopyOut(const char *b, const char *e, char *buf, unsigned size) {
  size_t n = static_cast<size_t>(e - b);
  if (n > size - 1)
    n = size - 1;
  for (size_t i = 0; i < n; ++i)
    buf[i] = b[i];
  buf[n] = '\0';
  return static_cast<unsigned>(n);
}

// Names one after the other, each ended by a zero, the whole ended by one
// more. A list that does not fit is cut, its last name ended by two zeros,
// and size-2 is answered.
unsigned ListOut(const std::vector<std::string> &names, char *buf,
                 unsigned size) {
  if (size < 2) {
    buf[0] = '\0';
    return 0;
  }
  size_t pos = 0;
  for (const std::string &name : names) {
    if (pos + name.size() + 1 > size - 1) {
      size_t room = pos + 2 <= size ? size - 2 - pos : 0;
      for (size_t i = 0; i < room; ++i)
        buf[pos + i] = name[i];
      buf[size - 2] = '\0';
      buf[size - 1] = '\0';
      return size - 2;
    }
    for (char c : name)
      buf[pos++] = c;
    buf[pos++] = '\0';
  }
  buf[pos] = '\0';
  if (pos == 0 && size > 1)
    buf[1] = '\0';
  return static_cast<unsigned>(pos);
}

bool WriteBeside(const ProfFile &pf) {
  std::string tmp = pf.real + ".XXXXXX";
  std::vector<char> name(tmp.begin(), tmp.end());
  name.push_back('\0');
  int fd = mkstemp(name.data());
  if (fd < 0)
    return false;
  FILE *f = fdopen(fd, "wb");
  if (f == nullptr) {
    close(fd);
    unlink(name.data());
    return false;
  }
  bool ok = true;
  for (const ProfLine &line : pf.lines) {
    if (fwrite(line.text.data(), 1, line.text.size(), f) != line.text.size() ||
        fwrite(line.end.data(), 1, line.end.size(), f) != line.end.size()) {
      ok = false;
      break;
    }
  }
  if (fflush(f) != 0)
    ok = false;
  struct stat st;
  if (ok && pf.exists && stat(pf.real.c_str(), &st) == 0)
    fchmod(fileno(f), st.st_mode & 07777);
  else if (ok)
    fchmod(fileno(f), 0644);
  if (fclose(f) != 0)
    ok = false;
  if (ok && rename(name.data(), pf.real.c_str()) != 0)
    ok = false;
  if (!ok)
    unlink(name.data());
  return ok;
}

// Gives the line before `at` a line end when it has none, so that a line
// inserted behind it starts on a line of its own.
void EndPrevious(ProfFile &pf, size_t at) {
  if (at > 0 && pf.lines[at - 1].end.empty())
    pf.lines[at - 1].end = pf.eol;
}

bool HasLineBreak(const char *s) {
  for (; *s != '\0'; ++s) {
    if (*s == '\n' || *s == '\r')
      return true;
  }
  return false;
}

} // namespace

unsigned GetPrivateProfileStringA(const char *section, const char *key,
                                  const char *def, char *buf, unsigned size,
                                  const char *file) {
  if (buf == nullptr || size == 0)
    return 0;
  ProfFile pf;
  bool loaded = LoadProfile(file, pf);

  if (section == nullptr || key == nullptr) {
    std::vector<std::string> names;
    if (loaded && section == nullptr) {
      for (const ProfLine &line : pf.lines) {
        const char *b, *e;
        if (SectionName(line.text, b, e))
          names.emplace_back(b, e);
      }
    } else if (loaded) {
      long head = FindSection(pf, section);
      if (head >= 0) {
        size_t end = SectionEnd(pf, head);
        for (size_t i = static_cast<size_t>(head) + 1; i < end; ++i) {
          const char *kb, *ke, *vb, *ve;
          if (KeyValue(pf.lines[i].text, kb, ke, vb, ve))
            names.emplace_back(kb, ke);
        }
      }
    }
    return ListOut(names, buf, size);
  }

  if (loaded) {
    long head = FindSection(pf, section);
    long at = head >= 0 ? FindKey(pf, head, key) : -1;
    if (at >= 0) {
      const char *kb, *ke, *vb, *ve;
      KeyValue(pf.lines[static_cast<size_t>(at)].text, kb, ke, vb, ve);
      // A value in matching quotes is given without them.
      if (ve - vb >= 2 && (*vb == '"' || *vb == '\'') && ve[-1] == *vb) {
        ++vb;
        --ve;
      }
      return CopyOut(vb, ve, buf, size);
    }
  }
  if (def == nullptr)
    def = "";
  const char *db = def;
  const char *de = def + strlen(def);
  while (de > db && IsBlank(de[-1]))
    --de;
  return CopyOut(db, de, buf, size);
}

unsigned GetPrivateProfileIntA(const char *section, const char *key, int def,
                               const char *file) {
  if (section == nullptr || key == nullptr)
    return static_cast<unsigned>(def);
  ProfFile pf;
  if (!LoadProfile(file, pf))
    return static_cast<unsigned>(def);
  long head = FindSection(pf, section);
  long at = head >= 0 ? FindKey(pf, head, key) : -1;
  if (at < 0)
    return static_cast<unsigned>(def);
  const char *kb, *ke, *vb, *ve;
  KeyValue(pf.lines[static_cast<size_t>(at)].text, kb, ke, vb, ve);
  bool negative = false;
  if (vb < ve && (*vb == '-' || *vb == '+')) {
    negative = *vb == '-';
    ++vb;
  }
  // Digits beyond 32 bits wrap, as the platform's own reader does.
  uint32_t value = 0;
  for (; vb < ve && *vb >= '0' && *vb <= '9'; ++vb)
    value = value * 10u + static_cast<uint32_t>(*vb - '0');
  return negative ? 0u - value : value;
}

int WritePrivateProfileStringA(const char *section, const char *key,
                               const char *value, const char *file) {
  if (section == nullptr)
    return key == nullptr && value == nullptr; // a flush: nothing cached
  if (file == nullptr || *section == '\0' || HasLineBreak(section))
    return 0;
  for (const char *p = section; *p != '\0'; ++p) {
    if (*p == ']')
      return 0;
  }
  if (key != nullptr) {
    if (*key == '\0' || HasLineBreak(key) || key[0] == '[' || key[0] == ';')
      return 0;
    for (const char *p = key; *p != '\0'; ++p) {
      if (*p == '=')
        return 0;
    }
  }

  ProfFile pf;
  if (!LoadProfile(file, pf))
    return 0;
  long head = FindSection(pf, section);

  if (key == nullptr) { // remove the whole section
    if (head < 0)
      return 1;
    size_t end = SectionEnd(pf, head);
    pf.lines.erase(pf.lines.begin() + head, pf.lines.begin() + end);
    return WriteBeside(pf);
  }

  long at = head >= 0 ? FindKey(pf, head, key) : -1;
  if (value == nullptr) { // remove the key
    if (at < 0)
      return 1;
    pf.lines.erase(pf.lines.begin() + at);
    return WriteBeside(pf);
  }

  // A value is one line: it ends at its first line break.
  std::string text = key;
  text += '=';
  for (const char *p = value; *p != '\0' && *p != '\n' && *p != '\r'; ++p)
    text += *p;

  if (at >= 0) {
    pf.lines[static_cast<size_t>(at)].text = text;
  } else if (head >= 0) {
    // Behind the last line of the section that isn't blank.
    size_t pos = SectionEnd(pf, head);
    while (pos > static_cast<size_t>(head) + 1) {
      const std::string &t = pf.lines[pos - 1].text;
      bool blank = true;
      for (char c : t)
        blank = blank && IsBlank(c);
      if (!blank)
        break;
      --pos;
    }
    EndPrevious(pf, pos);
    pf.lines.insert(pf.lines.begin() + static_cast<long>(pos),
                    ProfLine{text, pf.eol});
  } else {
    EndPrevious(pf, pf.lines.size());
    if (!pf.lines.empty() && !pf.lines.back().text.empty())
      pf.lines.push_back(ProfLine{"", pf.eol});
    pf.lines.push_back(ProfLine{std::string("[") + section + "]", pf.eol});
    pf.lines.push_back(ProfLine{text, pf.eol});
  }
  return WriteBeside(pf);
}
