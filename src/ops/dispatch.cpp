#include "ops/dispatch.h"

#include "logentry/report.h"
#include "logentry/reportcodes.h"
#include "logentry/tally.h"
#include "ops/concepts.h"
#include "ops/links.h"
#include "ops/notes.h"
#include "ops/references.h"
#include "ops/remedy.h"
#include "ops/symptoms.h"
#include "platform/strutil.h"

#include <cstring>
#include <utility>

namespace {

// One row for each operation code, in the order of the codes.
constexpr OpHandlerRow kHandlers[kOpCount] = {
    {OpChangeDegree, OpChangeDegreeRun, 0},
    {OpDeleteRemedy, OpDeleteRemedyRun, 0},
    {OpAddRemedy, OpAddRemedyRun, 0},
    {OpChangeNote, OpChangeNoteRun, kOpChangesNote},
    {OpChangeCrossReference, OpChangeCrossReferenceRun, 0},
    {OpChangeSynonym, OpChangeSynonymRun, 0},
    {OpRenameSymptom, OpRenameSymptomRun, 0},
    {OpAddSymptomAfter, OpAddSymptomAfterRun, 0},
    {OpAddSymptomBelow, OpAddSymptomBelowRun, 0},
    {OpDeleteSymptom, OpDeleteSymptomRun, kOpFailureCountsDone},
    {OpMoveSymptoms, OpMoveSymptomsRun, 0},
    {OpSplitSymptom, OpSplitSymptomRun, 0},
    {OpMergeSymptom, OpMergeSymptomRun, 0},
    {OpAddLink, OpAddLinkRun, 0},
    {OpDeleteLink, OpDeleteLinkRun, 0},
    {OpAddConcept, OpAddConceptRun, kOpConceptSided},
    {OpDeleteConcept, OpDeleteConceptRun, kOpConceptSided},
    {OpChangeSymptomKind, OpChangeSymptomKindRun, 0},
};

constexpr bool RowsInOrder() {
  for (int i = 0; i < kOpCount; ++i)
    if (kHandlers[i].operation != i + 1)
      return false;
  return true;
}
static_assert(RowsInOrder(), "the row of code n stands at n - 1");

// Refuses the entry with the message, severity 1, and joins its text.
int Refuse(LogEntry *entry, FILE *errors, int message) {
  size_t length = strlen(entry->text);
  LogReportEntry(errors, message, entry, nullptr, 1);
  LogJoinFields(entry->text, length);
  return 1;
}

} // namespace

void OpSetComment(OpContext *ctx, const char *comment) {
  ctx->comment[0] = '\0';
  if (ctx->silent != 0 && comment != nullptr && comment[0] != '\0')
    StrFormat(ctx->comment, "<<%s>>", comment);
}

const OpHandlerRow *OpHandlerOf(int operation) {
  if (operation < 1 || operation > kOpCount)
    return nullptr;
  return &kHandlers[operation - 1];
}

bool OpHasHandler(int operation) {
  const OpHandlerRow *row = OpHandlerOf(operation);
  return row != nullptr && row->handler != nullptr;
}

int LogDispatch(LogEntry *entry, const OpContext &ctx) {
  if (entry == nullptr || entry->text == nullptr)
    return 1;
  const OpHandlerRow *row = OpHandlerOf(entry->operation);
  if (row == nullptr)
    return Refuse(entry, ctx.errors, kMsgUnknownOperation);
  if (row->handler == nullptr)
    return Refuse(entry, ctx.errors, kMsgOperationNotAvailable);
  if ((row->flags & kOpConceptSided) != 0 && ctx.onConceptSide != 0) {
    OpContext swapped = ctx;
    std::swap(swapped.symptoms, swapped.partnerSymptoms);
    return row->handler(entry, swapped);
  }
  return row->handler(entry, ctx);
}

int OpCountOutcome(int operation, int result) {
  const OpHandlerRow *row = OpHandlerOf(operation);
  int at = row != nullptr ? operation - 1 : -1;
  int outcome = result == 0   ? kOutcomeDone
                : result == 1 ? kOutcomeError
                              : kOutcomeWarning;
  if (outcome == kOutcomeError && row != nullptr &&
      (row->flags & kOpFailureCountsDone) != 0)
    outcome = kOutcomeDone;
  else if (outcome != kOutcomeDone)
    LogTallyReport();
  int32_t *counts = outcome == kOutcomeDone    ? OpDone
                    : outcome == kOutcomeError ? OpErrors
                                               : OpWarnings;
  if (at >= 0)
    ++counts[at];
  ++counts[kOpTotalRow];
  return outcome;
}
