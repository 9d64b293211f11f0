// The portable checker (make portable) on a machine that has nothing but a
// static shell: a chroot holding busybox, the executable and a package. Its
// report, standard error, exit status and log must equal those of the
// ordinary build run on the same package with no firmware tables either.

#include "CheckerRun.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <unistd.h>

using namespace vextest;

namespace
{
const std::string kSample = VEXDEP_SOURCE_DIR "/examples/package";
const char* const kBusybox = "/bin/busybox";

// The portable executable: VEXDEP_PORTABLE_EXECUTABLE, or the one make
// portable builds in the source tree.
std::string PortableExecutable()
{
    const char* pszGiven = std::getenv("VEXDEP_PORTABLE_EXECUTABLE");
    return pszGiven != nullptr ? pszGiven : VEXDEP_SOURCE_DIR "/build-portable/bin/vexdepcheck";
}

struct Outcome
{
    CommandResult result;
    std::vector<std::string> vLog;
};

// Shell run in the package directory that compresses the package description.
const std::string kCompress = "gzip -9n -c package.xml > package.gz && mv package.gz package.xml";

// The XML declaration of the package description naming another encoding
// (the sample's text is ASCII, so its bytes stay valid in each).
std::string DeclareEncoding(const std::string& strEncoding)
{
    return "sed -i '1s/encoding=\"UTF-8\"/encoding=\"" + strEncoding + "\"/' package.xml && grep -q '" + strEncoding +
           "' package.xml";
}

// A copy of the sample package in strDirectory with the debug log on,
// changed by strAlteration (shell run in it; empty: unchanged).
void WritePackage(const std::string& strDirectory, const std::string& strAlteration)
{
    const CommandResult copy = RunCommand({"/bin/cp", "-R", kSample + "/.", strDirectory}, "/");
    ASSERT_EQ(copy.nExitStatus, 0) << copy.strStderr;
    WriteFile(strDirectory + "/vexdebuglog", "");
    if (!strAlteration.empty())
    {
        const CommandResult alter = RunCommand({"/bin/sh", "-c", strAlteration}, strDirectory);
        ASSERT_EQ(alter.nExitStatus, 0) << strAlteration << ": " << alter.strStderr;
    }
}

// The log's lines with the package's path written as strAs.
std::vector<std::string> LogOf(const std::string& strPackage, const std::string& strAs)
{
    std::vector<std::string> vLines = ReadLogLines(strPackage + "/baseutils.log");
    for (std::string& strLine : vLines)
    {
        for (std::string::size_type nAt = strLine.find(strPackage); nAt != std::string::npos;
             nAt = strLine.find(strPackage, nAt + strAs.size()))
        {
            strLine.replace(nAt, strPackage.size(), strAs);
        }
    }
    return vLines;
}

// The ordinary build, in a private mount namespace without firmware tables.
Outcome RunOrdinary(const std::string& strType, const std::string& strEnvironment, const std::string& strAlteration)
{
    TempDir dir;
    const std::string strPackage = dir.File("pkg");
    MakeDirectory(strPackage);
    WritePackage(strPackage, strAlteration);
    std::vector<std::string> vCommand = {"/usr/bin/env"};
    if (!strEnvironment.empty())
    {
        vCommand.push_back(strEnvironment);
    }
    vCommand.insert(vCommand.end(), {CheckerExecutable(), strType});
    Outcome outcome;
    outcome.result = RunInPackage(vCommand, strPackage, Firmware::NoTables());
    outcome.vLog = LogOf(strPackage, "/pkg");
    return outcome;
}

// The portable build in a chroot holding nothing but busybox as /bin/sh
// and /bin/cat, the executable and the package in /pkg.
Outcome RunPortable(const std::string& strType, const std::string& strEnvironment, const std::string& strAlteration)
{
    TempDir root;
    MakeDirectory(root.File("bin"));
    MakeDirectory(root.File("pkg"));
    EXPECT_EQ(RunCommand({"/bin/cp", kBusybox, root.File("bin/busybox")}, "/").nExitStatus, 0);
    EXPECT_EQ(RunCommand({"/bin/cp", PortableExecutable(), root.File("bin/vexdepcheck")}, "/").nExitStatus, 0);
    for (const char* pszApplet : {"sh", "cat"})
    {
        EXPECT_EQ(::symlink("busybox", root.File(std::string("bin/") + pszApplet).c_str()), 0);
    }
    WritePackage(root.File("pkg"), strAlteration);
    const std::string strScript = "cd /pkg && " + (strEnvironment.empty() ? std::string() : strEnvironment + " ") +
                                  "exec /bin/vexdepcheck " + strType;
    Outcome outcome;
    outcome.result = RunCommand({"/usr/sbin/chroot", root.Path(), "/bin/sh", "-c", strScript}, "/");
    outcome.vLog = ReadLogLines(root.File("pkg/baseutils.log"));
    // Nothing of the chroot is left but what the run wrote into its package.
    EXPECT_EQ(ListDirectory(root.Path()), std::vector<std::string>({"bin", "pkg"}));
    return outcome;
}

std::string WhyNot()
{
    if (geteuid() != 0)
    {
        return "chroot needs root";
    }
    if (!FileExists(kBusybox) || !FileExists("/usr/sbin/chroot"))
    {
        return "busybox-static or chroot is not installed";
    }
    if (!FileExists(PortableExecutable()))
    {
        return "the portable executable " + PortableExecutable() + " is not built (make portable)";
    }
    if (!CanUseMountNamespace())
    {
        return "private mount namespaces (unshare) are refused here";
    }
    return std::string();
}

void ExpectSameOutcome(const std::string& strType, const std::string& strEnvironment, const std::string& strAlteration)
{
    const Outcome ordinary = RunOrdinary(strType, strEnvironment, strAlteration);
    const Outcome portable = RunPortable(strType, strEnvironment, strAlteration);
    EXPECT_EQ(portable.result.nExitStatus, ordinary.result.nExitStatus) << strType;
    EXPECT_EQ(portable.result.strStdout, ordinary.result.strStdout) << strType;
    EXPECT_EQ(portable.result.strStderr, ordinary.result.strStderr) << strType;
    EXPECT_FALSE(ordinary.vLog.empty());
    EXPECT_EQ(portable.vLog, ordinary.vLog) << strType;
    // The sample has unmet dependencies of both types.
    EXPECT_EQ(ordinary.result.nExitStatus, strType == "hard" ? 1 : 2);
}
} // namespace

