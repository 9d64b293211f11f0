#include "SmbiosCommand.h"

#include "DiagnosticLog.h"
#include "JsonFormat.h"
#include "SmbiosDump.h"
#include "SmbiosSummary.h"

#include <ostream>

CSmbiosCommand::CSmbiosCommand(const SSmbiosOptions& options) : m_options(options) {}

int CSmbiosCommand::Run(std::ostream& out, std::ostream& err)
{
    std::string strLogError;
    if (!CDiagnosticLog::Open(m_options.strLogFile, strLogError))
    {
        err << "vexinspect smbios: cannot open the log file "
            << (m_options.strLogFile.empty() ? CDiagnosticLog::pszDiscard : m_options.strLogFile) << ": " << strLogError
            << "\n";
        return nExitUnusableInput;
    }

    CSmbiosDump dump;
    SMBIOSSources sources;
    if (!m_options.strFromDump.empty())
    {
        if (!dump.Load(m_options.strFromDump))
        {
            err << "vexinspect smbios: " << dump.GetError() << "\n";
            return nExitUnusableInput;
        }
        sources = dump.GetSources();
    }

    const SSmbiosSummary summary = CSmbiosSummary::Read(sources, m_options.strFromDump);
    if (m_options.bJson)
    {
        jsonformat::Json json = jsonformat::Document(nSchemaVersion, "smbios");
        json.update(CSmbiosSummary::ToJson(summary));
        out << jsonformat::Print(json);
    }
    else
    {
        out << CSmbiosSummary::ToText(summary);
    }
    return summary.bTableRead ? nExitTableRead : nExitNoTable;
}
