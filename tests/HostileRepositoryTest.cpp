// The catalogue of hostile repositories: archive members that would write
// or read elsewhere, compression bombs, enormous archives, link loops,
// package descriptions that are pipes or endless devices, and catalogs that
// do not describe the tree. Each case puts the hostile package at the very
// path the package being planned names; vexinspect plan must refuse it with
// its path and the reason, take the good package of the repository instead,
// write nothing outside its private scratch directory (the whole file
// system but that directory is read-only while it runs, and a trace shows
// that it never even tried) and never hang.

#include "CheckerRun.h"
#include "RepositoryBuilder.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;
using Json = nlohmann::json;

namespace
{
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;
const std::string kHostile = "hostile/X";

struct HostileCase
{
    std::string strName;
    // "refused" (a package refused), "skipped" (an entry of the tree not
    // followed) and the words the reason must hold.
    std::string strList;
    std::string strPath;
    std::string strReason;
};

void PrintTo(const HostileCase& hostile, std::ostream* pStream) { *pStream << hostile.strName; }

const std::vector<HostileCase>& Cases()
{
    static const std::vector<HostileCase> kCases = {
        {"absolute-member", "refused", kHostile, "the archive member \"/etc/vexdep-planted\" has an absolute name"},
        {"dotdot-member", "refused", kHostile, "the archive member \"INV/../../../planted\" has a \"..\" component"},
        {"symlink-member", "refused", kHostile, "the archive member \"INV/collect.sh\" is a symbolic link"},
        {"hardlink-member", "refused", kHostile, "the archive member \"INV/collect.sh\" is a hard link"},
        {"device-member", "refused", kHostile, "the archive member \"INV/tty\" is a character device"},
        {"fifo-member", "refused", kHostile, "the archive member \"INV/inventory.xml\" is a named pipe"},
        {"compression-bomb", "refused", kHostile, "a compression bomb"},
        {"many-members", "refused", kHostile, "the archive holds more than 10000 members: no package is that large"},
        {"symlink-loop", "skipped", "hostile/loop", "a symbolic link: links in a repository are not followed"},
        {"package-xml-fifo", "refused", kHostile, "\"package.xml\" is a named pipe"},
        {"package-xml-dev-zero", "refused", kHostile, "\"package.xml\" is a symbolic link"},
        {"catalog-digest-mismatch", "refused", kHostile, "its content does not match the catalog's digest"},
        {"catalog-path-missing", "refused", "ghost/Y",
         "the catalog lists it, but the repository holds no package there"},
        {"catalog-path-unlisted", "refused", kHostile, "the catalog does not list it: index the repository again"},
    };
    return kCases;
}

std::string InstalledMachine() { return InstalledComponent("100", "1.0") + InstalledComponent("101", "1.0"); }

PackageRecipe Provider(const std::string& strPath, PackageFormat eFormat)
{
    PackageRecipe recipe;
    recipe.strPath = strPath;
    recipe.eFormat = eFormat;
    recipe.strVersion = "2.0";
    recipe.vDevices = {{"101", {}}};
    DependencyRecipe met;
    met.strComponentID = "100";
    met.strVersion = "1.0";
    met.strPath = "elsewhere";
    recipe.vDependencies = {met};
    recipe.vReleases = {ReleaseRecipe{"INV", InstalledMachine(), "provider"}};
    return recipe;
}

// The members of a good package, then the hostile ones.
std::string Archive(std::vector<TarEntry> vExtra)
{
    std::vector<TarEntry> vEntries = {{"package.xml", '0', PackageXml(Provider("", PackageFormat::Tar)), 0644, ""},
                                      {"INV", '5', "", 0755, ""}};
    vEntries.insert(vEntries.end(), vExtra.begin(), vExtra.end());
    return TarArchive(vEntries);
}

void WriteHostile(const std::string& strRepository, const std::string& strCase)
{
    const std::string strPath = strRepository + "/" + kHostile;
    RunCommand({"/bin/mkdir", "-p", strRepository + "/hostile"}, "/");
    if (strCase == "absolute-member")
    {
        WriteFile(strPath, Gzip(Archive({{"/etc/vexdep-planted", '0', "planted", 0644, ""}})));
    }
    else if (strCase == "dotdot-member")
    {
        WriteFile(strPath, Xz(Archive({{"INV/../../../planted", '0', "planted", 0644, ""}})));
    }
    else if (strCase == "symlink-member")
    {
        WriteFile(strPath, Archive({{"INV/collect.sh", '2', "", 0777, "/bin/sh"}}));
    }
    else if (strCase == "hardlink-member")
    {
        WriteFile(strPath, Archive({{"INV/collect.sh", '1', "", 0755, "/etc/passwd"}}));
    }
    else if (strCase == "device-member")
    {
        WriteFile(strPath, Gzip(Archive({{"INV/tty", '3', "", 0666, ""}})));
    }
    else if (strCase == "fifo-member")
    {
        WriteFile(strPath, Archive({{"INV/inventory.xml", '6', "", 0644, ""}}));
    }
    else if (strCase == "compression-bomb")
    {
        WriteFile(strPath, Gzip(Archive({{"payload.bin", '0', std::string(64 * 1024 * 1024, '\0'), 0644, ""}})));
    }
    else if (strCase == "many-members")
    {
        std::vector<TarEntry> vMany;
        for (int i = 0; i < 12000; ++i)
        {
            vMany.push_back({"INV/d" + std::to_string(i), '5', "", 0755, ""});
        }
        WriteFile(strPath, Gzip(Archive(vMany)));
    }
    else if (strCase == "symlink-loop")
    {
        ASSERT_EQ(symlink("..", (strRepository + "/hostile/loop").c_str()), 0);
    }
    else if (strCase == "package-xml-fifo" || strCase == "package-xml-dev-zero")
    {
        WritePackage(strRepository, Provider(kHostile, PackageFormat::Directory));
        unlink((strPath + "/package.xml").c_str());
        if (strCase == "package-xml-fifo")
        {
            ASSERT_EQ(mkfifo((strPath + "/package.xml").c_str(), 0644), 0);
        }
        else
        {
            ASSERT_EQ(symlink("/dev/zero", (strPath + "/package.xml").c_str()), 0);
        }
    }
    else
    {
        // The catalog cases: a package that would serve, at the path (for
        // a catalog that lists a package the tree does not hold, none).
        if (strCase != "catalog-path-missing")
        {
            WritePackage(strRepository, Provider(kHostile, PackageFormat::TarGzip));
        }
        if (strCase == "catalog-path-unlisted")
        {
            // Indexed before the package came.
            unlink(strPath.c_str());
            RunCommand({kInspect, "repo", "index", strRepository}, "/");
            WritePackage(strRepository, Provider(kHostile, PackageFormat::TarGzip));
            return;
        }
        RunCommand({kInspect, "repo", "index", strRepository}, "/");
        Json catalog = Json::parse(ReadFile(strRepository + "/catalog.json"));
        for (Json& package : catalog["packages"])
        {
            if (package["path"] == kHostile && strCase == "catalog-digest-mismatch")
            {
                package["digest"] = "sha256:" + std::string(64, '0');
            }
        }
        if (strCase == "catalog-path-missing")
        {
            Json ghost = catalog["packages"][0];
            ghost["path"] = "ghost/Y";
            catalog["packages"].push_back(ghost);
        }
        WriteFile(strRepository + "/catalog.json", catalog.dump(1));
    }
}

class HostileRepository : public ::testing::TestWithParam<HostileCase>
{
protected:
    void SetUp() override
    {
        if (!CanUseMountNamespace())
        {
            GTEST_SKIP() << "private mount namespaces (unshare) are refused here";
        }
        PackageRecipe target = Provider("", PackageFormat::Directory);
        target.vDevices = {{"100", {}}};
        DependencyRecipe needs;
        needs.strComponentID = "101";
        needs.strVersion = "2.0";
        needs.strPath = "hostile\\X";
        needs.strDisplay = "Component 101";
        target.vDependencies = {needs};
        WritePackage(m_target.Path(), target);
        WriteFile(m_target.File("inv.xml"), MachineInventory(MachineComponent("100") + MachineComponent("101")));
        WritePackage(m_repository.Path(), Provider("good/C101", PackageFormat::Directory));
        MakeDirectory(m_scratch.File("tmp"));
        MakeDirectory(m_scratch.File("log"));
    }

