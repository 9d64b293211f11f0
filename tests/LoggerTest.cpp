#include "Logger.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <climits>
#include <regex>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using vextest::ReadFile;
using vextest::ReadLogLines;
using vextest::TempDir;

namespace
{
// Every test here runs in its own process (see tests/CMakeLists.txt): the
// logger is a process-wide singleton that cannot be switched off again.
class LoggerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(CLogger::GetInstance()->IsInitialized())
            << "the logger is already on in this process: run this test on its own (ctest does)";
    }

    TempDir m_dir;
};
} // namespace

TEST_F(LoggerTest, GetInstanceAlwaysReturnsTheSameObject)
{
    CLogger* pFirst = CLogger::GetInstance();
    ASSERT_NE(pFirst, nullptr);
    EXPECT_EQ(pFirst, CLogger::GetInstance());
}

TEST_F(LoggerTest, GlobalFileNames)
{
    EXPECT_EQ(strEnableLogFileName, "vexdebuglog");
    EXPECT_EQ(strBaseUtilsLogFileName, "baseutils.log");
}

TEST_F(LoggerTest, LogWritesNothingWhileOff)
{
    vextest::ScopedCwd cwd(m_dir.Path());
    CLogger::GetInstance()->log("DependenciesChecker", 1, std::string("lost"));
    std::ostringstream oss;
    oss << "also lost";
    CLogger::GetInstance()->log("DependenciesChecker", 2, oss);
    EXPECT_FALSE(vextest::FileExists(m_dir.File("debug.log")));
    EXPECT_FALSE(vextest::FileExists(m_dir.File("baseutils.log")));
}

TEST_F(LoggerTest, FirstSuccessfulInitializeReturnsFalseAndLaterCallsTrue)
{
    CLogger* pLogger = CLogger::GetInstance();
    EXPECT_FALSE(pLogger->Initialize(m_dir.File("baseutils.log")));
    EXPECT_TRUE(pLogger->IsInitialized());
    EXPECT_TRUE(pLogger->Initialize(m_dir.File("dependency.log")));
    pLogger->log("x", 1, std::string("message"));
    EXPECT_FALSE(vextest::FileExists(m_dir.File("dependency.log")));
    EXPECT_EQ(ReadLogLines(m_dir.File("baseutils.log")).size(), 1u);
}

TEST_F(LoggerTest, FailedInitializeReturnsFalseStaysOffAndMayBeRetried)
{
    CLogger* pLogger = CLogger::GetInstance();
    EXPECT_FALSE(pLogger->Initialize(m_dir.File("missing-directory/baseutils.log")));
    EXPECT_FALSE(pLogger->IsInitialized());
    pLogger->log("x", 1, std::string("dropped"));

    EXPECT_FALSE(pLogger->Initialize(m_dir.File("second.log")));
    EXPECT_TRUE(pLogger->IsInitialized());
    pLogger->log("x", 2, std::string("kept"));
    const std::vector<std::string> vLines = ReadLogLines(m_dir.File("second.log"));
    ASSERT_EQ(vLines.size(), 1u);
    EXPECT_EQ(vextest::MessageOf(vLines[0]), "kept");
}

TEST_F(LoggerTest, InitializeTruncatesAnExistingLog)
{
    vextest::WriteFile(m_dir.File("baseutils.log"), "old content of an earlier run\n");
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    EXPECT_EQ(ReadFile(m_dir.File("baseutils.log")), "");
}

TEST_F(LoggerTest, WholeLineLayoutByteForByte)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    CLogger::GetInstance()->log("/src/Dependency/src/DependenciesChecker", 114,
                                std::string("CDependenciesChecker::Process Start "));
    const std::string strLog = ReadFile(m_dir.File("baseutils.log"));
    // Only the time stamp is masked; everything else is compared exactly.
    const std::regex stamp(R"(^\[\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\] )");
    ASSERT_TRUE(std::regex_search(strLog, stamp)) << strLog;
    EXPECT_EQ(std::regex_replace(strLog, stamp, "[T] "),
              "[T] :       DependenciesChecker:  114: CDependenciesChecker::Process Start \n");
}

