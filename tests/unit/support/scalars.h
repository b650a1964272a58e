#pragma once

#include "support/interposed.h"

#include <string>
#include <vector>

namespace zantest {

/// A scalar object as managers know it.
struct ScalarUnderTest {
    std::string name;
    Oid arcs; ///< below root.1, without the instance
    u_char type;
};

/// All 108, in ascending order of their OIDs.
const std::vector<ScalarUnderTest>& allScalars();

} // namespace zantest
