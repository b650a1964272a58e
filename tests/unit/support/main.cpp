// The module's socket path and queue key are constants. So that no test meets the host's own, or another
// run's, an executable of the unit tests runs in namespaces of its own (tests/private).

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

int main(int argc, char** argv)
{
    if (std::getenv("ZAN_PRIVATE_NAMESPACES") == nullptr) {
        std::vector<char*> command{const_cast<char*>(ZAN_PRIVATE)};
        command.insert(command.end(), argv, argv + argc + 1); // with the null at the end
        execv(ZAN_PRIVATE, command.data());
        std::perror(ZAN_PRIVATE);
        return EXIT_FAILURE;
    }
    mkdir("/var/run/api", 0755);
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    if (!GTEST_FLAG_GET(list_tests) && testing::UnitTest::GetInstance()->test_to_run_count() == 0) {
        std::cerr << "No test was run.\n";
        return EXIT_FAILURE;
    }
    return status;
}
