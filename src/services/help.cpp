#include "services/help.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/strutil.h"
#include "platform/xvt.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

char HelpManualPath[256];

namespace {

constexpr size_t kPathSize = kPathMax + 1;

bool IsManual(const char *stored) {
  return PlatFileExists(stored) && !PlatIsDir(stored);
}

// The folder of the running executable as an absolute path, or empty.
std::string ExecutableFolder() {
  char self[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0)
    return std::string();
  self[n] = '\0';
  char *slash = strrchr(self, '/');
  if (slash == nullptr)
    return std::string();
  *slash = '\0';
  return self;
}

// The heading level of a line ("## x" is 2), 0 for no heading.
int HeadingLevel(const std::string &line) {
  size_t n = 0;
  while (n < line.size() && line[n] == '#')
    ++n;
  if (n == 0 || n >= line.size() || line[n] != ' ')
    return 0;
  return static_cast<int>(n);
}

// True when the heading line carries the topic in its marker.
bool HeadingHasTopic(const std::string &line, int topic) {
  size_t at = line.find("<!-- topic ");
  if (at == std::string::npos)
    return false;
  const char *p = line.c_str() + at + strlen("<!-- topic ");
  while (*p != '\0' && *p != '-') {
    char *end = nullptr;
    long n = strtol(p, &end, 10);
    if (end == p)
      return false;
    if (n == topic)
      return true;
    p = end;
    while (*p == ' ')
      ++p;
  }
  return false;
}

// Where a section goes for the viewer: a file of this user in the system's
// temporary folder, one per topic.
bool SectionFile(int topic, char *out, size_t cap) {
  std::error_code ec;
  std::filesystem::path tmp = std::filesystem::temp_directory_path(ec);
  if (ec || tmp.empty())
    tmp = "/tmp";
  char name[64];
  StrFormat(name, "mantrel-help-%u-%d.md", static_cast<unsigned>(getuid()),
            topic);
  std::string full = (tmp / name).string();
  if (full.size() + 1 > cap)
    return false;
  StrCopy(out, cap, full.c_str());
  return true;
}

bool ReadWhole(const char *stored, std::string &text) {
  FILE *f = PlatOpenFile(stored, "rb");
  if (f == nullptr)
    return false;
  char buf[8192];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0)
    text.append(buf, n);
  bool ok = ferror(f) == 0;
  fclose(f);
  return ok;
}

int ShowFile(const char *stored) {
  if (PlatStartViewer(stored) != kPlatOk) {
    xvt_dm_post_error("The viewer could not be started for %s.", stored);
    return 1;
  }
  return 0;
}

} // namespace

int HelpFindManual(char *out, size_t cap) {
  if (out == nullptr || cap == 0)
    return 1;
  out[0] = '\0';
  if (HelpManualPath[0] != '\0') {
    if (!IsManual(HelpManualPath))
      return 1;
    StrCopy(out, cap, HelpManualPath);
    return 0;
  }
  for (const char *stored :
       {"manual.md", "..\\doc\\manual.md", "..\\docs\\manual.md"})
    if (IsManual(stored)) {
      StrCopy(out, cap, stored);
      return 0;
    }
  std::string exe = ExecutableFolder();
  if (!exe.empty())
    for (const char *rel :
         {"/../share/doc/mantrel/manual.md", "/../../docs/manual.md"}) {
      std::string candidate = exe + rel;
      if (candidate.size() < cap && IsManual(candidate.c_str())) {
        StrCopy(out, cap, candidate.c_str());
        return 0;
      }
    }
  return 1;
}

int HelpSectionOf(const std::string &manual, int topic, std::string &section) {
  section.clear();
  int level = 0;
  size_t pos = 0;
  while (pos < manual.size()) {
    size_t end = manual.find('\n', pos);
    size_t next = end == std::string::npos ? manual.size() : end + 1;
    std::string line = manual.substr(pos, next - pos);
    int h = HeadingLevel(line);
    if (level != 0 && h != 0 && h <= level)
      break;
    if (level == 0 && h != 0 && HeadingHasTopic(line, topic))
      level = h;
    if (level != 0)
      section += line;
    pos = next;
  }
  return level != 0 ? 0 : 1;
}

int HelpTopic(int topic) {
  char manual[kPathSize];
  if (HelpFindManual(manual, sizeof manual) != 0) {
    xvt_dm_post_error("The user manual (manual.md) cannot be found. It "
                      "belongs in the folder doc beside the folder bin.");
    return 1;
  }
  if (topic < 0)
    return ShowFile(manual);
  std::string text, section;
  if (!ReadWhole(manual, text)) {
    xvt_dm_post_error("The user manual %s cannot be read.", manual);
    return 1;
  }
  if (HelpSectionOf(text, topic, section) != 0)
    return ShowFile(manual);

  char file[kPathSize];
  FILE *f = nullptr;
  if (SectionFile(topic, file, sizeof file))
    f = PlatOpenFile(file, "wb");
  if (f == nullptr) {
    // The section cannot be set apart: the whole manual still helps.
    return ShowFile(manual);
  }
  bool ok = fwrite(section.data(), 1, section.size(), f) == section.size();
  ok = fclose(f) == 0 && ok;
  return ShowFile(ok ? file : manual);
}
