#ifndef VEXDEP_DIAGNOSTICLOG_H
#define VEXDEP_DIAGNOSTICLOG_H

#include <string>

// Keeps the library's debug log out of the package directory.
//
// The package reader and the SMBIOS reader switch the process-wide logger on,
// writing "baseutils.log" into the working directory, when a file
// "vexdebuglog" exists there. vexinspect opens the logger before anything
// reads the package: on the file the operator names, or on /dev/null. The
// readers' own attempts then find the logger open and change nothing.
class CDiagnosticLog
{
public:
    // Where the log goes when the operator names no file.
    static const char* const pszDiscard;

    // Opens the process-wide logger on strPath (relative to the current
    // directory), or on /dev/null when strPath is empty. True when the
    // logger writes to that file afterwards; false when it could not be
    // opened or the logger was already open on another file.
    static bool Open(const std::string& strPath);
    // The same; when it fails, strReason says why, as the system words it
    // ("Permission denied", "No such file or directory", "Is a directory"),
    // or "not a regular file" for a link, named pipe or device the logger
    // refuses to open.
    static bool Open(const std::string& strPath, std::string& strReason);
};

#endif // VEXDEP_DIAGNOSTICLOG_H
