// Fuzz target: the version rule.
//
// The input is cut at its first NUL into two version texts. Besides running
// the comparison, the target checks the properties that every caller relies
// on: a text equals itself, and swapping the two texts turns the order
// round (the sign changes, zero stays zero).

#include "FuzzSupport.h"

#include "DependenciesChecker.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace
{
int Sign(int nValue) { return (nValue > 0) - (nValue < 0); }
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t nSize)
{
    const std::pair<std::string, std::string> texts = vexfuzz::CutAtFirstNul(pData, nSize);
    const std::string& strFirst = texts.first;
    const std::string& strSecond = texts.second;

    const int nForward = CDependenciesChecker::CompareVersions(strFirst, strSecond);
    const int nBackward = CDependenciesChecker::CompareVersions(strSecond, strFirst);
    if (Sign(nForward) != -Sign(nBackward))
    {
        __builtin_trap();
    }
    if (CDependenciesChecker::CompareVersions(strFirst, strFirst) != 0 ||
        CDependenciesChecker::CompareVersions(strSecond, strSecond) != 0)
    {
        __builtin_trap();
    }
    // Texts far longer than any version: the rule must not depend on a
    // buffer size.
    const std::string strLong = strFirst + std::string(300, '.') + strFirst;
    vexfuzz::Consume(static_cast<std::size_t>(Sign(CDependenciesChecker::CompareVersions(strLong, strSecond)) + 1));
    return 0;
}
