#include "PackageDescriptionReader.h"

#include "RepositoryFileSystem.h"
#include "ScopedDirectory.h"
#include "SoftwareComponentInfo.h"
#include "XmlSupport.h"

#include <algorithm>
#include <memory>

namespace
{
// The reader's query for every dependency element, hard and soft.
const char* const kDependencyXPath = "//SoftwareComponent/SupportedDevices/Device/Dependency | "
                                     "//SoftwareComponent/SupportedDevices/Device/SoftDependency";
const char* const kDevicesXPath = "//SoftwareComponent/SupportedDevices/Device";
const char* const kNameXPath = "//SoftwareComponent/Name/Display";

std::string Attribute(const xmlNode* pNode, const char* pszName)
{
    const char* pszValue = xmlsupport::AttributeValue(pNode, pszName);
    return pszValue != nullptr ? pszValue : "";
}

// The element a dependency record was built from: the first element, from
// the one the previous record came from, whose attributes are the record's
// (several records of one element, one per PCI identity, share it; an
// element whose record collapsed into an earlier one is passed over).
struct SDependencyElement
{
    bool bSoft;
    std::string strComponentID;
    std::string strComponentType;
    std::string strVersion;
    std::string strPath;
    std::string strReleaseID;
    long nLine;
};

std::string AsSlashes(std::string strPath)
{
    for (char& c : strPath)
    {
        if (c == '\\')
        {
            c = '/';
        }
    }
    return strPath;
}

std::vector<SDependencyElement> DependencyElements(xmlDoc* pDocument)
{
    std::vector<SDependencyElement> vElements;
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pNodes = xmlsupport::Evaluate(pDocument, kDependencyXPath, eStatus);
    for (std::size_t i = 0; i < xmlsupport::NodeCount(pNodes.get()); ++i)
    {
        const xmlNode* pNode = xmlsupport::NodeAt(pNodes.get(), i);
        SDependencyElement element;
        element.bSoft = xmlsupport::NameEquals(pNode, "SoftDependency");
        element.strComponentID = Attribute(pNode, "componentID");
        element.strComponentType = Attribute(pNode, "componentType");
        element.strVersion = Attribute(pNode, "version");
        element.strPath = AsSlashes(Attribute(pNode, "path"));
        element.strReleaseID = Attribute(pNode, "releaseID");
        element.nLine = xmlGetLineNo(pNode);
        vElements.push_back(element);
    }
    return vElements;
}

bool IsElementOf(const SDependencyElement& element, const SDeclaredDependency& dependency)
{
    return element.bSoft == (dependency.eType == CDeviceInfo::eDependencyTypeSoft) &&
           element.strComponentID == dependency.strComponentID &&
           element.strComponentType == dependency.strComponentType && element.strVersion == dependency.strVersion &&
           element.strPath == dependency.strPath && element.strReleaseID == dependency.strReleaseID;
}

// Each supported device as the reader walks it: the text of its first
// Display child and how many PCIInfo children it has.
struct SDeviceShape
{
    std::string strDisplay;
    std::size_t nPCI = 0;
};

std::vector<SDeviceShape> DeviceShapes(xmlDoc* pDocument)
{
    std::vector<SDeviceShape> vShapes;
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pNodes = xmlsupport::Evaluate(pDocument, kDevicesXPath, eStatus);
    for (std::size_t i = 0; i < xmlsupport::NodeCount(pNodes.get()); ++i)
    {
        SDeviceShape shape;
        bool bDisplaySeen = false;
        for (const xmlNode* pChild = xmlsupport::NodeAt(pNodes.get(), i)->children; pChild != nullptr;
             pChild = pChild->next)
        {
            if (pChild->type != XML_ELEMENT_NODE)
            {
                continue;
            }
            if (!bDisplaySeen && xmlsupport::NameEquals(pChild, "Display"))
            {
                const char* pszText = xmlsupport::FirstChildContent(pChild);
                shape.strDisplay = pszText != nullptr ? pszText : "";
                bDisplaySeen = true;
            }
            if (xmlsupport::NameEquals(pChild, "PCIInfo"))
            {
                ++shape.nPCI;
            }
        }
        vShapes.push_back(shape);
    }
    return vShapes;
}

std::string NameDisplay(xmlDoc* pDocument)
{
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pNodes = xmlsupport::Evaluate(pDocument, kNameXPath, eStatus);
    const char* pszText = xmlsupport::FirstChildContent(xmlsupport::NodeAt(pNodes.get(), 0));
    return pszText != nullptr ? pszText : "";
}

} // namespace

