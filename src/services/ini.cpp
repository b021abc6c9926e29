// Reading and rewriting of orvix.ini.
//
// The reader takes the file line by line from the top and looks every key up
// in the keyword table from its first row; a key counts only inside the
// section its row belongs to, and one in another section is told in the error
// file "orvixerror.txt". The writer copies the file line by line and puts a
// fresh keyword line in place of every key of the section it was asked for;
// it looks keys up with a cursor that goes round the table, as the file lists
// keys in table order. All numbers are read as the old C readers did (leading
// blanks, sign, digits, 0 for anything else), without their undefined cases.
#include "services/ini.h"

#include "platform/paths.h"
#include "platform/profile.h"
#include "platform/strutil.h"
#include "store/store.h"

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

char IniFileName[kIniFileNameSize];
int16_t IniOnCommandLine;
int IniCursor;
void (*IniVirtualCloseHook)(int);
uint8_t LookLightKnown;

const char *const IniSections[kIniSectionCount + 1] = {
    "",
    "System section",
    "Fonts and colors section",
    "General repertory section",
    "Repertory window section",
    "Remedy window section",
    "Keynotes section",
    "Clipboard section",
    "Toolbars section",
    "Page setup section",
    "Print setup section",
    "Analyses section",
    "Patient section",
    "Combined analyses section",
    "Families of remedies section",
    "Dorval section",
    "Tobin section",
    "",
};

