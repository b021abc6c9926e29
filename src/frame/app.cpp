#include "frame/app.h"

#include <cstdio>

// The start-up sequence is under construction; until it lands the program
// says so instead of pretending to run.
int AppMain(int, char **) {
  fputs("mantrel: the start-up sequence is not built yet\n", stderr);
  return 1;
}

void AppTerminate() {}
