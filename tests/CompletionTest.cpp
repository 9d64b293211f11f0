// The bash completion files of vexdepcheck and vexinspect: each is sourced
// into a bash started without any start-up file (so without bash-completion's
// helpers), its function is called on a partial command line, and what it
// offers is compared with what it must offer.

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>

using namespace vextest;

namespace
{
const std::string kBash = "/bin/bash";
const std::string kCompletions = VEXDEP_SOURCE_DIR "/completions";
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;

using Words = std::vector<std::string>;

// Sources the completion file of strCommand, runs strPrelude, then its
// completion function with COMP_WORDS set to vWords (the last one is being
// completed) and returns COMPREPLY, sorted.
Words Complete(const std::string& strCommand, const Words& vWords, const std::string& strPrelude = ":")
{
    // The words reach the script as its arguments: nothing to quote.
    const std::string strScript = "source \"$1\" || exit 3; shift; " + strPrelude +
                                  "; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); COMPREPLY=(); _" + strCommand +
                                  " || exit 4; for word in \"${COMPREPLY[@]}\"; do printf '%s\\n' \"$word\"; done";
    Words vArgs = {kBash, "--norc", "--noprofile", "-c", strScript, "bash", kCompletions + "/" + strCommand};
    vArgs.insert(vArgs.end(), vWords.begin(), vWords.end());
    const CommandResult result = RunCommand(vArgs, "/");
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(result.strStderr, "");
    Words vOffered = Lines(result.strStdout);
    std::sort(vOffered.begin(), vOffered.end());
    return vOffered;
}

Words Sorted(Words vWords)
{
    std::sort(vWords.begin(), vWords.end());
    return vWords;
}

Words Inspect(const Words& vWords) { return Complete("vexinspect", vWords); }

const Words kExplainOptions = {"--package-dir", "--smbios-dump", "--from-dump",    "--log",  "--collector-timeout",
                               "--json",        "--format",      "--exit-verdict", "--help", "--version"};
const Words kSmbiosOptions = {"--from-dump", "--smbios-dump", "--log", "--json", "--format", "--help", "--version"};
const Words kLintOptions = {"--package-dir", "--json", "--format", "--help", "--version"};
const Words kPlanOptions = {
    "--repository",        "--package-dir", "--inventory", "--catalog",      "--smbios-dump", "--from-dump", "--log",
    "--collector-timeout", "--json",        "--format",    "--exit-verdict", "--help",        "--version"};
const Words kRepoIndexOptions = {"--output", "-o", "--json", "--format", "--help", "--version"};
const Words kRepoCheckOptions = {"--catalog", "--json", "--format", "--help", "--version"};
const Words kRepoPackOptions = {"--output", "-o", "--json", "--format", "--help", "--version"};

// A directory with two subdirectories and two files.
class CompletionOfPaths : public ::testing::Test
{
protected:
    void SetUp() override
    {
        MakeDirectory(m_dir.File("pkg-a"));
        MakeDirectory(m_dir.File("pkg-b"));
        WriteFile(m_dir.File("pkg.dump"), "");
        WriteFile(m_dir.File("run.log"), "");
    }

    TempDir m_dir;
};
} // namespace

TEST(VexdepcheckCompletion, OffersHardAndSoftForTheOneArgument)
{
    EXPECT_EQ(Complete("vexdepcheck", {"vexdepcheck", "h"}), Words({"hard"}));
    EXPECT_EQ(Complete("vexdepcheck", {"vexdepcheck", "s"}), Words({"soft"}));
    EXPECT_EQ(Complete("vexdepcheck", {"vexdepcheck", ""}), Words({"hard", "soft"}));
    EXPECT_EQ(Complete("vexdepcheck", {"vexdepcheck", "x"}), Words());
    // It takes one argument only.
    EXPECT_EQ(Complete("vexdepcheck", {"vexdepcheck", "hard", ""}), Words());
}

TEST(VexdepcheckCompletion, IsRegisteredForTheCommand)
{
    const CommandResult result =
        RunCommand({kBash, "--norc", "--noprofile", "-c", "source \"$1\" && complete -p vexdepcheck", "bash",
                    kCompletions + "/vexdepcheck"},
                   "/");
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(result.strStdout, "complete -F _vexdepcheck vexdepcheck\n");
}

TEST(VexinspectCompletion, IsRegisteredForTheCommand)
{
    const CommandResult result =
        RunCommand({kBash, "--norc", "--noprofile", "-c", "source \"$1\" && complete -p vexinspect", "bash",
                    kCompletions + "/vexinspect"},
                   "/");
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(result.strStdout, "complete -F _vexinspect vexinspect\n");
}

