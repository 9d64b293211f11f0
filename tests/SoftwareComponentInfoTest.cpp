#include "Logger.h"
#include "PlatformLayer.h"
#include "SoftwareComponentInfo.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using vextest::CountLines;
using vextest::HasLine;
using vextest::ReadLogMessages;
using vextest::ScopedCwd;
using vextest::TempDir;
using vextest::Then;

// ---------------------------------------------------------------------------
// Non-throwing allocations can be made to fail on demand: the reader
// allocates its records with new (std::nothrow), and its behaviour when such
// an allocation fails is part of what is tested here. Unarmed, this behaves
// as the library's own operator.
// ---------------------------------------------------------------------------
namespace
{
long g_nNothrowFailAt = -1;
long g_nNothrowCount = 0;

// Makes the nFailAt-th non-throwing allocation from now on fail (counted
// from 0); a negative value disarms.
void FailNothrowAllocation(long nFailAt)
{
    g_nNothrowCount = 0;
    g_nNothrowFailAt = nFailAt;
}
} // namespace

void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept
{
    if (g_nNothrowFailAt >= 0 && g_nNothrowCount++ == g_nNothrowFailAt)
    {
        return nullptr;
    }
    try
    {
        return ::operator new(nSize);
    }
    catch (...)
    {
        return nullptr;
    }
}

namespace
{
// The records that getDependencyInfo hands out belong to the caller.
struct OwnedRecords
{
    std::vector<CDeviceInfo*> v;
    explicit OwnedRecords(std::vector<CDeviceInfo*> vRecords) : v(std::move(vRecords)) {}
    ~OwnedRecords()
    {
        for (CDeviceInfo* pRecord : v)
        {
            delete pRecord;
        }
    }
    OwnedRecords(const OwnedRecords&) = delete;
    OwnedRecords& operator=(const OwnedRecords&) = delete;
    std::size_t size() const { return v.size(); }
    CDeviceInfo& operator[](std::size_t i) const { return *v[i]; }
};

// A package description with the given SupportedDevices content, laid out
// with blanks between the elements as real packages are.
std::string Package(const std::string& strDevices, const std::string& strExtra = std::string())
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<SoftwareComponent schemaVersion=\"1.0\" vendorVersion=\"1.2.3\">\n"
           "  <ComponentType value=\"FRMW\">\n    <Display lang=\"en\">Firmware</Display>\n  </ComponentType>\n"
           "  <SupportedDevices>\n" +
           strDevices + "\n  </SupportedDevices>\n" + strExtra + "</SoftwareComponent>\n";
}

// Each identity as vextest::PCIText writes it.
std::vector<std::string> PCITexts(const std::vector<SPCIInfo>& vIdentities)
{
    std::vector<std::string> vTexts;
    for (const SPCIInfo& pci : vIdentities)
    {
        vTexts.push_back(vextest::PCIText(pci));
    }
    return vTexts;
}

// The log lines from nFrom on.
std::vector<std::string> From(const std::vector<std::string>& vLines, std::size_t nFrom)
{
    return std::vector<std::string>(vLines.begin() + static_cast<std::ptrdiff_t>(std::min(nFrom, vLines.size())),
                                    vLines.end());
}

const std::string kNodeSet = "CSoftwareComponentInfo::GetNodeSet() ";
const std::string kDep = "CSoftwareComponentInfo::getDependencyInfo() ";
const std::string kNoPlatform = kDep + "unable to get the Platform info from package.xml for dependent device";
const std::string kNoOS = kDep + "unable to get the Platform info from package.xml for dependent device or Opernating "
                                 "System Information Is not mentioned in the Dependency Node";
const std::string kOSAttributeMissing = kDep +
                                        "failed to get the MajorVersion info from package.xml for dependent device";
const std::string kDuplicate = "CSoftwareComponentInfo::AddDependencyInfo() Found a duplicate entry";
// What getDependencyInfo logs for a package without dependency elements.
const std::vector<std::string> kNoDependencyLines = {kNodeSet + "Entering", kNodeSet + "Empty nodeset",
                                                     kDep + "Entered Method", kDep + "ParseXmlUsingXpath failed"};
// What it logs up to the first dependency, a hard one under a Device with a
// component ID.
const std::vector<std::string> kFirstHardDependencyLines = {kNodeSet + "Entering", kNodeSet + "Exiting",
                                                            kDep + "Entered Method", kDep + "Found HardDependency",
                                                            kDep + "got the parent componentID info from package.xml"};

// The answers of the component's identity queries.
std::vector<std::string> Identity(CSoftwareComponentInfo& reader)
{
    return {"GetComponentID " + reader.GetComponentID(),
            "GetMinComponentID " + reader.GetMinComponentID(),
            "GetComponentType " + reader.GetComponentType(),
            "GetComponentVersion " + reader.GetComponentVersion(),
            "GetComponentDisplayString " + reader.GetComponentDisplayString(),
            "GetComponentTypeDisplayString " + reader.GetComponentTypeDisplayString(),
            "GetPackageID " + reader.GetPackageID()};
}
const std::vector<std::string> kNoIdentity = {
    "GetComponentID ",      "GetMinComponentID ",         "GetComponentType ",
    "GetComponentVersion ", "GetComponentDisplayString ", "GetComponentTypeDisplayString ",
    "GetPackageID "};

// Every test runs in a fresh temporary working directory.
class PackageReader : public ::testing::Test
{
protected:
    void SetUp() override { m_pCwd.reset(new ScopedCwd(m_dir.Path())); }
    void TearDown() override
    {
        FailNothrowAllocation(-1);
        m_pCwd.reset();
    }

    void WritePackage(const std::string& strText) { vextest::WriteFile(m_dir.File("package.xml"), strText); }
    // The working directory as the reader sees it (with a trailing "/").
    std::string Cwd() const { return CPlatformLayer::getCurrentDirectory(); }
    void StartLogging() { vextest::StartLogging(m_dir.File("test.log")); }
    std::vector<std::string> Messages() const { return ReadLogMessages(m_dir.File("test.log")); }
    // What the constructors' test for the log marker logs while logging is
    // already on.
    std::string NoMarkerLine() const { return ExistsLine("vexdebuglog", false); }
    // The platform layer's test for a file in the working directory.
    std::string ExistsLine(const std::string& strName, bool bExists) const
    {
        return "CLinuxImpl::IsFileExistsAbs() File name " + Cwd() + strName + (bExists ? " exist" : " doesnt exist");
    }
    std::string NotParsedLine(const std::string& strName) const
    {
        return "CSoftwareComponentInfo::Init() Document " + Cwd() + strName + " not parsed successfully ";
    }
    // What the default constructor logs while logging is already on: the
    // test for the log marker, its entry, then vThen.
    std::vector<std::string> ConstructorLines(const std::vector<std::string>& vThen) const
    {
        return Then({NoMarkerLine(), "CSoftwareComponentInfo::CSoftwareComponentInfo() Entering Constructor Method",
                     "CSoftwareComponentInfo::Init() Entering"},
                    vThen);
    }
    // ... for a package.xml that exists but does not parse.
    std::vector<std::string> NotParsedConstructorLines() const
    {
        return ConstructorLines(
            {ExistsLine("package.xml", true), NotParsedLine("package.xml"), "CSoftwareComponentInfo::Init() Exiting"});
    }

    OwnedRecords Dependencies(const std::string& strDevices)
    {
        WritePackage(Package(strDevices));
        CSoftwareComponentInfo reader;
        return OwnedRecords(reader.getDependencyInfo());
    }

    TempDir m_dir;
    std::unique_ptr<ScopedCwd> m_pCwd;
};

const char* const kTwoDevices =
    "<Device componentID=\"125\">\n"
    "  <Display>Network adapter</Display>\n"
    "  <PCIInfo deviceID=\"1A\" subDeviceID=\"1F2D\" vendorID=\"1A2B\" subVendorID=\"28\"/>\n"
    "  <RollbackInformation/>\n"
    "</Device>\n"
    "<Device componentID=\"31\">\n"
    "  <Display>System BIOS</Display>\n"
    "</Device>\n";
} // namespace

// ===========================================================================
// The document, its construction and the XPath functions
// ===========================================================================

TEST_F(PackageReader, DefaultConstructorReadsPackageAndSwitchesLoggingOn)
{
    WritePackage(Package(kTwoDevices));
    vextest::WriteFile(m_dir.File("vexdebuglog"), "");
    {
        CSoftwareComponentInfo reader;
        EXPECT_EQ(reader.GetValue("//SoftwareComponent/SupportedDevices/Device/Display", ""), "Network adapter");
    }
    const std::vector<std::string> vMessages = ReadLogMessages(m_dir.File("baseutils.log"));
    const std::vector<std::string> vExpected = {
        "CSoftwareComponentInfo::CSoftwareComponentInfo() Entering Constructor Method",
        "CSoftwareComponentInfo::Init() Entering",
        ExistsLine("package.xml", true),
        "CSoftwareComponentInfo::Init() Exiting",
        "Entering GetStringFromPackageXML function",
        kNodeSet + "Entering",
        kNodeSet + "Exiting",
        "Network adapter",
        "Exiting GetStringFromPackageXML function",
    };
    EXPECT_EQ(vMessages, vExpected);
    const std::vector<std::string> vLines = vextest::ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_FALSE(vLines.empty());
    EXPECT_EQ(vLines[0].rfind("[TIME] :     SoftwareComponentInfo:", 0), 0u) << vLines[0];
}

TEST_F(PackageReader, WithoutTheMarkerNothingIsLogged)
{
    WritePackage(Package(kTwoDevices));
    {
        CSoftwareComponentInfo reader;
        OwnedRecords records(reader.getDependencyInfo());
        EXPECT_EQ(reader.GetComponentID(), "125");
    }
    EXPECT_FALSE(CLogger::GetInstance()->IsInitialized());
    EXPECT_FALSE(vextest::FileExists(m_dir.File("baseutils.log")));
}

// A package could carry a named pipe (that nobody writes) or a link to an
// endless device as its "package.xml". The reader must not wait or read for
// ever: the file exists but is no document, as if it did not parse.
TEST_F(PackageReader, APackageThatIsANamedPipeOrADeviceIsNoDocument)
{
    ASSERT_EQ(mkfifo(m_dir.File("package.xml").c_str(), 0600), 0);
    StartLogging();
    const auto tStart = std::chrono::steady_clock::now();
    {
        CSoftwareComponentInfo reader;
        OwnedRecords records(reader.getDependencyInfo());
        EXPECT_EQ(records.size(), 0u);
        EXPECT_EQ(reader.GetComponentID(), "");
        EXPECT_EQ(reader.GetPackageID(), "");
    }
    ASSERT_EQ(std::remove(m_dir.File("package.xml").c_str()), 0);
    ASSERT_EQ(symlink("/dev/zero", m_dir.File("package.xml").c_str()), 0);
    {
        CSoftwareComponentInfo reader;
        OwnedRecords records(reader.getDependencyInfo());
        EXPECT_EQ(records.size(), 0u);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(5));
    EXPECT_EQ(CountLines(Messages(), NotParsedLine("package.xml")), 2u);
}

TEST_F(PackageReader, MissingPackageIsNoErrorAndEveryQueryIsEmpty)
{
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(Messages(), ConstructorLines({ExistsLine("package.xml", false)}));
    std::size_t nMark = Messages().size();
    EXPECT_FALSE(reader.ParseXmlUsingXpath());
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{
                                           "CSoftwareComponentInfo::ParseXmlUsingXpath() Entering",
                                           ExistsLine("package.xml", false),
                                       }));
    nMark = Messages().size();
    // No document: GetValue does not even evaluate.
    EXPECT_EQ(reader.GetValue("//SoftwareComponent", ""), "");
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{"Entering GetStringFromPackageXML function",
                                                                 "Exiting GetStringFromPackageXML function"}));
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_EQ(records.size(), 0u);
    EXPECT_EQ(Identity(reader), kNoIdentity);
    EXPECT_EQ(reader.getPresenceOfRollbackInfo(), 0);
    EXPECT_TRUE(reader.GetSupportedDevices().empty());
    EXPECT_TRUE(reader.GetAllSupportedDevices().empty());
    EXPECT_TRUE(reader.getCompIDMarkNameInfo().empty());
    EXPECT_TRUE(reader.GetSupportedContextTypes().empty());
}

