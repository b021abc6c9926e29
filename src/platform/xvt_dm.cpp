// Boxes, string prompts, file and folder choosers, and the current folder.
// A box waits for its answer from the backend; when there is none, it is
// answered as Enter would: OK, the first button, the text as it stands, and
// nothing chosen in a chooser.
#include "platform/paths.h"
#include "platform/strutil.h"
#include "platform/xvt_internal.h"

#include <cctype>
#include <cstdarg>
#include <cstdlib>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

void (*XvtFatalHook)() = nullptr;
void (*XvtFocusHook)(WINDOW win) = nullptr;
int XvtLookLight = 1;

namespace {

constexpr size_t kBoxText = 4096;

DIRECTORY gStartup;
bool gStartupKnown = false;
std::vector<DIRECTORY> gSaved;

// One line on standard error: line ends inside the text become blanks, so
// that a run with no one watching leaves one line per box.
// The text goes in the terminal's encoding, as the console writes it.
void Trace(const char *tag, const char *text, const char *tail) {
  std::string line = std::string(tag) + ": ";
  for (const char *p = text; *p != '\0'; ++p)
    line += *p == '\n' || *p == '\r' ? ' ' : *p;
  if (tail != nullptr)
    line += tail;
  line = XvtTerminalText(line) + "\n";
  fputs(line.c_str(), stderr);
  fflush(stderr);
}

bool WordIs(const char *a, const char *b) {
  return strcasecmp(a, b) == 0;
}

// A button's text compared with a word, leaving out mnemonic marks.
bool ButtonIs(const char *button, const char *word) {
  char plain[128];
  size_t n = 0;
  for (const char *p = button; *p != '\0' && n + 1 < sizeof plain; ++p)
    if (*p != '~' && *p != '&')
      plain[n++] = *p;
  plain[n] = '\0';
  return strcasecmp(plain, word) == 0;
}

// The button an answer presses, 0 when it fits none.
int AskButton(const XvtWait *w, const XvtAction *a) {
  int n = w->nbuttons;
  if (a->kind == XVT_ACT_ENTER)
    return 1;
  if (a->kind == XVT_ACT_CANCEL)
    return n >= 3 ? 3 : n;
  if (a->kind != XVT_ACT_ANSWER)
    return 0;
  char *end = nullptr;
  long num = strtol(a->text, &end, 10);
  if (end != a->text && *end == '\0')
    return num >= 1 && num <= n ? static_cast<int>(num) : 0;
  for (int i = 0; i < n; ++i)
    if (w->button[i] != nullptr && ButtonIs(w->button[i], a->text))
      return i + 1;
  if (WordIs(a->text, "ok") || WordIs(a->text, "yes"))
    return 1;
  if (WordIs(a->text, "no"))
    return n >= 2 ? 2 : 0;
  if (WordIs(a->text, "cancel"))
    return n >= 3 ? 3 : n;
  return 0;
}

bool IsAbsolute(const char *p) {
  return p[0] == '/' || p[0] == '\\' ||
         (isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':');
}

std::string Cwd() {
  char buf[4096];
  if (getcwd(buf, sizeof buf) == nullptr)
    return ".";
  return buf;
}

// What a person typed into a chooser, found from the chooser's folder.
bool ResolveTyped(const char *start, const char *typed, std::string &real) {
  std::string stored =
      IsAbsolute(typed) ? typed : std::string(start) + "/" + typed;
  if (!PlatRealPath(stored.c_str(), real))
    return false;
  if (real[0] != '/')
    real = Cwd() + "/" + real;
  return true;
}

bool IsDir(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsFile(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

struct Answer {
  int button = 0;     // boxes
  bool ok = false;    // prompts and choosers
  std::string text;   // prompt text
  std::string chosen; // chooser: the real path
};

// Does the action answer what waits? Fills `ans` when it does.
bool AnswerFits(const XvtWait *w, const XvtAction *a, Answer *ans, char *why,
                size_t ws) {
  switch (w->kind) {
  case XVT_WAIT_BOX:
    if (w->box == XVT_BOX_ASK) {
      ans->button = AskButton(w, a);
      if (ans->button == 0) {
        StrFormat(why, ws, "'%s %s' presses no button of this box",
                  XvtActionName(a->kind), a->text);
        return false;
      }
      return true;
    }
    if (a->kind == XVT_ACT_ENTER || a->kind == XVT_ACT_CANCEL ||
        (a->kind == XVT_ACT_ANSWER &&
         (WordIs(a->text, "ok") || WordIs(a->text, "yes") ||
          WordIs(a->text, "no") || WordIs(a->text, "cancel") ||
          WordIs(a->text, "1")))) {
      ans->button = 1;
      return true;
    }
    StrCopy(why, ws, "this box has only OK");
    return false;
  case XVT_WAIT_STRING:
    if (a->kind == XVT_ACT_TEXT) {
      ans->ok = true;
      ans->text = a->text;
      return true;
    }
    if (a->kind == XVT_ACT_ENTER ||
        (a->kind == XVT_ACT_ANSWER &&
         (WordIs(a->text, "ok") || WordIs(a->text, "yes")))) {
      ans->ok = true;
      ans->text = w->value;
      return true;
    }
    if (a->kind == XVT_ACT_CANCEL ||
        (a->kind == XVT_ACT_ANSWER &&
         (WordIs(a->text, "cancel") || WordIs(a->text, "no")))) {
      ans->ok = false;
      return true;
    }
    StrCopy(why, ws, "a text prompt waits: 'text ...' or 'cancel'");
    return false;
  case XVT_WAIT_OPEN:
  case XVT_WAIT_SAVE:
  case XVT_WAIT_FOLDER: {
    bool folder = w->kind == XVT_WAIT_FOLDER;
    if (a->kind == XVT_ACT_CANCEL ||
        (a->kind == XVT_ACT_ANSWER && WordIs(a->text, "cancel"))) {
      ans->ok = false;
      return true;
    }
    if (a->kind != (folder ? XVT_ACT_FOLDER : XVT_ACT_FILE)) {
      StrFormat(why, ws, "a %s chooser waits: '%s PATH' or 'cancel'",
                folder ? "folder" : "file", folder ? "folder" : "file");
      return false;
    }
    if (a->text[0] == '\0' || !ResolveTyped(w->folder, a->text, ans->chosen)) {
      StrFormat(why, ws, "'%s' is no usable path", a->text);
      return false;
    }
    if (folder && !IsDir(ans->chosen)) {
      StrFormat(why, ws, "there is no folder '%s'", a->text);
      return false;
    }
    if (w->kind == XVT_WAIT_OPEN && !IsFile(ans->chosen)) {
      StrFormat(why, ws, "there is no file '%s'", a->text);
      return false;
    }
    if (w->kind == XVT_WAIT_SAVE) {
      size_t slash = ans->chosen.rfind('/');
      std::string dir = slash == 0 ? "/" : ans->chosen.substr(0, slash);
      if (!IsDir(dir) || IsDir(ans->chosen)) {
        StrFormat(why, ws, "'%s' cannot be saved to", a->text);
        return false;
      }
    }
    ans->ok = true;
    return true;
  }
  default:
    return false;
  }
}

// Waits for an answer that fits. Answers false when there is none, and the
// caller takes the Enter answer.
bool WaitAnswer(const XvtWait *w, Answer *ans) {
  const XvtBackend *b = XvtEnsureBackend();
  for (int tries = 0; tries < 1000; ++tries) {
    XvtAction a;
    if (b->next_action(w, 1, &a) == 0)
      return false;
    if (a.kind == XVT_ACT_WAIT)
      continue;
    char why[300];
    if (AnswerFits(w, &a, ans, why, sizeof why))
      return true;
    b->reject(&a, why);
  }
  return false;
}

void ShowBox(XvtBoxKind kind, const char *text) {
  XvtWait w;
  w.kind = XVT_WAIT_BOX;
  w.box = kind;
  w.text = text;
  w.nbuttons = 1;
  w.button[0] = "OK";
  Answer ans;
  WaitAnswer(&w, &ans);
}

FL_STATUS Choose(XvtWaitKind kind, FILE_SPEC *fs, const char *msg) {
  if (fs == nullptr)
    return FL_BAD;
  std::string start = fs->dir.path[0] != '\0' ? fs->dir.path : Cwd();
  Trace(kind == XVT_WAIT_OPEN ? "open" : "save", msg ? msg : "", nullptr);
  XvtWait w;
  w.kind = kind;
  w.text = msg ? msg : "";
  w.folder = start.c_str();
  w.type = fs->type;
  Answer ans;
  if (!WaitAnswer(&w, &ans) || !ans.ok)
    return FL_CANCEL;
  size_t slash = ans.chosen.rfind('/');
  std::string dir = slash == 0 ? "/" : ans.chosen.substr(0, slash);
  if (dir.size() >= sizeof fs->dir.path ||
      ans.chosen.size() - slash - 1 >= sizeof fs->name)
    return FL_BAD;
  StrCopy(fs->dir.path, dir.c_str());
  StrCopy(fs->name, ans.chosen.c_str() + slash + 1);
  return FL_OK;
}

} // namespace

// ------------------------------------------------------------------- boxes

void xvt_dm_post_note(const char *fmt, ...) {
  char text[kBoxText];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(text, sizeof text, fmt ? fmt : "", ap);
  va_end(ap);
  Trace("note", text, nullptr);
  ShowBox(XVT_BOX_NOTE, text);
}

void xvt_dm_post_error(const char *fmt, ...) {
  char text[kBoxText];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(text, sizeof text, fmt ? fmt : "", ap);
  va_end(ap);
  Trace("error", text, nullptr);
  ShowBox(XVT_BOX_ERROR, text);
}

void xvt_dm_post_fatal_exit(const char *fmt, ...) {
  static bool ending = false;
  char text[kBoxText];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(text, sizeof text, fmt ? fmt : "", ap);
  va_end(ap);
  Trace("fatal", text, nullptr);
  if (ending) // a fatal box from inside the cleanup
    _exit(1);
  ending = true;
  ShowBox(XVT_BOX_FATAL, text);
  if (XvtFatalHook != nullptr)
    XvtFatalHook();
  fflush(stdout);
  exit(1);
}

int xvt_dm_post_ask(const char *b1, const char *b2, const char *b3,
                    const char *fmt, ...) {
  char text[kBoxText];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(text, sizeof text, fmt ? fmt : "", ap);
  va_end(ap);
  XvtWait w;
  w.kind = XVT_WAIT_BOX;
  w.box = XVT_BOX_ASK;
  w.text = text;
  w.button[0] = b1 ? b1 : "OK";
  w.nbuttons = 1;
  if (b2 != nullptr) {
    w.button[1] = b2;
    w.nbuttons = 2;
    if (b3 != nullptr) {
      w.button[2] = b3;
      w.nbuttons = 3;
    }
  }
  char tail[300];
  StrFormat(tail, " [%s%s%s%s%s]", w.button[0], b2 ? "/" : "", b2 ? b2 : "",
            b2 && b3 ? "/" : "", b2 && b3 ? b3 : "");
  Trace("ask", text, tail);
  Answer ans;
  if (!WaitAnswer(&w, &ans))
    return 1;
  return ans.button;
}

char *xvt_dm_post_string_prompt(const char *prompt, char *response, int size) {
  if (response == nullptr || size <= 0)
    return nullptr;
  Trace("prompt", prompt ? prompt : "", nullptr);
  std::string before = response;
  XvtWait w;
  w.kind = XVT_WAIT_STRING;
  w.text = prompt ? prompt : "";
  w.value = before.c_str();
  Answer ans;
  if (!WaitAnswer(&w, &ans))
    return response; // Enter: the text as it stands
  if (!ans.ok)
    return nullptr;
  StrCopy(response, static_cast<size_t>(size), ans.text.c_str());
  return response;
}

void xvt_dm_post_message(const char *caption, const char *text) {
  (void)caption;
  fputs(XvtTerminalText(text ? text : "").c_str(), stdout);
  fputc('\n', stdout);
  fflush(stdout);
  ShowBox(XVT_BOX_MESSAGE, text ? text : "");
}

FL_STATUS xvt_dm_post_file_open(FILE_SPEC *fs, const char *msg) {
  return Choose(XVT_WAIT_OPEN, fs, msg);
}

FL_STATUS xvt_dm_post_file_save(FILE_SPEC *fs, const char *msg) {
  return Choose(XVT_WAIT_SAVE, fs, msg);
}

FL_STATUS xvt_dm_post_folder(const char *msg, char *path, int size) {
  if (path == nullptr || size <= 0)
    return FL_BAD;
  Trace("folder", msg ? msg : "", nullptr);
  std::string start = Cwd();
  XvtWait w;
  w.kind = XVT_WAIT_FOLDER;
  w.text = msg ? msg : "";
  w.folder = start.c_str();
  Answer ans;
  if (!WaitAnswer(&w, &ans) || !ans.ok)
    return FL_CANCEL;
  DIRECTORY d;
  if (ans.chosen.size() >= sizeof d.path)
    return FL_BAD;
  StrCopy(d.path, ans.chosen.c_str());
  return xvt_fsys_convert_dir_to_str(&d, path, size) ? FL_OK : FL_BAD;
}

// ------------------------------------------------------------- file system

const DIRECTORY *XvtStartupDir() {
  if (!gStartupKnown) {
    StrCopy(gStartup.path, Cwd().c_str());
    gStartupKnown = true;
  }
  return &gStartup;
}

void XvtResetDirs() {
  gSaved.clear();
}

bool xvt_fsys_convert_dir_to_str(const DIRECTORY *dir, char *path, int size) {
  if (dir == nullptr || path == nullptr || size <= 0)
    return false;
  size_t n = strlen(dir->path);
  if (n + 1 > static_cast<size_t>(size))
    return false;
  for (size_t i = 0; i <= n; ++i)
    path[i] = dir->path[i] == '/' ? '\\' : dir->path[i];
  return true;
}

bool xvt_fsys_convert_str_to_dir(const char *path, DIRECTORY *dir) {
  if (path == nullptr || dir == nullptr)
    return false;
  std::string real;
  if (!PlatRealPath(path, real))
    return false;
  if (real[0] != '/')
    real = Cwd() + "/" + real;
  if (!IsDir(real) || real.size() >= sizeof dir->path)
    return false;
  StrCopy(dir->path, real.c_str());
  return true;
}

bool xvt_fsys_get_dir(DIRECTORY *dir) {
  if (dir == nullptr)
    return false;
  std::string cwd = Cwd();
  if (cwd.size() >= sizeof dir->path)
    return false;
  StrCopy(dir->path, cwd.c_str());
  return true;
}

bool xvt_fsys_get_default_dir(DIRECTORY *dir) {
  return xvt_fsys_get_dir(dir);
}

bool xvt_fsys_set_dir(const DIRECTORY *dir) {
  XvtStartupDir();
  return dir != nullptr && chdir(dir->path) == 0;
}

void xvt_fsys_save_dir() {
  XvtStartupDir();
  DIRECTORY d;
  if (xvt_fsys_get_dir(&d))
    gSaved.push_back(d);
}

void xvt_fsys_restore_dir() {
  if (gSaved.empty())
    return;
  DIRECTORY d = gSaved.back();
  gSaved.pop_back();
  xvt_fsys_set_dir(&d);
}

void xvt_fsys_set_dir_startup() {
  xvt_fsys_set_dir(XvtStartupDir());
}