TEST_F(LoggerTest, TimeStampIsLocalTimeOfTheWrite)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    const std::time_t tBefore = std::time(nullptr);
    CLogger::GetInstance()->log("f", 1, std::string("m"));
    const std::string strLog = ReadFile(m_dir.File("baseutils.log"));
    std::tm tmStamp = {};
    ASSERT_NE(strptime(strLog.c_str(), "[%Y-%m-%dT%H:%M:%S]", &tmStamp), nullptr) << strLog;
    tmStamp.tm_isdst = -1;
    const std::time_t tStamp = std::mktime(&tmStamp);
    EXPECT_LE(std::abs(std::difftime(tStamp, tBefore)), 2.0);
}

namespace
{
// A line logged with the given file argument, line number and message, and
// the line the log then holds (its time stamp masked).
struct LayoutCase
{
    const char* pszName;
    std::string strFile;
    unsigned int nLine;
    std::string strMessage;
    std::string strExpected;
};

void PrintTo(const LayoutCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class LineLayout : public LoggerTest, public ::testing::WithParamInterface<LayoutCase>
{
};

std::vector<LayoutCase> LayoutCases()
{
    return {
        {"FileArgumentWithoutSlashIsWrittenWhole", "LinuxImpl", 7, "m", "[TIME] :                 LinuxImpl:    7: m"},
        {"FileArgumentEndingInSlashGivesAnEmptyPaddedField", "some/dir/", 12, "m",
         "[TIME] : " + std::string(25, ' ') + ":   12: m"},
        {"LongFileNameIsWrittenWhole", std::string(30, 'n'), 3, "m", "[TIME] : " + std::string(30, 'n') + ":    3: m"},
        {"LineNumberWiderThanFiveDigitsWidensTheLine", "Logger", 1234567, "m",
         "[TIME] :                    Logger:1234567: m"},
        {"MessagesKeepTrailingBlanks", "f", 1, "ends in blanks  ",
         "[TIME] :                         f:    1: ends in blanks  "},
    };
}
} // namespace

TEST_P(LineLayout, IsWritten)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    CLogger::GetInstance()->log(GetParam().strFile.c_str(), GetParam().nLine, GetParam().strMessage);
    EXPECT_EQ(ReadLogLines(m_dir.File("baseutils.log")), std::vector<std::string>{GetParam().strExpected});
}

INSTANTIATE_TEST_SUITE_P(LoggerTest, LineLayout, ::testing::ValuesIn(LayoutCases()),
                         [](const ::testing::TestParamInfo<LayoutCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(LoggerTest, EveryLineIsFlushedAsItIsWritten)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    for (unsigned int n = 1; n <= 3; ++n)
    {
        CLogger::GetInstance()->log("f", n, std::string("line ") + std::to_string(n));
        // Read back while the logger still holds the file open.
        EXPECT_EQ(ReadLogLines(m_dir.File("baseutils.log")).size(), n);
    }
}

TEST_F(LoggerTest, StreamOverloadLogsThenEmptiesTheStreamAndClearsItsState)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    std::ostringstream oss;
    oss << "first " << 42;
    oss.setstate(std::ios::failbit);
    CLogger::GetInstance()->log("f", 1, oss);
    EXPECT_EQ(oss.str(), "");
    EXPECT_TRUE(oss.good());

    oss << "second";
    CLogger::GetInstance()->log("f", 2, oss);
    EXPECT_EQ(oss.str(), "");

    const std::vector<std::string> vMessages = vextest::ReadLogMessages(m_dir.File("baseutils.log"));
    ASSERT_EQ(vMessages.size(), 2u);
    EXPECT_EQ(vMessages[0], "first 42");
    EXPECT_EQ(vMessages[1], "second");
}

TEST_F(LoggerTest, StreamOverloadEmptiesTheStreamWhileOff)
{
    std::ostringstream oss;
    oss << "lost";
    oss.setstate(std::ios::badbit);
    CLogger::GetInstance()->log("f", 1, oss);
    EXPECT_EQ(oss.str(), "");
    EXPECT_TRUE(oss.good());
}

TEST_F(LoggerTest, LinesAreAppendedAtTheEndOfTheFile)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    CLogger::GetInstance()->log("f", 1, std::string("one"));
    {
        // Another writer appends behind the logger's position.
        std::ofstream ofs(m_dir.File("baseutils.log"), std::ios::app);
        ofs << "foreign line\n";
    }
    CLogger::GetInstance()->log("f", 2, std::string("two"));
    const std::vector<std::string> vLines = ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_EQ(vLines.size(), 3u);
    EXPECT_EQ(vLines[1], "foreign line");
    EXPECT_EQ(vextest::MessageOf(vLines[2]), "two");
}

