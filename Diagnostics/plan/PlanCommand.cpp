#include "PlanCommand.h"

#include "CollectorOutputCapture.h"
#include "CollectorTimeLimit.h"
#include "DiagnosticLog.h"
#include "ExplainJudge.h"
#include "PackedRepositoryTree.h"
#include "PlanReport.h"
#include "Planner.h"
#include "PlatformLayer.h"
#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryLoader.h"
#include "ScratchArea.h"
#include "SmbiosDump.h"

#include <memory>
#include <ostream>
#include <string>
#include <utility>

CPlanCommand::CPlanCommand(const SPlanOptions& options) : m_options(options) {}

namespace
{
// Writes what the collectors printed during a plan whose document is JSON
// on err: the first bytes of each stream and how many there were.
void ReportCollectorOutput(const SCollectorOutput& output, std::ostream& err)
{
    const std::pair<const char*, const SCapturedStream*> streams[] = {{"standard output", &output.out},
                                                                      {"standard error", &output.err}};
    for (const auto& stream : streams)
    {
        if (stream.second->nBytes == 0)
        {
            continue;
        }
        err << "vexinspect plan: the collectors wrote " << stream.second->nBytes << " bytes to their " << stream.first
            << " (kept out of the JSON document)";
        if (!stream.second->bKept)
        {
            err << "; there was nowhere to keep them\n";
            continue;
        }
        const bool bCut = stream.second->nBytes > stream.second->strHead.size();
        err << (bCut ? "; the first " + std::to_string(stream.second->strHead.size()) + " follow:\n" : ":\n")
            << stream.second->strHead;
        if (!stream.second->strHead.empty() && stream.second->strHead.back() != '\n')
        {
            err << "\n";
        }
    }
}
} // namespace

