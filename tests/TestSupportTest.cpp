// The test support itself, where a mistake would make other tests depend
// on the machine they run on.

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

using namespace vextest;

// A descriptor the test process holds without close-on-exec (as one a CI
// runner or a terminal passes down) does not reach the command: the
// descriptor limits the fault catalogue sets mean the same everywhere.
TEST(RunCommand, PassesOnlyTheStandardStreams)
{
    const int nOpen = ::open("/dev/null", O_RDONLY);
    ASSERT_GE(nOpen, 0);
    const int nInherited = ::fcntl(nOpen, F_DUPFD, 10);
    ::close(nOpen);
    ASSERT_GE(nInherited, 10);
    const CommandResult result = RunCommand({"/bin/sh", "-c", "ls /proc/$$/fd"}, "/");
    ::close(nInherited);
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(result.strStdout, "0\n1\n2\n");
}
