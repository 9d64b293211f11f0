#include "ExplainReport.h"
#include "RunVerdict.h"

#include <gtest/gtest.h>

namespace
{
// A dependency of the given type that the checker took to the given
// verdict, with a collector run that wrote a fresh document of nRecords
// records.
SExplainedDependency Dependency(const std::string& strDisplay, CDeviceInfo::eDependencyType eType, EVerdict eVerdict,
                                std::size_t nRecords = 2)
{
    SExplainedDependency dependency;
    dependency.strDisplay = strDisplay;
    dependency.strReleaseID = "R1";
    dependency.strVersion = "2.0";
    dependency.eDependencyType = eType;
    dependency.verdict = eVerdict;
    dependency.inventory.eLookup = SExplainedInventory::ELookup::Collected;
    dependency.inventory.nRecords = nRecords;
    SExplainedCollector collector;
    collector.strOutputPath = "/pkg//R1//inventory.xml";
    collector.bOutputPresent = true;
    collector.nStartedMs = 1000000;
    dependency.inventory.collector = collector;
    return dependency;
}

const CDeviceInfo::eDependencyType kHard = CDeviceInfo::eDependencyTypeHard;
const CDeviceInfo::eDependencyType kSoft = CDeviceInfo::eDependencyTypeSoft;

std::vector<std::string> Kinds(const SRunVerdict& verdict)
{
    std::vector<std::string> vKinds;
    for (const SVerdictReason& reason : verdict.vReasons)
    {
        vKinds.push_back(reason.strKind);
    }
    return vKinds;
}

SRunVerdict Decide(CDeviceInfo::eDependencyType eType, const std::vector<SExplainedDependency>& vDependencies)
{
    return CRunVerdict::Decide(eType, EPackageDescription::Parsed, vDependencies);
}
} // namespace

TEST(RunVerdict, KeysAndExitStatuses)
{
    EXPECT_EQ(SRunVerdict::Key(ERunVerdict::Ready), "ready");
    EXPECT_EQ(SRunVerdict::Key(ERunVerdict::Blocked), "blocked");
    EXPECT_EQ(SRunVerdict::Key(ERunVerdict::Recommended), "recommended");
    EXPECT_EQ(SRunVerdict::Key(ERunVerdict::Unverifiable), "unverifiable");
    EXPECT_EQ(SRunVerdict::ExitStatus(ERunVerdict::Ready), 0);
    EXPECT_EQ(SRunVerdict::ExitStatus(ERunVerdict::Blocked), 1);
    EXPECT_EQ(SRunVerdict::ExitStatus(ERunVerdict::Recommended), 2);
    EXPECT_EQ(SRunVerdict::ExitStatus(ERunVerdict::Unverifiable), 3);
}

TEST(RunVerdict, EverythingMetIsReady)
{
    const SRunVerdict verdict =
        Decide(kHard, {Dependency("A", kHard, EVerdict::Met), Dependency("B", kHard, EVerdict::ContextNotApplicable),
                       Dependency("C", kSoft, EVerdict::OtherType)});
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Ready);
    EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"all-met"}));
    EXPECT_EQ(verdict.vReasons[0].strText, "every applicable hard dependency was checked and is met (1)");
}

TEST(RunVerdict, NothingApplicableIsReady)
{
    const SRunVerdict verdict = Decide(kSoft, {Dependency("A", kSoft, EVerdict::PlatformNotApplicable),
                                               Dependency("B", kSoft, EVerdict::DeviceNotPresent)});
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Ready);
    EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"none-applicable"}));
}

TEST(RunVerdict, UnmetHardIsBlockedAndUnmetSoftRecommended)
{
    SExplainedDependency unmet = Dependency("A", kHard, EVerdict::Unmet);
    unmet.strCurrentVersion = "1.5";
    const SRunVerdict hard = Decide(kHard, {unmet, Dependency("B", kHard, EVerdict::Met)});
    EXPECT_EQ(hard.eVerdict, ERunVerdict::Blocked);
    ASSERT_EQ(hard.vReasons.size(), 1u);
    EXPECT_EQ(hard.vReasons[0].strKind, "unmet");
    EXPECT_EQ(hard.vReasons[0].strDependency, "A");
    EXPECT_EQ(hard.vReasons[0].strReleaseID, "R1");
    EXPECT_EQ(hard.vReasons[0].strText, "\"A\": installed \"1.5\", required \"2.0\"");

    SExplainedDependency soft = Dependency("S", kSoft, EVerdict::Unmet);
    soft.strCurrentVersion = "1.5";
    const SRunVerdict recommended = Decide(kSoft, {soft});
    EXPECT_EQ(recommended.eVerdict, ERunVerdict::Recommended);
    EXPECT_EQ(recommended.vReasons[0].strText, "\"S\": installed \"1.5\", recommended \"2.0\"");
}

