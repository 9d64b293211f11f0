#include "RepositoryFileSystem.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;

TEST(RepositoryFileSystem, ExaminesEntriesWithoutFollowingLinks)
{
    TempDir dir;
    WriteFile(dir.File("file"), "12345");
    MakeDirectory(dir.File("sub"));
    ASSERT_EQ(symlink(dir.File("sub").c_str(), dir.File("link").c_str()), 0);
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0600), 0);
    CRepositoryFileSystem::SEntry entry;
    std::string strError;
    ASSERT_TRUE(CRepositoryFileSystem::Examine(dir.File("file"), entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Regular);
    EXPECT_EQ(entry.nSize, 5u);
    ASSERT_TRUE(CRepositoryFileSystem::Examine(dir.File("link"), entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::SymbolicLink);
    ASSERT_TRUE(CRepositoryFileSystem::Examine(dir.File("pipe"), entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::NamedPipe);
    ASSERT_TRUE(CRepositoryFileSystem::Examine(dir.File("sub"), entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Directory);
    ASSERT_TRUE(CRepositoryFileSystem::Examine(dir.File("none"), entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Missing);
}

TEST(RepositoryFileSystem, ReadsRegularFilesAndRefusesEverythingElseWithoutWaiting)
{
    TempDir dir;
    WriteFile(dir.File("file"), "content");
    ASSERT_EQ(symlink(dir.File("file").c_str(), dir.File("link").c_str()), 0);
    ASSERT_EQ(symlink("/dev/zero", dir.File("zero").c_str()), 0);
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0600), 0);
    std::string strContent;
    std::string strError;
    ASSERT_TRUE(CRepositoryFileSystem::ReadRegularFile(dir.File("file"), 100, strContent, strError));
    EXPECT_EQ(strContent, "content");
    EXPECT_FALSE(CRepositoryFileSystem::ReadRegularFile(dir.File("file"), 3, strContent, strError));
    EXPECT_EQ(strError, "larger than 3 bytes");
    EXPECT_FALSE(CRepositoryFileSystem::ReadRegularFile(dir.File("link"), 100, strContent, strError));
    EXPECT_EQ(strError, "a symbolic link");
    EXPECT_FALSE(CRepositoryFileSystem::ReadRegularFile(dir.File("zero"), 100, strContent, strError));
    EXPECT_FALSE(CRepositoryFileSystem::ReadRegularFile(dir.File("pipe"), 100, strContent, strError));
    EXPECT_EQ(strError, "a named pipe");
    EXPECT_FALSE(CRepositoryFileSystem::ReadRegularFile("/dev/null", 100, strContent, strError));
    EXPECT_EQ(strError, "a device");
    EXPECT_FALSE(CRepositoryFileSystem::ReadRegularFile(dir.Path(), 100, strContent, strError));
    EXPECT_EQ(strError, "a directory");
}

TEST(RepositoryFileSystem, CreatesFilesOnlyWhereNothingIsAndNeverThroughALink)
{
    TempDir dir;
    TempDir outside;
    ASSERT_EQ(symlink(outside.File("target").c_str(), dir.File("link").c_str()), 0);
    std::string strError;
    EXPECT_FALSE(CRepositoryFileSystem::CreateFile(dir.File("link"), "x", 0644, strError));
    EXPECT_FALSE(FileExists(outside.File("target")));
    ASSERT_TRUE(CRepositoryFileSystem::CreateFile(dir.File("new"), "abc", 0751, strError)) << strError;
    EXPECT_EQ(ReadFile(dir.File("new")), "abc");
    struct stat info;
    ASSERT_EQ(stat(dir.File("new").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0751u);
    EXPECT_FALSE(CRepositoryFileSystem::CreateFile(dir.File("new"), "again", 0644, strError));
    EXPECT_EQ(ReadFile(dir.File("new")), "abc");
}

TEST(RepositoryFileSystem, MakesDirectoriesBelowABaseButNeverAbove)
{
    TempDir dir;
    std::string strError;
    ASSERT_TRUE(CRepositoryFileSystem::MakeDirectories(dir.Path(), "a/b/c", strError)) << strError;
    EXPECT_TRUE(IsDirectory(dir.File("a/b/c")));
    EXPECT_FALSE(CRepositoryFileSystem::MakeDirectories(dir.Path(), "a/../../x", strError));
    WriteFile(dir.File("f"), "");
    EXPECT_FALSE(CRepositoryFileSystem::MakeDirectories(dir.Path(), "f/g", strError));
}

TEST(RepositoryFileSystem, RemovesATreeWithoutFollowingItsLinks)
{
    TempDir outside;
    WriteFile(outside.File("keep"), "kept");
    std::string strPath;
    std::string strError;
    ASSERT_TRUE(CRepositoryFileSystem::MakePrivateDirectory("vexdep-test", strPath, strError)) << strError;
    struct stat info;
    ASSERT_EQ(stat(strPath.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    MakeDirectory(strPath + "/sub");
    WriteFile(strPath + "/sub/file", "x");
    ASSERT_EQ(symlink(outside.Path().c_str(), (strPath + "/sub/link").c_str()), 0);
    // A directory left without permissions goes too.
    MakeDirectory(strPath + "/locked");
    WriteFile(strPath + "/locked/file", "x");
    chmod((strPath + "/locked").c_str(), 0);
    CRepositoryFileSystem::RemoveTree(strPath);
    EXPECT_FALSE(FileExists(strPath));
    EXPECT_EQ(ReadFile(outside.File("keep")), "kept");
}

TEST(RepositoryFileSystem, ReplacesAFileWhole)
{
    TempDir dir;
    WriteFile(dir.File("catalog.json"), "old");
    std::string strError;
    ASSERT_TRUE(CRepositoryFileSystem::ReplaceFile(dir.File("catalog.json"), "new", strError)) << strError;
    EXPECT_EQ(ReadFile(dir.File("catalog.json")), "new");
    EXPECT_EQ(ListDirectory(dir.Path()), std::vector<std::string>{"catalog.json"});
}

TEST(RepositoryFileSystem, ReadsALargeFileInPiecesAndFromTheStartAgain)
{
    TempDir dir;
    const std::string strContent(200000, 'q');
    WriteFile(dir.File("big"), strContent);
    CRegularFileReader reader;
    std::string strError;
    ASSERT_TRUE(reader.Open(dir.File("big"), strError));
    EXPECT_EQ(reader.Size(), strContent.size());
    for (int nPass = 0; nPass < 2; ++nPass)
    {
        std::string strRead;
        char buffer[4096];
        for (long nRead; (nRead = reader.Read(buffer, sizeof(buffer), strError)) > 0;)
        {
            strRead.append(buffer, static_cast<std::size_t>(nRead));
        }
        EXPECT_EQ(strRead, strContent);
        ASSERT_TRUE(reader.Rewind(strError));
    }
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(reader.Open(dir.File("pipe"), strError));
}
