#ifndef VEXDEP_HELDINPUTFILE_H
#define VEXDEP_HELDINPUTFILE_H

#include <string>

// A file opened for reading and read whole at construction, whose descriptor
// stays open until the object is destroyed, as an input file stream's does:
// it takes its place among the process's descriptors for that whole time,
// and the commands run meanwhile inherit it. A missing or unreadable file
// gives an empty text; a directory, a named pipe or a device is held open
// but read as empty (a pipe is never waited for).
class CHeldInputFile
{
public:
    explicit CHeldInputFile(const std::string& strPath);
    ~CHeldInputFile();

    CHeldInputFile(const CHeldInputFile&) = delete;
    CHeldInputFile& operator=(const CHeldInputFile&) = delete;

    const std::string& Text() const { return m_strText; }
    bool IsOpen() const { return m_nFd >= 0; }

private:
    int m_nFd = -1;
    std::string m_strText;
};

#endif // VEXDEP_HELDINPUTFILE_H
