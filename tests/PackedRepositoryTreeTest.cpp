#include "PackedRepositoryTree.h"

#include "DiskRepositoryTree.h"
#include "RepositoryBuilder.h"
#include "RepositoryLoader.h"
#include "RepositoryPacker.h"
#include "TarWriter.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vextest;

namespace
{

// A repository of a directory package with a release directory, an
// archive package and a file that is no package.
void WriteRepository(const std::string& strRepository)
{
    PackageRecipe recipe;
    recipe.strPath = "FOLDER01/FW/A";
    recipe.vDevices = {{"101", {}}};
    recipe.vDependencies = {{false, "102", "FRMW", "2.0", "FOLDER02\\B.tar.xz", "INV", "B", "", {}, ""}};
    recipe.vReleases = {{"INV", InstalledComponent("102", "1.0"), "a"}};
    WritePackage(strRepository, recipe);
    PackageRecipe archive;
    archive.strPath = "FOLDER02/B.tar.xz";
    archive.eFormat = PackageFormat::TarXz;
    archive.strVersion = "2.0";
    archive.vDevices = {{"102", {}}};
    WritePackage(strRepository, archive);
}

std::string Pack(const std::string& strRepository)
{
    std::string strArchive;
    std::string strError;
    SRepositoryPack pack;
    EXPECT_EQ(CRepositoryPacker(strRepository).Pack(strArchive, pack, strError), CRepositoryPacker::EOutcome::Packed)
        << strError;
    return strArchive;
}

bool Load(const std::string& strArchive, CPackedRepositoryTree& tree, std::string& strError)
{
    CMemoryInput input(strArchive);
    return tree.Load(input, strError);
}

// Every path below strPath in both trees, compared: kind, size, time and
// permission bits of each entry (with bTimes; the root's are the
// directory's that the tree was put into), the names of each directory,
// the bytes of each file.
void ExpectSameTree(const IRepositoryTree& expected, const IRepositoryTree& actual, const std::string& strPath,
                    std::size_t& nCompared, bool bTimes = true)
{
    CRepositoryFileSystem::SEntry expectedEntry;
    CRepositoryFileSystem::SEntry actualEntry;
    std::string strError;
    ASSERT_TRUE(expected.Examine(strPath, expectedEntry, strError)) << strError;
    ASSERT_TRUE(actual.Examine(strPath, actualEntry, strError)) << strError;
    ++nCompared;
    EXPECT_EQ(static_cast<int>(actualEntry.eKind), static_cast<int>(expectedEntry.eKind)) << strPath;
    if (bTimes && !strPath.empty())
    {
        EXPECT_EQ(actualEntry.nModifiedNs, expectedEntry.nModifiedNs) << strPath;
        EXPECT_EQ(actualEntry.nMode, expectedEntry.nMode) << strPath;
    }
    if (expectedEntry.eKind == CRepositoryFileSystem::EKind::Regular)
    {
        EXPECT_EQ(actualEntry.nSize, expectedEntry.nSize) << strPath;
        std::string strExpected;
        std::string strActual;
        ASSERT_TRUE(expected.ReadRegularFile(strPath, 1 << 20, strExpected, strError)) << strError;
        ASSERT_TRUE(actual.ReadRegularFile(strPath, 1 << 20, strActual, strError)) << strError;
        EXPECT_EQ(strActual, strExpected) << strPath;
        return;
    }
    std::vector<std::string> vExpected;
    std::vector<std::string> vActual;
    ASSERT_TRUE(expected.ListDirectory(strPath, vExpected, strError)) << strError;
    ASSERT_TRUE(actual.ListDirectory(strPath, vActual, strError)) << strError;
    EXPECT_EQ(vActual, vExpected) << strPath;
    for (const std::string& strName : vExpected)
    {
        ExpectSameTree(expected, actual, strPath.empty() ? strName : strPath + "/" + strName, nCompared, bTimes);
    }
}

} // namespace

TEST(PackedRepositoryTree, HoldsWhatUnpackingTheArchiveWithTarMakes)
{
    TempDir repository;
    WriteRepository(repository.Path());
    const std::string strArchive = Pack(repository.Path());
    TempDir unpacked;
    WriteFile(unpacked.File("packed.tar.gz"), strArchive);
    MakeDirectory(unpacked.File("tree"));
    const CommandResult tar = RunCommand(
        {"/bin/tar", "-C", unpacked.File("tree"), "-p", "-xzf", unpacked.File("packed.tar.gz")}, unpacked.Path());
    ASSERT_EQ(tar.nExitStatus, 0) << tar.strStderr;

    CPackedRepositoryTree packed;
    std::string strError;
    ASSERT_TRUE(Load(strArchive, packed, strError)) << strError;
    std::size_t nCompared = 0;
    ExpectSameTree(CDiskRepositoryTree(unpacked.File("tree")), packed, "", nCompared);
    EXPECT_EQ(nCompared, packed.EntryCount() + 1);
    EXPECT_EQ(nCompared, 12u);
}

