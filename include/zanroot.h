#pragma once

#include "zanconfig.h"

// oid.h alone does not know the width of an oid: the configuration header has to come first.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/library/oid.h>

#include <array>
#include <cstddef>

namespace zansnmp {

/// The module root, 1.3.6.1.4.1.<enterprise number>.14.1: objects lie below its arc 1, notifications below 2.
constexpr std::array<oid, 9> moduleRoot{1, 3, 6, 1, 4, 1, ZAN_ENTERPRISE_NUMBER, 14, 1};

/// The arcs below the module root that hold the objects and the notifications.
constexpr oid objectsArc = 1;
constexpr oid notificationsArc = 2;

/// The OID made of the module root and `arcs` below it.
template <class... Arcs>
constexpr std::array<oid, moduleRoot.size() + sizeof...(Arcs)> belowRoot(Arcs... arcs) noexcept
{
    std::array<oid, moduleRoot.size() + sizeof...(Arcs)> result{};
    std::size_t length = 0;
    for (const oid arc : moduleRoot) {
        result[length++] = arc;
    }
    ((result[length++] = static_cast<oid>(arcs)), ...);
    return result;
}

/// An OID of an object or a table: of either length, in storage of its own.
struct ObjectOid {
    /// The longest: an object in a subgroup of a group.
    static constexpr std::size_t maxLength = 13;

    std::array<oid, maxLength> arcs{}; ///< The OID, filled with 0 behind its last arc.
    std::size_t length = 0;            ///< How many of the arcs count.
};

/// The OID root.1.`arcs` of an object or table: group arc first, without the instance.
template <class... Arcs>
constexpr ObjectOid objectOid(Arcs... arcs) noexcept
{
    constexpr std::size_t length = moduleRoot.size() + 1 + sizeof...(Arcs);
    static_assert(length <= ObjectOid::maxLength, "no object lies deeper");
    ObjectOid result;
    for (const oid arc : belowRoot(objectsArc, arcs...)) {
        result.arcs[result.length++] = arc;
    }
    return result;
}

} // namespace zansnmp
