// What the SMBIOS summary reads from a table, and its text and JSON forms.

#include "SmbiosBuilder.h"
#include "SmbiosSummary.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vextest;

namespace
{
class SmbiosSummaryTest : public ::testing::Test
{
protected:
    SMBIOSSources Sources() const { return vextest::SmbiosSourcesIn(m_dir.Path()); }
    void WriteSysfs(const std::string& strTable) const
    {
        EntryPoint2Options options;
        options.nMinor = 7;
        options.nTableLength = static_cast<uint16_t>(strTable.size());
        WriteFile(m_dir.File("smbios_entry_point"), SmbiosEntryPoint2(options));
        WriteFile(m_dir.File("DMI"), strTable);
    }

    TempDir m_dir;
};

const std::string kTable = SmbiosTable({
    BiosInformationStructure("Acme Firmware Works", "2.7.1"),
    SystemInformationStructure("Example Systems", "Model 7", "A00", "SN-42"),
    OemStringsStructure({"Brix System", "5[0000]", "26[1]"}),
    RevisionStructure(0xFE, 0x07C1),
    SystemSlotStructure(0x3B, 0x08, 1, {"SLOT1"}),
    SystemSlotStructure(0x5E, 0x10, 2, {"SLOT2"}),
    SmbiosStructure(0xC8, std::string(2, '\0')),
});
} // namespace

TEST_F(SmbiosSummaryTest, ReadsEverythingTheReaderOffers)
{
    WriteSysfs(kTable);
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    ASSERT_TRUE(summary.bTableRead);
    EXPECT_EQ(summary.eSource, CSMBIOSInventory::eTableSourceSysfs);
    EXPECT_EQ(summary.nEntryPointMajor, 2u);
    EXPECT_EQ(summary.nEntryPointMinor, 7u);
    EXPECT_EQ(summary.strBiosVendor, "Acme Firmware Works");
    EXPECT_EQ(summary.strBiosVersion, "2.7.1");
    EXPECT_EQ(summary.strManufacturer, "Example Systems");
    EXPECT_EQ(summary.strProductName, "Model 7");
    EXPECT_EQ(summary.strSerialNumber, "SN-42");
    EXPECT_EQ(summary.vOEMStrings, (std::vector<std::string>{"Brix System", "5[0000]", "26[1]"}));
    EXPECT_EQ(summary.vStructureCounts,
              (std::vector<std::pair<unsigned int, int>>{{0, 1}, {1, 1}, {9, 2}, {11, 1}, {200, 1}, {208, 1}}));
    EXPECT_EQ(summary.strSystemID, "0x07C1");
    EXPECT_EQ(summary.eSystemIdOrigin, CSMBIOSInventory::eSystemIdRevisionTwoByte);
}

TEST_F(SmbiosSummaryTest, WithoutAnyTableOnlyTheSourceIsKnown)
{
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    EXPECT_FALSE(summary.bTableRead);
    EXPECT_EQ(summary.eSource, CSMBIOSInventory::eTableSourceNone);
    EXPECT_TRUE(summary.strSystemID.empty());
    EXPECT_EQ(summary.eSystemIdOrigin, CSMBIOSInventory::eSystemIdNotRead);
    EXPECT_EQ(CSmbiosSummary::ToText(summary), "Source              : none: no SMBIOS table could be read\n");

    const nlohmann::ordered_json json = CSmbiosSummary::ToJson(summary);
    EXPECT_EQ(json["tableRead"], false);
    EXPECT_EQ(json["source"], "none");
    EXPECT_TRUE(json["dumpFile"].is_null());
    EXPECT_TRUE(json["entryPointVersion"].is_null());
    EXPECT_FALSE(json.contains("systemID"));
}

TEST_F(SmbiosSummaryTest, TheMemoryScanIsNamedAsTheSource)
{
    SmbiosMemoryImage image;
    image.PlaceSmbios(0xF0010, SmbiosTable({OemStringsStructure({"Brix System"})}), 0xF1000);
    image.SetSingleByteSystemId(0xFE);
    image.SetTwoByteSystemId(0x07C1);
    image.WriteTo(m_dir.File("mem"));
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    ASSERT_TRUE(summary.bTableRead);
    EXPECT_EQ(CSmbiosSummary::SourceKey(summary), "memory-scan");
    EXPECT_EQ(summary.strSystemID, "0x07c1");
    EXPECT_EQ(CSmbiosSummary::OriginKey(summary.eSystemIdOrigin), "memory-two-byte");
    EXPECT_EQ(CSmbiosSummary::SourceText(summary), "memory scan, entry point 2.8");
}

