#include "RepositoryChecker.h"

#include "CandidateResolver.h"
#include "DependenciesChecker.h"
#include "InventoryMatchIndex.h"
#include "RepositoryPath.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

namespace
{
using ESeverity = SRepositoryFinding::ESeverity;

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

std::string FileOf(const SPackageDescription& package)
{
    return package.eFormat == EPackageFormat::Directory ? package.strPath + "/package.xml" : package.strPath;
}

std::string ComponentText(const SDeclaredDependency& dependency)
{
    if (dependency.eDeviceType == CDeviceInfo::eDeviceTypePCI)
    {
        return "PCI " + dependency.pci.strVendorID + ":" + dependency.pci.strDeviceID + ":" +
               dependency.pci.strSubVendorID + ":" + dependency.pci.strSubDeviceID + " (" +
               dependency.strComponentType + ")";
    }
    return "component " + dependency.strComponentID + " (" + dependency.strComponentType + ")";
}

SRepositoryFinding DependencyFinding(const char* pszCode, const SPackageDescription& package,
                                     const SDeclaredDependency& dependency, const std::string& strMessage)
{
    SRepositoryFinding finding;
    finding.strCode = pszCode;
    finding.eSeverity = dependency.eType == CDeviceInfo::eDependencyTypeSoft ? ESeverity::Warning : ESeverity::Error;
    finding.strPackage = package.strPath;
    finding.strFile = FileOf(package);
    finding.nLine = dependency.nLine;
    finding.strMessage = (dependency.eType == CDeviceInfo::eDependencyTypeSoft ? "soft dependency " : "dependency ") +
                         Quote(dependency.strDisplay) + " (" + ComponentText(dependency) + " at " +
                         Quote(dependency.strVersion) + " or later): " + strMessage;
    return finding;
}

// What the dependency's path finds, and what the plan would take instead.
void CheckPath(const CRepositoryIndex& index, const SPackageDescription& package, const SDeclaredDependency& dependency,
               const SResolution& resolution, std::vector<SRepositoryFinding>& vFindings)
{
    const std::string strInstead = resolution.eOutcome == SResolution::EOutcome::Resolved && resolution.bSubstituted
                                       ? "; a plan would take " + index.At(resolution.nPackage).strPath + " (" +
                                             Quote(index.At(resolution.nPackage).strVersion) + ") instead"
                                       : std::string();
    if (!resolution.bRequestedPathHoldsPackage)
    {
        vFindings.push_back(DependencyFinding("path-missing", package, dependency,
                                              "its path " + Quote(dependency.strPath) +
                                                  " names no package of the repository" + strInstead));
        return;
    }
    const SPackageDescription& atPath = index.At(index.AtPath(resolution.strRequestedPath));
    const CDeviceInfo record = dependency.AsRecord();
    if (!CRepositoryIndex::Provides(atPath, record))
    {
        vFindings.push_back(DependencyFinding("path-wrong-identity", package, dependency,
                                              "the package at its path, " + atPath.strPath +
                                                  ", provides another identity (component type " +
                                                  Quote(atPath.strComponentType) + ")" + strInstead));
        return;
    }
    if (CDependenciesChecker::CompareVersions(dependency.strVersion, atPath.strVersion) > 0)
    {
        vFindings.push_back(DependencyFinding("path-version-too-low", package, dependency,
                                              "the package at its path, " + atPath.strPath + ", is at version " +
                                                  Quote(atPath.strVersion) + strInstead));
    }
}

// The cycles of the graph (package -> the package each hard dependency
// resolves to), each once: a shortest way back to the first package of
// every strongly connected part with more than one package.
std::vector<std::vector<std::size_t>> Cycles(const std::vector<std::vector<std::size_t>>& vEdges)
{
    const std::size_t nCount = vEdges.size();
    std::vector<int> vIndex(nCount, -1);
    std::vector<int> vLow(nCount, 0);
    std::vector<bool> vOnStack(nCount, false);
    std::vector<std::size_t> vStack;
    std::vector<std::vector<std::size_t>> vComponents;
    int nNext = 0;
    // Iterative strong-component search (a long chain must not exhaust the
    // call stack).
    for (std::size_t nStart = 0; nStart < nCount; ++nStart)
    {
        if (vIndex[nStart] >= 0)
        {
            continue;
        }
        std::vector<std::pair<std::size_t, std::size_t>> vWork{{nStart, 0}};
        vIndex[nStart] = vLow[nStart] = nNext++;
        vStack.push_back(nStart);
        vOnStack[nStart] = true;
        while (!vWork.empty())
        {
            std::size_t nNode = vWork.back().first;
            std::size_t& nEdge = vWork.back().second;
            if (nEdge < vEdges[nNode].size())
            {
                const std::size_t nTo = vEdges[nNode][nEdge++];
                if (vIndex[nTo] < 0)
                {
                    vIndex[nTo] = vLow[nTo] = nNext++;
                    vStack.push_back(nTo);
                    vOnStack[nTo] = true;
                    vWork.push_back({nTo, 0});
                }
                else if (vOnStack[nTo])
                {
                    vLow[nNode] = std::min(vLow[nNode], vIndex[nTo]);
                }
                continue;
            }
            if (vLow[nNode] == vIndex[nNode])
            {
                std::vector<std::size_t> vComponent;
                std::size_t nMember = 0;
                do
                {
                    nMember = vStack.back();
                    vStack.pop_back();
                    vOnStack[nMember] = false;
                    vComponent.push_back(nMember);
                } while (nMember != nNode);
                if (vComponent.size() > 1)
                {
                    vComponents.push_back(vComponent);
                }
            }
            vWork.pop_back();
            if (!vWork.empty())
            {
                const std::size_t nParent = vWork.back().first;
                vLow[nParent] = std::min(vLow[nParent], vLow[nNode]);
            }
        }
    }

    std::vector<std::vector<std::size_t>> vCycles;
    for (const std::vector<std::size_t>& vComponent : vComponents)
    {
        const std::set<std::size_t> setMembers(vComponent.begin(), vComponent.end());
        const std::size_t nFirst = *setMembers.begin();
        // Breadth first from the first package back to itself, inside the part.
        std::map<std::size_t, std::size_t> mapCameFrom;
        std::vector<std::size_t> vQueue{nFirst};
        bool bClosed = false;
        std::size_t nLast = nFirst;
        for (std::size_t nAt = 0; nAt < vQueue.size() && !bClosed; ++nAt)
        {
            for (std::size_t nTo : vEdges[vQueue[nAt]])
            {
                if (setMembers.count(nTo) == 0)
                {
                    continue;
                }
                if (nTo == nFirst)
                {
                    bClosed = true;
                    nLast = vQueue[nAt];
                    break;
                }
                if (mapCameFrom.emplace(nTo, vQueue[nAt]).second)
                {
                    vQueue.push_back(nTo);
                }
            }
        }
        std::vector<std::size_t> vCycle{nFirst};
        for (std::size_t nAt = nLast; nAt != nFirst; nAt = mapCameFrom[nAt])
        {
            vCycle.insert(vCycle.begin() + 1, nAt);
        }
        vCycle.push_back(nFirst);
        vCycles.push_back(vCycle);
    }
    return vCycles;
}

void CheckDuplicates(const CRepositoryIndex& index, std::vector<SRepositoryFinding>& vFindings)
{
    // Every provided identity of every package, so that the checker's match
    // groups those that are the same.
    std::vector<CDeviceInfo> vIdentities;
    std::vector<std::size_t> vOwners;
    for (std::size_t nPackage = 0; nPackage < index.Packages().size(); ++nPackage)
    {
        for (const CDeviceInfo& identity : index.At(nPackage).ProvidedIdentities())
        {
            vIdentities.push_back(identity);
            vOwners.push_back(nPackage);
        }
    }
    std::vector<CDeviceInfo*> vRecords;
    vRecords.reserve(vIdentities.size());
    for (CDeviceInfo& identity : vIdentities)
    {
        vRecords.push_back(&identity);
    }
    const CInventoryMatchIndex matchIndex(vRecords);
    std::set<std::pair<std::size_t, std::size_t>> setReported;
    for (std::size_t i = 0; i < vIdentities.size(); ++i)
    {
        for (std::size_t nOther : matchIndex.Instances(vIdentities[i]))
        {
            const std::size_t nLeft = vOwners[i];
            const std::size_t nRight = vOwners[nOther];
            if (nRight <= nLeft || setReported.count({nLeft, nRight}) > 0)
            {
                continue;
            }
            const SPackageDescription& left = index.At(nLeft);
            const SPackageDescription& right = index.At(nRight);
            if (CDependenciesChecker::CompareVersions(left.strVersion, right.strVersion) != 0 ||
                left.strDigest == right.strDigest)
            {
                continue;
            }
            setReported.insert({nLeft, nRight});
            SRepositoryFinding finding;
            finding.strCode = "duplicate-identity";
            finding.eSeverity = ESeverity::Error;
            finding.strPackage = right.strPath;
            finding.strFile = FileOf(right);
            finding.strMessage = "provides " +
                                 std::string(vIdentities[i].getDeviceType() == CDeviceInfo::eDeviceTypePCI
                                                 ? "a PCI identity"
                                                 : "component " + Quote(vIdentities[i].getComponentID())) +
                                 " at version " + Quote(right.strVersion) + ", as " + left.strPath + " does at " +
                                 Quote(left.strVersion) + ", with different content";
            vFindings.push_back(finding);
        }
    }
}

void CheckCatalog(const SRepositoryContent& content, const SCatalog* pCatalog, const std::string& strProblem,
                  std::vector<SRepositoryFinding>& vFindings)
{
    auto add = [&vFindings](const std::string& strPackage, const std::string& strMessage) {
        SRepositoryFinding finding;
        finding.strCode = "catalog-out-of-date";
        finding.eSeverity = ESeverity::Warning;
        finding.strPackage = strPackage;
        finding.strFile = CCatalog::pszFileName;
        finding.strMessage = strMessage;
        vFindings.push_back(finding);
    };
    if (!strProblem.empty())
    {
        add("", "the catalog cannot be used: " + strProblem);
        return;
    }
    if (pCatalog == nullptr)
    {
        return;
    }
    std::map<std::string, const SPackageDescription*> mapListed;
    for (const SPackageDescription& package : pCatalog->vPackages)
    {
        mapListed[package.strPath] = &package;
    }
    for (const SRefusedPackage& malformed : pCatalog->vMalformedEntries)
    {
        add(malformed.strPath, "an entry of the catalog is malformed: " + malformed.strReason);
    }
    std::set<std::string> setInTree;
    for (const SPackageDescription& package : content.vPackages)
    {
        setInTree.insert(package.strPath);
        const auto it = mapListed.find(package.strPath);
        if (it == mapListed.end())
        {
            add(package.strPath, package.strPath + " is not in the catalog");
        }
        else if (it->second->strDigest != package.strDigest)
        {
            add(package.strPath, "the catalog's digest of " + package.strPath + " is not its content's");
        }
        else if (it->second->strStamp != package.strStamp)
        {
            add(package.strPath,
                "the catalog's stamp of " + package.strPath + " (sizes and modification times) is not the tree's");
        }
    }
    for (const auto& entry : mapListed)
    {
        if (setInTree.count(entry.first) == 0)
        {
            add(entry.first, "the catalog lists " + entry.first + ", which is not a usable package of the tree");
        }
    }
}
} // namespace

