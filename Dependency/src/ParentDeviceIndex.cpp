#include "ParentDeviceIndex.h"

std::size_t CParentDeviceIndex::STypedIdentityHash::operator()(const STypedIdentity& identity) const
{
    return SPCINumbersHash()(identity.numbers) ^ static_cast<std::size_t>(identity.nDeviceType);
}

CParentDeviceIndex::CParentDeviceIndex(const std::vector<CDeviceInfo*>& vDevices) : m_vDevices(vDevices)
{
    for (std::size_t nIndex = 0; nIndex < vDevices.size(); ++nIndex)
    {
        const CDeviceInfo* pDevice = vDevices[nIndex];
        if (pDevice == nullptr)
        {
            continue;
        }
        const CDeviceInfo::eDeviceType eType = pDevice->getDeviceType();
        if (eType == CDeviceInfo::eDeviceTypeUnknown)
        {
            continue;
        }
        // emplace keeps the first position of each key.
        if (eType == CDeviceInfo::eDeviceTypeNonPCI)
        {
            m_mapComponentIDs.emplace(pDevice->getComponentID(), nIndex);
        }
        else
        {
            m_mapPCIIdentities.emplace(STypedIdentity{eType, SPCINumbers::Of(pDevice->getPCIInfo())}, nIndex);
        }
    }
}

CDeviceInfo* CParentDeviceIndex::FindParent(const CDeviceInfo& dependency) const
{
    const CDeviceInfo::eDeviceType eParentType = dependency.getParentDeviceType();
    if (eParentType == CDeviceInfo::eDeviceTypeUnknown)
    {
        return nullptr;
    }
    if (eParentType == CDeviceInfo::eDeviceTypeNonPCI)
    {
        const auto it = m_mapComponentIDs.find(dependency.getParentComponentID());
        return it == m_mapComponentIDs.end() ? nullptr : m_vDevices[it->second];
    }
    // The first device that matches any of the parent's identities.
    std::size_t nFirst = m_vDevices.size();
    for (const SPCIInfo& parentPCI : dependency.getParentPCIInfo())
    {
        const auto it = m_mapPCIIdentities.find(STypedIdentity{eParentType, SPCINumbers::Of(parentPCI)});
        if (it != m_mapPCIIdentities.end() && it->second < nFirst)
        {
            nFirst = it->second;
        }
    }
    return nFirst < m_vDevices.size() ? m_vDevices[nFirst] : nullptr;
}
