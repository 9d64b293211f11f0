#include "RepositoryWalk.h"

#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;

TEST(RepositoryWalk, FindsDirectoryAndArchivePackagesWhateverTheirNames)
{
    TempDir repository;
    PackageRecipe recipe;
    recipe.vDevices = {{"1", {}}};
    for (const auto& entry :
         std::vector<std::pair<std::string, PackageFormat>>{{"A/dir-package", PackageFormat::Directory},
                                                            {"A/B/firmware.BIN", PackageFormat::TarGzip},
                                                            {"C/plain", PackageFormat::Tar},
                                                            {"C/compressed.tar.xz", PackageFormat::TarXz}})
    {
        recipe.strPath = entry.first;
        recipe.eFormat = entry.second;
        WritePackage(repository.Path(), recipe);
    }
    WriteFile(repository.File("catalog.json"), "{}");
    WriteFile(repository.File("A/notes.txt.gz"), Gzip("not an archive, although compressed"));
    MakeDirectory(repository.File(".git"));
    WriteFile(repository.File(".git/hidden.tar"), TarArchive({{"package.xml", '0', "<x/>", 0644, ""}}));
    std::vector<SPackageLocation> vPackages;
    std::vector<SRefusedPackage> vSkipped;
    std::string strError;
    ASSERT_TRUE(CRepositoryWalk::Walk(repository.Path(), vPackages, vSkipped, strError)) << strError;
    ASSERT_EQ(vPackages.size(), 4u);
    EXPECT_EQ(vPackages[0].strPath, "A/B/firmware.BIN");
    EXPECT_FALSE(vPackages[0].bDirectory);
    EXPECT_EQ(vPackages[1].strPath, "A/dir-package");
    EXPECT_TRUE(vPackages[1].bDirectory);
    EXPECT_EQ(vPackages[2].strPath, "C/compressed.tar.xz");
    EXPECT_EQ(vPackages[3].strPath, "C/plain");
    EXPECT_TRUE(vSkipped.empty());
}

TEST(RepositoryWalk, NeverFollowsLinksSoThatALoopCannotTrapIt)
{
    TempDir repository;
    MakeDirectory(repository.File("A"));
    ASSERT_EQ(symlink("..", repository.File("A/loop").c_str()), 0);
    ASSERT_EQ(symlink(repository.Path().c_str(), repository.File("A/absolute-loop").c_str()), 0);
    ASSERT_EQ(mkfifo(repository.File("A/pipe").c_str(), 0600), 0);
    std::vector<SPackageLocation> vPackages;
    std::vector<SRefusedPackage> vSkipped;
    std::string strError;
    ASSERT_TRUE(CRepositoryWalk::Walk(repository.Path(), vPackages, vSkipped, strError));
    EXPECT_TRUE(vPackages.empty());
    ASSERT_EQ(vSkipped.size(), 3u);
    EXPECT_EQ(vSkipped[0].strPath, "A/absolute-loop");
    EXPECT_EQ(vSkipped[0].strReason, "a symbolic link: links in a repository are not followed");
    EXPECT_EQ(vSkipped[1].strPath, "A/loop");
    EXPECT_EQ(vSkipped[2].strPath, "A/pipe");
    EXPECT_EQ(vSkipped[2].strReason, "a named pipe: not read");
}

TEST(RepositoryWalk, FailsOnlyWhenTheRootCannotBeRead)
{
    std::vector<SPackageLocation> vPackages;
    std::vector<SRefusedPackage> vSkipped;
    std::string strError;
    EXPECT_FALSE(CRepositoryWalk::Walk("/nonexistent/repository", vPackages, vSkipped, strError));
    EXPECT_EQ(strError, "No such file or directory");
}
