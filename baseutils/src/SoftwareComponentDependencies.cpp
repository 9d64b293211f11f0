// CSoftwareComponentInfo: the hard and soft dependency entries of the
// package, one record per entry and PCI identity, without duplicates.

#include "SoftwareComponentInfo.h"

#include "PackageNodes.h"
#include "SoftwareComponentInfoLogSource.h"

#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <vector>

using namespace packagenodes;

namespace
{
const char* const kDependenciesXPath = " //SoftwareComponent/SupportedDevices/Device/Dependency | "
                                       "//SoftwareComponent/SupportedDevices/Device/SoftDependency";
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

bool CSoftwareComponentInfo::SIndexedDependencyEqual::operator()(const SIndexedDependency& left,
                                                                 const SIndexedDependency& right) const
{
    return left.strParentComponentID == right.strParentComponentID && left.pRecord->IsSameDependency(*right.pRecord);
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
    const std::size_t nRecordBudget = nDocumentBytes > kMinimumRecordBudget / kRecordBudgetPerByte
                                          ? nDocumentBytes * kRecordBudgetPerByte
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
                                      vDependencyBrandPlatforms.begin() + static_cast<std::ptrdiff_t>(nPlatformsBefore),
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
        const std::size_t nRecordBytes = RecordBytes(pDependency, parentDevice.vPCIInfo, vOSInfo, vPlatforms, pciInfo);
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
