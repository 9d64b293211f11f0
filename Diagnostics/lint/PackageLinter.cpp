#include "PackageLinter.h"

#include "PIEConfigInfo.h"
#include "PlatformLayer.h"
#include "VersionRule.h"

#include <libxml/entities.h>
#include <libxml/xmlerror.h>

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
// The elements that the two readers' queries start from.
const char* const kComponentXPath = "//SoftwareComponent";
const char* const kSupportedDevicesXPath = "//SoftwareComponent/SupportedDevices";
const char* const kPIEConfigXPath = "//PIEConfig";

// Characters that the shell treats specially anywhere inside a word of the
// collector's command line (which holds the release directory unquoted):
// blanks split it, the others quote, substitute, redirect, chain or glob.
const char* const kShellCharacters = " \t\n|&;<>()$`\\\"'*?[";

// The OS fields that the OS check compares, with their attributes.
const char* const kComparedOSAttributes[] = {"majorVersion",   "minorVersion", "spMajorVersion",
                                             "spMinorVersion", "osVendor",     "osArch"};
const char* const kPCIAttributes[] = {"deviceID", "subDeviceID", "vendorID", "subVendorID"};

const std::vector<SLintRule> kRules = {
    {"package-missing", SLintFinding::ESeverity::Error, "package.xml does not exist: nothing is declared",
     "Put the package description, package.xml, into the package directory."},
    {"package-unparsable", SLintFinding::ESeverity::Error, "package.xml is not well-formed: nothing is declared",
     "Correct package.xml at the line and column that the parser's message names."},
    {"package-root-wrong", SLintFinding::ESeverity::Error,
     "package.xml has no SoftwareComponent element that the package reader's queries match: nothing is declared",
     "Make SoftwareComponent, spelled exactly so and without a namespace, the root element of package.xml."},
    {"supported-devices-missing", SLintFinding::ESeverity::Error,
     "no SupportedDevices element under SoftwareComponent: no device and no dependency is read",
     "Put the Device elements, with their Dependency and SoftDependency elements, into "
     "SoftwareComponent/SupportedDevices."},
    {"entity-not-loaded", SLintFinding::ESeverity::Error,
     "a reference to an entity that is never loaded (an external entity, or one declared only in an external DTD): "
     "nothing is read in its place",
     "Write the text itself instead of the entity reference; the checker reads no file beside the document."},
    {"missing-version", SLintFinding::ESeverity::Error,
     "a dependency without \"version\" requires the empty version and is never reported unmet",
     "Give every dependency a \"version\" attribute with the least version it requires."},
    {"missing-release-id", SLintFinding::ESeverity::Error,
     "a dependency without \"releaseID\" looks for its collector in the package directory itself",
     "Give the dependency the \"releaseID\" of the release directory that holds its collector."},
    {"missing-component-type", SLintFinding::ESeverity::Error,
     "a dependency without \"componentType\" matches no installed component and is never reported",
     "Give the dependency the \"componentType\" of the component it requires."},
    {"release-id-shell-characters", SLintFinding::ESeverity::Error,
     "a releaseID with characters that the shell splits or interprets breaks the collector's command line",
     "Name release directories with letters, digits, '-', '_' and '.' only."},
    {"system-id-prefixed", SLintFinding::ESeverity::Error,
     "a systemID written with 0x becomes 0x0x... and never matches the machine",
     "Write \"systemID\" without 0x: the checker adds the prefix itself."},
    {"release-directory-missing", SLintFinding::ESeverity::Error,
     "a release directory that does not exist: its dependencies are never verified",
     "Ship the release directory that the releaseID names, or correct the releaseID."},
    {"pieconfig-missing", SLintFinding::ESeverity::Error,
     "a release directory without PIEConfig.xml: its collector never runs",
     "Put a PIEConfig.xml that declares the inventory plug-in into the release directory."},
    {"pieconfig-unparsable", SLintFinding::ESeverity::Error,
     "a PIEConfig.xml that is not well-formed: its collector never runs",
     "Correct PIEConfig.xml at the line and column that the parser's message names."},
    {"pieconfig-root-wrong", SLintFinding::ESeverity::Error,
     "a PIEConfig.xml without a PIEConfig element that the configuration reader's query matches: its collector "
     "never runs",
     "Make PIEConfig, spelled exactly so and without a namespace, the root element of PIEConfig.xml."},
    {"no-inventory-plugin", SLintFinding::ESeverity::Error,
     "no Plugin with description \"Inventory\", type \"0\" and a timeout: the collector never runs",
     "Declare <Plugin description=\"Inventory\" type=\"0\" timeout=\"N\"> under PIEConfig/Plugins."},
    {"inventory-command-missing", SLintFinding::ESeverity::Error,
     "the inventory plug-in lacks CliToFile with Command and Output: the collector never runs",
     "Give the inventory plug-in a CliToFile element with both Command and Output."},
    {"timeout-below-one", SLintFinding::ESeverity::Error, "a timeout below 1 second: the collector never runs",
     "Give the inventory plug-in a timeout of at least 1 second, written as a number."},
    {"external-declaration-not-loaded", SLintFinding::ESeverity::Warning,
     "an external DTD or an external entity declaration: it is never loaded, nothing it declares applies",
     "Leave out external DTDs and external entities: the checker reads the document alone."},
    {"encoding-needs-c-library", SLintFinding::ESeverity::Warning,
     "an encoding the XML library reads only through the C library's conversion modules: the portable checker "
     "cannot read the document on a server without them",
     "Write the document in UTF-8 (or UTF-16, ISO-8859-1 or ASCII), which the XML library reads itself."},
    {"xml-parser-message", SLintFinding::ESeverity::Warning,
     "the parser reports a problem and reads on: the document may not read as written",
     "Correct the document at the line and column that the parser's message names."},
    {"package-root-nested", SLintFinding::ESeverity::Warning,
     "the root element of package.xml is not SoftwareComponent: the SoftwareComponent elements inside it are read",
     "Make SoftwareComponent the root element of package.xml."},
    {"context-never-applies", SLintFinding::ESeverity::Warning,
     "a context other than OS or ALL: the dependency never applies",
     "Use the context OS or ALL, or leave it out (OS), for a dependency that is meant to apply."},
    {"version-compared-as-text", SLintFinding::ESeverity::Warning,
     "a version with letters or blanks is compared as text (\"9\" counts newer than \"10a\")",
     "Write versions with digits and separators only where they must compare as numbers."},
    {"brand-repeated", SLintFinding::ESeverity::Warning,
     "two or more Brand elements: the system IDs of the later ones are listed more than once",
     "Put all Model elements of a dependency into one Brand element."},
    {"os-attribute-carried-over", SLintFinding::ESeverity::Warning,
     "an OS attribute left out keeps the value of an earlier OS element",
     "Write every compared OS attribute on every OperatingSystem element."},
    {"pci-attribute-carried-over", SLintFinding::ESeverity::Warning,
     "a PCI attribute left out keeps the value of an earlier PCI element",
     "Write all four PCI attributes on every PCIInfo element."},
    {"duplicate-dependency", SLintFinding::ESeverity::Warning,
     "a dependency equal to an earlier one of the same device collapses into it",
     "Remove the repeated dependency, or make the two differ in what they require."},
};

