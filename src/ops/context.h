// The run context: what every operation handler is given beside the entry.
// A run fills it once, before its first entry, and hands the same context
// to each handler through LogDispatch; a handler that calls another hands
// on its own context, or a copy with what differs (`silent` 2 for a nested
// call). A handler reads only what its operation needs; a table that a run
// has not opened is 0.
#pragma once

#include "store/store.h"

#include <cstddef>
#include <cstdio>

// "<<" + a comment of up to 50 characters + ">>".
inline constexpr size_t kOpCommentSize = 64;

struct OpContext {
  // The errors report; null when it could not be opened (nothing is
  // written then).
  FILE *errors = nullptr;

  // The current repertory's tables.
  TblHandle symptoms = 0;
  TblHandle extract = 0;
  TblHandle word1 = 0; // word index of the first language
  TblHandle word2 = 0; // and of the second
  TblHandle notes = 0;
  TblHandle links = 0;
  TblHandle views = 0;

  // The partner concept repertory: its symptom table (the second symptom
  // table) and the concept table; 0 when there is no partner.
  TblHandle partnerSymptoms = 0;
  TblHandle concepts = 0;
  // 1 when the current repertory is the concept side of the pair.
  int onConceptSide = 0;

  // The first association table of a transfer, 0 outside one: a handler
  // that sees it non-zero runs on behalf of a transfer.
  TblHandle assoc = 0;

  // The note flag of every operation but OpChangeNote: 1 in a run, 2 for a
  // nested call; while non-zero no question is asked and no progress shown.
  int silent = 1;
  // The note flag of OpChangeNote: 1 replaces a note, 0 appends to it.
  int replaceNotes = 1;
  // The comment for additions as "<<comment>>", or empty (OpSetComment).
  char comment[kOpCommentSize] = "";
  // How references are written: 2 when the repertory's format byte is 5,
  // else 1.
  int referenceStyle = 1;
};

// Sets the context's comment: "<<comment>>" when `silent` is non-zero and
// the comment is not empty, else the empty text.
void OpSetComment(OpContext *ctx, const char *comment);
