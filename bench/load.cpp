// The load client: sends the same SNMPv2c requests again and again over one UDP socket and prints what came
// of it as one line of JSON. All requests are encoded before the clock starts, and an answer that is byte for
// byte the one that was checked before is not decoded again, so that the client stays far faster than any
// agent.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <json/json.h>

#include <arpa/inet.h>
#include <getopt.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<u_char>;
using Oid = std::vector<oid>;

constexpr const char* help = R"(usage: zan-bench-load [options] [--each] OID...
       zan-bench-load [options] --rows N --columns N [--bulk N] OID

Loads an SNMPv2c agent on 127.0.0.1 and prints rates and latencies as one line of JSON. The first form sends GETs
of all the OIDs in one request (an OID may be repeated) or, with --each, of one after the other; the second walks the table whose entry is OID and whose
rows are indexed 1 to N, by GETNEXT or with --bulk by GETBULK with so many repetitions, over and over.

  --port N           the agent's UDP port (default: 161)
  --community NAME   default: public
  --seconds S        how long (default: 1)
  --count N          end after so many requests even if the time is not over
  --outstanding N    requests under way at the same time (default: 1)
  --from FRACTION    start a walk so far into the table (default: 0)
  --clock FILE       before each request, advance the uptime in FILE by as many seconds as a cache lives
)";

/// Seconds that --clock advances: no cache of the module outlives them.
constexpr int clockStep = 6;

struct Options {
    int port = 161;
    std::string community = "public";
    double seconds = 1;
    std::size_t count = ~std::size_t{0};
    std::size_t outstanding = 1;
    double from = 0;
    std::string clockFile;
    bool each = false;
    unsigned rows = 0;
    unsigned columns = 0;
    unsigned bulk = 0;
    std::vector<Oid> oids;
};

Oid parseOid(const char* text)
{
    Oid result(MAX_OID_LEN);
    std::size_t length = result.size();
    if (read_objid(text, result.data(), &length) == 0) {
        throw std::invalid_argument(std::string("not a numeric OID: ") + text);
    }
    result.resize(length);
    return result;
}

unsigned number(const char* text)
{
    return static_cast<unsigned>(std::stoul(text));
}

/// One option of the command line and what it does.
struct Setting {
    const char* name;
    int argument;
    void (*set)(Options& options, const char* value);
};

constexpr Setting settings[] = {
    {"port", required_argument, [](Options& options, const char* value) { options.port = std::stoi(value); }},
    {"community", required_argument, [](Options& options, const char* value) { options.community = value; }},
    {"seconds", required_argument,
     [](Options& options, const char* value) { options.seconds = std::stod(value); }},
    {"count", required_argument, [](Options& options, const char* value) { options.count = number(value); }},
    {"outstanding", required_argument,
     [](Options& options, const char* value) { options.outstanding = number(value); }},
    {"from", required_argument, [](Options& options, const char* value) { options.from = std::stod(value); }},
    {"clock", required_argument, [](Options& options, const char* value) { options.clockFile = value; }},
    {"each", no_argument, [](Options& options, const char*) { options.each = true; }},
    {"rows", required_argument, [](Options& options, const char* value) { options.rows = number(value); }},
    {"columns", required_argument,
     [](Options& options, const char* value) { options.columns = number(value); }},
    {"bulk", required_argument, [](Options& options, const char* value) { options.bulk = number(value); }},
    {"help", no_argument,
     [](Options&, const char*) {
         std::fputs(help, stdout);
         std::exit(0);
     }},
};

Options parseOptions(int argc, char** argv)
{
    std::vector<option> known;
    for (const Setting& setting : settings) {
        known.push_back({setting.name, setting.argument, nullptr, 0});
    }
    known.push_back({});
    Options options;
    int place = 0;
    for (int result = 0; (result = getopt_long(argc, argv, "", known.data(), &place)) != -1;) {
        if (result != 0) {
            throw std::invalid_argument("see --help");
        }
        settings[place].set(options, optarg);
    }
    for (; optind < argc; ++optind) {
        options.oids.push_back(parseOid(argv[optind]));
    }
    if (options.oids.empty() || (options.rows != 0 && options.oids.size() != 1)) {
        throw std::invalid_argument("an OID is missing, or one too many; see --help");
    }
    return options;
}

struct FreePdu {
    void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};
using Pdu = std::unique_ptr<netsnmp_pdu, FreePdu>;

/// Where the four bytes of the request id are in a message. All ids are made so that they take four.
std::size_t requestIdOffset(const u_char* message, std::size_t size)
{
    std::size_t at = 0;
    // Into the message, over the version and the community, into the PDU, into the request id.
    for (const bool enters : {true, false, false, true, true}) {
        if (at + 2 > size) {
            throw std::runtime_error("a message is cut");
        }
        const u_char first = message[at + 1];
        const std::size_t header = (first & 0x80U) != 0 ? 2U + (first & 0x7FU) : 2U;
        at += enters ? header : header + first;
    }
    if (at + 4 > size) {
        throw std::runtime_error("a message is cut");
    }
    return at;
}

