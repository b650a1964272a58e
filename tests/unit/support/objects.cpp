#include "support/objects.h"

#include "zansnmpext.h"

#include <json/json.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <stdexcept>
#include <utility>

namespace zantest {

namespace {

int typeOf(const std::string& base)
{
    static const std::map<std::string, int> types{
        {"OctetString", ASN_OCTET_STR}, {"Integer32", ASN_INTEGER}, {"TimeTicks", ASN_TIMETICKS}};
    return types.at(base);
}

Cell cellOf(int type, const Json::Value& value)
{
    return value.isNull() ? noSuchInstance() : Cell{type, value.asString()};
}

std::vector<Object> readObjects()
{
    std::ifstream file(ZAN_CASES_FILE);
    Json::Value document;
    file >> document;
    std::vector<Object> objects;
    for (const Json::Value& each : document["objects"]) {
        Object object{each["name"].asString(),         {1, 3, 6, 1, 4, 1, ZAN_ENTERPRISE_NUMBER, 14, 1, 1},
                      typeOf(each["base"].asString()), {},
                      each["table"].asString(),        {}};
        for (const Json::Value& arc : each["arcs"]) {
            object.oid.push_back(arc.asUInt());
        }
        if (!each["query"].isNull()) {
            object.path = each["query"].asString();
        }
        objects.push_back(std::move(object));
    }
    for (const Json::Value& each : document["cases"]) {
        const auto object = std::find_if(objects.begin(), objects.end(), [&](const Object& one) {
            return one.name == each["object"].asString();
        });
        object->cases.push_back(
            {each["name"].asString(), each["result"].asString(), cellOf(object->type, each["value"])});
    }
    return objects;
}

/// What the entry registers, by name. Never destroyed: the agent would keep it until the end, too.
const Registered& registeredAs(const std::string& name)
{
    static const auto& registrations = *[] {
        init_zansnmpext();
        auto* byName = new std::map<std::string, Registered>;
        for (const Registered& each : std::exchange(interposed().registered, {})) {
            byName->emplace(each.registration->handlerName, each);
        }
        return byName;
    }();
    return registrations.at(name);
}

int call(const Registered& registered, int mode, netsnmp_request_info* requests)
{
    AgentRequest request(mode);
    netsnmp_mib_handler* handler = registered.registration->handler;
    return handler->access_method(handler, registered.registration, request.get(), requests);
}

/// As the agent's iterator helper does it.
Cell getFirstRow(const Object& column)
{
    const Registered& table = registeredAs(column.table);
    netsnmp_iterator_info* info = table.info;
    void* loop = nullptr;
    void* row = nullptr;
    netsnmp_variable_list index{};
    if (info->get_first_data_point(&loop, &row, &index, info) != nullptr) {
        row = info->make_data_context(loop, info);
    }
    Request request;
    request.setRow(row);
    request.setColumn(column.column());
    call(table, MODE_GET, &request.info());
    if (row != nullptr) {
        info->free_data_context(row, info);
    }
    if (loop != nullptr) {
        info->free_loop_context_at_end(loop, info);
    }
    snmp_free_var_internals(&index);
    return request.cell();
}

} // namespace

Cell Object::fallback() const
{
    if (!path) {
        return cases.front().value;
    }
    return !table.empty() ? noSuchInstance() : type == ASN_OCTET_STR ? octets("Unknown") : Cell{type, "0"};
}

const std::vector<Object>& allObjects()
{
    static const std::vector<Object> objects = readObjects();
    return objects;
}

std::vector<const Object*> allScalars()
{
    std::vector<const Object*> scalars;
    for (const Object& object : allObjects()) {
        if (object.table.empty()) {
            scalars.push_back(&object);
        }
    }
    return scalars;
}

Cell get(const Object& object)
{
    if (!object.table.empty()) {
        return getFirstRow(object);
    }
    Request request;
    handle(object, MODE_GET, &request.info());
    return request.cell();
}

int handle(const Object& scalar, int mode, netsnmp_request_info* requests)
{
    return call(registeredAs(scalar.name), mode, requests);
}

} // namespace zantest
