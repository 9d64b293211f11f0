#include "SMBIOSInventory.h"
#include "Logger.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <regex>

#include <unistd.h>

using namespace vextest;

namespace
{
// Exposes the reader's state to the tests.
class InspectableSMBIOSInventory : public CSMBIOSInventory
{
public:
    using CSMBIOSInventory::CSMBIOSInventory;

    const unsigned char* RawTable() const { return m_rawTable; }
    uint32_t RawTableLength() const { return m_rawTableLength; }
    std::string TableBytes() const
    {
        return m_rawTable != nullptr ? std::string(reinterpret_cast<const char*>(m_rawTable), m_rawTableLength)
                                     : std::string();
    }
    bool IsESXi() const { return m_isESXi != 0; }
    const void* MapBase() const { return m_mapBase; }
    uint32_t MapLength() const { return m_mapLength; }
    uint8_t TokenFlag() const { return m_tokenFlag; }
    void SetTokenFlag(uint8_t nFlag) { m_tokenFlag = nFlag; }
};

std::size_t Count(const std::vector<std::string>& vLines, const std::string& strLine)
{
    return static_cast<std::size_t>(std::count(vLines.begin(), vLines.end(), strLine));
}

std::size_t Count(const std::string& strText, const std::string& strPiece)
{
    std::size_t nCount = 0;
    for (std::size_t nAt = strText.find(strPiece); nAt != std::string::npos;
         nAt = strText.find(strPiece, nAt + strPiece.size()))
    {
        ++nCount;
    }
    return nCount;
}

bool Contains(const std::vector<std::string>& vLines, const std::string& strLine) { return Count(vLines, strLine) > 0; }

// Index of the first line equal to strLine at or after nFrom; -1 if none.
long IndexOf(const std::vector<std::string>& vLines, const std::string& strLine, std::size_t nFrom = 0)
{
    for (std::size_t i = nFrom; i < vLines.size(); ++i)
    {
        if (vLines[i] == strLine)
        {
            return static_cast<long>(i);
        }
    }
    return -1;
}

// Both lines are logged, strFirst before strSecond.
void ExpectLoggedBefore(const std::vector<std::string>& vMessages, const std::string& strFirst,
                        const std::string& strSecond)
{
    const long nFirst = IndexOf(vMessages, strFirst);
    const long nSecond = IndexOf(vMessages, strSecond);
    ASSERT_GE(nFirst, 0) << strFirst;
    ASSERT_GE(nSecond, 0) << strSecond;
    EXPECT_LT(nFirst, nSecond);
}

// A table as a machine of the maker presents it.
std::string StandardTable(uint8_t nSystemId = 0x0B, uint16_t nTwoByteId = 0,
                          const std::string& strFirstOEMString = "Brix System")
{
    return SmbiosTable({
        BiosInformationStructure("Acme Firmware Works", "2.7.1", "03/04/2024", 0x0000),
        SystemInformationStructure("Example Systems", "Model 7", "A00", "SN-42", 0x0100),
        OemStringsStructure({strFirstOEMString, "5[0000]", "26[1]"}, 0x0B00),
        RevisionStructure(nSystemId, nTwoByteId, 0xD000),
        SystemSlotStructure(0x3B, 0x08, 0x0001, {"SLOT1"}, 1, 0x0900),
        SystemSlotStructure(0x5E, 0x10, 0x0002, {"SLOT2"}, 1, 0x0901),
        TokenStructure({{0x0011, 0x00, 0xFF, 0x00}, {0x005C, 0x00, 0xF0, 0x05}}, true, 0xD400),
    });
}

std::string BytesOf(const unsigned char* pBytes, std::size_t nLength)
{
    return std::string(reinterpret_cast<const char*>(pBytes), nLength);
}

class SMBIOSInventoryTest : public ::testing::Test
{
protected:
    SMBIOSSources Sources() const { return vextest::SmbiosSourcesIn(m_dir.Path()); }

    void WriteSysfs(const std::string& strEntryPoint, const std::string& strTable) const
    {
        WriteFile(m_dir.File("smbios_entry_point"), strEntryPoint);
        WriteFile(m_dir.File("DMI"), strTable);
    }

    // The sysfs files with a 3.x entry point, so that any table bytes are
    // taken as they are.
    void WriteSysfsTable(const std::string& strTable) const { WriteSysfs(SmbiosEntryPoint3(), strTable); }

    void WriteMemory(const SmbiosMemoryImage& image) const { image.WriteTo(m_dir.File("mem")); }
    void WriteESXi(const std::string& strContent) const { WriteFile(m_dir.File("smbios"), strContent); }

    std::string LogPath() const { return m_dir.File("baseutils.log"); }
    void StartLog() const { StartLogging(LogPath()); }
    std::vector<std::string> Messages() const { return ReadLogMessages(LogPath()); }

    TempDir m_dir;
};
} // namespace

// ===========================================================================
// Sources and construction
// ===========================================================================

TEST(SMBIOSSourcesDefaults, NameTheMachinesFirmwareFiles)
{
    const SMBIOSSources sources;
    EXPECT_EQ(sources.strEntryPointPath, "/sys/firmware/dmi/tables/smbios_entry_point");
    EXPECT_EQ(sources.strTablePath, "/sys/firmware/dmi/tables/DMI");
    EXPECT_EQ(sources.strMemoryDevicePath, "/dev/mem");
    EXPECT_EQ(sources.strESXiDevicePath, "/dev/char/mem/smbios");
}

TEST(SMBIOSInventoryConstruction, StartsEmptyAndFindsNothing)
{
    // The default constructor reads nothing; only Initialize would.
    CSMBIOSInventory inventory;
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceNone);
    EXPECT_EQ(inventory.GetEntryPointMajorVersion(), 0u);
    EXPECT_EQ(inventory.GetEntryPointMinorVersion(), 0u);
    EXPECT_EQ(inventory.GetManufacturerName(), "");
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(1), 0);
    EXPECT_EQ(inventory.findToken(0x5C), 0);
}

TEST(SMBIOSInventoryConstruction, SwitchesLoggingOnWhenTheMarkerFileExists)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    WriteFile(dir.File("vexdebuglog"), "");
    ASSERT_FALSE(CLogger::GetInstance()->IsInitialized());
    CSMBIOSInventory inventory;
    EXPECT_TRUE(CLogger::GetInstance()->IsInitialized());
    EXPECT_EQ(inventory.GetOEMName(), "");
    const std::vector<std::string> vLines = ReadLogLines(dir.File("baseutils.log"));
    ASSERT_FALSE(vLines.empty());
    EXPECT_NE(vLines[0].find("SMBIOSInventory:"), std::string::npos) << vLines[0];
    EXPECT_TRUE(Contains(ReadLogMessages(dir.File("baseutils.log")), "Unable to fetch OEM Name"));
}

TEST(SMBIOSInventoryConstruction, LeavesLoggingOffWithoutTheMarkerFile)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    CSMBIOSInventory inventory;
    EXPECT_FALSE(CLogger::GetInstance()->IsInitialized());
    EXPECT_FALSE(FileExists(dir.File("baseutils.log")));
}

// ===========================================================================
// Whole-file reads and entry point checks
// ===========================================================================

TEST_F(SMBIOSInventoryTest, ReadFileContentsHandsBackTheWholeFile)
{
    const std::string strContent("ab\0cd\xff", 6);
    WriteFile(m_dir.File("f"), strContent);
    CSMBIOSInventory inventory(Sources());
    unsigned char* pBuffer = nullptr;
    unsigned long nSize = 99;
    ASSERT_EQ(inventory.ReadFileContents(m_dir.File("f").c_str(), &pBuffer, &nSize), 1);
    std::unique_ptr<unsigned char[]> pOwned(pBuffer);
    EXPECT_EQ(nSize, 6u);
    EXPECT_EQ(BytesOf(pBuffer, nSize), strContent);
}

TEST_F(SMBIOSInventoryTest, ReadFileContentsOfAMissingFileClearsTheOutputs)
{
    CSMBIOSInventory inventory(Sources());
    unsigned char aDummy[1] = {};
    unsigned char* pBuffer = aDummy;
    unsigned long nSize = 99;
    EXPECT_EQ(inventory.ReadFileContents(m_dir.File("missing").c_str(), &pBuffer, &nSize), 0);
    EXPECT_EQ(pBuffer, nullptr);
    EXPECT_EQ(nSize, 0u);
}

TEST_F(SMBIOSInventoryTest, ReadFileContentsOfAnEmptyFileSucceedsWithSizeZero)
{
    WriteFile(m_dir.File("empty"), "");
    CSMBIOSInventory inventory(Sources());
    unsigned char* pBuffer = nullptr;
    unsigned long nSize = 99;
    ASSERT_EQ(inventory.ReadFileContents(m_dir.File("empty").c_str(), &pBuffer, &nSize), 1);
    std::unique_ptr<unsigned char[]> pOwned(pBuffer);
    EXPECT_EQ(nSize, 0u);
}

namespace
{
// VerifySMBIOS on one entry point buffer: the verdict, and the lines it
// logs (each exactly once) or must not log.
struct VerifyCase
{
    const char* pszName;
    std::string (*fnBuffer)();
    int nResult;
    std::vector<std::string> vLoggedOnce;
    std::vector<std::string> vNotLogged;
};

void PrintTo(const VerifyCase& testCase, std::ostream* pStream) { *pStream << testCase.pszName; }

const char* const kSumFailed = "Entry point buffer checksum validation failed.";
const char* const kNoIntermediateAnchor = "Failed to find intermediate anchor string as _DMI_";

// 31 correct bytes of a 2.x entry point, then 169 bytes that sum to 0 with
// byte 0x1F left at 0 (it belongs to the intermediate sum); spoiled, a
// non-zero byte at 0x1F breaks the intermediate sum while the whole file
// still sums to 0.
std::string EntryPointFileOf200Bytes(bool bSpoiled)
{
    std::string strFile = SmbiosEntryPoint2() + std::string(169, '\0');
    strFile[40] = '\x10';
    strFile[199] = '\xF0';
    if (bSpoiled)
    {
        strFile[0x1F] = '\x01';
        strFile[199] = '\xEF';
    }
    return strFile;
}

std::string Correct2x() { return SmbiosEntryPoint2(); }
std::string Correct3x() { return SmbiosEntryPoint3(); }

// A 2.x entry point with one of its sums or its intermediate anchor broken.
template <bool EntryPoint2Options::*pBreak>
std::string Broken2x()
{
    EntryPoint2Options options;
    options.*pBreak = true;
    return SmbiosEntryPoint2(options);
}
const auto BadSum2x = Broken2x<&EntryPoint2Options::bBreakChecksum>;
const auto BadIntermediateAnchor2x = Broken2x<&EntryPoint2Options::bBreakIntermediateAnchor>;
const auto BadIntermediateSum2x = Broken2x<&EntryPoint2Options::bBreakIntermediateChecksum>;

std::string BadSum3x()
{
    EntryPoint3Options options;
    options.bBreakChecksum = true;
    return SmbiosEntryPoint3(options);
}

std::string NoBytes() { return std::string(); }
std::string ThreeZeroBytes() { return std::string(3, '\0'); }
std::string First16BytesOf2x() { return SmbiosEntryPoint2().substr(0, 16); }

template <bool bSpoiled>
std::string FileOf200Bytes()
{
    return EntryPointFileOf200Bytes(bSpoiled);
}

std::vector<VerifyCase> VerifyCases()
{
    const std::string kSum = kSumFailed;
    const std::string kAnchor = kNoIntermediateAnchor;
    // clang-format off
    return {
        {"Correct2x",                            Correct2x,               1, {},        {kSum, kAnchor}},
        {"Correct3x",                            Correct3x,               1, {},        {kSum}},
        {"BadWholeBufferSum2x",                  BadSum2x,                0, {kSum},    {}},
        {"BadWholeBufferSum3x",                  BadSum3x,                0, {kSum},    {}},
        {"WrongIntermediateAnchorWithRightSums", BadIntermediateAnchor2x, 0, {kAnchor}, {kSum}},
        {"BadIntermediateSumAlone",              BadIntermediateSum2x,    0, {kSum},    {kAnchor}},
        // No bytes to sum and no "_SM_": accepted on the sum alone.
        {"EmptyBuffer",                          NoBytes,                 1, {},        {kSum}},
        {"ThreeZeroBytes",                       ThreeZeroBytes,          1, {},        {kSum}},
        // The first 16 bytes of a 2.x entry point sum to 0 by themselves, but
        // the copy holds no "_DMI_" behind them.
        {"First16BytesOf2x",                     First16BytesOf2x,        0, {kAnchor}, {}},
        // Of a longer file only the first 36 bytes are copied and checked.
        {"FileOf200BytesChecksOnlyTheFirst36",   FileOf200Bytes<false>,   1, {},        {}},
        {"FileOf200BytesWithAByteAt0x1F",        FileOf200Bytes<true>,    0, {kSum},    {}},
    };
    // clang-format on
}

class SMBIOSVerifyTest : public SMBIOSInventoryTest, public ::testing::WithParamInterface<VerifyCase>
{
};
} // namespace

