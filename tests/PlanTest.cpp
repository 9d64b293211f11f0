#include "Plan.h"

#include <gtest/gtest.h>

TEST(Plan, NamesEachVerdictAndItsExitStatus)
{
    const struct
    {
        EPlanVerdict eVerdict;
        const char* pszKey;
        int nExitStatus;
    } kCases[] = {{EPlanVerdict::NothingNeeded, "nothing-needed", 0},
                  {EPlanVerdict::Complete, "complete", 1},
                  {EPlanVerdict::Blocked, "blocked", 2},
                  {EPlanVerdict::Unverifiable, "unverifiable", 3}};
    for (const auto& testCase : kCases)
    {
        EXPECT_EQ(SPlan::VerdictKey(testCase.eVerdict), testCase.pszKey);
        EXPECT_EQ(SPlan::ExitStatus(testCase.eVerdict), testCase.nExitStatus);
    }
}

TEST(Plan, TellsADoubtFromABlocker)
{
    SPlanBlocker blocker;
    blocker.strKind = "unverifiable";
    EXPECT_TRUE(blocker.IsDoubt());
    blocker.strKind = "missing";
    EXPECT_FALSE(blocker.IsDoubt());
}
