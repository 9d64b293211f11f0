#include "CollectorTimeLimit.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
CCollectorTimeLimit Parsed(const std::string& strValue)
{
    CCollectorTimeLimit limit;
    EXPECT_TRUE(CCollectorTimeLimit::Parse(strValue, limit)) << strValue;
    return limit;
}

// Sets the variable for the test's lifetime and removes it afterwards.
class ScopedVariable
{
public:
    explicit ScopedVariable(const char* pszValue)
    {
        if (pszValue != nullptr)
        {
            setenv(CCollectorTimeLimit::pszVariable, pszValue, 1);
        }
        else
        {
            unsetenv(CCollectorTimeLimit::pszVariable);
        }
    }
    ~ScopedVariable() { unsetenv(CCollectorTimeLimit::pszVariable); }
};
} // namespace

TEST(CollectorTimeLimitTest, DefaultIsNoLimit)
{
    const CCollectorTimeLimit limit;
    EXPECT_FALSE(limit.IsOn());
    EXPECT_EQ(limit.LimitFor(60), 0);
    EXPECT_EQ(limit.ToText(), "none");
}

TEST(CollectorTimeLimitTest, EmptyAndNoneMeanNoLimit)
{
    for (const char* pszValue : {"", "none"})
    {
        const CCollectorTimeLimit limit = Parsed(pszValue);
        EXPECT_EQ(limit.Mode(), CCollectorTimeLimit::EMode::None) << pszValue;
        EXPECT_EQ(limit.LimitFor(60), 0) << pszValue;
    }
}

TEST(CollectorTimeLimitTest, ConfigEnforcesEachConfiguredLimit)
{
    const CCollectorTimeLimit limit = Parsed("config");
    EXPECT_TRUE(limit.IsOn());
    EXPECT_EQ(limit.Mode(), CCollectorTimeLimit::EMode::Configured);
    EXPECT_EQ(limit.LimitFor(60), 60);
    EXPECT_EQ(limit.LimitFor(1), 1);
    EXPECT_EQ(limit.ToText(), "config");
}

TEST(CollectorTimeLimitTest, NumberEnforcesTheSameLimitForEveryCollector)
{
    const CCollectorTimeLimit limit = Parsed("90");
    EXPECT_EQ(limit.Mode(), CCollectorTimeLimit::EMode::Fixed);
    EXPECT_EQ(limit.FixedSeconds(), 90);
    EXPECT_EQ(limit.LimitFor(60), 90);
    EXPECT_EQ(limit.LimitFor(600), 90);
    EXPECT_EQ(limit.ToText(), "90");
    EXPECT_EQ(Parsed("1").LimitFor(5), 1);
    EXPECT_EQ(Parsed("007").LimitFor(5), 7);
}

TEST(CollectorTimeLimitTest, OtherValuesAreRejectedAndMeanNoLimit)
{
    for (const char* pszValue :
         {"0", "-5", "+5", " 5", "5 ", "5s", "1.5", "Config", "NONE", "yes", "99999999999999999999999999"})
    {
        CCollectorTimeLimit limit = Parsed("config");
        EXPECT_FALSE(CCollectorTimeLimit::Parse(pszValue, limit)) << pszValue;
        EXPECT_FALSE(limit.IsOn()) << pszValue;
    }
}

TEST(CollectorTimeLimitTest, EnvironmentSetsTheLimit)
{
    bool bRejected = true;
    std::string strRejected = "x";
    {
        ScopedVariable variable(nullptr);
        EXPECT_FALSE(CCollectorTimeLimit::FromEnvironment(bRejected, strRejected).IsOn());
        EXPECT_FALSE(bRejected);
        EXPECT_EQ(strRejected, "");
    }
    {
        ScopedVariable variable("config");
        EXPECT_EQ(CCollectorTimeLimit::FromEnvironment(bRejected, strRejected).LimitFor(42), 42);
        EXPECT_FALSE(bRejected);
    }
    {
        ScopedVariable variable("12");
        EXPECT_EQ(CCollectorTimeLimit::FromEnvironment(bRejected, strRejected).LimitFor(42), 12);
    }
}

TEST(CollectorTimeLimitTest, RejectedEnvironmentValueIsNamedInTheLog)
{
    vextest::TempDir dir;
    vextest::StartLogging(dir.File("baseutils.log"));
    ScopedVariable variable("soon");
    bool bRejected = false;
    std::string strRejected;
    EXPECT_FALSE(CCollectorTimeLimit::FromEnvironment(bRejected, strRejected).IsOn());
    EXPECT_TRUE(bRejected);
    EXPECT_EQ(strRejected, "soon");
    const std::vector<std::string> vExpected = {
        "CCollectorTimeLimit::FromEnvironment VEXDEP_COLLECTOR_TIMEOUT=\"soon\" is not config, none or a positive "
        "number of seconds: collectors run without a time limit"};
    EXPECT_EQ(vextest::ReadLogMessages(dir.File("baseutils.log")), vExpected);
}

TEST(CollectorTimeLimitTest, AcceptedEnvironmentValueWritesNoLogLine)
{
    vextest::TempDir dir;
    vextest::StartLogging(dir.File("baseutils.log"));
    ScopedVariable variable("config");
    bool bRejected = false;
    std::string strRejected;
    CCollectorTimeLimit::FromEnvironment(bRejected, strRejected);
    EXPECT_TRUE(vextest::ReadLogMessages(dir.File("baseutils.log")).empty());
}
