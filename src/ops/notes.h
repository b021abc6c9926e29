// The note operation: a note on a symptom, or on one of its remedies with
// an author, in either language of the repertory. A handler of the table
// in ops/dispatch.cpp; its fields are NoteFields of logentry/logentry.h.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"

#include <cstddef>

// The longest text a note holds in one language.
inline constexpr size_t kNoteTextLimit = kNoteTextSize - 1;
// What divides an appended text from the note before it.
inline constexpr const char *kNoteAppendRule = "\n-----------------\n";
// An append whose note would pass the limit by this reckoning (the stored
// length, this, and the new length) starts the note anew from the new text.
inline constexpr size_t kNoteAppendRoom = 21;

// Uses ctx.symptoms, ctx.notes and ctx.replaceNotes. The note is found by
// symptom, remedy, author and note type (its degree plays no part). The
// new text replaces the note's text in the entry's note language when the
// run replaces notes or the note's text is the entry's old text; otherwise
// it is appended behind the rule. A note whose two texts are empty goes.
int OpChangeNoteRun(LogEntry *entry, const OpContext &ctx);

// The text a note holds after `added` is appended to `stored` (at most
// kNoteTextLimit characters each): behind the rule; when the two would
// pass the limit, the note starts anew from the added text, and the rule
// and the added text follow it again where they fit.
void OpAppendNoteText(char *stored, size_t cap, const char *added);
