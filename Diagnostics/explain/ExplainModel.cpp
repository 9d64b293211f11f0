#include "ExplainModel.h"

#include <sstream>

#include <sys/wait.h>

namespace explainwords
{
std::string TypeName(CDeviceInfo::eDependencyType eType)
{
    return eType == CDeviceInfo::eDependencyTypeSoft ? "soft" : "hard";
}

std::string SecondsText(double dSeconds)
{
    std::ostringstream oss;
    oss.setf(std::ios::fixed);
    oss.precision(1);
    oss << dSeconds << " s";
    return oss.str();
}
} // namespace explainwords

using explainwords::SecondsText;

bool SExplainedCollector::ExitedNonZero() const
{
    return !bTimedOut && !(WIFEXITED(nWaitStatus) && WEXITSTATUS(nWaitStatus) == 0);
}

bool SExplainedCollector::ExceededDeclaredLimit() const
{
    return !bTimedOut && dSeconds > static_cast<double>(nDeclaredSeconds);
}

std::string SExplainedCollector::Warning() const
{
    if (!ExceededDeclaredLimit())
    {
        return std::string();
    }
    return "took " + SecondsText(dSeconds) + ", declares " + std::to_string(nDeclaredSeconds) +
           " s: a checker with the time-limit guard on would report it Failed";
}

std::vector<std::string> SExplainedCollector::Warnings() const
{
    std::vector<std::string> vWarnings;
    if (ExceededDeclaredLimit())
    {
        vWarnings.push_back(Warning());
    }
    if (ExitedNonZero() && nWaitStatus != -1)
    {
        vWarnings.push_back(WIFSIGNALED(nWaitStatus)
                                ? "the collector was ended by signal " + std::to_string(WTERMSIG(nWaitStatus))
                                : "the collector exited with status " + std::to_string(WEXITSTATUS(nWaitStatus)) +
                                      "; its document is read all the same");
    }
    if (!strCommandLineProblem.empty())
    {
        vWarnings.push_back(strCommandLineProblem);
    }
    if (nWaitStatus == -1)
    {
        vWarnings.push_back("the shell could not be started for the collector");
    }
    if (!bReleaseWritable)
    {
        vWarnings.push_back("the release directory is not writable by this user: the collector cannot write its "
                            "output document there");
    }
    if (!bTimedOut && !strOutputPath.empty())
    {
        if (!bOutputPresent)
        {
            vWarnings.push_back("no output document " + strOutputPath + " after the run");
        }
        else if (bOutputStale)
        {
            vWarnings.push_back("the output document " + strOutputPath +
                                " was not changed after the collector started (its status change time is older "
                                "than the run): it was left by an earlier run and read instead");
        }
    }
    return vWarnings;
}

SExplainedDevice SExplainedDevice::From(const CDeviceInfo& record)
{
    SExplainedDevice device;
    device.eDeviceType = record.getDeviceType();
    device.strComponentID = record.getComponentID();
    device.pci = record.getPCIInfo();
    device.strComponentType = record.getComponentType();
    device.strVersion = record.getVersion();
    device.strName = record.getDeviceName();
    return device;
}
