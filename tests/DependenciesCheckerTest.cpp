#include "DependenciesChecker.h"
#include "Logger.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <memory>

using vextest::MakePCIIdentity;
using vextest::ReadLogMessages;
using vextest::ScopedCwd;
using vextest::TempDir;

namespace
{
int Compare(const std::string& strFirst, const std::string& strSecond)
{
    return CDependenciesChecker::CompareVersions(strFirst, strSecond);
}

int Sign(int n) { return (n > 0) - (n < 0); }

// Records are owned by the test: the checker only reads them here.
struct Records
{
    CDeviceInfo* Add()
    {
        vOwned.emplace_back(new CDeviceInfo());
        return vOwned.back().get();
    }
    std::vector<std::unique_ptr<CDeviceInfo>> vOwned;
};

CDeviceInfo* NonPCIRecord(Records& records, const std::string& strComponentType, const std::string& strComponentID,
                          const std::string& strVersion)
{
    CDeviceInfo* p = records.Add();
    p->setComponentType(strComponentType);
    p->setComponentID(strComponentID);
    p->setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    p->setVersion(strVersion);
    return p;
}

CDeviceInfo* NonPCIDependency(Records& records, const std::string& strComponentID, const std::string& strVersion)
{
    return NonPCIRecord(records, "FRMW", strComponentID, strVersion);
}

// Installed records name their component type in lower case: the match
// ignores its case.
CDeviceInfo* NonPCIInstalled(Records& records, const std::string& strComponentID, const std::string& strVersion)
{
    return NonPCIRecord(records, "frmw", strComponentID, strVersion);
}

CDeviceInfo* PCIFirmware(Records& records, const SPCIInfo& pci, const std::string& strVersion)
{
    CDeviceInfo* p = records.Add();
    p->setComponentType("FRMW");
    p->setDeviceType(CDeviceInfo::eDeviceTypePCI);
    p->setPCIInfo(pci);
    p->setVersion(strVersion);
    return p;
}

// A checker in an empty directory: no package description, no collectors.
class CheckerTest : public ::testing::Test
{
protected:
    CheckerTest() : m_cwd(m_dir.Path()) {}

    std::unique_ptr<CDependenciesChecker> MakeChecker()
    {
        return std::unique_ptr<CDependenciesChecker>(new CDependenciesChecker(vextest::CurrentDirectory() + "/"));
    }

    std::vector<std::string> Log() const { return ReadLogMessages(m_dir.File("baseutils.log")); }
    // The log lines from the nFrom-th on.
    std::vector<std::string> LogSince(std::size_t nFrom) const
    {
        const std::vector<std::string> vLog = Log();
        return std::vector<std::string>(vLog.begin() + static_cast<long>(std::min(nFrom, vLog.size())), vLog.end());
    }

    TempDir m_dir;
    ScopedCwd m_cwd;
    Records m_records;
};
} // namespace

// ---------------------------------------------------------------------------
// Version comparison
// ---------------------------------------------------------------------------

TEST(CompareVersions, WorkedExamples)
{
    EXPECT_EQ(Compare("1.2.3", "1.2.3"), 0);
    EXPECT_EQ(Compare("1.2", "1.2.0"), 0);
    EXPECT_EQ(Compare("1.2-3", "1.2.3"), 0);
    EXPECT_EQ(Compare("1.10", "1.9"), 1);
    EXPECT_EQ(Compare("2.0", "10.0"), -1);
    EXPECT_EQ(Compare("1.02", "1.2"), 0);
    EXPECT_EQ(Compare("1..2", "1.2"), 0);
    EXPECT_EQ(Compare("A07", "a07"), 0);
    EXPECT_LT(Compare("A07", "A10"), 0);
    EXPECT_GT(Compare("2.1.0a", "2.1.0"), 0);
    EXPECT_GT(Compare("1.0 ", "1.0"), 0);
    EXPECT_EQ(Compare("10", "9"), 1);
    EXPECT_EQ(Compare("", "1"), -1);
}

