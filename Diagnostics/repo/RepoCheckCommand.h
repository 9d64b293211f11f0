#ifndef VEXDEP_REPOCHECKCOMMAND_H
#define VEXDEP_REPOCHECKCOMMAND_H

#include "RepositoryChecker.h"

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <string>
#include <vector>

struct SRepoCheckOptions
{
    std::string strRepository;
    std::string strCatalog; // the catalog to compare with the tree; catalog.json in the repository when empty
    bool bJson = false;
    std::string strFormat = "text"; // text, json or sarif
};

// vexinspect repo check DIR: the repository's consistency without any
// server (CRepositoryChecker), as text (one line per finding, with the file
// and line in package.xml), JSON (docs/json/repo-check.schema.json) or a
// SARIF 2.1.0 log whose locations point into each package.xml.
//
// Exit status: 0 no finding, 1 warnings only, 2 at least one error, 66 the
// repository cannot be read.
class CRepoCheckCommand
{
public:
    static constexpr int nExitClean = 0;
    static constexpr int nExitWarnings = 1;
    static constexpr int nExitErrors = 2;
    static constexpr int nExitUnusableInput = 66;
    static constexpr int nSchemaVersion = 1;

    explicit CRepoCheckCommand(const SRepoCheckOptions& options);
    int Run(std::ostream& out, std::ostream& err);

    static int ExitStatus(const std::vector<SRepositoryFinding>& vFindings);
    static std::string ToText(const std::vector<SRepositoryFinding>& vFindings, std::size_t nPackages);
    static nlohmann::ordered_json ToJson(const std::string& strRepository, std::size_t nPackages,
                                         const std::vector<SRepositoryFinding>& vFindings);
    static nlohmann::ordered_json ToSarif(const std::string& strRepository,
                                          const std::vector<SRepositoryFinding>& vFindings);

private:
    SRepoCheckOptions m_options;
};

#endif // VEXDEP_REPOCHECKCOMMAND_H
