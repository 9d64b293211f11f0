#include "LintCommand.h"

#include "DiagnosticLog.h"
#include "JsonFormat.h"
#include "PackageDirectory.h"
#include "SarifLog.h"

#include <ostream>
#include <sstream>

namespace
{
const char* SeverityName(SLintFinding::ESeverity eSeverity)
{
    return eSeverity == SLintFinding::ESeverity::Error ? "error" : "warning";
}

std::size_t CountOf(const std::vector<SLintFinding>& vFindings, SLintFinding::ESeverity eSeverity)
{
    std::size_t nCount = 0;
    for (const SLintFinding& finding : vFindings)
    {
        nCount += finding.eSeverity == eSeverity ? 1 : 0;
    }
    return nCount;
}

std::string Counted(std::size_t nCount, const char* pszWhat)
{
    return std::to_string(nCount) + " " + pszWhat + (nCount == 1 ? "" : "s");
}
} // namespace

CLintCommand::CLintCommand(const SLintOptions& options) : m_options(options) {}

int CLintCommand::ExitStatus(const std::vector<SLintFinding>& vFindings)
{
    if (CountOf(vFindings, SLintFinding::ESeverity::Error) > 0)
    {
        return nExitErrors;
    }
    return vFindings.empty() ? nExitClean : nExitWarnings;
}

std::string CLintCommand::ToText(const std::vector<SLintFinding>& vFindings)
{
    std::ostringstream oss;
    for (const SLintFinding& finding : vFindings)
    {
        oss << finding.strFile << ":" << finding.nLine;
        if (finding.nColumn > 0)
        {
            oss << ":" << finding.nColumn;
        }
        oss << ": " << SeverityName(finding.eSeverity) << ": " << finding.strMessage << " [" << finding.strCode
            << "]\n";
    }
    const std::size_t nErrors = CountOf(vFindings, SLintFinding::ESeverity::Error);
    const std::size_t nWarnings = vFindings.size() - nErrors;
    if (vFindings.empty())
    {
        oss << "no findings\n";
    }
    else
    {
        oss << Counted(nErrors, "error") << ", " << Counted(nWarnings, "warning") << "\n";
    }
    return oss.str();
}

nlohmann::ordered_json CLintCommand::ToJson(const std::string& strPackageDirectory,
                                            const std::vector<SLintFinding>& vFindings)
{
    nlohmann::ordered_json json = jsonformat::Document(nSchemaVersion, "lint");
    json["packageDirectory"] = strPackageDirectory;
    nlohmann::ordered_json findings = nlohmann::ordered_json::array();
    for (const SLintFinding& finding : vFindings)
    {
        nlohmann::ordered_json entry;
        entry["code"] = finding.strCode;
        entry["severity"] = SeverityName(finding.eSeverity);
        entry["file"] = finding.strFile;
        entry["line"] = finding.nLine;
        entry["column"] = finding.nColumn;
        entry["element"] = jsonformat::TextOrNull(finding.strElement);
        entry["message"] = finding.strMessage;
        findings.push_back(entry);
    }
    json["findings"] = findings;
    const std::size_t nErrors = CountOf(vFindings, SLintFinding::ESeverity::Error);
    json["errors"] = nErrors;
    json["warnings"] = vFindings.size() - nErrors;
    json["exitStatus"] = ExitStatus(vFindings);
    return json;
}

int CLintCommand::Run(std::ostream& out, std::ostream& err)
{
    const std::string strDirectory = m_options.strPackageDir.empty() ? "." : m_options.strPackageDir;
    // Nothing here switches the logger on; it is opened on /dev/null all the
    // same, so that no reader can ever write a log into the package.
    CDiagnosticLog::Open(std::string());
    std::string strDirectoryError;
    if (!CPackageDirectory::CanEnter(strDirectory, strDirectoryError))
    {
        err << CPackageDirectory::ErrorLine("lint", strDirectory, strDirectoryError) << "\n";
        return nExitUnusableInput;
    }
    CPackageLinter linter(strDirectory);
    const std::vector<SLintFinding> vFindings = linter.Lint();
    const std::string strFormat = m_options.bJson ? "json" : m_options.strFormat;
    if (strFormat == "json")
    {
        out << jsonformat::Print(ToJson(strDirectory, vFindings));
    }
    else if (strFormat == "sarif")
    {
        out << jsonformat::Print(CSarifLog::ForLint(strDirectory, vFindings));
    }
    else
    {
        out << ToText(vFindings);
    }
    return ExitStatus(vFindings);
}
