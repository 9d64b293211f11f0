// The plan's evaluation of a single package with nothing planned is
// vexdepcheck's own verdict on it: the same exit status and the same
// reported dependencies (display names and which failed), in order. Over
// every case of the catalogue of bad packages, and over random repositories
// (their package to install, and packages of the repository themselves).

#include "BadCatalogue.h"
#include "CheckerRun.h"
#include "RepositoryBuilder.h"
#include "ReportedDependencies.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <random>

using namespace vextest;
using Json = nlohmann::json;

namespace
{
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;

std::vector<std::string> WithEnvironment(const std::vector<std::string>& vEnvironment,
                                         const std::vector<std::string>& vCommand)
{
    std::vector<std::string> vArgs = {"/usr/bin/env"};
    vArgs.insert(vArgs.end(), vEnvironment.begin(), vEnvironment.end());
    vArgs.insert(vArgs.end(), vCommand.begin(), vCommand.end());
    return vArgs;
}

struct Verdict
{
    int nExitStatus;
    Reported vReported;
};

// vexdepcheck TYPE in the package directory.
Verdict CheckerVerdict(const std::string& strType, const std::string& strPackage,
                       const std::vector<std::string>& vEnvironment, const Firmware& firmware)
{
    const CommandResult result =
        RunInPackage(WithEnvironment(vEnvironment, {CheckerExecutable(), strType}), strPackage, firmware);
    return Verdict{result.nExitStatus, ReportedByChecker(result.strStdout)};
}

// The first evaluation of the package that vexinspect plan TYPE makes.
Verdict PlanVerdict(const std::string& strType, const std::string& strPackage, const std::string& strRepository,
                    const std::vector<std::string>& vEnvironment, const Firmware& firmware)
{
    const CommandResult result =
        RunInPackage(WithEnvironment(vEnvironment, {kInspect, "plan", strType, "--json", "--repository", strRepository,
                                                    "--package-dir", strPackage}),
                     "/", firmware);
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    const Json plan = Json::parse(result.strStdout);
    EXPECT_EQ(JsonSchemaErrors("plan", result.strStdout), "");
    for (const Json& evaluation : plan["evaluations"])
    {
        if (evaluation["package"].is_null() && evaluation["afterSteps"] == 0 && evaluation["type"] == strType)
        {
            Verdict verdict{evaluation["checkerExitStatus"], {}};
            for (const Json& reported : evaluation["reported"])
            {
                verdict.vReported.emplace_back(reported["display"], reported["failed"]);
            }
            return verdict;
        }
    }
    ADD_FAILURE() << "no evaluation of the package with nothing planned:\n" << result.strStdout;
    return Verdict{-1, {}};
}

void ExpectSameVerdict(const Verdict& checker, const Verdict& plan)
{
    EXPECT_EQ(plan.nExitStatus, checker.nExitStatus);
    EXPECT_EQ(plan.vReported, checker.vReported);
}

class PlanDifferential : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!CanUseMountNamespace())
        {
            GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled";
        }
    }
};

class PlanOfABadPackage : public ::testing::TestWithParam<std::string>
{
protected:
    void SetUp() override
    {
        if (!CanUseMountNamespace())
        {
            GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled";
        }
    }
};
} // namespace