TEST(PackedRepositoryTree, GivesTheSamePackagesStampsAndDigestsAsTheUnpackedTree)
{
    TempDir repository;
    WriteRepository(repository.Path());
    const std::string strArchive = Pack(repository.Path());
    TempDir unpacked;
    WriteFile(unpacked.File("packed.tar.gz"), strArchive);
    MakeDirectory(unpacked.File("tree"));
    ASSERT_EQ(RunCommand({"/bin/tar", "-C", unpacked.File("tree"), "-p", "-xzf", unpacked.File("packed.tar.gz")},
                         unpacked.Path())
                  .nExitStatus,
              0);

    std::unique_ptr<CPackedRepositoryTree> pPacked(new CPackedRepositoryTree());
    std::string strError;
    ASSERT_TRUE(Load(strArchive, *pPacked, strError)) << strError;
    TempDir workPacked;
    TempDir workTree;
    CRepositoryLoader fromArchive(std::move(pPacked), unpacked.File("packed.tar.gz"), workPacked.Path());
    CRepositoryLoader fromTree(unpacked.File("tree"), workTree.Path());
    SRepositoryLoad loadArchive;
    SRepositoryLoad loadTree;
    ASSERT_TRUE(fromArchive.Load(CRepositoryScanner::EMode::Trust, "", false, loadArchive, strError)) << strError;
    ASSERT_TRUE(fromTree.Load(CRepositoryScanner::EMode::Trust, "", false, loadTree, strError)) << strError;
    EXPECT_TRUE(loadArchive.bCatalogUsed) << loadArchive.strCatalogProblem;
    EXPECT_EQ(loadArchive.strCatalogPath, unpacked.File("packed.tar.gz") + "/catalog.json");
    EXPECT_TRUE(loadArchive.content.vRefused.empty());
    ASSERT_EQ(loadArchive.content.vPackages.size(), 2u);
    ASSERT_EQ(loadTree.content.vPackages.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i)
    {
        const SPackageDescription& archived = loadArchive.content.vPackages[i];
        const SPackageDescription& onDisk = loadTree.content.vPackages[i];
        EXPECT_EQ(archived.strPath, onDisk.strPath);
        EXPECT_EQ(archived.strStamp, onDisk.strStamp);
        EXPECT_EQ(archived.strDigest, onDisk.strDigest);
        // Reading the package's metadata out checks it against the catalog.
        TempDir copyArchived;
        TempDir copyOnDisk;
        std::string strArchivedDigest;
        std::string strOnDiskDigest;
        ASSERT_TRUE(fromArchive.Source().CopyMetadata(archived, archived.vReleaseDirectories, copyArchived.Path(),
                                                      strArchivedDigest, strError))
            << strError;
        ASSERT_TRUE(fromTree.Source().CopyMetadata(onDisk, onDisk.vReleaseDirectories, copyOnDisk.Path(),
                                                   strOnDiskDigest, strError))
            << strError;
        EXPECT_EQ(strArchivedDigest, archived.strDigest);
        EXPECT_EQ(strArchivedDigest, strOnDiskDigest);
        std::size_t nCompared = 0;
        ExpectSameTree(CDiskRepositoryTree(copyOnDisk.Path()), CDiskRepositoryTree(copyArchived.Path()), "",
                       nCompared, false);
        EXPECT_GE(nCompared, 2u);
    }
    // Without the catalog (Fresh), every package is read from the archive.
    SRepositoryLoad fresh;
    ASSERT_TRUE(fromArchive.Load(CRepositoryScanner::EMode::Fresh, "", true, fresh, strError)) << strError;
    ASSERT_EQ(fresh.content.vPackages.size(), 2u);
    EXPECT_EQ(fresh.content.vPackages[0].strDigest, loadTree.content.vPackages[0].strDigest);
}

