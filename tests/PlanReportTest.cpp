#include "PlanReport.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
SPlan SamplePlan()
{
    SPlan plan;
    plan.strRequested = "hard";
    plan.strPackageDirectory = "pkg";
    plan.strRepository = "repo";
    plan.strInventorySource = "pkg/inv.xml, 300 bytes";
    plan.strTargetDisplay = "Controller Firmware";
    plan.strTargetVersion = "5.2.1";
    plan.nPackages = 3;
    SChainLink link;
    link.strDependency = "Backplane";
    link.strComponent = "component 104500 (FRMW)";
    link.strRequired = "3.20";
    SPlanStep step;
    step.nNumber = 1;
    step.strPackage = "BP/3.20";
    step.strDisplay = "Backplane Firmware";
    step.strComponentDisplay = "Backplane";
    step.strComponentID = "104500";
    step.strComponentTypeRequired = "FRMW";
    step.strFromVersion = "3.10";
    step.strToVersion = "3.20";
    step.strRequiredVersion = "3.20";
    step.strRequestedPath = "BP/3.20.BIN";
    step.bSubstituted = true;
    step.vChain = {link};
    step.vRejected = {SRejectedCandidate{"BP/3.10", "3.10", "version-too-low", "version \"3.10\" is below"}};
    plan.vSteps = {step};
    SPlanBlocker blocker;
    blocker.strKind = "unverifiable";
    blocker.strReasonKind = "inventory-failed";
    blocker.strPackage = "BP/3.20";
    blocker.strDependency = "Fan";
    blocker.strReason = "\"Fan\": the inventory of release \"RB\" failed: no answer";
    blocker.vChain = {link};
    plan.vBlockers = {blocker};
    plan.vWarnings = {SPlanWarning{"catalog-unusable", "", "the catalog cannot be used"}};
    SPlanEvaluation evaluation;
    evaluation.evaluation.nCheckerExitStatus = 1;
    evaluation.evaluation.vReported = {SReportedEntry{"Backplane", false}};
    SEvaluatedDependency dependency;
    dependency.declared.strDisplay = "Backplane";
    dependency.verdict = EVerdict::Unmet;
    dependency.record.setCurrentVersion("3.10");
    evaluation.evaluation.vDependencies = {dependency};
    evaluation.evaluation.vDependencyDoubts = {{}};
    plan.vEvaluations = {evaluation};
    plan.vCollectors = {SCollectorSummary{"", "REL", false, "", "REL", 2}};
    plan.nCollectorRuns = 1;
    plan.vRefused = {SRefusedPackage{"evil.tar", "the archive member \"x\" is a symbolic link"}};
    plan.eVerdict = EPlanVerdict::Unverifiable;
    return plan;
}
} // namespace

TEST(PlanReport, WritesJsonThatItsPublishedSchemaAccepts)
{
    const nlohmann::ordered_json json = CPlanReport::ToJson(SamplePlan());
    EXPECT_EQ(json.begin().key(), "schemaVersion");
    EXPECT_EQ(json["verdict"], "unverifiable");
    EXPECT_EQ(json["verdictExitStatus"], 3);
    EXPECT_EQ(json["steps"][0]["chain"][0]["package"], nullptr);
    EXPECT_EQ(json["steps"][0]["component"]["pci"], nullptr);
    EXPECT_EQ(json["evaluations"][0]["dependencies"][0]["verdict"], "unmet");
    EXPECT_EQ(json["evaluations"][0]["dependencies"][0]["currentVersion"], "3.10");
    EXPECT_EQ(JsonSchemaErrors("plan", json.dump(2)), "");
}

TEST(PlanReport, ShowsTheStepsAndWhatStopsThePlanAsText)
{
    const std::string strText = CPlanReport::ToText(SamplePlan());
    EXPECT_NE(strText.find("Verdict            : unverifiable: 1 thing could not be checked\n"), std::string::npos)
        << strText;
    EXPECT_NE(strText.find("Step 1: BP/3.20 (Backplane Firmware 3.20)\n"), std::string::npos);
    EXPECT_NE(strText.find("  component        : \"Backplane\": \"3.10\" -> \"3.20\" (required \"3.20\")\n"),
              std::string::npos);
    EXPECT_NE(strText.find("  brought in by    : the package needs \"Backplane\" (component 104500 (FRMW)) at "
                           "\"3.20\"\n"),
              std::string::npos);
    EXPECT_NE(strText.find("  substituted      : the dependency names BP/3.20.BIN; this package was taken instead\n"),
              std::string::npos);
    EXPECT_NE(strText.find("  passed over      : BP/3.10 (\"3.10\"): version \"3.10\" is below\n"), std::string::npos);
    EXPECT_NE(strText.find("  unverifiable (inventory-failed): BP/3.20, \"Fan\": "), std::string::npos);
    EXPECT_NE(strText.find("  refused          : evil.tar: the archive member"), std::string::npos);
    EXPECT_NE(
        strText.find("Evaluations        : 1 checker run; 1 collector ran, 0 inventories taken from an earlier run"),
        std::string::npos);
}

TEST(PlanReport, NamesEveryVerdictOfTheChecker)
{
    EXPECT_EQ(CPlanReport::VerdictKey(EVerdict::ContextNotApplicable), "context-not-applicable");
    EXPECT_EQ(CPlanReport::VerdictKey(EVerdict::DeviceNotPresent), "device-not-present");
    EXPECT_EQ(CPlanReport::VerdictKey(EVerdict::NotInstalled), "not-installed");
    EXPECT_EQ(CPlanReport::VerdictKey(EVerdict::Failed), "failed");
}