TEST_P(PlanOfABadPackage, EvaluatesItAsVexdepcheckDoes)
{
    const BadCatalogueCase badCase = ReadBadCatalogueCase(GetParam());
    TempDir repository;
    for (const std::string strType : {"hard", "soft"})
    {
        SCOPED_TRACE(strType);
        TempDir outside;
        TempDir checked;
        TempDir planned;
        PrepareBadCatalogueCase(badCase, checked.Path(), outside.File("outside"));
        PrepareBadCatalogueCase(badCase, planned.Path(), outside.File("outside-of-the-plan"));
        ExpectSameVerdict(
            CheckerVerdict(strType, checked.Path(), badCase.vEnvironment, Firmware::NoTables()),
            PlanVerdict(strType, planned.Path(), repository.Path(), badCase.vEnvironment, Firmware::NoTables()));
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, PlanOfABadPackage, ::testing::ValuesIn(BadCatalogueCaseNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string strName = info.param;
                             for (char& c : strName)
                             {
                                 c = c == '-' ? '_' : c;
                             }
                             return strName;
                         });

TEST_F(PlanDifferential, RandomRepositoriesEvaluateTheirPackagesAsVexdepcheckDoes)
{
    std::mt19937 random(20261125);
    auto pick = [&random](const std::vector<std::string>& vChoices) {
        return vChoices[std::uniform_int_distribution<std::size_t>(0, vChoices.size() - 1)(random)];
    };
    auto chance = [&random](double dShare) { return std::uniform_real_distribution<double>(0, 1)(random) < dShare; };
    const std::vector<std::string> vComponents = {"100", "101", "102", "103", "104", "105"};
    const std::vector<std::string> vVersions = {"1.0", "1.5", "2.0", "2.0.0", "2.1", "A07", "10"};
    std::size_t nCompared = 0;
    const int nRepositories = vextest::CasesForThisBuild(12);
    for (int nRepository = 0; nRepository < nRepositories; ++nRepository)
    {
        SCOPED_TRACE("repository " + std::to_string(nRepository));
        std::string strMachineDevices;
        std::string strInstalled;
        for (const std::string& strComponent : vComponents)
        {
            if (chance(0.7))
            {
                strMachineDevices += MachineComponent(strComponent);
            }
            if (chance(0.8))
            {
                strInstalled += InstalledComponent(strComponent, pick(vVersions), chance(0.9) ? "FRMW" : "DRVR");
            }
        }
        const std::string strMachine = MachineInventory(strMachineDevices);
        auto randomPackage = [&](const std::string& strPath) {
            PackageRecipe recipe;
            recipe.strPath = strPath;
            recipe.strVersion = pick(vVersions);
            recipe.vDevices = {{pick(vComponents), {}}};
            const int nDependencies = std::uniform_int_distribution<int>(1, 5)(random);
            for (int n = 0; n < nDependencies; ++n)
            {
                DependencyRecipe dependency;
                dependency.bSoft = chance(0.3);
                dependency.strComponentID = pick(vComponents);
                dependency.strVersion = pick(vVersions);
                dependency.strPath = "P" + std::to_string(n);
                dependency.strReleaseID = chance(0.5) ? "R1" : "R2";
                dependency.strDisplay = "Dependency " + std::to_string(n) + " of " + strPath;
                if (chance(0.2))
                {
                    dependency.vPlatforms = {chance(0.5) ? "0b" : "0c"};
                }
                if (chance(0.2))
                {
                    dependency.strOS = chance(0.5) ? "Linux 9 2" : "Windows 10 0";
                }
                recipe.vDependencies.push_back(dependency);
            }
            recipe.vReleases = {ReleaseRecipe{"R1", strInstalled, "r1"}};
            if (chance(0.8))
            {
                recipe.vReleases.push_back(
                    ReleaseRecipe{"R2",
                                chance(0.15) ? "<SPStatus result=\"false\"><Message>no answer</Message></SPStatus>\n"
                                             : strInstalled,
                                "r2"});
            }
            return recipe;
        };
        TempDir repository;
        std::vector<PackageRecipe> vPackages;
        for (int n = 0; n < 3; ++n)
        {
            vPackages.push_back(randomPackage("P" + std::to_string(n)));
            WritePackage(repository.Path(), vPackages.back());
        }
        // The package to install, and the first package of the repository
        // as a package to install in its own right.
        std::vector<PackageRecipe> vEvaluated = {randomPackage(""), vPackages[0]};
        const Firmware firmware = BrixFirmware(0x0B);
        for (PackageRecipe recipe : vEvaluated)
        {
            recipe.strPath.clear();
            for (const std::string strType : {"hard", "soft"})
            {
                TempDir checked;
                TempDir planned;
                for (const TempDir* pDirectory : {&checked, &planned})
                {
                    WritePackage(pDirectory->Path(), recipe);
                    WriteFile(pDirectory->File("inv.xml"), strMachine);
                }
                ExpectSameVerdict(CheckerVerdict(strType, checked.Path(), {}, firmware),
                                  PlanVerdict(strType, planned.Path(), repository.Path(), {}, firmware));
                ++nCompared;
            }
        }
    }
    // Two packages, each for both types, in every repository.
    EXPECT_EQ(nCompared, static_cast<std::size_t>(nRepositories) * 4u);
}
