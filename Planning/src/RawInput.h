#ifndef VEXDEP_RAWINPUT_H
#define VEXDEP_RAWINPUT_H

#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

// The bytes of an archive as they lie on disk (or in memory, for tests and
// the fuzzer), read from the start to the end, possibly more than once.
class IRawInput
{
public:
    virtual ~IRawInput() = default;
    // Up to nSize bytes; 0 at the end; -1 on a read error (strError says why).
    virtual long Read(void* pBuffer, std::size_t nSize, std::string& strError) = 0;
    // Back to the first byte.
    virtual bool Rewind(std::string& strError) = 0;
    // The number of bytes in all.
    virtual uint64_t Size() const = 0;
};

// The bytes of one file of a repository, with the file's modification time.
class IFileInput : public IRawInput
{
public:
    // Nanoseconds since the epoch.
    virtual int64_t ModifiedNs() const = 0;
};

// Bytes held in memory.
class CMemoryInput : public IRawInput
{
public:
    explicit CMemoryInput(std::string strBytes) : m_strBytes(std::move(strBytes)) {}

    long Read(void* pBuffer, std::size_t nSize, std::string& /*strError*/) override
    {
        const std::size_t nTake = std::min(nSize, m_strBytes.size() - m_nPosition);
        std::memcpy(pBuffer, m_strBytes.data() + m_nPosition, nTake);
        m_nPosition += nTake;
        return static_cast<long>(nTake);
    }
    bool Rewind(std::string& /*strError*/) override
    {
        m_nPosition = 0;
        return true;
    }
    uint64_t Size() const override { return m_strBytes.size(); }

private:
    std::string m_strBytes;
    std::size_t m_nPosition = 0;
};

#endif // VEXDEP_RAWINPUT_H
