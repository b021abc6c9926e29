// The starts of a log run: the common start on a repertory chosen by id,
// and the driver of the /RUN verb.
#pragma once

// Loads the remedy and author files given to the run, makes the repertory
// `id` current, sets the range to the whole log and the batch mode, and
// runs LogRunTable under the Progress window. With batch 1 the run ends
// the program.
void UpdateRepertoryRun(int id, int batch);

// The /RUN verb after its arguments: rebuilds the log's index (a failure is
// told and the run goes on), makes `log` the log path, and starts the run
// on the repertory that a scripted log may run on.
void DriverRunLog(const char *log, int language);

// Whether a scripted run may run on the catalogue entry: an "Almanacum"
// whose abbreviation holds "92" or "2009" and no "C".
bool RunEligibleForBatch(const char *title, const char *abbrev);
