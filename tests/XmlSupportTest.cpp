#include "TestSupport.h"
#include "XmlSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace xmlsupport;
using vextest::StderrCapture;
using vextest::TempDir;

namespace
{
xmlNode* Root(const DocumentPtr& pDoc) { return xmlDocGetRootElement(pDoc.get()); }

} // namespace

TEST(XmlSupport, ParsesFilesAndText)
{
    TempDir dir;
    vextest::WriteFile(dir.File("a.xml"), "<r><c/></r>");
    DocumentPtr pFromFile = ParseFile(dir.File("a.xml"));
    ASSERT_TRUE(pFromFile);
    EXPECT_TRUE(NameIs(Root(pFromFile), "r"));
    DocumentPtr pFromText = ParseMemory("<SVMInventory/>");
    ASSERT_TRUE(pFromText);
    EXPECT_TRUE(NameIs(Root(pFromText), "SVMInventory"));
}

TEST(XmlSupport, UnreadableOrMalformedInputGivesNull)
{
    TempDir dir;
    vextest::WriteFile(dir.File("empty.xml"), "");
    vextest::WriteFile(dir.File("truncated.xml"), "<r><c attr=\"x");
    vextest::WriteFile(dir.File("text.xml"), "this is not xml");
    vextest::MakeDirectory(dir.File("directory.xml"));
    EXPECT_FALSE(ParseFile(dir.File("missing.xml")));
    EXPECT_FALSE(ParseFile(dir.File("empty.xml")));
    EXPECT_FALSE(ParseFile(dir.File("truncated.xml")));
    EXPECT_FALSE(ParseFile(dir.File("text.xml")));
    EXPECT_FALSE(ParseFile(dir.File("directory.xml")));
    EXPECT_FALSE(ParseMemory(""));
    EXPECT_FALSE(ParseMemory("<a><b></a>"));
}

// The XML library's own messages reach standard error as its default
// handler writes them, once for every parse.
TEST(XmlSupport, ParseMessagesGoToStandardErrorAsTheLibraryWritesThem)
{
    TempDir dir;
    vextest::WriteFile(dir.File("text.xml"), "this is not xml");
    const std::string strText = dir.File("text.xml");
    {
        StderrCapture capture(dir.File("stderr"));
        EXPECT_FALSE(ParseMemory("<a><b></a>"));
        EXPECT_FALSE(ParseFile(strText));
        EXPECT_FALSE(ParseFile(strText));
        EXPECT_FALSE(ParseFile(dir.File("missing.xml")));
        // A document that parses can draw messages too.
        EXPECT_TRUE(ParseMemory("<!DOCTYPE a SYSTEM \"http://example.invalid/a.dtd\"><a>&undefined;</a>"));
        // An empty text is refused by the memory parser without a word.
        EXPECT_FALSE(ParseMemory(""));
    }
    const std::string strFileError = strText + ":1: parser error : Start tag expected, '<' not found\n"
                                               "this is not xml\n^\n";
    EXPECT_EQ(vextest::ReadFile(dir.File("stderr")),
              "Entity: line 1: parser error : Opening and ending tag mismatch: b line 1 and a\n<a><b></a>\n"
              "          ^\n"
              "Entity: line 1: parser error : Premature end of data in tag a line 1\n<a><b></a>\n          ^\n" +
                  strFileError + strFileError + "I/O warning : failed to load external entity \"" +
                  dir.File("missing.xml") +
                  "\"\n"
                  "Entity: line 1: parser error : Entity 'undefined' not defined\n"
                  "<!DOCTYPE a SYSTEM \"http://example.invalid/a.dtd\"><a>&undefined;</a>\n"
                  "                                                                ^\n");
}

namespace
{
class CKeptMessages : public IParserMessageSink
{
public:
    void Write(const std::string& strMessages) override { m_strKept += strMessages; }
    std::string m_strKept;
};
} // namespace