bool IsElement(const xmlNode* pNode) { return pNode != nullptr && pNode->type == XML_ELEMENT_NODE; }

// An encoding that the XML library converts by itself, without the C
// library's conversion modules (which a fully static checker may not find).
bool IsEncodingOfTheXmlLibrary(const std::string& strEncoding)
{
    static const char* const kOwn[] = {"UTF-8",       "UTF8",        "UTF-16",      "UTF16", "UTF-16LE", "UTF-16BE",
                                       "ISO-8859-1",  "ISO-LATIN-1", "ISO LATIN 1", "ASCII", "US-ASCII"};
    for (const char* pszOwn : kOwn)
    {
        if (strcasecmp(strEncoding.c_str(), pszOwn) == 0)
        {
            return true;
        }
    }
    return false;
}

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

// The first element at or below pNode, in document order, whose name equals
// pszName ignoring case.
const xmlNode* FindElementLike(const xmlNode* pNode, const char* pszName)
{
    for (; pNode != nullptr; pNode = pNode->next)
    {
        if (IsElementNamed(pNode, pszName))
        {
            return pNode;
        }
        const xmlNode* pFound = IsElement(pNode) ? FindElementLike(pNode->children, pszName) : nullptr;
        if (pFound != nullptr)
        {
            return pFound;
        }
    }
    return nullptr;
}

