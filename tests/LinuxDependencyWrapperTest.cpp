#include "DependenciesChecker.h"
#include "LinuxDependencyWrapper.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

using vextest::ScopedCwd;
using vextest::TempDir;

namespace
{
const std::string kBase = pszDefaultDownloadBase;
const std::string kHardHeading = "\nThe update process cannot proceed till the following requirements are met.\n";
const std::string kSoftHeading =
    "\nThe updated component requires the following updates to exhibit all the features.\n";
const std::string kClosing =
    "\nThe inventory for a one or more dependent components failed. Please check log file for details.\n";

struct Records
{
    CDeviceInfo* Add(const std::string& strDisplay, const std::string& strRequired, const std::string& strCurrent,
                     const std::string& strPath)
    {
        vOwned.emplace_back(new CDeviceInfo());
        CDeviceInfo* p = vOwned.back().get();
        p->setDisplay(strDisplay);
        p->setVersion(strRequired);
        p->setCurrentVersion(strCurrent);
        p->setFilePath(strPath);
        return p;
    }
    std::vector<std::unique_ptr<CDeviceInfo>> vOwned;
};
} // namespace

TEST(LinuxDependencyWrapperReport, HardBlocksLineUpTheirLabels)
{
    Records records;
    std::vector<CDeviceInfo*> vList = {records.Add("Backplane Firmware", "3.20.0", "3.10.0", "F\\bp.BIN"),
                                       records.Add("NIC Firmware", "22.1.4", "22.0.9", "nic.bin")};
    std::ostringstream ossErrors;
    const std::string strReport =
        CLinuxDepenedencyWrapper::FormatReport(CDeviceInfo::eDependencyTypeHard, vList, ossErrors);
    EXPECT_EQ(strReport, kHardHeading +
                             "Backplane Firmware"
                             "\n\tCurrent  Version     : 3.10.0"
                             "\n\tRequired Version     : 3.20.0"
                             "\n\tVEX DownloadPath     : " +
                             kBase +
                             "F/bp.BIN\n"
                             "NIC Firmware"
                             "\n\tCurrent  Version     : 22.0.9"
                             "\n\tRequired Version     : 22.1.4"
                             "\n\tVEX DownloadPath     : " +
                             kBase + "nic.bin\n");
    EXPECT_EQ(ossErrors.str(), "");
}

TEST(LinuxDependencyWrapperReport, SoftFailedRecordShowsFailedAndSendsTheReasonToStandardError)
{
    Records records;
    CDeviceInfo* pFailed = records.Add("Driver", "7.4.2", "ignored", "drv.tgz");
    pFailed->setStatus(1);
    pFailed->setErrorMsg("collector crashed");
    pFailed->setDetail("cache modes");
    std::vector<CDeviceInfo*> vList = {pFailed};
    std::ostringstream ossErrors;
    const std::string strReport =
        CLinuxDepenedencyWrapper::FormatReport(CDeviceInfo::eDependencyTypeSoft, vList, ossErrors);
    EXPECT_EQ(strReport, kSoftHeading +
                             "Driver"
                             "\n\tCurrent  Version     : Failed"
                             "\n\tRecommended Version  : 7.4.2"
                             "\n\tDetail               : cache modes"
                             "\n\tVEX DownloadPath     : " +
                             kBase + "drv.tgz\n" + kClosing);
    EXPECT_EQ(ossErrors.str(), "\n\tError Message         : collector crashed");
}

