#ifndef VEXDEP_SCRATCHAREA_H
#define VEXDEP_SCRATCHAREA_H

#include <cstddef>
#include <string>

// The private scratch directory of one command (mode 0700, below $TMPDIR
// or /tmp): the copies of the packages a plan evaluates, and whatever their
// collectors write. Nothing of a plan is written anywhere else. Removed with
// its content (links never followed) when the object goes away.
class CScratchArea
{
public:
    CScratchArea() = default;
    ~CScratchArea();
    CScratchArea(const CScratchArea&) = delete;
    CScratchArea& operator=(const CScratchArea&) = delete;

    bool Create(std::string& strError);
    const std::string& Path() const { return m_strPath; }
    // A new, empty directory in the scratch area, its name made from a
    // running number and the label.
    bool NewDirectory(const std::string& strLabel, std::string& strPath, std::string& strError);

private:
    std::string m_strPath;
    std::size_t m_nDirectories = 0;
};

#endif // VEXDEP_SCRATCHAREA_H
