// Reading binary SMBIOS dumps (entry point at 0, table at 0x20) and
// presenting them to the SMBIOS reader through a private directory.

#include "SMBIOSInventory.h"
#include "SmbiosBuilder.h"
#include "SmbiosDump.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace vextest;

namespace
{
std::string MakerTable(uint8_t nSystemId = 0x0B, uint16_t nTwoByteId = 0)
{
    return SmbiosTable({BiosInformationStructure("Brix", "2.19.1"),
                        SystemInformationStructure("Brix", "Server R1", "1", "SN0001"),
                        OemStringsStructure({"Brix System", "5[0000]"}), RevisionStructure(nSystemId, nTwoByteId)});
}

// Sets TMPDIR for the lifetime of the object.
class ScopedTmpdir
{
public:
    explicit ScopedTmpdir(const std::string& strPath)
    {
        const char* pszOld = std::getenv("TMPDIR");
        m_bHad = pszOld != nullptr;
        m_strOld = m_bHad ? pszOld : "";
        setenv("TMPDIR", strPath.c_str(), 1);
    }
    ~ScopedTmpdir()
    {
        if (m_bHad)
        {
            setenv("TMPDIR", m_strOld.c_str(), 1);
        }
        else
        {
            unsetenv("TMPDIR");
        }
    }

private:
    bool m_bHad;
    std::string m_strOld;
};

std::vector<std::string> Entries(const std::string& strDirectory)
{
    const CommandResult result = RunCommand({"/bin/ls", "-A", strDirectory}, "/");
    std::vector<std::string> vEntries;
    std::string strLine;
    for (char c : result.strStdout)
    {
        if (c == '\n')
        {
            vEntries.push_back(strLine);
            strLine.clear();
        }
        else
        {
            strLine += c;
        }
    }
    return vEntries;
}
} // namespace

TEST(SmbiosDumpSplit, A2xDumpGivesTheEntryPointAndTheTableItDescribes)
{
    const std::string strTable = MakerTable();
    const std::string strDump = SmbiosDumpImage2(strTable) + "trailing bytes";
    std::string strEntryPoint;
    std::string strSplitTable;
    CSmbiosDump::eEntryPointKind eKind = CSmbiosDump::eEntryPointNone;
    std::string strError;
    ASSERT_TRUE(CSmbiosDump::Split(strDump, strEntryPoint, strSplitTable, eKind, strError)) << strError;
    EXPECT_EQ(eKind, CSmbiosDump::eEntryPoint2);
    EXPECT_EQ(strEntryPoint, strDump.substr(0, 0x1F));
    EXPECT_EQ(strSplitTable, strTable);
}

TEST(SmbiosDumpSplit, A3xDumpTakesTheTableUpToItsMaximumSize)
{
    const std::string strTable = MakerTable();
    std::string strEntryPoint;
    std::string strSplitTable;
    CSmbiosDump::eEntryPointKind eKind = CSmbiosDump::eEntryPointNone;
    std::string strError;
    ASSERT_TRUE(
        CSmbiosDump::Split(SmbiosDumpImage3(strTable) + "behind", strEntryPoint, strSplitTable, eKind, strError));
    EXPECT_EQ(eKind, CSmbiosDump::eEntryPoint3);
    EXPECT_EQ(strEntryPoint.size(), 0x18u);
    EXPECT_EQ(strSplitTable, strTable);

    // The maximum size is an upper bound: a shorter file is taken whole.
    EntryPoint3Options options;
    options.nMaxTableSize = 0x10000;
    options.nTableAddress = 0x20;
    std::string strDump = SmbiosEntryPoint3(options);
    strDump.resize(0x20, '\0');
    strDump += strTable;
    ASSERT_TRUE(CSmbiosDump::Split(strDump, strEntryPoint, strSplitTable, eKind, strError));
    EXPECT_EQ(strSplitTable, strTable);
}

