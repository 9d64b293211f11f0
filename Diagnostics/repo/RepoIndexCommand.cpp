#include "RepoIndexCommand.h"

#include "CatalogFile.h"
#include "DiagnosticLog.h"
#include "PlatformLayer.h"
#include "RepositoryLoader.h"
#include "ScratchArea.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <ostream>

CRepoIndexCommand::CRepoIndexCommand(const SRepoIndexOptions& options) : m_options(options) {}

int CRepoIndexCommand::Run(std::ostream& out, std::ostream& err)
{
    const auto started = std::chrono::steady_clock::now();
    CDiagnosticLog::Open(std::string());
    if (!CPlatformLayer::IsDirectory(m_options.strRepository))
    {
        err << "vexinspect repo index: the repository " << m_options.strRepository << " is not a directory\n";
        return nExitUnusableInput;
    }
    CScratchArea scratch;
    std::string strError;
    std::string strWork;
    if (!scratch.Create(strError) || !scratch.NewDirectory("reader", strWork, strError))
    {
        err << "vexinspect repo index: cannot make a scratch directory: " << strError << "\n";
        return nExitCannotWrite;
    }
    const bool bToStandardOutput = m_options.strOutput == "-";
    const std::string strCatalogPath = m_options.strOutput.empty() ? CCatalogFile::DefaultPath(m_options.strRepository)
                                                                   : m_options.strOutput;
    CRepositoryLoader loader(m_options.strRepository, strWork);
    SRepositoryLoad load;
    const std::string strReuse = !bToStandardOutput && CCatalogFile::Exists(strCatalogPath) ? strCatalogPath
                                                                                            : std::string();
    if (!loader.Load(CRepositoryScanner::EMode::Reuse, strReuse, true, load, strError))
    {
        err << "vexinspect repo index: cannot read the repository " << m_options.strRepository << ": " << strError
            << "\n";
        return nExitUnusableInput;
    }

    SCatalog catalog;
    catalog.strRepository = m_options.strRepository;
    catalog.vPackages = load.content.vPackages;
    catalog.vRefused = load.content.vRefused;
    if (bToStandardOutput)
    {
        out << CCatalog::ToText(catalog);
    }
    else if (!CCatalogFile::Write(strCatalogPath, catalog, strError))
    {
        err << "vexinspect repo index: cannot write the catalog " << strCatalogPath << ": " << strError << "\n";
        return nExitCannotWrite;
    }
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    if (m_options.bJson)
    {
        nlohmann::ordered_json json;
        json["schemaVersion"] = 1;
        json["command"] = "repo index";
        json["repository"] = m_options.strRepository;
        json["catalog"] = bToStandardOutput ? nlohmann::ordered_json() : nlohmann::ordered_json(strCatalogPath);
        json["packages"] = load.content.vPackages.size();
        json["read"] = load.content.nRead;
        json["reused"] = load.content.nReused;
        json["refused"] = nlohmann::ordered_json::array();
        for (const SRefusedPackage& refused : load.content.vRefused)
        {
            json["refused"].push_back({{"path", refused.strPath}, {"reason", refused.strReason}});
        }
        json["skipped"] = nlohmann::ordered_json::array();
        for (const SRefusedPackage& skipped : load.content.vSkipped)
        {
            json["skipped"].push_back({{"path", skipped.strPath}, {"reason", skipped.strReason}});
        }
        json["seconds"] = dSeconds;
        (bToStandardOutput ? err : out) << json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                                        << "\n";
        return nExitWritten;
    }
    std::ostream& summary = bToStandardOutput ? err : out;
    for (const SRefusedPackage& refused : load.content.vRefused)
    {
        summary << "refused: " << refused.strPath << ": " << refused.strReason << "\n";
    }
    for (const SRefusedPackage& skipped : load.content.vSkipped)
    {
        summary << "skipped: " << skipped.strPath << ": " << skipped.strReason << "\n";
    }
    summary << (bToStandardOutput ? std::string("catalog") : strCatalogPath) << ": " << load.content.vPackages.size()
            << " packages (" << load.content.nRead << " read, " << load.content.nReused
            << " unchanged since the last index), " << load.content.vRefused.size() << " refused, "
            << load.content.vSkipped.size() << " skipped\n";
    return nExitWritten;
}
