// The entry journal: the writes of one log entry to any number of tables
// are kept all or nothing. The store's data files are only appended to, so
// what an entry did to a table is whatever lies behind the table's length
// before the entry; the journal keeps those lengths, and undoing an entry is
// cutting each table back to them. docs/storage.md, "The entry journal",
// tells the file and the order of writes.
//
// This header is the engine's side of it: the engine calls these around
// every append, close and open. The program's side (DbJournalOpen,
// DbEntryBegin, DbEntryCommit ...) is in store.h.
#pragma once

#include "store/codec.h"

#include <cstdint>
#include <string>

// What a table keeps of its registration with the journal in hand.
struct JournalMark {
  uint64_t journal = 0; // id of the journal it is registered with; 0 none
  uint32_t number = 0;  // its number there
};

// A table as the journal needs to know it.
struct JournalTable {
  const StoreFamily *fam;
  const std::string *dat, *idx; // absolute real paths
  uint64_t fileId;
  uint64_t length; // the end of its last good frame
  void *table;     // the engine's table, open in this process
};

// Before the first append to a table in the journal's life: registers it
// (a link file beside its data file, a record in the journal). 0, or the
// error that keeps the append from being made.
int JournalBeforeAppend(JournalMark &m, const JournalTable &t);
// After an append: the table's new length. Outside an entry the append is
// committed at once; 0 or the error of that commit (the caller then cuts
// the frame off again).
int JournalAfterAppend(const JournalMark &m, uint64_t before, uint64_t length);
// A write to a table failed (no space, a size limit, an I/O error): the
// entry in hand cannot be committed.
void JournalWriteFailed(int err);
// May a table be compacted at its close? Not while an entry that wrote to it
// is open. When it may and is registered, the journal notes that its file is
// rewritten whole (the journal no longer cuts it); 0 or the error of that
// note, and then the table is not compacted.
bool JournalMayCompact(const JournalMark &m);
int JournalBeforeRewrite(const JournalMark &m);
// The table closes: `clean` when its data and index reached the disk.
void JournalTableClosed(const JournalMark &m, bool clean);
// Before a table's files are opened or rebuilt: when a journal that a
// stopped program left behind names the table, that journal's unfinished
// entry is undone in every table it names, and their indexes rebuilt.
void JournalRecoverFor(const std::string &dat);
// The end of the store: an open journal is closed as DbJournalClose does.
void JournalShutdown();

// The engine's side for the journal.
// Cuts a table open in this process back to `length` and rebuilds its
// indexes in memory from the data file. 0 or an error.
int EngineCutBackOpen(void *table, uint64_t length);
// Cuts a table back to `length` (unless `length` is 0), when it still is
// the data file `fileId`, and rebuilds its index file beside the old one
// when the old one does not describe the data file. An open table of this
// process is cut back in place. `*what` gets bit 1 when bytes were cut, bit
// 2 when the index was written. 0, or an error (85: another process has it).
int EngineMendTable(const StoreFamily &fam, const std::string &dat,
                    const std::string &idx, uint64_t fileId, uint64_t length,
                    int *what);
// Makes an open table durable: its data file synced, its index written.
int EngineCheckpoint(void *table);
// Syncs an open table's data file.
int EngineSyncData(void *table);
