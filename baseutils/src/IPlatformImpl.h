#ifndef VEXDEP_IPLATFORMIMPL_H
#define VEXDEP_IPLATFORMIMPL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What a file is, as one examination sees it: enough to tell whether a
// later examination sees the same file unchanged.
struct SFileState
{
    bool bRegular = false;
    uint32_t nMode = 0; // the file's type and permission bits
    uint64_t nDevice = 0;
    uint64_t nInode = 0;
    int64_t nSize = 0;
    int64_t nModifiedNs = 0; // nanoseconds since the epoch
    int64_t nChangedNs = 0;  // the status change time, which no one can set
};

// What was written to one of this process's standard streams while they
// were captured: the first bytes, and how many bytes were written in all.
struct SCapturedStream
{
    std::string strHead;
    uint64_t nBytes = 0;
    bool bKept = true; // false: there was nowhere to keep it, it was dropped
};

// Operating-system services behind the platform facade (CPlatformLayer).
// The order of the first twenty operations is part of the interface; the
// project's own additions follow them.
class IPlatformImpl
{
public:
    virtual bool isZEPHInstalled() = 0;
    virtual int InstallZeph() = 0;
    virtual int UninstallZeph() = 0;
    virtual void* LoadLibrary(const std::string& strName) = 0;
    virtual void FreeLibrary(void* pHandle) = 0;
    virtual void* GetProcAddress(void* pHandle, const std::string& strSymbol) = 0;
    virtual int ExecuteCmd(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs) = 0;
    virtual int ExecuteCmdNoWait(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs) = 0;
    virtual void Sleep(int nSeconds) = 0;
    virtual std::string getCurrentDirectory() = 0;
    virtual std::string getCurrentProcessDirectory() = 0;
    virtual bool setCurrentDirectory(const std::string& strPath) = 0;
    virtual std::vector<std::string> GetFileList(std::string& strDirectory) = 0;
    virtual std::vector<std::string> GetFileListName(std::string& strDirectory) = 0;
    virtual bool IsFileExits(const std::string& strName) = 0;
    virtual bool IsFileExistsAbs(const std::string& strPath) = 0;
    virtual void* LoadZephLibrary(const std::string& strFileName) = 0;
    virtual bool isUSBblocklisted() = 0;
    virtual void unloadUSB() = 0;
    virtual void* LoadLibrarywithoutCustomization(const std::string& strName) = 0;

    // The operations below are this project's own additions.

    // True when strPath names a directory (following symbolic links).
    virtual bool IsDirectory(const std::string& strPath) = 0;
    // Appends the whole content of strPath to strText when it is a regular
    // file (following symbolic links); false when it is missing, unreadable,
    // a directory, a named pipe or a device. Never waits for a pipe's writer
    // and writes no log line.
    virtual bool ReadRegularFile(const std::string& strPath, std::string& strText) = 0;
    // True when strPath (following symbolic links) is a named pipe, a
    // socket or a device: a file whose reading could wait for a writer or
    // never end. False for regular files, directories and missing paths.
    virtual bool IsStreamOrDevice(const std::string& strPath) = 0;
    // Opens strPath for reading as an input file stream opens it, without
    // waiting for a pipe's writer, and keeps the descriptor until
    // CloseHeldFile: like a stream's, it is inherited by the commands run
    // meanwhile. When the file is a regular one, its whole content is
    // appended to strText. Returns the descriptor, or -1 when the file
    // cannot be opened.
    virtual int OpenHeldFile(const std::string& strPath, std::string& strText) = 0;
    virtual void CloseHeldFile(int nFd) = 0;
    // Runs a command through "/bin/sh -c" in a process group of its own and
    // waits at most nTimeLimitMs milliseconds for it. When the limit passes,
    // the whole group receives SIGTERM and, after a short grace period,
    // SIGKILL; so does whatever the command left running when it ends.
    // While the command runs, a SIGINT, SIGTERM or SIGHUP that reaches this
    // process (and is not ignored) is passed on to the command's group; the
    // group is then ended as at the time limit and the signal takes its
    // ordinary effect on this process. Returns the shell's wait status (as
    // ExecuteCmd does) and sets bTimedOut when the limit was reached.
    virtual int ExecuteCmdWithTimeout(const std::string& strCommand, const int64_t& nTimeLimitMs, bool& bTimedOut) = 0;
    // The value of an environment variable; false when it is not set.
    virtual bool GetEnvironmentVariable(const std::string& strName, std::string& strValue) = 0;
    // Changes the working directory; on failure false, with the system's
    // reason in strError (setCurrentDirectory reports no failure).
    virtual bool ChangeDirectory(const std::string& strPath, std::string& strError) = 0;
    // The modification time of a file in milliseconds since the epoch
    // (following symbolic links); false when it cannot be examined.
    virtual bool GetModificationTime(const std::string& strPath, int64_t& nMilliseconds) = 0;
    // True when this process may create files in the directory.
    virtual bool IsWritableDirectory(const std::string& strPath) = 0;
    // True when this process can open the file for reading, or enter the
    // directory; otherwise false, with the system's reason in strError ("No
    // such file or directory", "Permission denied", "Not a directory").
    // Named pipes and devices are opened without waiting and closed again.
    virtual bool CanOpen(const std::string& strPath, std::string& strError) = 0;
    // Examines the file (following symbolic links); false, with the
    // system's reason in strError, when it cannot be examined.
    virtual bool ExamineFile(const std::string& strPath, SFileState& state, std::string& strError) = 0;
    // Sends this process's standard output and standard error (and so those
    // of every command it starts from now on) each into a file of its own
    // that no other process can open, until EndStreamCapture. Where no such
    // file can be made, what is written is dropped (and the takes say so).
    // False, with the system's reason, when the streams cannot be moved
    // (nothing changed then).
    virtual bool BeginStreamCapture(std::string& strError) = 0;
    // What was written to each stream since the capture began or the last
    // take: its first nKeepBytes and how many bytes in all. The files start
    // over empty.
    virtual void TakeCapturedStreams(std::size_t nKeepBytes, SCapturedStream& out, SCapturedStream& err) = 0;
    // Puts the standard output and standard error back where they were.
    virtual void EndStreamCapture() = 0;
    // Now, in nanoseconds since the epoch, by the clock the system stamps
    // files with (coarser than the wall clock, and up to a tick behind it):
    // a file whose status change time is before it was not changed since.
    virtual int64_t GetFileClockTime() = 0;

protected:
    // The platform object lives for the whole process and is never deleted
    // through this interface.
    ~IPlatformImpl() = default;
};

#endif // VEXDEP_IPLATFORMIMPL_H
