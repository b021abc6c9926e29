// Path services of the program: file and folder choosers that start in the
// right folder, conversions between chooser answers and stored paths, the
// search for a media file, remedy and author abbreviations, and the network
// localization that moves every path of an installation to a new base.
//
// All paths here are stored paths (backslashes, relative to the bin folder,
// at most kPathMax characters); only PlatRealPath turns them into paths of
// this system. Functions that answer a path take the buffer and its size.
#pragma once

#include "platform/xvt.h"
#include "store/store.h"

#include <cstddef>

// ---------------------------------------------------------------- choosers

// The open chooser: the file spec's name is emptied and its type set; the
// chooser starts in startFolder (a stored path) when it is given and
// exists, else in the current folder; the prompt is message `message`.
// The current folder is the same afterwards. Answers 1 for OK (the file spec
// then holds folder and name), 0 otherwise.
int FileChooseOpen(const char *type, FILE_SPEC *spec, int message,
                   const char *startFolder);
// The save chooser; the type is set only when one is given.
int FileChooseSave(const char *type, FILE_SPEC *spec, int message,
                   const char *startFolder);
// The folder chooser. Answers the folder chosen, in one static buffer; a
// Cancel leaves the buffer as the last answer left it.
const char *FolderChoose(WINDOW owner, const char *prompt);

// ---------------------------------------------------------------- paths

// Folder and name of a chooser's answer as one path: the name alone when
// the folder is empty, else the folder, a backslash when it has none at its
// end, and the name.
void PathOfFileSpec(const FILE_SPEC *spec, char *out, size_t cap);
// Makes a path under the program folder's parent relative ("..\\log\\x");
// either way the path comes out lower-cased. Rewrites path in place.
char *PathRelative(char *path, size_t cap);
// folder, a backslash, name, in one static buffer that the next call
// overwrites.
const char *PathJoin(const char *folder, const char *name);

// Kinds of media of MediaLocate.
inline constexpr int kMediaImage = 1;
inline constexpr int kMediaVideo = 2;
inline constexpr int kMediaSound = 3;
// Finds a media file: as given, else its name in ImageDir (images only),
// else in the folder of its kind (DefaultImage, DefaultVideo,
// DefaultSound). The empty text when it is nowhere, when its name holds the
// reserved word "ZORVEL", or when a folder on a drive is to be searched
// while WithMultiMedia is 0. Answers out.
char *MediaLocate(char *out, size_t cap, int kind, const char *file);

// ---------------------------------------------------------------- names

// The abbreviation of remedy `number` from the open remedy table. Answers 0
// when found (out holds it), 1 otherwise (out is empty).
int RemedyAbbrev(TblHandle table, int number, char *out, size_t cap);
// The same for authors. Only the lower 15 bits of the number count (the
// top bit marks a changed entry); 32000 is the pseudo-author "*qs", which
// needs no table.
int AuthorAbbrev(TblHandle table, int number, char *out, size_t cap);

// ---------------------------------------------------------------- network

// Rewrites one path to a new base: trailing blanks and backslashes of the
// base are removed (in base itself), then the path becomes base, "\\data\\"
// (dataFlag 1) or "\\" (0), and the last two components of the old path.
// Answers 0, or 1 when the new path would not fit in cap bytes: the path is
// then left as it was.
int NetRebase(char *base, char *path, size_t cap, int dataFlag);
// Rewrites the seven paths of every repertory and the path of every
// keynotes entry in the catalogue, the paths of the shared tables and the
// folder of the Dorval section in the configuration, and writes the
// configuration back. Answers 0, or the number of paths that did not fit
// their fields and were kept (the user is told).
int NetLocalize(char *base);
// The menu's command: asks for the base, then NetLocalize.
void NetLocalizeAsk();
// The command line's network base. A base that names no existing folder is
// refused with an error box and nothing is rewritten; answers 0 when the
// localization ran, 1 when it was refused.
int NetLocalizeCommandLine(char *base);
