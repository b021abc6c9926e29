// The repertory that the user chose: one Catalog record, the only state that
// lives from one command to the next. No table stays open with it.
//
// The chooser (dialog 101) lists the repertories of the catalogue: for a
// person in the configured order (key Repertories: "5,3" lists 5, then 3,
// then the others in catalogue order) and opens the one picked; in batch
// mode, for the /RUN verb, it lists only the editions a scripted log may run
// on and starts the run on the one picked. Listing reads every row through
// CurrentCatalog, so after the first listing it holds the last row listed,
// chosen or not; the caption of the task window names what was really
// chosen. Here too: the notice dialog 114 (no edition can take the log) and
// the transfer dialog 110, whose two repertory fields the chooser fills.
#pragma once

#include "platform/xvt.h"
#include "session/session.h"
#include "store/records.h"
#include "store/store.h"

#include <cstdint>
#include <vector>

// The catalogue while a chooser stands (0 when closed).
extern TblHandle CatalogHandle;
// Display orders of repertories (type 1) and keynotes (type 2): one slot
// for each entry of the type and a closing 0; size() is the length counter.
extern std::vector<uint16_t> RepertoryOrder;
extern std::vector<uint16_t> KeynotesOrder;
// 1 while the chooser runs in batch mode.
extern int ChooserBatch;
// Which field of dialog 110 the chooser fills: 0 new repertory, 1 old.
extern int TransferSide;
// The program that opens the addresses of dialog 114 ("xdg-open").
extern char RepLinkOpener[64];

// Resources and their controls.
inline constexpr int kChooserRes = 101;
inline constexpr int kChooserOk = 1, kChooserCancel = 2, kChooserHelp = 3,
                     kChooserHeading = 4, kChooserList = 5;
inline constexpr int kNoticeRes = 114;
inline constexpr int kNoticeOrder = 1, kNoticeSite = 2, kNoticeClose = 3,
                     kNoticeFirstLine = 4, kNoticeLines = 6;
inline constexpr int kTransferRes = 110;
inline constexpr int kTransferStart = 1, kTransferCancel = 2,
                     kTransferNewLabel = 3, kTransferLogLabel = 4,
                     kTransferNew = 5, kTransferLog = 6, kTransferBrowseNew = 7,
                     kTransferBrowseLog = 8, kTransferOldLabel = 9,
                     kTransferOld = 10, kTransferBrowseOld = 11;

// Parameters of the chooser: 1 lists repertories for a person; above
// kChooserAllEntries every entry of the type (the rest) in key order; a
// negative one, -(language * 100 + 1), is batch mode.
inline constexpr long kChooserPerson = 1;
inline constexpr long kChooserAllEntries = 100000;

// Registers dialogs 101, 110 and 114 (done on first need as well).
void RepRegisterResources();

// Builds the display order of a type (1 repertories, 2 keynotes) from its
// key and the catalogue. A catalogue that does not open leaves it empty.
void RepBuildOrder(int type);
// The id at a row of the order, 0 past its end.
uint16_t RepIdAtRow(int type, int row);

// Opens the chooser with a parameter, modal or modeless; error 23 when it
// cannot be made. Answers the dialog (gone already when modal), or 0.
WINDOW RepOpenChooser(int kind, long parameter);
long RepSelectEvent(WINDOW win, EVENT *ev);
// Turns the selected row into CurrentCatalog and closes the chooser.
void RepOpenSelected(WINDOW win);
// Batch mode: the id out of the selected row's text, then the run on it.
void RepSelectForRun(WINDOW win);
// The id at the end of a row's text: "Name (ABC-12)" gives 12.
int RepIdFromRowText(const char *text);
// Whether a batch run may run on the entry; sets *tooOld when the entry is
// an edition too old for any log.
bool RepEligibleForRun(const Catalog &entry, bool *tooOld);

long RepNoticeEvent(WINDOW win, EVENT *ev);
long TransferEvent(WINDOW win, EVENT *ev);

// The end of a log path's range from dialog 110 when none is asked for.
inline constexpr int32_t kTransferToLast = 999999999;

// The start of dialog 110's road once the dialog has set LogPath,
// UpgradeOldAbbrev and the new repertory as CurrentCatalog: the log of the
// old edition is replayed on the new one, each entry translated; a log
// path that begins with "+" asks for the range of log numbers first.
void TransferAdditions();

// The /RUN verb after its arguments: rebuilds the log's index, opens the
// catalogue and puts up the chooser in batch mode.
void DriverRunLog(const char *log, int language);
