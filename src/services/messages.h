// Texts by number and the boxes that show them. Every caption, button,
// prompt and failure text comes from the message table in the configured
// Language; a failure is told at its place with a numbered message and the
// store's error as its argument. Code names a message by a literal number
// (docs/messages.md): the second argument of OrvixMessage(, the first of
// MsgText(, the four of MsgAsk(.
#pragma once

#include "platform/xvt.h"
#include "store/store.h"

#include <cstdint>

// The open message table, from the start sequence to AppTerminate.
extern TblHandle MsgTable;
// The one shared record: each OrvixMessage leaves its text here, good until
// the next call. Code that needs two texts at once copies the first.
extern MsgRecord MsgRec;

// Texts that must work without the message table.
#define MSG_FATAL_DB_INIT "Can't initialize Databases manager ( H-%d ) "
#define MSG_FATAL_MSG_OPEN                                                     \
  "Can't open Messages table '%s' ( see orvix.ini ) ( H-%d ) "
#define MSG_CANT_OPEN_DIALOG "Can't open dialog"
#define MSG_NO_PROGRESS_BAR "Cannot create progression bar"

// Message numbers of 60000 and up (65535 among them) leave a text as the
// resource has it.
inline constexpr int kMsgNone = 60000;

// The text of message `number` in Language, in MsgRec.
const char *MsgText(int number);

// A box on the task window, caption "Orvix", one OK button. Formats into
// 1024 bytes.
void MsgInfo(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// The same with Yes and No; answers kMsgIdYes or kMsgIdNo.
inline constexpr int kMsgIdYes = 6;
inline constexpr int kMsgIdNo = 7;
int MsgYesNo(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// Asks the question of message `question` with the buttons of messages
// `b1`, `b2` and `b3` (0: two buttons only). Answers the button pressed,
// 1 to 3.
int MsgAsk(int b1, int b2, int b3, int question);

// One row of a dialog's text table: the first row is the dialog's own (its
// message is the caption), the others its controls'; a row with control 0
// closes the table. Mnemonic is filled by DlgLoadTexts.
struct TextTable {
  uint16_t Id;
  uint16_t Message;
  uint8_t Mnemonic;
};

// The text tables of the dialogs and windows.
extern TextTable TextTableChooser[];    // 101 repertory chooser
extern TextTable TextTableWorking[];    // 102 Working ...
extern TextTable TextTableCustomList[]; // 106 custom log list
extern TextTable TextTableLocalise[];   // 109 file localisation
extern TextTable TextTableTransfer[];   // 110 transfer of additions
extern TextTable TextTableLogPrefs[];   // 111 log file preferences
extern TextTable TextTableBackup[];     // 112 backup and restore
extern TextTable TextTableRepair[];     // 113 repair databases
extern TextTable TextTableProgress[];   // 213 Progress

// Puts the table's texts on the dialog (also for language 1: the resource's
// English stands only until then) and fills the mnemonics. A row whose
// control isn't on the dialog is passed over.
void DlgLoadTexts(WINDOW win, TextTable *table);

// The menu of the task window: the messages of the menus of the bar, and of
// their items, one row of kMenuItemsPerMenu per menu in the order of the
// resource's tree. 0 leaves an item as it is: a separator stands there, or
// the row has ended.
inline constexpr int kMenuCount = 5;
inline constexpr int kMenuItemsPerMenu = 20;
extern const uint16_t MenuTopMessages[kMenuCount];
extern const uint16_t MenuItemMessages[kMenuCount][kMenuItemsPerMenu];

// Translates the menu tree of `win`. Skipped for Language 1, where the
// resource's English stands, unless itemsPerMenu is negative (its absolute
// value is then the row length).
void MenuLoadTexts(WINDOW win, const uint16_t *topMessages,
                   const uint16_t *itemMessages, int menus, int itemsPerMenu);

// Checks the date typed into `control` of `win` in DateFormat. A good date
// is put back in its normal form; a bad one is told with message `message`,
// the control gets the focus, and the answer is false.
bool DlgCheckDate(WINDOW win, int control, int message);

// The program's trace file is dormant: nothing in this program turns it on,
// so this writes nothing.
void RunLogWrite(const char *text);