TEST(SmbiosDumpSplit, ALegacyEntryPointIsFifteenBytes)
{
    const std::string strTable = MakerTable();
    std::string strDump = "_DMI_" + std::string(1, '\0') + Le16(static_cast<uint16_t>(strTable.size())) + Le32(0x20) +
                          Le16(4) + std::string(1, '\x28');
    strDump.resize(0x20, '\0');
    strDump += strTable;
    std::string strEntryPoint;
    std::string strSplitTable;
    CSmbiosDump::eEntryPointKind eKind = CSmbiosDump::eEntryPointNone;
    std::string strError;
    ASSERT_TRUE(CSmbiosDump::Split(strDump, strEntryPoint, strSplitTable, eKind, strError));
    EXPECT_EQ(eKind, CSmbiosDump::eEntryPointLegacy);
    EXPECT_EQ(strEntryPoint.size(), 15u);
    EXPECT_EQ(strSplitTable, strTable);
}

TEST(SmbiosDumpSplit, RefusesWhatIsNoDump)
{
    std::string strEntryPoint;
    std::string strTable;
    CSmbiosDump::eEntryPointKind eKind = CSmbiosDump::eEntryPointNone;
    std::string strError;

    EXPECT_FALSE(CSmbiosDump::Split(std::string(0x1F, 'x'), strEntryPoint, strTable, eKind, strError));
    EXPECT_NE(strError.find("only 31 bytes"), std::string::npos) << strError;

    EXPECT_FALSE(CSmbiosDump::Split(std::string(0x40, 'x'), strEntryPoint, strTable, eKind, strError));
    EXPECT_NE(strError.find("no SMBIOS entry point"), std::string::npos) << strError;

    // A 2.x table length beyond the end of the file.
    const std::string strFull = SmbiosDumpImage2(MakerTable());
    EXPECT_FALSE(CSmbiosDump::Split(strFull.substr(0, strFull.size() - 1), strEntryPoint, strTable, eKind, strError));
    EXPECT_NE(strError.find("the dump holds"), std::string::npos) << strError;

    // An entry point that claims more than the 0x20 bytes in front of the table.
    EntryPoint2Options options;
    options.nLengthByte = 0x40;
    EXPECT_FALSE(CSmbiosDump::Split(SmbiosDumpImage2(MakerTable(), options), strEntryPoint, strTable, eKind, strError));
    EXPECT_NE(strError.find("says it is 64 bytes long"), std::string::npos) << strError;
}

TEST(SmbiosDump, LoadPresentsTheDumpToTheReaderAndNothingOfTheMachine)
{
    TempDir dir;
    WriteFile(dir.File("server.dump"), SmbiosDumpImage2(MakerTable(0xFE, 0x07C1)));
    CSmbiosDump dump;
    ASSERT_TRUE(dump.Load(dir.File("server.dump"))) << dump.GetError();
    EXPECT_EQ(dump.GetEntryPointKind(), CSmbiosDump::eEntryPoint2);
    EXPECT_EQ(dump.GetTableLength(), MakerTable(0xFE, 0x07C1).size());

    const SMBIOSSources& sources = dump.GetSources();
    const std::string strPrefix = dump.GetDirectory() + "/";
    EXPECT_EQ(sources.strEntryPointPath, strPrefix + "smbios_entry_point");
    EXPECT_EQ(sources.strTablePath, strPrefix + "DMI");
    EXPECT_EQ(sources.strMemoryDevicePath.compare(0, strPrefix.size(), strPrefix), 0);
    EXPECT_EQ(sources.strESXiDevicePath.compare(0, strPrefix.size(), strPrefix), 0);
    EXPECT_FALSE(FileExists(sources.strMemoryDevicePath));
    EXPECT_FALSE(FileExists(sources.strESXiDevicePath));

    CSMBIOSInventory inventory(sources);
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetTableSource(), CSMBIOSInventory::eTableSourceSysfs);
    EXPECT_EQ(inventory.GetProductName(), "Server R1");
    EXPECT_EQ(inventory.GetSystemID(), "0x07C1");
}

TEST(SmbiosDump, WithoutARevisionStructureNoPhysicalMemoryIsRead)
{
    TempDir dir;
    WriteFile(dir.File("server.dump"), SmbiosDumpImage3(SmbiosTable({OemStringsStructure({"Brix System"})})));
    CSmbiosDump dump;
    ASSERT_TRUE(dump.Load(dir.File("server.dump")));
    CSMBIOSInventory inventory(dump.GetSources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemID(), "");
    EXPECT_EQ(inventory.GetSystemIdOrigin(), CSMBIOSInventory::eSystemIdMemoryUnavailable);
}

