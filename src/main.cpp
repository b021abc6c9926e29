// The mantrel executable: everything lives in the core library; the desktop
// window comes in when the program is built with Qt.
#include "shell/app.h"

#ifdef MANTREL_HAVE_QT
#include "gui/qt_backend.h"

#include <cstring>
#include <unistd.h>
#endif

int main(int argc, char **argv) {
#ifdef MANTREL_HAVE_QT
  // "mantrel --view FILE" is the viewer of text reports that the program
  // starts for itself; it never reaches the start sequence.
  if (argc == 3 && strcmp(argv[1], "--view") == 0)
    return QtViewerMain(argv[2]);
  ssize_t n = readlink("/proc/self/exe", QtSelfPath, sizeof QtSelfPath - 1);
  QtSelfPath[n > 0 ? n : 0] = '\0';
  XvtRegisterQtBackend();
#endif
  return AppMain(argc, argv);
}
