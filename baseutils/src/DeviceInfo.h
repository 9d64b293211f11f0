#ifndef VEXDEP_DEVICEINFO_H
#define VEXDEP_DEVICEINFO_H

#include "SharedList.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// PCI identity as texts, exactly as the documents give them.
struct SPCIInfo
{
    std::string strComponentID;
    std::string strDeviceID;
    std::string strSubDeviceID;
    std::string strVendorID;
    std::string strSubVendorID;
    std::string strMarketingName;
};

// Bus, device and function numbers of a PCI device.
struct _BDFInfo
{
    unsigned char bus = 0;
    unsigned char device = 0;
    unsigned char function = 0;
};

// An operating-system requirement (package description) or description
// (inventory document).
struct SOSInfo
{
    std::string strMajorVersion;
    std::string strMinorVersion;
    std::string strSPMajorVersion;
    std::string strSPMinorVersion;
    std::string strOSVendor;
    std::string strOSArch;
    std::string strInstalledBuildNumber;
    std::string strReserved;
    std::string strRequiredBuildNumber;
};

// One context type of the package description.
struct CContextList
{
    std::string strName;
    std::string strInvModule;
    std::string strInvInterface;
    std::string strUpdateModule;
    std::string strUpdateInterface;
};

// System description held inside a device record.
struct OVNCSystemInfo
{
    std::string strSystemName;
    std::string strSystemID;
    std::string strSystemModel;
    std::string strSystemVendor;
};

// One application entry of a device.
struct CDeviceApplicationInfo
{
    std::string strComponentType;
    std::string strVersion;
    std::string strDisplay;
    std::string strPath;
};

// The application entries of one device record. The list owns its entries;
// a copy owns copies of them, so no entry is ever deleted twice.
class CApplicationInfoList
{
public:
    CApplicationInfoList() = default;
    CApplicationInfoList(const CApplicationInfoList& other);
    CApplicationInfoList& operator=(const CApplicationInfoList& other);
    CApplicationInfoList(CApplicationInfoList&& other) noexcept;
    CApplicationInfoList& operator=(CApplicationInfoList&& other) noexcept;
    ~CApplicationInfoList();

    std::vector<CDeviceApplicationInfo*>& Entries() { return m_vEntries; }

private:
    void Clear();

    std::vector<CDeviceApplicationInfo*> m_vEntries;
};

// The record for a dependency declared in the package description, a device
// found by an inventory collector, and an entry of the report.
class CDeviceInfo
{
public:
    enum eDeviceType
    {
        eDeviceTypeUnknown = 0,
        eDeviceTypePCI = 1,
        eDeviceTypeNonPCI = 2
    };

    enum eDependencyType
    {
        eDependencyTypeHard = 1,
        eDependencyTypeSoft = 2
    };

    CDeviceInfo() = default;

    std::string getReleaseID() const { return m_strReleaseID; }
    void setReleaseID(std::string strValue) { m_strReleaseID = std::move(strValue); }
    std::string getComponentID() const { return m_strComponentID; }
    void setComponentID(std::string strValue) { m_strComponentID = std::move(strValue); }
    std::string getParentComponentID() const { return m_strParentComponentID; }
    void setParentComponentID(std::string strValue) { m_strParentComponentID = std::move(strValue); }
    eDeviceType getParentDeviceType() const { return m_eParentDeviceType; }
    void setParentDeviceType(eDeviceType eValue) { m_eParentDeviceType = eValue; }
    std::string getComponentType() const { return m_strComponentType; }
    void setComponentType(std::string strValue) { m_strComponentType = std::move(strValue); }
    std::string getDeviceName() const { return m_strDeviceName; }
    void setDeviceName(std::string strValue) { m_strDeviceName = std::move(strValue); }
    std::string getVersion() const { return m_strVersion; }
    void setVersion(std::string strValue) { m_strVersion = std::move(strValue); }

    SPCIInfo getPCIInfo() const { return m_PCIInfo; }
    void setPCIInfo(SPCIInfo pciInfo) { m_PCIInfo = std::move(pciInfo); }
    void setPCIInfo(unsigned int nDeviceID, unsigned int nSubDeviceID, unsigned int nVendorID,
                    unsigned int nSubVendorID);