// A tool that presents the messages itself takes them through a sink:
// nothing is printed. Each parse also hands its own messages back.
TEST(XmlSupport, ASinkTakesTheMessagesInsteadOfStandardError)
{
    TempDir dir;
    CKeptMessages kept;
    std::string strMessages;
    {
        StderrCapture capture(dir.File("stderr"));
        EXPECT_EQ(SetParserMessageSink(&kept), nullptr);
        EXPECT_FALSE(ParseMemory("<a><b></a>", &strMessages));
        EmitParserMessages(strMessages);
        EXPECT_EQ(SetParserMessageSink(nullptr), &kept);
    }
    EXPECT_EQ(vextest::ReadFile(dir.File("stderr")), "");
    EXPECT_NE(strMessages.find("Opening and ending tag mismatch"), std::string::npos) << strMessages;
    // The parse's own delivery, then the replay.
    EXPECT_EQ(kept.m_strKept, strMessages + strMessages);
}

// A named pipe or a device is never handed to the parser: nothing waits,
// nothing is read, nothing is said.
TEST(XmlSupport, APipeOrADeviceIsNoDocumentAndDrawsNoMessage)
{
    TempDir dir;
    ASSERT_EQ(mkfifo(dir.File("pipe.xml").c_str(), 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", dir.File("zero.xml").c_str()), 0);
    std::string strMessages = "left over";
    {
        StderrCapture capture(dir.File("stderr"));
        EXPECT_FALSE(ParseFile(dir.File("pipe.xml"), &strMessages));
        EXPECT_EQ(strMessages, "");
        EXPECT_FALSE(ParseFile(dir.File("zero.xml")));
    }
    EXPECT_EQ(vextest::ReadFile(dir.File("stderr")), "");
}

// Names that the library's file loader would take for standard input or a
// document on the network are read as the plain files they name; names that
// begin with "file:" are read as the library reads them.
TEST(XmlSupport, NamesTheLibraryWouldTakeForAStreamOrANetworkURLAreReadAsFiles)
{
    TempDir dir;
    vextest::MakeDirectory(dir.File("http:"));
    vextest::WriteFile(dir.File("-"), "<dash/>");
    vextest::WriteFile(dir.File("http:/host.xml"), "<host/>");
    vextest::WriteFile(dir.File("plain.xml"), "<plain/>");
    vextest::ScopedCwd cwd(dir.Path());
    std::string strMessages;
    DocumentPtr pDash = ParseFile("-", &strMessages);
    ASSERT_TRUE(pDash) << strMessages;
    EXPECT_TRUE(NameIs(Root(pDash), "dash"));
    DocumentPtr pHost = ParseFile("http://host.xml");
    ASSERT_TRUE(pHost);
    EXPECT_TRUE(NameIs(Root(pHost), "host"));
    DocumentPtr pPlain = ParseFile("file://" + dir.File("plain.xml"));
    ASSERT_TRUE(pPlain);
    EXPECT_TRUE(NameIs(Root(pPlain), "plain"));
}

TEST(XmlSupport, BlankTextNodesFollowTheProcessWideDefault)
{
    const std::string strText = "<r>\n  <c/>\n</r>";
    SetKeepBlanksDefault(true);
    DocumentPtr pKept = ParseMemory(strText);
    ASSERT_TRUE(pKept);
    EXPECT_EQ(Root(pKept)->children->type, XML_TEXT_NODE);

    SetKeepBlanksDefault(false);
    DocumentPtr pDropped = ParseMemory(strText);
    ASSERT_TRUE(pDropped);
    EXPECT_EQ(Root(pDropped)->children->type, XML_ELEMENT_NODE);
    EXPECT_TRUE(NameIs(Root(pDropped)->children, "c"));
    SetKeepBlanksDefault(true);
}

namespace
{
// Compresses strPath in place with the given command ("gzip -c",
// "xz -c", "xz -c --format=lzma"); false when the tool is not there.
bool CompressInPlace(const std::string& strCommand, const std::string& strPath)
{
    const vextest::CommandResult result =
        vextest::RunCommand({"/bin/sh", "-c", strCommand + " \"$0\" > \"$0.z\" && mv \"$0.z\" \"$0\"", strPath}, "/");
    return result.nExitStatus == 0;
}
} // namespace

namespace
{
// A document whose entities name a named pipe and a secret file; with
// bCompress, written gzip-compressed. An attempt to load the pipe hangs the
// test instead of passing it.
void ExpectExternalEntitiesNeverOpened(bool bCompress)
{
    TempDir dir;
    const std::string strFifo = dir.File("secret-pipe");
    ASSERT_EQ(mkfifo(strFifo.c_str(), 0600), 0);
    vextest::WriteFile(dir.File("secret.txt"), "TOP-SECRET-CONTENT");
    const std::string strDoc = "<?xml version=\"1.0\"?>\n"
                               "<!DOCTYPE r [\n"
                               "  <!ENTITY pipe SYSTEM \"file://" +
                               strFifo +
                               "\">\n"
                               "  <!ENTITY secret SYSTEM \"file://" +
                               dir.File("secret.txt") +
                               "\">\n"
                               "  <!ENTITY % param SYSTEM \"file://" +
                               strFifo +
                               "\">\n"
                               "  %param;\n"
                               "]>\n"
                               "<r a=\"x\"><t>&secret;</t><p>&pipe;</p></r>";
    vextest::WriteFile(dir.File("package.xml"), strDoc);
    if (bCompress && !CompressInPlace("gzip -c", dir.File("package.xml")))
    {
        GTEST_SKIP() << "gzip is not available here";
    }
    DocumentPtr pDoc = ParseFile(dir.File("package.xml"));
    if (bCompress)
    {
        ASSERT_TRUE(pDoc);
    }
    if (pDoc)
    {
        xmlNode* pRoot = xmlDocGetRootElement(pDoc.get());
        ASSERT_NE(pRoot, nullptr);
        for (xmlNode* pChild = pRoot->children; pChild != nullptr; pChild = pChild->next)
        {
            const char* pszText = FirstChildContent(pChild);
            EXPECT_TRUE(pszText == nullptr || std::string(pszText).find("TOP-SECRET") == std::string::npos);
            xmlChar* pszAll = xmlNodeGetContent(pChild);
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(pszAll)).find("TOP-SECRET"), std::string::npos);
            xmlFree(pszAll);
        }
    }
}
} // namespace

