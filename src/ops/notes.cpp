#include "ops/notes.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/subject.h"
#include "platform/strutil.h"

#include <cstdlib>
#include <cstring>

namespace {

// The note buffers of the handler, one for each language.
char NoteText1[kNoteTextSize];
char NoteText2[kNoteTextSize];

// The first entry of the pair in the symptom's remedies, the user bit
// masked off; -1 when it is not there.
int FindPair(const Symptom &s, uint16_t remedyId, uint16_t authorId) {
  for (int i = 0;
       s.Remedies != nullptr && TblIsLastSymptomRemed(&s.Remedies[i]) != 2; ++i)
    if (s.Remedies[i].RemedyId == remedyId &&
        (s.Remedies[i].AuthorId & kAuthorMask) == authorId)
      return i;
  return -1;
}

// Finds the note of the symptom, remedy, author and type into `n` (whose
// text buffers are the handler's); the degree is not compared. True when
// found; the note is then the table's current record.
bool FindNote(TblHandle notes, Note *n, const Symptom &s, uint16_t remedyId,
              uint16_t authorId, uint8_t kind) {
  memset(n, 0, sizeof *n);
  n->CursorState = 0xff;
  n->Num = s.Num;
  n->Sub = s.Sub;
  n->RemedyId = remedyId;
  n->Text1 = NoteText1;
  n->Text2 = NoteText2;
  for (int err = TblFindFullNote(notes, n, 0, kFindAtOrAfter);
       err == 0 && OrvixError == 0 && n->Num == s.Num && n->Sub == s.Sub &&
       n->RemedyId == remedyId;
       err = TblFindFullNote(notes, n, 0, kFindNext))
    if ((n->AuthorId & kAuthorMask) == authorId && n->NoteKind == kind)
      return true;
  return false;
}

} // namespace

void OpAppendNoteText(char *stored, size_t cap, const char *added) {
  size_t rule = strlen(kNoteAppendRule);
  size_t limit = cap - 1 < kNoteTextLimit ? cap - 1 : kNoteTextLimit;
  if (strlen(stored) + kNoteAppendRoom + strlen(added) > limit)
    StrCopy(stored, cap, added);
  // The rule and the text follow only where they fit whole: a note is
  // never cut.
  if (strlen(stored) + rule + strlen(added) <= limit) {
    StrAppend(stored, cap, kNoteAppendRule);
    StrAppend(stored, cap, added);
  }
}

int OpChangeNoteRun(LogEntry *entry, const OpContext &ctx) {
  OpTarget t{entry, ctx.errors, strlen(entry->text), {}};
  LogSplitFields(entry->text, t.off);
  Symptom &s = SymptomRecord;
  if (OpResolveSubject(entry, ctx.errors, ctx.symptoms, t.off, &s) != 0)
    return 1;
  uint16_t remedyId = 0, authorId = 0;
  if (strcmp(OpEntryField(t, NoteFields::kRemedy), "0") != 0) {
    Remed remed;
    if (OpFindRemedy(OpEntryField(t, NoteFields::kRemedy), &remed) != 0)
      return OpEntryReport(t, kMsgRemedyNotFound, 1, 1);
    remedyId = remed.Id;
  }
  if (strcmp(OpEntryField(t, NoteFields::kAuthor), "0") != 0) {
    Author author;
    if (OpFindAuthor(OpEntryField(t, NoteFields::kAuthor), &author) != 0)
      return OpEntryReport(t, kMsgAuthorNotFound, 1, 1);
    authorId = author.Id;
  }
  int degree = atoi(OpEntryField(t, NoteFields::kDegree));
  if (remedyId != 0) {
    int at = FindPair(s, remedyId, authorId);
    if (at < 0)
      return OpEntryReport(t, kMsgPairNotInSymptom, 2, 1);
    if (s.Remedies[at].Degree != degree)
      return OpEntryReport(t, kMsgDegreeDiffers, 2, 2);
  }
  const char *oldText = OpEntryField(t, NoteFields::kOldText);
  const char *newText = OpEntryField(t, NoteFields::kNewText);
  // A text that the note cannot hold whole is refused, never cut.
  if (strlen(newText) > kNoteTextLimit)
    return OpEntryReport(t, kMsgTextTooLong, 1, 1);
  if (ctx.notes == 0)
    return OpEntryReport(t, kMsgNoteNotAdded, 1, 1);
  bool second = strcmp(OpEntryField(t, NoteFields::kLanguage), "0") != 0;
  uint8_t kind = static_cast<uint8_t>(atoi(OpEntryField(t, NoteFields::kType)));

  Note n;
  if (FindNote(ctx.notes, &n, s, remedyId, authorId, kind)) {
    char *text = second ? NoteText2 : NoteText1;
    if (ctx.replaceNotes != 0 || strcmp(text, oldText) == 0)
      StrCopy(text, kNoteTextSize, newText);
    else
      OpAppendNoteText(text, kNoteTextSize, newText);
    if (NoteText1[0] == '\0' && NoteText2[0] == '\0') {
      if (TblDeleteNote(ctx.notes) != 0 || OrvixError != 0)
        return OpEntryReport(t, kMsgNoteNotDeleted, 1, 1);
    } else if (TblSaveNote(ctx.notes, &n, kSaveReplace) != 0 ||
               OrvixError != 0) {
      return OpEntryReport(t, kMsgNoteNotSaved, 1, 1);
    }
    return OpEntryDone(t);
  }
  // No note yet: an empty text makes none.
  if (newText[0] == '\0')
    return OpEntryDone(t);
  memset(&n, 0, sizeof n);
  n.CursorState = 0xff;
  n.Num = s.Num;
  n.Sub = s.Sub;
  n.RemedyId = remedyId;
  n.AuthorId = authorId;
  n.Degree = static_cast<uint8_t>(degree);
  n.NoteKind = kind;
  n.Text1 = NoteText1;
  n.Text2 = NoteText2;
  StrCopy(second ? NoteText2 : NoteText1, kNoteTextSize, newText);
  (second ? NoteText1 : NoteText2)[0] = '\0';
  if (TblSaveNote(ctx.notes, &n, kSaveAdd) != 0 || OrvixError != 0)
    return OpEntryReport(t, kMsgNoteNotAdded, 1, 1);
  return OpEntryDone(t);
}
