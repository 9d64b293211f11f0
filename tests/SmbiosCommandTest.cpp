// vexinspect smbios run in-process on dumps.

#include "SmbiosBuilder.h"
#include "SmbiosCommand.h"
#include "TestSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <sstream>

using namespace vextest;

namespace
{
const std::string kTable = SmbiosTable({BiosInformationStructure("Brix", "2.19.1"),
                                        SystemInformationStructure("Brix", "Server R1", "1", "SN0001"),
                                        OemStringsStructure({"Brix System", "5[0000]"}), RevisionStructure(0x0B)});

int RunSmbios(const SSmbiosOptions& options, std::string& strOut, std::string& strErr)
{
    std::ostringstream out;
    std::ostringstream err;
    const int nStatus = CSmbiosCommand(options).Run(out, err);
    strOut = out.str();
    strErr = err.str();
    return nStatus;
}
} // namespace

TEST(SmbiosCommand, ADumpIsShownAsText)
{
    TempDir dir;
    WriteFile(dir.File("server.dump"), SmbiosDumpImage2(kTable));
    SSmbiosOptions options;
    options.strFromDump = dir.File("server.dump");
    std::string strOut;
    std::string strErr;
    ASSERT_EQ(RunSmbios(options, strOut, strErr), CSmbiosCommand::nExitTableRead);
    EXPECT_TRUE(strErr.empty());
    EXPECT_EQ(strOut.substr(0, strOut.find('\n') + 1),
              "Source              : dump file " + dir.File("server.dump") + ", entry point 2.8\n");
    EXPECT_NE(strOut.find("System ID           : 0x0b (from the revision structure (type 208), single byte)\n"),
              std::string::npos);
}

TEST(SmbiosCommand, ADumpIsShownAsJson)
{
    TempDir dir;
    WriteFile(dir.File("server.dump"), SmbiosDumpImage3(kTable));
    SSmbiosOptions options;
    options.strFromDump = dir.File("server.dump");
    options.bJson = true;
    std::string strOut;
    std::string strErr;
    ASSERT_EQ(RunSmbios(options, strOut, strErr), 0);
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(strOut);
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

TEST(SmbiosCommand, ADumpWhoseTableTheReaderRefusesHasNoTable)
{
    TempDir dir;
    EntryPoint2Options broken;
    broken.bBreakIntermediateAnchor = true;
    WriteFile(dir.File("broken.dump"), SmbiosDumpImage2(kTable, broken));
    SSmbiosOptions options;
    options.strFromDump = dir.File("broken.dump");
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunSmbios(options, strOut, strErr), CSmbiosCommand::nExitNoTable);
    EXPECT_EQ(strOut,
              "Source              : none: the table of dump file " + dir.File("broken.dump") + " could not be read\n");
}

TEST(SmbiosCommand, AMissingDumpIsReported)
{
    TempDir dir;
    SSmbiosOptions options;
    options.strFromDump = dir.File("absent.dump");
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunSmbios(options, strOut, strErr), CSmbiosCommand::nExitUnusableInput);
    EXPECT_TRUE(strOut.empty());
    EXPECT_EQ(strErr.find("vexinspect smbios: cannot open " + dir.File("absent.dump")), 0u) << strErr;
}

TEST(SmbiosCommand, TheJsonOfADumpWithoutATableStillStartsWithItsSchemaVersion)
{
    TempDir dir;
    EntryPoint2Options broken;
    broken.bBreakIntermediateAnchor = true;
    WriteFile(dir.File("broken.dump"), SmbiosDumpImage2(kTable, broken));
    SSmbiosOptions options;
    options.strFromDump = dir.File("broken.dump");
    options.bJson = true;
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunSmbios(options, strOut, strErr), CSmbiosCommand::nExitNoTable);
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(strOut);
    ASSERT_FALSE(json.empty());
    EXPECT_EQ(json.begin().key(), "schemaVersion");
    EXPECT_EQ(json["schemaVersion"], 1);
    EXPECT_EQ(json["tableRead"], false);
}

TEST(SmbiosCommand, AFixedUpVersionIsShownWithDmidecodesNote)
{
    TempDir dir;
    EntryPoint2Options fixedUp;
    fixedUp.nMinor = 31;
    WriteFile(dir.File("server.dump"), SmbiosDumpImage2(kTable, fixedUp));
    SSmbiosOptions options;
    options.strFromDump = dir.File("server.dump");
    std::string strOut;
    std::string strErr;
    ASSERT_EQ(RunSmbios(options, strOut, strErr), CSmbiosCommand::nExitTableRead);
    EXPECT_EQ(strOut.substr(0, strOut.find('\n') + 1), "Source              : dump file " + dir.File("server.dump") +
                                                           ", entry point 2.3; SMBIOS version fixup (2.31 -> 2.3).\n");
}