TEST_F(LoggerTest, GetFileNameKeepsTheTextAfterTheLastSlash)
{
    CLogger* pLogger = CLogger::GetInstance();
    EXPECT_EQ(pLogger->getFileName("/a/b/SMBIOSInventory"), "SMBIOSInventory");
    EXPECT_EQ(pLogger->getFileName("PIEConfigInfo"), "PIEConfigInfo");
    EXPECT_EQ(pLogger->getFileName("dir/"), "");
    EXPECT_EQ(pLogger->getFileName(""), "");
}

TEST_F(LoggerTest, MacroLogsTheCallersSourceNameAndLine)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    const unsigned int nLine = __LINE__ + 1;
    VEXLOG("from the macro");
    const std::vector<std::string> vLines = ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_EQ(vLines.size(), 1u);
    std::ostringstream ossExpected;
    ossExpected << "[TIME] :                LoggerTest:" << std::setw(5) << nLine << ": from the macro";
    EXPECT_EQ(vLines[0], ossExpected.str());
}

TEST_F(LoggerTest, MacroDoesNotBuildTheMessageWhileOff)
{
    int nEvaluations = 0;
    auto build = [&nEvaluations]() {
        ++nEvaluations;
        return std::string("m");
    };
    VEXLOG(build());
    EXPECT_EQ(nEvaluations, 0);
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    VEXLOG(build());
    EXPECT_EQ(nEvaluations, 1);
}

TEST(LoggerSourceName, StripsDirectoryAndExtensionAtCompileTime)
{
    static constexpr auto kName = vexlog::MakeSourceName("/x/y.z/Dependency/src/DependenciesChecker.cpp");
    EXPECT_STREQ(kName.text, "DependenciesChecker");
    static constexpr auto kBare = vexlog::MakeSourceName("LinuxImpl");
    EXPECT_STREQ(kBare.text, "LinuxImpl");
    EXPECT_STREQ(VEXLOG_SOURCE, "LoggerTest");
}

TEST_F(LoggerTest, RecordedLinesAreReplayedWithTheirSourceAndLine)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    std::vector<SLogRecord> vRecorded;
    {
        CLogRecorder outer;
        CLogger::GetInstance()->log("/src/Outer", 10, std::string("outer only"));
        {
            CLogRecorder inner;
            CLogger::GetInstance()->log("Inner", 20, std::string("both"));
            ASSERT_EQ(inner.Records().size(), 1u);
            EXPECT_EQ(inner.Records()[0].strFile, "Inner");
            EXPECT_EQ(inner.Records()[0].nLine, 20u);
            EXPECT_EQ(inner.Records()[0].strMessage, "both");
        }
        vRecorded = outer.Records();
    }
    ASSERT_EQ(vRecorded.size(), 2u);
    CLogger::GetInstance()->log("After", 30, std::string("not recorded"));
    CLogger::GetInstance()->Replay(vRecorded);
    EXPECT_EQ(ReadLogLines(m_dir.File("baseutils.log")), (std::vector<std::string>{
                                                             "[TIME] :                     Outer:   10: outer only",
                                                             "[TIME] :                     Inner:   20: both",
                                                             "[TIME] :                     After:   30: not recorded",
                                                             "[TIME] :                     Outer:   10: outer only",
                                                             "[TIME] :                     Inner:   20: both",
                                                         }));
}

TEST_F(LoggerTest, NothingIsRecordedOrReplayedWhileOff)
{
    std::vector<SLogRecord> vRecords = {SLogRecord{"F", 1, "m"}};
    {
        CLogRecorder recorder;
        CLogger::GetInstance()->log("F", 1, std::string("lost"));
        EXPECT_TRUE(recorder.Records().empty());
    }
    vextest::ScopedCwd cwd(m_dir.Path());
    CLogger::GetInstance()->Replay(vRecords);
    EXPECT_FALSE(vextest::FileExists(m_dir.File("debug.log")));
}

