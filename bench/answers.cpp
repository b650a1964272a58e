#include "answers.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zanbench {

namespace {

Json::Value leases(unsigned count)
{
    Json::Value rows(Json::arrayValue);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned high = i / 256 % 256;
        const unsigned low = i % 256;
        char text[32];
        Json::Value row;
        std::snprintf(text, sizeof(text), "10.20.%u.%u", high, low);
        row["ip"] = text;
        std::snprintf(text, sizeof(text), "00:00:5e:00:%02x:%02x", high, low);
        row["mac"] = text;
        row["hostname"] = "device-" + std::to_string(i);
        row["expiration"] = 3600 + i;
        rows.append(std::move(row));
    }
    return rows;
}

/// The value at a path such as "stats/radio"; null when there is none.
Json::Value fieldAt(const Json::Value& tree, const std::string& path)
{
    const Json::Value* value = &tree;
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '/');) {
        value = &(*value)[name];
    }
    return *value;
}

} // namespace

Router::Router(unsigned leaseCount)
{
    std::ifstream file(ZAN_BENCH_ROUTER);
    if (!file) {
        throw std::runtime_error("cannot open " ZAN_BENCH_ROUTER);
    }
    file >> tree;
    tree["dhcp"]["leases"] = leases(leaseCount);
}

Json::Value Router::resultOf(const std::string& target) const
{
    const std::string::size_type list = target.find('=');
    if (list == std::string::npos) {
        return fieldAt(tree, target.substr(std::string("/api/").size()));
    }
    Json::Value result(Json::objectValue);
    std::istringstream fields(target.substr(list + 1));
    for (std::string field; std::getline(fields, field, ',');) {
        Json::Value value = fieldAt(tree, field);
        std::replace(field.begin(), field.end(), '/', '_');
        result[field] = std::move(value);
    }
    return result;
}

std::string Router::bodyOf(const std::string& target) const
{
    Json::Value envelope;
    envelope["code"] = 200;
    envelope["result"] = resultOf(target);
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, envelope);
}

} // namespace zanbench
