#include "services/paths.h"

#include "platform/cp1252.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "services/ini.h"
#include "services/messages.h"
#include "store/strdate.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

// The buffers that FolderChoose and PathJoin answer.
char FolderChosen[kPathMax + 1];
char PathJoined[2 * (kPathMax + 1)];

// The folder where a chooser starts: the start folder when it can be had,
// else the default folder. The current folder moves there too, as the
// chooser of the old platform looked there.
void ChooserFolder(FILE_SPEC *spec, const char *startFolder) {
  xvt_fsys_get_default_dir(&spec->dir);
  DIRECTORY start;
  if (startFolder != nullptr && startFolder[0] != '\0' &&
      xvt_fsys_convert_str_to_dir(startFolder, &start)) {
    // "bin/../log" becomes "log": the answer's folder is shown to the user
    // and stored in paths.
    char canonical[PATH_MAX];
    if (realpath(start.path, canonical) != nullptr &&
        strlen(canonical) < sizeof start.path)
      StrCopy(start.path, canonical);
    xvt_fsys_set_dir(&start);
    spec->dir = start;
  }
}

// A file that can be opened for reading; a folder is none.
bool OpensAsFile(const char *path) {
  if (path == nullptr || path[0] == '\0' || PlatIsDir(path))
    return false;
  FILE *f = PlatOpenFile(path, "rb");
  if (f == nullptr)
    return false;
  fclose(f);
  return true;
}

// A folder on a drive may be a removable disc: while multimedia is off it
// is not searched.
bool FolderUnavailable(const char *folder) {
  return strchr(folder, ':') != nullptr && WithMultiMedia == 0;
}

// One path of the catalogue or the configuration, rebased; a path that no
// longer fits is kept and counted.
void Rebase(char *base, char *path, size_t cap, int dataFlag, int &kept,
            char (&firstKept)[kPathMax + 1]) {
  if (NetRebase(base, path, cap, dataFlag) != 0) {
    if (kept == 0)
      StrCopy(firstKept, path);
    ++kept;
  }
}

} // namespace

// ---------------------------------------------------------------- choosers

int FileChooseOpen(const char *type, FILE_SPEC *spec, int message,
                   const char *startFolder) {
  if (spec == nullptr)
    return 0;
  spec->name[0] = '\0';
  StrCopy(spec->type, type);
  DbVirtualClose(2);
  xvt_fsys_save_dir();
  ChooserFolder(spec, startFolder);
  FL_STATUS status = xvt_dm_post_file_open(spec, MsgText(message));
  xvt_fsys_restore_dir();
  return status == FL_OK ? 1 : 0;
}

int FileChooseSave(const char *type, FILE_SPEC *spec, int message,
                   const char *startFolder) {
  if (spec == nullptr)
    return 0;
  spec->name[0] = '\0';
  if (type != nullptr && type[0] != '\0')
    StrCopy(spec->type, type);
  // The prompt is taken before the folder work, which may read messages.
  char prompt[sizeof MsgRec.Text];
  StrCopy(prompt, MsgText(message));
  DbVirtualClose(2);
  xvt_fsys_save_dir();
  ChooserFolder(spec, startFolder);
  FL_STATUS status = xvt_dm_post_file_save(spec, prompt);
  xvt_fsys_restore_dir();
  return status == FL_OK ? 1 : 0;
}

const char *FolderChoose(WINDOW, const char *prompt) {
  char chosen[sizeof FolderChosen];
  if (xvt_dm_post_folder(prompt, chosen, sizeof chosen) != FL_OK)
    return FolderChosen;
  // The folder without "..\" detours, in the text form of stored paths.
  std::string real;
  char canonical[PATH_MAX];
  if (PlatRealPath(chosen, real) &&
      realpath(real.c_str(), canonical) != nullptr) {
    for (char *c = canonical; *c != '\0'; ++c)
      if (*c == '/')
        *c = '\\';
    StrCopy(chosen, canonical);
  }
  StrCopy(FolderChosen, chosen);
  return FolderChosen;
}

// ---------------------------------------------------------------- paths

