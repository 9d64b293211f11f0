// CLinuxImpl: this process's standard output and standard error sent into
// files of their own for a while, and what was written to them read back.

#include "LinuxImpl.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// A file that no other process can find by name: created in the temporary
// directory ($TMPDIR, else /tmp, else /dev/shm) and unlinked at once. Opened
// for appending, so that every writer (this process and the commands it
// starts, through the same descriptor) writes at its end, also after it was
// emptied. -1 with the system's reason when none can be made.
int AnonymousFile(std::string& strError)
{
    const char* pszTmpDir = std::getenv("TMPDIR");
    const std::string astrDirectories[] = {pszTmpDir != nullptr ? pszTmpDir : "", "/tmp", "/dev/shm"};
    for (const std::string& strDirectory : astrDirectories)
    {
        if (strDirectory.empty())
        {
            continue;
        }
        std::string strTemplate = strDirectory + "/vexdep-streams-XXXXXX";
        const int nFd = mkostemp(&strTemplate[0], O_CLOEXEC | O_APPEND);
        if (nFd >= 0)
        {
            unlink(strTemplate.c_str());
            return nFd;
        }
        strError = "cannot create a file in " + strDirectory + ": " + std::strerror(errno);
    }
    return -1;
}

// Everything this process buffered for the two streams, written out.
void FlushStandardStreams()
{
    std::cout.flush();
    std::cerr.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}

// The first nKeepBytes of the file and its size; the file is emptied.
SCapturedStream TakeFile(int nFd, std::size_t nKeepBytes)
{
    SCapturedStream stream;
    struct stat st = {};
    if (nFd < 0 || fstat(nFd, &st) != 0)
    {
        return stream;
    }
    stream.nBytes = static_cast<uint64_t>(st.st_size);
    stream.strHead.resize(std::min<uint64_t>(stream.nBytes, nKeepBytes));
    std::size_t nRead = 0;
    while (nRead < stream.strHead.size())
    {
        const ssize_t nGot =
            pread(nFd, &stream.strHead[nRead], stream.strHead.size() - nRead, static_cast<off_t>(nRead));
        if (nGot < 0 && errno == EINTR)
        {
            continue;
        }
        if (nGot <= 0)
        {
            break;
        }
        nRead += static_cast<std::size_t>(nGot);
    }
    stream.strHead.resize(nRead);
    if (ftruncate(nFd, 0) != 0)
    {
        // Left as it is: the next take counts these bytes again.
        stream.nBytes = 0;
    }
    return stream;
}

void CloseIfOpen(int& nFd)
{
    if (nFd >= 0)
    {
        close(nFd);
        nFd = -1;
    }
}
} // namespace

bool CLinuxImpl::BeginStreamCapture(std::string& strError)
{
    if (m_nCaptureOut >= 0)
    {
        return true;
    }
    FlushStandardStreams();
    int nOut = AnonymousFile(strError);
    int nErr = nOut >= 0 ? AnonymousFile(strError) : -1;
    m_bCaptureDiscards = nErr < 0;
    if (m_bCaptureDiscards)
    {
        // Nowhere to keep it: what is written is dropped rather than let
        // into standard output, and the takes say so.
        CloseIfOpen(nOut);
        nOut = open("/dev/null", O_WRONLY | O_CLOEXEC);
        nErr = nOut >= 0 ? open("/dev/null", O_WRONLY | O_CLOEXEC) : -1;
    }
    int nSavedOut = nErr >= 0 ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3) : -1;
    int nSavedErr = nSavedOut >= 0 ? fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3) : -1;
    if (nSavedErr < 0 || dup2(nOut, STDOUT_FILENO) < 0 || dup2(nErr, STDERR_FILENO) < 0)
    {
        strError = std::strerror(errno);
        if (nSavedOut >= 0)
        {
            dup2(nSavedOut, STDOUT_FILENO);
        }
        if (nSavedErr >= 0)
        {
            dup2(nSavedErr, STDERR_FILENO);
        }
        CloseIfOpen(nOut);
        CloseIfOpen(nErr);
        CloseIfOpen(nSavedOut);
        CloseIfOpen(nSavedErr);
        return false;
    }
    m_nCaptureOut = nOut;
    m_nCaptureErr = nErr;
    m_nSavedOut = nSavedOut;
    m_nSavedErr = nSavedErr;
    return true;
}

void CLinuxImpl::TakeCapturedStreams(std::size_t nKeepBytes, SCapturedStream& out, SCapturedStream& err)
{
    FlushStandardStreams();
    out = TakeFile(m_nCaptureOut, nKeepBytes);
    err = TakeFile(m_nCaptureErr, nKeepBytes);
    out.bKept = err.bKept = !m_bCaptureDiscards;
}

void CLinuxImpl::EndStreamCapture()
{
    if (m_nCaptureOut < 0)
    {
        return;
    }
    FlushStandardStreams();
    dup2(m_nSavedOut, STDOUT_FILENO);
    dup2(m_nSavedErr, STDERR_FILENO);
    CloseIfOpen(m_nSavedOut);
    CloseIfOpen(m_nSavedErr);
    CloseIfOpen(m_nCaptureOut);
    CloseIfOpen(m_nCaptureErr);
}