TEST(XmlSupport, ExternalEntitiesAreNeverOpened) { ExpectExternalEntitiesNeverOpened(false); }

TEST(XmlSupport, ExternalEntitiesOfACompressedDocumentAreNeverOpened) { ExpectExternalEntitiesNeverOpened(true); }

TEST(XmlSupport, EntityExpansionBombEndsQuicklyWithBoundedMemory)
{
    const std::string strDoc = vextest::EntityBombPrologue("r") + "<r a=\"&e12;\">&e12;</r>";
    const auto tStart = std::chrono::steady_clock::now();
    DocumentPtr pDoc = ParseMemory(strDoc);
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
    EXPECT_LT(dSeconds, 5.0);
    if (pDoc)
    {
        // Entities are never substituted: the attribute holds no expansion.
        const char* pszValue = AttributeValue(xmlDocGetRootElement(pDoc.get()), "a");
        EXPECT_TRUE(pszValue == nullptr || std::strlen(pszValue) < 1000);
    }
}

TEST(XmlSupport, DeeplyNestedDocumentIsRefused) { EXPECT_FALSE(ParseMemory(vextest::NestedElements("d", 5000))); }

TEST(XmlSupport, EvaluateReportsEachOutcome)
{
    DocumentPtr pDoc = ParseMemory("<r><c n=\"1\"/><c n=\"2\"/></r>");
    ASSERT_TRUE(pDoc);
    EvalStatus eStatus = EvalStatus::Empty;
    NodeSetPtr pResult = Evaluate(pDoc.get(), "//r/c", eStatus);
    EXPECT_EQ(eStatus, EvalStatus::Ok);
    ASSERT_TRUE(pResult);
    EXPECT_EQ(NodeCount(pResult.get()), 2u);
    EXPECT_STREQ(AttributeValue(NodeAt(pResult.get(), 1), "n"), "2");
    EXPECT_EQ(NodeAt(pResult.get(), 2), nullptr);

    EXPECT_FALSE(Evaluate(pDoc.get(), "//nothing", eStatus));
    EXPECT_EQ(eStatus, EvalStatus::Empty);
    // A non-node-set result counts as empty.
    EXPECT_FALSE(Evaluate(pDoc.get(), "count(//c)", eStatus));
    EXPECT_EQ(eStatus, EvalStatus::Empty);
    EXPECT_FALSE(Evaluate(pDoc.get(), "//c[", eStatus));
    EXPECT_EQ(eStatus, EvalStatus::EvalFailed);
    EXPECT_FALSE(Evaluate(pDoc.get(), static_cast<const char*>(nullptr), eStatus));
    EXPECT_EQ(eStatus, EvalStatus::EvalFailed);
    // Without a document every path selects nothing.
    EXPECT_FALSE(Evaluate(nullptr, "//r/c", eStatus));
    EXPECT_EQ(eStatus, EvalStatus::Empty);
    EXPECT_EQ(NodeCount(nullptr), 0u);
    EXPECT_EQ(NodeAt(nullptr, 0), nullptr);
}

