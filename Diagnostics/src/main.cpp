// vexinspect: answers the questions of operators and package authors about
// what vexdepcheck does with an update package, on the checker's own library
// code.
//
//   vexinspect explain hard|soft [--package-dir DIR] [--smbios-dump FILE] [--log FILE]
//                      [--collector-timeout config|N|none] [--json] [--exit-verdict]
//   vexinspect smbios [--from-dump FILE] [--log FILE] [--json]
//   vexinspect lint [--package-dir DIR] [--json | --format text|json|sarif]
//
// Exit status 64 for a command line that cannot be parsed; otherwise that of
// the subcommand (see docs/diagnostics.md).

#include "ExplainCommand.h"
#include "LintCommand.h"
#include "SmbiosCommand.h"
#include "Version.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <string>

namespace
{
const int kExitUsage = 64;

const std::string kVersionText = std::string("vexinspect ") + VEXDEP_VERSION;
} // namespace

int main(int argc, char* argv[])
{
    CLI::App app{"Explains what vexdepcheck decides for an update package, shows the machine's SMBIOS identity "
                 "and lints packages.",
                 "vexinspect"};
    app.set_version_flag("--version", kVersionText, "Print the version and exit");
    app.require_subcommand(1, 1);

    SExplainOptions explainOptions;
    CLI::App* pExplain = app.add_subcommand(
        "explain", "Run exactly the evaluation of vexdepcheck and explain every dependency's steps and verdict");
    pExplain->set_version_flag("--version", kVersionText, "Print the version and exit");
    pExplain->add_option("type", explainOptions.strType, "hard or soft, as given to vexdepcheck")
        ->required()
        ->check(CLI::IsMember({"hard", "soft"}));
    pExplain->add_option("--package-dir", explainOptions.strPackageDir,
                         "The package directory (default: the current directory)");
    pExplain->add_option("--smbios-dump", explainOptions.strSmbiosDump,
                         "Evaluate the platform check against this binary SMBIOS dump instead of the machine's tables");
    pExplain->add_option("--log", explainOptions.strLogFile,
                         "Write the checker's debug log to this file (default: nowhere)");
    pExplain
        ->add_option("--collector-timeout", explainOptions.strCollectorTimeout,
                     "Run collectors with this time limit: config (each collector's declared limit), a number of "
                     "seconds, or none (wait until they end); default: the value of VEXDEP_COLLECTOR_TIMEOUT, as "
                     "vexdepcheck takes it")
        ->type_name("config|N|none");
    pExplain->add_flag("--json", explainOptions.bJson, "Print JSON instead of text");
    pExplain->add_flag("--exit-verdict", explainOptions.bExitVerdict,
                       "Exit with the verdict: 0 ready, 1 blocked, 2 recommended, 3 unverifiable");

    SSmbiosOptions smbiosOptions;
    CLI::App* pSmbios = app.add_subcommand(
        "smbios", "Show where the SMBIOS table comes from, its identity strings and the system ID the checker uses");
    pSmbios->set_version_flag("--version", kVersionText, "Print the version and exit");
    pSmbios->add_option(
        "--from-dump", smbiosOptions.strFromDump,
        "Read this binary SMBIOS dump (entry point at 0, table at 0x20) instead of the machine's tables");
    pSmbios->add_option("--log", smbiosOptions.strLogFile, "Write the SMBIOS reader's debug log to this file");
    pSmbios->add_flag("--json", smbiosOptions.bJson, "Print JSON instead of text");

    SLintOptions lintOptions;
    CLI::App* pLint =
        app.add_subcommand("lint", "Report what the checker will do differently from what a package seems to say");
    pLint->set_version_flag("--version", kVersionText, "Print the version and exit");
    pLint->add_option("--package-dir", lintOptions.strPackageDir,
                      "The package directory (default: the current directory)");
    CLI::Option* pLintJson = pLint->add_flag("--json", lintOptions.bJson, "Print JSON instead of text");
    pLint
        ->add_option("--format", lintOptions.strFormat,
                     "Print text (the default), JSON (as --json) or a SARIF 2.1.0 log")
        ->check(CLI::IsMember({"text", "json", "sarif"}))
        ->excludes(pLintJson);

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
        app.exit(e);
        return kExitUsage;
    }

    if (pExplain->parsed())
    {
        explainOptions.bCollectorTimeoutGiven = pExplain->count("--collector-timeout") > 0;
        return CExplainCommand(explainOptions).Run(std::cout, std::cerr);
    }
    if (pSmbios->parsed())
    {
        return CSmbiosCommand(smbiosOptions).Run(std::cout, std::cerr);
    }
    return CLintCommand(lintOptions).Run(std::cout, std::cerr);
}
