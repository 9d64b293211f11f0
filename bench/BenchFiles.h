#ifndef VEXDEP_BENCHFILES_H
#define VEXDEP_BENCHFILES_H

#include <fstream>
#include <iostream>
#include <string>

#include <sys/stat.h>

// Writes a file of a generated benchmark input (executable when asked);
// says on standard error when it cannot.
inline bool WriteBenchFile(const std::string& strPath, const std::string& strText, bool bExecutable = false)
{
    std::ofstream ofs(strPath.c_str(), std::ios::binary | std::ios::trunc);
    ofs << strText;
    ofs.close();
    if (!ofs)
    {
        std::cerr << "vexbench: cannot write " << strPath << "\n";
        return false;
    }
    chmod(strPath.c_str(), bExecutable ? 0755 : 0644);
    return true;
}

#endif // VEXDEP_BENCHFILES_H
