#include "RepoPackCommand.h"

#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vextest;

namespace
{
int RunPack(const SRepoPackOptions& options, std::string& strOut, std::string& strErr)
{
    return RunInProcess<CRepoPackCommand>(options, strOut, strErr);
}

void AddPackages(const std::string& strRepository)
{
    PackageRecipe recipe;
    recipe.vDevices = {{"1", {}}};
    recipe.strPath = "A";
    WritePackage(strRepository, recipe);
    recipe.strPath = "B.tar.gz";
    recipe.eFormat = PackageFormat::TarGzip;
    WritePackage(strRepository, recipe);
    MakeDirectory(strRepository + "/C");
    WriteFile(strRepository + "/C/package.xml", "not XML");
}
} // namespace

TEST(RepoPackCommand, WritesTheArchiveAndSaysWhatItPacked)
{
    TempDir repository;
    TempDir output;
    AddPackages(repository.Path());
    SRepoPackOptions options;
    options.strRepository = repository.Path();
    options.strOutput = output.File("metadata.tar.gz");
    std::string strOut;
    std::string strErr;
    ASSERT_EQ(RunPack(options, strOut, strErr), 0) << strErr;
    EXPECT_EQ(strErr, "");
    EXPECT_TRUE(IsRegularFile(options.strOutput));
    EXPECT_EQ(strOut.rfind("refused: C: ", 0), 0u) << strOut;
    EXPECT_NE(strOut.find("\n" + options.strOutput + ": 2 packages ("), std::string::npos) << strOut;
    EXPECT_NE(strOut.find(" members, "), std::string::npos) << strOut;
    EXPECT_NE(strOut.find("; 1 refused, 0 skipped\n"), std::string::npos) << strOut;

    options.bJson = true;
    ASSERT_EQ(RunPack(options, strOut, strErr), 0) << strErr;
    EXPECT_EQ(JsonSchemaErrors("repo-pack", strOut), "");
    const nlohmann::json json = nlohmann::json::parse(strOut);
    EXPECT_EQ(json["command"], "repo pack");
    EXPECT_EQ(json["packages"], 2);
    EXPECT_EQ(json["refused"].size(), 1u);
    EXPECT_EQ(json["archiveBytes"].get<uint64_t>(), ReadFile(options.strOutput).size());
}

TEST(RepoPackCommand, NamesARepositoryThatIsNoDirectory)
{
    TempDir output;
    SRepoPackOptions options;
    options.strRepository = output.File("nothing");
    options.strOutput = output.File("metadata.tar.gz");
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunPack(options, strOut, strErr), 66);
    EXPECT_EQ(strErr, "vexinspect repo pack: the repository " + options.strRepository + " is not a directory\n");
    EXPECT_FALSE(FileExists(options.strOutput));
}

TEST(RepoPackCommand, NamesAnArchiveThatCannotBeWritten)
{
    TempDir repository;
    TempDir output;
    AddPackages(repository.Path());
    SRepoPackOptions options;
    options.strRepository = repository.Path();
    options.strOutput = output.File("no/such/directory/metadata.tar.gz");
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunPack(options, strOut, strErr), 73);
    EXPECT_EQ(strErr.rfind("vexinspect repo pack: cannot write the archive " + options.strOutput + ": ", 0), 0u)
        << strErr;
}