// Rows: N a number or colour, T a text of n characters, F a font object,
// P a symptom prefix of a level, C a clipboard name.
#define N(var, type, sec, def)                                                 \
  { #var, type, nullptr, kIniNoFont, sec, &var, def }
#define T(var, width, sec, def)                                                \
  { #var, static_cast < int8_t>(-(width)), nullptr, kIniNoFont, sec, var, def }
#define F(name, sec, index)                                                    \
  {                                                                            \
#name, kIniFont, nullptr, static_cast < uint8_t>(index), sec,              \
        &FontObject[index], nullptr                                            \
  }
#define P(level, def)                                                          \
  {                                                                            \
    "SymptomPrefixLevel" #level, kIniQuoted8, nullptr, kIniNoFont, 4,          \
        SymptomPrefixLevel[(level)-1], "\"" def "\""                           \
  }
#define C(n)                                                                   \
  {                                                                            \
    "ClipboardName" #n, static_cast<int8_t>(-kIniDateWidth), nullptr,          \
        kIniNoFont, 7, ClipboardName[(n)-1], "Clipboard " #n                   \
  }

// clang-format off
Keyword Keywords[kKeywordCount + 1] = {
    // ------------------------------------------------ 1 System section
    N(DbBuffers, kIniInt16, 1, "50"),
    N(DbFiles, kIniInt16, 1, "90"),
    N(DbSectors, kIniInt16, 1, "4"),
    T(RemedyCatalogName, kIniPathWidth, 1, "..\\system\\remed"),
    T(AuthorCatalogName, kIniPathWidth, 1, "..\\system\\author"),
    T(MessageCatalogName, kIniPathWidth, 1, "..\\system\\orvixmsg"),
    N(Language, kIniByte, 1, "1"),
    T(CatalogCatalogName, kIniPathWidth, 1, "..\\system\\catalog"),
    T(RootsCatalogName, kIniPathWidth, 1, "..\\system\\roots"),
    T(ThesaurusCatalogName, kIniPathWidth, 1, "..\\system\\thes"),
    T(CasesCatalogName, kIniPathWidth, 1, "..\\cases\\repert"),
    T(PatientCatalogName, kIniPathWidth, 1, "..\\patient\\patient"),
    T(DiagnoseCatalogName, kIniPathWidth, 1, "..\\system\\diag"),
    T(DateFormat, kIniDateWidth, 1, "dd.mm.yyyy"),
    T(TempDir, kIniPathWidth, 1, ""),
    T(LogFileDir, kIniPathWidth, 1, "..\\log"),
    T(LockingFile, kIniPathWidth, 1, "orvlock"),
    T(ZentrixInDir, kIniPathWidth, 1, "..\\zentrix.in"),
    T(ZentrixOutDir, kIniPathWidth, 1, "..\\zentrix.out"),
    T(QueryDir, kIniPathWidth, 1, "..\\query"),
    T(ImageDir, kIniPathWidth, 1, "..\\images"),
    N(NationalLanguage, kIniByte, 1, "1"),
    N(QueryInitialization, kIniByte, 1, "1"),
    T(DefaultImage, kIniPathWidth, 1, "..\\photo"),
    T(DefaultVideo, kIniPathWidth, 1, "..\\video"),
    T(DefaultSound, kIniPathWidth, 1, "..\\sound"),
    N(SosCase, kIniByte, 1, "1"),
    T(UserName, kIniNameWidth, 1, ""),
    T(NetLogFileDir, kIniPathWidth, 1, "..\\log"),
    N(GroupSptByGroup, kIniByte, 1, "1"),
    N(AutomaticConcept, kIniByte, 1, "1"),
    T(ZentrixDir, kIniPathWidth, 1, "C:\\orvix\\zentrix"),
    N(WhiteBackground, kIniByte, 1, "0"),
    N(MultiMediaExternalPlayer, kIniByte, 1, "1"),
    T(MultiMediaPlayerName, kIniPathWidth, 1, "mplay.exe"),
    N(ZentrixVersion, kIniInt16, 1, "3"),
    N(TipsAndTricks, kIniByte, 1, "1"),
    N(ZentrixAutoImport, kIniByte, 1, "1"),
    N(Look3D, kIniByte, 1, "1"),
    N(Veterinary, kIniByte, 1, "1"),
    N(Tooltips, kIniByte, 1, "1"),
    F(AnalyseTextObject, 1, kFontAnalyseText),
    F(AnalyseScoreObject, 1, kFontAnalyseScore),
    F(AnalyseMethodObject, 1, kFontAnalyseMethod),
    F(IndexSentenseObject, 1, kFontIndexSentense),
    // ------------------------------------------------ 2 Fonts and colors
    F(RemedyNumberObject, 2, kFontRemedyNumber),
    F(AuthorAbbrevObject, 2, kFontAuthorAbbrev),
    F(SynonymLg1Object, 2, kFontSynonymLg1),
    F(SynonymLg2Object, 2, kFontSynonymLg2),
    F(CrossReferenceLg1Object, 2, kFontCrossReferenceLg1),
    F(CrossReferenceLg2Object, 2, kFontCrossReferenceLg2),
    F(MasterSynonymLg1Object, 2, kFontMasterSynonymLg1),
    F(MasterSynonymLg2Object, 2, kFontMasterSynonymLg2),
    F(SymptomReminderLg1Object, 2, kFontSymptomReminderLg1),
    F(SymptomReminderLg2Object, 2, kFontSymptomReminderLg2),
    F(SymptomLg1Object, 2, kFontSymptomLg1),
    F(RemedyDegree1Object, 2, kFontRemedyDegree1),
    F(RemedyDegree2Object, 2, kFontRemedyDegree1 + 1),
    F(RemedyDegree3Object, 2, kFontRemedyDegree1 + 2),
    F(RemedyDegree4Object, 2, kFontRemedyDegree1 + 3),
    F(SymptomLevel1Lg1Object, 2, kFontSymptomLevel1Lg1),
    F(SymptomLevel2Lg1Object, 2, kFontSymptomLevel1Lg1 + 1),
    F(SymptomLevel3Lg1Object, 2, kFontSymptomLevel1Lg1 + 2),
    F(SymptomLevel4Lg1Object, 2, kFontSymptomLevel1Lg1 + 3),
    F(SymptomLevel5Lg1Object, 2, kFontSymptomLevel1Lg1 + 4),
    F(SymptomLevel6Lg1Object, 2, kFontSymptomLevel1Lg1 + 5),
    F(SymptomLevel7Lg1Object, 2, kFontSymptomLevel1Lg1 + 6),
    F(SymptomLevel8Lg1Object, 2, kFontSymptomLevel1Lg1 + 7),
    F(SymptomLevel9Lg1Object, 2, kFontSymptomLevel1Lg1 + 8),
    F(SymptomLevel10Lg1Object, 2, kFontSymptomLevel1Lg1 + 9),
    F(SymptomLevel11Lg1Object, 2, kFontSymptomLevel1Lg1 + 10),
    F(SymptomLevel12Lg1Object, 2, kFontSymptomLevel1Lg1 + 11),
    F(SymptomLevel1Lg2Object, 2, kFontSymptomLevel1Lg2),
    F(SymptomLevel2Lg2Object, 2, kFontSymptomLevel1Lg2 + 1),
    F(SymptomLevel3Lg2Object, 2, kFontSymptomLevel1Lg2 + 2),
    F(SymptomLevel4Lg2Object, 2, kFontSymptomLevel1Lg2 + 3),
    F(SymptomLevel5Lg2Object, 2, kFontSymptomLevel1Lg2 + 4),
    F(SymptomLevel6Lg2Object, 2, kFontSymptomLevel1Lg2 + 5),
    F(SymptomLevel7Lg2Object, 2, kFontSymptomLevel1Lg2 + 6),
    F(SymptomLevel8Lg2Object, 2, kFontSymptomLevel1Lg2 + 7),
    F(SymptomLevel9Lg2Object, 2, kFontSymptomLevel1Lg2 + 8),
    F(SymptomLevel10Lg2Object, 2, kFontSymptomLevel1Lg2 + 9),
    F(SymptomLevel11Lg2Object, 2, kFontSymptomLevel1Lg2 + 10),
    F(SymptomLevel12Lg2Object, 2, kFontSymptomLevel1Lg2 + 11),
    F(SymptomLg2Object, 2, kFontSymptomLg2),
    F(IconChapter1Object, 2, kFontIconChapter1),
    F(IconChapter2Object, 2, kFontIconChapter2),
    F(RemedyObject, 2, kFontRemedy),
    F(SymptomCausatifLg1Object, 2, kFontSymptomCausatifLg1),
    F(SymptomCausatifLg2Object, 2, kFontSymptomCausatifLg2),
    F(SymptomEliminatifLg1Object, 2, kFontSymptomEliminatifLg1),
    F(SymptomEliminatifLg2Object, 2, kFontSymptomEliminatifLg2),
    F(SymptomCausatifEliminatifLg1Object, 2, kFontSymptomCausatifEliminatifLg1),
    F(SymptomCausatifEliminatifLg2Object, 2, kFontSymptomCausatifEliminatifLg2),
    F(GeneralObjectObject, 2, kFontGeneralObject),
    F(SymptomViewLang1Object, 2, kFontSymptomViewLang1),
    F(SymptomViewLang2Object, 2, kFontSymptomViewLang2),
    F(FamilyObject, 2, kFontFamily),
    F(MultiCbObject, 2, kFontMultiCb),
    F(AuthorWithNoteObject, 2, kFontAuthorWithNote),
    F(ScoreHighLight, 2, kFontScoreHighLight),
    F(AuthorXXXObject, 2, kFontAuthorXXX),
    // ------------------------------------------------ 3 General repertory
    N(RepertoryColor, kIniColor, 3, "white"),
    T(Repertories, kIniListWidth, 3, "1,2,3,4,5,6,7,8,9"),
    // ------------------------------------------------ 4 Repertory window
    N(RepertoryColumns, kIniInt16, 4, "2"),
    N(RemedyDisplayInfo, kIniByte, 4, "2"),
    N(RemedyIndentation, kIniInt16, 4, "5"),
    N(AuthorDisplayInfo, kIniByte, 4, "0"),
    N(AuthorDisplayScript, kIniByte, 4, "0"),
    N(AuthorIndentation, kIniInt16, 4, "2"),
    N(SymptomLastLevel, kIniInt16, 4, "12"),
    P(1, ""), P(2, ""), P(3, "- "), P(4, ". "), P(5, ""), P(6, ""),
    P(7, ""), P(8, ""), P(9, ""), P(10, ""), P(11, ""), P(12, ""),
    N(SymptomIndentation, kIniInt16, 4, "10"),
    N(CrossReferenceDisplayInfo, kIniByte, 4, "1"),
    N(SynonymDisplayInfo, kIniByte, 4, "1"),
    N(MasterSynonymDisplayInfo, kIniByte, 4, "1"),
    N(RemedyLimitedToDegree1, kIniByte, 4, "1"),
    N(RemedyLimitedToDegree2, kIniByte, 4, "1"),
    N(RemedyLimitedToDegree3, kIniByte, 4, "1"),
    N(RemedyLimitedToDegree4, kIniByte, 4, "1"),
    N(WithMultiMedia, kIniByte, 4, "1"),
    N(ConceptInformation, kIniByte, 4, "1"),
    N(AuthorMax, kIniInt32, 4, "999"),
    // ------------------------------------------------ 5 Remedy window
    N(RemedyDisplayType, kIniByte, 5, "1"),
    N(RemedySort, kIniByte, 5, "2"),
    // ------------------------------------------------ 6 Keynotes
    T(Keynotes, kIniListWidth, 6, "1,2,3,4,5,6,7,8,9,10"),
    {"KeynotesFontName", kIniInertName, nullptr, kIniNoFont, 6, nullptr,
     nullptr},
    {"KeynotesFontStyle", kIniInertStyle, nullptr, kIniNoFont, 6, nullptr,
     nullptr},
    {"KeynotesFontSize", kIniByte, nullptr, kIniNoFont, 6,
     &KeynotesFontObject.size, "10"},
    N(KeynotesDrop, kIniByte, 6, "1"),
    // ------------------------------------------------ 7 Clipboard
    C(1), C(2), C(3), C(4), C(5), C(6), C(7), C(8), C(9), C(10),
    // ------------------------------------------------ 8 Toolbars
    N(ToolBar, kIniInt16, 8, "1"),
    N(PictureBar, kIniInt16, 8, "2"),
    N(StatusBar, kIniInt16, 8, "4"),
    F(NumberOfSymptomsObject, 8, kFontNumberOfSymptoms),
    // ------------------------------------------------ 9 Page setup
    N(MetricsType, kIniByte, 9, "0"),
    N(HeaderPageNumber, kIniByte, 9, "0"),
    N(HeaderDate, kIniByte, 9, "0"),
    N(HeaderTime, kIniByte, 9, "0"),
    N(FooterPageNumber, kIniByte, 9, "2"),
    N(FooterDate, kIniByte, 9, "3"),
    N(FooterTime, kIniByte, 9, "3"),
    N(LeftMargin, kIniFloat, 9, "1.00"),
    N(RightMargin, kIniFloat, 9, "1.00"),
    N(TopMargin, kIniFloat, 9, "1.00"),
    N(BottomMargin, kIniFloat, 9, "1.00"),
    // ------------------------------------------------ 10 Print setup
    N(Copies, kIniInt16, 10, "1"),
    N(PrinterType, kIniByte, 10, "1"),
    // ------------------------------------------------ 11 Analyses
    N(AnalysesQualif, kIniByte, 11, "2"),
    N(AnalyseSquaredDegrees, kIniByte, 11, "0"),
    N(AnalyseConsiderIntensity, kIniByte, 11, "1"),
    N(AnalyseMethod, kIniByte, 11, "1"),
    N(AnalysePolychrest, kIniByte, 11, "0"),
    N(AnalyseSmallRemed, kIniByte, 11, "0"),
    N(AnalyseExportWidth, kIniInt16, 11, "80"),
    N(AnalyseScreen, kIniByte, 11, "1"),
    // ------------------------------------------------ 12 Patient
    N(PatientBackgroundColor, kIniColor, 12, "lightgray"),
    N(PatientForegroundColor, kIniColor, 12, "gray"),
    N(PatientTextColor, kIniColor, 12, "blue"),
    T(PatientEditorName, kIniPathWidth, 12, "C:\\windows\\write.exe"),
    T(PatientEditorDirectory, kIniPathWidth, 12, "C:\\windows"),
    T(PatientBackup, kIniPathWidth, 12, ""),
    T(PatientRestore, kIniPathWidth, 12, ""),
    N(EditorServer, kIniByte, 12, "0"),
    T(EditorOpenString, kIniPathWidth, 12, ""),
    T(EditorOpenService, kIniDdeWidth, 12, ""),
    T(EditorOpenTopic, kIniDdeWidth, 12, ""),
    N(Program, kIniByte, 12, "0"),
    // ------------------------------------------------ 13 Combined analyses
    N(CombinedAnalysesSquaredDegrees, kIniByte, 13, "1"),
    N(CombinedAnalysesConsiderIntensity, kIniByte, 13, "0"),
    N(CombinedAnalysesQualif, kIniByte, 13, "0"),
    N(CombinedAnalysesPolychrest, kIniByte, 13, "0"),
    N(CombinedAnalysesSmallRemed, kIniByte, 13, "2"),
    N(CombinedAnalysesSpt, kIniInt16, 13, "10"),
    N(CombinedAnalysesDegrees, kIniByte, 13, "0"),
    N(CombinedAnalysesSptDegrees, kIniByte, 13, "0"),
    N(CombinedAnalysesSmllRubrics, kIniByte, 13, "0"),
    N(CombinedAnalysesSmllRemedies, kIniByte, 13, "0"),
    N(CombinedAnalysesSmallProminence, kIniByte, 13, "0"),
    N(CombinedAnalysesSmallVes, kIniByte, 13, "0"),
    // ------------------------------------------------ 14 Families of remedies
    N(FirstRemediesType, kIniByte, 14, "5"),
    N(FirstRemedies, kIniInt16, 14, "0"),
    N(SortType, kIniByte, 14, "1"),
    N(ShowFam, kIniByte, 14, "1"),
    N(ViewFam, kIniByte, 14, "1"),
    N(Plant, kIniByte, 14, "0"),
    // ------------------------------------------------ 15 Dorval
    N(AutomaticStart, kIniByte, 15, "0"),
    N(OpenView, kIniByte, 15, "0"),
    N(Intensity, kIniByte, 15, "1"),
    N(ShowMsg, kIniByte, 15, "1"),
    N(MsgType, kIniByte, 15, "0"),
    N(Mode, kIniInt32, 15, "1"),
    T(Path, kIniPathWidth, 15, "..\\data\\dorval"),
    N(Intro, kIniByte, 15, "1"),
    N(Logo, kIniByte, 15, "1"),
    // ------------------------------------------------ 16 Tobin
    N(TobinRepertory, kIniInt16, 16, "22"),
    N(ShowWelcome, kIniByte, 16, "1"),
    // closing row
    {nullptr, 0, nullptr, kIniNoFont, 0, nullptr, nullptr},
};
// clang-format on

#undef N
#undef T
#undef F
#undef P
#undef C

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

char Lower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

char Upper(char c) {
  return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

bool EqualFold(const char *a, const char *b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (Lower(*a) != Lower(*b))
      return false;
  }
  return *a == *b;
}

// Whether name, lower-cased, begins with key (already lower case).
bool BeginsWith(const char *name, const char *key) {
  for (; *key != '\0'; ++name, ++key) {
    if (*name == '\0' || Lower(*name) != *key)
      return false;
  }
  return true;
}

const char *SkipBlanks(const char *s) {
  while (IsBlank(*s))
    ++s;
  return s;
}

// atoi as the file was always read: blanks, sign, digits; anything else 0.
// Values beyond 32 bits keep their low 32 bits instead of being undefined.
int32_t ToInt32(const char *s) {
  long v = strtol(s, nullptr, 10);
  return static_cast<int32_t>(static_cast<uint32_t>(v));
}

int32_t ReadColor(char *text) {
  char *p = text;
  while (IsBlank(*p))
    ++p;
  for (char *q = p; *q != '\0'; ++q)
    *q = Lower(*q);
  for (const IniColor &c : IniColorTable) {
    if (strcmp(c.word, p) == 0)
      return c.value;
  }
  return ToInt32(p);
}

const char *ColorWord(int32_t value) {
  for (const IniColor &c : IniColorTable) {
    if (c.value == value)
      return c.word;
  }
  return nullptr;
}

struct FontDefault {
  uint8_t index;
  uint16_t style;
  uint8_t size;
  int32_t foreground;
  int32_t background;
};

// Objects not named here are bold, size 10, black on white.
constexpr FontDefault kFontDefaults[] = {
    {kFontRemedyNumber, 0, 10, kColorBlack, kColorWhite},
    {kFontAuthorAbbrev, 0, 8, kColorMagenta, kColorWhite},
    {kFontSynonymLg2, 1, 10, kColorBlue, kColorWhite},
    {kFontMasterSynonymLg1, 1, 10, kColorBlue, kColorWhite},
    {kFontMasterSynonymLg2, 1, 10, kColorBlue, kColorWhite},
    {kFontCrossReferenceLg1, 2, 9, kColorRed, kColorWhite},
    {kFontCrossReferenceLg2, 2, 9, kColorBlue, kColorWhite},
    {kFontSymptomReminderLg1, 1, 10, kColorRed, kColorWhite},
    {kFontSymptomReminderLg2, 1, 10, kColorRed, kColorWhite},
    {kFontFamily, 1, 10, kColorRed, kColorWhite},
    {kFontSymptomLg1, 0, 9, kColorBlack, kColorWhite},
    {kFontSymptomLg2, 0, 9, kColorBlue, kColorWhite},
    {kFontIconChapter1, 0, 6, kColorBlack, kColorWhite},
    {kFontIconChapter2, 0, 6, kColorBlue, kColorWhite},
    {kFontRemedy, 1, 9, kColorBlue, kColorWhite},
    {kFontSymptomCausatifLg1, 0, 9, kColorRed, kColorWhite},
    {kFontSymptomCausatifLg2, 0, 9, kColorRed, kColorWhite},
    {kFontSymptomEliminatifLg1, 0, 9, kColorGray, kColorWhite},
    {kFontSymptomEliminatifLg2, 0, 9, kColorGray, kColorWhite},
    {kFontSymptomCausatifEliminatifLg1, 0, 9, kColorMagenta, kColorWhite},
    {kFontSymptomCausatifEliminatifLg2, 0, 9, kColorMagenta, kColorWhite},
    {kFontSymptomViewLang1, 0, 10, kColorGray, kColorWhite},
    {kFontSymptomViewLang2, 0, 10, kColorGray, kColorWhite},
    {kFontAnalyseText, 0, 9, kColorBlue, kColorWhite},
    {kFontAnalyseMethod, 0, 9, kColorBlue, kColorWhite},
    {kFontAnalyseScore, 1, 9, kColorBlue, kColorWhite},
    {kFontNumberOfSymptoms, 0, 7, kColorBlack, kColorLightGray},
    {kFontIndexSentense, 0, 7, kColorRed, kColorWhite},
    {kFontMultiCb, 0, 8, kColorBlack, kColorWhite},
    {kFontScoreHighLight, 0, 9, kColorRed, kColorWhite},
    {kFontSymptomLevel1Lg1, 1, 14, kColorBlack, kColorWhite},
    {kFontSymptomLevel1Lg2, 1, 14, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 1, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 2, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 3, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 4, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 5, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 6, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 7, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 8, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 9, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 10, 1, 10, kColorBlue, kColorWhite},
    {kFontSymptomLevel1Lg2 + 11, 1, 10, kColorBlue, kColorWhite},
    {kFontRemedyDegree1, 0, 10, kColorBlack, kColorWhite},
    {kFontRemedyDegree1 + 1, 2, 10, kColorBlue, kColorWhite},
    {kFontRemedyDegree1 + 2, 1, 10, kColorRed, kColorWhite},
    {kFontRemedyDegree1 + 3, 17, 10, kColorRed, kColorWhite},
    {kFontAuthorWithNote, 17, 8, kColorMagenta, kColorWhite},
    {kFontAuthorXXX, 512, 10, kColorGray, kColorWhite},
};

void DefaultFont(int index) {
  IniFont &f = FontObject[index];
  // The analysis text font has never had a family of its own: the toolkit's
  // default family shows unless the file names one.
  StrCopy(f.family, index == kFontAnalyseText ? "" : "helvetica");
  f.style = kFontBold;
  f.size = 10;
  f.foreground = kColorBlack;
  f.background = kColorWhite;
  for (const FontDefault &d : kFontDefaults) {
    if (d.index == index) {
      f.style = d.style;
      f.size = d.size;
      f.foreground = d.foreground;
      f.background = d.background;
    }
  }
}

// Fonts 28 to 32 have fixed defaults, set again after every section's
// defaults so that they do not depend on the order of the sections.
void DefaultFixedFonts() {
  for (int i = kFontNumberOfSymptoms; i <= kFontIndexSentense; ++i)
    DefaultFont(i);
}

// Reads one line of the file into buf: at most cap-1 bytes, stopping behind a
// newline, which is kept. Answers false at the end of the file.
bool ReadChunk(FILE *f, char *buf, size_t cap, size_t *len) {
  size_t n = 0;
  int c = EOF;
  while (n + 1 < cap && (c = getc(f)) != EOF) {
    buf[n++] = static_cast<char>(c);
    if (c == '\n')
      break;
  }
  buf[n] = '\0';
  *len = n;
  return n > 0;
}

// Reads one line for the reader: at most kIniLineMax characters are kept, the
// rest of a longer line is passed over, the newline is dropped. Answers false
// at the end of the file.
bool ReadCutLine(FILE *f, char *buf, size_t *len) {
  size_t n = 0;
  bool any = false;
  int c;
  while ((c = getc(f)) != EOF) {
    any = true;
    if (c == '\n')
      break;
    if (n < static_cast<size_t>(kIniLineMax))
      buf[n++] = static_cast<char>(c);
  }
  buf[n] = '\0';
  *len = n;
  return any;
}

// The key of an assignment for the reader: what stands before the "=", less
// the blanks around it, lower-cased.
void KeyOfAssignment(const char *line, const char *eq, char *key) {
  const char *kb = line;
  const char *ke = eq;
  while (kb < ke && IsBlank(*kb))
    ++kb;
  while (ke > kb && IsBlank(ke[-1]))
    --ke;
  size_t n = 0;
  for (; kb < ke; ++kb)
    key[n++] = Lower(*kb);
  key[n] = '\0';
}

// Passes over the rest of a line whose first part has been read.
void SkipRestOfLine(FILE *f) {
  int c;
  while ((c = getc(f)) != EOF && c != '\n') {
  }
}

bool Put(FILE *f, const char *s, size_t n) {
  return fwrite(s, 1, n, f) == n;
}

bool PutText(FILE *f, const char *s) {
  return Put(f, s, strlen(s));
}

bool IsBlankLine(const char *line, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (!IsBlank(line[i]) && line[i] != '\r' && line[i] != '\n')
      return false;
  return true;
}

// Whether a header line names the section, read as the reader reads it:
// trailing blanks and the line end go, then the last character (the
// bracket), and the rest is compared without regard to case.
bool HeaderNames(const char *line, int section) {
  std::string name(line + 1);
  while (!name.empty() &&
         (name.back() == '\n' || name.back() == '\r' || IsBlank(name.back())))
    name.pop_back();
  if (!name.empty())
    name.pop_back();
  return EqualFold(name.c_str(), IniSections[section]);
}

// The keyword line of a row as the file holds it; empty when the row writes
// nothing (inert rows, colours without a word).
void RowLine(int row, char *line, size_t cap) {
  const Keyword &k = Keywords[row];
  line[0] = '\0';
  if (k.type == kIniInertName || k.type == kIniInertStyle)
    return;
  if (k.target == nullptr) {
    StrFormat(line, cap, "%s=NULL\n", k.name);
    return;
  }
  switch (k.type) {
  case kIniInt32:
    StrFormat(line, cap, "%s=%d\n", k.name, *static_cast<int32_t *>(k.target));
    break;
  case kIniSwitch:
  case kIniByte:
    StrFormat(line, cap, "%s=%d\n", k.name, *static_cast<uint8_t *>(k.target));
    break;
  case kIniInt16:
    StrFormat(line, cap, "%s=%d\n", k.name, *static_cast<int16_t *>(k.target));
    break;
  case kIniColor: {
    const char *word = ColorWord(*static_cast<int32_t *>(k.target));
    if (word != nullptr)
      StrFormat(line, cap, "%s=%s\n", k.name, word);
    break;
  }
  case kIniQuoted8:
    StrFormat(line, cap, "%s=\"%s\"\n", k.name, static_cast<char *>(k.target));
    break;
  case kIniFont: {
    StrFormat(line, cap, "%s=", k.name);
    size_t n = strlen(line);
    IniFontText(static_cast<IniFont *>(k.target), line + n, cap - n);
    break;
  }
  case kIniFloat:
    StrFormat(line, cap, "%s=%.2lf\n", k.name,
              static_cast<double>(*static_cast<float *>(k.target)));
    break;
  default:
    if (k.type < 0)
      StrFormat(line, cap, "%s=%s\n", k.name, static_cast<char *>(k.target));
    break;
  }
}

constexpr size_t kRowLineSize = kIniRepertoriesSize + 100;

// Writes the keyword line of a row, with the file's own line end.
bool WriteRow(FILE *f, int row, bool crlf) {
  char line[kRowLineSize];
  RowLine(row, line, sizeof line);
  size_t n = strlen(line);
  if (crlf && n > 0 && line[n - 1] == '\n')
    return Put(f, line, n - 1) && Put(f, "\r\n", 2);
  return Put(f, line, n);
}

// Whether something stands at the real path. A configuration file that exists
// but cannot be opened must never be replaced by a file of defaults.
bool Exists(const std::string &real) {
  struct stat st;
  return stat(real.c_str(), &st) == 0;
}

// Moves the finished work file over the configuration file. A rename is the
// one step that replaces it; when the two lie on different file systems the
// work file is first copied beside the configuration file.
bool MoveOver(const char *from, const std::string &to) {
  if (rename(from, to.c_str()) == 0)
    return true;
  if (errno != EXDEV)
    return false;
  std::string beside = to + ".new";
  FILE *in = fopen(from, "rb");
  FILE *out = in != nullptr ? fopen(beside.c_str(), "wb") : nullptr;
  bool ok = in != nullptr && out != nullptr;
  char buf[4096];
  size_t n;
  while (ok && (n = fread(buf, 1, sizeof buf, in)) > 0)
    ok = fwrite(buf, 1, n, out) == n;
  if (in != nullptr) {
    ok = ok && !ferror(in);
    fclose(in);
  }
  if (out != nullptr && fclose(out) != 0)
    ok = false;
  if (ok && rename(beside.c_str(), to.c_str()) == 0) {
    unlink(from);
    return true;
  }
  unlink(beside.c_str());
  return false;
}

void ReadProfileKeys() {
  char buf[kIniRepertoriesSize];
  const char *ini = IniFileName;

  GetPrivateProfileStringA("Repertory window section", "ShowNote", "1", buf, 2,
                           ini);
  ShowNote = ToInt32(buf);
  GetPrivateProfileStringA("Repertory window section", "ShowMark", "0", buf, 5,
                           ini);
  ShowMark = ToInt32(buf);
  GetPrivateProfileStringA("New Search Window", "Always", "0", buf, 2, ini);
  NewSearchAlways = static_cast<uint8_t>(ToInt32(buf));
  GetPrivateProfileStringA("System section", "CopyUsid", "0", buf, 2, ini);
  CopyUsid = static_cast<uint8_t>(ToInt32(buf));
  GetPrivateProfileStringA("System section", "CasesSingle", "0", buf, 2, ini);
  CasesSingle = static_cast<uint8_t>(ToInt32(buf));
  GetPrivateProfileStringA("General repertory section", "Repertories",
                           "1,2,3,4,5,6,7,8,9", Repertories, sizeof Repertories,
                           ini);
  GetPrivateProfileStringA("System Section", "CanTakeNoRmd", "0", buf, 2, ini);
  CanTakeNoRmd = static_cast<uint8_t>(ToInt32(buf));
  GetPrivateProfileStringA("System Section", "MarkerSearchLimit", "0", buf, 2,
                           ini);
  MarkerSearchLimit = static_cast<uint8_t>(ToInt32(buf));
  GetPrivateProfileStringA("System Section", "MarkerReminder", "1", buf, 2,
                           ini);
  MarkerReminder = static_cast<uint8_t>(ToInt32(buf));
  GetPrivateProfileStringA("Families of remedies section", "Name", "0", buf, 2,
                           ini);
  FamiliesName = static_cast<uint8_t>(ToInt32(buf));
  GetPrivateProfileStringA("New Analysis Window", "Graph", "1", buf, 2, ini);
  AnalyseSquaredDegrees = ToInt32(buf) == 1 ? 1 : 0;

  // Stored as the platform gives them (blue in the high byte); the program
  // keeps red high.
  static const int kDegreeDefaults[4] = {16777175, 16760960, 16711680, 255};
  for (int i = 0; i < 4; ++i) {
    char key[16];
    StrFormat(key, "Degree%dColor", i + 1);
    uint32_t v = GetPrivateProfileIntA("New Analysis Window", key,
                                       kDegreeDefaults[i], ini);
    DegreeColor[i] =
        (v & 0xFF00FF00u) | ((v & 0xFFu) << 16) | ((v >> 16) & 0xFFu);
  }

  char font[255];
  GetPrivateProfileStringA("Fonts and colors section", "AuthorWithNoteObject",
                           "", font, sizeof font, ini);
  if (font[0] != '\0')
    IniParseFont(&FontObject[kFontAuthorWithNote], font);
  GetPrivateProfileStringA("Fonts and colors section", "AuthorXXXObject", "",
                           font, sizeof font, ini);
  if (font[0] != '\0')
    IniParseFont(&FontObject[kFontAuthorXXX], font);

  char key[24];
  StrFormat(key, "ExoticFont%d", Language);
  GetPrivateProfileStringA("System section", key,
                           Language == 12 ? "MS UI Gothic" : "", ExoticFont,
                           sizeof ExoticFont, ini);

  IniReadExtendSize();
}

} // namespace

void IniSetPath(const char *name) {
  if (name == nullptr)
    name = "";
  if (strchr(name, '\\') != nullptr) {
    StrCopy(IniFileName, name);
    return;
  }
  char cwd[4096];
  if (getcwd(cwd, sizeof cwd) == nullptr)
    StrCopy(cwd, ".");
  StrFormat(IniFileName, "%s\\%s", cwd, name);
}

void IniBindTargets(int row) {
  if (row < 0 || row >= kKeywordCount)
    return;
  Keywords[row].target = Keywords[row].home;
}

void IniSetDefaults(int section) {
  for (int row = 0; row < kKeywordCount; ++row) {
    Keyword &k = Keywords[row];
    if (k.section != section)
      continue;
    IniBindTargets(row);
    if (k.type == kIniFont) {
      DefaultFont(k.fontIndex);
    } else if (k.defaultText != nullptr) {
      char text[kIniRepertoriesSize];
      StrCopy(text, k.defaultText);
      IniStoreValue(row, text);
    }
  }
  switch (section) {
  case 2: // objects that no key names
    for (int i = kFontSymptomLevel1Lg2 + 12; i < kFontAuthorWithNote; ++i)
      DefaultFont(i);
    break;
  case 4:
    ShowNote = 1;
    ShowMark = 0;
    break;
  case 6:
    StrCopy(KeynotesFontObject.family, "helvetica");
    KeynotesFontObject.style = 0;
    KeynotesFontObject.foreground = kColorBlack;
    KeynotesFontObject.background = kColorWhite;
    break;
  default:
    break;
  }
}

void IniStoreValue(int row, char *text) {
  if (row < 0 || row >= kKeywordCount || text == nullptr)
    return;
  const Keyword &k = Keywords[row];
  if (k.target == nullptr)
    return;
  const char *p = SkipBlanks(text);
  switch (k.type) {
  case kIniInt32:
    *static_cast<int32_t *>(k.target) = ToInt32(p);
    break;
  case kIniSwitch: {
    uint8_t *v = static_cast<uint8_t *>(k.target);
    if (*p == '0' || *p == 'F' || *p == 'f')
      *v = 0;
    else if (*p == '1' || *p == 'T' || *p == 't')
      *v = 1;
    else if (strncmp(p, "on", 2) == 0 || strncmp(p, "ON", 2) == 0)
      *v = 1;
    else if (strncmp(p, "off", 3) == 0 || strncmp(p, "OFF", 3) == 0)
      *v = 0;
    break;
  }
  case kIniColor:
    *static_cast<int32_t *>(k.target) = ReadColor(text);
    break;
  case kIniInertName:
  case kIniInertStyle:
    break;
  case kIniQuoted8: {
    const char *open = strchr(text, '"');
    if (open == nullptr)
      break;
    const char *close = strchr(open + 1, '"');
    size_t n = close != nullptr ? static_cast<size_t>(close - open - 1)
                                : strlen(open + 1);
    if (n > kIniPrefixWidth)
      n = kIniPrefixWidth;
    StrCopy(static_cast<char *>(k.target), n + 1, open + 1);
    break;
  }
  case kIniByte:
    *static_cast<uint8_t *>(k.target) = static_cast<uint8_t>(ToInt32(p));
    break;
  case kIniFont:
    IniParseFont(static_cast<IniFont *>(k.target), text);
    break;
  case kIniFloat: {
    double d = strtod(p, nullptr);
    if (std::isfinite(d) && d > FLT_MAX)
      d = FLT_MAX;
    else if (std::isfinite(d) && d < -FLT_MAX)
      d = -FLT_MAX;
    *static_cast<float *>(k.target) = static_cast<float>(d);
    break;
  }
  case kIniInt16:
    *static_cast<int16_t *>(k.target) = static_cast<int16_t>(ToInt32(p));
    break;
  default:
    if (k.type < 0) { // leading blanks belong to the value
      size_t n = strlen(text);
      size_t width = static_cast<size_t>(-k.type);
      if (n > width)
        n = width;
      StrCopy(static_cast<char *>(k.target), n + 1, text);
    }
    break;
  }
}

void IniParseFont(IniFont *font, const char *text) {
  if (font == nullptr || text == nullptr)
    return;
  const char *p = text;
  for (int field = 0; field < 4; ++field) {
    const char *comma = strchr(p, ',');
    if (comma == nullptr)
      return; // the fields from here on keep their values
    size_t n = static_cast<size_t>(comma - p);
    if (n < kFontFamilySize) {
      char part[kFontFamilySize];
      StrCopy(part, n + 1, p);
      switch (field) {
      case 0:
        font->foreground = ReadColor(part);
        break;
      case 1:
        font->background = ReadColor(part);
        break;
      case 2:
        StrCopy(font->family, part);
        break;
      default:
        font->style = 0;
        if (strstr(part, "bold") != nullptr)
          font->style |= kFontBold;
        if (strstr(part, "italic") != nullptr)
          font->style |= kFontItalic;
        if (strstr(part, "underline") != nullptr)
          font->style |= kFontUnderline;
        if (strstr(part, "strikeout") != nullptr)
          font->style |= kFontStrikeout;
        break;
      }
    }
    p = comma + 1;
  }
  font->size = static_cast<uint8_t>(ToInt32(SkipBlanks(p)));
}

size_t IniFontText(const IniFont *font, char *buf, size_t cap) {
  return StrFormat(
      buf, cap, "%ld,%ld,%s,normal%s%s%s%s,%d\n",
      static_cast<long>(font->foreground), static_cast<long>(font->background),
      font->family, (font->style & kFontBold) ? "+bold" : "",
      (font->style & kFontItalic) ? "+italic" : "",
      (font->style & kFontUnderline) ? "+underline" : "",
      (font->style & kFontStrikeout) ? "+strikeout" : "", font->size);
}

void IniApplyFonts() {
  FontObject[kFontIndexSentense].size = 7;
  for (int i : {kFontIconChapter1, kFontIconChapter2}) {
    if (FontObject[i].size < 8)
      FontObject[i].size = 8;
  }
  auto apply = [](IniFont &f) {
    StrCopy(f.appliedFamily, ExoticFont[0] != '\0' ? ExoticFont : f.family);
    f.appliedStyle = f.style;
    f.appliedSize = f.size;
  };
  for (IniFont &f : FontObject)
    apply(f);
  apply(KeynotesFontObject);
}

size_t IniKeyOfLine(const char *line, char *key, size_t cap) {
  if (key == nullptr || cap == 0)
    return 0;
  size_t n = 0;
  for (const char *p = line; p != nullptr && *p != '\0' && *p != '='; ++p) {
    if (IsBlank(*p))
      continue;
    if (n + 1 < cap)
      key[n++] = Lower(*p);
  }
  key[n] = '\0';
  return n;
}

int IniMatchKeyword(const char *key) {
  // An empty key would match any row; a line "=value" belongs to no row.
  if (key == nullptr || *key == '\0')
    return -1;
  if (IniCursor < 0 || IniCursor >= kKeywordCount)
    IniCursor = 0;
  int start = IniCursor;
  for (int i = 0; i < kKeywordCount; ++i) {
    int row = (start + i) % kKeywordCount;
    if (BeginsWith(Keywords[row].name, key)) {
      IniCursor = (row + 1) % kKeywordCount;
      return row;
    }
  }
  return -1;
}

int IniRead() {
  for (int row = 0; row < kKeywordCount; ++row)
    IniBindTargets(row);
  for (int s = 1; s <= kIniSectionCount; ++s) {
    IniSetDefaults(s);
    DefaultFixedFonts();
  }
  ShowMessageNumbers = 0;

  int rc = 0;
  char section[kIniLineMax + 2] = "";
  FILE *err = fopen(kIniErrorFile, "w"); // may fail: reports then go nowhere
  std::string real;
  FILE *f =
      PlatRealPath(IniFileName, real) ? fopen(real.c_str(), "rb") : nullptr;
  if (f == nullptr) {
    // No file: make one of defaults. A file that is there but can't be read
    // is left alone.
    if (real.empty() || Exists(real))
      rc = kErrNoFile;
    else
      rc = IniWrite(-1);
  } else {
    char line[kIniLineMax + 2];
    size_t n;
    while (ReadCutLine(f, line, &n)) {
      n = strlen(line); // a zero byte ends the text
      while (n > 0 && (IsBlank(line[n - 1]) || line[n - 1] == '\r'))
        --n;
      line[n++] = '\n';
      line[n] = '\0';

      char *eq = strchr(line, '=');
      if (line[0] == '#' || eq == nullptr) {
        if (line[0] == '[') {
          // Newline and closing bracket go without a look at them.
          size_t j = 0;
          for (size_t i = 1; i + 2 < n; ++i)
            section[j++] = Upper(line[i]);
          section[j] = '\0';
        }
        continue;
      }
      line[n - 1] = '\0';
      char key[kIniLineMax + 1];
      KeyOfAssignment(line, eq, key);

      int row = 0;
      while (Keywords[row].name != nullptr &&
             !EqualFold(Keywords[row].name, key))
        ++row;
      if (Keywords[row].name == nullptr)
        continue; // a key of the main application, or of nobody
      if (EqualFold(IniSections[Keywords[row].section], section)) {
        IniStoreValue(row, eq + 1);
      } else if (err != nullptr) {
        char msg[2 * kIniLineMax + 64];
        StrFormat(msg, "Keyword found in bad section: %s in %s\n", key,
                  section);
        PutText(err, msg);
      }
    }
    if (ferror(f))
      rc = kErrNoFile; // what was read holds; the rest stays at defaults
    fclose(f);
  }
  if (err != nullptr)
    fclose(err);

  AnalysePolychrest = 0;
  AnalyseSmallRemed = 0;
  ModeWord = static_cast<int16_t>(Mode);
  if (Language > 190) {
    Language = static_cast<uint8_t>(256 - Language);
    ShowMessageNumbers = 1;
  }
  ReadProfileKeys();
  IniApplyFonts();
  return rc;
}

int IniWrite(int section) {
  if (IniVirtualCloseHook != nullptr)
    IniVirtualCloseHook(3);
  std::string real;
  if (!PlatRealPath(IniFileName, real))
    return kErrNoFile;
  FILE *old = fopen(real.c_str(), "rb");
  if (old == nullptr && Exists(real))
    return kErrNoFile; // there but unreadable: never replaced by defaults

  // The work file is "temp.ini" in the current folder, unless that is the
  // configuration file itself.
  std::string work = kIniTempFile;
  struct stat a, b;
  if (stat(work.c_str(), &a) == 0 && stat(real.c_str(), &b) == 0 &&
      a.st_dev == b.st_dev && a.st_ino == b.st_ino)
    work = real + ".new";
  FILE *tmp = fopen(work.c_str(), "wb");
  if (tmp == nullptr) {
    if (old != nullptr)
      fclose(old);
    return kErrNoFile;
  }

  bool ok = true;
  if (old == nullptr) {
    for (int s = 1; s <= kIniSectionCount; ++s) {
      bool first = true;
      for (int row = 0; ok && row < kKeywordCount; ++row) {
        if (Keywords[row].section != s)
          continue;
        if (first) {
          char head[80];
          StrFormat(head, "\n[%s]\n", IniSections[s]);
          ok = PutText(tmp, head);
          first = false;
        }
        ok = ok && WriteRow(tmp, row, false);
      }
    }
  } else {
    bool crlf = false, styleSeen = false, endsInNewline = true;
    // The writer follows the section headers as the reader does: a key is
    // replaced in its own section only, and the keys the section lacks are
    // added at the end of that section, before the next header and the
    // blank lines that lead to it.
    bool inSection = false, sectionSeen = false, added = false;
    std::string pendingBlanks;
    auto addMissing = [&]() {
      for (int row = 0; ok && row < kKeywordCount; ++row)
        if (Keywords[row].section == section)
          ok = WriteRow(tmp, row, crlf);
      added = true;
    };
    char chunk[kIniLineMax + 1];
    size_t n;
    while (ok && ReadChunk(old, chunk, sizeof chunk, &n)) {
      bool complete = chunk[n - 1] == '\n';
      if (!styleSeen && complete) {
        crlf = n >= 2 && chunk[n - 2] == '\r';
        styleSeen = true;
      }
      if (section > 0 && chunk[0] == '[') {
        bool ours = HeaderNames(chunk, section);
        if (inSection && !ours && !added)
          addMissing();
        if (inSection && !pendingBlanks.empty()) {
          ok = ok && Put(tmp, pendingBlanks.data(), pendingBlanks.size());
          pendingBlanks.clear();
        }
        inSection = ours;
        sectionSeen = sectionSeen || ours;
      } else if (inSection && !added && IsBlankLine(chunk, n) && complete) {
        // Held back: keys added to the section go before them.
        pendingBlanks.append(chunk, n);
        continue;
      }
      if (!pendingBlanks.empty()) {
        ok = ok && Put(tmp, pendingBlanks.data(), pendingBlanks.size());
        pendingBlanks.clear();
      }
      int row = -1;
      const char *eq = static_cast<const char *>(memchr(chunk, '=', n));
      // A zero byte before the "=" makes the line no assignment: it is
      // copied as it stands.
      if (chunk[0] != '#' && eq != nullptr &&
          strlen(chunk) > size_t(eq - chunk)) {
        char key[kIniLineMax + 1];
        IniKeyOfLine(chunk, key, sizeof key);
        row = IniMatchKeyword(key);
      }
      if (section > 0 && inSection && row >= 0 &&
          Keywords[row].section == section) {
        Keywords[row].section = static_cast<int16_t>(-section);
        ok = WriteRow(tmp, row, crlf);
        if (!complete)
          SkipRestOfLine(old);
        endsInNewline = true;
      } else {
        ok = ok && Put(tmp, chunk, n);
        while (ok && !complete && ReadChunk(old, chunk, sizeof chunk, &n)) {
          ok = Put(tmp, chunk, n);
          complete = chunk[n - 1] == '\n';
        }
        endsInNewline = complete;
      }
    }
    if (ferror(old))
      ok = false;
    fclose(old);

    // The section ends with the file, or the file has none of it yet: its
    // missing keys follow, under a header of their own when needed.
    if (section > 0 && !added && ok) {
      if (!endsInNewline)
        ok = PutText(tmp, crlf ? "\r\n" : "\n");
      if (!sectionSeen) {
        char head[80];
        StrFormat(head, crlf ? "\r\n[%s]\r\n" : "\n[%s]\n",
                  IniSections[section]);
        ok = ok && PutText(tmp, head);
      }
      addMissing();
      ok = ok && Put(tmp, pendingBlanks.data(), pendingBlanks.size());
    }
    for (int row = 0; row < kKeywordCount; ++row)
      if (section > 0 && Keywords[row].section == -section)
        Keywords[row].section = static_cast<int16_t>(section);
  }
  if (fclose(tmp) != 0)
    ok = false;
  if (!ok || !MoveOver(work.c_str(), real)) {
    unlink(work.c_str());
    return kErrNoFile;
  }

  char value[kRowLineSize];
  StrFormat(value, "%d", ShowNote);
  WritePrivateProfileStringA("Repertory window section", "ShowNote", value,
                             IniFileName);
  StrFormat(value, "%d", ShowMark);
  WritePrivateProfileStringA("Repertory window section", "ShowMark", value,
                             IniFileName);
  IniFontText(&FontObject[kFontAuthorWithNote], value, sizeof value);
  WritePrivateProfileStringA("Fonts and colors section", "AuthorWithNoteObject",
                             value, IniFileName);
  IniFontText(&FontObject[kFontAuthorXXX], value, sizeof value);
  WritePrivateProfileStringA("Fonts and colors section", "AuthorXXXObject",
                             value, IniFileName);
  return 0;
}

long IniReadExtendSize() {
  char buf[16];
  GetPrivateProfileStringA("System section", "ExtendSize", "0", buf, sizeof buf,
                           IniFileName);
  ExtendSize = ToInt32(buf);
  return ExtendSize;
}

int IniLookLight() {
  if (!LookLightKnown) {
    LookLight = static_cast<int>(
        GetPrivateProfileIntA("System section", "LookLight", 1, IniFileName));
    LookLightKnown = 1;
  }
  return LookLight;
}
