// CSoftwareComponentInfo: the context types the package declares.

#include "SoftwareComponentInfo.h"

#include "PackageNodes.h"
#include "SoftwareComponentInfoLogSource.h"

#include <map>
#include <sstream>

using namespace packagenodes;

namespace
{
const char* const kContextTypesXPath = "//CONTEXT/CONTEXT_TYPE";
} // namespace

std::map<unsigned int, CContextList> CSoftwareComponentInfo::GetSupportedContextTypes()
{
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Entering");
    // Each call reads the context types afresh.
    m_mapContextTypes.clear();
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kContextTypesXPath);
    if (!pNodeSet)
    {
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression");
        return m_mapContextTypes;
    }
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found Some Context Nodes");
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pContextType = xmlsupport::NodeAt(pNodeSet.get(), i);
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Finding the Component ID and PCI Info");
        CContextList contextList;
        ReadAttributeInto(pContextType, "name", contextList.strName);
        // A context type without a readable Priority gets the priority 0.
        unsigned int nPriority = 0;
        for (xmlNode* pChild = pContextType->children; pChild != nullptr; pChild = pChild->next)
        {
            if (!IsElement(pChild))
            {
                continue;
            }
            VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found a PCI Device");
            const char* pszValue = GetAttributeValue(pChild, "value");
            if (xmlsupport::NameIs(pChild, "Priority"))
            {
                if (pszValue != nullptr)
                {
                    std::stringstream ssValue;
                    ssValue << pszValue;
                    unsigned int nValue = 0;
                    if (ssValue >> nValue)
                    {
                        nPriority = nValue;
                    }
                }
            }
            else if (pszValue != nullptr)
            {
                if (xmlsupport::NameIs(pChild, "INV_MODULE"))
                {
                    contextList.strInvModule = pszValue;
                }
                else if (xmlsupport::NameIs(pChild, "INV_INTERFACE"))
                {
                    contextList.strInvInterface = pszValue;
                }
                else if (xmlsupport::NameIs(pChild, "UPDATE_MODULE"))
                {
                    contextList.strUpdateModule = pszValue;
                }
                else if (xmlsupport::NameIs(pChild, "UPDATE_INTERFACE"))
                {
                    contextList.strUpdateInterface = pszValue;
                }
            }
        }
        // The first context type with a given priority stays.
        m_mapContextTypes.insert(std::make_pair(nPriority, contextList));
    }
    pNodeSet.reset();
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Exiting");
    return m_mapContextTypes;
}
