// The common start of a log run on a repertory chosen by id. The /RUN verb
// reaches it through the batch chooser (DriverRunLog, chooser.h).
#pragma once

// Loads the remedy and author files given to the run, makes the repertory
// `id` current, sets the range to the whole log and the batch mode, and
// runs LogRunTable under the Progress window. With batch 1 the run ends
// the program.
void UpdateRepertoryRun(int id, int batch);
