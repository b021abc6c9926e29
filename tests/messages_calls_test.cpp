// Dialogs and menus take their texts from the message table; the boxes
// that show numbered messages.
#include "platform/xvt_model.h"
#include "services/config.h"
#include "services/messages.h"
#include "services/msgdata.h"

#include "toolkit_support.h"

#include <cstring>
#include <filesystem>
#include <string>

namespace {

// A small table of our own: English and a second language, with texts of
// one "&", two, and none.
const char kEnglish[] = "language 1\n"
                        "9100 | | Title\n"
                        "9101 | | &Yes & no\n"
                        "9102 | | Cancel\n"
                        "9103 | | T&ick\n"
                        "9104 | | Elsewhere\n"
                        "9200 | | &File\n"
                        "9201 | | &Open...\\\\tCtrl+O\n"
                        "9202 | | E&xit\n"
                        "9203 | | &Update\n"
                        "9204 | | &Run\n"
                        "9300 | | Sure?\n";
const char kSecond[] = "language 2\n"
                       "9100 | Titre\n"
                       "9101 | &Oui & non\n"
                       "9102 | Annuler\n"
                       "9103 | Co&cher\n"
                       "9104 | Ailleurs\n"
                       "9200 | &Fichier\n"
                       "9201 | &Ouvrir...\\\\tCtrl+O\n"
                       "9202 | &Quitter\n"
                       "9203 | &Mise \xC3\xA0 jour\n"
                       "9204 | &Lancer\n"
                       "9300 | S\xC3\xBBr ?\n";

constexpr int kDlg = 9001;
const XVT_CTL_RES kCtls[] = {
    {1, WC_PUSHBUTTON, 10, 80, 40, 12, "Yes", CTL_FLAG_DEFAULT},
    {2, WC_PUSHBUTTON, 60, 80, 40, 12, "Cancel", 0},
    {3, WC_CHECKBOX, 10, 5, 100, 10, "&Tick", 0},
    {4, WC_TEXT, 10, 20, 100, 10, "Label", 0},
};
const XVT_WIN_RES kRes = {kDlg, 0, 0, 200, 100, "Resource title", kCtls, 4, 0};

class MessagesCalls : public ToolkitTest {
protected:
  void SetUp() override {
    ToolkitTest::SetUp();
    MsgDataSet set;
    MsgDataReadText(&set, "en.txt", kEnglish);
    MsgDataReadText(&set, "xx.txt", kSecond);
    ASSERT_TRUE(set.Problems.empty()) << set.Problems[0];
    ASSERT_EQ(0, DbInitialize(50, 90, 4, "msgcalls", "orvlock", 0));
    std::string base = dir + "/orvixmsg";
    ASSERT_EQ(0, MsgDataWriteTable(set, base.c_str(), nullptr));
    MsgTable = MsgOpen(base.c_str(), 1, 1);
    ASSERT_EQ(0, OrvixError);
    Language = 2;
    ShowMessageNumbers = 0;
    ASSERT_EQ(0, xvt_res_register_dialog(&kRes));
  }
  void TearDown() override {
    DbCloseFile(MsgTable);
    MsgTable = 0;
    DbTerminate("msgcalls");
    Language = 1;
    ShowMessageNumbers = 0;
    ToolkitTest::TearDown();
  }
  // Opens the test dialog, loads the table's texts into it, and answers the
  // titles of the dialog and of controls 1 to 4.
  std::vector<std::string> Loaded(TextTable *table) {
    WINDOW win = xvt_dlg_create_res(WD_MODELESS, kDlg, -1, Ignore, 0);
    EXPECT_NE(NULL_WIN, win);
    DlgLoadTexts(win, table);
    std::vector<std::string> titles;
    char buf[200];
    titles.push_back(xvt_vobj_get_title(win, buf, sizeof buf));
    for (int id = 1; id <= 4; id++)
      titles.push_back(
          xvt_vobj_get_title(xvt_win_get_ctl(win, id), buf, sizeof buf));
    xvt_vobj_destroy(win);
    return titles;
  }
  static long Ignore(WINDOW, EVENT *) { return 0; }
};

TEST_F(MessagesCalls, DialogTakesTheTableTextsAndMnemonics) {
  TextTable table[] = {{kDlg, 9100, 0}, {1, 9101, 0}, {2, 9102, 0},
                       {3, 9103, 0},    {7, 9104, 0}, {4, 60001, 0},
                       {0, 0, 0}};
  std::vector<std::string> titles = Loaded(table);
  // Only the first "&" becomes the toolkit's "~"; a later one stays.
  EXPECT_EQ((std::vector<std::string>{"Titre", "~Oui & non", "Annuler",
                                      "Co~cher", "Label"}),
            titles);
  EXPECT_EQ('o', table[1].Mnemonic);
  EXPECT_EQ(0, table[2].Mnemonic);
  EXPECT_EQ('c', table[3].Mnemonic);
  // Control 7 isn't on the dialog; 60001 leaves the resource's text.
  EXPECT_EQ(0, table[4].Mnemonic);
  EXPECT_EQ(0, table[5].Mnemonic);
}

TEST_F(MessagesCalls, NumbersStandBeforeTextsWhenAsked) {
  ShowMessageNumbers = 1;
  TextTable table[] = {{kDlg, 9100, 0}, {1, 9101, 0}, {0, 0, 0}};
  std::vector<std::string> titles = Loaded(table);
  EXPECT_EQ("9100 Titre", titles[0]);
  EXPECT_EQ("9101 ~Oui & non", titles[1]);
  EXPECT_EQ('o', table[1].Mnemonic);
  // Language 1 with numbers: dialogs take the English texts behind them.
  Language = 1;
  TextTable english[] = {{kDlg, 65535, 0}, {1, 9101, 0}, {0, 0, 0}};
  titles = Loaded(english);
  EXPECT_EQ("Resource title", titles[0]) << "65535 leaves the caption";
  EXPECT_EQ("9101 ~Yes & no", titles[1]);
  EXPECT_EQ('y', english[1].Mnemonic);
}

// ------------------------------------------------------------------ menu

const MENU_RES kFileItems[] = {{1009, "Open &repertory...", 0, nullptr},
                               {0, nullptr, MENU_FLAG_SEPARATOR, nullptr},
                               {1012, "E&xit", 0, nullptr},
                               {0, nullptr, 0, nullptr}};
const MENU_RES kUpdateItems[] = {{1031, "Update repertor&y", 0, nullptr},
                                 {0, nullptr, 0, nullptr}};
const MENU_RES kBar[] = {{1001, "&File", 0, kFileItems},
                         {1004, "&Update", 0, kUpdateItems},
                         {2000, "&Window", 0, nullptr},
                         {0, nullptr, 0, nullptr}};
const uint16_t kTop[] = {9200, 9203};
const uint16_t kItems[2][3] = {{9201, 0, 9202}, {9204, 0, 0}};

MENU_ITEM *gMenuAfter;
int gItemsPerMenu;

MENU_ITEM *MenuAfterLoad(int itemsPerMenu) {
  EXPECT_EQ(0, xvt_res_register_menu(9050, kBar));
  gItemsPerMenu = itemsPerMenu;
  gMenuAfter = nullptr;
  XVT_CONFIG cfg = {9050, "x", "Doc", "Task"};
  xvt_app_create(
      0, nullptr, 0,
      [](WINDOW win, EVENT *ev) -> long {
        if (ev->type == E_CREATE) {
          MenuLoadTexts(win, kTop, &kItems[0][0], 2, gItemsPerMenu);
          gMenuAfter = xvt_menu_get_tree(win);
          xvtv_app_destroy();
        }
        return 0;
      },
      &cfg);
  return gMenuAfter;
}

TEST_F(MessagesCalls, MenuTreeIsTranslatedWithSeparatorsAndAccelerators) {
  MENU_ITEM *tree = MenuAfterLoad(3);
  ASSERT_NE(nullptr, tree);
  EXPECT_STREQ("~Fichier", tree[0].text);
  EXPECT_EQ('f', tree[0].mkey);
  EXPECT_STREQ("~Ouvrir... \tCtrl+O", tree[0].child[0].text);
  EXPECT_EQ('o', tree[0].child[0].mkey);
  EXPECT_TRUE(tree[0].child[1].separator);
  EXPECT_STREQ("~Quitter", tree[0].child[2].text);
  EXPECT_STREQ("~Mise \xE0 jour", tree[1].text);
  EXPECT_STREQ("~Lancer", tree[1].child[0].text);
  // Only the menus asked for: the toolkit's own Window menu stays.
  EXPECT_STREQ("&Window", tree[2].text);
  xvt_res_free_menu_tree(tree);
}

TEST_F(MessagesCalls, MenuStaysAsTheResourceHasItForLanguageOne) {
  Language = 1;
  ShowMessageNumbers = 1;
  MENU_ITEM *tree = MenuAfterLoad(3);
  ASSERT_NE(nullptr, tree);
  EXPECT_STREQ("&File", tree[0].text);
  EXPECT_STREQ("Open &repertory...", tree[0].child[0].text);
  xvt_res_free_menu_tree(tree);
  // A negative row length forces the translation, numbers shown.
  tree = MenuAfterLoad(-3);
  ASSERT_NE(nullptr, tree);
  EXPECT_STREQ("9200 ~File", tree[0].text);
  EXPECT_STREQ("9202 E~xit", tree[0].child[2].text);
  EXPECT_EQ('x', tree[0].child[2].mkey);
  xvt_res_free_menu_tree(tree);
}

TEST_F(MessagesCalls, NumbersShownForALanguageAboveOneHundredNinety) {
  // Language=-2 in the file: the reader makes it 2 and shows numbers.
  Language = 2;
  ShowMessageNumbers = 1;
  MENU_ITEM *tree = MenuAfterLoad(3);
  ASSERT_NE(nullptr, tree);
  EXPECT_STREQ("9200 ~Fichier", tree[0].text);
  EXPECT_EQ('f', tree[0].mkey);
  xvt_res_free_menu_tree(tree);
}

// ------------------------------------------------------------------ boxes

TEST_F(MessagesCalls, AskOffersTwoButtonsWhenTheThirdIsZero) {
  CaptureStderr();
  EXPECT_EQ(1, MsgAsk(9101, 9102, 0, 9300));
  EXPECT_EQ(1, MsgAsk(9101, 9102, 9104, 9300));
  std::string err = GetCapturedStderr();
  EXPECT_THAT(err, HasSubstr("ask: S\xFBr ? [&Oui & non/Annuler]\n"));
  EXPECT_THAT(err, HasSubstr("ask: S\xFBr ? [&Oui & non/Annuler/Ailleurs]\n"));
}

TEST_F(MessagesCalls, TextsComeInTheConfiguredLanguage) {
  EXPECT_STREQ("Annuler", MsgText(9102));
  EXPECT_EQ(MsgRec.Text, MsgText(9102)) << "the shared record";
  Language = 1;
  EXPECT_STREQ("Cancel", MsgText(9102));
}

TEST_F(MessagesCalls, TextsFollowTheTableInUseAndMissingOnesStayMissing) {
  EXPECT_STREQ("Annuler", MsgText(9102));
  // Another table in its place, with another text for the same number.
  MsgDataSet set;
  MsgDataReadText(&set, "zz.txt", "language 2\n9102 | Abbrechen\n");
  ASSERT_TRUE(set.Problems.empty()) << set.Problems[0];
  std::string other = dir + "/othermsg";
  ASSERT_EQ(0, MsgDataWriteTable(set, other.c_str(), nullptr));
  DbCloseFile(MsgTable);
  MsgTable = MsgOpen(other.c_str(), 1, 1);
  ASSERT_NE(MsgTable, 0);
  EXPECT_STREQ("Abbrechen", MsgText(9102));
  EXPECT_EQ(OrvixError, 0);
  for (int round = 0; round < 2; ++round) {
    EXPECT_STREQ("Message 9100 is missing", MsgText(9100)) << round;
    EXPECT_NE(OrvixError, 0) << round;
  }
  EXPECT_STREQ("Abbrechen", MsgText(9102));
  EXPECT_EQ(OrvixError, 0) << "a text found again clears the error";
}

TEST_F(MessagesCalls, BadDateIsToldAndKeptGoodDateIsNormalised) {
  Language = 1;
  StrCopy(DateFormat, "dd.mm.yyyy");
  WINDOW win = xvt_dlg_create_res(WD_MODELESS, kDlg, -1, Ignore, 0);
  WINDOW edit = xvt_win_get_ctl(win, 4);
  xvt_vobj_set_title(edit, "1.5.2020");
  EXPECT_TRUE(DlgCheckDate(win, 4, 9300));
  char buf[40];
  EXPECT_STREQ("01.05.2020", xvt_vobj_get_title(edit, buf, sizeof buf));
  xvt_vobj_set_title(edit, "31.02.2020");
  // The information box writes its text to standard output.
  CaptureStdout();
  EXPECT_FALSE(DlgCheckDate(win, 4, 9300));
  EXPECT_THAT(GetCapturedStdout(), HasSubstr("Sure?"));
  EXPECT_STREQ("31.02.2020", xvt_vobj_get_title(edit, buf, sizeof buf));
  xvt_vobj_destroy(win);
}

} // namespace
