#include "TarReader.h"
#include "TarWriter.h"

#include "RepositoryBuilder.h"
#include "TarReading.h"

#include <gtest/gtest.h>

using namespace vextest;

TEST(TarReader, ReadsFilesAndDirectoriesWithTheirData)
{
    const TarRead result = ReadTarArchive(TarArchive({{"package.xml", '0', "<xml/>", 0644, ""},
                                                      {"REL", '5', "", 0755, ""},
                                                      {"./REL/collect.sh", '0', "#!/bin/sh\n", 0755, ""},
                                                      {"empty", '0', "", 0600, ""}}));
    EXPECT_EQ(result.strError, "");
    ASSERT_EQ(result.vMembers.size(), 4u);
    EXPECT_EQ(result.vMembers[0].strName, "package.xml");
    EXPECT_EQ(result.vData[0], "<xml/>");
    EXPECT_EQ(result.vMembers[1].eKind, STarMember::EKind::Directory);
    EXPECT_EQ(result.vMembers[2].strName, "REL/collect.sh");
    EXPECT_EQ(result.vMembers[2].nMode, 0755u);
    EXPECT_EQ(result.vData[2], "#!/bin/sh\n");
    EXPECT_EQ(result.vData[3], "");
}

TEST(TarReader, PassesOverTheRootDirectoryThatTarWritesFirst)
{
    const TarRead result =
        ReadTarArchive(TarArchive({{"./", '5', "", 0755, ""}, {"./package.xml", '0', "<x/>", 0644, ""}}));
    EXPECT_EQ(result.strError, "");
    ASSERT_EQ(result.vMembers.size(), 1u);
    EXPECT_EQ(result.vMembers[0].strName, "package.xml");
}

TEST(TarReader, ReadsLongNamesOfGnuTar)
{
    const std::string strLong = std::string(150, 'd') + "/" + std::string(120, 'f');
    const TarRead result = ReadTarArchive(TarArchive({{strLong, '0', "x", 0644, ""}}));
    ASSERT_EQ(result.vMembers.size(), 1u) << result.strError;
    EXPECT_EQ(result.vMembers[0].strName, strLong);
}

namespace
{
// An archive of a pax extended header with the records, then the member.
std::string PaxArchive(const std::string& strRecords, const TarEntry& member)
{
    // The pax header carries data: build it by hand from the builder's pieces.
    std::string strArchive = TarArchive({{"PaxHeader", '0', strRecords, 0644, ""}, member});
    strArchive[156] = 'x';
    // Fix the checksum of the changed header.
    unsigned nSum = 0;
    for (int i = 0; i < 512; ++i)
    {
        nSum += (i >= 148 && i < 156) ? ' ' : static_cast<unsigned char>(strArchive[i]);
    }
    char szSum[8];
    std::snprintf(szSum, sizeof(szSum), "%06o", nSum);
    strArchive.replace(148, 8, std::string(szSum, 6) + std::string("\0 ", 2));
    return strArchive;
}
} // namespace

TEST(TarReader, ReadsThePathAndSizeOfPaxHeaders)
{
    const std::string strRecords = "27 path=pax/named/file.txt\n" + std::string("10 size=3\n");
    const TarRead result = ReadTarArchive(PaxArchive(strRecords, {"short", '0', "abc", 0644, ""}));
    ASSERT_EQ(result.vMembers.size(), 1u) << result.strError;
    EXPECT_EQ(result.vMembers[0].strName, "pax/named/file.txt");
    EXPECT_EQ(result.vData[0], "abc");
}

TEST(TarReader, ReadsTheModificationTimeOfTheHeaderOrOfThePaxRecord)
{
    CTarWriter writer;
    writer.AddFile("plain", "abc", 0644, 1700000123);
    const TarRead plain = ReadTarArchive(writer.Finish());
    ASSERT_EQ(plain.vMembers.size(), 1u) << plain.strError;
    EXPECT_EQ(plain.vMembers[0].nModifiedNs, 1700000123LL * 1000000000);

    const TarRead fraction =
        ReadTarArchive(PaxArchive("27 mtime=1700000000.250000\n", {"timed", '0', "abc", 0644, ""}));
    ASSERT_EQ(fraction.vMembers.size(), 1u) << fraction.strError;
    EXPECT_EQ(fraction.vMembers[0].nModifiedNs, 1700000000LL * 1000000000 + 250000000);
    // A time that is none (negative, say) leaves the header's (the test
    // builder writes 1793145600 into every header).
    const TarRead negative = ReadTarArchive(PaxArchive("16 mtime=-12345\n", {"timed", '0', "abc", 0644, ""}));
    ASSERT_EQ(negative.vMembers.size(), 1u) << negative.strError;
    EXPECT_EQ(negative.vMembers[0].nModifiedNs, 1793145600LL * 1000000000);
}

