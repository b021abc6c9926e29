// The action language, shared by the console and the scripted backend, and
// the scripted backend itself: each line of the file that MANTREL_SCRIPT
// names is one thing a person would do next.
#include "platform/strutil.h"
#include "platform/xvt_internal.h"

#include <cerrno>
#include <cstdlib>
#include <strings.h>

int XvtScriptLine = 0;
int XvtScriptDone = 0;

namespace {

struct Word {
  const char *name;
  XvtActKind kind;
};

const Word kWords[] = {
    {"menu", XVT_ACT_MENU},     {"exit", XVT_ACT_EXIT},
    {"click", XVT_ACT_CLICK},   {"dclick", XVT_ACT_DCLICK},
    {"select", XVT_ACT_SELECT}, {"set", XVT_ACT_SET},
    {"key", XVT_ACT_KEY},       {"close", XVT_ACT_CLOSE},
    {"enter", XVT_ACT_ENTER},   {"answer", XVT_ACT_ANSWER},
    {"text", XVT_ACT_TEXT},     {"file", XVT_ACT_FILE},
    {"folder", XVT_ACT_FOLDER}, {"cancel", XVT_ACT_CANCEL},
    {"wait", XVT_ACT_WAIT},     {"quit", XVT_ACT_QUIT},
};

const char *SkipBlanks(const char *p) {
  while (*p == ' ' || *p == '\t')
    ++p;
  return p;
}

// A whole number at p; moves p behind it.
bool Number(const char *&p, int &out) {
  p = SkipBlanks(p);
  char *end = nullptr;
  errno = 0;
  long v = strtol(p, &end, 10);
  if (end == p || errno != 0 || v < -1000000000L || v > 1000000000L ||
      (*end != '\0' && *end != ' ' && *end != '\t'))
    return false;
  out = static_cast<int>(v);
  p = end;
  return true;
}

// The rest of a line as one text: after the blanks that follow the word,
// inner and trailing blanks kept.
bool Rest(const char *p, XvtAction *a, char *why, size_t ws) {
  if (*p == ' ' || *p == '\t')
    ++p;
  if (strlen(p) >= sizeof a->text) {
    StrFormat(why, ws, "text longer than %d characters", kXvtActText - 1);
    return false;
  }
  StrCopy(a->text, p);
  return true;
}

// ------------------------------------------------------- scripted backend

std::vector<std::string> gLines;
size_t gNext = 0;     // index of the next line
int gWaitLeft = -1;   // rounds left of a wait line, -1 when not started
std::string gCurrent; // text of the line last taken

void Report(int line, const char *text, const char *why) {
  fprintf(stderr, "script line %d: %s: %s; the script stops here\n", line, why,
          text);
  fflush(stderr);
  XvtScriptDone = 1;
}

void ScriptStart() {
  gLines.clear();
  gNext = 0;
  gWaitLeft = -1;
  XvtScriptLine = 0;
  XvtScriptDone = 0;
  const char *path = getenv("MANTREL_SCRIPT");
  if (path == nullptr || *path == '\0') {
    XvtScriptDone = 1;
    return;
  }
  FILE *f = fopen(path, "rb");
  if (f == nullptr) {
    fprintf(stderr, "script: cannot read '%s'; no one answers\n", path);
    XvtScriptDone = 1;
    return;
  }
  std::string line;
  int c;
  while ((c = fgetc(f)) != EOF && gLines.size() < 1000000) {
    if (c == '\n') {
      gLines.push_back(line);
      line.clear();
    } else if (line.size() < 100000) {
      line += static_cast<char>(c);
    }
  }
  if (!line.empty())
    gLines.push_back(line);
  fclose(f);
}

void ScriptStop() {
  XvtScriptDone = 1;
  gLines.clear();
  gNext = 0;
  gWaitLeft = -1;
}

bool PollKind(XvtActKind k) {
  return k == XVT_ACT_CLICK || k == XVT_ACT_DCLICK || k == XVT_ACT_SELECT ||
         k == XVT_ACT_SET || k == XVT_ACT_KEY || k == XVT_ACT_CLOSE;
}

int ScriptNext(const XvtWait *w, int block, XvtAction *a) {
  while (!XvtScriptDone) {
    if (gNext >= gLines.size()) {
      XvtScriptDone = 1;
      fprintf(stderr,
              "script: no more lines after line %zu; answering as "
              "Enter would\n",
              gLines.size());
      fflush(stderr);
      return 0;
    }
    std::string line = gLines[gNext];
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
      line.pop_back();
    int lineNo = static_cast<int>(gNext) + 1;
    const char *p = SkipBlanks(line.c_str());
    if (*p == '\0' || *p == '#') {
      ++gNext;
      continue;
    }
    char why[300];
    if (XvtParseAction(line.c_str(), a, why, sizeof why) != 0) {
      XvtScriptLine = lineNo;
      Report(lineNo, line.c_str(), why);
      return 0;
    }
    if (a->kind == XVT_ACT_WAIT) {
      if (block) { // nothing runs in between: the wait is over
        ++gNext;
        gWaitLeft = -1;
        continue;
      }
      if (gWaitLeft < 0)
        gWaitLeft = a->num;
      if (gWaitLeft > 0)
        --gWaitLeft;
      if (gWaitLeft == 0) {
        ++gNext;
        gWaitLeft = -1;
      }
      return 0;
    }
    if (!block) {
      // During a job only what the window in front can take is done;
      // the rest waits for the next time the program waits for input.
      if (!PollKind(a->kind) || !XvtActionFits(w, a, why, sizeof why))
        return 0;
    }
    ++gNext;
    XvtScriptLine = lineNo;
    gCurrent = line;
    return 1;
  }
  return 0;
}

void ScriptReject(const XvtAction *a, const char *why) {
  (void)a;
  Report(XvtScriptLine, gCurrent.c_str(), why);
}

int ScriptUsable() {
  return 1;
}
void ScriptChanged(WINDOW) {}
void ScriptGone(WINDOW) {}

} // namespace

