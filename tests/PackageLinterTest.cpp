// Every lint finding with a package that triggers it and one that does not.
// The packages are written by the tests; line numbers refer to the texts
// below.

#include "PackageLinter.h"
#include "Scenarios.h"
#include "SoftwareComponentInfo.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;

namespace
{
using Files = std::map<std::string, std::string>;

const std::string kGoodPieConfig = PieConfig("collect.sh", "inventory.xml", "30");

// A package description whose dependency lines start at line 5:
//   1 <?xml ...?>  2 <SoftwareComponent>  3 <SupportedDevices>  4 <Device componentID="500">
std::string Package(const std::string& strDependencyLines,
                    const std::string& strDeviceAttributes = "componentID=\"500\"")
{
    return "<?xml version=\"1.0\"?>\n<SoftwareComponent>\n<SupportedDevices>\n<Device " + strDeviceAttributes + ">\n" +
           strDependencyLines + "</Device>\n</SupportedDevices>\n</SoftwareComponent>\n";
}

std::string Attributes(const std::string& strVersion = "2.0", const std::string& strReleaseID = "R1",
                       const std::string& strExtra = "")
{
    return "componentID=\"101\" componentType=\"FRMW\" version=\"" + strVersion + "\" path=\"a.bin\" releaseID=\"" +
           strReleaseID + "\"" + strExtra;
}

// The package with a DOCTYPE (and its internal subset or external
// identifier) on the line after the declaration; the lines of the rest move
// down by the lines of strDoctype.
std::string WithDoctype(const std::string& strDoctype, const std::string& strPackage)
{
    const std::string::size_type nDeclarationEnd = strPackage.find('\n') + 1;
    return strPackage.substr(0, nDeclarationEnd) + "<!DOCTYPE SoftwareComponent " + strDoctype + ">\n" +
           strPackage.substr(nDeclarationEnd);
}

// One dependency: the element on one line, each child on a line of its own,
// the closing tag on the last.
std::string Dep(const std::string& strAttributes, const std::vector<std::string>& vChildren = {},
                const std::string& strTag = "Dependency")
{
    std::string strText = "<" + strTag + " " + strAttributes + ">\n";
    for (const std::string& strChild : vChildren)
    {
        strText += strChild + "\n";
    }
    return strText + "</" + strTag + ">\n";
}

// A clean package: one dependency of release R1 with a usable configuration
// and its collector (every "*.sh" is written executable).
Files Clean(const std::string& strPackage = Package(Dep(Attributes(), {"<Display>A</Display>"})))
{
    return Files{{"package.xml", strPackage}, {"R1/PIEConfig.xml", kGoodPieConfig}, {"R1/collect.sh", "#!/bin/sh\n"}};
}

Files With(Files files, const std::string& strName, const std::string& strContent)
{
    files[strName] = strContent;
    return files;
}

Files Without(Files files, const std::string& strName)
{
    files.erase(strName);
    return files;
}

// Lints as the unprivileged user (nobody) while it exists, when the test
// runs as root (who may enter any directory); the working directory is
// restored as root.
class CAsUnprivileged
{
public:
    CAsUnprivileged() : m_strDirectory(CurrentDirectory()) { m_bSwitched = geteuid() == 0 && seteuid(65534) == 0; }
    ~CAsUnprivileged()
    {
        if (m_bSwitched && seteuid(0) == 0)
        {
            EXPECT_EQ(chdir(m_strDirectory.c_str()), 0);
        }
    }
    CAsUnprivileged(const CAsUnprivileged&) = delete;
    CAsUnprivileged& operator=(const CAsUnprivileged&) = delete;

private:
    std::string m_strDirectory;
    bool m_bSwitched = false;
};

// Writes the files (below strPackageIn, when given, inside the temporary
// directory) and lints the package. strLocked names a directory that the
// linting user may not enter.
std::vector<SLintFinding> LintFiles(const Files& files, const std::vector<std::string>& vDirectories = {},
                                    const std::string& strLocked = "", const std::string& strPackageIn = "")
{
    TempDir dir;
    const std::string strPackage = strPackageIn.empty() ? dir.Path() : dir.File(strPackageIn);
    MakeDirectory(strPackage);
    for (const std::string& strDirectory : vDirectories)
    {
        MakeDirectory(strPackage + "/" + strDirectory);
    }
    for (const auto& file : files)
    {
        const std::string::size_type nSlash = file.first.rfind('/');
        if (nSlash != std::string::npos)
        {
            MakeDirectory(strPackage + "/" + file.first.substr(0, nSlash));
        }
        const bool bScript = file.first.size() > 3 && file.first.compare(file.first.size() - 3, 3, ".sh") == 0;
        WriteFile(strPackage + "/" + file.first, file.second, bScript);
    }
    if (strLocked.empty())
    {
        return CPackageLinter(strPackage).Lint();
    }
    chmod(dir.Path().c_str(), 0755);
    chmod((strPackage + "/" + strLocked).c_str(), 0);
    CAsUnprivileged unprivileged;
    return CPackageLinter(strPackage).Lint();
}

std::string Describe(const std::vector<SLintFinding>& vFindings)
{
    std::string strText;
    for (const SLintFinding& finding : vFindings)
    {
        strText += finding.strFile + ":" + std::to_string(finding.nLine) + ": [" + finding.strCode + "] " +
                   finding.strMessage + "\n";
    }
    return strText.empty() ? "no findings" : strText;
}

struct LintCase
{
    std::string strCode;
    Files triggering;
    std::vector<std::string> vTriggeringDirectories;
    std::string strFile;
    long nLine;
    std::string strElement;
    std::string strMessagePart;
    Files clean;
    std::vector<std::string> vCleanDirectories;
    // The triggering package only: a directory the linting user may not
    // enter, and a directory (inside the temporary one) that holds the package.
    std::string strLocked = "";
    std::string strPackageIn = "";
};

void PrintTo(const LintCase& lintCase, std::ostream* pStream) { *pStream << lintCase.strCode; }

std::string PluginConfig(const std::string& strPluginAttributes, const std::string& strCliToFile)
{
    // Line 1 the declaration, line 2 PIEConfig, line 3 Plugins, line 4 Plugin.
    return "<?xml version=\"1.0\"?>\n<PIEConfig>\n<Plugins>\n<Plugin " + strPluginAttributes + ">\n" + strCliToFile +
           "\n</Plugin>\n</Plugins>\n</PIEConfig>\n";
}

const std::string kCliToFile = "<CliToFile><Command>collect.sh</Command><Output>inventory.xml</Output></CliToFile>";

std::vector<LintCase> Cases()
{
    const std::string strOS =
        "<DepOperatingSystem osVendor=\"Linux\" osArch=\"x86_64\" majorVersion=\"9\" minorVersion=\"2\" "
        "spMajorVersion=\"0\" spMinorVersion=\"0\"/>";
    const std::string strOSWithoutArch =
        "<DepOperatingSystem osVendor=\"Linux\" majorVersion=\"9\" minorVersion=\"2\" spMajorVersion=\"0\" "
        "spMinorVersion=\"0\"/>";
    const std::string strPCI =
        "<DepPCIInfo vendorID=\"8A8A\" deviceID=\"00FF\" subVendorID=\"1F0C\" subDeviceID=\"0002\"/>";
    const std::string strPCIWithoutSubDevice = "<DepPCIInfo vendorID=\"8A8A\" deviceID=\"0100\" subVendorID=\"1F0C\"/>";
    const std::string strPCIOther =
        "<DepPCIInfo vendorID=\"8A8A\" deviceID=\"0100\" subVendorID=\"1F0C\" subDeviceID=\"0003\"/>";

    return {
        {"package-missing", Without(Clean(), "package.xml"), {}, "package.xml", 0, "", "does not exist", Clean(), {}},
        {"package-unparsable",
         With(Clean(), "package.xml", "<SoftwareComponent>\n<SupportedDevices>\n"),
         {},
         "package.xml",
         3,
         "",
         "not well-formed XML: Premature end of data in tag SupportedDevices line 2",
         Clean(),
         {}},
        {"package-root-wrong",
         With(Clean(), "package.xml", "<?xml version=\"1.0\"?>\n<Package>\n<Component/>\n</Package>\n"),
         {},
         "package.xml",
         2,
         "Package",
         "the root element is Package and no SoftwareComponent element is anywhere",
         Clean(),
         {}},
        {"supported-devices-missing",
         With(Clean(), "package.xml",
              "<?xml version=\"1.0\"?>\n<SoftwareComponent>\n<ComponentType value=\"FRMW\"/>\n</SoftwareComponent>\n"),
         {},
         "package.xml",
         2,
         "SoftwareComponent",
         "SoftwareComponent has no SupportedDevices element: the checker reads no device and no dependency",
         // A package that declares no dependency, but has its devices.
         Files{{"package.xml", Package("")}},
         {}},
        {"entity-not-loaded",
         Clean(WithDoctype("[\n<!ENTITY name SYSTEM \"name.txt\">\n]",
                           Package(Dep(Attributes(), {"<Display>&name;</Display>"})))),
         {},
         "package.xml",
         9,
         "Display",
         "Display refers to the external entity \"name\" (SYSTEM \"name.txt\"): the checker never loads it, so it "
         "reads no text in Display",
         // An internal entity is the text itself.
         Clean(WithDoctype("[\n<!ENTITY name \"Firmware\">\n]",
                           Package(Dep(Attributes(), {"<Display>&name;</Display>"})))),
         {}},
        {"external-declaration-not-loaded",
         Clean(WithDoctype("SYSTEM \"package.dtd\"", Package(Dep(Attributes(), {"<Display>A</Display>"})))),
         {},
         "package.xml",
         2,
         "",
         "the DOCTYPE names the external DTD SYSTEM \"package.dtd\": the checker never loads it",
         Clean(WithDoctype("[\n<!ENTITY unused \"text\">\n]", Package(Dep(Attributes(), {"<Display>A</Display>"})))),
         {}},
        {"encoding-needs-c-library",
         Clean("<?xml version=\"1.0\" encoding=\"windows-1252\"?>\n" + Package(Dep(Attributes())).substr(22)),
         {},
         "package.xml",
         1,
         "",
         "package.xml declares the encoding \"windows-1252\", which the XML library reads only through the C "
         "library's conversion modules",
         // One the XML library reads itself.
         Clean("<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>\n" + Package(Dep(Attributes())).substr(22)),
         {}},
        {"xml-parser-message",
         Clean(Package(Dep(Attributes(), {"<Display xmlns:a=\"not absolute\">A</Display>"}))),
         {},
         "package.xml",
         6,
         "",
         "the parser reports \"xmlns:a: 'not absolute' is not a valid URI\" and reads on",
         Clean(Package(Dep(Attributes(), {"<Display xmlns:a=\"urn:absolute\">A</Display>"}))),
         {}},
        {"package-root-nested",
         Clean("<?xml version=\"1.0\"?>\n<Wrapper>\n" + Package(Dep(Attributes())).substr(22) + "</Wrapper>\n"),
         {},
         "package.xml",
         2,
         "Wrapper",
         "the root element is Wrapper, not SoftwareComponent: the checker reads the SoftwareComponent of line 3",
         Clean(),
         {}},
        {"missing-version",
         Clean(Package(Dep("componentID=\"101\" componentType=\"FRMW\" path=\"a.bin\" releaseID=\"R1\"",
                           {"<Display>A</Display>"}))),
         {},
         "package.xml",
         5,
         "Dependency",
         "has no \"version\"",
         Clean(),
         {}},
        {"missing-release-id",
         Clean(Package(Dep("componentID=\"101\" componentType=\"FRMW\" version=\"2.0\" path=\"a.bin\""))),
         {},
         "package.xml",
         5,
         "Dependency",
         "has no \"releaseID\"",
         Clean(),
         {}},
        {"missing-component-type",
         Clean(Package(Dep("componentID=\"101\" version=\"2.0\" releaseID=\"R1\"", {}, "SoftDependency"))),
         {},
         "package.xml",
         5,
         "SoftDependency",
         "has no \"componentType\"",
         Clean(Package(
             Dep("componentID=\"101\" componentType=\"FRMW\" version=\"2.0\" releaseID=\"R1\"", {}, "SoftDependency"))),
         {}},
        {"release-id-shell-characters",
         With(Clean(Package(Dep(Attributes("2.0", "R 1;x")))), "R 1;x/PIEConfig.xml", kGoodPieConfig),
         {},
         "package.xml",
         5,
         "Dependency",
         "'blank', ';'",
         With(With(Clean(Package(Dep(Attributes("2.0", "R-1_x.2")))), "R-1_x.2/PIEConfig.xml", kGoodPieConfig),
              "R-1_x.2/collect.sh", "#!/bin/sh\n"),
         {}},
        {"system-id-prefixed",
         Clean(Package(Dep(Attributes(), {"<DepBrand>", "<DepModel systemID=\"0x0B\"/>", "</DepBrand>"}))),
         {},
         "package.xml",
         7,
         "DepModel",
         "\"0x0x0B\"",
         Clean(Package(Dep(Attributes(), {"<DepBrand>", "<DepModel systemID=\"0b\"/>", "<DepModel systemID=\"0A1C\"/>",
                                          "</DepBrand>"}))),
         {}},
        {"release-directory-missing",
         Without(Without(Clean(), "R1/PIEConfig.xml"), "R1/collect.sh"),
         {},
         "package.xml",
         5,
         "Dependency",
         "release directory \"R1\" does not exist",
         Clean(),
         {}},
        {"pieconfig-missing",
         Without(Clean(), "R1/PIEConfig.xml"),
         {"R1"},
         "package.xml",
         5,
         "Dependency",
         "\"R1/PIEConfig.xml\" does not exist",
         Clean(),
         {}},
        {"pieconfig-unparsable",
         With(Clean(), "R1/PIEConfig.xml", "<PIEConfig><Plugins>"),
         {},
         "R1/PIEConfig.xml",
         1,
         "",
         "R1/PIEConfig.xml is not well-formed XML: Premature end of data in tag Plugins line 1: the collector of "
         "release \"R1\" never runs",
         Clean(),
         {}},
        {"pieconfig-root-wrong",
         With(Clean(), "R1/PIEConfig.xml", "<?xml version=\"1.0\"?>\n<pieconfig>\n<Plugins/>\n</pieconfig>\n"),
         {},
         "R1/PIEConfig.xml",
         2,
         "pieconfig",
         "the element pieconfig of line 2 differs from PIEConfig in case",
         Clean(),
         {}},
        {"no-inventory-plugin",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"Inventory\" type=\"1\" timeout=\"30\"", kCliToFile)),
         {},
         "R1/PIEConfig.xml",
         2,
         "PIEConfig",
         "no Plugin with description",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"INVENTORY\" type=\"0\" timeout=\"30\"", kCliToFile)),
         {}},
        {"inventory-command-missing",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"Inventory\" type=\"0\" timeout=\"30\"",
                           "<CliToFile><Command>collect.sh</Command></CliToFile>")),
         {},
         "R1/PIEConfig.xml",
         4,
         "Plugin",
         "no CliToFile with both Command and Output",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"Inventory\" type=\"0\" timeout=\"30\"", kCliToFile)),
         {}},
        {"timeout-below-one",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"Inventory\" type=\"0\" timeout=\"0s\"", kCliToFile)),
         {},
         "R1/PIEConfig.xml",
         4,
         "Plugin",
         "timeout \"0s\" reads as 0 seconds",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"Inventory\" type=\"0\" timeout=\"1\"", kCliToFile)),
         {}},
        {"timeout-not-a-number",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"Inventory\" type=\"0\" timeout=\"60s\"", kCliToFile)),
         {},
         "R1/PIEConfig.xml",
         4,
         "Plugin",
         "timeout \"60s\" is not a plain number of seconds: the configuration reader reads it as 60",
         With(Clean(), "R1/PIEConfig.xml",
              PluginConfig("description=\"Inventory\" type=\"0\" timeout=\"60\"", kCliToFile)),
         {}},
        {"release-directory-unreadable",
         Clean(),
         {},
         "package.xml",
         5,
         "Dependency",
         "release directory \"R1\" cannot be entered (Permission denied)",
         Clean(),
         {},
         "R1"},
        {"collector-command-not-found",
         Without(Clean(), "R1/collect.sh"),
         {},
         "R1/PIEConfig.xml",
         2,
         "Command",
         "the collector's command \"collect.sh\" runs \"R1/collect.sh\", which does not exist",
         Clean(),
         {}},
        {"collector-not-executable",
         With(With(Clean(), "R1/PIEConfig.xml", PieConfig("collect.txt", "inventory.xml", "30")), "R1/collect.txt",
              "#!/bin/sh\n"),
         {},
         "R1/PIEConfig.xml",
         2,
         "Command",
         "runs \"R1/collect.txt\", which is not executable",
         Clean(),
         {}},
        {"package-directory-shell-characters",
         Clean(),
         {},
         "package.xml",
         0,
         "",
         "holds 'blank'",
         Clean(),
         {},
         "",
         "update package"},
        {"version-part-overflows",
         Clean(Package(Dep(Attributes("1.0.2147483648")))),
         {},
         "package.xml",
         5,
         "Dependency",
         "\"1.0.2147483648\" is compared as the numbers 1.0.-2147483648",
         Clean(Package(Dep(Attributes("1.0.2147483647")))),
         {}},
        {"version-part-not-a-number",
         Clean(Package(Dep(Attributes("2,5")))),
         {},
         "package.xml",
         5,
         "Dependency",
         "\"2,5\" is compared as the numbers 2 (the part \"2,5\" ends at \",\" and reads as 2)",
         Clean(Package(Dep(Attributes("2.5")))),
         {}},
        {"system-id-never-matches",
         Clean(Package(Dep(Attributes(), {"<DepBrand><DepModel systemID=\"A1C\"/></DepBrand>"}))),
         {},
         "package.xml",
         6,
         "DepModel",
         "systemID \"A1C\" never matches",
         Clean(Package(Dep(Attributes(), {"<DepBrand><DepModel systemID=\"0A1C\"/></DepBrand>"}))),
         {}},
        {"system-id-memory-only",
         Clean(Package(Dep(Attributes(), {"<DepBrand><DepModel systemID=\"0a1c\"/></DepBrand>"}))),
         {},
         "package.xml",
         6,
         "DepModel",
         "reads as \"0x0A1C\", which \"0x0a1c\" does not equal",
         Clean(Package(Dep(Attributes(), {"<DepBrand><DepModel systemID=\"0a\"/></DepBrand>"}))),
         {}},
        {"context-never-applies",
         Clean(Package(Dep(Attributes("2.0", "R1", " context=\"PREOS\"")))),
         {},
         "package.xml",
         5,
         "Dependency",
         "context \"PREOS\" is neither",
         Clean(Package(Dep(Attributes("2.0", "R1", " context=\"all\"")) +
                       Dep(Attributes("3.0", "R1", " context=\"Os\"")))),
         {}},
        {"version-compared-as-text",
         Clean(Package(Dep(Attributes("A07")))),
         {},
         "package.xml",
         5,
         "Dependency",
         "version \"A07\" holds letters or blanks",
         Clean(Package(Dep(Attributes("1.2-3_4")))),
         {}},
        {"brand-repeated",
         Clean(Package(Dep(Attributes(), {"<DepBrand><DepModel systemID=\"0b\"/></DepBrand>",
                                          "<Brand><Model systemID=\"0c\"/></Brand>"}))),
         {},
         "package.xml",
         7,
         "Brand",
         "a second Brand",
         Clean(Package(
             Dep(Attributes(), {"<DepBrand><DepModel systemID=\"0b\"/><DepModel systemID=\"0c\"/></DepBrand>"}) +
             Dep(Attributes("3.0"), {"<Brand><Model systemID=\"0d\"/></Brand>"}))),
         {}},
        {"os-attribute-carried-over",
         Clean(Package(Dep(Attributes(), {strOS}) + Dep(Attributes("3.0"), {strOSWithoutArch}))),
         {},
         "package.xml",
         9,
         "DepOperatingSystem",
         "has no \"osArch\": it carries \"x86_64\" over from line 6",
         // An attribute left out with nothing before it is not carried over;
         // buildNumber is never compared.
         Clean(Package(Dep(Attributes(), {strOSWithoutArch}) + Dep(Attributes("3.0"), {strOS}) +
                       Dep(Attributes("4.0"), {"<DepOperatingSystem osVendor=\"Linux\" osArch=\"x86_64\" "
                                               "majorVersion=\"9\" minorVersion=\"2\" spMajorVersion=\"0\" "
                                               "spMinorVersion=\"0\" buildNumber=\"1\"/>"}) +
                       Dep(Attributes("5.0"), {strOS}))),
         {}},
        {"pci-attribute-carried-over",
         Clean(Package(Dep(Attributes(), {strPCI, strPCIWithoutSubDevice}))),
         {},
         "package.xml",
         7,
         "DepPCIInfo",
         "has no \"subDeviceID\": it carries \"0002\" over from line 6",
         Clean(Package(Dep(Attributes(), {strPCI, strPCIOther}))),
         {}},
        {"duplicate-dependency",
         Clean(Package(Dep(Attributes(), {"<Display>A</Display>"}) + Dep(Attributes(), {"<Display>A</Display>"}))),
         {},
         "package.xml",
         8,
         "Dependency",
         "equals the dependency of line 5",
         Clean(Package(Dep(Attributes(), {"<Display>A</Display>"}) + Dep(Attributes(), {"<Display>B</Display>"}))),
         {}},
    };
}