TEST(VexinspectCompletion, OffersTheSubcommandsFirst)
{
    EXPECT_EQ(Inspect({"vexinspect", "ex"}), Words({"explain"}));
    EXPECT_EQ(Inspect({"vexinspect", "s"}), Words({"smbios"}));
    EXPECT_EQ(Inspect({"vexinspect", ""}), Sorted({"explain", "smbios", "lint", "repo", "plan"}));
    EXPECT_EQ(Inspect({"vexinspect", "-"}), Sorted({"--help", "--version"}));
    EXPECT_EQ(Inspect({"vexinspect", "frob"}), Words());
    // After an unknown subcommand, nothing.
    EXPECT_EQ(Inspect({"vexinspect", "frobnicate", "-"}), Words());
}

TEST(VexinspectCompletion, OffersTheOptionsOfEachSubcommand)
{
    EXPECT_EQ(Inspect({"vexinspect", "explain", "-"}), Sorted(kExplainOptions));
    EXPECT_EQ(Inspect({"vexinspect", "smbios", "-"}), Sorted(kSmbiosOptions));
    EXPECT_EQ(Inspect({"vexinspect", "lint", "-"}), Sorted(kLintOptions));
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--co"}), Words({"--collector-timeout"}));
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--e"}), Words({"--exit-verdict"}));
    EXPECT_EQ(Inspect({"vexinspect", "smbios", "--s"}), Words({"--smbios-dump"}));
    EXPECT_EQ(Inspect({"vexinspect", "lint", "--f"}), Words({"--format"}));
    EXPECT_EQ(Inspect({"vexinspect", "lint", "--s"}), Words());
    // Options given before the subcommand's own are skipped over.
    EXPECT_EQ(Inspect({"vexinspect", "--version", "lint", "--j"}), Words({"--json"}));
}

TEST(VexinspectCompletion, OffersTheRepositoryCommandsAndThePlan)
{
    EXPECT_EQ(Inspect({"vexinspect", "repo", ""}), Sorted({"index", "check", "pack"}));
    EXPECT_EQ(Inspect({"vexinspect", "repo", "-"}), Sorted({"--help", "--version"}));
    EXPECT_EQ(Inspect({"vexinspect", "repo", "index", "-"}), Sorted(kRepoIndexOptions));
    EXPECT_EQ(Inspect({"vexinspect", "repo", "check", "-"}), Sorted(kRepoCheckOptions));
    EXPECT_EQ(Inspect({"vexinspect", "repo", "pack", "-"}), Sorted(kRepoPackOptions));
    EXPECT_EQ(Inspect({"vexinspect", "repo", "check", "/srv", "--format", ""}), Sorted({"text", "json", "sarif"}));
    EXPECT_EQ(Inspect({"vexinspect", "plan", ""}), Sorted({"hard", "soft", "both"}));
    EXPECT_EQ(Inspect({"vexinspect", "plan", "both", ""}), Words());
    EXPECT_EQ(Inspect({"vexinspect", "plan", "hard", "-"}), Sorted(kPlanOptions));
    EXPECT_EQ(Inspect({"vexinspect", "plan", "hard", "--repository", "/srv", "--e"}), Words({"--exit-verdict"}));
}

TEST(VexinspectCompletion, OffersTheTypeOfExplainOnce)
{
    EXPECT_EQ(Inspect({"vexinspect", "explain", ""}), Words({"hard", "soft"}));
    EXPECT_EQ(Inspect({"vexinspect", "explain", "so"}), Words({"soft"}));
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--json", "--log", "x.log", "h"}), Words({"hard"}));
    EXPECT_EQ(Inspect({"vexinspect", "explain", "hard", ""}), Words());
    EXPECT_EQ(Inspect({"vexinspect", "explain", "hard", "--j"}), Words({"--json"}));
    // smbios and lint take no word of their own.
    EXPECT_EQ(Inspect({"vexinspect", "lint", ""}), Words());
}

TEST(VexinspectCompletion, OffersTheValuesOfCollectorTimeoutAndFormat)
{
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--collector-timeout", ""}), Words({"config", "none"}));
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--collector-timeout", "n"}), Words({"none"}));
    EXPECT_EQ(Inspect({"vexinspect", "lint", "--format", "s"}), Words({"sarif"}));
    EXPECT_EQ(Inspect({"vexinspect", "lint", "--format", ""}), Sorted({"text", "json", "sarif"}));
    // SARIF is lint's alone.
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--format", ""}), Sorted({"text", "json"}));
    EXPECT_EQ(Inspect({"vexinspect", "smbios", "--format", "s"}), Words());
    // "--format=s": readline splits the word at the "=".
    EXPECT_EQ(Inspect({"vexinspect", "lint", "--format", "=", "s"}), Words({"sarif"}));
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--collector-timeout", "="}), Words({"config", "none"}));
    // A value given with "=" is skipped over like any other.
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--log", "=", "x.log", "s"}), Words({"soft"}));
}