const char *XvtActionName(XvtActKind kind) {
  for (const Word &w : kWords)
    if (w.kind == kind)
      return w.name;
  return "?";
}

int XvtParseAction(const char *line, XvtAction *a, char *why, int whySize) {
  size_t ws = whySize > 0 ? static_cast<size_t>(whySize) : 0;
  *a = XvtAction();
  if (line == nullptr) {
    StrCopy(why, ws, "no line");
    return 1;
  }
  const char *p = SkipBlanks(line);
  const char *end = p;
  while (*end != '\0' && *end != ' ' && *end != '\t')
    ++end;
  size_t len = static_cast<size_t>(end - p);
  const Word *word = nullptr;
  for (const Word &w : kWords)
    if (strlen(w.name) == len && strncasecmp(w.name, p, len) == 0)
      word = &w;
  if (word == nullptr) {
    StrFormat(why, ws, "'%.*s' is no action",
              static_cast<int>(len > 40 ? 40 : len), p);
    return 1;
  }
  a->kind = word->kind;
  p = end;
  switch (a->kind) {
  case XVT_ACT_MENU:
  case XVT_ACT_CLICK:
  case XVT_ACT_DCLICK:
  case XVT_ACT_WAIT:
    if (!Number(p, a->num) || (a->kind == XVT_ACT_WAIT && a->num < 0)) {
      StrFormat(why, ws, "'%s' wants a number", word->name);
      return 1;
    }
    break;
  case XVT_ACT_SELECT:
    if (!Number(p, a->num)) {
      StrCopy(why, ws, "'select' wants a control number");
      return 1;
    }
    for (p = SkipBlanks(p); *p != '\0'; p = SkipBlanks(p)) {
      int row = 0;
      if (!Number(p, row)) {
        StrCopy(why, ws, "'select' wants row numbers");
        return 1;
      }
      if (a->nrows >= kXvtMaxRows) {
        StrFormat(why, ws, "more than %d rows", kXvtMaxRows);
        return 1;
      }
      a->rows[a->nrows++] = row;
    }
    break;
  case XVT_ACT_SET:
    if (!Number(p, a->num)) {
      StrCopy(why, ws, "'set' wants a control number");
      return 1;
    }
    return Rest(p, a, why, ws) ? 0 : 1;
  case XVT_ACT_KEY: {
    p = SkipBlanks(p);
    if (strncasecmp(p, "esc", 3) == 0 && (p[3] == '\0' || p[3] == ' ')) {
      a->num = K_ESC;
      p += 3;
    } else if (strncasecmp(p, "enter", 5) == 0 &&
               (p[5] == '\0' || p[5] == ' ')) {
      a->num = K_ENTER;
      p += 5;
    } else if (!Number(p, a->num) || a->num <= 0 || a->num > 255) {
      StrCopy(why, ws, "'key' wants esc, enter or a character number");
      return 1;
    }
    break;
  }
  case XVT_ACT_ANSWER:
    p = SkipBlanks(p);
    if (*p == '\0') {
      StrCopy(why, ws, "'answer' wants ok, cancel, yes, no or a number");
      return 1;
    }
    return Rest(p, a, why, ws) ? 0 : 1;
  case XVT_ACT_TEXT:
    return Rest(p, a, why, ws) ? 0 : 1;
  case XVT_ACT_FILE:
  case XVT_ACT_FOLDER:
    p = SkipBlanks(p);
    if (*p == '\0') {
      StrFormat(why, ws, "'%s' wants a path", word->name);
      return 1;
    }
    return Rest(p, a, why, ws) ? 0 : 1;
  default:
    break;
  }
  if (*SkipBlanks(p) != '\0') {
    StrFormat(why, ws, "'%s' takes nothing more here", word->name);
    return 1;
  }
  return 0;
}

const XvtBackend XvtScriptedBackend = {
    "scripted",    ScriptUsable, ScriptStart, ScriptStop,
    ScriptChanged, ScriptGone,   ScriptNext,  ScriptReject,
};
