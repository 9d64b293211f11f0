// Fuzz target: the package reader.
//
// The input is written as "package.xml" into the scratch working directory;
// a reader built there by the default constructor (as the checker builds it)
// then answers every query: component identity, supported devices and
// marketing names, dependency entries (every field of every record), context
// types and the XPath helpers. The same text also goes through the reader
// built from text held in memory and the one built from a file name.

#include "FuzzSupport.h"

#include "SoftwareComponentInfo.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace
{
const char* const kQueries[] = {
    "//SoftwareComponent",
    "//SoftwareComponent/ComponentType/Display",
    "//SoftwareComponent/SupportedDevices/Device",
    "//SoftwareComponent/SupportedDevices/Device/Dependency",
    "//*",
    "//@*",
    "/",
    "count(//Device)",
    "//Device[",
};

std::size_t Sum(const std::vector<SPCIInfo>& vDevices)
{
    std::size_t nSum = vDevices.size();
    for (const SPCIInfo& device : vDevices)
    {
        nSum += device.strComponentID.size() + device.strDeviceID.size() + device.strSubDeviceID.size() +
                device.strVendorID.size() + device.strSubVendorID.size() + device.strMarketingName.size();
    }
    return nSum;
}

// Every query of a reader whose file path leads to the scratch package.
std::size_t QueryEverything(CSoftwareComponentInfo& reader)
{
    std::size_t nSum = 0;
    nSum += reader.GetComponentID().size();
    nSum += reader.GetMinComponentID().size();
    nSum += reader.GetComponentType().size();
    nSum += reader.GetComponentVersion().size();
    nSum += reader.GetComponentDisplayString().size();
    nSum += reader.GetComponentTypeDisplayString().size();
    nSum += reader.GetPackageID().size();
    nSum += static_cast<std::size_t>(reader.getPresenceOfRollbackInfo());

    const std::vector<SPCIInfo> vSupported = reader.GetSupportedDevices();
    nSum += Sum(vSupported);
    const std::vector<SPCIInfo> vAll = reader.GetAllSupportedDevices();
    nSum += Sum(vAll);
    // Marketing names: for a listed identity in other letter case, or for
    // an empty one when none is listed.
    if (vSupported.empty())
    {
        SPCIInfo emptyIdentity;
        nSum += reader.getMarketingNameForPCIDevice(emptyIdentity).size();
    }
    else
    {
        SPCIInfo lastIdentity = vSupported.back();
        for (std::string* pField : {&lastIdentity.strDeviceID, &lastIdentity.strVendorID})
        {
            for (char& c : *pField)
            {
                if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))
                {
                    c = static_cast<char>(c ^ 0x20);
                }
            }
        }
        nSum += reader.getMarketingNameForPCIDevice(lastIdentity).size();
    }
    const std::map<std::string, std::string> mapNames = reader.getCompIDMarkNameInfo();
    nSum += mapNames.size();
    std::string strComponentID = mapNames.empty() ? std::string("no such component") : mapNames.rbegin()->first;
    nSum += reader.getMarketingNameForNonPCIDevice(strComponentID).size();

    // The dependency records belong to the caller.
    std::vector<CDeviceInfo*> vDependencies = reader.getDependencyInfo();
    nSum += vexfuzz::ReadWholeRecords(vDependencies);
    // Offering every record again must find each one listed already.
    if (!vDependencies.empty())
    {
        CDeviceInfo* pListed = vDependencies.front();
        const std::size_t nBefore = vDependencies.size();
        reader.AddDependencyInfo(vDependencies, pListed);
        if (pListed == nullptr || vDependencies.size() != nBefore)
        {
            __builtin_trap();
        }
        CDeviceInfo* pCopy = new CDeviceInfo(*vDependencies.back());
        reader.AddDependencyInfo(vDependencies, pCopy);
        if (pCopy != nullptr || vDependencies.size() != nBefore)
        {
            __builtin_trap();
        }
    }
    for (CDeviceInfo* pRecord : vDependencies)
    {
        delete pRecord;
    }

    const std::map<unsigned int, CContextList> mapContexts = reader.GetSupportedContextTypes();
    for (const auto& entry : mapContexts)
    {
        nSum += entry.first + entry.second.strName.size() + entry.second.strInvModule.size() +
                entry.second.strInvInterface.size() + entry.second.strUpdateModule.size() +
                entry.second.strUpdateInterface.size();
    }

    // The XPath helpers, on the held document and on a fresh read.
    for (const char* pszQuery : kQueries)
    {
        nSum += reader.GetValue(pszQuery, "").size();
        nSum += reader.GetValue(pszQuery, "componentID").size();
    }
    {
        xmlsupport::NodeSetPtr pDevices = reader.ParseXmlUsingXpath();
        nSum += xmlsupport::NodeCount(pDevices.get());
        for (std::size_t i = 0; i < xmlsupport::NodeCount(pDevices.get()); ++i)
        {
            const char* pszValue = reader.GetAttributeValue(xmlsupport::NodeAt(pDevices.get(), i), "componentID");
            nSum += pszValue != nullptr ? 1 : 0;
        }
    }
    {
        xmlsupport::NodeSetPtr pAll = reader.ParseXmlUsingXpath("//*");
        nSum += xmlsupport::NodeCount(pAll.get());
        // Every element of the document through the platform walk.
        for (std::size_t i = 0; i < xmlsupport::NodeCount(pAll.get()) && i < 64; ++i)
        {
            nSum += reader.getPlatformInfo(xmlsupport::NodeAt(pAll.get(), i)).size();
        }
    }
    nSum += reader.getPlatformInfo(nullptr).size();
    nSum += reader.GetAttributeValue(nullptr, "componentID") != nullptr ? 1 : 0;
    nSum += reader.GetNodeSet(nullptr, reinterpret_cast<const xmlChar*>("//*")) ? 1 : 0;
    nSum += reader.getnodeset(nullptr, reinterpret_cast<const xmlChar*>("//*")) ? 1 : 0;
    return nSum;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t nSize)
{
    const std::string strText = vexfuzz::AsText(pData, nSize);
    vexfuzz::ScopedScratchCwd cwd;
    vexfuzz::WriteFileOrDie(vexfuzz::ScratchPath("package.xml"), strText);

    std::size_t nSum = 0;
    {
        CSoftwareComponentInfo reader;
        nSum += QueryEverything(reader);
    }
    {
        // The reader built from a file name reads the same file: its held
        // document and one query that reads the file again.
        CSoftwareComponentInfo namedReader("package.xml");
        nSum += namedReader.GetPackageID().size();
        std::vector<CDeviceInfo*> vDependencies = namedReader.getDependencyInfo();
        nSum += vexfuzz::ReadWholeRecords(vDependencies);
        for (CDeviceInfo* pRecord : vDependencies)
        {
            delete pRecord;
        }
    }
    {
        // Built from text: the queries that read the file again find
        // nothing, the held-document ones answer.
        std::string strDocument = strText;
        CSoftwareComponentInfo textReader(strDocument);
        nSum += textReader.GetComponentTypeDisplayString().size();
        nSum += textReader.GetPackageID().size();
        nSum += textReader.GetValue("//*", "value").size();
        std::vector<CDeviceInfo*> vNone = textReader.getDependencyInfo();
        nSum += vexfuzz::ReadWholeRecords(vNone);
        for (CDeviceInfo* pRecord : vNone)
        {
            delete pRecord;
        }
    }
    vexfuzz::Consume(nSum);
    return 0;
}
