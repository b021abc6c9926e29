#include "frame/chooser.h"

Catalog CurrentCatalog;
