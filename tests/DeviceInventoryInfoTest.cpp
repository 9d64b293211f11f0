#include "DeviceInventoryInfo.h"
#include "TestSupport.h"
#include "XmlSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using vextest::ReadLogMessages;
using vextest::TempDir;

namespace
{
using vextest::Own;
using vextest::Records;

Records DevicesOf(const std::string& strSource)
{
    CDeviceInventoryInfo reader(strSource);
    return Own(reader.GetDeviceInfo());
}

using vextest::CountLines;
using vextest::HasLine;

// Every field an inventory record fills, in the layout of
// vextest::RecordFields.
const char* const kAllFields =
    "deviceType | componentID | pci | deviceName | display | componentType | version | status | errorMsg | "
    "dependencyType";

// Blank text nodes are dropped once any inventory document has been read in
// the process (the package reader has normally done so by then). Tests that
// are not about the first document of a process start from that state, so
// that they do not depend on which tests ran before them.
class DeviceInventoryInfoTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        xmlsupport::SetKeepBlanksDefault(false);
        vextest::StartLogging(m_dir.File("baseutils.log"));
    }

    std::vector<std::string> Log() const { return ReadLogMessages(m_dir.File("baseutils.log")); }
    // The last nCount lines of the log (all of them, when it has fewer).
    std::vector<std::string> LastLogLines(std::size_t nCount) const
    {
        const std::vector<std::string> vLog = Log();
        return std::vector<std::string>(vLog.end() - static_cast<long>(std::min(nCount, vLog.size())), vLog.end());
    }

    TempDir m_dir;
};

const char* const kTwoDevices =
    "<SVMInventory lang=\"en\">"
    "<Device componentID=\"25227\" display=\"Integrated RAID Controller\">"
    "<Application componentType=\"FRMW\" version=\"25.5.9.0001\" display=\"RAID firmware\"/>"
    "</Device>"
    "<Device vendorID=\"1C3D\" deviceID=\"2031\" subVendorID=\"1F0C\" subDeviceID=\"1F3F\" display=\"HBA\">"
    "<Application componentType=\"DRVR\" version=\"8.07.00\"/>"
    "</Device>"
    "</SVMInventory>";
} // namespace

TEST(DeviceInventoryInfoFirstDocument, TheFirstDocumentOfAProcessKeepsItsBlankTextNodes)
{
    // libxml2 starts every process keeping blank text nodes; this recreates
    // that state whatever ran before in this process.
    xmlsupport::SetKeepBlanksDefault(true);
    const std::string strText = "<SVMInventory>\n"
                                "  <Device componentID=\"101\">\n"
                                "    <Application componentType=\"FRMW\" version=\"1.2.3\"/>\n"
                                "  </Device>\n"
                                "  <SPStatus result=\"false\">\n"
                                "    <Message>collector failed</Message>\n"
                                "  </SPStatus>\n"
                                "</SVMInventory>\n";

    Records vFirst = DevicesOf(strText);
    ASSERT_EQ(vFirst.size(), 1u);
    EXPECT_EQ(vFirst[0]->getComponentID(), "101");
    // The Device's first child is the blank text before the application, and
    // the status element's first child is blank text too.
    EXPECT_EQ(vFirst[0]->getComponentType(), "");
    EXPECT_EQ(vFirst[0]->getVersion(), "");
    EXPECT_EQ(vFirst[0]->getStatus(), 1);
    EXPECT_EQ(vFirst[0]->getErrorMsg(), "");

    // The first reader switched blanks off for every later document.
    Records vSecond = DevicesOf(strText);
    ASSERT_EQ(vSecond.size(), 1u);
    EXPECT_EQ(vSecond[0]->getComponentType(), "FRMW");
    EXPECT_EQ(vSecond[0]->getVersion(), "1.2.3");
    EXPECT_EQ(vSecond[0]->getStatus(), 1);
    EXPECT_EQ(vSecond[0]->getErrorMsg(), "collector failed");
}