TEST_F(LoggerTest, SilencedLinesAreRecordedButNotWritten)
{
    CLogger::GetInstance()->Initialize(m_dir.File("baseutils.log"));
    std::vector<SLogRecord> vRecorded;
    {
        CLogRecorder recorder;
        {
            CLogSilencer silencer;
            CLogger::GetInstance()->log("Quiet", 1, std::string("learnt, not written"));
        }
        CLogger::GetInstance()->log("Loud", 2, std::string("written"));
        vRecorded = recorder.Records();
    }
    ASSERT_EQ(vRecorded.size(), 2u);
    EXPECT_EQ(vRecorded[0].strMessage, "learnt, not written");
    EXPECT_EQ(ReadLogLines(m_dir.File("baseutils.log")),
              std::vector<std::string>{"[TIME] :                      Loud:    2: written"});
    CLogger::GetInstance()->Replay({vRecorded[0]});
    EXPECT_EQ(ReadLogLines(m_dir.File("baseutils.log")).back(),
              "[TIME] :                     Quiet:    1: learnt, not written");
}

// A log name that is a link is followed, as a file stream follows it: the
// link's target is emptied and receives the log.
TEST_F(LoggerTest, ALogNameThatIsALinkWritesTheLinksTarget)
{
    TempDir elsewhere;
    vextest::WriteFile(elsewhere.File("target.log"), "earlier content\n");
    ASSERT_EQ(symlink(elsewhere.File("target.log").c_str(), m_dir.File("baseutils.log").c_str()), 0);
    CLogger* pLogger = CLogger::GetInstance();
    EXPECT_FALSE(pLogger->Initialize(m_dir.File("baseutils.log")));
    EXPECT_TRUE(pLogger->IsInitialized());
    pLogger->log("x", 1, std::string("through the link"));
    EXPECT_EQ(ReadLogLines(elsewhere.File("target.log")),
              std::vector<std::string>{"[TIME] :                         x:    1: through the link"});
}

TEST_F(LoggerTest, ALogNameThatIsANamedPipeIsNotOpened)
{
    ASSERT_EQ(mkfifo(m_dir.File("baseutils.log").c_str(), 0600), 0);
    CLogger* pLogger = CLogger::GetInstance();
    // Opening a pipe without a reader for writing would block here for good.
    EXPECT_FALSE(pLogger->Initialize(m_dir.File("baseutils.log")));
    EXPECT_FALSE(pLogger->IsInitialized());
    // A regular file may still be chosen afterwards.
    EXPECT_FALSE(pLogger->Initialize(m_dir.File("other.log")));
    EXPECT_TRUE(pLogger->IsInitialized());
}

// A device is opened as any file is: a tool that wants no log opens the null
// device, and writing to it keeps everything else quiet.
TEST_F(LoggerTest, TheNullDeviceIsAcceptedAsALogThatDiscards)
{
    CLogger* pLogger = CLogger::GetInstance();
    EXPECT_FALSE(pLogger->Initialize("/dev/null"));
    EXPECT_TRUE(pLogger->IsInitialized());
    pLogger->log("x", 1, std::string("discarded"));
    // Later attempts, such as a reader's with baseutils.log, change nothing.
    vextest::ScopedCwd cwd(m_dir.Path());
    EXPECT_TRUE(pLogger->Initialize(strBaseUtilsLogFileName));
    EXPECT_FALSE(vextest::FileExists(m_dir.File("baseutils.log")));
}

// ---------------------------------------------------------------------------
// The reserve of free space the log leaves to the collectors
// ---------------------------------------------------------------------------

namespace
{
// What the free-space question of the tests answers, and what it was asked.
long long g_nFreeBytes = 0;
std::vector<std::string> g_vAskedPaths;

long long AnswerFreeBytes(const std::string& strPath)
{
    g_vAskedPaths.push_back(strPath);
    return g_nFreeBytes;
}

// Puts the test's question in place for one test, the default back after it.
class LoggerReserveTest : public LoggerTest
{
protected:
    void SetUp() override
    {
        LoggerTest::SetUp();
        g_nFreeBytes = 0;
        g_vAskedPaths.clear();
        CLogger::SetFreeSpaceQuery(AnswerFreeBytes);
    }
    void TearDown() override { CLogger::SetFreeSpaceQuery(nullptr); }
};

const std::string kStopMessage = "CLogger::log debug log stopped: 524288 bytes free on the log's file system, below "
                                 "the reserve of 1048576 bytes kept for the collectors";
} // namespace

