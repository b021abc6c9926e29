#include "transfers/notes.h"

#include "platform/files.h"
#include "platform/strutil.h"
#include "services/messages.h"
#include "services/work.h"
#include "session/session.h"
#include "store/sptpath.h"
#include "store/store.h"
#include "store/strdate.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

NotesUploadCounts NotesLastUpload = {0, 0, 0, 0, 0};
long NotesLastCleanupChanged = 0;

namespace {

// A line holds at most 9999 characters; a text at most what a note holds.
constexpr size_t kLineSize = 10000;
constexpr size_t kTextMax = kNoteTextSize - 1;
// The progress shows a fixed total: it only tells that the job is alive.
constexpr long kProgressTotal = 1131;
constexpr const char *kWaitText = "Bitte Warten ... / Please wait...";
constexpr int kNoteFields = 7;

// What the job of the Progress window works on.
struct Upload {
  TblHandle symptoms = 0, notes = 0;
  FILE *input = nullptr, *err = nullptr, *err2 = nullptr;
  char *text1 = nullptr, *text2 = nullptr, *line = nullptr;
};
Upload U;

// Reads one line into U.line without its line end. Answers false at the
// end of the file; *whole is false when the line was longer than the
// buffer (the rest is passed over, nothing is cut into a note).
bool ReadNoteLine(bool *whole) {
  size_t n = 0;
  int c;
  bool any = false;
  *whole = true;
  while ((c = getc_unlocked(U.input)) != EOF) {
    any = true;
    if (c == '\n')
      break;
    if (n + 1 < kLineSize)
      U.line[n++] = static_cast<char>(c);
    else
      *whole = false;
  }
  U.line[n] = '\0';
  return any;
}

// Splits a line at its bars into at most kNoteFields fields; answers the
// number of fields the line has (more than kNoteFields when a text holds a
// bar, which nothing escapes).
int SplitBars(char *line, char *fields[kNoteFields]) {
  static char empty[1] = "";
  for (int i = 0; i < kNoteFields; ++i)
    fields[i] = empty;
  int count = 0;
  char *p = line;
  while (true) {
    char *bar = strchr(p, '|');
    if (count < kNoteFields)
      fields[count] = p;
    ++count;
    if (bar == nullptr)
      break;
    *bar = '\0';
    p = bar + 1;
  }
  return count;
}

// A note text as the file writes it: blanks around it trimmed, line ends
// and backslashes cut at its end. The backslashes inside stay until the
// text is stored (LineBreaks), so that an error line quotes it on one line.
void TrimNoteText(char *text) {
  StrRemoveTrailer(text, '\n');
  StrRemoveTrailer(text, '\r');
  StrRemoveTrailer(text, '\\');
  size_t n = strlen(text);
  while (n > 0 && text[n - 1] == ' ')
    text[--n] = '\0';
  size_t b = 0;
  while (text[b] == ' ')
    ++b;
  if (b > 0)
    memmove(text, text + b, n - b + 1);
}

// Every backslash of a stored text is a line break.
void LineBreaks(char *text) {
  for (char *p = text; *p != '\0'; ++p)
    if (*p == '\\')
      *p = '\n';
}

// One line of the file.
void UploadLine(long lineNumber, Symptom &sym) {
  char *f[kNoteFields];
  int count = SplitBars(U.line, f);
  int kind = atoi(f[0]);
  char *path = f[1];
  for (char *p = path; *p != '\0'; ++p)
    if (static_cast<unsigned char>(*p) == 150)
      *p = '-';
  if (count > kNoteFields) {
    fprintf(U.err, "Line %ld has more than %d fields: not loaded: %s\n",
            lineNumber, kNoteFields, path);
    ++NotesLastUpload.refused;
    return;
  }
  uint32_t num = 0;
  uint16_t sub = 0;
  bool symptomFound =
      GetSptNumFromExactText(U.symptoms, 2, path, &num, &sub) == 0;
  if (symptomFound) {
    TblFreeSymptomRemed(&sym);
    memset(&sym, 0, sizeof sym);
    sym.CursorState = 0xff;
    sym.Num = num;
    sym.Sub = sub;
    symptomFound = TblFindFullSymptom(U.symptoms, &sym, 0, kFindEqual) == 0;
  }
  int remedy = atoi(f[2]);
  int degree = atoi(f[3]);
  int author = atoi(f[4]);
  TrimNoteText(f[5]);
  TrimNoteText(f[6]);
  for (char *t : {f[5], f[6]})
    if (strlen(t) > kTextMax) {
      fprintf(U.err,
              "Note text of %zu characters, more than %zu, not loaded for "
              "%s %d|%d|%d|%d\n",
              strlen(t), kTextMax, path, kind, remedy, degree, author);
      ++NotesLastUpload.refused;
      return;
    }

  bool remedyFound = remedy == 0;
  if (!remedyFound && symptomFound) {
    for (const SymptomRemedy *r = sym.Remedies; TblIsLastSymptomRemed(r) == 1;
         ++r) {
      if (r->RemedyId == remedy &&
          (r->AuthorId & kAuthorMask) == (author & kAuthorMask)) {
        remedyFound = true;
        if (r->Degree != degree) {
          fprintf(U.err2,
                  "%s|%d|%d|Different degree in note (%d), replaced by "
                  "(%d)\n",
                  path, remedy, author, degree, r->Degree);
          ++NotesLastUpload.degreeChanged;
          degree = r->Degree;
        }
        break;
      }
    }
  }
  if (!remedyFound) {
    if (symptomFound)
      fprintf(U.err,
              "Remedy not found %d Degree %d Author Id %d for symptom %s\n",
              remedy, degree, author, path);
    else
      fprintf(U.err, "Symptom not found for author note%s | %s\n", path, f[5]);
    ++NotesLastUpload.refused;
    return;
  }
  if (!symptomFound) {
    // Only a note on the symptom itself comes here: a remedy cannot be
    // found on a symptom that is not there.
    fprintf(U.err, "Symptom not found: %s | %s\n", path, f[5]);
    ++NotesLastUpload.refused;
    return;
  }
  if (f[5][0] == '\0' && f[6][0] == '\0')
    return;

  Note n;
  memset(&n, 0, sizeof n);
  n.CursorState = 0xff;
  n.Text1 = U.text1;
  n.Text2 = U.text2;
  auto fill = [&]() {
    n.Num = num;
    n.Sub = sub;
    n.RemedyId = static_cast<uint16_t>(remedy);
    n.Degree = static_cast<uint8_t>(degree);
    n.AuthorId = static_cast<uint16_t>(author);
    n.NoteKind = static_cast<uint8_t>(kind);
    StrCopy(U.text1, kNoteTextSize, f[5]);
    StrCopy(U.text2, kNoteTextSize, f[6]);
    LineBreaks(U.text1);
    LineBreaks(U.text2);
  };
  fill();
  TblSaveNote(U.notes, &n, kSaveAdd);
  int error = OrvixError;
  if (error == 0) {
    ++NotesLastUpload.added;
    return;
  }
  if (error == kErrDuplicate) {
    // The note is there already: its texts are replaced.
    TblFindFullNote(U.notes, &n, 0, kFindEqual);
    error = OrvixError;
    if (error == 0) {
      fill();
      TblSaveNote(U.notes, &n, kSaveReplace);
      error = OrvixError;
    }
    if (error == 0) {
      ++NotesLastUpload.replaced;
      return;
    }
  }
  fprintf(U.err, "Error %d while REPLACING note in %s %d|%d|%d|%d\n", error,
          path, kind, remedy, degree, author);
  ++NotesLastUpload.refused;
}

void UploadJob(WINDOW) {
  WorkProgress(0, kProgressTotal, kWaitText, nullptr);
  Symptom sym;
  memset(&sym, 0, sizeof sym);
  sym.CursorState = 0xff;
  long lineNumber = 0;
  bool whole;
  while (WorkKeepGoing && ReadNoteLine(&whole)) {
    ++lineNumber;
    ++NotesLastUpload.lines;
    WorkProgress(lineNumber < kProgressTotal ? lineNumber : kProgressTotal,
                 kProgressTotal, kWaitText, nullptr);
    if (!whole) {
      fprintf(U.err, "Line %ld is longer than %zu characters: not loaded\n",
              lineNumber, kLineSize - 1);
      ++NotesLastUpload.refused;
      continue;
    }
    size_t n = strlen(U.line);
    if (n > 0 && U.line[n - 1] == '\r')
      U.line[--n] = '\0';
    if (n <= 10)
      continue;
    xvt_app_process_pending_events();
    UploadLine(lineNumber, sym);
  }
  TblFreeSymptomRemed(&sym);
  fflush(U.err);
  fflush(U.err2);
  WorkClose();
}

void CloseAll() {
  for (TblHandle *h : {&U.symptoms, &U.notes})
    if (*h != 0) {
      DbCloseFile(*h);
      *h = 0;
    }
  for (FILE **f : {&U.input, &U.err, &U.err2})
    if (*f != nullptr) {
      fclose(*f);
      *f = nullptr;
    }
}

} // namespace

