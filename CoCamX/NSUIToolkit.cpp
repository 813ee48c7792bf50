#include "CoCamX/NSUIToolkit.h"

bool import_NSUIToolButton() { return true; }

bool import_NSUIColorContentView() { return true; }

bool import_NSUINfoGraffik() { return true; }
