#ifndef VEXDEP_REPOSITORYPATH_H
#define VEXDEP_REPOSITORYPATH_H

#include <string>

// Paths inside the repository: relative, "/"-separated, without "." or
// ".." components, as the catalog keeps them.
class CRepositoryPath
{
public:
    // A dependency's package path (backslashes are separators, as in the
    // report's download address) as a repository path. False when it is
    // empty or leaves the repository (a ".." component).
    static bool FromDependencyPath(const std::string& strPath, std::string& strNormalised);
    // A release ID as the relative directory the checker uses (the package
    // directory, "//", the release ID): "" for the package directory
    // itself. False when it leaves the package (a ".." component).
    static bool FromReleaseID(const std::string& strReleaseID, std::string& strNormalised);
    // Whether strPath is strDirectory or lies below it ("" holds the files
    // directly in the root, not those in subdirectories).
    static bool IsWithin(const std::string& strPath, const std::string& strDirectory);
    // strBase + "/" + strRelative; the one alone when the other is empty.
    static std::string Join(const std::string& strBase, const std::string& strRelative);
};

#endif // VEXDEP_REPOSITORYPATH_H
