#include "DependenciesChecker.h"
#include "DependencyDecisionListener.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

using namespace vextest;

namespace
{
// Writes every decision as one line, per dependency (by display name).
class RecordingListener : public IDependencyDecisionListener
{
public:
    void OnDependenciesLoaded(const std::vector<CDeviceInfo*>& vDependencies,
                              CDeviceInfo::eDependencyType eRequested) override
    {
        nLoaded = vDependencies.size();
        eType = eRequested;
    }
    void OnInventoryLookup(const CDeviceInfo* pDependency, const SInventoryLookup& lookup) override
    {
        Add(pDependency, std::string(lookup.eOutcome == EInventoryLookup::Collected ? "collected " : "reused ") +
                             lookup.strReleaseID + " records=" + std::to_string(lookup.pRecords->size()));
    }
    void OnContextCheck(const CDeviceInfo* pDependency, const std::string& strContext, bool bApplicable) override
    {
        Add(pDependency, "context " + strContext + (bApplicable ? " applies" : " does not apply"));
    }
    void OnPlatformCheck(const CDeviceInfo* pDependency, const SPlatformCheck& check) override
    {
        Add(pDependency, std::string("platform ") + (check.bChecked ? "checked " + check.strSystemID : "passed over") +
                             (check.bApplicable ? " applies" : " does not apply"));
    }
    void OnOSCheck(const CDeviceInfo* pDependency, const SOSCheck& check) override
    {
        Add(pDependency, "os entries=" + std::to_string(check.vRequired.size()) + " matched=" +
                             std::to_string(check.nMatchedEntry) + " running=" + check.running.strOSVendor + " " +
                             check.running.strMajorVersion + "." + check.running.strMinorVersion);
    }
    void OnDeviceCheck(const CDeviceInfo* pDependency, const SDeviceCheck& check) override
    {
        Add(pDependency,
            std::string("device ") + (check.bPresent ? "present " + check.pMatchedDevice->getComponentID() : "absent"));
    }
    void OnTypeCheck(const CDeviceInfo* pDependency, CDeviceInfo::eDependencyType, bool bSameType) override
    {
        Add(pDependency, bSameType ? "type requested" : "type other");
    }
    void OnVersionComparison(const CDeviceInfo* pDependency, const SVersionComparison& comparison) override
    {
        Add(pDependency, "compare " + comparison.strRequired + " with " + comparison.strInstalled + " = " +
                             std::to_string(comparison.nResult));
    }
    void OnVerdict(const CDeviceInfo* pDependency, EVerdict eVerdict) override
    {
        static const std::map<EVerdict, std::string> kNames = {
            {EVerdict::ContextNotApplicable, "not applicable: context"},
            {EVerdict::PlatformNotApplicable, "not applicable: platform"},
            {EVerdict::OSNotApplicable, "not applicable: os"},
            {EVerdict::DeviceNotPresent, "not applicable: device"},
            {EVerdict::OtherType, "other type"},
            {EVerdict::NoInventory, "no inventory"},
            {EVerdict::NotInstalled, "not installed"},
            {EVerdict::Met, "met"},
            {EVerdict::Unmet, "unmet"},
            {EVerdict::Failed, "failed"},
        };
        Add(pDependency, "verdict " + kNames.at(eVerdict));
    }

    std::map<std::string, std::vector<std::string>> mapEvents;
    std::size_t nLoaded = 0;
    CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;

private:
    void Add(const CDeviceInfo* pDependency, const std::string& strEvent)
    {
        mapEvents[pDependency->getDisplay()].push_back(strEvent);
    }
};

struct CheckerRunResult
{
    bool bProcessed = false;
    std::vector<std::string> vReported;
};

CheckerRunResult RunChecker(const std::string& strScenario, CDeviceInfo::eDependencyType eType,
                            IDependencyDecisionListener* pListener)
{
    TempDir dir;
    WriteScenario(FindScenario(strScenario), dir.Path());
    ScopedCwd cwd(dir.Path());
    CheckerRunResult result;
    CDependenciesChecker checker(CurrentDirectory() + "/");
    checker.SetDecisionListener(pListener);
    result.bProcessed = checker.Process(eType, ReadFile(dir.File("inv.xml")));
    for (CDeviceInfo* pRecord : checker.GetDependentDevices())
    {
        result.vReported.push_back(pRecord->getDisplay() + " " + pRecord->getCurrentVersion() + " " +
                                   std::to_string(pRecord->getStatus()));
    }
    return result;
}
} // namespace

