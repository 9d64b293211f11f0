#ifndef VEXDEP_COLLECTORINVENTORYSOURCE_H
#define VEXDEP_COLLECTORINVENTORYSOURCE_H

#include "InventorySource.h"

// The checker's own way to the inventory of a release directory: one
// inventory module for the directory, its collector run with the time
// limit, the module gone before the records are handed on.
class CCollectorInventorySource : public IInventorySource
{
public:
    std::vector<CDeviceInfo*> Collect(const std::string& strComponentPath, const CCollectorTimeLimit& limit,
                                      SCollectorRun& run) override;
};

#endif // VEXDEP_COLLECTORINVENTORYSOURCE_H
