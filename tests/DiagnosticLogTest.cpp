// The inspection tool opens the library's log before anything reads a
// package, so that the readers cannot open it inside the package directory.

#include "DiagnosticLog.h"
#include "Logger.h"
#include "SMBIOSInventory.h"
#include "SoftwareComponentInfo.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/stat.h>

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

TEST(DiagnosticLog, AFileThatCannotBeOpenedIsReportedWithTheSystemsReason)
{
    TempDir dir;
    std::string strReason;
    EXPECT_FALSE(CDiagnosticLog::Open(dir.File("missing/inspect.log"), strReason));
    EXPECT_EQ(strReason, "No such file or directory");
    EXPECT_FALSE(CDiagnosticLog::Open(dir.Path(), strReason));
    EXPECT_EQ(strReason, "Is a directory");
    // A named pipe is refused by the logger itself, without a failing call.
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(CDiagnosticLog::Open(dir.File("pipe"), strReason));
    EXPECT_EQ(strReason, "not a regular file");
    EXPECT_FALSE(CLogger::GetInstance()->IsInitialized());

    EXPECT_TRUE(CDiagnosticLog::Open(dir.File("inspect.log"), strReason));
    EXPECT_EQ(strReason, "");
    EXPECT_FALSE(CDiagnosticLog::Open(dir.File("other.log"), strReason));
    EXPECT_EQ(strReason, "the log is already open on another file");
}

TEST(DiagnosticLog, ALoggerAlreadyOpenIsNotTakenOver)
{
    TempDir dir;
    StartLogging(dir.File("first.log"));
    EXPECT_FALSE(CDiagnosticLog::Open(dir.File("second.log")));
    EXPECT_FALSE(FileExists(dir.File("second.log")));
}
