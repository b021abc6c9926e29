// The descriptions of the table families (families.cpp): the store's own
// sources and tbltool's JSON Lines form work from these.
#pragma once

#include "store/codec.h"

extern const StoreFamily kFamSymptom, kFamRemed, kFamAuthor, kFamCatalog,
    kFamRlog, kFamExtract, kFamExSp, kFamWord, kFamNote, kFamLink, kFamView,
    kFamAt, kFamHistoId, kFamCas1, kFamCas2, kFamMessage, kFamKeynote,
    kFamPatient, kFamConsultation, kFamDiag, kFamPrem, kFamDefDiag;