TEST_P(SMBIOSVerifyTest, VerifySMBIOS)
{
    StartLog();
    CSMBIOSInventory inventory(Sources());
    const std::string strBuffer = GetParam().fnBuffer();
    EXPECT_EQ(inventory.VerifySMBIOS(reinterpret_cast<const unsigned char*>(strBuffer.data()), strBuffer.size()),
              GetParam().nResult);
    const std::vector<std::string> vMessages = Messages();
    for (const std::string& strLine : GetParam().vLoggedOnce)
    {
        EXPECT_EQ(Count(vMessages, strLine), 1u) << strLine;
    }
    for (const std::string& strLine : GetParam().vNotLogged)
    {
        EXPECT_FALSE(Contains(vMessages, strLine)) << strLine;
    }
}

INSTANTIATE_TEST_SUITE_P(EntryPoints, SMBIOSVerifyTest, ::testing::ValuesIn(VerifyCases()), ParamName<VerifyCase>);

TEST(SMBIOSEntryPointBuilder, WritesEntryPointsOfTheirDeclaredLength)
{
    EXPECT_EQ(SmbiosEntryPoint2().size(), 31u);
    EXPECT_EQ(SmbiosEntryPoint3().size(), 24u);
    EXPECT_EQ(EntryPointFileOf200Bytes(false).size(), 200u);
}

TEST_F(SMBIOSInventoryTest, ValidateDMITEPReportsTheAnchorBeforeTheSum)
{
    StartLog();
    CSMBIOSInventory inventory(Sources());
    dmi_table_entry_point entry{};
    std::memcpy(entry.anchor, "_DMX_", 5);
    entry.checksum = 1; // the 16 bytes no longer sum to 0
    EXPECT_EQ(inventory.ValidateDMITEP(&entry), 0);
    ExpectLoggedBefore(Messages(), kNoIntermediateAnchor, kSumFailed);
}

TEST_F(SMBIOSInventoryTest, ValidateDMITEPSumsSixteenBytes)
{
    CSMBIOSInventory inventory(Sources());
    const std::string strEntry = SmbiosEntryPoint2();
    dmi_table_entry_point entry{};
    std::memcpy(&entry, strEntry.data() + 0x10, 15);
    EXPECT_EQ(inventory.ValidateDMITEP(&entry), 1);
    // The 16th byte (entry point offset 0x1F) is part of the sum.
    reinterpret_cast<unsigned char*>(&entry)[15] = 1;
    EXPECT_EQ(inventory.ValidateDMITEP(&entry), 0);
}

// ===========================================================================
// The sysfs source
// ===========================================================================

TEST_F(SMBIOSInventoryTest, SysfsWith2xEntryPointHoldsTheWholeTableFile)
{
    StartLog();
    const std::string strTable = StandardTable() + std::string(40, '\xAA'); // bytes after the end structure
    EntryPoint2Options options;
    options.nTableLength = 7;           // not consulted on this path
    options.nTableAddress = 0x12345678; // not consulted on this path
    options.nMajor = 2;
    options.nMinor = 7;
    WriteSysfs(SmbiosEntryPoint2(options), strTable);
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.TableBytes(), strTable);
    EXPECT_EQ(inventory.MapBase(), nullptr);
    EXPECT_FALSE(inventory.IsESXi());
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceSysfs);
    EXPECT_EQ(inventory.GetEntryPointMajorVersion(), 2u);
    EXPECT_EQ(inventory.GetEntryPointMinorVersion(), 7u);
    EXPECT_FALSE(inventory.IsEntryPoint64Bit());
    EXPECT_EQ(inventory.GetEntryPointDocRevision(), 0u);
    EXPECT_EQ(inventory.GetManufacturerName(), "Example Systems");

    const std::vector<std::string> vMessages = Messages();
    const std::vector<std::string> vExpected = {"Entered FetchRawBIOSTable",
                                                "Entered FetchRawBIOSTableLinux",
                                                "Entered FetchRawBIOSTableLinuxFromDMI",
                                                "Exiting FetchRawBIOSTableLinuxFromDMI",
                                                "Exiting FetchRawBIOSTableLinux",
                                                "Exiting FetchRawBIOSTable"};
    std::size_t nFrom = 0;
    for (const std::string& strExpected : vExpected)
    {
        const long nAt = IndexOf(vMessages, strExpected, nFrom);
        ASSERT_GE(nAt, 0) << strExpected;
        nFrom = static_cast<std::size_t>(nAt) + 1;
    }
    EXPECT_FALSE(Contains(vMessages, "Found Linux System"));
}

TEST_F(SMBIOSInventoryTest, SysfsWith3xEntryPointIsAcceptedAndTheWholeFileIsTheTable)
{
    const std::string strTable = StandardTable();
    EntryPoint3Options options;
    options.nMaxTableSize = 10; // smaller than the file: the file is taken whole anyway
    options.nMajor = 3;
    options.nMinor = 4;
    options.nDocRevision = 1;
    WriteSysfs(SmbiosEntryPoint3(options), strTable);
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.FetchRawBIOSTable(), 1);
    EXPECT_EQ(inventory.TableBytes(), strTable);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceSysfs);
    EXPECT_EQ(inventory.GetEntryPointMajorVersion(), 3u);
    EXPECT_EQ(inventory.GetEntryPointMinorVersion(), 4u);
    EXPECT_TRUE(inventory.IsEntryPoint64Bit());
    EXPECT_EQ(inventory.GetEntryPointDocRevision(), 1u);
    EXPECT_EQ(inventory.GetSystemID(), "0x0b");
}

TEST_F(SMBIOSInventoryTest, SysfsEntryPointWithWrongIntermediateAnchorIsRejected)
{
    StartLog();
    EntryPoint2Options options;
    options.bBreakIntermediateAnchor = true;
    WriteSysfs(SmbiosEntryPoint2(options), StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.FetchRawBIOSTableLinuxFromDMI(), 0);
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_TRUE(Contains(Messages(), "Failed to find intermediate anchor string as _DMI_"));
    // Neither physical memory nor the ESXi device exists here.
    EXPECT_EQ(inventory.Initialize(), 0);
    EXPECT_EQ(inventory.RawTable(), nullptr);
}

TEST_F(SMBIOSInventoryTest, SysfsBadChecksumFallsThroughToTheMemoryScan)
{
    StartLog();
    EntryPoint2Options options;
    options.bBreakChecksum = true;
    WriteSysfs(SmbiosEntryPoint2(options), StandardTable(0x11));
    SmbiosMemoryImage image;
    const std::string strMemoryTable = StandardTable(0x22);
    image.PlaceSmbios(0xF0000, strMemoryTable, 0x9B000);
    WriteMemory(image);

    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceMemoryScan);
    EXPECT_EQ(inventory.TableBytes(), strMemoryTable);
    EXPECT_EQ(inventory.GetSystemID(), "0x22");
    ExpectLoggedBefore(Messages(), kSumFailed, "Found Linux System");
}

TEST_F(SMBIOSInventoryTest, MissingSysfsTableFileFallsThroughToTheMemoryScan)
{
    WriteFile(m_dir.File("smbios_entry_point"), SmbiosEntryPoint3());
    SmbiosMemoryImage image;
    image.PlaceSmbios(0xF0000, StandardTable(), 0x9B000);
    WriteMemory(image);
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.FetchRawBIOSTableLinuxFromDMI(), 0);
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceMemoryScan);
}

TEST_F(SMBIOSInventoryTest, EmptySysfsTableFileIsHeldWithLengthZero)
{
    WriteSysfsTable("");
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_NE(inventory.RawTable(), nullptr);
    EXPECT_EQ(inventory.RawTableLength(), 0u);
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(1), 0);
    EXPECT_EQ(inventory.GetSystemID(), "");
    EXPECT_EQ(inventory.FreeRawBIOSTable(), 1);
    EXPECT_EQ(inventory.RawTable(), nullptr);
}

// The firmware's export changing between the reader's two reads: the entry
// point is read, then the table file shrinks or goes before it is read.
class SMBIOSChangingSourcesTest : public SMBIOSInventoryTest
{
protected:
    // Sources that run fnChange once, right after the entry point was read.
    SMBIOSSources ChangingAfterTheEntryPoint(std::function<void()> fnChange) const
    {
        SMBIOSSources sources = Sources();
        const std::string strEntryPoint = sources.strEntryPointPath;
        auto pDone = std::make_shared<bool>(false);
        sources.fnAfterRead = [strEntryPoint, fnChange, pDone](const std::string& strPath) {
            if (strPath == strEntryPoint && !*pDone)
            {
                *pDone = true;
                fnChange();
            }
        };
        return sources;
    }

    // What a reader finds in a sysfs table that held strTable all along.
    std::string SystemIdOfATableThatWasAlways(const std::string& strTable) const
    {
        TempDir other;
        WriteFile(other.File("smbios_entry_point"), SmbiosEntryPoint3());
        WriteFile(other.File("DMI"), strTable);
        CSMBIOSInventory inventory(vextest::SmbiosSourcesIn(other.Path()));
        EXPECT_EQ(inventory.Initialize(), 1);
        return inventory.GetSystemID();
    }
};

TEST_F(SMBIOSChangingSourcesTest, ATableFileEmptiedAfterTheEntryPointWasReadIsHeldEmpty)
{
    WriteSysfsTable(StandardTable());
    const std::string strTablePath = m_dir.File("DMI");
    InspectableSMBIOSInventory inventory(
        ChangingAfterTheEntryPoint([strTablePath] { ASSERT_EQ(::truncate(strTablePath.c_str(), 0), 0); }));
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceSysfs);
    EXPECT_EQ(inventory.RawTableLength(), 0u);
    EXPECT_EQ(inventory.GetSystemID(), "");
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(1), 0);
}

TEST_F(SMBIOSChangingSourcesTest, ATableFileCutShortAfterTheEntryPointWasReadIsReadAsTheShorterTable)
{
    const std::string strTable = StandardTable();
    WriteSysfsTable(strTable);
    const std::string strTablePath = m_dir.File("DMI");
    // Every length from nothing to one byte short of the whole table: each
    // cut ends a structure or falls inside one.
    for (std::size_t nKeep = 0; nKeep < strTable.size(); ++nKeep)
    {
        SCOPED_TRACE(nKeep);
        WriteFile(strTablePath, strTable);
        InspectableSMBIOSInventory inventory(ChangingAfterTheEntryPoint(
            [strTablePath, nKeep] { ASSERT_EQ(::truncate(strTablePath.c_str(), static_cast<off_t>(nKeep)), 0); }));
        ASSERT_EQ(inventory.Initialize(), 1);
        EXPECT_EQ(inventory.TableBytes(), strTable.substr(0, nKeep));
        EXPECT_EQ(inventory.GetSystemID(), SystemIdOfATableThatWasAlways(strTable.substr(0, nKeep)));
        EXPECT_LE(inventory.GetDeviceCountMatchingStructNumber(9), 2);
    }
    // Cut nowhere, the table gives the system ID of its revision structure.
    EXPECT_NE(SystemIdOfATableThatWasAlways(strTable), "");
}

TEST_F(SMBIOSChangingSourcesTest, ATableFileRemovedAfterTheEntryPointWasReadLeavesTheMemoryScan)
{
    WriteSysfsTable(StandardTable());
    const std::string strTablePath = m_dir.File("DMI");
    const std::string strEntryPointPath = m_dir.File("smbios_entry_point");
    InspectableSMBIOSInventory inventory(ChangingAfterTheEntryPoint([strTablePath, strEntryPointPath] {
        ASSERT_EQ(::unlink(strTablePath.c_str()), 0);
        ASSERT_EQ(::unlink(strEntryPointPath.c_str()), 0);
    }));
    // No physical memory image either: no table at all.
    EXPECT_EQ(inventory.Initialize(), 0);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceNone);
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_EQ(inventory.GetSystemID(), "");
}

