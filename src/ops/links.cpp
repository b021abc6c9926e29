#include "ops/links.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "ops/subject.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/paths.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace {

// The start shared by the two link operations: the symptom, the remedy
// and the author ("0" for none) into a Link record's key.
int TakeApart(LogEntry *entry, const OpContext &ctx, OpTarget *t, Link *link) {
  t->entry = entry;
  t->errors = ctx.errors;
  t->length = strlen(entry->text);
  LogSplitFields(entry->text, t->off);
  Symptom &s = SymptomRecord;
  if (OpResolveSubject(entry, ctx.errors, ctx.symptoms, t->off, &s) != 0)
    return 1;
  memset(link, 0, sizeof *link);
  link->CursorState = 0xff;
  link->Num = s.Num;
  link->Sub = s.Sub;
  if (strcmp(OpEntryField(*t, LinkFields::kRemedy), "0") != 0) {
    Remed remed;
    if (OpFindRemedy(OpEntryField(*t, LinkFields::kRemedy), &remed) != 0)
      return OpEntryReport(*t, kMsgRemedyNotFound, 1, 1);
    link->RemedyId = remed.Id;
  }
  if (strcmp(OpEntryField(*t, LinkFields::kAuthor), "0") != 0) {
    Author author;
    if (OpFindAuthor(OpEntryField(*t, LinkFields::kAuthor), &author) != 0)
      return OpEntryReport(*t, kMsgAuthorNotFound, 1, 1);
    link->AuthorId = author.Id;
  }
  link->Degree =
      static_cast<uint8_t>(atoi(OpEntryField(*t, LinkFields::kDegree)));
  link->LinkKind =
      static_cast<uint8_t>(atoi(OpEntryField(*t, LinkFields::kType)));
  return 0;
}

const char *FolderOfKind(int kind) {
  switch (kind) {
  case kLinkVideo:
    return DefaultVideo;
  case kLinkSound:
    return DefaultSound;
  case kLinkImage:
    return DefaultImage;
  default:
    return nullptr;
  }
}

int MediaKindOf(int kind) {
  return kind == kLinkVideo   ? kMediaVideo
         : kind == kLinkSound ? kMediaSound
                              : kMediaImage;
}

bool StartsWithFolded(const char *text, const char *prefix) {
  for (; *prefix != '\0'; ++prefix, ++text)
    if (tolower(static_cast<unsigned char>(*text)) !=
        tolower(static_cast<unsigned char>(*prefix)))
      return false;
  return true;
}

} // namespace

void OpLinkStoredFile(int kind, const char *file, char *out, size_t cap) {
  const char *folder = FolderOfKind(kind);
  size_t n = folder != nullptr ? strlen(folder) : 0;
  if (n > 0 && strlen(file) > n && StartsWithFolded(file, folder))
    file += n + 1;
  StrCopy(out, cap, file);
}

int OpAddLinkRun(LogEntry *entry, const OpContext &ctx) {
  OpTarget t;
  Link link;
  if (TakeApart(entry, ctx, &t, &link) != 0)
    return 1;
  const char *title = OpEntryField(t, LinkFields::kTitle);
  const char *file = OpEntryField(t, LinkFields::kFile);
  // Nothing is cut to fit: a title or file name too long is refused.
  if (strlen(title) >= sizeof link.Title || strlen(file) >= sizeof link.File)
    return OpEntryReport(t, kMsgTextTooLong, 1, 1);
  StrCopy(link.Title, title);
  OpLinkStoredFile(link.LinkKind, file, link.File, sizeof link.File);
  if (FolderOfKind(link.LinkKind) != nullptr) {
    char found[kPathMax + 1];
    if (MediaLocate(found, sizeof found, MediaKindOf(link.LinkKind),
                    link.File)[0] == '\0')
      return OpEntryReport(t, kMsgLinkFileNotFound, 1, 1);
  }
  if (ctx.links == 0 || TblSaveLink(ctx.links, &link, kSaveAdd) != 0 ||
      OrvixError != 0)
    return OpEntryReport(t, kMsgLinkNotSaved, 1, 1);
  return OpEntryDone(t);
}

int OpDeleteLinkRun(LogEntry *entry, const OpContext &ctx) {
  OpTarget t;
  Link key;
  if (TakeApart(entry, ctx, &t, &key) != 0)
    return 1;
  if (ctx.links == 0)
    return OpEntryDone(t); // no table, no link: nothing to delete
  Link found = key;
  if (TblFindFullLink(ctx.links, &found, 0, kFindAtOrAfter) == 0 &&
      OrvixError == 0 && found.Num == key.Num && found.Sub == key.Sub &&
      found.RemedyId == key.RemedyId &&
      (found.AuthorId & kAuthorMask) == key.AuthorId &&
      found.LinkKind == key.LinkKind) {
    if (TblDeleteLink(ctx.links) != 0 || OrvixError != 0)
      return OpEntryReport(t, kMsgLinkNotDeleted, 1, 1);
  }
  return OpEntryDone(t);
}

int OpChangeSymptomKindRun(LogEntry *entry, const OpContext &ctx) {
  OpTarget t{entry, ctx.errors, strlen(entry->text), {}};
  LogSplitFields(entry->text, t.off);
  Symptom &s = SymptomRecord;
  if (OpResolveSubject(entry, ctx.errors, ctx.symptoms, t.off, &s) != 0)
    return 1;
  const char *value = OpEntryField(t, KindFields::kNew);
  if (strlen(value) != 2 || !isdigit(static_cast<unsigned char>(value[0])) ||
      !isdigit(static_cast<unsigned char>(value[1])))
    return OpEntryReport(t, kMsgSymptomTypeNotDigits, 1, 1);
  s.SymptomType = static_cast<uint8_t>(value[0] - '0');
  s.SymptomSubType = static_cast<uint8_t>(value[1] - '0');
  if (TblSaveSymptom(ctx.symptoms, &s, kSaveReplace) != 0 || OrvixError != 0) {
    // Without a report file the failure counts as done.
    if (ctx.errors == nullptr)
      return OpEntryDone(t);
    return OpEntryReport(t, kMsgSymptomNotSaved, 1, 1);
  }
  return OpEntryDone(t);
}
