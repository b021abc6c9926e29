// The toolkit as a test finds it: a fresh start on one backend with no
// script, a script written into the test's folder, and nothing left over
// for the next test.
#pragma once

#include "platform/xvt_model.h"
#include "test_folder.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <string>

// The backend `ui` ("scripted", "qt") with no script and no windows.
inline void StartToolkit(const char *ui = "scripted") {
  XvtReset();
  setenv("MANTREL_UI", ui, 1);
  unsetenv("MANTREL_SCRIPT");
}

inline void StopToolkit() {
  XvtReset();
  unsetenv("MANTREL_UI");
  unsetenv("MANTREL_SCRIPT");
}

// The lines, written to `file`, become the script of the next backend start.
inline void ScriptToolkit(const fs::path &file, const std::string &text) {
  WriteFile(file, text);
  setenv("MANTREL_SCRIPT", file.c_str(), 1);
  XvtReset();
}

// What the toolkit's tests check its output with.
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;
