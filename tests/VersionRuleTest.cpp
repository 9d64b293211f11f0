// The version rule in words agrees with the checker's comparison.

#include "DependenciesChecker.h"
#include "VersionRule.h"

#include <gtest/gtest.h>

TEST(VersionRule, LettersAndBlanksMakeATextVersion)
{
    EXPECT_TRUE(CVersionRule::HoldsTextCharacters("A07"));
    EXPECT_TRUE(CVersionRule::HoldsTextCharacters("2.1.0a"));
    EXPECT_TRUE(CVersionRule::HoldsTextCharacters("1.0 "));
    EXPECT_TRUE(CVersionRule::HoldsTextCharacters("Z"));
    EXPECT_FALSE(CVersionRule::HoldsTextCharacters("1.2-3_4"));
    EXPECT_FALSE(CVersionRule::HoldsTextCharacters("1+2/3"));
    EXPECT_FALSE(CVersionRule::HoldsTextCharacters(""));
    // Only ASCII letters count.
    EXPECT_FALSE(CVersionRule::HoldsTextCharacters("1.\xC3\xA9"));
}

TEST(VersionRule, MethodAndMeaningMatchTheChecker)
{
    struct Case
    {
        const char* pszRequired;
        const char* pszInstalled;
        const char* pszMethod;
    };
    const Case aCases[] = {
        {"1.2.3", "1.2.3", "same text"}, {"A07", "a07", "same text"}, {"1.10", "1.9", "numbers"},
        {"2.0", "10.0", "numbers"},      {"9", "10a", "text"},        {"A10", "a07", "text"},
        {"1.0 ", "1.0", "text"},         {"1.2", "1.2.0", "numbers"}, {"", "1", "numbers"},
    };
    for (const Case& testCase : aCases)
    {
        SCOPED_TRACE(std::string(testCase.pszRequired) + " / " + testCase.pszInstalled);
        EXPECT_EQ(CVersionRule::Method(testCase.pszRequired, testCase.pszInstalled), testCase.pszMethod);
        const int nResult = CDependenciesChecker::CompareVersions(testCase.pszRequired, testCase.pszInstalled);
        const std::string strMeaning = CVersionRule::Meaning(nResult);
        if (nResult > 0)
        {
            EXPECT_EQ(strMeaning, "installed is older");
        }
        else if (nResult < 0)
        {
            EXPECT_EQ(strMeaning, "installed is newer");
        }
        else
        {
            EXPECT_EQ(strMeaning, "installed is the same");
        }
    }
    // The surprise the rule explains: as text, 9 counts newer than 10a.
    EXPECT_GT(CDependenciesChecker::CompareVersions("9", "10a"), 0);
    EXPECT_EQ(CVersionRule::Meaning(CDependenciesChecker::CompareVersions("9", "10a")), "installed is older");
}

TEST(VersionRule, TheNumbersTheCheckerReadsAndTheCaveatWhereTheyDifferFromTheText)
{
    EXPECT_EQ(CVersionRule::NumbersAsRead("1.0.2147483648"), (std::vector<int32_t>{1, 0, INT32_MIN}));
    EXPECT_EQ(CVersionRule::NumbersAsRead("2,5"), (std::vector<int32_t>{2}));
    EXPECT_EQ(CVersionRule::NumbersAsRead("1..2-3_4"), (std::vector<int32_t>{1, 2, 3, 4}));
    EXPECT_EQ(CVersionRule::NumbersText({1, 0, INT32_MIN}), "1.0.-2147483648");
    EXPECT_TRUE(CVersionRule::HasOverflowingPart("1.0.2147483648"));
    EXPECT_FALSE(CVersionRule::HasOverflowingPart("1.0.2147483647"));
    EXPECT_TRUE(CVersionRule::HasPartEndedEarly("2,5"));
    EXPECT_FALSE(CVersionRule::HasPartEndedEarly("2.5"));
    EXPECT_EQ(CVersionRule::Caveat("2.5"), "");
    EXPECT_EQ(CVersionRule::Caveat("10a"), ""); // compared as text
    EXPECT_EQ(CVersionRule::Caveat("2,5"), "\"2,5\" is compared as the numbers 2 (the part \"2,5\" ends at \",\" and "
                                           "reads as 2)");
    // Where a comparison by numbers meets such a version, explain says so.
    EXPECT_EQ(CVersionRule::ComparisonCaveat("2,5", "2.1"), CVersionRule::Caveat("2,5"));
    EXPECT_EQ(CVersionRule::ComparisonCaveat("1.0", "1.0.2147483648"), CVersionRule::Caveat("1.0.2147483648"));
    EXPECT_EQ(CVersionRule::ComparisonCaveat("2.0", "1.9"), "");
    EXPECT_EQ(CVersionRule::ComparisonCaveat("2,5", "2,5a"), ""); // compared as text
}