class LintFinding : public ::testing::TestWithParam<LintCase>
{
};

std::string CaseName(const ::testing::TestParamInfo<LintCase>& info)
{
    std::string strName = info.param.strCode;
    std::replace(strName.begin(), strName.end(), '-', '_');
    return strName;
}
} // namespace

TEST_P(LintFinding, IsReportedForTheTriggeringPackage)
{
    const LintCase& lintCase = GetParam();
    if (!lintCase.strLocked.empty() && geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to lint as another user";
    }
    const std::vector<SLintFinding> vFindings =
        LintFiles(lintCase.triggering, lintCase.vTriggeringDirectories, lintCase.strLocked, lintCase.strPackageIn);
    ASSERT_EQ(vFindings.size(), 1u) << Describe(vFindings);
    const SLintFinding& finding = vFindings[0];
    EXPECT_EQ(finding.strCode, lintCase.strCode);
    EXPECT_EQ(finding.strFile, lintCase.strFile);
    EXPECT_EQ(finding.nLine, lintCase.nLine);
    EXPECT_EQ(finding.strElement, lintCase.strElement);
    EXPECT_NE(finding.strMessage.find(lintCase.strMessagePart), std::string::npos) << finding.strMessage;
    EXPECT_EQ(finding.strMessage.find('\n'), std::string::npos);
    const SLintRule* pRule = CPackageLinter::FindRule(lintCase.strCode);
    ASSERT_NE(pRule, nullptr);
    EXPECT_EQ(finding.eSeverity, pRule->eSeverity);
}

