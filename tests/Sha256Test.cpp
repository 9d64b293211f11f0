#include "Sha256.h"

#include <gtest/gtest.h>

#include <string>

TEST(Sha256, GivesThePublishedDigestsOfTheStandardMessages)
{
    EXPECT_EQ(CSha256::Of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(CSha256::Of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(CSha256::Of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(CSha256::Of(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, GivesTheSameDigestWhateverPiecesItIsFedIn)
{
    std::string strMessage;
    for (int i = 0; i < 1000; ++i)
    {
        strMessage += static_cast<char>(i * 7);
    }
    const std::string strWhole = CSha256::Of(strMessage);
    for (std::size_t nPiece : {1u, 3u, 55u, 56u, 63u, 64u, 65u, 200u})
    {
        CSha256 sha;
        for (std::size_t nAt = 0; nAt < strMessage.size(); nAt += nPiece)
        {
            sha.Update(strMessage.substr(nAt, nPiece));
        }
        EXPECT_EQ(sha.Finish(), strWhole) << nPiece;
    }
}

TEST(Sha256, StartsAgainAfterEachDigest)
{
    CSha256 sha;
    sha.Update("abc");
    EXPECT_EQ(sha.Finish(), CSha256::Of("abc"));
    sha.Update("abc");
    EXPECT_EQ(sha.Finish(), CSha256::Of("abc"));
}
