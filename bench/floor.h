// The least that reading the kernel's figures can cost: what the collectors of
// one report open, read and parse, without anything around it.
#pragma once

#include <cstdint>
#include <span>

/// Reads once the files that a measuring cycle over `pids` reads, each with one
/// open, read and close into a fixed buffer, and parses the same figures. Gives
/// the sum of the figures, which means nothing and keeps the parsing in the
/// program. A file that can not be read counts 0.
std::uint64_t read_floor(std::span<const int> pids);
