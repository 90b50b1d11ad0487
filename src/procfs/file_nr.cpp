#include "procfs/file_nr.h"

#include "text/words.h"

#include <limits>

namespace procfs {

std::int32_t saturate_to_int32(std::uint64_t value)
{
    constexpr auto largest = std::numeric_limits<std::int32_t>::max();
    return value > static_cast<std::uint64_t>(largest) ? largest : static_cast<std::int32_t>(value);
}

std::optional<FileNumbers> parse_file_numbers(std::string_view text)
{
    const auto allocated = text::next_number<std::uint64_t>(text);
    const auto unused = text::next_number<std::uint64_t>(text);
    const auto maximum = text::next_number<std::uint64_t>(text);
    if (!allocated || !unused || !maximum)
        return std::nullopt;
    return FileNumbers{saturate_to_int32(*allocated), saturate_to_int32(*maximum)};
}

} // namespace procfs
