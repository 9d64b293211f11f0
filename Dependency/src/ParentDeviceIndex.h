#ifndef VEXDEP_PARENTDEVICEINDEX_H
#define VEXDEP_PARENTDEVICEINDEX_H

#include "DeviceInfo.h"
#include "PCIIdentity.h"

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

// The devices of an inventory, indexed for the question "is this
// dependency's parent device present?": the first device, in list order,
// whose device type is the parent's and whose component ID (non-PCI parent)
// equals the parent's, or whose PCI identity equals one of the parent's PCI
// identities as base-16 numbers. Built once for a list; each question then
// costs a few lookups instead of a pass over every device.
class CParentDeviceIndex
{
public:
    explicit CParentDeviceIndex(const std::vector<CDeviceInfo*>& vDevices);

    // The first matching device, or null (also for a parent of unknown type).
    CDeviceInfo* FindParent(const CDeviceInfo& dependency) const;

private:
    struct STypedIdentity
    {
        int nDeviceType;
        SPCINumbers numbers;
        bool operator==(const STypedIdentity& other) const
        {
            return nDeviceType == other.nDeviceType && numbers == other.numbers;
        }
    };
    struct STypedIdentityHash
    {
        std::size_t operator()(const STypedIdentity& identity) const;
    };

    const std::vector<CDeviceInfo*>& m_vDevices;
    // The last PCI parent list asked about (held, so that it stays the
    // same list) and its answer: the dependencies of one Device share one
    // list, which is then looked up once.
    mutable CSharedList<SPCIInfo> m_LastParentList;
    mutable int m_nLastParentType = 0;
    mutable std::size_t m_nLastFirst = 0;
    // Position of the first non-PCI device with a component ID.
    std::unordered_map<std::string, std::size_t> m_mapComponentIDs;
    // Position of the first device of a (non-zero, non-PCI-less) type with a
    // PCI identity.
    std::unordered_map<STypedIdentity, std::size_t, STypedIdentityHash> m_mapPCIIdentities;
};

#endif // VEXDEP_PARENTDEVICEINDEX_H