TEST_F(SMBIOSInventoryTest, ASecondAcquisitionReplacesTheHeldTable)
{
    WriteSysfsTable(StandardTable(0x01));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemID(), "0x01");
    WriteSysfsTable(StandardTable(0x02));
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemID(), "0x02");

    // A failed later attempt leaves the held table as it was.
    WriteFile(m_dir.File("smbios_entry_point"), std::string("\x01", 1));
    EXPECT_EQ(inventory.Initialize(), 0);
    EXPECT_EQ(inventory.GetSystemID(), "0x02");
}

// ===========================================================================
// The physical-memory scan
// ===========================================================================

TEST_F(SMBIOSInventoryTest, MemoryScanFindsTheEntryPointAndMapsTheTable)
{
    StartLog();
    const std::string strTable = StandardTable();
    SmbiosMemoryImage image;
    EntryPoint2Options options;
    options.nMinor = 6;
    image.PlaceSmbios(0xF0010, strTable, 0x9A123, options);
    WriteMemory(image);

    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceMemoryScan);
    EXPECT_EQ(inventory.GetEntryPointMajorVersion(), 2u);
    EXPECT_EQ(inventory.GetEntryPointMinorVersion(), 6u);
    EXPECT_EQ(inventory.TableBytes(), strTable);
    const std::size_t nPageOffset = 0x9A123 % static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    ASSERT_NE(inventory.MapBase(), nullptr);
    EXPECT_EQ(inventory.RawTable(), static_cast<const unsigned char*>(inventory.MapBase()) + nPageOffset);
    EXPECT_EQ(inventory.MapLength(), strTable.size() + nPageOffset);
    EXPECT_EQ(inventory.RawTableLength(), strTable.size());
    EXPECT_FALSE(inventory.IsESXi());
    EXPECT_EQ(inventory.GetProductName(), "Model 7");

    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "Found Linux System"));
    EXPECT_TRUE(Contains(vMessages, "Anchor String matched"));

    EXPECT_EQ(inventory.FreeRawBIOSTable(), 1);
    EXPECT_EQ(inventory.MapBase(), nullptr);
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_EQ(inventory.RawTableLength(), 0u);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceNone);
    EXPECT_TRUE(Contains(Messages(), "Cleaning up memory of Virtual Map Address by munmap."));
}

namespace
{
// One memory device for the scan: its bytes, made from the table the case
// places (StandardTable with the case's single-byte system ID).
struct ScanCase
{
    const char* pszName;
    std::string (*fnDevice)(const std::string& strTable);
    uint8_t nSystemId;
    // Accepted: the system ID read from the found table. Refused: empty.
    std::string strSystemId;
    // Lines the log holds.
    std::vector<std::string> vLogged;
};

void PrintTo(const ScanCase& testCase, std::ostream* pStream) { *pStream << testCase.pszName; }

// The memory devices of the cases. The table lies at 0x9B000 unless the
// entry point says otherwise.
std::string PlacedAt(uint32_t nAnchor, const std::string& strTable, EntryPoint2Options options = EntryPoint2Options())
{
    SmbiosMemoryImage image;
    image.PlaceSmbios(nAnchor, strTable, 0x9B000, options);
    return image.Bytes();
}

template <uint32_t nAnchor>
std::string EntryPointAt(const std::string& strTable)
{
    return PlacedAt(nAnchor, strTable);
}

std::string EntryPointOfLengthZeroWithABadSum(const std::string& strTable)
{
    EntryPoint2Options options;
    options.nLengthByte = 0;
    options.bBreakChecksum = true;
    return PlacedAt(0xF0000, strTable, options);
}

std::string EntryPointWithABrokenIntermediateAnchor(const std::string& strTable)
{
    EntryPoint2Options options;
    options.bBreakIntermediateAnchor = true;
    return PlacedAt(0xF0000, strTable, options);
}

std::string EntryPointWithABadSum(const std::string& strTable)
{
    EntryPoint2Options options;
    options.bBreakChecksum = true;
    return PlacedAt(0xF0000, strTable, options);
}

// A correct entry point at 0xF0100 behind one with a bad sum at 0xF0040.
std::string TwoEntryPointsTheFirstWithABadSum(const std::string& strTable)
{
    SmbiosMemoryImage image;
    image.PlaceSmbios(0xF0100, strTable, 0x9B000);
    EntryPoint2Options broken;
    broken.bBreakChecksum = true;
    image.PlaceSmbios(0xF0040, strTable, 0x9C000, broken);
    return image.Bytes();
}

// "_SM_" alone at nAddress.
template <uint32_t nAddress>
std::string AnchorAt(const std::string&)
{
    SmbiosMemoryImage image;
    image.Put(nAddress, "_SM_");
    return image.Bytes();
}

std::string MemoryShorterThanTheBiosArea(const std::string&) { return std::string(0xF8000, '\0'); }

// An entry point at 0xF0000 whose table lies at nAddress with nLength bytes.
template <uint32_t nAddress, uint16_t nLength>
std::string TableAt(const std::string&)
{
    SmbiosMemoryImage image;
    EntryPoint2Options options;
    options.nTableLength = nLength;
    options.nTableAddress = nAddress;
    image.Put(0xF0000, SmbiosEntryPoint2(options));
    return image.Bytes();
}

std::vector<ScanCase> AcceptedScanCases()
{
    return {
        {"AnAnchorThatIsEightButNotSixteenByteAligned", EntryPointAt<0xF1238>, 0x5A, "0x5a", {}},
        {"EntryPointLengthZeroWithoutChecksum", EntryPointOfLengthZeroWithABadSum, 0x33, "0x33", {}},
        // Only the sysfs path looks at "_DMI_".
        {"ABrokenIntermediatePartWhichIsNotChecked", EntryPointWithABrokenIntermediateAnchor, 0x44, "0x44", {}},
        // 0xF0000 + 65535 - 31 = 0xFFFE0: the last place where 31 bytes fit.
        {"AnEntryPointThatEndsExactlyAtTheEndOfTheArea", EntryPointAt<0xFFFE0>, 0x66, "0x66", {}},
    };
}

std::vector<ScanCase> RefusedScanCases()
{
    const char* const kNoEntryPoint = "No Entry Point Structure Found";
    const char* const kChecksum = "Checksum Failure";
    const char* const kTableNotMapped = "Unable to map requested Address range for SMBIOS Tables";
    const char* const kAreaNotMapped = "Unable to map requested Address range for EPS";
    return {
        {"AnAnchorThatIsNotEightByteAligned", EntryPointAt<0xF1234>, 0x0B, "", {kNoEntryPoint}},
        // "_SM_" only where the scan must not look: below 0xF0000.
        {"NoAnchorInsideTheArea", AnchorAt<0xEFFF8>, 0x0B, "", {kNoEntryPoint}},
        // The first anchor is used even when its checksum fails.
        {"AFirstAnchorWhoseChecksumFails", TwoEntryPointsTheFirstWithABadSum, 0x0B, "", {kChecksum}},
        // The checksum covers the L bytes from the anchor: with L = 0x1F the
        // broken outer sum is seen.
        {"ABadSumOverTheLengthBytes", EntryPointWithABadSum, 0x0B, "", {kChecksum}},
        // The last candidate: its fields would lie beyond the area.
        {"AnEntryPointRunningPastTheEndOfTheArea", AnchorAt<0xFFFF8>, 0x0B, "", {"Anchor String matched", kChecksum}},
        {"AMemoryDeviceShorterThanTheBiosArea", MemoryShorterThanTheBiosArea, 0x0B, "", {kAreaNotMapped}},
        {"ATableAddressOutsideTheMemoryDevice", TableAt<0x7FFFF000, 0x200>, 0x0B, "", {kTableNotMapped}},
        {"ATableRunningPastTheEndOfTheMemoryDevice", TableAt<0xFF000, 0x2000>, 0x0B, "", {kTableNotMapped}},
    };
}

class SMBIOSMemoryScanTest : public SMBIOSInventoryTest, public ::testing::WithParamInterface<ScanCase>
{
protected:
    // Writes the case's memory device; the table it placed.
    std::string WriteCase() const
    {
        const std::string strTable = StandardTable(GetParam().nSystemId);
        WriteFile(m_dir.File("mem"), GetParam().fnDevice(strTable));
        return strTable;
    }

    void ExpectLogged() const
    {
        const std::vector<std::string> vMessages = Messages();
        for (const std::string& strLine : GetParam().vLogged)
        {
            EXPECT_TRUE(Contains(vMessages, strLine)) << strLine;
        }
    }
};
} // namespace

TEST_P(SMBIOSMemoryScanTest, HoldsTheTableItFinds)
{
    StartLog();
    const std::string strTable = WriteCase();
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceMemoryScan);
    EXPECT_EQ(inventory.TableBytes(), strTable);
    EXPECT_EQ(inventory.GetSystemID(), GetParam().strSystemId);
    ExpectLogged();
}

INSTANTIATE_TEST_SUITE_P(Accepts, SMBIOSMemoryScanTest, ::testing::ValuesIn(AcceptedScanCases()), ParamName<ScanCase>);

class SMBIOSMemoryScanRefusalTest : public SMBIOSMemoryScanTest
{
};

TEST_P(SMBIOSMemoryScanRefusalTest, HoldsNoTableAndSaysWhy)
{
    StartLog();
    WriteCase();
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 0);
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceNone);
    ExpectLogged();
}

INSTANTIATE_TEST_SUITE_P(Refuses, SMBIOSMemoryScanRefusalTest, ::testing::ValuesIn(RefusedScanCases()),
                         ParamName<ScanCase>);

TEST_F(SMBIOSInventoryTest, MemoryTableOfLengthZero)
{
    StartLog();
    // At a page boundary nothing at all is mapped: the mapping fails.
    SmbiosMemoryImage image;
    EntryPoint2Options options;
    options.nTableLength = 0;
    options.nTableAddress = 0x9B000;
    image.Put(0xF0000, SmbiosEntryPoint2(options));
    WriteMemory(image);
    {
        InspectableSMBIOSInventory inventory(Sources());
        EXPECT_EQ(inventory.Initialize(), 0);
        EXPECT_TRUE(Contains(Messages(), "Unable to map requested Address range for SMBIOS Tables"));
    }
    // Inside a page the mapping holds the page offset only: an empty table.
    options.nTableAddress = 0x9B010;
    image.Put(0xF0000, SmbiosEntryPoint2(options));
    WriteMemory(image);
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.RawTableLength(), 0u);
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(0), 0);
    EXPECT_EQ(inventory.GetOEMName(), "");
}

// ===========================================================================
// The ESXi device
// ===========================================================================

TEST_F(SMBIOSInventoryTest, ESXiDeviceIsReadWhenTheMemoryDeviceDoesNotExist)
{
    StartLog();
    const std::string strTable = StandardTable(0xFE, 0x07C1);
    EntryPoint2Options options;
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    options.nMinor = 3;
    WriteESXi(SmbiosESXiDeviceImage(SmbiosEntryPoint2(options), strTable));
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_TRUE(inventory.IsESXi());
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceESXiDevice);
    EXPECT_EQ(inventory.GetEntryPointMajorVersion(), 2u);
    EXPECT_EQ(inventory.GetEntryPointMinorVersion(), 3u);
    EXPECT_EQ(inventory.TableBytes(), strTable);
    EXPECT_EQ(inventory.MapBase(), nullptr);
    EXPECT_EQ(inventory.GetSystemID(), "0x07C1");
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "Found ESXi System"));
    EXPECT_TRUE(Contains(vMessages, "Anchor String matched"));
    EXPECT_FALSE(Contains(vMessages, "Found Linux System"));

    EXPECT_EQ(inventory.FreeRawBIOSTable(), 1);
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_TRUE(inventory.IsESXi()); // never cleared
}

TEST_F(SMBIOSInventoryTest, ESXiEntryPointLengthZeroSkipsTheChecksumAndReadsFromOffsetZero)
{
    const std::string strTable = StandardTable();
    EntryPoint2Options options;
    options.nLengthByte = 0;
    options.bBreakChecksum = true;
    options.nTableLength = 64;
    const std::string strDevice = SmbiosESXiDeviceImage(SmbiosEntryPoint2(options), strTable);
    WriteESXi(strDevice);
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    // The device is read from offset L = 0: the entry point itself comes first.
    EXPECT_EQ(inventory.TableBytes(), strDevice.substr(0, 64));
}

