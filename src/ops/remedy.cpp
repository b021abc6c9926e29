#include "ops/remedy.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/chainlist.h"
#include "ops/subject.h"
#include "ops/views.h"
#include "platform/strutil.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// The entry of the pair (remedy, author) in the symptom's remedies, the
// user bit masked off; -1 when it is not there.
int FindPair(const Symptom &s, uint16_t remedyId, uint16_t authorId) {
  if (s.Remedies == nullptr)
    return -1;
  for (int i = 0; TblIsLastSymptomRemed(&s.Remedies[i]) != 2; ++i)
    if (s.Remedies[i].RemedyId == remedyId &&
        (s.Remedies[i].AuthorId & kAuthorMask) == authorId)
      return i;
  return -1;
}

int CountEntries(const SymptomRemedy *r) {
  int n = 0;
  if (r != nullptr)
    while (TblIsLastSymptomRemed(&r[n]) != 2)
      ++n;
  return n;
}

// An entry of a remedy operation taken apart: its split text and what it
// names. The symptom is SymptomRecord, which owns the remedy array.
struct RemedyTarget : OpTarget {
  Symptom *symptom;
  uint16_t remedyId;
  uint16_t authorId;
  char remedy[sizeof(Remed::Abbrev)];  // the abbreviations as the tables
  char author[sizeof(Author::Abbrev)]; // hold them
};

// The common start of the three operations: split the text, find the
// symptom, then the remedy and the author by abbreviation; a remedy or
// author that is not in its table is reported with `severity`. Answers 0,
// or 1 after the report.
int TakeApart(LogEntry *entry, const OpContext &ctx, int severity,
              RemedyTarget *t) {
  t->entry = entry;
  t->errors = ctx.errors;
  t->length = strlen(entry->text);
  LogSplitFields(entry->text, t->off);
  t->symptom = &SymptomRecord;
  if (OpResolveSubject(entry, ctx.errors, ctx.symptoms, t->off, t->symptom) !=
      0)
    return 1;
  Remed remed;
  if (OpFindRemedy(OpEntryField(*t, RemedyFields::kRemedy), &remed) != 0)
    return OpEntryReport(*t, kMsgRemedyNotFound, severity, 1);
  Author author;
  if (OpFindAuthor(OpEntryField(*t, RemedyFields::kAuthor), &author) != 0)
    return OpEntryReport(*t, kMsgAuthorNotFound, severity, 1);
  t->remedyId = remed.Id;
  t->authorId = author.Id;
  StrCopy(t->remedy, remed.Abbrev);
  StrCopy(t->author, author.Abbrev);
  return 0;
}

// The key of the first record of a remedy's Extract chain.
void ExtractKey(Extract *rec, uint16_t remedyId) {
  memset(rec, 0, sizeof *rec);
  rec->CursorState = 0xff;
  rec->RemedyId = remedyId;
  rec->Seq = 0;
}

// The key of the first note of a remedy on a symptom.
void NoteKey(Note *n, const Symptom &s, uint16_t remedyId) {
  memset(n, 0, sizeof *n);
  n->CursorState = 0xff;
  n->Num = s.Num;
  n->Sub = s.Sub;
  n->RemedyId = remedyId;
}

// Finds the Extract entry of the symptom and author under the remedy and
// makes its record the current one. The chain is in (Num, Sub) order, so a
// record is read whole only when its first and last entries (peeked) hold
// the symptom between them. Answers the entry's index in `rec`, or -1.
int FindExtractEntry(TblHandle extract, Extract *rec, uint16_t remedyId,
                     uint32_t num, uint16_t sub, uint16_t authorId) {
  auto before = [](uint32_t n1, uint16_t s1, uint32_t n2, uint16_t s2) {
    return n1 < n2 || (n1 == n2 && s1 < s2);
  };
  ExtractKey(rec, remedyId);
  for (int seq = 0; seq <= 255; ++seq) {
    rec->Seq = static_cast<uint8_t>(seq);
    ExtractEntry first, last;
    int count = 0;
    if (TblPeekExtract(extract, rec, &first, &last, &count) != 0)
      return -1;
    if (count == 0 || before(last.Num, last.Sub, num, sub))
      continue;
    if (before(num, sub, first.Num, first.Sub))
      return -1;
    if (TblFindFullExtract(extract, rec, 0, kFindEqual, nullptr) != 0)
      return -1;
    for (int i = 0;
         i < kListEntries - 1 && TblIsLastExtractSymptom(&rec->Entries[i]) != 2;
         ++i) {
      const ExtractEntry &e = rec->Entries[i];
      if (e.Num == num && e.Sub == sub &&
          (e.AuthorId & kAuthorMask) == authorId)
        return i;
    }
  }
  return -1;
}

