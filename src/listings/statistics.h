// Counts of a log's operations, written as a small table to "%s.rpt". The
// same writer serves the end of a log run, with the run's columns and the
// lists of the messages it reported.
#pragma once

#include "logentry/tally.h"
#include "platform/xvt.h"

#include <cstdint>

// Writes the report to the stored path: forRun 0 for a log's statistics
// (columns Lg.1, Lg.2), 1 at the end of a run (done, errors, warnings).
// Answers 0, or 1 when the file cannot be created (a note tells it).
int WriteStatistics(const char *path, int forRun);

// The job of the menu command: counts the entries of LogPath by
// operation and language, writes "%s.rpt" and shows it.
void LogStatistics(WINDOW win);
