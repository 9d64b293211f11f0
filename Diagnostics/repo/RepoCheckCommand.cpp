#include "RepoCheckCommand.h"

#include "CatalogFile.h"
#include "DiagnosticLog.h"
#include "PlatformLayer.h"
#include "RepositoryLoader.h"
#include "SarifLog.h"
#include "ScratchArea.h"

#include <ostream>
#include <sstream>

namespace
{
using ESeverity = SRepositoryFinding::ESeverity;

const char* SeverityName(ESeverity eSeverity) { return eSeverity == ESeverity::Error ? "error" : "warning"; }

std::size_t ErrorCount(const std::vector<SRepositoryFinding>& vFindings)
{
    std::size_t nErrors = 0;
    for (const SRepositoryFinding& finding : vFindings)
    {
        nErrors += finding.eSeverity == ESeverity::Error ? 1 : 0;
    }
    return nErrors;
}

std::string Counted(std::size_t nCount, const char* pszWhat)
{
    return std::to_string(nCount) + " " + pszWhat + (nCount == 1 ? "" : "s");
}
} // namespace

CRepoCheckCommand::CRepoCheckCommand(const SRepoCheckOptions& options) : m_options(options) {}

int CRepoCheckCommand::ExitStatus(const std::vector<SRepositoryFinding>& vFindings)
{
    if (ErrorCount(vFindings) > 0)
    {
        return nExitErrors;
    }
    return vFindings.empty() ? nExitClean : nExitWarnings;
}

std::string CRepoCheckCommand::ToText(const std::vector<SRepositoryFinding>& vFindings, std::size_t nPackages)
{
    std::ostringstream oss;
    for (const SRepositoryFinding& finding : vFindings)
    {
        oss << (finding.strFile.empty() ? std::string(".") : finding.strFile);
        if (finding.nLine > 0)
        {
            oss << ":" << finding.nLine;
        }
        oss << ": " << SeverityName(finding.eSeverity) << ": " << finding.strMessage << " [" << finding.strCode
            << "]\n";
    }
    const std::size_t nErrors = ErrorCount(vFindings);
    oss << Counted(nPackages, "package") << ": "
        << (vFindings.empty() ? std::string("no findings")
                              : Counted(nErrors, "error") + ", " + Counted(vFindings.size() - nErrors, "warning"))
        << "\n";
    return oss.str();
}

nlohmann::ordered_json CRepoCheckCommand::ToJson(const std::string& strRepository, std::size_t nPackages,
                                                 const std::vector<SRepositoryFinding>& vFindings)
{
    nlohmann::ordered_json json;
    json["schemaVersion"] = nSchemaVersion;
    json["command"] = "repo check";
    json["repository"] = strRepository;
    json["packages"] = nPackages;
    json["findings"] = nlohmann::ordered_json::array();
    for (const SRepositoryFinding& finding : vFindings)
    {
        nlohmann::ordered_json entry;
        entry["code"] = finding.strCode;
        entry["severity"] = SeverityName(finding.eSeverity);
        entry["package"] = finding.strPackage.empty() ? nlohmann::ordered_json()
                                                      : nlohmann::ordered_json(finding.strPackage);
        entry["file"] = finding.strFile;
        entry["line"] = finding.nLine;
        entry["message"] = finding.strMessage;
        entry["cycle"] = finding.vCycle;
        json["findings"].push_back(entry);
    }
    const std::size_t nErrors = ErrorCount(vFindings);
    json["errors"] = nErrors;
    json["warnings"] = vFindings.size() - nErrors;
    json["exitStatus"] = ExitStatus(vFindings);
    return json;
}

nlohmann::ordered_json CRepoCheckCommand::ToSarif(const std::string& strRepository,
                                                  const std::vector<SRepositoryFinding>& vFindings)
{
    auto severity = [](ESeverity eSeverity) {
        return eSeverity == ESeverity::Error ? SLintFinding::ESeverity::Error : SLintFinding::ESeverity::Warning;
    };
    std::vector<SLintRule> vRules;
    for (const SRepositoryRule& rule : CRepositoryChecker::Rules())
    {
        vRules.push_back(SLintRule{rule.pszCode, severity(rule.eSeverity), rule.pszSummary, rule.pszHelp});
    }
    std::vector<SLintFinding> vLintFindings;
    for (const SRepositoryFinding& finding : vFindings)
    {
        SLintFinding lintFinding;
        lintFinding.strCode = finding.strCode;
        lintFinding.eSeverity = severity(finding.eSeverity);
        lintFinding.strFile = finding.strFile;
        lintFinding.nLine = finding.nLine;
        lintFinding.strElement = finding.nLine > 0 ? "Dependency" : "";
        lintFinding.strMessage = finding.strMessage;
        vLintFindings.push_back(lintFinding);
    }
    return CSarifLog::ForFindings(strRepository, "REPOSITORYROOT", vRules, vLintFindings,
                                  "An error: a plan cannot rely on the repository here.",
                                  "A warning: the repository works, but not as its catalog or paths say.");
}

int CRepoCheckCommand::Run(std::ostream& out, std::ostream& err)
{
    CDiagnosticLog::Open(std::string());
    if (!CPlatformLayer::IsDirectory(m_options.strRepository))
    {
        err << "vexinspect repo check: the repository " << m_options.strRepository << " is not a directory\n";
        return nExitUnusableInput;
    }
    CScratchArea scratch;
    std::string strError;
    std::string strWork;
    if (!scratch.Create(strError) || !scratch.NewDirectory("reader", strWork, strError))
    {
        err << "vexinspect repo check: cannot make a scratch directory: " << strError << "\n";
        return nExitUnusableInput;
    }
    CRepositoryLoader loader(m_options.strRepository, strWork);
    SRepositoryLoad load;
    if (!loader.Load(CRepositoryScanner::EMode::Fresh, m_options.strCatalog, true, load, strError))
    {
        err << "vexinspect repo check: cannot read the repository " << m_options.strRepository << ": " << strError
            << "\n";
        return nExitUnusableInput;
    }
    const std::size_t nPackages = load.content.vPackages.size();
    const CRepositoryIndex index(load.content.vPackages);
    const std::vector<SRepositoryFinding> vFindings = CRepositoryChecker::Check(
        index, load.content, load.bCatalogRead ? &load.catalog : nullptr, load.strCatalogProblem);

    const std::string strFormat = m_options.bJson ? "json" : m_options.strFormat;
    if (strFormat == "json")
    {
        out << ToJson(m_options.strRepository, nPackages, vFindings)
                   .dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
            << "\n";
    }
    else if (strFormat == "sarif")
    {
        out << ToSarif(m_options.strRepository, vFindings)
                   .dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
            << "\n";
    }
    else
    {
        out << ToText(vFindings, nPackages);
    }
    return ExitStatus(vFindings);
}
