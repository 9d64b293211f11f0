// vexdepcheck: reports the unmet hard or soft dependencies of the update
// package in the current directory.
//
//   vexdepcheck hard | soft
//
// Exit status: 1 hard dependencies to report (or a check that could not be
// completed), 2 soft ones, 255 nothing to report or a bad invocation.

#include "HeldInputFile.h"
#include "LinuxDependencyWrapper.h"
#include "Logger.h"
#include "PlatformLayer.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <string>

namespace
{
// The exit status of a check that could not be completed.
constexpr int kCheckNotCompleted = 1;

int Run(int argc, char* argv[])
{
    if (argc == 1)
    {
        std::cout << "Invalid parameters";
        return -1;
    }

    // "inv.xml" stays open until the check is over: its descriptor is one of
    // the process's for the whole run (it decides which descriptors the log,
    // the firmware reads and the collectors get) and the collectors inherit
    // it. Only a regular file is read: one that is a named pipe or a device
    // (a link to /dev/zero, say) would block or never end, and reads as
    // empty, like a missing file.
    const CHeldInputFile inventoryFile("inv.xml");
    const std::string& strInventoryXml = inventoryFile.Text();

    int nExitStatus = -1;
    {
        CLinuxDepenedencyWrapper wrapper;
        CPlatformLayer::getCurrentDirectory();

        CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;
        bool bKnownType = true;
        if (std::strcmp(argv[1], "hard") == 0)
        {
            eType = CDeviceInfo::eDependencyTypeHard;
        }
        else if (std::strcmp(argv[1], "soft") == 0)
        {
            eType = CDeviceInfo::eDependencyTypeSoft;
        }
        else
        {
            bKnownType = false;
        }

        std::string strReport;
        if (bKnownType && wrapper.GetDependenciesInformation(eType, strReport, strInventoryXml))
        {
            std::cout << strReport << " " << std::endl;
            nExitStatus = eType == CDeviceInfo::eDependencyTypeHard ? 1 : 2;
        }
    }
    return nExitStatus;
}

// Said on standard error when memory runs out outside the checker's
// non-throwing allocations. Written without allocating.
void SayTheCheckDidNotComplete()
{
    static const char kMessage[] = "vexdepcheck: memory exhausted: the dependency check could not be completed\n";
    std::fflush(stdout);
    std::fputs(kMessage, stderr);
}
} // namespace

int main(int argc, char* argv[])
{
    // Memory that runs out where the check cannot go on (a container that
    // cannot grow, under a low limit inherited from an installer service)
    // ends the run failed closed: the debug log and standard error say so,
    // and the exit status is 1, which keeps an installer from applying the
    // update, never the 255 of "nothing to report". No exception leaves
    // the program.
    try
    {
        return Run(argc, argv);
    }
    catch (const std::bad_alloc&)
    {
        VEXLOG_NOTHROW("main memory allocation failed: the dependency check could not be completed");
    }
    catch (const std::exception& e)
    {
        VEXLOG_NOTHROW(std::string("main the dependency check could not be completed: ") + e.what());
    }
    SayTheCheckDidNotComplete();
    return kCheckNotCompleted;
}