    // vexinspect plan with every file system read-only but its TMPDIR,
    // traced where strace can run. Exit status 97: the namespace could not
    // be set up.
    CommandResult PlanReadOnly(bool& bTraced)
    {
        const std::string strScript =
            "T=\"$1\"; L=\"$2\"; shift 2\n"
            "mount -t tmpfs vexdep-firmware /sys/firmware || exit 97\n"
            "mount --bind \"$T\" \"$T\" && mount --bind \"$L\" \"$L\" || exit 97\n"
            "for m in $(awk '{ print $5 }' /proc/self/mountinfo | sort -u); do\n"
            "  case $m in /proc|/proc/*|/sys|/sys/*|/dev|/dev/*|\"$T\"|\"$L\") continue ;; esac\n"
            "  mount -o remount,bind,ro \"$m\" 2> /dev/null\n"
            "done\n"
            "if touch /var/tmp/vexdep-readonly-probe 2> /dev/null || touch \"$T/../probe\" 2> /dev/null; then "
            "exit 97; fi\n"
            "if command -v strace > /dev/null && strace -f -qq -o /dev/null true 2> /dev/null; then\n"
            // The leak checker of a sanitizer build does not work under
            // a tracer: it is off for the traced run.
            "  exec timeout 120 strace -f -qq -o \"$L/trace\" -e trace=%file env TMPDIR=\"$T\" "
            "ASAN_OPTIONS=\"${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0\" \"$@\"\n"
            "fi\n"
            "exec timeout 120 env TMPDIR=\"$T\" \"$@\"\n";
        const CommandResult result =
            RunCommand({"/usr/bin/unshare", "--mount", "--propagation", "private", "/bin/sh", "-c", strScript, "sh",
                        m_scratch.File("tmp"), m_scratch.File("log"), kInspect, "plan", "hard", "--json",
                        "--exit-verdict", "--repository", m_repository.Path(), "--package-dir", m_target.Path()},
                       "/");
        bTraced = FileExists(m_scratch.File("log/trace"));
        return result;
    }

