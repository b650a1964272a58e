#pragma once

#include "support/interposed.h"
#include "support/tables.h"

#include <optional>
#include <string>
#include <vector>

namespace zantest {

/// One result of an object's query, and what the object reads then.
struct Case {
    std::string name;
    std::string result; ///< JSON text
    Cell value;
};

/// A scalar or a column, as the MIB module has it.
struct Object {
    std::string name;
    Oid oid; ///< without the instance
    int type;
    std::optional<std::string> path; ///< of its query; none for a scalar that is answered without the API
    std::string table;               ///< of a column; empty for a scalar
    std::vector<Case> cases;

    unsigned column() const { return static_cast<unsigned>(oid.back()); }
    /// What it reads when the API gives nothing; a table has no rows then.
    Cell fallback() const;
};

/// All of them, in the order of the MIB module. Read from the file that tests/cases/cases.py writes.
const std::vector<Object>& allObjects();

/// Those that are no columns: in ascending order of their OIDs.
std::vector<const Object*> allScalars();

/// The answer to a GET: of a scalar through its handler, of a column in the first row through the hooks of
/// its table, all as the entry has registered them, once in this process.
Cell get(const Object& object);

/// Calls the handler of a scalar in a mode.
int handle(const Object& scalar, int mode, netsnmp_request_info* requests);

} // namespace zantest
