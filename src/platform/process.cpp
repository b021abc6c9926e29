#include "platform/process.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/strutil.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

void (*PlatWaitHook)() = nullptr;
char PlatViewerProgram[256] = "";

namespace {

// Children started without wait and not yet collected.
std::vector<pid_t> gDetached;

int Fail(int code, int err) {
  PlatLastErrno = err;
  return code;
}

int StatusOf(int status) {
  if (WIFEXITED(status))
    return WEXITSTATUS(status);
  if (WIFSIGNALED(status))
    return 128 + WTERMSIG(status);
  return -1;
}

// Splits a command text into words: blanks and tabs divide, a double-quoted
// part belongs to its word without the quotes. An unclosed quote runs to the
// end of the text.
std::vector<std::string> SplitWords(const char *text) {
  std::vector<std::string> words;
  const char *p = text;
  while (*p != '\0') {
    while (*p == ' ' || *p == '\t')
      ++p;
    if (*p == '\0')
      break;
    std::string word;
    bool quoted = false;
    while (*p != '\0' && (quoted || (*p != ' ' && *p != '\t'))) {
      if (*p == '"')
        quoted = !quoted;
      else
        word += *p;
      ++p;
    }
    words.push_back(word);
  }
  return words;
}

int WaitFor(pid_t pid, int *exitStatus) {
  int status = 0;
  for (;;) {
    pid_t r = waitpid(pid, &status, PlatWaitHook != nullptr ? WNOHANG : 0);
    if (r == pid)
      break;
    if (r < 0) {
      if (errno == EINTR)
        continue;
      return Fail(kPlatErrStart, errno);
    }
    // Still running and a hook is set: let the windows live, then look again.
    PlatWaitHook();
    struct timespec pause = {0, 20 * 1000 * 1000};
    nanosleep(&pause, nullptr);
  }
  if (exitStatus != nullptr)
    *exitStatus = StatusOf(status);
  PlatLastErrno = 0;
  return kPlatOk;
}

// Starts argv[0] (already resolved, or a bare name for a PATH search).
int Spawn(const std::vector<std::string> &words, bool searchPath, bool wait,
          int *exitStatus, long *watched = nullptr) {
  PlatReapChildren();
  if (words.empty() || words[0].empty())
    return Fail(kPlatErrPath, 0);
  std::vector<char *> argv;
  argv.reserve(words.size() + 1);
  for (const std::string &w : words)
    argv.push_back(const_cast<char *>(w.c_str()));
  argv.push_back(nullptr);

  // The child gets default signal handling back, whatever this process set.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t all, none;
  sigfillset(&all);
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&attr, &all);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setflags(&attr,
                           POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  pid_t pid = 0;
  int rc =
      searchPath
          ? posix_spawnp(&pid, argv[0], nullptr, &attr, argv.data(), environ)
          : posix_spawn(&pid, argv[0], nullptr, &attr, argv.data(), environ);
  posix_spawnattr_destroy(&attr);
  if (rc != 0)
    return Fail(rc == ENOENT ? kPlatErrNotFound : kPlatErrStart, rc);
  if (watched != nullptr) {
    *watched = pid;
    PlatLastErrno = 0;
    return kPlatOk;
  }
  if (!wait) {
    gDetached.push_back(pid);
    PlatLastErrno = 0;
    return kPlatOk;
  }
  return WaitFor(pid, exitStatus);
}

// Resolves the program word: a path is a stored path, a bare name stays for
// the PATH search. Answers false when the path can't be had.
bool ResolveProgram(const char *program, std::string &resolved,
                    bool &searchPath) {
  if (program == nullptr || *program == '\0')
    return false;
  searchPath =
      strchr(program, '\\') == nullptr && strchr(program, '/') == nullptr;
  if (searchPath) {
    resolved = program;
    return true;
  }
  if (!PlatRealPath(program, resolved))
    return false;
  // A name without a folder must not be searched along PATH by accident.
  if (resolved.find('/') == std::string::npos)
    resolved = "./" + resolved;
  return true;
}

} // namespace

int PlatReapChildren() {
  int collected = 0;
  for (size_t i = 0; i < gDetached.size();) {
    int status;
    pid_t r = waitpid(gDetached[i], &status, WNOHANG);
    if (r == gDetached[i] || (r < 0 && errno == ECHILD)) {
      gDetached.erase(gDetached.begin() + static_cast<long>(i));
      ++collected;
    } else {
      ++i;
    }
  }
  return collected;
}

