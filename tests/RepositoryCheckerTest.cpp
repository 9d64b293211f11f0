#include "RepositoryChecker.h"

#include <gtest/gtest.h>

namespace
{
SPackageDescription Package(const std::string& strPath, const std::string& strComponent, const std::string& strVersion,
                            const std::string& strDigest = "sha256:a")
{
    SPackageDescription package;
    package.strPath = strPath;
    package.strComponentType = "FRMW";
    package.strVersion = strVersion;
    package.strDigest = strDigest;
    package.strStamp = "stamp";
    SSupportedDevice device;
    device.strComponentID = strComponent;
    package.vDevices = {device};
    return package;
}

SDeclaredDependency Needs(const std::string& strComponent, const std::string& strVersion, const std::string& strPath,
                          bool bSoft = false, const std::string& strType = "FRMW")
{
    SDeclaredDependency dependency;
    dependency.eType = bSoft ? CDeviceInfo::eDependencyTypeSoft : CDeviceInfo::eDependencyTypeHard;
    dependency.strComponentID = strComponent;
    dependency.strComponentType = strType;
    dependency.strVersion = strVersion;
    dependency.strPath = strPath;
    dependency.strDisplay = "Needs " + strComponent;
    dependency.nLine = 12;
    return dependency;
}

std::vector<SRepositoryFinding> Check(std::vector<SPackageDescription> vPackages,
                                      const SRepositoryContent& content = SRepositoryContent(),
                                      const SCatalog* pCatalog = nullptr)
{
    SRepositoryContent withPackages = content;
    withPackages.vPackages = vPackages;
    const CRepositoryIndex index(vPackages);
    return CRepositoryChecker::Check(index, withPackages, pCatalog, "");
}

std::vector<std::string> Codes(const std::vector<SRepositoryFinding>& vFindings)
{
    std::vector<std::string> vCodes;
    for (const SRepositoryFinding& finding : vFindings)
    {
        vCodes.push_back(finding.strCode + (finding.eSeverity == SRepositoryFinding::ESeverity::Error ? "" : "?"));
    }
    return vCodes;
}
} // namespace

TEST(RepositoryChecker, FindsNothingInAConsistentRepository)
{
    SPackageDescription top = Package("top", "1", "2.0");
    top.vDependencies = {Needs("2", "1.0", "lib")};
    EXPECT_TRUE(Check({top, Package("lib", "2", "1.5")}).empty());
}

TEST(RepositoryChecker, FindsPathsThatNameNoPackageOrTheWrongOne)
{
    SPackageDescription top = Package("top", "1", "2.0");
    top.vDependencies = {Needs("2", "1.0", "nowhere"), Needs("3", "1.0", "lib"), Needs("2", "9.0", "lib"),
                         Needs("4", "1.0", "gone", true)};
    const std::vector<SRepositoryFinding> vFindings = Check({top, Package("lib", "2", "1.5")});
    EXPECT_EQ(Codes(vFindings), (std::vector<std::string>{"path-missing", "path-wrong-identity", "path-version-too-low",
                                                          "path-missing?"}));
    EXPECT_EQ(vFindings[0].strFile, "top/package.xml");
    EXPECT_EQ(vFindings[0].nLine, 12);
    EXPECT_NE(vFindings[0].strMessage.find("a plan would take lib (\"1.5\") instead"), std::string::npos)
        << vFindings[0].strMessage;
}

TEST(RepositoryChecker, NamesTheWholeChainOfACycle)
{
    SPackageDescription a = Package("a", "1", "1.0");
    SPackageDescription b = Package("b", "2", "1.0");
    SPackageDescription c = Package("c", "3", "1.0");
    a.vDependencies = {Needs("2", "1.0", "b")};
    b.vDependencies = {Needs("3", "1.0", "c")};
    c.vDependencies = {Needs("1", "1.0", "a")};
    const std::vector<SRepositoryFinding> vFindings = Check({a, b, c});
    ASSERT_EQ(Codes(vFindings), std::vector<std::string>{"cycle"});
    EXPECT_EQ(vFindings[0].vCycle, (std::vector<std::string>{"a", "b", "c", "a"}));
    EXPECT_EQ(vFindings[0].strMessage, "the packages need each other, so no order installs them: a (needs \"Needs "
                                       "2\") -> b (needs \"Needs 3\") -> c (needs \"Needs 1\") -> a");
}

TEST(RepositoryChecker, FindsAMissingIntermediateVersion)
{
    SPackageDescription top = Package("bp-3.20", "104500", "3.20");
    top.vDependencies = {Needs("104500", "3.15", "bp-3.15")};
    EXPECT_EQ(Codes(Check({top})), (std::vector<std::string>{"path-missing", "missing-intermediate-version"}));
    EXPECT_TRUE(Check({top, Package("bp-3.15", "104500", "3.15")}).empty());
}

TEST(RepositoryChecker, FindsOneIdentityAtOneVersionWithDifferentContent)
{
    const std::vector<SRepositoryFinding> vFindings =
        Check({Package("x", "7", "1.0", "sha256:a"), Package("y", "7", "1.0.0", "sha256:b"),
               Package("z", "7", "1.0", "sha256:a")});
    EXPECT_EQ(Codes(vFindings), (std::vector<std::string>{"duplicate-identity", "duplicate-identity"}));
    EXPECT_EQ(vFindings[0].strPackage, "y");
}

TEST(RepositoryChecker, ReportsRefusedPackagesSkippedEntriesAndAnOutdatedCatalog)
{
    SRepositoryContent content;
    content.vRefused = {SRefusedPackage{"evil.tar", "the archive member \"x\" is a symbolic link"}};
    content.vSkipped = {SRefusedPackage{"loop", "a symbolic link: links in a repository are not followed"}};
    SCatalog catalog;
    SPackageDescription stale = Package("a", "1", "1.0", "sha256:old");
    catalog.vPackages = {stale, Package("gone", "2", "1.0")};
    const std::vector<SRepositoryFinding> vFindings = Check({Package("a", "1", "1.0")}, content, &catalog);
    EXPECT_EQ(Codes(vFindings), (std::vector<std::string>{"package-refused", "entry-skipped?", "catalog-out-of-date?",
                                                          "catalog-out-of-date?"}));
    EXPECT_EQ(vFindings[0].strMessage, "evil.tar is refused: the archive member \"x\" is a symbolic link");
}

TEST(RepositoryChecker, HasARuleForEveryCode)
{
    const std::vector<SRepositoryRule>& vRules = CRepositoryChecker::Rules();
    EXPECT_EQ(vRules.size(), 9u);
    for (const SRepositoryRule& rule : vRules)
    {
        EXPECT_FALSE(std::string(rule.pszSummary).empty());
        EXPECT_FALSE(std::string(rule.pszHelp).empty());
    }
}
