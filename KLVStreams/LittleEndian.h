#pragma once

#include <cstddef>
#include <type_traits>

/// Whole numbers as they cross the links, least byte first, whatever machine this runs on. The compiler makes
/// a plain copy of them where the machine is of that order.
namespace little_endian {

template <class T>
void Store(T value, unsigned char* bytes) {
    using Unsigned = std::make_unsigned_t<T>;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        bytes[i] = static_cast<unsigned char>(static_cast<Unsigned>(value) >> (8 * i));
    }
}

template <class T>
T Load(const unsigned char* bytes) {
    using Unsigned = std::make_unsigned_t<T>;
    Unsigned value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        value =
            static_cast<Unsigned>(value | static_cast<Unsigned>(static_cast<Unsigned>(bytes[i]) << (8 * i)));
    }
    return static_cast<T>(value);
}

}  // namespace little_endian
