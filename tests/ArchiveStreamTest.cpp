#include "ArchiveStream.h"

#include "RepositoryBuilder.h"
#include "Sha256.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
// Everything the stream gives, or the error that ended it.
std::string ReadAll(CArchiveStream& stream, std::string& strError, std::size_t nPiece = 4096)
{
    std::string strContent;
    std::vector<char> vBuffer(nPiece);
    for (;;)
    {
        const long nRead = stream.Read(vBuffer.data(), vBuffer.size(), strError);
        if (nRead <= 0)
        {
            if (nRead < 0)
            {
                strContent += "<error>";
            }
            return strContent;
        }
        strContent.append(vBuffer.data(), static_cast<std::size_t>(nRead));
    }
}

std::string Sample()
{
    std::string strData;
    for (int i = 0; i < 20000; ++i)
    {
        strData += "line " + std::to_string(i) + "\n";
    }
    return strData;
}
} // namespace

TEST(ArchiveStream, RecognisesTheCompressionByTheFirstBytes)
{
    const std::string strData = Sample();
    const struct
    {
        std::string strBytes;
        CArchiveStream::ECompression eCompression;
    } kCases[] = {{strData, CArchiveStream::ECompression::None},
                  {Gzip(strData), CArchiveStream::ECompression::Gzip},
                  {Xz(strData), CArchiveStream::ECompression::Xz}};
    for (const auto& testCase : kCases)
    {
        CMemoryInput input(testCase.strBytes);
        CArchiveStream stream;
        std::string strError;
        ASSERT_TRUE(stream.Open(input, strError)) << strError;
        EXPECT_EQ(stream.Compression(), testCase.eCompression);
        EXPECT_EQ(ReadAll(stream, strError, 777), strData) << strError;
        std::string strDigest;
        ASSERT_TRUE(stream.FinishDigest(strDigest, strError));
        EXPECT_EQ(strDigest, CSha256::Of(testCase.strBytes));
    }
}

TEST(ArchiveStream, ReadsConcatenatedGzipMembersAsGzipDoes)
{
    CMemoryInput input(Gzip("first ") + Gzip("second"));
    CArchiveStream stream;
    std::string strError;
    ASSERT_TRUE(stream.Open(input, strError));
    EXPECT_EQ(ReadAll(stream, strError), "first second");
}

TEST(ArchiveStream, DigestsEveryByteEvenWhenTheReaderStopsEarly)
{
    const std::string strBytes = Gzip(Sample());
    CMemoryInput input(strBytes);
    CArchiveStream stream;
    std::string strError;
    ASSERT_TRUE(stream.Open(input, strError));
    char buffer[10];
    ASSERT_EQ(stream.Read(buffer, sizeof(buffer), strError), 10);
    std::string strDigest;
    ASSERT_TRUE(stream.FinishDigest(strDigest, strError));
    EXPECT_EQ(strDigest, CSha256::Of(strBytes));
}

TEST(ArchiveStream, RefusesTruncatedAndDamagedStreams)
{
    const std::string strData = Sample();
    for (const std::string& strBytes :
         {Gzip(strData).substr(0, 200), Xz(strData).substr(0, 200), Gzip(strData).replace(40, 30, 30, 'x')})
    {
        CMemoryInput input(strBytes);
        CArchiveStream stream;
        std::string strError;
        ASSERT_TRUE(stream.Open(input, strError));
        EXPECT_NE(ReadAll(stream, strError).find("<error>"), std::string::npos);
        EXPECT_FALSE(strError.empty());
    }
}

TEST(ArchiveStream, RefusesACompressionBombBeyondTheRatioOfAnyRealPackage)
{
    // 64 MiB of zeros compress to about 64 KiB: far beyond 200 to 1.
    const std::string strBomb = Gzip(std::string(64 * 1024 * 1024, '\0'));
    ASSERT_LT(strBomb.size() * CArchiveStream::nMaximumRatio, CArchiveStream::nMinimumAllowance);
    CMemoryInput input(strBomb);
    CArchiveStream stream;
    std::string strError;
    ASSERT_TRUE(stream.Open(input, strError));
    const std::string strContent = ReadAll(stream, strError, 1 << 20);
    EXPECT_NE(strContent.find("<error>"), std::string::npos);
    EXPECT_NE(strError.find("a compression bomb"), std::string::npos) << strError;
    EXPECT_LE(stream.ProducedBytes(), CArchiveStream::nMinimumAllowance + (1 << 20));
}

TEST(ArchiveStream, AllowsWhatARealPackageCompressesTo)
{
    const std::string strData = Sample();
    CMemoryInput input(Xz(strData));
    CArchiveStream stream;
    std::string strError;
    ASSERT_TRUE(stream.Open(input, strError));
    EXPECT_EQ(ReadAll(stream, strError), strData) << strError;
}

TEST(ArchiveStream, NamesTheFormats)
{
    EXPECT_EQ(CArchiveStream::FormatName(CArchiveStream::ECompression::None), "tar");
    EXPECT_EQ(CArchiveStream::FormatName(CArchiveStream::ECompression::Gzip), "tar+gzip");
    EXPECT_EQ(CArchiveStream::FormatName(CArchiveStream::ECompression::Xz), "tar+xz");
}
