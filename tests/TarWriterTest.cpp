#include "TarWriter.h"

#include "GzipCompression.h"
#include "TarReading.h"

#include <gtest/gtest.h>

using namespace vextest;

TEST(TarWriter, WritesDirectoriesAndFilesThatTheTarReaderReadsBack)
{
    CTarWriter writer;
    writer.AddDirectory("REL", 0755, 1700000000);
    writer.AddFile("REL/collect.sh", "#!/bin/sh\n", 0755, 1700000000);
    writer.AddFile("package.xml", std::string(700, 'x'), 0644, 1700000000);
    EXPECT_EQ(writer.MemberCount(), 3u);
    const std::string strArchive = writer.Finish();
    EXPECT_EQ(strArchive.size() % 512, 0u);
    EXPECT_EQ(writer.MemberCount(), 0u);

    const TarRead result = ReadTarArchive(strArchive);
    EXPECT_EQ(result.strError, "");
    ASSERT_EQ(result.vMembers.size(), 3u);
    EXPECT_EQ(result.vMembers[0].strName, "REL");
    EXPECT_EQ(result.vMembers[0].eKind, STarMember::EKind::Directory);
    EXPECT_EQ(result.vMembers[1].strName, "REL/collect.sh");
    EXPECT_EQ(result.vMembers[1].nMode, 0755u);
    EXPECT_EQ(result.vData[1], "#!/bin/sh\n");
    EXPECT_EQ(result.vMembers[2].nSize, 700u);
    EXPECT_EQ(result.vData[2], std::string(700, 'x'));
}

TEST(TarWriter, GivesALongNameAnExtendedHeader)
{
    const std::string strName = std::string(60, 'a') + "/" + std::string(60, 'b') + "/" + std::string(70, 'c');
    CTarWriter writer;
    writer.AddFile(strName, "data", 0644, 0);
    const TarRead result = ReadTarArchive(writer.Finish());
    EXPECT_EQ(result.strError, "");
    ASSERT_EQ(result.vMembers.size(), 1u);
    EXPECT_EQ(result.vMembers[0].strName, strName);
    EXPECT_EQ(result.vData[0], "data");
}

TEST(TarWriter, TheSameInputGivesTheSameBytesCompressedOrNot)
{
    const auto build = []() {
        CTarWriter writer;
        writer.AddFile("package.xml", "<x/>", 0644, 1234567890);
        return writer.Finish();
    };
    const std::string strFirst = build();
    EXPECT_EQ(strFirst, build());
    std::string strGzip;
    std::string strAgain;
    std::string strError;
    ASSERT_TRUE(CGzipCompression::Compress(strFirst, strGzip, strError)) << strError;
    ASSERT_TRUE(CGzipCompression::Compress(strFirst, strAgain, strError)) << strError;
    EXPECT_EQ(strGzip, strAgain);
    ASSERT_GE(strGzip.size(), 2u);
    EXPECT_EQ(static_cast<unsigned char>(strGzip[0]), 0x1f);
    EXPECT_EQ(static_cast<unsigned char>(strGzip[1]), 0x8b);
    // Decompressed by the archive reader, it is the tar again.
    const TarRead result = ReadTarArchive(strGzip);
    EXPECT_EQ(result.strError, "");
    ASSERT_EQ(result.vMembers.size(), 1u);
    EXPECT_EQ(result.vData[0], "<x/>");
}
