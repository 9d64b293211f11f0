#ifndef VEXDEP_CATALOGFILE_H
#define VEXDEP_CATALOGFILE_H

#include "Catalog.h"
#include "RepositoryTree.h"

#include <string>

// A catalog on disk: the repository's own (catalog.json in its root) or
// one the operator names.
class CCatalogFile
{
public:
    // The catalog's place in a repository.
    static std::string DefaultPath(const std::string& strRepository);
    // Whether something exists at the path (without following a link).
    static bool Exists(const std::string& strPath);
    // Reads and parses the catalog; false with the reason (a file that is
    // not a regular file, too large, or not a catalog).
    static bool Read(const std::string& strPath, SCatalog& catalog, std::string& strProblem);
    // The same, of the repository's own catalog read through its tree;
    // strName names it in the reason.
    static bool ReadFromTree(const IRepositoryTree& tree, const std::string& strName, SCatalog& catalog,
                             std::string& strProblem);
    // Writes it through a temporary file and a rename, unless the file holds
    // that very text already.
    static bool Write(const std::string& strPath, const SCatalog& catalog, std::string& strError);
};

#endif // VEXDEP_CATALOGFILE_H
