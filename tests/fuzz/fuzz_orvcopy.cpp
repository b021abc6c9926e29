// The copy program's reading of a list of copy jobs: any bytes as a list,
// divided into lines and jobs, each side split into folder and pattern, and
// the target names formed, as orvcopy does before it touches a file.
#include "../../tools/orvcopy/joblist.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using namespace orvcopy;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string text(reinterpret_cast<const char *>(data), size);
  size_t at = 0;
  while (at <= text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos)
      end = text.size();
    std::vector<char> line(text.begin() + static_cast<long>(at),
                           text.begin() + static_cast<long>(end));
    line.push_back('\0');
    at = end + 1;
    char *source = nullptr, *target = nullptr;
    if (!SplitJob(line.data(), &source, &target))
      continue;
    if (*source == '\0' || *target == '\0')
      abort();
    std::string sf, sn, tf, tn;
    SplitLast(source, sf, sn);
    SplitLast(target, tf, tn);
    std::string srcStem = StemOf(sn), dstStem = StemOf(tn);
    // A file the source pattern could find, and its name in the target.
    std::string found = srcStem.empty() ? sn : srcStem + ".dat";
    std::string name = TargetName(srcStem, dstStem, found);
    if (!found.empty() && name.empty())
      abort();
    std::string joined = Join(tf, name);
    if (joined.size() < name.size() ||
        joined.compare(joined.size() - name.size(), name.size(), name) != 0)
      abort();
  }
  return 0;
}
