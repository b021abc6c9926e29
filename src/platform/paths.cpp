#include "platform/paths.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

namespace {

bool IsDir(const std::string &p) {
  struct stat st;
  return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool Exists(const std::string &p) {
  struct stat st;
  return lstat(p.c_str(), &st) == 0;
}

// Finds `name` inside folder `dir` without regard to case. An exact match
// wins; otherwise the first entry that folds equal. Answers false when no
// entry matches, leaving `found` as the name given.
bool MatchComponent(const std::string &dir, const std::string &name,
                    std::string &found) {
  found = name;
  std::string exact = dir.empty() ? name : dir + "/" + name;
  if (Exists(exact))
    return true;
  DIR *d = opendir(dir.empty() ? "." : dir.c_str());
  if (d == nullptr)
    return false;
  bool ok = false;
  while (struct dirent *e = readdir(d)) {
    if (strcasecmp(e->d_name, name.c_str()) == 0) {
      found = e->d_name;
      ok = true;
      break;
    }
  }
  closedir(d);
  return ok;
}

// "C:" and the like: the mapping comes from MANTREL_DRIVE_<letter>.
bool DrivePrefix(const char *&p, std::string &base) {
  if (!(isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':'))
    return false;
  char var[] = "MANTREL_DRIVE_X";
  var[sizeof var - 2] =
      static_cast<char>(toupper(static_cast<unsigned char>(p[0])));
  const char *mapped = getenv(var);
  if (mapped == nullptr || *mapped == '\0') {
    base.clear();
    return true; // a drive, but no mapping: the caller gives up
  }
  base = mapped;
  while (base.size() > 1 && base.back() == '/')
    base.pop_back();
  p += 2;
  return true;
}

} // namespace

bool PlatRealPath(const char *stored, std::string &real) {
  real.clear();
  if (stored == nullptr || *stored == '\0' || strlen(stored) > kPathMax)
    return false;

  const char *p = stored;
  std::string dir; // resolved so far; empty is the current folder
  if (DrivePrefix(p, dir)) {
    if (dir.empty())
      return false;
  }
  // One character is appended to the empty string rather than a literal
  // assigned: GCC 12 at -O3 reads the assignment of a literal, inlined
  // here, as an overlapping copy and stops the build (-Werror=restrict).
  if (*p == '\\' || *p == '/') {
    if (dir.empty())
      dir.push_back('/');
    while (*p == '\\' || *p == '/')
      ++p;
  }

  bool resolving = true; // stop matching once a component is missing
  while (*p != '\0') {
    const char *end = p;
    while (*end != '\0' && *end != '\\' && *end != '/')
      ++end;
    std::string name(p, end);
    p = end;
    while (*p == '\\' || *p == '/')
      ++p;
    if (name.empty() || name == ".")
      continue;
    std::string part = name;
    if (name != ".." && resolving) {
      std::string parent = dir;
      if (!parent.empty() && parent != "/" && !IsDir(parent))
        resolving = false;
      else if (!MatchComponent(parent, name, part))
        resolving = false;
    }
    if (dir.empty())
      dir = part;
    else if (dir == "/")
      dir += part;
    else
      dir += "/" + part;
  }
  if (dir.empty())
    dir.push_back('.'); // not dir = ".", as above
  real = dir;
  return true;
}
