#include "RecordJson.h"

namespace recordjson
{
nlohmann::ordered_json PCIJson(const SPCIInfo& pci)
{
    nlohmann::ordered_json json;
    json["vendorID"] = pci.strVendorID;
    json["deviceID"] = pci.strDeviceID;
    json["subVendorID"] = pci.strSubVendorID;
    json["subDeviceID"] = pci.strSubDeviceID;
    return json;
}

nlohmann::ordered_json OSJson(const SOSInfo& os)
{
    nlohmann::ordered_json json;
    json["osVendor"] = os.strOSVendor;
    json["osArch"] = os.strOSArch;
    json["majorVersion"] = os.strMajorVersion;
    json["minorVersion"] = os.strMinorVersion;
    json["spMajorVersion"] = os.strSPMajorVersion;
    json["spMinorVersion"] = os.strSPMinorVersion;
    return json;
}
} // namespace recordjson
