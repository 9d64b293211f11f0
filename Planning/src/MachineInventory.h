#ifndef VEXDEP_MACHINEINVENTORY_H
#define VEXDEP_MACHINEINVENTORY_H

#include "PackageDescription.h"
#include "ParentDeviceIndex.h"

#include <memory>
#include <string>
#include <vector>

// The devices of the machine, as the checker knows them: those of the
// inventory text ("inv.xml"), which do not change during a plan, and the
// installed instances the collectors report.
class CMachineInventory
{
public:
    explicit CMachineInventory(const std::string& strInventoryText);
    ~CMachineInventory();
    CMachineInventory(const CMachineInventory&) = delete;
    CMachineInventory& operator=(const CMachineInventory&) = delete;

    // Whether the package applies to this machine: one of its supported
    // devices is a device of the inventory text, or an installed instance
    // reported by a collector, found with the checker's own device check
    // (a device's component ID, or any of its PCI identities as numbers).
    bool HasDeviceOf(const SPackageDescription& package, const std::vector<CDeviceInfo*>& vInstalled) const;

    std::size_t DeviceCount() const { return m_vDevices.size(); }

private:
    std::vector<CDeviceInfo*> m_vDevices;
    std::unique_ptr<CParentDeviceIndex> m_pIndex;
};

#endif // VEXDEP_MACHINEINVENTORY_H
