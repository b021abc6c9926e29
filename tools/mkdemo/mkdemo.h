// mkdemo: builds the demonstration installation from the text sources in
// data/demo/. The sources are UTF-8 with "|" between fields; every text is
// turned into code page 1252 on reading. See docs/demo.md.
#pragma once

#include "store/store.h"

#include <cstdint>
#include <string>
#include <vector>

// ---------------------------------------------------------------- sources

struct DemoRemedy {
  int Id;
  std::string Abbrev, Name;
};
struct DemoAuthor {
  int Id;
  std::string Abbrev, Name, Detail;
};
struct DemoView {
  int Number;
  std::vector<std::string> Authors;
};

struct DemoRem {
  std::string Remedy, Author;
  int Degree;
  bool User;
};

struct DemoExtra {
  std::string Tag;  // syn1 syn2 xref1 xref2 note link type concept
  std::string Text; // the rest of the line, fields still joined by "|"
};

struct DemoSymptom {
  int Level;
  int UniqueId;
  std::string Text1, Text2;
  std::vector<DemoRem> Rems;
  std::vector<DemoExtra> Extras;
  // Worked out by the builder.
  int Parent = -1; // index in the repertory, -1 for a chapter
  int Chapter = 0;
  int Children = 0;
  uint32_t Num = 0, Num2 = 0;
  uint16_t Sub = 0, Sub2 = 0;
  std::string Path1, Path2; // display paths, levels joined by " - "
};

struct DemoRepertory {
  std::vector<DemoSymptom> Symptoms; // in book order
};

struct DemoCatalogEntry {
  int Kind, Id;
  std::string Abbrev, Title, Folder;
  int RefStyle;
  std::string RepKind, AlmanacumFlag, Source;
};

struct DemoLogEntry {
  int Number, Operation, Tag;
  long Date, Time;
  std::string UniqueId; // "=" or a number
  std::vector<std::string> Fields;
};

struct DemoCaseSymptom {
  int Clipboard, Weight;
  std::string Path;
};
struct DemoCase {
  int Id;
  bool Deleted;
  std::string Name, Comment;
  long Created, Changed;
  std::string Clipboards[10];
  std::vector<DemoCaseSymptom> Symptoms;
};

struct DemoKeynote {
  std::string Remedy, Text1, Text2;
};

// Each reader answers 0, or 1 after printing "file:line: what" to stderr.
int DemoReadRemedies(const std::string &path, std::vector<DemoRemedy> &out);
int DemoReadAuthors(const std::string &path, std::vector<DemoAuthor> &out);
int DemoReadViews(const std::string &path, std::vector<DemoView> &out);
int DemoReadRepertory(const std::string &path, DemoRepertory &out);
int DemoReadCatalog(const std::string &path,
                    std::vector<DemoCatalogEntry> &out);
int DemoReadLog(const std::string &path, std::vector<DemoLogEntry> &out);
int DemoReadCases(const std::string &path, std::vector<DemoCase> &out);
int DemoReadKeynotes(const std::string &path, std::vector<DemoKeynote> &out);

// A row of the association data beyond what the two editions give: a
// symptom of the old edition that its table kept no more (the parent's
// path in the old edition, levels joined by " - "; the old text; the new
// path).
struct DemoAssocExtra {
  std::string Parent, Text, NewPath;
};
int DemoReadAssocExtras(const std::string &path,
                        std::vector<DemoAssocExtra> &out);

// A field list of one line, split at every "|".
std::vector<std::string> DemoSplit(const std::string &line);
// A date "dd.mm.yyyy" or a time "hh:mm:ss" as the store keeps it; -1 when
// the text is none.
long DemoDate(const std::string &text);
long DemoTime(const std::string &text);

// ---------------------------------------------------------------- builder

// Builds everything into the current folder's parent, the current folder
// being the installation's bin. `sources` is the real path of data/demo.
// Answers 0, or 1 after telling what failed.
int DemoBuild(const std::string &sources);
