// The console backend: a person at a terminal. Dialogs show as a numbered
// list of their controls and are worked by typing the actions of the
// script language; the menu shows as a text menu; boxes are answered at a
// prompt, Enter taking the default. Without a terminal on the input no one
// is asked: everything is answered as Enter would. A window that draws (the
// Progress window) shows as one line: on a terminal it is redrawn in place,
// elsewhere one line is written for each tenth of the bar.
//
// Texts are code page 1252 inside; the terminal gets them in its own
// encoding (UTF-8 unless the locale names an 8-bit code page), and what is
// typed comes back to code page 1252. `help` or `?` lists the action words
// of what waits.
#include "platform/cp1252.h"
#include "platform/strutil.h"
#include "platform/xvt_internal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <poll.h>
#include <strings.h>
#include <unistd.h>

int XvtConsoleInFd = 0;
FILE *XvtConsoleOut = nullptr;
int XvtConsoleInteractive = -1;
int XvtTerminalUtf8Mode = -1;

bool XvtTerminalUtf8() {
  if (XvtTerminalUtf8Mode < 0) {
    const char *locale = nullptr;
    for (const char *name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
      const char *v = getenv(name);
      if (v != nullptr && *v != '\0') {
        locale = v;
        break;
      }
    }
    XvtTerminalUtf8Mode = 1;
    if (locale != nullptr)
      for (const char *eight : {"8859", "latin", "1252"})
        if (strcasestr(locale, eight) != nullptr)
          XvtTerminalUtf8Mode = 0;
  }
  return XvtTerminalUtf8Mode != 0;
}

std::string XvtTerminalText(const std::string &cp1252) {
  return XvtTerminalUtf8() ? Cp1252ToUtf8(cp1252) : cp1252;
}