TEST_F(PackageReader, ParseXmlUsingXpathWithoutPackageLeavesNoDocument)
{
    // A reader that holds a document built from text drops it when the
    // supported devices are read again and there is no "package.xml".
    std::string strText = Package(kTwoDevices);
    CSoftwareComponentInfo reader(strText);
    EXPECT_EQ(reader.GetComponentTypeDisplayString(), "Firmware");
    EXPECT_FALSE(reader.ParseXmlUsingXpath());
    EXPECT_EQ(reader.GetComponentTypeDisplayString(), "");
}

TEST_F(PackageReader, FilePathIsTheWorkingDirectoryAndPackageXml)
{
    WritePackage("<SoftwareComponent><unclosed></SoftwareComponent>");
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(Messages(), NotParsedConstructorLines());
    EXPECT_EQ(Cwd(), vextest::CurrentDirectory() + "/");
}

TEST_F(PackageReader, ExpressionMatchingNothingGivesNullAndTheEmptyNodesetLine)
{
    WritePackage(Package(kTwoDevices));
    StartLogging();
    CSoftwareComponentInfo reader;
    std::size_t nMark = Messages().size();
    EXPECT_FALSE(reader.ParseXmlUsingXpath("//SoftwareComponent/Nothing"));
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{kNodeSet + "Entering", kNodeSet + "Empty nodeset"}));

    nMark = Messages().size();
    xmlsupport::NodeSetPtr pDevices = reader.ParseXmlUsingXpath();
    ASSERT_TRUE(pDevices);
    EXPECT_EQ(xmlsupport::NodeCount(pDevices.get()), 2u);
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{
                                           "CSoftwareComponentInfo::ParseXmlUsingXpath() Entering",
                                           ExistsLine("package.xml", true),
                                           kNodeSet + "Entering",
                                           kNodeSet + "Exiting",
                                           "CSoftwareComponentInfo::ParseXmlUsingXpath() Exiting",
                                       }));
    pDevices.reset();

    // An expression that cannot be evaluated.
    xmlsupport::DocumentPtr pDoc = xmlsupport::ParseMemory("<a><b/></a>");
    nMark = Messages().size();
    EXPECT_FALSE(reader.GetNodeSet(pDoc.get(), reinterpret_cast<const xmlChar*>("//b[")));
    EXPECT_EQ(From(Messages(), nMark),
              (std::vector<std::string>{kNodeSet + "Entering", kNodeSet + "Error in xmlXPathEvalExpression"}));
    // A result that is not a node set is empty.
    EXPECT_FALSE(reader.GetNodeSet(pDoc.get(), reinterpret_cast<const xmlChar*>("count(//b)")));
    EXPECT_EQ(Messages().back(), kNodeSet + "Empty nodeset");
}

TEST_F(PackageReader, LowerCaseGetnodesetLogsOnlyItsErrors)
{
    StartLogging();
    std::string strText = "<a><b n=\"1\"/><b/></a>";
    CSoftwareComponentInfo reader(strText);
    xmlsupport::DocumentPtr pDoc = xmlsupport::ParseMemory(strText);
    std::size_t nMark = Messages().size();
    xmlsupport::NodeSetPtr pFound = reader.getnodeset(pDoc.get(), reinterpret_cast<const xmlChar*>("//b"));
    ASSERT_TRUE(pFound);
    EXPECT_EQ(xmlsupport::NodeCount(pFound.get()), 2u);
    EXPECT_FALSE(reader.getnodeset(pDoc.get(), reinterpret_cast<const xmlChar*>("//c")));
    EXPECT_EQ(Messages().size(), nMark);
    EXPECT_FALSE(reader.getnodeset(pDoc.get(), reinterpret_cast<const xmlChar*>("//b[")));
    EXPECT_EQ(From(Messages(), nMark),
              (std::vector<std::string>{"CIdentityModuleInventory::getnodeset :: Error in xmlXPathEvalExpression"}));
}

TEST_F(PackageReader, GetAttributeValueTreatsEmptyAsAbsent)
{
    std::string strText = "<a full=\"v\" empty=\"\"/>";
    CSoftwareComponentInfo reader(strText);
    xmlsupport::DocumentPtr pDoc = xmlsupport::ParseMemory(strText);
    xmlNode* pRoot = xmlDocGetRootElement(pDoc.get());
    EXPECT_STREQ(reader.GetAttributeValue(pRoot, "full"), "v");
    EXPECT_EQ(reader.GetAttributeValue(pRoot, "empty"), nullptr);
    EXPECT_EQ(reader.GetAttributeValue(pRoot, "missing"), nullptr);
    EXPECT_EQ(reader.GetAttributeValue(pRoot, "Full"), nullptr);
}

TEST_F(PackageReader, GetValueWithoutAttributeTakesTheFirstNodeWithText)
{
    std::string strText = "<r><e><x/></e><e></e><e>second</e><e>third</e></r>";
    StartLogging();
    CSoftwareComponentInfo reader(strText);
    const std::size_t nMark = Messages().size();
    EXPECT_EQ(reader.GetValue("//r/e", ""), "second");
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{
                                           "Entering GetStringFromPackageXML function",
                                           kNodeSet + "Entering",
                                           kNodeSet + "Exiting",
                                           "second",
                                           "Exiting GetStringFromPackageXML function",
                                       }));
}

TEST_F(PackageReader, GetValueWithAttributeReturnsItWithoutTheExitingLine)
{
    std::string strText = "<r><e>text one</e><e a=\"\">text two</e><e a=\"value\">text three</e></r>";
    StartLogging();
    CSoftwareComponentInfo reader(strText);
    std::size_t nMark = Messages().size();
    // The first node has no attribute but text: its text is the answer.
    EXPECT_EQ(reader.GetValue("//r/e", "a"), "text one");
    EXPECT_EQ(reader.GetValue("//r/e[3]", "a"), "value");
    const std::vector<std::string> vTail = From(Messages(), nMark);
    ASSERT_FALSE(vTail.empty());
    EXPECT_EQ(vTail.back(), kNodeSet + "Exiting");
    nMark = Messages().size();
    EXPECT_EQ(reader.GetValue("//r/none", "a"), "");
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{
                                           "Entering GetStringFromPackageXML function",
                                           kNodeSet + "Entering",
                                           kNodeSet + "Empty nodeset",
                                           "Exiting GetStringFromPackageXML function",
                                       }));
    nMark = Messages().size();
    EXPECT_EQ(reader.GetValue("//r", "missing"), "");
    EXPECT_EQ(Messages().back(), "Exiting GetStringFromPackageXML function");
}

TEST_F(PackageReader, GetValueUsesTheHeldDocumentWithoutReadingAgain)
{
    WritePackage(Package(kTwoDevices));
    CSoftwareComponentInfo reader;
    WritePackage(Package("<Device componentID=\"9\"><Display>Changed</Display></Device>"));
    EXPECT_EQ(reader.GetValue("//SoftwareComponent/SupportedDevices/Device/Display", ""), "Network adapter");
    // A re-reading query replaces the held document.
    EXPECT_EQ(reader.GetComponentID(), "9");
    EXPECT_EQ(reader.GetValue("//SoftwareComponent/SupportedDevices/Device/Display", ""), "Changed");
}

TEST_F(PackageReader, RereadingAnUnchangedFileKeepsTheHeldDocument)
{
    WritePackage(Package(kTwoDevices));
    CSoftwareComponentInfo reader;
    xmlsupport::NodeSetPtr pFirst = reader.ParseXmlUsingXpath("//SoftwareComponent/SupportedDevices/Device");
    ASSERT_TRUE(pFirst);
    xmlDoc* pFirstDocument = xmlsupport::NodeAt(pFirst.get(), 0)->doc;
    xmlsupport::NodeSetPtr pSecond = reader.ParseXmlUsingXpath();
    ASSERT_TRUE(pSecond);
    EXPECT_EQ(xmlsupport::NodeAt(pSecond.get(), 0)->doc, pFirstDocument);
    EXPECT_EQ(reader.GetComponentID(), "125");

    WritePackage(Package("<Device componentID=\"9\"><Display>Changed</Display></Device>"));
    pFirst.reset();
    pSecond.reset();
    EXPECT_EQ(reader.GetComponentID(), "9");
}

TEST_F(PackageReader, NamedFileConstructorReadsThatFileWithoutSwitchingLoggingOn)
{
    vextest::WriteFile(m_dir.File("other.xml"), Package(kTwoDevices));
    vextest::WriteFile(m_dir.File("vexdebuglog"), "");
    {
        CSoftwareComponentInfo reader("other.xml");
        EXPECT_EQ(reader.GetComponentTypeDisplayString(), "Firmware");
        // Queries that read their path again read the named file.
        EXPECT_EQ(reader.GetComponentType(), "FRMW");
        EXPECT_EQ(reader.getPresenceOfRollbackInfo(), 1);
    }
    EXPECT_FALSE(CLogger::GetInstance()->IsInitialized());
    EXPECT_FALSE(vextest::FileExists(m_dir.File("baseutils.log")));
}

TEST_F(PackageReader, NamedFileConstructorLogsOnlyItsInitLines)
{
    vextest::WriteFile(m_dir.File("bad.xml"), "not xml at all");
    vextest::WriteFile(m_dir.File("good.xml"), Package(kTwoDevices));
    StartLogging();
    {
        CSoftwareComponentInfo missing("absent.xml");
        CSoftwareComponentInfo bad("bad.xml");
        CSoftwareComponentInfo good("good.xml");
        CSoftwareComponentInfo none(static_cast<const char*>(nullptr));
        EXPECT_EQ(good.GetComponentTypeDisplayString(), "Firmware");
        EXPECT_EQ(bad.GetComponentTypeDisplayString(), "");
        EXPECT_EQ(none.GetComponentType(), "");
    }
    const std::vector<std::string> vMessages = Messages();
    ASSERT_GE(vMessages.size(), 6u);
    EXPECT_EQ(std::vector<std::string>(vMessages.begin(), vMessages.begin() + 6),
              (std::vector<std::string>{
                  ExistsLine("absent.xml", false),
                  ExistsLine("bad.xml", true),
                  NotParsedLine("bad.xml"),
                  "CSoftwareComponentInfo::Init() Exiting",
                  ExistsLine("good.xml", true),
                  "CSoftwareComponentInfo::Init() Exiting",
              }));
}

TEST_F(PackageReader, TextConstructorLogsTheDocumentAndReadsNothingFromFiles)
{
    // A "package.xml" in the working directory is never read by a reader
    // built from text: its file path is empty.
    WritePackage(Package("<Device componentID=\"77\"><Dependency componentID=\"1\"/></Device>"));
    vextest::WriteFile(m_dir.File("vexdebuglog"), "");
    std::string strText = "<SoftwareComponent><ComponentType><Display>Driver</Display></ComponentType>"
                          "<SupportedDevices><Device componentID=\"5\"/></SupportedDevices></SoftwareComponent>";
    {
        CSoftwareComponentInfo reader(strText);
        EXPECT_EQ(reader.GetComponentTypeDisplayString(), "Driver");
        EXPECT_EQ(reader.GetComponentID(), "");
        OwnedRecords records(reader.getDependencyInfo());
        EXPECT_EQ(records.size(), 0u);
    }
    const std::vector<std::string> vMessages = ReadLogMessages(m_dir.File("baseutils.log"));
    ASSERT_GE(vMessages.size(), 3u);
    EXPECT_EQ(std::vector<std::string>(vMessages.begin(), vMessages.begin() + 3),
              (std::vector<std::string>{
                  "CSoftwareComponentInfo::CSoftwareComponentInfo(String) Entering Constructor Method",
                  strText,
                  "CSoftwareComponentInfo::CSoftwareComponentInfo(string) Exiting",
              }));
}

TEST_F(PackageReader, TextConstructorReportsTextThatDoesNotParse)
{
    StartLogging();
    std::string strText = "<SoftwareComponent>";
    CSoftwareComponentInfo reader(strText);
    EXPECT_EQ(Messages(), (std::vector<std::string>{
                              NoMarkerLine(),
                              "CSoftwareComponentInfo::CSoftwareComponentInfo(String) Entering Constructor Method",
                              "<SoftwareComponent>",
                              "CSoftwareComponentInfo::CSoftwareComponentInfo(string) Document  not parsed "
                              "successfully ",
                              "CSoftwareComponentInfo::CSoftwareComponentInfo(string) Exiting",
                          }));
    EXPECT_EQ(reader.GetPackageID(), "");
}