int NotesUpload(const char *folder, const char *file) {
  NotesLastUpload = NotesUploadCounts{0, 0, 0, 0, 0};
  std::unique_ptr<char[]> text1(new (std::nothrow) char[kNoteTextSize]);
  if (!text1) {
    xvt_dm_post_note("Error allocating note language 1 buffer");
    return 1;
  }
  std::unique_ptr<char[]> text2(new (std::nothrow) char[kNoteTextSize]);
  if (!text2) {
    xvt_dm_post_note("Error allocating note language 2 buffer");
    return 1;
  }
  U = Upload{};
  char path[300];
  StrFormat(path, "%s\\symptom", folder);
  U.symptoms = TblOpenSymptom(path, 1, 1);
  if (OrvixError != 0 || U.symptoms == 0) {
    U.symptoms = 0;
    xvt_dm_post_note("Symptom file is not opened...");
    return 1;
  }
  StrFormat(path, "%s\\note", folder);
  U.notes = TblOpenNote(path, 1, 1);
  if (OrvixError != 0 || U.notes == 0) {
    U.notes = 0;
    xvt_dm_post_note("Note file is not opened...");
    CloseAll();
    return 1;
  }
  U.input = PlatOpenFile(file, "rb");
  if (U.input == nullptr) {
    xvt_dm_post_note("Input (text)  file is not opened...");
    CloseAll();
    return 1;
  }
  std::unique_ptr<char[]> line(new (std::nothrow) char[kLineSize]);
  if (!line) {
    xvt_dm_post_note("Error allocating read buffer");
    CloseAll();
    return 1;
  }
  DbVirtualClose(2);
  U.err = PlatOpenFile("noteerr.txt", "wb");
  if (U.err == nullptr) {
    xvt_dm_post_note("Cannot open file 'noteerr.txt'");
    CloseAll();
    return 1;
  }
  U.err2 = PlatOpenFile("noteerr2.txt", "wb");
  if (U.err2 == nullptr) {
    xvt_dm_post_note("Cannot open file 'noteerr2.txt'");
    CloseAll();
    return 1;
  }
  U.text1 = text1.get();
  U.text2 = text2.get();
  U.line = line.get();
  WorkRun(UploadJob);
  CloseAll();
  U = Upload{};
  return 0;
}

