// Rebuilding tables. Three roads lead to the store's rebuild operations: the
// Repair menu (one entry for each table and one for all of them), the
// "Repair databases" dialog in which any set of tables is ticked, and the
// /BUILD verb with a list file. The store does the work; this module settles
// which tables exist for repair, how their names are formed, which index
// files go first, what is shown meanwhile, which failures are told and how
// far a batch goes on after one (always to its end).
#pragma once

#include "platform/xvt.h"

#include <cstddef>
#include <cstdio>

// What the single-table repair is given: one table or group, 0 for all.
enum RepairSelector : int {
  kRepairAll = 0, // 8, 1, 2, 3, 4, 5, 6, 7, 10, 11, 12, 13 in this order
  kRepairSymptom = 1,
  kRepairWord1 = 2,
  kRepairWord2 = 3,
  kRepairExtract = 4,
  kRepairView = 5,
  kRepairLog = 6,
  kRepairNote = 7,
  kRepairCases = 8,
  kRepairPatient = 9, // never part of kRepairAll
  kRepairLink = 10,
  kRepairExSp = 11,
  kRepairAuthor = 12,
  kRepairRemed = 13,
};

// The body of the Repair menu's entries.
void RepairTables(int selector);

// The /BUILD verb: rebuilds the tables that the list file names. A failed
// table never ends the list. Answers the number of failures told: tables
// not rebuilt, lines not used, or 1 for a list that can't be read.
int RebuildFromList(const char *listFile);

// Reads one line of at most size-1 characters with the standard line reader
// and removes a final newline (and the carriage return before it); trailing
// blanks stay. Answers false at the end of the file. A longer line is read
// in pieces, as the standard reader gives them.
bool ReadListLine(FILE *stream, char *buffer, int size);

// ---------------------------------------------------------------- list lines

// The keywords of a list file, in the order they are tried.
inline constexpr int kListKeywordCount = 11;
inline constexpr int kListLineSize = 512;

// What a line of a list file asks for.
struct RebuildListLine {
  // The keywords that matched, as indexes into the keyword table, in the
  // table's order; count of them.
  int Keywords[kListKeywordCount];
  int Count;
  // The table's base path: what follows the bar, in capitals, trailing
  // blanks cut.
  char Table[kListLineSize];
};

// Why a line can't be used.
inline constexpr int kListLineOk = 0;
inline constexpr int kListLineEmpty = 1;   // blank line: nothing asked
inline constexpr int kListLineNoBar = 2;   // no vertical bar
inline constexpr int kListLineUnknown = 3; // no keyword matches
inline constexpr int kListLineNoTable = 4; // nothing behind the bar

// Turns one line (as ReadListLine gives it) into what it asks for: the whole
// line in capitals, each of the eleven keywords compared as a prefix.
// Answers one of the codes above; `out` is filled for kListLineOk.
int RebuildParseLine(const char *line, RebuildListLine *out);

// The keyword at an index of the table ("SYMPTOM", "WORD", ...).
const char *RebuildKeyword(int index);

// ---------------------------------------------------------------- names

// The table's base path as the files on disk spell it: every component that
// exists is written as its folder spells it, the last one as the data file
// `dataExt` (".dat", ".da1") spells it, and trailing blanks of the name are
// cut (no file name ends in a blank on the system the names come from). A
// path that names nothing is given back as it stands, blanks cut. So a name
// in capitals never makes an index file that differs from its data file in
// letter case only.
void RepairMatchCase(const char *stored, const char *dataExt, char *out,
                     size_t cap);

// ---------------------------------------------------------------- dialog 113

// The controls of the "Repair databases" dialog.
enum : int {
  kRepairDlgRes = 113,
  kRepairDlgRepair = 1,
  kRepairDlgGroupRep = 2,
  kRepairDlgRepName = 3,
  kRepairDlgBrowseRep = 4,
  kRepairDlgSymptoms = 5,
  kRepairDlgWord1 = 6,
  kRepairDlgWord2 = 7,
  kRepairDlgExtract = 8,
  kRepairDlgView = 9,
  kRepairDlgNote = 10,
  kRepairDlgLink = 11,
  kRepairDlgExSp = 12,
  kRepairDlgLog = 13,
  kRepairDlgGroupSystem = 14,
  kRepairDlgRemed = 15,
  kRepairDlgAuthor = 16,
  kRepairDlgGroupPersonal = 17,
  kRepairDlgPatient = 18,
  kRepairDlgBrowsePatient = 19,
  kRepairDlgOneCases = 20,
  kRepairDlgAllCases = 21,
  kRepairDlgKeynotes = 22,
  kRepairDlgBrowseCases = 23,
  kRepairDlgSelectAll = 24,
  kRepairDlgDeselectAll = 25,
  kRepairDlgCancel = 26,
};

// The dialog's Repair button: rebuilds what is ticked, in the dialog's
// fixed order, tells the end with one note (6763, or 6764 when a failure
// was told) and destroys the dialog.
void RepairSelected(WINDOW dialog);

// How many failures the last RepairSelected told.
extern int RepairFailureCount;
