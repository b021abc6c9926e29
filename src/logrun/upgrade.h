// The transfer of a user's additions to a new edition of a repertory, as an
// installer calls it with no one watching: the verbs /UPGRADERESET,
// /UPGRADE and /UPGRADEASSOC. Each replays a log of the log folder (found
// by the repertory's abbreviation, whatever path the command line gave)
// on the repertory named by the target abbreviation, after one question,
// with the reports named after the target. While a verb runs, the empty
// marker file "running.log" stands in the log folder, so that other
// programs know that a transfer is under way.
//
// The shell stores the verb's arguments (UpgradeLog, UpgradeOldAbbrev,
// UpgradeNewAbbrev, UpgradeAssocTable) and gives the run its defaults
// before it calls a driver. Each driver ends the program.
#pragma once

#include <cstddef>

// The run kinds of the three verbs, as the shell's defaults know them.
enum UpgradeKind {
  kUpgradeReset, // replays a repertory's own log on it again
  kUpgradePlain, // replays the old edition's log on the new one
  kUpgradeAssoc, // the same, each entry translated to the new edition
};

void DriverUpgradeReset();
void DriverUpgrade();
void DriverUpgradeAssoc();

// The marker file's path in the log folder.
void UpgradeMarkerPath(char *out, size_t cap);
