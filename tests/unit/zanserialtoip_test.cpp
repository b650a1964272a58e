#include "zanproviders.h"

#include "support/grouptest.h"

#include <cstdint>

using namespace zantest;
using namespace zansnmp;

namespace {

class SerialToIPTest : public GroupTest {
protected:
    SerialToIPTest() : GroupTest("/api?fields=ipPipes/SERIAL2IP,stats/serial,serial") {}

    const Objects objects{{zanSerialToIPEnabled, zanSerialToIPMode, zanSerialToIPProtocol,
                           zanSerialToIPServerIP, zanSerialToIPDCD, zanSerialToIPModbusGatewayEnabled},
                          {zanSerialToIPPort, zanSerialToIPTx, zanSerialToIPRx}};
};

/// The `result` with this pipe (the inside of a JSON object).
std::string pipe(const std::string& members)
{
    return R"({"ipPipes_SERIAL2IP": {)" + members + "}}";
}

std::string statistics(const std::string& members)
{
    return R"({"stats_serial": {)" + members + "}}";
}

TEST_F(SerialToIPTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects);
}

TEST_F(SerialToIPTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(SerialToIPTest, EachObjectReadsItsOwnField)
{
    const std::string result = R"({"ipPipes_SERIAL2IP": {"enabled": true, "mode": "CLIENT", "protocol": "TCP",
        "port": 4001, "ip": "192.0.2.9"}, "stats_serial": {"tx": 11, "rx": 22, "dcd": "ON"}, "serial": {"modbus": true}})";
    expectRows(zanSerialToIPEnabled, {{result, "True"}});
    expectRows(zanSerialToIPMode, {{result, "CLIENT"}});
    expectRows(zanSerialToIPProtocol, {{result, "TCP"}});
    expectRows(zanSerialToIPPort, {{result, 4001}});
    expectRows(zanSerialToIPServerIP, {{result, "192.0.2.9"}});
    expectRows(zanSerialToIPTx, {{result, 11}});
    expectRows(zanSerialToIPRx, {{result, 22}});
    expectRows(zanSerialToIPDCD, {{result, "ON"}});
    expectRows(zanSerialToIPModbusGatewayEnabled, {{result, "True"}});
}

TEST_F(SerialToIPTest, MissingSections)
{
    for (const char* result :
         {"{}", "null", R"({"ipPipes_SERIAL2IP": null, "stats_serial": null, "serial": null})",
          R"({"ipPipes_SERIAL2IP": {}, "stats_serial": {}, "serial": {}})"}) {
        expectRows(zanSerialToIPEnabled, {{result, "False"}});
        expectRows(zanSerialToIPMode, {{result, ""}});
        expectRows(zanSerialToIPProtocol, {{result, ""}});
        expectRows(zanSerialToIPPort, {{result, 0}});
        expectRows(zanSerialToIPServerIP, {{result, "Unknown"}});
        expectRows(zanSerialToIPTx, {{result, 0}});
        expectRows(zanSerialToIPRx, {{result, 0}});
        expectRows(zanSerialToIPDCD, {{result, ""}});
        expectRows(zanSerialToIPModbusGatewayEnabled, {{result, "False"}});
    }
}

TEST_F(SerialToIPTest, SectionsOfTheWrongType)
{
    for (const char* bad : {"1", "true", R"("x")", "[]"}) {
        const std::string result = R"({"ipPipes_SERIAL2IP": )" + std::string(bad) + R"(, "stats_serial": )" +
                                   bad + R"(, "serial": )" + bad + "}";
        for (const auto provider : objects.texts) {
            expectRows(provider, {{result, "Unknown"}, {bad, "Unknown"}});
        }
        for (const auto provider : objects.unsigneds) {
            expectRows(provider, {{result, 0}, {bad, 0}});
        }
    }
}

