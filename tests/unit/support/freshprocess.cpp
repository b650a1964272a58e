#include "support/freshprocess.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace zantest {

namespace {

/// Forks while all other threads sleep.
pid_t forkAlone()
{
    const std::lock_guard othersSleep(awakeMutex());
    return fork();
}

} // namespace

std::mutex& awakeMutex()
{
    static std::mutex mutex;
    return mutex;
}

void inFreshProcess(const std::function<void()>& test)
{
    std::fflush(nullptr); // or the child would write it again
    const pid_t child = forkAlone();
    ASSERT_NE(child, -1) << "fork failed: errno " << errno;
    if (child == 0) {
        test();
        std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    int status = 0;
    while (waitpid(child, &status, 0) == -1) {
        ASSERT_EQ(errno, EINTR);
    }
    EXPECT_TRUE(WIFEXITED(status)) << "the child was ended by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), EXIT_SUCCESS) << "an expectation failed in the child, see above";
}

} // namespace zantest
