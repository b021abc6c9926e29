// Repair of a cases file through text. A cases file is two tables on one
// base path: Cas1, one record for each case (".da1", ".id1"), and Cas2, one
// record for each symptom in a clipboard of a case (".da2", ".id2"). The
// repair backs the four files up, writes every record that can still be
// read to two text files with a defensive clamp of their fields, loads the
// text into two new tables beside the old ones, recounts every clipboard,
// and only then puts the new files in the old ones' place. Each step is told
// in the report "..\cases\caserep.txt", to which every repair appends.
//
// What is readable is never lost: a damaged record is stepped over and
// reported, and new tables that hold fewer records than the text they were
// loaded from never replace the old ones. The four files change places
// under a journal, so a repair killed at any point leaves either the old
// files or the new ones (CasesFinishSwap completes a change that was
// committed).
#pragma once

#include "store/store.h"

#include <cstdio>

inline constexpr const char *kCasesReport = "..\\cases\\caserep.txt";
inline constexpr const char *kCasesWorkName = "..\\cases\\casetmp";
inline constexpr const char *kCasesScript = "caserep8.bat";
inline constexpr const char *kCasesScriptMarker = "caserep.ok";
inline constexpr const char *kCasesScriptBase = "..\\cases\\casedbr";
// The journal of a change of places: the base path and this extension.
inline constexpr const char *kCasesJournalExt = ".swp";

// How long the repair waits for the older tools' script to leave its
// marker, in seconds (ten minutes unless a caller sets it).
extern int CasesScriptWaitSeconds;

// What the last download and upload found, for the guard of the change of
// places and for those who look (tests, benchmarks).
struct CasesRepairCounts {
  long CasesDumped;    // live cases written to "%s1.txt"
  long SymptomsDumped; // Cas2 records written to "%s2.txt"
  long Damaged;        // damaged records stepped over
  long Clamped;        // fields put back into their range
  long CasesRead;      // lines of "%s1.txt" loaded
  long SymptomsRead;   // head lines of "%s2.txt" loaded
  long Cas1Entries;    // records of the new Cas1
  long Cas2Entries;    // records of the new Cas2
  long Recounted;      // clipboards whose count changed
  bool Replaced;       // the new files took the old ones' place
};
extern CasesRepairCounts CasesCounts;

// Backup, rebuild and download: answers the number of records counted as
// progress, the total that UploadCases shows.
long DownloadCases(const char *baseName, const char *workName);
// Upload into new tables, recount, and the change of places.
void UploadCases(const char *baseName, const char *workName,
                 long progressTotal);
// Writes the text to the report if it is open, and flushes; a report that
// couldn't be opened makes reporting silent and stops nothing.
void ReportText(FILE *stream, const char *text);
// The front with a question: on yes, the two phases with the work name
// "..\cases\casetmp" and an information box at the end.
void RepairCasesFile(const char *baseName);
// Completes a change of places that was committed but not done (the
// program was killed in the middle of it). Answers 1 when it did
// something, 0 when there was nothing to do. Every road to a cases file
// calls it first.
int CasesFinishSwap(const char *baseName);

// ---------------------------------------------------------------- the text

// One line of "%s1.txt" into a Cas1 record (cleared first); fields up to
// the next bar or the end of the line, nothing escapes a bar.
void CasesReadCas1Line(const char *line, Cas1 *rec);
// A head line of "%s2.txt" into a Cas2 record (cleared first, its remedy
// list kept); *remedies gets the number of remedy lines that follow, put
// between 0 and kCasesMaxRemedies.
inline constexpr long kCasesMaxRemedies = 65535;
void CasesReadCas2Head(const char *line, Cas2 *rec, long *remedies);
// A remedy line: remedy number, degree, author; an author above 20000
// comes back as 444.
void CasesReadRemedyLine(const char *line, Cas2Symptom *entry);
// The lines of the dump.
void CasesWriteCas1(FILE *out, const Cas1 &rec);
void CasesWriteCas2(FILE *out, const Cas2 &rec);
// Puts the fields of a Cas2 record into the ranges the dump allows; answers
// how many were changed, and reports each through `tell` when given.
int CasesClampCas2(Cas2 *rec,
                   void (*tell)(const char *field, int was, int now,
                                const Cas2 &rec, void *),
                   void *ctx);

// Reading a whole dump, with what is read handed to `save` (0 for a saved
// record). Cas1 stops at the first record that isn't saved; Cas2 goes on.
// `step` (may be null) is called once for each line read as a record.
// Answers the number of records read.
long CasesReloadCas1(FILE *in, int (*save)(Cas1 *, void *), void *ctx,
                     void (*step)(void *));
long CasesReloadCas2(FILE *in, int (*save)(Cas2 *, void *), void *ctx,
                     void (*step)(void *));
