// CSoftwareComponentInfo: what the package itself is (component ID, type,
// version, display strings, package ID, rollback information).

#include "SoftwareComponentInfo.h"

#include "PackageNodes.h"
#include "SoftwareComponentInfoLogSource.h"

#include <cstdlib>
#include <string>

using namespace packagenodes;

namespace
{
const char* const kComponentTypeXPath = "//SoftwareComponent/ComponentType";
const char* const kComponentXPath = "//SoftwareComponent";
const char* const kComponentTypeDisplayXPath = "//SoftwareComponent/ComponentType/Display";
const char* const kRollbackXPath = "//SoftwareComponent/SupportedDevices/Device/RollbackInformation";
} // namespace

std::string CSoftwareComponentInfo::GetComponentID()
{
    VEXLOG("Entering CSoftwareComponentInfo::GetComponentID()");
    std::string strComponentID;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    if (pNodeSet)
    {
        // Only the first Device counts.
        ReadAttributeInto(xmlsupport::NodeAt(pNodeSet.get(), 0), "componentID", strComponentID);
        VEXLOG("Found the component id as " + strComponentID);
    }
    VEXLOG("Leaving CSoftwareComponentInfo::GetComponentID()");
    return strComponentID;
}

std::string CSoftwareComponentInfo::GetMinComponentID()
{
    VEXLOG("Entering CSoftwareComponentInfo::GetMinComponentID()");
    std::string strMinComponentID;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    bool bFound = false;
    long nMin = 0;
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        // A Device without a component ID has no number to offer.
        const char* pszComponentID = GetAttributeValue(xmlsupport::NodeAt(pNodeSet.get(), i), "componentID");
        if (pszComponentID == nullptr)
        {
            continue;
        }
        const long nValue = std::strtol(pszComponentID, nullptr, 10);
        if (!bFound || nValue < nMin)
        {
            nMin = nValue;
            bFound = true;
        }
    }
    if (bFound)
    {
        strMinComponentID = std::to_string(nMin);
    }
    VEXLOG("Leaving CSoftwareComponentInfo::GetMinComponentID()");
    return strMinComponentID;
}

std::string CSoftwareComponentInfo::GetComponentType()
{
    std::string strComponentType;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kComponentTypeXPath);
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pNode = xmlsupport::NodeAt(pNodeSet.get(), i);
        // An element is never named like the path itself: every node is read.
        if (xmlsupport::NameEquals(pNode, kComponentTypeXPath))
        {
            continue;
        }
        // The last element with a value wins.
        ReadAttributeInto(pNode, "value", strComponentType);
    }
    return strComponentType;
}

std::string CSoftwareComponentInfo::GetComponentVersion()
{
    std::string strVersion;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kComponentXPath);
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pNode = xmlsupport::NodeAt(pNodeSet.get(), i);
        if (xmlsupport::NameEquals(pNode, kComponentXPath))
        {
            continue;
        }
        ReadAttributeInto(pNode, "vendorVersion", strVersion);
    }
    return strVersion;
}

std::string CSoftwareComponentInfo::GetComponentDisplayString()
{
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pDevice = xmlsupport::NodeAt(pNodeSet.get(), i);
        xmlNode* pFirstElement = pDevice->children;
        while (pFirstElement != nullptr && !IsElement(pFirstElement))
        {
            pFirstElement = pFirstElement->next;
        }
        if (!IsNamed(pFirstElement, "Display"))
        {
            continue;
        }
        const char* pszText = TextOf(pFirstElement);
        if (pszText == nullptr)
        {
            VEXLOG("CSoftwareComponentInfo::GetComponentDisplayString() failed to get the Display info from "
                   "package.xml for device");
            return std::string();
        }
        std::string strDisplay = pszText;
        VEXLOG("CSoftwareComponentInfo::GetComponentDisplayString()  " + strDisplay + "\n");
        return strDisplay;
    }
    return std::string();
}

std::string CSoftwareComponentInfo::GetComponentTypeDisplayString()
{
    return GetValue(kComponentTypeDisplayXPath, std::string());
}

std::string CSoftwareComponentInfo::GetPackageID() { return GetValue(kComponentXPath, std::string()); }

int CSoftwareComponentInfo::getPresenceOfRollbackInfo()
{
    VEXLOG("Entering getPresenceOfGuid function");
    int nPresent = 0;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kRollbackXPath);
    if (!pNodeSet)
    {
        VEXLOG("ParseXmlUsingXpath failed");
    }
    else
    {
        VEXLOG("GUID Tag found in package.xml");
        nPresent = 1;
    }
    pNodeSet.reset();
    VEXLOG("Leaving getPresenceOfGuid function");
    return nPresent;
}