TEST(PackedRepositoryTree, AnswersForMissingEntriesAndFilesAsTheFileSystemDoes)
{
    CTarWriter writer;
    writer.AddDirectory("A", 0750, 1700000000);
    writer.AddFile("A/file", "content", 0640, 1700000001);
    writer.AddFile("B/C/deep", "x", 0755, 1700000002);
    CPackedRepositoryTree tree;
    std::string strError;
    ASSERT_TRUE(Load(writer.Finish(), tree, strError)) << strError;

    CRepositoryFileSystem::SEntry entry;
    ASSERT_TRUE(tree.Examine("A/file", entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Regular);
    EXPECT_EQ(entry.nSize, 7u);
    EXPECT_EQ(entry.nMode, 0640u);
    EXPECT_EQ(entry.nModifiedNs, 1700000001LL * 1000000000);
    ASSERT_TRUE(tree.Examine("A", entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Directory);
    EXPECT_EQ(entry.nMode, 0750u);
    // Directories the archive only implies: 0755, time 0.
    ASSERT_TRUE(tree.Examine("B/C", entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Directory);
    EXPECT_EQ(entry.nMode, 0755u);
    EXPECT_EQ(entry.nModifiedNs, 0);
    std::vector<std::string> vNames;
    ASSERT_TRUE(tree.ListDirectory("", vNames, strError));
    EXPECT_EQ(vNames, (std::vector<std::string>{"A", "B"}));

    // lstat's answers: a missing entry, and one below a file, are Missing.
    ASSERT_TRUE(tree.Examine("nothing", entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Missing);
    ASSERT_TRUE(tree.Examine("A/file/below", entry, strError));
    EXPECT_EQ(entry.eKind, CRepositoryFileSystem::EKind::Missing);
    EXPECT_FALSE(tree.ListDirectory("nothing", vNames, strError));
    EXPECT_EQ(strError, "No such file or directory");
    EXPECT_FALSE(tree.ListDirectory("A/file", vNames, strError));
    EXPECT_EQ(strError, "Not a directory");
    std::string strContent;
    EXPECT_FALSE(tree.ReadRegularFile("A", 100, strContent, strError));
    EXPECT_EQ(strError, "a directory");
    EXPECT_FALSE(tree.ReadRegularFile("A/file", 3, strContent, strError));
    EXPECT_EQ(strError, "larger than 3 bytes");
    EXPECT_FALSE(tree.OpenFile("A/file/below", strError));
    EXPECT_EQ(strError, "Not a directory");
    const std::unique_ptr<IFileInput> pFile = tree.OpenFile("B/C/deep", strError);
    ASSERT_TRUE(pFile) << strError;
    EXPECT_EQ(pFile->Size(), 1u);
    EXPECT_EQ(pFile->ModifiedNs(), 1700000002LL * 1000000000);
}

TEST(PackedRepositoryTree, RefusesANameGivenTwiceAMemberBelowAFileAndLinks)
{
    {
        CTarWriter writer;
        writer.AddFile("A", "one", 0644, 1);
        writer.AddFile("A", "two", 0644, 1);
        CPackedRepositoryTree tree;
        std::string strError;
        EXPECT_FALSE(Load(writer.Finish(), tree, strError));
        EXPECT_EQ(strError, "the archive names \"A\" twice");
    }
    {
        CTarWriter writer;
        writer.AddFile("A", "one", 0644, 1);
        writer.AddFile("A/B", "two", 0644, 1);
        CPackedRepositoryTree tree;
        std::string strError;
        EXPECT_FALSE(Load(writer.Finish(), tree, strError));
        EXPECT_EQ(strError, "the archive member \"A/B\" lies below the file \"A\"");
    }
    {
        // A directory named after the files in it takes its own mode and time.
        CTarWriter writer;
        writer.AddFile("A/B", "two", 0644, 1);
        writer.AddDirectory("A", 0700, 5);
        CPackedRepositoryTree tree;
        std::string strError;
        ASSERT_TRUE(Load(writer.Finish(), tree, strError)) << strError;
        CRepositoryFileSystem::SEntry entry;
        ASSERT_TRUE(tree.Examine("A", entry, strError));
        EXPECT_EQ(entry.nMode, 0700u);
        EXPECT_EQ(entry.nModifiedNs, 5LL * 1000000000);
    }
    {
        CPackedRepositoryTree tree;
        std::string strError;
        EXPECT_FALSE(Load(TarArchive({{"link", '2', "", 0777, "/etc/passwd"}}), tree, strError));
        EXPECT_NE(strError.find("\"link\""), std::string::npos) << strError;
    }
    {
        CPackedRepositoryTree tree;
        std::string strError;
        EXPECT_FALSE(Load("no archive at all, just text that is long enough to be read as one", tree, strError));
        EXPECT_FALSE(strError.empty());
    }
}

TEST(PackedRepositoryTree, TakesMoreMembersThanAPackageArchiveMay)
{
    CTarWriter writer;
    for (int n = 0; n < 10005; ++n)
    {
        writer.AddFile("F/" + std::to_string(n), "", 0644, 1);
    }
    CPackedRepositoryTree tree;
    std::string strError;
    ASSERT_TRUE(Load(writer.Finish(), tree, strError)) << strError;
    EXPECT_EQ(tree.EntryCount(), 10006u);
}
