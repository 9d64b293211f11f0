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
    SLintFinding parsed = kError;
    parsed.strCode = "package-unparsable";
    parsed.nLine = 3;
    parsed.nColumn = 20;
    EXPECT_EQ(CLintCommand::ToText({parsed}),
              "package.xml:3:20: error: message of missing-version [package-unparsable]\n1 error, 0 warnings\n");
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
    SLintFinding withColumn = kWarning;
    withColumn.nColumn = 9;
    const nlohmann::ordered_json json = CLintCommand::ToJson("/pkg", {withColumn, noElement});
    EXPECT_EQ(json.begin().key(), "schemaVersion");
    EXPECT_EQ(json["schemaVersion"], 1);
    EXPECT_EQ(json["command"], "lint");
    EXPECT_EQ(json["packageDirectory"], "/pkg");
    ASSERT_EQ(json["findings"].size(), 2u);
    EXPECT_EQ(json["findings"][0]["code"], "context-never-applies");
    EXPECT_EQ(json["findings"][0]["severity"], "warning");
    EXPECT_EQ(json["findings"][0]["file"], "package.xml");
    EXPECT_EQ(json["findings"][0]["line"], 12);
    EXPECT_EQ(json["findings"][0]["column"], 9);
    EXPECT_EQ(json["findings"][0]["element"], "Dependency");
    EXPECT_EQ(json["findings"][0]["message"], "message of context-never-applies");
    EXPECT_EQ(json["findings"][1]["severity"], "error");
    EXPECT_EQ(json["findings"][1]["line"], 0);
    EXPECT_EQ(json["findings"][1]["column"], 0);
    EXPECT_TRUE(json["findings"][1]["element"].is_null());
    EXPECT_EQ(json["errors"], 1);
    EXPECT_EQ(json["warnings"], 1);
    EXPECT_EQ(json["exitStatus"], 2);
    EXPECT_EQ(JsonSchemaErrors("lint", json.dump()), "");
}

