// vexinspect lint: exit statuses, the text form and the JSON form.

#include "LintCommand.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace vextest;

namespace
{
SLintFinding Finding(const std::string& strCode, SLintFinding::ESeverity eSeverity, long nLine)
{
    SLintFinding finding;
    finding.strCode = strCode;
    finding.eSeverity = eSeverity;
    finding.strFile = "package.xml";
    finding.nLine = nLine;
    finding.strElement = "Dependency";
    finding.strMessage = "message of " + strCode;
    return finding;
}

const SLintFinding kWarning = Finding("context-never-applies", SLintFinding::ESeverity::Warning, 12);
const SLintFinding kError = Finding("missing-version", SLintFinding::ESeverity::Error, 7);
} // namespace

TEST(LintCommand, ExitStatusZeroCleanOneWarningsTwoErrors)
{
    EXPECT_EQ(CLintCommand::ExitStatus({}), 0);
    EXPECT_EQ(CLintCommand::ExitStatus({kWarning}), 1);
    EXPECT_EQ(CLintCommand::ExitStatus({kWarning, kWarning}), 1);
    EXPECT_EQ(CLintCommand::ExitStatus({kError}), 2);
    EXPECT_EQ(CLintCommand::ExitStatus({kWarning, kError}), 2);
}

TEST(LintCommand, TextForm)
{
    EXPECT_EQ(CLintCommand::ToText({}), "no findings\n");
    EXPECT_EQ(CLintCommand::ToText({kError, kWarning}),
              "package.xml:7: error: message of missing-version [missing-version]\n"
              "package.xml:12: warning: message of context-never-applies [context-never-applies]\n"
              "1 error, 1 warning\n");
    EXPECT_EQ(CLintCommand::ToText({kWarning, kWarning}),
              "package.xml:12: warning: message of context-never-applies [context-never-applies]\n"
              "package.xml:12: warning: message of context-never-applies [context-never-applies]\n"
              "0 errors, 2 warnings\n");
}

TEST(LintCommand, JsonForm)
{
    SLintFinding noElement = kError;
    noElement.strElement.clear();
    noElement.nLine = 0;
    const nlohmann::ordered_json json = CLintCommand::ToJson("/pkg", {kWarning, noElement});
    EXPECT_EQ(json["command"], "lint");
    EXPECT_EQ(json["packageDirectory"], "/pkg");
    ASSERT_EQ(json["findings"].size(), 2u);
    EXPECT_EQ(json["findings"][0]["code"], "context-never-applies");
    EXPECT_EQ(json["findings"][0]["severity"], "warning");
    EXPECT_EQ(json["findings"][0]["file"], "package.xml");
    EXPECT_EQ(json["findings"][0]["line"], 12);
    EXPECT_EQ(json["findings"][0]["element"], "Dependency");
    EXPECT_EQ(json["findings"][0]["message"], "message of context-never-applies");
    EXPECT_EQ(json["findings"][1]["severity"], "error");
    EXPECT_EQ(json["findings"][1]["line"], 0);
    EXPECT_TRUE(json["findings"][1]["element"].is_null());
    EXPECT_EQ(json["errors"], 1);
    EXPECT_EQ(json["warnings"], 1);
    EXPECT_EQ(json["exitStatus"], 2);
}

TEST(LintCommand, RunsOnADirectoryAndReportsAMissingOne)
{
    TempDir dir;
    WriteFile(dir.File("package.xml"), "<SoftwareComponent/>");
    SLintOptions options;
    options.strPackageDir = dir.Path();
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(CLintCommand(options).Run(out, err), 0);
    EXPECT_EQ(out.str(), "no findings\n");

    options.strPackageDir = dir.File("absent");
    std::ostringstream out2;
    std::ostringstream err2;
    EXPECT_EQ(CLintCommand(options).Run(out2, err2), CLintCommand::nExitUnusableInput);
    EXPECT_EQ(err2.str(), "vexinspect lint: the package directory " + dir.File("absent") + " does not exist\n");
    EXPECT_TRUE(out2.str().empty());
}

TEST(LintCommand, RunsInTheCurrentDirectoryByDefault)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    SLintOptions options;
    options.bJson = true;
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(CLintCommand(options).Run(out, err), 2);
    const nlohmann::json json = nlohmann::json::parse(out.str());
    EXPECT_EQ(json["packageDirectory"], ".");
    ASSERT_EQ(json["findings"].size(), 1u);
    EXPECT_EQ(json["findings"][0]["code"], "package-missing");
}
