// vexinspect explain's verdict, end to end with the real executables: it
// never says "ready" when nothing could be checked, also where vexdepcheck
// prints nothing and exits 255 (a package directory this user cannot enter
// or write to, output documents left by an earlier run).

#include "CheckerRun.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;
using Json = nlohmann::json;

namespace
{
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;
const char* const kUnprivileged = "65534"; // nobody

Json Explain(const std::vector<std::string>& vArgs, const std::string& strDir, int& nExitStatus)
{
    std::vector<std::string> vCommand = {kInspect, "explain"};
    vCommand.insert(vCommand.end(), vArgs.begin(), vArgs.end());
    vCommand.push_back("--json");
    const CommandResult result = RunCommand(vCommand, strDir);
    nExitStatus = result.nExitStatus;
    EXPECT_EQ(JsonSchemaErrors("explain", result.strStdout), "");
    return Json::parse(result.strStdout);
}

std::vector<std::string> Kinds(const Json& explain)
{
    std::vector<std::string> vKinds;
    for (const Json& reason : explain["reasons"])
    {
        vKinds.push_back(reason["kind"]);
    }
    return vKinds;
}

// Runs vCommand as the unprivileged user, in strDir.
CommandResult RunAsNobody(const std::vector<std::string>& vCommand, const std::string& strDir)
{
    std::vector<std::string> vArgs = {"/usr/bin/setpriv", std::string("--reuid=") + kUnprivileged,
                                      std::string("--regid=") + kUnprivileged, "--clear-groups"};
    vArgs.insert(vArgs.end(), vCommand.begin(), vCommand.end());
    return RunCommand(vArgs, strDir);
}

// Whether the tests can switch to the unprivileged user and still reach the
// executables.
bool CanRunAsNobody()
{
    static const bool bUsable = [] {
        if (geteuid() != 0 || !FileExists("/usr/bin/setpriv"))
        {
            return false;
        }
        const CommandResult result = RunAsNobody({kInspect, "--version"}, "/");
        return result.nExitStatus == 0;
    }();
    return bUsable;
}

#define SKIP_UNLESS_NOBODY()                                                                                          \
    if (!CanRunAsNobody())                                                                                             \
    GTEST_SKIP() << "cannot run as an unprivileged user here (needs root, setpriv and executables it can reach)"

// A scenario's package in a fresh directory that every user may enter and
// read but only root may write (as a package unpacked by root is).
class RootOwnedPackage
{
public:
    explicit RootOwnedPackage(const std::string& strScenario)
    {
        WriteScenario(FindScenario(strScenario), m_dir.Path());
        ::chmod(m_dir.Path().c_str(), 0755);
    }
    const std::string& Path() const { return m_dir.Path(); }
    std::string File(const std::string& strName) const { return m_dir.File(strName); }

private:
    TempDir m_dir;
};
} // namespace

TEST(ExplainVerdict, ExitVerdictGivesEachVerdictItsStatus)
{
    TempDir dir;
    WriteScenario(FindScenario("sample-package"), dir.Path());
    int nStatus = -1;
    EXPECT_EQ(Explain({"hard", "--exit-verdict"}, dir.Path(), nStatus)["verdict"], "blocked");
    EXPECT_EQ(nStatus, 1);
    EXPECT_EQ(Explain({"soft", "--exit-verdict"}, dir.Path(), nStatus)["verdict"], "recommended");
    EXPECT_EQ(nStatus, 2);
    // Without the option a finished explanation exits 0.
    EXPECT_EQ(Explain({"hard"}, dir.Path(), nStatus)["verdict"], "blocked");
    EXPECT_EQ(nStatus, 0);

    TempDir empty;
    const Json nothing = Explain({"hard", "--exit-verdict"}, empty.Path(), nStatus);
    EXPECT_EQ(nothing["verdict"], "unverifiable");
    EXPECT_EQ(Kinds(nothing), std::vector<std::string>({"no-package-description"}));
    EXPECT_EQ(nothing["exitStatus"], 255);
    EXPECT_EQ(nStatus, 3);
}