const std::vector<SRepositoryRule>& CRepositoryChecker::Rules()
{
    static const std::vector<SRepositoryRule> kRules = {
        {"package-refused", ESeverity::Error, "A package of the repository cannot be used",
         "Replace the package with one that holds regular files and directories only, with package.xml at its "
         "root."},
        {"entry-skipped", ESeverity::Warning, "A symbolic link or special file of the tree is not followed",
         "Put the package itself at the path; links in a repository are never followed."},
        {"path-missing", ESeverity::Error, "A dependency's path names no package of the repository",
         "Add the package at the dependency's path, or correct the path in package.xml."},
        {"path-wrong-identity", ESeverity::Error,
         "The package at a dependency's path does not provide the identity the dependency asks for",
         "Put the package that provides the component at the path, or correct the dependency."},
        {"path-version-too-low", ESeverity::Error, "The package at a dependency's path is older than required",
         "Put a package of the required version (or later) at the path."},
        {"cycle", ESeverity::Error, "Packages need each other: no order installs them",
         "Break the cycle: one of the dependencies must be satisfiable by a package outside it."},
        {"missing-intermediate-version", ESeverity::Error,
         "A package needs an older version of its own component first, and the repository holds none",
         "Add the intermediate version of the component to the repository."},
        {"duplicate-identity", ESeverity::Error,
         "Two packages provide the same identity at the same version with different content",
         "Keep one package per identity and version, or give the packages different versions."},
        {"catalog-out-of-date", ESeverity::Warning, "The catalog does not describe the repository as it is",
         "Run vexinspect repo index on the repository again."},
    };
    return kRules;
}

