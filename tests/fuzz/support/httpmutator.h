#pragma once

#include <cstddef>
#include <cstdint>

namespace world {

/// A mutator for inputs that are an answer of HTTP: changes the status line, a header, how the body's end is
/// told (its length, chunks, or the end of the connection), or the JSON of the body, and mostly keeps the
/// rest fitting; every now and then, and when the input has no head, leaves the work to libFuzzer.
/// @return the new size
std::size_t mutateHttp(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);

} // namespace world