TEST(CompareVersions, TextComparisonReturnsTheRawCaseInsensitiveDifference)
{
    // Not reduced to -1 or 1: the difference of the first differing
    // characters in lower case.
    EXPECT_EQ(Compare("A07", "A10"), '0' - '1');
    EXPECT_EQ(Compare("2.1.0a", "2.1.0"), 'a');
    EXPECT_EQ(Compare("1.0 ", "1.0"), ' ');
    EXPECT_EQ(Compare("b", "D"), 'b' - 'd');
    EXPECT_EQ(Compare("X1", "x2"), '1' - '2');
}

TEST(CompareVersions, NineAgainstTenAIsComparedAsText)
{
    EXPECT_GT(Compare("9", "10a"), 0);
    EXPECT_LT(Compare("10a", "9"), 0);
}

TEST(CompareVersions, EqualIgnoringCaseBeforeAnyParsing)
{
    EXPECT_EQ(Compare("1.0A", "1.0a"), 0);
    EXPECT_EQ(Compare("ABC DEF", "abc def"), 0);
}

TEST(CompareVersions, TrailingZeroGroupsAreEqual)
{
    EXPECT_EQ(Compare("1.0.0.0", "1"), 0);
    EXPECT_EQ(Compare("1", "1.0.0.0"), 0);
}

TEST(CompareVersions, OnlySeparatorsIsAnEmptyListEqualToZero)
{
    EXPECT_EQ(Compare("...", "0"), 0);
    EXPECT_EQ(Compare("-_.", ""), 0);
    EXPECT_EQ(Compare("._-", "0.0"), 0);
    EXPECT_EQ(Compare("...", "1"), -1);
}

TEST(CompareVersions, OtherCharactersDoNotSwitchToText)
{
    EXPECT_EQ(Compare("1+2", "1"), 0);
    EXPECT_EQ(Compare("1/5", "1"), 0);
    EXPECT_EQ(Compare("3+", "2"), 1);
    EXPECT_EQ(Compare("+7", "7"), 0);
    EXPECT_EQ(Compare("#", "0"), 0);
}

TEST(CompareVersions, SeparatorsAreInterchangeable)
{
    EXPECT_EQ(Compare("4-10_2", "4.10.2"), 0);
    EXPECT_EQ(Compare("4__10", "4.10"), 0);
    EXPECT_EQ(Compare(".1.", "1"), 0);
}

TEST(CompareVersions, LongTextsDoNotOverflow)
{
    std::string strLong;
    for (int i = 0; i < 150; ++i)
    {
        strLong += "1.";
    }
    EXPECT_EQ(strLong.size(), 300u);
    EXPECT_EQ(Compare(strLong, strLong + "0"), 0);
    EXPECT_EQ(Compare(strLong + "2", strLong + "1"), 1);
    EXPECT_EQ(Compare(strLong + "1", strLong + "2"), -1);
    const std::string strDigits(1000, '9');
    EXPECT_EQ(Compare(strDigits, strDigits), 0);
    const std::string strLetters(500, 'a');
    EXPECT_LT(Compare(strLetters, strLetters + "b"), 0);
    // Exactly 100 characters, the size of the historic buffers, and the
    // last group decides.
    std::string strPrefix;
    for (int i = 0; i < 49; ++i)
    {
        strPrefix += "1.";
    }
    const std::string strHundred = strPrefix + "99";
    const std::string strHundredLower = strPrefix + "98";
    EXPECT_EQ(strHundred.size(), 100u);
    EXPECT_EQ(Compare(strHundred, strHundredLower), 1);
    EXPECT_EQ(Compare(strHundredLower, strHundred), -1);
}

TEST(CompareVersions, NumbersBeyond32BitsAreCutAsALongToInt32Conversion)
{
    // 4294967297 = 2^32 + 1 becomes 1 when cut to 32 bits.
    EXPECT_EQ(Compare("4294967297", "1"), 0);
    // 2147483648 = 2^31 becomes -2147483648: older than 1.
    EXPECT_EQ(Compare("2147483648", "1"), -1);
    // Beyond the range of a long, the conversion saturates at LONG_MAX,
    // whose low 32 bits read -1.
    EXPECT_EQ(Compare("99999999999999999999999", "0"), -1);
    EXPECT_EQ(static_cast<int32_t>(LONG_MAX), -1);
}

