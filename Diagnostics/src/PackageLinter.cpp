#include "PackageLinter.h"

#include "PIEConfigInfo.h"
#include "PlatformLayer.h"
#include "VersionRule.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <strings.h>

namespace
{
const char* const kPackageFile = "package.xml";
// The package reader's query for the dependency entries, exactly.
const char* const kDependenciesXPath = " //SoftwareComponent/SupportedDevices/Device/Dependency | "
                                       "//SoftwareComponent/SupportedDevices/Device/SoftDependency";
const char* const kPluginsXPath = "//PIEConfig//Plugins//Plugin";

// Characters that the shell treats specially anywhere inside a word of the
// collector's command line (which holds the release directory unquoted):
// blanks split it, the others quote, substitute, redirect, chain or glob.
const char* const kShellCharacters = " \t\n|&;<>()$`\\\"'*?[";

// The OS fields that the OS check compares, with their attributes.
const char* const kComparedOSAttributes[] = {"majorVersion",   "minorVersion", "spMajorVersion",
                                             "spMinorVersion", "osVendor",     "osArch"};
const char* const kPCIAttributes[] = {"deviceID", "subDeviceID", "vendorID", "subVendorID"};

const std::vector<SLintRule> kRules = {
    {"package-missing", SLintFinding::ESeverity::Error, "package.xml does not exist: nothing is declared"},
    {"package-unparsable", SLintFinding::ESeverity::Error, "package.xml is not well-formed: nothing is declared"},
    {"missing-version", SLintFinding::ESeverity::Error,
     "a dependency without \"version\" requires the empty version and is never reported unmet"},
    {"missing-release-id", SLintFinding::ESeverity::Error,
     "a dependency without \"releaseID\" looks for its collector in the package directory itself"},
    {"missing-component-type", SLintFinding::ESeverity::Error,
     "a dependency without \"componentType\" matches no installed component and is never reported"},
    {"release-id-shell-characters", SLintFinding::ESeverity::Error,
     "a releaseID with characters that the shell splits or interprets breaks the collector's command line"},
    {"system-id-prefixed", SLintFinding::ESeverity::Error,
     "a systemID written with 0x becomes 0x0x... and never matches the machine"},
    {"release-directory-missing", SLintFinding::ESeverity::Error,
     "a release directory that does not exist: its dependencies are never verified"},
    {"pieconfig-missing", SLintFinding::ESeverity::Error,
     "a release directory without PIEConfig.xml: its collector never runs"},
    {"pieconfig-unparsable", SLintFinding::ESeverity::Error,
     "a PIEConfig.xml that is not well-formed: its collector never runs"},
    {"no-inventory-plugin", SLintFinding::ESeverity::Error,
     "no Plugin with description \"Inventory\", type \"0\" and a timeout: the collector never runs"},
    {"inventory-command-missing", SLintFinding::ESeverity::Error,
     "the inventory plug-in lacks CliToFile with Command and Output: the collector never runs"},
    {"timeout-below-one", SLintFinding::ESeverity::Error, "a timeout below 1 second: the collector never runs"},
    {"context-never-applies", SLintFinding::ESeverity::Warning,
     "a context other than OS or ALL: the dependency never applies"},
    {"version-compared-as-text", SLintFinding::ESeverity::Warning,
     "a version with letters or blanks is compared as text (\"9\" counts newer than \"10a\")"},
    {"brand-repeated", SLintFinding::ESeverity::Warning,
     "two or more Brand elements: the system IDs of the later ones are listed more than once"},
    {"os-attribute-carried-over", SLintFinding::ESeverity::Warning,
     "an OS attribute left out keeps the value of an earlier OS element"},
    {"pci-attribute-carried-over", SLintFinding::ESeverity::Warning,
     "a PCI attribute left out keeps the value of an earlier PCI element"},
    {"duplicate-dependency", SLintFinding::ESeverity::Warning,
     "a dependency equal to an earlier one of the same device collapses into it"},
};

bool IsElement(const xmlNode* pNode) { return pNode != nullptr && pNode->type == XML_ELEMENT_NODE; }

bool IsElementNamed(const xmlNode* pNode, const char* pszName)
{
    return IsElement(pNode) && xmlsupport::NameEquals(pNode, pszName);
}

std::string NameOf(const xmlNode* pNode)
{
    return pNode != nullptr && pNode->name != nullptr ? reinterpret_cast<const char*>(pNode->name) : "";
}

// The text of an element as the package reader takes it.
const char* TextOf(const xmlNode* pNode)
{
    const char* pszText = xmlsupport::FirstChildContent(pNode);
    return (pszText != nullptr && *pszText != '\0') ? pszText : nullptr;
}

std::string Attribute(const xmlNode* pNode, const char* pszName)
{
    const char* pszValue = xmlsupport::AttributeValue(pNode, pszName);
    return pszValue != nullptr ? pszValue : "";
}

bool HasAttribute(const xmlNode* pNode, const char* pszName)
{
    return xmlsupport::AttributeValue(pNode, pszName) != nullptr;
}

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

long LineOf(const xmlNode* pNode) { return pNode != nullptr ? xmlGetLineNo(pNode) : 0; }

std::string ShownCharacters(const std::string& strText)
{
    std::string strShown;
    for (char c : strText)
    {
        if (std::strchr(kShellCharacters, c) == nullptr || c == '\0')
        {
            continue;
        }
        const std::string strCharacter = c == ' '    ? "blank"
                                         : c == '\t' ? "tab"
                                         : c == '\n' ? "line end"
                                                     : std::string(1, c);
        if (strShown.find("'" + strCharacter + "'") == std::string::npos)
        {
            strShown += (strShown.empty() ? "" : ", ") + ("'" + strCharacter + "'");
        }
    }
    return strShown;
}
} // namespace