TEST_P(LintFinding, IsNotReportedForTheCleanPackage)
{
    const LintCase& lintCase = GetParam();
    const std::vector<SLintFinding> vFindings = LintFiles(lintCase.clean, lintCase.vCleanDirectories);
    EXPECT_TRUE(vFindings.empty()) << Describe(vFindings);
}

INSTANTIATE_TEST_SUITE_P(EveryRule, LintFinding, ::testing::ValuesIn(Cases()), CaseName);

TEST(PackageLinter, EveryRuleHasACase)
{
    std::set<std::string> setCovered;
    for (const LintCase& lintCase : Cases())
    {
        setCovered.insert(lintCase.strCode);
    }
    for (const SLintRule& rule : CPackageLinter::Rules())
    {
        EXPECT_EQ(setCovered.count(rule.pszCode), 1u) << rule.pszCode;
    }
    EXPECT_EQ(setCovered.size(), CPackageLinter::Rules().size());
}

TEST(PackageLinter, TheDocumentationListsEveryRuleWithItsSeverity)
{
    const std::string strDocument = ReadFile(VEXDEP_SOURCE_DIR "/docs/diagnostics.md");
    for (const SLintRule& rule : CPackageLinter::Rules())
    {
        const std::string strRow = std::string("| `") + rule.pszCode + "` | " +
                                   (rule.eSeverity == SLintFinding::ESeverity::Error ? "error" : "warning") + " |";
        EXPECT_NE(strDocument.find(strRow), std::string::npos) << strRow;
    }
}

