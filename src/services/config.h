// The configuration variables of Mantrel: one process-wide global for every
// key of orvix.ini, named as the key is named in the file. IniRead (ini.h)
// fills them at start; every module reads them directly.
//
// Texts are fixed char arrays. A key of n characters gets n+1 bytes, so a
// value that uses the whole width still has its terminator; a value longer
// than n is cut to n on reading. Numbers have the width the file's reader
// gives them (8, 16 or 32 bits). See docs/configuration.md for the type of
// every key.
#pragma once

#include <cstdint>

// ---------------------------------------------------------------- widths

inline constexpr int kIniPathWidth = 60;  // paths and file names
inline constexpr int kIniDateWidth = 25;  // DateFormat, ClipboardName<n>
inline constexpr int kIniNameWidth = 40;  // UserName
inline constexpr int kIniDdeWidth = 32;   // EditorOpenService, EditorOpenTopic
inline constexpr int kIniListWidth = 100; // Repertories, Keynotes (in the file)
// Repertories is read once more by the private-profile call with a buffer of
// 500, as a full list of repertories is longer than its table width.
inline constexpr int kIniRepertoriesSize = 500;
inline constexpr int kIniPrefixWidth = 8; // SymptomPrefixLevel<n>

// ---------------------------------------------------------------- colours

// The top byte is the toolkit's colour number, the low three bytes are red,
// green and blue.
inline constexpr int32_t kColorRed = 0x01FF0000;
inline constexpr int32_t kColorGreen = 0x0200FF00;
inline constexpr int32_t kColorBlue = 0x030000FF;
inline constexpr int32_t kColorCyan = 0x0400FFFF;
inline constexpr int32_t kColorMagenta = 0x05FF00FF;
inline constexpr int32_t kColorYellow = 0x06FFFF00;
inline constexpr int32_t kColorBlack = 0x07000000;
inline constexpr int32_t kColorDarkGray = 0x08404040;
inline constexpr int32_t kColorGray = 0x09808080;
inline constexpr int32_t kColorLightGray = 0x0AC0C0C0;
inline constexpr int32_t kColorWhite = 0x0BFFFFFF;

struct IniColor {
  const char *word;
  int32_t value;
};
inline constexpr int kIniColorCount = 11;
extern const IniColor IniColorTable[kIniColorCount];

// ---------------------------------------------------------------- fonts

// Style bits of a font object.
inline constexpr uint16_t kFontBold = 0x1;
inline constexpr uint16_t kFontItalic = 0x2;
inline constexpr uint16_t kFontUnderline = 0x10;
inline constexpr uint16_t kFontStrikeout = 0x200;

inline constexpr int kFontFamilySize = 50; // 49 characters and a terminator

// One font object. `family`, `style`, `size` and the two colours are what the
// file says. `applied*` is what IniApplyFonts computed for the toolkit: the
// exotic family of the language when there is one, the fixed sizes. The
// toolkit backend creates its font from the applied fields and keeps its
// handle in `handle` (0 until then).
struct IniFont {
  long handle;
  char family[kFontFamilySize];
  uint16_t style;
  uint8_t size;
  int32_t background;
  int32_t foreground;
  char appliedFamily[kFontFamilySize];
  uint16_t appliedStyle;
  uint8_t appliedSize;
};

inline constexpr int kFontObjectCount = 66;
extern IniFont FontObject[kFontObjectCount];
// The keynotes font, the 67th object, outside the table.
extern IniFont KeynotesFontObject;

// Indexes into FontObject. Objects 60 to 63 have no key in the file and keep
// their defaults.
enum FontIndex : uint8_t {
  kFontRemedyNumber = 0,
  kFontAuthorAbbrev = 1,
  kFontSynonymLg1 = 2,
  kFontSynonymLg2 = 3,
  kFontCrossReferenceLg1 = 4,
  kFontCrossReferenceLg2 = 5,
  kFontMasterSynonymLg1 = 6,
  kFontMasterSynonymLg2 = 7,
  kFontSymptomReminderLg1 = 8,
  kFontSymptomReminderLg2 = 9,
  kFontSymptomLg1 = 10,
  kFontSymptomLg2 = 11,
  kFontRemedyDegree1 = 12, // to kFontRemedyDegree1 + 3 for degree 4
  kFontIconChapter1 = 16,
  kFontIconChapter2 = 17,
  kFontRemedy = 18,
  kFontSymptomCausatifLg1 = 19,
  kFontSymptomCausatifLg2 = 20,
  kFontSymptomEliminatifLg1 = 21,
  kFontSymptomEliminatifLg2 = 22,
  kFontSymptomCausatifEliminatifLg1 = 23,
  kFontSymptomCausatifEliminatifLg2 = 24,
  kFontGeneralObject = 25,
  kFontSymptomViewLang1 = 26,
  kFontSymptomViewLang2 = 27,
  kFontNumberOfSymptoms = 28, // 28 to 32 have fixed defaults
  kFontAnalyseText = 29,
  kFontAnalyseScore = 30,
  kFontAnalyseMethod = 31,
  kFontIndexSentense = 32,
  kFontFamily = 33,
  kFontMultiCb = 34,
  kFontScoreHighLight = 35,
  kFontSymptomLevel1Lg1 = 36, // to 47 for level 12
  kFontSymptomLevel1Lg2 = 48, // to 59 for level 12
  kFontAuthorWithNote = 64,
  kFontAuthorXXX = 65,
};