/// One request and what its answer has to be.
class Exchange {
public:
    Exchange(netsnmp_session& session, int command, unsigned bulk, const std::vector<Oid>& names,
             std::vector<Oid> expectedNames)
        : expected(std::move(expectedNames))
    {
        const Pdu pdu(snmp_pdu_create(command));
        pdu->version = SNMP_VERSION_2c;
        pdu->reqid = 0x40000000; // of four bytes, as all others will be
        if (command == SNMP_MSG_GETBULK) {
            pdu->non_repeaters = 0;
            pdu->max_repetitions = static_cast<int>(bulk);
        }
        for (const Oid& name : names) {
            snmp_add_null_var(pdu.get(), name.data(), name.size());
        }
        u_char* buffer = nullptr;
        std::size_t capacity = 0;
        std::size_t used = 0;
        if (snmp_build(&buffer, &capacity, &used, &session, pdu.get()) != 0) {
            throw std::runtime_error("a request cannot be encoded");
        }
        const std::unique_ptr<u_char, decltype(&std::free)> owner(buffer, &std::free);
        // The library encodes from the end of the buffer.
        request.assign(buffer + capacity - used, buffer + capacity);
        idOffset = requestIdOffset(request.data(), request.size());
    }

    const Bytes& encoded(std::uint32_t id)
    {
        const std::uint32_t bigEndian = htonl(id);
        std::memcpy(request.data() + idOffset, &bigEndian, sizeof(bigEndian));
        return request;
    }

    /// Throws unless the answer has the names that were expected, each with a value.
    void check(netsnmp_session& session, u_char* answer, std::size_t size, std::size_t answerIdOffset)
    {
        std::memset(answer + answerIdOffset, 0, 4);
        if (known.size() == size && std::memcmp(known.data(), answer, size) == 0) {
            return;
        }
        const Bytes copy(answer, answer + size);
        const Pdu pdu(snmp_pdu_create(SNMP_MSG_RESPONSE));
        if (snmp_parse(nullptr, &session, pdu.get(), answer, size) != 0) {
            throw std::runtime_error("an answer cannot be decoded");
        }
        if (pdu->errstat != SNMP_ERR_NOERROR) {
            throw std::runtime_error(std::string("the agent reports: ") +
                                     snmp_errstring(static_cast<int>(pdu->errstat)));
        }
        const netsnmp_variable_list* variable = pdu->variables;
        for (const Oid& name : expected) {
            if (variable == nullptr ||
                snmp_oid_compare(variable->name, variable->name_length, name.data(), name.size()) != 0) {
                throw std::runtime_error("an answer has another OID than expected");
            }
            if (variable->type == SNMP_NOSUCHOBJECT || variable->type == SNMP_NOSUCHINSTANCE ||
                variable->type == SNMP_ENDOFMIBVIEW) {
                throw std::runtime_error("an object has no value");
            }
            variable = variable->next_variable;
        }
        known = copy;
    }

    std::size_t size() const { return expected.size(); }

private:
    Bytes request;
    std::size_t idOffset = 0;
    std::vector<Oid> expected; ///< names of the answer's variables that count
    Bytes known;               ///< an answer that was right, with the request id 0
};

/// The requests of a whole walk, knowing beforehand which cells there are.
std::vector<Exchange> walk(netsnmp_session& session, const Options& options)
{
    const Oid& entry = options.oids.front();
    std::vector<Oid> cells;
    for (oid column = 1; column <= options.columns; ++column) {
        for (oid row = 1; row <= options.rows; ++row) {
            cells.push_back(entry);
            cells.back().insert(cells.back().end(), {column, row});
        }
    }
    const std::size_t step = std::max(options.bulk, 1U);
    std::vector<Exchange> exchanges;
    for (std::size_t i = 0; i < cells.size(); i += step) {
        const auto begin = cells.begin() + static_cast<std::ptrdiff_t>(i);
        const auto end = cells.begin() + static_cast<std::ptrdiff_t>(std::min(i + step, cells.size()));
        exchanges.emplace_back(session, options.bulk != 0 ? SNMP_MSG_GETBULK : SNMP_MSG_GETNEXT, options.bulk,
                               std::vector<Oid>{i == 0 ? entry : cells[i - 1]}, std::vector<Oid>(begin, end));
    }
    return exchanges;
}

/// The agent's end of the wire.
class Socket {
public:
    explicit Socket(int port) : descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval patience{10, 0};
        if (descriptor < 0 ||
            setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)) != 0 ||
            connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            throw std::system_error(errno, std::generic_category(), "socket");
        }
    }
    ~Socket() { close(descriptor); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    void sendTo(const Bytes& message) const
    {
        if (send(descriptor, message.data(), message.size(), 0) < 0) {
            throw std::system_error(errno, std::generic_category(), "send");
        }
    }

    std::size_t receive(Bytes& buffer) const
    {
        const ssize_t size = recv(descriptor, buffer.data(), buffer.size(), 0);
        if (size < 0) {
            throw std::system_error(errno, std::generic_category(), "no answer");
        }
        return static_cast<std::size_t>(size);
    }

private:
    int descriptor;
};

