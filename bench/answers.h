#pragma once

#include <json/value.h>

#include <string>

namespace zanbench {

/// A router whose answers are always the same, however the simulator's scenarios change: the measurements of
/// one day are to be compared with those of another.
class Router {
public:
    /// @param leaseCount  how many leases its DHCP server has handed out
    /// @throws std::runtime_error  when the file with its values cannot be read
    explicit Router(unsigned leaseCount);

    /// The `result` of a query such as "/api?fields=system".
    Json::Value resultOf(const std::string& target) const;

    /// The body of the answer to a query.
    std::string bodyOf(const std::string& target) const;

private:
    Json::Value tree;
};

} // namespace zanbench