TEST_F(LoggerReserveTest, TheReserveIsOneMebibyteAskedForEverySixteenKibibytes)
{
    EXPECT_EQ(CLogger::nFreeSpaceReserve, 1048576u);
    EXPECT_EQ(CLogger::nFreeSpaceCheckBytes, 16384u);
    EXPECT_EQ(CLogger::nFreeSpaceForLastLine, 65536u);
}

namespace
{
// The free space the logger is told of when it opens the log, and what two
// lines logged then leave in it: with room for the reserve, both lines;
// below it, the one line that says why the log stops, if there is room for
// that line. Either way the space is asked once.
struct ReserveCase
{
    const char* pszName;
    long long nFreeBytes;
    std::vector<std::string> vMessages;
    bool bWriting;
};

void PrintTo(const ReserveCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class ReserveOutcome : public LoggerReserveTest, public ::testing::WithParamInterface<ReserveCase>
{
};

const ReserveCase kReserveCases[] = {
    {"WithLessThanRoomForTheLastLineTheLogStopsWithoutIt", 65535, {}, false},
    {"WithRoomForTheLastLineItIsWritten",
     65536,
     {"CLogger::log debug log stopped: 65536 bytes free on the log's file system, below the reserve of 1048576 "
      "bytes kept for the collectors"},
     false},
    {"ExactlyTheReserveFreeKeepsTheLogWriting", 1048576, {"first", "second"}, true},
    {"AFreeSpaceThatCannotBeToldKeepsTheLogWriting", -1, {"first", "second"}, true},
};
} // namespace

TEST_P(ReserveOutcome, DecidesWhatIsWritten)
{
    g_nFreeBytes = GetParam().nFreeBytes;
    CLogger* pLogger = CLogger::GetInstance();
    pLogger->Initialize(m_dir.File("baseutils.log"));
    pLogger->log("x", 1, std::string("first"));
    pLogger->log("x", 2, std::string("second"));
    EXPECT_EQ(vextest::ReadLogMessages(m_dir.File("baseutils.log")), GetParam().vMessages);
    EXPECT_EQ(ReadFile(m_dir.File("baseutils.log")).empty(), GetParam().vMessages.empty());
    EXPECT_EQ(pLogger->IsWriting(), GetParam().bWriting);
    EXPECT_EQ(g_vAskedPaths.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(LoggerReserveTest, ReserveOutcome, ::testing::ValuesIn(kReserveCases),
                         [](const ::testing::TestParamInfo<ReserveCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(LoggerReserveTest, BelowTheReserveTheFirstLineIsReplacedByOneLastLineThatSaysWhy)
{
    g_nFreeBytes = 512 * 1024;
    CLogger* pLogger = CLogger::GetInstance();
    pLogger->Initialize(m_dir.File("baseutils.log"));
    ASSERT_TRUE(pLogger->IsWriting());
    pLogger->log("DependenciesChecker", 114, std::string("CDependenciesChecker::Process Start "));
    pLogger->log("DependenciesChecker", 115, std::string("never written"));
    VEXLOG(std::string("nor this"));

    const std::vector<std::string> vLines = ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_EQ(vLines.size(), 1u);
    EXPECT_EQ(vextest::MessageOf(vLines[0]), kStopMessage);
    // The usual layout, with the logger's own source name.
    EXPECT_EQ(vLines[0].find("[TIME] :                    Logger:"), 0u) << vLines[0];
    EXPECT_EQ(g_vAskedPaths.size(), 1u);
    EXPECT_FALSE(pLogger->IsWriting());
    // Still on: the file cannot be changed any more.
    EXPECT_TRUE(pLogger->IsInitialized());
    EXPECT_TRUE(pLogger->Initialize(m_dir.File("dependency.log")));
    EXPECT_FALSE(vextest::FileExists(m_dir.File("dependency.log")));
}

TEST_F(LoggerReserveTest, TheFreeSpaceIsAskedAgainOnlyAfterSixteenKibibytesWereWritten)
{
    g_nFreeBytes = 64LL * 1024 * 1024;
    CLogger* pLogger = CLogger::GetInstance();
    pLogger->Initialize(m_dir.File("baseutils.log"));
    // Each line: 22 stamp + 2 + 25 + 1 + 5 + 2 + 1000 + 1 = 1058 bytes.
    const std::string strMessage(1000, 'm');
    for (int i = 0; i < 15; ++i)
    {
        pLogger->log("x", 1, strMessage);
    }
    // 15 lines are 15,870 bytes: asked once, before the first.
    EXPECT_EQ(g_vAskedPaths.size(), 1u);
    pLogger->log("x", 1, strMessage);
    EXPECT_EQ(g_vAskedPaths.size(), 1u);
    // 16,928 bytes are past 16 KiB: the next line asks again.
    g_nFreeBytes = 512 * 1024;
    pLogger->log("x", 1, std::string("not written"));
    EXPECT_EQ(g_vAskedPaths.size(), 2u);
    pLogger->log("x", 1, std::string("nor this"));
    EXPECT_EQ(g_vAskedPaths.size(), 2u);

    const std::vector<std::string> vLines = ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_EQ(vLines.size(), 17u);
    EXPECT_EQ(vextest::MessageOf(vLines[15]), strMessage);
    EXPECT_EQ(vextest::MessageOf(vLines[16]), kStopMessage);
}

TEST_F(LoggerReserveTest, TheLogFileIsAskedAboutByItsAbsolutePathFromAnyWorkingDirectory)
{
    g_nFreeBytes = 64LL * 1024 * 1024;
    CLogger* pLogger = CLogger::GetInstance();
    {
        vextest::ScopedCwd cwd(m_dir.Path());
        pLogger->Initialize(strBaseUtilsLogFileName);
    }
    // Logging starts after the checker moved into a release directory.
    TempDir release;
    vextest::ScopedCwd cwd(release.Path());
    pLogger->log("x", 1, std::string("kept"));
    ASSERT_EQ(g_vAskedPaths.size(), 1u);
    char szReal[PATH_MAX];
    ASSERT_NE(realpath(m_dir.Path().c_str(), szReal), nullptr);
    EXPECT_TRUE(g_vAskedPaths[0] == m_dir.File("baseutils.log") ||
                g_vAskedPaths[0] == std::string(szReal) + "/baseutils.log")
        << g_vAskedPaths[0];
}

TEST_F(LoggerReserveTest, TheNullDeviceIsNeverAskedAbout)
{
    CLogger* pLogger = CLogger::GetInstance();
    pLogger->Initialize("/dev/null");
    pLogger->log("x", 1, std::string("discarded"));
    EXPECT_TRUE(g_vAskedPaths.empty());
    EXPECT_TRUE(pLogger->IsWriting());
}

TEST_F(LoggerReserveTest, SilencedLinesAreNotCountedAndDoNotAsk)
{
    g_nFreeBytes = 512 * 1024;
    CLogger* pLogger = CLogger::GetInstance();
    pLogger->Initialize(m_dir.File("baseutils.log"));
    {
        CLogSilencer silencer;
        pLogger->log("x", 1, std::string("silenced"));
    }
    EXPECT_TRUE(g_vAskedPaths.empty());
    EXPECT_TRUE(pLogger->IsWriting());
}

// The default question is statvfs: on this test's own file system, whose
// free space the test reads the same way, the log writes when the space
// is there and stops when it is not.
TEST_F(LoggerTest, TheDefaultQuestionIsTheFileSystemsFreeSpace)
{
    struct statvfs stFs;
    ASSERT_EQ(statvfs(m_dir.Path().c_str(), &stFs), 0);
    const unsigned long long nFree = static_cast<unsigned long long>(stFs.f_bavail) * stFs.f_frsize;
    if ((nFree < 4 * CLogger::nFreeSpaceReserve && nFree >= CLogger::nFreeSpaceReserve) ||
        nFree < 2 * CLogger::nFreeSpaceForLastLine)
    {
        GTEST_SKIP() << "the temporary directory's free space is too close to the reserve to tell";
    }
    CLogger* pLogger = CLogger::GetInstance();
    pLogger->Initialize(m_dir.File("baseutils.log"));
    pLogger->log("x", 1, std::string("first"));
    const std::vector<std::string> vLines = ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_EQ(vLines.size(), 1u);
    if (nFree >= CLogger::nFreeSpaceReserve)
    {
        EXPECT_EQ(vextest::MessageOf(vLines[0]), "first");
    }
    else
    {
        EXPECT_EQ(vextest::MessageOf(vLines[0]).find("CLogger::log debug log stopped: "), 0u);
    }
}
