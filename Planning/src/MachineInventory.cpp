#include "MachineInventory.h"

#include "DeviceInventoryInfo.h"

namespace
{
// The checker's device check asks whether a dependency's parent is among
// the devices; a supported device is asked about as such a parent, once by
// its component ID and once by its PCI identities.
bool IsPresent(const SSupportedDevice& device, const CParentDeviceIndex& index)
{
    CDeviceInfo byComponent;
    byComponent.setParentDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    byComponent.setParentComponentID(device.strComponentID);
    if (index.FindParent(byComponent) != nullptr)
    {
        return true;
    }
    if (device.vPCI.empty())
    {
        return false;
    }
    CDeviceInfo byPCI;
    byPCI.setParentDeviceType(CDeviceInfo::eDeviceTypePCI);
    std::vector<SPCIInfo> vPCI = device.vPCI;
    byPCI.setParentPCIInfo(vPCI);
    return index.FindParent(byPCI) != nullptr;
}
} // namespace

CMachineInventory::CMachineInventory(const std::string& strInventoryText)
{
    CDeviceInventoryInfo inventory(strInventoryText);
    m_vDevices = inventory.GetDeviceInfo();
    m_pIndex.reset(new CParentDeviceIndex(m_vDevices));
}

CMachineInventory::~CMachineInventory()
{
    m_pIndex.reset();
    for (CDeviceInfo* pDevice : m_vDevices)
    {
        delete pDevice;
    }
}

bool CMachineInventory::HasDeviceOf(const SPackageDescription& package,
                                    const std::vector<CDeviceInfo*>& vInstalled) const
{
    const CParentDeviceIndex installedIndex(vInstalled);
    for (const SSupportedDevice& device : package.vDevices)
    {
        if (IsPresent(device, *m_pIndex) || IsPresent(device, installedIndex))
        {
            return true;
        }
    }
    return false;
}
