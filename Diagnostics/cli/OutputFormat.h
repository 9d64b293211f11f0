#ifndef VEXDEP_OUTPUTFORMAT_H
#define VEXDEP_OUTPUTFORMAT_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

// The output format of a subcommand, chosen with --format FORMAT or with
// --json (the same as --format json); the two exclude each other. Every
// subcommand that prints JSON takes both.
struct SOutputFormat
{
    bool bJson = false;
    std::string strFormat; // as given with --format; empty when not given

    // "json" for --json, the --format given, or "text".
    std::string Chosen() const;
};

// Adds --json and --format to the subcommand; vFormats are the formats it
// prints ("text" first, "json" among them), strHelp the help of --format.
void AddOutputFormat(CLI::App* pCommand, SOutputFormat& format, const std::vector<std::string>& vFormats,
                     const std::string& strHelp);

#endif // VEXDEP_OUTPUTFORMAT_H
