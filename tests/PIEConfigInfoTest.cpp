#include "PIEConfigInfo.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>

#include <sys/stat.h>
#include <unistd.h>

using vextest::ReadLogMessages;
using vextest::TempDir;

namespace
{
// A configuration with the given Plugin elements inside the usual frame.
std::string Config(const std::string& strPlugins)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<PIEConfig>\n  <Plugins>\n" +
           strPlugins + "  </Plugins>\n</PIEConfig>\n";
}

std::string CliToFile(const std::string& strCommand, const std::string& strOutput)
{
    return "<CliToFile><Command>" + strCommand + "</Command><Output>" + strOutput + "</Output></CliToFile>";
}

std::string Plugin(const std::string& strAttributes, const std::string& strContent)
{
    return "    <Plugin " + strAttributes + ">" + strContent + "</Plugin>\n";
}

const char* const kInventoryAttributes = "description=\"Inventory\" type=\"0\" timeout=\"600\"";

bool Contains(const std::vector<std::string>& vLines, const std::string& strLine)
{
    return std::find(vLines.begin(), vLines.end(), strLine) != vLines.end();
}

// Each test writes its configuration into a fresh directory, with the logger
// writing beside it.
class PIEConfigInfoTest : public ::testing::Test
{
protected:
    void SetUp() override { vextest::StartLogging(m_dir.File("baseutils.log")); }

    // Writes the configuration and runs Init on it.
    bool InitWith(const std::string& strContent)
    {
        vextest::WriteFile(ConfigPath(), strContent);
        return m_reader.Init(ConfigPath());
    }

    std::string ConfigPath() const { return m_dir.File("PIEConfig.xml"); }
    std::vector<std::string> Log() const { return ReadLogMessages(m_dir.File("baseutils.log")); }

    TempDir m_dir;
    CPIEConfigInfo m_reader;
};
} // namespace

TEST_F(PIEConfigInfoTest, StartsEmpty)
{
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 0);
    EXPECT_FALSE(m_reader.GetPlugins());
}

TEST_F(PIEConfigInfoTest, ReadsTheInventoryPlugin)
{
    ASSERT_TRUE(InitWith(Config(Plugin("description=\"Update\" type=\"1\" timeout=\"90\"",
                                       CliToFile("./update.sh", "update.xml")) +
                                Plugin(kInventoryAttributes, CliToFile("./collect.sh -x", "inv.xml")))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "./collect.sh -x");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "inv.xml");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 600);

    const std::vector<std::string> vExpected = {
        "CPIEConfigInfo::GetInventoryPluginInfo() Start",
        "CPIEConfigInfo::GetNodeSet() Start",
        "CPIEConfigInfo::GetNodeSet() END",
        "CPIEConfigInfo::GetInventoryCommandInfo() START",
        "CPIEConfigInfo::GetInventoryCommandInfo() END",
        "CPIEConfigInfo::GetInventoryPluginInfo() END",
        "CPIEConfigInfo::Init() GetInventoryPluginInfo success ",
    };
    EXPECT_EQ(Log(), vExpected);
}

TEST_F(PIEConfigInfoTest, LogLinesNameTheirSourceFile)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, CliToFile("c", "o")))));
    const std::vector<std::string> vLines = vextest::ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_FALSE(vLines.empty());
    const std::string strPrefix = "[TIME] : " + std::string(25 - 13, ' ') + "PIEConfigInfo:";
    EXPECT_EQ(vLines.front().substr(0, strPrefix.size()), strPrefix);
}

TEST_F(PIEConfigInfoTest, PluginsAreFoundAtAnyDepth)
{
    ASSERT_TRUE(InitWith("<Root><PIEConfig><Group><Plugins><Set><Plugin " + std::string(kInventoryAttributes) + ">" +
                         CliToFile("deep.sh", "deep.xml") +
                         "</Plugin></Set></Plugins></Group></PIEConfig></Root>"));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "deep.sh");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "deep.xml");
}

TEST_F(PIEConfigInfoTest, ElementNamesOfThePluginPathAreCaseSensitive)
{
    EXPECT_FALSE(InitWith("<PIEConfig><Plugins><plugin " + std::string(kInventoryAttributes) + ">" +
                          CliToFile("c", "o") + "</plugin></Plugins></PIEConfig>"));
    const std::vector<std::string> vLog = Log();
    EXPECT_TRUE(Contains(vLog, "CPIEConfigInfo::GetNodeSet() Empty nodeset"));
    EXPECT_TRUE(Contains(vLog, "CPIEConfigInfo::GetInventoryPluginInfo() pXpathResult is NULL"));
    EXPECT_EQ(vLog.back(), "CPIEConfigInfo::Init() GetInventoryPluginInfo failed ");
}

