#include "LinuxImpl.h"
#include "Logger.h"
#include "PlatformLayer.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>

#include <sys/wait.h>

using vextest::ScopedCwd;
using vextest::TempDir;

TEST(PlatformLayer, CreatesOneLinuxPlatformObjectOnFirstUse)
{
    IPlatformImpl* pFirst = CPlatformLayer::GetPlatform();
    ASSERT_NE(pFirst, nullptr);
    EXPECT_NE(dynamic_cast<CLinuxImpl*>(pFirst), nullptr);
    EXPECT_EQ(CPlatformLayer::GetPlatform(), pFirst);
}

TEST(PlatformLayer, ForwardsDirectoryOperations)
{
    TempDir dir;
    vextest::MakeDirectory(dir.File("rel"));
    vextest::WriteFile(dir.File("rel/PIEConfig.xml"), "<x/>");
    ScopedCwd cwd(dir.Path());
    const std::string strCwd = vextest::CurrentDirectory() + "/";
    EXPECT_EQ(CPlatformLayer::getCurrentDirectory(), strCwd);
    EXPECT_TRUE(CPlatformLayer::setCurrentDirectory("rel"));
    EXPECT_EQ(CPlatformLayer::getCurrentDirectory(), strCwd + "rel/");
    EXPECT_TRUE(CPlatformLayer::IsFileExits("PIEConfig.xml"));
    EXPECT_TRUE(CPlatformLayer::IsFileExistsAbs(strCwd + "rel/PIEConfig.xml"));
    EXPECT_TRUE(CPlatformLayer::IsDirectory(strCwd + "rel"));
    EXPECT_FALSE(CPlatformLayer::IsDirectory(strCwd + "rel/PIEConfig.xml"));
    EXPECT_TRUE(CPlatformLayer::setCurrentDirectory(strCwd + "missing"));
    EXPECT_EQ(CPlatformLayer::getCurrentDirectory(), strCwd + "rel/");
    std::string strDir = strCwd + "rel";
    EXPECT_EQ(CPlatformLayer::GetFileListName(strDir), std::vector<std::string>{"PIEConfig.xml"});
    EXPECT_EQ(CPlatformLayer::GetFileList(strDir), std::vector<std::string>{strCwd + "rel/PIEConfig.xml"});
    EXPECT_FALSE(CPlatformLayer::getCurrentProcessDirectory().empty());
}

TEST(PlatformLayer, ForwardsCommands)
{
    EXPECT_EQ(WEXITSTATUS(CPlatformLayer::ExecuteCmd("exit 5", false, 0)), 5);
    EXPECT_EQ(CPlatformLayer::ExecuteCmdNoWait("true", false, 0), 0);
    bool bTimedOut = true;
    EXPECT_EQ(WEXITSTATUS(CPlatformLayer::ExecuteCmdWithTimeout("exit 6", 5000, bTimedOut)), 6);
    EXPECT_FALSE(bTimedOut);
}

TEST(PlatformLayer, ForwardsLibraryOperations)
{
    void* pHandle = CPlatformLayer::Load_Library("libm.so.6");
    ASSERT_NE(pHandle, nullptr);
    EXPECT_NE(CPlatformLayer::GetProcAddress(pHandle, "sqrt"), nullptr);
    CPlatformLayer::FreeLibrary(pHandle);
    void* pSecond = CPlatformLayer::Load_Library_without_Customization("libm.so.6");
    EXPECT_NE(pSecond, nullptr);
    CPlatformLayer::FreeLibrary(pSecond);
    EXPECT_EQ(CPlatformLayer::LoadZephLibrary("libvexdep-no-such-library.so"), nullptr);
}

TEST(PlatformLayer, UninstallWithoutInstallRunsNothing)
{
    CLinuxImpl::nZEPHInstallRefCount = 0;
    EXPECT_EQ(CPlatformLayer::UninstallZeph(), 0);
    EXPECT_EQ(CLinuxImpl::nZEPHInstallRefCount, -1);
}

TEST(PlatformLayer, CreateEmptyVEXDebuLogFileCreatesTheMarkerInTheWorkingDirectory)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    vextest::WriteFile(dir.File("vexdebuglog"), "left over");
    EXPECT_TRUE(CPlatformLayer::CreateEmptyVEXDebuLogFile());
    EXPECT_TRUE(vextest::FileExists(dir.File("vexdebuglog")));
    EXPECT_EQ(vextest::ReadFile(dir.File("vexdebuglog")), "");
    EXPECT_TRUE(CPlatformLayer::IsFileExits(strEnableLogFileName));
}

TEST(PlatformLayer, CreateEmptyVEXDebuLogFileFailsInAnUnwritableDirectory)
{
    TempDir dir;
    vextest::MakeDirectory(dir.File("marker-is-a-directory"));
    ScopedCwd cwd(dir.Path());
    vextest::MakeDirectory(dir.File("vexdebuglog"));
    EXPECT_FALSE(CPlatformLayer::CreateEmptyVEXDebuLogFile());
}
