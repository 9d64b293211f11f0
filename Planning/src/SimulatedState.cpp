#include "SimulatedState.h"

#include "InventoryMatchIndex.h"

void CSimulatedState::Install(const SPackageDescription& package, std::size_t nStep)
{
    for (const CDeviceInfo& identity : package.ProvidedIdentities())
    {
        SInstalledIdentity installed;
        installed.identity = identity;
        installed.strVersion = package.strVersion;
        installed.nStep = nStep;
        installed.strPackage = package.strPath;
        m_vInstalled.push_back(installed);
    }
}

std::size_t CSimulatedState::Apply(const std::vector<CDeviceInfo*>& vRecords) const
{
    if (m_vInstalled.empty() || vRecords.empty())
    {
        return 0;
    }
    // The checker's own match: the records it would take for an installed
    // instance of each identity.
    const CInventoryMatchIndex index(vRecords);
    std::size_t nChanged = 0;
    for (const SInstalledIdentity& installed : m_vInstalled)
    {
        for (std::size_t nPosition : index.Instances(installed.identity))
        {
            vRecords[nPosition]->setVersion(installed.strVersion);
            ++nChanged;
        }
    }
    return nChanged;
}

const SInstalledIdentity* CSimulatedState::LastProviding(const CDeviceInfo& dependency) const
{
    // The identities as records, so that the checker's match decides.
    std::vector<CDeviceInfo*> vRecords;
    for (const SInstalledIdentity& installed : m_vInstalled)
    {
        vRecords.push_back(const_cast<CDeviceInfo*>(&installed.identity));
    }
    const CInventoryMatchIndex index(vRecords);
    const std::vector<std::size_t>& vMatches = index.Instances(dependency);
    return vMatches.empty() ? nullptr : &m_vInstalled[vMatches.back()];
}