TEST_F(DeviceInventoryInfoTest, ReadsDevicesFromAFile)
{
    vextest::WriteFile(m_dir.File("inv.xml"), kTwoDevices);
    Records vDevices = DevicesOf(m_dir.File("inv.xml"));
    EXPECT_EQ(vextest::RecordFields(vDevices, kAllFields),
              (std::vector<std::string>{
                  "nonPCI | 25227 | /// | Integrated RAID Controller |  | FRMW | 25.5.9.0001 | -1 |  | hard",
                  "PCI |  | 2031/1F3F/1C3D/1F0C | HBA |  | DRVR | 8.07.00 | -1 |  | hard",
              }));

    // A file source is parsed as a file: no "parsing failed" line.
    const std::vector<std::string> vLog = Log();
    EXPECT_EQ(vLog.front(), "CLinuxImpl::IsFileExistsAbs() File name " + m_dir.File("inv.xml") + " exist");
    for (const std::string& strLine : vLog)
    {
        EXPECT_EQ(strLine.find("parsing failed"), std::string::npos) << strLine;
    }
}

TEST_F(DeviceInventoryInfoTest, TextSourceIsParsedAfterTheParsingFailedLine)
{
    Records vDevices = DevicesOf(kTwoDevices);
    ASSERT_EQ(vDevices.size(), 2u);
    EXPECT_EQ(vDevices[0]->getComponentID(), "25227");
    EXPECT_EQ(vDevices[1]->getPCIInfo().strVendorID, "1C3D");

    const std::vector<std::string> vLog = Log();
    ASSERT_GE(vLog.size(), 2u);
    EXPECT_EQ(vLog[0], "CLinuxImpl::IsFileExistsAbs() File name " + std::string(kTwoDevices) + " doesnt exist");
    EXPECT_EQ(vLog[1], "CDeviceInventoryInfo::CDeviceInventoryInfo() Document " + std::string(kTwoDevices) +
                           "  parsing failed ");
    EXPECT_EQ(CountLines(vLog, vLog[1]), 1u);
}

TEST_F(DeviceInventoryInfoTest, UnparsableTextGivesEmptyResults)
{
    const std::string strSource = "this is not an inventory";
    CDeviceInventoryInfo reader(strSource);
    EXPECT_TRUE(reader.GetDeviceInfo().empty());
    EXPECT_EQ(vextest::OSText(reader.GetOSInfo()), "////////");
    EXPECT_EQ(reader.GetSystemID(), "");
    std::string strMessage = "unchanged";
    EXPECT_EQ(reader.GetInventoryStatus(strMessage), 1);
    EXPECT_EQ(strMessage, "unchanged");

    const std::string strFailed = "CDeviceInventoryInfo::CDeviceInventoryInfo() Document " + strSource +
                                  "  parsing failed ";
    const std::string strNoDocument = "CDeviceInventoryInfo::GetDeviceInfo() Document " + strSource +
                                      "  parsing failed ";
    const std::vector<std::string> vExpected = {
        "CLinuxImpl::IsFileExistsAbs() File name " + strSource + " doesnt exist",
        strFailed,
        strFailed,
        strNoDocument, // GetDeviceInfo
        strNoDocument, // GetOSInfo
        strNoDocument, // GetSystemID
        "CDeviceInventoryInfo::GetNodeSet() Start",
        "CDeviceInventoryInfo::GetNodeSet() Empty nodeset",
        "CDeviceInventoryInfo::GetInventoryStatus() pXpathObj is NULL",
    };
    EXPECT_EQ(Log(), vExpected);
}

