#include "ArchiveStream.h"

#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <vector>

const uint64_t CArchiveStream::nMinimumAllowance = 32ULL * 1024 * 1024;
const uint64_t CArchiveStream::nMaximumRatio = 200;
const uint64_t CArchiveStream::nXzMemoryLimit = 256ULL * 1024 * 1024;

namespace
{
const std::size_t kRawChunk = 65536;
} // namespace

// The state of one decompressor and its input buffer.
struct CArchiveStream::SDecoder
{
    std::vector<unsigned char> vInput = std::vector<unsigned char>(kRawChunk);
    z_stream zlib{};
    bool bZlibReady = false;
    lzma_stream xz = LZMA_STREAM_INIT;
    bool bXzReady = false;
    bool bInputEnded = false;

    ~SDecoder()
    {
        if (bZlibReady)
        {
            inflateEnd(&zlib);
        }
        if (bXzReady)
        {
            lzma_end(&xz);
        }
    }
};

CArchiveStream::CArchiveStream() = default;
CArchiveStream::~CArchiveStream() = default;

std::string CArchiveStream::FormatName(ECompression eCompression)
{
    switch (eCompression)
    {
    case ECompression::Gzip:
        return "tar+gzip";
    case ECompression::Xz:
        return "tar+xz";
    case ECompression::None:
        break;
    }
    return "tar";
}

CArchiveStream::ECompression CArchiveStream::Recognise(const unsigned char* pBytes, std::size_t nSize)
{
    static const unsigned char kXzMagic[6] = {0xFD, '7', 'z', 'X', 'Z', 0x00};
    if (nSize >= 2 && pBytes[0] == 0x1F && pBytes[1] == 0x8B)
    {
        return ECompression::Gzip;
    }
    if (nSize >= 6 && std::equal(kXzMagic, kXzMagic + 6, pBytes))
    {
        return ECompression::Xz;
    }
    return ECompression::None;
}

long CArchiveStream::ReadRaw(void* pBuffer, std::size_t nSize, std::string& strError)
{
    const long nRead = m_pInput->Read(pBuffer, nSize, strError);
    if (nRead > 0)
    {
        m_digest.Update(pBuffer, static_cast<std::size_t>(nRead));
        m_nRawRead += static_cast<uint64_t>(nRead);
    }
    return nRead;
}

bool CArchiveStream::Open(IRawInput& input, std::string& strError)
{
    m_pInput = &input;
    m_pDecoder.reset(new SDecoder());
    m_digest = CSha256();
    m_nRawRead = 0;
    m_nProduced = 0;
    m_bEnded = false;
    if (!input.Rewind(strError))
    {
        return false;
    }
    // The first bytes tell the compression; they stay in the input buffer
    // for the decoder (or for the reader of a plain tar).
    SDecoder& decoder = *m_pDecoder;
    std::size_t nHave = 0;
    while (nHave < 6)
    {
        const long nRead = ReadRaw(decoder.vInput.data() + nHave, 6 - nHave, strError);
        if (nRead < 0)
        {
            return false;
        }
        if (nRead == 0)
        {
            break;
        }
        nHave += static_cast<std::size_t>(nRead);
    }
    m_eCompression = Recognise(decoder.vInput.data(), nHave);
    if (m_eCompression == ECompression::Gzip)
    {
        decoder.zlib.next_in = decoder.vInput.data();
        decoder.zlib.avail_in = static_cast<uInt>(nHave);
        // 15 + 32: a gzip (or zlib) header, recognised by inflate itself.
        if (inflateInit2(&decoder.zlib, 15 + 32) != Z_OK)
        {
            strError = "cannot set up the gzip decompressor";
            return false;
        }
        decoder.bZlibReady = true;
    }
    else if (m_eCompression == ECompression::Xz)
    {
        decoder.xz.next_in = decoder.vInput.data();
        decoder.xz.avail_in = nHave;
        if (lzma_stream_decoder(&decoder.xz, nXzMemoryLimit, LZMA_CONCATENATED) != LZMA_OK)
        {
            strError = "cannot set up the xz decompressor";
            return false;
        }
        decoder.bXzReady = true;
    }
    else
    {
        decoder.zlib.next_in = decoder.vInput.data();
        decoder.zlib.avail_in = static_cast<uInt>(nHave);
    }
    return true;
}

bool CArchiveStream::WithinAllowance(std::string& strError) const
{
    const uint64_t nRawSize = m_pInput->Size();
    const uint64_t nAllowed = std::max(nMinimumAllowance, nRawSize * nMaximumRatio);
    if (m_nProduced > nAllowed)
    {
        strError = "decompresses to more than " + std::to_string(nAllowed) + " bytes from " + std::to_string(nRawSize) +
                   " (a ratio beyond " + std::to_string(nMaximumRatio) +
                   " to 1, which no real package reaches): a compression bomb";
        return false;
    }
    return true;
}

