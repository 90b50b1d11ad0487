// /proc/sys/fs/file-nr: the open files of the machine. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace procfs {

/// The kernel's descriptor limit no longer fits 32 bits (it is 2^63 - 1 where
/// nobody lowered it), while the counters are 32-bit: what is larger counts as
/// the largest.
std::int32_t saturate_to_int32(std::uint64_t value);

/// /proc/sys/fs/file-nr.
struct FileNumbers {
    std::int32_t allocated{};
    std::int32_t maximum{};
    bool operator==(const FileNumbers&) const = default;
};

/// /proc/sys/fs/file-nr.
std::optional<FileNumbers> parse_file_numbers(std::string_view text);

} // namespace procfs