TEST(SmbiosDump, ThePrivateDirectoryIsBelowTmpdirAndGoesAwayWithTheObject)
{
    TempDir dumps;
    TempDir temporary;
    WriteFile(dumps.File("server.dump"), SmbiosDumpImage2(MakerTable()));
    ScopedTmpdir tmpdir(temporary.Path());
    std::string strDirectory;
    {
        CSmbiosDump dump;
        ASSERT_TRUE(dump.Load(dumps.File("server.dump")));
        strDirectory = dump.GetDirectory();
        EXPECT_EQ(strDirectory.compare(0, temporary.Path().size() + 1, temporary.Path() + "/"), 0) << strDirectory;
        EXPECT_EQ(Entries(strDirectory), (std::vector<std::string>{"DMI", "smbios_entry_point"}));
        // Nothing is written beside the dump.
        EXPECT_EQ(Entries(dumps.Path()), std::vector<std::string>{"server.dump"});
    }
    EXPECT_FALSE(FileExists(strDirectory));
    EXPECT_TRUE(Entries(temporary.Path()).empty());
}

TEST(SmbiosDump, AFailedLoadLeavesNoDirectoryAndSourcesThatNameNothing)
{
    TempDir dir;
    TempDir temporary;
    ScopedTmpdir tmpdir(temporary.Path());
    WriteFile(dir.File("short.dump"), "_SM_");
    CSmbiosDump dump;
    EXPECT_FALSE(dump.Load(dir.File("short.dump")));
    EXPECT_EQ(dump.GetError().compare(0, dir.File("short.dump").size(), dir.File("short.dump")), 0) << dump.GetError();
    EXPECT_TRUE(dump.GetDirectory().empty());
    EXPECT_TRUE(Entries(temporary.Path()).empty());
    EXPECT_TRUE(dump.GetSources().strEntryPointPath.empty());
    EXPECT_TRUE(dump.GetSources().strMemoryDevicePath.empty());

    CSmbiosDump missing;
    EXPECT_FALSE(missing.Load(dir.File("absent.dump")));
    EXPECT_NE(missing.GetError().find("cannot open"), std::string::npos);
    CSMBIOSInventory inventory(missing.GetSources());
    EXPECT_EQ(inventory.Initialize(), 0);
}

TEST(SmbiosDump, ASecondLoadReplacesTheFirst)
{
    TempDir dir;
    WriteFile(dir.File("a.dump"), SmbiosDumpImage2(MakerTable(0x0B)));
    WriteFile(dir.File("b.dump"), SmbiosDumpImage2(MakerTable(0x0C)));
    CSmbiosDump dump;
    ASSERT_TRUE(dump.Load(dir.File("a.dump")));
    const std::string strFirst = dump.GetDirectory();
    ASSERT_TRUE(dump.Load(dir.File("b.dump")));
    EXPECT_FALSE(FileExists(strFirst));
    CSMBIOSInventory inventory(dump.GetSources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemID(), "0x0c");
}

TEST(SmbiosDump, ARelativeTmpdirStillGivesSourcesThatWorkFromAnyDirectory)
{
    TempDir dir;
    TempDir elsewhere;
    WriteFile(dir.File("server.dump"), SmbiosDumpImage2(MakerTable()));
    MakeDirectory(dir.File("tmp"));
    ScopedCwd cwd(dir.Path());
    ScopedTmpdir tmpdir("tmp");
    CSmbiosDump dump;
    ASSERT_TRUE(dump.Load("server.dump")) << dump.GetError();
    const std::string strExpected = CurrentDirectory() + "/tmp/";
    EXPECT_EQ(dump.GetDirectory().compare(0, strExpected.size(), strExpected), 0) << dump.GetDirectory();
    ScopedCwd away(elsewhere.Path());
    CSMBIOSInventory inventory(dump.GetSources());
    ASSERT_EQ(inventory.Initialize(), 1);
    EXPECT_EQ(inventory.GetSystemID(), "0x0b");
}
