#include "ExplainJson.h"

#include "JsonFormat.h"
#include "RecordJson.h"
#include "VersionRule.h"

#include <sys/wait.h>

using explainwords::TypeName;
using jsonformat::Json;
using jsonformat::TextOrNull;
using recordjson::OSJson;
using recordjson::PCIJson;

namespace
{
std::string DeviceTypeKey(CDeviceInfo::eDeviceType eType)
{
    switch (eType)
    {
    case CDeviceInfo::eDeviceTypePCI:
        return "pci";
    case CDeviceInfo::eDeviceTypeNonPCI:
        return "non-pci";
    case CDeviceInfo::eDeviceTypeUnknown:
        break;
    }
    return "unknown";
}

// One captured stream: its first bytes as text (a byte that is not UTF-8
// becomes U+FFFD when printed), how many bytes it had, and whether the text
// was cut or dropped.
Json StreamJson(const SCapturedStream& stream)
{
    Json json;
    json["text"] = stream.strHead;
    json["bytes"] = stream.nBytes;
    json["truncated"] = stream.nBytes > stream.strHead.size();
    json["kept"] = stream.bKept;
    return json;
}

Json OutputJson(const SCollectorOutput& output)
{
    Json json;
    json["stdout"] = StreamJson(output.out);
    json["stderr"] = StreamJson(output.err);
    json["keptBytes"] = CCollectorOutputCapture::nKeepBytes;
    return json;
}

Json DeviceJson(const SExplainedDevice& device)
{
    Json json;
    json["deviceType"] = DeviceTypeKey(device.eDeviceType);
    json["componentID"] = device.strComponentID;
    json["pci"] = device.eDeviceType == CDeviceInfo::eDeviceTypePCI ? PCIJson(device.pci) : Json();
    json["componentType"] = device.strComponentType;
    json["version"] = device.strVersion;
    json["name"] = device.strName;
    return json;
}

std::string VerdictKey(const std::optional<EVerdict>& verdict)
{
    if (!verdict)
    {
        return "not-evaluated";
    }
    switch (*verdict)
    {
    case EVerdict::ContextNotApplicable:
    case EVerdict::PlatformNotApplicable:
    case EVerdict::OSNotApplicable:
    case EVerdict::DeviceNotPresent:
        return "not-applicable";
    case EVerdict::OtherType:
        return "other-type";
    case EVerdict::NoInventory:
        return "no-inventory";
    case EVerdict::NotInstalled:
        return "not-installed";
    case EVerdict::Met:
        return "met";
    case EVerdict::Unmet:
        return "reported-unmet";
    case EVerdict::Failed:
        return "reported-failed";
    }
    return "not-evaluated";
}

Json VerdictReason(const std::optional<EVerdict>& verdict)
{
    if (!verdict)
    {
        return Json();
    }
    switch (*verdict)
    {
    case EVerdict::ContextNotApplicable:
        return "context";
    case EVerdict::PlatformNotApplicable:
        return "platform";
    case EVerdict::OSNotApplicable:
        return "os";
    case EVerdict::DeviceNotPresent:
        return "device";
    default:
        return Json();
    }
}

std::string LookupKey(SExplainedInventory::ELookup eLookup)
{
    switch (eLookup)
    {
    case SExplainedInventory::ELookup::Collected:
        return "collected";
    case SExplainedInventory::ELookup::Reused:
        return "reused";
    case SExplainedInventory::ELookup::NotLookedUp:
        break;
    }
    return "not-looked-up";
}

std::string OutcomeKey(SExplainedInventory::EOutcome eOutcome)
{
    switch (eOutcome)
    {
    case SExplainedInventory::EOutcome::Ran:
        return "ran";
    case SExplainedInventory::EOutcome::Failed:
        return "failed";
    case SExplainedInventory::EOutcome::TimedOut:
        return "timed-out";
    case SExplainedInventory::EOutcome::NotRun:
        return "not-run";
    }
    return "ran";
}

Json DependencyJson(const SExplainedRun& run, std::size_t nIndex, const SExplainedDependency& dependency)
{
    Json json;
    json["index"] = nIndex + 1;
    json["display"] = dependency.strDisplay;
    json["componentID"] = dependency.strComponentID;
    json["componentType"] = dependency.strComponentType;
    json["releaseID"] = dependency.strReleaseID;
    json["requiredVersion"] = dependency.strVersion;
    json["dependencyType"] = TypeName(dependency.eDependencyType);
    json["deviceType"] = DeviceTypeKey(dependency.eDeviceType);
    json["pci"] = dependency.eDeviceType == CDeviceInfo::eDeviceTypePCI ? PCIJson(dependency.pci) : Json();

    Json parent;
    parent["deviceType"] = DeviceTypeKey(dependency.eParentDeviceType);
    parent["componentID"] = dependency.strParentComponentID;
    Json parentPCI = Json::array();
    for (const SPCIInfo& pci : dependency.vParentPCI)
    {
        parentPCI.push_back(PCIJson(pci));
    }
    parent["pci"] = parentPCI;
    parent["pciCount"] = dependency.nParentPCICount;
    json["parent"] = parent;

    const SExplainedInventory& inventory = dependency.inventory;
    Json inventoryJson;
    inventoryJson["lookup"] = LookupKey(inventory.eLookup);
    const bool bLookedUp = inventory.eLookup != SExplainedInventory::ELookup::NotLookedUp;
    inventoryJson["outcome"] = bLookedUp ? Json(OutcomeKey(inventory.eOutcome)) : Json();
    inventoryJson["releaseDirectory"] = bLookedUp ? Json(inventory.strComponentPath) : Json();
    inventoryJson["records"] = bLookedUp ? Json(inventory.nRecords) : Json();
    inventoryJson["errorMessage"] = TextOrNull(inventory.strErrorMessage);
    inventoryJson["reason"] = TextOrNull(inventory.strReason);
    if (inventory.collector)
    {
        const SExplainedCollector& collector = *inventory.collector;
        Json collectorJson;
        collectorJson["command"] = collector.strCommand;
        collectorJson["seconds"] = collector.dSeconds;
        collectorJson["declaredTimeoutSeconds"] = collector.nDeclaredSeconds;
        collectorJson["enforcedLimitSeconds"] = collector.nLimitSeconds > 0 ? Json(collector.nLimitSeconds) : Json();
        collectorJson["timedOut"] = collector.bTimedOut;
        collectorJson["exitStatus"] = WIFEXITED(collector.nWaitStatus) ? Json(WEXITSTATUS(collector.nWaitStatus))
                                                                       : Json();
        collectorJson["signal"] = WIFSIGNALED(collector.nWaitStatus) ? Json(WTERMSIG(collector.nWaitStatus)) : Json();
        collectorJson["exceededDeclaredTimeout"] = collector.ExceededDeclaredLimit();
        collectorJson["outputDocument"] = TextOrNull(collector.strOutputPath);
        collectorJson["outputPresent"] = collector.bOutputPresent;
        collectorJson["outputStale"] = collector.bOutputStale;
        collectorJson["releaseWritable"] = collector.bReleaseWritable;
        collectorJson["warnings"] = collector.Warnings();
        collectorJson["output"] = collector.output ? OutputJson(*collector.output) : Json();
        inventoryJson["collector"] = collectorJson;
    }
    else
    {
        inventoryJson["collector"] = Json();
    }
    json["inventory"] = inventoryJson;

    Json checks;
    if (dependency.contextApplies)
    {
        Json context;
        context["value"] = dependency.strContext;
        context["applies"] = *dependency.contextApplies;
        checks["context"] = context;
    }
    else
    {
        checks["context"] = Json();
    }
    if (dependency.platform)
    {
        const SExplainedPlatform& platform = *dependency.platform;
        Json platformJson;
        platformJson["platforms"] = platform.vPlatforms;
        platformJson["tablesRead"] = platform.bTablesRead;
        platformJson["checked"] = platform.bChecked;
        platformJson["systemID"] = platform.bChecked ? Json(platform.strSystemID) : Json();
        platformJson["systemIDOrigin"] = platform.bChecked ? Json(CSmbiosSummary::OriginKey(platform.eOrigin)) : Json();
        platformJson["source"] =
            platform.bTablesRead ? Json(CSmbiosSummary::SourceKey(platform.eSource, !run.smbios.strDumpFile.empty()))
                                 : Json("none");
        platformJson["applies"] = platform.bApplies;
        checks["platform"] = platformJson;
    }
    else
    {
        checks["platform"] = Json();
    }
    if (dependency.os)
    {
        const SExplainedOS& os = *dependency.os;
        Json osJson;
        osJson["running"] = OSJson(os.running);
        Json entries = Json::array();
        for (std::size_t i = 0; i < os.vRequired.size(); ++i)
        {
            Json entry = OSJson(os.vRequired[i]);
            const int nEntry = static_cast<int>(i);
            entry["result"] = nEntry == os.nMatchedEntry                             ? "match"
                              : (os.nMatchedEntry >= 0 && nEntry > os.nMatchedEntry) ? "not-tested"
                                                                                     : "no-match";
            entries.push_back(entry);
        }
        osJson["entries"] = entries;
        osJson["matchedEntry"] = os.nMatchedEntry >= 0 ? Json(os.nMatchedEntry + 1) : Json();
        osJson["applies"] = os.bApplies;
        checks["os"] = osJson;
    }
    else
    {
        checks["os"] = Json();
    }
    if (dependency.device)
    {
        Json device;
        device["present"] = dependency.device->bPresent;
        device["matched"] = dependency.device->matched ? DeviceJson(*dependency.device->matched) : Json();
        checks["device"] = device;
    }
    else
    {
        checks["device"] = Json();
    }
    if (dependency.sameType)
    {
        Json type;
        type["requested"] = TypeName(run.eRequested);
        type["dependency"] = TypeName(dependency.eDependencyType);
        type["same"] = *dependency.sameType;
        checks["type"] = type;
    }
    else
    {
        checks["type"] = Json();
    }
    json["checks"] = checks;

    Json comparisons = Json::array();
    for (const SExplainedComparison& comparison : dependency.vComparisons)
    {
        Json entry;
        entry["required"] = comparison.strRequired;
        entry["installed"] = comparison.strInstalled;
        entry["result"] = comparison.nResult;
        entry["comparedAs"] = CVersionRule::Method(comparison.strRequired, comparison.strInstalled);
        entry["meaning"] = CVersionRule::Meaning(comparison.nResult);
        entry["caveat"] = TextOrNull(CVersionRule::ComparisonCaveat(comparison.strRequired, comparison.strInstalled));
        entry["installedDevice"] = DeviceJson(comparison.installed);
        comparisons.push_back(entry);
    }
    json["versionComparisons"] = comparisons;

    json["verdict"] = VerdictKey(dependency.verdict);
    json["reason"] = VerdictReason(dependency.verdict);
    const bool bUnmet = dependency.verdict && *dependency.verdict == EVerdict::Unmet;
    const bool bFailed = dependency.verdict && *dependency.verdict == EVerdict::Failed;
    json["currentVersion"] = bUnmet ? Json(dependency.strCurrentVersion) : Json();
    json["errorMessage"] = bFailed ? Json(dependency.strErrorMessage) : Json();
    json["downloadPath"] = dependency.strDownloadPath;
    json["detail"] = dependency.strDetail.empty() ? Json() : Json(dependency.strDetail);
    return json;
}
// The run's reasons or warnings: each with its kind, the dependency and
// release it is about (or null) and its text.
Json ReasonsJson(const std::vector<SVerdictReason>& vReasons)
{
    Json reasons = Json::array();
    for (const SVerdictReason& reason : vReasons)
    {
        Json item;
        item["kind"] = reason.strKind;
        item["dependency"] = TextOrNull(reason.strDependency);
        item["releaseID"] = TextOrNull(reason.strReleaseID);
        item["text"] = reason.strText;
        reasons.push_back(item);
    }
    return reasons;
}
} // namespace

