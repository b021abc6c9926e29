#include "ops/remedy.h"

#include "logentry/report.h"
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

// The common start: the symptom, then the remedy and author by name.
// Answers 0, or the result of the failure, which is reported.
int CommonStart(LogEntry *entry, FILE *errors, TblHandle symptoms, int *off,
                int severity) {
  if (OpResolveSubject(entry, errors, symptoms, off) != 0)
    return 1;
  if (OpFindRemedy(LogField(entry->text, off, 2)) != 0) {
    LogReportEntry(errors, 2736, entry, off, severity);
    return 1;
  }
  if (OpFindAuthor(LogField(entry->text, off, 3)) != 0) {
    LogReportEntry(errors, 2737, entry, off, severity);
    return 1;
  }
  return 0;
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
  memset(rec, 0, sizeof *rec);
  rec->CursorState = 0xff;
  rec->RemedyId = remedyId;
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

int OpChangeDegreeRun(LogEntry *entry, FILE *errors, TblHandle symptoms,
                      TblHandle extract, TblHandle, int) {
  char *text = entry->text;
  size_t length = strlen(text);
  FieldOffsets off;
  LogSplitFields(text, off);
  if (int r = CommonStart(entry, errors, symptoms, off, 2); r != 0)
    return r;
  Symptom &s = SymptomRecord;
  uint16_t remedyId = RemedRecord.Id, authorId = AuthorRecord.Id;
  int at = FindPair(s, remedyId, authorId);
  if (at < 0) {
    LogReportEntry(errors, 2738, entry, off, 2);
    return 1;
  }
  uint8_t degree = static_cast<uint8_t>(atoi(LogField(text, off, 5)));
  s.Remedies[at].Degree = degree;
  s.Remedies[at].AuthorId |= kAuthorUserBit;
  if (TblSaveSymptom(symptoms, &s, kSaveReplace) != 0) {
    LogReportEntry(errors, 2739, entry, off, 1);
    return 1;
  }
  Extract rec;
  int i = FindExtractEntry(extract, &rec, remedyId, s.Num, s.Sub, authorId);
  if (i < 0) {
    LogReportEntry(errors, 2740, entry, off, 1);
    return 1;
  }
  rec.Entries[i].Degree = degree;
  if (TblSaveExtract(extract, &rec, kSaveReplace) != 0) {
    LogReportEntry(errors, 2741, entry, off, 1);
    return 1;
  }
  LogJoinFields(text, length);
  return 0;
}

int OpDeleteRemedyRun(LogEntry *entry, FILE *errors, TblHandle symptoms,
                      TblHandle extract, TblHandle notes, TblHandle, int) {
  char *text = entry->text;
  size_t length = strlen(text);
  FieldOffsets off;
  LogSplitFields(text, off);
  if (int r = CommonStart(entry, errors, symptoms, off, 1); r != 0)
    return r;
  Symptom &s = SymptomRecord;
  uint16_t remedyId = RemedRecord.Id, authorId = AuthorRecord.Id;
  int at = FindPair(s, remedyId, authorId);
  if (at < 0) {
    // Nothing to delete: a warning, the run goes on.
    LogReportEntry(errors, 2738, entry, off, 2);
    return 2;
  }

  // The notes of this remedy and author on the symptom go with it.
  if (notes != 0) {
    Note n;
    memset(&n, 0, sizeof n);
    n.CursorState = 0xff;
    n.Num = s.Num;
    n.Sub = s.Sub;
    n.RemedyId = remedyId;
    int err = TblFindFullNote(notes, &n, 0, kFindAtOrAfter);
    while (err == 0 && n.Num == s.Num && n.Sub == s.Sub &&
           n.RemedyId == remedyId) {
      if ((n.AuthorId & kAuthorMask) == authorId) {
        Note key = n;
        TblDeleteNote(notes);
        err = TblFindFullNote(notes, &key, 0, kFindAtOrAfter);
        n = key;
      } else {
        err = TblFindFullNote(notes, &n, 0, kFindNext);
      }
    }
  }

  int count = CountEntries(s.Remedies);
  memmove(&s.Remedies[at], &s.Remedies[at + 1],
          sizeof(SymptomRemedy) * static_cast<size_t>(count - at));
  s.RemedyCount = static_cast<uint16_t>(OpCountRemedies(s.Remedies));
  if (TblSaveSymptom(symptoms, &s, kSaveReplace) != 0) {
    LogReportEntry(errors, 2739, entry, off, 1);
    return 1;
  }

  // A missing extraction entry is no failure here.
  Extract rec;
  int i = FindExtractEntry(extract, &rec, remedyId, s.Num, s.Sub, authorId);
  if (i >= 0) {
    int n = ChainCountExtract(rec);
    memmove(&rec.Entries[i], &rec.Entries[i + 1],
            sizeof(ExtractEntry) * static_cast<size_t>(n - i));
    TblSaveExtract(extract, &rec, kSaveReplace);
  }
  LogJoinFields(text, length);
  return 0;
}

int OpAddRemedyEntry(LogEntry *entry, FILE *errors, TblHandle symptoms,
                     TblHandle extract, TblHandle notes, TblHandle, int,
                     int mark, int merge, const char *comment,
                     TblHandle views) {
  char *text = entry->text;
  size_t length = strlen(text);
  FieldOffsets off;
  LogSplitFields(text, off);
  if (int r = CommonStart(entry, errors, symptoms, off, 1); r != 0)
    return r;
  Symptom &s = SymptomRecord;
  uint16_t remedyId = RemedRecord.Id, authorId = AuthorRecord.Id;
  int degree = atoi(LogField(text, off, 4));

  int count = CountEntries(s.Remedies);
  bool sameRemedy = false;
  for (int i = 0; i < count; ++i) {
    SymptomRemedy &e = s.Remedies[i];
    if (e.RemedyId == remedyId && (e.AuthorId & kAuthorMask) == authorId) {
      LogReportEntry(errors, 2745, entry, off, 2);
      return 2;
    }
    // A degree of 0 takes the degree of the entry at hand, whatever its
    // remedy: in effect that of the first entry.
    if (degree == 0)
      degree = e.Degree;
    if (e.RemedyId != remedyId)
      continue;
    sameRemedy = true;
    if (merge == kMergeLower && degree < e.Degree)
      e.Degree = static_cast<uint8_t>(degree);
    else if (merge == kMergeRaise && degree > e.Degree)
      e.Degree = static_cast<uint8_t>(degree);
    else if (merge == kMergeCheck && degree != e.Degree) {
      if (entry->tag == kTagTakeDegree) {
        degree = e.Degree;
      } else {
        LogReportEntry(errors, 5364, entry, off, 2);
        return 2;
      }
    }
  }
  if (!sameRemedy)
    s.RemedyCount = static_cast<uint16_t>(s.RemedyCount + 1);

  // Grow the array by one, with room for the terminator.
  SymptomRemedy *grown = TblAllocSymptomRemed(count + 2);
  if (grown == nullptr) {
    LogReportEntry(errors, 2743, entry, off, 1);
    return 1;
  }
  if (count > 0)
    memcpy(grown, s.Remedies,
           sizeof(SymptomRemedy) * static_cast<size_t>(count));
  TblFreeSymptomRemed(&s);
  s.Remedies = grown;

  const char *newRemedy = RemedRecord.Abbrev;
  const char *newAuthor = AuthorRecord.Abbrev;
  int place = 0;
  while (place < count) {
    const SymptomRemedy &e = s.Remedies[place];
    if (OpCompareRemedyPlace(OpRemedyAbbrev(e.RemedyId),
                             OpAuthorAbbrev(e.AuthorId & kAuthorMask),
                             newRemedy, newAuthor) > 0)
      break;
    ++place;
  }
  memmove(&s.Remedies[place + 1], &s.Remedies[place],
          sizeof(SymptomRemedy) * static_cast<size_t>(count - place));
  SymptomRemedy &added = s.Remedies[place];
  added.RemedyId = remedyId;
  added.AuthorId = authorId;
  added.Degree = static_cast<uint8_t>(degree);
  added.ViewBits = 0;
  s.Remedies[count + 1] = SymptomRemedy{0, 0, 0, 0xffff};
  if (mark == 1)
    added.AuthorId |= kAuthorUserBit;
  if (views != 0) {
    added.ViewBits = OpViewBits(views, authorId);
    s.ViewMask = static_cast<uint16_t>(s.ViewMask | added.ViewBits);
  }
  if (TblSaveSymptom(symptoms, &s, kSaveReplace) != 0) {
    LogReportEntry(errors, 2739, entry, off, 1);
    return 1;
  }

  ExtractEntry item{s.Num, s.Sub, static_cast<uint8_t>(degree), authorId, 0};
  Extract rec;
  memset(&rec, 0, sizeof rec);
  rec.CursorState = 0xff;
  rec.RemedyId = remedyId;
  rec.Seq = 0;
  int err;
  if (TblFindFullExtract(extract, &rec, 0, kFindEqual, nullptr) != 0) {
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xff;
    rec.RemedyId = remedyId;
    rec.Seq = 0;
    rec.Entries[0] = item;
    rec.Entries[1] = ChainExtractTerminator();
    err = TblSaveExtract(extract, &rec, kSaveAdd);
  } else {
    err = ChainInsertExtract(extract, &rec, item);
  }
  if (err != 0) {
    LogReportEntry(errors, 2741, entry, off, 1);
    return 1;
  }

  if (comment != nullptr && comment[0] != '\0' && notes != 0) {
    static char text1[kNoteTextSize], text2[kNoteTextSize];
    Note n;
    memset(&n, 0, sizeof n);
    n.CursorState = 0xff;
    n.Num = s.Num;
    n.Sub = s.Sub;
    n.RemedyId = remedyId;
    n.Degree = static_cast<uint8_t>(degree);
    n.AuthorId = authorId;
    n.NoteKind = 3;
    n.Text1 = text1;
    n.Text2 = text2;
    text1[0] = text2[0] = '\0';
    if (TblFindFullNote(notes, &n, 0, kFindEqual) == 0) {
      StrAppend(text1, "\n");
      StrAppend(text1, comment);
      if (TblSaveNote(notes, &n, kSaveReplace) != 0) {
        LogReportEntry(errors, 2750, entry, off, 1);
        return 1;
      }
    } else {
      StrCopy(text1, comment);
      text2[0] = '\0';
      if (TblSaveNote(notes, &n, kSaveAdd) != 0) {
        LogReportEntry(errors, 2749, entry, off, 1);
        return 1;
      }
    }
  }
  LogJoinFields(text, length);
  return 0;
}

int OpAddRemedyRun(LogEntry *entry, FILE *errors, TblHandle symptoms,
                   TblHandle extract, TblHandle notes, TblHandle assoc,
                   int silent, const char *comment, TblHandle views) {
  int r = OpAddRemedyEntry(entry, errors, symptoms, extract, notes, assoc,
                           silent, 1, kMergeCheck, comment, views);
  if (r == 0)
    LogCountAddition(symptoms);
  return r;
}
