// The reference text of symptoms. A symptom's cross-references and
// synonyms are stored as text: either words, "(= words)", or a list of
// entries divided by " / ", each entry a level digit 1 to 9 and a path of
// level texts joined by " - ". The digit is the level at which the path
// begins: with digit d the first d - 1 levels are the source symptom's own
// ancestors, so in a symptom of chapter 'Mind' the entry '2fear - night'
// names 'Mind - fear - night' and '1Head - pain' a symptom of another
// chapter.
//
// These routines resolve an entry to the symptom it names, take a list
// apart, sort it, and rewrite it in the stored form of a repertory:
// normalised against the tree (reference style 1) or shortened to the
// chapter (style 2, the repertories whose format byte is 5). A level text
// is matched without regard to letter case, and a text that begins a
// symptom's text names it (the shortest such text first): "dark" names
// "dark, of" where no "dark" stands.
//
// Languages here are 0 (the first) and 1 (the second). Texts are code page
// 1252.
#pragma once

#include "store/store.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// What a symptom record holds: a list of cross-references, of synonyms.
inline constexpr size_t kRefCrossRefLimit = sizeof(Symptom::CrossRef1) - 1;
inline constexpr size_t kRefSynonymLimit = sizeof(Symptom::Synonym1) - 1;
// The work text of a merge: the old list and the new entries together.
inline constexpr size_t kRefWorkLimit = 4096;
// A list that is rewritten holds at most this many entries of at most
// kRefEntryLimit characters.
inline constexpr int kRefListMax = 255;
inline constexpr size_t kRefEntryLimit = 1023;
// The separator of entries.
inline constexpr const char *kRefSeparator = " / ";

// How a normalised level text is written: as the repertory stores it
// (kRefCaseStored), or folded by its level (level 1 in capitals, level 2
// with a capital first letter, deeper levels in lower case; kRefCaseLevel3
// writes level 3 as level 2).
inline constexpr int kRefCaseStored = 0;
inline constexpr int kRefCaseByLevel = 1;
inline constexpr int kRefCaseLevel3 = 2;

// Whether a text is a list of entries: it begins with a level digit.
bool RefIsList(const char *text);

// The words of a stored field that the word index takes: the text inside
// "(= ...)", a text in words as it stands, nothing for a list or an empty
// field.
std::string RefWordsOf(const char *field);

// Resolves `reference`, an entry of the list of symptom (num, sub), in
// `language`, and answers 0 with the symptom it names in (outNum, outSub);
// non-zero when it names none. With a report file a failure is written
// there: "Syntax of %s   : %s (%s)\n" for an entry without its level digit
// or path, "Bad destination %s : %s (%s)\n" for a path that leads nowhere,
// each with `label`, the source's path (first language) and the reference;
// a bad destination is written once for a run of the same reference. The
// table's current record is changed.
int RefResolve(TblHandle symptoms, uint32_t num, uint16_t sub,
               const char *reference, int language, FILE *report,
               const char *label, uint32_t *outNum, uint16_t *outSub);

// Forgets the last bad destination reported, so that the next run reports
// it again (OpReleaseRecords calls it at the end of a run).
void RefForgetReported();

// Splits a list into its entries. An entry ends at a "/" followed by a
// blank when the next entry begins there (a level digit, or the end of the
// list): a " / " inside a level text stays in it. Blanks are cut from both
// ends of an entry, "-" from its end; empty entries are left out. Answers
// the number of entries; fills `entries` when it is given.
int RefSplitList(const char *list, std::vector<std::string> *entries);

// Sorts the entries: deeper level digits first, then by the rest of the
// entry in capitals. Answers whether anything moved.
bool RefSortList(std::vector<std::string> *entries);

// Of equal entries keeps one.
void RefDropDuplicates(std::vector<std::string> *entries);

// The entries joined by " / ", empty ones left out.
std::string RefJoinList(const std::vector<std::string> &entries);

// Rewrites each entry of the list against the tree, from symptom
// (num, sub): every level text that names a symptom is written as the
// symptom's text (in `caseMode`), and the leading levels that the entry
// shares with the source are dropped, its digit raised for each. A level
// that names nothing is kept as given, with all behind it. Entries that do
// not begin with a digit are kept. Answers 0, or 1 when the source symptom
// cannot be read (the list is then left alone).
int RefNormalizeList(TblHandle symptoms, uint32_t num, uint16_t sub,
                     std::string *list, int language, int caseMode);

// The second style: every entry that resolves (as it stands, else in lower
// case) and holds more than one level is written from the symptom it
// names, as "2" and its path below the chapter when it lies in the chapter
// of the source, else as "1" and its whole path. Others are kept.
void RefShortenList(TblHandle symptoms, uint32_t num, uint16_t sub,
                    std::vector<std::string> *entries, int language);
