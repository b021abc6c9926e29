// The extraction table build. The Extract table is the inversion of the
// Symptom table: for each remedy, the symptoms that hold it, in records of
// fixed capacity chained by Seq. It is rebuilt from nothing in two passes
// through a scratch file "extract.bin" in the repertory's folder: the first
// pass walks the symptoms and scatters their remedy entries into blocks of
// 3003 bytes, one chain of blocks for each remedy; the second reads the
// blocks in file order and adds them as Extract records, and the index
// rebuild at the end sets them in key order.
#pragma once

#include "store/store.h"

#include <cstdint>

// The scratch file's blocks: remedy number (2 bytes), block number (1),
// then up to 255 entries of 11 bytes and zeros to the end.
inline constexpr int kExtractBlockSize = 3003;
inline constexpr int kExtractBlockEntries = 255;
inline constexpr int kExtractBinEntrySize = 11;
inline constexpr const char *kExtractScratchName = "extract.bin";

// What the build needs of its surroundings. Every member may be null.
struct ExtractBuildHooks {
  // Polled before each symptom and each block; answering 0 stops the build.
  int (*keepGoing)(void *ctx);
  // The position of the build against its total.
  void (*progress)(long position, long total, void *ctx);
  // A note for the user, one of the build's literal texts.
  void (*note)(const char *text, void *ctx);
  void *ctx;
};

// Results of the build.
inline constexpr int kExtractOk = 0;
inline constexpr int kExtractStopped = 1; // keepGoing answered 0
inline constexpr int kExtractFailed = 2;  // a table or file could not be had
inline constexpr int kExtractRebuildFailed = 3; // the final index rebuild

// Rebuilds the Extract table at extractPath (a stored base path) from the
// Symptom table at symptomPath, with the remedy order of the Remed table at
// remedPath. folder is the repertory's folder, ending in a backslash; the
// scratch file goes there. Answers one of the results above; the failure's
// note has been given through the hooks.
int ExtractBuild(const char *symptomPath, const char *extractPath,
                 const char *remedPath, const char *folder,
                 const ExtractBuildHooks &hooks);

// The build on the current repertory, under the Progress window: the paths
// come from CurrentCatalog and RemedyCatalogName, notes go to the user.
void ExtractRebuild();