CPackageDescriptionReader::CPackageDescriptionReader(const std::string& strWorkDirectory)
    : m_strWorkDirectory(strWorkDirectory)
{
}

bool CPackageDescriptionReader::Read(const std::string& strPackageXml, SPackageDescription& description,
                                     std::string& strError)
{
    const std::string strName = "package-" + std::to_string(++m_nRead) + ".xml";
    const std::string strFile = m_strWorkDirectory + "/" + strName;
    if (!CRepositoryFileSystem::CreateFile(strFile, strPackageXml, 0600, strError))
    {
        strError = "cannot write " + strFile + ": " + strError;
        return false;
    }
    struct SRemove
    {
        std::string strPath;
        ~SRemove() { CRepositoryFileSystem::RemoveTree(strPath); }
    } removeFile{strFile};

    xmlsupport::SDiagnosedParse parse = xmlsupport::ParseFileWithDiagnostics(strFile);
    if (!parse.pDocument)
    {
        strError = "package.xml does not parse";
        for (const xmlsupport::SParseDiagnostic& diagnostic : parse.vDiagnostics)
        {
            if (diagnostic.eLevel == xmlsupport::SParseDiagnostic::ELevel::Fatal)
            {
                strError += ": " + diagnostic.strMessage +
                            (diagnostic.nLine > 0 ? " (line " + std::to_string(diagnostic.nLine) + ")" : "");
                break;
            }
        }
        return false;
    }
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    if (!xmlsupport::Evaluate(parse.pDocument.get(), "//SoftwareComponent", eStatus))
    {
        strError = "package.xml has no SoftwareComponent element";
        return false;
    }

    const std::vector<SDependencyElement> vElements = DependencyElements(parse.pDocument.get());
    const std::vector<SDeviceShape> vShapes = DeviceShapes(parse.pDocument.get());
    description.strDisplay = NameDisplay(parse.pDocument.get());
    parse.pDocument.reset();

    CScopedDirectory workDirectory;
    if (!workDirectory.Enter(m_strWorkDirectory))
    {
        strError = "cannot enter " + m_strWorkDirectory;
        return false;
    }
    CSoftwareComponentInfo reader(strName.c_str());
    description.strPackageID = reader.GetPackageID();
    description.strComponentType = reader.GetComponentType();
    description.strVersion = reader.GetComponentVersion();
    if (description.strDisplay.empty())
    {
        description.strDisplay = reader.GetComponentDisplayString();
    }

    // The devices, from the reader's list of them (a PCI identity per
    // PCIInfo of a device, the component ID alone for a device without).
    description.vDevices.clear();
    const std::vector<SPCIInfo> vEntries = reader.GetAllSupportedDevices();
    std::size_t nEntry = 0;
    for (const SDeviceShape& shape : vShapes)
    {
        SSupportedDevice device;
        device.strDisplay = shape.strDisplay;
        const std::size_t nTake = std::max<std::size_t>(shape.nPCI, 1);
        for (std::size_t n = 0; n < nTake && nEntry < vEntries.size(); ++n, ++nEntry)
        {
            device.strComponentID = vEntries[nEntry].strComponentID;
            if (shape.nPCI > 0)
            {
                device.vPCI.push_back(vEntries[nEntry]);
            }
        }
        description.vDevices.push_back(device);
    }

    description.vDependencies.clear();
    description.vReleaseDirectories.clear();
    std::vector<CDeviceInfo*> vRecords = reader.getDependencyInfo();
    std::size_t nElement = 0;
    for (CDeviceInfo* pRecord : vRecords)
    {
        std::unique_ptr<CDeviceInfo> owned(pRecord);
        if (!pRecord)
        {
            continue;
        }
        SDeclaredDependency dependency = SDeclaredDependency::From(*pRecord);
        for (std::size_t n = nElement; n < vElements.size(); ++n)
        {
            if (IsElementOf(vElements[n], dependency))
            {
                nElement = n;
                dependency.nLine = vElements[n].nLine;
                break;
            }
        }
        bool bKnownRelease = false;
        for (const std::string& strRelease : description.vReleaseDirectories)
        {
            bKnownRelease = bKnownRelease || strRelease == dependency.strReleaseID;
        }
        if (!bKnownRelease)
        {
            description.vReleaseDirectories.push_back(dependency.strReleaseID);
        }
        description.vDependencies.push_back(dependency);
    }
    return true;
}
