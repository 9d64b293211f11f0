// The package reader, the plug-in configuration reader and the inventory
// reader read their files exactly as the XML library's file parser reads
// them: every document of the fuzz targets' corpora, as it is and compressed
// in every way the file parser decompresses (gzip, xz, LZMA-alone with
// several literal-context, literal-position and position bits, and streams
// cut short), is parsed once through xmlsupport::ParseFile and once by
// xmlParseFile itself; both give the same tree and the same messages on
// standard error, or the same failure with the same messages.

#include "TestSupport.h"
#include "XmlSupport.h"

#include <gtest/gtest.h>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <lzma.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using vextest::TempDir;

namespace
{
const std::string kCorpora = std::string(VEXDEP_SOURCE_DIR) + "/fuzz/corpus";

// The corpora whose inputs are documents the readers parse.
const char* const kDocumentCorpora[] = {"PackageReaderFuzzer", "PluginConfigFuzzer", "InventoryDocumentFuzzer",
                                        "EvaluationFuzzer"};

std::string Gzip(const std::string& strText)
{
    z_stream stream = {};
    // 16 + MAX_WBITS: a gzip header and trailer around the deflate stream.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    {
        return std::string();
    }
    std::string strOut(deflateBound(&stream, strText.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(strText.data()));
    stream.avail_in = static_cast<uInt>(strText.size());
    stream.next_out = reinterpret_cast<Bytef*>(&strOut[0]);
    stream.avail_out = static_cast<uInt>(strOut.size());
    deflate(&stream, Z_FINISH);
    strOut.resize(stream.total_out);
    deflateEnd(&stream);
    return strOut;
}

std::string RunEncoder(lzma_stream& stream, const std::string& strText)
{
    std::string strOut(strText.size() + strText.size() / 2 + 4096, '\0');
    stream.next_in = reinterpret_cast<const uint8_t*>(strText.data());
    stream.avail_in = strText.size();
    stream.next_out = reinterpret_cast<uint8_t*>(&strOut[0]);
    stream.avail_out = strOut.size();
    lzma_ret eResult = LZMA_OK;
    while (eResult == LZMA_OK)
    {
        eResult = lzma_code(&stream, LZMA_FINISH);
    }
    strOut.resize(eResult == LZMA_STREAM_END ? stream.total_out : 0);
    lzma_end(&stream);
    return strOut;
}

// LZMA settings for documents of a few kilobytes: a small dictionary keeps
// the encoder from allocating (and clearing) megabytes for each.
bool SmallDocumentOptions(lzma_options_lzma& options)
{
    if (lzma_lzma_preset(&options, 1))
    {
        return false;
    }
    options.dict_size = 1U << 16;
    return true;
}

std::string Xz(const std::string& strText)
{
    lzma_options_lzma options;
    if (!SmallDocumentOptions(options))
    {
        return std::string();
    }
    lzma_filter aFilters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    lzma_stream stream = LZMA_STREAM_INIT;
    if (lzma_stream_encoder(&stream, aFilters, LZMA_CHECK_CRC64) != LZMA_OK)
    {
        return std::string();
    }
    return RunEncoder(stream, strText);
}

// An LZMA-alone stream (the format of "xz --format=lzma"); its first byte
// encodes lc, lp and pb, so that other settings than the usual give other
// first bytes.
std::string LzmaAlone(const std::string& strText, uint32_t nLc, uint32_t nLp, uint32_t nPb)
{
    lzma_options_lzma options;
    if (!SmallDocumentOptions(options))
    {
        return std::string();
    }
    options.lc = nLc;
    options.lp = nLp;
    options.pb = nPb;
    lzma_stream stream = LZMA_STREAM_INIT;
    if (lzma_alone_encoder(&stream, &options) != LZMA_OK)
    {
        return std::string();
    }
    return RunEncoder(stream, strText);
}

struct SVariant
{
    std::string strName;
    std::string strBytes;
};

std::vector<SVariant> Variants(const std::string& strText)
{
    std::vector<SVariant> vVariants = {{"plain", strText}, {"gzip", Gzip(strText)}, {"xz", Xz(strText)}};
    const uint32_t aSettings[][3] = {{3, 0, 2}, {0, 0, 2}, {3, 0, 0}, {4, 0, 2}, {0, 2, 0}, {1, 1, 1}};
    for (const auto& setting : aSettings)
    {
        vVariants.push_back({"lzma lc=" + std::to_string(setting[0]) + " lp=" + std::to_string(setting[1]) +
                                 " pb=" + std::to_string(setting[2]),
                             LzmaAlone(strText, setting[0], setting[1], setting[2])});
    }
    // Streams cut short in the middle.
    const std::string strGzip = vVariants[1].strBytes;
    const std::string strXz = vVariants[2].strBytes;
    const std::string strLzma = vVariants[3].strBytes;
    vVariants.push_back({"gzip cut", strGzip.substr(0, strGzip.size() / 2)});
    vVariants.push_back({"xz cut", strXz.substr(0, strXz.size() / 2)});
    vVariants.push_back({"lzma cut", strLzma.substr(0, strLzma.size() / 2)});
    return vVariants;
}

// A document as the library writes it back, or "(none)".
std::string Serialized(xmlDoc* pDoc)
{
    if (pDoc == nullptr)
    {
        return "(none)";
    }
    xmlChar* pszText = nullptr;
    int nSize = 0;
    xmlDocDumpMemory(pDoc, &pszText, &nSize);
    std::string strText(reinterpret_cast<const char*>(pszText), static_cast<std::size_t>(nSize));
    xmlFree(pszText);
    return strText;
}

struct SParsed
{
    std::string strTree;
    std::string strMessages;
};

// What is written to descriptor 2 while it lives, kept in memory (a file
// truncated tens of thousands of times would be written out each time).
class CStandardErrorInMemory
{
public:
    CStandardErrorInMemory()
    {
        std::fflush(stderr);
        m_nSaved = dup(2);
        m_nMemory = memfd_create("stderr", MFD_CLOEXEC);
        dup2(m_nMemory, 2);
    }
    ~CStandardErrorInMemory() { Finish(); }
    CStandardErrorInMemory(const CStandardErrorInMemory&) = delete;
    CStandardErrorInMemory& operator=(const CStandardErrorInMemory&) = delete;