// ---------------------------------------------------------------- keys

// "System section"
extern int16_t DbBuffers;
extern int16_t DbFiles;
extern int16_t DbSectors;
extern char RemedyCatalogName[kIniPathWidth + 1];
extern char AuthorCatalogName[kIniPathWidth + 1];
extern char MessageCatalogName[kIniPathWidth + 1];
extern uint8_t Language;
extern char CatalogCatalogName[kIniPathWidth + 1];
extern char RootsCatalogName[kIniPathWidth + 1];
extern char ThesaurusCatalogName[kIniPathWidth + 1];
extern char CasesCatalogName[kIniPathWidth + 1];
extern char PatientCatalogName[kIniPathWidth + 1];
extern char DiagnoseCatalogName[kIniPathWidth + 1];
extern char DateFormat[kIniDateWidth + 1];
extern char TempDir[kIniPathWidth + 1];
extern char LogFileDir[kIniPathWidth + 1];
extern char LockingFile[kIniPathWidth + 1];
extern char ZentrixInDir[kIniPathWidth + 1];
extern char ZentrixOutDir[kIniPathWidth + 1];
extern char QueryDir[kIniPathWidth + 1];
extern char ImageDir[kIniPathWidth + 1];
extern uint8_t NationalLanguage;
extern uint8_t QueryInitialization;
extern char DefaultImage[kIniPathWidth + 1];
extern char DefaultVideo[kIniPathWidth + 1];
extern char DefaultSound[kIniPathWidth + 1];
extern uint8_t SosCase;
extern char UserName[kIniNameWidth + 1];
extern char NetLogFileDir[kIniPathWidth + 1];
extern uint8_t GroupSptByGroup;
extern uint8_t AutomaticConcept;
extern char ZentrixDir[kIniPathWidth + 1];
extern uint8_t WhiteBackground;
extern uint8_t MultiMediaExternalPlayer;
extern char MultiMediaPlayerName[kIniPathWidth + 1];
extern int16_t ZentrixVersion;
extern uint8_t TipsAndTricks;
extern uint8_t ZentrixAutoImport;
extern uint8_t Look3D;
extern uint8_t Veterinary;
extern uint8_t Tooltips;

// "General repertory section"
extern int32_t RepertoryColor;
extern char Repertories[kIniRepertoriesSize];

// "Repertory window section"
extern int16_t RepertoryColumns;
extern uint8_t RemedyDisplayInfo;
extern int16_t RemedyIndentation;
extern uint8_t AuthorDisplayInfo;
extern uint8_t AuthorDisplayScript;
extern int16_t AuthorIndentation;
extern int16_t SymptomLastLevel;
// SymptomPrefixLevel1 to SymptomPrefixLevel12: level n at [n - 1].
extern char SymptomPrefixLevel[12][kIniPrefixWidth + 1];
extern int16_t SymptomIndentation;
extern uint8_t CrossReferenceDisplayInfo;
extern uint8_t SynonymDisplayInfo;
extern uint8_t MasterSynonymDisplayInfo;
extern uint8_t RemedyLimitedToDegree1;
extern uint8_t RemedyLimitedToDegree2;
extern uint8_t RemedyLimitedToDegree3;
extern uint8_t RemedyLimitedToDegree4;
extern uint8_t WithMultiMedia;
extern uint8_t ConceptInformation;
extern int32_t AuthorMax;

// "Remedy window section"
extern uint8_t RemedyDisplayType;
extern uint8_t RemedySort;