TEST_F(DeviceInventoryInfoTest, MissingEmptyMalformedAndHugeInputsGiveNoDevices)
{
    vextest::WriteFile(m_dir.File("empty.xml"), "");
    vextest::WriteFile(m_dir.File("bad.xml"), "<SVMInventory><Device componentID=\"1\">");
    vextest::WriteFile(m_dir.File("other.xml"), "<Inventory><Device componentID=\"1\"/></Inventory>");
    for (const std::string& strSource : {m_dir.File("missing.xml"), m_dir.File("empty.xml"), m_dir.File("bad.xml"),
                                         m_dir.File("other.xml"), m_dir.Path(), std::string()})
    {
        CDeviceInventoryInfo reader(strSource);
        EXPECT_TRUE(reader.GetDeviceInfo().empty()) << strSource;
        EXPECT_EQ(reader.GetSystemID(), "") << strSource;
    }
    // A missing file is taken for document text, which does not parse.
    const std::string strMissing = "CDeviceInventoryInfo::CDeviceInventoryInfo() Document " +
                                   m_dir.File("missing.xml") + "  parsing failed ";
    EXPECT_EQ(CountLines(Log(), strMissing), 2u);
    // An existing file that does not parse is not tried as text.
    EXPECT_EQ(CountLines(Log(), "CDeviceInventoryInfo::CDeviceInventoryInfo() Document " + m_dir.File("bad.xml") +
                                    "  parsing failed "),
              0u);
    EXPECT_TRUE(HasLine(Log(), "CDeviceInventoryInfo::GetDeviceInfo() Document " + m_dir.File("bad.xml") +
                                   "  parsing failed "));
}

TEST_F(DeviceInventoryInfoTest, FailedStatusWithoutDevicesGivesOneFailedRecord)
{
    Records vDevices = DevicesOf("<SVMInventory><SPStatus result=\"FALSE\"><Message>boom</Message>"
                                 "<Code>7</Code></SPStatus></SVMInventory>");
    EXPECT_EQ(vextest::RecordFields(vDevices, kAllFields),
              std::vector<std::string>{"unknown |  | /// |  |  |  |  | 1 | boom | hard"});

    EXPECT_EQ(LastLogLines(8), (std::vector<std::string>{
                                   "CDeviceInventoryInfo::GetNodeSet() Start",
                                   "CDeviceInventoryInfo::GetNodeSet() Empty nodeset",
                                   "CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL",
                                   "CDeviceInventoryInfo::GetNodeSet() Start",
                                   "CDeviceInventoryInfo::GetNodeSet() END",
                                   "CDeviceInventoryInfo::GetInventoryStatus() got message",
                                   "boom",
                                   "CDeviceInventoryInfo::~CDeviceInventoryInfo ",
                               }));
}

TEST_F(DeviceInventoryInfoTest, NoDevicesAndNoFailureGivesNothing)
{
    EXPECT_TRUE(DevicesOf("<SVMInventory><SPStatus result=\"true\"><Message>ok</Message></SPStatus>"
                          "</SVMInventory>")
                    .empty());
    EXPECT_TRUE(DevicesOf("<SVMInventory/>").empty());
    EXPECT_TRUE(HasLine(Log(), "CDeviceInventoryInfo::GetInventoryStatus() pXpathObj is NULL"));
}

// ---------------------------------------------------------------------------
// The records of an inventory text, case by case: the fields named in
// strFields, as vextest::RecordFields writes them, of every record.
// ---------------------------------------------------------------------------