    std::string Finish()
    {
        std::string strText;
        if (m_nSaved >= 0)
        {
            std::fflush(stderr);
            dup2(m_nSaved, 2);
            close(m_nSaved);
            m_nSaved = -1;
            lseek(m_nMemory, 0, SEEK_SET);
            char szBuffer[4096];
            ssize_t nRead = 0;
            while ((nRead = read(m_nMemory, szBuffer, sizeof(szBuffer))) > 0)
            {
                strText.append(szBuffer, static_cast<std::size_t>(nRead));
            }
            close(m_nMemory);
        }
        return strText;
    }

private:
    int m_nSaved = -1;
    int m_nMemory = -1;
};

// What one way of parsing gives: the tree and what reached standard error.
template <typename Parse>
SParsed ParseCapturing(Parse parse)
{
    SParsed parsed;
    CStandardErrorInMemory capture;
    parsed.strTree = parse();
    parsed.strMessages = capture.Finish();
    return parsed;
}

// Writes a fresh file (an existing one is removed first rather than
// truncated).
void WriteFresh(const std::string& strPath, const std::string& strBytes)
{
    ::unlink(strPath.c_str());
    vextest::WriteFile(strPath, strBytes);
}
} // namespace

TEST(XmlParseDifferential, EveryCorpusDocumentAndItsCompressedFormsParseAsTheFileParserParsesThem)
{
    // The library's own loader of the document a parse starts from (the
    // readers put one of their own in its place, which refuses every other
    // load).
    const xmlExternalEntityLoader pLibraryLoader = xmlGetExternalEntityLoader();
    TempDir dir;
    const std::string strPath = dir.File("document.xml");
    std::size_t nDocuments = 0;
    std::size_t nCompared = 0;
    std::size_t nParsed = 0;
    for (const char* pszCorpus : kDocumentCorpora)
    {
        for (const std::string& strName : vextest::ListDirectory(kCorpora + "/" + pszCorpus))
        {
            if (!vextest::TakenInThisBuild(nDocuments++))
            {
                continue;
            }
            const std::string strText = vextest::ReadFile(kCorpora + "/" + pszCorpus + "/" + strName);
            for (const SVariant& variant : Variants(strText))
            {
                ASSERT_FALSE(variant.strBytes.empty() && !strText.empty()) << variant.strName << " of " << strName;
                WriteFresh(strPath, variant.strBytes);
                // Both ways under the same blank-node default, as the readers
                // parse.
                xmlsupport::SetKeepBlanksDefault(false);
                const SParsed ours = ParseCapturing([&]() {
                    xmlsupport::DocumentPtr pDoc = xmlsupport::ParseFile(strPath);
                    return Serialized(pDoc.get());
                });
                xmlsupport::SetKeepBlanksDefault(false);
                const SParsed library = ParseCapturing([&]() {
                    xmlSetExternalEntityLoader(pLibraryLoader);
                    xmlDoc* pDoc = xmlParseFile(strPath.c_str());
                    std::string strTree = Serialized(pDoc);
                    xmlFreeDoc(pDoc);
                    return strTree;
                });
                EXPECT_EQ(ours.strTree, library.strTree) << variant.strName << " of " << pszCorpus << "/" << strName;
                EXPECT_EQ(ours.strMessages, library.strMessages)
                    << variant.strName << " of " << pszCorpus << "/" << strName;
                ++nCompared;
                nParsed += ours.strTree != "(none)" ? 1 : 0;
            }
        }
    }
    // The corpora hold hundreds of documents, most of which parse.
    EXPECT_GT(nDocuments, 500u);
    EXPECT_GT(nParsed, nCompared / 4);
    xmlsupport::SetKeepBlanksDefault(true);
}