// The remedy abbreviation as it sorts: "-" read as "/".
void SortForm(const char *abbrev, char *out, size_t cap) {
  StrCopy(out, cap, abbrev);
  for (char *p = out; *p != '\0'; ++p)
    if (*p == '-')
      *p = '/';
}

} // namespace

int OpCompareRemedyPlace(const char *ra, const char *aa, const char *rb,
                         const char *ab) {
  char a[32], b[32];
  SortForm(ra, a, sizeof a);
  SortForm(rb, b, sizeof b);
  int c = strcmp(a, b);
  return c != 0 ? c : strcmp(aa, ab);
}

int OpCountRemedies(const SymptomRemedy *remedies) {
  int count = 0;
  if (remedies == nullptr)
    return 0;
  for (int i = 0; TblIsLastSymptomRemed(&remedies[i]) != 2; ++i)
    if (i == 0 || remedies[i].RemedyId != remedies[i - 1].RemedyId)
      ++count;
  return count;
}

int OpChangeDegreeRun(LogEntry *entry, const OpContext &ctx) {
  RemedyTarget t;
  if (TakeApart(entry, ctx, 2, &t) != 0)
    return 1;
  Symptom &s = *t.symptom;
  int at = FindPair(s, t.remedyId, t.authorId);
  if (at < 0)
    return OpEntryReport(t, kMsgPairNotInSymptom, 2, 1);
  uint8_t degree =
      static_cast<uint8_t>(atoi(OpEntryField(t, RemedyFields::kNewDegree)));
  s.Remedies[at].Degree = degree;
  s.Remedies[at].AuthorId |= kAuthorUserBit;
  if (TblSaveSymptom(ctx.symptoms, &s, kSaveReplace) != 0)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  Extract rec;
  int i =
      FindExtractEntry(ctx.extract, &rec, t.remedyId, s.Num, s.Sub, t.authorId);
  if (i < 0)
    return OpEntryReport(t, kMsgNotInExtract, 1, 1);
  rec.Entries[i].Degree = degree;
  if (TblSaveExtract(ctx.extract, &rec, kSaveReplace) != 0)
    return OpEntryReport(t, kMsgExtractNotSaved, 1, 1);
  return OpEntryDone(t);
}

namespace {

// Deletes the notes of the target's remedy and author on its symptom; a
// note of another author under the same remedy is stepped over.
void DeleteNotes(const RemedyTarget &t, TblHandle notes) {
  const Symptom &s = *t.symptom;
  Note n;
  NoteKey(&n, s, t.remedyId);
  int err = TblFindFullNote(notes, &n, 0, kFindAtOrAfter);
  while (err == 0 && n.Num == s.Num && n.Sub == s.Sub &&
         n.RemedyId == t.remedyId) {
    if ((n.AuthorId & kAuthorMask) == t.authorId) {
      Note key = n;
      TblDeleteNote(notes);
      err = TblFindFullNote(notes, &key, 0, kFindAtOrAfter);
      n = key;
    } else {
      err = TblFindFullNote(notes, &n, 0, kFindNext);
    }
  }
}

} // namespace