TEST_F(SmbiosSummaryTest, TextForm)
{
    WriteSysfs(kTable);
    EXPECT_EQ(CSmbiosSummary::ToText(CSmbiosSummary::Read(Sources(), "")),
              "Source              : sysfs, entry point 2.7\n"
              "BIOS vendor         : Acme Firmware Works\n"
              "BIOS version        : 2.7.1\n"
              "Manufacturer        : Example Systems\n"
              "Product name        : Model 7\n"
              "Serial number       : SN-42\n"
              "OEM strings         : 3\n"
              "  1: Brix System\n"
              "  2: 5[0000]\n"
              "  3: 26[1]\n"
              "Structures          : 7\n"
              "  type 0 (BIOS information): 1\n"
              "  type 1 (system information): 1\n"
              "  type 9 (system slots): 2\n"
              "  type 11 (OEM strings): 1\n"
              "  type 200: 1\n"
              "  type 208 (maker's revision structure): 1\n"
              "System ID           : 0x07C1 (from the revision structure (type 208), two-byte ID behind the marker "
              "0xFE)\n");
}

TEST_F(SmbiosSummaryTest, JsonForm)
{
    WriteSysfs(kTable);
    const nlohmann::ordered_json json = CSmbiosSummary::ToJson(CSmbiosSummary::Read(Sources(), "captured.bin"));
    EXPECT_EQ(json["tableRead"], true);
    // Read through the sysfs paths, named after the dump it came from.
    EXPECT_EQ(json["source"], "dump-file");
    EXPECT_EQ(json["dumpFile"], "captured.bin");
    EXPECT_EQ(json["entryPointVersion"], "2.7");
    EXPECT_EQ(json["biosVendor"], "Acme Firmware Works");
    EXPECT_EQ(json["biosVersion"], "2.7.1");
    EXPECT_EQ(json["manufacturer"], "Example Systems");
    EXPECT_EQ(json["productName"], "Model 7");
    EXPECT_EQ(json["serialNumber"], "SN-42");
    EXPECT_EQ(json["oemStrings"], nlohmann::ordered_json({"Brix System", "5[0000]", "26[1]"}));
    ASSERT_EQ(json["structureCounts"].size(), 6u);
    EXPECT_EQ(json["structureCounts"][2]["type"], 9);
    EXPECT_EQ(json["structureCounts"][2]["count"], 2);
    EXPECT_EQ(json["systemID"], "0x07C1");
    EXPECT_EQ(json["systemIDOrigin"], "revision-two-byte");
}

TEST(SmbiosSummaryWords, EveryOriginHasItsKeyAndWords)
{
    const std::vector<std::pair<CSMBIOSInventory::eSystemIdOrigin, std::string>> vKeys = {
        {CSMBIOSInventory::eSystemIdNotRead, "not-read"},
        {CSMBIOSInventory::eSystemIdNotMakerSystem, "not-maker-system"},
        {CSMBIOSInventory::eSystemIdRevisionSingleByte, "revision-single-byte"},
        {CSMBIOSInventory::eSystemIdRevisionTwoByte, "revision-two-byte"},
        {CSMBIOSInventory::eSystemIdRevisionTwoByteMissing, "revision-two-byte-missing"},
        {CSMBIOSInventory::eSystemIdMemorySingleByte, "memory-single-byte"},
        {CSMBIOSInventory::eSystemIdMemoryTwoByte, "memory-two-byte"},
        {CSMBIOSInventory::eSystemIdMemoryUnavailable, "memory-unavailable"},
    };
    std::vector<std::string> vTexts;
    for (const auto& key : vKeys)
    {
        EXPECT_EQ(CSmbiosSummary::OriginKey(key.first), key.second);
        const std::string strText = CSmbiosSummary::OriginText(key.first);
        EXPECT_FALSE(strText.empty());
        EXPECT_EQ(std::count(vTexts.begin(), vTexts.end(), strText), 0) << strText;
        vTexts.push_back(strText);
    }
    EXPECT_EQ(CSmbiosSummary::OriginText(CSMBIOSInventory::eSystemIdNotMakerSystem),
              "the first OEM string is not \"Brix System\"");
    EXPECT_EQ(CSmbiosSummary::SystemIdText("", CSMBIOSInventory::eSystemIdNotMakerSystem),
              "none (the first OEM string is not \"Brix System\")");
}

TEST(SmbiosSummaryWords, SourcesAndVersions)
{
    EXPECT_EQ(CSmbiosSummary::SourceKey(CSMBIOSInventory::eTableSourceSysfs, false), "sysfs");
    EXPECT_EQ(CSmbiosSummary::SourceKey(CSMBIOSInventory::eTableSourceSysfs, true), "dump-file");
    EXPECT_EQ(CSmbiosSummary::SourceKey(CSMBIOSInventory::eTableSourceMemoryScan, false), "memory-scan");
    EXPECT_EQ(CSmbiosSummary::SourceKey(CSMBIOSInventory::eTableSourceESXiDevice, false), "esxi-device");
    EXPECT_EQ(CSmbiosSummary::SourceKey(CSMBIOSInventory::eTableSourceNone, false), "none");
    EXPECT_EQ(CSmbiosSummary::EntryPointVersion(3, 2), "3.2");
    EXPECT_EQ(CSmbiosSummary::EntryPointVersion(0, 0), "");
    EXPECT_EQ(CSmbiosSummary::StructureTypeName(11), "OEM strings");
    EXPECT_EQ(CSmbiosSummary::StructureTypeName(150), "");
}
