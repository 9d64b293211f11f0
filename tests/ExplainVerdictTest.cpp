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
#include <map>
#include <string>
#include <utility>
#include <vector>

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

// vCommand, run as the unprivileged user.
std::vector<std::string> AsNobody(std::vector<std::string> vCommand)
{
    const std::vector<std::string> vSwitch = {"/usr/bin/setpriv", std::string("--reuid=") + kUnprivileged,
                                              std::string("--regid=") + kUnprivileged, "--clear-groups"};
    vCommand.insert(vCommand.begin(), vSwitch.begin(), vSwitch.end());
    return vCommand;
}

// Runs vCommand as the unprivileged user, in strDir.
CommandResult RunAsNobody(const std::vector<std::string>& vCommand, const std::string& strDir)
{
    return RunCommand(AsNobody(vCommand), strDir);
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

#define SKIP_UNLESS_NOBODY()                                                                                           \
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

// Removes the one platform list (DepBrand) of the sample package's
// package.xml, so that no dependency depends on the machine's SMBIOS tables.
void RemoveSamplePlatformList(const std::string& strPath)
{
    std::string strPackage = ReadFile(strPath);
    const std::string::size_type nBrand = strPackage.find("<DepBrand>");
    const std::string::size_type nBrandEnd = strPackage.find("</DepBrand>");
    ASSERT_TRUE(nBrand != std::string::npos && nBrandEnd != std::string::npos);
    strPackage.erase(nBrand, nBrandEnd + std::string("</DepBrand>").size() - nBrand);
    ASSERT_EQ(strPackage.find("systemID"), std::string::npos);
    WriteFile(strPath, strPackage);
}

// Changes what the sample package's collectors (REL001, REL002) write: each
// text of vChanges replaced wherever it occurs.
void ChangeSampleCollectors(const TempDir& dir, const std::vector<std::pair<std::string, std::string>>& vChanges)
{
    for (const char* pszRelease : {"REL001", "REL002"})
    {
        const std::string strCollector = dir.File(std::string(pszRelease) + "/collect.sh");
        std::string strText = ReadFile(strCollector);
        for (const auto& change : vChanges)
        {
            for (std::string::size_type nAt = strText.find(change.first); nAt != std::string::npos;
                 nAt = strText.find(change.first, nAt + change.second.size()))
            {
                strText.replace(nAt, change.first.size(), change.second);
            }
        }
        WriteFile(strCollector, strText, true);
    }
}
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
    EXPECT_NE(collector["warnings"][0].get<std::string>().find("was not changed after the collector started"),
              std::string::npos);

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

namespace
{
// The texts of the reasons of the given kind.
std::vector<std::string> ReasonTexts(const Json& explain, const std::string& strKind)
{
    std::vector<std::string> vTexts;
    for (const Json& reason : explain["reasons"])
    {
        if (reason["kind"] == strKind)
        {
            vTexts.push_back(reason["text"]);
        }
    }
    return vTexts;
}

bool AnyHolds(const std::vector<std::string>& vTexts, const std::string& strPart)
{
    for (const std::string& strText : vTexts)
    {
        if (strText.find(strPart) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

const char* const kInventory981 = "<SVMInventory><Device componentID=\"981\"><Application componentType=\"FRMW\" "
                                  "version=\"2.5\"/></Device></SVMInventory>\n";
} // namespace

TEST(ExplainVerdict, ADocumentTheCollectorCopiesWithItsOldTimesIsFresh)
{
    // "cp -p" keeps the copy's modification time an hour old; the status
    // change time says the collector wrote it now.
    TempDir dir;
    WriteScenario(FindScenario("collector-slower-than-its-limit"), dir.Path());
    WriteFile(dir.File("RT/saved.xml"), kInventory981);
    WriteFile(dir.File("RT/inventory.xml"), kInventory981);
    const struct timespec aHourAgo[2] = {{time(nullptr) - 3600, 0}, {time(nullptr) - 3600, 0}};
    for (const char* pszFile : {"RT/saved.xml", "RT/inventory.xml"})
    {
        ASSERT_EQ(utimensat(AT_FDCWD, dir.File(pszFile).c_str(), aHourAgo, 0), 0);
    }
    WriteFile(dir.File("RT/collect.sh"), "#!/bin/sh\ncp -p saved.xml inventory.xml\n", true);
    int nStatus = -1;
    const Json explain = Explain({"hard"}, dir.Path(), nStatus);
    EXPECT_EQ(explain["verdict"], "ready") << explain["reasons"].dump();
    EXPECT_EQ(Kinds(explain), std::vector<std::string>({"all-met"}));
    const Json& collector = explain["dependencies"][0]["inventory"]["collector"];
    EXPECT_EQ(collector["outputStale"], false);
    EXPECT_EQ(collector["warnings"].size(), 0u) << collector.dump();
}

TEST(ExplainVerdict, AnOutputDocumentThatDoesNotParseIsNamedWithTheParsersPlace)
{
    TempDir dir;
    WriteScenario(FindScenario("collector-slower-than-its-limit"), dir.Path());
    WriteFile(dir.File("RT/collect.sh"),
              "#!/bin/sh\nprintf '<SVMInventory>\\n<Device componentID=\"981\">\\n' > inventory.xml\n", true);
    int nStatus = -1;
    const Json explain = Explain({"hard", "--exit-verdict"}, dir.Path(), nStatus);
    EXPECT_EQ(explain["verdict"], "unverifiable");
    EXPECT_EQ(nStatus, 3);
    const std::vector<std::string> vTexts = ReasonTexts(explain, "no-inventory");
    ASSERT_EQ(vTexts.size(), 1u) << explain["reasons"].dump();
    EXPECT_NE(vTexts[0].find("inventory.xml does not parse: line 3, column 1: Premature end of data in tag Device "
                             "line 2"),
              std::string::npos)
        << vTexts[0];
    EXPECT_EQ(vTexts[0].find("missing or lists no device"), std::string::npos);
}

TEST(ExplainVerdict, WithoutInvXmlTheDevicesAndOSAreUnverifiableNotReady)
{
    TempDir dir;
    WriteScenario(FindScenario("sample-package"), dir.Path());
    ASSERT_EQ(unlink(dir.File("inv.xml").c_str()), 0);
    // vexdepcheck has nothing to report: no device of the package is present.
    EXPECT_EQ(RunCommand({CheckerExecutable(), "hard"}, dir.Path()).nExitStatus, 255);
    int nStatus = -1;
    const Json missing = Explain({"hard", "--exit-verdict"}, dir.Path(), nStatus);
    EXPECT_EQ(missing["verdict"], "unverifiable") << missing["reasons"].dump();
    EXPECT_EQ(nStatus, 3);
    const std::vector<std::string> vMissing = ReasonTexts(missing, "inventory-text-unreadable");
    ASSERT_FALSE(vMissing.empty()) << missing["reasons"].dump();
    EXPECT_TRUE(AnyHolds(vMissing, "(inv.xml: No such file or directory): it was never considered")) << vMissing[0];

    WriteFile(dir.File("inv.xml"), "<SVMInventory>\n<Device componentID=\"104500\">\n");
    const Json unparsable = Explain({"hard"}, dir.Path(), nStatus);
    EXPECT_EQ(unparsable["verdict"], "unverifiable");
    EXPECT_TRUE(AnyHolds(ReasonTexts(unparsable, "inventory-text-unreadable"),
                         "inv.xml does not parse: line 3, column 1: Premature end of data in tag Device line 2"))
        << unparsable["reasons"].dump();
}

TEST(ExplainVerdict, AReleaseDirectoryOrConfigurationThatCannotBeReadIsPermissionDeniedNotMissing)
{
    SKIP_UNLESS_NOBODY();
    RootOwnedPackage package("sample-package");
    ::chmod(package.File("REL001").c_str(), 0700);
    int nStatus = -1;
    CommandResult result = RunAsNobody({kInspect, "explain", "hard", "--json"}, package.Path());
    Json explain = Json::parse(result.strStdout);
    EXPECT_EQ(explain["verdict"], "unverifiable");
    EXPECT_TRUE(AnyHolds(ReasonTexts(explain, "collector-not-run"),
                         "never ran: the release directory cannot be entered: Permission denied"))
        << explain["reasons"].dump();

    ::chmod(package.File("REL001").c_str(), 0755);
    ::chmod(package.File("REL001/PIEConfig.xml").c_str(), 0600);
    result = RunAsNobody({kInspect, "explain", "hard", "--json"}, package.Path());
    explain = Json::parse(result.strStdout);
    EXPECT_TRUE(AnyHolds(ReasonTexts(explain, "collector-not-run"),
                         "never ran: PIEConfig.xml cannot be read: Permission denied"))
        << result.strStdout;
    (void)nStatus;
}

TEST(ExplainVerdict, APackagePathWithABlankNamesWhyTheCollectorWasNotFound)
{
    TempDir dir;
    const std::string strPackage = dir.File("update package");
    MakeDirectory(strPackage);
    WriteScenario(FindScenario("collector-slower-than-its-limit"), strPackage);
    // vexdepcheck reports nothing: its collector's command line is split.
    EXPECT_EQ(RunCommand({CheckerExecutable(), "hard"}, strPackage).nExitStatus, 255);
    int nStatus = -1;
    const Json explain = Explain({"hard"}, strPackage, nStatus);
    EXPECT_EQ(explain["verdict"], "unverifiable");
    EXPECT_TRUE(AnyHolds(ReasonTexts(explain, "no-inventory"),
                         "the shell found no command to run (status 127, \"not found\"): the package directory's "
                         "path " +
                             strPackage + "/ holds 'blank'"))
        << explain["reasons"].dump();
}

TEST(ExplainVerdict, AsAUserWhoMayNotReadTheSmbiosTablesThePlatformsAreUnverifiable)
{
    SKIP_UNLESS_NOBODY();
    if (!CanUseMountNamespace())
    {
        GTEST_SKIP() << "private mount namespaces (unshare) are refused here";
    }
    const Scenario& scenario = FindScenario("platform-single-byte");
    RootOwnedPackage package("platform-single-byte");
    ::chmod(package.File("R1").c_str(), 0777);
    const Firmware firmware = scenario.firmware.RootOnly();

    // Root reads the tables: two dependencies apply, one is for other platforms.
    const CommandResult root = RunInPackage({kInspect, "explain", "hard", "--json"}, package.Path(), firmware);
    const Json rootExplain = Json::parse(root.strStdout);
    EXPECT_EQ(rootExplain["verdict"], "blocked");
    EXPECT_EQ(ReasonTexts(rootExplain, "unmet").size(), 2u) << rootExplain["reasons"].dump();
    EXPECT_TRUE(ReasonTexts(rootExplain, "platform-unverifiable").empty());

    // Another user: the platform checks are passed over, and said so. (The
    // document of root's run goes first: this user could not overwrite it.)
    ASSERT_EQ(unlink(package.File("R1/inventory.xml").c_str()), 0);
    const CommandResult user =
        RunInPackage(AsNobody({kInspect, "explain", "hard", "--json"}), package.Path(), firmware);
    EXPECT_EQ(JsonSchemaErrors("explain", user.strStdout), "");
    const Json userExplain = Json::parse(user.strStdout);
    const std::vector<std::string> vPlatform = ReasonTexts(userExplain, "platform-unverifiable");
    ASSERT_EQ(vPlatform.size(), 2u) << userExplain["reasons"].dump();
    EXPECT_TRUE(AnyHolds(vPlatform, "could not be checked as this user, who may not read the SMBIOS tables "
                                    "(/sys/firmware/dmi/tables/smbios_entry_point: Permission denied; /dev/mem: "
                                    "Permission denied; /dev/char/mem/smbios: No such file or directory)"))
        << vPlatform[0];
    EXPECT_TRUE(AnyHolds(vPlatform, "the verdict holds only for a run as root"));
    // Only the dependency for every platform is unmet for sure.
    EXPECT_EQ(ReasonTexts(userExplain, "unmet").size(), 1u) << userExplain["reasons"].dump();

    // vexinspect smbios names every source it tried, as a system tool does.
    const CommandResult smbios = RunInPackage(AsNobody({kInspect, "smbios"}), "/", firmware);
    EXPECT_EQ(smbios.nExitStatus, 1);
    EXPECT_NE(smbios.strStdout.find("/sys/firmware/dmi/tables/smbios_entry_point: Permission denied\n"),
              std::string::npos)
        << smbios.strStdout;
    EXPECT_NE(smbios.strStdout.find("/dev/mem: Permission denied\n"), std::string::npos) << smbios.strStdout;
    EXPECT_NE(smbios.strStdout.find("run as root"), std::string::npos) << smbios.strStdout;
}

TEST(ExplainVerdict, AsAUserWhoMayNotReadTheSmbiosTablesAPackageWithoutPlatformListsKeepsItsVerdictWithAWarning)
{
    SKIP_UNLESS_NOBODY();
    if (!CanUseMountNamespace())
    {
        GTEST_SKIP() << "private mount namespaces (unshare) are refused here";
    }
    // The sample package without its one platform list; the tables are
    // root's alone.
    RootOwnedPackage package("sample-package");
    RemoveSamplePlatformList(package.File("package.xml"));
    for (const char* pszRelease : {"REL001", "REL002"})
    {
        ::chmod(package.File(pszRelease).c_str(), 0777);
    }
    const Firmware firmware = FindScenario("platform-single-byte").firmware.RootOnly();
    const auto RemoveDocuments = [&package] {
        for (const char* pszDocument : {"REL001/inventory.xml", "REL002/inventory.xml"})
        {
            ::unlink(package.File(pszDocument).c_str());
        }
    };

    const CommandResult root = RunInPackage({kInspect, "explain", "hard", "--json"}, package.Path(), firmware);
    const Json rootExplain = Json::parse(root.strStdout);
    EXPECT_EQ(rootExplain["verdict"], "blocked");
    EXPECT_EQ(rootExplain["warnings"], Json::array());

    RemoveDocuments();
    const CommandResult user =
        RunInPackage(AsNobody({kInspect, "explain", "hard", "--json"}), package.Path(), firmware);
    EXPECT_EQ(JsonSchemaErrors("explain", user.strStdout), "");
    const Json userExplain = Json::parse(user.strStdout);
    EXPECT_EQ(userExplain["smbios"]["tableRead"], false);
    // The same verdict, for the same reasons, as root's run.
    EXPECT_EQ(userExplain["verdict"], rootExplain["verdict"]);
    EXPECT_EQ(userExplain["reasons"], rootExplain["reasons"]);
    const std::string strWarning =
        "the platform was not read as this user, who may not read the SMBIOS tables "
        "(/sys/firmware/dmi/tables/smbios_entry_point: Permission denied; /dev/mem: Permission denied; "
        "/dev/char/mem/smbios: No such file or directory); no applicable hard dependency lists platforms, so the "
        "verdict does not depend on it";
    ASSERT_EQ(userExplain["warnings"].size(), 1u) << userExplain["warnings"].dump();
    EXPECT_EQ(userExplain["warnings"][0]["kind"], "platform-unread");
    EXPECT_EQ(userExplain["warnings"][0]["dependency"], nullptr);
    EXPECT_EQ(userExplain["warnings"][0]["text"], strWarning);

    // The text form says it beneath the verdict.
    RemoveDocuments();
    const CommandResult text = RunInPackage(AsNobody({kInspect, "explain", "hard"}), package.Path(), firmware);
    EXPECT_NE(text.strStdout.find("\nVerdict            : blocked\n"), std::string::npos) << text.strStdout;
    EXPECT_NE(text.strStdout.find("\nWarning            : " + strWarning + "\n"), std::string::npos) << text.strStdout;
}

TEST(ExplainVerdict, AComponentNotInstalledOrADependencyWithoutVersionIsNeverCalledCheckedAndMet)
{
    TempDir dir;
    WriteScenario(FindScenario("sample-package"), dir.Path());
    // Every installed version raised to what the package asks for, and the
    // enclosure processor (a hard dependency of every context) not installed.
    ChangeSampleCollectors(dir, {{"3.10.0", "3.20.0"},
                                 {"22.0.9", "22.1.4"},
                                 {"7.3.0", "7.4.2"},
                                 {"10.5.2", "11.0.0"},
                                 {"componentID=\"104600\"", "componentID=\"999999\""}});
    // vexdepcheck reports nothing: a component that is not installed is not
    // older than the required version.
    EXPECT_EQ(RunCommand({CheckerExecutable(), "hard"}, dir.Path()).nExitStatus, 255);
    int nStatus = -1;
    const Json notInstalled = Explain({"hard", "--exit-verdict"}, dir.Path(), nStatus);
    EXPECT_EQ(notInstalled["verdict"], "ready") << notInstalled["reasons"].dump();
    EXPECT_EQ(nStatus, 0);
    const std::vector<std::string> vNotInstalled = ReasonTexts(notInstalled, "all-met");
    ASSERT_EQ(vNotInstalled.size(), 1u) << notInstalled["reasons"].dump();
    // The sample machine lacks one other component the package names: two
    // are not installed now.
    EXPECT_TRUE(AnyHolds(vNotInstalled, "2 checked and met, 2 not installed (the checker reports only an installed "
                                        "component that is older)"))
        << vNotInstalled[0];
    EXPECT_FALSE(AnyHolds(vNotInstalled, "with no required version")) << vNotInstalled[0];

    // Installed again, but the dependency asks for no version.
    const std::string strCollector = dir.File("REL001/collect.sh");
    std::string strText = ReadFile(strCollector);
    strText.replace(strText.find("componentID=\"999999\""), 20, "componentID=\"104600\"");
    WriteFile(strCollector, strText, true);
    std::string strPackage = ReadFile(dir.File("package.xml"));
    const std::string strVersioned = "componentID=\"104600\" componentType=\"FRMW\" version=\"2.3\"";
    ASSERT_NE(strPackage.find(strVersioned), std::string::npos);
    strPackage.replace(strPackage.find(strVersioned), strVersioned.size(),
                       "componentID=\"104600\" componentType=\"FRMW\"");
    WriteFile(dir.File("package.xml"), strPackage);
    EXPECT_EQ(RunCommand({CheckerExecutable(), "hard"}, dir.Path()).nExitStatus, 255);
    const Json withoutVersion = Explain({"hard"}, dir.Path(), nStatus);
    EXPECT_EQ(withoutVersion["verdict"], "ready") << withoutVersion["reasons"].dump();
    const std::vector<std::string> vWithoutVersion = ReasonTexts(withoutVersion, "all-met");
    ASSERT_EQ(vWithoutVersion.size(), 1u) << withoutVersion["reasons"].dump();
    EXPECT_TRUE(AnyHolds(vWithoutVersion, "2 checked and met, 1 not installed (the checker reports only an installed "
                                          "component that is older), 1 with no required version (nothing to compare: "
                                          "never reported unmet)"))
        << vWithoutVersion[0];
}

TEST(ExplainVerdict, LintAndExplainRefuseADirectoryTheyCannotEnterInTheSameWords)
{
    SKIP_UNLESS_NOBODY();
    TempDir parent;
    ::chmod(parent.Path().c_str(), 0755);
    const std::string strLocked = parent.File("locked");
    MakeDirectory(strLocked);
    WriteScenario(FindScenario("sample-package"), strLocked);
    ::chmod(strLocked.c_str(), 0);
    const CommandResult explain = RunAsNobody({kInspect, "explain", "hard", "--package-dir", strLocked}, "/");
    const CommandResult lint = RunAsNobody({kInspect, "lint", "--package-dir", strLocked}, "/");
    ::chmod(strLocked.c_str(), 0755);
    EXPECT_EQ(explain.nExitStatus, 66);
    EXPECT_EQ(lint.nExitStatus, explain.nExitStatus);
    const std::string strReason = "cannot enter the package directory " + strLocked + ": Permission denied\n";
    EXPECT_EQ(explain.strStderr, "vexinspect explain: " + strReason);
    EXPECT_EQ(lint.strStderr, "vexinspect lint: " + strReason);
}

TEST(ExplainVerdict, LintSaysAConfigurationItCannotReadIsPermissionDenied)
{
    SKIP_UNLESS_NOBODY();
    RootOwnedPackage package("sample-package");
    ::chmod(package.File("REL001/PIEConfig.xml").c_str(), 0600);
    const CommandResult result = RunAsNobody({kInspect, "lint", "--json"}, package.Path());
    const Json lint = Json::parse(result.strStdout);
    bool bFound = false;
    for (const Json& finding : lint["findings"])
    {
        const std::string strMessage = finding["message"];
        bFound = bFound || (finding["file"] == "REL001/PIEConfig.xml" &&
                            strMessage.find("Permission denied") != std::string::npos);
        EXPECT_EQ(strMessage.find("does not exist"), std::string::npos) << strMessage;
    }
    EXPECT_TRUE(bFound) << result.strStdout;
}

TEST(ExplainVerdict, AnEmptyPackageDescriptionIsDocumentIsEmptyAtLineOneForLintAndExplain)
{
    TempDir dir;
    WriteScenario(FindScenario("sample-package"), dir.Path());
    WriteFile(dir.File("package.xml"), "");
    const CommandResult lint = RunCommand({kInspect, "lint"}, dir.Path());
    EXPECT_EQ(lint.nExitStatus, 2);
    EXPECT_NE(lint.strStdout.find("package.xml:1:1: error: package.xml is not well-formed XML: Document is empty"),
              std::string::npos)
        << lint.strStdout;
    int nStatus = -1;
    const Json explain = Explain({"hard"}, dir.Path(), nStatus);
    EXPECT_EQ(Kinds(explain), std::vector<std::string>({"package-description-unparsable"}));
    EXPECT_EQ(explain["reasons"][0]["text"],
              "package.xml does not parse (line 1, column 1: Document is empty): nothing is declared");
}

TEST(ExplainVerdict, AComparisonOfAVersionWhoseNumbersAreNotAsWrittenCarriesTheCaveat)
{
    TempDir dir;
    WriteScenario(FindScenario("sample-package"), dir.Path());
    // The backplane firmware (3.20.0 required) installed at a version with a
    // part beyond 32 bits, the network adapter's (22.1.4 required) with a
    // comma.
    ChangeSampleCollectors(dir, {{"3.10.0", "3.20.2147483648"}, {"22.0.9", "22,5"}});
    // Whatever the machine's tables say, the backplane dependency applies.
    RemoveSamplePlatformList(dir.File("package.xml"));
    const std::string strOverflow = "\"3.20.2147483648\" is compared as the numbers 3.20.-2147483648 (the part "
                                    "\"2147483648\" does not fit the checker's 32-bit numbers and reads as "
                                    "-2147483648)";
    const std::string strComma =
        "\"22,5\" is compared as the numbers 22 (the part \"22,5\" ends at \",\" and reads as 22)";

    int nStatus = -1;
    const Json explain = Explain({"hard"}, dir.Path(), nStatus);
    EXPECT_EQ(nStatus, 0);
    // Both read older than required, as vexdepcheck reports them.
    EXPECT_EQ(explain["verdict"], "blocked");
    EXPECT_EQ(ReasonTexts(explain, "unmet").size(), 2u) << explain["reasons"].dump();
    EXPECT_EQ(explain["exitStatus"], 1);
    std::map<std::string, Json> mapComparisons;
    for (const Json& dependency : explain["dependencies"])
    {
        for (const Json& comparison : dependency["versionComparisons"])
        {
            mapComparisons[comparison["installed"]] = comparison;
        }
    }
    ASSERT_EQ(mapComparisons.count("3.20.2147483648"), 1u) << explain["dependencies"].dump();
    ASSERT_EQ(mapComparisons.count("22,5"), 1u) << explain["dependencies"].dump();
    EXPECT_EQ(mapComparisons["3.20.2147483648"]["comparedAs"], "numbers");
    EXPECT_EQ(mapComparisons["3.20.2147483648"]["caveat"], strOverflow);
    EXPECT_EQ(mapComparisons["22,5"]["caveat"], strComma);
    // A comparison of plain versions carries none.
    ASSERT_EQ(mapComparisons.count("2.4.1"), 1u);
    EXPECT_EQ(mapComparisons["2.4.1"]["caveat"], nullptr);

    const CommandResult text = RunCommand({kInspect, "explain", "hard"}, dir.Path());
    EXPECT_EQ(text.nExitStatus, 0);
    EXPECT_NE(text.strStdout.find("installed \"3.20.2147483648\" ("), std::string::npos) << text.strStdout;
    EXPECT_NE(text.strStdout.find(" (caveat: " + strOverflow + ")\n"), std::string::npos) << text.strStdout;
    EXPECT_NE(text.strStdout.find(" (caveat: " + strComma + ")\n"), std::string::npos) << text.strStdout;
    EXPECT_EQ(text.strStdout.find("caveat: \"2.4.1\""), std::string::npos) << text.strStdout;
}
