#ifndef VEXDEP_SMBIOSMEMORYMAPPING_H
#define VEXDEP_SMBIOSMEMORYMAPPING_H

// Read-only mappings of the physical-memory device (or of a memory image
// standing in for it), for the SMBIOS reader's memory scan and its legacy
// system ID. Private to the reader's source files.

#include <cstddef>

namespace smbiosmemory
{
std::size_t PageSize();

// Maps nLength bytes of the device at nOffset, read-only. When the "device"
// is a regular file (a memory image), a range that reaches past its end is
// refused: touching such pages would raise SIGBUS. Null on failure.
void* MapDevice(int nFd, unsigned long nOffset, std::size_t nLength, int nFlags);
} // namespace smbiosmemory

#endif // VEXDEP_SMBIOSMEMORYMAPPING_H