void PathOfFileSpec(const FILE_SPEC *spec, char *out, size_t cap) {
  if (out == nullptr || cap == 0)
    return;
  out[0] = '\0';
  if (spec == nullptr)
    return;
  char folder[sizeof spec->dir.path];
  if (spec->dir.path[0] == '\0' ||
      !xvt_fsys_convert_dir_to_str(&spec->dir, folder, sizeof folder))
    folder[0] = '\0';
  if (folder[0] == '\0') {
    StrCopy(out, cap, spec->name);
    return;
  }
  size_t n = strlen(folder);
  if (folder[n - 1] != '\\')
    StrAppend(folder, "\\");
  StrFormat(out, cap, "%s%s", folder, spec->name);
}

char *PathRelative(char *path, size_t cap) {
  if (path == nullptr || cap == 0)
    return path;
  DbToLower(path);
  DIRECTORY dir;
  char parent[sizeof dir.path];
  if (!xvt_fsys_get_default_dir(&dir) ||
      !xvt_fsys_convert_dir_to_str(&dir, parent, sizeof parent))
    return path;
  DbToLower(parent);
  char *last = strrchr(parent, '\\');
  if (last == nullptr)
    return path;
  last[1] = '\0'; // the parent folder, with its backslash
  size_t n = strlen(parent);
  if (strncmp(path, parent, n) != 0)
    return path;
  char relative[2 * (kPathMax + 1)];
  StrFormat(relative, "..\\%s", path + n);
  StrCopy(path, cap, relative);
  return path;
}

const char *PathJoin(const char *folder, const char *name) {
  StrFormat(PathJoined, "%s\\%s", folder ? folder : "", name ? name : "");
  return PathJoined;
}

char *MediaLocate(char *out, size_t cap, int kind, const char *file) {
  if (out == nullptr || cap == 0)
    return out;
  out[0] = '\0';
  if (file == nullptr || file[0] == '\0')
    return out;
  char upper[kPathMax + 1];
  StrCopy(upper, file);
  DbToUpper(upper);
  if (strstr(upper, "ZORVEL") != nullptr)
    return out;

  DbVirtualClose(2);
  if (OpensAsFile(file)) {
    StrCopy(out, cap, file);
    return out;
  }
  const char *slash = strrchr(file, '\\');
  const char *name = slash != nullptr ? slash + 1 : file;

  if (kind == kMediaImage) {
    if (FolderUnavailable(ImageDir))
      return out;
    const char *inImages = PathJoin(ImageDir, name);
    if (OpensAsFile(inImages)) {
      StrCopy(out, cap, inImages);
      return out;
    }
  }
  const char *folder = kind == kMediaImage   ? DefaultImage
                       : kind == kMediaVideo ? DefaultVideo
                       : kind == kMediaSound ? DefaultSound
                                             : nullptr;
  if (folder == nullptr || FolderUnavailable(folder))
    return out;
  const char *inDefault = PathJoin(folder, name);
  if (OpensAsFile(inDefault))
    StrCopy(out, cap, inDefault);
  return out;
}

// ---------------------------------------------------------------- names

// The old program kept a cache of abbreviations in front of the tables, but
// nothing ever filled it: the tables decide, and so they do here.

int RemedyAbbrev(TblHandle table, int number, char *out, size_t cap) {
  if (out == nullptr || cap == 0)
    return 1;
  out[0] = '\0';
  Remed rec;
  TblClearRemed(&rec);
  rec.CursorState = 0xFF;
  rec.Id = static_cast<uint16_t>(number);
  if (number < 0 || number > 0xFFFF ||
      TblFindFullRemed(table, &rec, 0, kFindEqual) != 0 || OrvixError != 0)
    return 1;
  StrCopy(out, cap, rec.Abbrev);
  return 0;
}

