// Starting other programs: the text viewer for reports, the copy program of
// a backup, a repair script. Programs are started directly with their
// arguments as separate words (posix_spawn); no shell ever sees a text that a
// user typed or a file supplied.
//
// The program is a stored path when it holds a backslash or a slash
// ("backup\\setup.exe", "..\\bin\\tool"), resolved with PlatRealPath; a bare
// name ("xdg-open") is looked for along PATH. Answers 0 or a code of
// platform/files.h: kPlatErrPath, kPlatErrNotFound (no such program),
// kPlatErrStart (it could not be started; PlatLastErrno tells why).
#pragma once

// Called about every 20 ms while a waiting start waits, so that a window
// can keep processing its events. Null (the default) simply blocks.
extern void (*PlatWaitHook)();

// The viewer of text reports: a program that takes the file as its one
// argument. Empty (the default) means the environment variable
// MANTREL_VIEWER when it is set, else "xdg-open".
extern char PlatViewerProgram[256];

// Starts `program` with the arguments of the null-terminated list `args`
// (args may be null for none). With wait, blocks until the program ends and
// puts its exit status in *exitStatus (128 + the signal number when a signal
// ended it). Without wait, the child is reaped later by PlatReapChildren and
// *exitStatus is left alone.
int PlatStartProgram(const char *program, const char *const *args, bool wait,
                     int *exitStatus);

// The same from one command text, split into words at blanks and tabs; a
// double-quoted part is one word without its quotes ("WRITE.EXE \"a b.txt\""
// gives two words). There is no other escape and no shell.
int PlatStartCommand(const char *commandLine, bool wait, int *exitStatus);

// Runs a shell script file (stored path) with /bin/sh and the given
// arguments, which the shell receives as $1, $2 ... and never parses.
int PlatStartScript(const char *script, const char *const *args, bool wait,
                    int *exitStatus);

// Shows a text file (stored path) in the viewer without waiting. The file is
// handed over as an absolute path, so the viewer may run from any folder.
int PlatStartViewer(const char *storedPath);

// Starts `program` without waiting and keeps it in view: the child is not
// collected by PlatReapChildren but by PlatChildEnded, so that its caller
// learns when and how it ended. *child identifies it.
int PlatStartWatched(const char *program, const char *const *args, long *child);
// Whether a watched child has ended: 0 while it runs; 1 once it has ended,
// with its exit status in *exitStatus (128 + the signal number when a
// signal ended it), after which the child is forgotten.
int PlatChildEnded(long child, int *exitStatus);
// Ends a watched child that is still running (SIGTERM, SIGKILL when it is
// still there after a second) and collects it.
void PlatStopChild(long child);

// Collects the children started without wait that have ended meanwhile, so
// that none is left as a zombie. Every start calls it; a long-running
// program may call it too. Answers how many were collected.
int PlatReapChildren();