TEST_F(SMBIOSInventoryTest, ESXiShortTableKeepsTheNumberOfBytesRead)
{
    const std::string strTable = StandardTable();
    EntryPoint2Options options;
    options.nTableLength = static_cast<uint16_t>(strTable.size() + 500);
    WriteESXi(SmbiosESXiDeviceImage(SmbiosEntryPoint2(options), strTable));
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.RawTableLength(), strTable.size());
    EXPECT_EQ(inventory.TableBytes(), strTable);
}

TEST_F(SMBIOSInventoryTest, ESXiFailures)
{
    StartLog();
    struct Case
    {
        std::string strName;
        std::string strDevice;
        std::string strMessage;
    };
    EntryPoint2Options good;
    good.nTableLength = 32;
    EntryPoint2Options badSum = good;
    badSum.bBreakChecksum = true;
    EntryPoint2Options emptyTable = good;
    emptyTable.nTableLength = 0;
    EntryPoint2Options longLength = good;
    longLength.nLengthByte = 0x40; // more than the 31 bytes that are read
    const std::string strTable = StandardTable();
    std::string strNotAnchor = SmbiosEntryPoint2(good) + strTable;
    strNotAnchor[3] = 'X';
    const std::vector<Case> vCases = {
        {"empty device", "", "Unable to read from table"},
        {"wrong anchor", strNotAnchor, "Anchor String didn't match"},
        {"bad checksum", SmbiosEntryPoint2(badSum) + strTable, "Checksum Failure"},
        {"length byte past the read bytes", SmbiosEntryPoint2(longLength) + strTable, "Checksum Failure"},
        {"table length zero", SmbiosEntryPoint2(emptyTable) + strTable, "Unable to read from table"},
        {"nothing behind the entry point", SmbiosEntryPoint2(good), "Unable to read from table"},
        // The first 16 bytes sum to 0 by themselves and the missing bytes
        // read as zeros: the sum holds, the table length is 0.
        {"entry point cut short", SmbiosEntryPoint2(good).substr(0, 10), "Unable to read from table"},
    };
    for (const Case& testCase : vCases)
    {
        SCOPED_TRACE(testCase.strName);
        WriteESXi(testCase.strDevice);
        const std::size_t nBefore = Count(Messages(), testCase.strMessage);
        InspectableSMBIOSInventory inventory(Sources());
        EXPECT_EQ(inventory.Initialize(), 0);
        EXPECT_EQ(inventory.RawTable(), nullptr);
        EXPECT_TRUE(inventory.IsESXi());
        EXPECT_EQ(Count(Messages(), testCase.strMessage), nBefore + 1);
    }
}

TEST_F(SMBIOSInventoryTest, AfterTheESXiDeviceTheMemoryDeviceIsReadTheSameWay)
{
    StartLog();
    const std::string strFirst = StandardTable(0x01);
    EntryPoint2Options options;
    options.nTableLength = static_cast<uint16_t>(strFirst.size());
    WriteESXi(SmbiosESXiDeviceImage(SmbiosEntryPoint2(options), strFirst));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    ASSERT_TRUE(inventory.IsESXi());

    // The memory device now opens, but this object reads it as the ESXi
    // device: entry point at offset 0, table right behind it.
    const std::string strSecond = StandardTable(0x02);
    options.nTableLength = static_cast<uint16_t>(strSecond.size());
    WriteFile(m_dir.File("mem"), SmbiosESXiDeviceImage(SmbiosEntryPoint2(options), strSecond));
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.TableBytes(), strSecond);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceESXiDevice);
    EXPECT_EQ(Count(Messages(), "Found ESXi System"), 2u);
    EXPECT_FALSE(Contains(Messages(), "Found Linux System"));
}

TEST_F(SMBIOSInventoryTest, AFailedESXiAttemptKeepsAMappedTableReleasable)
{
    SmbiosMemoryImage image;
    image.PlaceSmbios(0xF0000, StandardTable(0x01), 0x9B000);
    WriteMemory(image);
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    ASSERT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceMemoryScan);

    // The memory device is gone; the ESXi device opens but holds nothing.
    ASSERT_EQ(::unlink(m_dir.File("mem").c_str()), 0);
    WriteESXi("");
    EXPECT_EQ(inventory.Initialize(), 0);
    EXPECT_TRUE(inventory.IsESXi());
    // The mapped table is still held and is unmapped, not deleted.
    EXPECT_EQ(inventory.GetSystemID(), "0x01");
    EXPECT_EQ(inventory.FreeRawBIOSTable(), 1);
    EXPECT_EQ(inventory.MapBase(), nullptr);
}

TEST_F(SMBIOSInventoryTest, NoSourceAtAllHoldsNoTable)
{
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.Initialize(), 0);
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_EQ(inventory.RawTableLength(), 0u);
    EXPECT_FALSE(inventory.IsESXi());
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceNone);
}

// ===========================================================================
// Release
// ===========================================================================

TEST_F(SMBIOSInventoryTest, FreeRawBIOSTableTwice)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.FreeRawBIOSTable(), 1);
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_EQ(inventory.RawTableLength(), 0u);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceNone);

    const std::size_t nLinesBefore = Messages().size();
    EXPECT_EQ(inventory.FreeRawBIOSTable(), 0);
    const std::vector<std::string> vMessages = Messages();
    ASSERT_EQ(vMessages.size(), nLinesBefore + 2);
    EXPECT_EQ(vMessages[nLinesBefore], "Entered FreeRawBIOSTable");
    EXPECT_EQ(vMessages[nLinesBefore + 1], "Exiting FreeRawBIOSTable");
    EXPECT_EQ(inventory.RawTable(), nullptr);
    EXPECT_EQ(inventory.GetManufacturerName(), "");
}

TEST_F(SMBIOSInventoryTest, TheDestructorReleasesLikeFreeRawBIOSTable)
{
    StartLog();
    SmbiosMemoryImage image;
    image.PlaceSmbios(0xF0000, StandardTable(), 0x9B000);
    WriteMemory(image);
    std::size_t nLinesBefore = 0;
    {
        InspectableSMBIOSInventory inventory(Sources());
        ASSERT_EQ(inventory.Initialize(), 1);
        nLinesBefore = Messages().size();
    }
    const std::vector<std::string> vMessages = Messages();
    ASSERT_EQ(vMessages.size(), nLinesBefore + 3);
    EXPECT_EQ(vMessages[nLinesBefore], "Entered FreeRawBIOSTable");
    EXPECT_EQ(vMessages[nLinesBefore + 1], "Cleaning up memory of Virtual Map Address by munmap.");
    EXPECT_EQ(vMessages[nLinesBefore + 2], "Exiting FreeRawBIOSTable");
}

// ===========================================================================
// Structure walk and strings
// ===========================================================================

TEST_F(SMBIOSInventoryTest, InstancesCountFromZero)
{
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    int nLength = 0;
    unsigned char* pStruct = nullptr;
    ASSERT_EQ(inventory.getSMBIOSStruct(&nLength, &pStruct, 1, 0), 1);
    EXPECT_EQ(nLength, 0x1B);
    // Type 1 follows the BIOS information structure (0x18 bytes and three strings).
    const std::size_t nExpectedOffset = BiosInformationStructure("Acme Firmware Works", "2.7.1", "03/04/2024").size();
    EXPECT_EQ(pStruct, inventory.RawTable() + nExpectedOffset);
    EXPECT_EQ(pStruct[0], 1);
    EXPECT_EQ(inventory.getSMBIOSStruct(&nLength, &pStruct, 1, 1), 0);

    ASSERT_EQ(inventory.getSMBIOSStruct(&nLength, &pStruct, 9, 1), 1);
    EXPECT_EQ(pStruct[kSlotBusOffset], 0x5E);
    EXPECT_EQ(inventory.getSMBIOSStruct(&nLength, &pStruct, 9, 2), 0);
}

TEST_F(SMBIOSInventoryTest, GetSMBIOSStructLogsItsSearch)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    int nLength = 0;
    unsigned char* pStruct = nullptr;
    const std::size_t nFrom = Messages().size();
    ASSERT_EQ(inventory.getSMBIOSStruct(&nLength, &pStruct, 9, 1), 1);
    std::vector<std::string> vMessages = Messages();
    vMessages.erase(vMessages.begin(), vMessages.begin() + static_cast<long>(nFrom));
    const std::vector<std::string> vExpected = {
        "getSMBIOSStruct:Entered getSMBIOSStruct", "Searching for SMBIOS structure: 9",
        "getSMBIOSStruct:Requested structure found", "getSMBIOSStruct:Requested structure found",
        "getSMBIOSStruct:Requested Instance number of the structure found"};
    EXPECT_EQ(vMessages, vExpected);

    EXPECT_EQ(inventory.getSMBIOSStruct(&nLength, &pStruct, 9, 5), 0);
    EXPECT_EQ(Messages().back(), "getSMBIOSStruct:Exiting getSMBIOSStruct");
}

TEST_F(SMBIOSInventoryTest, AStructureWithAnEmptyStringSetIsSkipped)
{
    const std::string strTable = SmbiosTable({
        RevisionStructure(0x01),               // no strings: two NULs
        SmbiosStructure(0x80, "\x01\x02", {}), // again none
        SystemInformationStructure("Maker", "Product", "1", "Serial"),
    });
    WriteSysfsTable(strTable);
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetManufacturerName(), "Maker");
    EXPECT_EQ(inventory.GetSerialNumber(), "Serial");
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(0x80), 1);
}

TEST_F(SMBIOSInventoryTest, TheEndStructureEndsTheWalkEvenWithBytesBehindIt)
{
    const std::string strTable = SmbiosTable({BiosInformationStructure("Vendor", "1.0")}) + // closed by type 127
                                 SystemInformationStructure("Hidden Maker", "Hidden", "1", "2") +
                                 OemStringsStructure({"Brix System"});
    WriteSysfsTable(strTable);
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetVendorName(), "Vendor");
    EXPECT_EQ(inventory.GetManufacturerName(), "");
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(1), 0);
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(127), 0);
    EXPECT_EQ(inventory.GetOEMName(), "");
}

TEST_F(SMBIOSInventoryTest, StringNumberZeroSelectsTheFirstString)
{
    // Serial number string number 0, which would usually mean "no string".
    std::string strSystem = SystemInformationStructure("First", "Second", "Third", "Fourth");
    strSystem[7] = '\0';
    WriteSysfsTable(SmbiosTable({strSystem}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    unsigned char* pData = nullptr;
    ASSERT_EQ(inventory.getDataFromTable(1, 7, 0, &pData, 0), 1);
    std::unique_ptr<unsigned char[]> pOwned(pData);
    EXPECT_STREQ(reinterpret_cast<const char*>(pData), "First");
    EXPECT_EQ(inventory.GetSerialNumber(), "First");
}

TEST_F(SMBIOSInventoryTest, StringNumbersSkipStringsAndMayRunIntoTheClosingNul)
{
    // A string number one past the set lands on the set's closing NUL.
    std::string strSystem = SystemInformationStructure("A", "B", "C", "D");
    strSystem[7] = 5;
    WriteSysfsTable(SmbiosTable({strSystem}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetProductName(), "B");
    unsigned char* pData = nullptr;
    ASSERT_EQ(inventory.getDataFromTable(1, 7, 0, &pData, 0), 1);
    std::unique_ptr<unsigned char[]> pOwned(pData);
    EXPECT_EQ(pData[0], 0);
}

namespace
{
// One of the string getters: its name, the string StandardTable gives it,
// and what it logs when its structure holds no such string.
struct StringGetter
{
    const char* pszName;
    std::string (CSMBIOSInventory::*fnGet)();
    const char* pszValue;
    const char* pszFailure;
};

void PrintTo(const StringGetter& getter, std::ostream* pStream) { *pStream << getter.pszName; }

std::vector<StringGetter> StringGetters()
{
    using S = CSMBIOSInventory;
    // clang-format off
    return {
        {"GetVendorName",       &S::GetVendorName,       "Acme Firmware Works", "Unable to fetch Vendor Name"},
        {"GetBiosVersion",      &S::GetBiosVersion,      "2.7.1",               "Unable to fetch BIOS Version"},
        {"GetManufacturerName", &S::GetManufacturerName, "Example Systems",     "Unable to fetch Manufacturer Name"},
        {"GetProductName",      &S::GetProductName,      "Model 7",             "Unable to fetch Product Name"},
        {"GetSerialNumber",     &S::GetSerialNumber,     "SN-42",               "Unable to fetch Serial Number"},
        {"GetOEMName",          &S::GetOEMName,          "Brix System",         "Unable to fetch OEM Name"},
    };
    // clang-format on
}

class SMBIOSStringGetterTest : public SMBIOSInventoryTest, public ::testing::WithParamInterface<StringGetter>
{
};
} // namespace

TEST_P(SMBIOSStringGetterTest, ReadsItsStructure)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ((inventory.*GetParam().fnGet)(), GetParam().pszValue);
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, std::string("Entered ") + GetParam().pszName));
    EXPECT_TRUE(Contains(vMessages, std::string("Exiting ") + GetParam().pszName));
    EXPECT_TRUE(Contains(vMessages, std::string("Requested Data Found: ") + GetParam().pszValue));
}

