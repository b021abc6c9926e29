// What the fuzz targets that work in a scratch folder of their own share.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

// The target works in a folder of its own; the corpus folders and file
// names given on the command line, and where crashes are written, stay
// where the caller meant them.
inline void AbsoluteArguments(int *argc, char ***argv) {
  static std::vector<std::string> args;
  static std::vector<char *> ptrs;
  char cwd[4096];
  if (getcwd(cwd, sizeof cwd) == nullptr)
    abort();
  bool prefix = false;
  for (int i = 0; i < *argc; ++i) {
    std::string a = (*argv)[i];
    if (i > 0 && !a.empty() && a[0] != '-' && a[0] != '/')
      a = std::string(cwd) + "/" + a;
    prefix = prefix || a.rfind("-artifact_prefix=", 0) == 0;
    args.push_back(a);
  }
  if (!prefix)
    args.push_back(std::string("-artifact_prefix=") + cwd + "/");
  for (std::string &a : args)
    ptrs.push_back(a.data());
  ptrs.push_back(nullptr);
  *argc = static_cast<int>(args.size());
  *argv = ptrs.data();
}

// Makes a scratch folder "/tmp/mantrel-fuzz-TAG-XXXXXX" the current folder
// and removes it when the process ends. Call it before registering anything
// at exit that still works in the folder: handlers run in reverse order.
inline void EnterScratchFolder(const char *tag) {
  static std::string dir;
  dir = std::string("/tmp/mantrel-fuzz-") + tag + "-XXXXXX";
  if (mkdtemp(dir.data()) == nullptr || chdir(dir.c_str()) != 0)
    abort();
  atexit([] {
    std::error_code ec;
    std::filesystem::current_path("/", ec);
    std::filesystem::remove_all(dir, ec);
  });
}
