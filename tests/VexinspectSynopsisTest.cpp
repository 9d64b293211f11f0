// The synopses of vexinspect in the README, docs/diagnostics.md,
// docs/planning.md and the manual page name every option of every
// subcommand: the subcommands and their options are read from the --help of
// the real executable, so a new option cannot be left out of the documents.

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

using namespace vextest;

namespace
{
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;

// One option as --help lists it: its names ("--smbios-dump", "--from-dump";
// the first long one is the name synopses use) and, for an option whose
// values are listed ("text|json:{text,json}"), the values.
struct HelpOption
{
    std::vector<std::string> vNames;
    std::set<std::string> setValues;

    std::string PrimaryName() const
    {
        for (const std::string& strName : vNames)
        {
            if (strName.compare(0, 2, "--") == 0)
            {
                return strName;
            }
        }
        return vNames.front();
    }
};

// A subcommand ("explain", "repo pack") as its --help presents it.
struct HelpCommand
{
    std::string strPath;
    std::vector<std::set<std::string>> vPositionalChoices; // {hard, soft}
    std::vector<HelpOption> vOptions;
    std::vector<std::string> vSubcommands;
};

// The parts of strText between the separators.
std::vector<std::string> Split(const std::string& strText, char cSeparator)
{
    std::vector<std::string> vParts;
    std::string::size_type nStart = 0;
    for (std::string::size_type nAt = strText.find(cSeparator);; nAt = strText.find(cSeparator, nStart))
    {
        vParts.push_back(strText.substr(nStart, nAt == std::string::npos ? std::string::npos : nAt - nStart));
        if (nAt == std::string::npos)
        {
            return vParts;
        }
        nStart = nAt + 1;
    }
}

// The values --help lists for an option or argument ("text|json:{text,json}").
std::set<std::string> ChoicesIn(const std::string& strText)
{
    const std::string::size_type nOpen = strText.find(":{");
    const std::string::size_type nClose = strText.find('}', nOpen);
    if (nOpen == std::string::npos || nClose == std::string::npos)
    {
        return std::set<std::string>();
    }
    const std::vector<std::string> vChoices = Split(strText.substr(nOpen + 2, nClose - nOpen - 2), ',');
    return std::set<std::string>(vChoices.begin(), vChoices.end());
}

HelpCommand ReadHelp(const std::string& strPath)
{
    std::vector<std::string> vCommand = {kInspect};
    if (!strPath.empty())
    {
        const std::vector<std::string> vWords = Split(strPath, ' ');
        vCommand.insert(vCommand.end(), vWords.begin(), vWords.end());
    }
    vCommand.push_back("--help");
    const CommandResult result = RunCommand(vCommand, "/");
    EXPECT_EQ(result.nExitStatus, 0) << strPath << ": " << result.strStderr;

    HelpCommand command;
    command.strPath = strPath;
    std::string strSection;
    static const std::regex reEntry("^  (\\S+)(.*)$");
    for (const std::string& strLine : Lines(result.strStdout))
    {
        if (!strLine.empty() && strLine[0] != ' ')
        {
            strSection = strLine;
            continue;
        }
        std::smatch match;
        if (!std::regex_match(strLine, match, reEntry))
        {
            continue;
        }
        const std::string strFirst = match[1];
        if (strSection == "Options:" && strFirst[0] == '-')
        {
            HelpOption option;
            option.vNames = Split(strFirst, ',');
            option.setValues = ChoicesIn(match[2]);
            command.vOptions.push_back(option);
        }
        else if (strSection == "Positionals:")
        {
            const std::set<std::string> setChoices = ChoicesIn(match[2]);
            if (!setChoices.empty())
            {
                command.vPositionalChoices.push_back(setChoices);
            }
        }
        else if (strSection == "Subcommands:")
        {
            command.vSubcommands.push_back(strFirst);
        }
    }
    return command;
}

// Every command that takes no further subcommand, with its options.
std::vector<HelpCommand> LeafCommands()
{
    std::vector<HelpCommand> vLeaves;
    std::vector<std::string> vPending = ReadHelp("").vSubcommands;
    while (!vPending.empty())
    {
        const std::string strPath = vPending.front();
        vPending.erase(vPending.begin());
        const HelpCommand command = ReadHelp(strPath);
        if (command.vSubcommands.empty())
        {
            vLeaves.push_back(command);
        }
        for (const std::string& strSub : command.vSubcommands)
        {
            vPending.push_back(strPath + " " + strSub);
        }
    }
    return vLeaves;
}

// The synopsis entries of a document: "vexinspect SUBCOMMAND ..." with its
// continuation lines, as one line each, keyed by the subcommand path they
// begin with ("" for the tool's own line).
using Synopses = std::map<std::string, std::string>;

std::string SubcommandOf(const std::string& strEntry, const std::vector<HelpCommand>& vCommands)
{
    std::string strBest;
    for (const HelpCommand& command : vCommands)
    {
        const std::string strStart = "vexinspect " + command.strPath;
        if (strEntry.compare(0, strStart.size(), strStart) == 0 &&
            (strEntry.size() == strStart.size() || strEntry[strStart.size()] == ' ') &&
            command.strPath.size() > strBest.size())
        {
            strBest = command.strPath;
        }
    }
    return strBest;
}

// The entries in the plain ``` blocks of a Markdown document.
Synopses MarkdownSynopses(const std::string& strPath, const std::vector<HelpCommand>& vCommands)
{
    Synopses synopses;
    bool bInFence = false;
    bool bPlainFence = false; // a block without a language
    std::string strCurrent;   // the key of the entry being continued
    bool bInEntry = false;
    for (const std::string& strLine : Lines(ReadFile(strPath)))
    {
        if (strLine.compare(0, 3, "```") == 0)
        {
            bInFence = !bInFence;
            bPlainFence = bInFence && strLine == "```";
            bInEntry = false;
            continue;
        }
        if (!bPlainFence)
        {
            continue;
        }
        if (strLine.compare(0, 11, "vexinspect ") == 0)
        {
            strCurrent = SubcommandOf(strLine, vCommands);
            synopses[strCurrent] += " " + strLine;
            bInEntry = true;
        }
        else if (bInEntry && !strLine.empty() && strLine[0] == ' ')
        {
            synopses[strCurrent] += " " + strLine;
        }
        else
        {
            bInEntry = false;
        }
    }
    return synopses;
}

// The SYNOPSIS section of the manual page's source, each ".B vexinspect ..."
// entry as text: macros dropped, "\-" as "-", blanks around "|" removed.
Synopses ManualSynopses(const std::string& strPath, const std::vector<HelpCommand>& vCommands)
{
    Synopses synopses;
    bool bInSection = false;
    std::string strEntry;
    const auto Close = [&] {
        if (!strEntry.empty())
        {
            synopses[SubcommandOf(strEntry, vCommands)] += " " + strEntry;
        }
        strEntry.clear();
    };
    for (std::string strLine : Lines(ReadFile(strPath)))
    {
        if (strLine.compare(0, 4, ".SH ") == 0)
        {
            Close();
            bInSection = strLine == ".SH SYNOPSIS";
            continue;
        }
        if (!bInSection)
        {
            continue;
        }
        if (strLine.compare(0, 14, ".B vexinspect ") == 0 || strLine == ".B vexinspect")
        {
            Close();
        }
        strLine = std::regex_replace(strLine, std::regex("^\\.[A-Za-z]+ ?"), "");
        strLine = std::regex_replace(strLine, std::regex("\\\\f[BIPR]"), "");
        strLine = std::regex_replace(strLine, std::regex("\\\\-"), "-");
        strLine = std::regex_replace(strLine, std::regex("\""), "");
        strEntry += (strEntry.empty() ? "" : " ") + strLine;
        strEntry = std::regex_replace(strEntry, std::regex(" *\\| *"), "|");
        strEntry = std::regex_replace(strEntry, std::regex("  +"), " ");
    }
    Close();
    return synopses;
}

// Whether strName stands in strEntry as a word of its own.
bool Names(const std::string& strEntry, const std::string& strName)
{
    const std::regex reName("(^|[\\s\\[|])" + strName + "($|[\\s\\]|])");
    return std::regex_search(strEntry, reName);
}

// The values a synopsis gives for an option ("--format text|json").
std::set<std::string> ValuesIn(const std::string& strEntry, const std::string& strName)
{
    std::smatch match;
    if (!std::regex_search(strEntry, match, std::regex(strName + " ([a-z|]+)")))
    {
        return std::set<std::string>();
    }
    const std::vector<std::string> vValues = Split(match[1], '|');
    return std::set<std::string>(vValues.begin(), vValues.end());
}

std::string Joined(const std::set<std::string>& setValues)
{
    std::string strText;
    for (const std::string& strValue : setValues)
    {
        strText += (strText.empty() ? "" : "|") + strValue;
    }
    return strText;
}

// Checks that synopses names every subcommand's options (their first long
// name), the values of the options whose values are listed, and the choices
// of the positional arguments; with bAliases, that the document's text
// names every other name of an option somewhere.
void ExpectSynopsesComplete(const std::string& strDocument, const std::string& strText, const Synopses& synopses,
                            const std::vector<HelpCommand>& vCommands, bool bAliases)
{
    ASSERT_EQ(synopses.count(""), 1u) << strDocument << ": no synopsis of vexinspect --help | --version";
    EXPECT_TRUE(Names(synopses.at(""), "--help") && Names(synopses.at(""), "--version")) << synopses.at("");
    for (const HelpCommand& command : vCommands)
    {
        SCOPED_TRACE(strDocument + ": vexinspect " + command.strPath);
        ASSERT_EQ(synopses.count(command.strPath), 1u) << "no synopsis of the subcommand";
        const std::string& strEntry = synopses.at(command.strPath);
        for (const std::set<std::string>& setChoices : command.vPositionalChoices)
        {
            EXPECT_TRUE(Names(strEntry, Joined(setChoices))) << Joined(setChoices) << " in: " << strEntry;
        }
        for (const HelpOption& option : command.vOptions)
        {
            const std::string strName = option.PrimaryName();
            if (strName == "--help" || strName == "--version")
            {
                continue; // on the tool's own line, which says they follow every subcommand too
            }
            EXPECT_TRUE(Names(strEntry, strName)) << strName << " missing in: " << strEntry;
            if (!option.setValues.empty())
            {
                EXPECT_EQ(Joined(ValuesIn(strEntry, strName)), Joined(option.setValues))
                    << strName << " in: " << strEntry;
            }
            for (const std::string& strAlias : option.vNames)
            {
                if (bAliases && strAlias != strName)
                {
                    EXPECT_TRUE(std::regex_search(strText, std::regex("(^|[^-\\w])" + strAlias + "($|[^-\\w])")))
                        << strAlias << " (another name of " << strName << ") is never named";
                }
            }
        }
    }
}

const std::vector<HelpCommand>& Commands()
{
    static const std::vector<HelpCommand> vCommands = LeafCommands();
    return vCommands;
}
} // namespace

