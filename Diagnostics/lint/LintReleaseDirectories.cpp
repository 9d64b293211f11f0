// CPackageLinter: the release directories the dependencies name, and the
// inventory plug-in of each one's PIEConfig.xml, read as the configuration
// reader and the inventory module read them.

#include "PackageLinter.h"

#include "LintSupport.h"
#include "PIEConfigInfo.h"
#include "PlatformLayer.h"
#include "TextFormat.h"

#include <cstdlib>

#include <strings.h>

using namespace lintsupport;
using textformat::Quote;

namespace
{
// The configuration reader's queries, exactly.
const char* const kPluginsXPath = "//PIEConfig//Plugins//Plugin";
const char* const kPIEConfigXPath = "//PIEConfig";
} // namespace

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