TEST(PackageLinter, ErrorsAndWarnings)
{
    const std::set<std::string> setErrors = {"package-missing",
                                             "package-unparsable",
                                             "missing-version",
                                             "missing-release-id",
                                             "missing-component-type",
                                             "release-id-shell-characters",
                                             "system-id-prefixed",
                                             "release-directory-missing",
                                             "pieconfig-missing",
                                             "pieconfig-unparsable",
                                             "no-inventory-plugin",
                                             "inventory-command-missing",
                                             "timeout-below-one",
                                             "package-root-wrong",
                                             "supported-devices-missing",
                                             "entity-not-loaded",
                                             "pieconfig-root-wrong",
                                             "release-directory-unreadable",
                                             "collector-command-not-found",
                                             "collector-not-executable",
                                             "system-id-never-matches",
                                             "version-part-overflows",
                                             "version-part-not-a-number",
                                             "package-directory-shell-characters"};
    for (const SLintRule& rule : CPackageLinter::Rules())
    {
        const bool bError = setErrors.count(rule.pszCode) == 1;
        EXPECT_EQ(rule.eSeverity == SLintFinding::ESeverity::Error, bError) << rule.pszCode;
    }
}

TEST(PackageLinter, ASecondBrandIsReportedOnceAndEveryPrefixedSystemIdSeparately)
{
    const std::vector<SLintFinding> vFindings = LintFiles(Clean(Package(
        Dep(Attributes(), {"<Brand><Model systemID=\"0x0A\"/></Brand>", "<Brand><Model systemID=\"0X0B\"/></Brand>",
                           "<DepBrand><DepModel systemID=\"0c\"/></DepBrand>"}))));
    ASSERT_EQ(vFindings.size(), 3u) << Describe(vFindings);
    EXPECT_EQ(vFindings[0].strCode, "system-id-prefixed");
    EXPECT_EQ(vFindings[0].nLine, 6);
    EXPECT_EQ(vFindings[1].strCode, "brand-repeated");
    EXPECT_EQ(vFindings[1].nLine, 7);
    EXPECT_EQ(vFindings[2].strCode, "system-id-prefixed");
    EXPECT_EQ(vFindings[2].nLine, 7);
}

