// What valgrind counts the instructions of: one operation of the module, repeated inside the function
// `counted`. The script "counts" runs this program and explains what for.

#include "answers.h"
#include "inprocess.h"

#include <json/reader.h>
#include <json/version.h>
#include <json/writer.h>

#include <gnu/libc-version.h>
#include <sys/utsname.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <string>

namespace {

using namespace zanbench;

constexpr unsigned leaseCount = 100;
constexpr const char* radioQuery = "/api?fields=system/capabilities,stats/radio";
constexpr const char* leasesQuery = "/api?fields=dhcp";

void parse(const std::string& body)
{
    Json::Value root;
    // The module's own reader, for the same reason: see zanjsondb.cpp.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader(Json::Features::strictMode()).parse(body.data(), body.data() + body.size(), root, true);
#pragma GCC diagnostic pop
}

std::function<void()> copyOf(const Json::Value& value)
{
    // The copy itself is what is counted. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    return [value] { const Json::Value copy = value; };
}

/// The operations: the module's, and those of the JSON library to compare them with.
std::map<std::string, std::function<void()>> operations()
{
    const Router router(leaseCount);
    const Request scalar(MODE_GET, {3, 3, 0});
    const Request step(MODE_GETNEXT, {11, 1, 2, 1, 2, leaseCount / 2});
    return {
        {"scalarGet", [scalar] { scalar.ask(); }},
        {"coldGet",
         [scalar] {
             expireCaches();
             scalar.ask();
         }},
        {"walkStep", [step] { step.ask(); }},
        {"copyOfResult", copyOf(router.resultOf(radioQuery))},
        {"copyOfRows", copyOf(router.resultOf(leasesQuery)["dhcp"]["leases"])},
        {"parseOfAnswer", [body = router.bodyOf(radioQuery)] { parse(body); }},
    };
}

/// What the counts depend on apart from the module, as a line of JSON.
std::string surroundings()
{
    utsname machine{};
    uname(&machine);
    Json::Value value;
    value["architecture"] = machine.machine;
    value["compiler"] = ZAN_BENCH_COMPILER;
#ifdef __OPTIMIZE__
    value["optimised"] = true;
#else
    value["optimised"] = false;
#endif
    value["glibc"] = gnu_get_libc_version();
    value["jsoncpp"] = JSONCPP_VERSION_STRING;
    value["netsnmp"] = netsnmp_get_version();
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

} // namespace

/// By this name valgrind knows what to count.
extern "C" __attribute__((noinline)) void counted(const std::function<void()>& operation, int times)
{
    for (int i = 0; i < times; ++i) {
        operation();
    }
}

int main(int argc, char** argv)
{
    if (argc == 2 && std::string(argv[1]) == "--surroundings") {
        std::puts(surroundings().c_str());
        return 0;
    }
    try {
        startAgent(leaseCount);
        stopClock();
        const auto known = operations();
        const auto chosen = argc == 3 ? known.find(argv[1]) : known.end();
        if (chosen == known.end()) {
            std::fprintf(stderr, "usage: %s --surroundings | OPERATION TIMES\noperations:", argv[0]);
            for (const auto& operation : known) {
                std::fprintf(stderr, " %s", operation.first.c_str());
            }
            std::fputs("\n", stderr);
            return 2;
        }
        chosen->second(); // everything is loaded, linked and cached afterwards
        counted(chosen->second, std::stoi(argv[2]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
