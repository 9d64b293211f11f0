#include "SarifLog.h"

#include "PackageLinter.h"
#include "PlatformLayer.h"
#include "Version.h"

#include <cctype>
#include <cstdio>

const char* const CSarifLog::kSchemaUri =
    "https://raw.githubusercontent.com/oasis-tcs/sarif-spec/master/Schemata/sarif-schema-2.1.0.json";
const char* const CSarifLog::kPackageRootId = "PACKAGEROOT";

namespace
{
const char* LevelOf(SLintFinding::ESeverity eSeverity)
{
    return eSeverity == SLintFinding::ESeverity::Error ? "error" : "warning";
}

nlohmann::ordered_json Text(const std::string& strText)
{
    nlohmann::ordered_json json;
    json["text"] = strText;
    return json;
}

nlohmann::ordered_json RuleOf(const SLintRule& rule, const std::string& strErrorMeaning,
                              const std::string& strWarningMeaning)
{
    const bool bError = rule.eSeverity == SLintFinding::ESeverity::Error;
    nlohmann::ordered_json json;
    json["id"] = rule.pszCode;
    json["name"] = CSarifLog::RuleName(rule.pszCode);
    json["shortDescription"] = Text(rule.pszSummary);
    json["fullDescription"] =
        Text(std::string(rule.pszSummary) + ". " + (bError ? strErrorMeaning : strWarningMeaning));
    json["help"] = Text(rule.pszHelp);
    json["defaultConfiguration"]["level"] = LevelOf(rule.eSeverity);
    return json;
}
} // namespace

std::string CSarifLog::RuleName(const std::string& strCode)
{
    std::string strName;
    bool bUpper = true;
    for (char c : strCode)
    {
        if (c == '-')
        {
            bUpper = true;
            continue;
        }
        strName += bUpper ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        bUpper = false;
    }
    return strName;
}

std::string CSarifLog::EncodePath(const std::string& strPath)
{
    std::string strEncoded;
    for (char c : strPath)
    {
        const unsigned char uc = static_cast<unsigned char>(c);
        if (std::isalnum(uc) != 0 || c == '-' || c == '.' || c == '_' || c == '~' || c == '/')
        {
            strEncoded += c;
            continue;
        }
        char szEscape[4];
        std::snprintf(szEscape, sizeof(szEscape), "%%%02X", uc);
        strEncoded += szEscape;
    }
    return strEncoded;
}

std::string CSarifLog::DirectoryUri(const std::string& strDirectory)
{
    std::string strPath = strDirectory.empty() ? "." : strDirectory;
    if (strPath[0] != '/')
    {
        std::string strCurrent = CPlatformLayer::getCurrentDirectory();
        if (strCurrent.empty() || strCurrent.back() != '/')
        {
            strCurrent += "/";
        }
        strPath = strCurrent + strPath;
    }
    // "." components say nothing; a trailing "/" marks the directory.
    strPath += "/";
    for (std::string::size_type nAt = strPath.find("/./"); nAt != std::string::npos; nAt = strPath.find("/./"))
    {
        strPath.erase(nAt, 2);
    }
    for (std::string::size_type nAt = strPath.find("//"); nAt != std::string::npos; nAt = strPath.find("//"))
    {
        strPath.erase(nAt, 1);
    }
    return "file://" + EncodePath(strPath);
}

nlohmann::ordered_json CSarifLog::ForLint(const std::string& strPackageDirectory,
                                          const std::vector<SLintFinding>& vFindings)
{
    return ForFindings(strPackageDirectory, kPackageRootId, CPackageLinter::Rules(), vFindings,
                       "An error: a dependency can never be verified, or never applies as written.",
                       "A warning: the checker runs, but not as the package reads.");
}

nlohmann::ordered_json CSarifLog::ForFindings(const std::string& strRootDirectory, const std::string& strRootId,
                                              const std::vector<SLintRule>& vRules,
                                              const std::vector<SLintFinding>& vFindings,
                                              const std::string& strErrorMeaning, const std::string& strWarningMeaning)
{
    nlohmann::ordered_json driver;
    driver["name"] = "vexinspect";
    driver["version"] = VEXDEP_VERSION;
    driver["rules"] = nlohmann::ordered_json::array();
    for (const SLintRule& rule : vRules)
    {
        driver["rules"].push_back(RuleOf(rule, strErrorMeaning, strWarningMeaning));
    }

    nlohmann::ordered_json results = nlohmann::ordered_json::array();
    for (const SLintFinding& finding : vFindings)
    {
        nlohmann::ordered_json result;
        result["ruleId"] = finding.strCode;
        for (std::size_t i = 0; i < vRules.size(); ++i)
        {
            if (finding.strCode == vRules[i].pszCode)
            {
                result["ruleIndex"] = i;
            }
        }
        result["level"] = LevelOf(finding.eSeverity);
        result["message"] = Text(finding.strMessage);
        nlohmann::ordered_json physical;
        physical["artifactLocation"]["uri"] = EncodePath(finding.strFile);
        physical["artifactLocation"]["uriBaseId"] = strRootId;
        // A finding about a whole file points at its first line: code-scanning
        // tools require a start line.
        physical["region"]["startLine"] = finding.nLine > 0 ? finding.nLine : 1;
        if (finding.nLine > 0 && finding.nColumn > 0)
        {
            physical["region"]["startColumn"] = finding.nColumn;
        }
        nlohmann::ordered_json location;
        location["physicalLocation"] = physical;
        result["locations"] = nlohmann::ordered_json::array({location});
        if (!finding.strElement.empty())
        {
            result["properties"]["element"] = finding.strElement;
        }
        results.push_back(result);
    }

    nlohmann::ordered_json run;
    run["tool"]["driver"] = driver;
    run["originalUriBaseIds"][strRootId]["uri"] = DirectoryUri(strRootDirectory);
    run["results"] = results;

    nlohmann::ordered_json log;
    log["$schema"] = kSchemaUri;
    log["version"] = "2.1.0";
    log["runs"] = nlohmann::ordered_json::array({run});
    return log;
}
