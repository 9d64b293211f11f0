#include "InventoryMatchIndex.h"

#include <functional>

namespace
{
// ASCII lower case, as strcasecmp compares.
std::string AsciiLower(std::string strText)
{
    for (char& c : strText)
    {
        if (c >= 'A' && c <= 'Z')
        {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return strText;
}
} // namespace

bool CInventoryMatchIndex::SKey::operator==(const SKey& other) const
{
    return nDeviceType == other.nDeviceType && strComponentType == other.strComponentType &&
           strComponentID == other.strComponentID && pciNumbers == other.pciNumbers;
}

std::size_t CInventoryMatchIndex::SKeyHash::operator()(const SKey& key) const
{
    std::size_t nHash = std::hash<std::string>()(key.strComponentType);
    nHash ^= std::hash<std::string>()(key.strComponentID) + 0x9e3779b97f4a7c15ULL + (nHash << 6) + (nHash >> 2);
    nHash ^= SPCINumbersHash()(key.pciNumbers) + 0x9e3779b97f4a7c15ULL + (nHash << 6) + (nHash >> 2);
    return nHash ^ static_cast<std::size_t>(key.nDeviceType);
}

CInventoryMatchIndex::SKey CInventoryMatchIndex::KeyOf(const CDeviceInfo& record)
{
    SKey key;
    key.strComponentType = AsciiLower(record.getComponentType());
    key.nDeviceType = record.getDeviceType();
    if (key.nDeviceType == CDeviceInfo::eDeviceTypeNonPCI)
    {
        key.strComponentID = record.getComponentID();
    }
    else
    {
        key.pciNumbers = SPCINumbers::Of(record.getPCIInfo());
    }
    return key;
}

CInventoryMatchIndex::CInventoryMatchIndex(const std::vector<CDeviceInfo*>& vRecords) : m_nFirstFailed(vRecords.size())
{
    for (std::size_t nIndex = 0; nIndex < vRecords.size(); ++nIndex)
    {
        const CDeviceInfo* pRecord = vRecords[nIndex];
        if (pRecord == nullptr)
        {
            m_vNullRecords.push_back(nIndex);
            continue;
        }
        if (pRecord->getStatus() == 1)
        {
            // Nothing behind the first failed record is ever looked at.
            m_nFirstFailed = nIndex;
            break;
        }
        if (pRecord->getDeviceType() == CDeviceInfo::eDeviceTypeUnknown)
        {
            continue;
        }
        // A PCI record without a device ID is no instance of anything.
        if (pRecord->getDeviceType() != CDeviceInfo::eDeviceTypeNonPCI && pRecord->getPCIInfo().strDeviceID.empty())
        {
            continue;
        }
        m_mapInstances[KeyOf(*pRecord)].push_back(nIndex);
    }
}

const std::vector<std::size_t>& CInventoryMatchIndex::Instances(const CDeviceInfo& dependency) const
{
    const auto it = m_mapInstances.find(KeyOf(dependency));
    return it == m_mapInstances.end() ? m_vNone : it->second;
}
