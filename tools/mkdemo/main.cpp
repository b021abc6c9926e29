// mkdemo [--sources DIR] [FOLDER]
//
// Builds the demonstration installation in FOLDER ("demo" by default) from
// the text sources in DIR (by default data/demo of the working copy that
// holds this program). The folder must be new, empty, or an installation
// that mkdemo made before: the marker file at its root says so, and is
// looked at before anything is deleted.
#include "mkdemo.h"

#include "store/store.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char *kMarkerName = ".mantrel-demo";
constexpr const char *kMarkerText =
    "This folder is a Mantrel demonstration installation, made by mkdemo.\n"
    "mkdemo deletes and rebuilds it on request.\n";

int Usage() {
  fprintf(stderr, "usage: mkdemo [--sources DIR] [FOLDER]\n");
  return 2;
}

// data/demo beside the program's build folder, or in the current folder.
fs::path DefaultSources(const char *argv0) {
  std::error_code ec;
  if (fs::is_directory("data/demo", ec))
    return fs::absolute("data/demo", ec);
  fs::path exe = fs::canonical("/proc/self/exe", ec);
  if (ec)
    exe = fs::absolute(argv0, ec);
  for (fs::path p = exe.parent_path(); !p.empty() && p != p.root_path();
       p = p.parent_path())
    if (fs::is_directory(p / "data" / "demo", ec))
      return p / "data" / "demo";
  return fs::path();
}

// Empties the folder when it may be emptied; answers false after saying why
// not.
bool PrepareFolder(const fs::path &root) {
  std::error_code ec;
  if (!fs::exists(root, ec))
    return fs::create_directories(root, ec) || fs::is_directory(root, ec);
  if (!fs::is_directory(root, ec)) {
    fprintf(stderr, "mkdemo: %s is not a folder\n", root.c_str());
    return false;
  }
  if (fs::is_empty(root, ec))
    return true;
  if (!fs::is_regular_file(root / kMarkerName, ec)) {
    fprintf(stderr,
            "mkdemo: %s is not an installation that mkdemo made (no %s); "
            "nothing was changed\n",
            root.c_str(), kMarkerName);
    return false;
  }
  for (const fs::directory_entry &e : fs::directory_iterator(root, ec)) {
    fs::remove_all(e.path(), ec);
    if (ec) {
      fprintf(stderr, "mkdemo: cannot delete %s: %s\n", e.path().c_str(),
              ec.message().c_str());
      return false;
    }
  }
  return true;
}

// The copy program of backups, built beside mkdemo, goes where the demo's
// configuration names it: BackupApp=orvcopy in the folder "backup" of bin.
bool InstallCopyProgram(const char *argv0) {
  std::error_code ec;
  fs::path exe = fs::canonical("/proc/self/exe", ec);
  if (ec)
    exe = fs::absolute(argv0, ec);
  fs::path from = exe.parent_path() / "orvcopy";
  fs::create_directories("backup", ec);
  fs::copy_file(from, "backup/orvcopy", fs::copy_options::overwrite_existing,
                ec);
  if (ec) {
    fprintf(stderr,
            "mkdemo: cannot install the copy program %s: %s (build the "
            "target orvcopy)\n",
            from.c_str(), ec.message().c_str());
    return false;
  }
  return true;
}

} // namespace

int main(int argc, char **argv) {
  fs::path sources, folder = "demo";
  bool folderGiven = false;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--sources") == 0 && i + 1 < argc) {
      sources = argv[++i];
    } else if (argv[i][0] == '-' || folderGiven) {
      return Usage();
    } else {
      folder = argv[i];
      folderGiven = true;
    }
  }
  std::error_code ec;
  if (sources.empty())
    sources = DefaultSources(argv[0]);
  sources = fs::absolute(sources, ec);
  if (sources.empty() || !fs::is_regular_file(sources / "catalog.txt", ec)) {
    fprintf(stderr, "mkdemo: no demo sources found (give --sources DIR)\n");
    return 1;
  }
  fs::path root = fs::absolute(folder, ec).lexically_normal();
  if (root.has_filename() == false)
    root = root.parent_path();
  if (!PrepareFolder(root))
    return 1;

  // The marker comes first: a build that fails half-way can be run again.
  FILE *m = fopen((root / kMarkerName).c_str(), "wb");
  if (m == nullptr || fputs(kMarkerText, m) < 0 || fclose(m) != 0) {
    fprintf(stderr, "mkdemo: cannot write %s\n", (root / kMarkerName).c_str());
    return 1;
  }
  fs::create_directories(root / "bin", ec);
  if (ec || chdir((root / "bin").c_str()) != 0) {
    fprintf(stderr, "mkdemo: cannot enter %s\n", (root / "bin").c_str());
    return 1;
  }
  // The same sources give the same tables, byte for byte, wherever built.
  DbReproducibleStamp = 1230768000; // 1 January 2009, the edition's year
  if (DbInitialize(50, 90, 4, "A-Mantrel", "orvlock", 0) != 0) {
    fprintf(stderr, "mkdemo: cannot initialise the store (%d)\n", OrvixError);
    return 1;
  }
  int r = DemoBuild(sources.string());
  DbTerminate("A-Mantrel");
  if (r == 0 && !InstallCopyProgram(argv[0]))
    r = 1;
  if (r != 0) {
    fprintf(stderr, "mkdemo: the installation in %s is incomplete\n",
            root.c_str());
    return 1;
  }
  printf("mkdemo: demonstration installation built in %s\n", root.c_str());
  return 0;
}
