#include "MachineInventory.h"

#include "RepositoryBuilder.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
SPackageDescription Package(const std::string& strComponent, const std::vector<std::string>& vPCI)
{
    SPackageDescription package;
    SSupportedDevice device;
    device.strComponentID = strComponent;
    for (const std::string& strPCI : vPCI)
    {
        SPCIInfo pci;
        pci.strVendorID = strPCI.substr(0, 4);
        pci.strDeviceID = strPCI.substr(5, 4);
        pci.strSubVendorID = strPCI.substr(10, 4);
        pci.strSubDeviceID = strPCI.substr(15, 4);
        device.vPCI.push_back(pci);
    }
    package.vDevices = {device};
    return package;
}
} // namespace

TEST(MachineInventory, APackageAppliesWhereTheInventoryTextListsOneOfItsDevices)
{
    const CMachineInventory machine(MachineInventory(MachineComponent("101882") + MachinePCI("1b4a:10e2:1f0c:1ae0")));
    EXPECT_EQ(machine.DeviceCount(), 2u);
    EXPECT_TRUE(machine.HasDeviceOf(Package("101882", {}), {}));
    EXPECT_TRUE(machine.HasDeviceOf(Package("25227", {"1B4A:10E2:1F0C:1AE0"}), {}));
    EXPECT_FALSE(machine.HasDeviceOf(Package("25227", {"1B4A:10E2:1F0C:1AE1"}), {}));
    EXPECT_FALSE(machine.HasDeviceOf(Package("104500", {}), {}));
}

TEST(MachineInventory, APackageAppliesWhereACollectorReportsOneOfItsDevicesInstalled)
{
    const CMachineInventory machine(MachineInventory(""));
    CDeviceInfo installed;
    installed.setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    installed.setComponentID("104500");
    installed.setComponentType("FRMW");
    installed.setVersion("3.10");
    EXPECT_TRUE(machine.HasDeviceOf(Package("104500", {}), {&installed}));
    EXPECT_FALSE(machine.HasDeviceOf(Package("104501", {}), {&installed}));
}
