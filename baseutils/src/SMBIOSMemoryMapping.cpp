#include "SMBIOSMemoryMapping.h"

#include <limits>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace smbiosmemory
{
std::size_t PageSize()
{
    const long nPageSize = sysconf(_SC_PAGESIZE);
    return nPageSize > 0 ? static_cast<std::size_t>(nPageSize) : 4096;
}

void* MapDevice(int nFd, unsigned long nOffset, std::size_t nLength, int nFlags)
{
    if (nLength == 0 || nOffset > static_cast<unsigned long>(std::numeric_limits<off_t>::max()))
    {
        return nullptr;
    }
    struct stat st;
    if (fstat(nFd, &st) == 0 && S_ISREG(st.st_mode))
    {
        const unsigned long long nFileSize = static_cast<unsigned long long>(st.st_size);
        if (static_cast<unsigned long long>(nOffset) + nLength > nFileSize)
        {
            return nullptr;
        }
    }
    void* pMap = mmap(nullptr, nLength, PROT_READ, nFlags, nFd, static_cast<off_t>(nOffset));
    return pMap == MAP_FAILED ? nullptr : pMap;
}
} // namespace smbiosmemory
