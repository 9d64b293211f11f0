#include "LinuxImpl.h"
#include "Logger.h"
#include "PlatformLayer.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

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

TEST(PlatformLayer, ForwardsEnvironmentLookups)
{
    setenv("VEXDEP_FACADE_VARIABLE", "42", 1);
    std::string strValue;
    EXPECT_TRUE(CPlatformLayer::GetEnvironmentVariable("VEXDEP_FACADE_VARIABLE", strValue));
    EXPECT_EQ(strValue, "42");
    unsetenv("VEXDEP_FACADE_VARIABLE");
    EXPECT_FALSE(CPlatformLayer::GetEnvironmentVariable("VEXDEP_FACADE_VARIABLE", strValue));
}

// The interface's twenty established operations come first, in their
// established order; the project's own operations follow them.
TEST(PlatformInterface, DeclaresTheEstablishedOperationsFirstAndInOrder)
{
    const std::string strHeader = vextest::ReadFile(std::string(VEXDEP_SOURCE_DIR) + "/baseutils/src/IPlatformImpl.h");
    std::vector<std::string> vDeclared;
    std::string::size_type nPos = 0;
    while ((nPos = strHeader.find("virtual ", nPos)) != std::string::npos)
    {
        const std::string::size_type nOpen = strHeader.find('(', nPos);
        const std::string::size_type nNameStart = strHeader.find_last_of(" *&", nOpen - 1) + 1;
        vDeclared.push_back(strHeader.substr(nNameStart, nOpen - nNameStart));
        nPos = nOpen;
    }
    const std::vector<std::string> vEstablished = {"isZEPHInstalled",
                                                   "InstallZeph",
                                                   "UninstallZeph",
                                                   "LoadLibrary",
                                                   "FreeLibrary",
                                                   "GetProcAddress",
                                                   "ExecuteCmd",
                                                   "ExecuteCmdNoWait",
                                                   "Sleep",
                                                   "getCurrentDirectory",
                                                   "getCurrentProcessDirectory",
                                                   "setCurrentDirectory",
                                                   "GetFileList",
                                                   "GetFileListName",
                                                   "IsFileExits",
                                                   "IsFileExistsAbs",
                                                   "LoadZephLibrary",
                                                   "isUSBblocklisted",
                                                   "unloadUSB",
                                                   "LoadLibrarywithoutCustomization"};
    ASSERT_GE(vDeclared.size(), vEstablished.size());
    EXPECT_EQ(std::vector<std::string>(vDeclared.begin(), vDeclared.begin() + vEstablished.size()), vEstablished);
    const std::vector<std::string> vOwn(vDeclared.begin() + vEstablished.size(), vDeclared.end());
    const std::vector<std::string> vExpectedOwn = {"IsDirectory",
                                                   "ReadRegularFile",
                                                   "IsStreamOrDevice",
                                                   "OpenHeldFile",
                                                   "CloseHeldFile",
                                                   "ExecuteCmdWithTimeout",
                                                   "GetEnvironmentVariable",
                                                   "ChangeDirectory",
                                                   "GetModificationTime",
                                                   "IsWritableDirectory",
                                                   "CanOpen",
                                                   "ExamineFile",
                                                   "BeginStreamCapture",
                                                   "TakeCapturedStreams",
                                                   "EndStreamCapture",
                                                   "GetFileClockTime"};
    EXPECT_EQ(vOwn, vExpectedOwn);
}
