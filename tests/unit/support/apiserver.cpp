#include "support/apiserver.h"

#include "zanjsondb.h"

#include "support/freshprocess.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zantest {

namespace {

int checked(int result, const char* what)
{
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

int listenOn(const char* path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name(path);
    if (name.size() >= sizeof(address.sun_path)) {
        throw std::length_error(name);
    }
    name.copy(address.sun_path, name.size());

    unlink(path);
    const int listener = checked(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    checked(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), path);
    checked(listen(listener, 16), "listen");
    return listener;
}

/// The request up to and with its empty line; shorter when the client has gone.
std::string readHead(int connection)
{
    std::string head;
    std::array<char, 4096> buffer{};
    while (head.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            break;
        }
        head.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return head;
}

/// What is asked for by "GET <path> HTTP/1.1".
std::string pathOf(const std::string& head)
{
    std::istringstream words(head);
    std::string method;
    std::string path;
    words >> method >> path;
    return path;
}

} // namespace

std::string httpReply(const std::string& body, const std::string& status, const std::string& extraHeaders)
{
    return "HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\n" + extraHeaders +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string envelope(const std::string& result)
{
    return R"({"code": 200, "result": )" + result + "}";
}

Fd::~Fd()
{
    close(fd);
}

ApiServer::ApiServer()
    : listener(listenOn(zansnmp::apiSocket)), started(checked(eventfd(0, EFD_CLOEXEC), "eventfd")),
      stop(checked(eventfd(0, EFD_CLOEXEC), "eventfd")), nextReplies{httpReply(envelope("{}"))},
      thread([this] { serve(); })
{
    eventfd_t times = 0;
    eventfd_read(started.get(), &times);
}

ApiServer::~ApiServer()
{
    if (eventfd_write(stop.get(), 1) == 0) {
        thread.join();
    }
    unlink(zansnmp::apiSocket);
}

void ApiServer::setReplies(const std::vector<std::string>& replies)
{
    const std::lock_guard lock(mutex);
    nextReplies.assign(replies.rbegin(), replies.rend());
}

std::vector<std::string> ApiServer::takeRequests()
{
    const std::lock_guard lock(mutex);
    return std::exchange(requests, {});
}

std::vector<std::string> ApiServer::takePaths()
{
    std::vector<std::string> paths = takeRequests();
    for (std::string& request : paths) {
        request = pathOf(request);
    }
    return paths;
}

void ApiServer::serve()
{
    std::array<pollfd, 2> events{pollfd{listener.get(), POLLIN, 0}, pollfd{stop.get(), POLLIN, 0}};
    std::unique_lock awake(awakeMutex());
    eventfd_write(started.get(), 1);
    while (true) {
        awake.unlock();
        const int ready = poll(events.data(), events.size(), -1);
        awake.lock();
        if (ready == -1) {
            continue; // a signal
        }
        if (events[1].revents != 0) {
            return;
        }
        const int connection = accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (connection != -1) {
            const Fd owned(connection);
            answer(connection);
        }
    }
}

void ApiServer::answer(int connection)
{
    const std::string bytes = replyTo(readHead(connection));
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return; // the client has gone
        }
        sent += static_cast<std::size_t>(count);
    }
}

std::string ApiServer::replyTo(const std::string& head)
{
    const std::lock_guard lock(mutex);
    requests.push_back(head);
    std::string reply = nextReplies.back();
    if (nextReplies.size() > 1) {
        nextReplies.pop_back();
    }
    return reply;
}

} // namespace zantest