TEST(CompareVersions, LeadingWhitespaceOtherThanBlanksIsSkipped)
{
    EXPECT_EQ(Compare("\t5", "5"), 0);
    EXPECT_EQ(Compare("1.\n2", "1.2"), 0);
}

TEST(CompareVersions, LogsOnlyWhenTheNumbersDiffer)
{
    TempDir dir;
    vextest::StartLogging(dir.File("baseutils.log"));
    EXPECT_EQ(Compare("1.0", "1.0.1"), -1);
    EXPECT_EQ(Compare("1.1", "1.0.1"), 1);
    EXPECT_EQ(Compare("1.0", "1"), 0);
    EXPECT_LT(Compare("A", "B"), 0);
    EXPECT_EQ(ReadLogMessages(dir.File("baseutils.log")),
              (std::vector<std::string>{"CDependenciesChecker::CompareVersions   nVer1 < nVer2",
                                        "CDependenciesChecker::CompareVersions  nVer1 > nVer2"}));
    const std::vector<std::string> vLines = vextest::ReadLogLines(dir.File("baseutils.log"));
    EXPECT_EQ(vLines[0].substr(0, 35), "[TIME] :       DependenciesChecker:");
}

TEST(CompareVersions, SignIsAntisymmetricOnNumericVersions)
{
    const std::vector<std::string> vVersions = {"", "0", "1", "1.0", "1.2", "1.10", "2", "2.0.1", "10", "1-2_3"};
    for (const std::string& a : vVersions)
    {
        for (const std::string& b : vVersions)
        {
            EXPECT_EQ(Sign(Compare(a, b)), -Sign(Compare(b, a))) << a << " vs " << b;
        }
    }
}

TEST(CheckerConstants, InventoryQueryHalves)
{
    EXPECT_EQ(QUERYCOMPID, "/SVMInventory/Device[@componentID = \"");
    EXPECT_EQ(XPATH_SUFFIX, "\"]");
    EXPECT_EQ(QUERYCOMPID + "25227" + XPATH_SUFFIX, "/SVMInventory/Device[@componentID = \"25227\"]");
}

// ---------------------------------------------------------------------------
// Inventory match and decision
// ---------------------------------------------------------------------------

