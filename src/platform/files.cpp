#include "platform/files.h"

#include "platform/cp1252.h"
#include "platform/paths.h"
#include "platform/strutil.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

int PlatLastErrno = 0;
std::string PlatStartupDir;
std::string PlatSavedDir;

namespace {

int Fail(int code, int err) {
  PlatLastErrno = err;
  return code;
}

int Ok() {
  PlatLastErrno = 0;
  return kPlatOk;
}

// The folder part of a real path ("." when it has none).
std::string ParentOf(const std::string &real) {
  size_t slash = real.find_last_of('/');
  if (slash == std::string::npos)
    return ".";
  if (slash == 0)
    return "/";
  return real.substr(0, slash);
}

bool WriteAll(int fd, const char *p, size_t n) {
  while (n > 0) {
    ssize_t w = write(fd, p, n);
    if (w < 0) {
      if (errno == EINTR)
        continue;
      return false;
    }
    p += w;
    n -= static_cast<size_t>(w);
  }
  return true;
}

// Copies real file `from` to real path `to` through a temporary file beside
// the target, renamed over it at the end.
int CopyReal(const std::string &from, const std::string &to) {
  int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0)
    return Fail(errno == ENOENT ? kPlatErrNotFound : kPlatErrIo, errno);
  struct stat st;
  int statErr = fstat(in, &st) != 0 ? errno : 0;
  if (statErr == 0 && S_ISDIR(st.st_mode))
    statErr = EISDIR;
  if (statErr != 0) {
    close(in);
    return Fail(kPlatErrIo, statErr);
  }
  // A short hidden name in the target's folder: the rename stays within one
  // file system, and a long target name can't make it too long.
  std::string tmp = ParentOf(to) + "/.mantrel-XXXXXX";
  std::vector<char> name(tmp.begin(), tmp.end());
  name.push_back('\0');
  int out = mkostemp(name.data(), O_CLOEXEC);
  if (out < 0) {
    int err = errno;
    close(in);
    return Fail(err == ENOENT ? kPlatErrNotFound : kPlatErrIo, err);
  }
  int err = 0;
  // The kernel copies without the bytes passing through this process where
  // the file system lets it; what it can't take goes through a buffer.
  bool buffered = false;
  for (;;) {
    ssize_t r = copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
    if (r > 0)
      continue;
    if (r == 0)
      break;
    if (errno == EINTR)
      continue;
    if (errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
        errno == EOPNOTSUPP || errno == EBADF) {
      buffered = true;
      break;
    }
    err = errno;
    break;
  }
  char buf[65536];
  for (; buffered && err == 0;) {
    ssize_t r = read(in, buf, sizeof buf);
    if (r < 0) {
      if (errno == EINTR)
        continue;
      err = errno;
      break;
    }
    if (r == 0)
      break;
    if (!WriteAll(out, buf, static_cast<size_t>(r))) {
      err = errno;
      break;
    }
  }
  close(in);
  if (err == 0 && fchmod(out, st.st_mode & 07777) != 0)
    err = errno;
  if (close(out) != 0 && err == 0)
    err = errno;
  if (err == 0 && rename(name.data(), to.c_str()) != 0)
    err = errno;
  if (err != 0) {
    unlink(name.data());
    return Fail(kPlatErrIo, err);
  }
  return Ok();
}

