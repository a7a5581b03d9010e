#pragma once

#include <cstdint>

/// The log tag of reports on broken framing.
constexpr std::uint32_t kFramingTag = 0x10000000;

/// The log tag of warnings about what was framed.
constexpr std::uint32_t kContentTag = 0x40000000;

/// Key and length, before every value.
constexpr std::uint32_t kKlvHeaderSize = 8;
