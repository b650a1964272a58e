#pragma once

#include <cstddef>
#include <cstdint>

namespace world {

/// A mutator for inputs that are one JSON text: changes the value at a random place of the tree for one of
/// another kind, takes it away, doubles it or exchanges it with another; every now and then, and when the
/// text is no JSON, leaves the work to libFuzzer, which knows only bytes.
/// @return the new size
std::size_t mutateJson(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);

} // namespace world