int CPlanCommand::Run(std::ostream& out, std::ostream& err)
{
    SPlanRequest request;
    request.bHard = m_options.strType == "hard" || m_options.strType == "both";
    request.bSoft = m_options.strType == "soft" || m_options.strType == "both";
    if (!request.bHard && !request.bSoft)
    {
        err << "vexinspect plan: the type must be hard, soft or both, not \"" << m_options.strType << "\"\n";
        return nExitUsage;
    }
    if (m_options.bCollectorTimeoutGiven &&
        !CCollectorTimeLimit::Parse(m_options.strCollectorTimeout, request.timeLimit))
    {
        err << "vexinspect plan: the collector timeout must be config, none or a positive number of seconds, not \""
            << m_options.strCollectorTimeout << "\"\n";
        return nExitUsage;
    }
    std::string strError;
    const std::string strPackageDir = m_options.strPackageDir.empty() ? "." : m_options.strPackageDir;
    if (!CPlatformLayer::IsDirectory(strPackageDir))
    {
        err << "vexinspect plan: the package directory " << strPackageDir << " is not a directory\n";
        return nExitUnusableInput;
    }
    // A repository is a directory, or an archive that vexinspect repo pack
    // wrote, read where it lies without unpacking it.
    std::unique_ptr<CPackedRepositoryTree> pPacked;
    if (!CPlatformLayer::IsDirectory(m_options.strRepository))
    {
        CRepositoryFileSystem::SEntry entry;
        if (!CRepositoryFileSystem::Examine(m_options.strRepository, entry, strError) ||
            entry.eKind != CRepositoryFileSystem::EKind::Regular)
        {
            err << "vexinspect plan: the repository " << m_options.strRepository << " is not a directory\n";
            return nExitUnusableInput;
        }
        CRegularFileReader archive;
        pPacked.reset(new CPackedRepositoryTree());
        if (!archive.Open(m_options.strRepository, strError) || !pPacked->Load(archive, strError))
        {
            err << "vexinspect plan: the repository " << m_options.strRepository
                << " is neither a directory nor a packed repository: " << strError << "\n";
            return nExitUnusableInput;
        }
    }
    request.strPackageDirectory = strPackageDir;
    std::string strInventorySource;
    if (!m_options.strInventory.empty())
    {
        if (!CRepositoryFileSystem::ReadRegularFile(m_options.strInventory, repositorylimits::nMaxPackageXmlBytes,
                                                    request.strInventoryText, strError))
        {
            err << "vexinspect plan: cannot read the inventory " << m_options.strInventory << ": " << strError << "\n";
            return nExitUnusableInput;
        }
        strInventorySource = m_options.strInventory;
    }
    else
    {
        // As vexdepcheck reads it: a missing or unreadable inv.xml is an
        // empty inventory text.
        CPlatformLayer::ReadRegularFile(strPackageDir + "/inv.xml", request.strInventoryText);
        strInventorySource = strPackageDir + "/inv.xml";
    }
    // Before anything reads a package: the readers cannot switch the log on.
    if (!CDiagnosticLog::Open(m_options.strLogFile, strError))
    {
        err << "vexinspect plan: cannot open the log file "
            << (m_options.strLogFile.empty() ? CDiagnosticLog::pszDiscard : m_options.strLogFile) << ": " << strError
            << "\n";
        return nExitUnusableInput;
    }
    CSmbiosDump dump;
    if (!m_options.strSmbiosDump.empty())
    {
        if (!dump.Load(m_options.strSmbiosDump))
        {
            err << "vexinspect plan: " << dump.GetError() << "\n";
            return nExitUnusableInput;
        }
        request.bSMBIOSSources = true;
        request.smbiosSources = dump.GetSources();
    }
    if (!m_options.bCollectorTimeoutGiven)
    {
        bool bRejected = false;
        std::string strRejected;
        request.timeLimit = CCollectorTimeLimit::FromEnvironment(bRejected, strRejected);
    }

    CScratchArea scratch;
    std::string strWork;
    if (!scratch.Create(strError) || !scratch.NewDirectory("repository", strWork, strError))
    {
        err << "vexinspect plan: cannot make a scratch directory: " << strError << "\n";
        return nExitCannotCreate;
    }
    const std::unique_ptr<CRepositoryLoader> pLoader(
        pPacked ? new CRepositoryLoader(std::move(pPacked), m_options.strRepository, strWork)
                : new CRepositoryLoader(m_options.strRepository, strWork));
    CRepositoryLoader& loader = *pLoader;
    SRepositoryLoad load;
    if (!loader.Load(CRepositoryScanner::EMode::Trust, m_options.strCatalog, false, load, strError))
    {
        err << "vexinspect plan: cannot read the repository " << m_options.strRepository << ": " << strError << "\n";
        return nExitUnusableInput;
    }
    request.bVerifyAgainstCatalog = load.bCatalogUsed;

    const CRepositoryIndex index(load.content.vPackages);
    CExplainJudge judge;
    CPlanner planner(index, loader.Source(), scratch, judge);
    // The JSON document is for a program: what the collectors print goes
    // into a capture while they run, and to standard error after it.
    CCollectorOutputCapture outputCapture(m_options.bJson);
    SPlan plan = planner.Plan(request);
    const SCollectorOutput collectorOutput = outputCapture.Take();
    outputCapture.End();
    ReportCollectorOutput(collectorOutput, err);
    plan.strRepository = m_options.strRepository;
    plan.strInventorySource = strInventorySource + ", " + std::to_string(request.strInventoryText.size()) + " bytes";
    plan.bCatalogUsed = load.bCatalogUsed;
    plan.vRefused.insert(plan.vRefused.begin(), load.content.vRefused.begin(), load.content.vRefused.end());
    plan.vSkipped = load.content.vSkipped;
    if (!load.strCatalogProblem.empty())
    {
        plan.vWarnings.push_back(SPlanWarning{"catalog-unusable", "",
                                              "the catalog cannot be used (" + load.strCatalogProblem +
                                                  "): every package was read from the tree"});
    }

    if (m_options.bJson)
    {
        out << CPlanReport::ToJson(plan).dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
    }
    else
    {
        out << CPlanReport::ToText(plan);
    }
    return m_options.bExitVerdict ? SPlan::ExitStatus(plan.eVerdict) : nExitPrinted;
}
