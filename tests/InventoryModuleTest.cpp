#include "InventoryModule.h"
#include "LinuxImpl.h"
#include "TestSupport.h"
#include "XmlSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

using vextest::ReadLogMessages;
using vextest::ScopedCwd;
using vextest::TempDir;

namespace
{
using Clock = std::chrono::steady_clock;
using vextest::Own;
using vextest::Records;

double SecondsSince(Clock::time_point tStart) { return std::chrono::duration<double>(Clock::now() - tStart).count(); }

using vextest::HasLine;

bool ProcessExists(pid_t nPid) { return nPid > 0 && kill(nPid, 0) == 0; }

// Every process whose command line mentions strText.
std::vector<pid_t> ProcessesMentioning(const std::string& strText)
{
    std::vector<pid_t> vFound;
    DIR* pProc = opendir("/proc");
    if (pProc == nullptr)
    {
        return vFound;
    }
    while (const dirent* pEntry = readdir(pProc))
    {
        const std::string strName = pEntry->d_name;
        if (strName.empty() || strName.find_first_not_of("0123456789") != std::string::npos)
        {
            continue;
        }
        std::string strCommandLine;
        try
        {
            strCommandLine = vextest::ReadFile("/proc/" + strName + "/cmdline");
        }
        catch (...)
        {
            continue; // ended meanwhile
        }
        std::replace(strCommandLine.begin(), strCommandLine.end(), '\0', ' ');
        if (strCommandLine.find(strText) != std::string::npos)
        {
            vFound.push_back(static_cast<pid_t>(std::stol(strName)));
        }
    }
    closedir(pProc);
    return vFound;
}

pid_t PidFrom(const std::string& strPath) { return static_cast<pid_t>(std::stol(vextest::ReadFile(strPath))); }

const char* const kInventory =
    "<SVMInventory>\n"
    "  <Device componentID=\"25227\" display=\"RAID Controller\">\n"
    "    <Application componentType=\"FRMW\" version=\"25.5.9.0001\"/>\n"
    "  </Device>\n"
    "  <Device vendorID=\"1A2B\" deviceID=\"1521\" subVendorID=\"1F0C\" subDeviceID=\"0602\" display=\"NIC\">\n"
    "    <Application componentType=\"FRMW\" version=\"18.8.9\"/>\n"
    "  </Device>\n"
    "</SVMInventory>\n";

// A collector body that writes the given document into inv.xml.
std::string WritesDocument(const std::string& strDocument)
{
    return "cat > inv.xml <<'EOF'\n" + strDocument + "\nEOF\n";
}

// A package directory with one component directory "comp" holding the
// configuration and the collector script. The test itself runs from another
// directory, which must be the working directory again after every call.
class InventoryModuleTest : public ::testing::Test
{
protected:
    InventoryModuleTest()
        : m_strModule(m_package.File("comp")), m_strElsewhere(m_package.File("elsewhere")),
          m_strInventoryPath(m_package.File("comp") + "/inv.xml")
    {
        vextest::MakeDirectory(m_strModule);
        vextest::MakeDirectory(m_strElsewhere);
    }

    void SetUp() override
    {
        // By the time the checker runs collectors, the package reader has
        // switched blank text nodes off for the process.
        xmlsupport::SetKeepBlanksDefault(false);
        vextest::StartLogging(m_package.File("baseutils.log"));
        m_pCwd.reset(new ScopedCwd(m_strElsewhere));
        m_strBefore = vextest::CurrentDirectory();
    }

    void TearDown() override { m_pCwd.reset(); }

    void WriteConfig(const std::string& strCommand, const std::string& strOutput, const std::string& strTimeout)
    {
        vextest::WriteFile(m_strModule + "/PIEConfig.xml",
                           "<?xml version=\"1.0\"?>\n<PIEConfig>\n  <Plugins>\n"
                           "    <Plugin description=\"Inventory\" type=\"0\" timeout=\"" +
                               strTimeout + "\">\n      <CliToFile>\n        <Command>" + strCommand +
                               "</Command>\n        <Output>" + strOutput +
                               "</Output>\n      </CliToFile>\n    </Plugin>\n  </Plugins>\n</PIEConfig>\n");
    }

    // The collector script "collect.sh" in the component directory, with the
    // configuration pointing at it.
    void WriteCollector(const std::string& strBody, const std::string& strTimeout = "30")
    {
        vextest::WriteFile(m_strModule + "/collect.sh", "#!/bin/sh\n" + strBody, true);
        WriteConfig("collect.sh", "inv.xml", strTimeout);
    }

