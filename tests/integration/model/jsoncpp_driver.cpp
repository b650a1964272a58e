// Prints what the installed JSON library and the standard library make of the values given to it, one
// value a line on standard input, one line of answers each; test_model.py compares them with the model.
//
//   j HEX   a JSON text: every conversion and access that the model knows
//   f HEX   a text: its single-precision value and that value times 100, as bit patterns
//
// "!" stands for a thrown exception, "-" for an empty byte string.

#include <json/json.h>

#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <iostream>
#include <string>

namespace {

std::string toHex(const std::string& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        out += digits[value >> 4];
        out += digits[value & 15];
    }
    return out.empty() ? "-" : out;
}

std::string fromHex(const std::string& hex)
{
    std::string out;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
        out += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    }
    return out;
}

std::string guarded(const std::function<std::string()>& answer)
{
    try {
        return answer();
    } catch (const std::exception&) {
        return "!";
    }
}

std::string walked(const Json::Value& value)
{
    std::string out = "[";
    for (const auto& each : value) {
        out += guarded([&] { return toHex(each.asString()); }) + ",";
    }
    return out + "]";
}

std::string jsonAnswers(const std::string& text)
{
    Json::Value root;
    Json::Reader reader(Json::Features::strictMode());
    if (!reader.parse("[" + text + "]", root)) {
        return "unparsable";
    }
    const Json::Value& value = root[0];
    Json::Value changeable = value;
    const std::function<std::string()> answers[] = {
        [&] { return toHex(value.asString()); },
        [&] { return std::string(value.asBool() ? "1" : "0"); },
        [&] { return std::to_string(value.asUInt()); },
        [&] { return std::to_string(value.asInt()); },
        [&] { return std::to_string(value.asUInt64()); },
        [&] { return std::to_string(value.size()); },
        [&] { return walked(value); },
        [&] { return std::string(value.isMember("a") ? "1" : "0"); },
        [&] { return guarded([&] { return toHex(value["a"].asString()); }); },
        [&] { return guarded([&] { return toHex(value[0U].asString()); }); },
        [&] { return guarded([&] { return toHex(value[1U].asString()); }); },
        [&] { return guarded([&] { return toHex(changeable["a"].asString()); }); },
    };
    std::string line;
    for (const auto& answer : answers) {
        line += (line.empty() ? "" : " ") + guarded(answer);
    }
    return line;
}

std::string bits(float value)
{
    std::uint32_t pattern = 0;
    std::memcpy(&pattern, &value, sizeof pattern);
    return std::to_string(pattern);
}

std::string floatAnswers(const std::string& text)
{
    return guarded([&] {
        const float value = std::stof(text);
        return bits(value) + " " + bits(value * 100.0F);
    });
}

} // namespace

int main()
{
    std::string kind;
    std::string hex;
    while (std::cin >> kind >> hex) {
        const std::string text = fromHex(hex == "-" ? "" : hex);
        std::cout << (kind == "j" ? jsonAnswers(text) : floatAnswers(text)) << '\n';
    }
}
