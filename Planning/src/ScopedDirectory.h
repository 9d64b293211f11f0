#ifndef VEXDEP_SCOPEDDIRECTORY_H
#define VEXDEP_SCOPEDDIRECTORY_H

#include "PlatformLayer.h"

#include <string>

// Changes the working directory for the lifetime of the object (the
// checker and the package reader read from the working directory) and goes
// back to the one it started in when it goes away, whatever happened.
class CScopedDirectory
{
public:
    CScopedDirectory() : m_strPrevious(CPlatformLayer::getCurrentDirectory()) {}
    ~CScopedDirectory() { CPlatformLayer::setCurrentDirectory(m_strPrevious); }
    CScopedDirectory(const CScopedDirectory&) = delete;
    CScopedDirectory& operator=(const CScopedDirectory&) = delete;

    // False when the directory cannot be entered (the working directory
    // then stays as it was).
    bool Enter(const std::string& strDirectory)
    {
        std::string strError;
        return CPlatformLayer::ChangeDirectory(strDirectory, strError);
    }

private:
    std::string m_strPrevious;
};

#endif // VEXDEP_SCOPEDDIRECTORY_H