TEST(XmlSupport, AttributeValuesTreatEmptyAsAbsent)
{
    DocumentPtr pDoc = ParseMemory("<r full=\"v\" empty=\"\" amp=\"a&amp;b\" blank=\" \"><c/></r>");
    ASSERT_TRUE(pDoc);
    xmlNode* pRoot = Root(pDoc);
    EXPECT_STREQ(AttributeValue(pRoot, "full"), "v");
    EXPECT_EQ(AttributeValue(pRoot, "empty"), nullptr);
    EXPECT_EQ(AttributeValue(pRoot, "missing"), nullptr);
    EXPECT_EQ(AttributeValue(pRoot, "FULL"), nullptr) << "attribute names are case-sensitive";
    EXPECT_STREQ(AttributeValue(pRoot, "amp"), "a&b");
    EXPECT_STREQ(AttributeValue(pRoot, "blank"), " ");
    EXPECT_EQ(AttributeValue(nullptr, "full"), nullptr);
    EXPECT_EQ(AttributeValue(pRoot, nullptr), nullptr);
}

TEST(XmlSupport, FirstChildContentIsTheFirstChildNodesContent)
{
    SetKeepBlanksDefault(false);
    DocumentPtr pDoc = ParseMemory("<r><t>text</t><e><x/>after</e><m><!--note-->text</m><n/></r>");
    SetKeepBlanksDefault(true);
    ASSERT_TRUE(pDoc);
    xmlNode* pT = Root(pDoc)->children;
    xmlNode* pE = pT->next;
    xmlNode* pM = pE->next;
    xmlNode* pN = pM->next;
    EXPECT_STREQ(FirstChildContent(pT), "text");
    EXPECT_EQ(FirstChildContent(pE), nullptr) << "an element comes first";
    EXPECT_STREQ(FirstChildContent(pM), "note") << "a comment comes first";
    EXPECT_EQ(FirstChildContent(pN), nullptr);
    EXPECT_EQ(FirstChildContent(nullptr), nullptr);
}

TEST(XmlSupport, NameComparisons)
{
    DocumentPtr pDoc = ParseMemory("<SoftDependency/>");
    ASSERT_TRUE(pDoc);
    xmlNode* pRoot = Root(pDoc);
    EXPECT_TRUE(NameEquals(pRoot, "softdependency"));
    EXPECT_TRUE(NameEquals(pRoot, "SOFTDEPENDENCY"));
    EXPECT_FALSE(NameEquals(pRoot, "SoftDependenc"));
    EXPECT_TRUE(NameIs(pRoot, "SoftDependency"));
    EXPECT_FALSE(NameIs(pRoot, "softdependency"));
    EXPECT_FALSE(NameEquals(nullptr, "x"));
    EXPECT_FALSE(NameIs(pRoot, nullptr));
}

