#ifndef VEXDEP_COLLECTOROUTPUTCAPTURE_H
#define VEXDEP_COLLECTOROUTPUTCAPTURE_H

#include "IPlatformImpl.h"

#include <cstddef>
#include <string>

// What one collector run wrote to its standard output and standard error:
// the first bytes of each and how many it wrote in all.
struct SCollectorOutput
{
    SCapturedStream out;
    SCapturedStream err;
};

// Keeps what the collectors write out of a document that a program parses.
// The collectors inherit this process's standard output and standard error;
// while a capture is on, both go into files of this process that no one
// else sees, and the machine-readable explanation (written after the run)
// is the only thing on standard output. Take() hands out what was written
// since the capture began or the last take: the checker runs one collector
// at a time, so a take right after each run holds that collector's output.
//
// Off (as for text meant for people), nothing changes: the collectors write
// where vexdepcheck's collectors write.
class CCollectorOutputCapture
{
public:
    // How much of each stream of each run is kept.
    static constexpr std::size_t nKeepBytes = 4096;

    explicit CCollectorOutputCapture(bool bOn);
    ~CCollectorOutputCapture();
    CCollectorOutputCapture(const CCollectorOutputCapture&) = delete;
    CCollectorOutputCapture& operator=(const CCollectorOutputCapture&) = delete;

    bool IsOn() const { return m_bOn; }
    // What was written since the capture began or the last take.
    SCollectorOutput Take();
    // Puts the streams back; the destructor does it too.
    void End();

private:
    bool m_bOn = false;
};

#endif // VEXDEP_COLLECTOROUTPUTCAPTURE_H
