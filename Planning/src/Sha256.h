#ifndef VEXDEP_SHA256_H
#define VEXDEP_SHA256_H

#include <cstddef>
#include <cstdint>
#include <string>

// SHA-256 (FIPS 180-4), fed in pieces: the content digest of a package in
// the repository's catalog, and the fingerprint of a release directory's
// collector. Digests are written as 64 lower-case hexadecimal digits.
class CSha256
{
public:
    CSha256();

    void Update(const void* pData, std::size_t nSize);
    void Update(const std::string& strData) { Update(strData.data(), strData.size()); }
    // The digest of everything fed so far, in hexadecimal; the object is
    // then reset for a new digest.
    std::string Finish();

    // The digest of one text.
    static std::string Of(const std::string& strData);

private:
    void Reset();
    void Compress(const uint8_t* pBlock);

    uint32_t m_state[8];
    uint8_t m_buffer[64];
    std::size_t m_nBuffered;
    uint64_t m_nTotalBytes;
};

#endif // VEXDEP_SHA256_H
