#include "calls.h"

#include <net-snmp/net-snmp-config.h>

#include <curl/curl.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using calls::Control;
using calls::Kind;
using calls::kindCount;
using calls::Row;

/// What becomes of a call that fails.
enum class Way {
    refused, ///< it is not made, and an error is returned
    done,    ///< it is made, and an error returned all the same: a close, or what goes on in the background
    once,    ///< one byte at most is transferred
    bytes,   ///< the same, and by every call of the kind after it
    ended,   ///< the end of the file, where there is more
};

struct Manner {
    int error;
    const char* name;
    Way way = Way::refused;
};

constexpr std::size_t mostManners = 16;
using Manners = std::array<Manner, mostManners>;

struct Description {
    const char* name;
    Manners manners; ///< up to the first without a name
};

#define ZAN_ERROR(error)                                                                                     \
    {                                                                                                        \
        error, #error                                                                                        \
    }
#define ZAN_DONE(error)                                                                                      \
    {                                                                                                        \
        error, #error, Way::done                                                                             \
    }
constexpr Manner oneByte{0, "one byte", Way::once};
constexpr Manner byteByByte{0, "byte by byte", Way::bytes};

/// The errors that the calls' pages of the manual give, in the order of Kind. Left out are those for
/// arguments that no caller can give here, such as an address outside of its memory; EBADF stands for all
/// that a caller may have mixed up.
constexpr std::array<Description, kindCount> kinds{{
    {"socket",
     {{ZAN_ERROR(EMFILE), ZAN_ERROR(EINTR), ZAN_ERROR(EACCES), ZAN_ERROR(EAFNOSUPPORT), ZAN_ERROR(EINVAL),
       ZAN_ERROR(ENFILE), ZAN_ERROR(ENOBUFS), ZAN_ERROR(ENOMEM), ZAN_ERROR(EPROTONOSUPPORT)}}},
    {"socketpair",
     {{ZAN_ERROR(EMFILE), ZAN_ERROR(EAFNOSUPPORT), ZAN_ERROR(ENFILE), ZAN_ERROR(EOPNOTSUPP),
       ZAN_ERROR(EPROTONOSUPPORT)}}},
    {"eventfd",
     {{ZAN_ERROR(EMFILE), ZAN_ERROR(EINVAL), ZAN_ERROR(ENFILE), ZAN_ERROR(ENODEV), ZAN_ERROR(ENOMEM)}}},
    {"pipe", {{ZAN_ERROR(EMFILE), ZAN_ERROR(EINVAL), ZAN_ERROR(ENFILE)}}},
    {"connect",
     {{ZAN_ERROR(ECONNREFUSED), ZAN_DONE(EINTR), ZAN_ERROR(EINTR), ZAN_DONE(EINPROGRESS), ZAN_ERROR(EACCES),
       ZAN_ERROR(EPERM), ZAN_ERROR(EAFNOSUPPORT), ZAN_ERROR(EAGAIN), ZAN_DONE(EALREADY), ZAN_ERROR(EBADF),
       ZAN_DONE(EISCONN), ZAN_ERROR(ENETUNREACH), ZAN_ERROR(ENOENT), ZAN_ERROR(ENOTSOCK),
       ZAN_ERROR(EPROTOTYPE), ZAN_ERROR(ETIMEDOUT)}}},
    {"getsockname", {{ZAN_ERROR(ENOBUFS), ZAN_ERROR(EBADF), ZAN_ERROR(EINVAL), ZAN_ERROR(ENOTSOCK)}}},
    {"getpeername",
     {{ZAN_ERROR(ENOTCONN), ZAN_ERROR(EBADF), ZAN_ERROR(EINVAL), ZAN_ERROR(ENOBUFS), ZAN_ERROR(ENOTSOCK)}}},
    {"getsockopt", {{ZAN_ERROR(ENOPROTOOPT), ZAN_ERROR(EBADF), ZAN_ERROR(EINVAL), ZAN_ERROR(ENOTSOCK)}}},
    {"setsockopt",
     {{ZAN_ERROR(ENOPROTOOPT), ZAN_ERROR(EBADF), ZAN_ERROR(EINVAL), ZAN_ERROR(ENOTSOCK), ZAN_ERROR(ENOMEM),
       ZAN_ERROR(ENOBUFS)}}},
    {"fcntl",
     {{ZAN_ERROR(EINVAL), ZAN_ERROR(EINTR), ZAN_ERROR(EACCES), ZAN_ERROR(EAGAIN), ZAN_ERROR(EBADF),
       ZAN_ERROR(EBUSY), ZAN_ERROR(EMFILE), ZAN_ERROR(EPERM)}}},
    {"poll", {{ZAN_ERROR(ENOMEM), ZAN_ERROR(EINTR), ZAN_ERROR(EINVAL), ZAN_ERROR(EAGAIN)}}},
    {"send",
     {{ZAN_ERROR(EPIPE), ZAN_ERROR(EINTR), oneByte, byteByByte, ZAN_ERROR(EAGAIN), ZAN_ERROR(EACCES),
       ZAN_ERROR(EALREADY), ZAN_ERROR(EBADF), ZAN_ERROR(ECONNRESET), ZAN_ERROR(EDESTADDRREQ),
       ZAN_ERROR(EINVAL), ZAN_ERROR(EMSGSIZE), ZAN_ERROR(ENOBUFS), ZAN_ERROR(ENOMEM), ZAN_ERROR(ENOTCONN),
       ZAN_ERROR(ENOTSOCK)}}},
    {"recv",
     {{ZAN_ERROR(ECONNRESET), ZAN_ERROR(EINTR), oneByte, byteByByte, ZAN_ERROR(EAGAIN), ZAN_ERROR(EBADF),
       ZAN_ERROR(ECONNREFUSED), ZAN_ERROR(EINVAL), ZAN_ERROR(ENOMEM), ZAN_ERROR(ENOTCONN),
       ZAN_ERROR(ENOTSOCK), ZAN_ERROR(ETIMEDOUT)}}},
    {"read",
     {{ZAN_ERROR(EIO), ZAN_ERROR(EINTR), oneByte, byteByByte, ZAN_ERROR(EAGAIN), ZAN_ERROR(EBADF),
       ZAN_ERROR(EINVAL), ZAN_ERROR(EISDIR)}}},
    {"write",
     {{ZAN_ERROR(EIO), ZAN_ERROR(EINTR), oneByte, byteByByte, ZAN_ERROR(EAGAIN), ZAN_ERROR(EBADF),
       ZAN_ERROR(ENOSPC), ZAN_ERROR(EPIPE)}}},
    // On Linux the descriptor is closed whatever is returned.
    {"close", {{ZAN_DONE(EIO), ZAN_DONE(EINTR), ZAN_DONE(ENOSPC), ZAN_DONE(EDQUOT)}}},
    {"fopen",
     {{ZAN_ERROR(ENOENT), ZAN_ERROR(EINTR), ZAN_ERROR(EACCES), ZAN_ERROR(EAGAIN), ZAN_ERROR(EISDIR),
       ZAN_ERROR(ELOOP), ZAN_ERROR(EMFILE), ZAN_ERROR(ENFILE), ZAN_ERROR(ENOMEM), ZAN_ERROR(ENOTDIR),
       ZAN_ERROR(ENXIO), ZAN_ERROR(EPERM)}}},
    {"reading",
     {{ZAN_ERROR(EIO),
       ZAN_ERROR(EINTR),
       byteByByte,
       ZAN_ERROR(EAGAIN),
       ZAN_ERROR(EBADF),
       ZAN_ERROR(EINVAL),
       ZAN_ERROR(EISDIR),
       {0, "end of file", Way::ended}}}},
    {"fclose", {{ZAN_DONE(EIO), ZAN_DONE(EINTR), ZAN_DONE(ENOSPC)}}},
    {"clock_gettime", {{ZAN_ERROR(EINVAL)}}},
    {"gettimeofday", {{ZAN_ERROR(EINVAL)}}},
    {"time", {{ZAN_ERROR(EOVERFLOW)}}},
    {"sigaction", {{ZAN_ERROR(EINVAL)}}},
    {"msgget",
     {{ZAN_ERROR(ENOSPC), ZAN_ERROR(EINTR), ZAN_ERROR(EACCES), ZAN_ERROR(EEXIST), ZAN_ERROR(ENOENT),
       ZAN_ERROR(ENOMEM), ZAN_ERROR(ENOSYS)}}},
    {"msgrcv",
     {{ZAN_ERROR(EIDRM), ZAN_ERROR(EINTR), ZAN_ERROR(E2BIG), ZAN_ERROR(EACCES), ZAN_ERROR(EFAULT),
       ZAN_ERROR(EINVAL), ZAN_ERROR(ENOMSG), ZAN_ERROR(ENOSYS)}}},
}};