TEST(ExplainVerdict, MetPackageIsReady)
{
    TempDir dir;
    WriteScenario(FindScenario("sample-package"), dir.Path());
    // Every installed version raised to what the package asks for.
    for (const char* pszRelease : {"REL001", "REL002"})
    {
        const std::string strCollector = dir.File(std::string(pszRelease) + "/collect.sh");
        std::string strText = ReadFile(strCollector);
        for (const auto& change : std::vector<std::pair<std::string, std::string>>{
                 {"3.10.0", "3.20.0"}, {"22.0.9", "22.1.4"}, {"7.3.0", "7.4.2"}, {"10.5.2", "11.0.0"}})
        {
            for (std::string::size_type nAt = strText.find(change.first); nAt != std::string::npos;
                 nAt = strText.find(change.first, nAt + change.second.size()))
            {
                strText.replace(nAt, change.first.size(), change.second);
            }
        }
        WriteFile(strCollector, strText, true);
    }
    int nStatus = -1;
    const Json hard = Explain({"hard", "--exit-verdict"}, dir.Path(), nStatus);
    EXPECT_EQ(hard["verdict"], "ready") << hard["reasons"].dump();
    EXPECT_EQ(Kinds(hard), std::vector<std::string>({"all-met"}));
    EXPECT_EQ(hard["exitStatus"], 255);
    EXPECT_EQ(nStatus, 0);
}

TEST(ExplainVerdict, StaleOutputDocumentIsUnverifiable)
{
    // The collector writes nothing this time; a document of an earlier run
    // is still there and is read.
    TempDir dir;
    WriteScenario(FindScenario("collector-slower-than-its-limit"), dir.Path());
    WriteFile(dir.File("RT/collect.sh"), "#!/bin/sh\nexit 0\n", true);
    WriteFile(dir.File("RT/inventory.xml"),
              "<SVMInventory><Device componentID=\"981\"><Application componentType=\"FRMW\" version=\"2.5\"/>"
              "</Device></SVMInventory>");
    const struct timespec aHourAgo[2] = {{time(nullptr) - 3600, 0}, {time(nullptr) - 3600, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, dir.File("RT/inventory.xml").c_str(), aHourAgo, 0), 0);

    // vexdepcheck has nothing to report: the old document says it is met.
    EXPECT_EQ(RunCommand({CheckerExecutable(), "hard"}, dir.Path()).nExitStatus, 255);
    int nStatus = -1;
    const Json explain = Explain({"hard"}, dir.Path(), nStatus);
    EXPECT_EQ(explain["verdict"], "unverifiable");
    EXPECT_EQ(Kinds(explain), std::vector<std::string>({"stale-inventory"}));
    const Json& collector = explain["dependencies"][0]["inventory"]["collector"];
    EXPECT_EQ(collector["outputStale"], true);
    EXPECT_EQ(collector["outputPresent"], true);
    ASSERT_EQ(collector["warnings"].size(), 1u);
    EXPECT_NE(collector["warnings"][0].get<std::string>().find("older than the run"), std::string::npos);

    // Written anew by the collector, the same document is fresh.
    WriteFile(dir.File("RT/collect.sh"),
              "#!/bin/sh\ncat > inventory.xml <<'EOF'\n<SVMInventory><Device componentID=\"981\"><Application "
              "componentType=\"FRMW\" version=\"2.5\"/></Device></SVMInventory>\nEOF\nexit 3\n",
              true);
    const Json fresh = Explain({"hard"}, dir.Path(), nStatus);
    EXPECT_EQ(fresh["verdict"], "ready");
    const Json& freshCollector = fresh["dependencies"][0]["inventory"]["collector"];
    EXPECT_EQ(freshCollector["outputStale"], false);
    EXPECT_EQ(freshCollector["exitStatus"], 3);
    ASSERT_EQ(freshCollector["warnings"].size(), 1u);
    EXPECT_EQ(freshCollector["warnings"][0], "the collector exited with status 3; its document is read all the same");
}

