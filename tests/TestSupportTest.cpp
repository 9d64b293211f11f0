// The test support itself, where a mistake would make other tests depend
// on the machine they run on.

#include "TestSupport.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

using namespace vextest;

// A descriptor the test process holds without close-on-exec (as one a CI
// runner or a terminal passes down) does not reach the command: the
// descriptor limits the fault catalogue sets mean the same everywhere.
TEST(RunCommand, PassesOnlyTheStandardStreams)
{
    const int nOpen = ::open("/dev/null", O_RDONLY);
    ASSERT_GE(nOpen, 0);
    const int nInherited = ::fcntl(nOpen, F_DUPFD, 10);
    ::close(nOpen);
    ASSERT_GE(nInherited, 10);
    const CommandResult result = RunCommand({"/bin/sh", "-c", "ls /proc/$$/fd"}, "/");
    ::close(nInherited);
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(result.strStdout, "0\n1\n2\n");
}

// The text of a record's fields that tables of expected records compare
// with: every field shows what the record holds, and an unknown name is a
// mistake in the table, not an empty field.
TEST(RecordFields, ShowTheNamedFieldsOfARecord)
{
    CDeviceInfo record;
    record.setComponentID("20");
    record.setDependencyContext("OS");
    record.setDeviceType(CDeviceInfo::eDeviceTypePCI);
    record.setDependencyType(CDeviceInfo::eDependencyTypeSoft);
    SPCIInfo pci = MakePCIIdentity("1A", "", "10DE", "28");
    pci.strMarketingName = "NIC";
    record.setPCIInfo(pci);
    std::vector<std::string> vPlatforms = {"0x0627", "0x0628"};
    record.setDependencyPlatforms(vPlatforms);
    EXPECT_EQ(RecordFields(record, "componentID | context|deviceType | dependencyType | parentDeviceType"),
              "20 | OS | PCI | soft | unknown");
    EXPECT_EQ(RecordField(record, "pci"), "1A//10DE/28 name=NIC");
    EXPECT_EQ(RecordField(record, "platforms"), "[0x0627, 0x0628]");
    EXPECT_EQ(RecordField(record, "parentPCI"), "[]");
    EXPECT_EQ(RecordField(record, "status"), "-1");
    EXPECT_NONFATAL_FAILURE(RecordField(record, "componentId"), "no record field named \"componentId\"");
}

TEST(RecordFields, OSRequirementsShowTheirNineFieldsInOrder)
{
    SOSInfo os;
    os.strMajorVersion = "7";
    os.strMinorVersion = "9";
    os.strOSVendor = "Vendor";
    os.strRequiredBuildNumber = "100";
    EXPECT_EQ(OSText(os), "7/9///Vendor////100");
}

// The entity expansion bomb that the readers' tests feed them.
TEST(EntityBombPrologue, DeclaresThirteenLevelsOfTenfoldReferences)
{
    const std::string strPrologue = EntityBombPrologue("r");
    EXPECT_EQ(strPrologue.find("<?xml version=\"1.0\"?>\n<!DOCTYPE r [\n <!ENTITY e0 \"lol"), 0u);
    EXPECT_NE(strPrologue.find(" <!ENTITY e12 \"&e11;&e11;&e11;&e11;&e11;&e11;&e11;&e11;&e11;&e11;\">\n]>\n"),
              std::string::npos);
    EXPECT_EQ(strPrologue.find("e13"), std::string::npos);
}
