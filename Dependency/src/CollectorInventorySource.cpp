#include "CollectorInventorySource.h"

#include "InventoryModule.h"

std::vector<CDeviceInfo*> CCollectorInventorySource::Collect(const std::string& strComponentPath,
                                                             const CCollectorTimeLimit& limit, SCollectorRun& run)
{
    CInventoryModule inventoryModule(strComponentPath);
    inventoryModule.SetTimeLimit(limit);
    std::vector<CDeviceInfo*> vRecords = inventoryModule.GetInventoryInfo();
    run = inventoryModule.LastRun();
    return vRecords;
}
