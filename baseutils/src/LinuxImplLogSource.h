#ifndef VEXDEP_LINUXIMPLLOGSOURCE_H
#define VEXDEP_LINUXIMPLLOGSOURCE_H

// The logger for the Linux platform's source files: the debug log names them
// all "LinuxImpl" (files and directories, commands, hardware access), as it
// always has; include this header instead of Logger.h.

#include "Logger.h"

#undef VEXLOG_SOURCE
#define VEXLOG_SOURCE "LinuxImpl"

#endif // VEXDEP_LINUXIMPLLOGSOURCE_H