// Why an element that resembles pszName is not what a query for pszName
// (exact name, no namespace) matches.
std::string WhyNotMatched(const xmlNode* pNear, const char* pszName)
{
    if (xmlsupport::NameIs(pNear, pszName) && pNear->ns != nullptr && pNear->ns->href != nullptr)
    {
        return "the " + NameOf(pNear) + " element of line " + std::to_string(LineOf(pNear)) + " is in the namespace " +
               Quote(reinterpret_cast<const char*>(pNear->ns->href)) +
               ", and the queries match only elements without namespace";
    }
    return "the element " + NameOf(pNear) + " of line " + std::to_string(LineOf(pNear)) + " differs from " + pszName +
           " in case, and the queries compare names exactly";
}

// The element nodes and entity references below pNode, in document order.
void CollectEntityReferences(const xmlNode* pNode, std::vector<const xmlNode*>& vReferences)
{
    for (; pNode != nullptr; pNode = pNode->next)
    {
        if (pNode->type == XML_ENTITY_REF_NODE)
        {
            vReferences.push_back(pNode);
        }
        else if (IsElement(pNode))
        {
            CollectEntityReferences(pNode->children, vReferences);
        }
    }
}

bool IsExternal(const xmlEntity* pEntity)
{
    return pEntity != nullptr && (pEntity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY ||
                                  pEntity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY ||
                                  pEntity->etype == XML_EXTERNAL_PARAMETER_ENTITY);
}

// How a DTD or entity names what it would load: SYSTEM "..." or PUBLIC "..." "...".
std::string ExternalIdentifier(const xmlChar* pszPublic, const xmlChar* pszSystem)
{
    const std::string strSystem = pszSystem != nullptr ? reinterpret_cast<const char*>(pszSystem) : "";
    if (pszPublic != nullptr)
    {
        return "PUBLIC " + Quote(reinterpret_cast<const char*>(pszPublic)) +
               (strSystem.empty() ? "" : " " + Quote(strSystem));
    }
    return "SYSTEM " + Quote(strSystem);
}

long LineAtOffset(const std::string& strText, std::size_t nOffset)
{
    return 1 + static_cast<long>(std::count(strText.begin(), strText.begin() + static_cast<long>(nOffset), '\n'));
}

// The line of a markup declaration in the document's text: "<!DOCTYPE", or
// "<!ENTITY" with the entity's name (after "%" for a parameter entity); 0
// when it is not found (a compressed file, for example).
long LineOfDeclaration(const std::string& strText, const std::string& strKeyword, const std::string& strName = "",
                       bool bParameter = false)
{
    const auto SkipBlanks = [&strText](std::size_t nAt) {
        while (nAt < strText.size() && std::strchr(" \t\r\n", strText[nAt]) != nullptr)
        {
            ++nAt;
        }
        return nAt;
    };
    for (std::size_t nAt = strText.find(strKeyword); nAt != std::string::npos;
         nAt = strText.find(strKeyword, nAt + 1))
    {
        if (strName.empty())
        {
            return LineAtOffset(strText, nAt);
        }
        std::size_t nName = SkipBlanks(nAt + strKeyword.size());
        if (bParameter)
        {
            if (nName >= strText.size() || strText[nName] != '%')
            {
                continue;
            }
            nName = SkipBlanks(nName + 1);
        }
        const std::size_t nEnd = nName + strName.size();
        if (strText.compare(nName, strName.size(), strName) == 0 && nEnd < strText.size() &&
            std::strchr(" \t\r\n", strText[nEnd]) != nullptr)
        {
            return LineAtOffset(strText, nAt);
        }
    }
    return 0;
}

// The name between the first two apostrophes of a parser message.
std::string QuotedName(const std::string& strMessage)
{
    const std::string::size_type nOpen = strMessage.find('\'');
    const std::string::size_type nClose = nOpen == std::string::npos ? nOpen : strMessage.find('\'', nOpen + 1);
    return nClose == std::string::npos ? std::string() : strMessage.substr(nOpen + 1, nClose - nOpen - 1);
}

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