TEST_F(SerialToIPTest, ServerIpOfAClientOnly)
{
    expectRows(zanSerialToIPServerIP, {
                                          {pipe(R"("mode": "CLIENT", "ip": "192.0.2.9")"), "192.0.2.9"},
                                          {pipe(R"("mode": "CLIENT", "ip": "")"), ""},
                                          {pipe(R"("mode": "CLIENT", "ip": 7)"), "7"},
                                      });
}

TEST_F(SerialToIPTest, ServerIpIsUnknownInAnyOtherModeEvenWithAnAddress)
{
    for (const char* mode : {R"("SERVER")", R"("client")", R"("Client")", R"("CLIENT ")", R"("CLIENTS")",
                             R"("")", R"("CLIENT\u0000")", "null", "1", "true"}) {
        expectRows(zanSerialToIPServerIP,
                   {{pipe(R"("mode": )" + std::string(mode) + R"(, "ip": "192.0.2.9")"), "Unknown"}});
    }
    expectRows(zanSerialToIPServerIP, {{pipe(R"("ip": "192.0.2.9")"), "Unknown"}});
}

TEST_F(SerialToIPTest, ServerIpOfAClientWithoutAnAddressIsEmptyAndNotUnknown)
{
    expectRows(zanSerialToIPServerIP,
               {{pipe(R"("mode": "CLIENT")"), ""}, {pipe(R"("mode": "CLIENT", "ip": null)"), ""}});
}

TEST_F(SerialToIPTest, ServerIpThatCannotBeRead)
{
    expectRows(zanSerialToIPServerIP, {{pipe(R"("mode": "CLIENT", "ip": [])"), "Unknown"},
                                       {pipe(R"("mode": "CLIENT", "ip": {})"), "Unknown"},
                                       {pipe(R"("mode": [], "ip": "192.0.2.9")"), "Unknown"}});
}

TEST_F(SerialToIPTest, ModbusFlagIsTheMemberItself)
{
    expectRows(zanSerialToIPModbusGatewayEnabled,
               {
                   {R"({"serial": {"modbus": true}})", "True"},
                   {R"({"serial": {"modbus": false}})", "False"},
                   {R"({"serial": {"modbus": 1}})", "True"},
                   {R"({"serial": {"modbus": {"enabled": true}}})", "Unknown"},
                   {R"({"serial": {"modbus": {}}})", "Unknown"},
                   {R"({"serial": {"modbus": "true"}})", "Unknown"},
               });
}

TEST_F(SerialToIPTest, CounterGivenAsTextIsZero)
{
    expectRows(zanSerialToIPTx, {{statistics(R"("tx": "11", "rx": 22)"), 0}});
    expectRows(zanSerialToIPRx, {{statistics(R"("tx": "11", "rx": 22)"), 22}});
}

TEST_F(SerialToIPTest, CountersAreThe32BitsOfTheirValue)
{
    expectRows(zanSerialToIPTx, {
                                    {statistics(R"("tx": 2147483647)"), 2147483647},
                                    {statistics(R"("tx": 2147483648)"), 2147483648},
                                    {statistics(R"("tx": 4294967295)"), 4294967295},
                                    {statistics(R"("tx": 4294967296)"), 0},
                                    {statistics(R"("tx": -1)"), 0},
                                    {statistics(R"("tx": 1.9)"), 1},
                                    {statistics(R"("tx": -0.5)"), 0},
                                    {statistics(R"("tx": 1e10)"), 0},
                                    {statistics(R"("tx": true)"), 1},
                                    {statistics(R"("tx": [])"), 0},
                                    {statistics(R"("tx": {})"), 0},
                                });
}

TEST_F(SerialToIPTest, TextsArePassedThroughUnchanged)
{
    expectRows(zanSerialToIPMode, {{pipe(R"("mode": "anything at all")"), "anything at all"}});
    expectRows(zanSerialToIPProtocol, {{pipe(R"("protocol": "SSL/TLS")"), "SSL/TLS"}});
    expectRows(zanSerialToIPDCD,
               {{statistics(R"("dcd": "off")"), "off"}, {statistics(R"("dcd": false)"), "false"}});
}

} // namespace
