#include "PackageDescription.h"

#include <gtest/gtest.h>

TEST(PackageDescription, ProvidesEachDeviceByComponentAndByEveryPCIIdentity)
{
    SPackageDescription package;
    package.strComponentType = "FRMW";
    package.strVersion = "2.0";
    SSupportedDevice nic;
    nic.strComponentID = "110204";
    SPCIInfo pci;
    pci.strVendorID = "1A2B";
    pci.strDeviceID = "1593";
    pci.strSubVendorID = "1F0C";
    pci.strSubDeviceID = "0002";
    nic.vPCI = {pci};
    SSupportedDevice backplane;
    backplane.strComponentID = "104500";
    package.vDevices = {nic, backplane};

    const std::vector<CDeviceInfo> vIdentities = package.ProvidedIdentities();
    ASSERT_EQ(vIdentities.size(), 3u);
    EXPECT_EQ(vIdentities[0].getDeviceType(), CDeviceInfo::eDeviceTypeNonPCI);
    EXPECT_EQ(vIdentities[0].getComponentID(), "110204");
    EXPECT_EQ(vIdentities[1].getDeviceType(), CDeviceInfo::eDeviceTypePCI);
    EXPECT_EQ(vIdentities[1].getPCIInfo().strDeviceID, "1593");
    EXPECT_EQ(vIdentities[2].getComponentID(), "104500");
    for (const CDeviceInfo& identity : vIdentities)
    {
        EXPECT_EQ(identity.getComponentType(), "FRMW");
        EXPECT_EQ(identity.getVersion(), "2.0");
    }
}

TEST(PackageDescription, ADeclaredDependencyIsTheCheckersRecordAgain)
{
    CDeviceInfo record;
    record.setDependencyType(CDeviceInfo::eDependencyTypeSoft);
    record.setComponentID("108899");
    record.setComponentType("DRVR");
    record.setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    record.setVersion("7.4.2");
    record.setFilePath("FOLDER07\\DRIVER\\driver.tar.gz");
    record.setReleaseID("REL002");
    record.setDisplay("Driver");
    record.setDependencyContext("OS");
    const SDeclaredDependency declared = SDeclaredDependency::From(record);
    EXPECT_EQ(declared.strPath, "FOLDER07/DRIVER/driver.tar.gz");
    EXPECT_EQ(declared.eType, CDeviceInfo::eDependencyTypeSoft);
    CDeviceInfo again = declared.AsRecord();
    EXPECT_EQ(again.getDependencyType(), record.getDependencyType());
    EXPECT_EQ(again.getComponentID(), "108899");
    EXPECT_EQ(again.getComponentType(), "DRVR");
    EXPECT_EQ(again.getDeviceType(), CDeviceInfo::eDeviceTypeNonPCI);
    EXPECT_EQ(again.getVersion(), "7.4.2");
    EXPECT_EQ(again.getReleaseID(), "REL002");
    // The same download address: the path's backslashes are slashes there.
    EXPECT_EQ(again.getFilePath(), record.getFilePath());
}

TEST(PackageDescription, NamesItsFormats)
{
    for (EPackageFormat eFormat :
         {EPackageFormat::Directory, EPackageFormat::Tar, EPackageFormat::TarGzip, EPackageFormat::TarXz})
    {
        EPackageFormat eRead = EPackageFormat::Directory;
        ASSERT_TRUE(SPackageDescription::FormatFromName(SPackageDescription::FormatName(eFormat), eRead));
        EXPECT_EQ(eRead, eFormat);
    }
    EPackageFormat eRead = EPackageFormat::Directory;
    EXPECT_FALSE(SPackageDescription::FormatFromName("zip", eRead));
}
