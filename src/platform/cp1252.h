// Code page 1252, the single-byte encoding of every text Mantrel stores.
// Folding knows the accented letters; conversion to UTF-8 happens only where
// a person reads the text (screen, terminal, JSON dumps).
#pragma once

#include <string>

// Fold a zero-terminated text in place, accented letters included.
void DbToUpper(char *s);
void DbToLower(char *s);
// One character folded the same way as DbToLower.
char ToLowerWin(char c);
// Replaces the character with its plain-ASCII likeness ('é' -> 'e').
void Win2Asc(char *c);

std::string Cp1252ToUtf8(const std::string &s);
// Characters that code page 1252 cannot hold become '?'.
std::string Utf8ToCp1252(const std::string &s);
