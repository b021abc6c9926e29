#include "services/messages.h"

#include "platform/cp1252.h"
#include "platform/strutil.h"
#include "services/config.h"
#include "store/strdate.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

TblHandle MsgTable;
MsgRecord MsgRec;

TextTable TextTableChooser[] = {
    {101, 65535, 0}, {1, 837, 0}, {2, 838, 0}, {3, 841, 0}, {0, 0, 0}};
TextTable TextTableWorking[] = {{102, 3103, 0}, {0, 0, 0}};
TextTable TextTableCustomList[] = {{106, 3112, 0}, {3, 3107, 0}, {4, 3108, 0},
                                   {8, 3109, 0},   {9, 3190, 0}, {1, 3110, 0},
                                   {2, 3111, 0},   {0, 0, 0}};
TextTable TextTableLocalise[] = {
    {109, 3300, 0}, {5, 3315, 0}, {4, 3301, 0}, {1, 3304, 0}, {0, 0, 0}};
TextTable TextTableTransfer[] = {
    {110, 5574, 0}, {3, 5575, 0}, {4, 5576, 0}, {7, 5577, 0}, {8, 5578, 0},
    {11, 5578, 0},  {9, 7002, 0}, {1, 5579, 0}, {2, 5580, 0}, {0, 0, 0}};
TextTable TextTableLogPrefs[] = {
    {111, 5614, 0}, {8, 5615, 0},  {13, 5616, 0}, {20, 5617, 0}, {4, 5618, 0},
    {5, 5619, 0},   {6, 5620, 0},  {9, 5621, 0},  {10, 5622, 0}, {11, 5623, 0},
    {12, 5624, 0},  {21, 5625, 0}, {14, 5626, 0}, {15, 5627, 0}, {16, 5628, 0},
    {1, 5629, 0},   {2, 5630, 0},  {3, 5631, 0},  {23, 7182, 0}, {0, 0, 0}};
TextTable TextTableBackup[] = {
    {112, 5636, 0}, {3, 5640, 0},  {16, 7460, 0}, {10, 5641, 0}, {7, 5642, 0},
    {8, 5643, 0},   {9, 5644, 0},  {12, 7057, 0}, {4, 5645, 0},  {1, 5646, 0},
    {2, 5647, 0},   {11, 5648, 0}, {15, 7144, 0}, {14, 3308, 0}, {0, 0, 0}};
TextTable TextTableRepair[] = {
    {113, 6734, 0}, {2, 6735, 0},  {5, 6736, 0},  {6, 6737, 0},  {7, 6738, 0},
    {8, 6739, 0},   {9, 6740, 0},  {13, 6741, 0}, {10, 6742, 0}, {11, 6743, 0},
    {12, 6744, 0},  {4, 6745, 0},  {14, 6746, 0}, {15, 6747, 0}, {16, 6748, 0},
    {17, 6749, 0},  {21, 6753, 0}, {22, 6752, 0}, {19, 6754, 0}, {23, 6756, 0},
    {24, 6757, 0},  {25, 6758, 0}, {1, 6759, 0},  {26, 6760, 0}, {0, 0, 0}};
TextTable TextTableProgress[] = {{213, 3104, 0}, {4, 3105, 0}, {0, 0, 0}};

const uint16_t MenuTopMessages[kMenuCount] = {3124, 3148, 3125, 3126, 5633};
const uint16_t MenuItemMessages[kMenuCount][kMenuItemsPerMenu] = {
    {3127, 0, 5526, 5525, 0, 3128},
    {3149, 3153, 5341, 0, 5536, 0, 5098, 5099, 0, 7003},
    {6734, 0, 3138, 3139, 3140, 3141, 3142, 3143, 3144, 3426, 4173, 0, 3145,
     3146, 5168, 5169, 0, 3147},
    {3131, 3132, 3133, 3196},
    {5634, 5635}};

namespace {

inline constexpr int kTitleMax = 150; // what a control's title is read to

bool ValidMessage(int number) {
  return number < kMsgNone;
}

// The text of a message as a window shows it: behind its number when
// ShowMessageNumbers is set, so that translators can find it.
void ShownText(int number, char *out, size_t cap) {
  out[0] = 0;
  if (ShowMessageNumbers)
    StrFormat(out, cap, "%d ", number);
  StrAppend(out, cap, MsgText(number));
}

// The table marks a mnemonic with "&", the toolkit with "~": the first one
// changes, a later "&" stays. Answers the mnemonic, lower-cased, or 0.
char MarkMnemonic(char *text) {
  char *amp = strchr(text, '&');
  if (amp == nullptr)
    return 0;
  *amp = '~';
  return ToLowerWin(amp[1]);
}

} // namespace

// The texts found so far, for the table and language they came from. A log
// run asks for the same few labels many times an entry; the table does not
// change under a running program.
namespace {
struct MsgCache {
  TblHandle table = 0;
  int language = -1;
  std::unordered_map<int, MsgRecord> texts;
};
MsgCache gMsgCache;
} // namespace

