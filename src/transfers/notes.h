// Notes in bulk: the upload of a note text file into a repertory's Note
// table (the verb /NOTES), and the clean-up of the paragraphs that appending
// notes in a log run may have doubled.
//
// The note text file holds one note a line, fields divided by "|":
// kind | full symptom text in language 2 | remedy number (0: a note on the
// symptom) | degree | author number | text in language 1 | text in
// language 2. A backslash in a text stands for a line break. What cannot be
// placed is told in "noteerr.txt" (unknown symptom, remedy not on the
// symptom, a line or text that does not fit) and "noteerr2.txt" (a degree
// that differs from the symptom's, replaced by it), both in the current
// folder.
#pragma once

#include "platform/xvt.h"

#include <cstddef>

// The verb: uploads NotesFile into the repertory folder NotesFolder under
// the Progress window, then ends the program.
void DriverNotes();

// The upload itself, as the verb runs it but without ending the program:
// opens the tables and files, runs the job under the Progress window,
// closes everything. Start-up failures are told by a note and upload
// nothing. Answers 0, or 1 when the upload could not start.
int NotesUpload(const char *folder, const char *file);

// The counts of the last upload: lines read, notes added, notes replaced,
// lines told in the error files.
struct NotesUploadCounts {
  long lines, added, replaced, refused, degreeChanged;
};
extern NotesUploadCounts NotesLastUpload;

// After a run that changed notes: removes from the first-language text of
// every note of the current repertory a paragraph that is repeated right
// behind itself, so that a note appended twice or three times with the same
// text holds it once. Runs under its own Progress window.
void DoubleNoteCleanup();

// The clean-up of one text, in place: answers true when a paragraph was
// removed. A text that begins with a dash line is left alone.
bool NoteRemoveDoubledParagraphs(char *text);

// The number of notes the last clean-up changed.
extern long NotesLastCleanupChanged;
