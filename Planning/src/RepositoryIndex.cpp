#include "RepositoryIndex.h"

#include "InventoryMatchIndex.h"

#include <algorithm>

const std::size_t CRepositoryIndex::npos = static_cast<std::size_t>(-1);

CRepositoryIndex::CRepositoryIndex(std::vector<SPackageDescription> vPackages) : m_vPackages(std::move(vPackages))
{
    std::sort(
        m_vPackages.begin(), m_vPackages.end(),
        [](const SPackageDescription& left, const SPackageDescription& right) { return left.strPath < right.strPath; });
    for (std::size_t nIndex = 0; nIndex < m_vPackages.size(); ++nIndex)
    {
        const SPackageDescription& package = m_vPackages[nIndex];
        m_mapPaths.emplace(package.strPath, nIndex);
        for (const SSupportedDevice& device : package.vDevices)
        {
            std::vector<std::size_t>& vByComponent = m_mapComponentIDs[device.strComponentID];
            if (vByComponent.empty() || vByComponent.back() != nIndex)
            {
                vByComponent.push_back(nIndex);
            }
            for (const SPCIInfo& pci : device.vPCI)
            {
                std::vector<std::size_t>& vByPCI = m_mapPCI[SPCINumbers::Of(pci)];
                if (vByPCI.empty() || vByPCI.back() != nIndex)
                {
                    vByPCI.push_back(nIndex);
                }
            }
        }
    }
}

std::size_t CRepositoryIndex::AtPath(const std::string& strPath) const
{
    const auto it = m_mapPaths.find(strPath);
    return it == m_mapPaths.end() ? npos : it->second;
}

std::vector<std::size_t> CRepositoryIndex::Related(const CDeviceInfo& dependency) const
{
    std::vector<std::size_t> vRelated;
    const auto itComponent = m_mapComponentIDs.find(dependency.getComponentID());
    if (itComponent != m_mapComponentIDs.end())
    {
        vRelated = itComponent->second;
    }
    if (dependency.getDeviceType() == CDeviceInfo::eDeviceTypePCI)
    {
        const auto itPCI = m_mapPCI.find(SPCINumbers::Of(dependency.getPCIInfo()));
        if (itPCI != m_mapPCI.end())
        {
            vRelated.insert(vRelated.end(), itPCI->second.begin(), itPCI->second.end());
        }
    }
    std::sort(vRelated.begin(), vRelated.end());
    vRelated.erase(std::unique(vRelated.begin(), vRelated.end()), vRelated.end());
    return vRelated;
}

bool CRepositoryIndex::Provides(const SPackageDescription& package, const CDeviceInfo& dependency)
{
    std::vector<CDeviceInfo> vIdentities = package.ProvidedIdentities();
    std::vector<CDeviceInfo*> vRecords;
    vRecords.reserve(vIdentities.size());
    for (CDeviceInfo& identity : vIdentities)
    {
        vRecords.push_back(&identity);
    }
    return !CInventoryMatchIndex(vRecords).Instances(dependency).empty();
}