namespace {

bool gPerson = false; // someone types at the input
bool gEof = false;
std::string gIn;         // bytes read, not yet a line
bool gBarOnLine = false; // a progress line stands without its line end
bool gDirty = true;      // the front window changed since it was shown
WINDOW gShown = NULL_WIN;
// Without a terminal: per window the tenth written last, the line written
// last and the line as it stands now (written when the window goes).
struct BarLog {
  int tenths = -1;
  std::string written, latest;
};
std::map<WINDOW, BarLog> gBars;
std::string gLastBar; // the progress line shown last
// The box the last lines were tried on, and how many it could not use.
std::string gBoxText;
int gBoxRejects = 0;
std::string gBoxButtons;      // "[1 OK] [2 Cancel]"
bool gSaidUnattended = false; // once while the backend runs

FILE *Out() {
  return XvtConsoleOut != nullptr ? XvtConsoleOut : stderr;
}

void EndBarLine() {
  if (gBarOnLine) {
    fputc('\n', Out());
    gBarOnLine = false;
  }
}

// Texts are code page 1252; they go to the terminal in its encoding.
void Put(const std::string &s) {
  fputs(XvtTerminalText(s).c_str(), Out());
}

std::string Plain(const char *text) {
  std::string s;
  for (const char *p = text ? text : ""; *p != '\0'; ++p)
    if (*p != '~' && *p != '&')
      s += *p;
  return s;
}

const char *KindName(XVT_CTL_KIND k) {
  switch (k) {
  case WC_PUSHBUTTON:
    return "button";
  case WC_RADIOBUTTON:
    return "radio";
  case WC_CHECKBOX:
    return "check";
  case WC_TEXT:
    return "text";
  case WC_EDIT:
    return "edit";
  case WC_LBOX:
    return "list";
  case WC_LISTBUTTON:
    return "dropdown";
  case WC_LISTEDIT:
    return "combo";
  case WC_GROUPBOX:
    return "group";
  }
  return "?";
}

// A line from the input. 1 a line, 0 nothing yet (only without block),
// -1 the input has ended.
int ReadLine(int block, std::string &line) {
  for (;;) {
    size_t nl = gIn.find('\n');
    if (nl != std::string::npos || gIn.size() > 8192) {
      size_t cut = nl == std::string::npos ? gIn.size() : nl;
      line = gIn.substr(0, cut);
      gIn.erase(0, nl == std::string::npos ? cut : cut + 1);
      while (!line.empty() && line.back() == '\r')
        line.pop_back();
      if (XvtTerminalUtf8())
        line = Utf8ToCp1252(line);
      return 1;
    }
    if (gEof)
      return -1;
    if (!block) {
      struct pollfd pf = {XvtConsoleInFd, POLLIN, 0};
      if (poll(&pf, 1, 0) <= 0)
        return 0;
    }
    char buf[1024];
    ssize_t n = read(XvtConsoleInFd, buf, sizeof buf);
    if (n < 0 && errno == EINTR) {
      if (!block)
        return 0;
      continue;
    }
    if (n <= 0) {
      gEof = true;
      if (!gIn.empty()) {
        gIn += '\n';
        continue;
      }
      return -1;
    }
    gIn.append(buf, static_cast<size_t>(n));
  }
}

void ShowMenu(const MENU_ITEM *tree, int depth) {
  for (const MENU_ITEM *it = tree;
       it != nullptr && (it->tag != 0 || it->separator); ++it) {
    std::string pad(static_cast<size_t>(depth) * 2 + 2, ' ');
    if (it->separator) {
      Put(pad + "------\n");
      continue;
    }
    char line[400];
    StrFormat(line, "%s%5d  %s%s\n", pad.c_str(), it->tag,
              Plain(it->text).c_str(), it->enabled ? "" : "  (off)");
    Put(line);
    ShowMenu(it->child, depth + 1);
  }
}

void ShowWindow(WINDOW win) {
  XvtWin *w = XvtFindWin(win);
  if (w == nullptr)
    return;
  Put("\n[" + Plain(w->title.c_str()) + "]\n");
  for (const XvtCtl &c : w->ctls) {
    if (!c.visible)
      continue;
    char line[600];
    StrFormat(line, "  %4d %-8s %s%s%s%s\n", c.id, KindName(c.kind),
              c.kind == WC_CHECKBOX || c.kind == WC_RADIOBUTTON
                  ? (c.checked ? "[x] " : "[ ] ")
                  : "",
              Plain(c.title.c_str()).c_str(), c.isDefault ? "  (default)" : "",
              c.enabled ? "" : "  (off)");
    Put(line);
    for (size_t i = 0; i < c.rows.size(); ++i) {
      StrFormat(line, "         %c%3zu  %s\n", c.sel[i] ? '*' : ' ', i,
                c.rows[i].c_str());
      Put(line);
    }
  }
}

std::string Buttons(const XvtWait *w) {
  std::string b;
  for (int i = 0; i < w->nbuttons; ++i) {
    char one[160];
    StrFormat(one, "%s[%d %s]", i ? " " : "", i + 1,
              Plain(w->button[i]).c_str());
    b += one;
  }
  return b;
}

// The action words that fit what waits, for `help` and `?`.
void ShowHelp(const XvtWait *w) {
  switch (w->kind) {
  case XVT_WAIT_MENU:
    Put("At the menu, type:\n"
        "  N                  the menu command numbered N above\n"
        "  exit               File Exit\n"
        "  quit               ends the program as closing its window would\n"
        "  help or ?          this list and the menu again\n");
    break;
  case XVT_WAIT_WINDOW:
    Put("In a window, type:\n"
        "  click N            presses button N, ticks check box N\n"
        "  dclick N           a double click in list N\n"
        "  select N ROW...    selects rows of list N (from 0)\n"
        "  set N TEXT         types TEXT into field N\n"
        "  key esc|enter|N    a key to the window\n"
        "  enter, or Enter    the default button\n"
        "  close              the window's close box\n"
        "  help or ?          this list and the window again\n");
    break;
  case XVT_WAIT_BOX:
    Put("This box waits for one of its buttons: " + Buttons(w) +
        "\n"
        "  Enter              the first button\n"
        "  N or a word        the button of that number or text (ok, cancel,\n"
        "                     yes, no)\n");
    break;
  case XVT_WAIT_STRING:
    Put("This prompt waits for a text:\n"
        "  TEXT               answers with TEXT\n"
        "  Enter              keeps the text shown in brackets\n"
        "  cancel             no answer\n");
    break;
  case XVT_WAIT_OPEN:
  case XVT_WAIT_SAVE:
  case XVT_WAIT_FOLDER:
    Put("This chooser waits for a path:\n"
        "  PATH               a file or folder, from the folder shown\n"
        "  Enter or cancel    nothing chosen\n");
    break;
  case XVT_WAIT_POLL:
    Put("While a job runs, type:\n"
        "  esc                cancels it (so does Ctrl-C)\n"
        "  click N, set N TEXT, select N ROW..., key esc|enter|N, close\n"
        "                     act on the window in front\n");
    break;
  default:
    break;
  }
  Put("During a job: esc then Enter (or Ctrl-C) cancels it.\n");
}

void ShowWait(const XvtWait *w) {
  EndBarLine();
  if (w->kind != XVT_WAIT_BOX)
    gBoxText.clear();
  switch (w->kind) {
  case XVT_WAIT_MENU:
    if (gDirty || gShown != w->win) {
      if (XvtWin *t = XvtFindWin(w->win)) {
        Put("\n[" + Plain(t->title.c_str()) + "]\n");
        ShowMenu(t->menu, 0);
      }
      gShown = w->win;
      gDirty = false;
    }
    Put("menu> ");
    break;
  case XVT_WAIT_WINDOW:
    if (gDirty || gShown != w->win) {
      ShowWindow(w->win);
      gShown = w->win;
      gDirty = false;
    }
    Put("> ");
    break;
  case XVT_WAIT_BOX: {
    std::string b = Buttons(w);
    if (gBoxText != w->text || gBoxButtons != b) {
      gBoxText = w->text;
      gBoxButtons = b;
      gBoxRejects = 0;
    }
    Put("  " + b + " > ");
    break;
  }
  case XVT_WAIT_STRING:
    Put(std::string(w->text) + " [" + w->value + "] > ");
    break;
  case XVT_WAIT_OPEN:
  case XVT_WAIT_SAVE:
  case XVT_WAIT_FOLDER:
    Put(std::string(w->text) + " (from " + w->folder + ", or cancel) > ");
    break;
  default:
    break;
  }
  fflush(Out());
}

// A line typed in front of a box, prompt or chooser: the plain word is
// enough there.
void Lenient(const XvtWait *w, const std::string &line, XvtAction *a) {
  *a = XvtAction();
  if (strcasecmp(line.c_str(), "cancel") == 0) {
    a->kind = XVT_ACT_CANCEL;
    return;
  }
  switch (w->kind) {
  case XVT_WAIT_BOX:
    a->kind = XVT_ACT_ANSWER;
    break;
  case XVT_WAIT_STRING:
    a->kind = XVT_ACT_TEXT;
    break;
  case XVT_WAIT_FOLDER:
    a->kind = XVT_ACT_FOLDER;
    break;
  default:
    a->kind = XVT_ACT_FILE;
    break;
  }
  StrCopy(a->text, line.c_str());
}

bool HasWordPrefix(const std::string &line, const char *word) {
  size_t n = strlen(word);
  return line.size() > n && strncasecmp(line.c_str(), word, n) == 0 &&
         line[n] == ' ';
}

int ConsoleNext(const XvtWait *w, int block, XvtAction *a) {
  if (!gPerson && !gEof && block && !gSaidUnattended) {
    // Said once, on standard error, so that a log of the run shows it.
    gSaidUnattended = true;
    fputs("mantrel: standard input is not a terminal, so no one is asked: "
          "every window and box takes its default answer. To script the "
          "answers, write the action lines into a file and set "
          "MANTREL_SCRIPT=FILE (mantrel --help lists the action words).\n",
          stderr);
    fflush(stderr);
  }
  if (!gPerson || gEof)
    return 0;
  std::string line;
  char why[300];
  if (!block) {
    if (ReadLine(0, line) != 1)
      return 0;
    if (line.find('\x1b') != std::string::npos ||
        strcasecmp(line.c_str(), "esc") == 0) {
      *a = XvtAction();
      a->kind = XVT_ACT_KEY;
      a->num = K_ESC;
      return 1;
    }
    if (line == "?" || strcasecmp(line.c_str(), "help") == 0) {
      EndBarLine();
      ShowHelp(w);
      return 0;
    }
    if (XvtParseAction(line.c_str(), a, why, sizeof why) != 0) {
      Put(std::string("? ") + why + "\n");
      return 0;
    }
    return 1;
  }
  bool box = w->kind == XVT_WAIT_BOX || w->kind == XVT_WAIT_STRING ||
             w->kind == XVT_WAIT_OPEN || w->kind == XVT_WAIT_SAVE ||
             w->kind == XVT_WAIT_FOLDER;
  for (;;) {
    ShowWait(w);
    int r = ReadLine(1, line);
    if (r < 0) {
      Put("\n");
      return 0; // the input ended: no one answers from here on
    }
    size_t b = line.find_first_not_of(" \t");
    line = b == std::string::npos ? "" : line.substr(b);
    if (line == "?" || strcasecmp(line.c_str(), "help") == 0) {
      ShowHelp(w);
      gDirty = true;
      continue;
    }
    *a = XvtAction();
    if (line.empty()) {
      if (w->kind == XVT_WAIT_MENU)
        continue;
      a->kind = (w->kind == XVT_WAIT_OPEN || w->kind == XVT_WAIT_SAVE ||
                 w->kind == XVT_WAIT_FOLDER)
                    ? XVT_ACT_CANCEL
                    : XVT_ACT_ENTER;
      return 1;
    }
    if (line.find('\x1b') != std::string::npos) {
      a->kind = XVT_ACT_KEY;
      a->num = K_ESC;
      return 1;
    }
    if (box) {
      bool strict =
          HasWordPrefix(line, "answer") || HasWordPrefix(line, "text") ||
          HasWordPrefix(line, "file") || HasWordPrefix(line, "folder");
      if (strict && XvtParseAction(line.c_str(), a, why, sizeof why) == 0)
        return 1;
      Lenient(w, line, a);
      return 1;
    }
    if (w->kind == XVT_WAIT_MENU &&
        line.find_first_not_of("0123456789") == std::string::npos) {
      a->kind = XVT_ACT_MENU;
      a->num = atoi(line.c_str());
      return 1;
    }
    if (XvtParseAction(line.c_str(), a, why, sizeof why) == 0)
      return 1;
    Put(std::string("? ") + why + "\n");
  }
}

void ConsoleReject(const XvtAction *a, const char *why) {
  (void)a;
  EndBarLine();
  Put(std::string("? ") + why + "\n");
  // A box that came up while the person typed ahead takes those lines one
  // by one: after the first it cannot use, say what it waits for.
  if (a->kind == XVT_ACT_ANSWER && !gBoxText.empty() && gBoxRejects++ == 0) {
    std::string text = gBoxText;
    for (char &c : text)
      if (c == '\n' || c == '\r')
        c = ' ';
    if (text.size() > 200)
      text = text.substr(0, 197) + "...";
    Put("  The box \"" + text + "\" waits for an answer: " + gBoxButtons +
        ". Press Enter for the first button, or type a button's number or "
        "word; lines typed ahead are tried on the box one by one.\n");
  }
  fflush(Out());
}

// A window with a canvas shows as one line: its texts and a bar of 30
// cells filled as far as its drawing reaches.
void ShowBar(XvtWin *w) {
  const std::vector<XvtDrawOp> &ops = w->canvas;
  int left = 32767, right = -32768;
  for (const XvtDrawOp &op : ops) {
    left = std::min<int>(left, op.rect.left);
    right = std::max<int>(right, op.rect.right);
  }
  int reach = left;
  bool blocks = false;
  for (const XvtDrawOp &op : ops) {
    // The frame's lines lie within 3 units of its edges; blocks inside.
    bool frame = op.rect.left < left + 3 || op.rect.right > right - 3;
    if (!frame && op.color != w->background) {
      reach = std::max<int>(reach, op.rect.right);
      blocks = true;
    }
  }
  if (!blocks) // the frame alone: the job has not reported yet
    return;
  int inner = right - left - 6;
  int tenthsOfBar = 0;
  int cells = 0;
  if (inner > 0) {
    int got = std::clamp(reach - left - 3, 0, inner);
    // The last block stops short of the frame by less than a gap.
    cells = std::min((got * 30 + inner / 2) / inner, 30);
    tenthsOfBar = got * 10 / inner;
  }
  std::string line;
  for (const XvtCtl &c : w->ctls)
    if (c.visible && c.kind == WC_TEXT && !c.title.empty()) {
      if (!line.empty())
        line += "  ";
      line += c.title;
    }
  line += "  [" + std::string(static_cast<size_t>(cells), '#') +
          std::string(static_cast<size_t>(30 - cells), '.') + "]";
  if (isatty(fileno(Out()))) {
    if (gBarOnLine && line == gLastBar)
      return;
    gLastBar = line;
    Put("\r\033[K" + line);
    gBarOnLine = true;
  } else {
    BarLog &log = gBars[w->handle];
    log.latest = line;
    if (tenthsOfBar <= log.tenths)
      return;
    log.tenths = tenthsOfBar;
    log.written = line;
    Put("progress: " + line + "\n");
  }
  fflush(Out());
}

void ConsoleChanged(WINDOW win) {
  gDirty = true;
  XvtWin *w = XvtFindWin(win);
  if (w != nullptr && w->visible && !w->canvas.empty())
    ShowBar(w);
}

void ConsoleGone(WINDOW win) {
  gDirty = true;
  auto it = gBars.find(win);
  if (it != gBars.end()) {
    if (it->second.latest != it->second.written)
      Put("progress: " + it->second.latest + "\n");
    gBars.erase(it);
  }
  EndBarLine();
  if (gShown == win)
    gShown = NULL_WIN;
}

int ConsoleUsable() {
  return 1;
}

void ConsoleStart() {
  gPerson = XvtConsoleInteractive >= 0 ? XvtConsoleInteractive != 0
                                       : isatty(XvtConsoleInFd) != 0;
  gEof = false;
  gIn.clear();
  gBarOnLine = false;
  gDirty = true;
  gShown = NULL_WIN;
  gBars.clear();
  gBoxText.clear();
  gBoxRejects = 0;
  gSaidUnattended = false;
}

void ConsoleStop() {
  EndBarLine();
  gBars.clear();
  gIn.clear();
}

} // namespace

const XvtBackend XvtConsoleBackend = {
    "console",      ConsoleUsable, ConsoleStart, ConsoleStop,
    ConsoleChanged, ConsoleGone,   ConsoleNext,  ConsoleReject,
};
