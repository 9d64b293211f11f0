#include "Planner.h"

#include "DependenciesChecker.h"
#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryPath.h"
#include "TargetPackageCopy.h"

#include <algorithm>

namespace
{
std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

std::string ComponentText(const CDeviceInfo& record)
{
    if (record.getDeviceType() == CDeviceInfo::eDeviceTypePCI)
    {
        const SPCIInfo pci = record.getPCIInfo();
        return "PCI " + pci.strVendorID + ":" + pci.strDeviceID + ":" + pci.strSubVendorID + ":" + pci.strSubDeviceID +
               " (" + record.getComponentType() + ")";
    }
    return "component " + record.getComponentID() + " (" + record.getComponentType() + ")";
}

} // namespace

CPlanner::CPlanner(const CRepositoryIndex& index, CPackageSource& source, CScratchArea& scratch,
                   IEvaluationJudge& judge)
    : m_index(index), m_source(source), m_scratch(scratch), m_inventory(m_state), m_evaluator(m_inventory, judge)
{
}

CPlanner::~CPlanner() = default;

std::string CPlanner::PackageName(const SNode& node) const
{
    return node.nPackage == CRepositoryIndex::npos ? std::string() : m_index.At(node.nPackage).strPath;
}

SChainLink CPlanner::LinkOf(const SNode& node, const SEvaluatedDependency& dependency) const
{
    SChainLink link;
    link.strPackage = PackageName(node);
    link.strDependency = dependency.declared.strDisplay;
    link.strComponent = ComponentText(dependency.record);
    link.strRequired = dependency.declared.strVersion;
    link.eType = dependency.declared.eType;
    return link;
}

void CPlanner::NameReleaseDirectory(const std::string& strComponentPath, std::string& strPackage,
                                    std::string& strRelease) const
{
    auto within = [&strComponentPath, &strRelease](const std::string& strDirectory) {
        if (strComponentPath.compare(0, strDirectory.size(), strDirectory) != 0 ||
            (strComponentPath.size() > strDirectory.size() && strComponentPath[strDirectory.size()] != '/'))
        {
            return false;
        }
        const std::size_t nStart = strComponentPath.find_first_not_of('/', strDirectory.size());
        strRelease = nStart == std::string::npos ? std::string() : strComponentPath.substr(nStart);
        return true;
    };
    strPackage.clear();
    if (within(m_strTargetDirectory))
    {
        return;
    }
    for (const auto& entry : m_mapCopies)
    {
        if (within(entry.second))
        {
            strPackage = m_index.At(entry.first).strPath;
            return;
        }
    }
    strRelease = strComponentPath;
}

void CPlanner::AddBlocker(const SPlanBlocker& blocker)
{
    const std::string strKey = blocker.strKind + "\n" + blocker.strReasonKind + "\n" + blocker.strPackage + "\n" +
                               blocker.strDependency + "\n" + blocker.strComponent;
    if (m_setBlockerKeys.insert(strKey).second)
    {
        m_plan.vBlockers.push_back(blocker);
    }
}

