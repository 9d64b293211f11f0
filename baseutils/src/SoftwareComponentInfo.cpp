#include "SoftwareComponentInfo.h"

#include "Logger.h"
#include "PlatformLayer.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iomanip>
#include <new>
#include <sstream>

namespace
{
const char* const kPackageFileName = "package.xml";
const char* const kDevicesXPath = "//SoftwareComponent/SupportedDevices/Device";
const char* const kComponentTypeXPath = "//SoftwareComponent/ComponentType";
const char* const kComponentXPath = "//SoftwareComponent";
const char* const kComponentTypeDisplayXPath = "//SoftwareComponent/ComponentType/Display";
const char* const kRollbackXPath = "//SoftwareComponent/SupportedDevices/Device/RollbackInformation";
const char* const kDependenciesXPath =
    " //SoftwareComponent/SupportedDevices/Device/Dependency | //SoftwareComponent/SupportedDevices/Device/SoftDependency";
const char* const kContextTypesXPath = "//CONTEXT/CONTEXT_TYPE";
// Platform entries of one dependency beyond which later Brand elements add
// no more (see getDependencyInfo).
const std::size_t kPlatformRepeatLimit = 100000;
#ifdef VEXDEP_FUZZ_RECORD_BUDGET
// The fuzz targets alone bound the dependency records of one package, in
// bytes: at least kMinimumRecordBudget, and kRecordBudgetPerByte bytes for
// every byte of the package description, so that a small input that
// multiplies its records (thousands of dependencies under a Device with
// thousands of PCIInfo children) cannot exhaust the fuzzer's memory. The
// checker builds every record the memory allows.
const std::size_t kMinimumRecordBudget = std::size_t(256) << 20;
const std::size_t kRecordBudgetPerByte = 64;
#endif

const xmlChar* AsXmlChar(const char* pszText) { return reinterpret_cast<const xmlChar*>(pszText); }

bool IsElement(const xmlNode* pNode) { return pNode != nullptr && pNode->type == XML_ELEMENT_NODE; }

// Where the reader walks an element's children or siblings itself, it tests
// their names, ignoring ASCII case, whatever kind of node they are: a
// processing instruction or an entity reference named like the element
// looked for is taken for it (it has no attributes, so values read from an
// earlier one carry over). A node without a name (a CDATA section) matches
// nothing.
bool IsNamed(const xmlNode* pNode, const char* pszName) { return xmlsupport::NameEquals(pNode, pszName); }

// The text of a node as the reader takes it: the content of its first child
// node, whatever kind of node that is (an empty CDATA section or comment
// gives an empty text). Null when there is no first child or it has no
// content.
const char* TextOf(const xmlNode* pNode) { return xmlsupport::FirstChildContent(pNode); }

bool EqualsIgnoringCase(const std::string& strLeft, const std::string& strRight)
{
    if (strLeft.size() != strRight.size())
    {
        return false;
    }
    for (std::size_t i = 0; i < strLeft.size(); ++i)
    {
        if (std::tolower(static_cast<unsigned char>(strLeft[i])) !=
            std::tolower(static_cast<unsigned char>(strRight[i])))
        {
            return false;
        }
    }
    return true;
}

// Reads an attribute into strField when it has a value; the field keeps its
// previous text otherwise. True when the attribute was read.
bool ReadAttributeInto(const xmlNode* pNode, const char* pszName, std::string& strField)
{
    const char* pszValue = xmlsupport::AttributeValue(pNode, pszName);
    if (pszValue == nullptr)
    {
        return false;
    }
    strField = pszValue;
    return true;
}

// Supported-device identifiers are left-padded with zeros to four
// characters (1A becomes 001A); longer texts stay as written.
bool ReadPaddedIdentifier(const xmlNode* pNode, const char* pszName, std::string& strField)
{
    const char* pszValue = xmlsupport::AttributeValue(pNode, pszName);
    if (pszValue == nullptr)
    {
        return false;
    }
    std::ostringstream ossValue;
    ossValue << std::setw(4) << std::setfill('0') << pszValue;
    strField = ossValue.str();
    return true;
}

// The four PCI identifiers of a PCIInfo/DepPCIInfo element, as written.
void ReadPCIIdentifiers(const xmlNode* pNode, SPCIInfo& pciInfo)
{
    ReadAttributeInto(pNode, "deviceID", pciInfo.strDeviceID);
    ReadAttributeInto(pNode, "subDeviceID", pciInfo.strSubDeviceID);
    ReadAttributeInto(pNode, "vendorID", pciInfo.strVendorID);
    ReadAttributeInto(pNode, "subVendorID", pciInfo.strSubVendorID);
}

bool IsBrand(const xmlNode* pNode) { return IsNamed(pNode, "Brand") || IsNamed(pNode, "DepBrand"); }

// A Model/DepModel child of a Brand element that carries a system ID (a
// Model without one names no platform).
bool IsPlatformModel(const xmlNode* pModel)
{
    return (IsNamed(pModel, "Model") || IsNamed(pModel, "DepModel")) &&
           xmlsupport::AttributeValue(pModel, "systemID") != nullptr;
}

// Appends "0x" + systemID of every platform model of a Brand element.
void AppendModelPlatforms(const xmlNode* pBrand, std::vector<std::string>& vPlatforms)
{
    for (const xmlNode* pModel = pBrand->children; pModel != nullptr; pModel = pModel->next)
    {
        if (IsPlatformModel(pModel))
        {
            vPlatforms.push_back(std::string("0x") + xmlsupport::AttributeValue(pModel, "systemID"));
        }
    }
}

// How many platform entries a Brand element's own Model children give.
std::size_t CountModelPlatforms(const xmlNode* pBrand)
{
    std::size_t nCount = 0;
    for (const xmlNode* pModel = pBrand->children; pModel != nullptr; pModel = pModel->next)
    {
        nCount += IsPlatformModel(pModel) ? 1 : 0;
    }
    return nCount;
}

#ifdef VEXDEP_FUZZ_RECORD_BUDGET
std::size_t TextBytes(const SPCIInfo& pciInfo)
{
    return sizeof(SPCIInfo) + pciInfo.strComponentID.size() + pciInfo.strDeviceID.size() +
           pciInfo.strSubDeviceID.size() + pciInfo.strVendorID.size() + pciInfo.strSubVendorID.size() +
           pciInfo.strMarketingName.size();
}

std::size_t TextBytes(const SOSInfo& osInfo)
{
    return sizeof(SOSInfo) + osInfo.strMajorVersion.size() + osInfo.strMinorVersion.size() +
           osInfo.strSPMajorVersion.size() + osInfo.strSPMinorVersion.size() + osInfo.strOSVendor.size() +
           osInfo.strOSArch.size() + osInfo.strInstalledBuildNumber.size() + osInfo.strReserved.size() +
           osInfo.strRequiredBuildNumber.size();
}

// What one record of a dependency entry holds, in bytes, at most: the record
// itself, every attribute of the dependency element and of its parent, the
// texts of its Display and Detail children, and its lists.
std::size_t RecordBytes(const xmlNode* pDependency, const std::vector<SPCIInfo>& vParentPCIInfo,
                        const std::vector<SOSInfo>& vOSInfo, const std::vector<std::string>& vPlatforms,
                        const SPCIInfo& pciInfo)
{
    std::size_t nBytes = sizeof(CDeviceInfo) + TextBytes(pciInfo);
    for (const xmlNode* pNode : {pDependency, static_cast<const xmlNode*>(pDependency->parent)})
    {
        for (const xmlAttr* pAttribute = pNode != nullptr && pNode->type == XML_ELEMENT_NODE ? pNode->properties
                                                                                            : nullptr;
             pAttribute != nullptr; pAttribute = pAttribute->next)
        {
            if (const char* pszValue = xmlsupport::FirstChildContent(reinterpret_cast<const xmlNode*>(pAttribute)))
            {
                nBytes += std::strlen(pszValue);
            }
        }
    }
    for (const xmlNode* pChild = pDependency->children; pChild != nullptr; pChild = pChild->next)
    {
        if (IsNamed(pChild, "Display") || IsNamed(pChild, "Detail"))
        {
            if (const char* pszText = TextOf(pChild))
            {
                nBytes += std::strlen(pszText);
            }
        }
    }
    for (const SPCIInfo& parentPCIInfo : vParentPCIInfo)
    {
        nBytes += TextBytes(parentPCIInfo);
    }
    for (const SOSInfo& osInfo : vOSInfo)
    {
        nBytes += TextBytes(osInfo);
    }
    for (const std::string& strPlatform : vPlatforms)
    {
        nBytes += sizeof(std::string) + strPlatform.size();
    }
    return nBytes;
}
#endif

// What a dependency takes from its parent Device: the PCI identities of the
// Device's PCIInfo children and the parent device type they imply.
struct SParentDevice
{
    const xmlNode* pNode = nullptr;
    CDeviceInfo::eDeviceType eDeviceType = CDeviceInfo::eDeviceTypeNonPCI;
    std::vector<SPCIInfo> vPCIInfo;
    // The same list, made once for every dependency of the Device to share.
    CSharedList<SPCIInfo> sharedPCIInfo;
};

void ReadParentDevice(const xmlNode* pParent, SParentDevice& parent)
{
    parent.pNode = pParent;
    parent.eDeviceType = CDeviceInfo::eDeviceTypeNonPCI;
    parent.vPCIInfo.clear();
    // A PCIInfo without some attribute carries the previous one's value.
    SPCIInfo pciInfo;
    for (const xmlNode* pChild = pParent != nullptr ? pParent->children : nullptr; pChild != nullptr;
         pChild = pChild->next)
    {
        if (IsNamed(pChild, "PCIInfo"))
        {
            parent.eDeviceType = CDeviceInfo::eDeviceTypePCI;
            ReadPCIIdentifiers(pChild, pciInfo);
            parent.vPCIInfo.push_back(pciInfo);
        }
    }
    parent.sharedPCIInfo = CSharedList<SPCIInfo>(parent.vPCIInfo);
}
} // namespace

