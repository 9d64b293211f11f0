#ifndef VEXDEP_USAGEERRORS_H
#define VEXDEP_USAGEERRORS_H

#include <iosfwd>
#include <string>
#include <vector>

// The usage errors of vexinspect, worded as a Linux tool words them: the
// program's name, what is wrong, and a last line that points at the help of
// the command that was given:
//
//   vexinspect: missing package type: expected hard or soft
//   Try 'vexinspect explain --help' for more information.
//
// Every subcommand's usage errors go through here: those the command-line
// parser finds and those a command finds in the values it was given. Exit
// status 64 (EX_USAGE) for all of them.
namespace CLI
{
class App;
class ParseError;
} // namespace CLI

namespace usage
{
const int kExitUsage = 64;

// The program's name, the first word of every usage error and help line.
extern const char* const kProgram;

// Names the positional argument strName of the subcommand pCommand in the
// usage errors: strWhat is what it is ("package type"), strExpected what it
// takes ("hard or soft").
void NameArgument(const CLI::App* pCommand, const std::string& strName, const std::string& strWhat,
                  const std::string& strExpected);

// "a, b or c".
std::string Alternatives(const std::vector<std::string>& vWords);

// The line that closes every usage error: "Try 'vexinspect explain --help'
// for more information." (strSubcommand empty: the tool's own help).
std::string TryHelp(const std::string& strSubcommand);

// Writes a usage error: "vexinspect: strMessage" and the help line of
// strSubcommand (empty: the tool's). Returns kExitUsage.
int Report(const std::string& strSubcommand, const std::string& strMessage, std::ostream& err);

// Writes the usage error of a command line that the parser refused, in the
// words above, and returns kExitUsage.
int ReportParseError(const CLI::App& app, const CLI::ParseError& error, int argc, char* argv[], std::ostream& err);

// --version stands alone: "vexinspect --version" and "vexinspect SUBCOMMAND
// --version" print the version; --version with any other argument is a
// usage error. Writes it and returns true when the command line gives
// --version with other arguments.
bool RefuseVersionWithArguments(const CLI::App& app, int argc, char* argv[], std::ostream& err);
} // namespace usage

#endif // VEXDEP_USAGEERRORS_H
