// CSoftwareComponentInfo: the devices the package supports and their
// marketing names.

#include "SoftwareComponentInfo.h"

#include "PackageNodes.h"
#include "SoftwareComponentInfoLogSource.h"

#include <map>
#include <string>
#include <vector>

using namespace packagenodes;

namespace
{
const char* const kDevicesXPath = "//SoftwareComponent/SupportedDevices/Device";
} // namespace

std::vector<SPCIInfo> CSoftwareComponentInfo::GetSupportedDevices() { return ReadSupportedDevices(false); }

std::vector<SPCIInfo> CSoftwareComponentInfo::GetAllSupportedDevices() { return ReadSupportedDevices(true); }

std::vector<SPCIInfo> CSoftwareComponentInfo::ReadSupportedDevices(bool bWithNonPCIDevices)
{
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Entering");
    std::vector<SPCIInfo> vDevices;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath(kDevicesXPath);
    if (!pNodeSet)
    {
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression");
        return vDevices;
    }
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found Some Device Nodes");
    // One working record serves every device in turn: a field that a later
    // Device or PCIInfo does not supply keeps the earlier value.
    SPCIInfo pciInfo;
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pDevice = xmlsupport::NodeAt(pNodeSet.get(), i);
        VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Finding the Component ID and PCI Info");
        ReadAttributeInto(pDevice, "componentID", pciInfo.strComponentID);
        // For every child, the first Display that follows it: found in one
        // pass from the end, so that a Device with many PCIInfo children is
        // not searched again for each of them.
        std::vector<xmlNode*> vChildren;
        for (xmlNode* pChild = pDevice->children; pChild != nullptr; pChild = pChild->next)
        {
            vChildren.push_back(pChild);
        }
        std::vector<xmlNode*> vNextDisplay(vChildren.size(), nullptr);
        xmlNode* pFollowingDisplay = nullptr;
        for (std::size_t n = vChildren.size(); n > 0; --n)
        {
            vNextDisplay[n - 1] = pFollowingDisplay;
            if (IsNamed(vChildren[n - 1], "Display"))
            {
                pFollowingDisplay = vChildren[n - 1];
            }
        }
        bool bHasPCIInfo = false;
        for (std::size_t n = 0; n < vChildren.size(); ++n)
        {
            xmlNode* pChild = vChildren[n];
            if (!IsNamed(pChild, "PCIInfo"))
            {
                continue;
            }
            bHasPCIInfo = true;
            VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found a PCI Device");
            ReadPaddedIdentifier(pChild, "deviceID", pciInfo.strDeviceID);
            ReadPaddedIdentifier(pChild, "subDeviceID", pciInfo.strSubDeviceID);
            ReadPaddedIdentifier(pChild, "vendorID", pciInfo.strVendorID);
            ReadPaddedIdentifier(pChild, "subVendorID", pciInfo.strSubVendorID);
            // The marketing name is the Display that follows this PCIInfo;
            // without one the record carries no name (a Display before the
            // PCIInfo is not seen).
            pciInfo.strMarketingName.clear();
            if (xmlNode* pDisplay = vNextDisplay[n])
            {
                VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Found a Display element under Device "
                       "element");
                if (const char* pszName = TextOf(pDisplay))
                {
                    pciInfo.strMarketingName = pszName;
                }
                VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Got the marketing name/Display name for a "
                       "PCI Device as " +
                       pciInfo.strMarketingName);
            }
            vDevices.push_back(pciInfo);
        }
        if (bWithNonPCIDevices && !bHasPCIInfo)
        {
            VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() No PCI Info present.Pushing ComponentID " +
                   pciInfo.strComponentID);
            SPCIInfo componentOnly;
            componentOnly.strComponentID = pciInfo.strComponentID;
            vDevices.push_back(componentOnly);
        }
    }
    pNodeSet.reset();
    VEXLOG("CSoftwareComponentInfo::GetSupportedDevices() Exiting");
    return vDevices;
}

std::string CSoftwareComponentInfo::getMarketingNameForPCIDevice(SPCIInfo& pciInfo)
{
    VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Entering");
    std::string strName;
    const std::vector<SPCIInfo> vDevices = GetSupportedDevices();
    for (const SPCIInfo& device : vDevices)
    {
        VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Finding a match with PCI Device");
        if (EqualsIgnoringCase(pciInfo.strDeviceID, device.strDeviceID) &&
            EqualsIgnoringCase(pciInfo.strSubDeviceID, device.strSubDeviceID) &&
            EqualsIgnoringCase(pciInfo.strVendorID, device.strVendorID) &&
            EqualsIgnoringCase(pciInfo.strSubVendorID, device.strSubVendorID))
        {
            VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Found a match with PCI Devices from "
                   "package.xml");
            strName = device.strMarketingName;
        }
    }
    VEXLOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Exiting");
    return strName;
}

std::map<std::string, std::string> CSoftwareComponentInfo::getCompIDMarkNameInfo()
{
    VEXLOG("Entering CSoftwareComponentInfo::GetCompIDMarkNameInfo()");
    std::map<std::string, std::string> mapNames;
    xmlsupport::NodeSetPtr pNodeSet = ParseXmlUsingXpath();
    if (!pNodeSet)
    {
        return mapNames;
    }
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pDevice = xmlsupport::NodeAt(pNodeSet.get(), i);
        std::string strComponentID;
        ReadAttributeInto(pDevice, "componentID", strComponentID);
        VEXLOG("GetCompIDMarkNameInfo() Found the Component ID as " + strComponentID);
        VEXLOG("GetCompIDMarkNameInfo() Finding the Marketing name for device with component id " + strComponentID);
        std::string strName;
        for (xmlNode* pChild = pDevice->children; pChild != nullptr; pChild = pChild->next)
        {
            if (IsNamed(pChild, "Display"))
            {
                VEXLOG("GetCompIDMarkNameInfo() Found a Display element under Device element");
                if (const char* pszName = TextOf(pChild))
                {
                    strName = pszName;
                }
                break;
            }
        }
        VEXLOG("GetCompIDMarkNameInfo() Got the marketing name/Display name for a Non-PCI Device with Component ID  " +
               strComponentID + " as " + strName);
        mapNames.insert(std::make_pair(strComponentID, strName));
    }
    pNodeSet.reset();
    VEXLOG("Leaving CSoftwareComponentInfo::GetCompIDMarkNameInfo()");
    return mapNames;
}

std::string CSoftwareComponentInfo::getMarketingNameForNonPCIDevice(std::string& strComponentID)
{
    VEXLOG("Entering CSoftwareComponentInfo::getMarketingNameForNonPCIDevice()");
    std::string strName;
    const std::map<std::string, std::string> mapNames = getCompIDMarkNameInfo();
    for (const auto& entry : mapNames)
    {
        VEXLOG("getMarketingNameForNonPCIDevice() Finding a match with PCI Device");
        if (EqualsIgnoringCase(entry.first, strComponentID))
        {
            VEXLOG("getMarketingNameForNonPCIDevice() Found a match with Non-PCI Devices from package.xml");
            strName = entry.second;
        }
    }
    VEXLOG("Leaving CSoftwareComponentInfo::getMarketingNameForNonPCIDevice()");
    return strName;
}