CPackageLinter::CPackageLinter(const std::string& strPackageDirectory) : m_strPackageDirectory(strPackageDirectory)
{
    if (m_strPackageDirectory.empty())
    {
        m_strPackageDirectory = ".";
    }
}

CPackageLinter::~CPackageLinter() = default;

const std::vector<SLintRule>& CPackageLinter::Rules() { return kRules; }

const SLintRule* CPackageLinter::FindRule(const std::string& strCode)
{
    for (const SLintRule& rule : kRules)
    {
        if (strCode == rule.pszCode)
        {
            return &rule;
        }
    }
    return nullptr;
}

void CPackageLinter::Add(const std::string& strCode, const std::string& strFile, const xmlNode* pNode,
                         const std::string& strMessage)
{
    const SLintRule* pRule = FindRule(strCode);
    SLintFinding finding;
    finding.strCode = strCode;
    finding.eSeverity = pRule != nullptr ? pRule->eSeverity : SLintFinding::ESeverity::Error;
    finding.strFile = strFile;
    finding.nLine = LineOf(pNode);
    finding.strElement = NameOf(pNode);
    finding.strMessage = strMessage;
    m_vFindings.push_back(finding);
}

std::vector<SLintFinding> CPackageLinter::Lint()
{
    m_vFindings.clear();
    m_mapOSCarried.clear();
    m_mapPCICarried.clear();
    m_vParentsSeen.clear();
    m_vListed.clear();
    m_vReleases.clear();

    const std::string strPackagePath = m_strPackageDirectory + "/" + kPackageFile;
    if (!CPlatformLayer::IsFileExistsAbs(strPackagePath))
    {
        Add("package-missing", kPackageFile, nullptr, "package.xml does not exist: the checker finds no dependency");
        return m_vFindings;
    }
    // As the package reader: blank text nodes are dropped, so that an
    // element's first child is its first real child.
    xmlsupport::SetKeepBlanksDefault(false);
    xmlsupport::DocumentPtr pDocument = xmlsupport::ParseFile(strPackagePath);
    if (!pDocument)
    {
        Add("package-unparsable", kPackageFile, nullptr,
            "package.xml is not well-formed XML: the checker finds no dependency");
        return m_vFindings;
    }

    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pDependencies = xmlsupport::Evaluate(pDocument.get(), kDependenciesXPath, eStatus);
    const std::size_t nCount = xmlsupport::NodeCount(pDependencies.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        LintDependency(xmlsupport::NodeAt(pDependencies.get(), i));
    }
    for (const auto& release : m_vReleases)
    {
        LintRelease(release.first, release.second);
    }
    m_vListed.clear();
    return m_vFindings;
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
        const std::string strShown = ShownCharacters(strReleaseID);
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
            }
        }
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
            const std::string strWhich =
                vIdentities.empty()
                    ? std::string()
                    : " with PCI vendor=" + identity.strVendorID + " device=" + identity.strDeviceID +
                          " subVendor=" + identity.strSubVendorID + " subDevice=" + identity.strSubDeviceID;
            Add("duplicate-dependency", kPackageFile, pDependency,
                NameOf(pDependency) + strWhich + " equals the dependency of line " + std::to_string(pEqual->nLine) +
                    " under the same device: the two collapse into one");
            continue;
        }
        m_vListed.push_back(SListed{std::move(pRecord), strParentComponentID, LineOf(pDependency)});
    }
}