// ---------------------------------------------------------------------------
// Construction and the document
// ---------------------------------------------------------------------------

void CSoftwareComponentInfo::SwitchLoggingOn()
{
    if (CPlatformLayer::IsFileExits(strEnableLogFileName))
    {
        CLogger::GetInstance()->Initialize(strBaseUtilsLogFileName);
    }
}

CSoftwareComponentInfo::CSoftwareComponentInfo()
{
    SwitchLoggingOn();
    VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo() Entering Constructor Method");
    ParseXMl();
}

CSoftwareComponentInfo::CSoftwareComponentInfo(const char* pszFileName)
{
    xmlsupport::SetKeepBlanksDefault(false);
    m_pDocument.reset();
    // Without a name there is nothing to read.
    if (pszFileName == nullptr)
    {
        return;
    }
    m_strFilePath = CPlatformLayer::getCurrentDirectory() + pszFileName;
    if (CPlatformLayer::IsFileExits(pszFileName))
    {
        m_pDocument = xmlsupport::ParseFile(m_strFilePath, m_ParseStamp);
        if (!m_pDocument)
        {
            VEXLOG("CSoftwareComponentInfo::Init() Document " + m_strFilePath + " not parsed successfully ");
        }
        VEXLOG("CSoftwareComponentInfo::Init() Exiting");
    }
}