TEST_P(SMBIOSStringGetterTest, ReportsWhatItCannotFetch)
{
    StartLog();
    WriteSysfsTable(SmbiosTable({RevisionStructure(1)}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ((inventory.*GetParam().fnGet)(), "");
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, GetParam().pszFailure));
    EXPECT_TRUE(Contains(vMessages, "Exiting getDataFromTable"));
}

INSTANTIATE_TEST_SUITE_P(Strings, SMBIOSStringGetterTest, ::testing::ValuesIn(StringGetters()),
                         ParamName<StringGetter>);

TEST_F(SMBIOSInventoryTest, TheOEMStringGetterFindsTheOEMStructure)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetOEMName(), "Brix System");
    EXPECT_TRUE(Contains(Messages(), "OEM Structure Found"));
}

TEST_F(SMBIOSInventoryTest, GetOEMNameReturnsTheFirstStringOfTheFirstOEMStructure)
{
    WriteSysfsTable(SmbiosTable({OemStringsStructure({"one", "two"}), OemStringsStructure({"three"})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetOEMName(), "one");
}

TEST_F(SMBIOSInventoryTest, TheOEMStringNumberIsTheOffsetArgument)
{
    WriteSysfsTable(SmbiosTable({OemStringsStructure({"one", "two", "three"}), OemStringsStructure({"four"})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    for (const auto& expected : std::vector<std::pair<int, std::string>>{{0, "one"}, {1, "one"}, {3, "three"}})
    {
        unsigned char* pData = nullptr;
        ASSERT_EQ(inventory.getDataFromTable(11, expected.first, 0, &pData, 0), 1);
        std::unique_ptr<unsigned char[]> pOwned(pData);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(pData)), expected.second);
    }
    unsigned char* pData = nullptr;
    ASSERT_EQ(inventory.getDataFromTable(11, 1, 0, &pData, 1), 1);
    std::unique_ptr<unsigned char[]> pOwned(pData);
    EXPECT_STREQ(reinterpret_cast<const char*>(pData), "four");
}

TEST_F(SMBIOSInventoryTest, RevisionStructureDataIsRawBytes)
{
    StartLog();
    WriteSysfsTable(SmbiosTable({RevisionStructure(0x41, 0x4342)}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    unsigned char* pData = nullptr;
    ASSERT_EQ(inventory.getDataFromTable(208, 6, 4, &pData, 0), 1);
    std::unique_ptr<unsigned char[]> pOwned(pData);
    EXPECT_EQ(BytesOf(pData, 5), std::string("A\0BC\0", 5)); // four bytes and the added NUL
    unsigned char* pSame = nullptr;
    ASSERT_EQ(inventory.getBrixRevisionData(6, 4, &pSame), 1);
    std::unique_ptr<unsigned char[]> pSameOwned(pSame);
    EXPECT_EQ(BytesOf(pSame, 5), BytesOf(pData, 5));
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "Brix Revision Structure Found"));
    // The copy is logged as text: up to its first NUL.
    EXPECT_EQ(Count(vMessages, "Requested Information foundA"), 2u);
}

TEST_F(SMBIOSInventoryTest, StringsOf255And300Characters)
{
    const std::string str255(255, 'x');
    const std::string str300(300, 'y');
    WriteSysfsTable(SmbiosTable({SystemInformationStructure(str255, str300, "v", "s")}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetManufacturerName(), str255);
    // Long strings are copied whole (with their NUL), never cut to a wrapped
    // 8-bit count.
    EXPECT_EQ(inventory.GetProductName(), str300);
    EXPECT_EQ(inventory.GetSerialNumber(), "s");
}

TEST_F(SMBIOSInventoryTest, CountsStructuresOfOneType)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(9), 2);
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(212), 1);
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(4), 0);
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "Started GetDeviceCountMatchingStructNumber() with structNumber : 9"));
    EXPECT_EQ(Count(vMessages, "GetDeviceCountMatchingStructNumber(): Requested structure found"), 3u);
    EXPECT_EQ(Count(vMessages, "GetDeviceCountMatchingStructNumber(): Exiting getSMBIOSStruct"), 3u);
}

TEST_F(SMBIOSInventoryTest, SlotLookupByBusDeviceFunction)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    const bdf_index bdf = {0x5E, 0x10, kSlotBusOffset, kSlotDevFnOffset};
    Data_Location location = {9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0};
    ASSERT_EQ(inventory.GetDataWithMatchingBDF(&bdf, &location), 1);
    std::unique_ptr<unsigned char[]> pOwned(location.string);
    EXPECT_EQ(location.value, 0x0002);
    EXPECT_STREQ(reinterpret_cast<const char*>(location.string), "SLOT2");
    const std::vector<std::string> vMessages = Messages();
    // The message carries its own line feed: an empty line follows it.
    EXPECT_EQ(Count(vMessages, "Systems Slots structure Found"), 2u);
    EXPECT_EQ(Count(ReadFile(LogPath()), "Systems Slots structure Found\n\n"), 2u);
    EXPECT_TRUE(Contains(vMessages, "bus device function matched."));

    const bdf_index other = {0x5E, 0x11, kSlotBusOffset, kSlotDevFnOffset};
    Data_Location none = {9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0};
    EXPECT_EQ(inventory.GetDataWithMatchingBDF(&other, &none), 0);
    EXPECT_EQ(none.string, nullptr);
    EXPECT_EQ(Messages().back(), "Exiting GetDataWithMatchingBDF");
}

