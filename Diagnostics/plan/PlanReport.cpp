#include "PlanReport.h"

#include "RecordJson.h"

#include <sstream>

namespace
{
using Json = nlohmann::ordered_json;

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

Json TextOrNull(const std::string& strText) { return strText.empty() ? Json() : Json(strText); }

std::string TypeWord(CDeviceInfo::eDependencyType eType)
{
    return eType == CDeviceInfo::eDependencyTypeSoft ? "soft" : "hard";
}

std::string PackageWords(const std::string& strPackage)
{
    return strPackage.empty() ? std::string("the package") : strPackage;
}

Json LinkJson(const SChainLink& link)
{
    Json json;
    json["package"] = TextOrNull(link.strPackage);
    json["dependency"] = link.strDependency;
    json["dependencyType"] = TypeWord(link.eType);
    json["component"] = link.strComponent;
    json["requiredVersion"] = link.strRequired;
    return json;
}

Json ChainJson(const std::vector<SChainLink>& vChain)
{
    Json json = Json::array();
    for (const SChainLink& link : vChain)
    {
        json.push_back(LinkJson(link));
    }
    return json;
}

Json RejectedJson(const std::vector<SRejectedCandidate>& vRejected)
{
    Json json = Json::array();
    for (const SRejectedCandidate& rejected : vRejected)
    {
        json.push_back({{"package", rejected.strPath},
                        {"version", rejected.strVersion},
                        {"kind", rejected.strKind},
                        {"reason", rejected.strReason}});
    }
    return json;
}

Json PCIOrNull(CDeviceInfo::eDeviceType eType, const SPCIInfo& pci)
{
    return eType == CDeviceInfo::eDeviceTypePCI ? recordjson::PCIJson(pci) : Json();
}

// The chain, one link per line, the lines after the first indented by
// strIndent.
std::string ChainText(const std::vector<SChainLink>& vChain, const std::string& strIndent)
{
    std::string strText;
    for (const SChainLink& link : vChain)
    {
        strText += (strText.empty() ? "" : "\n" + strIndent) + PackageWords(link.strPackage) + " needs " +
                   Quote(link.strDependency) + " (" + link.strComponent + ") at " + Quote(link.strRequired);
    }
    return strText;
}

Json DependencyJson(const SEvaluatedDependency& dependency, const std::vector<SEvaluationDoubt>& vDoubts)
{
    Json json;
    json["display"] = dependency.declared.strDisplay;
    json["componentID"] = dependency.declared.strComponentID;
    json["componentType"] = dependency.declared.strComponentType;
    json["deviceType"] = dependency.declared.eDeviceType == CDeviceInfo::eDeviceTypePCI ? "pci" : "non-pci";
    json["pci"] = PCIOrNull(dependency.declared.eDeviceType, dependency.declared.pci);
    json["dependencyType"] = TypeWord(dependency.declared.eType);
    json["requiredVersion"] = dependency.declared.strVersion;
    json["path"] = dependency.declared.strPath;
    json["verdict"] = dependency.verdict ? Json(CPlanReport::VerdictKey(*dependency.verdict)) : Json();
    json["currentVersion"] = TextOrNull(dependency.record.getCurrentVersion());
    json["installedVersions"] = dependency.vInstalled;
    json["doubts"] = Json::array();
    for (const SEvaluationDoubt& doubt : vDoubts)
    {
        json["doubts"].push_back({{"kind", doubt.strKind}, {"text", doubt.strText}});
    }
    return json;
}

Json EvaluationJson(const SPlanEvaluation& record)
{
    const SEvaluation& evaluation = record.evaluation;
    Json json;
    json["package"] = TextOrNull(record.strPackage);
    json["afterSteps"] = record.nAfterSteps;
    json["type"] = TypeWord(evaluation.eType);
    json["checkerExitStatus"] = evaluation.nCheckerExitStatus;
    json["reported"] = Json::array();
    for (const SReportedEntry& reported : evaluation.vReported)
    {
        json["reported"].push_back({{"display", reported.strDisplay}, {"failed", reported.bFailed}});
    }
    json["dependencies"] = Json::array();
    for (std::size_t i = 0; i < evaluation.vDependencies.size(); ++i)
    {
        json["dependencies"].push_back(DependencyJson(
            evaluation.vDependencies[i], i < evaluation.vDependencyDoubts.size() ? evaluation.vDependencyDoubts[i]
                                                                                 : std::vector<SEvaluationDoubt>()));
    }
    json["doubts"] = Json::array();
    for (const SEvaluationDoubt& doubt : evaluation.vRunDoubts)
    {
        json["doubts"].push_back({{"kind", doubt.strKind}, {"text", doubt.strText}});
    }
    return json;
}

std::string VerdictLine(const SPlan& plan)
{
    std::size_t nBlocking = 0;
    std::size_t nDoubts = 0;
    for (const SPlanBlocker& blocker : plan.vBlockers)
    {
        ++(blocker.IsDoubt() ? nDoubts : nBlocking);
    }
    switch (plan.eVerdict)
    {
    case EPlanVerdict::NothingNeeded:
        return "nothing-needed: the package can be installed as it is";
    case EPlanVerdict::Complete:
        return "complete: " + std::to_string(plan.vSteps.size()) + " step" + (plan.vSteps.size() == 1 ? "" : "s") +
               ", then the package itself";
    case EPlanVerdict::Blocked:
        return "blocked: " + std::to_string(nBlocking) + " blocker" + (nBlocking == 1 ? "" : "s") +
               (nDoubts > 0 ? ", " + std::to_string(nDoubts) + " unverifiable" : std::string());
    case EPlanVerdict::Unverifiable:
        break;
    }
    return "unverifiable: " + std::to_string(nDoubts) + " thing" + (nDoubts == 1 ? "" : "s") + " could not be checked";
}
} // namespace

