#ifndef VEXDEP_INVENTORYSOURCE_H
#define VEXDEP_INVENTORYSOURCE_H

#include "CollectorRun.h"
#include "CollectorTimeLimit.h"
#include "DeviceInfo.h"

#include <string>
#include <vector>

// Where the checker obtains the inventory records of a release directory.
// The checker asks once per release ID and run; by default the source runs
// the directory's collector through the inventory module
// (CCollectorInventorySource). A caller that evaluates a package under
// other assumptions (an update planner that simulates installed updates, or
// reuses what an identical collector already found) gives the checker a
// source of its own; the checker's rules stay the same.
class IInventorySource
{
public:
    virtual ~IInventorySource() = default;

    // The records of the release directory strComponentPath (the checker's
    // path, "//", the release ID), each allocated with new and then owned
    // by the caller; empty when nothing was found. run receives what the
    // collector did, as the inventory module records it.
    virtual std::vector<CDeviceInfo*> Collect(const std::string& strComponentPath, const CCollectorTimeLimit& limit,
                                              SCollectorRun& run) = 0;
};

#endif // VEXDEP_INVENTORYSOURCE_H
