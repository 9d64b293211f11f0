#include "RepositoryIndex.h"

#include <gtest/gtest.h>

namespace
{
SPackageDescription Package(const std::string& strPath, const std::string& strType, const std::string& strComponent,
                            const std::string& strDeviceID = "")
{
    SPackageDescription package;
    package.strPath = strPath;
    package.strComponentType = strType;
    package.strVersion = "1.0";
    SSupportedDevice device;
    device.strComponentID = strComponent;
    if (!strDeviceID.empty())
    {
        SPCIInfo pci;
        pci.strVendorID = "1A2B";
        pci.strDeviceID = strDeviceID;
        pci.strSubVendorID = "1F0C";
        pci.strSubDeviceID = "0002";
        device.vPCI = {pci};
    }
    package.vDevices = {device};
    return package;
}

CDeviceInfo ComponentDependency(const std::string& strComponent, const std::string& strType)
{
    CDeviceInfo dependency;
    dependency.setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    dependency.setComponentID(strComponent);
    dependency.setComponentType(strType);
    return dependency;
}

CDeviceInfo PCIDependency(const std::string& strDeviceID, const std::string& strType)
{
    CDeviceInfo dependency;
    dependency.setDeviceType(CDeviceInfo::eDeviceTypePCI);
    dependency.setComponentID("unrelated");
    dependency.setComponentType(strType);
    SPCIInfo pci;
    pci.strVendorID = "0x1a2b";
    pci.strDeviceID = strDeviceID;
    pci.strSubVendorID = "1f0c";
    pci.strSubDeviceID = "2";
    dependency.setPCIInfo(pci);
    return dependency;
}
} // namespace

TEST(RepositoryIndex, KeepsThePackagesInPathOrderAndFindsThemByPath)
{
    const CRepositoryIndex index({Package("b", "FRMW", "1"), Package("a", "FRMW", "2")});
    EXPECT_EQ(index.At(0).strPath, "a");
    EXPECT_EQ(index.AtPath("b"), 1u);
    EXPECT_EQ(index.AtPath("c"), CRepositoryIndex::npos);
}

TEST(RepositoryIndex, RelatesPackagesByComponentIDOrPCIIdentityWhateverTheirType)
{
    const CRepositoryIndex index({Package("firmware", "FRMW", "104500"), Package("driver", "DRVR", "104500"),
                                  Package("nic", "FRMW", "110204", "1593"), Package("other", "FRMW", "7")});
    EXPECT_EQ(index.Related(ComponentDependency("104500", "FRMW")), (std::vector<std::size_t>{0, 1}));
    EXPECT_EQ(index.Related(PCIDependency("0x1593", "FRMW")), (std::vector<std::size_t>{2}));
    EXPECT_TRUE(index.Related(ComponentDependency("99", "FRMW")).empty());
}

TEST(RepositoryIndex, ProvidesByTheCheckersInventoryMatch)
{
    const SPackageDescription firmware = Package("firmware", "FRMW", "104500");
    EXPECT_TRUE(CRepositoryIndex::Provides(firmware, ComponentDependency("104500", "frmw")));
    EXPECT_FALSE(CRepositoryIndex::Provides(firmware, ComponentDependency("104500", "DRVR")));
    EXPECT_FALSE(CRepositoryIndex::Provides(firmware, ComponentDependency("1045000", "FRMW")));
    const SPackageDescription nic = Package("nic", "FRMW", "110204", "1593");
    // PCI identities compare as numbers: 0x1a2b is 1A2B, 2 is 0002.
    EXPECT_TRUE(CRepositoryIndex::Provides(nic, PCIDependency("1593", "FRMW")));
    EXPECT_FALSE(CRepositoryIndex::Provides(nic, PCIDependency("1594", "FRMW")));
    EXPECT_TRUE(CRepositoryIndex::Provides(nic, ComponentDependency("110204", "FRMW")));
}
