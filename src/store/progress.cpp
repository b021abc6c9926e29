#include "store/progress.h"

int (*DbProgressHook)(const char *what, long done, long total) = nullptr;

int DbProgressTell(const char *what, long done, long total) {
  if (DbProgressHook == nullptr)
    return 0;
  return DbProgressHook(what, done, total) != 0 ? 1 : 0;
}