int PlatStartProgram(const char *program, const char *const *args, bool wait,
                     int *exitStatus) {
  std::vector<std::string> words(1);
  bool searchPath = false;
  if (!ResolveProgram(program, words[0], searchPath))
    return Fail(kPlatErrPath, 0);
  for (const char *const *a = args; a != nullptr && *a != nullptr; ++a)
    words.push_back(*a);
  return Spawn(words, searchPath, wait, exitStatus);
}

int PlatStartCommand(const char *commandLine, bool wait, int *exitStatus) {
  if (commandLine == nullptr)
    return Fail(kPlatErrPath, 0);
  std::vector<std::string> words = SplitWords(commandLine);
  if (words.empty())
    return Fail(kPlatErrPath, 0);
  bool searchPath = false;
  std::string program;
  if (!ResolveProgram(words[0].c_str(), program, searchPath))
    return Fail(kPlatErrPath, 0);
  words[0] = program;
  return Spawn(words, searchPath, wait, exitStatus);
}

int PlatStartScript(const char *script, const char *const *args, bool wait,
                    int *exitStatus) {
  std::vector<std::string> words = {"/bin/sh", ""};
  if (PlatAbsolutePath(script, words[1]) != kPlatOk)
    return Fail(kPlatErrPath, 0);
  struct stat st;
  if (stat(words[1].c_str(), &st) != 0)
    return Fail(kPlatErrNotFound, errno);
  for (const char *const *a = args; a != nullptr && *a != nullptr; ++a)
    words.push_back(*a);
  return Spawn(words, false, wait, exitStatus);
}

int PlatStartViewer(const char *storedPath) {
  std::string file;
  if (PlatAbsolutePath(storedPath, file) != kPlatOk)
    return Fail(kPlatErrPath, 0);
  struct stat st;
  if (stat(file.c_str(), &st) != 0)
    return Fail(kPlatErrNotFound, errno);
  const char *viewer = PlatViewerProgram;
  if (*viewer == '\0') {
    const char *env = getenv("MANTREL_VIEWER");
    viewer = (env != nullptr && *env != '\0') ? env : "xdg-open";
  }
  // The viewer text may carry options of its own ("gedit --new-window").
  std::vector<std::string> words = SplitWords(viewer);
  if (words.empty())
    return Fail(kPlatErrPath, 0);
  bool searchPath = false;
  std::string program;
  if (!ResolveProgram(words[0].c_str(), program, searchPath))
    return Fail(kPlatErrPath, 0);
  words[0] = program;
  words.push_back(file);
  return Spawn(words, searchPath, false, nullptr);
}

int PlatStartWatched(const char *program, const char *const *args,
                     long *child) {
  if (child == nullptr)
    return Fail(kPlatErrPath, 0);
  *child = 0;
  std::vector<std::string> words(1);
  bool searchPath = false;
  if (!ResolveProgram(program, words[0], searchPath))
    return Fail(kPlatErrPath, 0);
  if (!searchPath) {
    // posix_spawn of a missing file fails only in the child on some
    // systems; the test here gives the clear answer at once.
    struct stat st;
    if (stat(words[0].c_str(), &st) != 0)
      return Fail(kPlatErrNotFound, errno);
    if (S_ISDIR(st.st_mode) || access(words[0].c_str(), X_OK) != 0)
      return Fail(kPlatErrStart, S_ISDIR(st.st_mode) ? EISDIR : errno);
  }
  for (const char *const *a = args; a != nullptr && *a != nullptr; ++a)
    words.push_back(*a);
  return Spawn(words, searchPath, false, nullptr, child);
}

int PlatChildEnded(long child, int *exitStatus) {
  if (child <= 0)
    return 1;
  int status = 0;
  pid_t r;
  do
    r = waitpid(static_cast<pid_t>(child), &status, WNOHANG);
  while (r < 0 && errno == EINTR);
  if (r == 0)
    return 0;
  if (exitStatus != nullptr)
    *exitStatus = r == static_cast<pid_t>(child) ? StatusOf(status) : -1;
  return 1;
}

void PlatStopChild(long child) {
  if (child <= 0 || PlatChildEnded(child, nullptr))
    return;
  kill(static_cast<pid_t>(child), SIGTERM);
  for (int i = 0; i < 50; ++i) {
    struct timespec pause = {0, 20 * 1000 * 1000};
    nanosleep(&pause, nullptr);
    if (PlatChildEnded(child, nullptr))
      return;
  }
  kill(static_cast<pid_t>(child), SIGKILL);
  int status;
  while (waitpid(static_cast<pid_t>(child), &status, 0) < 0 && errno == EINTR)
    ;
}
