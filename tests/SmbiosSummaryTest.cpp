// What the SMBIOS summary reads from a table, and its text and JSON forms.

#include "CheckerRun.h"
#include "DmidecodeComparison.h"
#include "SmbiosBuilder.h"
#include "SmbiosSummary.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vextest;

namespace
{
// A table in sysfs behind a 2.x entry point of the given minor version, or
// behind a 3.x entry point (its maximum table size that of the table).
Firmware Sysfs2(const std::string& strTable, unsigned int nMinor = 7)
{
    EntryPoint2Options options;
    options.nMinor = static_cast<uint8_t>(nMinor);
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    return Firmware::FromSysfs(SmbiosEntryPoint2(options), strTable);
}

Firmware Sysfs3(const std::string& strTable, EntryPoint3Options options)
{
    options.nMaxTableSize = static_cast<uint32_t>(strTable.size());
    return Firmware::FromSysfs(SmbiosEntryPoint3(options), strTable);
}

class SmbiosSummaryTest : public ::testing::Test
{
protected:
    SMBIOSSources Sources() const { return vextest::SmbiosSourcesIn(m_dir.Path()); }
    void WriteSysfs(const std::string& strTable, unsigned int nMinor = 7) const
    {
        WriteFirmware(Sysfs2(strTable, nMinor));
    }
    void WriteSysfs3(const std::string& strTable, const EntryPoint3Options& options) const
    {
        WriteFirmware(Sysfs3(strTable, options));
    }
    void WriteFirmware(const Firmware& firmware) const
    {
        if (firmware.eKind == Firmware::Kind::Memory)
        {
            WriteFile(m_dir.File("mem"), firmware.strMemory);
            return;
        }
        WriteFile(m_dir.File("smbios_entry_point"), firmware.strEntryPoint);
        WriteFile(m_dir.File("DMI"), firmware.strTable);
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
    // Each source the reader tried, and why it gave nothing, as a system tool names them.
    EXPECT_EQ(CSmbiosSummary::ToText(summary), "Source              : none: no SMBIOS table could be read\n"
                                               "Tried               : " +
                                                   m_dir.File("smbios_entry_point") +
                                                   ": No such file or directory\n"
                                                   "                      " +
                                                   m_dir.File("mem") +
                                                   ": No such file or directory\n"
                                                   "                      " +
                                                   m_dir.File("smbios") + ": No such file or directory\n");
    EXPECT_FALSE(CSmbiosSummary::DeniedToThisUser(summary));

    const nlohmann::ordered_json json = CSmbiosSummary::ToJson(summary);
    EXPECT_EQ(json["tableRead"], false);
    EXPECT_EQ(json["source"], "none");
    EXPECT_TRUE(json["dumpFile"].is_null());
    EXPECT_TRUE(json["entryPointVersion"].is_null());
    EXPECT_FALSE(json.contains("systemID"));
}

namespace
{
// Physical memory holding a table of the maker's strings and the legacy
// system-ID bytes (two-byte ID 0x07C1).
Firmware MemoryWithATable()
{
    SmbiosMemoryImage image;
    image.PlaceSmbios(0xF0010, SmbiosTable({OemStringsStructure({"Brix System"})}), 0xF1000);
    image.SetSingleByteSystemId(0xFE);
    image.SetTwoByteSystemId(0x07C1);
    return Firmware::FromMemory(image.Bytes());
}
} // namespace

TEST_F(SmbiosSummaryTest, TheMemoryScanIsNamedAsTheSource)
{
    WriteFirmware(MemoryWithATable());
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
              "System version      : A00\n"
              "System UUID         : 13121110-1514-1716-1819-1a1b1c1d1e1f\n"
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
    EXPECT_EQ(json["revisionStructureLength"], 10);
    EXPECT_EQ(json["revisionStructureTooShort"], false);
    EXPECT_TRUE(json["entryPointVersionNote"].is_null());
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

// ---------------------------------------------------------------------------
// The entry point version as dmidecode shows it
// ---------------------------------------------------------------------------

TEST_F(SmbiosSummaryTest, A64BitEntryPointShowsItsDocRevision)
{
    EntryPoint3Options options;
    options.nMinor = 1;
    options.nDocRevision = 1;
    WriteSysfs3(kTable, options);
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    ASSERT_TRUE(summary.bTableRead);
    EXPECT_TRUE(summary.bEntryPoint64Bit);
    EXPECT_EQ(summary.nEntryPointDocRevision, 1u);
    EXPECT_EQ(CSmbiosSummary::DisplayedVersion(summary), "3.1.1");
    EXPECT_EQ(CSmbiosSummary::VersionFixupNote(summary), "");
    EXPECT_EQ(CSmbiosSummary::SourceText(summary), "sysfs, entry point 3.1.1");
    const nlohmann::ordered_json json = CSmbiosSummary::ToJson(summary);
    EXPECT_EQ(json["entryPointVersion"], "3.1.1");
    EXPECT_TRUE(json["entryPointVersionNote"].is_null());
}

TEST_F(SmbiosSummaryTest, A64BitEntryPointWithDocRevision0ShowsThreeParts)
{
    EntryPoint3Options options;
    options.nMinor = 2;
    WriteSysfs3(kTable, options);
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    EXPECT_EQ(CSmbiosSummary::DisplayedVersion(summary), "3.2.0");
    const std::string strText = CSmbiosSummary::ToText(summary);
    EXPECT_EQ(strText.substr(0, strText.find('\n') + 1), "Source              : sysfs, entry point 3.2.0\n");
}

TEST_F(SmbiosSummaryTest, A32BitEntryPointShowsMajorAndMinor)
{
    WriteSysfs(kTable, 8);
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    EXPECT_FALSE(summary.bEntryPoint64Bit);
    EXPECT_EQ(CSmbiosSummary::DisplayedVersion(summary), "2.8");
    EXPECT_EQ(CSmbiosSummary::VersionFixupNote(summary), "");
    EXPECT_EQ(CSmbiosSummary::SourceText(summary), "sysfs, entry point 2.8");
}

TEST_F(SmbiosSummaryTest, KnownBadVersionBytesOfA32BitEntryPointAreFixedUpWithANote)
{
    const std::vector<std::pair<unsigned int, std::string>> vFixups = {{31, "2.3"}, {33, "2.3"}, {51, "2.6"}};
    for (const auto& fixup : vFixups)
    {
        SCOPED_TRACE(fixup.first);
        WriteSysfs(kTable, fixup.first);
        const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
        ASSERT_TRUE(summary.bTableRead);
        // The reader keeps the bytes as they are; only the display changes.
        EXPECT_EQ(summary.nEntryPointMinor, fixup.first);
        const std::string strNote = "SMBIOS version fixup (2." + std::to_string(fixup.first) + " -> " + fixup.second +
                                    ").";
        EXPECT_EQ(CSmbiosSummary::DisplayedVersion(summary), fixup.second);
        EXPECT_EQ(CSmbiosSummary::VersionFixupNote(summary), strNote);
        EXPECT_EQ(CSmbiosSummary::SourceText(summary), "sysfs, entry point " + fixup.second + "; " + strNote);
        const nlohmann::ordered_json json = CSmbiosSummary::ToJson(summary);
        EXPECT_EQ(json["entryPointVersion"], fixup.second);
        EXPECT_EQ(json["entryPointVersionNote"], strNote);
    }
}

TEST(SmbiosSummaryWords, OnlyThe32BitEntryPointVersionsDmidecodeKnowsAreFixedUp)
{
    SSmbiosSummary summary;
    summary.bTableRead = true;
    summary.nEntryPointMajor = 2;
    summary.nEntryPointMinor = 32;
    EXPECT_EQ(CSmbiosSummary::DisplayedVersion(summary), "2.32");
    EXPECT_EQ(CSmbiosSummary::VersionFixupNote(summary), "");
    summary.nEntryPointMajor = 3;
    summary.nEntryPointMinor = 31;
    EXPECT_EQ(CSmbiosSummary::DisplayedVersion(summary), "3.31");
    // A 64-bit entry point is never fixed up.
    summary.bEntryPoint64Bit = true;
    summary.nEntryPointMajor = 2;
    summary.nEntryPointMinor = 31;
    summary.nEntryPointDocRevision = 4;
    EXPECT_EQ(CSmbiosSummary::DisplayedVersion(summary), "2.31.4");
    EXPECT_EQ(CSmbiosSummary::VersionFixupNote(summary), "");
    // No entry point version at all.
    EXPECT_EQ(CSmbiosSummary::DisplayedVersion(SSmbiosSummary()), "");
}

// ---------------------------------------------------------------------------
// A revision structure too short to hold the system ID
// ---------------------------------------------------------------------------

namespace
{
const std::string kMakerStrings = OemStringsStructure({"Brix System"});
}

TEST_F(SmbiosSummaryTest, AShortRevisionStructureAtTheTableEndFallsBackToPhysicalMemory)
{
    // Formatted length 4 and an empty string set end the table 6 bytes in.
    WriteSysfs(SmbiosTable({kMakerStrings, SmbiosStructure(0xD0, "")}, false));
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    ASSERT_TRUE(summary.bTableRead);
    EXPECT_EQ(summary.vStructureCounts, (std::vector<std::pair<unsigned int, int>>{{11, 1}, {208, 1}}));
    EXPECT_TRUE(summary.bRevisionStructure);
    EXPECT_EQ(summary.nRevisionLength, 4u);
    EXPECT_TRUE(summary.bRevisionTooShort);
    // The checker's own result: no physical memory here, no ID.
    CSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(summary.strSystemID, inventory.GetSystemID());
    EXPECT_EQ(summary.eSystemIdOrigin, inventory.GetSystemIdOrigin());
    EXPECT_EQ(summary.eSystemIdOrigin, CSMBIOSInventory::eSystemIdMemoryUnavailable);

    const std::string strText = CSmbiosSummary::ToText(summary);
    EXPECT_NE(strText.find("System ID           : none (revision structure (type 208) too short to hold a system ID "
                           "(formatted length 4), and the table ends before the byte at offset 6: physical-memory "
                           "fallback, which gives none: empty ID)\n"),
              std::string::npos)
        << strText;
    EXPECT_EQ(strText.find("no revision structure"), std::string::npos) << strText;
    const nlohmann::ordered_json json = CSmbiosSummary::ToJson(summary);
    EXPECT_EQ(json["systemID"], "");
    EXPECT_EQ(json["systemIDOrigin"], "memory-unavailable");
    EXPECT_EQ(json["revisionStructureLength"], 4);
    EXPECT_EQ(json["revisionStructureTooShort"], true);
}

namespace
{
// A revision structure (type 208) of one length or another, and what the
// summary makes of it: the system ID as the checker reads it, how it was
// obtained, the structure's formatted length, whether that is too short to
// hold the ID, and the ID in words.
struct RevisionCase
{
    const char* pszName;
    std::string (*fnTable)();
    // The memory device's two-byte ID; no memory device when 0.
    uint16_t nMemoryTwoByteId;
    const char* pszSystemId;
    CSMBIOSInventory::eSystemIdOrigin eOrigin;
    unsigned int nRevisionLength;
    bool bTooShort;
    const char* pszSystemIdText;
};

void PrintTo(const RevisionCase& testCase, std::ostream* pStream) { *pStream << testCase.pszName; }

std::vector<RevisionCase> RevisionCases()
{
    using S = CSMBIOSInventory;
    // clang-format off
    return {
        {"AtTheTableEndTheIdComesFromPhysicalMemory",
         [] { return SmbiosTable({kMakerStrings, SmbiosStructure(0xD0, "")}, false); }, 0x07C1, "0x07c1",
         S::eSystemIdMemoryTwoByte, 4, true,
         "0x07c1 (revision structure (type 208) too short to hold a system ID (formatted length 4), and the table "
         "ends before the byte at offset 6: physical-memory fallback, two bytes at 0xFE840)"},
        // Behind the empty string set comes the end structure: its type, 127,
        // is the byte at offset 6.
        {"TheCheckerReadsTheByteBehindIt", [] { return SmbiosTable({kMakerStrings, SmbiosStructure(0xD0, "")}); }, 0,
         "0x7f", S::eSystemIdRevisionSingleByte, 4, true,
         "0x7f (revision structure (type 208) too short to hold a system ID (formatted length 4): the single byte "
         "at offset 6 is taken from the bytes behind it)"},
        // Formatted length 8: the marker at 6 is inside, the ID at 8 is the
        // empty string set behind it.
        {"AMarkerWithoutRoomForTheTwoByteId",
         [] { return SmbiosTable({kMakerStrings, SmbiosStructure(0xD0, std::string("\0\0\xFE\0", 4))}); }, 0,
         "0x0000", S::eSystemIdRevisionTwoByte, 8, true,
         "0x0000 (revision structure (type 208) too short to hold a system ID (formatted length 8): it has the "
         "marker 0xFE, and the two-byte ID at offset 8 is taken from the bytes behind it)"},
        // Formatted length 7 at the end of the table: the two bytes at 8 are
        // not all in it.
        {"AMarkerAtTheTableEnd",
         [] { return SmbiosTable({kMakerStrings, SmbiosStructure(0xD0, std::string("\0\0\xFE", 3))}, false); }, 0,
         "", S::eSystemIdRevisionTwoByteMissing, 7, true,
         "none (revision structure (type 208) too short to hold a system ID (formatted length 7): it has the "
         "marker 0xFE, and the table ends before the two-byte ID at offset 8: empty ID)"},
        {"ASingleByteIdNeedsNoRoomForATwoByteOne",
         [] { return SmbiosTable({kMakerStrings, SmbiosStructure(0xD0, std::string("\0\0\x0B", 3))}); }, 0,
         "0x0b", S::eSystemIdRevisionSingleByte, 7, false, "0x0b (from the revision structure (type 208), single byte)"},
        // On another maker's system the structure is not read.
        {"OnAnotherMakersSystem",
         [] { return SmbiosTable({OemStringsStructure({"Other"}), SmbiosStructure(0xD0, "")}); }, 0, "",
         S::eSystemIdNotMakerSystem, 4, true, "none (the first OEM string is not \"Brix System\")"},
    };
    // clang-format on
}

class SmbiosSummaryRevisionTest : public SmbiosSummaryTest, public ::testing::WithParamInterface<RevisionCase>
{
};
} // namespace

TEST_P(SmbiosSummaryRevisionTest, IsMeasuredAndTheIdExplained)
{
    const RevisionCase& testCase = GetParam();
    WriteSysfs(testCase.fnTable());
    if (testCase.nMemoryTwoByteId != 0)
    {
        SmbiosMemoryImage image;
        image.SetTwoByteSystemId(testCase.nMemoryTwoByteId);
        image.WriteTo(m_dir.File("mem"));
    }
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    ASSERT_TRUE(summary.bTableRead);
    EXPECT_EQ(summary.strSystemID, testCase.pszSystemId);
    EXPECT_EQ(summary.eSystemIdOrigin, testCase.eOrigin);
    EXPECT_TRUE(summary.bRevisionStructure);
    EXPECT_EQ(summary.nRevisionLength, testCase.nRevisionLength);
    EXPECT_EQ(summary.bRevisionTooShort, testCase.bTooShort);
    EXPECT_EQ(CSmbiosSummary::SystemIdText(summary), testCase.pszSystemIdText);
    const nlohmann::ordered_json json = CSmbiosSummary::ToJson(summary);
    EXPECT_EQ(json["revisionStructureLength"], testCase.nRevisionLength);
    EXPECT_EQ(json["revisionStructureTooShort"], testCase.bTooShort);
}

INSTANTIATE_TEST_SUITE_P(RevisionStructures, SmbiosSummaryRevisionTest, ::testing::ValuesIn(RevisionCases()),
                         ParamName<RevisionCase>);

TEST_F(SmbiosSummaryTest, WithoutARevisionStructureNothingIsTooShort)
{
    WriteSysfs(SmbiosTable({kMakerStrings}));
    const SSmbiosSummary summary = CSmbiosSummary::Read(Sources(), "");
    EXPECT_FALSE(summary.bRevisionStructure);
    EXPECT_EQ(CSmbiosSummary::ShortRevisionLength(summary), 0u);
    EXPECT_EQ(CSmbiosSummary::SystemIdText(summary), "none (no revision structure, and physical memory gives none)");
    const nlohmann::ordered_json json = CSmbiosSummary::ToJson(summary);
    EXPECT_TRUE(json["revisionStructureLength"].is_null());
    EXPECT_EQ(json["revisionStructureTooShort"], false);
}

TEST(SmbiosSummaryWords, EveryOriginThatReadsTheRevisionStructureSaysItIsTooShort)
{
    for (const CSMBIOSInventory::eSystemIdOrigin eOrigin :
         {CSMBIOSInventory::eSystemIdRevisionSingleByte, CSMBIOSInventory::eSystemIdRevisionTwoByte,
          CSMBIOSInventory::eSystemIdRevisionTwoByteMissing, CSMBIOSInventory::eSystemIdMemorySingleByte,
          CSMBIOSInventory::eSystemIdMemoryTwoByte, CSMBIOSInventory::eSystemIdMemoryUnavailable})
    {
        const std::string strText = CSmbiosSummary::TooShortOriginText(eOrigin, 5);
        EXPECT_EQ(strText.find("revision structure (type 208) too short to hold a system ID (formatted length 5)"), 0u)
            << strText;
        EXPECT_EQ(CSmbiosSummary::SystemIdText("0x01", eOrigin, 5), "0x01 (" + strText + ")");
    }
    EXPECT_EQ(CSmbiosSummary::TooShortOriginText(CSMBIOSInventory::eSystemIdNotMakerSystem, 5), "");
    EXPECT_EQ(CSmbiosSummary::TooShortOriginText(CSMBIOSInventory::eSystemIdNotRead, 5), "");
    EXPECT_EQ(CSmbiosSummary::SystemIdText("", CSMBIOSInventory::eSystemIdNotRead, 5), "none (not read)");
    EXPECT_EQ(CSmbiosSummary::TooShortOriginText(CSMBIOSInventory::eSystemIdRevisionTwoByte, 5),
              "revision structure (type 208) too short to hold a system ID (formatted length 5): the marker 0xFE at "
              "offset 6 is taken from the bytes behind it, and the two-byte ID at offset 8 is taken from the bytes "
              "behind it");
}

TEST(SmbiosSystemInformation, TheUUIDIsWrittenAsDmidecodeWritesItForTheTablesVersion)
{
    unsigned char aBytes[16];
    for (int i = 0; i < 16; ++i)
    {
        aBytes[i] = static_cast<unsigned char>(0x10 + i);
    }
    // Before 2.6 the bytes are taken in their order; from 2.6 on the first
    // three fields are little-endian.
    EXPECT_EQ(CSmbiosSystemInformation::UUIDText(aBytes, 2, 5), "10111213-1415-1617-1819-1a1b1c1d1e1f");
    EXPECT_EQ(CSmbiosSystemInformation::UUIDText(aBytes, 2, 6), "13121110-1514-1716-1819-1a1b1c1d1e1f");
    EXPECT_EQ(CSmbiosSystemInformation::UUIDText(aBytes, 3, 0), "13121110-1514-1716-1819-1a1b1c1d1e1f");
    EXPECT_EQ(CSmbiosSystemInformation::UUIDText(aBytes, 0, 0), "10111213-1415-1617-1819-1a1b1c1d1e1f");
    unsigned char aAllFF[16];
    unsigned char aAllZero[16] = {};
    for (unsigned char& c : aAllFF)
    {
        c = 0xFF;
    }
    EXPECT_EQ(CSmbiosSystemInformation::UUIDText(aAllFF, 3, 0), "Not Present");
    EXPECT_EQ(CSmbiosSystemInformation::UUIDText(aAllZero, 3, 0), "Not Settable");
}

// ---------------------------------------------------------------------------
// Every table above, as dmidecode reads it
// ---------------------------------------------------------------------------

namespace
{
// The tables the tests of this file write, each once.
std::vector<SmbiosTableCase> TablesOfTheSummaryTests()
{
    EntryPoint3Options version311;
    version311.nMinor = 1;
    version311.nDocRevision = 1;
    EntryPoint3Options version320;
    version320.nMinor = 2;
    std::vector<SmbiosTableCase> vCases = {
        {"TheSummaryTable", Sysfs2(kTable)},
        {"TheSummaryTableAt2_8", Sysfs2(kTable, 8)},
        {"TheSummaryTableAt2_31", Sysfs2(kTable, 31)},
        {"TheSummaryTableAt2_33", Sysfs2(kTable, 33)},
        {"TheSummaryTableAt2_51", Sysfs2(kTable, 51)},
        {"TheSummaryTableAt3_1_1", Sysfs3(kTable, version311)},
        {"TheSummaryTableAt3_2_0", Sysfs3(kTable, version320)},
        {"TheMakersStringsAlone", Sysfs2(SmbiosTable({kMakerStrings}))},
        {"ATableInPhysicalMemory", MemoryWithATable()},
    };
    for (const RevisionCase& revision : RevisionCases())
    {
        vCases.push_back({std::string("TheRevisionStructure") + revision.pszName, Sysfs2(revision.fnTable())});
    }
    return vCases;
}

class SmbiosSummaryTable : public ::testing::TestWithParam<SmbiosTableCase>
{
};
} // namespace

TEST_P(SmbiosSummaryTable, IsShownByVexinspectAsDmidecodeShowsIt)
{
    ExpectFirmwareAgreesWithDmidecode(VEXDEP_INSPECT_EXECUTABLE, GetParam().firmware);
}

INSTANTIATE_TEST_SUITE_P(SummaryTests, SmbiosSummaryTable, ::testing::ValuesIn(TablesOfTheSummaryTests()),
                         SmbiosTableCaseName);