#undef ZAN_ERROR
#undef ZAN_DONE

/// The record: the one in the file of ZAN_CALLS, or one of this process.
Control* makeControl()
{
    void* memory = MAP_FAILED;
    if (const char* path = std::getenv("ZAN_CALLS")) {
        const int file = open(path, O_RDWR | O_CLOEXEC);
        memory = mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        close(file);
    } else {
        static Control own;
        memory = &own;
    }
    if (memory == MAP_FAILED) {
        std::perror("no record of the calls that are to fail");
        std::abort();
    }
    auto* control = static_cast<Control*>(memory);
    for (std::size_t i = 0; i < kindCount; ++i) {
        Row& row = control->rows[i];
        std::strncpy(row.name.data(), kinds[i].name, row.name.size() - 1);
        row.manners = static_cast<std::int32_t>(
            std::count_if(kinds[i].manners.begin(), kinds[i].manners.end(),
                          [](const Manner& manner) { return manner.name != nullptr; }));
    }
    return control;
}

/// Before the first call, as making the record makes calls.
[[gnu::constructor]] void prepare()
{
    calls::control();
}

/// Whether this thread works for the module. The relay of a hosted module is another thread.
thread_local bool inside = false;

/// While one lives, calls count.
class Inside {
public:
    Inside() { inside = true; }
    ~Inside() { inside = before; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    bool before = inside;
};

/// How the call that is being made has to fail; null: not at all.
const Manner* failing(Kind kind)
{
    if (!inside) {
        return nullptr;
    }
    Control& control = calls::control();
    const auto index = static_cast<std::size_t>(kind);
    ++control.rows[index].made;
    if (control.kind != static_cast<std::int32_t>(kind)) {
        return nullptr;
    }
    const Manner& manner = kinds[index].manners[static_cast<std::size_t>(control.manner)];
    const std::int32_t made = control.rows[index].made;
    if (made != control.nth && !(made > control.nth && manner.way == Way::bytes)) {
        return nullptr;
    }
    control.reached = 1;
    return &manner;
}

/// The function that this one is in front of. libcurl's may be out of reach for the search for the next one:
/// an agent's loader keeps to itself what its module brings along.
template <class Function>
Function* real(const char* name, const char* library = nullptr)
{
    void* object = library == nullptr ? RTLD_NEXT : dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
    auto* function = reinterpret_cast<Function*>(dlsym(object, name));
    if (function == nullptr) {
        std::fprintf(stderr, "there is no %s behind this one\n", name);
        std::abort();
    }
    return function;
}

#define ZAN_REAL(name) static const auto next = real<decltype(name)>(#name)
#define ZAN_REAL_OF_CURL(name) static const auto next = real<decltype(name)>(#name, "libcurl.so.4")

/// A call that returns -1 and an errno.
template <class Call>
auto plain(Kind kind, const Call& call) -> decltype(call())
{
    const Manner* manner = failing(kind);
    if (manner == nullptr) {
        return call();
    }
    if (manner->way == Way::done) {
        call();
    }
    errno = manner->error;
    return -1;
}

/// The same for one that transfers bytes.
template <class Call>
ssize_t transfer(Kind kind, std::size_t size, const Call& call)
{
    const Manner* manner = failing(kind);
    if (manner != nullptr && manner->way == Way::refused) {
        errno = manner->error;
        return -1;
    }
    return call(manner == nullptr ? size : std::min<std::size_t>(size, 1));
}

/// A file whose reading fails.
struct Spoilt {
    std::FILE* file;
    const Manner* manner;
};

ssize_t readSpoilt(void* cookie, char* buffer, std::size_t size)
{
    const Spoilt& spoilt = *static_cast<Spoilt*>(cookie);
    if (spoilt.manner->way == Way::refused) {
        errno = spoilt.manner->error;
        return -1;
    }
    return spoilt.manner->way == Way::ended
               ? 0
               : static_cast<ssize_t>(std::fread(buffer, 1, std::min<std::size_t>(size, 1), spoilt.file));
}

int closeSpoilt(void* cookie)
{
    auto* spoilt = static_cast<Spoilt*>(cookie);
    const int result = std::fclose(spoilt->file);
    delete spoilt;
    return result;
}

template <class Open>
std::FILE* opened(const char* mode, const Open& call)
{
    if (const Manner* manner = failing(Kind::fopen)) {
        errno = manner->error;
        return nullptr;
    }
    std::FILE* file = call();
    const Manner* manner = file != nullptr ? failing(Kind::reading) : nullptr;
    if (manner == nullptr) {
        return file;
    }
    cookie_io_functions_t functions{};
    functions.read = readSpoilt;
    functions.close = closeSpoilt;
    return fopencookie(new Spoilt{file, manner}, mode, functions);
}

} // namespace

