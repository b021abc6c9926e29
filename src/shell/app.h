// The spine of the program: the process entry, the start sequence that runs
// in the create event of the task window, the command-line verbs, and the one
// ordered exit.
#pragma once

#include "platform/xvt.h"
#include "session/session.h"
#include "store/store.h"

#include <cstdint>
#include <string>

inline constexpr const char *kAppName = "A-Mantrel";
inline constexpr const char *kAppVersion = "10.5";
inline constexpr const char *kAppPlatform = "Windows";

// Start styles of the task window: full size, or an icon for a one-word verb
// that needs no dialog.
inline constexpr long kStyleFullSize = 4239; // 0x108F
inline constexpr long kStyleIcon = 399;      // 0x18F

extern const char *AppName;
extern RCT TaskClientRect;
extern long AppStartStyle;

extern WINDOW TransferDialog;

// The text of "/?", built once.
const char *AppHelpText();
// `mantrel --help`: the "/?" text, then the environment variables, the
// action words, the other programs and the verbs this version lacks.
std::string AppLongHelpText();

int AppMain(int argc, char **argv);
long AppTaskEvent(WINDOW win, EVENT *ev);
void AppInitialize();
// Closes the message table, terminates the store and ends the event loop.
// Nothing may follow it in the caller.
void AppTerminate();
// The dispatch of the command line, after the start sequence.
void AppDispatchCommandLine();