void CPackageLinter::LintRelease(const std::string& strReleaseID, const xmlNode* pFirstUse)
{
    const std::string strDirectory = m_strPackageDirectory + "/" + strReleaseID;
    const std::string strConfigFile = strReleaseID + "/PIEConfig.xml";
    const std::string strConfigPath = m_strPackageDirectory + "/" + strConfigFile;
    if (!CPlatformLayer::IsDirectory(strDirectory))
    {
        Add("release-directory-missing", kPackageFile, pFirstUse,
            "release directory " + Quote(strReleaseID) +
                " does not exist: its dependencies get no inventory and are never reported");
        return;
    }
    if (!CPlatformLayer::IsFileExistsAbs(strConfigPath))
    {
        Add("pieconfig-missing", kPackageFile, pFirstUse,
            Quote(strConfigFile) + " does not exist: the collector of release " + Quote(strReleaseID) +
                " never runs and its dependencies are never reported");
        return;
    }
    xmlsupport::DocumentPtr pDocument = xmlsupport::ParseFile(strConfigPath);
    if (!pDocument)
    {
        Add("pieconfig-unparsable", strConfigFile, nullptr,
            "PIEConfig.xml is not well-formed XML: the collector of release " + Quote(strReleaseID) + " never runs");
        return;
    }

    // The inventory plug-in as the configuration reader chooses it: the
    // first Plugin with all three attributes whose description is
    // "Inventory" and whose type is "0" (case ignored).
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pPlugins = xmlsupport::Evaluate(pDocument.get(), kPluginsXPath, eStatus);
    const xmlNode* pInventoryPlugin = nullptr;
    for (std::size_t i = 0; i < xmlsupport::NodeCount(pPlugins.get()) && pInventoryPlugin == nullptr; ++i)
    {
        const xmlNode* pPlugin = xmlsupport::NodeAt(pPlugins.get(), i);
        const char* pszDescription = xmlsupport::AttributeValue(pPlugin, "description");
        const char* pszType = xmlsupport::AttributeValue(pPlugin, "type");
        const char* pszTimeout = xmlsupport::AttributeValue(pPlugin, "timeout");
        if (pszDescription != nullptr && pszType != nullptr && pszTimeout != nullptr &&
            strcasecmp(pszDescription, "Inventory") == 0 && strcasecmp(pszType, "0") == 0)
        {
            pInventoryPlugin = pPlugin;
        }
    }
    if (pInventoryPlugin == nullptr)
    {
        Add("no-inventory-plugin", strConfigFile, xmlDocGetRootElement(pDocument.get()),
            "no Plugin with description \"Inventory\", type \"0\" and a timeout: the collector of release " +
                Quote(strReleaseID) + " never runs");
        return;
    }

    // Whether the configuration reader accepts the file decides.
    CPIEConfigInfo config;
    if (!config.Init(strConfigPath))
    {
        Add("inventory-command-missing", strConfigFile, pInventoryPlugin,
            "the inventory plug-in has no CliToFile with both Command and Output: the collector of release " +
                Quote(strReleaseID) + " never runs");
    }
    const std::string strTimeout = Attribute(pInventoryPlugin, "timeout");
    const long nTimeout = std::strtol(strTimeout.c_str(), nullptr, 10);
    if (nTimeout < 1)
    {
        Add("timeout-below-one", strConfigFile, pInventoryPlugin,
            "timeout " + Quote(strTimeout) + " reads as " + std::to_string(nTimeout) +
                " seconds, below 1: the collector of release " + Quote(strReleaseID) + " never runs");
    }
}
