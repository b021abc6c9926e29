// The pure part of the copy program: how a line of the list divides into
// its source and target, and how the names of a wildcard job are formed.
// Kept apart so that the fuzz target reads lists exactly as the program does.
#pragma once

#include <cstring>
#include <string>

namespace orvcopy {

inline bool EndsWithFold(const std::string &s, const char *tail) {
  size_t n = strlen(tail);
  if (s.size() < n)
    return false;
  for (size_t i = 0; i < n; ++i) {
    char x = s[s.size() - n + i], y = tail[i];
    if (x >= 'A' && x <= 'Z')
      x = static_cast<char>(x - 'A' + 'a');
    if (x != y)
      return false;
  }
  return true;
}

// Splits a stored path at its last backslash: folder (maybe empty) and name.
inline void SplitLast(const std::string &path, std::string &folder,
                      std::string &name) {
  size_t cut = path.find_last_of("\\/");
  if (cut == std::string::npos) {
    folder.clear();
    name = path;
  } else {
    folder = path.substr(0, cut);
    name = path.substr(cut + 1);
    if (folder.empty())
      folder = path.substr(0, 1); // the root itself
  }
}

inline std::string Join(const std::string &folder, const std::string &name) {
  if (folder.empty())
    return name;
  char last = folder.back();
  return folder + (last == '\\' || last == '/' ? "" : "\\") + name;
}

inline bool HasWildcard(const std::string &name) {
  return name.find_first_of("*?") != std::string::npos;
}

// The stem of a "stem.*" pattern; empty for "*.*" or "*".
inline std::string StemOf(const std::string &pattern) {
  if (pattern == "*.*" || pattern == "*")
    return "";
  if (EndsWithFold(pattern, ".*"))
    return pattern.substr(0, pattern.size() - 2);
  return "";
}

// A line "source|target" without its line end: both parts non-empty. The
// line is divided in place at its first bar.
inline bool SplitJob(char *line, char **source, char **target) {
  char *bar = strchr(line, '|');
  if (bar == nullptr || bar == line || bar[1] == '\0')
    return false;
  *bar = '\0';
  *source = line;
  *target = bar + 1;
  return true;
}

// The name a file found by a wildcard job gets in the target folder:
// "stem.*" to "other.*" puts the other stem before the file's extension;
// "*.*" keeps the name.
inline std::string TargetName(const std::string &srcStem,
                              const std::string &dstStem,
                              const std::string &name) {
  if (srcStem.empty() || dstStem.empty() || name.size() < srcStem.size())
    return name;
  return dstStem + name.substr(srcStem.size());
}

} // namespace orvcopy
