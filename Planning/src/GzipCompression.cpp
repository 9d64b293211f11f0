#include "GzipCompression.h"

#include <zlib.h>

#include <climits>

bool CGzipCompression::Compress(const std::string& strInput, std::string& strOutput, std::string& strError)
{
    if (strInput.size() > UINT_MAX / 2)
    {
        strError = "more than 2 GiB to compress";
        return false;
    }
    z_stream stream{};
    // 15 window bits, plus 16 for a gzip wrapper instead of zlib's.
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY) != Z_OK)
    {
        strError = "cannot set up the gzip compressor";
        return false;
    }
    strOutput.assign(deflateBound(&stream, strInput.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(strInput.data()));
    stream.avail_in = static_cast<uInt>(strInput.size());
    stream.next_out = reinterpret_cast<Bytef*>(&strOutput[0]);
    stream.avail_out = static_cast<uInt>(strOutput.size());
    const int nResult = deflate(&stream, Z_FINISH);
    strOutput.resize(stream.total_out);
    deflateEnd(&stream);
    if (nResult != Z_STREAM_END)
    {
        strError = "the gzip compressor failed";
        return false;
    }
    return true;
}
