// The checker against a plain reference written straight from its rules.
//
// Random small packages, machines and collector outputs are drawn from
// small sets of identities, versions and attributes, so that duplicate
// dependencies, colliding identities, several matching devices, failed
// inventories and attributes carried over from earlier elements are
// frequent. Each is evaluated by the real classes (the package reader, the
// collectors, the checker, the report) and by the reference below, which
// works on the generated model without any index or cache. The dependency
// records, the reported list, the report text and the checker's log
// messages must be the same.

#include "DependenciesChecker.h"
#include "InventoryMatchIndex.h"
#include "LinuxDependencyWrapper.h"
#include "Logger.h"
#include "Scenarios.h"
#include "SmbiosBuilder.h"
#include "SoftwareComponentInfo.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <sstream>

#include <strings.h>

using namespace vextest;

namespace
{
// ---------------------------------------------------------------------------
// The model
// ---------------------------------------------------------------------------

using Attributes = std::vector<std::pair<std::string, std::string>>; // written in this order

struct Child
{
    enum Kind
    {
        Display,
        Detail,
        Brand,
        OperatingSystem,
        PCI,
        Other
    } eKind;
    std::string strText;                 // Display, Detail
    std::vector<std::string> vSystemIDs; // Brand
    Attributes attributes;               // OperatingSystem, PCI
};

struct DependencyElement
{
    bool bSoft = false;
    Attributes attributes;
    std::vector<Child> vChildren;
};

struct SupportedDevice
{
    std::string strComponentID; // empty: no attribute
    std::vector<Attributes> vPCIInfo;
    std::vector<DependencyElement> vDependencies;
};

struct InventoryDevice
{
    Attributes attributes; // componentID, vendorID, ... display
    bool bApplication = true;
    Attributes application; // componentType, version
};

struct InventoryDocument
{
    std::vector<InventoryDevice> vDevices;
    std::vector<Attributes> vOperatingSystems;
    bool bFailed = false;
    std::string strMessage;
};

struct Release
{
    bool bDirectory = true; // false: the release directory does not exist
    bool bRuns = true;      // false: the collector is configured with timeout 0
    InventoryDocument inventory;
};

struct Case
{
    std::vector<SupportedDevice> vDevices;
    InventoryDocument machine;
    std::map<std::string, Release> mapReleases;
    int nFirmware = 0; // 0 none, 1 the maker's with system ID 0x0b, 2 another maker's
    CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;
};

const char* Pick(std::mt19937& random, std::initializer_list<const char*> values)
{
    std::uniform_int_distribution<std::size_t> index(0, values.size() - 1);
    return *(values.begin() + index(random));
}

bool Chance(std::mt19937& random, double dShare)
{
    return std::uniform_real_distribution<double>(0, 1)(random) < dShare;
}

int Count(std::mt19937& random, int nMax) { return std::uniform_int_distribution<int>(0, nMax)(random); }

// Adds an attribute with a value from the set, most of the time.
void Maybe(std::mt19937& random, Attributes& attributes, const char* pszName, std::initializer_list<const char*> values,
           double dShare = 0.85)
{
    if (Chance(random, dShare))
    {
        attributes.emplace_back(pszName, Pick(random, values));
    }
}

const std::initializer_list<const char*> kHexIDs = {"1A", "1a", "0x1A", "001A", "2B", "0"};

Attributes RandomPCI(std::mt19937& random, double dShare)
{
    Attributes attributes;
    Maybe(random, attributes, "vendorID", kHexIDs, dShare);
    Maybe(random, attributes, "deviceID", kHexIDs, dShare);
    Maybe(random, attributes, "subVendorID", kHexIDs, dShare);
    Maybe(random, attributes, "subDeviceID", kHexIDs, dShare);
    return attributes;
}

Attributes RandomOS(std::mt19937& random, double dShare)
{
    Attributes attributes;
    Maybe(random, attributes, "majorVersion", {"9", "9.0", "9", "8"}, dShare);
    Maybe(random, attributes, "minorVersion", {"2", "02", "2", "3", ""}, dShare);
    Maybe(random, attributes, "spMajorVersion", {"0", "0", ""}, dShare);
    Maybe(random, attributes, "spMinorVersion", {"0", "0", "0", "1"}, dShare);
    Maybe(random, attributes, "osVendor", {"Linux", "LINUX", "Linux", "Other"}, dShare);
    Maybe(random, attributes, "osArch", {"x86_64", "X86_64", "x86_64", "arm"}, dShare);
    Maybe(random, attributes, "buildNumber", {"5.14"}, 0.3);
    return attributes;
}

// The machine's operating system: most of the time the one the
// dependencies' entries are drawn around.
Attributes MachineOS(std::mt19937& random)
{
    if (Chance(random, 0.7))
    {
        return {{"majorVersion", "9"},   {"minorVersion", "2"}, {"spMajorVersion", "0"},
                {"spMinorVersion", "0"}, {"osVendor", "Linux"}, {"osArch", "x86_64"}};
    }
    return RandomOS(random, 0.8);
}

InventoryDevice RandomInventoryDevice(std::mt19937& random)
{
    InventoryDevice device;
    const int nKind = Count(random, 7);
    if (nKind <= 5)
    {
        device.attributes.emplace_back("componentID", Pick(random, {"C1", "C2", "C1", "P1"}));
        if (Chance(random, 0.2))
        {
            device.attributes.emplace_back("vendorID", "1A");
        }
    }
    else if (nKind == 6)
    {
        device.attributes = RandomPCI(random, 0.9);
        if (device.attributes.empty() || device.attributes.front().first != "vendorID")
        {
            device.attributes.insert(device.attributes.begin(), {"vendorID", Pick(random, kHexIDs)});
        }
    }
    Maybe(random, device.attributes, "display", {"Device X", "Device Y"}, 0.5);
    device.bApplication = Chance(random, 0.9);
    Maybe(random, device.application, "componentType", {"FRMW", "frmw", "FRMW", "DRVR"}, 0.95);
    Maybe(random, device.application, "version", {"1.0", "1.0", "1.5", "2", "2.0.0", "A07", "a10", "9"}, 0.95);
    return device;
}

InventoryDocument RandomInventory(std::mt19937& random, int nMaxDevices)
{
    InventoryDocument document;
    const int nDevices = 1 + Count(random, nMaxDevices - 1);
    for (int i = 0; i < nDevices; ++i)
    {
        document.vDevices.push_back(RandomInventoryDevice(random));
    }
    document.bFailed = Chance(random, 0.15);
    document.strMessage = Pick(random, {"disk busy", "timeout talking to the device"});
    return document;
}

DependencyElement RandomDependency(std::mt19937& random)
{
    DependencyElement element;
    element.bSoft = Chance(random, 0.4);
    Maybe(random, element.attributes, "componentID", {"C1", "C2"});
    Maybe(random, element.attributes, "componentType", {"FRMW", "DRVR", "frmw", "FRMW"});
    Maybe(random, element.attributes, "version", {"1.0", "1.5", "2.0", "2.0", "2.0", "a10", "10a"}, 0.95);
    Maybe(random, element.attributes, "path", {"F\\a.bin", "F/b.bin"});
    Maybe(random, element.attributes, "releaseID", {"R1", "R2", "R3"}, 0.95);
    Maybe(random, element.attributes, "context", {"OS", "all", "PREOS", ""}, 0.4);
    const int nChildren = Count(random, 5);
    for (int i = 0; i < nChildren; ++i)
    {
        Child child;
        switch (Count(random, 12))
        {
        case 0:
            child.eKind = Child::Display;
            child.strText = Pick(random, {"Dep A", "Dep B", ""});
            break;
        case 1:
            child.eKind = Child::Detail;
            child.strText = Pick(random, {"why", ""});
            break;
        case 2:
            child.eKind = Child::Brand;
            for (int n = Count(random, 2); n > 0; --n)
            {
                child.vSystemIDs.push_back(Pick(random, {"0b", "0c"}));
            }
            break;
        case 3:
        case 4:
            child.eKind = Child::OperatingSystem;
            child.attributes = Chance(random, 0.6) ? MachineOS(random) : RandomOS(random, 0.7);
            break;
        case 5:
            child.eKind = Child::PCI;
            child.attributes = RandomPCI(random, 0.7);
            break;
        case 6:
            child.eKind = Child::Other;
            break;
        default:
            child.eKind = Child::Display;
            child.strText = Pick(random, {"Dep A", "Dep B"});
            break;
        }
        element.vChildren.push_back(child);
    }
    return element;
}

Case RandomCase(std::mt19937& random)
{
    Case c;
    const int nDevices = 1 + Count(random, 2);
    for (int d = 0; d < nDevices; ++d)
    {
        SupportedDevice device;
        if (Chance(random, 0.9))
        {
            device.strComponentID = Pick(random, {"P1", "P2", "P1", "P4"});
        }
        for (int n = Chance(random, 0.8) ? 0 : Count(random, 2); n > 0; --n)
        {
            device.vPCIInfo.push_back(RandomPCI(random, 0.8));
        }
        for (int n = 1 + Count(random, 4); n > 0; --n)
        {
            device.vDependencies.push_back(RandomDependency(random));
            // An exact copy of the element before makes duplicates frequent.
            if (Chance(random, 0.2))
            {
                device.vDependencies.push_back(device.vDependencies.back());
            }
        }
        // The same element under another device: a duplicate only when the
        // two devices have the same component ID.
        if (!c.vDevices.empty() && Chance(random, 0.5))
        {
            const SupportedDevice& earlier =
                c.vDevices[static_cast<std::size_t>(Count(random, static_cast<int>(c.vDevices.size()) - 1))];
            device.vDependencies.push_back(earlier.vDependencies[static_cast<std::size_t>(
                Count(random, static_cast<int>(earlier.vDependencies.size()) - 1))]);
        }
        c.vDevices.push_back(device);
    }
    c.machine = RandomInventory(random, 3);
    // The devices the package names are present most of the time.
    for (const char* pszParent : {"P1", "P2"})
    {
        if (Chance(random, 0.9))
        {
            InventoryDevice parent;
            parent.attributes.emplace_back("componentID", pszParent);
            c.machine.vDevices.insert(
                c.machine.vDevices.begin() + Count(random, static_cast<int>(c.machine.vDevices.size())), parent);
        }
    }
    if (Chance(random, 0.5))
    {
        InventoryDevice adapter;
        adapter.attributes = {{"vendorID", "0x1a"}, {"deviceID", "1A"}, {"subVendorID", "001A"}, {"subDeviceID", "1a"}};
        c.machine.vDevices.push_back(adapter);
    }
    c.machine.bFailed = Chance(random, 0.05);
    c.machine.vOperatingSystems.push_back(MachineOS(random));
    for (int n = Count(random, 2); n > 0; --n)
    {
        c.machine.vOperatingSystems.push_back(Chance(random, 0.5) ? MachineOS(random) : RandomOS(random, 0.3));
    }
    for (const char* pszRelease : {"R1", "R2", "R3"})
    {
        Release release;
        release.bDirectory = Chance(random, 0.85);
        release.bRuns = Chance(random, 0.95);
        release.inventory = RandomInventory(random, 8);
        c.mapReleases[pszRelease] = release;
    }
    c.nFirmware = Count(random, 2);
    c.eType = Chance(random, 0.5) ? CDeviceInfo::eDependencyTypeHard : CDeviceInfo::eDependencyTypeSoft;
    return c;
}

// ---------------------------------------------------------------------------
// Writing the model as files
// ---------------------------------------------------------------------------

std::string Escaped(const std::string& strText) { return strText; } // the sets hold no markup characters

std::string AttributeText(const Attributes& attributes)
{
    std::string strText;
    for (const auto& attribute : attributes)
    {
        strText += " " + attribute.first + "=\"" + Escaped(attribute.second) + "\"";
    }
    return strText;
}

std::string PackageXml(const Case& c)
{
    std::ostringstream oss;
    oss << "<?xml version=\"1.0\"?>\n<SoftwareComponent vendorVersion=\"1.0\">\n  <SupportedDevices>\n";
    for (const SupportedDevice& device : c.vDevices)
    {
        oss << "    <Device" << (device.strComponentID.empty() ? "" : " componentID=\"" + device.strComponentID + "\"")
            << ">\n";
        for (const Attributes& pci : device.vPCIInfo)
        {
            oss << "      <PCIInfo" << AttributeText(pci) << "/>\n";
        }
        for (const DependencyElement& element : device.vDependencies)
        {
            const char* pszTag = element.bSoft ? "SoftDependency" : "Dependency";
            oss << "      <" << pszTag << AttributeText(element.attributes) << ">\n";
            for (const Child& child : element.vChildren)
            {
                switch (child.eKind)
                {
                case Child::Display:
                    oss << "        <Display>" << child.strText << "</Display>\n";
                    break;
                case Child::Detail:
                    oss << "        <Detail>" << child.strText << "</Detail>\n";
                    break;
                case Child::Brand:
                    oss << "        <Brand>";
                    for (const std::string& strID : child.vSystemIDs)
                    {
                        oss << "<Model systemID=\"" << strID << "\"/>";
                    }
                    oss << "</Brand>\n";
                    break;
                case Child::OperatingSystem:
                    oss << "        <OperatingSystem" << AttributeText(child.attributes) << "/>\n";
                    break;
                case Child::PCI:
                    oss << "        <PCIInfo" << AttributeText(child.attributes) << "/>\n";
                    break;
                case Child::Other:
                    oss << "        <Note/>\n";
                    break;
                }
            }
            oss << "      </" << pszTag << ">\n";
        }
        oss << "    </Device>\n";
    }
    oss << "  </SupportedDevices>\n</SoftwareComponent>\n";
    return oss.str();
}

std::string InventoryXml(const InventoryDocument& document)
{
    std::ostringstream oss;
    oss << "<?xml version=\"1.0\"?>\n<SVMInventory>\n";
    for (const InventoryDevice& device : document.vDevices)
    {
        oss << "  <Device" << AttributeText(device.attributes) << ">";
        if (device.bApplication)
        {
            oss << "<Application" << AttributeText(device.application) << "/>";
        }
        oss << "</Device>\n";
    }
    for (const Attributes& os : document.vOperatingSystems)
    {
        oss << "  <OperatingSystem" << AttributeText(os) << "/>\n";
    }
    if (document.bFailed)
    {
        oss << "  <SPStatus result=\"false\"><Message>" << document.strMessage << "</Message></SPStatus>\n";
    }
    oss << "</SVMInventory>\n";
    return oss.str();
}

void WriteCase(const Case& c, const std::string& strDir)
{
    WriteFile(strDir + "/package.xml", PackageXml(c));
    WriteFile(strDir + "/inv.xml", InventoryXml(c.machine));
    for (const auto& entry : c.mapReleases)
    {
        if (!entry.second.bDirectory)
        {
            continue;
        }
        const std::string strRelease = strDir + "/" + entry.first;
        MakeDirectory(strRelease);
        WriteFile(strRelease + "/PIEConfig.xml", PieConfig("collect.sh", "out.xml", entry.second.bRuns ? "30" : "0"));
        WriteFile(strRelease + "/prepared.xml", InventoryXml(entry.second.inventory));
        WriteFile(strRelease + "/collect.sh", "#!/bin/sh\ncp prepared.xml out.xml\n", true);
    }
}

// ---------------------------------------------------------------------------
// The reference, straight from the rules
// ---------------------------------------------------------------------------

struct RefLog
{
    std::vector<std::string> vMessages;
    int nInstances = 0;
    void operator()(const std::string& strMessage) { vMessages.push_back(strMessage); }
};

const std::string* Find(const Attributes& attributes, const std::string& strName)
{
    for (const auto& attribute : attributes)
    {
        // An attribute written with an empty value counts as absent.
        if (attribute.first == strName)
        {
            return attribute.second.empty() ? nullptr : &attribute.second;
        }
    }
    return nullptr;
}

void Take(const Attributes& attributes, const std::string& strName, std::string& strField)
{
    if (const std::string* pValue = Find(attributes, strName))
    {
        strField = *pValue;
    }
}

int RefCompareVersions(const std::string& strFirst, const std::string& strSecond, RefLog& log)
{
    if (strcasecmp(strFirst.c_str(), strSecond.c_str()) == 0)
    {
        return 0;
    }
    const char* pszLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ ";
    if (strFirst.find_first_of(pszLetters) != std::string::npos ||
        strSecond.find_first_of(pszLetters) != std::string::npos)
    {
        return strcasecmp(strFirst.c_str(), strSecond.c_str());
    }
    auto numbers = [](const std::string& strText) {
        std::vector<char> vBuffer(strText.begin(), strText.end());
        vBuffer.push_back('\0');
        std::vector<int32_t> vNumbers;
        for (char* pszToken = std::strtok(vBuffer.data(), ".-_"); pszToken != nullptr;
             pszToken = std::strtok(nullptr, ".-_"))
        {
            vNumbers.push_back(static_cast<int32_t>(std::strtol(pszToken, nullptr, 10)));
        }
        return vNumbers;
    };
    std::vector<int32_t> vFirst = numbers(strFirst);
    std::vector<int32_t> vSecond = numbers(strSecond);
    while (vFirst.size() < vSecond.size())
        vFirst.push_back(0);
    while (vSecond.size() < vFirst.size())
        vSecond.push_back(0);
    for (std::size_t i = 0; i < vFirst.size(); ++i)
    {
        if (vFirst[i] > vSecond[i])
        {
            log("CDependenciesChecker::CompareVersions  nVer1 > nVer2");
            return 1;
        }
        if (vFirst[i] < vSecond[i])
        {
            log("CDependenciesChecker::CompareVersions   nVer1 < nVer2");
            return -1;
        }
    }
    return 0;
}

bool SameHex(const SPCIInfo& left, const SPCIInfo& right)
{
    auto hex = [](const std::string& strText) { return std::strtol(strText.c_str(), nullptr, 16); };
    return hex(left.strDeviceID) == hex(right.strDeviceID) && hex(left.strSubDeviceID) == hex(right.strSubDeviceID) &&
           hex(left.strVendorID) == hex(right.strVendorID) && hex(left.strSubVendorID) == hex(right.strSubVendorID);
}

void TakePCI(const Attributes& attributes, SPCIInfo& pci)
{
    Take(attributes, "deviceID", pci.strDeviceID);
    Take(attributes, "subDeviceID", pci.strSubDeviceID);
    Take(attributes, "vendorID", pci.strVendorID);
    Take(attributes, "subVendorID", pci.strSubVendorID);
}

bool RefSameDependency(const CDeviceInfo& a, const CDeviceInfo& b)
{
    const SPCIInfo pa = a.getPCIInfo();
    const SPCIInfo pb = b.getPCIInfo();
    return a.getComponentType() == b.getComponentType() && a.getComponentID() == b.getComponentID() &&
           a.getDependencyType() == b.getDependencyType() && a.getVersion() == b.getVersion() &&
           a.getDisplay() == b.getDisplay() && a.getDetail() == b.getDetail() &&
           CDeviceInfo(a).getFilePath() == CDeviceInfo(b).getFilePath() && pa.strComponentID == pb.strComponentID &&
           pa.strDeviceID == pb.strDeviceID && pa.strSubDeviceID == pb.strSubDeviceID &&
           pa.strVendorID == pb.strVendorID && pa.strSubVendorID == pb.strSubVendorID &&
           a.getParentComponentID() == b.getParentComponentID();
}

// The dependency records of the package, from the model.
std::vector<std::unique_ptr<CDeviceInfo>> RefDependencies(const Case& c)
{
    std::vector<std::unique_ptr<CDeviceInfo>> vList;
    auto add = [&vList](std::unique_ptr<CDeviceInfo> pRecord) {
        for (const auto& pListed : vList)
        {
            if (RefSameDependency(*pListed, *pRecord))
            {
                return;
            }
        }
        vList.push_back(std::move(pRecord));
    };
    SOSInfo workingOS;
    SPCIInfo workingPCI;
    for (const SupportedDevice& device : c.vDevices)
    {
        for (const DependencyElement& element : device.vDependencies)
        {
            std::unique_ptr<CDeviceInfo> pRecord(new CDeviceInfo());
            pRecord->setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
            pRecord->setDependencyType(element.bSoft ? CDeviceInfo::eDependencyTypeSoft
                                                     : CDeviceInfo::eDependencyTypeHard);
            if (!device.strComponentID.empty())
            {
                pRecord->setParentComponentID(device.strComponentID);
            }
            pRecord->setParentDeviceType(device.vPCIInfo.empty() ? CDeviceInfo::eDeviceTypeNonPCI
                                                                 : CDeviceInfo::eDeviceTypePCI);
            std::vector<SPCIInfo> vParents;
            SPCIInfo parentPCI;
            for (const Attributes& pci : device.vPCIInfo)
            {
                TakePCI(pci, parentPCI);
                vParents.push_back(parentPCI);
            }
            pRecord->setParentPCIInfo(vParents);
            const std::string* pContext = Find(element.attributes, "context");
            pRecord->setDependencyContext(pContext != nullptr ? *pContext : "OS");
            std::string strValue;
            if (const std::string* p = Find(element.attributes, "componentID"))
                pRecord->setComponentID(*p);
            if (const std::string* p = Find(element.attributes, "componentType"))
                pRecord->setComponentType(*p);
            if (const std::string* p = Find(element.attributes, "version"))
                pRecord->setVersion(*p);
            if (const std::string* p = Find(element.attributes, "path"))
                pRecord->setFilePath(*p);
            if (const std::string* p = Find(element.attributes, "releaseID"))
                pRecord->setReleaseID(*p);

            std::vector<std::string> vPlatforms;
            std::vector<SOSInfo> vOS;
            std::vector<SPCIInfo> vPCI;
            for (std::size_t i = 0; i < element.vChildren.size(); ++i)
            {
                const Child& child = element.vChildren[i];
                if (child.eKind == Child::Display && !child.strText.empty())
                    pRecord->setDisplay(child.strText);
                if (child.eKind == Child::Detail && !child.strText.empty())
                    pRecord->setDetail(child.strText);
                if (child.eKind == Child::Brand)
                {
                    // From this Brand through every following sibling Brand.
                    for (std::size_t j = i; j < element.vChildren.size(); ++j)
                    {
                        if (element.vChildren[j].eKind == Child::Brand)
                        {
                            for (const std::string& strID : element.vChildren[j].vSystemIDs)
                            {
                                vPlatforms.push_back("0x" + strID);
                            }
                        }
                    }
                    pRecord->setDependencyPlatforms(vPlatforms);
                }
                if (child.eKind == Child::OperatingSystem)
                {
                    Take(child.attributes, "majorVersion", workingOS.strMajorVersion);
                    Take(child.attributes, "minorVersion", workingOS.strMinorVersion);
                    Take(child.attributes, "spMajorVersion", workingOS.strSPMajorVersion);
                    Take(child.attributes, "spMinorVersion", workingOS.strSPMinorVersion);
                    Take(child.attributes, "osVendor", workingOS.strOSVendor);
                    Take(child.attributes, "osArch", workingOS.strOSArch);
                    Take(child.attributes, "buildNumber", workingOS.strRequiredBuildNumber);
                    vOS.push_back(workingOS);
                }
                if (child.eKind == Child::PCI)
                {
                    pRecord->setDeviceType(CDeviceInfo::eDeviceTypePCI);
                    TakePCI(child.attributes, workingPCI);
                    pRecord->setPCIInfo(workingPCI);
                    vPCI.push_back(workingPCI);
                }
            }
            pRecord->setDependencyOS(vOS);
            if (vPCI.empty())
            {
                add(std::move(pRecord));
                continue;
            }
            for (const SPCIInfo& identity : vPCI)
            {
                std::unique_ptr<CDeviceInfo> pCopy(new CDeviceInfo(*pRecord));
                pCopy->setPCIInfo(identity);
                add(std::move(pCopy));
            }
        }
    }
    return vList;
}

// The records an inventory document reads into.
std::vector<std::unique_ptr<CDeviceInfo>> RefInventory(const InventoryDocument& document)
{
    std::vector<std::unique_ptr<CDeviceInfo>> vRecords;
    if (document.vDevices.empty())
    {
        if (document.bFailed)
        {
            vRecords.emplace_back(new CDeviceInfo());
            vRecords.back()->setStatus(1);
            vRecords.back()->setErrorMsg(document.strMessage);
        }
        return vRecords;
    }
    for (const InventoryDevice& device : document.vDevices)
    {
        std::unique_ptr<CDeviceInfo> pRecord(new CDeviceInfo());
        if (document.bFailed)
        {
            pRecord->setStatus(1);
            pRecord->setErrorMsg(document.strMessage);
        }
        if (const std::string* pID = Find(device.attributes, "componentID"))
        {
            pRecord->setComponentID(*pID);
            pRecord->setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
        }
        else if (Find(device.attributes, "vendorID") != nullptr)
        {
            SPCIInfo pci;
            TakePCI(device.attributes, pci);
            pRecord->setDeviceType(CDeviceInfo::eDeviceTypePCI);
            pRecord->setPCIInfo(pci);
        }
        if (device.bApplication)
        {
            std::string strType;
            std::string strVersion;
            Take(device.application, "componentType", strType);
            Take(device.application, "version", strVersion);
            pRecord->setComponentType(strType);
            pRecord->setVersion(strVersion);
        }
        vRecords.push_back(std::move(pRecord));
    }
    return vRecords;
}

struct RefResult
{
    std::vector<std::unique_ptr<CDeviceInfo>> vDependencies;
    std::vector<CDeviceInfo*> vReported;
    RefLog log;
};

RefResult RefEvaluate(const Case& c, const std::string& strDir)
{
    RefResult result;
    result.vDependencies = RefDependencies(c);
    RefLog& log = result.log;
    log("CDependenciesChecker::Process Start ");
    if (result.vDependencies.empty())
    {
        log("CDependenciesChecker::Process vDependentDeviceInfo size is zero ");
        return result;
    }

    // Inventory lookups: once per release ID, for the dependencies of the type.
    std::map<std::string, std::vector<std::unique_ptr<CDeviceInfo>>> mapCache;
    for (const auto& pDependency : result.vDependencies)
    {
        if (pDependency->getDependencyType() != c.eType)
            continue;
        log("CDependenciesChecker::GetInventoryInfo  Start");
        const std::string strRelease = pDependency->getReleaseID();
        if (mapCache.count(strRelease) != 0)
            continue;
        log("CDependenciesChecker::GetInventoryInfo  strComponentPath =" + strDir + "//" + strRelease);
        auto& vRecords = mapCache[strRelease];
        auto it = c.mapReleases.find(strRelease);
        if (it != c.mapReleases.end() && it->second.bDirectory && it->second.bRuns)
        {
            vRecords = RefInventory(it->second.inventory);
        }
        log("CDependenciesChecker::GetInventoryInfo  END");
    }

    // The machine.
    std::vector<std::unique_ptr<CDeviceInfo>> vMachine = RefInventory(c.machine);
    SOSInfo running;
    for (const Attributes& os : c.machine.vOperatingSystems)
    {
        Take(os, "majorVersion", running.strMajorVersion);
        Take(os, "minorVersion", running.strMinorVersion);
        Take(os, "spMajorVersion", running.strSPMajorVersion);
        Take(os, "spMinorVersion", running.strSPMinorVersion);
        Take(os, "osVendor", running.strOSVendor);
        Take(os, "osArch", running.strOSArch);
    }
    log("CDependenciesChecker::GetDependentDevices  START");
    for (const auto& pOwned : result.vDependencies)
    {
        CDeviceInfo* pDependency = pOwned.get();
        const std::string strContext = pDependency->getDependencyContext();
        if (strcasecmp(strContext.c_str(), "OS") != 0 && strcasecmp(strContext.c_str(), "ALL") != 0)
        {
            log("CDependenciesChecker::GetDependentDevices: This Depndency is failed to qualify CONTEXT Check");
            continue;
        }
        const std::vector<std::string> vPlatforms = pDependency->getDepenendencyPlatforms();
        if (c.nFirmware != 0 && !vPlatforms.empty())
        {
            const std::string strSystemID = c.nFirmware == 1 ? "0x0b" : "";
            if (std::find(vPlatforms.begin(), vPlatforms.end(), strSystemID) == vPlatforms.end())
            {
                log("Platform Check is ussuccessful i.e Dependency is not applicable on this platform hence skipping "
                    "other checks");
                continue;
            }
            log("Platform Check is successful Considering Dependency on this Platfrom");
        }
        else
        {
            log("CDependenciesChecker::GetDependentDevices: Failed to get Platform info from SMBIOS or Platfrom Info "
                "is not mentioned in Package.xml so skipping Platfrom Check ");
        }
        const std::vector<SOSInfo> vOS = pDependency->getDependencyOS();
        if (vOS.empty())
        {
            log("CDependenciesChecker::GetDependentDevices: No OS node present under Dependency, hence considering "
                "this dependency on the current OS");
        }
        else
        {
            bool bMatch = false;
            for (const SOSInfo& os : vOS)
            {
                if (strcasecmp(os.strOSArch.c_str(), running.strOSArch.c_str()) == 0 &&
                    RefCompareVersions(os.strMajorVersion, running.strMajorVersion, log) == 0 &&
                    RefCompareVersions(os.strMinorVersion, running.strMinorVersion, log) == 0 &&
                    strcasecmp(os.strOSVendor.c_str(), running.strOSVendor.c_str()) == 0 &&
                    RefCompareVersions(os.strSPMajorVersion, running.strSPMajorVersion, log) == 0 &&
                    RefCompareVersions(os.strSPMinorVersion, running.strSPMinorVersion, log) == 0)
                {
                    bMatch = true;
                    break;
                }
            }
            if (!bMatch)
            {
                log("CDependenciesChecker::GetDependentDevices: The Current OS is not Found in Dependency OS Node. "
                    "Hence Skipping othe checks for this dependency");
                continue;
            }
            log("CDependenciesChecker::GetDependentDevices: Dependency is applicable for the current OS");
        }
        // The parent device, scanning the machine's devices in order.
        log("CDependenciesChecker::doDeviceCheck   Entered");
        bool bPresent = false;
        if (!vMachine.empty())
        {
            const int nParentType = pDependency->getParentDeviceType();
            for (const auto& pDevice : vMachine)
            {
                const int nType = pDevice->getDeviceType();
                if (nType == 0 || nParentType == 0 || nType != nParentType)
                    continue;
                if (nType == 2)
                {
                    if (pDevice->getComponentID() == pDependency->getParentComponentID())
                    {
                        bPresent = true;
                        break;
                    }
                    continue;
                }
                bool bAny = false;
                for (const SPCIInfo& parent : pDependency->getParentPCIInfo())
                {
                    bAny = bAny || SameHex(pDevice->getPCIInfo(), parent);
                }
                if (bAny)
                {
                    bPresent = true;
                    break;
                }
            }
            log("CDependenciesChecker::doDeviceCheck   Exit");
        }
        if (!bPresent)
        {
            log("Device Check is ussuccessful i.e Dependency is not applicable for the devices present on this system "
                "hence skipping other checks");
            continue;
        }
        log("Device Check is successful i.e Dependency is applicable for the devices present on this system ");
        if (pDependency->getDependencyType() != c.eType)
            continue;
        const std::string strRelease = pDependency->getReleaseID();
        log("CDependenciesChecker::GetDependentDevices  strReleaseIDDir = " + strRelease);
        auto itCache = mapCache.find(strRelease);
        if (itCache == mapCache.end())
            continue;
        // The decision, walking the release's records in order.
        log("CDependenciesChecker::HasDependeny  START");
        bool bReport = false;
        if (itCache->second.empty())
        {
            log("CDependenciesChecker::HasDependeny  pDepDeviceInfo || vInvDeviceInfo.size() ==0");
        }
        else
        {
            bool bFailed = false;
            for (const auto& pRecord : itCache->second)
            {
                if (pRecord->getStatus() == 1)
                {
                    log("CDependenciesChecker::HasDependeny Inventory is failed ");
                    pDependency->setStatus(1);
                    pDependency->setErrorMsg(pRecord->getErrorMsg());
                    bFailed = true;
                    break;
                }
                if (pRecord->getDeviceType() == 0 ||
                    strcasecmp(pRecord->getComponentType().c_str(), pDependency->getComponentType().c_str()) != 0 ||
                    pRecord->getDeviceType() != pDependency->getDeviceType())
                    continue;
                if (pRecord->getDeviceType() != 2)
                {
                    if (pRecord->getPCIInfo().strDeviceID.empty() ||
                        !SameHex(pRecord->getPCIInfo(), pDependency->getPCIInfo()))
                        continue;
                }
                else if (pRecord->getComponentID() != pDependency->getComponentID())
                    continue;
                log.nInstances++;
                if (RefCompareVersions(pDependency->getVersion(), pRecord->getVersion(), log) > 0)
                {
                    log("CDependenciesChecker::HasDependeny nCmpResult > 0");
                    pDependency->setCurrentVersion(pRecord->getVersion());
                    bReport = true;
                }
            }
            if (bFailed)
                bReport = true;
            else
                log("CDependenciesChecker::HasDependeny END");
        }
        if (bReport)
        {
            log("CDependenciesChecker::GetDependentDevices  HasDependeny = " + strRelease);
            result.vReported.push_back(pDependency);
        }
    }
    log("CDependenciesChecker::GetDependentDevices  END");
    log("CDependenciesChecker::Process END");
    return result;
}

std::string RefReport(CDeviceInfo::eDependencyType eType, const std::vector<CDeviceInfo*>& vReported)
{
    std::string strReport = eType == CDeviceInfo::eDependencyTypeHard
                                ? "\nThe update process cannot proceed till the following requirements are met.\n"
                                : "\nThe updated component requires the following updates to exhibit all the "
                                  "features.\n";
    bool bFailed = false;
    for (CDeviceInfo* pRecord : vReported)
    {
        std::string strPath = pRecord->getFilePath();
        strReport += pRecord->getDisplay() + "\n\tCurrent  Version     : " +
                     (pRecord->getStatus() == 1 ? std::string("Failed") : pRecord->getCurrentVersion());
        bFailed = bFailed || pRecord->getStatus() == 1;
        if (eType == CDeviceInfo::eDependencyTypeHard)
            strReport += "\n\tRequired Version     : " + pRecord->getVersion();
        else
            strReport += "\n\tRecommended Version  : " + pRecord->getVersion() +
                         "\n\tDetail               : " + pRecord->getDetail();
        strReport += "\n\tVEX DownloadPath     : " + strPath + "\n";
    }
    if (bFailed)
        strReport += "\nThe inventory for a one or more dependent components failed. Please check log file for "
                     "details.\n";
    return strReport;
}

// A record's fields as one line, for comparing lists.
std::string Describe(const CDeviceInfo& record)
{
    std::ostringstream oss;
    const SPCIInfo pci = record.getPCIInfo();
    oss << record.getDependencyType() << "|" << record.getComponentID() << "|" << record.getComponentType() << "|"
        << record.getVersion() << "|" << record.getDisplay() << "|" << record.getDetail() << "|"
        << CDeviceInfo(record).getFilePath() << "|" << record.getReleaseID() << "|" << record.getDependencyContext()
        << "|dt" << record.getDeviceType() << "|pci " << pci.strDeviceID << "," << pci.strSubDeviceID << ","
        << pci.strVendorID << "," << pci.strSubVendorID << "|parent " << record.getParentComponentID() << " pt"
        << record.getParentDeviceType() << " [";
    for (const SPCIInfo& parent : record.getParentPCIInfo())
        oss << parent.strDeviceID << "," << parent.strSubDeviceID << "," << parent.strVendorID << ","
            << parent.strSubVendorID << ";";
    oss << "] platforms [";
    for (const std::string& strPlatform : record.getDepenendencyPlatforms())
        oss << strPlatform << ";";
    oss << "] os [";
    for (const SOSInfo& os : record.getDependencyOS())
        oss << os.strMajorVersion << "," << os.strMinorVersion << "," << os.strSPMajorVersion << ","
            << os.strSPMinorVersion << "," << os.strOSVendor << "," << os.strOSArch << "," << os.strRequiredBuildNumber
            << ";";
    oss << "] status " << record.getStatus() << " " << record.getErrorMsg() << " current "
        << record.getCurrentVersion();
    return oss.str();
}

SMBIOSSources WriteFirmware(int nFirmware, const std::string& strDir)
{
    const SMBIOSSources sources = SmbiosSourcesIn(strDir);
    if (nFirmware != 0)
    {
        WriteFile(sources.strEntryPointPath, SmbiosEntryPoint2());
        WriteFile(sources.strTablePath,
                  SmbiosTable({OemStringsStructure({nFirmware == 1 ? "Brix System" : "Another Maker"}),
                               RevisionStructure(0x0B)}));
    }
    return sources;
}
} // namespace

