#include "ReleaseFingerprint.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace vextest;

namespace
{
std::string Fingerprint(const std::string& strDirectory)
{
    std::string strFingerprint;
    std::string strError;
    EXPECT_TRUE(CReleaseFingerprint::Of(strDirectory, strFingerprint, strError)) << strError;
    return strFingerprint;
}

void MakeRelease(const std::string& strDirectory)
{
    WriteFile(strDirectory + "/PIEConfig.xml", "<PIEConfig/>");
    WriteFile(strDirectory + "/collect.sh", "#!/bin/sh\n", true);
    MakeDirectory(strDirectory + "/lib");
    WriteFile(strDirectory + "/lib/helper", "x");
}
} // namespace

TEST(ReleaseFingerprint, IsTheSameForTheSameCollectorWhereverItLies)
{
    TempDir first;
    TempDir second;
    MakeRelease(first.Path());
    MakeRelease(second.Path());
    EXPECT_EQ(Fingerprint(first.Path()), Fingerprint(second.Path()));
}

TEST(ReleaseFingerprint, DiffersForAnyDifferenceOfNameContentOrPermission)
{
    TempDir base;
    MakeRelease(base.Path());
    const std::string strBase = Fingerprint(base.Path());
    for (const std::string strChange : {"content", "name", "mode", "extra"})
    {
        TempDir other;
        MakeRelease(other.Path());
        if (strChange == "content")
        {
            WriteFile(other.File("lib/helper"), "y");
        }
        else if (strChange == "name")
        {
            rename(other.File("lib/helper").c_str(), other.File("lib/helper2").c_str());
        }
        else if (strChange == "mode")
        {
            chmod(other.File("collect.sh").c_str(), 0644);
        }
        else
        {
            WriteFile(other.File("inventory.xml"), "");
        }
        EXPECT_NE(Fingerprint(other.Path()), strBase) << strChange;
    }
}

TEST(ReleaseFingerprint, FailsForWhatIsNoDirectory)
{
    std::string strFingerprint;
    std::string strError;
    EXPECT_FALSE(CReleaseFingerprint::Of("/nonexistent/release", strFingerprint, strError));
}
