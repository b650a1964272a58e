#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

// What the mutators share.
namespace world {

using Random = std::minstd_rand;

inline std::size_t below(Random& random, std::size_t limit)
{
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

/// One of a list.
template <class List>
const auto& oneOf(Random& random, const List& list)
{
    return list[below(random, std::size(list))];
}

/// The bytes as libFuzzer itself would mutate them, with room for some more.
inline std::string mutatedBytes(std::string bytes)
{
    const std::size_t size = bytes.size();
    bytes.resize(size + 16);
    bytes.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size, bytes.size()));
    return bytes;
}

} // namespace world