// "Keynotes section". KeynotesFontSize is the size of KeynotesFontObject.
extern char Keynotes[kIniListWidth + 1];
extern uint8_t KeynotesDrop;

// "Clipboard section": ClipboardName1 to ClipboardName10, n at [n - 1].
extern char ClipboardName[10][kIniDateWidth + 1];

// "Toolbars section"
extern int16_t ToolBar;
extern int16_t PictureBar;
extern int16_t StatusBar;

// "Page setup section"
extern uint8_t MetricsType;
extern uint8_t HeaderPageNumber;
extern uint8_t HeaderDate;
extern uint8_t HeaderTime;
extern uint8_t FooterPageNumber;
extern uint8_t FooterDate;
extern uint8_t FooterTime;
extern float LeftMargin;
extern float RightMargin;
extern float TopMargin;
extern float BottomMargin;

// "Print setup section"
extern int16_t Copies;
extern uint8_t PrinterType;

// "Analyses section"
extern uint8_t AnalysesQualif;
extern uint8_t AnalyseSquaredDegrees;
extern uint8_t AnalyseConsiderIntensity;
extern uint8_t AnalyseMethod;
extern uint8_t AnalysePolychrest;
extern uint8_t AnalyseSmallRemed;
extern int16_t AnalyseExportWidth;
extern uint8_t AnalyseScreen;

// "Patient section"
extern int32_t PatientBackgroundColor;
extern int32_t PatientForegroundColor;
extern int32_t PatientTextColor;
extern char PatientEditorName[kIniPathWidth + 1];
extern char PatientEditorDirectory[kIniPathWidth + 1];
extern char PatientBackup[kIniPathWidth + 1];
extern char PatientRestore[kIniPathWidth + 1];
extern uint8_t EditorServer;
extern char EditorOpenString[kIniPathWidth + 1];
extern char EditorOpenService[kIniDdeWidth + 1];
extern char EditorOpenTopic[kIniDdeWidth + 1];
extern uint8_t Program;

// "Combined analyses section"
extern uint8_t CombinedAnalysesSquaredDegrees;
extern uint8_t CombinedAnalysesConsiderIntensity;
extern uint8_t CombinedAnalysesQualif;
extern uint8_t CombinedAnalysesPolychrest;
extern uint8_t CombinedAnalysesSmallRemed;
extern int16_t CombinedAnalysesSpt;
extern uint8_t CombinedAnalysesDegrees;
extern uint8_t CombinedAnalysesSptDegrees;
extern uint8_t CombinedAnalysesSmllRubrics;
extern uint8_t CombinedAnalysesSmllRemedies;
extern uint8_t CombinedAnalysesSmallProminence;
extern uint8_t CombinedAnalysesSmallVes;

// "Families of remedies section"
extern uint8_t FirstRemediesType;
extern int16_t FirstRemedies;
extern uint8_t SortType;
extern uint8_t ShowFam;
extern uint8_t ViewFam;
extern uint8_t Plant;

// "Dorval section"
extern uint8_t AutomaticStart;
extern uint8_t OpenView;
extern uint8_t Intensity;
extern uint8_t ShowMsg;
extern uint8_t MsgType;
extern int32_t Mode;
extern int16_t ModeWord; // 16-bit copy of Mode, taken after each read
extern char Path[kIniPathWidth + 1];
extern uint8_t Intro;
extern uint8_t Logo;

// "Tobin section"
extern int16_t TobinRepertory;
extern uint8_t ShowWelcome;

// ---------------------------------------------------------------- keys read
// by the private-profile calls, outside the keyword table

extern int ShowNote;              // "Repertory window section", written back
extern int ShowMark;              // "Repertory window section", written back
extern uint8_t NewSearchAlways;   // "New Search Window" Always
extern uint8_t CopyUsid;          // "System section"
extern uint8_t CasesSingle;       // "System section"
extern uint8_t CanTakeNoRmd;      // "System Section"
extern uint8_t MarkerSearchLimit; // "System Section"
extern uint8_t MarkerReminder;    // "System Section"
extern uint8_t FamiliesName;      // "Families of remedies section" Name
extern uint32_t DegreeColor[4];   // "New Analysis Window" Degree<n>Color
extern char ExoticFont[255];      // "System section" ExoticFont<Language>
extern long ExtendSize;           // "System section", argument of DbInitialize
extern int LookLight;             // "System section"; see IniLookLight

// Set when the configured language was above 190; never written back.
extern uint8_t ShowMessageNumbers;
