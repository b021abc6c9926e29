// Stored paths and real paths. Every path that Mantrel keeps in a table, a
// configuration file or a log is a text with backslashes, relative to the
// current folder (the installation's bin folder), at most 255 characters.
// This is the one place that turns such a text into a path of this system:
// backslashes become separators, each component is found without regard to
// letter case, and a drive prefix ("C:") is resolved through the environment
// variable MANTREL_DRIVE_C (one per letter). Nothing else in the program
// builds real paths by hand.
#pragma once

#include <cstddef>
#include <string>

inline constexpr size_t kPathMax =
    255; // longest stored path, without terminator

// Resolves a stored path. Existing components are matched without regard to
// case (an exact match wins); the remaining components keep the case given.
// Answers false when the path cannot be had: too long, an unmapped drive, or
// an empty text. `real` is then left empty.
bool PlatRealPath(const char *stored, std::string &real);

// A stored path as a dialog shows it: a folder of this system given
// absolutely (one leading backslash, as "\tmp\demo\BACKUP") is written with
// slashes, as Linux writes it ("/tmp/demo/BACKUP"); relative paths, drive
// paths and network paths ("\\server\share") are shown as stored.
std::string PlatPathShown(const char *stored);
// What a person typed into a path field, in stored form: slashes become
// backslashes. Answers false when it does not fit in cap bytes (out is then
// empty).
bool PlatPathTyped(const char *typed, char *out, size_t cap);