TEST(XmlSupport, ParsingWorksAgainAfterTheGlobalCleanUp)
{
    DocumentPtr pFirst = ParseMemory("<a/>");
    ASSERT_TRUE(pFirst);
    pFirst.reset();
    CleanupParser();
    DocumentPtr pSecond = ParseMemory("<b><c/></b>");
    ASSERT_TRUE(pSecond);
    EvalStatus eStatus;
    EXPECT_TRUE(Evaluate(pSecond.get(), "//b/c", eStatus));
    CleanupParser();
}

TEST(XmlSupport, ParseStampTellsWhetherTheFileOrTheBlankDefaultChanged)
{
    TempDir dir;
    const std::string strPath = dir.File("package.xml");
    vextest::WriteFile(strPath, "<a><b/></a>");
    SetKeepBlanksDefault(false);
    SParseStamp stamp;
    DocumentPtr pDoc = ParseFile(strPath, stamp);
    ASSERT_TRUE(pDoc);
    EXPECT_TRUE(stamp.bValid);
    EXPECT_TRUE(IsUnchanged(strPath, stamp));

    // The blank-node default is part of what was parsed.
    SetKeepBlanksDefault(true);
    EXPECT_FALSE(IsUnchanged(strPath, stamp));
    SetKeepBlanksDefault(false);
    EXPECT_TRUE(IsUnchanged(strPath, stamp));

    // Same size, new content: the change time moves.
    vextest::WriteFile(strPath, "<a><c/></a>");
    EXPECT_FALSE(IsUnchanged(strPath, stamp));
    pDoc = ParseFile(strPath, stamp);
    EXPECT_TRUE(IsUnchanged(strPath, stamp));

    // A file replaced by another one.
    vextest::WriteFile(dir.File("other.xml"), "<a><c/></a>");
    ASSERT_EQ(std::rename(dir.File("other.xml").c_str(), strPath.c_str()), 0);
    EXPECT_FALSE(IsUnchanged(strPath, stamp));

    SParseStamp missing;
    EXPECT_FALSE(ParseFile(dir.File("missing.xml"), missing));
    EXPECT_FALSE(missing.bValid);
    EXPECT_FALSE(IsUnchanged(dir.File("missing.xml"), missing));
    SetKeepBlanksDefault(true);
}

