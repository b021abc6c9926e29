// The start-up picture: passed to the backend when it can show pictures.
#include "platform/xvt_internal.h"

int (*XvtPictureShowHook)(const char *, const char *const *, int) = nullptr;
void (*XvtPictureHideHook)() = nullptr;

int xvt_picture_show(const char *path, const char *const *lines, int nlines) {
  if (path == nullptr || *path == '\0' || nlines < 0 ||
      (nlines > 0 && lines == nullptr))
    return 0;
  XvtEnsureBackend();
  if (XvtPictureShowHook == nullptr)
    return 0;
  return XvtPictureShowHook(path, lines, nlines > 4 ? 4 : nlines) ? 1 : 0;
}

void xvt_picture_hide() {
  if (XvtPictureHideHook != nullptr)
    XvtPictureHideHook();
}
