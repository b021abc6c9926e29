// The repair tests' world: a fresh copy of the demonstration installation
// for each test (built once per process by mkdemo), bin as the current
// folder, the configuration and the message table of the demo, and the
// scripted toolkit. Run() starts the mantrel executable there instead.
#pragma once

#include "platform/strutil.h"
#include "platform/xvt_model.h"
#include "services/config.h"
#include "services/ini.h"
#include "services/messages.h"
#include "session/session.h"
#include "store/store.h"
#include "test_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace repair_test {

namespace fs = std::filesystem;

inline std::string Slurp(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// The demo as mkdemo builds it, once for the process.
inline const fs::path &PristineDemo() {
  static ScratchFolder folder("repair-demo"); // removed at the process's end
  static fs::path demo;
  if (demo.empty() && !folder.path().empty()) {
    fs::path d = folder.path() / "demo";
    std::string cmd = std::string("\"") + MANTREL_BIN_DIR +
                      "/mkdemo\" --sources \"" + MANTREL_SOURCE_DIR +
                      "/data/demo\" \"" + d.string() + "\" >/dev/null 2>&1";
    if (std::system(cmd.c_str()) == 0)
      demo = d;
  }
  return demo;
}

// Names in a folder that differ from another name only in letter case.
inline std::vector<std::string> CaseTwins(const fs::path &root) {
  std::vector<std::string> twins;
  for (auto &dir : fs::recursive_directory_iterator(root)) {
    if (!dir.is_directory())
      continue;
    std::map<std::string, std::string> seen;
    for (auto &e : fs::directory_iterator(dir.path())) {
      std::string name = e.path().filename().string(), folded = name;
      std::transform(folded.begin(), folded.end(), folded.begin(), ::tolower);
      auto [it, fresh] = seen.emplace(folded, name);
      if (!fresh)
        twins.push_back((dir.path() / name).string() + " / " + it->second);
    }
  }
  return twins;
}

class RepairDemoTest : public ::testing::Test {
protected:
  void SetUp() override {
    ASSERT_FALSE(PristineDemo().empty()) << "mkdemo failed";
    char tmpl[] = "/tmp/mantrel-repair-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    root_ = fs::path(tmpl) / "demo";
    fs::copy(PristineDemo(), root_, fs::copy_options::recursive);
    std::error_code ec;
    old_ = fs::current_path(ec);
    if (ec)
      old_ = fs::temp_directory_path();
    fs::current_path(root_ / "bin");
    XvtReset();
    setenv("MANTREL_UI", "scripted", 1);
    unsetenv("MANTREL_SCRIPT");
  }
  void TearDown() override {
    Stop();
    XvtReset();
    unsetenv("MANTREL_UI");
    unsetenv("MANTREL_SCRIPT");
    fs::current_path(old_);
    fs::remove_all(root_.parent_path());
  }

  // The store, the demo's configuration and its message table, in this
  // process.
  void Start() {
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
    started_ = true;
    IniSetPath("orvix.ini");
    IniRead();
    MsgTable = MsgOpen(MessageCatalogName, 1, 1);
    ASSERT_EQ(OrvixError, 0);
    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
  }
  void Stop() {
    if (!started_)
      return;
    if (MsgTable != 0)
      DbCloseFile(MsgTable);
    MsgTable = 0;
    DbTerminate("A-Mantrel");
    started_ = false;
  }

  // The lines become the script of the next backend start.
  void Script(const std::string &text) {
    std::string path = (root_.parent_path() / "script.txt").string();
    std::ofstream(path) << text;
    setenv("MANTREL_SCRIPT", path.c_str(), 1);
    XvtReset();
  }

  // Runs mantrel in bin with the words and the script; answers its exit
  // status; err_ gets what it wrote on standard error.
  int Run(const std::string &args, const std::string &script) {
    fs::path dir = root_.parent_path();
    std::ofstream(dir / "run-script.txt") << script;
    std::string cmd = "cd '" + (root_ / "bin").string() +
                      "' && MANTREL_UI=scripted MANTREL_SCRIPT='" +
                      (dir / "run-script.txt").string() + "' '" +
                      MANTREL_BIN_DIR + "/mantrel' " + args +
                      " </dev/null >/dev/null 2>'" + (dir / "err").string() +
                      "'";
    int rc = std::system(cmd.c_str());
    err_ = Slurp(dir / "err");
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  }

  // tbltool on a table of the demo; answers its exit status.
  int Tbltool(const std::string &verb, const std::string &kind,
              const std::string &table) {
    std::string cmd = "cd '" + (root_ / "bin").string() + "' && '" +
                      MANTREL_BIN_DIR + "/tbltool' " + verb + " " + kind +
                      " '" + table + "' >/dev/null 2>&1";
    int rc = std::system(cmd.c_str());
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  }

  size_t Count(const std::string &text, const std::string &what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + 1))
      ++n;
    return n;
  }

  fs::path root_, old_;
  std::string err_;
  bool started_ = false;
};

} // namespace repair_test