TEST(RunVerdict, UnmetOutweighsWhatCouldNotBeCheckedAndBothAreListed)
{
    SExplainedDependency failed = Dependency("F", kHard, EVerdict::Failed, 1);
    failed.inventory.eOutcome = SExplainedInventory::EOutcome::Failed;
    failed.strErrorMessage = "device did not answer";
    const SRunVerdict verdict = Decide(kHard, {failed, Dependency("U", kHard, EVerdict::Unmet)});
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Blocked);
    EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"unmet", "inventory-failed"}));
    EXPECT_EQ(verdict.vReasons[1].strText, "\"F\": the inventory of release \"R1\" failed: device did not answer");
}

TEST(RunVerdict, FailedOrTimedOutInventoryIsUnverifiable)
{
    SExplainedDependency timedOut = Dependency("T", kHard, EVerdict::Failed, 1);
    timedOut.inventory.eOutcome = SExplainedInventory::EOutcome::TimedOut;
    timedOut.strErrorMessage = "Inventory collector timed out after 1 seconds";
    const SRunVerdict verdict = Decide(kHard, {timedOut, Dependency("M", kHard, EVerdict::Met)});
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Unverifiable);
    EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"inventory-timed-out"}));
}

TEST(RunVerdict, NoInventoryOrNoDocumentIsUnverifiable)
{
    EXPECT_EQ(Kinds(Decide(kHard, {Dependency("N", kHard, EVerdict::NoInventory)})),
              std::vector<std::string>({"no-inventory"}));

    // The collector wrote nothing: the checker finds no installed instance
    // and stays silent; the verdict does not.
    SExplainedDependency nothing = Dependency("E", kHard, EVerdict::NotInstalled, 0);
    nothing.inventory.collector->bOutputPresent = false;
    nothing.inventory.collector->bReleaseWritable = false;
    const SRunVerdict verdict = Decide(kHard, {nothing});
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Unverifiable);
    EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"no-inventory"}));
    EXPECT_EQ(verdict.vReasons[0].strText, "\"E\": release \"R1\": its collector wrote no output document (the release "
                                           "directory is not writable by this user)");

    SExplainedDependency notRun = Dependency("X", kHard, EVerdict::NotInstalled, 0);
    notRun.inventory.eOutcome = SExplainedInventory::EOutcome::NotRun;
    notRun.inventory.strReason = "PIEConfig.xml does not exist";
    notRun.inventory.collector.reset();
    EXPECT_EQ(Kinds(Decide(kHard, {notRun})), std::vector<std::string>({"collector-not-run"}));
}

TEST(RunVerdict, AComponentThatIsNotInstalledOrARequirementWithoutVersionIsReadyButSaidSo)
{
    SExplainedDependency withoutVersion = Dependency("V", kHard, EVerdict::Met);
    withoutVersion.strVersion.clear();
    const SRunVerdict verdict = Decide(kHard, {Dependency("N", kHard, EVerdict::NotInstalled, 3), withoutVersion,
                                               Dependency("M", kHard, EVerdict::Met)});
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Ready);
    ASSERT_EQ(Kinds(verdict), std::vector<std::string>({"all-met"}));
    EXPECT_EQ(verdict.vReasons[0].strText,
              "no applicable hard dependency is unmet: 1 checked and met, 1 not installed (the checker reports only "
              "an installed component that is older), 1 with no required version (nothing to compare: never "
              "reported unmet)");
    EXPECT_EQ(verdict.vReasons[0].strText.find("checked and is met"), std::string::npos);
}

TEST(RunVerdict, PlatformsPassedOverForAUserWhoMayNotReadTheTablesAreUnverifiable)
{
    SExplainedDependency passedOver = Dependency("P", kHard, EVerdict::Unmet);
    passedOver.platform = SExplainedPlatform();
    passedOver.platform->vPlatforms = {"0x0A1C"};
    passedOver.platform->bChecked = false;
    SRunCircumstances circumstances;
    // Tables absent for everyone: the checker's own rule, nothing to doubt.
    EXPECT_EQ(CRunVerdict::Decide(kHard, EPackageDescription::Parsed, {passedOver}, circumstances).eVerdict,
              ERunVerdict::Blocked);
    circumstances.strSmbiosRefused = "/dev/mem: Permission denied";
    const SRunVerdict verdict = CRunVerdict::Decide(kHard, EPackageDescription::Parsed, {passedOver}, circumstances);
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Unverifiable);
    ASSERT_EQ(Kinds(verdict), std::vector<std::string>({"platform-unverifiable"}));
    EXPECT_EQ(verdict.vReasons[0].strText,
              "\"P\": its platforms (0x0A1C) could not be checked as this user, who may not read the SMBIOS tables "
              "(/dev/mem: Permission denied): the checker passes the check over; the verdict holds only for a run "
              "as root");
}