CSoftwareComponentInfo::CSoftwareComponentInfo(std::string& strDocument)
{
    SwitchLoggingOn();
    VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo(String) Entering Constructor Method");
    m_pDocument.reset();
    VEXLOG(strDocument);
    m_pDocument = xmlsupport::ParseMemory(strDocument);
    if (!m_pDocument)
    {
        VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo(string) Document " + m_strFilePath +
               " not parsed successfully ");
    }
    VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo(string) Exiting");
}

CSoftwareComponentInfo::~CSoftwareComponentInfo()
{
    if (m_pDocument)
    {
        m_pDocument.reset();
        xmlsupport::CleanupParser();
    }
    m_mapContextTypes.clear();
}

void CSoftwareComponentInfo::ParseXMl()
{
    VEXLOG("CSoftwareComponentInfo::Init() Entering");
    xmlsupport::SetKeepBlanksDefault(false);
    m_pDocument.reset();
    // The working directory always ends in "/".
    m_strFilePath = CPlatformLayer::getCurrentDirectory() + kPackageFileName;
    if (!CPlatformLayer::IsFileExits(kPackageFileName))
    {
        return;
    }
    m_pDocument = xmlsupport::ParseFile(m_strFilePath, m_ParseStamp);
    if (!m_pDocument)
    {
        VEXLOG("CSoftwareComponentInfo::Init() Document " + m_strFilePath + " not parsed successfully ");
    }
    VEXLOG("CSoftwareComponentInfo::Init() Exiting");
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::GetNodeSet(xmlDoc* pDoc, const xmlChar* pszXPath)
{
    VEXLOG("CSoftwareComponentInfo::GetNodeSet() Entering");
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pResult = xmlsupport::Evaluate(pDoc, pszXPath, eStatus);
    switch (eStatus)
    {
    case xmlsupport::EvalStatus::ContextFailed:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Error in xmlXPathNewContext");
        break;
    case xmlsupport::EvalStatus::EvalFailed:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Error in xmlXPathEvalExpression");
        break;
    case xmlsupport::EvalStatus::Empty:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Empty nodeset");
        break;
    case xmlsupport::EvalStatus::Ok:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Exiting");
        break;
    }
    return pResult;
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::getnodeset(xmlDoc* pDoc, const xmlChar* pszXPath)
{
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pResult = xmlsupport::Evaluate(pDoc, pszXPath, eStatus);
    if (eStatus == xmlsupport::EvalStatus::ContextFailed)
    {
        VEXLOG("CIdentityModuleInventory::getnodeset :: Error in xmlXPathNewContext");
    }
    else if (eStatus == xmlsupport::EvalStatus::EvalFailed)
    {
        VEXLOG("CIdentityModuleInventory::getnodeset :: Error in xmlXPathEvalExpression");
    }
    return pResult;
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::ParseXmlUsingXpath()
{
    VEXLOG("CSoftwareComponentInfo::ParseXmlUsingXpath() Entering");
    if (!CPlatformLayer::IsFileExits(kPackageFileName))
    {
        m_pDocument.reset();
        return nullptr;
    }
    ReadDocumentAgain();
    xmlsupport::NodeSetPtr pResult = GetNodeSet(m_pDocument.get(), AsXmlChar(kDevicesXPath));
    VEXLOG("CSoftwareComponentInfo::ParseXmlUsingXpath() Exiting");
    return pResult;
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::ParseXmlUsingXpath(const char* pszXPath)
{
    ReadDocumentAgain();
    return GetNodeSet(m_pDocument.get(), AsXmlChar(pszXPath));
}

void CSoftwareComponentInfo::ReadDocumentAgain()
{
    // Parsing an unchanged file again would give the same document: the
    // held one is kept.
    if (m_pDocument && xmlsupport::IsUnchanged(m_strFilePath, m_ParseStamp))
    {
        return;
    }
    m_pDocument = xmlsupport::ParseFile(m_strFilePath, m_ParseStamp);
}

const char* CSoftwareComponentInfo::GetAttributeValue(xmlNode* pNode, const char* pszName)
{
    return xmlsupport::AttributeValue(pNode, pszName);
}

std::string CSoftwareComponentInfo::GetValue(const std::string& strXPath, const std::string& strAttributeName)
{
    VEXLOG("Entering GetStringFromPackageXML function");
    xmlsupport::NodeSetPtr pNodeSet;
    if (m_pDocument)
    {
        pNodeSet = GetNodeSet(m_pDocument.get(), AsXmlChar(strXPath.c_str()));
    }
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pNode = xmlsupport::NodeAt(pNodeSet.get(), i);
        if (!strAttributeName.empty())
        {
            const char* pszValue = GetAttributeValue(pNode, strAttributeName.c_str());
            if (pszValue != nullptr)
            {
                return pszValue;
            }
        }
        if (const char* pszText = TextOf(pNode))
        {
            std::string strText = pszText;
            VEXLOG(strText);
            VEXLOG("Exiting GetStringFromPackageXML function");
            return strText;
        }
    }
    VEXLOG("Exiting GetStringFromPackageXML function");
    return std::string();
}

// ---------------------------------------------------------------------------
// Component identity
// ---------------------------------------------------------------------------

std::string CSoftwareComponentInfo::GetComponentID()
{
    VEXLOG("Entering CSoftwareComponentInfo::GetComponentID()");
    std::string strComponentID;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    if (pNodeSet)
    {
        // Only the first Device counts.
        ReadAttributeInto(xmlsupport::NodeAt(pNodeSet.get(), 0), "componentID", strComponentID);
        VEXLOG("Found the component id as " + strComponentID);
    }
    VEXLOG("Leaving CSoftwareComponentInfo::GetComponentID()");
    return strComponentID;
}

std::string CSoftwareComponentInfo::GetMinComponentID()
{
    VEXLOG("Entering CSoftwareComponentInfo::GetMinComponentID()");
    std::string strMinComponentID;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    bool bFound = false;
    long nMin = 0;
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        // A Device without a component ID has no number to offer.
        const char* pszComponentID = GetAttributeValue(xmlsupport::NodeAt(pNodeSet.get(), i), "componentID");
        if (pszComponentID == nullptr)
        {
            continue;
        }
        const long nValue = std::strtol(pszComponentID, nullptr, 10);
        if (!bFound || nValue < nMin)
        {
            nMin = nValue;
            bFound = true;
        }
    }
    if (bFound)
    {
        strMinComponentID = std::to_string(nMin);
    }
    VEXLOG("Leaving CSoftwareComponentInfo::GetMinComponentID()");
    return strMinComponentID;
}

std::string CSoftwareComponentInfo::GetComponentType()
{
    std::string strComponentType;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kComponentTypeXPath);
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pNode = xmlsupport::NodeAt(pNodeSet.get(), i);
        // An element is never named like the path itself: every node is read.
        if (xmlsupport::NameEquals(pNode, kComponentTypeXPath))
        {
            continue;
        }
        // The last element with a value wins.
        ReadAttributeInto(pNode, "value", strComponentType);
    }
    return strComponentType;
}

