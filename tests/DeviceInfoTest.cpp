#include "DeviceInfo.h"
#include "Logger.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using vextest::MakePCIIdentity;
using vextest::TempDir;

namespace
{
// A dependency record with every field that takes part in either identity
// test filled.
CDeviceInfo MakeDependency()
{
    CDeviceInfo record;
    record.setComponentType("FRMW");
    record.setComponentID("25227");
    record.setDependencyType(CDeviceInfo::eDependencyTypeHard);
    record.setVersion("2.1.0");
    record.setDisplay("Controller firmware");
    record.setDetail("needed for the new features");
    record.setFilePath("FOLDER01\\ctl.BIN");
    record.setPCIInfo(MakePCIIdentity("005F", "1F2D", "1D4E", "1F0C"));
    record.setEnumId("enum-1");
    record.setFQDDInfo("RAID.Integrated.1-1");
    record.setBDFInfo(_BDFInfo{1, 2, 3});
    record.setParentComponentID("104");
    return record;
}
} // namespace

TEST(DeviceInfo, FreshRecordHasTheDefaults)
{
    CDeviceInfo record;
    EXPECT_EQ(record.getStatus(), -1);
    EXPECT_EQ(record.getDependencyType(), CDeviceInfo::eDependencyTypeHard);
    EXPECT_EQ(record.getDependencyType(), 1);
    EXPECT_EQ(record.getDeviceType(), 0);
    EXPECT_EQ(record.getParentDeviceType(), 0);
    EXPECT_EQ(record.getMessageID(), 0);
    EXPECT_EQ(record.getUpdateStatus(), 0);
    EXPECT_EQ(record.getDeviceUdpateID(), 0u);
    EXPECT_EQ(record.getDeviceSpecificID(), 0u);
    EXPECT_EQ(record.getBus(), 0);
    EXPECT_EQ(record.get_DeviceBus(), 0);
    EXPECT_EQ(record.get_DeviceBusFunction(), 0);
    EXPECT_FALSE(record.getRebootRequired());
    EXPECT_FALSE(record.getColdPowerCycleRequired());
    EXPECT_EQ(record.getDeviceHandle(), nullptr);
    const _BDFInfo bdf = record.getBDFInfo();
    EXPECT_EQ(bdf.bus, 0);
    EXPECT_EQ(bdf.device, 0);
    EXPECT_EQ(bdf.function, 0);
    for (const std::string& strText :
         {record.getReleaseID(), record.getComponentID(), record.getParentComponentID(), record.getComponentType(),
          record.getDeviceName(), record.getVersion(), record.getDependencyContext(), record.getErrorMsg(),
          record.getDisplay(), record.getDetail(), record.getCurrentVersion(), record.getEnumId(),
          record.getDeviceIdentifier(), record.getFQDDInfo()})
    {
        EXPECT_EQ(strText, "");
    }
    const SPCIInfo pci = record.getPCIInfo();
    EXPECT_EQ(pci.strComponentID + pci.strDeviceID + pci.strSubDeviceID + pci.strVendorID + pci.strSubVendorID +
                  pci.strMarketingName,
              "");
    EXPECT_TRUE(record.getDepenendencyPlatforms().empty());
    EXPECT_TRUE(record.getParentPCIInfo().empty());
    EXPECT_TRUE(record.getDependencyOS().empty());
    EXPECT_TRUE(record.getApplicationInfo()->empty());
    const OVNCSystemInfo* pSystem = record.getSystemInfo();
    EXPECT_EQ(pSystem->strSystemName + pSystem->strSystemID + pSystem->strSystemModel + pSystem->strSystemVendor, "");
    EXPECT_EQ(record.getFilePath(), pszDefaultDownloadBase);
}

