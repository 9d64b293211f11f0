// vexinspect: answers the questions of operators and package authors about
// what vexdepcheck does with an update package, on the checker's own library
// code.
//
//   vexinspect explain hard|soft [--package-dir DIR] [--smbios-dump FILE] [--log FILE]
//                      [--collector-timeout config|N|none] [--json | --format text|json]
//                      [--exit-verdict]
//   vexinspect smbios [--from-dump FILE] [--log FILE] [--json | --format text|json]
//   vexinspect lint [--package-dir DIR] [--json | --format text|json|sarif]
//
// --smbios-dump and --from-dump name the same option on explain and smbios.
//
// Exit status 64 for a command line that cannot be parsed (worded by
// UsageErrors); otherwise that of the subcommand (see docs/diagnostics.md).
// Every error line starts with "vexinspect:" (or "vexinspect SUBCOMMAND:").

#include "ExplainCommand.h"
#include "LintCommand.h"
#include "OutputFormat.h"
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
    CLI::App app{"Explains what vexdepcheck decides for an update package, shows the machine's SMBIOS identity "
                 "and lints packages.",
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
    pSmbios->add_option("--from-dump,--smbios-dump", smbiosOptions.strFromDump,
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
    lintOptions.strFormat = lintFormat.Chosen();
    return CLintCommand(lintOptions).Run(std::cout, std::cerr);
}