std::string CSoftwareComponentInfo::GetComponentVersion()
{
    std::string strVersion;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kComponentXPath);
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pNode = xmlsupport::NodeAt(pNodeSet.get(), i);
        if (xmlsupport::NameEquals(pNode, kComponentXPath))
        {
            continue;
        }
        ReadAttributeInto(pNode, "vendorVersion", strVersion);
    }
    return strVersion;
}

std::string CSoftwareComponentInfo::GetComponentDisplayString()
{
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pDevice = xmlsupport::NodeAt(pNodeSet.get(), i);
        xmlNode* pFirstElement = pDevice->children;
        while (pFirstElement != nullptr && !IsElement(pFirstElement))
        {
            pFirstElement = pFirstElement->next;
        }
        if (!IsNamed(pFirstElement, "Display"))
        {
            continue;
        }
        const char* pszText = TextOf(pFirstElement);
        if (pszText == nullptr)
        {
            VEXLOG("CSoftwareComponentInfo::GetComponentDisplayString() failed to get the Display info from "
                   "package.xml for device");
            return std::string();
        }
        std::string strDisplay = pszText;
        VEXLOG("CSoftwareComponentInfo::GetComponentDisplayString()  " + strDisplay + "\n");
        return strDisplay;
    }
    return std::string();
}

std::string CSoftwareComponentInfo::GetComponentTypeDisplayString()
{
    return GetValue(kComponentTypeDisplayXPath, std::string());
}

std::string CSoftwareComponentInfo::GetPackageID() { return GetValue(kComponentXPath, std::string()); }

int CSoftwareComponentInfo::getPresenceOfRollbackInfo()
{
    VEXLOG("Entering getPresenceOfGuid function");
    int nPresent = 0;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kRollbackXPath);
    if (!pNodeSet)
    {
        VEXLOG("ParseXmlUsingXpath failed");
    }
    else
    {
        VEXLOG("GUID Tag found in package.xml");
        nPresent = 1;
    }
    pNodeSet.reset();
    VEXLOG("Leaving getPresenceOfGuid function");
    return nPresent;
}

// ---------------------------------------------------------------------------
// Supported devices and marketing names
// ---------------------------------------------------------------------------

std::vector<SPCIInfo> CSoftwareComponentInfo::GetSupportedDevices() { return ReadSupportedDevices(false); }

std::vector<SPCIInfo> CSoftwareComponentInfo::GetAllSupportedDevices() { return ReadSupportedDevices(true); }