TEST_F(CompletionOfPaths, OffersOnlyDirectoriesAfterPackageDir)
{
    const Words vDirectories = {m_dir.File("pkg-a"), m_dir.File("pkg-b")};
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--package-dir", m_dir.File("")}), vDirectories);
    EXPECT_EQ(Inspect({"vexinspect", "lint", "--package-dir", m_dir.File("pkg")}), vDirectories);
    EXPECT_EQ(Inspect({"vexinspect", "lint", "--package-dir", "=", m_dir.File("pkg-b")}), Words({m_dir.File("pkg-b")}));
}

TEST_F(CompletionOfPaths, OffersFilesAfterLogAndBothDumpOptions)
{
    const Words vAll = {m_dir.File("pkg-a"), m_dir.File("pkg-b"), m_dir.File("pkg.dump"), m_dir.File("run.log")};
    EXPECT_EQ(Inspect({"vexinspect", "explain", "--log", m_dir.File("")}), vAll);
    EXPECT_EQ(Inspect({"vexinspect", "smbios", "--log", m_dir.File("r")}), Words({m_dir.File("run.log")}));
    for (const std::string strSubcommand : {"explain", "smbios"})
    {
        for (const std::string strOption : {"--smbios-dump", "--from-dump"})
        {
            SCOPED_TRACE(strSubcommand + " " + strOption);
            EXPECT_EQ(Inspect({"vexinspect", strSubcommand, strOption, m_dir.File("pkg.")}),
                      Words({m_dir.File("pkg.dump")}));
        }
    }
}

TEST_F(CompletionOfPaths, UsesTheFileCompletionOfBashCompletionWhenItIsLoaded)
{
    // A stand-in for bash-completion's helper, which reads the word from cur.
    const std::string strFiledir = "_filedir() { COMPREPLY=(\"filedir[$*]:$cur\"); }";
    EXPECT_EQ(Complete("vexinspect", {"vexinspect", "explain", "--package-dir", "pk"}, strFiledir),
              Words({"filedir[-d]:pk"}));
    EXPECT_EQ(Complete("vexinspect", {"vexinspect", "smbios", "--from-dump", "x"}, strFiledir), Words({"filedir[]:x"}));
}

// What the completion offers for a subcommand covers every option that the
// subcommand's --help lists.
TEST(VexinspectCompletion, CoversEveryOptionOfTheHelp)
{
    const std::vector<std::pair<std::vector<std::string>, Words>> vSubcommands = {
        {{"explain"}, kExplainOptions},
        {{"smbios"}, kSmbiosOptions},
        {{"lint"}, kLintOptions},
        {{"plan"}, kPlanOptions},
        {{"repo", "index"}, kRepoIndexOptions},
        {{"repo", "check"}, kRepoCheckOptions},
        {{"repo", "pack"}, kRepoPackOptions}};
    for (const auto& subcommand : vSubcommands)
    {
        SCOPED_TRACE(subcommand.first.back());
        std::vector<std::string> vHelp = {kInspect};
        vHelp.insert(vHelp.end(), subcommand.first.begin(), subcommand.first.end());
        vHelp.push_back("--help");
        const CommandResult help = RunCommand(vHelp, "/");
        ASSERT_EQ(help.nExitStatus, 0);
        std::set<std::string> setListed;
        for (const std::string& strLine : Lines(help.strStdout))
        {
            // "  -h,--help   text" or "  --smbios-dump,--from-dump TEXT"
            if (strLine.compare(0, 3, "  -") != 0)
            {
                continue;
            }
            std::istringstream issNames(strLine.substr(2, strLine.find(' ', 2) - 2));
            for (std::string strName; std::getline(issNames, strName, ',');)
            {
                if (strName.compare(0, 2, "--") == 0)
                {
                    setListed.insert(strName);
                }
            }
        }
        ASSERT_GE(setListed.size(), 3u) << help.strStdout;
        std::vector<std::string> vWords = {"vexinspect"};
        vWords.insert(vWords.end(), subcommand.first.begin(), subcommand.first.end());
        vWords.push_back("--");
        const Words vOffered = Inspect(vWords);
        for (const std::string& strName : setListed)
        {
            EXPECT_NE(std::find(vOffered.begin(), vOffered.end(), strName), vOffered.end()) << strName;
        }
    }
}

TEST(VexinspectCompletion, BothFilesNameTheManualPagesOfSection8)
{
    for (const char* pszName : {"vexdepcheck", "vexinspect"})
    {
        const std::string strText = vextest::ReadFile(std::string(VEXDEP_SOURCE_DIR "/completions/") + pszName);
        EXPECT_NE(strText.find(std::string(pszName) + "(8)"), std::string::npos) << pszName;
        EXPECT_EQ(strText.find(std::string(pszName) + "(1)"), std::string::npos) << pszName;
    }
}
