#include "CandidateResolver.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
SPackageDescription Package(const std::string& strPath, const std::string& strVersion,
                            const std::string& strComponent = "104500", const std::string& strType = "FRMW")
{
    SPackageDescription package;
    package.strPath = strPath;
    package.strComponentType = strType;
    package.strVersion = strVersion;
    SSupportedDevice device;
    device.strComponentID = strComponent;
    package.vDevices = {device};
    return package;
}

CDeviceInfo Dependency(const std::string& strVersion, const std::string& strPath = "",
                       const std::string& strComponent = "104500")
{
    CDeviceInfo dependency;
    dependency.setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    dependency.setComponentID(strComponent);
    dependency.setComponentType("FRMW");
    dependency.setVersion(strVersion);
    dependency.setFilePath(strPath);
    return dependency;
}

SResolution Resolve(const CRepositoryIndex& index, const CDeviceInfo& dependency, std::vector<std::size_t> vStack = {},
                    const SPackageDescription* pRequirer = nullptr)
{
    CCandidateResolver::SContext context;
    context.pIndex = &index;
    context.vStack = vStack;
    context.pRequirer = pRequirer;
    return CCandidateResolver::Resolve(dependency, context);
}

std::string KindOf(const SResolution& resolution, const std::string& strPath)
{
    for (const SRejectedCandidate& rejected : resolution.vRejected)
    {
        if (rejected.strPath == strPath)
        {
            return rejected.strKind;
        }
    }
    return "";
}
} // namespace

TEST(CandidateResolver, TakesThePackageTheDependencyNamesWhenItQualifies)
{
    const CRepositoryIndex index({Package("BP/3.20", "3.20"), Package("BP/3.25", "3.25"), Package("BP/3.30", "3.30")});
    const SResolution resolution = Resolve(index, Dependency("3.20", "BP\\3.25"));
    ASSERT_EQ(resolution.eOutcome, SResolution::EOutcome::Resolved);
    EXPECT_EQ(index.At(resolution.nPackage).strPath, "BP/3.25");
    EXPECT_FALSE(resolution.bSubstituted);
    EXPECT_EQ(KindOf(resolution, "BP/3.20"), "not-chosen");
}

TEST(CandidateResolver, OtherwiseTakesTheLowestVersionThatSufficesAndSaysItSubstituted)
{
    const CRepositoryIndex index(
        {Package("BP/3.30", "3.30"), Package("BP/3.10", "3.10"), Package("BP/3.22", "3.22"), Package("BP/old", "3.1")});
    const SResolution resolution = Resolve(index, Dependency("3.20", "BP\\missing"));
    ASSERT_EQ(resolution.eOutcome, SResolution::EOutcome::Resolved);
    EXPECT_EQ(index.At(resolution.nPackage).strPath, "BP/3.22");
    EXPECT_TRUE(resolution.bSubstituted);
    EXPECT_FALSE(resolution.bRequestedPathHoldsPackage);
    EXPECT_EQ(KindOf(resolution, "BP/3.10"), "version-too-low");
    EXPECT_EQ(KindOf(resolution, "BP/3.30"), "not-chosen");
}

TEST(CandidateResolver, BreaksATieOfVersionsByPathOrder)
{
    // 3.22 and 3.22.0 are the same version to the checker.
    const CRepositoryIndex index({Package("z", "3.22"), Package("m", "3.22.0"), Package("q", "3.22")});
    for (int nRun = 0; nRun < 3; ++nRun)
    {
        const SResolution resolution = Resolve(index, Dependency("3.20"));
        ASSERT_EQ(resolution.eOutcome, SResolution::EOutcome::Resolved);
        EXPECT_EQ(index.At(resolution.nPackage).strPath, "m");
    }
}

TEST(CandidateResolver, RejectsTheWrongIdentityAndWhatAppliesToNoDeviceHere)
{
    std::vector<SPackageDescription> vPackages = {Package("driver", "9.0", "104500", "DRVR"),
                                                  Package("elsewhere", "9.0"), Package("here", "9.5")};
    const CRepositoryIndex index(vPackages);
    CCandidateResolver::SContext context;
    context.pIndex = &index;
    context.appliesToMachine = [](const SPackageDescription& package) { return package.strPath != "elsewhere"; };
    const SResolution resolution = CCandidateResolver::Resolve(Dependency("3.20", "driver"), context);
    ASSERT_EQ(resolution.eOutcome, SResolution::EOutcome::Resolved);
    EXPECT_EQ(index.At(resolution.nPackage).strPath, "here");
    EXPECT_TRUE(resolution.bRequestedPathHoldsPackage);
    EXPECT_TRUE(resolution.bSubstituted);
    EXPECT_EQ(KindOf(resolution, "driver"), "wrong-identity");
    EXPECT_EQ(KindOf(resolution, "elsewhere"), "no-device");
}

