// The report codes: the messages that a report block of a run opens with
// (LogReportEntry). A handler, a check or a translation tells its outcome by
// one of these, with severity 1 (error) or 2 (warning); the success block
// has severity 0. The texts lie in the message table; the statistics count
// the codes by number, so a code keeps its number once it is used; the
// check of the message table (services/msgdata.cpp) keeps the list of them
// too, for the width the statistics give them.
#pragma once

// The success block, in the edit log.
inline constexpr int kMsgOperationDone = 5383;
// An operation code that no log of this system holds.
inline constexpr int kMsgUnknownOperation = 5347;
// An operation whose handler is not part of this version: nothing changes.
inline constexpr int kMsgOperationNotAvailable = 5390;
// A write that failed (no space, a file size limit, an I/O error) stopped
// the run at this entry, which was undone.
inline constexpr int kMsgRunStoppedByWrite = 5391;

// Finding what an entry names.
inline constexpr int kMsgSymptomNotFound = 2628;
inline constexpr int kMsgRemedyNotFound = 2736;
inline constexpr int kMsgAuthorNotFound = 2737;
inline constexpr int kMsgPairNotInSymptom = 2738; // remedy with this author
inline constexpr int kMsgPairInSymptom = 2745;    // the same, already there

// Saving what a handler changed.
inline constexpr int kMsgSymptomNotSaved = 2739;
inline constexpr int kMsgNotInExtract = 2740;
inline constexpr int kMsgExtractNotSaved = 2741;
inline constexpr int kMsgNoMemoryForRemedies = 2743;
inline constexpr int kMsgNoteNotAdded = 2749;
inline constexpr int kMsgNoteNotSaved = 2750;
inline constexpr int kMsgNoteNotDeleted = 2751;
inline constexpr int kMsgDegreeDiffers = 5364;

// Symptoms and the tables that follow them.
inline constexpr int kMsgSymptomExists = 2762;
inline constexpr int kMsgSymptomNotAdded = 2767;
inline constexpr int kMsgExtractOrConceptNotFollowed = 2769;
inline constexpr int kMsgNotesLinksWordsNotFollowed = 2770;
inline constexpr int kMsgWordIndexNotUpdated = 2771;
inline constexpr int kMsgSubSymptomsNotFollowed = 2805;
inline constexpr int kMsgWordsNotRemoved = 2809;
inline constexpr int kMsgSymptomNotDeleted = 2810;
inline constexpr int kMsgSymptomNotesNotDeleted = 2811;
inline constexpr int kMsgChapterNotDeleted = 5612;
inline constexpr int kMsgMoveTargetInRange = 5907;
inline constexpr int kMsgMoveTextTooLong = 5908;
inline constexpr int kMsgNoMemory = 3218;
inline constexpr int kMsgTextTooLong = 3228;
// A reference of a list leads to no symptom of the repertory.
inline constexpr int kMsgReferenceNotFound = 3431;
inline constexpr int kMsgDoubledSymptom = 5402;

// Links.
inline constexpr int kMsgLinkNotSaved = 3422;
inline constexpr int kMsgLinkNotDeleted = 3425;
// The media file of a video, sound or image link is nowhere to be found.
inline constexpr int kMsgLinkFileNotFound = 3430;

// The type of a symptom is two digits.
inline constexpr int kMsgSymptomTypeNotDigits = 5513;

// The concept table.
inline constexpr int kMsgConceptNotSaved = 5071;
inline constexpr int kMsgConceptSymptomNotFound = 5073;
inline constexpr int kMsgConceptLinkNotFound = 5074;

// Translation to a new edition.
inline constexpr int kMsgPathNotAssociated = 5544;
inline constexpr int kMsgSeveralTargets = 5546;
inline constexpr int kMsgTargetNotFound = 5547;
inline constexpr int kMsgPathNotRecreated = 5552;
