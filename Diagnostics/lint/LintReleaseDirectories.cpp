// CPackageLinter: the release directories the dependencies name, and the
// inventory plug-in of each one's PIEConfig.xml, read as the configuration
// reader and the inventory module read them.

#include "PackageLinter.h"

#include "LintSupport.h"
#include "PIEConfigInfo.h"
#include "PlatformLayer.h"
#include "ShellCharacters.h"
#include "TextFormat.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

#include <strings.h>

using namespace lintsupport;
using textformat::Quote;

namespace
{
// The configuration reader's queries, exactly.
const char* const kPluginsXPath = "//PIEConfig//Plugins//Plugin";
const char* const kPIEConfigXPath = "//PIEConfig";

// The Command element the configuration reader takes (the last one of the
// plug-in's first CliToFile), or the plug-in when there is none.
const xmlNode* LastCommandElement(const xmlNode* pPlugin)
{
    const xmlNode* pCommand = pPlugin;
    for (const xmlNode* pChild = pPlugin->children; pChild != nullptr; pChild = pChild->next)
    {
        if (xmlsupport::NameEquals(pChild, "CliToFile"))
        {
            for (const xmlNode* pItem = pChild->children; pItem != nullptr; pItem = pItem->next)
            {
                pCommand = xmlsupport::NameEquals(pItem, "Command") ? pItem : pCommand;
            }
            break;
        }
    }
    return pCommand;
}
} // namespace

void CPackageLinter::LintRelease(const std::string& strReleaseID, const xmlNode* pFirstUse)
{
    const std::string strDirectory = m_strPackageDirectory + "/" + strReleaseID;
    const std::string strConfigFile = strReleaseID + "/PIEConfig.xml";
    const std::string strConfigPath = m_strPackageDirectory + "/" + strConfigFile;
    std::string strError;
    if (!CPlatformLayer::IsDirectory(strDirectory))
    {
        // Not there, or not a directory: the inventory module cannot enter it.
        Add("release-directory-missing", kPackageFile, pFirstUse,
            "release directory " + Quote(strReleaseID) +
                (CPlatformLayer::CanOpen(strDirectory, strError) ? " is not a directory" : " does not exist") +
                ": its dependencies get no inventory and are never reported");
        return;
    }
    if (!CPlatformLayer::CanOpen(strDirectory, strError))
    {
        Add("release-directory-unreadable", kPackageFile, pFirstUse,
            "release directory " + Quote(strReleaseID) + " cannot be entered (" + strError +
                "): its collector never runs, and its dependencies get no inventory and are never reported");
        return;
    }
    // A configuration that is there but cannot be read is not missing: the
    // parse below names the system's reason ("Permission denied").
    const bool bConfigThere = CPlatformLayer::IsFileExistsAbs(strConfigPath) ||
                              (!CPlatformLayer::CanOpen(strConfigPath, strError) && strError != std::strerror(ENOENT));
    if (!bConfigThere)
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
    const bool bConfigured = config.Init(strConfigPath);
    if (!bConfigured)
    {
        Add("inventory-command-missing", strConfigFile, pInventoryPlugin,
            "the inventory plug-in has no CliToFile with both Command and Output: the collector of release " +
                Quote(strReleaseID) + " never runs");
    }
    const bool bRuns = LintTimeout(strReleaseID, strConfigFile, pInventoryPlugin);
    if (bConfigured && bRuns)
    {
        LintCollectorCommand(strReleaseID, strConfigFile, config.GetInventoryCommand(),
                             LastCommandElement(pInventoryPlugin));
    }
}

bool CPackageLinter::LintTimeout(const std::string& strReleaseID, const std::string& strConfigFile,
                                 const xmlNode* pPlugin)
{
    // As the configuration reader reads it: decimal, up to the first
    // character that is not a digit.
    const std::string strTimeout = Attribute(pPlugin, "timeout");
    const long nTimeout = std::strtol(strTimeout.c_str(), nullptr, 10);
    if (nTimeout < 1)
    {
        Add("timeout-below-one", strConfigFile, pPlugin,
            "timeout " + Quote(strTimeout) + " reads as " + std::to_string(nTimeout) +
                " seconds, below 1: the collector of release " + Quote(strReleaseID) + " never runs");
        return false;
    }
    if (strTimeout.find_first_not_of("0123456789") != std::string::npos)
    {
        Add("timeout-not-a-number", strConfigFile, pPlugin,
            "timeout " + Quote(strTimeout) +
                " is not a plain number of seconds: the configuration reader reads it "
                "as " +
                std::to_string(nTimeout) + " (the digits before the first other character)");
    }
    return true;
}

void CPackageLinter::LintCollectorCommand(const std::string& strReleaseID, const std::string& strConfigFile,
                                          const std::string& strCommand, const xmlNode* pCommand)
{
    // The shell runs "<release directory>//<command>": the program is the
    // first word, found in the release directory. A word the shell would
    // read otherwise (quotes, variables) cannot be followed here.
    const std::string strProgram = strCommand.substr(0, strCommand.find_first_of(" \t\n"));
    if (CShellCharacters::Holds(strReleaseID) || CShellCharacters::Holds(strProgram))
    {
        return;
    }
    const std::string strShown = strReleaseID + "/" + strProgram;
    SFileState state;
    std::string strError;
    if (!CPlatformLayer::ExamineFile(m_strPackageDirectory + "/" + strShown, state, strError))
    {
        Add("collector-command-not-found", strConfigFile, pCommand,
            "the collector's command " + Quote(strCommand) + " runs " + Quote(strShown) + ", which " +
                (strError == std::strerror(ENOENT) ? std::string("does not exist")
                                                   : "cannot be examined (" + strError + ")") +
                ": the shell finds nothing to run, and release " + Quote(strReleaseID) + " gets no inventory");
        return;
    }
    // Anyone's execute permission lets root, who runs the checker, run it.
    const bool bDirectory = S_ISDIR(state.nMode);
    if (bDirectory || (state.nMode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0)
    {
        Add("collector-not-executable", strConfigFile, pCommand,
            "the collector's command " + Quote(strCommand) + " runs " + Quote(strShown) + ", which is " +
                (bDirectory ? std::string("a directory") : "not executable (no execute permission)") +
                ": the shell cannot run it, and release " + Quote(strReleaseID) + " gets no inventory");
    }
}
