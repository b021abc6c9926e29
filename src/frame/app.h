// The process entry and the one ordered exit.
#pragma once

int AppMain(int argc, char **argv);
void AppTerminate();
