// The consistency check of a repertory: whether its tables agree with one
// another as the operations keep them in step. Every fault is named through
// the caller's report function, one text a fault:
//
// - every remedy entry of a symptom has its Extract entry (same remedy,
//   symptom and author) with the same degree, and every Extract entry its
//   remedy entry;
// - each remedy's Extract chain runs Seq 0, 1, ... with every record
//   terminated, its entries in (Num, Sub) order through the whole chain;
// - RemedyCount is the number of distinct remedies of the symptom, and the
//   remedy array holds each (remedy, author) pair once;
// - a symptom's parent exists, its level is one below its parent's (1 for
//   a chapter) and its chapter is its parent's;
// - notes and links name existing symptoms (a link of a deleted symptom
//   is kept by design, see below);
// - every Word entry names an existing symptom whose text, synonym or
//   reference in words holds the word (word1 the first language, word2 the
//   second), and every word of a synonym or reference in words is in the
//   word table of its language under its symptom;
//
// Operations that keep further tables in step extend the check with them.
#pragma once

#include <cstddef>

// Receives one fault as a text of code page 1252.
typedef void (*VerifyReport)(const char *fault, void *context);

// Checks the repertory whose tables lie in `folder` (a stored path, with or
// without its closing backslash: symptom, extract, word1, word2, Note,
// Link). The store must be started. Answers 0 when all agree, else the
// number of faults; a table that cannot be opened is a fault (Note and Link
// may be missing: a repertory gets them with its first note or link).
// Answers -1 when the progress hook (store/progress.h) stopped the check.
int VerifyRepertory(const char *folder, VerifyReport report, void *context);

// Leftovers that the operations' rules keep on purpose are no faults: an
// Extract entry that holds the user bit on the list's side and names a
// deleted symptom (a deletion leaves it), a link of a deleted symptom (a
// deletion does not touch links). The check names each of them through
// this function when it is set (tbltool prints them as "kept"), and counts
// them apart; they never count as faults.
extern VerifyReport VerifyKeptReport;
extern void *VerifyKeptContext;
// How many such leftovers the last check met.
extern int VerifyKeptCount;

// The concept links between a repertory (its tables in `folder`) and its
// concept partner (in `conceptFolder`, which holds the concept table
// "extrspt"): every record of Direction 2 names a symptom of the
// repertory and lists symptoms of the partner, every record of Direction 1
// the reverse, each chain runs Seq 0, 1, ... in (Num, Sub) order, and
// every link stands in both directions. Answers the number of faults, -1
// when the progress hook stopped the check.
int VerifyConcepts(const char *folder, const char *conceptFolder,
                   VerifyReport report, void *context);

// At most this many faults are named; the count goes on beyond.
inline constexpr int kVerifyMaxReported = 200;
