#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace world {

/// A mutator for inputs that are a message of SNMP: changes an element of the tree that its encoding is,
/// takes it away, doubles it or exchanges it with another, and gives all around it the lengths that are right
/// then; every now and then, and when the input is no such tree, leaves the work to libFuzzer.
/// @return the new size
std::size_t mutateBer(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);

/// Whether the bytes are one element with all that is in it.
bool isBer(const std::string& bytes);

} // namespace world
