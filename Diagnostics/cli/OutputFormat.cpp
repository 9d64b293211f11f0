#include "OutputFormat.h"

std::string SOutputFormat::Chosen() const
{
    if (bJson)
    {
        return "json";
    }
    return strFormat.empty() ? "text" : strFormat;
}

void AddOutputFormat(CLI::App* pCommand, SOutputFormat& format, const std::vector<std::string>& vFormats,
                     const std::string& strHelp)
{
    CLI::Option* pJson = pCommand->add_flag("--json", format.bJson, "Print JSON instead of text (as --format json)");
    std::string strType;
    for (const std::string& strFormat : vFormats)
    {
        strType += (strType.empty() ? "" : "|") + strFormat;
    }
    pCommand->add_option("--format", format.strFormat, strHelp)
        ->check(CLI::IsMember(vFormats))
        ->type_name(strType)
        ->excludes(pJson);
}
