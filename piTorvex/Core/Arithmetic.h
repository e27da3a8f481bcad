#pragma once

// Arithmetic on sizes and counters that never wraps around. [any thread]
namespace NAMESPACE_piTorvex {

inline constexpr unsigned long HIGHEST_COUNT = ~0UL;

__extension__ using CWide = unsigned __int128;

// The product, or HIGHEST_COUNT where it does not fit.
[[nodiscard]] constexpr unsigned long MultiplySaturating(unsigned long left, unsigned long right) {
  const CWide product = static_cast<CWide>(left) * right;
  return product > HIGHEST_COUNT ? HIGHEST_COUNT : static_cast<unsigned long>(product);
}

// part of whole in percent, HIGHEST_COUNT where it does not fit; whole must not be 0.
[[nodiscard]] constexpr unsigned long PercentOf(unsigned long part, unsigned long whole) {
  const CWide percent = static_cast<CWide>(part) * 100 / whole;
  return percent > HIGHEST_COUNT ? HIGHEST_COUNT : static_cast<unsigned long>(percent);
}

// The product in MiB, cut to 64 bits.
[[nodiscard]] constexpr unsigned long ProductInMiB(unsigned long left, unsigned long right) {
  return static_cast<unsigned long>((static_cast<CWide>(left) * right) >> 20U);
}

}  // namespace NAMESPACE_piTorvex
