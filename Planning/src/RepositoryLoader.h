#ifndef VEXDEP_REPOSITORYLOADER_H
#define VEXDEP_REPOSITORYLOADER_H

#include "Catalog.h"
#include "PackageDescriptionReader.h"
#include "PackageSource.h"
#include "RepositoryScanner.h"
#include "RepositoryTree.h"

#include <memory>

#include <string>

// A repository as one command loaded it.
struct SRepositoryLoad
{
    SRepositoryContent content;
    std::string strCatalogPath;    // the catalog looked at ("" when none)
    bool bCatalogRead = false;     // it was read
    bool bCatalogUsed = false;     // and the packages were taken from it
    std::string strCatalogProblem; // why it could not be read
    SCatalog catalog;
};

// Loads a repository for a command: walks its tree and reads its catalog
// (the one named, or catalog.json in its root when there is one), in the
// scanner's modes. Owns the package reader and the package source, which a
// plan then uses to copy packages.
class CRepositoryLoader
{
public:
    // strWorkDirectory: a private directory for the package reader.
    CRepositoryLoader(const std::string& strRoot, const std::string& strWorkDirectory);
    // A repository read through its tree (a packed one, say); strRoot names
    // it (and its catalog, strRoot/catalog.json) in messages.
    CRepositoryLoader(std::unique_ptr<IRepositoryTree> pTree, const std::string& strRoot,
                      const std::string& strWorkDirectory);

    // eMode Trust uses the catalog when there is a readable one and reads
    // the tree (without digests) otherwise; Reuse and Fresh read what they
    // must. False only when the repository's root cannot be read.
    bool Load(CRepositoryScanner::EMode eMode, const std::string& strCatalogPath, bool bDigests, SRepositoryLoad& load,
              std::string& strError);

    CPackageSource& Source() { return m_source; }

private:
    std::string m_strRoot;
    std::unique_ptr<IRepositoryTree> m_pTree;
    CPackageDescriptionReader m_reader;
    CPackageSource m_source;
};

#endif // VEXDEP_REPOSITORYLOADER_H
