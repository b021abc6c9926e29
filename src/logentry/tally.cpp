#include "logentry/tally.h"

#include <cstring>

int32_t OpRead[kOpRows];
int32_t OpLanguage1[kOpRows];
int32_t OpLanguage2[kOpRows];
int32_t OpDone[kOpRows];
int32_t OpErrors[kOpRows];
int32_t OpWarnings[kOpRows];
MessageTally MessageCount[kMessageCountRows];

void StatisticsClear() {
  memset(OpRead, 0, sizeof OpRead);
  memset(OpLanguage1, 0, sizeof OpLanguage1);
  memset(OpLanguage2, 0, sizeof OpLanguage2);
  memset(OpDone, 0, sizeof OpDone);
  memset(OpErrors, 0, sizeof OpErrors);
  memset(OpWarnings, 0, sizeof OpWarnings);
  memset(MessageCount, 0, sizeof MessageCount);
}
