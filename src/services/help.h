// Help: the Help buttons and the help commands open the program's own user
// manual, a Markdown file (manual.md), in the text viewer. Each section of
// the manual that belongs to a topic carries a marker in its heading line,
// "<!-- topic N -->" (several numbers may stand there); a topic's section
// runs to the next heading of the same or a higher level. Topics are the
// help numbers of the dialogs (49: the repertory chooser) and the menu
// commands' own numbers.
#pragma once

#include <cstddef>
#include <string>

inline constexpr int kHelpContents = -1; // the whole manual
inline constexpr int kHelpChooser = 49;
// The toolkit's help commands, which show the contents.
inline constexpr int kHelpCommandFirst = 32450;
inline constexpr int kHelpCommandLast = 32462;

// Where the manual is (a stored path). Empty until set: it is then looked
// for as "manual.md" in the current folder, in "..\\doc" and "..\\docs" of
// the installation, and beside the executable ("../share/doc/mantrel" and,
// for a build inside the source tree, "../../docs").
extern char HelpManualPath[256];

// Finds the manual. Answers 0 with its stored path in out, or 1.
int HelpFindManual(char *out, size_t cap);
// The section of `topic` in the manual's text. Answers 0 with the section
// in section, 1 when no heading carries the topic.
int HelpSectionOf(const std::string &manual, int topic, std::string &section);
// Shows the section of `topic` (the whole manual for a negative topic or
// one that has no section) in the viewer. Answers 0, or 1 when nothing
// could be shown; the user has then been told why.
int HelpTopic(int topic);