TEST(DeviceInfo, AccessorsStoreWhatTheyAreGiven)
{
    CDeviceInfo record;
    record.setReleaseID("R1");
    record.setComponentID("C1");
    record.setParentComponentID("P1");
    record.setParentDeviceType(CDeviceInfo::eDeviceTypePCI);
    record.setComponentType("DRVR");
    record.setDeviceName("NIC");
    record.setVersion("1.0");
    record.setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    record.setDependencyType(CDeviceInfo::eDependencyTypeSoft);
    record.setDependencyContext("ALL");
    record.setMessageID(7);
    record.setStatus(1);
    record.setErrorMsg("boom");
    record.setUpdateStatus(3);
    record.setDisplay("Display");
    record.setDetail("Detail");
    record.setCurrentVersion("0.9");
    record.setEnumId("E");
    record.setRebootRequired(true);
    record.setColdPowerCycleRequired(true);
    record.setDeviceIdentifier("DI");
    record.setDeviceUdpateID(0xFFFFFFFFu);
    record.setDeviceSpecificID(0xFFFF);
    record.setBus(-1);
    record.setDeviceBus(4);
    record.setDeviceBusFunction(5);
    int nHandleTarget = 0;
    record.setDeviceHandle(&nHandleTarget);
    record.setFQDDInfo("FQDD");
    std::vector<std::string> vPlatforms = {"0x0627", "0x0b"};
    record.setDependencyPlatforms(vPlatforms);
    std::vector<SPCIInfo> vParents = {MakePCIIdentity("1", "2", "3", "4")};
    record.setParentPCIInfo(vParents);
    SOSInfo os;
    os.strMajorVersion = "7";
    os.strOSArch = "x86_64";
    record.setDependencyOS({os});
    OVNCSystemInfo system{"name", "id", "model", "vendor"};
    record.setSystemInfo(&system);
    system.strSystemName = "changed later";

    EXPECT_EQ(record.getReleaseID(), "R1");
    EXPECT_EQ(record.getComponentID(), "C1");
    EXPECT_EQ(record.getParentComponentID(), "P1");
    EXPECT_EQ(record.getParentDeviceType(), CDeviceInfo::eDeviceTypePCI);
    EXPECT_EQ(record.getComponentType(), "DRVR");
    EXPECT_EQ(record.getDeviceName(), "NIC");
    EXPECT_EQ(record.getVersion(), "1.0");
    EXPECT_EQ(record.getDeviceType(), CDeviceInfo::eDeviceTypeNonPCI);
    EXPECT_EQ(record.getDependencyType(), CDeviceInfo::eDependencyTypeSoft);
    EXPECT_EQ(record.getDependencyContext(), "ALL");
    EXPECT_EQ(record.getMessageID(), 7);
    EXPECT_EQ(record.getStatus(), 1);
    EXPECT_EQ(record.getErrorMsg(), "boom");
    EXPECT_EQ(record.getUpdateStatus(), 3);
    EXPECT_EQ(record.getDisplay(), "Display");
    EXPECT_EQ(record.getDetail(), "Detail");
    EXPECT_EQ(record.getCurrentVersion(), "0.9");
    EXPECT_EQ(record.getEnumId(), "E");
    EXPECT_TRUE(record.getRebootRequired());
    EXPECT_TRUE(record.getColdPowerCycleRequired());
    EXPECT_EQ(record.getDeviceIdentifier(), "DI");
    EXPECT_EQ(record.getDeviceUdpateID(), 0xFFFFFFFFu);
    EXPECT_EQ(record.getDeviceSpecificID(), 0xFFFF);
    EXPECT_EQ(record.getBus(), -1);
    EXPECT_EQ(record.get_DeviceBus(), 4);
    EXPECT_EQ(record.get_DeviceBusFunction(), 5);
    EXPECT_EQ(record.getDeviceHandle(), &nHandleTarget);
    EXPECT_EQ(record.getFQDDInfo(), "FQDD");
    EXPECT_EQ(record.getDepenendencyPlatforms(), vPlatforms);
    ASSERT_EQ(record.getParentPCIInfo().size(), 1u);
    EXPECT_EQ(record.getParentPCIInfo()[0].strSubVendorID, "4");
    ASSERT_EQ(record.getDependencyOS().size(), 1u);
    EXPECT_EQ(record.getDependencyOS()[0].strOSArch, "x86_64");
    EXPECT_EQ(record.getSystemInfo()->strSystemName, "name");
    EXPECT_EQ(record.getSystemInfo()->strSystemVendor, "vendor");

    record.getSystemInfo()->strSystemModel = "in place";
    EXPECT_EQ(record.getSystemInfo()->strSystemModel, "in place");
}

TEST(DeviceInfo, GettersReturnCopies)
{
    CDeviceInfo record;
    std::vector<std::string> vPlatforms = {"0x01"};
    record.setDependencyPlatforms(vPlatforms);
    vPlatforms.push_back("0x02");
    std::vector<std::string> vCopy = record.getDepenendencyPlatforms();
    vCopy.clear();
    EXPECT_EQ(record.getDepenendencyPlatforms(), std::vector<std::string>{"0x01"});
}

TEST(DeviceInfo, FilePathTurnsBackslashesIntoSlashesInTheStoredField)
{
    CDeviceInfo record;
    record.setFilePath("a\\b\\c.exe");
    EXPECT_EQ(record.getFilePath(), std::string(pszDefaultDownloadBase) + "a/b/c.exe");
    EXPECT_EQ(record.getFilePath(), std::string(pszDefaultDownloadBase) + "a/b/c.exe");

    // The stored path changed: a copy taken now carries the slashes, and
    // the duplicate test sees the converted text.
    CDeviceInfo other;
    other.setFilePath("a/b/c.exe");
    EXPECT_TRUE(record == other);
}

