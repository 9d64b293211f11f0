#include "PlanCommand.h"

#include "TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

using namespace vextest;

namespace
{
struct Output
{
    int nStatus;
    std::string strOut;
    std::string strErr;
};

Output RunPlan(SPlanOptions options)
{
    std::ostringstream out;
    std::ostringstream err;
    const int nStatus = CPlanCommand(options).Run(out, err);
    return Output{nStatus, out.str(), err.str()};
}

SPlanOptions Example()
{
    SPlanOptions options;
    options.strType = "both";
    options.strRepository = VEXDEP_SOURCE_DIR "/examples/repository";
    options.strPackageDir = VEXDEP_SOURCE_DIR "/examples/package";
    options.strInventory = VEXDEP_SOURCE_DIR "/examples/machine/inv.xml";
    return options;
}
} // namespace

TEST(PlanCommand, PlansTheExampleAsJson)
{
    SPlanOptions options = Example();
    options.bJson = true;
    Output output = RunPlan(options);
    ASSERT_EQ(output.nStatus, 0) << output.strErr;
    const nlohmann::json json = nlohmann::json::parse(output.strOut);
    EXPECT_EQ(json["verdict"], "complete");
    EXPECT_EQ(json["steps"].size(), 5u);
    EXPECT_EQ(JsonSchemaErrors("plan", output.strOut), "");
}

TEST(PlanCommand, ExitsWithTheVerdictWhenAsked)
{
    SPlanOptions options = Example();
    options.bExitVerdict = true;
    const Output output = RunPlan(options);
    EXPECT_EQ(output.nStatus, 1) << output.strErr;
    EXPECT_NE(output.strOut.find("Verdict            : complete: 5 steps, then the package itself\n"),
              std::string::npos)
        << output.strOut;
}

TEST(PlanCommand, RefusesWhatItCannotUse)
{
    SPlanOptions options = Example();
    options.strType = "all";
    EXPECT_EQ(RunPlan(options).nStatus, CPlanCommand::nExitUsage);
    options = Example();
    options.bCollectorTimeoutGiven = true;
    options.strCollectorTimeout = "soon";
    EXPECT_EQ(RunPlan(options).nStatus, CPlanCommand::nExitUsage);

    const struct
    {
        std::string strRepository;
        std::string strPackageDir;
        std::string strInventory;
        std::string strMessage;
    } kCases[] = {
        {"/nonexistent/repo", "", "", "vexinspect plan: the repository /nonexistent/repo is not a directory\n"},
        {"", "/nonexistent/pkg", "", "vexinspect plan: the package directory /nonexistent/pkg is not a directory\n"},
        {"", "", "/nonexistent/inv.xml",
         "vexinspect plan: cannot read the inventory /nonexistent/inv.xml: No such file or directory\n"},
        {"", "", "/dev/zero", "vexinspect plan: cannot read the inventory /dev/zero: a device\n"},
    };
    for (const auto& testCase : kCases)
    {
        options = Example();
        if (!testCase.strRepository.empty())
        {
            options.strRepository = testCase.strRepository;
        }
        if (!testCase.strPackageDir.empty())
        {
            options.strPackageDir = testCase.strPackageDir;
        }
        if (!testCase.strInventory.empty())
        {
            options.strInventory = testCase.strInventory;
        }
        const Output output = RunPlan(options);
        EXPECT_EQ(output.nStatus, CPlanCommand::nExitUnusableInput);
        EXPECT_EQ(output.strErr, testCase.strMessage);
        EXPECT_EQ(output.strOut, "");
    }
}

TEST(PlanCommand, RefusesAFileThatIsNoPackedRepository)
{
    TempDir dir;
    WriteFile(dir.File("notes.txt"), std::string(2048, 'x'));
    SPlanOptions options = Example();
    options.strRepository = dir.File("notes.txt");
    const Output output = RunPlan(options);
    EXPECT_EQ(output.nStatus, CPlanCommand::nExitUnusableInput);
    EXPECT_EQ(output.strErr, "vexinspect plan: the repository " + dir.File("notes.txt") +
                                 " is neither a directory nor a packed repository: the archive has a damaged header "
                                 "(its checksum does not hold) after 0 members\n");
    EXPECT_EQ(output.strOut, "");
}
