#ifndef VEXDEP_TARWRITER_H
#define VEXDEP_TARWRITER_H

#include <cstdint>
#include <string>

#include <sys/types.h>

// A tar archive built in memory: POSIX ustar members (directories and
// regular files, owned by root, with the permission bits and modification
// time given), and a pax extended header before a member whose name does
// not fit the ustar name field. The archive holds only what was added, in
// that order, so that the same input gives the same bytes on every run.
class CTarWriter
{
public:
    // A directory member; strName is relative and "/"-separated.
    void AddDirectory(const std::string& strName, mode_t nMode, int64_t nModifiedSeconds);
    // A regular file member with its content.
    void AddFile(const std::string& strName, const std::string& strContent, mode_t nMode, int64_t nModifiedSeconds);
    // The archive, closed with its two zero blocks; the writer is empty again.
    std::string Finish();

    std::size_t MemberCount() const { return m_nMembers; }

private:
    void AddMember(std::string strName, char cType, const std::string& strContent, mode_t nMode,
                   int64_t nModifiedSeconds);
    void AddHeader(const std::string& strName, char cType, uint64_t nSize, mode_t nMode, int64_t nModifiedSeconds);
    void AddData(const std::string& strContent);

    std::string m_strArchive;
    std::size_t m_nMembers = 0;
};

#endif // VEXDEP_TARWRITER_H