    Records Run(const CCollectorTimeLimit& limit = CCollectorTimeLimit())
    {
        CInventoryModule module(m_strModule);
        module.SetTimeLimit(limit);
        Records vRecords = Own(module.GetInventoryInfo());
        m_lastRun = module.LastRun();
        EXPECT_EQ(vextest::CurrentDirectory(), m_strBefore) << "working directory not restored";
        return vRecords;
    }

    // The guard as the environment variable's value sets it.
    static CCollectorTimeLimit Guard(const std::string& strValue)
    {
        CCollectorTimeLimit limit;
        EXPECT_TRUE(CCollectorTimeLimit::Parse(strValue, limit)) << strValue;
        return limit;
    }

    std::vector<std::string> Log() const { return ReadLogMessages(m_package.File("baseutils.log")); }

    // Only the module's own lines.
    std::vector<std::string> ModuleLog() const
    {
        std::vector<std::string> vLines;
        for (const std::string& strLine : Log())
        {
            if (strLine.compare(0, 18, "CInventoryModule::") == 0)
            {
                vLines.push_back(strLine);
            }
        }
        return vLines;
    }

    TempDir m_package;
    const std::string m_strModule;
    const std::string m_strElsewhere;
    const std::string m_strInventoryPath;
    std::unique_ptr<ScopedCwd> m_pCwd;
    std::string m_strBefore;
    SCollectorRun m_lastRun;
};

// A value of a "Sig...:" line of /proc/<pid>/status, as a mask.
unsigned long long SignalMask(const std::string& strStatus, const std::string& strField)
{
    const std::string::size_type nPos = strStatus.find(strField + ":");
    if (nPos == std::string::npos)
    {
        return ~0ULL;
    }
    return std::stoull(strStatus.substr(nPos + strField.size() + 1), nullptr, 16);
}

bool InMask(unsigned long long nMask, int nSignal) { return (nMask >> (nSignal - 1)) & 1ULL; }
} // namespace

TEST_F(InventoryModuleTest, RunsTheCollectorInItsDirectoryAndReadsItsDocument)
{
    WriteCollector("pwd > ran_in\necho \"$@\" > arguments\n" + WritesDocument(kInventory));
    WriteConfig("collect.sh --all  -v", "inv.xml", "30");
    Records vRecords = Run();

    EXPECT_EQ(vextest::ReadFile(m_strModule + "/ran_in"), m_strModule + "\n");
    EXPECT_EQ(vextest::ReadFile(m_strModule + "/arguments"), "--all -v\n");
    ASSERT_EQ(vRecords.size(), 2u);
    EXPECT_EQ(vRecords[0]->getComponentID(), "25227");
    EXPECT_EQ(vRecords[0]->getDeviceType(), CDeviceInfo::eDeviceTypeNonPCI);
    EXPECT_EQ(vRecords[0]->getVersion(), "25.5.9.0001");
    EXPECT_EQ(vRecords[0]->getStatus(), -1);
    EXPECT_EQ(vRecords[1]->getDeviceType(), CDeviceInfo::eDeviceTypePCI);
    EXPECT_EQ(vRecords[1]->getPCIInfo().strSubDeviceID, "0602");
    EXPECT_EQ(vRecords[1]->getVersion(), "18.8.9");

    const std::vector<std::string> vExpected = {
        "CInventoryModule::CInventoryModule  module file path  " + m_strModule,
        "CInventoryModule::GetInventoryInfo Start   ",
        "CInventoryModule::GetInventoryInfo PIE File Path =   " + m_strModule + "/PIEConfig.xml",
        "CInventoryModule::GetInvntoryXml Start",
        "CInventoryModule::GetInvntoryXml strInventoryCmdFullPath = " + m_strModule + "//collect.sh --all  -v",
        "CInventoryModule::GetInvntoryXml Path:" + m_strModule + "//inv.xml",
        "CInventoryModule::GetInventoryInfo CDeviceInventoryInfo deviceInvInfo",
        "CInventoryModule::GetInventoryInfo deviceInvInfo.GetDeviceInfo Before",
        "CInventoryModule::GetInventoryInfo deviceInvInfo.GetDeviceInfo After",
        "CInventoryModule::GetInventoryInfo END",
        "CInventoryModule::~CInventoryModule  ",
    };
    EXPECT_EQ(ModuleLog(), vExpected);
    // The inventory document is read after the working directory is back.
    const std::vector<std::string> vLog = Log();
    EXPECT_TRUE(HasLine(vLog, "CLinuxImpl::IsFileExistsAbs() File name " + m_strModule + "//inv.xml exist"));
}