long CArchiveStream::Read(void* pBuffer, std::size_t nSize, std::string& strError)
{
    if (!m_pDecoder)
    {
        strError = "not open";
        return -1;
    }
    if (m_bEnded || nSize == 0)
    {
        return 0;
    }
    SDecoder& decoder = *m_pDecoder;
    unsigned char* pOut = static_cast<unsigned char*>(pBuffer);

    if (m_eCompression == ECompression::None)
    {
        // The bytes read to recognise the format come first.
        if (decoder.zlib.avail_in > 0)
        {
            const std::size_t nTake = std::min<std::size_t>(nSize, decoder.zlib.avail_in);
            std::copy(decoder.zlib.next_in, decoder.zlib.next_in + nTake, pOut);
            decoder.zlib.next_in += nTake;
            decoder.zlib.avail_in -= static_cast<uInt>(nTake);
            m_nProduced += nTake;
            return static_cast<long>(nTake);
        }
        const long nRead = ReadRaw(pBuffer, nSize, strError);
        if (nRead > 0)
        {
            m_nProduced += static_cast<uint64_t>(nRead);
        }
        if (nRead == 0)
        {
            m_bEnded = true;
        }
        return nRead;
    }

    std::size_t nProduced = 0;
    while (nProduced == 0)
    {
        const bool bNeedInput = m_eCompression == ECompression::Gzip ? decoder.zlib.avail_in == 0
                                                                     : decoder.xz.avail_in == 0;
        if (bNeedInput && !decoder.bInputEnded)
        {
            const long nRead = ReadRaw(decoder.vInput.data(), decoder.vInput.size(), strError);
            if (nRead < 0)
            {
                return -1;
            }
            decoder.bInputEnded = nRead == 0;
            if (m_eCompression == ECompression::Gzip)
            {
                decoder.zlib.next_in = decoder.vInput.data();
                decoder.zlib.avail_in = static_cast<uInt>(nRead);
            }
            else
            {
                decoder.xz.next_in = decoder.vInput.data();
                decoder.xz.avail_in = static_cast<std::size_t>(nRead);
            }
        }

        if (m_eCompression == ECompression::Gzip)
        {
            z_stream& z = decoder.zlib;
            z.next_out = pOut;
            z.avail_out = static_cast<uInt>(std::min<std::size_t>(nSize, 1U << 30));
            const int nStatus = inflate(&z, Z_NO_FLUSH);
            nProduced = static_cast<std::size_t>(z.next_out - pOut);
            if (nStatus == Z_STREAM_END)
            {
                // Another gzip member may follow, as gzip itself reads them.
                if (z.avail_in == 0 && !decoder.bInputEnded)
                {
                    const long nRead = ReadRaw(decoder.vInput.data(), decoder.vInput.size(), strError);
                    if (nRead < 0)
                    {
                        return -1;
                    }
                    decoder.bInputEnded = nRead == 0;
                    z.next_in = decoder.vInput.data();
                    z.avail_in = static_cast<uInt>(nRead);
                }
                if (z.avail_in == 0)
                {
                    m_bEnded = true;
                    break;
                }
                if (inflateReset(&z) != Z_OK)
                {
                    strError = "the gzip stream is damaged";
                    return -1;
                }
                continue;
            }
            if (nStatus == Z_BUF_ERROR && decoder.bInputEnded && z.avail_in == 0 && nProduced == 0)
            {
                strError = "the gzip stream is truncated";
                return -1;
            }
            if (nStatus != Z_OK && nStatus != Z_BUF_ERROR)
            {
                strError = std::string("the gzip stream is damaged") +
                           (z.msg != nullptr ? ": " + std::string(z.msg) : "");
                return -1;
            }
        }
        else
        {
            lzma_stream& xz = decoder.xz;
            xz.next_out = pOut;
            xz.avail_out = nSize;
            const lzma_ret nStatus = lzma_code(&xz, decoder.bInputEnded ? LZMA_FINISH : LZMA_RUN);
            nProduced = static_cast<std::size_t>(xz.next_out - pOut);
            if (nStatus == LZMA_STREAM_END)
            {
                m_bEnded = true;
                break;
            }
            if (nStatus == LZMA_MEMLIMIT_ERROR)
            {
                strError = "the xz stream needs more than " + std::to_string(nXzMemoryLimit) +
                           " bytes of memory to decompress";
                return -1;
            }
            if (nStatus == LZMA_BUF_ERROR && decoder.bInputEnded)
            {
                strError = "the xz stream is truncated";
                return -1;
            }
            if (nStatus != LZMA_OK && nStatus != LZMA_BUF_ERROR)
            {
                strError = "the xz stream is damaged";
                return -1;
            }
        }
    }
    m_nProduced += nProduced;
    if (!WithinAllowance(strError))
    {
        return -1;
    }
    return static_cast<long>(nProduced);
}

bool CArchiveStream::FinishDigest(std::string& strDigest, std::string& strError)
{
    if (m_pInput == nullptr)
    {
        strError = "not open";
        return false;
    }
    std::vector<unsigned char> vBuffer(kRawChunk);
    for (;;)
    {
        const long nRead = ReadRaw(vBuffer.data(), vBuffer.size(), strError);
        if (nRead < 0)
        {
            return false;
        }
        if (nRead == 0)
        {
            break;
        }
    }
    strDigest = m_digest.Finish();
    return true;
}
