#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace Routing::Pim {

/// Numbers of 1, 2, 4 or 8 octets in network order, at any address.
template <std::size_t octets>
struct NetworkOrder {
  using Number = std::conditional_t<
      octets == 1, std::uint8_t,
      std::conditional_t<octets == 2, std::uint16_t,
                         std::conditional_t<octets == 4, std::uint32_t, std::uint64_t>>>;
  static_assert(sizeof(Number) == octets);

  static Number load(const std::uint8_t* at) {
    Number value;
    std::memcpy(&value, at, octets);
    return swapped(value);
  }
  static void store(std::uint8_t* at, Number value) {
    value = swapped(value);
    std::memcpy(at, &value, octets);
  }

 private:
  // Compilers make one instruction of it.
  static constexpr Number swapped(Number value) {
    if constexpr (std::endian::native == std::endian::big) return value;
    return [value]<std::size_t... i>(std::index_sequence<i...>) {
      return static_cast<Number>(((Number((value >> 8 * i) & 0xff) << 8 * (octets - 1 - i)) | ...));
    }
    (std::make_index_sequence<octets>{});
  }
};

}  // namespace Routing::Pim