TEST(PackageLinter, AReleaseIsCheckedOnceAtItsFirstDependency)
{
    const std::vector<SLintFinding> vFindings =
        LintFiles(Clean(Package(Dep(Attributes("1", "R1")) + Dep(Attributes("2", "R9")) + Dep(Attributes("3", "R9")))));
    ASSERT_EQ(vFindings.size(), 1u) << Describe(vFindings);
    EXPECT_EQ(vFindings[0].strCode, "release-directory-missing");
    EXPECT_EQ(vFindings[0].nLine, 7);
}

TEST(PackageLinter, ParentDevicePCIAttributesCarryOverWithinOneDevice)
{
    const std::string strPackage =
        "<?xml version=\"1.0\"?>\n<SoftwareComponent>\n<SupportedDevices>\n<Device componentID=\"500\">\n"
        "<PCIInfo vendorID=\"1B4A\" deviceID=\"0010\" subVendorID=\"1F0C\" subDeviceID=\"0001\"/>\n"
        "<PCIInfo deviceID=\"0011\" subVendorID=\"1F0C\" subDeviceID=\"0001\"/>\n" +
        Dep(Attributes()) + Dep(Attributes("3.0")) +
        "</Device>\n<Device componentID=\"600\">\n"
        "<PCIInfo deviceID=\"0012\" subVendorID=\"1F0C\" subDeviceID=\"0001\"/>\n" +
        Dep(Attributes()) + "</Device>\n</SupportedDevices>\n</SoftwareComponent>\n";
    const std::vector<SLintFinding> vFindings = LintFiles(Clean(strPackage));
    // Reported once for the Device, however many dependencies it has; the
    // next Device starts afresh.
    ASSERT_EQ(vFindings.size(), 1u) << Describe(vFindings);
    EXPECT_EQ(vFindings[0].strCode, "pci-attribute-carried-over");
    EXPECT_EQ(vFindings[0].nLine, 6);
    EXPECT_EQ(vFindings[0].strElement, "PCIInfo");
    EXPECT_NE(vFindings[0].strMessage.find("\"vendorID\": it carries \"1B4A\" over from line 5"), std::string::npos);
}

