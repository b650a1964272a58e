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

/// An OID at or below the module root, in storage of its own.
struct ModuleOid {
    /// The longest: an object in a subgroup of a group.
    static constexpr std::size_t maxLength = 13;

    std::array<oid, maxLength> arcs{}; ///< The OID, filled with 0 after its last arc.
    std::size_t length = 0;            ///< How many of the arcs count.
};

/// The OID made of the module root and `arcs` below it.
template <class... Arcs>
constexpr ModuleOid belowRoot(Arcs... arcs) noexcept
{
    static_assert(moduleRoot.size() + sizeof...(Arcs) <= ModuleOid::maxLength, "nothing lies deeper");
    ModuleOid result;
    for (const oid arc : moduleRoot) {
        result.arcs[result.length++] = arc;
    }
    ((result.arcs[result.length++] = static_cast<oid>(arcs)), ...);
    return result;
}

/// The OID root.1.`arcs` of an object or table: group arc first, without the instance.
template <class... Arcs>
constexpr ModuleOid objectOid(Arcs... arcs) noexcept
{
    return belowRoot(objectsArc, arcs...);
}

} // namespace zansnmp