TEST_F(PIEConfigInfoTest, TheFirstQualifyingPluginIsTakenEvenWhenALaterOneIsMoreComplete)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, CliToFile("first.sh", "first.xml")) +
                                Plugin("description=\"Inventory\" type=\"0\" timeout=\"10\" extra=\"yes\"",
                                       CliToFile("second.sh", "second.xml") + "<More/>"))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "first.sh");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "first.xml");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 600);
}

TEST_F(PIEConfigInfoTest, AnIncompleteFirstQualifyingPluginFailsWithoutTryingLaterOnes)
{
    EXPECT_FALSE(InitWith(Config(Plugin(kInventoryAttributes, "<CliToFile><Command>first.sh</Command></CliToFile>") +
                                 Plugin("description=\"Inventory\" type=\"0\" timeout=\"10\"",
                                        CliToFile("second.sh", "second.xml")))));
    // Nothing of either plug-in's command is stored; the timeout of the
    // chosen plug-in was converted before its command was looked at.
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 600);

    const std::vector<std::string> vExpected = {
        "CPIEConfigInfo::GetInventoryPluginInfo() Start",
        "CPIEConfigInfo::GetNodeSet() Start",
        "CPIEConfigInfo::GetNodeSet() END",
        "CPIEConfigInfo::GetInventoryCommandInfo() START",
        "CPIEConfigInfo::GetInventoryCommandInfo() Inventory or output filename is empty",
        "CPIEConfigInfo::GetInventoryCommandInfo() END",
        "CPIEConfigInfo::GetInventoryPluginInfo() GetInventoryCommandInfo  is failed",
        "CPIEConfigInfo::GetInventoryPluginInfo() END",
        "CPIEConfigInfo::Init() GetInventoryPluginInfo failed ",
    };
    EXPECT_EQ(Log(), vExpected);
}

TEST_F(PIEConfigInfoTest, DescriptionAndTypeIgnoreCase)
{
    ASSERT_TRUE(InitWith(Config(Plugin("description=\"INVENTORY\" type=\"0\" timeout=\"5\"", CliToFile("c", "o")))));
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 5);

    CPIEConfigInfo lower;
    vextest::WriteFile(m_dir.File("lower.xml"),
                       Config(Plugin("description=\"inventory\" type=\"0\" timeout=\"6\"", CliToFile("c", "o"))));
    ASSERT_TRUE(lower.Init(m_dir.File("lower.xml")));
    EXPECT_EQ(lower.GetInventoryTimeout(), 6);
}

TEST_F(PIEConfigInfoTest, TypeMustBeExactlyZero)
{
    for (const char* pszType : {"00", "0 ", "1", "O"})
    {
        CPIEConfigInfo reader;
        const std::string strPath = m_dir.File(std::string("type") + pszType + ".xml");
        vextest::WriteFile(strPath, Config(Plugin("description=\"Inventory\" type=\"" + std::string(pszType) +
                                                      "\" timeout=\"5\"",
                                                  CliToFile("c", "o"))));
        EXPECT_FALSE(reader.Init(strPath)) << "type " << pszType;
        EXPECT_EQ(reader.GetInventoryCommand(), "") << "type " << pszType;
    }
    EXPECT_TRUE(Contains(Log(), "CPIEConfigInfo::GetInventoryPluginInfo() pInventoyNode is NULL"));
}

TEST_F(PIEConfigInfoTest, DescriptionMustBeInventory)
{
    EXPECT_FALSE(InitWith(Config(Plugin("description=\"Inventory \" type=\"0\" timeout=\"5\"", CliToFile("c", "o")) +
                                 Plugin("description=\"Update\" type=\"0\" timeout=\"5\"", CliToFile("c", "o")))));
    EXPECT_TRUE(Contains(Log(), "CPIEConfigInfo::GetInventoryPluginInfo() pInventoyNode is NULL"));
}

TEST_F(PIEConfigInfoTest, APluginWithoutTimeoutIsNeverChosen)
{
    ASSERT_TRUE(InitWith(Config(Plugin("description=\"Inventory\" type=\"0\"", CliToFile("untimed.sh", "u.xml")) +
                                Plugin("description=\"Inventory\" type=\"0\" timeout=\"7\"",
                                       CliToFile("timed.sh", "t.xml")))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "timed.sh");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 7);
}