void CPackageLinter::AddAt(const std::string& strCode, const std::string& strFile, long nLine, long nColumn,
                           const std::string& strElement, const std::string& strMessage)
{
    const SLintRule* pRule = FindRule(strCode);
    SLintFinding finding;
    finding.strCode = strCode;
    finding.eSeverity = pRule != nullptr ? pRule->eSeverity : SLintFinding::ESeverity::Error;
    finding.strFile = strFile;
    finding.nLine = nLine;
    finding.nColumn = nColumn;
    finding.strElement = strElement;
    finding.strMessage = strMessage;
    m_vFindings.push_back(finding);
}

xmlsupport::DocumentPtr CPackageLinter::ParseAndLintMarkup(const std::string& strFile, const std::string& strPath,
                                                           const char* pszUnparsableCode,
                                                           const std::string& strConsequence)
{
    xmlsupport::SDiagnosedParse parse = xmlsupport::ParseFileWithDiagnostics(strPath);
    if (!parse.pDocument)
    {
        // The first message that stopped the parser names the cause; the
        // later ones mostly follow from it.
        const xmlsupport::SParseDiagnostic* pCause = nullptr;
        for (const xmlsupport::SParseDiagnostic& diagnostic : parse.vDiagnostics)
        {
            if (pCause == nullptr && diagnostic.eLevel != xmlsupport::SParseDiagnostic::ELevel::Warning)
            {
                pCause = &diagnostic;
            }
        }
        if (pCause == nullptr && !parse.vDiagnostics.empty())
        {
            pCause = &parse.vDiagnostics.front();
        }
        const std::string strWhy = pCause != nullptr ? pCause->strMessage : "the parser gives no reason";
        const bool bRead = pCause == nullptr || pCause->nCode != 0;
        const long nLine = pCause != nullptr ? pCause->nLine : 0;
        const long nColumn = pCause != nullptr ? pCause->nColumn : 0;
        AddAt(pszUnparsableCode, strFile, nLine, nColumn, std::string(),
              strFile + (bRead ? " is not well-formed XML: " + strWhy : " cannot be read (" + strWhy + ")") + ": " +
                  strConsequence);
        return nullptr;
    }
    LintMarkup(strFile, strPath, parse.pDocument.get(), parse.vDiagnostics);
    return std::move(parse.pDocument);
}

