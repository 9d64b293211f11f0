#ifndef VEXDEP_INVENTORYMATCHINDEX_H
#define VEXDEP_INVENTORYMATCHINDEX_H

#include "DeviceInfo.h"
#include "PCIIdentity.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

// The inventory records of one release directory, indexed for the
// dependency decision. The decision walks the records in order and stops at
// the first failed record; what it logs depends on that order (a line per
// null record, the comparison lines per matching record). The index gives,
// for one dependency, exactly the positions the walk would act on, in
// order: null records and the records that are installed instances of the
// dependency, up to the first failed record.
class CInventoryMatchIndex
{
public:
    explicit CInventoryMatchIndex(const std::vector<CDeviceInfo*>& vRecords);

    // Position of the first record whose inventory failed, or the number of
    // records when none did.
    std::size_t FirstFailed() const { return m_nFirstFailed; }
    // Positions of null records, ascending.
    const std::vector<std::size_t>& NullRecords() const { return m_vNullRecords; }
    // Positions of the records that are installed instances of the
    // dependency (same component type ignoring case, same device type, and
    // the same component ID for non-PCI devices or the same PCI identity for
    // others), ascending.
    const std::vector<std::size_t>& Instances(const CDeviceInfo& dependency) const;

private:
    struct SKey
    {
        std::string strComponentType; // lower case
        int nDeviceType;
        std::string strComponentID; // non-PCI devices
        SPCINumbers pciNumbers;     // other device types
        bool operator==(const SKey& other) const;
    };
    struct SKeyHash
    {
        std::size_t operator()(const SKey& key) const;
    };

    static SKey KeyOf(const CDeviceInfo& record);

    std::size_t m_nFirstFailed;
    std::vector<std::size_t> m_vNullRecords;
    std::unordered_map<SKey, std::vector<std::size_t>, SKeyHash> m_mapInstances;
    std::vector<std::size_t> m_vNone;
};

#endif // VEXDEP_INVENTORYMATCHINDEX_H
