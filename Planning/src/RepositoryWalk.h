#ifndef VEXDEP_REPOSITORYWALK_H
#define VEXDEP_REPOSITORYWALK_H

#include "Catalog.h"
#include "RepositoryTree.h"

#include <cstddef>
#include <string>
#include <vector>

// Where a package lies in the tree.
struct SPackageLocation
{
    std::string strPath; // relative to the root
    bool bDirectory = false;
};

// Finds the packages of a repository tree: every directory that holds a
// package.xml (its content is the package's and is not walked further)
// and every regular file that is a tar archive, plain or compressed (told
// by its first bytes, whatever its name). Names starting with "." are
// passed over (version-control folders and the like).
//
// Symbolic links are never followed, so a link loop cannot trap the walk:
// a link, a named pipe, a device or a socket in the tree is named in
// vSkipped with what it is. A directory that cannot be read, or that lies
// deeper than repositorylimits::nMaxDepth, is named there too.
class CRepositoryWalk
{
public:
    // False only when the root itself cannot be read (strError says why)
    // or the tree holds more than repositorylimits::nMaxTreeEntries entries.
    static bool Walk(const IRepositoryTree& tree, std::vector<SPackageLocation>& vPackages,
                     std::vector<SRefusedPackage>& vSkipped, std::string& strError);
    // The same, of the tree on disk below strRoot.
    static bool Walk(const std::string& strRoot, std::vector<SPackageLocation>& vPackages,
                     std::vector<SRefusedPackage>& vSkipped, std::string& strError);
};

#endif // VEXDEP_REPOSITORYWALK_H
