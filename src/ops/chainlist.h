// The sorted insert into a chained list. Extract, ExSp and Word records hold
// a fixed number of entries; a list longer than one record goes on in
// records of the same key with Seq 1, 2, ... Entries run in (Num, Sub)
// order through the whole chain. An insert that finds its record full
// (249 entries or more) splits it: the records behind move up by one Seq,
// and the tail of the full record goes into a new record right behind it.
//
// The walk peeks at the records it passes (their first and last entries)
// and reads whole only the record it changes, so it relies on the chain
// being in order, as every writer here keeps it.
//
// Each call takes the table and the record as the caller found it: the
// first record of the key (Seq 0, found with mode 4), which is also the
// table's current record. It may walk on to later records of the chain.
// On return the record holds the last record written. Answers 0, or 1 when
// a save failed (OrvixError tells why); what was saved before stays saved.
#pragma once

#include "store/store.h"

// An entry stands in a record with fewer than this many entries; a record
// that holds as many splits on the next insert.
inline constexpr int kChainSplitAt = 249;
// Scans look at no more entries than this in one record.
inline constexpr int kChainScanMax = 300;

int ChainInsertExtract(TblHandle h, Extract *rec, const ExtractEntry &entry);
int ChainInsertExSp(TblHandle h, ExSp *rec, const ExSpEntry &entry);
int ChainInsertWord(TblHandle h, Word *rec, const WordEntry &entry);

// The terminators of the three lists.
ExtractEntry ChainExtractTerminator();
ExSpEntry ChainExSpTerminator();
WordEntry ChainWordTerminator();

// The number of entries before the terminator (at most kListEntries - 1).
int ChainCountExtract(const Extract &rec);
int ChainCountExSp(const ExSp &rec);
int ChainCountWord(const Word &rec);