bool CPlanner::PrepareTarget(std::string& strError)
{
    std::string strReaderDirectory;
    if (!m_scratch.NewDirectory("reader", strReaderDirectory, strError) ||
        !m_scratch.NewDirectory("target", m_strTargetDirectory, strError))
    {
        return false;
    }
    m_pReader.reset(new CPackageDescriptionReader(strReaderDirectory));
    if (!CTargetPackageCopy::CopyPackageDescription(m_request.strPackageDirectory, m_strTargetDirectory, strError))
    {
        return false;
    }
    std::string strPackageXml;
    std::string strReadError;
    if (CRepositoryFileSystem::ReadRegularFile(m_strTargetDirectory + "/package.xml",
                                               static_cast<std::size_t>(repositorylimits::nMaxMetadataBytes),
                                               strPackageXml, strReadError))
    {
        m_pReader->Read(strPackageXml, m_target, strReadError);
    }
    std::vector<std::string> vReleases;
    for (const std::string& strReleaseID : m_target.vReleaseDirectories)
    {
        std::string strRelease;
        if (!CRepositoryPath::FromReleaseID(strReleaseID, strRelease))
        {
            m_plan.vWarnings.push_back(SPlanWarning{
                "release-outside-package", "",
                "the release ID " + Quote(strReleaseID) +
                    " names a directory outside the package: it is not copied, and its collector does not run"});
            continue;
        }
        vReleases.push_back(strRelease);
    }
    if (!CTargetPackageCopy::CopyReleaseDirectories(m_request.strPackageDirectory, m_strTargetDirectory, vReleases,
                                                    strError))
    {
        return false;
    }
    // An inventory text that names a file is read as that file, relative to
    // the working directory: the file goes into every copy as well.
    const std::string& strText = m_request.strInventoryText;
    std::string strRelative;
    if (!strText.empty() && strText[0] != '/' && strText.find('\n') == std::string::npos &&
        CRepositoryPath::FromReleaseID(strText, strRelative) && !strRelative.empty() &&
        CRepositoryFileSystem::ReadRegularFile(m_request.strPackageDirectory + "/" + strRelative,
                                               repositorylimits::nMaxPackageXmlBytes, m_strInventoryFileContent,
                                               strReadError))
    {
        m_strInventoryFile = strRelative;
    }
    return WriteMachineInventory(m_strTargetDirectory, strError);
}

bool CPlanner::WriteMachineInventory(const std::string& strDirectory, std::string& strError)
{
    if (!CRepositoryFileSystem::CreateFile(strDirectory + "/inv.xml", m_request.strInventoryText, 0644, strError))
    {
        return false;
    }
    if (m_strInventoryFile.empty() || m_strInventoryFile == "inv.xml")
    {
        return true;
    }
    CRepositoryFileSystem::SEntry entry;
    if (CRepositoryFileSystem::Examine(strDirectory + "/" + m_strInventoryFile, entry, strError) &&
        entry.eKind != CRepositoryFileSystem::EKind::Missing)
    {
        return true; // the package holds it itself
    }
    const std::size_t nSlash = m_strInventoryFile.rfind('/');
    return (nSlash == std::string::npos ||
            CRepositoryFileSystem::MakeDirectories(strDirectory, m_strInventoryFile.substr(0, nSlash), strError)) &&
           CRepositoryFileSystem::CreateFile(strDirectory + "/" + m_strInventoryFile, m_strInventoryFileContent, 0644,
                                             strError);
}

bool CPlanner::EnsureCopy(std::size_t nPackage, std::string& strDirectory)
{
    const auto itCopy = m_mapCopies.find(nPackage);
    if (itCopy != m_mapCopies.end())
    {
        strDirectory = itCopy->second;
        return true;
    }
    const SPackageDescription& package = m_index.At(nPackage);
    const std::size_t nSlash = package.strPath.rfind('/');
    std::string strError;
    if (!m_scratch.NewDirectory(nSlash == std::string::npos ? package.strPath : package.strPath.substr(nSlash + 1),
                                strDirectory, strError))
    {
        m_mapRefused[nPackage] = "cannot be copied: " + strError;
        return false;
    }
    std::vector<std::string> vReleases;
    for (const std::string& strReleaseID : package.vReleaseDirectories)
    {
        std::string strRelease;
        if (CRepositoryPath::FromReleaseID(strReleaseID, strRelease))
        {
            vReleases.push_back(strRelease);
        }
        else
        {
            m_plan.vWarnings.push_back(SPlanWarning{
                "release-outside-package", package.strPath,
                "the release ID " + Quote(strReleaseID) +
                    " names a directory outside the package: it is not copied, and its collector does not run"});
        }
    }
    std::string strDigest;
    if (!m_source.CopyMetadata(package, vReleases, strDirectory, strDigest, strError))
    {
        m_mapRefused[nPackage] = strError;
        return false;
    }
    if (m_request.bVerifyAgainstCatalog)
    {
        if (strDigest != package.strDigest)
        {
            m_mapRefused[nPackage] = "its content does not match the catalog's digest (the catalog says " +
                                     package.strDigest + ", the content is " + strDigest +
                                     "): index the repository again";
            return false;
        }
        // The catalog's description must be what the package says.
        std::string strPackageXml;
        SPackageDescription actual;
        if (!CRepositoryFileSystem::ReadRegularFile(strDirectory + "/package.xml",
                                                    repositorylimits::nMaxPackageXmlBytes, strPackageXml, strError) ||
            !m_pReader->Read(strPackageXml, actual, strError) || actual.strComponentType != package.strComponentType ||
            actual.strVersion != package.strVersion || actual.vDevices.size() != package.vDevices.size() ||
            actual.vDependencies.size() != package.vDependencies.size() ||
            actual.vReleaseDirectories != package.vReleaseDirectories)
        {
            m_mapRefused[nPackage] = "its package.xml does not say what its catalog entry says: index the "
                                     "repository again";
            return false;
        }
    }
    if (!WriteMachineInventory(strDirectory, strError))
    {
        m_mapRefused[nPackage] = "cannot be copied: " + strError;
        return false;
    }
    m_mapCopies[nPackage] = strDirectory;
    m_mapDigests[nPackage] = strDigest;
    return true;
}

