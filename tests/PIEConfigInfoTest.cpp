#include "PIEConfigInfo.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

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

// What Init logs up to the command of the inventory plug-in it found.
const std::vector<std::string> kPluginFoundLines = {
    "CPIEConfigInfo::GetInventoryPluginInfo() Start", "CPIEConfigInfo::GetNodeSet() Start",
    "CPIEConfigInfo::GetNodeSet() END", "CPIEConfigInfo::GetInventoryCommandInfo() START"};

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
    ASSERT_TRUE(InitWith(
        Config(Plugin("description=\"Update\" type=\"1\" timeout=\"90\"", CliToFile("./update.sh", "update.xml")) +
               Plugin(kInventoryAttributes, CliToFile("./collect.sh -x", "inv.xml")))));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "./collect.sh -x");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "inv.xml");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 600);

    EXPECT_EQ(Log(), vextest::Then(kPluginFoundLines, {
                                                          "CPIEConfigInfo::GetInventoryCommandInfo() END",
                                                          "CPIEConfigInfo::GetInventoryPluginInfo() END",
                                                          "CPIEConfigInfo::Init() GetInventoryPluginInfo success ",
                                                      }));
}

TEST_F(PIEConfigInfoTest, LogLinesNameTheirSourceFile)
{
    ASSERT_TRUE(InitWith(Config(Plugin(kInventoryAttributes, CliToFile("c", "o")))));
    const std::vector<std::string> vLines = vextest::ReadLogLines(m_dir.File("baseutils.log"));
    ASSERT_FALSE(vLines.empty());
    const std::string strPrefix = "[TIME] : " + std::string(25 - 13, ' ') + "PIEConfigInfo:";
    EXPECT_EQ(vLines.front().substr(0, strPrefix.size()), strPrefix);
}

TEST_F(PIEConfigInfoTest, AnIncompleteFirstQualifyingPluginFailsWithoutTryingLaterOnes)
{
    EXPECT_FALSE(InitWith(
        Config(Plugin(kInventoryAttributes, "<CliToFile><Command>first.sh</Command></CliToFile>") +
               Plugin("description=\"Inventory\" type=\"0\" timeout=\"10\"", CliToFile("second.sh", "second.xml")))));
    // Nothing of either plug-in's command is stored; the timeout of the
    // chosen plug-in was converted before its command was looked at.
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), "");
    EXPECT_EQ(m_reader.GetInventoryTimeout(), 600);

    EXPECT_EQ(Log(),
              vextest::Then(kPluginFoundLines,
                            {
                                "CPIEConfigInfo::GetInventoryCommandInfo() Inventory or output filename is empty",
                                "CPIEConfigInfo::GetInventoryCommandInfo() END",
                                "CPIEConfigInfo::GetInventoryPluginInfo() GetInventoryCommandInfo  is failed",
                                "CPIEConfigInfo::GetInventoryPluginInfo() END",
                                "CPIEConfigInfo::Init() GetInventoryPluginInfo failed ",
                            }));
}

// ---------------------------------------------------------------------------
// Which plug-in is chosen, case by case: a configuration, whether Init
// succeeds, the command, output and timeout it then holds, and lines the
// log must hold besides its last one, which says how Init ended.
// ---------------------------------------------------------------------------