std::vector<SPCIInfo> CSoftwareComponentInfo::ReadSupportedDevices(bool bWithNonPCIDevices)
{
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Entering");
    std::vector<SPCIInfo> vDevices;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kDevicesXPath);
    if (!pNodeSet)
    {
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression");
        return vDevices;
    }
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found Some Device Nodes");
    // One working record serves every device in turn: a field that a later
    // Device or PCIInfo does not supply keeps the earlier value.
    SPCIInfo pciInfo;
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pDevice = xmlsupport::NodeAt(pNodeSet.get(), i);
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Finding the Component ID and PCI Info");
        ReadAttributeInto(pDevice, "componentID", pciInfo.strComponentID);
        // For every child, the first Display that follows it: found in one
        // pass from the end, so that a Device with many PCIInfo children is
        // not searched again for each of them.
        std::vector<xmlNode*> vChildren;
        for (xmlNode* pChild = pDevice->children; pChild != nullptr; pChild = pChild->next)
        {
            vChildren.push_back(pChild);
        }
        std::vector<xmlNode*> vNextDisplay(vChildren.size(), nullptr);
        xmlNode* pFollowingDisplay = nullptr;
        for (std::size_t n = vChildren.size(); n > 0; --n)
        {
            vNextDisplay[n - 1] = pFollowingDisplay;
            if (IsNamed(vChildren[n - 1], "Display"))
            {
                pFollowingDisplay = vChildren[n - 1];
            }
        }
        bool bHasPCIInfo = false;
        for (std::size_t n = 0; n < vChildren.size(); ++n)
        {
            xmlNode* pChild = vChildren[n];
            if (!IsNamed(pChild, "PCIInfo"))
            {
                continue;
            }
            bHasPCIInfo = true;
            VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found a PCI Device");
            ReadPaddedIdentifier(pChild, "deviceID", pciInfo.strDeviceID);
            ReadPaddedIdentifier(pChild, "subDeviceID", pciInfo.strSubDeviceID);
            ReadPaddedIdentifier(pChild, "vendorID", pciInfo.strVendorID);
            ReadPaddedIdentifier(pChild, "subVendorID", pciInfo.strSubVendorID);
            // The marketing name is the Display that follows this PCIInfo;
            // without one the record carries no name (a Display before the
            // PCIInfo is not seen).
            pciInfo.strMarketingName.clear();
            if (xmlNode* pDisplay = vNextDisplay[n])
            {
                VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found a Display element under Device "
                       "element");
                if (const char* pszName = TextOf(pDisplay))
                {
                    pciInfo.strMarketingName = pszName;
                }
                VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Got the marketing name/Display name for a "
                       "PCI Device as " +
                       pciInfo.strMarketingName);
            }
            vDevices.push_back(pciInfo);
        }
        if (bWithNonPCIDevices && !bHasPCIInfo)
        {
            VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() No PCI Info present.Pushing ComponentID " +
                   pciInfo.strComponentID);
            SPCIInfo componentOnly;
            componentOnly.strComponentID = pciInfo.strComponentID;
            vDevices.push_back(componentOnly);
        }
    }
    pNodeSet.reset();
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Exiting");
    return vDevices;
}

std::string CSoftwareComponentInfo::getMarketingNameForPCIDevice(SPCIInfo& pciInfo)
{
    VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Entering");
    std::string strName;
    const std::vector<SPCIInfo> vDevices = GetSupportedDevices();
    for (const SPCIInfo& device : vDevices)
    {
        VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Finding a match with PCI Device");
        if (EqualsIgnoringCase(pciInfo.strDeviceID, device.strDeviceID) &&
            EqualsIgnoringCase(pciInfo.strSubDeviceID, device.strSubDeviceID) &&
            EqualsIgnoringCase(pciInfo.strVendorID, device.strVendorID) &&
            EqualsIgnoringCase(pciInfo.strSubVendorID, device.strSubVendorID))
        {
            VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Found a match with PCI Devices from "
                   "package.xml");
            strName = device.strMarketingName;
        }
    }
    VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Exiting");
    return strName;
}

std::map<std::string, std::string> CSoftwareComponentInfo::getCompIDMarkNameInfo()
{
    VEXLOG("Entering CSoftwareComponentInfo::GetCompIDMarkNameInfo()");
    std::map<std::string, std::string> mapNames;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    if (!pNodeSet)
    {
        return mapNames;
    }
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pDevice = xmlsupport::NodeAt(pNodeSet.get(), i);
        std::string strComponentID;
        ReadAttributeInto(pDevice, "componentID", strComponentID);
        VEXLOG("GetCompIDMarkNameInfo() Found the Component ID as " + strComponentID);
        VEXLOG("GetCompIDMarkNameInfo() Finding the Marketing name for device with component id " + strComponentID);
        std::string strName;
        for (xmlNode* pChild = pDevice->children; pChild != nullptr; pChild = pChild->next)
        {
            if (IsNamed(pChild, "Display"))
            {
                VEXLOG("GetCompIDMarkNameInfo() Found a Display element under Device element");
                if (const char* pszName = TextOf(pChild))
                {
                    strName = pszName;
                }
                break;
            }
        }
        VEXLOG("GetCompIDMarkNameInfo() Got the marketing name/Display name for a Non-PCI Device with Component ID  " +
               strComponentID + " as " + strName);
        mapNames.insert(std::make_pair(strComponentID, strName));
    }
    pNodeSet.reset();
    VEXLOG("Leaving CSoftwareComponentInfo::GetCompIDMarkNameInfo()");
    return mapNames;
}

std::string CSoftwareComponentInfo::getMarketingNameForNonPCIDevice(std::string& strComponentID)
{
    VEXLOG("Entering CSoftwareComponentInfo::getMarketingNameForNonPCIDevice()");
    std::string strName;
    const std::map<std::string, std::string> mapNames = getCompIDMarkNameInfo();
    for (const auto& entry : mapNames)
    {
        VEXLOG("getMarketingNameForNonPCIDevice() Finding a match with PCI Device");
        if (EqualsIgnoringCase(entry.first, strComponentID))
        {
            VEXLOG("getMarketingNameForNonPCIDevice() Found a match with Non-PCI Devices from package.xml");
            strName = entry.second;
        }
    }
    VEXLOG("Leaving CSoftwareComponentInfo::getMarketingNameForNonPCIDevice()");
    return strName;
}

// ---------------------------------------------------------------------------
// Dependency entries
// ---------------------------------------------------------------------------

bool CSoftwareComponentInfo::SIndexedDependencyEqual::operator()(const SIndexedDependency& left,
                                                                 const SIndexedDependency& right) const
{
    return left.strParentComponentID == right.strParentComponentID &&
           left.pRecord->IsSameDependency(*right.pRecord);
}