int OpDeleteRemedyRun(LogEntry *entry, const OpContext &ctx) {
  RemedyTarget t;
  if (TakeApart(entry, ctx, 1, &t) != 0)
    return 1;
  Symptom &s = *t.symptom;
  int at = FindPair(s, t.remedyId, t.authorId);
  if (at < 0) // nothing to delete: a warning, the run goes on
    return OpEntryReport(t, kMsgPairNotInSymptom, 2, 2);

  // The notes of this remedy and author on the symptom go with it.
  if (ctx.notes != 0)
    DeleteNotes(t, ctx.notes);

  int count = CountEntries(s.Remedies);
  memmove(&s.Remedies[at], &s.Remedies[at + 1],
          sizeof(SymptomRemedy) * static_cast<size_t>(count - at));
  s.RemedyCount = static_cast<uint16_t>(OpCountRemedies(s.Remedies));
  if (TblSaveSymptom(ctx.symptoms, &s, kSaveReplace) != 0)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);

  // A missing extraction entry is no failure here.
  Extract rec;
  int i =
      FindExtractEntry(ctx.extract, &rec, t.remedyId, s.Num, s.Sub, t.authorId);
  if (i >= 0) {
    int n = ChainCountExtract(rec);
    memmove(&rec.Entries[i], &rec.Entries[i + 1],
            sizeof(ExtractEntry) * static_cast<size_t>(n - i));
    TblSaveExtract(ctx.extract, &rec, kSaveReplace);
  }
  return OpEntryDone(t);
}

