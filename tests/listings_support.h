// The listing tests' world: the log folder "log" with two logs of the
// sample entries, the symptom table of the current repertory, the scripted
// toolkit, and a viewer that notes what it was asked to show.
#pragma once

#include <sys/wait.h>

#include "listings/listings.h"
#include "listings/statistics.h"
#include "logtext_support.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/xvt_model.h"
#include "services/work.h"
#include "shell/chooser.h"
#include "test_toolkit.h"

#include <chrono>
#include <fstream>
#include <sys/stat.h>
#include <thread>

class ListingsTest : public LogTextTest {
protected:
  void SetUp() override {
    LogTextTest::SetUp();
    StartToolkit();
    std::filesystem::create_directory("log");
    StrCopy(LogFileDir, "log");
    BuildSymptoms();
    DbCloseFile(LogTextSymptomTable);
    LogTextSymptomTable = 0;
    memset(&CurrentCatalog, 0, sizeof CurrentCatalog);
    StrCopy(CurrentCatalog.RepertoryBlock.Paths[kCatSymptom], "sym");
    StrCopy(PlatViewerProgram, WriteNotingViewer(root_).c_str());
    StrCopy(LogPath, "log\\SALM");
  }
  void TearDown() override {
    StopToolkit();
    PlatViewerProgram[0] = '\0';
    // A viewer started by the job may still be writing into the folder:
    // wait for it before the folder goes.
    while (waitpid(-1, nullptr, 0) > 0) {
    }
    PlatReapChildren();
    LogTextTest::TearDown();
  }

  // The lines become the script of the next backend start.
  void Script(const std::string &text) {
    ScriptToolkit(root_ / "script.txt", text);
  }

  // The samples as the log `base`: numbers from 1; with `spread`, entry n
  // falls on the sample day minus one, the day, or the day after (n % 3 =
  // 1, 2, 0), at second n, by user n % 4.
  void MakeLog(const char *base, bool spread) {
    TblHandle h = TblCreateRlog(base, 0, 1, 3);
    ASSERT_NE(h, 0) << OrvixError;
    static char buffer[kLogTextSize];
    int32_t n = 1;
    for (const SampleEntry &s : SampleEntries()) {
      LogEntry e;
      FillEntry(&e, buffer, s, n);
      if (spread) {
        e.date = static_cast<uint32_t>(SampleDate() + DayOffset(n));
        e.time = static_cast<uint32_t>(n);
        e.tag = static_cast<uint8_t>(n % 4);
      }
      ASSERT_EQ(TblSaveRlog(h, &e, kSaveAdd), 0) << n;
      ++n;
    }
    DbCloseFile(h);
  }
  static int DayOffset(int n) { return n % 3 == 1 ? -1 : n % 3 == 2 ? 0 : 1; }

  // The log numbers in the footers of a listing, in order.
  static std::vector<int> Numbers(const std::string &listing) {
    std::vector<int> out;
    const std::string label = "Log entry number: ";
    for (size_t at = listing.find(label); at != std::string::npos;
         at = listing.find(label, at + 1))
      out.push_back(atoi(listing.c_str() + at + label.size()));
    return out;
  }

  // The paths the viewer was started on, once it has had time to run.
  std::string Viewed(size_t lines) { return NotedByViewer(root_, lines); }

  std::string Abs(const char *name) const { return (root_ / name).string(); }
};
