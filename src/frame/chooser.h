// The repertory that the user chose: one Catalog record, the only state that
// lives from one command to the next. No table stays open with it.
#pragma once

#include "store/records.h"

extern Catalog CurrentCatalog;