TEST(CandidateResolver, SaysWhenNothingProvidesIt)
{
    const CRepositoryIndex index({Package("BP/3.10", "3.10")});
    const SResolution resolution = Resolve(index, Dependency("3.20", "BP\\3.20"));
    EXPECT_EQ(resolution.eOutcome, SResolution::EOutcome::Missing);
    EXPECT_EQ(resolution.strRequestedPath, "BP/3.20");
    EXPECT_EQ(KindOf(resolution, "BP/3.10"), "version-too-low");
    EXPECT_EQ(SResolution::OutcomeKey(resolution.eOutcome), "missing");
}

TEST(CandidateResolver, NeverTakesAPackageBeingPlannedAboveButNamesTheCycle)
{
    const CRepositoryIndex index({Package("A", "2.0", "1"), Package("B", "2.0", "2")});
    const SResolution resolution = Resolve(index, Dependency("2.0", "A", "1"), {0, 1});
    EXPECT_EQ(resolution.eOutcome, SResolution::EOutcome::Cycle);
    EXPECT_EQ(resolution.nCyclePackage, 0u);
    EXPECT_EQ(KindOf(resolution, "A"), "in-cycle");
}

TEST(CandidateResolver, WantsAnIntermediateVersionBelowThePackageThatNeedsIt)
{
    const CRepositoryIndex index({Package("BP/3.15", "3.15"), Package("BP/3.20", "3.20"), Package("BP/3.17", "3.17")});
    const SPackageDescription& requirer = index.At(index.AtPath("BP/3.20"));
    SResolution resolution = Resolve(index, Dependency("3.15", "BP\\3.15"), {index.AtPath("BP/3.20")}, &requirer);
    ASSERT_EQ(resolution.eOutcome, SResolution::EOutcome::Resolved);
    EXPECT_EQ(index.At(resolution.nPackage).strPath, "BP/3.15");
    EXPECT_EQ(KindOf(resolution, "BP/3.20"), "not-intermediate");

    const CRepositoryIndex alone({Package("BP/3.20", "3.20"), Package("BP/3.10", "3.10")});
    resolution = Resolve(alone, Dependency("3.15"), {alone.AtPath("BP/3.20")}, &alone.At(alone.AtPath("BP/3.20")));
    EXPECT_EQ(resolution.eOutcome, SResolution::EOutcome::MissingIntermediateVersion);
}

TEST(CandidateResolver, RejectsAPackageThatWouldDowngradeAnInstalledComponent)
{
    SPackageDescription bundle = Package("bundle", "5.0");
    SSupportedDevice other;
    other.strComponentID = "200";
    bundle.vDevices.push_back(other);
    const CRepositoryIndex index({bundle});
    CDeviceInfo installed;
    installed.setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
    installed.setComponentID("200");
    installed.setComponentType("FRMW");
    installed.setVersion("6.1");
    CCandidateResolver::SContext context;
    context.pIndex = &index;
    context.vInstalled = {&installed};
    const SResolution resolution = CCandidateResolver::Resolve(Dependency("4.0"), context);
    EXPECT_EQ(resolution.eOutcome, SResolution::EOutcome::Downgrade);
    ASSERT_EQ(resolution.vRejected.size(), 1u);
    EXPECT_EQ(resolution.vRejected[0].strReason, "would take component \"200\" from \"6.1\" back to \"5.0\"");
}

TEST(CandidateResolver, PassesOverARefusedPackage)
{
    const CRepositoryIndex index({Package("BP/a", "3.20"), Package("BP/b", "3.21")});
    const std::map<std::size_t, std::string> mapRefused = {{0, "its content does not match the catalog's digest"}};
    CCandidateResolver::SContext context;
    context.pIndex = &index;
    context.pRefused = &mapRefused;
    const SResolution resolution = CCandidateResolver::Resolve(Dependency("3.20", "BP\\a"), context);
    ASSERT_EQ(resolution.eOutcome, SResolution::EOutcome::Resolved);
    EXPECT_EQ(index.At(resolution.nPackage).strPath, "BP/b");
    EXPECT_EQ(KindOf(resolution, "BP/a"), "refused");
}
