#include "PackageDescriptionReader.h"

#include "PlatformLayer.h"
#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

TEST(PackageDescriptionReader, ReadsIdentityDevicesAndDependenciesAsTheCheckerDoes)
{
    TempDir work;
    const std::string strBefore = CPlatformLayer::getCurrentDirectory();
    CPackageDescriptionReader reader(work.Path());
    PackageRecipe recipe;
    recipe.strDisplay = "Network Adapter Firmware";
    recipe.strVersion = "22.2.0";
    recipe.vDevices = {{"110204", {"1A2B:1593:1F0C:0002", "1A2B:1594:1F0C:0002"}}, {"104500", {}}};
    DependencyRecipe agent;
    agent.strComponentID = "112233";
    agent.strComponentType = "APAC";
    agent.strVersion = "11.0.0";
    agent.strPath = "FOLDER11\\AGENT\\agent.tar.gz";
    agent.strReleaseID = "NICINV";
    DependencyRecipe firmware;
    firmware.bSoft = true;
    firmware.strComponentID = "1";
    firmware.strVersion = "2";
    firmware.strPath = "X";
    firmware.strReleaseID = "OTHER";
    firmware.strPCI = "8086:1572:8086:0001";
    recipe.vDependencies = {agent, agent, firmware};

    SPackageDescription description;
    std::string strError;
    ASSERT_TRUE(reader.Read(PackageXml(recipe), description, strError)) << strError;
    EXPECT_EQ(CPlatformLayer::getCurrentDirectory(), strBefore);
    EXPECT_EQ(description.strDisplay, "Network Adapter Firmware");
    EXPECT_EQ(description.strVersion, "22.2.0");
    EXPECT_EQ(description.strComponentType, "FRMW");
    ASSERT_EQ(description.vDevices.size(), 2u);
    EXPECT_EQ(description.vDevices[0].strComponentID, "110204");
    ASSERT_EQ(description.vDevices[0].vPCI.size(), 2u);
    EXPECT_EQ(description.vDevices[0].vPCI[1].strDeviceID, "1594");
    EXPECT_EQ(description.vDevices[1].strComponentID, "104500");
    EXPECT_TRUE(description.vDevices[1].vPCI.empty());
    // The repeated dependency collapses, as the checker's reader collapses it.
    ASSERT_EQ(description.vDependencies.size(), 2u);
    EXPECT_EQ(description.vDependencies[0].strPath, "FOLDER11/AGENT/agent.tar.gz");
    EXPECT_EQ(description.vDependencies[1].eDeviceType, CDeviceInfo::eDeviceTypePCI);
    EXPECT_EQ(description.vDependencies[1].eType, CDeviceInfo::eDependencyTypeSoft);
    EXPECT_EQ(description.vReleaseDirectories, (std::vector<std::string>{"NICINV", "OTHER"}));
    // Lines of the elements in package.xml.
    const std::vector<std::string> vLines = Lines(PackageXml(recipe));
    ASSERT_GT(description.vDependencies[0].nLine, 0);
    EXPECT_NE(vLines[description.vDependencies[0].nLine - 1].find("<Dependency componentID=\"112233\""),
              std::string::npos);
    EXPECT_NE(vLines[description.vDependencies[1].nLine - 1].find("<SoftDependency"), std::string::npos);
    EXPECT_TRUE(ListDirectory(work.Path()).empty());
}

TEST(PackageDescriptionReader, RefusesWhatIsNoPackageDescription)
{
    TempDir work;
    CPackageDescriptionReader reader(work.Path());
    SPackageDescription description;
    std::string strError;
    EXPECT_FALSE(reader.Read("<SoftwareComponent><unclosed>", description, strError));
    EXPECT_EQ(strError.compare(0, 26, "package.xml does not parse"), 0) << strError;
    EXPECT_FALSE(reader.Read("<Other/>", description, strError));
    EXPECT_EQ(strError, "package.xml has no SoftwareComponent element");
}