namespace calls {

Control& control()
{
    static Control* const control = makeControl();
    return *control;
}

void arm(std::size_t kind, int manner, int nth)
{
    for (Row& row : control().rows) {
        row.made = 0;
    }
    control().manner = manner;
    control().nth = nth;
    control().reached = 0;
    control().kind = static_cast<std::int32_t>(kind);
}

bool disarm()
{
    control().kind = -1;
    return control().reached != 0;
}

const char* nameOf(std::size_t kind, int manner)
{
    return kinds[kind].manners[static_cast<std::size_t>(manner)].name;
}

} // namespace calls

extern "C" {

// --- By which the module reaches what calls the system
// ---------------------------------------------------------

CURL* curl_easy_init()
{
    ZAN_REAL_OF_CURL(curl_easy_init);
    const Inside scope;
    return next();
}

CURLcode curl_easy_perform(CURL* handle)
{
    ZAN_REAL_OF_CURL(curl_easy_perform);
    const Inside scope;
    return next(handle);
}

void curl_easy_cleanup(CURL* handle)
{
    ZAN_REAL_OF_CURL(curl_easy_cleanup);
    const Inside scope;
    next(handle);
}

long get_uptime()
{
    ZAN_REAL(get_uptime);
    const Inside scope;
    return next();
}

int msgget(key_t key, int flags) noexcept
{
    ZAN_REAL(msgget);
    const Inside scope;
    return plain(Kind::msgget, [&] { return next(key, flags); });
}

ssize_t msgrcv(int queue, void* message, std::size_t size, long type, int flags)
{
    ZAN_REAL(msgrcv);
    const Inside scope;
    return plain(Kind::msgrcv, [&] { return next(queue, message, size, type, flags); });
}

// --- What calls the system ---------------------------------------------------------------------------------

int socket(int domain, int type, int protocol) noexcept
{
    ZAN_REAL(socket);
    return plain(Kind::socket, [&] { return next(domain, type, protocol); });
}

int socketpair(int domain, int type, int protocol, int* pair) noexcept
{
    ZAN_REAL(socketpair);
    return plain(Kind::socketpair, [&] { return next(domain, type, protocol, pair); });
}

int eventfd(unsigned count, int flags) noexcept
{
    ZAN_REAL(eventfd);
    return plain(Kind::eventfd, [&] { return next(count, flags); });
}

int pipe(int* ends) noexcept
{
    ZAN_REAL(pipe);
    return plain(Kind::pipe, [&] { return next(ends); });
}

int pipe2(int* ends, int flags) noexcept
{
    ZAN_REAL(pipe2);
    return plain(Kind::pipe, [&] { return next(ends, flags); });
}

int connect(int socket, const sockaddr* address, socklen_t length)
{
    ZAN_REAL(connect);
    return plain(Kind::connect, [&] { return next(socket, address, length); });
}

int getsockname(int socket, sockaddr* address, socklen_t* length) noexcept
{
    ZAN_REAL(getsockname);
    return plain(Kind::getsockname, [&] { return next(socket, address, length); });
}

int getpeername(int socket, sockaddr* address, socklen_t* length) noexcept
{
    ZAN_REAL(getpeername);
    return plain(Kind::getpeername, [&] { return next(socket, address, length); });
}

int getsockopt(int socket, int level, int option, void* value, socklen_t* length) noexcept
{
    ZAN_REAL(getsockopt);
    return plain(Kind::getsockopt, [&] { return next(socket, level, option, value, length); });
}

int setsockopt(int socket, int level, int option, const void* value, socklen_t length) noexcept
{
    ZAN_REAL(setsockopt);
    return plain(Kind::setsockopt, [&] { return next(socket, level, option, value, length); });
}

int fcntl(int descriptor, int command, ...)
{
    ZAN_REAL(fcntl);
    std::va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*); // a number comes the same way
    va_end(arguments);
    return plain(Kind::fcntl, [&] { return next(descriptor, command, argument); });
}