std::string CPlanReport::VerdictKey(EVerdict eVerdict)
{
    switch (eVerdict)
    {
    case EVerdict::ContextNotApplicable:
        return "context-not-applicable";
    case EVerdict::PlatformNotApplicable:
        return "platform-not-applicable";
    case EVerdict::OSNotApplicable:
        return "os-not-applicable";
    case EVerdict::DeviceNotPresent:
        return "device-not-present";
    case EVerdict::OtherType:
        return "other-type";
    case EVerdict::NoInventory:
        return "no-inventory";
    case EVerdict::NotInstalled:
        return "not-installed";
    case EVerdict::Met:
        return "met";
    case EVerdict::Unmet:
        return "unmet";
    case EVerdict::Failed:
        break;
    }
    return "failed";
}

Json CPlanReport::ToJson(const SPlan& plan)
{
    Json json;
    json["schemaVersion"] = nSchemaVersion;
    json["command"] = "plan";
    json["requested"] = plan.strRequested;
    json["packageDirectory"] = plan.strPackageDirectory;
    json["repository"] = plan.strRepository;
    json["inventory"] = plan.strInventorySource;
    json["catalogUsed"] = plan.bCatalogUsed;
    json["target"] = {{"display", plan.strTargetDisplay},
                      {"componentType", plan.strTargetComponentType},
                      {"version", plan.strTargetVersion}};
    json["verdict"] = SPlan::VerdictKey(plan.eVerdict);
    json["verdictExitStatus"] = SPlan::ExitStatus(plan.eVerdict);

    json["steps"] = Json::array();
    for (const SPlanStep& step : plan.vSteps)
    {
        Json entry;
        entry["step"] = step.nNumber;
        entry["package"] = step.strPackage;
        entry["format"] = SPackageDescription::FormatName(step.eFormat);
        entry["display"] = step.strDisplay;
        entry["componentType"] = step.strComponentType;
        entry["digest"] = step.strDigest;
        entry["component"] = {{"display", step.strComponentDisplay},
                              {"componentID", step.strComponentID},
                              {"componentType", step.strComponentTypeRequired},
                              {"deviceType", step.eDeviceType == CDeviceInfo::eDeviceTypePCI ? "pci" : "non-pci"},
                              {"pci", PCIOrNull(step.eDeviceType, step.pci)}};
        entry["fromVersion"] = step.strFromVersion;
        entry["toVersion"] = step.strToVersion;
        entry["requiredVersion"] = step.strRequiredVersion;
        entry["requestedPath"] = TextOrNull(step.strRequestedPath);
        entry["substituted"] = step.bSubstituted;
        entry["steppingStone"] = step.bSteppingStone;
        entry["chain"] = ChainJson(step.vChain);
        entry["rejected"] = RejectedJson(step.vRejected);
        json["steps"].push_back(entry);
    }

    json["blockers"] = Json::array();
    for (const SPlanBlocker& blocker : plan.vBlockers)
    {
        Json entry;
        entry["kind"] = blocker.strKind;
        entry["reasonKind"] = TextOrNull(blocker.strReasonKind);
        entry["package"] = TextOrNull(blocker.strPackage);
        entry["dependency"] = TextOrNull(blocker.strDependency);
        entry["component"] = TextOrNull(blocker.strComponent);
        entry["requiredVersion"] = TextOrNull(blocker.strRequired);
        entry["reason"] = blocker.strReason;
        entry["chain"] = ChainJson(blocker.vChain);
        entry["cycle"] = blocker.vCycle;
        entry["rejected"] = RejectedJson(blocker.vRejected);
        json["blockers"].push_back(entry);
    }

    json["warnings"] = Json::array();
    for (const SPlanWarning& warning : plan.vWarnings)
    {
        json["warnings"].push_back(
            {{"kind", warning.strKind}, {"package", TextOrNull(warning.strPackage)}, {"text", warning.strText}});
    }

    json["evaluations"] = Json::array();
    for (const SPlanEvaluation& record : plan.vEvaluations)
    {
        json["evaluations"].push_back(EvaluationJson(record));
    }

    json["collectors"]["runs"] = plan.nCollectorRuns;
    json["collectors"]["uses"] = Json::array();
    for (const SCollectorSummary& collector : plan.vCollectors)
    {
        json["collectors"]["uses"].push_back({{"package", TextOrNull(collector.strPackage)},
                                              {"releaseID", collector.strReleaseID},
                                              {"reused", collector.bReused},
                                              {"ranForPackage", TextOrNull(collector.strRanForPackage)},
                                              {"ranForRelease", collector.strRanForRelease},
                                              {"records", collector.nRecords}});
    }

    json["repositoryPackages"]["usable"] = plan.nPackages;
    json["repositoryPackages"]["refused"] = Json::array();
    for (const SRefusedPackage& refused : plan.vRefused)
    {
        json["repositoryPackages"]["refused"].push_back({{"path", refused.strPath}, {"reason", refused.strReason}});
    }
    json["repositoryPackages"]["skipped"] = Json::array();
    for (const SRefusedPackage& skipped : plan.vSkipped)
    {
        json["repositoryPackages"]["skipped"].push_back({{"path", skipped.strPath}, {"reason", skipped.strReason}});
    }
    return json;
}

