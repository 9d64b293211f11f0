#ifndef VEXDEP_REPOSITORYFILESYSTEM_H
#define VEXDEP_REPOSITORYFILESYSTEM_H

#include "RawInput.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

// The planning wing's one way to the file system. A repository comes from
// outside and vexinspect often runs as root, so every access here is made
// so that nothing can make it wait, follow a link it did not ask to follow,
// or write where it did not mean to:
//
//   - entries are examined without following symbolic links (lstat);
//   - files are opened without following a final link and without waiting
//     (a named pipe or a device is refused, never read);
//   - files are created exclusively, never through a link, in directories
//     the planner created itself (its private scratch directory, mode 0700).
//
// Every failure is a result with the system's reason, never an exception.
class CRepositoryFileSystem
{
public:
    enum class EKind
    {
        Missing,
        Regular,
        Directory,
        SymbolicLink,
        NamedPipe,
        Device,
        Socket,
        Other
    };

    struct SEntry
    {
        EKind eKind = EKind::Missing;
        uint64_t nSize = 0;
        int64_t nModifiedNs = 0; // modification time, nanoseconds since the epoch
        mode_t nMode = 0;        // permission bits
        dev_t nDevice = 0;
        ino_t nInode = 0;
    };

    // What the path itself is (a link is not followed). False, with the
    // reason, when it cannot be examined; a path that does not exist gives
    // true and kind Missing.
    static bool Examine(const std::string& strPath, SEntry& entry, std::string& strError);
    // The names in a directory (without "." and ".."), sorted bytewise.
    static bool ListDirectory(const std::string& strPath, std::vector<std::string>& vNames, std::string& strError);
    // The content of a regular file of at most nMaxBytes (a link, a named
    // pipe, a device or a larger file is refused with the reason).
    static bool ReadRegularFile(const std::string& strPath, std::size_t nMaxBytes, std::string& strContent,
                                std::string& strError);
    // The target text of a symbolic link.
    static bool ReadLink(const std::string& strPath, std::string& strTarget, std::string& strError);

    // A new directory (its parent must exist).
    static bool MakeDirectory(const std::string& strPath, mode_t nMode, std::string& strError);
    // Every missing directory of a relative path below an existing base.
    static bool MakeDirectories(const std::string& strBase, const std::string& strRelative, std::string& strError);
    // A new regular file with the given content and permission bits; fails
    // when anything exists at the path.
    static bool CreateFile(const std::string& strPath, const std::string& strContent, mode_t nMode,
                           std::string& strError);
    // Writes a file through a temporary file beside it and a rename, so that
    // a reader sees the old or the new content, never a part.
    static bool ReplaceFile(const std::string& strPath, const std::string& strContent, std::string& strError);
    // Sets the permission bits and the modification time (whole seconds) of
    // an entry the caller made itself (a link is not followed).
    static bool SetModeAndTime(const std::string& strPath, mode_t nMode, int64_t nModifiedSeconds,
                               std::string& strError);
    static bool MakeNamedPipe(const std::string& strPath, mode_t nMode, std::string& strError);
    static bool MakeSymbolicLink(const std::string& strTarget, const std::string& strPath, std::string& strError);

    // A new private directory (mode 0700) below $TMPDIR or /tmp, named
    // after strPrefix.
    static bool MakePrivateDirectory(const std::string& strPrefix, std::string& strPath, std::string& strError);
    // Removes a directory tree without following any link in it.
    static void RemoveTree(const std::string& strPath);

    // What an entry of a kind is, in words ("a named pipe").
    static const char* KindWords(EKind eKind);
    // The system's words for an error number.
    static std::string ErrorText(int nError);
};

// A regular file opened for reading in pieces (archives, digests of large
// files), with the same refusals as ReadRegularFile.
class CRegularFileReader : public IFileInput
{
public:
    CRegularFileReader() = default;
    ~CRegularFileReader();
    CRegularFileReader(const CRegularFileReader&) = delete;
    CRegularFileReader& operator=(const CRegularFileReader&) = delete;

    bool Open(const std::string& strPath, std::string& strError);
    // Up to nSize bytes; 0 at the end; -1 on a read error (strError says why).
    long Read(void* pBuffer, std::size_t nSize, std::string& strError) override;
    // Back to the start of the file.
    bool Rewind(std::string& strError) override;
    uint64_t Size() const override { return m_nSize; }
    int64_t ModifiedNs() const override { return m_nModifiedNs; }

private:
    int m_nDescriptor = -1;
    uint64_t m_nSize = 0;
    int64_t m_nModifiedNs = 0;
};

#endif // VEXDEP_REPOSITORYFILESYSTEM_H