namespace
{
// A dependency on version 2.0 of component 101 against installed records
// (component ID and version each): whether it is unmet, and the current
// version it is then given. Its status stays unset throughout.
struct MatchCase
{
    const char* pszName;
    std::vector<std::pair<std::string, std::string>> vInstalled;
    bool bUnmet;
    std::string strCurrentVersion;
};

void PrintTo(const MatchCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class InventoryMatch : public CheckerTest, public ::testing::WithParamInterface<MatchCase>
{
};

const MatchCase kMatchCases[] = {
    {"RequiredNewerThanInstalledIsUnmetWithTheInstalledVersion", {{"101", "1.5"}}, true, "1.5"},
    {"EqualVersionIsMetAndLeavesTheCurrentVersionUnset", {{"101", "2.0.0"}}, false, ""},
    {"NoMatchingRecordIsNotUnmet", {{"102", "1.0"}}, false, ""},
    {"NoMatchingRecordIsNotUnmet_EmptyInventory", {}, false, ""},
    {"LastOlderInstanceGivesTheCurrentVersion",
     {{"101", "1.1"}, {"101", "3.0"}, {"101", "1.7"}, {"101", "2.0"}},
     true,
     "1.7"},
};
} // namespace

TEST_P(InventoryMatch, DecidesTheDependency)
{
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    std::vector<CDeviceInfo*> vInv;
    for (const auto& installed : GetParam().vInstalled)
    {
        vInv.push_back(NonPCIInstalled(m_records, installed.first, installed.second));
    }
    EXPECT_EQ(pChecker->HasDependeny(pDep, vInv), GetParam().bUnmet);
    EXPECT_EQ(pDep->getCurrentVersion(), GetParam().strCurrentVersion);
    EXPECT_EQ(pDep->getStatus(), -1);
}

INSTANTIATE_TEST_SUITE_P(CheckerTest, InventoryMatch, ::testing::ValuesIn(kMatchCases),
                         [](const ::testing::TestParamInfo<MatchCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(CheckerTest, NoDependencyIsNotUnmet)
{
    auto pChecker = MakeChecker();
    std::vector<CDeviceInfo*> vInv = {NonPCIInstalled(m_records, "101", "1.0")};
    EXPECT_FALSE(pChecker->HasDependeny(nullptr, vInv));
}

TEST_F(CheckerTest, FirstFailedRecordMakesTheDependencyFailedWhateverFollows)
{
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    CDeviceInfo* pFailed = m_records.Add();
    pFailed->setStatus(1);
    pFailed->setErrorMsg("collector crashed");
    std::vector<CDeviceInfo*> vInv = {pFailed, NonPCIInstalled(m_records, "101", "3.0")};
    EXPECT_TRUE(pChecker->HasDependeny(pDep, vInv));
    EXPECT_EQ(pDep->getStatus(), 1);
    EXPECT_EQ(pDep->getErrorMsg(), "collector crashed");
    EXPECT_EQ(pDep->getCurrentVersion(), "");
}

TEST_F(CheckerTest, FailedRecordOfAnotherComponentEndsTheScan)
{
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    CDeviceInfo* pFailed = NonPCIInstalled(m_records, "999", "1.0");
    pFailed->setStatus(1);
    std::vector<CDeviceInfo*> vInv = {NonPCIInstalled(m_records, "101", "1.0"), pFailed};
    EXPECT_TRUE(pChecker->HasDependeny(pDep, vInv));
    EXPECT_EQ(pDep->getStatus(), 1);
    EXPECT_EQ(pDep->getCurrentVersion(), "1.0") << "the older instance before the failed record was seen";
}

TEST_F(CheckerTest, IdentityRulesOfTheInventoryMatch)
{
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    CDeviceInfo* pUnknownType = NonPCIInstalled(m_records, "101", "1.0");
    pUnknownType->setDeviceType(CDeviceInfo::eDeviceTypeUnknown);
    CDeviceInfo* pOtherComponentType = NonPCIInstalled(m_records, "101", "1.0");
    pOtherComponentType->setComponentType("DRVR");
    CDeviceInfo* pPCI = NonPCIInstalled(m_records, "101", "1.0");
    pPCI->setDeviceType(CDeviceInfo::eDeviceTypePCI);
    CDeviceInfo* pCaseOfID = NonPCIInstalled(m_records, "101 ", "1.0");
    std::vector<CDeviceInfo*> vInv = {pUnknownType, pOtherComponentType, pPCI, pCaseOfID, nullptr};
    EXPECT_FALSE(pChecker->HasDependeny(pDep, vInv));
}

TEST_F(CheckerTest, PCIIdentitiesCompareAsHexadecimalNumbers)
{
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = PCIFirmware(m_records, MakePCIIdentity("5f", "1F2D", "1D4E", "1F0C"), "2.0");
    std::vector<CDeviceInfo*> vInv = {
        PCIFirmware(m_records, MakePCIIdentity("0x005F", "0x1f2d", "0X1D4E", "1F0C"), "1.0")};
    EXPECT_TRUE(pChecker->HasDependeny(pDep, vInv));

    // An inventory record without a device ID never matches.
    CDeviceInfo* pZeroDep = PCIFirmware(m_records, MakePCIIdentity("0", "0", "0", "0"), "2.0");
    std::vector<CDeviceInfo*> vNoDevice = {PCIFirmware(m_records, MakePCIIdentity("", "0", "0", "0"), "1.0")};
    EXPECT_FALSE(pChecker->HasDependeny(pZeroDep, vNoDevice));
}

TEST_F(CheckerTest, HasDependenyLogs)
{
    vextest::StartLogging(m_dir.File("baseutils.log"));
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    std::vector<CDeviceInfo*> vInv = {nullptr, NonPCIInstalled(m_records, "101", "1.0")};
    const std::size_t nBefore = Log().size();
    EXPECT_TRUE(pChecker->HasDependeny(pDep, vInv));
    EXPECT_EQ(LogSince(nBefore), (std::vector<std::string>{
                                     "CDependenciesChecker::HasDependeny  START",
                                     "CDependenciesChecker::HasDependeny pInvDevice is NULL",
                                     "CDependenciesChecker::CompareVersions  nVer1 > nVer2",
                                     "CDependenciesChecker::HasDependeny nCmpResult > 0",
                                     "CDependenciesChecker::HasDependeny END",
                                 }));
}

TEST_F(CheckerTest, DeviceCheckFindsNonPCIParentsByComponentID)
{
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    pDep->setParentDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    pDep->setParentComponentID("104");
    std::vector<CDeviceInfo*> vDevices = {NonPCIInstalled(m_records, "103", ""), NonPCIInstalled(m_records, "104", "")};
    EXPECT_TRUE(pChecker->doDeviceCheck(pDep, vDevices));
    pDep->setParentComponentID("105");
    EXPECT_FALSE(pChecker->doDeviceCheck(pDep, vDevices));
    std::vector<CDeviceInfo*> vEmpty;
    EXPECT_FALSE(pChecker->doDeviceCheck(pDep, vEmpty));
    EXPECT_FALSE(pChecker->doDeviceCheck(nullptr, vDevices));
}

TEST_F(CheckerTest, DeviceCheckFindsPCIParentsInTheParentList)
{
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    pDep->setParentDeviceType(CDeviceInfo::eDeviceTypePCI);
    std::vector<SPCIInfo> vParents = {MakePCIIdentity("1", "2", "3", "4"),
                                      MakePCIIdentity("005F", "1F2D", "1D4E", "1F0C")};
    pDep->setParentPCIInfo(vParents);
    CDeviceInfo* pDevice = m_records.Add();
    pDevice->setDeviceType(CDeviceInfo::eDeviceTypePCI);
    pDevice->setPCIInfo(MakePCIIdentity("0x5f", "1f2d", "1d4e", "0x1F0C"));
    std::vector<CDeviceInfo*> vDevices = {pDevice};
    EXPECT_TRUE(pChecker->doDeviceCheck(pDep, vDevices));

    // The device types must agree, and an unknown type never matches.
    pDevice->setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    EXPECT_FALSE(pChecker->doDeviceCheck(pDep, vDevices));
    pDep->setParentDeviceType(CDeviceInfo::eDeviceTypeUnknown);
    pDevice->setDeviceType(CDeviceInfo::eDeviceTypeUnknown);
    EXPECT_FALSE(pChecker->doDeviceCheck(pDep, vDevices));
}

TEST_F(CheckerTest, DeviceCheckLogs)
{
    vextest::StartLogging(m_dir.File("baseutils.log"));
    auto pChecker = MakeChecker();
    CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
    std::vector<CDeviceInfo*> vEmpty;
    std::vector<CDeviceInfo*> vDevices = {NonPCIInstalled(m_records, "1", "")};
    const std::size_t nBefore = Log().size();
    pChecker->doDeviceCheck(pDep, vEmpty);
    pChecker->doDeviceCheck(pDep, vDevices);
    EXPECT_EQ(LogSince(nBefore), (std::vector<std::string>{
                                     "CDependenciesChecker::doDeviceCheck   Entered",
                                     "CDependenciesChecker::doDeviceCheck   Entered",
                                     "CDependenciesChecker::doDeviceCheck   Exit",
                                 }));
}

TEST_F(CheckerTest, GetInventoryInfoRunsEachReleaseOnceAndRefusesNull)
{
    // A release directory whose collector counts its runs.
    vextest::MakeDirectory(m_dir.File("REL1"));
    vextest::WriteFile(m_dir.File("REL1/PIEConfig.xml"),
                       "<PIEConfig><Plugins><Plugin description=\"Inventory\" type=\"0\" timeout=\"30\">"
                       "<CliToFile><Command>collect.sh</Command><Output>out.xml</Output></CliToFile>"
                       "</Plugin></Plugins></PIEConfig>");
    vextest::WriteFile(m_dir.File("REL1/collect.sh"),
                       "#!/bin/sh\necho run >> runs.txt\necho '<SVMInventory><Device componentID=\"101\">"
                       "<Application componentType=\"FRMW\" version=\"1.0\"/></Device></SVMInventory>' > out.xml\n",
                       true);
    auto pChecker = MakeChecker();
    CDeviceInfo* pFirst = NonPCIDependency(m_records, "101", "2.0");
    pFirst->setReleaseID("REL1");
    CDeviceInfo* pSecond = NonPCIDependency(m_records, "102", "2.0");
    pSecond->setReleaseID("REL1");
    EXPECT_TRUE(pChecker->GetInventoryInfo(pFirst));
    EXPECT_TRUE(pChecker->GetInventoryInfo(pSecond));
    EXPECT_FALSE(pChecker->GetInventoryInfo(nullptr));
    EXPECT_EQ(vextest::ReadFile(m_dir.File("REL1/runs.txt")), "run\n");
}

TEST_F(CheckerTest, ContextMustBeOSOrAllInAnyCase)
{
    auto pChecker = MakeChecker();
    const std::string strMachine = "<SVMInventory><Device componentID=\"500\"/></SVMInventory>";
    std::vector<CDeviceInfo*> vDependencies;
    for (const char* pszContext : {"", "os", "ALL", "aLl", "PREOS", "OS ", " ALL"})
    {
        CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
        pDep->setDependencyContext(pszContext);
        pDep->setParentDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
        pDep->setParentComponentID("500");
        pDep->setReleaseID("never collected");
        vDependencies.push_back(pDep);
    }
    vextest::StartLogging(m_dir.File("baseutils.log"));
    EXPECT_TRUE(pChecker->GetDependentDevices(vDependencies, strMachine, CDeviceInfo::eDependencyTypeHard).empty());
    const std::vector<std::string> vLog = Log();
    EXPECT_EQ(
        std::count(vLog.begin(), vLog.end(),
                   "CDependenciesChecker::GetDependentDevices: This Depndency is failed to qualify CONTEXT Check"),
        4);
    // The three that qualify reach the release step, where no inventory
    // was collected for them.
    EXPECT_EQ(std::count(vLog.begin(), vLog.end(),
                         "CDependenciesChecker::GetDependentDevices  strReleaseIDDir = never collected"),
              3);
}

namespace
{
class PlatformListener : public IDependencyDecisionListener
{
public:
    void OnPlatformCheck(const CDeviceInfo*, const SPlatformCheck& check) override { vChecks.push_back(check); }
    std::vector<SPlatformCheck> vChecks;
};
} // namespace

TEST_F(CheckerTest, PlatformCheckReadsTheConfiguredSMBIOSSources)
{
    const std::string strTable =
        vextest::SmbiosTable({vextest::OemStringsStructure({"Brix System"}), vextest::RevisionStructure(0x0B)});
    const SMBIOSSources sources = vextest::SmbiosSourcesIn(m_dir.Path());
    vextest::WriteFile(sources.strEntryPointPath, vextest::SmbiosEntryPoint2());
    vextest::WriteFile(sources.strTablePath, strTable);

    auto pChecker = MakeChecker();
    pChecker->SetSMBIOSSources(sources);
    PlatformListener listener;
    pChecker->SetDecisionListener(&listener);
    std::vector<CDeviceInfo*> vDependencies;
    for (const std::vector<std::string>& vPlatforms :
         {std::vector<std::string>{"0x0c"}, std::vector<std::string>{"0x0a", "0x0b"}})
    {
        CDeviceInfo* pDep = NonPCIDependency(m_records, "101", "2.0");
        pDep->setDependencyContext("OS");
        std::vector<std::string> vCopy = vPlatforms;
        pDep->setDependencyPlatforms(vCopy);
        vDependencies.push_back(pDep);
    }
    pChecker->GetDependentDevices(vDependencies, "", CDeviceInfo::eDependencyTypeHard);
    ASSERT_EQ(listener.vChecks.size(), 2u);
    for (const SPlatformCheck& check : listener.vChecks)
    {
        EXPECT_TRUE(check.bTablesRead);
        EXPECT_TRUE(check.bChecked);
        EXPECT_EQ(check.strSystemID, "0x0b");
    }
    EXPECT_FALSE(listener.vChecks[0].bApplicable);
    EXPECT_TRUE(listener.vChecks[1].bApplicable);
}
