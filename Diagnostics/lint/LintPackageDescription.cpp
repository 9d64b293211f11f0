// CPackageLinter: the package description, package.xml: its root, and each
// dependency's attributes, parent device, platforms, operating systems, PCI
// identities and duplicates, read as the package reader reads them.

#include "PackageLinter.h"

#include "LintSupport.h"
#include "ShellCharacters.h"
#include "TextFormat.h"
#include "VersionRule.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include <strings.h>

using namespace lintsupport;
using textformat::Quote;

namespace
{
// The elements that the two readers' queries start from.
const char* const kComponentXPath = "//SoftwareComponent";
const char* const kSupportedDevicesXPath = "//SoftwareComponent/SupportedDevices";

// The OS fields that the OS check compares, with their attributes.
const char* const kComparedOSAttributes[] = {"majorVersion",   "minorVersion", "spMajorVersion",
                                             "spMinorVersion", "osVendor",     "osArch"};
const char* const kPCIAttributes[] = {"deviceID", "subDeviceID", "vendorID", "subVendorID"};

bool AllOf(const std::string& strText, const char* pszCharacters)
{
    return !strText.empty() && strText.find_first_not_of(pszCharacters) == std::string::npos;
}

std::string LowerCase(std::string strText)
{
    for (char& c : strText)
    {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return strText;
}

std::string UpperCase(std::string strText)
{
    for (char& c : strText)
    {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return strText;
}

// Which machines' IDs a systemID (without 0x) can equal. The machine's ID
// is "0x" followed by: two lower-case hexadecimal digits (a single-byte ID
// from the revision structure; the byte fe is the two-byte marker and never
// an ID), four upper-case ones (a two-byte ID from the revision structure,
// 0000 included), or, from physical memory when the table has no revision
// structure, four lower-case ones (a two-byte ID other than 0) or "0"
// followed by the single byte itself as a character (a byte other than 0
// and fe).
enum class ESystemIdMatch
{
    Table,      // an ID the SMBIOS table can give
    MemoryOnly, // only an ID from physical memory
    Never
};

ESystemIdMatch HowSystemIdMatches(const std::string& strSystemID)
{
    const char* const kLowerHex = "0123456789abcdef";
    const char* const kUpperHex = "0123456789ABCDEF";
    if (strSystemID.size() == 2)
    {
        if (AllOf(strSystemID, kLowerHex) && strSystemID != "fe")
        {
            return ESystemIdMatch::Table;
        }
        const unsigned char cByte = static_cast<unsigned char>(strSystemID[1]);
        return strSystemID[0] == '0' && cByte != 0 && cByte != 0xFE ? ESystemIdMatch::MemoryOnly
                                                                    : ESystemIdMatch::Never;
    }
    if (strSystemID.size() == 4)
    {
        if (AllOf(strSystemID, kUpperHex))
        {
            return ESystemIdMatch::Table;
        }
        return AllOf(strSystemID, kLowerHex) ? ESystemIdMatch::MemoryOnly : ESystemIdMatch::Never;
    }
    return ESystemIdMatch::Never;
}

} // namespace

bool CPackageLinter::LintPackageRoot(xmlDoc* pDocument)
{
    const xmlNode* pRoot = xmlDocGetRootElement(pDocument);
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pComponents = xmlsupport::Evaluate(pDocument, kComponentXPath, eStatus);
    if (xmlsupport::NodeCount(pComponents.get()) == 0)
    {
        const xmlNode* pNear = FindElementLike(pRoot, "SoftwareComponent");
        const std::string strWhy = pNear != nullptr ? WhyNotMatched(pNear, "SoftwareComponent")
                                                    : "the root element is " + NameOf(pRoot) +
                                                          " and no SoftwareComponent element is anywhere";
        Add("package-root-wrong", kPackageFile, pNear != nullptr ? pNear : pRoot,
            "package.xml has no SoftwareComponent element that the package reader's queries match (" + strWhy +
                "): the checker finds no device and no dependency");
        return false;
    }
    const xmlNode* pComponent = xmlsupport::NodeAt(pComponents.get(), 0);
    if (pComponent != pRoot)
    {
        Add("package-root-nested", kPackageFile, pRoot,
            "the root element is " + NameOf(pRoot) +
                ", not SoftwareComponent: the checker reads the SoftwareComponent "
                "of line " +
                std::to_string(LineOf(pComponent)) + " inside it all the same");
    }
    xmlsupport::NodeSetPtr pSupported = xmlsupport::Evaluate(pDocument, kSupportedDevicesXPath, eStatus);
    if (xmlsupport::NodeCount(pSupported.get()) == 0)
    {
        const xmlNode* pNear = nullptr;
        for (std::size_t i = 0; i < xmlsupport::NodeCount(pComponents.get()) && pNear == nullptr; ++i)
        {
            for (const xmlNode* pChild = xmlsupport::NodeAt(pComponents.get(), i)->children;
                 pChild != nullptr && pNear == nullptr; pChild = pChild->next)
            {
                pNear = IsElementNamed(pChild, "SupportedDevices") ? pChild : nullptr;
            }
        }
        Add("supported-devices-missing", kPackageFile, pNear != nullptr ? pNear : pComponent,
            "SoftwareComponent has no SupportedDevices element" +
                (pNear != nullptr ? " (" + WhyNotMatched(pNear, "SupportedDevices") + ")" : std::string()) +
                ": the checker reads no device and no dependency");
        return false;
    }
    return true;
}

void CPackageLinter::LintDependency(xmlNode* pDependency)
{
    LintAttributes(pDependency);
    if (std::find(m_vParentsSeen.begin(), m_vParentsSeen.end(), pDependency->parent) == m_vParentsSeen.end())
    {
        m_vParentsSeen.push_back(pDependency->parent);
        LintParentDevice(pDependency->parent);
    }
    LintPlatforms(pDependency);

    std::vector<SPCIInfo> vIdentities;
    for (xmlNode* pChild = pDependency->children; pChild != nullptr; pChild = pChild->next)
    {
        if (IsElementNamed(pChild, "OperatingSystem") || IsElementNamed(pChild, "DepOperatingSystem"))
        {
            LintOperatingSystem(pChild);
        }
        if (IsElementNamed(pChild, "PCIInfo") || IsElementNamed(pChild, "DepPCIInfo"))
        {
            LintPCIIdentity(pChild, m_mapPCICarried);
            SPCIInfo identity;
            identity.strDeviceID = m_mapPCICarried["deviceID"].strValue;
            identity.strSubDeviceID = m_mapPCICarried["subDeviceID"].strValue;
            identity.strVendorID = m_mapPCICarried["vendorID"].strValue;
            identity.strSubVendorID = m_mapPCICarried["subVendorID"].strValue;
            vIdentities.push_back(identity);
        }
    }
    LintDuplicates(pDependency, vIdentities);
}

void CPackageLinter::LintAttributes(xmlNode* pDependency)
{
    const std::string strElement = NameOf(pDependency);
    if (!HasAttribute(pDependency, "version"))
    {
        Add("missing-version", kPackageFile, pDependency,
            strElement + " has no \"version\": the empty required version is never newer than an installed one, "
                         "so it is never reported unmet");
    }
    else
    {
        const std::string strVersion = Attribute(pDependency, "version");
        if (CVersionRule::HoldsTextCharacters(strVersion))
        {
            Add("version-compared-as-text", kPackageFile, pDependency,
                "version " + Quote(strVersion) +
                    " holds letters or blanks: it is compared as text, case ignored (\"9\" counts newer than "
                    "\"10a\")");
        }
        else if (!CVersionRule::Caveat(strVersion).empty())
        {
            const std::string strRead = CVersionRule::NumbersText(CVersionRule::NumbersAsRead(strVersion));
            Add(CVersionRule::HasOverflowingPart(strVersion) ? "version-part-overflows" : "version-part-not-a-number",
                kPackageFile, pDependency,
                "version " + CVersionRule::Caveat(strVersion) +
                    ": the checker reports an installed version unmet only when it is older than " + strRead +
                    ", not than what is written");
        }
    }
    if (!HasAttribute(pDependency, "componentType"))
    {
        Add("missing-component-type", kPackageFile, pDependency,
            strElement + " has no \"componentType\": no installed component matches it, so it is never reported");
    }

    if (!HasAttribute(pDependency, "releaseID"))
    {
        Add("missing-release-id", kPackageFile, pDependency,
            strElement + " has no \"releaseID\": its collector is looked for in the package directory itself");
    }
    else
    {
        const std::string strReleaseID = Attribute(pDependency, "releaseID");
        const std::string strShown = CShellCharacters::Shown(strReleaseID);
        if (!strShown.empty())
        {
            Add("release-id-shell-characters", kPackageFile, pDependency,
                "releaseID " + Quote(strReleaseID) + " holds " + strShown +
                    ": the collector's shell command line holds the release directory unquoted, so the shell splits "
                    "or interprets it");
        }
        bool bKnown = false;
        for (const auto& release : m_vReleases)
        {
            bKnown = bKnown || release.first == strReleaseID;
        }
        if (!bKnown)
        {
            m_vReleases.emplace_back(strReleaseID, pDependency);
        }
    }

    // An absent (or empty) context is "OS".
    if (HasAttribute(pDependency, "context"))
    {
        const std::string strContext = Attribute(pDependency, "context");
        if (strcasecmp(strContext.c_str(), "OS") != 0 && strcasecmp(strContext.c_str(), "ALL") != 0)
        {
            Add("context-never-applies", kPackageFile, pDependency,
                "context " + Quote(strContext) + " is neither \"OS\" nor \"ALL\": the dependency never applies");
        }
    }
}

void CPackageLinter::LintParentDevice(const xmlNode* pParent)
{
    // The reader reads the Device's PCIInfo children afresh for each Device;
    // within one Device an attribute left out keeps the previous one's value.
    std::map<std::string, SCarried> mapCarried;
    for (const xmlNode* pChild = pParent != nullptr ? pParent->children : nullptr; pChild != nullptr;
         pChild = pChild->next)
    {
        if (IsElementNamed(pChild, "PCIInfo"))
        {
            LintPCIIdentity(pChild, mapCarried);
        }
    }
}

void CPackageLinter::LintPCIIdentity(const xmlNode* pPCI, std::map<std::string, SCarried>& mapCarried)
{
    for (const char* pszAttribute : kPCIAttributes)
    {
        SCarried& carried = mapCarried[pszAttribute];
        if (HasAttribute(pPCI, pszAttribute))
        {
            carried.strValue = Attribute(pPCI, pszAttribute);
            carried.nLine = LineOf(pPCI);
        }
        else if (!carried.strValue.empty())
        {
            Add("pci-attribute-carried-over", kPackageFile, pPCI,
                NameOf(pPCI) + " has no \"" + pszAttribute + "\": it carries " + Quote(carried.strValue) +
                    " over from line " + std::to_string(carried.nLine));
        }
    }
}

void CPackageLinter::LintOperatingSystem(const xmlNode* pOS)
{
    for (const char* pszAttribute : kComparedOSAttributes)
    {
        SCarried& carried = m_mapOSCarried[pszAttribute];
        if (HasAttribute(pOS, pszAttribute))
        {
            carried.strValue = Attribute(pOS, pszAttribute);
            carried.nLine = LineOf(pOS);
        }
        else if (!carried.strValue.empty())
        {
            Add("os-attribute-carried-over", kPackageFile, pOS,
                NameOf(pOS) + " has no \"" + pszAttribute + "\": it carries " + Quote(carried.strValue) +
                    " over from line " + std::to_string(carried.nLine));
        }
    }
}

void CPackageLinter::LintPlatforms(xmlNode* pDependency)
{
    int nBrands = 0;
    for (xmlNode* pChild = pDependency->children; pChild != nullptr; pChild = pChild->next)
    {
        if (!IsElementNamed(pChild, "Brand") && !IsElementNamed(pChild, "DepBrand"))
        {
            continue;
        }
        ++nBrands;
        if (nBrands == 2)
        {
            Add("brand-repeated", kPackageFile, pChild,
                "a second " + NameOf(pChild) + " in one " + NameOf(pDependency) +
                    ": the system IDs of every Brand after the first are listed more than once");
        }
        for (const xmlNode* pModel = pChild->children; pModel != nullptr; pModel = pModel->next)
        {
            if (!IsElementNamed(pModel, "Model") && !IsElementNamed(pModel, "DepModel"))
            {
                continue;
            }
            const std::string strSystemID = Attribute(pModel, "systemID");
            if (strSystemID.size() >= 2 && strSystemID[0] == '0' && (strSystemID[1] == 'x' || strSystemID[1] == 'X'))
            {
                Add("system-id-prefixed", kPackageFile, pModel,
                    "systemID " + Quote(strSystemID) + " already starts with 0x: the platform becomes " +
                        Quote("0x" + strSystemID) + ", which never equals this machine's ID");
                continue;
            }
            LintSystemID(pModel, strSystemID);
        }
    }
}

void CPackageLinter::LintSystemID(const xmlNode* pModel, const std::string& strSystemID)
{
    const std::string strPlatform = Quote("0x" + strSystemID);
    switch (HowSystemIdMatches(strSystemID))
    {
    case ESystemIdMatch::Never:
        Add("system-id-never-matches", kPackageFile, pModel,
            "systemID " + Quote(strSystemID) + " never matches: the checker compares " + strPlatform +
                " exactly with this machine's ID, which is 0x and two lower-case hexadecimal digits (a single-byte "
                "ID other than fe), four upper-case ones (a two-byte ID from the SMBIOS table) or four lower-case "
                "ones (a two-byte ID from physical memory)");
        break;
    case ESystemIdMatch::MemoryOnly:
        Add("system-id-memory-only", kPackageFile, pModel,
            "systemID " + Quote(strSystemID) + " matches only a machine whose ID comes from physical memory (" +
                (strSystemID.size() == 2 ? "where a single-byte ID is the byte as a character"
                                         : "where a two-byte ID is written in lower case") +
                "): a machine whose SMBIOS revision structure holds the ID reads as " +
                Quote(strSystemID.size() == 2 ? "0x" + LowerCase(strSystemID) : "0x" + UpperCase(strSystemID)) +
                ", which " + strPlatform + " does not equal");
        break;
    case ESystemIdMatch::Table:
        break;
    }
}

void CPackageLinter::LintDuplicates(xmlNode* pDependency, const std::vector<SPCIInfo>& vIdentities)
{
    // The record as the package reader builds it (the fields its equality
    // compares), once per PCI identity.
    CDeviceInfo model;
    model.setComponentType(Attribute(pDependency, "componentType"));
    model.setComponentID(Attribute(pDependency, "componentID"));
    model.setDependencyType(xmlsupport::NameEquals(pDependency, "SoftDependency") ? CDeviceInfo::eDependencyTypeSoft
                                                                                  : CDeviceInfo::eDependencyTypeHard);
    model.setVersion(Attribute(pDependency, "version"));
    model.setFilePath(Attribute(pDependency, "path"));
    for (const xmlNode* pChild = pDependency->children; pChild != nullptr; pChild = pChild->next)
    {
        if (IsElementNamed(pChild, "Display") && TextOf(pChild) != nullptr)
        {
            model.setDisplay(TextOf(pChild));
        }
        if (IsElementNamed(pChild, "Detail") && TextOf(pChild) != nullptr)
        {
            model.setDetail(TextOf(pChild));
        }
    }
    const std::string strParentComponentID = Attribute(pDependency->parent, "componentID");

    std::vector<SPCIInfo> vRecords = vIdentities;
    if (vRecords.empty())
    {
        vRecords.push_back(SPCIInfo());
    }
    for (const SPCIInfo& identity : vRecords)
    {
        std::unique_ptr<CDeviceInfo> pRecord(new CDeviceInfo(model));
        if (!vIdentities.empty())
        {
            pRecord->setPCIInfo(identity);
        }
        const SListed* pEqual = nullptr;
        for (const SListed& listed : m_vListed)
        {
            if (listed.pRecord->IsSameDependency(*pRecord) && listed.strParentComponentID == strParentComponentID)
            {
                pEqual = &listed;
                break;
            }
        }
        if (pEqual != nullptr)
        {
            const std::string strWhich = vIdentities.empty() ? std::string()
                                                             : " with PCI vendor=" + identity.strVendorID +
                                                                   " device=" + identity.strDeviceID +
                                                                   " subVendor=" + identity.strSubVendorID +
                                                                   " subDevice=" + identity.strSubDeviceID;
            Add("duplicate-dependency", kPackageFile, pDependency,
                NameOf(pDependency) + strWhich + " equals the dependency of line " + std::to_string(pEqual->nLine) +
                    " under the same device: the two collapse into one");
            continue;
        }
        m_vListed.push_back(SListed{std::move(pRecord), strParentComponentID, LineOf(pDependency)});
    }
}
