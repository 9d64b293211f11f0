#include "UsageErrors.h"

#include <CLI/CLI.hpp>

#include <map>
#include <ostream>
#include <utility>

namespace usage
{
const char* const kProgram = "vexinspect";

namespace
{
struct SArgumentName
{
    std::string strWhat;
    std::string strExpected;
};

std::map<std::pair<std::string, std::string>, SArgumentName>& ArgumentNames()
{
    static std::map<std::pair<std::string, std::string>, SArgumentName> mapNames;
    return mapNames;
}

const SArgumentName* FindArgument(const std::string& strSubcommand, const std::string& strName)
{
    const auto it = ArgumentNames().find(std::make_pair(strSubcommand, strName));
    return it == ArgumentNames().end() ? nullptr : &it->second;
}

std::string Quoted(const std::string& strText) { return "'" + strText + "'"; }

std::vector<const CLI::App*> ParsedSubcommands(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* pSubcommand) { return pSubcommand->parsed(); });
}

std::vector<std::string> SubcommandNames(const CLI::App& app)
{
    std::vector<std::string> vNames;
    for (const CLI::App* pSubcommand : app.get_subcommands({}))
    {
        vNames.push_back(pSubcommand->get_name());
    }
    return vNames;
}

// The text after the first ": " of a parser message, and the text before it.
std::pair<std::string, std::string> SplitAtColon(const std::string& strMessage)
{
    const std::string::size_type nColon = strMessage.find(": ");
    if (nColon == std::string::npos)
    {
        return std::make_pair(std::string(), strMessage);
    }
    return std::make_pair(strMessage.substr(0, nColon), strMessage.substr(nColon + 2));
}

// "xml not in {text,json,sarif}": the value and the words in braces.
bool SplitNotIn(const std::string& strText, std::string& strValue, std::vector<std::string>& vAllowed)
{
    const std::string strNotIn = " not in {";
    const std::string::size_type nAt = strText.rfind(strNotIn);
    if (nAt == std::string::npos || strText.empty() || strText.back() != '}')
    {
        return false;
    }
    strValue = strText.substr(0, nAt);
    const std::string strList = strText.substr(nAt + strNotIn.size(), strText.size() - nAt - strNotIn.size() - 1);
    std::string::size_type nStart = 0;
    for (std::string::size_type nComma = strList.find(',');; nComma = strList.find(',', nStart))
    {
        vAllowed.push_back(strList.substr(nStart, nComma == std::string::npos ? std::string::npos : nComma - nStart));
        if (nComma == std::string::npos)
        {
            break;
        }
        nStart = nComma + 1;
    }
    return true;
}

// The words of one parser error, for the subcommand strSubcommand.
std::string Wording(const CLI::ParseError& error, const std::string& strSubcommand)
{
    const std::string strMessage = error.what();
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr)
    {
        const std::string strSuffix = " is required";
        if (strMessage.size() > strSuffix.size() &&
            strMessage.compare(strMessage.size() - strSuffix.size(), strSuffix.size(), strSuffix) == 0)
        {
            const std::string strName = strMessage.substr(0, strMessage.size() - strSuffix.size());
            const SArgumentName* pName = FindArgument(strSubcommand, strName);
            if (pName != nullptr)
            {
                return "missing " + pName->strWhat + ": expected " + pName->strExpected;
            }
            return "missing " + strName;
        }
    }
    if (dynamic_cast<const CLI::ValidationError*>(&error) != nullptr)
    {
        const std::pair<std::string, std::string> parts = SplitAtColon(strMessage);
        std::string strValue;
        std::vector<std::string> vAllowed;
        if (SplitNotIn(parts.second, strValue, vAllowed))
        {
            const SArgumentName* pName = FindArgument(strSubcommand, parts.first);
            if (pName != nullptr)
            {
                return "invalid " + pName->strWhat + " " + Quoted(strValue) + ": expected " + pName->strExpected;
            }
            return "invalid value " + Quoted(strValue) + " for option " + Quoted(parts.first) + ": expected " +
                   Alternatives(vAllowed);
        }
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr)
    {
        const std::pair<std::string, std::string> parts = SplitAtColon(strMessage);
        if (parts.second.find(" missing") != std::string::npos)
        {
            return "option " + Quoted(parts.first) + " requires an argument";
        }
        if (parts.second.compare(0, 7, "At Most") == 0)
        {
            return "option " + Quoted(parts.first) + " may be given only once";
        }
    }
    if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr)
    {
        const std::string strExcludes = " excludes ";
        const std::string::size_type nAt = strMessage.find(strExcludes);
        if (nAt != std::string::npos)
        {
            return "options " + Quoted(strMessage.substr(0, nAt)) + " and " +
                   Quoted(strMessage.substr(nAt + strExcludes.size())) + " cannot be given together";
        }
    }
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr)
    {
        const std::pair<std::string, std::string> parts = SplitAtColon(strMessage);
        // The first argument that was not expected is the one named.
        const std::string strFirst = parts.second.substr(0, parts.second.find(' '));
        return strFirst.compare(0, 1, "-") == 0 ? "unrecognized option " + Quoted(strFirst)
                                                : "unexpected argument " + Quoted(strFirst);
    }
    // What the parser says, as it says it.
    std::string strText = strMessage;
    while (!strText.empty() && strText.back() == '\n')
    {
        strText.pop_back();
    }
    return strText;
}
} // namespace