namespace
{
struct InventoryCase
{
    const char* pszName;
    const char* pszInventory;
    const char* pszFields;
    std::vector<std::string> vRecords;
};

void PrintTo(const InventoryCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class InventoryRecords : public DeviceInventoryInfoTest, public ::testing::WithParamInterface<InventoryCase>
{
};

const InventoryCase kInventoryCases[] = {
    {"ComponentIDWinsOverPCIIdentity",
     "<SVMInventory><Device componentID=\"555\" vendorID=\"1A2B\" deviceID=\"1521\" subVendorID=\"1F0C\" "
     "subDeviceID=\"0602\"/></SVMInventory>",
     "deviceType | componentID | pci",
     {"nonPCI | 555 | ///"}},
    {"PCIIdentityIsTakenAsWrittenWithAbsentPartsEmpty",
     "<SVMInventory><Device vendorID=\"0x1A2B\" subDeviceID=\" 00aB \"/></SVMInventory>",
     "deviceType | pci",
     {"PCI | / 00aB /0x1A2B/"}},
    {"DeviceWithoutIdentityHasUnknownType",
     "<SVMInventory><Device deviceID=\"1521\" display=\"Anonymous\"><Application componentType=\"APAC\" "
     "version=\"2\"/></Device></SVMInventory>",
     "deviceType | pci | deviceName | componentType | version",
     {"unknown | /// | Anonymous | APAC | 2"}},
    {"AttributesWithEmptyValuesCountAsAbsent",
     "<SVMInventory><Device componentID=\"\" vendorID=\"1A2B\" deviceID=\"\" display=\"\"><Application "
     "componentType=\"\" version=\"\"/></Device><Device componentID=\"\" vendorID=\"\"/></SVMInventory>",
     "deviceType | componentID | pci | deviceName | componentType | version",
     {"PCI |  | //1A2B/ |  |  | ", "unknown |  | /// |  |  | "}},
    // A comment, an element without the attributes and text before the
    // application leave the component type and version empty; an element
    // of another name that carries them is read.
    {"ApplicationIsTheFirstChildWhateverItIs",
     "<SVMInventory><Device componentID=\"1\"><!-- note --><Application componentType=\"FRMW\" version=\"1\"/>"
     "</Device><Device componentID=\"2\"><Slot number=\"3\"/><Application componentType=\"FRMW\" version=\"2\"/>"
     "</Device><Device componentID=\"3\"><Firmware componentType=\"BIOS\" version=\"3.0\"/></Device>"
     "<Device componentID=\"4\">text first<Application componentType=\"FRMW\" version=\"4\"/></Device>"
     "<Device componentID=\"5\"/></SVMInventory>",
     "componentID | componentType | version",
     {"1 |  | ", "2 |  | ", "3 | BIOS | 3.0", "4 |  | ", "5 |  | "}},
    // Device elements are matched by exact name, anywhere below the
    // inventory element.
    {"DevicesAreFoundAtAnyDepthBelowTheRootInDocumentOrder",
     "<Envelope><SVMInventory><Device componentID=\"1\"/><Chassis><Slot><Device componentID=\"2\"><Device "
     "componentID=\"3\"/></Device></Slot></Chassis><device componentID=\"lower-case\"/></SVMInventory>"
     "<Device componentID=\"outside\"/></Envelope>",
     "componentID",
     {"1", "2", "3"}},
};
} // namespace

TEST_P(InventoryRecords, AreRead)
{
    EXPECT_EQ(vextest::RecordFields(DevicesOf(GetParam().pszInventory), GetParam().pszFields), GetParam().vRecords)
        << GetParam().pszFields;
}

INSTANTIATE_TEST_SUITE_P(DeviceInventoryInfoTest, InventoryRecords, ::testing::ValuesIn(kInventoryCases),
                         [](const ::testing::TestParamInfo<InventoryCase>& info) {
                             return std::string(info.param.pszName);
                         });

// ---------------------------------------------------------------------------
// The status of a failed collector, case by case: an inventory text, what
// GetInventoryStatus returns and the message it gives.
// ---------------------------------------------------------------------------

namespace
{
struct StatusCase
{
    const char* pszName;
    const char* pszInventory;
    int nStatus;
    const char* pszMessage;
};

void PrintTo(const StatusCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class InventoryStatus : public DeviceInventoryInfoTest, public ::testing::WithParamInterface<StatusCase>
{
};

// The message is the text of the status element's first child element.
const StatusCase kStatusCases[] = {
    {"StatusMessageIsTheTextOfTheFirstChildElement_NotPlainText",
     "<SVMInventory><SPStatus result=\"false\">plain text</SPStatus></SVMInventory>", 0, ""},
    {"StatusMessageIsTheTextOfTheFirstChildElement_NotAnElement",
     "<SVMInventory><SPStatus result=\"false\"><Message><b>x</b></Message></SPStatus></SVMInventory>", 0, ""},
    {"StatusMessageIsTheTextOfTheFirstChildElement_OfAnyName",
     "<SVMInventory><SPStatus result=\"false\"><Anything>disk &amp; more</Anything><Message>second</Message>"
     "</SPStatus></SVMInventory>",
     0, "disk & more"},
};
} // namespace

TEST_P(InventoryStatus, IsRead)
{
    CDeviceInventoryInfo reader(GetParam().pszInventory);
    std::string strMessage;
    EXPECT_EQ(reader.GetInventoryStatus(strMessage), GetParam().nStatus);
    EXPECT_EQ(strMessage, GetParam().pszMessage);
}

INSTANTIATE_TEST_SUITE_P(DeviceInventoryInfoTest, InventoryStatus, ::testing::ValuesIn(kStatusCases),
                         [](const ::testing::TestParamInfo<StatusCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(DeviceInventoryInfoTest, AFailedStatusMarksEveryDevice)
{
    Records vDevices = DevicesOf("<SVMInventory>"
                                 "<Device componentID=\"1\"><Application componentType=\"FRMW\" version=\"1\">"
                                 "<SPStatus result=\"true\"><Message>fine</Message></SPStatus></Application>"
                                 "</Device>"
                                 "<Device componentID=\"2\"><Application componentType=\"FRMW\" version=\"2\">"
                                 "<SPStatus result=\"False\"><Message>device 2 failed</Message></SPStatus>"
                                 "</Application></Device>"
                                 "<SPStatus result=\"false\"><Message>later failure</Message></SPStatus>"
                                 "</SVMInventory>");
    EXPECT_EQ(vextest::RecordFields(vDevices, "componentID | version | status | errorMsg"),
              (std::vector<std::string>{"1 | 1 | 1 | device 2 failed", "2 | 2 | 1 | device 2 failed"}));
    // Every device logs its status lookup, as if it had looked it up anew.
    const std::vector<std::string> vStatusLookup = {
        "CDeviceInventoryInfo::GetNodeSet() Start",
        "CDeviceInventoryInfo::GetNodeSet() END",
        "CDeviceInventoryInfo::GetInventoryStatus() got message",
        "device 2 failed",
    };
    std::vector<std::string> vExpected = {"CDeviceInventoryInfo::GetNodeSet() Start",
                                          "CDeviceInventoryInfo::GetNodeSet() END"};
    vExpected.insert(vExpected.end(), vStatusLookup.begin(), vStatusLookup.end());
    vExpected.insert(vExpected.end(), vStatusLookup.begin(), vStatusLookup.end());
    vExpected.push_back("CDeviceInventoryInfo::~CDeviceInventoryInfo ");
    EXPECT_EQ(LastLogLines(vExpected.size()), vExpected);
}

TEST_F(DeviceInventoryInfoTest, StatusElementsElsewhereAreIgnored)
{
    CDeviceInventoryInfo reader("<SVMInventory>"
                                "<Device componentID=\"1\"><SPStatus result=\"false\"><M>a</M></SPStatus>"
                                "<Other><SPStatus result=\"false\"><M>b</M></SPStatus></Other></Device>"
                                "<Group><SPStatus result=\"false\"><M>c</M></SPStatus></Group>"
                                "<Device componentID=\"2\"><Application><Deeper><SPStatus result=\"false\">"
                                "<M>d</M></SPStatus></Deeper></Application></Device>"
                                "<SPStatus result=\"yes\"><M>e</M></SPStatus><SPStatus><M>f</M></SPStatus>"
                                "</SVMInventory>");
    std::string strMessage = "unchanged";
    EXPECT_EQ(reader.GetInventoryStatus(strMessage), 1);
    EXPECT_EQ(strMessage, "unchanged");
    EXPECT_EQ(vextest::RecordFields(Own(reader.GetDeviceInfo()), "componentID | status | errorMsg"),
              (std::vector<std::string>{"1 | -1 | ", "2 | -1 | "}));
}

TEST_F(DeviceInventoryInfoTest, FailedStatusWithoutChildElementLeavesTheMessage)
{
    CDeviceInventoryInfo reader("<SVMInventory><Device componentID=\"1\"/><Device vendorID=\"1A2B\"/>"
                                "<SPStatus result=\"false\"/></SVMInventory>");
    std::string strMessage = "kept";
    EXPECT_EQ(reader.GetInventoryStatus(strMessage), 0);
    EXPECT_EQ(strMessage, "kept");
    EXPECT_EQ(vextest::RecordFields(Own(reader.GetDeviceInfo()), "deviceType | status | errorMsg"),
              (std::vector<std::string>{"nonPCI | 1 | ", "PCI | 1 | "}));
    EXPECT_FALSE(HasLine(Log(), "CDeviceInventoryInfo::GetInventoryStatus() got message"));
}

TEST_F(DeviceInventoryInfoTest, OperatingSystemFieldsTakeTheLastValueEach)
{
    CDeviceInventoryInfo reader(
        "<SVMInventory><OperatingSystem majorVersion=\"7\" minorVersion=\"9\" spMajorVersion=\"1\" "
        "spMinorVersion=\"2\" osVendor=\"Acme\" osArch=\"x86_64\" osBuildNum=\"100\"/>"
        "<Host><OperatingSystem majorVersion=\"8\" minorVersion=\"\" osVendor=\"Other\" osBuildNum=\"200\"/></Host>"
        "</SVMInventory>");
    // major/minor/spMajor/spMinor/vendor/arch/installedBuild/reserved/requiredBuild
    EXPECT_EQ(vextest::OSText(reader.GetOSInfo()), "8/9/1/2/Other/x86_64/200//");
}

TEST_F(DeviceInventoryInfoTest, NoOperatingSystemGivesAnEmptyRecord)
{
    CDeviceInventoryInfo reader("<SVMInventory><Device componentID=\"1\"/></SVMInventory>");
    EXPECT_EQ(vextest::OSText(reader.GetOSInfo()), "////////");
    EXPECT_EQ(Log().back(), "CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL");
}

TEST_F(DeviceInventoryInfoTest, SystemIDTakesTheLastSystem)
{
    CDeviceInventoryInfo reader("<SVMInventory><System systemID=\"0x0A1B\"/><Rack><System systemID=\"0x0C2D\"/>"
                                "</Rack><System systemID=\"\"/><System/></SVMInventory>");
    EXPECT_EQ(reader.GetSystemID(), "0x0C2D");

    CDeviceInventoryInfo noSystem("<SVMInventory/>");
    EXPECT_EQ(noSystem.GetSystemID(), "");
    EXPECT_EQ(Log().back(), "CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL");
}

TEST_F(DeviceInventoryInfoTest, RecordsOutliveTheReaderAndParsingWorksAfterItsCleanUp)
{
    Records vDevices;
    {
        CDeviceInventoryInfo reader(kTwoDevices);
        vDevices = Own(reader.GetDeviceInfo());
    }
    EXPECT_EQ(Log().back(), "CDeviceInventoryInfo::~CDeviceInventoryInfo ");
    ASSERT_EQ(vDevices.size(), 2u);
    EXPECT_EQ(vDevices[0]->getVersion(), "25.5.9.0001");

    Records vAgain = DevicesOf(kTwoDevices);
    ASSERT_EQ(vAgain.size(), 2u);
    EXPECT_EQ(vAgain[1]->getVersion(), "8.07.00");
}

TEST_F(DeviceInventoryInfoTest, GetNodeSetAndGetAttributeValueLogTheirFailures)
{
    CDeviceInventoryInfo reader(kTwoDevices);
    EXPECT_FALSE(reader.GetNodeSet(nullptr));
    EXPECT_FALSE(reader.GetNodeSet(reinterpret_cast<const unsigned char*>("//Device[")));
    xmlsupport::NodeSetPtr pDevices = reader.GetNodeSet(reinterpret_cast<const unsigned char*>("//Device"));
    ASSERT_TRUE(pDevices);
    EXPECT_EQ(reader.GetAttributeValue(nullptr, "display"), nullptr);
    EXPECT_EQ(reader.GetAttributeValue(xmlsupport::NodeAt(pDevices.get(), 0), nullptr), nullptr);
    EXPECT_STREQ(reader.GetAttributeValue(xmlsupport::NodeAt(pDevices.get(), 1), "display"), "HBA");

    EXPECT_EQ(LastLogLines(8), (std::vector<std::string>{
                                   "CDeviceInventoryInfo::GetNodeSet() Start",
                                   "CDeviceInventoryInfo::GetNodeSet() xmlXPathNewContext is NULL",
                                   "CDeviceInventoryInfo::GetNodeSet() Start",
                                   "CDeviceInventoryInfo::GetNodeSet() Error in xmlXPathEvalExpression",
                                   "CDeviceInventoryInfo::GetNodeSet() Start",
                                   "CDeviceInventoryInfo::GetNodeSet() END",
                                   "CDeviceInventoryInfo::GetAttributeValue() NULL == cur || NULL == propName",
                                   "CDeviceInventoryInfo::GetAttributeValue() NULL == cur || NULL == propName",
                               }));
}

TEST_F(DeviceInventoryInfoTest, ThousandsOfDevicesAreReadInOrder)
{
    const int nDevices = 20000;
    std::string strText = "<SVMInventory>";
    for (int nIndex = 0; nIndex < nDevices; ++nIndex)
    {
        const std::string strIndex = std::to_string(nIndex);
        strText += "<Device vendorID=\"1A2B\" deviceID=\"" + strIndex + "\" display=\"NIC " + strIndex +
                   "\"><Application componentType=\"FRMW\" version=\"1." + strIndex + "\"/></Device>";
    }
    strText += "<SPStatus result=\"false\"><Message>partial</Message></SPStatus></SVMInventory>";
    vextest::WriteFile(m_dir.File("inv.xml"), strText);

    const auto tStart = std::chrono::steady_clock::now();
    Records vDevices = DevicesOf(m_dir.File("inv.xml"));
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
    ASSERT_EQ(vDevices.size(), static_cast<std::size_t>(nDevices));
    for (int nIndex = 0; nIndex < nDevices; ++nIndex)
    {
        ASSERT_EQ(vDevices[nIndex]->getPCIInfo().strDeviceID, std::to_string(nIndex));
        ASSERT_EQ(vDevices[nIndex]->getVersion(), "1." + std::to_string(nIndex));
        ASSERT_EQ(vDevices[nIndex]->getStatus(), 1);
        ASSERT_EQ(vDevices[nIndex]->getErrorMsg(), "partial");
    }
    // Reading grows with the size of the document, not with its square: a
    // status lookup per device would take over half a minute here.
    EXPECT_LT(dSeconds, 10.0);
    std::cout << "read " << nDevices << " devices in " << dSeconds << " s\n";
}

// A collector may leave a named pipe, or a link to an endless device, where
// its document should be. The reader finds no document there and returns at
// once, as for any file that does not parse.
TEST_F(DeviceInventoryInfoTest, AnOutputThatIsANamedPipeOrADeviceGivesNoDevices)
{
    ASSERT_EQ(mkfifo(m_dir.File("pipe.xml").c_str(), 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", m_dir.File("zero.xml").c_str()), 0);
    const auto tStart = std::chrono::steady_clock::now();
    EXPECT_TRUE(DevicesOf(m_dir.File("pipe.xml")).empty());
    EXPECT_TRUE(DevicesOf(m_dir.File("zero.xml")).empty());
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(5));
    // Both were taken as files (no attempt to read the path as text) that
    // did not parse.
    const std::vector<std::string> vLog = Log();
    EXPECT_TRUE(HasLine(vLog, "CDeviceInventoryInfo::GetDeviceInfo() Document " + m_dir.File("pipe.xml") +
                                  "  parsing failed "));
    EXPECT_FALSE(HasLine(vLog, "CDeviceInventoryInfo::CDeviceInventoryInfo() Document " + m_dir.File("pipe.xml") +
                                   "  parsing failed "));
}
