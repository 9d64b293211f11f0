#include "SimulatedState.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
SPackageDescription Package(const std::string& strPath, const std::string& strVersion, const std::string& strComponent)
{
    SPackageDescription package;
    package.strPath = strPath;
    package.strComponentType = "FRMW";
    package.strVersion = strVersion;
    SSupportedDevice device;
    device.strComponentID = strComponent;
    package.vDevices = {device};
    return package;
}

CDeviceInfo* Record(const std::string& strComponent, const std::string& strVersion, const std::string& strType = "FRMW")
{
    CDeviceInfo* pRecord = new CDeviceInfo();
    pRecord->setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    pRecord->setComponentID(strComponent);
    pRecord->setComponentType(strType);
    pRecord->setVersion(strVersion);
    return pRecord;
}
} // namespace

TEST(SimulatedState, ShowsTheStepsVersionWhereTheCollectorReportsWhatItUpdates)
{
    CSimulatedState state;
    EXPECT_TRUE(state.Empty());
    state.Install(Package("BP/3.15", "3.15", "104500"), 1);
    std::vector<std::unique_ptr<CDeviceInfo>> vOwned;
    vOwned.emplace_back(Record("104500", "3.10"));
    vOwned.emplace_back(Record("104500", "3.10", "DRVR"));
    vOwned.emplace_back(Record("104600", "2.4"));
    vOwned.emplace_back(Record("104500", "3.11"));
    std::vector<CDeviceInfo*> vRecords;
    for (auto& pRecord : vOwned)
    {
        vRecords.push_back(pRecord.get());
    }
    EXPECT_EQ(state.Apply(vRecords), 2u);
    EXPECT_EQ(vRecords[0]->getVersion(), "3.15");
    EXPECT_EQ(vRecords[1]->getVersion(), "3.10"); // another component type
    EXPECT_EQ(vRecords[2]->getVersion(), "2.4");
    EXPECT_EQ(vRecords[3]->getVersion(), "3.15");
}

TEST(SimulatedState, ALaterStepWinsAndAddsNothingThatIsNotThere)
{
    CSimulatedState state;
    state.Install(Package("BP/3.15", "3.15", "104500"), 1);
    state.Install(Package("BP/3.20", "3.20", "104500"), 2);
    std::unique_ptr<CDeviceInfo> pRecord(Record("104500", "3.10"));
    std::vector<CDeviceInfo*> vRecords = {pRecord.get()};
    state.Apply(vRecords);
    EXPECT_EQ(pRecord->getVersion(), "3.20");
    std::vector<CDeviceInfo*> vNone;
    EXPECT_EQ(state.Apply(vNone), 0u);

    std::unique_ptr<CDeviceInfo> pDependency(Record("104500", "3.30"));
    const SInstalledIdentity* pInstalled = state.LastProviding(*pDependency);
    ASSERT_NE(pInstalled, nullptr);
    EXPECT_EQ(pInstalled->nStep, 2u);
    EXPECT_EQ(pInstalled->strPackage, "BP/3.20");
    std::unique_ptr<CDeviceInfo> pOther(Record("1", "1"));
    EXPECT_EQ(state.LastProviding(*pOther), nullptr);
}

TEST(SimulatedState, LeavesAFailedInventoryFailed)
{
    CSimulatedState state;
    state.Install(Package("BP/3.15", "3.15", "104500"), 1);
    std::unique_ptr<CDeviceInfo> pFailed(new CDeviceInfo());
    pFailed->setStatus(1);
    std::unique_ptr<CDeviceInfo> pRecord(Record("104500", "3.10"));
    std::vector<CDeviceInfo*> vRecords = {pFailed.get(), pRecord.get()};
    EXPECT_EQ(state.Apply(vRecords), 0u);
    EXPECT_EQ(pRecord->getVersion(), "3.10");
    EXPECT_EQ(pFailed->getStatus(), 1);
}
