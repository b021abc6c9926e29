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

// Every byte converts; the five bytes the code page leaves undefined (0x81,
// 0x8D, 0x8F, 0x90, 0x9D) become the C1 controls of the same value, so any
// text comes back unchanged through Utf8ToCp1252.
std::string Cp1252ToUtf8(const std::string &s);
// Characters that code page 1252 cannot hold become '?'. A byte that starts
// no well-formed UTF-8 sequence is taken to be code page 1252 already and is
// kept as it stands, so a stray old-style text loses nothing.
std::string Utf8ToCp1252(const std::string &s);
