// The descriptions of the table families, for the store's own sources.
#pragma once

#include "store/codec.h"

extern const StoreFamily kFamSymptom, kFamRemed, kFamAuthor, kFamCatalog,
    kFamRlog, kFamExtract, kFamExSp, kFamWord, kFamNote, kFamLink, kFamView,
    kFamAt, kFamHistoId, kFamCas1, kFamCas2, kFamMessage, kFamKeynote,
    kFamPatient, kFamConsultation, kFamDiag, kFamPrem, kFamDefDiag;
