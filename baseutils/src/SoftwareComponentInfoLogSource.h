#ifndef VEXDEP_SOFTWARECOMPONENTINFOLOGSOURCE_H
#define VEXDEP_SOFTWARECOMPONENTINFOLOGSOURCE_H

// The logger for the package reader's source files. The debug log's source
// column is part of what vexdepcheck keeps line for line, and it names the
// reader "SoftwareComponentInfo" whichever of its files (document, identity,
// devices, dependencies, contexts) writes the line; include this header
// instead of Logger.h.

#include "Logger.h"

#undef VEXLOG_SOURCE
#define VEXLOG_SOURCE "SoftwareComponentInfo"

#endif // VEXDEP_SOFTWARECOMPONENTINFOLOGSOURCE_H
