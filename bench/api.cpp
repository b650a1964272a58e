// A fast stand-in for the router's management API: an answer is made once and then sent as it is, so that a
// measurement of those who ask is no measurement of who answers.

#include "answers.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace {

/// The HTTP answers to what was asked so far.
class Answers {
public:
    explicit Answers(unsigned leaseCount) : router(leaseCount) {}

    const std::string& to(const std::string& target)
    {
        std::string& answer = answers[target];
        if (answer.empty()) {
            const std::string body = router.bodyOf(target);
            answer =
                "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                std::to_string(body.size()) + "\r\n\r\n" + body;
        }
        return answer;
    }

private:
    zanbench::Router router;
    std::map<std::string, std::string> answers;
};

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

int listenOn(const char* path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof(address.sun_path)) {
        throw std::invalid_argument("the socket's path is too long");
    }
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) {
        fail("socket");
    }
    unlink(path);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        fail(path);
    }
    if (listen(listener, SOMAXCONN) != 0) {
        fail("listen");
    }
    return listener;
}

/// The request's target; empty when the connection ended too early.
std::string readTarget(int connection)
{
    std::string request;
    while (request.find("\r\n\r\n") == std::string::npos) {
        char buffer[4096];
        const ssize_t size = read(connection, buffer, sizeof(buffer));
        if (size <= 0) {
            return {};
        }
        request.append(buffer, static_cast<std::size_t>(size));
    }
    const std::size_t begin = request.find(' ') + 1;
    return request.substr(begin, request.find(' ', begin) - begin);
}

void send(int connection, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t size = ::send(connection, text.data(), text.size(), MSG_NOSIGNAL);
        if (size <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(size));
    }
}

[[noreturn]] void serve(int listener, Answers& answers)
{
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0) {
            fail("accept");
        }
        const std::string target = readTarget(connection);
        if (!target.empty()) {
            send(connection, answers.to(target));
        }
        close(connection);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s SOCKET LEASES\n", argv[0]);
        return 2;
    }
    try {
        Answers answers(static_cast<unsigned>(std::stoul(argv[2])));
        serve(listenOn(argv[1]), answers);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
