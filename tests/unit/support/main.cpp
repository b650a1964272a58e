// The module's socket path and queue key are constants. So that no test meets the host's own, or another
// run's, an executable of the unit tests runs in mount, IPC and network namespaces of its own.

#include <gtest/gtest.h>

#include <cerrno>
#include <exception>
#include <fstream>
#include <iostream>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

void check(int result, const std::string& what)
{
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void writeFile(const char* path, const std::string& text)
{
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        throw std::runtime_error(std::string("cannot write ") + path);
    }
}

/// As an ordinary user: a user namespace in which that user is root.
void becomeRootOfOwnNamespace()
{
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    check(unshare(CLONE_NEWUSER), "unshare of a user namespace, needed by others than root");
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", "0 " + user + " 1");
    writeFile("/proc/self/gid_map", "0 " + group + " 1");
}

void enterPrivateNamespaces()
{
    constexpr int namespaces = CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWNET;
    if (unshare(namespaces) == -1) {
        becomeRootOfOwnNamespace();
        check(unshare(namespaces), "unshare of mount, IPC and network namespaces");
    }
    check(mount("none", "/", "none", MS_REC | MS_PRIVATE, ""), "making all mounts private");
    check(mount("tmpfs", "/var/run", "tmpfs", MS_NOSUID | MS_NODEV, ""), "mounting over /var/run");
    check(mkdir("/var/run/api", 0755), "making /var/run/api");
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    try {
        if (!GTEST_FLAG_GET(list_tests)) {
            enterPrivateNamespaces();
        }
    } catch (const std::exception& problem) {
        std::cerr << "No private namespaces for the tests: " << problem.what() << "\n";
        return EXIT_FAILURE;
    }
    const int status = RUN_ALL_TESTS();
    if (!GTEST_FLAG_GET(list_tests) && testing::UnitTest::GetInstance()->test_to_run_count() == 0) {
        std::cerr << "No test was run.\n";
        return EXIT_FAILURE;
    }
    return status;
}
