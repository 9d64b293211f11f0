#include "PCIIdentity.h"

#include <cstdlib>

namespace
{
long Hex(const std::string& strValue) { return std::strtol(strValue.c_str(), nullptr, 16); }

std::size_t Combine(std::size_t nSeed, long nValue)
{
    return nSeed ^ (std::hash<long>()(nValue) + 0x9e3779b97f4a7c15ULL + (nSeed << 6) + (nSeed >> 2));
}
} // namespace

SPCINumbers SPCINumbers::Of(const SPCIInfo& pciInfo)
{
    SPCINumbers numbers;
    numbers.nDeviceID = Hex(pciInfo.strDeviceID);
    numbers.nSubDeviceID = Hex(pciInfo.strSubDeviceID);
    numbers.nVendorID = Hex(pciInfo.strVendorID);
    numbers.nSubVendorID = Hex(pciInfo.strSubVendorID);
    return numbers;
}

std::size_t SPCINumbersHash::operator()(const SPCINumbers& numbers) const
{
    std::size_t nHash = Combine(0, numbers.nDeviceID);
    nHash = Combine(nHash, numbers.nSubDeviceID);
    nHash = Combine(nHash, numbers.nVendorID);
    return Combine(nHash, numbers.nSubVendorID);
}
