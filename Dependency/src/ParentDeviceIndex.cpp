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
    const std::vector<SPCIInfo>& vParentPCI = dependency.ParentPCIInfo();
    if (dependency.SharedParentPCIInfo().IsSameListAs(m_LastParentList) && eParentType == m_nLastParentType &&
        !vParentPCI.empty())
    {
        return m_nLastFirst < m_vDevices.size() ? m_vDevices[m_nLastFirst] : nullptr;
    }
    std::size_t nFirst = m_vDevices.size();
    for (const SPCIInfo& parentPCI : vParentPCI)
    {
        const auto it = m_mapPCIIdentities.find(STypedIdentity{eParentType, SPCINumbers::Of(parentPCI)});
        if (it != m_mapPCIIdentities.end() && it->second < nFirst)
        {
            nFirst = it->second;
        }
    }
    m_LastParentList = dependency.SharedParentPCIInfo();
    m_nLastParentType = eParentType;
    m_nLastFirst = nFirst;
    return nFirst < m_vDevices.size() ? m_vDevices[nFirst] : nullptr;
}
