// The configuration file orvix.ini: reading at start, rewriting in place.
//
// One keyword table ties each key of the file to its section, its value type
// and its variable (config.h); the reader, the writer and the defaults all run
// from it. A few keys stand outside the table and go through the
// private-profile calls (platform/profile.h) on the same file. The writer
// keeps every line it does not own: comments, blank lines, unknown keys and
// other sections survive a rewrite in their order.
#pragma once

#include "services/config.h"

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------- table

// Value types of a row. A negative type -n is a text of at most n characters.
inline constexpr int8_t kIniInt32 = 1;
inline constexpr int8_t kIniSwitch = 2; // no row uses it at present
inline constexpr int8_t kIniColor = 3;
inline constexpr int8_t kIniInertName = 4;  // KeynotesFontName: read, not used
inline constexpr int8_t kIniInertStyle = 5; // KeynotesFontStyle: likewise
inline constexpr int8_t kIniQuoted8 = 6;    // text of 8 between double quotes
inline constexpr int8_t kIniByte = 7;
inline constexpr int8_t kIniFont = 8;
inline constexpr int8_t kIniFloat = 9;
inline constexpr int8_t kIniInt16 = 10;

inline constexpr uint8_t kIniNoFont = 255;

struct Keyword {
  const char *name; // as written in the file, mixed case
  int8_t type;
  void *target; // bound by IniBindTargets; null writes "name=NULL"
  uint8_t fontIndex;
  int16_t section; // 1 to 16; negative while IniWrite marks it as written
  // What IniBindTargets binds the row to, and the default as written in the
  // file (null for fonts and the inert rows, which have their own defaults).
  void *home;
  const char *defaultText;
};

inline constexpr int kKeywordCount = 217;
// 217 named rows and a closing row with no name.
extern Keyword Keywords[kKeywordCount + 1];

inline constexpr int kIniSectionCount = 17; // 17 exists but has no keys
// IniSections[1] to [16]; [0] and [17] are empty texts.
extern const char *const IniSections[kIniSectionCount + 1];

// ---------------------------------------------------------------- state

inline constexpr int kIniFileNameSize = 260;
extern char IniFileName[kIniFileNameSize]; // stored path, backslashes kept
extern int16_t IniOnCommandLine;           // set by the process entry

// Where IniMatchKeyword starts its next search.
extern int IniCursor;

// Called with 3 before IniWrite rewrites the file, so the store gives back
// file handles (DbVirtualClose). Null until the start sequence sets it.
extern void (*IniVirtualCloseHook)(int);

// Longest line the reader looks at, without its line end; the rest of a
// longer line is passed over.
inline constexpr int kIniLineMax = 254;

inline constexpr const char *kIniErrorFile = "orvixerror.txt";
inline constexpr const char *kIniTempFile = "temp.ini";

// ---------------------------------------------------------------- calls

// Fixes IniFileName: a name without a backslash lies in the current folder.
void IniSetPath(const char *name);

// The whole read: defaults, the file (or a file of defaults when there is
// none), the error file "orvixerror.txt" in the current folder, the keys
// outside the table, and IniApplyFonts. Answers 0, or 12 when the file could
// neither be read nor written (the defaults then hold).
int IniRead();

// Defaults of one section's keys (1 to 17).
void IniSetDefaults(int section);
// Binds one row of Keywords to its variable.
void IniBindTargets(int row);
// Parses text by the row's type into its variable. A colour value is
// lower-cased in place.
void IniStoreValue(int row, char *text);

// Reads "fg,bg,family,style,size" into a font; fields behind the last comma
// keep their values. The text may be changed in place.
void IniParseFont(IniFont *font, const char *text);
// The file form of a font, with its trailing newline.
size_t IniFontText(const IniFont *font, char *buf, size_t cap);
// Computes the applied family, style and size of every font object.
void IniApplyFonts();

// Rewrites the file: the keys of `section` take their current values, all
// other lines stay as they are; -1 changes no key. Writes "temp.ini" in the
// current folder and renames it over the file; then writes ShowNote,
// ShowMark, AuthorWithNoteObject and AuthorXXXObject by the private-profile
// calls. Answers 0, or 12 when the file could not be rewritten (the old file
// is then untouched).
int IniWrite(int section);

// The key of a file line: what stands before the "=", blanks removed,
// lower-cased. Answers its length.
size_t IniKeyOfLine(const char *line, char *key, size_t cap);
// The row whose lower-cased name begins with key, searching from IniCursor
// round the table; -1 when none.
int IniMatchKeyword(const char *key);

// ExtendSize from "System section" (default 0), stored in ExtendSize.
long IniReadExtendSize();
// LookLight from "System section", default 1; read on the first call only.
int IniLookLight();
// Set once LookLight has been read.
extern uint8_t LookLightKnown;
