// The mantrel executable: everything lives in the core library.
#include "frame/app.h"

int main(int argc, char **argv) { return AppMain(argc, argv); }
