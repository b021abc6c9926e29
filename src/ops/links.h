// The operations on a symptom's media links and its type: add a link,
// delete a link, change the two type digits. Handlers of the table in
// ops/dispatch.cpp; their fields are LinkFields and KindFields of
// logentry/logentry.h.
#pragma once

#include "logentry/logentry.h"
#include "ops/context.h"

// Link kinds and the folder whose files they name.
inline constexpr int kLinkVideo = 1; // DefaultVideo
inline constexpr int kLinkSound = 2; // DefaultSound
inline constexpr int kLinkImage = 3; // DefaultImage

// Uses ctx.symptoms and ctx.links. A file under the folder of its kind is
// stored without that folder; the file of a video, sound or image must be
// found where the program looks for media (MediaLocate), else the entry is
// refused with kMsgLinkFileNotFound.
int OpAddLinkRun(LogEntry *entry, const OpContext &ctx);

// Uses ctx.symptoms and ctx.links. Deletes the first link of the symptom
// with the remedy, author and kind; a link that is not there counts as
// done.
int OpDeleteLinkRun(LogEntry *entry, const OpContext &ctx);

// Uses ctx.symptoms. The new value is two digits: the symptom's type and
// its sub-type.
int OpChangeSymptomKindRun(LogEntry *entry, const OpContext &ctx);

// The file of a link as it is stored: `file` without the folder of its
// kind and the one character behind it, when it begins with that folder
// (letter case does not count).
void OpLinkStoredFile(int kind, const char *file, char *out, size_t cap);