void NameArgument(const CLI::App* pCommand, const std::string& strName, const std::string& strWhat,
                  const std::string& strExpected)
{
    ArgumentNames()[std::make_pair(pCommand->get_name(), strName)] = SArgumentName{strWhat, strExpected};
}

std::string Alternatives(const std::vector<std::string>& vWords)
{
    std::string strText;
    for (std::size_t i = 0; i < vWords.size(); ++i)
    {
        strText += (i == 0 ? "" : (i + 1 == vWords.size() ? " or " : ", ")) + vWords[i];
    }
    return strText;
}

std::string TryHelp(const std::string& strSubcommand)
{
    return "Try '" + std::string(kProgram) + (strSubcommand.empty() ? "" : " " + strSubcommand) +
           " --help' for more information.";
}

int Report(const std::string& strSubcommand, const std::string& strMessage, std::ostream& err)
{
    err << kProgram << ": " << strMessage << "\n" << TryHelp(strSubcommand) << "\n";
    return kExitUsage;
}

int ReportParseError(const CLI::App& app, const CLI::ParseError& error, int argc, char* argv[], std::ostream& err)
{
    const std::vector<const CLI::App*> vParsed = ParsedSubcommands(app);
    if (!vParsed.empty())
    {
        // A subcommand of a subcommand ("repo index"): the help line names
        // both, the wording is the innermost one's.
        const CLI::App* pInnermost = vParsed.front();
        std::string strCommand = pInnermost->get_name();
        for (std::vector<const CLI::App*> vNested = ParsedSubcommands(*pInnermost); !vNested.empty();
             vNested = ParsedSubcommands(*pInnermost))
        {
            pInnermost = vNested.front();
            strCommand += " " + pInnermost->get_name();
        }
        return Report(strCommand, Wording(error, pInnermost->get_name()), err);
    }
    // Nothing was taken for a subcommand: the first word names what is wrong.
    const std::string strExpected = Alternatives(SubcommandNames(app));
    const std::string strFirst = argc > 1 ? argv[1] : "";
    if (strFirst.empty())
    {
        return Report("", "missing subcommand: expected " + strExpected, err);
    }
    if (strFirst[0] != '-')
    {
        return Report("", "unknown subcommand " + Quoted(strFirst) + ": expected " + strExpected, err);
    }
    return Report("",
                  "unrecognized option " + Quoted(strFirst) +
                      " (expected --help, --version or a subcommand: " + strExpected + ")",
                  err);
}

bool RefuseVersionWithArguments(const CLI::App& app, int argc, char* argv[], std::ostream& err)
{
    int nVersionAt = 0;
    for (int i = 1; i < argc && nVersionAt == 0; ++i)
    {
        nVersionAt = std::string(argv[i]) == "--version" ? i : 0;
    }
    if (nVersionAt == 0)
    {
        return false;
    }
    // The subcommands the words before --version name, one inside the
    // other ("repo index"); the help line names them.
    std::string strSubcommand;
    const CLI::App* pCommand = &app;
    int nWord = 1;
    for (; nWord < nVersionAt; ++nWord)
    {
        const CLI::App* pNext = nullptr;
        for (const CLI::App* pSubcommand : pCommand->get_subcommands({}))
        {
            pNext = pSubcommand->get_name() == argv[nWord] ? pSubcommand : pNext;
        }
        if (pNext == nullptr)
        {
            break;
        }
        strSubcommand += (strSubcommand.empty() ? "" : " ") + pNext->get_name();
        pCommand = pNext;
    }
    // --version alone, or after nothing but subcommands.
    const bool bAlone = nVersionAt == argc - 1 && nWord == nVersionAt;
    if (bAlone)
    {
        return false;
    }
    Report(strSubcommand, "option '--version' takes no other arguments", err);
    return true;
}
} // namespace usage
