// What the collectors print never reaches a document that a program parses:
// vexinspect explain --json captures each collector's standard output and
// standard error and shows them inside the document, end to end with the
// real executable; lint never runs a collector at all.

#include "CheckerRun.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <map>

using namespace vextest;
using Json = nlohmann::json;

namespace
{
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;

// A scenario's package (the sample package unless named), each collector
// first running strPrelude with the release's name in $release.
class TalkingPackage
{
public:
    explicit TalkingPackage(const std::string& strPrelude, const std::string& strScenario = "sample-package",
                            const std::vector<std::string>& vReleases = {"REL001", "REL002"})
    {
        WriteScenario(FindScenario(strScenario), m_dir.Path());
        for (const std::string& strRelease : vReleases)
        {
            const char* pszRelease = strRelease.c_str();
            const std::string strCollector = m_dir.File(std::string(pszRelease) + "/collect.sh");
            std::string strText = ReadFile(strCollector);
            const std::string::size_type nAfterShebang = strText.find('\n') + 1;
            strText.insert(nAfterShebang, "release=" + std::string(pszRelease) + "\n" + strPrelude + "\n");
            WriteFile(strCollector, strText, true);
        }
    }
    const std::string& Path() const { return m_dir.Path(); }

private:
    TempDir m_dir;
};

CommandResult Inspect(const std::vector<std::string>& vArgs, const std::string& strDirectory)
{
    std::vector<std::string> vCommand = {kInspect};
    vCommand.insert(vCommand.end(), vArgs.begin(), vArgs.end());
    return RunCommand(vCommand, strDirectory);
}

// The collector objects of the dependencies whose collector ran, by release.
std::map<std::string, Json> CollectorsByRelease(const Json& explain)
{
    std::map<std::string, Json> mapCollectors;
    for (const Json& dependency : explain["dependencies"])
    {
        const Json& inventory = dependency["inventory"];
        if (inventory["collector"].is_object())
        {
            mapCollectors[dependency["releaseID"].get<std::string>()] = inventory["collector"];
        }
    }
    return mapCollectors;
}
} // namespace

TEST(ExplainCollectorOutput, ProgressOnStandardOutputStaysOutOfTheJsonAndIsShownPerCollector)
{
    // Three releases, each collector run once, one after the other.
    TalkingPackage package("echo \"Collecting inventory of $release...\"; echo \"$release: no cache\" >&2",
                           "met-unmet-failed", {"RA", "RB", "RC"});
    const CommandResult quiet = [] {
        TempDir dir;
        WriteScenario(FindScenario("met-unmet-failed"), dir.Path());
        return Inspect({"explain", "hard", "--json"}, dir.Path());
    }();
    const CommandResult explain = Inspect({"explain", "hard", "--json"}, package.Path());
    ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
    EXPECT_EQ(explain.strStderr, "");
    EXPECT_EQ(JsonSchemaErrors("explain", explain.strStdout), "");
    const Json document = Json::parse(explain.strStdout);
    // The verdict is the one of the same package whose collectors are quiet.
    EXPECT_EQ(document["verdict"], Json::parse(quiet.strStdout)["verdict"]);
    EXPECT_EQ(document["verdict"], "blocked");

    const std::map<std::string, Json> mapCollectors = CollectorsByRelease(document);
    ASSERT_EQ(mapCollectors.size(), 3u) << explain.strStdout;
    for (const auto& entry : mapCollectors)
    {
        const Json& output = entry.second["output"];
        ASSERT_TRUE(output.is_object()) << entry.first;
        EXPECT_EQ(output["stdout"]["text"], "Collecting inventory of " + entry.first + "...\n");
        EXPECT_EQ(output["stdout"]["bytes"], 28 + entry.first.size());
        EXPECT_EQ(output["stdout"]["truncated"], false);
        EXPECT_EQ(output["stdout"]["kept"], true);
        EXPECT_EQ(output["stderr"]["text"], entry.first + ": no cache\n");
        EXPECT_EQ(output["keptBytes"], 4096);
    }
}

