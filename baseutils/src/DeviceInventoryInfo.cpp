#include "DeviceInventoryInfo.h"

#include "Logger.h"
#include "PlatformLayer.h"

#include <new>

#include <strings.h>

namespace
{
const char* const kDeviceExpression = "//SVMInventory//Device";
const char* const kStatusExpression = "//SVMInventory/Device/Application/SPStatus | //SVMInventory/SPStatus";
const char* const kOperatingSystemExpression = "//SVMInventory//OperatingSystem";
const char* const kSystemExpression = "//SVMInventory//System";

const unsigned char* Expression(const char* pszExpression)
{
    return reinterpret_cast<const unsigned char*>(pszExpression);
}

// Overwrites strField with the attribute's text when the attribute is present.
void TakeIfPresent(const char* pszValue, std::string& strField)
{
    if (pszValue != nullptr)
    {
        strField = pszValue;
    }
}
} // namespace

CDeviceInventoryInfo::CDeviceInventoryInfo(const std::string& strSource) : m_strSource(strSource)
{
    if (CPlatformLayer::IsFileExistsAbs(m_strSource))
    {
        m_pDocument = xmlsupport::ParseFile(m_strSource);
    }
    else
    {
        // Written before the text is parsed, whatever the outcome.
        VEXLOG("CDeviceInventoryInfo::CDeviceInventoryInfo() Document " + m_strSource + "  parsing failed ");
        m_pDocument = xmlsupport::ParseMemory(m_strSource);
        if (!m_pDocument)
        {
            VEXLOG("CDeviceInventoryInfo::CDeviceInventoryInfo() Document " + m_strSource + "  parsing failed ");
        }
    }
    // Every later document of the process drops its blank text nodes; the
    // readers rely on that when they take a Device's first child.
    xmlsupport::SetKeepBlanksDefault(false);
}

CDeviceInventoryInfo::~CDeviceInventoryInfo()
{
    VEXLOG("CDeviceInventoryInfo::~CDeviceInventoryInfo ");
    if (m_pDocument)
    {
        m_pDocument.reset();
        xmlsupport::CleanupParser();
    }
}

xmlsupport::NodeSetPtr CDeviceInventoryInfo::GetNodeSet(const unsigned char* pszExpression)
{
    VEXLOG("CDeviceInventoryInfo::GetNodeSet() Start");
    if (pszExpression == nullptr)
    {
        VEXLOG("CDeviceInventoryInfo::GetNodeSet() xmlXPathNewContext is NULL");
        return nullptr;
    }
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pResult = xmlsupport::Evaluate(m_pDocument.get(), pszExpression, eStatus);
    switch (eStatus)
    {
    case xmlsupport::EvalStatus::ContextFailed:
        VEXLOG("CDeviceInventoryInfo::GetNodeSet() Error in xmlXPathNewContext");
        return nullptr;
    case xmlsupport::EvalStatus::EvalFailed:
        VEXLOG("CDeviceInventoryInfo::GetNodeSet() Error in xmlXPathEvalExpression");
        return nullptr;
    case xmlsupport::EvalStatus::Empty:
        VEXLOG("CDeviceInventoryInfo::GetNodeSet() Empty nodeset");
        return nullptr;
    case xmlsupport::EvalStatus::Ok:
        break;
    }
    VEXLOG("CDeviceInventoryInfo::GetNodeSet() END");
    return pResult;
}

const char* CDeviceInventoryInfo::GetAttributeValue(xmlNode* pNode, const char* pszName)
{
    if (pNode == nullptr || pszName == nullptr)
    {
        VEXLOG("CDeviceInventoryInfo::GetAttributeValue() NULL == cur || NULL == propName");
        return nullptr;
    }
    return xmlsupport::AttributeValue(pNode, pszName);
}