TEST(PackageLinter, DuplicatesAgreeWithThePackageReader)
{
    const std::string strPCI =
        "<DepPCIInfo vendorID=\"8A8A\" deviceID=\"00FF\" subVendorID=\"1F0C\" subDeviceID=\"0002\"/>";
    const std::vector<std::string> vPackages = {
        // Identical elements.
        Package(Dep(Attributes()) + Dep(Attributes()) + Dep(Attributes())),
        // Hard and soft are different dependencies.
        Package(Dep(Attributes()) + Dep(Attributes(), {}, "SoftDependency")),
        // The context, platforms and OS entries take no part in the equality.
        Package(Dep(Attributes("2.0", "R1", " context=\"ALL\"")) +
                Dep(Attributes(), {"<DepBrand><DepModel systemID=\"0b\"/></DepBrand>"})),
        // Two equal PCI identities in one element; then the same element again.
        Package(Dep(Attributes(), {strPCI, strPCI}) + Dep(Attributes(), {strPCI})),
        // A carried-over identity that equals the first.
        Package(Dep(Attributes(), {strPCI, "<DepPCIInfo/>"})),
    };
    const std::vector<std::size_t> vExpectedDuplicates = {2, 0, 1, 2, 1};
    for (std::size_t i = 0; i < vPackages.size(); ++i)
    {
        SCOPED_TRACE(vPackages[i]);
        TempDir dir;
        WriteFile(dir.File("package.xml"), vPackages[i]);
        MakeDirectory(dir.File("R1"));
        WriteFile(dir.File("R1/PIEConfig.xml"), kGoodPieConfig);

        CPackageLinter linter(dir.Path());
        std::size_t nDuplicates = 0;
        std::size_t nOthers = 0;
        for (const SLintFinding& finding : linter.Lint())
        {
            (finding.strCode == "duplicate-dependency" ? nDuplicates : nOthers) += 1;
        }
        EXPECT_EQ(nDuplicates, vExpectedDuplicates[i]);

        // The reader's list holds one record per element and PCI identity,
        // less the duplicates.
        std::size_t nRecords = 0;
        {
            ScopedCwd cwd(dir.Path());
            CSoftwareComponentInfo reader;
            std::vector<CDeviceInfo*> vRecords = reader.getDependencyInfo();
            nRecords = vRecords.size();
            for (CDeviceInfo* pRecord : vRecords)
            {
                delete pRecord;
            }
        }
        const std::size_t nWritten = std::vector<std::size_t>{3, 2, 2, 3, 2}[i];
        EXPECT_EQ(nRecords, nWritten - nDuplicates);
    }
}

