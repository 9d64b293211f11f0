// vexinspect smbios run in-process on dumps.

#include "SmbiosBuilder.h"
#include "SmbiosCommand.h"
#include "TestSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
const std::string kTable = SmbiosTable({BiosInformationStructure("Brix", "2.19.1"),
                                        SystemInformationStructure("Brix", "Server R1", "1", "SN0001"),
                                        OemStringsStructure({"Brix System", "5[0000]"}), RevisionStructure(0x0B)});

// A dump whose table the reader refuses: its intermediate anchor is broken.
std::string BrokenDump()
{
    EntryPoint2Options broken;
    broken.bBreakIntermediateAnchor = true;
    return SmbiosDumpImage2(kTable, broken);
}

// The command run on a dump in a directory of its own.
class SmbiosCommand : public ::testing::Test
{
protected:
    // Runs the command on the dump at DumpPath(); its exit status.
    int Run(bool bJson = false)
    {
        SSmbiosOptions options;
        options.strFromDump = DumpPath();
        options.bJson = bJson;
        return RunInProcess<CSmbiosCommand>(options, m_strOut, m_strErr);
    }
    // Writes strDump at DumpPath() first.
    int RunOn(const std::string& strDump, bool bJson = false)
    {
        WriteFile(DumpPath(), strDump);
        return Run(bJson);
    }
    std::string DumpPath() const { return m_dir.File("server.dump"); }
    std::string FirstLine() const { return m_strOut.substr(0, m_strOut.find('\n') + 1); }

    TempDir m_dir;
    std::string m_strOut;
    std::string m_strErr;
};
} // namespace

TEST_F(SmbiosCommand, ADumpIsShownAsText)
{
    ASSERT_EQ(RunOn(SmbiosDumpImage2(kTable)), CSmbiosCommand::nExitTableRead);
    EXPECT_TRUE(m_strErr.empty());
    EXPECT_EQ(FirstLine(), "Source              : dump file " + DumpPath() + ", entry point 2.8\n");
    EXPECT_NE(m_strOut.find("System ID           : 0x0b (from the revision structure (type 208), single byte)\n"),
              std::string::npos);
}

TEST_F(SmbiosCommand, ADumpIsShownAsJson)
{
    ASSERT_EQ(RunOn(SmbiosDumpImage3(kTable), true), 0);
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(m_strOut);
    ASSERT_FALSE(json.empty());
    EXPECT_EQ(json.begin().key(), "schemaVersion");
    EXPECT_EQ(json["schemaVersion"], 1);
    EXPECT_EQ(json["command"], "smbios");
    EXPECT_EQ(json["source"], "dump-file");
    EXPECT_EQ(json["entryPointVersion"], "3.2.0");
    EXPECT_TRUE(json["entryPointVersionNote"].is_null());
    EXPECT_EQ(json["manufacturer"], "Brix");
    EXPECT_EQ(json["productName"], "Server R1");
    EXPECT_EQ(json["serialNumber"], "SN0001");
    EXPECT_EQ(json["oemStrings"], nlohmann::ordered_json({"Brix System", "5[0000]"}));
    EXPECT_EQ(json["systemID"], "0x0b");
}

TEST_F(SmbiosCommand, ADumpWhoseTableTheReaderRefusesHasNoTable)
{
    EXPECT_EQ(RunOn(BrokenDump()), CSmbiosCommand::nExitNoTable);
    EXPECT_EQ(m_strOut, "Source              : none: the table of dump file " + DumpPath() + " could not be read\n");
}

TEST_F(SmbiosCommand, AMissingDumpIsReported)
{
    EXPECT_EQ(Run(), CSmbiosCommand::nExitUnusableInput);
    EXPECT_TRUE(m_strOut.empty());
    EXPECT_EQ(m_strErr.find("vexinspect smbios: cannot open " + DumpPath()), 0u) << m_strErr;
}

TEST_F(SmbiosCommand, TheJsonOfADumpWithoutATableStillStartsWithItsSchemaVersion)
{
    EXPECT_EQ(RunOn(BrokenDump(), true), CSmbiosCommand::nExitNoTable);
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(m_strOut);
    ASSERT_FALSE(json.empty());
    EXPECT_EQ(json.begin().key(), "schemaVersion");
    EXPECT_EQ(json["schemaVersion"], 1);
    EXPECT_EQ(json["tableRead"], false);
}

TEST_F(SmbiosCommand, AFixedUpVersionIsShownWithDmidecodesNote)
{
    EntryPoint2Options fixedUp;
    fixedUp.nMinor = 31;
    ASSERT_EQ(RunOn(SmbiosDumpImage2(kTable, fixedUp)), CSmbiosCommand::nExitTableRead);
    EXPECT_EQ(FirstLine(), "Source              : dump file " + DumpPath() +
                               ", entry point 2.3; SMBIOS version fixup (2.31 -> 2.3).\n");
}
