// The inspection tool opens the library's log before anything reads a
// package, so that the readers cannot open it inside the package directory.

#include "DiagnosticLog.h"
#include "Logger.h"
#include "SMBIOSInventory.h"
#include "SoftwareComponentInfo.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vextest;

TEST(DiagnosticLog, WithoutAFileTheLogGoesToDevNullAndTheMarkerChangesNothing)
{
    TempDir dir;
    WriteFile(dir.File("vexdebuglog"), "");
    WriteFile(dir.File("package.xml"), "<SoftwareComponent/>");
    ScopedCwd cwd(dir.Path());
    ASSERT_TRUE(CDiagnosticLog::Open(""));
    EXPECT_TRUE(CLogger::GetInstance()->IsInitialized());
    {
        CSoftwareComponentInfo reader;
        CSMBIOSInventory smbios;
    }
    EXPECT_FALSE(FileExists(dir.File("baseutils.log")));
    EXPECT_STREQ(CDiagnosticLog::pszDiscard, "/dev/null");
}

TEST(DiagnosticLog, ANamedFileReceivesTheReadersLines)
{
    TempDir dir;
    TempDir logs;
    WriteFile(dir.File("vexdebuglog"), "");
    WriteFile(dir.File("package.xml"), "<SoftwareComponent/>");
    ASSERT_TRUE(CDiagnosticLog::Open(logs.File("inspect.log")));
    {
        ScopedCwd cwd(dir.Path());
        CSoftwareComponentInfo reader;
    }
    EXPECT_FALSE(FileExists(dir.File("baseutils.log")));
    const std::vector<std::string> vMessages = ReadLogMessages(logs.File("inspect.log"));
    EXPECT_NE(std::find(vMessages.begin(), vMessages.end(),
                        "CSoftwareComponentInfo::CSoftwareComponentInfo() Entering Constructor Method"),
              vMessages.end());
}

TEST(DiagnosticLog, AFileThatCannotBeOpenedIsReported)
{
    TempDir dir;
    EXPECT_FALSE(CDiagnosticLog::Open(dir.File("missing/inspect.log")));
    EXPECT_FALSE(CLogger::GetInstance()->IsInitialized());
}

TEST(DiagnosticLog, ALoggerAlreadyOpenIsNotTakenOver)
{
    TempDir dir;
    StartLogging(dir.File("first.log"));
    EXPECT_FALSE(CDiagnosticLog::Open(dir.File("second.log")));
    EXPECT_FALSE(FileExists(dir.File("second.log")));
}
