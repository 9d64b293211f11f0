#ifndef VEXDEP_ARCHIVESTREAM_H
#define VEXDEP_ARCHIVESTREAM_H

#include "RawInput.h"
#include "Sha256.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// The content of a package archive as a stream of bytes: a tar file as it
// is, or decompressed from gzip or xz (recognised by their first bytes, not
// by the file's name). The raw bytes go through a SHA-256 on the way, so
// that reading an archive once also yields its content digest.
//
// A compression bomb is refused: the stream ends with an error as soon as
// it has produced more than the larger of nMinimumAllowance and
// nMaximumRatio times the archive's size, a ratio that no real package
// reaches. An xz stream that needs more than nXzMemoryLimit bytes of
// memory to decompress is refused too.
class CArchiveStream
{
public:
    enum class ECompression
    {
        None,
        Gzip,
        Xz
    };

    static const uint64_t nMinimumAllowance; // 32 MiB
    static const uint64_t nMaximumRatio;     // 200
    static const uint64_t nXzMemoryLimit;    // 256 MiB

    CArchiveStream();
    ~CArchiveStream();
    CArchiveStream(const CArchiveStream&) = delete;
    CArchiveStream& operator=(const CArchiveStream&) = delete;

    // Starts reading the input from its first byte; false when it cannot be
    // read or a decompressor cannot be set up.
    bool Open(IRawInput& input, std::string& strError);
    // Up to nSize decompressed bytes; 0 at the end of the content; -1 on an
    // error (a damaged stream, a read error, a bomb), which strError names.
    long Read(void* pBuffer, std::size_t nSize, std::string& strError);
    // Reads whatever raw bytes remain (after the tar's end, say) and gives
    // the digest of the whole input.
    bool FinishDigest(std::string& strDigest, std::string& strError);

    ECompression Compression() const { return m_eCompression; }
    uint64_t ProducedBytes() const { return m_nProduced; }

    // "tar", "tar+gzip" or "tar+xz".
    static std::string FormatName(ECompression eCompression);
    // The compression the first bytes announce.
    static ECompression Recognise(const unsigned char* pBytes, std::size_t nSize);

private:
    struct SDecoder;

    // Raw bytes for the decompressor; 0 at the end of the input.
    long ReadRaw(void* pBuffer, std::size_t nSize, std::string& strError);
    bool WithinAllowance(std::string& strError) const;

    IRawInput* m_pInput = nullptr;
    ECompression m_eCompression = ECompression::None;
    std::unique_ptr<SDecoder> m_pDecoder;
    CSha256 m_digest;
    uint64_t m_nRawRead = 0;
    uint64_t m_nProduced = 0;
    bool m_bEnded = false;
};

#endif // VEXDEP_ARCHIVESTREAM_H
