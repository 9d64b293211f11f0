#include "RepositoryScanner.h"

#include "RepositoryWalk.h"

#include <algorithm>
#include <map>

CRepositoryScanner::CRepositoryScanner(CPackageSource& source) : m_source(source) {}

bool CRepositoryScanner::Scan(EMode eMode, const SCatalog* pCatalog, bool bDigests, SRepositoryContent& content,
                              std::string& strError)
{
    content = SRepositoryContent();
    std::vector<SPackageLocation> vLocations;
    if (!CRepositoryWalk::Walk(m_source.Tree(), vLocations, content.vSkipped, strError))
    {
        return false;
    }

    std::map<std::string, const SPackageDescription*> mapCatalog;
    if (pCatalog != nullptr && eMode != EMode::Fresh)
    {
        for (const SPackageDescription& package : pCatalog->vPackages)
        {
            if (!mapCatalog.emplace(package.strPath, &package).second)
            {
                content.vRefused.push_back(SRefusedPackage{package.strPath, "the catalog lists it twice"});
            }
        }
        for (const SRefusedPackage& malformed : pCatalog->vMalformedEntries)
        {
            content.vRefused.push_back(
                SRefusedPackage{malformed.strPath, "its catalog entry is malformed: " + malformed.strReason});
        }
    }

    std::map<std::string, bool> mapInTree;
    for (const SPackageLocation& location : vLocations)
    {
        mapInTree[location.strPath] = true;
        const auto itCatalog = mapCatalog.find(location.strPath);
        const SPackageDescription* pListed = itCatalog != mapCatalog.end() ? itCatalog->second : nullptr;
        if (eMode == EMode::Trust && pCatalog != nullptr)
        {
            if (pListed == nullptr)
            {
                content.vRefused.push_back(
                    SRefusedPackage{location.strPath, "the catalog does not list it: index the repository again"});
                continue;
            }
            std::string strStamp;
            std::string strStampError;
            if (!m_source.Stamp(location.strPath, location.bDirectory, strStamp, strStampError))
            {
                content.vRefused.push_back(SRefusedPackage{location.strPath, strStampError});
                continue;
            }
            if (strStamp != pListed->strStamp || (pListed->eFormat == EPackageFormat::Directory) != location.bDirectory)
            {
                content.vRefused.push_back(SRefusedPackage{
                    location.strPath, "it changed since the catalog was written (the size or modification time of "
                                      "its files differ): index the repository again"});
                continue;
            }
            content.vPackages.push_back(*pListed);
            ++content.nReused;
            continue;
        }
        if (eMode == EMode::Reuse && pListed != nullptr &&
            (pListed->eFormat == EPackageFormat::Directory) == location.bDirectory &&
            (!bDigests || !pListed->strDigest.empty()))
        {
            std::string strStamp;
            std::string strStampError;
            if (m_source.Stamp(location.strPath, location.bDirectory, strStamp, strStampError) &&
                strStamp == pListed->strStamp)
            {
                content.vPackages.push_back(*pListed);
                ++content.nReused;
                continue;
            }
        }
        SPackageDescription description;
        std::string strDescribeError;
        if (!m_source.Describe(location.strPath, location.bDirectory, bDigests, description, strDescribeError))
        {
            content.vRefused.push_back(SRefusedPackage{location.strPath, strDescribeError});
            continue;
        }
        content.vPackages.push_back(description);
        ++content.nRead;
    }

    if (eMode == EMode::Trust && pCatalog != nullptr)
    {
        for (const auto& entry : mapCatalog)
        {
            if (mapInTree.count(entry.first) == 0)
            {
                content.vRefused.push_back(
                    SRefusedPackage{entry.first, "the catalog lists it, but the repository holds no package there"});
            }
        }
    }
    std::sort(content.vRefused.begin(), content.vRefused.end(),
              [](const SRefusedPackage& left, const SRefusedPackage& right) { return left.strPath < right.strPath; });
    return true;
}