SEvaluation CPlanner::Evaluate(const SNode& node, CDeviceInfo::eDependencyType eType)
{
    SPlanEvaluation record;
    record.strPackage = PackageName(node);
    record.nAfterSteps = m_plan.vSteps.size();
    record.evaluation = m_evaluator.Evaluate(node.strDirectory, eType, m_request.strInventoryText);
    m_plan.vEvaluations.push_back(record);
    return m_plan.vEvaluations.back().evaluation;
}

SResolution CPlanner::Resolve(const SNode& requirer, const CDeviceInfo& dependency)
{
    const std::vector<std::unique_ptr<CDeviceInfo>> vKnown = m_inventory.KnownInstances();
    CCandidateResolver::SContext context;
    context.pIndex = &m_index;
    context.pRefused = &m_mapRefused;
    for (const std::unique_ptr<CDeviceInfo>& pRecord : vKnown)
    {
        if (pRecord && pRecord->getStatus() != 1)
        {
            context.vInstalled.push_back(pRecord.get());
        }
    }
    const std::vector<CDeviceInfo*> vInstalled = context.vInstalled;
    context.appliesToMachine = [this, &vInstalled](const SPackageDescription& package) {
        return m_pMachine->HasDeviceOf(package, vInstalled);
    };
    context.vStack = m_vStack;
    context.pRequirer = requirer.pDescription;
    return CCandidateResolver::Resolve(dependency, context);
}

bool CPlanner::RecordDoubts(const SNode& node, const SEvaluation& evaluation, const std::vector<SChainLink>& vChain)
{
    bool bDoubt = false;
    for (const SEvaluationDoubt& doubt : evaluation.vRunDoubts)
    {
        // A package of the repository may well declare no dependency.
        if (doubt.strKind == "nothing-declared" && node.nPackage != CRepositoryIndex::npos)
        {
            continue;
        }
        SPlanBlocker blocker;
        blocker.strKind = "unverifiable";
        blocker.strReasonKind = doubt.strKind;
        blocker.strPackage = PackageName(node);
        blocker.strReason = doubt.strText;
        blocker.vChain = vChain;
        AddBlocker(blocker);
        bDoubt = true;
    }
    for (std::size_t i = 0; i < evaluation.vDependencies.size(); ++i)
    {
        const SEvaluatedDependency& dependency = evaluation.vDependencies[i];
        if (dependency.declared.eType != evaluation.eType || i >= evaluation.vDependencyDoubts.size())
        {
            continue;
        }
        for (const SEvaluationDoubt& doubt : evaluation.vDependencyDoubts[i])
        {
            SPlanBlocker blocker;
            blocker.strKind = "unverifiable";
            blocker.strReasonKind = doubt.strKind;
            blocker.strPackage = PackageName(node);
            blocker.strDependency = dependency.declared.strDisplay;
            blocker.strComponent = ComponentText(dependency.record);
            blocker.strRequired = dependency.declared.strVersion;
            blocker.strReason = doubt.strText;
            blocker.vChain = vChain;
            blocker.vChain.push_back(LinkOf(node, dependency));
            AddBlocker(blocker);
            bDoubt = true;
        }
    }
    return bDoubt;
}

