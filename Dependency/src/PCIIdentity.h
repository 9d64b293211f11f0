#ifndef VEXDEP_PCIIDENTITY_H
#define VEXDEP_PCIIDENTITY_H

#include "DeviceInfo.h"

#include <cstddef>
#include <functional>

// A PCI identity as the checker compares it: device, sub-device, vendor and
// sub-vendor IDs, each text read as a base-16 number (so "0x5F", "5f" and
// "005F" are the same, and an empty or non-hexadecimal text is 0).
struct SPCINumbers
{
    long nDeviceID = 0;
    long nSubDeviceID = 0;
    long nVendorID = 0;
    long nSubVendorID = 0;

    static SPCINumbers Of(const SPCIInfo& pciInfo);

    bool operator==(const SPCINumbers& other) const
    {
        return nDeviceID == other.nDeviceID && nSubDeviceID == other.nSubDeviceID && nVendorID == other.nVendorID &&
               nSubVendorID == other.nSubVendorID;
    }
};

struct SPCINumbersHash
{
    std::size_t operator()(const SPCINumbers& numbers) const;
};

#endif // VEXDEP_PCIIDENTITY_H