TEST(DependencyDecisionListener, ReceivesEveryStepWithTheValuesCompared)
{
    RecordingListener listener;
    const CheckerRunResult result = RunChecker("met-unmet-failed", CDeviceInfo::eDependencyTypeHard, &listener);
    EXPECT_TRUE(result.bProcessed);
    EXPECT_EQ(listener.nLoaded, 4u);
    EXPECT_EQ(listener.eType, CDeviceInfo::eDependencyTypeHard);
    const std::string strPlatform = "platform passed over applies";
    const std::string strOS = "os entries=0 matched=-1 running=Linux 9.2";
    EXPECT_EQ(listener.mapEvents["Unmet A"],
              (std::vector<std::string>{"collected RA records=2", "context OS applies", strPlatform, strOS,
                                        "device present 500", "type requested", "compare 2.0 with 1.9 = 1",
                                        "verdict unmet"}));
    EXPECT_EQ(listener.mapEvents["Failed B"],
              (std::vector<std::string>{"collected RB records=1", "context OS applies", strPlatform, strOS,
                                        "device present 500", "type requested", "verdict failed"}));
    EXPECT_EQ(listener.mapEvents["Met C"],
              (std::vector<std::string>{"collected RC records=1", "context OS applies", strPlatform, strOS,
                                        "device present 500", "type requested", "compare 1.5 with 1.5.0 = 0",
                                        "verdict met"}));
    EXPECT_EQ(listener.mapEvents["Soft D"],
              (std::vector<std::string>{"context OS applies", strPlatform, strOS, "device present 500", "type other",
                                        "verdict other type"}));
    EXPECT_EQ(result.vReported, (std::vector<std::string>{"Unmet A 1.9 -1", "Failed B  1"}));
}

TEST(DependencyDecisionListener, ReusedInventoryAndNotApplicableVerdicts)
{
    RecordingListener listener;
    RunChecker("operating-systems", CDeviceInfo::eDependencyTypeHard, &listener);
    EXPECT_EQ(listener.mapEvents["Matching"].front(), "reused R1 records=6");
    EXPECT_EQ(listener.mapEvents["No OS entry"].front(), "collected R1 records=6");
    EXPECT_EQ(listener.mapEvents["Second matches"][3], "os entries=2 matched=1 running=Linux 9.2");
    EXPECT_EQ(listener.mapEvents["Other OS"].back(), "verdict not applicable: os");

    RecordingListener contexts;
    RunChecker("contexts", CDeviceInfo::eDependencyTypeHard, &contexts);
    EXPECT_EQ(contexts.mapEvents["Pre-OS"],
              (std::vector<std::string>{"reused R1 records=5", "context PREOS does not apply",
                                        "verdict not applicable: context"}));

    RecordingListener devices;
    RunChecker("parent-devices", CDeviceInfo::eDependencyTypeHard, &devices);
    EXPECT_EQ(devices.mapEvents["Non-PCI parent absent"].back(), "verdict not applicable: device");
    EXPECT_EQ(devices.mapEvents["PCI parent absent"].back(), "verdict not applicable: device");
    // The second PCI identity of the dependency is not installed.
    const std::vector<std::string>& vPCI = devices.mapEvents["PCI dependency"];
    EXPECT_EQ(std::count(vPCI.begin(), vPCI.end(), "verdict unmet"), 1);
    EXPECT_EQ(std::count(vPCI.begin(), vPCI.end(), "verdict not installed"), 1);
}

TEST(DependencyDecisionListener, ResultsAreTheSameWithAndWithoutAListener)
{
    for (const char* pszScenario : {"met-unmet-failed", "operating-systems", "parent-devices", "version-rules"})
    {
        for (CDeviceInfo::eDependencyType eType : {CDeviceInfo::eDependencyTypeHard, CDeviceInfo::eDependencyTypeSoft})
        {
            RecordingListener listener;
            const CheckerRunResult withListener = RunChecker(pszScenario, eType, &listener);
            const CheckerRunResult without = RunChecker(pszScenario, eType, nullptr);
            EXPECT_EQ(withListener.bProcessed, without.bProcessed) << pszScenario;
            EXPECT_EQ(withListener.vReported, without.vReported) << pszScenario;
        }
    }
}