std::vector<SRepositoryFinding> CRepositoryChecker::Check(const CRepositoryIndex& index,
                                                          const SRepositoryContent& content, const SCatalog* pCatalog,
                                                          const std::string& strCatalogProblem)
{
    std::vector<SRepositoryFinding> vFindings;
    for (const SRefusedPackage& refused : content.vRefused)
    {
        SRepositoryFinding finding;
        finding.strCode = "package-refused";
        finding.eSeverity = ESeverity::Error;
        finding.strPackage = refused.strPath;
        finding.strFile = refused.strPath;
        finding.strMessage = refused.strPath + " is refused: " + refused.strReason;
        vFindings.push_back(finding);
    }
    for (const SRefusedPackage& skipped : content.vSkipped)
    {
        SRepositoryFinding finding;
        finding.strCode = "entry-skipped";
        finding.eSeverity = ESeverity::Warning;
        finding.strFile = skipped.strPath;
        finding.strMessage = skipped.strPath + " is " + skipped.strReason;
        vFindings.push_back(finding);
    }

    std::vector<std::vector<std::size_t>> vEdges(index.Packages().size());
    std::map<std::pair<std::size_t, std::size_t>, const SDeclaredDependency*> mapEdgeDependency;
    for (std::size_t nPackage = 0; nPackage < index.Packages().size(); ++nPackage)
    {
        const SPackageDescription& package = index.At(nPackage);
        for (const SDeclaredDependency& dependency : package.vDependencies)
        {
            CCandidateResolver::SContext context;
            context.pIndex = &index;
            context.pRequirer = &package;
            const SResolution resolution = CCandidateResolver::Resolve(dependency.AsRecord(), context);
            CheckPath(index, package, dependency, resolution, vFindings);
            if (dependency.eType != CDeviceInfo::eDependencyTypeHard)
            {
                continue;
            }
            if (resolution.eOutcome == SResolution::EOutcome::MissingIntermediateVersion)
            {
                vFindings.push_back(DependencyFinding(
                    "missing-intermediate-version", package, dependency,
                    package.strPath + " updates this component to " + Quote(package.strVersion) + " and needs it at " +
                        Quote(dependency.strVersion) + " first, but the repository holds no version from " +
                        Quote(dependency.strVersion) + " up to below " + Quote(package.strVersion)));
            }
            if (resolution.eOutcome == SResolution::EOutcome::Resolved &&
                std::find(vEdges[nPackage].begin(), vEdges[nPackage].end(), resolution.nPackage) ==
                    vEdges[nPackage].end())
            {
                vEdges[nPackage].push_back(resolution.nPackage);
                mapEdgeDependency[{nPackage, resolution.nPackage}] = &dependency;
            }
        }
    }

    for (const std::vector<std::size_t>& vCycle : Cycles(vEdges))
    {
        SRepositoryFinding finding;
        finding.strCode = "cycle";
        finding.eSeverity = ESeverity::Error;
        const SPackageDescription& first = index.At(vCycle.front());
        const SDeclaredDependency* pFirstDependency = mapEdgeDependency[{vCycle[0], vCycle[1]}];
        finding.strPackage = first.strPath;
        finding.strFile = FileOf(first);
        finding.nLine = pFirstDependency != nullptr ? pFirstDependency->nLine : 0;
        std::string strChain;
        for (std::size_t i = 0; i < vCycle.size(); ++i)
        {
            finding.vCycle.push_back(index.At(vCycle[i]).strPath);
            strChain += index.At(vCycle[i]).strPath;
            if (i + 1 < vCycle.size())
            {
                const SDeclaredDependency* pDependency = mapEdgeDependency[{vCycle[i], vCycle[i + 1]}];
                strChain += " (needs " + Quote(pDependency != nullptr ? pDependency->strDisplay : "") + ") -> ";
            }
        }
        finding.strMessage = "the packages need each other, so no order installs them: " + strChain;
        vFindings.push_back(finding);
    }

    CheckDuplicates(index, vFindings);
    CheckCatalog(content, pCatalog, strCatalogProblem, vFindings);
    return vFindings;
}
