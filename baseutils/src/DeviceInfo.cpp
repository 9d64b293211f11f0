#include "DeviceInfo.h"

#include "Logger.h"

#include <sstream>

#ifndef VEXDEP_DOWNLOAD_BASE
#define VEXDEP_DOWNLOAD_BASE "https://downloads.example.com/vex/"
#endif

const char* const pszDefaultDownloadBase = VEXDEP_DOWNLOAD_BASE;

namespace
{
std::string ToLowerHex(unsigned int nValue)
{
    std::ostringstream oss;
    oss << std::hex << std::nouppercase << nValue;
    return oss.str();
}

// FNV-1a over the bytes of each field, with the field's length mixed in so
// that the boundary between two fields counts.
class CFieldHash
{
public:
    void Add(const std::string& strField, bool bSlashesForBackslashes = false)
    {
        for (char c : strField)
        {
            if (bSlashesForBackslashes && c == '\\')
            {
                c = '/';
            }
            AddByte(static_cast<unsigned char>(c));
        }
        AddNumber(strField.size());
    }
    void AddNumber(std::uint64_t nValue)
    {
        for (int i = 0; i < 8; ++i)
        {
            AddByte(static_cast<unsigned char>(nValue >> (8 * i)));
        }
    }
    std::size_t Value() const { return static_cast<std::size_t>(m_nHash); }

private:
    void AddByte(unsigned char nByte)
    {
        m_nHash ^= nByte;
        m_nHash *= 1099511628211ULL;
    }

    std::uint64_t m_nHash = 14695981039346656037ULL;
};

bool SamePCIIdentity(const SPCIInfo& left, const SPCIInfo& right)
{
    return left.strComponentID == right.strComponentID && left.strDeviceID == right.strDeviceID &&
           left.strSubDeviceID == right.strSubDeviceID && left.strVendorID == right.strVendorID &&
           left.strSubVendorID == right.strSubVendorID;
}
} // namespace

CApplicationInfoList::CApplicationInfoList(const CApplicationInfoList& other)
{
    m_vEntries.reserve(other.m_vEntries.size());
    for (const CDeviceApplicationInfo* pEntry : other.m_vEntries)
    {
        m_vEntries.push_back(new CDeviceApplicationInfo(*pEntry));
    }
}

CApplicationInfoList& CApplicationInfoList::operator=(const CApplicationInfoList& other)
{
    if (this != &other)
    {
        CApplicationInfoList copy(other);
        *this = std::move(copy);
    }
    return *this;
}

CApplicationInfoList::CApplicationInfoList(CApplicationInfoList&& other) noexcept
    : m_vEntries(std::move(other.m_vEntries))
{
    other.m_vEntries.clear();
}

CApplicationInfoList& CApplicationInfoList::operator=(CApplicationInfoList&& other) noexcept
{
    if (this != &other)
    {
        Clear();
        m_vEntries.swap(other.m_vEntries);
    }
    return *this;
}

CApplicationInfoList::~CApplicationInfoList() { Clear(); }

void CApplicationInfoList::Clear()
{
    for (CDeviceApplicationInfo* pEntry : m_vEntries)
    {
        delete pEntry;
    }
    m_vEntries.clear();
}

void CDeviceInfo::setPCIInfo(unsigned int nDeviceID, unsigned int nSubDeviceID, unsigned int nVendorID,
                             unsigned int nSubVendorID)
{
    m_PCIInfo.strComponentID.clear();
    m_PCIInfo.strDeviceID = ToLowerHex(nDeviceID);
    m_PCIInfo.strSubDeviceID = ToLowerHex(nSubDeviceID);
    m_PCIInfo.strVendorID = ToLowerHex(nVendorID);
    m_PCIInfo.strSubVendorID = ToLowerHex(nSubVendorID);
    m_PCIInfo.strMarketingName.clear();

    VEXLOG("CDeviceInfo::setPCIInfo() Device id  " + m_PCIInfo.strDeviceID);
    VEXLOG("CDeviceInfo::setPCIInfo() SubDevice id  " + m_PCIInfo.strSubDeviceID);
    VEXLOG("CDeviceInfo::setPCIInfo() Vendor id  " + m_PCIInfo.strVendorID);
    VEXLOG("CDeviceInfo::setPCIInfo() SubVendor id  " + m_PCIInfo.strSubVendorID);
}

