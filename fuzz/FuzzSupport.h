#ifndef VEXDEP_FUZZSUPPORT_H
#define VEXDEP_FUZZSUPPORT_H

// Small helpers shared by the fuzz targets: a private scratch directory per
// process, switching into it for one input, writing files, and cutting an
// input in two.
//
// Every target runs each input inside its scratch directory, which holds only
// the files the target writes for that input. No "vexdebuglog" marker is ever
// written there, so the process-wide logger stays off.

#include "DeviceInfo.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vexfuzz
{
// The process's scratch directory (created on first use below
// $VEXDEP_FUZZ_TMPDIR, /dev/shm, $TMPDIR or /tmp, the first that serves;
// removed with its content at exit). Never ends in "/".
const std::string& ScratchDirectory();

// ScratchDirectory() + "/" + strName.
std::string ScratchPath(const std::string& strName);

// Writes strContent to strPath, replacing what was there. Aborts when the
// file cannot be written (the target could not test anything meaningful).
void WriteFileOrDie(const std::string& strPath, const std::string& strContent);

// Removes a file of the scratch directory if it is there.
void RemoveScratchFile(const std::string& strName);

// True when strText, read as a path (up to its first NUL), names something
// that exists. A reader that is given such a text reads that file instead of
// parsing the text, so the targets leave those inputs out: they would make a
// run depend on the machine.
bool NamesExistingPath(const std::string& strText);

// Switches the working directory to the scratch directory for the lifetime
// of the object and back afterwards.
class ScopedScratchCwd
{
public:
    ScopedScratchCwd();
    ~ScopedScratchCwd();
    ScopedScratchCwd(const ScopedScratchCwd&) = delete;
    ScopedScratchCwd& operator=(const ScopedScratchCwd&) = delete;

private:
    std::string m_strPrevious;
};

// The input as text.
inline std::string AsText(const uint8_t* pData, std::size_t nSize)
{
    return std::string(reinterpret_cast<const char*>(pData), nSize);
}

// Cuts the input at its first NUL byte: the part before it and the part
// after it (the second part is empty when there is no NUL).
std::pair<std::string, std::string> CutAtFirstNul(const uint8_t* pData, std::size_t nSize);

// Reads every field of a record (and of its companion records), so that a
// record that was freed or left half-built is noticed by the sanitizers.
// The returned number only keeps the reads from being optimised away.
std::size_t ReadWholeRecord(CDeviceInfo& record);
std::size_t ReadWholeRecords(const std::vector<CDeviceInfo*>& vRecords);

// Keeps a computed value alive.
void Consume(std::size_t nValue);
} // namespace vexfuzz

#endif // VEXDEP_FUZZSUPPORT_H