TEST_F(InventoryModuleTest, CollectorThatExitsNonZeroButWritesItsDocumentIsRead)
{
    WriteCollector(WritesDocument(kInventory) + "exit 1\n");
    Records vRecords = Run();
    ASSERT_EQ(vRecords.size(), 2u);
    EXPECT_EQ(vRecords[0]->getVersion(), "25.5.9.0001");
    const std::vector<std::string> vLog = ModuleLog();
    EXPECT_TRUE(HasLine(vLog, "CInventoryModule::GetInvntoryXml ExecuteCmd failed for getting the inventory"));
    EXPECT_TRUE(HasLine(vLog, "CInventoryModule::GetInventoryInfo END"));
}

// ---------------------------------------------------------------------------
// Runs that give no records, case by case: what the collector "collect.sh"
// does (after it marks that it ran), the command, timeout or whole
// configuration that name it, whether it runs and leaves a document, and
// lines the log must hold ("{MODULE}" stands for the component directory).
// ---------------------------------------------------------------------------

namespace
{
struct NothingCase
{
    const char* pszName;
    std::string strBody;
    const char* pszCommand;
    const char* pszTimeout;
    const char* pszConfig; // null: the configuration naming pszCommand and pszTimeout
    bool bCollectorRuns;
    bool bDocumentWritten;
    std::vector<std::string> vLogLines;
};

void PrintTo(const NothingCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class NoRecords : public InventoryModuleTest, public ::testing::WithParamInterface<NothingCase>
{
};

const std::string kNotRunLine =
    "CInventoryModule::GetInvntoryXml strInventoryCommand or  strInvetoryXmlfileName is empty or nTimeout <=0 ";
const std::string kNoInventoryLine = "CInventoryModule::GetInventoryInfo GetInvntoryXml failed";
const std::string kNoConfigurationLine = "CInventoryModule::GetInventoryInfo m_pPIEConfigInfo->Init failed";
const std::string kCollectorFailedLine = "CInventoryModule::GetInvntoryXml ExecuteCmd failed for getting the inventory";

std::vector<NothingCase> NothingCases()
{
    const std::string strWritesInventory = WritesDocument(kInventory);
    return {
        {"TimeoutBelowOneOrNotANumberMeansTheCollectorIsNotRun_Zero",
         strWritesInventory,
         "collect.sh",
         "0",
         nullptr,
         false,
         false,
         {kNotRunLine, kNoInventoryLine}},
        {"TimeoutBelowOneOrNotANumberMeansTheCollectorIsNotRun_Text",
         strWritesInventory,
         "collect.sh",
         "abc",
         nullptr,
         false,
         false,
         {kNotRunLine, kNoInventoryLine}},
        {"TimeoutBelowOneOrNotANumberMeansTheCollectorIsNotRun_Negative",
         strWritesInventory,
         "collect.sh",
         "-3",
         nullptr,
         false,
         false,
         {kNotRunLine, kNoInventoryLine}},
        {"TimeoutBelowOneOrNotANumberMeansTheCollectorIsNotRun_Hexadecimal",
         strWritesInventory,
         "collect.sh",
         " 0x10",
         nullptr,
         false,
         false,
         {kNotRunLine, kNoInventoryLine}},
        {"EmptyOrMalformedConfigurationGivesNothing_Empty",
         strWritesInventory,
         "",
         "",
         "",
         false,
         false,
         {kNoConfigurationLine}},
        {"EmptyOrMalformedConfigurationGivesNothing_Truncated",
         strWritesInventory,
         "",
         "",
         "<PIEConfig><Plugins><Plugin description=\"Inventory\" type=\"0\"",
         false,
         false,
         {kNoConfigurationLine}},
        {"EmptyOrMalformedConfigurationGivesNothing_NotXml",
         strWritesInventory,
         "",
         "",
         "collect.sh inv.xml 30",
         false,
         false,
         {kNoConfigurationLine}},
        {"EmptyOrMalformedConfigurationGivesNothing_NoOutput",
         strWritesInventory,
         "",
         "",
         "<PIEConfig><Plugins><Plugin description=\"Inventory\" type=\"0\" timeout=\"30\">"
         "<CliToFile><Command>collect.sh</Command></CliToFile></Plugin></Plugins></PIEConfig>",
         false,
         false,
         {kNoConfigurationLine}},
        {"CommandThatDoesNotExistGivesNothing",
         strWritesInventory,
         "no-such-collector.sh",
         "30",
         nullptr,
         false,
         false,
         {kCollectorFailedLine, "CDeviceInventoryInfo::GetDeviceInfo() Document {MODULE}//inv.xml  parsing failed "}},
        // The path of a document that is not there is taken for document
        // text.
        {"CollectorThatWritesNothingGivesNothing",
         "exit 0\n",
         "collect.sh",
         "30",
         nullptr,
         true,
         false,
         {"CDeviceInventoryInfo::CDeviceInventoryInfo() Document {MODULE}//inv.xml  parsing failed "}},
        {"CollectorThatWritesAnEmptyFileGivesNothing",
         ": > inv.xml\n",
         "collect.sh",
         "30",
         nullptr,
         true,
         true,
         {"CDeviceInventoryInfo::GetDeviceInfo() Document {MODULE}//inv.xml  parsing failed "}},
        {"CollectorThatWritesSomethingElseGivesNothing_Text",
         "echo 'collector: 2 devices found' > inv.xml\n",
         "collect.sh",
         "30",
         nullptr,
         true,
         true,
         {}},
        {"CollectorThatWritesSomethingElseGivesNothing_RandomBytes",
         "head -c 4096 /dev/urandom > inv.xml\n",
         "collect.sh",
         "30",
         nullptr,
         true,
         true,
         {}},
        {"CollectorThatWritesSomethingElseGivesNothing_OtherDocument",
         WritesDocument("<Inventory><Device componentID=\"1\"/></Inventory>"),
         "collect.sh",
         "30",
         nullptr,
         true,
         true,
         {}},
    };
}
} // namespace

TEST_P(NoRecords, AreRead)
{
    const NothingCase& entry = GetParam();
    vextest::WriteFile(m_strModule + "/collect.sh", "#!/bin/sh\ntouch ran\n" + entry.strBody, true);
    if (entry.pszConfig == nullptr)
    {
        WriteConfig(entry.pszCommand, "inv.xml", entry.pszTimeout);
    }
    else
    {
        vextest::WriteFile(m_strModule + "/PIEConfig.xml", entry.pszConfig);
    }
    EXPECT_TRUE(Run().empty());
    EXPECT_EQ(vextest::FileExists(m_strModule + "/ran"), entry.bCollectorRuns);
    EXPECT_EQ(vextest::FileExists(m_strInventoryPath), entry.bDocumentWritten);
    const std::vector<std::string> vLog = Log();
    for (const std::string& strLine : entry.vLogLines)
    {
        EXPECT_TRUE(HasLine(vLog, vextest::ReplaceAll(strLine, "{MODULE}", m_strModule))) << strLine;
    }
}

INSTANTIATE_TEST_SUITE_P(InventoryModuleTest, NoRecords, ::testing::ValuesIn(NothingCases()),
                         [](const ::testing::TestParamInfo<NothingCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(InventoryModuleTest, MissingConfigurationGivesNothing)
{
    Records vRecords = Run();
    EXPECT_TRUE(vRecords.empty());
    const std::vector<std::string> vExpected = {
        "CInventoryModule::CInventoryModule  module file path  " + m_strModule,
        "CInventoryModule::GetInventoryInfo Start   ",
        "CInventoryModule::GetInventoryInfo PIE File Path =   " + m_strModule + "/PIEConfig.xml",
        "CInventoryModule::GetInventoryInfo m_pPIEConfigInfo->Init failed",
        "CInventoryModule::~CInventoryModule  ",
    };
    EXPECT_EQ(ModuleLog(), vExpected);
    EXPECT_TRUE(HasLine(Log(), "CPIEConfigInfo::Init() Document " + m_strModule +
                                   "/PIEConfig.xml  parsed "
                                   "successfully "));
}

TEST_F(InventoryModuleTest, CollectorThatWritesFiftyMebibytesIsRead)
{
    // Two devices around six large text elements, 54 MB in all.
    WriteCollector("{\n"
                   "  printf '<SVMInventory><Device componentID=\"1\"><Application componentType=\"FRMW\" "
                   "version=\"1.0\"/></Device>'\n"
                   "  for i in 1 2 3 4 5 6; do\n"
                   "    printf '<Pad>'; head -c 9000000 /dev/zero | tr '\\000' x; printf '</Pad>'\n"
                   "  done\n"
                   "  printf '<Device componentID=\"2\"><Application componentType=\"DRVR\" "
                   "version=\"2.0\"/></Device></SVMInventory>'\n"
                   "} > inv.xml\n");
    Records vRecords = Run();
    struct stat st = {};
    ASSERT_EQ(stat(m_strInventoryPath.c_str(), &st), 0);
    EXPECT_GE(st.st_size, 50 * 1024 * 1024);
    ASSERT_EQ(vRecords.size(), 2u);
    EXPECT_EQ(vRecords[0]->getVersion(), "1.0");
    EXPECT_EQ(vRecords[1]->getComponentID(), "2");
    EXPECT_EQ(vRecords[1]->getVersion(), "2.0");
}

TEST_F(InventoryModuleTest, ThousandsOfDevicesAreRead)
{
    WriteCollector("{\n"
                   "  printf '<SVMInventory>'\n"
                   "  i=0\n"
                   "  while [ $i -lt 3000 ]; do\n"
                   "    printf '<Device vendorID=\"1A2B\" deviceID=\"%d\"><Application componentType=\"FRMW\" "
                   "version=\"1.%d\"/></Device>' $i $i\n"
                   "    i=$((i+1))\n"
                   "  done\n"
                   "  printf '</SVMInventory>'\n"
                   "} > inv.xml\n");
    Records vRecords = Run();
    ASSERT_EQ(vRecords.size(), 3000u);
    for (std::size_t nIndex = 0; nIndex < vRecords.size(); ++nIndex)
    {
        ASSERT_EQ(vRecords[nIndex]->getPCIInfo().strDeviceID, std::to_string(nIndex));
        ASSERT_EQ(vRecords[nIndex]->getVersion(), "1." + std::to_string(nIndex));
    }
}

TEST_F(InventoryModuleTest, AttributesWithEmptyValuesAreAbsent)
{
    WriteCollector(WritesDocument("<SVMInventory><Device componentID=\"\" vendorID=\"\" display=\"\">"
                                  "<Application componentType=\"\" version=\"\"/></Device>"
                                  "<Device componentID=\"\" vendorID=\"1D4E\" deviceID=\"\"/>"
                                  "<SPStatus result=\"\"><Message>not a failure</Message></SPStatus>"
                                  "</SVMInventory>"));
    Records vRecords = Run();
    ASSERT_EQ(vRecords.size(), 2u);
    EXPECT_EQ(vRecords[0]->getDeviceType(), CDeviceInfo::eDeviceTypeUnknown);
    EXPECT_EQ(vRecords[0]->getDeviceName(), "");
    EXPECT_EQ(vRecords[0]->getVersion(), "");
    EXPECT_EQ(vRecords[0]->getStatus(), -1);
    EXPECT_EQ(vRecords[1]->getDeviceType(), CDeviceInfo::eDeviceTypePCI);
    EXPECT_EQ(vRecords[1]->getPCIInfo().strVendorID, "1D4E");
    EXPECT_EQ(vRecords[1]->getPCIInfo().strDeviceID, "");
}

TEST_F(InventoryModuleTest, CollectorReportingAFailureGivesFailedRecords)
{
    WriteCollector(WritesDocument("<SVMInventory><SPStatus result=\"false\"><Message>no controller found</Message>"
                                  "</SPStatus></SVMInventory>"));
    Records vRecords = Run();
    ASSERT_EQ(vRecords.size(), 1u);
    EXPECT_EQ(vRecords[0]->getStatus(), 1);
    EXPECT_EQ(vRecords[0]->getErrorMsg(), "no controller found");
}

TEST_F(InventoryModuleTest, OutputInASubdirectoryKeepsTheDoubledSlash)
{
    vextest::MakeDirectory(m_strModule + "/out");
    vextest::WriteFile(m_strModule + "/collect.sh", "#!/bin/sh\ncd out\n" + WritesDocument(kInventory), true);
    WriteConfig("collect.sh", "out/inv.xml", "30");
    Records vRecords = Run();
    EXPECT_EQ(vRecords.size(), 2u);
    EXPECT_TRUE(HasLine(ModuleLog(), "CInventoryModule::GetInvntoryXml Path:" + m_strModule + "//out/inv.xml"));
}

TEST_F(InventoryModuleTest, CollectorSlowerThanItsLimitIsWaitedForAndRead)
{
    WriteCollector("sleep 2\n" + WritesDocument(kInventory), "1");
    const Clock::time_point tStart = Clock::now();
    Records vRecords = Run();
    const double dElapsed = SecondsSince(tStart);
    EXPECT_GE(dElapsed, 1.9);
    ASSERT_EQ(vRecords.size(), 2u);
    EXPECT_EQ(vRecords[0]->getStatus(), -1);
    EXPECT_TRUE(m_lastRun.bStarted);
    EXPECT_FALSE(m_lastRun.bTimedOut);
    EXPECT_EQ(m_lastRun.nConfiguredSeconds, 1);
    EXPECT_EQ(m_lastRun.nLimitSeconds, 0);
    EXPECT_GE(m_lastRun.nEndedMs - m_lastRun.nStartedMs, 1900);
}

// (The exact lines of an unguarded run are those of
// RunsTheCollectorInItsDirectoryAndReadsItsDocument.)
TEST_F(InventoryModuleTest, UnguardedRunWritesNoLineOfTheGuard)
{
    WriteCollector(WritesDocument(kInventory), "1");
    ASSERT_EQ(Run().size(), 2u);
    const std::vector<std::string> vLog = Log();
    ASSERT_FALSE(vLog.empty());
    for (const std::string& strLine : vLog)
    {
        EXPECT_EQ(strLine.find("CLinuxImpl::ExecuteCmd"), std::string::npos) << strLine;
        EXPECT_EQ(strLine.find("timed out"), std::string::npos) << strLine;
    }
}

TEST_F(InventoryModuleTest, CollectorRunsInTheCheckersProcessGroupAndSession)
{
    WriteCollector("cut -d' ' -f5,6 /proc/$$/stat > group.txt\n" + WritesDocument(kInventory));
    ASSERT_EQ(Run().size(), 2u);
    const std::string strExpected = std::to_string(getpgrp()) + " " + std::to_string(getsid(0)) + "\n";
    EXPECT_EQ(vextest::ReadFile(m_strModule + "/group.txt"), strExpected);
}

// Collector shell that writes its own signal lines of /proc into
// signals.txt with builtins only: a child (grep) would read them while the
// shell waits for it, and a shell blocks every signal while it waits.
const std::string kRecordOwnSignals =
    "while IFS= read -r line; do case $line in Sig*) echo \"$line\";; esac; done < /proc/$$/status > signals.txt\n";

TEST_F(InventoryModuleTest, CheckerIgnoresInterruptAndQuitWhileTheCollectorRuns)
{
    // The collector interrupts its parent, the checker, which must carry on
    // as the shell's caller does; the collector's own disposition is the
    // default one.
    const std::string strChecker = std::to_string(getpid());
    WriteCollector("kill -INT " + strChecker + "\nkill -QUIT " + strChecker + "\n" + kRecordOwnSignals +
                   WritesDocument(kInventory));
    ASSERT_EQ(Run().size(), 2u);
    const std::string strStatus = vextest::ReadFile(m_strModule + "/signals.txt");
    ASSERT_NE(strStatus.find("SigBlk:"), std::string::npos) << strStatus;
    EXPECT_FALSE(InMask(SignalMask(strStatus, "SigIgn"), SIGINT)) << strStatus;
    EXPECT_FALSE(InMask(SignalMask(strStatus, "SigIgn"), SIGQUIT)) << strStatus;
    EXPECT_FALSE(InMask(SignalMask(strStatus, "SigBlk"), SIGCHLD)) << strStatus;
}

TEST_F(InventoryModuleTest, CollectorInheritsTheCheckersOtherSignalDispositions)
{
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction previous = {};
    ASSERT_EQ(sigaction(SIGUSR1, &ignore, &previous), 0);
    WriteCollector(kRecordOwnSignals + WritesDocument(kInventory));
    ASSERT_EQ(Run().size(), 2u);
    sigaction(SIGUSR1, &previous, nullptr);
    const std::string strStatus = vextest::ReadFile(m_strModule + "/signals.txt");
    ASSERT_NE(strStatus.find("SigIgn:"), std::string::npos) << strStatus;
    EXPECT_TRUE(InMask(SignalMask(strStatus, "SigIgn"), SIGUSR1)) << strStatus;
    EXPECT_FALSE(InMask(SignalMask(strStatus, "SigIgn"), SIGTERM)) << strStatus;
}

TEST_F(InventoryModuleTest, BackgroundJobOfAnUnguardedCollectorIsLeftAlone)
{
    // The job finishes only once the test lets it (or after 30 s): a module
    // that waited for it would take those 30 s.
    WriteCollector("(" + vextest::ShellWaitsForFile("go", 30) +
                       "; echo finished > late.tmp; mv late.tmp late.txt) > /dev/null 2>&1 &\n"
                       "echo $! > child.pid\n" +
                       WritesDocument(kInventory),
                   "10");
    const Clock::time_point tStart = Clock::now();
    Records vRecords = Run();
    EXPECT_LT(SecondsSince(tStart), 20.0);
    ASSERT_EQ(vRecords.size(), 2u);
    const pid_t nChild = PidFrom(m_strModule + "/child.pid");
    EXPECT_FALSE(vextest::FileExists(m_strModule + "/late.txt"));
    // It finishes its work after the module is done with the collector.
    vextest::WriteFile(m_strModule + "/go", "");
    EXPECT_TRUE(vextest::WaitForFile(m_strModule + "/late.txt", 10));
    EXPECT_EQ(vextest::ReadFile(m_strModule + "/late.txt"), "finished\n");
    kill(nChild, SIGKILL);
}

TEST_F(InventoryModuleTest, GuardedCollectorThatLeavesAChildRunningIsReadAndTheChildEnded)
{
    WriteCollector("sleep 1000 > /dev/null 2>&1 &\necho $! > child.pid\n" + WritesDocument(kInventory), "10");
    const Clock::time_point tStart = Clock::now();
    Records vRecords = Run(Guard("config"));
    const double dElapsed = SecondsSince(tStart);
    ASSERT_EQ(vRecords.size(), 2u);
    EXPECT_EQ(vRecords[0]->getStatus(), -1);
    EXPECT_LT(dElapsed, 10 + CLinuxImpl::nTerminateGraceMs / 1000.0);
    const pid_t nChild = PidFrom(m_strModule + "/child.pid");
    EXPECT_FALSE(ProcessExists(nChild)) << "child " << nChild << " still running";
}

TEST_F(InventoryModuleTest, GuardedCollectorThatRunsOutOfTimeGivesOneFailedRecord)
{
    WriteCollector("echo $$ > collector.pid\n"
                   "sleep 1000 &\necho $! > child.pid\n"
                   "while :; do sleep 1; done\n",
                   "2");
    const Clock::time_point tStart = Clock::now();
    Records vRecords = Run(Guard("config"));
    const double dElapsed = SecondsSince(tStart);

    EXPECT_GE(dElapsed, 1.9);
    EXPECT_LT(dElapsed, 5.0);
    ASSERT_EQ(vRecords.size(), 1u);
    EXPECT_EQ(vRecords[0]->getStatus(), 1);
    EXPECT_EQ(vRecords[0]->getErrorMsg(), "Inventory collector timed out after 2 seconds");
    EXPECT_EQ(vRecords[0]->getErrorMsg(), CInventoryModule::TimedOutMessage(2));
    EXPECT_EQ(vRecords[0]->getDeviceType(), CDeviceInfo::eDeviceTypeUnknown);
    EXPECT_TRUE(m_lastRun.bTimedOut);
    EXPECT_EQ(m_lastRun.nLimitSeconds, 2);

    const pid_t nCollector = PidFrom(m_strModule + "/collector.pid");
    const pid_t nChild = PidFrom(m_strModule + "/child.pid");
    EXPECT_FALSE(ProcessExists(nCollector)) << "collector " << nCollector << " still running";
    EXPECT_FALSE(ProcessExists(nChild)) << "child " << nChild << " still running";
    EXPECT_TRUE(ProcessesMentioning(m_strModule).empty());

    const std::vector<std::string> vLog = ModuleLog();
    EXPECT_TRUE(HasLine(vLog, "CInventoryModule::GetInvntoryXml collector timed out after 2 seconds"));
    EXPECT_FALSE(HasLine(vLog, "CInventoryModule::GetInventoryInfo GetInvntoryXml failed"));
    EXPECT_FALSE(HasLine(vLog, "CInventoryModule::GetInventoryInfo CDeviceInventoryInfo deviceInvInfo"));
}

TEST_F(InventoryModuleTest, FixedGuardOverridesTheConfiguredLimit)
{
    WriteCollector("sleep 30\n" + WritesDocument(kInventory), "60");
    const Clock::time_point tStart = Clock::now();
    Records vRecords = Run(Guard("1"));
    EXPECT_LT(SecondsSince(tStart), 1 + CLinuxImpl::nTerminateGraceMs / 1000.0 + 1.5);
    ASSERT_EQ(vRecords.size(), 1u);
    EXPECT_EQ(vRecords[0]->getErrorMsg(), "Inventory collector timed out after 1 seconds");
    EXPECT_EQ(m_lastRun.nConfiguredSeconds, 60);
    EXPECT_EQ(m_lastRun.nLimitSeconds, 1);
}

TEST_F(InventoryModuleTest, GuardedCollectorWithinItsLimitIsRead)
{
    WriteCollector(WritesDocument(kInventory), "5");
    ASSERT_EQ(Run(Guard("config")).size(), 2u);
    EXPECT_FALSE(m_lastRun.bTimedOut);
    EXPECT_EQ(m_lastRun.nLimitSeconds, 5);
    EXPECT_EQ(m_lastRun.nWaitStatus, 0);
}

TEST_F(InventoryModuleTest, GuardedCollectorThatIgnoresTerminationIsKilledAfterTheGracePeriod)
{
    WriteCollector("trap '' TERM\n" + WritesDocument(kInventory) + "while :; do sleep 0.1; done\n", "1");
    const Clock::time_point tStart = Clock::now();
    Records vRecords = Run(Guard("config"));
    const double dElapsed = SecondsSince(tStart);
    EXPECT_LT(dElapsed, 1 + CLinuxImpl::nTerminateGraceMs / 1000.0 + 1.5);
    // The document it wrote before hanging is not read: the run failed.
    ASSERT_EQ(vRecords.size(), 1u);
    EXPECT_EQ(vRecords[0]->getStatus(), 1);
    EXPECT_EQ(vRecords[0]->getErrorMsg(), "Inventory collector timed out after 1 seconds");
    EXPECT_TRUE(ProcessesMentioning(m_strModule).empty());
}

TEST_F(InventoryModuleTest, CollectorThatIsNotRunIsRecordedAsNotStarted)
{
    WriteCollector(WritesDocument(kInventory), "0");
    EXPECT_TRUE(Run(Guard("config")).empty());
    EXPECT_FALSE(m_lastRun.bConfigurationRead);
    EXPECT_FALSE(m_lastRun.bStarted);
}

TEST_F(InventoryModuleTest, HugeTimeoutDoesNotOverflow)
{
    for (const char* pszGuard : {"none", "config"})
    {
        WriteCollector(WritesDocument(kInventory), "9223372036854775807");
        Records vRecords = Run(Guard(pszGuard));
        EXPECT_EQ(vRecords.size(), 2u) << pszGuard;
        WriteCollector(WritesDocument(kInventory), "99999999999999999999999999");
        EXPECT_EQ(Run(Guard(pszGuard)).size(), 2u) << pszGuard;
    }
}

TEST_F(InventoryModuleTest, DocumentPathDoublesTheSlash)
{
    // A module path given with a trailing slash keeps it, too.
    WriteCollector(WritesDocument(kInventory));
    CInventoryModule module(m_strModule + "/");
    Records vRecords = Own(module.GetInventoryInfo());
    EXPECT_EQ(vRecords.size(), 2u);
    EXPECT_EQ(vextest::CurrentDirectory(), m_strBefore);
    const std::vector<std::string> vLog = ModuleLog();
    EXPECT_TRUE(
        HasLine(vLog, "CInventoryModule::GetInventoryInfo PIE File Path =   " + m_strModule + "//PIEConfig.xml"));
    EXPECT_TRUE(
        HasLine(vLog, "CInventoryModule::GetInvntoryXml strInventoryCmdFullPath = " + m_strModule + "///collect.sh"));
    EXPECT_TRUE(HasLine(vLog, "CInventoryModule::GetInvntoryXml Path:" + m_strModule + "///inv.xml"));
}

TEST_F(InventoryModuleTest, GetInvntoryXmlWithoutConfigurationFails)
{
    CInventoryModule module("/pkg/comp");
    std::string strOutputPath = "untouched";
    EXPECT_EQ(module.GetInvntoryXml(strOutputPath), 0);
    EXPECT_EQ(strOutputPath, "untouched");
    const std::vector<std::string> vExpected = {
        "CInventoryModule::CInventoryModule  module file path  /pkg/comp",
        "CInventoryModule::GetInvntoryXml Start",
        "CInventoryModule::GetInvntoryXml m_pPIEConfigInfo is NULL",
    };
    EXPECT_EQ(ModuleLog(), vExpected);
}

TEST_F(InventoryModuleTest, ModuleCanBeRunAgain)
{
    WriteCollector("echo x >> runs\n" + WritesDocument(kInventory));
    CInventoryModule module(m_strModule);
    EXPECT_EQ(Own(module.GetInventoryInfo()).size(), 2u);
    EXPECT_EQ(Own(module.GetInventoryInfo()).size(), 2u);
    EXPECT_EQ(vextest::ReadFile(m_strModule + "/runs"), "x\nx\n");
    EXPECT_EQ(vextest::CurrentDirectory(), m_strBefore);
}

TEST(InventoryModuleMessages, TimedOutMessageNamesTheLimitInSeconds)
{
    EXPECT_EQ(CInventoryModule::TimedOutMessage(1), "Inventory collector timed out after 1 seconds");
    EXPECT_EQ(CInventoryModule::TimedOutMessage(30), "Inventory collector timed out after 30 seconds");
}
