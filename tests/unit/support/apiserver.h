#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zantest {

/// An HTTP answer that announces the length of its body.
/// @param extraHeaders  whole lines, each with its line end
std::string httpReply(const std::string& body, const std::string& status = "200 OK",
                      const std::string& extraHeaders = "");

/// The API's envelope around a `result`, given as JSON text, with `code` 200.
std::string envelope(const std::string& result);

/// A file descriptor, closed at the end.
class Fd {
public:
    explicit Fd(int descriptor) : fd(descriptor) {}
    ~Fd();

    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;

    int get() const { return fd; }

private:
    int fd;
};

/// The router's management API: a real HTTP server on the module's own socket path, in a thread, from
/// construction to destruction. Outside that time the socket does not exist. Answers every path alike.
class ApiServer {
public:
    ApiServer();
    ~ApiServer();

    ApiServer(const ApiServer&) = delete;
    ApiServer& operator=(const ApiServer&) = delete;

    /// The raw bytes that answer each request; none: the connection is closed without a word.
    void setReply(const std::string& reply) { setReplies({reply}); }
    /// What to answer to the next requests: these in turn, the last one for good.
    void setReplies(const std::vector<std::string>& replies);

    /// The heads of all requests since the last call, as they came over the socket.
    std::vector<std::string> takeRequests();
    /// The paths of all requests since the last call.
    std::vector<std::string> takePaths();

private:
    void serve();
    void answer(int connection);
    std::string replyTo(const std::string& head);

    Fd listener;
    Fd started; // an eventfd by which the thread tells that it is awake
    Fd stop;    // an eventfd that wakes the thread for its end
    std::mutex mutex;
    std::vector<std::string> nextReplies; // under the mutex; the next one last
    std::vector<std::string> requests;    // under the mutex
    std::thread thread;
};

} // namespace zantest