TEST(LintCommand, RunsOnADirectoryAndReportsAMissingOne)
{
    TempDir dir;
    WriteFile(dir.File("package.xml"), "<SoftwareComponent><SupportedDevices/></SoftwareComponent>");
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
    EXPECT_EQ(err2.str(), "vexinspect lint: cannot enter the package directory " + dir.File("absent") +
                              ": No such file or directory\n");
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

TEST(LintCommand, FormatsTextJsonAndSarif)
{
    TempDir dir;
    WriteFile(dir.File("package.xml"),
              "<SoftwareComponent>\n<SupportedDevices a=\"1\" a=\"2\"/>\n</SoftwareComponent>\n");
    const auto Output = [&dir](const std::string& strFormat, bool bJson) {
        SLintOptions options;
        options.strPackageDir = dir.Path();
        options.strFormat = strFormat;
        options.bJson = bJson;
        std::ostringstream out;
        std::ostringstream err;
        EXPECT_EQ(CLintCommand(options).Run(out, err), 2);
        EXPECT_EQ(err.str(), "");
        return out.str();
    };
    EXPECT_EQ(Output("text", false),
              "package.xml:2:30: error: package.xml is not well-formed XML: Attribute a redefined: the checker finds "
              "no dependency [package-unparsable]\n1 error, 0 warnings\n");
    const nlohmann::json json = nlohmann::json::parse(Output("json", false));
    EXPECT_EQ(json, nlohmann::json::parse(Output("text", true)));
    EXPECT_EQ(json["findings"][0]["line"], 2);
    EXPECT_EQ(json["findings"][0]["column"], 30);
    const nlohmann::json sarif = nlohmann::json::parse(Output("sarif", false));
    EXPECT_EQ(sarif["version"], "2.1.0");
    ASSERT_EQ(sarif["runs"][0]["results"].size(), 1u);
    EXPECT_EQ(sarif["runs"][0]["results"][0]["ruleId"], "package-unparsable");
    EXPECT_EQ(sarif["runs"][0]["results"][0]["locations"][0]["physicalLocation"]["region"]["startColumn"], 30);
}

namespace
{
// A package with findings of both severities, in both files, with and
// without line and column, and a release directory whose name needs
// percent-encoding in a URI.
void WriteSeveralFindings(const TempDir& dir)
{
    WriteFile(dir.File("package.xml"),
              "<?xml version=\"1.0\"?>\n<!DOCTYPE SoftwareComponent SYSTEM \"package.dtd\">\n<SoftwareComponent>\n"
              "<SupportedDevices>\n<Device componentID=\"500\">\n"
              "<Dependency componentID=\"1\" componentType=\"FRMW\" version=\"A07\" releaseID=\"R 2\"/>\n"
              "<Dependency componentID=\"2\" componentType=\"FRMW\" version=\"&v;\" releaseID=\"R3\"/>\n"
              "<Dependency componentID=\"4\" componentType=\"FRMW\" version=\"4\" releaseID=\"R4\"/>\n"
              "</Device>\n</SupportedDevices>\n</SoftwareComponent>\n");
    MakeDirectory(dir.File("R 2"));
    // A configuration that is no file: a finding without a line.
    MakeDirectory(dir.File("R4"));
    MakeDirectory(dir.File("R4/PIEConfig.xml"));
    WriteFile(dir.File("R 2/PIEConfig.xml"),
              "<PIEConfig>\n<Plugins>\n<Plugin a=\"1\" a=\"2\"/>\n</Plugins>\n</PIEConfig>\n");
}

// Runs the validator on a file; 77 when Python's jsonschema module is missing.
CommandResult Validate(const std::string& strSchema, const std::string& strFile)
{
    return RunCommand({"/usr/bin/python3", VEXDEP_SOURCE_DIR "/tests/validate-json.py", strSchema, strFile}, "/");
}

const std::string kSarifSchema = VEXDEP_FIXTURES_DIR "/sarif/sarif-schema-2.1.0.json";
} // namespace

TEST(LintCommand, SarifOutputIsValidAgainstTheSarifSchema)
{
    TempDir dir;
    WriteSeveralFindings(dir);
    SLintOptions options;
    options.strPackageDir = dir.Path();
    options.strFormat = "sarif";
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(CLintCommand(options).Run(out, err), 2);
    const std::string strLog = dir.File("lint.sarif");
    WriteFile(strLog, out.str());

    // What the log is meant to hold, before the schema says it is well made.
    const nlohmann::json sarif = nlohmann::json::parse(out.str());
    const nlohmann::json& results = sarif["runs"][0]["results"];
    ASSERT_GE(results.size(), 5u) << out.str();
    bool bColumn = false;
    bool bEveryStartLine = true;
    bool bEncoded = false;
    for (const nlohmann::json& result : results)
    {
        const nlohmann::json& physical = result["locations"][0]["physicalLocation"];
        bColumn = bColumn || (physical.contains("region") && physical["region"].contains("startColumn"));
        bEveryStartLine = bEveryStartLine && physical["region"]["startLine"].is_number_integer() &&
                          physical["region"]["startLine"].get<int>() >= 1;
        bEncoded = bEncoded || physical["artifactLocation"]["uri"] == "R%202/PIEConfig.xml";
    }
    EXPECT_TRUE(bColumn) << out.str();
    EXPECT_TRUE(bEncoded) << out.str();
    EXPECT_TRUE(bEveryStartLine) << out.str();

    const CommandResult valid = Validate(kSarifSchema, strLog);
    if (valid.nExitStatus == 77)
    {
        GTEST_SKIP() << "Python's jsonschema module is not installed (Debian package python3-jsonschema)";
    }
    EXPECT_EQ(valid.nExitStatus, 0) << valid.strStdout << valid.strStderr;
    EXPECT_EQ(valid.strStdout, "");

    // The same check fails for a log that breaks the schema.
    nlohmann::json broken = sarif;
    broken["runs"][0]["results"][0].erase("message");
    broken["runs"][0]["results"][1]["level"] = "fatal";
    WriteFile(dir.File("broken.sarif"), broken.dump());
    const CommandResult invalid = Validate(kSarifSchema, dir.File("broken.sarif"));
    EXPECT_EQ(invalid.nExitStatus, 1) << invalid.strStdout << invalid.strStderr;
    EXPECT_NE(invalid.strStdout.find("/runs/0/results/0"), std::string::npos) << invalid.strStdout;
    EXPECT_NE(invalid.strStdout.find("/runs/0/results/1/level"), std::string::npos) << invalid.strStdout;
}