TEST(DeviceInfo, EmptyFilePathGivesTheBaseAddressAlone)
{
    CDeviceInfo record;
    EXPECT_EQ(record.getFilePath(), pszDefaultDownloadBase);
    const std::string strBase = pszDefaultDownloadBase;
    ASSERT_FALSE(strBase.empty());
    EXPECT_EQ(strBase.back(), '/');
}

TEST(DeviceInfo, EqualityIgnoresDeviceTypeParentContextPlatformsOSAndStatus)
{
    const CDeviceInfo base = MakeDependency();
    CDeviceInfo other = base;
    other.setDeviceType(CDeviceInfo::eDeviceTypePCI);
    other.setParentDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    other.setParentComponentID("another parent");
    other.setStatus(1);
    other.setErrorMsg("failed");
    other.setDependencyContext("ALL");
    std::vector<std::string> vPlatforms = {"0x0b"};
    other.setDependencyPlatforms(vPlatforms);
    other.setDependencyOS({SOSInfo{}});
    other.setReleaseID("other release");
    other.setCurrentVersion("1");
    other.setEnumId("different");
    other.setFQDDInfo("different");
    other.setBDFInfo(_BDFInfo{9, 9, 9});
    other.setMessageID(5);
    SPCIInfo pci = other.getPCIInfo();
    pci.strMarketingName = "marketing names do not count";
    other.setPCIInfo(pci);
    CDeviceInfo left = base;
    EXPECT_TRUE(left == other);
    EXPECT_TRUE(left.IsSameDependency(other));
    EXPECT_EQ(left.DependencyHash(), other.DependencyHash());
}

TEST(DeviceInfo, HardAndSoftAreNotEqual)
{
    CDeviceInfo hard = MakeDependency();
    CDeviceInfo soft = MakeDependency();
    soft.setDependencyType(CDeviceInfo::eDependencyTypeSoft);
    EXPECT_FALSE(hard == soft);
}

TEST(DeviceInfo, DependencyHashFollowsTheComparedFieldsOnly)
{
    CDeviceInfo hard = MakeDependency();
    CDeviceInfo soft = MakeDependency();
    soft.setDependencyType(CDeviceInfo::eDependencyTypeSoft);
    EXPECT_NE(hard.DependencyHash(), soft.DependencyHash());

    // Where one field ends and the next begins counts.
    CDeviceInfo left;
    left.setComponentType("ab");
    left.setComponentID("c");
    CDeviceInfo right;
    right.setComponentType("a");
    right.setComponentID("bc");
    EXPECT_FALSE(left.IsSameDependency(right));
    EXPECT_NE(left.DependencyHash(), right.DependencyHash());

    // Converting the stored path to slashes (getFilePath) keeps the hash.
    CDeviceInfo record = MakeDependency();
    const std::size_t nBefore = record.DependencyHash();
    record.getFilePath();
    CDeviceInfo converted = MakeDependency();
    converted.setFilePath("FOLDER01/ctl.BIN");
    EXPECT_EQ(record.DependencyHash(), nBefore);
    EXPECT_EQ(converted.DependencyHash(), nBefore);
    EXPECT_FALSE(MakeDependency().IsSameDependency(converted)) << "equality still compares the stored bytes";
}

TEST(DeviceInfo, DisplayNameCountsForEqualityButNotForCheckForEquality)
{
    CDeviceInfo left = MakeDependency();
    CDeviceInfo right = MakeDependency();
    right.setDisplay("another display name");
    EXPECT_TRUE(left.checkForEquality(&right));
    EXPECT_FALSE(left == right);
}