const char *MsgText(int number) {
  MsgCache &c = gMsgCache;
  if (c.table != MsgTable || c.language != Language) {
    c.texts.clear();
    c.table = MsgTable;
    c.language = Language;
  }
  auto it = c.texts.find(number);
  if (it != c.texts.end()) {
    uint8_t guard = MsgRec.CursorState;
    MsgRec = it->second;
    MsgRec.CursorState = guard;
    OrvixError = 0;
    return MsgRec.Text;
  }
  const char *text = OrvixMessage(MsgTable, number, Language, &MsgRec);
  if (OrvixError == 0 && MsgTable != 0)
    c.texts.emplace(number, MsgRec);
  return text;
}

void MsgInfo(const char *fmt, ...) {
  char text[1024];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(text, sizeof text, fmt, ap);
  va_end(ap);
  xvt_dm_post_message("Orvix", text);
}

int MsgYesNo(const char *fmt, ...) {
  char text[1024];
  va_list ap;
  va_start(ap, fmt);
  StrFormatV(text, sizeof text, fmt, ap);
  va_end(ap);
  return xvt_dm_post_ask("Yes", "No", nullptr, "%s", text) == 1 ? kMsgIdYes
                                                                : kMsgIdNo;
}

int MsgAsk(int b1, int b2, int b3, int question) {
  // One record holds one text: each goes into a buffer of its own.
  char first[104], second[104], third[104], ask[104];
  StrCopy(first, MsgText(b1));
  StrCopy(second, MsgText(b2));
  if (b3 != 0)
    StrCopy(third, MsgText(b3));
  StrCopy(ask, MsgText(question));
  return xvt_dm_post_ask(first, second, b3 != 0 ? third : nullptr, "%s", ask);
}

void DlgLoadTexts(WINDOW win, TextTable *table) {
  if (table == nullptr)
    return;
  char text[kTitleMax + 1];
  if (ValidMessage(table[0].Message)) {
    ShownText(table[0].Message, text, sizeof text);
    xvt_vobj_set_title(win, text);
  }
  for (TextTable *row = table + 1; row->Id != 0; row++) {
    WINDOW ctl = xvt_win_get_ctl(win, row->Id);
    if (!ValidMessage(row->Message) || ctl == NULL_WIN)
      continue;
    ShownText(row->Message, text, sizeof text);
    MarkMnemonic(text);
    xvt_vobj_set_title(ctl, text);
  }
  // The mnemonics as the controls now show them.
  for (TextTable *row = table + 1; row->Id != 0; row++) {
    WINDOW ctl = xvt_win_get_ctl(win, row->Id);
    row->Mnemonic = 0;
    if (!ValidMessage(row->Message) || ctl == NULL_WIN)
      continue;
    if (xvt_vobj_get_title(ctl, text, sizeof text) == nullptr)
      continue;
    const char *tilde = strchr(text, '~');
    if (tilde != nullptr)
      row->Mnemonic = static_cast<uint8_t>(ToLowerWin(tilde[1]));
  }
}

namespace {

// Gives a menu item the text of `number`; `accelerator` turns the two
// characters "\t" into a blank and a tab, which set off an accelerator.
void SetMenuText(MENU_ITEM *item, int number, bool accelerator) {
  char text[kTitleMax + 1];
  ShownText(number, text, sizeof text);
  if (accelerator) {
    char *bs = strstr(text, "\\t");
    if (bs != nullptr) {
      bs[0] = ' ';
      bs[1] = '\t';
    }
  }
  char key = MarkMnemonic(text);
  size_t n = strlen(text) + 1;
  char *copy = static_cast<char *>(malloc(n));
  if (copy == nullptr)
    return; // the item keeps its text
  memcpy(copy, text, n);
  free(item->text);
  item->text = copy;
  item->mkey = key;
}

bool IsEntry(const MENU_ITEM *item) {
  return item->tag != 0 || item->separator;
}

} // namespace

void MenuLoadTexts(WINDOW win, const uint16_t *topMessages,
                   const uint16_t *itemMessages, int menus, int itemsPerMenu) {
  if (Language == 1 && itemsPerMenu >= 0)
    return;
  int rowLength = itemsPerMenu < 0 ? -itemsPerMenu : itemsPerMenu;
  MENU_ITEM *tree = xvt_menu_get_tree(win);
  if (tree == nullptr)
    return;
  for (int m = 0; m < menus && IsEntry(&tree[m]); m++) {
    SetMenuText(&tree[m], topMessages[m], false);
    MENU_ITEM *items = tree[m].child;
    for (int i = 0; items != nullptr && i < rowLength && IsEntry(&items[i]);
         i++) {
      int number = itemMessages[m * rowLength + i];
      if (number != 0)
        SetMenuText(&items[i], number, true);
    }
  }
  xvt_menu_set_tree(win, tree);
  xvt_res_free_menu_tree(tree);
  xvt_menu_update(win);
}

bool DlgCheckDate(WINDOW win, int control, int message) {
  WINDOW ctl = xvt_win_get_ctl(win, control);
  char text[31] = "";
  xvt_vobj_get_title(ctl, text, sizeof text);
  long date = 0;
  if (DateCharToLong(Language, text, DateFormat, &date) == 0) {
    char normal[kDateTextMax];
    if (DateLongToChar(Language, date, DateFormat, normal) == 0)
      xvt_vobj_set_title(ctl, normal);
    return true;
  }
  // The toolkit has no beep and no text selection: the box and the focus
  // tell the user which field to mend, and its text stays as typed.
  MsgInfo("%s", MsgText(message));
  xvt_scr_set_focus_vobj(ctl);
  return false;
}

void RunLogWrite(const char *) {}
