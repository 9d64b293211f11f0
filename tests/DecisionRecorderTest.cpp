#include "DecisionRecorder.h"

#include <gtest/gtest.h>

namespace
{
class CountingListener : public IDependencyDecisionListener
{
public:
    void OnDependenciesLoaded(const std::vector<CDeviceInfo*>&, CDeviceInfo::eDependencyType) override { ++nCalls; }
    void OnInventoryLookup(const CDeviceInfo*, const SInventoryLookup&) override { ++nCalls; }
    void OnContextCheck(const CDeviceInfo*, const std::string&, bool) override { ++nCalls; }
    void OnPlatformCheck(const CDeviceInfo*, const SPlatformCheck&) override { ++nCalls; }
    void OnOSCheck(const CDeviceInfo*, const SOSCheck&) override { ++nCalls; }
    void OnDeviceCheck(const CDeviceInfo*, const SDeviceCheck&) override { ++nCalls; }
    void OnTypeCheck(const CDeviceInfo*, CDeviceInfo::eDependencyType, bool) override { ++nCalls; }
    void OnVersionComparison(const CDeviceInfo*, const SVersionComparison&) override { ++nCalls; }
    void OnVerdict(const CDeviceInfo*, EVerdict) override { ++nCalls; }
    int nCalls = 0;
};
} // namespace

TEST(DecisionRecorder, KeepsEachDependencysVerdictAndTheStateTheCheckerLeftInIt)
{
    CDeviceInfo first;
    first.setComponentID("1");
    first.setDisplay("First");
    first.setVersion("2.0");
    CDeviceInfo second;
    second.setComponentID("2");
    CountingListener next;
    CDecisionRecorder recorder(&next);
    recorder.OnDependenciesLoaded({&first, nullptr, &second}, CDeviceInfo::eDependencyTypeHard);
    ASSERT_EQ(recorder.Dependencies().size(), 2u);
    EXPECT_FALSE(recorder.Dependencies()[0].verdict.has_value());

    SVersionComparison comparison;
    comparison.strRequired = "2.0";
    comparison.strInstalled = "1.5";
    comparison.nResult = 1;
    recorder.OnVersionComparison(&first, comparison);
    first.setCurrentVersion("1.5");
    recorder.OnVerdict(&first, EVerdict::Unmet);
    recorder.OnVerdict(&second, EVerdict::NotInstalled);
    recorder.OnContextCheck(&first, "OS", true);
    recorder.OnPlatformCheck(&first, SPlatformCheck());
    recorder.OnOSCheck(&first, SOSCheck());
    recorder.OnDeviceCheck(&first, SDeviceCheck());
    recorder.OnTypeCheck(&first, CDeviceInfo::eDependencyTypeHard, true);
    recorder.OnInventoryLookup(&first, SInventoryLookup());

    const SEvaluatedDependency& recorded = recorder.Dependencies()[0];
    EXPECT_EQ(recorded.declared.strDisplay, "First");
    EXPECT_EQ(*recorded.verdict, EVerdict::Unmet);
    EXPECT_EQ(recorded.record.getCurrentVersion(), "1.5");
    EXPECT_EQ(recorded.vInstalled, std::vector<std::string>{"1.5"});
    EXPECT_EQ(*recorder.Dependencies()[1].verdict, EVerdict::NotInstalled);
    // Every call went on to the next listener as well.
    EXPECT_EQ(next.nCalls, 10);
}