namespace
{
// One field of a dependency record changed, and which of the two identity
// tests see the change: equality (operator==, IsSameDependency and
// DependencyHash) and checkForEquality.
struct FieldChange
{
    const char* pszName;
    void (*fnChange)(CDeviceInfo& record);
    bool bSeenByEquality;
    bool bSeenByCheckForEquality;
};

void PrintTo(const FieldChange& change, std::ostream* pStream) { *pStream << change.pszName; }

template <unsigned char nBus, unsigned char nDevice, unsigned char nFunction>
void SetBDF(CDeviceInfo& record)
{
    record.setBDFInfo(_BDFInfo{nBus, nDevice, nFunction});
}

void SetPCIField(CDeviceInfo& record, std::string SPCIInfo::*pField, const char* pszValue)
{
    SPCIInfo pci = record.getPCIInfo();
    pci.*pField = pszValue;
    record.setPCIInfo(pci);
}

std::vector<FieldChange> FieldChanges()
{
    return {
        {"ComponentType", [](CDeviceInfo& r) { r.setComponentType("frmw"); }, true, true},
        {"ComponentID", [](CDeviceInfo& r) { r.setComponentID("25228"); }, true, true},
        {"Version", [](CDeviceInfo& r) { r.setVersion("2.1.1"); }, true, true},
        {"DependencyType", [](CDeviceInfo& r) { r.setDependencyType(CDeviceInfo::eDependencyTypeSoft); }, true, false},
        {"Display", [](CDeviceInfo& r) { r.setDisplay("other"); }, true, false},
        {"Detail", [](CDeviceInfo& r) { r.setDetail("other"); }, true, false},
        {"FilePath", [](CDeviceInfo& r) { r.setFilePath("other"); }, true, false},
        {"PCIComponentID", [](CDeviceInfo& r) { SetPCIField(r, &SPCIInfo::strComponentID, "x"); }, true, true},
        {"DeviceID", [](CDeviceInfo& r) { SetPCIField(r, &SPCIInfo::strDeviceID, "005f"); }, true, true},
        {"SubDeviceID", [](CDeviceInfo& r) { SetPCIField(r, &SPCIInfo::strSubDeviceID, "1F2E"); }, true, true},
        {"VendorID", [](CDeviceInfo& r) { SetPCIField(r, &SPCIInfo::strVendorID, "1001"); }, true, true},
        {"SubVendorID", [](CDeviceInfo& r) { SetPCIField(r, &SPCIInfo::strSubVendorID, "1029"); }, true, true},
        {"MarketingName", [](CDeviceInfo& r) { SetPCIField(r, &SPCIInfo::strMarketingName, "x"); }, false, false},
        {"ParentComponentID", [](CDeviceInfo& r) { r.setParentComponentID("x"); }, false, false},
        {"Status", [](CDeviceInfo& r) { r.setStatus(1); }, false, false},
        {"EnumId", [](CDeviceInfo& r) { r.setEnumId("x"); }, false, true},
        {"FQDD", [](CDeviceInfo& r) { r.setFQDDInfo("x"); }, false, true},
        {"Bus", SetBDF<9, 2, 3>, false, true},
        {"Device", SetBDF<1, 9, 3>, false, true},
        {"Function", SetBDF<1, 2, 9>, false, true},
    };
}

class DeviceInfoFieldChange : public ::testing::TestWithParam<FieldChange>
{
};
} // namespace

TEST_P(DeviceInfoFieldChange, CountsForTheIdentityTestsThatCompareIt)
{
    CDeviceInfo left = MakeDependency();
    CDeviceInfo right = MakeDependency();
    GetParam().fnChange(right);
    const bool bSeen = GetParam().bSeenByEquality;
    EXPECT_EQ(left == right, !bSeen);
    EXPECT_EQ(left.IsSameDependency(right), !bSeen);
    EXPECT_EQ(left.DependencyHash() == right.DependencyHash(), !bSeen);
    EXPECT_EQ(left.checkForEquality(&right), !GetParam().bSeenByCheckForEquality);
}

INSTANTIATE_TEST_SUITE_P(EveryField, DeviceInfoFieldChange, ::testing::ValuesIn(FieldChanges()),
                         vextest::ParamName<FieldChange>);

TEST(DeviceInfo, CheckForEqualityWithNothingIsFalse)
{
    CDeviceInfo record = MakeDependency();
    EXPECT_FALSE(record.checkForEquality(nullptr));
}

TEST(DeviceInfo, IdentityTestsAreCaseSensitive)
{
    CDeviceInfo left = MakeDependency();
    CDeviceInfo right = MakeDependency();
    right.setComponentType("frmw");
    EXPECT_FALSE(left == right);
    EXPECT_FALSE(left.checkForEquality(&right));
}

TEST(DeviceInfo, NumericSetPCIInfoWritesLowerCaseHexWithoutPadding)
{
    CDeviceInfo record;
    SPCIInfo before;
    before.strComponentID = "keep?";
    before.strMarketingName = "name";
    record.setPCIInfo(before);
    record.setPCIInfo(0x1000, 0x1f, 0xA, 0);
    const SPCIInfo pci = record.getPCIInfo();
    EXPECT_EQ(pci.strDeviceID, "1000");
    EXPECT_EQ(pci.strSubDeviceID, "1f");
    EXPECT_EQ(pci.strVendorID, "a");
    EXPECT_EQ(pci.strSubVendorID, "0");
    EXPECT_EQ(pci.strComponentID, "");
    EXPECT_EQ(pci.strMarketingName, "");
    record.setPCIInfo(255, 0xFFFFFFFFu, 1, 2);
    EXPECT_EQ(record.getPCIInfo().strDeviceID, "ff");
    EXPECT_EQ(record.getPCIInfo().strSubDeviceID, "ffffffff");
}

