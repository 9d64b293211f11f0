// vexinspect: answers the questions of operators and package authors about
// what vexdepcheck does with an update package, on the checker's own library
// code.
//
//   vexinspect explain hard|soft [--package-dir DIR] [--smbios-dump FILE] [--log FILE]
//                      [--collector-timeout config|N|none] [--json | --format text|json]
//                      [--exit-verdict]
//   vexinspect smbios [--from-dump FILE] [--log FILE] [--json | --format text|json]
//   vexinspect lint [--package-dir DIR] [--json | --format text|json|sarif]
//   vexinspect repo index DIR [--output FILE] [--json | --format text|json]
//   vexinspect repo pack DIR --output FILE [--json | --format text|json]
//   vexinspect repo check DIR [--catalog FILE] [--json | --format text|json|sarif]
//   vexinspect plan hard|soft|both --repository DIR [--package-dir DIR] [--inventory FILE]
//                   [--catalog FILE] [--smbios-dump FILE] [--log FILE]
//                   [--collector-timeout config|N|none] [--json | --format text|json] [--exit-verdict]
//
// --smbios-dump and --from-dump name the same option on explain and smbios.
//
// Exit status 64 for a command line that cannot be parsed (worded by
// UsageErrors); otherwise that of the subcommand (see docs/diagnostics.md).
// Every error line starts with "vexinspect:" (or "vexinspect SUBCOMMAND:").

#include "ExplainCommand.h"
#include "LintCommand.h"
#include "OutputFormat.h"
#include "PlanCommand.h"
#include "RepoCheckCommand.h"
#include "RepoIndexCommand.h"
#include "RepoPackCommand.h"
#include "SmbiosCommand.h"
#include "UsageErrors.h"
#include "Version.h"
#include "XmlSupport.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <string>

namespace
{
const std::string kVersionText = std::string("vexinspect ") + VEXDEP_VERSION;

// The help footers: exit statuses and one example.
const char* const kToolFooter = "Exit status:\n"
                                "  that of the subcommand (see vexinspect SUBCOMMAND --help)\n"
                                "  64  the command line cannot be parsed\n"
                                "\n"
                                "Example:\n"
                                "  vexinspect explain hard --package-dir /srv/updates/pkg";
const char* const kExplainFooter = "Exit status:\n"
                                   "  0   the explanation was printed\n"
                                   "  64  usage error\n"
                                   "  66  the package directory, the dump or the log file cannot be used\n"
                                   "  with --exit-verdict: 0 ready, 1 blocked, 2 recommended, 3 unverifiable\n"
                                   "\n"
                                   "Example:\n"
                                   "  vexinspect explain hard --package-dir /srv/updates/pkg --smbios-dump server.dump";
const char* const kSmbiosFooter = "Exit status:\n"
                                  "  0   a table was read\n"
                                  "  1   no table could be read\n"
                                  "  64  usage error\n"
                                  "  66  the dump or the log file cannot be used\n"
                                  "\n"
                                  "Example:\n"
                                  "  vexinspect smbios --from-dump server.dump --json";
const char* const kLintFooter = "Exit status:\n"
                                "  0   no finding\n"
                                "  1   warnings only\n"
                                "  2   at least one error\n"
                                "  64  usage error\n"
                                "  66  the package directory cannot be entered\n"
                                "\n"
                                "Example:\n"
                                "  vexinspect lint --package-dir pkg";
const char* const kRepoFooter = "Exit status: that of the repository subcommand (index, check or pack)\n"
                                "\n"
                                "Example:\n"
                                "  vexinspect repo check /srv/repository --format sarif";
const char* const kRepoIndexFooter = "Exit status:\n"
                                     "  0   the catalog was written\n"
                                     "  64  usage error\n"
                                     "  66  the repository cannot be read\n"
                                     "  73  the catalog cannot be written\n"
                                     "\n"
                                     "Example:\n"
                                     "  vexinspect repo index /srv/repository";
const char* const kRepoCheckFooter = "Exit status:\n"
                                     "  0   no finding\n"
                                     "  1   warnings only\n"
                                     "  2   at least one error\n"
                                     "  64  usage error\n"
                                     "  66  the repository cannot be read\n"
                                     "\n"
                                     "Example:\n"
                                     "  vexinspect repo check /srv/repository --format sarif";
const char* const kRepoPackFooter = "Exit status:\n"
                                    "  0   the archive was written\n"
                                    "  64  usage error\n"
                                    "  66  the repository cannot be read\n"
                                    "  73  the archive cannot be written\n"
                                    "\n"
                                    "Example:\n"
                                    "  vexinspect repo pack /srv/repository -o repository-metadata.tar.gz";
const char* const kPlanFooter = "Exit status:\n"
                                "  0   the plan was printed\n"
                                "  64  usage error\n"
                                "  66  the repository, the package directory, the inventory, the dump or the log "
                                "file cannot be used\n"
                                "  73  the scratch directory cannot be made\n"
                                "  with --exit-verdict: 0 nothing needed, 1 complete with steps, 2 blocked, 3 "
                                "unverifiable\n"
                                "\n"
                                "Example:\n"
                                "  vexinspect plan hard --repository /srv/repository --package-dir /srv/updates/pkg";

// vexinspect presents what went wrong with a document in its own words:
// what the XML library says about the documents it reads is not written to
// standard error (where the checker, run on its own, writes it).
class CQuietParserMessages : public xmlsupport::IParserMessageSink
{
public:
    void Write(const std::string&) override {}
};
} // namespace