    TempDir m_repository;
    TempDir m_target;
    TempDir m_scratch;
};
} // namespace

TEST_P(HostileRepository, IsRefusedAndTheRestIsStillPlanned)
{
    const HostileCase& hostile = GetParam();
    WriteHostile(m_repository.Path(), hostile.strName);
    bool bTraced = false;
    const CommandResult result = PlanReadOnly(bTraced);
    if (result.nExitStatus == 97)
    {
        GTEST_SKIP() << "a read-only view of the file system cannot be set up here";
    }
    ASSERT_NE(result.nExitStatus, 124) << "the plan hung";
    ASSERT_EQ(result.nExitStatus, 1) << result.strStderr << result.strStdout.substr(0, 4000)
                                     << ReadFile(m_scratch.File("log/trace")).substr(0, 3000);
    EXPECT_EQ(JsonSchemaErrors("plan", result.strStdout), "");
    const Json plan = Json::parse(result.strStdout);
    EXPECT_EQ(plan["verdict"], "complete");
    ASSERT_EQ(plan["steps"].size(), 1u);
    EXPECT_EQ(plan["steps"][0]["package"], "good/C101");
    EXPECT_EQ(plan["steps"][0]["substituted"], true);

    bool bNamed = false;
    for (const Json& entry : plan["repositoryPackages"][hostile.strList])
    {
        if (entry["path"] == hostile.strPath &&
            entry["reason"].get<std::string>().find(hostile.strReason) != std::string::npos)
        {
            bNamed = true;
        }
    }
    EXPECT_TRUE(bNamed) << "no entry for " << hostile.strPath << " saying \"" << hostile.strReason << "\" in\n"
                        << plan["repositoryPackages"].dump(1);

    // Its scratch directory is gone, and nothing else was written, or tried.
    EXPECT_TRUE(ListDirectory(m_scratch.File("tmp")).empty());
    if (bTraced)
    {
        const std::string strTrace = ReadFile(m_scratch.File("log/trace"));
        EXPECT_EQ(strTrace.find("EROFS"), std::string::npos) << "a write outside the scratch directory was tried";
        EXPECT_EQ(strTrace.find("vexdep-planted"), std::string::npos);
    }

    // repo check names it too.
    const CommandResult check = RunCommand({kInspect, "repo", "check", m_repository.Path(), "--json"}, "/");
    const Json findings = Json::parse(check.strStdout);
    bool bFound = false;
    for (const Json& finding : findings["findings"])
    {
        const std::string strText = finding["message"];
        bFound = bFound || strText.find(hostile.strPath) != std::string::npos;
    }
    EXPECT_TRUE(bFound) << check.strStdout;
}

INSTANTIATE_TEST_SUITE_P(Catalogue, HostileRepository, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<HostileCase>& info) {
                             std::string strName = info.param.strName;
                             for (char& c : strName)
                             {
                                 c = c == '-' ? '_' : c;
                             }
                             return strName;
                         });
