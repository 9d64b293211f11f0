#include "Catalog.h"

#include <gtest/gtest.h>

namespace
{
SCatalog Sample()
{
    SCatalog catalog;
    catalog.strRepository = "/srv/repository";
    SPackageDescription package;
    package.strPath = "FOLDER09/NIC/NIC_FW_22.2.0";
    package.eFormat = EPackageFormat::TarXz;
    package.nSize = 1234;
    package.nModifiedNs = 1700000000123456789LL;
    package.strStamp = std::string(64, 's');
    package.strDigest = "sha256:" + std::string(64, 'd');
    package.strPackageID = "NIC";
    package.strDisplay = "Network Adapter Firmware";
    package.strComponentType = "FRMW";
    package.strVersion = "22.2.0";
    SSupportedDevice device;
    device.strComponentID = "110204";
    device.strDisplay = "Network Adapter";
    SPCIInfo pci;
    pci.strComponentID = "110204";
    pci.strVendorID = "1A2B";
    pci.strDeviceID = "1593";
    pci.strSubVendorID = "1F0C";
    pci.strSubDeviceID = "0002";
    device.vPCI = {pci};
    package.vDevices = {device};
    package.vReleaseDirectories = {"NICINV"};
    SDeclaredDependency dependency;
    dependency.eType = CDeviceInfo::eDependencyTypeSoft;
    dependency.strDisplay = "Agent";
    dependency.strComponentID = "112233";
    dependency.strComponentType = "APAC";
    dependency.eDeviceType = CDeviceInfo::eDeviceTypePCI;
    dependency.pci = pci;
    dependency.strVersion = "11.0.0";
    dependency.strPath = "FOLDER11/AGENT/agent.tar.gz";
    dependency.strReleaseID = "NICINV";
    dependency.strContext = "OS";
    dependency.vPlatforms = {"0x0A1C"};
    SOSInfo os;
    os.strOSVendor = "Linux";
    os.strMajorVersion = "9";
    dependency.vOperatingSystems = {os};
    dependency.nLine = 17;
    package.vDependencies = {dependency};
    catalog.vPackages = {package};
    catalog.vRefused = {SRefusedPackage{"bad.tar", "the archive member \"x\" is a symbolic link"}};
    return catalog;
}
} // namespace

TEST(Catalog, ReadsBackWhatItWrote)
{
    const SCatalog written = Sample();
    SCatalog read;
    std::string strError;
    ASSERT_TRUE(CCatalog::Parse(CCatalog::ToText(written), read, strError)) << strError;
    EXPECT_EQ(CCatalog::ToText(read), CCatalog::ToText(written));
    ASSERT_EQ(read.vPackages.size(), 1u);
    EXPECT_EQ(read.vPackages[0].nModifiedNs, 1700000000123456789LL);
    EXPECT_EQ(read.vPackages[0].vDependencies[0].pci.strDeviceID, "1593");
    EXPECT_EQ(read.vPackages[0].vDependencies[0].vOperatingSystems[0].strOSVendor, "Linux");
    EXPECT_EQ(read.vRefused.size(), 1u);
    EXPECT_TRUE(read.vMalformedEntries.empty());
}

TEST(Catalog, StartsWithItsSchemaVersion)
{
    const std::string strText = CCatalog::ToText(Sample());
    EXPECT_EQ(strText.compare(0, 19, "{\n \"schemaVersion\":"), 0) << strText.substr(0, 40);
}

TEST(Catalog, LeavesOutMalformedEntriesAndNamesThem)
{
    nlohmann::ordered_json json = CCatalog::ToJson(Sample());
    nlohmann::ordered_json broken = json["packages"][0];
    broken["path"] = "broken";
    broken["version"] = 3;
    json["packages"].push_back(broken);
    nlohmann::ordered_json noPath = json["packages"][0];
    noPath.erase("path");
    json["packages"].push_back(noPath);
    json["packages"].push_back(42);
    SCatalog read;
    std::string strError;
    ASSERT_TRUE(CCatalog::Parse(json.dump(), read, strError)) << strError;
    EXPECT_EQ(read.vPackages.size(), 1u);
    ASSERT_EQ(read.vMalformedEntries.size(), 3u);
    EXPECT_EQ(read.vMalformedEntries[0].strPath, "broken");
    EXPECT_EQ(read.vMalformedEntries[0].strReason, "\"version\" is not a text");
    EXPECT_EQ(read.vMalformedEntries[1].strReason, "\"path\" is missing");
    EXPECT_EQ(read.vMalformedEntries[2].strReason, "an entry is not an object");
}

TEST(Catalog, RefusesWhatIsNoCatalogOfThisVersion)
{
    const struct
    {
        std::string strText;
        std::string strReason;
    } kCases[] = {
        {"not json", "not JSON"},
        {"[1, 2]", "not a JSON object"},
        {"{\"schemaVersion\": 2, \"kind\": \"vexinspect-catalog\", \"packages\": []}", "schema version 2, not 1"},
        {"{\"schemaVersion\": 1, \"kind\": \"other\", \"packages\": []}", "\"kind\" is not vexinspect-catalog"},
        {"{\"schemaVersion\": 1, \"kind\": \"vexinspect-catalog\"}", "\"repository\" is missing"},
        {std::string(100, '[') + std::string(100, ']'), "nested deeper than 16 levels: not a catalog"},
    };
    for (const auto& testCase : kCases)
    {
        SCatalog read;
        std::string strError;
        EXPECT_FALSE(CCatalog::Parse(testCase.strText, read, strError));
        EXPECT_EQ(strError, testCase.strReason);
    }
}
