// Between the toolkit's own sources; nothing outside src/platform uses it.
#pragma once

#include "platform/xvt_model.h"

// The backend in use, chosen and started on first need.
const XvtBackend *XvtEnsureBackend();
// The folder that was current when the toolkit first ran (taken then).
const DIRECTORY *XvtStartupDir();
// Forgets saved folders (not the start-up folder).
void XvtResetDirs();
