// What the tests share to stand on: a fresh scratch folder per test, removed
// with all it holds when the test ends, the bytes of its files, and the
// programs built with the tests (the message compiler, the demonstration
// builder) run into it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

// The bytes of a file; empty when it cannot be read.
inline std::string SlurpFile(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteFile(const fs::path &p, const std::string &bytes) {
  std::ofstream(p, std::ios::binary) << bytes;
}

// The lines of a text, each without its line end ("\n" or "\r\n").
inline std::vector<std::string> TextLines(const std::string &text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r')
      line.pop_back();
    out.push_back(line);
  }
  return out;
}

// A real path in the text form the program stores: backslashes for
// slashes.
inline std::string Backslashed(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

// How often `part` stands in `text`, overlaps counted.
inline size_t Occurrences(const std::string &text, const std::string &part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos;
       at = text.find(part, at + 1))
    ++n;
  return n;
}

// Runs a shell command line; answers its exit status, -1 when it did not
// end by itself.
inline int RunCommand(const std::string &cmd) {
  int rc = std::system(cmd.c_str());
  return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

// A program built with the tests, quoted for the shell.
inline std::string BuiltProgram(const char *name) {
  // Not "'" + std::string(...): GCC 12 at -O3 takes that for an
  // overlapping copy (-Werror=restrict) and stops the Release build.
  return std::string("'") + MANTREL_BIN_DIR + "/" + name + "'";
}

// The message table compiled by mkmsg from the team's English, French and
// German files into `out`; answers mkmsg's exit status.
inline int BuildMessageTable(const fs::path &out) {
  std::string cmd = BuiltProgram("mkmsg") + " '" + out.string() + "'";
  for (const char *lang : {"en", "fr", "de"})
    cmd += std::string(" '") + MANTREL_SOURCE_DIR + "/data/messages/" + lang +
           ".txt'";
  return RunCommand(cmd + " >/dev/null");
}

// The demonstration installation built by mkdemo into `folder`; answers
// mkdemo's exit status.
inline int BuildDemo(const fs::path &folder) {
  return RunCommand(BuiltProgram("mkdemo") + " --sources '" +
                    MANTREL_SOURCE_DIR + "/data/demo' '" + folder.string() +
                    "' >/dev/null 2>&1");
}

// A viewer for the program to start: a script in `folder` that notes each
// path it is asked to show as a line of folder/viewed.txt. Answers the
// script's path.
inline std::string WriteNotingViewer(const fs::path &folder) {
  fs::path viewer = folder / "viewer.sh";
  WriteFile(viewer, "#!/bin/sh\necho \"$1\" >> '" +
                        (folder / "viewed.txt").string() + "'\n");
  fs::permissions(viewer, fs::perms::owner_all);
  return viewer.string();
}

// What the noting viewer of `folder` noted, once it holds `lines` lines or
// three seconds have passed: the viewer is a child nobody waits for.
inline std::string NotedByViewer(const fs::path &folder, size_t lines = 1) {
  std::string got;
  for (int i = 0; i < 300; ++i) {
    got = SlurpFile(folder / "viewed.txt");
    if (static_cast<size_t>(std::count(got.begin(), got.end(), '\n')) >= lines)
      break;
    usleep(10000);
  }
  return got;
}

// What a call writes on standard error.
template <class F> std::string StderrOf(F &&call) {
  testing::internal::CaptureStderr();
  call();
  return testing::internal::GetCapturedStderr();
}

// A folder of its own under /tmp; when the object goes, the process leaves
// it (if it went in) and the folder goes with all it holds, even where a
// test took away the write permission.
class ScratchFolder {
public:
  explicit ScratchFolder(const char *tag = "test") {
    std::string tmpl = std::string("/tmp/mantrel-") + tag + "-XXXXXX";
    if (mkdtemp(tmpl.data()) != nullptr)
      path_ = tmpl;
    else
      ADD_FAILURE() << "no scratch folder " << tmpl;
  }
  ~ScratchFolder() {
    Leave();
    if (path_.empty())
      return;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(path_, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
      if (it->is_directory(ec) && !it->is_symlink(ec))
        fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add,
                        ec);
    fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ec);
    fs::remove_all(path_, ec);
    if (ec)
      ADD_FAILURE() << "could not remove " << path_ << ": " << ec.message();
  }
  ScratchFolder(const ScratchFolder &) = delete;
  ScratchFolder &operator=(const ScratchFolder &) = delete;

  const fs::path &path() const { return path_; }

  // Makes the folder, or `sub` of it (made when missing; a whole path
  // stands for itself), the current folder until Leave.
  void Enter(const fs::path &sub = {}) {
    if (!entered_) {
      // A test before may have left the process in a folder it deleted.
      std::error_code ec;
      old_ = fs::current_path(ec);
      if (ec)
        old_ = fs::temp_directory_path();
      entered_ = true;
    }
    fs::create_directories(path_ / sub);
    fs::current_path(path_ / sub);
  }
  void Leave() {
    if (entered_)
      fs::current_path(old_);
    entered_ = false;
  }

private:
  fs::path path_, old_;
  bool entered_ = false;
};

// The demonstration installation as mkdemo builds it, once for the process
// (its folder goes at the process's end); empty when mkdemo failed. Tests
// that change an installation work on a copy.
inline const fs::path &PristineDemo() {
  static ScratchFolder folder("pristine-demo");
  static fs::path demo;
  if (demo.empty() && !folder.path().empty() &&
      BuildDemo(folder.path() / "demo") == 0)
    demo = folder.path() / "demo";
  return demo;
}

// A test in a scratch folder of its own, root_; the folder goes after
// TearDown, whatever the test did.
class FolderTest : public ::testing::Test {
protected:
  explicit FolderTest(const char *tag = "test")
      : folder_(tag), root_(folder_.path()) {}

  // Makes root_, or `sub` of it, the current folder for the rest of the
  // test.
  void Enter(const fs::path &sub = {}) { folder_.Enter(sub); }

  // The bytes of a file of the scratch folder, or writes them.
  std::string Slurp(const fs::path &name) const {
    return SlurpFile(root_ / name);
  }
  void Spit(const fs::path &name, const std::string &bytes) const {
    WriteFile(root_ / name, bytes);
  }

  ScratchFolder folder_;
  const fs::path root_;
};