TEST(DeviceInfo, NumericSettersLogTheirValues)
{
    TempDir dir;
    vextest::StartLogging(dir.File("baseutils.log"));
    CDeviceInfo record;
    record.setPCIInfo(0x1000, 0x1f, 0xA, 0);
    record.setBDFInfo(0, 31, 255);
    EXPECT_EQ(vextest::ReadLogMessages(dir.File("baseutils.log")),
              (std::vector<std::string>{
                  "CDeviceInfo::setPCIInfo() Device id  1000",
                  "CDeviceInfo::setPCIInfo() SubDevice id  1f",
                  "CDeviceInfo::setPCIInfo() Vendor id  a",
                  "CDeviceInfo::setPCIInfo() SubVendor id  0",
                  "CDeviceInfo::setBDFInfo() Bus Number is  0",
                  "CDeviceInfo::setBDFInfo() Device Number is  31",
                  "CDeviceInfo::setBDFInfo() Function Number is  255",
              }));
    const _BDFInfo bdf = record.getBDFInfo();
    EXPECT_EQ(bdf.bus, 0);
    EXPECT_EQ(bdf.device, 31);
    EXPECT_EQ(bdf.function, 255);
    const std::vector<std::string> vLines = vextest::ReadLogLines(dir.File("baseutils.log"));
    EXPECT_EQ(vLines[0].substr(0, 35), "[TIME] :                DeviceInfo:");
}

TEST(DeviceInfo, RecordSetBDFInfoCopiesWithoutLogging)
{
    TempDir dir;
    vextest::StartLogging(dir.File("baseutils.log"));
    CDeviceInfo record;
    record.setBDFInfo(_BDFInfo{4, 5, 6});
    EXPECT_EQ(record.getBDFInfo().device, 5);
    EXPECT_TRUE(vextest::ReadLogLines(dir.File("baseutils.log")).empty());
}

TEST(DeviceInfo, NullApplicationEntryIsIgnored)
{
    CDeviceInfo record;
    record.setApplicationInfo(nullptr);
    EXPECT_TRUE(record.getApplicationInfo()->empty());
}

TEST(DeviceInfo, ApplicationEntriesAreOwnedAndCopiedDeeply)
{
    CDeviceInfo record;
    record.setApplicationInfo(new CDeviceApplicationInfo{"FRMW", "1.0", "BIOS", "/path"});
    record.setApplicationInfo(new CDeviceApplicationInfo{"DRVR", "2.0", "NIC", "/other"});
    ASSERT_EQ(record.getApplicationInfo()->size(), 2u);

    CDeviceInfo copy(record);
    ASSERT_EQ(copy.getApplicationInfo()->size(), 2u);
    EXPECT_NE((*copy.getApplicationInfo())[0], (*record.getApplicationInfo())[0]);
    EXPECT_EQ((*copy.getApplicationInfo())[1]->strDisplay, "NIC");

    CDeviceInfo assigned;
    assigned.setApplicationInfo(new CDeviceApplicationInfo{"X", "", "", ""});
    assigned = record;
    ASSERT_EQ(assigned.getApplicationInfo()->size(), 2u);
    EXPECT_NE((*assigned.getApplicationInfo())[1], (*record.getApplicationInfo())[1]);

    // Comparison takes its argument by value: the copy owns its own entries.
    EXPECT_TRUE(record == copy);

    CDeviceInfo moved(std::move(copy));
    EXPECT_EQ(moved.getApplicationInfo()->size(), 2u);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.getApplicationInfo()->size(), 2u);
    CDeviceInfo& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.getApplicationInfo()->size(), 2u);
    // Every entry is released exactly once when the records go away; the
    // sanitizer run reports a double delete or a leak.
}

TEST(DeviceInfo, EnumerationValues)
{
    EXPECT_EQ(CDeviceInfo::eDeviceTypeUnknown, 0);
    EXPECT_EQ(CDeviceInfo::eDeviceTypePCI, 1);
    EXPECT_EQ(CDeviceInfo::eDeviceTypeNonPCI, 2);
    EXPECT_EQ(CDeviceInfo::eDependencyTypeHard, 1);
    EXPECT_EQ(CDeviceInfo::eDependencyTypeSoft, 2);
}