namespace {

// The steps of an addition. Each answers 0 to go on, or the handler's
// result after its report.

// Meets the entries that the symptom has: the pair itself refuses the
// addition (2745, a warning); entries of the same remedy by other authors
// are merged by `merge`. A degree of 0 takes the degree of the entry at
// hand, whatever its remedy: in effect that of the first entry. When the
// remedy is new to the symptom, its count of remedies grows by one.
int MeetEntries(RemedyTarget &t, int merge, int *degree) {
  Symptom &s = *t.symptom;
  int count = CountEntries(s.Remedies);
  bool sameRemedy = false;
  for (int i = 0; i < count; ++i) {
    SymptomRemedy &e = s.Remedies[i];
    if (e.RemedyId == t.remedyId && (e.AuthorId & kAuthorMask) == t.authorId)
      return OpEntryReport(t, kMsgPairInSymptom, 2, 2);
    if (*degree == 0)
      *degree = e.Degree;
    if (e.RemedyId != t.remedyId)
      continue;
    sameRemedy = true;
    if (merge == kMergeLower && *degree < e.Degree)
      e.Degree = static_cast<uint8_t>(*degree);
    else if (merge == kMergeRaise && *degree > e.Degree)
      e.Degree = static_cast<uint8_t>(*degree);
    else if (merge == kMergeCheck && *degree != e.Degree) {
      if (t.entry->tag != kTagTakeDegree)
        return OpEntryReport(t, kMsgDegreeDiffers, 2, 2);
      *degree = e.Degree;
    }
  }
  if (!sameRemedy)
    s.RemedyCount = static_cast<uint16_t>(s.RemedyCount + 1);
  return 0;
}

// Puts the new entry into the symptom's remedy array at its place (by
// remedy, then author abbreviation) and saves the symptom.
int InsertIntoSymptom(RemedyTarget &t, TblHandle symptoms, int degree, int mark,
                      TblHandle views) {
  Symptom &s = *t.symptom;
  int count = CountEntries(s.Remedies);
  // Grow the array by one, with room for the terminator.
  SymptomRemedy *grown = TblAllocSymptomRemed(count + 2);
  if (grown == nullptr)
    return OpEntryReport(t, kMsgNoMemoryForRemedies, 1, 1);
  if (count > 0)
    memcpy(grown, s.Remedies,
           sizeof(SymptomRemedy) * static_cast<size_t>(count));
  TblFreeSymptomRemed(&s);
  s.Remedies = grown;

  int place = 0;
  while (place < count) {
    const SymptomRemedy &e = s.Remedies[place];
    if (OpCompareRemedyPlace(OpRemedyAbbrev(e.RemedyId),
                             OpAuthorAbbrev(e.AuthorId & kAuthorMask), t.remedy,
                             t.author) > 0)
      break;
    ++place;
  }
  memmove(&s.Remedies[place + 1], &s.Remedies[place],
          sizeof(SymptomRemedy) * static_cast<size_t>(count - place));
  SymptomRemedy &added = s.Remedies[place];
  added.RemedyId = t.remedyId;
  added.AuthorId = t.authorId;
  added.Degree = static_cast<uint8_t>(degree);
  added.ViewBits = 0;
  s.Remedies[count + 1] = SymptomRemedy{0, 0, 0, 0xffff};
  if (mark == 1)
    added.AuthorId |= kAuthorUserBit;
  if (views != 0) {
    added.ViewBits = OpViewBits(views, t.authorId);
    s.ViewMask = static_cast<uint16_t>(s.ViewMask | added.ViewBits);
  }
  if (TblSaveSymptom(symptoms, &s, kSaveReplace) != 0)
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  return 0;
}

// Puts the new entry into the remedy's Extract chain: a new first record
// when the remedy has none, else the sorted insert.
int InsertIntoExtract(RemedyTarget &t, TblHandle extract, int degree) {
  const Symptom &s = *t.symptom;
  ExtractEntry item{s.Num, s.Sub, static_cast<uint8_t>(degree), t.authorId, 0};
  Extract rec;
  ExtractKey(&rec, t.remedyId);
  int err;
  if (TblFindFullExtract(extract, &rec, 0, kFindEqual, nullptr) != 0) {
    ExtractKey(&rec, t.remedyId);
    rec.Entries[0] = item;
    rec.Entries[1] = ChainExtractTerminator();
    err = TblSaveExtract(extract, &rec, kSaveAdd);
  } else {
    err = ChainInsertExtract(extract, &rec, item);
  }
  if (err != 0)
    return OpEntryReport(t, kMsgExtractNotSaved, 1, 1);
  return 0;
}

// Writes the comment into the note of kind 3 of the new entry: appended
// behind a line end to the note that stands, else as a new note.
int AddComment(RemedyTarget &t, TblHandle notes, const char *comment,
               int degree) {
  static char text1[kNoteTextSize], text2[kNoteTextSize];
  Note n;
  NoteKey(&n, *t.symptom, t.remedyId);
  n.Degree = static_cast<uint8_t>(degree);
  n.AuthorId = t.authorId;
  n.NoteKind = 3;
  n.Text1 = text1;
  n.Text2 = text2;
  text1[0] = text2[0] = '\0';
  if (TblFindFullNote(notes, &n, 0, kFindEqual) == 0) {
    StrAppend(text1, "\n");
    StrAppend(text1, comment);
    if (TblSaveNote(notes, &n, kSaveReplace) != 0)
      return OpEntryReport(t, kMsgNoteNotSaved, 1, 1);
  } else {
    StrCopy(text1, comment);
    text2[0] = '\0';
    if (TblSaveNote(notes, &n, kSaveAdd) != 0)
      return OpEntryReport(t, kMsgNoteNotAdded, 1, 1);
  }
  return 0;
}

} // namespace

int OpAddRemedyEntry(LogEntry *entry, const OpContext &ctx, int mark,
                     int merge) {
  RemedyTarget t;
  if (TakeApart(entry, ctx, 1, &t) != 0)
    return 1;
  int degree = atoi(OpEntryField(t, RemedyFields::kDegree));
  if (int r = MeetEntries(t, merge, &degree); r != 0)
    return r;
  if (int r = InsertIntoSymptom(t, ctx.symptoms, degree, mark, ctx.views);
      r != 0)
    return r;
  if (int r = InsertIntoExtract(t, ctx.extract, degree); r != 0)
    return r;
  if (ctx.comment[0] != '\0' && ctx.notes != 0)
    if (int r = AddComment(t, ctx.notes, ctx.comment, degree); r != 0)
      return r;
  return OpEntryDone(t);
}

int OpAddRemedyRun(LogEntry *entry, const OpContext &ctx) {
  int r = OpAddRemedyEntry(entry, ctx, 1, kMergeCheck);
  if (r == 0)
    LogCountAddition(ctx.symptoms);
  return r;
}
