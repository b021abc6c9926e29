#include "session/runoptions.h"

#include <cstring>

RunOptionSet RunOptions;

void RunOptionsClear() {
  RunOptions.From = kRunToLast;
  RunOptions.AssociationMode = 0;
  RunOptions.BatchMode = 0;
  RunOptions.StatisticsFile[0] = '\0';
  RunOptions.ErrorsFile[0] = '\0';
  RunOptions.TextLogFile[0] = '\0';
}