TEST(PackageLinter, APackageWithoutDependenciesIsCleanButNotOneWithoutSupportedDevices)
{
    EXPECT_TRUE(LintFiles({{"package.xml", Package("")}}).empty());
    const std::vector<SLintFinding> vFindings = LintFiles({{"package.xml", "<SoftwareComponent/>"}});
    ASSERT_EQ(vFindings.size(), 1u) << Describe(vFindings);
    EXPECT_EQ(vFindings[0].strCode, "supported-devices-missing");
    EXPECT_EQ(vFindings[0].nLine, 1);
}

TEST(PackageLinter, TheSamplePackageIsCleanButForItsPreOSContext)
{
    CPackageLinter linter(VEXDEP_SOURCE_DIR "/examples/package");
    const std::vector<SLintFinding> vFindings = linter.Lint();
    ASSERT_EQ(vFindings.size(), 1u) << Describe(vFindings);
    EXPECT_EQ(vFindings[0].strCode, "context-never-applies");
    EXPECT_NE(vFindings[0].strMessage.find("\"PREOS\""), std::string::npos);
}

TEST(PackageLinter, FindingsAreInTheOrderOfTheFiles)
{
    const std::vector<SLintFinding> vFindings = LintFiles(
        With(Clean(Package(Dep(Attributes("A1")) + Dep(Attributes("2", "R2")) +
                           Dep(Attributes("3", "R3", " context=\"X\"")))),
             "R3/PIEConfig.xml", PluginConfig("description=\"Inventory\" type=\"0\" timeout=\"-5\"", kCliToFile)));
    std::vector<std::string> vCodes;
    for (const SLintFinding& finding : vFindings)
    {
        vCodes.push_back(finding.strCode + "@" + finding.strFile + ":" + std::to_string(finding.nLine));
    }
    EXPECT_EQ(vCodes, (std::vector<std::string>{
                          "version-compared-as-text@package.xml:5", "context-never-applies@package.xml:9",
                          "release-directory-missing@package.xml:7", "timeout-below-one@R3/PIEConfig.xml:4"}));
}

TEST(PackageLinter, ADocumentThatDoesNotParseIsReportedWithTheParsersMessageLineAndColumn)
{
    const std::vector<SLintFinding> vFindings =
        LintFiles(With(Clean(), "package.xml", "<SoftwareComponent>\n<SupportedDevices>\n<Device a=\"1\" a=\"2\"/>\n"));
    ASSERT_EQ(vFindings.size(), 1u) << Describe(vFindings);
    EXPECT_EQ(vFindings[0].strCode, "package-unparsable");
    // Where the parser stops, as xmllint shows it.
    EXPECT_EQ(vFindings[0].nLine, 3);
    EXPECT_EQ(vFindings[0].nColumn, 20);
    EXPECT_EQ(vFindings[0].strMessage,
              "package.xml is not well-formed XML: Attribute a redefined: the checker finds no dependency");

    const std::vector<SLintFinding> vUnread =
        LintFiles(Without(Clean(), "R1/PIEConfig.xml"), {"R1", "R1/PIEConfig.xml"});
    ASSERT_EQ(vUnread.size(), 1u) << Describe(vUnread);
    EXPECT_EQ(vUnread[0].strCode, "pieconfig-unparsable");
    EXPECT_EQ(vUnread[0].nLine, 0);
    EXPECT_EQ(vUnread[0].nColumn, 0);
    EXPECT_NE(vUnread[0].strMessage.find("cannot be read (not a readable regular file)"), std::string::npos);
}

