#ifndef VEXDEP_LINTCOMMAND_H
#define VEXDEP_LINTCOMMAND_H

#include "PackageLinter.h"

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <string>
#include <vector>

struct SLintOptions
{
    std::string strPackageDir;      // the package directory; the current one when empty
    bool bJson = false;             // --json, the same as strFormat "json"
    std::string strFormat = "text"; // text, json or sarif
};

// vexinspect lint: reads the package as the checker would and lists what
// it will do differently from what the package seems to say, each finding
// with its file, line and a one-line explanation.
//
// Exit status: 0 no finding, 1 warnings only, 2 at least one error, 66 when
// the package directory cannot be entered (as for explain: it does not
// exist, is not a directory, or this user may not enter it).
class CLintCommand
{
public:
    static constexpr int nExitClean = 0;
    static constexpr int nExitWarnings = 1;
    static constexpr int nExitErrors = 2;
    static constexpr int nExitUnusableInput = 66;

    explicit CLintCommand(const SLintOptions& options);
    int Run(std::ostream& out, std::ostream& err);

    static int ExitStatus(const std::vector<SLintFinding>& vFindings);
    static std::string ToText(const std::vector<SLintFinding>& vFindings);
    static nlohmann::ordered_json ToJson(const std::string& strPackageDirectory,
                                         const std::vector<SLintFinding>& vFindings);
    // The first key of the JSON form.
    static constexpr int nSchemaVersion = 1;

private:
    SLintOptions m_options;
};

#endif // VEXDEP_LINTCOMMAND_H
