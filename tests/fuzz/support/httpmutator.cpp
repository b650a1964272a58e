#include "httpmutator.h"

#include "jsonmutator.h"
#include "random.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace world;

/// How the end of the body is told.
enum class Framing { length, chunks, connection };

struct Message {
    std::string interim;           ///< answers before the final one
    std::vector<std::string> head; ///< without the headers of the framing
    Framing framing = Framing::connection;
    std::string body;
};

constexpr const char* lineEnd = "\r\n";

bool beginsWith(const std::string& line, const char* name)
{
    return strncasecmp(line.c_str(), name, std::strlen(name)) == 0;
}

/// The content of a body in chunks, as far as they are right.
std::string withoutChunks(const std::string& body)
{
    std::string content;
    for (std::size_t at = 0; at < body.size();) {
        const std::size_t end = body.find('\n', at);
        const std::size_t size = std::strtoul(body.c_str() + at, nullptr, 16);
        if (end == std::string::npos || size == 0 || size > body.size() - end - 1) {
            break;
        }
        content.append(body, end + 1, size);
        at = end + 1 + size + 2;
    }
    return content;
}

/// @return whether the bytes are a head and what follows
bool parse(const std::string& bytes, Message& message)
{
    const std::size_t end = bytes.find("\r\n\r\n");
    if (end == std::string::npos) {
        return false;
    }
    std::istringstream head(bytes.substr(0, end));
    for (std::string line; std::getline(head, line);) {
        line.erase(std::find(line.begin(), line.end(), '\r'), line.end());
        if (beginsWith(line, "Content-Length:")) {
            message.framing = Framing::length;
        } else if (beginsWith(line, "Transfer-Encoding:")) {
            message.framing = Framing::chunks;
        } else {
            message.head.push_back(line);
        }
    }
    message.body = bytes.substr(end + 4);
    if (message.framing == Framing::chunks) {
        message.body = withoutChunks(message.body);
    }
    return !message.head.empty();
}

std::string number(std::size_t value, bool hexadecimal)
{
    std::ostringstream text;
    text << (hexadecimal ? std::hex : std::dec) << value;
    return text.str();
}

const std::array<const char*, 16> statusLines{"HTTP/1.1 200 OK",
                                              "HTTP/1.0 200 OK",
                                              "HTTP/1.1 204 No Content",
                                              "HTTP/1.1 304 Not Modified",
                                              "HTTP/1.1 302 Found",
                                              "HTTP/1.1 401 Authorize",
                                              "HTTP/1.1 404 Not Found",
                                              "HTTP/1.1 100 Continue",
                                              "HTTP/1.1 500 Error",
                                              "HTTP/2 200",
                                              "HTTP/1.1 101 Switching Protocols",
                                              "HTTP/0.9 200 OK",
                                              "HTTP/1.1 999 ",
                                              "HTTP/1.1 20",
                                              "ICY 200 OK",
                                              "HTTP/1.1  200  OK"};

const std::array<const char*, 22> headers{"Connection: close",
                                          "Connection: keep-alive",
                                          "Connection: Upgrade",
                                          "Upgrade: h2c",
                                          "Location: /elsewhere",
                                          "Content-Encoding: gzip",
                                          "Content-Range: bytes 0-1/2",
                                          "Set-Cookie: a=b; path=/",
                                          "Trailer: X",
                                          "X-Empty:",
                                          " folded",
                                          "\tfolded",
                                          "no colon",
                                          ": no name",
                                          "Content-Length: 18446744073709551616",
                                          "Content-Length: -1",
                                          "Content-Length: 7, 7",
                                          "Content-Length: 0x10",
                                          "Transfer-Encoding: gzip, chunked",
                                          "Transfer-Encoding: identity",
                                          "WWW-Authenticate: Basic realm=x",
                                          "Retry-After: 1"};

/// The body in chunks of random sizes; now and then with something that chunks may have, or may not.
std::string inChunks(const std::string& body, Random& random)
{
    std::string text;
    for (std::size_t at = 0; at < body.size();) {
        const std::size_t size = 1 + below(random, body.size() - at);
        text += number(size + (below(random, 64) == 0 ? 1 : 0), true);
        if (below(random, 8) == 0) {
            static const std::array<const char*, 5> extensions{";name=value", " ", ";", "\t", "g"};
            text += oneOf(random, extensions);
        }
        text += lineEnd + body.substr(at, size) + (below(random, 64) == 0 ? "" : lineEnd);
        at += size;
    }
    static const std::array<const char*, 6> ends{
        "0\r\n\r\n", "0\r\n\r\n", "0\r\nX: trailer\r\n\r\n", "0\r\n", "ffffffffffffffff\r\n", ""};
    return text + oneOf(random, ends);
}

std::string built(const Message& message, Random& random)
{
    std::string text = message.interim;
    for (const std::string& line : message.head) {
        text += line + lineEnd;
    }
    switch (message.framing) {
    case Framing::length: {
        const std::size_t wrong = below(random, 16) == 0 ? below(random, 3) : 1;
        text += "Content-Length: " + number(message.body.size() + wrong - 1, false) + lineEnd;
        return text + lineEnd + message.body;
    }
    case Framing::chunks:
        text += "Transfer-Encoding: chunked\r\n";
        return text + lineEnd + inChunks(message.body, random);
    case Framing::connection:
        break;
    }
    return text + lineEnd + message.body;
}

void mutateBody(std::string& body, std::size_t room, unsigned seed)
{
    const std::size_t size = body.size();
    body.resize(size + room);
    body.resize(mutateJson(reinterpret_cast<std::uint8_t*>(body.data()), size, body.size(), seed));
}

void change(Message& message, Random& random, std::size_t room)
{
    switch (below(random, 10)) {
    case 0:
        message.head.front() = oneOf(random, statusLines);
        break;
    case 1:
        message.head.insert(message.head.begin() + 1 + static_cast<long>(below(random, message.head.size())),
                            oneOf(random, headers));
        break;
    case 2:
        if (message.head.size() > 1) {
            message.head.pop_back();
        }
        break;
    case 3: {
        std::string& line = message.head[below(random, message.head.size())];
        line = mutatedBytes(line);
        break;
    }
    case 4: {
        static const std::array<const char*, 4> interims{"HTTP/1.1 100 Continue\r\n\r\n",
                                                         "HTTP/1.1 103 Early\r\nX: 1\r\n\r\n",
                                                         "HTTP/1.1 101 Switching\r\n\r\n", ""};
        message.interim = oneOf(random, interims);
        break;
    }
    case 5:
        static constexpr std::array<Framing, 3> framings{Framing::length, Framing::chunks,
                                                         Framing::connection};
        message.framing = oneOf(random, framings);
        break;
    case 6:
        message.head.push_back(oneOf(random, message.head));
        break;
    default:
        mutateBody(message.body, room, static_cast<unsigned>(random()));
    }
}

} // namespace

std::size_t world::mutateHttp(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    Random random(seed);
    Message message;
    if (below(random, 8) == 0 || !parse({reinterpret_cast<const char*>(data), size}, message)) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const std::size_t room = std::min<std::size_t>(maxSize, 4096);
    for (std::size_t changes = 1 + below(random, 3); changes > 0; --changes) {
        change(message, random, room);
    }
    std::string text = built(message, random);
    if (below(random, 32) == 0) {
        text.resize(below(random, text.size() + 1)); // the connection ends early
    }
    if (text.size() > maxSize) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    std::memcpy(data, text.data(), text.size());
    return text.size();
}
