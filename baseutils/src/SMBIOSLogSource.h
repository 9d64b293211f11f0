#ifndef VEXDEP_SMBIOSLOGSOURCE_H
#define VEXDEP_SMBIOSLOGSOURCE_H

// The logger for the SMBIOS reader's source files. The debug log's source
// column is part of what vexdepcheck keeps line for line, and it names the
// reader "SMBIOSInventory" whichever of its files (acquisition, walk, system
// ID, tokens) writes the line; include this header instead of Logger.h.

#include "Logger.h"

#undef VEXLOG_SOURCE
#define VEXLOG_SOURCE "SMBIOSInventory"

#endif // VEXDEP_SMBIOSLOGSOURCE_H
