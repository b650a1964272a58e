#include "jsonmutator.h"

#include "random.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace world;

bool parse(const std::uint8_t* data, std::size_t size, Json::Value& root)
{
    const char* text = reinterpret_cast<const char*>(data);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    try {
        return reader->parse(text, text + size, &root, nullptr);
    } catch (const std::exception&) {
        return false;
    }
}

void collect(Json::Value& value, std::vector<Json::Value*>& places)
{
    places.push_back(&value);
    for (Json::Value& member : value) {
        collect(member, places);
    }
}

/// Values at the borders of the conversions.
Json::Value odd(Random& random)
{
    static const std::vector<Json::Value> values = {
        Json::Value(),
        true,
        false,
        0,
        1,
        -1,
        99,
        std::numeric_limits<Json::Int>::min(),
        std::numeric_limits<Json::Int>::max(),
        std::numeric_limits<Json::UInt>::max(),
        std::numeric_limits<Json::Int64>::min(),
        std::numeric_limits<Json::UInt64>::max(),
        Json::Value(Json::UInt64{1} << 32U),
        0.5,
        -0.5,
        1e300,
        4294967295.5,
        "",
        "99",
        "CDMA",
        "CLIENT",
        "Connected",
        "ppp0",
        "wlan0",
        "NONE",
        "INPUT",
        "DNAT",
        "12345.67",
        "1e39",
        "nan",
        "-3e9",
        std::string("zero\0within", 11),
        std::string(300, 'x'),
        "\xff\xfe",
        Json::Value(Json::arrayValue),
        Json::Value(Json::objectValue),
    };
    return oneOf(random, values);
}

void change(Json::Value& root, Random& random)
{
    std::vector<Json::Value*> places;
    collect(root, places);
    Json::Value& place = *oneOf(random, places);
    switch (below(random, 6)) {
    case 0: // a place's value goes to another place
        place = Json::Value(*oneOf(random, places));
        break;
    case 1: // a list of what was one
        if (!place.isArray()) {
            place = Json::Value(Json::arrayValue).append(Json::Value(place));
        } else {
            place.append(odd(random));
        }
        break;
    case 2: // without a member or the last element
        if (place.isObject() && !place.empty()) {
            place.removeMember(place.getMemberNames()[below(random, place.size())]);
        } else if (place.isArray() && !place.empty()) {
            place.resize(place.size() - 1);
        }
        break;
    case 3: // an element twice
        if (place.isArray() && !place.empty()) {
            place.append(Json::Value(place[static_cast<Json::ArrayIndex>(below(random, place.size()))]));
        }
        break;
    default:
        place = odd(random);
    }
}

} // namespace

std::size_t world::mutateJson(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    Random random(seed);
    Json::Value root;
    if (below(random, 8) == 0 || !parse(data, size, root)) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    for (std::size_t changes = 1 + below(random, 3); changes > 0; --changes) {
        change(root, random);
    }
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    const std::string text = Json::writeString(writer, root);
    if (text.size() > maxSize) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    std::memcpy(data, text.data(), text.size());
    return text.size();
}
