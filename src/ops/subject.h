// What every handler of a log operation shares: the shared records, the
// remedy and author tables of the run, and the first step of each handler,
// finding the symptom that the entry names.
#pragma once

#include "logentry/logentry.h"
#include "store/records.h"
#include "store/store.h"

#include <cstdio>
#include <cstring>

// The Symptom record that the handlers find their symptom into: its remedy
// array belongs to the record and lives from entry to entry until
// OpReleaseRecords, so that a run does not allocate one for each entry. An
// operation that calls another leaves it changed.
extern Symptom SymptomRecord;

// The remedy and author tables while a run lasts (0 otherwise); the run
// opens and closes them.
extern TblHandle OpRemedTable;
extern TblHandle OpAuthorTable;

// A Symptom record of the caller's own, on the heap, with its own remedy
// array that goes with it: the shared SymptomRecord changes under every
// nested handler call. Key() clears it for a search, keeping the array;
// ByNumber and ById find into it.
struct OwnSymptom {
  Symptom *s;
  OwnSymptom() : s(new Symptom) {
    memset(s, 0, sizeof *s);
    s->CursorState = 0xff;
  }
  ~OwnSymptom() {
    TblFreeSymptomRemed(s);
    delete s;
  }
  OwnSymptom(const OwnSymptom &) = delete;
  OwnSymptom &operator=(const OwnSymptom &) = delete;
  Symptom &Key() {
    SymptomRemedy *keep = s->Remedies;
    memset(s, 0, sizeof *s);
    s->Remedies = keep;
    s->CursorState = 0xff;
    return *s;
  }
  int ByNumber(TblHandle h, uint32_t num, uint16_t sub) {
    Symptom &k = Key();
    k.Num = num;
    k.Sub = sub;
    return TblFindFullSymptom(h, s, 0, kFindEqual);
  }
  int ById(TblHandle h, int32_t id) {
    Symptom &k = Key();
    k.UniqueId = id;
    return TblFindFullSymptom(h, s, 8, kFindEqual);
  }
};

// The entry a handler works on: its text split into fields (joined again
// by OpEntryDone), its length, and the errors file its reports go to. A family
// of handlers that keeps more derives its own target from it.
struct OpTarget {
  LogEntry *entry;
  FILE *errors;
  size_t length; // of the whole text, to join it again
  FieldOffsets off;
};

// Field `n` of the split entry.
const char *OpEntryField(const OpTarget &t, int n);
// Reports the entry with the message and severity; answers `result`.
int OpEntryReport(OpTarget &t, int message, int severity, int result);
// The successful end: the text is one string again; answers 0.
int OpEntryDone(const OpTarget &t);

// A Note record cleared to be the key (num, sub), its texts read into the
// buffers given (none: the texts are not read).
void OpNoteKey(Note *n, uint32_t num, uint16_t sub, char *text1 = nullptr,
               char *text2 = nullptr);

// Frees the remedy array of SymptomRecord and forgets the cached remedy and
// author names and the last bad destination of a reference reported; the
// run calls it at its end.
void OpReleaseRecords();

// Finds the symptom of the entry into `found` (SymptomRecord for the
// handlers), whose remedy array is kept and reused. The text must be split
// (offsets). By unique id first when it lies in (0, 1000000) (a miss clears
// the entry's id), else by the exact path in the entry's language. A path
// that is not found is reported with 2628, severity 1, and answers 1. When
// the entry had no id the symptom's id is copied into it. Answers 0 when
// found.
int OpResolveSubject(LogEntry *entry, FILE *errors, TblHandle symptoms,
                     int *offsets, Symptom *found);

// The language of the entry's text, 1 or 2, from its split field 0.
int OpEntryLanguage(const char *text, const int *offsets);

// Finds a remedy or an author by abbreviation (key 1, exact) in the run's
// table into `found`. Answers 0 when found.
int OpFindRemedy(const char *abbrev, Remed *found);
int OpFindAuthor(const char *abbrev, Author *found);

// The abbreviations of a remedy and an author by id, cached for the run;
// the empty text when not in their tables.
const char *OpRemedyAbbrev(uint16_t id);
const char *OpAuthorAbbrev(uint16_t id);