int CDeviceInventoryInfo::GetInventoryStatus(std::string& strMessage)
{
    xmlsupport::NodeSetPtr pStatuses = GetNodeSet(Expression(kStatusExpression));
    if (!pStatuses)
    {
        VEXLOG("CDeviceInventoryInfo::GetInventoryStatus() pXpathObj is NULL");
        return 1;
    }

    const std::size_t nStatuses = xmlsupport::NodeCount(pStatuses.get());
    for (std::size_t nIndex = 0; nIndex < nStatuses; ++nIndex)
    {
        xmlNode* pStatus = xmlsupport::NodeAt(pStatuses.get(), nIndex);
        const char* pszResult = GetAttributeValue(pStatus, "result");
        if (pszResult == nullptr || strcasecmp(pszResult, "false") != 0)
        {
            continue;
        }
        // The message is the text of the status element's first child
        // element (its first child node, once blanks are dropped).
        const char* pszMessage = xmlsupport::FirstChildContent(pStatus->children);
        if (pszMessage != nullptr)
        {
            strMessage = pszMessage;
            VEXLOG("CDeviceInventoryInfo::GetInventoryStatus() got message");
            VEXLOG(strMessage);
        }
        return 0;
    }
    return 1;
}

CDeviceInfo* CDeviceInventoryInfo::NewFailedRecord(const std::string& strMessage)
{
    CDeviceInfo* pRecord = new (std::nothrow) CDeviceInfo();
    if (pRecord == nullptr)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() memory allocation failed for the failed inventory record");
        return nullptr;
    }
    pRecord->setErrorMsg(strMessage);
    pRecord->setStatus(1);
    return pRecord;
}

CDeviceInfo* CDeviceInventoryInfo::NewDeviceRecord(xmlNode* pDevice, bool bFailed, const std::string& strMessage)
{
    CDeviceInfo* pRecord = new (std::nothrow) CDeviceInfo();
    if (pRecord == nullptr)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() memory allocation failed for a device record");
        return nullptr;
    }

    if (bFailed)
    {
        pRecord->setErrorMsg(strMessage);
        pRecord->setStatus(1);
    }

    const char* pszComponentID = GetAttributeValue(pDevice, "componentID");
    const char* pszVendorID = nullptr;
    if (pszComponentID != nullptr)
    {
        // A component ID makes a non-PCI device; PCI attributes beside it
        // are not read.
        pRecord->setComponentID(pszComponentID);
        pRecord->setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    }
    else if ((pszVendorID = GetAttributeValue(pDevice, "vendorID")) != nullptr)
    {
        SPCIInfo pciInfo;
        pciInfo.strVendorID = pszVendorID;
        TakeIfPresent(GetAttributeValue(pDevice, "deviceID"), pciInfo.strDeviceID);
        TakeIfPresent(GetAttributeValue(pDevice, "subVendorID"), pciInfo.strSubVendorID);
        TakeIfPresent(GetAttributeValue(pDevice, "subDeviceID"), pciInfo.strSubDeviceID);
        pRecord->setDeviceType(CDeviceInfo::eDeviceTypePCI);
        pRecord->setPCIInfo(pciInfo);
    }
    // Otherwise the device type stays unknown and the record never matches.

    const char* pszDisplay = GetAttributeValue(pDevice, "display");
    if (pszDisplay != nullptr)
    {
        pRecord->setDeviceName(pszDisplay);
    }

    // The application is the Device's first child node, whatever its name.
    xmlNode* pApplication = pDevice->children;
    if (pApplication != nullptr)
    {
        std::string strComponentType;
        std::string strVersion;
        TakeIfPresent(GetAttributeValue(pApplication, "componentType"), strComponentType);
        TakeIfPresent(GetAttributeValue(pApplication, "version"), strVersion);
        pRecord->setComponentType(strComponentType);
        pRecord->setVersion(strVersion);
    }
    return pRecord;
}

