#include "ExplainCommand.h"

#include "CollectorTimeLimit.h"
#include "DependenciesChecker.h"
#include "DeviceInventoryInfo.h"
#include "DiagnosticLog.h"
#include "ExplainJson.h"
#include "ExplainReport.h"
#include "ExplainText.h"
#include "CollectorOutputCapture.h"
#include "JsonFormat.h"
#include "PackageDirectory.h"
#include "PlatformLayer.h"
#include "SmbiosDump.h"
#include "SmbiosSummary.h"
#include "TextFormat.h"
#include "UsageErrors.h"
#include "XmlSupport.h"

#include <ostream>

namespace
{
// The inventory text exactly as vexdepcheck's main reads it.
std::string ReadInventoryText()
{
    std::string strText;
    CPlatformLayer::ReadRegularFile("inv.xml", strText);
    return strText;
}

// Why the inventory text gives no device list: the system's reason it
// cannot be read, or the parser's first fatal message with its line and
// column; empty when it parses. Read after the run (the checker writes no
// line of its own for it).
std::string InventoryTextProblem(const std::string& strText)
{
    std::string strError;
    if (!CPlatformLayer::CanOpen("inv.xml", strError))
    {
        return "inv.xml: " + strError;
    }
    if (strText.empty())
    {
        return "inv.xml is empty or not a regular file";
    }
    const xmlsupport::SDiagnosedParse parse = xmlsupport::ParseFileWithDiagnostics("inv.xml");
    if (parse.pDocument)
    {
        return std::string();
    }
    return "inv.xml does not parse: " + textformat::ParseFailure(parse.vDiagnostics);
}
} // namespace

CExplainCommand::CExplainCommand(const SExplainOptions& options) : m_options(options) {}

int CExplainCommand::Run(std::ostream& out, std::ostream& err)
{
    CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;
    if (m_options.strType == "soft")
    {
        eType = CDeviceInfo::eDependencyTypeSoft;
    }
    else if (m_options.strType != "hard")
    {
        return usage::Report("explain", "invalid package type '" + m_options.strType + "': expected hard or soft", err);
    }

    CCollectorTimeLimit timeLimit;
    if (m_options.bCollectorTimeoutGiven && !CCollectorTimeLimit::Parse(m_options.strCollectorTimeout, timeLimit))
    {
        return usage::Report("explain",
                             "invalid collector timeout '" + m_options.strCollectorTimeout +
                                 "': expected config, none or a positive number of seconds",
                             err);
    }

    // Before anything reads the package: with the logger open, the readers
    // cannot switch it on inside the package directory.
    std::string strLogError;
    if (!CDiagnosticLog::Open(m_options.strLogFile, strLogError))
    {
        err << "vexinspect explain: cannot open the log file "
            << (m_options.strLogFile.empty() ? CDiagnosticLog::pszDiscard : m_options.strLogFile) << ": " << strLogError
            << "\n";
        return nExitUnusableInput;
    }

    // The dump is read relative to where the tool was started.
    CSmbiosDump dump;
    const bool bFromDump = !m_options.strSmbiosDump.empty();
    if (bFromDump && !dump.Load(m_options.strSmbiosDump))
    {
        err << "vexinspect explain: " << dump.GetError() << "\n";
        return nExitUnusableInput;
    }

    CPackageDirectory packageDirectory;
    std::string strDirectoryError;
    if (!packageDirectory.Enter(m_options.strPackageDir, strDirectoryError))
    {
        err << CPackageDirectory::ErrorLine("explain", m_options.strPackageDir, strDirectoryError) << "\n";
        return nExitUnusableInput;
    }

    // As vexdepcheck: the inventory text first, then the checker for the
    // working directory (the wrapper's construction).
    const std::string strInventoryXml = ReadInventoryText();
    const std::string strWorkingDirectory = CPlatformLayer::getCurrentDirectory();
    // Tested by reading it as the package reader does, which writes no log
    // line of its own and never waits on a named pipe.
    std::string strPackageText;
    const bool bPackageDescriptionFound = CPlatformLayer::ReadRegularFile("package.xml", strPackageText);

    CExplainReport report;
    report.SetRun(eType, strWorkingDirectory, bPackageDescriptionFound, strInventoryXml);
    if (bPackageDescriptionFound)
    {
        const xmlsupport::SDiagnosedParse parse = xmlsupport::ParseFileWithDiagnostics("package.xml");
        if (!parse.pDocument)
        {
            report.SetPackageDescription(EPackageDescription::Unparsable, textformat::ParseFailure(parse.vDiagnostics));
        }
    }
    // For a document a program parses, what the collectors write must not
    // land in it: their two streams are captured for the run, and each
    // collector's share is shown inside the document.
    CCollectorOutputCapture outputCapture(m_options.bJson);
    report.SetCollectorOutputCapture(&outputCapture);
    {
        CDependenciesChecker checker(strWorkingDirectory);
        // As vexdepcheck's wrapper does once the checker exists: the
        // environment's limit, unless the option gave one.
        std::string strRejected;
        if (!m_options.bCollectorTimeoutGiven)
        {
            bool bRejected = false;
            timeLimit = CCollectorTimeLimit::FromEnvironment(bRejected, strRejected);
        }
        checker.SetCollectorTimeLimit(timeLimit);
        report.SetCollectorTimeLimit(timeLimit, strRejected);
        checker.SetDecisionListener(&report);
        if (bFromDump)
        {
            checker.SetSMBIOSSources(dump.GetSources());
        }
        const bool bProcessed = checker.Process(eType, strInventoryXml);
        report.SetOutcome(bProcessed, checker.GetDependentDevices());
    }
    outputCapture.End();
    report.SetCollectorOutputCapture(nullptr);

    // The machine as the run saw it, read again now that the run is over.
    std::size_t nDevices = 0;
    SOSInfo runningOS;
    {
        CDeviceInventoryInfo inventory(strInventoryXml);
        std::vector<CDeviceInfo*> vDevices = inventory.GetDeviceInfo();
        nDevices = vDevices.size();
        for (CDeviceInfo* pDevice : vDevices)
        {
            delete pDevice;
        }
        runningOS = inventory.GetOSInfo();
    }
    const SSmbiosSummary smbios =
        CSmbiosSummary::Read(bFromDump ? dump.GetSources() : SMBIOSSources(), m_options.strSmbiosDump);
    report.SetMachine(runningOS, nDevices, smbios);
    report.SetInventoryTextProblem(InventoryTextProblem(strInventoryXml));
    report.ClassifyCollectorRuns();

    if (m_options.bJson)
    {
        out << jsonformat::Print(CExplainJson::Render(report.Run()));
    }
    else
    {
        out << CExplainText::Render(report.Run());
    }
    return m_options.bExitVerdict ? SRunVerdict::ExitStatus(report.Verdict().eVerdict) : nExitExplained;
}