TEST_F(PIEConfigInfoTest, AttributesWithEmptyValuesCountAsAbsent)
{
    EXPECT_FALSE(InitWith(Config(Plugin("description=\"Inventory\" type=\"0\" timeout=\"\"", CliToFile("a", "b")) +
                                 Plugin("description=\"\" type=\"0\" timeout=\"3\"", CliToFile("a", "b")) +
                                 Plugin("description=\"Inventory\" type=\"\" timeout=\"3\"", CliToFile("a", "b")))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 0);
    EXPECT_TRUE(Contains(Log(), "CPIEConfigInfo::GetInventoryPluginInfo() pInventoyNode is NULL"));
}

TEST_F(PIEConfigInfoTest, TimeoutIsConvertedLikeStrtol)
{
    const std::vector<std::pair<std::string, long>> vCases = {
        {"30s", 30},
        {"abc", 0},
        {"  +15", 15},
        {"-5", -5},
        {"0", 0},
        {"12.9", 12},
        {"9223372036854775807", LONG_MAX},
        {"99999999999999999999999", LONG_MAX},
        {"-99999999999999999999999", LONG_MIN},
    };
    int nFile = 0;
    for (const auto& testCase : vCases)
    {
        CPIEConfigInfo reader;
        const std::string strPath = m_dir.File("timeout" + std::to_string(nFile++) + ".xml");
        vextest::WriteFile(strPath, Config(Plugin("description=\"Inventory\" type=\"0\" timeout=\"" +
                                                      testCase.first + "\"",
                                                  CliToFile("c", "o"))));
        // Any timeout is accepted here; the inventory module rejects values
        // below 1.
        EXPECT_TRUE(reader.Init(strPath)) << testCase.first;
        EXPECT_EQ(reader.GetInventoryTimeout(), testCase.second) << testCase.first;
    }
}

TEST_F(PIEConfigInfoTest, TheLastCommandAndOutputWin)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, "<CliToFile>"
                                                             "<Command>one.sh</Command><Output>one.xml</Output>"
                                                             "<Command>two.sh</Command><Output>two.xml</Output>"
                                                             "</CliToFile>"))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "two.sh");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "two.xml");
}

TEST_F(PIEConfigInfoTest, ALastCommandWithoutTextWinsAndFails)
{
    EXPECT_FALSE(InitWith(Config(Plugin(kInventoryAttributes, "<CliToFile><Command>one.sh</Command><Command/>"
                                                              "<Output>o.xml</Output></CliToFile>"))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
}

TEST_F(PIEConfigInfoTest, ChildNamesBelowThePluginIgnoreCase)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, "<Other/><clitofile><COMMAND>c.sh</COMMAND>"
                                                             "<output>o.xml</output></clitofile>"))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "c.sh");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "o.xml");
}

TEST_F(PIEConfigInfoTest, OnlyTheFirstCliToFileCounts)
{
    EXPECT_FALSE(InitWith(Config(Plugin(kInventoryAttributes, "<CliToFile><Output>o.xml</Output></CliToFile>" +
                                                                  CliToFile("c.sh", "o.xml")))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
}

TEST_F(PIEConfigInfoTest, CliToFileMustBeADirectChildOfThePlugin)
{
    EXPECT_FALSE(InitWith(Config(Plugin(kInventoryAttributes, "<Wrap>" + CliToFile("c.sh", "o.xml") + "</Wrap>"))));
    EXPECT_TRUE(Contains(Log(), "CPIEConfigInfo::GetInventoryCommandInfo() Inventory or output filename is empty"));
}

TEST_F(PIEConfigInfoTest, MissingCliToFileOrOutputFails)
{
    EXPECT_FALSE(InitWith(Config(Plugin(kInventoryAttributes, ""))));
    CPIEConfigInfo noOutput;
    vextest::WriteFile(m_dir.File("o.xml"),
                       Config(Plugin(kInventoryAttributes, "<CliToFile><Command>c.sh</Command></CliToFile>")));
    EXPECT_FALSE(noOutput.Init(m_dir.File("o.xml")));
    EXPECT_EQ(noOutput.GetInventoryCommand(), "");
    EXPECT_EQ(noOutput.GetInventoryCommandOutFileName(), "");
}

TEST_F(PIEConfigInfoTest, BlankTextsAreAccepted)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, CliToFile("   ", " ")))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "   ");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), " ");
}