std::string CPlanReport::ToText(const SPlan& plan)
{
    std::ostringstream oss;
    oss << "Plan for the package's " << (plan.strRequested == "both" ? std::string("hard and soft") : plan.strRequested)
        << " dependencies\n";
    oss << "Package            : " << plan.strPackageDirectory;
    if (!plan.strTargetDisplay.empty() || !plan.strTargetVersion.empty())
    {
        oss << " (" << plan.strTargetDisplay << " " << plan.strTargetVersion << ")";
    }
    oss << "\n";
    oss << "Repository         : " << plan.strRepository << ", " << plan.nPackages << " usable package"
        << (plan.nPackages == 1 ? "" : "s") << (plan.bCatalogUsed ? " (from its catalog)" : " (read from the tree)")
        << "\n";
    oss << "Inventory text     : " << plan.strInventorySource << "\n";
    oss << "Verdict            : " << VerdictLine(plan) << "\n";

    for (const SPlanStep& step : plan.vSteps)
    {
        oss << "\nStep " << step.nNumber << ": " << step.strPackage << " (" << step.strDisplay << " "
            << step.strToVersion << ")\n";
        oss << "  component        : " << Quote(step.strComponentDisplay) << ": " << Quote(step.strFromVersion)
            << " -> " << Quote(step.strToVersion) << " (required " << Quote(step.strRequiredVersion) << ")\n";
        oss << "  brought in by    : " << ChainText(step.vChain, std::string(21, ' ')) << "\n";
        if (step.bSteppingStone)
        {
            oss << "  intermediate     : an intermediate version: the package that needs it updates the same "
                   "component further\n";
        }
        if (step.bSubstituted)
        {
            oss << "  substituted      : the dependency names "
                << (step.strRequestedPath.empty() ? std::string("no usable path") : step.strRequestedPath)
                << "; this package was taken instead\n";
        }
        for (const SRejectedCandidate& rejected : step.vRejected)
        {
            oss << "  passed over      : " << rejected.strPath << " (" << Quote(rejected.strVersion)
                << "): " << rejected.strReason << "\n";
        }
    }

    if (!plan.vBlockers.empty())
    {
        oss << "\nBlockers\n";
        for (const SPlanBlocker& blocker : plan.vBlockers)
        {
            oss << "  " << blocker.strKind << (blocker.strReasonKind.empty() ? "" : " (" + blocker.strReasonKind + ")")
                << ": " << PackageWords(blocker.strPackage);
            if (!blocker.strDependency.empty())
            {
                oss << ", " << Quote(blocker.strDependency);
            }
            oss << ": " << blocker.strReason << "\n";
            if (!blocker.vChain.empty())
            {
                oss << "    chain          : " << ChainText(blocker.vChain, std::string(21, ' ')) << "\n";
            }
            for (const SRejectedCandidate& rejected : blocker.vRejected)
            {
                oss << "    rejected       : " << rejected.strPath << " (" << Quote(rejected.strVersion)
                    << "): " << rejected.strReason << "\n";
            }
        }
    }
    if (!plan.vWarnings.empty())
    {
        oss << "\nWarnings\n";
        for (const SPlanWarning& warning : plan.vWarnings)
        {
            oss << "  " << warning.strKind << ": " << PackageWords(warning.strPackage) << ": " << warning.strText
                << "\n";
        }
    }
    if (!plan.vRefused.empty() || !plan.vSkipped.empty())
    {
        oss << "\nRepository entries not used\n";
        for (const SRefusedPackage& refused : plan.vRefused)
        {
            oss << "  refused          : " << refused.strPath << ": " << refused.strReason << "\n";
        }
        for (const SRefusedPackage& skipped : plan.vSkipped)
        {
            oss << "  skipped          : " << skipped.strPath << ": " << skipped.strReason << "\n";
        }
    }
    std::size_t nReused = 0;
    for (const SCollectorSummary& collector : plan.vCollectors)
    {
        nReused += collector.bReused ? 1 : 0;
    }
    oss << "\nEvaluations        : " << plan.vEvaluations.size() << " checker run"
        << (plan.vEvaluations.size() == 1 ? "" : "s") << "; " << plan.nCollectorRuns << " collector"
        << (plan.nCollectorRuns == 1 ? "" : "s") << " ran, " << nReused << " inventor" << (nReused == 1 ? "y" : "ies")
        << " taken from an earlier run of the same collector\n";
    return oss.str();
}
