// Files and folders by stored path. Every function here takes stored paths
// (backslashes, relative to the current folder, any letter case, at most 255
// characters) and resolves them with PlatRealPath, so no caller ever builds a
// real path by hand. Functions answer 0 for success or one of the error codes
// below; the tests answer bool. After a failure PlatLastErrno holds the
// operating system's errno of the step that failed (0 when none applies).
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

inline constexpr int kPlatOk = 0;
inline constexpr int kPlatErrPath = 1;      // empty, too long or unmapped path
inline constexpr int kPlatErrNotFound = 2;  // the source or folder is missing
inline constexpr int kPlatErrExists = 3;    // the target exists already
inline constexpr int kPlatErrIo = 4;        // reading, writing or renaming
inline constexpr int kPlatErrNotDir = 5;    // a folder was expected
inline constexpr int kPlatErrNoStartup = 6; // no start-up folder recorded
inline constexpr int kPlatErrStart = 7;     // a program could not be started

extern int PlatLastErrno;

// Absolute real folders; empty until set.
extern std::string PlatStartupDir; // by PlatSetStartupDir
extern std::string PlatSavedDir;   // by PlatSaveDir

// fopen through PlatRealPath; null (errno set) when the path can't be had.
FILE *PlatOpenFile(const char *storedPath, const char *mode);

// Copies a file. An existing target is replaced, unless failIfExists, which
// then answers kPlatErrExists. The copy is written beside the target and
// renamed over it, so a failed copy leaves the old target as it was.
int PlatCopyFile(const char *from, const char *to, bool failIfExists);

// Moves a file: a rename where the file system allows it, otherwise a copy
// with overwrite and then the deletion of the source. Two names for the same
// file (they differ in case only) leave it alone.
int FileMove(const char *from, const char *to);

// Deletes a file (not a folder). A missing file answers kPlatErrNotFound.
int PlatDeleteFile(const char *path);

// Creates one folder; its parent must exist. A folder that exists already
// answers 0; a file of that name answers kPlatErrExists.
int PlatCreateDir(const char *path);
// Creates a folder and every missing folder along its path.
int PlatCreateDirs(const char *path);

bool PlatFileExists(const char *path); // a file or a folder
// Reads one line of a text file into buf (at most size - 1 bytes), without
// its line end; the rest of a longer line is passed over, never taken for a
// line of its own. Answers false at the end of the file.
bool PlatReadLine(FILE *f, char *buf, int size);
bool PlatIsDir(const char *path);
// Size in bytes of a file.
int PlatFileSize(const char *path, long long *size);

// One name found in a folder, as it is spelt on disk.
struct PlatDirEntry {
  std::string Name;
  bool IsDir;
  long long Size; // 0 for a folder
};

// Lists the entries of a folder whose names match the pattern without regard
// to case: "*" any run of characters, "?" exactly one, "*.*" everything (as
// the Windows calls have it). "." and ".." are never listed. Entries come out
// sorted by name. With filesOnly, folders are left out.
int PlatListDir(const char *folder, const char *pattern, bool filesOnly,
                std::vector<PlatDirEntry> &entries);
// The same with folder and pattern in one text: "..\\cases\\*.da1". A spec
// without a backslash lists the current folder.
int PlatFindFiles(const char *spec, bool filesOnly,
                  std::vector<PlatDirEntry> &entries);
// The pattern test itself, in code page 1252 folding.
bool PlatWildcardMatch(const char *pattern, const char *name);

// The current folder as an absolute real path, cut to cap-1 characters.
int PlatGetCurrentDir(char *buf, size_t cap);
// Makes a stored path the current folder.
int PlatSetCurrentDir(const char *path);
// One saved folder, as a file chooser needs it: save, wander, restore.
int PlatSaveDir();
int PlatRestoreDir();

// Records the current folder as the start-up folder; called once at start.
int PlatSetStartupDir();
// Goes back to the start-up folder (when a window takes the focus).
int PlatGoToStartupDir();

// The stored path as an absolute real path, for a program that is started
// from elsewhere and must find the file. Answers kPlatErrPath when the path
// can't be had.
int PlatAbsolutePath(const char *storedPath, std::string &absolute);
