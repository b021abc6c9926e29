// The private-profile calls on an ini file, with the semantics the main
// application relies on: the first match of section and key, both compared
// without regard to case; a default when absent. The file name is a stored
// path and goes through PlatRealPath. Texts are single bytes.
#pragma once

#include <cstddef>

// Copies the value (or the default) into buf, at most size-1 characters, and
// answers the number of characters copied. A value keeps its inner blanks;
// blanks around it are dropped.
unsigned GetPrivateProfileStringA(const char *section, const char *key,
                                  const char *def, char *buf, unsigned size,
                                  const char *file);

// The value read as a decimal integer (leading digits, optional sign); the
// default when the key is absent.
unsigned GetPrivateProfileIntA(const char *section, const char *key, int def,
                               const char *file);

// Writes key=value into the section, replacing the first match in place;
// adds the section at the end of the file and the key at the end of its
// section when they are missing; a null value removes the key, a null key
// removes the section. The rewrite never loses the old file: it is written
// beside and renamed over. Answers nonzero on success.
int WritePrivateProfileStringA(const char *section, const char *key,
                               const char *value, const char *file);