std::vector<CDeviceInfo*> CDeviceInventoryInfo::GetDeviceInfo()
{
    std::vector<CDeviceInfo*> vDevices;
    if (!m_pDocument)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() Document " + m_strSource + "  parsing failed ");
        return vDevices;
    }

    xmlsupport::NodeSetPtr pDevices = GetNodeSet(Expression(kDeviceExpression));
    if (!pDevices)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL");
        std::string strMessage;
        if (GetInventoryStatus(strMessage) == 0)
        {
            CDeviceInfo* pRecord = NewFailedRecord(strMessage);
            if (pRecord != nullptr)
            {
                vDevices.push_back(pRecord);
            }
        }
        return vDevices;
    }

    // The status is document-wide: every record of a failed document
    // carries it. It is looked up once; for every further device the
    // lookup's log lines are written again, so that the log reads exactly as
    // if each device had looked it up anew (a lookup per device would make
    // reading an inventory of many thousands of devices quadratic).
    std::string strMessage;
    bool bFailed = false;
    bool bStatusKnown = false;
    std::vector<SLogRecord> vStatusLog;

    const std::size_t nDevices = xmlsupport::NodeCount(pDevices.get());
    vDevices.reserve(nDevices);
    for (std::size_t nIndex = 0; nIndex < nDevices; ++nIndex)
    {
        xmlNode* pDevice = xmlsupport::NodeAt(pDevices.get(), nIndex);
        if (pDevice == nullptr)
        {
            continue;
        }
        if (!bStatusKnown)
        {
            CLogRecorder statusLog;
            bFailed = GetInventoryStatus(strMessage) == 0;
            vStatusLog = statusLog.Records();
            bStatusKnown = true;
        }
        else
        {
            CLogger::GetInstance()->Replay(vStatusLog);
        }
        CDeviceInfo* pRecord = NewDeviceRecord(pDevice, bFailed, strMessage);
        if (pRecord != nullptr)
        {
            vDevices.push_back(pRecord);
        }
    }
    return vDevices;
}

SOSInfo CDeviceInventoryInfo::GetOSInfo()
{
    SOSInfo osInfo;
    if (!m_pDocument)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() Document " + m_strSource + "  parsing failed ");
        return osInfo;
    }
    xmlsupport::NodeSetPtr pSystems = GetNodeSet(Expression(kOperatingSystemExpression));
    if (!pSystems)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL");
        return osInfo;
    }
    // Field by field, the last element that carries an attribute wins.
    const std::size_t nSystems = xmlsupport::NodeCount(pSystems.get());
    for (std::size_t nIndex = 0; nIndex < nSystems; ++nIndex)
    {
        xmlNode* pSystem = xmlsupport::NodeAt(pSystems.get(), nIndex);
        TakeIfPresent(GetAttributeValue(pSystem, "majorVersion"), osInfo.strMajorVersion);
        TakeIfPresent(GetAttributeValue(pSystem, "minorVersion"), osInfo.strMinorVersion);
        TakeIfPresent(GetAttributeValue(pSystem, "spMajorVersion"), osInfo.strSPMajorVersion);
        TakeIfPresent(GetAttributeValue(pSystem, "spMinorVersion"), osInfo.strSPMinorVersion);
        TakeIfPresent(GetAttributeValue(pSystem, "osVendor"), osInfo.strOSVendor);
        TakeIfPresent(GetAttributeValue(pSystem, "osArch"), osInfo.strOSArch);
        TakeIfPresent(GetAttributeValue(pSystem, "osBuildNum"), osInfo.strInstalledBuildNumber);
    }
    return osInfo;
}

std::string CDeviceInventoryInfo::GetSystemID()
{
    std::string strSystemID;
    if (!m_pDocument)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() Document " + m_strSource + "  parsing failed ");
        return strSystemID;
    }
    xmlsupport::NodeSetPtr pSystems = GetNodeSet(Expression(kSystemExpression));
    if (!pSystems)
    {
        VEXLOG("CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL");
        return strSystemID;
    }
    const std::size_t nSystems = xmlsupport::NodeCount(pSystems.get());
    for (std::size_t nIndex = 0; nIndex < nSystems; ++nIndex)
    {
        TakeIfPresent(GetAttributeValue(xmlsupport::NodeAt(pSystems.get(), nIndex), "systemID"), strSystemID);
    }
    return strSystemID;
}
