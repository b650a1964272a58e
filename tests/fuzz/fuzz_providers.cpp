// A result of any JSON, through the GET handlers of all scalars.
//
// Always a value of the object's type and never an exception; the same answer from the cache and from a
// second fetch; one request per query; nothing in the log but the requests.

#include "support/jsonmutator.h"
#include "support/world.h"

#include <json/value.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace world;

struct Value {
    u_char type;
    std::string bytes;

    bool operator==(const Value& other) const { return type == other.type && bytes == other.bytes; }
};

Value get(netsnmp_handler_registration* scalar)
{
    HandlerRequest request;
    AgentRequest info(MODE_GET);
    require(scalar->handler->access_method(scalar->handler, scalar, info.get(), &request.info()) ==
                SNMP_ERR_NOERROR,
            "a GET answers an error");
    const netsnmp_variable_list& answer = request.variable();
    return {answer.type, std::string(reinterpret_cast<const char*>(answer.val.string), answer.val_len)};
}

/// The values of the scalars whose number is `first` or a multiple of `step` more.
std::vector<Value> get(std::size_t first, std::size_t step)
{
    std::vector<Value> values;
    for (std::size_t i = first; i < scalars().size(); i += step) {
        values.push_back(get(scalars()[i]));
    }
    return values;
}

// What the module does with an empty result, seen at the start.
std::vector<u_char> types; ///< of the scalars
std::size_t queries = 0;   ///< that the scalars make; the tables' own and the traps switch are not among them

/// An object is always of the same type, and numbers are as long as the agent wants them.
void checkTypes(const std::vector<Value>& values)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        require(values[i].type == types[i], "a value of another type than the object's");
        require(values[i].type == ASN_OCTET_STR || values[i].bytes.size() == sizeof(long),
                "a number of odd length");
    }
}

constexpr std::size_t step = 4;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    startModule(true);
    api().text = envelope("{}");
    api().requests = 0;
    for (const Value& value : get(0, 1)) {
        types.push_back(value.type);
    }
    queries = api().requests;
    require(queries > 1, "the module asks nothing");
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed)
{
    return mutateJson(data, size, maxSize, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    api().answer = Answer::body;
    api().text = envelope({reinterpret_cast<const char*>(data), size});
    api().piece = 1 + size / 3;
    api().requests = 0;
    passTime(5);
    const std::vector<Value> fetched = get(0, 1);
    checkTypes(fetched);
    require(api().requests >= queries, "an object that made no request");
    const bool cached = api().requests == queries;

    // Again for some of them, to be quicker.
    const std::size_t first = size % step;
    std::vector<Value> some;
    for (std::size_t i = first; i < fetched.size(); i += step) {
        some.push_back(fetched[i]);
    }
    if (cached) {
        require(get(first, step) == some && api().requests == queries, "other answers from the cache");
    }
    passTime(5);
    api().piece = 0;
    require(get(first, step) == some, "other answers from a second fetch");
    return 0;
}