void DriverNotes() {
  if (NotesUpload(NotesFolder, NotesFile) != 0)
    SessionFail(1);
  SessionEnd();
}

// ---------------------------------------------------------------- clean-up

namespace {

constexpr const char *kDivider = "----------";

size_t SkipOf(const char *text, size_t at, const char *chars) {
  while (text[at] != '\0' && strchr(chars, text[at]) != nullptr)
    ++at;
  return at;
}

// A paragraph from `begin` to `end`, without the blanks and line ends
// that trail it.
std::string Paragraph(const char *text, size_t begin, size_t end) {
  std::string p(text + begin, end - begin);
  for (char c : {' ', '\n', ' ', '\n'})
    while (!p.empty() && p.back() == c)
      p.pop_back();
  return p;
}

void CleanupJob(WINDOW) {
  NotesLastCleanupChanged = 0;
  std::unique_ptr<char[]> text1(new (std::nothrow) char[kNoteTextSize]);
  std::unique_ptr<char[]> text2(new (std::nothrow) char[kNoteTextSize]);
  if (!text1 || !text2) {
    xvt_dm_post_note("Error allocating note buffer");
    WorkClose();
    return;
  }
  char path[300];
  StrFormat(path, "%s%s", CurrentCatalog.RepertoryBlock.Paths[kCatFolder],
            "Note");
  TblHandle h = TblOpenNote(path, 0, 1);
  if (OrvixError != 0 || h == 0) {
    int err = OrvixError;
    xvt_dm_post_note(MsgText(2626), path, err);
    WorkClose();
    return;
  }
  char line1[120];
  StrCopy(line1, MsgText(2623));
  long total = DbCountEntries(h);
  WorkProgress(0, total > 0 ? total : 1, line1, nullptr);
  Note n;
  memset(&n, 0, sizeof n);
  n.CursorState = 0xff;
  n.Text1 = text1.get();
  n.Text2 = text2.get();
  long done = 0;
  int r = TblFindFullNote(h, &n, 1, kFindFirst);
  while (WorkKeepGoing && r == 0 && OrvixError == 0) {
    WorkProgress(++done, total > 0 ? total : 1, nullptr, nullptr);
    xvt_app_process_pending_events();
    if (NoteRemoveDoubledParagraphs(n.Text1)) {
      TblSaveNote(h, &n, kSaveReplace);
      ++NotesLastCleanupChanged;
    }
    r = TblFindFullNote(h, &n, 1, kFindNext);
  }
  DbCloseFile(h);
  WorkProgress(100, 100, nullptr, nullptr);
  WorkClose();
}

} // namespace

bool NoteRemoveDoubledParagraphs(char *text) {
  if (text == nullptr || strncmp(text, "-------", 7) == 0)
    return false;
  bool changed = false;
  size_t pos = 0;
  while (true) {
    size_t a = SkipOf(text, pos, " -");
    const char *d = strstr(text + a, kDivider);
    if (d == nullptr)
      break;
    size_t divider = static_cast<size_t>(d - text);
    size_t b = SkipOf(text, divider, "-\n");
    b = SkipOf(text, b, "- ");
    if (text[b] == '\0')
      break;
    const char *next = strstr(text + b, kDivider);
    size_t bEnd =
        next != nullptr ? static_cast<size_t>(next - text) : strlen(text);
    size_t bStart = SkipOf(text, b, " ");
    if (Paragraph(text, a, divider) == Paragraph(text, bStart, bEnd)) {
      StrCut(text, static_cast<int>(a), static_cast<int>(b) - 1);
      changed = true;
      pos = a;
    } else {
      pos = b;
    }
  }
  if (changed)
    for (char c : {'\n', '-', '\n', '-'})
      StrRemoveTrailer(text, c);
  return changed;
}

void DoubleNoteCleanup() {
  WorkRun(CleanupJob);
}
