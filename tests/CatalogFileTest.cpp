#include "CatalogFile.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;

TEST(CatalogFile, WritesAndReadsTheRepositorysCatalog)
{
    TempDir dir;
    EXPECT_EQ(CCatalogFile::DefaultPath(dir.Path() + "/"), dir.File("catalog.json"));
    EXPECT_FALSE(CCatalogFile::Exists(dir.File("catalog.json")));
    SCatalog catalog;
    catalog.strRepository = dir.Path();
    SPackageDescription package;
    package.strPath = "a";
    catalog.vPackages = {package};
    std::string strError;
    ASSERT_TRUE(CCatalogFile::Write(dir.File("catalog.json"), catalog, strError)) << strError;
    EXPECT_TRUE(CCatalogFile::Exists(dir.File("catalog.json")));
    SCatalog read;
    ASSERT_TRUE(CCatalogFile::Read(dir.File("catalog.json"), read, strError)) << strError;
    ASSERT_EQ(read.vPackages.size(), 1u);
    EXPECT_EQ(read.vPackages[0].strPath, "a");
}

TEST(CatalogFile, RefusesACatalogThatIsAPipeOrALinkWithoutWaiting)
{
    TempDir dir;
    ASSERT_EQ(mkfifo(dir.File("pipe.json").c_str(), 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", dir.File("zero.json").c_str()), 0);
    SCatalog read;
    std::string strProblem;
    EXPECT_FALSE(CCatalogFile::Read(dir.File("pipe.json"), read, strProblem));
    EXPECT_EQ(strProblem, dir.File("pipe.json") + ": a named pipe");
    EXPECT_FALSE(CCatalogFile::Read(dir.File("zero.json"), read, strProblem));
    EXPECT_EQ(strProblem, dir.File("zero.json") + ": a symbolic link");
    WriteFile(dir.File("garbage.json"), "{");
    EXPECT_FALSE(CCatalogFile::Read(dir.File("garbage.json"), read, strProblem));
    EXPECT_EQ(strProblem, dir.File("garbage.json") + ": not JSON");
}
