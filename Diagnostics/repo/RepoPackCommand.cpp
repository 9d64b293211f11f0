#include "RepoPackCommand.h"

#include "DiagnosticLog.h"
#include "PlatformLayer.h"
#include "RepositoryFileSystem.h"
#include "RepositoryPacker.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <ostream>

namespace
{
nlohmann::ordered_json Entries(const std::vector<SRefusedPackage>& vEntries)
{
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const SRefusedPackage& entry : vEntries)
    {
        json.push_back({{"path", entry.strPath}, {"reason", entry.strReason}});
    }
    return json;
}

const uint64_t nKiB = 1024;
const uint64_t nMiB = nKiB * 1024;

// A size as people read it: KiB rounded up below one MiB, MiB rounded to the
// nearest from there.
std::string Size(uint64_t nBytes)
{
    if (nBytes < nMiB)
    {
        return std::to_string((nBytes + nKiB - 1) / nKiB) + " KiB";
    }
    return std::to_string((nBytes + nMiB / 2) / nMiB) + " MiB";
}
} // namespace

CRepoPackCommand::CRepoPackCommand(const SRepoPackOptions& options) : m_options(options) {}

int CRepoPackCommand::Run(std::ostream& out, std::ostream& err)
{
    const auto started = std::chrono::steady_clock::now();
    CDiagnosticLog::Open(std::string());
    if (!CPlatformLayer::IsDirectory(m_options.strRepository))
    {
        err << "vexinspect repo pack: the repository " << m_options.strRepository << " is not a directory\n";
        return nExitUnusableInput;
    }
    std::string strArchive;
    SRepositoryPack pack;
    std::string strError;
    switch (CRepositoryPacker(m_options.strRepository).Pack(strArchive, pack, strError))
    {
    case CRepositoryPacker::EOutcome::RepositoryUnreadable:
        err << "vexinspect repo pack: " << strError << "\n";
        return nExitUnusableInput;
    case CRepositoryPacker::EOutcome::CannotWrite:
        err << "vexinspect repo pack: cannot pack " << m_options.strRepository << ": " << strError << "\n";
        return nExitCannotWrite;
    case CRepositoryPacker::EOutcome::Packed:
        break;
    }
    if (!CRepositoryFileSystem::ReplaceFile(m_options.strOutput, strArchive, strError))
    {
        err << "vexinspect repo pack: cannot write the archive " << m_options.strOutput << ": " << strError << "\n";
        return nExitCannotWrite;
    }
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    if (m_options.bJson)
    {
        nlohmann::ordered_json json;
        json["schemaVersion"] = 1;
        json["command"] = "repo pack";
        json["repository"] = m_options.strRepository;
        json["archive"] = m_options.strOutput;
        json["packages"] = pack.nPackages;
        json["members"] = pack.nMembers;
        json["repositoryBytes"] = pack.nRepositoryBytes;
        json["metadataBytes"] = pack.nMetadataBytes;
        json["archiveBytes"] = pack.nArchiveBytes;
        json["modified"] = pack.nModifiedSeconds;
        json["refused"] = Entries(pack.vRefused);
        json["skipped"] = Entries(pack.vSkipped);
        json["seconds"] = dSeconds;
        out << json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
        return nExitWritten;
    }
    for (const SRefusedPackage& refused : pack.vRefused)
    {
        out << "refused: " << refused.strPath << ": " << refused.strReason << "\n";
    }
    for (const SRefusedPackage& skipped : pack.vSkipped)
    {
        out << "skipped: " << skipped.strPath << ": " << skipped.strReason << "\n";
    }
    out << m_options.strOutput << ": " << pack.nPackages << " packages (" << Size(pack.nRepositoryBytes)
        << " in the repository), " << Size(pack.nMetadataBytes) << " of metadata in " << pack.nMembers << " members, "
        << Size(pack.nArchiveBytes) << " packed; " << pack.vRefused.size() << " refused, " << pack.vSkipped.size()
        << " skipped\n";
    return nExitWritten;
}
