// Micro-benchmarks of the module's parts, without agent and API around them.

#include "answers.h"
#include "inprocess.h"
#include "zanjsondb.h"
#include "zanproviders.h"

#include <json/reader.h>

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>

namespace {

using namespace zanbench;

constexpr const char* radioQuery = "/api?fields=system/capabilities,stats/radio";
constexpr const char* leasesQuery = "/api?fields=dhcp";

/// Lifetime of a cache that never serves twice.
constexpr std::uint32_t noLifetime = 0;

template <class Operation>
void measure(benchmark::State& state, const Operation& operation)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation());
    }
}

/// The clock that every use of a cache reads.
void clockRead(benchmark::State& state)
{
    measure(state, [] { return get_uptime(); });
}
BENCHMARK(clockRead);

/// The copy of a result that `get` hands out.
void copyOfResult(benchmark::State& state)
{
    const Json::Value result = Router(0).resultOf(radioQuery);
    measure(state, [&] { return Json::Value(result); });
}
BENCHMARK(copyOfResult);

void get(benchmark::State& state)
{
    zansnmp::ZanCachedData query(zansnmp::apiUrl(radioQuery), zansnmp::cacheLifetime);
    measure(state, [&] {
        Json::Value result;
        return query.get(result);
    });
}
BENCHMARK(get);

void getter(benchmark::State& state)
{
    measure(state, [] { return zansnmp::zanRadioIMSI(); });
}
BENCHMARK(getter);

/// The agent's helpers, the handler and the getter.
void scalarGet(benchmark::State& state)
{
    const Request request(MODE_GET, {3, 3, 0});
    measure(state, [&] { return request.ask(); });
}
BENCHMARK(scalarGet);

/// All but the transfer itself of a request to the API.
void getCold(benchmark::State& state)
{
    zansnmp::ZanCachedData query(zansnmp::apiUrl(radioQuery), noLifetime);
    measure(state, [&] {
        Json::Value result;
        return query.get(result);
    });
}
BENCHMARK(getCold);

void parse(benchmark::State& state)
{
    const std::string body = Router(static_cast<unsigned>(state.range(0))).bodyOf(leasesQuery);
    measure(state, [&] {
        Json::Value root;
        // The module's own reader, for the same reason: see zanjsondb.cpp.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        Json::Reader reader(Json::Features::strictMode());
        return reader.parse(body.data(), body.data() + body.size(), root, true);
#pragma GCC diagnostic pop
    });
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
}
BENCHMARK(parse)->Arg(0)->Arg(10)->Arg(100)->Arg(1000);

/// One GETNEXT in the middle of the leases table.
void tableStep(benchmark::State& state)
{
    setLeaseCount(static_cast<unsigned>(state.range(0)));
    const Request request(MODE_GETNEXT, {11, 1, 2, 1, 2, static_cast<oid>(state.range(0) / 2)});
    measure(state, [&] { return request.ask(); });
}
BENCHMARK(tableStep)->Arg(10)->Arg(100)->Arg(1000);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    startAgent(0);
    benchmark::RunSpecifiedBenchmarks();
}