TEST(ExplainCollectorOutput, AMebibyteOfOutputKeepsTheFirst4KiBAndSaysItWasCut)
{
    TalkingPackage package("head -c 1048576 /dev/zero | tr '\\000' x; head -c 5000 /dev/zero | tr '\\000' y >&2");
    const CommandResult explain = Inspect({"explain", "hard", "--json"}, package.Path());
    ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr.substr(0, 200);
    EXPECT_EQ(explain.strStderr, "");
    const Json document = Json::parse(explain.strStdout);
    EXPECT_EQ(document["verdict"], "blocked");
    const std::map<std::string, Json> mapCollectors = CollectorsByRelease(document);
    ASSERT_FALSE(mapCollectors.empty());
    for (const auto& entry : mapCollectors)
    {
        const Json& output = entry.second["output"];
        EXPECT_EQ(output["stdout"]["text"], std::string(4096, 'x'));
        EXPECT_EQ(output["stdout"]["bytes"], 1048576);
        EXPECT_EQ(output["stdout"]["truncated"], true);
        EXPECT_EQ(output["stderr"]["text"], std::string(4096, 'y'));
        EXPECT_EQ(output["stderr"]["bytes"], 5000);
        EXPECT_EQ(output["stderr"]["truncated"], true);
    }
    // The document stays small: the rest was never kept.
    EXPECT_LT(explain.strStdout.size(), 200000u);
}

TEST(ExplainCollectorOutput, BytesThatAreNotUtf8AreReplacedAndTheDocumentStaysValid)
{
    TalkingPackage package("printf 'caf\\351 \\377\\n'");
    const CommandResult explain = Inspect({"explain", "hard", "--json"}, package.Path());
    ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
    EXPECT_EQ(JsonSchemaErrors("explain", explain.strStdout), "");
    const std::map<std::string, Json> mapCollectors = CollectorsByRelease(Json::parse(explain.strStdout));
    ASSERT_FALSE(mapCollectors.empty());
    EXPECT_EQ(mapCollectors.begin()->second["output"]["stdout"]["text"], "caf\xEF\xBF\xBD \xEF\xBF\xBD\n");
    EXPECT_EQ(mapCollectors.begin()->second["output"]["stdout"]["bytes"], 7);
}

TEST(ExplainCollectorOutput, TextForPeopleLetsTheCollectorsWriteWhereTheCheckersWrite)
{
    TalkingPackage package("echo \"Collecting inventory of $release...\"");
    const CommandResult explain = Inspect({"explain", "hard"}, package.Path());
    ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
    EXPECT_NE(explain.strStdout.find("Collecting inventory of REL001...\n"), std::string::npos);
    // As vexdepcheck's own collectors do in the same package.
    const CommandResult checker = RunCommand({CheckerExecutable(), "hard"}, package.Path());
    EXPECT_NE(checker.strStdout.find("Collecting inventory of REL001...\n"), std::string::npos);
}

TEST(ExplainCollectorOutput, LintNeverRunsACollectorSoItsJsonAndSarifStayClean)
{
    TalkingPackage package("echo \"Collecting inventory of $release...\"; touch \"$release.ran\"");
    for (const char* pszFormat : {"json", "sarif"})
    {
        const CommandResult lint = Inspect({"lint", "--format", pszFormat}, package.Path());
        EXPECT_LE(lint.nExitStatus, 2) << lint.strStderr;
        EXPECT_NO_THROW(Json::parse(lint.strStdout)) << pszFormat;
        EXPECT_EQ(lint.strStdout.find("Collecting inventory"), std::string::npos);
    }
    EXPECT_FALSE(FileExists(package.Path() + "/REL001/REL001.ran"));
    EXPECT_FALSE(FileExists(package.Path() + "/REL002/REL002.ran"));
}