TEST(VexinspectSynopsis, TheHelpNamesTheSubcommandsAndOptionsTheTestReads)
{
    // What the other tests check against: without it they would check nothing.
    std::set<std::string> setPaths;
    std::size_t nOptions = 0;
    for (const HelpCommand& command : Commands())
    {
        setPaths.insert(command.strPath);
        nOptions += command.vOptions.size();
    }
    EXPECT_EQ(setPaths,
              (std::set<std::string>{"explain", "smbios", "lint", "repo index", "repo check", "repo pack", "plan"}));
    EXPECT_GE(nOptions, 7u * 4u);
}

TEST(VexinspectSynopsis, TheReadmeNamesEveryOptionOfEverySubcommand)
{
    const std::string strPath = VEXDEP_SOURCE_DIR "/README.md";
    ExpectSynopsesComplete(strPath, ReadFile(strPath), MarkdownSynopses(strPath, Commands()), Commands(), false);
}

TEST(VexinspectSynopsis, TheDiagnosticsDocumentNamesEveryOptionOfEverySubcommand)
{
    const std::string strPath = VEXDEP_SOURCE_DIR "/docs/diagnostics.md";
    ExpectSynopsesComplete(strPath, ReadFile(strPath), MarkdownSynopses(strPath, Commands()), Commands(), true);
}

TEST(VexinspectSynopsis, ThePlanningDocumentNamesEveryOptionOfTheCommandsItDescribes)
{
    const std::string strPath = VEXDEP_SOURCE_DIR "/docs/planning.md";
    const Synopses synopses = MarkdownSynopses(strPath, Commands());
    std::vector<HelpCommand> vDescribed;
    for (const HelpCommand& command : Commands())
    {
        if (command.strPath == "plan" || command.strPath.compare(0, 5, "repo ") == 0)
        {
            vDescribed.push_back(command);
        }
    }
    ASSERT_EQ(vDescribed.size(), 4u);
    Synopses described = synopses;
    described[""] = "vexinspect --help | --version"; // the tool's line is in diagnostics.md
    ExpectSynopsesComplete(strPath, ReadFile(strPath), described, vDescribed, true);
}

TEST(VexinspectSynopsis, TheManualPageNamesEveryOptionOfEverySubcommand)
{
    const std::string strPath = VEXDEP_SOURCE_DIR "/docs/man/vexinspect.8";
    const std::string strText = std::regex_replace(ReadFile(strPath), std::regex("\\\\-"), "-");
    ExpectSynopsesComplete(strPath, strText, ManualSynopses(strPath, Commands()), Commands(), true);
}