void CPlanner::CheckProvidedNotInstalled(const SNode& node, const SEvaluation& evaluation,
                                         const std::vector<SChainLink>& vChain)
{
    for (const SEvaluatedDependency& dependency : evaluation.vDependencies)
    {
        if (dependency.declared.eType != evaluation.eType || !dependency.verdict ||
            *dependency.verdict != EVerdict::NotInstalled)
        {
            continue;
        }
        const SInstalledIdentity* pInstalled = m_state.LastProviding(dependency.record);
        if (pInstalled == nullptr)
        {
            continue;
        }
        const std::string strWhat = Quote(dependency.declared.strDisplay) + " needs " +
                                    ComponentText(dependency.record) + " at " + Quote(dependency.declared.strVersion) +
                                    " or later; no collector reports it " + "installed, and step " +
                                    std::to_string(pInstalled->nStep) + " (" + pInstalled->strPackage +
                                    ") provides it at " + Quote(pInstalled->strVersion);
        if (CDependenciesChecker::CompareVersions(dependency.declared.strVersion, pInstalled->strVersion) > 0)
        {
            SPlanBlocker blocker;
            blocker.strKind = "unverifiable";
            blocker.strReasonKind = "provided-not-installed";
            blocker.strPackage = PackageName(node);
            blocker.strDependency = dependency.declared.strDisplay;
            blocker.strComponent = ComponentText(dependency.record);
            blocker.strRequired = dependency.declared.strVersion;
            blocker.strReason = strWhat + ": should the step add it, the dependency is unmet";
            blocker.vChain = vChain;
            blocker.vChain.push_back(LinkOf(node, dependency));
            AddBlocker(blocker);
        }
        else
        {
            m_plan.vWarnings.push_back(
                SPlanWarning{"provided-not-installed", PackageName(node), strWhat + ", enough either way"});
        }
    }
}

