// Merging a catalogue of cases: the live cases of another cases file, with
// their symptoms, are appended to the user's cases file (CasesCatalogName)
// under new case numbers, from the target's last number on. The source is
// only read.
#pragma once

// What the last merge did.
struct MergeCounts {
  long CasesAdded, CasesFailed;
  long SymptomsAdded, SymptomsFailed;
  long Renamed;     // cases that came in with "+" behind their name
  long FirstNumber; // the number the first merged case got
};
extern MergeCounts MergeLast;

// The menu's command: asks for the ".da1" of the source in "..\cases",
// then merges it. Cancel does nothing.
void MergeCases();
// The merge itself from a source base path (no extension) into the target
// base path. Answers 0, or the store's error of the table that could not be
// opened (it has been told).
int MergeCasesFrom(const char *source, const char *target);