TEST_F(PIEConfigInfoTest, AnElementsTextIsItsFirstChild)
{
    // A child element before the text leaves no text: the command is
    // missing.
    EXPECT_FALSE(InitWith(Config(
        Plugin(kInventoryAttributes, "<CliToFile><Command><b/>c.sh</Command><Output>o.xml</Output></CliToFile>"))));

    CPIEConfigInfo reader;
    vextest::WriteFile(m_dir.File("multi.xml"),
                       Config(Plugin(kInventoryAttributes, "<CliToFile><Command>./run.sh\n  --all</Command>"
                                                           "<Output>o.xml</Output></CliToFile>")));
    ASSERT_TRUE(reader.Init(m_dir.File("multi.xml")));
    EXPECT_EQ(reader.GetInventoryCommand(), "./run.sh\n  --all");
}

TEST_F(PIEConfigInfoTest, MissingFileSaysParsedSuccessfully)
{
    EXPECT_FALSE(m_reader.Init(m_dir.File("absent.xml")));
    EXPECT_EQ(Log(), std::vector<std::string>{"CPIEConfigInfo::Init() Document " + m_dir.File("absent.xml") +
                                              "  parsed successfully "});
}

TEST_F(PIEConfigInfoTest, EmptyAndMalformedFilesSayParsedSuccessfully)
{
    EXPECT_FALSE(InitWith(""));
    CPIEConfigInfo malformed;
    vextest::WriteFile(m_dir.File("bad.xml"), "<PIEConfig><Plugins><Plugin description=\"Inventory\"");
    EXPECT_FALSE(malformed.Init(m_dir.File("bad.xml")));
    CPIEConfigInfo notXml;
    vextest::WriteFile(m_dir.File("text.xml"), "command=./collect.sh\n");
    EXPECT_FALSE(notXml.Init(m_dir.File("text.xml")));
    CPIEConfigInfo directory;
    EXPECT_FALSE(directory.Init(m_dir.Path()));

    const std::vector<std::string> vExpected = {
        "CPIEConfigInfo::Init() Document " + ConfigPath() + "  parsed successfully ",
        "CPIEConfigInfo::Init() Document " + m_dir.File("bad.xml") + "  parsed successfully ",
        "CPIEConfigInfo::Init() Document " + m_dir.File("text.xml") + "  parsed successfully ",
        "CPIEConfigInfo::Init() Document " + m_dir.Path() + "  parsed successfully ",
    };
    EXPECT_EQ(Log(), vExpected);
}

TEST_F(PIEConfigInfoTest, EmptyPathIsLoggedAndFails)
{
    EXPECT_FALSE(m_reader.Init(""));
    const std::vector<std::string> vExpected = {
        "PIE file path is empty ",
        "CPIEConfigInfo::Init() Document   parsed successfully ",
    };
    EXPECT_EQ(Log(), vExpected);
}

TEST_F(PIEConfigInfoTest, GetPluginsReturnsEveryPlugin)
{
    ASSERT_TRUE(InitWith(Config(Plugin("description=\"Update\" type=\"1\" timeout=\"1\"", "") +
                                Plugin(kInventoryAttributes, CliToFile("c", "o")) + Plugin("", ""))));
    xmlsupport::NodeSetPtr pPlugins = m_reader.GetPlugins();
    ASSERT_TRUE(pPlugins);
    EXPECT_EQ(xmlsupport::NodeCount(pPlugins.get()), 3u);
    EXPECT_STREQ(m_reader.GetAttributeValue(xmlsupport::NodeAt(pPlugins.get(), 0), "description"), "Update");
}

TEST_F(PIEConfigInfoTest, GetNodeSetReportsEmptyAndFailedEvaluations)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, CliToFile("c", "o")))));
    EXPECT_FALSE(m_reader.GetNodeSet(reinterpret_cast<const unsigned char*>("//Nothing")));
    EXPECT_FALSE(m_reader.GetNodeSet(reinterpret_cast<const unsigned char*>("//[")));
    EXPECT_FALSE(m_reader.GetNodeSet(nullptr));
    xmlsupport::NodeSetPtr pCommands = m_reader.GetNodeSet(reinterpret_cast<const unsigned char*>("//Command"));
    ASSERT_TRUE(pCommands);
    EXPECT_EQ(xmlsupport::NodeCount(pCommands.get()), 1u);

    std::vector<std::string> vLog = Log();
    ASSERT_GE(vLog.size(), 8u);
    vLog.erase(vLog.begin(), vLog.end() - 8);
    const std::vector<std::string> vExpected = {
        "CPIEConfigInfo::GetNodeSet() Start", "CPIEConfigInfo::GetNodeSet() Empty nodeset",
        "CPIEConfigInfo::GetNodeSet() Start", "CPIEConfigInfo::GetNodeSet() Error in xmlXPathEvalExpression",
        "CPIEConfigInfo::GetNodeSet() Start", "CPIEConfigInfo::GetNodeSet() Error in xmlXPathEvalExpression",
        "CPIEConfigInfo::GetNodeSet() Start", "CPIEConfigInfo::GetNodeSet() END",
    };
    EXPECT_EQ(vLog, vExpected);
}