namespace
{
// The log is on for the whole process: the checker's lines are taken from a
// recorder, the file itself is not read.
void LogToTheVoid()
{
    if (!CLogger::GetInstance()->IsInitialized())
    {
        StartLogging("/dev/null");
    }
}
} // namespace

TEST(Differential, RandomPackagesAgreeWithTheReference)
{
    LogToTheVoid();
    std::mt19937 random(20261121);
    const int nCases = vextest::CasesForThisBuild(1000);
    int nReported = 0;
    int nDuplicates = 0;
    int nFailed = 0;
    int nInstances = 0;
    for (int nCase = 0; nCase < nCases; ++nCase)
    {
        const Case c = RandomCase(random);
        TempDir dir;
        WriteCase(c, dir.Path());
        ScopedCwd cwd(dir.Path());
        const std::string strWorking = CurrentDirectory() + "/";
        const SMBIOSSources sources = WriteFirmware(c.nFirmware, dir.Path());

        // The real classes.
        std::vector<std::string> vRecords;
        {
            CSoftwareComponentInfo reader;
            for (CDeviceInfo* pRecord : reader.getDependencyInfo())
            {
                vRecords.push_back(Describe(*pRecord));
                delete pRecord;
            }
        }
        std::vector<std::string> vCheckerLog;
        std::vector<std::string> vReported;
        std::string strReport;
        std::string strErrors;
        bool bProcessed = false;
        {
            CDependenciesChecker checker(strWorking);
            checker.SetSMBIOSSources(sources);
            CLogRecorder recorder;
            bProcessed = checker.Process(c.eType, ReadFile(dir.File("inv.xml")));
            for (const SLogRecord& record : recorder.Records())
            {
                if (record.strFile == "DependenciesChecker")
                {
                    vCheckerLog.push_back(record.strMessage);
                }
            }
            const std::vector<CDeviceInfo*> vDevices = checker.GetDependentDevices();
            for (CDeviceInfo* pRecord : vDevices)
            {
                vReported.push_back(Describe(*pRecord));
            }
            std::ostringstream ossErrors;
            strReport = CLinuxDepenedencyWrapper::FormatReport(c.eType, vDevices, ossErrors);
            strErrors = ossErrors.str();
        }

        // The reference.
        RefResult reference = RefEvaluate(c, strWorking);
        std::vector<std::string> vRefRecords;
        for (const auto& pRecord : RefDependencies(c))
        {
            vRefRecords.push_back(Describe(*pRecord));
        }
        std::vector<std::string> vRefReported;
        std::string strRefErrors;
        for (CDeviceInfo* pRecord : reference.vReported)
        {
            vRefReported.push_back(Describe(*pRecord));
            if (pRecord->getStatus() == 1)
            {
                strRefErrors += "\n\tError Message         : " + pRecord->getErrorMsg();
            }
        }

        ASSERT_EQ(vRecords, vRefRecords) << "case " << nCase << "\n" << PackageXml(c);
        ASSERT_EQ(vCheckerLog, reference.log.vMessages) << "case " << nCase << "\n" << PackageXml(c);
        ASSERT_EQ(vReported, vRefReported) << "case " << nCase;
        ASSERT_EQ(strReport, RefReport(c.eType, reference.vReported)) << "case " << nCase;
        ASSERT_EQ(strErrors, strRefErrors) << "case " << nCase;
        // Process's result is that of the last lookup: never false here,
        // since no record is null.
        EXPECT_TRUE(bProcessed || std::none_of(reference.vDependencies.begin(), reference.vDependencies.end(),
                                               [&c](const std::unique_ptr<CDeviceInfo>& p) {
                                                   return p->getDependencyType() == c.eType;
                                               }));

        nInstances += reference.log.nInstances;
        nReported += static_cast<int>(vRefReported.size());
        std::size_t nElements = 0;
        for (const SupportedDevice& device : c.vDevices)
            nElements += device.vDependencies.size();
        nDuplicates += vRefRecords.size() < nElements ? 1 : 0;
        for (CDeviceInfo* pRecord : reference.vReported)
            nFailed += pRecord->getStatus() == 1 ? 1 : 0;
    }
    // The draws must actually produce the situations they are meant to.
    EXPECT_GT(nReported, nCases / 5);
    EXPECT_GT(nDuplicates, nCases / 10);
    EXPECT_GT(nFailed, nCases / 20);
    EXPECT_GT(nInstances, nCases / 5);
    std::cout << nCases << " cases, " << nReported << " reported dependencies (" << nFailed << " failed), "
              << nInstances << " installed instances compared, " << nDuplicates << " cases with collapsed duplicates\n";
}

