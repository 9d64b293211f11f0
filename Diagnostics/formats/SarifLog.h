#ifndef VEXDEP_SARIFLOG_H
#define VEXDEP_SARIFLOG_H

#include "LintFinding.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

// The lint findings as a SARIF 2.1.0 log: one run of vexinspect, one rule
// per kind of finding, one result per finding. Files are named relative to
// the package directory (uriBaseId PACKAGEROOT), which the run gives as a
// file URI.
class CSarifLog
{
public:
    static const char* const kSchemaUri;
    static const char* const kPackageRootId;

    static nlohmann::ordered_json ForLint(const std::string& strPackageDirectory,
                                          const std::vector<SLintFinding>& vFindings);
    // The findings of any of vexinspect's checks: its rules, what an error
    // and a warning mean for it, and the files relative to strRootDirectory
    // (uriBaseId strRootId).
    static nlohmann::ordered_json ForFindings(const std::string& strRootDirectory, const std::string& strRootId,
                                              const std::vector<SLintRule>& vRules,
                                              const std::vector<SLintFinding>& vFindings,
                                              const std::string& strErrorMeaning, const std::string& strWarningMeaning);

    // The directory as an absolute file URI ending in "/" (a relative one is
    // taken from the current directory).
    static std::string DirectoryUri(const std::string& strDirectory);
    // A path with every byte but the unreserved characters and "/"
    // percent-encoded.
    static std::string EncodePath(const std::string& strPath);
    // The rule's name: its code in upper camel case (missing-version:
    // MissingVersion).
    static std::string RuleName(const std::string& strCode);
};

#endif // VEXDEP_SARIFLOG_H
