#ifndef VEXDEP_RECORDJSON_H
#define VEXDEP_RECORDJSON_H

#include "DeviceInfo.h"

#include <nlohmann/json.hpp>

// The JSON shape of the package's device records that the catalog, the plan
// and explain write alike: the same field names everywhere, in the order the
// package description gives them.
namespace recordjson
{
nlohmann::ordered_json PCIJson(const SPCIInfo& pci);
nlohmann::ordered_json OSJson(const SOSInfo& os);
} // namespace recordjson

#endif // VEXDEP_RECORDJSON_H