    eDeviceType getDeviceType() const { return m_eDeviceType; }
    void setDeviceType(eDeviceType eValue) { m_eDeviceType = eValue; }
    eDependencyType getDependencyType() const { return m_eDependencyType; }
    void setDependencyType(eDependencyType eValue) { m_eDependencyType = eValue; }
    std::string getDependencyContext() const { return m_strDependencyContext; }
    void setDependencyContext(std::string strValue) { m_strDependencyContext = std::move(strValue); }

    std::vector<std::string> getDepenendencyPlatforms() const { return m_DependencyPlatforms.Items(); }
    void setDependencyPlatforms(std::vector<std::string>& vPlatforms)
    {
        m_DependencyPlatforms = CSharedList<std::string>(vPlatforms);
    }
    std::vector<SPCIInfo> getParentPCIInfo() const { return m_ParentPCIInfo.Items(); }
    void setParentPCIInfo(std::vector<SPCIInfo>& vParentPCIInfo)
    {
        m_ParentPCIInfo = CSharedList<SPCIInfo>(vParentPCIInfo);
    }
    std::vector<SOSInfo> getDependencyOS() const { return m_DependencyOS.Items(); }
    void setDependencyOS(std::vector<SOSInfo> vOSInfo) { m_DependencyOS = CSharedList<SOSInfo>(std::move(vOSInfo)); }

    // The three lists above without a copy, and a list given to many
    // records at once (the PCI identities of a Device, which every one of
    // its dependencies carries). Copies of a record share its lists.
    const std::vector<std::string>& DependencyPlatforms() const { return m_DependencyPlatforms.Items(); }
    const std::vector<SPCIInfo>& ParentPCIInfo() const { return m_ParentPCIInfo.Items(); }
    const std::vector<SOSInfo>& DependencyOS() const { return m_DependencyOS.Items(); }
    void ShareParentPCIInfo(const CSharedList<SPCIInfo>& parentPCIInfo) { m_ParentPCIInfo = parentPCIInfo; }
    const CSharedList<SPCIInfo>& SharedParentPCIInfo() const { return m_ParentPCIInfo; }

    std::vector<CDeviceApplicationInfo*>* getApplicationInfo() { return &m_ApplicationInfo.Entries(); }
    void setApplicationInfo(CDeviceApplicationInfo* pApplicationInfo);

    int32_t getMessageID() const { return m_nMessageID; }
    void setMessageID(int32_t nValue) { m_nMessageID = nValue; }
    int32_t getStatus() const { return m_nStatus; }
    void setStatus(int32_t nValue) { m_nStatus = nValue; }
    std::string getErrorMsg() const { return m_strErrorMsg; }
    void setErrorMsg(std::string strValue) { m_strErrorMsg = std::move(strValue); }
    int32_t getUpdateStatus() const { return m_nUpdateStatus; }
    void setUpdateStatus(int32_t nValue) { m_nUpdateStatus = nValue; }
    std::string getDisplay() const { return m_strDisplay; }
    void setDisplay(std::string strValue) { m_strDisplay = std::move(strValue); }
    std::string getDetail() const { return m_strDetail; }
    void setDetail(std::string strValue) { m_strDetail = std::move(strValue); }

    // The download base address followed by the package path; backslashes in
    // the stored path are turned into slashes (in the stored field itself).
    std::string getFilePath();
    void setFilePath(std::string strValue) { m_strFilePath = std::move(strValue); }

    std::string getCurrentVersion() const { return m_strCurrentVersion; }
    void setCurrentVersion(std::string strValue) { m_strCurrentVersion = std::move(strValue); }
    std::string getEnumId() const { return m_strEnumId; }
    void setEnumId(std::string strValue) { m_strEnumId = std::move(strValue); }
    bool getRebootRequired() const { return m_bRebootRequired; }
    void setRebootRequired(bool bValue) { m_bRebootRequired = bValue; }
    bool getColdPowerCycleRequired() const { return m_bColdPowerCycleRequired; }
    void setColdPowerCycleRequired(bool bValue) { m_bColdPowerCycleRequired = bValue; }

    _BDFInfo getBDFInfo() const { return m_BDFInfo; }
    void setBDFInfo(_BDFInfo bdfInfo) { m_BDFInfo = bdfInfo; }
    void setBDFInfo(unsigned char nBus, unsigned char nDevice, unsigned char nFunction);

