#ifndef VEXDEP_GZIPCOMPRESSION_H
#define VEXDEP_GZIPCOMPRESSION_H

#include <string>

// Compresses bytes into one gzip member (no file name, modification time 0,
// so that the same bytes always compress the same).
class CGzipCompression
{
public:
    static bool Compress(const std::string& strInput, std::string& strOutput, std::string& strError);
};

#endif // VEXDEP_GZIPCOMPRESSION_H