// A document is only ever read from a regular file: a package could carry a
// named pipe (which nobody writes) or a link to an endless device in place
// of a document. Neither may block or exhaust the reader.
TEST(XmlSupport, OnlyRegularFilesAreReadAsDocuments)
{
    TempDir dir;
    const std::string strFifo = dir.File("pipe.xml");
    ASSERT_EQ(mkfifo(strFifo.c_str(), 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", dir.File("zero.xml").c_str()), 0);
    vextest::WriteFile(dir.File("real.xml"), "<r/>");
    ASSERT_EQ(symlink(dir.File("real.xml").c_str(), dir.File("link.xml").c_str()), 0);

    const auto tStart = std::chrono::steady_clock::now();
    EXPECT_FALSE(ParseFile(strFifo));
    EXPECT_FALSE(ParseFile(dir.File("zero.xml")));
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(5));
    // A link to a regular file is read as that file.
    DocumentPtr pLinked = ParseFile(dir.File("link.xml"));
    ASSERT_TRUE(pLinked);
    EXPECT_TRUE(NameIs(Root(pLinked), "r"));
}

// A compressed document is read as libxml2's file parser reads it: gzip,
// xz and LZMA streams are decompressed.
namespace
{
struct Compression
{
    const char* pszName;
    const char* pszCommand;
};

void PrintTo(const Compression& compression, std::ostream* pOut) { *pOut << compression.pszCommand; }

class CompressedFiles : public ::testing::TestWithParam<Compression>
{
};
} // namespace

TEST_P(CompressedFiles, AreDecompressed)
{
    const char* pszCommand = GetParam().pszCommand;
    TempDir dir;
    const std::string strPath = dir.File("doc.xml");
    vextest::WriteFile(strPath, "<?xml version=\"1.0\"?>\n<r><c a=\"1\"/></r>\n");
    if (!CompressInPlace(pszCommand, strPath))
    {
        GTEST_SKIP() << pszCommand << " is not available here";
    }
    ASSERT_NE(vextest::ReadFile(strPath).find("<r>"), 0u);
    DocumentPtr pDoc = ParseFile(strPath);
    ASSERT_TRUE(pDoc);
    EXPECT_TRUE(NameIs(Root(pDoc), "r"));
    EvalStatus eStatus = EvalStatus::Empty;
    EXPECT_TRUE(Evaluate(pDoc.get(), "/r/c[@a = \"1\"]", eStatus));
    SParseStamp stamp;
    EXPECT_TRUE(ParseFile(strPath, stamp));
    EXPECT_TRUE(IsUnchanged(strPath, stamp));
}

INSTANTIATE_TEST_SUITE_P(XmlSupport, CompressedFiles,
                         ::testing::Values(Compression{"Gzip", "gzip -c"}, Compression{"Xz", "xz -c"},
                                           Compression{"Lzma", "xz -c --format=lzma"}),
                         [](const ::testing::TestParamInfo<Compression>& info) {
                             return std::string(info.param.pszName);
                         });

TEST(XmlSupport, CorruptOrTruncatedCompressedFilesGiveNull)
{
    TempDir dir;
    const std::string strPath = dir.File("doc.xml");
    std::string strBody = "<r>";
    for (int i = 0; i < 2000; ++i)
    {
        strBody += "<c n=\"" + std::to_string(i) + "\"/>";
    }
    strBody += "</r>";
    vextest::WriteFile(strPath, strBody);
    if (!CompressInPlace("gzip -c", strPath))
    {
        GTEST_SKIP() << "gzip is not available here";
    }
    const std::string strCompressed = vextest::ReadFile(strPath);
    vextest::WriteFile(strPath, strCompressed.substr(0, strCompressed.size() / 2));
    EXPECT_FALSE(ParseFile(strPath));
    vextest::WriteFile(strPath, std::string("\x1f\x8b\x08", 3) + std::string(64, '\xee'));
    EXPECT_FALSE(ParseFile(strPath));
    vextest::WriteFile(strPath, std::string("\xfd"
                                            "7zXZ",
                                            5) +
                                    std::string(64, '\0'));
    EXPECT_FALSE(ParseFile(strPath));
}

// Text handed over in memory (the inventory text) is never decompressed.
TEST(XmlSupport, CompressedTextInMemoryIsNotDecompressed)
{
    TempDir dir;
    const std::string strPath = dir.File("doc.xml");
    vextest::WriteFile(strPath, "<r/>");
    if (!CompressInPlace("gzip -c", strPath))
    {
        GTEST_SKIP() << "gzip is not available here";
    }
    EXPECT_FALSE(ParseMemory(vextest::ReadFile(strPath)));
    EXPECT_TRUE(ParseFile(strPath));
}

TEST(XmlSupport, DiagnosedParseGivesTheParsersMessagesWithLineAndColumnAndPrintsNothingItself)
{
    TempDir dir;
    vextest::WriteFile(dir.File("good.xml"), "<?xml version=\"1.0\"?>\n<r><c a=\"1\"/></r>\n");
    vextest::WriteFile(dir.File("bad.xml"), "<r>\n  <c a=\"1\" a=\"2\"/>\n</r>\n");
    vextest::WriteFile(dir.File("warned.xml"), "<!DOCTYPE r SYSTEM \"r.dtd\">\n<r>\n<c>&undeclared;</c>\n</r>\n");
    vextest::MakeDirectory(dir.File("directory.xml"));
    {
        StderrCapture capture(dir.File("stderr"));

        SDiagnosedParse good = ParseFileWithDiagnostics(dir.File("good.xml"));
        ASSERT_TRUE(good.pDocument);
        EXPECT_TRUE(NameIs(Root(good.pDocument), "r"));
        EXPECT_TRUE(good.vDiagnostics.empty());

        SDiagnosedParse bad = ParseFileWithDiagnostics(dir.File("bad.xml"));
        EXPECT_FALSE(bad.pDocument);
        ASSERT_FALSE(bad.vDiagnostics.empty());
        EXPECT_EQ(bad.vDiagnostics[0].nLine, 2);
        EXPECT_GT(bad.vDiagnostics[0].nColumn, 0);
        EXPECT_EQ(bad.vDiagnostics[0].eLevel, SParseDiagnostic::ELevel::Fatal);
        EXPECT_EQ(bad.vDiagnostics[0].strMessage, "Attribute a redefined");
        EXPECT_EQ(bad.vDiagnostics[0].nCode, XML_ERR_ATTRIBUTE_REDEFINED);

        // A document that parses with a complaint: the document and the
        // complaint, at the reference.
        SDiagnosedParse warned = ParseFileWithDiagnostics(dir.File("warned.xml"));
        ASSERT_TRUE(warned.pDocument);
        ASSERT_EQ(warned.vDiagnostics.size(), 1u);
        EXPECT_EQ(warned.vDiagnostics[0].nLine, 3);
        // "<c>&undeclared;</c>": the reference starts at column 4; the
        // parser names a column at or just past its end (16 or 17, as the
        // libxml2 release has it).
        EXPECT_GE(warned.vDiagnostics[0].nColumn, 4);
        EXPECT_LE(warned.vDiagnostics[0].nColumn, 17);
        EXPECT_NE(warned.vDiagnostics[0].strMessage.find("'undeclared'"), std::string::npos);
        EXPECT_NE(warned.vDiagnostics[0].eLevel, SParseDiagnostic::ELevel::Fatal);

        for (const char* pszName : {"missing.xml", "directory.xml"})
        {
            SDiagnosedParse unread = ParseFileWithDiagnostics(dir.File(pszName));
            EXPECT_FALSE(unread.pDocument) << pszName;
            ASSERT_EQ(unread.vDiagnostics.size(), 1u) << pszName;
            EXPECT_EQ(unread.vDiagnostics[0].nLine, 0) << pszName;
            EXPECT_EQ(unread.vDiagnostics[0].eLevel, SParseDiagnostic::ELevel::Fatal) << pszName;
        }

        // The messages are collected only during the diagnosed parse: the
        // plain one writes them where the library's default handler does.
        EXPECT_FALSE(ParseFile(dir.File("bad.xml")));
    }
    EXPECT_EQ(vextest::ReadFile(dir.File("stderr")),
              dir.File("bad.xml") + ":2: parser error : Attribute a redefined\n  <c a=\"1\" a=\"2\"/>\n"
                                    "                ^\n");
}

TEST(XmlSupport, DiagnosedParseOfACompressedFileGivesItsMessages)
{
    TempDir dir;
    const std::string strPath = dir.File("doc.xml");
    vextest::WriteFile(strPath, "<r>\n<c>\n</r>\n");
    if (!CompressInPlace("gzip -c", strPath))
    {
        GTEST_SKIP() << "gzip is not available here";
    }
    SDiagnosedParse parse = ParseFileWithDiagnostics(strPath);
    EXPECT_FALSE(parse.pDocument);
    ASSERT_FALSE(parse.vDiagnostics.empty());
    EXPECT_EQ(parse.vDiagnostics[0].nLine, 3);
    EXPECT_NE(parse.vDiagnostics[0].strMessage.find("mismatch"), std::string::npos) << parse.vDiagnostics[0].strMessage;
}