void CDeviceInfo::setBDFInfo(unsigned char nBus, unsigned char nDevice, unsigned char nFunction)
{
    m_BDFInfo.bus = nBus;
    m_BDFInfo.device = nDevice;
    m_BDFInfo.function = nFunction;

    VEXLOG("CDeviceInfo::setBDFInfo() Bus Number is  " + std::to_string(static_cast<unsigned int>(nBus)));
    VEXLOG("CDeviceInfo::setBDFInfo() Device Number is  " + std::to_string(static_cast<unsigned int>(nDevice)));
    VEXLOG("CDeviceInfo::setBDFInfo() Function Number is  " + std::to_string(static_cast<unsigned int>(nFunction)));
}

void CDeviceInfo::setApplicationInfo(CDeviceApplicationInfo* pApplicationInfo)
{
    if (pApplicationInfo != nullptr)
    {
        m_ApplicationInfo.Entries().push_back(pApplicationInfo);
    }
}

void CDeviceInfo::setSystemInfo(OVNCSystemInfo* pSystemInfo)
{
    if (pSystemInfo != nullptr)
    {
        m_SystemInfo = *pSystemInfo;
    }
}

std::string CDeviceInfo::getFilePath()
{
    for (char& c : m_strFilePath)
    {
        if (c == '\\')
        {
            c = '/';
        }
    }
    return pszDefaultDownloadBase + m_strFilePath;
}

bool CDeviceInfo::operator==(CDeviceInfo other) { return IsSameDependency(other); }

bool CDeviceInfo::IsSameDependency(const CDeviceInfo& other) const
{
    return m_strComponentType == other.m_strComponentType && m_strComponentID == other.m_strComponentID &&
           m_eDependencyType == other.m_eDependencyType && m_strVersion == other.m_strVersion &&
           m_strDisplay == other.m_strDisplay && m_strDetail == other.m_strDetail &&
           m_strFilePath == other.m_strFilePath && SamePCIIdentity(m_PCIInfo, other.m_PCIInfo);
}

std::size_t CDeviceInfo::DependencyHash() const
{
    CFieldHash hash;
    hash.Add(m_strComponentType);
    hash.Add(m_strComponentID);
    hash.AddNumber(static_cast<std::uint64_t>(m_eDependencyType));
    hash.Add(m_strVersion);
    hash.Add(m_strDisplay);
    hash.Add(m_strDetail);
    hash.Add(m_strFilePath, true);
    hash.Add(m_PCIInfo.strComponentID);
    hash.Add(m_PCIInfo.strDeviceID);
    hash.Add(m_PCIInfo.strSubDeviceID);
    hash.Add(m_PCIInfo.strVendorID);
    hash.Add(m_PCIInfo.strSubVendorID);
    return hash.Value();
}

bool CDeviceInfo::checkForEquality(const CDeviceInfo* pOther)
{
    if (pOther == nullptr)
    {
        return false;
    }
    return m_strComponentType == pOther->m_strComponentType && m_strComponentID == pOther->m_strComponentID &&
           m_strVersion == pOther->m_strVersion && m_strEnumId == pOther->m_strEnumId &&
           m_strFQDD == pOther->m_strFQDD && SamePCIIdentity(m_PCIInfo, pOther->m_PCIInfo) &&
           m_BDFInfo.bus == pOther->m_BDFInfo.bus && m_BDFInfo.device == pOther->m_BDFInfo.device &&
           m_BDFInfo.function == pOther->m_BDFInfo.function;
}