/// The file that stands for /proc/uptime.
class HeldClock {
public:
    explicit HeldClock(const std::string& path) : file(path) {}

    void advance()
    {
        now += clockStep;
        // Longer than before or as long: what is read is never a mixture.
        file.seekp(0);
        file << now << ".00 0.00\n" << std::flush;
    }

private:
    std::ofstream file;
    int now = 1000000;
};

class Load {
public:
    Load(const Options& given, netsnmp_session& agent)
        : options(given), session(agent), wire(given.port), clock(given.clockFile), buffer(65536)
    {
        if (options.rows != 0) {
            exchanges = walk(session, options);
        } else if (options.each) {
            for (const Oid& name : options.oids) {
                exchanges.emplace_back(session, SNMP_MSG_GET, 0, std::vector<Oid>{name},
                                       std::vector<Oid>{name});
            }
        } else {
            exchanges.emplace_back(session, SNMP_MSG_GET, 0, options.oids, options.oids);
        }
        next =
            static_cast<std::size_t>(options.from * static_cast<double>(exchanges.size())) % exchanges.size();
    }

    Json::Value run()
    {
        const Clock::time_point begin = Clock::now();
        const Clock::time_point end = begin + std::chrono::duration_cast<Clock::duration>(
                                                  std::chrono::duration<double>(options.seconds));
        while (pending.size() < std::min(options.outstanding, options.count)) {
            sendNext();
        }
        Clock::time_point last = begin;
        while (!pending.empty()) {
            last = takeAnswer();
            if (last < end && sent < options.count) {
                sendNext();
            }
        }
        return result(std::chrono::duration<double>(last - begin).count());
    }

private:
    struct Pending {
        std::uint32_t id;
        std::size_t exchange; // cppcheck-suppress unusedStructMember
        Clock::time_point since;
    };

    void sendNext()
    {
        if (!options.clockFile.empty()) {
            clock.advance();
        }
        const std::uint32_t id = 0x40000000U + (static_cast<std::uint32_t>(sent) & 0x0FFFFFFFU);
        const Bytes& message = exchanges[next].encoded(id);
        pending.push_back({id, next, Clock::now()});
        wire.sendTo(message);
        ++sent;
        next = (next + 1) % exchanges.size();
    }

    Clock::time_point takeAnswer()
    {
        const std::size_t size = wire.receive(buffer);
        const Clock::time_point now = Clock::now();
        const std::size_t idOffset = requestIdOffset(buffer.data(), size);
        std::uint32_t id = 0;
        std::memcpy(&id, buffer.data() + idOffset, sizeof(id));
        id = ntohl(id);
        const auto found =
            std::find_if(pending.begin(), pending.end(), [id](const Pending& one) { return one.id == id; });
        if (found == pending.end()) {
            throw std::runtime_error("an answer to no request");
        }
        Exchange& exchange = exchanges[found->exchange];
        exchange.check(session, buffer.data(), size, idOffset);
        latencies.push_back(std::chrono::duration<double, std::micro>(now - found->since).count());
        variables += exchange.size();
        pending.erase(found);
        return now;
    }

    Json::Value result(double seconds)
    {
        std::sort(latencies.begin(), latencies.end());
        const auto percentile = [this](double part) {
            return latencies[static_cast<std::size_t>(part * static_cast<double>(latencies.size() - 1))];
        };
        Json::Value value;
        value["requests"] = static_cast<Json::UInt64>(latencies.size());
        value["variables"] = static_cast<Json::UInt64>(variables);
        value["seconds"] = seconds;
        value["requestsPerSecond"] = static_cast<double>(latencies.size()) / seconds;
        value["variablesPerSecond"] = static_cast<double>(variables) / seconds;
        value["latencyMicroseconds"]["p50"] = percentile(0.5);
        value["latencyMicroseconds"]["p90"] = percentile(0.9);
        value["latencyMicroseconds"]["p99"] = percentile(0.99);
        value["latencyMicroseconds"]["max"] = latencies.back();
        return value;
    }

    const Options& options;
    netsnmp_session& session;
    Socket wire;
    HeldClock clock;
    Bytes buffer;
    std::vector<Exchange> exchanges;
    std::size_t next = 0;
    std::size_t sent = 0;
    std::size_t variables = 0;
    std::deque<Pending> pending;
    std::vector<double> latencies;
};

} // namespace

int main(int argc, char** argv)
{
    setenv("MIBS", "", 1);
    setenv("SNMPCONFPATH", "/nonexistent", 1);
    init_snmp("zan-bench-load");
    try {
        Options options = parseOptions(argc, argv);
        netsnmp_session session;
        snmp_sess_init(&session);
        session.version = SNMP_VERSION_2c;
        session.community = reinterpret_cast<u_char*>(options.community.data());
        session.community_len = options.community.size();
        Json::StreamWriterBuilder writer;
        writer["indentation"] = "";
        writer["precision"] = 6;
        std::puts(Json::writeString(writer, Load(options, session).run()).c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
