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
#include "PlatformLayer.h"
#include "SmbiosDump.h"
#include "SmbiosSummary.h"
#include "XmlSupport.h"

#include <ostream>

namespace
{
// Goes back to the directory it was created in when it goes away.
class CReturnToDirectory
{
public:
    CReturnToDirectory() : m_strDirectory(CPlatformLayer::getCurrentDirectory()) {}
    ~CReturnToDirectory() { CPlatformLayer::setCurrentDirectory(m_strDirectory); }
    CReturnToDirectory(const CReturnToDirectory&) = delete;
    CReturnToDirectory& operator=(const CReturnToDirectory&) = delete;

private:
    std::string m_strDirectory;
};

// The inventory text exactly as vexdepcheck's main reads it.
std::string ReadInventoryText()
{
    std::string strText;
    CPlatformLayer::ReadRegularFile("inv.xml", strText);
    return strText;
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
        err << "vexinspect explain: the type must be hard or soft, not \"" << m_options.strType << "\"\n";
        return nExitUsage;
    }

    CCollectorTimeLimit timeLimit;
    if (m_options.bCollectorTimeoutGiven && !CCollectorTimeLimit::Parse(m_options.strCollectorTimeout, timeLimit))
    {
        err << "vexinspect explain: the collector timeout must be config, none or a positive number of seconds, not \""
            << m_options.strCollectorTimeout << "\"\n";
        return nExitUsage;
    }

    // Before anything reads the package: with the logger open, the readers
    // cannot switch it on inside the package directory.
    std::string strLogError;
    if (!CDiagnosticLog::Open(m_options.strLogFile, strLogError))
    {
        err << "vexinspect explain: cannot open the log file "
            << (m_options.strLogFile.empty() ? CDiagnosticLog::pszDiscard : m_options.strLogFile) << ": "
            << strLogError << "\n";
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

    CReturnToDirectory returnToDirectory;
    if (!m_options.strPackageDir.empty())
    {
        // Not the checker's change of directory, which reports no failure:
        // a directory that cannot be entered must not leave the explanation
        // in the current one.
        std::string strError;
        if (!CPlatformLayer::ChangeDirectory(m_options.strPackageDir, strError))
        {
            err << "vexinspect explain: cannot enter the package directory " << m_options.strPackageDir << ": "
                << strError << "\n";
            return nExitUnusableInput;
        }
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
    if (bPackageDescriptionFound && !xmlsupport::ParseFile("package.xml"))
    {
        report.SetPackageDescription(EPackageDescription::Unparsable);
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