TEST(LinuxDependencyWrapperReport, TwoFailedRecordsGiveOneClosingSentence)
{
    Records records;
    CDeviceInfo* pFirst = records.Add("A", "1", "", "a");
    pFirst->setStatus(1);
    pFirst->setErrorMsg("first");
    CDeviceInfo* pMet = records.Add("B", "2", "1", "b");
    CDeviceInfo* pSecond = records.Add("C", "3", "", "c");
    pSecond->setStatus(1);
    pSecond->setErrorMsg("second");
    std::vector<CDeviceInfo*> vList = {pFirst, pMet, pSecond};
    std::ostringstream ossErrors;
    const std::string strReport =
        CLinuxDepenedencyWrapper::FormatReport(CDeviceInfo::eDependencyTypeHard, vList, ossErrors);
    EXPECT_EQ(strReport.find(kClosing), strReport.size() - kClosing.size());
    EXPECT_EQ(strReport.find(kClosing), strReport.rfind(kClosing));
    EXPECT_EQ(ossErrors.str(), "\n\tError Message         : first\n\tError Message         : second");
    // A failed record keeps its required version and download line.
    EXPECT_NE(strReport.find(
                  "A\n\tCurrent  Version     : Failed\n\tRequired Version     : 1\n\tVEX DownloadPath     : " + kBase +
                  "a\n"),
              std::string::npos);
}

TEST(LinuxDependencyWrapperReport, EmptyDisplayNameStartsTheBlockWithTheVersionLine)
{
    Records records;
    std::vector<CDeviceInfo*> vList = {records.Add("", "1.0", "0.9", "")};
    std::ostringstream ossErrors;
    const std::string strReport =
        CLinuxDepenedencyWrapper::FormatReport(CDeviceInfo::eDependencyTypeHard, vList, ossErrors);
    EXPECT_EQ(strReport, kHardHeading +
                             "\n\tCurrent  Version     : 0.9\n\tRequired Version     : 1.0"
                             "\n\tVEX DownloadPath     : " +
                             kBase + "\n");
}

TEST(LinuxDependencyWrapperReport, BackslashesOfThePackagePathBecomeSlashes)
{
    Records records;
    std::vector<CDeviceInfo*> vList = {records.Add("X", "1", "0", "FOLDER01\\SUB\\file.EXE")};
    std::ostringstream ossErrors;
    const std::string strReport =
        CLinuxDepenedencyWrapper::FormatReport(CDeviceInfo::eDependencyTypeSoft, vList, ossErrors);
    EXPECT_NE(strReport.find("\n\tVEX DownloadPath     : " + kBase + "FOLDER01/SUB/file.EXE\n"), std::string::npos);
}

TEST(LinuxDependencyWrapperReport, EveryReportBeginsWithALineEnd)
{
    Records records;
    std::vector<CDeviceInfo*> vList = {records.Add("X", "1", "0", "p")};
    std::ostringstream ossErrors;
    for (CDeviceInfo::eDependencyType eType : {CDeviceInfo::eDependencyTypeHard, CDeviceInfo::eDependencyTypeSoft})
    {
        const std::string strReport = CLinuxDepenedencyWrapper::FormatReport(eType, vList, ossErrors);
        ASSERT_FALSE(strReport.empty());
        EXPECT_EQ(strReport[0], '\n');
    }
}

TEST(LinuxDependencyWrapper, NothingToReportLeavesTheReportUntouched)
{
    // An empty package directory: the checker finds no dependency.
    TempDir dir;
    vextest::WriteFile(dir.File("package.xml"), "<SoftwareComponent><SupportedDevices/></SoftwareComponent>");
    ScopedCwd cwd(dir.Path());
    CLinuxDepenedencyWrapper wrapper;
    std::string strReport = "caller's text";
    EXPECT_FALSE(wrapper.GetDependenciesInformation(CDeviceInfo::eDependencyTypeHard, strReport, ""));
    EXPECT_EQ(strReport, "caller's text");
    EXPECT_FALSE(wrapper.GetDependenciesInformation(CDeviceInfo::eDependencyTypeSoft, strReport, ""));
    EXPECT_EQ(strReport, "caller's text");
}

TEST(LinuxDependencyWrapper, CheckerWorksInTheConstructionDirectory)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    CLinuxDepenedencyWrapper wrapper;
    ASSERT_NE(wrapper.GetChecker(), nullptr);
    EXPECT_TRUE(wrapper.GetChecker()->GetDependentDevices().empty());
}
