#ifndef VEXDEP_REPOSITORYCHECKER_H
#define VEXDEP_REPOSITORYCHECKER_H

#include "Catalog.h"
#include "RepositoryIndex.h"
#include "RepositoryScanner.h"

#include <string>
#include <vector>

// One finding about a repository's consistency.
struct SRepositoryFinding
{
    enum class ESeverity
    {
        Warning,
        Error
    };

    std::string strCode;
    ESeverity eSeverity = ESeverity::Error;
    std::string strPackage; // the package's path ("" when about the repository)
    std::string strFile;    // relative to the repository root: the package's package.xml, an archive, or the catalog
    long nLine = 0;         // in package.xml (0 when there is nothing to point at)
    std::string strMessage;
    std::vector<std::string> vCycle; // the packages of a cycle, the first repeated at the end
};

// A kind of finding.
struct SRepositoryRule
{
    const char* pszCode;
    SRepositoryFinding::ESeverity eSeverity; // the severity of a hard dependency's finding
    const char* pszSummary;
    const char* pszHelp;
};

// The consistency of a repository without any server: what every package's
// dependencies find in the repository, with the plan's own resolution rules
// (identity and version by the checker's rules) but without a machine, so
// every package counts as applicable.
//
//   package-refused               a package that cannot be used (unreadable, hostile)
//   entry-skipped                 a link or special file of the tree, not followed
//   path-missing                  a dependency's path names no package
//   path-wrong-identity           the package at the path provides another identity
//   path-version-too-low          the package at the path is older than required
//   cycle                         packages that need each other (the whole chain)
//   missing-intermediate-version  a package needs an older version of its own
//                                 component, and the repository holds none
//   duplicate-identity            two packages provide one identity at one version
//                                 with different content
//   catalog-out-of-date           the catalog does not describe the tree
//
// A finding about a soft dependency is a warning; the path, cycle and
// intermediate-version findings of hard dependencies are errors.
class CRepositoryChecker
{
public:
    static const std::vector<SRepositoryRule>& Rules();

    static std::vector<SRepositoryFinding> Check(const CRepositoryIndex& index, const SRepositoryContent& content,
                                                 const SCatalog* pCatalog, const std::string& strCatalogProblem);
};

#endif // VEXDEP_REPOSITORYCHECKER_H