namespace
{
struct PluginCase
{
    const char* pszName;
    std::string strConfig;
    bool bChosen;
    std::string strCommand;
    std::string strOutput;
    long nTimeout;
    std::vector<std::string> vLogLines;
};

void PrintTo(const PluginCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class PluginChoice : public PIEConfigInfoTest, public ::testing::WithParamInterface<PluginCase>
{
};

const std::string kNoInventoryPlugin = "CPIEConfigInfo::GetInventoryPluginInfo() pInventoyNode is NULL";
const std::string kNoCommandOrOutput =
    "CPIEConfigInfo::GetInventoryCommandInfo() Inventory or output filename is empty";

// An inventory plug-in with the given type and timeout.
std::string TypedPlugin(const std::string& strType, const std::string& strTimeout)
{
    return Plugin("description=\"Inventory\" type=\"" + strType + "\" timeout=\"" + strTimeout + "\"",
                  CliToFile("c", "o"));
}

std::vector<PluginCase> PluginCases()
{
    return {
        {"PluginsAreFoundAtAnyDepth",
         "<Root><PIEConfig><Group><Plugins><Set><Plugin " + std::string(kInventoryAttributes) + ">" +
             CliToFile("deep.sh", "deep.xml") + "</Plugin></Set></Plugins></Group></PIEConfig></Root>",
         true,
         "deep.sh",
         "deep.xml",
         600,
         {}},
        {"ElementNamesOfThePluginPathAreCaseSensitive",
         "<PIEConfig><Plugins><plugin " + std::string(kInventoryAttributes) + ">" + CliToFile("c", "o") +
             "</plugin></Plugins></PIEConfig>",
         false,
         "",
         "",
         0,
         {"CPIEConfigInfo::GetNodeSet() Empty nodeset",
          "CPIEConfigInfo::GetInventoryPluginInfo() pXpathResult is NULL"}},
        {"TheFirstQualifyingPluginIsTakenEvenWhenALaterOneIsMoreComplete",
         Config(Plugin(kInventoryAttributes, CliToFile("first.sh", "first.xml")) +
                Plugin("description=\"Inventory\" type=\"0\" timeout=\"10\" extra=\"yes\"",
                       CliToFile("second.sh", "second.xml") + "<More/>")),
         true,
         "first.sh",
         "first.xml",
         600,
         {}},
        {"DescriptionAndTypeIgnoreCase_Upper",
         Config(Plugin("description=\"INVENTORY\" type=\"0\" timeout=\"5\"", CliToFile("c", "o"))),
         true,
         "c",
         "o",
         5,
         {}},
        {"DescriptionAndTypeIgnoreCase_Lower",
         Config(Plugin("description=\"inventory\" type=\"0\" timeout=\"6\"", CliToFile("c", "o"))),
         true,
         "c",
         "o",
         6,
         {}},
        {"TypeMustBeExactlyZero_DoubleZero", Config(TypedPlugin("00", "5")), false, "", "", 0, {kNoInventoryPlugin}},
        {"TypeMustBeExactlyZero_TrailingBlank", Config(TypedPlugin("0 ", "5")), false, "", "", 0, {kNoInventoryPlugin}},
        {"TypeMustBeExactlyZero_One", Config(TypedPlugin("1", "5")), false, "", "", 0, {kNoInventoryPlugin}},
        {"TypeMustBeExactlyZero_LetterO", Config(TypedPlugin("O", "5")), false, "", "", 0, {kNoInventoryPlugin}},
        {"DescriptionMustBeInventory",
         Config(Plugin("description=\"Inventory \" type=\"0\" timeout=\"5\"", CliToFile("c", "o")) +
                Plugin("description=\"Update\" type=\"0\" timeout=\"5\"", CliToFile("c", "o"))),
         false,
         "",
         "",
         0,
         {kNoInventoryPlugin}},
        {"APluginWithoutTimeoutIsNeverChosen",
         Config(Plugin("description=\"Inventory\" type=\"0\"", CliToFile("untimed.sh", "u.xml")) +
                Plugin("description=\"Inventory\" type=\"0\" timeout=\"7\"", CliToFile("timed.sh", "t.xml"))),
         true,
         "timed.sh",
         "t.xml",
         7,
         {}},
        {"AttributesWithEmptyValuesCountAsAbsent",
         Config(Plugin("description=\"Inventory\" type=\"0\" timeout=\"\"", CliToFile("a", "b")) +
                Plugin("description=\"\" type=\"0\" timeout=\"3\"", CliToFile("a", "b")) +
                Plugin("description=\"Inventory\" type=\"\" timeout=\"3\"", CliToFile("a", "b"))),
         false,
         "",
         "",
         0,
         {kNoInventoryPlugin}},
        // Any timeout is accepted here; the inventory module rejects values
        // below 1.
        {"TimeoutIsConvertedLikeStrtol_TrailingText", Config(TypedPlugin("0", "30s")), true, "c", "o", 30, {}},
        {"TimeoutIsConvertedLikeStrtol_Text", Config(TypedPlugin("0", "abc")), true, "c", "o", 0, {}},
        {"TimeoutIsConvertedLikeStrtol_BlanksAndSign", Config(TypedPlugin("0", "  +15")), true, "c", "o", 15, {}},
        {"TimeoutIsConvertedLikeStrtol_Negative", Config(TypedPlugin("0", "-5")), true, "c", "o", -5, {}},
        {"TimeoutIsConvertedLikeStrtol_Zero", Config(TypedPlugin("0", "0")), true, "c", "o", 0, {}},
        {"TimeoutIsConvertedLikeStrtol_Fraction", Config(TypedPlugin("0", "12.9")), true, "c", "o", 12, {}},
        {"TimeoutIsConvertedLikeStrtol_LongMax",
         Config(TypedPlugin("0", "9223372036854775807")),
         true,
         "c",
         "o",
         LONG_MAX,
         {}},
        {"TimeoutIsConvertedLikeStrtol_AboveLongMax",
         Config(TypedPlugin("0", "99999999999999999999999")),
         true,
         "c",
         "o",
         LONG_MAX,
         {}},
        {"TimeoutIsConvertedLikeStrtol_BelowLongMin",
         Config(TypedPlugin("0", "-99999999999999999999999")),
         true,
         "c",
         "o",
         LONG_MIN,
         {}},
        {"TheLastCommandAndOutputWin",
         Config(Plugin(kInventoryAttributes, "<CliToFile><Command>one.sh</Command><Output>one.xml</Output>"
                                             "<Command>two.sh</Command><Output>two.xml</Output></CliToFile>")),
         true,
         "two.sh",
         "two.xml",
         600,
         {}},
        // The timeout of the chosen plug-in is converted before its command
        // is looked at; nothing of a command that fails is kept.
        {"ALastCommandWithoutTextWinsAndFails",
         Config(Plugin(kInventoryAttributes,
                       "<CliToFile><Command>one.sh</Command><Command/><Output>o.xml</Output></CliToFile>")),
         false,
         "",
         "",
         600,
         {kNoCommandOrOutput}},
        {"ChildNamesBelowThePluginIgnoreCase",
         Config(Plugin(kInventoryAttributes,
                       "<Other/><clitofile><COMMAND>c.sh</COMMAND><output>o.xml</output></clitofile>")),
         true,
         "c.sh",
         "o.xml",
         600,
         {}},
        {"OnlyTheFirstCliToFileCounts",
         Config(Plugin(kInventoryAttributes,
                       "<CliToFile><Output>o.xml</Output></CliToFile>" + CliToFile("c.sh", "o.xml"))),
         false,
         "",
         "",
         600,
         {kNoCommandOrOutput}},
        {"CliToFileMustBeADirectChildOfThePlugin",
         Config(Plugin(kInventoryAttributes, "<Wrap>" + CliToFile("c.sh", "o.xml") + "</Wrap>")),
         false,
         "",
         "",
         600,
         {kNoCommandOrOutput}},
        {"MissingCliToFileOrOutputFails_NoCliToFile",
         Config(Plugin(kInventoryAttributes, "")),
         false,
         "",
         "",
         600,
         {kNoCommandOrOutput}},
        {"MissingCliToFileOrOutputFails_NoOutput",
         Config(Plugin(kInventoryAttributes, "<CliToFile><Command>c.sh</Command></CliToFile>")),
         false,
         "",
         "",
         600,
         {kNoCommandOrOutput}},
        {"BlankTextsAreAccepted",
         Config(Plugin(kInventoryAttributes, CliToFile("   ", " "))),
         true,
         "   ",
         " ",
         600,
         {}},
        // A child element before the text leaves no text: the command is
        // missing.
        {"AnElementsTextIsItsFirstChild_ElementFirst",
         Config(
             Plugin(kInventoryAttributes, "<CliToFile><Command><b/>c.sh</Command><Output>o.xml</Output></CliToFile>")),
         false,
         "",
         "",
         600,
         {kNoCommandOrOutput}},
        {"AnElementsTextIsItsFirstChild_TextOverLines",
         Config(Plugin(kInventoryAttributes,
                       "<CliToFile><Command>./run.sh\n  --all</Command><Output>o.xml</Output></CliToFile>")),
         true,
         "./run.sh\n  --all",
         "o.xml",
         600,
         {}},
        {"OtherContentIsIgnored",
         "<!-- c --><PIEConfig version=\"2\"><Settings a=\"b\"/><Plugins><!-- first -->"
         "<Plugin description=\"Inventory\" type=\"0\" timeout=\"20\" vendor=\"x\">"
         "<Notes>n</Notes><CliToFile mode=\"fast\"><!-- cmd --><Command>c.sh</Command><Extra/>"
         "<Output>o.xml</Output></CliToFile></Plugin></Plugins></PIEConfig>",
         true,
         "c.sh",
         "o.xml",
         20,
         {}},
        // Children are told by name, whatever kind of node they are: an
        // instruction named "Command" after the element is the last Command,
        // and it has no text.
        {"AnInstructionNamedLikeAChildIsTakenForIt_Command",
         "<PIEConfig><Plugins><Plugin description=\"Inventory\" type=\"0\" timeout=\"20\">"
         "<CliToFile><Command>c.sh</Command><?Command?><Output>o.xml</Output></CliToFile>"
         "</Plugin></Plugins></PIEConfig>",
         false,
         "",
         "",
         20,
         {kNoCommandOrOutput}},
        // An instruction named "CliToFile" before the element is the first
        // CliToFile: it has no children, so no command.
        {"AnInstructionNamedLikeAChildIsTakenForIt_CliToFile",
         "<PIEConfig><Plugins><Plugin description=\"Inventory\" type=\"0\" timeout=\"20\"><?CliToFile?>"
         "<CliToFile><Command>c.sh</Command><Output>o.xml</Output></CliToFile></Plugin></Plugins></PIEConfig>",
         false,
         "",
         "",
         20,
         {kNoCommandOrOutput}},
    };
}
} // namespace

TEST_P(PluginChoice, IsRead)
{
    const PluginCase& entry = GetParam();
    EXPECT_EQ(InitWith(entry.strConfig), entry.bChosen);
    EXPECT_EQ(m_reader.GetInventoryCommand(), entry.strCommand);
    EXPECT_EQ(m_reader.GetInventoryCommandOutFileName(), entry.strOutput);
    EXPECT_EQ(m_reader.GetInventoryTimeout(), entry.nTimeout);
    const std::vector<std::string> vLog = Log();
    ASSERT_FALSE(vLog.empty());
    EXPECT_EQ(vLog.back(),
              std::string("CPIEConfigInfo::Init() GetInventoryPluginInfo ") + (entry.bChosen ? "success " : "failed "));
    for (const std::string& strLine : entry.vLogLines)
    {
        EXPECT_TRUE(vextest::HasLine(vLog, strLine)) << strLine;
    }
}

INSTANTIATE_TEST_SUITE_P(PIEConfigInfoTest, PluginChoice, ::testing::ValuesIn(PluginCases()),
                         [](const ::testing::TestParamInfo<PluginCase>& info) {
                             return std::string(info.param.pszName);
                         });

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
    EXPECT_TRUE(vextest::HasLine(Log(), "CPIEConfigInfo::Init() Document " + ConfigPath() + "  parsed successfully "));
    EXPECT_EQ(m_reader.GetInventoryCommand(), "");
}
