#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zantest {

/// The raw bytes that answer one request, sent piece by piece before the connection is closed.
struct Reply {
    std::vector<std::string> pieces;
};

/// An HTTP answer that announces the length of its body.
/// @param extraHeaders  whole lines, each with its line end
Reply httpReply(const std::string& body, const std::string& status = "200 OK",
                const std::string& extraHeaders = "");

/// An HTTP answer whose body arrives in chunks, as a server sends it that does not know the length
/// beforehand.
Reply chunkedReply(const std::vector<std::string>& chunks);

/// The same bytes, each sent by itself.
Reply byteByByte(const Reply& reply);

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
/// construction to destruction. Outside that time the socket does not exist. Answers the path asked for if it
/// was given a reply, else every path alike.
class ApiServer {
public:
    ApiServer();
    ~ApiServer();

    ApiServer(const ApiServer&) = delete;
    ApiServer& operator=(const ApiServer&) = delete;

    /// What to answer to every path without a reply of its own.
    void setReply(Reply reply);
    /// What to answer to the next requests without a reply of their own: these in turn, the last one for
    /// good.
    void setReplies(std::vector<Reply> replies);
    /// What to answer to one path.
    void setReply(const std::string& path, Reply reply);

    /// The heads of all requests since the last call, as they came over the socket.
    std::vector<std::string> takeRequests();
    /// The paths of all requests since the last call.
    std::vector<std::string> takePaths();

private:
    void serve();
    void answer(int connection);
    Reply replyTo(const std::string& head);

    Fd listener;
    Fd started; // an eventfd by which the thread tells that it is awake
    Fd stop;    // an eventfd that wakes the thread for its end
    std::mutex mutex;
    std::vector<Reply> repliesToAll;        // under the mutex; the next one last
    std::map<std::string, Reply> repliesTo; // under the mutex
    std::vector<std::string> requests;      // under the mutex
    std::thread thread;
};

} // namespace zantest