bool CPlanner::Satisfy(const SNode& node, CDeviceInfo::eDependencyType eType, const std::vector<SChainLink>& vChain)
{
    std::set<std::size_t> setUnresolved;
    std::map<std::size_t, int> mapAttempts;
    bool bSatisfied = true;
    SEvaluation evaluation;
    for (;;)
    {
        evaluation = Evaluate(node, eType);
        if (RecordDoubts(node, evaluation, vChain))
        {
            bSatisfied = false;
        }
        std::size_t nNext = evaluation.vDependencies.size();
        for (std::size_t i = 0; i < evaluation.vDependencies.size(); ++i)
        {
            const SEvaluatedDependency& dependency = evaluation.vDependencies[i];
            if (dependency.declared.eType == eType && dependency.verdict && *dependency.verdict == EVerdict::Unmet &&
                (i >= evaluation.vDependencyDoubts.size() || evaluation.vDependencyDoubts[i].empty()) &&
                setUnresolved.count(i) == 0)
            {
                nNext = i;
                break;
            }
        }
        if (nNext == evaluation.vDependencies.size())
        {
            break;
        }
        const SEvaluatedDependency& dependency = evaluation.vDependencies[nNext];
        std::vector<SChainLink> vLinked = vChain;
        vLinked.push_back(LinkOf(node, dependency));

        SPlanBlocker blocker;
        blocker.strPackage = PackageName(node);
        blocker.strDependency = dependency.declared.strDisplay;
        blocker.strComponent = ComponentText(dependency.record);
        blocker.strRequired = dependency.declared.strVersion;
        blocker.vChain = vLinked;

        if (++mapAttempts[nNext] > 1)
        {
            blocker.strKind = "not-satisfied";
            blocker.strReason = Quote(dependency.declared.strDisplay) + " is still unmet (installed " +
                                Quote(dependency.record.getCurrentVersion()) + ") after the step planned for it";
            AddBlocker(blocker);
            setUnresolved.insert(nNext);
            bSatisfied = false;
            continue;
        }

        const SResolution resolution = Resolve(node, dependency.record);
        if (resolution.eOutcome != SResolution::EOutcome::Resolved)
        {
            blocker.strKind = SResolution::OutcomeKey(resolution.eOutcome);
            blocker.vRejected = resolution.vRejected;
            const std::string strNeed = ComponentText(dependency.record) + " at " +
                                        Quote(dependency.declared.strVersion) + " or later (installed " +
                                        Quote(dependency.record.getCurrentVersion()) + ")";
            switch (resolution.eOutcome)
            {
            case SResolution::EOutcome::Cycle:
            {
                const auto itFrom = std::find(m_vStack.begin(), m_vStack.end(), resolution.nCyclePackage);
                for (auto it = itFrom; it != m_vStack.end(); ++it)
                {
                    blocker.vCycle.push_back(m_index.At(*it).strPath);
                }
                blocker.vCycle.push_back(m_index.At(resolution.nCyclePackage).strPath);
                std::string strCycle;
                for (const std::string& strPackage : blocker.vCycle)
                {
                    strCycle += (strCycle.empty() ? "" : " -> ") + strPackage;
                }
                blocker.strReason = "needs " + strNeed +
                                    ", and every package that provides it needs this one first: " + strCycle;
                break;
            }
            case SResolution::EOutcome::MissingIntermediateVersion:
                blocker.strReason = "needs " + strNeed + " before its own update of that component (to " +
                                    Quote(node.pDescription != nullptr ? node.pDescription->strVersion : "") +
                                    "), and the repository holds no intermediate version";
                break;
            case SResolution::EOutcome::Downgrade:
                blocker.strReason = "needs " + strNeed +
                                    ", and every package that provides it would downgrade "
                                    "another component";
                break;
            default:
                blocker.strReason =
                    "needs " + strNeed + ", and no package of the repository provides it" +
                    (resolution.strRequestedPath.empty() ? std::string(" (its path names no place in the repository)")
                     : resolution.bRequestedPathHoldsPackage ? std::string()
                                                             : " (no package at " + resolution.strRequestedPath + ")");
                break;
            }
            AddBlocker(blocker);
            setUnresolved.insert(nNext);
            bSatisfied = false;
            continue;
        }

        switch (Require(resolution.nPackage, node, dependency, resolution, vLinked))
        {
        case ERequire::Planned:
            break;
        case ERequire::Refused:
            // Looked for again without the refused package.
            --mapAttempts[nNext];
            break;
        case ERequire::BlockedEarlier:
            blocker.strKind = "prerequisite-blocked";
            blocker.strReason = "needs " + m_index.At(resolution.nPackage).strPath +
                                ", which cannot be installed (see the blockers of that package)";
            AddBlocker(blocker);
            setUnresolved.insert(nNext);
            bSatisfied = false;
            break;
        case ERequire::Blocked:
            setUnresolved.insert(nNext);
            bSatisfied = false;
            break;
        }
    }
    CheckProvidedNotInstalled(node, evaluation, vChain);
    return bSatisfied;
}

CPlanner::ERequire CPlanner::Require(std::size_t nPackage, const SNode& requirer,
                                     const SEvaluatedDependency& dependency, const SResolution& resolution,
                                     const std::vector<SChainLink>& vChain)
{
    if (m_setPlanned.count(nPackage) > 0)
    {
        return ERequire::Planned;
    }
    if (m_setBlocked.count(nPackage) > 0)
    {
        return ERequire::BlockedEarlier;
    }
    std::string strDirectory;
    if (!EnsureCopy(nPackage, strDirectory))
    {
        return ERequire::Refused;
    }
    const SPackageDescription& package = m_index.At(nPackage);
    m_vStack.push_back(nPackage);
    const bool bSatisfied = Satisfy(SNode{nPackage, strDirectory, &package}, CDeviceInfo::eDependencyTypeHard, vChain);
    m_vStack.pop_back();
    if (!bSatisfied)
    {
        m_setBlocked.insert(nPackage);
        return ERequire::Blocked;
    }

    SPlanStep step;
    step.nNumber = m_plan.vSteps.size() + 1;
    step.strPackage = package.strPath;
    step.eFormat = package.eFormat;
    step.strDisplay = package.strDisplay;
    step.strComponentType = package.strComponentType;
    step.strDigest = m_mapDigests[nPackage];
    step.strComponentDisplay = dependency.declared.strDisplay;
    step.strComponentID = dependency.declared.strComponentID;
    step.strComponentTypeRequired = dependency.declared.strComponentType;
    step.eDeviceType = dependency.declared.eDeviceType;
    step.pci = dependency.declared.pci;
    // The version the component has when this step comes: what an earlier
    // step (an intermediate version, say) installed, else what the
    // collector reported.
    const SInstalledIdentity* pEarlier = m_state.LastProviding(dependency.record);
    step.strFromVersion = pEarlier != nullptr ? pEarlier->strVersion : dependency.record.getCurrentVersion();
    step.strToVersion = package.strVersion;
    step.strRequiredVersion = dependency.declared.strVersion;
    step.strRequestedPath = resolution.strRequestedPath;
    step.bSubstituted = resolution.bSubstituted;
    step.bSteppingStone = requirer.pDescription != nullptr &&
                          CRepositoryIndex::Provides(*requirer.pDescription, dependency.record);
    step.vChain = vChain;
    step.vRejected = resolution.vRejected;
    m_plan.vSteps.push_back(step);
    m_state.Install(package, step.nNumber);
    m_setPlanned.insert(nPackage);
    return ERequire::Planned;
}

