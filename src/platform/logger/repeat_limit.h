// Keeps a fault that lasts from flooding the log.
//
// Records of one category and level that differ only in their numbers are of
// one kind. Of each kind the first few within an hour are written; the rest is
// counted, and the count is told when the kind has fallen silent or its hour is
// over.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class RepeatLimit {
public:
    using Clock = std::chrono::steady_clock;

    /// Written of one kind in `window`.
    static constexpr std::size_t most_written = 8;
    /// Counts told of one kind in `window`, the one at its end not included.
    static constexpr std::size_t most_counts = 2;
    /// Kinds that are told apart, of one category and level. More of them in
    /// `window` are one fault with a changing text, and one further kind.
    static constexpr std::size_t most_kinds = 12;
    static constexpr std::chrono::hours window{1};
    /// A kind has fallen silent after this many of its longest pauses ...
    static constexpr int silent_pauses = 3;
    /// ... but not sooner than this.
    static constexpr std::chrono::seconds shortest_silence{5};
    /// Bytes kept of a text, to be told with the count.
    static constexpr std::size_t longest_text = 200;

    /// What was not written of one kind.
    struct Count {
        std::string category;
        int level;
        std::string text; ///< the last one
        std::uint64_t repeated;
    };

    /// Whether a record is to be written; otherwise it has been counted.
    bool admit(const std::string& category, int level, std::string_view text,
               Clock::time_point now);

    /// The counts that are due to be told by now; each is returned once.
    std::vector<Count> due(Clock::time_point now);

    /// All counts there are, for the end of logging. Forgets every kind.
    std::vector<Count> all();

private:
    using Source = std::pair<std::string, int>; ///< category and level

    struct Kind {
        Clock::time_point begin; ///< of its hour
        Clock::time_point last;
        Clock::duration longest_pause{};
        std::size_t written{};
        std::size_t counts_told{};
        std::uint64_t repeated{};
        std::string text;
    };
    using Kinds = std::map<std::string, Kind>; ///< by text without its numbers

    Kind& kind_of(const Source& source, std::string_view text, Clock::time_point now);

    std::map<Source, Kinds> m_sources;
};

/// `text`, each number in it, decimal or hexadecimal after "0x", written "#".
std::string without_numbers(std::string_view text);