bool SameFile(const std::string &a, const std::string &b) {
  struct stat sa, sb;
  return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 &&
         sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

bool IsDirReal(const std::string &real) {
  struct stat st;
  return stat(real.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string CurrentDir() {
  std::vector<char> buf(4096);
  for (;;) {
    if (getcwd(buf.data(), buf.size()) != nullptr)
      return std::string(buf.data());
    if (errno != ERANGE || buf.size() > (1u << 20))
      return std::string();
    buf.resize(buf.size() * 2);
  }
}

int ChangeToReal(const std::string &real) {
  if (real.empty())
    return Fail(kPlatErrPath, 0);
  if (chdir(real.c_str()) != 0)
    return Fail(errno == ENOTDIR ? kPlatErrNotDir : kPlatErrNotFound, errno);
  return Ok();
}

// Matches with '*' and '?' and code page 1252 case folding, iteratively with
// one back-track point, so long names can't blow the stack.
bool Match(const char *p, const char *n) {
  const char *star = nullptr;
  const char *resume = nullptr;
  while (*n != '\0') {
    if (*p == '*') {
      star = p++;
      resume = n;
    } else if (*p != '\0' && (*p == '?' || ToLowerWin(*p) == ToLowerWin(*n))) {
      ++p;
      ++n;
    } else if (star != nullptr) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (*p == '*')
    ++p;
  return *p == '\0';
}

} // namespace

FILE *PlatOpenFile(const char *storedPath, const char *mode) {
  std::string real;
  if (mode == nullptr || !PlatRealPath(storedPath, real)) {
    errno = EINVAL;
    return nullptr;
  }
  return fopen(real.c_str(), mode);
}

int PlatCopyFile(const char *from, const char *to, bool failIfExists) {
  std::string rf, rt;
  if (!PlatRealPath(from, rf) || !PlatRealPath(to, rt))
    return Fail(kPlatErrPath, 0);
  struct stat st;
  if (failIfExists && lstat(rt.c_str(), &st) == 0)
    return Fail(kPlatErrExists, EEXIST);
  if (IsDirReal(rt))
    return Fail(kPlatErrExists, EISDIR);
  return CopyReal(rf, rt);
}

int FileMove(const char *from, const char *to) {
  std::string rf, rt;
  if (!PlatRealPath(from, rf) || !PlatRealPath(to, rt))
    return Fail(kPlatErrPath, 0);
  struct stat st;
  if (lstat(rf.c_str(), &st) != 0)
    return Fail(kPlatErrNotFound, errno);
  if (S_ISDIR(st.st_mode))
    return Fail(kPlatErrIo, EISDIR);
  if (SameFile(rf, rt)) {
    // One file under two spellings: only the spelling may change.
    if (rf != rt && rename(rf.c_str(), rt.c_str()) != 0)
      return Fail(kPlatErrIo, errno);
    return Ok();
  }
  if (IsDirReal(rt))
    return Fail(kPlatErrExists, EISDIR);
  if (rename(rf.c_str(), rt.c_str()) == 0)
    return Ok();
  if (errno != EXDEV)
    return Fail(errno == ENOENT ? kPlatErrNotFound : kPlatErrIo, errno);
  int rc = CopyReal(rf, rt);
  if (rc != kPlatOk)
    return rc;
  if (unlink(rf.c_str()) != 0)
    return Fail(kPlatErrIo, errno);
  return Ok();
}

int PlatDeleteFile(const char *path) {
  std::string real;
  if (!PlatRealPath(path, real))
    return Fail(kPlatErrPath, 0);
  if (IsDirReal(real))
    return Fail(kPlatErrIo, EISDIR);
  if (unlink(real.c_str()) != 0)
    return Fail(errno == ENOENT ? kPlatErrNotFound : kPlatErrIo, errno);
  return Ok();
}

int PlatCreateDir(const char *path) {
  std::string real;
  if (!PlatRealPath(path, real))
    return Fail(kPlatErrPath, 0);
  if (mkdir(real.c_str(), 0777) == 0)
    return Ok();
  int err = errno;
  if (err == EEXIST)
    return IsDirReal(real) ? Ok() : Fail(kPlatErrExists, err);
  return Fail(err == ENOENT ? kPlatErrNotFound : kPlatErrIo, err);
}

int PlatCreateDirs(const char *path) {
  if (path == nullptr || *path == '\0' || strlen(path) > kPathMax)
    return Fail(kPlatErrPath, 0);
  // Each prefix that ends before a separator is a folder along the way.
  // Resolving every prefix on its own lets a folder made in one step be
  // found, in its case, by the next.
  char prefix[kPathMax + 1];
  size_t len = strlen(path);
  for (size_t i = 1; i <= len; ++i) {
    if (i < len && path[i] != '\\' && path[i] != '/')
      continue;
    if (path[i - 1] == '\\' || path[i - 1] == '/' || path[i - 1] == ':')
      continue; // a leading separator, a doubled one, or a drive
    StrCopy(prefix, i + 1, path);
    size_t plen = strlen(prefix);
    if ((plen == 2 && prefix[1] == '.' && prefix[0] == '.') ||
        (plen >= 3 && strcmp(prefix + plen - 3, "\\..") == 0) ||
        (plen >= 3 && strcmp(prefix + plen - 3, "/..") == 0) ||
        (plen == 1 && prefix[0] == '.'))
      continue;
    int rc = PlatCreateDir(prefix);
    if (rc != kPlatOk)
      return rc;
  }
  return Ok();
}

bool PlatFileExists(const char *path) {
  std::string real;
  struct stat st;
  return PlatRealPath(path, real) && stat(real.c_str(), &st) == 0;
}

bool PlatIsDir(const char *path) {
  std::string real;
  return PlatRealPath(path, real) && IsDirReal(real);
}

int PlatFileSize(const char *path, long long *size) {
  if (size != nullptr)
    *size = 0;
  std::string real;
  if (!PlatRealPath(path, real))
    return Fail(kPlatErrPath, 0);
  struct stat st;
  if (stat(real.c_str(), &st) != 0)
    return Fail(kPlatErrNotFound, errno);
  if (S_ISDIR(st.st_mode))
    return Fail(kPlatErrIo, EISDIR);
  if (size != nullptr)
    *size = static_cast<long long>(st.st_size);
  return Ok();
}

bool PlatWildcardMatch(const char *pattern, const char *name) {
  if (pattern == nullptr || name == nullptr)
    return false;
  if (strcmp(pattern, "*.*") == 0)
    pattern = "*";
  return Match(pattern, name);
}

int PlatListDir(const char *folder, const char *pattern, bool filesOnly,
                std::vector<PlatDirEntry> &entries) {
  entries.clear();
  std::string real(".");
  if (folder != nullptr && *folder != '\0' && !PlatRealPath(folder, real))
    return Fail(kPlatErrPath, 0);
  DIR *d = opendir(real.c_str());
  if (d == nullptr)
    return Fail(errno == ENOTDIR ? kPlatErrNotDir : kPlatErrNotFound, errno);
  const char *pat = (pattern == nullptr || *pattern == '\0') ? "*" : pattern;
  while (struct dirent *e = readdir(d)) {
    if (strcmp(e->d_name, ".") == 0 || strcmp(e->d_name, "..") == 0)
      continue;
    if (!PlatWildcardMatch(pat, e->d_name))
      continue;
    struct stat st;
    std::string full = real + "/" + e->d_name;
    if (stat(full.c_str(), &st) != 0)
      continue; // a dangling link or a name that vanished meanwhile
    bool isDir = S_ISDIR(st.st_mode);
    if (filesOnly && isDir)
      continue;
    entries.push_back(
        {e->d_name, isDir, isDir ? 0 : static_cast<long long>(st.st_size)});
  }
  closedir(d);
  std::sort(entries.begin(), entries.end(),
            [](const PlatDirEntry &a, const PlatDirEntry &b) {
              return a.Name < b.Name;
            });
  return Ok();
}

int PlatFindFiles(const char *spec, bool filesOnly,
                  std::vector<PlatDirEntry> &entries) {
  entries.clear();
  if (spec == nullptr || *spec == '\0' || strlen(spec) > kPathMax)
    return Fail(kPlatErrPath, 0);
  const char *cut = nullptr;
  for (const char *p = spec; *p != '\0'; ++p)
    if (*p == '\\' || *p == '/')
      cut = p;
  if (cut == nullptr)
    return PlatListDir(nullptr, spec, filesOnly, entries);
  char folder[kPathMax + 1];
  size_t flen = static_cast<size_t>(cut - spec);
  if (flen == 0) // "\\*.dat": the root
    StrCopy(folder, "\\");
  else
    StrCopy(folder, flen + 1, spec);
  return PlatListDir(folder, cut + 1, filesOnly, entries);
}

int PlatGetCurrentDir(char *buf, size_t cap) {
  if (buf == nullptr || cap == 0)
    return Fail(kPlatErrPath, 0);
  std::string cur = CurrentDir();
  StrCopy(buf, cap, cur.c_str());
  if (cur.empty())
    return Fail(kPlatErrIo, errno);
  return cur.size() < cap ? Ok() : Fail(kPlatErrPath, ENAMETOOLONG);
}

int PlatSetCurrentDir(const char *path) {
  std::string real;
  if (!PlatRealPath(path, real))
    return Fail(kPlatErrPath, 0);
  return ChangeToReal(real);
}

int PlatSaveDir() {
  PlatSavedDir = CurrentDir();
  return PlatSavedDir.empty() ? Fail(kPlatErrIo, errno) : Ok();
}

int PlatRestoreDir() {
  return ChangeToReal(PlatSavedDir);
}

int PlatSetStartupDir() {
  PlatStartupDir = CurrentDir();
  return PlatStartupDir.empty() ? Fail(kPlatErrIo, errno) : Ok();
}

int PlatGoToStartupDir() {
  if (PlatStartupDir.empty())
    return Fail(kPlatErrNoStartup, 0);
  return ChangeToReal(PlatStartupDir);
}

int PlatAbsolutePath(const char *storedPath, std::string &absolute) {
  absolute.clear();
  std::string real;
  if (!PlatRealPath(storedPath, real))
    return Fail(kPlatErrPath, 0);
  if (real[0] == '/') {
    absolute = real;
    return Ok();
  }
  std::string cur = CurrentDir();
  if (cur.empty())
    return Fail(kPlatErrIo, errno);
  absolute = cur == "/" ? "/" + real : cur + "/" + real;
  return Ok();
}

bool PlatReadLine(FILE *f, char *buf, int size) {
  if (fgets(buf, size, f) == nullptr)
    return false;
  size_t n = strlen(buf);
  if (n > 0 && buf[n - 1] != '\n' && !feof(f)) {
    int c;
    while ((c = fgetc(f)) != EOF && c != '\n') {
    }
  }
  buf[strcspn(buf, "\r\n")] = '\0';
  return true;
}