TEST(PackageLinter, EntitiesThatAreNeverLoadedAreReportedWhereTheyAreUsed)
{
    // Lines 2 to 5 the DOCTYPE with its internal subset; the dependency on
    // line 9, its Detail on line 11.
    const std::string strPackage = WithDoctype(
        "SYSTEM \"package.dtd\" [\n<!ENTITY % more SYSTEM \"more.ent\">\n<!ENTITY detail SYSTEM \"detail.txt\">\n]",
        Package(Dep(Attributes("&version;"), {"<Display>A</Display>", "<Detail>B &detail;</Detail>"})));
    const std::vector<SLintFinding> vFindings = LintFiles(Clean(strPackage));
    std::vector<std::string> vSeen;
    for (const SLintFinding& finding : vFindings)
    {
        vSeen.push_back(finding.strCode + "@" + std::to_string(finding.nLine) + ":" + std::to_string(finding.nColumn));
    }
    EXPECT_EQ(vSeen,
              (std::vector<std::string>{"external-declaration-not-loaded@2:0", "external-declaration-not-loaded@3:0",
                                        "entity-not-loaded@11:0", "entity-not-loaded@9:70", "missing-version@9:0"}))
        << Describe(vFindings);
    ASSERT_EQ(vFindings.size(), 5u);
    EXPECT_NE(vFindings[1].strMessage.find("the parameter entity \"more\" is external (SYSTEM \"more.ent\")"),
              std::string::npos);
    EXPECT_NE(vFindings[2].strMessage.find("so it reads only \"B \" as the text of Detail"), std::string::npos);
    EXPECT_NE(vFindings[3].strMessage.find("the entity \"version\" is declared nowhere in the document (only the "
                                           "external DTD"),
              std::string::npos);
}

TEST(PackageLinter, TheRootElementMustBeMatchedExactlyAndWithoutNamespace)
{
    const std::vector<SLintFinding> vFindings =
        LintFiles(With(Clean(), "package.xml",
                       "<?xml version=\"1.0\"?>\n<SoftwareComponent xmlns=\"urn:example\">\n"
                       "<SupportedDevices/>\n</SoftwareComponent>\n"));
    ASSERT_EQ(vFindings.size(), 1u) << Describe(vFindings);
    EXPECT_EQ(vFindings[0].strCode, "package-root-wrong");
    EXPECT_EQ(vFindings[0].nLine, 2);
    EXPECT_NE(vFindings[0].strMessage.find("is in the namespace \"urn:example\""), std::string::npos);

    const std::vector<SLintFinding> vCase =
        LintFiles(With(Clean(), "package.xml", "<SoftwareComponent>\n<Supporteddevices/>\n</SoftwareComponent>\n"));
    ASSERT_EQ(vCase.size(), 1u) << Describe(vCase);
    EXPECT_EQ(vCase[0].strCode, "supported-devices-missing");
    EXPECT_EQ(vCase[0].nLine, 2);
    EXPECT_EQ(vCase[0].strElement, "Supporteddevices");
    EXPECT_NE(vCase[0].strMessage.find("differs from SupportedDevices in case"), std::string::npos);
}

TEST(PackageLinter, PluginConfigurationsGetTheSameMarkupChecks)
{
    const std::vector<SLintFinding> vFindings =
        LintFiles(With(Clean(), "R1/PIEConfig.xml",
                       "<?xml version=\"1.0\"?>\n<!DOCTYPE PIEConfig SYSTEM \"pie.dtd\">\n<PIEConfig>\n<Plugins>\n"
                       "<Plugin description=\"Inventory\" type=\"0\" timeout=\"&timeout;\">\n" +
                           kCliToFile + "\n</Plugin>\n</Plugins>\n</PIEConfig>\n"));
    std::vector<std::string> vSeen;
    for (const SLintFinding& finding : vFindings)
    {
        vSeen.push_back(finding.strCode + "@" + finding.strFile + ":" + std::to_string(finding.nLine));
    }
    EXPECT_EQ(vSeen, (std::vector<std::string>{"external-declaration-not-loaded@R1/PIEConfig.xml:2",
                                               "entity-not-loaded@R1/PIEConfig.xml:5",
                                               "no-inventory-plugin@R1/PIEConfig.xml:3"}))
        << Describe(vFindings);
}