TEST_F(SMBIOSInventoryTest, SlotLookupReturnsTheFirstStringWhateverTheStringNumber)
{
    WriteSysfsTable(SmbiosTable({SystemSlotStructure(0x01, 0x00, 7, {"first", "second", "third"}, 3)}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    const bdf_index bdf = {0x01, 0x00, kSlotBusOffset, kSlotDevFnOffset};
    Data_Location location = {9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0};
    ASSERT_EQ(inventory.GetDataWithMatchingBDF(&bdf, &location), 1);
    std::unique_ptr<unsigned char[]> pOwned(location.string);
    EXPECT_STREQ(reinterpret_cast<const char*>(location.string), "first");
    EXPECT_EQ(location.value, 7);
}

TEST_F(SMBIOSInventoryTest, SlotLookupWithAnEmptySetAndStringNumberAboveOneCopiesPastTheSet)
{
    // An empty set with string number 2: the copy starts at the next
    // structure (here the end structure: 7F 04 FF FF, then NUL).
    WriteSysfsTable(SmbiosTable({SystemSlotStructure(0x02, 0x08, 9, {}, 2)}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    const bdf_index bdf = {0x02, 0x08, kSlotBusOffset, kSlotDevFnOffset};
    Data_Location location = {9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0};
    ASSERT_EQ(inventory.GetDataWithMatchingBDF(&bdf, &location), 1);
    std::unique_ptr<unsigned char[]> pOwned(location.string);
    EXPECT_STREQ(reinterpret_cast<const char*>(location.string), "\x7F\x04\xFF\xFF");

    // With string number 1 the empty set gives the empty string.
    WriteSysfsTable(SmbiosTable({SystemSlotStructure(0x02, 0x08, 9, {}, 1)}));
    InspectableSMBIOSInventory second(Sources());
    ASSERT_EQ(second.Initialize(), 1);
    Data_Location empty = {9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0};
    ASSERT_EQ(second.GetDataWithMatchingBDF(&bdf, &empty), 1);
    std::unique_ptr<unsigned char[]> pEmpty(empty.string);
    EXPECT_EQ(empty.string[0], 0);
}

TEST_F(SMBIOSInventoryTest, SlotLookupComparesSignedBytes)
{
    WriteSysfsTable(SmbiosTable({SystemSlotStructure(0x80, 0xF8, 1, {"high"})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    const bdf_index unsignedBdf = {0x80, 0xF8, kSlotBusOffset, kSlotDevFnOffset};
    Data_Location location = {9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0};
    EXPECT_EQ(inventory.GetDataWithMatchingBDF(&unsignedBdf, &location), 0);
    const bdf_index signedBdf = {-128, -8, kSlotBusOffset, kSlotDevFnOffset};
    ASSERT_EQ(inventory.GetDataWithMatchingBDF(&signedBdf, &location), 1);
    std::unique_ptr<unsigned char[]> pOwned(location.string);
    EXPECT_STREQ(reinterpret_cast<const char*>(location.string), "high");
}

TEST_F(SMBIOSInventoryTest, OEMStringsAreListedInOrder)
{
    StartLog();
    WriteSysfsTable(SmbiosTable({OemStringsStructure({"a", "bb", "ccc"}), OemStringsStructure({"second"})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    std::vector<std::string> vStrings = {"kept"};
    ASSERT_EQ(inventory.getOEMStringsFromTable(&vStrings, 0), 1);
    EXPECT_EQ(vStrings, (std::vector<std::string>{"kept", "a", "bb", "ccc"}));
    ASSERT_EQ(inventory.getOEMStringsFromTable(&vStrings, 1), 1);
    EXPECT_EQ(vStrings.back(), "second");
    std::vector<std::string> vNone;
    EXPECT_EQ(inventory.getOEMStringsFromTable(&vNone, 2), 0);
    EXPECT_TRUE(vNone.empty());
    EXPECT_EQ(inventory.getOEMStringsFromTable(nullptr, 0), 0);
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "Total number of OEM strings = 3"));
    EXPECT_TRUE(Contains(vMessages, "Exiting getOEMStringsFromTable"));
    EXPECT_TRUE(Contains(vMessages, "Failed to get OEM Structure"));
    EXPECT_EQ(vMessages.back(), "Found Null instance!!!");
}

TEST_F(SMBIOSInventoryTest, OEMStringCountIsTakenFromTheStructure)
{
    // A count of 4 over a set of 2 reads the closing NUL as a third, empty
    // string and the end structure's bytes as the fourth.
    const std::string strOEM = SmbiosRawStructure(11, 5, "\x04", SmbiosStringSet({"x", "y"}));
    WriteSysfsTable(SmbiosTable({strOEM}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    std::vector<std::string> vStrings;
    ASSERT_EQ(inventory.getOEMStringsFromTable(&vStrings, 0), 1);
    EXPECT_EQ(vStrings, (std::vector<std::string>{"x", "y", "", "\x7F\x04\xFF\xFF"}));
}

TEST_F(SMBIOSInventoryTest, IsBrixSystemIsExactAndCaseSensitive)
{
    StartLog();
    CSMBIOSInventory inventory(Sources());
    EXPECT_TRUE(inventory.IsBrixSystem("Brix System"));
    EXPECT_FALSE(inventory.IsBrixSystem("Brix System "));
    EXPECT_FALSE(inventory.IsBrixSystem("brix system"));
    EXPECT_FALSE(inventory.IsBrixSystem("Brix"));
    EXPECT_FALSE(inventory.IsBrixSystem(""));
    EXPECT_EQ(Count(Messages(), "Entered IsBrixSystem"), 5u);
}

TEST_F(SMBIOSInventoryTest, QueriesWithoutATableFindNothing)
{
    StartLog();
    InspectableSMBIOSInventory inventory(Sources());
    int nLength = 0;
    unsigned char* pStruct = nullptr;
    EXPECT_EQ(inventory.getSMBIOSStruct(&nLength, &pStruct, 1, 0), 0);
    unsigned char* pData = nullptr;
    EXPECT_EQ(inventory.getDataFromTable(1, 4, 0, &pData, 0), 0);
    EXPECT_EQ(pData, nullptr);
    EXPECT_EQ(inventory.GetManufacturerName(), "");
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(1), 0);
    const bdf_index bdf = {0, 0, kSlotBusOffset, kSlotDevFnOffset};
    Data_Location location = {9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0};
    EXPECT_EQ(inventory.GetDataWithMatchingBDF(&bdf, &location), 0);
    std::vector<std::string> vStrings;
    EXPECT_EQ(inventory.getOEMStringsFromTable(&vStrings, 0), 0);
    EXPECT_EQ(inventory.findToken(0x5C), 0);
    EXPECT_EQ(inventory.GetCMOSEqEFIVarData(), 0);
    EXPECT_EQ(inventory.GetSystemID(), "");
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "getSMBIOSStruct: BIOS Tables not initialized."));
    EXPECT_TRUE(Contains(vMessages, "GetDeviceCountMatchingStructNumber(): BIOS Tables not initialized."));
    EXPECT_TRUE(Contains(vMessages, "BIOS Tables not initialized."));
    EXPECT_EQ(Count(vMessages, "findToken:BIOS Tables not initialized."), 2u);
}

// ===========================================================================
// System ID
// ===========================================================================

namespace
{
// One machine's firmware and the system ID the reader gives for it: the ID,
// how it was obtained, and what the log says.
struct SystemIdCase
{
    const char* pszName;
    std::string (*fnTable)();
    // The memory device; none when null.
    SmbiosMemoryImage (*fnMemory)();
    const char* pszSystemId;
    CSMBIOSInventory::eSystemIdOrigin eOrigin;
    std::vector<std::string> vLogged;
    std::vector<std::string> vNotLogged;
    // The last line of the log, when it matters.
    const char* pszLastLine;
};

void PrintTo(const SystemIdCase& testCase, std::ostream* pStream) { *pStream << testCase.pszName; }

template <uint8_t nSingle, uint16_t nTwo>
std::string StandardTableWith()
{
    return StandardTable(nSingle, nTwo);
}

std::string TableWithoutRevision() { return SmbiosTable({OemStringsStructure({"Brix System"})}); }

template <uint8_t nSingle, uint16_t nTwo = 0>
SmbiosMemoryImage MemoryWith()
{
    SmbiosMemoryImage image;
    image.SetSingleByteSystemId(nSingle);
    image.SetTwoByteSystemId(nTwo);
    return image;
}

const char* const kExiting = "Exiting GetSystemID";
const char* const kSingleByte = "Single Byte System ID on the system";
const char* const kNotMaker = "Skipping SystemID on Non-Brix System";

std::vector<SystemIdCase> SystemIdCases()
{
    using S = CSMBIOSInventory;
    // clang-format off
    return {
        // Nothing further is read on another maker's machine.
        {"FirstOEMStringWithATrailingBlank", [] { return StandardTable(0x0B, 0, "Brix System "); }, MemoryWith<0x41>,
         "", S::eSystemIdNotMakerSystem, {kNotMaker},
         {"Brix Revision Structure Found", "GetValueByOffset(): Inside GetValueByOffset"}, ""},
        {"AnotherMakersMachine", [] { return StandardTable(0x0B, 0, "Other System"); }, nullptr, "",
         S::eSystemIdNotMakerSystem, {kNotMaker}, {}, ""},
        {"NoOEMStrings", [] { return SmbiosTable({RevisionStructure(0x0B)}); }, MemoryWith<0x41>, "",
         S::eSystemIdNotMakerSystem, {kNotMaker}, {}, ""},
        // A single byte is written as two lower-case digits.
        {"SingleByte0B", StandardTableWith<0x0B, 0x07C1>, nullptr, "0x0b", S::eSystemIdRevisionSingleByte,
         {kSingleByte}, {}, kExiting},
        {"SingleByte00", StandardTableWith<0x00, 0x07C1>, nullptr, "0x00", S::eSystemIdRevisionSingleByte,
         {kSingleByte}, {}, kExiting},
        {"SingleByte8C", StandardTableWith<0x8C, 0x07C1>, nullptr, "0x8c", S::eSystemIdRevisionSingleByte,
         {kSingleByte}, {}, kExiting},
        {"SingleByteFF", StandardTableWith<0xFF, 0x07C1>, nullptr, "0xff", S::eSystemIdRevisionSingleByte,
         {kSingleByte}, {}, kExiting},
        {"SingleByteFD", StandardTableWith<0xFD, 0x07C1>, nullptr, "0xfd", S::eSystemIdRevisionSingleByte,
         {kSingleByte}, {}, kExiting},
        // The marker 0xFE gives the two-byte ID in four upper-case digits.
        {"TwoByte07C1", StandardTableWith<0xFE, 0x07C1>, nullptr, "0x07C1", S::eSystemIdRevisionTwoByte, {},
         {kSingleByte}, kExiting},
        {"TwoByteABCD", StandardTableWith<0xFE, 0xABCD>, nullptr, "0xABCD", S::eSystemIdRevisionTwoByte, {},
         {kSingleByte}, kExiting},
        {"TwoByte0000", StandardTableWith<0xFE, 0x0000>, nullptr, "0x0000", S::eSystemIdRevisionTwoByte, {},
         {kSingleByte}, kExiting},
        // A revision structure ending after its single byte, at the end of
        // the table: bytes 8 and 9 are not there.
        {"MarkerWithoutTheTwoByteField",
         [] {
             return SmbiosTable({OemStringsStructure({"Brix System"})}, false) +
                    SmbiosRawStructure(208, 7, std::string("\x01\x00\xFE", 3), std::string(1, '\0'));
         },
         nullptr, "", S::eSystemIdRevisionTwoByteMissing, {"Unable to fetch Single Byte System ID"}, {}, ""},
        // The two-byte ID is read at offsets 8 and 9 whatever the formatted
        // length: here they are the second NUL of the set and the end
        // structure's type.
        {"ShortRevisionStructureLendsTheBytesBehindIt",
         [] {
             return SmbiosTable({OemStringsStructure({"Brix System"}),
                                 SmbiosRawStructure(208, 7, std::string("\x01\x00\xFE", 3), std::string(2, '\0'))});
         },
         nullptr, "0x7F00", S::eSystemIdRevisionTwoByte, {}, {}, kExiting},
        // Without a revision structure physical memory decides: a single
        // byte as a character, zero-filled to a width of 2.
        {"MemorySingleByte", TableWithoutRevision, MemoryWith<0x41>, "0x0A", S::eSystemIdMemorySingleByte,
         {"Unable to fetch Data", "GetSystemIdFromMemory(): Found Single Byte system ID on the system: 0x0A"}, {},
         ""},
        // In lower-case digits, unlike the table's form.
        {"MemoryTwoByteIsLowerCase", TableWithoutRevision, MemoryWith<0xFE, 0x07C1>, "0x07c1",
         S::eSystemIdMemoryTwoByte,
         {"Single byte System ID value is 0xFE. Checking two byte system ID on the system",
          "GetSystemIdFromMemory(): Found Two Byte system ID on the system: 0x07c1"},
         {},
         ""},
        {"MemoryWithoutAnyId", TableWithoutRevision, MemoryWith<0x00>, "", S::eSystemIdMemoryUnavailable,
         {"GetSystemIdFromMemory(): Unable to get system ID from memory"}, {}, ""},
        {"NoMemoryDevice", TableWithoutRevision, nullptr, "", S::eSystemIdMemoryUnavailable,
         {"GetSystemIdFromMemory(): GetValueByOffset Failed"}, {}, ""},
    };
    // clang-format on
}

class SMBIOSSystemIdTest : public SMBIOSInventoryTest, public ::testing::WithParamInterface<SystemIdCase>
{
};
} // namespace

TEST_P(SMBIOSSystemIdTest, IsReadAsTheCheckerReadsIt)
{
    StartLog();
    const SystemIdCase& testCase = GetParam();
    WriteSysfsTable(testCase.fnTable());
    if (testCase.fnMemory != nullptr)
    {
        WriteMemory(testCase.fnMemory());
    }
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemID(), testCase.pszSystemId);
    EXPECT_EQ(inventory.GetSystemIdOrigin(), testCase.eOrigin);
    const std::vector<std::string> vMessages = Messages();
    for (const std::string& strLine : testCase.vLogged)
    {
        EXPECT_TRUE(Contains(vMessages, strLine)) << strLine;
    }
    for (const std::string& strLine : testCase.vNotLogged)
    {
        EXPECT_FALSE(Contains(vMessages, strLine)) << strLine;
    }
    if (*testCase.pszLastLine != '\0')
    {
        ASSERT_FALSE(vMessages.empty());
        EXPECT_EQ(vMessages.back(), testCase.pszLastLine);
    }
}

INSTANTIATE_TEST_SUITE_P(Machines, SMBIOSSystemIdTest, ::testing::ValuesIn(SystemIdCases()), ParamName<SystemIdCase>);

TEST_F(SMBIOSInventoryTest, MemorySingleByteZeroAlsoLeadsToTheTwoByteId)
{
    InspectableSMBIOSInventory inventory(Sources());
    SmbiosMemoryImage image;
    image.SetTwoByteSystemId(0x1234);
    WriteMemory(image);
    EXPECT_EQ(inventory.GetSystemIdFromMemory(), "0x1234");
}

TEST_F(SMBIOSInventoryTest, MemoryWithoutAnyIdGivesTheEmptyString)
{
    StartLog();
    InspectableSMBIOSInventory inventory(Sources());
    WriteMemory(SmbiosMemoryImage());
    EXPECT_EQ(inventory.GetSystemIdFromMemory(), "");
    EXPECT_TRUE(Contains(Messages(), "GetSystemIdFromMemory(): Unable to get system ID from memory"));
}

TEST_F(SMBIOSInventoryTest, MissingMemoryDeviceGivesTheEmptyString)
{
    StartLog();
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.GetSystemIdFromMemory(), "");
    EXPECT_TRUE(Contains(Messages(), "GetSystemIdFromMemory(): GetValueByOffset Failed"));
}

TEST_F(SMBIOSInventoryTest, GetValueByOffsetReadsThroughTheMemoryDevicePath)
{
    StartLog();
    SmbiosMemoryImage image;
    image.Put(0x1234, "\x11\x22\x33\x44");
    image.Put(SmbiosMemoryImage::kSize - 2, "\x55\x66");
    WriteMemory(image);
    InspectableSMBIOSInventory inventory(Sources());
    unsigned char aBytes[4] = {};
    ASSERT_EQ(inventory.GetValueByOffset(0x1234, 4, aBytes), 1);
    EXPECT_EQ(BytesOf(aBytes, 4), "\x11\x22\x33\x44");
    ASSERT_EQ(inventory.GetValueByOffset(SmbiosMemoryImage::kSize - 2, 2, aBytes), 1);
    EXPECT_EQ(BytesOf(aBytes, 2), "\x55\x66");
    EXPECT_TRUE(Contains(Messages(), "GetValueByOffset(): Exiting GetValueByOffset()"));

    // A read that would cross the end of the page is refused.
    const unsigned long nPageSize = static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
    EXPECT_EQ(inventory.GetValueByOffset(nPageSize - 2, 4, aBytes), 0);
    EXPECT_TRUE(Contains(Messages(), "GetValueByOffset(): Invalid offset requested"));

    // Beyond the end of the device nothing can be mapped.
    EXPECT_EQ(inventory.GetValueByOffset(SmbiosMemoryImage::kSize + 16, 1, aBytes), 0);
    EXPECT_TRUE(Contains(Messages(), "GetValueByOffset(): Unable to map requested Address range"));
}

// ===========================================================================
// Tokens and platform flags
// ===========================================================================

TEST_F(SMBIOSInventoryTest, FindTokenSearchesTheTokenStructures)
{
    StartLog();
    WriteSysfsTable(SmbiosTable(
        {TokenStructure({{0x0011, 0, 0xFF, 0}}), TokenStructure({{0x0022, 0, 0xFF, 0}, {0x005C, 0, 0xF0, 0x05}})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.findToken(0x0011), 1);
    EXPECT_EQ(inventory.findToken(0x005C), 1);
    EXPECT_EQ(inventory.findToken(0x0033), 0);
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "findToken:Entered findToken"));
    EXPECT_TRUE(Contains(vMessages, "Searching for Token value: 5c"));
    EXPECT_EQ(Count(vMessages, "findToken:Successfully got the token."), 2u);
    EXPECT_EQ(vMessages.back(), "Exiting findToken");
}

TEST_F(SMBIOSInventoryTest, FindTokenStopsAtTheFirstMissingInstance)
{
    StartLog();
    WriteSysfsTable(SmbiosTable({TokenStructure({{0x0011, 0, 0xFF, 0}}), TokenStructure({{0x0022, 0, 0xFF, 0}})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    const std::size_t nFrom = Messages().size();
    EXPECT_EQ(inventory.findToken(0x0099), 0);
    std::vector<std::string> vMessages = Messages();
    vMessages.erase(vMessages.begin(), vMessages.begin() + static_cast<long>(nFrom));
    EXPECT_EQ(Count(vMessages, "findToken:getSMBIOSStruct returned successfully."), 2u);
    EXPECT_EQ(Count(vMessages, "Searching for SMBIOS structure: 212"), 3u);
}

TEST_F(SMBIOSInventoryTest, FindTokenNeverLooksBeyondInstanceFifteen)
{
    StartLog();
    std::vector<std::string> vStructures;
    for (uint16_t i = 0; i < 17; ++i)
    {
        vStructures.push_back(TokenStructure({{static_cast<uint16_t>(0x0100 + i), 0, 0xFF, 0}}));
    }
    WriteSysfsTable(SmbiosTable(vStructures));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.findToken(0x010F), 1); // instance 15
    const std::size_t nFrom = Messages().size();
    EXPECT_EQ(inventory.findToken(0x0110), 0); // instance 16
    std::vector<std::string> vMessages = Messages();
    vMessages.erase(vMessages.begin(), vMessages.begin() + static_cast<long>(nFrom));
    EXPECT_EQ(Count(vMessages, "findToken:getSMBIOSStruct returned successfully."), 16u);
    EXPECT_EQ(Count(vMessages, "Searching for SMBIOS structure: 212"), 16u);
    EXPECT_EQ(vMessages.back(), "Exiting findToken");
}

TEST_F(SMBIOSInventoryTest, FindTokenStopsAtTheEndTokenAndAtTheFormattedArea)
{
    // Entries after the 0xFFFF entry are not read; nor are bytes behind the
    // formatted area that look like an entry.
    const std::string strWithEnd =
        TokenStructure({{0x0011, 0, 0xFF, 0}, {0xFFFF, 0, 0, 0}, {0x0022, 0, 0xFF, 0}}, false);
    const std::string strBody = std::string("\xB2\x00\xDA", 3) + std::string(5, '\0');
    const std::string strBehind = SmbiosRawStructure(212, 0x0C, strBody, std::string("\x33\x00\x00\x00", 4));
    WriteSysfsTable(SmbiosTable({strWithEnd, strBehind}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(212), 2);
    EXPECT_EQ(inventory.findToken(0x0011), 1);
    EXPECT_EQ(inventory.findToken(0x0022), 0);
    EXPECT_EQ(inventory.findToken(0x0033), 0);
    EXPECT_EQ(inventory.findToken(0xFFFF), 0);
}

TEST_F(SMBIOSInventoryTest, CMOSEqEFIVarAppliesMaskAndValueToTheFlag)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.TokenFlag(), 0);
    EXPECT_EQ(inventory.GetCMOSEqEFIVarData(), 1);
    EXPECT_EQ(inventory.TokenFlag(), 0x05); // (0xF0 & 0) | 0x05
    inventory.SetTokenFlag(0xAB);
    EXPECT_EQ(inventory.GetCMOSEqEFIVarData(), 1);
    EXPECT_EQ(inventory.TokenFlag(), 0xA5); // (0xF0 & 0xAB) | 0x05
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "Entering CSMBIOSInventory::GetCMOSEqEFIVarData()"));
    EXPECT_TRUE(Contains(vMessages, "Searching for Token value: 5c"));
    EXPECT_TRUE(Contains(vMessages, "*((u16 *)pTokenAddr) value is - 92"));
    EXPECT_TRUE(Contains(vMessages, "Flag value to set : 5"));
    EXPECT_TRUE(Contains(vMessages, "Flag value to set : 165"));
    EXPECT_EQ(vMessages.back(), "findToken:Successfully got the D4_54_04h offset value.");
}

TEST_F(SMBIOSInventoryTest, CMOSEqEFIVarWithoutTheTokenLeavesTheFlag)
{
    WriteSysfsTable(SmbiosTable({TokenStructure({{0x005D, 0, 0x00, 0xFF}})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    inventory.SetTokenFlag(0x42);
    EXPECT_EQ(inventory.GetCMOSEqEFIVarData(), 0);
    EXPECT_EQ(inventory.TokenFlag(), 0x42);
}

TEST_F(SMBIOSInventoryTest, CMOSEqEFIVarNeedsTheWholeEntryInsideTheTable)
{
    // The table ends right after the token ID of 0x5C: the ID is found, but
    // its mask and value are not there.
    const std::string strBody = std::string("\xB2\x00\xDA", 3) + std::string(5, '\0');
    WriteSysfsTable(SmbiosRawStructure(212, 0x0E, strBody + Le16(0x005C), ""));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    inventory.SetTokenFlag(0x42);
    EXPECT_EQ(inventory.findToken(0x5C), 1);
    EXPECT_EQ(inventory.GetCMOSEqEFIVarData(), 0);
    EXPECT_EQ(inventory.TokenFlag(), 0x42);
}

TEST_F(SMBIOSInventoryTest, NVMERAIDModeFetchesTheTableWhenNeeded)
{
    StartLog();
    WriteSysfsTable(StandardTable());
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.getNVMERAIDMode(), 1);
    EXPECT_NE(inventory.RawTable(), nullptr);
    const std::vector<std::string> vMessages = Messages();
    EXPECT_TRUE(Contains(vMessages, "Entering CSMBIOSInventory::getNVMERAIDMode()"));
    EXPECT_TRUE(Contains(vMessages, "getNVMERAIDMode:: SMBIOSInventory init status = success"));
    EXPECT_TRUE(Contains(vMessages, "getNVMERAIDMode:: Found NVME RAID mode from SMBIOS "));
    EXPECT_EQ(vMessages.back(), "Leaving CSMBIOSInventory::getNVMERAIDMode()");
}

TEST_F(SMBIOSInventoryTest, NVMERAIDModeLooksForTheMarkerInsideTheFirstOEMStructure)
{
    StartLog();
    WriteSysfsTable(SmbiosTable({OemStringsStructure({"a", "x26[1]y"})}));
    {
        InspectableSMBIOSInventory inventory(Sources());
        ASSERT_EQ(inventory.Initialize(), 1);
        EXPECT_EQ(inventory.getNVMERAIDMode(), 1);
        // The table was already held: no second acquisition.
        EXPECT_FALSE(Contains(Messages(), "getNVMERAIDMode:: SMBIOSInventory init status = success"));
    }
    WriteSysfsTable(SmbiosTable({OemStringsStructure({"26[0]", "26 [1]"}), OemStringsStructure({"26[1]"})}));
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.getNVMERAIDMode(), 0);
}

TEST_F(SMBIOSInventoryTest, NVMERAIDModeWithoutAnyTable)
{
    StartLog();
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.getNVMERAIDMode(), 0);
    EXPECT_TRUE(Contains(Messages(), "getNVMERAIDMode:: SMBIOSInventory init status = failure"));
}

// ===========================================================================
// Malformed tables
// ===========================================================================

namespace
{
// Expectations for one malformed table; unset ones are not checked.
struct MalformedCase
{
    std::string strName;
    std::string strTable;
    std::optional<int> nType1Count;
    std::optional<std::string> strManufacturer;
    std::optional<std::string> strSystemId;
    std::optional<std::vector<std::string>> vOEMStrings;
    std::optional<int> nToken5C;
};

bool InTable(const std::string& strTable, const std::string& strPiece)
{
    return strPiece.empty() || strTable.find(strPiece) != std::string::npos;
}

// Runs every query on the held table and checks what must hold for any
// bytes: results come from inside the table, counts are bounded, and the
// system ID has one of its forms.
void RunEveryQuery(InspectableSMBIOSInventory& inventory, const std::string& strTable)
{
    const uint8_t* pBegin = inventory.RawTable();
    ASSERT_NE(pBegin, nullptr);
    const uint8_t* pEnd = pBegin + inventory.RawTableLength();

    for (int nType : {0, 1, 9, 11, 127, 208, 212, 255, 256, -1})
    {
        for (int nInstance : {0, 1, 2})
        {
            int nLength = -1;
            unsigned char* pStruct = nullptr;
            if (inventory.getSMBIOSStruct(&nLength, &pStruct, nType, nInstance) == 1)
            {
                EXPECT_GE(pStruct, pBegin);
                EXPECT_GE(nLength, 4);
                EXPECT_LE(pStruct + nLength, pEnd);
                EXPECT_EQ(*pStruct, nType);
            }
        }
    }

    struct DataQuery
    {
        int nType;
        int nOffset;
        int nLength;
        int nInstance;
    };
    for (const DataQuery& query : std::vector<DataQuery>{{0, 4, 0, 0},
                                                         {0, 5, 0, 0},
                                                         {0, 300, 0, 0},
                                                         {0, -1, 0, 0},
                                                         {1, 4, 0, 0},
                                                         {1, 7, 0, 0},
                                                         {1, 0x1A, 0, 1},
                                                         {11, 1, 0, 0},
                                                         {11, 200, 0, 0},
                                                         {11, 2, 0, 1},
                                                         {9, 4, 0, 0},
                                                         {212, 0x0C, 0, 0},
                                                         {208, 6, 1, 0},
                                                         {208, 8, 2, 0},
                                                         {208, 0, 255, 0},
                                                         {208, -3, 2, 0},
                                                         {208, 2, -1, 0},
                                                         {255, 1, 0, 0}})
    {
        unsigned char* pData = nullptr;
        if (inventory.getDataFromTable(query.nType, query.nOffset, query.nLength, &pData, query.nInstance) == 1)
        {
            ASSERT_NE(pData, nullptr);
            std::unique_ptr<unsigned char[]> pOwned(pData);
            if (query.nType == 208)
            {
                EXPECT_TRUE(InTable(strTable, BytesOf(pData, static_cast<std::size_t>(query.nLength))));
                EXPECT_EQ(pData[query.nLength], 0);
            }
            else
            {
                EXPECT_TRUE(InTable(strTable, reinterpret_cast<const char*>(pData)));
            }
        }
        else
        {
            EXPECT_EQ(pData, nullptr);
        }
    }
    for (const auto& revision : std::vector<std::pair<int, int>>{{6, 1}, {8, 2}, {0, 400}})
    {
        unsigned char* pData = nullptr;
        if (inventory.getBrixRevisionData(revision.first, revision.second, &pData) == 1)
        {
            std::unique_ptr<unsigned char[]> pOwned(pData);
            EXPECT_TRUE(InTable(strTable, BytesOf(pData, static_cast<std::size_t>(revision.second))));
        }
    }

    for (const std::string& strText :
         {inventory.GetVendorName(), inventory.GetBiosVersion(), inventory.GetManufacturerName(),
          inventory.GetProductName(), inventory.GetSerialNumber(), inventory.GetOEMName()})
    {
        EXPECT_TRUE(InTable(strTable, strText)) << strText;
    }

    for (unsigned int nType : {0u, 1u, 9u, 11u, 127u, 208u, 212u, 255u})
    {
        const int nCount = inventory.GetDeviceCountMatchingStructNumber(nType);
        EXPECT_GE(nCount, 0);
        EXPECT_LE(static_cast<std::size_t>(nCount), strTable.size() / 4);
    }

    for (const bdf_index& bdf : std::vector<bdf_index>{{0x3B, 0x08, kSlotBusOffset, kSlotDevFnOffset},
                                                       {0, 0, kSlotBusOffset, kSlotDevFnOffset},
                                                       {0, 0, 250, 251},
                                                       {0, 0, -1, 0}})
    {
        for (const Data_Location& proto :
             std::vector<Data_Location>{{9, kSlotIdOffset, kSlotDesignationOffset, nullptr, 0},
                                        {9, 240, kSlotDesignationOffset, nullptr, 0},
                                        {9, kSlotIdOffset, 260, nullptr, 0},
                                        {0, 2, 4, nullptr, 0}})
        {
            Data_Location location = proto;
            if (inventory.GetDataWithMatchingBDF(&bdf, &location) == 1)
            {
                ASSERT_NE(location.string, nullptr);
                std::unique_ptr<unsigned char[]> pOwned(location.string);
                EXPECT_TRUE(InTable(strTable, reinterpret_cast<const char*>(location.string)));
            }
        }
    }

    for (int nInstance : {0, 1})
    {
        std::vector<std::string> vStrings;
        if (inventory.getOEMStringsFromTable(&vStrings, nInstance) == 1)
        {
            EXPECT_LE(vStrings.size(), 255u);
            for (const std::string& strText : vStrings)
            {
                EXPECT_TRUE(InTable(strTable, strText));
            }
        }
        else
        {
            EXPECT_TRUE(vStrings.empty());
        }
    }

    static const std::regex kIdForms("^(|0x[0-9a-f]{2}|0x[0-9A-F]{4}|0x0abc)$");
    const std::string strId = inventory.GetSystemID();
    EXPECT_TRUE(std::regex_match(strId, kIdForms)) << strId;
    EXPECT_EQ(inventory.GetSystemIdFromMemory(), "0x0abc");

    for (uint16_t nToken : {0x005C, 0x0011, 0xFFFF, 0x0000})
    {
        const int nFound = inventory.findToken(nToken);
        EXPECT_TRUE(nFound == 0 || nFound == 1);
    }
    const uint8_t nFlagBefore = inventory.TokenFlag();
    const int nApplied = inventory.GetCMOSEqEFIVarData();
    EXPECT_TRUE(nApplied == 1 || inventory.TokenFlag() == nFlagBefore);
    const int nRaid = inventory.getNVMERAIDMode();
    EXPECT_TRUE(nRaid == 0 || nRaid == 1);
}

std::vector<MalformedCase> MalformedCases()
{
    const std::string strSystem = SystemInformationStructure("Example Systems", "Model 7", "A00", "SN-42");
    const std::string strSystemFormatted = strSystem.substr(0, 0x1B);
    const std::string strOEM = OemStringsStructure({"Brix System", "26[1]"});
    const std::string strRevision = RevisionStructure(0x0B);
    const std::string strEnd = SmbiosEndStructure();
    const std::string strTokenBody = std::string("\xB2\x00\xDA", 3) + std::string(5, '\0');
    const std::string strTokenEntries = Le16(0x0011) + std::string("\x00\xFF\x00", 3) + Le16(0x0022) +
                                        std::string("\x00\xFF\x00", 3);

    std::string strSerialBeyond = strSystem;
    strSerialBeyond[7] = static_cast<char>(200);

    std::vector<MalformedCase> vCases;
    vCases.push_back({"empty table", "", 0, "", "", std::nullopt, 0});
    vCases.push_back({"one byte", "\x01", 0, "", "", std::nullopt, 0});
    vCases.push_back({"only the end type byte", "\x7F", 0, "", "", std::nullopt, 0});
    vCases.push_back({"header only, formatted area past the end", strSystem.substr(0, 4), 0, "", "", std::nullopt, 0});
    vCases.push_back({"formatted length 0 first",
                      SmbiosRawStructure(1, 0, "", std::string(2, '\0')) + strSystem + strOEM + strRevision + strEnd, 0,
                      "", "", std::nullopt, 0});
    vCases.push_back({"formatted length 3 first",
                      SmbiosRawStructure(1, 3, "", std::string(2, '\0')) + strSystem + strOEM + strRevision + strEnd, 0,
                      "", "", std::nullopt, 0});
    vCases.push_back({"formatted length 2 after a good structure",
                      strSystem + SmbiosRawStructure(11, 2, "", std::string(2, '\0')) + strOEM + strRevision + strEnd,
                      1, "Example Systems", "", std::nullopt, std::nullopt});
    vCases.push_back({"strings without terminator", strSystemFormatted + std::string("Example Systems\0Mod", 19), 1,
                      "Example Systems", "", std::nullopt, 0});
    vCases.push_back({"string set closed by one NUL at the end",
                      strSystemFormatted + std::string("Example Systems\0", 16), 1, "Example Systems", "", std::nullopt,
                      0});
    vCases.push_back({"no end structure", strSystem + strOEM + strRevision, 1, "Example Systems", "0x0b",
                      std::vector<std::string>{"Brix System", "26[1]"}, 0});
    vCases.push_back({"formatted length 0xFF past the end",
                      SmbiosRawStructure(1, 0xFF, strSystemFormatted.substr(4), SmbiosStringSet({"M", "P"})), 0, "", "",
                      std::nullopt, 0});
    vCases.push_back({"formatted length swallowing the first string",
                      SmbiosRawStructure(1, 0x1B + 16, strSystemFormatted.substr(4),
                                         SmbiosStringSet({"Example Systems", "Model 7", "A00", "SN-42"})) +
                          strOEM + strRevision + strEnd,
                      1, "Model 7", "0x0b", std::nullopt, 0});
    vCases.push_back(
        {"string number beyond the table", strSerialBeyond + strEnd, 1, "Example Systems", "", std::nullopt, 0});
    vCases.push_back({"OEM count 255 over one string at the end",
                      strSystem + SmbiosRawStructure(11, 5, "\xFF", SmbiosStringSet({"Brix System"})), 1,
                      "Example Systems", "0x0abc", std::vector<std::string>{"Brix System", ""}, 0});
    vCases.push_back({"OEM structure without string set at the end", strSystem + SmbiosRawStructure(11, 4, "", ""), 1,
                      "Example Systems", "", std::nullopt, 0});
    vCases.push_back({"OEM count running into the next structure",
                      SmbiosRawStructure(11, 5, "\x05", SmbiosStringSet({"Brix System"})) + strEnd, 0, "", "0x0abc",
                      std::vector<std::string>{"Brix System", "", "\x7F\x04\xFF\xFF", ""}, 0});
    vCases.push_back({"revision structure cut short", strSystem + strOEM + strRevision.substr(0, 7), 1,
                      "Example Systems", "0x0abc", std::vector<std::string>{"Brix System", "26[1]"}, 0});
    vCases.push_back({"revision marker FE at the very end",
                      strSystem + strOEM + SmbiosRawStructure(208, 7, std::string("\x01\x00\xFE", 3), ""), 1,
                      "Example Systems", "", std::nullopt, 0});
    vCases.push_back({"revision formatted length 4 at the end", strOEM + SmbiosRawStructure(208, 4, "", ""), 0, "",
                      "0x0abc", std::nullopt, 0});
    vCases.push_back({"token ID straddling the end of the table",
                      strOEM + SmbiosRawStructure(212, 0x17, strTokenBody + strTokenEntries + "\x5C", ""), 0, "",
                      "0x0abc", std::nullopt, 0});
    vCases.push_back({"token entry of 0x5C cut after its ID",
                      strOEM + SmbiosRawStructure(212, 0x18, strTokenBody + strTokenEntries + Le16(0x005C), ""), 0, "",
                      "0x0abc", std::nullopt, 1});
    vCases.push_back({"token structure shorter than its entries",
                      strSystem + SmbiosRawStructure(212, 6, std::string(2, '\0'), std::string(2, '\0')) + strEnd, 1,
                      "Example Systems", "", std::nullopt, 0});
    vCases.push_back({"slot cut short", strSystem + SystemSlotStructure(0x3B, 0x08, 1, {"S"}).substr(0, 0x0E), 1,
                      "Example Systems", "", std::nullopt, 0});
    vCases.push_back({"slot with formatted length 5 at the end", strSystem + SmbiosRawStructure(9, 5, "\x01", ""), 1,
                      "Example Systems", "", std::nullopt, 0});
    vCases.push_back({"slot with empty set and string number 2 at the very end",
                      strSystem + SystemSlotStructure(0x3B, 0x08, 1, {}, 2), 1, "Example Systems", "", std::nullopt,
                      0});
    vCases.push_back({"all bytes 0xFF", std::string(256, '\xFF'), 0, "", "", std::nullopt, 0});
    vCases.push_back({"all bytes 0", std::string(64, '\0'), 0, "", "", std::nullopt, 0});
    vCases.push_back(
        {"300 characters without terminator", strSystemFormatted + std::string(300, 'x'), 1, "", "", std::nullopt, 0});
    vCases.push_back({"300-character manufacturer",
                      SystemInformationStructure(std::string(300, 'M'), "p", "v", "s") + strEnd, 1,
                      std::string(300, 'M'), "", std::nullopt, 0});
    vCases.push_back({"end structure first", strEnd + strSystem + strOEM, 0, "", "", std::nullopt, 0});
    vCases.push_back(
        {"end structure without its length byte", strSystem + "\x7F", 1, "Example Systems", "", std::nullopt, 0});

    // Pseudo-random tables, biased towards small bytes so that lengths and
    // terminators look plausible.
    std::mt19937 generator(20240611u);
    for (int i = 0; i < 12; ++i)
    {
        std::uniform_int_distribution<int> lengthDistribution(1, 400);
        std::uniform_int_distribution<int> byteDistribution(0, 255);
        const int nLength = lengthDistribution(generator);
        std::string strRandom;
        for (int j = 0; j < nLength; ++j)
        {
            const int nByte = byteDistribution(generator);
            strRandom += static_cast<char>(nByte < 128 ? nByte % 16 : nByte);
        }
        vCases.push_back({"random table " + std::to_string(i), strRandom, std::nullopt, std::nullopt, std::nullopt,
                          std::nullopt, std::nullopt});
    }
    return vCases;
}
} // namespace

TEST_F(SMBIOSInventoryTest, MalformedTablesStayInsideTheBuffer)
{
    StartLog();
    SmbiosMemoryImage image;
    image.SetTwoByteSystemId(0x0ABC);
    WriteMemory(image);
    const std::vector<MalformedCase> vCases = MalformedCases();
    ASSERT_GE(vCases.size(), 20u);
    for (const MalformedCase& testCase : vCases)
    {
        SCOPED_TRACE(testCase.strName);
        WriteSysfsTable(testCase.strTable);
        InspectableSMBIOSInventory inventory(Sources());
        ASSERT_EQ(inventory.Initialize(), 1);
        ASSERT_EQ(inventory.TableBytes(), testCase.strTable);
        RunEveryQuery(inventory, testCase.strTable);
        if (testCase.nType1Count)
        {
            EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(1), *testCase.nType1Count);
        }
        if (testCase.strManufacturer)
        {
            EXPECT_EQ(inventory.GetManufacturerName(), *testCase.strManufacturer);
        }
        if (testCase.strSystemId)
        {
            EXPECT_EQ(inventory.GetSystemID(), *testCase.strSystemId);
        }
        if (testCase.vOEMStrings)
        {
            std::vector<std::string> vStrings;
            EXPECT_EQ(inventory.getOEMStringsFromTable(&vStrings, 0), 1);
            EXPECT_EQ(vStrings, *testCase.vOEMStrings);
        }
        if (testCase.nToken5C)
        {
            EXPECT_EQ(inventory.findToken(0x5C), *testCase.nToken5C);
        }
    }
}

TEST_F(SMBIOSInventoryTest, EveryTruncationOfAFullTableStaysInsideTheBuffer)
{
    SmbiosMemoryImage image;
    image.SetTwoByteSystemId(0x0ABC);
    WriteMemory(image);
    const std::string strFull = StandardTable(0xFE, 0x07C1);
    for (std::size_t nLength = 0; nLength <= strFull.size(); ++nLength)
    {
        SCOPED_TRACE(nLength);
        const std::string strTable = strFull.substr(0, nLength);
        WriteSysfsTable(strTable);
        InspectableSMBIOSInventory inventory(Sources());
        ASSERT_EQ(inventory.Initialize(), 1);
        RunEveryQuery(inventory, strTable);
        if (nLength == strFull.size())
        {
            EXPECT_EQ(inventory.GetSystemID(), "0x07C1");
            EXPECT_EQ(inventory.GetDeviceCountMatchingStructNumber(9), 2);
            EXPECT_EQ(inventory.findToken(0x5C), 1);
        }
    }
}

// ===========================================================================
// How the system ID was obtained
// ===========================================================================

TEST_F(SMBIOSInventoryTest, SystemIdOriginIsNotReadBeforeAnySystemIdIsAskedFor)
{
    WriteSysfsTable(StandardTable(0x0B));
    InspectableSMBIOSInventory inventory(Sources());
    EXPECT_EQ(inventory.GetSystemIdOrigin(), CSMBIOSInventory::eSystemIdNotRead);
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemIdOrigin(), CSMBIOSInventory::eSystemIdNotRead);
}

TEST_F(SMBIOSInventoryTest, SystemIdOriginFollowsTheLastQuery)
{
    WriteSysfsTable(StandardTable(0x0B));
    SmbiosMemoryImage image;
    image.SetTwoByteSystemId(0x1234);
    WriteMemory(image);
    InspectableSMBIOSInventory inventory(Sources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemID(), "0x0b");
    EXPECT_EQ(inventory.GetSystemIdFromMemory(), "0x1234");
    EXPECT_EQ(inventory.GetSystemIdOrigin(), CSMBIOSInventory::eSystemIdMemoryTwoByte);
    EXPECT_EQ(inventory.GetSystemID(), "0x0b");
    EXPECT_EQ(inventory.GetSystemIdOrigin(), CSMBIOSInventory::eSystemIdRevisionSingleByte);
}