TEST(TarReader, RefusesEveryMemberThatCouldWriteOrReadElsewhere)
{
    const struct
    {
        TarEntry entry;
        std::string strReason;
    } kCases[] = {
        {{"/etc/passwd", '0', "x", 0644, ""}, "the archive member \"/etc/passwd\" has an absolute name"},
        {{"REL/../../x", '0', "x", 0644, ""}, "the archive member \"REL/../../x\" has a \"..\" component"},
        {{"link", '2', "", 0777, "/etc/shadow"}, "the archive member \"link\" is a symbolic link"},
        {{"hard", '1', "", 0644, "package.xml"}, "the archive member \"hard\" is a hard link"},
        {{"tty", '3', "", 0644, ""}, "the archive member \"tty\" is a character device"},
        {{"disk", '4', "", 0644, ""}, "the archive member \"disk\" is a block device"},
        {{"pipe", '6', "", 0644, ""}, "the archive member \"pipe\" is a named pipe"},
        {{"sparse", 'S', "", 0644, ""}, "the archive member \"sparse\" is a sparse file"},
        {{"odd", 'Z', "", 0644, ""}, "the archive member \"odd\" has the unknown type \"Z\""},
        {{"./", '0', "", 0644, ""}, "the archive member \"./\" names the archive's root"},
    };
    for (const auto& testCase : kCases)
    {
        const TarRead result = ReadTarArchive(TarArchive({{"package.xml", '0', "<x/>", 0644, ""}, testCase.entry}));
        EXPECT_EQ(result.vMembers.size(), 1u);
        EXPECT_EQ(result.strError, testCase.strReason);
    }
}

TEST(TarReader, RefusesAnArchiveOfTensOfThousandsOfMembers)
{
    std::vector<TarEntry> vEntries;
    for (std::size_t i = 0; i <= CTarReader::nMaxMembers; ++i)
    {
        vEntries.push_back({"d" + std::to_string(i), '5', "", 0755, ""});
    }
    const TarRead result = ReadTarArchive(TarArchive(vEntries));
    EXPECT_EQ(result.vMembers.size(), CTarReader::nMaxMembers);
    EXPECT_EQ(result.strError, "the archive holds more than 10000 members: no package is that large");
}

TEST(TarReader, RefusesDamagedOrTruncatedArchives)
{
    std::string strArchive = TarArchive({{"package.xml", '0', std::string(2000, 'p'), 0644, ""}});
    std::string strDamaged = strArchive;
    strDamaged[3] ^= 0x20;
    EXPECT_EQ(ReadTarArchive(strDamaged).strError,
              "the archive has a damaged header (its checksum does not hold) after 0 members");
    EXPECT_EQ(ReadTarArchive(strArchive.substr(0, 1000)).strError, "the archive ends in the middle of a member");
    EXPECT_EQ(ReadTarArchive(strArchive.substr(0, 300)).strError, "the archive ends in the middle of a header");
    // Without the closing zero blocks the archive simply ends.
    const TarRead unclosed = ReadTarArchive(strArchive.substr(0, 512 + 2048));
    EXPECT_EQ(unclosed.strError, "");
    EXPECT_EQ(unclosed.vMembers.size(), 1u);
}

TEST(TarReader, SkipsWhatIsNotReadAndRefusesDataLargerThanAsked)
{
    CMemoryInput input(
        TarArchive({{"payload", '0', std::string(5000, 'x'), 0644, ""}, {"package.xml", '0', "<x/>", 0644, ""}}));
    CArchiveStream stream;
    std::string strError;
    ASSERT_TRUE(stream.Open(input, strError));
    CTarReader reader(stream);
    STarMember member;
    ASSERT_TRUE(reader.Next(member, strError));
    std::string strData;
    EXPECT_FALSE(reader.ReadData(strData, 100, strError));
    EXPECT_EQ(strError, "larger than 100 bytes");
    ASSERT_TRUE(reader.Next(member, strError)) << strError;
    ASSERT_TRUE(reader.ReadData(strData, 100, strError));
    EXPECT_EQ(strData, "<x/>");
    EXPECT_FALSE(reader.Next(member, strError));
    EXPECT_EQ(strError, "");
    EXPECT_EQ(reader.MemberCount(), 2u);
}

TEST(TarReader, TellsATarHeaderFromOtherBytes)
{
    const std::string strArchive = TarArchive({{"a", '0', "x", 0644, ""}});
    EXPECT_TRUE(CTarReader::IsHeader(strArchive.data(), 512));
    EXPECT_FALSE(CTarReader::IsHeader(std::string(512, '\0').data(), 512));
    EXPECT_FALSE(CTarReader::IsHeader(std::string(512, 'a').data(), 512));
    EXPECT_FALSE(CTarReader::IsHeader(strArchive.data(), 100));
}
