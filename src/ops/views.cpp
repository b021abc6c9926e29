#include "ops/views.h"

#include "platform/strutil.h"
#include "services/messages.h"
#include "store/strdate.h"

#include <cstring>
#include <new>

std::vector<uint16_t> ViewAuthorIds;
bool ViewAuthorIdsLoaded = false;
TblHandle ViewAuthorTable = 0;

namespace {

void LoadAuthorIds() {
  if (ViewAuthorIdsLoaded || ViewAuthorTable == 0)
    return;
  int saved = OrvixError;
  long count = DbCountEntries(ViewAuthorTable);
  try {
    ViewAuthorIds.reserve(count > 0 ? static_cast<size_t>(count) : 0);
  } catch (const std::bad_alloc &) {
    xvt_dm_post_error("%s", MsgText(5517));
    OrvixError = saved;
    return;
  }
  Author a;
  memset(&a, 0, sizeof a);
  a.CursorState = 0xff;
  for (int err = TblFindAuthor(ViewAuthorTable, &a, 0, kFindFirst); err == 0;
       err = TblFindAuthor(ViewAuthorTable, &a, 0, kFindNext))
    ViewAuthorIds.push_back(a.Id);
  ViewAuthorIdsLoaded = true;
  OrvixError = saved;
}

} // namespace

uint16_t OpViewBits(TblHandle views, uint16_t authorId) {
  LoadAuthorIds();
  if (views == 0)
    return 0;
  unsigned id = authorId & 0x7fffu;
  uint8_t mask = static_cast<uint8_t>(0x80u >> (id & 7u));
  size_t index = id / 8;
  uint16_t bits = 0;
  View v;
  memset(&v, 0, sizeof v);
  v.CursorState = 0xff;
  for (int err = TblFindFullView(views, &v, 1, kFindFirst); err == 0;
       err = TblFindFullView(views, &v, 1, kFindNext)) {
    if (v.ViewNumber < 1 || v.ViewNumber > 16 || index >= sizeof v.AuthorBits)
      continue;
    uint16_t bit = static_cast<uint16_t>((1u << (v.ViewNumber - 1)) & 0x7fffu);
    if ((v.AuthorBits[index] & mask) != 0)
      bits = static_cast<uint16_t>(bits | bit);
  }
  return bits;
}

int OpHistoryEntry(const char *symptomPath, int32_t oldId, int32_t newId) {
  if (oldId == 0)
    return 0;
  char comment[513] = "";
  if (xvt_dm_post_string_prompt("Enter a comment for the unique id historic",
                                comment, 512) == nullptr)
    comment[0] = '\0';
  char path[256];
  StrCopy(path, symptomPath);
  char *cut = strrchr(path, '\\');
  if (cut != nullptr)
    cut[1] = '\0';
  else
    path[0] = '\0';
  StrAppend(path, "histoid");

  TblHandle h = TblOpenHistoId(path, 1, 1);
  if (OrvixError == kErrNoFile)
    h = TblCreateHistoId(path, 1, 1);
  if (OrvixError != 0) {
    TblRebuildHistoId(path, 1, 1);
    h = TblOpenHistoId(path, 1, 1);
  }
  if (OrvixError != 0 || h == 0) {
    int err = OrvixError;
    xvt_dm_post_note("Error %d while opening historic '%s'", err, path);
    return err != 0 ? err : kErrNoFile;
  }
  HistoId rec;
  memset(&rec, 0, sizeof rec);
  rec.CursorState = 0xff;
  rec.Id = oldId;
  rec.ReplacedBy = newId;
  long today = 0;
  DateToday(&today);
  rec.Date = static_cast<int32_t>(today);
  StrCopy(rec.Comment, comment);
  int err = TblSaveHistoId(h, &rec, kSaveAdd);
  if (err == 0)
    xvt_dm_post_note("Historic id has been updated");
  else
    xvt_dm_post_note("Error %d while saving historic", err);
  DbCloseFile(h);
  return err;
}
