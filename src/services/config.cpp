// Storage of the configuration variables. Their values before IniRead are
// zero; IniRead gives every one its default or the file's value.
#include "services/config.h"

const IniColor IniColorTable[kIniColorCount] = {
    {"red", kColorRed},         {"green", kColorGreen},
    {"blue", kColorBlue},       {"cyan", kColorCyan},
    {"magenta", kColorMagenta}, {"yellow", kColorYellow},
    {"black", kColorBlack},     {"darkgray", kColorDarkGray},
    {"gray", kColorGray},       {"lightgray", kColorLightGray},
    {"white", kColorWhite},
};

IniFont FontObject[kFontObjectCount];
IniFont KeynotesFontObject;

int16_t DbBuffers;
int16_t DbFiles;
int16_t DbSectors;
char RemedyCatalogName[kIniPathWidth + 1];
char AuthorCatalogName[kIniPathWidth + 1];
char MessageCatalogName[kIniPathWidth + 1];
uint8_t Language;
char CatalogCatalogName[kIniPathWidth + 1];
char RootsCatalogName[kIniPathWidth + 1];
char ThesaurusCatalogName[kIniPathWidth + 1];
char CasesCatalogName[kIniPathWidth + 1];
char PatientCatalogName[kIniPathWidth + 1];
char DiagnoseCatalogName[kIniPathWidth + 1];
char DateFormat[kIniDateWidth + 1];
char TempDir[kIniPathWidth + 1];
char LogFileDir[kIniPathWidth + 1];
char LockingFile[kIniPathWidth + 1];
char ZentrixInDir[kIniPathWidth + 1];
char ZentrixOutDir[kIniPathWidth + 1];
char QueryDir[kIniPathWidth + 1];
char ImageDir[kIniPathWidth + 1];
uint8_t NationalLanguage;
uint8_t QueryInitialization;
char DefaultImage[kIniPathWidth + 1];
char DefaultVideo[kIniPathWidth + 1];
char DefaultSound[kIniPathWidth + 1];
uint8_t SosCase;
char UserName[kIniNameWidth + 1];
char NetLogFileDir[kIniPathWidth + 1];
uint8_t GroupSptByGroup;
uint8_t AutomaticConcept;
char ZentrixDir[kIniPathWidth + 1];
uint8_t WhiteBackground;
uint8_t MultiMediaExternalPlayer;
char MultiMediaPlayerName[kIniPathWidth + 1];
int16_t ZentrixVersion;
uint8_t TipsAndTricks;
uint8_t ZentrixAutoImport;
uint8_t Look3D;
uint8_t Veterinary;
uint8_t Tooltips;

int32_t RepertoryColor;
char Repertories[kIniRepertoriesSize];

int16_t RepertoryColumns;
uint8_t RemedyDisplayInfo;
int16_t RemedyIndentation;
uint8_t AuthorDisplayInfo;
uint8_t AuthorDisplayScript;
int16_t AuthorIndentation;
int16_t SymptomLastLevel;
char SymptomPrefixLevel[12][kIniPrefixWidth + 1];
int16_t SymptomIndentation;
uint8_t CrossReferenceDisplayInfo;
uint8_t SynonymDisplayInfo;
uint8_t MasterSynonymDisplayInfo;
uint8_t RemedyLimitedToDegree1;
uint8_t RemedyLimitedToDegree2;
uint8_t RemedyLimitedToDegree3;
uint8_t RemedyLimitedToDegree4;
uint8_t WithMultiMedia;
uint8_t ConceptInformation;
int32_t AuthorMax;

uint8_t RemedyDisplayType;
uint8_t RemedySort;

char Keynotes[kIniListWidth + 1];
uint8_t KeynotesDrop;

char ClipboardName[10][kIniDateWidth + 1];

int16_t ToolBar;
int16_t PictureBar;
int16_t StatusBar;

uint8_t MetricsType;
uint8_t HeaderPageNumber;
uint8_t HeaderDate;
uint8_t HeaderTime;
uint8_t FooterPageNumber;
uint8_t FooterDate;
uint8_t FooterTime;
float LeftMargin;
float RightMargin;
float TopMargin;
float BottomMargin;

int16_t Copies;
uint8_t PrinterType;

uint8_t AnalysesQualif;
uint8_t AnalyseSquaredDegrees;
uint8_t AnalyseConsiderIntensity;
uint8_t AnalyseMethod;
uint8_t AnalysePolychrest;
uint8_t AnalyseSmallRemed;
int16_t AnalyseExportWidth;
uint8_t AnalyseScreen;

int32_t PatientBackgroundColor;
int32_t PatientForegroundColor;
int32_t PatientTextColor;
char PatientEditorName[kIniPathWidth + 1];
char PatientEditorDirectory[kIniPathWidth + 1];
char PatientBackup[kIniPathWidth + 1];
char PatientRestore[kIniPathWidth + 1];
uint8_t EditorServer;
char EditorOpenString[kIniPathWidth + 1];
char EditorOpenService[kIniDdeWidth + 1];
char EditorOpenTopic[kIniDdeWidth + 1];
uint8_t Program;

uint8_t CombinedAnalysesSquaredDegrees;
uint8_t CombinedAnalysesConsiderIntensity;
uint8_t CombinedAnalysesQualif;
uint8_t CombinedAnalysesPolychrest;
uint8_t CombinedAnalysesSmallRemed;
int16_t CombinedAnalysesSpt;
uint8_t CombinedAnalysesDegrees;
uint8_t CombinedAnalysesSptDegrees;
uint8_t CombinedAnalysesSmllRubrics;
uint8_t CombinedAnalysesSmllRemedies;
uint8_t CombinedAnalysesSmallProminence;
uint8_t CombinedAnalysesSmallVes;

uint8_t FirstRemediesType;
int16_t FirstRemedies;
uint8_t SortType;
uint8_t ShowFam;
uint8_t ViewFam;
uint8_t Plant;

uint8_t AutomaticStart;
uint8_t OpenView;
uint8_t Intensity;
uint8_t ShowMsg;
uint8_t MsgType;
int32_t Mode;
int16_t ModeWord;
char Path[kIniPathWidth + 1];
uint8_t Intro;
uint8_t Logo;

int16_t TobinRepertory;
uint8_t ShowWelcome;

int ShowNote;
int ShowMark;
uint8_t NewSearchAlways;
uint8_t CopyUsid;
uint8_t CasesSingle;
uint8_t CanTakeNoRmd;
uint8_t MarkerSearchLimit;
uint8_t MarkerReminder;
uint8_t FamiliesName;
uint32_t DegreeColor[4];
char ExoticFont[255];
long ExtendSize;
int LookLight = 1;

uint8_t ShowMessageNumbers;