TEST_F(PackageReader, ParsingDropsBlankTextNodes)
{
    // The reader switches libxml2's blank handling off, so the first child
    // of an element is its first real child.
    WritePackage("<SoftwareComponent>\n   \n  <Display>x</Display></SoftwareComponent>");
    CSoftwareComponentInfo reader;
    xmlsupport::NodeSetPtr pSet = reader.ParseXmlUsingXpath("//SoftwareComponent");
    ASSERT_TRUE(pSet);
    xmlNode* pFirst = xmlsupport::NodeAt(pSet.get(), 0)->children;
    ASSERT_NE(pFirst, nullptr);
    EXPECT_EQ(pFirst->type, XML_ELEMENT_NODE);
    EXPECT_EQ(reader.GetPackageID(), "");
}

// ===========================================================================
// Component identity
// ===========================================================================

TEST_F(PackageReader, ComponentIDIsTheFirstDevicesAndTheMinimumIsNumeric)
{
    WritePackage(Package(kTwoDevices));
    StartLogging();
    CSoftwareComponentInfo reader;
    std::size_t nMark = Messages().size();
    EXPECT_EQ(reader.GetComponentID(), "125");
    std::vector<std::string> vTail = From(Messages(), nMark);
    ASSERT_GE(vTail.size(), 3u);
    EXPECT_EQ(vTail.front(), "Entering CSoftwareComponentInfo::GetComponentID()");
    EXPECT_EQ(vTail[vTail.size() - 2], "Found the component id as 125");
    EXPECT_EQ(vTail.back(), "Leaving CSoftwareComponentInfo::GetComponentID()");

    nMark = Messages().size();
    EXPECT_EQ(reader.GetMinComponentID(), "31");
    vTail = From(Messages(), nMark);
    EXPECT_EQ(vTail.front(), "Entering CSoftwareComponentInfo::GetMinComponentID()");
    EXPECT_EQ(vTail.back(), "Leaving CSoftwareComponentInfo::GetMinComponentID()");
}