// The decision on an indexed inventory against a plain walk, on record
// lists that hold null records, failed records and many instances.
TEST(Differential, IndexedDecisionAgreesWithAPlainWalk)
{
    LogToTheVoid();
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    CDependenciesChecker checker(CurrentDirectory() + "/");
    std::mt19937 random(7);
    for (int nCase = 0; nCase < 5000; ++nCase)
    {
        std::vector<std::unique_ptr<CDeviceInfo>> vOwned;
        std::vector<CDeviceInfo*> vRecords;
        for (int n = Count(random, 8); n > 0; --n)
        {
            if (Chance(random, 0.1))
            {
                vRecords.push_back(nullptr);
                continue;
            }
            vOwned.emplace_back(new CDeviceInfo());
            CDeviceInfo* pRecord = vOwned.back().get();
            pRecord->setDeviceType(static_cast<CDeviceInfo::eDeviceType>(Count(random, 2)));
            pRecord->setComponentType(Pick(random, {"FRMW", "frmw", "DRVR"}));
            pRecord->setComponentID(Pick(random, {"C1", "C2"}));
            SPCIInfo pci;
            pci.strDeviceID = Pick(random, {"1A", "0x1a", ""});
            pci.strVendorID = Pick(random, {"2B", "2b"});
            pRecord->setPCIInfo(pci);
            pRecord->setVersion(Pick(random, {"1.0", "2.0", "a1"}));
            if (Chance(random, 0.1))
            {
                pRecord->setStatus(1);
                pRecord->setErrorMsg(Pick(random, {"e1", "e2"}));
            }
            vRecords.push_back(pRecord);
        }
        CDeviceInfo dependency;
        dependency.setDeviceType(static_cast<CDeviceInfo::eDeviceType>(Count(random, 2)));
        dependency.setComponentType(Pick(random, {"FRMW", "DRVR"}));
        dependency.setComponentID(Pick(random, {"C1", "C2"}));
        SPCIInfo pci;
        pci.strDeviceID = Pick(random, {"1a", "1B"});
        pci.strVendorID = "0x2B";
        dependency.setPCIInfo(pci);
        dependency.setVersion(Pick(random, {"1.5", "2.0", "A1"}));

        // The plain walk.
        CDeviceInfo expected = dependency;
        RefLog refLog;
        refLog("CDependenciesChecker::HasDependeny  START");
        bool bExpected = false;
        if (vRecords.empty())
        {
            refLog("CDependenciesChecker::HasDependeny  pDepDeviceInfo || vInvDeviceInfo.size() ==0");
        }
        else
        {
            bool bFailed = false;
            for (CDeviceInfo* pRecord : vRecords)
            {
                if (pRecord == nullptr)
                {
                    refLog("CDependenciesChecker::HasDependeny pInvDevice is NULL");
                    continue;
                }
                if (pRecord->getStatus() == 1)
                {
                    refLog("CDependenciesChecker::HasDependeny Inventory is failed ");
                    expected.setStatus(1);
                    expected.setErrorMsg(pRecord->getErrorMsg());
                    bFailed = true;
                    break;
                }
                if (pRecord->getDeviceType() == 0 ||
                    strcasecmp(pRecord->getComponentType().c_str(), expected.getComponentType().c_str()) != 0 ||
                    pRecord->getDeviceType() != expected.getDeviceType())
                    continue;
                if (pRecord->getDeviceType() != 2)
                {
                    if (pRecord->getPCIInfo().strDeviceID.empty() ||
                        !SameHex(pRecord->getPCIInfo(), expected.getPCIInfo()))
                        continue;
                }
                else if (pRecord->getComponentID() != expected.getComponentID())
                    continue;
                if (RefCompareVersions(expected.getVersion(), pRecord->getVersion(), refLog) > 0)
                {
                    refLog("CDependenciesChecker::HasDependeny nCmpResult > 0");
                    expected.setCurrentVersion(pRecord->getVersion());
                    bExpected = true;
                }
            }
            if (bFailed)
                bExpected = true;
            else
                refLog("CDependenciesChecker::HasDependeny END");
        }

        CLogRecorder recorder;
        const bool bActual = checker.HasDependeny(&dependency, vRecords);
        std::vector<std::string> vMessages;
        for (const SLogRecord& record : recorder.Records())
            vMessages.push_back(record.strMessage);
        ASSERT_EQ(bActual, bExpected) << "case " << nCase;
        ASSERT_EQ(vMessages, refLog.vMessages) << "case " << nCase;
        ASSERT_EQ(Describe(dependency), Describe(expected)) << "case " << nCase;
    }
}