CSoftwareComponentInfo::SIndexedDependency CSoftwareComponentInfo::MakeIndexEntry(const CDeviceInfo* pRecord)
{
    SIndexedDependency entry{pRecord, pRecord->getParentComponentID(), pRecord->DependencyHash()};
    entry.nHash ^= std::hash<std::string>()(entry.strParentComponentID) + 0x9e3779b97f4a7c15ULL + (entry.nHash << 6) +
                   (entry.nHash >> 2);
    return entry;
}

std::vector<CDeviceInfo*> CSoftwareComponentInfo::getDependencyInfo()
{
    std::vector<CDeviceInfo*> vDependencies;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kDependenciesXPath);
    VEXLOG("CSoftwareComponentInfo::getDependencyInfo() Entered Method");
    if (!pNodeSet)
    {
        VEXLOG("CSoftwareComponentInfo::getDependencyInfo() ParseXmlUsingXpath failed");
        return vDependencies;
    }

    // The list being built is indexed for the duplicate test; the index is
    // dropped again on every way out.
    m_DependencyIndex.clear();
    m_pIndexedList = &vDependencies;
    struct SIndexRelease
    {
        CSoftwareComponentInfo* pReader;
        ~SIndexRelease()
        {
            pReader->m_DependencyIndex.clear();
            pReader->m_pIndexedList = nullptr;
        }
    } indexRelease{this};

    // The working OS requirement and PCI identity are deliberately not
    // cleared between dependency elements: an attribute that a later element
    // leaves out keeps the value read from an earlier one.
    SOSInfo osInfo;
    SPCIInfo pciInfo;
    std::vector<SPCIInfo> vPCIInfo;
    std::vector<SOSInfo> vOSInfo;
    std::vector<std::string> vPlatforms;
    // Dependencies of one Device follow each other: the Device's own PCI
    // identities are read once for all of them.
    SParentDevice parentDevice;
    bool bParentRead = false;
#ifdef VEXDEP_FUZZ_RECORD_BUDGET
    // Bytes the records built so far hold, and the most they may hold.
    std::size_t nBudgetUsed = 0;
    const std::size_t nDocumentBytes = m_ParseStamp.bValid ? static_cast<std::size_t>(m_ParseStamp.nSize) : 0;
    const std::size_t nRecordBudget =
        nDocumentBytes > kMinimumRecordBudget / kRecordBudgetPerByte ? nDocumentBytes * kRecordBudgetPerByte
                                                                      : kMinimumRecordBudget;