Json CExplainJson::Render(const SExplainedRun& run)
{
    Json json = jsonformat::Document(nSchemaVersion, "explain");
    json["requested"] = TypeName(run.eRequested);
    json["packageDirectory"] = run.strPackageDirectory;
    json["packageDescriptionFound"] = run.bPackageDescriptionFound;

    Json inventoryText;
    inventoryText["present"] = run.bInventoryTextPresent;
    inventoryText["bytes"] = run.nInventoryTextBytes;
    inventoryText["devices"] = run.nInventoryDevices;
    inventoryText["runningOS"] = OSJson(run.runningOS);
    json["inventoryText"] = inventoryText;
    json["smbios"] = CSmbiosSummary::ToJson(run.smbios);
    Json timeLimit;
    timeLimit["setting"] = run.collectorTimeLimit.ToText();
    timeLimit["rejectedValue"] = TextOrNull(run.strRejectedTimeLimit);
    json["collectorTimeLimit"] = timeLimit;

    Json dependencies = Json::array();
    for (std::size_t i = 0; i < run.vDependencies.size(); ++i)
    {
        dependencies.push_back(DependencyJson(run, i, run.vDependencies[i]));
    }
    json["dependencies"] = dependencies;

    Json reported = Json::array();
    for (const SReportedDependency& entry : run.vReported)
    {
        Json item;
        item["display"] = entry.strDisplay;
        item["state"] = entry.bFailed ? "failed" : "unmet";
        reported.push_back(item);
    }
    json["reported"] = reported;
    json["exitStatus"] = run.nExitStatus;
    json["verdict"] = SRunVerdict::Key(run.verdict.eVerdict);
    json["reasons"] = ReasonsJson(run.verdict.vReasons);
    json["warnings"] = ReasonsJson(run.verdict.vWarnings);
    return json;
}
