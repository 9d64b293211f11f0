#ifndef VEXDEP_VERSIONRULE_H
#define VEXDEP_VERSIONRULE_H

#include <cstdint>
#include <string>
#include <vector>

// What the checker's version comparison does with two version texts, told
// in words: whether they are compared as text or as lists of numbers, which
// numbers it reads from a version, and what a comparison result means for a
// dependency.
class CVersionRule
{
public:
    // True when the text holds an ASCII letter or a blank: the checker then
    // compares it as text, case ignored ("9" counts newer than "10a").
    static bool HoldsTextCharacters(const std::string& strVersion);
    // True when the checker compares the two versions as text.
    static bool ComparedAsText(const std::string& strRequired, const std::string& strInstalled);
    // How the checker compares the two: "same text" (equal with case
    // ignored, before anything else), "text" or "numbers".
    static std::string Method(const std::string& strRequired, const std::string& strInstalled);
    // The meaning of CompareVersions(required, installed) for a dependency.
    static std::string Meaning(int nResult);

    // The numbers the checker reads from a version it compares as numbers:
    // the text is split at '.', '-' and '_' (runs of them count as one), and
    // each part is read as a decimal number that ends at its first
    // character that is not a digit (nothing read: 0) and is cut to 32 bits.
    static std::vector<int32_t> NumbersAsRead(const std::string& strVersion);
    // The numbers joined by '.', as the checker compares them ("1.0.-2147483648").
    static std::string NumbersText(const std::vector<int32_t>& vNumbers);
    // Why the numbers the checker reads differ from what the version says,
    // or empty when they do not (and for a version compared as text): a part
    // too large for 32 bits ("2147483648" reads as -2147483648), or a part
    // with a character that ends the number early ("2,5" reads as 2).
    static std::string Caveat(const std::string& strVersion);
    // The caveats of both versions of a comparison made as numbers, joined
    // ("; "); empty when there is none or the comparison is not by numbers.
    static std::string ComparisonCaveat(const std::string& strRequired, const std::string& strInstalled);
    // The same for a part too large, and for a part ended early, alone.
    static bool HasOverflowingPart(const std::string& strVersion);
    static bool HasPartEndedEarly(const std::string& strVersion);
};

#endif // VEXDEP_VERSIONRULE_H