TEST_F(PIEConfigInfoTest, GetAttributeValueOfNothingIsNull)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, CliToFile("c", "o")))));
    xmlsupport::NodeSetPtr pPlugins = m_reader.GetPlugins();
    ASSERT_TRUE(pPlugins);
    xmlNode* pPlugin = xmlsupport::NodeAt(pPlugins.get(), 0);
    EXPECT_EQ(m_reader.GetAttributeValue(nullptr, "type"), nullptr);
    EXPECT_EQ(m_reader.GetAttributeValue(pPlugin, nullptr), nullptr);
    EXPECT_EQ(m_reader.GetAttributeValue(pPlugin, "absent"), nullptr);
    EXPECT_STREQ(m_reader.GetAttributeValue(pPlugin, "timeout"), "600");
}

TEST_F(PIEConfigInfoTest, GetInventoryCommandInfoOfNothingFails)
{
    EXPECT_FALSE(m_reader.GetInventoryCommandInfo(nullptr));
    const std::vector<std::string> vExpected = {
        "CPIEConfigInfo::GetInventoryCommandInfo() START",
        "CPIEConfigInfo::GetInventoryCommandInfo() is NULL",
    };
    EXPECT_EQ(Log(), vExpected);
}

TEST_F(PIEConfigInfoTest, OtherContentIsIgnored)
{
    ASSERT_TRUE(InitWith("<!-- c --><PIEConfig version=\"2\"><Settings a=\"b\"/><Plugins><!-- first -->"
                         "<Plugin description=\"Inventory\" type=\"0\" timeout=\"20\" vendor=\"x\">"
                         "<Notes>n</Notes><CliToFile mode=\"fast\"><!-- cmd --><Command>c.sh</Command><Extra/>"
                         "<Output>o.xml</Output></CliToFile></Plugin></Plugins></PIEConfig>"));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "c.sh");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "o.xml");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 20);
}

// Children are told by name, whatever kind of node they are: an instruction
// named "Command" after the element is the last Command, and it has no text.
TEST_F(PIEConfigInfoTest, AnInstructionNamedLikeAChildIsTakenForIt)
{
    EXPECT_FALSE(InitWith("<PIEConfig><Plugins><Plugin description=\"Inventory\" type=\"0\" timeout=\"20\">"
                          "<CliToFile><Command>c.sh</Command><?Command?><Output>o.xml</Output></CliToFile>"
                          "</Plugin></Plugins></PIEConfig>"));
    EXPECT_TRUE(Contains(Log(), "CPIEConfigInfo::GetInventoryCommandInfo() Inventory or output filename is empty"));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
    // An instruction named "CliToFile" before the element is the first
    // CliToFile: it has no children, so no command.
    CPIEConfigInfo second;
    vextest::WriteFile(ConfigPath(), "<PIEConfig><Plugins><Plugin description=\"Inventory\" type=\"0\" "
                                     "timeout=\"20\"><?CliToFile?><CliToFile><Command>c.sh</Command>"
                                     "<Output>o.xml</Output></CliToFile></Plugin></Plugins></PIEConfig>");
    EXPECT_FALSE(second.Init(ConfigPath()));
}

// A release directory could hold a named pipe, or a link to an endless
// device, as its "PIEConfig.xml": Init fails at once, as for any file that
// does not parse.
TEST_F(PIEConfigInfoTest, AConfigurationThatIsANamedPipeOrADeviceFailsAtOnce)
{
    ASSERT_EQ(mkfifo(ConfigPath().c_str(), 0600), 0);
    const auto tStart = std::chrono::steady_clock::now();
    EXPECT_FALSE(m_reader.Init(ConfigPath()));
    CPIEConfigInfo zeroReader;
    ASSERT_EQ(symlink("/dev/zero", m_dir.File("zero.xml").c_str()), 0);
    EXPECT_FALSE(zeroReader.Init(m_dir.File("zero.xml")));
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(5));
    EXPECT_TRUE(Contains(Log(), "CPIEConfigInfo::Init() Document " + ConfigPath() + "  parsed successfully "));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
}