#endif

    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pDependency = xmlsupport::NodeAt(pNodeSet.get(), i);
        vPCIInfo.clear();
        vOSInfo.clear();
        vPlatforms.clear();
        // The platform list as the first Brand child finds it, the log lines
        // of that walk, and how many of its entries the Brands before the
        // current one gave.
        bool bBrandSeen = false;
        std::vector<std::string> vDependencyBrandPlatforms;
        std::vector<SLogRecord> vPlatformLog;
        std::size_t nPlatformsBefore = 0;

        CDeviceInfo* pRecord = new (std::nothrow) CDeviceInfo();
        if (pRecord == nullptr)
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() new  ( std::nothrow ) CDeviceInfo() failed");
            return vDependencies;
        }

        pRecord->setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
        if (xmlsupport::NameEquals(pDependency, "SoftDependency"))
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() Found SoftDependecny");
            pRecord->setDependencyType(CDeviceInfo::eDependencyTypeSoft);
        }
        else
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() Found HardDependency");
            pRecord->setDependencyType(CDeviceInfo::eDependencyTypeHard);
        }

        xmlNode* pParent = pDependency->parent;
        if (const char* pszParentID = GetAttributeValue(pParent, "componentID"))
        {
            pRecord->setParentComponentID(pszParentID);
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() got the parent componentID info from package.xml");
        }
        else
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the parent componentID info from "
                   "package.xml");
        }

        if (!bParentRead || parentDevice.pNode != pParent)
        {
            ReadParentDevice(pParent, parentDevice);
            bParentRead = true;
        }
        pRecord->setParentDeviceType(parentDevice.eDeviceType);
        pRecord->ShareParentPCIInfo(parentDevice.sharedPCIInfo);

        if (const char* pszContext = GetAttributeValue(pDependency, "context"))
        {
            pRecord->setDependencyContext(pszContext);
        }
        else
        {
            pRecord->setDependencyContext("OS");
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the context info from package.xml for "
                   "dependent device so setting Deafult as OS");
        }
        if (const char* pszValue = GetAttributeValue(pDependency, "componentID"))
        {
            pRecord->setComponentID(pszValue);
        }
        else
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the componentID info from package.xml "
                   "for dependent device");
        }
        if (const char* pszValue = GetAttributeValue(pDependency, "componentType"))
        {
            pRecord->setComponentType(pszValue);
        }
        else
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the componentType info from "
                   "package.xml for dependent device");
        }
        if (const char* pszValue = GetAttributeValue(pDependency, "version"))
        {
            pRecord->setVersion(pszValue);
        }
        else
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the version info from package.xml for "
                   "dependent device");
        }
        if (const char* pszValue = GetAttributeValue(pDependency, "path"))
        {
            pRecord->setFilePath(pszValue);
        }
        else
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the path info from package.xml for "
                   "dependent device");
        }
        if (const char* pszValue = GetAttributeValue(pDependency, "releaseID"))
        {
            pRecord->setReleaseID(pszValue);
        }
        else
        {
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the releaseID info from package.xml "
                   "for dependent device");
        }

        // Every child goes through all five tests, so one child may satisfy
        // one test and log the "not found" line of another.
        for (xmlNode* pChild = pDependency->children; pChild != nullptr; pChild = pChild->next)
        {
            if (IsNamed(pChild, "Display"))
            {
                if (const char* pszText = TextOf(pChild))
                {
                    pRecord->setDisplay(pszText);
                }
                else
                {
                    VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the Display info from "
                           "package.xml for dependent device");
                }
            }
            if (IsNamed(pChild, "Detail"))
            {
                if (const char* pszText = TextOf(pChild))
                {
                    pRecord->setDetail(pszText);
                }
                else
                {
                    VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the Detail info from "
                           "package.xml for dependent device");
                }
            }
            if (IsBrand(pChild))
            {
                // Each Brand child adds what getPlatformInfo finds from it:
                // its own system IDs and those of every Brand after it. The
                // walk from the first Brand therefore finds them all, and the
                // walk from a later Brand is that list without the IDs of the
                // Brands before it. The first walk is made (and its log lines
                // kept); for later Brands its lines are written again and
                // the rest of its list is taken, which gives the same list
                // and log as walking again, without walking all following
                // siblings once per Brand.
                if (!bBrandSeen)
                {
                    CLogRecorder platformLog;
                    vDependencyBrandPlatforms = getPlatformInfo(pChild);
                    vPlatformLog = platformLog.Records();
                    nPlatformsBefore = 0;
                    bBrandSeen = true;
                }
                else
                {
                    CLogger::GetInstance()->Replay(vPlatformLog);
                }
                // The repeats are part of the record, but past
                // kPlatformRepeatLimit entries (which no real package comes
                // near: thousands of Brand elements would otherwise grow the
                // list with the square of their number) no more are added.
                // That changes no platform decision, which only asks whether
                // an ID is listed, and every ID is listed by the first Brand.
                if (vPlatforms.size() < kPlatformRepeatLimit && nPlatformsBefore < vDependencyBrandPlatforms.size())
                {
                    vPlatforms.insert(vPlatforms.end(),
                                      vDependencyBrandPlatforms.begin() +
                                          static_cast<std::ptrdiff_t>(nPlatformsBefore),
                                      vDependencyBrandPlatforms.end());
                }
                nPlatformsBefore += CountModelPlatforms(pChild);
            }
            else
            {
                VEXLOG("CSoftwareComponentInfo::getDependencyInfo() unable to get the Platform info from package.xml "
                       "for dependent device");
            }
            if (IsNamed(pChild, "OperatingSystem") || IsNamed(pChild, "DepOperatingSystem"))
            {
                static const std::pair<const char*, std::string SOSInfo::*> aOSAttributes[] = {
                    {"majorVersion", &SOSInfo::strMajorVersion},
                    {"minorVersion", &SOSInfo::strMinorVersion},
                    {"spMajorVersion", &SOSInfo::strSPMajorVersion},
                    {"spMinorVersion", &SOSInfo::strSPMinorVersion},
                    {"osVendor", &SOSInfo::strOSVendor},
                    {"osArch", &SOSInfo::strOSArch},
                    {"buildNumber", &SOSInfo::strRequiredBuildNumber},
                };
                for (const auto& attribute : aOSAttributes)
                {
                    if (!ReadAttributeInto(pChild, attribute.first, osInfo.*attribute.second))
                    {
                        // One text for all seven attributes.
                        VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the MajorVersion info from "
                               "package.xml for dependent device");
                    }
                }
                vOSInfo.push_back(osInfo);
            }
            else
            {
                VEXLOG("CSoftwareComponentInfo::getDependencyInfo() unable to get the Platform info from package.xml "
                       "for dependent device or Opernating System Information Is not mentioned in the Dependency "
                       "Node");
            }
            if (IsNamed(pChild, "PCIInfo") || IsNamed(pChild, "DepPCIInfo"))
            {
                VEXLOG("CSoftwareComponentInfo::getDependencyInfo() Found a PCI Device");
                pRecord->setDeviceType(CDeviceInfo::eDeviceTypePCI);
                ReadPCIIdentifiers(pChild, pciInfo);
                pRecord->setPCIInfo(pciInfo);
                vPCIInfo.push_back(pciInfo);
            }
        }

        // The list is handed over once, when it is complete (handing over
        // the growing list after every Brand made a dependency with many
        // Brand children cost time cubic in their number).
        if (bBrandSeen)
        {
            pRecord->setDependencyPlatforms(vPlatforms);
        }
        pRecord->setDependencyOS(vOSInfo);

#ifdef VEXDEP_FUZZ_RECORD_BUDGET
        // The fuzz targets' bound (see kMinimumRecordBudget): a record beyond
        // it is refused as a failed allocation is, with the same
        // consequence: a refused entry ends the list, a refused per-PCI copy
        // is lost alone.
        const std::size_t nRecordBytes =
            RecordBytes(pDependency, parentDevice.vPCIInfo, vOSInfo, vPlatforms, pciInfo);
        auto FitsTheBudget = [&]() {
            if (nRecordBytes > nRecordBudget - nBudgetUsed)
            {
                return false;
            }
            nBudgetUsed += nRecordBytes;
            return true;
        };
        if (!FitsTheBudget())
        {
            delete pRecord;
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() new  ( std::nothrow ) CDeviceInfo() failed");
            return vDependencies;
        }
#else
        auto FitsTheBudget = []() { return true; };
