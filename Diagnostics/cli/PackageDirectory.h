#ifndef VEXDEP_PACKAGEDIRECTORY_H
#define VEXDEP_PACKAGEDIRECTORY_H

#include <string>

// The package directory a command reads: the one named with --package-dir,
// or the current one. explain and lint refuse a directory they cannot enter
// with the same words, the system's reason and the same exit status:
//
//   vexinspect lint: cannot enter the package directory pkg: Permission denied
//
// While an object lives in a directory it entered, the process works there;
// it returns to the directory it started from when it goes away.
class CPackageDirectory
{
public:
    // The exit status for a package directory that cannot be used.
    static constexpr int nExitUnusable = 66;

    CPackageDirectory();
    ~CPackageDirectory();
    CPackageDirectory(const CPackageDirectory&) = delete;
    CPackageDirectory& operator=(const CPackageDirectory&) = delete;

    // Enters strPath (an empty one is the current directory, entered
    // already). False, with the system's reason in strError ("No such file
    // or directory", "Not a directory", "Permission denied"), when it cannot
    // be entered; the working directory is then unchanged.
    bool Enter(const std::string& strPath, std::string& strError);

    // Whether strPath can be entered, the process's working directory left
    // as it is; the reason as for Enter.
    static bool CanEnter(const std::string& strPath, std::string& strError);

    // "vexinspect SUBCOMMAND: cannot enter the package directory PATH: REASON".
    static std::string ErrorLine(const std::string& strSubcommand, const std::string& strPath,
                                 const std::string& strError);

private:
    std::string m_strStartedIn;
    bool m_bMoved = false;
};

#endif // VEXDEP_PACKAGEDIRECTORY_H