void CPlanner::DecideVerdict()
{
    bool bBlocked = false;
    bool bDoubt = false;
    for (const SPlanBlocker& blocker : m_plan.vBlockers)
    {
        (blocker.IsDoubt() ? bDoubt : bBlocked) = true;
    }
    if (bBlocked)
    {
        m_plan.eVerdict = EPlanVerdict::Blocked;
    }
    else if (bDoubt)
    {
        m_plan.eVerdict = EPlanVerdict::Unverifiable;
    }
    else
    {
        m_plan.eVerdict = m_plan.vSteps.empty() ? EPlanVerdict::NothingNeeded : EPlanVerdict::Complete;
    }
}

SPlan CPlanner::Plan(const SPlanRequest& request)
{
    m_request = request;
    m_plan = SPlan();
    m_plan.strRequested = request.bHard && request.bSoft ? "both" : request.bSoft ? "soft" : "hard";
    m_plan.strPackageDirectory = request.strPackageDirectory;
    m_plan.nPackages = m_index.Packages().size();
    m_pMachine.reset(new CMachineInventory(request.strInventoryText));
    m_evaluator.SetCollectorTimeLimit(request.timeLimit);
    if (request.bSMBIOSSources)
    {
        m_evaluator.SetSMBIOSSources(request.smbiosSources);
    }

    std::string strError;
    if (!PrepareTarget(strError))
    {
        SPlanBlocker blocker;
        blocker.strKind = "unverifiable";
        blocker.strReasonKind = "package-not-copied";
        blocker.strReason = "the package cannot be copied for its evaluation: " + strError;
        AddBlocker(blocker);
        DecideVerdict();
        return m_plan;
    }
    m_plan.strTargetDisplay = m_target.strDisplay;
    m_plan.strTargetVersion = m_target.strVersion;
    m_plan.strTargetComponentType = m_target.strComponentType;

    const SNode target{CRepositoryIndex::npos, m_strTargetDirectory, &m_target};
    if (request.bHard)
    {
        Satisfy(target, CDeviceInfo::eDependencyTypeHard, {});
    }
    if (request.bSoft)
    {
        Satisfy(target, CDeviceInfo::eDependencyTypeSoft, {});
    }
    for (const SCollectorUse& use : m_inventory.Uses())
    {
        SCollectorSummary summary;
        NameReleaseDirectory(use.strComponentPath, summary.strPackage, summary.strReleaseID);
        NameReleaseDirectory(use.strRanIn, summary.strRanForPackage, summary.strRanForRelease);
        summary.bReused = use.bReused;
        summary.nRecords = use.nRecords;
        m_plan.vCollectors.push_back(summary);
    }
    m_plan.nCollectorRuns = m_inventory.CollectorRuns();
    for (const auto& entry : m_mapRefused)
    {
        m_plan.vRefused.push_back(SRefusedPackage{m_index.At(entry.first).strPath, entry.second});
    }
    DecideVerdict();
    return m_plan;
}
