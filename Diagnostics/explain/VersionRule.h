#ifndef VEXDEP_VERSIONRULE_H
#define VEXDEP_VERSIONRULE_H

#include <string>

// What the checker's version comparison does with two version texts, told
// in words: whether they are compared as text or as lists of numbers, and
// what a comparison result means for a dependency.
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
};

#endif // VEXDEP_VERSIONRULE_H