int fcntl64(int descriptor, int command, ...) __attribute__((alias("fcntl")));

int poll(pollfd* polled, nfds_t count, int timeout)
{
    ZAN_REAL(poll);
    return plain(Kind::poll, [&] { return next(polled, count, timeout); });
}

ssize_t send(int socket, const void* data, std::size_t size, int flags)
{
    ZAN_REAL(send);
    return transfer(Kind::send, size, [&](std::size_t part) { return next(socket, data, part, flags); });
}

ssize_t recv(int socket, void* data, std::size_t size, int flags)
{
    ZAN_REAL(recv);
    return transfer(Kind::recv, size, [&](std::size_t part) { return next(socket, data, part, flags); });
}

ssize_t read(int descriptor, void* data, std::size_t size)
{
    ZAN_REAL(read);
    return transfer(Kind::read, size, [&](std::size_t part) { return next(descriptor, data, part); });
}

ssize_t write(int descriptor, const void* data, std::size_t size)
{
    ZAN_REAL(write);
    return transfer(Kind::write, size, [&](std::size_t part) { return next(descriptor, data, part); });
}

int close(int descriptor)
{
    ZAN_REAL(close);
    return plain(Kind::close, [&] { return next(descriptor); });
}

std::FILE* fopen(const char* path, const char* mode)
{
    ZAN_REAL(fopen);
    return opened(mode, [&] { return next(path, mode); });
}

std::FILE* fopen64(const char* path, const char* mode)
{
    ZAN_REAL(fopen64);
    return opened(mode, [&] { return next(path, mode); });
}

int fclose(std::FILE* file)
{
    ZAN_REAL(fclose);
    return plain(Kind::fclose, [&] { return next(file); });
}

int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    ZAN_REAL(clock_gettime);
    return plain(Kind::clock_gettime, [&] { return next(clock, now); });
}

int gettimeofday(timeval* now, void* zone) noexcept
{
    ZAN_REAL(gettimeofday);
    return plain(Kind::gettimeofday, [&] { return next(now, zone); });
}

std::time_t time(std::time_t* now) noexcept
{
    ZAN_REAL(time);
    return plain(Kind::time, [&] { return next(now); });
}

int sigaction(int signal, const struct sigaction* action, struct sigaction* before) noexcept
{
    static const auto next = real<int(int, const struct sigaction*, struct sigaction*) noexcept>("sigaction");
    return plain(Kind::sigaction, [&] { return next(signal, action, before); });
}
}
