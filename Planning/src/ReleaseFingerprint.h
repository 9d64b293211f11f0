#ifndef VEXDEP_RELEASEFINGERPRINT_H
#define VEXDEP_RELEASEFINGERPRINT_H

#include <string>

// What makes two release directories the same collector: the name, kind,
// permission bits and content (or link target) of every entry below the
// directory, in path order. A plan runs each distinct collector once and
// hands what it found to every release directory with the same
// fingerprint.
class CReleaseFingerprint
{
public:
    // The fingerprint of the directory; false (with the reason) when it is
    // not a readable directory, or holds more than the planner copies.
    static bool Of(const std::string& strDirectory, std::string& strFingerprint, std::string& strError);
};

#endif // VEXDEP_RELEASEFINGERPRINT_H