TEST(PortableExecutable, HasNoDynamicDependencies)
{
    if (!FileExists(PortableExecutable()))
    {
        GTEST_SKIP() << "the portable executable " << PortableExecutable() << " is not built (make portable)";
    }
    const CommandResult ldd = RunCommand({"/usr/bin/ldd", PortableExecutable()}, "/");
    EXPECT_NE((ldd.strStdout + ldd.strStderr).find("not a dynamic executable"), std::string::npos)
        << ldd.strStdout << ldd.strStderr;
    const CommandResult size = RunCommand({"/usr/bin/stat", "-c", "%s", PortableExecutable()}, "/");
    EXPECT_LE(std::stol(size.strStdout), 3000000L);
}

TEST(PortableExecutable, InAnEmptyChrootGivesWhatTheOrdinaryBuildGives)
{
    const std::string strWhyNot = WhyNot();
    if (!strWhyNot.empty())
    {
        GTEST_SKIP() << strWhyNot;
    }
    ExpectSameOutcome("hard", "", "");
    ExpectSameOutcome("soft", "", "");
}

TEST(PortableExecutable, WithTheCollectorGuardAndACompressedPackageDescription)
{
    const std::string strWhyNot = WhyNot();
    if (!strWhyNot.empty())
    {
        GTEST_SKIP() << strWhyNot;
    }
    ExpectSameOutcome("hard", "VEXDEP_COLLECTOR_TIMEOUT=config", kCompress);
    ExpectSameOutcome("soft", "VEXDEP_COLLECTOR_TIMEOUT=5", kCompress);
}

// Encodings that libxml2 carries itself need nothing of the C library.
TEST(PortableExecutable, ReadsTheEncodingsLibxml2CarriesItselfAsTheOrdinaryBuildDoes)
{
    const std::string strWhyNot = WhyNot();
    if (!strWhyNot.empty())
    {
        GTEST_SKIP() << strWhyNot;
    }
    for (const char* pszEncoding : {"ISO-8859-1", "US-ASCII"})
    {
        SCOPED_TRACE(pszEncoding);
        ExpectSameOutcome("hard", "", DeclareEncoding(pszEncoding));
    }
}

// Other encodings need the C library's conversion modules, which a root
// without them does not have: the description is unreadable there, and the
// run has nothing to report (docs/compatibility.md, 2).
TEST(PortableExecutable, AnEncodingThatNeedsTheCLibrarysModulesIsUnreadableWithoutThem)
{
    const std::string strWhyNot = WhyNot();
    if (!strWhyNot.empty())
    {
        GTEST_SKIP() << strWhyNot;
    }
    const std::string strAlteration = DeclareEncoding("windows-1252");
    const Outcome ordinary = RunOrdinary("hard", "", strAlteration);
    const Outcome portable = RunPortable("hard", "", strAlteration);
    EXPECT_EQ(ordinary.result.nExitStatus, 1);
    EXPECT_EQ(portable.result.nExitStatus, 255);
    EXPECT_EQ(portable.result.strStdout, "");
    bool bNotParsed = false;
    for (const std::string& strLine : portable.vLog)
    {
        bNotParsed = bNotParsed ||
                     strLine.find("Document /pkg/package.xml not parsed successfully") != std::string::npos;
    }
    EXPECT_TRUE(bNotParsed);
}
