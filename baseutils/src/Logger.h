#ifndef VEXDEP_LOGGER_H
#define VEXDEP_LOGGER_H

#include <cstddef>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// Name of the marker file: debug logging is switched on only when a file of
// this name exists in the current working directory.
extern const std::string strEnableLogFileName;
// Log file used by the package reader and the SMBIOS reader when they switch
// logging on.
extern const std::string strBaseUtilsLogFileName;

// One written log line, without its time stamp.
struct SLogRecord
{
    std::string strFile;
    unsigned int nLine = 0;
    std::string strMessage;
};

class CLogRecorder;
class CLogSilencer;

// The program's only diagnostic channel: a process-wide singleton that
// appends time-stamped lines to one file. Off until Initialize opens a file;
// while off, every call returns at once and writes nothing.
class CLogger
{
public:
    static CLogger* GetInstance();

    // Opens strPath for writing (truncating it) unless already initialised.
    // Returns the previous value of the initialised flag: a first,
    // successful opening yields false.
    bool Initialize(const std::string& strPath);

    // The part of strPath after its last '/', or the whole text.
    std::string getFileName(const std::string& strPath);

    void log(const char* pszFile, unsigned int nLine, const std::string& strMessage);
    // Logs the stream's text, then empties the stream and clears its state.
    void log(const char* pszFile, unsigned int nLine, std::ostringstream& ossMessage);

    bool IsInitialized() const { return m_bInitialized; }
    // On and still writing: false once the log stopped to leave the
    // file system's last free space to the collectors (see below).
    bool IsWriting() const { return m_bInitialized && !m_bStopped; }

    // The free space the log leaves on its file system. Before its first
    // line and again after every nFreeSpaceCheckBytes bytes written, the
    // logger asks for the free space of the log file's file system; when
    // it is below nFreeSpaceReserve, one last line says so and the log
    // stops: the collectors, whose output documents decide the verdict,
    // keep the space. With less than nFreeSpaceForLastLine free, even that
    // line is left out (on a tmpfs it would take a whole page that a
    // collector's document may need). A debug log never changes a verdict.
    static constexpr unsigned long long nFreeSpaceReserve = 1024ULL * 1024ULL;
    static constexpr unsigned long long nFreeSpaceCheckBytes = 16ULL * 1024ULL;
    static constexpr unsigned long long nFreeSpaceForLastLine = 64ULL * 1024ULL;

    // The question asked for the free space: bytes this process can really
    // use on the file system that holds strPath, or -1 when it cannot be
    // told (the log then goes on). The default asks statvfs for the space
    // unprivileged writers may use and, when the blocks the file system
    // keeps in reserve for privileged writers decide the answer, measures
    // whether this process can write into them (root in the initial user
    // namespace can, root in another user namespace cannot); tests put their
    // own question in place (null restores the default).
    using FreeSpaceQuery = long long (*)(const std::string& strPath);
    static void SetFreeSpaceQuery(FreeSpaceQuery pQuery);

    // Writes the lines again, each with a fresh time stamp, exactly as their
    // original calls wrote them. Work whose result is known can so be done
    // once while its log reads as if it had been done each time.
    void Replay(const std::vector<SLogRecord>& vRecords);

private:
    friend class CLogRecorder;
    friend class CLogSilencer;

    CLogger();
    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;

    void WriteLine(const char* pszFile, unsigned int nLine, const std::string& strMessage);
    void WriteFormatted(const char* pszFile, unsigned int nLine, const std::string& strMessage);
    // Whether the reserve is still free; stops the log after its last line
    // when it is not.
    bool KeepsTheReserve();

    std::string m_strFileName;
    std::ofstream m_ofsLog;
    bool m_bInitialized;
    CLogRecorder* m_pRecorder;
    int m_nSilencers;
    // The formatted time stamp of the second tStamp.
    std::time_t m_tStamp;
    std::string m_strStamp;
    // The log file's absolute path, for the free-space question (the
    // checker changes its working directory while it runs collectors).
    std::string m_strSpacePath;
    bool m_bCheckSpace;
    bool m_bStopped;
    // Bytes written since the free space was last asked for.
    unsigned long long m_nSinceCheck;

    static CLogger* m_ptrInstance;
    static FreeSpaceQuery m_pFreeSpaceQuery;
};

// Records every line the logger writes while it lives (nothing while the
// logger is off). Recorders nest: an inner one records for the outer too.
class CLogRecorder
{
public:
    CLogRecorder();
    ~CLogRecorder();
    CLogRecorder(const CLogRecorder&) = delete;
    CLogRecorder& operator=(const CLogRecorder&) = delete;

    const std::vector<SLogRecord>& Records() const { return m_vRecords; }

private:
    friend class CLogger;

    std::vector<SLogRecord> m_vRecords;
    CLogRecorder* m_pOuter;
};

namespace vexlog
{
// A source file's name without directory and extension, computed at compile
// time from __FILE__ ("src/LinuxImpl.cpp" gives "LinuxImpl").
template <std::size_t N>
struct SourceName
{
    char text[N] = {};
};

template <std::size_t N>
constexpr SourceName<N> MakeSourceName(const char (&path)[N])
{
    std::size_t begin = 0;
    std::size_t end = N - 1;
    for (std::size_t i = 0; i + 1 < N; ++i)
    {
        if (path[i] == '/')
        {
            begin = i + 1;
            end = N - 1;
        }
        else if (path[i] == '.')
        {
            end = i;
        }
    }
    SourceName<N> name;
    for (std::size_t i = begin; i < end; ++i)
    {
        name.text[i - begin] = path[i];
    }
    return name;
}
} // namespace vexlog

// The calling source file's name as the log shows it.
#define VEXLOG_SOURCE                                                                                                  \
    ([]() -> const char* {                                                                                             \
        static constexpr auto kSourceName = vexlog::MakeSourceName(__FILE__);                                          \
        return kSourceName.text;                                                                                       \
    }())

// Logs one message with the caller's source file and line. The message
// expression is evaluated only while logging is on.
#define VEXLOG(message)                                                                                                \
    do                                                                                                                 \
    {                                                                                                                  \
        CLogger* pVexLogger_ = CLogger::GetInstance();                                                                 \
        if (pVexLogger_->IsWriting())                                                                                  \
            pVexLogger_->log(VEXLOG_SOURCE, __LINE__, (message));                                                      \
    } while (0)

// VEXLOG for places that must not throw: a failure to build or write the
// line (memory exhausted) is swallowed.
#define VEXLOG_NOTHROW(message)                                                                                        \
    do                                                                                                                 \
    {                                                                                                                  \
        try                                                                                                            \
        {                                                                                                              \
            VEXLOG(message);                                                                                           \
        }                                                                                                              \
        catch (...)                                                                                                    \
        {                                                                                                              \
        }                                                                                                              \
    } while (0)

// While it lives, lines are recorded by any recorder but not written: for
// work done once only to learn what it logs, whose lines are then replayed
// where the work would have taken place.
class CLogSilencer
{
public:
    CLogSilencer();
    ~CLogSilencer();
    CLogSilencer(const CLogSilencer&) = delete;
    CLogSilencer& operator=(const CLogSilencer&) = delete;
};

#endif // VEXDEP_LOGGER_H