TEST(ExplainVerdict, PackageDirectoryThatCannotBeEnteredIsAnErrorNotTheCurrentDirectory)
{
    SKIP_UNLESS_NOBODY();
    // The current directory holds a package whose collector leaves a mark:
    // it must not be explained instead.
    RootOwnedPackage current("sample-package");
    TempDir decoyLog;
    ::chmod(decoyLog.Path().c_str(), 0777);
    for (const char* pszRelease : {"REL001", "REL002"})
    {
        const std::string strCollector = current.File(std::string(pszRelease) + "/collect.sh");
        WriteFile(strCollector, "#!/bin/sh\ntouch " + decoyLog.File("ran") + "\n" + ReadFile(strCollector), true);
    }
    TempDir parent;
    ::chmod(parent.Path().c_str(), 0755);
    const std::string strLocked = parent.File("locked");
    MakeDirectory(strLocked);
    WriteScenario(FindScenario("sample-package"), strLocked);
    ::chmod(strLocked.c_str(), 0);

    const CommandResult result = RunAsNobody({kInspect, "explain", "hard", "--package-dir", strLocked}, current.Path());
    ::chmod(strLocked.c_str(), 0755);
    EXPECT_EQ(result.nExitStatus, 66);
    EXPECT_EQ(result.strStdout, "");
    EXPECT_EQ(result.strStderr,
              "vexinspect explain: cannot enter the package directory " + strLocked + ": Permission denied\n");
    EXPECT_FALSE(FileExists(decoyLog.File("ran")));
}

TEST(ExplainVerdict, RootOwnedPackageCheckedAsAnotherUserIsUnverifiable)
{
    SKIP_UNLESS_NOBODY();
    RootOwnedPackage package("sample-package");
    // The collectors cannot write their documents: vexdepcheck has nothing
    // to report although two hard dependencies are unmet.
    const CommandResult checker = RunAsNobody({CheckerExecutable(), "hard"}, package.Path());
    EXPECT_EQ(checker.nExitStatus, 255);
    EXPECT_EQ(checker.strStdout, "");

    const CommandResult result = RunAsNobody({kInspect, "explain", "hard", "--json", "--exit-verdict"}, package.Path());
    EXPECT_EQ(result.nExitStatus, 3) << result.strStderr;
    EXPECT_EQ(JsonSchemaErrors("explain", result.strStdout), "");
    const Json explain = Json::parse(result.strStdout);
    EXPECT_EQ(explain["verdict"], "unverifiable");
    EXPECT_EQ(explain["exitStatus"], 255);
    std::size_t nNoDocument = 0;
    for (const Json& reason : explain["reasons"])
    {
        EXPECT_EQ(reason["kind"], "no-inventory") << reason.dump();
        nNoDocument += reason["text"].get<std::string>().find("wrote no output document (the release directory is "
                                                              "not writable by this user)") != std::string::npos;
    }
    EXPECT_GE(nNoDocument, 2u) << explain["reasons"].dump();
    const Json& collector = explain["dependencies"][0]["inventory"]["collector"];
    EXPECT_EQ(collector["releaseWritable"], false);
    EXPECT_EQ(collector["outputPresent"], false);

    // With the documents of an earlier run by root in place, they are read
    // instead: still unverifiable, now for that reason.
    EXPECT_EQ(RunCommand({CheckerExecutable(), "hard"}, package.Path()).nExitStatus, 1);
    for (const char* pszRelease : {"REL001", "REL002"})
    {
        const struct timespec aHourAgo[2] = {{time(nullptr) - 3600, 0}, {time(nullptr) - 3600, 0}};
        utimensat(AT_FDCWD, package.File(std::string(pszRelease) + "/inventory.xml").c_str(), aHourAgo, 0);
    }
    const CommandResult stale = RunAsNobody({kInspect, "explain", "hard", "--json"}, package.Path());
    EXPECT_EQ(JsonSchemaErrors("explain", stale.strStdout), "");
    const Json staleJson = Json::parse(stale.strStdout);
    EXPECT_EQ(staleJson["verdict"], "unverifiable");
    for (const Json& reason : staleJson["reasons"])
    {
        EXPECT_EQ(reason["kind"], "stale-inventory") << reason.dump();
    }
    EXPECT_FALSE(staleJson["reasons"].empty());
}
