// The options of a log run: what the next run does before, during and after
// its replay. AppLogDefaults (frame/menu.h) gives them their defaults for
// each kind of run, the Log file preferences dialog and the verbs change
// them, and the run drivers read them.
//
// Three values of a run have their home elsewhere and are not repeated
// here: the log path is LogPath, the rebuild of the extraction table is
// RunExtract, and the old repertory of a translated run is
// UpgradeOldAbbrev (all in frame/app.h).
#pragma once

#include <cstdint>

inline constexpr int kRunPathSize = 256;
inline constexpr int kRunCommentSize = 51; // 50 characters
// The end of a run that has no end of its own.
inline constexpr int32_t kRunToLast = 99999999;

struct RunOptionSet {
  int BackupRepertory; // back up the repertory before the run
  int BackupLog;       // back up the log before the run
  // The default folder of backups (the program folder's parent and
  // "\\BACKUP") and the folder the next backup goes to, which starts equal.
  char BackupBase[kRunPathSize];
  char BackupDirectory[kRunPathSize];
  // The first language of the log is the first of the repertory; 0 swaps
  // the language digit of every entry.
  uint8_t SameLanguage;
  uint8_t AddMissing;   // add the symptoms that are not found
  uint8_t ReplaceNotes; // 1 replaces a changed note, 0 appends to it
  int KeepInOwnLog;     // store each success in the repertory's own log
  int CheckDoubleNotes; // remove doubled paragraphs of notes afterwards
  int IgnoreUniqueId;   // stored by the dialog, read by nothing
  // Report names; empty means the default built from the log path.
  char StatisticsFile[kRunPathSize];
  char ErrorsFile[kRunPathSize];
  char TextLogFile[kRunPathSize];
  int32_t From; // log number at which the run starts
  int32_t To;   // bounds a count of entries from From
  char Comment[kRunCommentSize];
  uint8_t AssociationMode; // translate each entry to a new edition
  int BatchMode;           // after the run: move the log, end the program
};

extern RunOptionSet RunOptions;

// The run state as the start sequence leaves it before any defaults: From at
// kRunToLast, association and batch mode off, the report names empty.
void RunOptionsClear();
