#include "Sha256.h"

#include <algorithm>
#include <cstring>

namespace
{
const uint32_t kRoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

uint32_t RotateRight(uint32_t nValue, unsigned nBits) { return (nValue >> nBits) | (nValue << (32 - nBits)); }
} // namespace

CSha256::CSha256() { Reset(); }

void CSha256::Reset()
{
    static const uint32_t kInitial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::memcpy(m_state, kInitial, sizeof(m_state));
    m_nBuffered = 0;
    m_nTotalBytes = 0;
}

void CSha256::Compress(const uint8_t* pBlock)
{
    uint32_t w[64];
    for (std::size_t i = 0; i < 16; ++i)
    {
        w[i] = (static_cast<uint32_t>(pBlock[4 * i]) << 24) | (static_cast<uint32_t>(pBlock[4 * i + 1]) << 16) |
               (static_cast<uint32_t>(pBlock[4 * i + 2]) << 8) | static_cast<uint32_t>(pBlock[4 * i + 3]);
    }
    for (int i = 16; i < 64; ++i)
    {
        const uint32_t s0 = RotateRight(w[i - 15], 7) ^ RotateRight(w[i - 15], 18) ^ (w[i - 15] >> 3);
        const uint32_t s1 = RotateRight(w[i - 2], 17) ^ RotateRight(w[i - 2], 19) ^ (w[i - 2] >> 10);
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    uint32_t a = m_state[0];
    uint32_t b = m_state[1];
    uint32_t c = m_state[2];
    uint32_t d = m_state[3];
    uint32_t e = m_state[4];
    uint32_t f = m_state[5];
    uint32_t g = m_state[6];
    uint32_t h = m_state[7];
    for (int i = 0; i < 64; ++i)
    {
        const uint32_t S1 = RotateRight(e, 6) ^ RotateRight(e, 11) ^ RotateRight(e, 25);
        const uint32_t ch = (e & f) ^ (~e & g);
        const uint32_t temp1 = h + S1 + ch + kRoundConstants[i] + w[i];
        const uint32_t S0 = RotateRight(a, 2) ^ RotateRight(a, 13) ^ RotateRight(a, 22);
        const uint32_t maj = (a & b) ^ (a & c) ^ (b & c);
        const uint32_t temp2 = S0 + maj;
        h = g;
        g = f;
        f = e;
        e = d + temp1;
        d = c;
        c = b;
        b = a;
        a = temp1 + temp2;
    }
    m_state[0] += a;
    m_state[1] += b;
    m_state[2] += c;
    m_state[3] += d;
    m_state[4] += e;
    m_state[5] += f;
    m_state[6] += g;
    m_state[7] += h;
}

void CSha256::Update(const void* pData, std::size_t nSize)
{
    const uint8_t* p = static_cast<const uint8_t*>(pData);
    m_nTotalBytes += nSize;
    if (m_nBuffered > 0)
    {
        const std::size_t nTake = std::min(nSize, sizeof(m_buffer) - m_nBuffered);
        std::memcpy(m_buffer + m_nBuffered, p, nTake);
        m_nBuffered += nTake;
        p += nTake;
        nSize -= nTake;
        if (m_nBuffered < sizeof(m_buffer))
        {
            return;
        }
        Compress(m_buffer);
        m_nBuffered = 0;
    }
    while (nSize >= sizeof(m_buffer))
    {
        Compress(p);
        p += sizeof(m_buffer);
        nSize -= sizeof(m_buffer);
    }
    if (nSize > 0)
    {
        std::memcpy(m_buffer, p, nSize);
        m_nBuffered = nSize;
    }
}

std::string CSha256::Finish()
{
    const uint64_t nBits = m_nTotalBytes * 8;
    const uint8_t kOne = 0x80;
    Update(&kOne, 1);
    const uint8_t kZero = 0;
    while (m_nBuffered != 56)
    {
        Update(&kZero, 1);
    }
    uint8_t length[8];
    for (int i = 0; i < 8; ++i)
    {
        length[i] = static_cast<uint8_t>(nBits >> (56 - 8 * i));
    }
    Update(length, sizeof(length));

    static const char* const kDigits = "0123456789abcdef";
    std::string strHex;
    strHex.reserve(64);
    for (uint32_t nWord : m_state)
    {
        for (int nShift = 28; nShift >= 0; nShift -= 4)
        {
            strHex += kDigits[(nWord >> nShift) & 0xF];
        }
    }
    Reset();
    return strHex;
}

std::string CSha256::Of(const std::string& strData)
{
    CSha256 sha;
    sha.Update(strData);
    return sha.Finish();
}
