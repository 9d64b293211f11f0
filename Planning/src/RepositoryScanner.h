#ifndef VEXDEP_REPOSITORYSCANNER_H
#define VEXDEP_REPOSITORYSCANNER_H

#include "Catalog.h"
#include "PackageSource.h"

#include <cstddef>
#include <string>
#include <vector>

// The packages of a repository as one command sees them.
struct SRepositoryContent
{
    std::vector<SPackageDescription> vPackages; // in path order
    std::vector<SRefusedPackage> vRefused;      // packages (or catalog entries) that are not used, and why
    std::vector<SRefusedPackage> vSkipped;      // links and special files of the tree, not followed or read
    std::size_t nRead = 0;                      // packages read from the tree
    std::size_t nReused = 0;                    // packages taken from the catalog
};

// Builds the list of a repository's packages from its tree, and from a
// catalog where one is given:
//
//   Fresh     every package is read from the tree (vexinspect repo check);
//   Reuse     a package whose stamp (the path, size and modification time
//             of its files) is the catalog's is taken from the catalog, any
//             other is read (vexinspect repo index);
//   Trust     every package is taken from the catalog, as the catalog
//             describes it; a catalog entry whose package is not in the tree
//             or whose stamp differs from the tree's, and a package of the
//             tree that the catalog does not list, is refused (vexinspect
//             plan: the content digest is checked when a package is used).
//
// With bDigests every package read from the tree gets its content digest
// (archives always do: one read yields both).
class CRepositoryScanner
{
public:
    enum class EMode
    {
        Fresh,
        Reuse,
        Trust
    };

    // Walks the source's tree.
    explicit CRepositoryScanner(CPackageSource& source);

    bool Scan(EMode eMode, const SCatalog* pCatalog, bool bDigests, SRepositoryContent& content, std::string& strError);

private:
    CPackageSource& m_source;
};

#endif // VEXDEP_REPOSITORYSCANNER_H
