#ifndef VEXDEP_TARREADER_H
#define VEXDEP_TARREADER_H

#include "ArchiveStream.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include <sys/types.h>

// One member of a package archive, as the tar reader accepts it: a regular
// file or a directory with a plain relative name.
struct STarMember
{
    enum class EKind
    {
        File,
        Directory
    };

    std::string strName; // relative, "/"-separated, no "." or ".." component, no trailing "/"
    EKind eKind = EKind::File;
    uint64_t nSize = 0;  // of a file's data
    mode_t nMode = 0644; // permission bits as the archive gives them
    int64_t nModifiedNs = 0; // modification time (the pax record's, with its fraction, where there is one)
};

// Reads the members of a tar stream (POSIX ustar, with the GNU long-name
// and pax extended-header records for long names and large sizes) one after
// the other, for the repository reader. A package archive holds regular
// files and directories only; everything that could make an extraction
// write or read elsewhere is refused with the member's name and the reason:
// an absolute name, a ".." component, a symbolic or hard link, a device, a
// named pipe, a sparse or multi-volume member, a damaged header, and more
// than nMaxMembers members (an archive of tens of thousands of members is
// no package).
class CTarReader
{
public:
    static const std::size_t nMaxMembers;   // 10,000
    static const std::size_t nMaxNameBytes; // 4,096

    // nMemberLimit: the most members taken (a packed repository, which
    // holds many packages, allows more than a package archive).
    explicit CTarReader(CArchiveStream& stream, std::size_t nMemberLimit = nMaxMembers);

    // The next member. False at the end of the archive (strError empty) or
    // when the archive is refused or cannot be read (strError says why,
    // naming the member where there is one).
    bool Next(STarMember& member, std::string& strError);
    // The data of the member Next gave last: the whole of it, when it is at
    // most nMaxBytes; each piece handed to a consumer (which may stop the
    // read by returning false, with its reason); or skipped. Each may be
    // called once per member; Next skips what was not read.
    bool ReadData(std::string& strData, std::size_t nMaxBytes, std::string& strError);
    bool StreamData(const std::function<bool(const char*, std::size_t, std::string&)>& consumer, std::string& strError);
    bool SkipData(std::string& strError);

    std::size_t MemberCount() const { return m_nMembers; }

    // Whether a block of 512 bytes is a tar header (its checksum holds).
    static bool IsHeader(const char* pBlock, std::size_t nSize);

private:
    // Exactly nSize bytes of the stream; false at a premature end.
    bool ReadExactly(char* pBuffer, std::size_t nSize, std::string& strError);
    // The data of a special record (long name, pax header), at most
    // nMaxNameBytes * 4 bytes, padding included.
    bool ReadRecordData(uint64_t nSize, std::string& strData, std::string& strError);
    bool SkipBytes(uint64_t nCount, std::string& strError);

    CArchiveStream& m_stream;
    uint64_t m_nPendingData = 0;    // data bytes of the current member not yet read
    uint64_t m_nPendingPadding = 0; // padding behind them
    std::size_t m_nMemberLimit;
    std::size_t m_nMembers = 0;
    std::size_t m_nRecords = 0; // long-name and extended-header records
    bool m_bEnded = false;
};

#endif // VEXDEP_TARREADER_H