#endif

        if (vPCIInfo.empty())
        {
            AddDependencyInfo(vDependencies, pRecord);
            continue;
        }
        // One record per PCI identity; the record built above only serves as
        // their model and is released afterwards.
        for (const SPCIInfo& identity : vPCIInfo)
        {
            CDeviceInfo* pPCIRecord = FitsTheBudget() ? new (std::nothrow) CDeviceInfo(*pRecord) : nullptr;
            if (pPCIRecord == nullptr)
            {
                VEXLOG("CSoftwareComponentInfo::getDependencyInfo() failed to get Memory allocation");
                continue;
            }
            pPCIRecord->setPCIInfo(identity);
            AddDependencyInfo(vDependencies, pPCIRecord);
            VEXLOG("CSoftwareComponentInfo::getDependencyInfo() Adding dependency info for a PCI Device");
        }
        delete pRecord;
    }

    pNodeSet.reset();
    VEXLOG("CSoftwareComponentInfo::getDependencyInfo() Exiting");
    return vDependencies;
}

std::vector<std::string> CSoftwareComponentInfo::getPlatformInfo(xmlNode* pNode)
{
    VEXLOG("CSoftwareComponentInfo::getPlatformInfo() Entering");
    std::vector<std::string> vPlatforms;
    // The walk goes on over the following siblings: a dependency with two
    // Brand children gets the second one's system IDs twice.
    for (xmlNode* pSibling = pNode; pSibling != nullptr; pSibling = pSibling->next)
    {
        if (IsBrand(pSibling))
        {
            AppendModelPlatforms(pSibling, vPlatforms);
        }
    }
    VEXLOG("CSoftwareComponentInfo::getPlatformInfo() Exiting");
    return vPlatforms;
}

void CSoftwareComponentInfo::AddDependencyInfo(std::vector<CDeviceInfo*>& vList, CDeviceInfo*& pRecord)
{
    if (pRecord == nullptr)
    {
        return;
    }

    if (m_pIndexedList == &vList && m_DependencyIndex.size() == vList.size())
    {
        // The list that getDependencyInfo is building: every entry in it is
        // in the index (entries equal to an earlier one are not added), so
        // one look-up answers whether an equal entry is listed.
        SIndexedDependency candidate = MakeIndexEntry(pRecord);
        if (m_DependencyIndex.find(candidate) != m_DependencyIndex.end())
        {
            VEXLOG("CSoftwareComponentInfo::AddDependencyInfo() Found a duplicate entry");
            delete pRecord;
            pRecord = nullptr;
            return;
        }
        vList.push_back(pRecord);
        m_DependencyIndex.insert(std::move(candidate));
        return;
    }

    // Any other list: one pass over it, comparing in place.
    const std::string strParentComponentID = pRecord->getParentComponentID();
    bool bDuplicate = false;
    bool bListed = false;
    for (const CDeviceInfo* pEntry : vList)
    {
        if (pEntry == pRecord)
        {
            bListed = true;
        }
        if (!bDuplicate && pEntry != nullptr && pEntry->IsSameDependency(*pRecord) &&
            pEntry->getParentComponentID() == strParentComponentID)
        {
            bDuplicate = true;
        }
    }
    if (!bDuplicate)
    {
        vList.push_back(pRecord);
        return;
    }
    VEXLOG("CSoftwareComponentInfo::AddDependencyInfo() Found a duplicate entry");
    // A record that the list itself already holds stays the list's.
    if (!bListed)
    {
        delete pRecord;
        pRecord = nullptr;
    }
}

// ---------------------------------------------------------------------------
// Context types
// ---------------------------------------------------------------------------

std::map<unsigned int, CContextList> CSoftwareComponentInfo::GetSupportedContextTypes()
{
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Entering");
    // Each call reads the context types afresh.
    m_mapContextTypes.clear();
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kContextTypesXPath);
    if (!pNodeSet)
    {
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression");
        return m_mapContextTypes;
    }
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found Some Context Nodes");
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pContextType = xmlsupport::NodeAt(pNodeSet.get(), i);
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Finding the Component ID and PCI Info");
        CContextList contextList;
        ReadAttributeInto(pContextType, "name", contextList.strName);
        // A context type without a readable Priority gets the priority 0.
        unsigned int nPriority = 0;
        for (xmlNode* pChild = pContextType->children; pChild != nullptr; pChild = pChild->next)
        {
            if (!IsElement(pChild))
            {
                continue;
            }
            VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found a PCI Device");
            const char* pszValue = GetAttributeValue(pChild, "value");
            if (xmlsupport::NameIs(pChild, "Priority"))
            {
                if (pszValue != nullptr)
                {
                    std::stringstream ssValue;
                    ssValue << pszValue;
                    unsigned int nValue = 0;
                    if (ssValue >> nValue)
                    {
                        nPriority = nValue;
                    }
                }
            }
            else if (pszValue != nullptr)
            {
                if (xmlsupport::NameIs(pChild, "INV_MODULE"))
                {
                    contextList.strInvModule = pszValue;
                }
                else if (xmlsupport::NameIs(pChild, "INV_INTERFACE"))
                {
                    contextList.strInvInterface = pszValue;
                }
                else if (xmlsupport::NameIs(pChild, "UPDATE_MODULE"))
                {
                    contextList.strUpdateModule = pszValue;
                }
                else if (xmlsupport::NameIs(pChild, "UPDATE_INTERFACE"))
                {
                    contextList.strUpdateInterface = pszValue;
                }
            }
        }
        // The first context type with a given priority stays.
        m_mapContextTypes.insert(std::make_pair(nPriority, contextList));
    }
    pNodeSet.reset();
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Exiting");
    return m_mapContextTypes;
}