namespace
{
// A package's Device elements and the two component IDs it gives: the
// first Device's, as written, and the smallest, as strtol reads them.
struct ComponentIDCase
{
    const char* pszName;
    std::string strDevices;
    std::string strComponentID;
    std::string strMinComponentID;
};

void PrintTo(const ComponentIDCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class ComponentIDs : public PackageReader, public ::testing::WithParamInterface<ComponentIDCase>
{
};

const ComponentIDCase kComponentIDCases[] = {
    {"FirstDevicesAndTheNumericMinimum", kTwoDevices, "125", "31"},
    {"LeadingZerosStayInTheComponentIDButNotInTheMinimum",
     "<Device componentID=\"0042\"/><Device componentID=\"0100\"/>", "0042", "42"},
    {"MinimumComponentIDParsesLikeStrtol",
     "<Device componentID=\"77abc\"/><Device componentID=\"-5\"/><Device/><Device componentID=\"x\"/>", "77abc", "-5"},
    {"MinimumComponentIDParsesLikeStrtol_TextIsZero", "<Device componentID=\"12 tail\"/><Device componentID=\"text\"/>",
     "12 tail", "0"},
    {"MinimumComponentIDParsesLikeStrtol_NoneIsEmpty", "<Device/>", "", ""},
};
} // namespace

// Both queries read package.xml again: the reader is made before the
// package it is asked about is written.
TEST_P(ComponentIDs, AreTheFirstAndTheSmallest)
{
    WritePackage(Package(""));
    CSoftwareComponentInfo reader;
    WritePackage(Package(GetParam().strDevices));
    EXPECT_EQ(reader.GetComponentID(), GetParam().strComponentID);
    EXPECT_EQ(reader.GetMinComponentID(), GetParam().strMinComponentID);
}

INSTANTIATE_TEST_SUITE_P(PackageReader, ComponentIDs, ::testing::ValuesIn(kComponentIDCases),
                         [](const ::testing::TestParamInfo<ComponentIDCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(PackageReader, LastComponentTypeAndVersionWin)
{
    WritePackage("<Root><SoftwareComponent vendorVersion=\"1.0\"><ComponentType value=\"DRVR\"/>"
                 "<ComponentType value=\"APAC\"/></SoftwareComponent>"
                 "<SoftwareComponent vendorVersion=\"2.0\"/></Root>");
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    EXPECT_EQ(reader.GetComponentType(), "APAC");
    EXPECT_EQ(reader.GetComponentVersion(), "2.0");
    // Neither logs beyond the node-set lines.
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{
                                           kNodeSet + "Entering",
                                           kNodeSet + "Exiting",
                                           kNodeSet + "Entering",
                                           kNodeSet + "Exiting",
                                       }));
}

TEST_F(PackageReader, ComponentDisplayStringNeedsDisplayAsFirstChild)
{
    WritePackage(Package("<Device componentID=\"1\"><PCIInfo deviceID=\"1\"/><Display>Second child</Display></Device>"
                         "<Device componentID=\"2\"><Display>First child</Display></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(reader.GetComponentDisplayString(), "First child");
    const std::vector<std::string> vMessages = Messages();
    ASSERT_GE(vMessages.size(), 2u);
    // The message ends in a line feed.
    EXPECT_EQ(vMessages[vMessages.size() - 2], "CSoftwareComponentInfo::GetComponentDisplayString()  First child");
    EXPECT_EQ(vMessages.back(), "");

    WritePackage(
        Package("<Device componentID=\"1\"><PCIInfo deviceID=\"1\"/><Display>Second child</Display></Device>"));
    EXPECT_EQ(reader.GetComponentDisplayString(), "");
}

TEST_F(PackageReader, ComponentDisplayStringWithoutTextIsEmpty)
{
    WritePackage(Package("<Device componentID=\"1\"><Display/></Device>"
                         "<Device componentID=\"2\"><Display>Later</Display></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(reader.GetComponentDisplayString(), "");
    EXPECT_EQ(Messages().back(), "CSoftwareComponentInfo::GetComponentDisplayString() failed to get the Display info "
                                 "from package.xml for device");
}

TEST_F(PackageReader, TypeDisplayStringAndPackageIDComeFromTheHeldDocument)
{
    WritePackage("<SoftwareComponent>PKG-4711<ComponentType value=\"FRMW\"><Display/>"
                 "<Display>Firmware</Display></ComponentType></SoftwareComponent>");
    CSoftwareComponentInfo reader;
    EXPECT_EQ(reader.GetPackageID(), "PKG-4711");
    EXPECT_EQ(reader.GetComponentTypeDisplayString(), "Firmware");
}

TEST_F(PackageReader, RollbackInformationPresenceAndAbsence)
{
    // What the query logs around the node-set lines and its outcome.
    auto Lines = [](const std::string& strNodeSet, const std::string& strOutcome) {
        return std::vector<std::string>{"Entering getPresenceOfGuid function", kNodeSet + "Entering",
                                        kNodeSet + strNodeSet, strOutcome, "Leaving getPresenceOfGuid function"};
    };
    WritePackage(Package(kTwoDevices));
    StartLogging();
    CSoftwareComponentInfo reader;
    std::size_t nMark = Messages().size();
    EXPECT_EQ(reader.getPresenceOfRollbackInfo(), 1);
    EXPECT_EQ(From(Messages(), nMark), Lines("Exiting", "GUID Tag found in package.xml"));
    WritePackage(Package("<Device componentID=\"31\"/>"));
    nMark = Messages().size();
    EXPECT_EQ(reader.getPresenceOfRollbackInfo(), 0);
    EXPECT_EQ(From(Messages(), nMark), Lines("Empty nodeset", "ParseXmlUsingXpath failed"));
}

// ===========================================================================
// Supported devices and marketing names
// ===========================================================================

TEST_F(PackageReader, SupportedDeviceIdentifiersArePaddedToFourCharacters)
{
    WritePackage(Package(kTwoDevices));
    CSoftwareComponentInfo reader;
    // The Display stands before the PCIInfo: not seen.
    EXPECT_EQ(PCITexts(reader.GetSupportedDevices()), std::vector<std::string>{"001A/1F2D/1A2B/0028 component=125"});
}

TEST_F(PackageReader, DeviceWithoutPCIInfoAppearsOnlyInTheFullList)
{
    WritePackage(Package(kTwoDevices));
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(reader.GetSupportedDevices().size(), 1u);
    std::size_t nMark = Messages().size();
    EXPECT_EQ(PCITexts(reader.GetAllSupportedDevices()),
              (std::vector<std::string>{"001A/1F2D/1A2B/0028 component=125", "/// component=31"}));
    const std::string kSD = "CSoftwareComponentInfo::GetSupportedDevices() ";
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{
                                           kSD + "Entering",
                                           kNodeSet + "Entering",
                                           kNodeSet + "Exiting",
                                           kSD + "Found Some Device Nodes",
                                           kSD + "Finding the Component ID and PCI Info",
                                           kSD + "Found a PCI Device",
                                           kSD + "Finding the Component ID and PCI Info",
                                           kSD + "No PCI Info present.Pushing ComponentID 31",
                                           kSD + "Exiting",
                                       }));
}

TEST_F(PackageReader, MarketingNameIsTheDisplayThatFollowsThePCIInfo)
{
    WritePackage(Package("<Device componentID=\"7\">"
                         "<PCIInfo deviceID=\"00AB\" subDeviceID=\"0001\" vendorID=\"1D4E\" subVendorID=\"1F0C\"/>"
                         "<Detail>x</Detail><Display>Storage controller</Display>"
                         "<PCIInfo deviceID=\"00AC\" subDeviceID=\"0002\"/></Device>"
                         "<Device componentID=\"8\"><PCIInfo deviceID=\"1\"/></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    // The working record carries what a later PCIInfo leaves out, into the
    // next Device too.
    EXPECT_EQ(PCITexts(reader.GetSupportedDevices()),
              (std::vector<std::string>{"00AB/0001/1D4E/1F0C component=7 name=Storage controller",
                                        "00AC/0002/1D4E/1F0C component=7", "0001/0002/1D4E/1F0C component=8"}));
    const std::vector<std::string> vMessages = Messages();
    EXPECT_EQ(CountLines(vMessages, "CSoftwareComponentInfo::GetSupportedDevices() Found a Display element under "
                                    "Device element"),
              1u);
    EXPECT_TRUE(HasLine(vMessages, "CSoftwareComponentInfo::GetSupportedDevices() Got the marketing name/Display "
                                   "name for a PCI Device as Storage controller"));
}

TEST_F(PackageReader, MarketingNameForPCIDeviceIgnoresCase)
{
    WritePackage(Package("<Device componentID=\"7\">"
                         "<PCIInfo deviceID=\"00AB\" subDeviceID=\"1F2D\" vendorID=\"1E5F\" subVendorID=\"1F0C\"/>"
                         "<Display>First name</Display></Device>"
                         "<Device componentID=\"8\">"
                         "<PCIInfo deviceID=\"00AB\" subDeviceID=\"1F2D\" vendorID=\"1E5F\" subVendorID=\"1F0C\"/>"
                         "<Display>Later name</Display></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    SPCIInfo pci;
    pci.strDeviceID = "00ab";
    pci.strSubDeviceID = "1f2d";
    pci.strVendorID = "1e5f";
    pci.strSubVendorID = "1F0C";
    pci.strComponentID = "not compared";
    // A later match replaces the name.
    EXPECT_EQ(reader.getMarketingNameForPCIDevice(pci), "Later name");
    const std::vector<std::string> vMessages = Messages();
    EXPECT_EQ(CountLines(vMessages, "CSoftwareComponentInfo::getMarketingNameForPCIDevice() Finding a match with "
                                    "PCI Device"),
              2u);
    EXPECT_EQ(CountLines(vMessages, "CSoftwareComponentInfo::getMarketingNameForPCIDevice() Found a match with PCI "
                                    "Devices from package.xml"),
              2u);
    EXPECT_EQ(vMessages.back(), "CSoftwareComponentInfo::getMarketingNameForPCIDevice() Exiting");

    // Unpadded identifiers do not match the padded list.
    pci.strDeviceID = "AB";
    EXPECT_EQ(reader.getMarketingNameForPCIDevice(pci), "");
}

TEST_F(PackageReader, ComponentIDMarketingNamesKeepTheFirstDevice)
{
    WritePackage(Package("<Device componentID=\"55\"><PCIInfo deviceID=\"1\"/><Display>First</Display></Device>"
                         "<Device componentID=\"55\"><Display>Second</Display></Device>"
                         "<Device componentID=\"Ab\"><Display>Letters</Display></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    const std::map<std::string, std::string> mapNames = reader.getCompIDMarkNameInfo();
    ASSERT_EQ(mapNames.size(), 2u);
    EXPECT_EQ(mapNames.at("55"), "First");
    EXPECT_EQ(mapNames.at("Ab"), "Letters");
    const std::vector<std::string> vTail = From(Messages(), nMark);
    EXPECT_EQ(vTail.front(), "Entering CSoftwareComponentInfo::GetCompIDMarkNameInfo()");
    EXPECT_TRUE(HasLine(vTail, "GetCompIDMarkNameInfo() Found the Component ID as 55"));
    EXPECT_TRUE(HasLine(vTail, "GetCompIDMarkNameInfo() Finding the Marketing name for device with component id 55"));
    EXPECT_EQ(CountLines(vTail, "GetCompIDMarkNameInfo() Found a Display element under Device element"), 3u);
    EXPECT_TRUE(HasLine(vTail, "GetCompIDMarkNameInfo() Got the marketing name/Display name for a Non-PCI Device "
                               "with Component ID  55 as Second"));
    EXPECT_EQ(vTail.back(), "Leaving CSoftwareComponentInfo::GetCompIDMarkNameInfo()");

    std::string strID = "aB";
    EXPECT_EQ(reader.getMarketingNameForNonPCIDevice(strID), "Letters");
    EXPECT_TRUE(HasLine(Messages(), "getMarketingNameForNonPCIDevice() Found a match with Non-PCI Devices from "
                                    "package.xml"));
    EXPECT_EQ(Messages().back(), "Leaving CSoftwareComponentInfo::getMarketingNameForNonPCIDevice()");
    strID = "56";
    EXPECT_EQ(reader.getMarketingNameForNonPCIDevice(strID), "");
}

// ===========================================================================
// Dependency entries
// ===========================================================================

TEST_F(PackageReader, OneDependencyLogsExactlyThis)
{
    WritePackage(Package("<Device componentID=\"104\">\n"
                         "  <PCIInfo deviceID=\"005F\" subDeviceID=\"1F2D\" vendorID=\"1D4E\" subVendorID=\"1F0C\"/>\n"
                         "  <Dependency componentID=\"25227\" componentType=\"FRMW\" version=\"2.1.0\" "
                         "path=\"FOLDER01\\ctl.BIN\" releaseID=\"R1\">\n"
                         "    <Display>Controller firmware</Display>\n"
                         "  </Dependency>\n"
                         "</Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(From(Messages(), nMark),
              Then(kFirstHardDependencyLines,
                   {
                       kDep + "failed to get the context info from package.xml for dependent device so setting "
                              "Deafult as OS",
                       kNoPlatform,
                       kNoOS,
                       kDep + "Exiting",
                   }));
    const CDeviceInfo& record = records[0];
    EXPECT_EQ(record.getComponentID(), "25227");
    EXPECT_EQ(record.getComponentType(), "FRMW");
    EXPECT_EQ(record.getVersion(), "2.1.0");
    EXPECT_EQ(record.getReleaseID(), "R1");
    EXPECT_EQ(record.getDisplay(), "Controller firmware");
    EXPECT_EQ(record.getDetail(), "");
    EXPECT_EQ(records[0].getFilePath(), std::string(pszDefaultDownloadBase) + "FOLDER01/ctl.BIN");
    EXPECT_EQ(record.getParentComponentID(), "104");
    EXPECT_EQ(record.getDependencyContext(), "OS");
    EXPECT_EQ(record.getDependencyType(), CDeviceInfo::eDependencyTypeHard);
    EXPECT_EQ(record.getDeviceType(), CDeviceInfo::eDeviceTypeNonPCI);
    EXPECT_EQ(record.getParentDeviceType(), CDeviceInfo::eDeviceTypePCI);
    EXPECT_TRUE(record.getDepenendencyPlatforms().empty());
    EXPECT_TRUE(record.getDependencyOS().empty());
    EXPECT_EQ(record.getStatus(), -1);
}

TEST_F(PackageReader, NoDependencyElementsGiveAnEmptyList)
{
    WritePackage(Package(kTwoDevices));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_EQ(records.size(), 0u);
    EXPECT_EQ(From(Messages(), nMark), kNoDependencyLines);
}

// ---------------------------------------------------------------------------
// The records of dependency entries, case by case: a package's Device
// elements, the records getDependencyInfo gives for them (the fields named
// in strFields, as vextest::RecordFields writes them), and how often some
// lines stand in what the read logged. Every read ends with "Exiting".
// ---------------------------------------------------------------------------

namespace
{
struct DependencyCase
{
    const char* pszName;
    std::string strDevices;
    std::string strFields;
    std::vector<std::string> vRecords;
    std::vector<std::pair<std::string, std::size_t>> vLogCounts;
};

void PrintTo(const DependencyCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class DependencyRecords : public PackageReader, public ::testing::WithParamInterface<DependencyCase>
{
};

// A dependency with 200 elements nested below it, Dependency and Brand in
// turn.
std::string NestedBelowADependency()
{
    std::string strNested;
    for (int i = 0; i < 200; ++i)
    {
        strNested += (i % 2 == 0) ? "<Dependency componentID=\"inner\">" : "<Brand>";
    }
    for (int i = 199; i >= 0; --i)
    {
        strNested += (i % 2 == 0) ? "</Dependency>" : "</Brand>";
    }
    return "<Device componentID=\"1\"><Dependency componentID=\"outer\">" + strNested + "</Dependency></Device>";
}

std::vector<DependencyCase> DependencyCases()
{
    const std::string strFull = "<Dependency componentID=\"20\" componentType=\"FRMW\" version=\"1.0\" "
                                "path=\"p\\x.exe\"><Display>D</Display><Detail>T</Detail></Dependency>";
    const std::string strPlain = "<Dependency componentID=\"20\" version=\"1.0\"/>";
    const std::string kFoundPCI = kDep + "Found a PCI Device";
    const std::string kAddingPCI = kDep + "Adding dependency info for a PCI Device";
    return {
        {"DependencyIdentifiersAreNotPadded",
         "<Device componentID=\"1\"><Dependency componentID=\"2\"><DepPCIInfo deviceID=\"1A\" subDeviceID=\"2\" "
         "vendorID=\"1A2B1\" subVendorID=\"28\"/></Dependency></Device>",
         "pci",
         {"1A/2/1A2B1/28"},
         {}},
        {"ContextDefaultsToOS",
         "<Device componentID=\"1\"><Dependency componentID=\"10\"/><Dependency componentID=\"11\" "
         "context=\"Inventory\"/><Dependency componentID=\"12\" context=\"\"/></Device>",
         "componentID | context",
         {"10 | OS", "11 | Inventory", "12 | OS"},
         {}},
        // Document order across both kinds; element names in the path are
        // matched exactly, so the lower-case element is no dependency.
        {"SoftDependencyIsTypeTwoAndDependencyTypeOne",
         "<Device componentID=\"1\"><SoftDependency componentID=\"10\"/><Dependency componentID=\"11\"/>"
         "<SoftDependency componentID=\"12\"/><softdependency componentID=\"13\"/></Device>",
         "componentID | dependencyType",
         {"10 | soft", "11 | hard", "12 | soft"},
         {{kDep + "Found SoftDependecny", 2}, {kDep + "Found HardDependency", 1}}},
        // A value absent on the second PCIInfo keeps the first one's; each
        // Device starts afresh.
        {"ParentPCIIdentitiesComeFromTheDevicesPCIInfoChildren",
         "<Device componentID=\"104\"><PCIInfo deviceID=\"005F\" subDeviceID=\"1F2D\" vendorID=\"1D4E\" "
         "subVendorID=\"1F0C\"/><Display>Controller</Display><pciinfo deviceID=\"0060\" subDeviceID=\"1F2E\"/>"
         "<Dependency componentID=\"1\"/><Dependency componentID=\"2\"/></Device>"
         "<Device componentID=\"105\"><PCIInfo deviceID=\"0070\"/><Dependency componentID=\"3\"/></Device>"
         "<Device componentID=\"106\"><Dependency componentID=\"4\"/></Device>",
         "componentID | parent | parentDeviceType | parentPCI",
         {"1 | 104 | PCI | [005F/1F2D/1D4E/1F0C, 0060/1F2E/1D4E/1F0C]",
          "2 | 104 | PCI | [005F/1F2D/1D4E/1F0C, 0060/1F2E/1D4E/1F0C]", "3 | 105 | PCI | [0070///]",
          "4 | 106 | nonPCI | []"},
         {}},
        // A value absent on a later identity keeps the one before.
        {"ThreePCIIdentitiesGiveThreeRecordsInOrder",
         "<Device componentID=\"1\"><Dependency componentID=\"20\" version=\"3.0\" context=\"Inventory\">"
         "<Display>NIC firmware</Display><DepPCIInfo deviceID=\"1\" subDeviceID=\"2\" vendorID=\"3\" "
         "subVendorID=\"4\"/><DepPCIInfo deviceID=\"5\" subDeviceID=\"6\" vendorID=\"7\"/><PCIInfo deviceID=\"9\"/>"
         "<Brand><Model systemID=\"0627\"/></Brand></Dependency></Device>",
         "componentID | version | display | context | parent | deviceType | pci | platforms",
         {"20 | 3.0 | NIC firmware | Inventory | 1 | PCI | 1/2/3/4 | [0x0627]",
          "20 | 3.0 | NIC firmware | Inventory | 1 | PCI | 5/6/7/4 | [0x0627]",
          "20 | 3.0 | NIC firmware | Inventory | 1 | PCI | 9/6/7/4 | [0x0627]"},
         {{kFoundPCI, 3}, {kAddingPCI, 3}}},
        {"DependencyWithoutPCIIdentityIsOneNonPCIRecord",
         "<Device componentID=\"1\"><Dependency componentID=\"20\"/></Device>",
         "deviceType | pci",
         {"nonPCI | ///"},
         {}},
        {"WorkingPCIIdentityCarriesOverBetweenDependencies",
         "<Device componentID=\"1\"><Dependency componentID=\"20\"><DepPCIInfo deviceID=\"A\" subDeviceID=\"B\" "
         "vendorID=\"C\" subVendorID=\"D\"/></Dependency></Device><Device componentID=\"2\">"
         "<Dependency componentID=\"21\"><DepPCIInfo deviceID=\"E\"/></Dependency></Device>",
         "componentID | pci",
         {"20 | A/B/C/D", "21 | E/B/C/D"},
         {}},
        {"IdenticalDependenciesUnderOneDeviceGiveOneRecord",
         "<Device componentID=\"1\">" + strFull + strFull + "</Device>",
         "componentID | display | detail",
         {"20 | D | T"},
         {{kDuplicate, 1}}},
        {"SameDependencyUnderTwoDevicesDependsOnTheirComponentIDs_Different",
         "<Device componentID=\"1\">" + strPlain + "</Device><Device componentID=\"2\">" + strPlain + "</Device>",
         "componentID | parent",
         {"20 | 1", "20 | 2"},
         {{kDuplicate, 0}}},
        // The first entry stays.
        {"SameDependencyUnderTwoDevicesDependsOnTheirComponentIDs_Equal",
         "<Device componentID=\"1\">" + strPlain + "</Device><Device componentID=\"1\"><PCIInfo deviceID=\"9\"/>" +
             strPlain + "</Device>",
         "parent | parentDeviceType | parentPCI",
         {"1 | nonPCI | []"},
         {{kDuplicate, 1}}},
        // The second entry differs from the first only in context, platforms,
        // OS requirement and release ID: a duplicate.
        {"DuplicateTestIgnoresContextPlatformsOSAndReleaseID",
         "<Device componentID=\"1\"><Dependency componentID=\"20\" version=\"1.0\" context=\"OS\" releaseID=\"R1\"/>"
         "<Dependency componentID=\"20\" version=\"1.0\" context=\"Inventory\" releaseID=\"R2\"><Brand><Model "
         "systemID=\"0627\"/></Brand><OperatingSystem osVendor=\"X\"/></Dependency>"
         "<SoftDependency componentID=\"20\" version=\"1.0\"/>"
         "<Dependency componentID=\"20\" version=\"1.0\"><Display>differs</Display></Dependency></Device>",
         "dependencyType | releaseID | context | platforms | os | display",
         {"hard | R1 | OS | [] | [] | ", "soft |  | OS | [] | [] | ", "hard |  | OS | [] | [] | differs"},
         {{kDuplicate, 1}}},
        {"RepeatedPCIIdentityInOneDependencyIsListedOnce",
         "<Device componentID=\"1\"><Dependency componentID=\"20\"><DepPCIInfo deviceID=\"1\" vendorID=\"2\"/>"
         "<DepPCIInfo deviceID=\"3\"/><DepPCIInfo deviceID=\"1\"/></Dependency></Device>",
         "componentID | pci",
         {"20 | 1//2/", "20 | 3//2/"},
         {{kDuplicate, 1}, {kAddingPCI, 3}}},
        // The working requirement is not cleared between dependency elements;
        // six attributes are missing on the second element, six on the
        // third.
        {"OperatingSystemRequirementsAndTheirCarryOver",
         "<Device componentID=\"1\"><Dependency componentID=\"20\"><OperatingSystem majorVersion=\"7\" "
         "minorVersion=\"9\" spMajorVersion=\"1\" spMinorVersion=\"2\" osVendor=\"Vendor\" osArch=\"x86_64\" "
         "buildNumber=\"100\"/><depoperatingsystem majorVersion=\"8\"/></Dependency>"
         "<Dependency componentID=\"21\"><OperatingSystem osVendor=\"Other\"/></Dependency>"
         "<Dependency componentID=\"22\"/></Device>",
         "componentID | os",
         {"20 | [7/9/1/2/Vendor/x86_64///100, 8/9/1/2/Vendor/x86_64///100]", "21 | [8/9/1/2/Other/x86_64///100]",
          "22 | []"},
         {{kOSAttributeMissing, 12}}},
        // The second Brand's IDs come twice: once with the walk from the
        // first Brand over its following siblings, once for the second Brand
        // itself.
        {"PlatformStringsAreSystemIDsAfter0x",
         "<Device componentID=\"1\"><Dependency componentID=\"20\"><Brand><Model systemID=\"0627\"/><Model "
         "systemID=\"0x0628\"/><Other systemID=\"1\"/><Model/><depmodel systemID=\"09AB\"/></Brand></Dependency>"
         "<Dependency componentID=\"21\"><DepBrand><DepModel systemID=\"1\"/></DepBrand><Display>between</Display>"
         "<Brand><Model systemID=\"2\"/><Model systemID=\"3\"/></Brand></Dependency></Device>",
         "componentID | platforms",
         {"20 | [0x0627, 0x0x0628, 0x09AB]", "21 | [0x1, 0x2, 0x3, 0x2, 0x3]"},
         {}},
        // The walks over a dependency's children tell them by name, whatever
        // kind of node they are: a processing instruction named like an
        // element counts as one. It has no attributes, so the working
        // identity keeps the values an earlier element gave it. The first
        // dependency's instruction repeats the identity before it: a
        // duplicate record. The second dependency's makes it a PCI
        // dependency with the identity carried over from the first. The
        // Device's own instruction makes the parent a PCI device with one
        // empty identity.
        {"AProcessingInstructionNamedLikeAChildElementCountsAsOne",
         "<Device componentID=\"1\"><?PCIInfo?><Dependency componentID=\"20\" componentType=\"FRMW\" version=\"1\" "
         "releaseID=\"r\"><DepPCIInfo deviceID=\"1A\" vendorID=\"10DE\"/><?DepPCIInfo?></Dependency>"
         "<Dependency componentID=\"21\" componentType=\"FRMW\" version=\"1\" releaseID=\"r\">"
         "<?DepPCIInfo carried over?></Dependency></Device>",
         "componentID | deviceType | pci | parentDeviceType | parentPCI",
         {"20 | PCI | 1A//10DE/ | PCI | [///]", "21 | PCI | 1A//10DE/ | PCI | [///]"},
         {{kFoundPCI, 3}, {kDuplicate, 1}}},
        // "Has text" asks whether the first child node has content, whatever
        // kind of node it is: an empty CDATA section or an empty comment is
        // an empty text, not a missing one.
        {"AnEmptyCdataSectionOrCommentIsAnEmptyText",
         "<Device componentID=\"1\"><Dependency componentID=\"20\" version=\"1\"><Display><![CDATA[]]></Display>"
         "<Detail><!----></Detail></Dependency></Device>",
         "componentID | display | detail",
         {"20 |  | "},
         {{kDep + "failed to get the Display info from package.xml for dependent device", 0},
          {kDep + "failed to get the Detail info from package.xml for dependent device", 0}}},
        {"NestedElementsBelowADependencyAreOnlyChildren",
         NestedBelowADependency(),
         "componentID | platforms",
         {"outer | []"},
         {}},
    };
}
} // namespace

TEST_P(DependencyRecords, AreRead)
{
    const DependencyCase& entry = GetParam();
    WritePackage(Package(entry.strDevices));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_EQ(vextest::RecordFields(records.v, entry.strFields), entry.vRecords) << entry.strFields;
    const std::vector<std::string> vLog = From(Messages(), nMark);
    ASSERT_FALSE(vLog.empty());
    EXPECT_EQ(vLog.back(), kDep + "Exiting");
    for (const auto& count : entry.vLogCounts)
    {
        EXPECT_EQ(CountLines(vLog, count.first), count.second) << count.first;
    }
}

INSTANTIATE_TEST_SUITE_P(PackageReader, DependencyRecords, ::testing::ValuesIn(DependencyCases()),
                         [](const ::testing::TestParamInfo<DependencyCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(PackageReader, EachMissingAttributeLogsItsMessageAndTheEntryStays)
{
    const std::vector<std::string> vExpected = {
        kDep + "Found HardDependency",
        kDep + "failed to get the parent componentID info from package.xml",
        kDep + "failed to get the context info from package.xml for dependent device so setting Deafult as OS",
        kDep + "failed to get the componentID info from package.xml for dependent device",
        kDep + "failed to get the componentType info from package.xml for dependent device",
        kDep + "failed to get the version info from package.xml for dependent device",
        kDep + "failed to get the path info from package.xml for dependent device",
        kDep + "failed to get the releaseID info from package.xml for dependent device",
        kDep + "Exiting",
    };
    WritePackage(Package("<Device><Dependency/></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    std::size_t nMark = Messages().size();
    {
        OwnedRecords records(reader.getDependencyInfo());
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].getComponentID(), "");
        EXPECT_EQ(records[0].getVersion(), "");
        EXPECT_EQ(records[0].getParentComponentID(), "");
        EXPECT_EQ(records[0].getDependencyContext(), "OS");
        EXPECT_EQ(From(Messages(), nMark + 3), vExpected);
    }
    // Attributes with empty values count as absent.
    WritePackage(Package("<Device componentID=\"\"><Dependency context=\"\" componentID=\"\" componentType=\"\" "
                         "version=\"\" path=\"\" releaseID=\"\"/></Device>"));
    nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].getReleaseID(), "");
    EXPECT_EQ(From(Messages(), nMark + 3), vExpected);
}

// Each Brand child adds what the walk from it over its following siblings
// finds. The record's list must be exactly that, Brand after Brand, with the
// walk's log lines once per Brand, however the Brands and their Models are
// mixed with other children.
TEST_F(PackageReader, PlatformListIsTheWalkFromEveryBrandInTurn)
{
    const std::string strDependency =
        "<Dependency componentID=\"20\"><DepBrand><DepModel systemID=\"A\"/><Model/>"
        "<DepModel systemID=\"B\"/></DepBrand><Display>x</Display><Brand/>"
        "<Brand><Model systemID=\"C\"/><Other systemID=\"Z\"/></Brand><!-- c -->"
        "<brand><model systemID=\"D\"/><Model systemID=\"\"/><DEPMODEL systemID=\"E\"/></brand>"
        "<Detail>y</Detail><DepBrand><DepModel systemID=\"F\"/></DepBrand></Dependency>";
    WritePackage(Package("<Device componentID=\"1\">" + strDependency + "</Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    ASSERT_EQ(records.size(), 1u);
    const std::vector<std::string> vLog = From(Messages(), nMark);

    // The same list from the walk itself, called once per Brand child.
    xmlsupport::DocumentPtr pDoc = xmlsupport::ParseMemory(strDependency);
    std::vector<std::string> vExpected;
    std::size_t nBrands = 0;
    for (xmlNode* pChild = xmlDocGetRootElement(pDoc.get())->children; pChild != nullptr; pChild = pChild->next)
    {
        if (xmlsupport::NameEquals(pChild, "Brand") || xmlsupport::NameEquals(pChild, "DepBrand"))
        {
            const std::vector<std::string> vWalk = reader.getPlatformInfo(pChild);
            vExpected.insert(vExpected.end(), vWalk.begin(), vWalk.end());
            ++nBrands;
        }
    }
    EXPECT_EQ(nBrands, 5u);
    EXPECT_EQ(records[0].getDepenendencyPlatforms(), vExpected);
    EXPECT_EQ(vExpected, (std::vector<std::string>{"0xA", "0xB", "0xC", "0xD", "0xE", "0xF", "0xC", "0xD", "0xE", "0xF",
                                                   "0xC", "0xD", "0xE", "0xF", "0xD", "0xE", "0xF", "0xF"}));
    EXPECT_EQ(CountLines(vLog, "CSoftwareComponentInfo::getPlatformInfo() Entering"), 5u);
    EXPECT_EQ(CountLines(vLog, "CSoftwareComponentInfo::getPlatformInfo() Exiting"), 5u);
}

// A package could give a dependency thousands of Brand children. Every Brand
// repeats the IDs of those after it, so the list grows with the square of
// their number: it stops growing at a bound no real package comes near, and
// still lists every ID. Reading such a package used to take time cubic in
// the number of Brands (minutes for two thousand).
TEST_F(PackageReader, ThousandsOfBrandChildrenAreReadQuicklyAndListEveryPlatform)
{
    const int nBrands = 3000;
    std::string strBrands;
    for (int i = 0; i < nBrands; ++i)
    {
        strBrands += "<Brand><Model systemID=\"" + std::to_string(i) + "\"/></Brand>";
    }
    WritePackage(
        Package("<Device componentID=\"1\"><Dependency componentID=\"20\">" + strBrands + "</Dependency></Device>"));
    const auto tStart = std::chrono::steady_clock::now();
    CSoftwareComponentInfo reader;
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(10));
    ASSERT_EQ(records.size(), 1u);
    const std::vector<std::string> vPlatforms = records[0].getDepenendencyPlatforms();
    ASSERT_GE(vPlatforms.size(), static_cast<std::size_t>(nBrands));
    EXPECT_LT(vPlatforms.size(), 100000u + nBrands);
    // The walk from the first Brand comes first and lists every ID; the
    // walk from the second Brand follows it.
    for (int i = 0; i < nBrands; ++i)
    {
        ASSERT_EQ(vPlatforms[static_cast<std::size_t>(i)], "0x" + std::to_string(i));
    }
    EXPECT_EQ(vPlatforms[nBrands], "0x1");
}

// A Device with very many PCIInfo children: each takes the Display that
// follows it, found without searching the rest of the Device again for each.
TEST_F(PackageReader, ManyPCIInfoChildrenTakeTheDisplayThatFollowsThem)
{
    const int nPCIInfo = 50000;
    std::string strChildren;
    for (int i = 0; i < nPCIInfo; ++i)
    {
        strChildren += "<PCIInfo deviceID=\"" + std::to_string(i) + "\"/>";
        if (i == 9)
        {
            strChildren += "<Display>First ten</Display>";
        }
    }
    strChildren += "<Display>The rest</Display><PCIInfo deviceID=\"last\"/>";
    WritePackage(Package("<Device componentID=\"1\">" + strChildren + "</Device>"));
    const auto tStart = std::chrono::steady_clock::now();
    CSoftwareComponentInfo reader;
    const std::vector<SPCIInfo> vDevices = reader.GetSupportedDevices();
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(10));
    ASSERT_EQ(vDevices.size(), static_cast<std::size_t>(nPCIInfo) + 1);
    EXPECT_EQ(vDevices[0].strMarketingName, "First ten");
    EXPECT_EQ(vDevices[9].strMarketingName, "First ten");
    EXPECT_EQ(vDevices[10].strMarketingName, "The rest");
    EXPECT_EQ(vDevices[nPCIInfo - 1].strMarketingName, "The rest");
    EXPECT_EQ(vDevices[nPCIInfo].strDeviceID, "last");
    EXPECT_EQ(vDevices[nPCIInfo].strMarketingName, "");
}

// Every record carries its parent's PCI identities: four thousand
// dependencies under a Device with four thousand PCIInfo children (a package
// of 300 KB) give records that, each with its own copy, would hold
// gigabytes. They share the Device's one list instead, and every record is
// built, quickly and in little memory.
TEST_F(PackageReader, ADeviceWithThousandsOfIdentitiesAndDependenciesGivesEveryRecord)
{
    const int nCount = 4000;
    std::string strDevice = "<Device componentID=\"1\">";
    for (int i = 0; i < nCount; ++i)
    {
        strDevice += "<PCIInfo deviceID=\"" + std::to_string(i) + "\"/>";
    }
    for (int i = 0; i < nCount; ++i)
    {
        strDevice += "<Dependency componentID=\"" + std::to_string(i) + "\"/>";
    }
    WritePackage(Package(strDevice + "</Device>"));
    StartLogging();
    const auto tStart = std::chrono::steady_clock::now();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(20));
    ASSERT_EQ(records.size(), static_cast<std::size_t>(nCount));
    // Whole records, in package order.
    EXPECT_EQ(records[0].getComponentID(), "0");
    EXPECT_EQ(records[nCount - 1].getComponentID(), std::to_string(nCount - 1));
    const std::vector<SPCIInfo> vLastParents = records[nCount - 1].getParentPCIInfo();
    ASSERT_EQ(vLastParents.size(), static_cast<std::size_t>(nCount));
    EXPECT_EQ(vLastParents[nCount - 1].strDeviceID, std::to_string(nCount - 1));
    const std::vector<std::string> vLog = From(Messages(), nMark);
    ASSERT_FALSE(vLog.empty());
    EXPECT_EQ(vLog.back(), kDep + "Exiting");
    EXPECT_EQ(CountLines(vLog, kDep + "new  ( std::nothrow ) CDeviceInfo() failed"), 0u);
}

// The same for the records of one dependency with thousands of PCI
// identities and a long OS requirement: one record per identity, each with
// the whole requirement.
TEST_F(PackageReader, ADependencyWithThousandsOfIdentitiesAndALongRequirementGivesEveryRecord)
{
    const int nCount = 3000;
    std::string strDependency = "<Dependency componentID=\"9\"><OperatingSystem osVendor=\"" +
                                std::string(100000, 'v') + "\"/>";
    for (int i = 0; i < nCount; ++i)
    {
        strDependency += "<DepPCIInfo deviceID=\"" + std::to_string(i) + "\"/>";
    }
    WritePackage(Package("<Device componentID=\"1\">" + strDependency + "</Dependency></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    ASSERT_EQ(records.size(), static_cast<std::size_t>(nCount));
    const std::vector<std::string> vLog = From(Messages(), nMark);
    EXPECT_EQ(CountLines(vLog, kDep + "failed to get Memory allocation"), 0u);
    EXPECT_EQ(CountLines(vLog, kDep + "Adding dependency info for a PCI Device"), static_cast<std::size_t>(nCount));
    EXPECT_EQ(vLog.back(), kDep + "Exiting");
    EXPECT_EQ(records[0].getPCIInfo().strDeviceID, "0");
    EXPECT_EQ(records[nCount - 1].getPCIInfo().strDeviceID, std::to_string(nCount - 1));
    EXPECT_EQ(records[nCount - 1].getDependencyOS().at(0).strOSVendor.size(), 100000u);
}

TEST_F(PackageReader, GetPlatformInfoWalksTheFollowingSiblings)
{
    std::string strText = "<D><Display/><Brand><Model systemID=\"A\"/></Brand><x/>"
                          "<DEPBRAND><MODEL systemID=\"B\"/></DEPBRAND></D>";
    StartLogging();
    CSoftwareComponentInfo reader(strText);
    xmlsupport::DocumentPtr pDoc = xmlsupport::ParseMemory(strText);
    xmlNode* pFirst = xmlDocGetRootElement(pDoc.get())->children;
    const std::size_t nMark = Messages().size();
    EXPECT_EQ(reader.getPlatformInfo(pFirst), (std::vector<std::string>{"0xA", "0xB"}));
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{"CSoftwareComponentInfo::getPlatformInfo() Entering",
                                                                 "CSoftwareComponentInfo::getPlatformInfo() Exiting"}));
    EXPECT_TRUE(reader.getPlatformInfo(nullptr).empty());
}

// An entity reference keeps its name in the tree (entities are not
// substituted), so a reference named like a child element counts as one
// too, and its first child (the entity) gives a text its content.
TEST_F(PackageReader, AnEntityReferenceNamedLikeAChildElementCountsAsOne)
{
    WritePackage("<?xml version=\"1.0\"?>\n"
                 "<!DOCTYPE SoftwareComponent [\n"
                 "  <!ENTITY DepPCIInfo \"\">\n"
                 "  <!ENTITY name \"Named by an entity\">\n"
                 "]>\n"
                 "<SoftwareComponent><SupportedDevices><Device componentID=\"1\">"
                 "<Dependency componentID=\"20\" version=\"1\"><Display>&name;</Display>&DepPCIInfo;</Dependency>"
                 "</Device></SupportedDevices></SoftwareComponent>\n");
    StartLogging();
    CSoftwareComponentInfo reader;
    OwnedRecords records(reader.getDependencyInfo());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].getDeviceType(), CDeviceInfo::eDeviceTypePCI);
    EXPECT_EQ(records[0].getDisplay(), "Named by an entity");
    EXPECT_EQ(CountLines(Messages(), kDep + "Found a PCI Device"), 1u);
}

TEST_F(PackageReader, EveryChildGoesThroughEveryTest)
{
    WritePackage(Package("<Device componentID=\"1\"><Dependency componentID=\"20\" context=\"OS\" "
                         "componentType=\"FRMW\" version=\"1\" path=\"p\" releaseID=\"r\">"
                         "<DISPLAY/>"
                         "<Detail/>"
                         "<Brand/>"
                         "<OperatingSystem majorVersion=\"1\" minorVersion=\"2\" spMajorVersion=\"3\" "
                         "spMinorVersion=\"4\" osVendor=\"5\" osArch=\"6\" buildNumber=\"7\"/>"
                         "<DepPCIInfo deviceID=\"1\"/>"
                         "<!-- a comment -->"
                         "<detail>Detail text</detail>"
                         "</Dependency></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].getDetail(), "Detail text");
    EXPECT_EQ(records[0].getDisplay(), "");
    EXPECT_EQ(From(Messages(), nMark),
              Then(kFirstHardDependencyLines,
                   {
                       // DISPLAY
                       kDep + "failed to get the Display info from package.xml for dependent device",
                       kNoPlatform,
                       kNoOS,
                       // Detail
                       kDep + "failed to get the Detail info from package.xml for dependent device",
                       kNoPlatform,
                       kNoOS,
                       // Brand (getPlatformInfo logs its own lines)
                       "CSoftwareComponentInfo::getPlatformInfo() Entering",
                       "CSoftwareComponentInfo::getPlatformInfo() Exiting",
                       kNoOS,
                       // OperatingSystem
                       kNoPlatform,
                       // DepPCIInfo
                       kNoPlatform,
                       kNoOS,
                       kDep + "Found a PCI Device",
                       // the comment
                       kNoPlatform,
                       kNoOS,
                       // detail
                       kNoPlatform,
                       kNoOS,
                       kDep + "Adding dependency info for a PCI Device",
                       kDep + "Exiting",
                   }));
}

// ---------------------------------------------------------------------------
// AddDependencyInfo on its own
// ---------------------------------------------------------------------------

namespace
{
CDeviceInfo* NewDependency(const std::string& strComponentID, const std::string& strParent,
                           const std::string& strPath = "dir\\file.exe")
{
    CDeviceInfo* pRecord = new CDeviceInfo();
    pRecord->setComponentID(strComponentID);
    pRecord->setParentComponentID(strParent);
    pRecord->setVersion("1.0");
    pRecord->setFilePath(strPath);
    return pRecord;
}
} // namespace

TEST_F(PackageReader, AddDependencyInfoKeepsTheFirstEqualEntry)
{
    StartLogging();
    std::string strText = "<a/>";
    CSoftwareComponentInfo reader(strText);
    OwnedRecords list({NewDependency("1", "P"), NewDependency("2", "P")});

    CDeviceInfo* pSame = NewDependency("2", "P");
    pSame->setDependencyContext("other contexts do not count");
    pSame->setReleaseID("nor do release IDs");
    std::size_t nMark = Messages().size();
    reader.AddDependencyInfo(list.v, pSame);
    EXPECT_EQ(pSame, nullptr) << "a refused record is released";
    EXPECT_EQ(list.size(), 2u);
    EXPECT_EQ(From(Messages(), nMark), std::vector<std::string>{kDuplicate});

    CDeviceInfo* pOtherParent = NewDependency("2", "Q");
    reader.AddDependencyInfo(list.v, pOtherParent);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list.v[2], pOtherParent);

    CDeviceInfo* pOtherVersion = NewDependency("1", "P");
    pOtherVersion->setVersion("1.1");
    reader.AddDependencyInfo(list.v, pOtherVersion);
    ASSERT_EQ(list.size(), 4u);

    // Nothing to add.
    CDeviceInfo* pNull = nullptr;
    reader.AddDependencyInfo(list.v, pNull);
    EXPECT_EQ(list.size(), 4u);

    // A record that the list already holds stays there, alive.
    CDeviceInfo* pListed = list.v[0];
    nMark = Messages().size();
    reader.AddDependencyInfo(list.v, pListed);
    EXPECT_EQ(pListed, list.v[0]);
    EXPECT_EQ(list.size(), 4u);
    EXPECT_EQ(From(Messages(), nMark), std::vector<std::string>{kDuplicate});
    EXPECT_EQ(list[0].getComponentID(), "1");

    // Into an empty list.
    OwnedRecords empty(std::vector<CDeviceInfo*>{});
    CDeviceInfo* pFirst = NewDependency("9", "");
    reader.AddDependencyInfo(empty.v, pFirst);
    ASSERT_EQ(empty.size(), 1u);
    EXPECT_EQ(empty.v[0], pFirst);
}

TEST_F(PackageReader, AddDependencyInfoComparesTheStoredPath)
{
    std::string strText = "<a/>";
    CSoftwareComponentInfo reader(strText);
    OwnedRecords list({NewDependency("1", "P", "dir\\file.exe")});
    // Asking for the download path turns the stored backslashes into
    // slashes; the comparison sees the stored text.
    list[0].getFilePath();
    CDeviceInfo* pBackslashes = NewDependency("1", "P", "dir\\file.exe");
    reader.AddDependencyInfo(list.v, pBackslashes);
    ASSERT_EQ(list.size(), 2u);
    CDeviceInfo* pSlashes = NewDependency("1", "P", "dir/file.exe");
    reader.AddDependencyInfo(list.v, pSlashes);
    EXPECT_EQ(pSlashes, nullptr);
    EXPECT_EQ(list.size(), 2u);
}

TEST_F(PackageReader, ManyDependenciesWithDuplicatesKeepTheFirstOfEach)
{
    // 10,000 dependency elements under one Device; the second half repeats
    // the first with other contexts, which do not count.
    std::string strDevices = "<Device componentID=\"1\"><PCIInfo deviceID=\"1\"/>";
    for (int nPass = 0; nPass < 2; ++nPass)
    {
        for (int i = 0; i < 5000; ++i)
        {
            strDevices += "<Dependency componentID=\"" + std::to_string(i) + "\" version=\"1." + std::to_string(i % 7) +
                          "\" context=\"" + (nPass == 0 ? "first" : "second") + "\" path=\"p\\" +
                          std::to_string(i % 3) + "\"/>";
        }
    }
    strDevices += "</Device>";
    OwnedRecords records = Dependencies(strDevices);
    ASSERT_EQ(records.size(), 5000u);
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        ASSERT_EQ(records[i].getComponentID(), std::to_string(i));
        ASSERT_EQ(records[i].getDependencyContext(), "first");
        ASSERT_EQ(records[i].getParentPCIInfo().size(), 1u);
    }
}

// ---------------------------------------------------------------------------
// Failed allocations
// ---------------------------------------------------------------------------

TEST_F(PackageReader, FailedRecordAllocationEndsWithThePartialList)
{
    WritePackage(Package("<Device componentID=\"1\"><Dependency componentID=\"10\"/>"
                         "<Dependency componentID=\"11\"/><Dependency componentID=\"12\"/></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    FailNothrowAllocation(1);
    OwnedRecords records(reader.getDependencyInfo());
    FailNothrowAllocation(-1);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].getComponentID(), "10");
    const std::vector<std::string> vMessages = Messages();
    EXPECT_EQ(vMessages.back(), kDep + "new  ( std::nothrow ) CDeviceInfo() failed");
    EXPECT_EQ(CountLines(vMessages, kDep + "Exiting"), 0u);

    FailNothrowAllocation(0);
    OwnedRecords none(reader.getDependencyInfo());
    FailNothrowAllocation(-1);
    EXPECT_EQ(none.size(), 0u);
}

TEST_F(PackageReader, FailedPCICopyLosesOnlyThatCopy)
{
    WritePackage(Package("<Device componentID=\"1\"><Dependency componentID=\"10\">"
                         "<DepPCIInfo deviceID=\"1\"/><DepPCIInfo deviceID=\"2\"/><DepPCIInfo deviceID=\"3\"/>"
                         "</Dependency><Dependency componentID=\"11\"/></Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    // Allocations: the entry's record (0), its three copies (1 to 3), the
    // next entry's record (4).
    FailNothrowAllocation(2);
    OwnedRecords records(reader.getDependencyInfo());
    FailNothrowAllocation(-1);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].getPCIInfo().strDeviceID, "1");
    EXPECT_EQ(records[1].getPCIInfo().strDeviceID, "3");
    EXPECT_EQ(records[2].getComponentID(), "11");
    const std::vector<std::string> vMessages = Messages();
    EXPECT_EQ(CountLines(vMessages, kDep + "failed to get Memory allocation"), 1u);
    EXPECT_EQ(CountLines(vMessages, kDep + "Adding dependency info for a PCI Device"), 2u);
    EXPECT_EQ(vMessages.back(), kDep + "Exiting");
}

// ===========================================================================
// Context types
// ===========================================================================

namespace
{
std::string ContextType(const std::string& strName, const std::string& strChildren)
{
    return "<CONTEXT_TYPE name=\"" + strName + "\">" + strChildren + "</CONTEXT_TYPE>";
}

// Each context type as "priority: name", followed by the modules and
// interfaces that are set ("inv=", "invInterface=", "update=",
// "updateInterface=").
std::vector<std::string> ContextTexts(const std::map<unsigned int, CContextList>& mapTypes)
{
    std::vector<std::string> vTexts;
    for (const auto& entry : mapTypes)
    {
        std::string strText = std::to_string(entry.first) + ": " + entry.second.strName;
        const std::pair<const char*, std::string> aFields[] = {{" inv=", entry.second.strInvModule},
                                                               {" invInterface=", entry.second.strInvInterface},
                                                               {" update=", entry.second.strUpdateModule},
                                                               {" updateInterface=", entry.second.strUpdateInterface}};
        for (const auto& field : aFields)
        {
            if (!field.second.empty())
            {
                strText += field.first + field.second;
            }
        }
        vTexts.push_back(strText);
    }
    return vTexts;
}

// A package and the context types it gives.
struct ContextTypesCase
{
    const char* pszName;
    std::string strDocument;
    std::vector<std::string> vTypes;
};

void PrintTo(const ContextTypesCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class ContextTypes : public PackageReader, public ::testing::WithParamInterface<ContextTypesCase>
{
};

std::vector<ContextTypesCase> ContextTypesCases()
{
    return {
        // CONTEXT elements are found at any depth.
        {"ContextTypesWithTheSamePriorityKeepTheFirst",
         "<Anything><CONTEXT>" + ContextType("A", "<Priority value=\"5\"/>") +
             ContextType("B", "<Priority value=\"5\"/>") + "</CONTEXT><Deeper><CONTEXT>" +
             ContextType("C", "<Priority value=\"3\"/>") + "</CONTEXT></Deeper></Anything>",
         {"3: C", "5: A"}},
        // Without a Priority the key is 0.
        {"ContextChildNamesAreCaseSensitive",
         "<CONTEXT>" + ContextType("A", "<priority value=\"4\"/><inv_module value=\"x\"/><Priority value=\"7\"/>") +
             ContextType("B", "<priority value=\"4\"/><INV_MODULE value=\"m\"/>") + "</CONTEXT>",
         {"0: B inv=m", "7: A"}},
        {"UnreadablePriorityLeavesTheKeyAtZero",
         "<CONTEXT>" + ContextType("A", "<Priority value=\"high\"/>") + ContextType("B", "<Priority/>") +
             ContextType("C", "<Priority value=\" 12 \"/>") + "</CONTEXT>",
         {"0: A", "12: C"}},
    };
}
} // namespace

TEST_P(ContextTypes, AreKeyedByPriority)
{
    WritePackage(GetParam().strDocument);
    CSoftwareComponentInfo reader;
    EXPECT_EQ(ContextTexts(reader.GetSupportedContextTypes()), GetParam().vTypes);
}

INSTANTIATE_TEST_SUITE_P(PackageReader, ContextTypes, ::testing::ValuesIn(ContextTypesCases()),
                         [](const ::testing::TestParamInfo<ContextTypesCase>& info) {
                             return std::string(info.param.pszName);
                         });

TEST_F(PackageReader, ContextTypesAreOrderedByPriority)
{
    WritePackage(Package(
        kTwoDevices, "<CONTEXT>" +
                         ContextType("Second", "<Priority value=\"2\"/><INV_MODULE value=\"inv2\"/>"
                                               "<INV_INTERFACE value=\"ii2\"/><UPDATE_MODULE value=\"up2\"/>"
                                               "<UPDATE_INTERFACE value=\"ui2\"/>") +
                         ContextType("First", "<INV_MODULE value=\"inv1\"/><Priority value=\"1\"/>") + "</CONTEXT>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    EXPECT_EQ(ContextTexts(reader.GetSupportedContextTypes()),
              (std::vector<std::string>{"1: First inv=inv1", "2: Second inv=inv2 invInterface=ii2 update=up2 "
                                                             "updateInterface=ui2"}));
    const std::string kCT = "CSoftwareComponentInfo::GetSupportedDevices() ";
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{
                                           kCT + "Entering",
                                           kNodeSet + "Entering",
                                           kNodeSet + "Exiting",
                                           kCT + "Found Some Context Nodes",
                                           kCT + "Finding the Component ID and PCI Info",
                                           kCT + "Found a PCI Device",
                                           kCT + "Found a PCI Device",
                                           kCT + "Found a PCI Device",
                                           kCT + "Found a PCI Device",
                                           kCT + "Found a PCI Device",
                                           kCT + "Finding the Component ID and PCI Info",
                                           kCT + "Found a PCI Device",
                                           kCT + "Found a PCI Device",
                                           kCT + "Exiting",
                                       }));
}

TEST_F(PackageReader, PackageWithoutContextTypesGivesAnEmptyMap)
{
    WritePackage(Package(kTwoDevices));
    StartLogging();
    CSoftwareComponentInfo reader;
    const std::size_t nMark = Messages().size();
    EXPECT_TRUE(reader.GetSupportedContextTypes().empty());
    EXPECT_EQ(From(Messages(), nMark),
              (std::vector<std::string>{
                  "CSoftwareComponentInfo::GetSupportedDevices() Entering",
                  kNodeSet + "Entering",
                  kNodeSet + "Empty nodeset",
                  "CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression",
              }));
}

// ===========================================================================
// Bad input
// ===========================================================================

namespace
{
struct BrokenPackage
{
    const char* pszName;
    const char* pszContent; // null: "package.xml" is a directory
};

class BrokenPackageReader : public PackageReader, public ::testing::WithParamInterface<BrokenPackage>
{
};

void PrintTo(const BrokenPackage& broken, std::ostream* pOut) { *pOut << broken.pszName; }
} // namespace

TEST_P(BrokenPackageReader, GivesEmptyResultsAndTheNotParsedLine)
{
    const BrokenPackage& broken = GetParam();
    if (broken.pszContent == nullptr)
    {
        vextest::MakeDirectory(m_dir.File("package.xml"));
    }
    else
    {
        WritePackage(broken.pszContent);
    }
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(Messages(), NotParsedConstructorLines());
    std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_EQ(records.size(), 0u);
    EXPECT_EQ(From(Messages(), nMark), kNoDependencyLines);
    nMark = Messages().size();
    EXPECT_EQ(reader.GetValue("//SoftwareComponent", "vendorVersion"), "");
    EXPECT_EQ(From(Messages(), nMark), (std::vector<std::string>{"Entering GetStringFromPackageXML function",
                                                                 "Exiting GetStringFromPackageXML function"}));
    EXPECT_EQ(Identity(reader), kNoIdentity);
    EXPECT_EQ(reader.getPresenceOfRollbackInfo(), 0);
    EXPECT_TRUE(reader.GetAllSupportedDevices().empty());
    EXPECT_TRUE(reader.GetSupportedContextTypes().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Package, BrokenPackageReader,
    ::testing::Values(
        BrokenPackage{"Empty", ""},
        BrokenPackage{"Truncated", "<SoftwareComponent vendorVersion=\"1\"><SupportedDevices><Device componentID=\"1\">"
                                   "<Dependency componentID=\"2\" version=\"1"},
        BrokenPackage{"MismatchedTags", "<SoftwareComponent><unclosed></SoftwareComponent>"},
        BrokenPackage{"NotXml", "componentID=1\nversion=2\n"}, BrokenPackage{"Binary", "\x01\x02\xff\xfe<\x00>"},
        BrokenPackage{"Directory", nullptr}),
    [](const ::testing::TestParamInfo<BrokenPackage>& info) { return std::string(info.param.pszName); });

TEST_F(PackageReader, ElementsWithoutAttributesGiveEmptyValues)
{
    WritePackage("<SoftwareComponent><ComponentType/><SupportedDevices>"
                 "<Device><PCIInfo/><Display/>"
                 "<Dependency><OperatingSystem/><DepPCIInfo/><Brand><Model/></Brand></Dependency>"
                 "<SoftDependency/></Device>"
                 "<Device/></SupportedDevices>"
                 "<CONTEXT><CONTEXT_TYPE><Priority/><INV_MODULE/></CONTEXT_TYPE></CONTEXT></SoftwareComponent>");
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(Identity(reader), kNoIdentity);
    EXPECT_EQ(PCITexts(reader.GetAllSupportedDevices()), (std::vector<std::string>{"///", "///"}));
    const std::map<std::string, std::string> mapNames = reader.getCompIDMarkNameInfo();
    ASSERT_EQ(mapNames.size(), 1u);
    EXPECT_EQ(mapNames.begin()->first, "");
    EXPECT_EQ(mapNames.begin()->second, "");

    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_EQ(vextest::RecordFields(records.v, "dependencyType | deviceType | pci | platforms | os | parentPCI"),
              (std::vector<std::string>{"hard | PCI | /// | [] | [////////] | [///]",
                                        "soft | nonPCI | /// | [] | [] | [///]"}));
    EXPECT_EQ(CountLines(From(Messages(), nMark), kOSAttributeMissing), 7u);
    EXPECT_EQ(ContextTexts(reader.GetSupportedContextTypes()), std::vector<std::string>{"0: "});
}

TEST_F(PackageReader, EmptyAttributeValuesCountAsAbsent)
{
    WritePackage("<SoftwareComponent vendorVersion=\"\"><ComponentType value=\"\"/><SupportedDevices>"
                 "<Device componentID=\"\"><PCIInfo deviceID=\"\" vendorID=\"\"/>"
                 "<Dependency componentID=\"\" version=\"\" context=\"\">"
                 "<OperatingSystem majorVersion=\"\" osArch=\"\"/>"
                 "<DepPCIInfo deviceID=\"\" subVendorID=\"\"/><Brand><Model systemID=\"\"/></Brand></Dependency>"
                 "</Device></SupportedDevices>"
                 "<CONTEXT><CONTEXT_TYPE name=\"\"><Priority value=\"\"/></CONTEXT_TYPE></CONTEXT>"
                 "</SoftwareComponent>");
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_EQ(Identity(reader), kNoIdentity);
    EXPECT_EQ(reader.GetValue("//SoftwareComponent", "vendorVersion"), "");
    EXPECT_EQ(PCITexts(reader.GetSupportedDevices()), std::vector<std::string>{"///"});
    const std::size_t nMark = Messages().size();
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_EQ(vextest::RecordFields(records.v, "componentID | parent | context | platforms"),
              std::vector<std::string>{" |  | OS | []"});
    const std::vector<std::string> vTail = From(Messages(), nMark);
    EXPECT_EQ(CountLines(vTail, kOSAttributeMissing), 7u);
    EXPECT_TRUE(HasLine(vTail, kDep + "failed to get the parent componentID info from package.xml"));
    EXPECT_TRUE(HasLine(vTail, kDep + "failed to get the componentID info from package.xml for dependent device"));
    EXPECT_TRUE(HasLine(vTail, kDep + "failed to get the version info from package.xml for dependent device"));
    EXPECT_EQ(ContextTexts(reader.GetSupportedContextTypes()), std::vector<std::string>{"0: "});
}

TEST_F(PackageReader, VeryLongValuesAreReadWhole)
{
    const std::string strLong(1u << 20, 'A');
    const std::string strLongText(1u << 20, 'T');
    WritePackage(Package("<Device componentID=\"" + strLong + "\"><Display>" + strLongText +
                         "</Display>"
                         "<PCIInfo deviceID=\"" +
                         strLong +
                         "\"/>"
                         "<Dependency componentID=\"" +
                         strLong + "\" version=\"" + strLong + "\" path=\"" + strLong + "\"><Detail>" + strLongText +
                         "</Detail><Brand><Model systemID=\"" + strLong + "\"/></Brand><DepPCIInfo vendorID=\"" +
                         strLong + "\"/></Dependency></Device>"));
    CSoftwareComponentInfo reader;
    EXPECT_EQ(reader.GetComponentID(), strLong);
    EXPECT_EQ(reader.GetComponentDisplayString(), strLongText);
    const std::vector<SPCIInfo> vDevices = reader.GetSupportedDevices();
    ASSERT_EQ(vDevices.size(), 1u);
    EXPECT_EQ(vDevices[0].strDeviceID, strLong);
    OwnedRecords records(reader.getDependencyInfo());
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].getComponentID(), strLong);
    EXPECT_EQ(records[0].getVersion(), strLong);
    EXPECT_EQ(records[0].getDetail(), strLongText);
    EXPECT_EQ(records[0].getPCIInfo().strVendorID, strLong);
    EXPECT_EQ(records[0].getParentComponentID(), strLong);
    EXPECT_EQ(records[0].getDepenendencyPlatforms(), std::vector<std::string>{"0x" + strLong});
    EXPECT_EQ(reader.GetMinComponentID(), std::to_string(0L));
}

TEST_F(PackageReader, NestingDeeperThanTheParserAcceptsIsRefused)
{
    WritePackage(Package("<Device componentID=\"1\">" + vextest::NestedElements("Dependency", 20000) + "</Device>"));
    StartLogging();
    CSoftwareComponentInfo reader;
    EXPECT_TRUE(HasLine(Messages(), NotParsedLine("package.xml")));
    OwnedRecords records(reader.getDependencyInfo());
    EXPECT_EQ(records.size(), 0u);
    EXPECT_EQ(reader.GetComponentID(), "");
}

TEST_F(PackageReader, ExternalEntityContentNeverAppears)
{
    const std::string strSecret = "TOP-SECRET-CONTENT";
    vextest::WriteFile(m_dir.File("secret.txt"), strSecret);
    const std::string strEntity = "file://" + m_dir.File("secret.txt");
    const std::string strText =
        "<?xml version=\"1.0\"?>\n"
        "<!DOCTYPE SoftwareComponent [\n"
        "  <!ENTITY secret SYSTEM \"" +
        strEntity +
        "\">\n"
        "]>\n"
        "<SoftwareComponent vendorVersion=\"1\">&secret;<ComponentType value=\"FRMW\"><Display>&secret;</Display>"
        "</ComponentType><SupportedDevices><Device componentID=\"1\"><Display>&secret;</Display>"
        "<PCIInfo deviceID=\"1\"/><Display>&secret;</Display>"
        "<Dependency componentID=\"2\" version=\"1\"><Display>&secret;</Display><Detail>&secret;</Detail>"
        "</Dependency></Device></SupportedDevices>"
        "<CONTEXT><CONTEXT_TYPE name=\"n\"><Priority value=\"1\"/></CONTEXT_TYPE></CONTEXT></SoftwareComponent>";
    WritePackage(strText);
    vextest::WriteFile(m_dir.File("vexdebuglog"), "");
    std::vector<std::string> vValues;
    {
        CSoftwareComponentInfo reader;
        vValues.push_back(reader.GetPackageID());
        vValues.push_back(reader.GetComponentTypeDisplayString());
        vValues.push_back(reader.GetValue("//Display", ""));
        vValues.push_back(reader.GetComponentDisplayString());
        for (const SPCIInfo& device : reader.GetAllSupportedDevices())
        {
            vValues.push_back(device.strMarketingName);
        }
        for (const auto& entry : reader.getCompIDMarkNameInfo())
        {
            vValues.push_back(entry.second);
        }
        OwnedRecords records(reader.getDependencyInfo());
        ASSERT_EQ(records.size(), 1u);
        vValues.push_back(records[0].getDisplay());
        vValues.push_back(records[0].getDetail());
        std::string strDocument = strText;
        CSoftwareComponentInfo fromText(strDocument);
        vValues.push_back(fromText.GetPackageID());
        vValues.push_back(fromText.GetValue("//Detail", ""));
    }
    for (const std::string& strValue : vValues)
    {
        EXPECT_EQ(strValue.find(strSecret), std::string::npos) << strValue;
    }
    EXPECT_EQ(vextest::ReadFile(m_dir.File("baseutils.log")).find(strSecret), std::string::npos);
}

TEST_F(PackageReader, ExternalEntityInAnAttributeIsNotRead)
{
    const std::string strSecret = "TOP-SECRET-CONTENT";
    vextest::WriteFile(m_dir.File("secret.txt"), strSecret);
    WritePackage("<?xml version=\"1.0\"?>\n<!DOCTYPE SoftwareComponent [\n"
                 "  <!ENTITY secret SYSTEM \"file://" +
                 m_dir.File("secret.txt") +
                 "\">\n]>\n"
                 "<SoftwareComponent><SupportedDevices><Device componentID=\"&secret;\">"
                 "<Dependency componentID=\"&secret;\" version=\"&secret;\"/></Device></SupportedDevices>"
                 "</SoftwareComponent>");
    CSoftwareComponentInfo reader;
    EXPECT_EQ(reader.GetComponentID().find(strSecret), std::string::npos);
    OwnedRecords records(reader.getDependencyInfo());
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        EXPECT_EQ(records[i].getComponentID().find(strSecret), std::string::npos);
        EXPECT_EQ(records[i].getVersion().find(strSecret), std::string::npos);
        EXPECT_EQ(records[i].getParentComponentID().find(strSecret), std::string::npos);
    }
}

namespace
{
long MaxResidentKiB()
{
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}
} // namespace

TEST_F(PackageReader, EntityExpansionBombIsNeverExpanded)
{
    const std::string strText =
        vextest::EntityBombPrologue("SoftwareComponent") +
        "<SoftwareComponent vendorVersion=\"&e12;\">&e12;<SupportedDevices><Device componentID=\"1\">"
        "<Display>&e12;</Display><Dependency componentID=\"&e12;\" version=\"1\"><Display>&e12;</Display>"
        "<Detail>&e12;</Detail></Dependency></Device></SupportedDevices></SoftwareComponent>";
    WritePackage(strText);
    const long nBefore = MaxResidentKiB();
    std::vector<std::string> vValues;
    {
        CSoftwareComponentInfo reader;
        vValues.push_back(reader.GetPackageID());
        vValues.push_back(reader.GetComponentVersion());
        vValues.push_back(reader.GetComponentDisplayString());
        std::string strComponentID = "1";
        vValues.push_back(reader.getMarketingNameForNonPCIDevice(strComponentID));
        OwnedRecords records(reader.getDependencyInfo());
        for (std::size_t i = 0; i < records.size(); ++i)
        {
            vValues.push_back(records[i].getComponentID());
            vValues.push_back(records[i].getDisplay());
            vValues.push_back(records[i].getDetail());
        }
        std::string strDocument = strText;
        CSoftwareComponentInfo fromText(strDocument);
        vValues.push_back(fromText.GetValue("//Display", ""));
    }
    for (const std::string& strValue : vValues)
    {
        EXPECT_LT(strValue.size(), 1000u);
    }
    // Far below what even one expansion would take.
    EXPECT_LT(MaxResidentKiB() - nBefore, 512L * 1024L);
}

// ===========================================================================
// Measurement (not part of the regular run): reading 10,000 dependency
// elements. Run with
//   SoftwareComponentInfoTest --gtest_also_run_disabled_tests --gtest_filter='*TenThousand*'
// ===========================================================================

namespace
{
// nDevices Device elements sharing nDependencies dependency elements, each
// with a display name, a platform, an OS requirement and a PCI identity.
std::string LargePackage(int nDevices, int nDependencies)
{
    std::string strDevices;
    const int nPerDevice = nDependencies / nDevices;
    for (int d = 0; d < nDevices; ++d)
    {
        strDevices += "<Device componentID=\"" + std::to_string(1000 + d) +
                      "\">\n"
                      "  <PCIInfo deviceID=\"005F\" subDeviceID=\"1F2D\" vendorID=\"1D4E\" subVendorID=\"1F0C\"/>\n"
                      "  <Display>Device " +
                      std::to_string(d) + "</Display>\n";
        for (int i = 0; i < nPerDevice; ++i)
        {
            const int n = d * nPerDevice + i;
            strDevices += std::string("  <") + (n % 2 == 0 ? "Dependency" : "SoftDependency") + " componentID=\"" +
                          std::to_string(n) + "\" componentType=\"FRMW\" version=\"1.0." + std::to_string(n) +
                          "\" path=\"FOLDER" + std::to_string(n) + "\\file.BIN\" releaseID=\"R" + std::to_string(n) +
                          "\">\n"
                          "    <Display>Dependency " +
                          std::to_string(n) +
                          "</Display>\n"
                          "    <Brand><Model systemID=\"0627\"/></Brand>\n"
                          "    <OperatingSystem osVendor=\"Vendor\" osArch=\"x86_64\" majorVersion=\"8\"/>\n"
                          "    <DepPCIInfo deviceID=\"" +
                          std::to_string(n % 65536) +
                          "\" subDeviceID=\"1\" vendorID=\"2\" subVendorID=\"3\"/>\n"
                          "  </" +
                          (n % 2 == 0 ? "Dependency" : "SoftDependency") + ">\n";
        }
        strDevices += "</Device>\n";
    }
    return Package(strDevices);
}

void MeasureRead(const std::string& strLabel, int nDevices)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    vextest::WriteFile(dir.File("package.xml"), LargePackage(nDevices, 10000));
    CSoftwareComponentInfo reader;
    const auto tStart = std::chrono::steady_clock::now();
    OwnedRecords records(reader.getDependencyInfo());
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
    ASSERT_EQ(records.size(), 10000u);
    std::printf("%s: 10000 dependency elements read in %.3f s\n", strLabel.c_str(), dSeconds);
}
} // namespace

TEST(SoftwareComponentInfoMeasurement, DISABLED_TenThousandDependencies)
{
    MeasureRead("under one Device", 1);
    MeasureRead("under 100 Devices", 100);
}