// An exception while the command line is set up (before it is parsed) is a
// programming error and ends the program.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char* argv[])
{
    CQuietParserMessages quietParserMessages;
    xmlsupport::SetParserMessageSink(&quietParserMessages);
    CLI::App app{"Explains what vexdepcheck decides for an update package, shows the machine's SMBIOS identity, "
                 "lints packages, checks repositories of packages and plans updates from them.",
                 "vexinspect"};
    app.set_version_flag("--version", kVersionText, "Print the version and exit");
    app.require_subcommand(1, 1);
    app.footer(kToolFooter);

    SExplainOptions explainOptions;
    CLI::App* pExplain = app.add_subcommand(
        "explain", "Run exactly the evaluation of vexdepcheck and explain every dependency's steps and verdict");
    pExplain->set_version_flag("--version", kVersionText, "Print the version and exit");
    pExplain->add_option("type", explainOptions.strType, "hard or soft, as given to vexdepcheck")
        ->required()
        ->check(CLI::IsMember({"hard", "soft"}));
    usage::NameArgument(pExplain, "type", "package type", "hard or soft");
    pExplain->add_option("--package-dir", explainOptions.strPackageDir,
                         "The package directory (default: the current directory)");
    pExplain->footer(kExplainFooter);
    pExplain->add_option("--smbios-dump,--from-dump", explainOptions.strSmbiosDump,
                         "Evaluate the platform check against this binary SMBIOS dump instead of the machine's tables "
                         "(--from-dump is an alias)");
    pExplain->add_option("--log", explainOptions.strLogFile,
                         "Write the checker's debug log to this file (default: nowhere)");
    pExplain
        ->add_option("--collector-timeout", explainOptions.strCollectorTimeout,
                     "Run collectors with this time limit: config (each collector's declared limit), a number of "
                     "seconds, or none (wait until they end); default: the value of VEXDEP_COLLECTOR_TIMEOUT, as "
                     "vexdepcheck takes it")
        ->type_name("config|N|none");
    SOutputFormat explainFormat;
    AddOutputFormat(pExplain, explainFormat, {"text", "json"}, "Print text (the default) or JSON (as --json)");
    pExplain->add_flag("--exit-verdict", explainOptions.bExitVerdict,
                       "Exit with the verdict: 0 ready, 1 blocked, 2 recommended, 3 unverifiable");

    SSmbiosOptions smbiosOptions;
    CLI::App* pSmbios = app.add_subcommand(
        "smbios", "Show where the SMBIOS table comes from, its identity strings and the system ID the checker uses");
    pSmbios->set_version_flag("--version", kVersionText, "Print the version and exit");
    pSmbios->footer(kSmbiosFooter);
    pSmbios->add_option(
        "--from-dump,--smbios-dump", smbiosOptions.strFromDump,
        "Read this binary SMBIOS dump (entry point at 0, table at 0x20) instead of the machine's tables "
        "(--smbios-dump is an alias)");
    pSmbios->add_option("--log", smbiosOptions.strLogFile, "Write the SMBIOS reader's debug log to this file");
    SOutputFormat smbiosFormat;
    AddOutputFormat(pSmbios, smbiosFormat, {"text", "json"}, "Print text (the default) or JSON (as --json)");

    SLintOptions lintOptions;
    CLI::App* pLint =
        app.add_subcommand("lint", "Report what the checker will do differently from what a package seems to say");
    pLint->set_version_flag("--version", kVersionText, "Print the version and exit");
    pLint->footer(kLintFooter);
    pLint->add_option("--package-dir", lintOptions.strPackageDir,
                      "The package directory (default: the current directory)");
    SOutputFormat lintFormat;
    AddOutputFormat(pLint, lintFormat, {"text", "json", "sarif"},
                    "Print text (the default), JSON (as --json) or a SARIF 2.1.0 log");

    CLI::App* pRepo = app.add_subcommand(
        "repo", "Index a repository of update packages, check its consistency, or pack its metadata");
    pRepo->set_version_flag("--version", kVersionText, "Print the version and exit");
    pRepo->require_subcommand(1, 1);
    pRepo->footer(kRepoFooter);

    SRepoIndexOptions repoIndexOptions;
    CLI::App* pRepoIndex = pRepo->add_subcommand(
        "index", "Write the repository's catalog: every package's identity, version, dependencies and digest");
    pRepoIndex->set_version_flag("--version", kVersionText, "Print the version and exit");
    pRepoIndex->footer(kRepoIndexFooter);
    pRepoIndex->add_option("repository", repoIndexOptions.strRepository, "The repository's directory")->required();
    pRepoIndex->add_option("--output,-o", repoIndexOptions.strOutput,
                           "Write the catalog to this file (default: catalog.json in the repository; - for standard "
                           "output)");
    SOutputFormat repoIndexFormat;
    AddOutputFormat(pRepoIndex, repoIndexFormat, {"text", "json"}, "Print the summary as text (the default) or JSON");

    SRepoCheckOptions repoCheckOptions;
    CLI::App* pRepoCheck = pRepo->add_subcommand(
        "check", "Report dependency paths that find no package, cycles, missing intermediate versions and duplicates");
    pRepoCheck->set_version_flag("--version", kVersionText, "Print the version and exit");
    pRepoCheck->footer(kRepoCheckFooter);
    pRepoCheck->add_option("repository", repoCheckOptions.strRepository, "The repository's directory")->required();
    pRepoCheck->add_option("--catalog", repoCheckOptions.strCatalog,
                           "Compare this catalog with the tree (default: catalog.json in the repository, if there)");
    SOutputFormat repoCheckFormat;
    AddOutputFormat(pRepoCheck, repoCheckFormat, {"text", "json", "sarif"},
                    "Print text (the default), JSON (as --json) or a SARIF 2.1.0 log");

    SRepoPackOptions repoPackOptions;
    CLI::App* pRepoPack = pRepo->add_subcommand(
        "pack", "Write an archive of what a plan needs of the repository: package descriptions, release directories "
                "and the catalog, no payload");
    pRepoPack->set_version_flag("--version", kVersionText, "Print the version and exit");
    pRepoPack->footer(kRepoPackFooter);
    pRepoPack->add_option("repository", repoPackOptions.strRepository, "The repository's directory")->required();
    pRepoPack->add_option("--output,-o", repoPackOptions.strOutput, "The archive to write (a gzip tar file)")
        ->required();
    SOutputFormat repoPackFormat;
    AddOutputFormat(pRepoPack, repoPackFormat, {"text", "json"}, "Print the summary as text (the default) or JSON");

    SPlanOptions planOptions;
    CLI::App* pPlan = app.add_subcommand(
        "plan", "Compute which packages of a repository to install, in which order, before this package");
    pPlan->set_version_flag("--version", kVersionText, "Print the version and exit");
    pPlan->footer(kPlanFooter);
    pPlan->add_option("type", planOptions.strType, "hard, soft or both")
        ->required()
        ->check(CLI::IsMember({"hard", "soft", "both"}));
    usage::NameArgument(pPlan, "type", "plan type", "hard, soft or both");
    pPlan->add_option("--repository", planOptions.strRepository,
                      "The repository of update packages: a directory, or an archive that repo pack wrote")
        ->required();
    pPlan->add_option("--package-dir", planOptions.strPackageDir,
                      "The package to install (default: the current directory)");
    pPlan->add_option("--inventory", planOptions.strInventory,
                      "The machine's inventory (default: inv.xml in the package directory)");
    pPlan->add_option("--catalog", planOptions.strCatalog,
                      "The repository's catalog (default: catalog.json in the repository, if there)");
    pPlan->add_option("--smbios-dump,--from-dump", planOptions.strSmbiosDump,
                      "Evaluate the platform checks against this binary SMBIOS dump instead of the machine's tables");
    pPlan->add_option("--log", planOptions.strLogFile, "Write the checker's debug log to this file (default: nowhere)");
    pPlan
        ->add_option("--collector-timeout", planOptions.strCollectorTimeout,
                     "Run collectors with this time limit: config, a number of seconds, or none; default: the value "
                     "of VEXDEP_COLLECTOR_TIMEOUT, as vexdepcheck takes it")
        ->type_name("config|N|none");
    SOutputFormat planFormat;
    AddOutputFormat(pPlan, planFormat, {"text", "json"}, "Print text (the default) or JSON (as --json)");
    pPlan->add_flag("--exit-verdict", planOptions.bExitVerdict,
                    "Exit with the verdict: 0 nothing needed, 1 complete with steps, 2 blocked, 3 unverifiable");

    if (usage::RefuseVersionWithArguments(app, argc, argv, std::cerr))
    {
        return usage::kExitUsage;
    }
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::Success& e)
    {
        // --help and --version
        return app.exit(e);
    }
    catch (const CLI::ParseError& e)
    {
        return usage::ReportParseError(app, e, argc, argv, std::cerr);
    }

    if (pExplain->parsed())
    {
        explainOptions.bCollectorTimeoutGiven = pExplain->count("--collector-timeout") > 0;
        explainOptions.bJson = explainFormat.Chosen() == "json";
        return CExplainCommand(explainOptions).Run(std::cout, std::cerr);
    }
    if (pSmbios->parsed())
    {
        smbiosOptions.bJson = smbiosFormat.Chosen() == "json";
        return CSmbiosCommand(smbiosOptions).Run(std::cout, std::cerr);
    }
    if (pRepoIndex->parsed())
    {
        repoIndexOptions.bJson = repoIndexFormat.Chosen() == "json";
        return CRepoIndexCommand(repoIndexOptions).Run(std::cout, std::cerr);
    }
    if (pRepoCheck->parsed())
    {
        repoCheckOptions.strFormat = repoCheckFormat.Chosen();
        return CRepoCheckCommand(repoCheckOptions).Run(std::cout, std::cerr);
    }
    if (pRepoPack->parsed())
    {
        repoPackOptions.bJson = repoPackFormat.Chosen() == "json";
        return CRepoPackCommand(repoPackOptions).Run(std::cout, std::cerr);
    }
    if (pPlan->parsed())
    {
        planOptions.bCollectorTimeoutGiven = pPlan->count("--collector-timeout") > 0;
        planOptions.bJson = planFormat.Chosen() == "json";
        return CPlanCommand(planOptions).Run(std::cout, std::cerr);
    }
    lintOptions.strFormat = lintFormat.Chosen();
    return CLintCommand(lintOptions).Run(std::cout, std::cerr);
}