int AuthorAbbrev(TblHandle table, int number, char *out, size_t cap) {
  if (out == nullptr || cap == 0)
    return 1;
  out[0] = '\0';
  uint16_t id = static_cast<uint16_t>(number) & kAuthorMask;
  if (id == kAuthorQs) {
    StrCopy(out, cap, "*qs");
    return 0;
  }
  Author rec;
  TblClearAuthor(&rec);
  rec.CursorState = 0xFF;
  rec.Id = id;
  if (TblFindFullAuthor(table, &rec, 0, kFindEqual) != 0 || OrvixError != 0)
    return 1;
  StrCopy(out, cap, rec.Abbrev);
  return 0;
}

// ---------------------------------------------------------------- network

int NetRebase(char *base, char *path, size_t cap, int dataFlag) {
  if (base == nullptr || path == nullptr || cap == 0)
    return 1;
  StrRemoveTrailer(base, ' ');
  StrRemoveTrailer(base, '\\');

  // The last two components of the old path; a path that ends in a
  // backslash keeps one component and that backslash.
  const char *kept = path;
  const char *last = strrchr(path, '\\');
  if (last != nullptr) {
    const char *before = last;
    while (before > path && before[-1] != '\\')
      --before;
    if (before > path)
      kept = before;
  }
  char rebased[4 * (kPathMax + 1)];
  size_t n =
      StrFormat(rebased, "%s%s%s", base, dataFlag ? "\\data\\" : "\\", kept);
  if (n + 1 > cap || n + 1 >= sizeof rebased)
    return 1;
  StrCopy(path, cap, rebased);
  return 0;
}

int NetLocalize(char *base) {
  if (base == nullptr)
    return 0;
  int kept = 0;
  char firstKept[kPathMax + 1] = "";

  TblHandle catalog = TblOpenCatalog(CatalogCatalogName, 1, 1);
  if (OrvixError == 0) {
    Catalog rec;
    memset(&rec, 0, sizeof rec);
    rec.CursorState = 0xFF;
    TblFindFullCatalog(catalog, &rec, 0, kFindFirst);
    while (OrvixError == 0) {
      if (rec.Kind == 1) {
        for (char(&p)[101] : rec.RepertoryBlock.Paths)
          Rebase(base, p, sizeof p, 1, kept, firstKept);
        TblSaveCatalog(catalog, &rec, kSaveReplace);
      } else if (rec.Kind == 2) {
        Rebase(base, rec.KeynoteBlock.Folder, sizeof rec.KeynoteBlock.Folder, 1,
               kept, firstKept);
        TblSaveCatalog(catalog, &rec, kSaveReplace);
      }
      if (OrvixError != 0) {
        int error = OrvixError;
        xvt_dm_post_error(MsgText(3346), error);
        break;
      }
      TblFindFullCatalog(catalog, &rec, 0, kFindNext);
    }
    DbCloseFile(catalog);
  }

  Rebase(base, RemedyCatalogName, sizeof RemedyCatalogName, 0, kept, firstKept);
  Rebase(base, AuthorCatalogName, sizeof AuthorCatalogName, 0, kept, firstKept);
  Rebase(base, PatientCatalogName, sizeof PatientCatalogName, 0, kept,
         firstKept);
  Rebase(base, CasesCatalogName, sizeof CasesCatalogName, 0, kept, firstKept);
  IniWrite(1);

  if (kept > 0)
    xvt_dm_post_error("%d paths are too long for their fields under the new "
                      "base and were kept as they were, the first: %s",
                      kept, firstKept);
  return kept;
}

void NetLocalizeAsk() {
  char base[101] = "";
  if (xvt_dm_post_string_prompt(MsgText(5527), base, sizeof base) == nullptr)
    return;
  NetLocalize(base);
}

int NetLocalizeCommandLine(char *base) {
  // The base is tested as it will be used: without trailing blanks and
  // backslashes ("..\\net\\ " names "..\\net").
  if (base != nullptr) {
    StrRemoveTrailer(base, ' ');
    StrRemoveTrailer(base, '\\');
  }
  if (base == nullptr || base[0] == '\0' || !PlatIsDir(base)) {
    // A mistyped word must not rewrite every path of an installation.
    xvt_dm_post_error("The network base %s is no existing folder: no path "
                      "has been changed.",
                      base ? base : "");
    return 1;
  }
  NetLocalize(base);
  return 0;
}