void CPackageLinter::LintMarkup(const std::string& strFile, const std::string& strPath, xmlDoc* pDocument,
                                const std::vector<xmlsupport::SParseDiagnostic>& vDiagnostics)
{
    // The text itself, only to point at declarations, which the tree holds
    // without lines.
    std::string strText;
    CPlatformLayer::ReadRegularFile(strPath, strText);

    if (pDocument->encoding != nullptr)
    {
        const std::string strEncoding = reinterpret_cast<const char*>(pDocument->encoding);
        if (!IsEncodingOfTheXmlLibrary(strEncoding))
        {
            AddAt("encoding-needs-c-library", strFile, 1, 0, std::string(),
                  strFile + " declares the encoding \"" + strEncoding +
                      "\", which the XML library reads only through the C library's conversion modules: the "
                      "portable checker cannot read it on a server without them, and then has nothing to report");
        }
    }

    const xmlDtd* pSubset = pDocument->intSubset;
    const bool bExternalDTD = pSubset != nullptr && (pSubset->SystemID != nullptr || pSubset->ExternalID != nullptr);
    if (bExternalDTD)
    {
        AddAt("external-declaration-not-loaded", strFile, LineOfDeclaration(strText, "<!DOCTYPE"), 0, std::string(),
              "the DOCTYPE names the external DTD " + ExternalIdentifier(pSubset->ExternalID, pSubset->SystemID) +
                  ": the checker never loads it, so no entity and no default attribute value declared there "
                  "applies");
    }

    std::vector<const xmlNode*> vReferences;
    CollectEntityReferences(xmlDocGetRootElement(pDocument), vReferences);
    for (const xmlNode* pChild = pSubset != nullptr ? pSubset->children : nullptr; pChild != nullptr;
         pChild = pChild->next)
    {
        const xmlEntity* pEntity =
            pChild->type == XML_ENTITY_DECL ? reinterpret_cast<const xmlEntity*>(pChild) : nullptr;
        if (!IsExternal(pEntity))
        {
            continue;
        }
        const bool bParameter = pEntity->etype == XML_EXTERNAL_PARAMETER_ENTITY;
        bool bReferenced = false;
        for (const xmlNode* pReference : vReferences)
        {
            bReferenced = bReferenced || (!bParameter && NameOf(pReference) == NameOf(pChild));
        }
        if (!bReferenced)
        {
            AddAt("external-declaration-not-loaded", strFile,
                  LineOfDeclaration(strText, "<!ENTITY", NameOf(pChild), bParameter), 0, std::string(),
                  std::string(bParameter ? "the parameter entity " : "the entity ") + Quote(NameOf(pChild)) +
                      " is external (" + ExternalIdentifier(pEntity->ExternalID, pEntity->SystemID) +
                      "): the checker never loads it, so nothing it holds is read");
        }
    }
    for (const xmlNode* pReference : vReferences)
    {
        const xmlEntity* pEntity = xmlGetDocEntity(pDocument, pReference->name);
        if (!IsExternal(pEntity))
        {
            // An entity declared nowhere: the parser's message below points
            // at it.
            continue;
        }
        const xmlNode* pElement = pReference->parent;
        const char* pszSeen = TextOf(pElement);
        AddAt("entity-not-loaded", strFile, LineOf(pElement), 0, NameOf(pElement),
              NameOf(pElement) + " refers to the external entity " + Quote(NameOf(pReference)) + " (" +
                  ExternalIdentifier(pEntity->ExternalID, pEntity->SystemID) +
                  "): the checker never loads it, so it reads " +
                  (pszSeen != nullptr ? "only " + Quote(pszSeen) + " as the text of " + NameOf(pElement)
                                      : "no text in " + NameOf(pElement)));
    }

    for (const xmlsupport::SParseDiagnostic& diagnostic : vDiagnostics)
    {
        if (diagnostic.nCode == XML_WAR_UNDECLARED_ENTITY || diagnostic.nCode == XML_ERR_UNDECLARED_ENTITY)
        {
            AddAt("entity-not-loaded", strFile, diagnostic.nLine, diagnostic.nColumn, std::string(),
                  "the entity " + Quote(QuotedName(diagnostic.strMessage)) + " is declared nowhere in the document" +
                      (bExternalDTD ? " (only the external DTD, which the checker never loads, may declare it)" : "") +
                      ": the checker reads nothing in its place");
        }
        else
        {
            AddAt("xml-parser-message", strFile, diagnostic.nLine, diagnostic.nColumn, std::string(),
                  "the parser reports " + Quote(diagnostic.strMessage) +
                      " and reads on: the checker reads the document as the parser repairs it");
        }
    }
}

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
            "the root element is " + NameOf(pRoot) + ", not SoftwareComponent: the checker reads the SoftwareComponent "
            "of line " + std::to_string(LineOf(pComponent)) + " inside it all the same");
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
    xmlsupport::DocumentPtr pDocument =
        ParseAndLintMarkup(kPackageFile, strPackagePath, "package-unparsable", "the checker finds no dependency");
    if (!pDocument || !LintPackageRoot(pDocument.get()))
    {
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
    xmlsupport::DocumentPtr pDocument =
        ParseAndLintMarkup(strConfigFile, strConfigPath, "pieconfig-unparsable",
                           "the collector of release " + Quote(strReleaseID) + " never runs");
    if (!pDocument)
    {
        return;
    }
    xmlsupport::EvalStatus eRootStatus = xmlsupport::EvalStatus::Empty;
    if (!xmlsupport::Evaluate(pDocument.get(), kPIEConfigXPath, eRootStatus))
    {
        const xmlNode* pRoot = xmlDocGetRootElement(pDocument.get());
        const xmlNode* pNear = FindElementLike(pRoot, "PIEConfig");
        const std::string strWhy = pNear != nullptr ? WhyNotMatched(pNear, "PIEConfig")
                                                    : "the root element is " + NameOf(pRoot) +
                                                          " and no PIEConfig element is anywhere";
        Add("pieconfig-root-wrong", strConfigFile, pNear != nullptr ? pNear : pRoot,
            "PIEConfig.xml has no PIEConfig element that the configuration reader's query matches (" + strWhy +
                "): the collector of release " + Quote(strReleaseID) + " never runs");
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
