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

#include <gmock/gmock.h>
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
    fs::copy(PristineDemo(), root_, fs::copy_options::recursive);
    folder_.Enter("demo/bin");
    XvtReset();
    setenv("MANTREL_UI", "scripted", 1);
    unsetenv("MANTREL_SCRIPT");
  }
  void TearDown() override {
    Stop();
    XvtReset();
    unsetenv("MANTREL_UI");
    unsetenv("MANTREL_SCRIPT");
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
    int rc = RunCommand(cmd);
    err_ = SlurpFile(dir / "err");
    return rc;
  }

  // tbltool on a table of the demo; answers its exit status.
  int Tbltool(const std::string &verb, const std::string &kind,
              const std::string &table) {
    std::string cmd = "cd '" + (root_ / "bin").string() + "' && '" +
                      MANTREL_BIN_DIR + "/tbltool' " + verb + " " + kind +
                      " '" + table + "' >/dev/null 2>&1";
    return RunCommand(cmd);
  }

  // The copy of the demo lies in a scratch folder of its own, which goes
  // with all it holds after TearDown.
  ScratchFolder folder_{"repair"};
  const fs::path root_ = folder_.path() / "demo";
  std::string err_;
  bool started_ = false;
};

} // namespace repair_test