TEST(RunVerdict, TablesThisUserMayNotReadAreAWarningWhenNoApplicableDependencyListsPlatforms)
{
    SExplainedDependency everywhere = Dependency("E", kHard, EVerdict::Unmet);
    everywhere.platform = SExplainedPlatform();
    everywhere.platform->bChecked = false;
    SRunCircumstances circumstances;
    EXPECT_TRUE(CRunVerdict::Decide(kHard, EPackageDescription::Parsed, {everywhere}, circumstances).vWarnings.empty());
    circumstances.strSmbiosRefused = "/dev/mem: Permission denied";
    const SRunVerdict verdict = CRunVerdict::Decide(kHard, EPackageDescription::Parsed, {everywhere}, circumstances);
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Blocked);
    EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"unmet"}));
    ASSERT_EQ(verdict.vWarnings.size(), 1u);
    EXPECT_EQ(verdict.vWarnings[0].strKind, "platform-unread");
    EXPECT_EQ(verdict.vWarnings[0].strText,
              "the platform was not read as this user, who may not read the SMBIOS tables (/dev/mem: Permission "
              "denied); no applicable hard dependency lists platforms, so the verdict does not depend on it");

    // A soft dependency with platforms does not matter to a hard run.
    SExplainedDependency softWithPlatforms = Dependency("S", kSoft, EVerdict::OtherType);
    softWithPlatforms.platform = SExplainedPlatform();
    softWithPlatforms.platform->vPlatforms = {"0x0A1C"};
    EXPECT_EQ(CRunVerdict::Decide(kHard, EPackageDescription::Parsed, {everywhere, softWithPlatforms}, circumstances)
                  .vWarnings.size(),
              1u);

    // Where a dependency lists platforms, the reason says it and no warning repeats it.
    SExplainedDependency listed = Dependency("P", kHard, EVerdict::Met);
    listed.platform = SExplainedPlatform();
    listed.platform->vPlatforms = {"0x0A1C"};
    const SRunVerdict doubted =
        CRunVerdict::Decide(kHard, EPackageDescription::Parsed, {everywhere, listed}, circumstances);
    EXPECT_EQ(Kinds(doubted), std::vector<std::string>({"unmet", "platform-unverifiable"}));
    EXPECT_TRUE(doubted.vWarnings.empty());
}

TEST(RunVerdict, WithoutTheInventoryTextDevicesAndOSNotFoundAreUnverifiable)
{
    SRunCircumstances circumstances;
    circumstances.strInventoryTextProblem = "inv.xml: No such file or directory";
    const SRunVerdict verdict = CRunVerdict::Decide(kHard, EPackageDescription::Parsed,
                                                    {Dependency("D", kHard, EVerdict::DeviceNotPresent),
                                                     Dependency("O", kHard, EVerdict::OSNotApplicable),
                                                     Dependency("C", kHard, EVerdict::ContextNotApplicable)},
                                                    circumstances);
    EXPECT_EQ(verdict.eVerdict, ERunVerdict::Unverifiable);
    EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"inventory-text-unreadable", "inventory-text-unreadable"}));
    EXPECT_EQ(verdict.vReasons[0].strText,
              "\"D\": it applies only to a device, and the machine's device list could not be read (inv.xml: No "
              "such file or directory): it was never considered");
}

TEST(RunVerdict, StaleDocumentMakesEvenAnUnmetOrMetDependencyUnverifiable)
{
    for (const EVerdict eVerdict : {EVerdict::Unmet, EVerdict::Met, EVerdict::NotInstalled})
    {
        SExplainedDependency stale = Dependency("S", kHard, eVerdict);
        stale.inventory.collector->bOutputStale = true;
        const SRunVerdict verdict = Decide(kHard, {stale});
        EXPECT_EQ(verdict.eVerdict, ERunVerdict::Unverifiable);
        EXPECT_EQ(Kinds(verdict), std::vector<std::string>({"stale-inventory"}));
    }
}

TEST(RunVerdict, OtherTypesDoNotCount)
{
    SExplainedDependency failedSoft = Dependency("F", kSoft, EVerdict::Failed);
    EXPECT_EQ(Decide(kHard, {failedSoft, Dependency("M", kHard, EVerdict::Met)}).eVerdict, ERunVerdict::Ready);
}

TEST(RunVerdict, APackageDescriptionThatDeclaresNothingReadableIsUnverifiable)
{
    EXPECT_EQ(Kinds(CRunVerdict::Decide(kHard, EPackageDescription::Missing, {})),
              std::vector<std::string>({"no-package-description"}));
    EXPECT_EQ(Kinds(CRunVerdict::Decide(kHard, EPackageDescription::Unparsable, {})),
              std::vector<std::string>({"package-description-unparsable"}));
    const SRunVerdict nothing = CRunVerdict::Decide(kSoft, EPackageDescription::Parsed, {});
    EXPECT_EQ(nothing.eVerdict, ERunVerdict::Unverifiable);
    EXPECT_EQ(Kinds(nothing), std::vector<std::string>({"nothing-declared"}));
}