    std::string getDeviceIdentifier() const { return m_strDeviceIdentifier; }
    void setDeviceIdentifier(std::string strValue) { m_strDeviceIdentifier = std::move(strValue); }
    uint32_t getDeviceUdpateID() const { return m_nDeviceUpdateID; }
    void setDeviceUdpateID(uint32_t nValue) { m_nDeviceUpdateID = nValue; }
    uint16_t getDeviceSpecificID() const { return m_nDeviceSpecificID; }
    void setDeviceSpecificID(uint16_t nValue) { m_nDeviceSpecificID = nValue; }
    int32_t getBus() const { return m_nBus; }
    void setBus(int32_t nValue) { m_nBus = nValue; }
    int32_t get_DeviceBus() const { return m_nDeviceBus; }
    void setDeviceBus(int32_t nValue) { m_nDeviceBus = nValue; }
    int32_t get_DeviceBusFunction() const { return m_nDeviceBusFunction; }
    void setDeviceBusFunction(int32_t nValue) { m_nDeviceBusFunction = nValue; }
    void* getDeviceHandle() const { return m_pDeviceHandle; }
    void setDeviceHandle(void* pHandle) { m_pDeviceHandle = pHandle; }
    std::string getFQDDInfo() const { return m_strFQDD; }
    void setFQDDInfo(std::string strValue) { m_strFQDD = std::move(strValue); }

    OVNCSystemInfo* getSystemInfo() { return &m_SystemInfo; }
    void setSystemInfo(OVNCSystemInfo* pSystemInfo);

    // Identity used to keep a dependency from being listed twice: component
    // type, component ID, dependency type, version, display name, detail,
    // file path and the PCI identity without its marketing name.
    bool operator==(CDeviceInfo other);
    // The same identity test on a reference: no copy is made.
    bool IsSameDependency(const CDeviceInfo& other) const;
    // A hash of the fields that IsSameDependency compares: records that are
    // the same dependency have the same hash. Backslashes in the stored file
    // path hash like slashes, so getFilePath's conversion of the stored path
    // leaves the hash unchanged.
    std::size_t DependencyHash() const;

    // Second identity test: component type, component ID, version,
    // enumeration ID, FQDD, PCI identity without marketing name and the
    // bus/device/function numbers.
    bool checkForEquality(const CDeviceInfo* pOther);

private:
    std::string m_strReleaseID;
    std::string m_strComponentID;
    std::string m_strParentComponentID;
    eDeviceType m_eParentDeviceType = eDeviceTypeUnknown;
    std::string m_strComponentType;
    std::string m_strDeviceName;
    std::string m_strVersion;
    SPCIInfo m_PCIInfo;
    eDeviceType m_eDeviceType = eDeviceTypeUnknown;
    eDependencyType m_eDependencyType = eDependencyTypeHard;
    std::string m_strDependencyContext;
    CSharedList<std::string> m_DependencyPlatforms;
    CSharedList<SPCIInfo> m_ParentPCIInfo;
    CSharedList<SOSInfo> m_DependencyOS;
    CApplicationInfoList m_ApplicationInfo;
    int32_t m_nMessageID = 0;
    int32_t m_nStatus = -1;
    std::string m_strErrorMsg;
    int32_t m_nUpdateStatus = 0;
    std::string m_strDisplay;
    std::string m_strDetail;
    std::string m_strFilePath;
    std::string m_strCurrentVersion;
    std::string m_strEnumId;
    bool m_bRebootRequired = false;
    bool m_bColdPowerCycleRequired = false;
    _BDFInfo m_BDFInfo;
    std::string m_strDeviceIdentifier;
    uint32_t m_nDeviceUpdateID = 0;
    uint16_t m_nDeviceSpecificID = 0;
    int32_t m_nBus = 0;
    int32_t m_nDeviceBus = 0;
    int32_t m_nDeviceBusFunction = 0;
    void* m_pDeviceHandle = nullptr;
    std::string m_strFQDD;
    OVNCSystemInfo m_SystemInfo;
};

// The address that download paths in the report start with.
extern const char* const pszDefaultDownloadBase;

#endif // VEXDEP_DEVICEINFO_H
