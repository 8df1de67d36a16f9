#pragma once

// Layouts of the sound libraries (emission, absorption, transmission, attenuation): a main table of
// spectra and a group table; and the common part of the directivity library that emission elements refer to.

#include <cstdint>

namespace korvel::db {
class TTable;
}

namespace korvel::sound {

inline constexpr int kDirectivityLibType = 119;

// A colour with red, green and blue each drawn from 0..254, as new and updated elements get.
std::uint32_t RandomElementColor();

} // namespace korvel::sound
