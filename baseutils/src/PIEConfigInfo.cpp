#include "PIEConfigInfo.h"

#include "Logger.h"

#include <cstdlib>

#include <strings.h>

namespace
{
const char* const kPluginExpression = "//PIEConfig//Plugins//Plugin";
const char* const kInventoryDescription = "Inventory";
const char* const kInventoryType = "0";

bool TextEqualsIgnoringCase(const char* pszText, const char* pszExpected)
{
    return pszText != nullptr && strcasecmp(pszText, pszExpected) == 0;
}

} // namespace

CPIEConfigInfo::CPIEConfigInfo() : m_nInventoryTimeout(0) {}

// The document is freed with the reader (the reader is owned by whoever
// created it, normally the inventory module).
CPIEConfigInfo::~CPIEConfigInfo() {}

bool CPIEConfigInfo::Init(const std::string& strPath)
{
    if (strPath.empty())
    {
        // Not fatal by itself: the parse below fails and says so.
        VEXLOG("PIE file path is empty ");
    }
    m_pDocument = xmlsupport::ParseFile(strPath);
    if (!m_pDocument)
    {
        // The established text of this line says "successfully" although
        // the parse failed; operators' tools search for it as it is.
        VEXLOG("CPIEConfigInfo::Init() Document " + strPath + "  parsed successfully ");
        return false;
    }
    if (GetInventoryPluginInfo())
    {
        VEXLOG("CPIEConfigInfo::Init() GetInventoryPluginInfo success ");
        return true;
    }
    VEXLOG("CPIEConfigInfo::Init() GetInventoryPluginInfo failed ");
    return false;
}

std::string CPIEConfigInfo::GetInventoryCommand() { return m_strInventoryCommand; }

std::string CPIEConfigInfo::GetInventoryCommandOutFileName() { return m_strInventoryOutFileName; }

long CPIEConfigInfo::GetInventoryTimeout() { return m_nInventoryTimeout; }

xmlsupport::NodeSetPtr CPIEConfigInfo::GetNodeSet(const unsigned char* pszExpression)
{
    VEXLOG("CPIEConfigInfo::GetNodeSet() Start");
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pResult = xmlsupport::Evaluate(m_pDocument.get(), pszExpression, eStatus);
    switch (eStatus)
    {
    case xmlsupport::EvalStatus::ContextFailed:
        VEXLOG("CPIEConfigInfo::GetNodeSet() Error in xmlXPathNewContext");
        return nullptr;
    case xmlsupport::EvalStatus::EvalFailed:
        VEXLOG("CPIEConfigInfo::GetNodeSet() Error in xmlXPathEvalExpression");
        return nullptr;
    case xmlsupport::EvalStatus::Empty:
        VEXLOG("CPIEConfigInfo::GetNodeSet() Empty nodeset");
        return nullptr;
    case xmlsupport::EvalStatus::Ok:
        break;
    }
    VEXLOG("CPIEConfigInfo::GetNodeSet() END");
    return pResult;
}

xmlsupport::NodeSetPtr CPIEConfigInfo::GetPlugins()
{
    return GetNodeSet(reinterpret_cast<const unsigned char*>(kPluginExpression));
}

bool CPIEConfigInfo::GetInventoryPluginInfo()
{
    VEXLOG("CPIEConfigInfo::GetInventoryPluginInfo() Start");
    xmlsupport::NodeSetPtr pPlugins = GetNodeSet(reinterpret_cast<const unsigned char*>(kPluginExpression));
    if (!pPlugins)
    {
        VEXLOG("CPIEConfigInfo::GetInventoryPluginInfo() pXpathResult is NULL");
        return false;
    }

    // The first plug-in that carries all three attributes and is the
    // inventory plug-in is taken; later ones are never looked at, even when
    // the chosen one turns out to be incomplete.
    xmlNode* pInventoryNode = nullptr;
    const char* pszTimeout = nullptr;
    const std::size_t nPlugins = xmlsupport::NodeCount(pPlugins.get());
    for (std::size_t nIndex = 0; nIndex < nPlugins; ++nIndex)
    {
        xmlNode* pPlugin = xmlsupport::NodeAt(pPlugins.get(), nIndex);
        const char* pszDescription = GetAttributeValue(pPlugin, "description");
        const char* pszType = GetAttributeValue(pPlugin, "type");
        const char* pszPluginTimeout = GetAttributeValue(pPlugin, "timeout");
        if (pszDescription != nullptr && pszType != nullptr && pszPluginTimeout != nullptr &&
            TextEqualsIgnoringCase(pszDescription, kInventoryDescription) &&
            TextEqualsIgnoringCase(pszType, kInventoryType))
        {
            pInventoryNode = pPlugin;
            pszTimeout = pszPluginTimeout;
            break;
        }
    }
    if (pInventoryNode == nullptr)
    {
        VEXLOG("CPIEConfigInfo::GetInventoryPluginInfo() pInventoyNode is NULL");
        return false;
    }

    // Decimal seconds; conversion stops at the first character that is not
    // a digit ("30s" gives 30, "abc" gives 0) and saturates on overflow.
    // The inventory module rejects values below 1.
    m_nInventoryTimeout = std::strtol(pszTimeout, nullptr, 10);

    const bool bCommandFound = GetInventoryCommandInfo(pInventoryNode);
    if (!bCommandFound)
    {
        VEXLOG("CPIEConfigInfo::GetInventoryPluginInfo() GetInventoryCommandInfo  is failed");
    }
    VEXLOG("CPIEConfigInfo::GetInventoryPluginInfo() END");
    return bCommandFound;
}

bool CPIEConfigInfo::GetInventoryCommandInfo(xmlNode* pPluginNode)
{
    VEXLOG("CPIEConfigInfo::GetInventoryCommandInfo() START");
    if (pPluginNode == nullptr)
    {
        VEXLOG("CPIEConfigInfo::GetInventoryCommandInfo() is NULL");
        return false;
    }

    xmlNode* pCliToFile = nullptr;
    for (xmlNode* pChild = pPluginNode->children; pChild != nullptr; pChild = pChild->next)
    {
        // Children are told by name, whatever kind of node they are.
        if (xmlsupport::NameEquals(pChild, "CliToFile"))
        {
            pCliToFile = pChild;
            break;
        }
    }

    // Every Command and Output child is looked at; the last of each wins,
    // even when it has no text.
    const char* pszCommand = nullptr;
    const char* pszOutput = nullptr;
    if (pCliToFile != nullptr)
    {
        for (xmlNode* pChild = pCliToFile->children; pChild != nullptr; pChild = pChild->next)
        {
            if (xmlsupport::NameEquals(pChild, "Command"))
            {
                pszCommand = xmlsupport::FirstChildContent(pChild);
            }
            else if (xmlsupport::NameEquals(pChild, "Output"))
            {
                pszOutput = xmlsupport::FirstChildContent(pChild);
            }
        }
    }

    if (pszCommand != nullptr && pszOutput != nullptr)
    {
        m_strInventoryCommand = pszCommand;
        m_strInventoryOutFileName = pszOutput;
        VEXLOG("CPIEConfigInfo::GetInventoryCommandInfo() END");
        return true;
    }
    VEXLOG("CPIEConfigInfo::GetInventoryCommandInfo() Inventory or output filename is empty");
    VEXLOG("CPIEConfigInfo::GetInventoryCommandInfo() END");
    return false;
}

const char* CPIEConfigInfo::GetAttributeValue(xmlNode* pNode, const char* pszName)
{
    return xmlsupport::AttributeValue(pNode, pszName);
}
